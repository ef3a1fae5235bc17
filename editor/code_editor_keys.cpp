// Key handling of the code editor: the order of the rules matters (see keyPressEvent), and every
// rule that changes more than one thing runs in one edit block so that one undo reverts it.
#include "editor/code_editor.h"

#include "config/settings.h"
#include "language/code_editor_block_data.h"
#include "editor/code_editor_completer.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMimeData>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QToolTip>

namespace ke2 {

namespace {
bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

QChar partnerOf(QChar c)
{
    switch (c.unicode()) {
    case '(': return QLatin1Char(')');
    case '[': return QLatin1Char(']');
    case '{': return QLatin1Char('}');
    case ')': return QLatin1Char('(');
    case ']': return QLatin1Char('[');
    case '}': return QLatin1Char('{');
    default: return QChar();
    }
}

// Character at `column` of `text`, null outside it.
QChar charAt(const QString &text, int column)
{
    return column >= 0 && column < text.size() ? text.at(column) : QChar();
}
} // namespace

// --- per-language switches ---------------------------------------------------------------------

bool CodeEditor::SmartIndentOn() const
{
    const Settings &s = Settings::instance();
    return (m_language == LANGUAGE_MEL && s.melSmartIndent) || (m_language == LANGUAGE_PYTHON && s.pythonSmartIndent);
}

bool CodeEditor::IndentToParenthesesOn() const
{
    const Settings &s = Settings::instance();
    return (m_language == LANGUAGE_MEL && s.melIndentToParentheses)
           || (m_language == LANGUAGE_PYTHON && s.pythonIndentToParentheses);
}

bool CodeEditor::InsertClosingParenthesesOn() const
{
    const Settings &s = Settings::instance();
    return (m_language == LANGUAGE_MEL && s.melInsertClosingParentheses)
           || (m_language == LANGUAGE_PYTHON && s.pythonInsertClosingParentheses);
}

bool CodeEditor::InsertClosingQuotesOn() const
{
    const Settings &s = Settings::instance();
    return (m_language == LANGUAGE_MEL && s.melInsertClosingQuotes)
           || (m_language == LANGUAGE_PYTHON && s.pythonInsertClosingQuotes);
}

bool CodeEditor::CompleteOnLettersOn() const
{
    const Settings &s = Settings::instance();
    return (m_language == LANGUAGE_MEL && s.melCompleteOnLetters)
           || (m_language == LANGUAGE_PYTHON && s.pythonCompleteOnLetters);
}

bool CodeEditor::TypingInCommentOrString() const
{
    const QTextCursor cursor = textCursor();
    const int column = cursor.positionInBlock() - 1;
    const CodeEditorBlockData *data = CodeEditorBlockData::of(cursor.block());
    return column >= 0 && data
           && (data->isInString(column) || data->isInLineComment(column) || data->isInBlockComment(column));
}

bool CodeEditor::IsQuoteKey(QChar c) const
{
    return c == QLatin1Char('"') || (m_language == LANGUAGE_PYTHON && c == QLatin1Char('\''))
           || (m_language == LANGUAGE_MEL && c == QLatin1Char('`'));
}

// --- piece breaks ------------------------------------------------------------------------------

void CodeEditor::StepOffPieceBreak(const QKeyEvent *event)
{
    QTextCursor cursor = textCursor();
    if (m_pieceBreak.isNull() || cursor.hasSelection())
        return;
    const auto endsInBreak = [this](const QTextBlock &block) {
        return block.isValid() && block.length() > 1 && block.text().endsWith(m_pieceBreak) && block.next().isValid();
    };
    const QTextBlock block = cursor.block();
    const int column = cursor.positionInBlock(), length = block.length() - 1;
    const int key = event->key();
    int to = -1;
    if (key == Qt::Key_Backspace) {
        // Deletes the last character of the row before rather than the break.
        if (column == 0 && endsInBreak(block.previous()))
            to = block.position() - 2;
    } else if (key == Qt::Key_Delete) {
        // Deletes the first character of the next row.
        if (endsInBreak(block) && column >= length - 1)
            to = block.next().position();
    } else if (!event->text().isEmpty() || key == Qt::Key_Return || key == Qt::Key_Enter) {
        // Typed text goes before the break, so the break stays one.
        if (endsInBreak(block) && column == length)
            to = cursor.position() - 1;
    }
    if (to < 0)
        return;
    cursor.setPosition(to);
    setTextCursor(cursor);
}

QMimeData *CodeEditor::createMimeDataFromSelection() const
{
    QMimeData *data = QPlainTextEdit::createMimeDataFromSelection();
    if (!m_pieceBreak.isNull() && data && data->hasText() && data->text().contains(m_pieceBreak)) {
        QString text = data->text();
        text.remove(QString(m_pieceBreak) + QLatin1Char('\n'));
        text.remove(m_pieceBreak);
        data->setText(text);
    }
    return data;
}

// --- keyPressEvent -----------------------------------------------------------------------------

void CodeEditor::keyPressEvent(QKeyEvent *event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers();
    const bool control = modifiers & Qt::ControlModifier;
    const bool shift = modifiers & Qt::ShiftModifier;
    const bool alt = modifiers & Qt::AltModifier;
    const bool meta = modifiers & Qt::MetaModifier;
    const int key = event->key();
    if (QToolTip::isVisible())
        QToolTip::hideText();
    // Read-only (a file still loading): only the keys the base class allows, which move and
    // copy; the rules below edit through cursors of their own, which read-only does not stop.
    if (isReadOnly()) {
        if (key == Qt::Key_Escape)
            emit EscapeKeyPressed();
        else
            QPlainTextEdit::keyPressEvent(event);
        return;
    }
    StepOffPieceBreak(event);

    // A typed line feed (what input tools send for "\n", the X keysym Linefeed) breaks the line
    // as Return does, with Return's indentation rules.
    if (key == 0x0a && !control && !alt && !meta) {
        // Sent, not called: an open completion popup filters the editor's keys and takes Return.
        QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, modifiers, QStringLiteral("\r"));
        QCoreApplication::sendEvent(this, &enter);
        event->setAccepted(enter.isAccepted());
        return;
    }

