#include "tests/support/dialog_answers.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"
#include "tests/support/window_test.h"

#include "tests/groups/groups_test_support.h"

#include "config/color_scheme.h"
#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "groups/code_editor_group_tab_bar.h"
#include "plugin/host_bridge.h"
#include "shell/kestrel_editor.h"
#include "views/activity_bar.h"
#include "views/open_editors_view.h"
#include "views/side_bar.h"
#include "views/status_bar.h"

#include <QtTest/QtTest>
#include <QAction>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QSplitterHandle>
#include <QtWidgets/QTabBar>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QTreeWidget>

#include <algorithm>
#include <memory>
#include <numeric>

using namespace ke2;
using ke2::test::FakeHost;

namespace {

QMenu *menuNamed(QWidget *parent, const QString &title)
{
    for (QMenu *menu : parent->findChildren<QMenu *>())
        if (menu->title() == title)
            return menu;
    return nullptr;
}

// Drags the handle between the two panes of `splitter` by `delta` pixels, as a user would.
void dragHandle(QSplitter *splitter, int delta)
{
    QSplitterHandle *handle = splitter->handle(1);
    const QPoint start = handle->rect().center();
    const QPoint end = splitter->orientation() == Qt::Vertical ? start + QPoint(0, delta) : start + QPoint(delta, 0);
    QTest::mousePress(handle, Qt::LeftButton, Qt::NoModifier, start);
    QMouseEvent move(QEvent::MouseMove, end, handle->mapToGlobal(end), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(handle, &move);
    QTest::mouseRelease(handle, Qt::LeftButton, Qt::NoModifier, end);
}

} // namespace

class KestrelEditorTest : public test::WindowTest {
    Q_OBJECT
private:
    int outputSize() const
    {
        return m_window->OutputSplitter()->sizes().at(Settings::instance().outputTopLeft ? 0 : 1);
    }
    int codeSize() const
    {
        return m_window->OutputSplitter()->sizes().at(Settings::instance().outputTopLeft ? 1 : 0);
    }
    int sideBarSize() const
    {
        return m_window->SideBarSplitter()->sizes().at(Settings::instance().sideBarLeft ? 0 : 1);
    }
    // Spreads the editors over the groups, counts[g] in group g (the first start's two included).
    void spread(const QVector<int> &counts)
    {
        while (m_window->Group(0)->Count() < std::accumulate(counts.begin(), counts.end(), 0))
            m_window->NewMelBuffer();
        for (int group = counts.size() - 1; group > 0; --group)
            for (int i = 0; i < counts.at(group); ++i)
                m_window->OnMoveTabRequested(0, m_window->Group(0)->Count() - 1, group, -1);
    }
    // The colour along the top of the current tab of group `id`.
    QColor currentTabTop(int id) const
    {
        CodeEditorGroupTabBar *bar = m_window->Group(id)->TabBar();
        return bar->grab().toImage().pixelColor(bar->tabRect(bar->currentIndex()).center().x(), 0);
    }

private slots:
    void init()
    {
        ColorScheme::instance().buildDefaults();
        setUpWindow();
    }

    void firstStartHasAMelAndAPythonBufferAndAQuarterForTheOutput_data()
    {
        QTest::addColumn<bool>("outputVertical");
        QTest::newRow("output above the editors") << true;
        // The quarter is of the window's height even when the panes sit side by side.
        QTest::newRow("output beside the editors") << false;
    }
    void firstStartHasAMelAndAPythonBufferAndAQuarterForTheOutput()
    {
        QFETCH(bool, outputVertical);
        Settings::instance().outputOrientVertical = outputVertical;
        QVERIFY(shown());
        QCOMPARE(m_window->CodeEditorCount(), 2);
        QCOMPARE(m_window->Group(0)->Record(0).language, LANGUAGE_MEL);
        QCOMPARE(m_window->Group(0)->Record(1).language, LANGUAGE_PYTHON);
        QCOMPARE(outputSize(), 200);
        const int total = outputSize() + codeSize();
        QCOMPARE(codeSize(), total - 200);
        QCOMPARE(m_window->windowTitle(), QString("Python - Kestrel Editor 2"));
    }

