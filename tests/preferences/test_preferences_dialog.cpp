#include "tests/support/dialog_answers.h"
#include "tests/support/fake_host.h"
#include "tests/support/test_files.h"
#include "tests/support/test_registry.h"
#include "tests/support/window_test.h"

#include "config/color_scheme.h"
#include "config/key_bindings.h"
#include "config/settings.h"
#include "config/user_directories.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "groups/code_editor_group_tab_bar.h"
#include "output/output_highlighting_widget.h"
#include "output/output_text_edit.h"
#include "overlays/find_replace_widget.h"
#include "plugin/host_bridge.h"
#include "preferences/preferences_dialog.h"
#include "preferences/shortcut_edit.h"
#include "shell/kestrel_editor.h"

#include <QtTest/QtTest>
#include <QAction>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QColorDialog>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFontComboBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QToolButton>

#include <functional>
#include <memory>

using namespace ke2;
using ke2::test::FakeHost;
using ke2::test::whenModal;

namespace {

const char *const pageObjects[] = {"generalPage",     "keyboardPage", "tabsSettingsPage", "fontAndColorPage",
                                   "codeEditorPage", "outputPage",   "melSettingsPage",  "pythonSettingsPage"};

template <typename T> T *child(QObject *root, const char *name)
{
    return root->findChild<T *>(QString::fromLatin1(name));
}

// Picks `color` in the colour chooser that the next click opens.
void answerColor(const QColor &color)
{
    whenModal<QColorDialog>([color](QColorDialog *dialog) {
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Select Color"));
        dialog->setCurrentColor(color);
        dialog->accept();
    });
}

void selectCommand(PreferencesDialog &dialog, const QString &name)
{
    QListWidget *list = child<QListWidget>(&dialog, "keyboardCommandListWdg");
    const QList<QListWidgetItem *> found = list->findItems(name, Qt::MatchExactly);
    QVERIFY2(!found.isEmpty(), qPrintable(name));
    list->setCurrentItem(found.first());
}

// Types a combination into the recorder, which has the focus as it would after a click.
void pressKeys(PreferencesDialog &dialog, Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    ShortcutEdit *edit = child<ShortcutEdit>(&dialog, "shortcutEdit");
    edit->setFocus();
    QTest::keyClick(edit, key, modifiers);
}

void selectRole(PreferencesDialog &dialog, int set, const QString &role)
{
    child<QComboBox>(&dialog, "colorSet")->setCurrentIndex(set);
    QListWidget *roles = child<QListWidget>(&dialog, "colorRoles");
    roles->setCurrentItem(roles->findItems(role, Qt::MatchExactly).value(0));
}

// The controls a page's round trip changes and compares: those named after what they edit.
bool isSettingControl(QWidget *widget)
{
    const QString name = widget->objectName();
    return !name.isEmpty() && !name.startsWith(QLatin1String("qt_")) && widget->isEnabled()
           && name != QLatin1String("shortcutEdit") && name != QLatin1String("fixedWidthOnly")
           && !qobject_cast<QComboBox *>(widget->parentWidget());
}

// What a page's round trip sets up before touching controls, both before and after the files.
void preparePage(PreferencesDialog &dialog, int page)
{
    dialog.PageList()->setCurrentRow(page);
    if (page == PreferencesDialog::TABS_PAGE)
        child<QComboBox>(&dialog, "tabsLanguage")->setCurrentIndex(2);
    if (page == PreferencesDialog::FONTS_AND_COLORS_PAGE)
        selectRole(dialog, PreferencesDialog::OUTPUT_SET, QStringLiteral("Find Matching"));
}

QString assignedShortcuts(PreferencesDialog &dialog, const QString &command)
{
    selectCommand(dialog, command);
    QStringList texts;
    QListWidget *assigned = child<QListWidget>(&dialog, "assignedShortcuts");
    for (int i = 0; i < assigned->count(); ++i)
        texts << assigned->item(i)->text();
    return texts.join(QLatin1Char(','));
}

void writeAll()
{
    Settings::instance().write();
    ColorScheme::instance().write();
    KeyBindings::instance().write();
}

QByteArray allFiles()
{
    return test::readFile(UserDirectories::settingsFile()) + test::readFile(UserDirectories::colorsFile())
           + test::readFile(UserDirectories::bindingsFile());
}

} // namespace

