#pragma once

#include "language/mel_linter.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

#include <memory>

namespace ke2 {

// What the host knows about MEL names, for the linter, flag completion and signature help: its
// commands, run-time commands and procedures (copied from the host's lists into sets), each
// command's flags from "help -so" (asked once per command and session, and kept on disk per host
// version so that the next start asks nothing), and, for a name missing from the lists, the
// host's own "whatIs" (a script on the host's path defines procedures that no list shows yet).
class MelCommandCatalog : public MelNameSource {
public:
    static MelCommandCatalog &instance();

    bool KnowsCommands() const override;
    bool IsKnownName(const QString &name) override;
    const MelCommandSyntax *CommandSyntax(const QString &name) override;
    bool IsUnsourcedScript(const QString &name) override;
    int SyntaxRevision() override;
    bool IsCommand(const QString &name);

    // Code the user ran may have defined names that were unknown: ask the host again.
    void ForgetUnknownNames();
    // Writes the syntax learnt since the last call to the disk cache.
    void Flush();
    // Forgets everything (a new host, or a test); the disk cache stays.
    void Reset();
    // The file of the disk cache for the current host, empty when there is none.
    QString CacheFile();

private:
    void Sync();
    // Drops all the host told, for the lists of `generation`.
    void Forget(int generation);
    void LoadDiskCache();

    int m_generation = -1;
    int m_revision = 0; // counts the times the lists were read or forgotten
    QSet<QString> m_commands;
    QSet<QString> m_otherNames; // run-time commands and procedures
    // Each syntax in a block of its own: the pointers handed out stay valid while the table grows.
    QHash<QString, std::shared_ptr<const MelCommandSyntax>> m_syntax;
    QHash<QString, QString> m_helpTexts; // as the host wrote them: what the disk cache keeps
    QHash<QString, bool> m_whatIsKnown;
    QSet<QString> m_unsourcedScripts; // names whatIs found as script files not sourced yet
    bool m_diskLoaded = false;
    bool m_dirty = false;
    QString m_cacheFile;
};

} // namespace ke2
