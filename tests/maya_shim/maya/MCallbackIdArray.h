#pragma once

#include <maya/MTypes.h>

#include <vector>

class OPENMAYA_EXPORT MCallbackIdArray {
public:
    MCallbackIdArray();
    MCallbackIdArray(const MCallbackIdArray &other);
    ~MCallbackIdArray();
    MCallbackIdArray &operator=(const MCallbackIdArray &other);
    MCallbackId operator[](unsigned int index) const;
    unsigned int length() const;
    void append(MCallbackId id);
    void clear();

private:
    std::vector<MCallbackId> m_ids;
};
