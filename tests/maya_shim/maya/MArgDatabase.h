#pragma once

#include <maya/MArgList.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MSyntax.h>

#include <map>
#include <string>
#include <vector>

class OPENMAYA_EXPORT MArgDatabase {
public:
    MArgDatabase(const MSyntax &syntax, const MArgList &argList, MStatus *ReturnStatus = nullptr);
    ~MArgDatabase();
    bool isFlagSet(const char *flag, MStatus *ReturnStatus = nullptr) const;
    MStatus getFlagArgument(const char *flag, unsigned int index, MString &result) const;

private:
    // Short flag name → its arguments.
    std::map<std::string, std::vector<MString>> m_set;
    MSyntax m_syntax;
    const std::string *shortNameOf(const char *flag) const;
};
