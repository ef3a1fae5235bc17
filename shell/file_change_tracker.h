#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ke2 {

// Tells the window's own saves from other programs' changes. The watcher reports both, and
// late: a notification for our own save may arrive after the check that should have swallowed
// it. So besides the paths written since the last check, the tracker remembers what each file
// looked like (size and modification time) when the window last wrote or read it, and a change
// counts as outside only when the file no longer looks like that.
class FileChangeTracker {
public:
    // After the window wrote `path` (or read it again): its current look is ours.
    void AddOwnWrite(const QString &path);
    // The file is no longer open.
    void Forget(const QString &path);
    // A watcher notification; each path is kept once.
    void AddChangedPath(const QString &path);

    const QStringList &ChangedPaths() const { return m_changed; }
    const QStringList &OwnWrites() const { return m_ownWrites; }
    // The changed paths that another program changed, in the order reported; clears both lists.
    QStringList TakeOutsideChanges();
    void Clear();

private:
    struct Stamp {
        qint64 size = -1;
        QDateTime modified;
        bool operator==(const Stamp &other) const { return size == other.size && modified == other.modified; }
    };
    static Stamp StampOf(const QString &path);

    QStringList m_changed;
    QStringList m_ownWrites;
    QHash<QString, Stamp> m_known;
};

} // namespace ke2