    // The two panes of the output splitter are never hidden together, whatever the order.
    void codeEditorAndOutputAreNeverBothHidden_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<bool>("codeVisible");
        QTest::addColumn<bool>("outputVisible");
        QTest::newRow("hide output") << QStringList{"output"} << true << false;
        QTest::newRow("hide editors") << QStringList{"code"} << false << true;
        QTest::newRow("hide editors, then output") << QStringList{"code", "output"} << true << false;
        QTest::newRow("hide output, then editors") << QStringList{"output", "code"} << false << true;
        QTest::newRow("toggle editors twice") << QStringList{"code", "code"} << true << true;
    }
    void codeEditorAndOutputAreNeverBothHidden()
    {
        QFETCH(QStringList, steps);
        QFETCH(bool, codeVisible);
        QFETCH(bool, outputVisible);
        QVERIFY(shown());
        for (const QString &step : steps)
            m_window->BindingAction(step == "code" ? 63 : 64)->trigger();
        QCOMPARE(m_window->IsCodeEditorVisible(), codeVisible);
        QCOMPARE(m_window->IsOutputVisible(), outputVisible);
        QCOMPARE(codeSize() > 0, codeVisible);
        QCOMPARE(outputSize() > 0, outputVisible);
    }

    void outputDraggedToZeroComesBackAtItsSize()
    {
        QVERIFY(shown());
        dragHandle(m_window->OutputSplitter(), 100); // the output grows from 200 to 300
        const int before = outputSize();
        QVERIFY2(before > 250, qPrintable(QString::number(before)));
        dragHandle(m_window->OutputSplitter(), -2000); // and is dragged away
        QCOMPARE(outputSize(), 0);
        QVERIFY(!m_window->IsOutputVisible());
        m_window->BindingAction(64)->trigger(); // Toggle Output
        QVERIFY(m_window->IsOutputVisible());
        QCOMPARE(outputSize(), before);
    }

    void sideBarToggleRemembersItsWidth()
    {
        QVERIFY(shown());
        dragHandle(m_window->SideBarSplitter(), 60);
        const int width = sideBarSize();
        m_window->ToggleSideBar();
        QCOMPARE(sideBarSize(), 0);
        QVERIFY(!m_window->GetActivityBar()->ViewButton(SIDE_BAR_VIEW_EXPLORER)->isChecked());
        m_window->ToggleSideBar();
        QCOMPARE(sideBarSize(), width);
        QVERIFY(m_window->GetActivityBar()->ViewButton(SIDE_BAR_VIEW_EXPLORER)->isChecked());
    }

    void movingTheSideBarMovesTheActivityBarAndRenamesTheAction()
    {
        QVERIFY(shown());
        QAction *action = m_window->SideBarPositionAction();
        QCOMPARE(action->text(), QString("Move Side Bar Right"));
        action->trigger();
        QCOMPARE(action->text(), QString("Move Side Bar Left"));
        QCOMPARE(m_window->SideBarSplitter()->widget(1), static_cast<QWidget *>(m_window->GetSideBar()));
        QApplication::processEvents();
        // The activity bar sits at the far right, the side bar just inside it.
        const int activityX = m_window->GetActivityBar()->mapTo(m_window.get(), QPoint()).x();
        QCOMPARE(activityX + m_window->GetActivityBar()->width(), m_window->width());
        QVERIFY(m_window->GetSideBar()->mapTo(m_window.get(), QPoint()).x() < activityX);
        action->trigger();
        QCOMPARE(action->text(), QString("Move Side Bar Right"));
        QApplication::processEvents();
        QCOMPARE(m_window->GetActivityBar()->mapTo(m_window.get(), QPoint()).x(), 0);
    }

