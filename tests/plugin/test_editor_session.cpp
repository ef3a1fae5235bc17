#include "config/color_scheme.h"
#include "config/settings.h"
#include "plugin/editor_session.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>
#include <QtWidgets/QWidget>

using ke2::EditorSession;
using ke2::EditorWindow;
using ke2::MessageType;
using ke2::test::FakeHost;
namespace bridge = ke2::HostBridge;

namespace {
const QString kPrefix = QStringLiteral("[KestrelEditor2] ");
const QString kExists = QStringLiteral("workspaceControl -q -exists KestrelEditor2Window");
const QString kCollapsed = QStringLiteral("workspaceControl -q -collapse KestrelEditor2Window");
const QString kRestore = QStringLiteral("workspaceControl -e -restore KestrelEditor2Window");

// A Maya-like host that answers what start-up and the show path ask, with a workspace control
// that the creation command brings into being.
struct ScriptedMaya {
    ke2::test::TempPrefs prefs;
    FakeHost host;
    bool controlExists = false;
    bool collapsed = false;
    bool creationWorks = true;
    QWidget controlParent;

    ScriptedMaya()
    {
        host.currentParentWidget = &controlParent;
        host.controls.insert("KestrelEditor2Window", &controlParent);
        host.answer("about -batch", 0);
        prefs.attach(host);
        host.setHandler([this](FakeHost::Kind, const QString &text) -> std::optional<QVariant> {
            if (text == kExists)
                return QVariant(controlExists ? 1 : 0);
            if (text == kCollapsed)
                return QVariant(collapsed ? 1 : 0);
            if (text.startsWith("workspaceControl -label")) {
                controlExists = creationWorks;
                return QVariant(QString());
            }
            if (text.startsWith("hxCreateKestrelEditorMenuItem"))
                return QVariant(QString("MayaWindow|mainWindowMenu|ke2Item"));
            if (text == "hxGetScriptEditorButtonName()")
                return QVariant(QString("sb1"));
            if (text.startsWith("hxGetMelInfo"))
                return QVariant(QStringList{"ls", ""});
            return QVariant(QString()); // every other command succeeds
        });
    }
};
} // namespace

class EditorSessionTest : public QObject {
    Q_OBJECT

    std::unique_ptr<ScriptedMaya> m_maya;
    std::unique_ptr<EditorSession> m_session;
    QStringList m_appended;
    QStringList m_opened;
    int m_tearDowns = 0;
    int m_clears = 0;
    QPointer<QWidget> m_lastWindow;

    EditorWindow makeWindow()
    {
        EditorWindow window;
        window.widget = new QWidget;
        m_lastWindow = window.widget;
        window.appendOutput = [this](const QString &text) { m_appended.append(text); };
        window.openFile = [this](const QString &path, bool internal) {
            if (!internal)
                m_opened.append(path);
        };
        window.clearOutput = [this] { ++m_clears; };
        window.tearDown = [this] { ++m_tearDowns; };
        return window;
    }

    FakeHost &host() { return m_maya->host; }
    QStringList errors() { return host().texts(FakeHost::Kind::Error); }

private slots:
    void init()
    {
        m_maya = std::make_unique<ScriptedMaya>();
        m_session = std::make_unique<EditorSession>();
        m_session->setWindowFactory([this] { return makeWindow(); });
        m_appended.clear();
        m_opened.clear();
        m_tearDowns = 0;
        m_clears = 0;
    }
    void cleanup()
    {
        m_session->tearDownGui();
        m_session.reset();
        bridge::setHost(nullptr);
        m_maya.reset();
        ke2::Settings::instance() = ke2::Settings();
        ke2::ColorScheme::instance() = ke2::ColorScheme();
    }

    void batchModeDoesNothing()
    {
        host().answer("about -batch", 1);
        bool registered = false;
        QCOMPARE(m_session->startUp(host(), [&registered] { return registered = true; }),
                 EditorSession::StartResult::Batch);
        QVERIFY(!registered);
        QVERIFY(!host().callbacksInstalled());
        QCOMPARE(host().texts(), QStringList{"about -batch"});
        QCOMPARE(m_session->shutDown(), EditorSession::StopResult::Batch);
        QCOMPARE(host().texts(), (QStringList{"about -batch", "about -batch"}));
    }

