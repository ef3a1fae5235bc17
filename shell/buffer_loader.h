#pragma once

#include "shell/text_file.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtGui/QTextCursor>

#include <memory>

namespace ke2 {

class CodeEditor;
class Highlighter;

// Opens a file into an empty editor without holding up the window. The file is read and decoded
// on a worker thread; its text then goes into the document in slices of about `SliceBudgetMs`
// each, the first screen first, so the window repaints and takes keys between them. Until the
// last slice is in the editor is read-only, so keys cannot edit it; an edit made some other way
// (a command on the document) is kept, with the rest of the file following the loaded part, and
// leaves the buffer modified. Closing the tab (destroying the editor) cancels the rest. The
// window must not save a buffer while it loads: that would cut the file short.
class BufferLoader : public QObject {
    Q_OBJECT
public:
    static constexpr int SliceBudgetMs = 8;
    // Files from this size on are opened this way.
    static constexpr qint64 InPiecesSize = 8 * 1024 * 1024;
    // Files of a restored session from this size on wait for their tab to be shown.
    static constexpr qint64 DeferredSize = 512 * 1024;

    // `editor` must be empty; the loader neither owns nor outlives it.
    BufferLoader(CodeEditor *editor, const QString &path, bool utf8Preferred, QObject *parent = nullptr);
    ~BufferLoader() override;

    void Start();
    // Starts once the editor is first shown (at once if it is visible): a tab behind others
    // costs nothing until the user looks at it.
    void StartWhenShown();
    CodeEditor *Editor() const { return m_editor; }
    QString Path() const { return m_path; }
    // Until the whole text is in, waiting for the first show included.
    bool IsLoading() const { return m_stage != Stage::Done && m_stage != Stage::Cancelled; }
    // 0 to 100; -1 while the file is still being read (the length is not known yet).
    int Percent() const;
    // Where the cursor and the view go once the text is in (-1: the start). Until then they are
    // what a session saves for the tab: the editor itself is still empty or partly filled.
    void SetPositionsToRestore(int cursor, int scroll)
    {
        m_cursorToRestore = cursor;
        m_scrollToRestore = scroll;
    }
    int CursorToRestore() const { return m_cursorToRestore; }
    int ScrollToRestore() const { return m_scrollToRestore; }

signals:
    void Progress(int percent);
    // Every character is in, and the document is as if it had been set in one piece: not
    // modified, no undo step. `format` and `notes` are the file's, as TextFile::Read gives them.
    void Loaded(const TextFileFormat &format, const TextFileNotes &notes);
    void Failed(const QString &why);

private:
    struct Decoded;
    enum class Stage { Idle, Reading, Inserting, Done, Cancelled };

    bool eventFilter(QObject *watched, QEvent *event) override;
    void OnDecoded();
    void InsertSlice();
    void Finish();

    QPointer<CodeEditor> m_editor;
    // The editor's highlighter, its pass over the line states held until the text is in.
    QPointer<Highlighter> m_statesHeld;
    QString m_path;
    bool m_utf8Preferred;
    Stage m_stage = Stage::Idle;
    std::shared_ptr<Decoded> m_decoded;
    QTextCursor m_end;
    qint64 m_inserted = 0;
    // Characters of the first waiting piece already in.
    int m_inPiece = 0;
    int m_sliceLength = 64 * 1024;
    bool m_wasReadOnly = false;
    bool m_editedMeanwhile = false;
    bool m_waitingForShow = false;
    int m_cursorToRestore = -1;
    int m_scrollToRestore = -1;
};

} // namespace ke2
