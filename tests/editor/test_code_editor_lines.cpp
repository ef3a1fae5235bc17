#include "editor/code_editor.h"
#include "tests/editor/editor_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QMimeData>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace ke2;
using ke2::test::editorState;
using ke2::test::makeEditor;

class CodeEditorLinesTest : public QObject {
    Q_OBJECT
private slots:
    // Composite edits: the result, and exactly one undo step back to the original when it edits.
    // An expected text without "|" compares the text only.
    void operations_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("after");
        QTest::addColumn<bool>("edits");
        const int M = LANGUAGE_MEL, P = LANGUAGE_PYTHON, T = LANGUAGE_TEXT;
        QTest::newRow("move up on the first line does nothing") << P << "a|b\nc" << "up" << "a|b\nc" << false;
        QTest::newRow("move down on the last line does nothing") << P << "a\nc|d" << "down" << "a\nc|d" << false;
        QTest::newRow("move up keeps the column") << P << "a\nb|c\nd" << "up" << "b|c\na\nd" << true;
        QTest::newRow("move last line up") << P << "a\nb|" << "up" << "b|\na" << true;
        QTest::newRow("move selection down") << P << "^a\nb|\nc" << "down" << "c\n^a\nb|" << true;
        QTest::newRow("move down onto the last line") << P << "a|\nb" << "down" << "b\na|" << true;
        QTest::newRow("selection ending at column 0 leaves that line") << P << "^a\n|b\nc" << "down" << "b\n^a\n|c" << true;
        QTest::newRow("copy down selects the copy") << P << "a|\nb" << "copyDown" << "a\na|\nb" << true;
        QTest::newRow("copy up stays on the source") << P << "a|\nb" << "copyUp" << "a|\na\nb" << true;
        QTest::newRow("copy two lines down") << P << "^a\nb|" << "copyDown" << "a\nb\n^a\nb|" << true;
        QTest::newRow("delete a middle line") << P << "a\nb|b\nc" << "delete" << "a\n|c" << true;
        QTest::newRow("delete the last line leaves an empty one") << P << "a\nb|" << "delete" << "a\n|" << true;
        QTest::newRow("delete the only line") << P << "a|b" << "delete" << "|" << true;
        QTest::newRow("delete selected lines") << P << "a\n^b\nc|\nd" << "delete" << "a\n|d" << true;
        QTest::newRow("comment one line") << P << "    x = 1|" << "comment" << "    # x = 1" << true;
        QTest::newRow("uncomment removes one space") << P << "    #  x|" << "comment" << "     x" << true;
        QTest::newRow("markers line up at the smallest indent, blank lines untouched")
            << P << "^    a\n\n  b|" << "comment" << "  #   a\n\n  # b" << true;
        QTest::newRow("mixed selection gets commented") << M << "^// a;\nb;|" << "comment" << "// // a;\n// b;" << true;
        QTest::newRow("all commented gets uncommented") << M << "^// a;\n  //b;|" << "comment" << "a;\n  b;" << true;
        QTest::newRow("comment: selection ending at column 0 leaves that line") << P << "^a\n|b" << "comment" << "# a\nb" << true;
        QTest::newRow("text buffers are not commented") << T << "a|" << "comment" << "a|" << false;
        QTest::newRow("block comment wraps the selection") << M << "a ^b c|;" << "block" << "a /*^b c|*/;" << true;
        QTest::newRow("block comment unwraps around the cursor") << M << "a /*b| c*/;" << "block" << "a b| c;" << true;
        QTest::newRow("block comment in a line comment toggles the line") << M << "// a|b" << "block" << "a|b" << true;
        QTest::newRow("python block comment falls back to line comments") << P << "x|" << "block" << "# x|" << true;
        QTest::newRow("trim trailing blanks and end with a newline")
            << P << "a  \n b\t|\n  \nc " << "trimEof" << "a\n b|\n\nc\n" << true;
        QTest::newRow("trimming a clean document is still an edit") << P << "a\n|b" << "trim" << "a\n|b" << true;
        QTest::newRow("trimming an empty document is not") << P << "|" << "trimEof" << "|" << false;
        QTest::newRow("newline at end of file added") << M << "a;|" << "eof" << "a;|\n" << true;
        QTest::newRow("newline at end of file not doubled") << M << "a;\n|" << "eof" << "a;\n|" << false;
        QTest::newRow("empty document gets no newline") << M << "|" << "eof" << "|" << false;
    }
    void operations()
    {
        QFETCH(int, language);
        QFETCH(QString, before);
        QFETCH(QString, operation);
        QFETCH(QString, after);
        QFETCH(bool, edits);
        static const QMap<QString, void (*)(CodeEditor &)> operations{
            {"up", [](CodeEditor &e) { e.MoveLine(true); }},
            {"down", [](CodeEditor &e) { e.MoveLine(false); }},
            {"copyUp", [](CodeEditor &e) { e.CopyLine(true); }},
            {"copyDown", [](CodeEditor &e) { e.CopyLine(false); }},
            {"delete", [](CodeEditor &e) { e.DeleteLines(); }},
            {"comment", [](CodeEditor &e) { e.ToggleComment(); }},
            {"block", [](CodeEditor &e) { e.ToggleBlockComment(); }},
            {"trim", [](CodeEditor &e) { e.TrimTrailingWhiteSpaces(); }},
            {"trimEof", [](CodeEditor &e) { e.TrimTrailingWhiteSpaces(true); }},
            {"eof", [](CodeEditor &e) { e.EnsureNewLineAtEof(); }},
        };
        auto editor = makeEditor(CodeEditorLanguage(language), before);
        const QString original = editor->toPlainText();
        operations.value(operation)(*editor);
        QCOMPARE(after.contains(QLatin1Char('|')) ? editorState(*editor) : editor->toPlainText(), after);
        QCOMPARE(editor->document()->isModified(), edits);
        editor->undo();
        QCOMPARE(editor->toPlainText(), original);
        QVERIFY(!editor->document()->isUndoAvailable());
    }

    // Copy or cut, then paste into `target` (or, when empty, where the cut left the cursor).
    void clipboard_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("cut");
        QTest::addColumn<QString>("copied");
        QTest::addColumn<bool>("wholeLine");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("after");
        QTest::newRow("whole line goes above, cursor keeps its column")
            << "    abc|\nxyz" << false << "    abc" << true << "    abc\nx|yz" << "    abc\n    abc\nx|yz";
        QTest::newRow("whole line over a selection replaces it")
            << "    abc|\nxyz" << false << "    abc" << true << "    abc\n^xyz|" << "    abc\n    abc|";
        QTest::newRow("a selection copies without the line mark")
            << "^ab|c\nd" << false << "ab" << false << "abc\n|d" << "abc\nab|d";
        QTest::newRow("cut without a selection takes the line")
            << "a;\nb|;\nc;" << true << "b;" << true << "" << "a;\nb;\n|c;";
    }
    void clipboard()
    {
        QFETCH(QString, source);
        QFETCH(bool, cut);
        QFETCH(QString, copied);
        QFETCH(bool, wholeLine);
        QFETCH(QString, target);
        QFETCH(QString, after);
        auto editor = makeEditor(LANGUAGE_MEL, source);
        cut ? editor->CustomCut() : editor->CustomCopy();
        const QMimeData *mime = QGuiApplication::clipboard()->mimeData();
        QVERIFY(mime);
        QCOMPARE(mime->text(), copied);
        QCOMPARE(mime->data(QStringLiteral("text/kestrelEditorLine")).isEmpty(), !wholeLine);
        if (!target.isEmpty())
            ke2::test::setEditorState(*editor, target);
        const QString beforePaste = editor->toPlainText();
        editor->CustomPaste();
        QCOMPARE(editorState(*editor), after);
        editor->undo();
        QCOMPARE(editor->toPlainText(), beforePaste);
    }

    void debouncedTextChanged()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("|"));
        editor->SetPath(QStringLiteral("script.py"));
        QSignalSpy spy(editor.get(), &CodeEditor::TextChanged);
        QTest::keyClicks(editor.get(), QStringLiteral("abc"));
        QCOMPARE(spy.count(), 0);
        QVERIFY(spy.wait(1000));
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.first(), (QVariantList{QStringLiteral("script.py"), QStringLiteral("abc")}));
    }
};
KE2_TEST_CLASS(CodeEditorLinesTest)

#include "test_code_editor_lines.moc"
