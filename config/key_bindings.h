#pragma once

#include "config/action_binding.h"

#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace ke2 {

// The table of every bindable action with its default and current shortcuts, and the user's
// shortcuts file "kestrelEditor2_bindings.ini". The main window attaches its actions and applies
// the shortcuts; the keyboard preferences edit a copy and hand it back.
class KeyBindings {
public:
    static constexpr int count = 93;

    // The built table, current shortcuts = defaults. The standard keys come from the platform, so
    // build it once the GUI application exists.
    KeyBindings();
    static KeyBindings &instance();

    const QVector<ActionBinding> &entries() const { return m_entries; }
    // Null for a number outside 1..count or an unknown identifier.
    ActionBinding *entry(int number);
    const ActionBinding *entry(int number) const;
    ActionBinding *find(const QString &identifier);
    // The current shortcuts of an entry; empty for an unknown number.
    QList<QKeySequence> shortcuts(int number) const;
    // `text` followed by the entry's first current shortcut in parentheses, as tool tips show
    // it; `text` alone when the entry has none.
    QString toolTip(const QString &identifier, const QString &text) const;

    // Attaches the window's action to an entry; false for an unknown number.
    bool setAction(int number, QAction *action);
    void setShortcuts(int number, const QList<QKeySequence> &shortcuts);
    // Gives each attached action its current shortcuts, or none while the window does not want
    // its keys (the host keeps them while the editor is not focused).
    void applyShortcuts(bool enabled = true) const;

    // Starts from the defaults, applies the user's file when there is one, then resolves
    // duplicates.
    void read();
    void write() const;

    // Within the entries that have an action, a key used twice stays with the earlier entry (the
    // fixed entry first of all) and is taken off the later one, with a warning in the host's
    // output. Returns the warnings (without the prefix).
    QStringList detectDuplicates();
    void restoreDefaults();
    void restoreDefaults(const QList<int> &numbers);

    // The stored form of a shortcut list and back.
    static QStringList toFileValue(const QList<QKeySequence> &shortcuts);
    static QList<QKeySequence> fromFileValue(const QStringList &value);

private:
    QVector<ActionBinding> m_entries;
};

} // namespace ke2
