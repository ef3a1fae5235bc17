#include "editor/code_editor_line_numbers.h"

#include "editor/code_editor.h"

#include <QtGui/QHelpEvent>
#include <QtGui/QMouseEvent>
#include <QtWidgets/QToolTip>

namespace ke2 {

CodeEditorLineNumbers::CodeEditorLineNumbers(CodeEditor *editor) : QWidget(editor), m_editor(editor)
{
    // Moves without a button pressed must arrive too, to take a marker's tooltip away.
    setMouseTracking(true);
}

QSize CodeEditorLineNumbers::sizeHint() const
{
    return QSize(m_editor->LineNumberAreaWidth(), 0);
}

void CodeEditorLineNumbers::paintEvent(QPaintEvent *event)
{
    m_editor->PaintLineNumbers(event);
}

void CodeEditorLineNumbers::mousePressEvent(QMouseEvent *event)
{
    // A click beside a line of a Python buffer sets or clears its breakpoint.
    if (event->button() == Qt::LeftButton)
        m_editor->OnLineNumberAreaClicked(event->pos().y());
    QWidget::mousePressEvent(event);
}

void CodeEditorLineNumbers::mouseMoveEvent(QMouseEvent *event)
{
    if (QToolTip::isVisible())
        QToolTip::hideText();
    QWidget::mouseMoveEvent(event);
}

bool CodeEditorLineNumbers::event(QEvent *event)
{
    // A marker's message shows when hovering its line, as over the text.
    if (event->type() == QEvent::ToolTip) {
        auto *help = static_cast<QHelpEvent *>(event);
        m_editor->ShowLineToolTip(help->globalPos(), help->pos().y());
        return true;
    }
    return QWidget::event(event);
}

} // namespace ke2
