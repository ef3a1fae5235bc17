#include "language/python_parser.h"

#include "language/first_occurrence_index.h"


namespace ke2 {

namespace {

bool isNameChar(QChar ch)
{
    const ushort u = ch.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_';
}

bool isDottedNameChar(QChar ch) { return isNameChar(ch) || ch == QLatin1Char('.'); }

bool isDottedName(const QString &part)
{
    for (const QChar ch : part) {
        if (!isDottedNameChar(ch))
            return false;
    }
    return true;
}

// Short lines are searched directly; the index only pays off on long ones.
const int directSearchLimit = 512;

} // namespace

PythonParser::PythonParser()
{
    indentStack.append(QStringView());
    m_indentWidths.append(0);
}

void PythonParser::Reset()
{
    BaseParser::Reset();
    decorators.clear();
    indentErrorReported = false;
    mixedIndentReported = false;
    indentStack.clear();
    m_indentWidths.clear();
    PushIndent(QStringView(), 0);
    expectIndent = false;
}

void PythonParser::PushIndent(QStringView level, int width)
{
    indentStack.append(level);
    m_indentWidths.append(width);
}

void PythonParser::Parse(const QString &source, const QString &path)
{
    BaseParser::Parse(source, path);
    const int length = text.size();
    const QChar *data = text.constData();
    NewLine(true);
    for (pos = 0; pos < length; ++pos) {
        const QChar ch = data[pos];
        if (atLineStart) {
            if (ch == QLatin1Char('\t') || ch == QLatin1Char(' ')) {
                m_indentWidth += ch == QLatin1Char('\t') ? 8 : 1;
                (ch == QLatin1Char('\t') ? m_indentHasTab : m_indentHasSpace) = true;
                continue;
            }
            if (ch == QLatin1Char('\n')) {
                NewLine(false); // blank lines are never checked
                continue;
            }
            if (!ch.isSpace() && ch != QLatin1Char('#'))
                CheckIndentation();
            bool definition = false;
            switch (ch.unicode()) {
            case 'i':
                if (!TryAliasImport() && !TryPlainImport())
                    TryMainGuard();
                break;
            case 'f':
                TryFromImport();
                break;
            case 'c':
                definition = TryClass();
                break;
            case 'd':
                definition = TryFunction();
                break;
            case '@':
                if (ReadDecorator()) {
                    // The rest of the line is scanned as code: a decorator's arguments may run
                    // on over several lines inside their brackets.
                    atLineStart = false;
                    continue;
                }
                break;
            default:
                break;
            }
            atLineStart = false;
            // Decorators apply only to the definition right below them; any other line, a comment
            // line too, ends their run.
            if (!decorators.isEmpty())
                decorators.clear();
            if (definition)
                continue;
        }
        switch (ch.unicode()) {
        case '\n':
            NewLine(false);
            break;
        case ':':
            CheckColon();
            break;
        case '{':
            ++braceDepth;
            break;
        case '[':
            ++bracketDepth;
            break;
        case '(':
            ++parenDepth;
            break;
        case '}':
            if (braceDepth > 0)
                --braceDepth;
            else
                ReportUnexpected(ch, pos, pos + 1);
            break;
        case ']':
            if (bracketDepth > 0)
                --bracketDepth;
            else
                ReportUnexpected(ch, pos, pos + 1);
            break;
        case ')':
            if (parenDepth > 0)
                --parenDepth;
            else
                ReportUnexpected(ch, pos, pos + 1);
            break;
        case '"':
        case '\'':
            SkipAnyString(ch);
            break;
        case '#':
            SkipComment();
            break;
        case '\\':
            // A backslash right before the line end joins the next line to this logical line,
            // as an open bracket does: its indentation is not checked.
            if (pos + 1 < length && data[pos + 1] == QLatin1Char('\n'))
                ++pos;
            break;
        default:
            break;
        }
    }
}

void PythonParser::NewLine(bool first)
{
    if (braceDepth >= 1 || parenDepth >= 1 || bracketDepth >= 1) {
        // An open bracket continues the statement, unless the next line plainly starts a new one.
        const int word = NextNonSpace(pos);
        if (word < 0)
            return;
        const int length = text.size();
        const QChar *data = text.constData();
        int end = word;
        while (end < length && end - word <= 6 && !data[end].isSpace())
            ++end;
        const int size = end - word;
        const bool statement = (size == 5 && HasWordAt(word, "class")) || (size == 3 && HasWordAt(word, "def"))
                               || (size == 6 && HasWordAt(word, "import"))
                               || (size == 4 && HasWordAt(word, "from") && IsFromImportAt(word));
        if (!statement)
            return;
        const QChar expected = braceDepth >= 1 ? QLatin1Char('}')
                               : parenDepth >= 1 ? QLatin1Char(')')
                                                 : QLatin1Char(']');
        ReportExpected(expected, pos, pos);
        braceDepth = 0;
        parenDepth = 0;
        bracketDepth = 0;
    }
    atLineStart = true;
    lineStart = first ? 0 : pos + 1;
    indent = QStringView();
    m_indentWidth = 0;
    m_indentHasTab = false;
    m_indentHasSpace = false;
}

bool PythonParser::IsFromImportAt(int at) const
{
    // "from" also continues "(yield" inside brackets; only "from module import" starts anew.
    const int module = SkipBlanks(at + 4, true);
    if (module < 0)
        return false;
    int end = module;
    while (end < text.size() && text.at(end) == QLatin1Char('.')) // relative: "from . import x"
        ++end;
    end = SkipName(end, true);
    if (end == module)
        return false;
    const int word = SkipBlanks(end, true);
    return word >= 0 && HasWordAt(word, "import") && (word + 6 >= text.size() || !isNameChar(text.at(word + 6)));
}

void PythonParser::CheckIndentation()
{
    if (indentStack.isEmpty())
        return;
    // Only blanks stand between the line start and here, so the indentation is that slice of the
    // text; a block that opens keeps that slice.
    indent = QStringView(text).mid(lineStart, pos - lineStart);
    const int topWidth = m_indentWidths.last();
    if (expectIndent) {
        expectIndent = false;
        if (m_indentWidth <= topWidth) {
            if (!indentErrorReported)
                AddError(QStringLiteral("Expected an indented block"), lineStart, pos);
            indentErrorReported = true;
        } else {
            PushIndent(indent, m_indentWidth);
        }
    } else if (m_indentWidth <= topWidth) {
        // Levels are told apart by their exact blanks: a tab and eight spaces are not the same.
        while (!indentStack.isEmpty() && indentStack.last() != indent) {
            indentStack.removeLast();
            m_indentWidths.removeLast();
        }
        if (indentStack.isEmpty()) {
            if (!indentErrorReported)
                AddError(QStringLiteral("Unindent does not match any outer indentation level"), lineStart, pos);
            indentErrorReported = true;
            mixedIndentReported = true;
            PushIndent(QStringView(), 0);
        }
    } else {
        if (!indentErrorReported)
            AddError(QStringLiteral("Unexpected indent"), lineStart, pos);
        indentErrorReported = true;
    }
    if (m_indentHasTab && m_indentHasSpace && !mixedIndentReported) {
        AddWarning(QStringLiteral("Indent contains both tabs and spaces"), lineStart, pos);
        mixedIndentReported = true;
    }
    atLineStart = false;
}

void PythonParser::CheckColon()
{
    if (braceDepth >= 1 || parenDepth >= 1 || bracketDepth >= 1)
        return;
    const int length = text.size();
    const QChar *data = text.constData();
    // Only blanks, and perhaps a comment, may follow a block-opening colon on its line.
    const int next = SkipBlanks(pos + 1, false);
    if (next >= length)
        return;
    int newline = -1;
    if (data[next] == QLatin1Char('\n'))
        newline = next;
    else if (data[next] == QLatin1Char('#'))
        newline = NextNewline(next);
    if (newline < 0)
        return;
    expectIndent = true;
    pos = newline; // a trailing comment is skipped without looking for TODO
    NewLine(false);
}

void PythonParser::ResetBlocksAtTopLevel()
{
    // A definition at the left margin starts afresh, so one indentation slip does not spoil the
    // rest of the file.
    if (!indent.isEmpty())
        return;
    indentStack.clear();
    m_indentWidths.clear();
    PushIndent(QStringView(), 0);
    expectIndent = false;
}

int PythonParser::SkipBlanks(int at, bool required) const
{
    const int length = text.size();
    const QChar *data = text.constData();
    const int from = at;
    while (at < length && (data[at] == QLatin1Char(' ') || data[at] == QLatin1Char('\t')))
        ++at;
    return required && at == from ? -1 : at;
}

int PythonParser::SkipName(int at, bool dotted) const
{
    const int length = text.size();
    const QChar *data = text.constData();
    while (at < length && (dotted ? isDottedNameChar(data[at]) : isNameChar(data[at])))
        ++at;
    return at;
}

bool PythonParser::TryClass()
{
    if (!HasWordAt(pos, "class"))
        return false;
    const int length = text.size();
    const QChar *data = text.constData();
    int nameStart = pos + 5;
    if (nameStart >= length || !IsLineSpace(data[nameStart]))
        return false;
    while (nameStart < length && IsLineSpace(data[nameStart]))
        ++nameStart;
    const int nameEnd = SkipName(nameStart, false);
    if (nameEnd == nameStart)
        return false;
    ResetBlocksAtTopLevel();
    AddOutlineItem(QStringView(text).mid(nameStart, nameEnd - nameStart), OutlineItem::PythonClass, nameStart, Depth());
    pos = nameEnd - 1;
    return true;
}

bool PythonParser::TryFunction()
{
    if (!HasWordAt(pos, "def"))
        return false;
    const int nameStart = SkipBlanks(pos + 3, true);
    if (nameStart < 0)
        return false;
    const int nameEnd = SkipName(nameStart, false);
    if (nameEnd == nameStart)
        return false;
    int kind = OutlineItem::PythonFunction;
    // The decorator nearest the definition decides when both are present.
    for (const QString &decorator : qAsConst(decorators)) {
        if (decorator == QLatin1String("staticmethod"))
            kind = OutlineItem::PythonStaticMethod;
        else if (decorator == QLatin1String("classmethod"))
            kind = OutlineItem::PythonClassMethod;
    }
    ResetBlocksAtTopLevel();
    AddOutlineItem(QStringView(text).mid(nameStart, nameEnd - nameStart), kind, nameStart, Depth());
    pos = nameEnd - 1;
    return true;
}

bool PythonParser::ReadDecorator()
{
    const int newline = NextNewline(pos + 1);
    if (newline < 0) {
        pos = text.size() - 1;
        return false;
    }
    decorators.append(text.mid(pos + 1, newline - pos - 1));
    return true;
}

bool PythonParser::TryMainGuard()
{
    if (!HasWordAt(pos, "if"))
        return false;
    int at = SkipBlanks(pos + 2, true);
    if (at < 0 || !HasWordAt(at, "__name__"))
        return false;
    at = SkipBlanks(at + 8, true);
    if (at < 0 || !HasWordAt(at, "=="))
        return false;
    at = SkipBlanks(at + 2, true);
    if (at < 0 || at >= text.size())
        return false;
    const QChar quote = text.at(at);
    if (quote != QLatin1Char('"') && quote != QLatin1Char('\''))
        return false;
    if (!HasWordAt(at + 1, "__main__") || at + 9 >= text.size() || text.at(at + 9) != quote)
        return false;
    ResetBlocksAtTopLevel();
    AddOutlineItem(QStringLiteral("__main__"), OutlineItem::PythonMain, at + 1, Depth());
    pos = at + 9;
    return true;
}

int PythonParser::ImportLineCut(int from, int *newline)
{
    *newline = NextNewline(from);
    const int end = *newline < 0 ? text.size() : *newline;
    if (from >= end)
        return end;
    const int hash = int(QStringView(text).mid(from, end - from).indexOf(QLatin1Char('#')));
    return hash < 0 ? end : from + hash;
}

int PythonParser::ImportLineResume(int cut, int newline) const
{
    const int end = newline < 0 ? text.size() : newline;
    // A backslash that ends the line is left to the scan, which joins the next line.
    if (cut == end && end > 0 && text.at(end - 1) == QLatin1Char('\\'))
        return end - 2;
    return end - 1;
}

bool PythonParser::TryAliasImport()
{
    if (!HasWordAt(pos, "import"))
        return false;
    const int moduleStart = SkipBlanks(pos + 6, true);
    if (moduleStart < 0)
        return false;
    const int moduleEnd = SkipName(moduleStart, true);
    if (moduleEnd == moduleStart)
        return false;
    int at = SkipBlanks(moduleEnd, true);
    if (at < 0 || !HasWordAt(at, "as"))
        return false;
    const int aliasFrom = SkipBlanks(at + 2, true);
    if (aliasFrom < 0)
        return false;
    int newline = -1;
    const int cut = ImportLineCut(aliasFrom, &newline);
    const QString raw = text.mid(aliasFrom, cut - aliasFrom);
    const QString alias = raw.trimmed();
    if (alias.isEmpty() || !isDottedName(alias))
        return false;
    int aliasStart = aliasFrom;
    while (text.at(aliasStart).isSpace())
        ++aliasStart;
    AddOutlineItem(QStringLiteral("%1 = %2").arg(alias, text.mid(moduleStart, moduleEnd - moduleStart)),
                   OutlineItem::PythonImportAlias, aliasStart, Depth());
    pos = ImportLineResume(cut, newline);
    return true;
}

bool PythonParser::TryPlainImport()
{
    if (!HasWordAt(pos, "import"))
        return false;
    const int from = SkipBlanks(pos + 6, true);
    if (from < 0)
        return false;
    int newline = -1;
    const int cut = ImportLineCut(from, &newline);
    pos = ImportLineResume(cut, newline);

    // The parts between commas, blanks around them dropped; one odd part and the line shows
    // nothing. Read in place: a generated line of a hundred thousand modules makes no list of
    // pieces first.
    const QChar *data = text.constData();
    QVector<QPair<int, int>> parts; // start, length
    for (int at = from; at <= cut; ++at) {
        while (at < cut && data[at] != QLatin1Char(',') && data[at].isSpace())
            ++at;
        const int start = at;
        while (at < cut && isDottedNameChar(data[at]))
            ++at;
        const int end = at;
        while (at < cut && data[at] != QLatin1Char(',') && data[at].isSpace())
            ++at;
        if (at < cut && data[at] != QLatin1Char(','))
            return true;
        if (end > start)
            parts.append({start, end - start});
    }
    // Each part is placed where it first occurs after "import ", as a search would find it (so a
    // part that also occurs inside an earlier one points there).
    const QStringView region = QStringView(text).mid(from, cut - from);
    QVector<int> offsets;
    if (region.size() > directSearchLimit && parts.size() > 1) {
        QVector<QPair<int, int>> runs = parts;
        for (auto &run : runs)
            run.first -= from;
        offsets = FirstOccurrenceIndex::firstOccurrencesOfRuns(region, runs, 32 * qint64(region.size()) + 4096);
        if (offsets.isEmpty()) {
            const FirstOccurrenceIndex index(region);
            for (const auto &run : qAsConst(runs))
                offsets.append(index.indexOf(region.mid(run.first, run.second)));
        }
    } else {
        for (const auto &part : qAsConst(parts))
            offsets.append(int(region.indexOf(QStringView(text).mid(part.first, part.second))));
    }
    for (int i = 0; i < parts.size(); ++i)
        AddOutlineItem(QStringView(text).mid(parts[i].first, parts[i].second), OutlineItem::PythonImport, from + offsets[i], Depth());
    return true;
}

void PythonParser::TryFromImport()
{
    if (!HasWordAt(pos, "from"))
        return;
    const int moduleStart = SkipBlanks(pos + 4, true);
    if (moduleStart < 0)
        return;
    const int moduleEnd = SkipName(moduleStart, true);
    if (moduleEnd == moduleStart)
        return;
    int at = SkipBlanks(moduleEnd, true);
    if (at < 0 || !HasWordAt(at, "import"))
        return;
    const int from = SkipBlanks(at + 6, true);
    if (from < 0)
        return;
    int newline = -1;
    const int cut = ImportLineCut(from, &newline);
    const QString module = text.mid(moduleStart, moduleEnd - moduleStart);

    struct Entry {
        QString name;
        int offset;
    };
    QVector<Entry> entries;
    int partFrom = from;
    while (partFrom <= cut) {
        int partEnd = partFrom;
        while (partEnd < cut && text.at(partEnd) != QLatin1Char(','))
            ++partEnd;
        int start = partFrom;
        int end = partEnd;
        while (start < end && text.at(start).isSpace())
            ++start;
        while (end > start && text.at(end - 1).isSpace())
            --end;
        partFrom = partEnd + 1;
        if (start == end)
            continue;
        const QString part = text.mid(start, end - start);
        // Blanks may separate "name as alias"; brackets and "*" make the line show nothing.
        for (const QChar ch : part) {
            if (!isDottedNameChar(ch) && ch != QLatin1Char(' '))
                return;
        }
        const QStringList words = part.split(QLatin1Char(' '));
        if (words.size() == 3 && words.at(1) == QLatin1String("as")) {
            entries.append({QStringLiteral("%1 = %2").arg(words.at(2), words.at(0)),
                            end - int(words.at(2).size())});
        } else {
            entries.append({part, start});
        }
    }
    for (const Entry &entry : qAsConst(entries)) {
        AddOutlineItem(QStringLiteral("%1 (%2)").arg(entry.name, module), OutlineItem::PythonFromImport,
                       entry.offset, Depth());
    }
}

void PythonParser::SkipComment()
{
    const int newline = NextNewline(pos);
    if (ContainsTodoWord(pos, newline < 0 ? text.size() : newline))
        AddTodo(QStringLiteral("TODO:"), pos, newline);
    if (newline < 0) {
        pos = text.size() - 1;
        return;
    }
    pos = newline;
    NewLine(false);
}

void PythonParser::SkipAnyString(QChar quote)
{
    if (pos + 2 < text.size() && text.at(pos + 1) == quote && text.at(pos + 2) == quote)
        SkipTripleQuotedString(quote);
    else
        SkipString(quote);
}

void PythonParser::SkipTripleQuotedString(QChar quote)
{
    const int length = text.size();
    const QChar *data = text.constData();
    int from = pos + 3;
    for (;;) {
        int close = from;
        while (close + 2 < length
               && (data[close] != quote || data[close + 1] != quote || data[close + 2] != quote))
            ++close;
        if (close + 2 >= length) {
            // Unterminated: not reported, but a TODO in it still counts.
            if (ContainsTodoWord(pos, length))
                AddTodo(QStringLiteral("TODO:"), pos, -1);
            pos = length - 1;
            return;
        }
        // An odd run of backslashes escapes the first quote; an even one is escaped backslashes.
        int backslashes = 0;
        while (close - backslashes - 1 >= from && data[close - backslashes - 1] == QLatin1Char('\\'))
            ++backslashes;
        if (backslashes % 2 == 1) {
            pos = close + 1;
            from = pos;
            continue;
        }
        if (ContainsTodoWord(pos, close))
            AddTodo(QStringLiteral("TODO:"), pos, close);
        pos = close + 2;
        return;
    }
}

} // namespace ke2
