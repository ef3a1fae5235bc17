#pragma once

#include "editor/code_editor_breakpoint.h"
#include "editor/code_editor_language.h"
#include "editor/code_editor_mark.h"
#include "editor/code_editor_record.h"
#include "editor/text_mirror.h"

#include <QtCore/QMap>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QTimer>
#include <QtGui/QTextBlock>
#include <QtWidgets/QPlainTextEdit>

#include <memory>

class QFileSystemWatcher;
class QKeyEvent;
class QMimeData;
class QPainter;
class QMenu;
class QSyntaxHighlighter;
class QThread;

namespace ke2 {

class CodeEditorBlockData;
class CodeEditorCompleter;
class CodeEditorErrorBarOverlay;
class CodeEditorLineNumbers;

// The text widget of one buffer: language-aware indentation, closing brackets and quotes with
// type-over, comment toggling, line operations, whole-line copy and paste, and a debounced text
// notification that drives parsing. It only emits requests (execute, font size, shelf); the
// window carries them out.
//
// The implementation is split by concern: code_editor.cpp (construction, settings, events,
// marks), code_editor_keys.cpp (key handling and indentation), code_editor_lines.cpp (clipboard,
// line operations, save-time clean-up), code_editor_comments.cpp, code_editor_decorations.cpp
// (extra selections, guides, line numbers, colours) and code_editor_menu.cpp.
class CodeEditor : public QPlainTextEdit {
    Q_OBJECT
public:
    static constexpr int textChangedDelay = 400; // ms
    // From this many characters on the text is not copied on the window's thread when typing
    // pauses: it is joined from the mirror on a worker and TextChanged follows a moment later.
    static int snapshotLength;
    static const char *const lineMimeType;        // "text/kestrelEditorLine"

    explicit CodeEditor(CodeEditorLanguage language, const QString &path = QString(),
                        QWidget *parent = nullptr);
    ~CodeEditor() override;

    CodeEditorLanguage Language() const { return m_language; }
    QString Path() const { return m_path; }
    // Changes the buffer's path and moves the file watch to it.
    void SetPath(const QString &path);
    CodeEditorKind Kind() const { return m_kind; }
    void SetKind(CodeEditorKind kind) { m_kind = kind; }
    // The tab title; an editor without a name shows its file name.
    QString Name() const { return m_name; }
    void SetName(const QString &name) { m_name = name; }
    QString DisplayName() const;
    CodeEditorRecord Record() const { return {m_kind, m_language, m_path, m_name}; }
    // Kind, path and name; the language stays what the editor was created with.
    void SetRecord(const CodeEditorRecord &record);

    // The area a dragged tab or file would land in, in the editor's own coordinates; a null
    // rectangle paints nothing. The group decides it; the editor only draws it.
    void SetDropHighlight(const QRect &rect);
    QRect DropHighlight() const { return m_dropHighlight; }

    // Re-reads the tab settings, wrap and whitespace rendering from the settings record.
    void UpdateSettings();
    // Takes the palette colours from the colour scheme, re-highlights and redraws.
    void ApplyColors();
    int TabSize() const { return m_tabSize; }
    bool InsertSpaces() const { return m_insertSpaces; }
    bool AutoIndent() const { return m_autoIndent; }

    // Insert toggles this for every editor; each applies it when told to refresh.
    static bool SharedOverwriteMode();
    static void SetSharedOverwriteMode(bool on);
    void ApplySharedOverwriteMode() { setOverwriteMode(SharedOverwriteMode()); }

    // The text as it is now, for another thread, without copying it. The mirror behind it is made
    // (reading the text once) on the first call and follows every edit after that.
    TextSnapshot Snapshot();
    // Whether `snapshot` is still the text of the buffer.
    bool IsCurrent(const TextSnapshot &snapshot) const { return m_mirror && m_mirror->Version() == snapshot.Version(); }

