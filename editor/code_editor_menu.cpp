// The context menu and the word-under-cursor requests.
#include "editor/code_editor.h"

#include "config/key_bindings.h"

#include <QtWidgets/QMenu>

#include <memory>

namespace ke2 {

void CodeEditor::ShowContextMenu(const QPoint &pos)
{
    std::unique_ptr<QMenu> menu(CreateContextMenu());
    // The request comes in viewport coordinates (the line-number margin lies outside them).
    menu->exec(viewport()->mapToGlobal(pos));
}

QMenu *CodeEditor::CreateContextMenu()
{
    auto *menu = new QMenu(this);
    // Each entry shows the key currently bound to the action of the same name.
    auto add = [&](const char *identifier, const QString &text, auto slot) {
        QAction *action = menu->addAction(text, this, slot);
        const ActionBinding *binding = KeyBindings::instance().find(QString::fromLatin1(identifier));
        if (binding && binding->hasShortcut())
            action->setShortcut(binding->shortcuts.first());
        return action;
    };
    add("cut", QStringLiteral("Cut"), &CodeEditor::CustomCut);
    add("copy", QStringLiteral("Copy"), &CodeEditor::CustomCopy);
    add("paste", QStringLiteral("Paste"), &CodeEditor::CustomPaste);
    menu->addSeparator();
    add("selectAll", QStringLiteral("Select All"), &CodeEditor::selectAll);
    menu->addSeparator();
    add("execute", QStringLiteral("Execute"), &CodeEditor::Execute);
    add("executeLine", QStringLiteral("Execute Line"), &CodeEditor::ExecuteLine);
    add("executeAll", QStringLiteral("Execute All"), &CodeEditor::ExecuteAll);
    menu->addSeparator();
    add("saveScriptToShelf", QStringLiteral("Save Script to Shelf"), &CodeEditor::SaveScriptToShelf);
    menu->addSeparator();
    add("quickHelp", QStringLiteral("Quick Help"), &CodeEditor::QuickHelp);
    add("commandReference", QStringLiteral("Command Reference"), &CodeEditor::CommandDocumentation);
    return menu;
}

QString CodeEditor::WordUnderCursor() const
{
    QTextCursor cursor = textCursor();
    if (cursor.hasSelection())
        return cursor.selectedText().trimmed();
    cursor.select(QTextCursor::WordUnderCursor);
    return cursor.selectedText();
}

void CodeEditor::QuickHelp()
{
    emit QuickHelpChanged(WordUnderCursor(), true);
}

void CodeEditor::CommandDocumentation()
{
    const QString word = WordUnderCursor();
    if (!word.isEmpty())
        emit CommandDocumentationRequested(word);
}

} // namespace ke2
