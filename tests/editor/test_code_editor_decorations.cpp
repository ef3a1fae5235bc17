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
// Extra selections drawn with a role's background.
int selectionsWithBackground(const CodeEditor &editor, const char *role, QStringList *texts = nullptr)
{
    const QColor background =
        ColorScheme::instance().codeEditorRoles.format(QString::fromLatin1(role)).background().color();
    int count = 0;
    for (const QTextEdit::ExtraSelection &selection : editor.extraSelections()) {
        if (selection.format.hasProperty(QTextFormat::BackgroundBrush)
            && selection.format.background().color() == background && selection.cursor.hasSelection()) {
            ++count;
            if (texts)
                texts->append(QString::number(selection.cursor.selectionStart()));
        }
    }
    return count;
}

QString lines(int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list.append(QStringLiteral("x = %1").arg(i));
    return list.join(QLatin1Char('\n'));
}
} // namespace

class CodeEditorDecorationsTest : public QObject {
    Q_OBJECT
private slots:
    void lineNumberWidthGrowsAtHundredLines()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QString());
        const int w9 = editor->fontMetrics().horizontalAdvance(QLatin1Char('9'));
        const int gutter = std::clamp(2 * w9, 10, 18);
        QCOMPARE(editor->GutterWidth(), gutter);
        editor->setPlainText(QStringLiteral("one line"));
        QCOMPARE(editor->LineNumberAreaWidth(), gutter + 2 * w9 + 7);
        editor->setPlainText(lines(99));
        QCOMPARE(editor->LineNumberAreaWidth(), gutter + 2 * w9 + 7);
        QCOMPARE(editor->viewport()->geometry().left(), editor->LineNumberAreaWidth());
        editor->setPlainText(lines(100));
        QCOMPARE(editor->LineNumberAreaWidth(), gutter + 3 * w9 + 7);
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

    void matchingSelection_data()
    {
        QTest::addColumn<bool>("wordsOnly");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("marks");
        const QString text = QStringLiteral("^foo| foo_bar foo-bar (foo) xfoo");
        QTest::newRow("words only skips foo_bar, foo-bar and xfoo") << true << text << 2;
        QTest::newRow("without words only every occurrence") << false << text << 5;
        QTest::newRow("two-line selection marks nothing") << false << "^foo\nfoo| foo" << 0;
        QTest::newRow("blank selection marks nothing") << false << "a^  |b  c" << 0;
    }
    void matchingSelection()
    {
        QFETCH(bool, wordsOnly);
        QFETCH(QString, text);
        QFETCH(int, marks);
        ke2::test::SettingsGuard guard;
        Settings::instance().codeEditorMatchedSelectionWordsOnly = wordsOnly;
        auto editor = makeEditor(LANGUAGE_PYTHON, text);
        editor->UpdateExtraSelections();
        QCOMPARE(selectionsWithBackground(*editor, ColorRoleName::matchingSelection), marks);
    }

    void matchingBraces_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("positions");
        QTest::newRow("after an opening paren") << "f(|a[1])" << QStringList{"1", "6"};
        QTest::newRow("before a closing bracket") << "f(a[1|])" << QStringList{"3", "5"};
        QTest::newRow("across lines") << "d = {|\n  1: (2)\n}" << QStringList{"4", "15"};
        QTest::newRow("brackets in strings are not recorded") << "f(|')')" << QStringList{"1", "5"};
        QTest::newRow("no partner, no mark") << "f(|a" << QStringList{};
    }
    void matchingBraces()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, positions);
        auto editor = makeEditor(LANGUAGE_PYTHON, text);
        editor->UpdateExtraSelections();
        QStringList found;
        selectionsWithBackground(*editor, ColorRoleName::matchingBraces, &found);
        found.sort();
        positions.sort();
        QCOMPARE(found, positions);
    }

    void marksFollowEditsAndShowOnePriority()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("|a = 1\nb = (\nc = 3"));
        QSignalSpy changed(editor.get(), &CodeEditor::ErrorAndWarningTextChanged);
        editor->SetDiagnostics({{8, 12, QStringLiteral("unclosed")}}, {{6, 7, QStringLiteral("unused")}},
                               {{13, 14, QStringLiteral("TODO")}});
        QCOMPARE(changed.count(), 1);
        QCOMPARE(editor->LineMessages(MARK_ERROR).keys(), QList<int>{1});
        QCOMPARE(editor->LineMessage(1), QStringLiteral("unclosed")); // error wins over the warning
        QCOMPARE(editor->LineMessage(2), QStringLiteral("TODO"));
        QCOMPARE(editor->ErrorBar()->Marks(MARK_ERROR), QVector<int>{1});
        // Two lines typed above move every mark down with its text.
        ke2::test::typeKeys(*editor, QStringLiteral("\n\n"));
        QCOMPARE(editor->LineMessages(MARK_ERROR).keys(), QList<int>{3});
        QCOMPARE(editor->LineMessages(MARK_WARNING).keys(), QList<int>{3});
        QCOMPARE(editor->LineMessages(MARK_INFORMATION).keys(), QList<int>{4});
        QCOMPARE(editor->Marks(MARK_ERROR).first().start, 10);
        QCOMPARE(editor->ErrorBar()->Marks(MARK_ERROR), QVector<int>{3});
        // The underlines use the diagnostic formats.
        int waves = 0;
        for (const QTextEdit::ExtraSelection &selection : editor->extraSelections())
            waves += selection.format.underlineStyle() == QTextCharFormat::WaveUnderline;
        QCOMPARE(waves, 2);
    }

    void gutterMarkerIsRedForErrorAndWarning()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("a = 1\nb = 2"));
        editor->show();
        QVERIFY(QTest::qWaitForWindowExposed(editor.get()));
        editor->SetDiagnostics({{0, 1, QStringLiteral("e")}}, {{1, 2, QStringLiteral("w")}, {6, 7, QStringLiteral("w")}}, {});
        const QImage image = editor->LineNumberArea()->grab().toImage();
        const int x = editor->GutterWidth() / 2;
        const QRect first = editor->cursorRect(QTextCursor(editor->document()->findBlockByNumber(0)));
        const QRect second = editor->cursorRect(QTextCursor(editor->document()->findBlockByNumber(1)));
        QCOMPARE(image.pixelColor(x, first.center().y()), ColorScheme::errorMarkColor());
        QCOMPARE(image.pixelColor(x, second.center().y()), ColorScheme::warningMarkColor());
    }

    void errorBarSitsOnTheScrollBar()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, lines(500));
        editor->show();
        QVERIFY(QTest::qWaitForWindowExposed(editor.get()));
        const QScrollBar *bar = editor->verticalScrollBar();
        const QRect geometry = editor->ErrorBar()->geometry();
        QCOMPARE(editor->ErrorBar()->parentWidget(), bar);
        QCOMPARE(geometry.left(), int(bar->width() * 0.7));
        QCOMPARE(geometry.right(), bar->width() - 1);
        QCOMPARE(geometry.top(), 12);
        QCOMPARE(geometry.bottom(), bar->height() - 13);
        QCOMPARE(editor->ErrorBar()->TotalLines(), 500);
        QCOMPARE(editor->ErrorBar()->LineOffset(250), 250);
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
        const QPoint point = editor->cursorRect(at).center();
        QTest::mouseDClick(editor->viewport(), Qt::LeftButton, Qt::NoModifier, point);
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
