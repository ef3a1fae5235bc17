#pragma once

#include <maya/MStatus.h>

#include <string>
#include <vector>

class OPENMAYA_EXPORT MSyntax {
public:
    enum MArgType {
        kInvalidArgType,
        kNoArg,
        kBoolean,
        kLong,
        kDouble,
        kString,
        kUnsigned,
        kDistance,
        kAngle,
        kTime,
        kSelectionItem,
        kLastArgType,
    };

    MSyntax();
    MSyntax(const MSyntax &other);
    ~MSyntax();
    MSyntax &operator=(const MSyntax &other);
    MStatus addFlag(const char *shortName, const char *longName, MArgType argType1 = kNoArg,
                    MArgType argType2 = kNoArg, MArgType argType3 = kNoArg, MArgType argType4 = kNoArg,
                    MArgType argType5 = kNoArg, MArgType argType6 = kNoArg);

private:
    struct Flag {
        std::string shortName;
        std::string longName;
        std::vector<MArgType> arguments;
    };
    std::vector<Flag> m_flags;
    friend class MArgDatabase;
};
