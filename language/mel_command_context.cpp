#include "language/mel_command_context.h"

#include "language/mel_command_catalog.h"
#include "language/mel_linter.h"
#include "language/mel_procedure_index.h"

#include <QtGui/QTextBlock>
#include <QtGui/QTextDocument>

#include <algorithm>

namespace ke2 {

namespace {
// How far back a statement is looked for: whole lines, up to this many.
constexpr int contextLines = 40;
} // namespace

MelCommandContext MelCommandContextAt(const QTextDocument *document, int position)
{
    MelCommandContext context;
    if (!document)
        return context;
    const QTextBlock current = document->findBlock(position);
    if (!current.isValid())
        return context;
    QTextBlock first = current;
    for (int i = 0; i < contextLines && first.previous().isValid(); ++i)
        first = first.previous();
    const int windowStart = first.position();
    const int windowEnd = current.position() + current.length() - 1;
    QString window;
    for (QTextBlock block = first; block.isValid() && block.position() <= current.position(); block = block.next())
        window += block.text() + QLatin1Char('\n');
    window.truncate(windowEnd - windowStart);
    const int at = position - windowStart;

    const MelLinter linter(window);
    const int tokenCount = linter.TokenCount();
    // The token under the position: the one that contains it, or ends right at it.
    int under = -1;
    for (int i = 0; i < tokenCount; ++i) {
        if (linter.Token(i).start > at)
            break;
        if (linter.Token(i).start + linter.Token(i).length >= at)
            under = i;
    }
    if (under < 0)
        return context;
    const bool onFlag = linter.Token(under).kind == MelToken::Flag
                        || (linter.Is(under, "-") && linter.Token(under).spaceBefore && linter.Token(under).start + 1 == at);
    MelLinter::Call found;
    linter.ForEachCall([&](const MelLinter::Call &call) {
        // Calls come in text order: an inner call, met later, replaces the one around it.
        const int last = call.argumentsEnd >= tokenCount ? tokenCount - 1
                         : call.functionSyntax          ? call.argumentsEnd
                                                        : call.argumentsEnd - 1;
        if (under >= call.nameToken && under <= last)
            found = call;
    });
    if (found.nameToken < 0)
        return context;
    context.name = linter.TextOf(found.nameToken).toString();
    context.functionSyntax = found.functionSyntax;
    if (found.functionSyntax) {
        int index = 0;
        int depth = 0;
        for (int i = found.argumentsBegin; i < under && i < tokenCount; ++i) {
            if (linter.Is(i, "(") || linter.Is(i, "[") || linter.Is(i, "{") || linter.Token(i).kind == MelToken::VectorOpen)
                ++depth;
            else if (linter.Is(i, ")") || linter.Is(i, "]") || linter.Is(i, "}") || linter.Token(i).kind == MelToken::VectorClose)
                --depth;
            else if (depth == 0 && linter.Is(i, ","))
                ++index;
        }
        context.argumentIndex = index;
        return context;
    }
    for (int i = found.argumentsBegin; i < found.argumentsEnd && i < tokenCount; ++i) {
        if (linter.Token(i).kind == MelToken::Flag && i != under)
            context.presentFlags.append(linter.TextOf(i).mid(1).toString());
    }
    context.onFlag = onFlag;
    if (onFlag && linter.Token(under).kind == MelToken::Flag)
        context.flag = linter.TextOf(under).mid(1).toString();
    return context;
}

QString MelSignatureHelp(const QTextDocument *document, int position, MelCommandCatalog &catalog)
{
    const MelCommandContext context = MelCommandContextAt(document, position);
    if (context.name.isEmpty())
        return {};
    if (context.onFlag) {
        if (context.flag.isEmpty() || !catalog.KnowsCommands())
            return {};
        const MelCommandSyntax *syntax = catalog.CommandSyntax(context.name);
        const MelCommandSyntax::Flag *flag = syntax ? syntax->Find(context.flag) : nullptr;
        if (!flag)
            return {};
        const QString name = flag->longName.isEmpty() ? flag->shortName : flag->longName;
        QString text = QStringLiteral("-%1").arg(name);
        if (!flag->longName.isEmpty())
            text += QStringLiteral(" (-%1)").arg(flag->shortName);
        if (!flag->arguments.isEmpty())
            text += QLatin1Char(' ') + flag->arguments;
        return text;
    }
    const MelProcedure procedure = MelProcedureIndex::instance().Find(context.name);
    if (procedure.name.isEmpty())
        return {};
    return procedure.Signature();
}

} // namespace ke2