    void findInFilesReadsAsItsMenuSays()
    {
        QVERIFY(shown());
        QAction *action = m_window->FindInFilesAction();
        QMenu *edit = menuNamed(m_window->MenuBar(), "Edit");
        QMenu *view = menuNamed(m_window->MenuBar(), "View");
        QVERIFY(edit && view && edit->actions().contains(action) && view->actions().contains(action));
        emit view->aboutToShow();
        QCOMPARE(action->text(), QString("Search"));
        QCOMPARE(action->statusTip(), QString("Search"));
        emit edit->aboutToShow();
        QCOMPARE(action->text(), QString("Find in Files"));
        QCOMPARE(action->statusTip(), QString("Find in Files"));
    }

    void zoomStopsAtTheFontLimits_data()
    {
        QTest::addColumn<int>("base");
        QTest::addColumn<int>("steps"); // negative: decrease
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("zoom");
        QTest::newRow("down to the floor") << 9 << -10 << 6 << -3;
        QTest::newRow("up to the ceiling") << 9 << 30 << 24 << 15;
        QTest::newRow("inside the range") << 10 << 2 << 12 << 2;
    }
    void zoomStopsAtTheFontLimits()
    {
        QFETCH(int, base);
        QFETCH(int, steps);
        QFETCH(int, size);
        QFETCH(int, zoom);
        Settings::instance().codeEditorFont.setPointSize(base);
        QVERIFY(shown());
        CodeEditor *editor = m_window->ActiveCodeEditor();
        editor->setFocus();
        QAction *action = m_window->BindingAction(steps < 0 ? 50 : 49);
        for (int i = 0; i < qAbs(steps); ++i)
            action->trigger();
        QCOMPARE(qRound(editor->font().pointSizeF()), size);
        QCOMPARE(Settings::instance().codeEditorZoom, zoom);
        // The offset did not run away: one step back moves the size at once.
        m_window->BindingAction(steps < 0 ? 49 : 50)->trigger();
        QCOMPARE(qRound(editor->font().pointSizeF()), size + (steps < 0 ? 1 : -1));
        // Other editors follow, also those of other groups.
        QCOMPARE(m_window->Group(0)->CodeEditorAt(0)->font().pointSizeF(), editor->font().pointSizeF());
    }

    void zoomNeedsAFocusedEditor()
    {
        QVERIFY(shown());
        m_window->GetSideBar()->setFocus();
        m_window->IncreaseFontSize();
        QCOMPARE(Settings::instance().codeEditorZoom, 0);
    }

    void activityBarAndStatusBarActionsFollowTheirBars()
    {
        QVERIFY(shown());
        QAction *activity = m_window->BindingAction(66);
        QAction *status = m_window->BindingAction(67);
        activity->trigger();
        status->trigger();
        QVERIFY(!m_window->GetActivityBar()->isVisible());
        QCOMPARE(activity->text(), QString("Show Activity Bar"));
        QCOMPARE(status->text(), QString("Show Status Bar"));
        QVERIFY(!Settings::instance().activityBarVisible && !Settings::instance().statusBarVisible);
        status->trigger();
        QCOMPARE(status->text(), QString("Hide Status Bar"));
    }

    void openEditorsFollowTheGroups()
    {
        QVERIFY(shown());
        OpenEditorsView *list = m_window->GetSideBar()->OpenEditors();
        QCOMPARE(list->Tree()->topLevelItemCount(), 2);
        // A click activates; the middle button closes (an empty buffer without asking).
        QTreeWidgetItem *mel = list->ItemFor(0, 0);
        QVERIFY(mel);
        QTest::mouseClick(list->Tree()->viewport(), Qt::LeftButton, Qt::NoModifier,
                          list->Tree()->visualItemRect(mel).center());
        QCOMPARE(m_window->Group(0)->CurrentIndex(), 0);
        QTest::mouseClick(list->Tree()->viewport(), Qt::MiddleButton, Qt::NoModifier,
                          list->Tree()->visualItemRect(list->ItemFor(0, 0)).center());
        QCOMPARE(m_window->CodeEditorCount(), 1);
        QCOMPARE(list->Tree()->topLevelItemCount(), 1);
        QCOMPARE(list->Entries().first().language, LANGUAGE_PYTHON);
        // Moving the editor into a second group shows both groups.
        m_window->NewMelBuffer();
        m_window->OnMoveTabToZoneRequested(0, 1, 0, TAB_DROP_ZONE_AFTER);
        QCOMPARE(m_window->Group(1)->Count(), 1);
        QCOMPARE(list->Tree()->topLevelItemCount(), 2); // two group headings
        QCOMPARE(list->Tree()->topLevelItem(1)->text(0), QString("GROUP 2"));
        // Typing marks the row modified.
        CodeEditor *moved = m_window->Group(1)->CodeEditorAt(0);
        QTest::keyClicks(moved, "x");
        QVERIFY(list->Entries().at(1).modified);
    }

