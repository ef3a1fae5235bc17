#pragma once

#include "language/auto_completer.h"

class QStandardItemModel;

namespace ke2 {

// MEL completion: keywords and the host's commands, run-time commands and procedures, in one
// model shared by every MEL editor. Flags ("-q") and variables ("$va") are never completed.
class MelAutoCompleter : public AutoCompleter {
    Q_OBJECT
public:
    explicit MelAutoCompleter(QWidget *editor);

    // The shared candidates, built from the host's lists by the first MEL popup.
    static QSortFilterProxyModel *SharedModel();
    // Refills the shared candidates from the host's current lists (a new host, or lists that
    // were loaded late); every MEL popup sees the change.
    static void ReloadSharedModel();

public slots:
    void InitModel() override;
    bool PreparePrefix(const QTextCursor &cursor) override;
};

} // namespace ke2