    // Keypad Enter alone executes, like Ctrl+Enter in the host's own script editor.
    if (key == Qt::Key_Enter && !control && !alt && !meta && !shift) {
        QKeyEvent ctrlEnter(QEvent::KeyPress, Qt::Key_Enter, Qt::ControlModifier, QString());
        QCoreApplication::sendEvent(this, &ctrlEnter);
        return;
    }
    // Shift+Return is an ordinary newline, never a soft line separator.
    if ((key == Qt::Key_Enter || key == Qt::Key_Return) && shift && !control && !meta) {
        QKeyEvent plain(QEvent::KeyPress, key, Qt::NoModifier, event->text());
        QCoreApplication::sendEvent(this, &plain);
        return;
    }
    if (key == Qt::Key_Escape) {
        emit EscapeKeyPressed();
        return;
    }

    bool special = true;
    const QString typed = event->text();
    const QChar c = typed.size() == 1 ? typed.at(0) : QChar();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        if (control || meta || alt) {
            event->ignore(); // left to the parent and to the shortcuts
            return;
        }
        NewLineWithIndentation();
    } else if (key == Qt::Key_Tab) {
        IncreaseIndent(false);
    } else if (key == Qt::Key_Backtab) {
        DecreaseIndent();
    } else if (key == Qt::Key_Insert) {
        SetSharedOverwriteMode(!SharedOverwriteMode());
        ApplySharedOverwriteMode();
        emit OverwriteModeChanged();
    } else if (key == Qt::Key_Home) {
        SmartHome(shift, control);
    } else if (c == QLatin1Char('(') || c == QLatin1Char('[') || c == QLatin1Char('{')) {
        // By the character, whatever the modifiers: some layouts type brackets with AltGr.
        OpeningBracket(c);
    } else if (c == QLatin1Char(')') || c == QLatin1Char(']') || c == QLatin1Char('}')) {
        ClosingBracket(c);
    } else if (IsQuoteKey(c)) {
        Quote(c);
    } else if (key == Qt::Key_Space && control) {
        if (CompleteOnLettersOn())
            RequestCompletion(true);
        return;
    } else if (event->matches(QKeySequence::Cut)) {
        CustomCut();
    } else if (event->matches(QKeySequence::Copy)) {
        CustomCopy();
    } else if (event->matches(QKeySequence::Paste)) {
        CustomPaste();
    } else {
        special = false;
    }

    if (!special) {
        const bool popup = m_completer && m_completer->IsPopupVisible();
        QTextCursor cursor = textCursor();
        if (popup && cursor.position() > 0) {
            if (key == Qt::Key_Backspace) {
                const QChar before = document()->characterAt(cursor.position() - 1);
                if (before == QLatin1Char('.') || before == QLatin1Char(' ') || before == QLatin1Char('\t')
                    || before == QChar(QChar::ParagraphSeparator))
                    m_completer->HidePopup();
            } else if (key == Qt::Key_Left || key == Qt::Key_Right) {
                m_completer->HidePopup();
            }
        }
        if (key == Qt::Key_Backspace && modifiers == Qt::NoModifier && BackspaceRules())
            return;
        QPlainTextEdit::keyPressEvent(event);
        if (m_completer && m_completer->IsPopupVisible()) {
            RequestCompletion(false);
            return;
        }
        // Typed letters and dots open completion in code only (Ctrl+Space opens it anywhere); in a
        // comment or string they also drop a request that the first letters of the line made.
        const bool dot = c == QLatin1Char('.') && m_language == LANGUAGE_PYTHON && Settings::instance().pythonCompleteOnDot;
        // A "-" after a MEL command opens its flags.
        const bool flag = c == QLatin1Char('-') && m_language == LANGUAGE_MEL && Settings::instance().melCompleteFlags
                          && !control && !meta && !alt && CompleteOnLettersOn();
        static const QRegularExpression letter(QStringLiteral("[a-zA-Z_]"));
        const bool typedLetter = !dot && !control && !meta && !alt && !c.isNull()
                                 && letter.match(QString(c)).hasMatch() && CompleteOnLettersOn();
        if ((dot || flag || typedLetter) && TypingInCommentOrString()) {
            if (m_completer)
                m_completer->HidePopup();
        } else if (dot || flag || typedLetter) {
            RequestCompletion(false);
        }
        return;
    }
    if (m_completer && m_completer->IsPopupVisible())
        RequestCompletion(false);
}

