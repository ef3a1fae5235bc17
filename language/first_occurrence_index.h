#pragma once

#include <QtCore/QPair>
#include <QtCore/QStringView>
#include <QtCore/QVector>

namespace ke2 {

// Answers "where does this word first occur in that text" for many words at once in time linear
// in the text and the words, where asking `indexOf` for each would read a long text again per
// word. Built once over the text (a suffix automaton that remembers where each state first
// ends); the text must outlive the index.
class FirstOccurrenceIndex {
public:
    explicit FirstOccurrenceIndex(QStringView text);

    // The first index of `word` in the text, as QString::indexOf would return; -1 if absent.
    int indexOf(QStringView word) const;

    // The first index in `text` of each run (start, length) of `text`, as indexOf would find it,
    // for runs in text order that are the text's words: every occurrence of one lies inside one
    // of them (what separates them occurs in none). Most are answered by one hash of their text;
    // a trie of the few shorter than an earlier run is walked from the starts inside the runs,
    // which for real word lists costs a few steps per character and no index. Empty when it
    // would read more than `budget` characters (runs nested in runs), and the index is the way.
    static QVector<int> firstOccurrencesOfRuns(QStringView text, const QVector<QPair<int, int>> &runs, qint64 budget);

private:
    struct State {
        int length = 0;
        int link = -1;
        int firstEnd = -1; // index of the last character of the first occurrence
        int firstEdge = -1;
    };
    struct Edge {
        ushort ch = 0;
        int target = 0;
        int next = -1;
    };

    int transition(int state, ushort ch) const;
    void setTransition(int state, ushort ch, int target);
    void extend(ushort ch, int index);

    QVector<State> m_states;
    QVector<Edge> m_edges;
    int m_last = 0;
};

} // namespace ke2
