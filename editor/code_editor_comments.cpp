// Line comments ("//" in MEL, "#" in Python) and MEL block comments.
#include "editor/code_editor.h"

#include "language/code_editor_block_data.h"

#include <QtGui/QTextBlock>

namespace ke2 {

void CodeEditor::ToggleComment()
{
    if (m_language == LANGUAGE_TEXT)
        return;
    const QString prefix = m_language == LANGUAGE_MEL ? QStringLiteral("//") : QStringLiteral("#");
    QTextBlock first, last;
    SelectedBlocks(&first, &last);

    bool allCommented = true;
    int minimumIndent = -1;
    for (QTextBlock block = first; block.isValid(); block = block.next()) {
        const QString text = block.text();
        if (!text.trimmed().isEmpty()) {
            const QString leading = LeadingWhitespace(text);
            if (!QStringView(text).mid(leading.size()).startsWith(prefix))
                allCommented = false;
            if (minimumIndent < 0 || leading.size() < minimumIndent)
                minimumIndent = leading.size();
        }
        if (block == last)
            break;
    }
    if (minimumIndent < 0)
        return; // only blank lines

    QTextCursor edit(document());
    edit.beginEditBlock();
    for (QTextBlock block = first; block.isValid(); block = block.next()) {
        const QString text = block.text();
        if (!text.trimmed().isEmpty()) {
            if (allCommented) {
                const int at = LeadingWhitespace(text).size();
                int length = prefix.size();
                if (at + length < text.size() && text.at(at + length) == QLatin1Char(' '))
                    ++length;
                edit.setPosition(block.position() + at);
                edit.setPosition(block.position() + at + length, QTextCursor::KeepAnchor);
                edit.removeSelectedText();
            } else {
                // The markers line up at the smallest indentation of the lines.
                edit.setPosition(block.position() + minimumIndent);
                edit.insertText(prefix + QLatin1Char(' '));
            }
        }
        if (block == last)
            break;
    }
    edit.endEditBlock();
}

void CodeEditor::ToggleBlockComment()
{
    if (m_language != LANGUAGE_MEL) {
        ToggleComment();
        return;
    }
    QTextCursor cursor = textCursor();
    const int anchor = cursor.anchor();
    const int position = cursor.position();
    const int start = cursor.selectionStart();
    const int end = cursor.selectionEnd();
    const QTextBlock block = cursor.block();
    const int column = position - block.position();
    CodeEditorBlockData *data = BlockData(block);
    const bool oneLine = document()->findBlock(start) == document()->findBlock(end);
    if (oneLine && data && data->isInLineComment(column)) {
        ToggleComment();
        return;
    }
    auto inBlockComment = [this](int at) {
        const QTextBlock b = document()->findBlock(at);
        CodeEditorBlockData *d = BlockData(b);
        return d && d->isInBlockComment(at - b.position());
    };
    const bool forward = cursor.hasSelection() && position == end;
    const bool inside = inBlockComment(position) || (forward && position > 0 && inBlockComment(position - 1));

    QTextCursor edit(document());
    edit.beginEditBlock();
    if (!inside) {
        edit.setPosition(end);
        edit.insertText(QStringLiteral("*/"));
        edit.setPosition(start);
        edit.insertText(QStringLiteral("/*"));
        edit.endEditBlock();
        cursor.setPosition(anchor + 2);
        cursor.setPosition(position + 2, QTextCursor::KeepAnchor);
        setTextCursor(cursor);
        return;
    }
    const QTextCursor open = document()->find(QStringLiteral("/*"), position, QTextDocument::FindBackward);
    const int openAt = open.isNull() ? -1 : open.selectionStart();
    const QTextCursor close = document()->find(QStringLiteral("*/"), std::max(position, openAt + 2));
    const int closeAt = close.isNull() ? -1 : close.selectionStart();
    if (openAt < 0 || closeAt < 0) {
        edit.endEditBlock();
        return;
    }
    edit.setPosition(closeAt);
    edit.setPosition(closeAt + 2, QTextCursor::KeepAnchor);
    edit.removeSelectedText();
    edit.setPosition(openAt);
    edit.setPosition(openAt + 2, QTextCursor::KeepAnchor);
    edit.removeSelectedText();
    edit.endEditBlock();
    // Each end moves left by the removed characters that stood before it.
    auto shifted = [&](int at) {
        int moved = at;
        if (at > openAt)
            moved -= std::min(2, at - openAt);
        if (at > closeAt)
            moved -= std::min(2, at - closeAt);
        return moved;
    };
    cursor.setPosition(shifted(anchor));
    cursor.setPosition(shifted(position), QTextCursor::KeepAnchor);
    setTextCursor(cursor);
}

} // namespace ke2
