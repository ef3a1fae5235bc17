// The value classes of the OpenMaya stand-in: strings, arrays, status, objects, syntax and
// argument parsing, as Maya's library implements them for what the plug-in does with them.
#include "maya_shim_private.h"

#include <maya/MArgDatabase.h>
#include <maya/MCallbackIdArray.h>
#include <maya/MFnBase.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <map>

namespace ke2::mayashim {
namespace {

// Explicit instantiation skips access checks: the tag's friend hands out the private member.
template <typename Tag, typename Tag::Type Member>
struct PrivateMember {
    friend typename Tag::Type memberOf(Tag) { return Member; }
};
#define KE2_SHIM_PRIVATE(NAME, CLASS, MEMBER_TYPE, MEMBER)                                      \
    struct NAME {                                                                               \
        using Type = MEMBER_TYPE CLASS::*;                                                      \
        friend Type memberOf(NAME);                                                             \
    };                                                                                          \
    template struct PrivateMember<NAME, &CLASS::MEMBER>;
KE2_SHIM_PRIVATE(ObjectPtr, MObject, void *, ptr)
KE2_SHIM_PRIVATE(SyntaxPtr, MSyntax, void *, fData)
KE2_SHIM_PRIVATE(ResultType, MCommandResult, MCommandResult::Type, fType)
KE2_SHIM_PRIVATE(ResultInt, MCommandResult, MInt64, fInt)
KE2_SHIM_PRIVATE(ResultDouble, MCommandResult, double, fDouble)
KE2_SHIM_PRIVATE(ResultString, MCommandResult, MString, fString)
KE2_SHIM_PRIVATE(ResultStrings, MCommandResult, MStringArray, fStrings)
#undef KE2_SHIM_PRIVATE

void appendUtf8(std::string &out, char32_t c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

std::vector<char32_t> codePoints(const std::string &utf8)
{
    std::vector<char32_t> result;
    for (size_t i = 0; i < utf8.size();) {
        const auto byte = static_cast<unsigned char>(utf8[i]);
        const int extra = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0xC0 ? 1 : 0;
        char32_t c = extra ? byte & (0x3F >> extra) : byte;
        for (int k = 1; k <= extra && i + k < utf8.size(); ++k)
            c = (c << 6) | (static_cast<unsigned char>(utf8[i + k]) & 0x3F);
        result.push_back(c);
        i += extra + 1;
    }
    return result;
}

// The stand-in's locale is Latin-1: one byte, one character.
std::string fromLocal(const char *text, size_t length)
{
    std::string utf8;
    for (size_t i = 0; i < length; ++i)
        appendUtf8(utf8, static_cast<unsigned char>(text[i]));
    return utf8;
}

std::string fromWide(const wchar_t *text, size_t length)
{
    std::string utf8;
    for (size_t i = 0; i < length; ++i)
        appendUtf8(utf8, static_cast<char32_t>(text[i]));
    return utf8;
}

std::string number(double value)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.17g", value);
    return buffer;
}

struct ParserData {
    SyntaxData flags;
    std::map<std::string, std::vector<MString>> set; // short flag name: its arguments
};

ParserData &parser(void *data) { return *static_cast<ParserData *>(data); }

std::string shortName(const SyntaxData &flags, const std::string &flag)
{
    for (const SyntaxFlag &entry : flags)
        if (entry.shortName == flag || entry.longName == flag)
            return entry.shortName;
    return std::string();
}

} // namespace

void *&objectPointer(MObject &object) { return object.*memberOf(ObjectPtr()); }
const SyntaxData &syntaxData(const MSyntax &syntax) { return *static_cast<SyntaxData *>(syntax.*memberOf(SyntaxPtr())); }

void setResult(MCommandResult &result, MCommandResult::Type type, MInt64 integer, double real, const MString &text,
               const MStringArray &texts)
{
    result.*memberOf(ResultType()) = type;
    result.*memberOf(ResultInt()) = integer;
    result.*memberOf(ResultDouble()) = real;
    result.*memberOf(ResultString()) = text;
    result.*memberOf(ResultStrings()) = texts;
}

} // namespace ke2::mayashim

using namespace ke2::mayashim;

OPENMAYA_MAJOR_NAMESPACE_OPEN

// ---- MStatus ----------------------------------------------------------------------------------

