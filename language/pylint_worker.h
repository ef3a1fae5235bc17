#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QObject>
#include <QtCore/QStringList>

class QProcess;

namespace ke2 {

// Checks Python buffers with an external pylint, in the thread of its editor group. Each request
// writes the text to the worker's own temporary file and runs pylint on it; a newer request kills
// a run that is still going, so only the latest text is ever reported. Whatever goes wrong (no
// pylint, a crash, a hang, output that is not pylint's) ends in one message and no marks; the
// editor's thread never waits for any of it.
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
        // A run that takes longer is stopped and reported.
        int timeLimitMs = 60000;

        static Options FromSettings();
    };

    static const char *const messageTemplate;
    static const char *const minimalCheckers;
    // A stricter set kept for users who ask for it; runs use the minimal set or the user's file.
    static const char *const strictCheckers;
    static constexpr int killWaitMs = 500;
    static constexpr int startWaitMs = 1000;

    // Made on the user-interface thread (the temporary file is created there), then moved to the
    // group's thread.
    explicit PylintWorker(QObject *parent = nullptr);
    ~PylintWorker() override;

    int Id() const { return id; }
    QString TempFilePath() const { return tempFilePath; }
    // Once a temporary file could not be written, no worker runs again until this is reset (a
    // reload of the plug-in, or a test).
    static bool WorkerFileFailed();
    static void ResetWorkerFileFailure();
    // The program and arguments of a run on `file`; never a shell command line.
    static QString Program(const Options &options);
    static QStringList Arguments(const Options &options, const QString &file);
    // Whether a part of the output is one message made by the template.
    static bool IsMessage(const QString &part);

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
    bool WriteSource(const QString &source);
    void HandleOutput();
    void Fail(const QString &message);
    // Kills a running process; false when it would not end in time.
    bool Stop();

    int id;
    QProcess *process = nullptr;
    QString tempFilePath;
    QString filePath;
    int runCount = 0;
    Options m_options;
    bool m_shuttingDown = false;
};

} // namespace ke2

Q_DECLARE_METATYPE(ke2::PylintWorker::Options)
