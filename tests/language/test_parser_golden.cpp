#include "tests/language/parser_dump.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtTest/QTest>

// Each data/scanner_*.mel and data/scanner_*.py is scanned and dumped; the dump must equal the
// checked-in data/scanner_<name>.ref (the prefix keeps other golden files of this folder apart).
// After an intended change of the scanners, regenerate the references with
//   KE2_REGENERATE_GOLDEN=1 build/tests/test_language
// and review the diff before committing it.
class ParserGoldenTest : public QObject {
    Q_OBJECT

    static QString readText(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return QString();
        return QString::fromUtf8(file.readAll());
    }

private slots:
    void golden_data()
    {
        QTest::addColumn<QString>("input");
        const QDir dir(QStringLiteral(KE2_TEST_DATA_DIR));
        const QStringList inputs = dir.entryList({"scanner_*.mel", "scanner_*.py"}, QDir::Files, QDir::Name);
        QVERIFY2(inputs.size() >= 4, "golden inputs are missing");
        for (const QString &name : inputs)
            QTest::newRow(qPrintable(name)) << dir.filePath(name);
    }
    void golden()
    {
        QFETCH(QString, input);
        const QString source = readText(input);
        QVERIFY2(!source.isEmpty(), qPrintable(input));
        QString dump;
        if (input.endsWith(QLatin1String(".mel"))) {
            ke2::test::RecordingMelParser parser;
            parser.Parse(source, input);
            dump = ke2::test::dumpParser(parser, parser.dropped);
        } else {
            ke2::PythonParser parser;
            parser.Parse(source, input);
            dump = ke2::test::dumpParser(parser);
        }
        const QString refPath = input.left(input.lastIndexOf(QLatin1Char('.'))) + QStringLiteral(".ref");
        if (qEnvironmentVariableIntValue("KE2_REGENERATE_GOLDEN") == 1) {
            QFile out(refPath);
            QVERIFY(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
            out.write(dump.toUtf8());
            qInfo("rewrote %s", qPrintable(refPath));
            return;
        }
        QVERIFY2(QFile::exists(refPath), qPrintable(refPath + " is missing; set KE2_REGENERATE_GOLDEN=1 to write it"));
        const QStringList expected = readText(refPath).split(QLatin1Char('\n'));
        const QStringList actual = dump.split(QLatin1Char('\n'));
        // Line by line, so a failure names the first differing record.
        for (int i = 0; i < qMin(expected.size(), actual.size()); ++i)
            QCOMPARE(actual.at(i), expected.at(i));
        QCOMPARE(actual.size(), expected.size());
    }
};
KE2_TEST_CLASS(ParserGoldenTest)

#include "test_parser_golden.moc"
