#include "overlays/go_to_widget.h"
#include "tests/support/test_registry.h"

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QLineEdit>

using namespace ke2;

class GoToTest : public QObject {
    Q_OBJECT
private slots:
    // Exact names first, then names that start with the query, then names that contain it,
    // then names holding its letters in order; among equals the order given (open files first).
    void ranksFiles_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("query");
        QTest::addColumn<QStringList>("names"); // first words of the results, in order
        const QStringList files{"/w/autil.py", "/w/util_extra.py", "/w/lib/util.py", "/w/ui.mel", "/w/uvtile.mel"};
        QTest::newRow("exact, prefix, containing, fuzzy")
            << files << "util" << QStringList{"util.py", "util_extra.py", "autil.py", "uvtile.mel"};
        QTest::newRow("case does not matter") << files << "UI" << QStringList{"ui.mel", "util.py", "util_extra.py",
                                                                               "autil.py", "uvtile.mel"};
        QTest::newRow("no match, no result") << files << "zz" << QStringList{};
        QTest::newRow("a path narrows by folder") << files << "lib/u" << QStringList{"util.py"};
        QTest::newRow("nothing typed lists all in order")
            << QStringList{"/b.py", "/a.py", "/b.py"} << "" << QStringList{"b.py", "a.py"};
    }
    void ranksFiles()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, query);
        QFETCH(QStringList, names);
        GoToWidget box;
        box.SetFiles(files);
        box.Open(query);
        QStringList shown;
        for (const QString &text : box.ResultTexts())
            shown << text.section(QLatin1Char(' '), 0, 0);
        QCOMPARE(shown, names);
    }

    void line_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<int>("line"); // emitted on Enter; 0 for none
        QTest::newRow("a line") << ":12" << "Go to line 12" << 12;
        QTest::newRow("past the end goes to the last") << ":500" << "Go to line 80, the last line" << 80;
        QTest::newRow("not a number") << ":x" << "Type a line number between 1 and 80" << 0;
        QTest::newRow("zero") << ":0" << "Type a line number between 1 and 80" << 0;
    }
    void line()
    {
        QFETCH(QString, typed);
        QFETCH(QString, shown);
        QFETCH(int, line);
        GoToWidget box;
        box.SetLineCount(80);
        box.Open(typed);
        QCOMPARE(box.ResultTexts(), QStringList{shown});
        QSignalSpy selected(&box, &GoToWidget::LineSelected);
        QTest::keyClick(box.Edit(), Qt::Key_Return);
        QCOMPARE(selected.count(), line ? 1 : 0);
        if (line)
            QCOMPARE(selected.at(0).at(0).toInt(), line);
    }

    // Arrows move through the results (wrapping), Enter takes the chosen one, Escape closes.
    void keys()
    {
        QWidget window;
        GoToWidget box(&window);
        window.show();
        box.SetSymbols({{"alpha", 1, 10, 0}, {"beta", 1, 20, 0}, {"gamma", 1, 30, 0}}, {});
        box.Open(QStringLiteral("@"));
        QCOMPARE(box.ResultTexts(), (QStringList{"alpha", "beta", "gamma"}));
        QSignalSpy position(&box, &GoToWidget::PositionSelected);
        QTest::keyClick(box.Edit(), Qt::Key_Up);
        QTest::keyClick(box.Edit(), Qt::Key_Return);
        QCOMPARE(position.count(), 1);
        QCOMPARE(position.at(0).at(0).toInt(), 30);
        QVERIFY(!box.isVisible());
        box.Open(QStringLiteral("@a"));
        QSignalSpy closed(&box, &GoToWidget::Closed);
        QTest::keyClick(box.Edit(), Qt::Key_Escape);
        QCOMPARE(closed.count(), 1);
    }
};

KE2_TEST_CLASS(GoToTest)
#include "test_go_to.moc"
