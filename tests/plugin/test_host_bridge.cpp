#include "config/settings.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>
#include <QtWidgets/QWidget>

using ke2::test::FakeHost;
namespace bridge = ke2::HostBridge;

namespace {
const QString kPrefix = QStringLiteral("[KestrelEditor2] ");
const QString kExists = QStringLiteral("workspaceControl -q -exists KestrelEditor2Window");
using Action = std::function<void(FakeHost &host)>;
} // namespace
Q_DECLARE_METATYPE(Action)

class HostBridgeTest : public QObject {
    Q_OBJECT

    std::unique_ptr<FakeHost> m_host;

    QStringList errors() const { return m_host->texts(FakeHost::Kind::Error); }
    // Every command not in the answer table succeeds.
    void answerEverything()
    {
        m_host->setHandler([](FakeHost::Kind, const QString &) { return std::optional<QVariant>(QVariant(QString())); });
    }

private slots:
    void init() { bridge::setHost((m_host = std::make_unique<FakeHost>()).get()); }
    void cleanup()
    {
        bridge::setHost(nullptr);
        m_host.reset();
        ke2::Settings::instance() = ke2::Settings();
    }

    void withoutHostEverythingIsNeutral()
    {
        bridge::setHost(nullptr);
        QVERIFY(bridge::userPrefDir().isEmpty() && !bridge::isBatch() && !bridge::workspaceControlExists());
        QVERIFY(!bridge::createWorkspaceControl(QRect(0, 0, 10, 10)) && bridge::queryDpiScale() == 1.0);
        QVERIFY(bridge::parsePython("x", "", true, true).isEmpty() && !bridge::executePythonStatement("x = 1"));
        bridge::showError("nobody listens"); // must not crash
        bridge::loadEmbeddedScripts();
    }

