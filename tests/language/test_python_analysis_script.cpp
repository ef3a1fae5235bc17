#include "app/python_host.h"
#include "plugin/host_bridge.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <memory>

using ke2::PythonHost;

namespace {

const QString kLocator = QStringLiteral("__kestrel_lctr_hlvd__ = None\n");
const QString kScriptResource = QStringLiteral(":/ke2_python/kestrel_editor_parser.py");

QString readScript()
{
    QFile file(kScriptResource);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromLatin1(file.readAll());
}

// The text of a Python string literal, escaped as the completion code escapes a buffer. A raw
// NUL cannot travel inside a call text at all (the host refuses to compile it), so it is escaped
// here to reach the script.
QString escaped(QString text)
{
    text.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    text.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    text.replace(QLatin1Char('"'), QLatin1String("\\\""));
    text.replace(QChar(0), QLatin1String("\\x00"));
    return text;
}

QString pythonLiteral(const QString &text)
{
    return QLatin1Char('"') + escaped(text) + QLatin1Char('"');
}

QSet<QString> toSet(const QStringList &list)
{
    return QSet<QString>(list.begin(), list.end());
}

// A package on the test's own path: completion reads its source without importing it.
const char kFakeCmds[] = "def ls(*args):\n"
                         "    pass\n"
                         "\n"
                         "def polySphere(radius=1.0):\n"
                         "    pass\n"
                         "\n"
                         "class Node:\n"
                         "    kind = 1\n"
                         "    def rename(self, name):\n"
                         "        self.label = name\n"
                         "\n"
                         "_private = 0\n";

} // namespace

// Runs the compiled-in analysis script in the real embedded interpreter, through the exact
// expressions the editor sends.
class PythonAnalysisScriptTest : public QObject {
    Q_OBJECT

    ke2::test::TempPrefs m_prefs;
    QTemporaryDir m_packages;
    std::unique_ptr<PythonHost> m_host;
    QStringList m_output;

    QStringList complete(const QString &source, const QString &obj, bool keywords = false,
                         bool builtins = false)
    {
        const QString flags = QStringLiteral("%1, %2").arg(keywords ? 1 : 0).arg(builtins ? 1 : 0);
        const QString call = obj.isEmpty()
            ? QStringLiteral("KestrelEditorParser().parse_source(\"%1\", None, %2)")
                  .arg(escaped(source), flags)
            : QStringLiteral("KestrelEditorParser().parse_source(\"%1\", \"%2\", %3)")
                  .arg(escaped(source), obj, flags);
        QStringList names;
        const bool ok = m_host->executePythonStringList(call, names);
        m_host->executePython(QStringLiteral("pass"));
        return ok ? names : QStringList{QStringLiteral("<call failed>")};
    }

    QStringList syntaxCheck(const QString &source)
    {
        QStringList answer;
        const bool ok = m_host->executePythonStringList(
            QStringLiteral("KestrelEditorParser.syntax_check(\"%1\")").arg(escaped(source)), answer);
        m_host->executePython(QStringLiteral("pass"));
        return ok ? answer : QStringList{QStringLiteral("<call failed>")};
    }

    QStringList pythonList(const QString &expression)
    {
        QStringList list;
        if (!m_host->executePythonStringList(expression, list))
            return QStringList{QStringLiteral("<evaluation failed: %1>").arg(expression)};
        return list;
    }

    bool writeFile(const QString &relative, const QByteArray &content)
    {
        const QString path = m_packages.filePath(relative);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_packages.isValid());
        QVERIFY(writeFile("ke2fake/__init__.py", ""));
        QVERIFY(writeFile("ke2fake/cmds.py", kFakeCmds));
        QVERIFY(writeFile("ke2fake/tools.py", "def run():\n    pass\n"));
        QVERIFY(writeFile("ke2loaded.py", "def imported_only():\n    pass\n"));
        QVERIFY(writeFile("ke2cycle_a.py", "from ke2cycle_b import thing\n"));
        QVERIFY(writeFile("ke2cycle_b.py", "from ke2cycle_a import thing\n"));
        QVERIFY(writeFile("maya/__init__.py", ""));
        QVERIFY(writeFile("maya/cmds.py", "def polyCube():\n    pass\n"));
        QVERIFY(writeFile("maya/mel.py", "def eval(text):\n    pass\n"));

