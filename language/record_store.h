#pragma once

#include <memory>
#include <utility>
#include <vector>

namespace ke2 {

// Storage for a parser's records: they are made in blocks that double in size, so a buffer with
// a hundred thousand markers costs a few allocations instead of one each, and the records stay
// close together in memory. Pointers stay valid until `clear`.
template <typename T>
class RecordStore {
public:
    template <typename... Args>
    T *make(Args &&...args)
    {
        if (m_blocks.empty() || m_used == m_blockSize) {
            m_blockSize = m_blocks.empty() ? 64 : m_blockSize * 2;
            m_blocks.push_back(std::make_unique<T[]>(m_blockSize));
            m_used = 0;
        }
        T *record = &m_blocks.back()[m_used++];
        *record = T(std::forward<Args>(args)...);
        return record;
    }

    void clear()
    {
        m_blocks.clear();
        m_used = 0;
        m_blockSize = 0;
    }

private:
    std::vector<std::unique_ptr<T[]>> m_blocks;
    size_t m_used = 0;
    size_t m_blockSize = 0;
};

} // namespace ke2
