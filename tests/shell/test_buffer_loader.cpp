#include "editor/code_editor.h"
#include "language/code_editor_block_data.h"
#include "language/highlighter.h"
#include "shell/buffer_loader.h"
#include "shell/text_file.h"
#include "tests/shell/shell_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QTemporaryDir>
#include <QtGui/QTextDocument>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace ke2;
using namespace ke2::test;

// A file opened in pieces: the document ends up holding exactly the file, nothing can be typed
// between two pieces, and closing the tab stops the rest.
class BufferLoaderTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QVERIFY(m_dir.isValid()); }

    void savedBytesAreTheFile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        // Each is well beyond one slice, so the text goes in in several.
        QTest::newRow("MEL, CRLF") << QByteArray("setAttr \".t\" -type \"double3\" 1 2 3;\r\n").repeated(40000);
        QTest::newRow("Latin-1 with NULs") << QByteArray("caf\xE9\0 = 1\n", 11).repeated(60000);
        QByteArray utf16("\xFF\xFE", 2);
        utf16 += QByteArray("x\0=\0\xAC\x20\r\0\n\0", 10).repeated(60000);
        QTest::newRow("UTF-16 LE, CRLF") << utf16;
        QTest::newRow("UTF-8 four-byte characters, LF") << (QByteArray("\xF0\x9F\x98\x80").repeated(19) + "\n").repeated(10000);
        // Goes in whole: a line is never split over slices.
        QTest::newRow("one long line") << QByteArray("data = [") + QByteArray("1, ").repeated(300000) + "0]\n";
        QTest::newRow("empty") << QByteArray();
        // The text waits in pieces of a few million characters, each ending at a line end.
        QTest::newRow("several pieces, no newline at the end")
            << QByteArray("createNode mesh -n \"m\";\r\n").repeated(200000) + "select -cl";
        QTest::newRow("several pieces, NULs and Latin-1")
            << QByteArray("\tsetAttr \".vt[0]\" 0.5 \0 \xE9;\n", 27).repeated(300000);
    }
    void savedBytesAreTheFile()
    {
        QFETCH(QByteArray, bytes);
        const QString path = m_dir.filePath(QStringLiteral("scene.ma"));
        QVERIFY(put(path, bytes));
        CodeEditor editor(LANGUAGE_MEL, path);
        auto *loader = new BufferLoader(&editor, path, true, &editor);
        TextFileFormat format;
        bool loaded = false;
        connect(loader, &BufferLoader::Loaded, this, [&](const TextFileFormat &read) {
            format = read;
            loaded = true;
        });
        QSignalSpy progress(loader, &BufferLoader::Progress);
        QSignalSpy modified(editor.document(), &QTextDocument::modificationChanged);
        loader->Start();
        QVERIFY(loader->IsLoading());
        QVERIFY(editor.isReadOnly());
        QTRY_VERIFY_WITH_TIMEOUT(loaded, 60000);
        QVERIFY(!loader->IsLoading());
        QVERIFY(!editor.isReadOnly());
        QVERIFY(!editor.document()->isModified());
        QVERIFY(!editor.document()->isUndoAvailable());
        QVERIFY(modified.isEmpty() || !modified.last().first().toBool());
        QCOMPARE(progress.last().first().toInt(), 100);
        QCOMPARE(editor.textCursor().position(), 0); // where the reader begins
        // Lines are coloured as they are shown: the lines of this hidden editor keep no colours.
        if (bytes.count('\n') > 1000)
            QVERIFY(!CodeEditorBlockData::of(editor.document()->lastBlock()));
        // The pass over the line states waits for the load, and runs once it is in.
        auto *highlighter = qobject_cast<Highlighter *>(editor.Highlighter());
        QVERIFY(highlighter);
        QTRY_VERIFY_WITH_TIMEOUT(!highlighter->HighlightPending(), 60000);
        if (bytes.size() > 400000)
            QCOMPARE(progress.size() > 3, bytes.count('\n') > 1); // more than one slice went in, at line ends
        editor.SetPieceBreak(format.pieceBreak);
        QVERIFY(TextFile::Write(path, TextFile::DocumentText(*editor.document()), format));
        QCOMPARE(contents(path), bytes);
        // Typing works again, and is an ordinary undo step.
        QTest::keyClicks(&editor, QStringLiteral("ab"));
        QVERIFY(editor.document()->isModified());
        QVERIFY(editor.document()->isUndoAvailable());
    }

    // Keys pressed between two slices change nothing; the loaded text is whole afterwards.
    void keysDuringTheLoadAreRefused()
    {
        const QByteArray bytes = QByteArray("print \"line\";\n").repeated(300000);
        const QString path = m_dir.filePath(QStringLiteral("big.mel"));
        QVERIFY(put(path, bytes));
        CodeEditor editor(LANGUAGE_MEL, path);
        auto *loader = new BufferLoader(&editor, path, true, &editor);
        int loaded = 0;
        connect(loader, &BufferLoader::Loaded, this, [&] { ++loaded; });
        QSignalSpy progress(loader, &BufferLoader::Progress);
        loader->Start();
        int typedDuring = 0;
        while (progress.wait(20000) && loaded == 0) {
            if (editor.document()->isEmpty())
                continue;
            QTextCursor cursor = editor.textCursor();
            cursor.movePosition(QTextCursor::End);
            editor.setTextCursor(cursor);
            QTest::keyClick(&editor, Qt::Key_X);
            QTest::keyClick(&editor, Qt::Key_Return);
            QTest::keyClick(&editor, Qt::Key_Backspace);
            if (loader->IsLoading())
                ++typedDuring;
        }
        QCOMPARE(loaded, 1);
        QVERIFY(typedDuring > 0);
        QCOMPARE(TextFile::DocumentText(*editor.document()), QString::fromLatin1(bytes));
        QVERIFY(!editor.document()->isModified());
    }

    // Closing the tab at any stage stops the load; nothing arrives for the gone editor.
    void closingTheTabCancels_data()
    {
        QTest::addColumn<int>("slices"); // slices in before the close; -1: while the file is read
        QTest::newRow("while reading") << -1;
        QTest::newRow("after the first slice") << 1;
        QTest::newRow("after some slices") << 4;
    }
    void closingTheTabCancels()
    {
        QFETCH(int, slices);
        const QString path = m_dir.filePath(QStringLiteral("huge.ma"));
        QVERIFY(put(path, QByteArray("createNode transform -n \"node\";\n").repeated(200000)));
        auto *editor = new CodeEditor(LANGUAGE_MEL, path);
        auto *loader = new BufferLoader(editor, path, true, editor);
        int loaded = 0;
        connect(loader, &BufferLoader::Loaded, this, [&] { ++loaded; });
        QSignalSpy progress(loader, &BufferLoader::Progress);
        QSignalSpy gone(loader, &QObject::destroyed);
        loader->Start();
        while (slices >= 0 && progress.size() < slices + 1)
            QVERIFY(progress.wait(20000));
        if (slices >= 0)
            QVERIFY(loader->IsLoading());
        delete editor;
        QCOMPARE(gone.size(), 1);
        QTest::qWait(300); // the worker finishes and its result is dropped
        QCOMPARE(loaded, 0);
    }

private:
    QTemporaryDir m_dir;
};

KE2_TEST_CLASS(BufferLoaderTest)

#include "test_buffer_loader.moc"
