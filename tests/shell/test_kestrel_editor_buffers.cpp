#include "tests/shell/shell_test_support.h"
#include "tests/support/dialog_answers.h"
#include "tests/support/test_registry.h"
#include "tests/support/window_test.h"

#include "config/settings.h"
#include "config/user_directories.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "plugin/host_bridge.h"
#include "shell/buffer_files.h"
#include "shell/buffer_loader.h"
#include "shell/kestrel_editor.h"
#include "shell/text_file.h"
#include "views/status_bar.h"

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtGui/QCloseEvent>
#include <QtTest/QtTest>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QInputDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QScrollBar>

#include <memory>

using namespace ke2;
using namespace ke2::test;

namespace {

struct Tab {
    int kind;
    QString path;
    QString name;
    QString text;
    int cursor;
    int scroll;
};

QString lines(const QString &prefix, int count)
{
    QStringList all;
    for (int i = 0; i < count; ++i)
        all << QStringLiteral("%1 line %2").arg(prefix).arg(i);
    return all.join(QLatin1Char('\n'));
}

} // namespace

class KestrelEditorBuffersTest : public test::WindowTest {
    Q_OBJECT
private:
    std::unique_ptr<QTemporaryDir> m_files;

    // A new window, as at the start of a new process: the settings are read from the file.
    KestrelEditor *start()
    {
        m_window.reset();
        Settings::instance() = Settings();
        Settings::instance().read();
        // Not waiting to be active: a recovery question may be up over it.
        m_window = std::make_unique<KestrelEditor>();
        m_window->resize(1000, 800);
        m_window->show();
        return QTest::qWaitForWindowExposed(m_window.get()) ? m_window.get() : nullptr;
    }
    QString file(const QString &name, const QByteArray &bytes)
    {
        const QString path = m_files->filePath(name);
        return put(path, bytes) ? path : QString();
    }
    CodeEditor *open(const QString &path)
    {
        m_window->OpenFile(path);
        for (CodeEditorGroup *group : m_window->Groups())
            if (group->IndexOfPath(path) >= 0)
                return group->CodeEditorAt(group->IndexOfPath(path));
        return nullptr;
    }
    QStringList messages() const
    {
        QStringList all = m_host->texts(FakeHost::Kind::Error) + m_host->texts(FakeHost::Kind::Warning);
        for (QString &message : all)
            message.remove(HostBridge::messagePrefix());
        return all;
    }

private slots:
    void init()
    {
        setUpWindow();
        m_files = std::make_unique<QTemporaryDir>();
    }
    void cleanup()
    {
        tearDownWindow();
        m_files.reset();
    }

