#include "tests/support/test_registry.h"
#include "tests/support/prefs_fixture.h"
#include "views/workspace_tree_widget.h"

#include <QtCore/QScopeGuard>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>

using namespace ke2;
using ke2::test::PrefsFixture;

namespace {

// Beside the test home, so that the trash (under the test home's data folder) is on the same
// disk and deleting really moves files there.
std::unique_ptr<QTemporaryDir> makeWorkDir()
{
    auto dir = std::make_unique<QTemporaryDir>(QStringLiteral(KE2_BINARY_DIR "/test-home/workspace-XXXXXX"));
    QDir().mkpath(QStringLiteral(KE2_BINARY_DIR "/test-home"));
    if (!dir->isValid())
        dir = std::make_unique<QTemporaryDir>(QStringLiteral(KE2_BINARY_DIR "/test-home/workspace-XXXXXX"));
    return dir;
}

// The trash of a private data folder for the lifetime of the object: the test mode of the
// standard paths would put it under the real home, which tests never touch.
class ScopedTrash {
public:
    // `missing`: the data folder does not exist yet, as on a fresh account.
    explicit ScopedTrash(const QString &missing = QString())
        : m_previous(qgetenv("XDG_DATA_HOME"))
        , m_hadPrevious(qEnvironmentVariableIsSet("XDG_DATA_HOME"))
    {
        if (!m_dir.isValid())
            qFatal("no temporary data folder for the trash");
        if (!missing.isEmpty())
            m_dataHome = m_dir.path() + QLatin1Char('/') + missing;
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_dataHome));
        QStandardPaths::setTestModeEnabled(false);
    }
    ~ScopedTrash()
    {
        QStandardPaths::setTestModeEnabled(true);
        if (m_hadPrevious)
            qputenv("XDG_DATA_HOME", m_previous);
        else
            qunsetenv("XDG_DATA_HOME");
    }
    QString filesFolder() const { return m_dataHome + QStringLiteral("/Trash/files"); }

private:
    // Its parent made first: a trash in no folder would be the real one of the home folder.
    QTemporaryDir m_dir{QDir().mkpath(QStringLiteral(KE2_BINARY_DIR "/test-home"))
                            ? QStringLiteral(KE2_BINARY_DIR "/test-home/data-XXXXXX")
                            : QString()};
    QString m_dataHome = m_dir.path();
    QByteArray m_previous;
    bool m_hadPrevious;
};

bool touch(const QString &path)
{
    return test::writeFile(path, "x");
}

QStringList childTexts(const QTreeWidgetItem *item)
{
    QStringList texts;
    for (int i = 0; item && i < item->childCount(); ++i)
        texts.append(item->child(i)->text(0));
    return texts;
}

QStringList menuEntries(WorkspaceTreeWidget &tree, QTreeWidgetItem *item)
{
    QMenu menu;
    tree.FillContextMenu(&menu, item);
    QStringList entries;
    for (const QAction *action : menu.actions())
        entries << (action->isSeparator() ? "-" : action->text() + (action->isEnabled() ? "" : " (off)"));
    return entries;
}

// Runs the context menu entry `text` for `item`, as a click on it would.
bool runMenuEntry(WorkspaceTreeWidget &tree, QTreeWidgetItem *item, const QString &text)
{
    QMenu menu;
    tree.FillContextMenu(&menu, item);
    for (QAction *action : menu.actions()) {
        if (action->text() == text && action->isEnabled()) {
            action->trigger();
            return true;
        }
    }
    return false;
}

QTreeWidgetItem *expandFolder(WorkspaceTreeWidget &tree, const QString &path)
{
    QTreeWidgetItem *item = tree.FindItem(path);
    if (!item)
        return nullptr;
    item->setExpanded(true);
    if (!QTest::qWaitFor([&] { return !tree.IsBusy(); }, 10000))
        return nullptr;
    return tree.FindItem(path);
}

} // namespace

