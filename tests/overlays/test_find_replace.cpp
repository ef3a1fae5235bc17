#include "config/key_bindings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "overlays/find_replace_widget.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/test_registry.h"

#include <QtGui/QTextBlock>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

#include <algorithm>

using namespace ke2;

namespace {

// One group in a window, with one editor holding `text`, and its bar open.
struct FindWindow {
    QWidget window;
    CodeEditorGroup *group;
    CodeEditor *editor;
    FindReplaceWidget *bar;
    explicit FindWindow(const QString &text)
    {
        auto *layout = new QVBoxLayout(&window);
        group = new CodeEditorGroup(0, &window);
        layout->addWidget(group);
        group->AddCodeEditor({CODE_EDITOR_INTERNAL_BUFFER, LANGUAGE_TEXT, QStringLiteral("/s/a.txt"), QStringLiteral("a.txt")},
                             text);
        editor = group->CurrentCodeEditor();
        bar = group->FindReplace();
        window.resize(700, 400);
        window.show();
        window.activateWindow();
        if (!QTest::qWaitForWindowActive(&window))
            qWarning("window not active");
        group->ShowFindReplace(false);
    }
    void press(const char *name) { bar->findChild<QToolButton *>(QString::fromLatin1(name))->click(); }
    void search(const QString &text) { bar->FindEdit()->setText(text); }
};

// Where the editor marks `text` with an extra selection: the find bar's match marks, and the
// marks of the selected text where the bar selected a match.
QList<int> markedMatches(const CodeEditor *editor, const QString &text)
{
    QList<int> starts;
    for (const QTextEdit::ExtraSelection &selection : editor->extraSelections()) {
        if (selection.cursor.selectedText() == text)
            starts << selection.cursor.selectionStart();
    }
    std::sort(starts.begin(), starts.end());
    starts.erase(std::unique(starts.begin(), starts.end()), starts.end()); // a match may be marked twice
    return starts;
}

} // namespace

class FindReplaceTest : public QObject {
    Q_OBJECT
private slots:
    void init() { m_host.clearCommands(); }

    // The text and options make one expression; the group counts its matches in the editor.
    void buildsTheSearch_data()
    {
        QTest::addColumn<QString>("find");
        QTest::addColumn<QStringList>("options"); // buttons pressed
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("counter");
        const QStringList none;
        const QStringList regex{QStringLiteral("Use Regular Expression")};
        const QStringList word{QStringLiteral("Match Whole Word")};
        const QStringList matchCase{QStringLiteral("Match Case")};
        QTest::newRow("a.b is literal text") << "a.b" << none << "a.b axb" << "1 of 1";
        QTest::newRow("a.b as a pattern also finds axb") << "a.b" << regex << "a.b axb" << "1 of 2";
        QTest::newRow("a whole word is not found inside one") << "cat" << word << "concatenate" << "No Results";
        QTest::newRow("a whole word stands alone") << "cat" << word << "concatenate cat" << "1 of 1";
        QTest::newRow("whole words of a pattern") << "c.t" << (word + regex) << "cut concatenate cot" << "1 of 2";
        QTest::newRow("case is ignored by default") << "Foo" << none << "foo FOO fOo" << "1 of 3";
        QTest::newRow("Match Case") << "Foo" << matchCase << "foo Foo" << "1 of 1";
        QTest::newRow("metacharacters of plain text") << "(x)[1]*" << none << "(x)[1]* x1" << "1 of 1";
        QTest::newRow("a match never spans lines") << "a\\s+b" << regex << "a\nb a  b" << "1 of 1";
        QTest::newRow("an invalid pattern finds nothing") << "(a" << regex << "(a" << "No Results";
        QTest::newRow("empty text finds nothing") << "" << none << "abc" << "No Results";
    }
    void buildsTheSearch()
    {
        QFETCH(QString, find);
        QFETCH(QStringList, options);
        QFETCH(QString, text);
        QFETCH(QString, counter);
        FindWindow w(text);
        for (const QString &option : options)
            w.press(option.toLatin1().constData());
        w.search(find);
        QCOMPARE(w.bar->CounterText(), counter);
        const bool invalid = !w.bar->Regex().pattern().isEmpty() && !w.bar->Regex().isValid();
        QCOMPARE(w.bar->FindEdit()->toolTip().isEmpty(), !invalid);
        QCOMPARE(w.bar->FindEdit()->styleSheet().contains(QLatin1String("border")), invalid);
    }

