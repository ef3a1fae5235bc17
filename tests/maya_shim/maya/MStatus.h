#pragma once

#include <maya/MTypes.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MStatus {
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
        kEndOfFile
    };

    MStatus();
    MStatus(MStatusCode);
    MStatus(const MStatus &);
    MStatus &operator=(const MStatus &rhs);
    MStatus &operator=(MStatusCode rhs);
    bool operator==(const MStatus &rhs) const;
    bool operator==(const MStatusCode rhs) const;
    bool operator!=(const MStatus &rhs) const;
    bool operator!=(const MStatusCode rhs) const;
    operator bool() const;
    bool error() const;
    void clear();
    MStatusCode statusCode() const;
    MString errorString() const;
    void perror(const char *) const;
    void perror(const MString &) const;

private:
    MStatusCode code;
    int internalStatusCode;
};

typedef MStatus MS;

OPENMAYA_NAMESPACE_CLOSE

using OPENMAYA_MAJOR_NAMESPACE::MS;
