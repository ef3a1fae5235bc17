#pragma once

#include "plugin/thread_output_queue.h"

#include <QtCore/QString>

#include <functional>

namespace ke2 {

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
