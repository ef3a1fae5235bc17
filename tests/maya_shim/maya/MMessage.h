#pragma once

#include <maya/MCallbackIdArray.h>
#include <maya/MStatus.h>

class OPENMAYA_EXPORT MMessage {
public:
    typedef void (*MBasicFunction)(void *clientData);
    static MStatus removeCallbacks(MCallbackIdArray &ids);
};
