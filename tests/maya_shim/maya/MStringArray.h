#pragma once

#include <maya/MString.h>

#include <vector>

class OPENMAYA_EXPORT MStringArray {
public:
    const MString &operator[](unsigned int index) const { return m_items.at(index); }
    unsigned int length() const { return static_cast<unsigned int>(m_items.size()); }
    void append(const MString &element) { m_items.push_back(element); }
    void clear() { m_items.clear(); }

private:
    std::vector<MString> m_items;
};
