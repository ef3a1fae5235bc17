#include "editor/text_search.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using namespace ke2;

namespace {

QRegularExpression pattern(const QString &find, bool regex)
{
    return TextSearch::BuildRegularExpression(find, true, false, regex);
}

// Matches as "start+length ...", the form the tables below are written in.
QString spans(const QVector<TextMatch> &matches)
{
    QStringList list;
    for (const TextMatch &match : matches)
        list << QStringLiteral("%1+%2").arg(match.start).arg(match.length);
    return list.join(QLatin1Char(' '));
}

} // namespace

class TextSearchTest : public QObject {
    Q_OBJECT
private slots:
    // Every match, line by line, within a range whose lines are seen whole.
    void findsEveryMatch_data()
    {
        QTest::addColumn<QString>("find");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to"); // -1: the end
        QTest::addColumn<QString>("found");
        QTest::newRow("line starts, the empty last line too") << "^" << "a\nb\n" << 0 << -1 << "0+0 2+0 4+0";
        QTest::newRow("line ends") << "$" << "a\nb\n" << 0 << -1 << "1+0 3+0 4+0";
        QTest::newRow("blank lines") << "^$" << "a\n\nb\n\n" << 0 << -1 << "2+0 5+0 6+0";
        QTest::newRow("word boundaries") << "\\b" << "ab cd" << 0 << -1 << "0+0 2+0 3+0 5+0";
        QTest::newRow("lookahead") << "(?=foo)" << "foofoo" << 0 << -1 << "0+0 3+0";
        QTest::newRow("no empty match where one ended") << "x*" << "abxd" << 0 << -1 << "0+0 1+0 2+1 4+0";
        QTest::newRow("an empty line in an empty text") << "^" << "" << 0 << -1 << "0+0";
        QTest::newRow("a match never spans lines") << "a\\s+b" << "a\nb a  b" << 0 << -1 << "4+4";
        QTest::newRow("nor does an escaped line break") << QRegularExpression::escape("FOO\n_") << "FOO\n_" << 0 << -1 << "";
        QTest::newRow("a negated class stops at the line end") << "\"[^\"]*\"" << "\"a\n\"b\"" << 0 << -1 << "3+3";
        QTest::newRow("line ends before CR LF") << "c$" << "abc\r\nabc" << 0 << -1 << "2+1 7+1";
        QTest::newRow("CR LF: no match takes the CR") << "3." << "3\r\n3x" << 0 << -1 << "3+2";
        QTest::newRow("CR LF: no empty match inside the line end") << " *" << "a\r\nb" << 0 << -1 << "0+0 1+0 3+0 4+0";
        QTest::newRow("groups, one a line") << "node_(\\d+)" << "node_1 x\nnode_22\n" << 0 << -1 << "0+6 9+7";
        QTest::newRow("lookbehind at a line start") << "(?<!\\s)b" << "a\nb" << 0 << -1 << "2+1";
        // A selection from offset 1: anchors and boundaries still see the line's start.
        QTest::newRow("selection: ^ is not its start") << "^foo(\\d)" << "xfoo1 foo2" << 1 << -1 << "";
        QTest::newRow("selection: matches inside it") << "foo(\\d)" << "xfoo1 foo2" << 1 << -1 << "1+4 6+4";
        QTest::newRow("selection: word boundary") << "\\bfoo" << "xfoo1 foo2" << 1 << -1 << "6+3";
        QTest::newRow("selection: lookbehind before it") << "(?<=x)foo" << "xfoo1 foo2" << 1 << -1 << "1+3";
        QTest::newRow("selection: a match past its end") << "foo\\d" << "foo1 foo2" << 0 << 7 << "0+4";
        QTest::newRow("selection: line ends inside") << "$" << "a\nb\nc" << 0 << 3 << "1+0 3+0";
        QTest::newRow("selection: not the line after") << "^" << "a\nb\nc" << 0 << 4 << "0+0 2+0";
        QTest::newRow("plain text: whole words see the line") << "\\bfoo\\b" << "xfoo foo" << 1 << -1 << "5+3";
    }
    void findsEveryMatch()
    {
        QFETCH(QString, find);
        QFETCH(QString, text);
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QString, found);
        const TextSearch search(pattern(find, true));
        QVector<TextMatch> matches;
        QVERIFY(search.FindAll(text, from, to < 0 ? text.size() : to, matches));
        QCOMPARE(spans(matches), found);
    }

    // A NUL typed before a digit is that NUL and that digit, for the engine as for the plain scan.
    void plainNulBeforeADigit()
    {
        const QString find = QString(QChar(0)) + QLatin1Char('0');
        const QString text = QString(QChar(0)) + find;
        const QRegularExpression regex = TextSearch::BuildRegularExpression(find, true, false, false);
        QCOMPARE(regex.match(text).capturedStart(), 1);
        QVector<TextMatch> matches;
        QVERIFY(TextSearch(regex).FindAll(text, 0, int(text.size()), matches));
        QCOMPARE(spans(matches), QString("1+2"));
    }

    // The same matches whether the pattern runs over the whole text at once or line by line.
    void searchesAtOnceOnlyWhereLinesCannotMeet_data()
    {
        QTest::addColumn<QString>("find");
        QTest::addColumn<bool>("atOnce");
        QTest::newRow("groups and digits") << "value_(\\d+) =" << true;
        QTest::newRow("named group, line end") << "(?<n>\\w+);$" << true;
        QTest::newRow("class with ] first") << "[]a]+" << true;
        QTest::newRow("line start") << "^\\w" << false;
        QTest::newRow("white space") << "a\\sb" << false;
        QTest::newRow("negated class") << "[^a]" << false;
        QTest::newRow("lookaround") << "(?=a)" << false;
        QTest::newRow("class escape") << "[\\s]" << false;
        QTest::newRow("inline option") << "(?s)a.b" << false;
    }
    void searchesAtOnceOnlyWhereLinesCannotMeet()
    {
        QFETCH(QString, find);
        QFETCH(bool, atOnce);
        QCOMPARE(TextSearch(pattern(find, true)).SearchesAtOnce(), atOnce);
    }

    // The replace text as a template with regular expressions, as it is without.
    void replacesEveryMatch_data()
    {
        QTest::addColumn<QString>("find");
        QTest::addColumn<bool>("regex");
        QTest::addColumn<QString>("replace");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("replaced");
        QTest::newRow("groups") << "(\\w+)=(\\w+)" << true << "\\2=\\1" << "a=b\nc=d" << "b=a\nd=c";
        QTest::newRow("a backslash before a digit") << "(\\d)" << true << "\\\\1" << "1 2" << "\\1 \\1";
        QTest::newRow("a backslash then a group") << "(\\d)" << true << "\\\\\\1" << "1 2" << "\\1 \\2";
        QTest::newRow("newline and tab") << "," << true << "\\n\\t" << "a,b" << "a\n\tb";
        QTest::newRow("the whole match") << "b+" << true << "<$0|\\0>" << "abb b" << "a<bb|bb> <b|b>";
        QTest::newRow("a group that is not there") << "a" << true << "\\2$1" << "a" << "\\2$1";
        QTest::newRow("a group that did not take part") << "a(x)?" << true << "[\\1]" << "ax a" << "[x] []";
        QTest::newRow("insert at each line start") << "^" << true << "# " << "a\n\nb" << "# a\n# \n# b";
        QTest::newRow("empty matches between characters") << "x*" << true << "-" << "abxd" << "-a-b-d-";
        QTest::newRow("plain text keeps backslashes") << "x" << false << "\\1\\n$0" << "x" << "\\1\\n$0";
        QTest::newRow("plain text found by a pattern") << "x" << true << "[$0]" << "x x" << "[x] [x]";
    }
    void replacesEveryMatch()
    {
        QFETCH(QString, find);
        QFETCH(bool, regex);
        QFETCH(QString, replace);
        QFETCH(QString, text);
        QFETCH(QString, replaced);
        const ReplaceAllOutcome outcome = ReplaceAllIn(text, pattern(find, regex), replace, regex);
        QVERIFY(outcome.complete);
        QCOMPARE(outcome.text, replaced);
    }

    // A pattern that backtracks without end makes the engine give up on a line: the search says
    // it is not complete, and still finds the matches on the other lines.
    void saysWhenTheEngineGivesUp_data()
    {
        QTest::addColumn<QString>("find");
        QTest::newRow("searched at once") << "(a+)+$";
        QTest::newRow("line by line") << "(?:a+)+$";
    }
    void saysWhenTheEngineGivesUp()
    {
        QFETCH(QString, find);
        const QString text = QStringLiteral("aa\n") + QString(5000, QLatin1Char('a')) + QStringLiteral("b\naaa");
        QVector<TextMatch> matches;
        QVERIFY(!TextSearch(pattern(find, true)).FindAll(text, matches));
        QCOMPARE(spans(matches), QStringLiteral("0+2 5005+3"));
    }
};

KE2_TEST_CLASS(TextSearchTest)
#include "test_text_search.moc"
