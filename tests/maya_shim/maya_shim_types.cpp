// Value types of the OpenMaya shim.
#include <maya/MArgDatabase.h>
#include <maya/MArgList.h>
#include <maya/MCallbackIdArray.h>
#include <maya/MCommandResult.h>
#include <maya/MObject.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>
#include <maya/MSyntax.h>

#include <cstring>

// ---- MString ----------------------------------------------------------------------------------

MString::MString() = default;
MString::MString(const char *text) : m_text(text ? text : "") {}
MString::MString(const char *text, int length) : m_text(text ? std::string(text, static_cast<size_t>(length)) : std::string()) {}
MString::MString(const MString &other) = default;
MString::~MString() = default;
MString &MString::operator=(const MString &other) = default;

MString &MString::operator+=(const MString &other)
{
    m_text += other.m_text;
    return *this;
}

bool MString::operator==(const MString &other) const { return m_text == other.m_text; }
bool MString::operator!=(const MString &other) const { return m_text != other.m_text; }
const char *MString::asChar() const { return m_text.c_str(); }
const char *MString::asUTF8() const { return m_text.c_str(); }
unsigned int MString::length() const { return static_cast<unsigned int>(m_text.size()); }

unsigned int MString::numChars() const
{
    unsigned int count = 0;
    for (unsigned char c : m_text)
        count += (c & 0xC0) != 0x80;
    return count;
}

MString operator+(const MString &left, const MString &right)
{
    MString result(left);
    result += right;
    return result;
}

// ---- MStringArray -----------------------------------------------------------------------------

MStringArray::MStringArray() = default;
MStringArray::MStringArray(const MStringArray &other) = default;
MStringArray::~MStringArray() = default;
MStringArray &MStringArray::operator=(const MStringArray &other) = default;
const MString &MStringArray::operator[](unsigned int index) const { return m_items.at(index); }
MString &MStringArray::operator[](unsigned int index) { return m_items.at(index); }
unsigned int MStringArray::length() const { return static_cast<unsigned int>(m_items.size()); }
void MStringArray::append(const MString &element) { m_items.push_back(element); }
void MStringArray::clear() { m_items.clear(); }

// ---- MStatus ----------------------------------------------------------------------------------

MStatus::MStatus() : m_code(MS::kSuccess) {}
MStatus::MStatus(MS::MStatusCode code) : m_code(code) {}
MStatus::MStatus(const MStatus &other) = default;
MStatus &MStatus::operator=(const MStatus &other) = default;
bool MStatus::operator==(const MStatus &other) const { return m_code == other.m_code; }
bool MStatus::operator==(MS::MStatusCode code) const { return m_code == code; }
bool MStatus::operator!=(const MStatus &other) const { return m_code != other.m_code; }
bool MStatus::operator!=(MS::MStatusCode code) const { return m_code != code; }
MStatus::operator bool() const { return m_code == MS::kSuccess; }
bool MStatus::error() const { return m_code != MS::kSuccess; }
MS::MStatusCode MStatus::statusCode() const { return m_code; }

MString MStatus::errorString() const
{
    switch (m_code) {
    case MS::kSuccess: return "Success";
    case MS::kFailure: return "Failure";
    case MS::kInsufficientMemory: return "Insufficient memory";
    case MS::kInvalidParameter: return "Invalid parameter";
    case MS::kLicenseFailure: return "License failure";
    case MS::kUnknownParameter: return "Unknown parameter";
    case MS::kNotImplemented: return "Not implemented";
    case MS::kNotFound: return "Not found";
    case MS::kEndOfFile: return "End of file";
    }
    return "Unknown status";
}

// ---- MObject ----------------------------------------------------------------------------------

MObject::MObject() : m_handle(nullptr) {}
MObject::MObject(const MObject &other) = default;
MObject::~MObject() = default;
MObject &MObject::operator=(const MObject &other) = default;
bool MObject::isNull() const { return m_handle == nullptr; }

// ---- MArgList, MSyntax, MArgDatabase ----------------------------------------------------------

MArgList::MArgList() = default;
MArgList::MArgList(const MArgList &other) = default;
MArgList::~MArgList() = default;
MArgList &MArgList::operator=(const MArgList &other) = default;

unsigned int MArgList::length(MStatus *ReturnStatus) const
{
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
    return static_cast<unsigned int>(m_args.size());
}

MString MArgList::asString(unsigned int index, MStatus *ReturnStatus) const
{
    const bool ok = index < m_args.size();
    if (ReturnStatus)
        *ReturnStatus = ok ? MS::kSuccess : MS::kFailure;
    return ok ? m_args[index] : MString();
}

MArgList &MArgList::addArg(const MString &arg)
{
    m_args.push_back(arg);
    return *this;
}

