#pragma once

#include <QtCore/QRegularExpression>
#include <QtGui/QTextCharFormat>

namespace ke2 {

// A region that may span lines (strings, comments, docstrings): from a match of `start` to a
// match of `end`, delimiters included.
struct RegionRule {
    QRegularExpression start;
    // The pattern "$" makes a region that ends with its line.
    QRegularExpression end;
    QTextCharFormat format;
    // Characters of the opening delimiter; the search for `end` starts this far into the region.
    int startLength = 0;
    // An unclosed region goes on to the next line only when its line ends with a backslash.
    bool continuesOnlyWithBackslash = false;
    bool isLineComment = false;
    bool isBlockComment = false;
    // A close preceded by an odd run of backslashes is escaped.
    bool endEscapable = false;

    bool endsWithLine() const { return end.pattern() == QLatin1String("$"); }
};

} // namespace ke2
