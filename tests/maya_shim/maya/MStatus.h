#pragma once

#include <maya/MString.h>

class OPENMAYA_EXPORT MS {
public:
    enum MStatusCode { kSuccess = 0, kFailure, kInsufficientMemory, kInvalidParameter, kLicenseFailure,
                       kUnknownParameter, kNotImplemented, kNotFound };
};

class OPENMAYA_EXPORT MStatus {
public:
    MStatus(MS::MStatusCode code = MS::kSuccess) : m_code(code) {}
    operator bool() const { return m_code == MS::kSuccess; }
    MString errorString() const { return m_code == MS::kSuccess ? "Success" : m_code == MS::kNotFound ? "Not found" : "Failure"; }

private:
    MS::MStatusCode m_code;
};
