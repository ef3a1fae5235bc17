#pragma once

#include <memory>

#include "editor/code_editor_record.h"
#include "editor/text_search.h"
#include "groups/tab_drop_zone.h"
#include "language/mel_parser.h"
#include "language/pylint_worker.h"
#include "language/python_parser.h"

#include <QtCore/QPointer>
#include <QtCore/QStringList>
#include <QtGui/QTextCursor>
#include <QtWidgets/QWidget>

#include <functional>

class QMimeData;
class QStackedWidget;
class QThread;
class QToolButton;

namespace ke2 {

class CodeEditor;
class CodeEditorGroupTabBar;
class FindReplaceWidget;

// One pane of the editor area: a tab bar with a mini toolbar above a stack holding one editor
// per tab. The group is the hub between its editors and the window: it re-emits their events
// with itself attached, analyses the current editor's text with its own parsers, and decides
// where dragged tabs and files land. Tabs come and go only through InsertCodeEditor,
// RemoveCodeEditor and DeleteCodeEditor, which keep tab i showing editor i.
class CodeEditorGroup : public QWidget {
    Q_OBJECT
public:
    explicit CodeEditorGroup(int id, QWidget *parent = nullptr);
    ~CodeEditorGroup() override;

    int Id() const { return m_id; }
    CodeEditorGroupTabBar *TabBar() const { return m_tabBar; }

    // --- editors ---
    int Count() const;
    int CurrentIndex() const;
    void SetCurrentIndex(int index);
    CodeEditor *CodeEditorAt(int index) const;
    CodeEditor *CurrentCodeEditor() const;
    int IndexOf(const CodeEditor *codeEditor) const;
    // Index of the editor with `path`, or -1.
    int IndexOfPath(const QString &path) const;
    // Inserts `codeEditor` (the group takes it over) at `index` (-1 or past the end appends);
    // returns where it went, or -1 when the tabs and editors do not match.
    int InsertCodeEditor(int index, CodeEditor *codeEditor);
    // Creates an editor for `record` with `text` (unmodified, no undo history) and inserts it.
    int AddCodeEditor(const CodeEditorRecord &record, const QString &text, int index = -1);
    // Takes the editor out, alive and with its undo history, for another group to insert; null
    // when the index is out of range or the tabs and editors do not match.
    CodeEditor *RemoveCodeEditor(int index);
    // Removes and destroys the editor; false as for RemoveCodeEditor.
    bool DeleteCodeEditor(int index);

    CodeEditorRecord Record(int index) const;
    // Renames: the editor's kind, path and name, and the tab's title, tool tip and icon.
    void SetRecord(int index, const CodeEditorRecord &record);
    // Replaces the text and clears the modified flag (a reload or revert).
    void SetText(int index, const QString &text);
    bool IsModified(int index) const;
    void SetCursorAndScrollPosition(int index, int cursorPosition, int scrollPosition);
    int TabBarScrollOffset() const;
    void SetTabBarScrollOffset(int offset);

    // While suspended (many tabs being restored) nothing is analysed and tab changes are not
    // reported; resuming analyses the current editor and reports the current tab once.
    void SuspendTabUpdates(bool suspend);
    bool TabUpdatesSuspended() const { return m_tabUpdatesSuspended; }

    // --- drops ---
    // Whether a drop near an edge may land before or after the group instead of in it.
    void SetEdgeDropZonesAllowed(bool allowed) { m_edgeDropZonesAllowed = allowed; }
    bool EdgeDropZonesAllowed() const { return m_edgeDropZonesAllowed; }
    TabDropZone DropZone() const { return m_dropZone; }
    // The highlighted area in the group's coordinates; null when nothing is highlighted.
    QRect DropHighlight() const { return m_dropHighlight; }

    // The group the window's commands act on: its current tab carries the colour scheme's
    // accent (the selection colour), read again at each call so that new colours show.
    void SetActive(bool active);
    bool IsActive() const { return m_active; }

    // The parser that analysed the current editor last, or null (text, or none yet).
    BaseParser *LastParser() const { return m_lastParser; }
    // Past this many characters a scan on the window's thread would hold up typing at each pause
    // (seconds for a scene file of many megabytes): such a buffer is scanned on a thread of its
    // own instead, from a snapshot of its text.
    static int backgroundScanLength;
    // The same for a MEL buffer checked by the linter, which runs on the window's thread only.
    static int backgroundLintLength;

    static QString LanguageIconPath(CodeEditorLanguage language);

    // The group's pylint worker; made, with its thread, the first time a Python buffer is checked.
    PylintWorker *Worker() const { return m_pylintWorker; }
    // Folders (the workspace's) whose modules the buffers import, asked at each pylint request.
    void SetImportFolders(std::function<QStringList()> folders) { m_importFolders = std::move(folders); }

