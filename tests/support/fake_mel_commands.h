#pragma once

#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"

namespace ke2::test {

// Syntax help as the host prints it for "help -so": a synopsis, the flags (short, long, argument
// types) and the command type. Written for these tests.
inline QString fakeSyntaxHelp(const QString &command)
{
    if (command == QLatin1String("polyCube"))
        return QStringLiteral("\nSynopsis: polyCube [flags] [String...]\nFlags:\n"
                              "   -e -edit\n   -q -query\n"
                              "  -ax -axis                      Length Length Length\n"
                              " -cch -caching                   on|off\n"
                              "  -ch -constructionHistory       on|off\n"
                              "   -d -depth                     Length\n"
                              "   -h -height                    Length\n"
                              "   -n -name                      String\n"
                              "  -sd -subdivisionsDepth         Int\n"
                              "  -sh -subdivisionsHeight        Int\n"
                              "  -sw -subdivisionsWidth         Int\n"
                              "  -sx -subdivisionsX             Int\n"
                              "  -sy -subdivisionsY             Int\n"
                              "  -sz -subdivisionsZ             Int\n"
                              "   -w -width                     Length\n"
                              "\nCommand Type: Command\n");
    if (command == QLatin1String("ls"))
        return QStringLiteral("\nSynopsis: ls [flags] [String...]\nFlags:\n"
                              "  -as -assemblies\n  -dag -dag\n   -l -long\n  -sl -selection\n"
                              " -typ -type                      String (multi-use)\n"
                              "   -v -visible\n"
                              "\nCommand Type: Command\n");
    if (command == QLatin1String("setAttr"))
        return QStringLiteral("\nSynopsis: setAttr [flags] Name Any...\nFlags:\n"
                              "   -k -keyable                   on|off\n"
                              "   -l -lock                      on|off\n"
                              " -typ -type                      String\n"
                              "\nCommand Type: Command\n");
    if (command == QLatin1String("window"))
        return QStringLiteral("\nSynopsis: window [flags] [String]\nFlags:\n"
                              "   -e -edit\n   -q -query\n"
                              "  -ex -exists\n"
                              "   -h -height                    Int\n"
                              " -rtf -resizeToFitChildren       on|off\n"
                              "   -s -sizeable                  on|off\n"
                              "   -t -title                     String\n"
                              " -vis -visible                   on|off\n"
                              "   -w -width                     Int\n"
                              "  -wh -widthHeight               Int Int\n"
                              "\nCommand Type: Command\n");
    if (command == QLatin1String("checkBox"))
        return QStringLiteral("\nSynopsis: checkBox [flags] [String]\nFlags:\n"
                              "   -e -edit\n   -q -query\n"
                              "  -cc -changeCommand             Script\n"
                              "  -en -enable                    on|off\n"
                              "  -ex -exists\n"
                              "   -l -label                     String\n"
                              " -ofc -offCommand                Script\n"
                              " -onc -onCommand                 Script\n"
                              "   -p -parent                    String\n"
                              "   -v -value                     on|off\n"
                              "\nCommand Type: Command\n");
    if (command == QLatin1String("intSliderGrp"))
        return QStringLiteral("\nSynopsis: intSliderGrp [flags] [String]\nFlags:\n"
                              "   -e -edit\n   -q -query\n"
                              "  -cc -changeCommand             Script\n"
                              "  -dc -dragCommand               Script\n"
                              "  -en -enable                    on|off\n"
                              "   -f -field                     on|off\n"
                              " -fmn -fieldMinValue             Int\n"
                              " -fmx -fieldMaxValue             Int\n"
                              "   -l -label                     String\n"
                              " -max -maxValue                  Int\n"
                              " -min -minValue                  Int\n"
                              "   -v -value                     Int\n"
                              "\nCommand Type: Command\n");
    if (command == QLatin1String("optionVar"))
        return QStringLiteral("\nSynopsis: optionVar [flags]\nFlags:\n"
                              "  -ca -clearArray                String\n"
                              "  -ex -exists                    String\n"
                              "  -fv -floatValue                String Float\n"
                              "  -iv -intValue                  String Int\n"
                              "   -l -list\n"
                              "   -q -query                     String\n"
                              "  -rm -remove                    String\n"
                              "  -sv -stringValue               String String\n"
                              " -sva -stringValueAppend         String String\n"
                              "\nCommand Type: Command\n");
    return {};
}

// Teaches `host` the MEL name lists and the syntax help above. Names missing from the lists are
// "Unknown" to the host's whatIs, except those in `scripts` (scripts on the host's path).
inline void teachMelCommands(FakeHost &host, const QStringList &commands,
                             const QStringList &runTimeCommands = {}, const QStringList &procedures = {},
                             const QStringList &scripts = {})
{
    host.answer(QStringLiteral("hxGetMelInfo(1, 0, 0)"), commands);
    host.answer(QStringLiteral("hxGetMelInfo(0, 1, 0)"), runTimeCommands);
    host.answer(QStringLiteral("hxGetMelInfo(0, 0, 1)"), procedures);
    host.answer(QStringLiteral("about -version"), QStringLiteral("2025"));
    host.setHandler([scripts](FakeHost::Kind, const QString &text) -> std::optional<QVariant> {
        if (text.startsWith(QLatin1String("help -so "))) {
            const QString help = fakeSyntaxHelp(text.mid(9));
            return help.isEmpty() ? std::nullopt : std::optional<QVariant>(help);
        }
        if (text.startsWith(QLatin1String("whatIs \""))) {
            const QString name = text.mid(8).chopped(1);
            return QVariant(scripts.contains(name) ? QStringLiteral("Script found in: scripts/%1.mel").arg(name)
                                                   : QStringLiteral("Unknown"));
        }
        return std::nullopt;
    });
    HostBridge::loadMelLists();
}

} // namespace ke2::test
