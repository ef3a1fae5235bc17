// The output pane: a read-only view of what the host prints, until the full output panel takes
// its place here (CreateOutputPane and the few functions below are the whole seam).
#include "shell/kestrel_editor.h"

#include "config/settings.h"

#include <QtGui/QTextCursor>
#include <QtWidgets/QAction>
#include <QtWidgets/QApplication>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

namespace ke2 {

QWidget *KestrelEditor::CreateOutputPane()
{
    auto *pane = new QWidget;
    pane->setObjectName(QStringLiteral("OutputPane"));
    auto *header = new QHBoxLayout;
    header->setContentsMargins(8, 2, 4, 2);
    header->setSpacing(4);
    auto *title = new QLabel(QStringLiteral("OUTPUT"), pane);
    QFont font = title->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    title->setFont(font);
    auto *clear = new QToolButton(pane);
    clear->setIcon(QIcon(QStringLiteral(":/ke2_icons/clear_field.png")));
    clear->setToolTip(QStringLiteral("Clear"));
    clear->setAutoRaise(true);
    header->addWidget(title);
    header->addStretch(1);
    header->addWidget(clear);

    m_outputText = new QPlainTextEdit(pane);
    m_outputText->setObjectName(QStringLiteral("OutputText"));
    m_outputText->setReadOnly(true);
    m_outputText->setFrameStyle(QFrame::NoFrame);
    m_outputText->setLineWrapMode(Settings::instance().outputWordWrapEnabled ? QPlainTextEdit::WidgetWidth
                                                                            : QPlainTextEdit::NoWrap);
    m_outputText->setMaximumBlockCount(Settings::clampOutputBufferSize(Settings::instance().outputBufferSize));
    m_outputText->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    connect(clear, &QToolButton::clicked, this, &KestrelEditor::ClearHistory);

    auto *layout = new QVBoxLayout(pane);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(header);
    layout->addWidget(m_outputText, 1);
    return pane;
}

void KestrelEditor::AppendOutput(const QString &text)
{
    if (!m_outputText || text.isEmpty())
        return;
    QScrollBar *bar = m_outputText->verticalScrollBar();
    const bool atEnd = bar->value() == bar->maximum();
    QTextCursor cursor(m_outputText->document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(text);
    if (atEnd)
        bar->setValue(bar->maximum());
}

QString KestrelEditor::OutputText() const
{
    return m_outputText ? m_outputText->toPlainText() : QString();
}

void KestrelEditor::ClearHistory()
{
    if (m_outputText)
        m_outputText->clear();
}

bool KestrelEditor::OutputHasFocus() const
{
    for (QWidget *widget = QApplication::focusWidget(); widget; widget = widget->parentWidget())
        if (widget == m_outputText)
            return true;
    return false;
}

void KestrelEditor::UpdateOutputVerbosity()
{
    QObject *from = sender();
    m_outputVerbosity = from == m_echoAllAction ? 0 : from == m_minimalAction ? 2 : 1;
}

void KestrelEditor::ToggleWriteOutputToFile()
{
    // Writing the output to a log file comes with the full output panel.
    m_writeOutputToFileAction->setChecked(false);
}

} // namespace ke2
