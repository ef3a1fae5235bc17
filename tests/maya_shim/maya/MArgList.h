#pragma once

#include <maya/MStatus.h>
#include <maya/MString.h>

#include <vector>

class OPENMAYA_EXPORT MArgList {
public:
    MArgList();
    MArgList(const MArgList &other);
    ~MArgList();
    MArgList &operator=(const MArgList &other);
    unsigned int length(MStatus *ReturnStatus = nullptr) const;
    MString asString(unsigned int index, MStatus *ReturnStatus = nullptr) const;
    MArgList &addArg(const MString &arg);

private:
    std::vector<MString> m_args;
};
