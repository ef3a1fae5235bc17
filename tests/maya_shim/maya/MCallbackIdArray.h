#pragma once

#include <maya/MStatus.h>

#include <vector>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MCallbackIdArray {
public:
    MCallbackIdArray();
    MCallbackIdArray(const MCallbackIdArray &other);
    ~MCallbackIdArray();
    MCallbackIdArray &operator=(const MCallbackIdArray &other);
    MCallbackId operator[](unsigned int index) const;
    MCallbackId &operator[](unsigned int index);
    MStatus set(MCallbackId element, unsigned int index);
    MStatus setLength(unsigned int length);
    unsigned int length() const;
    MStatus remove(unsigned int index);
    MStatus insert(MCallbackId element, unsigned int index);
    MStatus append(MCallbackId element);
    MStatus copy(const MCallbackIdArray &source);
    MStatus clear();

private:
    std::vector<MCallbackId> fIds;
};

OPENMAYA_NAMESPACE_CLOSE
