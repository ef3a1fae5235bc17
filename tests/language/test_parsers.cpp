#include "language/first_occurrence_index.h"
#include "language/mel_parser.h"
#include "language/python_parser.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRandomGenerator>
#include <QtCore/QStandardPaths>
#include <QtTest/QTest>

using namespace ke2;

namespace {

// Keeps the errors the MEL scanner works out and then drops, so tests see where it resumed.
class RecordingMelParser : public MelParser {
public:
    void Reset() override { MelParser::Reset(), dropped.clear(); }
    void AddError(const QString &message, int start, int end) override
    {
        MelParser::AddError(message, start, end);
        dropped.append(Diagnostic(message, start, end));
    }
    QVector<Diagnostic> dropped;
};

QString lineColumn(const QString &text, int offset)
{
    if (offset < 0 || offset > text.size())
        return QStringLiteral("-");
    const QStringView before = QStringView(text).left(offset);
    return QStringLiteral("%1:%2").arg(before.count(QLatin1Char('\n')) + 1).arg(offset - before.lastIndexOf(QLatin1Char('\n')));
}

// Items, then errors, dropped errors, warnings and TODO markers. The golden form adds 1-based
// line:column so that a reference file can be reviewed by eye.
QStringList records(const BaseParser &parser, const QVector<Diagnostic> &dropped, bool golden)
{
    const QString &text = parser.Text();
    QStringList out;
    for (const OutlineItem *item : parser.OutlineItems())
        out << (golden ? QStringLiteral("item %1 kind %2 depth %3 [%4] %5").arg(lineColumn(text, item->position))
                       : QStringLiteral("%2 %3 %4 %5"))
                   .arg(item->kind).arg(item->depth).arg(item->position).arg(item->name);
    auto add = [&](const QString &label, const Diagnostic &d) {
        out << (golden ? QStringLiteral("%1 %2 [%3,%4] %5").arg(label, lineColumn(text, d.start))
                       : QStringLiteral("%1 %3 %4 %5").arg(label.at(0).toUpper()))
                   .arg(d.start).arg(d.end).arg(d.message);
    };
    for (const Diagnostic *d : parser.Errors())
        add(QStringLiteral("error"), *d);
    for (const Diagnostic &d : dropped)
        add(QStringLiteral("dropped"), d);
    for (const Diagnostic *d : parser.Warnings())
        add(QStringLiteral("warning"), *d);
    for (const Diagnostic *d : parser.Todos())
        add(QStringLiteral("todo"), *d);
    return out;
}

QStringList scanned(const QString &source, bool mel, bool golden = false)
{
    if (mel) {
        RecordingMelParser parser;
        parser.Parse(source, QStringLiteral("a.mel"));
        return records(parser, parser.dropped, golden);
    }
    PythonParser parser;
    parser.Parse(source, QStringLiteral("a.py"));
    return records(parser, {}, golden);
}

// Every record must point into the parsed text (an end of -1 marks "to the end").
QString checkRecords(const BaseParser &parser)
{
    const QString &text = parser.Text();
    for (const OutlineItem *item : parser.OutlineItems()) {
        // Aliased and from-imports show composed names; every other name stands where it points.
        const bool composed = item->kind == OutlineItem::PythonImportAlias || item->kind == OutlineItem::PythonFromImport;
        if (item->position < 0 || item->position >= text.size() || (!composed && text.mid(item->position, item->name.size()) != item->name))
            return QStringLiteral("item %1 at %2").arg(item->name).arg(item->position);
    }
    for (const QList<Diagnostic *> &list : {parser.Errors(), parser.Warnings(), parser.Todos()})
        for (const Diagnostic *d : list)
            if (d->start < 0 || d->start > text.size() || d->end < -1 || d->end > text.size())
                return QStringLiteral("%1 at [%2,%3]").arg(d->message).arg(d->start).arg(d->end);
    return QString();
}

// The scanner's functions and classes as "kind name line", with the kinds named as given;
// `topLevel` keeps those at depth 0 only.
QStringList definitions(const PythonParser &parser, const QString &function, const QString &cls, bool topLevel)
{
    QStringList found;
    for (const OutlineItem *item : parser.OutlineItems()) {
        if ((!topLevel || item->depth == 0) && item->kind >= OutlineItem::PythonFunction
            && item->kind <= OutlineItem::PythonClass)
            found << QStringLiteral("%1 %2 %3")
                         .arg(item->kind == OutlineItem::PythonClass ? cls : function, item->name)
                         .arg(QStringView(parser.Text()).left(item->position).count('\n') + 1);
    }
    return found;
}

const QString nested = QStringLiteral("Procedures cannot be nested within each other. Expected a '}'.");
const QString blankLines = QStringLiteral("W 0 0 Empty line(s) at start of file. Line numbers in trace may be incorrect.");

// Top-level definitions of a few standard library modules (one with top-level "async def") as
// the interpreter sees them: "path" lines, then "kind name line" per definition.
const char astProgram[] = R"(
import ast, os, sysconfig
for module in ['textwrap', 'shlex', 'argparse', 'dataclasses', 'tempfile', 'json/decoder', 'asyncio/tasks']:
    path = os.path.join(sysconfig.get_paths()['stdlib'], module + '.py')
    if os.path.exists(path):
        print(path)
        for node in ast.parse(open(path, encoding='utf-8').read()).body:
            if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef, ast.ClassDef)):
                print('%s %s %d' % (type(node).__name__, node.name, node.lineno))
)";
// Every function and class of one file as the interpreter sees them, "F|C name line" sorted by
// line; exits 1 when compile() refuses the file.
const char astDefinitionsProgram[] = R"(
import ast, sys
source = open(sys.argv[1], 'rb').read()
compile(source, sys.argv[1], 'exec', dont_inherit=True)
found = [(node.lineno, 'C' if isinstance(node, ast.ClassDef) else 'F', node.name) for node in ast.walk(ast.parse(source))
         if isinstance(node, (ast.FunctionDef, ast.ClassDef))]
