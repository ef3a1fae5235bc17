#include "shell/buffer_io.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "plugin/host_bridge.h"

#include <QtCore/QFileInfo>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QWidget>

namespace ke2 {

namespace {

// The window never works without showing it.
class BusyCursor {
public:
    BusyCursor() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }
    ~BusyCursor() { QGuiApplication::restoreOverrideCursor(); }
    BusyCursor(const BusyCursor &) = delete;
    BusyCursor &operator=(const BusyCursor &) = delete;
};

} // namespace

BufferIo::BufferIo(QWidget *window) : QObject(window), m_window(window) {}

bool BufferIo::Utf8Preferred()
{
    return Settings::instance().utf8FileEncodingForReadWrite;
}

bool BufferIo::Confirm(const QString &path, ReadMode mode, TextFileProbe *found)
{
    const TextFileProbe probe = TextFile::Probe(path);
    if (found)
        *found = probe;
    if (!probe.exists || !QFileInfo(path).isFile()) {
        HostBridge::showError(QStringLiteral("Failed to open file: %1").arg(path));
        return false;
    }
    if (mode == ReadMode::Ask && (probe.looksBinary || probe.isLarge() || probe.hasLongLine())) {
        QString question;
        if (probe.looksBinary)
            question = QStringLiteral("'%1' looks like a binary file. Opening it as text shows bytes, not "
                                      "lines, and saving it may damage it.\n\nOpen it anyway?")
                           .arg(path);
        else if (!probe.isLarge())
            question = QStringLiteral("'%1' has a line of %2 MB. Lines this long are shown broken into rows of %3 "
                                      "characters, each ending in a %4 mark; saving writes them back unbroken.\n\n"
                                      "Open it anyway?")
                           .arg(path, QString::number(double(probe.longestLine) / (1024 * 1024), 'f', 1),
                                QString::number(TextFile::pieceLength), QString(QChar(0x21A9)));
        else
            question = QStringLiteral("'%1' is %2 MB. It loads in the background: what is in can be read and "
                                      "scrolled at once, and the file can be edited and saved once it is all in "
                                      "(the status bar shows how far it is).\n\nOpen it?")
                           .arg(path, QString::number(probe.size / (1024 * 1024)));
        if (QMessageBox::question(m_window, QStringLiteral("Open File"), question, QMessageBox::Yes | QMessageBox::No,
                                  QMessageBox::No) != QMessageBox::Yes)
            return false;
    }
    return true;
}

bool BufferIo::Read(const QString &path, QString &text, TextFileFormat &format, ReadMode mode)
{
    if (!Confirm(path, mode))
        return false;
    TextFileNotes notes;
    bool read = false;
    {
        BusyCursor busy;
        read = TextFile::Read(path, Utf8Preferred(), text, format, &notes);
    }
    if (!read) {
        HostBridge::showError(QStringLiteral("Failed to open file: %1").arg(path));
        return false;
    }
    ReportNotes(path, format, notes);
    return true;
}

void BufferIo::ReportNotes(const QString &path, const TextFileFormat &format, const TextFileNotes &notes)
{
    if (notes.fellBackToLatin1)
        HostBridge::showWarning(
            QStringLiteral("'%1' is not valid UTF-8; it was opened as Latin-1 and is saved as Latin-1.").arg(path));
    if (notes.mixedLineEndings)
        HostBridge::showWarning(
            QStringLiteral("'%1' mixes line endings; saving it writes %2 throughout.").arg(path, format.LineEndingName()));
}

bool BufferIo::Write(const QString &path, const QString &text, TextFileFormat &format)
{
    TextFileNotes notes;
    bool written = false;
    QString why;
    {
        BusyCursor busy;
        written = TextFile::Write(path, text, format, &notes, &why, m_recovery.Directory());
    }
    if (!written) {
        HostBridge::showError(QStringLiteral("Failed to open file for save: %1 (%2)").arg(path, why));
        return false;
    }
    m_changes.AddOwnWrite(path);
    if (notes.encodingChanged)
        HostBridge::showWarning(
            QStringLiteral("'%1' now holds characters its old encoding cannot store; it was saved as UTF-8.").arg(path));
    return true;
}

void BufferIo::SetFormat(QObject *editor, const TextFileFormat &format)
{
    if (!editor)
        return;
    if (!m_formats.contains(editor))
        connect(editor, &QObject::destroyed, this, [this, editor] { m_formats.remove(editor); });
    m_formats.insert(editor, format);
    if (auto *codeEditor = qobject_cast<CodeEditor *>(editor))
        codeEditor->SetPieceBreak(format.pieceBreak);
}

TextFileFormat BufferIo::Format(QObject *editor) const
{
    return m_formats.value(editor, TextFileFormat::ForNewFile(Utf8Preferred()));
}

} // namespace ke2
