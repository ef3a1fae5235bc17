#include "overlays/find_replace_widget.h"

#include "config/key_bindings.h"
#include "config/key_bindings_notifier.h"
#include "editor/text_search.h"
#include "overlays/flat_button.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QToolButton>

namespace ke2 {

namespace {

constexpr int findNextBinding = 29;
constexpr int findPreviousBinding = 30;
constexpr int replaceNextBinding = 35;
constexpr int replaceAllBinding = 36;

QString WithShortcut(const QString &name, int binding)
{
    const QList<QKeySequence> shortcuts = KeyBindings::instance().shortcuts(binding);
    if (shortcuts.isEmpty() || shortcuts.first().isEmpty())
        return name;
    return QStringLiteral("%1 (%2)").arg(name, shortcuts.first().toString(QKeySequence::NativeText));
}

QWidget *Spacing(QWidget *parent, int width)
{
    auto *spacing = new QWidget(parent);
    spacing->setFixedWidth(width);
    return spacing;
}

} // namespace

FindReplaceWidget::FindReplaceWidget(QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("findReplaceWidget"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);

    auto *findRow = new QWidget(this);
    m_toggleReplace = new QToolButton(findRow);
    m_toggleReplace->setObjectName(QStringLiteral("Toggle Replace"));
    m_toggleReplace->setToolTip(QStringLiteral("Toggle Replace"));
    m_toggleReplace->setIcon(QIcon(QStringLiteral(":/ke2_icons/view_collapsed.png")));
    m_toggleReplace->setAutoRaise(true);
    m_toggleReplace->setFocusPolicy(Qt::NoFocus);
    m_findEdit = new QLineEdit(findRow);
    m_findEdit->setObjectName(QStringLiteral("findEdit"));
    m_findEdit->setPlaceholderText(QStringLiteral("Find"));
    m_matchCase = new FlatButton(QStringLiteral(":/ke2_icons/match_case.png"), QStringLiteral("Match Case"), true, findRow);
    m_matchWord = new FlatButton(QStringLiteral(":/ke2_icons/match_word.png"), QStringLiteral("Match Whole Word"), true, findRow);
    m_regularExpression = new FlatButton(QStringLiteral(":/ke2_icons/regular_expression.png"),
                                         QStringLiteral("Use Regular Expression"), true, findRow);
    m_counter = new QLabel(findRow);
    m_counter->setObjectName(QStringLiteral("counter"));
    m_counter->setMinimumWidth(m_counter->fontMetrics().horizontalAdvance(QStringLiteral("9999 of 9999")));
    m_previous = new FlatButton(QStringLiteral(":/ke2_icons/previous.png"), QStringLiteral("Previous Match"), false, findRow);
    m_next = new FlatButton(QStringLiteral(":/ke2_icons/next.png"), QStringLiteral("Next Match"), false, findRow);
    m_findInSelection = new FlatButton(QStringLiteral(":/ke2_icons/find_in_selection.png"),
                                       QStringLiteral("Find in Selection"), true, findRow);
    m_close = new FlatButton(QStringLiteral(":/ke2_icons/close_white.png"), QStringLiteral("Close"), false, findRow);

    auto *findLayout = new QHBoxLayout(findRow);
    findLayout->setContentsMargins(0, 0, 0, 0);
    findLayout->setSpacing(0);
    findLayout->addWidget(m_toggleReplace);
    findLayout->addWidget(m_findEdit, 1);
    findLayout->addWidget(m_matchCase);
    findLayout->addWidget(Spacing(findRow, 1));
    findLayout->addWidget(m_matchWord);
    findLayout->addWidget(Spacing(findRow, 1));
    findLayout->addWidget(m_regularExpression);
    findLayout->addWidget(m_counter);
    findLayout->addWidget(m_previous);
    findLayout->addWidget(m_next);
    findLayout->addWidget(m_findInSelection);
    findLayout->addWidget(m_close);

    m_replaceRow = new QWidget(this);
    m_indent = Spacing(m_replaceRow, m_toggleReplace->sizeHint().width() + 1);
    m_replaceEdit = new QLineEdit(m_replaceRow);
    m_replaceEdit->setObjectName(QStringLiteral("replaceEdit"));
    m_replaceEdit->setPlaceholderText(QStringLiteral("Replace"));
    m_replace = new FlatButton(QStringLiteral(":/ke2_icons/replace.png"), QStringLiteral("Replace"), false, m_replaceRow);
    m_replaceAll = new FlatButton(QStringLiteral(":/ke2_icons/replace_all.png"), QStringLiteral("Replace All"), false,
                                  m_replaceRow);
    auto *replaceLayout = new QHBoxLayout(m_replaceRow);
    replaceLayout->setContentsMargins(0, 0, 0, 0);
    replaceLayout->setSpacing(0);
    replaceLayout->addWidget(m_indent);
    replaceLayout->addWidget(m_replaceEdit, 1);
    replaceLayout->addWidget(m_replace);
    replaceLayout->addWidget(m_replaceAll);
    // Keeps the replace field as wide as the find field above it.
    replaceLayout->addSpacing(0);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->setSpacing(2);
    layout->addWidget(findRow);
    layout->addWidget(m_replaceRow);
    m_replaceRow->hide();
    m_rowHeight = findRow->sizeHint().height() + 2;

    connect(m_toggleReplace, &QToolButton::clicked, this, &FindReplaceWidget::ToggleReplace);
    connect(m_matchCase, &QToolButton::clicked, this, &FindReplaceWidget::ToggleMatchCase);
    connect(m_matchWord, &QToolButton::clicked, this, &FindReplaceWidget::ToggleMatchWord);
    connect(m_regularExpression, &QToolButton::clicked, this, &FindReplaceWidget::ToggleRegularExpression);
    connect(m_findInSelection, &QToolButton::clicked, this, &FindReplaceWidget::ToggleFindInSelection);
    connect(m_previous, &QToolButton::clicked, this, &FindReplaceWidget::FindPrevious);
    connect(m_next, &QToolButton::clicked, this, &FindReplaceWidget::FindNext);
    connect(m_replace, &QToolButton::clicked, this, &FindReplaceWidget::Replace);
    connect(m_replaceAll, &QToolButton::clicked, this, &FindReplaceWidget::ReplaceAll);
    connect(m_close, &QToolButton::clicked, this, &FindReplaceWidget::Close);
    connect(m_findEdit, &QLineEdit::returnPressed, this, &FindReplaceWidget::OnReturnPressed);
    connect(m_findEdit, &QLineEdit::textChanged, this, &FindReplaceWidget::OnSearchParametersChanged);
    m_findEdit->installEventFilter(this);
    m_replaceEdit->installEventFilter(this);

    SetReplaceShown(false);
    UpdateCounter(0, 0);
    UpdateToolTips();
    // Keys changed in the preferences show at once, also on a bar that is open.
    connect(&KeyBindingsNotifier::instance(), &KeyBindingsNotifier::ShortcutsChanged, this,
            &FindReplaceWidget::UpdateToolTips);
    hide();
}

QString FindReplaceWidget::FindText() const { return m_findEdit->text(); }
QString FindReplaceWidget::ReplaceText() const { return m_replaceEdit->text(); }
bool FindReplaceWidget::MatchCase() const { return m_matchCase->isChecked(); }
bool FindReplaceWidget::MatchWholeWord() const { return m_matchWord->isChecked(); }
bool FindReplaceWidget::UseRegularExpression() const { return m_regularExpression->isChecked(); }
bool FindReplaceWidget::FindInSelection() const { return m_findInSelection->isChecked(); }
QString FindReplaceWidget::CounterText() const { return m_counter->text(); }

void FindReplaceWidget::UpdateCounter(int current, int total, bool complete)
{
    if (current > 0)
        m_currentMatch = current;
    // A search cut short never claims a total: the "+" says there may be more.
    const QString more = complete ? QString() : QStringLiteral("+");
    if (total > 0) {
        m_currentMatch = qBound(1, m_currentMatch, total);
        m_counter->setText(QStringLiteral("%1 of %2%3").arg(m_currentMatch).arg(total).arg(more));
    } else {
        m_counter->setText(complete ? QStringLiteral("No Results") : QStringLiteral("Stopped"));
    }
    m_counter->setToolTip(complete ? QString() : stoppedToolTip());
}

QString FindReplaceWidget::stoppedToolTip()
{
    return QStringLiteral("The search stopped early: the pattern takes too long on this text. "
                          "Replace All is refused until every match is found.");
}

void FindReplaceWidget::ShowMessage(const QString &text)
{
    m_counter->setText(text);
    m_counter->setToolTip(text);
}

void FindReplaceWidget::FitWidth(int available)
{
    const int width = qMax(minimumBarWidth, qMin(preferredWidth, available));
    for (QWidget *widget : {static_cast<QWidget *>(m_matchCase), static_cast<QWidget *>(m_matchWord),
                            static_cast<QWidget *>(m_regularExpression), static_cast<QWidget *>(m_replace),
                            static_cast<QWidget *>(m_replaceAll)})
        widget->setVisible(width >= optionsThreshold);
    for (QWidget *widget : {m_previous, m_next, m_findInSelection})
        widget->setVisible(width >= navigationThreshold);
    m_counter->setVisible(width >= counterThreshold);
    setFixedWidth(width);
}

void FindReplaceWidget::ToggleReplace() { emit ShowRequested(!m_replaceShown); }
void FindReplaceWidget::ToggleMatchCase() { OnSearchParametersChanged(); }
void FindReplaceWidget::ToggleMatchWord() { OnSearchParametersChanged(); }
void FindReplaceWidget::ToggleRegularExpression() { OnSearchParametersChanged(); }
void FindReplaceWidget::ToggleFindInSelection() { OnSearchParametersChanged(); }
void FindReplaceWidget::FindPrevious() { emit FindPreviousRequested(); }
void FindReplaceWidget::FindNext() { emit FindNextRequested(); }
void FindReplaceWidget::Replace() { emit ReplaceRequested(m_replaceEdit->text()); }
void FindReplaceWidget::ReplaceAll() { emit ReplaceAllRequested(m_replaceEdit->text()); }

void FindReplaceWidget::Close()
{
    hide();
    emit Closed();
}

void FindReplaceWidget::OnReturnPressed() { emit FindNextRequested(); }

void FindReplaceWidget::OnSearchParametersChanged()
{
    EmitSearch(false, !m_findInSelection->isChecked());
}

void FindReplaceWidget::EmitSearch(bool findNext, bool updateSelection)
{
    m_regex = TextSearch::BuildRegularExpression(m_findEdit->text(), m_matchCase->isChecked(), m_matchWord->isChecked(),
                                                 m_regularExpression->isChecked());
    // A pattern that cannot be used finds nothing; the field says why.
    if (!m_regex.pattern().isEmpty() && !m_regex.isValid()) {
        m_findEdit->setStyleSheet(QStringLiteral("QLineEdit { border: 1px solid #e51400; }"));
        m_findEdit->setToolTip(QStringLiteral("%1 (at %2)").arg(m_regex.errorString()).arg(m_regex.patternErrorOffset()));
    } else {
        m_findEdit->setStyleSheet(QString());
        m_findEdit->setToolTip(QString());
    }
    emit SearchChanged(m_regex, m_findInSelection->isChecked(), findNext, updateSelection);
}

void FindReplaceWidget::Show(bool replace, const QString &findText)
{
    SetReplaceShown(replace);
    UpdateToolTips();
    show();
    raise();
    if (!findText.isEmpty() && findText != m_findEdit->text())
        m_findEdit->setText(findText); // searches through textChanged
    else
        EmitSearch(false, false);
    m_findEdit->setFocus();
    m_findEdit->selectAll();
}

void FindReplaceWidget::SetReplaceShown(bool shown)
{
    m_replaceShown = shown;
    m_replaceRow->setVisible(shown);
    m_toggleReplace->setIcon(QIcon(shown ? QStringLiteral(":/ke2_icons/view_expanded.png")
                                         : QStringLiteral(":/ke2_icons/view_collapsed.png")));
    setFixedHeight(m_rowHeight * (shown ? 2 : 1) + 4);
}

void FindReplaceWidget::UpdateToolTips()
{
    m_next->setToolTip(WithShortcut(QStringLiteral("Next Match"), findNextBinding));
    m_previous->setToolTip(WithShortcut(QStringLiteral("Previous Match"), findPreviousBinding));
    m_replace->setToolTip(WithShortcut(QStringLiteral("Replace"), replaceNextBinding));
    m_replaceAll->setToolTip(WithShortcut(QStringLiteral("Replace All"), replaceAllBinding));
}

bool FindReplaceWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress)
        return QFrame::eventFilter(watched, event);
    auto *key = static_cast<QKeyEvent *>(event);
    if (key->key() == Qt::Key_Escape) {
        Close();
        return true;
    }
    if (watched == m_findEdit && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)
        && (key->modifiers() & Qt::ShiftModifier)) {
        FindPrevious();
        return true;
    }
    // In replace mode Tab moves between the two fields instead of leaving the bar.
    if (m_replaceShown && (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab)) {
        QLineEdit *other = watched == m_findEdit ? m_replaceEdit : m_findEdit;
        other->setFocus(key->key() == Qt::Key_Tab ? Qt::TabFocusReason : Qt::BacktabFocusReason);
        other->selectAll();
        return true;
    }
    return QFrame::eventFilter(watched, event);
}

} // namespace ke2
