#pragma once

#include <maya/MStatus.h>

#include <string>

OPENMAYA_MAJOR_NAMESPACE_OPEN

// The constructors, set() and asChar() read and write the locale's multibyte encoding; only
// setUTF8() and asUTF8() (and MQtUtil::toMString/toQString) carry UTF-8. The stand-in plays a
// Latin-1 locale, so text that takes the wrong road comes out visibly wrong in the tests.
class OPENMAYA_EXPORT MString {
public:
    MString();
    MString(const char *charString);
    MString(const char *charString, int charLength);
    MString(const MString &other);
    MString(MString &&other) noexcept;
    MString(const wchar_t *);
    MString(const wchar_t *, int length);
    ~MString();

    MString &operator+=(const MString &other);
    MString &operator+=(const char *other);
    MString &operator+=(double other);
    MString &operator+=(int other);
    MString &operator+=(unsigned int other);
    MString &operator+=(float other);
    MString &operator=(const MString &other);
    MString &operator=(MString &&other) noexcept;
    MString &operator=(const char *other);
    MString &operator=(double value);
    bool operator==(const MString &other) const;
    bool operator==(const char *other) const;
    bool operator!=(const MString &other) const;
    bool operator!=(const char *other) const;
    MString operator+(const MString &other) const;
    MString operator+(const char *other) const;
    MString operator+(double value) const;

    MStatus set(const char *charString);
    MStatus set(const char *charString, int charLength);
    MStatus set(double value);
    MStatus set(double value, int precision);
    MStatus setUTF8(const char *utf8String);
    MStatus setWChar(const wchar_t *);
    MStatus setWChar(const wchar_t *, int length);
    const char *asChar() const;
    const char *asChar(int &length) const;
    const char *asUTF8() const;
    const char *asUTF8(int &length) const;
    unsigned int length() const;
    unsigned int numChars() const;
    void clear();

    friend OPENMAYA_EXPORT MString operator+(const char *, const MString &);

private:
    std::string fUtf8;
    mutable std::string fLocal;
};

OPENMAYA_EXPORT MString operator+(const char *, const MString &);

OPENMAYA_NAMESPACE_CLOSE
