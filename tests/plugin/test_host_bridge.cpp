#include "config/settings.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>
#include <QtWidgets/QWidget>

using ke2::test::FakeHost;
namespace bridge = ke2::HostBridge;

namespace {
const QString kPrefix = QStringLiteral("[KestrelEditor2] ");
}

class HostBridgeTest : public QObject {
    Q_OBJECT

    std::unique_ptr<FakeHost> m_host;

    QStringList errors() const { return m_host->texts(FakeHost::Kind::Error); }

private slots:
    void init()
    {
        m_host = std::make_unique<FakeHost>();
        bridge::setHost(m_host.get());
    }
    void cleanup()
    {
        bridge::setHost(nullptr);
        m_host.reset();
        ke2::Settings::instance() = ke2::Settings();
    }

    void withoutHostEverythingIsNeutral()
    {
        bridge::setHost(nullptr);
        QCOMPARE(bridge::userPrefDir(), QString());
        QVERIFY(!bridge::isBatch());
        QVERIFY(!bridge::workspaceControlExists());
        QCOMPARE(bridge::createWorkspaceControl(QRect(0, 0, 10, 10)), nullptr);
        QCOMPARE(bridge::queryDpiScale(), 1.0);
        QVERIFY(bridge::parsePython("x", "", false).isEmpty());
        QVERIFY(!bridge::executePythonStatement("x = 1"));
        bridge::showError("nobody listens"); // must not crash
        bridge::loadEmbeddedScripts();
    }

    void messagesCarryThePrefix()
    {
        bridge::showError("e");
        bridge::showWarning("w");
        bridge::showInfo("i");
        QCOMPARE(m_host->texts(), (QStringList{kPrefix + "e", kPrefix + "w", kPrefix + "i"}));
        QCOMPARE(m_host->commands().at(1).kind, FakeHost::Kind::Warning);
    }

    void pathsComeFromTheHost()
    {
        ke2::test::TempPrefs prefs;
        QCOMPARE(bridge::userPrefDir(), QString()); // the query fails: empty
        prefs.attach(*m_host);
        QCOMPARE(bridge::userPrefDir(), prefs.userPrefDir());
        QCOMPARE(m_host->texts(FakeHost::Kind::Mel).last(), QString("internalVar -userPrefDir"));
        m_host->answer("internalVar -userScriptDir", 3); // wrong type: empty
        QCOMPARE(bridge::userScriptDir(), QString());
    }

    void workspaceControlCreation_data()
    {
        QTest::addColumn<QRect>("geometry");
        QTest::addColumn<QStringList>("expected");
        const QString create = "workspaceControl -label \"Kestrel Editor 2\" -retain 1 -floating 1 -visible 0"
                               " -requiredPlugin KestrelEditor2 -checksPlugins 1 KestrelEditor2Window";
        const QString exists = "workspaceControl -q -exists KestrelEditor2Window";
        const QString uiScript = "workspaceControl -e -uiScript kestrelEditor2 KestrelEditor2Window";
        const QString restore = "workspaceControl -e -restore KestrelEditor2Window";
        QTest::newRow("valid geometry is placed before showing")
            << QRect(QPoint(40, 30), QPoint(839, 629))
            << QStringList{exists, create, exists,
                           "workspaceControlState -e -tlc 30 40 -width 800 -height 600 KestrelEditor2Window",
                           uiScript, restore};
        QTest::newRow("invalid geometry skips the placement")
            << QRect() << QStringList{exists, create, exists, uiScript, restore};
        QTest::newRow("a one-pixel rectangle is still valid")
            << QRect(5, 6, 1, 1)
            << QStringList{exists, create, exists,
                           "workspaceControlState -e -tlc 6 5 -width 1 -height 1 KestrelEditor2Window",
                           uiScript, restore};
    }
    void workspaceControlCreation()
    {
        QFETCH(QRect, geometry);
        QFETCH(QStringList, expected);
        QWidget parent;
        m_host->currentParentWidget = &parent;
        bool created = false;
        m_host->setHandler([&created](FakeHost::Kind, const QString &text) -> std::optional<QVariant> {
            if (text == "workspaceControl -q -exists KestrelEditor2Window")
                return QVariant(created ? 1 : 0);
            if (text.startsWith("workspaceControl -label"))
                created = true;
            return QVariant(QString());
        });
        QCOMPARE(bridge::createWorkspaceControl(geometry), &parent);
        QCOMPARE(m_host->texts(), expected);
    }

