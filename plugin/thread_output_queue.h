#pragma once

#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QWaitCondition>

#include <deque>

namespace ke2 {

// Output travels in pieces of at most this many characters: a huge write never needs a copy of
// itself at once, and a line longer than this is framed as several lines.
constexpr int kOutputChunk = 1 << 20;

// Output a host prints from threads other than the user-interface thread, on its way to that
// thread, which alone may frame it and touch widgets. Consecutive text of the joinable type is
// joined (up to a chunk), so a thread printing millions of short lines costs about its text, not
// a queued event per line.
class ThreadOutputQueue {
public:
    struct Message {
        int type;
        QString text;
    };

    // True when the consumer has to be woken: the first message since the last take().
    // `joinableType` -1 joins nothing.
    bool push(int type, const QString &text, int joinableType);
    // Everything queued so far, oldest first.
    std::deque<Message> take();
    bool isEmpty() const;
    // Blocks until something is queued or `milliseconds` pass.
    void waitForMessages(unsigned long milliseconds);
    void clear();

private:
    mutable QMutex m_mutex;
    QWaitCondition m_arrived;
    std::deque<Message> m_messages;
    bool m_wakePending = false;
};

} // namespace ke2
