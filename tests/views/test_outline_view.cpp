#include "language/mel_parser.h"
#include "language/python_parser.h"
#include "tests/support/test_registry.h"
#include "tests/support/prefs_fixture.h"
#include "views/outline_expanded_state.h"
#include "views/outline_tree_widget.h"
#include "views/outline_view.h"

#include <QtGui/QFocusEvent>
#include <QtTest/QSignalSpy>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMenu>

using namespace ke2;
using ke2::test::PrefsFixture;

namespace {

// The tree as text: one line per item, two spaces per level, "[kind] name start-end".
QByteArray dumpTree(const QTreeWidget *tree)
{
    QByteArray out;
    std::function<void(const QTreeWidgetItem *, int)> dump = [&](const QTreeWidgetItem *item, int level) {
        out += QByteArray(level * 2, ' ')
            + QStringLiteral("[%1] %2 %3-%4\n")
                  .arg(item->data(0, OutlineView::KindRole).toInt())
                  .arg(item->text(0))
                  .arg(item->data(0, OutlineView::StartRole).toInt())
                  .arg(item->data(0, OutlineView::EndRole).toInt())
                  .toUtf8();
        for (int i = 0; i < item->childCount(); ++i)
            dump(item->child(i), level + 1);
    };
    for (int i = 0; i < tree->topLevelItemCount(); ++i)
        dump(tree->topLevelItem(i), 0);
    return out;
}

// Runs the filters menu entry with `text`, as a click on it would.
void triggerFilter(OutlineView &view, const QString &text)
{
    QMenu menu;
    view.FillFiltersMenu(&menu);
    for (QAction *action : menu.actions()) {
        if (action->text() == text) {
            action->trigger();
            return;
        }
    }
    QFAIL(qPrintable("no filter entry " + text));
}

QTreeWidgetItem *findItem(const QTreeWidget *tree, const QString &text)
{
    const QList<QTreeWidgetItem *> found = tree->findItems(text, Qt::MatchExactly | Qt::MatchRecursive);
    return found.isEmpty() ? nullptr : found.first();
}

QStringList expandedTexts(const QTreeWidget *tree)
{
    QStringList texts;
    for (QTreeWidgetItemIterator it(const_cast<QTreeWidget *>(tree)); *it; ++it) {
        if ((*it)->isExpanded())
            texts.append((*it)->text(0));
    }
    return texts;
}

} // namespace

class OutlineViewTest : public QObject {
    Q_OBJECT
private slots:
    // Each sample's outline in every variant a user can pick, as one golden text.
    void outlineMatchesGolden_data()
    {
        QTest::addColumn<QString>("sample");
        QTest::addColumn<QStringList>("variants");
        QTest::newRow("mel") << "outline_sample.mel"
                             << QStringList{"Hide Global Procs (MEL)", "Hide Procs (MEL)",
                                            "Hide Global Variables (MEL)", "Show All", "Sort by Name"};
        QTest::newRow("python") << "outline_sample.py"
                                << QStringList{"Hide Imports", "Hide __main__", "Show All", "Sort by Name"};
    }
    void outlineMatchesGolden()
    {
        QFETCH(QString, sample);
        QFETCH(QStringList, variants);
        PrefsFixture fixture;
        Settings &settings = Settings::instance();
        settings.outlineHideImports = false; // start from everything shown
        const QString source = QString::fromUtf8(test::readData(sample));
        QVERIFY(!source.isEmpty());
        std::unique_ptr<BaseParser> parser;
        if (sample.endsWith(".mel"))
            parser = std::make_unique<MelParser>();
        else
            parser = std::make_unique<PythonParser>();
        parser->Parse(source, "/scripts/" + sample);
        OutlineView view;
        view.OnParserUpdated(parser.get());
        const QByteArray allShown = dumpTree(view.Tree());
        QByteArray dump = "== all shown\n" + allShown;
        for (const QString &variant : variants) {
            // Each filter applies on top of the previous ones until "Show All".
            if (variant == "Sort by Name")
                view.ToggleSort();
            else
                triggerFilter(view, variant);
            dump += "== " + variant.toUtf8() + "\n" + dumpTree(view.Tree());
        }
        // Sorting off gives the source order back ("Show All" came before it).
        view.ToggleSort();
        QCOMPARE(dumpTree(view.Tree()), allShown);
        QVERIFY(test::matchesGolden(dump, sample + ".ref"));
        // Every offset pair names its item in the parsed text (aliases and "from" imports show a
        // composed name whose first word is the one written there; the main guard's name is
        // not in the text).
        for (QTreeWidgetItemIterator it(view.Tree()); *it; ++it) {
            const int kind = (*it)->data(0, OutlineView::KindRole).toInt();
            if (kind == OutlineItem::PythonMain)
                continue;
            const int start = (*it)->data(0, OutlineView::StartRole).toInt();
            const int end = (*it)->data(0, OutlineView::EndRole).toInt();
            QCOMPARE(parser->Text().mid(start, end - start), (*it)->text(0).section(QLatin1Char(' '), 0, 0));
        }
    }

