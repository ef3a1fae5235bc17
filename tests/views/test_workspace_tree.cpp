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

// A workspace of one fresh folder holding `entries` (a name ending in "/" is a folder, made with
// its parents) in a tree, its first level read as an expand reads it unless `open` is false.
struct Workspace {
    PrefsFixture fixture;
    std::unique_ptr<QTemporaryDir> dir = makeWorkDir();
    WorkspaceTreeWidget tree;
    bool ready = true;

    explicit Workspace(const QStringList &entries, bool open = true)
    {
        for (const QString &entry : entries)
            ready = ready && (entry.endsWith('/') ? QDir(dir->path()).mkpath(entry) : touch(path(entry)));
        tree.SetFolders({dir->path()});
        if (open)
            ready = ready && expandFolder(tree, dir->path());
    }
    QString path(const QString &name) const { return dir->filePath(name); }
    QTreeWidgetItem *item(const QString &name) { return tree.FindItem(path(name)); }
};

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
        Workspace ws({"sub/deeper/", "b.mel", "A.py", "c.txt", "module.py", "module.pyc", ".hidden", "sub/inner.py"}, false);
        QVERIFY(ws.ready);
        Settings::instance().pythonHideCompiledFiles = hideCompiled;
        QTreeWidgetItem *root = ws.tree.topLevelItem(0);
        QCOMPARE(root->text(0), QFileInfo(ws.dir->path()).fileName());
        QCOMPARE(childTexts(root), QStringList{"placeholder"});
        root = expandFolder(ws.tree, ws.dir->path());
        QCOMPARE(childTexts(root), content);
        QCOMPARE(childTexts(root->child(0)), QStringList{"placeholder"}); // "sub" is not read yet
        QCOMPARE(WorkspaceTreeWidget::ItemPath(root->child(1)), ws.path("A.py"));
        QTreeWidgetItem *sub = expandFolder(ws.tree, ws.path("sub"));
        QCOMPARE(childTexts(sub), (QStringList{"deeper", "inner.py"}));
    }

    void iconsByKindAndSuffix()
    {
        Workspace ws({"folder/", "a.mel", "b.py", "c.pyw", "d.pyi", "e.txt", "f.MEL", "melfile"});
        QVERIFY(ws.ready);
        const QVector<QPair<QString, QString>> expected{
            {"folder", "folder_closed"}, {"a.mel", "mel_icon"},  {"b.py", "python_icon"}, {"c.pyw", "python_icon"},
            {"d.pyi", "python_icon"},    {"e.txt", "text_icon"}, {"f.MEL", "text_icon"},  {"melfile", "text_icon"}};
        QCOMPARE(ws.tree.topLevelItem(0)->icon(0).pixmap(16).toImage(), QIcon(":/ke2_icons/folder_opened.png").pixmap(16).toImage());
        for (const auto &entry : expected) {
            const QString icon = ":/ke2_icons/" + entry.second + ".png";
            QVERIFY2(QFile::exists(icon), qPrintable(icon));
            QCOMPARE(ws.item(entry.first)->icon(0).pixmap(16).toImage(),
                     QIcon(icon).pixmap(16).toImage());
        }
    }

    // Changes made by another program show up without a refresh; folders never expanded are
    // not read.
    void treeFollowsTheDisk()
    {
        Workspace ws({"open/kept/", "closed/", "first.mel"});
        QVERIFY(ws.ready);
        QTreeWidgetItem *root = ws.tree.topLevelItem(0);
        QVERIFY(expandFolder(ws.tree, ws.path("open/kept")) == nullptr); // not shown yet
        QVERIFY(expandFolder(ws.tree, ws.path("open")));
        QVERIFY(expandFolder(ws.tree, ws.path("open/kept")));

        QVERIFY(touch(ws.path("new.py")));
        QTRY_COMPARE_WITH_TIMEOUT(childTexts(root), (QStringList{"closed", "open", "first.mel", "new.py"}), 1000);
        QVERIFY(QFile::rename(ws.path("first.mel"), ws.path("zz.mel")));
        QTRY_COMPARE_WITH_TIMEOUT(childTexts(root), (QStringList{"closed", "open", "new.py", "zz.mel"}), 1000);
        QVERIFY(touch(ws.path("open/kept/deep.txt")));
        QTRY_COMPARE_WITH_TIMEOUT(childTexts(ws.item("open/kept")), QStringList{"deep.txt"}, 1000);
        QVERIFY(QFile::remove(ws.path("new.py")));
        QTRY_COMPARE_WITH_TIMEOUT(childTexts(root), (QStringList{"closed", "open", "zz.mel"}), 1000);
        // Folders that stayed keep their content and their expanded state.
        QVERIFY(ws.item("open")->isExpanded());
        QVERIFY(ws.item("open/kept")->isExpanded());

        // Inside a folder never expanded nothing is read, however it changes.
        QVERIFY(touch(ws.path("closed/unseen.txt")));
        QTest::qWait(300);
        QCOMPARE(childTexts(ws.item("closed")), QStringList{"placeholder"});

        // A workspace folder deleted outside empties and turns grey; it stays in the list.
        QVERIFY(QDir(ws.dir->path()).removeRecursively());
        QTRY_COMPARE_WITH_TIMEOUT(root->childCount(), 0, 1000);
        QTRY_VERIFY_WITH_TIMEOUT(root->toolTip(0).startsWith("Folder not found: "), 1000);
        QCOMPARE(ws.tree.Folders().size(), 1);
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
        Workspace ws({"tool.mel", "other.txt"});
        QVERIFY(ws.ready);
        ws.tree.resize(300, 400);
        ws.tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&ws.tree));
        QSignalSpy changed(&ws.tree, &WorkspaceTreeWidget::FilePathChanged);
        // As a person does it: Rename from the menu, type, Return.
        QVERIFY(runMenuEntry(ws.tree, ws.item("tool.mel"), "Rename"));
        auto *editor = ws.tree.findChild<QLineEdit *>();
        QVERIFY(editor);
        editor->setText(newName);
        QTest::keyClick(editor, Qt::Key_Return);
        QCoreApplication::processEvents();
        const QString oldPath = ws.path("tool.mel"), newPath = ws.path(newName);
        QCOMPARE(ws.fixture.messages(), message.isEmpty() ? QStringList() : QStringList{message.arg(ws.dir->path())});
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
        QTRY_COMPARE(childTexts(ws.tree.topLevelItem(0)), expected);
    }

    // A renamed folder keeps its expanded content under the new name, and the path change is
    // announced for the folder (open files below it follow it).
    void renameFolderKeepsItsContent()
    {
        Workspace ws({"scripts/lib/", "scripts/lib/rig.mel"});
        QVERIFY(ws.ready);
        expandFolder(ws.tree, ws.path("scripts"));
        expandFolder(ws.tree, ws.path("scripts/lib"));
        QSignalSpy changed(&ws.tree, &WorkspaceTreeWidget::FilePathChanged);
        ws.item("scripts")->setText(0, "tools");
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first(), (QVariantList{ws.path("scripts"), ws.path("tools")}));
        QTRY_VERIFY(ws.item("tools/lib/rig.mel"));
        QTRY_VERIFY(!ws.tree.IsBusy());
        QVERIFY(ws.item("tools")->isExpanded());
        QVERIFY(ws.item("tools/lib")->isExpanded());
        QVERIFY(!ws.item("scripts"));
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
        Workspace ws({"sub/", "a.mel"});
        QVERIFY(ws.ready);
        const QString reveal = WorkspaceTreeWidget::RevealText();
        QCOMPARE(menuEntries(ws.tree, ws.item("a.mel")),
                 (QStringList{"Open", reveal, "-", "Copy", "Copy Path", "-", "Rename", "Delete"}));
        QCOMPARE(menuEntries(ws.tree, ws.tree.topLevelItem(0)),
                 (QStringList{"New File", "New Folder", reveal, "-", "Add Folder to Workspace...",
                              "Remove Folder from Workspace", "-", "Find in Folder...", "-", "Paste (off)",
                              "Copy Path", "-", "Delete"}));
        QCOMPARE(menuEntries(ws.tree, ws.item("sub")),
                 (QStringList{"New File", "New Folder", reveal, "-", "Find in Folder...", "-", "Paste (off)",
                              "Copy Path", "-", "Delete"}));
        QCOMPARE(menuEntries(ws.tree, nullptr), (QStringList{"Add Folder to Workspace...", "-", "Find in Workspace..."}));
    }

    // Copy a file, paste it into another folder; Paste is offered only while the copied file
    // exists.
    void copyAndPaste()
    {
        Workspace ws({"sub/", "a.mel"});
        QVERIFY(ws.ready && test::writeFile(ws.path("a.mel"), "print 1;"));
        QSignalSpy added(&ws.tree, &WorkspaceTreeWidget::FileAdded);
        QVERIFY(runMenuEntry(ws.tree, ws.item("a.mel"), "Copy"));
        QVERIFY(runMenuEntry(ws.tree, ws.item("sub"), "Paste"));
        QCOMPARE(test::readFile(ws.path("sub/a.mel")), QByteArray("print 1;"));
        QVERIFY(ws.item("sub/a.mel"));
        QCOMPARE(added.count(), 1);
        QVERIFY(runMenuEntry(ws.tree, ws.item("sub"), "Paste"));
        QCOMPARE(ws.fixture.messages(), QStringList{"File already exists: " + ws.path("sub/a.mel")});
        QVERIFY(QFile::remove(ws.path("a.mel")));
        QVERIFY(!runMenuEntry(ws.tree, ws.item("sub"), "Paste"));
    }

    void newFileAndFolder()
    {
        Workspace ws({}, false);
        QString answer;
        QStringList asked;
        ws.tree.askName = [&](const QString &title, const QString &label) {
            asked << title + "/" + label;
            return answer;
        };
        QSignalSpy opened(&ws.tree, &WorkspaceTreeWidget::FileOpenRequested);
        QSignalSpy added(&ws.tree, &WorkspaceTreeWidget::FileAdded);
        ws.tree.NewFile(); // nothing selected
        QCOMPARE(ws.fixture.messages(), QStringList{"A folder needs to be selected first."});

        answer = "tool.py";
        QVERIFY(runMenuEntry(ws.tree, ws.tree.topLevelItem(0), "New File"));
        QVERIFY(QFileInfo(ws.path("tool.py")).isFile());
        QCOMPARE(ws.tree.currentItem(), ws.item("tool.py"));
        QCOMPARE(opened.count(), 1);
        QCOMPARE(opened.first().at(0).toString(), ws.path("tool.py"));
        answer = "lib";
        QVERIFY(runMenuEntry(ws.tree, ws.tree.topLevelItem(0), "New Folder"));
        QVERIFY(QFileInfo(ws.path("lib")).isDir());
        QCOMPARE(childTexts(ws.tree.topLevelItem(0)), (QStringList{"lib", "tool.py"}));
        QCOMPARE(added.count(), 2);
        QCOMPARE(asked, (QStringList{"New File/File Name", "New Folder/Folder Name"}));

        ws.fixture.host.clearCommands();
        answer = "tool.py";
        QVERIFY(runMenuEntry(ws.tree, ws.tree.topLevelItem(0), "New File"));
        answer = "lib";
        QVERIFY(runMenuEntry(ws.tree, ws.tree.topLevelItem(0), "New Folder"));
        answer = "a/b.mel";
        QVERIFY(runMenuEntry(ws.tree, ws.tree.topLevelItem(0), "New File"));
        QCOMPARE(ws.fixture.messages(),
                 (QStringList{"File already exists: " + ws.path("tool.py"),
                              "Directory already exists: " + ws.path("lib"),
                              "Failed to create file: " + ws.path("a/b.mel")}));
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
        ScopedTrash trash;
        Workspace ws({"a.mel"}, false);
        if (!QFile::link(ws.dir->path(), ws.path("loop")))
            QSKIP("no symbolic links here");
        ws.tree.askQuestion = [](const QString &, const QString &) { return true; };
        QVERIFY(expandFolder(ws.tree, ws.dir->path()));
        QTreeWidgetItem *inner = expandFolder(ws.tree, ws.path("loop"));
        QCOMPARE(childTexts(inner), (QStringList{"loop", "a.mel"}));
        inner = expandFolder(ws.tree, ws.path("loop/loop"));
        QCOMPARE(childTexts(inner), (QStringList{"loop", "a.mel"}));
        QVERIFY(runMenuEntry(ws.tree, ws.item("loop"), "Delete"));
        QVERIFY(!QFileInfo(ws.path("loop")).isSymLink());
        QVERIFY(QFileInfo::exists(ws.path("a.mel")));
        QTRY_COMPARE(childTexts(ws.tree.topLevelItem(0)), QStringList{"a.mel"});
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
