#include "app/python_host.h"
#include "config/settings.h"
#include "plugin/host_bridge.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using ke2::PythonHost;
namespace bridge = ke2::HostBridge;

// The embedded helpers, run in the real interpreter the standalone program uses.
class PythonHelpersTest : public QObject {
    Q_OBJECT

    ke2::test::TempPrefs m_prefs;
    std::unique_ptr<PythonHost> m_host;
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
        m_host = std::make_unique<PythonHost>(m_prefs.root());
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
        QVERIFY(keywords.contains("lambda"));
        QCOMPARE(bridge::pythonKeywords(), keywords);
    }

    void builtinsVersionAndPath()
    {
        QVERIFY(bridge::pythonBuiltins().contains("len"));
        QCOMPARE(bridge::pythonVersion(), evaluate("'%d.%d.%d' % __import__('sys').version_info[:3]"));
        QVERIFY(m_host->executePython("import sys\nsys.path.append('/ke2/extra')"));
        const QString joined = evaluate("__import__('os').pathsep.join(__import__('sys').path)");
        QVERIFY(joined.endsWith(":/ke2/extra"));
        QCOMPARE(bridge::updatePythonPathString(), joined);
        ke2::Settings::instance().pylintAdditionalImportPaths = "/mine";
        QCOMPARE(bridge::updatePythonPathString(), "/mine;" + joined);
        ke2::Settings::instance() = ke2::Settings();
        QVERIFY(m_host->executePython("sys.path.remove('/ke2/extra')"));
    }

    void printedPaths()
    {
        QVERIFY(m_host->executePython("import os\nos.environ['KE2_HELPERS_TEST_PATH'] = '/one' + os.pathsep + '/two'"));
        bridge::printPythonPath();
        bridge::printEnvironmentVariablePaths("KE2_HELPERS_TEST_PATH");
        m_host->drainIdleQueue();
        const QString text = m_lines.join(QString());
        QVERIFY2(text.startsWith("\nPYTHONPATH:\n"), qPrintable(text));
        QVERIFY(text.endsWith("\nKE2_HELPERS_TEST_PATH:\n/one\n/two\n"));
        QCOMPARE(text.count('\n'), evaluate("str(len(__import__('sys').path))").toInt() + 6);
    }

    void helpersLiveInMain()
    {
        QCOMPARE(evaluate("KestrelEditorHelpers.__module__"), QString("__main__"));
        // Internal calls stay out of the output.
        QVERIFY(m_lines.isEmpty());
    }
};

KE2_TEST_CLASS(PythonHelpersTest)
#include "test_python_helpers.moc"