    void workspaceControlCreationFailures()
    {
        QWidget parent;
        m_host->currentParentWidget = &parent;
        // Exists already: nothing is sent beyond the query.
        m_host->answer("workspaceControl -q -exists KestrelEditor2Window", 1);
        QCOMPARE(bridge::createWorkspaceControl(QRect(0, 0, 5, 5)), nullptr);
        QCOMPARE(m_host->texts().size(), 1);
        // The creation command does not produce a control.
        m_host->clearCommands();
        m_host->answer("workspaceControl -q -exists KestrelEditor2Window", 0);
        QCOMPARE(bridge::createWorkspaceControl(QRect(0, 0, 5, 5)), nullptr);
        QCOMPARE(m_host->texts().size(), 3);
        // The control is created but the host gives no parent widget: nothing more is sent.
        m_host = std::make_unique<FakeHost>();
        bridge::setHost(m_host.get());
        int queries = 0;
        m_host->setHandler([&queries](FakeHost::Kind, const QString &text) -> std::optional<QVariant> {
            if (text.startsWith("workspaceControl -q -exists"))
                return QVariant(queries++ == 0 ? 0 : 1);
            return QVariant(QString());
        });
        QCOMPARE(bridge::createWorkspaceControl(QRect(0, 0, 5, 5)), nullptr);
        QCOMPARE(m_host->texts().size(), 3);
    }

    void labelAndVisibility()
    {
        m_host->answer("workspaceControl -q -floating KestrelEditor2Window", 0);
        bridge::setWorkspaceControlLabel("script.py");
        m_host->answer("workspaceControl -q -floating KestrelEditor2Window", 1);
        bridge::setWorkspaceControlLabel("script.py");
        bridge::restoreWorkspaceControl(false);
        bridge::closeWorkspaceControl();
        QCOMPARE(m_host->texts(FakeHost::Kind::Mel),
                 (QStringList{"workspaceControl -q -floating KestrelEditor2Window",
                              "workspaceControl -e -label \"Kestrel Editor 2\" KestrelEditor2Window",
                              "workspaceControl -q -floating KestrelEditor2Window",
                              "workspaceControl -e -label \"script.py\" KestrelEditor2Window",
                              "workspaceControl -e -visible 0 KestrelEditor2Window",
                              "workspaceControl -e -close KestrelEditor2Window"}));
        QVERIFY(!bridge::workspaceControlVisible()); // unanswered query: false
    }

    void menuItem()
    {
        const QString create = "hxCreateKestrelEditorMenuItem(\"Kestrel Editor 2\", \"kestrelEditor2\")";
        m_host->answer(create, QString());
        bridge::createMenuItem();
        QCOMPARE(errors(), QStringList{kPrefix + "Failed to create 'Kestrel Editor 2' menu item"});
        QCOMPARE(bridge::menuItemName(), QString());
        bridge::removeMenuItem(); // nothing recorded: nothing sent
        QVERIFY(!m_host->texts().contains("deleteUI -mi "));

        m_host->answer(create, QString("MayaWindow|mainWindowMenu|item7"));
        bridge::createMenuItem();
        bridge::createMenuItem(); // recorded already: not created twice
        QCOMPARE(m_host->texts().count(create), 2);
        QCOMPARE(bridge::menuItemName(), QString("MayaWindow|mainWindowMenu|item7"));

        bridge::removeMenuItem(); // deleteUI unanswered: fails, the name stays
        QCOMPARE(errors().last(), kPrefix + "Failed to remove 'Kestrel Editor 2' menu item");
        QCOMPARE(bridge::menuItemName(), QString("MayaWindow|mainWindowMenu|item7"));
        m_host->answer("deleteUI -mi MayaWindow|mainWindowMenu|item7", QString());
        bridge::removeMenuItem();
        QCOMPARE(bridge::menuItemName(), QString());
    }

