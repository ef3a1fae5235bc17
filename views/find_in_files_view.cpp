#include "views/find_in_files_view.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QStyledItemDelegate>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QTreeWidget>

namespace ke2 {

namespace {

enum Role { PathRole = Qt::UserRole + 1, LineRole, MatchesRole, ReplaceRole, TextRole, CountRole };

// Line `line` (0-based) of `text`, without its line break.
QString LineOf(const QString &text, int line)
{
    int start = 0;
    for (int n = 0; n < line && start >= 0; ++n) {
        start = text.indexOf(QLatin1Char('\n'), start);
        start = start < 0 ? -1 : start + 1;
    }
    if (start < 0)
        return QString();
    int end = text.indexOf(QLatin1Char('\n'), start);
    if (end < 0)
        end = text.size();
    if (end > start && text.at(end - 1) == QLatin1Char('\r'))
        --end;
    return text.mid(start, end - start);
}

// Characters of context kept before the first match of a long line.
constexpr int contextBefore = 30;
constexpr int shortLine = 60;

QToolButton *OptionButton(QWidget *parent, const QString &icon, const QString &name)
{
    auto *button = new QToolButton(parent);
    button->setObjectName(name);
    button->setToolTip(name);
    button->setIcon(QIcon(icon));
    button->setCheckable(true);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::NoFocus);
    return button;
}

// A result line: its text with each match on a highlight; with replace text the match is struck
// through and the replacement follows it.
class ResultDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const QVariant matchesData = index.data(MatchesRole);
        if (!matchesData.isValid()) {
            QStyledItemDelegate::paint(painter, option, index);
            return;
        }
        QStyleOptionViewItem background = option;
        initStyleOption(&background, index);
        background.text.clear();
        option.widget->style()->drawControl(QStyle::CE_ItemViewItem, &background, painter, option.widget);

        const QString text = index.data(Qt::DisplayRole).toString();
        const QString replacement = index.data(ReplaceRole).toString();
        const bool replacing = index.data(ReplaceRole).isValid();
        const QPalette::ColorRole textRole =
            option.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::Text;
        QRect rect = option.rect.adjusted(4, 0, -2, 0);
        painter->save();
        painter->setClipRect(option.rect);
        QFont font = option.font;
        auto draw = [&](const QString &part, const QColor &fill, bool strike) {
            if (part.isEmpty() || rect.width() <= 0)
                return;
            font.setStrikeOut(strike);
            painter->setFont(font);
            const int width = QFontMetrics(font).horizontalAdvance(part);
            const QRect area(rect.left(), rect.top(), width, rect.height());
            if (fill.isValid())
                painter->fillRect(area.adjusted(0, 1, 0, -1), fill);
            painter->setPen(option.palette.color(textRole));
            painter->drawText(area, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine, part);
            rect.setLeft(rect.left() + width);
        };
        int at = 0;
        for (const QVariant &value : matchesData.toList()) {
            const QPoint match = value.toPoint(); // x: start, y: length
            draw(text.mid(at, match.x() - at), QColor(), false);
            if (replacing) {
                draw(text.mid(match.x(), match.y()), QColor(230, 80, 60, 90), true);
                draw(replacement, QColor(90, 190, 90, 90), false);
            } else {
                draw(text.mid(match.x(), match.y()), QColor(234, 160, 40, 110), false);
            }
            at = match.x() + match.y();
        }
        draw(text.mid(at), QColor(), false);
        painter->restore();
    }
};

} // namespace

