#include "language/first_occurrence_index.h"

#include <algorithm>
#include <cstring>

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

namespace {

inline void prefetch(const void *address)
{
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(address);
#else
    Q_UNUSED(address);
#endif
}

// Trie edges (node, character) -> node in one open-addressing table: no allocation per node and
// one probe per step in the usual case.
class EdgeTable {
public:
    // Empties the table but keeps its memory for the next scan (a re-scan after each edit would
    // otherwise fault in fresh pages every time), unless it is far larger than `edges` need.
    void clear(qint64 edges)
    {
        if (m_slots.size() > 8 * std::max<qint64>(1024, 2 * edges)) {
            m_slots = QVector<Slot>();
            m_shift = 63;
            m_mask = 0;
        } else if (m_size > 0) {
            std::fill(m_slots.begin(), m_slots.end(), Slot());
        }
        m_size = 0;
    }
    int find(int node, ushort ch) const
    {
        if (m_size == 0)
            return -1;
        const quint64 key = makeKey(node, ch);
        for (quint64 slot = hash(key);; slot = (slot + 1) & m_mask) {
            const Slot &entry = m_slots[int(slot)];
            if (entry.key == key)
                return entry.target;
            if (entry.key == 0)
                return -1;
        }
    }
    void insert(int node, ushort ch, int target)
    {
        if (2 * (m_size + 1) > m_slots.size())
            grow();
        place(makeKey(node, ch), target);
        ++m_size;
    }

private:
    struct Slot {
        quint64 key = 0; // 0: empty
        int target = 0;
    };
    static quint64 makeKey(int node, ushort ch) { return ((quint64(node) << 16) | ch) + 1; }
    quint64 hash(quint64 key) const { return (key * 0x9E3779B97F4A7C15ull) >> m_shift; }
    void place(quint64 key, int target)
    {
        quint64 slot = hash(key);
        while (m_slots[int(slot)].key != 0)
            slot = (slot + 1) & m_mask;
        m_slots[int(slot)] = {key, target};
    }
    void grow()
    {
        const QVector<Slot> old = m_slots;
        const int capacity = std::max(1024, int(old.size()) * 2);
        m_slots = QVector<Slot>(capacity);
        m_mask = quint64(capacity - 1);
        m_shift = 64;
        for (int c = capacity; c > 1; c >>= 1)
            --m_shift;
        for (const Slot &entry : old) {
            if (entry.key != 0)
                place(entry.key, entry.target);
        }
    }

    QVector<Slot> m_slots;
    quint64 m_mask = 0;
    int m_shift = 63;
    int m_size = 0;
};

} // namespace

