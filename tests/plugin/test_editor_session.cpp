// Start-up and show against a scripted host: what the shim-loaded plug-in cannot show (its own
// copy of the library's state, a host without MEL or docking as the standalone program is).
#include "config/color_scheme.h"
#include "config/settings.h"
#include "plugin/editor_session.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>
#include <QtWidgets/QWidget>

using ke2::EditorSession;
using ke2::test::FakeHost;

class EditorSessionTest : public QObject {
    Q_OBJECT

    std::unique_ptr<ke2::test::TempPrefs> m_prefs;
    std::unique_ptr<FakeHost> m_host;
    std::unique_ptr<EditorSession> m_session;
    QWidget m_controlParent;
    QPointer<QWidget> m_lastWindow;
    bool m_creationWorks = true;

    FakeHost &host() { return *m_host; }
    QStringList errors() { return host().texts(FakeHost::Kind::Error); }

private slots:
    void init()
    {
        m_prefs = std::make_unique<ke2::test::TempPrefs>();
        m_host = std::make_unique<FakeHost>();
        m_host->currentParentWidget = &m_controlParent;
        m_host->answer("about -batch", 0);
        m_prefs->attach(*m_host);
        m_creationWorks = true;
        // A workspace control that the creation command brings into being.
        m_host->setHandler([this, exists = false](FakeHost::Kind, const QString &text) mutable -> std::optional<QVariant> {
            if (text == "workspaceControl -q -exists KestrelEditor2Window")
                return QVariant(exists ? 1 : 0);
            if (text.startsWith("workspaceControl -label"))
                exists = m_creationWorks;
            if (text == "hxGetScriptEditorButtonName()")
                return QVariant(QString("sb1"));
            return QVariant(QString()); // every other command succeeds
        });
        m_session = std::make_unique<EditorSession>();
        m_session->setWindowFactory([this] {
            ke2::EditorWindow window;
            window.widget = m_lastWindow = new QWidget;
            return window;
        });
    }
    void cleanup()
    {
        m_session->tearDownGui();
        m_session.reset();
        ke2::HostBridge::setHost(nullptr);
        m_host.reset();
        m_prefs.reset();
        ke2::Settings::instance() = ke2::Settings();
        ke2::ColorScheme::instance() = ke2::ColorScheme();
    }

    void coloursAreReadFromThePreferences()
    {
        QDir().mkpath(m_prefs->configDir());
        QFile colours(m_prefs->configDir() + "/kestrelEditor2_colors.ini");
        QVERIFY(colours.open(QIODevice::WriteOnly));
        colours.write("[main]\nversion=1\n[codeeditor]\nPlain%20Text=\"4278190335,4278190080,75,1,0\"\n");
        colours.close();
        m_session->startUp(host());
        QCOMPARE(ke2::ColorScheme::instance().codeEditorRoles.format("Plain Text").foreground().color(),
                 QColor(0, 0, 255));
    }

    void showPlacesTheSavedGeometryAndReportsAFailedControl()
    {
        ke2::Settings::instance().windowGeometry = QRect(10, 20, 300, 200);
        m_session->startUp(host());
        host().clearCommands();
        m_creationWorks = false;
        QVERIFY(!m_session->show());
        QVERIFY(!m_session->hasWindow());
        QCOMPARE(errors(), (QStringList{"[KestrelEditor2] Failed to create workspace control",
                                        "[KestrelEditor2] KestrelEditor2 setup failed. (See script editor for details"}));
        m_creationWorks = true;
        QVERIFY(m_session->show());
        QVERIFY(host().texts().contains("workspaceControlState -e -tlc 20 10 -width 300 -height 200 KestrelEditor2Window"));
        QCOMPARE(host().addedToLayout.value(0).first, m_lastWindow.data());
    }

    void hostWithoutDockingShowsATopLevelWindow()
    {
        host().hasDockingUi = false;
        host().hasMel = false;
        m_session->startUp(host());
        QVERIFY(host().texts(FakeHost::Kind::Mel).filter("hx").isEmpty()); // no MEL script, menu, lists
        QVERIFY(host().texts(FakeHost::Kind::Python).value(0).contains("class KestrelEditorHelpers"));
        host().clearCommands();
        QVERIFY(m_session->show());
        QVERIFY(m_lastWindow && m_lastWindow->isVisible() && !m_lastWindow->parent());
        m_session->tearDownGui();
        QVERIFY(host().texts().isEmpty()); // no control to ask about or close
        QVERIFY(!m_lastWindow);
    }
};

KE2_TEST_CLASS(EditorSessionTest)
#include "test_editor_session.moc"