for line, kind, name in sorted(found):
    print(kind, name, line)
)";
} // namespace

class ParserTest : public QObject {
    Q_OBJECT
private slots:
    // data/scanner_<name>.mel|py dumped must equal data/scanner_<name>.ref.
    void golden_data()
    {
        QTest::addColumn<QString>("input");
        const QDir dir(QStringLiteral(KE2_TEST_DATA_DIR));
        const QStringList inputs = dir.entryList({"scanner_*.mel", "scanner_*.py"}, QDir::Files, QDir::Name);
        QVERIFY2(inputs.size() >= 4, "golden inputs are missing");
        for (const QString &name : inputs)
            QTest::newRow(qPrintable(name)) << dir.filePath(name);
    }
    void golden()
    {
        QFETCH(QString, input);
        const QStringList actual = scanned(QString::fromUtf8(test::readFile(input)), input.endsWith(".mel"), true) << QString();
        QVERIFY(test::matchesGolden(actual.join(QLatin1Char('\n')).toUtf8(), input.left(input.lastIndexOf('.')) + ".ref"));
    }

    // Cases the golden files do not show. Items are "kind depth position name", diagnostics
    // "E|D|W|T start end message" (D: an error the MEL scanner drops).
    void scan_data()
    {
        QTest::addColumn<bool>("mel");
        QTest::addColumn<QString>("source");
        QTest::addColumn<QStringList>("expected");
        auto mel = [](const char *name, const QString &source, const QStringList &expected) {
            QTest::newRow(name) << true << source << expected;
        };
        auto py = [](const char *name, const QString &source, const QStringList &expected) {
            QTest::newRow(name) << false << source << expected;
        };
        mel("procedure without closing brace keeps its item", "proc foo() {", {"2 0 5 foo", "D 12 12 Expected a '}'"});
        mel("array parameter: one dropped ')' message, later brackets silent", "global proc string[] bar(string $a[]) {}",
            {"1 0 21 bar", "D 21 24 Expected a ')'"});
        mel("myglobal is no global, the proc after it is local", "myglobal proc foo() {}", {"2 0 14 foo"});
        mel("escaped quote stays inside the string", "\"a\\\"b\" proc x() {}", {"2 0 12 x"});
        mel("backslash at line end continues the string", "\"abc\\\nproc y() {}\"\nproc z() {}", {"2 0 24 z"});
        mel("two backslashes at line end do not", "\"abc\\\\\nproc y() {}", {"2 0 12 y", "D 0 6 Unterminated String"});
        mel("string open at the end runs to the last character", "print \"abc", {"D 6 10 Unterminated String"});
        mel("braces in strings and comments do not count", "{ \"}\" // }\nglobal proc b() {}\n}", {"1 1 23 b"});
        mel("nested procedures are refused, global and local", "global proc a() {\nglobal proc b() {}\n}",
            {"1 0 12 a", "D 18 30 " + nested, "D 25 30 " + nested});
        mel("head without parenthesis resumes after the next character", "proc f {}", {"2 0 5 f", "D 5 6 Expected a '('"});
        mel("return type glued to the name becomes the name", "global proc string[]foo() {}",
            {"1 0 12 string", "D 12 18 Expected a '('"});
        mel("a procedure declared inside braces ends at its own depth", "{\nglobal proc a() {\n}\nglobal proc b() {}\n}",
            {"1 1 14 a", "1 1 34 b"});
        mel("semicolon inside parentheses", "print(1;", {"D 7 8 Expected a ')'"});
        mel("TODO glued to the slashes", "x; //TODO", {"T 4 9 TODO:"});
        mel("todo in lower case", "// todo", {});
        mel("underscore joins the word", "// _TODO TODO_x", {});
        mel("punctuation separates the word", "// x.TODO.", {"T 1 10 TODO:"});
        mel("blank lines before code warn", "  \n\t\nproc a() {}", {"2 0 10 a", blankLines});
        mel("blanks only do not warn", "  \n\t\n", {});
        mel("paragraph separators are line ends", QString("\u2029proc a() {}"), {"2 0 6 a", blankLines});

        py("a part found inside an earlier one points there", "import ab, b", {"4 0 7 ab", "4 0 8 b"});
        py("import line skips its comment", "import os  # TODO", {"4 0 7 os"});
        py("parenthesised from-import shows nothing", "from x import (a,\n    b)\nx = 1", {});
        py("star import shows nothing", "from x import *", {});
        py("comment between decorator and def forgets it", "@staticmethod\n# c\ndef f(self): pass", {"8 0 22 f"});
        py("decorator nearest the def wins: static", "@classmethod\n@staticmethod\ndef f(): pass", {"9 0 31 f"});
        py("decorator nearest the def wins: class", "@staticmethod\n@classmethod\ndef f(): pass", {"10 0 31 f"});
        py("decorator line must match exactly", "@staticmethod \ndef f(): pass", {"8 0 19 f"});
        py("class name after a tab", "class\tA(B):\n    pass", {"11 0 6 A"});
        py("main guard with double quotes", "if __name__ == \"__main__\":\n    main()", {"7 0 16 __main__"});
        py("colon with trailing comment opens a block, its TODO is skipped", "if x:   # TODO comment\ny = 1",
           {"E 23 23 Expected an indented block"});
        py("def inside an open parenthesis closes it", "foo(\ndef bar(): pass", {"8 0 9 bar", "E 4 4 Expected a ')'"});
        py("only one indentation error per parse", "x = 1\n    y = 2\nif x:\nz", {"E 6 10 Unexpected indent"});
        py("an unexpected indent opens no level", "class A:\n    x = 1\n        def f(): pass",
           {"11 0 6 A", "8 1 31 f", "E 19 27 Unexpected indent"});
        py("unexpected closing bracket, reported once", "x = ) ]", {"E 4 5 Unexpected ')'"});
        py("other quote inside a string", "x = \"it's\"", {});
        py("TODOS is another word", "# TODOS", {});
        py("unterminated triple-quoted string is not an error", "\"\"\"abc", {});
        py("unterminated triple-quoted TODO runs to the end", "'''TODO", {"T 0 -1 TODO:"});
        py("a comment's backslash joins nothing", "x = 1  # \\\n    y = 2", {"E 11 15 Unexpected indent"});
        py("a from-import inside an open bracket still closes it", "f(\nfrom a import b",
           {"6 0 17 b (a)", "E 2 2 Expected a ')'"});
        py("escaped triple quote does not close", "x = '''a\\''' TODO'''\ndef f(): pass", {"8 0 25 f", "T 10 17 TODO:"});
    }
    void scan()
    {
        QFETCH(bool, mel);
        QFETCH(QString, source);
        QFETCH(QStringList, expected);
        QCOMPARE(scanned(source, mel), expected);
    }

