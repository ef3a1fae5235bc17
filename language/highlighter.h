#pragma once

#include "language/highlight_rule.h"
#include "language/region_rule.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <QtCore/QVector>
#include <QtGui/QSyntaxHighlighter>
#include <QtGui/QTextCursor>

#include <functional>

namespace ke2 {

class CodeEditorBlockData;

// The syntax highlighter of a code editor's document. Colours each line by rule vectors, word
// passes, multi-line regions (strings, comments) and whitespace, in that order so that a later
// pass wins over an earlier one, and fills the line's CodeEditorBlockData on the way.
//
// The block state carries only the index of the region rule still open at the line end (or -1),
// so an edit re-highlights following lines only until their states agree again.
//
// Highlighting is sliced: one pass (an edit, a rehighlight) spends at most SliceBudgetMs on
// lines once it has done MinLinesPerSlice; the lines it did not reach keep their old colours
// and state and are highlighted in later slices from the event loop, in document order, so the
// window answers keys and repaints in between. An edit made while lines wait moves the waiting
// range with the text.
class Highlighter : public QSyntaxHighlighter {
    Q_OBJECT
public:
    static constexpr int SliceBudgetMs = 10;
    // A pass always gets this many lines, however long they take: a thread held up by a busy
    // machine still highlights the edited lines at once, and short documents are never sliced.
    static constexpr int MinLinesPerSlice = 256;
    // A later slice (no edit waits for it) needs only to make some headway: each line it does is
    // laid out as well, and a key pressed meanwhile waits for the whole slice.
    static constexpr int MinLinesPerLaterSlice = 16;

    explicit Highlighter(QTextDocument *document);
    ~Highlighter() override;

    // Whether some lines wait for a later slice (or, on demand, for the pass over the states).
    bool HighlightPending() const { return !m_pendingStart.isNull() || m_sweepTimer.isActive() || m_statePassHeld; }
    // Highlights every waiting line now (for callers that need every line right at once); on
    // demand, every line of the document.
    void FinishPending();

    // For a document too big to keep colours for every line (a file opened in pieces): from now
    // on a change colours only the lines it touches when they are few, and the editor colours the
    // lines it shows (ColourShown). An idle pass in slices carries the states (open strings and
    // comments) through the other lines without colouring them, so a line shown later starts from
    // the right state; a line coloured from a state that turns out wrong is coloured again.
    void HighlightOnDemand();
    bool OnDemand() const { return m_onDemand; }
    // Colours `block` if it has not been (on demand only).
    void ColourShown(const QTextBlock &block);
    // On demand, while set, changes colour none of their lines however few (a load's slices).
    void SetChangesUncoloured(bool uncoloured) { m_changesUncoloured = uncoloured; }
    // On demand, while set, the pass over the states waits (a load: it would chase the lines
    // going in, in the same turns of the event loop); it goes over them all once released.
    void HoldStatePass(bool held);

    // The global switch: while highlighting is off, lines only get their state and block data
    // reset. Existing documents need a rehighlight() to follow a change.
    static void setHighlightingEnabled(bool enabled);
    static bool highlightingEnabled();

    // A code editor colour role's format, looked up in the colour scheme once and cached.
    static QTextCharFormat roleFormat(const QString &role);
    // Forgets the cached formats after the colour scheme changed; every highlighter rebuilds its
    // rules at its next line (the editor re-highlights its document after colour changes).
    static void reloadFormats();

    const QVector<HighlightRule> &highlightRules() const { return rules; }
    const QVector<HighlightRule> &highlightCallRules() const { return callRules; }
    const QVector<RegionRule> &highlightRegionRules() const { return regionRules; }

protected:
    void highlightBlock(const QString &text) override;

    // A rule's expression, optimised once since it runs on every line.
    static QRegularExpression pattern(const char *text);
    // A host word list as a set for constant-time lookups; the host's empty entries are dropped.
    static QSet<QString> wordSet(const QStringList &list);

    virtual void ApplyCallRules(const QString &text);
    virtual void HighlightWords(const QString &text);
    virtual void HighlightQualifiedWords(const QString &text);
    virtual void ApplyRules(const QString &text);
    virtual void UpdateIndentHint(CodeEditorBlockData *blockData, const QString &code);
    // Fills the rule vectors and any cached formats from the current colour roles.
    virtual void buildRules() {}