MSyntax::MSyntax() = default;
MSyntax::MSyntax(const MSyntax &other) = default;
MSyntax::~MSyntax() = default;
MSyntax &MSyntax::operator=(const MSyntax &other) = default;

MStatus MSyntax::addFlag(const char *shortName, const char *longName, MArgType argType1, MArgType argType2,
                         MArgType argType3, MArgType argType4, MArgType argType5, MArgType argType6)
{
    if (!shortName || !longName || shortName[0] != '-' || longName[0] != '-')
        return MS::kInvalidParameter;
    for (const Flag &flag : m_flags)
        if (flag.shortName == shortName || flag.longName == longName)
            return MS::kInvalidParameter;
    Flag flag{shortName, longName, {}};
    for (MArgType type : {argType1, argType2, argType3, argType4, argType5, argType6})
        if (type != kNoArg && type != kInvalidArgType)
            flag.arguments.push_back(type);
    m_flags.push_back(flag);
    return MS::kSuccess;
}

MArgDatabase::MArgDatabase(const MSyntax &syntax, const MArgList &argList, MStatus *ReturnStatus) : m_syntax(syntax)
{
    MStatus status = MS::kSuccess;
    const unsigned int count = argList.length();
    for (unsigned int i = 0; i < count && status; ++i) {
        const MString token = argList.asString(i);
        const std::string *shortName = shortNameOf(token.asChar());
        if (!shortName) {
            status = MS::kInvalidParameter; // unknown flag, or an argument where none is declared
            break;
        }
        size_t needed = 0;
        for (const MSyntax::Flag &flag : m_syntax.m_flags)
            if (flag.shortName == *shortName)
                needed = flag.arguments.size();
        std::vector<MString> values;
        for (size_t n = 0; n < needed; ++n) {
            if (i + 1 >= count) {
                status = MS::kInvalidParameter;
                break;
            }
            values.push_back(argList.asString(++i));
        }
        m_set[*shortName] = values;
    }
    if (ReturnStatus)
        *ReturnStatus = status;
}

MArgDatabase::~MArgDatabase() = default;

const std::string *MArgDatabase::shortNameOf(const char *flag) const
{
    for (const MSyntax::Flag &entry : m_syntax.m_flags)
        if (entry.shortName == flag || entry.longName == flag)
            return &entry.shortName;
    return nullptr;
}

bool MArgDatabase::isFlagSet(const char *flag, MStatus *ReturnStatus) const
{
    const std::string *shortName = shortNameOf(flag);
    if (ReturnStatus)
        *ReturnStatus = shortName ? MS::kSuccess : MS::kInvalidParameter;
    return shortName && m_set.count(*shortName) != 0;
}

MStatus MArgDatabase::getFlagArgument(const char *flag, unsigned int index, MString &result) const
{
    const std::string *shortName = shortNameOf(flag);
    if (!shortName)
        return MS::kInvalidParameter;
    const auto found = m_set.find(*shortName);
    if (found == m_set.end() || index >= found->second.size())
        return MS::kFailure;
    result = found->second[index];
    return MS::kSuccess;
}

// ---- MCallbackIdArray, MCommandResult ---------------------------------------------------------

MCallbackIdArray::MCallbackIdArray() = default;
MCallbackIdArray::MCallbackIdArray(const MCallbackIdArray &other) = default;
MCallbackIdArray::~MCallbackIdArray() = default;
MCallbackIdArray &MCallbackIdArray::operator=(const MCallbackIdArray &other) = default;
MCallbackId MCallbackIdArray::operator[](unsigned int index) const { return m_ids.at(index); }
unsigned int MCallbackIdArray::length() const { return static_cast<unsigned int>(m_ids.size()); }
void MCallbackIdArray::append(MCallbackId id) { m_ids.push_back(id); }
void MCallbackIdArray::clear() { m_ids.clear(); }

MCommandResult::MCommandResult(MStatus *ReturnStatus) : m_type(kInvalid), m_int(0), m_double(0.0)
{
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
}

MCommandResult::~MCommandResult() = default;

MCommandResult::Type MCommandResult::resultType(MStatus *ReturnStatus) const
{
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
    return m_type;
}

MStatus MCommandResult::getResult(int &result) const
{
    if (m_type != kInt)
        return MS::kInvalidParameter;
    result = m_int;
    return MS::kSuccess;
}

MStatus MCommandResult::getResult(double &result) const
{
    if (m_type != kDouble)
        return MS::kInvalidParameter;
    result = m_double;
    return MS::kSuccess;
}

MStatus MCommandResult::getResult(MString &result) const
{
    if (m_type != kString)
        return MS::kInvalidParameter;
    result = m_string;
    return MS::kSuccess;
}

MStatus MCommandResult::getResult(MStringArray &result) const
{
    if (m_type != kStringArray)
        return MS::kInvalidParameter;
    result = m_strings;
    return MS::kSuccess;
}
