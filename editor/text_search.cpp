#include "editor/text_search.h"

#include "plugin/qt_compat.h"

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
            if (next == QLatin1Char('0')) {
                // As the engine reads it: up to two more octal digits belong to the code.
                int code = 0;
                for (int digits = 0; digits < 2 && i + 1 < pattern.size() && pattern.at(i + 1) >= QLatin1Char('0')
                                     && pattern.at(i + 1) <= QLatin1Char('7');
                     ++digits)
                    code = code * 8 + (pattern.at(++i).unicode() - '0');
                text.append(QChar(code));
            } else if (IsAsciiAlphanumeric(next))
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

// Whether matching the whole text at once with line anchors finds exactly what matching each
// line alone finds: nothing in the pattern can match or look at a line break, and "^" (which
// the engine does not match after a final newline) is absent. Decided on a short list of
// constructs known to stay on one line; anything else is searched line by line.
bool StaysOnOneLine(const QString &pattern, QRegularExpression::PatternOptions options)
{
    const auto allowed = QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption
                         | QRegularExpression::DontCaptureOption | QRegularExpression::InvertedGreedinessOption;
    if (options & ~allowed)
        return false;
    static const QString safeEscapes = QStringLiteral("dwSbBhV");
    bool inClass = false;
    int classStart = 0;
    for (int i = 0; i < pattern.size(); ++i) {
        const QChar c = pattern.at(i);
        if (c.unicode() < 0x20)
            return false;
        if (c == QLatin1Char('\\')) {
            if (++i >= pattern.size())
                return false;
            const QChar next = pattern.at(i);
            if (next.unicode() < 0x20)
                return false; // an escaped line break (a pasted one) is still one
            if (next.unicode() >= 0x80 || !next.isLetterOrNumber())
                continue; // an escaped sign stands for itself
            if (next.isDigit() && next != QLatin1Char('0') && !inClass)
                continue; // a back reference repeats text of this line
            if (!safeEscapes.contains(next) || (inClass && next == QLatin1Char('B')))
                return false;
            continue;
        }
        if (inClass) {
            if (c == QLatin1Char(']') && i > classStart)
                inClass = false;
            else if (c == QLatin1Char('[') && i + 1 < pattern.size() && pattern.at(i + 1) == QLatin1Char(':'))
                return false; // [:space:] and its kin
            continue;
        }
        if (c == QLatin1Char('[')) {
            if (i + 1 < pattern.size() && pattern.at(i + 1) == QLatin1Char('^'))
                return false; // a negated class matches a line break
            inClass = true;
            classStart = i + 1; // a ']' right after '[' is a member
        } else if (c == QLatin1Char('(') && i + 1 < pattern.size()) {
            const QString rest = pattern.mid(i + 1, 4);
            if (rest.startsWith(QLatin1Char('*')))
                return false;
            if (!rest.startsWith(QLatin1Char('?')))
                continue;
            const int bracket = rest.indexOf(QLatin1Char('<'));
            const bool named = (rest.startsWith(QLatin1String("?<")) || rest.startsWith(QLatin1String("?P<")))
                               && bracket + 1 < rest.size() && rest.at(bracket + 1).isLetter();
            if (!rest.startsWith(QLatin1String("?:")) && !named)
                return false; // lookaround, options, comments, conditions
        } else if (c == QLatin1Char('^')) {
            return false;
        }
    }
    return !inClass;
}

// Characters the engine may take as a line end, besides the '\n' that lines are split at; "$"
// must not see them when the whole text is matched at once.
bool HasOtherLineEnds(const QString &text)
{
    for (const QChar c : text) {
        const ushort u = c.unicode();
        if ((u >= 0x0B && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029)
            return true;
    }
    return false;
}

bool Stopped(const QDeadlineTimer &deadline, const std::atomic_bool *cancelled)
{
    return deadline.hasExpired() || (cancelled && cancelled->load(std::memory_order_relaxed));
}

int LineStartOf(const QString &text, int position)
{
    return position > 0 ? text.lastIndexOf(QLatin1Char('\n'), position - 1) + 1 : 0;
}

// The end of the line's content: before its '\n' and a '\r' in front of it.
int LineEndOf(const QString &text, int position)
{
    int end = text.indexOf(QLatin1Char('\n'), position);
    if (end < 0)
        end = text.size();
    if (end > position && text.at(end - 1) == QLatin1Char('\r'))
        --end;
    return end;
}

} // namespace

