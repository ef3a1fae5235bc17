#include "config/color_scheme.h"
#include "language/code_editor_block_data.h"
#include "language/mel_highlighter.h"
#include "language/python_highlighter.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtGui/QTextBlock>
#include <QtGui/QTextCursor>
#include <QtGui/QTextDocument>
#include <QtGui/QTextLayout>
#include <QtTest/QTest>
#include <QtWidgets/QPlainTextDocumentLayout>

#include <memory>

using namespace ke2;
using Data = CodeEditorBlockData;
namespace R = ke2::ColorRoleName;

namespace {

const QStringList kMelCommands = {"ls", "polySphere", "select", "q", "var", "print", "setAttr"};

// Gives every code editor role a foreground of its own, so that a format names its role, and
// installs small word lists ("q" and "var" are commands on purpose: flags and variables must
// still never be coloured as commands); everything is put back afterwards.
class Fixture {
public:
    Fixture()
        : m_saved(ColorScheme::instance().codeEditorRoles)
    {
        ColorRoleTable &roles = ColorScheme::instance().codeEditorRoles;
        for (int i = 0; i < roles.names.size(); ++i) {
            roles[roles.names.at(i)].format = QTextCharFormat();
            roles[roles.names.at(i)].format.setForeground(QColor(1, 2, 10 + i));
            m_roleByColor.insert(QColor(1, 2, 10 + i).rgb(), roles.names.at(i));
        }
        Highlighter::reloadFormats();
        MelHighlighter::setWordLists(HostBridge::melKeywords(), kMelCommands);
        PythonHighlighter::setWordLists(QStringLiteral("False None True and as class def elif else for from if import in "
                                                       "is lambda not or pass return while with")
                                            .split(' '),
                                        QStringLiteral("len print range str object path join").split(' '), kMelCommands);
    }
    ~Fixture()
    {
        ColorScheme::instance().codeEditorRoles = m_saved;
        Highlighter::reloadFormats();
        MelHighlighter::resetWordLists();
        PythonHighlighter::resetWordLists();
        Highlighter::setHighlightingEnabled(true);
    }
    QString roleOf(const QTextCharFormat &format) const
    {
        return format.hasProperty(QTextFormat::ForegroundBrush) ? m_roleByColor.value(format.foreground().color().rgb(), "?") : QString();
    }
    // The role of every character of a line; empty for unformatted text.
    QVector<QString> roles(const QTextBlock &block) const
    {
        QVector<QString> roles(block.text().size());
        for (const QTextLayout::FormatRange &range : block.layout()->formats())
            for (int i = range.start; i < range.start + range.length && i < roles.size(); ++i)
                roles[i] = roleOf(range.format);
        return roles;
    }
    // Everything highlighting produced, per line: state, spans as [Role|text], block data.
    QByteArray dump(const QTextDocument &document) const
    {
        QString out;
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
            out += QStringLiteral("%1 state=%2\n  ").arg(block.blockNumber() + 1).arg(block.userState());
            const QString text = block.text();
            const QVector<QString> role = roles(block);
            for (int i = 0, end = 0; i < text.size(); i = end) {
                while (end < text.size() && role.at(end) == role.at(i))
                    ++end;
                out += role.at(i).isEmpty() ? text.mid(i, end - i) : QStringLiteral("[%1|%2]").arg(role.at(i), text.mid(i, end - i));
            }
            const Data *data = Data::of(block);
            if (!data)
                return out.toUtf8() + "\n  no data\n";
            out += QStringLiteral("\n  indent=\"%1\" blank=%2 hint=%3 code=\"%4\"\n")
                       .arg(QString(data->leadingWhitespace()).replace('\t', "\\t"))
                       .arg(int(data->isBlank())).arg(data->indentHint()).arg(data->codeText());
            QStringList brackets;
            for (const Data::BracketKind kind : {Data::BracketKind(0), Data::BracketKind(1), Data::BracketKind(2)})
                for (const auto &entry : data->brackets(kind))
                    brackets << QStringLiteral("%1@%2")
                                    .arg(entry.step > 0 ? Data::openingOf(kind) : Data::closingOf(kind))
                                    .arg(entry.column);
            if (!brackets.isEmpty())
                out += "  brackets " + brackets.join(' ') + '\n';
            const QPair<const char *, QVector<Data::Range>> kinds[] = {
                {"strings", data->stringRanges()},
                {"lineComments", data->lineCommentRanges()},
                {"blockComments", data->blockCommentRanges()}};
            for (const auto &kind : kinds) {
                QStringList parts;
                for (const auto &range : kind.second)
                    parts << QStringLiteral("%1-%2").arg(range.start).arg(range.end);
                if (!parts.isEmpty())
                    out += QStringLiteral("  %1 %2\n").arg(kind.first, parts.join(' '));
            }
        }
        return out.toUtf8();
    }

private:
    ColorRoleTable m_saved;
    QHash<QRgb, QString> m_roleByColor;
};