    // Every match of each rule, in rule order.
    void applyRuleVector(const QVector<HighlightRule> &ruleVector, const QString &text);

    // --- Word helpers (no regular expression per word: lists hold thousands of names) ---
    // Calls `visit(start, length)` for every maximal run of characters for which `isPart` holds.
    static void forEachRun(const QString &text, bool (*isPart)(QChar), const std::function<void(int, int)> &visit);
    static bool isMelWordChar(QChar c);       // [-$a-zA-Z0-9_]
    static bool isQualifiedWordChar(QChar c); // [.a-zA-Z0-9_]
    static bool isNumberChar(QChar c);        // [0-9.], where a number match can start
    // The characters a "\b" boundary separates from the others.
    static bool isBoundaryWordChar(QChar c);
    // Calls `visit(start)` for every occurrence of "\b" + word + "\b" in `text`, where `words`
    // maps each searched word (a view into `text`) to the caller's tag. One pass over the line
    // whatever the number of words.
    static void forEachOccurrence(const QString &text, const QHash<QString, int> &words,
                                  const std::function<void(int start, int length, int tag)> &visit);

    QVector<HighlightRule> rules;
    QVector<HighlightRule> callRules;
    QVector<RegionRule> regionRules;

signals:
    // Every line that waited for a slice has been highlighted.
    void PendingFinished();

private:
    // Keeps the current line as it was (colours, state, data) and queues it for a later slice.
    void deferCurrentBlock();
    // Highlights waiting lines for one slice; queues the next one while any remain.
    void continuePending(bool unbounded);
    // Highlights `block` again, and the lines after it while their states change, when the line
    // before it now ends in another state than it started from.
    void walkOnFrom(QTextBlock block);
    void openPass();
    void closePass() { m_passOpen = false; }
    void onDemandChange(int from, int added);
    // One slice of the pass over the line states; queues the next while lines remain.
    void sweepStates();
    void sweepFrom(int position);
    // rehighlightBlock() under the guard that keeps its own change from counting as an edit.
    void colour(const QTextBlock &block);

    bool m_onDemand = false;
    bool m_colouring = false;
    bool m_changesUncoloured = false;
    bool m_statePassHeld = false;
    // Lines before `m_sweptEnd` have known states, except from `m_sweepFrom` (when set) to past
    // `m_changedEnd`, where edits may have changed them.
    QTextCursor m_sweptEnd;
    QTextCursor m_sweepFrom;
    QTextCursor m_changedEnd;
    QTimer m_sweepTimer;

    bool m_passOpen = false;
    int m_passLines = 0;
    int m_passMinLines = MinLinesPerSlice;
    bool m_unbounded = false;
    QElapsedTimer m_passTimer;
    // The waiting lines: from the start of the first to the start of the last, as cursors so
    // that edits move them.
    QTextCursor m_pendingStart;
    QTextCursor m_pendingEnd;
    QTimer m_sliceTimer;
    int m_lastBlockNumber = -1;

    void highlightRegions(const QString &text, CodeEditorBlockData *data);
    // The walk over a line's strings and comments shared by colouring and the state pass: calls
    // `region(start, end, rule, closed)` and `code(start, end, computeHint)` in line order and
    // returns the state at the line end.
    template <typename Region, typename Code>
    int walkRegions(const QString &text, int startState, Region region, Code code);
    // The state a line ends in, from the state of the line before, without colouring it.
    int endState(const QString &text, int startState);
    void ensureRules();
    void recordCode(const QString &text, int start, int end, CodeEditorBlockData *data, bool computeHint, QString &code);
    void highlightWhitespace(const QString &text);

    // How a region delimiter is searched: a plain literal with indexOf, "$" as the line end,
    // anything else with its expression.
    struct DelimiterSearch {
        enum Kind { Expression, Literal, LineEnd } kind = Expression;
        QString literal;
        QRegularExpression expression;
        // The first match at or after `from`: its start, and its end in `*end`; -1 when none.
        int find(const QString &text, int from, int *end) const;
    };
    static DelimiterSearch delimiterSearch(const QRegularExpression &expression);
    void prepareRegionSearches();

    int m_formatGeneration = -1;
    QVector<DelimiterSearch> m_regionStarts;
    QVector<DelimiterSearch> m_regionEnds;
};

} // namespace ke2
