#include "tests/support/test_registry.h"
#include "tests/support/test_files.h"
#include "tests/support/window_test.h"

#include "config/key_bindings.h"
#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "plugin/host_bridge.h"
#include "shell/kestrel_editor.h"
#include "views/outline_tree_widget.h"
#include "views/open_editors_view.h"
#include "views/activity_bar.h"
#include "views/outline_view.h"
#include "views/side_bar.h"
#include "views/workspace_tree_widget.h"
#include "views/workspace_view.h"

#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>
#include <QtWidgets/QMenu>
#include <QtWidgets/QToolButton>

#include <memory>

using namespace ke2;
using ke2::test::FakeHost;

// The outline and the workspace inside the real window: what they ask reaches the editors.
class WindowSideViewsTest : public test::WindowTest {
    Q_OBJECT
private slots:
    // Each view has its button in the activity bar and its key: the key shows the view, the button
    // (its tool tip naming the key) folds the side bar away and brings it back with that view.
    void viewsSwitchByKeyAndActivityBar_data()
    {
        QTest::addColumn<int>("view");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("title");
        QTest::newRow("explorer") << int(SIDE_BAR_VIEW_EXPLORER) << "explorer" << "Explorer";
        QTest::newRow("quick help") << int(SIDE_BAR_VIEW_QUICK_HELP) << "quickHelp" << "Quick Help";
        QTest::newRow("debug") << int(SIDE_BAR_VIEW_DEBUG) << "showDebugView" << "Debug";
    }
    void viewsSwitchByKeyAndActivityBar()
    {
        QFETCH(int, view);
        QFETCH(QString, identifier);
        QFETCH(QString, title);
        QVERIFY(shown());
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        const SideBarView wanted = static_cast<SideBarView>(view);
        // Start from another view, side bar hidden.
        m_window->SetSideBarView(wanted == SIDE_BAR_VIEW_EXPLORER ? SIDE_BAR_VIEW_QUICK_HELP : SIDE_BAR_VIEW_EXPLORER);
        m_window->SetSideBarVisible(false);
        const ActionBinding *binding = KeyBindings::instance().find(identifier);
        QVERIFY(binding && binding->hasShortcut());
        QTest::keySequence(m_window.get(), binding->shortcuts.first());
        QVERIFY(m_window->IsSideBarVisible());
        QCOMPARE(int(m_window->GetSideBar()->CurrentView()), view);
        QToolButton *button = m_window->GetActivityBar()->ViewButton(wanted);
        QVERIFY(button && button->isVisible() && button->isChecked());
        QCOMPARE(button->toolTip(), QString("%1 (%2)").arg(title, binding->shortcuts.first().toString(QKeySequence::NativeText)));
        button->click();
        QVERIFY(!m_window->IsSideBarVisible() && !button->isChecked());
        button->click();
        QVERIFY(m_window->IsSideBarVisible() && button->isChecked());
        QCOMPARE(int(m_window->GetSideBar()->CurrentView()), view);
    }

    // Arrow keys step through the outline and show each entry in the editor while the outline
    // keeps the focus; Return goes there and gives the editor the focus. An import entry selects
    // exactly the name it stands for, so typing replaces only that.
    void outlineStepsWithArrowsAndGoesWithReturn()
    {
        Settings::instance().outlineHideImports = false;
        QVERIFY(shown());
        QApplication::setActiveWindow(m_window.get());
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        m_window->SetActiveCodeEditor(0, 1);
        CodeEditor *editor = m_window->ActiveCodeEditor();
        QCOMPARE(editor->Language(), LANGUAGE_PYTHON);
        editor->setPlainText("import sys as system\nfrom os import path\n\ndef build():\n    pass\n");
        m_window->UpdateParser();
        OutlineView *outline = m_window->GetSideBar()->Outline();
        QTRY_COMPARE(outline->Tree()->topLevelItemCount(), 3);
        QTreeWidget *tree = outline->Tree();
        tree->setFocus();
        QTRY_VERIFY(tree->hasFocus());
        tree->setCurrentItem(tree->topLevelItem(1));
        QTest::keyClick(tree, Qt::Key_Up);
        QCOMPARE(editor->textCursor().selectedText(), QString("system"));
        QTest::keyClick(tree, Qt::Key_Down);
        QCOMPARE(editor->textCursor().selectedText(), QString("path"));
        QVERIFY(tree->hasFocus());
        QTest::keyClick(tree, Qt::Key_Down);
        QCOMPARE(editor->textCursor().selectedText(), QString("build"));
        QVERIFY(tree->hasFocus());
        QTest::keyClick(tree, Qt::Key_Return);
        QTRY_VERIFY(editor->hasFocus());
        QCOMPARE(editor->textCursor().selectedText(), QString("build"));
        QCOMPARE(editor->textCursor().blockNumber(), 3);
    }