void CodeEditor::RequestCompletion(bool forced)
{
    if (!m_completer)
        return;
    m_completer->Update(textCursor(), cursorRect(), forced);
}

// --- indentation helpers -----------------------------------------------------------------------

int CodeEditor::VisualWidth(const QString &text, int tabSize)
{
    int width = 0;
    for (QChar c : text)
        width = c == QLatin1Char('\t') ? (width / tabSize + 1) * tabSize : width + 1;
    return width;
}

QString CodeEditor::LeadingWhitespace(const QString &text)
{
    int i = 0;
    while (i < text.size() && isBlank(text.at(i)))
        ++i;
    return text.left(i);
}

QString CodeEditor::ConvertIndentation(const QString &whitespace) const
{
    const int width = VisualWidth(whitespace, m_tabSize);
    if (m_insertSpaces)
        return QString(width, QLatin1Char(' '));
    return QString(width / m_tabSize, QLatin1Char('\t')) + QString(width % m_tabSize, QLatin1Char(' '));
}

void CodeEditor::NormaliseLeadingWhitespace(QTextCursor &cursor, const QTextBlock &block) const
{
    const QString leading = LeadingWhitespace(block.text());
    const QString converted = ConvertIndentation(leading);
    if (converted == leading)
        return;
    const int column = cursor.position() - block.position();
    QTextCursor edit(block);
    edit.setPosition(block.position() + leading.size(), QTextCursor::KeepAnchor);
    edit.insertText(converted);
    // A cursor inside the old whitespace ends at the end of the new one.
    if (column <= leading.size() && !cursor.hasSelection())
        cursor.setPosition(block.position() + (column == 0 ? 0 : converted.size()));
}

void CodeEditor::IndentToNextStop(QTextCursor &cursor)
{
    QTextBlock block = cursor.block();
    const QString before = block.text().left(cursor.position() - block.position());
    if (before.trimmed().isEmpty()) {
        cursor.clearSelection();
        static const QRegularExpression onlyBlanks(QStringLiteral("^[\t ]+$"));
        const QString line = block.text();
        if (onlyBlanks.match(line).hasMatch()) {
            const int column = VisualWidth(line.left(cursor.position() - block.position()), m_tabSize);
            const QString run = m_insertSpaces ? QString(column / m_tabSize * m_tabSize, QLatin1Char(' '))
                                               : QString(column / m_tabSize, QLatin1Char('\t'));
            cursor.setPosition(block.position());
            cursor.setPosition(block.position() + line.size(), QTextCursor::KeepAnchor);
            cursor.insertText(run);
        } else {
            NormaliseLeadingWhitespace(cursor, block);
        }
    }
    if (m_insertSpaces) {
        const int column = cursor.position() - cursor.block().position();
        cursor.insertText(QString(m_tabSize - column % m_tabSize, QLatin1Char(' ')));
    } else {
        cursor.insertText(QStringLiteral("\t"));
    }
}

