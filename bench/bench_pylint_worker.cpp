// Pylint requests piling up: 10,000 requests queued to one worker thread while a stand-in pylint
// (a shell script that sleeps, then answers with the first line of the file it checks) runs.
// Reports how much deeper than the first request any later one reached the worker on its
// thread's stack, the process's resident memory before and after, how many pylint processes
// were started, and how long the newest text took to be answered.
#include "app/python_host.h"
#include "language/pylint_worker.h"
#include "plugin/host_bridge.h"
#include "tests/support/stack_probe.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>

#include <cstdio>

using namespace ke2;

namespace {

// Resident memory in KB, as the kernel reports it; -1 where that is not available.
long residentKb(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith(field))
            return line.mid(int(qstrlen(field))).trimmed().split(' ').value(0).toLong();
    return -1;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int requests = argc > 1 && QByteArray(argv[1]).toInt() > 0 ? QByteArray(argv[1]).toInt() : 10000;
    QTemporaryDir dir;
    PythonHost host(dir.path()); // the standalone host places the worker's temporary file
    HostBridge::setHost(&host);
    const QString script = dir.filePath(QStringLiteral("pylint"));
    {
        QFile file(script);
        if (!file.open(QIODevice::WriteOnly))
            return 1;
        file.write("#!/bin/sh\nfor last; do :; done\necho $$ >> \"$0.pids\"\nsleep 0.2\n"
                   "echo \"::E:1:0:[E0001]:$(head -n 1 \"$last\")::\"\nexit 2\n");
        file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
    }
    QThread thread;
    auto *worker = new PylintWorker;
    auto *probe = new test::StackProbe;
    worker->installEventFilter(probe);
    PylintWorker::Options options;
    options.pylintEnabled = true;
    options.pylintPath = script;
    worker->SetOptions(options);
    worker->moveToThread(&thread);
    probe->moveToThread(&thread);
    QString answer;
    QObject::connect(worker, &PylintWorker::PylintOutput, &app,
                     [&](const QString &, const QStringList &parts, int) { answer = parts.value(0); });
    thread.start();

    const long rssBefore = residentKb("VmRSS:");
    QElapsedTimer clock;
    clock.start();
    for (int i = 1; i <= requests; ++i) {
        const QString text = QStringLiteral("text%1\n").arg(i) + QString(2000, QLatin1Char('x')); // a small buffer
        QMetaObject::invokeMethod(worker, [worker, text] { worker->Pylint(text, QStringLiteral("a.py"), QString()); },
                                  Qt::QueuedConnection);
    }
    const double queuedMs = clock.nsecsElapsed() / 1e6;
    while (answer.isEmpty() && clock.elapsed() < 120000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    const double answeredMs = clock.nsecsElapsed() / 1e6;
    const long rssAfter = residentKb("VmRSS:");
    QMetaObject::invokeMethod(worker, [worker] { worker->Shutdown(); }, Qt::QueuedConnection);
    const bool stopped = thread.wait(5000);

    QFile pids(script + QStringLiteral(".pids"));
    const int started = pids.open(QIODevice::ReadOnly) ? pids.readAll().count('\n') : -1;
    std::printf("Pylint worker: %d requests queued while a stand-in pylint sleeps 0.2 s per run\n\n", requests);
    std::printf("%-32s %s\n", "answer", qPrintable(answer));
    std::printf("%-32s %lld bytes\n", "stack depth beyond the first", (long long)(probe->highest - probe->lowest));
    std::printf("%-32s %ld KB -> %ld KB (peak %ld KB)\n", "resident memory", rssBefore, rssAfter, residentKb("VmHWM:"));
    std::printf("%-32s %d\n", "pylint processes started", started);
    std::printf("%-32s %.1f ms\n", "queueing the requests", queuedMs);
    std::printf("%-32s %.1f ms\n", "newest text answered after", answeredMs);
    std::printf("%-32s %s\n", "thread stopped on shutdown", stopped ? "yes" : "no");
    delete worker;
    delete probe;
    HostBridge::setHost(nullptr);
    return answer == QStringLiteral("E:1:0:[E0001]:text%1").arg(requests) ? 0 : 1;
}
