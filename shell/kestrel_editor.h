#pragma once

#include "editor/code_editor_record.h"
#include "shell/text_file.h"
#include "groups/tab_drop_zone.h"
#include "shell/script_runs.h"
#include "views/side_bar_view.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QPointer>
#include <QtCore/QVector>
#include <QtWidgets/QWidget>

#include <memory>

class QAction;
class QActionGroup;
class QHBoxLayout;
class QMenu;
class QMenuBar;
class QPlainTextEdit;
class QSplitter;
class QTimer;

namespace ke2 {

class ActivityBar;
class BaseParser;
class BufferIo;
class CodeEditor;
class CodeEditorGroup;
class DebugSession;
class DebugView;
class FindInFilesView;
class GoToWidget;
class KeyBindings;
class OutputTextEdit;
class OutputView;
class ProblemsView;
class PanelGroup;
class SessionLock;
class SideBar;
class StatusBar;

// The editor's one top-level widget: menu bar, actions, three editor groups, the output panel,
// the side bar with its activity bar, and the status bar. It applies the layout preferences
// (where the output and the side bar sit, what is shown) and routes every request of its parts.
//
// Where the parts still to come plug in, each in one place:
// - the output panel: CreateOutputPane, AppendOutput, OutputText, ClearHistory, OutputHasFocus,
//   ApplyOutputFont and the verbosity slots (kestrel_editor_output.cpp); the pane goes into
//   OutputPanelGroup()->SetPanel;
// - buffers and session state: kestrel_editor_buffers.cpp (CreateCodeEditor is the one way an
//   editor is added; SaveState and RestoreSession the session format);
// - execution: Execute(ExecuteType) in kestrel_editor_run.cpp;
// - side bar sections: GetSideBar()->Explorer()->AddSection(section, position, &visibleSetting),
//   and whole views with GetSideBar()->SetView(view, widget, title); their requests reach the
//   window through the SideBar signals, connected in ConnectSignals;
// - find, go to and find in files: kestrel_editor_find.cpp.
//
// The implementation is split by concern: kestrel_editor.cpp (construction, actions, menus,
// wiring), kestrel_editor_layout.cpp (splitters, visibility, positions, events, focus, zoom,
// title, preferences), kestrel_editor_buffers.cpp (opening, closing, moving and saving
// editors, session state), kestrel_editor_output.cpp (the output pane), kestrel_editor_run.cpp
// (execution and host options), kestrel_editor_find.cpp (the find bar, go to and find in
// files) and kestrel_editor_commands.cpp (editing, navigation and help commands).
class KestrelEditor : public QWidget {
    Q_OBJECT
public:
    enum ExecuteType { EXECUTE_ALL = 0, EXECUTE_SELECTION = 1, EXECUTE_LINE = 2 };
    static constexpr int minimumFontSize = 6;
    static constexpr int maximumFontSize = 24;
    // How long the status bar says that Esc cannot stop a MEL run, once the window answers again.
    static constexpr int melRunHintMilliseconds = 3000;
    static QString melRunHint();
    // What the status bar says while a Python run holds the window.
    static QString pythonRunHint();

    explicit KestrelEditor(QWidget *parent = nullptr);
    ~KestrelEditor() override;

