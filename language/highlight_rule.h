#pragma once

#include <QtCore/QRegularExpression>
#include <QtGui/QTextCharFormat>

namespace ke2 {

// A single-line rule: every match of `expression` in a line gets `format`.
struct HighlightRule {
    QRegularExpression expression;
    QTextCharFormat format;
    // Optional quick test: false when `line` cannot hold a non-empty match, so the expression is
    // not run on it. Only for speed; it never changes what gets coloured.
    bool (*mayMatch)(const QString &line) = nullptr;
    // Optional: a non-empty match can only start at a character for which this holds, so the
    // expression is tried (anchored) only there. Spares the empty matches of patterns such as
    // the number rule at every word boundary; the coloured ranges are the same.
    bool (*canStartAt)(QChar c) = nullptr;
};

} // namespace ke2
