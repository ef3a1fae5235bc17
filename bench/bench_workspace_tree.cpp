// The workspace tree on large folders: how long the window stays unresponsive at most (the
// longest stretch between two turns of the event loop) while a folder of many files is read and
// while it follows a change on disk, and the cost of a workspace file listing 100,000 folders.
#include "views/workspace_file.h"
#include "views/workspace_tree_widget.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>

#include <algorithm>
#include <cstdio>

using namespace ke2;

namespace {

struct Run {
    qint64 total = 0;   // milliseconds until the tree was complete
    qint64 longest = 0; // longest event-loop stall, milliseconds
};

// Runs `start`, then turns the event loop until `done`, timing the gaps between turns.
template <typename Start, typename Done>
Run measure(Start start, Done done)
{
    Run run;
    QElapsedTimer clock, gap;
    clock.start();
    gap.start();
    start();
    run.longest = gap.restart();
    while (!done()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        run.longest = std::max(run.longest, gap.restart());
    }
    run.total = clock.elapsed();
    return run;
}

void makeFiles(const QString &folder, int count)
{
    QDir().mkpath(folder);
    for (int i = 0; i < count; ++i) {
        QFile file(QStringLiteral("%1/script_%2.py").arg(folder).arg(i));
        if (file.open(QIODevice::WriteOnly))
            file.write("pass\n");
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir dir;
    std::printf("%-44s %10s %14s\n", "workspace tree", "total ms", "longest stall");
    for (const int count : {2000, 20000, 60000}) {
        const QString folder = dir.filePath(QStringLiteral("files_%1").arg(count));
        makeFiles(folder, count);
        WorkspaceTreeWidget tree;
        tree.SetFolders({folder});
        QTreeWidgetItem *root = tree.topLevelItem(0);
        const Run open = measure([&] { root->setExpanded(true); },
                                 [&] { return !tree.IsBusy() && root->childCount() == count; });
        std::printf("%-44s %10lld %14lld\n", qPrintable(QStringLiteral("expand a folder of %1 files").arg(count)),
                    open.total, open.longest);
        // One file more, written by another program: the folder is read again and merged.
        QFile(folder + QStringLiteral("/added.mel")).open(QIODevice::WriteOnly);
        QElapsedTimer wait;
        wait.start();
        const Run change = measure([] {}, [&] { return root->childCount() == count + 1 && !tree.IsBusy(); });
        std::printf("%-44s %10lld %14lld\n", qPrintable(QStringLiteral("follow one new file among %1").arg(count)),
                    change.total, change.longest);
    }

    QStringList folders;
    for (int i = 0; i < 100000; ++i)
        folders.append(dir.filePath(QStringLiteral("missing/%1").arg(i)));
    const QString workspace = dir.filePath(QStringLiteral("huge.ke2-workspace"));
    WorkspaceFile::Write(workspace, folders);
    WorkspaceTreeWidget tree;
    QElapsedTimer clock;
    clock.start();
    const QStringList read = WorkspaceFile::Read(workspace).folders;
    const qint64 reading = clock.restart();
    tree.SetFolders(read);
    const qint64 filling = clock.elapsed();
    std::printf("%-44s %10lld %14s\n", "read a workspace file of 100,000 folders", reading, "(one step)");
    std::printf("%-44s %10lld %14s\n", "show its 100,000 folders (none exists)", filling, "(one step)");
    return 0;
}