void CodeEditor::OutdentLine(QTextCursor &cursor, const QTextBlock &block, bool wholeSelection)
{
    const QString leading = LeadingWhitespace(block.text());
    if (leading.isEmpty())
        return;
    const int width = VisualWidth(leading, m_tabSize);
    QTextCursor edit(block);
    edit.setPosition(block.position() + leading.size(), QTextCursor::KeepAnchor);
    int remove = 0;
    QString normalised;
    if (m_insertSpaces) {
        normalised = QString(width, QLatin1Char(' '));
        const int remainder = width % m_tabSize;
        remove = std::min(width, wholeSelection || remainder == 0 ? m_tabSize : remainder);
    } else {
        normalised = QString(width / m_tabSize, QLatin1Char('\t')) + QString(width % m_tabSize, QLatin1Char(' '));
        if (normalised.startsWith(QLatin1Char('\t'))) {
            remove = 1;
        } else {
            while (remove < normalised.size() && remove < m_tabSize && normalised.at(remove) == QLatin1Char(' '))
                ++remove;
        }
    }
    edit.insertText(normalised.mid(remove));
    Q_UNUSED(cursor);
}

void CodeEditor::IncreaseIndent(bool fullLine)
{
    QTextCursor cursor = textCursor();
    const bool multiLine = cursor.hasSelection()
                           && document()->findBlock(cursor.selectionStart()) != document()->findBlock(cursor.selectionEnd());
    if (!multiLine && !fullLine) {
        cursor.beginEditBlock();
        IndentToNextStop(cursor);
        cursor.endEditBlock();
        setTextCursor(cursor);
        return;
    }
    QTextBlock first, last;
    SelectedBlocks(&first, &last);
    const QString unit = m_insertSpaces ? QString(m_tabSize, QLatin1Char(' ')) : QStringLiteral("\t");
    QTextCursor edit(document());
    edit.beginEditBlock();
    for (QTextBlock block = first; block.isValid(); block = block.next()) {
        if (!block.text().isEmpty()) {
            edit.setPosition(block.position());
            edit.insertText(unit);
            NormaliseLeadingWhitespace(edit, block);
        }
        if (block == last)
            break;
    }
    edit.endEditBlock();
}

void CodeEditor::DecreaseIndent()
{
    QTextCursor cursor = textCursor();
    QTextBlock first, last;
    SelectedBlocks(&first, &last);
    const bool wholeSelection = first != last;
    cursor.beginEditBlock();
    for (QTextBlock block = first; block.isValid(); block = block.next()) {
        OutdentLine(cursor, block, wholeSelection);
        if (block == last)
            break;
    }
    cursor.endEditBlock();
}

// --- Return ------------------------------------------------------------------------------------

void CodeEditor::NewLineWithIndentation()
{
    QTextCursor cursor = textCursor();
    cursor.beginEditBlock();
    cursor.removeSelectedText();
    const QTextBlock block = cursor.block();
    const QString text = block.text();
    const int column = cursor.position() - block.position();
    int left = column - 1;
    while (left >= 0 && isBlank(text.at(left)))
        --left;
    int right = column;
    while (right < text.size() && isBlank(text.at(right)))
        ++right;
    const QChar previous = charAt(text, left);
    const QChar next = charAt(text, right);
    cursor.insertText(QStringLiteral("\n"));
    IndentNewLine(cursor, block, column, previous, next);
    cursor.endEditBlock();
    setTextCursor(cursor);
}

