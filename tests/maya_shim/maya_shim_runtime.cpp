// The scripted runtime behind the OpenMaya shim: plays Maya for the tests.
#include "maya_shim_runtime.h"

#include <maya/MCommandMessage.h>
#include <maya/MEventMessage.h>
#include <maya/MFnPlugin.h>
#include <maya/MGlobal.h>
#include <maya/MMessage.h>
#include <maya/MPxCommand.h>
#include <maya/MQtUtil.h>

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

#include <map>

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

struct EventCallback {
    QString event;
    MMessage::MBasicFunction function;
    void *clientData;
};

struct OutputCallback {
    MCommandMessage::MMessageFunction function;
    void *clientData;
};

struct Runtime {
    Handler mel;
    Handler python;
    QVector<Record> records;
    QVector<Record> idle;
    std::map<QString, Command> commands;
    std::map<MCallbackId, EventCallback> events;
    std::map<MCallbackId, OutputCallback> outputs;
    MCallbackId nextId = 1;
    bool failFunctionSet = false;
    bool failRegistration = false;
    QString result;
    QPointer<QWidget> mainWindow;
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

QString toQt(const MString &text)
{
    return QString::fromUtf8(text.asUTF8());
}

MString toMaya(const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    return MString(utf8.constData(), utf8.size());
}

QVariant answer(const Handler &handler, const QString &command)
{
    return handler ? handler(command) : QVariant();
}

void deliverOutput(const QString &text, int type)
{
    // Copied: a callback may remove callbacks.
    const auto outputs = runtime().outputs;
    for (const auto &entry : outputs)
        entry.second.function(toMaya(text), static_cast<MCommandMessage::MessageType>(type), entry.second.clientData);
}

void display(Kind kind, const MString &message, MCommandMessage::MessageType type)
{
    runtime().records.append({kind, toQt(message), true});
    deliverOutput(toQt(message), type);
}

MStatus statusOf(const QVariant &value)
{
    return value.isValid() ? MStatus(MS::kSuccess) : MStatus(MS::kFailure);
}

} // namespace

void reset()
{
    runtime() = Runtime();
}

void setMelHandler(Handler handler) { runtime().mel = std::move(handler); }
void setPythonHandler(Handler handler) { runtime().python = std::move(handler); }
QVector<Record> records() { return runtime().records; }

QStringList texts(Kind kind)
{
    QStringList result;
    for (const Record &record : runtime().records)
        if (record.kind == kind)
            result.append(record.text);
    return result;
}

void clearRecords() { runtime().records.clear(); }

int runIdle()
{
    int ran = 0;
    while (!runtime().idle.isEmpty()) {
        const Record record = runtime().idle.takeFirst();
        runtime().records.append(record);
        answer(record.kind == Kind::MelOnIdle ? runtime().mel : runtime().python, record.text);
        ++ran;
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
    CommandRun run;
    const auto found = runtime().commands.find(name);
    if (found == runtime().commands.end())
        return run;
    MArgList args;
    for (const QString &argument : arguments)
        args.addArg(toMaya(argument));
    runtime().result.clear();
    auto *command = static_cast<MPxCommand *>(found->second.creator());
    run.ok = static_cast<bool>(command->doIt(args));
    delete command;
    run.result = runtime().result;
    return run;
}

int callbackCount() { return static_cast<int>(runtime().events.size() + runtime().outputs.size()); }
void fireCommandOutput(const QString &text, int type) { deliverOutput(text, type); }

void fireEvent(const QString &event)
{
    const auto events = runtime().events;
    for (const auto &entry : events)
        if (entry.second.event == event)
            entry.second.function(entry.second.clientData);
}

void setMainWindow(QWidget *widget) { runtime().mainWindow = widget; }
void setCurrentParent(QWidget *widget) { runtime().currentParent = widget; }
void setControl(const QString &name, QWidget *widget) { runtime().controls.insert(name, widget); }
QVector<QPair<QWidget *, QWidget *>> addedToLayout() { return runtime().added; }
QHash<QString, int> optionVars() { return runtime().optionVars; }
void setOptionVar(const QString &name, int value) { runtime().optionVars.insert(name, value); }

} // namespace ke2::mayashim

using namespace ke2::mayashim;

// ---- MGlobal ----------------------------------------------------------------------------------

MStatus MGlobal::executeCommand(const MString &command, bool displayEnabled, bool)
{
    runtime().records.append({Kind::Mel, toQt(command), displayEnabled});
    return statusOf(answer(runtime().mel, toQt(command)));
}

MStatus MGlobal::executeCommand(const MString &command, MCommandResult &result, bool displayEnabled, bool)
{
    runtime().records.append({Kind::Mel, toQt(command), displayEnabled});
    const QVariant value = answer(runtime().mel, toQt(command));
    result.m_type = MCommandResult::kInvalid;
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::Bool:
        result.m_type = MCommandResult::kInt;
        result.m_int = value.toInt();
        break;
    case QMetaType::Double:
        result.m_type = MCommandResult::kDouble;
        result.m_double = value.toDouble();
        break;
    case QMetaType::QString:
        result.m_type = MCommandResult::kString;
        result.m_string = toMaya(value.toString());
        break;
    case QMetaType::QStringList:
        result.m_type = MCommandResult::kStringArray;
        result.m_strings.clear();
        for (const QString &item : value.toStringList())
            result.m_strings.append(toMaya(item));
        break;
    default:
        break;
    }
    return statusOf(value);
}

MStatus MGlobal::executeCommandOnIdle(const MString &command, bool displayEnabled)
{
    runtime().idle.append({Kind::MelOnIdle, toQt(command), displayEnabled});
    return MS::kSuccess;
}

