#include "config/color_scheme.h"
#include "tests/config/config_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QSettings>
#include <QtTest/QTest>
#include <QtWidgets/QPlainTextEdit>

using ke2::ColorScheme;
using ke2::OutputHighlightRule;
using ke2::test::ConfigFixture;

namespace {

const QString fileName = QStringLiteral("kestrelEditor2_colors.ini");

// Everything a scheme would write, comparable in one go.
QStringList dump(const ColorScheme &scheme)
{
    QStringList lines;
    for (const auto *table : {&scheme.codeEditorRoles, &scheme.outputRoles})
        for (const QString &name : table->names)
            lines.append(name + "=" + ColorScheme::roleValueString(table->format(name)));
    for (const OutputHighlightRule &rule : scheme.outputHighlightRules)
        lines.append(rule.toString());
    return lines;
}

ColorScheme readFrom(ConfigFixture &fixture, const QByteArray &content)
{
    fixture.put(fileName, content);
    ColorScheme scheme;
    scheme.read();
    return scheme;
}

QString rgbText(QRgb rgb)
{
    return QString::number(rgb);
}

} // namespace

class ColorSchemeTest : public QObject {
    Q_OBJECT
private slots:
    void defaultsAsWritten()
    {
        ConfigFixture fixture;
        ColorScheme scheme;
        scheme.read(); // no file
        // The selection colours follow the platform's palette; pin them for the reference file.
        QPlainTextEdit edit;
        const QPalette palette = edit.palette();
        const QTextCharFormat selected = scheme.codeEditorRoles.format("Selected Text");
        QCOMPARE(selected.foreground().color(), palette.color(palette.currentColorGroup(), QPalette::HighlightedText));
        QCOMPARE(selected.background().color(), palette.color(palette.currentColorGroup(), QPalette::Highlight));
        for (auto *table : {&scheme.codeEditorRoles, &scheme.outputRoles}) {
            (*table)["Selected Text"].format.setForeground(QColor(1, 2, 3));
            (*table)["Selected Text"].format.setBackground(QColor(4, 5, 6));
        }
        scheme.write();
        QVERIFY(ke2::test::matchesGolden(fixture.get(fileName), "colors_defaults.ini"));

        QCOMPARE(scheme.codeEditorRoles.names.size(), 30);
        QCOMPARE(scheme.outputRoles.names.size(), 5);
        QVERIFY(scheme.codeEditorRoles.roles.value("MEL Keywords").syntax);
        QVERIFY(!scheme.codeEditorRoles.roles.value("Gutter").syntax);
        QVERIFY(scheme.codeEditorRoles.format("Current Line").boolProperty(QTextFormat::FullWidthSelection));
        QVERIFY(!scheme.codeEditorRoles.format("Matching Selection").hasProperty(QTextFormat::ForegroundBrush));
        QCOMPARE(ColorScheme::errorFormat().underlineStyle(), QTextCharFormat::WaveUnderline);
        QCOMPARE(ColorScheme::warningFormat().underlineColor(), QColor(Qt::yellow));
    }

    void anEmptyFileKeepsTheDefaults()
    {
        ConfigFixture fixture;
        const ColorScheme defaults;
        QCOMPARE(dump(readFrom(fixture, "")), dump(defaults));
        QCOMPARE(defaults.outputHighlightRules.size(), 6);
        QCOMPARE(defaults.outputHighlightRules.at(1).pattern, QString("^(// Error:)"));
        QVERIFY(!defaults.outputHighlightRules.at(1).format.hasProperty(QTextFormat::BackgroundBrush));
    }

