#pragma once

#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

namespace ke2::test {

// A redirected preferences folder with a fake host answering for it, installed as the active host
// for the lifetime of the object.
struct ConfigFixture {
    TempPrefs prefs;
    FakeHost host;
    Host *previous = HostBridge::host();
    ConfigFixture()
    {
        prefs.attach(host);
        HostBridge::setHost(&host);
    }
    ~ConfigFixture() { HostBridge::setHost(previous); }
    QString file(const QString &name) const { return prefs.configDir() + QLatin1Char('/') + name; }
    bool put(const QString &name, const QByteArray &content) const
    {
        QDir().mkpath(prefs.configDir());
        QFile out(file(name));
        return out.open(QIODevice::WriteOnly | QIODevice::Truncate) && out.write(content) == content.size();
    }
    QByteArray get(const QString &name) const
    {
        QFile in(file(name));
        return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
    }
};

// What `record` writes into an empty configuration folder: every value it holds, in file order.
template <typename Record>
QByteArray writtenAlone(const ConfigFixture &fixture, const QString &name, const Record &record)
{
    QFile::remove(fixture.file(name));
    record.write();
    return fixture.get(name);
}

inline QByteArray readData(const QString &name)
{
    QFile in(QStringLiteral(KE2_TEST_DATA_DIR "/") + name);
    return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
}

// Compares `actual` with tests/config/data/<name>; KE2_REGENERATE_GOLDEN=1 rewrites the reference
// instead (review the diff before committing).
inline bool matchesGolden(const QByteArray &actual, const QString &name)
{
    const QString path = QStringLiteral(KE2_TEST_DATA_DIR "/") + name;
    if (qEnvironmentVariableIntValue("KE2_REGENERATE_GOLDEN") == 1) {
        QFile out(path);
        return out.open(QIODevice::WriteOnly | QIODevice::Truncate) && out.write(actual) == actual.size();
    }
    if (actual == readData(name))
        return true;
    qWarning().noquote() << "differs from" << name << "\n--- actual ---\n" << actual;
    return false;
}

} // namespace ke2::test
