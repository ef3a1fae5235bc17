#include "tests/language/test_highlighter_support.h"
#include "tests/support/fake_host.h"
#include "tests/support/test_registry.h"

#include <QtGui/QTextCursor>
#include <QtWidgets/QPlainTextDocumentLayout>
#include <QtTest/QTest>

using namespace ke2;
using ke2::test::FakeHost;
using ke2::test::HighlightedDocument;
using ke2::test::HighlightFixture;
namespace R = ke2::ColorRoleName;

namespace {
const auto Mel = HighlightedDocument::Mel;
const auto Python = HighlightedDocument::Python;

// Counts the lines it highlights, to see how far an edit re-highlights.
class CountingPythonHighlighter : public PythonHighlighter {
public:
    using PythonHighlighter::PythonHighlighter;
    int count = 0;

protected:
    void highlightBlock(const QString &text) override
    {
        ++count;
        PythonHighlighter::highlightBlock(text);
    }
};
} // namespace

class HighlighterTest : public QObject {
    Q_OBJECT
private slots:
    // One row per character whose colour a rule decides; the role is the one that wins.
    void roleAtColumn_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("line");
        QTest::addColumn<QString>("word"); // the column is where this text starts on the line
        QTest::addColumn<QString>("role");

        const QString lsLine = QStringLiteral("$ls = `ls`;");
        QTest::newRow("mel: $ls is a variable") << int(Mel) << lsLine << 0 << "$ls" << R::melVariables;
        QTest::newRow("mel: ls in backticks is a command") << int(Mel) << lsLine << 0 << "ls`" << R::melCommands;
        QTest::newRow("mel: -q flag is not a command") << int(Mel) << "ls -q $var;" << 0 << "q " << "";
        QTest::newRow("mel: $var is a variable, not a command") << int(Mel) << "ls -q $var;" << 0 << "var" << R::melVariables;
        QTest::newRow("mel: keyword-like word with a dash is no keyword") << int(Mel) << "if-x;" << 0 << "if" << "";
        QTest::newRow("mel: flag-like call is no proc") << int(Mel) << "a -b(1);" << 0 << "b(" << "";
        QTest::newRow("mel: escaped quote stays in the string") << int(Mel) << "print \"a\\\" ls\";" << 0 << "ls" << R::melStrings;
        QTest::newRow("mel: command inside line comment") << int(Mel) << "x; // ls" << 0 << "ls" << R::melComments;
        QTest::newRow("mel: string ends at line end without backslash") << int(Mel) << "print \"a\nls;" << 1 << "ls" << R::melCommands;
        QTest::newRow("mel: string continues after trailing backslash") << int(Mel) << "print \"a\\\nls\";" << 1 << "ls" << R::melStrings;
        QTest::newRow("mel: block comment across lines") << int(Mel) << "/* a\nls */ ls;" << 1 << "ls" << R::melComments;
        QTest::newRow("mel: tab inside string is whitespace") << int(Mel) << "print \"a\tb\";" << 0 << "\t" << R::whitespaces;

