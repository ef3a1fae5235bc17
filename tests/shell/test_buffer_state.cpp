#include "editor/text_mirror.h"
#include "shell/autosave_timer.h"
#include "shell/buffer_files.h"
#include "shell/file_change_tracker.h"
#include "shell/file_dialog_rules.h"
#include "shell/session_state.h"
#include "shell/text_file.h"
#include "tests/shell/shell_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTemporaryDir>
#include <QtGui/QTextCursor>
#include <QtGui/QTextDocument>
#include <QtWidgets/QPlainTextDocumentLayout>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace ke2;
using ke2::test::put;

Q_DECLARE_METATYPE(ke2::TabDetails)

namespace {

TabDetails details(int group, CodeEditorKind kind, const QString &path, bool current, int cursor, int scroll,
                   const QString &name = QString())
{
    TabDetails entry;
    entry.group = group;
    entry.kind = kind;
    entry.path = path;
    entry.current = current;
    entry.cursorPosition = cursor;
    entry.scrollPosition = scroll;
    entry.name = name;
    return entry;
}

} // namespace

class BufferStateTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        // A file whose name holds the session's separator.
        QVERIFY(put(m_dir.filePath(QStringLiteral("a;b.py")), "pass\n"));
        QVERIFY(put(m_dir.filePath(QStringLiteral("plain.py")), "pass\n"));
    }

    void parseTabDetails_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<bool>("restored");
        QTest::addColumn<TabDetails>("expected");
        const QString buffers = QStringLiteral("/prefs/buffers");
        const QString dir = m_dir.path();
        QTest::newRow("internal buffer from the buffer folder")
            << "1;0;melBuffer_ab12cd.mel;1;42;0;My Script" << true
            << details(1, CODE_EDITOR_INTERNAL_BUFFER, buffers + "/melBuffer_ab12cd.mel", true, 42, 0, "My Script");
        QTest::newRow("group 7 goes to group 0")
            << "7;1;/s/a.py;0;5;6" << true << details(0, CODE_EDITOR_FILE, "/s/a.py", false, 5, 6);
        QTest::newRow("group that does not parse goes to group 0")
            << "x;1;/s/a.py;2;y;" << true << details(0, CODE_EDITOR_FILE, "/s/a.py", true, 0, 0);
        QTest::newRow("kind 2 is skipped") << "0;2;/s/a.py;0;0;0" << false << TabDetails();
        QTest::newRow("kind that does not parse is skipped") << "0;;/s/a.py;0;0;0" << false << TabDetails();
        QTest::newRow("five fields are skipped") << "0;1;/s/a.py;0;0" << false << TabDetails();
        QTest::newRow("internal buffer without a name")
            << "2;0;pythonBuffer_x.py;0;3;4" << true
            << details(2, CODE_EDITOR_INTERNAL_BUFFER, buffers + "/pythonBuffer_x.py", false, 3, 4);
        QTest::newRow("absolute internal buffer path is kept")
            << "0;0;/elsewhere/b.mel;0;0;0;B" << true
            << details(0, CODE_EDITOR_INTERNAL_BUFFER, "/elsewhere/b.mel", false, 0, 0, "B");
        QTest::newRow("file path holding ';'")
            << QString("0;1;%1/a;b.py;1;3;4").arg(dir) << true
            << details(0, CODE_EDITOR_FILE, dir + "/a;b.py", true, 3, 4);
        QTest::newRow("stray trailing field after an existing file")
            << QString("0;1;%1/plain.py;1;3;4;junk").arg(dir) << true
            << details(0, CODE_EDITOR_FILE, dir + "/plain.py", true, 3, 4);
    }
    void parseTabDetails()
    {
        QFETCH(QString, entry);
        QFETCH(bool, restored);
        QFETCH(TabDetails, expected);
        TabDetails parsed;
        QCOMPARE(parsed.Parse(entry, QStringLiteral("/prefs/buffers")), restored);
        if (!restored)
            return;
        QCOMPARE(parsed.group, expected.group);
        QCOMPARE(int(parsed.kind), int(expected.kind));
        QCOMPARE(parsed.path, expected.path);
        QCOMPARE(parsed.current, expected.current);
        QCOMPARE(parsed.cursorPosition, expected.cursorPosition);
        QCOMPARE(parsed.scrollPosition, expected.scrollPosition);
        QCOMPARE(parsed.name, expected.name);
    }

    void tabDetailsWrittenAndReadBack()
    {
        const QString buffers = m_dir.path();
        const TabDetails entries[] = {
            details(2, CODE_EDITOR_INTERNAL_BUFFER, buffers + "/melBuffer_q.mel", true, 7, 2, "Rig; tools"),
            details(0, CODE_EDITOR_FILE, m_dir.filePath("a;b.py"), false, 0, 30),
            // Placeholders in a name must stay text: "%1" once took the next field's value.
            details(1, CODE_EDITOR_FILE, m_dir.filePath("shot_%1_%6.py"), true, 5, 0),
            details(0, CODE_EDITOR_INTERNAL_BUFFER, buffers + "/pythonBuffer_w.py", false, 1, 2, "100% %4"),
        };
        QCOMPARE(entries[0].ToString(), QStringLiteral("2;0;melBuffer_q.mel;1;7;2;Rig; tools"));
        for (const TabDetails &entry : entries) {
            TabDetails back;
            QVERIFY(back.Parse(entry.ToString(), buffers));
            QCOMPARE(back.ToString(), entry.ToString());
            QCOMPARE(back.path, entry.path);
            QCOMPARE(back.name, entry.name);
        }
        QCOMPARE(SessionState::ParseTabBarScrolling({"3", "x", " 5", "9"}), (QVector<int>{3, 0, 5}));
        QCOMPARE(SessionState::FormatTabBarScrolling({0, 12, 4}), (QStringList{"0", "12", "4"}));
    }

    void suffixRules_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("saved");
        const QString python = FileDialogRules::SaveFilterFor(LANGUAGE_PYTHON);
        const QString mel = FileDialogRules::SaveFilterFor(LANGUAGE_MEL);
        const QString all = FileDialogRules::SaveFilterFor(LANGUAGE_TEXT);
        QTest::newRow("Python filter appends .py") << "/s/tool" << python << "/s/tool.py";
        QTest::newRow("upper-case .PYW is kept") << "/s/tool.PYW" << python << "/s/tool.PYW";
        QTest::newRow(".pyi is a Python name") << "/s/stub.pyi" << python << "/s/stub.pyi";
        QTest::newRow("MEL filter appends .mel to a .py name") << "/s/tool.py" << mel << "/s/tool.py.mel";
        QTest::newRow("MEL case ignored") << "/s/t.MEL" << mel << "/s/t.MEL";
        QTest::newRow("all files keeps the name") << "/s/notes" << all << "/s/notes";
    }
    void suffixRules()
    {
        QFETCH(QString, name);
        QFETCH(QString, filter);
        QFETCH(QString, saved);
        QCOMPARE(FileDialogRules::ApplySuffixRule(name, filter), saved);
    }

    void namesAndLanguages()
    {
        bool removed = false;
        QCOMPARE(BufferFiles::CleanInternalBufferName(QStringLiteral("a;b;"), &removed), QStringLiteral("ab"));
        QVERIFY(removed);
        QCOMPARE(BufferFiles::CleanInternalBufferName(QStringLiteral("ab"), &removed), QStringLiteral("ab"));
        QVERIFY(!removed);
        QCOMPARE(BufferFiles::LanguageForPath(QStringLiteral("/s/T.PY")), LANGUAGE_PYTHON);
        QCOMPARE(BufferFiles::LanguageForPath(QStringLiteral("/s/t.pyw")), LANGUAGE_PYTHON);
        QCOMPARE(BufferFiles::LanguageForPath(QStringLiteral("/s/t.Mel")), LANGUAGE_MEL);
        QCOMPARE(BufferFiles::LanguageForPath(QStringLiteral("/s/scene.MA")), LANGUAGE_MEL);
        QCOMPARE(BufferFiles::LanguageForPath(QStringLiteral("/s/t.pyi")), LANGUAGE_TEXT);
        QCOMPARE(BufferFiles::LanguageForPath(QStringLiteral("/s/py")), LANGUAGE_TEXT);
    }

    void internalBufferFiles()
    {
        QTemporaryDir dir;
        const QString mel = BufferFiles::CreateInternalBufferFile(LANGUAGE_MEL, dir.path());
        const QString mel2 = BufferFiles::CreateInternalBufferFile(LANGUAGE_MEL, dir.path());
        const QString python = BufferFiles::CreateInternalBufferFile(LANGUAGE_PYTHON, dir.path());
        const QString text = BufferFiles::CreateInternalBufferFile(LANGUAGE_TEXT, dir.path());
        QVERIFY(QRegularExpression(QStringLiteral("/melBuffer_\\w{6}\\.mel$")).match(mel).hasMatch());
        QVERIFY(QRegularExpression(QStringLiteral("/pythonBuffer_\\w{6}\\.py$")).match(python).hasMatch());
        QVERIFY(QRegularExpression(QStringLiteral("/textBuffer_\\w{6}\\.txt$")).match(text).hasMatch());
        QVERIFY(mel != mel2);
        for (const QString &path : {mel, mel2, python, text})
            QVERIFY2(QFileInfo(path).isFile() && QFileInfo(path).isAbsolute(), qPrintable(path));
        QString error;
        QVERIFY(BufferFiles::CreateInternalBufferFile(LANGUAGE_MEL, dir.filePath("missing/folder"), &error).isEmpty());
    }

    // Our own save asks nothing, however late its notification comes; another program's asks.
    void ownWritesAndOutsideChanges()
    {
        QTemporaryDir dir;
        const QString ours = dir.filePath(QStringLiteral("ours.py"));
        const QString theirs = dir.filePath(QStringLiteral("theirs.py"));
        QVERIFY(put(ours, "a\n"));
        QVERIFY(put(theirs, "a\n"));
        FileChangeTracker tracker;
        TextFileFormat format;
        QVERIFY(TextFile::Write(ours, QStringLiteral("ab\n"), format));
        tracker.AddOwnWrite(ours);
        tracker.AddChangedPath(ours);
        tracker.AddChangedPath(theirs);
        tracker.AddChangedPath(theirs);
        QCOMPARE(tracker.ChangedPaths(), (QStringList{ours, theirs}));
        QCOMPARE(tracker.TakeOutsideChanges(), QStringList{theirs});
        QVERIFY(tracker.ChangedPaths().isEmpty() && tracker.OwnWrites().isEmpty());

        // The notification of the save arrives after the check.
        tracker.AddChangedPath(ours);
        QCOMPARE(tracker.TakeOutsideChanges(), QStringList());
        // Another program writes the file we saved.
        QVERIFY(put(ours, "changed elsewhere\n"));
        tracker.AddChangedPath(ours);
        QCOMPARE(tracker.TakeOutsideChanges(), QStringList{ours});
        // A new time over the same bytes is no change; the same size with other bytes is.
        tracker.AddOwnWrite(ours);
        {
            QFile touched(ours);
            QVERIFY(touched.open(QIODevice::ReadWrite));
            QVERIFY(touched.setFileTime(QDateTime::currentDateTime().addSecs(60), QFileDevice::FileModificationTime));
        }
        QVERIFY(!tracker.ChangedOutside(ours));
        QVERIFY(put(ours, "CHANGED ELSEWHERE\n"));
        QVERIFY(tracker.ChangedOutside(ours));
        tracker.AddChangedPath(ours);
        QCOMPARE(tracker.TakeOutsideChanges(), QStringList{ours});
        // Once forgotten, nothing on disk looks like ours any more.
        tracker.Forget(ours);
        tracker.AddChangedPath(ours);
        QCOMPARE(tracker.TakeOutsideChanges(), QStringList{ours});
    }

    void recoveryCopies()
    {
        QTemporaryDir dir;
        RecoveryCopies copies(dir.path());
        const QString first = QStringLiteral("/scripts/r\u00e9seau;1.mel");
        const QString second = QStringLiteral("/scripts/other.py");
        const QString text = QStringLiteral("line 1\n\nline 3 \u20ac\n");
        QVERIFY(!copies.Exists(first));
        QVERIFY(copies.Write(first, text));
        QVERIFY(copies.Write(second, QString()));
        QVERIFY(copies.Write(second, QStringLiteral("newer")));
        QVERIFY(copies.CopyPath(first) != copies.CopyPath(second));
        QVERIFY(copies.CopyPath(first).endsWith(RecoveryCopies::Suffix()));
        QString read;
        QVERIFY(copies.Read(first, read));
        QCOMPARE(read, text);
        // Files that are not copies are left alone.
        QVERIFY(put(dir.filePath(QStringLiteral("melBuffer_abcdef.mel")), "print 1;"));
        QVERIFY(put(dir.filePath(QStringLiteral("recovery_broken") + RecoveryCopies::Suffix()), "no header"));
        QVector<RecoveryCopies::Copy> all = copies.ReadAll();
        QCOMPARE(all.size(), 2);
        std::sort(all.begin(), all.end(), [](const auto &a, const auto &b) { return a.filePath < b.filePath; });
        QCOMPARE(all.at(0).filePath, second);
        QCOMPARE(all.at(0).text, QStringLiteral("newer"));
        QCOMPARE(all.at(1).filePath, first);
        copies.Remove(first);
        QVERIFY(!copies.Exists(first));
        QVERIFY(!copies.Read(first, read));
        QCOMPARE(copies.ReadAll().size(), 1);
        QVERIFY(!RecoveryCopies().Write(first, text)); // no folder: nowhere to keep it
    }

    // A copy written by the worker lands whole, unless a save (Remove), a close (Remove) or a
    // newer copy (Write) of the same file came after it was asked for: then it must not land,
    // however late it runs. The texts are large so that the worker is still busy.
    void recoveryCopiesInBackground_data()
    {
        QTest::addColumn<QString>("after");
        QTest::addColumn<QString>("left"); // the copy's text at the end; "-": none
        QTest::newRow("nothing after it") << QString() << "big";
        QTest::newRow("removed after a save") << "remove" << "-";
        QTest::newRow("a newer copy written at once") << "write" << "newer";
        QTest::newRow("a newer copy on the worker") << "background" << "big2";
    }
    void recoveryCopiesInBackground()
    {
        QFETCH(QString, after);
        QFETCH(QString, left);
        QTemporaryDir dir;
        RecoveryCopies copies(dir.path());
        const QString file = QStringLiteral("/scripts/scene.ma");
        QTextDocument document;
        document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
        document.setPlainText(QStringLiteral("setAttr \".t\" 1 2 3;\u00a0\n").repeated(400000));
        TextMirror mirror(&document);
        const QString big = document.toRawText().replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
        QObject context;
        QVector<bool> landed;
        copies.WriteInBackground(file, mirror.Snapshot(), &context, [&](bool ok) { landed.append(ok); });
        if (after == QLatin1String("remove"))
            copies.Remove(file);
        else if (after == QLatin1String("write"))
            QVERIFY(copies.Write(file, QStringLiteral("newer")));
        const QString big2 = QStringLiteral("// edited\n") + big;
        if (after == QLatin1String("background")) {
            QTextCursor(&document).insertText(QStringLiteral("// edited\n"));
            copies.WriteInBackground(file, mirror.Snapshot(), &context, [&](bool ok) { landed.append(ok); });
        }
        copies.WaitForWrites();
        QTRY_COMPARE(landed.size(), after == QLatin1String("background") ? 2 : 1);
        QCOMPARE(landed.last(), after.isEmpty() || after == QLatin1String("background"));
        QString read;
        QCOMPARE(copies.Read(file, read), left != QLatin1String("-"));
        if (left != QLatin1String("-"))
            QVERIFY(read == (left == QLatin1String("big") ? big : left == QLatin1String("big2") ? big2 : left));
        // No half-written file is left beside the copy.
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files).size(), left == QLatin1String("-") ? 0 : 1);
    }

    // Saved once typing pauses, and during unbroken typing no later than the longest delay.
    void autosaveTimer()
    {
        AutosaveTimer timer;
        timer.SetDelays(100, 400);
        QSignalSpy due(&timer, &AutosaveTimer::Due);
        timer.Touch();
        QTest::qWait(50);
        timer.Touch();
        QVERIFY(timer.IsPending());
        QVERIFY(due.wait(1000));
        QCOMPARE(due.size(), 1);
        QVERIFY(!timer.IsPending());

        QElapsedTimer typing;
        typing.start();
        while (due.size() < 2 && typing.elapsed() < 2000) {
            timer.Touch(); // a keystroke every 30 ms never pauses for 100
            QTest::qWait(30);
        }
        QCOMPARE(due.size(), 2);

        timer.Touch();
        timer.Cancel();
        QTest::qWait(200);
        QCOMPARE(due.size(), 2);
    }

private:
    QTemporaryDir m_dir;
};

KE2_TEST_CLASS(BufferStateTest)

#include "test_buffer_state.moc"
