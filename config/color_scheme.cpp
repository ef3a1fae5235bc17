#include "config/color_scheme.h"

#include "config/user_directories.h"

#include <QtCore/QFileInfo>
#include <QtCore/QSettings>
#include <QtWidgets/QApplication>
#include <QtWidgets/QPlainTextEdit>

#include <algorithm>
#include <new>

namespace ke2 {
namespace {

const QString codeEditorGroup = QStringLiteral("codeeditor");
const QString outputGroup = QStringLiteral("output");
const QString rulesGroup = QStringLiteral("customhighlighting");

constexpr int normalWeight = 50;

QTextCharFormat makeFormat(const QColor &foreground, const QColor &background, bool italic = false,
                           bool fullWidth = false)
{
    QTextCharFormat format;
    if (foreground.isValid())
        format.setForeground(foreground);
    if (background.isValid())
        format.setBackground(background);
    if (italic)
        format.setFontItalic(true);
    if (fullWidth)
        format.setProperty(QTextFormat::FullWidthSelection, true);
    return format;
}

void addRole(ColorRoleTable &table, const QString &name, const QTextCharFormat &format, bool syntax = false)
{
    ColorRole role;
    role.name = name;
    role.format = format;
    role.defaultFormat = format;
    role.syntax = syntax;
    table.roles.insert(name, role);
    table.names.append(name);
}

// The selection colours of a plain text editor as the current style draws them.
QPalette plainTextPalette()
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return QPalette();
    QPlainTextEdit edit;
    return edit.palette();
}

QTextCharFormat underline(const QColor &color)
{
    QTextCharFormat format;
    format.setUnderlineColor(color);
    format.setUnderlineStyle(QTextCharFormat::WaveUnderline);
    return format;
}

QString colorField(const QTextCharFormat &format, QTextFormat::Property property)
{
    if (!format.hasProperty(property))
        return QStringLiteral("0");
    return QString::number(format.brushProperty(property).color().rgb());
}

void readRoles(QSettings &ini, const QString &group, ColorRoleTable &table)
{
    ini.beginGroup(group);
    for (const QString &name : table.names) {
        // A value with unquoted commas reads back as a list, which is no role string: the role
        // stays as it is.
        const QString value = ini.value(name, QString()).toString();
        if (!value.isEmpty())
            ColorScheme::applyRoleValueString(table[name].format, value);
    }
    ini.endGroup();
}

void readRules(QSettings &ini, QVector<OutputHighlightRule> &rules)
{
    ini.beginGroup(rulesGroup);
    QStringList keys = ini.childKeys();
    if (!keys.isEmpty()) {
        rules.clear();
        std::stable_sort(keys.begin(), keys.end(),
                         [](const QString &a, const QString &b) { return a.toInt() < b.toInt(); });
        for (const QString &key : keys) {
            if (const auto rule = OutputHighlightRule::fromString(ini.value(key).toString()))
                rules.append(*rule);
        }
    }
    ini.endGroup();
}

} // namespace

void ColorRoleTable::restoreDefaults()
{
    for (ColorRole &role : roles)
        role.restoreDefault();
}

ColorScheme::ColorScheme()
{
    buildDefaults();
}

ColorScheme &ColorScheme::instance()
{
    static ColorScheme scheme;
    return scheme;
}