    // Every text the bridge sends for an action, messages included; unanswered commands fail
    // unless "*" is answered.
    void sends_data()
    {
        QTest::addColumn<QVariantHash>("answers");
        QTest::addColumn<Action>("action");
        QTest::addColumn<QStringList>("sent");
        const auto calls = [](std::vector<void (*)()> functions) {
            return Action([functions](FakeHost &) { for (auto function : functions) function(); });
        };
        const auto shelf = [](const QString &code) { return "scriptToShelf(\"Label\", \"" + code + "\", 1)"; };
        const auto toShelf = [](const QString &code) {
            return Action([code](FakeHost &host) { bridge::addToShelf("Label", code, 1); host.runIdle(); });
        };
        const auto mel = [](const QString &text, bool display) {
            return Action([text, display](FakeHost &host) {
                bridge::executeMelText(text);
                host.runIdle();
                QCOMPARE(host.commands().last().display, display);
            });
        };
        const QString floating = "workspaceControl -q -floating KestrelEditor2Window";
        const QString menu = "hxCreateKestrelEditorMenuItem(\"Kestrel Editor 2\", \"kestrelEditor2\")";
        const QString remove = "deleteUI -mi MayaWindow|mainWindowMenu|item7";
        const QString button = "hxGetScriptEditorButtonName()";
        QTest::newRow("messages carry the prefix")
            << QVariantHash() << calls({[] { bridge::showError("e"); }, [] { bridge::showWarning("w"); },
                                        [] { bridge::showInfo("i"); }}) << QStringList{kPrefix + "e", kPrefix + "w", kPrefix + "i"};
        QTest::newRow("the label names the file only while floating") << QVariantHash() << Action([floating](FakeHost &host) {
            for (int isFloating : {0, 1}) {
                host.answer(floating, isFloating);
                bridge::setWorkspaceControlLabel("script.py");
            }
            bridge::restoreWorkspaceControl(false);
        }) << QStringList{floating, "workspaceControl -e -label \"Kestrel Editor 2\" KestrelEditor2Window", floating,
                          "workspaceControl -e -label \"script.py\" KestrelEditor2Window",
                          "workspaceControl -e -visible 0 KestrelEditor2Window"};
        QTest::newRow("the menu item is made once and kept while its removal fails")
            << QVariantHash{{menu, QString()}} << Action([menu, remove](FakeHost &host) {
                   bridge::createMenuItem();
                   bridge::removeMenuItem(); // nothing was made: nothing is removed
                   host.answer(menu, QString("MayaWindow|mainWindowMenu|item7"));
                   bridge::createMenuItem();
                   bridge::createMenuItem();
                   bridge::removeMenuItem();
                   host.answer(remove, QString());
                   bridge::removeMenuItem();
                   bridge::removeMenuItem();
               })
            << QStringList{menu, kPrefix + "Failed to create 'Kestrel Editor 2' menu item", menu, remove,
                           kPrefix + "Failed to remove 'Kestrel Editor 2' menu item", remove};
        QTest::newRow("the button is looked up once and restored to the host editor")
            << QVariantHash{{"*", QString()}, {button, QString("sb3")}}
            << calls({bridge::overrideScriptEditorButton, bridge::overrideScriptEditorButton,
                      bridge::restoreScriptEditorButton, bridge::restoreScriptEditorButton})
            << QStringList{button, "symbolButton -e -c \"kestrelEditor2\" sb3", "symbolButton -e -ann \"Kestrel Editor 2\" sb3",
                           "symbolButton -e -c \"ScriptEditor\" sb3", "symbolButton -e -ann \"Script Editor\" sb3"};
        QTest::newRow("options run on idle without display and mirror option variables")
            << QVariantHash() << Action([](FakeHost &host) {
                   bridge::setEchoAllCommands(true);
                   bridge::setShowLineNumbers(false);
                   bridge::setStackTrace(true);
                   QCOMPARE(host.runIdle(), 3);
                   QVERIFY(!host.commands().first().display && !host.commands().last().display);
                   QVERIFY(bridge::echoAllCommands() && bridge::stackTrace() && !bridge::showLineNumbers());
               }) << QStringList{"commandEcho -state 1", "commandEcho -lineNumbers 0", "stackTrace -state 1"};
        QTest::newRow("a bare MEL variable prints its value")
            << QVariantHash() << mel("$myVar_2", false) << QStringList{"print($myVar_2); print(\"\\n\")"};
        QTest::newRow("a variable with a semicolon runs as typed") << QVariantHash() << mel("$v;", true) << QStringList{"$v;"};
        QTest::newRow("a variable and its line end prints it too")
            << QVariantHash() << mel("$a\n", false) << QStringList{"print($a\n); print(\"\\n\")"};
        QTest::newRow("shelf: quotes") << QVariantHash() << toShelf("print(\"hi\")") << QStringList{shelf("print(\\\"hi\\\")")};
        QTest::newRow("shelf: paragraph separators are newlines")
            << QVariantHash() << toShelf(QString("a") + QChar(0x2029) + "b") << QStringList{shelf("a\\nb")};
        QTest::newRow("shelf: backslashes doubled before newlines are escaped")
            << QVariantHash() << toShelf("s = '\\n'\nx") << QStringList{shelf("s = '\\\\n'\\nx")};
        QTest::newRow("online help") << QVariantHash{{"hxGetMelInfo(1, 0, 0)", QStringList{"sphere"}}}
            << Action([](FakeHost &host) {
                   bridge::loadMelLists();
                   host.clearCommands();
                   bridge::showOnlineHelp("nope", false);
                   bridge::showOnlineHelp("sphere", true);
               }) << QStringList{kPrefix + "Command not found: nope", "showHelp -docs \"CommandsPython/sphere.html\""};
        const auto dpi = [](double scale) {
            return Action([scale](FakeHost &) { QVERIFY(bridge::queryDpiScale() == scale && bridge::dpiScale() == scale); });
        };
        const QString mode = "mayaDpiSetting -q -m;", scale = "mayaDpiSetting -q -rsv;";
        QTest::newRow("dpi: custom scaling") << QVariantHash{{mode, 1}, {scale, 1.5}} << dpi(1.5) << QStringList{mode, scale};
        QTest::newRow("dpi: scaling off") << QVariantHash{{mode, 0}, {scale, 1.5}} << dpi(1.0) << QStringList{mode};
        QTest::newRow("dpi: the scale query fails") << QVariantHash{{mode, 1}} << dpi(1.0) << QStringList{mode, scale};
        const QString parse = "KestrelEditorParser().parse_source(\"x = []\\nx.\", \"x\", 1, 0)";
        QTest::newRow("analysis calls are quiet, each followed by a pass")
            << QVariantHash{{parse, QStringList{"append"}}, {"pass", QString()},
                            {"KestrelEditorParser.exec_statement(\"import os\")", 1}}
            << Action([](FakeHost &host) {
                   QCOMPARE(bridge::parsePython("x = []\\nx.", "x", true, false), QStringList{"append"});
                   bridge::parsePython("%2 \\\"q\\\"", "", false, false);
                   QVERIFY(bridge::executePythonStatement("import os") && bridge::pythonSyntaxCheck("x(").isEmpty());
                   for (const FakeHost::Command &command : host.commands())
                       QVERIFY2(command.quiet, qPrintable(command.text));
                   QVERIFY(!bridge::isQuiet());
               })
            << QStringList{parse, "pass", "KestrelEditorParser().parse_source(\"%2 \\\"q\\\"\", None, 0, 0)", "pass",
                           "KestrelEditorParser.exec_statement(\"import os\")", "pass",
                           "KestrelEditorParser.syntax_check(\"x(\")", "pass"};
    }
    void sends()
    {
        QFETCH(QVariantHash, answers);
        QFETCH(Action, action);
        QFETCH(QStringList, sent);
        if (answers.contains("*"))
            answerEverything();
        for (auto it = answers.cbegin(); it != answers.cend(); ++it)
            m_host->answer(it.key(), it.value());
        action(*m_host);
        QCOMPARE(m_host->texts(), sent);
    }

