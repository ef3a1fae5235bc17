#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "plugin/host_bridge.h"
#include "shell/kestrel_editor.h"
#include "tests/support/test_registry.h"
#include "tests/support/window_test.h"
#include "views/status_bar.h"

#include <QtTest/QtTest>

using namespace ke2;
using namespace ke2::test;

// What each execute command sends to the host, by language, selection and cursor line.
class ExecuteRulesTest : public test::WindowTest {
    Q_OBJECT

    CodeEditor *newTab(CodeEditorLanguage language)
    {
        m_window->NewBuffer(language);
        CodeEditor *editor = m_window->ActiveCodeEditor();
        if (editor)
            editor->setFocus();
        return editor;
    }

private slots:
    void init()
    {
        setUpWindow();
        Settings::instance().saveAllOnExecute = false;
        QVERIFY(shown(QSize(900, 700)));
    }

    void sentToTheHost_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("selectFrom"); // -1: no selection, the cursor at the end
        QTest::addColumn<int>("selectTo");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("sent"); // empty: nothing runs
        const int mel = LANGUAGE_MEL, py = LANGUAGE_PYTHON, text = LANGUAGE_TEXT;
        const int sel = KestrelEditor::EXECUTE_SELECTION, line = KestrelEditor::EXECUTE_LINE,
                  all = KestrelEditor::EXECUTE_ALL;
        const int melIdle = int(FakeHost::Kind::MelOnIdle), pyIdle = int(FakeHost::Kind::PythonOnIdle);
        QTest::newRow("no selection runs the whole tab")
            << py << "a = 1\nb = 2" << -1 << -1 << sel << pyIdle << "a = 1\nb = 2";
        QTest::newRow("a selection runs only itself, with its line breaks")
            << py << "a = 1\nb = 2\nc = 3" << 6 << 17 << sel << pyIdle << "b = 2\nc = 3";
        QTest::newRow("execute line strips the indentation")
            << py << "if x:\n    y = 1" << -1 << -1 << line << pyIdle << "y = 1";
        QTest::newRow("execute all ignores the selection")
            << py << "a = 1\nb = 2" << 0 << 5 << all << pyIdle << "a = 1\nb = 2";
        QTest::newRow("a bare MEL variable is printed without an echo")
            << mel << "$myVar" << -1 << -1 << sel << melIdle << "print($myVar); print(\"\\n\")";
        // What else is a bare variable shows in the bridge's own tests.
        QTest::newRow("a second line makes it a statement")
            << mel << "$myVar\n$b" << -1 << -1 << all << melIdle << "$myVar\n$b";
        QTest::newRow("a text tab runs nothing") << text << "print(1)" << -1 << -1 << all << pyIdle << "";
        QTest::newRow("an empty tab runs nothing") << py << "" << -1 << -1 << all << pyIdle << "";
        QTest::newRow("an empty line runs nothing") << py << "a = 1\n   " << -1 << -1 << line << pyIdle << "";
    }
    void sentToTheHost()
    {
        QFETCH(int, language);
        QFETCH(QString, text);
        QFETCH(int, selectFrom);
        QFETCH(int, selectTo);
        QFETCH(int, type);
        QFETCH(int, kind);
        QFETCH(QString, sent);
        CodeEditor *editor = newTab(CodeEditorLanguage(language));
        QVERIFY(editor);
        QTRY_VERIFY(editor->hasFocus());
        editor->setPlainText(text);
        QTextCursor cursor(editor->document());
        if (selectFrom >= 0) {
            cursor.setPosition(selectFrom);
            cursor.setPosition(selectTo, QTextCursor::KeepAnchor);
        } else {
            cursor.movePosition(QTextCursor::End);
        }
        editor->setTextCursor(cursor);
        m_host->clearCommands();
        m_window->Execute(KestrelEditor::ExecuteType(type));
        m_host->runIdle();
        const QStringList all = m_host->texts(FakeHost::Kind::MelOnIdle) + m_host->texts(FakeHost::Kind::PythonOnIdle);
        if (sent.isEmpty()) {
            QVERIFY2(all.isEmpty(), qPrintable(all.join(QLatin1String(" | "))));
            return;
        }
        QCOMPARE(m_host->texts(FakeHost::Kind(kind)), QStringList{sent});
        QCOMPARE(all.size(), 1);
    }

    // A tab's run error mark goes when that tab runs again, and only then.
    void runErrorMarkGoesWhenTheTabRunsAgain()
    {
        CodeEditor *first = newTab(LANGUAGE_PYTHON);
        first->setPlainText(QStringLiteral("x = 1\nraise ValueError"));
        first->SetRunError(1, QStringLiteral("# Error: ValueError: file <maya console> line 2:  #"));
        CodeEditor *second = newTab(LANGUAGE_PYTHON);
        QTRY_VERIFY(second->hasFocus());
        second->setPlainText(QStringLiteral("y = 2"));
        m_window->Execute(KestrelEditor::EXECUTE_ALL);
        QCOMPARE(first->RunErrorLine(), 1);
        for (CodeEditorGroup *group : m_window->findChildren<CodeEditorGroup *>())
            if (group->IndexOf(first) >= 0)
                group->SetCurrentIndex(group->IndexOf(first));
        first->setFocus();
        QTRY_VERIFY(first->hasFocus());
        m_window->Execute(KestrelEditor::EXECUTE_LINE);
        QCOMPARE(first->RunErrorLine(), -1);
    }

    // A MEL run says at once that Esc cannot stop it, and the hint goes when the window is
    // idle again; a Python run, and a host without MEL, show nothing of the kind.
    void melRunHint()
    {
        StatusBar *status = m_window->findChild<StatusBar *>();
        QVERIFY(status);
        CodeEditor *python = newTab(LANGUAGE_PYTHON);
        python->setPlainText(QStringLiteral("x = 1"));
        m_window->Execute(KestrelEditor::EXECUTE_ALL);
        QVERIFY(status->LineMessage() != KestrelEditor::melRunHint());

        CodeEditor *mel = newTab(LANGUAGE_MEL);
        mel->setPlainText(QStringLiteral("polySphere;"));
        m_window->Execute(KestrelEditor::EXECUTE_ALL);
        QCOMPARE(status->LineMessage(), KestrelEditor::melRunHint());
        QTRY_VERIFY_WITH_TIMEOUT(status->LineMessage() != KestrelEditor::melRunHint(),
                                 KestrelEditor::melRunHintMilliseconds + 2000);

        m_host->hasMel = false;
        m_window->Execute(KestrelEditor::EXECUTE_ALL);
        QVERIFY(status->LineMessage() != KestrelEditor::melRunHint());
    }
};

KE2_TEST_CLASS(ExecuteRulesTest)
#include "test_execute_rules.moc"
