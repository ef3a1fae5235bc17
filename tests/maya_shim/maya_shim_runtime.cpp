// The scripted runtime behind the OpenMaya shim: plays Maya for the tests.
#include "maya_shim_runtime.h"

#include "maya_shim_private.h"

#define MNoVersionString
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
#include <mutex>

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
    std::map<MCallbackId, std::pair<MCommandMessage::MMessageFunction, void *>> outputs; // under outputLock
    MCallbackId nextId = 1;
    bool failFunctionSet = false, failRegistration = false, failCallbacks = false;
    QVariant result;
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

// Maya prints from any thread; its callback table is shared with the main thread.
std::mutex g_outputLock;

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
    std::unique_lock<std::mutex> lock(g_outputLock);
    const auto outputs = runtime().outputs; // a callback may remove callbacks
    lock.unlock();
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

void reset()
{
    std::lock_guard<std::mutex> lock(g_outputLock);
    runtime() = Runtime();
}
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

MObject pluginObject()
{
    MObject object;
    objectPointer(object) = &g_pluginToken;
    return object;
}
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
    runtime().result = QVariant();
    std::unique_ptr<MPxCommand> command(static_cast<MPxCommand *>(found->second.creator()));
    const bool ok = command->doIt(args);
    return {ok, runtime().result.toString()};
}

void failCallbacks(bool fail) { runtime().failCallbacks = fail; }
int callbackCount()
{
    std::lock_guard<std::mutex> lock(g_outputLock);
    return static_cast<int>(runtime().events.size() + runtime().outputs.size());
}
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

OPENMAYA_MAJOR_NAMESPACE_OPEN

// ---- MGlobal ----------------------------------------------------------------------------------

MGlobal::MMayaState MGlobal::mayaState(MStatus *ReturnStatus)
{
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
    return kInteractive;
}

MStatus MGlobal::executeCommand(const MString &command, bool displayEnabled, bool)
{
    return statusOf(send(Kind::Mel, command, displayEnabled).isValid());
}

MStatus MGlobal::executeCommand(const MString &command, MCommandResult &result, bool displayEnabled, bool)
{
    const QVariant value = send(Kind::Mel, command, displayEnabled);
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::Bool: setResult(result, MCommandResult::kInt, value.toInt(), 0, MString(), MStringArray()); break;
    case QMetaType::Double:
        setResult(result, MCommandResult::kDouble, 0, value.toDouble(), MString(), MStringArray());
        break;
    case QMetaType::QString:
        setResult(result, MCommandResult::kString, 0, 0, toMaya(value.toString()), MStringArray());
        break;
    case QMetaType::QStringList:
        setResult(result, MCommandResult::kStringArray, 0, 0, MString(), toArray(value.toStringList()));
        break;
    default: setResult(result, MCommandResult::kInvalid, 0, 0, MString(), MStringArray());
    }
    return statusOf(value.isValid());
}

namespace {
// A typed result: the handler's answer must have the asked type.
template <typename T>
MStatus typedResult(Kind kind, const MString &command, T &result, bool displayEnabled)
{
    const QVariant value = send(kind, command, displayEnabled);
    bool ok = false;
    if constexpr (std::is_same_v<T, int>) {
        if ((ok = value.userType() == QMetaType::Int))
            result = value.toInt();
    } else if constexpr (std::is_same_v<T, double>) {
        if ((ok = value.userType() == QMetaType::Double))
            result = value.toDouble();
    } else if constexpr (std::is_same_v<T, MString>) {
        if ((ok = value.userType() == QMetaType::QString))
            result = toMaya(value.toString());
    } else {
        if ((ok = value.userType() == QMetaType::QStringList))
            result = toArray(value.toStringList());
    }
    return statusOf(ok);
}
} // namespace

MStatus MGlobal::executeCommand(const MString &command, int &result, bool displayEnabled, bool)
{
    return typedResult(Kind::Mel, command, result, displayEnabled);
}
MStatus MGlobal::executeCommand(const MString &command, double &result, bool displayEnabled, bool)
{
    return typedResult(Kind::Mel, command, result, displayEnabled);
}
MStatus MGlobal::executeCommand(const MString &command, MString &result, bool displayEnabled, bool)
{
    return typedResult(Kind::Mel, command, result, displayEnabled);
}
MStatus MGlobal::executeCommand(const MString &command, MStringArray &result, bool displayEnabled, bool)
{
    return typedResult(Kind::Mel, command, result, displayEnabled);
}

