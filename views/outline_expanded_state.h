#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ke2 {

// Which outline entries are expanded, per file, for the whole process: every outline view reads
// and updates the same table, so a file shows its entries as the user left them whichever view
// shows it. An entry is identified by its text path (the parents' texts, then its own).
//
// The table lives in the settings' "outlineState" bytes: it is read from there on first use and
// written back into the record on every change, so the next settings write keeps it.
class OutlineExpandedState {
public:
    static OutlineExpandedState &instance();

    QSet<QString> Expanded(const QString &filePath);
    // An empty set forgets the file.
    void SetExpanded(const QString &filePath, const QSet<QString> &entries);
    // One key for a text path.
    static QString Key(const QStringList &textPath);

    // The stored form; a damaged or foreign byte array restores nothing.
    QByteArray Serialize() const;
    void Restore(const QByteArray &bytes);
    void Clear();

    // Files remembered at most; the least recently changed go first.
    static constexpr int maximumFiles = 200;

private:
    void LoadOnce();

    QHash<QString, QSet<QString>> m_expanded;
    QStringList m_order; // least recently changed first
    bool m_loaded = false;
};

} // namespace ke2