class WorkspaceTreeTest : public QObject {
    Q_OBJECT
private slots:
    void placeholderIsReplacedOnFirstExpand_data()
    {
        QTest::addColumn<bool>("hideCompiled");
        QTest::addColumn<QStringList>("content");
        QTest::newRow("compiled files hidden") << true << QStringList{"sub", "A.py", "b.mel", "c.txt", "module.py"};
        QTest::newRow("compiled files shown")
            << false << QStringList{"sub", "A.py", "b.mel", "c.txt", "module.py", "module.pyc"};
    }
    void placeholderIsReplacedOnFirstExpand()
    {
        QFETCH(bool, hideCompiled);
        QFETCH(QStringList, content);
        PrefsFixture fixture;
        Settings::instance().pythonHideCompiledFiles = hideCompiled;
        auto dir = makeWorkDir();
        QVERIFY(QDir(dir->path()).mkpath("sub/deeper"));
        for (const char *name : {"b.mel", "A.py", "c.txt", "module.py", "module.pyc", ".hidden", "sub/inner.py"})
            QVERIFY(touch(dir->filePath(name)));
        WorkspaceTreeWidget tree;
        tree.SetFolders({dir->path()});
        QTreeWidgetItem *root = tree.topLevelItem(0);
        QCOMPARE(root->text(0), QFileInfo(dir->path()).fileName());
        QCOMPARE(childTexts(root), QStringList{"placeholder"});
        root = expandFolder(tree, dir->path());
        QCOMPARE(childTexts(root), content);
        QCOMPARE(childTexts(root->child(0)), QStringList{"placeholder"}); // "sub" is not read yet
        QCOMPARE(WorkspaceTreeWidget::ItemPath(root->child(1)), dir->filePath("A.py"));
        QTreeWidgetItem *sub = expandFolder(tree, dir->filePath("sub"));
        QCOMPARE(childTexts(sub), (QStringList{"deeper", "inner.py"}));
    }

    void iconsByKindAndSuffix()
    {
        PrefsFixture fixture;
        auto dir = makeWorkDir();
        QVERIFY(QDir(dir->path()).mkpath("folder"));
        const QVector<QPair<QString, QString>> expected{
            {"folder", "folder_closed"}, {"a.mel", "mel_icon"},  {"b.py", "python_icon"}, {"c.pyw", "python_icon"},
            {"d.pyi", "python_icon"},    {"e.txt", "text_icon"}, {"f.MEL", "text_icon"},  {"melfile", "text_icon"}};
        for (const auto &entry : expected) {
            if (entry.first != "folder")
                QVERIFY(touch(dir->filePath(entry.first)));
        }
        WorkspaceTreeWidget tree;
        tree.SetFolders({dir->path()});
        QTreeWidgetItem *root = expandFolder(tree, dir->path());
        QCOMPARE(root->icon(0).pixmap(16).toImage(), QIcon(":/ke2_icons/folder_opened.png").pixmap(16).toImage());
        for (const auto &entry : expected) {
            const QString icon = ":/ke2_icons/" + entry.second + ".png";
            QVERIFY2(QFile::exists(icon), qPrintable(icon));
            QCOMPARE(tree.FindItem(dir->filePath(entry.first))->icon(0).pixmap(16).toImage(),
                     QIcon(icon).pixmap(16).toImage());
        }
    }