    // A pylint path that went missing pauses pylint for the session only: the saved setting
    // stays on, and pylint is back once the path exists again.
    void missingPylintPathKeepsTheUsersSetting()
    {
        QTemporaryDir tools;
        const QString pylint = tools.filePath("pylint");
        Settings::instance().pylintEnabled = true;
        Settings::instance().pylintPath = pylint;
        QVERIFY(shown());
        m_window->OnPreferencesModified();
        QVERIFY(m_host->texts(FakeHost::Kind::Warning).contains("[KestrelEditor2] Pylint path not found: " + pylint));
        QVERIFY(Settings::instance().pylintEnabled && !Settings::instance().pylintActive());
        Settings saved;
        saved.read();
        QVERIFY(saved.pylintEnabled);
        QVERIFY(test::writeFile(pylint, QByteArray()));
        m_window->OnPreferencesModified();
        QVERIFY(Settings::instance().pylintActive());
    }

    // Insert switches every editor and the status bar at once, whichever tab the user is in.
    void insertSwitchesEveryEditor_data()
    {
        QTest::addColumn<QStringList>("steps"); // "insert", or "new": a new buffer, typed in at the end
        QTest::addColumn<QString>("typed");     // after Home and "XY" in "abcdef"
        QTest::newRow("insert") << QStringList{"insert"} << "XYcdef";
        QTest::newRow("insert twice") << QStringList{"insert", "insert"} << "XYabcdef";
        QTest::newRow("a new buffer after insert") << QStringList{"insert", "new"} << "XYcdef";
        QTest::newRow("insert again in the new buffer") << QStringList{"insert", "new", "insert"} << "XYabcdef";
    }
    void insertSwitchesEveryEditor()
    {
        QFETCH(QStringList, steps);
        QFETCH(QString, typed);
        QVERIFY(shown());
        CodeEditor *editor = m_window->ActiveCodeEditor();
        QTRY_VERIFY(editor->hasFocus());
        for (const QString &step : steps) {
            if (step == "new")
                m_window->NewMelBuffer();
            QTRY_VERIFY((editor = m_window->ActiveCodeEditor())->hasFocus());
            if (step == "insert")
                QTest::keyClick(editor, Qt::Key_Insert);
        }
        editor->setPlainText("abcdef");
        QTest::keyClick(editor, Qt::Key_Home);
        QTest::keyClicks(editor, "XY");
        QCOMPARE(editor->toPlainText(), typed);
        const bool overwrite = typed == "XYcdef";
        QCOMPARE(m_window->GetStatusBar()->findChild<QLabel *>("overwriteLabel")->text(),
                 QString(overwrite ? "OVR" : "INS"));
        QCOMPARE(m_window->Group(0)->CodeEditorAt(0)->overwriteMode(), overwrite);
        CodeEditor::SetSharedOverwriteMode(false);
    }

