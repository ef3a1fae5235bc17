#pragma once

#include <QtCore/QVector>
#include <QtWidgets/QWidget>

namespace ke2 {

class CodeEditor;

// Marks of the editor's diagnostics along its vertical scroll bar, clear of the arrow buttons:
// each marked line is a thin bar at its place in the whole document. Mouse input passes through
// to the scroll bar.
class CodeEditorErrorBarOverlay : public QWidget {
    Q_OBJECT
public:
    explicit CodeEditorErrorBarOverlay(CodeEditor *editor);

    // Line numbers (0-based) per mark class: errors, warnings, information.
    void SetMarks(const QVector<int> &errors, const QVector<int> &warnings, const QVector<int> &information);
    const QVector<int> &Marks(int markClass) const { return m_marks[markClass]; }
    // Placement on the scroll bar; the editor calls it on every resize.
    void UpdateGeometry();
    // The line layout changed: offsets are recomputed before the next paint.
    void Refresh();

    // Cumulative visual line offset of a line, and the document's total visual line count.
    int LineOffset(int line);
    int TotalLines();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void RecomputeOffsets();

    CodeEditor *m_editor;
    QVector<int> m_marks[3];
    QVector<int> m_offsets; // per line, only kept while lines wrap
    int m_lineCount = 0;
    int m_totalLines = 0;
    bool m_dirty = true;
};

} // namespace ke2
