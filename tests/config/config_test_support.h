#pragma once

#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

#include <memory>

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

inline QByteArray readData(const QString &name)
{
    QFile in(QStringLiteral(KE2_TEST_DATA_DIR "/") + name);
    return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
}

// Compares `actual` with the reference file tests/config/data/<name>. With KE2_REGENERATE_GOLDEN=1
// in the environment the reference is rewritten instead (review the diff before committing).
inline bool matchesGolden(const QByteArray &actual, const QString &name)
{
    const QString path = QStringLiteral(KE2_TEST_DATA_DIR "/") + name;
    if (qEnvironmentVariableIntValue("KE2_REGENERATE_GOLDEN") == 1) {
        QFile out(path);
        return out.open(QIODevice::WriteOnly | QIODevice::Truncate) && out.write(actual) == actual.size();
    }
    const QByteArray expected = readData(name);
    if (actual == expected)
        return true;
    qWarning().noquote() << "differs from" << name << "\n--- actual ---\n" << actual;
    return false;
}

// Corrupted contents that every reader must survive: it keeps defaults (or what it could read)
// and neither crashes nor hangs.
inline QVector<QPair<QString, QByteArray>> corruptContents(const QByteArray &goodFile)
{
    QVector<QPair<QString, QByteArray>> cases;
    cases.append({QStringLiteral("empty"), QByteArray()});
    cases.append({QStringLiteral("truncated half-way"), goodFile.left(goodFile.size() / 2)});
    cases.append({QStringLiteral("truncated mid-line"), goodFile.left(goodFile.indexOf('=', goodFile.size() / 3) + 1)});
    QByteArray random;
    quint32 state = 0x2545F491u; // fixed seed: the same bytes on every run
    for (int i = 0; i < 64 * 1024; ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        random.append(char(state & 0xFF));
    }
    cases.append({QStringLiteral("random bytes"), random});
    cases.append({QStringLiteral("nul bytes"), QByteArray(4096, '\0')});
    cases.append({QStringLiteral("non-UTF-8 text"), QByteArray("[main]\n\xff\xfe\xc3(=\xe9\xe8\n[\xff\xff]\nkey=\xc3\x28\xa0\xa1\n")});
    cases.append({QStringLiteral("unbalanced brackets and quotes"),
                  QByteArray("[main\n=\n==\n[]]\nx=\"unterminated\n[preferences]\\\n@=@Rect(\n@ByteArray(\n")});
    // A forged variant announcing a list of about four billion strings.
    cases.append({QStringLiteral("forged huge variant"),
                  QByteArray("[main]\nrecentFiles=@Variant(\\0\\0\\0\\v\\x7f\\xff\\xff\\xf0)\n"
                             "[user_bindings]\nnewBuffer=@Variant(\\0\\0\\0\\v\\x7f\\xff\\xff\\xf0)\n"
                             "[codeeditor]\nPlain%20Text=@Variant(\\0\\0\\0\\v\\x7f\\xff\\xff\\xf0)\n"
                             "[customhighlighting]\n0=@Variant(\\0\\0\\0\\v\\x7f\\xff\\xff\\xf0)\n")});
    // Larger than any configuration file can be: ignored as a whole rather than parsed.
    cases.append({QStringLiteral("oversized file"), QByteArray("[main]\nrecentFiles=") + QByteArray(9 * 1024 * 1024, 'x')});
    return cases;
}

} // namespace ke2::test