    void filtersMenuShowsTheSwitches()
    {
        PrefsFixture fixture;
        Settings::instance().outlineHideProcs = true;
        OutlineView view;
        QMenu menu;
        view.FillFiltersMenu(&menu);
        QStringList entries;
        for (const QAction *action : menu.actions())
            entries << (action->isSeparator() ? "-" : action->text() + (action->isChecked() ? " [x]" : ""));
        QCOMPARE(entries, (QStringList{"Hide Imports [x]", "Hide __main__", "-", "Hide Global Variables (MEL)",
                                       "Hide Global Procs (MEL)", "Hide Procs (MEL) [x]", "-", "Show All"}));
        triggerFilter(view, "Show All");
        QVERIFY(!Settings::instance().outlineHideImports && !Settings::instance().outlineHideProcs);
    }

    // A filter switched back on shows the kinds again from the records kept at the last parse,
    // even when the parser has been re-filled (or deleted) since.
    void filtersRebuildWithoutTheParser()
    {
        PrefsFixture fixture;
        auto parser = std::make_unique<PythonParser>();
        parser->Parse("import os\nclass A:\n    pass\n", "/a.py");
        OutlineView view;
        view.OnParserUpdated(parser.get());
        QCOMPARE(view.Tree()->topLevelItemCount(), 1); // imports hidden by default
        parser.reset();
        triggerFilter(view, "Hide Imports");
        QCOMPARE(dumpTree(view.Tree()), QByteArray("[4] os 7-9\n[11] A 16-17\n"));
    }

    // The expanded entries of a file come back after an edit re-parses it, after another file
    // was shown in between, with sorting switched, and from the stored settings bytes.
    void expandedStateIsKeptPerFile()
    {
        PrefsFixture fixture;
        OutlineExpandedState::instance().Clear();
        const QString source = QString::fromUtf8(test::readData("outline_sample.py"));
        PythonParser first, second;
        first.Parse(source, "/scripts/first.py");
        second.Parse("class Other:\n    def m(self):\n        pass\n", "/scripts/second.py");
        OutlineView view;
        view.OnParserUpdated(&first);
        findItem(view.Tree(), "Exporter")->setExpanded(true);
        findItem(view.Tree(), "Options")->setExpanded(true);
        QCOMPARE(expandedTexts(view.Tree()), (QStringList{"Exporter", "Options"}));

        view.OnParserUpdated(&second);
        QCOMPARE(expandedTexts(view.Tree()), QStringList());
        first.Parse("# an edit above everything\n" + source, "/scripts/first.py");
        view.OnParserUpdated(&first);
        QCOMPARE(expandedTexts(view.Tree()), (QStringList{"Exporter", "Options"}));
        view.ToggleSort();
        QCOMPARE(expandedTexts(view.Tree()), (QStringList{"Exporter", "Options"}));
        view.ToggleSort();
        QCOMPARE(expandedTexts(view.Tree()), (QStringList{"Exporter", "Options"}));

        // The settings record holds the table; a new process restores it from there.
        const QByteArray stored = Settings::instance().outlineState;
        QVERIFY(!stored.isEmpty());
        OutlineExpandedState::instance().Restore(stored.left(stored.size() - 3)); // damaged: nothing
        QCOMPARE(OutlineExpandedState::instance().Expanded("/scripts/first.py"), QSet<QString>());
        OutlineExpandedState::instance().Restore(stored);
        QCOMPARE(OutlineExpandedState::instance().Expanded("/scripts/first.py"),
                 (QSet<QString>{"Exporter", "Exporter\nOptions"}));

        view.CollapseAll();
        view.OnParserUpdated(&first);
        QCOMPARE(expandedTexts(view.Tree()), QStringList());
        OutlineExpandedState::instance().Clear();
    }

