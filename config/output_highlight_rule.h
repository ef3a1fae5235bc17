#pragma once

#include <QtCore/QString>
#include <QtGui/QColor>
#include <QtGui/QTextCharFormat>

#include <optional>

namespace ke2 {

// One user rule that colours output text: what to match and the colours to give the match (or its
// whole line). Stored in the colour file, edited by the output highlighting list editor, applied
// by the output panel.
struct OutputHighlightRule {
    QString name;
    QColor foreground;
    QColor background;
    bool hasForeground = false;
    bool hasBackground = false;
    QString pattern;
    bool regExp = false;
    bool highlightLine = false;
    bool enabled = true;
    // Derived from the colours and the two has-flags (updateFormat()); not stored.
    QTextCharFormat format;

    // A rule whose has-flags say whether each colour is valid.
    static OutputHighlightRule create(const QString &name, const QColor &foreground, const QColor &background,
                                      const QString &pattern, bool regExp, bool highlightLine, bool enabled);
    void updateFormat();

    // "name;;;fg;;;bg;;;hasFg;;;hasBg;;;pattern;;;regExp;;;highlightLine;;;enabled", colours as
    // unsigned decimal 0xAARRGGBB, flags as 0/1.
    QString toString() const;
    // Nothing unless the text splits into exactly nine non-empty fields (so a rule with an empty
    // name or pattern cannot be read back).
    static std::optional<OutputHighlightRule> fromString(const QString &text);

    bool operator==(const OutputHighlightRule &other) const;
    bool operator!=(const OutputHighlightRule &other) const { return !(*this == other); }
};

} // namespace ke2
