#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "groups/code_editor_group_tab_bar.h"
#include "language/mel_procedure_index.h"
#include "plugin/host_bridge.h"
#include "tests/editor/editor_test_support.h"
#include "tests/groups/groups_test_support.h"
#include "tests/support/fake_host.h"
#include "tests/support/test_registry.h"

#include <QtCore/QUrl>
#include <QtGui/QContextMenuEvent>
#include <QtCore/QScopeGuard>
#include <QtTest/QSignalSpy>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QStyle>
#include <QtWidgets/QToolButton>

#include <memory>

using namespace ke2;
using namespace ke2::test;

namespace {

// Three groups side by side in one window, as the editor area holds them.
struct GroupWindow {
    QWidget window;
    CodeEditorGroup *groups[3];
    GroupWindow()
    {
        auto *layout = new QHBoxLayout(&window);
        layout->setContentsMargins(0, 0, 0, 0);
        for (int id = 0; id < 3; ++id) {
            groups[id] = new CodeEditorGroup(id, &window);
            layout->addWidget(groups[id]);
        }
        window.resize(900, 400);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
    }
};

CodeEditorRecord record(CodeEditorLanguage language, const QString &name)
{
    return {CODE_EDITOR_INTERNAL_BUFFER, language, QStringLiteral("/scripts/") + name, name};
}

std::unique_ptr<QMimeData> tabMime(int group, int index)
{
    return std::unique_ptr<QMimeData>(CodeEditorGroupTabBar::MoveCodeEditorMimeData(group, index));
}

QRect stackRect(const CodeEditorGroup &group)
{
    return group.findChild<QStackedWidget *>()->geometry();
}

} // namespace

class CodeEditorGroupTest : public QObject {
    Q_OBJECT
private slots:
    void init() { m_host.clearCommands(); }

    // A tab dragged over a group (with or without an editor in it, editors laid out side by side
    // or stacked) lands before, in or after it by where along the axis it is.
    void dropZones_data()
    {
        QTest::addColumn<bool>("vertical");
        QTest::addColumn<bool>("withEditor");
        QTest::addColumn<bool>("edgeZones");
        QTest::addColumn<int>("percent"); // where along the axis, by the integer rule; -1/+1 shift a pixel
        QTest::addColumn<int>("shift");
        QTest::addColumn<int>("zone");
        const int before = TAB_DROP_ZONE_BEFORE, centre = TAB_DROP_ZONE_CENTER, after = TAB_DROP_ZONE_AFTER;
        QTest::newRow("exactly 15 % is before") << false << true << true << 15 << 0 << before;
        QTest::newRow("a pixel past 15 % is centre") << false << true << true << 15 << 1 << centre;
        QTest::newRow("a pixel before 85 % is centre") << false << true << true << 85 << -1 << centre;
        QTest::newRow("exactly 85 % is after") << false << true << true << 85 << 0 << after;
        QTest::newRow("left edge over the line numbers") << false << true << true << 0 << 1 << before;
        QTest::newRow("stacked: exactly 15 % of the height") << true << true << true << 15 << 0 << before;
        QTest::newRow("stacked: a pixel further") << true << true << true << 15 << 1 << centre;
        QTest::newRow("stacked: bottom") << true << true << true << 85 << 0 << after;
        QTest::newRow("empty group: 15 %") << false << false << true << 15 << 0 << before;
        QTest::newRow("empty group: past 85 %") << false << false << true << 85 << 3 << after;
        QTest::newRow("no edge zones: 15 % is centre") << false << true << false << 15 << 0 << centre;
        QTest::newRow("no edge zones: 85 % is centre") << false << false << false << 85 << 0 << centre;
    }
    void dropZones()
    {
        QFETCH(bool, vertical);
        QFETCH(bool, withEditor);
        QFETCH(bool, edgeZones);
        QFETCH(int, percent);
        QFETCH(int, shift);
        QFETCH(int, zone);
        SettingsGuard guard;
        Settings::instance().codeEditorOrientVertical = vertical;
        GroupWindow w;
        CodeEditorGroup *group = w.groups[1];
        group->SetEdgeDropZonesAllowed(edgeZones);
        if (withEditor)
            group->AddCodeEditor(record(LANGUAGE_MEL, QStringLiteral("a.mel")), QStringLiteral("print 1;\n"));
        const QRect area = stackRect(*group);
        const int extent = vertical ? area.height() : area.width();
        const int along = (extent + 1) * percent / 100 + shift;
        const QPoint local = vertical ? QPoint(area.width() / 2, along) : QPoint(along, area.height() / 2);
        QSignalSpy moves(group, &CodeEditorGroup::MoveTabToZoneRequested);
        auto mime = tabMime(0, 0);
        QVERIFY(dragMoveAt(group, area.topLeft() + local, mime.get()));
        QCOMPARE(int(group->DropZone()), zone);

        // The highlight: the half on the zone's side, or all of the editors' area.
        const int half = (extent + 1) / 2;
        QRect expected = area;
        if (zone == TAB_DROP_ZONE_BEFORE)
            vertical ? expected.setHeight(half) : expected.setWidth(half);
        else if (zone == TAB_DROP_ZONE_AFTER)
            vertical ? expected.setTop(area.top() + half) : expected.setLeft(area.left() + half);
        QCOMPARE(group->DropHighlight(), expected);
        if (withEditor)
            QCOMPARE(group->CurrentCodeEditor()->DropHighlight(), expected.translated(-area.topLeft()));

        dropAt(group, area.topLeft() + local, mime.get());
        QCOMPARE(moves.size(), 1);
        QCOMPARE(moves[0][3].value<TabDropZone>(), TabDropZone(zone));
        QVERIFY(group->DropHighlight().isNull());
        if (withEditor)
            QVERIFY(group->CurrentCodeEditor()->DropHighlight().isNull());
    }

