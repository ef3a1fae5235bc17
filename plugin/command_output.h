#pragma once

#include <QtCore/QString>

#include <functional>
#include <optional>
#include <vector>

namespace ke2 {

// The kinds of line a host prints, with the host's own numbering.
enum class MessageType : int {
    History = 0,
    Display = 1,
    Info = 2,
    Warning = 3,
    Error = 4,
    Result = 5,
    StackTrace = 6,
};

// Frames info, warning, error and result lines with the comment marker of the language that was
// echoed last ("//" after MEL, "#" after Python), so that a warning reads like a comment of the
// code above it.
class OutputFramer {
public:
    // The framed line, or nothing when the message is dropped (stack traces; history lines
    // under minimal trace). `type` is the host's raw number, so unknown kinds pass unchanged.
    std::optional<QString> frame(const QString &text, int type, bool minimalTrace);

    QString commentPrefix() const { return m_prefix; }
    void reset() { m_prefix = QStringLiteral("//"); }

private:
    QString m_prefix = QStringLiteral("//");
};

// The command-output callback of every host: takes the host's raw messages, drops what must not
// be seen, frames the rest and hands it to the receiver (the main window's append-output).
class CommandOutput {
public:
    using Receiver = std::function<void(const QString &text)>;

    // No receiver means the window does not exist yet: messages are ignored, or kept when
    // keepUntilReceiver is set. A new receiver first gets what was kept, in order.
    void setReceiver(Receiver receiver);
    bool hasReceiver() const { return static_cast<bool>(m_receiver); }

    // For a host whose start-up messages have no other place to go (the standalone program):
    // nothing it says before a receiver exists is lost.
    void setKeepUntilReceiver(bool on) { m_keepUntilReceiver = on; }

    // The `outputMinimalTrace` setting lives in the settings record, which installs itself here:
    // every message reads it, so a change applies from the next line on, whoever made it.
    static void setMinimalTraceSource(std::function<bool()> source);
    bool minimalTrace() const;

    // While set, lines are still delivered, with empty text (the output panel's discard mode).
    void setDiscard(bool on) { m_discard = on; }
    bool discard() const { return m_discard; }

    // True while the editor runs an internal command whose output must not reach the panel.
    bool isQuiet() const { return m_quiet; }
    void setQuiet(bool on) { m_quiet = on; }

    // Sets the quiet flag for one synchronous call. Deliberately not nested: the flag is a plain
    // boolean and an inner scope clears it when it ends.
    class QuietScope {
    public:
        explicit QuietScope(CommandOutput &output) : m_output(output) { m_output.setQuiet(true); }
        ~QuietScope() { m_output.setQuiet(false); }
        QuietScope(const QuietScope &) = delete;
        QuietScope &operator=(const QuietScope &) = delete;

    private:
        CommandOutput &m_output;
    };

    // The callback itself: `type` is the host's raw message type.
    void deliver(const QString &text, int type);
    void deliver(const QString &text, MessageType type) { deliver(text, static_cast<int>(type)); }

    QString commentPrefix() const { return m_framer.commentPrefix(); }

private:
    struct Kept {
        QString text;
        int type;
    };

    OutputFramer m_framer;
    Receiver m_receiver;
    std::vector<Kept> m_kept;
    bool m_keepUntilReceiver = false;
    bool m_discard = false;
    bool m_quiet = false;
};

} // namespace ke2