QVector<int> FirstOccurrenceIndex::firstOccurrencesOfRuns(QStringView text, const QVector<QPair<int, int>> &runs,
                                                         qint64 budget)
{
    // A run occurs only inside a run at least as long. So one that repeats an earlier run first
    // occurs where that one does, one that no earlier run is longer than first occurs at its own
    // start, and only the rest (shorter than some earlier run: rare in a generated list) need the
    // walk below. Exact repeats are found by hashing each run's text once.
    const int count = runs.size();
    const QPair<int, int> *run = runs.constData();
    // Buffers kept between calls: a re-scan after each edit would otherwise fault in fresh pages.
    thread_local QVector<int> sameAsBuffer;
    sameAsBuffer.fill(-1, count);
    int *sameAs = sameAsBuffer.data(); // the first earlier run with the same text
    QVector<int> result(count, -1);
    int *first = result.data();
    QVector<int> pending; // runs that may lie inside a longer earlier run
    qint64 steps = 0; // characters read, here and in the walk
    {
        int capacity = 1024;
        int shift = 22; // 32 - log2(capacity)
        while (capacity < 2 * count) {
            capacity *= 2;
            --shift;
        }
        struct Slot {
            quint32 hash = 0;
            int run = -1;
        };
        thread_local QVector<Slot> tableBuffer;
        tableBuffer.fill(Slot(), capacity);
        Slot *table = tableBuffer.data();
        const int mask = capacity - 1;
        // The hashes first, in one pass over the text, so that the table slot of a run some
        // places ahead can be fetched while this one is looked up: on a long list nearly every
        // look-up misses the cache, and that wait, not the hashing, is what costs.
        thread_local QVector<quint32> hashBuffer;
        hashBuffer.resize(count);
        quint32 *hashes = hashBuffer.data();
        for (int r = 0; r < count; ++r) {
            // Four characters a step.
            const QChar *at = text.data() + run[r].first;
            const QChar *end = at + run[r].second;
            quint64 hash = quint64(run[r].second);
            for (; at < end; at += 4) {
                quint64 chunk = 0;
                if (end - at >= 4) {
                    std::memcpy(&chunk, at, 8);
                } else {
                    for (int i = 0; i < end - at; ++i)
                        chunk |= quint64(at[i].unicode()) << (16 * i);
                }
                hash = (hash ^ chunk) * 0x9E3779B97F4A7C15ull;
                hash ^= hash >> 29;
            }
            hashes[r] = quint32(hash ^ (hash >> 32));
            steps += run[r].second;
        }
        const auto home = [shift](quint32 hash) { return int((hash * 0x9E3779B9u) >> shift); };
        const int ahead = 16;
        int longest = 0;
        for (int r = 0; r < count; ++r) {
            if (r + ahead < count)
                prefetch(table + home(hashes[r + ahead]));
            const quint32 hash = hashes[r];
            const QStringView word = text.mid(run[r].first, run[r].second);
            int slot = home(hash);
            while (table[slot].run >= 0
                   && !(table[slot].hash == hash
                        && text.mid(run[table[slot].run].first, run[table[slot].run].second) == word))
                slot = (slot + 1) & mask;
            if (table[slot].run >= 0) {
                sameAs[r] = table[slot].run;
                continue;
            }
            table[slot] = {hash, r};
            if (run[r].second < longest)
                pending.append(r);
            else
                first[r] = run[r].first;
            longest = std::max(longest, run[r].second);
        }
    }
    if (steps > budget)
        return {};
    if (!pending.isEmpty()) {
        qint64 characters = 0;
        for (const int r : qAsConst(pending))
            characters += runs[r].second;
        thread_local EdgeTable edges;
        edges.clear(characters);
        QVector<int> terminal{-1}; // per trie node: the pending run ending there, or -1
        for (const int r : qAsConst(pending)) {
            int node = 0;
            for (int at = runs[r].first; at < runs[r].first + runs[r].second; ++at) {
                const ushort ch = text[at].unicode();
                int next = edges.find(node, ch);
                if (next < 0) {
                    next = terminal.size();
                    terminal.append(-1);
                    edges.insert(node, ch, next);
                }
                node = next;
            }
            terminal[node] = r; // distinct texts: no two pending runs share a node
        }

        // From every start inside every run, in text order, the trie is walked as far as the run
        // allows; the first start that reaches a run's node is where that run first occurs.
        int unresolved = pending.size();
        // Most starts inside a word begin no pending word: they are passed over without a look-up.
        QVector<quint64> startsARun(65536 / 64, 0);
        for (const int r : qAsConst(pending)) {
            const ushort ch = text[runs[r].first].unicode();
            startsARun[ch / 64] |= quint64(1) << (ch % 64);
        }
        for (int r = 0; r < count && unresolved > 0; ++r) {
            const int end = runs[r].first + runs[r].second;
            for (int start = runs[r].first; start < end && unresolved > 0; ++start) {
                const ushort ch = text[start].unicode();
                if (!(startsARun[ch / 64] & (quint64(1) << (ch % 64))))
                    continue;
                int node = 0;
                for (int at = start; at < end; ++at) {
                    node = edges.find(node, text[at].unicode());
                    ++steps;
                    if (node < 0)
                        break;
                    const int found = terminal[node];
                    if (found >= 0 && first[found] < 0) {
                        first[found] = start;
                        --unresolved;
                    }
                }
                if (steps > budget)
                    return {};
            }
        }
    }
    for (int r = 0; r < count; ++r) {
        if (sameAs[r] >= 0)
            first[r] = first[sameAs[r]];
    }
    return result;
}

} // namespace ke2
