#include "language/mel_command_catalog.h"
#include "language/mel_command_context.h"
#include "language/mel_linter.h"
#include "language/mel_parser.h"
#include "language/mel_procedure_index.h"
#include "tests/support/fake_mel_commands.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtGui/QTextDocument>
#include <QtTest/QTest>

#include <memory>

using namespace ke2;
using namespace ke2::test;

namespace {

// The commands the host of these tests knows; the correct scripts of data/mel_lint use only these
// (and their own procedures).
const QStringList hostCommands{
    "polyCube", "ls", "setAttr", "getAttr", "select", "move", "rotate", "xform", "print", "size",
    "tokenize", "clear", "exists", "objExists", "nodeType", "listRelatives", "warning", "error",
    "catch", "eval", "source", "window", "columnLayout", "button", "showWindow", "deleteUI", "textField",
    "optionVar", "sphere", "delete", "rename", "substitute", "match", "gmatch", "stringArrayCount",
    "python", "abs", "floor", "pow", "sqrt", "rand", "strip", "toupper", "startsWith", "fopen", "fclose",
    "fgetline", "feof", "format", "filetest", "connectAttr", "addAttr", "group", "parent", "currentTime", "keyframe",
    "intSliderGrp", "floatSliderGrp", "textFieldGrp", "checkBox", "formLayout", "tabLayout", "frameLayout",
    "rowColumnLayout", "text", "optionMenu", "menuItem", "intField", "setParent", "playbackOptions", "setKeyframe",
    "keyTangent", "scriptJob", "sort", "date", "mag", "max", "deg_to_rad", "rad_to_deg", "cos", "sin", "cross",
    "dot", "angle", "unit"};
const QStringList hostRunTimeCommands{"ScriptEditor", "SelectAll"};
const QStringList hostProcedures{"buildViewMenu", "stringArrayToString", "stringArrayRemoveDuplicates"};

enum Check { Undeclared, Arguments, Returns, Commands, Flags };

QStringList markedTexts(const QString &source, const QVector<MelLintWarning> &warnings)
{
    QStringList out;
    for (const MelLintWarning &w : warnings)
        out << source.mid(w.start, w.end - w.start);
    return out;
}

QVector<MelLintWarning> runCheck(Check check, const QString &source)
{
    const MelLinter linter(source);
    QVector<MelLintWarning> warnings;
    MelCommandCatalog &names = MelCommandCatalog::instance();
    switch (check) {
    case Undeclared: linter.CheckUndeclaredVariables(warnings); break;
    case Arguments: linter.CheckArgumentCounts(warnings); break;
    case Returns: linter.CheckReturnValues(warnings); break;
    case Commands: linter.CheckUnknownCommands(names, warnings); break;
    case Flags: linter.CheckUnknownFlags(names, warnings); break;
    }
    return warnings;
}

} // namespace

class TestMelLinter : public QObject {
    Q_OBJECT

    std::unique_ptr<FakeHost> m_host;
    std::unique_ptr<TempPrefs> m_prefs;

    void columns()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QStringList>("marked"); // the text under each warning, in order
    }
    void run(Check check)
    {
        QFETCH(QString, source);
        QFETCH(QStringList, marked);
        QCOMPARE(markedTexts(source, runCheck(check, source)), marked);
    }

