#include "config/color_scheme.h"
#include "config/key_bindings.h"
#include "editor/code_editor.h"
#include "tests/editor/editor_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QMenu>

using namespace ke2;
using ke2::test::editorState;
using ke2::test::makeEditor;
using ke2::test::typeKeys;

// What the editor tells the rest of the window and what it takes from the settings.
class CodeEditorSignalsTest : public QObject {
    Q_OBJECT
private slots:
    void contextMenuShowsBoundKeys()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("x|"));
        KeyBindings::instance().setShortcuts(KeyBindings::instance().find(QStringLiteral("executeLine"))->number,
                                             {QKeySequence(QStringLiteral("Ctrl+Alt+L"))});
        std::unique_ptr<QMenu> menu(editor->CreateContextMenu());
        QStringList entries;
        for (QAction *action : menu->actions())
            entries.append(action->isSeparator() ? QStringLiteral("-") : action->text());
        QCOMPARE(entries, (QStringList{"Cut", "Copy", "Paste", "-", "Select All", "-", "Execute", "Execute Line",
                                       "Execute All", "-", "Save Script to Shelf", "-", "Quick Help",
                                       "Command Reference"}));
        QCOMPARE(menu->actions().at(7)->shortcut(), QKeySequence(QStringLiteral("Ctrl+Alt+L")));
        QCOMPARE(menu->actions().at(6)->shortcut(), QKeySequence(QStringLiteral("Ctrl+Return")));
        QSignalSpy executeLine(editor.get(), &CodeEditor::ExecuteLineRequested);
        menu->actions().at(7)->trigger();
        QCOMPARE(executeLine.count(), 1);
        KeyBindings::instance().restoreDefaults();
    }

    void settingsRefresh()
    {
        ke2::test::SettingsGuard guard;
        Settings &settings = Settings::instance();
        settings.tabsUseDefaultsMel = false;
        settings.tabsSizeMel = 2;
        settings.tabsInsertSpacesMel = false;
        settings.renderWhitespace = true;
        settings.wordWrapEnabled = true;
        auto mel = makeEditor(LANGUAGE_MEL, QString());
        auto python = makeEditor(LANGUAGE_PYTHON, QString());
        QCOMPARE(mel->TabSize(), 2);
        QVERIFY(!mel->InsertSpaces());
        QCOMPARE(python->TabSize(), 4); // the Python defaults are still in force
        const QTextOption option = mel->document()->defaultTextOption();
        QVERIFY(option.flags() & QTextOption::ShowTabsAndSpaces);
        QVERIFY(!(option.flags() & QTextOption::ShowLineAndParagraphSeparators));
        QCOMPARE(option.wrapMode(), QTextOption::WordWrap);
        QCOMPARE(option.tabStopDistance(), qreal(mel->fontMetrics().horizontalAdvance(QLatin1Char(' ')) * 2));
        settings.renderWhitespace = false;
        settings.wordWrapEnabled = false;
        mel->UpdateSettings();
        QVERIFY(!(mel->document()->defaultTextOption().flags() & QTextOption::ShowTabsAndSpaces));
        QCOMPARE(mel->document()->defaultTextOption().wrapMode(), QTextOption::NoWrap);
    }

    void colorsComeFromTheScheme()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QString());
        QCOMPARE(editor->palette().color(QPalette::Base), QColor(30, 30, 30));
        QCOMPARE(editor->viewport()->palette().color(QPalette::Inactive, QPalette::Text), QColor(212, 212, 212));
        // An undefined role switches its decoration off instead of falling back to a colour.
        ColorRoleTable &roles = ColorScheme::instance().codeEditorRoles;
        const ColorRole currentLine = roles.roles.take(QString::fromLatin1(ColorRoleName::currentLine));
        editor->UpdateExtraSelections();
        bool fullWidth = false;
        for (const QTextEdit::ExtraSelection &selection : editor->extraSelections())
            fullWidth |= selection.format.boolProperty(QTextFormat::FullWidthSelection);
        roles.roles.insert(currentLine.name, currentLine);
        QVERIFY(!fullWidth);
    }

    void findScopeAndMatchesFollowEdits()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("|a = b + b\nb = 2"));
        editor->SetFindScope(4, 9);
        editor->SetFindRegex(QRegularExpression(QStringLiteral("b")));
        int matches = 0;
        const QColor matching = ColorScheme::instance().codeEditorRoles.format(QString::fromLatin1(ColorRoleName::findReplaceMatching)).background().color();
        for (const QTextEdit::ExtraSelection &selection : editor->extraSelections())
            matches += selection.cursor.hasSelection() && selection.format.background().color() == matching;
        QCOMPARE(matches, 3);
        typeKeys(*editor, QStringLiteral("xy"));
        QCOMPARE(editor->FindScopeStart(), 6);
        QCOMPARE(editor->FindScopeEnd(), 11);
        // An edit inside the scope moves only its end.
        QTextCursor cursor = editor->textCursor();
        cursor.setPosition(8);
        cursor.insertText(QStringLiteral("zz"));
        QCOMPARE(editor->FindScopeStart(), 6);
        QCOMPARE(editor->FindScopeEnd(), 13);
    }

    void completionReplacesThePrefix()
    {
        ke2::test::SettingsGuard guard;
        CodeEditor::SetQuickHelpNames({QStringLiteral("polySphere")});
        auto editor = makeEditor(LANGUAGE_MEL, QStringLiteral("poly|;"));
        QSignalSpy quickHelp(editor.get(), &CodeEditor::QuickHelpChanged);
        editor->CompleteCode(QStringLiteral("polySphere"), 4);
        QCOMPARE(editorState(*editor), QStringLiteral("polySphere|;"));
        QCOMPARE(quickHelp.count(), 1);
        QCOMPARE(quickHelp.first().at(0).toString(), QStringLiteral("polySphere"));
        QCOMPARE(quickHelp.first().at(1).toBool(), false);
        editor->undo();
        QCOMPARE(editor->toPlainText(), QStringLiteral("poly;"));
        // Not a quick help name, a setting off, or a prefix longer than the text: no quick help.
        Settings::instance().melAutoCompleteToQuickHelp = false;
        editor->CompleteCode(QStringLiteral("polySphere"), 4);
        editor->CompleteCode(QStringLiteral("x"), 100);
        QCOMPARE(quickHelp.count(), 1);
        CodeEditor::SetQuickHelpNames({});
    }

    void focusAndModification()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("|"));
        QSignalSpy modified(editor.get(), &CodeEditor::ModificationChanged);
        QSignalSpy focus(editor.get(), &CodeEditor::ReceivedFocus);
        typeKeys(*editor, QStringLiteral("a"));
        QCOMPARE(modified.count(), 1);
        QCOMPARE(modified.first().at(0).toBool(), true);
        QCOMPARE(modified.first().at(1).value<CodeEditor *>(), editor.get());
        QFocusEvent in(QEvent::FocusIn, Qt::OtherFocusReason);
        QCoreApplication::sendEvent(editor.get(), &in);
        QCOMPARE(focus.count(), 1);
    }

    void fileWatcherReportsChanges()
    {
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("watched.mel"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("print 1;\n");
        file.close();
        CodeEditor editor(LANGUAGE_MEL, path);
        QSignalSpy changed(&editor, &CodeEditor::FileChanged);
        QVERIFY(file.open(QIODevice::Append));
        file.write("print 2;\n");
        file.close();
        QVERIFY(changed.wait(3000));
        QCOMPARE(changed.first().at(0).toString(), path);
    }
};
KE2_TEST_CLASS(CodeEditorSignalsTest)

#include "test_code_editor_signals.moc"
