// The scripted runtime behind the OpenMaya shim: plays Maya for the tests.
#include "maya_shim_runtime.h"

#include <maya/MArgDatabase.h>
#include <maya/MCommandMessage.h>
#include <maya/MCommandResult.h>
#include <maya/MEventMessage.h>
#include <maya/MFnPlugin.h>
#include <maya/MGlobal.h>
#include <maya/MPxCommand.h>
#include <maya/MQtUtil.h>

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

#include <map>
#include <memory>

struct MShimAccess {
    static MObject make(void *handle)
    {
        MObject object;
        object.m_handle = handle;
        return object;
    }
};

namespace ke2::mayashim {
namespace {

struct Command {
    MCreatorFunction creator;
    MCreateSyntaxFunction syntax;
};

struct Runtime {
    Handler mel, python;
    QVector<Record> records, idle;
    std::map<QString, Command> commands;
    std::map<MCallbackId, std::pair<QString, std::pair<MMessage::MBasicFunction, void *>>> events;
    std::map<MCallbackId, std::pair<MCommandMessage::MMessageFunction, void *>> outputs;
    MCallbackId nextId = 1;
    bool failFunctionSet = false, failRegistration = false, failCallbacks = false;
    QString result;
    QPointer<QWidget> currentParent;
    QHash<QString, QPointer<QWidget>> controls;
    QVector<QPair<QWidget *, QWidget *>> added;
    QHash<QString, int> optionVars;
};

Runtime &runtime()
{
    static Runtime state;
    return state;
}

int g_pluginToken = 0;

QString toQt(const MString &text) { return MQtUtil::toQString(text); }
MString toMaya(const QString &text) { return MQtUtil::toMString(text); }

// Records the command and asks the test's handler for the answer.
QVariant send(Kind kind, const MString &command, bool display)
{
    runtime().records.append({kind, toQt(command), display});
    const Handler &handler = kind == Kind::Mel ? runtime().mel : runtime().python;
    return handler ? handler(toQt(command)) : QVariant();
}

MStatus statusOf(bool ok) { return ok ? MS::kSuccess : MS::kFailure; }

MStringArray toArray(const QStringList &items)
{
    MStringArray array;
    for (const QString &item : items)
        array.append(toMaya(item));
    return array;
}

void deliverOutput(const QString &text, int type)
{
    const auto outputs = runtime().outputs; // a callback may remove callbacks
    for (const auto &entry : outputs)
        entry.second.first(toMaya(text), static_cast<MCommandMessage::MessageType>(type), entry.second.second);
}

// Like Maya, messages shown in the Script Editor also reach the command-output callbacks.
void display(Kind kind, const MString &message, MCommandMessage::MessageType type)
{
    runtime().records.append({kind, toQt(message), true});
    deliverOutput(toQt(message), type);
}

MCallbackId nextId(MStatus *status)
{
    if (status)
        *status = statusOf(!runtime().failCallbacks);
    return runtime().failCallbacks ? 0 : runtime().nextId++;
}

} // namespace

void reset() { runtime() = Runtime(); }
void setMelHandler(Handler handler) { runtime().mel = std::move(handler); }
void setPythonHandler(Handler handler) { runtime().python = std::move(handler); }
void clearRecords() { runtime().records.clear(); }

QStringList texts(Kind kind)
{
    QStringList result;
    for (const Record &record : runtime().records)
        if (record.kind == kind)
            result.append(record.text);
    return result;
}

int runIdle()
{
    int ran = 0;
    for (; !runtime().idle.isEmpty(); ++ran) {
        const Record record = runtime().idle.takeFirst();
        send(record.kind == Kind::MelOnIdle ? Kind::Mel : Kind::Python, toMaya(record.text), record.display);
        runtime().records.last().kind = record.kind;
    }
    return ran;
}

MObject pluginObject() { return MShimAccess::make(&g_pluginToken); }
void failNextPluginFunctionSet() { runtime().failFunctionSet = true; }
void failNextRegistration() { runtime().failRegistration = true; }

QStringList registeredCommands()
{
    QStringList names;
    for (const auto &entry : runtime().commands)
        names.append(entry.first);
    return names;
}

CommandRun runCommand(const QString &name, const QStringList &arguments)
{
    const auto found = runtime().commands.find(name);
    if (found == runtime().commands.end())
        return {};
    MArgList args;
    for (const QString &argument : arguments)
        args.addArg(toMaya(argument));
    runtime().result.clear();
    std::unique_ptr<MPxCommand> command(static_cast<MPxCommand *>(found->second.creator()));
    return {static_cast<bool>(command->doIt(args)), runtime().result};
}

void failCallbacks(bool fail) { runtime().failCallbacks = fail; }
int callbackCount() { return static_cast<int>(runtime().events.size() + runtime().outputs.size()); }
void fireCommandOutput(const QString &text, int type) { deliverOutput(text, type); }

void fireEvent(const QString &event)
{
    const auto events = runtime().events;
    for (const auto &entry : events)
        if (entry.second.first == event)
            entry.second.second.first(entry.second.second.second);
}

void setCurrentParent(QWidget *widget) { runtime().currentParent = widget; }
void setControl(const QString &name, QWidget *widget) { runtime().controls.insert(name, widget); }
QVector<QPair<QWidget *, QWidget *>> addedToLayout() { return runtime().added; }
QHash<QString, int> &optionVars() { return runtime().optionVars; }

} // namespace ke2::mayashim

