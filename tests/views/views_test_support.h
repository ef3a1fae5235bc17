#pragma once

#include "config/settings.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

namespace ke2::test {

// A redirected preferences folder with a fake host that records messages, and settings back at
// their defaults, for the lifetime of the object.
struct ViewsFixture {
    TempPrefs prefs;
    FakeHost host;
    Host *previous = HostBridge::host();
    ViewsFixture()
    {
        prefs.attach(host);
        HostBridge::setHost(&host);
        Settings::instance() = Settings();
    }
    ~ViewsFixture()
    {
        HostBridge::setHost(previous);
        Settings::instance() = Settings();
    }
    // Warnings and errors shown, without the message prefix.
    QStringList messages() const
    {
        QStringList texts = host.texts(FakeHost::Kind::Warning) + host.texts(FakeHost::Kind::Error);
        for (QString &text : texts)
            text.remove(HostBridge::messagePrefix());
        return texts;
    }
};

inline QByteArray readViewsData(const QString &name)
{
    QFile in(QStringLiteral(KE2_TEST_DATA_DIR "/") + name);
    return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
}

// Compares `actual` with tests/views/data/<name>; KE2_REGENERATE_GOLDEN=1 rewrites the reference
// instead (review the diff before committing).
inline bool matchesViewsGolden(const QByteArray &actual, const QString &name)
{
    const QString path = QStringLiteral(KE2_TEST_DATA_DIR "/") + name;
    if (qEnvironmentVariableIntValue("KE2_REGENERATE_GOLDEN") == 1) {
        QFile out(path);
        return out.open(QIODevice::WriteOnly | QIODevice::Truncate) && out.write(actual) == actual.size();
    }
    if (actual == readViewsData(name))
        return true;
    qWarning().noquote() << "differs from" << name << "\n--- actual ---\n" << actual;
    return false;
}

inline bool writeFile(const QString &path, const QByteArray &content)
{
    QFile out(path);
    return out.open(QIODevice::WriteOnly | QIODevice::Truncate) && out.write(content) == content.size();
}

inline QByteArray readFile(const QString &path)
{
    QFile in(path);
    return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
}

} // namespace ke2::test
