#include "shell/script_runs.h"

#include "editor/code_editor.h"

#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtGui/QTextBlock>

#include <algorithm>

namespace ke2 {

namespace {

// Enough for every error line the output panel can still show.
constexpr size_t maximumErrors = 10000;
// Runs whose code a later error may still name; older functions lead nowhere.
constexpr size_t maximumRuns = 200;
constexpr qint64 maximumRunCharacters = 16 * 1024 * 1024;

QString echoOf(const QString &text)
{
    return text.endsWith(QLatin1Char('\n')) ? text : text + QLatin1Char('\n');
}

// Columns of a line's indentation (a tab counts 8); -1 for a line without code.
int indentation(const QString &line)
{
    int width = 0;
    for (const QChar ch : line) {
        if (ch == QLatin1Char(' '))
            ++width;
        else if (ch == QLatin1Char('\t'))
            width += 8;
        else if (!ch.isSpace())
            return ch == QLatin1Char('#') ? -1 : width;
    }
    return -1;
}

// The name a "def" or "class" line defines, or "".
QString definedName(const QString &line)
{
    static const QRegularExpression header(QStringLiteral("^\\s*(?:async\\s+)?(?:def|class)\\s+(\\w+)"),
                                           QRegularExpression::UseUnicodePropertiesOption);
    const QRegularExpressionMatch match = header.match(line);
    return match.hasMatch() ? match.captured(1) : QString();
}

// The definitions around line `number` (1-based) of `lines`, innermost first, found by
// indentation; false when that line holds no code.
bool enclosingDefinitions(const QStringList &lines, int number, QStringList &names)
{
    names.clear();
    if (number < 1 || number > lines.size())
        return false;
    int level = indentation(lines.at(number - 1));
    if (level < 0)
        return false;
    for (int i = number - 2; i >= 0 && level > 0; --i) {
        const int width = indentation(lines.at(i));
        if (width < 0 || width >= level)
            continue;
        level = width;
        const QString name = definedName(lines.at(i));
        if (!name.isEmpty())
            names.append(name);
    }
    return true;
}

QSet<QString> topLevelDefinitions(const QStringList &lines)
{
    QSet<QString> names;
    for (const QString &line : lines) {
        // Only "def", "class" and "async def" lines can define; the rest is not matched at all.
        if (line.startsWith(QLatin1String("def")) || line.startsWith(QLatin1String("class"))
            || line.startsWith(QLatin1String("async"))) {
            const QString name = definedName(line);
            if (!name.isEmpty())
                names.insert(name);
        }
    }
    return names;
}

} // namespace

int ScriptRuns::Anchor::TabLine(int lineInRun) const
{
    if (!start.isNull())
        return start.blockNumber() + lineInRun;
    return firstLine + lineInRun - 1;
}

std::optional<ScriptRuns::ErrorPlace> ScriptRuns::ParseError(const QString &line)
{
    static const QRegularExpression framed(QStringLiteral("^(#|//) Error: (.*)$"));
    // The host names the file before the line ("file <maya console> line 2", "file: x.mel line 3").
    static const QRegularExpression inFile(QStringLiteral("\\bfile:? (.+?) line (\\d+)"));
    // MEL's own form; a message that merely mentions a line is not one.
    static const QRegularExpression bare(QStringLiteral("^line (\\d+): "));
    // A traceback's frame, as the host prints it with the stack trace on.
    // A syntax error's frame names no function: the code being compiled is the run's own.
    static const QRegularExpression frame(QStringLiteral("^(?:#|//)\\s+File \"(.+)\", line (\\d+)(?:, in (.+))?$"));
    static const QRegularExpression syntaxError(QStringLiteral("^(SyntaxError|IndentationError|TabError): "));
    ErrorPlace place;
    const QRegularExpressionMatch frameMatch = frame.match(line);
    if (frameMatch.hasMatch()) {
        place.file = frameMatch.captured(1) == consoleName() ? QString() : frameMatch.captured(1);
        place.line = frameMatch.captured(2).toInt();
        place.function = frameMatch.captured(3).trimmed();
        if (place.function.isEmpty())
            place.function = QStringLiteral("<module>");
        if (place.line <= 0)
            return std::nullopt;
        return place;
    }
    const QRegularExpressionMatch error = framed.match(line);
    if (!error.hasMatch())
        return std::nullopt;
    const QString message = error.captured(2);
    if (syntaxError.match(message).hasMatch())
        place.function = QStringLiteral("<module>");
    const QRegularExpressionMatch file = inFile.match(message);
    if (file.hasMatch()) {
        place.file = file.captured(1) == consoleName() ? QString() : file.captured(1);
        place.line = file.captured(2).toInt();
    } else {
        const QRegularExpressionMatch number = bare.match(message);
        if (!number.hasMatch())
            return std::nullopt;
        place.line = number.captured(1).toInt();
    }
    if (place.line <= 0)
        return std::nullopt;
    return place;
}

void ScriptRuns::Started(CodeEditor *editor, int firstLine, const QString &text, bool echoed)
{
    auto anchor = std::make_shared<Anchor>();
    anchor->editor = editor;
    anchor->firstLine = std::max(1, firstLine);
    if (editor) {
        const QTextBlock block = editor->document()->findBlockByNumber(anchor->firstLine - 1);
        if (block.isValid())
            anchor->start = QTextCursor(block);
    }
    auto run = std::make_shared<Run>();
    run->anchor = anchor;
    run->mel = editor && editor->Language() == LANGUAGE_MEL;
    run->lines = text.split(QLatin1Char('\n'));
    run->size = text.size();
    if (!run->mel)
        run->definitions = topLevelDefinitions(run->lines);
    if (echoed)
        run->echo = echoOf(text);
    m_runs.push_back(run);
    m_runCharacters += run->size;
    while (m_runs.size() > 1 && (m_runs.size() > maximumRuns || m_runCharacters > maximumRunCharacters)) {
        m_runCharacters -= m_runs.front()->size;
        m_runs.pop_front();
    }
    if (echoed)
        m_pending.push_back(run);
}

void ScriptRuns::Observe(const QString &text)
{
    for (auto it = m_pending.begin(); it != m_pending.end(); ++it) {
        if ((*it)->echo == text) {
            // Runs before it were not echoed after all (their echo was switched off).
            m_current = *it;
            m_pending.erase(m_pending.begin(), it + 1);
            return;
        }
    }
    if (!text.contains(QLatin1String("Error: ")))
        return;
    for (const QString &line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        Record(line);
}

ScriptRuns::RunPointer ScriptRuns::RunFor(const ErrorPlace &place) const
{
    // The run the error belongs to: the one whose echo came last, or the newest.
    RunPointer current = m_current ? m_current : (m_runs.empty() ? nullptr : m_runs.back());
    if (!current)
        return nullptr;
    if (place.function == QLatin1String("<module>"))
        return place.line <= current->lines.size() ? current : nullptr;
    // MEL errors belong to the MEL that ran last; Python's to one of the Python runs.
    QStringList names;
    if (current->mel)
        return enclosingDefinitions(current->lines, place.line, names) ? current : nullptr;
    auto newest = std::find(m_runs.rbegin(), m_runs.rend(), current);
    // "<lambda>", "<listcomp>" and the like name no definition: only the line counts.
    const bool named = !place.function.isEmpty() && !place.function.startsWith(QLatin1Char('<'));
    RunPointer found;
    for (auto it = newest; it != m_runs.rend(); ++it) {
        const Run &run = **it;
        if (run.mel || !enclosingDefinitions(run.lines, place.line, names))
            continue;
        const bool isCurrent = it == newest;
        // An earlier run's own lines ran long ago; only its functions can run now, and only
        // while no later run has defined their name again.
        if (!isCurrent) {
            if (names.isEmpty())
                continue;
            const QString outermost = names.last();
            const bool redefined = std::any_of(newest, it, [&outermost](const RunPointer &later) {
                return later->definitions.contains(outermost);
            });
            if (redefined)
                continue;
        }
        if (named && (names.isEmpty() || names.first() != place.function))
            continue;
        if (!found) {
            found = *it;
            continue;
        }
        // A second candidate: the same place (the same text run twice from one spot) is no doubt.
        if (found->anchor->editor != run.anchor->editor
            || found->anchor->TabLine(place.line) != run.anchor->TabLine(place.line))
            return nullptr;
    }
    return found;
}

void ScriptRuns::Record(const QString &line)
{
    const std::optional<ErrorPlace> place = ParseError(line);
    if (!place)
        return;
    Entry entry;
    entry.message = line;
    entry.line = place->line;
    // A line that leads nowhere is kept too, as a place holder: identical lines are told apart
    // by their order, so skipping one would hand its link to another.
    if (!place->file.isEmpty()) {
        // "<string>", "<stdin>" and the like name no file to open.
        if (!(place->file.startsWith(QLatin1Char('<')) && place->file.endsWith(QLatin1Char('>'))))
            entry.path = place->file;
    } else if (const RunPointer run = RunFor(*place)) {
        entry.anchor = run->anchor;
    }
    m_errors.push_back(entry);
    if (m_errors.size() > maximumErrors)
        m_errors.pop_front();
}

bool ScriptRuns::IsLink(const QString &line) const
{
    return Resolve(line, 0).isValid();
}

ScriptRuns::Location ScriptRuns::Resolve(const QString &line, int identicalLinesAfter) const
{
    int skip = identicalLinesAfter;
    for (auto it = m_errors.rbegin(); it != m_errors.rend(); ++it) {
        if (it->message != line)
            continue;
        if (skip-- > 0)
            continue;
        Location location;
        location.message = it->message;
        if (!it->anchor) {
            if (it->path.isEmpty() || !QFileInfo(it->path).isFile())
                return Location();
            location.path = it->path;
            location.line = it->line;
            return location;
        }
        CodeEditor *editor = it->anchor->editor.data();
        // A tab closed or cut short since: the line is shown, but leads nowhere.
        if (!editor)
            return Location();
        location.editor = editor;
        location.line = it->anchor->TabLine(it->line);
        if (location.line > editor->document()->blockCount())
            return Location();
        return location;
    }
    return Location();
}

} // namespace ke2
