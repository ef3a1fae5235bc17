#include "language/first_occurrence_index.h"
#include "language/mel_parser.h"
#include "language/python_parser.h"
#include "tests/support/test_registry.h"

#include <QtCore/QRandomGenerator>
#include <QtTest/QTest>

using ke2::BaseParser;
using ke2::Diagnostic;
using ke2::MelParser;
using ke2::PythonParser;

namespace {

// Every record must point into the parsed text (an end of -1 marks "to the end").
QString checkRecords(const BaseParser &parser)
{
    const int length = parser.Text().size();
    for (const ke2::OutlineItem *item : parser.OutlineItems()) {
        if (item->position < 0 || item->position >= length)
            return QStringLiteral("item %1 at %2 outside the text").arg(item->name).arg(item->position);
        // Aliased and from-imports show composed names; every other name stands where it points.
        const bool composed = item->kind == ke2::OutlineItem::PythonImportAlias
                              || item->kind == ke2::OutlineItem::PythonFromImport;
        if (!composed && parser.Text().mid(item->position, item->name.size()) != item->name)
            return QStringLiteral("item %1 does not stand at %2").arg(item->name).arg(item->position);
    }
    for (const QList<Diagnostic *> &list : {parser.Errors(), parser.Warnings(), parser.Todos()}) {
        for (const Diagnostic *d : list) {
            if (d->start < 0 || d->start > length || d->end < -1 || d->end > length)
                return QStringLiteral("%1 at [%2,%3] outside the text").arg(d->message).arg(d->start).arg(d->end);
        }
    }
    return QString();
}

QString randomText(QRandomGenerator &random, int size, bool bytes)
{
    if (bytes) {
        QByteArray raw(size, Qt::Uninitialized);
        for (char &ch : raw)
            ch = char(random.bounded(256));
        return QString::fromUtf8(raw);
    }
    // Characters that drive the scanners, plus lone surrogates and NUL.
    static const QString alphabet = QStringLiteral("gp(){}[]\"'\\/*#:@ \t\nidfcTODO$;.,") + QChar(0xD800)
                                    + QChar(0xDC00) + QChar(0) + QChar(0x2029);
    QString text(size, Qt::Uninitialized);
    for (QChar &ch : text)
        ch = alphabet.at(random.bounded(alphabet.size()));
    return text;
}

} // namespace

class ParserRobustnessTest : public QObject {
    Q_OBJECT
private slots:
    void randomInput_data()
    {
        QTest::addColumn<bool>("bytes");
        QTest::newRow("random bytes decoded as UTF-8") << true;
        QTest::newRow("random scanner characters, surrogates and NUL") << false;
    }
    void randomInput()
    {
        QFETCH(bool, bytes);
        QRandomGenerator random(7);
        MelParser mel;
        PythonParser python;
        for (int round = 0; round < 300; ++round) {
            const QString text = randomText(random, 1 + random.bounded(400), bytes);
            mel.Parse(text, QString());
            QString problem = checkRecords(mel);
            QVERIFY2(problem.isEmpty(), qPrintable(problem));
            python.Parse(text, QString());
            problem = checkRecords(python);
            QVERIFY2(problem.isEmpty(), qPrintable(problem));
        }
    }

    // Keywords that start a construct, cut off at every length, must not read past the end.
    void truncatedConstructs_data()
    {
        QTest::addColumn<QString>("construct");
        QTest::newRow("MEL global procedure") << "global proc string[] f(string $a) {";
        QTest::newRow("MEL global variable") << "global string[] $v";
        QTest::newRow("Python main guard") << "if __name__ == '__main__':";
        QTest::newRow("Python alias import") << "import a.b as c";
        QTest::newRow("Python from-import") << "from a import b as c, d";
        QTest::newRow("Python decorated def") << "@staticmethod\ndef f(): '''x'''";
    }
    void truncatedConstructs()
    {
        QFETCH(QString, construct);
        MelParser mel;
        PythonParser python;
        for (int size = 0; size <= construct.size(); ++size) {
            mel.Parse(construct.left(size), QString());
            QVERIFY2(checkRecords(mel).isEmpty(), qPrintable(construct.left(size)));
            python.Parse(construct.left(size), QString());
            QVERIFY2(checkRecords(python).isEmpty(), qPrintable(construct.left(size)));
        }
    }

    // 50 MB of one character: each must come back, with the one message it implies.
    void hugeRuns_data()
    {
        QTest::addColumn<QChar>("ch");
        QTest::addColumn<int>("melErrors");
        QTest::addColumn<int>("pythonErrors");
        QTest::newRow("double quotes") << QChar('"') << 0 << 0;
        QTest::newRow("single quotes") << QChar('\'') << 0 << 0;
        QTest::newRow("opening brackets") << QChar('(') << 0 << 0;
        QTest::newRow("closing brackets") << QChar(')') << 0 << 1;
        QTest::newRow("blanks") << QChar(' ') << 0 << 0;
        QTest::newRow("backslashes") << QChar('\\') << 0 << 0;
        QTest::newRow("newlines") << QChar('\n') << 0 << 0;
        QTest::newRow("NUL") << QChar(0) << 0 << 0;
    }
    void hugeRuns()
    {
        QFETCH(QChar, ch);
        QFETCH(int, pythonErrors);
        const QString text(50 * 1000 * 1000, ch);
        {
            MelParser mel;
            mel.Parse(text, QString());
            QCOMPARE(mel.Text().size(), text.size() + 1);
            QVERIFY(mel.Errors().isEmpty()); // dropped, whatever was found
        }
        PythonParser python;
        python.Parse(text, QString());
        QCOMPARE(python.Errors().size(), pythonErrors);
        QVERIFY(checkRecords(python).isEmpty());
    }

    void firstOccurrenceMatchesIndexOf()
    {
        QRandomGenerator random(11);
        for (int round = 0; round < 200; ++round) {
            QString text;
            const int size = 1 + random.bounded(300);
            for (int i = 0; i < size; ++i)
                text.append(QChar("ab, c."[random.bounded(6)]));
            const ke2::FirstOccurrenceIndex index(text);
            for (int probe = 0; probe < 30; ++probe) {
                const int from = random.bounded(text.size());
                const QString word = text.mid(from, 1 + random.bounded(8));
                QCOMPARE(index.indexOf(word), text.indexOf(word));
                QString absent = word;
                absent.append(QLatin1Char('x'));
                QCOMPARE(index.indexOf(absent), -1);
            }
        }
    }

    // A long import line goes through the index instead of one search per name.
    void longImportLine()
    {
        QStringList names;
        for (int i = 0; i < 400; ++i)
            names << QStringLiteral("m%1").arg(i);
        names << QStringLiteral("1") << QStringLiteral("m3");
        PythonParser parser;
        parser.Parse(QStringLiteral("import ") + names.join(QStringLiteral(", ")), QString());
        const QList<ke2::OutlineItem *> items = parser.OutlineItems();
        QCOMPARE(items.size(), names.size());
        for (int i = 0; i < names.size(); ++i)
            QCOMPARE(items.at(i)->position, parser.Text().indexOf(names.at(i), 7));
        // "1" first occurs inside "m1", the repeated "m3" at the first one.
        QCOMPARE(items.at(400)->position, parser.Text().indexOf(QStringLiteral("m1,")) + 1);
        QCOMPARE(items.at(401)->position, items.at(3)->position);
    }
};
KE2_TEST_CLASS(ParserRobustnessTest)

#include "test_parser_robustness.moc"
