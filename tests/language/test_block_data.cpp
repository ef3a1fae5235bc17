#include "tests/language/test_highlighter_support.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using namespace ke2;
using ke2::test::HighlightedDocument;
using ke2::test::HighlightFixture;
using Entry = CodeEditorBlockData::BracketEntry;
using Range = CodeEditorBlockData::Range;

namespace {
const auto Mel = HighlightedDocument::Mel;
const auto Python = HighlightedDocument::Python;
} // namespace

Q_DECLARE_METATYPE(ke2::CodeEditorBlockData::Range)

// The per-line data as the highlighters fill it on real documents, and the queries the editor
// asks of it.
class BlockDataTest : public QObject {
    Q_OBJECT
private slots:
    void bracketsOutsideStringsAndComments()
    {
        HighlightFixture fixture;
        //                                          0123456789012345678901
        HighlightedDocument doc(Mel, QStringLiteral("foo(\"(\", $a[0]); // )\n/* { */ {"));
        const CodeEditorBlockData *data = doc.data(0);
        QCOMPARE(data->brackets(QLatin1Char('(')), (QVector<Entry>{{3, 1}, {14, -1}}));
        QCOMPARE(data->brackets(QLatin1Char(')')), data->brackets(QLatin1Char('(')));
        QCOMPARE(data->brackets(QLatin1Char(']')), (QVector<Entry>{{11, 1}, {13, -1}}));
        QVERIFY(data->brackets(QLatin1Char('{')).isEmpty());
        QVERIFY(data->brackets(QLatin1Char('x')).isEmpty());
        QCOMPARE(doc.data(1)->brackets(QLatin1Char('{')), (QVector<Entry>{{8, 1}}));
        QCOMPARE(doc.data(1)->indentHint(), 1);
    }

    // Ranges are inclusive; a region open at the line end, or a comment to the end, also covers
    // the column after the last character.
    void rangeQueries_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("line");
        QTest::addColumn<QVector<Range>>("strings");
        QTest::addColumn<QVector<Range>>("lineComments");
        QTest::addColumn<QVector<Range>>("blockComments");

