#include "editor/code_editor_error_bar_overlay.h"

#include "config/color_scheme.h"
#include "editor/code_editor.h"

#include <QtCore/QEvent>
#include <QtGui/QPainter>
#include <QtGui/QTextBlock>
#include <QtWidgets/QScrollBar>

namespace ke2 {

CodeEditorErrorBarOverlay::CodeEditorErrorBarOverlay(CodeEditor *editor)
    : QWidget(editor->verticalScrollBar()), m_editor(editor)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    // The scroll bar is resized on its own too (a tab laid out while hidden learns its real size
    // only when shown), so its resizes are followed besides the editor's.
    editor->verticalScrollBar()->installEventFilter(this);
    raise();
    UpdateGeometry();
}

bool CodeEditorErrorBarOverlay::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Resize && watched == parentWidget())
        UpdateGeometry();
    return QWidget::eventFilter(watched, event);
}

void CodeEditorErrorBarOverlay::SetMarks(const QVector<int> &errors, const QVector<int> &warnings,
                                         const QVector<int> &information)
{
    m_marks[0] = errors;
    m_marks[1] = warnings;
    m_marks[2] = information;
    Refresh();
}

void CodeEditorErrorBarOverlay::UpdateGeometry()
{
    const QScrollBar *bar = m_editor->verticalScrollBar();
    // The arrow buttons at both ends stay uncovered.
    setGeometry(QRect(QPoint(static_cast<int>(bar->width() * 0.7), 12),
                      QPoint(bar->width() - 1, bar->height() - 1 - 12)));
    raise();
}

void CodeEditorErrorBarOverlay::Refresh()
{
    m_dirty = true;
    if (!m_marks[0].isEmpty() || !m_marks[1].isEmpty() || !m_marks[2].isEmpty() || !m_offsets.isEmpty())
        update();
}

void CodeEditorErrorBarOverlay::RecomputeOffsets()
{
    const QTextDocument *document = m_editor->document();
    m_lineCount = document->blockCount();
    m_offsets.clear();
    if (m_editor->lineWrapMode() == QPlainTextEdit::NoWrap) {
        // One visual line per block: the offset is the line number, no walk needed.
        m_totalLines = m_lineCount;
    } else {
        m_offsets.reserve(m_lineCount);
        int total = 0;
        for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
            m_offsets.append(total);
            total += block.isVisible() ? std::max(1, block.lineCount()) : 0;
        }
        m_totalLines = total;
    }
    m_dirty = false;
}

int CodeEditorErrorBarOverlay::LineOffset(int line)
{
    if (m_dirty)
        RecomputeOffsets();
    return m_offsets.isEmpty() ? line : m_offsets.value(line, m_totalLines);
}

int CodeEditorErrorBarOverlay::TotalLines()
{
    if (m_dirty)
        RecomputeOffsets();
    return m_totalLines;
}

void CodeEditorErrorBarOverlay::paintEvent(QPaintEvent *)
{
    if (!parentWidget() || m_editor->document()->blockCount() == 0)
        return;
    if (m_marks[0].isEmpty() && m_marks[1].isEmpty() && m_marks[2].isEmpty())
        return;
    const int total = TotalLines();
    if (total <= 0)
        return;
    const double scale = double(height()) / total;
    const QColor colors[3] = {ColorScheme::errorMarkColor(), ColorScheme::warningMarkColor(),
                              ColorScheme::informationMarkColor()};
    QPainter painter(this);
    // Painted one list after the other, information first, so an error paints over a warning or
    // an information on the same rows.
    for (int markClass : {2, 1, 0}) {
        for (int line : m_marks[markClass]) {
            if (line >= m_lineCount)
                continue;
            const int y = static_cast<int>(LineOffset(line) * scale);
            painter.fillRect(QRect(0, y, width(), 5), colors[markClass]);
        }
    }
}

} // namespace ke2