        m_host = std::make_unique<PythonHost>(m_prefs.root());
        m_host->addCallbacks(nullptr);
        m_host->output().setReceiver([this](const QString &text) { m_output.append(text); });

        const QString script = readScript();
        QVERIFY2(!script.isEmpty(), "the script resource is missing");
        QVERIFY(m_host->executePython(script));
        QVERIFY(m_host->executePython("KestrelEditorParser.initialize()"));
        QVERIFY(m_host->executePython(
            QStringLiteral("import importlib, sys\nsys.path.insert(0, %1)\nimportlib.invalidate_caches()")
                .arg(pythonLiteral(QDir::toNativeSeparators(m_packages.path())))));
        // A module whose member listing fails.
        QVERIFY(m_host->executePython(
            "import sys, types\n"
            "class _Ke2BadDir(types.ModuleType):\n"
            "    def __dir__(self):\n"
            "        raise RuntimeError('no listing')\n"
            "sys.modules['ke2_bad_dir'] = _Ke2BadDir('ke2_bad_dir')\n"
            "del _Ke2BadDir"));
        QVERIFY2(m_output.isEmpty(), qPrintable(m_output.join("|")));
    }

    void cleanupTestCase()
    {
        // The interpreter outlives this class: leave no fake module behind for other tests.
        const QString forget = QStringLiteral(
            "import sys\n"
            "for _ke2_name in [n for n in sys.modules if n.split('.')[0] in "
            "('ke2fake', 'ke2loaded', 'ke2cycle_a', 'ke2cycle_b', 'ke2_bad_dir', 'maya')]:\n"
            "    del sys.modules[_ke2_name]\n"
            "sys.path.remove(%1)");
        m_host->executePython(forget.arg(pythonLiteral(QDir::toNativeSeparators(m_packages.path()))));
        m_host.reset();
    }

    void init() { m_output.clear(); }

    void cleanup()
    {
        // Every entry point keeps its failures to itself.
        QVERIFY2(m_output.isEmpty(), qPrintable(m_output.join("|")));
    }

    // Results whose exact content and order are known.
    void completion_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("obj");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("module alias completes from the package's source, others first then _")
            << "import ke2fake.cmds as mc\n" + kLocator << "mc"
            << QStringList{"ls", "Node", "polySphere", "_private"};
        QTest::newRow("from-import binding completes as the module")
            << "from ke2fake import cmds as c\n" + kLocator << "c"
            << QStringList{"ls", "Node", "polySphere", "_private"};
        QTest::newRow("class in an unloaded module lists methods, class and instance attributes")
            << "import ke2fake.cmds as mc\n" + kLocator << "mc.Node"
            << QStringList{"kind", "label", "rename"};
        QTest::newRow("import statement lists a package's submodules")
            << kLocator << "import ke2fake" << QStringList{"cmds", "tools"};
        QTest::newRow("bare names: classes, functions, imports, variables, from-imports")
            << "import os\nfrom os import sep as separator\nclass Tool:\n    pass\n"
               "def build(a):\n    pass\ncount = 1\n" + kLocator
            << "" << QStringList{"build", "count", "os", "separator", "Tool"};
        QTest::newRow("module-level names bound after the cursor do not count")
            << "early = 1\n" + kLocator + "late = 2\ndef later():\n    pass\n" << ""
            << QStringList{"early"};
        QTest::newRow("inside a function: its arguments and locals so far")
            << "top = 1\ndef f(a, *rest, key=None, **extra):\n    local = 2\n    for item in a:\n"
               "        pass\n    " + kLocator + "    after = 3\n"
            << "" << QStringList{"a", "extra", "f", "item", "key", "local", "rest", "top"};
        QTest::newRow("if locator inside a method sees the method's locals")
            << "class A:\n    def go(self, n):\n        value = 'x'\n        if __kestrel_lctr_hlvd__:\n"
               "            pass\n"
            << "" << QStringList{"A", "n", "self", "value"};
        QTest::newRow("module-level def locator is never offered")
            << "import os\ndef __kedefloc__(__kestrel_lctr_hlvd__): pass\n" << ""
            << QStringList{"os"};
        QTest::newRow("class locator offers object and never itself")
            << "import os\nclass __keclsloc__(__kestrel_lctr_hlvd__): pass\n" << ""
            << QStringList{"object", "os"};
        QTest::newRow("self lists instance and class attributes and methods")
            << "class A:\n    shared = 0\n    def __init__(self):\n        self.a = 1\n"
               "        self.b = 'x'\n    def go(self):\n        " + kLocator + "    def stop(self):\n"
               "        self.c = None\n"
            << "self" << QStringList{"a", "b", "c", "go", "shared", "stop", "__init__"};
        QTest::newRow("cls inside a class method")
            << "class A:\n    shared = 0\n    @classmethod\n    def make(cls):\n        cls.count = 0\n"
               "        " + kLocator
            << "cls" << QStringList{"count", "make", "shared"};
        QTest::newRow("self needs a method that takes self")
            << "class A:\n    @staticmethod\n    def make():\n        " + kLocator << "self"
            << QStringList{};
        QTest::newRow("self outside any class")
            << "self = 1\n" + kLocator << "self" << QStringList{};
        QTest::newRow("instance of a class in the file lists its members")
            << "class A:\n    def __init__(self):\n        self.size = 1\n    def grow(self):\n"
               "        pass\nitem = A()\n" + kLocator
            << "item" << QStringList{"grow", "size", "__init__"};
        QTest::newRow("subclass inherits members of a class defined earlier")
            << "class A:\n    def grow(self):\n        pass\nclass B(A):\n    def shrink(self):\n"
               "        " + kLocator
            << "self" << QStringList{"grow", "shrink"};
        QTest::newRow("nested class path")
            << "class Outer:\n    class Inner:\n        pass\n    def run(self):\n        pass\n"
               + kLocator
            << "Outer" << QStringList{"Inner", "run"};
        QTest::newRow("a variable assigned two kinds offers nothing")
            << "v = 'text'\nv = 3\n" + kLocator << "v" << QStringList{};
        QTest::newRow("a third assignment does not bring the kind back")
            << "v = 'text'\nv = 3\nv = 'again'\n" + kLocator << "v" << QStringList{};
        QTest::newRow("tuple targets have no kind")
            << "a, b = 'x', 'y'\n" + kLocator << "a" << QStringList{};
        QTest::newRow("a callable offers nothing")
            << "import os\nwhere = os.getcwd()\n" + kLocator << "where" << QStringList{};
        QTest::newRow("a function of a module offers nothing")
            << "import os\n" + kLocator << "os.getcwd" << QStringList{};
        QTest::newRow("class-body variables have no kind")
            << "class A:\n    n = 'x'\n" + kLocator << "A.n" << QStringList{};
        QTest::newRow("unparseable line ending in a dot is dropped on retry")
            << "count = 1\nmc.\n" + kLocator << "" << QStringList{"count"};
        QTest::newRow("badly broken buffer still knows its imports")
            << "import os\nfrom os import sep as separator\nvalue = (\n" + kLocator << ""
            << QStringList{"os", "separator"};
        QTest::newRow("modules importing each other end")
            << "from ke2cycle_a import thing\n" + kLocator << "thing" << QStringList{};
        QTest::newRow("unknown module")
            << "import ke2_no_such_module as gone\n" + kLocator << "gone" << QStringList{};
    }
    void completion()
    {
        QFETCH(QString, source);
        QFETCH(QString, obj);
        QFETCH(QStringList, expected);
        QCOMPARE(complete(source, obj), expected);
    }

    // Results that are the members of a real object: compared with what this interpreter's
    // own dir() reports.
    void memberCompletion_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("obj");
        QTest::addColumn<QString>("members");
        QTest::newRow("string variable") << "s = 'abc'\n" + kLocator << "s" << "dir(str)";
        QTest::newRow("double quotes and backslashes survive the call text")
            << "s = \"a\\\\b\"\n" + kLocator << "s" << "dir(str)";
        QTest::newRow("f-string") << "s = f'{1}'\n" + kLocator << "s" << "dir(str)";
        QTest::newRow("bytes") << "b = b'x'\n" + kLocator << "b" << "dir(bytes)";
        QTest::newRow("integer") << "n = 5\n" + kLocator << "n" << "dir(int)";
        QTest::newRow("float") << "n = 2.5\n" + kLocator << "n" << "dir(float)";
        QTest::newRow("list comprehension") << "l = [x for x in 'ab']\n" + kLocator << "l"
                                            << "dir(list)";
        QTest::newRow("dict") << "d = {}\n" + kLocator << "d" << "dir(dict)";
        QTest::newRow("tuple") << "t = (1, 2)\n" + kLocator << "t" << "dir(tuple)";
        QTest::newRow("annotated assignment") << "s: str = 'x'\n" + kLocator << "s" << "dir(str)";
        QTest::newRow("a name bound to another name follows it")
            << "a = 'x'\nb = a\n" + kLocator << "b" << "dir(str)";
        QTest::newRow("the same kind twice keeps it")
            << "v = 'a'\nv = 'b'\n" + kLocator << "v" << "dir(str)";
        QTest::newRow("a function's local inside it")
            << "def f():\n    text = 'x'\n    " + kLocator << "text" << "dir(str)";
        QTest::newRow("self attribute") << "class A:\n    def __init__(self):\n        self.name = 'x'\n"
                                           "    def go(self):\n        " + kLocator
                                        << "self.name" << "dir(str)";
        QTest::newRow("self attribute from a local")
            << "class A:\n    def __init__(self):\n        items = []\n        self.items = items\n"
               "    def go(self):\n        " + kLocator
            << "self.items" << "dir(list)";
        QTest::newRow("loaded module") << "import os\n" + kLocator << "os" << "dir(os)";
        QTest::newRow("attribute of a loaded module") << "import os\n" + kLocator << "os.path"
                                                      << "dir(os.path)";
        QTest::newRow("variable bound to a module attribute")
            << "import os\np = os.path\n" + kLocator << "p" << "dir(os.path)";
        QTest::newRow("a name bound to a module binding")
            << "import os as system\nalias = system\n" + kLocator << "alias" << "dir(os)";
        QTest::newRow("from-import of a loaded module's member")
            << "from os import path as p\n" + kLocator << "p" << "dir(os.path)";
        QTest::newRow("salvaged parse keeps only what the buffer had")
            << "from os import path as p\nimport sys\nvalue = (\n" + kLocator << "p"
            << "dir(os.path)";
        QTest::newRow("class deriving from object gets its members")
            << "class A(object):\n    def go(self):\n        " + kLocator << "self"
            << "dir(object) + ['go']";
        QTest::newRow("method header in a subclass offers what can be overridden")
            << "class Base(object):\n    def run(self):\n        pass\nclass A(Base):\n"
               "    def go(self):\n        pass\n    def __kedefloc__(__kestrel_lctr_hlvd__): pass\n"
            << "" << "dir(object) + ['A', 'Base', 'run', 'go', 'self', 'cls']";
        QTest::newRow("base class through a module binding")
            << "import collections as c\nclass A(c.OrderedDict):\n    def go(self):\n        "
               + kLocator
            << "self" << "dir(__import__('collections').OrderedDict) + ['go']";
        QTest::newRow("import statement lists a loaded module's members and submodules")
            << kLocator << "import json"
            << "dir(__import__('json')) + [m[1] for m in __import__('pkgutil')"
               ".iter_modules(__import__('json').__path__)]";
    }
    void memberCompletion()
    {
        QFETCH(QString, source);
        QFETCH(QString, obj);
        QFETCH(QString, members);
        const QStringList expected = pythonList("list(set(" + members + "))");
        const QStringList actual = complete(source, obj);
        QCOMPARE(toSet(actual), toSet(expected));
        QCOMPARE(actual.size(), expected.size()); // no duplicates
    }

    void startUpRoutineLoadsItForTheBridgeCalls()
    {
        QVERIFY(m_host->executePython("del KestrelEditorParser"));
        ke2::HostBridge::setHost(m_host.get());
        ke2::HostBridge::loadEmbeddedScripts();
        // The bridge's callers escape what they pass.
        const QStringList names =
            ke2::HostBridge::parsePython(escaped("s = 'x'\n" + kLocator), "s", true);
        const QStringList check = ke2::HostBridge::pythonSyntaxCheck(escaped("a = 1\nb = (\n"));
        const bool imported = ke2::HostBridge::executePythonStatement("import os");
        const bool failed = ke2::HostBridge::executePythonStatement("import ke2_no_such_module");
        ke2::HostBridge::setHost(nullptr);
        QCOMPARE(toSet(names), toSet(pythonList("dir(str)")));
        QCOMPARE(check.value(1), QString("2"));
        QVERIFY(imported);
        QVERIFY(!failed);
    }

    void keywordsAndBuiltinsJoinBareNamesOnly()
    {
        const QString source = "count = 1\n" + kLocator;
        QCOMPARE(complete(source, QString()), QStringList{"count"});
        const QStringList withKeywords = complete(source, QString(), true, false);
        QVERIFY(withKeywords.contains("lambda") && withKeywords.contains("None"));
        QVERIFY(!withKeywords.contains("xrange"));
        const QStringList withBuiltins = complete(source, QString(), false, true);
        QVERIFY(withBuiltins.contains("xrange") && withBuiltins.contains("__import__"));
        QVERIFY(!withBuiltins.contains("lambda"));
        // Names without a leading underscore come first, case-insensitively sorted.
        const int plain = withBuiltins.indexOf("zip");
        QCOMPARE(withBuiltins.indexOf("__import__"), plain + 1);
        QVERIFY(withBuiltins.indexOf("count") < withBuiltins.indexOf("delattr"));
        QCOMPARE(complete("s = 'x'\n" + kLocator, "s", true, true).contains("lambda"), false);
    }

    void importedModuleCompletesWithItsRealMembers()
    {
        const QString source = "import ke2loaded as ld\n" + kLocator;
        QCOMPARE(complete(source, "ld"), QStringList{"imported_only"});
        QVERIFY(m_host->executePython("import ke2loaded\nke2loaded.added_later = 1"));
        QCOMPARE(toSet(complete(source, "ld")), toSet(pythonList("dir(ke2loaded)")));
        QVERIFY(complete(source, "ld").contains("added_later"));
    }

    void initializeImportsTheHostModulesThatExist()
    {
        QVERIFY(m_host->executePython("KestrelEditorParser.initialized = False\n"
                                      "KestrelEditorParser()"));
        int flag = 0;
        QVERIFY(m_host->executePythonInt("int(KestrelEditorParser.initialized)", flag));
        QCOMPARE(flag, 1);
        QCOMPARE(pythonList("[n for n in ('maya.cmds', 'maya.mel', 'maya.OpenMaya') if n in "
                            "__import__('sys').modules]"),
                 (QStringList{"maya.cmds", "maya.mel"}));
        const QString source = "import maya.cmds as mc\n" + kLocator;
        QCOMPARE(toSet(complete(source, "mc")), toSet(pythonList("dir(__import__('maya.cmds').cmds)")));
        QVERIFY(complete(source, "mc").contains("polyCube"));
    }

    // The editor re-sends the whole buffer at each request; only the part being typed changes.
    void answersStayRightWhileTheBufferChanges()
    {
        const struct {
            QString source;
            QStringList expected;
        } steps[] = {
            {"import os\ny = 1\n" + kLocator, {"os", "y"}},
            {"import os\ns = '''\ny = 1\n'''\n" + kLocator, {"os", "s"}},
            {"import os\ns = '''\ny = 1\n'''; t = 2\n" + kLocator, {"os", "s", "t"}},
            {"import os\ny = 1\n" + kLocator, {"os", "y"}},
            {"import os\n@decorate\ndef f():\n    pass\nif os:\n    a = 1\nelse:\n    b = 2\n" + kLocator,
             {"a", "b", "f", "os"}},
            {"import os\n@decorate\ndef g():\n    pass\nif os:\n    a = 1\nelse:\n    b = 2\n" + kLocator,
             {"a", "b", "g", "os"}},
            {"x = (1,\n2)\nz = [\n]\n" + kLocator, {"x", "z"}},
            {"import os\ny = 1\nbroken = (\n" + kLocator, {"os"}},
            {"import os\ny = 1\nbroken = (\n2)\n" + kLocator, {"broken", "os", "y"}},
            {"import os\ny = 1\n" + kLocator, {"os", "y"}},
        };
        for (const auto &step : steps)
            QCOMPARE(complete(step.source, QString()), step.expected);
    }

    void syntaxCheckAgreesWithPython_data()
    {
        QTest::addColumn<QString>("source");
        QTest::newRow("invalid syntax") << "a = 1\nb = 2\nc = = 3\n";
        QTest::newRow("unclosed bracket") << "a = 1\nvalue = (1,\n";
        QTest::newRow("unexpected indent") << "a = 1\n    b = 2\n";
        QTest::newRow("missing block") << "if True:\nx = 1\n";
        QTest::newRow("print statement") << "print 'x'\n";
        QTest::newRow("null byte") << QString::fromLatin1("a = 1\0\n", 7);
        QTest::newRow("valid source") << "import os\nprint(os.sep)\n";
    }
    void syntaxCheckAgreesWithPython()
    {
        QFETCH(QString, source);
        QVERIFY(m_host->executePython(
            "def _ke2_syntax_error(source):\n"
            "    import ast\n"
            "    try:\n"
            "        ast.parse(source)\n"
            "    except SyntaxError as error:\n"
            "        return [error.msg, str(error.lineno or 0)]\n"
            "    except Exception:\n"
            "        pass\n" // not a syntax error: no answer
            "    return []"));
        const QStringList expected = pythonList("_ke2_syntax_error(" + pythonLiteral(source) + ")");
        QCOMPARE(syntaxCheck(source), expected);
    }

    void syntaxCheckDropsTheFileAndLine()
    {
        QCOMPARE(syntaxCheck("a = 1\nb = 2\nc = = 3\n"), (QStringList{"invalid syntax", "3"}));
    }

    void execStatement_data()
    {
        QTest::addColumn<QString>("statement");
        QTest::addColumn<int>("expected");
        QTest::newRow("import") << "import os" << 1;
        QTest::newRow("from-import") << "from os import path" << 1;
        QTest::newRow("missing module") << "import ke2_no_such_module" << 0;
        QTest::newRow("syntax error") << "import (" << 0;
        QTest::newRow("exit") << "raise SystemExit(3)" << 0;
    }
    void execStatement()
    {
        QFETCH(QString, statement);
        QFETCH(int, expected);
        int result = -1;
        QVERIFY(m_host->executePythonInt(
            QStringLiteral("KestrelEditorParser.exec_statement(\"%1\")").arg(escaped(statement)),
            result));
        QVERIFY(m_host->executePython("pass"));
        QCOMPARE(result, expected);
    }

    void badInputGivesEmptyResults_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("raises"); // what parsing it raises in this interpreter
        QTest::newRow("syntax error") << "value = = 1\n" << "SyntaxError";
        QTest::newRow("null byte") << QString::fromLatin1("value = 1\0\n", 11) << "SyntaxError|ValueError";
        QTest::newRow("10,000 nested brackets") << QString(10000, QLatin1Char('[')) << "SyntaxError";
        QTest::newRow("parser stack exhausted")
            << "value = " + QString(100000, QLatin1Char('-')) + "1\n" << "MemoryError";
        QTest::newRow("tree too deep to build")
            << "value = 1" + QString(" + 1").repeated(100000) + "\n" << "RecursionError";
    }
    void badInputGivesEmptyResults()
    {
        QFETCH(QString, source);
        QFETCH(QString, raises);
        QVERIFY(m_host->executePython(
            "def _ke2_parse_error(source):\n"
            "    import ast\n"
            "    try:\n"
            "        ast.parse(source)\n"
            "    except BaseException as error:\n"
            "        return [type(error).__name__]\n"
            "    return []"));
        const QStringList raised = pythonList("_ke2_parse_error(" + pythonLiteral(source) + ")");
        QCOMPARE(raised.size(), 1);
        QVERIFY2(QRegularExpression("^(" + raises + ")$").match(raised.first()).hasMatch(),
                 qPrintable(raised.first()));

        QCOMPARE(complete(source, QString()), QStringList{});
        QCOMPARE(complete(source + "\n" + kLocator, "value"), QStringList{});
        QCOMPARE(syntaxCheck(source).size() == 2, raised.first() == "SyntaxError");
        // Imports around the bad part are still found.
        QCOMPARE(complete("import os\n" + source + "\n" + kLocator, QString()), QStringList{"os"});
        // And the interpreter goes on working.
        QCOMPARE(toSet(complete("s = 'x'\n" + kLocator, "s")), toSet(pythonList("dir(str)")));
    }

    void failingMemberListingGivesNothing()
    {
        QCOMPARE(complete("import ke2_bad_dir\n" + kLocator, "ke2_bad_dir"), QStringList{});
        QCOMPARE(pythonList("KestrelEditorParser().parse_module('ke2_bad_dir')"), QStringList{});
        QCOMPARE(toSet(pythonList("KestrelEditorParser().parse_module('os')")),
                 toSet(pythonList("dir(__import__('os'))")));
    }

    void noWarningReachesTheOutput()
    {
        // Invalid escapes make the parser warn; a host may show every warning.
        QVERIFY(m_host->executePython("import warnings\n_ke2_filters = warnings.filters[:]\n"
                                      "warnings.simplefilter('always')"));
        const QString source = "import ke2fake.cmds as mc\npattern = '\\d+'\n" + kLocator;
        const QStringList members = complete(source, "mc");
        const QStringList check = syntaxCheck(source);
        QVERIFY(m_host->executePython("warnings.filters[:] = _ke2_filters"));
        QCOMPARE(members, (QStringList{"ls", "Node", "polySphere", "_private"}));
        QCOMPARE(check, QStringList{});
        // cleanup() verifies that nothing was printed.
    }

    void scriptCompilesWithoutWarnings()
    {
        const QString python = QStandardPaths::findExecutable("python3");
        if (python.isEmpty())
            QSKIP("python3 is not installed");
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        QFile copy(dir.filePath("kestrel_editor_parser.py"));
        QVERIFY(copy.open(QIODevice::WriteOnly));
        copy.write(readScript().toLatin1());
        copy.close();
        QProcess process;
        process.start(python, {"-W", "error", "-m", "py_compile", copy.fileName()});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(QString::fromLocal8Bit(process.readAllStandardError()), QString());
        QCOMPARE(process.exitCode(), 0);
    }

    void scriptAvoidsRemovedApis_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::newRow("old literal nodes") << R"(\bast\.(Str|Num|Bytes|NameConstant|Ellipsis)\b)";
        QTest::newRow("old loader classes") << R"(\bImpLoader\b|\bImpImporter\b)";
        QTest::newRow("loader lookups") << R"(\b(find_loader|get_loader)\b)";
        QTest::newRow("imp module") << R"(\bimport\s+imp\b|\bimp\.)";
        QTest::newRow("print statement") << R"(^\s*print\s+[^\s(=])";
        QTest::newRow("exec statement") << R"(^\s*exec\s+[^\s(=])";
        QTest::newRow("non-ASCII character, read as Latin-1") << R"([^\x00-\x7f])";
    }
    void scriptAvoidsRemovedApis()
    {
        QFETCH(QString, pattern);
        const QRegularExpression expression(pattern, QRegularExpression::MultilineOption);
        QVERIFY(expression.isValid());
        const QRegularExpressionMatch match = expression.match(readScript());
        QVERIFY2(!match.hasMatch(), qPrintable(match.captured(0)));
    }
};

KE2_TEST_CLASS(PythonAnalysisScriptTest)
#include "test_python_analysis_script.moc"
