#pragma once

#include <QtCore/QRegularExpression>
#include <QtGui/QTextCharFormat>

namespace ke2 {

// A single-line rule: every match of `expression` in a line gets `format`.
struct HighlightRule {
    QRegularExpression expression;
    QTextCharFormat format;
};

} // namespace ke2
