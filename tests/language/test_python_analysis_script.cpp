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

QString readScript()
{
    QFile file(QStringLiteral(":/ke2_python/kestrel_editor_parser.py"));
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()) : QString();
}

// A buffer escaped as the completion code escapes it. A raw NUL cannot travel inside a call
// text at all (the host refuses to compile it), so it is escaped here to reach the script.
QString escaped(QString text)
{
    return text.replace('\\', "\\\\").replace('\n', "\\n").replace('"', "\\\"").replace(QChar(0), "\\x00");
}

QString literal(const QString &text)
{
    return '"' + escaped(text) + '"';
}

QSet<QString> toSet(const QStringList &list)
{
    return QSet<QString>(list.begin(), list.end());
}

} // namespace

// Runs the compiled-in analysis script in the real embedded interpreter, through the exact
// expressions the editor sends.
class PythonAnalysisScriptTest : public QObject {
    Q_OBJECT

    ke2::test::TempPrefs m_prefs;
    QTemporaryDir m_packages;
    std::unique_ptr<PythonHost> m_host;
    QStringList m_output;

    QStringList complete(const QString &source, const QString &obj, bool keywords = false, bool builtins = false)
    {
        return evaluate(QStringLiteral("KestrelEditorParser().parse_source(\"%1\", %2, %3, %4)")
                            .arg(escaped(source), obj.isEmpty() ? "None" : '"' + obj + '"')
                            .arg(int(keywords)).arg(int(builtins)));
    }
    QStringList syntaxCheck(const QString &source)
    {
        return evaluate(QStringLiteral("KestrelEditorParser.syntax_check(%1)").arg(literal(source)));
    }
    QStringList evaluate(const QString &expression)
    {
        QStringList list;
        if (!m_host->executePythonStringList(expression, list))
            return {"<evaluation failed: " + expression + '>'};
        m_host->executePython(QStringLiteral("pass"));
        return list;
    }
private slots:
    void initTestCase()
    {
        // Packages on the test's own path: completion reads their source without importing them.
        const QPair<QString, QByteArray> files[] = {
            {"ke2fake/__init__.py", ""}, {"ke2fake/tools.py", "def run():\n    pass\n"},
            {"ke2fake/cmds.py", "def ls(*args):\n    pass\ndef polySphere(radius=1.0):\n    pass\nclass Node:\n    kind = 1\n"
                                "    def rename(self, name):\n        self.label = name\n_private = 0\n"},
            {"ke2loaded.py", "def imported_only():\n    pass\n"}, {"ke2cycle_a.py", "from ke2cycle_b import thing\n"},
            {"ke2cycle_b.py", "from ke2cycle_a import thing\n"}, {"maya/__init__.py", ""},
            {"maya/mel.py", "def eval(text):\n    pass\n"}, {"maya/cmds.py", "def polyCube():\n    pass\n"}};
        for (const auto &file : files) {
            QDir().mkpath(QFileInfo(m_packages.filePath(file.first)).path());
            QFile out(m_packages.filePath(file.first));
            QVERIFY(out.open(QIODevice::WriteOnly) && out.write(file.second) == file.second.size());
        }

        m_host = std::make_unique<PythonHost>(m_prefs.root());
        m_host->addCallbacks(nullptr);
        m_host->output().setReceiver([this](const QString &text) { m_output.append(text); });
        const QString script = readScript();
        QVERIFY2(!script.isEmpty(), "the script resource is missing");
        QVERIFY(m_host->executePython(script));
        QVERIFY(m_host->executePython(
            "import importlib, sys, types\nsys.path.insert(0, " + literal(QDir::toNativeSeparators(m_packages.path()))
            + ")\nimportlib.invalidate_caches()\n"
              "class _Ke2BadDir(types.ModuleType):\n" // a module whose member listing fails
              "    def __dir__(self):\n"
              "        raise RuntimeError('no listing')\n"
              "sys.modules['ke2_bad_dir'] = _Ke2BadDir('ke2_bad_dir')\n"
              "ke2_live = 3 + 4j\n"
              // Objects whose attribute lookups run code: completion must read them statically.
              "_ke2_ran = []\n"
              "class Ke2Descriptor:\n"
              "    def __get__(self, obj, owner):\n"
              "        _ke2_ran.append('descriptor')\n"
              "class Ke2Tricky:\n"
              "    kind = 1\n"
              "    through = Ke2Descriptor()\n"
              "    def __init__(self):\n"
              "        self.inner = 'text'\n"
              "    @property\n"
              "    def slow(self):\n"
              "        _ke2_ran.append('getter')\n"
              "    def __getattr__(self, name):\n"
              "        _ke2_ran.append('__getattr__')\n"
              "    def __dir__(self):\n"
              "        _ke2_ran.append('__dir__')\n"
              "        return ['fake']\n"
              "class Ke2Slots:\n"
              "    __slots__ = ('left', 'right')\n"
              "ke2_tricky, ke2_slots, ke2_big = Ke2Tricky(), Ke2Slots(), type('Ke2Big', (), {})()\n"
              "ke2_slots.left = 'text'\n"
              "ke2_big.__dict__.update(('a%d' % i, i) for i in range(100000))\n"
              "ke2_lazy = types.ModuleType('ke2_lazy')\n"
              "ke2_lazy.tricky = ke2_tricky\n"
              "ke2_lazy.__getattr__ = lambda name: _ke2_ran.append('module __getattr__')\n"
              "sys.modules['ke2_lazy'] = ke2_lazy\n"
              "def _ke2_parse_error(source):\n" // what this interpreter's own parser raises
              "    import ast\n"
              "    try:\n"
              "        ast.parse(source)\n"
              "    except SyntaxError as error:\n"
              "        return ['SyntaxError', error.msg, str(error.lineno or 0)]\n"
              "    except BaseException as error:\n"
              "        return [type(error).__name__]\n"
              "    return []"));
        QVERIFY2(m_output.isEmpty(), qPrintable(m_output.join("|")));
    }

