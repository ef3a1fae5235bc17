#pragma once

#include <maya/MCallbackIdArray.h>
#include <maya/MString.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MMessage {
public:
    typedef void (*MBasicFunction)(void *clientData);
    typedef void (*MStringFunction)(const MString &str, void *clientData);

    static MStatus removeCallback(MCallbackId id);
    static MStatus removeCallbacks(MCallbackIdArray &ids);
    static MCallbackId currentCallbackId(MStatus *ReturnStatus = nullptr);
};

OPENMAYA_NAMESPACE_CLOSE
