#pragma once

#include <maya/MStatus.h>

#include <string>
#include <vector>

class OPENMAYA_EXPORT MSyntax {
public:
    enum MArgType { kInvalidArgType, kNoArg, kBoolean, kLong, kDouble, kString };
    MStatus addFlag(const char *shortName, const char *longName, MArgType argType1 = kNoArg)
    {
        m_flags.push_back({shortName, longName, argType1 != kNoArg});
        return MS::kSuccess;
    }

private:
    struct Flag {
        std::string shortName, longName;
        bool takesArgument;
    };
    std::vector<Flag> m_flags;
    friend class MArgDatabase;
};
