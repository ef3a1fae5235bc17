#include "tests/language/test_highlighter_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtTest/QTest>

using namespace ke2;
using ke2::test::HighlightedDocument;
using ke2::test::HighlightFixture;

// Every input under data/highlight/ is highlighted and dumped (formats by role name, block state
// and block data per line) and compared with its .ref file. With KE2_REGENERATE_GOLDEN=1 the
// references are rewritten instead; review the diff before committing.
class HighlighterGoldenTest : public QObject {
    Q_OBJECT
private slots:
    void matchesReference_data()
    {
        QTest::addColumn<QString>("input");
        const QDir dir(QStringLiteral(KE2_TEST_DATA_DIR "/highlight"));
        const QStringList inputs = dir.entryList({QStringLiteral("*.mel"), QStringLiteral("*.py")}, QDir::Files, QDir::Name);
        QVERIFY(!inputs.isEmpty());
        for (const QString &name : inputs)
            QTest::newRow(qPrintable(name)) << dir.filePath(name);
    }
    void matchesReference()
    {
        QFETCH(QString, input);
        QFile in(input);
        QVERIFY(in.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(in.readAll());
        HighlightFixture fixture;
        HighlightedDocument doc(input.endsWith(QLatin1String(".mel")) ? HighlightedDocument::Mel : HighlightedDocument::Python, text);
        const QByteArray actual = fixture.dump(doc.document);

        QFile reference(input + QStringLiteral(".ref"));
        if (qEnvironmentVariableIntValue("KE2_REGENERATE_GOLDEN") == 1) {
            QVERIFY(reference.open(QIODevice::WriteOnly | QIODevice::Truncate));
            reference.write(actual);
            return;
        }
        QVERIFY2(reference.open(QIODevice::ReadOnly), qPrintable(reference.fileName()));
        const QByteArray expected = reference.readAll();
        if (actual != expected) {
            const QList<QByteArray> a = actual.split('\n');
            const QList<QByteArray> e = expected.split('\n');
            for (int i = 0; i < qMax(a.size(), e.size()); ++i) {
                if (a.value(i) != e.value(i))
                    QFAIL(qPrintable(QStringLiteral("line %1\n  actual:   %2\n  expected: %3")
                                         .arg(i + 1)
                                         .arg(QString::fromUtf8(a.value(i)), QString::fromUtf8(e.value(i)))));
            }
        }
    }
};
KE2_TEST_CLASS(HighlighterGoldenTest)

#include "test_highlighter_golden.moc"