namespace {

// QRegularExpression::escape writes NUL as "\\0", which a digit typed after it would extend into
// another octal code; "\\000" is complete.
QString EscapedText(const QString &text)
{
    QString escaped = QRegularExpression::escape(text);
    if (!text.contains(QChar(0)))
        return escaped;
    QString out;
    out.reserve(escaped.size() + 8);
    for (int i = 0; i < escaped.size(); ++i) {
        out += escaped.at(i);
        if (escaped.at(i) == QLatin1Char('\\') && i + 1 < escaped.size()) {
            out += escaped.at(++i);
            if (escaped.at(i) == QLatin1Char('0'))
                out += QLatin1String("00");
        }
    }
    return out;
}

} // namespace

QRegularExpression TextSearch::BuildRegularExpression(const QString &text, bool matchCase, bool wholeWord,
                                                      bool regularExpression)
{
    if (text.isEmpty())
        return QRegularExpression();
    QString pattern = regularExpression ? text : EscapedText(text);
    if (wholeWord)
        pattern = QStringLiteral("\\b%1\\b").arg(pattern);
    return QRegularExpression(pattern, matchCase ? QRegularExpression::NoPatternOption
                                                 : QRegularExpression::CaseInsensitiveOption);
}

TextSearch::TextSearch(const QRegularExpression &regex, bool templateReplace)
    : m_regex(regex), m_templateReplace(templateReplace)
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
        // A pasted line break can never match within a line, as on the expression path.
        m_literal = !m_text.isEmpty() && !m_text.contains(QLatin1Char('\n'));
    }
    if (m_literal) {
        m_ascii = std::all_of(m_text.begin(), m_text.end(), [](QChar c) { return c.unicode() < 0x80; });
        if (m_ascii) {
            m_folded.resize(m_text.size());
            for (int i = 0; i < m_text.size(); ++i)
                m_folded[i] = m_matchCase ? m_text.at(i).unicode() : FoldAscii(m_text.at(i).unicode());
        }
        m_matcher = QStringMatcher(m_text, m_matchCase ? Qt::CaseSensitive : Qt::CaseInsensitive);
        return;
    }
    m_wholeWord = false;
    // The engine's own way to refuse an empty match at the start offset, set from the pattern.
    const QString moveOn = QStringLiteral("(*NOTEMPTY_ATSTART)") + pattern;
    m_moveOn = QRegularExpression(moveOn, options);
    m_atOnce = StaysOnOneLine(pattern, options);
    if (m_atOnce) {
        m_lines = QRegularExpression(pattern, options | QRegularExpression::MultilineOption);
        m_linesMoveOn = QRegularExpression(moveOn, options | QRegularExpression::MultilineOption);
    }
}

// The part of a text a search covers, and how the engine may be called on it.
struct TextSearch::Range {
    const QString &text;
    int from;
    int to;
    bool emptyAtTo; // an empty match at `to` counts
    QRegularExpression::MatchOptions options;
};

