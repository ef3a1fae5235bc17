#include "tests/editor/editor_test_support.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"

#include <QtCore/QFile>
#include <QtCore/QMimeData>
#include <QtCore/QTemporaryDir>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtCore/QElapsedTimer>
#include <QtTest/QSignalSpy>

using namespace ke2;
using namespace ke2::test;

namespace {
// The composite edits by name.
const QMap<QString, void (*)(CodeEditor &)> namedEdits{
    {"up", [](CodeEditor &e) { e.MoveLine(true); }}, {"down", [](CodeEditor &e) { e.MoveLine(false); }},
    {"copyUp", [](CodeEditor &e) { e.CopyLine(true); }}, {"copyDown", [](CodeEditor &e) { e.CopyLine(false); }},
    {"delete", [](CodeEditor &e) { e.DeleteLines(); }}, {"eof", [](CodeEditor &e) { e.EnsureNewLineAtEof(); }},
    {"indent", [](CodeEditor &e) { e.IncreaseIndent(true); }}, {"outdent", [](CodeEditor &e) { e.DecreaseIndent(); }},
    {"comment", [](CodeEditor &e) { e.ToggleComment(); }}, {"block", [](CodeEditor &e) { e.ToggleBlockComment(); }},
    {"trim", [](CodeEditor &e) { e.TrimTrailingWhiteSpaces(); }},
    {"trimEof", [](CodeEditor &e) { e.TrimTrailingWhiteSpaces(true); }},
    {"complete", [](CodeEditor &e) { e.CompleteCode(QStringLiteral("polySphere"), 4); }},
};
} // namespace

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
        QTest::newRow("indent whole selected lines") << P << "^a\n  b|" << "indent" << "    a\n      b" << true;
        QTest::newRow("outdent to the previous stop") << P << "      a|" << "outdent" << "    a" << true;
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
        QTest::newRow("completion replaces the prefix") << M << "poly|;" << "complete" << "polySphere|;" << true;
    }
    void operations()
    {
        QFETCH(int, language);
        QFETCH(QString, before);
        QFETCH(QString, operation);
        QFETCH(QString, after);
        QFETCH(bool, edits);
        auto editor = makeEditor(CodeEditorLanguage(language), before);
        const QString original = editor->toPlainText();
        namedEdits.value(operation)(*editor);
        QCOMPARE(after.contains(QLatin1Char('|')) ? editorState(*editor) : editor->toPlainText(), after);
        QCOMPARE(editor->document()->isModified(), edits);
        editor->undo();
        QCOMPARE(editor->toPlainText(), original);
        QVERIFY(!editor->document()->isUndoAvailable());
    }

    // A line moved down and back up the same number of times leaves the text and the cursor as
    // they were, whatever lines (empty ones too) it passes on the way.
    void moveDownThenUp_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<int>("moves");
        QTest::newRow("past an empty line") << "|a = 1\nb = 2\n\nc = 3\nd = 4\ne = 5\nf = 6\n" << 5;
        QTest::newRow("a selection past empty lines") << "^x\ny|\n\n\nz\nw" << 4;
        QTest::newRow("to the end and back") << "a|b\n\nc" << 3;
    }
    void moveDownThenUp()
    {
        QFETCH(QString, before);
        QFETCH(int, moves);
        auto editor = makeEditor(LANGUAGE_PYTHON, before);
        for (int i = 0; i < moves; ++i)
            editor->MoveLine(false);
        for (int i = 0; i < moves; ++i)
            editor->MoveLine(true);
        QCOMPARE(editorState(*editor), before);
    }

    // Copy or cut, then paste into `target` (or, when empty, where the cut left the cursor).
    void clipboard_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("cut");
        QTest::addColumn<QString>("copied"); // a whole line when nothing was selected
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("after");
        QTest::newRow("whole line goes above, cursor keeps its column")
            << "    abc|\nxyz" << false << "    abc" << "    abc\nx|yz" << "    abc\n    abc\nx|yz";
        QTest::newRow("whole line over a selection replaces it")
            << "    abc|\nxyz" << false << "    abc" << "    abc\n^xyz|" << "    abc\n    abc|";
        QTest::newRow("a selection copies without the line mark")
            << "^ab|c\nd" << false << "ab" << "abc\n|d" << "abc\nab|d";
        QTest::newRow("cut without a selection takes the line")
            << "a;\nb|;\nc;" << true << "b;" << "" << "a;\nb;\n|c;";
    }
    void clipboard()
    {
        QFETCH(QString, source);
        QFETCH(bool, cut);
        QFETCH(QString, copied);
        QFETCH(QString, target);
        QFETCH(QString, after);
        auto editor = makeEditor(LANGUAGE_MEL, source);
        // By key, as the user does it: the editor's own copy would not mark a whole line.
        QTest::keyClick(editor.get(), cut ? Qt::Key_X : Qt::Key_C, Qt::ControlModifier);
        const QMimeData *mime = QGuiApplication::clipboard()->mimeData();
        QCOMPARE(mime->text(), copied);
        QCOMPARE(mime->data(QStringLiteral("text/kestrelEditorLine")).isEmpty(), source.contains(QLatin1Char('^')));
        if (!target.isEmpty())
            setEditorState(*editor, target);
        const QString beforePaste = editor->toPlainText();
        QTest::keyClick(editor.get(), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(editorState(*editor), after);
        editor->undo();
        QCOMPARE(editor->toPlainText(), beforePaste);
    }

    void completionShowsQuickHelp()
    {
        SettingsGuard guard;
        CodeEditor::SetQuickHelpNames({QStringLiteral("polySphere")});
        auto editor = makeEditor(LANGUAGE_MEL, QStringLiteral("poly|;"));
        QSignalSpy quickHelp(editor.get(), &CodeEditor::QuickHelpChanged);
        editor->CompleteCode(QStringLiteral("polySphere"), 4);
        editor->CompleteCode(QStringLiteral("x"), 100); // a prefix longer than the text
        Settings::instance().melAutoCompleteToQuickHelp = false;
        editor->CompleteCode(QStringLiteral("polySphere"), 4);
        CodeEditor::SetQuickHelpNames({});
        QCOMPARE(quickHelp, (QList<QVariantList>{{QStringLiteral("polySphere"), false}}));
    }

    void findScopeAndMatchesFollowEdits()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("|a = b + b\nb = 2"));
        editor->SetFindScope(4, 9);
        editor->SetFindRegex(QRegularExpression(QStringLiteral("b")));
        // The "b" of the second line lies outside the scope: not marked.
        QCOMPARE(selectionsWithRole(*editor, ColorRoleName::findReplaceMatching), (QVector<int>{4, 8}));
        typeKeys(*editor, QStringLiteral("xy"));
        QCOMPARE(qMakePair(editor->FindScopeStart(), editor->FindScopeEnd()), qMakePair(6, 11));
        QTextCursor cursor = editor->textCursor(); // an edit inside the scope moves only its end
        cursor.setPosition(8);
        cursor.insertText(QStringLiteral("zz"));
        QCOMPARE(qMakePair(editor->FindScopeStart(), editor->FindScopeEnd()), qMakePair(6, 13));
    }

    // Typing marks the buffer modified at once and reports the text once the burst is over; a
    // change on disk and focus are reported too.
    void notifications()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("watched.mel"));
        QVERIFY(test::writeFile(path, "print 1;\n"));
        CodeEditor editor(LANGUAGE_MEL, path);
        QSignalSpy modified(&editor, &CodeEditor::ModificationChanged);
        QSignalSpy text(&editor, &CodeEditor::TextChanged);
        QSignalSpy onDisk(&editor, &CodeEditor::FileChanged);
        QSignalSpy focus(&editor, &CodeEditor::ReceivedFocus);
        QTest::keyClicks(&editor, QStringLiteral("ab"));
        QCOMPARE(modified.count(), 1);
        QCOMPARE(modified.first().at(1).value<CodeEditor *>(), &editor);
        QTest::qWait(CodeEditor::textChangedDelay / 2);
        // Each edit starts the wait again: only the burst's last one counts. (A coarse timer
        // may fire up to 5% early, and the clock here starts after the key.)
        QTest::keyClick(&editor, Qt::Key_C);
        QElapsedTimer sinceLastKey;
        sinceLastKey.start();
        QVERIFY(text.wait(5000));
        QVERIFY2(sinceLastKey.elapsed() >= CodeEditor::textChangedDelay * 9 / 10,
                 qPrintable(QString::number(sinceLastKey.elapsed())));
        QTest::qWait(50);
        QCOMPARE(text, (QList<QVariantList>{{path, QStringLiteral("abc")}}));
        QFile file(path);
        QVERIFY(file.open(QIODevice::Append) && file.write("print 2;\n") > 0);
        file.close();
        QVERIFY(onDisk.wait(3000));
        QCOMPARE(onDisk.first().at(0).toString(), path);
        QFocusEvent in(QEvent::FocusIn, Qt::OtherFocusReason);
        QCoreApplication::sendEvent(&editor, &in);
        QCOMPARE(focus.count(), 1);
    }

    // Hostile pastes in MEL and Python: nothing crashes and each composite edit comes off whole. No
    // rule depends on the size (speed is the benchmark's): a few thousand lines stand for 10 MB.
    void badInput_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("thousands of lines of code")
            << QStringLiteral("    value = call(a, [1, 2], {'k': \"v\"})  # note\n").repeated(3000);
        QTest::newRow("a single 1 MB line") << QString(1024 * 1024, QLatin1Char('('));
        QTest::newRow("mixed tabs and spaces") << QStringLiteral("\t  if a:\n  \t\tb = (\n \t \t)\n");
        QTest::newRow("CRLF and lone CR") << QStringLiteral("a = 1\r\nb = (2,\r3)\r\n");
        QTest::newRow("NUL characters") << QStringLiteral("a = '") + QChar(0) + QStringLiteral("'\n(") + QChar(0);
    }
    void badInput()
    {
        QFETCH(QString, text);
        QGuiApplication::clipboard()->setText(text);
        for (CodeEditorLanguage language : {LANGUAGE_MEL, LANGUAGE_PYTHON}) {
            auto editor = makeEditor(language, QStringLiteral("def f():|"));
            editor->CustomPaste();
            QCOMPARE(editor->toPlainText(), QStringLiteral("def f():") + QString(text).replace("\r\n", "\n").replace('\r', '\n'));
            typeKeys(*editor, QStringLiteral("\n(\"x\t\b\b"));
            const QString typed = editor->toPlainText();
            for (auto edit : namedEdits) {
                editor->selectAll();
                const int steps = editor->document()->availableUndoSteps();
                edit(*editor);
                editor->UpdateExtraSelections();
                if (editor->document()->availableUndoSteps() != steps)
                    editor->undo(); // the edit comes off whole
                QCOMPARE(editor->toPlainText(), typed);
            }
            editor->grab();
            while (editor->document()->isUndoAvailable())
                editor->undo();
            QCOMPARE(editor->toPlainText(), QStringLiteral("def f():"));
        }
    }

    void tenThousandUndoSteps()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("|"));
        typeKeys(*editor, QStringLiteral("(\n\b").repeated(2500)); // no two steps merge
        const QString typed = editor->toPlainText();
        int steps = 0;
        for (; editor->document()->isUndoAvailable(); ++steps)
            editor->undo();
        QVERIFY(steps >= 7500);
        QCOMPARE(editor->toPlainText(), QString());
        while (editor->document()->isRedoAvailable())
            editor->redo();
        QCOMPARE(editor->toPlainText(), typed);
    }
};
KE2_TEST_CLASS(CodeEditorLinesTest)

#include "test_code_editor_lines.moc"
