// Highlighting speed of the MEL and Python highlighters on generated documents: full passes,
// an edit in the middle, linearity with doubling inputs and hostile input. When KDE's
// syntax-highlighting library is available, its Python definition highlights the same Python
// document for comparison.
#include "bench_target.h"
#include "language/code_editor_block_data.h"
#include "language/mel_highlighter.h"
#include "language/python_highlighter.h"

#include <QtCore/QElapsedTimer>
#include <QtGui/QSyntaxHighlighter>
#include <QtGui/QTextBlock>
#include <QtGui/QTextCursor>
#include <QtGui/QTextDocument>
#include <QtGui/QTextLayout>
#include <QtWidgets/QApplication>
#include <QtWidgets/QPlainTextDocumentLayout>

#ifdef KE2_HAVE_KSYNTAXHIGHLIGHTING
#include <KSyntaxHighlighting/Definition>
#include <KSyntaxHighlighting/Repository>
#include <KSyntaxHighlighting/SyntaxHighlighter>
#include <KSyntaxHighlighting/Theme>
#endif

#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>

using namespace ke2;

namespace {

const int kLines = 100000;

template <typename Base>
class Counting : public Base {
public:
    using Base::Base;
    int count = 0;

protected:
    void highlightBlock(const QString &text) override
    {
        ++count;
        Base::highlightBlock(text);
    }
};

QString pythonChunk(int n)
{
    return QStringLiteral(
               "class Mesh%1(object):\n"
               "    \"\"\"Docstring for mesh %1.\n"
               "\n"
               "    More text with 'quotes' and (brackets).\n"
               "    \"\"\"\n"
               "\n"
               "    def __init__(self, name, size=1.5):\n"
               "        self.name = name  # keep the name\n"
               "        self.items = [len(x) for x in range(%1)]\n"
               "        path = os.path.join('a', \"b/c\", name)\n"
               "        cmds.polySphere(n=name, r=size)\n"
               "\n"
               "    @property\n"
               "    def value(self):\n"
               "        if self.size > 0 and isinstance(self.name, str):\n"
               "            return {'key': self.items[0], \"other\": (1, 2, 3)}\n"
               "        text = '''one line docstring''' + str(0x1F)\n"
               "        return None\n"
               "\n"
               "\n")
        .arg(n);
}

QString melChunk(int n)
{
    return QStringLiteral(
               "// Procedure number %1.\n"
               "global proc string[] makeSpheres%1(string $names[], float $radius)\n"
               "{\n"
               "    string $result[];\n"
               "    for ($name in $names) {\n"
               "        string $s[] = `polySphere -r $radius -n ($name + \"_sphere\")`;\n"
               "        $result[size($result)] = $s[0];\n"
               "    }\n"
               "    /* a block comment\n"
               "       over two lines */\n"
               "    setAttr -type \"string\" ($s[0] + \".notes\") \"text \\\"quoted\\\"\";\n"
               "    select -r $result; ls -sl;\n"
               "    if (`objExists $result[0]`) print(\"exists\\n\");\n"
               "    float $v = 1.5 * 2;\n"
               "    return $result;\n"
               "}\n"
               "\n"
               "makeSpheres%1({\"a\", \"b\"}, 0.5);\n"
               "int $count = size($names);\n"
               "\n")
        .arg(n);
}

// Exactly `lines` lines made of repeated chunks.
QString generate(const std::function<QString(int)> &chunk, int lines)
{
    QStringList all;
    all.reserve(lines + 32);
    for (int n = 0; all.size() < lines; ++n)
        all += chunk(n).split(QLatin1Char('\n')).mid(0, 20);
    all = all.mid(0, lines);
    return all.join(QLatin1Char('\n'));
}

QStringList hostCommands()
{
    QStringList names = {QStringLiteral("polySphere"), QStringLiteral("setAttr"), QStringLiteral("select"),
                         QStringLiteral("ls"), QStringLiteral("print"), QStringLiteral("size"),
                         QStringLiteral("objExists")};
    for (int i = names.size(); i < 12000; ++i)
        names.append(QStringLiteral("hostCommand%1").arg(i));
    return names;
}

QStringList pythonKeywords()
{
    return QStringLiteral("False None True and as assert async await break class continue def del elif else "
                          "except finally for from global if import in is lambda nonlocal not or pass raise "
                          "return try while with yield")
        .split(QLatin1Char(' '));
}

QStringList pythonBuiltins()
{
    QStringList names = QStringLiteral("abs all any ascii bin bool breakpoint bytearray bytes callable chr "
                                       "classmethod compile complex delattr dict dir divmod enumerate eval exec "
                                       "filter float format frozenset getattr globals hasattr hash help hex id "
                                       "input int isinstance issubclass iter len list locals map max memoryview "
                                       "min next object oct open ord pow print property range repr reversed round "
                                       "set setattr slice sorted staticmethod str sum super tuple type vars zip")
                            .split(QLatin1Char(' '));
    for (int i = 0; i < 80; ++i) // exception classes and the like
        names.append(QStringLiteral("BuiltinError%1").arg(i));
    return names;
}

struct Document {
    Document()
    {
        document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
    }
    QTextDocument document;
};

// Qt's own share of a pass: the formats and states our highlighter gave each line, replayed
// without finding them. What is left of a pass after this floor is the highlighter's own work.
class Replay : public QSyntaxHighlighter {
public:
    struct Line {
        QVector<QTextLayout::FormatRange> formats;
        int state = -1;
    };
    Replay(QTextDocument *document, const QVector<Line> &lines) : QSyntaxHighlighter(document), m_lines(lines) {}

protected:
    void highlightBlock(const QString &) override
    {
        const Line &line = m_lines.at(currentBlock().blockNumber());
        for (const QTextLayout::FormatRange &range : line.formats)
            setFormat(range.start, range.length, range.format);
        setCurrentBlockState(line.state);
    }

private:
    const QVector<Line> &m_lines;
};

// Our highlighter slices long passes; the whole pass is what is compared here.
void finish(Highlighter *highlighter)
{
    highlighter->FinishPending();
}
#ifdef KE2_HAVE_KSYNTAXHIGHLIGHTING
void finish(KSyntaxHighlighting::SyntaxHighlighter *)
{
}
// Only the comparison with the library uses the replay.
void finish(Replay *)
{
}
#endif

// This thread's processor time in milliseconds: what a pass costs, whatever else the machine
// runs meanwhile (the comparison with the library is a ratio of two such costs).
double threadMs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

// Milliseconds of a full highlighting pass over `text` with a fresh highlighter; best of `runs`.
// With `cpu`, the thread's processor time instead of the wall clock's.
template <typename Make>
double fullPass(const QString &text, Make make, int runs = 3, bool cpu = false)
{
    double best = 1e300;
    for (int run = 0; run < runs; ++run) {
        Document doc;
        doc.document.setPlainText(text);
        auto highlighter = make(&doc.document);
        QElapsedTimer timer;
        timer.start();
        const double started = threadMs();
        highlighter->rehighlight();
        finish(highlighter.get());
        best = qMin(best, cpu ? threadMs() - started : timer.nsecsElapsed() / 1e6);
    }
    return best;
}

double linesPerSecond(int lines, double ms)
{
    return ms > 0 ? lines / (ms / 1000.0) : 0;
}

void row(const char *what, const QString &value)
{
    std::printf("| %-58s | %40s |\n", what, qPrintable(value));
}

QString rate(int lines, double ms)
{
    return QStringLiteral("%1 lines/s (%2 ms)").arg(qRound64(linesPerSecond(lines, ms))).arg(ms, 0, 'f', 1);
}

std::unique_ptr<Highlighter> makePython(QTextDocument *d)
{
    return std::make_unique<PythonHighlighter>(d);
}
std::unique_ptr<Highlighter> makeMel(QTextDocument *d)
{
    return std::make_unique<MelHighlighter>(d);
}

// An edit in the middle line: how many lines are re-highlighted and how long it takes.
template <typename H>
QString middleEdit(const QString &text, int line, const QString &insertion, bool atLineEnd)
{
    Document doc;
    doc.document.setPlainText(text);
    H highlighter(&doc.document);
    highlighter.rehighlight();
    highlighter.FinishPending();
    highlighter.count = 0;
    QTextCursor cursor(doc.document.findBlockByNumber(line));
    if (atLineEnd)
        cursor.movePosition(QTextCursor::EndOfBlock);
    QElapsedTimer timer;
    timer.start();
    cursor.insertText(insertion);
    while (highlighter.HighlightPending()) // the lines left for later slices too
        QCoreApplication::processEvents();
    const double ms = timer.nsecsElapsed() / 1e6;
    return QStringLiteral("%1 lines re-highlighted, %2 ms").arg(highlighter.count).arg(ms, 0, 'f', 2);
}

QString timeOnce(const QString &text, bool python)
{
    const double ms = fullPass(text, python ? makePython : makeMel, 1);
    return QStringLiteral("%1 ms").arg(ms, 0, 'f', 1);
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    MelHighlighter::setWordLists({QStringLiteral("break"), QStringLiteral("case"), QStringLiteral("continue"),
                                  QStringLiteral("default"), QStringLiteral("do"), QStringLiteral("else"),
                                  QStringLiteral("false"), QStringLiteral("float"), QStringLiteral("for"),
                                  QStringLiteral("global"), QStringLiteral("if"), QStringLiteral("in"),
                                  QStringLiteral("int"), QStringLiteral("matrix"), QStringLiteral("no"),
                                  QStringLiteral("off"), QStringLiteral("on"), QStringLiteral("proc"),
                                  QStringLiteral("return"), QStringLiteral("string"), QStringLiteral("switch"),
                                  QStringLiteral("true"), QStringLiteral("vector"), QStringLiteral("while"),
                                  QStringLiteral("yes")},
                                 hostCommands());
    PythonHighlighter::setWordLists(pythonKeywords(), pythonBuiltins(), hostCommands());

    const QString python = generate(pythonChunk, kLines);
    const QString mel = generate(melChunk, kLines);

    std::printf("| %-58s | %40s |\n", "Measurement", "Result");
    std::printf("|%s|%s|\n", QByteArray(60, '-').constData(), QByteArray(42, '-').constData());

    // Full passes, 100,000 lines, 12,000 host commands loaded. Ours and the library's runs
    // alternate, so that load from elsewhere on the machine hits both alike; best of five each.
#ifdef KE2_HAVE_KSYNTAXHIGHLIGHTING
    {
        KSyntaxHighlighting::Repository repository;
        const KSyntaxHighlighting::Definition definition = repository.definitionForName(QStringLiteral("Python"));
        const KSyntaxHighlighting::Theme theme = repository.defaultTheme(KSyntaxHighlighting::Repository::DarkTheme);
        auto makeTheirs = [&](QTextDocument *d) {
            auto highlighter = std::make_unique<KSyntaxHighlighting::SyntaxHighlighter>(d);
            highlighter->setTheme(theme);
            highlighter->setDefinition(definition);
            return highlighter;
        };
        double ours = 1e300;
        double theirs = 1e300;
        for (int run = 0; run < 5; ++run) {
            ours = qMin(ours, fullPass(python, makePython, 1, true));
            theirs = qMin(theirs, fullPass(python, makeTheirs, 1, true));
        }
        QVector<Replay::Line> lines;
        {
            Document doc;
            doc.document.setPlainText(python);
            auto highlighter = makePython(&doc.document);
            highlighter->rehighlight();
            highlighter->FinishPending();
            for (QTextBlock block = doc.document.begin(); block.isValid(); block = block.next())
                lines.append({block.layout()->formats(), block.userState()});
        }
        double floor = 1e300;
        for (int run = 0; run < 5; ++run)
            floor = qMin(floor, fullPass(python, [&](QTextDocument *d) { return std::make_unique<Replay>(d, lines); }, 1, true));
        row("Python 100,000 lines, ours (thread time)", rate(kLines, ours));
        row("Python 100,000 lines, Qt's share: our formats replayed", rate(kLines, floor));
        row("Python: KDE's time / Qt's share alone (the most any highlighter could reach)",
            QStringLiteral("%1x").arg(theirs / floor, 0, 'f', 2));
        row("Python 100,000 lines, KDE syntax-highlighting (thread time)", rate(kLines, theirs));
        row("Python: our speed / KDE speed", QStringLiteral("%1x").arg(theirs / ours, 0, 'f', 2));
        ke2bench::TargetRow("Python highlighting, 100,000 lines: our speed / KDE's", theirs / ours, "x", ">= 2x",
                            theirs / ours >= 2);
    }
#else
    row("Python 100,000 lines, ours", rate(kLines, fullPass(python, makePython, 5)));
    row("Python 100,000 lines, KDE syntax-highlighting (Python)", QStringLiteral("library not found"));
#endif
    row("MEL 100,000 lines, ours", rate(kLines, fullPass(mel, makeMel, 5)));

    // An edit in the middle of the 100,000 lines.
    // Line 50,000 starts a chunk; its line 8 is followed by plain code.
    const int middle = kLines / 2;
    row("Python middle edit, state unchanged", middleEdit<Counting<PythonHighlighter>>(python, middle, QStringLiteral("x = 1; "), false));
    row("Python middle edit, string continued by backslash",
        middleEdit<Counting<PythonHighlighter>>(python, middle + 8, QStringLiteral(" + 'a\\"), true));
    row("Python middle edit, \"\"\" inverts every later docstring",
        middleEdit<Counting<PythonHighlighter>>(python, middle, QStringLiteral("\"\"\""), false));
    row("MEL middle edit, state unchanged", middleEdit<Counting<MelHighlighter>>(mel, middle, QStringLiteral("$x = 1; "), false));
    row("MEL middle edit, block comment up to the next */",
        middleEdit<Counting<MelHighlighter>>(mel, middle, QStringLiteral("/*"), false));

    // Linearity: doubling the number of lines, then the length of one line.
    for (int lines = 25000; lines <= 200000; lines *= 2) {
        const QByteArray label = QStringLiteral("Python %1 lines (doubling)").arg(lines).toUtf8();
        row(label.constData(), rate(lines, fullPass(generate(pythonChunk, lines), makePython, 3)));
    }
    for (int lines = 25000; lines <= 200000; lines *= 2) {
        const QByteArray label = QStringLiteral("MEL %1 lines (doubling)").arg(lines).toUtf8();
        row(label.constData(), rate(lines, fullPass(generate(melChunk, lines), makeMel, 3)));
    }
    const QString pythonUnit = QStringLiteral("x = len(a) + 'str' + f(b, \"c\") ");
    const QString melUnit = QStringLiteral("ls -q $v; \"s\" /* c */ polySphere(1); ");
    for (int kb = 256; kb <= 2048; kb *= 2) {
        const QString pythonLine = pythonUnit.repeated(kb * 1024 / pythonUnit.size());
        const QString melLine = melUnit.repeated(kb * 1024 / melUnit.size());
        const QByteArray pythonLabel = QStringLiteral("Python one line of %1 KB (doubling)").arg(kb).toUtf8();
        const QByteArray melLabel = QStringLiteral("MEL one line of %1 KB (doubling)").arg(kb).toUtf8();
        row(pythonLabel.constData(), timeOnce(pythonLine, true));
        row(melLabel.constData(), timeOnce(melLine, false));
    }

    // Hostile input: none may crash or hang.
    row("Bad: 1 MB Python line of one word", timeOnce(QString(1024 * 1024, QLatin1Char('x')), true));
    row("Bad: 1 MB MEL line of one command repeated", timeOnce(QStringLiteral("ls ").repeated(350000), false));
    row("Bad: single-line file", timeOnce(QStringLiteral("print('x')"), true));
    row("Bad: unterminated docstring over 100,000 lines",
        timeOnce(QStringLiteral("\"\"\"\n") + generate(pythonChunk, kLines).replace(QLatin1String("\"\"\""), QLatin1String("'")), true));
    row("Bad: unterminated block comment over 100,000 lines",
        timeOnce(QStringLiteral("/*\n") + generate(melChunk, kLines).replace(QLatin1String("*/"), QLatin1String("*")), false));
    row("Bad: unterminated strings on 100,000 lines", timeOnce(QStringLiteral("x = 'abc\\\n").repeated(kLines), true));
    QString control;
    for (int i = 0; i < 100000; ++i)
        control += QChar(ushort(i % 32)) + QStringLiteral("x = '") + QChar(0) + QStringLiteral("' ");
    row("Bad: NUL and control characters (700 KB)", timeOnce(control, true));
    QString surrogates;
    for (int i = 0; i < 100000; ++i)
        surrogates += QStringLiteral("a = '") + QChar(0xD800 + i % 1024) + QStringLiteral("' ") + QChar(0xDC00) + QChar(0xDC00);
    row("Bad: lone surrogates (800 KB)", timeOnce(surrogates, true));
    const QString rtl = QString::fromUtf8("print \"שלום \u202Eעולם\"; // مرحبا بالعالم\n").repeated(kLines / 2);
    row("Bad: right-to-left text, 50,000 lines", timeOnce(rtl, false));
    return 0;
}
