#pragma once

#include <maya/MArgList.h>
#include <maya/MStatus.h>
#include <maya/MString.h>

class OPENMAYA_EXPORT MPxCommand {
public:
    MPxCommand();
    virtual ~MPxCommand();
    virtual MStatus doIt(const MArgList &args);
    static void setResult(const MString &result);
    static void setResult(int result);
    static void clearResult();
};
