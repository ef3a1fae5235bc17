#pragma once

#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QStringList>

class QWidget;

namespace ke2 {

class Host;

// Every conversation between the editor and its host goes through these functions: they build
// the command texts, run them through the active host and turn the answers into Qt values. Other
// folders never compose host commands themselves. Nothing here throws: a failing host command
// makes a query answer false, empty or its neutral value.
//
// The definitions are split by concern: host_bridge.cpp (host, messages, primitives, paths),
// host_bridge_workspace.cpp, host_bridge_menu.cpp, host_bridge_options.cpp,
// host_bridge_execution.cpp, host_bridge_help.cpp, host_bridge_python.cpp and
// host_bridge_scripts.cpp.
namespace HostBridge {

// --- Identity of the plug-in in the host ---
inline QString pluginName() { return QStringLiteral("KestrelEditor2"); }
inline QString displayName() { return QStringLiteral("Kestrel Editor 2"); }
inline QString commandName() { return QStringLiteral("kestrelEditor2"); }
inline QString pluginVersion() { return QStringLiteral("2.3.4"); }
inline QString workspaceControlName() { return pluginName() + QStringLiteral("Window"); }

// The process-wide host: set by the start-up routine (and by tests); null when there is none,
// in which case every query answers false, empty or its neutral value.
Host *host();
void setHost(Host *host);

// The prefix of every message the editor shows in the host's output.
inline QString messagePrefix() { return QStringLiteral("[KestrelEditor2] "); }
void showError(const QString &message);
void showWarning(const QString &message);
void showInfo(const QString &message);

// --- Command primitives (synchronous unless "on idle") ---
bool executeMel(const QString &command);
// Each typed call assigns `result` only when the command succeeded with that result type.
bool executeMel(const QString &command, QString &result);
bool executeMel(const QString &command, int &result);
bool executeMel(const QString &command, double &result);
bool executeMel(const QString &command, QStringList &result);
void executeMelOnIdle(const QString &command, bool displayEnabled);
bool executePython(const QString &command);
// The command output callback ignores everything printed while this runs.
bool executePythonQuietly(const QString &command);
void executePythonOnIdle(const QString &command, bool displayEnabled = true);
// The list is cleared first.
bool executePython(const QString &command, QStringList &result);
// True while a quiet call runs.
bool isQuiet();

// --- Workspace control (the dockable container of the window) ---
bool workspaceControlExists();
bool workspaceControlCollapsed();
bool workspaceControlFloating();
bool workspaceControlVisible();
void restoreWorkspaceControl(bool show);
void closeWorkspaceControl();
// A docked control always shows the display name; only a floating one shows `title`.
void setWorkspaceControlLabel(const QString &title);
// Creates the control hidden and floating, places it at `savedGeometry` when that is valid,
// shows it and returns the widget to put the window in; null when it exists already or cannot
// be created.
QWidget *createWorkspaceControl(const QRect &savedGeometry);

// --- The host's menu item and Script Editor button ---
void createMenuItem();
void removeMenuItem();
QString menuItemName();
void overrideScriptEditorButton();
void restoreScriptEditorButton();
QString scriptEditorButtonName();

// --- Echo, trace and stack window: set on idle, mirrored into the host's option variables ---
void setEchoAllCommands(bool on);
bool echoAllCommands();
void setShowLineNumbers(bool on);
bool showLineNumbers();
void setStackTrace(bool on);
bool stackTrace();
// The caller keeps the setting; the bridge sits below the settings store.
void setSuppressStackWindow(bool on);

// --- Execution helpers ---
// A MEL variable name alone (a final line end allowed).
bool isBareMelVariable(const QString &text);
// A bare MEL variable prints its value (and a newline) instead of being echoed.
void executeMelText(const QString &text);
void executePythonText(const QString &text);
QString existingHistory();
void clearExistingHistory();
void addToShelf(const QString &label, const QString &code, int kind);
// Sources a MEL script file in the host, on idle and echoed.
void sourceScript(const QString &path);
bool importPyMel();
void showInFileBrowser(const QString &path);

// --- Quick help ---
// Flat list of (short flag, long flag, first argument type) triples.
QStringList melCommandFlags(const QString &name);
void showOnlineHelp(const QString &name, bool isPython);
void showHelpTopic(const QString &topic);

// --- MEL name lists for completion and highlighting ---
void loadMelLists();
QStringList melCommands();
QStringList melRunTimeCommands();
QStringList melProcedures();
QStringList melKeywords();
// Grows whenever the three lists above are loaded or forgotten: users of copies rebuild them.
int melListsGeneration();
// The text of "help -so NAME" (the command's flags and their argument types); empty on failure.
QString melSyntaxHelp(const QString &name);
// What the host's "whatIs" says of a name ("Command", "Unknown", "Script found in: ..."); empty
// when the host cannot tell.
QString melWhatIs(const QString &name);
// The host's version ("about -version"), for caches kept per version; empty when unknown.
QString hostVersion();

// --- Python analysis calls (arguments are inserted as given: callers escape them) ---
QStringList pythonKeywords();
QStringList pythonBuiltins();
QString pythonVersion();
// Completion candidates, with keywords and builtins when asked; callers pass the settings' switches
// (both off for a query that wants no extras).
QStringList parsePython(const QString &source, const QString &objectExpression, bool includeKeywords,
                        bool includeBuiltins);
// The expression parsePython evaluates.
QString parsePythonCommand(const QString &source, const QString &objectExpression, bool includeKeywords,
                           bool includeBuiltins);
// Evaluates a parsePythonCommand on the analysis thread, for a host whose Python may be called from
// there: no output scope is touched (the script prints nothing), the interpreter's lock is the host's.
QStringList parsePythonOffThread(Host &host, const QString &command);
bool executePythonStatement(const QString &statement);
QStringList pythonSyntaxCheck(const QString &source);
void printPythonPath();
void printEnvironmentVariablePaths(const QString &variable);
// The module search path for the pylint process, `additionalPaths` (the user's setting) first when
// there are any.
QString updatePythonPathString(const QString &additionalPaths);
QString pythonPathString();
// Forgets every cached answer (a new host, or a test).
void resetCaches();
// Forgets the answers that are asked again when needed, and keeps the MEL name lists: they are
// loaded once at start-up (slow to ask for), and completion and the MEL checks need them.
void refreshCaches();

// --- Host queries ---
// "internalVar -userPrefDir" and "internalVar -userScriptDir"; empty on failure.
QString userPrefDir();
QString userScriptDir();
// 1.0 unless the host scales its interface.
double queryDpiScale();
double dpiScale();
bool isBatch();

// --- The embedded scripts, run into the host's interpreters at load ---
inline QString melScriptResource() { return QStringLiteral(":/ke2_scripts/KestrelEditor2.mel"); }
inline QString pythonHelpersResource() { return QStringLiteral(":/ke2_python/kestrel_editor_helpers.py"); }
inline QString pythonParserResource() { return QStringLiteral(":/ke2_python/kestrel_editor_parser.py"); }
// Each script loads whatever happened to the others; the standalone host has no MEL to load.
void loadEmbeddedScripts();

// --- The debugger's Python side: loaded on the first debug run, so that nobody who never
// debugs pays for it ---
inline QString pythonDebuggerResource() { return QStringLiteral(":/ke2_python/kestrel_editor_debugger.py"); }
// Loads the script unless the host's Python has it, and points its pause hook at the editor.
// False, with "Failed to load Python debugger." shown, when it cannot.
bool prepareDebugger();
// `pointsJson`: [[path, line, enabled, condition, hit count], ...].
bool setDebuggerBreakpoints(const QString &pointsJson);
// Queues the debugged run of `source`, compiled as lines `firstLine`... of `fileName`.
void debugPythonText(const QString &source, const QString &fileName, int firstLine, bool pauseOnExceptions);
// A quiet call of the paused debugger returning its JSON text; empty on failure.
QString debuggerQuery(const QString &call);
// `text` as a Python string literal of plain ASCII (it crosses the host's command strings).
QString pythonStringLiteral(const QString &text);

} // namespace HostBridge
} // namespace ke2
