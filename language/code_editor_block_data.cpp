#include "language/code_editor_block_data.h"

#include <algorithm>

namespace ke2 {

namespace {
struct Located {
    int column;
    int step;
    int kind;
};

// This line's brackets of every kind before `column`, nearest first.
QVector<Located> bracketsBefore(const CodeEditorBlockData &data, int column)
{
    QVector<Located> all;
    for (int kind = 0; kind < 3; ++kind)
        for (const CodeEditorBlockData::BracketEntry &entry : data.brackets(CodeEditorBlockData::BracketKind(kind)))
            if (entry.column < column)
                all.append({entry.column, entry.step, kind});
    std::sort(all.begin(), all.end(), [](const Located &a, const Located &b) { return a.column > b.column; });
    return all;
}
} // namespace

CodeEditorBlockData *CodeEditorBlockData::of(const QTextBlock &block)
{
    return block.isValid() ? static_cast<CodeEditorBlockData *>(block.userData()) : nullptr;
}

void CodeEditorBlockData::clear()
{
    for (QVector<BracketEntry> &entries : m_brackets)
        entries.clear();
    m_stringRanges.clear();
    m_lineCommentRanges.clear();
    m_blockCommentRanges.clear();
    m_leadingWhitespace.clear();
    m_codeText.clear();
    m_blank = true;
    m_indentHint = 0;
}

int CodeEditorBlockData::bracketKind(QChar character)
{
    switch (character.unicode()) {
    case '(':
    case ')':
        return Parentheses;
    case '{':
    case '}':
        return Braces;
    case '[':
    case ']':
        return SquareBrackets;
    default:
        return -1;
    }
}

bool CodeEditorBlockData::isOpeningBracket(QChar character)
{
    return character == QLatin1Char('(') || character == QLatin1Char('{') || character == QLatin1Char('[');
}

QChar CodeEditorBlockData::openingOf(BracketKind kind)
{
    static const char openings[] = "({[";
    return QLatin1Char(openings[kind]);
}

QChar CodeEditorBlockData::closingOf(BracketKind kind)
{
    static const char closings[] = ")}]";
    return QLatin1Char(closings[kind]);
}

void CodeEditorBlockData::addBracket(QChar character, int column)
{
    const int kind = bracketKind(character);
    if (kind >= 0)
        m_brackets[kind].append({column, isOpeningBracket(character) ? 1 : -1});
}

const QVector<CodeEditorBlockData::BracketEntry> &CodeEditorBlockData::brackets(QChar character) const
{
    static const QVector<BracketEntry> none;
    const int kind = bracketKind(character);
    return kind >= 0 ? m_brackets[kind] : none;
}

bool CodeEditorBlockData::bracketAt(int column, QChar *character) const
{
    for (int kind = 0; kind < 3; ++kind) {
        for (const BracketEntry &entry : m_brackets[kind]) {
            if (entry.column == column) {
                if (character)
                    *character = entry.step > 0 ? openingOf(BracketKind(kind)) : closingOf(BracketKind(kind));
                return true;
            }
        }
    }
    return false;
}

int CodeEditorBlockData::bracketBalance(QChar character, int column) const
{
    int balance = 0;
    for (const BracketEntry &entry : brackets(character))
        if (entry.column < column)
            balance += entry.step;
    return balance;
}

bool CodeEditorBlockData::contains(const QVector<Range> &ranges, int column)
{
    return std::any_of(ranges.begin(), ranges.end(), [column](const Range &range) { return range.contains(column); });
}

bool CodeEditorBlockData::unclosedOpeningBefore(int column, QChar *character, int *openingColumn) const
{
    int depth[3] = {0, 0, 0}; // closings seen per kind, still waiting for their opening
    for (const Located &entry : bracketsBefore(*this, column)) {
        if (entry.step < 0) {
            ++depth[entry.kind];
        } else if (depth[entry.kind] > 0) {
            --depth[entry.kind];
        } else {
            if (character)
                *character = openingOf(BracketKind(entry.kind));
            if (openingColumn)
                *openingColumn = entry.column;
            return true;
        }
    }
    return false;
}

CodeEditorBlockData::BracketPosition CodeEditorBlockData::matchingBracket(const QTextBlock &block, int column)
{
    const CodeEditorBlockData *data = of(block);
    QChar character;
    if (!data || !data->bracketAt(column, &character))
        return {};
    const int kind = bracketKind(character);
    const bool forwards = isOpeningBracket(character);
    const QChar partnerCharacter = forwards ? closingOf(BracketKind(kind)) : openingOf(BracketKind(kind));
    int count = forwards ? 1 : -1;

    QTextBlock current = block;
    bool first = true;
    while (current.isValid()) {
        if (const CodeEditorBlockData *currentData = of(current)) {
            const QVector<BracketEntry> &entries = currentData->m_brackets[kind];
            if (forwards) {
                for (const BracketEntry &entry : entries) {
                    if (first && entry.column <= column)
                        continue;
                    count += entry.step;
                    if (count == 0)
                        return {partnerCharacter, entry.column, current};
                }
            } else {
                for (auto it = entries.crbegin(); it != entries.crend(); ++it) {
                    if (first && it->column >= column)
                        continue;
                    count += it->step;
                    if (count == 0)
                        return {partnerCharacter, it->column, current};
                }
            }
        }
        first = false;
        current = forwards ? current.next() : current.previous();
    }
    return {};
}

CodeEditorBlockData::ClosedBracket CodeEditorBlockData::closedFromEarlierLine(const QTextBlock &block, int column)
{
    const CodeEditorBlockData *data = of(block);
    if (!data)
        return {};
    for (const Located &entry : bracketsBefore(*data, column)) {
        if (entry.step > 0)
            continue;
        const BracketPosition partner = matchingBracket(block, entry.column);
        if (partner.isValid() && partner.block.blockNumber() < block.blockNumber())
            return {closingOf(BracketKind(entry.kind)), entry.column, partner};
    }
    return {};
}

} // namespace ke2