MStatus::MStatus() : code(kSuccess), internalStatusCode(0) {}
MStatus::MStatus(MStatusCode c) : code(c), internalStatusCode(0) {}
MStatus::MStatus(const MStatus &) = default;
MStatus &MStatus::operator=(const MStatus &) = default;
MStatus &MStatus::operator=(MStatusCode rhs) { code = rhs; return *this; }
bool MStatus::operator==(const MStatus &rhs) const { return code == rhs.code; }
bool MStatus::operator==(const MStatusCode rhs) const { return code == rhs; }
bool MStatus::operator!=(const MStatus &rhs) const { return code != rhs.code; }
bool MStatus::operator!=(const MStatusCode rhs) const { return code != rhs; }
MStatus::operator bool() const { return code == kSuccess; }
bool MStatus::error() const { return code != kSuccess; }
void MStatus::clear() { code = kSuccess; }
MStatus::MStatusCode MStatus::statusCode() const { return code; }
void MStatus::perror(const char *text) const { std::fprintf(stderr, "%s: %s\n", text, errorString().asChar()); }
void MStatus::perror(const MString &text) const { perror(text.asChar()); }

MString MStatus::errorString() const
{
    switch (code) {
    case kSuccess: return "Success";
    case kNotFound: return "Not found";
    case kInvalidParameter: return "Invalid parameter";
    default: return "Failure";
    }
}

// ---- MString ----------------------------------------------------------------------------------

MString::MString() = default;
MString::MString(const char *text) : fUtf8(text ? fromLocal(text, std::strlen(text)) : std::string()) {}
MString::MString(const char *text, int length)
    : fUtf8(text && length > 0 ? fromLocal(text, static_cast<size_t>(length)) : std::string()) {}
MString::MString(const MString &other) : fUtf8(other.fUtf8) {}
MString::MString(MString &&other) noexcept : fUtf8(std::move(other.fUtf8)) {}
MString::MString(const wchar_t *text) : fUtf8(text ? fromWide(text, std::wcslen(text)) : std::string()) {}
MString::MString(const wchar_t *text, int length)
    : fUtf8(text && length > 0 ? fromWide(text, static_cast<size_t>(length)) : std::string()) {}
MString::~MString() = default;

MString &MString::operator+=(const MString &other) { fUtf8 += other.fUtf8; return *this; }
MString &MString::operator+=(const char *other) { return *this += MString(other); }
MString &MString::operator+=(double other) { fUtf8 += number(other); return *this; }
MString &MString::operator+=(int other) { fUtf8 += std::to_string(other); return *this; }
MString &MString::operator+=(unsigned int other) { fUtf8 += std::to_string(other); return *this; }
MString &MString::operator+=(float other) { return *this += static_cast<double>(other); }
MString &MString::operator=(const MString &other) { fUtf8 = other.fUtf8; return *this; }
MString &MString::operator=(MString &&other) noexcept { fUtf8 = std::move(other.fUtf8); return *this; }
MString &MString::operator=(const char *other) { return *this = MString(other); }
MString &MString::operator=(double value) { fUtf8 = number(value); return *this; }
bool MString::operator==(const MString &other) const { return fUtf8 == other.fUtf8; }
bool MString::operator==(const char *other) const { return *this == MString(other); }
bool MString::operator!=(const MString &other) const { return !(*this == other); }
bool MString::operator!=(const char *other) const { return !(*this == other); }
MString MString::operator+(const MString &other) const { return MString(*this) += other; }
MString MString::operator+(const char *other) const { return MString(*this) += other; }
MString MString::operator+(double value) const { return MString(*this) += value; }
MString operator+(const char *left, const MString &right) { return MString(left) += right; }

MStatus MString::set(const char *text) { *this = MString(text); return MS::kSuccess; }
MStatus MString::set(const char *text, int length) { *this = MString(text, length); return MS::kSuccess; }
MStatus MString::set(double value) { fUtf8 = number(value); return MS::kSuccess; }

MStatus MString::set(double value, int precision)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*f", precision, value);
    fUtf8 = buffer;
    return MS::kSuccess;
}

MStatus MString::setUTF8(const char *utf8String) { fUtf8 = utf8String ? utf8String : ""; return MS::kSuccess; }
MStatus MString::setWChar(const wchar_t *text) { *this = MString(text); return MS::kSuccess; }
MStatus MString::setWChar(const wchar_t *text, int length) { *this = MString(text, length); return MS::kSuccess; }