    // After a tab closes or a dialog goes, the keys work without a click: a dialog gives them
    // back to the editor that had them, a closed tab to its group's next tab or the active group.
    void focusComesBackToAnEditor_data()
    {
        QTest::addColumn<int>("binding"); // 13 Close File, 7 Save As, 9 Rename; 0: close another group's last tab
        QTest::newRow("close file") << 13;
        QTest::newRow("close the last tab of a group") << 0;
        QTest::newRow("save as, cancelled") << 7;
        QTest::newRow("rename, cancelled") << 9;
    }
    void focusComesBackToAnEditor()
    {
        QFETCH(int, binding);
        QVERIFY(shown());
        CodeEditor *had = m_window->ActiveCodeEditor();
        QTRY_VERIFY(had->hasFocus());
        test::DialogAnswers answers; // cancels every dialog
        if (binding) {
            m_window->BindingAction(binding)->trigger();
        } else {
            m_window->OnMoveTabToZoneRequested(0, 1, 0, TAB_DROP_ZONE_AFTER);
            QTRY_VERIFY(m_window->Group(1)->CodeEditorAt(0)->hasFocus());
            m_window->OnCloseTabRequested(m_window->Group(1), 0);
        }
        CodeEditor *expected = binding == 7 || binding == 9 ? had : m_window->Group(0)->CodeEditorAt(0);
        QTRY_VERIFY(expected->hasFocus());
        QTest::keyClicks(QApplication::focusWidget(), "typed");
        QCOMPARE(expected->toPlainText(), QString("typed"));
    }

    // An internal buffer's tab names the buffer, not the file behind it; the switching actions do
    // what their binding says, whatever their text reads.
    void tabTipsAndSwitchingActions()
    {
        QVERIFY(shown());
        const QTabBar *tabs = m_window->Group(0)->TabBar();
        QCOMPARE(tabs->tabToolTip(0), QString("MEL (MEL buffer)"));
        QCOMPARE(tabs->tabToolTip(1), QString("Python (Python buffer)"));
        m_window->OnMoveTabToZoneRequested(0, 1, 0, TAB_DROP_ZONE_AFTER);
        for (int binding : {73, 72, 76}) { // Previous Editor, Next Editor, Next Editor Group
            m_window->SetActiveCodeEditor(0, 0);
            m_window->BindingAction(binding)->setText(QStringLiteral("Renamed"));
            m_window->BindingAction(binding)->trigger();
            QCOMPARE(m_window->ActiveGroupIndex(), 1);
        }
    }

    // A side bar with nothing remembered is a fifth of the window, never under 220 pixels nor
    // so narrow that its section headers and their buttons are cut.
    void sideBarOpensWideEnoughForItsHeaders_data()
    {
        QTest::addColumn<QSize>("window");
        QTest::addColumn<int>("width"); // at least
        QTest::newRow("small window") << QSize(1000, 650) << 220;
        QTest::newRow("1920x1080") << QSize(1920, 1080) << 384;
    }
    void sideBarOpensWideEnoughForItsHeaders()
    {
        QFETCH(QSize, window);
        QFETCH(int, width);
        QVERIFY(shown(window.width(), window.height()));
        // The headers need more than 220 pixels in some fonts: then they decide.
        QVERIFY(m_window->GetSideBar()->HeaderWidth() > 150);
        QCOMPARE(sideBarSize(), std::max(width, m_window->GetSideBar()->HeaderWidth()));
    }

