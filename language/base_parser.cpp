#include "language/base_parser.h"

namespace ke2 {

void BaseParser::Reset()
{
    outlineItems.clear();
    errors.clear();
    warnings.clear();
    todos.clear();
    parenDepth = 0;
    braceDepth = 0;
    bracketDepth = 0;
    bracketErrorReported = false;
    m_itemStore.clear();
    m_diagnosticStore.clear();
    m_newlineAt = -2;
    m_nonSpaceAt = -2;
}

void BaseParser::Parse(const QString &source, const QString &path)
{
    Reset();
    // The editor's document separates paragraphs with U+2029; offsets must match its plain text.
    // One copy into the buffer of the previous parse, which is reused when it is large enough.
    const QString input = source; // shared, not copied; keeps Parse(Text()) safe
    const int size = input.size();
    if (text.capacity() > 2 * (size + 1))
        text = QString(); // do not keep the memory of a much larger earlier buffer
    text.resize(size + 1);
    QChar *out = text.data();
    const QChar *in = input.constData();
    for (int i = 0; i < size; ++i)
        out[i] = in[i] == QChar(0x2029) ? QLatin1Char('\n') : in[i];
    out[size] = QLatin1Char('\n');
    pos = 0;
    filePath = path;
}

void BaseParser::AddError(const QString &message, int start, int end)
{
    errors.append(m_diagnosticStore.make(message, start, end));
}

void BaseParser::AddWarning(const QString &message, int start, int end)
{
    warnings.append(m_diagnosticStore.make(message, start, end));
}

void BaseParser::AddTodo(const QString &message, int start, int end)
{
    todos.append(m_diagnosticStore.make(message, start, end));
}

void BaseParser::AddOutlineItem(const QString &name, int kind, int position, int depth)
{
    outlineItems.append(m_itemStore.make(name, kind, position, depth));
}

QString BaseParser::LineAt(int from) const
{
    if (from < 0 || from >= text.size())
        return QString();
    const int newline = text.indexOf(QLatin1Char('\n'), from);
    return text.mid(from, newline < 0 ? -1 : newline - from);
}

void BaseParser::ReportExpected(QChar ch, int start, int end)
{
    if (bracketErrorReported)
        return;
    AddError(QStringLiteral("Expected a '%1'").arg(ch), start, end);
    bracketErrorReported = true;
}

void BaseParser::ReportUnexpected(QChar ch, int start, int end)
{
    if (bracketErrorReported)
        return;
    AddError(QStringLiteral("Unexpected '%1'").arg(ch), start, end);
    bracketErrorReported = true;
}

int BaseParser::NextNewline(int from)
{
    if (from < 0)
        from = 0;
    // A cached answer stays right for any start between where it was searched and where it was
    // found, which is what repeated look-ups along one line ask.
    if (m_newlineAt != -2 && from >= m_newlineFrom && (m_newlineAt < 0 || from <= m_newlineAt))
        return m_newlineAt;
    m_newlineFrom = from;
    m_newlineAt = from < text.size() ? text.indexOf(QLatin1Char('\n'), from) : -1;
    return m_newlineAt;
}

int BaseParser::NextNonSpace(int from)
{
    if (from < 0)
        from = 0;
    if (m_nonSpaceAt != -2 && from >= m_nonSpaceFrom && (m_nonSpaceAt < 0 || from <= m_nonSpaceAt))
        return m_nonSpaceAt;
    const QChar *data = text.constData();
    const int length = text.size();
    int at = from;
    while (at < length && data[at].isSpace())
        ++at;
    m_nonSpaceFrom = from;
    m_nonSpaceAt = at < length ? at : -1;
    return m_nonSpaceAt;
}

bool BaseParser::ContainsTodoWord(int from, int to) const
{
    if (from < 0)
        from = 0;
    if (to > text.size())
        to = text.size();
    const QChar *data = text.constData();
    for (int at = from; at + 4 <= to; ++at) {
        if (data[at] != QLatin1Char('T') || data[at + 1] != QLatin1Char('O')
            || data[at + 2] != QLatin1Char('D') || data[at + 3] != QLatin1Char('O'))
            continue;
        const bool startsWord = at == from || !IsWordChar(data[at - 1]);
        const bool endsWord = at + 4 == to || !IsWordChar(data[at + 4]);
        if (startsWord && endsWord)
            return true;
    }
    return false;
}

void BaseParser::SkipString(QChar quote)
{
    // One forward pass. Searching the next quote and the next newline anew after every escape
    // would read a long line again for each string on it; the outcome is the same.
    const int open = pos;
    const int length = text.size();
    const QChar *data = text.constData();
    int backslashes = 0;
    for (int at = open + 1; at < length; ++at) {
        const QChar ch = data[at];
        if (ch == quote) {
            if (backslashes % 2 == 0) {
                pos = at;
                return;
            }
            backslashes = 0;
        } else if (ch == QLatin1Char('\n')) {
            if (at == length - 1) {
                AddError(QStringLiteral("Unterminated String"), open, length - 1);
                pos = length - 1;
                return;
            }
            if (backslashes % 2 == 0) {
                AddError(QStringLiteral("Unterminated String"), open, at);
                pos = at;
                return;
            }
            backslashes = 0; // an escaped line end continues the string
        } else {
            backslashes = ch == QLatin1Char('\\') ? backslashes + 1 : 0;
        }
    }
    pos = length - 1;
}

} // namespace ke2
