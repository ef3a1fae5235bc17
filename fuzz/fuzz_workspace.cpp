// Workspace files of any bytes: the reader takes what it can, the writer's file of those folders
// reads back whole and unchanged, and a file read only in part keeps its bytes as a backup when
// it is replaced.

#include "fuzz/fuzz_support.h"
#include "views/workspace_file.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

using namespace ke2;

namespace {

QByteArray get(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QTemporaryDir folder;
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    const QString path = folder.filePath(QStringLiteral("fuzz.ke2-workspace"));
    QFile::remove(path + QStringLiteral(".bak"));
    {
        QFile file(path);
        KE2_FUZZ_CHECK(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size(),
                       "cannot write the scratch file");
    }

    const WorkspaceFile::ReadResult read = WorkspaceFile::Read(path);
    KE2_FUZZ_CHECK(read.status != WorkspaceFile::ReadStatus::Unreadable, "a readable file was called unreadable");
    KE2_FUZZ_CHECK((read.status == WorkspaceFile::ReadStatus::Partial) == !read.problem.isEmpty(),
                   "a partial read must say what it did not understand, and only then");
    for (const QString &folderPath : read.folders)
        KE2_FUZZ_CHECK(!folderPath.isEmpty(), "an empty folder path was read");

    const bool partial = read.status == WorkspaceFile::ReadStatus::Partial;
    KE2_FUZZ_CHECK(WorkspaceFile::Write(path, read.folders, partial), "writing the folders back failed");
    const WorkspaceFile::ReadResult again = WorkspaceFile::Read(path);
    KE2_FUZZ_CHECK(again.status == WorkspaceFile::ReadStatus::Ok, "the writer's own file reads as '%s'",
                   qPrintable(again.problem));
    KE2_FUZZ_CHECK(again.folders == read.folders, "the folders changed on the way back");
    if (partial)
        KE2_FUZZ_CHECK(get(path + QStringLiteral(".bak")) == bytes, "the part-read file's bytes were not kept");
    return 0;
}
