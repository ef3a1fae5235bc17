#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDebug>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QString>

namespace ke2::test {

// The whole file; empty when it cannot be read.
inline QByteArray readFile(const QString &path)
{
    QFile in(path);
    return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
}

inline bool writeFile(const QString &path, const QByteArray &content)
{
    QFile out(path);
    return out.open(QIODevice::WriteOnly | QIODevice::Truncate) && out.write(content) == content.size();
}

// A stand-in program: a shell script that runs `body`, executable by its owner.
inline bool writeScript(const QString &path, const QByteArray &body)
{
    return writeFile(path, "#!/bin/sh\n" + body + '\n')
           && QFile::setPermissions(path, QFile::permissions(path) | QFileDevice::ExeOwner | QFileDevice::ExeUser);
}

#ifdef KE2_TEST_DATA_DIR
// A relative name is looked up in the test area's data folder (tests/<area>/data).
inline QString dataPath(const QString &name)
{
    return QFileInfo(name).isRelative() ? QStringLiteral(KE2_TEST_DATA_DIR "/") + name : name;
}

inline QByteArray readData(const QString &name)
{
    return readFile(dataPath(name));
}

// Compares `actual` with the reference file `name` and names the first line that differs;
// KE2_REGENERATE_GOLDEN=1 rewrites the reference instead (review the diff before committing).
inline bool matchesGolden(const QByteArray &actual, const QString &name)
{
    const QString path = dataPath(name);
    if (qEnvironmentVariableIntValue("KE2_REGENERATE_GOLDEN") == 1)
        return writeFile(path, actual);
    QFile in(path);
    if (!in.open(QIODevice::ReadOnly)) {
        qWarning().noquote() << "no reference file" << path;
        return false;
    }
    const QByteArray expected = in.readAll();
    if (actual == expected)
        return true;
    const QList<QByteArray> a = actual.split('\n'), e = expected.split('\n');
    int line = 0;
    while (line < a.size() && line < e.size() && a.at(line) == e.at(line))
        ++line;
    qWarning().noquote() << QStringLiteral("%1 differs at line %2:\n  expected: %3\n  actual:   %4")
                                .arg(path)
                                .arg(line + 1)
                                .arg(QString::fromUtf8(e.value(line, "<end of file>")),
                                     QString::fromUtf8(a.value(line, "<end of output>")));
    return false;
}
#endif

} // namespace ke2::test
