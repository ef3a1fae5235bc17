#include "shell/kestrel_editor.h"

#include "config/key_bindings.h"
#include "config/key_bindings_notifier.h"
#include "config/settings.h"
#include "config/user_directories.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "plugin/host.h"
#include "plugin/host_bridge.h"
#include "shell/buffer_io.h"
#include "shell/session_lock.h"
#include "views/activity_bar.h"
#include "views/panel_group.h"
#include "views/side_bar.h"
#include "views/workspace_tree_widget.h"
#include "views/workspace_view.h"
#include "views/status_bar.h"

#include <QtCore/QTimer>
#include <QAction>
#include <QActionGroup>
#include <QtWidgets/QApplication>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QVBoxLayout>

namespace ke2 {

KestrelEditor::KestrelEditor(QWidget *parent) : QWidget(parent), m_bindings(KeyBindings::instance())
{
    if (Host *host = HostBridge::host()) {
        m_hostMainWindow = host->mainWindow();
        // Standalone, this window is the host's main window: closing it ends the program.
        if (!m_hostMainWindow && !host->hasFeature(Host::Feature::DockingUi))
            m_hostMainWindow = this;
    }
    setWindowTitle(HostBridge::displayName());
    // The host finds the widget by this name.
    if (objectName().isEmpty())
        setObjectName(HostBridge::pluginName());
    setWindowIcon(QIcon(QStringLiteral(":/ke2_icons/python_main.png")));
    m_bufferIo = new BufferIo(this);
    m_sessionLock = std::make_unique<SessionLock>(UserDirectories::internalBufferDirectory());
    m_bufferIo->Recovery().SetDirectory(m_sessionLock->Directory());
    connect(&m_bufferIo->Autosave(), &AutosaveTimer::Due, this, &KestrelEditor::AutosaveBuffers);

    CreateActions();
    // Duplicate keys are resolved among the entries that have an action, so read after attaching.
    m_bindings.read();
    CreateMenus();
    CreateLayout();
    ConnectSignals();

    ApplyPreferences();

    RestoreSession();
    RestoreBreakpoints();
    if (CodeEditorCount() == 0) {
        NewMelBuffer();
        NewPythonBuffer();
    }

    const int saved = Settings::instance().activeTabViewIndex;
    SetActiveGroupIndex(saved >= 0 && saved < m_groups.size() ? saved : 0);

    RefreshCodeEditorGroupMiniToolbar();
    if (CodeEditorGroup *group = ActiveGroup())
        m_editorSplitter->setFocusProxy(group);
    m_bindings.applyShortcuts(m_shortcutsActive);
    const QString history = HostBridge::existingHistory();
    if (!history.isEmpty())
        AppendOutput(history);

    if (m_hostMainWindow)
        m_hostMainWindow->installEventFilter(this);
    m_constructing = false;
    // The buffers made or restored above are in the session before any typing can be lost.
    SaveState();
    auto *recover = new QTimer(this);
    recover->setSingleShot(true);
    connect(recover, &QTimer::timeout, this, &KestrelEditor::OfferRecoveredFiles);
    connect(recover, &QTimer::timeout, recover, &QObject::deleteLater);
    recover->start(0);
    // A timer of the window's own: a pending one-shot of the application would outlive a
    // plug-in that is unloaded within those 50 ms and call into its unloaded code.
    auto *refresh = new QTimer(this);
    refresh->setSingleShot(true);
    connect(refresh, &QTimer::timeout, this, &KestrelEditor::UpdateViews);
    connect(refresh, &QTimer::timeout, refresh, &QObject::deleteLater);
    refresh->start(50);
}

KestrelEditor::~KestrelEditor()
{
    disconnect(qApp, &QApplication::focusChanged, this, &KestrelEditor::OnApplicationFocusChanged);
    // The editors go after this class's part of the window: what they say on the way out (their
    // destruction, above all) must not reach it.
    for (CodeEditor *editor : findChildren<CodeEditor *>())
        disconnect(editor, nullptr, this, nullptr);
    // The binding table outlives the window; its actions go with it.
    for (auto it = m_bindingActions.cbegin(); it != m_bindingActions.cend(); ++it)
        m_bindings.setAction(it.key(), nullptr);
}

QAction *KestrelEditor::AddAction(const QString &text, const QString &statusTip, int binding,
                                  void (KestrelEditor::*slot)(), bool checkable)
{
    auto *action = new QAction(text, this);
    action->setStatusTip(statusTip);
    action->setCheckable(checkable);
    if (binding > 0) {
        m_bindings.setAction(binding, action);
        m_bindingActions.insert(binding, action);
    }
    addAction(action);
    if (slot)
        connect(action, &QAction::triggered, this, slot);
    return action;
}

void KestrelEditor::CreateActions()
{
    AddAction(QStringLiteral("New Buffer"), QStringLiteral("New..."), 1, &KestrelEditor::NewBuffer);
    AddAction(QStringLiteral("New MEL Buffer"), QStringLiteral("New MEL Buffer"), 2, &KestrelEditor::NewMelBuffer);
    AddAction(QStringLiteral("New Python Buffer"), QStringLiteral("New Python Buffer"), 3, &KestrelEditor::NewPythonBuffer);
    AddAction(QStringLiteral("Open File"), QStringLiteral("Open File..."), 4, &KestrelEditor::OpenFile);
    m_reopenClosedFileAction = AddAction(QStringLiteral("Reopen Closed File"), QStringLiteral("Reopen Closed File"), 5,
                                         &KestrelEditor::ReopenClosedFile);
    m_clearRecentFilesAction =
        AddAction(QStringLiteral("Clear Items"), QStringLiteral("Clear Items"), 0, &KestrelEditor::ClearRecentFiles);
    AddAction(QStringLiteral("Save"), QStringLiteral("Save"), 6, &KestrelEditor::Save);
    AddAction(QStringLiteral("Save As"), QStringLiteral("Save As..."), 7, &KestrelEditor::SaveAs);
    connect(AddAction(QStringLiteral("Save All"), QStringLiteral("Save All"), 8, nullptr), &QAction::triggered, this,
            [this] { SaveAll(); });
    AddAction(QStringLiteral("Rename"), QStringLiteral("Rename..."), 9, &KestrelEditor::Rename);
    AddAction(QStringLiteral("Revert File"), QStringLiteral("Revert File"), 12, &KestrelEditor::RevertFile);
    AddAction(QStringLiteral("Close File"), QStringLiteral("Close File"), 13, &KestrelEditor::CloseFile);
    AddAction(QStringLiteral("Save State"), QStringLiteral("Save State"), 15, &KestrelEditor::SaveState);
    AddAction(QStringLiteral("Save Script to Shelf"), QStringLiteral("Save Script to Shelf..."), 10,
              &KestrelEditor::SaveScriptToShelf);
    AddAction(QStringLiteral("Source Script"), QStringLiteral("Source Script..."), 11, &KestrelEditor::SourceScript);
    AddAction(QStringLiteral("Close All Files"), QStringLiteral("Close All Files"), 14, &KestrelEditor::CloseAllFiles);
    AddAction(QStringLiteral("Open Workspace"), QStringLiteral("Open Workspace..."), 16, &KestrelEditor::OpenWorkspace);
    AddAction(QStringLiteral("Save Workspace As"), QStringLiteral("Save Workspace As..."), 17,
              &KestrelEditor::SaveWorkspaceAs);
    AddAction(QStringLiteral("Add Folder to Workspace"), QStringLiteral("Add Folder to Workspace..."), 18,
              &KestrelEditor::AddFolderToWorkspace);

    struct Row {
        const char *text;
        int binding;
        void (KestrelEditor::*slot)();
    };
    const Row editing[] = {
        {"Undo", 19, &KestrelEditor::Undo},
        {"Redo", 20, &KestrelEditor::Redo},
        {"Cut", 21, &KestrelEditor::Cut},
        {"Copy", 22, &KestrelEditor::Copy},
        {"Paste", 23, &KestrelEditor::Paste},
        {"Select All", 24, &KestrelEditor::SelectAll},
        {"Find", 25, &KestrelEditor::Find},
        {"Replace", 26, &KestrelEditor::Replace},
        {"Find in Files", 27, &KestrelEditor::FindInFiles},
        {"Replace in Files", 28, &KestrelEditor::ReplaceInFiles},
        {"Find Next", 29, &KestrelEditor::FindNext},
        {"Find Previous", 30, &KestrelEditor::FindPrevious},
        {"Select and Find Next", 31, &KestrelEditor::SelectAndFindNext},
        {"Select and Find Previous", 32, &KestrelEditor::SelectAndFindPrevious},
        {"Find in Files Next", 33, &KestrelEditor::FindInFilesNext},
        {"Find in Files Previous", 34, &KestrelEditor::FindInFilesPrevious},
        {"Replace Next", 35, &KestrelEditor::ReplaceNext},
        {"Replace", 36, &KestrelEditor::ReplaceAll},
        {"Increase Indent", 37, &KestrelEditor::IncreaseIndent},
        {"Decrease Indent", 38, &KestrelEditor::DecreaseIndent},
        {"Copy Line Up", 39, &KestrelEditor::CopyLineUp},
        {"Copy Line Down", 40, &KestrelEditor::CopyLineDown},
    };
    for (const Row &row : editing) {
        QAction *action = AddAction(QString::fromLatin1(row.text), QString::fromLatin1(row.text), row.binding, row.slot);
        if (row.binding == 27)
            m_findInFilesAction = action;
    }
    // The menu text keeps its stray letter; the status tip is spelled right.
    AddAction(QStringLiteral("Move Line Up"), QStringLiteral("Move Line Up"), 41, &KestrelEditor::MoveLineUp);
    const Row lines[] = {
        {"Move Line Down", 42, &KestrelEditor::MoveLineDown},
        {"Delete Line", 43, &KestrelEditor::DeleteLine},
        {"Toggle Comment", 44, &KestrelEditor::ToggleComment},
        {"Toggle Block Comment", 45, &KestrelEditor::ToggleBlockComment},
        {"Convert Tabs to Spaces", 46, &KestrelEditor::ConvertTabsToSpaces},
        {"Clear Output", 47, &KestrelEditor::ClearHistory},
    };
    for (const Row &row : lines)
        AddAction(QString::fromLatin1(row.text), QString::fromLatin1(row.text), row.binding, row.slot);
    AddAction(QStringLiteral("Preferences"), QStringLiteral("Preferences..."), 48, nullptr);
    connect(m_bindingActions.value(48), &QAction::triggered, this, [this] { ShowPreferencesDialog(); });

    auto *verbosity = new QActionGroup(this);
    m_echoAllAction = AddAction(QStringLiteral("Echo All"), QStringLiteral("Echo All"), 0,
                                &KestrelEditor::UpdateOutputVerbosity, true);
    m_normalAction =
        AddAction(QStringLiteral("Normal"), QStringLiteral("Normal"), 0, &KestrelEditor::UpdateOutputVerbosity, true);
    m_minimalAction =
        AddAction(QStringLiteral("Minimal"), QStringLiteral("Minimal"), 0, &KestrelEditor::UpdateOutputVerbosity, true);
    for (QAction *action : {m_echoAllAction, m_normalAction, m_minimalAction})
        verbosity->addAction(action);
    m_echoAllCommandsAction = AddAction(QStringLiteral("Echo All Commands"), QStringLiteral("Echo All Commands"), 52,
                                        &KestrelEditor::ToggleEchoAllCommands, true);
    m_lineNumbersInErrorsAction = AddAction(QStringLiteral("Line Numbers in Errors"), QStringLiteral("Line Numbers in Errors"),
                                            53, &KestrelEditor::ToggleLineNumbersInErrors, true);
    m_showStackTraceAction = AddAction(QStringLiteral("Show Stack Trace"), QStringLiteral("Show Stack Trace"), 54,
                                       &KestrelEditor::ToggleShowStackTrace, true);
    m_suppressStackWindowAction = AddAction(QStringLiteral("Suppress Stack Window"), QStringLiteral("Suppress Stack Window"),
                                            55, &KestrelEditor::ToggleSuppressStackWindow, true);
    m_writeOutputToFileAction = AddAction(QStringLiteral("Write Output to File"), QStringLiteral("Write Output to File"),
                                          56, &KestrelEditor::ToggleWriteOutputToFile, true);

    AddAction(QStringLiteral("Execute"), QStringLiteral("Execute"), 57, &KestrelEditor::Execute);
    AddAction(QStringLiteral("Execute Alt"), QStringLiteral("Execute Alt"), 58, &KestrelEditor::Execute);
    AddAction(QStringLiteral("Execute Line"), QStringLiteral("Execute Line"), 59, &KestrelEditor::ExecuteLine);
    AddAction(QStringLiteral("Execute All"), QStringLiteral("Execute All"), 60, &KestrelEditor::ExecuteAll);
    CreateDebugActions();
    AddAction(QStringLiteral("PYTHONPATH"), QStringLiteral("PYTHONPATH"), 0, &KestrelEditor::PrintPythonPath);
    for (const char *variable : {"MAYA_SCRIPT_PATH", "MAYA_PLUG_IN_PATH", "MAYA_MODULE_PATH", "MAYA_SHELF_PATH", "XBMLANGPATH"})
        AddAction(QString::fromLatin1(variable), QString::fromLatin1(variable), 0, &KestrelEditor::PrintMayaEnvVarPaths);
    AddAction(QStringLiteral("Open pylintrc"), QStringLiteral("Open pylintrc"), 0, &KestrelEditor::OpenPylintrc);
    AddAction(QStringLiteral("Toggle Render Whitespaces"), QStringLiteral("Toggle Render Whitespaces"), 61,
              &KestrelEditor::ToggleRenderWhitespace);
    AddAction(QStringLiteral("Toggle Word Wrap"), QStringLiteral("Toggle Word Wrap"), 62, &KestrelEditor::ToggleWordWrap);
    AddAction(QStringLiteral("Explorer"), QStringLiteral("Explorer"), 70, &KestrelEditor::ShowExplorer);
    AddAction(QStringLiteral("Quick Help"), QStringLiteral("Quick Help"), 71, &KestrelEditor::ShowQuickHelp);
    AddAction(QStringLiteral("Toggle Code Editor"), QStringLiteral("Toggle Code Editor"), 63, &KestrelEditor::ToggleCodeEditor);
    AddAction(QStringLiteral("Toggle Output"), QStringLiteral("Toggle Output"), 64, &KestrelEditor::ToggleOutput);
    AddAction(QStringLiteral("Toggle Side Bar"), QStringLiteral("Toggle Side Bar"), 65, &KestrelEditor::ToggleSideBar);
    m_toggleActivityBarAction = AddAction(QStringLiteral("Hide Activity Bar"), QStringLiteral("Hide Activity Bar"), 66,
                                          &KestrelEditor::ToggleActivityBar);
    m_toggleStatusBarAction =
        AddAction(QStringLiteral("Hide Status Bar"), QStringLiteral("Hide Status Bar"), 67, &KestrelEditor::ToggleStatusBar);
    AddAction(QStringLiteral("Toggle Code Editor Layout"), QStringLiteral("Toggle Code Editor Layout"), 68,
              &KestrelEditor::ToggleCodeEditorLayout);
    // Its text follows the side bar's position (set when the preferences are applied).
    m_toggleSideBarPositionAction = AddAction(QString(), QString(), 69, &KestrelEditor::ToggleSideBarPosition);
    AddAction(QStringLiteral("Increase Font Size"), QStringLiteral("Increase Font Size"), 49, &KestrelEditor::IncreaseFontSize);
    AddAction(QStringLiteral("Decrease Font Size"), QStringLiteral("Decrease Font Size"), 50, &KestrelEditor::DecreaseFontSize);
    AddAction(QStringLiteral("Reset Font Size"), QStringLiteral("Reset Font Size"), 51, &KestrelEditor::ResetFontSize);
    AddAction(QStringLiteral("Next Editor"), QStringLiteral("Next Editor"), 72, &KestrelEditor::GoToEditor);
    AddAction(QStringLiteral("Previous Editor"), QStringLiteral("Previous Editor"), 73, &KestrelEditor::GoToEditor);
    AddAction(QStringLiteral("Next Used Editor in Group"), QStringLiteral("Next Used Editor in Group"), 74,
              &KestrelEditor::GoToEditor);
    AddAction(QStringLiteral("Previous Used Editor in Group"), QStringLiteral("Previous Used Editor in Group"), 75,
              &KestrelEditor::GoToEditor);
    AddAction(QStringLiteral("Next Editor Group"), QStringLiteral("Next Editor Group"), 76, &KestrelEditor::GoToEditorGroup);
    AddAction(QStringLiteral("Previous Editor Group"), QStringLiteral("Previous Editor Group"), 77,
              &KestrelEditor::GoToEditorGroup);
    AddAction(QStringLiteral("Go to File"), QStringLiteral("Go to File..."), 78, &KestrelEditor::GoToFile);
    AddAction(QStringLiteral("Go to Symbol in File"), QStringLiteral("Go to Symbol in File..."), 79,
              &KestrelEditor::GoToSymbolInFile);
    AddAction(QStringLiteral("Go to Line"), QStringLiteral("Go to Line..."), 80, &KestrelEditor::GoToLine);
    AddAction(QStringLiteral("Next Problem"), QStringLiteral("Next Problem"), 83, &KestrelEditor::NextProblem);
    AddAction(QStringLiteral("Previous Problem"), QStringLiteral("Previous Problem"), 84, &KestrelEditor::PreviousProblem);
    AddAction(QStringLiteral("Problems"), QStringLiteral("Problems"), 85, &KestrelEditor::ShowProblems);
    AddAction(QStringLiteral("MEL Command Reference"), QStringLiteral("MEL Command Reference"), 0,
              &KestrelEditor::MelCommandReference);
    AddAction(QStringLiteral("Python Command Reference"), QStringLiteral("Python Command Reference"), 0,
              &KestrelEditor::PythonCommandReference);
    AddAction(QStringLiteral("Node and Attribute Reference"), QStringLiteral("Node and Attribute Reference"), 0,
              &KestrelEditor::NodeAndAttributeReference);
    AddAction(QStringLiteral("About"), QStringLiteral("About..."), 0, &KestrelEditor::ShowAboutDialog);
}

namespace {

QMenu *addMenu(QWidget *parent, const QString &title, bool tearOff = true)
{
    auto *menu = new QMenu(title, parent);
    menu->setTearOffEnabled(tearOff);
    return menu;
}

} // namespace

void KestrelEditor::CreateMenus()
{
    // Actions are found by their text among the window's own, in table order.
    const QList<QAction *> all = actions();
    auto find = [&all](const QString &text, int nth = 0) -> QAction * {
        for (QAction *action : all)
            if (action->text() == text && nth-- == 0)
                return action;
        return nullptr;
    };
    auto fill = [&find](QMenu *menu, const QStringList &texts) {
        for (const QString &text : texts) {
            if (text == QLatin1String("-"))
                menu->addSeparator();
            else if (QAction *action = find(text))
                menu->addAction(action);
        }
    };
    auto s = [](const char *text) { return QString::fromLatin1(text); };

    m_menuBar = new QMenuBar(this);
    m_menuBar->setNativeMenuBar(false);

    QMenu *file = addMenu(m_menuBar, s("File"));
    fill(file, {s("New Buffer"), s("New MEL Buffer"), s("New Python Buffer"), s("-"), s("Open File")});
    m_recentFilesMenu = addMenu(file, s("Recent Files"), false);
    file->addMenu(m_recentFilesMenu);
    fill(file, {s("-"), s("Open Workspace"), s("-"), s("Add Folder to Workspace"), s("Save Workspace As"), s("-"), s("Save"),
                s("Save As"), s("Save All"), s("Rename"), s("-"), s("Save Script to Shelf"), s("Source Script"), s("-"),
                s("Revert File"), s("Close File"), s("Close All Files"), s("-"), s("Save State")});
    m_menuBar->addMenu(file);

    m_editMenu = addMenu(m_menuBar, s("Edit"));
    fill(m_editMenu, {s("Undo"), s("Redo"), s("-"), s("Cut"), s("Copy"), s("Paste"), s("Select All"), s("-")});
    QMenu *line = addMenu(m_editMenu, s("Line"));
    fill(line, {s("Increase Indent"), s("Decrease Indent"), s("Copy Line Up"), s("Copy Line Down"), s("Move Line Up"),
                s("Move Line Down"), s("Delete Line")});
    m_editMenu->addMenu(line);
    QMenu *comment = addMenu(m_editMenu, s("Comment"));
    fill(comment, {s("Toggle Comment"), s("Toggle Block Comment")});
    m_editMenu->addMenu(comment);
    fill(m_editMenu, {s("-"), s("Convert Tabs to Spaces"), s("-"), s("Find")});
    m_editMenu->addAction(find(s("Replace"), 0));
    m_editMenu->addSeparator();
    m_editMenu->addAction(m_findInFilesAction);
    fill(m_editMenu, {s("Replace in Files"), s("-"), s("Clear Output"), s("-"), s("Preferences")});
    connect(m_editMenu, &QMenu::aboutToShow, this, &KestrelEditor::OnShowEditMenu);
    m_menuBar->addMenu(m_editMenu);

    m_viewMenu = addMenu(m_menuBar, s("View"));
    m_viewMenu->addAction(find(s("Explorer")));
    m_viewMenu->addAction(m_findInFilesAction);
    fill(m_viewMenu, {s("Quick Help"), s("Problems"), s("-"), s("Toggle Code Editor"), s("Toggle Output"),
                      s("Toggle Side Bar")});
    m_viewMenu->addAction(m_toggleActivityBarAction);
    m_viewMenu->addAction(m_toggleStatusBarAction);
    m_viewMenu->addSeparator();
    m_viewMenu->addAction(find(s("Toggle Code Editor Layout")));
    m_viewMenu->addAction(m_toggleSideBarPositionAction);
    QMenu *position = addMenu(m_viewMenu, s("Output Position"));
    m_outputPositionGroup = new QActionGroup(this);
    for (const auto &entry : {std::make_pair(s("Top"), &KestrelEditor::OutputPositionTop),
                              std::make_pair(s("Bottom"), &KestrelEditor::OutputPositionBottom),
                              std::make_pair(s("Left"), &KestrelEditor::OutputPositionLeft),
                              std::make_pair(s("Right"), &KestrelEditor::OutputPositionRight)}) {
        QAction *action = position->addAction(entry.first);
        action->setCheckable(true);
        m_outputPositionGroup->addAction(action);
        connect(action, &QAction::triggered, this, entry.second);
    }
    UpdateOutputPositionChecks();
    m_viewMenu->addMenu(position);
    fill(m_viewMenu, {s("-"), s("Toggle Render Whitespaces"), s("Toggle Word Wrap"), s("-"), s("Increase Font Size"),
                      s("Decrease Font Size"), s("Reset Font Size")});
    connect(m_viewMenu, &QMenu::aboutToShow, this, &KestrelEditor::OnShowViewMenu);
    m_menuBar->addMenu(m_viewMenu);

    QMenu *go = addMenu(m_menuBar, s("Go"));
    QMenu *switchEditor = addMenu(go, s("Switch Editor"));
    fill(switchEditor, {s("Next Editor"), s("Previous Editor"), s("-"), s("Next Used Editor in Group"),
                        s("Previous Used Editor in Group")});
    go->addMenu(switchEditor);
    QMenu *switchGroup = addMenu(go, s("Switch Group"));
    fill(switchGroup, {s("Next Editor Group"), s("Previous Editor Group")});
    go->addMenu(switchGroup);
    fill(go, {s("-"), s("Go to File"), s("Go to Symbol in File"), s("Go to Line"), s("-"), s("Next Problem"),
              s("Previous Problem")});
    m_menuBar->addMenu(go);

    QMenu *output = addMenu(m_menuBar, s("Output"));
    QMenu *verbosity = addMenu(output, s("Verbosity"), false);
    verbosity->addActions({m_echoAllAction, m_normalAction, m_minimalAction});
    connect(verbosity, &QMenu::aboutToShow, this, &KestrelEditor::OnShowOutputVerbosityMenu);
    output->addMenu(verbosity);
    output->addSeparator();
    output->addActions({m_lineNumbersInErrorsAction, m_showStackTraceAction});
    output->addSeparator();
    output->addAction(m_suppressStackWindowAction);
    output->addSeparator();
    output->addAction(m_writeOutputToFileAction);
    m_menuBar->addMenu(output);

    QMenu *command = addMenu(m_menuBar, s("Command"));
    fill(command, {s("Execute"), s("Execute Line"), s("Execute All"), s("-")});
    QMenu *debug = addMenu(command, s("Debug"));
    fill(debug, {s("Debug"), s("Step Over"), s("Step Into"), s("Step Out"), s("Run to Cursor"), s("Stop Debugging"),
                 s("-"), s("Toggle Breakpoint"), s("Show Debug View")});
    command->addMenu(debug);
    QMenu *environment = addMenu(command, s("Environment Variables"));
    fill(environment, {s("PYTHONPATH"), s("MAYA_SCRIPT_PATH"), s("MAYA_PLUG_IN_PATH"), s("MAYA_MODULE_PATH"),
                       s("MAYA_SHELF_PATH"), s("XBMLANGPATH")});
    command->addMenu(environment);
    QMenu *pylint = addMenu(command, s("Pylint"));
    fill(pylint, {s("Open pylintrc")});
    command->addMenu(pylint);
    m_menuBar->addMenu(command);

    QMenu *help = addMenu(m_menuBar, s("Help"));
    fill(help, {s("MEL Command Reference"), s("Python Command Reference"), s("Node and Attribute Reference"), s("-"),
                s("About")});
    m_menuBar->addMenu(help);

    RebuildRecentFilesMenu();
}

void KestrelEditor::CreateLayout()
{
    const Settings &settings = Settings::instance();

    m_editorSplitter = new QSplitter(this);
    m_editorSplitter->setObjectName(QStringLiteral("EditorSplitter"));
    m_editorSplitter->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_editorSplitter->setOrientation(settings.codeEditorOrientVertical ? Qt::Vertical : Qt::Horizontal);
    m_editorSplitter->setChildrenCollapsible(false);
    for (int id = 0; id < Settings::editorGroupCount; ++id) {
        auto *group = new CodeEditorGroup(id, m_editorSplitter);
        group->setMinimumSize(100, 100);
        m_editorSplitter->addWidget(group);
        m_groups.append(group);
    }

    m_outputPanelGroup = new PanelGroup(this);
    m_outputPanelGroup->SetPanel(CreateOutputPane());
    m_sideBar = new SideBar(this);
    CreateFindInFiles();
    CreateDebugger();
    m_activityBar = new ActivityBar(this);
    m_activityBar->SetViewAvailable(SIDE_BAR_VIEW_SEARCH, m_sideBar->HasView(SIDE_BAR_VIEW_SEARCH));
    m_activityBar->SetViewAvailable(SIDE_BAR_VIEW_DEBUG, m_sideBar->HasView(SIDE_BAR_VIEW_DEBUG));
    m_statusBar = new StatusBar(this);

    m_outputSplitter = new QSplitter(this);
    m_outputSplitter->setObjectName(QStringLiteral("OutputSplitter"));
    m_outputSplitter->setStyleSheet(QStringLiteral(
        "QSplitter::handle:vertical   {height: 1px; image: none;}QSplitter::handle:horizontal {width:  1px; image: none;}"));
    m_outputSplitter->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_outputSplitter->setOrientation(settings.outputOrientVertical ? Qt::Vertical : Qt::Horizontal);
    m_outputSplitter->setFrameStyle(QFrame::NoFrame);
    if (settings.outputTopLeft) {
        m_outputSplitter->addWidget(m_outputPanelGroup);
        m_outputSplitter->addWidget(m_editorSplitter);
        m_outputSplitter->setStretchFactor(0, 0);
        m_outputSplitter->setStretchFactor(1, 1);
    } else {
        m_outputSplitter->addWidget(m_editorSplitter);
        m_outputSplitter->addWidget(m_outputPanelGroup);
        m_outputSplitter->setStretchFactor(0, 1);
        m_outputSplitter->setStretchFactor(1, 0);
    }

    m_sideBarSplitter = new QSplitter(this);
    m_sideBarSplitter->setObjectName(QStringLiteral("SideBarSplitter"));
    m_sideBarSplitter->setStyleSheet(QStringLiteral(
        "QSplitter::handle:vertical   {height: 0px; image: none;}QSplitter::handle:horizontal {width:  0px; image: none;}"));
    m_sideBarSplitter->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_sideBarSplitter->setFrameStyle(QFrame::NoFrame);
    if (settings.sideBarLeft) {
        m_sideBarSplitter->addWidget(m_sideBar);
        m_sideBarSplitter->addWidget(m_outputSplitter);
        m_sideBarSplitter->setCollapsible(0, true);
        m_sideBarSplitter->setCollapsible(1, false);
        m_sideBarSplitter->setStretchFactor(0, 0);
        m_sideBarSplitter->setStretchFactor(1, 1);
    } else {
        m_sideBarSplitter->addWidget(m_outputSplitter);
        m_sideBarSplitter->addWidget(m_sideBar);
        m_sideBarSplitter->setCollapsible(0, false);
        m_sideBarSplitter->setCollapsible(1, true);
        m_sideBarSplitter->setStretchFactor(0, 1);
        m_sideBarSplitter->setStretchFactor(1, 0);
    }
    m_outputSplitter->handle(1)->installEventFilter(this);
    m_sideBarSplitter->handle(1)->installEventFilter(this);

    m_mainRow = new QHBoxLayout;
    m_mainRow->setContentsMargins(0, 0, 0, 0);
    m_mainRow->setSpacing(0);
    if (settings.sideBarLeft) {
        m_mainRow->addWidget(m_activityBar);
        m_mainRow->addWidget(m_sideBarSplitter);
    } else {
        m_mainRow->addWidget(m_sideBarSplitter);
        m_mainRow->addWidget(m_activityBar);
    }

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_menuBar);
    layout->addLayout(m_mainRow, 1);
    layout->addWidget(m_statusBar);
}