    void scriptEditorButton_data()
    {
        QTest::addColumn<QStringList>("failing");
        QTest::addColumn<QStringList>("expectedErrors");
        QTest::addColumn<QString>("recorded");
        QTest::newRow("override and restore succeed") << QStringList() << QStringList() << QString();
        QTest::newRow("lookup finds no button")
            << QStringList{"hxGetScriptEditorButtonName()"}
            << QStringList{"Failed to identify Script Editor button"} << QString();
        QTest::newRow("command cannot be overridden")
            << QStringList{"symbolButton -e -c \"kestrelEditor2\" sb3"}
            << QStringList{"Failed to override Script Editor button command"} << QString();
        QTest::newRow("annotation cannot be overridden")
            << QStringList{"symbolButton -e -ann \"Kestrel Editor 2\" sb3"}
            << QStringList{"Failed to override Script Editor button annotation"} << QString();
        QTest::newRow("restoring the command fails and keeps the record")
            << QStringList{"symbolButton -e -c \"ScriptEditor\" sb3"}
            << QStringList{"Failed to restore Script Editor button command"} << QString("sb3");
        QTest::newRow("restoring the annotation fails and keeps the record")
            << QStringList{"symbolButton -e -ann \"Script Editor\" sb3"}
            << QStringList{"Failed to restore Script Editor button annotation"} << QString("sb3");
    }
    void scriptEditorButton()
    {
        QFETCH(QStringList, failing);
        QFETCH(QStringList, expectedErrors);
        QFETCH(QString, recorded);
        m_host->answer("hxGetScriptEditorButtonName()", QString("sb3"));
        m_host->setHandler([](FakeHost::Kind, const QString &text) -> std::optional<QVariant> {
            if (text.startsWith("symbolButton"))
                return QVariant(QString());
            return std::nullopt;
        });
        for (const QString &text : failing)
            m_host->fail(text);
        bridge::overrideScriptEditorButton();
        bridge::restoreScriptEditorButton();
        QStringList prefixed;
        for (const QString &error : expectedErrors)
            prefixed.append(kPrefix + error);
        QCOMPARE(errors(), prefixed);
        QCOMPARE(bridge::scriptEditorButtonName(), recorded);
    }

    void buttonLookedUpOnceAndRestoredToTheHostEditor()
    {
        m_host->answer("hxGetScriptEditorButtonName()", QString("sb3"));
        m_host->setHandler([](FakeHost::Kind, const QString &) { return std::optional<QVariant>(QVariant(QString())); });
        bridge::overrideScriptEditorButton();
        bridge::overrideScriptEditorButton();
        bridge::restoreScriptEditorButton();
        bridge::restoreScriptEditorButton(); // nothing recorded any more
        QCOMPARE(m_host->texts(), (QStringList{"hxGetScriptEditorButtonName()",
                                               "symbolButton -e -c \"kestrelEditor2\" sb3",
                                               "symbolButton -e -ann \"Kestrel Editor 2\" sb3",
                                               "symbolButton -e -c \"ScriptEditor\" sb3",
                                               "symbolButton -e -ann \"Script Editor\" sb3"}));
    }

    void optionsRunOnIdleAndMirrorOptionVars()
    {
        bridge::setEchoAllCommands(true);
        bridge::setShowLineNumbers(false);
        bridge::setStackTrace(true);
        bridge::setSuppressStackWindow(true);
        QCOMPARE(m_host->runIdle(), 4);
        QCOMPARE(m_host->texts(FakeHost::Kind::MelOnIdle),
                 (QStringList{"commandEcho -state 1", "commandEcho -lineNumbers 0", "stackTrace -state 1",
                              "scriptEditorInfo -ssw 1"}));
        for (const FakeHost::Command &command : m_host->commands())
            QVERIFY(!command.display);
        QCOMPARE(m_host->optionVars.value("echoAllLines"), 1);
        QCOMPARE(m_host->optionVars.value("showLineNumbersIsOn"), 0);
        QVERIFY(bridge::echoAllCommands() && bridge::stackTrace() && !bridge::showLineNumbers());
        QCOMPARE(m_host->optionVars.size(), 3);
        QVERIFY(ke2::Settings::instance().suppressStackWindow);
        bridge::setSuppressStackWindow(false);
        QVERIFY(!ke2::Settings::instance().suppressStackWindow);
    }

