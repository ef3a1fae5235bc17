#pragma once

#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

class OPENMAYA_EXPORT MCommandResult {
public:
    enum Type {
        kInvalid = 0,
        kInt,
        kIntArray,
        kDouble,
        kDoubleArray,
        kString,
        kStringArray,
        kVector,
        kVectorArray,
        kMatrix,
        kMatrixArray,
    };

    MCommandResult(MStatus *ReturnStatus = nullptr);
    virtual ~MCommandResult();
    Type resultType(MStatus *ReturnStatus = nullptr) const;
    MStatus getResult(int &result) const;
    MStatus getResult(double &result) const;
    MStatus getResult(MString &result) const;
    MStatus getResult(MStringArray &result) const;

private:
    Type m_type;
    int m_int;
    double m_double;
    MString m_string;
    MStringArray m_strings;
    friend class MGlobal;
};
