#include "config/settings.h"

#include "config/user_directories.h"
#include "plugin/command_output.h"

#include <QtCore/QDir>
#include <QtCore/QSettings>
#include <QtGui/QFontInfo>

#include <algorithm>
#include <limits>
#include <new>
#include <variant>

namespace ke2 {
namespace {

// Keys whose in-memory form differs from a plain field of the stored type.
enum class Special {
    Version,
    WorkspacePath,
    WorkspaceState,
    CodeEditorFontFamily,
    CodeEditorFontSize,
    OutputFontFamily,
    OutputFontSize,
};

using Field = std::variant<bool Settings::*, int Settings::*, QString Settings::*, QStringList Settings::*,
                           QByteArray Settings::*, QRect Settings::*, Special>;

struct Key {
    const char *group;
    const char *name;
    Field field;
};

template <class... Ts> struct Overloaded : Ts... { using Ts::operator()...; };
template <class... Ts> Overloaded(Ts...) -> Overloaded<Ts...>;

#define KE2_KEY(group, name) Key{group, #name, &Settings::name}

// Every key, grouped, in file order.
const QVector<Key> &keys()
{
    static const QVector<Key> table{
        {"main", "version", Special::Version},
        KE2_KEY("main", windowGeometry),
        KE2_KEY("main", recentFiles),
        KE2_KEY("main", codeEditorVisible),
        KE2_KEY("main", outputVisible),
        KE2_KEY("main", sideBarVisible),
        KE2_KEY("main", openEditorsVisible),
        KE2_KEY("main", outlineVisible),
        KE2_KEY("main", activityBarVisible),
        KE2_KEY("main", statusBarVisible),
        KE2_KEY("main", statusBarInterpreterVisible),
        KE2_KEY("main", statusBarErrorCountVisible),
        KE2_KEY("main", statusBarLineMessageVisible),
        KE2_KEY("main", showCodeEditorExecuteBtn),
        KE2_KEY("main", showCodeEditorExecuteAllBtn),
        KE2_KEY("main", showCodeEditorExecuteLineBtn),
        KE2_KEY("main", codeEditorOrientVertical),
        KE2_KEY("main", outputState),
        KE2_KEY("main", outputOrientVertical),
        KE2_KEY("main", outputTopLeft),
        KE2_KEY("main", sideBarState),
        KE2_KEY("main", sideBarLeft),
        KE2_KEY("main", explorerState),
        KE2_KEY("main", workspaceExpanded),
        KE2_KEY("main", outlineExpanded),
        KE2_KEY("main", openEditorsExpanded),
        KE2_KEY("main", renderWhitespace),
        KE2_KEY("main", renderEndOfLine),
        KE2_KEY("main", wordWrapEnabled),
        KE2_KEY("main", suppressStackWindow),
        KE2_KEY("main", codeEditorZoom),
        KE2_KEY("main", outputZoom),

        KE2_KEY("tabs", tabDetails),
        KE2_KEY("tabs", tabBarScrolling),
        KE2_KEY("tabs", activeTabViewIndex),
        KE2_KEY("tabs", breakpoints),

        {"workspace", "workspacePath", Special::WorkspacePath},
        {"workspace", "workspaceState", Special::WorkspaceState},

        KE2_KEY("outline", outlineHideImports),
        KE2_KEY("outline", outlineHideMain),
        KE2_KEY("outline", outlineHideGlobalProcs),
        KE2_KEY("outline", outlineHideGlobalVariables),
        KE2_KEY("outline", outlineHideProcs),
        KE2_KEY("outline", outlineState),

        KE2_KEY("preferences", saveAllOnExecute),
        KE2_KEY("preferences", debugPauseOnExceptions),
        KE2_KEY("preferences", saveAllOnExit),
        KE2_KEY("preferences", overrideScriptEditorButton),
        KE2_KEY("preferences", checkForModifiedFiles),
        KE2_KEY("preferences", showUnsavedFileDialogOnMayaExit),
        KE2_KEY("preferences", showConfirmDialogOnInternalBufferClose),
        KE2_KEY("preferences", utf8FileEncodingForReadWrite),
        KE2_KEY("preferences", showTabBar),
        KE2_KEY("preferences", showCloseButtonOnTabs),
        KE2_KEY("preferences", showTabBarMiniToolbar),
        KE2_KEY("preferences", lockTabPositions),
        KE2_KEY("preferences", mouseWheelChangesActiveTab),
        KE2_KEY("preferences", tabsSizeDefault),
        KE2_KEY("preferences", tabsInsertSpacesDefault),
        KE2_KEY("preferences", tabsAutoIndentDefault),
        KE2_KEY("preferences", tabsUseDefaultsMel),
        KE2_KEY("preferences", tabsSizeMel),
        KE2_KEY("preferences", tabsInsertSpacesMel),
        KE2_KEY("preferences", tabsAutoIndentMel),
        KE2_KEY("preferences", tabsUseDefaultsPython),
        KE2_KEY("preferences", tabsSizePython),
        KE2_KEY("preferences", tabsInsertSpacesPython),
        KE2_KEY("preferences", tabsAutoIndentPython),
        {"preferences", "codeEditorFontFamily", Special::CodeEditorFontFamily},
        {"preferences", "codeEditorFontSize", Special::CodeEditorFontSize},
        KE2_KEY("preferences", codeEditorBackspaceToTabStop),
        KE2_KEY("preferences", codeEditorDisplayIndentationGuides),
        KE2_KEY("preferences", codeEditorMouseWheelChangesFontSize),
        KE2_KEY("preferences", codeEditorMatchedSelectionWordsOnly),
        {"preferences", "outputFontFamily", Special::OutputFontFamily},
        {"preferences", "outputFontSize", Special::OutputFontSize},
        KE2_KEY("preferences", outputBufferSize),
        KE2_KEY("preferences", outputMinimalTrace),
        KE2_KEY("preferences", outputMouseWheelChangesFontSize),
        KE2_KEY("preferences", outputDisableEchoAllOnStartup),
        KE2_KEY("preferences", outputDoubleClickIncludesDollarSign),
        KE2_KEY("preferences", outputMatchedSelectionWordsOnly),
        KE2_KEY("preferences", outputSyntaxHighlightingEnabled),
        KE2_KEY("preferences", outputWordWrapEnabled),
        KE2_KEY("preferences", melDisplayErrors),
        KE2_KEY("preferences", melSmartIndent),
        KE2_KEY("preferences", melIndentToParentheses),
        KE2_KEY("preferences", melInsertClosingParentheses),
        KE2_KEY("preferences", melInsertClosingQuotes),
        KE2_KEY("preferences", melTrimTrailingWhiteSpacesOnSave),
        KE2_KEY("preferences", melEnsureNewLineAtEofOnSave),
        KE2_KEY("preferences", melDoubleClickIncludesDollarSign),
        KE2_KEY("preferences", melAutoCompleteToQuickHelp),
        KE2_KEY("preferences", melCompleteOnUser),
        KE2_KEY("preferences", melCompleteOnLetters),
        KE2_KEY("preferences", melCompleteFlags),
        KE2_KEY("preferences", melSignatureHelp),
        KE2_KEY("preferences", melLintEnabled),
        KE2_KEY("preferences", pythonDisplayErrors),
        KE2_KEY("preferences", pythonSmartIndent),
        KE2_KEY("preferences", pythonIndentToParentheses),
        KE2_KEY("preferences", pythonInsertClosingParentheses),
        KE2_KEY("preferences", pythonInsertClosingQuotes),
        KE2_KEY("preferences", pythonTrimTrailingWhiteSpacesOnSave),
        KE2_KEY("preferences", pythonEnsureNewLineAtEofOnSave),
        KE2_KEY("preferences", pythonHideCompiledFiles),
        KE2_KEY("preferences", pythonImportPyMelOnLoad),
        KE2_KEY("preferences", pythonAutoCompleteToQuickHelp),
        KE2_KEY("preferences", pythonCompleteOnUser),
        KE2_KEY("preferences", pythonCompleteOnLetters),
        KE2_KEY("preferences", pythonCompleteOnDot),
        KE2_KEY("preferences", pythonIncludeKeywords),
        KE2_KEY("preferences", pythonIncludeBuiltins),
        KE2_KEY("preferences", pythonForcedImports),
        KE2_KEY("preferences", pylintEnabled),
        KE2_KEY("preferences", pylintPath),
        KE2_KEY("preferences", pylintPythonHomePath),
        KE2_KEY("preferences", pylintConfigPath),
        KE2_KEY("preferences", pylintAdditionalImportPaths),
        KE2_KEY("preferences", pylintUseMinimalCheckers),
        KE2_KEY("preferences", pylintShowErrors),
    };
    return table;
}

#undef KE2_KEY

QString qualified(const Key &key)
{
    return QStringLiteral("%1/%2").arg(QLatin1String(key.group), QLatin1String(key.name));
}

QList<QByteArray> splitEntries(const QByteArray &bytes)
{
    QList<QByteArray> entries;
    for (int offset = 0; offset < bytes.size(); offset += Settings::workspaceStateEntrySize)
        entries.append(bytes.mid(offset, Settings::workspaceStateEntrySize));
    return entries;
}

// A size that does not convert reads as 0, which a font refuses: the size it had stays. Any
// positive size is kept as written; the widgets bound what they show.
void readFontSize(QFont &font, const QVariant &value)
{
    const int points = value.toInt();
    if (points > 0)
        font.setPointSize(points);
}

} // namespace

Settings::Settings() : codeEditorFont(defaultFont()), outputFont(defaultFont()) {}

Settings &Settings::instance()
{
    static Settings settings;
    // The output framing reads the flag where it lives instead of keeping a copy that a later
    // change would leave behind.
    static const bool framingFollows = [] {
        CommandOutput::setMinimalTraceSource([] { return settings.outputMinimalTrace; });
        return true;
    }();
    Q_UNUSED(framingFollows);
    return settings;
}

QFont Settings::defaultFont()
{
    QFont font;
    // A heap copy: Qt's font cache keeps the family name, and a literal's text would vanish
    // with an unloaded plug-in while the cache still points at it.
    font.setFamily(QString::fromLatin1("Consolas"));
    font.setPointSize(9);
    font.setStyleHint(QFont::TypeWriter, QFont::PreferDefault);
    return font;
}

QFont Settings::fontInUse(const QFont &font)
{
    QFont used(font);
    const QString family = QFontInfo(font).family();
    if (!family.isEmpty())
        used.setFamily(family);
    return used;
}

const IniFile::Layout &Settings::fileLayout()
{
    static const IniFile::Layout layout = [] {
        IniFile::Layout result;
        for (const Key &key : keys()) {
            const QString group = QLatin1String(key.group);
            if (result.isEmpty() || result.last().first != group)
                result.append({group, {}});
            result.last().second.append(QLatin1String(key.name));
        }
        return result;
    }();
    return layout;
}

void Settings::read()
{
    const auto file = IniFile::openForReading(UserDirectories::settingsFile());
    if (!file)
        return;
    QSettings &ini = *file;
    QString storedWorkspacePath = workspacePath;
    try {
        for (const Key &key : keys()) {
            const QString name = qualified(key);
            std::visit(Overloaded{
                           [&](bool Settings::*f) { this->*f = ini.value(name, this->*f).toBool(); },
                           [&](int Settings::*f) { this->*f = ini.value(name, this->*f).toInt(); },
                           [&](QString Settings::*f) { this->*f = ini.value(name, this->*f).toString(); },
                           [&](QStringList Settings::*f) { this->*f = ini.value(name, this->*f).toStringList(); },
                           [&](QByteArray Settings::*f) { this->*f = ini.value(name, this->*f).toByteArray(); },
                           [&](QRect Settings::*f) { this->*f = ini.value(name, this->*f).toRect(); },
                           [&](Special special) {
                               switch (special) {
                               case Special::Version:
                                   break;
                               case Special::WorkspacePath:
                                   storedWorkspacePath = ini.value(name, workspacePath).toString();
                                   break;
                               case Special::WorkspaceState:
                                   if (ini.contains(name))
                                       workspaceState = splitEntries(ini.value(name).toByteArray());
                                   break;
                               case Special::CodeEditorFontFamily:
                                   codeEditorFont.setFamily(ini.value(name, codeEditorFont.family()).toString());
                                   break;
                               case Special::CodeEditorFontSize:
                                   readFontSize(codeEditorFont, ini.value(name, codeEditorFont.pointSize()));
                                   break;
                               case Special::OutputFontFamily:
                                   outputFont.setFamily(ini.value(name, outputFont.family()).toString());
                                   break;
                               case Special::OutputFontSize:
                                   readFontSize(outputFont, ini.value(name, outputFont.pointSize()));
                                   break;
                               }
                           },
                       },
                       key.field);
        }
    } catch (const std::bad_alloc &) {
        // A forged value asked for absurd memory; what was read so far stays.
    }
    // An empty path means "no workspace" and stays empty rather than naming the workspaces folder.
    if (!storedWorkspacePath.isEmpty() && QDir::isRelativePath(storedWorkspacePath))
        storedWorkspacePath = QStringLiteral("%1/%2").arg(UserDirectories::workspacesDirectory(), storedWorkspacePath);
    workspacePath = storedWorkspacePath;
}

void Settings::write() const
{
    const QString path = UserDirectories::settingsFile();
    if (path.isEmpty())
        return;
    QString storedWorkspacePath = workspacePath;
    const QString workspaces = UserDirectories::workspacesDirectory();
    if (!workspaces.isEmpty() && workspacePath.startsWith(workspaces + QLatin1Char('/'), Qt::CaseSensitive))
        storedWorkspacePath = QDir(workspaces).relativeFilePath(workspacePath);

    IniFile::write(
        path,
        [&](QSettings &ini) {
            for (const Key &key : keys()) {
                const QString name = qualified(key);
                std::visit(Overloaded{
                               [&](auto Settings::*f) { ini.setValue(name, this->*f); },
                               [&](Special special) {
                                   switch (special) {
                                   case Special::Version:
                                       ini.setValue(name, 1);
                                       break;
                                   case Special::WorkspacePath:
                                       ini.setValue(name, storedWorkspacePath);
                                       break;
                                   case Special::WorkspaceState:
                                       ini.setValue(name, workspaceState.isEmpty() ? QByteArray()
                                                                                    : workspaceState.join(QByteArray()));
                                       break;
                                   case Special::CodeEditorFontFamily:
                                       ini.setValue(name, codeEditorFont.family());
                                       break;
                                   case Special::CodeEditorFontSize:
                                       ini.setValue(name, codeEditorFont.pointSize());
                                       break;
                                   case Special::OutputFontFamily:
                                       ini.setValue(name, outputFont.family());
                                       break;
                                   case Special::OutputFontSize:
                                       ini.setValue(name, outputFont.pointSize());
                                       break;
                                   }
                               },
                           },
                           key.field);
            }
        },
        fileLayout());
}

void Settings::addRecentFile(const QString &path)
{
    if (path.isEmpty())
        return;
    recentFiles.removeAll(path);
    recentFiles.prepend(path);
    while (recentFiles.size() > m_recentFileLimit)
        recentFiles.removeLast();
    write();
}

void Settings::clearRecentFiles()
{
    recentFiles.clear();
    write();
}

void Settings::setRecentFileLimit(int limit)
{
    m_recentFileLimit = limit > 10 ? 8 : std::max(limit, 0);
    while (recentFiles.size() > m_recentFileLimit)
        recentFiles.removeLast();
}

int Settings::clampFontSize(int points)
{
    return std::clamp(points, minimumFontSize, maximumFontSize);
}

int Settings::clampTabSize(int spaces)
{
    return std::clamp(spaces, 1, maximumTabSize);
}

int Settings::clampOutputBufferSize(int lines)
{
    return std::clamp(lines, 1, maximumOutputBufferSize);
}

int Settings::clampEditorGroupIndex(int index)
{
    return index >= 0 && index < editorGroupCount ? index : 0;
}

QRect Settings::clampWindowGeometry(const QRect &geometry, const QRect &available)
{
    if (!geometry.isValid())
        return QRect();
    if (!available.isValid())
        return geometry;
    QRect result(geometry.topLeft(), geometry.size().boundedTo(available.size()));
    // Moved in 64 bits: a forged position near the int limits must not overflow.
    const auto inside = [](int position, int length, int start, int span) {
        return int(std::clamp<qint64>(position, start, qint64(start) + span - length));
    };
    result.moveTo(inside(result.x(), result.width(), available.x(), available.width()),
                  inside(result.y(), result.height(), available.y(), available.height()));
    return result;
}

int Settings::clampZoom(int zoom, int baseSize)
{
    const int base = clampFontSize(baseSize);
    return std::clamp(zoom, minimumFontSize - base, maximumFontSize - base);
}

} // namespace ke2
