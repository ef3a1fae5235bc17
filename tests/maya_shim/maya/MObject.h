#pragma once

#include <maya/MTypes.h>

class OPENMAYA_EXPORT MObject {
public:
    MObject();
    MObject(const MObject &other);
    ~MObject();
    MObject &operator=(const MObject &other);
    bool isNull() const;

private:
    void *m_handle;
    friend class MFnPlugin;
    friend struct MShimAccess;
};
