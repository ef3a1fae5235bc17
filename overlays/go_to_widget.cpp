#include "overlays/go_to_widget.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QVBoxLayout>

#include <algorithm>

namespace ke2 {

namespace {

enum Role { PathRole = Qt::UserRole + 1, PositionRole, LineRole };

struct Ranked {
    int score;
    int order; // among equal scores, the order the candidates came in
    QListWidgetItem *item;
};

} // namespace

GoToWidget::GoToWidget(QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("goToWidget"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    m_edit = new QLineEdit(this);
    m_edit->setObjectName(QStringLiteral("goToEdit"));
    m_edit->setPlaceholderText(QStringLiteral("File name, @ symbol or : line"));
    m_results = new QListWidget(this);
    m_results->setObjectName(QStringLiteral("goToResults"));
    m_results->setFocusPolicy(Qt::NoFocus);
    m_results->setUniformItemSizes(true);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->setSpacing(2);
    layout->addWidget(m_edit);
    layout->addWidget(m_results);
    connect(m_edit, &QLineEdit::textChanged, this, &GoToWidget::UpdateResults);
    connect(m_edit, &QLineEdit::returnPressed, this, &GoToWidget::Accept);
    connect(m_results, &QListWidget::itemActivated, this, &GoToWidget::Accept);
    connect(m_results, &QListWidget::itemClicked, this, &GoToWidget::Accept);
    m_edit->installEventFilter(this);
    hide();
}

void GoToWidget::SetFiles(const QStringList &paths)
{
    m_files = paths;
    m_files.removeDuplicates();
}

void GoToWidget::SetSymbols(const QVector<OutlineItem> &items, const QVector<int> &lines)
{
    m_symbols = items;
    m_symbolLabels = SymbolLabels(items, lines);
}

QStringList GoToWidget::SymbolLabels(const QVector<OutlineItem> &items, const QVector<int> &lines)
{
    QStringList labels;
    QVector<const OutlineItem *> open; // the items that enclose the current one, outermost first
    for (int i = 0; i < items.size(); ++i) {
        const OutlineItem &item = items.at(i);
        while (!open.isEmpty() && open.last()->depth >= item.depth)
            open.removeLast();
        QStringList container;
        for (const OutlineItem *outer : qAsConst(open))
            container << outer->name;
        QString label = item.name;
        if (!container.isEmpty())
            label += QStringLiteral("  in %1").arg(container.join(QLatin1Char('.')));
        if (i < lines.size())
            label += QStringLiteral("  line %1").arg(lines.at(i));
        labels << label;
        const bool encloses = item.kind == OutlineItem::PythonClass || item.kind == OutlineItem::PythonFunction
                              || item.kind == OutlineItem::PythonStaticMethod
                              || item.kind == OutlineItem::PythonClassMethod || item.kind == OutlineItem::MelGlobalProc
                              || item.kind == OutlineItem::MelProc;
        if (encloses)
            open.append(&item);
    }
    return labels;
}
void GoToWidget::SetLineCount(int lines) { m_lineCount = qMax(1, lines); }

int GoToWidget::MatchScore(const QString &query, const QString &candidate)
{
    if (query.isEmpty())
        return 0;
    const QString q = query.toLower();
    const QString c = candidate.toLower();
    const int extra = qMin(int(c.size() - q.size()), 400);
    if (c == q)
        return 4000;
    if (c.startsWith(q))
        return 3000 - extra;
    const int at = c.indexOf(q);
    if (at >= 0)
        return 2000 - qMin(at, 400) - extra;
    int gaps = 0;
    int from = 0;
    for (const QChar ch : q) {
        const int found = c.indexOf(ch, from);
        if (found < 0)
            return -1;
        gaps += found - from;
        from = found + 1;
    }
    return qMax(1, 1000 - qMin(gaps * 10, 800) - extra / 4);
}

void GoToWidget::Open(const QString &prefix)
{
    show();
    raise();
    m_edit->setText(prefix);
    UpdateResults();
    m_edit->setFocus();
    m_edit->deselect();
}

QStringList GoToWidget::ResultTexts() const
{
    QStringList texts;
    for (int i = 0; i < m_results->count(); ++i)
        texts << m_results->item(i)->text();
    return texts;
}

void GoToWidget::UpdateResults()
{
    m_results->clear();
    const QString text = m_edit->text();
    if (text.startsWith(QLatin1Char(':'))) {
        bool ok = false;
        const int line = text.mid(1).trimmed().toInt(&ok);
        auto *item = new QListWidgetItem(m_results);
        if (!ok || line < 1) {
            item->setText(QStringLiteral("Type a line number between 1 and %1").arg(m_lineCount));
            item->setFlags(Qt::NoItemFlags);
        } else if (line > m_lineCount) {
            item->setText(QStringLiteral("Go to line %1, the last line").arg(m_lineCount));
            item->setData(LineRole, m_lineCount);
        } else {
            item->setText(QStringLiteral("Go to line %1").arg(line));
            item->setData(LineRole, line);
        }
        m_results->setCurrentRow(0);
        FitHeight();
        return;
    }

    QVector<Ranked> ranked;
    if (text.startsWith(QLatin1Char('@'))) {
        QString query = text.mid(1).trimmed();
        // Imports crowd the list with names defined elsewhere: they come only when asked for.
        const bool imports = query.startsWith(QLatin1String("import"), Qt::CaseInsensitive);
        if (imports)
            query = query.mid(6).trimmed();
        for (int i = 0; i < m_symbols.size(); ++i) {
            const int kind = m_symbols.at(i).kind;
            const bool isImport = kind == OutlineItem::PythonImport || kind == OutlineItem::PythonImportAlias
                                  || kind == OutlineItem::PythonFromImport;
            if (isImport != imports)
                continue;
            const int score = MatchScore(query, m_symbols.at(i).name);
            if (score < 0)
                continue;
            auto *item = new QListWidgetItem(m_symbolLabels.value(i, m_symbols.at(i).name));
            item->setData(PositionRole, m_symbols.at(i).position);
            ranked.append({score, i, item});
        }
    } else {
        const QString query = text.trimmed();
        const bool byPath = query.contains(QLatin1Char('/')) || query.contains(QLatin1Char('\\'));
        for (int i = 0; i < m_files.size(); ++i) {
            const QFileInfo info(m_files.at(i));
            int score;
            if (byPath) {
                score = MatchScore(QDir::fromNativeSeparators(query), m_files.at(i));
            } else {
                // "utils" is as exact for "utils.py" as the whole name.
                score = qMax(MatchScore(query, info.fileName()), MatchScore(query, info.completeBaseName()));
            }
            if (score < 0)
                continue;
            auto *item = new QListWidgetItem(QStringLiteral("%1  %2").arg(info.fileName(),
                                                                          QDir::toNativeSeparators(info.path())));
            item->setToolTip(QDir::toNativeSeparators(m_files.at(i)));
            item->setData(PathRole, m_files.at(i));
            ranked.append({score, i, item});
        }
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const Ranked &a, const Ranked &b) {
        return a.score != b.score ? a.score > b.score : a.order < b.order;
    });
    for (int i = 0; i < ranked.size(); ++i) {
        if (i < maximumResults)
            m_results->addItem(ranked.at(i).item);
        else
            delete ranked.at(i).item;
    }
    if (m_results->count() > 0)
        m_results->setCurrentRow(0);
    FitHeight();
}

void GoToWidget::FitHeight()
{
    // As tall as the results, up to a dozen rows.
    const int rows = qBound(1, m_results->count(), 12);
    const int row = m_results->count() > 0 ? m_results->sizeHintForRow(0) : m_results->fontMetrics().height() + 4;
    m_results->setFixedHeight(rows * row + 2 * m_results->frameWidth() + 2);
    resize(width(), sizeHint().height());
}

void GoToWidget::Accept()
{
    QListWidgetItem *item = m_results->currentItem();
    if (!item || !(item->flags() & Qt::ItemIsEnabled))
        return;
    const QVariant path = item->data(PathRole);
    const QVariant position = item->data(PositionRole);
    const QVariant line = item->data(LineRole);
    Close();
    if (path.isValid())
        emit FileSelected(path.toString());
    else if (position.isValid())
        emit PositionSelected(position.toInt());
    else if (line.isValid())
        emit LineSelected(line.toInt());
}

void GoToWidget::Close()
{
    if (!isVisible())
        return;
    hide();
    emit Closed();
}

bool GoToWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_edit && event->type() == QEvent::FocusOut) {
        // Clicking a result keeps the box until the click is handled.
        QWidget *now = QApplication::focusWidget();
        if (!now || !isAncestorOf(now))
            QMetaObject::invokeMethod(this, [this] {
                if (!m_edit->hasFocus() && !m_results->underMouse())
                    Close();
            }, Qt::QueuedConnection);
    }
    if (watched != m_edit || event->type() != QEvent::KeyPress)
        return QFrame::eventFilter(watched, event);
    auto *key = static_cast<QKeyEvent *>(event);
    const int count = m_results->count();
    switch (key->key()) {
    case Qt::Key_Escape:
        Close();
        return true;
    case Qt::Key_Down:
    case Qt::Key_Up:
    case Qt::Key_PageDown:
    case Qt::Key_PageUp: {
        if (count == 0)
            return true;
        const int step = key->key() == Qt::Key_Down ? 1 : key->key() == Qt::Key_Up ? -1
                         : key->key() == Qt::Key_PageDown ? 10 : -10;
        int row = m_results->currentRow() + step;
        if (qAbs(step) == 1)
            row = (row + count) % count; // arrows wrap
        m_results->setCurrentRow(qBound(0, row, count - 1));
        return true;
    }
    case Qt::Key_Enter:
        Accept();
        return true;
    default:
        return QFrame::eventFilter(watched, event);
    }
}

} // namespace ke2
