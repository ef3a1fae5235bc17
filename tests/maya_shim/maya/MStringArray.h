#pragma once

#include <maya/MString.h>

#include <vector>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MStringArray {
public:
    MStringArray();
    MStringArray(const MStringArray &other);
    MStringArray(const MString *elements, unsigned int count);
    MStringArray(unsigned int initialSize, const MString &initialValue);
    ~MStringArray();
    MStringArray &operator=(const MStringArray &other);
    MString operator[](unsigned int index) const;
    MString &operator[](unsigned int index);
    MStatus set(const MString &element, unsigned int index);
    MStatus set(const char *element, unsigned int index);
    MStatus setLength(unsigned int length);
    unsigned int length() const;
    MStatus remove(unsigned int index);
    MStatus insert(const MString &element, unsigned int index);
    MStatus append(const MString &element);
    MStatus clear();

private:
    std::vector<MString> fItems;
};

OPENMAYA_NAMESPACE_CLOSE
