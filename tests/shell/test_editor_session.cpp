#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"
#include "tests/support/window_test.h"

#include "app/python_host.h"
#include "config/settings.h"
#include "groups/code_editor_group.h"
#include "plugin/host_bridge.h"
#include "shell/editor_session.h"
#include "shell/kestrel_editor.h"

#include <QtCore/QPointer>
#include <QtTest/QtTest>

#include <memory>

using namespace ke2;
using ke2::test::FakeHost;

// The session as the programs run it: start-up, the window from the real construction point,
// the host command's flags, and the teardown that runs at the host's exit or when the
// standalone window closes.
class EditorSessionTest : public test::WindowTest {
    Q_OBJECT
private:
    QTemporaryDir m_files;

    QString writeFile(const QString &name, const QByteArray &text)
    {
        const QString path = m_files.filePath(name);
        return test::writeFile(path, text) ? path : QString();
    }

private slots:
    // What the window says while it closes at the host's exit (a failing save, say) still
    // reaches its output.
    void theWindowCanStillPrintWhileItClosesDown()
    {
        EditorSession session;
        QStringList received;
        QPointer<QWidget> widget;
        session.setWindowFactory([&] {
            EditorWindow window;
            window.widget = widget = new QWidget;
            window.appendOutput = [&received](const QString &text) { received.append(text); };
            window.tearDown = [] { HostBridge::showError(QStringLiteral("Failed to open file for save: x")); };
            return window;
        });
        QCOMPARE(session.startUp(*m_host), EditorSession::StartResult::Started);
        QVERIFY(session.show());
        m_host->fireQuit();
        QVERIFY(!widget);
        QCOMPARE(received, QStringList{"// Error: [KestrelEditor2] Failed to open file for save: x //\n"});
        // Once the window is gone nothing is handed to it any more.
        m_host->displayError(QStringLiteral("late"));
        QCOMPARE(received.size(), 1);
        session.shutDown();
    }

    // The open-file flag never reports success for a file it did not open.
    void openFileWithoutAWindowThatOpensFilesFails()
    {
        const QString path = writeFile("a.py", "print(1)\n");
        EditorSession session;
        session.setWindowFactory([] {
            EditorWindow window;
            window.widget = new QWidget; // a window that cannot open files
            return window;
        });
        QCOMPARE(session.startUp(*m_host), EditorSession::StartResult::Started);
        QVERIFY(!session.openFile(path)); // no window yet
        QVERIFY(session.show());
        m_host->clearCommands();
        QVERIFY(!session.openFile(path));
        QCOMPARE(m_host->texts(FakeHost::Kind::Error),
                 QStringList{"[KestrelEditor2] Kestrel Editor 2 GUI has not been initialized."});
        session.shutDown();
    }

    void theRealWindowOpensFilesAndTearsDownOnce_data()
    {
        QTest::addColumn<bool>("python");
        QTest::newRow("scripted host") << false;
        QTest::newRow("embedded Python host") << true;
    }
    void theRealWindowOpensFilesAndTearsDownOnce()
    {
        QFETCH(bool, python);
        std::unique_ptr<PythonHost> pythonHost;
        Host *host = m_host.get();
        if (python) {
            pythonHost = std::make_unique<PythonHost>(m_prefs->root());
            host = pythonHost.get();
        }
        const QString mel = writeFile("tool.mel", "global proc tool() {}\n");
        const QString script = writeFile("tool.py", "def tool():\n    pass\n");

        EditorSession session;
        int tearDowns = 0;
        session.setWindowFactory([&tearDowns] {
            EditorWindow window = createEditorWindow();
            auto tearDown = window.tearDown;
            window.tearDown = [&tearDowns, tearDown] {
                ++tearDowns;
                tearDown();
            };
            return window;
        });
        QCOMPARE(session.startUp(*host), EditorSession::StartResult::Started);
        QVERIFY(session.show());
        QPointer<KestrelEditor> window = qobject_cast<KestrelEditor *>(session.window());
        QVERIFY(window && window->isVisible() && window->isWindow());
        QVERIFY(window->width() >= 400 && window->height() >= 300);
        QVERIFY(session.openFile(mel));
        QVERIFY(session.openFile(script));
        QVERIFY(session.openFile(script)); // already open: made current, not opened twice
        CodeEditorGroup *group = window->Group(0);
        QCOMPARE(group->Count(), 4); // the first start's MEL and Python buffers, then the files
        QCOMPARE(group->Record(2).path, mel);
        QCOMPARE(group->Record(3).path, script);
        QCOMPARE(group->Record(3).language, LANGUAGE_PYTHON);
        QCOMPARE(group->CurrentIndex(), 3);
        QCOMPARE(window->windowTitle(), QString("tool.py - Kestrel Editor 2"));

        // The standalone program: closing the window ends the event loop, then the session
        // shuts down. A quit from the host afterwards finds nothing left to tear down.
        window->close();
        QCOMPARE(session.shutDown(), EditorSession::StopResult::Stopped);
        QVERIFY(!window);
        QCOMPARE(tearDowns, 1);
        session.tearDownGui();
        QCOMPARE(tearDowns, 1);

        // The teardown wrote the session to the settings file: the two buffers and both files
        // come back next time.
        Settings::instance() = Settings();
        Settings::instance().read();
        const QStringList tabs = Settings::instance().tabDetails;
        QCOMPARE(tabs.size(), 4);
        QVERIFY(tabs.at(0).startsWith("0;0;melBuffer_"));
        QVERIFY(tabs.at(1).startsWith("0;0;pythonBuffer_"));
        QVERIFY(tabs.at(2).startsWith("0;1;" + mel + ";0;"));
        QVERIFY(tabs.at(3).startsWith("0;1;" + script + ";1;"));
        HostBridge::setHost(nullptr);
    }
};

KE2_TEST_CLASS(EditorSessionTest)
#include "test_editor_session.moc"
