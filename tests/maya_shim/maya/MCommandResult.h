#pragma once

#include <maya/MStringArray.h>

class OPENMAYA_EXPORT MCommandResult {
public:
    enum Type { kInvalid = 0, kInt, kIntArray, kDouble, kDoubleArray, kString, kStringArray };
    Type resultType(MStatus * = nullptr) const { return m_type; }
    MStatus getResult(int &result) const { return take(kInt, result, m_int); }
    MStatus getResult(double &result) const { return take(kDouble, result, m_double); }
    MStatus getResult(MString &result) const { return take(kString, result, m_string); }
    MStatus getResult(MStringArray &result) const { return take(kStringArray, result, m_strings); }

private:
    template <typename T>
    MStatus take(Type type, T &result, const T &value) const
    {
        if (m_type != type)
            return MS::kInvalidParameter;
        result = value;
        return MS::kSuccess;
    }
    Type m_type = kInvalid;
    int m_int = 0;
    double m_double = 0.0;
    MString m_string;
    MStringArray m_strings;
    friend class MGlobal;
};
