#include "shell/buffer_loader.h"

#include "editor/code_editor.h"
#include "language/highlighter.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEvent>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtGui/QTextDocument>

#include <algorithm>
#include <atomic>
#include <climits>
#include <deque>

#ifdef Q_OS_LINUX
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace ke2 {

// What the worker thread hands over; shared, so that a load cancelled while the worker reads
// leaves the worker something to write into.
struct BufferLoader::Decoded {
    std::atomic<bool> cancelled{false};
    bool read = false;
    // The text in pieces that end at line ends (the last at the end of the text), each let go
    // once it is in the document: a file's text is not held twice until the load ends.
    std::deque<QString> pieces;
    qint64 length = 0;
    int lines = 1;
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
    // An editor that outlives its unfinished load still gets its states. (The editor itself may
    // be half gone here, as the owner of this loader: only the highlighter is asked.)
    if (m_stage == Stage::Inserting && m_statesHeld)
        m_statesHeld->HoldStatePass(false);
}

namespace {

constexpr int PieceLength = 4 * 1024 * 1024;

// Cuts `text` into pieces of about PieceLength ending at line ends, from the back: the text
// shrinks as the pieces are taken, so the pieces and the rest together stay its size.
std::deque<QString> inPieces(QString &text, const std::atomic<bool> &cancelled)
{
    QVector<int> starts{0};
    for (int from = PieceLength; from < text.size();) {
        const int lineEnd = int(text.indexOf(QLatin1Char('\n'), from - 1));
        if (lineEnd < 0 || lineEnd + 1 >= text.size())
            break;
        starts.append(lineEnd + 1);
        from = lineEnd + 1 + PieceLength;
    }
    std::deque<QString> pieces;
    for (int i = starts.size() - 1; i >= 0 && !cancelled; --i) {
        pieces.push_front(text.mid(starts.at(i)));
        text.truncate(starts.at(i));
        // Shrinking in place gives the memory back at once.
        text.squeeze();
    }
    text = QString();
    return pieces;
}

} // namespace

int BufferLoader::Percent() const
{
    switch (m_stage) {
    case Stage::Idle:
    case Stage::Reading:
        return -1;
    case Stage::Inserting:
        return m_decoded->length == 0 ? 0 : int(m_inserted * 100 / m_decoded->length);
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
#ifdef Q_OS_LINUX
        // QThread's priorities do nothing for ordinary Linux threads, a niceness does: the
        // window's thread stays first for the processor while the file is read and decoded.
        ::setpriority(PRIO_PROCESS, pid_t(::syscall(SYS_gettid)), 10);
#endif
        QString text;
        decoded->read = TextFile::Read(path, utf8Preferred, text, decoded->format, &decoded->notes, &decoded->error);
        decoded->length = text.size();
        decoded->lines = int(std::min<qint64>(text.count(QLatin1Char('\n')) + 1, INT_MAX));
        if (!decoded->cancelled)
            decoded->pieces = inPieces(text, decoded->cancelled);
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
    // Lines are coloured as they are shown, not as they go in.
    if (auto *highlighter = qobject_cast<Highlighter *>(m_editor->Highlighter())) {
        highlighter->HighlightOnDemand();
        highlighter->HoldStatePass(true);
        m_statesHeld = highlighter;
    }
    m_editor->ReserveLineNumbers(m_decoded->lines);
    // The text's mirror follows it in as it goes in, a slice at a time, rather than being read
    // whole (holding up the window) at the first pause after the load.
    m_editor->Snapshot();
    m_end = QTextCursor(m_editor->document());
    m_end.movePosition(QTextCursor::End);
    InsertSlice();
}

void BufferLoader::InsertSlice()
{
    if (m_stage != Stage::Inserting || !m_editor)
        return;
    std::deque<QString> &pieces = m_decoded->pieces;
    while (!pieces.empty() && m_inPiece >= pieces.front().size()) {
        pieces.pop_front();
        m_inPiece = 0;
    }
    if (pieces.empty()) {
        Finish();
        return;
    }
    const QString &text = pieces.front();
    int length = std::min(m_sliceLength, int(text.size()) - m_inPiece);
    // A slice ends where a line does: the document lays out a whole line at each change to it,
    // so a long line put in over several slices would cost that many times its length. (A line
    // is at most TextFile::wholeLineLength long: longer ones arrive in rows.) Pieces end at line
    // ends too.
    if (m_inPiece + length < text.size()) {
        const int lineEnd = int(text.indexOf(QLatin1Char('\n'), m_inPiece + length - 1));
        length = (lineEnd < 0 ? int(text.size()) : lineEnd + 1) - m_inPiece;
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
    auto *highlighter = qobject_cast<Highlighter *>(m_editor->Highlighter());
    if (highlighter)
        highlighter->SetChangesUncoloured(true);
    m_end.insertText(m_inPiece == 0 && length == text.size() ? text : text.mid(m_inPiece, length));
    if (highlighter)
        highlighter->SetChangesUncoloured(false);
    m_inPiece += length;
    m_inserted += length;
    if (first)
        m_editor->moveCursor(QTextCursor::Start);
    // A slice is no step anyone could undo. The loaded part is the file's text, not an edit: it
    // stays unmodified, so no recovery copy ever takes a part for the whole.
    document->clearUndoRedoStacks();
    document->setModified(m_editedMeanwhile);
    // The next slice is as long as this one's pace allows within the budget (at most twice as
    // long, so that one quick slice does not make a slow one). The pace is of the characters this
    // slice took: one cut short at the end of a piece is quick, and must not double the next.
    const double spent = std::max(timer.nsecsElapsed() / 1e6, 0.1);
    m_sliceLength = std::clamp(int(length * std::min(2.0, SliceBudgetMs / spent)), 4096, 4 * 1024 * 1024);
    if (m_inserted >= m_decoded->length) {
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
    m_editor->ReserveLineNumbers(0);
    if (m_statesHeld)
        m_statesHeld->HoldStatePass(false);
    m_stage = Stage::Done;
    const TextFileFormat format = m_decoded->format;
    const TextFileNotes notes = m_decoded->notes;
    m_decoded->pieces.clear();
    emit Progress(100);
    emit Loaded(format, notes);
}

} // namespace ke2