    void startUpRunsItsStepsInOrder()
    {
        host().optionVars.insert("echoAllLines", 0);
        QStringList order;
        const auto result = m_session->startUp(host(), [this, &order] {
            order = host().texts();
            return true;
        });
        QCOMPARE(result, EditorSession::StartResult::Started);
        // Scripts are loaded before the command is registered.
        QCOMPARE(order.value(0), QString("about -batch"));
        QVERIFY(order.value(1).contains("global proc string hxGetExistingHistory()"));
        QVERIFY(order.value(2).contains("class KestrelEditorHelpers"));
        // The settings file is found through the host's preferences directory.
        const QStringList after = host().texts().mid(order.size()).filter(QRegularExpression("^(?!internalVar)"));
        QCOMPARE(after, (QStringList{"hxCreateKestrelEditorMenuItem(\"Kestrel Editor 2\", \"kestrelEditor2\")",
                                     "hxGetMelInfo(1, 0, 0)", "hxGetMelInfo(0, 1, 0)", "hxGetMelInfo(0, 0, 1)",
                                     "mayaDpiSetting -q -m;", "hxGetScriptEditorButtonName()",
                                     "symbolButton -e -c \"kestrelEditor2\" sb1",
                                     "symbolButton -e -ann \"Kestrel Editor 2\" sb1"}));
        host().runIdle();
        QCOMPARE(host().texts(FakeHost::Kind::MelOnIdle), QStringList{"scriptEditorInfo -ssw 1"});
        QVERIFY(errors().filter(QRegularExpression("^(?!.*Python parser)")).isEmpty());
        QVERIFY(host().callbacksInstalled());
        QCOMPARE(bridge::melCommands(), (QStringList{"ls", ""}));
        QVERIFY(!m_session->hasWindow()); // no window until the command shows it
    }

    void settingsAndColoursAreReadFromThePreferences()
    {
        QDir().mkpath(m_maya->prefs.configDir());
        QFile settings(m_maya->prefs.configDir() + "/kestrelEditor2.ini");
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[preferences]\noverrideScriptEditorButton=false\n");
        settings.close();
        QFile colours(m_maya->prefs.configDir() + "/kestrelEditor2_colors.ini");
        QVERIFY(colours.open(QIODevice::WriteOnly));
        colours.write("[main]\nversion=1\n\n[codeeditor]\nPlain%20Text=\"4278190335,4278190080,75,1,0\"\n");
        colours.close();
        m_session->startUp(host());
        QVERIFY(!ke2::Settings::instance().overrideScriptEditorButton);
        QVERIFY(!host().texts().contains("hxGetScriptEditorButtonName()"));
        QCOMPARE(ke2::ColorScheme::instance().codeEditorRoles.format("Plain Text").foreground().color(),
                 QColor(0, 0, 255));
    }

    void failuresAtStartUp()
    {
        QCOMPARE(m_session->startUp(host(), [] { return false; }), EditorSession::StartResult::RegistrationFailed);
        QVERIFY(!host().callbacksInstalled());
        QVERIFY(host().texts(FakeHost::Kind::Mel).filter(QRegularExpression("^hxCreate")).isEmpty());

        host().setCallbacksFail(true);
        QCOMPARE(m_session->startUp(host()), EditorSession::StartResult::Started);
        QCOMPARE(errors().last(), kPrefix + "Failed to add callbacks");
    }

    void settingsDriveTheOptionalSteps_data()
    {
        QTest::addColumn<bool>("disableEcho");
        QTest::addColumn<int>("echoAllLines");
        QTest::addColumn<bool>("minimalTraceAfter");
        QTest::addColumn<QStringList>("idle");
        QTest::newRow("echo-all on turns minimal trace off in memory")
            << false << 1 << false << QStringList{"scriptEditorInfo -ssw 0"};
        QTest::newRow("echo-all off keeps minimal trace") << false << 0 << true << QStringList{"scriptEditorInfo -ssw 0"};
        QTest::newRow("echo-all switched off at start-up")
            << true << 1 << true << QStringList{"commandEcho -state 0", "scriptEditorInfo -ssw 0"};
    }
    void settingsDriveTheOptionalSteps()
    {
        QFETCH(bool, disableEcho);
        QFETCH(int, echoAllLines);
        QFETCH(bool, minimalTraceAfter);
        QFETCH(QStringList, idle);
        ke2::Settings &settings = ke2::Settings::instance();
        settings.outputDisableEchoAllOnStartup = disableEcho;
        settings.outputMinimalTrace = true;
        settings.suppressStackWindow = false;
        settings.overrideScriptEditorButton = false;
        settings.pythonImportPyMelOnLoad = true;
        host().optionVars.insert("echoAllLines", echoAllLines);
        m_session->startUp(host());
        QCOMPARE(settings.outputMinimalTrace, minimalTraceAfter);
        QCOMPARE(host().output().minimalTrace(), minimalTraceAfter);
        host().runIdle();
        QCOMPARE(host().texts(FakeHost::Kind::MelOnIdle), idle);
        QCOMPARE(host().optionVars.value("echoAllLines"), disableEcho ? 0 : echoAllLines);
        QVERIFY(!host().texts().contains("hxGetScriptEditorButtonName()"));
        QCOMPARE(host().texts(FakeHost::Kind::Python).last(), QString("import pymel.core"));
    }

