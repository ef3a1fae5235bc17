#include "output/output_text_edit.h"
#include "output/output_view.h"
#include "tests/output/output_test_support.h"
#include "tests/support/dialog_answers.h"
#include "tests/support/test_registry.h"

#include <QtCore/QTemporaryDir>
#include <QtGui/QTextBlock>
#include <QtGui/QGuiApplication>
#include <QtGui/QClipboard>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QToolButton>

using namespace ke2;

namespace {

QStringList numberedLines(int count, const QString &pattern = QStringLiteral("line %1\n"))
{
    QStringList lines;
    for (int i = 1; i <= count; ++i)
        lines << pattern.arg(i);
    return lines;
}

QByteArray fileContent(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

// The texts the extra selections cover, in order.
QStringList selectedTexts(const QPlainTextEdit &edit)
{
    QStringList texts;
    for (const QTextEdit::ExtraSelection &selection : edit.extraSelections())
        texts << selection.cursor.selectedText();
    return texts;
}

void showAndWait(QWidget &widget)
{
    widget.resize(600, 300);
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
}

// Shows the panel and prints `text` into it: true once all of it is in the document.
bool showText(OutputTextEdit &edit, const QString &text)
{
    showAndWait(edit);
    edit.AppendText(text);
    return QTest::qWaitForWindowExposed(&edit) && QTest::qWaitFor([&edit] { return !edit.HasPendingOutput(); });
}

} // namespace

class OutputTextEditTest : public QObject {
    Q_OBJECT

private slots:
    // Everything printed while the panel was hidden is there, in order, the moment it is shown,
    // and the log file got each text once.
    void hiddenPanelGetsEverythingWhenShown()
    {
        test::OutputFixture fixture;
        QTemporaryDir dir;
        OutputTextEdit edit;
        QVERIFY(edit.StartWritingToFile(dir.filePath(QStringLiteral("hidden.log"))));
        const QStringList lines = numberedLines(50);
        for (const QString &line : lines)
            edit.AppendText(line);
        QCoreApplication::processEvents();
        QVERIFY(edit.document()->isEmpty());
        QVERIFY(edit.HasPendingOutput());

        edit.show();
        QCOMPARE(edit.toPlainText(), lines.join(QString()));
        QVERIFY(!edit.HasPendingOutput());
        QCOMPARE(fileContent(edit.LogFilePath()), lines.join(QString()).toUtf8());
    }

    // The buffer size bounds the document by printed lines; the line that makes it overflow pushes
    // out the first. The empty line after the last line end is not a line, and a long line broken
    // into pieces for the view counts once.
    void bufferSizeBoundsTheDocument_data()
    {
        QTest::addColumn<QStringList>("pieces");
        QTest::addColumn<QString>("firstLine");
        QTest::addColumn<int>("blocks");
        QStringList joined{QStringLiteral("line 1")};
        for (int i = 2; i <= 1001; ++i)
            joined << QStringLiteral("\nline %1").arg(i);
        QTest::newRow("1000 lines fill it") << QStringList(joined.mid(0, 1000)) << "line 1" << 1000;
        QTest::newRow("the 1001st line removes the first") << joined << "line 2" << 1000;
        QTest::newRow("1000 newline-ended lines fill it") << numberedLines(1000) << "line 1" << 1001;
        QTest::newRow("the 1001st newline-ended line removes the first") << numberedLines(1001) << "line 2" << 1001;
        QTest::newRow("a flood keeps the newest") << numberedLines(5000) << "line 4001" << 1001;
        // Blocks a line of `length` characters takes: a first piece, then pieces of the rest.
        const auto blocksOf = [](int length) {
            const int rest = std::max(0, length - OutputBuffer::wholeLineLength);
            return 1 + (rest + OutputBuffer::maximumLineLength - 1) / OutputBuffer::maximumLineLength;
        };
        const auto x = [](int length) { return QString(length, QLatin1Char('x')) + QLatin1Char('\n'); };
        // On its own, a line of more pieces than twice the lines the buffer keeps.
        const int enormous = OutputBuffer::wholeLineLength + 2001 * OutputBuffer::maximumLineLength;
        QTest::newRow("a 5,000-character line counts once")
            << (numberedLines(999) << x(5000)) << "line 1" << 999 + blocksOf(5000) + 1;
        QTest::newRow("a 1,000,000-character line keeps the others")
            << (numberedLines(999) << x(1000000)) << "line 1" << 999 + blocksOf(1000000) + 1;
        QTest::newRow("a line in pieces is pushed out whole")
            << (QStringList{x(7000)} << numberedLines(1000)) << "line 1" << 1001;
        QTest::newRow("a line of more pieces than twice the lines stays whole")
            << (numberedLines(999) << x(enormous)) << "line 1" << 999 + blocksOf(enormous) + 1;
        QTest::newRow("the line after it pushes out the first")
            << (numberedLines(999) << x(7000) << QStringLiteral("last\n")) << "line 2" << 998 + blocksOf(7000) + 2;
    }