void KestrelEditor::ConnectSignals()
{
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        connect(group, &CodeEditorGroup::NewTabRequested, this, qOverload<>(&KestrelEditor::NewBuffer));
        connect(group, &CodeEditorGroup::CloseTabRequested, this, &KestrelEditor::OnCloseTabRequested);
        connect(group, &CodeEditorGroup::CloseOtherTabsRequested, this, &KestrelEditor::OnCloseOtherTabsRequested);
        connect(group, &CodeEditorGroup::CloseTabsToRightRequested, this, &KestrelEditor::OnCloseTabsToRightRequested);
        connect(group, &CodeEditorGroup::CurrentTabChanged, this, &KestrelEditor::OnActiveCodeEditorChanged);
        connect(group, &CodeEditorGroup::MoveTabRequested, this, &KestrelEditor::OnMoveTabRequested);
        connect(group, &CodeEditorGroup::MoveTabToZoneRequested, this, &KestrelEditor::OnMoveTabToZoneRequested);
        connect(group, &CodeEditorGroup::ReceivedFocus, this, &KestrelEditor::OnCodeEditorGroupFocusReceived);
        connect(group, &CodeEditorGroup::OpenFileRequested, this, &KestrelEditor::OnOpenFileRequested);
        connect(group, &CodeEditorGroup::OpenFilesRequested, this, &KestrelEditor::OnOpenFilesRequested);
        connect(group, &CodeEditorGroup::FileChanged, this, &KestrelEditor::OnFileChanged);
        connect(group, &CodeEditorGroup::RenameRequested, this,
                qOverload<CodeEditorGroup *, int>(&KestrelEditor::Rename));
        connect(group, &CodeEditorGroup::ShowInSideBarRequested, this, &KestrelEditor::OnShowInSideBarRequested);
        connect(group, &CodeEditorGroup::CursorPositionChanged, this, &KestrelEditor::UpdateCursorPosition);
        connect(group, &CodeEditorGroup::OverwriteModeChanged, this, &KestrelEditor::UpdateOverwriteMode);
        connect(group, &CodeEditorGroup::ErrorAndWarningTextChanged, this, &KestrelEditor::UpdateStatusBarInfo);
        // A group's toolbar buttons take no focus: they act on their own group's current editor.
        connect(group, &CodeEditorGroup::ExecutePressed, this, [this, group] { ExecuteInGroup(group, EXECUTE_SELECTION); });
        connect(group, &CodeEditorGroup::ExecuteAllPressed, this, [this, group] { ExecuteInGroup(group, EXECUTE_ALL); });
        connect(group, &CodeEditorGroup::ExecuteLinePressed, this, [this, group] { ExecuteInGroup(group, EXECUTE_LINE); });
        connect(group, &CodeEditorGroup::SaveScriptToShelfPressed, this, [this, group] {
            SetActiveCodeEditor(group->Id(), group->CurrentIndex());
            SaveScriptToShelf();
        });
        connect(group, &CodeEditorGroup::ParserUpdated, this, &KestrelEditor::OnParserUpdated);
        connect(group, &CodeEditorGroup::QuickHelpChanged, this, &KestrelEditor::SetQuickHelpSearchText);
        connect(group, &CodeEditorGroup::MiniToolbarDisplayModified, this, &KestrelEditor::RefreshCodeEditorGroupMiniToolbar);
        connect(group, &CodeEditorGroup::IncreaseFontSizeRequested, this, &KestrelEditor::IncreaseCodeEditorFontSize);
        connect(group, &CodeEditorGroup::DecreaseFontSizeRequested, this, &KestrelEditor::DecreaseCodeEditorFontSize);
        connect(group, &CodeEditorGroup::TextChanged, this, &KestrelEditor::UpdateSearch);
    }

    connect(m_outputPanelGroup, &PanelGroup::ReceivedFocus, this, &KestrelEditor::CheckForFileChanges);

    connect(m_sideBar, &SideBar::CodeEditorSelected, this, &KestrelEditor::SetActiveCodeEditor);
    connect(m_sideBar, &SideBar::CodeEditorCloseRequested, this,
            [this](int group, int index) { OnCloseTabRequested(Group(group), index); });
    connect(m_sideBar, &SideBar::FileOpenRequested, this, qOverload<const QString &, bool>(&KestrelEditor::OpenFile));
    connect(m_sideBar, &SideBar::SideBarVisibilityChangeRequested, this,
            [this](bool visible) { SetSideBarVisible(visible); });
    connect(m_sideBar, &SideBar::SaveAllRequested, this, [this] { SaveAll(); });
    connect(m_sideBar, &SideBar::CloseAllRequested, this, &KestrelEditor::CloseAllFiles);
    connect(m_sideBar, &SideBar::ViewChangeRequested, this, &KestrelEditor::SetSideBarView);
    connect(m_sideBar, &SideBar::QuickHelpFlagSelected, this, &KestrelEditor::InsertQuickHelpFlag);
    connect(m_sideBar, &SideBar::SearchRequested, this, &KestrelEditor::Search);
    connect(m_sideBar, &SideBar::SearchCleared, this, &KestrelEditor::OnSearchCleared);
    connect(m_sideBar, &SideBar::SearchFocusChanged, this, &KestrelEditor::OnSearchFocusChanged);
    connect(m_sideBar, &SideBar::FindAndReplace, this, &KestrelEditor::OnFindAndReplace);
    connect(m_sideBar, &SideBar::OutlineSelectionChanged, this, &KestrelEditor::OnOutlineSelectionChanged);
    connect(m_sideBar, &SideBar::OutlinePreviewRequested, this, &KestrelEditor::OnOutlinePreviewRequested);
    connect(m_sideBar, &SideBar::FilePathChanged, this, &KestrelEditor::OnFilePathChanged);
    connect(m_sideBar, &SideBar::WorkspaceItemDeleted, this, &KestrelEditor::OnWorkspaceItemDeleted);
    connect(m_sideBar, &SideBar::WorkspaceModified, this, &KestrelEditor::OnWorkspaceModified);
    m_sideBar->Workspace()->LoadStartupWorkspace();
    // pylint resolves imports from the workspace folders too, as they stand at each check.
    for (CodeEditorGroup *group : qAsConst(m_groups)) {
        group->SetImportFolders([tree = QPointer<WorkspaceTreeWidget>(m_sideBar->Workspace()->Tree())] {
            QStringList folders;
            for (int i = 0; tree && i < tree->topLevelItemCount(); ++i)
                folders.append(tree->topLevelItem(i)->data(0, WorkspaceTreeWidget::PathRole).toString());
            return folders;
        });
    }

    connect(m_activityBar, &ActivityBar::ViewSelected, this, &KestrelEditor::OnActivityBarViewSelected);
    connect(m_activityBar, &ActivityBar::EditPreferencesSelected, this, &KestrelEditor::ShowPreferencesDialog);
    connect(m_activityBar, &ActivityBar::ActivityBarVisibilityChangeRequested, this, &KestrelEditor::SetActivityBarVisible);
    connect(m_statusBar, &StatusBar::StatusBarVisibilityChangeRequested, this, &KestrelEditor::SetStatusBarVisible);
    connect(m_statusBar, &StatusBar::ProblemsRequested, this, &KestrelEditor::ShowProblems);
    connect(m_outputSplitter, &QSplitter::splitterMoved, this, &KestrelEditor::OnSplitterMoved);
    connect(m_sideBarSplitter, &QSplitter::splitterMoved, this, &KestrelEditor::OnSplitterMoved);
    connect(qApp, &QApplication::focusChanged, this, &KestrelEditor::OnApplicationFocusChanged);
    // Shortcuts changed anywhere (the preferences) reach the actions, and with them the menus.
    connect(&KeyBindingsNotifier::instance(), &KeyBindingsNotifier::ShortcutsChanged, this,
            [this] { m_bindings.applyShortcuts(m_shortcutsActive); });
}

} // namespace ke2
