#pragma once

#include <maya/MMessage.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MCommandMessage : public MMessage {
public:
    enum MessageType { kHistory, kDisplay, kInfo, kWarning, kError, kResult, kStackTrace, kMELProc, kMELCommand };

    typedef void (*MMessageFunction)(const MString &message, MCommandMessage::MessageType messageType,
                                     void *clientData);

    static MCallbackId addCommandCallback(MMessage::MStringFunction func, void *clientData = nullptr,
                                          MStatus *ReturnStatus = nullptr);
    static MCallbackId addCommandOutputCallback(MCommandMessage::MMessageFunction func, void *clientData = nullptr,
                                                MStatus *ReturnStatus = nullptr);
};

OPENMAYA_NAMESPACE_CLOSE
