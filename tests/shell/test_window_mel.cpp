#include "tests/support/fake_mel_commands.h"
#include "tests/support/test_registry.h"
#include "tests/support/window_test.h"

#include "config/color_scheme.h"
#include "config/settings.h"
#include "editor/code_editor.h"
#include "language/auto_completer.h"
#include "language/mel_auto_completer.h"
#include "language/mel_command_catalog.h"
#include "shell/kestrel_editor.h"
#include "views/problems_view.h"
#include "views/status_bar.h"

#include <QtTest/QtTest>
#include <QtWidgets/QListView>
#include <QtWidgets/QMenu>

#include <memory>

using namespace ke2;
using ke2::test::FakeHost;

// MEL help in the real window, with a host that knows three commands: flag completion, signature
// help in the status bar and the linter's warnings.
class WindowMelTest : public test::WindowTest {
    Q_OBJECT
private:
    CodeEditor *melEditor()
    {
        if (!shown())
            return nullptr;
        m_window->NewMelBuffer();
        CodeEditor *editor = m_window->ActiveCodeEditor();
        if (!editor || editor->Language() != LANGUAGE_MEL)
            return nullptr;
        editor->setFocus();
        return editor;
    }
    AutoCompleter *popup(CodeEditor *editor) { return editor->findChild<AutoCompleter *>(); }

private slots:
    void init()
    {
        setUpWindow();
        test::teachMelCommands(*m_host, {"polyCube", "ls", "setAttr"});
        MelCommandCatalog::instance().Reset();
        MelAutoCompleter::ReloadSharedModel();
    }
    void cleanup()
    {
        m_window.reset();
        MelCommandCatalog::instance().Reset();
        tearDownWindow();
        MelAutoCompleter::ReloadSharedModel();
    }

    void flagsAreCompletedAfterACommand()
    {
        CodeEditor *editor = melEditor();
        QVERIFY(editor);
        QTest::keyClicks(editor, "polyCube -s");
        QTRY_VERIFY(popup(editor) && popup(editor)->isVisible());
        QCOMPARE(popup(editor)->VisibleCandidates(),
                 (QStringList{"-subdivisionsDepth  -sd", "-subdivisionsHeight  -sh", "-subdivisionsWidth  -sw",
                              "-subdivisionsX  -sx", "-subdivisionsY  -sy", "-subdivisionsZ  -sz"}));
        // Typed on in its short form, the flag is completed in that form.
        QTest::keyClick(popup(editor)->ListView(), Qt::Key_X);
        QCOMPARE(popup(editor)->VisibleCandidates(), QStringList{"-subdivisionsX  -sx"});
        QTest::keyClick(popup(editor)->ListView(), Qt::Key_Return);
        QCOMPARE(editor->toPlainText(), QString("polyCube -sx"));
        // The long form, and the flags already given come last.
        QTest::keyClicks(editor, " 2 -subdivisionsW");
        QTRY_VERIFY(popup(editor)->isVisible());
        QTest::keyClick(popup(editor)->ListView(), Qt::Key_Return);
        QCOMPARE(editor->toPlainText(), QString("polyCube -sx 2 -subdivisionsWidth"));
        QTest::keyClicks(editor, " 1 -");
        QTRY_VERIFY(popup(editor)->isVisible());
        const QStringList all = popup(editor)->VisibleCandidates();
        QCOMPARE(all.size(), 15);
        QCOMPARE(all.mid(13), (QStringList{"-subdivisionsWidth  -sw", "-subdivisionsX  -sx"}));
        QTest::keyClick(popup(editor)->ListView(), Qt::Key_Escape);
        // Not after an unknown word, nor in an expression.
        QTest::keyClicks(editor, "1;");
        QTest::keyClick(editor, Qt::Key_Return);
        QTest::keyClicks(editor, "polyCub -");
        QVERIFY(!popup(editor)->isVisible());
        QTest::keyClicks(editor, "1;");
        QTest::keyClick(editor, Qt::Key_Return);
        QTest::keyClicks(editor, "$a = $b -s");
        QVERIFY(!popup(editor)->isVisible());
    }

    void unknownFlagIsAWarningWithSignatureHelpBeside()
    {
        CodeEditor *editor = melEditor();
        QVERIFY(editor);
        Settings::instance().melCompleteOnLetters = false; // plain typing here
        QTest::keyClicks(editor, "polyCube -sx 2 -foo 1;");
        QTRY_COMPARE(editor->Marks(MARK_WARNING).size(), 1);
        QCOMPARE(editor->LineMessages(MARK_WARNING).value(0), QString("Command polyCube has no flag -foo"));
        QVERIFY(editor->Marks(MARK_ERROR).isEmpty());
        // Underlined in the warnings' colour under the flag itself, never in the errors'.
        QStringList underlined;
        for (const QTextEdit::ExtraSelection &selection : editor->extraSelections()) {
            const QColor colour = selection.format.underlineColor();
            if (selection.format.underlineStyle() == QTextCharFormat::NoUnderline)
                continue;
            underlined << QStringLiteral("%1 %2")
                              .arg(selection.cursor.selectedText(),
                                   colour == ColorScheme::warningFormat().underlineColor() ? "warning"
                                   : colour == ColorScheme::errorFormat().underlineColor() ? "error"
                                                                                           : colour.name());
        }
        QCOMPARE(underlined, QStringList{"-foo warning"});
        // View > Problems lists it under the buffer, with its line.
        QAction *problemsAction = nullptr;
        for (QMenu *menu : m_window->findChildren<QMenu *>()) {
            if (menu->title().remove('&') != QLatin1String("View"))
                continue;
            for (QAction *action : menu->actions()) {
                if (action->text().remove('&') == QLatin1String("Problems"))
                    problemsAction = action;
            }
        }
        QVERIFY(problemsAction);
        problemsAction->trigger();
        ProblemsView *problems = m_window->Problems();
        QVERIFY(problems && problems->isVisible());
        QTRY_COMPARE(problems->Texts(), (QStringList{QStringLiteral("%1 (1)").arg(editor->DisplayName()),
                                                     "  Ln 1  Command polyCube has no flag -foo"}));

        // On a known flag the status bar shows its argument types; elsewhere on the line, the
        // warning.
        QTextCursor cursor = editor->textCursor();
        cursor.setPosition(11);
        editor->setTextCursor(cursor);
        QTRY_COMPARE(m_window->GetStatusBar()->LineMessage(), QString("-subdivisionsX (-sx) Int"));
        cursor.setPosition(3);
        editor->setTextCursor(cursor);
        QTRY_COMPARE(m_window->GetStatusBar()->LineMessage(), QString("Command polyCube has no flag -foo"));
        // Switched off in the preferences, the checks leave the buffer alone.
        Settings::instance().melLintEnabled = false;
        QTest::keyClicks(editor, " ");
        QTRY_COMPARE(editor->Marks(MARK_WARNING).size(), 0);
    }
};

KE2_TEST_CLASS(WindowMelTest)
#include "test_window_mel.moc"