    // The highlighter attached to the document, or null for plain text.
    QSyntaxHighlighter *Highlighter() const { return m_highlighter; }
    // Replaces the text like setPlainText, but leaves the highlighting (and the block data the
    // highlighter fills) until the editor is first shown or EnsureHighlighted is called: a tab
    // restored behind others costs nothing until the user looks at it.
    void SetPlainTextDeferred(const QString &text);
    void EnsureHighlighted();
    bool HighlightingDeferred() const { return m_highlightingDeferred; }
    void SetCompleter(CodeEditorCompleter *completer);
    // The character that ends each row of a line the file holds unbroken (null: none). Keys
    // typed beside it act on the line's text, not on the break, and copies leave breaks out.
    void SetPieceBreak(QChar pieceBreak) { m_pieceBreak = pieceBreak; }
    QChar PieceBreak() const { return m_pieceBreak; }
    CodeEditorCompleter *Completer() const { return m_completer; }
    // Names that quick help knows (the host's command list): an accepted completion of one of
    // them is shown in quick help.
    static void SetQuickHelpNames(const QSet<QString> &names);

    // Diagnostics: errors, warnings and the third (information) class.
    void SetDiagnostics(const CodeEditorMarks &errors, const CodeEditorMarks &warnings,
                        const CodeEditorMarks &information);
    const CodeEditorMarks &Marks(CodeEditorMarkClass markClass) const { return m_marks[markClass]; }
    // Line number (0-based) to message, per class; rebuilt whenever the marks move.
    const QMap<int, QString> &LineMessages(CodeEditorMarkClass markClass) const { return m_lineMessages[markClass]; }
    // The message shown for a line: its error, else its warning, else its information, else the
    // error the host reported when the line last ran.
    QString LineMessage(int line) const;

    // An error the host reported for a line (0-based) of this buffer when it ran: marked until
    // that line is next edited. One at a time; a new one replaces the old.
    void SetRunError(int line, const QString &message);
    void ClearRunError();
    // The marked line (0-based), or -1.
    int RunErrorLine() const;
    QString RunErrorMessage() const { return m_runErrorMessage; }

    // Debugger breakpoints (code_editor_breakpoints.cpp), in line order. A breakpoint asked for on
    // a blank or comment line lands on the next line holding code.
    CodeEditorBreakpoints Breakpoints() const;
    void ToggleBreakpoint(int line);
    void SetBreakpoints(const CodeEditorBreakpoints &points);
    // Enabled state, condition and hit count of the breakpoint on `point.line`.
    void UpdateBreakpoint(const CodeEditorBreakpoint &point);
    void RemoveBreakpoint(int line);
    // The first line from `line` on that holds code, or -1.
    static int StoppableLine(const QTextDocument *document, int line);
    // The line a debugged run is paused on (0-based), highlighted with an arrow in the gutter;
    // -1 clears it.
    void SetPausedLine(int line);
    int PausedLine() const;
    static QColor breakpointColor();
    static QColor pausedLineColor();
    // A press on the line-number area at `y` (viewport coordinates).
    void OnLineNumberAreaClicked(int y);

    // Find in selection and the find bar's pattern, kept here so that edits move the scope and
    // the matches are highlighted. The find-in-files pattern is the side bar's active search.
    void SetFindScope(int start, int end);
    void ClearFindScope();
    bool HasFindScope() const { return m_findScopeSet; }
    int FindScopeStart() const { return m_findScopeStart; }
    int FindScopeEnd() const { return m_findScopeEnd; }
    void SetFindRegex(const QRegularExpression &regex);
    // The last find-in-files search's matches are highlighted while this is set.
    QRegularExpression FindInFilesRegex() const { return m_findInFilesRegex; }
    void SetFindInFilesRegex(const QRegularExpression &regex);

    // Width of the line-number area (also its size hint).
    int LineNumberAreaWidth() const;
    // Keeps the line-number area wide enough for `lines` lines (0: for the lines there are). A
    // change of its width lays out every line again, which a file loading in pieces would
    // otherwise cause each time its line count gains a digit.
    void ReserveLineNumbers(int lines);
    int GutterWidth() const;
    int TabStopWidth() const;
    // Number of indentation guides drawn for a block.
    int GuideCount(const QTextBlock &block) const;
    CodeEditorLineNumbers *LineNumberArea() const { return m_lineNumbers; }
    CodeEditorErrorBarOverlay *ErrorBar() const { return m_errorBar; }

    // The context menu, built afresh on each request; the caller owns it.
    QMenu *CreateContextMenu();

