#pragma once

#include <maya/MString.h>

#include <vector>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MArgList {
public:
    MArgList();
    MArgList(const MArgList &other);
    ~MArgList();
    MArgList &operator=(const MArgList &other);
    unsigned int length(MStatus *ReturnStatus = nullptr) const;
    bool asBool(unsigned int index, MStatus *ReturnStatus = nullptr) const;
    int asInt(unsigned int index, MStatus *ReturnStatus = nullptr) const;
    double asDouble(unsigned int index, MStatus *ReturnStatus = nullptr) const;
    MString asString(unsigned int index, MStatus *ReturnStatus = nullptr) const;
    MArgList &addArg(bool arg);
    MArgList &addArg(int arg);
    MArgList &addArg(double arg);
    MArgList &addArg(const MString &arg);

private:
    std::vector<MString> fArgs;
};

OPENMAYA_NAMESPACE_CLOSE
