#pragma once

#include <maya/MMessage.h>
#include <maya/MStringArray.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MEventMessage : public MMessage {
public:
    static MCallbackId addEventCallback(const MString &event, MMessage::MBasicFunction func,
                                        void *clientData = nullptr, MStatus *ReturnStatus = nullptr);
    static void getEventNames(MStringArray &names);
};

OPENMAYA_NAMESPACE_CLOSE
