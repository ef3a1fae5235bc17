#include "language/pylint_worker.h"

#include "config/settings.h"
#include "config/user_directories.h"
#include "plugin/host_bridge.h"
#include "plugin/qt_compat.h"

#include <QtCore/QAtomicInt>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMutex>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QStandardPaths>
#include <QtCore/QTextStream>
#include <QtCore/QThread>
#include <QtCore/QTimer>

#include <limits>

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

// What the workers of all groups have said, and under which settings: a failure that repeats at
// every pause in typing is said once, and again only after the settings change.
QMutex g_reportedMutex;
QString g_reportedUnder;
QSet<QString> g_reported;

bool firstReport(const QString &settingsKey, const QString &message)
{
    QMutexLocker lock(&g_reportedMutex);
    if (settingsKey != g_reportedUnder) {
        g_reportedUnder = settingsKey;
        g_reported.clear();
    }
    if (g_reported.contains(message))
        return false;
    g_reported.insert(message);
    return true;
}

QString decoded(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size()); // whole, NULs included
}

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
    options.pylintEnabled = settings.pylintActive();
    options.pylintPath = settings.pylintPath;
    options.pylintPythonHomePath = settings.pylintPythonHomePath;
    options.pylintConfigPath = settings.pylintConfigPath;
    options.pylintUseMinimalCheckers = settings.pylintUseMinimalCheckers;
    options.pylintShowErrors = settings.pylintShowErrors;
    return options;
}

QString PylintWorker::Options::Key() const
{
    return QStringList{QString::number(pylintEnabled), pylintPath, pylintPythonHomePath, pylintConfigPath,
                       QString::number(pylintUseMinimalCheckers), QString::number(pylintShowErrors)}
        .join(QChar(0));
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
    m_killTimer = new QTimer(this);
    m_killTimer->setSingleShot(true);
    connect(m_killTimer, &QTimer::timeout, this, &PylintWorker::OnKillTimeout);
    m_timeLimit = new QTimer(this);
    m_timeLimit->setSingleShot(true);
    connect(m_timeLimit, &QTimer::timeout, this, &PylintWorker::OnTimeLimit);
    MakeProcess();
    m_options = Options::FromSettings();
}

PylintWorker::~PylintWorker()
{
    m_shuttingDown = true;
    process->disconnect(this);
    StopNow();
}

void PylintWorker::MakeProcess()
{
    process = new QProcess(this);
    connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this, &PylintWorker::OnFinished);
    connect(process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return; // the others end in finished()
        m_timeLimit->stop();
        if (m_runGeneration == runCount && !m_shuttingDown)
            Fail(QStringLiteral("Pylint could not be started: %1").arg(process->errorString()), false);
        StartWaiting();
    });
}

bool PylintWorker::IsRunning() const
{
    return process->state() != QProcess::NotRunning;
}

bool PylintWorker::WorkerFileFailed()
{
    return g_workerFileFailed.loadRelaxed() != 0;
}

void PylintWorker::ResetWorkerFileFailure()
{
    g_workerFileFailed.storeRelaxed(0);
}

void PylintWorker::ForgetReportedMessages()
{
    QMutexLocker lock(&g_reportedMutex);
    g_reported.clear();
    g_reportedUnder.clear();
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

QString PylintWorker::ImportPath(const QString &filePath, const QString &pythonPath)
{
    // pylint checks a copy in our temporary folder; the imports of the buffer must resolve as
    // they would for the file itself: next to it, and through the package it belongs to.
    QStringList folders;
    const QFileInfo file(filePath);
    if (!filePath.isEmpty() && file.isAbsolute() && file.absoluteDir().exists()) {
        QDir folder = file.absoluteDir();
        folders.append(QDir::toNativeSeparators(folder.absolutePath()));
        bool inPackage = false;
        while (QFileInfo(folder.filePath(QStringLiteral("__init__.py"))).isFile() && folder.cdUp())
            inPackage = true;
        if (inPackage)
            folders.append(QDir::toNativeSeparators(folder.absolutePath()));
    }
    if (!pythonPath.isEmpty())
        folders.append(pythonPath);
    return folders.join(QDir::listSeparator());
}

bool PylintWorker::IsMessage(const QString &part)
{
    static const QRegularExpression message(QStringLiteral("^[A-Z]:\\d+:\\d+:\\[[A-Z]\\d+\\]:"));
    return message.match(part).hasMatch();
}

QVector<PylintWorker::Message> PylintWorker::Messages(const QStringList &parts)
{
    static const QRegularExpression message(QStringLiteral("^([A-Z]):(\\d+):(\\d+):\\[([A-Z]\\d+)\\]:(.*)$"),
                                            QRegularExpression::DotMatchesEverythingOption);
    // Digits only, so the one way to fail is a number too large for an int.
    const auto number = [](const QString &digits) {
        bool ok = false;
        const int value = digits.toInt(&ok);
        return ok ? value : std::numeric_limits<int>::max();
    };
    QVector<Message> messages;
    for (const QString &part : parts) {
        const QRegularExpressionMatch match = message.match(part);
        if (!match.hasMatch())
            continue;
        messages.append({match.captured(1).at(0), number(match.captured(2)), number(match.captured(3)),
                         match.captured(4), match.captured(5).trimmed()});
    }
    return messages;
}

void PylintWorker::SetOptions(const ke2::PylintWorker::Options &options)
{
    m_options = options;
    if (!m_options.pylintEnabled) {
        ++runCount; // a run still going is not reported any more
        m_waiting.reset();
        if (IsRunning())
            process->kill();
    }
}

bool PylintWorker::StopNow()
{
    m_killTimer->stop();
    m_timeLimit->stop();
    if (!IsRunning())
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
        Fail(QStringLiteral("Failed to write to worker file"), true);
        g_workerFileFailed.storeRelaxed(1);
        return false;
    }
    QTextStream stream(&file);
    qtcompat::useUtf8(stream); // pylint reads source files as UTF-8
    stream << source;
    stream.flush();
    return file.error() == QFileDevice::NoError;
}

