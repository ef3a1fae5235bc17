#include "language/mel_parser.h"

#include <algorithm>
#include <cstring>

namespace ke2 {

namespace {

bool isNameChar(QChar ch)
{
    const ushort u = ch.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_';
}

bool isProcedureNameChar(QChar ch) { return isNameChar(ch) || ch == QLatin1Char('.'); }

// What a parameter list may hold as this scanner sees it: array brackets are not among it.
bool isParameterChar(QChar ch)
{
    const ushort u = ch.unicode();
    return isNameChar(ch) || u == ',' || u == '$' || u == '*' || u == '/' || ch.isSpace();
}

const char *const typeWords[] = {"string", "int", "float", "matrix", "vector"};

} // namespace

void MelParser::SetLinting(bool on, MelNameSource *names)
{
    m_lint = on;
    m_names = names;
    if (!on) {
        m_parts.clear();
        m_nameCounts = MelNameUseCounts();
        m_file = MelFileContext();
        m_fileArenas.clear();
        m_fileBuilt = false;
        m_tokens = QVector<MelToken>();
        m_match = QVector<int>();
        m_calls = QVector<MelLinter::Call>();
    }
}

int MelParser::FindOldPart(QStringView part, int index, const QVector<LintPart> &old, int &misses)
{
    // Most parts stand where they stood, counted from the start or from the end. A part moved
    // elsewhere is found by its hash; the table is made once more than the edited part missed.
    const int shifted = index + int(old.size()) - int(m_parts.size());
    for (const int at : {index, shifted}) {
        if (at >= 0 && at < old.size() && old.at(at).Text() == part)
            return at;
    }
    if (++misses > 1 && !old.isEmpty()) {
        if (m_oldPartsByHash.isEmpty()) {
            for (int i = 0; i < old.size(); ++i)
                m_oldPartsByHash.insert(uint(qHash(old.at(i).Text())), i);
        }
        const auto found = m_oldPartsByHash.constFind(uint(qHash(part)));
        if (found != m_oldPartsByHash.constEnd() && old.at(*found).Text() == part)
            return *found;
    }
    return -1;
}

void MelParser::ReadPart(int index, ReadTokens &read, bool definitions)
{
    LintPart &part = m_parts[index];
    const QStringView text = part.Text();
    read.first = int(m_tokens.size());
    TokenizeMel(text, m_tokens);
    read.count = int(m_tokens.size()) - read.first;
    if (m_match.capacity() < m_tokens.size())
        m_match.reserve(m_tokens.capacity());
    m_match.resize(m_tokens.size());
    const MelLinter linter(text, m_tokens.constData() + read.first, read.count, m_match.data() + read.first);
    if (!definitions)
        return;
    part.procedures = linter.Procedures();
    QVarLengthArray<int, 16> globals;
    linter.ForEachGlobalDeclaration([&globals](int token) { globals.append(token); });
    part.definitions.reserve(int(part.procedures.size() + globals.size()));
    uint hash = 0;
    for (const MelProcedure &procedure : part.procedures) {
        const MelToken &name = linter.Token(procedure.nameToken);
        const int parameters = procedure.parameterCount;
        const QStringView text = linter.TextOf(procedure.nameToken);
        part.definitions.append({name.start, name.length, parameters, MelNameTable::Hash(text)});
        hash = hash * 31 + uint(qHash(text)) + uint(parameters);
    }
    for (const int token : globals) {
        const MelToken &name = linter.Token(token);
        const QStringView text = linter.TextOf(token);
        part.definitions.append({name.start, name.length, -1, MelNameTable::Hash(text)});
        hash = hash * 31 + uint(qHash(text));
    }
    part.definitionsHash = hash;
}

const MelFileContext &MelParser::FileContext(uint context)
{
    if (m_fileBuilt && m_fileContext == context)
        return m_file;
    m_file = MelFileContext();
    m_fileArenas.clear();
    const auto keepArena = [this](const LintPart &part) {
        if (m_fileArenas.isEmpty() || m_fileArenas.last().constData() != part.arena.constData())
            m_fileArenas.append(part.arena);
    };
    int procedures = 0;
    for (const LintPart &part : qAsConst(m_parts))
        procedures += int(part.procedures.size());
    m_file.procedures.Reserve(procedures);
    std::vector<uint> hashes;
    hashes.reserve(size_t(procedures));
    for (const LintPart &part : qAsConst(m_parts)) {
        if (!part.procedures.isEmpty())
            keepArena(part);
        const QStringView text = part.Text();
        for (const LintPart::Definition &definition : part.definitions) {
            if (definition.parameters < 0)
                continue;
            hashes.push_back(definition.hash);
            bool first = false;
            int &count = m_file.procedures.Insert(text.mid(definition.start, definition.length), definition.hash,
                                                  definition.parameters, &first);
            if (!first && count != definition.parameters)
                count = -2; // two definitions that disagree: no count is certain
        }
    }
    m_file.MarkProcedures(hashes);
    // The globals are the same as long as the context is: they are read from the parts of the
    // lint that first asks, whose texts are kept with the table.
    m_file.makeGlobals = [this, keepArena](MelNameTable &globals) {
        for (const LintPart &part : qAsConst(m_parts)) {
            const QStringView text = part.Text();
            bool any = false;
            for (const LintPart::Definition &definition : part.definitions) {
                if (definition.parameters < 0) {
                    globals.Insert(text.mid(definition.start, definition.length), definition.hash, 1);
                    any = true;
                }
            }
            if (any)
                keepArena(part);
        }
    };
    m_fileBuilt = true;
    m_fileContext = context;
    return m_file;
}

void MelParser::Lint()
{
    // The parts: [0, first head), [head, next head), ..., [last head, end).
    QVector<int> bounds{0};
    for (int start : qAsConst(m_partStarts)) {
        if (start > bounds.last())
            bounds.append(start);
    }
    bounds.append(text.size());
    const QVector<LintPart> old = std::move(m_parts);
    m_parts = QVector<LintPart>(bounds.size() - 1);
    QVector<int> reused(old.size(), 0);
    QVector<int> fresh; // the parts read anew
    int freshLength = 0;
    int misses = 0;
    for (int i = 0; i < m_parts.size(); ++i) {
        const QStringView part = QStringView(text).mid(bounds.at(i), bounds.at(i + 1) - bounds.at(i));
        const int from = FindOldPart(part, i, old, misses);
        if (from >= 0) {
            m_parts[i] = old.at(from);
            ++reused[from];
        } else {
            fresh.append(i);
            freshLength += int(part.size());
        }
    }
    m_oldPartsByHash.clear();
    // The new parts' texts, in one block: a part is kept with its text, which is compared with
    // the part at its place next time.
    // Each part is copied there just before it is read, while its text is at hand: through
    // `arenaData`, taken before the block is shared with the parts.
    QChar *arenaData = nullptr;
    if (!fresh.isEmpty()) {
        QString arena(freshLength, Qt::Uninitialized);
        arenaData = arena.data();
        int at = 0;
        for (int i : qAsConst(fresh)) {
            LintPart &part = m_parts[i];
            part.arena = arena;
            part.at = at;
            part.length = bounds.at(i + 1) - bounds.at(i);
            at += part.length;
        }
    }
    // The name counts follow the parts: out go those not kept, twice in those kept twice.
    for (int i = 0; i < old.size(); ++i) {
        if (reused.at(i) != 1 && old.at(i).checked)
            m_nameCounts.Add(old.at(i).Text(), old.at(i).uses, reused.at(i) - 1);
    }
    QVector<ReadTokens> read(m_parts.size());
    m_tokens.clear();
    m_match.clear();
    if (m_tokens.capacity() < freshLength / 4)
        m_tokens.reserve(freshLength / 4 + 16);
    m_match.reserve(m_tokens.capacity()); // grown along with the tokens, never copied over
    for (int i : qAsConst(fresh)) {
        std::copy(text.constData() + bounds.at(i), text.constData() + bounds.at(i + 1), arenaData + m_parts.at(i).at);
        ReadPart(i, read[i], true);
    }

    MelNameSource *names = m_names && m_names->KnowsCommands() ? m_names : nullptr;
    const int syntaxRevision = names ? names->SyntaxRevision() : 0;
    uint context = 0;
    for (const LintPart &part : qAsConst(m_parts))
        context = context * 31 + part.definitionsHash;
    MelSyntaxCache syntaxCache; // its names are views of the parts' texts, kept until the end
    for (int i = 0; i < m_parts.size(); ++i) {
        LintPart &part = m_parts[i];
        if (part.checked && part.context == context && part.names == names
            && (!names || (syntaxRevision >= 0 && part.syntaxRevision == syntaxRevision)))
            continue;
        if (read.at(i).first < 0)
            ReadPart(i, read[i], false); // a kept part to check again: its definitions are the same
        MelLinter linter(part.Text(), m_tokens.constData() + read.at(i).first, read.at(i).count,
                               m_match.constData() + read.at(i).first, part.procedures, &m_calls);
        linter.SetFileContext(&FileContext(context));
        linter.SetSyntaxCache(&syntaxCache);
        part.warnings.clear();
        linter.CheckUndeclaredVariables(part.warnings);
        linter.CheckArgumentCounts(part.warnings);
        linter.CheckReturnValues(part.warnings);
        if (names)
            linter.CheckUnknownFlags(*names, part.warnings);
        std::stable_sort(part.warnings.begin(), part.warnings.end(),
                         [](const MelLintWarning &a, const MelLintWarning &b) { return a.start < b.start; });
        if (part.checked)
            m_nameCounts.Add(part.Text(), part.uses, -1);
        part.uses = MelNameUses();
        linter.CollectNameUses(part.uses);
        m_nameCounts.Add(part.Text(), part.uses, 1);
        part.checked = true;
        part.context = context;
        part.names = names;
        part.syntaxRevision = syntaxRevision;
    }
    // The buffers of a whole large file are not kept between lints; those of an edit are small.
    if (m_tokens.capacity() > 1 << 16) {
        m_tokens = QVector<MelToken>();
        m_match = QVector<int>();
        m_calls = QVector<MelLinter::Call>();
    }

    QVector<MelLintWarning> found;
    MelNameTable unknown;
    if (names)
        unknown = m_nameCounts.UnknownNames(*names);
    m_procedures.clear();
    int procedures = 0;
    for (const LintPart &part : qAsConst(m_parts))
        procedures += int(part.procedures.size());
    m_procedures.reserve(procedures);
    for (int i = 0; i < m_parts.size(); ++i) {
        const LintPart &part = m_parts.at(i);
        const int offset = bounds.at(i);
        for (const MelLintWarning &warning : part.warnings)
            found.append({warning.message, warning.start + offset, warning.end + offset});
        if (!unknown.IsEmpty())
            MelLinter::ReportUnknownNames(text, part.uses.calls, offset, unknown, found);
        m_procedures += part.procedures;
    }
    // Unknown names come after the part's own warnings: put them in place.
    std::stable_sort(found.begin(), found.end(),
                     [](const MelLintWarning &a, const MelLintWarning &b) { return a.start < b.start; });
    for (const MelLintWarning &warning : qAsConst(found))
        AddWarning(warning.message, warning.start, warning.end);
}

void MelParser::Reset()
{
    BaseParser::Reset();
    m_procedures.clear();
    m_partStarts.clear();
    inProcedure = false;
    procedureStartDepth = 0;
}

void MelParser::AddError(const QString &, int, int)
{
    // Deliberately empty: MEL errors are computed but never shown.
}

void MelParser::Parse(const QString &source, const QString &path)
{
    BaseParser::Parse(source, path);
    CheckLeadingBlankLines();

    const int length = text.size();
    const QChar *data = text.constData();
    bool prevIsSpace = true;
    for (pos = 0; pos < length; ++pos) {
        if (pos > 0)
            prevIsSpace = data[pos - 1].isSpace();
        switch (data[pos].unicode()) {
        case ';':
            if (parenDepth >= 1)
                ReportExpected(QLatin1Char(')'), pos, pos + 1);
            else if (bracketDepth >= 1)
                ReportExpected(QLatin1Char(']'), pos, pos + 1);
            break;
        case '{':
            ++braceDepth;
            break;
        case '}':
            if (braceDepth > 0) {
                --braceDepth;
                if (braceDepth == procedureStartDepth)
                    inProcedure = false;
            } else {
                ReportUnexpected(QLatin1Char('}'), pos, pos + 1);
            }
            break;
        case '[':
            ++bracketDepth;
            break;
        case ']':
            if (bracketDepth > 0)
                --bracketDepth;
            else
                ReportUnexpected(QLatin1Char(']'), pos, pos + 1);
            break;
        case '(':
            ++parenDepth;
            break;
        case ')':
            if (parenDepth > 0)
                --parenDepth;
            else
                ReportUnexpected(QLatin1Char(')'), pos, pos + 1);
            break;
        case '"':
            SkipString(QLatin1Char('"'));
            break;
        case '/':
            if (pos < length - 1) {
                if (data[pos + 1] == QLatin1Char('/')) {
                    ++pos;
                    SkipLineComment();
                } else if (data[pos + 1] == QLatin1Char('*')) {
                    ++pos;
                    SkipBlockComment();
                }
            }
            break;
        case 'g':
            if (prevIsSpace && !TryGlobalProcedure())
                TryGlobalVariable();
            break;
        case 'p':
            if (prevIsSpace)
                TryLocalProcedure();
            break;
        default:
            break;
        }
    }
    if (braceDepth > 0)
        ReportExpected(QLatin1Char('}'), length - 1, length - 1);
    if (m_lint)
        Lint();
}

void MelParser::CheckLeadingBlankLines()
{
    const int newline = text.indexOf(QLatin1Char('\n'));
    if (newline < 0)
        return;
    const int visible = NextNonSpace(0);
    if (visible >= 0 && newline < visible) {
        AddWarning(QStringLiteral("Empty line(s) at start of file. Line numbers in trace may be incorrect."),
                   0, 0);
    }
}

int MelParser::MatchProcedureKeyword(int from) const
{
    if (!HasWordAt(from, "proc"))
        return -1;
    // The words after "proc" are read greedily and the match ends after the last blank among
    // them; each alternative starts with its own character, so there is only one way to read it.
    const QChar *data = text.constData();
    const int length = text.size();
    int at = from + 4;
    int matchEnd = -1;
    while (at < length) {
        const QChar ch = data[at];
        // Line breaks count as blanks: many scripts put "global proc string[]" on one line and
        // the name on the next.
        if (ch.isSpace()) {
            ++at;
            matchEnd = at;
            continue;
        }
        if (ch == QLatin1Char('[') || ch == QLatin1Char(']')) {
            ++at;
            continue;
        }
        bool word = false;
        for (const char *type : typeWords) {
            if (HasWordAt(at, type)) {
                at += int(std::strlen(type));
                word = true;
                break;
            }
        }
        if (!word)
            break;
    }
    return matchEnd < 0 ? -1 : matchEnd - from;
}

bool MelParser::TryGlobalProcedure()
{
    if (!HasWordAt(pos, "global"))
        return false;
    const QChar *data = text.constData();
    const int length = text.size();
    int at = pos + 6;
    if (at >= length || !data[at].isSpace())
        return false;
    while (at < length && data[at].isSpace())
        ++at;
    const int keyword = MatchProcedureKeyword(at);
    if (keyword < 0)
        return false;
    const int start = pos;
    const int matchEnd = at + keyword;

    procedureStartDepth = braceDepth;
    if (inProcedure) {
        AddError(QStringLiteral("Procedures cannot be nested within each other. Expected a '}'."), start,
                 matchEnd);
        return true;
    }
    const int nameStart = matchEnd;
    int nameEnd = nameStart;
    while (nameEnd < length && isProcedureNameChar(data[nameEnd]))
        ++nameEnd;
    if (nameEnd == nameStart)
        return false;
    const QStringView name = QStringView(text).mid(nameStart, nameEnd - nameStart);
    if (name.endsWith(QLatin1Char('.')) || name.contains(QLatin1String(".."))) {
        AddError(QStringLiteral("Invalid procedure name"), start, nameEnd);
        return true;
    }
    AddOutlineItem(name, OutlineItem::MelGlobalProc, nameStart, braceDepth);
    NotePartStart(start);
    pos = nameEnd;
    CheckProcedureHead(nameStart);
    return true;
}

void MelParser::TryGlobalVariable()
{
    if (!HasWordAt(pos, "global"))
        return;
    const QChar *data = text.constData();
    const int length = text.size();
    int at = pos + 6;
    if (at >= length || !IsLineSpace(data[at]))
        return;
    while (at < length && IsLineSpace(data[at]))
        ++at;
    bool typed = false;
    for (const char *type : typeWords) {
        if (HasWordAt(at, type)) {
            at += int(std::strlen(type));
            typed = true;
            break;
        }
    }
    if (!typed)
        return;
    while (at < length && (data[at] == QLatin1Char('[') || data[at] == QLatin1Char(']')))
        ++at;
    // Exactly one blank: a second one keeps the "$" from following the match.
    if (at >= length || !IsLineSpace(data[at]))
        return;
    ++at;
    if (at + 1 >= length || data[at] != QLatin1Char('$') || !isNameChar(data[at + 1]))
        return;
    int end = at + 1;
    while (end < length && isNameChar(data[end]))
        ++end;
    AddOutlineItem(QStringView(text).mid(at, end - at), OutlineItem::MelGlobalVariable, at, braceDepth);
    pos = end - 1;
}

void MelParser::TryLocalProcedure()
{
    const int keyword = MatchProcedureKeyword(pos);
    if (keyword < 0)
        return;
    const QChar *data = text.constData();
    const int length = text.size();
    const int start = pos;
    if (braceDepth > 0 && inProcedure) {
        AddError(QStringLiteral("Procedures cannot be nested within each other. Expected a '}'."), start,
                 start + keyword);
        return;
    }
    const int nameStart = start + keyword;
    int nameEnd = nameStart;
    while (nameEnd < length && isProcedureNameChar(data[nameEnd]))
        ++nameEnd;
    if (nameEnd == nameStart)
        return;
    const QStringView name = QStringView(text).mid(nameStart, nameEnd - nameStart);
    if (name.endsWith(QLatin1Char('.')) || name.contains(QLatin1String(".."))) {
        AddError(QStringLiteral("Invalid procedure name"), start, nameEnd);
        return;
    }
    AddOutlineItem(name, OutlineItem::MelProc, nameStart, 0);
    NotePartStart(start);
    pos = nameEnd;
    CheckProcedureHead(nameStart);
}

void MelParser::CheckProcedureHead(int nameStart)
{
    const QChar *data = text.constData();
    const int length = text.size();
    const int open = NextNonSpace(pos);
    if (open < 0) {
        ReportExpected(QLatin1Char('('), nameStart, pos);
        pos = length - 1;
        return;
    }
    if (data[open] != QLatin1Char('(')) {
        ReportExpected(QLatin1Char('('), nameStart, pos);
        pos = open;
        return;
    }
    // The list is fine when the first character it may not hold is the closing ")". Stopping
    // there, rather than searching the ")" through the rest of the text, keeps an unclosed head
    // from being read to the end once per procedure.
    int close = open + 1;
    while (close < length && isParameterChar(data[close]))
        ++close;
    if (close >= length || data[close] != QLatin1Char(')')) {
        ReportExpected(QLatin1Char(')'), nameStart, pos);
        pos = open;
        return;
    }
    pos = close + 1;
    const int body = NextNonSpace(pos);
    if (body < 0) {
        ReportExpected(QLatin1Char('{'), nameStart, pos);
        pos = length - 1;
        return;
    }
    if (data[body] == QLatin1Char('{')) {
        pos = body - 1; // the main loop counts the brace
        inProcedure = true;
        return;
    }
    ReportExpected(QLatin1Char('{'), nameStart, pos);
}

void MelParser::SkipLineComment()
{
    const int length = text.size();
    const int newline = NextNewline(pos + 1);
    if (ContainsTodoWord(pos, newline < 0 ? length : newline))
        AddTodo(QStringLiteral("TODO:"), pos, newline);
    pos = newline < 0 ? length - 1 : newline;
}

void MelParser::SkipBlockComment()
{
    const int length = text.size();
    const int close = text.indexOf(QLatin1String("*/"), pos + 1);
    if (ContainsTodoWord(pos, close < 0 ? length : close))
        AddTodo(QStringLiteral("TODO:"), pos, close);
    pos = close < 0 ? length - 1 : close + 1;
}

} // namespace ke2
