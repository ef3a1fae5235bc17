#pragma once

#include "output/output_buffer.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QTimer>
#include <QtCore/QVector>
#include <QtGui/QTextCharFormat>
#include <QtWidgets/QPlainTextEdit>

#include <deque>
#include <functional>
#include <memory>

class QFile;
class QTextStream;
class QToolButton;

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
    bool HasPendingOutput() const { return !m_queue.isEmpty(); }

    // The expression a rule matches with: a user's pattern (or the escaped text) under a step
    // budget per line, so that no pattern (`(a+)+$` on a long line) can hold up the panel.
    static QRegularExpression RulePattern(const QString &pattern, bool regExp);
    static constexpr int ruleStepBudget = 20000;

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

    // Tells which output lines are errors that lead somewhere (a line of a tab, a file). Such a
    // line is shown as a link under the mouse while Ctrl is held; Ctrl+click or the context
    // menu's "Go to Error" activates it.
    using ErrorLinkTest = std::function<bool(const QString &line)>;
    void SetErrorLinkTest(ErrorLinkTest test) { m_linkTest = std::move(test); }
    bool IsErrorLink(const QTextBlock &block) const;
    // Activates the error line of `block`, as Ctrl+click does.
    void ActivateErrorLine(const QTextBlock &block);

    // The context menu as shown at `position` (viewport coordinates).
    QMenu *CreateContextMenu(const QPoint &position);

    // Printed lines in the document: a line broken into pieces counts once, and the empty line
    // after the last line end does not count.
    int LineCount() const;
    // The document position under a viewport point, also on the part of a long line that is
    // drawn beside its first piece (see paintEvent).
    int PositionAt(const QPoint &viewportPosition) const;
    // Whether a block continues the same printed line on the next block.
    static bool ContinuesOnNextBlock(const QTextBlock &block);
    // Shown while output arrived below the part the user is reading; a click follows the end.
    QToolButton *JumpToEndButton() const { return m_jumpToEnd; }

signals:
    void IncreaseFontSizeRequested();
    void DecreaseFontSizeRequested();
    void ReceivedFocus();
    // New text arrived while the find bar is shown: its match count is out of date.
    void FindMatchesChanged();
    // An error line was activated. Identical lines can come from different runs, so the number
    // of identical lines after it in the output tells them apart.
    void ErrorLineActivated(const QString &line, int identicalLinesAfter);

public slots:
    // Inserts what is waiting now (normally left to idle time and the repaint points); nothing
    // happens while the widget is hidden.
    void FlushPendingOutput();
    void ClearAll();
    void ShowContextMenu(const QPoint &position);
    void QueueUpdateExtraSelections(int action = 0);
    void UpdateExtraSelections();
    // Scrolls to the newest output and follows it again.
    void JumpToEnd();

protected:
    // Copies a long line whole: the pieces it was broken into for the view join again.
    QMimeData *createMimeDataFromSelection() const override;
    // Without word wrap the pieces after the first of a long line are hidden blocks, drawn here
    // beside it, only those within the visible columns: the row costs the same at any length.
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Rule {
        QString name;
        QRegularExpression expression; // plain-text rules are escaped into one
        QTextCharFormat format;
        bool wholeLine = false;
    };
    void InsertQueued(int maxCharacters);
    // Marks the blocks that `text`, inserted at `position`, continues across.
    void MarkPieces(int position, const QString &text);
    // Drops the oldest printed lines beyond the buffer's bound.
    void TrimToLimits();
    // Keeps the width of the longest broken line for the horizontal scroll bar.
    void MeasureLongLines(const QString &inserted);
    void MeasureAllLongLines();
    // Shows the pieces after the first as rows of their own (word wrap) or hides them.
    void ShowPiecesAsRows(bool rows);
    // The position under a point on the drawn pieces of a long line, or -1 elsewhere.
    int PiecePositionAt(const QPoint &viewportPosition) const;
    // Where the drawn pieces of `head`'s line start, in viewport coordinates.
    qreal PiecesLeft(const QTextBlock &head) const;

    // The lines kept in pieces, in document order: the number of the first block (counted since
    // the document was last emptied) and how many blocks follow it in the line. Lines only go
    // in at the end and leave at the top, so finding a piece by line or by column takes a binary
    // search instead of a walk over a line's thousands of blocks.
    struct LongLine {
        int head;
        int pieces;
    };
    const LongLine *LongLineAt(int blockNumber) const;
    QTextBlock HeadOf(const LongLine &line) const;
    QTextBlock TailOf(const LongLine &line) const;
    // The block of `line` holding `column` (characters from the start of the line), clamped to
    // the line's blocks.
    QTextBlock PieceAtColumn(const LongLine &line, const QTextBlock &head, qreal column) const;
    static int ColumnOf(const QTextBlock &head, const QTextBlock &piece);
    // The columns in view, with a margin, when long lines are one row.
    void VisibleColumns(int &first, int &last) const;
    void PaintPieces(QPainter &painter, const LongLine &line, const QTextBlock &head, qreal top,
                     const QRect &area) const;
    // Sets the cursor without scrolling: a position in a hidden piece has no place Qt knows of.
    void SetTextCursorInPlace(const QTextCursor &cursor);
    void PlaceJumpToEnd();
    void OnIdle();
    void AfterInsertion();
    void AddRuleSelections(QList<QTextEdit::ExtraSelection> &selections, int start, int end) const;
    // Every match of `expression` that starts inside [start, end], searched line by line; with
    // `wholeLine` the first match of a line colours the line.
    // False when the expression gave up on some line, over its step budget (see RulePattern).
    bool AddMatches(QList<QTextEdit::ExtraSelection> &selections, const QRegularExpression &expression,
                    const QTextCharFormat &format, int start, int end, bool wholeLine = false) const;

    // The link under the mouse (block number), or -1.
    void SetHoveredLink(int block);
    void UpdateHoveredLink(const QPoint &viewportPosition, Qt::KeyboardModifiers modifiers);

    OutputBuffer m_queue;
    QToolButton *m_jumpToEnd = nullptr;
    int m_lineLimit = 3000;
    int m_continuedBlocks = 0; // blocks marked as continuing on the next one
    bool m_piecesAsRows = false;  // word wrap: the pieces of a long line are visible blocks
    int m_openLineLength = 0;     // characters of the last line so far
    bool m_openLineBroken = false; // ... which is in pieces
    int m_longestBrokenLine = 0;  // characters of the longest line in pieces
    std::deque<LongLine> m_longLines;
    int m_droppedBlocks = 0; // blocks pushed out at the top since the document was last emptied
    bool m_pieceDrag = false;     // a mouse selection started on the drawn pieces
    bool m_following = true;   // the view keeps the newest output in sight
    ErrorLinkTest m_linkTest;
    int m_hoveredLink = -1;
    QTimer m_idleFlush;
    QTimer m_selectionsTimer;
    QElapsedTimer m_repaintClock;
    bool m_inserting = false;
    std::unique_ptr<QFile> m_logFile;
    std::unique_ptr<QTextStream> m_logStream;
    QVector<Rule> m_rules;
    // Rules already reported as too slow since the rules were last applied.
    QSet<QString> m_reportedSlowRules;
    QRegularExpression m_findExpression;
    bool m_findBarVisible = false;
};

} // namespace ke2
