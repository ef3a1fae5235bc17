#include "tests/shell/shell_test_support.h"
#include "tests/support/dialog_answers.h"
#include "tests/support/test_registry.h"
#include "tests/support/window_test.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "shell/kestrel_editor.h"
#include "views/side_bar.h"

#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMenu>

#include <memory>

using namespace ke2;
using ke2::test::FakeHost;

// Finding one's way back to files in the real window: the recent files and where the open
// dialog starts.
class WindowNavigationTest : public test::WindowTest {
    Q_OBJECT
private:
    std::unique_ptr<QTemporaryDir> m_files;

    QString file(const QString &name)
    {
        const QString path = m_files->filePath(name);
        test::put(path, "x = 1\n");
        return path;
    }
    QStringList recentMenuEntries() const
    {
        QStringList entries;
        for (QAction *action : m_window->RecentFilesMenu()->actions())
            if (!action->data().toString().isEmpty())
                entries << action->data().toString();
        return entries;
    }

private slots:
    void init()
    {
        setUpWindow();
        m_files = std::make_unique<QTemporaryDir>();
    }

    // Every way of opening a file, and saving under a new name, puts the file at the front of
    // Recent Files.
    void everyOpenedFileIsRecent_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("command line or host flag") << "open";
        QTest::newRow("workspace") << "workspace";
        QTest::newRow("dropped on a group") << "drop";
        QTest::newRow("save as") << "saveAs";
    }
    void everyOpenedFileIsRecent()
    {
        QFETCH(QString, how);
        QVERIFY(shown());
        const QString older = file(QStringLiteral("older.py"));
        m_window->OpenFile(older);
        const QString path = how == QLatin1String("saveAs") ? m_files->filePath(QStringLiteral("saved.py"))
                                                            : file(QStringLiteral("new.py"));
        test::DialogAnswers dialogs;
        if (how == QLatin1String("open")) {
            m_window->OpenFile(path);
        } else if (how == QLatin1String("workspace")) {
            emit m_window->GetSideBar()->FileOpenRequested(path, false);
        } else if (how == QLatin1String("drop")) {
            m_window->OnOpenFilesRequested(0, TAB_DROP_ZONE_CENTER, {path});
        } else {
            m_window->NewPythonBuffer();
            dialogs.answers = QStringList{path + QStringLiteral("|Python (*.py *.pyw *.pyi)")};
            m_window->SaveAs();
        }
        QVERIFY(QFileInfo::exists(path));
        QCOMPARE(Settings::instance().recentFiles.mid(0, 2), (QStringList{path, older}));
        QCOMPARE(recentMenuEntries().mid(0, 2), (QStringList{path, older}));
    }

    // The open dialog starts beside the current file; for a buffer that is no file, in the
    // folder it was last left in, and on first use beside the newest recent file.
    void openDialogStartsBesideTheCurrentFile()
    {
        QVERIFY(shown());
        const QString inFolder = QDir(m_files->path()).filePath(QStringLiteral("sub"));
        QVERIFY(QDir().mkpath(inFolder));
        const QString path = QDir(inFolder).filePath(QStringLiteral("current.py"));
        test::put(path, "pass\n");
        m_window->OpenFile(path);
        // The folder the open dialog shows first; the dialog is cancelled.
        auto dialogFolder = [this] {
            QString directory;
            QTimer::singleShot(50, [&directory] {
                if (auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget())) {
                    directory = dialog->directory().absolutePath();
                    dialog->reject();
                }
            });
            m_window->OpenFile();
            return directory;
        };
        QCOMPARE(dialogFolder(), QFileInfo(path).absolutePath());

        // An internal buffer on first use: beside the newest recent file.
        m_window->NewPythonBuffer();
        QCOMPARE(dialogFolder(), QFileInfo(path).absolutePath());
    }
};

KE2_TEST_CLASS(WindowNavigationTest)
#include "test_window_navigation.moc"