using namespace ke2::mayashim;

// ---- MGlobal ----------------------------------------------------------------------------------

MStatus MGlobal::executeCommand(const MString &command, bool displayEnabled, bool)
{
    return statusOf(send(Kind::Mel, command, displayEnabled).isValid());
}

MStatus MGlobal::executeCommand(const MString &command, MCommandResult &result, bool displayEnabled, bool)
{
    const QVariant value = send(Kind::Mel, command, displayEnabled);
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::Bool: result.m_type = MCommandResult::kInt; result.m_int = value.toInt(); break;
    case QMetaType::Double: result.m_type = MCommandResult::kDouble; result.m_double = value.toDouble(); break;
    case QMetaType::QString: result.m_type = MCommandResult::kString; result.m_string = toMaya(value.toString()); break;
    case QMetaType::QStringList:
        result.m_type = MCommandResult::kStringArray;
        result.m_strings = toArray(value.toStringList());
        break;
    default: result.m_type = MCommandResult::kInvalid;
    }
    return statusOf(value.isValid());
}

MStatus MGlobal::executePythonCommand(const MString &command, bool displayEnabled, bool)
{
    return statusOf(send(Kind::Python, command, displayEnabled).isValid());
}

MStatus MGlobal::executePythonCommand(const MString &command, int &result, bool displayEnabled, bool)
{
    const QVariant value = send(Kind::Python, command, displayEnabled);
    if (value.userType() == QMetaType::Int)
        result = value.toInt();
    return statusOf(value.userType() == QMetaType::Int);
}

MStatus MGlobal::executePythonCommand(const MString &command, MString &result, bool displayEnabled, bool)
{
    const QVariant value = send(Kind::Python, command, displayEnabled);
    if (value.userType() == QMetaType::QString)
        result = toMaya(value.toString());
    return statusOf(value.userType() == QMetaType::QString);
}

MStatus MGlobal::executePythonCommand(const MString &command, MStringArray &result, bool displayEnabled, bool)
{
    const QVariant value = send(Kind::Python, command, displayEnabled);
    if (value.userType() == QMetaType::QStringList)
        result = toArray(value.toStringList());
    return statusOf(value.userType() == QMetaType::QStringList);
}

MStatus MGlobal::executeCommandOnIdle(const MString &command, bool displayEnabled)
{
    runtime().idle.append({Kind::MelOnIdle, toQt(command), displayEnabled});
    return MS::kSuccess;
}

MStatus MGlobal::executePythonCommandOnIdle(const MString &command, bool displayEnabled)
{
    runtime().idle.append({Kind::PythonOnIdle, toQt(command), displayEnabled});
    return MS::kSuccess;
}

void MGlobal::displayInfo(const MString &message) { display(Kind::Info, message, MCommandMessage::kInfo); }
void MGlobal::displayWarning(const MString &message) { display(Kind::Warning, message, MCommandMessage::kWarning); }
void MGlobal::displayError(const MString &message) { display(Kind::Error, message, MCommandMessage::kError); }
bool MGlobal::optionVarExists(const MString &name) { return runtime().optionVars.contains(toQt(name)); }

int MGlobal::optionVarIntValue(const MString &name, bool *exists)
{
    if (exists)
        *exists = optionVarExists(name);
    return runtime().optionVars.value(toQt(name));
}