    void bufferSizeBoundsTheDocument()
    {
        QFETCH(QStringList, pieces);
        QFETCH(QString, firstLine);
        QFETCH(int, blocks);
        test::OutputFixture fixture;
        Settings::instance().outputBufferSize = 1000;
        OutputTextEdit edit;
        showAndWait(edit);
        for (const QString &piece : pieces)
            edit.AppendText(piece);
        QTRY_VERIFY(!edit.HasPendingOutput());
        QCOMPARE(edit.document()->firstBlock().text(), firstLine);
        QCOMPARE(edit.document()->blockCount(), blocks);
        QCOMPARE(edit.LineCount(), 1000);
        QStringList lines = pieces.join(QString()).split(QLatin1Char('\n'));
        lines = lines.mid(lines.size() - (lines.constLast().isEmpty() ? 1001 : 1000));
        edit.selectAll();
        edit.copy();
        QCOMPARE(QGuiApplication::clipboard()->text(), lines.join(QLatin1Char('\n')));
    }

    // A flood leaves nothing behind once the event loop has been idle, and the view follows the
    // newest line.
    void floodIsInsertedWhenIdle()
    {
        test::OutputFixture fixture;
        OutputTextEdit edit;
        showAndWait(edit);
        const QStringList lines = numberedLines(20000, QStringLiteral("# Result: %1 #\n"));
        for (const QString &line : lines)
            edit.AppendText(line);
        QCoreApplication::processEvents();
        QVERIFY(!edit.HasPendingOutput());
        QCOMPARE(edit.toPlainText(), test::insertedOneByOne(lines, 3001));
        QCOMPARE(edit.textCursor().position(), edit.document()->characterCount() - 1);
        QCOMPARE(edit.verticalScrollBar()->value(), edit.verticalScrollBar()->maximum());
    }

    // New output keeps the user's selection; the view follows the end only when it showed the
    // end, otherwise it stays put and offers a way to the end.
    void newOutputKeepsSelectionAndPlace_data()
    {
        QTest::addColumn<bool>("atEnd");
        QTest::addColumn<bool>("select");
        QTest::addColumn<bool>("bufferFull");
        // The long line brings up the horizontal scroll bar, which moves the end a line down.
        QTest::addColumn<QString>("newLine");
        const QString wide = QStringLiteral("wide ") + QString(3000, QLatin1Char('w')) + QLatin1Char('\n');
        QTest::newRow("reading above, with a selection") << false << true << false << QString();
        QTest::newRow("reading above, buffer full") << false << true << true << QString();
        QTest::newRow("at the end, with a selection") << true << true << false << QString();
        QTest::newRow("at the end, nothing selected") << true << false << false << QString();
        QTest::newRow("at the end, a long line") << true << false << false << wide;
    }

    void newOutputKeepsSelectionAndPlace()
    {
        QFETCH(bool, atEnd);
        QFETCH(bool, select);
        QFETCH(bool, bufferFull);
        QFETCH(QString, newLine);
        test::OutputFixture fixture;
        Settings::instance().outputBufferSize = bufferFull ? 200 : 1000;
        Settings::instance().outputWordWrapEnabled = false;
        OutputTextEdit edit;
        QVERIFY(showText(edit, numberedLines(200).join(QString())));
        QScrollBar *bar = edit.verticalScrollBar();
        QCOMPARE(bar->value(), bar->maximum());
        if (!atEnd)
            bar->setValue(10);
        const int value = bar->value();
        const QString topLine = edit.cursorForPosition(QPoint(0, 0)).block().text();
        QTextCursor cursor = edit.textCursor();
        if (select) {
            cursor = QTextCursor(edit.cursorForPosition(QPoint(0, 0)).block().next());
            cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
            edit.setTextCursor(cursor);
            bar->setValue(value);
        }
        const QString selected = edit.textCursor().selectedText();

        edit.AppendText(newLine.isEmpty() ? QStringLiteral("new 1\n") : newLine);
        edit.FlushPendingOutput();
        QCoreApplication::processEvents();
        edit.AppendText(QStringLiteral("new 2\n"));
        edit.FlushPendingOutput();
        QCoreApplication::processEvents();
        QCOMPARE(edit.textCursor().selectedText(), selected);
        QCOMPARE(edit.JumpToEndButton()->isVisible(), !atEnd);
        if (atEnd) {
            QCOMPARE(bar->value(), bar->maximum());
            return;
        }
        // Lines pushed out at the top move the view with the text it shows.
        QCOMPARE(edit.cursorForPosition(QPoint(0, 0)).block().text(), topLine);
        QCOMPARE(bar->value(), bufferFull ? value - 2 : value);
        QTest::mouseClick(edit.JumpToEndButton(), Qt::LeftButton);
        QCOMPARE(bar->value(), bar->maximum());
        QVERIFY(!edit.JumpToEndButton()->isVisible());
        QCOMPARE(edit.textCursor().selectedText(), selected);
    }

