#pragma once

#include <maya/MCommandResult.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MGlobal {
public:
    enum MMayaState { kInteractive, kBatch, kLibraryApp, kBaseUIMode };

    static MMayaState mayaState(MStatus *ReturnStatus = nullptr);
    static MStatus executeCommand(const MString &command, bool displayEnabled = false, bool undoEnabled = false);
    static MStatus executeCommand(const MString &command, MCommandResult &result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString &command, int &result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString &command, MIntArray &result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString &command, double &result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString &command, MDoubleArray &result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString &command, MString &result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString &command, MStringArray &result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommandOnIdle(const MString &command, bool displayEnabled = false);
    static MStatus executePythonCommand(const MString &command, bool displayEnabled = false,
                                        bool undoEnabled = false);
    static MStatus executePythonCommand(const MString &command, int &result, bool displayEnabled = false,
                                        bool undoEnabled = false);
    static MStatus executePythonCommand(const MString &command, MIntArray &result, bool displayEnabled = false,
                                        bool undoEnabled = false);
    static MStatus executePythonCommand(const MString &command, double &result, bool displayEnabled = false,
                                        bool undoEnabled = false);
    static MStatus executePythonCommand(const MString &command, MDoubleArray &result, bool displayEnabled = false,
                                        bool undoEnabled = false);
    static MStatus executePythonCommand(const MString &command, MString &result, bool displayEnabled = false,
                                        bool undoEnabled = false);
    static MStatus executePythonCommand(const MString &command, MStringArray &result, bool displayEnabled = false,
                                        bool undoEnabled = false);
    static MStatus executePythonCommandOnIdle(const MString &command, bool displayEnabled = false);
    static void displayInfo(const MString &theMessage);
    static void displayWarning(const MString &theWarning);
    static void displayError(const MString &theError);
    static bool optionVarExists(const MString &name);
    static int optionVarIntValue(const MString &name, bool *exists = nullptr);
    static double optionVarDoubleValue(const MString &name, bool *exists = nullptr);
    static MString optionVarStringValue(const MString &name, bool *exists = nullptr);
    static bool setOptionVarValue(const MString &name, int value);
    static bool setOptionVarValue(const MString &name, double value);
    static bool setOptionVarValue(const MString &name, MString value);
};

OPENMAYA_NAMESPACE_CLOSE