    void cleanupTestCase()
    {
        // The interpreter outlives this class: leave no fake module behind for other tests.
        m_host->executePython("import sys\nfor _ke2_name in [n for n in sys.modules if n.split('.')[0] in "
                              "('ke2fake', 'ke2loaded', 'ke2cycle_a', 'ke2cycle_b', 'ke2_bad_dir', 'ke2_lazy', 'maya')]:\n"
                              "    del sys.modules[_ke2_name]\ndel ke2_live, ke2_tricky, ke2_slots, ke2_big, ke2_lazy\nsys.path.remove("
                              + literal(QDir::toNativeSeparators(m_packages.path())) + ")");
        m_host.reset();
    }

    void init() { m_output.clear(); }
    // Every entry point keeps its failures to itself.
    void cleanup() { QVERIFY2(m_output.isEmpty(), qPrintable(m_output.join("|"))); }

    // `expected` is the exact answer, in order; or, where `members` is set, the answer holds
    // exactly the names of that expression as this interpreter's own dir() lists them.
    void completion_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("obj");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QString>("members");
        auto exact = [](const char *name, const QString &source, const QString &obj, const QStringList &expected) {
            QTest::newRow(name) << source << obj << expected << QString();
        };
        auto dir = [](const char *name, const QString &source, const QString &obj, const QString &members) {
            QTest::newRow(name) << source << obj << QStringList() << members;
        };
        const QString self = "class A:\n    shared = 0\n    def __init__(self):\n        self.a = 1\n        self.b = 'x'\n";
        exact("module alias completes from the package's source, others first then _",
              "import ke2fake.cmds as mc\n" + kLocator, "mc", {"ls", "Node", "polySphere", "_private"});
        exact("from-import binding completes as the module", "from ke2fake import cmds as c\n" + kLocator, "c",
              {"ls", "Node", "polySphere", "_private"});
        exact("class in an unloaded module lists methods, class and instance attributes",
              "import ke2fake.cmds as mc\n" + kLocator, "mc.Node", {"kind", "label", "rename"});
        exact("import statement lists a package's submodules", kLocator, "import ke2fake", {"cmds", "tools"});
        exact("bare names: classes, functions, imports, variables, from-imports",
              "import os\nfrom os import sep as separator\nclass Tool:\n    pass\ndef build(a):\n    pass\ncount = 1\n" + kLocator,
              "", {"build", "count", "os", "separator", "Tool"});
        exact("module-level names bound after the cursor do not count",
              "early = 1\n" + kLocator + "late = 2\ndef later():\n    pass\n", "", {"early"});
        exact("inside a function: its arguments and locals so far",
              "top = 1\ndef f(a, *rest, key=None, **extra):\n    local = 2\n    for item in a:\n        pass\n    " + kLocator
                  + "    after = 3\n",
              "", {"a", "extra", "f", "item", "key", "local", "rest", "top"});
        exact("if locator inside a method sees the method's locals",
              "class A:\n    def go(self, n):\n        value = 'x'\n        if __kestrel_lctr_hlvd__:\n            pass\n", "",
              {"A", "n", "self", "value"});
        exact("while locator inside a function sees its arguments and locals",
              "def f(a):\n    total = 0\n    while __kestrel_lctr_hlvd__:\n        pass\n", "", {"a", "f", "total"});
        exact("elif comparison locator inside a method sees the method's locals",
              "class A:\n    def go(self, n):\n        value = 'x'\n        if n:\n            pass\n"
              "        elif __kestrel_lctr_hlvd__ == 1:\n            pass\n", "",
              {"A", "n", "self", "value"});
        exact("module-level def locator is never offered", "import os\ndef __kedefloc__(__kestrel_lctr_hlvd__): pass\n", "",
              {"os"});
        exact("class locator offers object and never itself",
              "import os\nclass __keclsloc__(__kestrel_lctr_hlvd__): pass\n", "", {"object", "os"});
        exact("self lists instance and class attributes and methods",
              self + "    def go(self):\n        " + kLocator + "    def stop(self):\n        self.c = None\n", "self",
              {"a", "b", "c", "go", "shared", "stop", "__init__"});
        exact("cls inside a class method",
              "class A:\n    shared = 0\n    @classmethod\n    def make(cls):\n        cls.count = 0\n        " + kLocator, "cls",
              {"count", "make", "shared"});
        exact("self needs a method that takes self", "class A:\n    @staticmethod\n    def make():\n        " + kLocator, "self",
              {});
        exact("instance of a class in the file lists its members",
              "class A:\n    def __init__(self):\n        self.size = 1\n    def grow(self):\n        pass\nitem = A()\n" + kLocator,
              "item", {"grow", "size", "__init__"});
        exact("subclass inherits members of a class defined earlier",
              "class A:\n    def grow(self):\n        pass\nclass B(A):\n    def shrink(self):\n        " + kLocator, "self",
              {"grow", "shrink"});
        exact("a variable assigned two kinds offers nothing", "v = 'text'\nv = 3\n" + kLocator, "v", {});
        exact("a callable offers nothing", "import os\nwhere = os.getcwd()\n" + kLocator, "where", {});
        exact("unparseable line ending in a dot is dropped on retry", "count = 1\nmc.\n" + kLocator, "", {"count"});
        exact("badly broken buffer still knows its imports",
              "import os\nfrom os import sep as separator\nvalue = (\n" + kLocator, "", {"os", "separator"});
        exact("modules importing each other end", "from ke2cycle_a import thing\n" + kLocator, "thing", {});
        exact("an unfinished line in the method leaves self known",
              "class A:\n    def f(self):\n        self.x = 1\n        y = foo(\n        " + kLocator, "self", {"f", "x"});
        exact("unknown module", "import ke2_no_such_module as gone\n" + kLocator, "gone", {});

