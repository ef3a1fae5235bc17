#include "config/user_directories.h"
#include "tests/support/test_registry.h"
#include "tests/support/prefs_fixture.h"
#include "views/workspace_file.h"
#include "views/workspace_tree_widget.h"
#include "views/workspace_view.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>

using namespace ke2;
using ke2::test::PrefsFixture;

class WorkspaceFileTest : public QObject {
    Q_OBJECT
private slots:
    // Damaged and hostile files: what can be read is shown, one message says what was not, and
    // the file is left as it was.
    void hostileFilesLoadWhatTheyCan_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("folders");
        QTest::addColumn<QString>("problem"); // empty: no message
        QTest::newRow("good") << QByteArray(R"({"folders": ["A", "B"]})") << QStringList{"A", "B"} << "";
        QTest::newRow("number among the strings")
            << QByteArray(R"({"folders": ["A", 7, "B", null, {}, ""]})") << QStringList{"A", "B"}
            << "4 entries of \"folders\" are not paths";
        QTest::newRow("not JSON") << QByteArray("folders = [A]") << QStringList() << "not JSON";
        QTest::newRow("truncated") << QByteArray(R"({"folders": ["A", "B)") << QStringList() << "not JSON";
        QTest::newRow("an array, not an object") << QByteArray(R"(["A"])") << QStringList() << "not a JSON object";
        QTest::newRow("folders not an array")
            << QByteArray(R"({"folders": "A"})") << QStringList() << "\"folders\" is not a list";
        QTest::newRow("no folders key") << QByteArray(R"({"other": 1})") << QStringList() << "";
        QTest::newRow("empty file") << QByteArray() << QStringList() << "not JSON";
        QTest::newRow("binary") << QByteArray("\x00\xff\xfe{\x01", 5) << QStringList() << "not JSON";
    }
    void hostileFilesLoadWhatTheyCan()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, folders);
        QFETCH(QString, problem);
        PrefsFixture fixture;
        QTemporaryDir dir;
        for (const char *name : {"A", "B"})
            QVERIFY(QDir(dir.path()).mkdir(name));
        const QString path = dir.filePath("hostile.ke2-workspace");
        QVERIFY(test::writeFile(path, content));
        WorkspaceView view;
        QVERIFY(view.LoadWorkspace(path));
        // Relative entries are read against the workspace file's folder.
        QCOMPARE(view.Tree()->Folders(), folders);
        for (int i = 0; i < folders.size(); ++i)
            QCOMPARE(WorkspaceTreeWidget::ItemPath(view.Tree()->topLevelItem(i)), dir.filePath(folders[i]));
        const QStringList messages = fixture.messages();
        if (problem.isEmpty()) {
            QCOMPARE(messages, QStringList());
        } else {
            QCOMPARE(messages.size(), 1);
            QVERIFY2(messages.first().startsWith("Workspace file read in part: " + path + " (" + problem),
                     qPrintable(messages.first()));
        }
        QCOMPARE(test::readFile(path), content); // loading never writes

        // The first save after a partial read keeps the user's bytes beside the file.
        view.Tree()->AddWorkspaceFolder(dir.filePath("A"));
        QCOMPARE(QFileInfo::exists(path + ".bak"), !problem.isEmpty());
        if (!problem.isEmpty())
            QCOMPARE(test::readFile(path + ".bak"), content);
        QCOMPARE(WorkspaceFile::Read(path).folders, folders + QStringList{dir.filePath("A")});
    }

    void roundTripKeepsOrderAndEntries()
    {
        PrefsFixture fixture;
        QTemporaryDir dir;
        const QString path = dir.filePath("round.ke2-workspace");
        // A name may start with any character, U+FEFF too (which the JSON reader takes for a
        // byte-order mark when it stands unescaped).
        const QStringList folders{dir.path() + "/z", "relative/b", dir.path() + "/a", dir.path() + "/z", "C:/on windows",
                                  QString(QChar(0xFEFF)) + "odd"};
        QVERIFY(WorkspaceFile::Write(path, folders));
        const QJsonDocument written = QJsonDocument::fromJson(test::readFile(path));
        QCOMPARE(written.object().keys(), QStringList{"folders"});
        QCOMPARE(written.object().value("folders").toArray().size(), folders.size());
        QVERIFY(test::readFile(path).contains("\n    \"folders\": [\n")); // the indented form

        WorkspaceView view;
        QVERIFY(view.LoadWorkspace(path));
        QCOMPARE(view.Tree()->Folders(), folders);
        view.SaveWorkspace();
        QCOMPARE(WorkspaceFile::Read(path).folders, folders);
        QCOMPARE(fixture.messages(), QStringList());
        QCOMPARE(Settings::instance().workspacePath, path);
        QCOMPARE(view.Title(), QString("round"));
        view.SetExplorerTitle(true);
        QCOMPARE(view.Title(), QString("EXPLORER: round"));
    }

    // The default workspace's absence is a first start; any other missing file is reported.
    void missingFiles()
    {
        PrefsFixture fixture;
        WorkspaceView view;
        const QString defaultFile = UserDirectories::defaultWorkspaceFile();
        QVERIFY(!defaultFile.isEmpty() && !QFileInfo::exists(defaultFile));
        view.LoadStartupWorkspace();
        QCOMPARE(fixture.messages(), QStringList());
        QCOMPARE(view.Tree()->topLevelItemCount(), 0);
        QCOMPARE(view.Title(), WorkspaceView::DefaultTitle());
        QVERIFY(!QFileInfo::exists(defaultFile)); // not written by loading

        QTemporaryDir dir;
        view.Tree()->AddWorkspaceFolder(dir.path());
        QCOMPARE(WorkspaceFile::Read(defaultFile).folders, QStringList{dir.path()});

        const QString missing = dir.filePath("gone.ke2-workspace");
        QVERIFY(!view.LoadWorkspace(missing));
        QCOMPARE(fixture.messages(), QStringList{"Failed to open workspace file: " + missing});
        QCOMPARE(view.Tree()->Folders(), QStringList{dir.path()}); // the open workspace stays
    }

    void unwritableFileKeepsTheOldOne()
    {
        PrefsFixture fixture;
        QTemporaryDir dir;
        WorkspaceView view;
        const QString folderInTheWay = dir.filePath("taken.ke2-workspace");
        QVERIFY(QDir().mkdir(folderInTheWay));
        QVERIFY(!view.SaveWorkspaceTo(folderInTheWay));
        QCOMPARE(fixture.messages(), QStringList{"Failed to open workspace file for write: " + folderInTheWay});
        QVERIFY(QFileInfo(folderInTheWay).isDir());
    }

    // 100,000 entries, most of them missing, one a file: all are kept and written back, the ones
    // that are not folders are shown greyed with nothing to expand.
    void hugeListOfOddPaths()
    {
        PrefsFixture fixture;
        QTemporaryDir dir;
        QVERIFY(test::writeFile(dir.filePath("plain.txt"), "x"));
        QStringList folders;
        for (int i = 0; i < 100000; ++i)
            folders.append(dir.filePath(QStringLiteral("missing/%1").arg(i)));
        folders[5] = dir.filePath("plain.txt");
        folders[6] = dir.path();
        const QString path = dir.filePath("huge.ke2-workspace");
        QVERIFY(WorkspaceFile::Write(path, folders));
        WorkspaceView view;
        QVERIFY(view.LoadWorkspace(path));
        QCOMPARE(view.Tree()->topLevelItemCount(), 100000);
        QVERIFY(view.Tree()->IsBusy()); // which of them exist is found out in the background
        QTRY_VERIFY_WITH_TIMEOUT(!view.Tree()->IsBusy(), 60000);
        QCOMPARE(view.Tree()->topLevelItem(4)->childCount(), 0);
        QCOMPARE(view.Tree()->topLevelItem(5)->childCount(), 0);
        QCOMPARE(view.Tree()->topLevelItem(5)->toolTip(0), "Not a folder: " + folders[5]);
        QCOMPARE(view.Tree()->topLevelItem(6)->childCount(), 1); // the placeholder of a real folder
        QCOMPARE(fixture.messages(), QStringList());
        view.SaveWorkspace();
        QCOMPARE(WorkspaceFile::Read(path).folders, folders);
    }
};

KE2_TEST_CLASS(WorkspaceFileTest)
#include "test_workspace_file.moc"
