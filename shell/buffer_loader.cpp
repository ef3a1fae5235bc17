#include "shell/buffer_loader.h"

#include "editor/code_editor.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEvent>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtGui/QTextDocument>

#include <algorithm>
#include <atomic>

namespace ke2 {

// What the worker thread hands over; shared, so that a load cancelled while the worker reads
// leaves the worker something to write into.
struct BufferLoader::Decoded {
    std::atomic<bool> cancelled{false};
    bool read = false;
    QString text;
    TextFileFormat format;
    TextFileNotes notes;
    QString error;
};

BufferLoader::BufferLoader(CodeEditor *editor, const QString &path, bool utf8Preferred, QObject *parent)
    : QObject(parent), m_editor(editor), m_path(path), m_utf8Preferred(utf8Preferred),
      m_decoded(std::make_shared<Decoded>())
{
}

BufferLoader::~BufferLoader()
{
    m_decoded->cancelled = true;
}

int BufferLoader::Percent() const
{
    switch (m_stage) {
    case Stage::Idle:
    case Stage::Reading:
        return -1;
    case Stage::Inserting:
        return m_decoded->text.isEmpty() ? 0 : int(qint64(m_inserted) * 100 / m_decoded->text.size());
    case Stage::Done:
    case Stage::Cancelled:
        break;
    }
    return 100;
}

void BufferLoader::Start()
{
    if (m_stage != Stage::Idle || !m_editor)
        return;
    m_stage = Stage::Reading;
    m_wasReadOnly = m_editor->isReadOnly();
    m_editor->setReadOnly(true);
    const std::shared_ptr<Decoded> decoded = m_decoded;
    const QString path = m_path;
    const bool utf8Preferred = m_utf8Preferred;
    QThread *worker = QThread::create([decoded, path, utf8Preferred] {
        decoded->read = TextFile::Read(path, utf8Preferred, decoded->text, decoded->format, &decoded->notes,
                                       &decoded->error);
        if (decoded->cancelled)
            decoded->text.clear();
    });
    // The thread object goes when its work is done, whether or not anyone still waits for it.
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    connect(worker, &QThread::finished, this, &BufferLoader::OnDecoded);
    worker->start(QThread::LowPriority);
    emit Progress(-1);
}

void BufferLoader::StartWhenShown()
{
    if (!m_editor)
        return;
    if (m_editor->isVisible()) {
        Start();
        return;
    }
    // Read-only from now: the empty editor stands for the file and must not be typed into.
    m_wasReadOnly = m_editor->isReadOnly();
    m_editor->setReadOnly(true);
    m_waitingForShow = true;
    m_editor->installEventFilter(this);
}

bool BufferLoader::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_editor && event->type() == QEvent::Show && m_waitingForShow) {
        m_editor->removeEventFilter(this);
        m_waitingForShow = false;
        m_editor->setReadOnly(m_wasReadOnly);
        Start();
    }
    return QObject::eventFilter(watched, event);
}

void BufferLoader::OnDecoded()
{
    if (m_stage != Stage::Reading || !m_editor)
        return;
    if (!m_decoded->read) {
        m_stage = Stage::Done;
        m_editor->setReadOnly(m_wasReadOnly);
        emit Failed(m_decoded->error);
        return;
    }
    m_stage = Stage::Inserting;
    m_end = QTextCursor(m_editor->document());
    m_end.movePosition(QTextCursor::End);
    InsertSlice();
}

void BufferLoader::InsertSlice()
{
    if (m_stage != Stage::Inserting || !m_editor)
        return;
    const QString &text = m_decoded->text;
    int length = std::min(m_sliceLength, int(text.size()) - m_inserted);
    // A slice ends where a line does: the document lays out and colours a whole line at each
    // change to it, so a long line put in over several slices would cost that many times its
    // length. (A line is at most TextFile::wholeLineLength long: longer ones arrive in rows.)
    if (m_inserted + length < text.size()) {
        const int lineEnd = int(text.indexOf(QLatin1Char('\n'), m_inserted + length - 1));
        length = (lineEnd < 0 ? int(text.size()) : lineEnd + 1) - m_inserted;
    }
    QElapsedTimer timer;
    timer.start();
    QTextDocument *document = m_editor->document();
    // Only an edit between two slices can have set the flag: each slice clears it. (With undo
    // off the document would count every change of colours as an edit, so it stays on.)
    m_editedMeanwhile = m_editedMeanwhile || document->isModified();
    // The editor's cursor shares the end of an empty document with the insertion, and would be
    // carried along: it stays at the start, where the reader begins.
    const bool first = m_inserted == 0 && document->isEmpty();
    m_end.insertText(text.mid(m_inserted, length));
    m_inserted += length;
    if (first)
        m_editor->moveCursor(QTextCursor::Start);
    // A slice is no step anyone could undo. The loaded part is the file's text, not an edit: it
    // stays unmodified, so no recovery copy ever takes a part for the whole.
    document->clearUndoRedoStacks();
    document->setModified(m_editedMeanwhile);
    // The next slice is as long as this one's pace allows within the budget (at most twice as
    // long, so that one quick slice does not make a slow one).
    const double spent = std::max(timer.nsecsElapsed() / 1e6, 0.1);
    m_sliceLength = std::clamp(int(m_sliceLength * std::min(2.0, SliceBudgetMs / spent)), 4096, 4 * 1024 * 1024);
    if (m_inserted >= text.size()) {
        Finish();
        return;
    }
    emit Progress(Percent());
    QTimer::singleShot(0, this, &BufferLoader::InsertSlice);
}

void BufferLoader::Finish()
{
    QTextDocument *document = m_editor->document();
    m_editedMeanwhile = m_editedMeanwhile || document->isModified();
    document->clearUndoRedoStacks();
    document->setModified(m_editedMeanwhile);
    m_editor->setReadOnly(m_wasReadOnly);
    m_stage = Stage::Done;
    const TextFileFormat format = m_decoded->format;
    const TextFileNotes notes = m_decoded->notes;
    m_decoded->text = QString();
    emit Progress(100);
    emit Loaded(format, notes);
}

} // namespace ke2