bool TextSearch::FindAll(const QString &text, int from, int to, QVector<TextMatch> &matches,
                         QDeadlineTimer deadline, const std::atomic_bool *cancelled) const
{
    from = qBound(0, from, text.size());
    to = qBound(from, to, text.size());
    if (m_nothing || (from == to && !text.isEmpty()))
        return true;
    if (m_literal)
        return FindLiteral(text.constData(), text.size(), from, to, matches, deadline, cancelled);

    // A selection that ends where a line starts takes in the line break, not the line after it.
    const bool emptyAtTo = to == text.size() || text.at(to - 1) != QLatin1Char('\n');
    // The engine checks a subject's UTF-16 at every call, the whole of it: once is enough.
    const bool valid = text.isValidUtf16();
    const Range range{text, from, to, emptyAtTo,
                      valid ? QRegularExpression::DontCheckSubjectStringMatchOption : QRegularExpression::NoMatchOption};
    // A CR before a line's "\n" is no part of the line, yet the engine would match it (".") or
    // between it and the "\n" (an empty match): such a text is searched line by line.
    if (m_atOnce && valid && !HasOtherLineEnds(text)) {
        int stoppedAt = from;
        bool stopped = false;
        if (FindAtOnce(range, matches, deadline, cancelled, stoppedAt, stopped))
            return true;
        if (stopped)
            return false;
        // The engine gave up somewhere after `stoppedAt`: the rest line by line, where it can
        // give up on single lines and go on with the others.
        const Range rest{text, stoppedAt, to, emptyAtTo, range.options};
        const bool moveOn = !matches.isEmpty() && matches.last().start + matches.last().length == stoppedAt;
        FindLineByLine(rest, moveOn, matches, deadline, cancelled);
        return false;
    }
    return FindLineByLine(range, false, matches, deadline, cancelled);
}

bool TextSearch::FindAtOnce(const Range &range, QVector<TextMatch> &matches, const QDeadlineTimer &deadline,
                            const std::atomic_bool *cancelled, int &stoppedAt, bool &stopped) const
{
    int offset = range.from;
    bool moveOn = false;
    for (int n = 1; offset <= range.to; ++n) {
        const QRegularExpressionMatch match =
            (moveOn ? m_linesMoveOn : m_lines).match(range.text, offset, QRegularExpression::NormalMatch, range.options);
        if (!match.hasMatch()) {
            stoppedAt = offset;
            return match.isValid();
        }
        const int start = match.capturedStart();
        const int end = match.capturedEnd();
        if (end > range.to || (start == end && start == range.to && !range.emptyAtTo))
            return true;
        matches.append({start, end - start});
        offset = end;
        moveOn = true;
        if (n % 256 == 0 && Stopped(deadline, cancelled)) {
            stopped = offset <= range.to;
            stoppedAt = offset;
            return !stopped;
        }
    }
    return true;
}

bool TextSearch::FindLineByLine(const Range &range, bool moveOn, QVector<TextMatch> &matches,
                                const QDeadlineTimer &deadline, const std::atomic_bool *cancelled) const
{
    const QString &text = range.text;
    bool gaveUp = false;
    int lineStart = LineStartOf(text, range.from);
    while (true) {
        FindInLine(range, lineStart, LineEndOf(text, lineStart), moveOn, matches, gaveUp);
        moveOn = false;
        const int newline = text.indexOf(QLatin1Char('\n'), lineStart);
        if (newline < 0 || newline + 1 > range.to)
            return !gaveUp;
        lineStart = newline + 1;
        if (Stopped(deadline, cancelled))
            return false;
    }
}

void TextSearch::FindInLine(const Range &range, int lineStart, int lineEnd, bool moveOn, QVector<TextMatch> &matches,
                            bool &gaveUp) const
{
    const QString line = QString::fromRawData(range.text.constData() + lineStart, lineEnd - lineStart);
    const int limit = range.to - lineStart; // matches end by here
    int offset = qMax(range.from, lineStart) - lineStart;
    while (offset <= line.size()) {
        const QRegularExpressionMatch match =
            (moveOn ? m_moveOn : m_regex).match(line, offset, QRegularExpression::NormalMatch, range.options);
        if (!match.hasMatch()) {
            gaveUp = gaveUp || !match.isValid();
            return;
        }
        const int start = match.capturedStart();
        const int end = match.capturedEnd();
        if (end > limit || (start == end && start == limit && !range.emptyAtTo))
            return;
        matches.append({lineStart + start, end - start});
        offset = end;
        moveOn = true;
    }
}