private slots:
    void init()
    {
        m_host = std::make_unique<FakeHost>();
        m_prefs = std::make_unique<TempPrefs>();
        m_prefs->attach(*m_host);
        HostBridge::setHost(m_host.get());
        teachMelCommands(*m_host, hostCommands, hostRunTimeCommands, hostProcedures, {"myToolOnPath"});
        MelCommandCatalog::instance().Reset();
    }
    void cleanup()
    {
        MelCommandCatalog::instance().Reset();
        HostBridge::setHost(nullptr);
        m_host.reset();
        m_prefs.reset();
    }

    void undeclaredVariables_data()
    {
        columns();
        QTest::newRow("read of nothing") << "proc f() { print $x; }" << QStringList{"$x"};
        QTest::newRow("read, then assignment") << "proc f() { print $x; $x = 1; }" << QStringList{"$x"};
        QTest::newRow("reported once") << "proc f() { print $x; print($x + 1); }" << QStringList{"$x"};
        QTest::newRow("global without declaration") << "global int $g;\nproc f() { print $g; }" << QStringList{"$g"};
        QTest::newRow("initializer reads") << "proc f() { int $a = $b; }" << QStringList{"$b"};
        QTest::newRow("assigned in another procedure") << "proc a() { $x = 1; }\nproc b() { print $x; }"
                                                       << QStringList{"$x"};
        QTest::newRow("top-level variable") << "$t = 1;\nproc f() { print $t; }" << QStringList{"$t"};
        QTest::newRow("backquote reads") << "proc f() { string $s[] = `ls $sel`; }" << QStringList{"$sel"};
        QTest::newRow("typed return") << "proc string f() { return $r; }" << QStringList{"$r"};
        QTest::newRow("parameter") << "proc f(int $x) { print $x; }" << QStringList{};
        QTest::newRow("array parameter") << "global proc f(string $n[]) { print $n[0]; }" << QStringList{};
        QTest::newRow("declared") << "proc f() { int $x; print $x; }" << QStringList{};
        QTest::newRow("assigned") << "proc f() { $x = 1; print $x; }" << QStringList{};
        QTest::newRow("global declared in the procedure")
            << "global int $g;\nproc f() { global int $g; print $g; }" << QStringList{};
        QTest::newRow("$ inside strings") << "proc f() { print \"$x \\\"$y\\\"\"; }" << QStringList{};
        QTest::newRow("comments") << "proc f() { // $x\n /* $y */ }" << QStringList{};
        QTest::newRow("eval string") << "proc f() { eval(\"print $x\"); }" << QStringList{};
        QTest::newRow("for head") << "proc f() { for ($i = 0; $i < 3; $i++) print $i; }" << QStringList{};
        QTest::newRow("for-in") << "proc f() { string $l[] = {\"a\"}; for ($s in $l) print $s; }" << QStringList{};
        QTest::newRow("declaration list") << "proc f() { int $a = 1, $b = $a; print $b; }" << QStringList{};
        QTest::newRow("declaration list with calls")
            << "proc f() { float $a = pow(2, 3), $b[] = {1.0, $a}; print $b; }" << QStringList{};
        QTest::newRow("element assignment") << "proc f() { $a[0] = 1; print $a[0]; }" << QStringList{};
        QTest::newRow("vector and component") << "proc f() { vector $v = <<1,2,3>>; print($v.x); }" << QStringList{};
        QTest::newRow("matrix") << "proc f() { matrix $m[2][2] = <<1,2;3,4>>; print $m; }" << QStringList{};
        QTest::newRow("backquotes") << "proc f() { string $s[] = `ls -sl`; print $s; }" << QStringList{};
        QTest::newRow("catch") << "proc f(string $o) { if (catch(`getAttr $o`)) print \"no\"; }" << QStringList{};
        QTest::newRow("increment") << "proc f() { int $i; $i++; ++$i; print $i; }" << QStringList{};
        QTest::newRow("compound assignment") << "proc f() { $n += 2; }" << QStringList{};
        QTest::newRow("declared in a block") << "proc f() { if (1) { int $x = 2; } }" << QStringList{};
        QTest::newRow("top level is not checked") << "print $x;\n{ print $y; }" << QStringList{};
        QTest::newRow("procedure in a string") << "eval(\"proc f() { print $x; }\");" << QStringList{};
        QTest::newRow("declared in an if block, used after")
            << "proc f() { if (1) { string $s = \"a\"; } else { int $n; } print $s; }" << QStringList{};
        QTest::newRow("do while and switch")
            << "proc f(int $n) { int $i = 0; do { $i++; } while ($i < $n);\n"
               "switch ($n) { case 1: int $one = 1; print $one; break; default: print $i; } }"
            << QStringList{};
    }
    void undeclaredVariables() { run(Undeclared); }

    void argumentCounts_data()
    {
        columns();
        QTest::newRow("too many, function") << "proc f(int $a) {}\nf(1, 2);" << QStringList{"f"};
        QTest::newRow("too many, command") << "proc f(int $a) {}\nf 1 2;" << QStringList{"f"};
        QTest::newRow("none given") << "proc f(int $a) {}\nf;\nf();" << QStringList{"f", "f"};
        QTest::newRow("in an expression") << "proc int f(int $a) { return $a; }\n$r = f();" << QStringList{"f"};
        QTest::newRow("defined after use") << "f(1, 2);\nproc f(int $a) {}" << QStringList{"f"};
        QTest::newRow("global in a procedure") << "global proc g(string $s) {}\nproc h() { g \"a\" \"b\"; }"
                                               << QStringList{"g"};
        QTest::newRow("right counts") << "proc f(int $a, int $b) {}\nf(1, 2); f 1 2; f -1 2; f($x - 1, size({1, 2}));"
                                      << QStringList{};
        QTest::newRow("strings and backquotes") << "proc f(string $a, string $b[]) {}\nf \"a b, c\" `ls -sl`;"
                                                << QStringList{};
        QTest::newRow("vector argument") << "proc f(vector $v) {}\nf(<<1, 2, 3>>);" << QStringList{};
        QTest::newRow("blank before parenthesis") << "proc f(int $a, int $b) {}\nf (1, 2);" << QStringList{};
        QTest::newRow("operator between words") << "proc f(int $a) {}\nf $a + 1;" << QStringList{};
        QTest::newRow("call in a string") << "proc f(int $a) {}\nprint \"f(1, 2)\"; eval(\"f 1 2\");" << QStringList{};
        QTest::newRow("two definitions disagree") << "proc f(int $a) {}\nproc f(int $a, int $b) {}\nf(1);"
                                                  << QStringList{};
        QTest::newRow("defined elsewhere") << "g(1, 2);" << QStringList{};
        QTest::newRow("element arguments") << "proc f(int $a, int $b) {}\nf $a[0] $b[1];" << QStringList{};
        QTest::newRow("minus before a variable") << "proc f(int $a, int $b) {}\nf $a -$b;" << QStringList{};
    }
    void argumentCounts() { run(Arguments); }

    void returnValues_data()
    {
        columns();
        QTest::newRow("value without type") << "proc f() { return 1; }" << QStringList{"return"};
        QTest::newRow("global, expression") << "global proc f() { if (1) return ($a + 1); }" << QStringList{"return"};
        QTest::newRow("typed") << "proc int f() { return 1; }" << QStringList{};
        QTest::newRow("typed array") << "proc string[] f() { return {\"a\"}; }" << QStringList{};
        QTest::newRow("typed matrix") << "global proc matrix f() { matrix $m[1][1]; return $m; }" << QStringList{};
        QTest::newRow("plain return") << "proc f() { return; }" << QStringList{};
        QTest::newRow("in a string") << "proc f() { print \"return 1\"; }" << QStringList{};
        QTest::newRow("top level") << "return 1;" << QStringList{};
    }
    void returnValues() { run(Returns); }

    void unknownCommands_data()
    {
        columns();
        QTest::newRow("misspelt command") << "polyCub -w 1;" << QStringList{"polyCub"};
        QTest::newRow("in an expression") << "$a = polyCub();" << QStringList{"polyCub"};
        QTest::newRow("in backquotes") << "string $s[] = `lss -sl`;" << QStringList{"lss"};
        QTest::newRow("after a case label") << "switch ($a) { case 1: polyCub; break; }" << QStringList{"polyCub"};
        QTest::newRow("after if and else") << "if ($a) foo; else bar;" << QStringList{"foo", "bar"};
        QTest::newRow("once per name") << "foo; foo;" << QStringList{"foo"};
        QTest::newRow("known names") << "polyCube; ScriptEditor; buildViewMenu; $n = size($a);" << QStringList{};
        QTest::newRow("procedure after use") << "later(1);\nproc later(int $a) {}" << QStringList{};
        QTest::newRow("script on the host's path") << "myToolOnPath;" << QStringList{};
        QTest::newRow("a script it calls may define the rest") << "myToolOnPath;\nhelperOfThatTool;" << QStringList{};
        QTest::newRow("deferred source") << "evalDeferred \"source tools\";\nfromTools;" << QStringList{};
        QTest::newRow("keywords and declarations")
            << "global string $g; int $i; for ($i = 0; $i < 2; $i++) { if ($i) continue; else break; }\n"
               "while (0) {} do { } while (0); switch ($i) { default: print 1; }\nreturn;"
            << QStringList{};
        QTest::newRow("bare words are arguments") << "select -r pCube1;\nsetAttr pCube1.tx 1;" << QStringList{};
        QTest::newRow("attribute at statement start") << "pCube1.tx;" << QStringList{};
        QTest::newRow("procedure head") << "global proc string[] named(int $a) {}" << QStringList{};
        QTest::newRow("procedure head without a body") << "global proc string[] unread(int $a);" << QStringList{};
        QTest::newRow("sources another script") << "source \"tools.mel\";\ntoolFromThere;" << QStringList{};
        QTest::newRow("loads a plug-in") << "loadPlugin \"x\";\nxCommand;" << QStringList{};
        QTest::newRow("in strings and comments") << "print \"foo;\"; // bar;\n/* baz; */" << QStringList{};
        QTest::newRow("tested with exists") << "if (exists(\"maybeProc\")) maybeProc;\nif (`exists other`) other 1;"
                                            << QStringList{};
        QTest::newRow("tested with whatIs") << "if (`whatIs maybeProc` != \"Unknown\") maybeProc(1);" << QStringList{};
        QTest::newRow("another name tested") << "if (exists(\"maybeProc\")) otherProc;" << QStringList{"otherProc"};
        QTest::newRow("inside catch") << "catch(`maybeCmd -x`); if (catch (maybeProc())) print 1;\ncatchQuiet(third);"
                                      << QStringList{};
        QTest::newRow("run-time command made here") << "runTimeCommand -c \"print 1\" MyTool;\nMyTool;" << QStringList{};
        QTest::newRow("python may define procedures") << "python(\"import tools; tools.install()\");\ntoolsMenu;"
                                                      << QStringList{};
        QTest::newRow("python run later") << "evalDeferred \"python(\\\"import tools\\\")\";\ntoolsMenu;"
                                          << QStringList{};
        QTest::newRow("plug-in asked for") << "if (`pluginInfo -q -l \"x\"`) xExport -f;" << QStringList{};
    }
    void unknownCommands() { run(Commands); }

    void unknownFlags_data()
    {
        columns();
        QTest::newRow("unknown flag") << "polyCube -foo 1;" << QStringList{"-foo"};
        QTest::newRow("in backquotes") << "string $r[] = `polyCube -sx 2 -bar`;" << QStringList{"-bar"};
        QTest::newRow("each one") << "ls -sl -x; setAttr -k 1 -y a.b 1;" << QStringList{"-x", "-y"};
        QTest::newRow("long and short") << "polyCube -sx 2 -subdivisionsY 3 -q -e;" << QStringList{};
        QTest::newRow("negative numbers") << "polyCube -w -1 -h -.5 -ax 0 -1 0;" << QStringList{};
        QTest::newRow("subtraction in parentheses") << "polyCube -w ($x -$y) -h ($a -b);" << QStringList{};
        QTest::newRow("flag in a string") << "polyCube \"-foo\"; eval(\"polyCube -foo\");" << QStringList{};
        QTest::newRow("function syntax") << "polyCube(\"-foo\");" << QStringList{};
        QTest::newRow("procedure arguments") << "buildViewMenu -anything;" << QStringList{};
        QTest::newRow("syntax unknown") << "select -anything;" << QStringList{};
        QTest::newRow("procedure of the file") << "proc ls(string $a) {}\nls -x;" << QStringList{};
        QTest::newRow("statement ends") << "polyCube -w 1; print -x;" << QStringList{};
        QTest::newRow("query and edit") << "ls -q -sl; setAttr -e -query -edit a.b 1;" << QStringList{};
        QTest::newRow("used several times") << "ls -typ \"mesh\" -typ \"nurbsCurve\" -sl;" << QStringList{};
    }
    void unknownFlags() { run(Flags); }

    // A parser kept from one parse to the next reads again only the parts whose text changed:
    // what it reports after an edit is what a new parser reports on the edited text.
    void relintMatchesAFreshLint_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QStringList>("marked");
        QTest::newRow("edit inside a body") << "proc a() { int $x; print $x; }\nproc b() { print 1; }"
                                            << "proc a() { int $x; print $y; }\nproc b() { print 1; }"
                                            << QStringList{"$y"};
        QTest::newRow("signature of a procedure called elsewhere")
            << "proc f(int $a) {}\nproc g() { f 1; }" << "proc f(int $a, int $b) {}\nproc g() { f 1; }"
            << QStringList{"f"};
        QTest::newRow("global declaration removed") << "global int $g;\nproc f() { print $g; }"
                                                    << "proc f() { print $g; }" << QStringList{"$g"};
        QTest::newRow("a source statement added elsewhere")
            << "proc a() { polyCub; }\nproc b() { print 1; }"
            << "proc a() { polyCub; }\nproc b() { source \"x.mel\"; }" << QStringList{};
        QTest::newRow("a test for the name added elsewhere")
            << "proc a() { maybeThere; }\nproc b() { print 1; }"
            << "proc a() { maybeThere; }\nproc b() { if (exists(\"maybeThere\")) print 1; }" << QStringList{};
        QTest::newRow("first call of an unknown name removed") << "proc a() { foo; }\nproc b() { foo; }"
                                                               << "proc a() { print 1; }\nproc b() { foo; }"
                                                               << QStringList{"foo"};
        QTest::newRow("procedures moved") << "proc a() { foo; }\nproc b() { bar; }\nproc c() { print $x; }"
                                          << "proc c() { print $x; }\nproc b() { bar; }\nproc a() { foo; }"
                                          << QStringList{"$x", "bar", "foo"};
        QTest::newRow("the same part twice") << "proc a() { foo -x; }\n"
                                             << "proc a() { foo -x; }\nproc a() { foo -x; }\n" << QStringList{"foo"};
        QTest::newRow("a part removed") << "proc a() { foo; }\nproc b() { print $x; return 1; }"
                                        << "proc b() { print $x; return 1; }" << QStringList{"$x", "return"};
        QTest::newRow("top-level code edited") << "polyCube -w 1;\nproc a() { polyCube -foo; }"
                                               << "polyCube -bar 1;\nproc a() { polyCube -foo; }"
                                               << QStringList{"-bar", "-foo"};
    }
    void relintMatchesAFreshLint()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(QStringList, marked);
        const auto lint = [](MelParser &parser, const QString &source) {
            parser.Parse(source, QString());
            QStringList found;
            for (const Diagnostic *d : parser.Warnings())
                found << QStringLiteral("%1 at %2-%3").arg(d->message).arg(d->start).arg(d->end);
            return found;
        };
        MelParser kept;
        kept.SetLinting(true, &MelCommandCatalog::instance());
        lint(kept, before);
        const QStringList again = lint(kept, after);
        MelParser fresh;
        fresh.SetLinting(true, &MelCommandCatalog::instance());
        QCOMPARE(again, lint(fresh, after));
        QStringList texts;
        for (const Diagnostic *d : fresh.Warnings())
            texts << after.mid(d->start, d->end - d->start);
        QCOMPARE(texts, marked);
    }

    // Without the host's lists the kept results of the command checks are not used, and with
    // them back they are worked out again.
    void relintFollowsTheHostsLists()
    {
        MelParser parser;
        parser.SetLinting(true, &MelCommandCatalog::instance());
        const QString source = QStringLiteral("proc a() { polyCube -foo; polyCub; }\nproc b() { print 1; }");
        parser.Parse(source, QString());
        QCOMPARE(parser.Warnings().size(), 2);
        m_host->hasMel = false;
        parser.Parse(source, QString());
        QCOMPARE(parser.Warnings().size(), 0);
        m_host->hasMel = true;
        parser.Parse(source, QString());
        QCOMPARE(parser.Warnings().size(), 2);
    }

    // Without the host's lists (the standalone program) no command or flag is checked.
    void commandChecksNeedTheHostsLists()
    {
        m_host->hasMel = false;
        QVERIFY(runCheck(Commands, QStringLiteral("polyCub -w 1;")).isEmpty());
        QVERIFY(runCheck(Flags, QStringLiteral("polyCube -foo 1;")).isEmpty());
        QCOMPARE(MelLinter::Lint(QStringLiteral("proc f() { return 1; }"), nullptr).size(), 1);
    }

    // A procedure that another open buffer defines is known; one that only a closed buffer did
    // define is not.
    void openBuffersDefineProcedures()
    {
        auto document = std::make_unique<QTextDocument>(QStringLiteral("global proc fromOtherBuffer() {}"));
        MelProcedureIndex::instance().Add(document.get());
        QVERIFY(runCheck(Commands, QStringLiteral("fromOtherBuffer;")).isEmpty());
        document.reset();
        QCOMPARE(markedTexts(QStringLiteral("fromOtherBuffer;"), runCheck(Commands, QStringLiteral("fromOtherBuffer;"))),
                 QStringList{"fromOtherBuffer"});
    }

    void messages_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("message");
        QTest::newRow("undeclared") << "proc f() { print $x; }"
                                    << "Variable $x is used before it is declared or assigned in procedure f";
        QTest::newRow("global") << "global int $g;\nproc f() { print $g; }"
                                << "Global variable $g is used without a \"global\" declaration in procedure f";
        QTest::newRow("arguments") << "proc f(int $a) {}\nf(1, 2);" << "Procedure f takes 1 argument, called with 2";
        QTest::newRow("return") << "proc f() { return 1; }"
                                << "Procedure f is declared without a return type but returns a value";
        QTest::newRow("command") << "polyCub;" << "Unknown command or procedure polyCub";
        QTest::newRow("flag") << "polyCube -foo;" << "Command polyCube has no flag -foo";
    }
    void messages()
    {
        QFETCH(QString, source);
        QFETCH(QString, message);
        const QVector<MelLintWarning> warnings = MelLinter::Lint(source, &MelCommandCatalog::instance());
        QCOMPARE(warnings.size(), 1);
        QCOMPARE(warnings.first().message, message);
        // The editor lints by parts, whose file-wide names (the globals) are gathered apart.
        MelParser parser;
        parser.SetLinting(true, &MelCommandCatalog::instance());
        parser.Parse(source, QString());
        QCOMPARE(parser.Warnings().size(), 1);
        QCOMPARE(parser.Warnings().first()->message, message);
    }

    // Scripts written the way studios write them, each correct: not one warning.
    void correctScriptsGetNoWarning_data()
    {
        QTest::addColumn<QString>("path");
        const QDir dir(QStringLiteral(KE2_TEST_DATA_DIR "/mel_lint"));
        const QStringList files = dir.entryList({QStringLiteral("*.mel")}, QDir::Files, QDir::Name);
        QVERIFY(files.size() >= 4);
        for (const QString &file : files)
            QTest::newRow(qPrintable(file)) << dir.filePath(file);
    }
    void correctScriptsGetNoWarning()
    {
        QFETCH(QString, path);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString source = QString::fromUtf8(file.readAll());
        MelParser parser;
        parser.SetLinting(true, &MelCommandCatalog::instance());
        parser.Parse(source, path);
        QStringList found;
        for (const Diagnostic *d : parser.Warnings())
            found << QStringLiteral("%1 at %2").arg(d->message).arg(d->start);
        QCOMPARE(found, QStringList{});
        QVERIFY(!parser.Procedures().isEmpty());
    }

    // Each command's syntax is asked once a session and kept on disk per host version: the next
    // session asks nothing.
    void syntaxIsAskedOnceAndKeptOnDisk()
    {
        MelCommandCatalog &catalog = MelCommandCatalog::instance();
        MelLinter::Lint(QStringLiteral("polyCube -sx 1; polyCube -foo; ls -sl;"), &catalog);
        MelLinter::Lint(QStringLiteral("polyCube -sy 2;"), &catalog);
        QCOMPARE(m_host->texts().filter(QStringLiteral("help -so")),
                 (QStringList{"help -so polyCube", "help -so ls"}));
        catalog.Flush();
        QVERIFY(QFile::exists(m_prefs->configDir() + QStringLiteral("/melSyntax-2025.json")));

        catalog.Reset();
        m_host->clearCommands();
        const QVector<MelLintWarning> again = MelLinter::Lint(QStringLiteral("polyCube -foo; ls -bar;"), &catalog);
        QCOMPARE(again.size(), 2);
        QCOMPARE(m_host->texts().filter(QStringLiteral("help -so")), QStringList{});
        // Another host version has a cache of its own.
        catalog.Reset();
        m_host->answer(QStringLiteral("about -version"), QStringLiteral("2026"));
        MelLinter::Lint(QStringLiteral("polyCube -foo;"), &catalog);
        QCOMPARE(m_host->texts().filter(QStringLiteral("help -so")), QStringList{"help -so polyCube"});
    }

    // What the status bar shows at the cursor ("|" in the text): a flag's argument types, or the
    // parameters of a procedure that an open buffer defines.
    void signatureHelp_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("help");
        QTest::newRow("short flag") << "polyCube -s|x 2;" << "-subdivisionsX (-sx) Int";
        QTest::newRow("long flag, at its end") << "polyCube -width| 2;" << "-width (-w) Length";
        QTest::newRow("flag without arguments") << "ls -s|l;" << "-selection (-sl)";
        QTest::newRow("statement over lines") << "polyCube\n    -ax 0 1 0\n    -|h 2;" << "-height (-h) Length";
        QTest::newRow("in backquotes") << "$c = `polyCube -|n \"a\"`;" << "-name (-n) String";
        QTest::newRow("unknown flag") << "polyCube -fo|o;" << "";
        QTest::newRow("in a string") << "print \"polyCube -s|x\";" << "";
        QTest::newRow("procedure, function syntax") << "$r = sum(1, |2);" << "global proc int sum(int $a, int $b[])";
        QTest::newRow("procedure, command syntax") << "sum 1 |$b;" << "global proc int sum(int $a, int $b[])";
        QTest::newRow("procedure call inside a flag's value") << "polyCube -w (sum(|1, $b));"
                                                             << "global proc int sum(int $a, int $b[])";
        QTest::newRow("after the statement") << "sum 1 $b;\n|" << "";
    }
    void signatureHelp()
    {
        QFETCH(QString, text);
        QFETCH(QString, help);
        QTextDocument definitions(QStringLiteral("global proc int sum(int $a, int $b[]) { return $a + $b[0]; }"));
        MelProcedureIndex::instance().Add(&definitions);
        const int cursor = text.indexOf(QLatin1Char('|'));
        QTextDocument document(QString(text).remove(cursor, 1));
        QCOMPARE(MelSignatureHelp(&document, cursor, MelCommandCatalog::instance()), help);
        MelProcedureIndex::instance().Remove(&definitions);
    }

    void syntaxHelpIsRead()
    {
        const MelCommandSyntax syntax = MelCommandSyntax::FromHelpText(fakeSyntaxHelp(QStringLiteral("polyCube")));
        QCOMPARE(syntax.flags.size(), 15);
        const MelCommandSyntax::Flag *axis = syntax.Find(u"axis");
        QVERIFY(axis);
        QCOMPARE(axis->shortName, QStringLiteral("ax"));
        QCOMPARE(axis->arguments, QStringLiteral("Length Length Length"));
        QVERIFY(syntax.Find(u"sx") && syntax.Find(u"edit") && !syntax.Find(u"Command"));
        QVERIFY(MelCommandSyntax::FromHelpText(QStringLiteral("Synopsis: x\n")).flags.isEmpty());
    }
};

KE2_TEST_CLASS(TestMelLinter)
#include "test_mel_linter.moc"
