#pragma once

#include <maya/MString.h>

class OPENMAYA_EXPORT MS {
public:
    enum MStatusCode {
        kSuccess = 0,
        kFailure,
        kInsufficientMemory,
        kInvalidParameter,
        kLicenseFailure,
        kUnknownParameter,
        kNotImplemented,
        kNotFound,
        kEndOfFile,
    };
};

class OPENMAYA_EXPORT MStatus {
public:
    MStatus();
    MStatus(MS::MStatusCode code);
    MStatus(const MStatus &other);
    MStatus &operator=(const MStatus &other);
    bool operator==(const MStatus &other) const;
    bool operator==(MS::MStatusCode code) const;
    bool operator!=(const MStatus &other) const;
    bool operator!=(MS::MStatusCode code) const;
    operator bool() const;
    bool error() const;
    MS::MStatusCode statusCode() const;
    MString errorString() const;

private:
    MS::MStatusCode m_code;
};