        QTest::newRow("py: cmds.polySphere is a MEL command") << int(Python) << "cmds.polySphere()" << 0 << "polySphere" << R::pythonMelCommands;
        QTest::newRow("py: bare polySphere() is only a call") << int(Python) << "polySphere()" << 0 << "polySphere" << R::pythonMethods;
        QTest::newRow("py: bare MEL command name is not coloured") << int(Python) << "ls = 1" << 0 << "ls" << "";
        QTest::newRow("py: os.path.join is no builtin") << int(Python) << "os.path.join(a, b)" << 0 << "path" << "";
        QTest::newRow("py: len(x) is a builtin") << int(Python) << "len(x)" << 0 << "len" << R::pythonBuiltins;
        QTest::newRow("py: dotted len counts once a bare len is there") << int(Python) << "a.len + len" << 0 << "len +" << R::pythonBuiltins;
        QTest::newRow("py: dotted len alone is no builtin") << int(Python) << "a.len + 1" << 0 << "len" << "";
        QTest::newRow("py: keyword inside a word is not") << int(Python) << "if_x = 1" << 0 << "if" << "";
        QTest::newRow("py: keyword after non-ASCII letter is not") << int(Python) << QString::fromUtf8("éif = 1") << 0 << "if" << "";
        QTest::newRow("py: class name without ( stays plain") << int(Python) << "class Foo:" << 0 << "Foo" << "";
        QTest::newRow("py: comment wins over keyword") << int(Python) << "x = 1  # if" << 0 << "if" << R::pythonComments;
        QTest::newRow("py: hash inside a string is no comment") << int(Python) << "x = '#' + y" << 0 << "y" << "";
        QTest::newRow("py: docstring on the next line") << int(Python) << "\"\"\"doc\nlen(x)\n\"\"\"" << 1 << "len" << R::pythonDocStrings;
        QTest::newRow("py: escaped closing quotes do not close") << int(Python) << "'''doc\nstill \\''' open\n'''\nx" << 1 << "open" << R::pythonDocStrings;
        QTest::newRow("py: docstring closes") << int(Python) << "\"\"\"doc\nstill \\\"\"\" open\n\"\"\" + len(x)" << 2 << "len" << R::pythonBuiltins;
        QTest::newRow("py: string ends at line end without backslash") << int(Python) << "x = 'a\nlen(b)" << 1 << "len" << R::pythonBuiltins;
        QTest::newRow("py: string continues after trailing backslash") << int(Python) << "x = 'a\\\nlen(b)'" << 1 << "len" << R::pythonStrings;
        QTest::newRow("py: spaces inside a string are whitespace") << int(Python) << "x = 'a b'" << 0 << " b" << R::whitespaces;
        QTest::newRow("py: tab inside a docstring is whitespace") << int(Python) << "\"\"\"a\tb\"\"\"" << 0 << "\t" << R::whitespaces;
    }
    void roleAtColumn()
    {
        QFETCH(int, language);
        QFETCH(QString, text);
        QFETCH(int, line);
        QFETCH(QString, word);
        QFETCH(QString, role);
        HighlightFixture fixture;
        HighlightedDocument doc(HighlightedDocument::Language(language), text);
        const int column = doc.line(line).text().indexOf(word);
        QVERIFY2(column >= 0, qPrintable(word));
        QCOMPARE(fixture.roleAt(doc.document, line, column), role);
        // A word gets one colour over its whole length.
        for (int i = 1; word.at(0).isLetter() && i < word.size() && word.at(i).isLetter(); ++i)
            QCOMPARE(fixture.roleAt(doc.document, line, column + i), role);
    }

    void switchedOffOnlyResetsLines()
    {
        HighlightFixture fixture;
        HighlightedDocument doc(Python, QStringLiteral("\"\"\"doc\n  len(x)  "));
        QCOMPARE(doc.line(0).userState(), 1);
        Highlighter::setHighlightingEnabled(false);
        doc.highlighter->rehighlight();
        for (int line = 0; line < 2; ++line) {
            QCOMPARE(doc.line(line).userState(), -1);
            QVERIFY(doc.line(line).layout()->formats().isEmpty());
            QVERIFY(doc.data(line));
            QVERIFY(doc.data(line)->stringRanges().isEmpty());
            QCOMPARE(doc.data(line)->leadingWhitespace(), QString());
        }
        Highlighter::setHighlightingEnabled(true);
        doc.highlighter->rehighlight();
        QCOMPARE(fixture.roleAt(doc.document, 1, 2), QString(R::pythonDocStrings));
        QCOMPARE(doc.data(1)->leadingWhitespace(), QStringLiteral("  "));
    }

    void colourChangesReachExistingHighlighters()
    {
        HighlightFixture fixture;
        HighlightedDocument doc(Mel, QStringLiteral("ls;"));
        ColorScheme::instance().codeEditorRoles[R::melCommands].format.setForeground(QColor(200, 0, 0));
        Highlighter::reloadFormats();
        doc.highlighter->rehighlight();
        const auto formats = doc.line(0).layout()->formats();
        QVERIFY(!formats.isEmpty());
        QCOMPARE(formats.first().format.foreground().color(), QColor(200, 0, 0));
    }

    // The lists come from the host once: MEL commands are the host's commands, runtime commands
    // and procedures; Python gets its keywords, builtins and the host's commands alone.
    void wordListsLoadOnceFromTheHost()
    {
        HighlightFixture fixture;
        MelHighlighter::resetWordLists();
        PythonHighlighter::resetWordLists();
        FakeHost host;
        host.answer(QStringLiteral("hxGetMelInfo(1, 0, 0)"), QStringList{"ls", "polySphere"});
        host.answer(QStringLiteral("hxGetMelInfo(0, 1, 0)"), QStringList{"ToggleOutliner"});
        host.answer(QStringLiteral("hxGetMelInfo(0, 0, 1)"), QStringList{"myProc", ""});
        host.answer(QStringLiteral("KestrelEditorHelpers.list_keywords()"), QStringList{"if", "def"});
        host.answer(QStringLiteral("KestrelEditorHelpers.list_builtins()"), QStringList{"len"});
        HostBridge::setHost(&host);
        HostBridge::loadMelLists();

        QTextDocument melDocument;
        MelHighlighter mel(&melDocument);
        QCOMPARE(MelHighlighter::commands(), (QSet<QString>{"ls", "polySphere", "ToggleOutliner", "myProc"}));
        QCOMPARE(MelHighlighter::keywords().size(), 25);
        QVERIFY(MelHighlighter::keywords().contains("proc"));

        QTextDocument pythonDocument;
        PythonHighlighter python(&pythonDocument);
        QCOMPARE(PythonHighlighter::keywords(), (QSet<QString>{"if", "def"}));
        QCOMPARE(PythonHighlighter::builtins(), (QSet<QString>{"len"}));
        QCOMPARE(PythonHighlighter::melCommands(), (QSet<QString>{"ls", "polySphere"}));

        const int sent = host.commands().size();
        MelHighlighter secondMel(&melDocument);
        PythonHighlighter secondPython(&pythonDocument);
        QCOMPARE(host.commands().size(), sent);

        // A host that gains names later changes nothing until the lists are reset.
        host.answer(QStringLiteral("hxGetMelInfo(1, 0, 0)"), QStringList{"ls", "polySphere", "newCommand"});
        HostBridge::loadMelLists();
        MelHighlighter third(&melDocument);
        QVERIFY(!MelHighlighter::commands().contains("newCommand"));
        HostBridge::setHost(nullptr);
    }

    // The block state carries only the open region, so an edit re-highlights the following lines
    // until a line's state is the same as before.
    void editRehighlightsUntilStatesAgree()
    {
        HighlightFixture fixture;
        QTextDocument document;
        document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
        QStringList lines;
        for (int i = 0; i < 200; ++i)
            lines.append(QStringLiteral("x%1 = len(y)").arg(i));
        document.setPlainText(lines.join('\n'));
        CountingPythonHighlighter highlighter(&document);
        QCoreApplication::processEvents(); // the queued first pass
        QCOMPARE(highlighter.count, 200);

        QTextCursor cursor(document.findBlockByNumber(100));
        highlighter.count = 0;
        cursor.insertText(QStringLiteral("z = 1; "));
        QCOMPARE(highlighter.count, 1);

        // Opening a docstring changes every later state, up to the end.
        highlighter.count = 0;
        cursor.insertText(QStringLiteral("\"\"\""));
        QCOMPARE(highlighter.count, 100);
        QCOMPARE(document.lastBlock().userState(), 1);

        highlighter.count = 0;
        document.undo();
        QCOMPARE(highlighter.count, 100);
        QCOMPARE(document.lastBlock().userState(), -1);

        // A string continued by a trailing backslash reaches one more line, which ends it.
        highlighter.count = 0;
        QTextCursor end(document.findBlockByNumber(50));
        end.movePosition(QTextCursor::EndOfBlock);
        end.insertText(QStringLiteral(" + 'a\\"));
        QCOMPARE(highlighter.count, 2);
        QCOMPARE(document.findBlockByNumber(50).userState(), 4);
        QCOMPARE(document.findBlockByNumber(51).userState(), -1);
    }

    // Input that must neither crash nor hang, with what highlighting still gets right on it.
    void badInput_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("lastState");
        QTest::addColumn<bool>("lastLineInString");

        QString longLine = QStringLiteral("x = len(a) + 'str' # c ").repeated(1024 * 1024 / 23);
        QTest::newRow("1 MB python line") << int(Python) << longLine << -1 << true;
        QTest::newRow("1 MB mel line") << int(Mel) << QStringLiteral("ls -q $v; \"s\" ").repeated(1024 * 1024 / 15) << -1 << false;
        QTest::newRow("1 MB of one word") << int(Mel) << QString(1024 * 1024, QLatin1Char('l')) << -1 << false;
        QTest::newRow("unterminated docstring over 20000 lines")
            << int(Python) << QStringLiteral("\"\"\"\n") + QStringLiteral("x = len(y)\n").repeated(20000) << 1 << true;
        QTest::newRow("unterminated block comment over 20000 lines")
            << int(Mel) << QStringLiteral("/*\n") + QStringLiteral("ls;\n").repeated(20000) << 1 << true;
        QTest::newRow("NUL and control characters")
            << int(Python) << QStringLiteral("x = '\0\x01\x1b' + \0 len(\x7f)").append(QChar(0)) << -1 << false;
        QString lone = QStringLiteral("x = 'a");
        lone.append(QChar(0xD800)).append(QStringLiteral("b' + len(z) "));
        lone.append(QChar(0xDC00));
        QTest::newRow("lone surrogates") << int(Python) << lone << -1 << false;
        QTest::newRow("right-to-left text")
            << int(Mel) << QString::fromUtf8("print \"שלום עולם\"; // مرحبا\nls \"\u202Eabc\";") << -1 << false;
        QTest::newRow("only backslashes") << int(Python) << QString(5000, QLatin1Char('\\')) << -1 << false;
        QTest::newRow("only quotes") << int(Python) << QString(5001, QLatin1Char('"')) << 1 << true;
    }
    void badInput()
    {
        QFETCH(int, language);
        QFETCH(QString, text);
        QFETCH(int, lastState);
        QFETCH(bool, lastLineInString);
        HighlightFixture fixture;
        HighlightedDocument doc(HighlightedDocument::Language(language), text);
        const QTextBlock last = doc.document.lastBlock();
        QCOMPARE(last.userState(), lastState);
        const CodeEditorBlockData *data = CodeEditorBlockData::of(last);
        QVERIFY(data);
        QCOMPARE(data->isInString(last.length() - 1), lastLineInString);
    }
};
KE2_TEST_CLASS(HighlighterTest)

#include "test_highlighter.moc"
