#include "app/python_output.h"

namespace ke2 {

void LineAssembler::append(const QString &text, const Sink &sink)
{
    int start = 0;
    for (;;) {
        const int newline = text.indexOf(QLatin1Char('\n'), start);
        const int end = newline < 0 ? text.size() : newline;
        // A line longer than the limit leaves in pieces rather than growing without bound.
        while (m_pending.size() + (end - start) > m_longest) {
            const int take = m_longest - m_pending.size();
            m_pending += QStringView(text).mid(start, take);
            start += take;
            sink(m_pending);
            m_pending.clear();
        }
        m_pending += QStringView(text).mid(start, end - start);
        if (newline < 0)
            return;
        sink(m_pending);
        m_pending.clear();
        start = newline + 1;
    }
}

void LineAssembler::finish(const Sink &sink)
{
    if (m_pending.isEmpty())
        return;
    const QString line = m_pending;
    m_pending.clear();
    sink(line);
}

} // namespace ke2