bool TextSearch::FindLiteral(const QChar *data, int size, int from, int to, QVector<TextMatch> &matches,
                             const QDeadlineTimer &deadline, const std::atomic_bool *cancelled) const
{
    const int length = m_text.size();
    int at = from;
    int checked = 0;
    while (true) {
        at = m_ascii ? IndexOfAscii(data, to, at) : m_matcher.indexIn(data, to, at);
        if (at < 0)
            return true;
        // Word boundaries see the text around the range, as the expression engine would.
        if (!m_wholeWord || AtWordBoundaries(data, size, at, length)) {
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

QString TextSearch::ExpandTemplate(const QString &replaceText, int groupCount, const std::function<QString(int)> &group)
{
    QString result;
    result.reserve(replaceText.size());
    for (int i = 0; i < replaceText.size(); ++i) {
        const QChar c = replaceText.at(i);
        const QChar next = i + 1 < replaceText.size() ? replaceText.at(i + 1) : QChar();
        const int digit = next.unicode() >= '0' && next.unicode() <= '9' ? next.unicode() - '0' : -1;
        if (c == QLatin1Char('\\') && next == QLatin1Char('\\')) {
            result += QLatin1Char('\\');
        } else if (c == QLatin1Char('\\') && next == QLatin1Char('n')) {
            result += QLatin1Char('\n');
        } else if (c == QLatin1Char('\\') && next == QLatin1Char('t')) {
            result += QLatin1Char('\t');
        } else if (c == QLatin1Char('\\') && digit >= 0 && digit <= groupCount) {
            result += group(digit);
        } else if (c == QLatin1Char('$') && digit == 0) {
            result += group(0);
        } else {
            result += c;
            continue;
        }
        ++i; // the two characters were one reference
    }
    return result;
}

QString TextSearch::Replacement(const QString &text, const TextMatch &match, const QString &replaceText) const
{
    if (!m_templateReplace)
        return replaceText;
    const QString whole = text.mid(match.start, match.length);
    if (m_literal)
        return ExpandTemplate(replaceText, 0, [&whole](int) { return whole; });
    // The groups as the search saw them: the match again, on its line, at its place.
    const int lineStart = LineStartOf(text, match.start);
    const QString line = QString::fromRawData(text.constData() + lineStart, LineEndOf(text, lineStart) - lineStart);
    const int offset = match.start - lineStart;
    auto same = [&](const QRegularExpressionMatch &found) {
        return found.hasMatch() && found.capturedStart() == offset && found.capturedLength() == match.length;
    };
    QRegularExpressionMatch found =
        m_regex.match(line, offset, QRegularExpression::NormalMatch, qtcompat::kAnchorAtOffset);
    if (!same(found))
        found = m_moveOn.match(line, offset, QRegularExpression::NormalMatch, qtcompat::kAnchorAtOffset);
    if (!same(found))
        return ExpandTemplate(replaceText, 0, [&whole](int) { return whole; });
    return ExpandTemplate(replaceText, m_regex.captureCount(), [&found](int n) { return found.captured(n); });
}

QString TextSearch::ReplacedText(const QString &text, const QVector<TextMatch> &matches,
                                 const QString &replaceText) const
{
    QString result;
    result.reserve(text.size());
    int at = 0;
    for (const TextMatch &match : matches) {
        result.append(text.constData() + at, match.start - at);
        result += Replacement(text, match, replaceText);
        at = match.start + match.length;
    }
    result.append(text.constData() + at, text.size() - at);
    return result;
}

ReplaceAllOutcome ReplaceAllIn(const QString &text, const QRegularExpression &regex, const QString &replaceText,
                               bool templateReplace)
{
    const TextSearch search(regex, templateReplace);
    ReplaceAllOutcome outcome;
    outcome.complete = search.FindAll(text, outcome.matches);
    outcome.text = search.ReplacedText(text, outcome.matches, replaceText);
    return outcome;
}

} // namespace ke2