    void melExecution_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("sent");
        QTest::addColumn<bool>("display");
        QTest::newRow("bare variable prints its value")
            << "$myVar_2" << "print($myVar_2); print(\"\\n\")" << false;
        QTest::newRow("variable with a semicolon runs as typed") << "$myVar;" << "$myVar;" << true;
        QTest::newRow("a dollar alone runs as typed") << "$" << "$" << true;
        QTest::newRow("two variables run as typed") << "$a $b" << "$a $b" << true;
        QTest::newRow("variable on its own line among others") << "$a\nls;" << "$a\nls;" << true;
        QTest::newRow("variable and a newline runs as typed") << "$a\n" << "$a\n" << true;
    }
    void melExecution()
    {
        QFETCH(QString, text);
        QFETCH(QString, sent);
        QFETCH(bool, display);
        bridge::executeMelText(text);
        m_host->runIdle();
        QCOMPARE(m_host->commands().size(), 1);
        QCOMPARE(m_host->commands().first().text, sent);
        QCOMPARE(m_host->commands().first().kind, FakeHost::Kind::MelOnIdle);
        QCOMPARE(m_host->commands().first().display, display);
    }

    void addToShelfEscapes_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("sent");
        QTest::newRow("quotes") << "print(\"hi\")" << "scriptToShelf(\"Label\", \"print(\\\"hi\\\")\", 1)";
        QTest::newRow("newlines become \\n") << "a\nb" << "scriptToShelf(\"Label\", \"a\\nb\", 1)";
        QTest::newRow("paragraph separators are newlines")
            << QString("a") + QChar(0x2029) + "b" << "scriptToShelf(\"Label\", \"a\\nb\", 1)";
        QTest::newRow("backslashes doubled before newlines are escaped")
            << "s = '\\n'\nx" << "scriptToShelf(\"Label\", \"s = '\\\\n'\\nx\", 1)";
        QTest::newRow("placeholders stay literal") << "%1 %3" << "scriptToShelf(\"Label\", \"%1 %3\", 1)";
    }
    void addToShelfEscapes()
    {
        QFETCH(QString, code);
        QFETCH(QString, sent);
        bridge::addToShelf("Label", code, 1);
        m_host->runIdle();
        QCOMPARE(m_host->texts(), QStringList{sent});
        QVERIFY(!m_host->commands().first().display);
    }

    void historyAndPyMel()
    {
        QCOMPARE(bridge::existingHistory(), QString());
        m_host->answer("hxGetExistingHistory()", QString("ls;\n"));
        QCOMPARE(bridge::existingHistory(), QString("ls;\n"));
        bridge::clearExistingHistory();
        QVERIFY(!bridge::importPyMel());
        QCOMPARE(m_host->texts().mid(2), (QStringList{"hxClearExistingHistory()", "import pymel.core"}));
        QVERIFY(!m_host->commands().last().quiet);
        bridge::showInFileBrowser(QString()); // empty: nothing happens
    }

    void commandFlags_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QVariant>("help");
        QTest::addColumn<QStringList>("expected");
        const QString sphereHelp = "\nSynopsis: sphere [flags] [String...]\nFlags:\n   -e -edit\n"
                                   "   -q -query\n -ax -axis             Length Length Length\r\n"
                                   "  -r -radius\tLength\n\n";
        QTest::newRow("flags become triples with blanks for missing fields")
            << "sphere" << QVariant(sphereHelp)
            << QStringList{"-e", "-edit", "", "-q", "-query", "", "-ax", "-axis", "Length",
                           "-r", "-radius", "Length"};
        QTest::newRow("a lone short flag") << "sphere" << QVariant("Synopsis: sphere\nFlags:\n-q\n") << QStringList{"-q", "", ""};
        QTest::newRow("no Flags: part") << "sphere" << QVariant("Synopsis: sphere") << QStringList();
        QTest::newRow("nothing before Flags:") << "sphere" << QVariant("Flags:\n-q\n") << QStringList();
        QTest::newRow("three parts") << "sphere" << QVariant("a Flags: b Flags: c") << QStringList();
        QTest::newRow("empty help") << "sphere" << QVariant(QString()) << QStringList();
        QTest::newRow("failing help") << "sphere" << QVariant() << QStringList();
        QTest::newRow("not a MEL command") << "notACommand" << QVariant("Flags:\n-q\n") << QStringList();
        QTest::newRow("empty name") << "" << QVariant("Flags:\n-q\n") << QStringList();
    }
    void commandFlags()
    {
        QFETCH(QString, name);
        QFETCH(QVariant, help);
        QFETCH(QStringList, expected);
        m_host->answer("hxGetMelInfo(1, 0, 0)", QStringList{"", "sphere", "", "notACommandEither"});
        bridge::loadMelLists();
        m_host->answer("help -so " + name, help);
        QCOMPARE(bridge::melCommandFlags(name), expected);
    }

    void melListsKeepEmptyEntries()
    {
        m_host->answer("hxGetMelInfo(1, 0, 0)", QStringList{"ls", "", "sphere"});
        m_host->answer("hxGetMelInfo(0, 0, 1)", QStringList{"", "", "", "myProc"});
        bridge::loadMelLists();
        QCOMPARE(bridge::melCommands(), (QStringList{"ls", "", "sphere"}));
        QCOMPARE(bridge::melRunTimeCommands(), QStringList()); // failing call: empty
        QCOMPARE(bridge::melProcedures(), (QStringList{"", "", "", "myProc"}));
        QCOMPARE(bridge::melKeywords().size(), 25);
        QVERIFY(bridge::melKeywords().contains("vector"));
        // Loading again starts over.
        m_host->answer("hxGetMelInfo(1, 0, 0)", QStringList{"move"});
        bridge::loadMelLists();
        QCOMPARE(bridge::melCommands(), QStringList{"move"});
    }

    void onlineHelp()
    {
        m_host->answer("hxGetMelInfo(1, 0, 0)", QStringList{"sphere"});
        bridge::loadMelLists();
        m_host->clearCommands();
        bridge::showOnlineHelp("nope", false);
        bridge::showOnlineHelp("", false);
        bridge::showOnlineHelp("", true);
        bridge::showOnlineHelp("sphere", true);
        bridge::showHelpTopic("HowToHelp");
        QCOMPARE(m_host->texts(),
                 (QStringList{kPrefix + "Command not found: nope", "showHelp -docs \"Commands/index.html\"",
                              "showHelp -docs \"CommandsPython/index.html\"",
                              "showHelp -docs \"CommandsPython/sphere.html\"", "showHelp HowToHelp"}));
    }

    void dpiScale_data()
    {
        QTest::addColumn<QVariant>("mode");
        QTest::addColumn<QVariant>("scale");
        QTest::addColumn<double>("expected");
        QTest::newRow("custom scaling") << QVariant(1) << QVariant(1.5) << 1.5;
        QTest::newRow("scaling off") << QVariant(0) << QVariant(1.5) << 1.0;
        QTest::newRow("scale query fails") << QVariant(1) << QVariant() << 1.0;
        QTest::newRow("mode query fails") << QVariant() << QVariant(2.0) << 1.0;
    }
    void dpiScale()
    {
        QFETCH(QVariant, mode);
        QFETCH(QVariant, scale);
        QFETCH(double, expected);
        m_host->answer("mayaDpiSetting -q -m;", mode);
        m_host->answer("mayaDpiSetting -q -rsv;", scale);
        QCOMPARE(bridge::queryDpiScale(), expected);
        QCOMPARE(bridge::dpiScale(), expected);
    }

    void pythonAnalysisCalls()
    {
        m_host->setHandler([](FakeHost::Kind, const QString &text) -> std::optional<QVariant> {
            if (text.startsWith("KestrelEditorParser().parse_source"))
                return QVariant(QStringList{"append", "count"});
            if (text.startsWith("KestrelEditorParser.exec_statement"))
                return QVariant(1);
            if (text == "pass")
                return QVariant(QString());
            return std::nullopt;
        });
        ke2::Settings &settings = ke2::Settings::instance();
        settings.pythonIncludeKeywords = true;
        settings.pythonIncludeBuiltins = false;
        QCOMPARE(bridge::parsePython("x = []\\nx.", "x", false), (QStringList{"append", "count"}));
        settings.pythonIncludeKeywords = false;
        settings.pythonIncludeBuiltins = true;
        bridge::parsePython("%2 \\\"q\\\"", "", false);
        bridge::parsePython("y", "", true); // no extras whatever the settings say
        QVERIFY(bridge::executePythonStatement("import os"));
        QVERIFY(bridge::pythonSyntaxCheck("x(").isEmpty());
        QCOMPARE(m_host->texts(),
                 (QStringList{"KestrelEditorParser().parse_source(\"x = []\\nx.\", \"x\", 1, 0)", "pass",
                              "KestrelEditorParser().parse_source(\"%2 \\\"q\\\"\", None, 0, 1)", "pass",
                              "KestrelEditorParser().parse_source(\"y\", None, 0, 0)", "pass",
                              "KestrelEditorParser.exec_statement(\"import os\")", "pass",
                              "KestrelEditorParser.syntax_check(\"x(\")", "pass"}));
        for (const FakeHost::Command &command : m_host->commands())
            QVERIFY2(command.quiet, qPrintable(command.text));
        QVERIFY(!bridge::isQuiet());
    }

    void pythonCachesAndPaths()
    {
        m_host->answer("KestrelEditorHelpers.list_keywords()", QStringList{"if", "True"});
        QCOMPARE(bridge::pythonKeywords(), (QStringList{"if", "True"}));
        QCOMPARE(bridge::pythonKeywords(), (QStringList{"if", "True"}));
        QCOMPARE(bridge::pythonBuiltins(), QStringList()); // fails: asked again next time
        QCOMPARE(bridge::pythonBuiltins(), QStringList());
        QCOMPARE(m_host->texts(), (QStringList{"KestrelEditorHelpers.list_keywords()",
                                               "KestrelEditorHelpers.list_builtins()",
                                               "KestrelEditorHelpers.list_builtins()"}));
        m_host->clearCommands();
        ke2::Settings::instance().pylintAdditionalImportPaths = "C:/extra";
        QCOMPARE(bridge::updatePythonPathString(), QString()); // query fails
        m_host->answer("KestrelEditorHelpers.get_python_path_str()", QString("/a;/b"));
        QCOMPARE(bridge::updatePythonPathString(), QString("C:/extra;/a;/b"));
        ke2::Settings::instance().pylintAdditionalImportPaths.clear();
        QCOMPARE(bridge::updatePythonPathString(), QString("/a;/b"));
        ke2::Settings::instance().pylintAdditionalImportPaths = "C:/extra";
        QCOMPARE(bridge::updatePythonPathString(), QString("C:/extra;/a;/b"));
        QCOMPARE(bridge::pythonPathString(), QString("C:/extra;/a;/b"));
        bridge::printPythonPath();
        bridge::printEnvironmentVariablePaths("MAYA_SCRIPT_PATH");
        m_host->runIdle();
        QCOMPARE(m_host->texts(FakeHost::Kind::PythonOnIdle),
                 (QStringList{"KestrelEditorHelpers.print_python_path()",
                              "KestrelEditorHelpers.print_maya_env_var_paths('MAYA_SCRIPT_PATH')"}));
        // A new host forgets the cached answers.
        FakeHost other;
        bridge::setHost(&other);
        QCOMPARE(bridge::pythonKeywords(), QStringList());
    }

    void embeddedScriptsLoad()
    {
        m_host->setHandler([](FakeHost::Kind, const QString &) { return std::optional<QVariant>(QVariant(QString())); });
        bridge::loadEmbeddedScripts();
        const QStringList mel = m_host->texts(FakeHost::Kind::Mel);
        QCOMPARE(mel.size(), 1);
        for (const char *procedure : {"hxGetExistingHistory()", "hxClearExistingHistory()",
                                      "hxGetMelInfo(int $commands, int $runTimeCommands, int $procedures)",
                                      "hxCreateKestrelEditorMenuItem(string $label, string $command)",
                                      "hxGetScriptEditorButtonName()"})
            QVERIFY2(mel.first().contains(QLatin1String(procedure)), procedure);
        const QStringList python = m_host->texts(FakeHost::Kind::Python);
        QVERIFY(python.value(0).contains("class KestrelEditorHelpers"));
        // The analysis script is another resource: when it is missing, only its message shows.
        const bool parserPresent = QFile::exists(bridge::pythonParserResource());
        QCOMPARE(errors().isEmpty(), parserPresent);
        if (parserPresent)
            QCOMPARE(python.value(2), QString("KestrelEditorParser.initialize()"));
        else
            QCOMPARE(errors(), QStringList{kPrefix + "Failed to load Python parser."});

        // A host without MEL loads only the Python.
        m_host->clearCommands();
        m_host->hasMel = false;
        bridge::loadEmbeddedScripts();
        QVERIFY(m_host->texts(FakeHost::Kind::Mel).isEmpty());
        QVERIFY(m_host->texts(FakeHost::Kind::Python).value(0).contains("class KestrelEditorHelpers"));
    }

    void melScriptKeepsItsBytes()
    {
        QFile file(bridge::melScriptResource());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QVERIFY(bytes.count("\r\n") > 50);
        QCOMPARE(bytes.count('\n'), bytes.count("\r\n")); // CRLF everywhere, no bare LF
    }
};

KE2_TEST_CLASS(HostBridgeTest)
#include "test_host_bridge.moc"
