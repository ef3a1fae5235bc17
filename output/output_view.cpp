#include "output/output_view.h"

#include "config/settings.h"
#include "output/output_text_edit.h"
#include "plugin/host.h"
#include "plugin/host_bridge.h"

#include <QtCore/QFileInfo>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QToolButton>

namespace ke2 {

namespace {

QString writeToFileText()
{
    return QStringLiteral("Write to File");
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
    m_header->setMinimumWidth(0);
    m_header->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_writeToFile = new QToolButton(this);
    m_writeToFile->setIcon(QIcon(QStringLiteral(":/ke2_icons/write_to_file.png")));
    m_writeToFile->setAutoRaise(true);
    m_clear = new QToolButton(this);
    m_clear->setIcon(QIcon(QStringLiteral(":/ke2_icons/clear_field.png")));
    m_clear->setToolTip(QStringLiteral("Clear"));
    m_clear->setAutoRaise(true);
    m_text = new OutputTextEdit(this);
    UpdateWriteToFileToolTip();

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

    connect(m_verbosity, qOverload<int>(&QComboBox::currentIndexChanged), this, &OutputView::OnOutputTypeChanged);
    connect(m_writeToFile, &QToolButton::clicked, this, &OutputView::ToggleWriteToFile);
    connect(m_clear, &QToolButton::clicked, this, &OutputView::ClearAll);
    connect(m_text, &OutputTextEdit::IncreaseFontSizeRequested, this, &OutputView::IncreaseOutputFontSizeRequested);
    connect(m_text, &OutputTextEdit::DecreaseFontSizeRequested, this, &OutputView::DecreaseOutputFontSizeRequested);
    connect(m_text, &OutputTextEdit::ReceivedFocus, this, &OutputView::ReceivedFocus);
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
