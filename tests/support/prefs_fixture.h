#pragma once

#include "config/settings.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_files.h"

#include <QtCore/QDir>

namespace ke2::test {

// A redirected preferences folder with a fake host answering for it, installed as the active
// host, and the settings at their defaults, for the lifetime of the object.
struct PrefsFixture {
    TempPrefs prefs;
    FakeHost host;
    ScopedHost active{&host};
    PrefsFixture()
    {
        prefs.attach(host);
        Settings::instance() = Settings();
    }
    ~PrefsFixture() { Settings::instance() = Settings(); }
    // A file in the plug-in's configuration folder.
    QString file(const QString &name) const { return prefs.configDir() + QLatin1Char('/') + name; }
    bool put(const QString &name, const QByteArray &content) const
    {
        QDir().mkpath(prefs.configDir());
        return writeFile(file(name), content);
    }
    QByteArray get(const QString &name) const { return readFile(file(name)); }
    // Warnings and errors shown, without the message prefix.
    QStringList messages() const
    {
        QStringList texts = host.texts(FakeHost::Kind::Warning) + host.texts(FakeHost::Kind::Error);
        for (QString &text : texts)
            text.remove(HostBridge::messagePrefix());
        return texts;
    }
};

// What `record` writes into an empty configuration folder: every value it holds, in file order.
template <typename Record>
QByteArray writtenAlone(const PrefsFixture &fixture, const QString &name, const Record &record)
{
    QFile::remove(fixture.file(name));
    record.write();
    return fixture.get(name);
}

} // namespace ke2::test
