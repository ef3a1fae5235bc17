#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QObject>
#include <QtCore/QProcess>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <optional>

class QTimer;

namespace ke2 {

// Checks Python buffers with an external pylint, in the thread of its editor group. Each request
// writes the text to the worker's own temporary file and runs pylint on it; a newer request kills
// a run that is still going, so only the latest text is ever reported. Whatever goes wrong (no
// pylint, a crash, a hang, output that is not pylint's) ends with no marks and at most one
// message per distinct failure; the editor's thread never waits for any of it.
//
// The worker never waits inside a request: a run is started and the process's signals finish it.
// Requests that arrive meanwhile only replace the one waiting, so any number of them costs the
// same stack and memory as one.
class PylintWorker : public QObject {
    Q_OBJECT
public:
    // What the worker reads of the settings, copied on the user-interface thread: the worker's
    // thread never touches the settings record itself. Named after the settings keys.
    struct Options {
        bool pylintEnabled = false;
        QString pylintPath;
        QString pylintPythonHomePath;
        QString pylintConfigPath;
        bool pylintUseMinimalCheckers = true;
        bool pylintShowErrors = false;
        // A run that takes longer is stopped (and reported when errors are shown).
        int timeLimitMs = 60000;

        static Options FromSettings();
        // Identifies the settings a message was said under: a change says it again.
        QString Key() const;
    };

    static const char *const messageTemplate;
    static const char *const minimalCheckers;
    // A stricter set kept for users who ask for it; runs use the minimal set or the user's file.
    static const char *const strictCheckers;
    static constexpr int killWaitMs = 500;

    // Made on the user-interface thread (the temporary file is created there), then moved to the
    // group's thread.
    explicit PylintWorker(QObject *parent = nullptr);
    ~PylintWorker() override;

    int Id() const { return id; }
    QString TempFilePath() const { return tempFilePath; }
    // Whether a pylint process is running (or being stopped).
    bool IsRunning() const;
    // Once a temporary file could not be written, no worker runs again until this is reset (a
    // reload of the plug-in, or a test).
    static bool WorkerFileFailed();
    static void ResetWorkerFileFailure();
    // Messages are said once per session and settings; a test starts a new session.
    static void ForgetReportedMessages();
    // The program and arguments of a run on `file`; never a shell command line.
    static QString Program(const Options &options);
    static QStringList Arguments(const Options &options, const QString &file);
    // The PYTHONPATH of a run for the buffer at `filePath`: the buffer's folder (and the folder
    // above its package) first, as when pylint runs on the file itself, then `pythonPath`.
    static QString ImportPath(const QString &filePath, const QString &pythonPath);
    // Whether a part of the output is one message made by the template.
    static bool IsMessage(const QString &part);

    // One message of the template, read. Numbers too large for an int are taken as the largest:
    // a line past the end marks nothing, a column past the end of its line marks from the end.
    struct Message {
        QChar category; // F, E, W, C, R, I
        int line = 0;   // 1-based
        int column = 0; // 0-based
        QString id;     // "E0602"
        QString text;   // the message, trimmed
    };
    // The messages among the output's parts, in order; pylint's headers and score between them
    // are left out.
    static QVector<Message> Messages(const QStringList &parts);

public slots:
    void Pylint(const QString &source, const QString &filePath, const QString &pythonPath);
    void SetOptions(const ke2::PylintWorker::Options &options);
    void Shutdown();

signals:
    // `parts`: the output split at "::"; `n`: how many of them are messages, or -1 when the run
    // produced nothing usable (the reason went out through Report): the buffer has no marks.
    void PylintOutput(const QString &filePath, const QStringList &parts, int n);
    // A message for the host's output, shown as an error by the group.
    void Report(const QString &message);

private:
    struct Request {
        QString source;
        QString filePath;
        QString pythonPath;
    };

    void MakeProcess();
    void StartWaiting();
    void OnFinished();
    void OnKillTimeout();
    void OnTimeLimit();
    bool WriteSource(const QString &source);
    void HandleOutput();
    // Ends a run without marks. Messages of our own list (`listed`) are always said; pylint's
    // own failures only when errors are shown. Either way once per settings.
    void Fail(const QString &message, bool listed);
    void Say(const QString &message);
    // Kills a running process and waits for it; false when it would not end in time. Only for
    // the end of the worker's life, where waiting is what is asked for.
    bool StopNow();

    int id;
    QProcess *process = nullptr;
    QString tempFilePath;
    QString filePath;
    int runCount = 0;
    // The generation of the running process; its output counts only while no newer request came.
    int m_runGeneration = 0;
    std::optional<Request> m_waiting;
    QTimer *m_killTimer = nullptr;
    QTimer *m_timeLimit = nullptr;
    bool m_timedOut = false;
    Options m_options;
    bool m_shuttingDown = false;
};

} // namespace ke2

Q_DECLARE_METATYPE(ke2::PylintWorker::Options)
