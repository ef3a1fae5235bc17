#pragma once

#include <maya/MTypes.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MObject {
public:
    MObject();
    MObject(const MObject &other);
    MObject &operator=(const MObject &other);
    ~MObject();
    bool isNull() const;
    bool operator==(const MObject &other) const;
    bool operator!=(const MObject &other) const;
    static MObject kNullObj;

private:
    void *ptr;
};

OPENMAYA_NAMESPACE_CLOSE
