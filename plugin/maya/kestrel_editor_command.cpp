#include "plugin/maya/kestrel_editor_command.h"

#include "shell/editor_session.h"
#include "plugin/debug_pause.h"
#include "plugin/host_bridge.h"

#include <maya/MArgDatabase.h>
#include <maya/MQtUtil.h>
#include <maya/MString.h>

namespace ke2 {
namespace {
const char kVersionFlag[] = "-v";
const char kVersionFlagLong[] = "-version";
const char kClearOutputFlag[] = "-co";
const char kClearOutputFlagLong[] = "-clearOutput";
const char kOpenFileFlag[] = "-of";
const char kOpenFileFlagLong[] = "-openFile";
// The debugger's trace function calls the command with a stop's description; the command
// returns once the user has chosen what the paused script does next.
const char kDebugPauseFlag[] = "-dp";
const char kDebugPauseFlagLong[] = "-debugPause";
} // namespace

KestrelEditorCommand::~KestrelEditorCommand() = default;

void *KestrelEditorCommand::creator()
{
    return new KestrelEditorCommand;
}

MSyntax KestrelEditorCommand::newSyntax()
{
    MSyntax syntax;
    syntax.addFlag(kVersionFlag, kVersionFlagLong);
    syntax.addFlag(kClearOutputFlag, kClearOutputFlagLong);
    syntax.addFlag(kOpenFileFlag, kOpenFileFlagLong, MSyntax::kString);
    syntax.addFlag(kDebugPauseFlag, kDebugPauseFlagLong, MSyntax::kString);
    return syntax;
}

MStatus KestrelEditorCommand::doIt(const MArgList &args)
{
    MStatus status;
    const MArgDatabase arguments(newSyntax(), args, &status);
    if (!status)
        return MS::kFailure;
    EditorSession &session = EditorSession::instance();
    // The flags exclude each other: the first one set, in this order, wins.
    if (arguments.isFlagSet(kVersionFlag)) {
        setResult(MQtUtil::toMString(EditorSession::version()));
        return MS::kSuccess;
    }
    if (arguments.isFlagSet(kClearOutputFlag)) {
        session.clearOutput();
        return MS::kSuccess;
    }
    if (arguments.isFlagSet(kOpenFileFlag)) {
        MString path;
        arguments.getFlagArgument(kOpenFileFlag, 0, path);
        return session.openFile(MQtUtil::toQString(path)) ? MS::kSuccess : MS::kFailure;
    }
    if (arguments.isFlagSet(kDebugPauseFlag)) {
        MString info;
        arguments.getFlagArgument(kDebugPauseFlag, 0, info);
        setResult(MQtUtil::toMString(DebugPause::call(MQtUtil::toQString(info))));
        return MS::kSuccess;
    }
    return session.show() ? MS::kSuccess : MS::kFailure;
}

} // namespace ke2