    // Arrow keys preview (the tree keeps the focus); only Return or a click goes.
    void arrowsPreviewReturnGoes()
    {
        PrefsFixture fixture;
        PythonParser parser;
        parser.Parse("def one():\n    pass\ndef two():\n    pass\n", "/scripts/keys.py");
        OutlineView view;
        view.OnParserUpdated(&parser);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QSignalSpy preview(&view, &OutlineView::OutlinePreviewRequested);
        QSignalSpy go(&view, &OutlineView::OutlineSelectionChanged);
        view.Tree()->setCurrentItem(view.Tree()->topLevelItem(0));
        QTest::keyClick(view.Tree(), Qt::Key_Down);
        QCOMPARE(preview.count(), 2);
        QCOMPARE(preview.last().at(0).toInt(), 24);
        QCOMPARE(go.count(), 0);
        QTest::keyClick(view.Tree(), Qt::Key_Return);
        QCOMPARE(go.count(), 1);
        QCOMPARE(go.last().at(0).toInt(), 24);
    }

    // After a pause the tree is the one a fresh view shows, sorted or not; the items of entries
    // that did not change are kept (a user's selection and expansion stay on them).
    void updateAfterAPause_data()
    {
        QTest::addColumn<QString>("edited");
        QTest::addColumn<bool>("sorted");
        QTest::addColumn<QStringList>("kept");
        const QString base = "global proc b() {}\nproc a() { print 1; }\nglobal string $g;\n";
        const QStringList all{"b", "a", "$g"};
        for (const bool sorted : {false, true}) {
            const QByteArray order = sorted ? ", sorted" : "";
            QTest::newRow("typing in a body" + order) << base.left(28) + "x" + base.mid(28) << sorted << all;
            QTest::newRow("a line above" + order) << "// new\n" + base << sorted << all;
            QTest::newRow("a renamed proc" + order) << QString(base).replace("proc a()", "proc c()") << sorted
                                                    << QStringList{"b", "$g"};
            QTest::newRow("a new proc" + order) << base + "proc d() {}\nproc A() {}\n" << sorted << all;
            QTest::newRow("a new proc between" + order) << QString(base).replace("proc a()", "proc B() {}\nproc a()")
                                                        << sorted << all;
            QTest::newRow("a proc gone" + order) << base.mid(19) << sorted << QStringList{"a", "$g"};
            QTest::newRow("everything gone" + order) << QString() << sorted << QStringList();
        }
    }
    void updateAfterAPause()
    {
        QFETCH(QString, edited);
        QFETCH(bool, sorted);
        QFETCH(QStringList, kept);
        PrefsFixture fixture;
        MelParser first, second;
        first.Parse("global proc b() {}\nproc a() { print 1; }\nglobal string $g;\n", "/scripts/a.mel");
        second.Parse(edited, "/scripts/a.mel");
        OutlineView view, fresh;
        if (sorted) {
            view.ToggleSort();
            fresh.ToggleSort();
        }
        view.OnParserUpdated(&first);
        const int marker = Qt::UserRole + 50; // an item made anew does not have it
        for (QTreeWidgetItemIterator it(view.Tree()); *it; ++it)
            (*it)->setData(0, marker, (*it)->text(0));
        view.OnParserUpdated(&second);
        fresh.OnParserUpdated(&second);
        QCOMPARE(dumpTree(view.Tree()), dumpTree(fresh.Tree()));
        QStringList carried;
        for (QTreeWidgetItemIterator it(view.Tree()); *it; ++it) {
            if ((*it)->data(0, marker).isValid()) {
                QCOMPARE((*it)->data(0, marker).toString(), (*it)->text(0));
                carried << (*it)->text(0);
            }
        }
        carried.sort();
        kept.sort();
        QCOMPARE(carried, kept);
    }

