#include "output/output_view.h"

#include "config/key_bindings.h"
#include "config/key_bindings_notifier.h"
#include "config/settings.h"
#include "editor/text_search.h"
#include "output/output_text_edit.h"
#include "overlays/find_replace_widget.h"
#include "plugin/host.h"
#include "plugin/host_bridge.h"

#include <QtCore/QFileInfo>
#include <QtGui/QKeyEvent>
#include <QtGui/QTextBlock>
#include <QtGui/QTextDocument>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QToolButton>

#include <algorithm>

namespace ke2 {

namespace {

QString writeToFileText()
{
    return QStringLiteral("Write to File");
}

// The first key of a binding as the user reads it, or empty.
QString firstKey(const QString &identifier)
{
    const ActionBinding *binding = KeyBindings::instance().find(identifier);
    if (!binding || binding->shortcuts.isEmpty() || binding->shortcuts.first().isEmpty())
        return QString();
    return binding->shortcuts.first().toString(QKeySequence::NativeText);
}

} // namespace

OutputView::OutputView(QWidget *parent) : QWidget(parent)
{
    m_header = new QLabel(QStringLiteral("OUTPUT"), this);
    m_verbosity = new QComboBox(this);
    m_verbosity->setToolTip(QStringLiteral("Output Verbosity"));
    m_verbosity->addItems({QStringLiteral("Echo All"), QStringLiteral("Normal"), QStringLiteral("Minimal")});
    m_verbosity->setCurrentIndex(HostVerbosity());
    // The panel may sit beside the editors in a narrow column: the header gives way.
    m_verbosity->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_verbosity->setMinimumContentsLength(3);
    // The title shows at its full width whenever the row has room; in a narrow column it may
    // still give way.
    m_header->setMinimumWidth(1); // 0 would mean "unset": the text width
    m_header->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    m_header->setContentsMargins(4, 0, 0, 0);
    m_writeToFile = new QToolButton(this);
    m_writeToFile->setIcon(QIcon(QStringLiteral(":/ke2_icons/write_to_file.png")));
    m_writeToFile->setAutoRaise(true);
    m_clear = new QToolButton(this);
    m_clear->setIcon(QIcon(QStringLiteral(":/ke2_icons/clear_field.png")));
    m_clear->setToolTip(QStringLiteral("Clear"));
    m_clear->setAutoRaise(true);
    m_text = new OutputTextEdit(this);
    m_hint = new QLabel(m_text->viewport());
    m_hint->setObjectName(QStringLiteral("outputEmptyHint"));
    m_hint->setEnabled(false); // drawn greyed, as a placeholder
    m_hint->setWordWrap(true); // a narrow panel wraps it rather than cutting it off
    m_hint->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_text->viewport()->installEventFilter(this);
    UpdateWriteToFileToolTip();
    UpdateEmptyHint();

    auto *header = new QHBoxLayout;
    header->setContentsMargins(0, 0, 0, 0);
    header->setSpacing(4);
    header->addWidget(m_header);
    header->addStretch(1);
    header->addWidget(m_verbosity);
    header->addWidget(m_writeToFile);
    header->addWidget(m_clear);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(header);
    layout->addWidget(m_text);
    m_evaluate = new QLineEdit(this);
    m_evaluate->setObjectName(QStringLiteral("OutputEvaluate"));
    m_evaluate->setPlaceholderText(QStringLiteral("Evaluate in the paused frame"));
    m_evaluate->hide();
    layout->addWidget(m_evaluate);
    connect(m_evaluate, &QLineEdit::returnPressed, this, [this] {
        const QString expression = m_evaluate->text().trimmed();
        if (expression.isEmpty())
            return;
        m_evaluate->clear();
        emit EvaluateRequested(expression);
    });

    connect(m_verbosity, qOverload<int>(&QComboBox::currentIndexChanged), this, &OutputView::OnOutputTypeChanged);
    connect(m_writeToFile, &QToolButton::clicked, this, &OutputView::ToggleWriteToFile);
    connect(m_clear, &QToolButton::clicked, this, &OutputView::ClearAll);
    connect(m_text, &OutputTextEdit::IncreaseFontSizeRequested, this, &OutputView::IncreaseOutputFontSizeRequested);
    connect(m_text, &OutputTextEdit::DecreaseFontSizeRequested, this, &OutputView::DecreaseOutputFontSizeRequested);
    connect(m_text, &OutputTextEdit::ReceivedFocus, this, &OutputView::ReceivedFocus);
    connect(m_text->document(), &QTextDocument::contentsChanged, this, [this] {
        m_hint->setVisible(m_text->document()->isEmpty() && !m_text->HasPendingOutput());
    });
    connect(m_text, &OutputTextEdit::FindMatchesChanged, this, &OutputView::UpdateFindCounter);
    connect(&KeyBindingsNotifier::instance(), &KeyBindingsNotifier::ShortcutsChanged, this,
            &OutputView::UpdateEmptyHint);
}

void OutputView::UpdateEmptyHint()
{
    QStringList parts;
    const QString execute = firstKey(QStringLiteral("execute"));
    const QString line = firstKey(QStringLiteral("executeLine"));
    const QString all = firstKey(QStringLiteral("executeAll"));
    if (!execute.isEmpty())
        parts << QStringLiteral("%1 (selection or buffer)").arg(execute);
    if (!line.isEmpty())
        parts << QStringLiteral("%1 (line)").arg(line);
    if (!all.isEmpty())
        parts << QStringLiteral("%1 (all)").arg(all);
    m_hint->setText(parts.isEmpty() ? QStringLiteral("The output of the code you run appears here.")
                                    : QStringLiteral("Run code with ") + parts.join(QStringLiteral(", ")) + QLatin1Char('.'));
    m_hint->setVisible(m_text->document()->isEmpty() && !m_text->HasPendingOutput());
    PlaceOverlays();
}

void OutputView::SetEvaluateVisible(bool visible)
{
    // What was typed stays for the next pause.
    m_evaluate->setVisible(visible);
}

QToolButton *OutputView::JumpToEndButton() const
{
    return m_text->JumpToEndButton();
}

bool OutputView::HasFocusInside() const
{
    const QWidget *focus = QApplication::focusWidget();
    return focus && (focus == m_text || (m_findBar && m_findBar->isAncestorOf(focus)));
}

bool OutputView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_text->viewport() && event->type() == QEvent::Resize)
        PlaceOverlays();
    return QWidget::eventFilter(watched, event);
}

