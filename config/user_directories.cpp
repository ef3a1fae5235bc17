#include "config/user_directories.h"

#include "plugin/host_bridge.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace ke2 {
namespace {

// A sub-folder of the config directory, created when missing; the path is returned even when
// creating it failed, so that callers see the same path the user is told about.
QString subDirectory(const QString &name, const QString &failureMessage)
{
    const QString config = UserDirectories::configDirectory();
    if (config.isEmpty())
        return QString();
    const QString path = QFileInfo(config + QLatin1Char('/') + name).absoluteFilePath();
    if (!QDir().mkpath(path))
        HostBridge::showError(failureMessage);
    return path;
}

QString fileInConfig(const QString &name)
{
    const QString config = UserDirectories::configDirectory();
    if (config.isEmpty())
        return QString();
    return QFileInfo(config + QLatin1Char('/') + name).absoluteFilePath();
}

} // namespace

QString UserDirectories::configDirectory()
{
    QString prefs = QDir::fromNativeSeparators(HostBridge::userPrefDir());
    if (prefs.isEmpty()) {
        HostBridge::showError(QStringLiteral("Failed to retrieve Maya prefs directory"));
        return QString();
    }
    if (!prefs.endsWith(QLatin1Char('/')))
        prefs += QLatin1Char('/');
    const QString path = QFileInfo(QStringLiteral("%1%2").arg(prefs, folderName())).absoluteFilePath();
    if (!QDir().mkpath(path))
        HostBridge::showError(QStringLiteral("Failed to create user config directory"));
    return path;
}

QString UserDirectories::settingsFile()
{
    return fileInConfig(settingsFileName());
}

QString UserDirectories::colorsFile()
{
    return fileInConfig(colorsFileName());
}

QString UserDirectories::bindingsFile()
{
    return fileInConfig(bindingsFileName());
}

QString UserDirectories::internalBufferDirectory()
{
    return subDirectory(QStringLiteral("internalBuffers"),
                        QStringLiteral("Failed to create internal buffer directory"));
}

QString UserDirectories::tempDirectory()
{
    return subDirectory(QStringLiteral("temp"), QStringLiteral("Failed to create temp directory"));
}

QString UserDirectories::workspacesDirectory()
{
    return subDirectory(QStringLiteral("workspaces"), QStringLiteral("Failed to create workspaces directory"));
}

QString UserDirectories::defaultWorkspaceFile()
{
    const QString workspaces = workspacesDirectory();
    if (workspaces.isEmpty())
        return QString();
    return QStringLiteral("%1/%2%3").arg(workspaces, QStringLiteral("default"), QStringLiteral(".ke2-workspace"));
}

} // namespace ke2
