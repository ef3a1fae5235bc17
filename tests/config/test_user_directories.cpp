#include "config/user_directories.h"
#include "tests/config/config_test_support.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using ke2::UserDirectories;
using ke2::test::ConfigFixture;
using ke2::test::FakeHost;
using Query = QString (*)();

Q_DECLARE_METATYPE(Query)

class UserDirectoriesTest : public QObject {
    Q_OBJECT
private slots:
    void foldersAreCreatedOnEveryRequest_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<Query>("query");
        QTest::addColumn<QString>("failure");
        QTest::newRow("config folder") << "" << Query(&UserDirectories::configDirectory) << "Failed to create user config directory";
        QTest::newRow("temp") << "/temp" << Query(&UserDirectories::tempDirectory) << "Failed to create temp directory";
        QTest::newRow("internal buffers") << "/internalBuffers" << Query(&UserDirectories::internalBufferDirectory)
                                          << "Failed to create internal buffer directory";
        QTest::newRow("workspaces") << "/workspaces" << Query(&UserDirectories::workspacesDirectory)
                                    << "Failed to create workspaces directory";
    }
    void foldersAreCreatedOnEveryRequest()
    {
        QFETCH(QString, folder);
        QFETCH(Query, query);
        QFETCH(QString, failure);
        ConfigFixture fixture;
        const QString path = fixture.prefs.configDir() + folder;
        QCOMPARE(UserDirectories::defaultWorkspaceFile(), fixture.prefs.configDir() + "/workspaces/default.ke2-workspace");
        QVERIFY(!QFileInfo::exists(UserDirectories::defaultWorkspaceFile())); // named, not created
        QCOMPARE(query(), path);
        QVERIFY(QFileInfo(path).isDir());
        QVERIFY(QDir(path).removeRecursively());
        QCOMPARE(query(), path);
        QVERIFY(QFileInfo(path).isDir());
        QVERIFY(fixture.host.texts(FakeHost::Kind::Error).isEmpty());
        // A plain file where the folder should be: creating it fails whoever runs the test.
        QVERIFY(QDir(path).removeRecursively());
        QFile block(path);
        QVERIFY(QDir().mkpath(QFileInfo(path).path()) && block.open(QIODevice::WriteOnly));
        QCOMPARE(query(), path); // still returned
        QCOMPARE(fixture.host.texts(FakeHost::Kind::Error), QStringList{"[KestrelEditor2] " + failure});
    }

    void noPrefsFolderMeansNoPaths()
    {
        FakeHost host; // "internalVar -userPrefDir" fails
        ke2::Host *previous = ke2::HostBridge::host();
        ke2::HostBridge::setHost(&host);
        QCOMPARE(UserDirectories::settingsFile(), QString());
        QCOMPARE(UserDirectories::tempDirectory(), QString());
        host.answer("internalVar -userPrefDir", QString());
        QCOMPARE(UserDirectories::configDirectory(), QString());
        ke2::HostBridge::setHost(previous);
        const QString failure = "[KestrelEditor2] Failed to retrieve Maya prefs directory";
        QCOMPARE(host.texts(FakeHost::Kind::Error), (QStringList{failure, failure, failure}));
    }
};

KE2_TEST_CLASS(UserDirectoriesTest)
#include "test_user_directories.moc"
