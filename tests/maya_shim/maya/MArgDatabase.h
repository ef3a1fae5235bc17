#pragma once

#include <maya/MArgList.h>
#include <maya/MSyntax.h>

#include <map>

class OPENMAYA_EXPORT MArgDatabase {
public:
    MArgDatabase(const MSyntax &syntax, const MArgList &argList, MStatus *ReturnStatus = nullptr);
    bool isFlagSet(const char *flag, MStatus * = nullptr) const { return m_set.count(shortNameOf(flag)) != 0; }
    MStatus getFlagArgument(const char *flag, unsigned int index, MString &result) const;

private:
    std::map<std::string, std::vector<MString>> m_set; // short flag name: its arguments
    MSyntax m_syntax;
    std::string shortNameOf(const std::string &flag) const;
};
