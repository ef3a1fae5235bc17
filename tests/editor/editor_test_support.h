#pragma once

#include "config/color_scheme.h"
#include "config/settings.h"
#include "editor/code_editor.h"

#include <QtGui/QSyntaxHighlighter>
#include <QtTest/QTest>

#include <memory>

namespace ke2::test {

// Text with a cursor marker "|" and, optionally, an anchor marker "^" where the selection starts.
inline void setEditorState(CodeEditor &editor, QString text)
{
    int anchor = text.indexOf(QLatin1Char('^'));
    if (anchor >= 0)
        text.remove(anchor, 1);
    int position = text.indexOf(QLatin1Char('|'));
    if (position >= 0)
        text.remove(position, 1);
    if (anchor > position && position >= 0)
        --anchor;
    position = std::max(position, 0);
    editor.setPlainText(text);
    if (editor.Highlighter())
        editor.Highlighter()->rehighlight();
    QTextCursor cursor = editor.textCursor();
    cursor.setPosition(anchor >= 0 ? anchor : position);
    cursor.setPosition(position, QTextCursor::KeepAnchor);
    editor.setTextCursor(cursor);
}

inline QString editorState(const CodeEditor &editor)
{
    QString text = editor.toPlainText();
    const QTextCursor cursor = editor.textCursor();
    if (cursor.anchor() > cursor.position())
        text.insert(cursor.anchor(), QLatin1Char('^'));
    text.insert(cursor.position(), QLatin1Char('|'));
    if (cursor.anchor() < cursor.position())
        text.insert(cursor.anchor(), QLatin1Char('^'));
    return text;
}

inline std::unique_ptr<CodeEditor> makeEditor(CodeEditorLanguage language, const QString &marked)
{
    auto editor = std::make_unique<CodeEditor>(language);
    editor->resize(600, 400);
    setEditorState(*editor, marked);
    return editor;
}

// Plain characters are typed as themselves; "\n" Return, "\t" Tab, "\b" Backspace, "\x01" Home,
// "\x02" Shift+Tab, "\x03" keypad Enter, "\x04" Shift+Return, "\x05" Ctrl+Space.
inline void typeKeys(CodeEditor &editor, const QString &keys)
{
    for (QChar c : keys) {
        switch (c.unicode()) {
        case '\n': QTest::keyClick(&editor, Qt::Key_Return); break;
        case '\t': QTest::keyClick(&editor, Qt::Key_Tab); break;
        case '\b': QTest::keyClick(&editor, Qt::Key_Backspace); break;
        case 0x01: QTest::keyClick(&editor, Qt::Key_Home); break;
        case 0x02: QTest::keyClick(&editor, Qt::Key_Backtab, Qt::ShiftModifier); break;
        case 0x03: QTest::keyClick(&editor, Qt::Key_Enter, Qt::KeypadModifier); break;
        case 0x04: QTest::keyClick(&editor, Qt::Key_Return, Qt::ShiftModifier); break;
        case 0x05: QTest::keyClick(&editor, Qt::Key_Space, Qt::ControlModifier); break;
        default: QTest::keyClick(&editor, c.toLatin1()); break;
        }
    }
}

// Start positions of the extra selections drawn with a colour role's background.
inline QVector<int> selectionsWithRole(const CodeEditor &editor, const char *role)
{
    const QColor background =
        ColorScheme::instance().codeEditorRoles.format(QString::fromLatin1(role)).background().color();
    QVector<int> starts;
    for (const QTextEdit::ExtraSelection &selection : editor.extraSelections()) {
        if (selection.format.hasProperty(QTextFormat::BackgroundBrush)
            && selection.format.background().color() == background && selection.cursor.hasSelection())
            starts.append(selection.cursor.selectionStart());
    }
    std::sort(starts.begin(), starts.end());
    return starts;
}

// Puts the settings record back as it was when the guard was made.
class SettingsGuard {
public:
    SettingsGuard() : m_saved(Settings::instance()) {}
    ~SettingsGuard() { Settings::instance() = m_saved; }

private:
    Settings m_saved;
};

} // namespace ke2::test