    // Only moved tabs and files are taken; text dragged over a highlighted group clears the
    // highlight and drops nothing into the group, and files open at the zone.
    void dropsByKind()
    {
        GroupWindow w;
        CodeEditorGroup *group = w.groups[0];
        group->AddCodeEditor(record(LANGUAGE_PYTHON, QStringLiteral("a.py")), QStringLiteral("x = 1\n"));
        QSignalSpy moves(group, &CodeEditorGroup::MoveTabToZoneRequested);
        QSignalSpy files(group, &CodeEditorGroup::OpenFilesRequested);
        const QRect area = stackRect(*group);
        const QPoint centre = area.center(), right = QPoint(area.right() - 2, area.center().y());

        auto tab = tabMime(2, 0);
        QVERIFY(dragMoveAt(group, centre, tab.get()));
        QVERIFY(!group->DropHighlight().isNull());
        QMimeData text;
        text.setText(QStringLiteral("dragged words"));
        dragMoveAt(group, centre, &text);
        QVERIFY(group->DropHighlight().isNull());
        QVERIFY(group->CurrentCodeEditor()->DropHighlight().isNull());
        // Over the text it is the editor's own text drop; the group asks for nothing.
        dropAt(group, centre, &text);
        QCOMPARE(moves.size() + files.size(), 0);
        const QString textAfterDrop = group->CurrentCodeEditor()->toPlainText();
        // Text dropped on the group's own handler (no editor in the way) is refused outright.
        QDragMoveEvent refused(centre, Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(w.groups[2], &refused);
        QVERIFY(!refused.isAccepted());

        QMimeData urls;
        urls.setUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/one.mel")), QUrl(QStringLiteral("https://example.org/x.py")),
                      QUrl::fromLocalFile(QStringLiteral("/tmp/two.py"))});
        dropAt(group, right, &urls);
        QCOMPARE(files.size(), 1);
        QCOMPARE(files[0][0].toInt(), 0);
        QCOMPARE(files[0][1].value<TabDropZone>(), TAB_DROP_ZONE_AFTER);
        QCOMPARE(files[0][2].toStringList(), QStringList({"/tmp/one.mel", "/tmp/two.py"}));
        // Files are not pasted into the text as links.
        QCOMPARE(group->CurrentCodeEditor()->toPlainText(), textAfterDrop);

