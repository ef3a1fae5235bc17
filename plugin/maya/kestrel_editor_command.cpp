#include "plugin/maya/kestrel_editor_command.h"

#include "shell/editor_session.h"
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
    return session.show() ? MS::kSuccess : MS::kFailure;
}

} // namespace ke2
