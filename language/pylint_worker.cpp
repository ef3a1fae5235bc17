#include "language/pylint_worker.h"

#include "config/settings.h"
#include "config/user_directories.h"
#include "plugin/host_bridge.h"
#include "plugin/qt_compat.h"

#include <QtCore/QAtomicInt>
#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QStandardPaths>
#include <QtCore/QTextStream>
#include <QtCore/QThread>

namespace ke2 {

const char *const PylintWorker::messageTemplate = "::{C}:{line}:{column}:[{msg_id}]:{msg}::";
const char *const PylintWorker::minimalCheckers =
    "--disable=W,R,C,E1111 --enable=import-error,unreachable,duplicate-key,unnecessary-semicolon,"
    "global-variable-not-assigned,unused-variable,binary-op-exception,bad-format-string,"
    "anomalous-backslash-in-string,bad-open-mode";
const char *const PylintWorker::strictCheckers =
    "--disable=all --enable=F,E,unreachable,duplicate-key,unnecessary-semicolon,global-variable-not-assigned,"
    "unused-variable,binary-op-exception,bad-format-string,anomalous-backslash-in-string,bad-open-mode";

namespace {
QAtomicInt g_nextId{0};
// Set once a worker file could not be made or written; only ever goes from false to true while
// the plug-in is loaded.
QAtomicInt g_workerFileFailed{0};

// What pylint prints besides messages: module headers, rules and the score.
bool isReportLine(const QString &line)
{
    static const QRegularExpression report(
        QStringLiteral("^(\\*{5,}.*|-{5,}|Your code has been rated.*|\\s*)$"));
    return report.match(line.trimmed()).hasMatch();
}

QString firstLine(const QString &text)
{
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        const QString trimmed = line.trimmed();
        if (!trimmed.isEmpty())
            return trimmed.left(200);
    }
    return QString();
}
} // namespace

PylintWorker::Options PylintWorker::Options::FromSettings()
{
    const Settings &settings = Settings::instance();
    Options options;
    options.pylintEnabled = settings.pylintEnabled;
    options.pylintPath = settings.pylintPath;
    options.pylintPythonHomePath = settings.pylintPythonHomePath;
    options.pylintConfigPath = settings.pylintConfigPath;
    options.pylintUseMinimalCheckers = settings.pylintUseMinimalCheckers;
    options.pylintShowErrors = settings.pylintShowErrors;
    return options;
}

PylintWorker::PylintWorker(QObject *parent) : QObject(parent), id(g_nextId.fetchAndAddRelaxed(1))
{
    qRegisterMetaType<ke2::PylintWorker::Options>("ke2::PylintWorker::Options");
    if (!WorkerFileFailed()) {
        const QString folder = UserDirectories::tempDirectory();
        const QString path = QStringLiteral("%1/ke2_worker%2_temp.py").arg(folder).arg(id);
        QFile file(path);
        if (!folder.isEmpty() && file.open(QIODevice::WriteOnly | QIODevice::Text))
            file.close();
        if (!folder.isEmpty() && QFileInfo(path).isFile()) {
            tempFilePath = path;
        } else {
            HostBridge::showError(QStringLiteral("Failed to create worker file"));
            g_workerFileFailed.storeRelaxed(1);
        }
    }
    process = new QProcess(this);
    m_options = Options::FromSettings();
}

PylintWorker::~PylintWorker()
{
    Stop();
}

bool PylintWorker::WorkerFileFailed()
{
    return g_workerFileFailed.loadRelaxed() != 0;
}

void PylintWorker::ResetWorkerFileFailure()
{
    g_workerFileFailed.storeRelaxed(0);
}

QString PylintWorker::Program(const Options &options)
{
    // Without a configured path, the pylint that the system finds.
    if (options.pylintPath.isEmpty())
        return QStandardPaths::findExecutable(QStringLiteral("pylint"));
    return options.pylintPath;
}

QStringList PylintWorker::Arguments(const Options &options, const QString &file)
{
    QStringList arguments{QStringLiteral("--msg-template=") + QString::fromLatin1(messageTemplate)};
    if (options.pylintUseMinimalCheckers)
        arguments += QString::fromLatin1(minimalCheckers).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    else if (!options.pylintConfigPath.isEmpty())
        arguments.append(QStringLiteral("--rcfile=") + options.pylintConfigPath);
    arguments.append(file);
    return arguments;
}

bool PylintWorker::IsMessage(const QString &part)
{
    static const QRegularExpression message(QStringLiteral("^[A-Z]:\\d+:\\d+:\\[[A-Z]\\d+\\]:"));
    return message.match(part).hasMatch();
}