    // Painting of the line-number area, called by the area itself.
    void PaintLineNumbers(QPaintEvent *event);
    // Shows the diagnostic message of the line at `viewportPos`, or hides the tooltip.
    void ShowLineToolTip(const QPoint &globalPos, int viewportY);

signals:
    void ReceivedFocus();
    void TextChanged(const QString &path, const QString &text);
    void ModificationChanged(bool modified, CodeEditor *codeEditor);
    void FileChanged(const QString &path);
    void ErrorAndWarningTextChanged();
    // The diagnostics or the run error changed, or an edit moved them.
    void DiagnosticsChanged();
    void OverwriteModeChanged();
    void QuickHelpChanged(const QString &text, bool showWhenHidden);
    void EscapeKeyPressed();
    void IncreaseFontSizeRequested();
    void DecreaseFontSizeRequested();
    void ExecuteRequested();
    void ExecuteAllRequested();
    void ExecuteLineRequested();
    void SaveScriptToShelfRequested();
    // The host's documentation for the word under the cursor was asked for.
    void CommandDocumentationRequested(const QString &word);
    void BreakpointsChanged();

public slots:
    void CustomCut();
    void CustomCopy();
    void CustomPaste();
    void MoveLine(bool up);
    void CopyLine(bool up);
    void DeleteLines();
    void IncreaseIndent(bool fullLine);
    void IncreaseIndent() { IncreaseIndent(false); }
    void DecreaseIndent();
    void ToggleComment();
    void ToggleBlockComment();
    void TrimTrailingWhiteSpaces(bool ensureNewLineAtEof);
    void TrimTrailingWhiteSpaces() { TrimTrailingWhiteSpaces(false); }
    void EnsureNewLineAtEof();
    void QuickHelp();
    void CommandDocumentation();
    void UpdateLineNumberWidth();
    void UpdateLineNumbers(const QRect &rect, int dy);
    void UpdateExtraSelections();
    void Execute() { emit ExecuteRequested(); }
    void ExecuteAll() { emit ExecuteAllRequested(); }
    void ExecuteLine() { emit ExecuteLineRequested(); }
    void SaveScriptToShelf() { emit SaveScriptToShelfRequested(); }
    void CompleteCode(const QString &text, int prefixLength);
    void OnTextChanged();
    void OnTextChangedDelay();
    void OnModificationChanged(bool modified);
    void OnFileChanged(const QString &path);
    void ShowContextMenu(const QPoint &pos);
    void OnDocumentContentsChanged(int position, int charsRemoved, int charsAdded);

protected:
    bool event(QEvent *event) override;
    bool viewportEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QSyntaxHighlighter *CreateHighlighter();

    // --- block data (filled by the highlighter) ---
    static CodeEditorBlockData *BlockData(const QTextBlock &block);
    // The partner of the bracket at `position`, or -1.
    int MatchingBracket(int position) const;
    // The block holding the opening partner of a closing bracket of `kind` that would stand at
    // (`block`, `column`); invalid when there is none.
    QTextBlock OpeningPartnerBlock(const QTextBlock &block, int column, QChar kind) const;

    // --- indentation (code_editor_keys.cpp) ---
    QString ConvertIndentation(const QString &whitespace) const;
    static int VisualWidth(const QString &text, int tabSize);
    static QString LeadingWhitespace(const QString &text);
    void NormaliseLeadingWhitespace(QTextCursor &cursor, const QTextBlock &block) const;
    void IndentToNextStop(QTextCursor &cursor);
    void OutdentLine(QTextCursor &cursor, const QTextBlock &block, bool wholeSelection);
    void NewLineWithIndentation();
    void IndentNewLine(QTextCursor &cursor, const QTextBlock &splitBlock, int column, QChar previous,
                       QChar next);
    void SmartHome(bool shift, bool control);
    void OpeningBracket(QChar bracket);
    void ClosingBracket(QChar bracket);
    void Quote(QChar quote);
    // Surrounds the cursor's selection with `open` and `close`, keeping it selected the same way.
    void WrapSelection(QTextCursor &cursor, QChar open, QChar close);
    bool BackspaceRules();
    void RequestCompletion(bool forced);
    bool IsQuoteKey(QChar c) const;
    bool SmartIndentOn() const;
    bool IndentToParenthesesOn() const;
    bool InsertClosingParenthesesOn() const;
    bool InsertClosingQuotesOn() const;
    bool CompleteOnLettersOn() const;
    // Whether the character before the cursor lies in a comment or a string literal, as the
    // highlighter found it: typing there is prose, not code to complete.
    bool TypingInCommentOrString() const;

