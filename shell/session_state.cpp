#include "shell/session_state.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace ke2 {

namespace {

int toInt(const QString &field, bool *ok = nullptr)
{
    bool parsed = false;
    const int value = field.trimmed().toInt(&parsed);
    if (ok)
        *ok = parsed;
    return parsed ? value : 0;
}

} // namespace

QString TabDetails::ToString() const
{
    // Joined, not formatted: a path or name may itself hold "%1".
    const bool internal = kind == CODE_EDITOR_INTERNAL_BUFFER;
    QStringList fields{QString::number(group),
                       QString::number(int(kind)),
                       internal ? QFileInfo(path).fileName() : path,
                       QString::number(current ? 1 : 0),
                       QString::number(cursorPosition),
                       QString::number(scrollPosition)};
    if (internal)
        fields.append(name);
    return fields.join(QLatin1Char(';'));
}

bool TabDetails::Parse(const QString &entry, const QString &internalBufferDirectory)
{
    const QStringList fields = entry.split(QLatin1Char(';'));
    if (fields.size() < 6)
        return false;
    bool ok = false;
    const int kindValue = toInt(fields.at(1), &ok);
    if (!ok || (kindValue != CODE_EDITOR_INTERNAL_BUFFER && kindValue != CODE_EDITOR_FILE))
        return false;
    kind = CodeEditorKind(kindValue);
    const int groupValue = toInt(fields.at(0), &ok);
    group = ok && groupValue >= 0 && groupValue < SessionState::groupCount ? groupValue : 0;

    // A file path may hold ";" itself: the four numbers around it are fixed, so a file entry
    // with more fields than six takes the extra ones back into its path. An internal buffer's
    // extra fields belong to its name instead.
    // A hand-edited entry with a trailing extra field keeps the plain reading when only that
    // names an existing file.
    int last = 2;
    if (kind == CODE_EDITOR_FILE && fields.size() > 6) {
        const QString joined = fields.mid(2, fields.size() - 5).join(QLatin1Char(';'));
        if (QFileInfo::exists(joined) || !QFileInfo::exists(fields.at(2)))
            last = fields.size() - 4;
    }
    path = fields.mid(2, last - 1).join(QLatin1Char(';'));
    current = toInt(fields.at(last + 1)) != 0;
    cursorPosition = toInt(fields.at(last + 2));
    scrollPosition = toInt(fields.at(last + 3));
    name.clear();
    if (kind == CODE_EDITOR_INTERNAL_BUFFER) {
        if (fields.size() >= 7)
            name = fields.mid(6).join(QLatin1Char(';'));
        if (QDir::isRelativePath(path))
            path = QStringLiteral("%1/%2").arg(internalBufferDirectory, path);
    }
    return true;
}

namespace SessionState {

QVector<int> ParseTabBarScrolling(const QStringList &entries)
{
    QVector<int> offsets;
    for (int i = 0; i < entries.size() && i < groupCount; ++i)
        offsets.append(toInt(entries.at(i)));
    return offsets;
}

QStringList FormatTabBarScrolling(const QVector<int> &offsets)
{
    QStringList entries;
    for (const int offset : offsets)
        entries.append(QString::number(offset));
    return entries;
}

} // namespace SessionState

} // namespace ke2
