#include "plugin/thread_output_queue.h"

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

} // namespace ke2