    // Changes made by another program show up without a refresh; folders never expanded are
    // not read.
    void treeFollowsTheDisk()
    {
        PrefsFixture fixture;
        auto dir = makeWorkDir();
        QVERIFY(QDir(dir->path()).mkpath("open/kept"));
        QVERIFY(QDir(dir->path()).mkpath("closed"));
        QVERIFY(touch(dir->filePath("first.mel")));
        WorkspaceTreeWidget tree;
        tree.SetFolders({dir->path()});
        QTreeWidgetItem *root = expandFolder(tree, dir->path());
        QVERIFY(expandFolder(tree, dir->filePath("open/kept")) == nullptr); // not shown yet
        QVERIFY(expandFolder(tree, dir->filePath("open")));
        QVERIFY(expandFolder(tree, dir->filePath("open/kept")));

        QVERIFY(touch(dir->filePath("new.py")));
        QTRY_COMPARE_WITH_TIMEOUT(childTexts(root), (QStringList{"closed", "open", "first.mel", "new.py"}), 1000);
        QVERIFY(QFile::rename(dir->filePath("first.mel"), dir->filePath("zz.mel")));
        QTRY_COMPARE_WITH_TIMEOUT(childTexts(root), (QStringList{"closed", "open", "new.py", "zz.mel"}), 1000);
        QVERIFY(touch(dir->filePath("open/kept/deep.txt")));
        QTRY_COMPARE_WITH_TIMEOUT(childTexts(tree.FindItem(dir->filePath("open/kept"))), QStringList{"deep.txt"}, 1000);
        QVERIFY(QFile::remove(dir->filePath("new.py")));
        QTRY_COMPARE_WITH_TIMEOUT(childTexts(root), (QStringList{"closed", "open", "zz.mel"}), 1000);
        // Folders that stayed keep their content and their expanded state.
        QVERIFY(tree.FindItem(dir->filePath("open"))->isExpanded());
        QVERIFY(tree.FindItem(dir->filePath("open/kept"))->isExpanded());

        // Inside a folder never expanded nothing is read, however it changes.
        QVERIFY(touch(dir->filePath("closed/unseen.txt")));
        QTest::qWait(300);
        QCOMPARE(childTexts(tree.FindItem(dir->filePath("closed"))), QStringList{"placeholder"});

        // A workspace folder deleted outside empties and turns grey; it stays in the list.
        QVERIFY(QDir(dir->path()).removeRecursively());
        QTRY_COMPARE_WITH_TIMEOUT(root->childCount(), 0, 1000);
        QTRY_VERIFY_WITH_TIMEOUT(root->toolTip(0).startsWith("Folder not found: "), 1000);
        QCOMPARE(tree.Folders().size(), 1);
    }

    // Twenty thousand files fill in slices while the event loop keeps running; the result is
    // complete and sorted, and a change made meanwhile is not lost.
    void largeFolderFillsInSlices()
    {
        PrefsFixture fixture;
        auto dir = makeWorkDir();
        const QString big = dir->filePath("big");
        QVERIFY(QDir().mkdir(big));
        for (int i = 0; i < 20000; ++i)
            QVERIFY(touch(QStringLiteral("%1/file_%2.py").arg(big).arg(i)));
        WorkspaceTreeWidget tree;
        QSignalSpy busy(&tree, &WorkspaceTreeWidget::BusyChanged);
        tree.SetFolders({big});
        tree.topLevelItem(0)->setExpanded(true);
        QVERIFY(touch(big + "/added_meanwhile.mel"));
        QTRY_VERIFY_WITH_TIMEOUT(!tree.IsBusy(), 20000);
        QTest::qWait(300); // the change notice
        QTRY_VERIFY_WITH_TIMEOUT(!tree.IsBusy(), 20000);
        QTreeWidgetItem *root = tree.topLevelItem(0);
        QCOMPARE(root->childCount(), 20001);
        for (int i = 1; i < root->childCount(); ++i)
            QVERIFY(root->child(i - 1)->text(0).compare(root->child(i)->text(0), Qt::CaseInsensitive) < 0);
        QVERIFY(!busy.isEmpty());
        QCOMPARE(busy.last().at(0).toBool(), false);
    }

