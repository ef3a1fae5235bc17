#include "editor/code_editor.h"
#include "shell/script_runs.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"

#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

using namespace ke2;

// Errors the host reports for a run lead back to the tab's own line.
class ScriptRunsTest : public QObject {
    Q_OBJECT

private slots:
    void parseError_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("number");
        QTest::newRow("standalone console")
            << "# Error: NameError: file <maya console> line 2: name 'x' is not defined #" << "" << 2;
        QTest::newRow("console with the line first")
            << "# Error: line 3: NameError: file <maya console> line 3: name 'x' is not defined #" << "" << 3;
        QTest::newRow("MEL") << "// Error: line 4: Cannot find procedure \"foo\". //" << "" << 4;
        QTest::newRow("a Python file")
            << "# Error: ValueError: file /home/me/tools/rig.py line 12: bad #" << "/home/me/tools/rig.py" << 12;
        QTest::newRow("a MEL file") << "// Error: file: C:/scripts/a b.mel line 7: Syntax error //"
                                    << "C:/scripts/a b.mel" << 7;
        QTest::newRow("no line number") << "# Error: something broke #" << "" << 0;
        QTest::newRow("a warning") << "# Warning: line 2: careful #" << "" << 0;
        QTest::newRow("unframed") << "Error: line 2: x" << "" << 0;
        QTest::newRow("line zero") << "# Error: line 0: x #" << "" << 0;
        QTest::newRow("a message that mentions a line") << "# Error: bad value on line 5" << "" << 0;
        QTest::newRow("a stack frame of the console") << "#   File \"<maya console>\", line 4, in f" << "" << 4;
        QTest::newRow("a stack frame of a file") << "#   File \"/tools/a b.py\", line 7, in <module>" << "/tools/a b.py" << 7;
        QTest::newRow("a frame's source line") << "#     raise ValueError(\"line 3\")" << "" << 0;
    }

    void parseError()
    {
        QFETCH(QString, line);
        QFETCH(QString, file);
        QFETCH(int, number);
        const std::optional<ScriptRuns::ErrorPlace> place = ScriptRuns::ParseError(line);
        QCOMPARE(place.has_value(), number > 0);
        if (place) {
            QCOMPARE(place->file, file);
            QCOMPARE(place->line, number);
        }
    }

    // Two tabs run, each echoed before its errors; the same error text from two runs is told
    // apart by its position among identical lines.
    void errorsFollowTheirRun()
    {
        CodeEditor first(LANGUAGE_PYTHON), second(LANGUAGE_PYTHON);
        first.setPlainText(QString(30, QLatin1Char('\n')));
        second.setPlainText(QString(30, QLatin1Char('\n')));
        const QString error = QStringLiteral("# Error: NameError: file <maya console> line 2: name 'x' is not defined #");
        ScriptRuns runs;
        runs.Started(&first, 10, QStringLiteral("a = 1\nx"), true);
        runs.Started(&second, 20, QStringLiteral("b = 2\nx\n"), true);
        runs.Observe(QStringLiteral("a = 1\nx\n"));
        runs.Observe(error + QLatin1Char('\n'));
        runs.Observe(QStringLiteral("b = 2\nx\n"));
        runs.Observe(QStringLiteral("some print\n") + error + QLatin1Char('\n'));

        QVERIFY(runs.IsLink(error));
        QVERIFY(!runs.IsLink(QStringLiteral("# Error: NameError: file <maya console> line 9: other #")));
        const ScriptRuns::Location newest = runs.Resolve(error, 0);
        QCOMPARE(newest.editor.data(), &second);
        QCOMPARE(newest.line, 21);
        const ScriptRuns::Location older = runs.Resolve(error, 1);
        QCOMPARE(older.editor.data(), &first);
        QCOMPARE(older.line, 11);
        QVERIFY(!runs.Resolve(error, 2).isValid());
    }

    // Without an echo the errors belong to the newest run; a host that names a file leads there.
    void unechoedRunsAndFiles()
    {
        ScriptRuns runs;
        const QString error = QStringLiteral("// Error: line 1: bad //");
        runs.Observe(error + QLatin1Char('\n'));
        QVERIFY(!runs.IsLink(error)); // nothing ran yet
        auto editor = std::make_unique<CodeEditor>(LANGUAGE_MEL);
        editor->setPlainText(QStringLiteral("\n\n\n\n$v"));
        runs.Started(editor.get(), 5, QStringLiteral("$v"), false);
        runs.Observe(error + QLatin1Char('\n'));
        QCOMPARE(runs.Resolve(error, 0).line, 5);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("x.py"));
        const QString inFile = QStringLiteral("# Error: IOError: file %1 line 3: gone #").arg(path);
        runs.Observe(inFile + QLatin1Char('\n'));
        QVERIFY(!runs.IsLink(inFile)); // no such file (yet)
        QVERIFY(test::writeFile(path, QByteArray()));
        QCOMPARE(runs.Resolve(inFile, 0).path, path);
        QCOMPARE(runs.Resolve(inFile, 0).line, 3);
        // A name in angle brackets is the interpreter's, not a file's.
        const QString string = QStringLiteral("#   File \"<string>\", line 1, in <module>");
        runs.Observe(QStringLiteral("# Error: x\n") + string + QStringLiteral("\n# NameError: x #\n"));
        QVERIFY(!runs.IsLink(string));
        // A closed tab leads nowhere.
        editor.reset();
        QVERIFY(!runs.IsLink(error));
    }

    // The host compiles every run as its console, so a line number is counted in the run that
    // compiled the code it names. Each run is "first tab line|text", all from one tab; the error
    // comes after the last; 0: no link.
    void errorsLeadToTheRunThatCompiledTheCode_data()
    {
        QTest::addColumn<QStringList>("runs");
        QTest::addColumn<QString>("error");
        QTest::addColumn<int>("tabLine");
        const QString defines = QStringLiteral("1|a1 = 1\n\ndef f():\n    raise ValueError('bad')\n\nclass A:\n"
                                               "    def m(self):\n        return f()\n");
        const QString bare = QStringLiteral("# Error: ValueError: file <maya console> line %1: bad #");
        auto frame = [](int line, const char *function) {
            return QStringLiteral("#   File \"<maya console>\", line %1, in %2").arg(line).arg(function);
        };
        QTest::newRow("a function of an earlier run, by line alone")
            << QStringList{defines, "9|f()"} << bare.arg(4) << 4;
        QTest::newRow("the current run's own line") << QStringList{defines, "12|x = 1\ny = 2\nz = 3"} << bare.arg(2) << 13;
        QTest::newRow("the current run or an earlier function: not known")
            << QStringList{defines, "12|f()\nx\ny\nz = 3"} << bare.arg(4) << 0;
        QTest::newRow("a frame names the function") << QStringList{defines, "12|f()\nx\ny\nz = 3"} << frame(4, "f") << 4;
        QTest::newRow("a method") << QStringList{defines, "12|A().m()"} << frame(8, "m") << 8;
        QTest::newRow("a frame of the run's own code") << QStringList{defines, "12|f()"} << frame(1, "<module>") << 12;
        QTest::newRow("a module line the current run does not have")
            << QStringList{defines, "12|f()"} << frame(3, "<module>") << 0;
        QTest::newRow("a function no run defines") << QStringList{defines, "12|g()"} << frame(4, "g") << 0;
        QTest::newRow("redefined by a later run: the later one")
            << QStringList{defines, "20|\ndef f():\n    pass\n    raise ValueError('bad')", "30|f()"} << bare.arg(4) << 23;
        QTest::newRow("the same text run twice from one place") << QStringList{defines, defines, "9|f()"} << bare.arg(4) << 4;
        QTest::newRow("a line past every run") << QStringList{defines, "9|f()"} << bare.arg(40) << 0;
        QTest::newRow("a syntax error is in the run's own text")
            << QStringList{defines, "12|f()\nx\ny\nz = (1,"} << "#   File \"<maya console>\", line 4" << 15;
        QTest::newRow("a syntax error without the stack trace")
            << QStringList{defines, "12|f()\nx\ny\nz = (1,"}
            << "# Error: SyntaxError: file <maya console> line 4: '(' was never closed #" << 15;
        QTest::newRow("a MEL error belongs to the MEL run")
            << QStringList{defines, "m12|print 1;\nx;\ny;\nz;"} << "// Error: line 4: bad //" << 15;
        QTest::newRow("a Python error skips the MEL run")
            << QStringList{defines, "m12|print 1;\nx;\ny;\nz;", "30|f()"} << bare.arg(4) << 4;
        QTest::newRow("a blank line runs nothing") << QStringList{defines, "9|f()"} << bare.arg(2) << 0;
    }

    void errorsLeadToTheRunThatCompiledTheCode()
    {
        QFETCH(QStringList, runs);
        QFETCH(QString, error);
        QFETCH(int, tabLine);
        CodeEditor python(LANGUAGE_PYTHON), mel(LANGUAGE_MEL);
        python.setPlainText(QString(40, QLatin1Char('\n')));
        mel.setPlainText(QString(40, QLatin1Char('\n')));
        ScriptRuns record;
        for (const QString &run : runs) {
            const QString text = run.section(QLatin1Char('|'), 1);
            const bool isMel = run.startsWith(QLatin1Char('m')); // "m": from the MEL tab
            record.Started(isMel ? &mel : &python, run.section(QLatin1Char('|'), 0, 0).mid(isMel ? 1 : 0).toInt(), text,
                           true);
            record.Observe(text.endsWith(QLatin1Char('\n')) ? text : text + QLatin1Char('\n'));
        }
        record.Observe(QStringLiteral("# Error: bad\n") + error + QStringLiteral("\n# ValueError: bad #\n"));
        const ScriptRuns::Location place = record.Resolve(error, 0);
        QCOMPARE(place.line, tabLine);
        if (tabLine == 0)
            return;
        QCOMPARE(place.editor.data(), error.startsWith(QLatin1String("//")) ? &mel : &python);
        // Lines typed above the run's code move the place with it.
        QTextCursor(place.editor->document()).insertText(QStringLiteral("\n\n"));
        QCOMPARE(record.Resolve(error, 0).line, tabLine + 2);
    }

    // The same error line printed again where it leads nowhere is no link, and the earlier one
    // keeps its own place.
    void unknownLinesKeepTheirPlace()
    {
        CodeEditor editor(LANGUAGE_PYTHON);
        editor.setPlainText(QString(40, QLatin1Char('\n')));
        const QString error = QStringLiteral("# Error: NameError: file <maya console> line 2: y #");
        ScriptRuns runs;
        runs.Started(&editor, 10, QStringLiteral("x = 1\ny"), true);
        runs.Observe(QStringLiteral("x = 1\ny\n"));
        runs.Observe(error + QLatin1Char('\n'));
        runs.Started(&editor, 20, QStringLiteral("z"), true);
        runs.Observe(QStringLiteral("z\n"));
        runs.Observe(error + QLatin1Char('\n'));
        QVERIFY(!runs.IsLink(error));
        QCOMPARE(runs.Resolve(error, 1).line, 11);
    }

    // The mark stays while other lines change and goes with the first edit of its own line.
    void runErrorMarkUntilTheLineIsEdited_data()
    {
        QTest::addColumn<int>("editAt");
        QTest::addColumn<QString>("insert");
        QTest::addColumn<int>("removeCount");
        QTest::addColumn<int>("markedLine");
        // Lines: "zero\none\ntwo\nthree", line 2 marked (starts at 9).
        QTest::newRow("typing on the line above") << 5 << "x" << 0 << 2;
        QTest::newRow("a new line above") << 8 << "\n" << 0 << 3;
        QTest::newRow("Return at the line's start") << 9 << "\n" << 0 << 3;
        QTest::newRow("deleting the line above whole") << 5 << "" << 4 << 1;
        QTest::newRow("typing in the line") << 10 << "x" << 0 << -1;
        QTest::newRow("typing at the line's start") << 9 << "x" << 0 << -1;
        QTest::newRow("joined to the line above") << 8 << "" << 1 << -1;
        QTest::newRow("its end deleted") << 11 << "" << 1 << -1;
        QTest::newRow("typing below") << 13 << "x" << 0 << 2;
    }

    void runErrorMarkUntilTheLineIsEdited()
    {
        QFETCH(int, editAt);
        QFETCH(QString, insert);
        QFETCH(int, removeCount);
        QFETCH(int, markedLine);
        CodeEditor editor(LANGUAGE_PYTHON);
        editor.setPlainText(QStringLiteral("zero\none\ntwo\nthree"));
        editor.SetRunError(2, QStringLiteral("# Error: boom #"));
        QCOMPARE(editor.RunErrorLine(), 2);
        QCOMPARE(editor.LineMessage(2), QStringLiteral("# Error: boom #"));
        QTextCursor cursor(editor.document());
        cursor.setPosition(editAt);
        cursor.setPosition(editAt + removeCount, QTextCursor::KeepAnchor);
        cursor.insertText(insert);
        QCOMPARE(editor.RunErrorLine(), markedLine);
        const QList<QTextEdit::ExtraSelection> selections = editor.extraSelections();
        const bool shown = std::any_of(selections.cbegin(), selections.cend(),
                                       [](const QTextEdit::ExtraSelection &selection) {
                                           return selection.format.property(QTextFormat::FullWidthSelection).toBool()
                                               && selection.format.background().color().red() == 244;
                                       });
        QCOMPARE(shown, markedLine >= 0);
    }
};

KE2_TEST_CLASS(ScriptRunsTest)
#include "test_script_runs.moc"