    void reparseStartsAfresh()
    {
        MelParser mel;
        mel.Parse(QStringLiteral("\nglobal proc a() {\n// TODO\n"), QStringLiteral("first.mel"));
        // The open brace of the first text must not make the second one's procedure nested.
        mel.Parse(QStringLiteral("global proc b() {}"), QStringLiteral("second.mel"));
        QCOMPARE(records(mel, {}, false), QStringList{"1 0 12 b"});
        QCOMPARE(mel.FilePath(), QStringLiteral("second.mel"));
        // Its own text as input: normalised again, one more line end.
        mel.Parse(mel.Text(), QString());
        QCOMPARE(mel.Text(), QStringLiteral("global proc b() {}\n\n"));
        PythonParser python;
        python.Parse(QStringLiteral("class A:\n        x = 1\n\ty = (\n@staticmethod\n"), QString());
        QVERIFY(!python.Errors().isEmpty());
        python.Parse(QStringLiteral("def f():\n    pass\n"), QString());
        QCOMPARE(records(python, {}, false), QStringList{"8 0 4 f"});
    }

    // Random text (bytes decoded as UTF-8, or scanner characters with lone surrogates and NUL)
    // and constructs cut off at every length never yield a record outside the text.
    void badInputStaysInBounds()
    {
        QRandomGenerator random(7);
        const QString alphabet =
            QStringLiteral("gp(){}[]\"'\\/*#:@ \t\nidfcTODO$;.,") + QChar(0xD800) + QChar(0xDC00) + QChar(0) + QChar(0x2029);
        QStringList texts = {"global proc string[] f(string $a) {", "global string[] $v", "if __name__ == '__main__':",
                             "import a.b as c", "from a import b as c, d", "@staticmethod\ndef f(): '''x'''"};
        for (int i = texts.size() - 1; i >= 0; --i)
            for (int size = 0; size < texts.at(i).size(); ++size)
                texts << texts.at(i).left(size);
        for (int round = 0; round < 600; ++round) {
            QByteArray raw(1 + random.bounded(400), Qt::Uninitialized);
            QString text(raw.size(), Qt::Uninitialized);
            for (int i = 0; i < raw.size(); ++i)
                raw[i] = char(random.bounded(256)), text[i] = alphabet.at(random.bounded(alphabet.size()));
            texts << (round % 2 ? QString::fromUtf8(raw) : text);
        }
        MelParser mel;
        PythonParser python;
        auto check = [&](const QString &text) {
            mel.Parse(text, QString());
            python.Parse(text, QString());
            QVERIFY2(checkRecords(mel).isEmpty(), qPrintable(checkRecords(mel) + " in MEL: " + text.left(80)));
            QVERIFY2(checkRecords(python).isEmpty(), qPrintable(checkRecords(python) + " in Python: " + text.left(80)));
            QVERIFY(mel.Errors().isEmpty()); // dropped, whatever was found
        };
        for (const QString &text : qAsConst(texts))
            check(text);
        // 50 MB of one character comes back too, with at most the one message it implies.
        for (const char ch : {'"', '\'', '(', ')', ' ', '\\', '\n', '\0'}) {
            check(QString(50 * 1000 * 1000, QLatin1Char(ch)));
            QCOMPARE(python.Errors().size(), ch == ')' ? 1 : 0);
        }
    }

