#include "tests/support/test_registry.h"
#include "tests/support/window_test.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "output/output_text_edit.h"
#include "output/output_view.h"
#include "overlays/find_replace_widget.h"
#include "shell/kestrel_editor.h"

#include <QtGui/QClipboard>
#include <QtTest/QtTest>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>

#include <memory>

using namespace ke2;
using ke2::test::FakeHost;

// The output panel inside the real window: the window's keys act on it when it has the focus,
// and its header and empty state read as they should.
class WindowOutputTest : public test::WindowTest {
    Q_OBJECT
private:
    OutputView *view() { return m_window->findChild<OutputView *>(); }
    OutputTextEdit *output() { return m_window->findChild<OutputTextEdit *>(); }

private slots:
    // Select All, Copy and Find reach the output when it has the focus, and leave the code
    // editor's text and selection alone.
    void windowKeysActOnTheFocusedOutput()
    {
        QVERIFY(shown());
        CodeEditor *editor = m_window->Group(0)->CodeEditorAt(0);
        editor->setPlainText(QStringLiteral("editor text"));
        m_window->AppendOutput(QStringLiteral("first line\nsecond line\nthird line\n"));
        OutputTextEdit *out = output();
        out->FlushPendingOutput();
        out->setFocus();
        QTRY_VERIFY(out->hasFocus());

        QTest::keyClick(out, Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(out->textCursor().selectedText(), QStringLiteral("first line\u2029second line\u2029third line\u2029"));
        QGuiApplication::clipboard()->clear();
        QTest::keyClick(out, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("first line\nsecond line\nthird line\n"));
        QVERIFY(!editor->textCursor().hasSelection());

        QTest::keyClick(out, Qt::Key_F, Qt::ControlModifier);
        FindReplaceWidget *bar = view()->FindBar();
        QVERIFY(bar && bar->isVisible());
        QVERIFY(!m_window->Group(0)->FindReplace() || !m_window->Group(0)->FindReplace()->isVisible());
        QTRY_VERIFY(bar->FindEdit()->hasFocus());
        bar->FindEdit()->selectAll();
        QTest::keyClicks(bar->FindEdit(), QStringLiteral("line"));
        QCOMPARE(out->textCursor().selectedText(), QStringLiteral("line"));
        QCOMPARE(out->textCursor().selectionStart(), 6);
        QTest::keyClick(bar->FindEdit(), Qt::Key_Return);
        QCOMPARE(bar->CounterText(), QStringLiteral("2 of 3"));
        QTest::keyClick(bar->FindEdit(), Qt::Key_F3);
        QCOMPARE(out->textCursor().selectionStart(), 29);
        QCOMPARE(bar->CounterText(), QStringLiteral("3 of 3"));
        QTest::keyClick(bar->FindEdit(), Qt::Key_Escape);
        QVERIFY(!bar->isVisible());
        QTRY_VERIFY(out->hasFocus());
    }

    // The header reads "OUTPUT"; the empty panel tells how to run code with the keys as bound.
    void headerAndEmptyHint()
    {
        QVERIFY(shown());
        m_window->ClearHistory();
        QLabel *header = view()->Header();
        QVERIFY(header->isVisible());
        QVERIFY(header->width() >= header->fontMetrics().horizontalAdvance(QStringLiteral("OUTPUT")));
        QLabel *hint = view()->EmptyHint();
        QTRY_VERIFY(hint->isVisible());
        QVERIFY2(hint->text().contains(QKeySequence(QStringLiteral("Ctrl+Return")).toString(QKeySequence::NativeText)),
                 qPrintable(hint->text()));
        // Shown whole: as wide as its text or the panel, and tall enough for the lines it wraps to.
        const int textWidth = hint->fontMetrics().horizontalAdvance(hint->text());
        QVERIFY(hint->width() >= std::min(textWidth, output()->viewport()->width() - 12));
        QVERIFY(hint->height() >= hint->heightForWidth(hint->width()));
        m_window->AppendOutput(QStringLiteral("something\n"));
        output()->FlushPendingOutput();
        QVERIFY(!hint->isVisible());
        m_window->ClearHistory();
        QVERIFY(hint->isVisible());
    }
};

KE2_TEST_CLASS(WindowOutputTest)
#include "test_window_output.moc"
