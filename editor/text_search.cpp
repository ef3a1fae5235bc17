#include "editor/text_search.h"

#include <algorithm>

namespace ke2 {

namespace {

// PCRE's metacharacters outside a class: a pattern with one of them unescaped is no plain text.
bool IsMetaCharacter(QChar c)
{
    return QStringLiteral(".^$|?*+()[]{}").contains(c);
}

bool IsAsciiAlphanumeric(QChar c)
{
    return TextSearch::IsWordCharacter(c) && c != QLatin1Char('_');
}

// The plain text that `pattern` stands for, or a null string when it is not plain text. Undoes
// QRegularExpression::escape: a backslash before any other character than a letter or digit
// is that character, "\0" is NUL.
QString UnescapedLiteral(const QString &pattern)
{
    QString text;
    text.reserve(pattern.size());
    for (int i = 0; i < pattern.size(); ++i) {
        const QChar c = pattern.at(i);
        if (c == QLatin1Char('\\')) {
            if (++i >= pattern.size())
                return QString();
            const QChar next = pattern.at(i);
            if (next == QLatin1Char('0'))
                text.append(QChar(0));
            else if (IsAsciiAlphanumeric(next))
                return QString();
            else
                text.append(next);
        } else if (IsMetaCharacter(c)) {
            return QString();
        } else {
            text.append(c);
        }
    }
    return text;
}

// Where a search over the whole range may jump to the next line worth matching: patterns that
// see the subject's ends or look around could match a single line where they fail in the
// whole text, so they are matched line by line throughout.
bool CanJumpAhead(const QString &pattern)
{
    static const QRegularExpression unsafe(QStringLiteral(R"(\\[AzZG]|\(\?)"));
    return !unsafe.match(pattern).hasMatch();
}

} // namespace

QRegularExpression TextSearch::BuildRegularExpression(const QString &text, bool matchCase, bool wholeWord,
                                                      bool regularExpression)
{
    if (text.isEmpty())
        return QRegularExpression();
    QString pattern = regularExpression ? text : QRegularExpression::escape(text);
    if (wholeWord)
        pattern = QStringLiteral("\\b%1\\b").arg(pattern);
    return QRegularExpression(pattern, matchCase ? QRegularExpression::NoPatternOption
                                                 : QRegularExpression::CaseInsensitiveOption);
}

TextSearch::TextSearch(const QRegularExpression &regex) : m_regex(regex)
{
    QString pattern = regex.pattern();
    m_nothing = pattern.isEmpty() || !regex.isValid();
    if (m_nothing)
        return;
    const auto options = regex.patternOptions();
    m_matchCase = !(options & QRegularExpression::CaseInsensitiveOption);
    if ((options & ~QRegularExpression::CaseInsensitiveOption) == QRegularExpression::NoPatternOption) {
        const QLatin1String boundary("\\b");
        m_wholeWord = pattern.size() > 4 && pattern.startsWith(boundary) && pattern.endsWith(boundary)
                      && !pattern.endsWith(QLatin1String("\\\\b"));
        const QString body = m_wholeWord ? pattern.mid(2, pattern.size() - 4) : pattern;
        m_text = UnescapedLiteral(body);
        m_literal = !m_text.isEmpty();
    }
    if (m_literal) {
        m_ascii = std::all_of(m_text.begin(), m_text.end(), [](QChar c) { return c.unicode() < 0x80; });
        if (m_ascii) {
            m_folded.resize(m_text.size());
            for (int i = 0; i < m_text.size(); ++i)
                m_folded[i] = m_matchCase ? m_text.at(i).unicode() : FoldAscii(m_text.at(i).unicode());
        }
        m_matcher = QStringMatcher(m_text, m_matchCase ? Qt::CaseSensitive : Qt::CaseInsensitive);
    } else {
        m_wholeWord = false;
        if (CanJumpAhead(pattern))
            m_jump = QRegularExpression(pattern, options | QRegularExpression::MultilineOption);
    }
}

namespace {

bool Stopped(const QDeadlineTimer &deadline, const std::atomic_bool *cancelled)
{
    return deadline.hasExpired() || (cancelled && cancelled->load(std::memory_order_relaxed));
}

} // namespace

bool TextSearch::FindAll(const QString &text, int from, int to, QVector<TextMatch> &matches,
                         QDeadlineTimer deadline, const std::atomic_bool *cancelled) const
{
    from = qBound(0, from, text.size());
    to = qBound(from, to, text.size());
    if (m_nothing || from == to)
        return true;
    const QChar *data = text.constData();
    if (m_literal)
        return FindLiteral(data, from, to, matches, deadline, cancelled);

    const QString range = QString::fromRawData(data + from, to - from);
    int line = 0; // in `range`
    while (line < range.size()) {
        if (m_jump.isValid() && !m_jump.pattern().isEmpty()) {
            // One call finds the next line with a candidate; the lines before it cannot match.
            const QRegularExpressionMatch candidate = m_jump.match(range, line);
            if (!candidate.hasMatch())
                return true;
            const int at = candidate.capturedStart();
            const int lineStart = at > 0 ? range.lastIndexOf(QLatin1Char('\n'), at - 1) + 1 : 0;
            line = qMax(line, lineStart);
        }
        int end = range.indexOf(QLatin1Char('\n'), line);
        if (end < 0)
            end = range.size();
        int content = end;
        if (content > line && range.at(content - 1) == QLatin1Char('\r'))
            --content;
        if (!FindInLine(range.constData() + line, content - line, from + line, matches, deadline, cancelled))
            return false;
        if (Stopped(deadline, cancelled))
            return end >= range.size();
        line = end + 1;
    }
    return true;
}

bool TextSearch::FindInLine(const QChar *data, int size, int base, QVector<TextMatch> &matches,
                            const QDeadlineTimer &deadline, const std::atomic_bool *cancelled) const
{
    const QString subject = QString::fromRawData(data, size);
    int offset = 0;
    while (offset <= size) {
        const QRegularExpressionMatch match = m_regex.match(subject, offset);
        if (!match.hasMatch())
            return true;
        const int start = match.capturedStart();
        const int length = match.capturedLength();
        if (length > 0)
            matches.append({base + start, length});
        offset = start + qMax(length, 1);
        if (Stopped(deadline, cancelled))
            return offset > size;
    }
    return true;
}

bool TextSearch::FindLiteral(const QChar *data, int from, int to, QVector<TextMatch> &matches,
                             const QDeadlineTimer &deadline, const std::atomic_bool *cancelled) const
{
    const int length = m_text.size();
    int at = from;
    int checked = 0;
    while (true) {
        at = m_ascii ? IndexOfAscii(data, to, at) : m_matcher.indexIn(data, to, at);
        if (at < 0)
            return true;
        if (!m_wholeWord || AtWordBoundaries(data + from, to - from, at - from, length)) {
            matches.append({at, length});
            at += length;
        } else {
            ++at;
        }
        if (++checked % 1024 == 0 && Stopped(deadline, cancelled))
            return false;
    }
}

int TextSearch::IndexOfAscii(const QChar *data, int to, int from) const
{
    // Short words are the common case while typing, and the general matcher is slowest there:
    // a plain scan for the first character, folding case on the fly, does better.
    const int length = int(m_folded.size());
    const ushort *text = reinterpret_cast<const ushort *>(data);
    const ushort *pattern = m_folded.data();
    const ushort first = pattern[0];
    const int last = to - length;
    for (int i = from; i <= last; ++i) {
        const ushort c = m_matchCase ? text[i] : FoldAscii(text[i]);
        if (c != first)
            continue;
        int k = 1;
        while (k < length && (m_matchCase ? text[i + k] : FoldAscii(text[i + k])) == pattern[k])
            ++k;
        if (k == length)
            return i;
    }
    return -1;
}

bool TextSearch::AtWordBoundaries(const QChar *data, int size, int start, int length) const
{
    auto boundary = [data, size](int at) {
        const bool before = at > 0 && IsWordCharacter(data[at - 1]);
        const bool after = at < size && IsWordCharacter(data[at]);
        return before != after;
    };
    return boundary(start) && boundary(start + length);
}

QString TextSearch::Replacement(const QString &text, const TextMatch &match, const QString &replaceText) const
{
    if (m_literal || m_regex.captureCount() <= 0 || !replaceText.contains(QLatin1Char('\\')))
        return replaceText;
    // The groups as the line-by-line search saw them.
    const int lineStart = match.start > 0 ? text.lastIndexOf(QLatin1Char('\n'), match.start - 1) + 1 : 0;
    int lineEnd = text.indexOf(QLatin1Char('\n'), match.start);
    if (lineEnd < 0)
        lineEnd = text.size();
    if (lineEnd > lineStart && text.at(lineEnd - 1) == QLatin1Char('\r'))
        --lineEnd;
    const QString line = QString::fromRawData(text.constData() + lineStart, lineEnd - lineStart);
    const QRegularExpressionMatch found = m_regex.match(line, match.start - lineStart);
    if (!found.hasMatch() || found.capturedStart() != match.start - lineStart)
        return replaceText;
    QString result;
    for (int i = 0; i < replaceText.size(); ++i) {
        const QChar c = replaceText.at(i);
        if (c == QLatin1Char('\\') && i + 1 < replaceText.size()) {
            const int group = replaceText.at(i + 1).digitValue();
            if (group >= 1 && group <= m_regex.captureCount()) {
                result += found.captured(group);
                ++i;
                continue;
            }
        }
        result += c;
    }
    return result;
}

} // namespace ke2
