#include "config/output_highlight_rule.h"

#include <QtCore/QStringList>

namespace ke2 {

OutputHighlightRule OutputHighlightRule::create(const QString &name, const QColor &foreground,
                                                const QColor &background, const QString &pattern, bool regExp,
                                                bool highlightLine, bool enabled)
{
    OutputHighlightRule rule;
    rule.name = name;
    rule.foreground = foreground;
    rule.background = background;
    rule.hasForeground = foreground.isValid();
    rule.hasBackground = background.isValid();
    rule.pattern = pattern;
    rule.regExp = regExp;
    rule.highlightLine = highlightLine;
    rule.enabled = enabled;
    rule.updateFormat();
    return rule;
}

void OutputHighlightRule::updateFormat()
{
    if (hasForeground)
        format.setForeground(foreground);
    else
        format.clearForeground();
    if (hasBackground)
        format.setBackground(background);
    else
        format.clearBackground();
}

QString OutputHighlightRule::toString() const
{
    const auto flag = [](bool value) { return value ? QStringLiteral("1") : QStringLiteral("0"); };
    return QStringList{name,
                       QString::number(foreground.rgb()),
                       QString::number(background.rgb()),
                       flag(hasForeground),
                       flag(hasBackground),
                       pattern,
                       flag(regExp),
                       flag(highlightLine),
                       flag(enabled)}
        .join(QStringLiteral(";;;"));
}

std::optional<OutputHighlightRule> OutputHighlightRule::fromString(const QString &text)
{
    const QStringList fields = text.split(QStringLiteral(";;;"), Qt::SkipEmptyParts);
    if (fields.size() != 9)
        return std::nullopt;
    const auto flag = [&](int index) { return fields.at(index).toUInt() != 0; };
    OutputHighlightRule rule;
    rule.name = fields.at(0);
    rule.foreground = QColor(QRgb(fields.at(1).toUInt()));
    rule.background = QColor(QRgb(fields.at(2).toUInt()));
    rule.hasForeground = flag(3);
    rule.hasBackground = flag(4);
    rule.pattern = fields.at(5);
    rule.regExp = flag(6);
    rule.highlightLine = flag(7);
    rule.enabled = flag(8);
    rule.updateFormat();
    return rule;
}

bool OutputHighlightRule::operator==(const OutputHighlightRule &other) const
{
    return name == other.name && foreground == other.foreground && background == other.background
        && hasForeground == other.hasForeground && hasBackground == other.hasBackground && pattern == other.pattern
        && regExp == other.regExp && highlightLine == other.highlightLine && enabled == other.enabled
        && format == other.format;
}

} // namespace ke2
