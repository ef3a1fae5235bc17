#include "plugin/forced_imports.h"

#include "plugin/host.h"
#include "plugin/host_bridge.h"

#include <QtCore/QRegularExpression>

namespace ke2::ForcedImports {

namespace {

QStringList &accepted()
{
    static QStringList list;
    return list;
}

void skip(const QString &statement)
{
    HostBridge::showWarning(QStringLiteral("Skipping invalid forced import: ") + statement);
}

} // namespace

void Apply(const QString &setting)
{
    static const QRegularExpression forbidden(QStringLiteral("[:\\\\]"));
    QStringList &list = accepted();
    list.clear();
    for (const QString &part : setting.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const QString statement = part.trimmed();
        if (statement.isEmpty())
            continue;
        if (!(statement.startsWith(QLatin1String("import")) || statement.startsWith(QLatin1String("from")))
            || forbidden.match(statement).hasMatch()) {
            skip(statement);
            continue;
        }
        // The statement travels inside a Python string literal.
        QString quoted = statement;
        quoted.replace(QLatin1Char('"'), QLatin1String("\\\""));
        if (!HostBridge::executePythonStatement(quoted)) {
            skip(statement);
            continue;
        }
        HostBridge::executePythonQuietly(statement);
        list.append(statement);
    }
}

const QStringList &Accepted()
{
    return accepted();
}

} // namespace ke2::ForcedImports