const char *MString::asChar() const
{
    fLocal.clear();
    for (char32_t c : codePoints(fUtf8))
        fLocal += c < 0x100 ? static_cast<char>(c) : '?';
    return fLocal.c_str();
}

const char *MString::asChar(int &length) const
{
    const char *text = asChar();
    length = static_cast<int>(fLocal.size());
    return text;
}

const char *MString::asUTF8() const { return fUtf8.c_str(); }

const char *MString::asUTF8(int &length) const
{
    length = static_cast<int>(fUtf8.size());
    return fUtf8.c_str();
}

unsigned int MString::length() const { return numChars(); }
unsigned int MString::numChars() const { return static_cast<unsigned int>(codePoints(fUtf8).size()); }
void MString::clear() { fUtf8.clear(); }

// ---- Arrays -----------------------------------------------------------------------------------

MStringArray::MStringArray() = default;
MStringArray::MStringArray(const MStringArray &other) = default;
MStringArray::MStringArray(const MString *elements, unsigned int count) : fItems(elements, elements + count) {}
MStringArray::MStringArray(unsigned int size, const MString &value) : fItems(size, value) {}
MStringArray::~MStringArray() = default;
MStringArray &MStringArray::operator=(const MStringArray &other) = default;
MString MStringArray::operator[](unsigned int index) const { return fItems.at(index); }
MString &MStringArray::operator[](unsigned int index) { return fItems.at(index); }
MStatus MStringArray::set(const MString &element, unsigned int index)
{
    if (index >= fItems.size())
        return MS::kInvalidParameter;
    fItems[index] = element;
    return MS::kSuccess;
}
MStatus MStringArray::set(const char *element, unsigned int index) { return set(MString(element), index); }
MStatus MStringArray::setLength(unsigned int length) { fItems.resize(length); return MS::kSuccess; }
unsigned int MStringArray::length() const { return static_cast<unsigned int>(fItems.size()); }
MStatus MStringArray::remove(unsigned int index)
{
    if (index >= fItems.size())
        return MS::kInvalidParameter;
    fItems.erase(fItems.begin() + index);
    return MS::kSuccess;
}
MStatus MStringArray::insert(const MString &element, unsigned int index)
{
    if (index > fItems.size())
        return MS::kInvalidParameter;
    fItems.insert(fItems.begin() + index, element);
    return MS::kSuccess;
}
MStatus MStringArray::append(const MString &element) { fItems.push_back(element); return MS::kSuccess; }
MStatus MStringArray::clear() { fItems.clear(); return MS::kSuccess; }

MCallbackIdArray::MCallbackIdArray() = default;
MCallbackIdArray::MCallbackIdArray(const MCallbackIdArray &other) = default;
MCallbackIdArray::~MCallbackIdArray() = default;
MCallbackIdArray &MCallbackIdArray::operator=(const MCallbackIdArray &other) = default;
MCallbackId MCallbackIdArray::operator[](unsigned int index) const { return fIds.at(index); }
MCallbackId &MCallbackIdArray::operator[](unsigned int index) { return fIds.at(index); }
MStatus MCallbackIdArray::set(MCallbackId element, unsigned int index)
{
    if (index >= fIds.size())
        return MS::kInvalidParameter;
    fIds[index] = element;
    return MS::kSuccess;
}
MStatus MCallbackIdArray::setLength(unsigned int length) { fIds.resize(length); return MS::kSuccess; }
unsigned int MCallbackIdArray::length() const { return static_cast<unsigned int>(fIds.size()); }
MStatus MCallbackIdArray::remove(unsigned int index)
{
    if (index >= fIds.size())
        return MS::kInvalidParameter;
    fIds.erase(fIds.begin() + index);
    return MS::kSuccess;
}
MStatus MCallbackIdArray::insert(MCallbackId element, unsigned int index)
{
    if (index > fIds.size())
        return MS::kInvalidParameter;
    fIds.insert(fIds.begin() + index, element);
    return MS::kSuccess;
}
MStatus MCallbackIdArray::append(MCallbackId element) { fIds.push_back(element); return MS::kSuccess; }
MStatus MCallbackIdArray::copy(const MCallbackIdArray &source) { fIds = source.fIds; return MS::kSuccess; }
MStatus MCallbackIdArray::clear() { fIds.clear(); return MS::kSuccess; }

