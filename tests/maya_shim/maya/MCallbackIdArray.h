#pragma once

#include <maya/MTypes.h>

#include <vector>

class OPENMAYA_EXPORT MCallbackIdArray {
public:
    MCallbackId operator[](unsigned int index) const { return m_ids.at(index); }
    unsigned int length() const { return static_cast<unsigned int>(m_ids.size()); }
    void append(MCallbackId id) { m_ids.push_back(id); }
    void clear() { m_ids.clear(); }

private:
    std::vector<MCallbackId> m_ids;
};
