// The helpers that make Qt 5 and Qt 6 behave alike: the same answers on both.
#include "plugin/qt_compat.h"
#include "tests/support/test_registry.h"

#include <QtCore/QBuffer>
#include <QtTest/QTest>

using namespace ke2;

class QtCompatTest : public QObject {
    Q_OBJECT

private slots:
    void keyCombinations_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("combination");
        QTest::addColumn<int>("key");
        QTest::newRow("plain key") << "F5" << 0 << int(Qt::Key_F5) << int(Qt::Key_F5);
        QTest::newRow("modifiers") << "Ctrl+Shift+K" << 0 << int(Qt::CTRL | Qt::SHIFT | Qt::Key_K) << int(Qt::Key_K);
        QTest::newRow("second of a chord") << "Ctrl+K, Alt+Return" << 1 << int(Qt::ALT | Qt::Key_Return)
                                           << int(Qt::Key_Return);
        QTest::newRow("keypad Enter") << "Ctrl+Enter" << 0 << int(Qt::CTRL | Qt::Key_Enter) << int(Qt::Key_Enter);
        QTest::newRow("unknown key") << "Banana+Q" << 0 << int(Qt::Key_unknown) << int(Qt::Key_unknown);
    }
    void keyCombinations()
    {
        QFETCH(QString, text);
        QFETCH(int, index);
        QFETCH(int, combination);
        QFETCH(int, key);
        const QKeySequence sequence(text);
        QCOMPARE(qtcompat::combinationAt(sequence, index), combination);
        QCOMPARE(qtcompat::keyAt(sequence, index), key);
    }

    // Non-ASCII text is UTF-8 in streams (the output log, pylint's copy), whatever the locale.
    void utf8Streams()
    {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        QTextStream stream(&buffer);
        qtcompat::useUtf8(stream);
        stream << QString::fromUtf8("café ✓");
        stream.flush();
        QCOMPARE(buffer.data(), QByteArray("caf\xc3\xa9 \xe2\x9c\x93"));
    }

    void iniValuesCompareAsText_data()
    {
        QTest::addColumn<QVariant>("a");
        QTest::addColumn<QVariant>("b");
        QTest::addColumn<bool>("same");
        QTest::newRow("a string and its one-element list") << QVariant("x") << QVariant(QStringList{"x"}) << true;
        QTest::newRow("a string and another list") << QVariant("x") << QVariant(QStringList{"x", "y"}) << false;
        QTest::newRow("digits and the number") << QVariant("2") << QVariant(2) << true;
        QTest::newRow("different text") << QVariant("2") << QVariant("3") << false;
    }
    void iniValuesCompareAsText()
    {
        QFETCH(QVariant, a);
        QFETCH(QVariant, b);
        QFETCH(bool, same);
        QCOMPARE(qtcompat::sameIniValue(a, b), same);
        QCOMPARE(qtcompat::sameIniValue(b, a), same);
    }

    // A match anchored where it starts, not at the subject's start.
    void anchoredAtOffset_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("matched"); // its length, -1 for none
        QTest::newRow("at the offset") << "ab" << 2 << 2;
        QTest::newRow("later in the subject") << "b" << 0 << -1;
        QTest::newRow("lookbehind before the offset") << "(?<=x)ab" << 2 << 2;
        QTest::newRow("start of subject is not the offset") << "^ab" << 2 << -1;
    }
    void anchoredAtOffset()
    {
        QFETCH(QString, pattern);
        QFETCH(int, offset);
        QFETCH(int, matched);
        const QRegularExpressionMatch match = QRegularExpression(pattern).match(
            QStringLiteral("xxab"), offset, QRegularExpression::NormalMatch, qtcompat::kAnchorAtOffset);
        QCOMPARE(match.hasMatch() ? int(match.capturedLength()) : -1, matched);
        if (match.hasMatch())
            QCOMPARE(int(match.capturedStart()), offset);
    }
};

KE2_TEST_CLASS(QtCompatTest)
#include "test_qt_compat.moc"