    // Thirty tabs over three groups, files and internal buffers, come back where they were.
    void sessionRoundTripOfThirtyTabs()
    {
        QVERIFY(start());
        QCOMPARE(m_window->CodeEditorCount(), 2); // first start: a MEL and a Python buffer
        for (int i = 0; i < 2; ++i)
            m_window->Group(0)->CodeEditorAt(i)->insertPlainText(lines(QStringLiteral("first"), 120));
        const char *suffixes[] = {"py", "mel", "txt"};
        for (int g = 0; g < 3; ++g) {
            int n = 0;
            while (m_window->Group(g)->Count() < 10) {
                if (n % 2 == 0 || m_window->Group(g)->Count() == 0) {
                    const QString name = QStringLiteral("g%1_%2.%3").arg(g).arg(n).arg(suffixes[n % 3]);
                    m_window->OnOpenFileRequested(g, -1, file(name, lines(name, 120).toUtf8()));
                } else {
                    m_window->NewBuffer(CodeEditorLanguage(n % 3));
                    CodeEditorGroup *group = m_window->Group(g);
                    CodeEditor *buffer = group->CodeEditorAt(group->Count() - 1);
                    QTest::keyClicks(buffer, QStringLiteral("typed %1 %2").arg(g).arg(n));
                    buffer->insertPlainText(QLatin1Char('\n') + lines(QStringLiteral("buffer"), 120));
                }
                ++n;
            }
        }
        QCOMPARE(m_window->CodeEditorCount(), 30);

        QVector<QVector<Tab>> expected(3);
        const int currents[] = {3, 5, 9};
        for (int g = 0; g < 3; ++g) {
            CodeEditorGroup *group = m_window->Group(g);
            for (int i = 0; i < group->Count(); ++i) {
                group->SetCurrentIndex(i); // laid out before it can scroll
                group->SetCursorAndScrollPosition(i, 40 * i + g, 3 * i + g);
                CodeEditor *editor = group->CodeEditorAt(i);
                expected[g].append({int(group->Record(i).kind), group->Record(i).path, editor->DisplayName(),
                                    TextFile::DocumentText(*editor->document()), editor->textCursor().position(),
                                    editor->verticalScrollBar()->value()});
                QTRY_COMPARE(editor->verticalScrollBar()->value(), 3 * i + g);
                expected[g].last().scroll = 3 * i + g;
            }
            group->SetCurrentIndex(currents[g]);
        }
        m_window->SetActiveCodeEditor(1, currents[1]);
        m_window->TearDown();

        QVERIFY(start());
        QCOMPARE(m_window->CodeEditorCount(), 30);
        QCOMPARE(m_window->ActiveGroupIndex(), 1);
        for (int g = 0; g < 3; ++g) {
            CodeEditorGroup *group = m_window->Group(g);
            QCOMPARE(group->Count(), 10);
            QCOMPARE(group->CurrentIndex(), currents[g]);
            for (int i = 0; i < group->Count(); ++i) {
                const Tab &tab = expected[g].at(i);
                CodeEditor *editor = group->CodeEditorAt(i);
                const QString where = QStringLiteral("group %1 tab %2").arg(g).arg(i);
                QVERIFY2(int(group->Record(i).kind) == tab.kind, qPrintable(where));
                QCOMPARE(group->Record(i).path, tab.path);
                QCOMPARE(editor->DisplayName(), tab.name);
                QCOMPARE(TextFile::DocumentText(*editor->document()), tab.text);
                QVERIFY2(!group->IsModified(i), qPrintable(where));
                QCOMPARE(editor->textCursor().position(), tab.cursor);
                group->SetCurrentIndex(i); // first shown now: the saved position, not the cursor's
                QTRY_COMPARE(editor->verticalScrollBar()->value(), tab.scroll);
            }
        }
    }

    // A restored tab starts at the first column, however long its lines and wherever its cursor
    // sat on them: only the saved vertical position comes back.
    void restoredTabsAreNotScrolledSideways_data()
    {
        QTest::addColumn<bool>("current"); // the tab is its group's current one at the restart
        QTest::newRow("current") << true;
        QTest::newRow("shown later") << false;
    }
    void restoredTabsAreNotScrolledSideways()
    {
        QFETCH(bool, current);
        const QString path = file(QStringLiteral("wide.py"), (QByteArray(400, 'w') + '\n').repeated(200));
        QVERIFY(start());
        CodeEditorGroup *group = m_window->ActiveGroup();
        const int index = group->IndexOf(open(path));
        group->SetCursorAndScrollPosition(index, 14, 0); // line 1, column 15
        group->SetCurrentIndex(current ? index : 0);
        m_window->TearDown();
        QVERIFY(start());
        group = m_window->ActiveGroup();
        CodeEditor *restored = group->CodeEditorAt(group->IndexOfPath(path));
        QCOMPARE(restored->textCursor().positionInBlock(), 14);
        group->SetCurrentIndex(group->IndexOf(restored));
        QTest::qWait(50); // a pending scroll is applied after the first show
        QVERIFY(restored->isVisible() && restored->horizontalScrollBar()->maximum() > 0);
        QCOMPARE(restored->horizontalScrollBar()->value(), 0);
    }

