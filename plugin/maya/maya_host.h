#pragma once

#include "plugin/host.h"
#include "plugin/interrupt_watch.h"
#include "plugin/thread_output_queue.h"

#include <maya/MCallbackIdArray.h>
#include <maya/MCommandMessage.h>

#include <memory>
#include <mutex>

class QObject;

namespace ke2 {

// The host port over Maya's API. Thin on purpose: each call becomes the matching MGlobal, MQtUtil
// or message call and nothing more; every decision lives in the host-independent code above.
class MayaHost : public Host {
public:
    MayaHost();
    // Never calls into Maya: the host may outlive the plug-in's unload (it is a static, destroyed
    // when the library goes or Maya exits), and callbacks go only in the unload path.
    ~MayaHost() override;

    bool executeMel(const QString &command) override;
    bool executeMelString(const QString &command, QString &result) override;
    bool executeMelInt(const QString &command, int &result) override;
    bool executeMelDouble(const QString &command, double &result) override;
    bool executeMelStringArray(const QString &command, QStringList &result) override;
    void executeMelOnIdle(const QString &command, bool displayEnabled) override;

    bool executePython(const QString &command) override;
    bool executePythonStringList(const QString &command, QStringList &result) override;
    bool executePythonString(const QString &command, QString &result) override;
    bool executePythonInt(const QString &command, int &result) override;
    void executePythonOnIdle(const QString &command, bool displayEnabled = true) override;

    void displayError(const QString &message) override;
    void displayWarning(const QString &message) override;
    void displayInfo(const QString &message) override;

    bool optionVarExists(const QString &name) override;
    int optionVarInt(const QString &name) override;
    void setOptionVarInt(const QString &name, int value) override;

    QWidget *mainWindow() override;
    QWidget *currentParent() override;
    QWidget *findControl(const QString &name) override;
    bool addWidgetToLayout(QWidget *widget, QWidget *parent) override;

    bool addCallbacks(QuitCallback onQuit) override;
    bool removeCallbacks() override;

private:
    // Esc while the user's Python run executes raises KeyboardInterrupt in it.
    void watchForEscape();

    static void onQuitApplication(void *clientData);
    static void onCommandOutput(const MString &message, MCommandMessage::MessageType type, void *clientData);
    // Frames and shows, on the user-interface thread, what other threads printed, in order.
    void deliverThreadOutput();

    MCallbackIdArray m_callbacks;
    ThreadOutputQueue m_threadOutput;
    // Receives the wake-ups for m_threadOutput; exists while the callbacks do, so nothing posted
    // outlives the unload.
    std::mutex m_wakeLock;
    std::unique_ptr<QObject> m_wakeTarget;
    QuitCallback m_onQuit;
    std::unique_ptr<InterruptWatch> m_watch;
    bool m_interruptLookedUp = false;
    InterruptWatch::Interrupt m_interrupt = nullptr;
};

} // namespace ke2
