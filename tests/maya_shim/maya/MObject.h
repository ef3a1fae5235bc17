#pragma once

#include <maya/MTypes.h>

class OPENMAYA_EXPORT MObject {
public:
    bool isNull() const { return !m_handle; }

private:
    void *m_handle = nullptr;
    friend class MFnPlugin;
    friend struct MShimAccess;
};
