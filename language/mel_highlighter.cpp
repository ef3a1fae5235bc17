#include "language/mel_highlighter.h"

#include "config/color_scheme.h"
#include "language/code_editor_block_data.h"
#include "plugin/host_bridge.h"

namespace ke2 {

namespace {
struct MelWords {
    QSet<QString> keywords;
    QSet<QString> commands;
};

MelWords &melWords()
{
    static MelWords words;
    return words;
}

enum WordClass { Keyword, Command };

bool isFlagOrVariableStart(QChar c)
{
    return c == QLatin1Char('$') || c == QLatin1Char('-');
}

} // namespace

MelHighlighter::MelHighlighter(QTextDocument *document)
    : Highlighter(document)
{
    MelWords &words = melWords();
    if (words.keywords.isEmpty())
        words.keywords = wordSet(HostBridge::melKeywords());
    if (words.commands.isEmpty())
        words.commands = wordSet(HostBridge::melCommands() + HostBridge::melRunTimeCommands() + HostBridge::melProcedures());
    buildRules();
}

void MelHighlighter::setWordLists(const QStringList &keywords, const QStringList &commands)
{
    melWords().keywords = wordSet(keywords);
    melWords().commands = wordSet(commands);
}

void MelHighlighter::resetWordLists()
{
    setWordLists({}, {});
}

const QSet<QString> &MelHighlighter::keywords()
{
    return melWords().keywords;
}

const QSet<QString> &MelHighlighter::commands()
{
    return melWords().commands;
}

void MelHighlighter::buildRules()
{
    namespace R = ColorRoleName;
    m_keywordFormat = roleFormat(QLatin1String(R::melKeywords));
    m_commandFormat = roleFormat(QLatin1String(R::melCommands));

    rules = {
        {pattern("\\b[0-9]*[.]?[0-9]*"), roleFormat(QLatin1String(R::melNumbers)), nullptr, isNumberChar},
        {pattern("(?<![A-Za-z0-9_])(\\$)[A-Za-z0-9_]+"), roleFormat(QLatin1String(R::melVariables)),
         [](const QString &line) { return line.contains(QLatin1Char('$')); }},
        {pattern("(?<=\\bproc)\\s+[A-Za-z0-9_]+(?=\\s*\\()"), roleFormat(QLatin1String(R::melProcs)),
         [](const QString &line) { return line.contains(QLatin1String("proc")); }},
    };
    callRules = {
        {pattern("(?<![A-Za-z0-9_\\-])[A-Za-z0-9_]+(?=\\s*\\()"), roleFormat(QLatin1String(R::melProcs)),
         [](const QString &line) { return line.contains(QLatin1Char('(')); }},
    };
    const QTextCharFormat comments = roleFormat(QLatin1String(R::melComments));
    RegionRule lineComment{pattern("//"), pattern("$"), comments, 2, false, true, false, false};
    RegionRule blockComment{pattern("/\\*"), pattern("\\*/"), comments, 2, false, false, true, false};
    RegionRule string{pattern("\""), pattern("\""), roleFormat(QLatin1String(R::melStrings)), 1, true, false, false, true};
    regionRules = {lineComment, blockComment, string};
}

void MelHighlighter::HighlightWords(const QString &text)
{
    const MelWords &words = melWords();
    QHash<QString, int> found;
    forEachRun(text, isMelWordChar, [&](int start, int length) {
        if (isFlagOrVariableStart(text.at(start)))
            return;
        const QString word = QString::fromRawData(text.constData() + start, length);
        if (found.contains(word))
            return;
        if (words.keywords.contains(word))
            found.insert(word, Keyword);
        else if (words.commands.contains(word))
            found.insert(word, Command);
    });
    forEachOccurrence(text, found, [&](int start, int length, int wordClass) {
        if (start > 0 && isFlagOrVariableStart(text.at(start - 1)))
            return;
        setFormat(start, length, wordClass == Keyword ? m_keywordFormat : m_commandFormat);
    });
}

void MelHighlighter::UpdateIndentHint(CodeEditorBlockData *blockData, const QString &code)
{
    const QString trimmed = code.trimmed();
    if (trimmed.endsWith(QLatin1Char('(')) || trimmed.endsWith(QLatin1Char('['))) {
        blockData->setIndentHint(1);
        return;
    }
    // One level per "{" of the line that the line itself does not close again.
    int open = 0;
    for (const CodeEditorBlockData::BracketEntry &entry : blockData->brackets(CodeEditorBlockData::Braces)) {
        if (entry.step > 0)
            ++open;
        else if (open > 0)
            --open;
    }
    blockData->setIndentHint(open);
}

} // namespace ke2
