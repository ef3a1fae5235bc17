#pragma once

#include <maya/MMessage.h>

class OPENMAYA_EXPORT MCommandMessage : public MMessage {
public:
    enum MessageType { kHistory = 0, kDisplay, kInfo, kWarning, kError, kResult, kStackTrace };
    typedef void (*MMessageFunction)(const MString &message, MessageType messageType, void *clientData);
    static MCallbackId addCommandOutputCallback(MMessageFunction func, void *clientData = nullptr,
                                                MStatus *ReturnStatus = nullptr);
};
