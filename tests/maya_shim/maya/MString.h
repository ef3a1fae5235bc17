#pragma once

#include <maya/MTypes.h>

#include <string>

class OPENMAYA_EXPORT MString {
public:
    MString();
    MString(const char *text);
    MString(const char *text, int length);
    MString(const MString &other);
    ~MString();
    MString &operator=(const MString &other);
    MString &operator+=(const MString &other);
    bool operator==(const MString &other) const;
    bool operator!=(const MString &other) const;
    // UTF-8 throughout.
    const char *asChar() const;
    const char *asUTF8() const;
    unsigned int length() const;
    unsigned int numChars() const;

private:
    std::string m_text;
};

OPENMAYA_EXPORT MString operator+(const MString &left, const MString &right);