    // Typing is on disk within two seconds; after a crash the buffer comes back by itself and
    // the file buffer's typing is offered once.
    void crashKeepsTheTyping_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::newRow("keep") << "Keep";
        QTest::newRow("discard") << "Discard";
    }
    void crashKeepsTheTyping()
    {
        QFETCH(QString, answer);
        const QByteArray onDisk("a\xE9\r\nb\r\n");
        const QString path = file(QStringLiteral("old.mel"), onDisk);
        QVERIFY(start());
        CodeEditor *python = m_window->Group(0)->CodeEditorAt(1);
        QTest::keyClicks(python, "print('scratch')");
        CodeEditor *mel = open(path);
        QVERIFY(mel);
        QTest::keyClicks(mel, "x");
        const QString bufferPath = m_window->Group(0)->Record(1).path;
        const QString copy = RecoveryCopies(UserDirectories::internalBufferDirectory()).CopyPath(path);
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(copy) && contents(bufferPath) == "print('scratch')", 2000);
        QCOMPARE(contents(path), onDisk); // never the user's file by itself

        m_window.reset(); // gone without tearing down, as in a crash
        DialogAnswers dialogs({answer});
        QVERIFY(start());
        QTRY_COMPARE(dialogs.seen.size(), 1);
        QVERIFY(dialogs.seen.first().startsWith(QStringLiteral("Recover: '%1'").arg(path)));
        CodeEditorGroup *group = m_window->Group(0);
        QCOMPARE(group->CodeEditorAt(group->IndexOfPath(bufferPath))->toPlainText(), QStringLiteral("print('scratch')"));
        CodeEditor *restored = group->CodeEditorAt(group->IndexOfPath(path));
        const QString diskText = QStringLiteral("a%1\nb\n").arg(QChar(0xE9));
        if (answer == QLatin1String("Keep")) {
            QCOMPARE(TextFile::DocumentText(*restored->document()), QStringLiteral("x") + diskText);
            QVERIFY(restored->document()->isModified());
            restored->undo();
            QCOMPARE(TextFile::DocumentText(*restored->document()), diskText);
            restored->redo();
            m_window->SetActiveCodeEditor(0, group->IndexOfPath(path));
            m_window->Save();
            QCOMPARE(contents(path), QByteArray("xa\xE9\r\nb\r\n"));
        } else {
            QCOMPARE(TextFile::DocumentText(*restored->document()), diskText);
            QVERIFY(!restored->document()->isModified());
        }
        QVERIFY(!QFileInfo::exists(copy));
        QVERIFY(contents(path).endsWith(onDisk));
    }

    // A save that cannot complete leaves the file as it was and the editor modified, and says
    // why. A folder the user cannot write to does not stop the save of a file they can write.
    void failedSavesKeepTheOldFile_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("why");
        QTest::newRow("read-only folder") << "folder" << QString();
        QTest::newRow("read-only file") << "file" << "Permission denied";
        QTest::newRow("disk full half-way") << "limit" << "File too large";
    }
    void failedSavesKeepTheOldFile()
    {
        QFETCH(QString, how);
        QFETCH(QString, why);
        const QString folder = m_files->filePath(QStringLiteral("locked"));
        QVERIFY(QDir().mkpath(folder));
        const QByteArray old = QByteArray("print('old')\n").repeated(700);
        const QString path = folder + QStringLiteral("/tool.py");
        QVERIFY(put(path, old));
        QVERIFY(start());
        CodeEditor *editor = open(path);
        QVERIFY(editor);
        QTest::keyClicks(editor, "# changed");
        QTest::keyClick(editor, Qt::Key_Return);
        const auto readExec = QFileDevice::ReadOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup |
                              QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther;
        const auto write = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
        const auto read = QFileDevice::ReadOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther;
        QVERIFY(QFile::setPermissions(m_files->path(), readExec | QFileDevice::WriteOwner));
        QVERIFY(QFile::setPermissions(folder, readExec));
        QVERIFY(QFile::setPermissions(path, how == QLatin1String("file") ? read : read | write));
        // The old bytes are kept in the user's recovery folder while a file is written in place.
        for (QDir up(UserDirectories::internalBufferDirectory()); up.path().startsWith(m_prefs->root()); up.cdUp())
            QVERIFY(QFile::setPermissions(up.path(), readExec | write));
        if (how == QLatin1String("limit")) {
            FileSizeLimit limit(4096);
            m_window->Save();
        } else {
            Unprivileged user;
            m_window->Save();
        }
        QFile::setPermissions(folder, readExec | QFileDevice::WriteOwner);
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{"tool.py"});
        if (why.isEmpty()) {
            QVERIFY(!editor->document()->isModified());
            QVERIFY(contents(path).startsWith("# changed\nprint('old')"));
            return;
        }
        QVERIFY(editor->document()->isModified());
        QCOMPARE(contents(path), old);
        QVERIFY2(messages().contains(QStringLiteral("Failed to open file for save: %1 (%2)").arg(path, why)),
                 qPrintable(messages().join('\n')));
    }

    // Opened and saved, a CRLF Latin-1 file is the same bytes; the status bar says what it is.
    // Our own save asks nothing, another program's change asks to reload.
    void ownSavesAndOutsideChanges()
    {
        const QByteArray bytes("// caf\xE9\r\nprint \"\xA0\";\r\n");
        const QString path = file(QStringLiteral("latin.mel"), bytes);
        QVERIFY(start());
        Settings::instance().utf8FileEncodingForReadWrite = true;
        CodeEditor *editor = open(path);
        QVERIFY(editor);
        auto *format = m_window->GetStatusBar()->findChild<QLabel *>(QStringLiteral("fileFormatLabel"));
        QCOMPARE(format->text(), QStringLiteral("Latin-1      CRLF"));
        QVERIFY(messages().join('\n').contains(QStringLiteral("not valid UTF-8")));
        QTest::keyClicks(editor, "x");
        QTest::keyClick(editor, Qt::Key_Backspace);
        QVERIFY(editor->document()->isModified());

        CodeEditorGroup *group = m_window->Group(0);
        QSignalSpy changed(group, &CodeEditorGroup::FileChanged);
        DialogAnswers dialogs({QStringLiteral("Yes")});
        m_window->Save();
        QCOMPARE(contents(path), bytes);
        QVERIFY(!editor->document()->isModified());
        QVERIFY(changed.wait(3000));
        m_window->CheckForFileChanges();
        QTest::qWait(50);
        QCOMPARE(dialogs.seen, QStringList());

        QVERIFY(put(path, "print \"elsewhere\";\n"));
        QVERIFY(changed.wait(3000));
        m_window->CheckForFileChanges();
        QCOMPARE(dialogs.seen.size(), 1);
        QVERIFY(dialogs.seen.first().startsWith(
            QStringLiteral("Reload: %1\n\nThis file has been modified by another program.").arg(path)));
        QCOMPARE(editor->toPlainText(), QStringLiteral("print \"elsewhere\";\n"));
        QCOMPARE(format->text(), QStringLiteral("UTF-8      LF"));
    }

    void buffersAndFiles()
    {
        const QString path = file(QStringLiteral("shared.py"), "a = 1\n");
        QVERIFY(start());
        DialogAnswers dialogs;
        // An internal buffer is a file of the buffer folder.
        const QString bufferPath = m_window->Group(0)->Record(1).path;
        QCOMPARE(QFileInfo(bufferPath).absolutePath(), UserDirectories::internalBufferDirectory());
        QVERIFY(QFileInfo(bufferPath).fileName().startsWith(QStringLiteral("pythonBuffer_")));

        // A file already open elsewhere is brought forward, not opened twice.
        QVERIFY(open(path));
        m_window->OnOpenFileRequested(1, -1, path);
        QCOMPARE(m_window->CodeEditorCount(), 3);
        QCOMPARE(m_window->Group(1)->Count(), 0);
        QCOMPARE(m_window->ActiveGroupIndex(), 0);

        // ";" cannot be in a buffer name: it would split its session entry.
        dialogs.answers = QStringList{"a;b"};
        m_window->Rename(m_window->Group(0), 1);
        QCOMPARE(m_window->Group(0)->CodeEditorAt(1)->DisplayName(), QStringLiteral("ab"));
        QVERIFY(messages().contains(QStringLiteral("Rename: ';' is an invalid character.")));
        m_window->SaveState();
        QVERIFY(Settings::instance().tabDetails.at(1).endsWith(QStringLiteral(";ab")));

        // Saved as a file, the Python filter adds ".py" and the buffer's own file goes.
        m_window->SetActiveCodeEditor(0, 1);
        QTest::keyClicks(m_window->ActiveCodeEditor(), "print(2)");
        dialogs.answers = QStringList{m_files->filePath("tool") + "|Python (*.py *.pyw *.pyi)"};
        m_window->SaveAs();
        const QString tool = m_files->filePath(QStringLiteral("tool.py"));
        QCOMPARE(contents(tool), QByteArray("print(2)"));
        QVERIFY(!QFileInfo::exists(bufferPath));
        QCOMPARE(m_window->Group(0)->Record(1).kind, CODE_EDITOR_FILE);
        QCOMPARE(m_window->Group(0)->Record(1).path, tool);
        QCOMPARE(m_window->Group(0)->Record(1).name, QStringLiteral("tool.py"));

        // Closing a buffer with text asks, then deletes its file.
        const QString melBuffer = m_window->Group(0)->Record(0).path;
        QTest::keyClicks(m_window->Group(0)->CodeEditorAt(0), "print 1;");
        dialogs.answers = QStringList{"Yes"};
        m_window->OnCloseTabRequested(m_window->Group(0), 0);
        QVERIFY(dialogs.seen.last().startsWith(QStringLiteral("Delete: Delete buffer '")));
        QVERIFY(!QFileInfo::exists(melBuffer));

        // A modified file closed without saving goes to the recent files and comes back.
        const int shared = m_window->Group(0)->IndexOfPath(path);
        QTest::keyClicks(m_window->Group(0)->CodeEditorAt(shared), "b");
        dialogs.answers = QStringList{"No"};
        m_window->OnCloseTabRequested(m_window->Group(0), shared);
        QCOMPARE(dialogs.seen.last(), QStringLiteral("Save: 'shared.py' has been modified. Save changes?"));
        QCOMPARE(contents(path), QByteArray("a = 1\n"));
        QCOMPARE(Settings::instance().recentFiles.value(0), path);
        QCOMPARE(m_window->Group(0)->IndexOfPath(path), -1);
        m_window->ReopenClosedFile();
        QVERIFY(m_window->Group(0)->IndexOfPath(path) >= 0);

        // A sourced script goes to the host by its path.
        const QString script = file(QStringLiteral("setup.mel"), "print 1;");
        dialogs.answers = QStringList{script};
        m_window->SourceScript();
        QCOMPARE(dialogs.seen.last(), QStringLiteral("Source Script"));
        m_host->runIdle();
        QCOMPARE(m_host->texts(FakeHost::Kind::MelOnIdle).value(0), QStringLiteral("source \"%1\";").arg(script));
    }

    // Heavy or risky files are asked about before anything is read; once opened, saving it
    // unchanged gives back every byte.
    void binaryAndHugeFilesAskFirst_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("opened");
        const QByteArray elf("\x7F" "ELF");
        QTest::newRow("binary, declined") << elf << qint64(64) << "No" << false;
        QTest::newRow("binary, accepted") << elf << qint64(64) << "Yes" << true;
        QTest::newRow("NUL inside a line") << QByteArray("abc\0def\n", 8) << qint64(8) << "Yes" << true;
        QTest::newRow("NUL after 80 KB") << QByteArray("print('x')\n").repeated(7300) + QByteArray("\0tail\n", 6)
                                         << qint64(80306) << "Yes" << true;
        QTest::newRow("hundreds of MB, declined") << elf << qint64(300) * 1024 * 1024 << "No" << false;
    }
    void binaryAndHugeFilesAskFirst()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(qint64, size);
        QFETCH(QString, answer);
        QFETCH(bool, opened);
        const QString path = file(QStringLiteral("blob.py"), bytes);
        QVERIFY(QFile::resize(path, size));
        const QByteArray before = contents(path);
        QVERIFY(start());
        DialogAnswers dialogs({answer});
        m_window->OpenFile(path);
        QCOMPARE(dialogs.seen.size(), 1);
        QVERIFY(dialogs.seen.first().startsWith(QStringLiteral("Open File: '%1'").arg(path)));
        QCOMPARE(m_window->Group(0)->IndexOfPath(path) >= 0, opened);
        if (!opened)
            return;
        m_window->Save();
        QCOMPARE(contents(path), before);
    }

    // A big file opens in pieces: nothing partial can be saved over it, the bar shows the
    // progress, and once loaded it saves back to the same bytes.
    void bigFilesOpenInPieces()
    {
        QByteArray bytes;
        while (bytes.size() <= BufferLoader::InPiecesSize)
            bytes += "setAttr \".nm\" -type \"string\" \"caf\xE9\";\r\n"; // Latin-1, CRLF
        const QString path = file(QStringLiteral("scene.txt"), bytes); // plain text: the load, not the colours
        QVERIFY(start());
        CodeEditor *editor = open(path);
        QVERIFY(editor);
        QVERIFY(KestrelEditor::IsLoading(editor));
        auto *progress = m_window->GetStatusBar()->findChild<QProgressBar *>(QStringLiteral("loadProgress"));
        QVERIFY(progress && progress->isVisible());
        m_window->Save();
        QCOMPARE(contents(path), bytes);
        QVERIFY(messages().contains(QStringLiteral("'%1' is still loading; it can be saved once it is loaded.").arg(path)));
        m_window->RevertFile(); // no second text mixed into the one coming in
        QTRY_VERIFY_WITH_TIMEOUT(!KestrelEditor::IsLoading(editor), 120000);
        QVERIFY(!progress->isVisible());
        QVERIFY(!editor->isReadOnly());
        QVERIFY(!m_window->Group(0)->IsModified(m_window->Group(0)->IndexOf(editor)));
        QVERIFY(messages().contains(
            QStringLiteral("'%1' is not valid UTF-8; it was opened as Latin-1 and is saved as Latin-1.").arg(path)));
        editor->moveCursor(QTextCursor::Start);
        QTest::keyClicks(editor, QStringLiteral("//"));
        m_window->Save();
        QCOMPARE(contents(path), "//" + bytes);
    }

    // A big file of the session waits for its tab: the window shows without it, a save leaves it
    // alone, a session saved meanwhile keeps its cursor, and it loads (cursor where it was) when
    // its tab is first shown.
    void hiddenSessionTabLoadsWhenShown()
    {
        const QByteArray big = QByteArray("import os\n").repeated(BufferLoader::DeferredSize / 10 + 1);
        const QString bigPath = file(QStringLiteral("big.py"), big);
        const QString smallPath = file(QStringLiteral("small.py"), "x = 1\n");
        Settings::instance().tabDetails = QStringList{QStringLiteral("0;1;%1;0;25;0").arg(bigPath),
                                                      QStringLiteral("0;1;%1;1;0;0").arg(smallPath)};
        Settings::instance().write();
        QVERIFY(start());
        CodeEditorGroup *group = m_window->Group(0);
        CodeEditor *hidden = group->CodeEditorAt(group->IndexOfPath(bigPath));
        QVERIFY(hidden && !hidden->isVisible());
        QTest::qWait(200);
        QVERIFY(KestrelEditor::IsLoading(hidden));
        QVERIFY(hidden->document()->isEmpty());
        m_window->SaveAll();
        QCOMPARE(contents(bigPath), big);
        m_window->SaveState(); // the session keeps the tab's place until it is loaded
        QVERIFY2(Settings::instance().tabDetails.first().startsWith(QStringLiteral("0;1;%1;0;25;").arg(bigPath)),
                 qPrintable(Settings::instance().tabDetails.first()));
        m_window->SetActiveCodeEditor(0, group->IndexOfPath(bigPath));
        QTRY_VERIFY_WITH_TIMEOUT(!KestrelEditor::IsLoading(hidden), 60000);
        QCOMPARE(TextFile::DocumentText(*hidden->document()), QString::fromLatin1(big));
        QCOMPARE(hidden->textCursor().position(), 25);
        QVERIFY(!group->IsModified(group->IndexOfPath(bigPath)));
    }

    // Another program's change is never overwritten unseen: a save asks first, and the reload
    // a question offers is one undoable step.
    void outsideChangesAreNeverOverwritten_data()
    {
        QTest::addColumn<bool>("save");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QByteArray>("onDisk");
        QTest::addColumn<QString>("inEditor");
        const QByteArray theirs("a = 1\nb = 2  # theirs\n");
        QTest::newRow("save, cancel") << true << "Cancel" << theirs << "typed a = 1\n";
        QTest::newRow("save, overwrite") << true << "Overwrite" << QByteArray("typed a = 1\n") << "typed a = 1\n";
        QTest::newRow("save, reload") << true << "Reload" << theirs << QString::fromUtf8(theirs);
        QTest::newRow("noticed, reload") << false << "Yes" << theirs << QString::fromUtf8(theirs);
        QTest::newRow("noticed, kept") << false << "No" << theirs << "typed a = 1\n";
    }
    void outsideChangesAreNeverOverwritten()
    {
        QFETCH(bool, save);
        QFETCH(QString, answer);
        QFETCH(QByteArray, onDisk);
        QFETCH(QString, inEditor);
        const QString path = file(QStringLiteral("shared.py"), "a = 1\n");
        QVERIFY(start());
        CodeEditor *editor = open(path);
        QVERIFY(editor);
        QTest::keyClicks(editor, "typed ");
        DialogAnswers dialogs({answer});
        QVERIFY(put(path, "a = 1\nb = 2  # theirs\n"));
        if (save)
            m_window->Save();
        QTRY_COMPARE(dialogs.seen.size(), 1);
        QVERIFY2(dialogs.seen.first().contains(QStringLiteral("modified by another program")), qPrintable(dialogs.seen.first()));
        // The reload question says that it replaces unsaved typing.
        QCOMPARE(dialogs.seen.first().contains(QStringLiteral("unsaved changes here")), !save);
        QCOMPARE(contents(path), onDisk);
        QCOMPARE(TextFile::DocumentText(*editor->document()), inEditor);
        if (answer == QLatin1String("Reload") || answer == QLatin1String("Yes")) {
            QVERIFY(!editor->document()->isModified());
            editor->undo();
            QCOMPARE(TextFile::DocumentText(*editor->document()), QStringLiteral("typed a = 1\n"));
        }
        QTest::qWait(400); // a kept change is not asked about again
        QCOMPARE(dialogs.seen.size(), 1);
    }

    // Save As asks before replacing a file the suffix rule lands on; a file reached through a
    // link is the file itself, never a second tab.
    void saveAsAndLinksNameFilesOnce_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::newRow("keep the existing file") << "No";
        QTest::newRow("replace it") << "Yes";
    }
    void saveAsAndLinksNameFilesOnce()
    {
        QFETCH(QString, answer);
        const QString victim = file(QStringLiteral("victim.py"), "precious = 1\n");
        const QString real = file(QStringLiteral("real.py"), "x = 1\n");
        const QString link = m_files->filePath(QStringLiteral("link.py"));
        QVERIFY(QFile::link(real, link));
        QVERIFY(start());
        QVERIFY(open(real));
        m_window->OpenFile(link);
        QCOMPARE(m_window->CodeEditorCount(), 3);
        QCOMPARE(m_window->ActiveCodeEditor()->Path(), real);

        m_window->SetActiveCodeEditor(0, 1);
        QTest::keyClicks(m_window->ActiveCodeEditor(), "print(2)");
        DialogAnswers dialogs({m_files->filePath("victim") + "|Python (*.py *.pyw *.pyi)", answer});
        m_window->SaveAs();
        QCOMPARE(dialogs.seen.value(1), QStringLiteral("Save File: '%1' already exists.\n\nDo you want to replace it?").arg(victim));
        const bool replaced = answer == QLatin1String("Yes");
        QCOMPARE(contents(victim), replaced ? QByteArray("print(2)") : QByteArray("precious = 1\n"));
        QCOMPARE(m_window->Group(0)->Record(1).kind, replaced ? CODE_EDITOR_FILE : CODE_EDITOR_INTERNAL_BUFFER);

        // Saving the buffer onto the open file under its other name is refused.
        m_window->SetActiveCodeEditor(0, 0);
        dialogs.answers = QStringList{link + "|All Files(*.*)"};
        m_window->SaveAs();
        QVERIFY(messages().contains(QStringLiteral("An open editor already exists with that path: %1").arg(link)));
        QCOMPARE(contents(real), QByteArray("x = 1\n"));
    }

    // A modified buffer always has a copy on disk: a file deleted under its editor gets one at
    // once; a buffer whose file could not be made is offered a save before it goes.
    void unsavedTextAlwaysHasAPlace_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("closed");
        QTest::newRow("cancel keeps it") << "Cancel" << false;
        QTest::newRow("no drops it") << "No" << true;
    }
    void unsavedTextAlwaysHasAPlace()
    {
        QFETCH(QString, answer);
        QFETCH(bool, closed);
        const QString path = file(QStringLiteral("gone.py"), "x = 1\n");
        QVERIFY(start());
        CodeEditor *editor = open(path);
        QVERIFY(editor);
        QVERIFY(QFile::remove(path));
        QTRY_VERIFY(editor->document()->isModified());
        QString copy;
        QVERIFY(RecoveryCopies(UserDirectories::internalBufferDirectory()).Read(path, copy));
        QCOMPARE(copy, QStringLiteral("x = 1\n"));

        const QString buffers = UserDirectories::internalBufferDirectory();
        QVERIFY(QFile::setPermissions(buffers, QFileDevice::ReadOwner | QFileDevice::ExeOwner | QFileDevice::ReadOther |
                                                   QFileDevice::ExeOther));
        {
            Unprivileged user;
            m_window->NewPythonBuffer();
        }
        QVERIFY(QFile::setPermissions(buffers, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
        CodeEditorGroup *group = m_window->Group(0);
        const int fileless = group->Count() - 1;
        QVERIFY(group->Record(fileless).path.isEmpty());
        QTest::keyClicks(group->CodeEditorAt(fileless), "only here");
        DialogAnswers dialogs({answer});
        m_window->OnCloseTabRequested(group, fileless);
        QCOMPARE(dialogs.seen.size(), 1);
        QVERIFY2(dialogs.seen.first().contains(QStringLiteral("could not be created")), qPrintable(dialogs.seen.first()));
        QCOMPARE(group->Count() == fileless, closed);
    }

    // The host's exit and the plug-in's unload with a file whose save fails: the exit asks
    // (Cancel keeps the host open), and whatever closes keeps the text for the next start.
    void hostExitAndUnloadKeepUnsavedText_data()
    {
        QTest::addColumn<QString>("answer"); // empty: unloaded, nobody asked
        QTest::addColumn<bool>("closes");
        QTest::newRow("exit, cancel") << "Cancel" << false;
        QTest::newRow("exit, close anyway") << "Close Anyway" << true;
        QTest::newRow("unload") << QString() << true;
    }
    void hostExitAndUnloadKeepUnsavedText()
    {
        QFETCH(QString, answer);
        QFETCH(bool, closes);
        QWidget hostWindow;
        m_host->mainWindowWidget = &hostWindow;
        const QString path = file(QStringLiteral("locked.py"), "x = 1\n");
        QVERIFY(start());
        CodeEditor *editor = open(path);
        QVERIFY(editor);
        QTest::keyClicks(editor, "typed ");
        const auto everyone = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
                              QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup |
                              QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;
        for (QDir up(UserDirectories::internalBufferDirectory()); up.path().startsWith(m_prefs->root()); up.cdUp())
            QVERIFY(QFile::setPermissions(up.path(), everyone));
        QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther));
        {
            Unprivileged user;
            DialogAnswers dialogs({answer});
            if (!answer.isEmpty()) {
                QCloseEvent close;
                QApplication::sendEvent(&hostWindow, &close);
                QCOMPARE(close.isAccepted(), closes);
                QCOMPARE(dialogs.seen.size(), 1);
                QVERIFY2(dialogs.seen.first().contains(QStringLiteral("These could not be saved:\n\n%1").arg(path)),
                         qPrintable(dialogs.seen.first()));
            }
            if (closes)
                m_window->TearDown();
        }
        QCOMPARE(contents(path), QByteArray("x = 1\n"));
        if (!closes)
            return;
        m_host->mainWindowWidget = nullptr;
        DialogAnswers dialogs({QStringLiteral("Keep")});
        QVERIFY(start());
        QTRY_COMPARE(dialogs.seen.size(), 1);
        QVERIFY(dialogs.seen.first().startsWith(QStringLiteral("Recover: '%1'").arg(path)));
        CodeEditorGroup *group = m_window->Group(0);
        QCOMPARE(group->CodeEditorAt(group->IndexOfPath(path))->toPlainText(), QStringLiteral("typed x = 1\n"));
    }
};

KE2_TEST_CLASS(KestrelEditorBuffersTest)

#include "test_kestrel_editor_buffers.moc"
