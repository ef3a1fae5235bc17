#pragma once

#include <maya/MStringArray.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MCommandResult {
public:
    enum Type {
        kInvalid = 0,
        kInt,
        kInt64,
        kIntArray,
        kInt64Array,
        kDouble,
        kDoubleArray,
        kString,
        kStringArray,
        kVector,
        kVectorArray,
        kMatrix,
        kMatrixArray
    };

    MCommandResult(MStatus *ReturnStatus = nullptr);
    virtual ~MCommandResult();
    Type resultType(MStatus *ReturnStatus = nullptr) const;
    MStatus getResult(int &result) const;
    MStatus getResult(MInt64 &result) const;
    MStatus getResult(MIntArray &result) const;
    MStatus getResult(MInt64Array &result) const;
    MStatus getResult(double &result) const;
    MStatus getResult(MDoubleArray &result) const;
    MStatus getResult(MString &result) const;
    MStatus getResult(MStringArray &result) const;
    MStatus getResult(MVector &result) const;
    MStatus getResult(MVectorArray &result) const;
    MStatus getResult(MDoubleArray &result, int &numRows, int &numColumns) const;
    MStatus getResult(MMatrix &result) const;
    MStatus getResult(MMatrixArray &result) const;

private:
    MCommandResult(const MCommandResult &);
    MCommandResult &operator=(const MCommandResult &);

    Type fType;
    MInt64 fInt;
    double fDouble;
    MString fString;
    MStringArray fStrings;
};

OPENMAYA_NAMESPACE_CLOSE
