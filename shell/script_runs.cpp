#include "shell/script_runs.h"

#include "editor/code_editor.h"

#include <QtCore/QRegularExpression>

namespace ke2 {

namespace {

// Enough for every error line the output panel can still show.
constexpr size_t maximumErrors = 10000;

QString echoOf(const QString &text)
{
    return text.endsWith(QLatin1Char('\n')) ? text : text + QLatin1Char('\n');
}

} // namespace

std::optional<ScriptRuns::ErrorPlace> ScriptRuns::ParseError(const QString &line)
{
    static const QRegularExpression framed(QStringLiteral("^(#|//) Error: (.*)$"));
    // The host names the file before the line ("file <maya console> line 2", "file: x.mel line 3").
    static const QRegularExpression inFile(QStringLiteral("\\bfile:? (.+?) line (\\d+)"));
    static const QRegularExpression bare(QStringLiteral("\\bline (\\d+)"));
    const QRegularExpressionMatch error = framed.match(line);
    if (!error.hasMatch())
        return std::nullopt;
    const QString message = error.captured(2);
    ErrorPlace place;
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
    Run run{editor, std::max(1, firstLine), echoed ? echoOf(text) : QString()};
    m_newest = run;
    if (echoed)
        m_pending.push_back(run);
}

void ScriptRuns::Observe(const QString &text)
{
    for (auto it = m_pending.begin(); it != m_pending.end(); ++it) {
        if (it->echo == text) {
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

void ScriptRuns::Record(const QString &line)
{
    const std::optional<ErrorPlace> place = ParseError(line);
    if (!place)
        return;
    Location location;
    location.message = line;
    if (!place->file.isEmpty()) {
        location.path = place->file;
        location.line = place->line;
    } else {
        const std::optional<Run> &run = m_current ? m_current : m_newest;
        if (!run || run->editor.isNull())
            return;
        location.editor = run->editor;
        location.line = run->firstLine + place->line - 1;
    }
    m_errors.push_back(location);
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
        return it->isValid() ? *it : Location();
    }
    return Location();
}

} // namespace ke2
