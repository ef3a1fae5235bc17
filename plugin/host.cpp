#include "plugin/host.h"

namespace ke2 {

Host::~Host() = default;

bool Host::hasFeature(Feature) const
{
    return true;
}

bool Host::executePythonQuietly(const QString &command)
{
    CommandOutput::QuietScope quiet(m_output);
    return executePython(command);
}

} // namespace ke2
