#include "plugin/command_output.h"

namespace ke2 {
namespace {

std::function<bool()> &minimalTraceSource()
{
    static std::function<bool()> source;
    return source;
}

} // namespace

std::optional<QString> OutputFramer::frame(const QString &text, int type, bool minimalTrace)
{
    switch (type) {
    case static_cast<int>(MessageType::History):
    case static_cast<int>(MessageType::Display):
        // MEL statements end in ";", so an echoed MEL line switches the frame to "//".
        m_prefix = text.endsWith(QLatin1String(";\n")) ? QStringLiteral("//") : QStringLiteral("#");
        if (type == static_cast<int>(MessageType::History) && minimalTrace)
            return std::nullopt;
        return text;
    case static_cast<int>(MessageType::Info):
        return QStringLiteral("%1 %2 %1\n").arg(m_prefix, text);
    case static_cast<int>(MessageType::Warning):
        return QStringLiteral("%1 Warning: %2 %1\n").arg(m_prefix, text);
    case static_cast<int>(MessageType::Error):
        return QStringLiteral("%1 Error: %2 %1\n").arg(m_prefix, text);
    case static_cast<int>(MessageType::Result):
        return QStringLiteral("%1 Result: %2 %1\n").arg(m_prefix, text);
    case static_cast<int>(MessageType::StackTrace):
        return std::nullopt;
    default:
        return text;
    }
}

void CommandOutput::setMinimalTraceSource(std::function<bool()> source)
{
    minimalTraceSource() = std::move(source);
}

bool CommandOutput::minimalTrace() const
{
    const std::function<bool()> &source = minimalTraceSource();
    return source && source();
}

void CommandOutput::setReceiver(Receiver receiver)
{
    m_receiver = std::move(receiver);
    if (!m_receiver)
        return;
    std::vector<Kept> kept;
    kept.swap(m_kept);
    for (const Kept &message : kept)
        deliver(message.text, message.type);
}

void CommandOutput::deliver(const QString &text, int type)
{
    if (m_quiet)
        return;
    if (!m_receiver) {
        if (m_keepUntilReceiver)
            m_kept.push_back({text, type});
        return;
    }
    std::optional<QString> line = m_framer.frame(text, type, minimalTrace());
    if (!line)
        return;
    m_receiver(m_discard ? QString() : *line);
}

} // namespace ke2
