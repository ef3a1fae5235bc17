#include "app/python_host.h"
#include "config/settings.h"
#include "plugin/host_bridge.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

namespace bridge = ke2::HostBridge;

// The embedded helpers, run in the real interpreter the standalone program uses.
class PythonHelpersTest : public QObject {
    Q_OBJECT

    ke2::test::TempPrefs m_prefs;
    std::unique_ptr<ke2::PythonHost> m_host;
    QStringList m_lines;

    QString evaluate(const QString &expression)
    {
        QString text;
        m_host->executePythonString(expression, text);
        return text;
    }

private slots:
    void init()
    {
        m_host = std::make_unique<ke2::PythonHost>(m_prefs.root());
        m_host->addCallbacks(nullptr);
        m_host->output().setReceiver([this](const QString &text) { m_lines.append(text); });
        bridge::setHost(m_host.get());
        bridge::loadEmbeddedScripts();
        m_lines.clear();
    }
    void cleanup()
    {
        bridge::setHost(nullptr);
        m_host.reset();
        ke2::Settings::instance() = ke2::Settings();
    }

    void keywordsHoldTheConstantsOnce()
    {
        QStringList keywords;
        // As on an interpreter that does not list them as keywords.
        QVERIFY(m_host->executePython("import keyword\nkeyword.kwlist.remove('None')"));
        for (int i = 0; i < 3; ++i)
            QVERIFY(m_host->executePythonStringList("KestrelEditorHelpers.list_keywords()", keywords));
        for (const char *name : {"True", "False", "None"})
            QCOMPARE(keywords.count(name), 1);
        QCOMPARE(bridge::pythonKeywords(), keywords);
        QVERIFY(bridge::pythonBuiltins().contains("len"));
    }

    void pathIsJoinedAndPrinted()
    {
        QVERIFY(m_host->executePython("import os, sys\nsys.path.append('/ke2/extra')\n"
                                      "os.environ['KE2_HELPERS_TEST_PATH'] = '/one' + os.pathsep + '/two'"));
        bridge::printPythonPath();
        bridge::printEnvironmentVariablePaths("KE2_HELPERS_TEST_PATH");
        m_host->drainIdleQueue();
        const QString text = m_lines.join(QString());
        QVERIFY2(text.startsWith("\nPYTHONPATH:\n"), qPrintable(text));
        QVERIFY(text.endsWith("/ke2/extra\n\nKE2_HELPERS_TEST_PATH:\n/one\n/two\n"));
        QCOMPARE(text.count('\n'), evaluate("str(len(sys.path))").toInt() + 6);
        QVERIFY(m_host->executePython("sys.path.remove('/ke2/extra')"));
    }

    // What the pylint process imports with the path string as its PYTHONPATH: the user's folders,
    // typed with either separator, and the host's own module path.
    void pathStringImportsFromEveryFolder_data()
    {
        QTest::addColumn<QString>("typed"); // %1, %2: the two folders
        QTest::addRow("semicolons") << "%1;%2";
        QTest::addRow("blanks and empty entries") << " %1 ;; %2 ;";
        if (QDir::listSeparator() == QLatin1Char(':'))
            QTest::addRow("colons") << "%1:%2";
        QTest::addRow("nothing typed") << "";
    }
    void pathStringImportsFromEveryFolder()
    {
        QFETCH(QString, typed);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        for (const char *name : {"one", "two", "host"}) {
            QVERIFY(QDir(dir.path()).mkpath(name));
            QVERIFY(ke2::test::writeFile(dir.filePath(QStringLiteral("%1/ke2_mod_%1.py").arg(name)), "VALUE = 1\n"));
        }
        QVERIFY(m_host->executePython(QStringLiteral("import sys\nsys.path.append(r'%1')").arg(dir.filePath("host"))));
        const QString path =
            bridge::updatePythonPathString(typed.isEmpty() ? typed : typed.arg(dir.filePath("one"), dir.filePath("two")));
        QVERIFY(m_host->executePython(QStringLiteral("sys.path.remove(r'%1')").arg(dir.filePath("host"))));
        QCOMPARE(bridge::pythonPathString(), path);

        QProcess python;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("PYTHONPATH", path);
        python.setProcessEnvironment(environment);
        const QString imports = typed.isEmpty() ? "import ke2_mod_host" : "import ke2_mod_one, ke2_mod_two, ke2_mod_host";
        python.start("python3", {"-c", imports});
        QVERIFY(python.waitForFinished(30000));
        QVERIFY2(python.exitCode() == 0, python.readAllStandardError().constData());
    }
};

KE2_TEST_CLASS(PythonHelpersTest)
#include "test_python_helpers.moc"
