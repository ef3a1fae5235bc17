// The mark of a line the host reported an error for when the code ran.
#include "editor/code_editor.h"

#include "config/color_scheme.h"

#include <QtGui/QTextBlock>

namespace ke2 {

void CodeEditor::SetRunError(int line, const QString &message)
{
    const QTextBlock block = document()->findBlockByNumber(line);
    if (!block.isValid()) {
        ClearRunError();
        return;
    }
    m_runError = QTextCursor(block);
    m_runErrorMessage = message;
    m_runErrorText = block.text();
    UpdateExtraSelections();
    emit DiagnosticsChanged();
}

void CodeEditor::ClearRunError()
{
    if (m_runError.isNull())
        return;
    m_runError = QTextCursor();
    m_runErrorMessage.clear();
    m_runErrorText.clear();
    UpdateExtraSelections();
    emit DiagnosticsChanged();
}

int CodeEditor::RunErrorLine() const
{
    return m_runError.isNull() ? -1 : m_runError.blockNumber();
}

void CodeEditor::OnRunErrorEdited(int, int, int)
{
    if (m_runError.isNull())
        return;
    // The cursor has moved with the edit: inside a line means the marked line was joined to
    // the one above; otherwise the mark goes once the line's own text changes.
    if (m_runError.positionInBlock() != 0 || m_runError.block().text() != m_runErrorText)
        ClearRunError();
}

void CodeEditor::AddRunErrorSelection(QList<QTextEdit::ExtraSelection> &selections) const
{
    if (m_runError.isNull())
        return;
    QTextEdit::ExtraSelection mark;
    QColor color = ColorScheme::errorMarkColor();
    color.setAlpha(60);
    mark.format.setBackground(color);
    mark.format.setProperty(QTextFormat::FullWidthSelection, true);
    mark.cursor = QTextCursor(m_runError.block());
    selections.append(mark);
}

} // namespace ke2
