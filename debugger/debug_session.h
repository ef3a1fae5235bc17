#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <memory>

namespace ke2 {

// One debugged run at a time, from start to end. The run executes in the host's Python under the
// debugger script; at each stop the script calls back into the editor (DebugPause), and the
// session keeps the host's event loop turning in a local loop until the user chooses what the
// script does next. Meanwhile it answers questions about the paused frames.
class DebugSession : public QObject {
    Q_OBJECT
public:
    enum class State { Idle, Running, Paused };
    struct Frame {
        QString name;
        QString file;
        int line = 0; // 1-based
    };
    struct Variable {
        QString name;
        QString type;
        QString value;
        int childRef = 0; // 0: nothing to expand
    };

    explicit DebugSession(QObject *parent = nullptr);
    ~DebugSession() override;

    State CurrentState() const { return m_state; }
    bool IsPaused() const { return m_state == State::Paused; }
    bool IsActive() const { return m_state != State::Idle; }

    // Queues the debugged run. `breakpointsJson`: [[path, line, enabled, condition, hit count]].
    bool Start(const QString &source, const QString &fileName, int firstLine, const QString &breakpointsJson,
               bool pauseOnExceptions);
    // New breakpoints reach a paused run at once; a run that is not paused cannot be reached
    // (the host's thread is busy with it) and takes them at its next start.
    void SetBreakpoints(const QString &breakpointsJson);

    // --- While paused ---
    QString Reason() const { return m_reason; }
    QString Exception() const { return m_exception; }
    // Innermost first: the caller last.
    const QVector<Frame> &Frames() const { return m_frames; }
    int SelectedFrame() const { return m_selectedFrame; }
    void SelectFrame(int index);
    // "locals", "globals" or the child reference of an earlier variable, in the selected frame.
    QVector<Variable> Variables(const QString &ref) const;
    // The value's bounded text, or the error the expression raised (false).
    bool Evaluate(const QString &expression, QString &text) const;

    // The actions; each ends the pause.
    void Continue();
    void StepOver();
    void StepInto();
    void StepOut();
    void Stop();
    // Esc: the run ends as an interrupted one does (KeyboardInterrupt; `finally` blocks run).
    void Interrupt();
    void RunToCursor(const QString &file, int line);

    // What the trace function calls (through DebugPause): returns the chosen action.
    QString OnPause(const QString &info);

protected:
    // Esc while paused, wherever the host's windows have the keyboard.
    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    void Started();
    void Paused();
    void Resumed();
    void Ended();
    void FrameSelected(int index);

private:
    struct Pending;
    void Resume(const QString &action);

    State m_state = State::Idle;
    QString m_reason;
    QString m_exception;
    QVector<Frame> m_frames;
    int m_selectedFrame = 0;
    std::shared_ptr<Pending> m_pending;
};

} // namespace ke2