void PylintWorker::SetOptions(const ke2::PylintWorker::Options &options)
{
    m_options = options;
    if (!m_options.pylintEnabled) {
        ++runCount; // a run still going is not reported any more
        Stop();
    }
}

bool PylintWorker::Stop()
{
    if (process->state() == QProcess::NotRunning)
        return true;
    process->kill();
    return process->waitForFinished(killWaitMs);
}

bool PylintWorker::WriteSource(const QString &source)
{
    if (WorkerFileFailed() || tempFilePath.isEmpty())
        return false;
    QFile file(tempFilePath);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        Fail(QStringLiteral("Failed to write to worker file"));
        g_workerFileFailed.storeRelaxed(1);
        return false;
    }
    QTextStream stream(&file);
    qtcompat::useUtf8(stream); // pylint reads source files as UTF-8
    stream << source;
    stream.flush();
    return file.error() == QFileDevice::NoError;
}

void PylintWorker::Fail(const QString &message)
{
    emit Report(message);
    emit PylintOutput(filePath, QStringList(), -1);
}

void PylintWorker::Pylint(const QString &source, const QString &path, const QString &pythonPath)
{
    const int generation = ++runCount;
    if (!Stop())
        return; // the old run would not die: this request is given up
    filePath = path;
    if (!m_options.pylintEnabled || m_shuttingDown)
        return;
    const QString program = Program(m_options);
    if (program.isEmpty() || !QFileInfo(program).isFile()) {
        Fail(QStringLiteral("Pylint executable not found: %1")
                 .arg(m_options.pylintPath.isEmpty() ? QStringLiteral("pylint") : m_options.pylintPath));
        return;
    }
    if (!WriteSource(source))
        return;

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PYTHONPATH"), pythonPath);
    if (!m_options.pylintPythonHomePath.isEmpty())
        environment.insert(QStringLiteral("PYTHONHOME"), m_options.pylintPythonHomePath);
    process->setProcessEnvironment(environment);
    process->start(program, Arguments(m_options, tempFilePath), QIODevice::ReadWrite);
    if (!process->waitForStarted(startWaitMs))
        return;
    process->closeWriteChannel();
    // The thread keeps taking requests while pylint runs: a newer one, or Shutdown, arrives
    // through the events processed here and ends this run.
    QElapsedTimer clock;
    clock.start();
    while (process->state() != QProcess::NotRunning) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        if (runCount != generation || m_shuttingDown)
            return; // superseded: the newer request has stopped this process already
        if (clock.elapsed() > m_options.timeLimitMs) {
            Stop();
            Fail(QStringLiteral("Pylint did not finish within %1 seconds and was stopped")
                     .arg(m_options.timeLimitMs / 1000.0));
            return;
        }
        QThread::msleep(1);
    }
    if (runCount == generation && !m_shuttingDown)
        HandleOutput();
}

void PylintWorker::HandleOutput()
{
    const QString output = QString::fromUtf8(process->readAllStandardOutput());
    const QString errors = QString::fromUtf8(process->readAllStandardError());
    if (process->exitStatus() == QProcess::CrashExit) {
        Fail(QStringLiteral("Pylint stopped unexpectedly: %1").arg(firstLine(errors)));
        return;
    }
    if (m_options.pylintShowErrors && !errors.trimmed().isEmpty())
        emit Report(errors.trimmed());
    const QStringList parts = output.split(QStringLiteral("::"), Qt::SkipEmptyParts);
    int messages = 0;
    bool unreadable = false;
    for (const QString &part : parts) {
        if (IsMessage(part))
            ++messages;
        else
            for (const QString &line : part.split(QLatin1Char('\n')))
                unreadable = unreadable || !isReportLine(line);
    }
    // pylint's exit code is a set of bits: 1 fatal, 2 error, 4 warning, 8 refactor,
    // 16 convention, 32 usage error. Anything above, a usage error, or a failure that printed no
    // message, is a pylint that did not check the file.
    const int code = process->exitCode();
    if (messages == 0 && (unreadable || code != 0)) {
        const QString reason = firstLine(errors).isEmpty() ? firstLine(output) : firstLine(errors);
        Fail(QStringLiteral("Pylint gave no result (exit code %1): %2").arg(code).arg(reason));
        return;
    }
    emit PylintOutput(filePath, parts, messages);
}

void PylintWorker::Shutdown()
{
    m_shuttingDown = true;
    Stop();
    if (QThread *thread = QThread::currentThread())
        thread->exit(0);
}

} // namespace ke2
