#include "app/python_host.h"
#include "plugin/forced_imports.h"
#include "plugin/host_bridge.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

// Forced imports checked and run in the real embedded interpreter.
class ForcedImportsTest : public QObject {
    Q_OBJECT

    ke2::test::TempPrefs m_prefs;
    std::unique_ptr<ke2::PythonHost> m_host;
    QStringList m_output;

private slots:
    void init()
    {
        m_host = std::make_unique<ke2::PythonHost>(m_prefs.root());
        m_host->addCallbacks(nullptr);
        m_host->output().setReceiver([this](const QString &text) { m_output.append(text); });
        ke2::HostBridge::setHost(m_host.get());
        ke2::HostBridge::loadEmbeddedScripts();
        // A stand-in for the host's own package, so that "from maya import cmds" can succeed.
        QVERIFY(m_host->executePython(QStringLiteral(
            "import sys, types\nsys.modules['maya'] = types.ModuleType('maya')\n"
            "sys.modules['maya'].cmds = types.ModuleType('maya.cmds')")));
        m_output.clear();
    }
    void cleanup()
    {
        ke2::ForcedImports::Apply(QString());
        ke2::HostBridge::setHost(nullptr);
        m_host.reset();
    }

    void acceptedAndSkipped_data()
    {
        QTest::addColumn<QString>("setting");
        QTest::addColumn<QStringList>("accepted");
        QTest::addColumn<QStringList>("skipped");
        QTest::newRow("two imports and an assignment")
            << "import os; from maya import cmds;;x = 1" << QStringList{"import os", "from maya import cmds"}
            << QStringList{"x = 1"};
        QTest::newRow("a colon") << "import C:\\tools" << QStringList{} << QStringList{"import C:\\tools"};
        QTest::newRow("a backslash") << "import a\\b; import json" << QStringList{"import json"}
                                     << QStringList{"import a\\b"};
        QTest::newRow("a module that does not import")
            << "import no_such_module_here; import os" << QStringList{"import os"}
            << QStringList{"import no_such_module_here"};
        QTest::newRow("quotes stay inside the check")
            << "from os import \"path\"" << QStringList{} << QStringList{"from os import \"path\""};
        QTest::newRow("nothing") << " ; ;" << QStringList{} << QStringList{};
    }

    void acceptedAndSkipped()
    {
        QFETCH(QString, setting);
        QFETCH(QStringList, accepted);
        QFETCH(QStringList, skipped);
        ke2::ForcedImports::Apply(QStringLiteral("import json"));
        m_output.clear();
        ke2::ForcedImports::Apply(setting);
        // The list is rebuilt as a whole.
        QCOMPARE(ke2::ForcedImports::Accepted(), accepted);
        QStringList expected;
        for (const QString &statement : skipped)
            expected << QStringLiteral("// Warning: [KestrelEditor2] Skipping invalid forced import: %1 //\n")
                            .arg(statement);
        // Nothing else of the checks and runs reaches the output.
        QCOMPARE(m_output, expected);
    }

    // An accepted statement has run in the host's main namespace.
    void acceptedStatementsRanInTheHost()
    {
        QString answer;
        // The interpreter outlives each test's host.
        QVERIFY(m_host->executePython(QStringLiteral("globals().pop('cmds', None)")));
        QVERIFY(m_host->executePythonString(QStringLiteral("str('cmds' in globals())"), answer));
        QCOMPARE(answer, QStringLiteral("False"));
        ke2::ForcedImports::Apply(QStringLiteral("from maya import cmds"));
        QVERIFY(m_host->executePythonString(QStringLiteral("str('cmds' in globals())"), answer));
        QCOMPARE(answer, QStringLiteral("True"));
    }
};

KE2_TEST_CLASS(ForcedImportsTest)
#include "test_forced_imports.moc"
