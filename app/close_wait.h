#pragma once

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

class QAction;
class QWidget;

namespace ke2 {

class KestrelEditor;
class PythonHost;

// File > Quit with the platform's key (Ctrl+Q here) for the standalone program, whose window is
// the whole program; inside Maya the host quits. It closes the window as its close button does.
QAction *addQuitAction(KestrelEditor &window);

// The standalone window closes the way python3 ends: while threads the user's scripts started
// (and the interpreter would wait for) are still running, the close waits for them visibly, with
// a message in the output and a busy cursor, and the window closes by itself once they end. A
// second close request stops waiting; those threads then end with the interpreter.
class CloseWait : public QObject {
    Q_OBJECT
public:
    explicit CloseWait(PythonHost &host, QObject *parent = nullptr);
    ~CloseWait() override;

    // What the window's close calls: true when the window may close now.
    bool closeRequested();
    // Routes `window`'s close events through closeRequested() and closes it again once the
    // threads have ended.
    void watch(QWidget *window);

    bool isWaiting() const { return m_timer.isActive(); }
    // The user closed a second time: the interpreter must not wait for the threads.
    bool cutShort() const { return m_cutShort; }

    static QString waitingMessage(const QStringList &threads);

signals:
    void threadsEnded();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void poll();
    void stopWaiting();

    PythonHost &m_host;
    QPointer<QWidget> m_window;
    QTimer m_timer;
    bool m_cutShort = false;
};

} // namespace ke2
