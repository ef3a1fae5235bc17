// Breakpoints in the gutter and the line a debugged run is paused on.
#include "editor/code_editor.h"

#include "config/color_scheme.h"
#include "editor/code_editor_line_numbers.h"

#include <QtGui/QPainter>
#include <QtGui/QTextBlock>

#include <algorithm>

namespace ke2 {

int CodeEditor::StoppableLine(const QTextDocument *document, int line)
{
    // Blank lines and comments hold no code to stop at: the next line that does takes it.
    for (QTextBlock block = document->findBlockByNumber(line); block.isValid(); block = block.next()) {
        const QString text = block.text().trimmed();
        if (!text.isEmpty() && !text.startsWith(QLatin1Char('#')))
            return block.blockNumber();
    }
    return -1;
}

CodeEditorBreakpoints CodeEditor::Breakpoints() const
{
    CodeEditorBreakpoints points;
    for (const BreakpointMark &mark : m_breakpoints) {
        CodeEditorBreakpoint point = mark.point;
        point.line = mark.cursor.blockNumber();
        points.append(point);
    }
    std::sort(points.begin(), points.end(),
              [](const CodeEditorBreakpoint &a, const CodeEditorBreakpoint &b) { return a.line < b.line; });
    return points;
}

int CodeEditor::BreakpointIndex(int line) const
{
    for (int i = 0; i < m_breakpoints.size(); ++i) {
        if (m_breakpoints.at(i).cursor.blockNumber() == line)
            return i;
    }
    return -1;
}

void CodeEditor::ToggleBreakpoint(int line)
{
    const int existing = BreakpointIndex(line);
    if (existing >= 0) {
        m_breakpoints.removeAt(existing);
    } else {
        const int target = StoppableLine(document(), line);
        if (target < 0)
            return;
        if (BreakpointIndex(target) >= 0)
            return; // the next code line has one already: nothing to add
        CodeEditorBreakpoint point;
        point.line = target;
        AddBreakpointMark(point);
    }
    BreakpointsEdited();
}

void CodeEditor::SetBreakpoints(const CodeEditorBreakpoints &points)
{
    m_breakpoints.clear();
    for (CodeEditorBreakpoint point : points) {
        point.line = StoppableLine(document(), point.line);
        if (point.line >= 0 && BreakpointIndex(point.line) < 0)
            AddBreakpointMark(point);
    }
    BreakpointsEdited();
}

void CodeEditor::UpdateBreakpoint(const CodeEditorBreakpoint &point)
{
    const int index = BreakpointIndex(point.line);
    if (index < 0)
        return;
    m_breakpoints[index].point = point;
    BreakpointsEdited();
}

void CodeEditor::RemoveBreakpoint(int line)
{
    const int index = BreakpointIndex(line);
    if (index < 0)
        return;
    m_breakpoints.removeAt(index);
    BreakpointsEdited();
}

void CodeEditor::AddBreakpointMark(const CodeEditorBreakpoint &point)
{
    BreakpointMark mark;
    mark.cursor = QTextCursor(document()->findBlockByNumber(point.line));
    mark.point = point;
    m_breakpoints.append(mark);
}

void CodeEditor::BreakpointsEdited()
{
    m_lineNumbers->update();
    emit BreakpointsChanged();
}

void CodeEditor::OnBreakpointLinesEdited(int, int, int)
{
    if (m_breakpoints.isEmpty())
        return;
    // Text typed at the start of the line pushed the mark along, and a line joined to the one
    // above took the mark with it: back to the start of its line. Two marks on one line came
    // together when the lines between them went: one stays.
    QSet<int> lines;
    for (int i = m_breakpoints.size() - 1; i >= 0; --i) {
        QTextCursor &cursor = m_breakpoints[i].cursor;
        if (cursor.positionInBlock() != 0)
            cursor.movePosition(QTextCursor::StartOfBlock);
        if (lines.contains(cursor.blockNumber()))
            m_breakpoints.removeAt(i);
        else
            lines.insert(cursor.blockNumber());
    }
    emit BreakpointsChanged();
}

void CodeEditor::OnLineNumberAreaClicked(int y)
{
    if (m_language != LANGUAGE_PYTHON)
        return;
    const QTextBlock block = cursorForPosition(QPoint(0, y)).block();
    if (block.isValid())
        ToggleBreakpoint(block.blockNumber());
}

void CodeEditor::SetPausedLine(int line)
{
    const QTextBlock block = line >= 0 ? document()->findBlockByNumber(line) : QTextBlock();
    m_pausedLine = block.isValid() ? QTextCursor(block) : QTextCursor();
    UpdateExtraSelections();
    m_lineNumbers->update();
}

int CodeEditor::PausedLine() const
{
    return m_pausedLine.isNull() ? -1 : m_pausedLine.blockNumber();
}

void CodeEditor::AddPausedLineSelection(QList<QTextEdit::ExtraSelection> &selections) const
{
    if (m_pausedLine.isNull())
        return;
    QTextEdit::ExtraSelection mark;
    mark.format.setBackground(pausedLineColor());
    mark.format.setProperty(QTextFormat::FullWidthSelection, true);
    mark.cursor = QTextCursor(m_pausedLine.block());
    selections.append(mark);
}

QColor CodeEditor::breakpointColor()
{
    return QColor(229, 20, 0);
}

QColor CodeEditor::pausedLineColor()
{
    return QColor(255, 221, 0, 90);
}

void CodeEditor::PaintBreakpoint(QPainter &painter, int line, const QRectF &box) const
{
    const int gutterWidth = GutterWidth();
    const QPointF centre(gutterWidth / 2.0, box.top() + box.height() / 2.0);
    const int index = BreakpointIndex(line);
    if (index >= 0) {
        const CodeEditorBreakpoint &point = m_breakpoints.at(index).point;
        const qreal radius = (gutterWidth - 3) / 2.0;
        painter.setPen(QPen(breakpointColor(), 1.5));
        painter.setBrush(point.enabled ? QBrush(breakpointColor()) : QBrush(Qt::NoBrush));
        painter.drawEllipse(centre, radius, radius);
        if (!point.condition.isEmpty() || point.hitCount > 1) {
            // A condition or hit count: a light bar across the dot.
            painter.setPen(QPen(Qt::white, 1.5));
            painter.drawLine(centre - QPointF(radius / 2, 0), centre + QPointF(radius / 2, 0));
        }
    }
    if (!m_pausedLine.isNull() && m_pausedLine.blockNumber() == line) {
        const qreal half = (gutterWidth - 4) / 2.0;
        const QPointF tip = centre + QPointF(half, 0);
        const QPolygonF arrow({tip, centre + QPointF(-half, -half), centre + QPointF(-half, half)});
        painter.setPen(QPen(QColor(120, 90, 0), 1));
        painter.setBrush(QColor(255, 204, 0));
        painter.drawPolygon(arrow);
    }
}

} // namespace ke2
