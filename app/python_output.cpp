#include "app/python_output.h"

#include <QtCore/QMutexLocker>

namespace ke2 {

bool ThreadOutputQueue::push(int type, const QString &text, int joinableType)
{
    QMutexLocker lock(&m_mutex);
    if (type == joinableType && !m_messages.empty() && m_messages.back().type == type
        && m_messages.back().text.size() + text.size() <= kOutputChunk) {
        m_messages.back().text += text;
    } else {
        m_messages.push_back({type, text});
    }
    m_arrived.wakeAll();
    if (m_wakePending)
        return false;
    m_wakePending = true;
    return true;
}

std::deque<ThreadOutputQueue::Message> ThreadOutputQueue::take()
{
    QMutexLocker lock(&m_mutex);
    std::deque<Message> messages;
    messages.swap(m_messages);
    m_wakePending = false;
    return messages;
}

bool ThreadOutputQueue::isEmpty() const
{
    QMutexLocker lock(&m_mutex);
    return m_messages.empty();
}

void ThreadOutputQueue::waitForMessages(unsigned long milliseconds)
{
    QMutexLocker lock(&m_mutex);
    if (m_messages.empty())
        m_arrived.wait(&m_mutex, milliseconds);
}

void ThreadOutputQueue::clear()
{
    QMutexLocker lock(&m_mutex);
    m_messages.clear();
    m_wakePending = false;
}

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