// A document with a highlighter of the language attached, highlighted in full.
template<class Language = PythonHighlighter>
struct Document {
    explicit Document(const QString &text, bool mel = false)
    {
        // As in the editor: without a layout the document reports no changes to highlighters.
        document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
        document.setPlainText(text);
        if (mel)
            highlighter = std::make_unique<MelHighlighter>(&document);
        else
            highlighter = std::make_unique<Language>(&document);
        QCoreApplication::processEvents(); // the highlighter's first full pass is queued
        highlighter->FinishPending();        // and sliced when it is long
    }
    QTextBlock line(int number) const { return document.findBlockByNumber(number); }
    Data *data(int number) const { return Data::of(line(number)); }
    QTextDocument document;
    std::unique_ptr<Highlighter> highlighter;
};

// Counts the lines it highlights, to see how far an edit re-highlights (lines left for a later
// slice are not counted until they are highlighted).
class CountingPythonHighlighter : public PythonHighlighter {
public:
    using PythonHighlighter::PythonHighlighter;
    int count = 0;

protected:
    void HighlightWords(const QString &text) override { ++count, PythonHighlighter::HighlightWords(text); }
};

// Takes about a fifth of a millisecond a line, so that a few hundred lines outlast one slice.
class SlowPythonHighlighter : public PythonHighlighter {
public:
    using PythonHighlighter::PythonHighlighter;

protected:
    void highlightBlock(const QString &text) override
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.nsecsElapsed() < 200000) {
        }
        PythonHighlighter::highlightBlock(text);
    }
};

// Applies one rule through the engine (with the rule's speed hints) and nothing else.
class SingleRuleHighlighter : public Highlighter {
public:
    SingleRuleHighlighter(QTextDocument *document, const HighlightRule &rule)
        : Highlighter(document), m_rule(rule)
    {
    }

protected:
    void buildRules() override { rules = {m_rule}; }

private:
    HighlightRule m_rule;
};

} // namespace

class HighlighterTest : public QObject {
    Q_OBJECT
private slots:
    // Every input under data/highlight/ (realistic code, then one line per edge case of the
    // colouring rules and indentation hints) dumped must equal its .ref file. On the same real
    // documents, the inside-string/comment queries agree with the ranges, both ends included.
    void golden_data()
    {
        QTest::addColumn<QString>("input");
        const QDir dir(QStringLiteral(KE2_TEST_DATA_DIR "/highlight"));
        const QStringList inputs = dir.entryList({"*.mel", "*.py"}, QDir::Files, QDir::Name);
        QVERIFY(inputs.size() >= 2);
        for (const QString &name : inputs)
            QTest::newRow(qPrintable(name)) << dir.filePath(name);
    }
    void golden()
    {
        QFETCH(QString, input);
        Fixture fixture;
        const Document<> doc(QString::fromUtf8(test::readFile(input)), input.endsWith(".mel"));
        QVERIFY(test::matchesGolden(fixture.dump(doc.document), input + ".ref"));
        for (QTextBlock block = doc.document.begin(); block.isValid(); block = block.next()) {
            const Data *data = Data::of(block);
            for (int column = -1; column <= block.length(); ++column) {
                auto inside = [column](const QVector<Data::Range> &ranges) {
                    return std::any_of(ranges.begin(), ranges.end(),
                                       [column](const Data::Range &r) { return column >= r.start && column <= r.end; });
                };
                QCOMPARE(data->isInString(column), inside(data->stringRanges()));
                QCOMPARE(data->isInLineComment(column), inside(data->lineCommentRanges()));
                QCOMPARE(data->isInBlockComment(column), inside(data->blockCommentRanges()));
            }
        }
    }

