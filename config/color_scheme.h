#pragma once

#include "config/ini_file.h"
#include "config/output_highlight_rule.h"

#include <QtCore/QMap>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <QtGui/QColor>
#include <QtGui/QTextCharFormat>

namespace ke2 {

// Role names as they appear in the colour file and the preferences; painting code looks formats
// up by these.
namespace ColorRoleName {
inline constexpr char plainText[] = "Plain Text";
inline constexpr char selectedText[] = "Selected Text";
inline constexpr char matchingSelection[] = "Matching Selection";
inline constexpr char findReplaceSelected[] = "Find/Replace Selected";
inline constexpr char findReplaceMatching[] = "Find/Replace Matching";
inline constexpr char findReplaceSelection[] = "Find/Replace Selection";
inline constexpr char currentLine[] = "Current Line";
inline constexpr char matchingBraces[] = "Matching Braces";
inline constexpr char whitespaces[] = "Whitespaces";
inline constexpr char indentationGuides[] = "Indentation Guides";
inline constexpr char lineNumbers[] = "Line Numbers";
inline constexpr char gutter[] = "Gutter";
inline constexpr char melKeywords[] = "MEL Keywords";
inline constexpr char melCommands[] = "MEL Commands";
inline constexpr char melStrings[] = "MEL Strings";
inline constexpr char melNumbers[] = "MEL Numbers";
inline constexpr char melVariables[] = "MEL Variables";
inline constexpr char melProcs[] = "MEL Procs";
inline constexpr char melComments[] = "MEL Comments";
inline constexpr char pythonKeywords[] = "Python Keywords";
inline constexpr char pythonBuiltins[] = "Python Builtins";
inline constexpr char pythonStrings[] = "Python Strings";
inline constexpr char pythonDocStrings[] = "Python Doc Strings";
inline constexpr char pythonNumbers[] = "Python Numbers";
inline constexpr char pythonClasses[] = "Python Classes";
inline constexpr char pythonMethods[] = "Python Methods";
inline constexpr char pythonComments[] = "Python Comments";
inline constexpr char pythonDecorators[] = "Python Decorators";
inline constexpr char pythonSelfCls[] = "Python self/cls";
inline constexpr char pythonMelCommands[] = "Python MEL Commands";
// Output roles (besides plainText, selectedText and matchingSelection).
inline constexpr char findSelected[] = "Find Selected";
inline constexpr char findMatching[] = "Find Matching";
} // namespace ColorRoleName

// A named text format (foreground, background, weight, italic, underline).
struct ColorRole {
    QString name = QStringLiteral("Not Set");
    QTextCharFormat format;
    QTextCharFormat defaultFormat; // the built-in format, for "restore defaults"
    bool syntax = false;           // a MEL or Python syntax role rather than an interface one

    void restoreDefault() { format = defaultFormat; }
};

// Roles by name plus their definition order (the order of the preferences list and of the file).
struct ColorRoleTable {
    QMap<QString, ColorRole> roles;
    QStringList names;

    // Inserts an empty "Not Set" role for an unknown name.
    ColorRole &operator[](const QString &name) { return roles[name]; }
    // The role's format; an empty format for an unknown name (nothing is inserted).
    QTextCharFormat format(const QString &name) const { return roles.value(name).format; }
    bool contains(const QString &name) const { return roles.contains(name); }
    void restoreDefaults();
};

// Every colour and font style the editors and the output paint with, and the output highlighting
// rules, kept in "kestrelEditor2_colors.ini".
class ColorScheme {
public:
    ColorScheme(); // the built-in defaults
    static ColorScheme &instance();

    // Rebuilds the defaults, then applies what the colour file says; malformed values are
    // skipped field by field, never reported.
    void read();
    // Writes every role and rule (atomically, like the settings file).
    void write() const;
    void buildDefaults();

    ColorRoleTable codeEditorRoles;
    ColorRoleTable outputRoles;
    QVector<OutputHighlightRule> outputHighlightRules;

    static QVector<OutputHighlightRule> defaultOutputHighlightRules();

    // Diagnostic underlines (not stored).
    static QTextCharFormat errorFormat();
    static QTextCharFormat warningFormat();
    static QTextCharFormat informationFormat();
    // Two fixed brush colours for the painting code.
    static QColor darkShade() { return QColor(38, 38, 38); }
    static QColor lightShade() { return QColor(54, 54, 54); }
    // Line markers and error bar marks, one per diagnostic class.
    static QColor errorMarkColor() { return QColor(244, 70, 70); }
    static QColor warningMarkColor() { return QColor(210, 210, 39); }
    static QColor informationMarkColor() { return QColor(86, 156, 214); }

    // "fg,bg,weight,italic,underline": colours as unsigned decimal 0xAARRGGBB (0 for none),
    // weight 50 for normal.
    static QString roleValueString(const QTextCharFormat &format);
    // Applies such a string to `format`; a string without exactly five fields changes nothing,
    // a field that does not convert leaves its property alone, a colour of 0 keeps the current one.
    static void applyRoleValueString(QTextCharFormat &format, const QString &value);

    // Groups and keys in file order for the current roles and rules.
    IniFile::Layout fileLayout() const;

private:
    // What this process last wrote to the file: an unchanged scheme is not written again.
    mutable QStringList m_written;
};

} // namespace ke2
