#include "plugin/command_output.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using ke2::CommandOutput;
using ke2::MessageType;

namespace {
struct Message {
    int type;
    QString text;
};
} // namespace
Q_DECLARE_METATYPE(QVector<Message>)

class CommandOutputTest : public QObject {
    Q_OBJECT
private slots:
    void framing_data()
    {
        QTest::addColumn<QVector<Message>>("messages");
        QTest::addColumn<bool>("minimalTrace");
        QTest::addColumn<QStringList>("expected");
        const int H = 0, D = 1, I = 2, W = 3, E = 4, R = 5;
        // Echo, warning, stack trace and result framing show in the plug-in's own tests.
        QTest::newRow("a MEL echo after a Python one switches back to //")
            << QVector<Message>{{H, "print(1)\n"}, {H, "ls;\n"}, {W, "careful"}} << false
            << QStringList{"print(1)\n", "ls;\n", "// Warning: careful //\n"};
        QTest::newRow("display text switches the frame too")
            << QVector<Message>{{D, "hi"}, {E, "bad"}} << false
            << QStringList{"hi", "# Error: bad #\n"};
        QTest::newRow("display ending in a semicolon line is MEL-like")
            << QVector<Message>{{D, "hi"}, {D, "x;\n"}, {R, "3"}} << false
            << QStringList{"hi", "x;\n", "// Result: 3 //\n"};
        QTest::newRow("info and result lines")
            << QVector<Message>{{H, "1+2\n"}, {I, "note"}, {R, "3"}} << false
            << QStringList{"1+2\n", "# note #\n", "# Result: 3 #\n"};
        QTest::newRow("minimal trace drops echoes but still follows their language")
            << QVector<Message>{{H, "print(1)\n"}, {D, "1\n"}, {W, "w"}} << true
            << QStringList{"1\n", "# Warning: w #\n"};
        QTest::newRow("unknown kinds pass unchanged")
            << QVector<Message>{{9, "raw"}, {-1, "raw2"}} << false << QStringList{"raw", "raw2"};
        QTest::newRow("placeholders in the text stay literal")
            << QVector<Message>{{E, "%1 and %2"}} << false << QStringList{"// Error: %1 and %2 //\n"};
    }
    void framing()
    {
        QFETCH(QVector<Message>, messages);
        QFETCH(bool, minimalTrace);
        QFETCH(QStringList, expected);
        CommandOutput output;
        QStringList received;
        output.setReceiver([&received](const QString &text) { received.append(text); });
        output.setMinimalTrace(minimalTrace);
        for (const Message &message : messages)
            output.deliver(message.text, message.type);
        QCOMPARE(received, expected);
    }

    void quietNoReceiverAndDiscard()
    {
        CommandOutput output;
        output.deliver("print(1)\n", MessageType::History); // nobody receives: the frame stays as it was
        QCOMPARE(output.commentPrefix(), QString("//"));
        QStringList received;
        output.setReceiver([&received](const QString &text) { received.append(text); });
        {
            CommandOutput::QuietScope quiet(output);
            output.deliver("internal\n", MessageType::Display);
        }
        output.deliver("shown\n", MessageType::Display);
        output.setDiscard(true);
        output.deliver("gone", MessageType::Error);
        QCOMPARE(received, (QStringList{"shown\n", QString()}));
    }
};

KE2_TEST_CLASS(CommandOutputTest)
#include "test_command_output.moc"
