#include "config/color_scheme.h"
#include "editor/code_editor.h"
#include "editor/code_editor_error_bar_overlay.h"
#include "editor/code_editor_line_numbers.h"
#include "tests/editor/editor_test_support.h"
#include "tests/support/test_registry.h"

#include <QtGui/QTextBlock>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QScrollBar>

using namespace ke2;
using ke2::test::makeEditor;

namespace {
QString lines(int count, const QString &first = QStringLiteral("x = 0"))
{
    QStringList list{first};
    for (int i = 1; i < count; ++i)
        list.append(QStringLiteral("x = %1").arg(i));
    return list.join(QLatin1Char('\n'));
}
} // namespace

class CodeEditorDecorationsTest : public QObject {
    Q_OBJECT
private slots:
    void lineNumberWidthGrowsAtHundredLines()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("one line"));
        const int twoDigits = editor->LineNumberAreaWidth();
        editor->setPlainText(lines(99));
        QCOMPARE(editor->LineNumberAreaWidth(), twoDigits);
        editor->setPlainText(lines(100));
        QCOMPARE(editor->LineNumberAreaWidth(), twoDigits + editor->fontMetrics().horizontalAdvance(QLatin1Char('9')));
        QCOMPARE(editor->viewport()->geometry().left(), editor->LineNumberAreaWidth());
        QCOMPARE(editor->LineNumberArea()->sizeHint().width(), editor->LineNumberAreaWidth());
    }

    void guides_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVector<int>>("guides");
        QTest::newRow("indent levels round up") << "a\n    b\n      c\n\tb" << QVector<int>{0, 1, 2, 1};
        QTest::newRow("blank line takes the next line's guides") << "if a:\n        x\n\n        y" << QVector<int>{0, 2, 2, 2};
        QTest::newRow("blank run before an indented line") << "    a\n\n  \n    b" << QVector<int>{1, 1, 1, 1};
        QTest::newRow("blank last line shows none") << "    a\n" << QVector<int>{1, 0};
    }
    void guides()
    {
        QFETCH(QString, text);
        QFETCH(QVector<int>, guides);
        auto editor = makeEditor(LANGUAGE_PYTHON, text);
        QVector<int> actual;
        for (QTextBlock block = editor->document()->begin(); block.isValid(); block = block.next())
            actual.append(editor->GuideCount(block));
        QCOMPARE(actual, guides);
    }

    // Where the matching-selection and matching-braces highlights start.
    void highlights_data()
    {
        QTest::addColumn<QByteArray>("role");
        QTest::addColumn<bool>("wordsOnly");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVector<int>>("starts");
        const QByteArray selection = ColorRoleName::matchingSelection, braces = ColorRoleName::matchingBraces;
        const QString foo = QStringLiteral("^foo| foo_bar foo-bar (foo) xfoo");
        QTest::newRow("words only skips foo_bar, foo-bar and xfoo") << selection << true << foo << QVector<int>{0, 21};
        QTest::newRow("without words only every occurrence") << selection << false << foo << QVector<int>{0, 4, 12, 21, 27};
        QTest::newRow("two-line selection marks nothing") << selection << false << "^foo\nfoo| foo" << QVector<int>{};
        QTest::newRow("blank selection marks nothing") << selection << false << "a^  |b  c" << QVector<int>{};
        QTest::newRow("brace after an opening paren") << braces << false << "f(|a[1])" << QVector<int>{1, 6};
        QTest::newRow("brace before a closing bracket") << braces << false << "f(a[1|])" << QVector<int>{3, 5};
        QTest::newRow("braces across lines") << braces << false << "d = {|\n  1: (2)\n}" << QVector<int>{4, 15};
        QTest::newRow("brackets in strings are not recorded") << braces << false << "f(|')')" << QVector<int>{1, 5};
        QTest::newRow("no partner, no mark") << braces << false << "f(|a" << QVector<int>{};
    }
    void highlights()
    {
        QFETCH(QByteArray, role);
        QFETCH(bool, wordsOnly);
        QFETCH(QString, text);
        QFETCH(QVector<int>, starts);
        ke2::test::SettingsGuard guard;
        Settings::instance().codeEditorMatchedSelectionWordsOnly = wordsOnly;
        auto editor = makeEditor(LANGUAGE_PYTHON, text);
        editor->UpdateExtraSelections();
        QCOMPARE(ke2::test::selectionsWithRole(*editor, role.constData()), starts);
    }

    void marksFollowEditsAndShowOnePriority()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("|a = 1\nb = (\nc = 3"));
        QSignalSpy changed(editor.get(), &CodeEditor::ErrorAndWarningTextChanged);
        editor->SetDiagnostics({{8, 12, QStringLiteral("unclosed")}}, {{6, 7, QStringLiteral("unused")}},
                               {{13, 14, QStringLiteral("TODO")}});
        QCOMPARE(changed.count(), 1);
        QCOMPARE(editor->LineMessage(1), QStringLiteral("unclosed")); // error wins over the warning
        QCOMPARE(editor->LineMessage(2), QStringLiteral("TODO"));
        ke2::test::typeKeys(*editor, QStringLiteral("\n\n")); // every mark moves down with its text
        QCOMPARE(editor->LineMessages(MARK_ERROR).keys(), QList<int>{3});
        QCOMPARE(editor->LineMessages(MARK_WARNING).keys(), QList<int>{3});
        QCOMPARE(editor->LineMessages(MARK_INFORMATION).keys(), QList<int>{4});
        QCOMPARE(editor->Marks(MARK_ERROR).first().start, 10);
        QCOMPARE(editor->ErrorBar()->Marks(MARK_ERROR), QVector<int>{3});
        int waves = 0; // the error and warning underlines
        for (const QTextEdit::ExtraSelection &selection : editor->extraSelections())
            waves += selection.format.underlineStyle() == QTextCharFormat::WaveUnderline;
        QCOMPARE(waves, 2);
    }

    void errorBarCountsWrappedLines()
    {
        ke2::test::SettingsGuard guard;
        auto editor = makeEditor(LANGUAGE_PYTHON, lines(100, QStringLiteral("x = 0").repeated(60)));
        editor->show();
        QVERIFY(QTest::qWaitForWindowExposed(editor.get()));
        CodeEditorErrorBarOverlay *bar = editor->ErrorBar();
        QCOMPARE(bar->parentWidget(), editor->verticalScrollBar());
        QCOMPARE(bar->geometry().right(), editor->verticalScrollBar()->width() - 1);
        QVERIFY(bar->height() > editor->verticalScrollBar()->height() / 2);
        QCOMPARE(bar->TotalLines(), 100);
        Settings::instance().wordWrapEnabled = true;
        editor->UpdateSettings();
        const int wrapped = editor->document()->firstBlock().lineCount();
        QVERIFY(wrapped > 1);
        QCOMPARE(bar->LineOffset(1), wrapped);
        QCOMPARE(bar->TotalLines(), 99 + wrapped);
    }

    void doubleClickDollar_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("selected");
        QTest::newRow("$name selects the dollar") << "$name = 1;" << "$name";
        QTest::newRow("A$name: A is in the class") << "A$name = 1;" << "name";
        QTest::newRow("B$name: most capitals are not") << "B$name = 1;" << "$name";
        QTest::newRow("x$name") << "x$name = 1;" << "name";
    }
    void doubleClickDollar()
    {
        QFETCH(QString, text);
        QFETCH(QString, selected);
        auto editor = makeEditor(LANGUAGE_MEL, text);
        editor->show();
        QVERIFY(QTest::qWaitForWindowExposed(editor.get()));
        QTextCursor at(editor->document());
        at.setPosition(text.indexOf(QLatin1String("name")) + 2);
        QTest::mouseDClick(editor->viewport(), Qt::LeftButton, Qt::NoModifier, editor->cursorRect(at).center());
        QCOMPARE(editor->textCursor().selectedText(), selected);
    }

    void ctrlWheelRequestsFontSize()
    {
        ke2::test::SettingsGuard guard;
        auto editor = makeEditor(LANGUAGE_PYTHON, lines(200));
        QSignalSpy up(editor.get(), &CodeEditor::IncreaseFontSizeRequested);
        QSignalSpy down(editor.get(), &CodeEditor::DecreaseFontSizeRequested);
        auto wheel = [&](int delta, Qt::KeyboardModifiers modifiers) {
            QWheelEvent event(QPointF(10, 10), QPointF(10, 10), QPoint(), QPoint(0, delta), Qt::NoButton, modifiers,
                              Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(editor->viewport(), &event);
        };
        wheel(120, Qt::ControlModifier);
        wheel(-120, Qt::ControlModifier);
        wheel(120, Qt::ControlModifier | Qt::ShiftModifier); // not a zoom
        Settings::instance().codeEditorMouseWheelChangesFontSize = false;
        wheel(120, Qt::ControlModifier);
        QCOMPARE(up.count(), 1);
        QCOMPARE(down.count(), 1);
    }
};
KE2_TEST_CLASS(CodeEditorDecorationsTest)

#include "test_code_editor_decorations.moc"
