#include "output/output_highlighting_dialog.h"
#include "output/output_highlighting_widget.h"
#include "tests/output/output_test_support.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QToolButton>

using namespace ke2;

namespace {

QVector<OutputHighlightRule> threeRules()
{
    auto rule = [](const char *name) {
        return OutputHighlightRule::create(QString::fromLatin1(name), QColor(Qt::red), QColor(), QStringLiteral("x"),
                                           false, false, true);
    };
    return {rule("one"), rule("two"), rule("three")};
}

QStringList listNames(const OutputHighlightingWidget &widget)
{
    QStringList names;
    for (int i = 0; i < widget.List()->count(); ++i)
        names << widget.List()->item(i)->text();
    return names;
}

QStringList ruleNames(const OutputHighlightingWidget &widget)
{
    QStringList names;
    for (const OutputHighlightRule &rule : widget.Rules())
        names << rule.name;
    return names;
}

} // namespace

class OutputHighlightingTest : public QObject {
    Q_OBJECT

private slots:
    void moveButtons_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<bool>("up");
        QTest::addColumn<QStringList>("order");
        QTest::addColumn<int>("currentRow");
        QTest::newRow("first up stays") << 0 << true << QStringList{"one", "two", "three"} << 0;
        QTest::newRow("last down stays") << 2 << false << QStringList{"one", "two", "three"} << 2;
        QTest::newRow("middle up") << 1 << true << QStringList{"two", "one", "three"} << 0;
        QTest::newRow("middle down") << 1 << false << QStringList{"one", "three", "two"} << 2;
        QTest::newRow("last up") << 2 << true << QStringList{"one", "three", "two"} << 1;
    }

    void moveButtons()
    {
        QFETCH(int, row);
        QFETCH(bool, up);
        QFETCH(QStringList, order);
        QFETCH(int, currentRow);
        OutputHighlightingWidget widget;
        widget.LoadRules(threeRules());
        QCOMPARE(widget.List()->currentRow(), 0);
        widget.List()->setCurrentRow(row);
        QTest::mouseClick(up ? widget.MoveUpButton() : widget.MoveDownButton(), Qt::LeftButton);
        QCOMPARE(listNames(widget), order);
        QCOMPARE(ruleNames(widget), order);
        QCOMPARE(widget.List()->currentRow(), currentRow);
    }

    void deleteRemovesTheCurrentRuleWithoutAsking()
    {
        OutputHighlightingWidget widget;
        widget.LoadRules(threeRules());
        widget.List()->setCurrentRow(1);
        QTest::mouseClick(widget.DeleteButton(), Qt::LeftButton);
        QCOMPARE(ruleNames(widget), (QStringList{"one", "three"}));
        QCOMPARE(listNames(widget), (QStringList{"one", "three"}));
    }

    // The check box in the list switches a rule off and on; no dialog opens.
    void uncheckingDisablesWithoutTheDialog()
    {
        OutputHighlightingWidget widget;
        widget.LoadRules(threeRules());
        widget.resize(300, 300);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QListWidgetItem *item = widget.List()->item(1);
        item->setCheckState(Qt::Unchecked);
        QCOMPARE(widget.Rules().at(1).enabled, false);
        QCOMPARE(widget.Rules().at(0).enabled, true);
        QVERIFY(QApplication::activeModalWidget() == nullptr);
        QVERIFY(widget.findChildren<QDialog *>().isEmpty());
        item->setCheckState(Qt::Checked);
        QCOMPARE(widget.Rules().at(1).enabled, true);
    }

    void newRuleThroughTheDialog()
    {
        OutputHighlightingWidget widget;
        widget.LoadRules(threeRules());
        QString title;
        test::whenModal<OutputHighlightingDialog>([&](OutputHighlightingDialog *dialog) {
            title = dialog->windowTitle();
            dialog->TextEdit()->setText(QStringLiteral("TODO"));
            QTest::mouseClick(dialog->OkButton(), Qt::LeftButton);
        });
        QTest::mouseClick(widget.NewButton(), Qt::LeftButton);
        QCOMPARE(title, QStringLiteral("New Highlight"));
        QCOMPARE(listNames(widget), (QStringList{"one", "two", "three", "Unnamed"}));
        QCOMPARE(widget.Rules().last().pattern, QStringLiteral("TODO"));
        QCOMPARE(widget.Rules().last().format.foreground().color(), QColor(Qt::green));
        QCOMPARE(widget.List()->currentRow(), 3);
    }

    void editRuleByDoubleClick()
    {
        OutputHighlightingWidget widget;
        widget.LoadRules(threeRules());
        widget.resize(300, 300);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QString title;
        test::whenModal<OutputHighlightingDialog>([&](OutputHighlightingDialog *dialog) {
            title = dialog->windowTitle();
            dialog->NameEdit()->setText(QStringLiteral("renamed"));
            dialog->EnabledBox()->setChecked(false);
            QTest::mouseClick(dialog->OkButton(), Qt::LeftButton);
        });
        const QRect rect = widget.List()->visualItemRect(widget.List()->item(2));
        // The view only takes a double click on the item it saw pressed first.
        QTest::mouseClick(widget.List()->viewport(), Qt::LeftButton, {}, rect.center());
        QTest::mouseDClick(widget.List()->viewport(), Qt::LeftButton, {}, rect.center());
        QCOMPARE(title, QStringLiteral("Edit Highlight"));
        QCOMPARE(listNames(widget), (QStringList{"one", "two", "renamed"}));
        QCOMPARE(widget.List()->item(2)->checkState(), Qt::Unchecked);
        QCOMPARE(widget.Rules().at(2).enabled, false);
        QCOMPARE(widget.List()->currentRow(), 2);
    }

    void acceptValidatesTheNameFirst_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("regExp");
        QTest::newRow("both empty") << "" << "" << "Name field is empty" << false;
        QTest::newRow("name empty") << "" << "x" << "Name field is empty" << false;
        QTest::newRow("text empty") << "n" << "" << "Text matching field is empty" << false;
        QTest::newRow("both filled") << "n" << "x" << "" << false;
        QTest::newRow("unclosed class") << "n" << "[bad" << "Invalid regular expression: missing terminating ] for character class (at 4)" << true;
        QTest::newRow("unclosed group") << "n" << "(unclosed" << "Invalid regular expression: missing closing parenthesis (at 9)" << true;
        QTest::newRow("the same text taken literally") << "n" << "[bad" << "" << false;
        QTest::newRow("a slow but valid expression") << "n" << "(a+)+$" << "" << true;
    }

    void acceptValidatesTheNameFirst()
    {
        QFETCH(QString, name);
        QFETCH(QString, text);
        QFETCH(QString, message);
        QFETCH(bool, regExp);
        OutputHighlightingDialog dialog;
        dialog.NewRule();
        dialog.NameEdit()->setText(name);
        dialog.TextEdit()->setText(text);
        dialog.RegExpBox()->setChecked(regExp);
        // The field says what is wrong while it is typed, as the find bar does.
        QCOMPARE(dialog.TextEdit()->toolTip(), message.section(QStringLiteral("expression: "), 1));
        dialog.show();
        QString shown;
        if (!message.isEmpty()) {
            test::whenModal<QMessageBox>([&](QMessageBox *box) {
                shown = box->windowTitle() + QLatin1Char('|') + box->text();
                box->button(QMessageBox::Ok)->click();
            });
        }
        QTest::mouseClick(dialog.OkButton(), Qt::LeftButton);
        if (message.isEmpty()) {
            QCOMPARE(dialog.result(), int(QDialog::Accepted));
            QVERIFY(!dialog.isVisible());
        } else {
            QCOMPARE(shown, QStringLiteral("Invalid|") + message);
            QVERIFY(dialog.isVisible());
            QCOMPARE(dialog.result(), int(QDialog::Rejected));
        }
    }

    void newRuleDefaults()
    {
        OutputHighlightingDialog dialog;
        QCOMPARE(dialog.objectName(), QStringLiteral("OutputHighlightingDialog"));
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Dialog"));
        dialog.NewRule();
        QCOMPARE(dialog.NameEdit()->text(), QStringLiteral("Unnamed"));
        QCOMPARE(dialog.ForegroundColor(), QColor(Qt::green));
        QVERIFY(dialog.ForegroundBox()->isChecked());
        QVERIFY(dialog.ForegroundButton()->isEnabled());
        QVERIFY(!dialog.BackgroundBox()->isChecked());
        QVERIFY(!dialog.BackgroundButton()->isEnabled());
        QCOMPARE(dialog.BackgroundColor(), QPlainTextEdit().palette().color(QPalette::Base));
        QVERIFY(dialog.EnabledBox()->isChecked());
        QVERIFY(!dialog.RegExpBox()->isChecked());
        QVERIFY(!dialog.HighlightLineBox()->isChecked());
    }

    // A colour switched off is remembered and comes back when it is switched on again.
    void switchedOffColourIsRemembered()
    {
        OutputHighlightingDialog dialog;
        dialog.LoadRule(OutputHighlightRule::create(QStringLiteral("r"), QColor(10, 20, 30), QColor(40, 50, 60),
                                                    QStringLiteral("x"), true, true, true));
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Edit Highlight"));
        QTest::mouseClick(dialog.ForegroundBox(), Qt::LeftButton);
        QVERIFY(!dialog.ForegroundButton()->isEnabled());
        const OutputHighlightRule off = dialog.Rule();
        QVERIFY(!off.hasForeground);
        QVERIFY(!off.format.hasProperty(QTextFormat::ForegroundBrush));
        QCOMPARE(off.format.background().color(), QColor(40, 50, 60));

        OutputHighlightingDialog again;
        again.LoadRule(off);
        QVERIFY(!again.ForegroundBox()->isChecked());
        QCOMPARE(again.ForegroundColor(), QColor(10, 20, 30));
        QTest::mouseClick(again.ForegroundBox(), Qt::LeftButton);
        QCOMPARE(again.Rule().format.foreground().color(), QColor(10, 20, 30));
        QVERIFY(again.Rule().regExp);
        QVERIFY(again.Rule().highlightLine);
    }

    // A rule whose remembered colour is invalid falls back to the plain editor's colours.
    void invalidColoursFallBackToTheEditorPalette()
    {
        OutputHighlightingDialog dialog;
        dialog.LoadRule(OutputHighlightRule::create(QStringLiteral("r"), QColor(), QColor(), QStringLiteral("x"),
                                                    false, false, true));
        const QPalette palette = QPlainTextEdit().palette();
        QCOMPARE(dialog.ForegroundColor(), palette.color(QPalette::Text));
        QCOMPARE(dialog.BackgroundColor(), palette.color(QPalette::Base));
        QVERIFY(!dialog.ForegroundBox()->isChecked());
    }
};

KE2_TEST_CLASS(OutputHighlightingTest)
#include "test_output_highlighting.moc"
