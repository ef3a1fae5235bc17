#include "tests/editor/editor_test_support.h"

#include <QtGui/QSyntaxHighlighter>
#include <QtTest/QTest>

namespace ke2::test {

void setEditorState(CodeEditor &editor, const QString &marked)
{
    QString text = marked;
    int anchor = text.indexOf(QLatin1Char('^'));
    if (anchor >= 0)
        text.remove(anchor, 1);
    int position = text.indexOf(QLatin1Char('|'));
    if (position >= 0)
        text.remove(position, 1);
    if (anchor > position && position >= 0)
        --anchor;
    if (position < 0)
        position = 0;
    editor.setPlainText(text);
    if (editor.Highlighter())
        editor.Highlighter()->rehighlight();
    QTextCursor cursor = editor.textCursor();
    cursor.setPosition(anchor >= 0 ? anchor : position);
    cursor.setPosition(position, QTextCursor::KeepAnchor);
    editor.setTextCursor(cursor);
}

QString editorState(const CodeEditor &editor)
{
    QString text = editor.toPlainText();
    const QTextCursor cursor = editor.textCursor();
    const int position = cursor.position();
    const int anchor = cursor.anchor();
    if (anchor != position && anchor > position) {
        text.insert(anchor, QLatin1Char('^'));
        text.insert(position, QLatin1Char('|'));
    } else {
        text.insert(position, QLatin1Char('|'));
        if (anchor != position)
            text.insert(anchor, QLatin1Char('^'));
    }
    return text;
}

std::unique_ptr<CodeEditor> makeEditor(CodeEditorLanguage language, const QString &marked)
{
    auto editor = std::make_unique<CodeEditor>(language);
    editor->resize(600, 400);
    setEditorState(*editor, marked);
    return editor;
}

void typeKeys(CodeEditor &editor, const QString &keys)
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
        case 0x05: QTest::keyClick(&editor, Qt::Key_Delete); break;
        default: QTest::keyClick(&editor, c.toLatin1()); break;
        }
    }
}

} // namespace ke2::test
