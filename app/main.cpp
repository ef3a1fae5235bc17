#include "app/command_line.h"
#include "app/python_host.h"
#include "app/standalone_look.h"
#include "shell/editor_session.h"

#include <QtCore/QTimer>
#include <QtGui/QPixmap>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include <cstdio>

namespace {

void writeTo(FILE *stream, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const ke2::CommandLine line = ke2::CommandLine::parse(arguments);

    switch (line.mode) {
    case ke2::CommandLine::Mode::Help:
        writeTo(stdout, ke2::CommandLine::usage());
        return 0;
    case ke2::CommandLine::Mode::Version:
        writeTo(stdout, ke2::CommandLine::versionText() + QLatin1Char('\n'));
        return 0;
    case ke2::CommandLine::Mode::Invalid:
        writeTo(stderr, QStringLiteral("kestrel-editor: %1\nTry 'kestrel-editor --help'.\n").arg(line.error));
        return ke2::RunBadInput;
    default:
        break;
    }

    // Running a script or taking a screenshot needs no screen.
    if (line.mode != ke2::CommandLine::Mode::Window && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("kestrel-editor"));
    QApplication::setApplicationVersion(QStringLiteral("2.3.4"));
    ke2::applyStandaloneLook(app);

    // The same start-up as inside Maya: the helpers are loaded, so a script run with --run can
    // call them as it would there.
    ke2::PythonHost host;
    ke2::EditorSession &session = ke2::EditorSession::instance();
    session.startUp(host);

    int code = 0;
    if (line.mode == ke2::CommandLine::Mode::Run) {
        code = ke2::runScriptFile(
            host, line.path, [](const QString &text) { writeTo(stdout, text); },
            [](const QString &text) { writeTo(stderr, text + QLatin1Char('\n')); });
    } else if (!session.show()) {
        writeTo(stderr, QStringLiteral("kestrel-editor: the window could not be created.\n"));
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
                    writeTo(stderr, QStringLiteral("kestrel-editor: cannot write %1\n").arg(line.path));
                    code = 1;
                }
                QCoreApplication::quit();
            });
            app.exec();
        } else {
            code = app.exec();
        }
    }
    session.shutDown();
    return code;
}
