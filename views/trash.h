#pragma once

#include <QtCore/QString>

namespace ke2 {

// The user's trash, and nothing but it: a file goes there only when the trash really is the
// user's own (on Linux the XDG trash of the data home, made when missing; the platform's trash
// elsewhere). Where there is none, the caller asks about deleting for good.
namespace Trash {

// The XDG trash folder ("$XDG_DATA_HOME/Trash", or "~/.local/share/Trash" when that variable is
// unset or relative); empty when no absolute data home can be told.
QString XdgDirectory();

// Moves `path` (a file or a folder) to the trash; false, with nothing written anywhere, when it
// cannot go there (no trash, or the trash is on another disk).
bool Move(const QString &path);

} // namespace Trash

} // namespace ke2
