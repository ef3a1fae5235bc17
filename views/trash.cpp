#include "views/trash.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>

#if defined(Q_OS_UNIX) && !defined(Q_OS_MACOS)
#include <sys/stat.h>
#include <cstdio>
#define KE2_XDG_TRASH 1
#endif

namespace ke2::Trash {

QString XdgDirectory()
{
    const QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    if (!dataHome.isEmpty() && QDir::isAbsolutePath(dataHome))
        return QDir::cleanPath(dataHome) + QStringLiteral("/Trash");
    // A relative value is ignored, as the XDG rules say; so is a home that is not a path.
    const QString home = qEnvironmentVariable("HOME");
    if (home.isEmpty() || !QDir::isAbsolutePath(home))
        return QString();
    return QDir::cleanPath(home) + QStringLiteral("/.local/share/Trash");
}

#ifdef KE2_XDG_TRASH
namespace {

bool sameDevice(const QString &a, const QString &b)
{
    struct stat first {}, second {};
    return ::lstat(QFile::encodeName(a).constData(), &first) == 0
           && ::stat(QFile::encodeName(b).constData(), &second) == 0 && first.st_dev == second.st_dev;
}

// The trash's two folders, made private when they are made.
bool makeFolder(const QString &path)
{
    if (QFileInfo(path).isDir())
        return true;
    return QDir().mkpath(path)
           && QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

} // namespace

bool Move(const QString &path)
{
    const QString trash = XdgDirectory();
    const QFileInfo source(path);
    if (trash.isEmpty() || (!source.exists() && !source.isSymLink()))
        return false;
    if (!makeFolder(trash) || !makeFolder(trash + QStringLiteral("/files")) || !makeFolder(trash + QStringLiteral("/info")))
        return false;
    // A rename only: a copy across disks would be a second, slower delete that can fail half-way.
    const QString absolute = source.absoluteFilePath();
    if (!sameDevice(absolute, trash))
        return false;
    const QString base = source.fileName();
    for (int n = 1; n < 10000; ++n) {
        const QString name = n == 1 ? base : QStringLiteral("%1.%2").arg(base, QString::number(n));
        QFile info(QStringLiteral("%1/info/%2.trashinfo").arg(trash, name));
        // The info file is the claim on the name: made exclusively, before the move.
        if (!info.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
            if (info.exists())
                continue;
            return false;
        }
        const QByteArray text = "[Trash Info]\nPath=" + QUrl::toPercentEncoding(absolute, "/") + "\nDeletionDate="
                                + QDateTime::currentDateTime().toString(Qt::ISODate).toLatin1() + '\n';
        const bool written = info.write(text) == text.size() && info.flush();
        info.close();
        const QString target = QStringLiteral("%1/files/%2").arg(trash, name);
        if (!written) {
            info.remove();
            return false;
        }
        if (QFileInfo::exists(target) || QFileInfo(target).isSymLink()) {
            info.remove();
            continue;
        }
        if (std::rename(QFile::encodeName(absolute).constData(), QFile::encodeName(target).constData()) == 0)
            return true;
        info.remove();
        return false;
    }
    return false;
}
#else
bool Move(const QString &path)
{
    return QFile::moveToTrash(path);
}
#endif

} // namespace ke2::Trash