    void workspaceControlCreation_data()
    {
        QTest::addColumn<QRect>("geometry");
        QTest::addColumn<QVector<int>>("exists"); // answers to the existence queries, in turn
        QTest::addColumn<bool>("parent");
        QTest::addColumn<QStringList>("expected");
        const QString create = "workspaceControl -label \"Kestrel Editor 2\" -retain 1 -floating 1 -visible 0"
                               " -requiredPlugin KestrelEditor2 -checksPlugins 1 KestrelEditor2Window";
        const QStringList shown{"workspaceControl -e -uiScript kestrelEditor2 KestrelEditor2Window",
                                "workspaceControl -e -restore KestrelEditor2Window"};
        QTest::newRow("valid geometry is placed before showing")
            << QRect(QPoint(40, 30), QPoint(839, 629)) << QVector<int>{0, 1} << true
            << QStringList{kExists, create, kExists,
                           "workspaceControlState -e -tlc 30 40 -width 800 -height 600 KestrelEditor2Window"} + shown;
        // The shim-loaded plug-in shows the sequence without a saved geometry, and a failed creation.
        QTest::newRow("exists already: nothing beyond the query") << QRect() << QVector<int>{1} << true << QStringList{kExists};
        QTest::newRow("no parent widget: nothing more is sent")
            << QRect() << QVector<int>{0, 1} << false << QStringList{kExists, create, kExists};
    }
    void workspaceControlCreation()
    {
        QFETCH(QRect, geometry);
        QFETCH(QVector<int>, exists);
        QFETCH(bool, parent);
        QFETCH(QStringList, expected);
        QWidget widget;
        m_host->currentParentWidget = parent ? &widget : nullptr;
        m_host->setHandler([exists](FakeHost::Kind, const QString &text) mutable -> std::optional<QVariant> {
            return QVariant(text == kExists ? (exists.size() > 1 ? exists.takeFirst() : exists.first()) : QVariant(QString()));
        });
        QCOMPARE(bridge::createWorkspaceControl(geometry), expected.size() > 3 ? &widget : nullptr);
        QCOMPARE(m_host->texts(), expected);
    }

