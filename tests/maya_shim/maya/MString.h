#pragma once

#include <maya/MTypes.h>

#include <string>

// UTF-8 throughout.
class OPENMAYA_EXPORT MString {
public:
    MString() = default;
    MString(const char *text) : m_text(text ? text : "") {}
    MString(const char *text, int length) : m_text(text, static_cast<size_t>(length)) {}
    const char *asChar() const { return m_text.c_str(); }
    const char *asUTF8() const { return m_text.c_str(); }
    friend MString operator+(const MString &left, const MString &right) { return (left.m_text + right.m_text).c_str(); }

private:
    std::string m_text;
};
