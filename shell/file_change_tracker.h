#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ke2 {

// Tells the window's own saves from other programs' changes. The watcher reports both, and
// late: a notification for our own save may arrive after the check that should have swallowed
// it. So the tracker remembers what each file looked like (size, modification time and a hash
// of its bytes) when the window last read or wrote it, and a file counts as changed outside
// only when it no longer looks like that. A time that moved over the same bytes is no change.
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
    // Whether the file on disk is no longer what the window last read or wrote. A file the
    // window never read, or one that is gone, is not changed.
    bool ChangedOutside(const QString &path) const;
    // The user kept the editor's text over the file as it is now: asking again about this
    // same state of the file is left to the next save.
    void Dismiss(const QString &path);
    bool Dismissed(const QString &path) const;
    // The changed paths that another program changed, in the order reported; clears both lists.
    QStringList TakeOutsideChanges();
    void Clear();

private:
    struct Stamp {
        qint64 size = -1;
        QDateTime modified;
        QByteArray hash;
        QDateTime taken; // when the look was taken
    };
    static Stamp StampOf(const QString &path, bool withHash);
    // Same size and time, or same bytes. A time close to when the look was taken proves nothing
    // (a second write within the clock's step keeps it), so the bytes decide then.
    static bool Same(const Stamp &known, const QString &path);

    QStringList m_changed;
    QStringList m_ownWrites;
    QHash<QString, Stamp> m_known;
    QHash<QString, Stamp> m_dismissed;
};

} // namespace ke2