    // A long import line goes through this index instead of one search per name.
    void firstOccurrenceMatchesIndexOf()
    {
        QRandomGenerator random(11);
        for (int round = 0; round < 200; ++round) {
            QString text;
            for (int i = 0, size = 1 + random.bounded(300); i < size; ++i)
                text.append(QChar("ab, c."[random.bounded(6)]));
            const FirstOccurrenceIndex index(text);
            // The words between ", " as runs: each found where indexOf finds it, or no answer
            // within too small a budget.
            QVector<QPair<int, int>> runs;
            for (int at = 0; at < text.size();) {
                int end = at;
                while (end < text.size() && text.at(end) != QLatin1Char(',') && text.at(end) != QLatin1Char(' '))
                    ++end;
                if (end > at)
                    runs.append({at, end - at});
                at = end + 1;
            }
            const QVector<int> firsts = FirstOccurrenceIndex::firstOccurrencesOfRuns(text, runs, 1 << 20);
            QCOMPARE(firsts.size(), runs.size());
            for (int r = 0; r < runs.size(); ++r)
                QCOMPARE(firsts.at(r), int(text.indexOf(text.mid(runs[r].first, runs[r].second))));
            QCOMPARE(FirstOccurrenceIndex::firstOccurrencesOfRuns(text, runs, 0).size(), 0);
            for (int probe = 0; probe < 30; ++probe) {
                const QString word = text.mid(random.bounded(text.size()), 1 + random.bounded(8));
                QCOMPARE(index.indexOf(word), text.indexOf(word));
                QCOMPARE(index.indexOf(word + QLatin1Char('x')), -1);
            }
        }
        QStringList names;
        for (int i = 0; i < 400; ++i)
            names << QStringLiteral("m%1").arg(i);
        PythonParser parser;
        parser.Parse(QStringLiteral("import ") + (names << "1" << "m3").join(QStringLiteral(", ")), QString());
        QCOMPARE(parser.OutlineItems().size(), names.size());
        for (int i = 0; i < names.size(); ++i) // "1" first occurs inside "m1", the repeated "m3" at the first one
            QCOMPARE(parser.OutlineItems().at(i)->position, parser.Text().indexOf(names.at(i), 7));
    }

