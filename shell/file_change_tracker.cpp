#include "shell/file_change_tracker.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <utility>

namespace ke2 {

FileChangeTracker::Stamp FileChangeTracker::StampOf(const QString &path, bool withHash)
{
    const QFileInfo info(path);
    Stamp stamp;
    // A file that cannot be looked at (a folder without search permission) tells nothing.
    if (!info.exists() || !info.lastModified().isValid())
        return stamp;
    stamp.size = info.size();
    stamp.modified = info.lastModified();
    stamp.taken = QDateTime::currentDateTime();
    if (withHash) {
        QFile file(path);
        QCryptographicHash hash(QCryptographicHash::Sha1);
        if (file.open(QIODevice::ReadOnly) && hash.addData(&file))
            stamp.hash = hash.result();
    }
    return stamp;
}

bool FileChangeTracker::Same(const Stamp &known, const QString &path)
{
    const Stamp now = StampOf(path, false);
    if (now.size < 0 || known.size < 0)
        return true; // nothing to compare: not a change anyone could see
    if (now.size != known.size)
        return false;
    if (now.modified == known.modified && known.modified.msecsTo(known.taken) > 2000)
        return true;
    return !known.hash.isEmpty() && StampOf(path, true).hash == known.hash;
}

void FileChangeTracker::AddOwnWrite(const QString &path)
{
    if (!m_ownWrites.contains(path))
        m_ownWrites.append(path);
    m_known.insert(path, StampOf(path, true));
    m_dismissed.remove(path);
}

void FileChangeTracker::Forget(const QString &path)
{
    m_known.remove(path);
    m_dismissed.remove(path);
    m_changed.removeAll(path);
    m_ownWrites.removeAll(path);
}

void FileChangeTracker::AddChangedPath(const QString &path)
{
    if (!m_changed.contains(path))
        m_changed.append(path);
}

bool FileChangeTracker::ChangedOutside(const QString &path) const
{
    const auto known = m_known.constFind(path);
    if (known == m_known.constEnd() || !QFileInfo::exists(path))
        return false;
    return !Same(*known, path);
}

void FileChangeTracker::Dismiss(const QString &path)
{
    m_dismissed.insert(path, StampOf(path, true));
}

bool FileChangeTracker::Dismissed(const QString &path) const
{
    const auto dismissed = m_dismissed.constFind(path);
    return dismissed != m_dismissed.constEnd() && Same(*dismissed, path);
}

QStringList FileChangeTracker::TakeOutsideChanges()
{
    QStringList outside;
    for (const QString &path : std::as_const(m_changed)) {
        const bool ours = m_known.contains(path) ? !ChangedOutside(path) : m_ownWrites.contains(path);
        if (!ours)
            outside.append(path);
    }
    Clear();
    return outside;
}

void FileChangeTracker::Clear()
{
    m_changed.clear();
    m_ownWrites.clear();
}

} // namespace ke2
