#include "language/mel_command_catalog.h"

#include "config/user_directories.h"
#include "language/mel_procedure_index.h"
#include "plugin/host.h"
#include "plugin/host_bridge.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>
#include <QtCore/QSaveFile>

namespace ke2 {

namespace {
bool hostHasMel()
{
    Host *host = HostBridge::host();
    return host && host->hasFeature(Host::Feature::Mel);
}
} // namespace

MelCommandCatalog &MelCommandCatalog::instance()
{
    static MelCommandCatalog catalog;
    return catalog;
}

void MelCommandCatalog::Reset()
{
    Forget(-1);
}

void MelCommandCatalog::Forget(int generation)
{
    Flush();
    ++m_revision;
    m_generation = generation;
    m_commands.clear();
    m_otherNames.clear();
    m_syntax.clear();
    m_helpTexts.clear();
    m_whatIsKnown.clear();
    m_unsourcedScripts.clear();
    m_diskLoaded = false;
    m_dirty = false;
    m_cacheFile.clear();
}

void MelCommandCatalog::Sync()
{
    const int generation = HostBridge::melListsGeneration();
    if (generation == m_generation)
        return;
    Forget(generation);
    for (const QString &name : HostBridge::melCommands()) {
        if (!name.isEmpty())
            m_commands.insert(name);
    }
    for (const QStringList &list : {HostBridge::melRunTimeCommands(), HostBridge::melProcedures()}) {
        for (const QString &name : list) {
            if (!name.isEmpty())
                m_otherNames.insert(name);
        }
    }
}

bool MelCommandCatalog::KnowsCommands() const
{
    const_cast<MelCommandCatalog *>(this)->Sync();
    return hostHasMel() && !m_commands.isEmpty();
}

bool MelCommandCatalog::IsCommand(const QString &name)
{
    Sync();
    return m_commands.contains(name);
}

bool MelCommandCatalog::IsKnownName(const QString &name)
{
    Sync();
    if (m_commands.contains(name) || m_otherNames.contains(name) || MelProcedureIndex::instance().Defines(name))
        return true;
    auto found = m_whatIsKnown.constFind(name);
    if (found != m_whatIsKnown.constEnd())
        return *found;
    // Only the host's own "Unknown" makes a name unknown; a query that fails proves nothing.
    const QString kind = HostBridge::melWhatIs(name);
    const bool known = kind != QLatin1String("Unknown");
    m_whatIsKnown.insert(name, known);
    if (kind.startsWith(QLatin1String("Script")))
        m_unsourcedScripts.insert(name);
    return known;
}

int MelCommandCatalog::SyntaxRevision()
{
    Sync();
    return hostHasMel() ? m_revision : -1;
}

bool MelCommandCatalog::IsUnsourcedScript(const QString &name)
{
    return m_unsourcedScripts.contains(name);
}

void MelCommandCatalog::ForgetUnknownNames()
{
    // A script sourced since may have defined what it was expected to.
    for (const QString &name : qAsConst(m_unsourcedScripts))
        m_whatIsKnown.remove(name);
    m_unsourcedScripts.clear();
    for (auto it = m_whatIsKnown.begin(); it != m_whatIsKnown.end();) {
        if (!it.value())
            it = m_whatIsKnown.erase(it);
        else
            ++it;
    }
}

const MelCommandSyntax *MelCommandCatalog::CommandSyntax(const QString &name)
{
    Sync();
    if (!hostHasMel() || !m_commands.contains(name))
        return nullptr;
    auto found = m_syntax.constFind(name);
    if (found != m_syntax.constEnd())
        return found->get();
    LoadDiskCache();
    QString help;
    auto cached = m_helpTexts.constFind(name);
    if (cached != m_helpTexts.constEnd()) {
        help = *cached;
    } else {
        help = HostBridge::melSyntaxHelp(name);
        m_helpTexts.insert(name, help);
        m_dirty = true;
    }
    const auto syntax = std::make_shared<const MelCommandSyntax>(MelCommandSyntax::FromHelpText(help));
    m_syntax.insert(name, syntax);
    return syntax.get();
}

QString MelCommandCatalog::CacheFile()
{
    if (!m_cacheFile.isNull())
        return m_cacheFile;
    m_cacheFile = QStringLiteral(""); // asked once per host: not null any more
    const QString version = HostBridge::hostVersion();
    const QString folder = UserDirectories::configDirectory();
    if (version.isEmpty() || folder.isEmpty())
        return m_cacheFile;
    QString safe = version;
    safe.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9._-]")), QStringLiteral("_"));
    m_cacheFile = QStringLiteral("%1/melSyntax-%2.json").arg(folder, safe);
    return m_cacheFile;
}

void MelCommandCatalog::LoadDiskCache()
{
    if (m_diskLoaded)
        return;
    m_diskLoaded = true;
    const QString path = CacheFile();
    if (path.isEmpty())
        return;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QJsonObject commands = QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("commands")).toObject();
    for (auto it = commands.begin(); it != commands.end(); ++it) {
        if (!m_helpTexts.contains(it.key()))
            m_helpTexts.insert(it.key(), it.value().toString());
    }
}

void MelCommandCatalog::Flush()
{
    if (!m_dirty)
        return;
    m_dirty = false;
    const QString path = CacheFile();
    if (path.isEmpty())
        return;
    QJsonObject commands;
    for (auto it = m_helpTexts.constBegin(); it != m_helpTexts.constEnd(); ++it)
        commands.insert(it.key(), it.value());
    QJsonObject root;
    root.insert(QStringLiteral("hostVersion"), HostBridge::hostVersion());
    root.insert(QStringLiteral("commands"), commands);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write(QJsonDocument(root).toJson(QJsonDocument::Compact));
    file.commit();
}

} // namespace ke2