class PreferencesDialogTest : public test::WindowTest {
    Q_OBJECT
private:
    static void resetAll()
    {
        Settings::instance() = Settings();
        ColorScheme::instance() = ColorScheme();
        KeyBindings::instance() = KeyBindings();
    }

    // A window with editors in two groups, its output fed by the host, keys active.
    KestrelEditor *window()
    {
        if (!shown(QSize(1000, 700)))
            return nullptr;
        m_window->NewPythonBuffer();
        m_window->OnMoveTabRequested(0, m_window->Group(0)->Count() - 1, 1, 0);
        m_window->ActiveCodeEditor()->setFocus();
        m_host->output().setReceiver([this](const QString &text) {
            if (m_window)
                m_window->AppendOutput(text);
        });
        return m_window.get();
    }
    QVector<CodeEditor *> editors() const
    {
        QVector<CodeEditor *> all;
        for (CodeEditorGroup *group : m_window->Groups())
            for (int i = 0; i < group->Count(); ++i)
                all << group->CodeEditorAt(i);
        return all;
    }
    OutputTextEdit *output() const { return m_window->findChild<OutputTextEdit *>(QStringLiteral("OutputText")); }
    // Opens the preferences from the window's action, lets `edit` work in the dialog, then presses
    // the button named (its text).
    void throughTheWindow(std::function<void(PreferencesDialog *)> edit, const QString &button = QStringLiteral("OK"))
    {
        whenModal<PreferencesDialog>([edit, button](PreferencesDialog *dialog) {
            edit(dialog);
            (button == QLatin1String("OK") ? dialog->OkButton() : dialog->CancelButton())->click();
        });
        m_window->BindingAction(48)->trigger();
        // Back in the window, as after a click into the editor.
        m_window->activateWindow();
        m_window->ActiveCodeEditor()->setFocus();
        QTRY_VERIFY(m_window->ShortcutsActive());
    }

private slots:
    void init()
    {
        resetAll();
        setUpWindow();
    }
    void cleanup()
    {
        tearDownWindow();
        resetAll();
    }

