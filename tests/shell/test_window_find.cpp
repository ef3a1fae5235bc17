#include "tests/shell/shell_test_support.h"
#include "tests/support/test_registry.h"
#include "tests/support/window_test.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "overlays/go_to_widget.h"
#include "plugin/host_bridge.h"
#include "shell/kestrel_editor.h"
#include "tests/support/dialog_answers.h"
#include "views/find_in_files_view.h"
#include "views/side_bar.h"
#include "views/workspace_view.h"

#include <QtTest/QtTest>
#include <QtCore/QTemporaryDir>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QTreeWidget>

#include <memory>

using namespace ke2;
using ke2::test::FakeHost;

// Go to and find in files inside the real window.
class WindowFindTest : public test::WindowTest {
    Q_OBJECT

    // Searches for `text` from the window's search view; the view, once its status reads `status`.
    FindInFilesView *search(const QString &text, const QString &status)
    {
        FindInFilesView *view = m_window->SearchView();
        m_window->FindInFiles();
        view->SearchEdit()->setText(text);
        view->StartSearch();
        if (QTest::qWaitFor([&] { return view->StatusText() == status; }))
            return view;
        qWarning().noquote() << "search status:" << view->StatusText() << "expected:" << status;
        return nullptr;
    }
    static void click(FindInFilesView *view, QTreeWidgetItem *item)
    {
        view->Results()->scrollToItem(item);
        QTest::mouseClick(view->Results()->viewport(), Qt::LeftButton, Qt::NoModifier,
                          view->Results()->visualItemRect(item).center());
    }

private slots:
    // "@" lists the scanner's outline of the buffer as it is now, each entry with what it is
    // inside of and its line, imports only when asked for; Enter puts the cursor there.
    void goToSymbol_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("query");
        QTest::addColumn<QStringList>("results");
        QTest::addColumn<int>("line");
        QTest::newRow("MEL procedures and globals")
            << int(LANGUAGE_MEL) << "global proc makeRig() {}\nproc rigHelper() {}\nglobal string $gRigName;\n"
            << "@rig" << QStringList{"rigHelper  line 2", "makeRig  line 1", "$gRigName  line 3"} << 1;
        QTest::newRow("Python classes and methods")
            << int(LANGUAGE_PYTHON) << "import os\n\nclass Rig(object):\n    def build(self):\n        pass\n\ndef rig_all():\n    pass\n"
            << "@rig" << QStringList{"Rig  line 3", "rig_all  line 7"} << 2;
        const char *layouts = "from ui import layout\nclass Tool:\n    def layout(self):\n        def layout():\n"
                              "            pass\nclass Panel:\n    def layout(self):\n        pass\n";
        QTest::newRow("same names told apart by container, imports left out")
            << int(LANGUAGE_PYTHON) << layouts << "@layout"
            << QStringList{"layout  in Tool  line 3", "layout  in Tool.layout  line 4", "layout  in Panel  line 7"} << 2;
        QTest::newRow("imports when the query starts with import")
            << int(LANGUAGE_PYTHON) << layouts << "@import lay" << QStringList{"layout (ui)  line 1"} << 0;
    }
    void goToSymbol()
    {
        QFETCH(int, language);
        QFETCH(QString, text);
        QFETCH(QString, query);
        QFETCH(QStringList, results);
        QFETCH(int, line);
        QVERIFY(shown());
        CodeEditor *editor = editorOf(CodeEditorLanguage(language));
        QVERIFY(editor);
        editor->setPlainText(text);
        m_window->GoToSymbolInFile();
        GoToWidget *box = m_window->GoTo();
        QVERIFY(box && box->isVisible());
        QTest::keyClicks(box->Edit(), query.mid(1));
        QStringList shown = box->ResultTexts();
        for (QString &entry : shown)
            entry = entry.trimmed();
        QCOMPARE(shown, results);
        QTest::keyClick(box->Edit(), Qt::Key_Return);
        QCOMPARE(editor->textCursor().blockNumber(), line);
        QVERIFY(!box->isVisible());
    }

    // Ctrl+G: a line past the end goes to the last line.
    void goToLine()
    {
        QVERIFY(shown());
        CodeEditor *editor = editorOf(LANGUAGE_PYTHON);
        editor->setPlainText("a\nb\nc\n");
        m_window->GoToLine();
        QTest::keyClicks(m_window->GoTo()->Edit(), "99");
        QTest::keyClick(m_window->GoTo()->Edit(), Qt::Key_Return);
        QCOMPARE(editor->textCursor().blockNumber(), 3);
    }

    // Replace across three files, one of them open with unsaved changes: that one changes in its
    // tab (one undo step, nothing written), the other two on disk.
    void replaceAcrossFiles()
    {
        QTemporaryDir dir;
        const QString a = dir.filePath("a.py"), b = dir.filePath("b.mel"), c = dir.filePath("c.txt");
        for (const QString &path : {a, b, c})
            QVERIFY(test::put(path, path == c ? "old old\r\nkeep\r\n" : "x = old\n"));
        QVERIFY(shown());
        m_window->OpenFile(a);
        CodeEditor *editor = m_window->ActiveCodeEditor();
        QVERIFY(editor && editor->Path() == a);
        editor->moveCursor(QTextCursor::End);
        editor->insertPlainText("y = old\n");
        const QString edited = editor->toPlainText();

        FindInFilesView *view = search("old", "5 results in 3 files");
        QVERIFY(view);
        view->ReplaceEdit()->setText("new");
        test::DialogAnswers answers({"Yes"});
        view->ReplaceAll();
        QCOMPARE(answers.seen, QStringList{"Replace All: Replace 5 occurrences across 3 files with \"new\"?"});

        QCOMPARE(editor->toPlainText(), QString("x = new\ny = new\n"));
        QCOMPARE(test::contents(a), QByteArray("x = old\n"));
        QCOMPARE(test::contents(b), QByteArray("x = new\n"));
        QCOMPARE(test::contents(c), QByteArray("new new\r\nkeep\r\n")); // line endings kept
        QTRY_COMPARE(view->StatusText(), QString("No results")); // searched again after replacing
        editor->undo();
        QCOMPARE(editor->toPlainText(), edited);
    }

    // The results follow an open buffer as it is edited, and a click on a result made before
    // the edit was seen goes to the match as it is now, or says that it is gone.
    void findInFilesFollowsEdits()
    {
        QTemporaryDir dir;
        QVERIFY(test::put(dir.filePath("a.py"), "x = 1\ndef foo(a, b):\n    pass\n"));
        QVERIFY(test::put(dir.filePath("b.py"), "foo\n"));
        QVERIFY(shown());
        m_window->OpenFile(dir.filePath("a.py"));
        CodeEditor *editor = m_window->ActiveCodeEditor();
        FindInFilesView *view = search("foo", "2 results in 2 files");
        QVERIFY(view);
        auto lineItem = [view](const QString &text) -> QTreeWidgetItem * {
            const QList<QTreeWidgetItem *> items = view->Results()->findItems(text, Qt::MatchEndsWith | Qt::MatchRecursive);
            return items.isEmpty() ? nullptr : items.first();
        };
        auto insertAtTop = [editor](const QString &text) {
            QTextCursor cursor(editor->document());
            cursor.insertText(text);
        };

        // Seen after the typing pause: the list holds the new lines, with their numbers.
        insertAtTop("foo = 1\nfoo = 2\n");
        QTRY_COMPARE(view->StatusText(), QString("4 results in 2 files"));
        QVERIFY(lineItem("def foo(a, b):"));
        QCOMPARE(lineItem("def foo(a, b):")->text(0), QString("4: def foo(a, b):"));

        // Clicked before the pause is over: the line moved by one, and is found there.
        insertAtTop("# no match\n");
        click(view, lineItem("def foo(a, b):"));
        QTRY_COMPARE(editor->textCursor().blockNumber(), 4);
        QCOMPARE(editor->textCursor().selectedText(), QString("foo"));
        QCOMPARE(lineItem("def foo(a, b):")->text(0), QString("5: def foo(a, b):"));

        // The line is gone: nothing is selected in its place, and the list says so.
        QTextCursor line(editor->document()->findBlockByNumber(4));
        line.select(QTextCursor::BlockUnderCursor);
        line.removeSelectedText();
        editor->setTextCursor(QTextCursor(editor->document()));
        click(view, lineItem("def foo(a, b):"));
        QTRY_VERIFY(view->StatusText().contains("The match on line 5 of a.py is no longer there."));
        QVERIFY(!editor->textCursor().hasSelection());
        QVERIFY(!lineItem("def foo(a, b):"));
    }

    // The highlights of a find-in-files result go when the side bar is hidden, another view
    // takes its place, the window is shown again, or the search is cleared.
    void findInFilesHighlightsAreDropped_data()
    {
        QTest::addColumn<QString>("action");
        QTest::newRow("side bar hidden") << "toggle";
        QTest::newRow("another view") << "explorer";
        QTest::newRow("window shown again") << "show";
        QTest::newRow("search cleared") << "clear";
    }
    void findInFilesHighlightsAreDropped()
    {
        QFETCH(QString, action);
        QTemporaryDir dir;
        QVERIFY(test::put(dir.filePath("a.mel"), "proc wanted() {}\n"));
        QVERIFY(shown());
        m_window->OpenFile(dir.filePath("a.mel"));
        CodeEditor *editor = m_window->ActiveCodeEditor();
        FindInFilesView *view = search("wanted", "1 results in 1 files");
        QVERIFY(view);
        click(view, view->Results()->topLevelItem(0)->child(0));
        QCOMPARE(editor->FindInFilesRegex().pattern(), QString("wanted"));
        if (action == "toggle") {
            m_window->ToggleSideBar();
        } else if (action == "explorer") {
            m_window->ShowExplorer();
        } else if (action == "show") {
            m_window->hide();
            m_window->show();
        } else {
            view->SearchEdit()->clear();
            view->StartSearch();
        }
        QVERIFY(editor->FindInFilesRegex().pattern().isEmpty());
    }

    // "Find in Folder" in the workspace view searches that folder in the search view.
    void findInFolderFromTheWorkspace()
    {
        QTemporaryDir dir;
        QVERIFY(QDir().mkpath(dir.filePath("sub")));
        QVERIFY(test::put(dir.filePath("sub/a.mel"), "proc wanted() {}\n"));
        QVERIFY(shown());
        FindInFilesView *view = m_window->SearchView();
        view->SearchEdit()->setText("wanted");
        emit m_window->GetSideBar()->Workspace()->FindInSelected(dir.filePath("sub"), "sub");
        QCOMPARE(m_window->GetSideBar()->CurrentView(), SIDE_BAR_VIEW_SEARCH);
        QTRY_COMPARE(view->StatusText(), QString("1 results in 1 files"));

        // A click on the line opens the file with the match selected.
        click(view, view->Results()->topLevelItem(0)->child(0));
        CodeEditor *editor = m_window->ActiveCodeEditor();
        QVERIFY(editor);
        QCOMPARE(QFileInfo(editor->Path()).fileName(), QString("a.mel"));
        QCOMPARE(editor->textCursor().selectedText(), QString("wanted"));
    }
};

KE2_TEST_CLASS(WindowFindTest)
#include "test_window_find.moc"