    void scriptEditorButton_data()
    {
        QTest::addColumn<int>("failing"); // the command that fails, in the order they are sent
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("recorded");
        QTest::newRow("override and restore succeed") << -1 << "" << "";
        QTest::newRow("lookup finds no button") << 0 << "Failed to identify Script Editor button" << "";
        QTest::newRow("command cannot be overridden") << 1 << "Failed to override Script Editor button command" << "";
        QTest::newRow("annotation cannot be overridden") << 2 << "Failed to override Script Editor button annotation" << "";
        QTest::newRow("restoring the command fails and keeps the record")
            << 3 << "Failed to restore Script Editor button command" << "sb3";
        QTest::newRow("restoring the annotation fails and keeps the record")
            << 4 << "Failed to restore Script Editor button annotation" << "sb3";
    }
    void scriptEditorButton()
    {
        QFETCH(int, failing);
        QFETCH(QString, error);
        QFETCH(QString, recorded);
        answerEverything();
        m_host->answer("hxGetScriptEditorButtonName()", QString("sb3"));
        m_host->fail(QStringList{"hxGetScriptEditorButtonName()", "symbolButton -e -c \"kestrelEditor2\" sb3",
                                 "symbolButton -e -ann \"Kestrel Editor 2\" sb3", "symbolButton -e -c \"ScriptEditor\" sb3",
                                 "symbolButton -e -ann \"Script Editor\" sb3"}.value(failing, "none"));
        bridge::overrideScriptEditorButton();
        bridge::restoreScriptEditorButton();
        QCOMPARE(errors(), error.isEmpty() ? QStringList() : QStringList{kPrefix + error});
        QCOMPARE(bridge::scriptEditorButtonName(), recorded);
    }

    void commandFlags_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QVariant>("help");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("flags become triples with blanks for missing fields") << "sphere" << QVariant("\nSynopsis: sphere [flags] [String...]\nFlags:\n   -e -edit\n   -q -query\n"
                        " -ax -axis             Length Length Length\r\n  -r -radius\tLength\n\n")
            << QStringList{"-e", "-edit", "", "-q", "-query", "", "-ax", "-axis", "Length", "-r", "-radius", "Length"};
        QTest::newRow("a lone short flag") << "sphere" << QVariant("Synopsis: sphere\nFlags:\n-q\n") << QStringList{"-q", "", ""};
        QTest::newRow("nothing before Flags:") << "sphere" << QVariant("Flags:\n-q\n") << QStringList();
        QTest::newRow("failing help") << "sphere" << QVariant() << QStringList();
        QTest::newRow("not a MEL command") << "notACommand" << QVariant("Flags:\n-q\n") << QStringList();
    }
    void commandFlags()
    {
        QFETCH(QString, name);
        QFETCH(QVariant, help);
        QFETCH(QStringList, expected);
        m_host->answer("hxGetMelInfo(1, 0, 0)", QStringList{"", "sphere", "", "notACommandEither"});
        bridge::loadMelLists();
        QCOMPARE(bridge::melCommands().size(), 4); // empty entries are kept
        m_host->answer("help -so " + name, help);
        QCOMPARE(bridge::melCommandFlags(name), expected);
    }

    void embeddedScriptsLoad()
    {
        answerEverything();
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
        if (QFile::exists(bridge::pythonParserResource()))
            QCOMPARE(python.value(2), QString("KestrelEditorParser.initialize()"));
        else
            QCOMPARE(errors(), QStringList{kPrefix + "Failed to load Python parser."});
        QFile file(bridge::melScriptResource());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QVERIFY(bytes.count("\r\n") > 50);
        QCOMPARE(bytes.count('\n'), bytes.count("\r\n")); // CRLF everywhere, no bare LF
    }
};

KE2_TEST_CLASS(HostBridgeTest)
#include "test_host_bridge.moc"
