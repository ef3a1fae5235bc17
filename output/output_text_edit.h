#pragma once

#include "output/output_buffer.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QRegularExpression>
#include <QtCore/QTimer>
#include <QtCore/QVector>
#include <QtGui/QTextCharFormat>
#include <QtWidgets/QPlainTextEdit>

#include <memory>

class QFile;
class QTextStream;

namespace ke2 {

// The text of the output panel: read-only, bounded to `outputBufferSize` lines, coloured by the
// user's output highlighting rules in the visible part only, optionally copied into a log file.
//
// Appended text is gathered and inserted in one step when the event loop is idle, or at once
// when no forced repaint has happened for 250 ms, so a flood of lines costs a few insertions and
// at most four forced repaints a second. While the widget is hidden everything waits until it is
// shown.
class OutputTextEdit : public QPlainTextEdit {
    Q_OBJECT

public:
    explicit OutputTextEdit(QWidget *parent = nullptr);
    ~OutputTextEdit() override;

    // Every callback line and echo comes in here.
    void AppendText(const QString &text);
    // Inserts what is waiting now (normally left to idle time and the repaint points); nothing
    // happens while the widget is hidden.
    void FlushPendingOutput();
    bool HasPendingOutput() const { return !m_queue.isEmpty(); }

    // Buffer size, word wrap, colours, rules and font from the preferences.
    void ApplySettings();
    void ApplyHighlightRules();
    void ApplyFont();
    // The effective output font size for a base size and zoom offset: kept within 6 to 24
    // points by rewriting `zoom`.
    static int ClampedFontSize(int baseSize, int &zoom);

    // The log file: opened write-only with text translation, truncated.
    bool StartWritingToFile(const QString &path);
    void StopWritingToFile();
    bool IsWritingToFile() const { return m_logFile != nullptr; }
    QString LogFilePath() const;

    // The discard-output flag of the host's command output: while it is set every line still
    // arrives, with empty text, and the panel takes nothing in.
    void SetDiscardOutput(bool on);
    bool DiscardOutput() const;

    // The find bar over the output: its pattern and whether it is shown.
    void SetFindExpression(const QRegularExpression &expression, bool findBarVisible);

    // The context menu as shown at `position` (viewport coordinates).
    QMenu *CreateContextMenu(const QPoint &position);

signals:
    void IncreaseFontSizeRequested();
    void DecreaseFontSizeRequested();
    void ReceivedFocus();
    // New text arrived while the find bar is shown: its match count is out of date.
    void FindMatchesChanged();

public slots:
    void ClearAll();
    void ShowContextMenu(const QPoint &position);
    void QueueUpdateExtraSelections(int action = 0);
    void UpdateExtraSelections();

protected:
    void showEvent(QShowEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;

private:
    struct Rule {
        QRegularExpression expression; // plain-text rules are escaped into one
        QTextCharFormat format;
        bool wholeLine = false;
    };
    void InsertQueued(int maxCharacters);
    void OnIdle();
    void AfterInsertion();
    void AddRuleSelections(QList<QTextEdit::ExtraSelection> &selections, int start, int end) const;
    // Every match of `expression` that starts inside [start, end], searched line by line; with
    // `wholeLine` the first match of a line colours the line.
    void AddMatches(QList<QTextEdit::ExtraSelection> &selections, const QRegularExpression &expression,
                    const QTextCharFormat &format, int start, int end, bool wholeLine = false) const;

    OutputBuffer m_queue;
    QTimer m_idleFlush;
    QTimer m_selectionsTimer;
    QElapsedTimer m_repaintClock;
    bool m_inserting = false;
    std::unique_ptr<QFile> m_logFile;
    std::unique_ptr<QTextStream> m_logStream;
    QVector<Rule> m_rules;
    QRegularExpression m_findExpression;
    bool m_findBarVisible = false;
};

} // namespace ke2