    // --- What other parts of the program reach ---
    CodeEditorGroup *Group(int id) const { return m_groups.value(id); }
    const QVector<CodeEditorGroup *> &Groups() const { return m_groups; }
    CodeEditorGroup *ActiveGroup() const;
    int ActiveGroupIndex() const { return m_activeGroupIndex; }
    // The current editor of the active group; null when it has none.
    CodeEditor *ActiveCodeEditor() const;
    // Whether the editor's file is still coming in (or waits for its tab to be shown).
    static bool IsLoading(const CodeEditor *editor);
    // The editor with keyboard focus; null when focus is elsewhere.
    CodeEditor *FocusedCodeEditor() const;
    // The output text when it has the keyboard focus.
    OutputTextEdit *FocusedOutput() const;
    int CodeEditorCount() const;
    SideBar *GetSideBar() const { return m_sideBar; }
    ActivityBar *GetActivityBar() const { return m_activityBar; }
    StatusBar *GetStatusBar() const { return m_statusBar; }
    PanelGroup *OutputPanelGroup() const { return m_outputPanelGroup; }
    QSplitter *EditorSplitter() const { return m_editorSplitter; }
    QSplitter *OutputSplitter() const { return m_outputSplitter; }
    QSplitter *SideBarSplitter() const { return m_sideBarSplitter; }
    QMenuBar *MenuBar() const { return m_menuBar; }
    QMenu *RecentFilesMenu() const { return m_recentFilesMenu; }
    // The action registered under a binding number, or null.
    QAction *BindingAction(int number) const { return m_bindingActions.value(number); }
    QAction *SideBarPositionAction() const { return m_toggleSideBarPositionAction; }
    QAction *FindInFilesAction() const { return m_findInFilesAction; }
    // The go-to box, created when first opened.
    GoToWidget *GoTo() const { return m_goTo; }
    ProblemsView *Problems() const { return m_problems; }
    FindInFilesView *SearchView() const { return m_findInFiles; }
    DebugSession *GetDebugSession() const { return m_debugSession; }
    DebugView *GetDebugView() const { return m_debugView; }
    // The status message when Execute is asked for while a debugged run is paused.
    static QString debugPausedExecuteMessage();
    bool IsCodeEditorVisible() const { return m_codeEditorVisible; }
    bool IsOutputVisible() const { return m_outputVisible; }
    bool IsSideBarVisible() const { return m_sideBarVisible; }
    bool ShortcutsActive() const { return m_shortcutsActive; }

    // The plug-in's and the program's view of the window.
    void AppendOutput(const QString &text);
    QString OutputText() const;
    // Runs before the window is deleted at unload or quit: stops following focus, saves the
    // internal buffers (and the files when `saveAllOnExit` is set) and the session. Unsaved
    // text the user has not chosen to drop (a failed save, a close nobody was asked about)
    // keeps its recovery copy, so the next start offers it again.
    void TearDown();
    // What closing the host's main window (or, standalone, this window) asks first: the save
    // prompt for modified files, then what to do about saves that failed. False: stay open.
    bool ConfirmClose();

public slots:
    // Layout and visibility.
    void SetCodeEditorVisible(bool visible, bool splitterMove = false);
    void ToggleCodeEditor();
    void SetOutputVisible(bool visible, bool splitterMove = false);
    void ToggleOutput();
    void SetSideBarVisible(bool visible, bool splitterMove = false);
    void SetSideBarView(ke2::SideBarView view);
    void ToggleSideBar();
    void SetActivityBarVisible(bool visible);
    void ToggleActivityBar();
    void SetStatusBarVisible(bool visible);
    void ToggleStatusBar();
    void ToggleCodeEditorLayout();
    void ToggleSideBarPosition();
    void OutputPositionTop();
    void OutputPositionBottom();
    void OutputPositionLeft();
    void OutputPositionRight();
    void ShowExplorer();
    void ShowSearch();
    void ShowQuickHelp();
    void OnActivityBarViewSelected(ke2::SideBarView view);
    void ShowPreferencesDialog(ke2::PreferencePage page = 10);
    void ShowAboutDialog();
    void OnPreferencesModified();
    void UpdateViews();
    void UpdateTitleBar();
    void UpdateCursorPosition();
    void UpdateOverwriteMode();
    void UpdateStatusBarInfo();
    void UpdateParser();
    void UpdateInterpreter();
    void IncreaseFontSize();
    void IncreaseCodeEditorFontSize();
    void IncreaseOutputFontSize();
    void DecreaseFontSize();
    void DecreaseCodeEditorFontSize();
    void DecreaseOutputFontSize();
    void ResetFontSize();
    void OnShowEditMenu();
    void OnShowViewMenu();
    void OnShowOutputVerbosityMenu();
    void OnSplitterMoved();
    void OnApplicationFocusChanged(QWidget *old, QWidget *now);
    void RefreshCodeEditorGroupMiniToolbar();
    void OnActiveCodeEditorChanged();
    void OnCodeEditorGroupFocusReceived(ke2::CodeEditorGroup *group);
    void SetQuickHelpSearchText(const QString &text, bool showWhenHidden);
    void InsertQuickHelpFlag(const QString &flag);
    void OnParserUpdated(ke2::BaseParser *parser);
    void OnOutlineSelectionChanged(int start, int end);
    // Every diagnostic of the open buffers in one list; a click goes there.
    void ShowProblems();
    void NextProblem();
    void PreviousProblem();
    // Shows an outline entry in the editor while the outline keeps the focus.
    void OnOutlinePreviewRequested(int start, int end);
    void OnWorkspaceItemDeleted(const QString &path, bool isFolder);
    void OnWorkspaceModified();
    void RefreshOpenEditors();