    void switchedOffOnlyResetsLinesAndColoursFollowTheScheme()
    {
        Fixture fixture;
        Document<> doc(QStringLiteral("\"\"\"doc\n  len(x)  "));
        Highlighter::setHighlightingEnabled(false);
        doc.highlighter->rehighlight();
        for (int line = 0; line < 2; ++line) {
            QCOMPARE(doc.line(line).userState(), -1);
            QVERIFY(doc.line(line).layout()->formats().isEmpty());
            QVERIFY(doc.data(line)->stringRanges().isEmpty() && doc.data(line)->leadingWhitespace().isEmpty());
        }
        Highlighter::setHighlightingEnabled(true);
        ColorScheme::instance().codeEditorRoles[R::pythonDocStrings].format.setForeground(QColor(200, 0, 0));
        Highlighter::reloadFormats();
        doc.highlighter->rehighlight();
        QColor colour;
        for (const QTextLayout::FormatRange &range : doc.line(1).layout()->formats())
            colour = range.start <= 2 && 2 < range.start + range.length ? range.format.foreground().color() : colour;
        QCOMPARE(colour, QColor(200, 0, 0));
        QCOMPARE(doc.data(1)->leadingWhitespace(), QStringLiteral("  "));
    }

    // Which word class a word gets where the classes meet: a MEL command word inside a flag or
    // a variable, a Python name on the keyword and the builtin lists.
    void wordClassesWhereTheyMeet_data()
    {
        QTest::addColumn<bool>("mel");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("offset");
        QTest::addColumn<QString>("role"); // empty: no word colour
        QTest::newRow("command word") << true << "ls -ls $ls;" << 0 << "MEL Commands";
        QTest::newRow("a flag spelled as the command") << true << "ls -ls $ls;" << 4 << "";
        QTest::newRow("a variable spelled as the command") << true << "ls -ls $ls;" << 8 << "MEL Variables";
        QTest::newRow("keyword and builtin: the builtin") << false << "x = True" << 4 << "Python Builtins";
        QTest::newRow("keyword only") << false << "x = None" << 4 << "Python Keywords";
    }
    void wordClassesWhereTheyMeet()
    {
        QFETCH(bool, mel);
        QFETCH(QString, text);
        QFETCH(int, offset);
        QFETCH(QString, role);
        Fixture fixture;
        PythonHighlighter::setWordLists({"True", "None", "if"}, {"True", "len"}, {"ls"});
        Document<> doc(text, mel);
        QColor colour;
        for (const QTextLayout::FormatRange &range : doc.line(0).layout()->formats()) {
            if (range.start <= offset && offset < range.start + range.length)
                colour = range.format.foreground().color();
        }
        const QColor expected = role.isEmpty() ? QColor() : ColorScheme::instance().codeEditorRoles.format(role).foreground().color();
        QCOMPARE(colour, expected);
    }

