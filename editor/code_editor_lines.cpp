// Whole-line clipboard, line moves, copies and deletes, and the save-time clean-up.
#include "editor/code_editor.h"

#include <QtCore/QMimeData>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtGui/QTextBlock>

namespace ke2 {

void CodeEditor::SelectedBlocks(QTextBlock *first, QTextBlock *last) const
{
    const QTextCursor cursor = textCursor();
    *first = document()->findBlock(cursor.selectionStart());
    *last = document()->findBlock(cursor.selectionEnd());
    // A selection that ends at the start of a line does not take that line.
    if (cursor.hasSelection() && *last != *first && cursor.selectionEnd() == last->position())
        *last = last->previous();
}

// --- clipboard ---------------------------------------------------------------------------------

void CodeEditor::CustomCopy()
{
    QTextCursor cursor = textCursor();
    if (cursor.hasSelection()) {
        copy();
        return;
    }
    auto *mime = new QMimeData; // the clipboard takes ownership
    mime->setText(cursor.block().text());
    mime->setData(QString::fromLatin1(lineMimeType), QByteArray("1"));
    QGuiApplication::clipboard()->setMimeData(mime);
}

void CodeEditor::CustomCut()
{
    if (isReadOnly()) {
        CustomCopy();
        return;
    }
    if (textCursor().hasSelection()) {
        cut();
        return;
    }
    CustomCopy();
    DeleteLines();
}

void CodeEditor::CustomPaste()
{
    if (isReadOnly())
        return;
    QTextCursor cursor = textCursor();
    const QMimeData *mime = QGuiApplication::clipboard()->mimeData();
    if (!cursor.hasSelection() && mime && !mime->data(QString::fromLatin1(lineMimeType)).isEmpty()) {
        const int column = cursor.position() - cursor.block().position();
        const QString text = mime->text() + QLatin1Char('\n');
        QTextCursor edit(cursor.block());
        edit.insertText(text);
        // The cursor stays on its own line (now one further down), at the same column.
        cursor.setPosition(edit.position() + column);
        setTextCursor(cursor);
        return;
    }
    paste();
}

// --- line operations ---------------------------------------------------------------------------

void CodeEditor::MoveLine(bool up)
{
    QTextBlock first, last;
    SelectedBlocks(&first, &last);
    const QTextBlock neighbour = up ? first.previous() : last.next();
    if (!neighbour.isValid())
        return;
    QTextCursor cursor = textCursor();
    const int anchor = cursor.anchor() - first.position();
    const int position = cursor.position() - first.position();
    const QString neighbourText = neighbour.text();
    // Everything is read before the first edit: a removal can take the very blocks these
    // handles point at (the neighbour's, when a line passes an empty one), and a handle to a
    // removed block reports position 0.
    const int neighbourPosition = neighbour.position();
    const int movedLines = last.blockNumber() - first.blockNumber();
    QTextCursor edit(document());
    edit.beginEditBlock();
    int newFirst = 0;
    if (up) {
        edit.setPosition(neighbourPosition);
        edit.setPosition(first.position(), QTextCursor::KeepAnchor);
        edit.removeSelectedText();
        newFirst = neighbourPosition;
        QTextBlock end = document()->findBlock(newFirst);
        for (int i = movedLines; i > 0; --i)
            end = end.next();
        edit.setPosition(end.position() + end.length() - 1);
        edit.insertText(QLatin1Char('\n') + neighbourText);
    } else {
        const int firstPosition = first.position();
        edit.setPosition(last.position() + last.length() - 1);
        edit.setPosition(neighbour.position() + neighbour.length() - 1, QTextCursor::KeepAnchor);
        edit.removeSelectedText();
        edit.setPosition(firstPosition);
        edit.insertText(neighbourText + QLatin1Char('\n'));
        newFirst = firstPosition + neighbourText.size() + 1;
    }
    edit.endEditBlock();
    cursor.setPosition(newFirst + anchor);
    cursor.setPosition(newFirst + position, QTextCursor::KeepAnchor);
    setTextCursor(cursor);
}

void CodeEditor::CopyLine(bool up)
{
    QTextBlock first, last;
    SelectedBlocks(&first, &last);
    QTextCursor cursor = textCursor();
    const int anchor = cursor.anchor();
    const int position = cursor.position();
    const int start = first.position();
    const int end = last.position() + last.length() - 1;
    QTextCursor edit(document());
    edit.setPosition(start);
    edit.setPosition(end, QTextCursor::KeepAnchor);
    const QString text = edit.selectedText().replace(QChar(QChar::ParagraphSeparator), QLatin1Char('\n'));
    edit.beginEditBlock();
    edit.setPosition(end);
    edit.insertText(QLatin1Char('\n') + text);
    edit.endEditBlock();
    // Copy down puts the selection on the new lines; copy up leaves it on the (upper) source.
    const int shift = up ? 0 : text.size() + 1;
    cursor.setPosition(anchor + shift);
    cursor.setPosition(position + shift, QTextCursor::KeepAnchor);
    setTextCursor(cursor);
}

void CodeEditor::DeleteLines()
{
    QTextBlock first, last;
    SelectedBlocks(&first, &last);
    QTextCursor edit(document());
    edit.beginEditBlock();
    edit.setPosition(first.position());
    const QTextBlock after = last.next();
    // The last line keeps the line break before it, so an empty last line remains.
    edit.setPosition(after.isValid() ? after.position() : last.position() + last.length() - 1,
                     QTextCursor::KeepAnchor);
    edit.removeSelectedText();
    edit.endEditBlock();
    setTextCursor(edit);
}

// --- save-time clean-up ------------------------------------------------------------------------

void CodeEditor::TrimTrailingWhiteSpaces(bool ensureNewLineAtEof)
{
    const QString text = document()->toPlainText();
    if (text.isEmpty())
        return;
    QTextCursor cursor = textCursor();
    int anchor = cursor.anchor();
    int position = cursor.position();
    QString result;
    result.reserve(text.size() + 1);
    // From the end: a blank counts as trailing while only blanks stand between it and "\n" or
    // the end of the text.
    QVector<bool> keep(text.size(), true);
    bool trailing = true;
    for (int i = text.size() - 1; i >= 0; --i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('\n')) {
            trailing = true;
        } else if (trailing && (c == QLatin1Char(' ') || c == QLatin1Char('\t'))) {
            keep[i] = false;
            if (i < anchor)
                --anchor;
            if (i < position)
                --position;
        } else {
            trailing = false;
        }
    }
    for (int i = 0; i < text.size(); ++i) {
        if (keep.at(i))
            result.append(text.at(i));
    }
    if (ensureNewLineAtEof && !result.endsWith(QLatin1Char('\n')))
        result.append(QLatin1Char('\n'));
    m_bulkReplace = true;
    QTextCursor edit(document());
    edit.beginEditBlock();
    edit.select(QTextCursor::Document);
    edit.removeSelectedText();
    edit.insertText(result);
    edit.endEditBlock();
    m_bulkReplace = false;
    cursor.setPosition(std::min(anchor, int(result.size())));
    cursor.setPosition(std::min(position, int(result.size())), QTextCursor::KeepAnchor);
    setTextCursor(cursor);
}

void CodeEditor::EnsureNewLineAtEof()
{
    if (document()->isEmpty())
        return;
    QTextBlock lastBlock = document()->lastBlock();
    if (lastBlock.text().isEmpty() && lastBlock.blockNumber() > 0)
        return; // already ends with a line break
    QTextCursor cursor = textCursor();
    const int anchor = cursor.anchor();
    const int position = cursor.position();
    QTextCursor edit(document());
    edit.movePosition(QTextCursor::End);
    edit.insertText(QStringLiteral("\n"));
    cursor.setPosition(anchor);
    cursor.setPosition(position, QTextCursor::KeepAnchor);
    setTextCursor(cursor);
}

} // namespace ke2
