#pragma once

#include <QtCore/QString>

namespace ke2 {

// The plug-in's folders and files under the host's user preferences directory. Every query is
// recomputed (nothing is cached) so that a folder deleted while the editor runs is created again
// by the next request. Paths are absolute with forward slashes; when the host cannot tell its
// preferences directory, every path is empty and callers skip their file work.
class UserDirectories {
public:
    // <prefs>/kestrelEditor2, created when missing.
    static QString configDirectory();
    // The three INI files; created by their first write.
    static QString settingsFile();
    static QString colorsFile();
    static QString bindingsFile();
    // Sub-folders, created when missing.
    static QString internalBufferDirectory();
    static QString tempDirectory();
    static QString workspacesDirectory();
    // <workspaces>/default.ke2-workspace; not created here (the workspace view writes it).
    static QString defaultWorkspaceFile();

    static QString folderName() { return QStringLiteral("kestrelEditor2"); }
    static QString settingsFileName() { return QStringLiteral("kestrelEditor2.ini"); }
    static QString colorsFileName() { return QStringLiteral("kestrelEditor2_colors.ini"); }
    static QString bindingsFileName() { return QStringLiteral("kestrelEditor2_bindings.ini"); }
};

} // namespace ke2
