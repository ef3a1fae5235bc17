#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

class QTextDocument;

namespace ke2 {

class MelCommandCatalog;

// The call around a position of a MEL buffer, read from the lines before it (a statement seldom
// spans more): for flag completion and signature help.
struct MelCommandContext {
    QString name;              // the command or procedure; empty when the position is in none
    bool functionSyntax = false;
    int argumentIndex = -1;    // the argument the position is in (function syntax only)
    bool onFlag = false;       // the position is on a flag of a command (or right after a lone "-")
    QString flag;              // that flag, without "-"; empty after a lone "-"
    QStringList presentFlags;  // the call's other flags, without "-"
};

// `position` is a document offset; a position right after a lone "-" counts as on a flag whose
// name is empty.
MelCommandContext MelCommandContextAt(const QTextDocument *document, int position);

// What the status bar shows at `position`: a flag's argument types ("-subdivisionsX (-sx) Int"),
// or the parameters of a procedure that an open buffer defines; empty otherwise.
QString MelSignatureHelp(const QTextDocument *document, int position, MelCommandCatalog &catalog);

} // namespace ke2
