#pragma once

#include <maya/MMessage.h>
#include <maya/MString.h>

class OPENMAYA_EXPORT MEventMessage : public MMessage {
public:
    static MCallbackId addEventCallback(const MString &event, MMessage::MBasicFunction func,
                                        void *clientData = nullptr, MStatus *ReturnStatus = nullptr);
};