    // Buffers and files.
    void NewBuffer();
    void NewBuffer(ke2::CodeEditorLanguage language);
    void NewMelBuffer();
    void NewPythonBuffer();
    void OpenFile();
    void OpenFile(const QString &filePath, bool temp = false);
    void OpenRecentFile();
    void ReopenClosedFile();
    void ClearRecentFiles();
    void Save();
    void SaveAs();
    void SaveAll(bool internalBuffers = true, bool fileBuffers = true);
    void Rename();
    void Rename(ke2::CodeEditorGroup *codeEditorGroup, int codeEditorIndex);
    void RevertFile();
    void CloseFile();
    void CloseAllFiles();
    void SaveState();
    void SaveScriptToShelf();
    void SourceScript();
    void SetActiveCodeEditor(int groupIndex, int codeEditorIndex);
    void OnCloseTabRequested(ke2::CodeEditorGroup *group, int index);
    void OnCloseOtherTabsRequested(ke2::CodeEditorGroup *group, int index);
    void OnCloseTabsToRightRequested(ke2::CodeEditorGroup *group, int index);
    void OnMoveTabRequested(int fromGroup, int fromIndex, int toGroup, int toIndex);
    void OnMoveTabToZoneRequested(int fromGroup, int fromIndex, int toGroup, ke2::TabDropZone zone);
    void OnOpenFileRequested(int groupId, int index, const QString &path);
    void OnOpenFilesRequested(int groupId, ke2::TabDropZone zone, const QStringList &paths);
    void OnFileChanged(const QString &path);
    void CheckForFileChanges();
    void OnFilePathChanged(const QString &oldFilePath, const QString &newFilePath);
    // Puts unsaved typing on disk: internal buffers in place, file buffers as recovery copies.
    void AutosaveBuffers();
    // Counts the edits of the sending document: a recovery copy is written again only when the
    // text changed since the last one (rewriting a 100 MB copy at every pause blocks typing).
    void CountEdit();
    void OnShowInSideBarRequested(const QString &path);

    // Editing, acting on the focused code editor.
    void Undo();
    void Redo();
    void Cut();
    void Copy();
    void Paste();
    void SelectAll();
    void IncreaseIndent();
    void DecreaseIndent();
    void CopyLineUp();
    void CopyLineDown();
    void MoveLineUp();
    void MoveLineDown();
    void DeleteLine();
    void ToggleComment();
    void ToggleBlockComment();
    void ConvertTabsToSpaces();
    void ToggleRenderWhitespace();
    void ToggleWordWrap();

    // Find, go to and the workspace: their views come with their own parts.
    void Find();
    void Replace();
    void FindInFiles();
    void ReplaceInFiles();
    void FindNext();
    void FindPrevious();
    void SelectAndFindNext();
    void SelectAndFindPrevious();
    void FindInFilesNext();
    void FindInFilesPrevious();
    // Find in files and the open buffers: results kept current as buffers change, highlights
    // dropped when the search view is out of sight or a new search starts.
    void UpdateSearch(const QString &path, const QString &text);
    void Search(const QString &text, const QStringList &include, const QStringList &exclude, bool matchCase,
                bool wholeWord, bool regularExpression);
    void OnSearchCleared();
    void OnSearchFocusChanged(const QString &path, int line);
    void OnFindAndReplace(const QString &path, int line);
    void ReplaceNext();
    void ReplaceAll();
    void GoToEditor();
    void GoToEditorGroup();
    void GoToFile();
    void GoToSymbolInFile();
    void GoToLine();
    void OpenWorkspace();
    void SaveWorkspaceAs();
    void AddFolderToWorkspace();