FindInFilesView::FindInFilesView(QWidget *parent) : QWidget(parent), m_search(new FindInFilesSearch(this))
{
    setObjectName(QStringLiteral("findInFilesView"));
    m_toggleReplace = new QToolButton(this);
    m_toggleReplace->setObjectName(QStringLiteral("Toggle Replace"));
    m_toggleReplace->setToolTip(QStringLiteral("Toggle Replace"));
    m_toggleReplace->setIcon(QIcon(QStringLiteral(":/ke2_icons/view_collapsed.png")));
    m_toggleReplace->setAutoRaise(true);
    m_searchEdit = new QLineEdit(this);
    m_searchEdit->setObjectName(QStringLiteral("searchEdit"));
    m_searchEdit->setPlaceholderText(QStringLiteral("Search"));
    m_searchEdit->setClearButtonEnabled(true);
    m_matchCase = ke2::OptionButton(this, QStringLiteral(":/ke2_icons/match_case.png"), QStringLiteral("Match Case"));
    m_matchWord = ke2::OptionButton(this, QStringLiteral(":/ke2_icons/match_word.png"), QStringLiteral("Match Whole Word"));
    m_regularExpression = ke2::OptionButton(this, QStringLiteral(":/ke2_icons/regular_expression.png"),
                                            QStringLiteral("Use Regular Expression"));
    auto *searchRow = new QHBoxLayout;
    searchRow->setSpacing(1);
    searchRow->addWidget(m_toggleReplace);
    searchRow->addWidget(m_searchEdit, 1);
    searchRow->addWidget(m_matchCase);
    searchRow->addWidget(m_matchWord);
    searchRow->addWidget(m_regularExpression);

    m_replaceRow = new QWidget(this);
    m_replaceEdit = new QLineEdit(m_replaceRow);
    m_replaceEdit->setObjectName(QStringLiteral("replaceEdit"));
    m_replaceEdit->setPlaceholderText(QStringLiteral("Replace"));
    m_replaceAll = new QToolButton(m_replaceRow);
    m_replaceAll->setObjectName(QStringLiteral("Replace All"));
    m_replaceAll->setToolTip(QStringLiteral("Replace All"));
    m_replaceAll->setIcon(QIcon(QStringLiteral(":/ke2_icons/replace_all.png")));
    m_replaceAll->setAutoRaise(true);
    auto *replaceRow = new QHBoxLayout(m_replaceRow);
    replaceRow->setContentsMargins(m_toggleReplace->sizeHint().width() + 1, 0, 0, 0);
    replaceRow->setSpacing(1);
    replaceRow->addWidget(m_replaceEdit, 1);
    replaceRow->addWidget(m_replaceAll);
    m_replaceRow->hide();

    m_includeEdit = new QLineEdit(this);
    m_includeEdit->setObjectName(QStringLiteral("includeEdit"));
    m_includeEdit->setPlaceholderText(QStringLiteral("files to include (*.py, scripts/*)"));
    m_excludeEdit = new QLineEdit(this);
    m_excludeEdit->setObjectName(QStringLiteral("excludeEdit"));
    m_excludeEdit->setPlaceholderText(QStringLiteral("files to exclude"));

    m_scopeRow = new QWidget(this);
    m_scopeLabel = new QLabel(m_scopeRow);
    auto *clearScope = new QToolButton(m_scopeRow);
    clearScope->setIcon(QIcon(QStringLiteral(":/ke2_icons/clear_field.png")));
    clearScope->setToolTip(QStringLiteral("Search the whole workspace"));
    clearScope->setAutoRaise(true);
    auto *scopeRow = new QHBoxLayout(m_scopeRow);
    scopeRow->setContentsMargins(0, 0, 0, 0);
    scopeRow->addWidget(m_scopeLabel, 1);
    scopeRow->addWidget(clearScope);
    m_scopeRow->hide();

    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("status"));
    m_results = new QTreeWidget(this);
    m_results->setObjectName(QStringLiteral("results"));
    m_results->setHeaderHidden(true);
    m_results->setUniformRowHeights(true);
    m_results->setItemDelegate(new ResultDelegate(m_results));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->setSpacing(3);
    layout->addLayout(searchRow);
    layout->addWidget(m_replaceRow);
    layout->addWidget(m_includeEdit);
    layout->addWidget(m_excludeEdit);
    layout->addWidget(m_scopeRow);
    layout->addWidget(m_status);
    layout->addWidget(m_results, 1);

    m_delay.setSingleShot(true);
    m_delay.setInterval(searchDelay);
    connect(&m_delay, &QTimer::timeout, this, &FindInFilesView::StartSearch);
    auto later = [this] { m_delay.start(); };
    connect(m_searchEdit, &QLineEdit::textChanged, this, later);
    connect(m_searchEdit, &QLineEdit::returnPressed, this, &FindInFilesView::StartSearch);
    for (QLineEdit *edit : {m_includeEdit, m_excludeEdit})
        connect(edit, &QLineEdit::returnPressed, this, &FindInFilesView::StartSearch);
    for (QToolButton *button : {m_matchCase, m_matchWord, m_regularExpression})
        connect(button, &QToolButton::toggled, this, &FindInFilesView::StartSearch);
    connect(m_replaceEdit, &QLineEdit::textChanged, this, [this] {
        // The preview follows the replace text.
        const bool replacing = !m_replaceEdit->text().isEmpty() || m_replaceRow->isVisible();
        for (int i = 0; i < m_results->topLevelItemCount(); ++i) {
            QTreeWidgetItem *file = m_results->topLevelItem(i);
            for (int j = 0; j < file->childCount(); ++j)
                file->child(j)->setData(0, ReplaceRole, replacing ? QVariant(m_replaceEdit->text()) : QVariant());
        }
    });
    connect(m_replaceAll, &QToolButton::clicked, this, &FindInFilesView::ReplaceAll);
    connect(m_toggleReplace, &QToolButton::clicked, this, [this] {
        m_replaceRow->setVisible(!m_replaceRow->isVisible());
        m_toggleReplace->setIcon(QIcon(m_replaceRow->isVisible() ? QStringLiteral(":/ke2_icons/view_expanded.png")
                                                                 : QStringLiteral(":/ke2_icons/view_collapsed.png")));
        emit m_replaceEdit->textChanged(m_replaceEdit->text());
    });
    connect(clearScope, &QToolButton::clicked, this, [this] {
        SetScope({}, QString());
        StartSearch();
    });
    connect(m_results, &QTreeWidget::itemClicked, this, &FindInFilesView::OnItemActivated);
    connect(m_results, &QTreeWidget::itemActivated, this, &FindInFilesView::OnItemActivated);
    connect(m_results, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem *item) {
        if (item && item->parent())
            emit SearchFocusChanged(item->data(0, PathRole).toString(), item->data(0, LineRole).toPoint().x());
    });
    m_results->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_results, &QTreeWidget::customContextMenuRequested, this, [this](const QPoint &pos) {
        QTreeWidgetItem *item = m_results->itemAt(pos);
        if (!item)
            return;
        const QString path = item->data(0, PathRole).toString();
        const int line = item->parent() ? item->data(0, LineRole).toPoint().x() : 0;
        QMenu menu(this);
        connect(menu.addAction(QStringLiteral("Replace in This File")), &QAction::triggered, this,
                [this, path, line] { emit FindAndReplace(path, line); });
        menu.exec(m_results->viewport()->mapToGlobal(pos));
    });
    connect(m_search, &FindInFilesSearch::ResultsFound, this, &FindInFilesView::OnResultsFound);
    connect(m_search, &FindInFilesSearch::Finished, this, &FindInFilesView::OnFinished);
    UpdateStatus();
}

