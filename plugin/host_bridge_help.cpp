// Quick help, online documentation and the MEL name lists used by completion and highlighting.
#include "plugin/host_bridge.h"
#include "plugin/host_bridge_internal.h"

#include <QtCore/QRegularExpression>

namespace ke2::HostBridge {
namespace {
QStringList g_melCommands;
QStringList g_melRunTimeCommands;
QStringList g_melProcedures;
int g_melListsGeneration = 0;

void fillList(const QString &command, QStringList &list)
{
    list.clear();
    QStringList names;
    // The procedure keeps an empty entry for every name it did not take; they stay.
    if (executeMel(command, names))
        list = names;
}
} // namespace

QStringList melCommandFlags(const QString &name)
{
    if (name.isEmpty() || !g_melCommands.contains(name))
        return {};
    QString help;
    if (!executeMel(QStringLiteral("help -so %1").arg(name), help) || help.isEmpty())
        return {};
    const QStringList parts = help.split(QStringLiteral("Flags:"), Qt::SkipEmptyParts);
    if (parts.size() != 2)
        return {};
    static const QRegularExpression lineBreak(QStringLiteral("[\r\n]"));
    static const QRegularExpression blank(QStringLiteral("[ \t]"));
    QStringList triples;
    const QStringList lines = parts.at(1).split(lineBreak, Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        const QStringList fields = line.split(blank, Qt::SkipEmptyParts);
        for (int i = 0; i < 3; ++i)
            triples.append(fields.value(i));
    }
    return triples;
}

void showOnlineHelp(const QString &name, bool isPython)
{
    if (!name.isEmpty() && !g_melCommands.contains(name)) {
        showError(QStringLiteral("Command not found: %1").arg(name));
        return;
    }
    const QString page = name.isEmpty() ? QStringLiteral("index") : name;
    const QString path = QStringLiteral("%1/%2").arg(isPython ? QStringLiteral("CommandsPython") : QStringLiteral("Commands"), page);
    executeMel(QStringLiteral("showHelp -docs \"%1.html\"").arg(path));
}

void showHelpTopic(const QString &topic)
{
    executeMel(QStringLiteral("showHelp %1").arg(topic));
}

void loadMelLists()
{
    fillList(QStringLiteral("hxGetMelInfo(1, 0, 0)"), g_melCommands);
    fillList(QStringLiteral("hxGetMelInfo(0, 1, 0)"), g_melRunTimeCommands);
    fillList(QStringLiteral("hxGetMelInfo(0, 0, 1)"), g_melProcedures);
    ++g_melListsGeneration;
}

int melListsGeneration()
{
    return g_melListsGeneration;
}

QString melSyntaxHelp(const QString &name)
{
    QString help;
    if (name.isEmpty() || !executeMel(QStringLiteral("help -so %1").arg(name), help))
        return {};
    return help;
}

QString melWhatIs(const QString &name)
{
    QString kind;
    if (name.isEmpty() || !executeMel(QStringLiteral("whatIs \"%1\"").arg(name), kind))
        return {};
    return kind;
}

QString hostVersion()
{
    QString version;
    if (!executeMel(QStringLiteral("about -version"), version))
        return {};
    return version;
}

QStringList melCommands()
{
    return g_melCommands;
}

QStringList melRunTimeCommands()
{
    return g_melRunTimeCommands;
}

QStringList melProcedures()
{
    return g_melProcedures;
}

QStringList melKeywords()
{
    return {QStringLiteral("break"), QStringLiteral("case"), QStringLiteral("continue"),
            QStringLiteral("default"), QStringLiteral("do"), QStringLiteral("else"),
            QStringLiteral("false"), QStringLiteral("float"), QStringLiteral("for"),
            QStringLiteral("global"), QStringLiteral("if"), QStringLiteral("in"),
            QStringLiteral("int"), QStringLiteral("matrix"), QStringLiteral("no"),
            QStringLiteral("off"), QStringLiteral("on"), QStringLiteral("proc"),
            QStringLiteral("return"), QStringLiteral("string"), QStringLiteral("switch"),
            QStringLiteral("true"), QStringLiteral("vector"), QStringLiteral("while"),
            QStringLiteral("yes")};
}

void internal::resetMelLists()
{
    g_melCommands.clear();
    g_melRunTimeCommands.clear();
    g_melProcedures.clear();
    ++g_melListsGeneration;
}

} // namespace ke2::HostBridge
