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
        KeyBindings::instance().restoreDefaults();
        QStringList entries;
        for (QAction *action : menu->actions())
            entries.append(action->isSeparator() ? QStringLiteral("-") : action->text());
        QCOMPARE(entries, (QStringList{"Cut", "Copy", "Paste", "-", "Select All", "-", "Execute", "Execute Line",
                                       "Execute All", "-", "Save Script to Shelf", "-", "Quick Help",
                                       "Command Reference"}));
        QCOMPARE(menu->actions().at(6)->shortcut(), QKeySequence(QStringLiteral("Ctrl+Return")));
        QCOMPARE(menu->actions().at(7)->shortcut(), QKeySequence(QStringLiteral("Ctrl+Alt+L")));
        QSignalSpy executeLine(editor.get(), &CodeEditor::ExecuteLineRequested);
        menu->actions().at(7)->trigger();
        QCOMPARE(executeLine.count(), 1);
    }

    void settingsRefresh()
    {
        ke2::test::SettingsGuard guard;
        Settings &settings = Settings::instance();
        settings.tabsUseDefaultsMel = false;
        settings.tabsSizeMel = 2;
        settings.tabsInsertSpacesMel = false;
        settings.renderWhitespace = settings.wordWrapEnabled = true;
        auto mel = makeEditor(LANGUAGE_MEL, QString());
        auto python = makeEditor(LANGUAGE_PYTHON, QString());
        QCOMPARE(mel->TabSize(), 2);
        QVERIFY(!mel->InsertSpaces());
        QCOMPARE(python->TabSize(), 4); // the Python defaults are still in force
        QTextOption option = mel->document()->defaultTextOption();
        QCOMPARE(option.flags() & (QTextOption::ShowTabsAndSpaces | QTextOption::ShowLineAndParagraphSeparators),
                 QTextOption::ShowTabsAndSpaces);
        QCOMPARE(option.wrapMode(), QTextOption::WordWrap);
        QCOMPARE(option.tabStopDistance(), qreal(mel->fontMetrics().horizontalAdvance(QLatin1Char(' ')) * 2));
        settings.renderWhitespace = settings.wordWrapEnabled = false;
        mel->UpdateSettings();
        option = mel->document()->defaultTextOption();
        QVERIFY(!(option.flags() & QTextOption::ShowTabsAndSpaces));
        QCOMPARE(option.wrapMode(), QTextOption::NoWrap);
    }

    void colorsComeFromTheScheme()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QString());
        ColorRoleTable &roles = ColorScheme::instance().codeEditorRoles;
        const QTextCharFormat plain = roles.format(QString::fromLatin1(ColorRoleName::plainText));
        QCOMPARE(editor->palette().color(QPalette::Base), plain.background().color());
        QCOMPARE(editor->viewport()->palette().color(QPalette::Inactive, QPalette::Text), plain.foreground().color());
        // An undefined role switches its decoration off instead of falling back to a colour.
        const ColorRole currentLine = roles.roles.take(QString::fromLatin1(ColorRoleName::currentLine));
        editor->UpdateExtraSelections();
        roles.roles.insert(currentLine.name, currentLine);
        for (const QTextEdit::ExtraSelection &selection : editor->extraSelections())
            QVERIFY(!selection.format.boolProperty(QTextFormat::FullWidthSelection));
    }

    void findScopeAndMatchesFollowEdits()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, QStringLiteral("|a = b + b\nb = 2"));
        editor->SetFindScope(4, 9);
        editor->SetFindRegex(QRegularExpression(QStringLiteral("b")));
        QCOMPARE(ke2::test::selectionsWithRole(*editor, ColorRoleName::findReplaceMatching), (QVector<int>{4, 8, 10}));
        typeKeys(*editor, QStringLiteral("xy"));
        QCOMPARE(editor->FindScopeStart(), 6);
        QCOMPARE(editor->FindScopeEnd(), 11);
        QTextCursor cursor = editor->textCursor(); // an edit inside the scope moves only its end
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
        QCOMPARE(quickHelp.value(0), (QVariantList{QStringLiteral("polySphere"), false}));
        editor->undo();
        QCOMPARE(editor->toPlainText(), QStringLiteral("poly;"));
        // A setting off, or a prefix longer than the text: no quick help.
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