    // --- lines (code_editor_lines.cpp) ---
    // First and last block of the selection (a selection ending at column 0 leaves that line out).
    void SelectedBlocks(QTextBlock *first, QTextBlock *last) const;

    // --- marks and decorations ---
    void ShiftMarks(int position, int charsRemoved, int charsAdded);
    // Above this many marks only the lines around the view get underlines.
    static constexpr int manyMarks = 2000;
    void RebuildLineMessages();
    void RefreshDecorations();
    void PaintIndentationGuides(QPaintEvent *event);
    bool RoleDefined(const char *roleName) const;
    void AddMatchingSelection(QList<QTextEdit::ExtraSelection> &selections) const;
    // The blocks worth decorating: those in view and a screen's worth before and after.
    void VisibleBlockRange(QTextBlock *first, int *count) const;
    // The matches of `regex` in the decorated blocks; with `scopeEnd` >= 0 only those inside
    // [scopeStart, scopeEnd).
    void AddFindMatches(QList<QTextEdit::ExtraSelection> &selections, const QRegularExpression &regex,
                        int scopeStart = 0, int scopeEnd = -1) const;
    void AddMatchingBraces(QList<QTextEdit::ExtraSelection> &selections) const;
    void AddDiagnosticUnderlines(QList<QTextEdit::ExtraSelection> &selections) const;
    QString WordUnderCursor() const;

    // Moves the cursor off a piece break before `event` edits there.
    void StepOffPieceBreak(const QKeyEvent *event);
    QMimeData *createMimeDataFromSelection() const override;

    CodeEditorLanguage m_language;
    QChar m_pieceBreak;
    QString m_path;
    CodeEditorKind m_kind = CODE_EDITOR_INTERNAL_BUFFER;
    QString m_name;
    QRect m_dropHighlight;
    int m_tabSize = 4;
    bool m_insertSpaces = true;
    bool m_autoIndent = true;
    QTimer m_textChangedTimer;
    // Joins a large buffer's text off the window's thread for TextChanged; one join at a time.
    void JoinInBackground();
    TextMirror *m_mirror = nullptr;
    QThread *m_joining = nullptr;
    bool m_joinAgain = false;
    QFileSystemWatcher *m_fileWatcher = nullptr;
    QSyntaxHighlighter *m_highlighter = nullptr;
    bool m_highlightingDeferred = false;
    CodeEditorCompleter *m_completer = nullptr;
    // The language's own popup, made on the first request; tests may set another completer.
    std::unique_ptr<CodeEditorCompleter> m_languageCompleter;
    CodeEditorLineNumbers *m_lineNumbers = nullptr;
    CodeEditorErrorBarOverlay *m_errorBar = nullptr;
    bool m_bulkReplace = false;
    bool m_findScopeSet = false;
    int m_findScopeStart = 0;
    int m_findScopeEnd = 0;
    QRegularExpression m_findRegex;
    QRegularExpression m_findInFilesRegex;
    void OnRunErrorEdited(int position, int charsRemoved, int charsAdded);
    struct BreakpointMark {
        QTextCursor cursor; // at the start of its line
        CodeEditorBreakpoint point;
    };
    int BreakpointIndex(int line) const;
    void AddBreakpointMark(const CodeEditorBreakpoint &point);
    void BreakpointsEdited();
    void OnBreakpointLinesEdited(int position, int charsRemoved, int charsAdded);
    void AddPausedLineSelection(QList<QTextEdit::ExtraSelection> &selections) const;
    void PaintBreakpoint(QPainter &painter, int line, const QRectF &box) const;
    QVector<BreakpointMark> m_breakpoints;
    QTextCursor m_pausedLine;
    void AddRunErrorSelection(QList<QTextEdit::ExtraSelection> &selections) const;
    // Start of the marked line; null when there is no mark.
    QTextCursor m_runError;
    QString m_runErrorMessage;
    QString m_runErrorText; // the line as it was when marked
    CodeEditorMarks m_marks[MARK_CLASS_COUNT];
    QMap<int, QString> m_lineMessages[MARK_CLASS_COUNT];
    int m_markedBlockCount = 0; // block count when the line maps were last built
    int m_reservedLines = 0;
};

} // namespace ke2