bool MGlobal::setOptionVarValue(const MString &name, int value)
{
    runtime().optionVars.insert(toQt(name), value);
    return true;
}

// ---- Commands, their arguments and the plug-in function set -----------------------------------

void MPxCommand::setResult(const MString &result) { runtime().result = toQt(result); }

std::string MArgDatabase::shortNameOf(const std::string &flag) const
{
    for (const MSyntax::Flag &entry : m_syntax.m_flags)
        if (entry.shortName == flag || entry.longName == flag)
            return entry.shortName;
    return std::string();
}

// Fails on an unknown flag or a missing flag argument, as MEL's parser does.
MArgDatabase::MArgDatabase(const MSyntax &syntax, const MArgList &argList, MStatus *ReturnStatus) : m_syntax(syntax)
{
    bool ok = true;
    for (unsigned int i = 0; ok && i < argList.length(); ++i) {
        const std::string name = shortNameOf(argList.asString(i).asChar());
        ok = !name.empty();
        std::vector<MString> &values = m_set[name];
        for (const MSyntax::Flag &flag : m_syntax.m_flags)
            if (ok && flag.shortName == name && flag.takesArgument && (ok = i + 1 < argList.length()))
                values.push_back(argList.asString(++i));
    }
    if (ReturnStatus)
        *ReturnStatus = statusOf(ok);
}

MStatus MArgDatabase::getFlagArgument(const char *flag, unsigned int index, MString &result) const
{
    const auto found = m_set.find(shortNameOf(flag));
    if (found == m_set.end() || index >= found->second.size())
        return MS::kFailure;
    result = found->second[index];
    return MS::kSuccess;
}

MFnPlugin::MFnPlugin(MObject &object, const char *, const char *, const char *, MStatus *ReturnStatus)
    : m_plugin(object.m_handle)
{
    const bool failed = object.isNull() || runtime().failFunctionSet;
    runtime().failFunctionSet = false;
    if (ReturnStatus)
        *ReturnStatus = statusOf(!failed);
}

MStatus MFnPlugin::registerCommand(const MString &commandName, MCreatorFunction creatorFunction,
                                   MCreateSyntaxFunction createSyntaxFunction)
{
    const QString name = toQt(commandName);
    const bool failed = runtime().failRegistration || !m_plugin || !creatorFunction || runtime().commands.count(name);
    runtime().failRegistration = false;
    if (!failed)
        runtime().commands[name] = Command{creatorFunction, createSyntaxFunction};
    return statusOf(!failed);
}

MStatus MFnPlugin::deregisterCommand(const MString &commandName)
{
    return runtime().commands.erase(toQt(commandName)) ? MS::kSuccess : MS::kNotFound;
}

// ---- Messages ---------------------------------------------------------------------------------

MStatus MMessage::removeCallbacks(MCallbackIdArray &ids)
{
    bool ok = !runtime().failCallbacks;
    for (unsigned int i = 0; ok && i < ids.length(); ++i)
        ok = runtime().events.erase(ids[i]) + runtime().outputs.erase(ids[i]) > 0 && ok;
    return statusOf(ok);
}

MCallbackId MEventMessage::addEventCallback(const MString &event, MMessage::MBasicFunction func, void *clientData,
                                            MStatus *ReturnStatus)
{
    const MCallbackId id = nextId(ReturnStatus);
    if (id)
        runtime().events[id] = {toQt(event), {func, clientData}};
    return id;
}

MCallbackId MCommandMessage::addCommandOutputCallback(MMessageFunction func, void *clientData, MStatus *ReturnStatus)
{
    const MCallbackId id = nextId(ReturnStatus);
    if (id)
        runtime().outputs[id] = {func, clientData};
    return id;
}

// ---- MQtUtil ----------------------------------------------------------------------------------

QWidget *MQtUtil::mainWindow() { return nullptr; } // the tests dock everything in the control
QWidget *MQtUtil::getCurrentParent() { return runtime().currentParent; }
QWidget *MQtUtil::findControl(const MString &controlName, const QWidget *) { return runtime().controls.value(toQt(controlName)); }

bool MQtUtil::addWidgetToMayaLayout(QWidget *control, QWidget *layout)
{
    if (!control || !layout)
        return false;
    runtime().added.append(qMakePair(control, layout));
    control->setParent(layout); // as Maya does: the layout owns the widget from now on
    return true;
}