MStatus MGlobal::executePythonCommand(const MString &command, bool displayEnabled, bool)
{
    runtime().records.append({Kind::Python, toQt(command), displayEnabled});
    return statusOf(answer(runtime().python, toQt(command)));
}

MStatus MGlobal::executePythonCommand(const MString &command, int &result, bool displayEnabled, bool)
{
    runtime().records.append({Kind::Python, toQt(command), displayEnabled});
    const QVariant value = answer(runtime().python, toQt(command));
    if (value.userType() != QMetaType::Int)
        return MS::kFailure;
    result = value.toInt();
    return MS::kSuccess;
}

MStatus MGlobal::executePythonCommand(const MString &command, MString &result, bool displayEnabled, bool)
{
    runtime().records.append({Kind::Python, toQt(command), displayEnabled});
    const QVariant value = answer(runtime().python, toQt(command));
    if (value.userType() != QMetaType::QString)
        return MS::kFailure;
    result = toMaya(value.toString());
    return MS::kSuccess;
}

MStatus MGlobal::executePythonCommand(const MString &command, MStringArray &result, bool displayEnabled, bool)
{
    runtime().records.append({Kind::Python, toQt(command), displayEnabled});
    const QVariant value = answer(runtime().python, toQt(command));
    if (value.userType() != QMetaType::QStringList)
        return MS::kFailure;
    result.clear();
    for (const QString &item : value.toStringList())
        result.append(toMaya(item));
    return MS::kSuccess;
}

MStatus MGlobal::executePythonCommandOnIdle(const MString &command, bool displayEnabled)
{
    runtime().idle.append({Kind::PythonOnIdle, toQt(command), displayEnabled});
    return MS::kSuccess;
}

// Like Maya, messages shown in the Script Editor also reach the command-output callbacks.
void MGlobal::displayInfo(const MString &message) { display(Kind::Info, message, MCommandMessage::kInfo); }
void MGlobal::displayWarning(const MString &message) { display(Kind::Warning, message, MCommandMessage::kWarning); }
void MGlobal::displayError(const MString &message) { display(Kind::Error, message, MCommandMessage::kError); }

bool MGlobal::optionVarExists(const MString &name) { return runtime().optionVars.contains(toQt(name)); }

int MGlobal::optionVarIntValue(const MString &name, bool *exists)
{
    const bool found = runtime().optionVars.contains(toQt(name));
    if (exists)
        *exists = found;
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
void MPxCommand::setResult(const MString &result) { runtime().result = toQt(result); }
void MPxCommand::setResult(int result) { runtime().result = QString::number(result); }
void MPxCommand::clearResult() { runtime().result.clear(); }

MFnPlugin::MFnPlugin(MObject &object, const char *, const char *, const char *, MStatus *ReturnStatus)
    : m_plugin(object.m_handle)
{
    MStatus status = object.isNull() ? MS::kInvalidParameter : MS::kSuccess;
    if (runtime().failFunctionSet) {
        runtime().failFunctionSet = false;
        status = MS::kFailure;
    }
    if (ReturnStatus)
        *ReturnStatus = status;
}

MFnPlugin::~MFnPlugin() = default;

MStatus MFnPlugin::registerCommand(const MString &commandName, MCreatorFunction creatorFunction,
                                   MCreateSyntaxFunction createSyntaxFunction)
{
    if (runtime().failRegistration) {
        runtime().failRegistration = false;
        return MS::kFailure;
    }
    const QString name = toQt(commandName);
    if (!m_plugin || !creatorFunction || runtime().commands.count(name))
        return MS::kInvalidParameter;
    runtime().commands[name] = Command{creatorFunction, createSyntaxFunction};
    return MS::kSuccess;
}

MStatus MFnPlugin::deregisterCommand(const MString &commandName)
{
    return runtime().commands.erase(toQt(commandName)) ? MStatus(MS::kSuccess) : MStatus(MS::kNotFound);
}

// ---- Messages ---------------------------------------------------------------------------------

MStatus MMessage::removeCallback(MCallbackId id)
{
    const bool removed = runtime().events.erase(id) + runtime().outputs.erase(id) > 0;
    return removed ? MStatus(MS::kSuccess) : MStatus(MS::kNotFound);
}

MStatus MMessage::removeCallbacks(MCallbackIdArray &ids)
{
    MStatus status = MS::kSuccess;
    for (unsigned int i = 0; i < ids.length(); ++i)
        if (!removeCallback(ids[i]))
            status = MS::kFailure;
    return status;
}

MCallbackId MEventMessage::addEventCallback(const MString &event, MMessage::MBasicFunction func, void *clientData,
                                            MStatus *ReturnStatus)
{
    const MCallbackId id = runtime().nextId++;
    runtime().events[id] = EventCallback{toQt(event), func, clientData};
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
    return id;
}

MCallbackId MCommandMessage::addCommandOutputCallback(MMessageFunction func, void *clientData, MStatus *ReturnStatus)
{
    const MCallbackId id = runtime().nextId++;
    runtime().outputs[id] = OutputCallback{func, clientData};
    if (ReturnStatus)
        *ReturnStatus = MS::kSuccess;
    return id;
}

// ---- MQtUtil ----------------------------------------------------------------------------------

QWidget *MQtUtil::mainWindow() { return runtime().mainWindow; }
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

MString MQtUtil::toMString(const QString &qstr) { return toMaya(qstr); }
QString MQtUtil::toQString(const MString &mstr) { return toQt(mstr); }