void PylintWorker::Say(const QString &message)
{
    if (firstReport(m_options.Key(), message))
        emit Report(message);
}

void PylintWorker::Fail(const QString &message, bool listed)
{
    if (listed || m_options.pylintShowErrors)
        Say(message);
    emit PylintOutput(filePath, QStringList(), -1);
}

void PylintWorker::Pylint(const QString &source, const QString &path, const QString &pythonPath)
{
    ++runCount;
    if (m_shuttingDown)
        return;
    // Only the newest request waits; the run still going is killed and its end starts this one.
    m_waiting = Request{source, path, pythonPath};
    if (IsRunning()) {
        if (!m_killTimer->isActive()) {
            process->kill();
            m_killTimer->start(killWaitMs);
        }
        return;
    }
    StartWaiting();
}

void PylintWorker::StartWaiting()
{
    if (!m_waiting || m_shuttingDown || IsRunning())
        return;
    const Request request = *m_waiting;
    m_waiting.reset();
    filePath = request.filePath;
    if (!m_options.pylintEnabled)
        return;
    const QString program = Program(m_options);
    if (program.isEmpty() || !QFileInfo(program).isFile()) {
        Fail(QStringLiteral("Pylint executable not found: %1")
                 .arg(m_options.pylintPath.isEmpty() ? QStringLiteral("pylint") : m_options.pylintPath),
             true);
        return;
    }
    if (!WriteSource(request.source))
        return;

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PYTHONPATH"), ImportPath(request.filePath, request.pythonPath));
    if (!m_options.pylintPythonHomePath.isEmpty())
        environment.insert(QStringLiteral("PYTHONHOME"), m_options.pylintPythonHomePath);
    process->setProcessEnvironment(environment);
    m_runGeneration = runCount;
    m_timedOut = false;
    process->start(program, Arguments(m_options, tempFilePath), QIODevice::ReadWrite);
    process->closeWriteChannel();
    m_timeLimit->start(m_options.timeLimitMs);
}

void PylintWorker::OnFinished()
{
    m_killTimer->stop();
    m_timeLimit->stop();
    if (m_runGeneration == runCount && !m_shuttingDown) {
        if (m_timedOut)
            Fail(QStringLiteral("Pylint did not finish within %1 seconds and was stopped")
                     .arg(m_options.timeLimitMs / 1000.0),
                 false);
        else
            HandleOutput();
    }
    m_timedOut = false;
    StartWaiting();
}

void PylintWorker::OnKillTimeout()
{
    if (!IsRunning())
        return;
    // A process that outlives its kill is left to end on its own; the next run gets a new one.
    QProcess *stuck = process;
    stuck->disconnect(this);
    stuck->setParent(nullptr);
    connect(stuck, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), stuck, &QObject::deleteLater);
    MakeProcess();
    StartWaiting();
}

void PylintWorker::OnTimeLimit()
{
    if (!IsRunning() || m_runGeneration != runCount)
        return;
    m_timedOut = true;
    process->kill();
}

void PylintWorker::HandleOutput()
{
    const QString output = decoded(process->readAllStandardOutput());
    const QString errors = decoded(process->readAllStandardError());
    if (process->exitStatus() == QProcess::CrashExit) {
        Fail(QStringLiteral("Pylint stopped unexpectedly: %1").arg(firstLine(errors)), false);
        return;
    }
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
        Fail(QStringLiteral("Pylint gave no result (exit code %1): %2").arg(code).arg(reason), false);
        return;
    }
    if (m_options.pylintShowErrors && !errors.trimmed().isEmpty())
        Say(errors.trimmed());
    emit PylintOutput(filePath, parts, messages);
}

void PylintWorker::Shutdown()
{
    // Bounded: the kill is waited for at most killWaitMs, then the thread's loop ends.
    m_shuttingDown = true;
    m_waiting.reset();
    ++runCount;
    StopNow();
    if (thread() != QCoreApplication::instance()->thread())
        thread()->exit(0);
}

} // namespace ke2
