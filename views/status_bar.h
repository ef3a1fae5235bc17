#pragma once

#include "editor/code_editor_language.h"

#include <QtWidgets/QWidget>

class QLabel;
class QProgressBar;

namespace ke2 {

// The thin bar at the bottom of the window: interpreter, error and warning counts, the cursor
// line's message, cursor position and selection, and overwrite mode. Its context menu hides or
// shows three of the parts, or asks the window to hide the whole bar.
class StatusBar : public QWidget {
    Q_OBJECT
public:
    // `mainWindow` is the window the bar reports to; it becomes the parent.
    explicit StatusBar(QWidget *mainWindow = nullptr);

    void UpdateCursor(int line, int column, int selectionLength);
    void UpdateCounts(int errors, int warnings);
    void UpdateLineMessage(const QString &text);
    QString LineMessage() const;
    void UpdateInterpreter(CodeEditorLanguage language);
    void UpdateOverwriteMode(bool on);
    // The current buffer's file encoding and line ending ("UTF-8", "CRLF"); empty hides them.
    void UpdateFileFormat(const QString &encoding, const QString &lineEnding);
    // The current buffer's load: 0 to 100, -1 while its file is still read; below -1 hides it.
    void UpdateLoadProgress(int percent);

signals:
    void StatusBarVisibilityChangeRequested(bool visible);
    // The error or warning count was clicked.
    void ProblemsRequested();

public slots:
    void ShowContextMenu(const QPoint &pos);
    void ToggleInterpreter();
    void ToggleErrorWarningCount();
    void ToggleCurrentLineMessage();
    // Bound to the menu's "Hide Status Bar" entry.
    void OnHideActivityBarRequested();

private:
    void ApplyVisibility();
    bool eventFilter(QObject *watched, QEvent *event) override;

    QLabel *m_interpreterLabel;
    QLabel *m_currentLineMessageLabel;
    QLabel *m_cursorLabel;
    QLabel *m_overwriteLabel;
    QLabel *m_errorIconLabel;
    QLabel *m_errorCountLabel;
    QLabel *m_warningIconLabel;
    QLabel *m_warningCountLabel;
    QWidget *m_mainWindow;
    QLabel *m_fileFormatLabel;
    QProgressBar *m_loadProgress;
};

} // namespace ke2
