#pragma once

#include <maya/MObject.h>
#include <maya/MSyntax.h>

typedef void *(*MCreatorFunction)();
typedef MSyntax (*MCreateSyntaxFunction)();

class OPENMAYA_EXPORT MFnPlugin {
public:
    MFnPlugin(MObject &object, const char *vendor = "Unknown", const char *version = "Unknown",
              const char *requiredApiVersion = "Any", MStatus *ReturnStatus = nullptr);
    MStatus registerCommand(const MString &commandName, MCreatorFunction creatorFunction,
                            MCreateSyntaxFunction createSyntaxFunction = nullptr);
    MStatus deregisterCommand(const MString &commandName);

private:
    void *m_plugin;
};
