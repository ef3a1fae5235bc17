#include "config/user_directories.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using ke2::UserDirectories;
using ke2::test::FakeHost;
using ke2::test::TempPrefs;
using Query = QString (*)();

Q_DECLARE_METATYPE(Query)

namespace {
void blockWithFile(const QString &path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
}
} // namespace

class UserDirectoriesTest : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { ke2::HostBridge::setHost(nullptr); }

    void layoutUnderThePrefsFolder()
    {
        TempPrefs prefs;
        FakeHost host;
        prefs.attach(host);
        ke2::HostBridge::setHost(&host);
        const QString config = prefs.configDir();
        QCOMPARE(UserDirectories::configDirectory(), config);
        QCOMPARE(UserDirectories::settingsFile(), config + "/kestrelEditor2.ini");
        QCOMPARE(UserDirectories::colorsFile(), config + "/kestrelEditor2_colors.ini");
        QCOMPARE(UserDirectories::bindingsFile(), config + "/kestrelEditor2_bindings.ini");
        QCOMPARE(UserDirectories::internalBufferDirectory(), config + "/internalBuffers");
        QCOMPARE(UserDirectories::tempDirectory(), config + "/temp");
        QCOMPARE(UserDirectories::workspacesDirectory(), config + "/workspaces");
        QCOMPARE(UserDirectories::defaultWorkspaceFile(), config + "/workspaces/default.ke2-workspace");
        for (const char *folder : {"internalBuffers", "temp", "workspaces"})
            QVERIFY(QFileInfo(config + "/" + folder).isDir());
        QVERIFY(!QFileInfo::exists(config + "/kestrelEditor2.ini"));
        QVERIFY(!QFileInfo::exists(config + "/workspaces/default.ke2-workspace"));
        QVERIFY(host.texts(FakeHost::Kind::Error).isEmpty());
    }

    void deletedFoldersAreCreatedAgain_data()
    {
        QTest::addColumn<Query>("query");
        QTest::newRow("temp") << Query(&UserDirectories::tempDirectory);
        QTest::newRow("internal buffers") << Query(&UserDirectories::internalBufferDirectory);
        QTest::newRow("workspaces") << Query(&UserDirectories::workspacesDirectory);
        QTest::newRow("config folder itself") << Query(&UserDirectories::configDirectory);
    }
    void deletedFoldersAreCreatedAgain()
    {
        QFETCH(Query, query);
        TempPrefs prefs;
        FakeHost host;
        prefs.attach(host);
        ke2::HostBridge::setHost(&host);
        const QString path = query();
        QVERIFY(QDir(path).removeRecursively());
        QVERIFY(!QFileInfo::exists(path));
        QCOMPARE(query(), path);
        QVERIFY(QFileInfo(path).isDir());
    }

    void noPrefsFolderMeansNoPaths()
    {
        FakeHost host; // "internalVar -userPrefDir" fails
        ke2::HostBridge::setHost(&host);
        QCOMPARE(UserDirectories::settingsFile(), QString());
        QCOMPARE(UserDirectories::tempDirectory(), QString());
        QCOMPARE(UserDirectories::defaultWorkspaceFile(), QString());
        host.answer("internalVar -userPrefDir", QString());
        QCOMPARE(UserDirectories::configDirectory(), QString());
        QStringList errors = host.texts(FakeHost::Kind::Error);
        QCOMPARE(errors.size(), 4);
        errors.removeDuplicates();
        QCOMPARE(errors, QStringList{"[KestrelEditor2] Failed to retrieve Maya prefs directory"});
    }

    void failuresAreReportedAndThePathStillReturned_data()
    {
        QTest::addColumn<QString>("blocked");
        QTest::addColumn<Query>("query");
        QTest::addColumn<QString>("message");
        QTest::newRow("config folder") << "" << Query(&UserDirectories::configDirectory)
                                       << "Failed to create user config directory";
        QTest::newRow("temp") << "temp" << Query(&UserDirectories::tempDirectory) << "Failed to create temp directory";
        QTest::newRow("internal buffers") << "internalBuffers" << Query(&UserDirectories::internalBufferDirectory)
                                          << "Failed to create internal buffer directory";
        QTest::newRow("workspaces") << "workspaces" << Query(&UserDirectories::workspacesDirectory)
                                    << "Failed to create workspaces directory";
    }
    void failuresAreReportedAndThePathStillReturned()
    {
        QFETCH(QString, blocked);
        QFETCH(Query, query);
        QFETCH(QString, message);
        TempPrefs prefs;
        FakeHost host;
        prefs.attach(host);
        ke2::HostBridge::setHost(&host);
        // A plain file where the folder should be: creating it must fail whoever runs the test.
        if (blocked.isEmpty()) {
            blockWithFile(prefs.configDir());
        } else {
            QVERIFY(QDir().mkpath(prefs.configDir()));
            blockWithFile(prefs.configDir() + "/" + blocked);
        }
        const QString expected = blocked.isEmpty() ? prefs.configDir() : prefs.configDir() + "/" + blocked;
        QCOMPARE(query(), expected);
        QCOMPARE(host.texts(FakeHost::Kind::Error), QStringList{"[KestrelEditor2] " + message});
    }
};

KE2_TEST_CLASS(UserDirectoriesTest)
#include "test_user_directories.moc"
