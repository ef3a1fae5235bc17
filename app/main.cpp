#include "app/check_files.h"
#include "app/close_wait.h"
#include "app/command_line.h"
#include "app/python_host.h"
#include "app/standalone_look.h"
#include "app/termination_signals.h"
#include "shell/editor_session.h"
#include "shell/kestrel_editor.h"

#include <QtCore/QFile>
#include <QtCore/QTimer>
#include <QtGui/QPixmap>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// One of the process's standard streams. Standard output is buffered as python3's is (by
// lines on a terminal, in blocks otherwise); a failed write is remembered, so that output lost
// to a full disk or a closed pipe changes the exit status instead of passing unnoticed.
class OutputFile {
public:
    OutputFile(FILE *file, OutputFile *before = nullptr) : m_file(file), m_before(before) {}

    void write(const QString &text)
    {
        if (m_before)
            m_before->flush(); // the two streams interleave as written
        const QByteArray bytes = text.toUtf8();
        if (m_error == 0
            && std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), m_file) != static_cast<size_t>(bytes.size()))
            m_error = errno ? errno : EIO;
        if (m_before)
            flush();
    }
    bool flush()
    {
        if (std::fflush(m_file) != 0 && m_error == 0)
            m_error = errno ? errno : EIO;
        return m_error == 0;
    }
    QString errorText() const { return QString::fromLocal8Bit(std::strerror(m_error)); }

private:
    FILE *m_file;
    OutputFile *m_before;
    int m_error = 0;
};

} // namespace

int main(int argc, char **argv)
{
    OutputFile out(stdout);
    OutputFile err(stderr, &out);
    auto toErr = [&err](const QString &text) { err.write(text); };

    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const ke2::CommandLine line = ke2::CommandLine::parse(arguments);

    switch (line.mode) {
    case ke2::CommandLine::Mode::Help:
        out.write(ke2::CommandLine::usage());
        return out.flush() ? 0 : 1;
    case ke2::CommandLine::Mode::Version:
        out.write(ke2::CommandLine::versionText() + QLatin1Char('\n'));
        return out.flush() ? 0 : 1;
    case ke2::CommandLine::Mode::Invalid:
        toErr(QStringLiteral("kestrel-editor: %1\nTry 'kestrel-editor --help'.\n").arg(line.error));
        return ke2::RunBadInput;
    default:
        break;
    }

    // Checking files needs neither a screen nor a host.
    if (line.mode == ke2::CommandLine::Mode::Check) {
        const int checked = ke2::checkFiles(
            line.files, [&out](const QString &text) { out.write(text); },
            [&toErr](const QString &text) { toErr(text + QLatin1Char('\n')); });
        if (!out.flush()) {
            toErr(QStringLiteral("kestrel-editor: the output could not be written: %1\n").arg(out.errorText()));
            return ke2::CheckBadInput;
        }
        return checked;
    }

    // Running a script or taking a screenshot needs no screen.
    if (line.mode != ke2::CommandLine::Mode::Window && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("kestrel-editor"));
    QApplication::setApplicationVersion(QStringLiteral("2.3.4"));
    ke2::applyStandaloneLook(app);

    // The same start-up as inside Maya: the helpers are loaded, so a script run with --run can
    // call them as it would there. What start-up says waits in the host's output until there is
    // somewhere to show it: standard error for --run, the output panel in the window.
    ke2::PythonHost host;
    ke2::EditorSession &session = ke2::EditorSession::instance();
    session.startUp(host);

    int code = 0;
    bool waitForThreads = true;
    ke2::CloseWait closeWait(host);
    if (line.mode == ke2::CommandLine::Mode::Run) {
        host.output().setReceiver(toErr);
        host.catchTerminalInterrupt();
        host.setFlushHandler([&out] { out.flush(); });
        // The file name's own bytes: a name that is not valid text still names the file.
        const QByteArray path = line.pathArgument >= 0 && line.pathArgument + 1 < argc
                                    ? QByteArray(argv[line.pathArgument + 1])
                                    : QFile::encodeName(line.path);
        code = ke2::runScriptFile(
            host, path, [&out](const QString &text) { out.write(text); },
            [&toErr](const QString &text) { toErr(text + QLatin1Char('\n')); });
    } else if (!session.show()) {
        toErr(QStringLiteral("kestrel-editor: the window could not be created.\n"));
        code = 1;
    } else {
        // As the host command's open-file flag: a file that cannot be opened is reported in
        // the output, and the others still open.
        for (const QString &file : line.files)
            session.openFile(file);
        if (line.mode == ke2::CommandLine::Mode::Screenshot) {
            // Taken once the event loop has laid the window out and painted it.
            QTimer::singleShot(0, &app, [&] {
                if (!session.window()->grab().save(line.path)) {
                    toErr(QStringLiteral("kestrel-editor: cannot write %1\n").arg(line.path));
                    code = 1;
                }
                QCoreApplication::quit();
            });
            app.exec();
        } else {
            closeWait.watch(session.window());
            if (auto *window = qobject_cast<ke2::KestrelEditor *>(session.window()))
                ke2::addQuitAction(*window);
            ke2::TerminationSignals termination;
            QObject::connect(&termination, &ke2::TerminationSignals::Received, &app, &QCoreApplication::quit);
            code = app.exec();
            waitForThreads = !closeWait.cutShort();
        }
    }
    session.shutDown();
    // Whatever is said from here on (at-exit handlers, the last threads) goes to the terminal.
    host.output().setReceiver(toErr);
    host.finalize(waitForThreads);
    if (!out.flush()) {
        toErr(QStringLiteral("kestrel-editor: the output could not be written: %1\n").arg(out.errorText()));
        if (code == 0)
            code = 1;
    }
    return code;
}
