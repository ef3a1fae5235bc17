#pragma once

#include "config/color_scheme.h"
#include "config/settings.h"
#include "editor/code_editor.h"
#include "language/highlighter.h"

#include <QtGui/QSyntaxHighlighter>
#include <QtTest/QTest>

#include <memory>

namespace ke2::test {

// Text with a cursor marker "|" and, optionally, an anchor marker "^" before it where the selection
// starts.
inline void setEditorState(CodeEditor &editor, QString text)
{
    const int anchor = text.indexOf(QLatin1Char('^'));
    text.remove(QLatin1Char('^'));
    const int position = std::max(0, int(text.indexOf(QLatin1Char('|'))));
    editor.setPlainText(text.remove(QLatin1Char('|')));
    if (auto *highlighter = qobject_cast<ke2::Highlighter *>(editor.Highlighter())) {
        highlighter->rehighlight();
        highlighter->FinishPending(); // a busy machine may leave lines for a later slice
    }
    QTextCursor cursor = editor.textCursor();
    cursor.setPosition(anchor >= 0 ? anchor : position);
    cursor.setPosition(position, QTextCursor::KeepAnchor);
    editor.setTextCursor(cursor);
}

inline QString editorState(const CodeEditor &editor)
{
    QString text = editor.toPlainText();
    const int anchor = editor.textCursor().anchor(), position = editor.textCursor().position();
    text.insert(std::max(anchor, position), anchor > position ? QLatin1Char('^') : QLatin1Char('|'));
    if (anchor != position)
        text.insert(std::min(anchor, position), anchor < position ? QLatin1Char('^') : QLatin1Char('|'));
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
// "\x02" Shift+Tab, "\x03" keypad Enter, "\x04" Shift+Return, "\x05" Ctrl+Space; "\x06" double-clicks
// at the cursor.
inline void typeKeys(CodeEditor &editor, const QString &keys)
{
    static const QHash<QChar, QPair<Qt::Key, Qt::KeyboardModifiers>> special{
        {'\n', {Qt::Key_Return, Qt::NoModifier}}, {'\t', {Qt::Key_Tab, Qt::NoModifier}},
        {'\b', {Qt::Key_Backspace, Qt::NoModifier}}, {'\x01', {Qt::Key_Home, Qt::NoModifier}},
        {'\x02', {Qt::Key_Backtab, Qt::ShiftModifier}}, {'\x03', {Qt::Key_Enter, Qt::KeypadModifier}},
        {'\x04', {Qt::Key_Return, Qt::ShiftModifier}}, {'\x05', {Qt::Key_Space, Qt::ControlModifier}}};
    for (QChar c : keys) {
        if (c == QChar(7)) // a line feed key, as an input tool sends for a typed "\n"
            QTest::sendKeyEvent(QTest::Click, &editor, Qt::Key(0x0a), QStringLiteral("\n"), Qt::NoModifier);
        else if (c == QChar(6))
            QTest::mouseDClick(editor.viewport(), Qt::LeftButton, {}, editor.cursorRect().center());
        else if (special.contains(c))
            QTest::keyClick(&editor, special[c].first, special[c].second);
        else
            QTest::keyClick(&editor, c.toLatin1());
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
struct SettingsGuard {
    const Settings saved = Settings::instance();
    ~SettingsGuard() { Settings::instance() = saved; }
};

} // namespace ke2::test