    // Code the interpreter compiles gets no error mark, and its functions and classes are the
    // interpreter's (the scanner does not see "async def", so those files have none at the top).
    void validCodeHasNoErrorMark_data()
    {
        QTest::addColumn<QString>("input");
        const QDir dir(QStringLiteral(KE2_TEST_DATA_DIR));
        const QStringList inputs = dir.entryList({"valid_*.py"}, QDir::Files, QDir::Name);
        QVERIFY2(inputs.size() >= 8, "valid inputs are missing");
        for (const QString &name : inputs)
            QTest::newRow(qPrintable(name)) << dir.filePath(name);
    }
    void validCodeHasNoErrorMark()
    {
        QFETCH(QString, input);
        const QByteArray bytes = test::readFile(input);
        PythonParser parser;
        parser.Parse(QString::fromUtf8(bytes.constData(), bytes.size()), input);
        QStringList errors;
        for (const Diagnostic *d : parser.Errors())
            errors << lineColumn(parser.Text(), d->start) + QLatin1Char(' ') + d->message;
        QCOMPARE(errors, QStringList());
        const QStringList scanned = definitions(parser, "F", "C", false);
        const QString python = QStandardPaths::findExecutable(QStringLiteral("python3"));
        if (python.isEmpty())
            QSKIP("python3 is not installed");
        QProcess process;
        process.start(python, {"-c", astDefinitionsProgram, input});
        QVERIFY(process.waitForFinished(60000));
        QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData()); // the file must be valid
        QCOMPARE(scanned, QString::fromUtf8(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts));
    }

    void outlineAgreesWithAst()
    {
        const QString python = QStandardPaths::findExecutable(QStringLiteral("python3"));
        if (python.isEmpty())
            QSKIP("python3 is not installed");
        QProcess process;
        process.start(python, {"-c", astProgram});
        QVERIFY(process.waitForFinished(60000) && process.exitCode() == 0);
        QHash<QString, QStringList> expected;
        QString path;
        for (const QString &line : QString::fromUtf8(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts)) {
            if (line.startsWith('/'))
                path = line;
            // The one scanner rule by which the outlines differ: only "def" at the start of a
            // logical line makes a function, so "async def" is not recognised.
            else if (!line.startsWith(QLatin1String("AsyncFunctionDef ")))
                expected[path] << line;
        }
        QVERIFY2(expected.size() >= 4, "the standard library of python3 was not found");
        for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
            QFile file(it.key());
            QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
            PythonParser parser;
            parser.Parse(QString::fromUtf8(file.readAll()), it.key());
            QVERIFY2(!it.value().isEmpty(), qPrintable(it.key()));
            QCOMPARE(definitions(parser, "FunctionDef", "ClassDef", true), it.value());
        }
    }
};
KE2_TEST_CLASS(ParserTest)

#include "test_parsers.moc"
