#include "app/close_wait.h"

#include "app/python_host.h"
#include "shell/kestrel_editor.h"

#include <QtCore/QEvent>
#include <QtGui/QGuiApplication>
#include <QAction>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QWidget>

namespace ke2 {

QAction *addQuitAction(KestrelEditor &window)
{
    QMenu *file = nullptr;
    for (QAction *entry : window.MenuBar()->actions())
        if (entry->menu() && entry->menu()->title() == QLatin1String("File"))
            file = entry->menu();
    auto *quit = new QAction(QStringLiteral("Quit"), &window);
    quit->setStatusTip(QStringLiteral("Quit"));
    // Where the platform has no quit key of its own, Ctrl+Q.
    const QList<QKeySequence> keys = QKeySequence::keyBindings(QKeySequence::Quit);
    quit->setShortcuts(keys.isEmpty() ? QList<QKeySequence>{QKeySequence(QStringLiteral("Ctrl+Q"))} : keys);
    quit->setMenuRole(QAction::QuitRole);
    // Anywhere in the window, as the window's other actions.
    window.addAction(quit);
    if (file) {
        file->addSeparator();
        file->addAction(quit);
    }
    QObject::connect(quit, &QAction::triggered, &window, &QWidget::close);
    return quit;
}

CloseWait::CloseWait(PythonHost &host, QObject *parent) : QObject(parent), m_host(host)
{
    m_timer.setInterval(100);
    connect(&m_timer, &QTimer::timeout, this, &CloseWait::poll);
}

CloseWait::~CloseWait()
{
    stopWaiting();
}

QString CloseWait::waitingMessage(const QStringList &threads)
{
    return QStringLiteral("Waiting for %1 script thread%2 to finish (%3); close the window again to stop waiting.")
        .arg(threads.size())
        .arg(threads.size() == 1 ? QString() : QStringLiteral("s"))
        .arg(threads.join(QStringLiteral(", ")));
}

bool CloseWait::closeRequested()
{
    if (m_cutShort)
        return true;
    if (isWaiting()) {
        m_cutShort = true;
        stopWaiting();
        return true;
    }
    const QStringList threads = m_host.runningScriptThreads();
    if (threads.isEmpty())
        return true;
    m_host.displayWarning(waitingMessage(threads));
    QGuiApplication::setOverrideCursor(Qt::BusyCursor);
    m_timer.start();
    return false;
}

void CloseWait::watch(QWidget *window)
{
    if (m_window)
        m_window->removeEventFilter(this);
    m_window = window;
    if (window)
        window->installEventFilter(this);
}

bool CloseWait::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_window && event->type() == QEvent::Close && !closeRequested()) {
        event->ignore();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void CloseWait::poll()
{
    m_host.deliverThreadOutput();
    if (!m_host.runningScriptThreads().isEmpty())
        return;
    stopWaiting();
    emit threadsEnded();
    if (m_window)
        m_window->close();
}

void CloseWait::stopWaiting()
{
    if (!m_timer.isActive())
        return;
    m_timer.stop();
    QGuiApplication::restoreOverrideCursor();
}

} // namespace ke2
