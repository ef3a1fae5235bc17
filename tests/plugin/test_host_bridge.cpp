#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using ke2::test::FakeHost;
namespace bridge = ke2::HostBridge;

class HostBridgeTest : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { bridge::setHost(nullptr); }

    void withoutHostEverythingIsNeutral()
    {
        bridge::setHost(nullptr);
        QCOMPARE(bridge::userPrefDir(), QString());
        bridge::showError("nobody listens"); // must not crash
    }

    void messagesCarryThePrefix()
    {
        FakeHost host;
        bridge::setHost(&host);
        bridge::showError("e");
        bridge::showWarning("w");
        bridge::showInfo("i");
        QCOMPARE(host.texts(), (QStringList{"[KestrelEditor2] e", "[KestrelEditor2] w", "[KestrelEditor2] i"}));
        QCOMPARE(host.commands().at(1).kind, FakeHost::Kind::Warning);
    }

    void pathsComeFromTheHost()
    {
        FakeHost host;
        ke2::test::TempPrefs prefs;
        bridge::setHost(&host);
        QCOMPARE(bridge::userPrefDir(), QString()); // the query fails: empty
        prefs.attach(host);
        QCOMPARE(bridge::userPrefDir(), prefs.userPrefDir());
        QCOMPARE(host.texts(FakeHost::Kind::Mel).last(), QString("internalVar -userPrefDir"));
        host.answer("internalVar -userScriptDir", 3); // wrong type: empty
        QCOMPARE(bridge::userScriptDir(), QString());
    }
};

KE2_TEST_CLASS(HostBridgeTest)
#include "test_host_bridge.moc"
