#include "output/output_buffer.h"
#include "tests/output/output_test_support.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using namespace ke2;

// Gathering pieces and inserting them in one step must give exactly the document that inserting
// every piece on its own gives.
class OutputBufferTest : public QObject {
    Q_OBJECT

private slots:
    void sameDocumentAsOneByOne_data()
    {
        QTest::addColumn<QStringList>("pieces");
        QTest::addColumn<int>("limit");
        // Where the queue is handed to the document: after these piece counts (and at the end).
        QTest::addColumn<QVector<int>>("takes");
        // Characters per take (0: everything); the rest stays queued for the next one.
        QTest::addColumn<int>("slice");

        QStringList lines;
        for (int i = 1; i <= 25; ++i)
            lines << QStringLiteral("line %1\n").arg(i);
        QTest::newRow("short run, room to spare") << QStringList(lines.mid(0, 5)) << 10 << QVector<int>{} << 0;
        QTest::newRow("exactly the limit") << QStringList(lines.mid(0, 10)) << 10 << QVector<int>{} << 0;
        QTest::newRow("one past the limit") << QStringList(lines.mid(0, 11)) << 10 << QVector<int>{} << 0;
        QTest::newRow("flood, many times the limit") << lines << 4 << QVector<int>{} << 0;
        QTest::newRow("flood with takes in between") << lines << 4 << QVector<int>{3, 9, 10, 20} << 0;
        QTest::newRow("limit of one line") << QStringList(lines.mid(0, 7)) << 1 << QVector<int>{2, 5} << 0;
        QTest::newRow("pieces without newlines join lines")
            << QStringList{"a", "b\nc", "d", "\n", "e"} << 2 << QVector<int>{1, 3} << 0;
        QTest::newRow("several lines in one piece")
            << QStringList{"a\nb\nc\n", "d\ne", "f\n\n\ng"} << 3 << QVector<int>{1} << 0;
        QTest::newRow("empty pieces") << QStringList{"", "a\n", "", "", "b"} << 5 << QVector<int>{2} << 0;
        QTest::newRow("carriage return pairs and lone ones")
            << QStringList{"a\r\nb\rc\n", "d\r", "\ne", "\r\r\n"} << 20 << QVector<int>{} << 0;
        QTest::newRow("carriage return split across a take")
            << QStringList{"x\r", "\ny\r", "\n"} << 20 << QVector<int>{1} << 0;
        QTest::newRow("paragraph and frame separators")
            << QStringList{QStringLiteral("a\u2029b"), QStringLiteral("\ufdd0c\ufdd1d\n")} << 20 << QVector<int>{} << 0;
        QTest::newRow("only newlines") << QStringList{"\n\n\n\n\n\n\n", "\n"} << 3 << QVector<int>{} << 0;
        QTest::newRow("flood taken in slices") << lines << 4 << QVector<int>{5, 6, 7, 8, 9, 20} << 7;
        QTest::newRow("slices smaller than a line") << QStringList(lines.mid(0, 12)) << 10 << QVector<int>{2, 3, 4} << 3;
        QTest::newRow("the first piece already over the limit")
            << QStringList{"1\n2\n3\n4\n5\n6\n7\n8\n9\n", "tail"} << 3 << QVector<int>{} << 0;
    }

    void sameDocumentAsOneByOne()
    {
        QFETCH(QStringList, pieces);
        QFETCH(int, limit);
        QFETCH(QVector<int>, takes);
        QFETCH(int, slice);

        OutputBuffer buffer;
        buffer.setLineLimit(limit);
        QPlainTextEdit gathered;
        gathered.document()->setMaximumBlockCount(limit);
        auto insert = [&] {
            const OutputBuffer::Chunk chunk = slice ? buffer.take(slice) : buffer.take();
            if (chunk.replacesDocument)
                gathered.document()->clear();
            QTextCursor cursor(gathered.document());
            cursor.movePosition(QTextCursor::End);
            cursor.insertText(chunk.text);
        };
        for (int i = 0; i < pieces.size(); ++i) {
            if (takes.contains(i))
                insert();
            buffer.append(pieces.at(i));
        }
        while (!buffer.isEmpty())
            insert();
        QCOMPARE(gathered.toPlainText(), test::insertedOneByOne(pieces, limit));
        QVERIFY(gathered.document()->blockCount() <= limit);
        QVERIFY(buffer.isEmpty());
    }

