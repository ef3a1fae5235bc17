#pragma once

#include <maya/MString.h>

#include <vector>

class OPENMAYA_EXPORT MStringArray {
public:
    MStringArray();
    MStringArray(const MStringArray &other);
    ~MStringArray();
    MStringArray &operator=(const MStringArray &other);
    const MString &operator[](unsigned int index) const;
    MString &operator[](unsigned int index);
    unsigned int length() const;
    void append(const MString &element);
    void clear();

private:
    std::vector<MString> m_items;
};
