#pragma once

#include <maya/MStatus.h>

#include <vector>

class OPENMAYA_EXPORT MArgList {
public:
    unsigned int length(MStatus * = nullptr) const { return static_cast<unsigned int>(m_args.size()); }
    MString asString(unsigned int index, MStatus * = nullptr) const { return m_args.at(index); }
    MArgList &addArg(const MString &arg) { m_args.push_back(arg); return *this; }

private:
    std::vector<MString> m_args;
};