QToolButton *FindInFilesView::OptionButton(const QString &name) const
{
    return findChild<QToolButton *>(name);
}

void FindInFilesView::SetScope(const QStringList &paths, const QString &title)
{
    m_scope = paths;
    m_scopeLabel->setText(QStringLiteral("Searching in: %1").arg(title));
    m_scopeLabel->setToolTip(QDir::toNativeSeparators(paths.join(QLatin1Char('\n'))));
    m_scopeRow->setVisible(!paths.isEmpty());
}

void FindInFilesView::Focus(const QString &text)
{
    if (!text.isEmpty() && text != m_searchEdit->text()) {
        m_searchEdit->setText(text);
        StartSearch();
    }
    m_searchEdit->setFocus();
    m_searchEdit->selectAll();
}

void FindInFilesView::StartSearch()
{
    m_delay.stop();
    m_results->clear();
    m_refreshed.clear();
    m_noteText.clear();
    m_lineCount = 0;
    m_matchCount = 0;
    m_cancelled = false;
    m_limited = false;
    m_regex = TextSearch::BuildRegularExpression(m_searchEdit->text(), m_matchCase->isChecked(),
                                                 m_matchWord->isChecked(), m_regularExpression->isChecked());
    const bool invalid = !m_regex.pattern().isEmpty() && !m_regex.isValid();
    m_searchEdit->setStyleSheet(invalid ? QStringLiteral("QLineEdit { border: 1px solid #e51400; }") : QString());
    m_searchEdit->setToolTip(
        invalid ? QStringLiteral("%1 (at %2)").arg(m_regex.errorString()).arg(m_regex.patternErrorOffset()) : QString());
    FindInFilesQuery query;
    query.regex = m_regex;
    query.include = FindInFilesSearch::SplitPatterns(m_includeEdit->text());
    query.exclude = FindInFilesSearch::SplitPatterns(m_excludeEdit->text());
    if (m_provider)
        m_provider(query);
    if (!m_scope.isEmpty())
        query.roots = m_scope;
    m_query = query;
    m_search->Start(query); // an invalid or empty search finishes at once with nothing
    UpdateStatus();
    if (m_regex.pattern().isEmpty())
        emit SearchCleared();
    else if (!invalid)
        emit SearchRequested(m_searchEdit->text(), query.include, query.exclude, m_matchCase->isChecked(),
                             m_matchWord->isChecked(), m_regularExpression->isChecked());
}

void FindInFilesView::CancelSearch()
{
    m_delay.stop();
    m_search->Cancel();
}