void CodeEditor::IndentNewLine(QTextCursor &cursor, const QTextBlock &splitBlock, int column, QChar previous,
                               QChar next)
{
    if (!m_autoIndent || !BlockData(splitBlock))
        return;
    const bool mel = m_language == LANGUAGE_MEL;
    const QString text = splitBlock.text();

    if (IndentToParenthesesOn()) {
        CodeEditorBlockData *data = BlockData(splitBlock);
        QChar bracket;
        int open = -1;
        if (data->unclosedOpeningBefore(column, &bracket, &open) && (!mel || bracket == QLatin1Char('('))) {
            const int width = VisualWidth(text.left(open + 1), m_tabSize);
            cursor.insertText(ConvertIndentation(QString(width, QLatin1Char(' '))));
            return;
        }
        const CodeEditorBlockData::ClosedBracket closed = CodeEditorBlockData::closedFromEarlierLine(splitBlock, column);
        if (closed.isValid() && (!mel || closed.character == QLatin1Char(')'))) {
            const QString base = ConvertIndentation(LeadingWhitespace(closed.partner.block.text()));
            cursor.insertText(base);
            if (previous == (mel ? QLatin1Char('{') : QLatin1Char(':')))
                IndentToNextStop(cursor);
            if (mel && next == QLatin1Char('}')) {
                const int position = cursor.position();
                cursor.insertText(QStringLiteral("\n") + base);
                cursor.setPosition(position);
            }
            return;
        }
    }

    QString leading = LeadingWhitespace(text);
    if (column < leading.size())
        leading.truncate(column);
    const QString base = ConvertIndentation(leading);
    cursor.insertText(base);

    if (SmartIndentOn()) {
        if (mel) {
            if (previous == QLatin1Char('(') || previous == QLatin1Char('[')) {
                IndentToNextStop(cursor);
            } else {
                const int balance = BlockData(splitBlock)->bracketBalance(QLatin1Char('{'), column);
                for (int i = 0; i < balance; ++i)
                    IndentToNextStop(cursor);
                // A single surplus "}" was outdented when it was typed.
                for (int i = 0; i < -balance - 1; ++i)
                    OutdentLine(cursor, cursor.block(), false);
            }
        } else if (m_language == LANGUAGE_PYTHON) {
            if (previous == QLatin1Char(':') || previous == QLatin1Char('(') || previous == QLatin1Char('[')
                || previous == QLatin1Char('{'))
                IndentToNextStop(cursor);
        }
    }

    if (!previous.isNull() && partnerOf(previous) == next && QStringLiteral("([{").contains(previous)) {
        const int position = cursor.position();
        cursor.insertText(QStringLiteral("\n") + base);
        cursor.setPosition(position);
    }
}

// --- Home --------------------------------------------------------------------------------------

void CodeEditor::SmartHome(bool shift, bool control)
{
    QTextCursor cursor = textCursor();
    const QTextCursor::MoveMode mode = shift ? QTextCursor::KeepAnchor : QTextCursor::MoveAnchor;
    if (control) {
        cursor.movePosition(QTextCursor::Start, mode);
        setTextCursor(cursor);
        return;
    }
    const int before = cursor.position();
    const QTextBlock block = cursor.block();
    cursor.movePosition(QTextCursor::StartOfBlock, mode);
    const QString text = block.text();
    if (!text.isEmpty() && text.at(0).isSpace()) {
        const int firstNonBlank = block.position() + LeadingWhitespace(text).size();
        if (firstNonBlank != before)
            cursor.setPosition(firstNonBlank, mode);
    }
    setTextCursor(cursor);
}

// --- brackets and quotes -----------------------------------------------------------------------

void CodeEditor::WrapSelection(QTextCursor &cursor, QChar open, QChar close)
{
    const int start = cursor.selectionStart();
    const int end = cursor.selectionEnd();
    const bool forward = cursor.position() == end;
    QTextCursor edit(document());
    edit.setPosition(end);
    edit.insertText(QString(close));
    edit.setPosition(start);
    edit.insertText(QString(open));
    cursor.setPosition(forward ? start + 1 : end + 1);
    cursor.setPosition(forward ? end + 1 : start + 1, QTextCursor::KeepAnchor);
}

void CodeEditor::OpeningBracket(QChar bracket)
{
    QTextCursor cursor = textCursor();
    const QChar partner = partnerOf(bracket);
    cursor.beginEditBlock();
    if (InsertClosingParenthesesOn()) {
        if (cursor.hasSelection()) {
            WrapSelection(cursor, bracket, partner);
        } else {
            const QTextBlock block = cursor.block();
            const int column = cursor.position() - block.position();
            const QChar next = charAt(block.text(), column);
            CodeEditorBlockData *data = BlockData(block);
            const bool addPartner = data && !data->isInString(column)
                                    && (next.isNull() || next.isSpace() || QStringLiteral("()[]{}").contains(next));
            cursor.insertText(QString(bracket));
            if (addPartner) {
                cursor.insertText(QString(partner));
                cursor.movePosition(QTextCursor::Left);
            }
        }
    } else {
        cursor.insertText(QString(bracket));
    }
    cursor.endEditBlock();
    setTextCursor(cursor);
}

