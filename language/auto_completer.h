#pragma once

#include <QtCore/QRect>
#include <QtGui/QTextCursor>
#include <QtWidgets/QWidget>

class QListView;
class QSortFilterProxyModel;

namespace ke2 {

// The completion popup of a code editor: a list of candidates shown under the cursor. The editor
// (the popup's parent) asks through Update; the popup works out the word being typed, filters its
// candidates by it and shows itself, or stays hidden when nothing fits. The list's key presses
// are consumed here: navigation and acceptance, everything else goes back to the editor so that
// typing continues there.
class AutoCompleter : public QWidget {
    Q_OBJECT
public:
    static constexpr int maximumVisibleRows = 12;
    static constexpr int minimumListWidth = 100;
    static constexpr int extraWidth = 40;
    // How many rows, from the top, decide the popup's width.
    static constexpr int widthSampleRows = 200;

    explicit AutoCompleter(QWidget *editor);

    QListView *ListView() const { return listView; }
    QSortFilterProxyModel *Model() const { return model; }
    QString Prefix() const { return prefix; }
    int CurrentRow() const { return currentRow; }
    // Texts of the rows left by the filter, in the order shown.
    QStringList VisibleCandidates() const;

    // Where a popup of `size` whose top-left wants to be at `topLeft` goes: its right and bottom
    // edges are clipped to `screen`.
    static QRect PopupGeometry(const QPoint &topLeft, const QSize &size, const QRect &screen);

signals:
    void Accepted(QString text, int prefixLength);

public slots:
    virtual void Update(const QTextCursor &cursor, const QRect &cursorRect, bool applyIfSingle);
    virtual void InitModel() = 0;
    virtual bool PreparePrefix(const QTextCursor &cursor) = 0;
    virtual Qt::CaseSensitivity FilterCaseSensitivity() const { return Qt::CaseSensitive; }
    // Hides the popup, and drops a request still waiting to be answered.
    virtual void Cancel() { hide(); }
    void ApplySelection();

public:
    // The text that accepting `index` puts in place of the prefix: the row's text unless a popup
    // shows more than it inserts.
    virtual QString InsertionText(const QModelIndex &index) const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;

    // Filters by `prefix`; returns the number of rows left.
    int Filter();
    // Selects the first row starting with `prefix` in exact case, else row 0.
    void SelectBestRow();
    // Sizes the popup for its rows; with `cursorRect` (editor viewport coordinates) it also moves
    // under the cursor, otherwise it keeps its place.
    void Place(const QRect *cursorRect);
    // The width the widest of the first rows needs.
    int WidthHint() const;
    // Shared ending of an update of a hidden popup with rows to show.
    void ShowOrApply(const QRect &cursorRect, bool applyIfSingle);
    // Shows `proxy` in the list (the popup does not own it).
    void SetModel(QSortFilterProxyModel *proxy);

    QListView *listView = nullptr;
    QSortFilterProxyModel *model = nullptr;
    QString prefix;
    int currentRow = 0;
};

} // namespace ke2
