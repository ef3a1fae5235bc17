// Output highlighting rules that run away: 1,000 output lines of 10,000 'a's with the rule
// `(a+)+$` on, then ten wheel clicks and a key press, as a user scrolling the panel would.
// Reports the longest single pass of the event loop and how long after the wheel clicks the key
// press was handled. Rows: the lines as given (the rule matches each at once), the same lines
// ending in "b" (the rule fails on each only after trying every split), an ordinary rule on the
// same lines for comparison, and lines short enough to be shown whole, each ending in "b".
#include "bench_support.h"
#include "config/color_scheme.h"
#include "config/settings.h"
#include "output/output_text_edit.h"

#include <QtCore/QElapsedTimer>
#include <QtGui/QKeyEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QApplication>

#include <algorithm>
#include <cstdio>

using namespace ke2;

namespace {

struct Result {
    double longestMs = 0;
    double keyMs = -1;
    int selections = 0;
};

Result run(const QString &pattern, const QString &line, int lines)
{
    ColorScheme::instance().outputHighlightRules = {
        OutputHighlightRule::create(QStringLiteral("rule"), QColor(Qt::red), QColor(), pattern, true, false, true)};
    Result result;
    OutputTextEdit edit;
    edit.resize(800, 500);
    edit.show();
    edit.ApplySettings();
    QElapsedTimer clock;
    clock.start();
    ke2bench::EventLoopPasses pass;
    for (int i = 0; i < lines; ++i)
        edit.AppendText(line + QLatin1Char('\n'));
    while (edit.HasPendingOutput())
        pass();
    for (int i = 0; i < 5; ++i)
        pass();
    // Ten wheel clicks up, then a key: each click scrolls and refreshes the visible lines.
    QWidget *viewport = edit.viewport();
    const QPointF at(viewport->width() / 2.0, viewport->height() / 2.0);
    clock.restart();
    for (int i = 0; i < 10; ++i)
        QCoreApplication::postEvent(viewport, new QWheelEvent(at, QPointF(viewport->mapToGlobal(at.toPoint())), QPoint(), QPoint(0, 120),
                                                              Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false));
    ke2bench::KeyWatcher watcher(clock);
    edit.installEventFilter(&watcher);
    QCoreApplication::postEvent(&edit, new QKeyEvent(QEvent::KeyPress, Qt::Key_Home, Qt::ControlModifier));
    while (watcher.answeredMs < 0)
        pass();
    for (int i = 0; i < 10; ++i)
        pass();
    result.longestMs = pass.longestMs;
    result.keyMs = watcher.answeredMs;
    result.selections = edit.extraSelections().size();
    edit.removeEventFilter(&watcher);
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    ke2bench::offscreenUnlessSet();
    QApplication app(argc, argv);
    Settings::instance() = Settings();
    const int lines = argc > 1 && QByteArray(argv[1]).toInt() > 0 ? QByteArray(argv[1]).toInt() : 1000;
    const QString as(10000, QLatin1Char('a'));
    std::printf("Output rules: %d lines each, panel 800x500, then 10 wheel clicks and a key\n\n", lines);
    std::printf("%-36s %-10s %12s %12s %11s\n", "case", "rule", "longest ms", "key ms", "coloured");
    const struct {
        const char *name;
        const char *pattern;
        QString line;
    } rows[] = {{"10,000 'a's", "(a+)+$", as},
                {"10,000 'a's and a 'b'", "(a+)+$", as + QLatin1Char('b')},
                {"10,000 'a's and a 'b', plain rule", "a+b", as + QLatin1Char('b')},
                // The panel shows long lines in pieces of 1,000 characters, so above only the
                // last piece of each line ends in 'b'; here every shown line does.
                {"999 'a's and a 'b'", "(a+)+$", QString(999, QLatin1Char('a')) + QLatin1Char('b')}};
    for (const auto &row : rows) {
        const Result result = run(QString::fromLatin1(row.pattern), row.line, lines);
        std::printf("%-36s %-10s %12.1f %12.1f %11d\n", row.name, row.pattern, result.longestMs, result.keyMs,
                    result.selections);
    }
    return 0;
}