void OutputView::PlaceOverlays()
{
    const QRect area = m_text->viewport()->rect();
    m_hint->move(6, 4);
    const int width = std::max(0, area.width() - 12);
    m_hint->resize(std::min(width, m_hint->fontMetrics().horizontalAdvance(m_hint->text()) + 2),
                   m_hint->heightForWidth(width));
    if (m_findBar) {
        m_findBar->FitWidth(area.width() - 4);
        m_findBar->move(std::max(0, area.width() - m_findBar->width() - 2), 0);
        m_findBar->raise();
    }
}

// --- find ----------------------------------------------------------------------------------------

void OutputView::ShowFind()
{
    if (!m_findBar) {
        m_findBar = new FindReplaceWidget(m_text->viewport());
        connect(m_findBar, &FindReplaceWidget::SearchChanged, this,
                [this](const QRegularExpression &expression, bool, bool findNext, bool updateSelection) {
                    OnSearchChanged(expression);
                    // Typing finds as it goes: the match at or after the selection's start.
                    if (findNext || updateSelection)
                        SelectMatch(true, !findNext);
                });
        connect(m_findBar, &FindReplaceWidget::FindNextRequested, this, &OutputView::FindNext);
        connect(m_findBar, &FindReplaceWidget::FindPreviousRequested, this, &OutputView::FindPrevious);
        // The output is read-only: the bar finds only.
        connect(m_findBar, &FindReplaceWidget::ShowRequested, this, [this] { m_findBar->Show(false); });
        connect(m_findBar, &FindReplaceWidget::Closed, this, [this] {
            m_text->SetFindExpression(QRegularExpression(), false);
            m_text->setFocus();
        });
    }
    const QString selected = m_text->textCursor().selectedText();
    const bool oneLine = !selected.contains(QChar(QChar::ParagraphSeparator));
    m_findBar->Show(false, oneLine ? selected : QString());
    PlaceOverlays();
}

void OutputView::OnSearchChanged(const QRegularExpression &expression)
{
    m_findExpression = expression;
    m_text->SetFindExpression(expression, m_findBar && m_findBar->isVisible());
    UpdateFindCounter();
}

void OutputView::FindNext()
{
    SelectMatch(true);
}

void OutputView::FindPrevious()
{
    SelectMatch(false);
}