// ---- Objects and function sets ----------------------------------------------------------------

MObject MObject::kNullObj;
MObject::MObject() : ptr(nullptr) {}
MObject::MObject(const MObject &other) = default;
MObject &MObject::operator=(const MObject &other) = default;
MObject::~MObject() = default;
bool MObject::isNull() const { return !ptr; }
bool MObject::operator==(const MObject &other) const { return ptr == other.ptr; }
bool MObject::operator!=(const MObject &other) const { return ptr != other.ptr; }

MFnBase::MFnBase() = default;
MFnBase::~MFnBase() = default;
MObject MFnBase::object(MStatus *ReturnStatus) const
{
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
    return fObject;
}
MStatus MFnBase::setObject(MObject &object) { fObject = object; return MS::kSuccess; }
MStatus MFnBase::setObject(const MObject &object) { fObject = object; return MS::kSuccess; }

// ---- Syntax and argument parsing --------------------------------------------------------------

MSyntax::MSyntax() : fData(new SyntaxData) {}
MSyntax::MSyntax(const MSyntax &other) : fData(new SyntaxData(syntaxData(other))) {}
MSyntax::~MSyntax() { delete static_cast<SyntaxData *>(fData); }
MSyntax &MSyntax::operator=(const MSyntax &other)
{
    *static_cast<SyntaxData *>(fData) = syntaxData(other);
    return *this;
}

MStatus MSyntax::addFlag(const char *shortName, const char *longName, MArgType argType1, MArgType argType2,
                         MArgType argType3, MArgType argType4, MArgType argType5, MArgType argType6)
{
    int arguments = 0;
    for (MArgType type : {argType1, argType2, argType3, argType4, argType5, argType6})
        arguments += type != kNoArg && type != kInvalidArgType;
    static_cast<SyntaxData *>(fData)->push_back({shortName, longName, arguments});
    return MS::kSuccess;
}

MStatus MSyntax::addArg(MArgType) { return MS::kNotImplemented; }
void MSyntax::enableQuery(bool) {}
void MSyntax::enableEdit(bool) {}

MArgList::MArgList() = default;
MArgList::MArgList(const MArgList &other) = default;
MArgList::~MArgList() = default;
MArgList &MArgList::operator=(const MArgList &other) = default;
unsigned int MArgList::length(MStatus *ReturnStatus) const
{
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
    return static_cast<unsigned int>(fArgs.size());
}
bool MArgList::asBool(unsigned int index, MStatus *ReturnStatus) const { return asInt(index, ReturnStatus) != 0; }
int MArgList::asInt(unsigned int index, MStatus *ReturnStatus) const
{
    return static_cast<int>(asDouble(index, ReturnStatus));
}
double MArgList::asDouble(unsigned int index, MStatus *ReturnStatus) const
{
    const MString text = asString(index, ReturnStatus);
    return std::atof(text.asChar());
}
MString MArgList::asString(unsigned int index, MStatus *ReturnStatus) const
{
    if (ReturnStatus)
        *ReturnStatus = index < fArgs.size() ? MS::kSuccess : MS::kInvalidParameter;
    return index < fArgs.size() ? fArgs[index] : MString();
}
MArgList &MArgList::addArg(bool arg) { return addArg(MString(arg ? "1" : "0")); }
MArgList &MArgList::addArg(int arg) { return addArg(MString(std::to_string(arg).c_str())); }
MArgList &MArgList::addArg(double arg) { return addArg(MString() + arg); }
MArgList &MArgList::addArg(const MString &arg) { fArgs.push_back(arg); return *this; }

MArgParser::MArgParser() : fData(new ParserData) {}

// Fails on an unknown flag or a missing flag argument, as MEL's parser does.
MArgParser::MArgParser(const MSyntax &syntax, const MArgList &argList, MStatus *ReturnStatus)
    : fData(new ParserData{syntaxData(syntax), {}})
{
    ParserData &data = parser(fData);
    bool ok = true;
    for (unsigned int i = 0; ok && i < argList.length(); ++i) {
        const std::string name = shortName(data.flags, argList.asString(i).asChar());
        ok = !name.empty();
        std::vector<MString> &values = data.set[name];
        for (const SyntaxFlag &flag : data.flags)
            for (int k = 0; ok && flag.shortName == name && k < flag.arguments; ++k)
                if ((ok = i + 1 < argList.length()))
                    values.push_back(argList.asString(++i));
    }
    if (ReturnStatus)
        *ReturnStatus = ok ? MS::kSuccess : MS::kInvalidParameter;
}