    void counterClamps_data()
    {
        QTest::addColumn<int>("stored");
        QTest::addColumn<int>("current");
        QTest::addColumn<int>("total");
        QTest::addColumn<QString>("text");
        QTest::newRow("stored index past the total") << 5 << 0 << 3 << "3 of 3";
        QTest::newRow("a new current index") << 5 << 2 << 3 << "2 of 3";
        QTest::newRow("no matches") << 2 << 0 << 0 << "No Results";
    }
    void counterClamps()
    {
        QFETCH(int, stored);
        QFETCH(int, current);
        QFETCH(int, total);
        QFETCH(QString, text);
        FindReplaceWidget bar;
        bar.UpdateCounter(stored, stored);
        bar.UpdateCounter(current, total);
        QCOMPARE(bar.CounterText(), text);
    }

    void nextPreviousAndReplaceAll_data()
    {
        QTest::addColumn<QString>("find");
        QTest::addColumn<bool>("regex");
        QTest::addColumn<QString>("replace");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("replaced");
        QTest::newRow("plain text") << "a" << false << "bb" << "a a\na" << "bb bb\nbb";
        QTest::newRow("plain text keeps backslashes") << "x" << false << "\\1" << "x x" << "\\1 \\1";
        QTest::newRow("capture groups") << "(\\w+)=(\\w+)" << true << "\\2=\\1" << "a=b\nc=d" << "b=a\nd=c";
        QTest::newRow("every line start") << "^" << true << "# " << "a\nb\nc" << "# a\n# b\n# c";
        QTest::newRow("blank lines") << "^$" << true << "-" << "a\n\nb\n\nc" << "a\n-\nb\n-\nc";
    }
    void nextPreviousAndReplaceAll()
    {
        QFETCH(QString, find);
        QFETCH(bool, regex);
        QFETCH(QString, replace);
        QFETCH(QString, text);
        QFETCH(QString, replaced);
        FindWindow w(text);
        if (regex)
            w.press("Use Regular Expression");
        w.search(find);
        const int total = w.group->Matches().size();
        QVERIFY(total >= 2);
        // Next wraps from the last match to the first, previous the other way.
        for (int n = 1; n < total; ++n)
            w.group->FindNext();
        QCOMPARE(w.bar->CounterText(), QStringLiteral("%1 of %1").arg(total));
        w.group->FindNext();
        QCOMPARE(w.bar->CounterText(), QStringLiteral("1 of %1").arg(total));
        w.group->FindPrevious();
        QCOMPARE(w.bar->CounterText(), QStringLiteral("%1 of %1").arg(total));

        w.bar->ReplaceEdit()->setText(replace);
        w.bar->ReplaceAll();
        QCOMPARE(w.editor->toPlainText(), replaced);
        QCOMPARE(w.bar->CounterText(), QStringLiteral("%1 replaced").arg(total));
        w.editor->undo();
        QCOMPARE(w.editor->toPlainText(), text); // one undo step
    }

