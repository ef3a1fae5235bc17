#include "config/settings.h"
#include "editor/code_editor.h"
#include "plugin/host_bridge.h"
#include "tests/editor/editor_test_support.h"
#include "tests/groups/groups_test_support.h"
#include "tests/support/fake_host.h"
#include "tests/support/test_registry.h"
#include "views/status_bar.h"

#include <QtTest/QSignalSpy>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>

using namespace ke2;
using namespace ke2::test;

namespace {

QLabel *label(const StatusBar &bar, const char *name)
{
    return bar.findChild<QLabel *>(QString::fromLatin1(name));
}

// What a right click on the bar offers; clicks `choice` when given.
QStringList rightClick(StatusBar &bar, const QString &choice = QString())
{
    return chooseFromMenu([&bar] { emit bar.customContextMenuRequested(QPoint(5, 5)); }, choice);
}

} // namespace

class StatusBarTest : public QObject {
    Q_OBJECT
private slots:

    void labels_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("interpreter");
        QTest::newRow("MEL") << int(LANGUAGE_MEL) << "MEL     ";
        QTest::newRow("Python, version from the host") << int(LANGUAGE_PYTHON) << "Python 3.11.2 (64-bit)     ";
        QTest::newRow("plain text shows no interpreter") << int(LANGUAGE_TEXT) << "";
    }
    void labels()
    {
        QFETCH(int, language);
        QFETCH(QString, interpreter);
        m_host.answer(QStringLiteral("KestrelEditorHelpers.python_version()"), QStringLiteral("3.11.2"));
        const bool overwrite = CodeEditor::SharedOverwriteMode();
        CodeEditor::SetSharedOverwriteMode(true);
        StatusBar bar;
        CodeEditor::SetSharedOverwriteMode(overwrite);
        // As built: empty interpreter, the cursor at the origin, the shared overwrite state.
        QCOMPARE(label(bar, "interpreterLabel")->text(), QString());
        QCOMPARE(label(bar, "cursorLabel")->text(), QStringLiteral("Ln 0      Col 0      Sel 0"));
        QCOMPARE(label(bar, "overwriteLabel")->text(), QStringLiteral("OVR"));

        bar.UpdateInterpreter(LANGUAGE_MEL);
        bar.UpdateInterpreter(CodeEditorLanguage(language));
        QCOMPARE(label(bar, "interpreterLabel")->text(), interpreter);
        bar.UpdateCursor(120, 7, 1234);
        QCOMPARE(label(bar, "cursorLabel")->text(), QStringLiteral("Ln 120      Col 7      Sel 1234"));
        bar.UpdateCounts(3, 12);
        QCOMPARE(label(bar, "errorCountLabel")->text(), QStringLiteral("3  "));
        QCOMPARE(label(bar, "warningCountLabel")->text(), QStringLiteral("12    "));
        bar.UpdateLineMessage(QStringLiteral("Expected a ')'"));
        QCOMPARE(label(bar, "currentLineMessageLabel")->text(), QStringLiteral("Expected a ')'"));
        QCOMPARE(label(bar, "currentLineMessageLabel")->toolTip(), QStringLiteral("Expected a ')'"));
        bar.UpdateOverwriteMode(false);
        QCOMPARE(label(bar, "overwriteLabel")->text(), QStringLiteral("INS"));
        QVERIFY(label(bar, "fileFormatLabel")->isHidden());
        bar.UpdateFileFormat(QStringLiteral("Latin-1"), QStringLiteral("CRLF"));
        QCOMPARE(label(bar, "fileFormatLabel")->text(), QStringLiteral("Latin-1      CRLF"));
        QVERIFY(!label(bar, "fileFormatLabel")->isHidden());
        bar.UpdateFileFormat(QString(), QString());
        QVERIFY(label(bar, "fileFormatLabel")->isHidden());
    }

    // A load's progress: a busy bar while the file is read, then the share in, then gone.
    void loadProgress()
    {
        StatusBar bar;
        auto *progress = bar.findChild<QProgressBar *>(QStringLiteral("loadProgress"));
        QVERIFY(progress && progress->isHidden());
        const struct {
            int percent;
            bool shown;
            int maximum;
            QString text;
        } steps[] = {{-1, true, 0, QString()}, {0, true, 100, "Loading 0% (read-only)"},
                     {42, true, 100, "Loading 42% (read-only)"}, {-2, false, 100, QString()}};
        for (const auto &step : steps) {
            bar.UpdateLoadProgress(step.percent);
            QCOMPARE(!progress->isHidden(), step.shown);
            QCOMPARE(progress->maximum(), step.maximum);
            if (!step.text.isEmpty())
                QCOMPARE(progress->text(), step.text);
        }
    }

    // Left to right as the bar lays its parts out.
    void order()
    {
        StatusBar bar;
        auto *layout = qobject_cast<QHBoxLayout *>(bar.layout());
        QStringList names;
        for (int i = 0; i < layout->count(); ++i) {
            QLayoutItem *item = layout->itemAt(i);
            if (item->widget())
                names.append(item->widget()->objectName());
            else if (item->spacerItem())
                names.append(item->spacerItem()->sizeHint().width() ? QString::number(item->spacerItem()->sizeHint().width())
                                                                    : QStringLiteral("stretch"));
        }
        QCOMPARE(names, (QStringList{"interpreterLabel", "errorIconLabel", "3", "errorCountLabel", "warningIconLabel",
                                     "3", "warningCountLabel", "currentLineMessageLabel", "12", "stretch",
                                     "loadProgress", "cursorLabel", "30", "overwriteLabel", "30", "fileFormatLabel"}));
        QCOMPARE(layout->contentsMargins(), QMargins(10, 4, 10, 4));
    }

    // Each menu entry hides its parts and then reads "Show"; the settings follow and a new bar
    // starts with them.
    void toggles_data()
    {
        QTest::addColumn<QString>("part");
        QTest::addColumn<QStringList>("labels");
        QTest::newRow("interpreter") << "Interpreter" << QStringList{"interpreterLabel"};
        QTest::newRow("both icons and both counts together")
            << "Error/Warning Count"
            << QStringList{"errorIconLabel", "errorCountLabel", "warningIconLabel", "warningCountLabel"};
        QTest::newRow("current line message") << "Current Line Message" << QStringList{"currentLineMessageLabel"};
    }
    void toggles()
    {
        QFETCH(QString, part);
        QFETCH(QStringList, labels);
        SettingsGuard guard;
        Settings &settings = Settings::instance();
        settings.statusBarInterpreterVisible = settings.statusBarErrorCountVisible =
            settings.statusBarLineMessageVisible = true;
        StatusBar bar;
        bar.show();
        QVERIFY(QTest::qWaitForWindowExposed(&bar));
        auto shown = [&](const StatusBar &b) {
            QStringList visible;
            for (const QString &name : labels) {
                if (label(b, name.toLatin1().constData())->isVisible())
                    visible.append(name);
            }
            return visible;
        };
        QCOMPARE(shown(bar), labels);
        QCOMPARE(rightClick(bar, "Hide " + part),
                 (QStringList{"Hide Interpreter", "Hide Error/Warning Count", "Hide Current Line Message", "-",
                              "Hide Status Bar"}));
        QCOMPARE(shown(bar), QStringList());
        QVERIFY(label(bar, "cursorLabel")->isVisible());

        StatusBar later;
        later.show();
        QCOMPARE(shown(later), QStringList());

        QVERIFY(rightClick(bar, "Show " + part).contains("Show " + part));
        QCOMPARE(shown(bar), labels);
        QVERIFY(rightClick(bar).contains("Hide " + part));
        QVERIFY(settings.statusBarInterpreterVisible && settings.statusBarErrorCountVisible
                && settings.statusBarLineMessageVisible);
    }

    void hideStatusBarAsksTheWindow()
    {
        StatusBar bar;
        QSignalSpy requests(&bar, &StatusBar::StatusBarVisibilityChangeRequested);
        rightClick(bar, QStringLiteral("Hide Status Bar"));
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests[0][0].toBool(), false);
    }

private:
    FakeHost m_host;
    ScopedHost m_active{&m_host};
};

KE2_TEST_CLASS(StatusBarTest)
#include "test_status_bar.moc"