    // Rules colour only what is on screen (plus a margin before it), and whole-line rules carry
    // the full-width property.
    void highlightingCoversTheVisibleRangeOnly()
    {
        test::OutputFixture fixture;
        OutputTextEdit edit;
        showAndWait(edit);
        for (int i = 1; i <= 2000; ++i)
            edit.AppendText(i % 2 ? QStringLiteral("# Error: failure %1 #\n").arg(i) : QStringLiteral("plain %1\n").arg(i));
        QTRY_VERIFY(!edit.HasPendingOutput());
        edit.UpdateExtraSelections();

        const QList<QTextEdit::ExtraSelection> selections = edit.extraSelections();
        const QTextBlock firstVisible = edit.cursorForPosition(QPoint(0, 0)).block();
        const QTextBlock lastVisible = edit.cursorForPosition(QPoint(0, edit.viewport()->height() - 1)).block();
        QVERIFY(!selections.isEmpty());
        QVERIFY2(selections.size() < 100, qPrintable(QString::number(selections.size())));
        const int rangeStart = std::max(0, firstVisible.position() - 600);
        QSet<int> coloured;
        for (const QTextEdit::ExtraSelection &selection : selections) {
            QVERIFY(selection.cursor.selectionStart() >= edit.document()->findBlock(rangeStart).position());
            QVERIFY(selection.cursor.selectedText().startsWith(QLatin1String("# Error:")));
            QCOMPARE(selection.format.foreground().color(), QColor(244, 40, 40));
            QVERIFY(selection.format.property(QTextFormat::FullWidthSelection).toBool());
            coloured.insert(selection.cursor.blockNumber());
        }
        // Every error line on screen is coloured.
        QVERIFY(lastVisible.blockNumber() > firstVisible.blockNumber() + 5);
        for (QTextBlock block = firstVisible; block.isValid() && block.blockNumber() <= lastVisible.blockNumber();
             block = block.next()) {
            if (block.text().startsWith(QLatin1String("# Error:")))
                QVERIFY2(coloured.contains(block.blockNumber()), qPrintable(block.text()));
        }
    }

    void rulesColourWhatTheyMatch_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<bool>("regExp");
        QTest::addColumn<bool>("wholeLine");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("highlightingOn");
        QTest::addColumn<QStringList>("expected");
        const QStringList none;
        QTest::newRow("plain text is matched literally") << "a.c" << false << false << true << true << QStringList{"a.c"};
        QTest::newRow("a regular expression matches its class")
            << "a.c" << true << false << true << true << QStringList{"abc", "a.c", "axc"};
        QTest::newRow("a whole-line rule colours each line once")
            << "c" << false << true << true << true << QStringList{"abc a.c", "axc"};
        QTest::newRow("an anchor only matches at the line start")
            << "^a" << true << false << true << true << QStringList{"a", "a"};
        QTest::newRow("a disabled rule colours nothing") << "a.c" << false << false << false << true << none;
        QTest::newRow("highlighting switched off") << "a.c" << false << false << true << false << none;
        QTest::newRow("an invalid expression colours nothing") << "(a" << true << false << true << true << none;
        QTest::newRow("empty matches are skipped") << "z*" << true << false << true << true << none;
    }

    void rulesColourWhatTheyMatch()
    {
        QFETCH(QString, pattern);
        QFETCH(bool, regExp);
        QFETCH(bool, wholeLine);
        QFETCH(bool, enabled);
        QFETCH(bool, highlightingOn);
        QFETCH(QStringList, expected);
        test::OutputFixture fixture;
        Settings::instance().outputSyntaxHighlightingEnabled = highlightingOn;
        ColorScheme::instance().outputHighlightRules = {OutputHighlightRule::create(
            QStringLiteral("rule"), QColor(Qt::red), QColor(), pattern, regExp, wholeLine, enabled)};
        OutputTextEdit edit;
        QVERIFY(showText(edit, QStringLiteral("abc a.c\naxc\n")));
        QCOMPARE(selectedTexts(edit), expected);
    }