        QTest::newRow("mel string and comment to the end")
            << int(Mel) << "foo(\"(\", $a[0]); // )" << 0 << QVector<Range>{{4, 6}, {17, 21}} << QVector<Range>{{17, 21}} << QVector<Range>{};
        QTest::newRow("mel block comment first line")
            << int(Mel) << "a /* b\nc\nd */ e" << 0 << QVector<Range>{{2, 6}} << QVector<Range>{} << QVector<Range>{{2, 6}};
        QTest::newRow("mel block comment middle line")
            << int(Mel) << "a /* b\nc\nd */ e" << 1 << QVector<Range>{{0, 1}} << QVector<Range>{} << QVector<Range>{{0, 1}};
        QTest::newRow("mel block comment last line")
            << int(Mel) << "a /* b\nc\nd */ e" << 2 << QVector<Range>{{0, 3}} << QVector<Range>{} << QVector<Range>{{0, 3}};
        QTest::newRow("mel closed string does not cover the line end")
            << int(Mel) << "x = \"ab\"" << 0 << QVector<Range>{{4, 7}} << QVector<Range>{} << QVector<Range>{};
        QTest::newRow("mel unterminated string covers the line end")
            << int(Mel) << "x = \"ab" << 0 << QVector<Range>{{4, 7}} << QVector<Range>{} << QVector<Range>{};
        QTest::newRow("python docstring continued on an empty line")
            << int(Python) << "'''a\n\nb'''" << 1 << QVector<Range>{{0, 0}} << QVector<Range>{} << QVector<Range>{};
        QTest::newRow("python two strings and a comment")
            << int(Python) << "f('a', \"b\")  # c" << 0 << QVector<Range>{{2, 4}, {7, 9}, {13, 16}} << QVector<Range>{{13, 16}}
            << QVector<Range>{};
        QTest::newRow("python hash in a string")
            << int(Python) << "x = '#'" << 0 << QVector<Range>{{4, 6}} << QVector<Range>{} << QVector<Range>{};
    }
    void rangeQueries()
    {
        QFETCH(int, language);
        QFETCH(QString, text);
        QFETCH(int, line);
        QFETCH(QVector<Range>, strings);
        QFETCH(QVector<Range>, lineComments);
        QFETCH(QVector<Range>, blockComments);
        HighlightFixture fixture;
        HighlightedDocument doc(HighlightedDocument::Language(language), text);
        const CodeEditorBlockData *data = doc.data(line);
        QCOMPARE(data->stringRanges(), strings);
        QCOMPARE(data->lineCommentRanges(), lineComments);
        QCOMPARE(data->blockCommentRanges(), blockComments);
        // The queries agree with the ranges column by column, both ends included.
        for (int column = -1; column <= doc.line(line).length(); ++column) {
            auto inside = [column](const QVector<Range> &ranges) {
                return std::any_of(ranges.begin(), ranges.end(), [column](const Range &r) { return column >= r.start && column <= r.end; });
            };
            QCOMPARE(data->isInString(column), inside(strings));
            QCOMPARE(data->isInLineComment(column), inside(lineComments));
            QCOMPARE(data->isInBlockComment(column), inside(blockComments));
        }
    }

    void indentationAndBlankLines()
    {
        HighlightFixture fixture;
        HighlightedDocument doc(Python, QStringLiteral("\t  x = 1\n   \n\n'''\n   '''"));
        QCOMPARE(doc.data(0)->leadingWhitespace(), QStringLiteral("\t  "));
        QVERIFY(!doc.data(0)->isBlank());
        QCOMPARE(doc.data(1)->leadingWhitespace(), QStringLiteral("   "));
        QVERIFY(doc.data(1)->isBlank());
        QVERIFY(doc.data(2)->isBlank());
        // Indentation inside a docstring is still the line's indentation.
        QCOMPARE(doc.data(4)->leadingWhitespace(), QStringLiteral("   "));
        QVERIFY(!doc.data(4)->isBlank());
    }

    void indentHint_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("hint");
        QTest::newRow("mel open brace") << int(Mel) << "if ($a) {" << 1;
        QTest::newRow("mel else between braces") << int(Mel) << "} else {" << 1;
        QTest::newRow("mel two open braces") << int(Mel) << "{ {" << 2;
        QTest::newRow("mel balanced braces") << int(Mel) << "{ x; }" << 0;
        QTest::newRow("mel closing brace") << int(Mel) << "}" << 0;
        QTest::newRow("mel open parenthesis") << int(Mel) << "foo(" << 1;
        QTest::newRow("mel open bracket before a comment") << int(Mel) << "$a = {1, [ // c" << 1;
        QTest::newRow("mel brace inside a string") << int(Mel) << "print \"{\";" << 0;
        QTest::newRow("mel open brace before a closed string at the end") << int(Mel) << "proc f() { print \"x\"" << 1;
        QTest::newRow("mel open parenthesis before an unclosed string") << int(Mel) << "foo(\"x" << 0;
        QTest::newRow("python colon") << int(Python) << "def f(a):" << 1;
        QTest::newRow("python colon before a comment") << int(Python) << "if x:  # why" << 1;
        QTest::newRow("python open call after a string") << int(Python) << "f('a', (" << 1;
        QTest::newRow("python plain statement") << int(Python) << "x = 1" << 0;
        QTest::newRow("python colon inside a string") << int(Python) << "x = 'a:'" << 0;
        QTest::newRow("python open dict") << int(Python) << "d = {" << 1;
    }
    void indentHint()
    {
        QFETCH(int, language);
        QFETCH(QString, line);
        QFETCH(int, hint);
        HighlightFixture fixture;
        HighlightedDocument doc(HighlightedDocument::Language(language), line);
        QCOMPARE(doc.data(0)->indentHint(), hint);
    }

    void unclosedOpeningBefore_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("column"); // -1: line end
        QTest::addColumn<QString>("expected"); // the bracket and its column, or empty
        QTest::newRow("open call") << "x = foo(a, " << -1 << "(7";
        QTest::newRow("inner list closed") << "foo(a, [b, c], " << -1 << "(3";
        QTest::newRow("inner list open") << "foo(a, [b, " << -1 << "[7";
        QTest::newRow("before the column only") << "foo(a)(" << 6 << "";
        QTest::newRow("all closed") << "foo(a)[b]{c}" << -1 << "";
        QTest::newRow("bracket in string ignored") << "foo(')'" << -1 << "(3";
        QTest::newRow("mixed kinds") << "{ [ ( ) ] " << -1 << "{0";
    }
    void unclosedOpeningBefore()
    {
        QFETCH(QString, line);
        QFETCH(int, column);
        QFETCH(QString, expected);
        HighlightFixture fixture;
        HighlightedDocument doc(Python, line);
        QChar character;
        int found = -1;
        const bool ok = doc.data(0)->unclosedOpeningBefore(column < 0 ? line.size() : column, &character, &found);
        QCOMPARE(ok ? QString(character) + QString::number(found) : QString(), expected);
    }

    void partnersAcrossLines()
    {
        HighlightFixture fixture;
        const QString text = QStringLiteral("proc f() {\n"       // 0
                                            "    if (1) {\n"     // 1
                                            "        print \"}\";\n" // 2
                                            "    }\n"            // 3
                                            "}\n"                // 4
                                            "x = foo(a,\n"       // 5
                                            "        b) + bar(c)"); // 6
        HighlightedDocument doc(Mel, text);
        auto partner = [&](int line, int column) {
            const auto position = CodeEditorBlockData::matchingBracket(doc.line(line), column);
            return position.isValid() ? QStringLiteral("%1%2:%3").arg(position.character).arg(position.block.blockNumber()).arg(position.column)
                                      : QString();
        };
        QCOMPARE(partner(0, 9), QStringLiteral("}4:0"));
        QCOMPARE(partner(4, 0), QStringLiteral("{0:9"));
        QCOMPARE(partner(1, 11), QStringLiteral("}3:4"));
        QCOMPARE(partner(0, 6), QStringLiteral(")0:7"));
        QCOMPARE(partner(5, 7), QStringLiteral(")6:9"));
        QCOMPARE(partner(2, 15), QString()); // inside a string: no bracket there
        QCOMPARE(partner(0, 0), QString());

        // The closing bracket nearest before the column whose partner is on an earlier line.
        const auto closed = CodeEditorBlockData::closedFromEarlierLine(doc.line(6), doc.line(6).length() - 1);
        QVERIFY(closed.isValid());
        QCOMPARE(closed.character, QLatin1Char(')'));
        QCOMPARE(closed.column, 9);
        QCOMPARE(closed.partner.block.blockNumber(), 5);
        QCOMPARE(closed.partner.column, 7);
        QVERIFY(!CodeEditorBlockData::closedFromEarlierLine(doc.line(6), 9).isValid());
        QCOMPARE(CodeEditorBlockData::closedFromEarlierLine(doc.line(4), 1).partner.block.blockNumber(), 0);
        QVERIFY(!CodeEditorBlockData::closedFromEarlierLine(doc.line(1), 12).isValid());
    }

    void bracketBalanceForSmartIndent()
    {
        HighlightFixture fixture;
        HighlightedDocument doc(Mel, QStringLiteral("} } x { \"{\""));
        QCOMPARE(doc.data(0)->bracketBalance(QLatin1Char('{'), 4), -2);
        QCOMPARE(doc.data(0)->bracketBalance(QLatin1Char('}'), 100), -1);
    }

    void dataFollowsEdits()
    {
        HighlightFixture fixture;
        HighlightedDocument doc(Python, QStringLiteral("x = (1,\n     2)"));
        QCOMPARE(doc.data(1)->brackets(QLatin1Char(')')), (QVector<Entry>{{6, -1}}));
        QTextCursor cursor(doc.line(0));
        cursor.insertText(QStringLiteral("'''"));
        // Both lines are now a docstring: nothing is code any more.
        QVERIFY(doc.data(0)->brackets(QLatin1Char('(')).isEmpty());
        QVERIFY(doc.data(1)->brackets(QLatin1Char(')')).isEmpty());
        QVERIFY(doc.data(1)->isInString(3));
        QCOMPARE(doc.data(1)->codeText(), QString());
    }
};
KE2_TEST_CLASS(BlockDataTest)

#include "test_block_data.moc"
