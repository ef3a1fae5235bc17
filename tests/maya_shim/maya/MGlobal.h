#pragma once

#include <maya/MCommandResult.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

class OPENMAYA_EXPORT MGlobal {
public:
    static MStatus executeCommand(const MString &command, bool displayEnabled = false, bool undoEnabled = false);
    static MStatus executeCommand(const MString &command, MCommandResult &result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommandOnIdle(const MString &command, bool displayEnabled = false);
    static MStatus executePythonCommand(const MString &command, bool displayEnabled = false,
                                        bool undoEnabled = false);
    static MStatus executePythonCommand(const MString &command, int &result, bool displayEnabled = false,
                                        bool undoEnabled = false);
    static MStatus executePythonCommand(const MString &command, MString &result, bool displayEnabled = false,
                                        bool undoEnabled = false);
    static MStatus executePythonCommand(const MString &command, MStringArray &result,
                                        bool displayEnabled = false, bool undoEnabled = false);
    static MStatus executePythonCommandOnIdle(const MString &command, bool displayEnabled = false);
    static void displayInfo(const MString &message);
    static void displayWarning(const MString &message);
    static void displayError(const MString &message);
    static bool optionVarExists(const MString &name);
    static int optionVarIntValue(const MString &name, bool *exists = nullptr);
    static bool setOptionVarValue(const MString &name, int value);
};
