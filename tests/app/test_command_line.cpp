#include "app/command_line.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>
#include <QtTest/QTest>

using ke2::CommandLine;

// The program as a user runs it: a real process, its output and its exit status.
class CommandLineTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    struct Result {
        int exitCode = -1;
        QString out;
        QString err;
    };
    Result launch(const QStringList &arguments)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("KE2_PREFS_DIR", m_dir.path() + "/prefs");
        process.setProcessEnvironment(environment);
        process.start(KE2_EDITOR_BINARY, arguments);
        if (!process.waitForFinished(60000))
            return {};
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }
    QString script(const QString &name, const QByteArray &text)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(text);
        return path;
    }

private slots:
    void parse_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("path");
        using M = CommandLine::Mode;
        QTest::newRow("nothing opens the window") << QStringList{} << int(M::Window) << "";
        QTest::newRow("run") << QStringList{"--run", "a.py"} << int(M::Run) << "a.py";
        QTest::newRow("screenshot") << QStringList{"--screenshot", "s.png"} << int(M::Screenshot) << "s.png";
        QTest::newRow("help wins") << QStringList{"--run", "a.py", "--help"} << int(M::Help) << "a.py";
        QTest::newRow("short version") << QStringList{"-v"} << int(M::Version) << "";
        QTest::newRow("run without file") << QStringList{"--run"} << int(M::Invalid) << "";
        QTest::newRow("run with empty file") << QStringList{"--run", ""} << int(M::Invalid) << "";
        QTest::newRow("two modes") << QStringList{"--run", "a", "--screenshot", "b"} << int(M::Invalid) << "a";
        QTest::newRow("unknown option") << QStringList{"--frobnicate"} << int(M::Invalid) << "";
    }
    void parse()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, mode);
        QFETCH(QString, path);
        const CommandLine line = CommandLine::parse(arguments);
        QCOMPARE(int(line.mode), mode);
        QCOMPARE(line.path, path);
        QCOMPARE(line.error.isEmpty(), line.mode != CommandLine::Mode::Invalid);
    }

    void runScripts_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("expectedOut");
        QTest::newRow("result") << "sum.py" << QByteArray("1+2") << 0 << "1+2\n# Result: 3 #\n";
        QTest::newRow("print") << "hi.py" << QByteArray("print(\"hi\")\n") << 0 << "print(\"hi\")\nhi\n";
        QTest::newRow("error exits 1") << "div.py" << QByteArray("1/0") << 1
                                       << "1/0\n# Error: ZeroDivisionError: file <maya console> line 1: division by zero #\n";
        QTest::newRow("sys.exit cannot choose the exit code")
            << "exit.py" << QByteArray("import sys\nprint('before')\nsys.exit(3)\n") << 1
            << "import sys\nprint('before')\nsys.exit(3)\nbefore\n# Error: SystemExit: file <maya console> line 3: 3 #\n";
        QTest::newRow("MEL needs Maya") << "scene.mel" << QByteArray("polySphere;") << 1
                                        << "polySphere;\n// Error: MEL needs a Maya session; this standalone editor runs Python only. //\n";
        QTest::newRow("helpers of the standalone interpreter live in __main__")
            << "main.py" << QByteArray("__name__") << 0 << "__name__\n# Result: '__main__' #\n";
        QTest::newRow("start-up loaded the helpers as inside Maya")
            << "helpers.py" << QByteArray("'True' in KestrelEditorHelpers.list_keywords()") << 0
            << "'True' in KestrelEditorHelpers.list_keywords()\n# Result: True #\n";
    }
    void runScripts()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, text);
        QFETCH(int, exitCode);
        QFETCH(QString, expectedOut);
        const Result result = launch({"--run", script(name, text)});
        QCOMPARE(result.out, expectedOut);
        QCOMPARE(result.exitCode, exitCode);
    }

    void badInputExitsTwo_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("missing file") << QStringList{"--run", "/nonexistent/x.py"} << "no such file";
        QTest::newRow("directory") << QStringList{"--run", "."} << "is a directory";
        QTest::newRow("unknown option") << QStringList{"--bogus"} << "unknown argument '--bogus'";
        QTest::newRow("missing value") << QStringList{"--run"} << "--run needs a file name";
    }
    void badInputExitsTwo()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const Result result = launch(arguments);
        QCOMPARE(result.exitCode, 2);
        QVERIFY2(result.err.contains(message), qPrintable(result.err));
        QVERIFY(result.out.isEmpty());
    }

    void screenshotSavesTheWindow()
    {
        const QString png = m_dir.filePath("window.png");
        const Result result = launch({"--screenshot", png});
        QCOMPARE(result.exitCode, 0);
        QImage image(png);
        QVERIFY(!image.isNull());
        QVERIFY(image.width() > 10 && image.height() > 10);
    }

    void versionAndHelp()
    {
        Result result = launch({"--version"});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QString("kestrel-editor 2.3.4\n"));
        result = launch({"--help"});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.out.contains("--run FILE"));
    }
};

KE2_TEST_CLASS(CommandLineTest)
#include "test_command_line.moc"
