#pragma once

#include "config/ini_file.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtGui/QFont>

namespace ke2 {

// The user's preferences and remembered window state: one field per key of "kestrelEditor2.ini",
// named as the key and starting at its default. Every folder reads the process-wide record
// (`instance()`) directly; a part that changes a field relies on the next `write()`.
//
// Fields keep what the file says. Numbers that would break a widget (sizes, counts) are passed
// through the clamp helpers at the place they are used.
class Settings {
public:
    Settings();
    static Settings &instance();

    // Loads every key present in the settings file; missing or unreadable keys keep their
    // current value. Does nothing when the file path cannot be determined.
    void read();
    // Writes every key (atomically: an interrupted write leaves the previous file whole).
    void write() const;

    // Recently closed files, most recent first.
    void addRecentFile(const QString &path);
    void clearRecentFiles();
    // Above 10 the limit falls back to 8 (not 10); below 0 it is 0.
    void setRecentFileLimit(int limit);
    int recentFileLimit() const { return m_recentFileLimit; }

    // Size of one workspace state entry; the stored byte array is their concatenation.
    static constexpr int workspaceStateEntrySize = 16;

    // Clamp helpers for values read from a hand-edited file.
    static constexpr int minimumFontSize = 4;
    static constexpr int maximumFontSize = 96;
    // Far above any real tab size; it only keeps a forged value from asking for billions of
    // spaces on one key press.
    static constexpr int maximumTabSize = 1024;
    static constexpr int maximumOutputBufferSize = 1000000;
    static constexpr int editorGroupCount = 3;
    static int clampFontSize(int points);
    static int clampTabSize(int spaces);
    static int clampOutputBufferSize(int lines);
    static int clampEditorGroupIndex(int index);
    // A saved window geometry made to fit `available` (the screen's available area): too large a
    // size shrinks to it and the window is moved inside it. Null for an invalid geometry, which
    // callers do not apply.
    static QRect clampWindowGeometry(const QRect &geometry, const QRect &available);
    // A zoom (point offset) that keeps `baseSize + zoom` inside the font size range.
    static int clampZoom(int zoom, int baseSize);
    // The font size a zoomed widget shows.
    static int zoomedFontSize(int baseSize, int zoom) { return clampFontSize(baseSize) + clampZoom(zoom, baseSize); }

    // Groups and keys in file order.
    static const IniFile::Layout &fileLayout();

    // The two fonts; the file stores their family and point size.
    static QFont defaultFont();
    // `font` with the family it is painted with: a family that is not installed (the default's,
    // on most systems) is replaced by the one the system falls back to.
    static QFont fontInUse(const QFont &font);
    QFont codeEditorFont;
    QFont outputFont;

    // --- main ---
    QRect windowGeometry; // null (0, 0, -1, -1) by default
    QStringList recentFiles; // a hand-edited file may hold more than recentFileLimit(): show at most that many
    bool codeEditorVisible = true;
    bool outputVisible = true;
    bool sideBarVisible = true;
    bool openEditorsVisible = true;
    bool outlineVisible = true;
    bool activityBarVisible = true;
    bool statusBarVisible = true;
    bool statusBarInterpreterVisible = true;
    bool statusBarErrorCountVisible = true;
    bool statusBarLineMessageVisible = true;
    bool showCodeEditorExecuteBtn = true;
    bool showCodeEditorExecuteAllBtn = true;
    bool showCodeEditorExecuteLineBtn = true;
    bool codeEditorOrientVertical = false;
    QByteArray outputState;
    bool outputOrientVertical = true;
    bool outputTopLeft = true;
    QByteArray sideBarState;
    bool sideBarLeft = true;
    QByteArray explorerState;
    bool workspaceExpanded = true;
    bool outlineExpanded = true;
    bool openEditorsExpanded = true;
    bool renderWhitespace = false;
    bool renderEndOfLine = false;
    bool wordWrapEnabled = false;
    bool suppressStackWindow = true;
    int codeEditorZoom = 0;
    int outputZoom = 0;

    // --- tabs ---
    QStringList tabDetails;
    QStringList tabBarScrolling;
    int activeTabViewIndex = 0;
    // Debugger breakpoints of the open buffers: "line;enabled;hit count;condition;path" (line
    // 1-based, the condition percent-encoded, the path last, so that it may hold ';').
    QStringList breakpoints;

    // --- workspace ---
    QString workspacePath; // absolute in memory; relative to the workspaces folder in the file when inside it
    QList<QByteArray> workspaceState; // entries of workspaceStateEntrySize bytes (the last may be shorter)

