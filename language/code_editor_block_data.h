#pragma once

#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtGui/QTextBlock>
#include <QtGui/QTextBlockUserData>

namespace ke2 {

// What the highlighter learnt about one line, kept on its text block for the editor: brackets
// outside strings and comments, the ranges of strings and comments, the indentation and a hint
// for the indentation of the next line. All columns are character offsets within the line.
//
// The highlighter fills it on every re-highlight of the line (clear(), then the add/set calls),
// so it always describes the line's current text.
class CodeEditorBlockData : public QTextBlockUserData {
public:
    enum BracketKind { Parentheses = 0, Braces = 1, SquareBrackets = 2 };

    struct BracketEntry {
        int column = 0;
        int step = 0; // +1 opening, -1 closing
        bool operator==(const BracketEntry &other) const { return column == other.column && step == other.step; }
    };
    // Inclusive at both ends.
    struct Range {
        int start = 0;
        int end = 0;
        bool contains(int column) const { return column >= start && column <= end; }
        bool operator==(const Range &other) const { return start == other.start && end == other.end; }
    };
    // A bracket found by the cross-line queries; `block` is invalid when none was found.
    struct BracketPosition {
        QChar character;
        int column = -1;
        QTextBlock block;
        bool isValid() const { return block.isValid(); }
    };
    // A closing bracket and where its opening partner is.
    struct ClosedBracket {
        QChar character;
        int column = -1;
        BracketPosition partner;
        bool isValid() const { return partner.isValid(); }
    };

    // The data of `block`; null when the highlighter has not run on it.
    static CodeEditorBlockData *of(const QTextBlock &block);

    void clear();

    // --- Filled by the highlighter ---
    // Ignores any character that is not one of "(){}[]".
    void addBracket(QChar character, int column);
    // Every non-code region (strings and comments alike) is a string range: the editor's quote
    // and bracket rules must not act inside any of them.
    void addStringRange(int start, int end) { m_stringRanges.append({start, end}); }
    void addLineCommentRange(int start, int end) { m_lineCommentRanges.append({start, end}); }
    void addBlockCommentRange(int start, int end) { m_blockCommentRanges.append({start, end}); }
    void setLeadingWhitespace(const QString &whitespace) { m_leadingWhitespace = whitespace; }
    // The state of the previous line when this one was highlighted: a line whose previous line now
    // ends in another state must be highlighted again.
    void setStartState(int state) { m_startState = state; }
    int startState() const { return m_startState; }
    void setBlank(bool blank) { m_blank = blank; }
    void setCodeText(const QString &code) { m_codeText = code; }
    void setIndentHint(int hint) { m_indentHint = hint; }

    // --- Queries ---
    static int bracketKind(QChar character); // -1 for anything else
    static bool isOpeningBracket(QChar character);
    static QChar openingOf(BracketKind kind);
    static QChar closingOf(BracketKind kind);
    // The entries of the kind that `character` (either of its two brackets) belongs to, in column
    // order; empty for a character that is no bracket.
    const QVector<BracketEntry> &brackets(QChar character) const;
    const QVector<BracketEntry> &brackets(BracketKind kind) const { return m_brackets[kind]; }
    // The entry at `column`, if a bracket was recorded there.
    bool bracketAt(int column, QChar *character = nullptr) const;
    // Sum of the steps of the kind's entries before `column`.
    int bracketBalance(QChar character, int column) const;

    bool isInString(int column) const { return contains(m_stringRanges, column); }
    bool isInLineComment(int column) const { return contains(m_lineCommentRanges, column); }
    bool isInBlockComment(int column) const { return contains(m_blockCommentRanges, column); }
    const QVector<Range> &stringRanges() const { return m_stringRanges; }
    const QVector<Range> &lineCommentRanges() const { return m_lineCommentRanges; }
    const QVector<Range> &blockCommentRanges() const { return m_blockCommentRanges; }

    const QString &leadingWhitespace() const { return m_leadingWhitespace; }
    bool isBlank() const { return m_blank; }
    // The line with its strings and comments removed.
    const QString &codeText() const { return m_codeText; }
    // Indentation levels the line asks of the next one (0 or more).
    int indentHint() const { return m_indentHint; }

    // The nearest opening bracket before `column` on this line that no later bracket of its kind
    // before `column` closes.
    bool unclosedOpeningBefore(int column, QChar *character, int *openingColumn) const;

    // --- Queries across lines (through the blocks' data) ---
    // The partner of the bracket at `column` of `block`: searched forwards from an opening and
    // backwards from a closing bracket, counting nesting of the same kind.
    static BracketPosition matchingBracket(const QTextBlock &block, int column);
    // The nearest closing bracket before `column` of `block` whose partner lies on an earlier line.
    static ClosedBracket closedFromEarlierLine(const QTextBlock &block, int column);

private:
    static bool contains(const QVector<Range> &ranges, int column);

    QVector<BracketEntry> m_brackets[3];
    QVector<Range> m_stringRanges;
    QVector<Range> m_lineCommentRanges;
    QVector<Range> m_blockCommentRanges;
    QString m_leadingWhitespace;
    QString m_codeText;
    bool m_blank = true;
    int m_indentHint = 0;
    int m_startState = -1;
};

} // namespace ke2