    // However much arrives between two insertions, the queue holds no more than the document can
    // show.
    void queueStaysBounded()
    {
        OutputBuffer buffer;
        buffer.setLineLimit(100);
        const QString line = QStringLiteral("0123456789\n");
        for (int i = 0; i < 100000; ++i)
            buffer.append(line);
        QVERIFY2(buffer.size() <= 2 * 100 * line.size() + 1, qPrintable(QString::number(buffer.size())));
        const OutputBuffer::Chunk chunk = buffer.take();
        QVERIFY(chunk.replacesDocument);
        QCOMPARE(chunk.text.count(QLatin1Char('\n')), 100);
    }

    void longLinesAreBroken_data()
    {
        QTest::addColumn<QStringList>("pieces");
        QTest::addColumn<QVector<int>>("lineLengths");
        // The breaks between pieces: "p" a piece break, "n" a line end.
        QTest::addColumn<QString>("breaks");
        const int whole = OutputBuffer::wholeLineLength;
        const int max = OutputBuffer::maximumLineLength;
        const QString x(whole, QLatin1Char('x'));
        QTest::newRow("a line of the whole length stays whole")
            << QStringList{x + QLatin1Char('\n')} << QVector<int>{whole, 0} << "n";
        QTest::newRow("one more character starts a piece") << QStringList{x + QLatin1Char('y')} << QVector<int>{whole, 1}
                                                              << "p";
        QTest::newRow("the rest in pieces")
            << QStringList{x + QString(2 * max + 1, QLatin1Char('y'))} << QVector<int>{whole, max, max, 1} << "ppp";
        QTest::newRow("a line growing over several appends")
            << QStringList{x.left(whole - 1), "yy", QString(max, QLatin1Char('z')), QStringLiteral("z\n")}
            << QVector<int>{whole, max, 2, 0} << "ppn";
        QTest::newRow("the next line starts whole again")
            << QStringList{x + QStringLiteral("y\n") + x} << QVector<int>{whole, 1, whole} << "pn";
        // A surrogate pair straddling the break stays together.
        QTest::newRow("surrogate pair at the break")
            << QStringList{x.left(whole - 1) + QStringLiteral("\U0001F600") + QLatin1Char('a')}
            << QVector<int>{whole + 1, 1} << "p";
    }

    void longLinesAreBroken()
    {
        QFETCH(QStringList, pieces);
        QFETCH(QVector<int>, lineLengths);
        QFETCH(QString, breaks);
        OutputBuffer buffer;
        buffer.setLineLimit(100);
        for (const QString &piece : pieces)
            buffer.append(piece);
        QVector<int> lengths{0};
        QString kinds;
        for (const QChar c : buffer.take().text) {
            if (c == QLatin1Char('\n') || c == QChar(OutputBuffer::pieceBreak)) {
                kinds += c == QLatin1Char('\n') ? QLatin1Char('n') : QLatin1Char('p');
                lengths << 0;
            } else {
                ++lengths.last();
            }
        }
        QCOMPARE(lengths, lineLengths);
        QCOMPARE(kinds, breaks);
    }

    // Only whole lines are pushed out: a line of many more pieces than the bound has lines stays
    // whole, however it arrives.
    void longLineKeepsItsHead_data()
    {
        QTest::addColumn<int>("appends");
        QTest::newRow("in one append") << 1;
        QTest::newRow("in many appends") << 40;
    }

    void longLineKeepsItsHead()
    {
        QFETCH(int, appends);
        OutputBuffer buffer;
        buffer.setLineLimit(1);
        const QString line = QStringLiteral("head") + QString(OutputBuffer::wholeLineLength
                                                              + 20 * OutputBuffer::maximumLineLength, QLatin1Char('x'));
        buffer.append(QStringLiteral("before\n"));
        const int step = int(line.size()) / appends + 1;
        for (int at = 0; at < line.size(); at += step)
            buffer.append(QStringView(line).mid(at, step));
        buffer.append(QStringLiteral("\nafter"));
        QString taken = buffer.take().text;
        taken.remove(QChar(OutputBuffer::pieceBreak));
        QVERIFY(taken.endsWith(line + QStringLiteral("\nafter")));
    }

    // A cleared document starts a fresh line: the count of the old one does not carry over.
    void clearStartsAFreshLine()
    {
        OutputBuffer buffer;
        buffer.append(QString(OutputBuffer::wholeLineLength - 1, QLatin1Char('x')));
        buffer.clear();
        QVERIFY(buffer.isEmpty());
        buffer.append(QStringLiteral("abc"));
        QCOMPARE(buffer.take().text, QStringLiteral("abc"));
    }
};

KE2_TEST_CLASS(OutputBufferTest)
#include "test_output_buffer.moc"