void ColorScheme::buildDefaults()
{
    namespace N = ColorRoleName;
    const QPalette palette = plainTextPalette();
    const QColor selectedForeground = palette.color(palette.currentColorGroup(), QPalette::HighlightedText);
    const QColor selectedBackground = palette.color(palette.currentColorGroup(), QPalette::Highlight);
    const QColor none;

    codeEditorRoles = ColorRoleTable();
    ColorRoleTable &code = codeEditorRoles;
    addRole(code, N::plainText, makeFormat(QColor(212, 212, 212), QColor(30, 30, 30)));
    addRole(code, N::selectedText, makeFormat(selectedForeground, selectedBackground));
    addRole(code, N::matchingSelection, makeFormat(none, QColor(50, 72, 96)));
    addRole(code, N::findReplaceSelected, makeFormat(none, QColor(100, 67, 52)));
    addRole(code, N::findReplaceMatching, makeFormat(none, QColor(97, 50, 20)));
    addRole(code, N::findReplaceSelection, makeFormat(none, QColor(35, 35, 35), false, true));
    addRole(code, N::currentLine, makeFormat(none, QColor(39, 39, 39), false, true));
    addRole(code, N::matchingBraces, makeFormat(Qt::white, QColor(103, 109, 116)));
    addRole(code, N::whitespaces, makeFormat(QColor(64, 64, 64), none));
    addRole(code, N::indentationGuides, makeFormat(QColor(64, 64, 64), none));
    addRole(code, N::lineNumbers, makeFormat(QColor(64, 64, 64), QColor(30, 30, 30)));
    addRole(code, N::gutter, makeFormat(none, QColor(30, 30, 30)));
    const bool syntax = true;
    addRole(code, N::melKeywords, makeFormat(QColor(197, 134, 192), none), syntax);
    addRole(code, N::melCommands, makeFormat(QColor(156, 220, 254), none), syntax);
    addRole(code, N::melStrings, makeFormat(QColor(206, 145, 120), none), syntax);
    addRole(code, N::melNumbers, makeFormat(QColor(181, 206, 168), none), syntax);
    addRole(code, N::melVariables, makeFormat(QColor(96, 139, 78), none), syntax);
    addRole(code, N::melProcs, makeFormat(QColor(86, 156, 214), none), syntax);
    addRole(code, N::melComments, makeFormat(QColor(128, 128, 128), none, true), syntax);
    addRole(code, N::pythonKeywords, makeFormat(QColor(197, 134, 192), none), syntax);
    addRole(code, N::pythonBuiltins, makeFormat(QColor(220, 220, 170), none), syntax);
    addRole(code, N::pythonStrings, makeFormat(QColor(206, 145, 120), none), syntax);
    addRole(code, N::pythonDocStrings, makeFormat(QColor(128, 128, 128), none, true), syntax);
    addRole(code, N::pythonNumbers, makeFormat(QColor(181, 206, 168), none), syntax);
    addRole(code, N::pythonClasses, makeFormat(QColor(102, 201, 135), none), syntax);
    addRole(code, N::pythonMethods, makeFormat(QColor(86, 156, 214), none), syntax);
    addRole(code, N::pythonComments, makeFormat(QColor(96, 139, 78), none), syntax);
    addRole(code, N::pythonDecorators, makeFormat(QColor(102, 201, 135), none, true), syntax);
    addRole(code, N::pythonSelfCls, makeFormat(QColor(156, 220, 254), none), syntax);
    addRole(code, N::pythonMelCommands, makeFormat(QColor(86, 156, 214), none), syntax);

    outputRoles = ColorRoleTable();
    ColorRoleTable &output = outputRoles;
    addRole(output, N::plainText, makeFormat(QColor(212, 212, 212), QColor(30, 30, 30)));
    addRole(output, N::selectedText, makeFormat(selectedForeground, selectedBackground));
    addRole(output, N::matchingSelection, makeFormat(none, QColor(50, 72, 96)));
    addRole(output, N::findSelected, makeFormat(none, QColor(100, 67, 52), false, true));
    addRole(output, N::findMatching, makeFormat(none, QColor(97, 50, 20)));

    outputHighlightRules = defaultOutputHighlightRules();
}

QVector<OutputHighlightRule> ColorScheme::defaultOutputHighlightRules()
{
    const QColor red(244, 40, 40), yellow(223, 229, 39), green(42, 180, 34), none;
    auto rule = [&](const char *name, const char *pattern, const QColor &foreground) {
        return OutputHighlightRule::create(QString::fromLatin1(name), foreground, none, QString::fromLatin1(pattern),
                                           true, true, true);
    };
    return {
        rule("Errors (Python)", "^(\\# Error:)", red),
        rule("Errors (MEL)", "^(// Error:)", red),
        rule("Warnings (Python)", "^(\\# Warning:)", yellow),
        rule("Warnings (MEL)", "^(// Warning:)", yellow),
        rule("Results (Python)", "^(\\# Result:)", green),
        rule("Results (MEL)", "^(// Result:)", green),
    };
}