    // A long printed line is one line: one row with word wrap off at any length, coloured whole
    // by a whole-line rule across its pieces wherever it is scrolled to, and matched across the
    // place where it was broken.
    void longLineIsOneLineForRules_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("wholeLine");
        QTest::addColumn<bool>("wrap");
        const int whole = OutputBuffer::wholeLineLength;
        QTest::newRow("2,509 characters, whole-line rule") << 2509 << true << false;
        QTest::newRow("in pieces, whole-line rule") << whole + 2500 << true << false;
        QTest::newRow("in pieces, a match across the break") << whole + 2500 << false << false;
        QTest::newRow("a million characters, whole-line rule") << 1000000 << true << false;
        QTest::newRow("wrapped, in pieces, whole-line rule") << whole + 2500 << true << true;
        QTest::newRow("wrapped, a match across the break") << whole + 2500 << false << true;
    }

    void longLineIsOneLineForRules()
    {
        QFETCH(int, length);
        QFETCH(bool, wholeLine);
        QFETCH(bool, wrap);
        test::OutputFixture fixture;
        Settings::instance().outputWordWrapEnabled = wrap;
        const QString pattern = wholeLine ? QStringLiteral("# Error:") : QStringLiteral("xy");
        ColorScheme::instance().outputHighlightRules = {OutputHighlightRule::create(
            QStringLiteral("rule"), QColor(Qt::red), QColor(), pattern, false, wholeLine, true)};
        OutputTextEdit edit;
        showAndWait(edit);
        QString line = QStringLiteral("# Error: ") + QString(length - 9, QLatin1Char('x'));
        const int breakAt = std::min(OutputBuffer::wholeLineLength, length / 2);
        line[breakAt] = QLatin1Char('y');
        edit.AppendText(QStringLiteral("before\n") + line + QStringLiteral("\nafter\n"));
        QTRY_VERIFY(!edit.HasPendingOutput());
        // Rows of the document: before, the line, after, and the empty line after the last end.
        if (!wrap)
            QCOMPARE(edit.document()->documentLayout()->documentSize().height(), 4.0);
        const int first = edit.document()->findBlockByNumber(1).position();
        // In view: the place where the line was broken, the middle of the viewport.
        const QTextCursor broken = edit.document()->find(QStringLiteral("y"));
        QVERIFY(!broken.isNull());
        if (wrap) {
            QTextCursor at = broken;
            at.clearSelection();
            edit.setTextCursor(at);
            edit.UpdateExtraSelections();
        } else {
            const qreal column = QFontMetricsF(edit.document()->defaultFont()).horizontalAdvance(QLatin1Char('x'));
            edit.horizontalScrollBar()->setValue(int(breakAt * column) - edit.viewport()->width() / 2);
            edit.verticalScrollBar()->setValue(0);
        }
        // Scrolling refreshes the colours of what comes into view.
        const QString coloured = selectedTexts(edit).join(QString()).remove(QChar(QChar::ParagraphSeparator));
        if (!wholeLine) {
            QCOMPARE(coloured, QStringLiteral("xy"));
            return;
        }
        // The start of the line and what is shown around the break are coloured.
        QVERIFY(coloured.startsWith(QLatin1String("# Error: ")));
        const int row = edit.cursorRect(QTextCursor(edit.document()->findBlockByNumber(1))).center().y();
        const int shown = wrap ? broken.selectionStart() : edit.PositionAt(QPoint(edit.viewport()->width() / 2, row));
        QVERIFY2(std::abs(shown - broken.selectionStart()) <= 3, qPrintable(QString::number(shown - broken.selectionStart())));
        const QList<QTextEdit::ExtraSelection> selections = edit.extraSelections();
        for (const int position : {shown - 50, shown + 50}) {
            QVERIFY(std::any_of(selections.cbegin(), selections.cend(), [&](const QTextEdit::ExtraSelection &selection) {
                return selection.cursor.selectionStart() <= position && selection.cursor.selectionEnd() > position;
            }) || position > first + length);
        }
    }

    // Without word wrap a long line is drawn on one row, scrolled sideways, and what the mouse
    // selects on it is what was printed there, across the pieces it is kept in.
    void longLineIsDrawnAndSelectedOnOneRow()
    {
        test::OutputFixture fixture;
        Settings::instance().outputWordWrapEnabled = false;
        OutputTextEdit edit;
        showAndWait(edit);
        QString line;
        for (int word = 0; word < 10000; ++word)
            line += QStringLiteral("w%1 ").arg(word, 6, 10, QLatin1Char('0'));
        edit.AppendText(QStringLiteral("before\n") + line + QStringLiteral("\nafter\n"));
        QTRY_VERIFY(!edit.HasPendingOutput());
        edit.verticalScrollBar()->setValue(0);
        const QTextBlock head = edit.document()->findBlockByNumber(1);
        const int row = edit.cursorRect(QTextCursor(head)).center().y();
        const qreal column = QFontMetricsF(edit.document()->defaultFont()).horizontalAdvance(QLatin1Char('x'));
        const qreal margin = edit.document()->documentMargin();
        QScrollBar *bar = edit.horizontalScrollBar();
        QVERIFY(bar->maximum() >= int(line.size() * column) - edit.viewport()->width());
        // The viewport x of a column of the line once scrolled to show `leftColumn` first.
        const auto scrollTo = [&](int leftColumn) { bar->setValue(int(leftColumn * column)); };
        const auto xOf = [&](int lineColumn) {
            return int(margin + (lineColumn + 0.5) * column) - bar->value();
        };
        const auto send = [&](QEvent::Type type, int x, Qt::MouseButtons buttons) {
            QMouseEvent event(type, QPointF(x, row), Qt::LeftButton, buttons, Qt::NoModifier);
            QCoreApplication::sendEvent(edit.viewport(), &event);
        };

        // The row is drawn where the pieces are.
        scrollTo(56000);
        const QImage image = edit.viewport()->grab().toImage();
        const QColor base = edit.palette().color(QPalette::Base);
        int inked = 0;
        for (int x = 0; x < image.width(); ++x)
            inked += image.pixelColor(x, row) != base;
        QVERIFY2(inked > 20, qPrintable(QString::number(inked)));

        // A double click selects the word under it.
        const int word = 7003;
        send(QEvent::MouseButtonPress, xOf(word * 8 + 3), Qt::LeftButton);
        send(QEvent::MouseButtonRelease, xOf(word * 8 + 3), Qt::NoButton);
        send(QEvent::MouseButtonDblClick, xOf(word * 8 + 3), Qt::LeftButton);
        send(QEvent::MouseButtonRelease, xOf(word * 8 + 3), Qt::NoButton);
        QCOMPARE(edit.textCursor().selectedText(), QStringLiteral("w%1").arg(word, 6, 10, QLatin1Char('0')));

        // A drag from one piece into another, scrolled along, copies the printed text exactly.
        send(QEvent::MouseButtonPress, xOf(56010), Qt::LeftButton);
        scrollTo(58400);
        send(QEvent::MouseMove, xOf(58500), Qt::LeftButton);
        send(QEvent::MouseButtonRelease, xOf(58500), Qt::NoButton);
        edit.copy();
        const QString copied = QGuiApplication::clipboard()->text();
        const int start = int(line.indexOf(copied.left(16)));
        QVERIFY2(std::abs(start - 56010) <= 1 && std::abs(int(copied.size()) - 2490) <= 2, qPrintable(copied.left(30)));
        QCOMPARE(copied, line.mid(start, copied.size()));
    }

    // Without word wrap only the pieces of a long line in view are searched, with its last piece:
    // an anchored rule still means the line's end, not the end of what is in view.
    void endAnchorMeansTheLineEnd()
    {
        test::OutputFixture fixture;
        Settings::instance().outputWordWrapEnabled = false;
        ColorScheme::instance().outputHighlightRules = {
            OutputHighlightRule::create("end", QColor(Qt::red), QColor(), "a+$", true, false, true)};
        OutputTextEdit edit;
        QVERIFY(showText(edit, QString(3000, QLatin1Char('a')) + QStringLiteral("b\nab\n")));
        edit.verticalScrollBar()->setValue(0);
        edit.UpdateExtraSelections();
        QCOMPARE(selectedTexts(edit), QStringList());
    }

    // A rule that runs away on a line (nested repeats failing at the end) is cut off at its
    // budget: that line keeps no colour from it, the panel says so once, and the other rules and
    // the other lines are coloured as always.
    void slowRuleIsSkippedAndSaidOnce()
    {
        test::OutputFixture fixture;
        ColorScheme::instance().outputHighlightRules = {
            OutputHighlightRule::create("runaway", QColor(Qt::red), QColor(), "(a+)+$", true, false, true),
            OutputHighlightRule::create("plain", QColor(Qt::blue), QColor(), "ok", false, false, true),
            OutputHighlightRule::create("long but linear", QColor(Qt::green), QColor(), "a+b o", true, false, true)};
        OutputTextEdit edit;
        showAndWait(edit);
        const QString runaway = QString(300, QLatin1Char('a')) + "b ok";
        edit.AppendText(runaway + "\naaa\n" + runaway + "\n");
        QTRY_VERIFY(!edit.HasPendingOutput());
        for (int refresh = 0; refresh < 3; ++refresh)
            edit.UpdateExtraSelections();
        QCOMPARE(selectedTexts(edit), (QStringList{"aaa", "ok", "ok", runaway.chopped(1), runaway.chopped(1)}));
        QCOMPARE(fixture.host.texts(test::FakeHost::Kind::Warning),
                 QStringList{"[KestrelEditor2] Output highlighting rule \"runaway\" is too slow and was skipped"});
    }

    void selectedWordIsMatched_data()
    {
        QTest::addColumn<bool>("wordsOnly");
        QTest::addColumn<int>("matches");
        // "foo" alone, inside "foo-bar" ("-" is a word character here), inside "foo_x", at the end.
        QTest::newRow("anywhere") << false << 4;
        QTest::newRow("whole words only") << true << 2;
    }

    void selectedWordIsMatched()
    {
        QFETCH(bool, wordsOnly);
        QFETCH(int, matches);
        test::OutputFixture fixture;
        Settings::instance().outputMatchedSelectionWordsOnly = wordsOnly;
        ColorScheme::instance().outputHighlightRules.clear();
        OutputTextEdit edit;
        QVERIFY(showText(edit, QStringLiteral("foo foo-bar\nfoo_x foo\n")));
        QTextCursor cursor(edit.document());
        cursor.movePosition(QTextCursor::EndOfWord, QTextCursor::KeepAnchor);
        edit.setTextCursor(cursor);
        QStringList expected;
        for (int i = 0; i < matches; ++i)
            expected << QStringLiteral("foo");
        QCOMPARE(selectedTexts(edit), expected);
    }

    void doubleClickTakesTheDollarSign_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("clickAt");
        QTest::addColumn<bool>("setting");
        QTest::addColumn<QString>("selected");
        QTest::newRow("variable name") << "print $myVar;" << 9 << true << "$myVar";
        QTest::newRow("on the dollar sign") << "print $myVar;" << 6 << true << "$myVar";
        QTest::newRow("setting off") << "print $myVar;" << 9 << false << "myVar";
        QTest::newRow("after a lower-case letter") << "a$myVar" << 4 << true << "myVar";
        QTest::newRow("after the capital A") << "A$myVar" << 4 << true << "myVar";
        // The class lists only A and Z of the capitals.
        QTest::newRow("after the capital B") << "B$myVar" << 4 << true << "$myVar";
        QTest::newRow("no dollar sign") << "print myVar;" << 8 << true << "myVar";
    }

    void doubleClickTakesTheDollarSign()
    {
        QFETCH(QString, text);
        QFETCH(int, clickAt);
        QFETCH(bool, setting);
        QFETCH(QString, selected);
        test::OutputFixture fixture;
        Settings::instance().outputDoubleClickIncludesDollarSign = setting;
        OutputTextEdit edit;
        QVERIFY(showText(edit, text));
        QTextCursor at(edit.document());
        at.setPosition(clickAt);
        const QPoint point = edit.cursorRect(at).center() + QPoint(2, 0);
        QTest::mouseDClick(edit.viewport(), Qt::LeftButton, {}, point);
        QCOMPARE(edit.textCursor().selectedText(), selected);
    }

    void fontSizeStaysInRange_data()
    {
        QTest::addColumn<int>("base");
        QTest::addColumn<int>("zoom");
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("storedZoom");
        QTest::newRow("unzoomed") << 9 << 0 << 9 << 0;
        QTest::newRow("zoomed in") << 9 << 3 << 12 << 3;
        QTest::newRow("zoomed past the top") << 9 << 40 << 24 << 15;
        QTest::newRow("zoomed past the bottom") << 9 << -8 << 6 << -3;
        QTest::newRow("base below the range") << 3 << 0 << 6 << 3;
        QTest::newRow("base above the range") << 30 << 0 << 24 << -6;
    }

    void fontSizeStaysInRange()
    {
        QFETCH(int, base);
        QFETCH(int, zoom);
        QFETCH(int, size);
        QFETCH(int, storedZoom);
        test::OutputFixture fixture;
        Settings::instance().outputFont.setPointSize(base);
        Settings::instance().outputZoom = zoom;
        OutputTextEdit edit;
        QCOMPARE(edit.font().pointSize(), size);
        QCOMPARE(Settings::instance().outputZoom, storedZoom);
    }

    void ctrlWheelAsksForZoom_data()
    {
        QTest::addColumn<bool>("setting");
        QTest::addColumn<int>("delta");
        QTest::addColumn<int>("increases");
        QTest::addColumn<int>("decreases");
        QTest::newRow("up") << true << 120 << 1 << 0;
        QTest::newRow("down") << true << -120 << 0 << 1;
        QTest::newRow("setting off") << false << 120 << 0 << 0;
    }

    void ctrlWheelAsksForZoom()
    {
        QFETCH(bool, setting);
        QFETCH(int, delta);
        QFETCH(int, increases);
        QFETCH(int, decreases);
        test::OutputFixture fixture;
        Settings::instance().outputMouseWheelChangesFontSize = setting;
        OutputTextEdit edit;
        showAndWait(edit);
        QSignalSpy up(&edit, &OutputTextEdit::IncreaseFontSizeRequested);
        QSignalSpy down(&edit, &OutputTextEdit::DecreaseFontSizeRequested);
        const QPoint at = edit.viewport()->rect().center();
        QWheelEvent wheel(at, edit.viewport()->mapToGlobal(at), QPoint(), QPoint(0, delta), Qt::NoButton,
                          Qt::ControlModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(edit.viewport(), &wheel);
        QCOMPARE(up.count(), increases);
        QCOMPARE(down.count(), decreases);
    }

    void contextMenuCopiesSelectsAndClears()
    {
        test::OutputFixture fixture;
        OutputTextEdit edit;
        QVERIFY(showText(edit, QStringLiteral("first\nsecond\n")));
        std::unique_ptr<QMenu> menu(edit.CreateContextMenu(QPoint(5, 5)));
        // Without a link test no line is an error link.
        QStringList texts;
        for (QAction *action : menu->actions())
            texts << action->text();
        QCOMPARE(texts, (QStringList{"Copy", "Select All", "Clear Output"}));
        menu->actions().at(1)->trigger();
        QCOMPARE(edit.textCursor().selectedText(), QStringLiteral("first\u2029second\u2029"));
        menu->actions().at(2)->trigger();
        QVERIFY(edit.document()->isEmpty());
        // Output after clearing starts afresh.
        edit.AppendText(QStringLiteral("third\n"));
        QTRY_COMPARE(edit.toPlainText(), QStringLiteral("third\n"));
    }

    // Error lines that lead somewhere: Ctrl+click activates them (with the count of identical
    // lines after, which tells repeated runs apart), a plain click selects as usual, and the
    // context menu offers "Go to Error" on them only.
    void errorLinesActivate()
    {
        test::OutputFixture fixture;
        OutputTextEdit edit;
        edit.SetErrorLinkTest([](const QString &line) { return line.startsWith(QLatin1String("# Error:")); });
        QVERIFY(showText(edit, QStringLiteral("print('a')\n# Error: line 2 #\nplain\n# Error: line 2 #\n")));
        QSignalSpy activated(&edit, &OutputTextEdit::ErrorLineActivated);
        auto pointAt = [&](int block) {
            QTextCursor cursor(edit.document()->findBlockByNumber(block));
            return edit.cursorRect(cursor).center() + QPoint(4, 0);
        };
        QTest::mouseClick(edit.viewport(), Qt::LeftButton, Qt::ControlModifier, pointAt(1));
        QCOMPARE(activated.count(), 1);
        QCOMPARE(activated.last().at(0).toString(), QStringLiteral("# Error: line 2 #"));
        QCOMPARE(activated.last().at(1).toInt(), 1);
        QTest::mouseClick(edit.viewport(), Qt::LeftButton, Qt::ControlModifier, pointAt(3));
        QCOMPARE(activated.last().at(1).toInt(), 0);
        QTest::mouseClick(edit.viewport(), Qt::LeftButton, Qt::ControlModifier, pointAt(2));
        QTest::mouseClick(edit.viewport(), Qt::LeftButton, Qt::NoModifier, pointAt(1));
        QCOMPARE(activated.count(), 2);

        // Under the mouse with Ctrl held the line is underlined.
        QTest::mouseMove(edit.viewport(), pointAt(1));
        QMouseEvent move(QEvent::MouseMove, pointAt(1), Qt::NoButton, Qt::NoButton, Qt::ControlModifier);
        QCoreApplication::sendEvent(edit.viewport(), &move);
        const QList<QTextEdit::ExtraSelection> selections = edit.extraSelections();
        QVERIFY(std::any_of(selections.cbegin(), selections.cend(), [](const QTextEdit::ExtraSelection &selection) {
            return selection.format.fontUnderline() && selection.cursor.selectedText() == "# Error: line 2 #";
        }));

        std::unique_ptr<QMenu> onError(edit.CreateContextMenu(pointAt(1)));
        QCOMPARE(onError->actions().first()->text(), QStringLiteral("Go to Error"));
        onError->actions().first()->trigger();
        QCOMPARE(activated.count(), 3);
        std::unique_ptr<QMenu> onPlain(edit.CreateContextMenu(pointAt(2)));
        QCOMPARE(onPlain->actions().first()->text(), QStringLiteral("Copy"));
    }

    // While the discard flag is set the callback still delivers, with empty text, and the panel
    // takes nothing in; once it is cleared the lines come through framed as before.
    void discardFlagKeepsLinesOut()
    {
        test::OutputFixture fixture;
        QTemporaryDir dir;
        OutputTextEdit edit;
        showAndWait(edit);
        QVERIFY(edit.StartWritingToFile(dir.filePath(QStringLiteral("discard.log"))));
        int delivered = 0;
        QVERIFY(fixture.host.addCallbacks({}));
        fixture.host.output().setReceiver([&](const QString &text) {
            ++delivered;
            edit.AppendText(text);
        });
        edit.SetDiscardOutput(true);
        QVERIFY(edit.DiscardOutput());
        fixture.host.emitOutput(QStringLiteral("print('x')\n"), MessageType::History);
        fixture.host.emitOutput(QStringLiteral("oops"), MessageType::Error);
        QCoreApplication::processEvents();
        QCOMPARE(delivered, 2);
        QVERIFY(edit.document()->isEmpty());
        QVERIFY(!edit.HasPendingOutput());
        QCOMPARE(fileContent(edit.LogFilePath()), QByteArray());

        edit.SetDiscardOutput(false);
        fixture.host.emitOutput(QStringLiteral("oops"), MessageType::Error);
        QTRY_COMPARE(edit.toPlainText(), QStringLiteral("# Error: oops #\n"));
        QCOMPARE(fileContent(edit.LogFilePath()), QByteArray("# Error: oops #\n"));
    }

    void logFileNameGetsTheSuffix_data()
    {
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("name");
        const QString log = OutputView::LogFilter(), all = OutputView::AllFilesFilter();
        QTest::newRow("no suffix, LOG filter") << "/tmp/session" << log << "/tmp/session.log";
        QTest::newRow("own suffix kept") << "/tmp/session.txt" << log << "/tmp/session.txt";
        QTest::newRow("no suffix, all files") << "/tmp/session" << all << "/tmp/session";
        QTest::newRow("dot in a folder name only") << "/tmp/a.b/session" << log << "/tmp/a.b/session.log";
    }

    void logFileNameGetsTheSuffix()
    {
        QFETCH(QString, chosen);
        QFETCH(QString, filter);
        QFETCH(QString, name);
        QCOMPARE(OutputView::LogFileName(chosen, filter), name);
    }

    // The "Write to File" button as a user works it: a file chosen without a suffix becomes a
    // ".log" file that receives what comes after; asking to stop closes it.
    void writeToFileButton()
    {
        test::OutputFixture fixture;
        QTemporaryDir dir;
        OutputView view;
        showAndWait(view);
        QSignalSpy updated(&view, &OutputView::WriteToFileUpdated);
        view.AppendText(QStringLiteral("before\n"));

        test::whenModal<QFileDialog>([&](QFileDialog *dialog) {
            dialog->selectNameFilter(OutputView::LogFilter());
            test::typeFileName(dialog, dir.filePath(QStringLiteral("session")));
            static_cast<QDialog *>(dialog)->accept();
        });
        QTest::mouseClick(view.WriteToFileButton(), Qt::LeftButton);
        const QString path = dir.filePath(QStringLiteral("session.log"));
        QCOMPARE(view.TextEdit()->LogFilePath(), path);
        QCOMPARE(view.WriteToFileButton()->toolTip(), QStringLiteral("Write to File (%1)").arg(path));
        QCOMPARE(updated.count(), 1);
        QCOMPARE(updated.last().at(0).toBool(), true);
        view.AppendText(QStringLiteral("during\n"));

        QString question;
        test::whenModal<QMessageBox>([&](QMessageBox *box) {
            question = box->windowTitle() + QLatin1Char('|') + box->text();
            box->button(QMessageBox::Yes)->click();
        });
        QTest::mouseClick(view.WriteToFileButton(), Qt::LeftButton);
        QCOMPARE(question, QStringLiteral("Stop writing to file|Stop writing output to file?"));
        QVERIFY(!view.TextEdit()->IsWritingToFile());
        QCOMPARE(view.WriteToFileButton()->toolTip(), QStringLiteral("Write to File"));
        QCOMPARE(updated.last().at(0).toBool(), false);
        view.AppendText(QStringLiteral("after\n"));
        QCOMPARE(fileContent(path), QByteArray("during\n"));
    }

    void logFileThatCannotOpenIsReported()
    {
        test::OutputFixture fixture;
        QTemporaryDir dir;
        OutputView view;
        showAndWait(view);
        // A path below a regular file cannot be created, whoever runs the test.
        QFile blocker(dir.filePath(QStringLiteral("file")));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const QString path = dir.filePath(QStringLiteral("file/out.log"));
        QSignalSpy updated(&view, &OutputView::WriteToFileUpdated);
        QVERIFY(!view.WriteToFile(path));
        QVERIFY(!view.TextEdit()->IsWritingToFile());
        QCOMPARE(updated.count(), 0);
        QCOMPARE(view.WriteToFileButton()->toolTip(), QStringLiteral("Write to File"));
        QCOMPARE(fixture.host.texts(test::FakeHost::Kind::Error),
                 QStringList{QStringLiteral("[KestrelEditor2] Failed to open log file for write: %1").arg(path)});
    }

    // The verbosity choice sets the host's echo of all commands and the minimal trace.
    void verbosityDrivesEchoAndTrace_data()
    {
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("echoCommand");
        QTest::addColumn<bool>("minimalTrace");
        QTest::newRow("Echo All") << 0 << "commandEcho -state 1" << false;
        QTest::newRow("Normal") << 1 << "commandEcho -state 0" << false;
        QTest::newRow("Minimal") << 2 << "commandEcho -state 0" << true;
    }

    void verbosityDrivesEchoAndTrace()
    {
        QFETCH(int, level);
        QFETCH(QString, echoCommand);
        QFETCH(bool, minimalTrace);
        test::OutputFixture fixture;
        fixture.host.optionVars.insert(QStringLiteral("echoAllLines"), level == 0 ? 0 : 1);
        OutputView view;
        QSignalSpy changed(&view, &OutputView::EchoAllCommandsChanged);
        view.VerbosityBox()->setCurrentIndex(level);
        QCOMPARE(changed.count(), 1);
        fixture.host.runIdle();
        QVERIFY2(fixture.host.texts().contains(echoCommand), qPrintable(fixture.host.texts().join(" | ")));
        QCOMPARE(fixture.host.optionVarInt(QStringLiteral("echoAllLines")), level == 0 ? 1 : 0);
        QCOMPARE(Settings::instance().outputMinimalTrace, minimalTrace);
        QCOMPARE(fixture.host.output().minimalTrace(), minimalTrace);
        QCOMPARE(OutputView::HostVerbosity(), level);
    }
};

KE2_TEST_CLASS(OutputTextEditTest)
#include "test_output_text_edit.moc"
