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
    void lineOperations_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("after");
        QTest::newRow("move up on the first line does nothing") << "a|b\nc" << "up" << "a|b\nc";
        QTest::newRow("move down on the last line does nothing") << "a\nc|d" << "down" << "a\nc|d";
        QTest::newRow("move up keeps the column") << "a\nb|c\nd" << "up" << "b|c\na\nd";
        QTest::newRow("move last line up") << "a\nb|" << "up" << "b|\na";
        QTest::newRow("move selection down") << "^a\nb|\nc" << "down" << "c\n^a\nb|";
        QTest::newRow("move down onto the last line") << "a|\nb" << "down" << "b\na|";
        QTest::newRow("selection ending at column 0 leaves that line") << "^a\n|b\nc" << "down" << "b\n^a\n|c";
        QTest::newRow("copy down selects the copy") << "a|\nb" << "copyDown" << "a\na|\nb";
        QTest::newRow("copy up stays on the source") << "a|\nb" << "copyUp" << "a|\na\nb";
        QTest::newRow("copy two lines down") << "^a\nb|" << "copyDown" << "a\nb\n^a\nb|";
        QTest::newRow("delete a middle line") << "a\nb|b\nc" << "delete" << "a\n|c";
        QTest::newRow("delete the last line leaves an empty one") << "a\nb|" << "delete" << "a\n|";
        QTest::newRow("delete the only line") << "a|b" << "delete" << "|";
        QTest::newRow("delete selected lines") << "a\n^b\nc|\nd" << "delete" << "a\n|d";
    }
    void lineOperations()
    {
        QFETCH(QString, before);
        QFETCH(QString, operation);
        QFETCH(QString, after);
        auto editor = makeEditor(LANGUAGE_PYTHON, before);
        const QString original = editor->toPlainText();
        if (operation == QLatin1String("up"))
            editor->MoveLine(true);
        else if (operation == QLatin1String("down"))
            editor->MoveLine(false);
        else if (operation == QLatin1String("copyUp"))
            editor->CopyLine(true);
        else if (operation == QLatin1String("copyDown"))
            editor->CopyLine(false);
        else
            editor->DeleteLines();
        QCOMPARE(editorState(*editor), after);
        if (editor->toPlainText() != original) {
            editor->undo();
            QCOMPARE(editor->toPlainText(), original);
        }
    }

    void wholeLineCopyAndPaste()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("    abc|\nxyz"));
        editor->CustomCopy();
        const QMimeData *mime = QGuiApplication::clipboard()->mimeData();
        QVERIFY(mime);
        QCOMPARE(mime->text(), QStringLiteral("    abc"));
        QCOMPARE(mime->data(QStringLiteral("text/kestrelEditorLine")), QByteArray("1"));
        ke2::test::setEditorState(*editor, QStringLiteral("    abc\nx|yz"));
        editor->CustomPaste();
        QCOMPARE(editorState(*editor), QStringLiteral("    abc\n    abc\nx|yz"));
        editor->undo();
        QCOMPARE(editor->toPlainText(), QStringLiteral("    abc\nxyz"));
        // With a selection the paste is ordinary: it replaces the selection.
        ke2::test::setEditorState(*editor, QStringLiteral("    abc\n^xyz|"));
        editor->CustomPaste();
        QCOMPARE(editorState(*editor), QStringLiteral("    abc\n    abc|"));
    }

    void ordinaryCopyHasNoLineMark()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("^ab|c\nd"));
        editor->CustomCopy();
        QVERIFY(QGuiApplication::clipboard()->mimeData()->data(QStringLiteral("text/kestrelEditorLine")).isEmpty());
        ke2::test::setEditorState(*editor, QStringLiteral("abc\n|d"));
        editor->CustomPaste();
        QCOMPARE(editorState(*editor), QStringLiteral("abc\nab|d"));
    }

    void cutWithoutSelectionTakesTheLine()
    {
        auto editor = makeEditor(LANGUAGE_MEL, QStringLiteral("a;\nb|;\nc;"));
        editor->CustomCut();
        QCOMPARE(editor->toPlainText(), QStringLiteral("a;\nc;"));
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("b;"));
    }

    void toggleComment_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        const int M = LANGUAGE_MEL, P = LANGUAGE_PYTHON, T = LANGUAGE_TEXT;
        QTest::newRow("comment one line") << P << "    x = 1|" << "    # x = 1";
        QTest::newRow("uncomment removes one space") << P << "    #  x|" << "     x";
        QTest::newRow("markers line up at the smallest indent, blank lines untouched")
            << P << "^    a\n\n  b|" << "  #   a\n\n  # b";
        QTest::newRow("mixed selection gets commented") << M << "^// a;\nb;|" << "// // a;\n// b;";
        QTest::newRow("all commented gets uncommented") << M << "^// a;\n  //b;|" << "a;\n  b;";
        QTest::newRow("selection ending at column 0 leaves that line") << P << "^a\n|b" << "# a\nb";
        QTest::newRow("text buffers are left alone") << T << "a|" << "a";
    }
    void toggleComment()
    {
        QFETCH(int, language);
        QFETCH(QString, before);
        QFETCH(QString, after);
        auto editor = makeEditor(CodeEditorLanguage(language), before);
        const QString original = editor->toPlainText();
        editor->ToggleComment();
        QCOMPARE(editor->toPlainText(), after);
        if (after != original) {
            editor->undo();
            QCOMPARE(editor->toPlainText(), original);
        }
    }

    void blockComment_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        const int M = LANGUAGE_MEL, P = LANGUAGE_PYTHON;
        QTest::newRow("wraps the selection") << M << "a ^b c|;" << "a /*^b c|*/;";
        QTest::newRow("unwraps around the cursor") << M << "a /*b| c*/;" << "a b| c;";
        QTest::newRow("in a line comment toggles the line") << M << "// a|b" << "a|b";
        QTest::newRow("python falls back to line comments") << P << "x|" << "# x|";
    }
    void blockComment()
    {
        QFETCH(int, language);
        QFETCH(QString, before);
        QFETCH(QString, after);
        auto editor = makeEditor(CodeEditorLanguage(language), before);
        const QString original = editor->toPlainText();
        editor->ToggleBlockComment();
        QCOMPARE(editorState(*editor), after);
        editor->undo();
        QCOMPARE(editor->toPlainText(), original);
    }

    void trimTrailingWhiteSpaces()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("a  \n b\t|\n  \nc "));
        editor->document()->setModified(false);
        editor->TrimTrailingWhiteSpaces(true);
        QCOMPARE(editorState(*editor), QStringLiteral("a\n b|\n\nc\n"));
        QVERIFY(editor->document()->isModified());
        editor->undo();
        QCOMPARE(editor->toPlainText(), QStringLiteral("a  \n b\t\n  \nc "));

        // A clean document is still replaced, so saving counts as an edit.
        ke2::test::setEditorState(*editor, QStringLiteral("a\n|b"));
        editor->document()->setModified(false);
        editor->TrimTrailingWhiteSpaces();
        QVERIFY(editor->document()->isModified());
        QCOMPARE(editorState(*editor), QStringLiteral("a\n|b"));
    }

    void ensureNewLineAtEof()
    {
        auto editor = makeEditor(LANGUAGE_MEL, QStringLiteral("a;|"));
        editor->EnsureNewLineAtEof();
        QCOMPARE(editorState(*editor), QStringLiteral("a;|\n"));
        editor->EnsureNewLineAtEof();
        QCOMPARE(editor->toPlainText(), QStringLiteral("a;\n"));
        auto empty = makeEditor(LANGUAGE_MEL, QString());
        empty->EnsureNewLineAtEof();
        QCOMPARE(empty->toPlainText(), QString());
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
        QCOMPARE(spy.first().at(0).toString(), QStringLiteral("script.py"));
        QCOMPARE(spy.first().at(1).toString(), QStringLiteral("abc"));
    }
};
KE2_TEST_CLASS(CodeEditorLinesTest)

#include "test_code_editor_lines.moc"