    // A file opened from the workspace tree, then its folder renamed there: the tab follows.
    void workspaceOpensFilesAndRenamesTheirTabs()
    {
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkpath("scripts"));
        QVERIFY(test::writeFile(dir.filePath("scripts/tool.mel"), "print 1;\n"));
        QVERIFY(shown());
        WorkspaceTreeWidget *tree = m_window->GetSideBar()->Workspace()->Tree();
        tree->AddWorkspaceFolder(dir.path());
        tree->topLevelItem(0)->setExpanded(true);
        QTRY_VERIFY(tree->FindItem(dir.filePath("scripts")));
        tree->FindItem(dir.filePath("scripts"))->setExpanded(true);
        QTRY_VERIFY(tree->FindItem(dir.filePath("scripts/tool.mel")));
        const int before = m_window->CodeEditorCount();
        QTreeWidgetItem *item = tree->FindItem(dir.filePath("scripts/tool.mel"));
        QMenu menu;
        tree->FillContextMenu(&menu, item);
        QCOMPARE(menu.actions().first()->text(), QString("Open"));
        menu.actions().first()->trigger();
        QCOMPARE(m_window->CodeEditorCount(), before + 1);
        QCOMPARE(m_window->ActiveCodeEditor()->Path(), dir.filePath("scripts/tool.mel"));

        tree->FindItem(dir.filePath("scripts"))->setText(0, "tools");
        QCOMPARE(m_window->ActiveCodeEditor()->Path(), dir.filePath("tools/tool.mel"));
        QCOMPARE(m_window->ActiveCodeEditor()->Record().name, QString("tool.mel"));
        QVERIFY(QFileInfo::exists(dir.filePath("tools/tool.mel")));
    }

    // Reveal in Side Bar shows the tab's file in the workspace tree, its folders read and opened
    // on the way; what no workspace folder holds is shown as its row in Open Editors.
    void revealInSideBarFindsTheTab_data()
    {
        QTest::addColumn<QString>("file"); // under the workspace folder; "" for an internal buffer
        QTest::newRow("deep in the workspace") << "ws/a/b/tool.mel";
        QTest::newRow("outside the workspace") << "elsewhere.py";
        QTest::newRow("an internal buffer") << "";
    }
    void revealInSideBarFindsTheTab()
    {
        QFETCH(QString, file);
        QTemporaryDir dir;
        for (int i = 0; i < 40; ++i) // more rows than fit: the revealed one is scrolled to
            QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("ws/a/b/dir%1").arg(i)));
        QVERIFY(shown());
        m_window->SetSideBarVisible(false);
        WorkspaceTreeWidget *tree = m_window->GetSideBar()->Workspace()->Tree();
        tree->AddWorkspaceFolder(dir.filePath("ws"));
        const QString path = file.isEmpty() ? m_window->Group(0)->CodeEditorAt(1)->Path() : dir.filePath(file);
        if (!file.isEmpty()) {
            QVERIFY(test::writeFile(path, "x\n"));
            m_window->OpenFile(path);
        }
        m_window->SetActiveCodeEditor(0, 0); // the revealed tab need not be the current one
        m_window->OnShowInSideBarRequested(path);
        QVERIFY(m_window->IsSideBarVisible());
        QTreeWidget *shownIn = file.startsWith("ws/") ? static_cast<QTreeWidget *>(tree)
                                                      : m_window->GetSideBar()->OpenEditors()->Tree();
        QTRY_VERIFY(shownIn->currentItem());
        if (shownIn == tree)
            QCOMPARE(WorkspaceTreeWidget::ItemPath(tree->currentItem()), path);
        else
            QCOMPARE(shownIn->currentItem(), m_window->GetSideBar()->OpenEditors()->ItemFor(0, file.isEmpty() ? 1 : 2));
        QApplication::processEvents();
        QVERIFY(shownIn->viewport()->rect().contains(shownIn->visualItemRect(shownIn->currentItem()).center()));
    }
};

KE2_TEST_CLASS(WindowSideViewsTest)
#include "test_window_side_views.moc"
