#pragma once

#include "language/auto_completer.h"

class QStandardItemModel;

namespace ke2 {

// MEL completion: keywords and the host's commands, run-time commands and procedures, in one
// model shared by every MEL editor. After "-" in a host command's arguments, the command's flags
// instead (long name with the short one beside it), the flags the command already has listed
// last. Variables ("$va"), and flags of anything but a known command, are never completed.
class MelAutoCompleter : public AutoCompleter {
    Q_OBJECT
public:
    // Item roles of a flag row: its long and short names, without "-".
    enum { LongNameRole = Qt::UserRole + 1, ShortNameRole };

    explicit MelAutoCompleter(QWidget *editor);

    bool FlagMode() const { return m_flagMode; }
    QString InsertionText(const QModelIndex &index) const override;

    // The shared candidates, built from the host's lists by the first MEL popup.
    static QSortFilterProxyModel *SharedModel();
    // Refills the shared candidates from the host's current lists (a new host, or lists that
    // were loaded late); every MEL popup sees the change.
    static void ReloadSharedModel();

public slots:
    void InitModel() override;
    bool PreparePrefix(const QTextCursor &cursor) override;

private:
    // Fills the flag rows for the command around the "-" at `dash`; false when there is none.
    bool PrepareFlags(const QTextCursor &cursor, int dash);

    QStandardItemModel *m_flagItems = nullptr;
    QSortFilterProxyModel *m_flagModel = nullptr;
    bool m_flagMode = false;
};

} // namespace ke2
