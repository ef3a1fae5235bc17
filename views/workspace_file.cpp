#include "views/workspace_file.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSaveFile>

namespace ke2 {

QString WorkspaceFile::DialogFilter()
{
    return QStringLiteral("%1;;%2").arg(QStringLiteral("KE2 Workspace (*%1)").arg(Suffix()),
                                        QStringLiteral("All Files(*.*)"));
}

QString WorkspaceFile::Name(const QString &path)
{
    return QFileInfo(path).completeBaseName();
}

WorkspaceFile::ReadResult WorkspaceFile::Read(const QString &path)
{
    ReadResult result;
    QFile file(path);
    if (path.isEmpty() || QFileInfo(path).isDir() || !file.open(QIODevice::ReadOnly)) {
        result.status = ReadStatus::Unreadable;
        return result;
    }
    if (file.size() > maximumFileSize) {
        result.status = ReadStatus::Partial;
        result.problem = QStringLiteral("the file is larger than %1 MB").arg(maximumFileSize / (1024 * 1024));
        return result;
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError) {
        result.status = ReadStatus::Partial;
        result.problem = QStringLiteral("not JSON (%1 at offset %2)").arg(error.errorString()).arg(error.offset);
        return result;
    }
    if (!document.isObject()) {
        result.status = ReadStatus::Partial;
        result.problem = QStringLiteral("not a JSON object");
        return result;
    }
    const QJsonValue folders = document.object().value(QLatin1String("folders"));
    if (folders.isUndefined())
        return result; // an object without folders is an empty workspace
    if (!folders.isArray()) {
        result.status = ReadStatus::Partial;
        result.problem = QStringLiteral("\"folders\" is not a list");
        return result;
    }
    const QJsonArray array = folders.toArray();
    result.folders.reserve(array.size());
    int ignored = 0;
    for (const QJsonValue &value : array) {
        if (value.isString() && !value.toString().isEmpty())
            result.folders.append(value.toString());
        else
            ++ignored;
    }
    if (ignored > 0) {
        result.status = ReadStatus::Partial;
        result.problem = QStringLiteral("%1 entries of \"folders\" are not paths").arg(ignored);
    }
    return result;
}

bool WorkspaceFile::Write(const QString &path, const QStringList &folders, bool keepBackup)
{
    if (path.isEmpty())
        return false;
    if (keepBackup && QFileInfo::exists(path)) {
        const QString backup = path + QStringLiteral(".bak");
        QFile::remove(backup);
        if (!QFile::copy(path, backup))
            return false; // without a copy, replacing the file could lose what the user wrote
    }
    QJsonObject object;
    object.insert(QStringLiteral("folders"), QJsonArray::fromStringList(folders));
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    // The reader drops a U+FEFF that starts a string as if it were a byte-order mark; escaped, it
    // stays. Only strings hold such bytes.
    const QByteArray bytes = QJsonDocument(object).toJson(QJsonDocument::Indented).replace("\xEF\xBB\xBF", "\\ufeff");
    if (out.write(bytes) != bytes.size())
        return false; // never committed: QSaveFile drops the partial copy
    return out.commit();
}

} // namespace ke2