MStatus MGlobal::executePythonCommand(const MString &command, bool displayEnabled, bool)
{
    return statusOf(send(Kind::Python, command, displayEnabled).isValid());
}
MStatus MGlobal::executePythonCommand(const MString &command, int &result, bool displayEnabled, bool)
{
    return typedResult(Kind::Python, command, result, displayEnabled);
}
MStatus MGlobal::executePythonCommand(const MString &command, double &result, bool displayEnabled, bool)
{
    return typedResult(Kind::Python, command, result, displayEnabled);
}
MStatus MGlobal::executePythonCommand(const MString &command, MString &result, bool displayEnabled, bool)
{
    return typedResult(Kind::Python, command, result, displayEnabled);
}
MStatus MGlobal::executePythonCommand(const MString &command, MStringArray &result, bool displayEnabled, bool)
{
    return typedResult(Kind::Python, command, result, displayEnabled);
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

// ---- Commands and the plug-in function set ----------------------------------------------------

MPxCommand::MPxCommand() = default;
MPxCommand::~MPxCommand() = default;
MStatus MPxCommand::doIt(const MArgList &) { return MS::kSuccess; }
MStatus MPxCommand::undoIt() { return MS::kNotImplemented; }
MStatus MPxCommand::redoIt() { return MS::kNotImplemented; }
bool MPxCommand::isUndoable() const { return false; }
bool MPxCommand::hasSyntax() const { return true; }
void MPxCommand::displayInfo(const MString &text) { MGlobal::displayInfo(text); }
void MPxCommand::displayWarning(const MString &text, bool) { MGlobal::displayWarning(text); }
void MPxCommand::displayError(const MString &text, bool) { MGlobal::displayError(text); }
void MPxCommand::clearResult() { runtime().result = QVariant(); }
void MPxCommand::setResult(unsigned int val) { runtime().result = val; }
void MPxCommand::setResult(int val) { runtime().result = val; }
void MPxCommand::setResult(double val) { runtime().result = val; }
void MPxCommand::setResult(bool val) { runtime().result = val; }
void MPxCommand::setResult(const char *val) { runtime().result = toQt(MString(val)); }
void MPxCommand::setResult(const MString &val) { runtime().result = toQt(val); }

void MPxCommand::setResult(const MStringArray &val)
{
    QStringList items;
    for (unsigned int i = 0; i < val.length(); ++i)
        items.append(toQt(val[i]));
    runtime().result = items;
}

MCommandResult::Type MPxCommand::currentResultType()
{
    switch (runtime().result.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Bool: return MCommandResult::kInt;
    case QMetaType::Double: return MCommandResult::kDouble;
    case QMetaType::QString: return MCommandResult::kString;
    case QMetaType::QStringList: return MCommandResult::kStringArray;
    default: return MCommandResult::kInvalid;
    }
}

MFnPlugin::MFnPlugin() = default;

MFnPlugin::MFnPlugin(MObject &object, const char *, const char *, const char *, MStatus *ReturnStatus)
{
    const bool failed = object.isNull() || runtime().failFunctionSet;
    runtime().failFunctionSet = false;
    if (!failed)
        setObject(object);
    if (ReturnStatus)
        *ReturnStatus = statusOf(!failed);
}

MFnPlugin::~MFnPlugin() = default;

MStatus MFnPlugin::registerCommand(const MString &commandName, MCreatorFunction creatorFunction,
                                   MCreateSyntaxFunction createSyntaxFunction)
{
    const QString name = toQt(commandName);
    const bool failed =
        runtime().failRegistration || object().isNull() || !creatorFunction || runtime().commands.count(name);
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

MStatus MMessage::removeCallback(MCallbackId id)
{
    std::lock_guard<std::mutex> lock(g_outputLock);
    const bool ok = !runtime().failCallbacks && runtime().events.erase(id) + runtime().outputs.erase(id) > 0;
    return statusOf(ok);
}

MStatus MMessage::removeCallbacks(MCallbackIdArray &ids)
{
    bool ok = !runtime().failCallbacks;
    for (unsigned int i = 0; ok && i < ids.length(); ++i)
        ok = removeCallback(ids[i]);
    return statusOf(ok);
}

MCallbackId MEventMessage::addEventCallback(const MString &event, MMessage::MBasicFunction func, void *clientData,
                                            MStatus *ReturnStatus)
{
    const MCallbackId id = nextId(ReturnStatus);
    std::lock_guard<std::mutex> lock(g_outputLock);
    if (id)
        runtime().events[id] = {toQt(event), {func, clientData}};
    return id;
}

MCallbackId MCommandMessage::addCommandOutputCallback(MCommandMessage::MMessageFunction func, void *clientData,
                                                      MStatus *ReturnStatus)
{
    const MCallbackId id = nextId(ReturnStatus);
    std::lock_guard<std::mutex> lock(g_outputLock);
    if (id)
        runtime().outputs[id] = {func, clientData};
    return id;
}

// ---- MQtUtil ----------------------------------------------------------------------------------

QWidget *MQtUtil::mainWindow() { return nullptr; } // the tests dock everything in the control
QWidget *MQtUtil::getCurrentParent() { return runtime().currentParent; }

QWidget *MQtUtil::findControl(MString controlName, const QWidget *)
{
    return runtime().controls.value(toQt(controlName));
}

MString MQtUtil::addWidgetToMayaLayout(QWidget *control, QWidget *layout, const MString &)
{
    if (!control || !layout)
        return MString();
    runtime().added.append(qMakePair(control, layout));
    control->setParent(layout); // as Maya does: the layout owns the widget from now on
    return toMaya(layout->objectName() + QLatin1Char('|') + control->objectName());
}

MString MQtUtil::toMString(const QString &qstr)
{
    MString result;
    result.setUTF8(qstr.toUtf8().constData());
    return result;
}

QString MQtUtil::toQString(const MString &mstr) { return QString::fromUtf8(mstr.asUTF8()); }

OPENMAYA_NAMESPACE_CLOSE
