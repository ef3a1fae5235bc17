#pragma once

#include <QtCore/QDeadlineTimer>
#include <QtCore/QRegularExpression>
#include <QtCore/QString>
#include <QtCore/QStringMatcher>
#include <QtCore/QVector>

#include <atomic>
#include <vector>

namespace ke2 {

struct TextMatch {
    int start = 0;
    int length = 0;
    bool operator==(const TextMatch &other) const { return start == other.start && length == other.length; }
};

// One search as the find bar and find in files both run it: a regular expression searched line
// by line (a match never spans a line break, as in the editor). A pattern that is plain text
// (escaped, perhaps wrapped in word boundaries) is searched as a string, which is many times
// faster than the expression engine. Zero-length matches are not reported. Every search takes a
// deadline: the expression engine gives up on a runaway pattern by itself after a bounded amount
// of work per call, and the deadline bounds the number of calls, so no pattern can hold the
// caller for long.
class TextSearch {
public:
    // The find text made into an expression: escaped unless it is a pattern, wrapped as "\b%1\b"
    // for whole words, case-insensitive unless case matters. Empty text gives an empty
    // expression, which finds nothing.
    static QRegularExpression BuildRegularExpression(const QString &text, bool matchCase, bool wholeWord,
                                                     bool regularExpression);

    explicit TextSearch(const QRegularExpression &regex = QRegularExpression());

    // An empty or invalid expression finds nothing.
    bool FindsNothing() const { return m_nothing; }
    bool IsLiteral() const { return m_literal; }
    // For a literal search: the text, whether case matters, whether it must be a whole word.
    const QString &Literal() const { return m_text; }
    bool MatchCase() const { return m_matchCase; }
    bool WholeWord() const { return m_wholeWord; }
    const QRegularExpression &Regex() const { return m_regex; }

    // Appends the matches in text[from, to), line by line; positions are offsets into `text`.
    // False when the deadline expired, or `cancelled` was set, first (the matches found so far
    // are kept).
    bool FindAll(const QString &text, int from, int to, QVector<TextMatch> &matches,
                 QDeadlineTimer deadline = QDeadlineTimer(QDeadlineTimer::Forever),
                 const std::atomic_bool *cancelled = nullptr) const;
    bool FindAll(const QString &text, QVector<TextMatch> &matches,
                 QDeadlineTimer deadline = QDeadlineTimer(QDeadlineTimer::Forever)) const
    {
        return FindAll(text, 0, text.size(), matches, deadline);
    }

    // The text that replaces `match` (found by FindAll in `text`): with capture groups in the
    // expression, "\1" to "\9" stand for the groups; otherwise `replaceText` as it is.
    QString Replacement(const QString &text, const TextMatch &match, const QString &replaceText) const;

    // [A-Za-z0-9_], the characters the expression engine's "\b" sees as a word.
    static bool IsWordCharacter(QChar c)
    {
        const ushort u = c.unicode();
        return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_';
    }

private:
    // One line, data[0, size), positions offset by `base`.
    bool FindInLine(const QChar *data, int size, int base, QVector<TextMatch> &matches,
                    const QDeadlineTimer &deadline, const std::atomic_bool *cancelled) const;
    bool FindLiteral(const QChar *data, int from, int to, QVector<TextMatch> &matches,
                     const QDeadlineTimer &deadline, const std::atomic_bool *cancelled) const;
    int IndexOfAscii(const QChar *data, int to, int from) const;
    static ushort FoldAscii(ushort c) { return c >= 'A' && c <= 'Z' ? ushort(c + 32) : c; }
    bool AtWordBoundaries(const QChar *data, int size, int start, int length) const;

    QRegularExpression m_regex;
    // The same pattern over many lines at once, to skip lines without a match; invalid when the
    // pattern cannot be searched that way.
    QRegularExpression m_jump{QString(), QRegularExpression::NoPatternOption};
    bool m_nothing = true;
    bool m_literal = false;
    bool m_matchCase = true;
    bool m_wholeWord = false;
    QString m_text;
    QStringMatcher m_matcher;
    // An ASCII literal, case folded unless case matters, for the plain scan.
    bool m_ascii = false;
    std::vector<ushort> m_folded;
};

} // namespace ke2
