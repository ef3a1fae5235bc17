#include "config/key_bindings.h"

#include "config/ini_file.h"
#include "config/user_directories.h"
#include "plugin/host_bridge.h"
#include "plugin/qt_compat.h"

#include <QtCore/QFileInfo>
#include <QtCore/QSet>
#include <QtCore/QSettings>
#include <QtGui/QGuiApplication>

#include <new>

namespace ke2 {
namespace {

const QString group = QStringLiteral("user_bindings");
// The read default that tells an absent key from one the user cleared.
const QString absentMarker = QStringLiteral("UndefinedKey");

struct Row {
    const char *displayName;
    const char *identifier;
    QList<QKeySequence> shortcuts;
};

// The platform's keys for a standard action; they come from the platform theme, which exists only
// once the GUI application does.
QList<QKeySequence> standard(QKeySequence::StandardKey key)
{
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return {};
    return QKeySequence::keyBindings(key);
}

bool isUnknownKey(const QKeySequence &sequence, int index)
{
    return qtcompat::keyAt(sequence, index) == Qt::Key_unknown;
}

QList<QKeySequence> keys(std::initializer_list<const char *> texts)
{
    QList<QKeySequence> list;
    for (const char *text : texts)
        list.append(QKeySequence(QString::fromLatin1(text)));
    return list;
}

QVector<Row> rows()
{
    using S = QKeySequence;
    return {
        {"New Buffer", "newBuffer", standard(S::New)},
        {"New MEL Buffer", "newMelBuffer", keys({"Ctrl+Alt+N"})},
        {"New Python Buffer", "newPythonBuffer", keys({"Ctrl+Shift+N"})},
        {"Open File", "openFile", standard(S::Open)},
        {"Reopen Closed File", "reopenClosedFile", keys({"Ctrl+Shift+T"})},
        {"Save", "save", standard(S::Save)},
        {"Save As", "saveAs", {}},
        {"Save All", "saveAll", keys({"Ctrl+Shift+S"})},
        {"Rename", "rename", {}},
        {"Save Script to Shelf", "saveScriptToShelf", {}},
        {"Source Script", "sourceScript", {}},
        {"Revert File", "revertFile", {}},
        {"Close File", "closeFile", keys({"Ctrl+W"})},
        {"Close All Files", "closeAllFiles", {}},
        {"Save State", "saveState", {}},
        {"Open Workspace", "openWorkspace", {}},
        {"Save Workspace As", "saveWorkspaceAs", {}},
        {"Add Folder to Workspace", "addFolderToWorkspace", {}},
        {"Undo", "undo", standard(S::Undo)},
        {"Redo", "redo", standard(S::Redo)},
        {"Cut", "cut", standard(S::Cut)},
        {"Copy", "copy", standard(S::Copy)},
        {"Paste", "paste", standard(S::Paste)},
        {"Select All", "selectAll", standard(S::SelectAll)},
        {"Find", "find", keys({"Ctrl+F"})},
        {"Replace", "replace", keys({"Ctrl+H"})},
        {"Find in Files", "findInFiles", keys({"Ctrl+Shift+F"})},
        {"Replace In Files", "replaceInFiles", keys({"Ctrl+Shift+H"})},
        {"Find Next", "findNext", keys({"F3"})},
        {"Find Previous", "findPrevious", keys({"Shift+F3"})},
        {"Select and Find Next", "selectAndFindNext", keys({"Ctrl+F3"})},
        {"Select and Find Previous", "selectAndFindPrevious", keys({"Ctrl+Shift+F3"})},
        {"Find in Files Next", "findInFilesNext", keys({"F4"})},
        {"Find in Files Previous", "findInFilesPrevious", keys({"Shift+F4"})},
        {"Replace Next", "replaceNext", keys({"Ctrl+Alt+1"})},
        {"Replace All", "replaceAll", keys({"Ctrl+Alt+0"})},
        {"Increase Indent", "increaseIndent", keys({"Ctrl+]"})},
        {"Decrease Indent", "decreaseIndent", keys({"Ctrl+["})},
        {"Copy Line Up", "copyLineUp", keys({"Alt+Shift+Up"})},
        {"Copy Line Down", "copyLineDown", keys({"Alt+Shift+Down"})},
        {"Move Line Up", "moveLineUp", keys({"Alt+Up"})},
        {"Move Line Down", "moveLineDown", keys({"Alt+Down"})},
        {"Delete Line", "deleteLine", keys({"Ctrl+Shift+K"})},
        {"Toggle Comment", "toggleComment", keys({"Ctrl+/"})},
        {"Toggle Block Comment", "toggleBlockComment", keys({"Ctrl+Shift+/"})},
        {"Convert Tabs to Spaces", "convertTabsToSpaces", {}},
        {"Clear Output", "clearOutput", keys({"Ctrl+Shift+1"})},
        {"Preferences", "preferences", keys({"Ctrl+Shift+P"})},
        {"Increase Font Size", "increaseFontSize", keys({"Ctrl+="})},
        {"Decrease Font Size", "decreaseFontSize", keys({"Ctrl+-"})},
        {"Reset Font Size", "resetFontSize", keys({"Ctrl+0"})},
        {"Toggle Echo All Commands", "toggleEchoAllCommands", {}},
        {"Toggle Line Numbers in Errors", "toggleLineNumbersInErrors", {}},
        {"Toggle Show Stack Trace", "toggleShowStackTrace", {}},
        {"Toggle Suppress Stack Window", "toggleSuppressStackWindow", {}},
        {"Toggle Write Output to File", "toggleWriteOutputToFile", {}},
        // Return and keypad Enter are different keys; a bare keypad Enter executes too.
        {"Execute", "execute", keys({"Ctrl+Return", "Ctrl+Enter"}) << QKeySequence(Qt::Key_Enter)},
        {"Execute", "executeAlt", {}},
        {"Execute Line", "executeLine", keys({"Ctrl+Alt+Return", "Ctrl+Alt+Enter"})},
        {"Execute All", "executeAll", keys({"Ctrl+Shift+Return", "Ctrl+Shift+Enter"})},
        {"Toggle Render Whitespace", "toggleRenderWhitespace", {}},
        {"Toggle Word Wrap", "toggleWordWrap", {}},
        {"Toggle Code Editor", "toggleCodeEditor", keys({"Ctrl+K"})},
        {"Toggle Output", "toggleOutput", keys({"Ctrl+J"})},
        {"Toggle Side Bar", "toggleSideBar", keys({"Ctrl+B"})},
        {"Toggle Activity Bar", "toggleActivityBar", {}},
        {"Toggle Status Bar", "toggleStatusBar", {}},
        {"Toggle Code Editor Layout", "toggleCodeEditorLayout", keys({"Alt+Shift+1"})},
        {"Toggle Sidebar Position", "toggleSidebarPosition", {}},
        {"Explorer", "explorer", keys({"Ctrl+Shift+E"})},
        {"Quick Help", "quickHelp", keys({"Ctrl+Shift+Q"})},
        {"Next Editor", "nextEditor", keys({"Ctrl+PgDown"})},
        {"Previous Editor", "previousEditor", keys({"Ctrl+PgUp"})},
        {"Next Used Editor", "nextUsedEditor", keys({"Ctrl+Tab"})},
        {"Previous Used Editor", "previousUsedEditor", keys({"Ctrl+Shift+Tab"})},
        {"Next Editor Group", "nextEditorGroup", keys({"Ctrl+Shift+PgDown"})},
        {"Previous Editor Group", "previousEditorGroup", keys({"Ctrl+Shift+PgUp"})},
        {"Go to File", "gotoFile", keys({"Ctrl+P"})},
        {"Go to Symbol in File", "gotoSymbolInFile", keys({"Ctrl+Shift+O"})},
        {"Go to Line", "gotoLine", keys({"Ctrl+G"})},
        {"Command Reference", "commandReference", {}},
        // Esc stays reserved although no action answers it: the table gives this entry none.
        {"Reserved", "escape", {QKeySequence(Qt::Key_Escape)}},
        // Rows added later go after the reserved one, so the numbers above never change.
        {"Next Problem", "nextProblem", keys({"F8"})},
        {"Previous Problem", "previousProblem", keys({"Shift+F8"})},
        {"Problems", "showProblems", keys({"Ctrl+Shift+M"})},
        {"Toggle Breakpoint", "toggleBreakpoint", keys({"F9"})},
        // Continues a paused run.
        {"Debug", "debug", keys({"F5"})},
        {"Step Over", "stepOver", keys({"F10"})},
        {"Step Into", "stepInto", keys({"F11"})},
        {"Step Out", "stepOut", keys({"Shift+F11"})},
        {"Stop Debugging", "stopDebugging", keys({"Shift+F5"})},
        {"Run to Cursor", "runToCursor", keys({"Ctrl+F10"})},
        {"Show Debug View", "showDebugView", keys({"Ctrl+Shift+D"})},
    };
}

} // namespace

KeyBindings::KeyBindings()
{
    const QVector<Row> table = rows();
    m_entries.reserve(table.size());
    for (const Row &row : table) {
        ActionBinding entry;
        entry.number = m_entries.size() + 1;
        entry.identifier = QString::fromLatin1(row.identifier);
        entry.displayName = QString::fromLatin1(row.displayName);
        entry.defaultShortcuts = row.shortcuts;
        entry.shortcuts = row.shortcuts;
        m_entries.append(entry);
    }
    find(QStringLiteral("escape"))->fixed = true;
}

KeyBindings &KeyBindings::instance()
{
    static KeyBindings bindings;
    return bindings;
}

ActionBinding *KeyBindings::entry(int number)
{
    return number >= 1 && number <= m_entries.size() ? &m_entries[number - 1] : nullptr;
}

const ActionBinding *KeyBindings::entry(int number) const
{
    return number >= 1 && number <= m_entries.size() ? &m_entries[number - 1] : nullptr;
}

ActionBinding *KeyBindings::find(const QString &identifier)
{
    for (ActionBinding &binding : m_entries) {
        if (binding.identifier == identifier)
            return &binding;
    }
    return nullptr;
}

QList<QKeySequence> KeyBindings::shortcuts(int number) const
{
    const ActionBinding *binding = entry(number);
    return binding ? binding->shortcuts : QList<QKeySequence>();
}

QString KeyBindings::toolTip(const QString &identifier, const QString &text) const
{
    for (const ActionBinding &binding : m_entries) {
        if (binding.identifier == identifier && binding.hasShortcut())
            return QStringLiteral("%1 (%2)").arg(text, binding.shortcuts.first().toString(QKeySequence::NativeText));
    }
    return text;
}

bool KeyBindings::setAction(int number, QAction *action)
{
    ActionBinding *binding = entry(number);
    if (!binding)
        return false;
    binding->action = action;
    return true;
}

void KeyBindings::setShortcuts(int number, const QList<QKeySequence> &shortcuts)
{
    if (ActionBinding *binding = entry(number); binding && !binding->fixed)
        binding->shortcuts = shortcuts;
}

void KeyBindings::applyShortcuts(bool enabled) const
{
    for (const ActionBinding &binding : m_entries) {
        if (binding.action)
            binding.action->setShortcuts(enabled ? binding.shortcuts : QList<QKeySequence>());
    }
}

QStringList KeyBindings::toFileValue(const QList<QKeySequence> &shortcuts)
{
    QStringList value;
    for (const QKeySequence &sequence : shortcuts) {
        if (!sequence.isEmpty())
            value.append(sequence.toString(QKeySequence::PortableText));
    }
    // Written as one empty string, "no shortcut" differs from an absent key (the defaults).
    if (value.isEmpty())
        value.append(QString());
    return value;
}

QList<QKeySequence> KeyBindings::fromFileValue(const QStringList &value)
{
    QList<QKeySequence> shortcuts;
    for (const QString &text : value) {
        const QKeySequence sequence(text.trimmed());
        // Unparsable text gives an empty sequence or an unknown key: no shortcut at all.
        bool known = !sequence.isEmpty();
        for (int i = 0; i < sequence.count(); ++i) {
            if (isUnknownKey(sequence, i))
                known = false;
        }
        // A key repeated in one entry stays: the duplicate pass drops it with its warning.
        if (known)
            shortcuts.append(sequence);
    }
    return shortcuts;
}

void KeyBindings::read()
{
    for (ActionBinding &binding : m_entries)
        binding.shortcuts = binding.defaultShortcuts;
    const QString path = UserDirectories::bindingsFile();
    if (const auto file = IniFile::openForReading(path)) {
        file->beginGroup(group);
        for (ActionBinding &binding : m_entries) {
            if (binding.fixed)
                continue;
            QVariant value;
            try {
                value = file->value(binding.identifier, QStringList{absentMarker});
            } catch (const std::bad_alloc &) {
                continue; // a forged value asked Qt 5 for absurd memory: the entry keeps its defaults
            }
            // Qt 6 decodes the same forged value to an empty list, which no well-formed file holds
            // (an empty list is stored as @Invalid()): the same damage, the same answer.
            if (value.userType() == QMetaType::QStringList && value.toStringList().isEmpty())
                continue;
            // A value of another type (a rectangle, an invalid variant) is no list of keys:
            // the entry has none. Only an absent key gives the defaults back.
            const QStringList texts = value.toStringList();
            if (texts == QStringList{absentMarker})
                continue;
            binding.shortcuts = fromFileValue(texts);
        }
    }
    detectDuplicates();
}

void KeyBindings::write() const
{
    const QString path = UserDirectories::bindingsFile();
    if (path.isEmpty())
        return;
    QStringList order;
    for (const ActionBinding &binding : m_entries) {
        if (!binding.fixed)
            order.append(binding.identifier);
    }
    IniFile::write(
        path,
        [this](QSettings &ini) {
            ini.beginGroup(group);
            for (const ActionBinding &binding : m_entries) {
                if (!binding.fixed)
                    ini.setValue(binding.identifier, toFileValue(binding.shortcuts));
            }
            ini.endGroup();
        },
        {{group, order}});
}

QStringList KeyBindings::detectDuplicates()
{
    QStringList warnings;
    QSet<QKeySequence> taken;
    // Reserved keys are taken before anything else, whether or not an action carries them.
    for (const ActionBinding &binding : m_entries) {
        if (binding.fixed) {
            for (const QKeySequence &sequence : binding.defaultShortcuts)
                taken.insert(sequence);
        }
    }
    for (ActionBinding &binding : m_entries) {
        if (binding.fixed || !binding.action)
            continue;
        QList<QKeySequence> kept;
        for (const QKeySequence &sequence : binding.shortcuts) {
            if (sequence.isEmpty())
                continue;
            if (taken.contains(sequence)) {
                const QString warning = QStringLiteral("Duplicate hotkey detected: %1 (%2)")
                                            .arg(binding.displayName, sequence.toString(QKeySequence::PortableText));
                warnings.append(warning);
                HostBridge::showWarning(warning);
                continue;
            }
            taken.insert(sequence);
            kept.append(sequence);
        }
        binding.shortcuts = kept;
    }
    return warnings;
}

void KeyBindings::restoreDefaults()
{
    for (ActionBinding &binding : m_entries)
        binding.shortcuts = binding.defaultShortcuts;
    detectDuplicates();
}

void KeyBindings::restoreDefaults(const QList<int> &numbers)
{
    for (int number : numbers) {
        if (ActionBinding *binding = entry(number))
            binding->shortcuts = binding->defaultShortcuts;
    }
    detectDuplicates();
}

} // namespace ke2
