#include "language/auto_completer.h"

#include "config/color_scheme.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QRegularExpression>
#include <QtCore/QSortFilterProxyModel>
#include <QtGui/QGuiApplication>
#include <QtGui/QKeyEvent>
#include <QtGui/QScreen>
#include <QtWidgets/QAbstractScrollArea>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QListView>
#include <QtWidgets/QStyle>

#include <algorithm>

namespace ke2 {

AutoCompleter::AutoCompleter(QWidget *editor) : QWidget(editor, Qt::Popup)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    // The popup's size is worked out for its rows, even below what the list would ask for.
    layout->setSizeConstraint(QLayout::SetNoConstraint);
    listView = new QListView(this);
    listView->setObjectName(QStringLiteral("completionList"));
    listView->setFrameShape(QFrame::NoFrame);
    listView->setSelectionMode(QAbstractItemView::SingleSelection);
    listView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    listView->setUniformItemSizes(true); // thousands of MEL names: no per-row measuring
    listView->installEventFilter(this);
    const QTextCharFormat plain =
        ColorScheme::instance().codeEditorRoles.format(QString::fromLatin1(ColorRoleName::plainText));
    if (plain.hasProperty(QTextFormat::BackgroundBrush)) {
        QPalette palette = listView->palette();
        palette.setColor(QPalette::Base, plain.background().color());
        if (plain.hasProperty(QTextFormat::ForegroundBrush))
            palette.setColor(QPalette::Text, plain.foreground().color());
        listView->setPalette(palette);
    }
    layout->addWidget(listView);
    connect(listView, &QListView::doubleClicked, this, &AutoCompleter::ApplySelection);
    hide();
}

void AutoCompleter::SetModel(QSortFilterProxyModel *proxy)
{
    model = proxy;
    listView->setModel(proxy);
}

QStringList AutoCompleter::VisibleCandidates() const
{
    QStringList texts;
    if (!model)
        return texts;
    for (int row = 0; row < model->rowCount(); ++row)
        texts.append(model->index(row, 0).data().toString());
    return texts;
}

int AutoCompleter::Filter()
{
    if (!model)
        return 0;
    // The prefix goes in as typed: what it matches is what the user wrote.
    QRegularExpression::PatternOptions options = QRegularExpression::NoPatternOption;
    if (FilterCaseSensitivity() == Qt::CaseInsensitive)
        options |= QRegularExpression::CaseInsensitiveOption;
    model->setFilterRegularExpression(QRegularExpression(QStringLiteral("^(%1)").arg(prefix), options));
    return model->rowCount();
}

void AutoCompleter::SelectBestRow()
{
    currentRow = 0;
    const int rows = model ? model->rowCount() : 0;
    for (int row = 0; row < rows; ++row) {
        if (model->index(row, 0).data().toString().startsWith(prefix, Qt::CaseSensitive)) {
            currentRow = row;
            break;
        }
    }
    if (rows > 0) {
        const QModelIndex index = model->index(currentRow, 0);
        listView->setCurrentIndex(index);
        listView->scrollTo(index, QAbstractItemView::PositionAtTop);
    }
}

QRect AutoCompleter::PopupGeometry(const QPoint &topLeft, const QSize &size, const QRect &screen)
{
    QRect rect(topLeft, size);
    if (screen.isValid()) {
        rect.setRight(std::min(rect.right(), screen.right()));
        rect.setBottom(std::min(rect.bottom(), screen.bottom()));
    }
    return rect;
}

int AutoCompleter::WidthHint() const
{
    // The list's own hint asks every row for its size; a host's command list has tens of
    // thousands. The rows that can show first decide, and the text of each is all a row holds.
    const int rows = model ? std::min(model->rowCount(), widthSampleRows) : 0;
    const QFontMetrics metrics = listView->fontMetrics();
    int width = 0;
    for (int row = 0; row < rows; ++row)
        width = std::max(width, metrics.horizontalAdvance(model->index(row, 0).data().toString()));
    const int margin = listView->style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, listView) + 1;
    return width + 2 * margin;
}

void AutoCompleter::Place(const QRect *cursorRect)
{
    QPoint topLeft = pos();
    if (cursorRect) {
        // The editor hands its cursor rectangle in viewport coordinates.
        auto *area = qobject_cast<QAbstractScrollArea *>(parentWidget());
        QWidget *origin = area ? area->viewport() : parentWidget();
        topLeft = origin ? origin->mapToGlobal(cursorRect->bottomLeft()) : cursorRect->bottomLeft();
    }
    const int rows = model ? model->rowCount() : 0;
    const int rowHeight = std::max(1, listView->sizeHintForRow(0));
    const int width = std::max(minimumListWidth, WidthHint()) + extraWidth;
    const int height = rowHeight * std::min(rows, maximumVisibleRows);
    QScreen *screen = QGuiApplication::screenAt(topLeft);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    setGeometry(PopupGeometry(topLeft, QSize(width, height), screen ? screen->geometry() : QRect()));
}

void AutoCompleter::Update(const QTextCursor &cursor, const QRect &cursorRect, bool applyIfSingle)
{
    if (!PreparePrefix(cursor)) {
        hide();
        return;
    }
    if (isVisible()) {
        if (Filter() == 0) {
            hide();
            return;
        }
        Place(nullptr);
        SelectBestRow();
        return;
    }
    if (Filter() == 0)
        return;
    ShowOrApply(cursorRect, applyIfSingle);
}

void AutoCompleter::ShowOrApply(const QRect &cursorRect, bool applyIfSingle)
{
    Place(&cursorRect);
    SelectBestRow();
    if (applyIfSingle && model->rowCount() == 1) {
        emit Accepted(InsertionText(model->index(0, 0)), prefix.size());
        return;
    }
    show();
}

void AutoCompleter::ApplySelection()
{
    const QModelIndex index = listView->currentIndex();
    if (!index.isValid())
        return;
    hide();
    if (QWidget *editor = parentWidget())
        editor->setFocus(Qt::PopupFocusReason);
    emit Accepted(InsertionText(index), prefix.size());
}

QString AutoCompleter::InsertionText(const QModelIndex &index) const
{
    return index.data().toString();
}

void AutoCompleter::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    listView->setFocus(Qt::PopupFocusReason);
}

bool AutoCompleter::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != listView || event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    auto *key = static_cast<QKeyEvent *>(event);
    const int rows = model ? model->rowCount() : 0;
    switch (key->key()) {
    case Qt::Key_Escape:
        hide();
        return true;
    case Qt::Key_Tab:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        ApplySelection();
        return true;
    case Qt::Key_Backtab:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        return true;
    case Qt::Key_Up:
    case Qt::Key_Down:
        if (rows > 0) {
            const int row = listView->currentIndex().row();
            currentRow = key->key() == Qt::Key_Up ? std::max(0, row - 1) : std::min(rows - 1, row + 1);
            listView->setCurrentIndex(model->index(currentRow, 0));
        }
        return true;
    default:
        break;
    }
    // Typing goes on in the editor, which updates the popup again.
    if (QWidget *editor = parentWidget()) {
        QKeyEvent copy(key->type(), key->key(), key->modifiers(), key->text(), key->isAutoRepeat(), key->count());
        QCoreApplication::sendEvent(editor, &copy);
    }
    return true;
}

} // namespace ke2