MArgParser::~MArgParser() { delete &parser(fData); }

bool MArgParser::isFlagSet(const char *flag, MStatus *ReturnStatus) const
{
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
    const ParserData &data = parser(fData);
    return data.set.count(shortName(data.flags, flag)) != 0;
}

bool MArgParser::isEdit(MStatus *ReturnStatus) const { return isFlagSet("-e", ReturnStatus); }
bool MArgParser::isQuery(MStatus *ReturnStatus) const { return isFlagSet("-q", ReturnStatus); }
unsigned int MArgParser::numberOfFlagsUsed() const { return static_cast<unsigned int>(parser(fData).set.size()); }

MStatus MArgParser::getFlagArgument(const char *flag, unsigned int index, MString &result) const
{
    const ParserData &data = parser(fData);
    const auto found = data.set.find(shortName(data.flags, flag));
    if (found == data.set.end() || index >= found->second.size())
        return MS::kFailure;
    result = found->second[index];
    return MS::kSuccess;
}

MStatus MArgParser::getFlagArgument(const char *flag, unsigned int index, double &result) const
{
    MString text;
    const MStatus status = getFlagArgument(flag, index, text);
    if (status)
        result = std::atof(text.asChar());
    return status;
}

MStatus MArgParser::getFlagArgument(const char *flag, unsigned int index, int &result) const
{
    double value = 0;
    const MStatus status = getFlagArgument(flag, index, value);
    if (status)
        result = static_cast<int>(value);
    return status;
}

MStatus MArgParser::getFlagArgument(const char *flag, unsigned int index, unsigned int &result) const
{
    double value = 0;
    const MStatus status = getFlagArgument(flag, index, value);
    if (status)
        result = static_cast<unsigned int>(value);
    return status;
}

MStatus MArgParser::getFlagArgument(const char *flag, unsigned int index, bool &result) const
{
    double value = 0;
    const MStatus status = getFlagArgument(flag, index, value);
    if (status)
        result = value != 0;
    return status;
}

MString MArgParser::flagArgumentString(const char *flag, unsigned int index, MStatus *ReturnStatus) const
{
    MString result;
    const MStatus status = getFlagArgument(flag, index, result);
    if (ReturnStatus)
        *ReturnStatus = status;
    return result;
}

MArgDatabase::MArgDatabase() = default;
MArgDatabase::MArgDatabase(const MSyntax &syntax, const MArgList &argList, MStatus *ReturnStatus)
    : MArgParser(syntax, argList, ReturnStatus) {}
MArgDatabase::~MArgDatabase() = default;
MStatus MArgDatabase::getObjects(MStringArray &result) const
{
    result.clear();
    return MS::kSuccess;
}

// ---- Command results --------------------------------------------------------------------------

MCommandResult::MCommandResult(MStatus *ReturnStatus) : fType(kInvalid), fInt(0), fDouble(0.0)
{
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
}
MCommandResult::~MCommandResult() = default;
MCommandResult::Type MCommandResult::resultType(MStatus *ReturnStatus) const
{
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
    return fType;
}

// Like Maya, a result is only read back as the type it has.
MStatus MCommandResult::getResult(int &result) const
{
    if (fType != kInt)
        return MS::kInvalidParameter;
    result = static_cast<int>(fInt);
    return MS::kSuccess;
}
MStatus MCommandResult::getResult(MInt64 &result) const
{
    if (fType != kInt && fType != kInt64)
        return MS::kInvalidParameter;
    result = fInt;
    return MS::kSuccess;
}
MStatus MCommandResult::getResult(double &result) const
{
    if (fType != kDouble)
        return MS::kInvalidParameter;
    result = fDouble;
    return MS::kSuccess;
}
MStatus MCommandResult::getResult(MString &result) const
{
    if (fType != kString)
        return MS::kInvalidParameter;
    result = fString;
    return MS::kSuccess;
}
MStatus MCommandResult::getResult(MStringArray &result) const
{
    if (fType != kStringArray)
        return MS::kInvalidParameter;
    result = fStrings;
    return MS::kSuccess;
}

OPENMAYA_NAMESPACE_CLOSE
