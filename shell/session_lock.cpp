#include "shell/session_lock.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QLockFile>

namespace ke2 {

namespace {

const char lockName[] = "session.lock";

// A lock whose owner is gone (killed, crashed) is taken over, as the settings file's lock is.
std::unique_ptr<QLockFile> tryTake(const QString &path)
{
    auto lock = std::make_unique<QLockFile>(path);
    lock->setStaleLockTime(0); // never stale by age: a long session keeps its lock
    if (lock->tryLock(0))
        return lock;
    qint64 pid = 0;
    QString host, application;
    if (lock->error() == QLockFile::LockFailedError && !lock->getLockInfo(&pid, &host, &application)) {
        // An owner killed between creating the file and writing itself into it.
        lock->removeStaleLockFile();
        if (lock->tryLock(0))
            return lock;
    }
    return nullptr;
}

} // namespace

SessionLock::SessionLock(const QString &bufferDirectory) : m_shared(bufferDirectory), m_directory(bufferDirectory)
{
    if (bufferDirectory.isEmpty())
        return;
    m_lock = tryTake(QStringLiteral("%1/%2").arg(bufferDirectory, QLatin1String(lockName)));
    if (m_lock)
        return;
    const QFileInfo shared(QStringLiteral("%1/%2").arg(bufferDirectory, QLatin1String(lockName)));
    if (!shared.exists())
        return; // the folder cannot hold a lock: one session is all it can serve anyway
    m_primary = false;
    const QString own = QStringLiteral("%1/session_%2").arg(bufferDirectory, QString::number(QCoreApplication::applicationPid()));
    if (QDir().mkpath(own)) {
        m_lock = tryTake(QStringLiteral("%1/%2").arg(own, QLatin1String(lockName)));
        m_directory = own;
    }
}

SessionLock::~SessionLock() = default;

bool SessionLock::IsBufferFileName(const QString &name)
{
    return name.startsWith(QLatin1String("melBuffer_")) || name.startsWith(QLatin1String("pythonBuffer_"))
           || name.startsWith(QLatin1String("textBuffer_"));
}

QStringList SessionLock::AdoptEndedSessions()
{
    QStringList adopted;
    if (!m_primary || m_shared.isEmpty())
        return adopted;
    const QDir shared(m_shared);
    for (const QString &folder : shared.entryList({QStringLiteral("session_*")}, QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString path = shared.filePath(folder);
        const std::unique_ptr<QLockFile> ended = tryTake(QStringLiteral("%1/%2").arg(path, QLatin1String(lockName)));
        if (!ended)
            continue; // still running
        const QDir dir(path);
        for (const QString &name : dir.entryList(QDir::Files | QDir::Hidden)) {
            if (name == QLatin1String(lockName))
                continue;
            const QString target = shared.filePath(name);
            // A name already taken stays where it is, found again next time rather than lost.
            if (!QFileInfo::exists(target) && QFile::rename(dir.filePath(name), target))
                adopted << target;
        }
        ended->unlock();
        shared.rmdir(folder);
    }
    return adopted;
}

QStringList SessionLock::UnlistedBuffers(const QStringList &listed) const
{
    QStringList unlisted;
    if (!m_primary || m_shared.isEmpty())
        return unlisted;
    const QDir shared(m_shared);
    for (const QString &name : shared.entryList(QDir::Files, QDir::Name)) {
        const QString path = shared.filePath(name);
        if (IsBufferFileName(name) && !listed.contains(path))
            unlisted << path;
    }
    return unlisted;
}

} // namespace ke2
