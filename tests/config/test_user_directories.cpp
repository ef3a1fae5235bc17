#include "config/color_scheme.h"
#include "config/key_bindings.h"
#include "config/settings.h"
#include "config/user_directories.h"
#include "tests/support/prefs_fixture.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDirIterator>
#include <QtTest/QTest>

using ke2::UserDirectories;
using ke2::test::PrefsFixture;
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
        PrefsFixture fixture;
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
        ke2::test::ScopedHost active(&host);
        QCOMPARE(UserDirectories::settingsFile(), QString());
        QCOMPARE(UserDirectories::tempDirectory(), QString());
        host.answer("internalVar -userPrefDir", QString());
        QCOMPARE(UserDirectories::configDirectory(), QString());
        const QString failure = "[KestrelEditor2] Failed to retrieve Maya prefs directory";
        QCOMPARE(host.texts(FakeHost::Kind::Error), (QStringList{failure, failure, failure}));
    }

    // Maya's answer with or without its trailing "/", absolute or relative: the folder is
    // always "<answer>/kestrelEditor2", made absolute.
    void prefsFolderSpellings_data()
    {
        QTest::addColumn<QString>("answer"); // %1: the test's root
        QTest::addColumn<QString>("config");
        QTest::newRow("trailing slash") << "%1/prefs/" << "%1/prefs/kestrelEditor2";
        QTest::newRow("no trailing slash") << "%1/prefs" << "%1/prefs/kestrelEditor2";
        QTest::newRow("relative, against the current folder") << "prefs" << "%1/prefs/kestrelEditor2";
    }
    void prefsFolderSpellings()
    {
        QFETCH(QString, answer);
        QFETCH(QString, config);
        ke2::test::TempPrefs prefs;
        FakeHost host;
        ke2::test::ScopedHost active(&host);
        const QString current = QDir::currentPath();
        QVERIFY(QDir::setCurrent(prefs.root()));
        host.answer("internalVar -userPrefDir", answer.arg(prefs.root()));
        const QString directory = UserDirectories::configDirectory();
        const QString settings = UserDirectories::settingsFile();
        QDir::setCurrent(current);
        QCOMPARE(directory, config.arg(prefs.root()));
        QCOMPARE(settings, config.arg(prefs.root()) + "/kestrelEditor2.ini");
        QVERIFY(QFileInfo(directory).isDir());
    }

    // Without a folder every record keeps its values and nothing is written anywhere.
    void noPrefsFolderMeansNoFileWork()
    {
        ke2::test::TempPrefs prefs;
        FakeHost host;
        host.answer("internalVar -userPrefDir", QString());
        ke2::test::ScopedHost active(&host);
        const auto everything = [&prefs] {
            QStringList found;
            QDirIterator it(prefs.root(), QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDirIterator::Subdirectories);
            while (it.hasNext())
                found.append(it.next());
            return found;
        };
        const QStringList before = everything();
        const QString current = QDir::currentPath();
        QVERIFY(QDir::setCurrent(prefs.root()));
        ke2::Settings settings;
        settings.outputBufferSize = 77;
        settings.read();
        settings.write();
        ke2::ColorScheme colors;
        colors.read();
        colors.write();
        ke2::KeyBindings bindings;
        bindings.read();
        bindings.write();
        QDir::setCurrent(current);
        QCOMPARE(settings.outputBufferSize, 77);
        QCOMPARE(everything(), before);
    }
};

KE2_TEST_CLASS(UserDirectoriesTest)
#include "test_user_directories.moc"
