#include "plugin/host.h"

namespace ke2 {

Host::~Host() = default;

bool Host::hasFeature(Feature) const
{
    return true;
}

QString Host::debugPauseCallable() const
{
    return QStringLiteral("lambda info: __import__('maya.cmds', fromlist=['cmds']).kestrelEditor2(debugPause=info)");
}

bool Host::executePythonQuietly(const QString &command)
{
    CommandOutput::QuietScope quiet(m_output);
    return executePython(command);
}

} // namespace ke2
