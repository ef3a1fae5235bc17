#pragma once

#include <QtWidgets/QWidget>

namespace ke2 {

class CodeEditor;

// The line-number area with its marker gutter, covering the editor's left viewport margin. The
// editor does the painting; this widget only hosts it.
class CodeEditorLineNumbers : public QWidget {
    Q_OBJECT
public:
    explicit CodeEditorLineNumbers(CodeEditor *editor);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    bool event(QEvent *event) override;

private:
    CodeEditor *m_editor;
};

} // namespace ke2
