#pragma once

#include <memory>
#include <utility>
#include <vector>

namespace ke2 {

// Storage for a parser's records: they are made in blocks that double in size, so a buffer with
// a hundred thousand markers costs a few allocations instead of one each, and the records stay
// close together in memory. Pointers stay valid until `clear`, after which the same records are
// handed out again.
template <typename T>
class RecordStore {
public:
    template <typename... Args>
    T *make(Args &&...args)
    {
        while (m_current == m_blocks.size() || m_used == m_blocks[m_current].size) {
            if (m_current == m_blocks.size()) {
                const size_t size = m_blocks.empty() ? 64 : m_blocks.back().size * 2;
                m_blocks.push_back({std::make_unique<T[]>(size), size});
                m_used = 0;
                break;
            }
            ++m_current;
            m_used = 0;
        }
        T *record = reuse();
        *record = T(std::forward<Args>(args)...);
        return record;
    }

    // The next record as the last parse left it, for callers that set every field themselves and
    // would rather keep its buffers than allocate new ones.
    T *reuse()
    {
        if (m_current < m_blocks.size() && m_used == m_blocks[m_current].size) {
            ++m_current;
            m_used = 0;
        }
        if (m_current == m_blocks.size()) {
            const size_t size = m_blocks.empty() ? 64 : m_blocks.back().size * 2;
            m_blocks.push_back({std::make_unique<T[]>(size), size});
            m_used = 0;
        }
        return &m_blocks[m_current].records[m_used++];
    }

    // The blocks stay for the next parse, which fills them again: a re-scan of a large buffer
    // neither allocates nor touches fresh pages.
    void clear()
    {
        m_current = 0;
        m_used = 0;
    }

private:
    struct Block {
        std::unique_ptr<T[]> records;
        size_t size = 0;
    };
    std::vector<Block> m_blocks;
    size_t m_current = 0;
    size_t m_used = 0;
};

} // namespace ke2