    void renameInPlace_data()
    {
        QTest::addColumn<QString>("newName");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("renamed");
        QTest::newRow("free name") << "zed.py" << "" << true;
        QTest::newRow("case only") << "Tool.mel" << "" << true;
        QTest::newRow("taken") << "other.txt" << "Raname failed. File already exists: %1/other.txt" << false;
        QTest::newRow("leaves the folder") << "../out.mel" << "" << false;
        QTest::newRow("empty") << "" << "" << false;
    }
    void renameInPlace()
    {
        QFETCH(QString, newName);
        QFETCH(QString, message);
        QFETCH(bool, renamed);
        PrefsFixture fixture;
        auto dir = makeWorkDir();
        QVERIFY(touch(dir->filePath("tool.mel")) && touch(dir->filePath("other.txt")));
        WorkspaceTreeWidget tree;
        tree.resize(300, 400);
        tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tree));
        tree.SetFolders({dir->path()});
        expandFolder(tree, dir->path());
        QSignalSpy changed(&tree, &WorkspaceTreeWidget::FilePathChanged);
        // As a person does it: Rename from the menu, type, Return.
        QVERIFY(runMenuEntry(tree, tree.FindItem(dir->filePath("tool.mel")), "Rename"));
        auto *editor = tree.findChild<QLineEdit *>();
        QVERIFY(editor);
        editor->setText(newName);
        QTest::keyClick(editor, Qt::Key_Return);
        QCoreApplication::processEvents();
        const QString oldPath = dir->filePath("tool.mel"), newPath = dir->filePath(newName);
        QCOMPARE(fixture.messages(), message.isEmpty() ? QStringList() : QStringList{message.arg(dir->path())});
        QCOMPARE(changed.count(), renamed ? 1 : 0);
        QStringList expected{"other.txt", "tool.mel"};
        if (renamed) {
            QCOMPARE(changed.first(), (QVariantList{oldPath, newPath}));
            QVERIFY(QFileInfo::exists(newPath));
            expected = QStringList{"other.txt", newName};
            std::sort(expected.begin(), expected.end(),
                      [](const QString &a, const QString &b) { return a.compare(b, Qt::CaseInsensitive) < 0; });
        } else {
            QVERIFY(QFileInfo::exists(oldPath));
        }
        QTRY_COMPARE(childTexts(tree.topLevelItem(0)), expected);
    }

    // A renamed folder keeps its expanded content under the new name, and the path change is
    // announced for the folder (open files below it follow it).
    void renameFolderKeepsItsContent()
    {
        PrefsFixture fixture;
        auto dir = makeWorkDir();
        QVERIFY(QDir(dir->path()).mkpath("scripts/lib"));
        QVERIFY(touch(dir->filePath("scripts/lib/rig.mel")));
        WorkspaceTreeWidget tree;
        tree.SetFolders({dir->path()});
        expandFolder(tree, dir->path());
        expandFolder(tree, dir->filePath("scripts"));
        expandFolder(tree, dir->filePath("scripts/lib"));
        QSignalSpy changed(&tree, &WorkspaceTreeWidget::FilePathChanged);
        tree.FindItem(dir->filePath("scripts"))->setText(0, "tools");
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first(), (QVariantList{dir->filePath("scripts"), dir->filePath("tools")}));
        QTRY_VERIFY(tree.FindItem(dir->filePath("tools/lib/rig.mel")));
        QTRY_VERIFY(!tree.IsBusy());
        QVERIFY(tree.FindItem(dir->filePath("tools"))->isExpanded());
        QVERIFY(tree.FindItem(dir->filePath("tools/lib"))->isExpanded());
        QVERIFY(!tree.FindItem(dir->filePath("scripts")));
    }

    void deleteMovesToTheTrash_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("isFolder");
        QTest::addColumn<bool>("yes");
        QTest::addColumn<QString>("missingDataFolder");
        QTest::newRow("file") << "gone.mel" << false << true << QString();
        QTest::newRow("folder") << "gone_folder" << true << true << QString();
        QTest::newRow("answered no") << "kept.mel" << false << false << QString();
        // Started inside the workspace, with no data folder yet: the trash is made where it
        // belongs, never beside the program.
        QTest::newRow("no data folder yet") << "gone.py" << false << true << "fresh/.local/share";
    }
    void deleteMovesToTheTrash()
    {
        QFETCH(QString, name);
        QFETCH(bool, isFolder);
        QFETCH(bool, yes);
        QFETCH(QString, missingDataFolder);
        PrefsFixture fixture;
        ScopedTrash trash(missingDataFolder);
        auto dir = makeWorkDir();
        const QString cwd = QDir::currentPath();
        QDir::setCurrent(dir->path());
        const auto restoreCwd = qScopeGuard([&] { QDir::setCurrent(cwd); });
        const QString path = dir->filePath(name);
        const QByteArray unique = QByteArray::number(QDateTime::currentMSecsSinceEpoch());
        if (isFolder)
            QVERIFY(QDir().mkdir(path) && test::writeFile(path + "/inside.txt", unique));
        else
            QVERIFY(test::writeFile(path, unique));
        WorkspaceTreeWidget tree;
        QStringList asked;
        tree.askQuestion = [&](const QString &title, const QString &text) {
            asked << title + ": " + text;
            return yes;
        };
        tree.SetFolders({dir->path()});
        expandFolder(tree, dir->path());
        QSignalSpy deleted(&tree, &WorkspaceTreeWidget::ItemDeleted);
        QVERIFY(runMenuEntry(tree, tree.FindItem(path), "Delete"));
        const QString title = isFolder ? "Delete Folder: " : "Delete File: ";
        QCOMPARE(asked.first(), title + "Delete '" + QDir::toNativeSeparators(path) + "'");
        // Where the trash cannot take it (another disk than the data folder), a second question
        // asks before anything is lost for good.
        const bool trashed = asked.size() == 1;
        if (!trashed)
            QCOMPARE(asked.last(), title + "'" + QDir::toNativeSeparators(path)
                                       + "' cannot be moved to the trash. Delete it permanently?");
        QCOMPARE(QFileInfo::exists(path), !yes);
        QCOMPARE(bool(tree.FindItem(path)), !yes);
        QCOMPARE(deleted.count(), yes ? 1 : 0);
        if (!yes)
            return;
        QCOMPARE(deleted.first(), (QVariantList{path, isFolder}));
        // It went to the trash, whole.
        bool found = false;
        for (const QFileInfo &entry : QDir(trash.filesFolder()).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot)) {
            const QString file = entry.isDir() ? entry.filePath() + "/inside.txt" : entry.filePath();
            found = found || test::readFile(file) == unique;
        }
        QCOMPARE(found, trashed);
        QCOMPARE(fixture.messages(), QStringList());
        QCOMPARE(QDir(dir->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }

    void contextMenuByItem()
    {
        PrefsFixture fixture;
        auto dir = makeWorkDir();
        QVERIFY(QDir(dir->path()).mkpath("sub"));
        QVERIFY(touch(dir->filePath("a.mel")));
        WorkspaceTreeWidget tree;
        tree.SetFolders({dir->path()});
        expandFolder(tree, dir->path());
        const QString reveal = WorkspaceTreeWidget::RevealText();
        QCOMPARE(menuEntries(tree, tree.FindItem(dir->filePath("a.mel"))),
                 (QStringList{"Open", reveal, "-", "Copy", "Copy Path", "-", "Rename", "Delete"}));
        QCOMPARE(menuEntries(tree, tree.topLevelItem(0)),
                 (QStringList{"New File", "New Folder", reveal, "-", "Add Folder to Workspace...",
                              "Remove Folder from Workspace", "-", "Find in Folder...", "-", "Paste (off)",
                              "Copy Path", "-", "Delete"}));
        QCOMPARE(menuEntries(tree, tree.FindItem(dir->filePath("sub"))),
                 (QStringList{"New File", "New Folder", reveal, "-", "Find in Folder...", "-", "Paste (off)",
                              "Copy Path", "-", "Delete"}));
        QCOMPARE(menuEntries(tree, nullptr), (QStringList{"Add Folder to Workspace...", "-", "Find in Workspace..."}));
    }

    // Copy a file, paste it into another folder; Paste is offered only while the copied file
    // exists.
    void copyAndPaste()
    {
        PrefsFixture fixture;
        auto dir = makeWorkDir();
        QVERIFY(QDir(dir->path()).mkpath("sub"));
        QVERIFY(test::writeFile(dir->filePath("a.mel"), "print 1;"));
        WorkspaceTreeWidget tree;
        tree.SetFolders({dir->path()});
        expandFolder(tree, dir->path());
        QSignalSpy added(&tree, &WorkspaceTreeWidget::FileAdded);
        QVERIFY(runMenuEntry(tree, tree.FindItem(dir->filePath("a.mel")), "Copy"));
        QVERIFY(runMenuEntry(tree, tree.FindItem(dir->filePath("sub")), "Paste"));
        QCOMPARE(test::readFile(dir->filePath("sub/a.mel")), QByteArray("print 1;"));
        QVERIFY(tree.FindItem(dir->filePath("sub/a.mel")));
        QCOMPARE(added.count(), 1);
        QVERIFY(runMenuEntry(tree, tree.FindItem(dir->filePath("sub")), "Paste"));
        QCOMPARE(fixture.messages(), QStringList{"File already exists: " + dir->filePath("sub/a.mel")});
        QVERIFY(QFile::remove(dir->filePath("a.mel")));
        QVERIFY(!runMenuEntry(tree, tree.FindItem(dir->filePath("sub")), "Paste"));
    }

    void newFileAndFolder()
    {
        PrefsFixture fixture;
        auto dir = makeWorkDir();
        WorkspaceTreeWidget tree;
        QString answer;
        QStringList asked;
        tree.askName = [&](const QString &title, const QString &label) {
            asked << title + "/" + label;
            return answer;
        };
        tree.SetFolders({dir->path()});
        QSignalSpy opened(&tree, &WorkspaceTreeWidget::FileOpenRequested);
        QSignalSpy added(&tree, &WorkspaceTreeWidget::FileAdded);
        tree.NewFile(); // nothing selected
        QCOMPARE(fixture.messages(), QStringList{"A folder needs to be selected first."});

        answer = "tool.py";
        QVERIFY(runMenuEntry(tree, tree.topLevelItem(0), "New File"));
        QVERIFY(QFileInfo(dir->filePath("tool.py")).isFile());
        QCOMPARE(tree.currentItem(), tree.FindItem(dir->filePath("tool.py")));
        QCOMPARE(opened.count(), 1);
        QCOMPARE(opened.first().at(0).toString(), dir->filePath("tool.py"));
        answer = "lib";
        QVERIFY(runMenuEntry(tree, tree.topLevelItem(0), "New Folder"));
        QVERIFY(QFileInfo(dir->filePath("lib")).isDir());
        QCOMPARE(childTexts(tree.topLevelItem(0)), (QStringList{"lib", "tool.py"}));
        QCOMPARE(added.count(), 2);
        QCOMPARE(asked, (QStringList{"New File/File Name", "New Folder/Folder Name"}));

        fixture.host.clearCommands();
        answer = "tool.py";
        QVERIFY(runMenuEntry(tree, tree.topLevelItem(0), "New File"));
        answer = "lib";
        QVERIFY(runMenuEntry(tree, tree.topLevelItem(0), "New Folder"));
        answer = "a/b.mel";
        QVERIFY(runMenuEntry(tree, tree.topLevelItem(0), "New File"));
        QCOMPARE(fixture.messages(),
                 (QStringList{"File already exists: " + dir->filePath("tool.py"),
                              "Directory already exists: " + dir->filePath("lib"),
                              "Failed to create file: " + dir->filePath("a/b.mel")}));
        QCOMPARE(added.count(), 2);
    }

    // The expanded folders live in the settings and open again in a new tree.
    void expandedFoldersAreKeptInTheSettings()
    {
        PrefsFixture fixture;
        auto dir = makeWorkDir();
        QVERIFY(QDir(dir->path()).mkpath("a/b"));
        QVERIFY(QDir(dir->path()).mkpath("c"));
        {
            WorkspaceTreeWidget tree;
            tree.SetFolders({dir->path()});
            expandFolder(tree, dir->path());
            expandFolder(tree, dir->filePath("a"));
            expandFolder(tree, dir->filePath("a/b"));
            tree.FindItem(dir->filePath("a/b"))->setExpanded(false);
        }
        QCOMPARE(Settings::instance().workspaceState.size(), 2);
        for (const QByteArray &entry : qAsConst(Settings::instance().workspaceState))
            QCOMPARE(entry.size(), 16);
        WorkspaceTreeWidget tree;
        tree.SetFolders({dir->path()});
        QTRY_VERIFY(tree.FindItem(dir->filePath("a/b")));
        QTRY_VERIFY(!tree.IsBusy());
        QVERIFY(tree.topLevelItem(0)->isExpanded());
        QVERIFY(tree.FindItem(dir->filePath("a"))->isExpanded());
        QVERIFY(!tree.FindItem(dir->filePath("a/b"))->isExpanded());
        QVERIFY(!tree.FindItem(dir->filePath("c"))->isExpanded());
        tree.CollapseAllFolders();
        QCOMPARE(Settings::instance().workspaceState.size(), 0);
    }

    // A link back to its own folder can be opened level after level; nothing walks it alone,
    // and deleting the link leaves what it points to.
    void symbolicLinkLoop()
    {
        PrefsFixture fixture;
        ScopedTrash trash;
        auto dir = makeWorkDir();
        QVERIFY(touch(dir->filePath("a.mel")));
        if (!QFile::link(dir->path(), dir->filePath("loop")))
            QSKIP("no symbolic links here");
        WorkspaceTreeWidget tree;
        tree.askQuestion = [](const QString &, const QString &) { return true; };
        tree.SetFolders({dir->path()});
        expandFolder(tree, dir->path());
        QTreeWidgetItem *inner = expandFolder(tree, dir->filePath("loop"));
        QCOMPARE(childTexts(inner), (QStringList{"loop", "a.mel"}));
        inner = expandFolder(tree, dir->filePath("loop/loop"));
        QCOMPARE(childTexts(inner), (QStringList{"loop", "a.mel"}));
        QVERIFY(runMenuEntry(tree, tree.FindItem(dir->filePath("loop")), "Delete"));
        QVERIFY(!QFileInfo(dir->filePath("loop")).isSymLink());
        QVERIFY(QFileInfo::exists(dir->filePath("a.mel")));
        QTRY_COMPARE(childTexts(tree.topLevelItem(0)), QStringList{"a.mel"});
    }

    void findAndWorkspaceFolders()
    {
        PrefsFixture fixture;
        auto first = makeWorkDir(), second = makeWorkDir();
        WorkspaceTreeWidget tree;
        tree.SetFolders({first->path()});
        QSignalSpy find(&tree, &WorkspaceTreeWidget::FindInSelected);
        QSignalSpy modified(&tree, &WorkspaceTreeWidget::WorkspaceModified);
        tree.askFolder = [&] { return second->path(); };
        QVERIFY(runMenuEntry(tree, nullptr, "Add Folder to Workspace..."));
        QCOMPARE(modified.count(), 1);
        QCOMPARE(tree.Folders(), (QStringList{first->path(), second->path()}));
        QVERIFY(runMenuEntry(tree, tree.topLevelItem(1), "Find in Folder..."));
        QCOMPARE(find.last(), (QVariantList{second->path(), QFileInfo(second->path()).fileName()}));
        QVERIFY(runMenuEntry(tree, nullptr, "Find in Workspace..."));
        QCOMPARE(find.last(), (QVariantList{first->path() + QDir::listSeparator() + second->path(), "Workspace"}));
        QVERIFY(runMenuEntry(tree, tree.topLevelItem(0), "Remove Folder from Workspace"));
        QCOMPARE(modified.count(), 2);
        QCOMPARE(tree.Folders(), QStringList{second->path()});
        QVERIFY(QFileInfo(first->path()).isDir()); // only the list changed
    }
};

KE2_TEST_CLASS(WorkspaceTreeTest)
#include "test_workspace_tree.moc"
