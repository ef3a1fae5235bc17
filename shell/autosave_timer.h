#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>

namespace ke2 {

// Decides when unsaved scratch work goes to disk: once typing has paused for the quiet delay, and
// during long unbroken typing no later than the longest delay after the first unsaved edit. The
// host may crash at any moment; at most the last couple of seconds of typing are at risk.
class AutosaveTimer : public QObject {
    Q_OBJECT
public:
    static constexpr int defaultQuietDelay = 1000;
    static constexpr int defaultLongestDelay = 5000;

    explicit AutosaveTimer(QObject *parent = nullptr);

    void SetDelays(int quietDelay, int longestDelay);
    // An edit happened.
    void Touch();
    // Nothing is left to save (everything was saved some other way).
    void Cancel();
    bool IsPending() const { return m_quiet.isActive(); }

signals:
    void Due();

private:
    void Fire();

    QTimer m_quiet;
    QElapsedTimer m_firstEdit;
    int m_quietDelay = defaultQuietDelay;
    int m_longestDelay = defaultLongestDelay;
};

} // namespace ke2