    void showCreatesTheControlOnce()
    {
        ke2::Settings::instance().windowGeometry = QRect(10, 20, 300, 200);
        m_session->startUp(host());
        host().clearCommands();
        QVERIFY(m_session->show());
        QVERIFY(m_session->hasWindow());
        QCOMPARE(host().addedToLayout.size(), 1);
        QCOMPARE(host().addedToLayout.first().first, m_lastWindow.data());
        QCOMPARE(host().addedToLayout.first().second, &m_maya->controlParent);
        QCOMPARE(host().texts().first(), kExists);
        QVERIFY(host().texts().contains("workspaceControl -e -uiScript kestrelEditor2 KestrelEditor2Window"));
        QVERIFY(host().texts().contains("workspaceControlState -e -tlc 20 10 -width 300 -height 200 KestrelEditor2Window"));
        // Later calls restore the control; the window is neither rebuilt nor added again.
        host().clearCommands();
        QWidget *first = m_session->window();
        QVERIFY(m_session->show());
        QCOMPARE(host().texts(), (QStringList{kExists, kRestore}));
        QCOMPARE(m_session->window(), first);
        QCOMPARE(host().addedToLayout.size(), 1);
    }

    void restoredControlGetsTheWindow()
    {
        m_session->startUp(host());
        m_maya->controlExists = true;
        host().clearCommands();
        QVERIFY(m_session->show());
        QCOMPARE(host().texts(), (QStringList{kExists, kCollapsed, kRestore}));
        QCOMPARE(host().addedToLayout.size(), 1);
    }

    void controlThatCannotBeCreated()
    {
        m_session->startUp(host());
        m_maya->creationWorks = false;
        host().clearCommands();
        QVERIFY(!m_session->show());
        QVERIFY(!m_session->hasWindow());
        QCOMPARE(errors(), (QStringList{kPrefix + "Failed to create workspace control",
                                        kPrefix + "KestrelEditor2 setup failed. (See script editor for details"}));
    }

    void clearOutputWithAndWithoutWindow()
    {
        m_session->startUp(host());
        host().clearCommands();
        QVERIFY(m_session->clearOutput());
        QCOMPARE(host().texts(), QStringList{"hxClearExistingHistory()"});
        m_session->show();
        host().clearCommands();
        QVERIFY(m_session->clearOutput());
        QCOMPARE(m_clears, 1);
        QVERIFY(host().texts().isEmpty());
        // The window opens files as files, not as internal buffers.
        QTemporaryDir dir;
        QFile file(dir.filePath("file.py"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        QVERIFY(m_session->openFile(file.fileName()));
        QCOMPARE(m_opened, QStringList{file.fileName()});
        QCOMPARE(EditorSession::version(), QString("2.3.4"));
    }

    void quitTearsTheWindowDown()
    {
        m_session->startUp(host());
        m_session->show();
        QVERIFY(m_lastWindow);
        host().clearCommands();
        host().fireQuit();
        QVERIFY(!m_lastWindow); // deleted
        QVERIFY(!m_session->hasWindow());
        QCOMPARE(m_tearDowns, 1);
        QCOMPARE(host().texts(), (QStringList{"deleteUI -mi MayaWindow|mainWindowMenu|ke2Item",
                                              "symbolButton -e -c \"ScriptEditor\" sb1",
                                              "symbolButton -e -ann \"Script Editor\" sb1",
                                              "workspaceControl -e -close KestrelEditor2Window"}));
        host().emitOutput("after", MessageType::Info); // no window: ignored
        QCOMPARE(m_appended, QStringList());
        QVERIFY(host().callbacksInstalled()); // Maya is ending; the callbacks stay
    }

    void shutDownRemovesCallbacksFirst()
    {
        m_session->startUp(host());
        m_session->show();
        host().setCallbacksFail(true);
        bool deregistered = false;
        QCOMPARE(m_session->shutDown([&deregistered] { deregistered = true; }),
                 EditorSession::StopResult::CallbacksKept);
        QCOMPARE(errors().last(), kPrefix + "Failed to remove callbacks");
        QVERIFY(m_session->hasWindow() && !deregistered);
        host().setCallbacksFail(false);
        QCOMPARE(m_session->shutDown([&deregistered] { deregistered = true; }), EditorSession::StopResult::Stopped);
        QVERIFY(!m_session->hasWindow() && deregistered && !host().callbacksInstalled());
    }

    void hostWithoutDockingShowsATopLevelWindow()
    {
        host().hasDockingUi = false;
        host().hasMel = false;
        m_session->startUp(host());
        QVERIFY(host().texts(FakeHost::Kind::Mel).filter(QRegularExpression("^hx")).isEmpty()); // no MEL script, menu, lists
        host().clearCommands();
        QVERIFY(m_session->show());
        QVERIFY(m_lastWindow && m_lastWindow->isVisible() && !m_lastWindow->parent());
        QVERIFY(host().texts().isEmpty());
        m_session->tearDownGui();
        QVERIFY(host().texts().isEmpty()); // no control to close
        QVERIFY(!m_lastWindow);
    }
};

KE2_TEST_CLASS(EditorSessionTest)
#include "test_editor_session.moc"