        // A tab dropped on another group's tab bar is asked for at the tab under the mouse.
        QSignalSpy tabMoves(w.groups[1], &CodeEditorGroup::MoveTabRequested);
        w.groups[1]->AddCodeEditor(record(LANGUAGE_MEL, QStringLiteral("b.mel")), QString());
        CodeEditorGroupTabBar *bar = w.groups[1]->TabBar();
        auto fromFirst = tabMime(0, 0);
        dropAt(w.groups[1], bar->mapTo(w.groups[1], bar->tabRect(0).center()), fromFirst.get());
        dropAt(w.groups[1], bar->mapTo(w.groups[1], QPoint(bar->tabRect(0).right() + 20, 5)), fromFirst.get());
        QCOMPARE(tabMoves.size(), 2);
        QCOMPARE(tabMoves[0], (QList<QVariant>{0, 0, 1, 0}));
        QCOMPARE(tabMoves[1], (QList<QVariant>{0, 0, 1, 1}));
    }

    void invariantMessages_data()
    {
        QTest::addColumn<int>("operation");
        QTest::addColumn<QString>("message");
        QTest::newRow("insert") << 0 << "Failed to insert code editor. Tab and code editor count mismatch.";
        QTest::newRow("remove") << 1 << "Failed to remove code editor. Tab and code editor count mismatch.";
        QTest::newRow("delete") << 2 << "Failed to delete code editor. Tab and code editor count mismatch.";
    }
    void invariantMessages()
    {
        QFETCH(int, operation);
        QFETCH(QString, message);
        GroupWindow w;
        CodeEditorGroup *group = w.groups[0];
        group->AddCodeEditor(record(LANGUAGE_MEL, QStringLiteral("a.mel")), QStringLiteral("a"));
        QPointer<CodeEditor> editor = group->CodeEditorAt(0);
        QVERIFY(m_host.texts(FakeHost::Kind::Error).isEmpty());
        // A tab that no editor backs.
        group->TabBar()->addTab(QStringLiteral("stray"));
        auto extra = std::make_unique<CodeEditor>(LANGUAGE_TEXT);
        if (operation == 0)
            QCOMPARE(group->InsertCodeEditor(0, extra.get()), -1);
        else if (operation == 1)
            QCOMPARE(group->RemoveCodeEditor(0), nullptr);
        else
            QVERIFY(!group->DeleteCodeEditor(0));
        QCOMPARE(m_host.texts(FakeHost::Kind::Error), QStringList{HostBridge::messagePrefix() + message});
        QCOMPARE(group->Count(), 1);
        QCOMPARE(group->TabBar()->count(), 2);
        QVERIFY(editor);
        QCOMPARE(group->CodeEditorAt(0), editor.data());
        QCOMPARE(extra->parent(), nullptr);
    }

    // What the window does with a tab dropped on another group: the editor itself moves, with
    // its text, undo history, modified mark and signals.
    void movedTabKeepsTextAndUndo()
    {
        GroupWindow w;
        CodeEditorGroup *from = w.groups[0], *to = w.groups[2];
        from->AddCodeEditor(record(LANGUAGE_TEXT, QStringLiteral("notes.txt")), QStringLiteral("first\n"));
        from->AddCodeEditor(record(LANGUAGE_PYTHON, QStringLiteral("tool.py")), QStringLiteral("x = 1\n"));
        to->AddCodeEditor(record(LANGUAGE_MEL, QStringLiteral("other.mel")), QStringLiteral("print 1;\n"));
        CodeEditor *editor = from->CodeEditorAt(1);
        from->SetCurrentIndex(1);
        editor->setFocus();
        editor->moveCursor(QTextCursor::End);
        QTest::keyClicks(editor, QStringLiteral("y = 2"));
        QVERIFY(from->TabBar()->IsTabModified(1));

        connect(to, &CodeEditorGroup::MoveTabToZoneRequested, this,
                [&](int fromGroup, int fromIndex, int toGroup, TabDropZone) {
                    CodeEditor *moved = w.groups[fromGroup]->RemoveCodeEditor(fromIndex);
                    w.groups[toGroup]->SetCurrentIndex(w.groups[toGroup]->InsertCodeEditor(-1, moved));
                });
        auto mime = tabMime(0, 1);
        dropAt(to, stackRect(*to).center(), mime.get());

        QCOMPARE(from->Count(), 1);
        QCOMPARE(from->TabBar()->count(), 1);
        QCOMPARE(from->TabBar()->tabText(0), QStringLiteral("notes.txt"));
        QCOMPARE(to->Count(), 2);
        QCOMPARE(to->CodeEditorAt(1), editor);
        QCOMPARE(to->CurrentCodeEditor(), editor);
        QCOMPARE(to->TabBar()->tabText(1), QStringLiteral("tool.py"));
        QCOMPARE(to->TabBar()->tabToolTip(1), QStringLiteral("tool.py (Python buffer)"));
        QVERIFY(to->TabBar()->IsTabModified(1));
        QCOMPARE(editor->toPlainText(), QStringLiteral("x = 1\ny = 2"));
        editor->undo();
        QCOMPARE(editor->toPlainText(), QStringLiteral("x = 1\n"));
        QVERIFY(!to->TabBar()->IsTabModified(1));

        // The editor now speaks to its new group only.
        QSignalSpy oldText(from, &CodeEditorGroup::TextChanged), newText(to, &CodeEditorGroup::TextChanged);
        QSignalSpy oldFocus(from, &CodeEditorGroup::ReceivedFocus), newFocus(to, &CodeEditorGroup::ReceivedFocus);
        auto paths = [](const QSignalSpy &spy) {
            QStringList list;
            for (const QList<QVariant> &arguments : spy)
                list.append(arguments[0].toString());
            return list;
        };
        QTest::keyClicks(editor, QStringLiteral("z"));
        QTRY_VERIFY(paths(newText).contains(QStringLiteral("/scripts/tool.py")));
        from->CodeEditorAt(0)->setFocus();
        editor->setFocus();
        QTRY_COMPARE(newFocus.size(), 1);
        QCOMPARE(newFocus[0][0].value<CodeEditorGroup *>(), to);
        QVERIFY(!paths(oldText).contains(QStringLiteral("/scripts/tool.py")));
    }

    // The current editor is analysed with the parser of its language; text is not parsed.
    void analysis()
    {
        GroupWindow w;
        CodeEditorGroup *group = w.groups[0];
        QSignalSpy updates(group, &CodeEditorGroup::ParserUpdated);
        group->AddCodeEditor(record(LANGUAGE_PYTHON, QStringLiteral("a.py")), QStringLiteral("s = 'open\n"));
        QCOMPARE(updates.size(), 1);
        auto *parser = updates.last()[0].value<BaseParser *>();
        QVERIFY(parser && parser->IsPython());
        QCOMPARE(parser->FilePath(), QStringLiteral("/scripts/a.py"));
        QCOMPARE(group->CodeEditorAt(0)->Marks(MARK_ERROR).size(), 1);

        group->AddCodeEditor(record(LANGUAGE_TEXT, QStringLiteral("b.txt")), QStringLiteral("s = 'open\n"));
        group->SetCurrentIndex(1);
        QCOMPARE(updates.last()[0].value<BaseParser *>(), nullptr);
        QVERIFY(group->CodeEditorAt(1)->Marks(MARK_ERROR).isEmpty());

        // Typing reaches the parser after the editor's pause.
        group->AddCodeEditor(record(LANGUAGE_MEL, QStringLiteral("c.mel")), QString());
        group->SetCurrentIndex(2);
        CodeEditor *mel = group->CurrentCodeEditor();
        mel->setFocus();
        const int before = updates.size();
        typeKeys(*mel, QStringLiteral("// TODO later\nproc f() {}\n"));
        QTRY_VERIFY(updates.size() > before);
        QVERIFY(updates.last()[0].value<BaseParser *>()->IsMel());
        QCOMPARE(mel->Marks(MARK_INFORMATION).size(), 1);

        // Suspended while tabs are restored: nothing is parsed until it resumes.
        QSignalSpy changes(group, &CodeEditorGroup::CurrentTabChanged);
        group->SuspendTabUpdates(true);
        const int suspended = updates.size();
        group->SetCurrentIndex(0);
        group->UpdateParser();
        QCOMPARE(updates.size(), suspended);
        QCOMPARE(changes.size(), 0);
        group->SuspendTabUpdates(false);
        QCOMPARE(updates.size(), suspended + 1);
        QVERIFY(updates.last()[0].value<BaseParser *>()->IsPython());
        QCOMPARE(changes.size(), 1);

        // A module of many megabytes (here of a lowered bound) is scanned on a thread of its own: the outline and the marks
        // come when the scan ends, and a scan overtaken by a switch to another tab shows nothing.
        const auto restore = qScopeGuard([length = CodeEditorGroup::backgroundScanLength] {
            CodeEditorGroup::backgroundScanLength = length;
        });
        CodeEditorGroup::backgroundScanLength = 100000;
        const QString big = QStringLiteral("def generated():\n    pass\n") + QStringLiteral("x = 1\n").repeated(20000)
            + QStringLiteral("s = 'open\n");
        group->AddCodeEditor(record(LANGUAGE_PYTHON, QStringLiteral("big.py")), big);
        const int scanned = updates.size();
        group->SetCurrentIndex(3);
        group->SetCurrentIndex(2);
        group->SetCurrentIndex(3);
        QTRY_VERIFY_WITH_TIMEOUT(updates.size() > scanned + 2, 30000);
        QTest::qWait(300); // the overtaken scan has ended too
        const auto *bigParser = updates.last()[0].value<BaseParser *>();
        QVERIFY(bigParser && bigParser->IsPython());
        QCOMPARE(bigParser->FilePath(), QStringLiteral("/scripts/big.py"));
        QCOMPARE(bigParser->OutlineItems().size(), 1);
        QCOMPARE(bigParser->OutlineItems().first()->name, QStringLiteral("generated"));
        QCOMPARE(group->CurrentCodeEditor()->Marks(MARK_ERROR).size(), 1);
        QCOMPARE(group->CodeEditorAt(2)->Marks(MARK_ERROR).size(), 0); // the MEL tab's own

        // A large MEL buffer's procedures reach the index from the scan's thread: the index does
        // not read a buffer that large itself.
        const auto restoreMel = qScopeGuard([lint = CodeEditorGroup::backgroundLintLength,
                                             read = MelProcedureIndex::readLength] {
            CodeEditorGroup::backgroundLintLength = lint;
            MelProcedureIndex::readLength = read;
        });
        CodeEditorGroup::backgroundLintLength = MelProcedureIndex::readLength = 100000;
        group->AddCodeEditor(record(LANGUAGE_MEL, QStringLiteral("big.mel")),
                             QStringLiteral("print 1;\n").repeated(20000) + QStringLiteral("global proc bigOne(int $a) {}\n"));
        const int melScanned = updates.size();
        group->SetCurrentIndex(4);
        QTRY_VERIFY_WITH_TIMEOUT(updates.size() > melScanned, 30000);
        QCOMPARE(MelProcedureIndex::instance().Find(QStringLiteral("bigOne")).parameterCount, 1);
    }

    // The tab context menu lists its entries in order and asks for the tab under the mouse.
    void tabContextMenu()
    {
        GroupWindow w;
        CodeEditorGroup *group = w.groups[0];
        for (const char *name : {"a.mel", "b.mel", "c.mel"})
            group->AddCodeEditor(record(LANGUAGE_MEL, QString::fromLatin1(name)), QString());
        CodeEditorGroupTabBar *bar = group->TabBar();
        QSignalSpy right(group, &CodeEditorGroup::CloseTabsToRightRequested);
        QSignalSpy rename(group, &CodeEditorGroup::RenameRequested);
        QSignalSpy reveal(group, &CodeEditorGroup::ShowInSideBarRequested);
        auto rightClick = [bar](int index) {
            return [bar, index] {
                const QPoint pos = bar->tabRect(index).center();
                QContextMenuEvent event(QContextMenuEvent::Mouse, pos, bar->mapToGlobal(pos));
                QApplication::sendEvent(bar, &event);
            };
        };
        const QStringList entries = chooseFromMenu(rightClick(1), QStringLiteral("Close Tabs to the Right"));
        QCOMPARE(entries, (QStringList{"Close", "Close Other Tabs", "Close Tabs to the Right", "Rename", "Copy Path",
                                       CodeEditorGroupTabBar::RevealInFolderText(), "Reveal in Side Bar"}));
        QCOMPARE(right.size(), 1);
        QCOMPARE(right[0][0].value<CodeEditorGroup *>(), group);
        QCOMPARE(right[0][1].toInt(), 1);
        chooseFromMenu(rightClick(2), QStringLiteral("Rename"));
        QCOMPARE(rename.size(), 1);
        QCOMPARE(rename[0][1].toInt(), 2);
        chooseFromMenu(rightClick(0), QStringLiteral("Reveal in Side Bar"));
        QCOMPARE(reveal.size(), 1);
        QCOMPARE(reveal[0][0].toString(), QStringLiteral("/scripts/a.mel"));

        // A middle click closes; a double click beside the tabs asks for a new one.
        QSignalSpy close(group, &CodeEditorGroup::CloseTabRequested);
        QSignalSpy newTab(group, &CodeEditorGroup::NewTabRequested);
        QTest::mouseClick(bar, Qt::MiddleButton, {}, bar->tabRect(2).center());
        QTest::mouseDClick(bar, Qt::LeftButton, {}, QPoint(bar->tabRect(2).right() + 30, 5));
        QCOMPARE(close.size(), 1);
        QCOMPARE(close[0][1].toInt(), 2);
        QCOMPARE(newTab.size(), 1);
    }

    // The mini toolbar follows its settings, its context menu toggles it, its buttons execute,
    // and its list selects a tab.
    void miniToolbar()
    {
        SettingsGuard guard;
        Settings &settings = Settings::instance();
        settings.showTabBarMiniToolbar = false;
        settings.showCodeEditorExecuteBtn = true;
        settings.showCodeEditorExecuteAllBtn = false;
        settings.showCodeEditorExecuteLineBtn = true;
        GroupWindow w;
        CodeEditorGroup *group = w.groups[0];
        group->AddCodeEditor(record(LANGUAGE_MEL, QStringLiteral("a.mel")), QString());
        group->AddCodeEditor(record(LANGUAGE_PYTHON, QStringLiteral("b.py")), QString());
        QWidget *toolbar = group->findChild<QWidget *>(QStringLiteral("miniToolbar"));
        auto button = [group](const char *name) { return group->findChild<QToolButton *>(QString::fromLatin1(name)); };
        QVERIFY(!toolbar->isVisible());

        QSignalSpy modified(group, &CodeEditorGroup::MiniToolbarDisplayModified);
        CodeEditorGroupTabBar *bar = group->TabBar();
        const QStringList entries = chooseFromMenu(
            [bar] {
                const QPoint pos(bar->width() - 5, 5);
                QContextMenuEvent event(QContextMenuEvent::Mouse, pos, bar->mapToGlobal(pos));
                QApplication::sendEvent(bar, &event);
            },
            QStringLiteral("Show Mini Toolbar"));
        QCOMPARE(entries, QStringList{"Show Mini Toolbar"});
        QCOMPARE(modified.size(), 1);
        QVERIFY(settings.showTabBarMiniToolbar);
        QVERIFY(toolbar->isVisible());
        QVERIFY(button("executeButton")->isVisible());
        QVERIFY(!button("executeAllButton")->isVisible());
        QVERIFY(button("executeLineButton")->isVisible());

        QSignalSpy execute(group, &CodeEditorGroup::ExecutePressed), line(group, &CodeEditorGroup::ExecuteLinePressed);
        QTest::mouseClick(button("executeButton"), Qt::LeftButton);
        QTest::mouseClick(button("executeLineButton"), Qt::LeftButton);
        QCOMPARE(execute.size(), 1);
        QCOMPARE(line.size(), 1);

        group->SetCurrentIndex(0);
        const QStringList open = chooseFromMenu([&] { QTest::mouseClick(button("listButton"), Qt::LeftButton); },
                                                QStringLiteral("b.py"));
        QCOMPARE(open, (QStringList{"a.mel", "b.py"}));
        QCOMPARE(group->CurrentIndex(), 1);

        chooseFromMenu([&] { emit toolbar->customContextMenuRequested(QPoint(1, 1)); },
                       QStringLiteral("Hide Mini Toolbar"));
        QVERIFY(!settings.showTabBarMiniToolbar);
        QVERIFY(!toolbar->isVisible());
    }

    // Many tabs in a narrow group scroll; the offset stays within what the tabs need and the
    // current tab is brought into view.
    void tabScrolling()
    {
        GroupWindow w;
        CodeEditorGroup *group = w.groups[0];
        for (int i = 0; i < 12; ++i)
            group->AddCodeEditor(record(LANGUAGE_PYTHON, QStringLiteral("script_number_%1.py").arg(i)), QString());
        CodeEditorGroupTabBar *bar = group->TabBar();
        const int visible = bar->parentWidget()->width();
        QVERIFY(bar->MaximumScrollOffset() > 0);
        group->SetTabBarScrollOffset(100000);
        QCOMPARE(group->TabBarScrollOffset(), bar->MaximumScrollOffset());
        QCOMPARE(bar->x(), -bar->MaximumScrollOffset());
        group->SetTabBarScrollOffset(-5);
        QCOMPARE(group->TabBarScrollOffset(), 0);
        group->SetCurrentIndex(11);
        QVERIFY(bar->tabRect(11).right() - group->TabBarScrollOffset() < visible);
        QVERIFY(bar->tabRect(11).left() >= group->TabBarScrollOffset());
        group->SetTabBarScrollOffset(0);
        const int narrow = bar->tabRect(11).width() + 10;
        QVERIFY(narrow < visible);
        bar->parentWidget()->resize(narrow, bar->parentWidget()->height());
        QVERIFY(bar->tabRect(11).right() - group->TabBarScrollOffset() < narrow);
        QVERIFY(bar->tabRect(11).left() >= group->TabBarScrollOffset());
        bar->parentWidget()->resize(visible, bar->parentWidget()->height());
        const int atEnd = group->TabBarScrollOffset();
        group->BeginScrollingLeft();
        QTRY_VERIFY(group->TabBarScrollOffset() < atEnd - CustomTabBar::scrollStep);
        group->EndScrolling();
        const int stopped = group->TabBarScrollOffset();
        QTest::qWait(3 * CustomTabBar::scrollInterval);
        QCOMPARE(group->TabBarScrollOffset(), stopped);
    }

    // The modified mark never moves a tab or its neighbours. With close buttons it takes the
    // button's place until the mouse is over the tab, where the button is back to be clicked;
    // without them every tab keeps room for it.
    void modifiedMarkKeepsTheTabsInPlace_data()
    {
        QTest::addColumn<bool>("closable");
        QTest::newRow("close buttons") << true;
        QTest::newRow("no close buttons") << false;
    }
    void modifiedMarkKeepsTheTabsInPlace()
    {
        QFETCH(bool, closable);
        SettingsGuard guard;
        Settings::instance().showCloseButtonOnTabs = closable;
        GroupWindow w;
        for (const char *name : {"hello.py", "other.py"})
            w.groups[0]->AddCodeEditor(record(LANGUAGE_PYTHON, QString::fromLatin1(name)), QString());
        CodeEditorGroupTabBar *bar = w.groups[0]->TabBar();
        const QRect first = bar->tabRect(0), second = bar->tabRect(1);
        const QImage plain = bar->grab(first).toImage();
        bar->SetTabModified(0, true);
        QCOMPARE(bar->tabRect(0), first);
        QCOMPARE(bar->tabRect(1), second);
        QVERIFY(bar->grab(first).toImage() != plain);
        if (closable) {
            QMouseEvent over(QEvent::MouseMove, first.center(), bar->mapToGlobal(first.center()), Qt::NoButton,
                             Qt::NoButton, Qt::NoModifier);
            QApplication::sendEvent(bar, &over);
            QCOMPARE(bar->grab(first).toImage(), plain);
            QSignalSpy close(w.groups[0], &CodeEditorGroup::CloseTabRequested);
            const auto side = QTabBar::ButtonPosition(bar->style()->styleHint(QStyle::SH_TabBar_CloseButtonPosition, nullptr, bar));
            QTest::mouseClick(bar->tabButton(0, side), Qt::LeftButton);
            QCOMPARE(close.size(), 1);
            QEvent leave(QEvent::Leave);
            QApplication::sendEvent(bar, &leave);
            QVERIFY(bar->grab(first).toImage() != plain);
        }
        bar->SetTabModified(0, false);
        QCOMPARE(bar->grab(first).toImage(), plain);
    }

private:
    FakeHost m_host;
    ScopedHost m_active{&m_host};
};

KE2_TEST_CLASS(CodeEditorGroupTest)
#include "test_code_editor_group.moc"
