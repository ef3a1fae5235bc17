#pragma once

#include <QtCore/QDeadlineTimer>
#include <QtCore/QRegularExpression>
#include <QtCore/QString>
#include <QtCore/QStringMatcher>
#include <QtCore/QVector>

#include <atomic>
#include <functional>
#include <vector>

namespace ke2 {

struct TextMatch {
    int start = 0;
    int length = 0;
    bool operator==(const TextMatch &other) const { return start == other.start && length == other.length; }
};

// One search as the find bar and find in files both run it: a regular expression matched against
// each line on its own, so anchors, word boundaries and lookarounds see exactly one line and a
// match never spans a line break, as in the editor. The cost is linear in the text: a pattern
// that cannot see a line break is run over the text in one pass, any other line by line. A
// pattern that is plain text (escaped, perhaps wrapped in word boundaries) is searched as a
// string, which is many times faster than the expression engine.
//
// Empty matches count: each is a position ("^" finds every line start). As in Perl, a match is
// never empty where the previous one ended, so a search always moves on.
//
// A search is complete or says it is not: it stops at its deadline or when `cancelled` is set,
// and notes a line the expression engine gave up on (a pattern that backtracks without end).
class TextSearch {
public:
    // The find text made into an expression: escaped unless it is a pattern, wrapped as "\b%1\b"
    // for whole words, case-insensitive unless case matters. Empty text gives an empty
    // expression, which finds nothing.
    static QRegularExpression BuildRegularExpression(const QString &text, bool matchCase, bool wholeWord,
                                                     bool regularExpression);

    // `templateReplace`: the replace text is a template ("\1" a group, "\n" a newline...), as
    // when the user searches with a regular expression; otherwise it is inserted as it is.
    explicit TextSearch(const QRegularExpression &regex = QRegularExpression(), bool templateReplace = false);

    // An empty or invalid expression finds nothing.
    bool FindsNothing() const { return m_nothing; }
    bool IsLiteral() const { return m_literal; }
    // For a literal search: the text, whether case matters, whether it must be a whole word.
    const QString &Literal() const { return m_text; }
    bool MatchCase() const { return m_matchCase; }
    bool WholeWord() const { return m_wholeWord; }
    const QRegularExpression &Regex() const { return m_regex; }
    bool TemplateReplace() const { return m_templateReplace; }
    // Whether the pattern is run over the whole text at once (it cannot see a line break).
    bool SearchesAtOnce() const { return m_atOnce; }

    // Appends the matches that lie in text[from, to), in order; positions are offsets into
    // `text`. The lines around the range are seen whole (a selection's first line keeps its
    // start for "^" and "\b"). An empty match at `to` counts unless `to` starts a line. False
    // when the search was cut short (deadline, `cancelled`, or the engine gave up on a line);
    // the matches found are kept.
    bool FindAll(const QString &text, int from, int to, QVector<TextMatch> &matches,
                 QDeadlineTimer deadline = QDeadlineTimer(QDeadlineTimer::Forever),
                 const std::atomic_bool *cancelled = nullptr) const;
    bool FindAll(const QString &text, QVector<TextMatch> &matches,
                 QDeadlineTimer deadline = QDeadlineTimer(QDeadlineTimer::Forever)) const
    {
        return FindAll(text, 0, text.size(), matches, deadline);
    }

    // The text that replaces `match` (found by FindAll in `text`). As a template: "\\" is a
    // backslash, "\0" to "\9" the whole match and its groups, "$0" the whole match, "\n" and
    // "\t" a newline and a tab; anything else stands for itself.
    QString Replacement(const QString &text, const TextMatch &match, const QString &replaceText) const;
    // `text` with every one of `matches` replaced.
    QString ReplacedText(const QString &text, const QVector<TextMatch> &matches, const QString &replaceText) const;
    // Expands a template for one match; `group(n)` gives group n (0 the whole match). A reference
    // past `groupCount` stays as typed.
    static QString ExpandTemplate(const QString &replaceText, int groupCount, const std::function<QString(int)> &group);

    // [A-Za-z0-9_], the characters the expression engine's "\b" sees as a word.
    static bool IsWordCharacter(QChar c)
    {
        const ushort u = c.unicode();
        return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_';
    }

private:
    // The matches of one line, data[lineStart, lineEnd), that start at `from` or later and end
    // by `to`.
    struct Range;
    void FindInLine(const Range &range, int lineStart, int lineEnd, bool moveOn, QVector<TextMatch> &matches,
                    bool &gaveUp) const;
    // False when the engine gave up; `stoppedAt` is then where the failed call started.
    bool FindAtOnce(const Range &range, QVector<TextMatch> &matches, const QDeadlineTimer &deadline,
                    const std::atomic_bool *cancelled, int &stoppedAt, bool &stopped) const;
    bool FindLineByLine(const Range &range, bool moveOn, QVector<TextMatch> &matches,
                        const QDeadlineTimer &deadline, const std::atomic_bool *cancelled) const;
    bool FindLiteral(const QChar *data, int size, int from, int to, QVector<TextMatch> &matches,
                     const QDeadlineTimer &deadline, const std::atomic_bool *cancelled) const;
    int IndexOfAscii(const QChar *data, int to, int from) const;
    static ushort FoldAscii(ushort c) { return c >= 'A' && c <= 'Z' ? ushort(c + 32) : c; }
    bool AtWordBoundaries(const QChar *data, int size, int start, int length) const;

    QRegularExpression m_regex;
    // The same pattern refusing an empty match at the offset it starts from: the search after a
    // match.
    QRegularExpression m_moveOn;
    // Both with line anchors, for the search over the whole text at once.
    QRegularExpression m_lines;
    QRegularExpression m_linesMoveOn;
    bool m_nothing = true;
    bool m_literal = false;
    bool m_atOnce = false;
    bool m_templateReplace = false;
    bool m_matchCase = true;
    bool m_wholeWord = false;
    QString m_text;
    QStringMatcher m_matcher;
    // An ASCII literal, case folded unless case matters, for the plain scan.
    bool m_ascii = false;
    std::vector<ushort> m_folded;
};

// Every match of `regex` in `text` and the text after replacing them all, as the find bar's
// Replace All does: the whole of a search and replace in one call.
struct ReplaceAllOutcome {
    QVector<TextMatch> matches;
    QString text;
    bool complete = true;
};
ReplaceAllOutcome ReplaceAllIn(const QString &text, const QRegularExpression &regex, const QString &replaceText,
                               bool templateReplace);

} // namespace ke2
