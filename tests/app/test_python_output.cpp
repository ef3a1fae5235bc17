#include "app/python_output.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

#include <thread>
#include <vector>

using ke2::LineAssembler;
using ke2::ThreadOutputQueue;

class PythonOutputTest : public QObject {
    Q_OBJECT
private slots:
    void lines_data()
    {
        QTest::addColumn<QStringList>("writes");
        QTest::addColumn<int>("longest");
        QTest::addColumn<QStringList>("lines"); // the last one comes from finish()
        QTest::newRow("one write, several lines") << QStringList{"a\nb\nc"} << 10 << QStringList{"a", "b", "c"};
        QTest::newRow("a line from many writes") << QStringList{"a", "b", "\rc", "\n"} << 10 << QStringList{"ab\rc"};
        QTest::newRow("empty lines kept") << QStringList{"\n\n", "x\n"} << 10 << QStringList{"", "", "x"};
        QTest::newRow("newline first") << QStringList{"ab", "\ncd"} << 10 << QStringList{"ab", "cd"};
        QTest::newRow("long line leaves in pieces") << QStringList{"abcd", "efghij\nk"} << 4
                                                    << QStringList{"abcd", "efgh", "ij", "k"};
        QTest::newRow("exactly the limit") << QStringList{"abcd\n"} << 4 << QStringList{"abcd"};
        QTest::newRow("nothing") << QStringList{""} << 4 << QStringList{};
    }
    void lines()
    {
        QFETCH(QStringList, writes);
        QFETCH(int, longest);
        QFETCH(QStringList, lines);
        LineAssembler assembler(longest);
        QStringList out;
        const auto sink = [&out](const QString &line) { out.append(line); };
        for (const QString &text : writes)
            assembler.append(text, sink);
        assembler.finish(sink);
        QCOMPARE(out, lines);
        QVERIFY(assembler.isEmpty());
    }

    void queueJoinsDisplayTextAndWakesOnce()
    {
        ThreadOutputQueue queue;
        QVERIFY(queue.push(1, "a", 1));
        QVERIFY(!queue.push(1, "b\n", 1));
        QVERIFY(!queue.push(4, "err", 1));
        QVERIFY(!queue.push(4, "err2", 1));
        QVERIFY(!queue.push(1, "c", 1));
        const std::deque<ThreadOutputQueue::Message> taken = queue.take();
        QStringList seen;
        for (const auto &message : taken)
            seen.append(QString::number(message.type) + ":" + message.text);
        QCOMPARE(seen, (QStringList{"1:ab\n", "4:err", "4:err2", "1:c"}));
        QVERIFY(queue.isEmpty());
        QVERIFY(queue.push(1, "again", 1)); // the next push after a take wakes again
    }

    void queueKeepsEveryThreadsOrder()
    {
        ThreadOutputQueue queue;
        constexpr int threads = 4, lines = 20000;
        std::vector<std::thread> writers;
        for (int t = 0; t < threads; ++t)
            writers.emplace_back([&queue, t] {
                for (int i = 0; i < lines; ++i)
                    queue.push(1, QStringLiteral("%1 %2\n").arg(t).arg(i), 1);
            });
        for (std::thread &writer : writers)
            writer.join();
        QVector<int> next(threads, 0);
        int chunks = 0;
        for (const auto &message : queue.take()) {
            QVERIFY(message.text.size() <= ke2::kOutputChunk);
            ++chunks;
            for (const QString &line : message.text.split('\n', Qt::SkipEmptyParts)) {
                const QStringList parts = line.split(' ');
                const int t = parts[0].toInt();
                QCOMPARE(parts[1].toInt(), next[t]++);
            }
        }
        QCOMPARE(next, QVector<int>(threads, lines));
        QVERIFY2(chunks < threads * lines / 100, qPrintable(QString::number(chunks)));
    }
};

KE2_TEST_CLASS(PythonOutputTest)
#include "test_python_output.moc"
