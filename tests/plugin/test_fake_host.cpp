#include "tests/support/fake_host.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using ke2::MessageType;
using ke2::test::FakeHost;

// The fake is what most host-facing tests stand on; its scripting must do what it says.
class FakeHostTest : public QObject {
    Q_OBJECT
private slots:
    void answersAndFailures()
    {
        FakeHost host;
        host.answer("about -batch", 0);
        host.answer("name", QString("x"));
        host.setHandler([](FakeHost::Kind, const QString &text) -> std::optional<QVariant> {
            if (text.startsWith("whatIs"))
                return QVariant(QString("Command"));
            return std::nullopt;
        });
        int number = -1;
        QString text;
        QVERIFY(host.executeMelInt("about -batch", number));
        QCOMPARE(number, 0);
        QVERIFY(!host.executeMelInt("name", number)); // type mismatch
        QVERIFY(host.executeMelString("whatIs ls", text));
        QCOMPARE(text, QString("Command"));
        host.fail("whatIs ls");
        QVERIFY(!host.executeMelString("whatIs ls", text));
        QCOMPARE(host.texts(FakeHost::Kind::Mel), (QStringList{"about -batch", "name", "whatIs ls", "whatIs ls"}));
    }

    void idleQueueRunsOnDemandInOrder()
    {
        FakeHost host;
        host.executeMelOnIdle("a;", true);
        host.executePythonOnIdle("b", false);
        QCOMPARE(host.pendingIdleCount(), 2);
        QVERIFY(host.texts().isEmpty());
        host.setIdleRunner([&host](const FakeHost::Command &command) {
            if (command.text == "a;")
                host.executePythonOnIdle("c");
        });
        QCOMPARE(host.runIdle(), 3);
        QCOMPARE(host.texts(), (QStringList{"a;", "b", "c"}));
        QCOMPARE(host.commands().at(0).display, true);
        QCOMPARE(host.commands().at(1).display, false);
    }

    void outputNeedsCallbacksAndIsFramed()
    {
        FakeHost host;
        QStringList lines;
        host.output().setReceiver([&lines](const QString &line) { lines.append(line); });
        host.emitOutput("lost", MessageType::Warning);
        QVERIFY(host.addCallbacks([] {}));
        host.emitOutput("print(1)\n", MessageType::History);
        host.emitOutput("kept", MessageType::Warning);
        QCOMPARE(lines, (QStringList{"print(1)\n", "# Warning: kept #\n"}));
        QVERIFY(host.executePythonQuietly("x") == false);
        QVERIFY(host.commands().last().quiet);
    }
};

KE2_TEST_CLASS(FakeHostTest)
#include "test_fake_host.moc"
