#include "plugin/maya/maya_host.h"

#include "plugin/python_interrupt.h"

#include <maya/MCommandResult.h>
#include <maya/MEventMessage.h>
#include <maya/MGlobal.h>
#include <maya/MMessage.h>
#include <maya/MQtUtil.h>
#include <maya/MStringArray.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QThread>

namespace ke2 {
namespace {

MString toMaya(const QString &text)
{
    return MQtUtil::toMString(text);
}

QString toQt(const MString &text)
{
    return MQtUtil::toQString(text);
}

bool runMel(const QString &command, MCommandResult &result, MCommandResult::Type type)
{
    return MGlobal::executeCommand(toMaya(command), result, false, false) && result.resultType() == type;
}

} // namespace

MayaHost::MayaHost() = default;
MayaHost::~MayaHost() = default;

bool MayaHost::executeMel(const QString &command)
{
    return MGlobal::executeCommand(toMaya(command), false, false);
}

bool MayaHost::executeMelString(const QString &command, QString &result)
{
    MCommandResult answer;
    MString value;
    if (!runMel(command, answer, MCommandResult::kString) || !answer.getResult(value))
        return false;
    result = toQt(value);
    return true;
}

bool MayaHost::executeMelInt(const QString &command, int &result)
{
    MCommandResult answer;
    int value = 0;
    if (!runMel(command, answer, MCommandResult::kInt) || !answer.getResult(value))
        return false;
    result = value;
    return true;
}

bool MayaHost::executeMelDouble(const QString &command, double &result)
{
    MCommandResult answer;
    double value = 0.0;
    if (!runMel(command, answer, MCommandResult::kDouble) || !answer.getResult(value))
        return false;
    result = value;
    return true;
}

bool MayaHost::executeMelStringArray(const QString &command, QStringList &result)
{
    MCommandResult answer;
    MStringArray values;
    if (!runMel(command, answer, MCommandResult::kStringArray) || !answer.getResult(values))
        return false;
    result.clear();
    for (unsigned int i = 0; i < values.length(); ++i)
        result.append(toQt(values[i]));
    return true;
}

void MayaHost::executeMelOnIdle(const QString &command, bool displayEnabled)
{
    MGlobal::executeCommandOnIdle(toMaya(command), displayEnabled);
}

bool MayaHost::executePython(const QString &command)
{
    return MGlobal::executePythonCommand(toMaya(command), false, false);
}

bool MayaHost::executePythonStringList(const QString &command, QStringList &result)
{
    result.clear();
    MStringArray values;
    if (!MGlobal::executePythonCommand(toMaya(command), values, false, false))
        return false;
    for (unsigned int i = 0; i < values.length(); ++i)
        result.append(toQt(values[i]));
    return true;
}

bool MayaHost::executePythonString(const QString &command, QString &result)
{
    MString value;
    if (!MGlobal::executePythonCommand(toMaya(command), value, false, false))
        return false;
    result = toQt(value);
    return true;
}

bool MayaHost::executePythonInt(const QString &command, int &result)
{
    int value = 0;
    if (!MGlobal::executePythonCommand(toMaya(command), value, false, false))
        return false;
    result = value;
    return true;
}

void MayaHost::executePythonOnIdle(const QString &command, bool displayEnabled)
{
    MGlobal::executePythonCommandOnIdle(toMaya(command), displayEnabled);
    if (displayEnabled)
        watchForEscape();
}

void MayaHost::watchForEscape()
{
    // Looked up when first needed, in whatever Python this Maya runs.
    if (!m_interruptLookedUp) {
        m_interruptLookedUp = true;
        m_interrupt = findPythonInterrupt();
        if (!m_interrupt)
            displayWarning(QStringLiteral("[KestrelEditor2] ") + pythonInterruptMissingMessage());
    }
    if (!m_interrupt)
        return;
    if (!m_watch) {
        m_watch = std::make_unique<InterruptWatch>();
        m_watch->setInterrupt(m_interrupt);
    }
    // Maya runs the command at its next idle moment; the watch lasts until Maya answers events
    // again, and only a press while Maya is busy interrupts.
    m_watch->startUntilIdle(InterruptWatch::ourWindows(mainWindow()));
}

void MayaHost::displayError(const QString &message)
{
    MGlobal::displayError(toMaya(message));
}

void MayaHost::displayWarning(const QString &message)
{
    MGlobal::displayWarning(toMaya(message));
}

void MayaHost::displayInfo(const QString &message)
{
    MGlobal::displayInfo(toMaya(message));
}

bool MayaHost::optionVarExists(const QString &name)
{
    return MGlobal::optionVarExists(toMaya(name));
}

int MayaHost::optionVarInt(const QString &name)
{
    bool exists = false;
    const int value = MGlobal::optionVarIntValue(toMaya(name), &exists);
    return exists ? value : 0;
}

void MayaHost::setOptionVarInt(const QString &name, int value)
{
    MGlobal::setOptionVarValue(toMaya(name), value);
}

QWidget *MayaHost::mainWindow()
{
    return MQtUtil::mainWindow();
}

QWidget *MayaHost::currentParent()
{
    return MQtUtil::getCurrentParent();
}

QWidget *MayaHost::findControl(const QString &name)
{
    return MQtUtil::findControl(toMaya(name));
}

bool MayaHost::addWidgetToLayout(QWidget *widget, QWidget *parent)
{
    // Maya answers with the control's full name, empty when the widget could not be added.
    return widget && parent && MQtUtil::addWidgetToMayaLayout(widget, parent).length() > 0;
}

bool MayaHost::addCallbacks(QuitCallback onQuit)
{
    m_callbacks.clear();
    m_onQuit = std::move(onQuit);
    {
        std::lock_guard<std::mutex> lock(m_wakeLock);
        if (!m_wakeTarget)
            m_wakeTarget = std::make_unique<QObject>();
    }
    MStatus quitStatus;
    const MCallbackId quit = MEventMessage::addEventCallback("quitApplication", &MayaHost::onQuitApplication, this,
                                                              &quitStatus);
    if (quitStatus)
        m_callbacks.append(quit);
    MStatus outputStatus;
    const MCallbackId output = MCommandMessage::addCommandOutputCallback(&MayaHost::onCommandOutput, this,
                                                                          &outputStatus);
    if (outputStatus)
        m_callbacks.append(output);
    return quitStatus && outputStatus;
}

bool MayaHost::removeCallbacks()
{
    // The unload path: the watch thread must not outlive the plug-in's code.
    m_watch.reset();
    if (m_callbacks.length() == 0)
        return true;
    if (!MMessage::removeCallbacks(m_callbacks))
        return false;
    m_callbacks.clear();
    m_onQuit = nullptr;
    // Output still on its way from other threads goes with the callbacks: its wake-ups are
    // dropped with their target, while the plug-in's code is still there to drop them.
    {
        std::lock_guard<std::mutex> lock(m_wakeLock);
        m_wakeTarget.reset();
    }
    m_threadOutput.clear();
    return true;
}

void MayaHost::onQuitApplication(void *clientData)
{
    auto *host = static_cast<MayaHost *>(clientData);
    if (host->m_onQuit)
        host->m_onQuit();
}

// Maya calls this on whichever thread printed (a Python thread, a render worker). Framing and the
// output widgets belong to the user-interface thread: output from other threads is queued there.
void MayaHost::onCommandOutput(const MString &message, MCommandMessage::MessageType type, void *clientData)
{
    auto *host = static_cast<MayaHost *>(clientData);
    const QCoreApplication *application = QCoreApplication::instance();
    if (!application || QThread::currentThread() == application->thread()) {
        host->deliverThreadOutput(); // what other threads printed earlier comes first
        host->output().deliver(toQt(message), static_cast<int>(type));
        return;
    }
    std::lock_guard<std::mutex> lock(host->m_wakeLock);
    if (!host->m_wakeTarget)
        return; // unloading
    if (host->m_threadOutput.push(static_cast<int>(type), toQt(message), -1))
        QMetaObject::invokeMethod(host->m_wakeTarget.get(), [host] { host->deliverThreadOutput(); }, Qt::QueuedConnection);
}

void MayaHost::deliverThreadOutput()
{
    for (const ThreadOutputQueue::Message &message : m_threadOutput.take())
        output().deliver(message.text, message.type);
}

} // namespace ke2