    // The lists come from the host once: MEL commands are the host's commands, runtime commands
    // and procedures; Python gets its keywords, builtins and the host's commands alone.
    void wordListsLoadOnceFromTheHost()
    {
        Fixture fixture;
        MelHighlighter::resetWordLists();
        PythonHighlighter::resetWordLists();
        test::FakeHost host;
        host.answer("hxGetMelInfo(1, 0, 0)", QStringList{"ls", "polySphere"});
        host.answer("hxGetMelInfo(0, 1, 0)", QStringList{"ToggleOutliner"});
        host.answer("hxGetMelInfo(0, 0, 1)", QStringList{"myProc", ""});
        host.answer("KestrelEditorHelpers.list_keywords()", QStringList{"if", "def"});
        host.answer("KestrelEditorHelpers.list_builtins()", QStringList{"len"});
        test::ScopedHost active(&host);
        HostBridge::loadMelLists();
        QTextDocument document;
        MelHighlighter mel(&document);
        PythonHighlighter python(&document);
        QCOMPARE(MelHighlighter::commands(), (QSet<QString>{"ls", "polySphere", "ToggleOutliner", "myProc"}));
        QVERIFY(MelHighlighter::keywords().contains("proc"));
        QCOMPARE(PythonHighlighter::keywords(), (QSet<QString>{"if", "def"}));
        QCOMPARE(PythonHighlighter::builtins(), (QSet<QString>{"len"}));
        QCOMPARE(PythonHighlighter::melCommands(), (QSet<QString>{"ls", "polySphere"}));
        const int sent = host.commands().size();
        MelHighlighter secondMel(&document);
        PythonHighlighter secondPython(&document);
        QCOMPARE(host.commands().size(), sent);
        // Names the host gains later change nothing until the lists are reset.
        host.answer("hxGetMelInfo(1, 0, 0)", QStringList{"ls", "polySphere", "newCommand"});
        HostBridge::loadMelLists();
        MelHighlighter third(&document);
        QVERIFY(!MelHighlighter::commands().contains("newCommand"));
    }

    // The block state carries only the open region, so an edit re-highlights the following lines
    // until a line's state is the same as before.
    void editRehighlightsUntilStatesAgree()
    {
        Fixture fixture;
        QStringList lines;
        for (int i = 0; i < 200; ++i)
            lines << QStringLiteral("x%1 = len(y)").arg(i);
        Document<CountingPythonHighlighter> doc(lines.join('\n'));
        auto &count = static_cast<CountingPythonHighlighter *>(doc.highlighter.get())->count;
        QCOMPARE(count, 200);
        QTextCursor cursor(doc.line(100));
        const QVector<QPair<QString, int>> edits = {{"z = 1; ", 1}, {"\"\"\"", 100}, {QString(), 100}};
        for (const auto &edit : edits) {
            count = 0;
            edit.first.isEmpty() ? doc.document.undo() : cursor.insertText(edit.first);
            doc.highlighter->FinishPending(); // a loaded machine may have sliced the pass
            QCOMPARE(count, edit.second);
        }
        QCOMPARE(doc.document.lastBlock().userState(), -1);
        // A string continued by a trailing backslash reaches one more line, which ends it.
        count = 0;
        QTextCursor end(doc.line(50));
        end.movePosition(QTextCursor::EndOfBlock);
        end.insertText(QStringLiteral(" + 'a\\"));
        doc.highlighter->FinishPending();
        QCOMPARE(count, 2);
        QCOMPARE(doc.line(50).userState(), 4);

        // Text pasted over a selection that spans a line end: the line after it gets a new
        // previous line that ends outside the string its old one ended in.
        Document<PythonHighlighter> pasted(QStringLiteral("x = 1\ns = \"\"\"\ninside\nend\"\"\""));
        QTextCursor selection(&pasted.document);
        selection.setPosition(1);
        selection.setPosition(11, QTextCursor::KeepAnchor);
        selection.insertText(QStringLiteral("A\nB\nC"));
        pasted.highlighter->FinishPending();
        QCOMPARE(pasted.line(3).text(), QStringLiteral("inside"));
        QCOMPARE(pasted.line(3).userState(), -1);
        QCOMPARE(pasted.line(4).userState(), 1);
    }

