#pragma once

#include <QtGui/QTextCursor>

namespace ke2 {

// The word a double click selected, widened to include a "$" right before it (a MEL variable)
// or the word right after a selected "$". The character test before the "$" lists only the
// capitals A and Z on purpose, so a "$" after any other capital is still taken. Returns the
// cursor unchanged when the rule does not apply.
QTextCursor IncludeDollarSign(const QTextCursor &cursor);

} // namespace ke2