void CodeEditor::ClosingBracket(QChar bracket)
{
    QTextCursor cursor = textCursor();
    if (cursor.hasSelection()) {
        cursor.insertText(QString(bracket));
        setTextCursor(cursor);
        return;
    }
    const QTextBlock block = cursor.block();
    const int column = cursor.position() - block.position();
    if (InsertClosingParenthesesOn() && charAt(block.text(), column) == bracket) {
        cursor.movePosition(QTextCursor::Right);
        setTextCursor(cursor);
        return;
    }
    cursor.beginEditBlock();
    if (SmartIndentOn() && !IndentToParenthesesOn() && block.text().trimmed().isEmpty()) {
        const QTextBlock partner = OpeningPartnerBlock(block, column, partnerOf(bracket));
        if (partner.isValid()) {
            cursor.setPosition(block.position());
            cursor.setPosition(block.position() + block.length() - 1, QTextCursor::KeepAnchor);
            cursor.insertText(LeadingWhitespace(partner.text()));
        }
    }
    cursor.insertText(QString(bracket));
    cursor.endEditBlock();
    setTextCursor(cursor);
}

void CodeEditor::Quote(QChar quote)
{
    QTextCursor cursor = textCursor();
    if (!InsertClosingQuotesOn()) {
        cursor.insertText(QString(quote));
        setTextCursor(cursor);
        return;
    }
    cursor.beginEditBlock();
    if (cursor.hasSelection()) {
        WrapSelection(cursor, quote, quote);
    } else {
        const QTextBlock block = cursor.block();
        const QString text = block.text();
        const int column = cursor.position() - block.position();
        const QChar before = charAt(text, column - 1);
        const QChar after = charAt(text, column);
        if (after == quote) {
            cursor.movePosition(QTextCursor::Right);
        } else {
            static const QString quotes = QStringLiteral("\"'`");
            CodeEditorBlockData *data = BlockData(block);
            const bool pair = data && !data->isInString(column) && !quotes.contains(before.isNull() ? QChar(' ') : before)
                              && !quotes.contains(after.isNull() ? QChar(' ') : after)
                              && (after.isNull() || after.isSpace() || QStringLiteral(")]}").contains(after))
                              && (before.isNull() || !before.isLetterOrNumber());
            cursor.insertText(QString(quote));
            if (pair) {
                cursor.insertText(QString(quote));
                cursor.movePosition(QTextCursor::Left);
            }
        }
    }
    cursor.endEditBlock();
    setTextCursor(cursor);
}

// --- Backspace ---------------------------------------------------------------------------------

bool CodeEditor::BackspaceRules()
{
    QTextCursor cursor = textCursor();
    const QTextBlock block = cursor.block();
    const QString text = block.text();
    const int column = cursor.position() - block.position();
    const QChar before = charAt(text, column - 1);
    const QChar after = charAt(text, column);
    CodeEditorBlockData *data = BlockData(block);
    if (data && data->isInString(column) && !IsQuoteKey(before))
        return false;
    if (cursor.hasSelection())
        return false;
    if (m_language != LANGUAGE_TEXT && Settings::instance().codeEditorBackspaceToTabStop && column > 0
        && text.left(column).trimmed().isEmpty()) {
        DecreaseIndent();
        return true;
    }
    const bool bracketPair = InsertClosingParenthesesOn() && QStringLiteral("([{").contains(before)
                             && !before.isNull() && partnerOf(before) == after;
    const bool quotePair = InsertClosingQuotesOn() && !before.isNull() && IsQuoteKey(before) && after == before;
    if (bracketPair || quotePair) {
        cursor.beginEditBlock();
        cursor.movePosition(QTextCursor::Left);
        cursor.movePosition(QTextCursor::Right, QTextCursor::KeepAnchor, 2);
        cursor.removeSelectedText();
        cursor.endEditBlock();
        setTextCursor(cursor);
        return true;
    }
    return false;
}

} // namespace ke2
