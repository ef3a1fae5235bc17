#include "language/mel_parser.h"

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
}

void MelParser::Lint()
{
    const MelLinter linter(text);
    const QVector<MelLintWarning> found = linter.Run(m_names);
    for (const MelLintWarning &warning : found)
        AddWarning(warning.message, warning.start, warning.end);
    m_procedures = linter.Procedures();
}

void MelParser::Reset()
{
    BaseParser::Reset();
    m_procedures.clear();
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
