#pragma once

#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QWaitCondition>

#include <deque>
#include <functional>

namespace ke2 {

// Output travels in pieces of at most this many characters: a huge write never needs a copy of
// itself at once, and a line longer than this is framed as several lines.
constexpr int kOutputChunk = 1 << 20;

// Output written by the interpreter's other threads on its way to the user-interface thread,
// which alone may frame it and touch widgets. Consecutive display text is joined (up to a chunk),
// so a thread printing millions of short lines costs about its text, not a queued event per line.
class ThreadOutputQueue {
public:
    struct Message {
        int type;
        QString text;
    };

    // True when the consumer has to be woken: the first message since the last take().
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

// One stream's unfinished line. Each write is scanned once, so a line built from many small
// writes (a progress bar redrawn with "\r") costs time linear in its length.
class LineAssembler {
public:
    using Sink = std::function<void(const QString &line)>;

    explicit LineAssembler(int longestLine = kOutputChunk) : m_longest(longestLine) {}

    // Hands every line that `text` completes to `sink`, without its "\n".
    void append(const QString &text, const Sink &sink);
    // The unfinished rest, if any, as a line of its own.
    void finish(const Sink &sink);
    bool isEmpty() const { return m_pending.isEmpty(); }

private:
    QString m_pending;
    int m_longest;
};

} // namespace ke2
