#include "config/color_scheme.h"
#include "tests/support/prefs_fixture.h"
#include "tests/support/test_registry.h"

#include <QtCore/QSettings>
#include <QtTest/QTest>
#include <QtWidgets/QPlainTextEdit>

using ke2::ColorScheme;
using ke2::OutputHighlightRule;
using ke2::test::PrefsFixture;
using ke2::test::writtenAlone;

namespace {

const QString fileName = QStringLiteral("kestrelEditor2_colors.ini");

ColorScheme readFrom(PrefsFixture &fixture, const QByteArray &content)
{
    fixture.put(fileName, content);
    ColorScheme scheme;
    scheme.read();
    return scheme;
}

} // namespace

class ColorSchemeTest : public QObject {
    Q_OBJECT
private slots:
    void defaultsAndARoundTripOfEveryRoleAndRule()
    {
        PrefsFixture fixture;
        ColorScheme scheme, back;
        scheme.read(); // no file
        // The selection colours follow the platform's palette (the test platform's are white on
        // 48,140,198); pin them for the reference file.
        for (const auto *table : {&scheme.codeEditorRoles, &scheme.outputRoles}) {
            const QTextCharFormat selected = table->format("Selected Text");
            QCOMPARE(selected.foreground().color(), QColor(Qt::white));
            QCOMPARE(selected.background().color(), QColor(48, 140, 198));
        }
        for (auto *table : {&scheme.codeEditorRoles, &scheme.outputRoles}) {
            (*table)["Selected Text"].format.setForeground(QColor(1, 2, 3));
            (*table)["Selected Text"].format.setBackground(QColor(4, 5, 6));
        }
        QVERIFY(ke2::test::matchesGolden(writtenAlone(fixture, fileName, scheme), "colors_defaults.ini"));
        int n = 1;
        for (auto *table : {&scheme.codeEditorRoles, &scheme.outputRoles}) {
            for (const QString &name : table->names) {
                QTextCharFormat &format = (*table)[name].format;
                format.setForeground(QColor(n, 255 - n, 7));
                format.setBackground(QColor(9, n, n));
                format.setFontWeight(n % 2 ? 75 : 25);
                format.setFontItalic(n % 3 == 0);
                format.setFontUnderline(n++ % 4 == 0);
            }
        }
        scheme.outputHighlightRules = {
            OutputHighlightRule::create("Mine, with comma", QColor(1, 2, 3), QColor(), "ERROR", false, false, false),
            OutputHighlightRule::create("Both", QColor(), QColor(200, 100, 0), "^x+;$", true, true, true),
        };
        const QByteArray file = writtenAlone(fixture, fileName, scheme);
        back.read();
        QCOMPARE(writtenAlone(fixture, fileName, back), file);
        QCOMPARE(back.outputHighlightRules.at(1).format.background().color(), QColor(200, 100, 0));
        QVERIFY(!back.outputHighlightRules.at(1).format.hasProperty(QTextFormat::ForegroundBrush));
        // The rule list is rewritten as a whole: fewer rules leave no stale keys.
        scheme.outputHighlightRules.removeLast();
        scheme.write();
        QSettings ini(fixture.file(fileName), QSettings::IniFormat);
        ini.beginGroup("customhighlighting");
        QCOMPARE(ini.childKeys(), QStringList{"0"});
    }

