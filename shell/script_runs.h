#pragma once

#include <QtCore/QPointer>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtGui/QTextCursor>

#include <deque>
#include <memory>
#include <optional>

namespace ke2 {

class CodeEditor;

// Where the code of each run came from, so that an error the host reports at "line K" of the
// code it ran leads back to the tab and the tab's own line (a run that started on line N puts
// it on line N + K - 1, and the start moves with edits above it), or to the file the host names
// instead of its console.
//
// The host compiles every run under the one console name, so a line number alone does not say
// which run's code it counts in: a function defined by an earlier run reports lines of that run.
// The run is worked out from the code: a stack frame names its function, and the run that
// defines it (the newest definition of that name) is the one; a bare line number belongs to the
// one run whose code can be executing at that line. When that leaves more than one run, or none,
// the line is not a link: no link is better than one to the wrong line.
//
// The window tells it every run it starts and every output text it receives, in order. A run's
// errors follow its echo; a run that is not echoed takes the errors that arrive while it is the
// newest run.
class ScriptRuns {
public:
    struct Location {
        QPointer<CodeEditor> editor; // the tab the code ran from
        QString path;                // or the file the host named
        int line = 0;                // 1-based
        QString message;             // the error line as the output shows it
        bool isValid() const { return line > 0 && (!editor.isNull() || !path.isEmpty()); }
    };
    // The file ("" for the host's console), line and function an error text names.
    struct ErrorPlace {
        QString file;
        int line = 0;
        QString function; // a stack frame's function ("<module>" for the run's own code); "" when not named
    };

    // `firstLine` is the tab's line (1-based) the run's text starts on; `echoed` when the host
    // prints the text before running it.
    void Started(CodeEditor *editor, int firstLine, const QString &text, bool echoed);
    void Observe(const QString &text);

    bool IsLink(const QString &line) const;
    // The place of an output error line; `identicalLinesAfter` (how many identical lines follow
    // it in the output) picks among runs that printed the same line.
    Location Resolve(const QString &line, int identicalLinesAfter) const;

    // An output line framed as an error ("# Error: ..." or "// Error: ...") with a line number,
    // or a stack frame line of a traceback ("#   File "x.py", line 3, in f").
    static std::optional<ErrorPlace> ParseError(const QString &line);

    // The host's name for code run from its console.
    static QString consoleName() { return QStringLiteral("<maya console>"); }

private:
    // Where a run's text began in its tab; the start follows edits above it.
    struct Anchor {
        QPointer<CodeEditor> editor;
        QTextCursor start;
        int firstLine = 1;
        int TabLine(int lineInRun) const;
    };
    struct Run {
        std::shared_ptr<const Anchor> anchor;
        bool mel = false;
        QStringList lines;          // the code as it ran
        QSet<QString> definitions;  // the functions and classes it defined at its top level
        QString echo;               // what the host prints before running it; empty when not echoed
        qint64 size = 0;            // characters of the text
    };
    using RunPointer = std::shared_ptr<const Run>;
    struct Entry {
        QString message;
        std::shared_ptr<const Anchor> anchor; // null for a file
        int line = 0;                          // in the run, or in the file
        QString path;
    };
    void Record(const QString &line);
    // The run that compiled the code at `line` of the console, or null when that is not known.
    RunPointer RunFor(const ErrorPlace &place) const;

    std::deque<RunPointer> m_runs;    // oldest first, the newest at the back
    qint64 m_runCharacters = 0;       // the size of their texts
    std::deque<RunPointer> m_pending; // started, echo not seen yet
    RunPointer m_current;
    std::deque<Entry> m_errors;
};

} // namespace ke2