QTreeWidgetItem *FindInFilesView::FileItem(const QString &path) const
{
    for (int i = 0; i < m_results->topLevelItemCount(); ++i)
        if (m_results->topLevelItem(i)->data(0, PathRole).toString() == path)
            return m_results->topLevelItem(i);
    return nullptr;
}

void FindInFilesView::OnResultsFound(const QVector<FindInFilesResult> &results)
{
    for (const FindInFilesResult &result : results) {
        if (m_refreshed.contains(result.path))
            continue; // searched again in its buffer since
        FillFile(new QTreeWidgetItem(m_results), result);
    }
    UpdateStatus();
}

void FindInFilesView::UpdateOpenText(const QString &path, const QString &text)
{
    if (m_regex.pattern().isEmpty() || !m_regex.isValid())
        return;
    QTreeWidgetItem *file = FileItem(path);
    if (!file && !FindInFilesSearch::InScope(m_query, path))
        return;
    FindInFilesResult result;
    FindInFilesSearch::SearchText(TextSearch(m_regex), path, text, result);
    m_refreshed.insert(path);
    if (result.lines.isEmpty()) {
        if (file) {
            m_lineCount -= file->childCount();
            m_matchCount -= file->data(0, CountRole).toInt();
            delete file;
        }
    } else {
        FillFile(file ? file : new QTreeWidgetItem(m_results), result);
    }
    UpdateStatus();
}

void FindInFilesView::FillFile(QTreeWidgetItem *file, const FindInFilesResult &result)
{
    m_lineCount -= file->childCount();
    m_matchCount -= file->data(0, CountRole).toInt();
    qDeleteAll(file->takeChildren());
    const bool replacing = m_replaceRow->isVisible() || !m_replaceEdit->text().isEmpty();
    {
        const QFileInfo info(result.path);
        int matches = 0;
        for (const FindInFilesLine &line : result.lines) {
            // Lines are shown without their indentation, and long ones from shortly before the
            // first match.
            int cut = 0;
            while (cut < line.text.size() && line.text.at(cut).isSpace())
                ++cut;
            if (!line.matches.isEmpty() && line.matches.first().start - cut > shortLine)
                cut = line.matches.first().start - contextBefore;
            // The line number first, as every editor's search list shows it.
            const QString shown = QStringLiteral("%1: ").arg(line.line + 1)
                                  + (cut > 0 && !line.text.left(cut).trimmed().isEmpty() ? QStringLiteral("\u2026") : QString())
                                  + line.text.mid(cut);
            const int shift = shown.size() - (line.text.size() - cut);
            QVariantList spans;
            for (const TextMatch &match : line.matches)
                spans << QPoint(match.start - cut + shift, match.length);
            auto *item = new QTreeWidgetItem(file);
            item->setText(0, shown);
            item->setToolTip(0, QStringLiteral("%1:%2").arg(QDir::toNativeSeparators(result.path), QString::number(line.line + 1)));
            item->setData(0, PathRole, result.path);
            item->setData(0, LineRole, QPoint(line.line, line.matches.isEmpty() ? 0 : line.matches.first().start));
            item->setData(0, TextRole, line.text);
            item->setData(0, MatchesRole, spans);
            if (replacing)
                item->setData(0, ReplaceRole, m_replaceEdit->text());
            matches += line.matches.size();
        }
        // A file not searched to its end says so on its own row, first (the side bar is narrow)
        // and in full at the end and in the tip.
        const QString shownPath = QStringLiteral("%1  %2  (%3)").arg(info.fileName(), QDir::toNativeSeparators(info.path()), QString::number(matches));
        file->setText(0, result.cutShort.isEmpty()
                             ? shownPath
                             : QStringLiteral("\u26a0 ") + shownPath + QStringLiteral("  cut short: ") + result.cutShort);
        file->setIcon(0, QIcon(info.suffix() == QLatin1String("mel")  ? QStringLiteral(":/ke2_icons/mel.png")
                               : info.suffix().startsWith(QLatin1String("py")) ? QStringLiteral(":/ke2_icons/python.png")
                                                                         : QStringLiteral(":/ke2_icons/text.png")));
        file->setToolTip(0, result.cutShort.isEmpty() ? QDir::toNativeSeparators(result.path)
                                                      : QStringLiteral("%1\nNot searched to its end: %2")
                                                            .arg(QDir::toNativeSeparators(result.path), result.cutShort));
        file->setData(0, PathRole, result.path);
        file->setData(0, CountRole, matches);
        file->setExpanded(true);
        m_lineCount += result.lines.size();
        m_matchCount += matches;
    }
}

