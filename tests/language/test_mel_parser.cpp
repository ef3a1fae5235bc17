#include "tests/language/parser_dump.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using ke2::OutlineItem;
using ke2::test::RecordingMelParser;
using ke2::test::messagesOf;
using ke2::test::outlineOf;

namespace {
const QString blankLines = QStringLiteral("0 0 Empty line(s) at start of file. Line numbers in trace may be incorrect.");
const QString nested = QStringLiteral("Procedures cannot be nested within each other. Expected a '}'.");
} // namespace

class MelParserTest : public QObject {
    Q_OBJECT
private slots:
    // Outline items are "kind depth position name"; the other lists "start end message".
    // `dropped` holds the errors the MEL scanner works out and then discards.
    void scan_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QStringList>("outline");
        QTest::addColumn<QStringList>("warnings");
        QTest::addColumn<QStringList>("todos");
        QTest::addColumn<QStringList>("dropped");
        const QStringList none;

        QTest::newRow("procedure without closing brace keeps its item, the error is dropped")
            << "proc foo() {" << QStringList{"2 0 5 foo"} << none << none << QStringList{"12 12 Expected a '}'"};
        QTest::newRow("array parameter: item kept, one dropped ')' message, later brackets silent")
            << "global proc string[] bar(string $a[]) {}" << QStringList{"1 0 21 bar"} << none << none
            << QStringList{"21 24 Expected a ')'"};
        QTest::newRow("name with two dots is invalid")
            << "proc a..b() {}" << none << none << none << QStringList{"0 9 Invalid procedure name"};
        QTest::newRow("name ending in a dot is invalid")
            << "proc a.() {}" << none << none << none << QStringList{"0 7 Invalid procedure name"};
        QTest::newRow("global array variable")
            << "global string $names[];" << QStringList{"3 0 14 $names"} << none << none << none;
        QTest::newRow("only the first variable of a list")
            << "global int $a, $b;" << QStringList{"3 0 11 $a"} << none << none << none;
        QTest::newRow("two blanks before the variable: no item")
            << "global string  $x;" << none << none << none << none;
        QTest::newRow("myglobal is no global, but the proc after it is local")
            << "myglobal proc foo() {}" << QStringList{"2 0 14 foo"} << none << none << none;
        QTest::newRow("escaped quote stays inside the string")
            << "\"a\\\"b\" proc x() {}" << QStringList{"2 0 12 x"} << none << none << none;
        QTest::newRow("backslash at line end continues the string")
            << "\"abc\\\nproc y() {}\"\nproc z() {}" << QStringList{"2 0 24 z"} << none << none << none;
        QTest::newRow("two backslashes at line end do not continue it")
            << "\"abc\\\\\nproc y() {}" << QStringList{"2 0 12 y"} << none << none
            << QStringList{"0 6 Unterminated String"};
        QTest::newRow("string open at the end runs to the last character")
            << "print \"abc" << none << none << none << QStringList{"6 10 Unterminated String"};
        QTest::newRow("global procedure records its brace depth")
            << "{ global proc f() {} }" << QStringList{"1 1 14 f"} << none << none << none;
        QTest::newRow("braces in strings and comments do not count")
            << "{ \"}\" // }\nglobal proc b() {}\n}" << QStringList{"1 1 23 b"} << none << none << none;
        QTest::newRow("nested procedures are refused, global and local")
            << "global proc a() {\nglobal proc b() {}\n}" << QStringList{"1 0 12 a"} << none << none
            << QStringList{"18 30 " + nested, "25 30 " + nested};
        QTest::newRow("head without parenthesis: the scan resumes after the next character")
            << "proc f {}" << QStringList{"2 0 5 f"} << none << none << QStringList{"5 6 Expected a '('"};
        QTest::newRow("return type glued to the name: the type word becomes the name")
            << "global proc string[]foo() {}" << QStringList{"1 0 12 string"} << none << none
            << QStringList{"12 18 Expected a '('"};
        QTest::newRow("semicolon inside parentheses")
            << "print(1;" << none << none << none << QStringList{"7 8 Expected a ')'"};
        QTest::newRow("TODO in a line comment")
            << "// TODO fix" << none << none << QStringList{"1 11 TODO:"} << none;
        QTest::newRow("TODO glued to the slashes")
            << "x; //TODO" << none << none << QStringList{"4 9 TODO:"} << none;
        QTest::newRow("TODO in a block comment spans to its end")
            << "/* a\nTODO */" << none << none << QStringList{"1 10 TODO:"} << none;
        QTest::newRow("TODOS is another word") << "// TODOS" << none << none << none << none;
        QTest::newRow("todo in lower case") << "// todo" << none << none << none << none;
        QTest::newRow("underscore joins the word") << "// _TODO TODO_x" << none << none << none << none;
        QTest::newRow("punctuation separates the word")
            << "// x.TODO." << none << none << QStringList{"1 10 TODO:"} << none;
        QTest::newRow("first line empty warns") << "\nfoo" << none << QStringList{blankLines} << none << none;
        QTest::newRow("blank lines before code warn")
            << "  \n\t\nproc a() {}" << QStringList{"2 0 10 a"} << QStringList{blankLines} << none << none;
        QTest::newRow("code on the first line does not warn") << "foo" << none << none << none << none;
        QTest::newRow("blanks only do not warn") << "  \n\t\n" << none << none << none << none;
        QTest::newRow("paragraph separators are line ends")
            << QString("\u2029proc a() {}") << QStringList{"2 0 6 a"} << QStringList{blankLines} << none << none;
    }
    void scan()
    {
        QFETCH(QString, source);
        QFETCH(QStringList, outline);
        QFETCH(QStringList, warnings);
        QFETCH(QStringList, todos);
        QFETCH(QStringList, dropped);
        RecordingMelParser parser;
        parser.Parse(source, QStringLiteral("a.mel"));
        QCOMPARE(outlineOf(parser), outline);
        QCOMPARE(messagesOf(parser.Warnings()), warnings);
        QCOMPARE(messagesOf(parser.Todos()), todos);
        QCOMPARE(messagesOf(parser.dropped), dropped);
        QVERIFY(parser.Errors().isEmpty());
    }

    void reparseStartsAfresh()
    {
        ke2::MelParser parser;
        QVERIFY(parser.IsMel());
        QVERIFY(!parser.IsPython());
        parser.Parse(QStringLiteral("\nglobal proc a() {\n// TODO\n"), QStringLiteral("first.mel"));
        QCOMPARE(parser.OutlineItems().size(), 1);
        QCOMPARE(parser.Todos().size(), 1);
        QCOMPARE(parser.Warnings().size(), 1);
        // The open brace of the first text must not make the second one's procedure nested.
        parser.Parse(QStringLiteral("global proc b() {}"), QStringLiteral("second.mel"));
        QCOMPARE(outlineOf(parser), QStringList{"1 0 12 b"});
        QVERIFY(parser.Todos().isEmpty());
        QVERIFY(parser.Warnings().isEmpty());
        QCOMPARE(parser.FilePath(), QStringLiteral("second.mel"));
        QCOMPARE(parser.Text(), QStringLiteral("global proc b() {}\n"));
        // Its own text as input: normalised again, one more line end.
        parser.Parse(parser.Text(), QString());
        QCOMPARE(parser.Text(), QStringLiteral("global proc b() {}\n\n"));
        QCOMPARE(outlineOf(parser), QStringList{"1 0 12 b"});
    }
};
KE2_TEST_CLASS(MelParserTest)

#include "test_mel_parser.moc"
