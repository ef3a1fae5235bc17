// The entry points Maya's plug-in manager looks up. MFnPlugin.h declares them, and, included
// here and nowhere else in the plug-in, defines the MApiVersion data of the devkit we build
// against; these are the only symbols the library exports.
#include "shell/editor_session.h"
#include "plugin/host_bridge.h"
#include "plugin/maya/kestrel_editor_command.h"
#include "plugin/maya/maya_host.h"
#include "plugin/qt_compat.h"

#include <maya/MFnPlugin.h>
#include <maya/MGlobal.h>
#include <maya/MQtUtil.h>

namespace {

const char kVendor[] = "Halvard";

ke2::MayaHost &mayaHost()
{
    static ke2::MayaHost host;
    return host;
}

MString commandName()
{
    return MQtUtil::toMString(ke2::HostBridge::commandName());
}

// Runs when the library is unloaded (after uninitializePlugin, or at the host's exit): the types
// it registered with Qt leave the registry with it, so that loading it again works.
struct MetaTypesOfThisLibrary {
    ~MetaTypesOfThisLibrary() { ke2::qtcompat::forgetMetaTypesOfLibrary(reinterpret_cast<const void *>(&commandName)); }
} g_metaTypesOfThisLibrary;

} // namespace

MStatus initializePlugin(MObject obj)
{
    MStatus status;
    MFnPlugin plugin(obj, kVendor, "2.3.4", "Any", &status);
    if (!status) {
        MGlobal::displayError(MString("Failed to initialize plugin: ") + status.errorString());
        return status;
    }
    MStatus result = MS::kSuccess;
    ke2::EditorSession::instance().startUp(mayaHost(), [&plugin, &result] {
        result = plugin.registerCommand(commandName(), ke2::KestrelEditorCommand::creator,
                                        ke2::KestrelEditorCommand::newSyntax);
        if (!result)
            MGlobal::displayError(MString("Failed to register '") + commandName() + "' command: "
                                  + result.errorString());
        return static_cast<bool>(result);
    });
    return result;
}

MStatus uninitializePlugin(MObject obj)
{
    // First, whatever happens next: data the editor put on the clipboard must not outlive it.
    ke2::EditorSession::releaseClipboard();
    MStatus status;
    MFnPlugin plugin(obj, kVendor, "2.3.4", "Any", &status);
    if (!status) {
        MGlobal::displayError(MString("Failed to uninitialize plugin: ") + status.errorString());
        return status;
    }
    MStatus result = MS::kSuccess;
    const auto stopped = ke2::EditorSession::instance().shutDown([&plugin, &result] {
        result = plugin.deregisterCommand(commandName());
        if (!result)
            MGlobal::displayError(MString("Failed to deregister '") + commandName() + "' command: "
                                  + result.errorString());
    });
    if (stopped == ke2::EditorSession::StopResult::CallbacksKept)
        return MS::kFailure;
    ke2::HostBridge::setHost(nullptr);
    return result;
}
