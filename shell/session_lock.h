#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

class QLockFile;

namespace ke2 {

// Two sessions of one user (two Maya sessions sharing a preferences folder) must never write the
// same internal buffer or recovery copy. The first session takes the lock of the internal buffer
// folder and works in it; a session that starts while the lock is held works in a folder of its
// own inside it ("session_<process id>", locked by that session). When a session has ended, the
// next first session takes its files back into the shared folder, so nothing it left is lost.
class SessionLock {
public:
    // `bufferDirectory`: the shared internal buffer folder.
    explicit SessionLock(const QString &bufferDirectory);
    ~SessionLock();
    SessionLock(const SessionLock &) = delete;
    SessionLock &operator=(const SessionLock &) = delete;

    // Whether this session holds the shared folder (also true when no lock can be taken at all,
    // as in a folder that cannot be written: there is nothing to protect then).
    bool IsPrimary() const { return m_primary; }
    // Where this session's buffers and recovery copies live.
    const QString &Directory() const { return m_directory; }
    const QString &SharedDirectory() const { return m_shared; }

    // Moves the files of ended sessions into the shared folder; returns their new paths. Only
    // the first session does this.
    QStringList AdoptEndedSessions();
    // The buffer files of the shared folder that are not in `listed` (absolute paths), for the
    // first session to offer back.
    QStringList UnlistedBuffers(const QStringList &listed) const;

    static bool IsBufferFileName(const QString &name);

private:
    QString m_shared;
    QString m_directory;
    bool m_primary = true;
    std::unique_ptr<QLockFile> m_lock;
};

} // namespace ke2