    // Output and the host's options.
    void ClearHistory();
    void UpdateOutputVerbosity();
    void ToggleEchoAllCommands();
    void ToggleLineNumbersInErrors();
    void ToggleShowStackTrace();
    void ToggleSuppressStackWindow();
    void ToggleWriteOutputToFile();
    // Makes the tab (or file) an output error line names current, with the cursor on its line.
    void GoToError(const QString &line, int identicalLinesAfter);
    void PrintPythonPath();
    void PrintMayaEnvVarPaths();
    void OpenPylintrc();
    void MelCommandReference();
    void PythonCommandReference();
    void NodeAndAttributeReference();

    // The debugger (kestrel_editor_debug.cpp).
    void ToggleBreakpoint();
    void Debug();
    void StepOver();
    void StepInto();
    void StepOut();
    void StopDebugging();
    void RunToCursor();
    void ShowDebug();

    // Execution.
    void Execute();
    void Execute(ke2::KestrelEditor::ExecuteType type);
    void ExecuteLine();
    void ExecuteAll();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    // The status bar's message for the editor's cursor: a MEL signature, else the line's diagnostic.
    QString LineMessageAt(CodeEditor *editor) const;
    void ShowMelRunHint();
    void ShowPythonRunHint();
    // Gives the keys back to the widget that had them before a dialog.
    void RestoreFocusAfterDialog();
    void OnRunHintTick();
    // Runs `editor`'s code; the keys and the toolbar buttons say which editor that is.
    void ExecuteIn(CodeEditor *editor, ExecuteType type);
    // A group's toolbar button: the group becomes active and its current editor runs.
    void ExecuteInGroup(CodeEditorGroup *group, ExecuteType type);
    // Construction, in order.
    void CreateActions();
    QAction *AddAction(const QString &text, const QString &statusTip, int binding, void (KestrelEditor::*slot)(),
                       bool checkable = false);
    void CreateMenus();
    void CreateLayout();
    void ConnectSignals();
    void ApplyPreferences();
    void RestoreSession();
    QWidget *CreateOutputPane();

    // The two-pane splitter rules.
    void ShowCodeEditorAndOutput();
    void HideCodeEditor();
    void HideOutput();
    void RememberCodeEditorAndOutputSizes();
    void ShowSideBar();
    void HideSideBar();
    void RememberSideBarSizes();
    int QuarterHeight() const;
    int OutputPane() const;
    int SideBarPane() const;
    void UpdateActivityBarCheck();
    // The side bar's width when nothing is remembered: room for its headers and buttons.
    int DefaultSideBarWidth() const;
    // Moves the output to an edge; the four Output Position entries show the one in use.
    void SetOutputPosition(bool vertical, bool topLeft);
    void UpdateOutputPositionChecks();
    QActionGroup *m_outputPositionGroup = nullptr; // Top, Bottom, Left, Right

    // Fonts: base size plus zoom, clamped; a clamp rewrites the zoom.
    void ApplyCodeEditorFont();
    void ApplyCodeEditorFont(CodeEditor *codeEditor);
    void ApplyOutputFont();
    bool OutputHasFocus() const;

