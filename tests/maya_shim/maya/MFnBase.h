#pragma once

#include <maya/MObject.h>
#include <maya/MStatus.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MFnBase {
public:
    virtual ~MFnBase();
    MObject object(MStatus *ReturnStatus = nullptr) const;
    virtual MStatus setObject(MObject &object);
    virtual MStatus setObject(const MObject &object);

protected:
    MFnBase();

private:
    MFnBase(const MFnBase &);
    MFnBase &operator=(const MFnBase &);

    MObject fObject;
};

OPENMAYA_NAMESPACE_CLOSE