        dir("an object the user's runs left in the interpreter", kLocator, "ke2_live.real", "dir(ke2_live.real)");
        dir("string variable", "s = 'abc'\n" + kLocator, "s", "dir(str)");
        dir("double quotes and backslashes survive the call text", "s = \"a\\\\b\"\n" + kLocator, "s", "dir(str)");
        dir("integer", "n = 5\n" + kLocator, "n", "dir(int)");
        dir("list comprehension", "l = [x for x in 'ab']\n" + kLocator, "l", "dir(list)");
        dir("annotated assignment", "s: str = 'x'\n" + kLocator, "s", "dir(str)");
        dir("a name bound to another name follows it", "a = 'x'\nb = a\n" + kLocator, "b", "dir(str)");
        dir("the same kind twice keeps it", "v = 'a'\nv = 'b'\n" + kLocator, "v", "dir(str)");
        dir("self attribute from a local",
            "class A:\n    def __init__(self):\n        items = []\n        self.items = items\n    def go(self):\n        " + kLocator,
            "self.items", "dir(list)");
        dir("attribute of a loaded module", "import os\n" + kLocator, "os.path", "dir(os.path)");
        dir("a name bound to a module binding", "import os as system\nalias = system\n" + kLocator, "alias", "dir(os)");
        dir("salvaged parse keeps from-imports of a loaded module's member",
            "from os import path as p\nimport sys\nvalue = (\n" + kLocator, "p", "dir(os.path)");
        dir("class deriving from object gets its members", "class A(object):\n    def go(self):\n        " + kLocator, "self",
            "dir(object) + ['go']");
        dir("method header in a subclass offers what can be overridden",
            "class Base(object):\n    def run(self):\n        pass\nclass A(Base):\n    def go(self):\n        pass\n"
            "    def __kedefloc__(__kestrel_lctr_hlvd__): pass\n",
            "", "dir(object) + ['A', 'Base', 'run', 'go', 'self', 'cls']");
        dir("base class through a module binding",
            "import collections as c\nclass A(c.OrderedDict):\n    def go(self):\n        " + kLocator, "self",
            "dir(__import__('collections').OrderedDict) + ['go']");
        dir("import statement lists a loaded module's members and submodules", kLocator, "import json",
            "dir(__import__('json')) + [m[1] for m in __import__('pkgutil').iter_modules(__import__('json').__path__)]");
    }
    void completion()
    {
        QFETCH(QString, source);
        QFETCH(QString, obj);
        QFETCH(QStringList, expected);
        QFETCH(QString, members);
        const QStringList names = members.isEmpty() ? expected : evaluate("list(set(" + members + "))");
        const QStringList actual = complete(source, obj);
        if (members.isEmpty())
            QCOMPARE(actual, expected);
        QCOMPARE(toSet(actual), toSet(names));
        QCOMPARE(actual.size(), names.size()); // no duplicates
    }

    void startUpRoutineLoadsItForTheBridgeCalls()
    {
        QVERIFY(m_host->executePython("del KestrelEditorParser"));
        ke2::HostBridge::setHost(m_host.get());
        ke2::HostBridge::loadEmbeddedScripts();
        // The bridge's callers escape what they pass.
        const QStringList names = ke2::HostBridge::parsePython(escaped("s = 'x'\n" + kLocator), "s", false, false);
        const QStringList check = ke2::HostBridge::pythonSyntaxCheck(escaped("a = 1\nb = 2\nc = = 3\n"));
        const bool imported = ke2::HostBridge::executePythonStatement("import os");
        const bool failed = ke2::HostBridge::executePythonStatement("import ke2_no_such_module");
        ke2::HostBridge::setHost(nullptr);
        QCOMPARE(toSet(names), toSet(evaluate("dir(str)")));
        QCOMPARE(check, (QStringList{"invalid syntax", "3"})); // without the file name and line
        QVERIFY(imported && !failed);
    }

    void keywordsAndBuiltinsJoinBareNamesOnly()
    {
        const QString source = "count = 1\n" + kLocator;
        const QStringList withKeywords = complete(source, QString(), true, false);
        QVERIFY(withKeywords.contains("lambda") && withKeywords.contains("None") && !withKeywords.contains("xrange"));
        const QStringList withBuiltins = complete(source, QString(), false, true);
        QVERIFY(withBuiltins.contains("xrange") && !withBuiltins.contains("lambda"));
        // Names without a leading underscore come first, case-insensitively sorted.
        QCOMPARE(withBuiltins.indexOf("__import__"), withBuiltins.indexOf("zip") + 1);
        QVERIFY(withBuiltins.indexOf("count") < withBuiltins.indexOf("delattr"));
        QVERIFY(!complete("s = 'x'\n" + kLocator, "s", true, true).contains("lambda"));
    }

    void loadedModulesCompleteWithTheirRealMembers()
    {
        const QString source = "import ke2loaded as ld\n" + kLocator;
        QCOMPARE(complete(source, "ld"), QStringList{"imported_only"});
        QVERIFY(m_host->executePython("import ke2loaded\nke2loaded.added_later = 1"));
        QCOMPARE(toSet(complete(source, "ld")), toSet(evaluate("dir(ke2loaded)")));
        // initialize() imports the host modules that exist and skips the others silently.
        QVERIFY(m_host->executePython("KestrelEditorParser.initialized = False\nKestrelEditorParser()"));
        QCOMPARE(evaluate("[n for n in ('maya.cmds', 'maya.mel', 'maya.OpenMaya') if n in __import__('sys').modules]"),
                 (QStringList{"maya.cmds", "maya.mel"}));
        QCOMPARE(toSet(complete("import maya.cmds as mc\n" + kLocator, "mc")), toSet(evaluate("dir(__import__('maya.cmds').cmds)")));
        // A module's own __dir__ is not run: it lists what the module holds.
        const QStringList badDir = evaluate("sorted(vars(__import__('sys').modules['ke2_bad_dir']))");
        QCOMPARE(toSet(complete("import ke2_bad_dir\n" + kLocator, "ke2_bad_dir")), toSet(badDir));
        QCOMPARE(toSet(evaluate("KestrelEditorParser().parse_module('ke2_bad_dir')")), toSet(badDir));
        QCOMPARE(toSet(evaluate("KestrelEditorParser().parse_module('os')")), toSet(evaluate("dir(__import__('os'))")));
    }

    // Objects the user's runs left behind complete with their members as the interpreter's own
    // default listing gives them, without any getter, __getattr__, __dir__ or descriptor running;
    // what only such code could tell completes with nothing. A huge __dict__ is read in part.
    void liveObjectsCompleteWithoutRunningTheirCode_data()
    {
        QTest::addColumn<QString>("obj");
        QTest::addColumn<QString>("members"); // empty: nothing offered
        QTest::newRow("instance with __dir__") << "ke2_tricky" << "object.__dir__(ke2_tricky)";
        QTest::newRow("property") << "ke2_tricky.slow" << "";
        QTest::newRow("descriptor") << "ke2_tricky.through" << "";
        QTest::newRow("name only __getattr__ knows") << "ke2_tricky.missing" << "";
        QTest::newRow("attribute of the instance") << "ke2_tricky.inner" << "dir(str)";
        QTest::newRow("class attribute") << "ke2_tricky.kind" << "dir(int)";
        QTest::newRow("class") << "Ke2Tricky" << "type.__dir__(Ke2Tricky)";
        QTest::newRow("slots") << "ke2_slots" << "object.__dir__(ke2_slots)";
        QTest::newRow("a slot's value") << "ke2_slots.left" << "dir(str)";
        QTest::newRow("an empty slot") << "ke2_slots.right" << "";
        QTest::newRow("through an imported module") << "ke2_lazy.tricky" << "object.__dir__(ke2_tricky)";
        QTest::newRow("module __getattr__") << "ke2_lazy.hidden" << "";
    }
    void liveObjectsCompleteWithoutRunningTheirCode()
    {
        QFETCH(QString, obj);
        QFETCH(QString, members);
        const QStringList actual = complete("import ke2_lazy\n" + kLocator, obj);
        QCOMPARE(toSet(actual), toSet(members.isEmpty() ? QStringList() : evaluate(members)));
        QCOMPARE(evaluate("_ke2_ran"), QStringList());
    }
    void hugeDictionaryIsReadInPart()
    {
        const QStringList big = complete(kLocator, "ke2_big");
        QVERIFY2(big.contains("a0") && big.size() <= 20000, qPrintable(QString::number(big.size())));
    }

    // The editor re-sends the whole buffer at each request; nothing of an earlier one may stick.
    void answersStayRightWhileTheBufferChanges()
    {
        const QString fg = "import os\n@decorate\ndef %1():\n    pass\nif os:\n    a = 1\nelse:\n    b = 2\n" + kLocator;
        const QVector<QPair<QString, QStringList>> steps = {
            {"import os\ny = 1\n" + kLocator, {"os", "y"}},
            {"import os\ns = '''\ny = 1\n'''\n" + kLocator, {"os", "s"}},
            {fg.arg('f'), {"a", "b", "f", "os"}},
            {fg.arg('g'), {"a", "b", "g", "os"}},
            {"x = (1,\n2)\nz = [\n]\n" + kLocator, {"x", "z"}},
            // A broken line costs only itself: the blocks around it stay known.
            {"import os\ny = 1\nbroken = (\n" + kLocator, {"os", "y"}},
            {"a = 1\nb = 2\nc = = 3\n" + kLocator, {"a", "b"}},
            {"class A:\n    def f(self):\n        self.x = 1\n        y = foo(\n        " + kLocator, {"A", "self"}},
            {"import os\ny = 1\nbroken = (\n2)\n" + kLocator, {"broken", "os", "y"}},
        };
        for (const auto &step : steps)
            QCOMPARE(complete(step.first, QString()), step.second);
    }

    // The check answers [message, line] exactly as this interpreter's SyntaxError reports them;
    // bad input gives every entry point its empty answer and leaves the interpreter usable.
    void syntaxCheckAndBadInput_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("raises");
        QTest::addColumn<bool>("bad"); // the buffer with a locator after it still fails to parse
        QTest::newRow("invalid syntax") << "a = 1\nb = 2\nc = = 3\n" << "SyntaxError" << false;
        QTest::newRow("unclosed bracket") << "a = 1\nvalue = (1,\n" << "SyntaxError" << false;
        QTest::newRow("unexpected indent") << "a = 1\n    b = 2\n" << "SyntaxError" << false;
        QTest::newRow("missing block") << "if True:\nx = 1\n" << "SyntaxError" << false;
        QTest::newRow("print statement") << "print 'x'\n" << "SyntaxError" << false;
        QTest::newRow("null byte") << QString::fromLatin1("value = 1\0\n", 11) << "SyntaxError|ValueError" << true;
        QTest::newRow("10,000 nested brackets") << QString(10000, QLatin1Char('[')) << "SyntaxError" << true;
        QTest::newRow("parser stack exhausted") << "value = " + QString(100000, QLatin1Char('-')) + "1\n" << "MemoryError" << true;
        QTest::newRow("tree too deep to build") << "value = 1" + QString(" + 1").repeated(100000) + "\n" << "RecursionError" << true;
        QTest::newRow("valid source") << "import os\nprint(os.sep)\n" << "" << false;
    }
    void syntaxCheckAndBadInput()
    {
        QFETCH(QString, source);
        QFETCH(QString, raises);
        QFETCH(bool, bad);
        const QStringList raised = evaluate("_ke2_parse_error(" + literal(source) + ")");
        QVERIFY2(QRegularExpression("^(" + raises + ")$").match(raised.value(0)).hasMatch(), qPrintable(raised.join(' ')));
        QCOMPARE(syntaxCheck(source), raised.mid(1));
        if (!bad)
            return;
        QCOMPARE(complete(source, QString()), QStringList{});
        QCOMPARE(complete(source + "\n" + kLocator, "value"), QStringList{});
        QCOMPARE(complete("import os\n" + source + "\n" + kLocator, QString()), QStringList{"os"});
        QCOMPARE(toSet(complete("s = 'x'\n" + kLocator, "s")), toSet(evaluate("dir(str)")));
    }

    void execStatement()
    {
        const QVector<QPair<QString, int>> statements = {
            {"import os", 1}, {"from os import path", 1}, {"import ke2_no_such_module", 0}, {"import (", 0}, {"raise SystemExit(3)", 0}};
        for (const auto &statement : statements) {
            int result = -1;
            QVERIFY(m_host->executePythonInt("KestrelEditorParser.exec_statement(" + literal(statement.first) + ")", result));
            QVERIFY(m_host->executePython("pass"));
            QCOMPARE(result, statement.second);
        }
    }

    void noWarningReachesTheOutput()
    {
        // Invalid escapes make the parser warn; a host may show every warning.
        QVERIFY(m_host->executePython("import warnings\n_ke2_filters = warnings.filters[:]\nwarnings.simplefilter('always')"));
        const QString source = "import ke2fake.cmds as mc\npattern = '\\d+'\n" + kLocator;
        const QStringList members = complete(source, "mc");
        const QStringList check = syntaxCheck(source);
        QVERIFY(m_host->executePython("warnings.filters[:] = _ke2_filters"));
        QCOMPARE(members, (QStringList{"ls", "Node", "polySphere", "_private"}));
        QCOMPARE(check, QStringList{}); // cleanup() verifies that nothing was printed
    }

    void scriptIsCleanPython3()
    {
        const QString script = readScript();
        const QStringList removed = {
            R"(\bast\.(Str|Num|Bytes|NameConstant|Ellipsis)\b)", R"(\bImpLoader\b|\bImpImporter\b)",
            R"(\b(find_loader|get_loader)\b)", R"(\bimport\s+imp\b|\bimp\.)", R"(^\s*print\s+[^\s(=])",
            R"(^\s*exec\s+[^\s(=])", R"([^\x00-\x7f])" /* read as Latin-1 */};
        for (const QString &pattern : removed) {
            const QRegularExpressionMatch match = QRegularExpression(pattern, QRegularExpression::MultilineOption).match(script);
            QVERIFY2(!match.hasMatch(), qPrintable(match.captured(0)));
        }
        const QString python = QStandardPaths::findExecutable("python3");
        if (python.isEmpty())
            QSKIP("python3 is not installed");
        QTemporaryDir dir;
        QFile copy(dir.filePath("kestrel_editor_parser.py"));
        QVERIFY(copy.open(QIODevice::WriteOnly) && copy.write(script.toLatin1()) > 0);
        copy.close();
        QProcess process;
        process.start(python, {"-W", "error", "-m", "py_compile", copy.fileName()});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(QString::fromLocal8Bit(process.readAllStandardError()), QString());
        QCOMPARE(process.exitCode(), 0);
    }
};

KE2_TEST_CLASS(PythonAnalysisScriptTest)
#include "test_python_analysis_script.moc"