    // A tab dragged to a group's edge makes a new group only when one is free, in the half the
    // highlight showed (the groups shown share the area equally) and wherever the free group
    // was; with none free the whole group lights up and takes the drop.
    void edgeDrops_data()
    {
        QTest::addColumn<QVector<int>>("before");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<int>("percent");
        QTest::addColumn<int>("zone");
        QTest::addColumn<QVector<int>>("after");
        QTest::addColumn<int>("landed"); // the group the dragged editor is in afterwards
        const int before = TAB_DROP_ZONE_BEFORE, centre = TAB_DROP_ZONE_CENTER, after = TAB_DROP_ZONE_AFTER;
        using V = QVector<int>;
        QTest::newRow("right of the only group") << V{2} << 0 << 0 << 95 << after << V{1, 1, 0} << 1;
        QTest::newRow("left of the only group") << V{2} << 0 << 0 << 5 << before << V{1, 1, 0} << 0;
        QTest::newRow("a third between two") << V{2, 1} << 0 << 1 << 5 << before << V{1, 1, 1} << 1;
        QTest::newRow("all in use: left edge") << V{2, 1, 1} << 0 << 1 << 5 << centre << V{1, 2, 1} << 1;
        QTest::newRow("all in use: right edge") << V{1, 1, 2} << 2 << 1 << 95 << centre << V{1, 2, 1} << 1;
        QTest::newRow("free between, before the first") << V{2, 0, 1} << 0 << 0 << 5 << before << V{1, 1, 1} << 0;
        QTest::newRow("first free, after the last") << V{0, 2, 1} << 1 << 2 << 95 << after << V{1, 1, 1} << 2;
    }
    void edgeDrops()
    {
        QFETCH(QVector<int>, before);
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(int, percent);
        QFETCH(int, zone);
        QFETCH(QVector<int>, after);
        QFETCH(int, landed);
        QVERIFY(shown(1366, 768));
        spread(before);
        CodeEditor *dragged = m_window->Group(from)->CodeEditorAt(0);
        CodeEditorGroup *target = m_window->Group(to);
        const QRect area = target->findChild<QStackedWidget *>()->geometry();
        const QPoint at(area.left() + (area.width() + 1) * percent / 100, area.center().y());
        std::unique_ptr<QMimeData> mime(CodeEditorGroupTabBar::MoveCodeEditorMimeData(from, 0));
        test::dragMoveAt(target, at, mime.get());
        QCOMPARE(int(target->DropZone()), zone);
        if (zone == TAB_DROP_ZONE_CENTER)
            QCOMPARE(target->DropHighlight(), area);
        test::dropAt(target, at, mime.get());
        QApplication::processEvents();
        QVector<int> counts, widths;
        for (CodeEditorGroup *group : m_window->Groups()) {
            counts.append(group->Count());
            if (group->isVisible())
                widths.append(group->width());
        }
        QCOMPARE(counts, after);
        QVERIFY(m_window->Group(landed)->IndexOf(dragged) >= 0);
        const auto [narrowest, widest] = std::minmax_element(widths.begin(), widths.end());
        QVERIFY2(*widest - *narrowest <= 1, qPrintable(QString("%1 .. %2").arg(*narrowest).arg(*widest)));
    }

    // A group that empties gives its width to its neighbour; the widths the user dragged the
    // other groups to stay.
    void anEmptiedGroupGivesItsRoomToItsNeighbour_data()
    {
        QTest::addColumn<int>("closed");
        QTest::addColumn<QVector<int>>("widths"); // of the groups left, from 300, 400, 600
        QTest::newRow("middle: to the left") << 1 << QVector<int>{700, 600};
        QTest::newRow("first: to the right") << 0 << QVector<int>{700, 600};
        QTest::newRow("last: to the left") << 2 << QVector<int>{300, 1000};
    }
    void anEmptiedGroupGivesItsRoomToItsNeighbour()
    {
        QFETCH(int, closed);
        QFETCH(QVector<int>, widths);
        QVERIFY(shown(1600, 768));
        spread({1, 1, 1});
        auto *splitter = qobject_cast<QSplitter *>(m_window->Group(0)->parentWidget());
        QVERIFY(splitter);
        const int handles = splitter->handleWidth() * 2;
        const int total = splitter->width() - handles;
        splitter->setSizes({300 * total / 1300, 400 * total / 1300, total - 700 * total / 1300});
        QApplication::processEvents();
        const QList<int> dragged = splitter->sizes();
        m_window->OnCloseTabRequested(m_window->Group(closed), 0);
        QCOMPARE(m_window->Group(closed)->Count(), 0);
        QApplication::processEvents();
        QVector<int> left;
        for (int i = 0; i < 3; ++i) {
            if (i != closed)
                left.append(m_window->Group(i)->width());
        }
        for (int i = 0; i < 2; ++i) // within what the handle freed and rounding
            QVERIFY2(std::abs(left.at(i) - widths.at(i) * total / 1300) <= splitter->handleWidth() + 2,
                     qPrintable(QString("%1 %2 from %3 %4 %5").arg(left.at(0)).arg(left.at(1))
                                    .arg(dragged.at(0)).arg(dragged.at(1)).arg(dragged.at(2))));
    }

