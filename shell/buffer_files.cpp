#include "shell/buffer_files.h"

#include "editor/text_mirror.h"
#include "shell/text_file.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QHash>
#include <QtCore/QMutex>
#include <QtCore/QPointer>
#include <QtCore/QSaveFile>
#include <QtCore/QTemporaryFile>
#include <QtCore/QThreadPool>

namespace ke2 {

namespace {

// First line of every recovery copy; the second is the file's path, the rest its text.
const char recoveryHeader[] = "kestrelEditor2 recovery copy";

} // namespace

namespace BufferFiles {

QString CreateInternalBufferFile(CodeEditorLanguage language, const QString &directory, QString *errorString)
{
    QString pattern;
    switch (language) {
    case LANGUAGE_MEL:
        pattern = QStringLiteral("melBuffer_XXXXXX.mel");
        break;
    case LANGUAGE_PYTHON:
        pattern = QStringLiteral("pythonBuffer_XXXXXX.py");
        break;
    case LANGUAGE_TEXT:
        pattern = QStringLiteral("textBuffer_XXXXXX.txt");
        break;
    }
    QTemporaryFile file(QStringLiteral("%1/").arg(directory) + pattern);
    file.setAutoRemove(false);
    if (directory.isEmpty() || !file.open()) {
        if (errorString)
            *errorString = file.errorString();
        return QString();
    }
    return QFileInfo(file.fileName()).absoluteFilePath();
}

QString CleanInternalBufferName(const QString &name, bool *removed)
{
    QString cleaned = name;
    cleaned.remove(QLatin1Char(';'));
    if (removed)
        *removed = cleaned.size() != name.size();
    return cleaned;
}

CodeEditorLanguage LanguageForPath(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("py") || suffix == QLatin1String("pyw"))
        return LANGUAGE_PYTHON;
    // A Maya ASCII scene is MEL: highlighting and the outline apply to it.
    if (suffix == QLatin1String("mel") || suffix == QLatin1String("ma"))
        return LANGUAGE_MEL;
    return LANGUAGE_TEXT;
}

} // namespace BufferFiles

// The background writes of one set of copies: a single worker, and per copy the ticket of the
// write that may land. The ticket is taken and the copy renamed into place under the lock, so a
// write asked for before a Remove can never put the copy back after it.
struct RecoveryCopies::Writes {
    QThreadPool pool;
    QMutex mutex;
    QHash<QString, quint64> tickets;
    Writes() { pool.setMaxThreadCount(1); }
    ~Writes() { pool.waitForDone(); }
};

RecoveryCopies::RecoveryCopies(const QString &directory)
    : m_directory(directory), m_writes(std::make_shared<Writes>())
{
}

quint64 RecoveryCopies::NextTicket(const QString &copyPath) const
{
    return ++m_writes->tickets[copyPath];
}

QString RecoveryCopies::CopyPath(const QString &filePath) const
{
    const QByteArray hash = QCryptographicHash::hash(filePath.toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    return QStringLiteral("%1/recovery_%2%3").arg(m_directory, QString::fromLatin1(hash), Suffix());
}

bool RecoveryCopies::Write(const QString &filePath, const QString &text) const
{
    if (m_directory.isEmpty() || filePath.isEmpty())
        return false;
    QByteArray bytes(recoveryHeader);
    bytes += '\n' + filePath.toUtf8() + '\n' + text.toUtf8();
    const QString copyPath = CopyPath(filePath);
    {
        QMutexLocker lock(&m_writes->mutex);
        NextTicket(copyPath); // a background write still on its way is older than this one
    }
    return TextFile::WriteBytes(copyPath, bytes);
}

void RecoveryCopies::WriteInBackground(const QString &filePath, const TextSnapshot &snapshot, QObject *context,
                                       std::function<void(bool)> done) const
{
    if (m_directory.isEmpty() || filePath.isEmpty()) {
        done(false);
        return;
    }
    const QString copyPath = CopyPath(filePath);
    quint64 ticket = 0;
    {
        QMutexLocker lock(&m_writes->mutex);
        ticket = NextTicket(copyPath);
    }
    const QPointer<QObject> receiver(context);
    m_writes->pool.start([writes = m_writes.get(), filePath, copyPath, snapshot, ticket, receiver, done] {
        QByteArray bytes(recoveryHeader);
        bytes += '\n' + filePath.toUtf8() + '\n' + snapshot.Text().toUtf8();
        bool landed = false;
        QSaveFile out(copyPath);
        if (out.open(QIODevice::WriteOnly)) {
            const bool written = out.write(bytes) == bytes.size() && TextFile::SyncToDisk(out);
            QMutexLocker lock(&writes->mutex);
            if (written && writes->tickets.value(copyPath) == ticket) {
                landed = out.commit();
            } else {
                out.cancelWriting();
                out.commit(); // removes the unfinished file beside the copy
            }
        }
        if (receiver)
            QMetaObject::invokeMethod(receiver, [done, landed] { done(landed); }, Qt::QueuedConnection);
    });
}

void RecoveryCopies::WaitForWrites() const
{
    m_writes->pool.waitForDone();
}

void RecoveryCopies::Remove(const QString &filePath) const
{
    if (m_directory.isEmpty())
        return;
    const QString copyPath = CopyPath(filePath);
    QMutexLocker lock(&m_writes->mutex);
    NextTicket(copyPath);
    QFile::remove(copyPath);
}

bool RecoveryCopies::Exists(const QString &filePath) const
{
    return !m_directory.isEmpty() && QFileInfo::exists(CopyPath(filePath));
}

bool RecoveryCopies::ReadCopy(const QString &copyPath, Copy &copy)
{
    QFile file(copyPath);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    const int headerEnd = bytes.indexOf('\n');
    const int pathEnd = headerEnd < 0 ? -1 : bytes.indexOf('\n', headerEnd + 1);
    if (pathEnd < 0 || bytes.left(headerEnd) != recoveryHeader)
        return false;
    // Lengths passed: the text may hold NULs.
    copy.filePath = QString::fromUtf8(bytes.constData() + headerEnd + 1, pathEnd - headerEnd - 1);
    copy.text = QString::fromUtf8(bytes.constData() + pathEnd + 1, bytes.size() - pathEnd - 1);
    return !copy.filePath.isEmpty();
}

QVector<RecoveryCopies::Copy> RecoveryCopies::ReadAll() const
{
    QVector<Copy> copies;
    if (m_directory.isEmpty())
        return copies;
    const QStringList names =
        QDir(m_directory).entryList({QStringLiteral("recovery_*") + Suffix()}, QDir::Files, QDir::Name);
    for (const QString &name : names) {
        Copy copy;
        if (ReadCopy(QStringLiteral("%1/%2").arg(m_directory, name), copy))
            copies.append(copy);
    }
    return copies;
}

bool RecoveryCopies::Read(const QString &filePath, QString &text) const
{
    Copy copy;
    if (m_directory.isEmpty() || !ReadCopy(CopyPath(filePath), copy) || copy.filePath != filePath)
        return false;
    text = copy.text;
    return true;
}

} // namespace ke2