    // Input that must neither crash nor hang, with what highlighting still gets right on it.
    void badInput_data()
    {
        QTest::addColumn<bool>("mel");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("lastState");
        QTest::addColumn<bool>("lastLineInString");
        QTest::newRow("1 MB python line") << false << QStringLiteral("x = len(a) + 'str' # c ").repeated(1024 * 1024 / 23) << -1 << true;
        QTest::newRow("1 MB mel line") << true << QStringLiteral("ls -q $v; \"s\" ").repeated(1024 * 1024 / 15) << -1 << false;
        QTest::newRow("1 MB of one word") << true << QString(1024 * 1024, 'l') << -1 << false;
        QTest::newRow("unterminated docstring over 20000 lines")
            << false << "\"\"\"\n" + QStringLiteral("x = len(y)\n").repeated(20000) << 1 << true;
        QTest::newRow("unterminated block comment over 20000 lines")
            << true << "/*\n" + QStringLiteral("ls;\n").repeated(20000) << 1 << true;
        QTest::newRow("NUL and control characters")
            << false << QStringLiteral("x = '\0\x01\x1b' + \0 len(\x7f)").append(QChar(0)) << -1 << false;
        QTest::newRow("lone surrogates") << false << "x = 'a" + QString(QChar(0xD800)) + "b' + len(z) " + QChar(0xDC00) << -1 << false;
        QTest::newRow("right-to-left text")
            << true << QString::fromUtf8("print \"שלום עולם\"; // مرحبا\nls \"\u202Eabc\";") << -1 << false;
        QTest::newRow("only backslashes") << false << QString(5000, '\\') << -1 << false;
        QTest::newRow("only quotes") << false << QString(5001, '"') << 1 << true;
    }
    void badInput()
    {
        QFETCH(bool, mel);
        QFETCH(QString, text);
        QFETCH(int, lastState);
        QFETCH(bool, lastLineInString);
        Fixture fixture;
        const Document<> doc(text, mel);
        const QTextBlock last = doc.document.lastBlock();
        QCOMPARE(last.userState(), lastState);
        QCOMPARE(Data::of(last)->isInString(last.length() - 1), lastLineInString);
    }

    // The hints that let the engine skip a rule's expression on a line, or try it only at some
    // characters, must colour exactly what a plain global match of the expression colours.
    void ruleHintsColourLikePlainMatching()
    {
        Fixture fixture;
        QTextDocument scratch;
        const MelHighlighter mel(&scratch);
        const PythonHighlighter python(&scratch);
        const QString whitespace = fixture.roleOf(Highlighter::roleFormat(QLatin1String(R::whitespaces)));
        const QStringList lines = {
            QString(), "1", ".", "..", "1..2", "a.b", "1.5e3 x2 .5 5. 0x1F", "a1.2b _3", QString::fromUtf8("é1 ü.5 ٣"),
            "self.x = cls", "myself selfish cls_ self", "class Foo (Bar):", "class  Foo:", "def  f (x):", "undef g(x)",
            "  @dec(1)", "x @ y", "\t@", "$a $b1 a$c $", "global proc foo ()", "proc(x)", "x(1) y (2) -z(3) 4(5)", "f\t(", "((", "a-b(c)"};
        int hinted = 0;
        const QVector<HighlightRule> all =
            mel.highlightRules() + mel.highlightCallRules() + python.highlightRules() + python.highlightCallRules();
        for (const HighlightRule &rule : all) {
            if (!rule.mayMatch && !rule.canStartAt)
                continue;
            ++hinted;
            for (const QString &line : lines) {
                QVector<QString> expected(line.size());
                for (auto it = rule.expression.globalMatch(line); it.hasNext();) {
                    const QRegularExpressionMatch match = it.next();
                    for (int i = match.capturedStart(); i < match.capturedEnd(); ++i)
                        expected[i] = fixture.roleOf(rule.format);
                }
                for (int i = 0; i < line.size(); ++i)
                    if (line.at(i) == ' ' || line.at(i) == '\t')
                        expected[i] = whitespace;
                QTextDocument document;
                document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
                document.setPlainText(line);
                SingleRuleHighlighter highlighter(&document, rule);
                highlighter.rehighlight();
                QVERIFY2(fixture.roles(document.firstBlock()) == expected, qPrintable(rule.expression.pattern() + " on: " + line));
            }
        }
        QVERIFY(hinted >= 8);
    }