    // --- find and replace (code_editor_group_find.cpp) ---
    FindReplaceWidget *FindReplace() const { return m_findReplace; }
    // The matches of the bar's search in the current editor, counted afresh when the text, the
    // search or the scope changed; false when counting gave up on a runaway pattern.
    const QVector<TextMatch> &Matches();
    bool MatchesComplete() const { return m_matchesComplete; }
    // Counting stops after this long, so a pattern that backtracks without end cannot hold the
    // window; the counter then says the count is not complete and Replace All refuses.
    static constexpr int countBudgetMs = 1000;
    // Set on an editor by the undo of a Replace All: where its cursor goes back to.
    static constexpr const char *restoreCursorProperty = "ke2RestoreCursor";
    // While that undo runs: puts the editor's cursor and view back.
    static void RestoreCursorAfterUndo(CodeEditor *editor);

signals:
    void NewTabRequested();
    void CloseTabRequested(CodeEditorGroup *group, int index);
    void CloseOtherTabsRequested(CodeEditorGroup *group, int index);
    void CloseTabsToRightRequested(CodeEditorGroup *group, int index);
    void RenameRequested(CodeEditorGroup *group, int index);
    void ShowInSideBarRequested(const QString &path);
    void CurrentTabChanged();
    void MoveTabRequested(int fromGroup, int fromIndex, int toGroup, int toIndex);
    void MoveTabToZoneRequested(int fromGroup, int fromIndex, int toGroup, TabDropZone zone);
    void OpenFileRequested(int groupId, int index, const QString &path);
    void OpenFilesRequested(int groupId, TabDropZone zone, const QStringList &paths);
    void ReceivedFocus(CodeEditorGroup *group);
    void TextChanged(const QString &path, const QString &text);
    void FileChanged(const QString &path);
    void CursorPositionChanged();
    void OverwriteModeChanged();
    void ErrorAndWarningTextChanged();
    void QuickHelpChanged(const QString &text, bool showWhenHidden);
    void IncreaseFontSizeRequested();
    void DecreaseFontSizeRequested();
    void ExecutePressed();
    void ExecuteAllPressed();
    void ExecuteLinePressed();
    void SaveScriptToShelfPressed();
    void ParserUpdated(BaseParser *parser);
    void MiniToolbarDisplayModified();
    // To the pylint worker's thread.
    void PylintSourceCode(const QString &source, const QString &filePath, const QString &pythonPath);
    void ShutdownWorkers();
    void PylintOptionsChanged(const ke2::PylintWorker::Options &options);

public slots:
    // Re-analyses the current editor (for instance after the preferences changed).
    void UpdateParser();
    // Hands the pylint settings to the worker at once (the preferences changed) and re-analyses,
    // so that turning pylint on or off shows at once.
    void ApplyPylintSettings();
    // From the worker: the marks of the buffer at `filePath`; `n` < 0 means the run failed.
    void OnPylintOutput(const QString &filePath, const QStringList &parts, int n);
    // Shows or hides the tab bar, its close buttons, the mini toolbar and its buttons from the
    // settings.
    void RefreshMiniToolbar();
    void FocusCurrentCodeEditor();
    void ToggleMiniToolbarDisplay();
    void ShowMiniToolbarContextMenu(const QPoint &globalPos);
    // The execute buttons' tool tips name their current keys.
    void UpdateToolTips();
    void ShowOpenCodeEditorContextMenu();
    void SetCurrentTabFromAction();
    void BeginScrollingLeft();
    void BeginScrollingRight();
    void EndScrolling();

    // From the tab bar.
    void OnNewTabRequested();
    void OnCloseTabRequested(int index);
    void OnCloseOtherTabsRequested(int index);
    void OnCloseTabsToRightRequested(int index);
    void OnCurrentTabChanged(int index);
    void OnMoveTabRequested(int fromGroup, int fromIndex, int toGroup, int toIndex);
    void OnOpenFileRequested(int index, const QString &path);
    void OnRenameRequested(int index);
    void CopyPath(int index);
    void OnShowInFolder(int index);
    void OnShowInSideBar(int index);

