#include "shell/autosave_timer.h"

#include <algorithm>

namespace ke2 {

AutosaveTimer::AutosaveTimer(QObject *parent) : QObject(parent)
{
    m_quiet.setSingleShot(true);
    connect(&m_quiet, &QTimer::timeout, this, &AutosaveTimer::Fire);
}

void AutosaveTimer::SetDelays(int quietDelay, int longestDelay)
{
    m_quietDelay = quietDelay;
    m_longestDelay = std::max(quietDelay, longestDelay);
}

void AutosaveTimer::Touch()
{
    if (!m_quiet.isActive())
        m_firstEdit.start();
    const qint64 left = m_longestDelay - m_firstEdit.elapsed();
    m_quiet.start(int(std::clamp<qint64>(left, 0, m_quietDelay)));
}

void AutosaveTimer::Cancel()
{
    m_quiet.stop();
}

void AutosaveTimer::Fire()
{
    emit Due();
}

} // namespace ke2