    // Python nesting through edits: methods added, removed or moved between classes land where a
    // fresh view puts them, expanded classes stay expanded.
    void nestedUpdatesMatchAFreshTree_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        const QString base = "import os\nclass A:\n    def f(self): pass\n    def g(self): pass\n"
                             "class B:\n    def h(self): pass\ndef main(): pass\n";
        QTest::newRow("a method added") << base << QString(base).replace("    def g", "    def e(self): pass\n    def g");
        QTest::newRow("a class renamed") << base << QString(base).replace("class A", "class Z");
        QTest::newRow("a class line removed") << base << QString(base).replace("class B:\n", "");
        QTest::newRow("a method moved out") << base << QString(base).replace("    def g(self)", "def g(self)");
        QTest::newRow("a class added around") << base << QString(base).replace("def main", "class C:\n    def main");
        QTest::newRow("an import added") << base << "import sys\n" + base;
    }
    void nestedUpdatesMatchAFreshTree()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        PrefsFixture fixture;
        Settings::instance().outlineHideImports = false;
        for (const bool sorted : {false, true}) {
            PythonParser first, second;
            first.Parse(before, "/scripts/n.py");
            second.Parse(after, "/scripts/n.py");
            OutlineView view, fresh;
            if (sorted) {
                view.ToggleSort();
                fresh.ToggleSort();
            }
            view.OnParserUpdated(&first);
            findItem(view.Tree(), "A")->setExpanded(true);
            view.OnParserUpdated(&second);
            fresh.OnParserUpdated(&second);
            QCOMPARE(dumpTree(view.Tree()), dumpTree(fresh.Tree()));
            QCOMPARE(expandedTexts(view.Tree()), expandedTexts(fresh.Tree()));
        }
    }

    // A click selects the entry's name; after the tree lost focus, a click on the same entry
    // asks again.
    void clickAsksForTheNameRange()
    {
        PrefsFixture fixture;
        PythonParser parser;
        const QString source = QString::fromUtf8(test::readData("outline_sample.py"));
        parser.Parse(source, "/scripts/tools.py");
        OutlineView view;
        view.resize(300, 600);
        view.OnParserUpdated(&parser);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QSignalSpy spy(&view, &OutlineView::OutlineSelectionChanged);
        QTreeWidgetItem *item = findItem(view.Tree(), "build");
        QVERIFY(item);
        const QPoint at = view.Tree()->visualItemRect(item).center();
        QTest::mouseClick(view.Tree()->viewport(), Qt::LeftButton, {}, at);
        QVERIFY(spy.count() >= 1);
        const int start = spy.last().at(0).toInt(), end = spy.last().at(1).toInt();
        QCOMPARE(source.mid(start, end - start), QString("build"));
        QCOMPARE(source.left(start).count('\n'), source.left(source.indexOf("def build")).count('\n'));

        QFocusEvent focusOut(QEvent::FocusOut, Qt::MouseFocusReason);
        QApplication::sendEvent(view.Tree(), &focusOut);
        QVERIFY(view.Tree()->selectedItems().isEmpty());
        const int before = spy.count();
        QTest::mouseClick(view.Tree()->viewport(), Qt::LeftButton, {}, at);
        QVERIFY(spy.count() > before);
        QCOMPARE(spy.last().at(0).toInt(), start);
    }

    // Every kind has a drawn icon, and the items carry it.
    void everyKindHasItsIcon()
    {
        PrefsFixture fixture;
        for (int kind = OutlineItem::MelGlobalProc; kind <= OutlineItem::PythonClassVariable; ++kind)
            QVERIFY2(QFile::exists(OutlineView::IconPath(kind)), qPrintable(OutlineView::IconPath(kind)));
        QCOMPARE(OutlineView::IconPath(4), OutlineView::IconPath(6));
        MelParser parser;
        parser.Parse("global proc a() {}\nproc b() {}\n", "/a.mel");
        OutlineView view;
        view.OnParserUpdated(&parser);
        const QImage global = view.Tree()->topLevelItem(0)->icon(0).pixmap(16).toImage();
        QVERIFY(!global.isNull());
        QCOMPARE(global, QIcon(OutlineView::IconPath(1)).pixmap(16).toImage());
        QVERIFY(global != view.Tree()->topLevelItem(1)->icon(0).pixmap(16).toImage());
    }

    void noParserLeavesTheTreeEmpty()
    {
        PrefsFixture fixture;
        MelParser parser;
        parser.Parse("global proc a() {}\n", "/a.mel");
        OutlineView view;
        view.OnParserUpdated(&parser);
        QCOMPARE(view.Tree()->topLevelItemCount(), 1);
        view.OnParserUpdated(nullptr);
        QCOMPARE(view.Tree()->topLevelItemCount(), 0);
        triggerFilter(view, "Show All"); // nothing to rebuild from
        QCOMPARE(view.Tree()->topLevelItemCount(), 0);
    }
};

KE2_TEST_CLASS(OutlineViewTest)
#include "test_outline_view.moc"
