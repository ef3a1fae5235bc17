#pragma once

#include <maya/MApiVersion.h>
#include <maya/MFnBase.h>
#include <maya/MString.h>
#include <maya/MSyntax.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

typedef void *(*MCreatorFunction)();
typedef MSyntax (*MCreateSyntaxFunction)();

class OPENMAYA_EXPORT MFnPlugin : public MFnBase {
public:
    MFnPlugin();
    MFnPlugin(MObject &object, const char *vendor = "Unknown", const char *version = "Unknown",
              const char *requiredApiVersion = "Any", MStatus *ReturnStatus = 0L);
    virtual ~MFnPlugin();
    MString vendor(MStatus *ReturnStatus = nullptr) const;
    MString version(MStatus *ReturnStatus = nullptr) const;
    MString apiVersion(MStatus *ReturnStatus = nullptr) const;
    MStatus registerCommand(const MString &commandName, MCreatorFunction creatorFunction,
                            MCreateSyntaxFunction createSyntaxFunction = nullptr);
    MStatus deregisterCommand(const MString &commandName);
};

OPENMAYA_NAMESPACE_CLOSE

using OPENMAYA_MAJOR_NAMESPACE::MCreatorFunction;
using OPENMAYA_MAJOR_NAMESPACE::MCreateSyntaxFunction;

#if !defined(MNoPluginEntry)
// Maya looks these two up by their C++ names.
PLUGIN_EXPORT MStatus initializePlugin(MObject obj);
PLUGIN_EXPORT MStatus uninitializePlugin(MObject obj);
#endif