    // A buffer long enough that a search cut short by time would show: the counter, Previous
    // (wrapping to the last match) and Replace All see every match, and one Ctrl+Z undoes it
    // all and leaves the cursor where it was.
    void largeBufferSeesEveryMatch()
    {
        const int lines = 20000;
        QString text, replaced;
        for (int n = 0; n < lines; ++n) {
            text += QStringLiteral("setAttr \"node_%1.tx\" %1;\n").arg(n);
            replaced += QStringLiteral("setAttr \"n%1.tx\" %1;\n").arg(n);
        }
        FindWindow w(text);
        w.press("Use Regular Expression");
        w.search(QStringLiteral("node_(\\d+)"));
        QCOMPARE(w.bar->CounterText(), QStringLiteral("1 of %1").arg(lines));
        w.group->FindPrevious();
        QCOMPARE(w.bar->CounterText(), QStringLiteral("%1 of %1").arg(lines));
        QCOMPARE(w.editor->textCursor().selectedText(), QStringLiteral("node_%1").arg(lines - 1));

        QTextCursor cursor(w.editor->document()->findBlockByNumber(12345));
        cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
        w.editor->setTextCursor(cursor);
        const int anchor = cursor.anchor(), position = cursor.position();
        w.bar->ReplaceEdit()->setText(QStringLiteral("n\\1"));
        w.bar->ReplaceAll();
        QCOMPARE(w.editor->toPlainText(), replaced);
        QCOMPARE(w.bar->CounterText(), QStringLiteral("%1 replaced").arg(lines));
        QTest::keyClick(w.editor, Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(w.editor->toPlainText(), text);
        QCOMPARE(w.editor->textCursor().anchor(), anchor);
        QCOMPARE(w.editor->textCursor().position(), position);
    }

    void findInSelection()
    {
        FindWindow w(QStringLiteral("x1\nx2\nx3\nx4"));
        QTextCursor cursor = w.editor->textCursor();
        cursor.setPosition(3);
        cursor.setPosition(8, QTextCursor::KeepAnchor); // "x2\nx3"
        w.editor->setTextCursor(cursor);
        w.press("Find in Selection");
        QVERIFY(w.editor->HasFindScope());
        w.search(QStringLiteral("x"));
        QCOMPARE(w.group->Matches().size(), 2);
        QCOMPARE(markedMatches(w.editor, "x"), (QList<int>{3, 6})); // the marks agree with the count
        QCOMPARE(w.editor->textCursor().selectedText().size(), 5); // the selection stays
        w.bar->ReplaceEdit()->setText(QStringLiteral("y"));
        w.bar->ReplaceAll();
        QCOMPARE(w.editor->toPlainText(), QStringLiteral("x1\ny2\ny3\nx4"));
        w.press("Find in Selection");
        QVERIFY(!w.editor->HasFindScope());
        QCOMPARE(w.group->Matches().size(), 2);
        QCOMPARE(markedMatches(w.editor, "x"), (QList<int>{0, 9}));
    }

    // The matches the editor marks in a scope are those the bar counts: a scope that starts
    // inside a line keeps the line's start for "^" and word boundaries, and one that ends
    // inside a word leaves out a match that runs past it.
    void findInSelectionMarksWhatItCounts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QString>("find");
        QTest::addColumn<bool>("regex");
        QTest::addColumn<QString>("marked"); // the text of each mark
        QTest::addColumn<QList<int>>("starts");
        QTest::newRow("plain text") << "foo foo\nfoo foo" << 4 << 11 << "foo" << false << "foo" << QList<int>{4, 8};
        QTest::newRow("anchor after the scope's start") << "xfoo1 foo2" << 1 << 10 << "^foo\\d" << true << "foo1"
                                                        << QList<int>{};
        QTest::newRow("word boundary") << "afoo foo" << 1 << 8 << "\\bfoo" << true << "foo" << QList<int>{5};
        QTest::newRow("ends inside a match") << "foo foo" << 0 << 6 << "foo" << false << "foo" << QList<int>{0};
    }
    void findInSelectionMarksWhatItCounts()
    {
        QFETCH(QString, text);
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QString, find);
        QFETCH(bool, regex);
        QFETCH(QString, marked);
        QFETCH(QList<int>, starts);
        FindWindow w(text);
        QTextCursor cursor = w.editor->textCursor();
        cursor.setPosition(from);
        cursor.setPosition(to, QTextCursor::KeepAnchor);
        w.editor->setTextCursor(cursor);
        if (regex)
            w.press("Use Regular Expression");
        w.press("Find in Selection");
        w.search(find);
        QList<int> counted;
        for (const TextMatch &match : w.group->Matches())
            counted << match.start;
        QCOMPARE(counted, starts);
        QCOMPARE(markedMatches(w.editor, marked), starts);
        // With a match selected by the bar, its other places outside the scope stay unmarked.
        w.group->FindNext();
        QCOMPARE(markedMatches(w.editor, marked), starts);
    }

    // Find in Selection takes the selection the user made, also after typing the search moved
    // the selection to a match, until the user selects something else.
    void findInSelectionKeepsTheUsersSelection()
    {
        QStringList lines;
        for (int n = 1; n <= 20; ++n)
            lines << QStringLiteral("setAttr n%1.tx %1;").arg(n);
        FindWindow w(lines.join(QLatin1Char('\n')));
        w.group->CloseFindReplace();
        QTextCursor cursor(w.editor->document()->findBlockByNumber(10));
        const QTextBlock last = w.editor->document()->findBlockByNumber(14);
        cursor.setPosition(last.position() + last.length() - 1, QTextCursor::KeepAnchor);
        w.editor->setTextCursor(cursor);
        w.group->ShowFindReplace(false);
        QTest::keyClicks(w.bar->FindEdit(), QStringLiteral("setAttr"));
        QCOMPARE(w.editor->textCursor().selectedText(), QStringLiteral("setAttr"));
        w.press("Find in Selection");
        QCOMPARE(w.bar->CounterText(), QStringLiteral("1 of 5"));
        w.press("Find in Selection");
        QCOMPARE(w.bar->CounterText(), QStringLiteral("11 of 20"));
        w.editor->setTextCursor(QTextCursor(w.editor->document()->findBlockByNumber(2)));
        w.press("Find in Selection");
        QCOMPARE(w.group->Matches().size(), 20);
    }

    // Replace takes the selected match and moves on; elsewhere it only finds.
    void replaceOne()
    {
        FindWindow w(QStringLiteral("one two one"));
        w.search(QStringLiteral("one"));
        w.bar->ReplaceEdit()->setText(QStringLiteral("1"));
        QCOMPARE(w.editor->textCursor().selectedText(), QStringLiteral("one"));
        w.bar->Replace();
        QCOMPARE(w.editor->toPlainText(), QStringLiteral("1 two one"));
        QCOMPARE(w.editor->textCursor().selectionStart(), 6);
        QCOMPARE(w.bar->CounterText(), QStringLiteral("1 of 1"));
    }

    // A pattern that backtracks without end is given up on, not waited for; the counter says
    // the count is not complete and Replace All replaces nothing rather than part.
    void runawayPatternGivesUp_data()
    {
        QTest::addColumn<int>("lines"); // of 20,000 a's and a b
        QTest::addColumn<QString>("counter");
        QTest::newRow("the engine gives up on a line") << 1 << "1 of 2+";
        QTest::newRow("the search runs out of time") << 200 << "Stopped";
    }
    void runawayPatternGivesUp()
    {
        QFETCH(int, lines);
        QFETCH(QString, counter);
        const QString line = QString(20000, QLatin1Char('a')) + QLatin1Char('b');
        QStringList text;
        for (int n = 0; n < lines; ++n)
            text << line;
        if (lines == 1)
            text = QStringList{QStringLiteral("aa"), line, QStringLiteral("a")};
        FindWindow w(text.join(QLatin1Char('\n')));
        w.press("Use Regular Expression");
        w.search(QStringLiteral("(?:a+)+$"));
        QVERIFY(!w.group->MatchesComplete());
        QCOMPARE(w.bar->CounterText(), counter);
        w.bar->ReplaceEdit()->setText(QStringLiteral("x"));
        w.bar->ReplaceAll();
        QCOMPARE(w.editor->toPlainText(), text.join(QLatin1Char('\n')));
        QCOMPARE(w.bar->CounterText(), QStringLiteral("Not replaced"));
        QCOMPARE(m_host.texts(test::FakeHost::Kind::Warning).size(), 1);
    }

    void toolTipsShowShortcuts()
    {
        KeyBindings &bindings = KeyBindings::instance();
        const QList<QKeySequence> saved = bindings.shortcuts(29);
        FindReplaceWidget bar;
        auto next = [&bar] { return bar.findChild<QToolButton *>(QStringLiteral("Next Match"))->toolTip(); };
        bar.UpdateToolTips();
        QCOMPARE(next(), QStringLiteral("Next Match (F3)"));
        bindings.setShortcuts(29, {});
        bar.UpdateToolTips();
        QCOMPARE(next(), QStringLiteral("Next Match"));
        bindings.setShortcuts(29, saved);
    }

    void keys()
    {
        FindWindow w(QStringLiteral("abc"));
        w.group->ShowFindReplace(true);
        QVERIFY(w.bar->IsReplaceShown());
        QTest::keyClick(w.bar->FindEdit(), Qt::Key_Tab);
        QVERIFY(w.bar->ReplaceEdit()->hasFocus());
        QTest::keyClick(w.bar->ReplaceEdit(), Qt::Key_Backtab, Qt::ShiftModifier);
        QVERIFY(w.bar->FindEdit()->hasFocus());
        QSignalSpy closed(w.bar, &FindReplaceWidget::Closed);
        QTest::keyClick(w.editor, Qt::Key_Escape);
        QCOMPARE(closed.count(), 1);
        QVERIFY(!w.bar->isVisible());
    }

private:
    test::FakeHost m_host;
    test::ScopedHost m_active{&m_host};
};

KE2_TEST_CLASS(FindReplaceTest)
#include "test_find_replace.moc"