void FindInFilesView::OnFinished(bool cancelled, bool limited)
{
    m_cancelled = cancelled;
    m_limited = limited;
    UpdateStatus();
}

QString FindInFilesView::StatusText() const { return m_status->text(); }

void FindInFilesView::UpdateStatus()
{
    QString text;
    if (m_regex.pattern().isEmpty())
        text = QString();
    else if (m_matchCount == 0)
        text = m_search->IsRunning() ? QStringLiteral("Searching...") : QStringLiteral("No results");
    else
        text = QStringLiteral("%1 results in %2 files").arg(m_matchCount).arg(m_results->topLevelItemCount());
    if (m_search->IsRunning() && m_matchCount > 0)
        text += QStringLiteral(" (searching...)");
    else if (m_cancelled)
        text += QStringLiteral(" (search cancelled)");
    else if (m_limited)
        text += QStringLiteral(" (stopped at %1 lines)").arg(m_query.lineLimit);
    if (!m_noteText.isEmpty())
        text += QLatin1Char('\n') + m_noteText;
    m_status->setText(text.trimmed());
}

void FindInFilesView::OnItemActivated(QTreeWidgetItem *item)
{
    if (!item || !item->parent())
        return;
    const QString path = item->data(0, PathRole).toString();
    const QPoint at = item->data(0, LineRole).toPoint();
    QString current;
    if (m_openText && m_openText(path, current) && LineOf(current, at.x()) != item->data(0, TextRole).toString()) {
        // The buffer changed since its results were made: they are made again (after the
        // click is over, as it still refers to the item), and the same line is looked for.
        const QString text = item->data(0, TextRole).toString();
        QMetaObject::invokeMethod(this, [this, path, current, text, line = at.x()] {
            UpdateOpenText(path, current);
            QTreeWidgetItem *best = nullptr;
            if (QTreeWidgetItem *file = FileItem(path)) {
                for (int i = 0; i < file->childCount(); ++i) {
                    QTreeWidgetItem *candidate = file->child(i);
                    const int distance = qAbs(candidate->data(0, LineRole).toPoint().x() - line);
                    if (candidate->data(0, TextRole).toString() == text
                        && (!best || distance < qAbs(best->data(0, LineRole).toPoint().x() - line)))
                        best = candidate;
                }
            }
            if (!best) {
                m_noteText = QStringLiteral("The match on line %1 of %2 is no longer there.")
                                 .arg(line + 1)
                                 .arg(QFileInfo(path).fileName());
                UpdateStatus();
                return;
            }
            m_results->setCurrentItem(best);
            OnItemActivated(best);
        }, Qt::QueuedConnection);
        return;
    }
    m_noteText.clear();
    UpdateStatus();
    const QVariantList spans = item->data(0, MatchesRole).toList();
    const int length = spans.isEmpty() ? 0 : spans.first().toPoint().y();
    emit OpenMatchRequested(path, at.x(), at.y(), length);
}

void FindInFilesView::OpenAdjacentResult(int step)
{
    QList<QTreeWidgetItem *> lines;
    for (int i = 0; i < m_results->topLevelItemCount(); ++i)
        for (int j = 0; j < m_results->topLevelItem(i)->childCount(); ++j)
            lines << m_results->topLevelItem(i)->child(j);
    if (lines.isEmpty())
        return;
    int index = lines.indexOf(m_results->currentItem());
    index = index < 0 ? (step > 0 ? 0 : lines.size() - 1) : (index + step + lines.size()) % lines.size();
    m_results->setCurrentItem(lines.at(index));
    OnItemActivated(lines.at(index));
}

void FindInFilesView::ReplaceAll()
{
    QStringList paths;
    for (int i = 0; i < m_results->topLevelItemCount(); ++i)
        paths << m_results->topLevelItem(i)->data(0, PathRole).toString();
    if (paths.isEmpty() || m_regex.pattern().isEmpty() || !m_regex.isValid())
        return;
    const QString replaceText = m_replaceEdit->text();
    const auto answer = QMessageBox::question(
        this, QStringLiteral("Replace All"),
        QStringLiteral("Replace %1 occurrences across %2 files with \"%3\"?").arg(m_matchCount).arg(paths.size()).arg(replaceText),
        QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel);
    if (answer != QMessageBox::Yes)
        return;
    m_search->Cancel();
    emit ReplaceRequested(m_regex, replaceText, paths, m_regularExpression->isChecked());
    StartSearch();
}

void FindInFilesView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape && m_search->IsRunning()) {
        CancelSearch();
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

} // namespace ke2
