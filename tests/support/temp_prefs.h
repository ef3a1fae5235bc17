#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

namespace ke2::test {

class FakeHost;

// Redirects the preferences directory into a fresh temporary directory for the lifetime of the
// object: KE2_PREFS_DIR points there (the standalone host's root), and a FakeHost given to
// `attach` answers "internalVar -userPrefDir" with its "prefs/" folder. The previous environment
// comes back on destruction.
class TempPrefs {
public:
    TempPrefs();
    ~TempPrefs();
    TempPrefs(const TempPrefs &) = delete;
    TempPrefs &operator=(const TempPrefs &) = delete;

    bool isValid() const { return m_dir.isValid(); }
    QString root() const { return m_dir.path(); }
    // Maya's user preferences directory as the host reports it: with a trailing slash.
    QString userPrefDir() const { return m_dir.path() + QStringLiteral("/prefs/"); }
    // The plug-in's own folder under it.
    QString configDir() const { return m_dir.path() + QStringLiteral("/prefs/kestrelEditor2"); }

    void attach(FakeHost &host) const;

private:
    QTemporaryDir m_dir;
    QByteArray m_previous;
    bool m_hadPrevious = false;
};

} // namespace ke2::test