    // --- outline ---
    bool outlineHideImports = true;
    bool outlineHideMain = false;
    bool outlineHideGlobalProcs = false;
    bool outlineHideGlobalVariables = false;
    bool outlineHideProcs = false;
    QByteArray outlineState;

    // --- preferences ---
    bool saveAllOnExecute = true;
    // A debugged run pauses where an uncaught exception was raised, before it is reported.
    bool debugPauseOnExceptions = true;
    bool saveAllOnExit = true;
    bool overrideScriptEditorButton = true;
    bool checkForModifiedFiles = true;
    bool showUnsavedFileDialogOnMayaExit = true;
    bool showConfirmDialogOnInternalBufferClose = true;
    bool utf8FileEncodingForReadWrite = false;
    bool showTabBar = true;
    bool showCloseButtonOnTabs = true;
    bool showTabBarMiniToolbar = false;
    bool lockTabPositions = false;
    bool mouseWheelChangesActiveTab = false;
    int tabsSizeDefault = 4;
    bool tabsInsertSpacesDefault = true;
    bool tabsAutoIndentDefault = true;
    bool tabsUseDefaultsMel = true;
    int tabsSizeMel = 4;
    bool tabsInsertSpacesMel = true;
    bool tabsAutoIndentMel = true;
    bool tabsUseDefaultsPython = true;
    int tabsSizePython = 4;
    bool tabsInsertSpacesPython = true;
    bool tabsAutoIndentPython = true;
    // codeEditorFontFamily, codeEditorFontSize: codeEditorFont
    bool codeEditorBackspaceToTabStop = true;
    bool codeEditorDisplayIndentationGuides = true;
    bool codeEditorMouseWheelChangesFontSize = true;
    bool codeEditorMatchedSelectionWordsOnly = false;
    // outputFontFamily, outputFontSize: outputFont
    int outputBufferSize = 3000;
    bool outputMinimalTrace = false;
    bool outputMouseWheelChangesFontSize = true;
    bool outputDisableEchoAllOnStartup = false;
    bool outputDoubleClickIncludesDollarSign = true;
    bool outputMatchedSelectionWordsOnly = false;
    bool outputSyntaxHighlightingEnabled = true;
    bool outputWordWrapEnabled = false;
    bool melDisplayErrors = true;
    bool melSmartIndent = true;
    bool melIndentToParentheses = false;
    bool melInsertClosingParentheses = true;
    bool melInsertClosingQuotes = true;
    bool melTrimTrailingWhiteSpacesOnSave = false;
    bool melEnsureNewLineAtEofOnSave = false;
    bool melDoubleClickIncludesDollarSign = true;
    bool melAutoCompleteToQuickHelp = true;
    bool melCompleteOnUser = true;
    bool melCompleteOnLetters = true;
    bool melCompleteFlags = true;   // a command's flags after "-"
    bool melSignatureHelp = true;   // a flag's argument types, a procedure's parameters
    bool melLintEnabled = true;     // warnings from the MEL checks
    bool pythonDisplayErrors = true;
    bool pythonSmartIndent = true;
    bool pythonIndentToParentheses = false;
    bool pythonInsertClosingParentheses = true;
    bool pythonInsertClosingQuotes = true;
    bool pythonTrimTrailingWhiteSpacesOnSave = false;
    bool pythonEnsureNewLineAtEofOnSave = false;
    bool pythonHideCompiledFiles = true;
    bool pythonImportPyMelOnLoad = false;
    bool pythonAutoCompleteToQuickHelp = true;
    bool pythonCompleteOnUser = true;
    bool pythonCompleteOnLetters = true;
    bool pythonCompleteOnDot = true;
    bool pythonIncludeKeywords = true;
    bool pythonIncludeBuiltins = true;
    QString pythonForcedImports; // ";"-separated, split by its user
    bool pylintEnabled = false;
    QString pylintPath;
    QString pylintPythonHomePath;
    QString pylintConfigPath;
    QString pylintAdditionalImportPaths;
    bool pylintUseMinimalCheckers = true;
    bool pylintShowErrors = false;

    // Not a key: set while the configured pylint path is missing, so pylint stays off for this
    // session without changing what the user chose.
    bool pylintOffForSession = false;
    bool pylintActive() const { return pylintEnabled && !pylintOffForSession; }

private:
    int m_recentFileLimit = 8;
};

} // namespace ke2
