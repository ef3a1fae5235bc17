#pragma once

#include <maya/MArgList.h>
#include <maya/MCommandResult.h>
#include <maya/MSyntax.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MPxCommand {
public:
    MPxCommand();
    virtual ~MPxCommand();
    virtual MStatus doIt(const MArgList &args);
    virtual MStatus undoIt();
    virtual MStatus redoIt();
    virtual bool isUndoable() const;
    virtual bool hasSyntax() const;
    static void displayInfo(const MString &theInfo);
    static void displayWarning(const MString &theWarning, bool showLineNumber = false);
    static void displayError(const MString &theError, bool showLineNumber = false);
    static void clearResult();
    static void setResult(unsigned int val);
    static void setResult(int val);
    static void setResult(double val);
    static void setResult(bool val);
    static void setResult(const char *val);
    static void setResult(const MString &val);
    static void setResult(const MDoubleArray &val);
    static void setResult(const MIntArray &val);
    static void setResult(const MStringArray &val);
    static MCommandResult::Type currentResultType();

private:
    MPxCommand(const MPxCommand &);
    MPxCommand &operator=(const MPxCommand &);
};

OPENMAYA_NAMESPACE_CLOSE
