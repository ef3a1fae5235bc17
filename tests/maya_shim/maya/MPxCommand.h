#pragma once

#include <maya/MArgList.h>

class OPENMAYA_EXPORT MPxCommand {
public:
    virtual ~MPxCommand() = default;
    virtual MStatus doIt(const MArgList &args) = 0;
    static void setResult(const MString &result);
};
