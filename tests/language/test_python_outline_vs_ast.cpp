#include "language/python_parser.h"
#include "tests/support/test_registry.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtTest/QTest>

using ke2::OutlineItem;

namespace {
// Top-level definitions of a few standard library modules (one with top-level "async def") as
// the interpreter sees them: "path" lines, then "kind name line" per definition.
const char astProgram[] = R"(
import ast, os, sysconfig
for module in ['textwrap', 'shlex', 'argparse', 'dataclasses', 'tempfile', 'json/decoder', 'asyncio/tasks']:
    path = os.path.join(sysconfig.get_paths()['stdlib'], module + '.py')
    if os.path.exists(path):
        print(path)
        for node in ast.parse(open(path, encoding='utf-8').read()).body:
            if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef, ast.ClassDef)):
                print('%s %s %d' % (type(node).__name__, node.name, node.lineno))
)";
} // namespace

class PythonOutlineVsAstTest : public QObject {
    Q_OBJECT
private slots:
    void topLevelDefinitions()
    {
        const QString python = QStandardPaths::findExecutable(QStringLiteral("python3"));
        if (python.isEmpty())
            QSKIP("python3 is not installed");
        QProcess process;
        process.start(python, {"-c", astProgram});
        QVERIFY(process.waitForFinished(60000) && process.exitCode() == 0);
        QHash<QString, QStringList> expected;
        QString path;
        for (const QString &line : QString::fromUtf8(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts)) {
            if (line.startsWith('/'))
                path = line;
            // The one scanner rule by which the outlines differ: only "def" at the start of a
            // logical line makes a function, so "async def" is not recognised.
            else if (!line.startsWith(QLatin1String("AsyncFunctionDef ")))
                expected[path] << line;
        }
        QVERIFY2(expected.size() >= 4, "the standard library of python3 was not found");
        for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
            QFile file(it.key());
            QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
            ke2::PythonParser parser;
            parser.Parse(QString::fromUtf8(file.readAll()), it.key());
            QStringList scanned;
            for (const OutlineItem *item : parser.OutlineItems()) {
                if (item->depth == 0 && item->kind >= OutlineItem::PythonFunction && item->kind <= OutlineItem::PythonClass)
                    scanned << QStringLiteral("%1 %2 %3")
                                   .arg(item->kind == OutlineItem::PythonClass ? "ClassDef" : "FunctionDef", item->name)
                                   .arg(QStringView(parser.Text()).left(item->position).count('\n') + 1);
            }
            QVERIFY2(!it.value().isEmpty(), qPrintable(it.key()));
            QCOMPARE(scanned, it.value());
        }
    }
};
KE2_TEST_CLASS(PythonOutlineVsAstTest)

#include "test_python_outline_vs_ast.moc"