    // The per-line data the editor asks of real documents, beyond what the golden files show.
    void partnersAcrossLines()
    {
        Fixture fixture;
        const Document<> doc(QStringLiteral("proc f() {\n"             // 0
                                            "    if (1) {\n"           // 1
                                            "        print \"}\"; // )\n" // 2
                                            "    }\n"                  // 3
                                            "} /* { */\n"              // 4
                                            "x = foo(a,\n"             // 5
                                            "        b) + bar(c)"),    // 6
                             true);
        auto partner = [&](int line, int column) {
            const auto position = Data::matchingBracket(doc.line(line), column);
            if (!position.isValid())
                return QString();
            return QStringLiteral("%1%2:%3").arg(position.character).arg(position.block.blockNumber()).arg(position.column);
        };
        QCOMPARE(partner(0, 9), QStringLiteral("}4:0"));
        QCOMPARE(partner(4, 0), QStringLiteral("{0:9"));
        QCOMPARE(partner(1, 11), QStringLiteral("}3:4"));
        QCOMPARE(partner(0, 6), QStringLiteral(")0:7"));
        QCOMPARE(partner(5, 7), QStringLiteral(")6:9"));
        QCOMPARE(partner(2, 15), QString()); // inside a string: no bracket there
        QCOMPARE(partner(0, 0), QString());
        // The closing bracket nearest before the column whose partner is on an earlier line.
        const auto closed = Data::closedFromEarlierLine(doc.line(6), doc.line(6).length() - 1);
        QCOMPARE(QStringLiteral("%1%2 %3:%4").arg(closed.character).arg(closed.column)
                     .arg(closed.partner.block.blockNumber()).arg(closed.partner.column),
                 QStringLiteral(")9 5:7"));
        QVERIFY(!Data::closedFromEarlierLine(doc.line(6), 9).isValid());
        QCOMPARE(Data::closedFromEarlierLine(doc.line(4), 1).partner.block.blockNumber(), 0);
        QVERIFY(!Data::closedFromEarlierLine(doc.line(1), 12).isValid());
        // The nearest opening bracket before the column (the line end if -1) that is still open.
        const struct { QString line; int column; QString expected; } unclosed[] = {
            {"foo(a, [b, c], ", -1, "(3"}, {"foo(a, [b, ", -1, "[7"}, {"foo(a)(", 6, ""}, {"foo(a)[b]{c}", -1, ""},
            {"foo(')'", -1, "(3"}, {"{ [ ( ) ] ", -1, "{0"}};
        for (const auto &row : unclosed) {
            QChar character;
            int found = -1;
            const int column = row.column < 0 ? row.line.size() : row.column;
            const bool ok = Document<>(row.line).data(0)->unclosedOpeningBefore(column, &character, &found);
            QCOMPARE(ok ? character + QString::number(found) : QString(), row.expected);
        }
        // Smart indent counts only brackets before the column.
        const Document<> balance(QStringLiteral("} } x { \"{\""), true);
        QCOMPARE(balance.data(0)->bracketBalance('{', 4), -2);
        QCOMPARE(balance.data(0)->bracketBalance('}', 100), -1);
    }