    // The active group's current tab carries the colour scheme's selection colour along its
    // top (here a light scheme's); the others do not. Open Editors numbers groups as they are seen.
    void activeGroupIsMarked()
    {
        QVERIFY(shown(1366, 768));
        const QColor accent(173, 214, 255);
        ColorScheme::instance().codeEditorRoles[ColorRoleName::selectedText].format.setBackground(accent);
        m_window->OnPreferencesModified();
        spread({1, 0, 1});
        QCOMPARE(currentTabTop(2), accent);
        QVERIFY(currentTabTop(0) != accent);
        OpenEditorsView *list = m_window->GetSideBar()->OpenEditors();
        QCOMPARE(list->Tree()->topLevelItem(1)->text(0), QString("GROUP 2"));
        QTest::mouseClick(list->Tree()->viewport(), Qt::LeftButton, Qt::NoModifier,
                          list->Tree()->visualItemRect(list->ItemFor(0, 0)).center());
        QCOMPARE(currentTabTop(0), accent);
        QVERIFY(currentTabTop(2) != accent);
    }

    // The Output Position entries show the position in use; a move to the other axis gives the
    // output a third of the width beside the editors, or the first start's quarter of the height
    // above or below them, also when it was hidden during the move.
    void outputPositionIsCheckedAndSized_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QString>("checked");
        QTest::addColumn<bool>("third"); // else a quarter of the window's height
        QTest::newRow("as started") << QStringList{} << "Top" << false;
        QTest::newRow("right") << QStringList{"Right"} << "Right" << true;
        QTest::newRow("right, then left") << QStringList{"Right", "Left"} << "Left" << true;
        QTest::newRow("right, then bottom") << QStringList{"Right", "Bottom"} << "Bottom" << false;
        QTest::newRow("hidden while moved right") << QStringList{"hide", "Right", "hide"} << "Right" << true;
    }
    void outputPositionIsCheckedAndSized()
    {
        QFETCH(QStringList, steps);
        QFETCH(QString, checked);
        QFETCH(bool, third);
        QVERIFY(shown(1366, 768));
        QMenu *position = menuNamed(m_window->MenuBar(), "Output Position");
        for (const QString &step : steps) {
            if (step == "hide")
                m_window->BindingAction(64)->trigger(); // Toggle Output
            for (QAction *action : position->actions())
                if (action->text() == step)
                    action->trigger();
        }
        QStringList marked;
        for (QAction *action : position->actions())
            if (action->isChecked())
                marked.append(action->text());
        QCOMPARE(marked, QStringList{checked});
        QCOMPARE(outputSize(), third ? m_window->OutputSplitter()->width() / 3 : m_window->height() / 4);
    }

    void tabDroppedBeforeTheFirstGroupShiftsTheOthers()
    {
        QVERIFY(shown());
        CodeEditor *python = m_window->Group(0)->CodeEditorAt(1);
        QTest::keyClicks(python, "print(1)");
        m_window->OnMoveTabToZoneRequested(0, 1, 0, TAB_DROP_ZONE_BEFORE);
        QCOMPARE(m_window->Group(0)->Count(), 1);
        QCOMPARE(m_window->Group(0)->CodeEditorAt(0), python);
        QCOMPARE(m_window->Group(1)->Record(0).language, LANGUAGE_MEL);
        // The editor moved alive: its text and its undo history came along.
        QCOMPARE(python->toPlainText(), QString("print(1)"));
        python->undo();
        QVERIFY(python->toPlainText() != "print(1)");
    }
};

KE2_TEST_CLASS(KestrelEditorTest)
#include "test_kestrel_editor.moc"
