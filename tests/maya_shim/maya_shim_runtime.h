#pragma once

#include <maya/MObject.h>

#include <QtCore/QHash>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <functional>

class QWidget;

// The test-only side of the OpenMaya stand-in: the headers in maya/ declare exactly what Maya 2022
// declares, and every hook a test needs lives here instead.
// The scripted runtime behind the OpenMaya shim (libOpenMayaShim, never shipped): a test plays
// Maya through it. Every command the plug-in sends is recorded; MEL and Python answers come from
// handlers the test sets (a QString, int, double or QStringList; an invalid QVariant fails).
namespace ke2::mayashim {

enum class Kind { Mel, MelOnIdle, Python, PythonOnIdle, Error, Warning, Info };
struct Record {
    Kind kind;
    QString text;
    bool display;
};
struct CommandRun {
    bool ok = false;
    QString result;
};
using Handler = std::function<QVariant(const QString &command)>;

// Forgets everything: records, handlers, commands, callbacks, widgets and option variables.
OPENMAYA_EXPORT void reset();
OPENMAYA_EXPORT void setMelHandler(Handler handler);
OPENMAYA_EXPORT void setPythonHandler(Handler handler);
OPENMAYA_EXPORT QStringList texts(Kind kind);
OPENMAYA_EXPORT void clearRecords();
// Runs the queued idle commands (recorded as they run); returns how many ran.
OPENMAYA_EXPORT int runIdle();

OPENMAYA_EXPORT MObject pluginObject();
// Makes the next MFnPlugin construction, or the next registerCommand, fail.
OPENMAYA_EXPORT void failNextPluginFunctionSet();
OPENMAYA_EXPORT void failNextRegistration();
OPENMAYA_EXPORT QStringList registeredCommands();
// Runs a registered command as MEL would, with its arguments already split.
OPENMAYA_EXPORT CommandRun runCommand(const QString &name, const QStringList &arguments);

// While set, adding and removing callbacks fails.
OPENMAYA_EXPORT void failCallbacks(bool fail);
OPENMAYA_EXPORT int callbackCount();
OPENMAYA_EXPORT void fireCommandOutput(const QString &text, int type);
OPENMAYA_EXPORT void fireEvent(const QString &event);

OPENMAYA_EXPORT void setCurrentParent(QWidget *widget);
OPENMAYA_EXPORT void setControl(const QString &name, QWidget *widget);
// (widget, layout) pairs handed to addWidgetToMayaLayout.
OPENMAYA_EXPORT QVector<QPair<QWidget *, QWidget *>> addedToLayout();
OPENMAYA_EXPORT QHash<QString, int> &optionVars();

} // namespace ke2::mayashim
