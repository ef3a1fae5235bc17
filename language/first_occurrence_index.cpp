#include "language/first_occurrence_index.h"

namespace ke2 {

FirstOccurrenceIndex::FirstOccurrenceIndex(QStringView text)
{
    m_states.reserve(int(2 * text.size() + 1));
    m_edges.reserve(int(3 * text.size() + 1));
    m_states.append(State());
    for (int i = 0; i < int(text.size()); ++i)
        extend(text.at(i).unicode(), i);
}

int FirstOccurrenceIndex::transition(int state, ushort ch) const
{
    for (int edge = m_states[state].firstEdge; edge >= 0; edge = m_edges[edge].next) {
        if (m_edges[edge].ch == ch)
            return m_edges[edge].target;
    }
    return -1;
}

void FirstOccurrenceIndex::setTransition(int state, ushort ch, int target)
{
    for (int edge = m_states[state].firstEdge; edge >= 0; edge = m_edges[edge].next) {
        if (m_edges[edge].ch == ch) {
            m_edges[edge].target = target;
            return;
        }
    }
    Edge edge;
    edge.ch = ch;
    edge.target = target;
    edge.next = m_states[state].firstEdge;
    m_edges.append(edge);
    m_states[state].firstEdge = m_edges.size() - 1;
}

void FirstOccurrenceIndex::extend(ushort ch, int index)
{
    State fresh;
    fresh.length = m_states[m_last].length + 1;
    fresh.firstEnd = index;
    m_states.append(fresh);
    const int current = m_states.size() - 1;
    int state = m_last;
    while (state >= 0 && transition(state, ch) < 0) {
        setTransition(state, ch, current);
        state = m_states[state].link;
    }
    if (state < 0) {
        m_states[current].link = 0;
    } else {
        const int next = transition(state, ch);
        if (m_states[state].length + 1 == m_states[next].length) {
            m_states[current].link = next;
        } else {
            State clone;
            clone.length = m_states[state].length + 1;
            clone.link = m_states[next].link;
            clone.firstEnd = m_states[next].firstEnd;
            m_states.append(clone);
            const int cloned = m_states.size() - 1;
            // A fresh state has no edges yet, so the copies need no look-up.
            for (int edge = m_states[next].firstEdge; edge >= 0; edge = m_edges[edge].next) {
                Edge copy = m_edges[edge];
                copy.next = m_states[cloned].firstEdge;
                m_edges.append(copy);
                m_states[cloned].firstEdge = m_edges.size() - 1;
            }
            while (state >= 0 && transition(state, ch) == next) {
                setTransition(state, ch, cloned);
                state = m_states[state].link;
            }
            m_states[next].link = cloned;
            m_states[current].link = cloned;
        }
    }
    m_last = current;
}

int FirstOccurrenceIndex::indexOf(QStringView word) const
{
    if (word.isEmpty())
        return 0;
    int state = 0;
    for (const QChar ch : word) {
        state = transition(state, ch.unicode());
        if (state < 0)
            return -1;
    }
    return m_states[state].firstEnd - int(word.size()) + 1;
}

} // namespace ke2