    // Editors.
    int CreateCodeEditor(CodeEditorGroup *group, const CodeEditorRecord &record, const QString &text, int index = -1);
    bool CloseCodeEditor(CodeEditorGroup *group, int index);
    // Reads `path` for `codeEditor` (or for one about to be created, `codeEditor` null); the
    // file's format is kept in `format`. Asks first about binary and very large files unless `quiet`.
    bool ReadFile(const QString &path, QString &text, TextFileFormat &format, bool quiet = false);
    // Writes the editor's text to `path` in its file's format; its recovery copy goes. A save by
    // the user first trims the text as the language's preferences say; autosave writes it as typed.
    // A file another program changed since it was last read or written here is asked about
    // first; without `ask` (nobody to answer, as at teardown) it is left alone and reported.
    bool WriteFile(CodeEditor *codeEditor, const QString &path, bool cleanUp = true, bool ask = true);
    // Reads the editor's file into it in slices (BufferLoader), with the progress in the status bar.
    // With `whenShown`, not before the editor is first shown; the cursor and scroll positions
    // (when not -1) are restored once the text is in.
    void LoadInPieces(CodeEditor *editor, bool whenShown = false, int cursorPosition = -1, int scrollPosition = -1);
    // Overwrite, reload or cancel when `path` changed outside; true to go on writing.
    bool ConfirmOverwrite(CodeEditor *codeEditor, const QString &path, bool ask);
    // Reads the file again as one undoable edit; the editor is then unmodified.
    bool ReloadFile(CodeEditorGroup *group, int index);
    // Looks at the open files shortly (once for several requests).
    void ScheduleFileCheck();
    // After a crash: each file buffer with a recovery copy is offered its recovered text once.
    void OfferRecoveredFiles();
    // Saves the modified internal buffers, and the files with `fileBuffers`; the editors whose
    // save failed are returned.
    QVector<CodeEditor *> SaveForClose(bool fileBuffers, bool ask);
    // A buffer whose file could not be made lives only in memory: before it goes, the user is
    // offered to save it as a file. False: keep it open.
    bool OfferToSaveFilelessBuffer(CodeEditorGroup *group, int index);
    // Keeps a failed save's text in a recovery copy, saying so in the output.
    void KeepUnsavedText(CodeEditor *codeEditor);
    void ForgetFile(const QString &path);
    void MoveCodeEditor(int fromGroup, int fromIndex, int toGroup, int toIndex);
    // The group a drop before or after `groupId` lands in; editors shift to make room.
    int MakeRoomForZone(int groupId, TabDropZone zone);
    void MoveAllCodeEditors(int fromGroup, int toGroup);
    void UpdateGroupVisibility();
    void SetActiveGroupIndex(int index);
    void RebuildRecentFilesMenu();
    // Puts a file the user opened or saved under a new name at the front of Recent Files.
    void RememberRecentFile(const QString &path);
    // Where the open dialog starts, given the folder it was last left in.
    QString OpenDialogDirectory(const QString &remembered) const;
    bool IsPathOpen(const QString &path) const;
    // The index of the editor showing `path` (under any of its names), its group in `group`;
    // -1 when none does.
    int FindOpenFile(const QString &path, CodeEditorGroup *&group) const;
    static QString FileIdentity(const QString &path);
    static bool SameFile(const QString &a, const QString &b);
    void AttachCodeEditor(CodeEditor *codeEditor);

    KeyBindings &m_bindings;
    QPointer<QWidget> m_hostMainWindow;
    QMenuBar *m_menuBar = nullptr;
    QMenu *m_recentFilesMenu = nullptr;
    QMenu *m_viewMenu = nullptr;
    QMenu *m_editMenu = nullptr;
    PanelGroup *m_outputPanelGroup = nullptr;
    OutputView *m_outputView = nullptr;
    OutputTextEdit *m_outputText = nullptr;
    // Where each run's code came from, for the output's error links.
    ScriptRuns m_scriptRuns;
    SideBar *m_sideBar = nullptr;
    ActivityBar *m_activityBar = nullptr;
    StatusBar *m_statusBar = nullptr;
    QSplitter *m_editorSplitter = nullptr;
    QSplitter *m_outputSplitter = nullptr;
    QSplitter *m_sideBarSplitter = nullptr;
    QHBoxLayout *m_mainRow = nullptr;
    QVector<CodeEditorGroup *> m_groups;
    int m_activeGroupIndex = 0;
    bool m_shortcutsActive = false;
    // Watches the window answer while the Python run hint is up: a late tick means the run held
    // the window and has ended.
    QTimer *m_runHintTimer = nullptr;
    QElapsedTimer m_runHintClock;
    qint64 m_runHintAnswering = 0;
    // The widget that had the keys when a dialog took them.
    QPointer<QWidget> m_focusBeforeDialog;
    bool m_dialogHasFocus = false;
    bool m_tornDown = false;
    // Set while the constructor runs: nothing is saved before the window exists.
    bool m_constructing = true;

