#include "tests/language/test_highlighter_support.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>
#include <QtWidgets/QPlainTextDocumentLayout>

using namespace ke2;
using ke2::test::HighlightFixture;

namespace {
// Applies one rule through the engine (with the rule's speed hints) and nothing else.
class SingleRuleHighlighter : public Highlighter {
public:
    SingleRuleHighlighter(QTextDocument *document, const HighlightRule &rule)
        : Highlighter(document)
        , m_rule(rule)
    {
    }

protected:
    void buildRules() override { rules = {m_rule}; }

private:
    HighlightRule m_rule;
};

// Every line here is run through every rule of both languages.
const QStringList kLines = {
    QString(), "1", ".", "..", "1..2", "a.b", "1.5e3 x2 .5 5. 0x1F", "a1.2b _3", QString::fromUtf8("é1 ü.5 ٣"),
    "self.x = cls", "myself selfish cls_ self", "class Foo (Bar):", "class  Foo:", "def  f (x):", "undef g(x)",
    "  @dec(1)", "x @ y", "\t@", "$a $b1 a$c $", "global proc foo ()", "proc(x)", "x(1) y (2) -z(3) 4(5)",
    "f\t(", "((", "a-b(c)",
};
} // namespace

// The hints that let the engine skip a rule's expression on a line, or try it only at some
// characters, must colour exactly what a plain global match of the expression colours.
class HighlighterRulesTest : public QObject {
    Q_OBJECT
private slots:
    void hintsColourLikePlainMatching()
    {
        HighlightFixture fixture;
        QTextDocument scratch;
        const MelHighlighter mel(&scratch);
        const PythonHighlighter python(&scratch);
        QVector<HighlightRule> all = mel.highlightRules() + mel.highlightCallRules() + python.highlightRules() + python.highlightCallRules();
        const QTextCharFormat whitespace = Highlighter::roleFormat(QLatin1String(ColorRoleName::whitespaces));
        int hinted = 0;
        for (const HighlightRule &rule : all) {
            if (!rule.mayMatch && !rule.canStartAt)
                continue;
            ++hinted;
            for (const QString &line : kLines) {
                QVector<QString> expected(line.size());
                QRegularExpressionMatchIterator it = rule.expression.globalMatch(line);
                while (it.hasNext()) {
                    const QRegularExpressionMatch match = it.next();
                    for (int i = match.capturedStart(); i < match.capturedEnd(); ++i)
                        expected[i] = fixture.roleOf(rule.format);
                }
                for (int i = 0; i < line.size(); ++i)
                    if (line.at(i) == QLatin1Char(' ') || line.at(i) == QLatin1Char('\t'))
                        expected[i] = fixture.roleOf(whitespace);

                QTextDocument document;
                document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
                document.setPlainText(line);
                SingleRuleHighlighter highlighter(&document, rule);
                highlighter.rehighlight();
                QVector<QString> actual(line.size());
                for (int i = 0; i < line.size(); ++i)
                    actual[i] = fixture.roleAt(document, 0, i);
                QVERIFY2(actual == expected, qPrintable(rule.expression.pattern() + " on: " + line));
            }
        }
        QVERIFY(hinted >= 8);
    }
};
KE2_TEST_CLASS(HighlighterRulesTest)

#include "test_highlighter_rules.moc"