    // An edit that changes every later line's state is highlighted in slices; edits made while
    // lines still wait (before, inside and across the waiting range, an undo) must leave every
    // line as a highlighter that never sliced would.
    void sliceInterruptedByEdit_data()
    {
        QTest::addColumn<int>("line");
        QTest::addColumn<int>("removed");
        QTest::addColumn<QString>("inserted");
        QTest::newRow("nothing else") << 0 << 0 << QString();
        QTest::newRow("a line before the waiting ones") << 2 << 0 << "y = '''\n";
        QTest::newRow("a line among them") << 300 << 0 << "z = 1\n";
        QTest::newRow("lines removed across their start") << 150 << 2000 << QString();
        QTest::newRow("the quotes closed further down") << 380 << 0 << "\"\"\"";
        QTest::newRow("undo") << -1 << 0 << QString();
    }
    void sliceInterruptedByEdit()
    {
        QFETCH(int, line);
        QFETCH(int, removed);
        QFETCH(QString, inserted);
        Fixture fixture;
        QStringList lines;
        for (int i = 0; i < 400; ++i)
            lines << QStringLiteral("x%1 = len(y)  # (%1)").arg(i);
        Document<SlowPythonHighlighter> doc(lines.join('\n'));
        QTextCursor(doc.line(100)).insertText(QStringLiteral("\"\"\""));
        QVERIFY(doc.highlighter->HighlightPending()); // the later lines wait for slices
        QCOMPARE(doc.line(399).userState(), -1);
        if (line < 0) {
            doc.document.undo();
        } else if (!inserted.isEmpty() || removed > 0) {
            QTextCursor cursor(doc.line(line));
            cursor.setPosition(std::min(cursor.position() + removed, doc.document.characterCount() - 1), QTextCursor::KeepAnchor);
            cursor.insertText(inserted);
        }
        QTRY_VERIFY_WITH_TIMEOUT(!doc.highlighter->HighlightPending(), 20000);
        Document<PythonHighlighter> fresh(doc.document.toPlainText());
        QCOMPARE(fixture.dump(doc.document), fixture.dump(fresh.document));
    }

    // A document coloured on demand (a file loaded in pieces): lines are coloured only when shown
    // or edited, yet after the pass over the states every line's state, and every line shown
    // (before or after edits), is what a whole pass gives.
    void onDemandMatchesAWholePass_data()
    {
        QTest::addColumn<int>("line");
        QTest::addColumn<int>("removed");
        QTest::addColumn<QString>("inserted");
        QTest::newRow("loaded only") << 0 << 0 << QString();
        QTest::newRow("quotes typed above shown lines") << 5 << 0 << "\"\"\"";
        QTest::newRow("a paste of many lines opening a docstring")
            << 100 << 0 << QString("p = 1\n").repeated(600) + "q = '''\n";
        QTest::newRow("lines removed across a docstring's end") << 250 << 20000 << QString();
    }
    void onDemandMatchesAWholePass()
    {
        QFETCH(int, line);
        QFETCH(int, removed);
        QFETCH(QString, inserted);
        Fixture fixture;
        QStringList lines;
        for (int i = 0; i < 20000; ++i)
            lines << (i % 300 == 7   ? QStringLiteral("s = \"\"\"doc %1").arg(i)
                      : i % 300 == 9 ? QStringLiteral("end\"\"\"")
                                     : QStringLiteral("x%1 = len(y)  # (%1)").arg(i));
        QTextDocument document;
        document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
        PythonHighlighter highlighter(&document);
        highlighter.HighlightOnDemand();
        QTextCursor(&document).insertText(lines.join('\n'));
        for (int i = 300; i < 320; ++i)
            highlighter.ColourShown(document.findBlockByNumber(i));
        QVERIFY(Data::of(document.findBlockByNumber(310)));
        if (!inserted.isEmpty() || removed > 0) {
            QTextCursor cursor(document.findBlockByNumber(line));
            cursor.setPosition(std::min(cursor.position() + removed, document.characterCount() - 1), QTextCursor::KeepAnchor);
            cursor.insertText(inserted);
        }
        QTRY_VERIFY_WITH_TIMEOUT(!highlighter.HighlightPending(), 20000);
        QVERIFY(!Data::of(document.lastBlock())); // never shown: no colours kept
        Document<PythonHighlighter> fresh(document.toPlainText());
        QCOMPARE(document.blockCount(), fresh.document.blockCount());
        for (int i = 0; i < document.blockCount(); ++i)
            QCOMPARE(document.findBlockByNumber(i).userState(), fresh.line(i).userState());
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next())
            highlighter.ColourShown(block);
        QCOMPARE(fixture.dump(document), fixture.dump(fresh.document));
    }
};
KE2_TEST_CLASS(HighlighterTest)

#include "test_highlighters.moc"