    // Visibility flags and the remembered pane sizes (below 10 counts as none).
    bool m_codeEditorVisible = true;
    bool m_outputVisible = true;
    bool m_sideBarVisible = true;
    int m_lastCodeEditorSize = 0;
    int m_lastOutputSize = 0;
    int m_lastSideBarSize = 0;
    int m_lastMainSize = 0;
    // The search view is the side bar's current view.
    bool m_searchActive = false;

    QHash<int, QAction *> m_bindingActions;
    QAction *m_findInFilesAction = nullptr;
    // Find, go to and find in files (kestrel_editor_find.cpp).
    GoToWidget *m_goTo = nullptr;
    ProblemsView *m_problems = nullptr;
    bool m_problemsRefreshQueued = false;
    void QueueProblemsRefresh();
    void RefreshProblems();
    void GoToProblem(const QString &path, int line);
    void StepToProblem(bool forward);
    FindInFilesView *m_findInFiles = nullptr;
    void CreateFindInFiles();
    // Open buffers change in their tabs (one undo step each); other files are written.
    void ApplyReplaceInFiles(const QRegularExpression &regex, const QString &replaceText, const QStringList &paths,
                             bool templateReplace);
    void OpenGoTo(const QString &prefix);
    // Open files first, then recent ones, then the workspace folders' files.
    QStringList GoToFiles() const;
    // The debugger (kestrel_editor_debug.cpp).
    void CreateDebugActions();
    void CreateDebugger();
    void UpdateDebugActions();
    void OnBreakpointsChanged();
    void OnDebugPaused();
    void OnDebugResumed();
    void OnDebugEnded();
    // Makes the tab of `file` current (opening the file when needed) with `line` (1-based) in
    // view; `paused` marks it as the line the run is paused on.
    void ShowDebugLine(const QString &file, int line, bool paused = true);
    CodeEditor *EditorForPath(const QString &path, bool open);
    QString BreakpointsJson() const;
    bool ShowDebugValueToolTip(QWidget *viewport, QEvent *event);
    void RestoreBreakpoints();
    QStringList SavedBreakpoints() const;
    DebugSession *m_debugSession = nullptr;
    DebugView *m_debugView = nullptr;
    QPointer<CodeEditor> m_pausedEditor;
    QAction *m_debugAction = nullptr;
    QAction *m_stepOverAction = nullptr;
    QAction *m_stepIntoAction = nullptr;
    QAction *m_stepOutAction = nullptr;
    QAction *m_stopDebuggingAction = nullptr;
    QAction *m_runToCursorAction = nullptr;
    QAction *m_toggleSideBarPositionAction = nullptr;
    QAction *m_toggleActivityBarAction = nullptr;
    QAction *m_toggleStatusBarAction = nullptr;
    QAction *m_echoAllAction = nullptr;
    QAction *m_normalAction = nullptr;
    QAction *m_minimalAction = nullptr;
    QAction *m_echoAllCommandsAction = nullptr;
    QAction *m_lineNumbersInErrorsAction = nullptr;
    QAction *m_showStackTraceAction = nullptr;
    QAction *m_suppressStackWindowAction = nullptr;
    QAction *m_writeOutputToFileAction = nullptr;
    QAction *m_clearRecentFilesAction = nullptr;
    QAction *m_reopenClosedFileAction = nullptr;

    // The order in which each group's editors were last current (most recent last), for the
    // "used editor" navigation.
    QHash<CodeEditor *, quint64> m_lastUsed;
    quint64 m_useCounter = 0;
    BufferIo *m_bufferIo = nullptr;
    bool m_checkingFileChanges = false;
    QTimer *m_fileCheckTimer = nullptr;
    // Which internal buffers and recovery copies are this session's to write.
    std::unique_ptr<SessionLock> m_sessionLock;
    // Buffer files no saved session listed (left by a session that ended, or by another session's
    // save over ours): opened again at start, never deleted unseen.
    void ReopenUnlistedBuffers();
    // Set once the user has answered for the unsaved files at close (or said never to be
    // asked): their recovery copies may then go with the window.
    bool m_unsavedFilesDecided = false;
    // Editors whose save failed at close and whose text the user let the window close over.
    QVector<QPointer<CodeEditor>> m_keptAtClose;
};

} // namespace ke2
