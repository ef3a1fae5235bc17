#include "plugin/interrupt_watch.h"
#include "plugin/python_interrupt.h"
#include "tests/support/fake_key_state.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

#include <atomic>
#include <csignal>
#include <thread>

using ke2::InterruptWatch;
using ke2::test::FakeKeyState;

namespace {
std::atomic<int> g_calls{0};
std::atomic<int> g_signal{0};
void countCall() { ++g_calls; }
int setInterruptEx(int signal)
{
    g_signal = signal;
    ++g_calls;
    return 0;
}
void setInterrupt() { ++g_calls; }
} // namespace

class InterruptWatchTest : public QObject {
    Q_OBJECT
private slots:
    void init() { g_calls = 0; g_signal = 0; }

    // Inside a host the function is found in the running process, newest form first.
    void pythonInterruptFoundAtRunTime_data()
    {
        QTest::addColumn<QStringList>("present");
        QTest::addColumn<int>("signal"); // -1: nothing found
        QTest::newRow("both: the form with a signal") << QStringList{"PyErr_SetInterruptEx", "PyErr_SetInterrupt"} << int(SIGINT);
        QTest::newRow("older Python") << QStringList{"PyErr_SetInterrupt"} << 0;
        QTest::newRow("no Python at all") << QStringList{} << -1;
    }
    void pythonInterruptFoundAtRunTime()
    {
        QFETCH(QStringList, present);
        QFETCH(int, signal);
        QStringList asked;
        const auto interrupt = ke2::findPythonInterrupt([&](const char *name) -> void * {
            asked.append(name);
            if (!present.contains(name))
                return nullptr;
            return qstrcmp(name, "PyErr_SetInterruptEx") == 0 ? reinterpret_cast<void *>(&setInterruptEx)
                                                                : reinterpret_cast<void *>(&setInterrupt);
        });
        QVERIFY(!asked.isEmpty());
        if (signal < 0) {
            QVERIFY(!interrupt);
            QVERIFY(ke2::pythonInterruptMissingMessage().contains("PyErr_SetInterrupt"));
            return;
        }
        QVERIFY(interrupt);
        interrupt();
        QCOMPARE(g_calls.load(), 1);
        QCOMPARE(g_signal.load(), signal);
        // This test program embeds an interpreter, so the process itself has one.
        QVERIFY(ke2::findPythonInterrupt());
    }

    // For runs the host starts on its own later (Maya's idle queue): only a press while this
    // thread is busy interrupts, and the watch ends once the thread answers events again.
    void untilIdleInterruptsOnlyWhileBusy()
    {
        auto keyboard = std::make_shared<FakeKeyState>(QVector<int>{100, 700});
        InterruptWatch watch(FakeKeyState::factory(keyboard));
        watch.setInterrupt(countCall);
        watch.startUntilIdle({}, 1500);
        QVERIFY(watch.isRunning());
        QTest::qWait(400); // answering events: the first press does nothing
        QCOMPARE(watch.interrupts(), 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(600)); // busy, as running a script
        QCOMPARE(watch.interrupts(), 1);
        QTRY_COMPARE(g_calls.load(), 1); // delivered on this thread once it runs again
        QTRY_VERIFY_WITH_TIMEOUT(!watch.isRunning(), 5000);
    }

    void nothingWithoutAKeyboardOrAnInterrupt()
    {
        InterruptWatch none([] { return std::unique_ptr<ke2::KeyStateSource>(); });
        none.setInterrupt(countCall);
        none.start({});
        QVERIFY(!none.isRunning());
        InterruptWatch unset(FakeKeyState::factory(std::make_shared<FakeKeyState>(QVector<int>{0})));
        unset.start({});
        QVERIFY(!unset.isRunning());
    }
};

KE2_TEST_CLASS(InterruptWatchTest)
#include "test_interrupt_watch.moc"
