#pragma once

#include <QtCore/QString>

namespace ke2 {

// A message attached to a range of a buffer: an error, a warning or a TODO marker. Offsets are
// authoritative; a producer that only knows lines (such as an external checker) fills `line`
// and `column` instead.
struct Diagnostic {
    Diagnostic() = default;
    Diagnostic(const QString &text, int from, int to, int lineNumber = -1, int columnNumber = -1)
        : message(text), start(from), end(to), line(lineNumber), column(columnNumber)
    {
    }

    QString message;
    int start = 0;
    int end = 0;     // may equal start; -1 when a marker runs to the end of the text
    int line = -1;   // the scanners leave this at -1
    int column = -1; // reserved for producers that know a column; the scanners never set it
};

} // namespace ke2
