#pragma once

#include <QtCore/QStringList>

namespace ke2 {

// The Python statements the user wants run once in the host (the `pythonForcedImports`
// preference): each is checked by the embedded parser, run quietly when it passes, and kept in
// the accepted list that Python completion prepends to the code it resolves.
namespace ForcedImports {

// Rebuilds the accepted list from the preference text (statements separated by ";"). An invalid
// statement is reported through the host's warning output and skipped; the others still run.
void Apply(const QString &setting);
const QStringList &Accepted();

} // namespace ForcedImports
} // namespace ke2