void OutputView::SelectMatch(bool forward, bool fromSelectionStart)
{
    if (!m_findBar || !m_findBar->isVisible())
        ShowFind();
    const TextSearch search(m_findExpression);
    if (search.FindsNothing())
        return;
    QVector<TextMatch> matches;
    search.FindAll(m_text->document()->toPlainText(), matches);
    if (matches.isEmpty()) {
        m_findBar->UpdateCounter(0, 0);
        return;
    }
    const QTextCursor cursor = m_text->textCursor();
    int index = -1;
    if (forward) {
        for (int i = 0; i < matches.size() && index < 0; ++i)
            if (matches.at(i).start >= (fromSelectionStart ? cursor.selectionStart() : cursor.selectionEnd()))
                index = i;
        if (index < 0)
            index = 0;
    } else {
        for (int i = matches.size() - 1; i >= 0 && index < 0; --i)
            if (matches.at(i).start + matches.at(i).length <= cursor.selectionStart())
                index = i;
        if (index < 0)
            index = matches.size() - 1;
    }
    QTextCursor select(m_text->document());
    select.setPosition(matches.at(index).start);
    select.setPosition(matches.at(index).start + matches.at(index).length, QTextCursor::KeepAnchor);
    m_text->setTextCursor(select);
    m_text->centerCursor();
    m_findBar->UpdateCounter(index + 1, matches.size());
}

void OutputView::UpdateFindCounter()
{
    if (!m_findBar || !m_findBar->isVisible())
        return;
    const TextSearch search(m_findExpression);
    QVector<TextMatch> matches;
    if (!search.FindsNothing())
        search.FindAll(m_text->document()->toPlainText(), matches);
    const int start = m_text->textCursor().selectionStart();
    int current = 0;
    for (int i = 0; i < matches.size(); ++i)
        if (matches.at(i).start == start)
            current = i + 1;
    m_findBar->UpdateCounter(current, matches.size());
}

void OutputView::AppendText(const QString &text)
{
    m_text->AppendText(text);
}

void OutputView::ClearAll()
{
    m_text->ClearAll();
}

int OutputView::CurrentVerbosity() const
{
    return m_verbosity->currentIndex();
}

void OutputView::ShowVerbosity(int level)
{
    const QSignalBlocker blocker(m_verbosity);
    m_verbosity->setCurrentIndex(level);
}

int OutputView::HostVerbosity()
{
    if (HostBridge::echoAllCommands())
        return EchoAll;
    return Settings::instance().outputMinimalTrace ? Minimal : Normal;
}

void OutputView::ApplyVerbosity(int level)
{
    HostBridge::setEchoAllCommands(level == EchoAll);
    Settings::instance().outputMinimalTrace = level == Minimal;
}

void OutputView::OnOutputTypeChanged(int level)
{
    if (level < EchoAll || level > Minimal)
        return;
    ApplyVerbosity(level);
    emit EchoAllCommandsChanged();
}

QString OutputView::LogFileName(const QString &chosen, const QString &selectedFilter)
{
    if (chosen.isEmpty() || selectedFilter != LogFilter() || !QFileInfo(chosen).suffix().isEmpty())
        return chosen;
    return chosen + QStringLiteral(".log");
}

void OutputView::ToggleWriteToFile()
{
    if (m_text->IsWritingToFile()) {
        const QMessageBox::StandardButton answer =
            QMessageBox::question(this, QStringLiteral("Stop writing to file"),
                                  QStringLiteral("Stop writing output to file?"), QMessageBox::Yes | QMessageBox::No);
        if (answer != QMessageBox::Yes)
            return;
        m_text->StopWritingToFile();
        UpdateWriteToFileToolTip();
        emit WriteToFileUpdated(false);
        return;
    }
    QFileDialog dialog(this, QStringLiteral("Write Output to File"), QString(),
                       QStringLiteral("%1;;%2").arg(LogFilter(), AllFilesFilter()));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    WriteToFile(LogFileName(dialog.selectedFiles().constFirst(), dialog.selectedNameFilter()));
}

bool OutputView::WriteToFile(const QString &path)
{
    if (!m_text->StartWritingToFile(path)) {
        HostBridge::showError(QStringLiteral("Failed to open log file for write: %1").arg(path));
        return false;
    }
    UpdateWriteToFileToolTip();
    emit WriteToFileUpdated(true);
    return true;
}

void OutputView::UpdateWriteToFileToolTip()
{
    m_writeToFile->setToolTip(m_text->IsWritingToFile()
                                  ? QStringLiteral("%1 (%2)").arg(writeToFileText(), m_text->LogFilePath())
                                  : writeToFileText());
}

} // namespace ke2