    // From the editors.
    void OnCodeEditorReceivedFocus();
    void OnTextChanged(const QString &path, const QString &text);
    void OnModificationChanged(bool modified, CodeEditor *codeEditor);
    void OnFileChanged(const QString &path);
    void OnCursorPositionChanged();
    void OnOverwriteModeChanged();
    void OnErrorAndWarningTextChanged();
    void OnQuickHelpChanged(const QString &text, bool showWhenHidden);
    void CloseFindReplace();
    // From the find and replace bar.
    void OnSearchChanged(const QRegularExpression &regex, bool findInSelection, bool findNext, bool updateSelection);
    void Replace(const QString &replaceText);
    void ReplaceAll(const QString &replaceText);
    void FindNext();
    void FindPrevious();
    void ShowFindReplace(bool replace);
    void OnFindReplaceClosed();
    // Searches for the selection (or the word at the cursor) and moves to its next or previous
    // occurrence.
    void SelectAndFind(bool next);
    void OnIncreaseFontSizeRequested();
    void OnDecreaseFontSizeRequested();
    void OnExecute();
    void OnExecuteAll();
    void OnExecuteLine();
    void OnSaveScriptToShelf();

protected:
    void showEvent(QShowEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // The three invariant checks; false (and the message reported) when tabs and editors differ.
    bool CountsMatch(const char *message) const;
    void ConnectCodeEditor(CodeEditor *codeEditor);
    void DisconnectCodeEditor(CodeEditor *codeEditor);
    void UpdateTab(int index);
    // `text`: the current editor's text when the caller has it (a copy of a large buffer is
    // costly); otherwise it is read from the editor.
    void Analyse(const QString *text = nullptr);
    // Analyse for a buffer too big to scan on this thread: the scan runs on a thread of its own
    // and its result is shown if the text is still the one scanned.
    // `known` may be null: the scan's thread then reads the buffer's snapshot.
    void AnalyseInBackground(CodeEditor *editor, const QString &known);
    // Hands `text` to the pylint worker, with the folders its imports are looked up in.
    void RequestPylint(const QString &text, const QString &path);
    // Drag handling shared by the group and its editors' viewports; `pos` in group coordinates.
    // Returns whether the drag is one the group takes.
    bool UpdateDrag(const QPoint &pos, const QMimeData *mime);
    void Drop(const QPoint &pos, const QMimeData *mime);
    void ClearDropHighlight();
    bool IsCurrentSender() const;
    void CreateFindReplace();
    void PlaceFindReplace();
    // Hands the search to the current editor (and takes it from the one before) and recounts.
    void ApplySearchToCurrentEditor();
    void UpdateCounter();
    // A note in the counter's place that stays until the text or the search changes.
    void ShowFindMessage(const QString &message);

    // Index into Matches() of the match the selection is on, else of the first one after it.
    int MatchIndexAtCursor();
    void SelectMatch(int index);

    int m_id;
    QWidget *m_tabClip = nullptr;
    CodeEditorGroupTabBar *m_tabBar = nullptr;
    QWidget *m_miniToolbar = nullptr;
    QToolButton *m_scrollLeftButton = nullptr;
    QToolButton *m_scrollRightButton = nullptr;
    QToolButton *m_executeAllButton = nullptr;
    QToolButton *m_executeButton = nullptr;
    QToolButton *m_executeLineButton = nullptr;
    QToolButton *m_listButton = nullptr;
    QStackedWidget *m_stack = nullptr;
    MelParser m_melParser;
    PythonParser m_pythonParser;
    BaseParser *m_lastParser = nullptr;
    std::shared_ptr<BaseParser> m_backgroundParser; // the last background scan shown
    QThread *m_backgroundScan = nullptr;
    quint64 m_backgroundGeneration = 0;
    bool m_backgroundAgain = false;
    void EnsurePylintWorker();
    void StopPylintWorker();
    QThread *m_pylintThread = nullptr;
    PylintWorker *m_pylintWorker = nullptr; // no parent: it lives in m_pylintThread
    std::function<QStringList()> m_importFolders;
    FindReplaceWidget *m_findReplace = nullptr;
    TextSearch m_search;
    bool m_findInSelection = false;
    QPointer<CodeEditor> m_searchEditor; // the editor that shows the search
    // The counted matches, valid for one text of one editor, one search and one scope.
    QVector<TextMatch> m_matches;
    QString m_matchText;
    QString m_pauseText; // the current editor's text while its pause is handled
    QPointer<CodeEditor> m_matchEditor;
    int m_matchRevision = -1;
    int m_matchFrom = -1;
    int m_matchTo = -1;
    bool m_matchesComplete = true;
    QString m_message;
    QPointer<CodeEditor> m_messageEditor;
    int m_messageRevision = -1;
    // The last selection the user made in the current editor (the group's own moves to matches
    // do not count): Find in Selection's scope when it is turned on.
    QTextCursor m_userSelection;
    bool m_movingSelection = false;
    bool m_matchesStale = true;
    bool m_tabUpdatesSuspended = false;
    bool m_edgeDropZonesAllowed = true;
    bool m_active = false;
    TabDropZone m_dropZone = TAB_DROP_ZONE_CENTER;
    QRect m_dropHighlight;
};

} // namespace ke2

Q_DECLARE_METATYPE(ke2::BaseParser *)
