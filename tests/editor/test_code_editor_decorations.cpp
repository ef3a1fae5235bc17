#include "editor/code_editor_error_bar_overlay.h"
#include "editor/code_editor_line_numbers.h"
#include "tests/editor/editor_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtGui/QTextBlock>
#include <QtTest/QSignalSpy>
#include <QtWidgets/QHBoxLayout>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMenu>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QStackedWidget>

using namespace ke2;
using namespace ke2::test;

class CodeEditorDecorationsTest : public QObject {
    Q_OBJECT
private slots:
    void lineNumberWidthGrowsAtHundredLines()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("one line"));
        const int twoDigits = editor->LineNumberAreaWidth();
        editor->setPlainText(QStringLiteral("x\n").repeated(98));
        QCOMPARE(editor->LineNumberAreaWidth(), twoDigits);
        editor->setPlainText(QStringLiteral("x\n").repeated(99));
        QCOMPARE(editor->LineNumberAreaWidth(), twoDigits + editor->fontMetrics().horizontalAdvance(QLatin1Char('9')));
        QCOMPARE(editor->viewport()->geometry().left(), editor->LineNumberAreaWidth());
        QCOMPARE(editor->LineNumberArea()->sizeHint().width(), editor->LineNumberAreaWidth());
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
        QTest::newRow("no partner, no mark") << braces << false << "f(|a" << QVector<int>{};
        QTest::newRow("a bracket at the cursor without partner hides the pair before")
            << braces << false << "()|(" << QVector<int>{};
        QTest::newRow("no bracket at the cursor: the one before") << braces << false << "()|x" << QVector<int>{0, 1};
        QTest::newRow("a bracket in a string is no bracket") << braces << false << "()|'('" << QVector<int>{0, 1};
    }
    void highlights()
    {
        QFETCH(QByteArray, role);
        QFETCH(bool, wordsOnly);
        QFETCH(QString, text);
        QFETCH(QVector<int>, starts);
        SettingsGuard guard;
        Settings::instance().codeEditorMatchedSelectionWordsOnly = wordsOnly;
        auto editor = makeEditor(LANGUAGE_PYTHON, text);
        editor->UpdateExtraSelections();
        QCOMPARE(selectionsWithRole(*editor, role.constData()), starts);
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
        typeKeys(*editor, QStringLiteral("\n\n")); // every mark moves down with its text
        QCOMPARE((QList<QList<int>>{editor->LineMessages(MARK_ERROR).keys(), editor->LineMessages(MARK_WARNING).keys(),
                                    editor->LineMessages(MARK_INFORMATION).keys()}), (QList<QList<int>>{{3}, {3}, {4}}));
        QCOMPARE(editor->Marks(MARK_ERROR).first().start, 10);
        QCOMPARE(editor->ErrorBar()->Marks(MARK_ERROR), QVector<int>{3});
        int waves = 0; // the error and warning underlines
        for (const QTextEdit::ExtraSelection &selection : editor->extraSelections())
            waves += selection.format.underlineStyle() == QTextCharFormat::WaveUnderline;
        QCOMPARE(waves, 2);
    }

    // Many marks: a line's messages are joined in text order whatever order they came in,
    // overlapping marks share one underline, and past a few thousand marks only the lines
    // around the view are underlined while every line keeps its message.
    void manyMarks_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("lines");
        QTest::newRow("three on one line, given backwards") << 3 << 1;
        QTest::newRow("repeated reports on a few lines") << 600 << 4;
        QTest::newRow("more than the view, on every line") << 6000 << 3000;
    }
    void manyMarks()
    {
        QFETCH(int, count);
        QFETCH(int, lines);
        auto editor = makeEditor(LANGUAGE_PYTHON, "|" + QStringLiteral("abcdef\n").repeated(lines));
        CodeEditorMarks warnings;
        // Later columns come first: the editor puts them in text order (a place's own marks keep
        // the order they came in).
        auto columnOf = [&](int i) { return 2 - (i / lines) % 3; };
        for (int i = 0; i < count; ++i)
            warnings.append({i % lines * 7 + columnOf(i), i % lines * 7 + columnOf(i) + 2, QStringLiteral("m%1").arg(i)});
        editor->SetDiagnostics({}, warnings, {});
        QCOMPARE(editor->LineMessages(MARK_WARNING).size(), lines);
        QStringList first;
        for (int column = 0; column < 3; ++column)
            for (int i = 0; i < count; i += lines)
                if (columnOf(i) == column)
                    first << QStringLiteral("m%1").arg(i);
        QCOMPARE(editor->LineMessage(0), first.join('\n'));
        int waves = 0;
        for (const QTextEdit::ExtraSelection &selection : editor->extraSelections()) {
            if (selection.format.underlineStyle() != QTextCharFormat::WaveUnderline)
                continue;
            ++waves;
            QCOMPARE(selection.cursor.selectedText().size(), 1 + std::min(count / lines, 3)); // the columns as one
        }
        QVERIFY(waves > 0);
        QVERIFY(waves <= std::min(lines, 200));
    }

    void ctrlWheelRequestsFontSize()
    {
        SettingsGuard guard;
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("x\n").repeated(200));
        QSignalSpy up(editor.get(), &CodeEditor::IncreaseFontSizeRequested);
        QSignalSpy down(editor.get(), &CodeEditor::DecreaseFontSizeRequested);
        auto wheel = [&](int delta, Qt::KeyboardModifiers modifiers) {
            QWheelEvent event({10, 10}, {10, 10}, {}, {0, delta}, Qt::NoButton, modifiers, Qt::NoScrollPhase, false);
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

    // Tab settings per language, whitespace rendering and wrapping; the error bar over the scroll
    // bar counts wrapped lines.
    void settingsRefreshAndErrorBar()
    {
        SettingsGuard guard;
        Settings &settings = Settings::instance();
        settings.tabsUseDefaultsMel = settings.tabsInsertSpacesMel = false;
        settings.tabsSizeMel = 2;
        settings.renderWhitespace = settings.wordWrapEnabled = true;
        auto mel = makeEditor(LANGUAGE_MEL, QStringLiteral("x = 0 ").repeated(60) + QStringLiteral("\nx").repeated(99));
        QCOMPARE(qMakePair(mel->TabSize(), mel->InsertSpaces()), qMakePair(2, false));
        QCOMPARE(makeEditor(LANGUAGE_PYTHON, QString())->TabSize(), 4); // the Python defaults are still in force
        QTextOption option = mel->document()->defaultTextOption();
        QCOMPARE(option.flags() & (QTextOption::ShowTabsAndSpaces | QTextOption::ShowLineAndParagraphSeparators),
                 QTextOption::ShowTabsAndSpaces);
        QCOMPARE(option.wrapMode(), QTextOption::WordWrap);
        QCOMPARE(option.tabStopDistance(), qreal(mel->fontMetrics().horizontalAdvance(QLatin1Char(' ')) * 2));
        mel->show();
        QVERIFY(QTest::qWaitForWindowExposed(mel.get()));
        CodeEditorErrorBarOverlay *bar = mel->ErrorBar();
        QCOMPARE(bar->parentWidget(), mel->verticalScrollBar());
        QCOMPARE(bar->geometry().right(), mel->verticalScrollBar()->width() - 1);
        QVERIFY(bar->height() > mel->verticalScrollBar()->height() / 2);
        const int wrapped = mel->document()->firstBlock().lineCount();
        QVERIFY(wrapped > 1);
        QCOMPARE(bar->LineOffset(1), wrapped);
        QCOMPARE(bar->TotalLines(), 99 + wrapped);
        settings.renderWhitespace = settings.wordWrapEnabled = false;
        mel->UpdateSettings();
        option = mel->document()->defaultTextOption();
        QVERIFY(!(option.flags() & QTextOption::ShowTabsAndSpaces));
        QCOMPARE(option.wrapMode(), QTextOption::NoWrap);
        QCOMPARE(bar->TotalLines(), 100);
        settings.wordWrapEnabled = true; // switched on again while the editor lives
        mel->UpdateSettings();
        QCOMPARE(mel->document()->defaultTextOption().wrapMode(), QTextOption::WordWrap);
    }

    // A tab laid out while hidden: the overlay follows the scroll bar's size once shown, 12 px clear
    // of each end, over the right 30 % of its width.
    void errorBarFitsTheScrollBarOfANewTab()
    {
        QStackedWidget stack;
        stack.resize(500, 350);
        stack.addWidget(new QWidget);
        stack.show();
        QVERIFY(QTest::qWaitForWindowExposed(&stack));
        auto *editor = new CodeEditor(LANGUAGE_PYTHON);
        editor->setPlainText(QStringLiteral("x\n").repeated(300));
        stack.addWidget(editor);
        stack.setCurrentWidget(editor);
        QCoreApplication::processEvents();
        const QScrollBar *scrollBar = editor->verticalScrollBar();
        QVERIFY(scrollBar->isVisible() && scrollBar->height() > 100);
        const QRect geometry = editor->ErrorBar()->geometry();
        QCOMPARE(geometry.top(), 12);
        QCOMPARE(geometry.height(), scrollBar->height() - 24);
        QCOMPARE(geometry.left(), int(scrollBar->width() * 0.7));
        QCOMPARE(geometry.right(), scrollBar->width() - 1);
    }

    // The menu opens where the click was, in the text area right of the line numbers.
    void contextMenuOpensAtTheClick()
    {
        auto editor = makeEditor(LANGUAGE_MEL, QStringLiteral("print 1;"));
        editor->show();
        QVERIFY(QTest::qWaitForWindowExposed(editor.get()));
        QVERIFY(editor->LineNumberAreaWidth() > 0);
        const QPoint click(40, 20);
        QPoint shownAt;
        QTimer::singleShot(0, [&] {
            QWidget *menu = QApplication::activePopupWidget();
            if (menu) {
                shownAt = menu->pos();
                menu->close();
            }
        });
        emit editor->customContextMenuRequested(click);
        QCOMPARE(shownAt, editor->viewport()->mapToGlobal(click));
    }

    // A tab size of any positive width is taken as set: Tab, tab stops and guides use it.
    void wideTabSize()
    {
        SettingsGuard guard;
        Settings::instance().tabsSizeDefault = 20;
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("|x"));
        QCOMPARE(editor->TabSize(), 20);
        typeKeys(*editor, QStringLiteral("\t"));
        QCOMPARE(editorState(*editor), QString(20, QLatin1Char(' ')) + "|x");
        QCOMPARE(editor->GuideCount(editor->document()->firstBlock()), 1);
        QCOMPARE(editor->document()->defaultTextOption().tabStopDistance(),
                 qreal(editor->fontMetrics().horizontalAdvance(QLatin1Char(' ')) * 20));
    }

    // A MEL and a Python editor side by side, as a user sees them, and what the picture shows.
    // With KE2_SCREENSHOT_DIR set the picture is saved there as code_editors.png.
    void screenshotOfMelAndPythonEditors()
    {
        QWidget window;
        auto *layout = new QHBoxLayout(&window);
        auto *mel = new CodeEditor(LANGUAGE_MEL, QStringLiteral("tools.mel"), &window);
        auto *python = new CodeEditor(LANGUAGE_PYTHON, QStringLiteral("tools.py"), &window);
        layout->addWidget(mel);
        layout->addWidget(python);
        mel->setPlainText(QStringLiteral("global proc renameSelected(string $prefix)\n{\n"
                                         "    string $nodes[] = `ls -sl -type transform`;\n"
                                         "    for ($node in $nodes) {\n"
                                         "\tif (size($prefix) > 0)\n"
                                         "            rename $node ($prefix + \"_\" + $node);\n\n"
                                         "        print (\"renamed \" + $node + \"\\n\");\n"
                                         "    }\n}\n"));
        python->setPlainText(QStringLiteral("import maya.cmds as cmds\n\nclass Renamer(object):\n"
                                            "    def __init__(self, prefix):\n"
                                            "        self.prefix = prefix  # TODO: validate\n    \n"
                                            "    def run(self, nodes=None):\n"
                                            "        options = {'sl': True,\n"
                                            "                   'long': True}\n"
                                            "        for node in nodes or cmds.ls(**options):\n"
                                            "            cmds.rename(node, '%s_%s' % (self.prefix, node))\n"
                                            "        return len(nodes\n"));
        // Guides: partial indents round up, a tab counts its width, blank lines take the next line's.
        auto guides = [](CodeEditor *editor) {
            QVector<int> counts;
            for (QTextBlock block = editor->document()->begin(); block.isValid(); block = block.next())
                counts.append(editor->GuideCount(block));
            return counts;
        };
        QCOMPARE(guides(mel), (QVector<int>{0, 0, 1, 1, 1, 3, 2, 2, 1, 0, 0}));
        QCOMPARE(guides(python), (QVector<int>{0, 0, 0, 1, 2, 1, 1, 2, 5, 2, 3, 2, 0}));
        // An unclosed bracket with a warning on the same line, a TODO, an unused MEL variable.
        const QString text = python->toPlainText();
        const int unclosed = text.indexOf(QLatin1String("len(")) + 3, todo = text.indexOf(QLatin1String("TODO"));
        python->SetDiagnostics({{unclosed, unclosed + 1, QStringLiteral("Expected a ')'")}},
                               {{unclosed - 3, unclosed, QStringLiteral("len of None")}}, {{todo, 0, QStringLiteral("TODO: validate")}});
        const int nodes = mel->toPlainText().indexOf(QLatin1String("$nodes"));
        mel->SetDiagnostics({}, {{nodes, nodes + 6, QStringLiteral("Variable is never used")}}, {});
        window.resize(1100, 290);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const QImage image = window.grab().toImage();
        const QString directory = qEnvironmentVariable("KE2_SCREENSHOT_DIR");
        if (!directory.isEmpty())
            QVERIFY(image.save(QDir(directory).filePath(QStringLiteral("code_editors.png"))));

        auto pixel = [&](QWidget *widget, int x, CodeEditor *editor, int line) {
            const QRect rect = editor->cursorRect(QTextCursor(editor->document()->findBlockByNumber(line)));
            return image.pixelColor(widget->mapTo(&window, QPoint(x, rect.center().y())));
        };
        auto marker = [&](CodeEditor *editor, int line) { return pixel(editor->LineNumberArea(), editor->GutterWidth() / 2, editor, line); };
        QCOMPARE(marker(mel, 2), ColorScheme::warningMarkColor());
        QCOMPARE(marker(python, 11), ColorScheme::errorMarkColor()); // the error wins over the warning
        QCOMPARE(marker(python, 4), ColorScheme::informationMarkColor());
        const ColorRoleTable &roles = ColorScheme::instance().codeEditorRoles;
        QCOMPARE(pixel(python->viewport(), python->viewport()->width() - 5, python, 1),
                 roles.format(QString::fromLatin1(ColorRoleName::plainText)).background().color());
        const QColor guide = roles.format(QString::fromLatin1(ColorRoleName::indentationGuides)).foreground().color();
        auto guideAt = [&](CodeEditor *editor, int line, int level) {
            const int x = qRound(editor->document()->documentMargin() + level * editor->TabStopWidth());
            return pixel(editor->viewport(), x, editor, line);
        };
        QCOMPARE(guideAt(python, 10, 2), guide);
        QCOMPARE(guideAt(python, 5, 0), guide);
        QCOMPARE(guideAt(mel, 6, 1), guide);
    }
};
KE2_TEST_CLASS(CodeEditorDecorationsTest)

#include "test_code_editor_decorations.moc"
