#pragma once

#include <maya/MArgList.h>
#include <maya/MSyntax.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MArgParser {
public:
    MArgParser();
    MArgParser(const MSyntax &syntax, const MArgList &argList, MStatus *ReturnStatus = nullptr);
    virtual ~MArgParser();
    bool isFlagSet(const char *flag, MStatus *ReturnStatus = nullptr) const;
    bool isEdit(MStatus *ReturnStatus = nullptr) const;
    bool isQuery(MStatus *ReturnStatus = nullptr) const;
    unsigned int numberOfFlagsUsed() const;
    MStatus getFlagArgument(const char *flag, unsigned int index, bool &result) const;
    MStatus getFlagArgument(const char *flag, unsigned int index, int &result) const;
    MStatus getFlagArgument(const char *flag, unsigned int index, double &result) const;
    MStatus getFlagArgument(const char *flag, unsigned int index, MString &result) const;
    MStatus getFlagArgument(const char *flag, unsigned int index, unsigned int &result) const;
    MString flagArgumentString(const char *flag, unsigned int index, MStatus *ReturnStatus = nullptr) const;

private:
    void *fData;
};

OPENMAYA_NAMESPACE_CLOSE
