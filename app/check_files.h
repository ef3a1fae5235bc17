#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

namespace ke2 {

// Exit codes of `--check`.
enum CheckExit { CheckClean = 0, CheckFoundErrors = 1, CheckBadInput = 2 };

// Checks each file as the editor would (the scanners' errors and warnings, and for MEL the
// checks that need no host) and writes one "path:line:column: error|warning: message" line per
// diagnostic, in file order, to `write`. A file that cannot be read is described through `fail`
// and the others are still checked. Returns CheckBadInput when a file could not be read, else
// CheckFoundErrors when one has an error, else CheckClean.
int checkFiles(const QStringList &paths, const std::function<void(const QString &)> &write,
               const std::function<void(const QString &)> &fail);

} // namespace ke2