    // Which roles are syntax roles and which paint the full width, and the fixed underlines.
    void roleFlagsAndUnderlines()
    {
        const ColorScheme scheme;
        const QStringList syntax{"MEL Keywords", "MEL Commands", "MEL Strings", "MEL Numbers", "MEL Variables",
                                 "MEL Procs", "MEL Comments", "Python Keywords", "Python Builtins", "Python Strings",
                                 "Python Doc Strings", "Python Numbers", "Python Classes", "Python Methods",
                                 "Python Comments", "Python Decorators", "Python self/cls", "Python MEL Commands"};
        QStringList syntaxRoles, fullWidth;
        for (const auto *table : {&scheme.codeEditorRoles, &scheme.outputRoles}) {
            for (const QString &name : table->names) {
                const ke2::ColorRole &role = table->roles.value(name);
                if (role.syntax)
                    syntaxRoles.append(name);
                for (const QTextCharFormat &format : {role.format, role.defaultFormat}) {
                    if (format.boolProperty(QTextFormat::FullWidthSelection))
                        fullWidth.append(name);
                }
            }
        }
        QCOMPARE(syntaxRoles, syntax);
        QCOMPARE(fullWidth, (QStringList{"Find/Replace Selection", "Find/Replace Selection", "Current Line",
                                         "Current Line", "Find Selected", "Find Selected"}));
        const QTextCharFormat underlines[] = {ColorScheme::errorFormat(), ColorScheme::warningFormat(),
                                              ColorScheme::informationFormat()};
        const QColor colours[] = {QColor(244, 70, 70), QColor(255, 255, 0), QColor(86, 156, 214)};
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(underlines[i].underlineColor(), colours[i]);
            QCOMPARE(underlines[i].underlineStyle(), QTextCharFormat::WaveUnderline);
        }
    }

    void roleValues_data()
    {
        QTest::addColumn<QString>("value"); // as in the file
        QTest::addColumn<QString>("expected"); // as written back
        QTest::addColumn<int>("weight");       // the format's weight property, -1 when unset
        const QString red = QString::number(0xFFFF0000);
        const QString plain = "4292138196,4280163870,50,0,0", redBold = red + ",4280163870,75,1,1";
        QTest::newRow("zero colours keep the defaults") << QString("\"0,0,50,0,0\"") << plain << 0;
        QTest::newRow("red, bold, italic, underlined") << "\"" + red + ",0,75,1,1\"" << redBold << 75;
        QTest::newRow("unquoted: a list, no role string") << red + ",0,75,1,1" << plain << -1;
        QTest::newRow("alpha is dropped") << QString("\"16711680,0,50,0,0\"") << red + ",4280163870,50,0,0" << 0;
        QTest::newRow("four fields: unchanged") << "\"" + red + ",0,75,1\"" << plain << -1;
        QTest::newRow("six fields: unchanged") << "\"" + red + ",0,75,1,1,1\"" << plain << -1;
        QTest::newRow("empty fields are skipped") << "\"," + red + ",,0,75,1,1,\"" << redBold << 75;
        QTest::newRow("words are ignored field by field") << QString("\"red,-5,bold,1,x\"") << "4292138196,4280163870,50,1,0" << -1;
        QTest::newRow("any weight is taken as written") << QString("\"0,0,100000,0,0\"") << "4292138196,4280163870,100000,0,0" << 100000;
        QTest::newRow("spaces around numbers") << QString("\" 0 , 0 , 75 , 0 , 0 \"") << "4292138196,4280163870,75,0,0" << 75;
    }
    void roleValues()
    {
        QFETCH(QString, value);
        QFETCH(QString, expected);
        PrefsFixture fixture;
        const ColorScheme scheme = readFrom(fixture, "[codeeditor]\nPlain%20Text=" + value.toUtf8() + "\n");
        QFETCH(int, weight);
        const QTextCharFormat format = scheme.codeEditorRoles.format("Plain Text");
        QCOMPARE(ColorScheme::roleValueString(format), expected);
        QCOMPARE(format.hasProperty(QTextFormat::FontWeight) ? format.intProperty(QTextFormat::FontWeight) : -1, weight);
        QCOMPARE(ColorScheme::roleValueString(scheme.outputRoles.format("Plain Text")), QString("4292138196,4280163870,50,0,0"));
    }

    void rules_data()
    {
        QTest::addColumn<QByteArray>("group");
        QTest::addColumn<QStringList>("names");
        QStringList defaults;
        for (const OutputHighlightRule &rule : ColorScheme::defaultOutputHighlightRules())
            defaults.append(rule.name);
        const auto rule = [](const char *name) { return "\"" + QByteArray(name) + ";;;1;;;0;;;1;;;0;;;a;;;0;;;0;;;1\""; };
        QTest::newRow("keys 10, 2, 1 are read as 1, 2, 10")
            << "[customhighlighting]\n10=" + rule("C") + "\n2=" + rule("B") + "\n1=" + rule("A") << QStringList{"A", "B", "C"};
        QTest::newRow("no group keeps the defaults") << QByteArray("[main]\nversion=1\n") << defaults;
        QTest::newRow("an empty group keeps the defaults") << QByteArray("[customhighlighting]\n") << defaults;
        QTest::newRow("only malformed entries give no rules")
            << QByteArray("[customhighlighting]\n0=nonsense\n1=\"a;;;b\"\n2=\n") << QStringList();
        QTest::newRow("an empty name cannot be read back") << "[customhighlighting]\n0=" + rule("") + "\n1=" + rule("B") << QStringList{"B"};
        QTest::newRow("ten fields are one too many")
            << "[customhighlighting]\n0=" + rule("A").chopped(1) + ";;;1\"\n1=" + rule("B") << QStringList{"B"};
        QTest::newRow("non-numeric keys count as 0") << "[customhighlighting]\n1=" + rule("B") + "\nzzz=" + rule("A") << QStringList{"A", "B"};
    }
    void rules()
    {
        QFETCH(QByteArray, group);
        QFETCH(QStringList, names);
        PrefsFixture fixture;
        const ColorScheme scheme = readFrom(fixture, group + "\n");
        QStringList read;
        for (const OutputHighlightRule &rule : scheme.outputHighlightRules)
            read.append(rule.name);
        QCOMPARE(read, names);
    }
};

KE2_TEST_CLASS(ColorSchemeTest)
#include "test_color_scheme.moc"