    // Whatever a page edits comes back from the files into a fresh dialog.
    void eachPageRoundTripsThroughTheFiles_data()
    {
        QTest::addColumn<int>("page");
        for (int page = 0; page < PreferencesDialog::PAGE_COUNT; ++page)
            QTest::newRow(pageObjects[page]) << page;
    }
    void eachPageRoundTripsThroughTheFiles()
    {
        QFETCH(int, page);
        QMap<QString, QVariant> expected;
        {
            PreferencesDialog dialog;
            preparePage(dialog, page);
            QWidget *content = child<QWidget>(&dialog, pageObjects[page]);
            for (QCheckBox *box : content->findChildren<QCheckBox *>()) {
                if (isSettingControl(box)) {
                    box->click();
                    expected[box->objectName()] = box->isChecked();
                }
            }
            for (QSpinBox *spin : content->findChildren<QSpinBox *>()) {
                if (isSettingControl(spin)) {
                    spin->setValue(spin->value() == spin->maximum() ? spin->value() - 1 : spin->value() + 1);
                    expected[spin->objectName()] = spin->value();
                }
            }
            for (QLineEdit *edit : content->findChildren<QLineEdit *>()) {
                if (isSettingControl(edit)) {
                    edit->setText(edit->text() + QStringLiteral("/changed"));
                    expected[edit->objectName()] = edit->text();
                }
            }
            if (page == PreferencesDialog::KEYBOARD_PAGE) {
                selectCommand(dialog, QStringLiteral("Delete Line"));
                child<QPushButton>(&dialog, "removeShortcut")->click();
                pressKeys(dialog, Qt::Key_D, Qt::ControlModifier | Qt::AltModifier);
                child<QPushButton>(&dialog, "assignShortcut")->click();
                selectCommand(dialog, QStringLiteral("Save As"));
                pressKeys(dialog, Qt::Key_F7, Qt::ShiftModifier);
                child<QPushButton>(&dialog, "assignShortcut")->click();
            }
            if (page == PreferencesDialog::FONTS_AND_COLORS_PAGE) {
                answerColor(QColor(10, 20, 30));
                child<QPushButton>(&dialog, "backgroundButton")->click();
                child<QComboBox>(&dialog, "fontSize")->setCurrentText(QStringLiteral("16"));
            }
            if (page == PreferencesDialog::OUTPUT_PAGE)
                dialog.HighlightingWidget()->DeleteItem();
            QVERIFY(!expected.isEmpty() || page == PreferencesDialog::KEYBOARD_PAGE);
            dialog.OkButton()->click();
            QCOMPARE(dialog.result(), int(QDialog::Accepted));
        }
        writeAll();
        resetAll();
        Settings::instance().read();
        ColorScheme::instance().read();
        KeyBindings::instance().read();

        PreferencesDialog again;
        preparePage(again, page);
        for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
            QWidget *control = child<QWidget>(&again, qPrintable(it.key()));
            QVERIFY2(control, qPrintable(it.key()));
            QVariant shown;
            if (auto *box = qobject_cast<QCheckBox *>(control))
                shown = box->isChecked();
            else if (auto *spin = qobject_cast<QSpinBox *>(control))
                shown = spin->value();
            else if (auto *edit = qobject_cast<QLineEdit *>(control))
                shown = edit->text();
            QVERIFY2(shown == it.value(), qPrintable(it.key()));
        }
        if (page == PreferencesDialog::KEYBOARD_PAGE) {
            QCOMPARE(assignedShortcuts(again, QStringLiteral("Delete Line")), QKeySequence("Ctrl+Alt+D").toString(QKeySequence::NativeText));
            QCOMPARE(assignedShortcuts(again, QStringLiteral("Save As")), QKeySequence("Shift+F7").toString(QKeySequence::NativeText));
        }
        if (page == PreferencesDialog::FONTS_AND_COLORS_PAGE) {
            const QTextCharFormat format = again.WorkingRoles(PreferencesDialog::OUTPUT_SET).format(QStringLiteral("Find Matching"));
            QCOMPARE(format.background().color(), QColor(10, 20, 30));
            QCOMPARE(child<QComboBox>(&again, "fontSize")->currentText(), QStringLiteral("16"));
            QVERIFY(child<QLabel>(&again, "sample")->text().startsWith(QStringLiteral("<font color=#")));
        }
        if (page == PreferencesDialog::OUTPUT_PAGE)
            QCOMPARE(again.HighlightingWidget()->Rules().size(), ColorScheme::defaultOutputHighlightRules().size() - 1);
    }

    // A key given to a second entry is warned about on OK, the later entry loses it, and the
    // dialog stays open showing the result; a second OK closes it.
    void duplicateKeyWarnsAndKeepsTheDialogOpen_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("usedBy");
        QTest::addColumn<QString>("loser");
        QTest::addColumn<QString>("keeper");
        QTest::newRow("held by an earlier entry")
            << "Delete Line" << int(Qt::Key_W) << int(Qt::ControlModifier) << "Close File" << "Delete Line" << "Close File";
        QTest::newRow("held by a later entry")
            << "New Buffer" << int(Qt::Key_W) << int(Qt::ControlModifier) << "Close File" << "Close File" << "New Buffer";
        QTest::newRow("reserved key") << "Delete Line" << int(Qt::Key_Escape) << int(Qt::NoModifier)
                                      << "Reserved (Permanent)" << "Delete Line" << QString();
    }
    void duplicateKeyWarnsAndKeepsTheDialogOpen()
    {
        QFETCH(QString, command);
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(QString, usedBy);
        QFETCH(QString, loser);
        QFETCH(QString, keeper);
        QVERIFY(window());
        const QKeySequence sequence = ShortcutEdit::SequenceOf(key, Qt::KeyboardModifiers(modifiers));
        const QString warning = QStringLiteral("Duplicate hotkey detected: %1 (%2)")
                                    .arg(loser, sequence.toString(QKeySequence::PortableText));

        PreferencesDialog dialog(m_window.get(), PreferencesDialog::firstPageNumber + PreferencesDialog::KEYBOARD_PAGE);
        connect(&dialog, &PreferencesDialog::PreferencesModified, m_window.get(), &KestrelEditor::OnPreferencesModified);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowActive(&dialog));
        selectCommand(dialog, command);
        pressKeys(dialog, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(child<QLabel>(&dialog, "shortcutUsedBy")->text(), usedBy);
        child<QPushButton>(&dialog, "assignShortcut")->click();

        test::DialogAnswers answers({QStringLiteral("OK")});
        dialog.OkButton()->click();
        QCOMPARE(answers.seen, QStringList{QStringLiteral("Keyboard: ") + warning});
        QVERIFY(dialog.isVisible());
        QCOMPARE(dialog.PageStack()->currentIndex(), int(PreferencesDialog::KEYBOARD_PAGE));
        QVERIFY(m_host->texts(FakeHost::Kind::Warning).contains(HostBridge::messagePrefix() + warning));
        KeyBindings &live = KeyBindings::instance();
        auto holds = [&live](const QString &name, const QKeySequence &keys) {
            for (const ActionBinding &binding : live.entries())
                if (binding.displayName == name && !binding.fixed)
                    return binding.shortcuts.contains(keys);
            return false;
        };
        QVERIFY(!holds(loser, sequence));
        if (!keeper.isEmpty())
            QVERIFY(holds(keeper, sequence));
        QVERIFY(!assignedShortcuts(dialog, loser).split(',').contains(sequence.toString(QKeySequence::NativeText)));

        dialog.OkButton()->click();
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
    }

    void restoreDefaultsAsksFirst_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::newRow("yes") << "Yes";
        QTest::newRow("no") << "No";
    }
    void restoreDefaultsAsksFirst()
    {
        QFETCH(QString, answer);
        PreferencesDialog dialog(nullptr, PreferencesDialog::firstPageNumber + PreferencesDialog::KEYBOARD_PAGE);
        selectCommand(dialog, QStringLiteral("Delete Line"));
        child<QPushButton>(&dialog, "removeShortcut")->click();
        selectCommand(dialog, QStringLiteral("Save As"));
        pressKeys(dialog, Qt::Key_F7, Qt::NoModifier);
        child<QPushButton>(&dialog, "assignShortcut")->click();
        const QString edited = assignedShortcuts(dialog, QStringLiteral("Save As"));

        test::DialogAnswers answers({answer});
        child<QPushButton>(&dialog, "restoreDefaultKeyBindings")->click();
        QCOMPARE(answers.seen, QStringList{QStringLiteral(
                                   "Restore Defaults: Keyboard mappings will reset to their default values. Continue?")});
        const bool restored = answer == QLatin1String("Yes");
        QCOMPARE(assignedShortcuts(dialog, QStringLiteral("Save As")), restored ? QString() : edited);
        QCOMPARE(assignedShortcuts(dialog, QStringLiteral("Delete Line")),
                 restored ? QKeySequence("Ctrl+Shift+K").toString(QKeySequence::NativeText) : QString());
        // Nothing reaches the live table before Apply.
        QCOMPARE(KeyBindings::instance().find(QStringLiteral("deleteLine"))->shortcuts,
                 KeyBindings::instance().find(QStringLiteral("deleteLine"))->defaultShortcuts);
    }

    // Cancel after edits on every page: no file is written, the records in memory are as they
    // were, and the window shows what it showed.
    void cancelLeavesSettingsAndWindowUnchanged()
    {
        QVERIFY(window());
        writeAll();
        const QByteArray before = allFiles();
        CodeEditor *editor = m_window->ActiveCodeEditor();
        const QFont font = editor->font();
        const int tabSize = editor->TabSize();
        const QColor base = editor->palette().color(QPalette::Base);
        const QList<QKeySequence> keys = m_window->BindingAction(43)->shortcuts();
        const int lines = output()->document()->maximumBlockCount();

        bool edited = false;
        throughTheWindow(
            [&edited](PreferencesDialog *dialog) {
                for (QCheckBox *box : dialog->findChildren<QCheckBox *>())
                    if (isSettingControl(box))
                        box->click();
                for (QSpinBox *spin : dialog->findChildren<QSpinBox *>())
                    spin->setValue(spin->minimum());
                child<QComboBox>(dialog, "tabsLanguage")->setCurrentIndex(2);
                child<QSpinBox>(dialog, "tabsSize")->setValue(7);
                child<QComboBox>(dialog, "fontSize")->setCurrentText(QStringLiteral("20"));
                selectRole(*dialog, PreferencesDialog::CODE_EDITOR_SET, QStringLiteral("Plain Text"));
                answerColor(Qt::red);
                child<QPushButton>(dialog, "backgroundButton")->click();
                selectCommand(*dialog, QStringLiteral("Delete Line"));
                pressKeys(*dialog, Qt::Key_D, Qt::ControlModifier | Qt::AltModifier);
                child<QPushButton>(dialog, "assignShortcut")->click();
                dialog->HighlightingWidget()->DeleteItem();
                edited = true;
            },
            QStringLiteral("Cancel"));
        QVERIFY(edited);
        QCOMPARE(allFiles(), before);
        writeAll();
        QCOMPARE(allFiles(), before);
        QCOMPARE(editor->font(), font);
        QCOMPARE(editor->TabSize(), tabSize);
        QCOMPARE(editor->palette().color(QPalette::Base), base);
        QCOMPARE(m_window->BindingAction(43)->shortcuts(), keys);
        QCOMPARE(output()->document()->maximumBlockCount(), lines);
    }

    // Each setting changed through the dialog reaches every open part of a live window at once.
    void settingTakesEffectInTheLiveWindow_data()
    {
        QTest::addColumn<QString>("setting");
        for (const char *setting : {"code editor font", "tab size", "python tab size", "word wrap", "editor colours",
                                    "output colours", "output font", "output buffer size", "output word wrap",
                                    "minimal trace", "key binding", "find bar keys", "mini toolbar", "tab bar", "pylint", "trim on save",
                                    "closing a buffer unasked"})
            QTest::newRow(setting) << setting;
    }
    void settingTakesEffectInTheLiveWindow()
    {
        QFETCH(QString, setting);
        QVERIFY(window());
        QVERIFY(m_window->ShortcutsActive());
        QCOMPARE(editors().size(), 3);
        const QColor color(12, 34, 56);
        const QKeySequence keys(QStringLiteral("Ctrl+Alt+D"));
        // A stand-in for pylint that finds one error in whatever it is given.
        const QString pylint = m_prefs->root() + QStringLiteral("/pylint");
        QVERIFY(test::writeScript(pylint, "echo '::E:1:0:[E0602]:Undefined variable y::'"));
        // The find bar is open while its keys change.
        m_window->Group(1)->FindReplace()->Show(false);
        throughTheWindow([&](PreferencesDialog *dialog) {
            auto check = [dialog](const char *name) {
                QCheckBox *box = child<QCheckBox>(dialog, name);
                box->setChecked(!box->isChecked());
            };
            if (setting == "code editor font" || setting == "output font") {
                child<QComboBox>(dialog, "colorSet")->setCurrentIndex(setting == "output font");
                child<QComboBox>(dialog, "fontSize")->setCurrentText(QStringLiteral("14"));
            } else if (setting == "tab size") {
                child<QSpinBox>(dialog, "tabsSize")->setValue(2);
            } else if (setting == "python tab size") {
                child<QComboBox>(dialog, "tabsLanguage")->setCurrentIndex(2);
                child<QCheckBox>(dialog, "tabsUseDefaults")->click();
                child<QSpinBox>(dialog, "tabsSize")->setValue(8);
            } else if (setting == "word wrap") {
                check("wordWrapEnabled");
            } else if (setting == "editor colours" || setting == "output colours") {
                selectRole(*dialog, setting == "output colours", QStringLiteral("Plain Text"));
                answerColor(color);
                child<QPushButton>(dialog, "backgroundButton")->click();
            } else if (setting == "output buffer size") {
                child<QSpinBox>(dialog, "outputBufferSize")->setValue(50);
            } else if (setting == "output word wrap") {
                check("outputWordWrapEnabled");
            } else if (setting == "minimal trace") {
                check("outputMinimalTrace");
            } else if (setting == "key binding") {
                selectCommand(*dialog, QStringLiteral("Delete Line"));
                pressKeys(*dialog, Qt::Key_D, Qt::ControlModifier | Qt::AltModifier);
                child<QPushButton>(dialog, "assignShortcut")->click();
                selectCommand(*dialog, QStringLiteral("Execute All"));
                while (child<QPushButton>(dialog, "removeShortcut")->isEnabled())
                    child<QPushButton>(dialog, "removeShortcut")->click();
                pressKeys(*dialog, Qt::Key_F6, Qt::NoModifier);
                child<QPushButton>(dialog, "assignShortcut")->click();
            } else if (setting == "find bar keys") {
                selectCommand(*dialog, QStringLiteral("Find Next"));
                child<QPushButton>(dialog, "removeShortcut")->click();
                pressKeys(*dialog, Qt::Key_F7, Qt::NoModifier);
                child<QPushButton>(dialog, "assignShortcut")->click();
            } else if (setting == "mini toolbar") {
                check("showTabBarMiniToolbar");
            } else if (setting == "tab bar") {
                check("showTabBar");
                check("showCloseButtonOnTabs");
                check("mouseWheelChangesActiveTab");
            } else if (setting == "closing a buffer unasked") {
                check("showConfirmDialogOnInternalBufferClose");
            } else if (setting == "trim on save") {
                check("melTrimTrailingWhiteSpacesOnSave");
                check("melEnsureNewLineAtEofOnSave");
            } else if (setting == "pylint") {
                check("pylintEnabled");
                child<QLineEdit>(dialog, "pylintPath")->setText(pylint);
            }
        });

        const QVector<CodeEditor *> all = editors();
        if (setting == "code editor font") {
            for (CodeEditor *editor : all)
                QCOMPARE(editor->font().pointSize(), 14);
        } else if (setting == "tab size") {
            for (CodeEditor *editor : all)
                QCOMPARE(editor->TabSize(), 2);
        } else if (setting == "python tab size") {
            for (CodeEditor *editor : all)
                QCOMPARE(editor->TabSize(), editor->Language() == LANGUAGE_PYTHON ? 8 : 4);
        } else if (setting == "word wrap") {
            for (CodeEditor *editor : all)
                QCOMPARE(editor->lineWrapMode(), QPlainTextEdit::WidgetWidth);
        } else if (setting == "editor colours") {
            for (CodeEditor *editor : all)
                QCOMPARE(editor->palette().color(QPalette::Base), color);
            QVERIFY(output()->palette().color(QPalette::Base) != color);
        } else if (setting == "output colours") {
            QCOMPARE(output()->palette().color(QPalette::Base), color);
        } else if (setting == "output font") {
            QCOMPARE(output()->font().pointSize(), 14);
        } else if (setting == "output buffer size") {
            for (int i = 0; i < 80; ++i)
                m_window->AppendOutput(QStringLiteral("line %1\n").arg(i));
            QVERIFY(m_window->OutputText().contains(QStringLiteral("line 79")));
            QVERIFY(output()->LineCount() <= 50);
        } else if (setting == "output word wrap") {
            QCOMPARE(output()->lineWrapMode(), QPlainTextEdit::WidgetWidth);
        } else if (setting == "minimal trace") {
            m_host->output().deliver(QStringLiteral("echoed_code()\n"), MessageType::History);
            m_host->output().deliver(QStringLiteral("printed\n"), MessageType::Display);
            QVERIFY(!m_window->OutputText().contains(QStringLiteral("echoed_code()")));
            QVERIFY(m_window->OutputText().contains(QStringLiteral("printed")));
        } else if (setting == "key binding") {
            // The action carries the key, so its menu entry shows it; tool tips follow the table.
            QVERIFY(m_window->BindingAction(43)->shortcuts().contains(keys));
            const QString executeAll = QStringLiteral("Execute All (%1)").arg(QKeySequence(Qt::Key_F6).toString(QKeySequence::NativeText));
            for (CodeEditorGroup *group : m_window->Groups())
                QCOMPARE(child<QToolButton>(group, "executeAllButton")->toolTip(), executeAll);
        } else if (setting == "find bar keys") {
            const QString next = QStringLiteral("Next Match (%1)").arg(QKeySequence(Qt::Key_F7).toString(QKeySequence::NativeText));
            for (CodeEditorGroup *group : m_window->Groups())
                QCOMPARE(child<QWidget>(group->FindReplace(), "Next Match")->toolTip(), next);
        } else if (setting == "mini toolbar") {
            for (CodeEditorGroup *group : m_window->Groups())
                QCOMPARE(child<QWidget>(group, "miniToolbar")->isVisibleTo(group), true);
        } else if (setting == "tab bar") {
            for (CodeEditorGroup *group : m_window->Groups()) {
                QVERIFY(child<QWidget>(group, "tabClip")->isHidden());
                QVERIFY(!group->TabBar()->tabsClosable());
            }
            QTabBar *tabs = m_window->Group(0)->TabBar();
            tabs->setCurrentIndex(0);
            QWheelEvent down(QPointF(5, 5), QPointF(tabs->mapToGlobal(QPoint(5, 5))), QPoint(), QPoint(0, -120), Qt::NoButton,
                             Qt::NoModifier, Qt::NoScrollPhase, false);
            QApplication::sendEvent(tabs, &down);
            QCOMPARE(tabs->currentIndex(), 1);
        } else if (setting == "closing a buffer unasked") {
            test::DialogAnswers answers;
            CodeEditor *mel = m_window->Group(0)->CodeEditorAt(0);
            QTextCursor(mel->document()).insertText(QStringLiteral("print 1;"));
            const int before = m_window->CodeEditorCount();
            m_window->OnCloseTabRequested(m_window->Group(0), 0);
            QCOMPARE(answers.seen, QStringList());
            QCOMPARE(m_window->CodeEditorCount(), before - 1);
        } else if (setting == "trim on save") {
            CodeEditor *mel = m_window->Group(0)->CodeEditorAt(0);
            QCOMPARE(mel->Language(), LANGUAGE_MEL);
            QTextCursor(mel->document()).insertText(QStringLiteral("print \"x\";  \t\nprint \"y\";  "));
            m_window->SaveAll();
            QCOMPARE(test::readFile(m_window->Group(0)->Record(0).path), QByteArray("print \"x\";\nprint \"y\";\n"));
        } else if (setting == "pylint") {
            // The Python buffer shown in the second group is checked by pylint from now on.
            CodeEditor *python = m_window->Group(1)->CurrentCodeEditor();
            QCOMPARE(python->Language(), LANGUAGE_PYTHON);
            QTRY_COMPARE_WITH_TIMEOUT(python->Marks(MARK_ERROR).size(), 1, 15000);
            QCOMPARE(python->Marks(MARK_ERROR).first().message, QStringLiteral("E0602: Undefined variable y"));
        }
        // Apply saved the session: the change is in the files too.
        QVERIFY(QFileInfo::exists(UserDirectories::settingsFile()));
    }

    void searchFiltersSettingsByName_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<QStringList>("hidden");
        QTest::addColumn<QStringList>("pages");
        QTest::newRow("wrap") << "WRAP" << QStringList{"wordWrapEnabled", "outputWordWrapEnabled"}
                              << QStringList{"saveAllOnExecute", "outputBufferSize"}
                              << QStringList{"Keyboard", "Code Editor", "Output"};
        QTest::newRow("a command") << "delete line" << QStringList{} << QStringList{"saveAllOnExecute"}
                                   << QStringList{"Keyboard"};
        QTest::newRow("a page title") << "mel" << QStringList{"melSmartIndent", "melCompleteOnLetters"}
                                      << QStringList{"pythonSmartIndent"}
                                      << QStringList{"Keyboard", "Fonts and Colors", "Output", "MEL", "Python"};
    }
    void searchFiltersSettingsByName()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, shown);
        QFETCH(QStringList, hidden);
        QFETCH(QStringList, pages);
        PreferencesDialog dialog;
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QTest::keyClicks(dialog.SearchBox(), text);
        for (const QString &name : shown)
            QVERIFY2(!child<QWidget>(&dialog, qPrintable(name))->isHidden(), qPrintable(name));
        for (const QString &name : hidden)
            QVERIFY2(child<QWidget>(&dialog, qPrintable(name))->parentWidget()->isHidden()
                         || child<QWidget>(&dialog, qPrintable(name))->isHidden(),
                     qPrintable(name));
        QStringList listed;
        for (int i = 0; i < dialog.PageList()->count(); ++i)
            if (!dialog.PageList()->item(i)->isHidden())
                listed << dialog.PageList()->item(i)->text();
        QCOMPARE(listed, pages);
        QVERIFY(!dialog.PageList()->currentItem()->isHidden());
        if (text == QLatin1String("delete line")) {
            QListWidget *commands = child<QListWidget>(&dialog, "keyboardCommandListWdg");
            QStringList visible;
            for (int i = 0; i < commands->count(); ++i)
                if (!commands->item(i)->isHidden())
                    visible << commands->item(i)->text();
            QCOMPARE(visible, QStringList{"Delete Line"});
            QCOMPARE(commands->currentItem()->text(), QStringLiteral("Delete Line"));
        }
        dialog.SearchBox()->clear();
        QVERIFY(!child<QWidget>(&dialog, "saveAllOnExecute")->isHidden());
    }

    // The dialog shows the font the editors paint with, and they paint with the same font (lines
    // as tall) after OK and after a restart. A family that is not installed stays as the file
    // names it.
    void fontShownIsFontUsed_data()
    {
        QTest::addColumn<QString>("family");
        QTest::newRow("the default") << Settings::defaultFont().family();
        QTest::newRow("not installed") << QStringLiteral("No Such Mono Family");
    }
    void fontShownIsFontUsed()
    {
        QFETCH(QString, family);
        Settings::instance().codeEditorFont.setFamily(family);
        QVERIFY(window());
        const QFont used = editors().first()->font();
        QString shown;
        throughTheWindow([&shown](PreferencesDialog *dialog) {
            shown = child<QFontComboBox>(dialog, "fontFamily")->currentFont().family();
        });
        QCOMPARE(shown, QFontInfo(used).family());
        for (int restart = 0; restart < 2; ++restart) {
            QCOMPARE(Settings::instance().codeEditorFont.family(), family);
            QCOMPARE(QFontInfo(editors().last()->font()).family(), QFontInfo(used).family());
            QCOMPARE(QFontMetrics(editors().last()->font()).lineSpacing(), QFontMetrics(used).lineSpacing());
            m_window.reset();
            Settings::instance() = Settings();
            Settings::instance().read();
            QVERIFY(window());
        }
    }

    // The dialog opens within a 1366x768 screen and no page needs a sideways scroll bar there.
    void fitsASmallScreen()
    {
        PreferencesDialog dialog;
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QVERIFY(dialog.width() <= 1366 && dialog.height() <= 700);
        for (int page = 0; page < PreferencesDialog::PAGE_COUNT; ++page) {
            dialog.PageList()->setCurrentRow(page);
            QCoreApplication::processEvents();
            auto *scroll = qobject_cast<QScrollArea *>(dialog.PageStack()->currentWidget());
            QVERIFY2(scroll->widget()->minimumSizeHint().width() <= scroll->viewport()->width(), pageObjects[page]);
        }
    }

    void generatingAPylintrc_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("seen");
        QTest::addColumn<bool>("written");
        QTest::newRow("no executable") << QString() << QStringList{"Pylint: The path to the Pylint executable is not set."}
                                       << false;
        QTest::newRow("succeeds") << "echo '[MAIN]'; echo \"$PYTHONPATH\" >/dev/null" << QStringList{} << true;
        QTest::newRow("fails") << "echo 'bad option' >&2; exit 2" << QStringList{"Pylint: Failed to generate pylintrc"}
                               << false;
    }
    void generatingAPylintrc()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, seen);
        QFETCH(bool, written);
        QString executable;
        if (!script.isEmpty()) {
            executable = m_prefs->root() + QStringLiteral("/fake-pylint");
            QVERIFY(test::writeScript(executable, script.toUtf8()));
        }
        PreferencesDialog dialog(nullptr, PreferencesDialog::firstPageNumber + PreferencesDialog::PYTHON_PAGE);
        child<QLineEdit>(&dialog, "pylintPath")->setText(executable);
        test::DialogAnswers answers;
        child<QPushButton>(&dialog, "generatePylintConfig")->click();
        QCOMPARE(answers.seen, seen);
        const QString target = UserDirectories::configDirectory() + QStringLiteral("/pylintrc");
        QCOMPARE(QFileInfo::exists(target), written);
        QCOMPARE(child<QLineEdit>(&dialog, "pylintConfigPath")->text(), written ? target : QString());
        if (written)
            QCOMPARE(test::readFile(target), QByteArray("[MAIN]\n"));
        if (script.contains(QLatin1String("bad option")))
            QVERIFY(m_host->texts(FakeHost::Kind::Error).contains(HostBridge::messagePrefix() + QStringLiteral("bad option")));
    }
};

KE2_TEST_CLASS(PreferencesDialogTest)
#include "test_preferences_dialog.moc"
