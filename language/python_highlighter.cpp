#include "language/python_highlighter.h"

#include "config/color_scheme.h"
#include "language/code_editor_block_data.h"
#include "plugin/host_bridge.h"

namespace ke2 {

namespace {
struct PythonWords {
    QSet<QString> keywords;
    QSet<QString> builtins;
    QSet<QString> melCommands;
};

PythonWords &pythonWords()
{
    static PythonWords words;
    return words;
}

enum WordClass { Keyword, MelCommand };

} // namespace

PythonHighlighter::PythonHighlighter(QTextDocument *document)
    : Highlighter(document)
{
    PythonWords &words = pythonWords();
    if (words.keywords.isEmpty())
        words.keywords = wordSet(HostBridge::pythonKeywords());
    if (words.builtins.isEmpty())
        words.builtins = wordSet(HostBridge::pythonBuiltins());
    if (words.melCommands.isEmpty())
        words.melCommands = wordSet(HostBridge::melCommands());
    buildRules();
}

void PythonHighlighter::setWordLists(const QStringList &keywords, const QStringList &builtins, const QStringList &melCommands)
{
    PythonWords &words = pythonWords();
    words.keywords = wordSet(keywords);
    words.builtins = wordSet(builtins);
    words.melCommands = wordSet(melCommands);
}

void PythonHighlighter::resetWordLists()
{
    setWordLists({}, {}, {});
}

const QSet<QString> &PythonHighlighter::keywords()
{
    return pythonWords().keywords;
}

const QSet<QString> &PythonHighlighter::builtins()
{
    return pythonWords().builtins;
}

const QSet<QString> &PythonHighlighter::melCommands()
{
    return pythonWords().melCommands;
}

void PythonHighlighter::buildRules()
{
    namespace R = ColorRoleName;
    m_keywordFormat = roleFormat(QLatin1String(R::pythonKeywords));
    m_builtinFormat = roleFormat(QLatin1String(R::pythonBuiltins));
    m_melCommandFormat = roleFormat(QLatin1String(R::pythonMelCommands));

    const QTextCharFormat selfCls = roleFormat(QLatin1String(R::pythonSelfCls));
    rules = {
        {pattern("\\bself\\b"), selfCls, [](const QString &line) { return line.contains(QLatin1String("self")); }},
        {pattern("\\bcls\\b"), selfCls, [](const QString &line) { return line.contains(QLatin1String("cls")); }},
        {pattern("\\b[0-9]*[.]?[0-9]*"), roleFormat(QLatin1String(R::pythonNumbers)), nullptr, isNumberChar},
        {pattern("(?<=\\bclass)\\s+[A-Za-z0-9_]+(?=\\s*\\()"), roleFormat(QLatin1String(R::pythonClasses)),
         [](const QString &line) { return line.contains(QLatin1String("class")); }},
        {pattern("(?<=\\bdef)\\s+[A-Za-z0-9_]+(?=\\s*\\()"), roleFormat(QLatin1String(R::pythonMethods)),
         [](const QString &line) { return line.contains(QLatin1String("def")); }},
        {pattern("^[\\s]*[@](.)*"), roleFormat(QLatin1String(R::pythonDecorators)),
         [](const QString &line) { return line.contains(QLatin1Char('@')); }},
    };
    callRules = {
        {pattern("\\b[A-Za-z0-9_]+(?=\\s*\\()"), roleFormat(QLatin1String(R::pythonMethods)),
         [](const QString &line) { return line.contains(QLatin1Char('(')); }},
    };
    const QTextCharFormat docStrings = roleFormat(QLatin1String(R::pythonDocStrings));
    const QTextCharFormat strings = roleFormat(QLatin1String(R::pythonStrings));
    regionRules = {
        {pattern("#"), pattern("$"), roleFormat(QLatin1String(R::pythonComments)), 1, false, true, false, false},
        {pattern("\"\"\""), pattern("\"\"\""), docStrings, 3, false, false, false, true},
        {pattern("'''"), pattern("'''"), docStrings, 3, false, false, false, true},
        {pattern("\""), pattern("\""), strings, 1, true, false, false, true},
        {pattern("'"), pattern("'"), strings, 1, true, false, false, true},
    };
}

void PythonHighlighter::HighlightWords(const QString &text)
{
    const PythonWords &words = pythonWords();
    QHash<QString, int> found;
    forEachRun(text, isMelWordChar, [&](int start, int length) {
        const QChar first = text.at(start);
        if (first == QLatin1Char('$') || first == QLatin1Char('-'))
            return;
        const QString word = QString::fromRawData(text.constData() + start, length);
        if (found.contains(word))
            return;
        if (words.keywords.contains(word))
            found.insert(word, Keyword);
        else if (words.melCommands.contains(word))
            found.insert(word, MelCommand);
    });
    forEachOccurrence(text, found, [&](int start, int length, int wordClass) {
        if (wordClass == Keyword)
            setFormat(start, length, m_keywordFormat);
        else if (start > 0 && text.at(start - 1) == QLatin1Char('.'))
            setFormat(start, length, m_melCommandFormat);
    });
}

void PythonHighlighter::HighlightQualifiedWords(const QString &text)
{
    const QSet<QString> &builtins = pythonWords().builtins;
    QHash<QString, int> found;
    forEachRun(text, isQualifiedWordChar, [&](int start, int length) {
        const QString part = QString::fromRawData(text.constData() + start, length);
        if (builtins.contains(part))
            found.insert(part, 0);
    });
    forEachOccurrence(text, found, [&](int start, int length, int) { setFormat(start, length, m_builtinFormat); });
}

void PythonHighlighter::UpdateIndentHint(CodeEditorBlockData *blockData, const QString &code)
{
    const QString trimmed = code.trimmed();
    if (trimmed.isEmpty())
        return;
    const QChar last = trimmed.at(trimmed.size() - 1);
    if (last == QLatin1Char('(') || last == QLatin1Char(':') || last == QLatin1Char('[') || last == QLatin1Char('{'))
        blockData->setIndentHint(1);
}

} // namespace ke2