    void roleValues_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("expected"); // as written back; "" = unchanged default
        const QString red = rgbText(0xFFFF0000);
        const QString plain = "4292138196,4280163870,50,0,0";
        QTest::newRow("zero colours keep the defaults") << "0,0,50,0,0" << plain;
        QTest::newRow("red, bold, italic, underlined") << red + ",0,75,1,1" << red + ",4280163870,75,1,1";
        QTest::newRow("alpha is dropped") << "16711680,0,50,0,0" << red + ",4280163870,50,0,0";
        QTest::newRow("four fields: unchanged") << red + ",0,75,1" << plain;
        QTest::newRow("six fields: unchanged") << red + ",0,75,1,1,1" << plain;
        QTest::newRow("empty fields are skipped") << "," + red + ",,0,75,1,1," << red + ",4280163870,75,1,1";
        QTest::newRow("words are ignored field by field") << "red,blue,bold,1,x" << "4292138196,4280163870,50,1,0";
        QTest::newRow("negative colour ignored") << "-5,0,50,0,0" << plain;
        QTest::newRow("absurd weight is clamped") << "0,0,100000,0,0" << "4292138196,4280163870,99,0,0";
        QTest::newRow("spaces around numbers") << " 0 , 0 , 75 , 0 , 0 " << "4292138196,4280163870,75,0,0";
        QTest::newRow("unquoted in the file") << "@unquoted" << red + ",4280163870,75,1,1";
    }
    void roleValues()
    {
        QFETCH(QString, value);
        QFETCH(QString, expected);
        ConfigFixture fixture;
        QByteArray line = "Plain%20Text=\"" + value.toUtf8() + "\"";
        if (value == "@unquoted")
            line = "Plain%20Text=" + rgbText(0xFFFF0000).toUtf8() + ",0,75,1,1";
        const ColorScheme scheme = readFrom(fixture, "[codeeditor]\n" + line + "\n");
        QCOMPARE(ColorScheme::roleValueString(scheme.codeEditorRoles.format("Plain Text")), expected);
        QCOMPARE(ColorScheme::roleValueString(scheme.outputRoles.format("Plain Text")), QString("4292138196,4280163870,50,0,0"));
    }

    void everyRoleAndRuleRoundTrips()
    {
        ConfigFixture fixture;
        ColorScheme scheme;
        int n = 1;
        for (auto *table : {&scheme.codeEditorRoles, &scheme.outputRoles}) {
            for (const QString &name : table->names) {
                QTextCharFormat &format = (*table)[name].format;
                format.setForeground(QColor(n, 255 - n, 7));
                format.setBackground(QColor(9, n, n));
                format.setFontWeight(n % 2 ? 75 : 25);
                format.setFontItalic(n % 3 == 0);
                format.setFontUnderline(n % 4 == 0);
                ++n;
            }
        }
        scheme.outputHighlightRules = {
            OutputHighlightRule::create("Mine, with comma", QColor(1, 2, 3), QColor(), "ERROR", false, false, false),
            OutputHighlightRule::create("Both", QColor(), QColor(200, 100, 0), "^x+;$", true, true, true),
        };
        scheme.write();
        ColorScheme back;
        back.read();
        QCOMPARE(dump(back), dump(scheme));
        QCOMPARE(back.outputHighlightRules.at(1).format.background().color(), QColor(200, 100, 0));
        QVERIFY(!back.outputHighlightRules.at(1).format.hasProperty(QTextFormat::ForegroundBrush));
        // The rule list is rewritten as a whole: fewer rules leave no stale keys.
        scheme.outputHighlightRules.removeLast();
        scheme.write();
        QSettings ini(fixture.file(fileName), QSettings::IniFormat);
        ini.beginGroup("customhighlighting");
        QCOMPARE(ini.childKeys(), QStringList{"0"});
    }

    void rules_data()
    {
        QTest::addColumn<QByteArray>("group");
        QTest::addColumn<QStringList>("names"); // "defaults" = the six default rules
        const QByteArray a = "\"A;;;1;;;0;;;1;;;0;;;a;;;0;;;0;;;1\"", b = "\"B;;;1;;;0;;;1;;;0;;;b;;;0;;;0;;;1\"",
                         c = "\"C;;;1;;;0;;;1;;;0;;;c;;;0;;;0;;;1\"";
        QTest::newRow("keys 10, 2, 1 are read as 1, 2, 10")
            << "[customhighlighting]\n10=" + c + "\n2=" + b + "\n1=" + a + "\n" << QStringList{"A", "B", "C"};
        QTest::newRow("no group keeps the defaults") << QByteArray("[main]\nversion=1\n") << QStringList{"defaults"};
        QTest::newRow("an empty group keeps the defaults") << QByteArray("[customhighlighting]\n") << QStringList{"defaults"};
        QTest::newRow("only malformed entries give no rules")
            << QByteArray("[customhighlighting]\n0=nonsense\n1=\"a;;;b\"\n2=\n") << QStringList();
        QTest::newRow("an empty name cannot be read back")
            << "[customhighlighting]\n0=\";;;1;;;0;;;1;;;0;;;a;;;0;;;0;;;1\"\n1=" + b + "\n" << QStringList{"B"};
        QTest::newRow("ten fields are one too many")
            << "[customhighlighting]\n0=\"A;;;1;;;0;;;1;;;0;;;a;;;0;;;0;;;1;;;1\"\n1=" + b + "\n" << QStringList{"B"};
        QTest::newRow("non-numeric keys count as 0")
            << "[customhighlighting]\n1=" + b + "\nzzz=" + a + "\n" << QStringList{"A", "B"};
    }
    void rules()
    {
        QFETCH(QByteArray, group);
        QFETCH(QStringList, names);
        ConfigFixture fixture;
        const ColorScheme scheme = readFrom(fixture, group);
        QStringList read;
        for (const OutputHighlightRule &rule : scheme.outputHighlightRules)
            read.append(rule.name);
        if (names == QStringList{"defaults"}) {
            QCOMPARE(dump(scheme), dump(ColorScheme()));
        } else {
            QCOMPARE(read, names);
        }
    }

    void corruptFilesKeepDefaults()
    {
        ConfigFixture source;
        ColorScheme custom;
        for (const QString &name : custom.codeEditorRoles.names)
            custom.codeEditorRoles[name].format.setForeground(QColor(1, 2, 3));
        custom.outputHighlightRules.removeFirst();
        custom.write();
        const QByteArray customFile = source.get(fileName);
        const QStringList defaults = dump(ColorScheme());
        const QStringList customDump = dump(custom);
        for (const auto &[name, content] : ke2::test::corruptContents(customFile)) {
            ConfigFixture fixture;
            ColorScheme scheme = readFrom(fixture, content);
            scheme.write();
            scheme.read();
            const QStringList read = dump(scheme);
            if (name.startsWith("truncated")) {
                // Some roles may come from the readable part; the rules are all or nothing.
                for (int i = 0; i < read.size() && i < defaults.size(); ++i)
                    QVERIFY2(read.at(i) == defaults.at(i) || customDump.contains(read.at(i)), qPrintable(name));
            } else {
                QVERIFY2(read == defaults, qPrintable(name));
            }
        }
    }
};

KE2_TEST_CLASS(ColorSchemeTest)
#include "test_color_scheme.moc"
