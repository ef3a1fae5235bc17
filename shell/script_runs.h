#pragma once

#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <deque>
#include <optional>

namespace ke2 {

class CodeEditor;

// Where the code of each run came from, so that an error the host reports at "line K" of the
// code it ran leads back to the tab and the tab's own line (a run that started on line N puts
// it on line N + K - 1), or to the file the host names instead of its console.
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
    // The file ("" for the host's console) and line an error text names.
    struct ErrorPlace {
        QString file;
        int line = 0;
    };

    // `firstLine` is the tab's line (1-based) the run's text starts on; `echoed` when the host
    // prints the text before running it.
    void Started(CodeEditor *editor, int firstLine, const QString &text, bool echoed);
    void Observe(const QString &text);

    bool IsLink(const QString &line) const;
    // The place of an output error line; `identicalLinesAfter` (how many identical lines follow
    // it in the output) picks among runs that printed the same line.
    Location Resolve(const QString &line, int identicalLinesAfter) const;

    // An output line framed as an error ("# Error: ..." or "// Error: ...") with a line number.
    static std::optional<ErrorPlace> ParseError(const QString &line);

    // The host's name for code run from its console.
    static QString consoleName() { return QStringLiteral("<maya console>"); }

private:
    struct Run {
        QPointer<CodeEditor> editor;
        int firstLine = 1;
        QString echo; // what the host prints before running it; empty when not echoed
    };
    void Record(const QString &line);

    std::deque<Run> m_pending; // started, echo not seen yet
    std::optional<Run> m_current;
    std::optional<Run> m_newest;
    std::deque<Location> m_errors;
};

} // namespace ke2
