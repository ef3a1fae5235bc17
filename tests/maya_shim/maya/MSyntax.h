#pragma once

#include <maya/MStatus.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MSyntax {
public:
    enum MArgType {
        kInvalidArgType,
        kNoArg,
        kBoolean,
        kLong,
        kUnsigned,
        kDouble,
        kString,
        kUnused,
        kDistance,
        kAngle,
        kTime,
        kSelectionItem,
        kLastArgType
    };

    MSyntax();
    MSyntax(const MSyntax &other);
    virtual ~MSyntax();
    MSyntax &operator=(const MSyntax &other);
    MStatus addFlag(const char *shortName, const char *longName, MArgType argType1 = kNoArg,
                    MArgType argType2 = kNoArg, MArgType argType3 = kNoArg, MArgType argType4 = kNoArg,
                    MArgType argType5 = kNoArg, MArgType argType6 = kNoArg);
    MStatus addArg(MArgType arg);
    void enableQuery(bool supportsQuery);
    void enableEdit(bool supportsEdit);

private:
    void *fData;
};

OPENMAYA_NAMESPACE_CLOSE