QTextCharFormat ColorScheme::errorFormat()
{
    return underline(QColor(244, 70, 70));
}

QTextCharFormat ColorScheme::warningFormat()
{
    return underline(QColor(Qt::yellow));
}

QTextCharFormat ColorScheme::informationFormat()
{
    return underline(QColor(86, 156, 214));
}

QString ColorScheme::roleValueString(const QTextCharFormat &format)
{
    const int weight = format.intProperty(QTextFormat::FontWeight);
    return QStringLiteral("%1,%2,%3,%4,%5")
        .arg(colorField(format, QTextFormat::ForegroundBrush), colorField(format, QTextFormat::BackgroundBrush))
        .arg(weight == 0 ? normalWeight : weight)
        .arg(format.fontItalic() ? 1 : 0)
        .arg(format.fontUnderline() ? 1 : 0);
}

void ColorScheme::applyRoleValueString(QTextCharFormat &format, const QString &value)
{
    const QStringList fields = value.split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (fields.size() != 5)
        return;
    bool ok = false;
    const uint foreground = fields.at(0).toUInt(&ok);
    if (ok && foreground != 0)
        format.setForeground(QColor(QRgb(foreground)));
    const uint background = fields.at(1).toUInt(&ok);
    if (ok && background != 0)
        format.setBackground(QColor(QRgb(background)));
    const int weight = fields.at(2).toInt(&ok);
    if (ok) {
        // Normal weight is stored as 0, which the writer turns back into 50.
        format.setProperty(QTextFormat::FontWeight, weight == normalWeight ? 0 : weight);
    }
    const int italic = fields.at(3).toInt(&ok);
    if (ok)
        format.setFontItalic(italic != 0);
    const int underlined = fields.at(4).toInt(&ok);
    if (ok)
        format.setFontUnderline(underlined != 0);
}

IniFile::Layout ColorScheme::fileLayout() const
{
    QStringList ruleKeys;
    for (int i = 0; i < outputHighlightRules.size(); ++i)
        ruleKeys.append(QString::number(i));
    return {{QStringLiteral("main"), {QStringLiteral("version")}},
            {codeEditorGroup, codeEditorRoles.names},
            {outputGroup, outputRoles.names},
            {rulesGroup, ruleKeys}};
}

void ColorScheme::read()
{
    buildDefaults();
    const QString path = UserDirectories::colorsFile();
    if (path.isEmpty())
        return;
    const auto file = IniFile::openForReading(path);
    if (!file)
        return;
    try {
        readRoles(*file, codeEditorGroup, codeEditorRoles);
        readRoles(*file, outputGroup, outputRoles);
        readRules(*file, outputHighlightRules);
    } catch (const std::bad_alloc &) {
        // A forged value asked for absurd memory; what was read so far stays.
    }
}

void ColorScheme::write() const
{
    const QString path = UserDirectories::colorsFile();
    if (path.isEmpty())
        return;
    // Written at every save of the session: nothing to do unless something changed since.
    QStringList values;
    for (const ColorRoleTable *table : {&codeEditorRoles, &outputRoles})
        for (const QString &name : table->names)
            values << name + QLatin1Char('=') + roleValueString(table->roles.value(name).format);
    for (const OutputHighlightRule &rule : outputHighlightRules)
        values << rule.toString();
    if (values == m_written && QFileInfo::exists(path))
        return;
    const bool written = IniFile::write(
        path,
        [this](QSettings &ini) {
            ini.setValue(QStringLiteral("main/version"), 1);
            for (const auto &[group, table] : {std::pair{codeEditorGroup, &codeEditorRoles},
                                               std::pair{outputGroup, &outputRoles}}) {
                ini.beginGroup(group);
                for (const QString &name : table->names)
                    ini.setValue(name, roleValueString(table->roles.value(name).format));
                ini.endGroup();
            }
            ini.remove(rulesGroup);
            ini.beginGroup(rulesGroup);
            for (int i = 0; i < outputHighlightRules.size(); ++i)
                ini.setValue(QString::number(i), outputHighlightRules.at(i).toString());
            ini.endGroup();
        },
        fileLayout());
    if (written)
        m_written = values;
}

} // namespace ke2
