#include "plugin/command_output.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using ke2::CommandOutput;
using ke2::MessageType;

// The framing itself shows through the shim-loaded plug-in and the real interpreter.
class CommandOutputTest : public QObject {
    Q_OBJECT
private slots:
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

    // The standalone program's start-up messages come before anything can show them.
    void keptUntilReceiver()
    {
        CommandOutput output;
        output.setKeepUntilReceiver(true);
        output.deliver("no folder", MessageType::Error);
        {
            CommandOutput::QuietScope quiet(output);
            output.deliver("internal", MessageType::Error);
        }
        output.deliver("print(1)\n", MessageType::History);
        output.deliver("late", MessageType::Warning);
        QStringList received;
        output.setReceiver([&received](const QString &text) { received.append(text); });
        output.deliver("now", MessageType::Info);
        // Framed as they would have been on arrival, and each delivered once.
        QCOMPARE(received, (QStringList{"// Error: no folder //\n", "print(1)\n", "# Warning: late #\n", "# now #\n"}));
        output.setReceiver(nullptr);
        output.deliver("after", MessageType::Error);
        output.setReceiver([&received](const QString &text) { received.append(text); });
        QCOMPARE(received.last(), QString("# Error: after #\n"));
    }
};

KE2_TEST_CLASS(CommandOutputTest)
#include "test_command_output.moc"
