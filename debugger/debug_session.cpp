#include "debugger/debug_session.h"

#include "plugin/debug_pause.h"
#include "plugin/host_bridge.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtGui/QKeyEvent>

namespace ke2 {

// The pause a stop waits in; shared so that it outlives a session deleted while it waits.
struct DebugSession::Pending {
    QEventLoop loop;
    QString action = QStringLiteral("continue");
};

namespace {
// The window's session that the host's stops reach; the newest one when several exist.
DebugSession *g_active = nullptr;
} // namespace

DebugSession::DebugSession(QObject *parent) : QObject(parent)
{
    g_active = this;
    DebugPause::setHandler([](const QString &info) { return g_active ? g_active->OnPause(info) : QString(); });
    DebugPause::setCanceller([] {
        if (g_active)
            g_active->Stop();
    });
}

DebugSession::~DebugSession()
{
    if (g_active == this) {
        g_active = nullptr;
        DebugPause::setHandler(nullptr);
        DebugPause::setCanceller(nullptr);
    }
    // The window goes while a run is paused (quit, unload): the run is stopped, so its
    // `finally` blocks run, and nothing of this session is touched again.
    if (m_pending) {
        m_pending->action = QStringLiteral("stop");
        m_pending->loop.quit();
    }
}

bool DebugSession::Start(const QString &source, const QString &fileName, int firstLine,
                         const QString &breakpointsJson, bool pauseOnExceptions)
{
    if (IsActive() || !HostBridge::prepareDebugger())
        return false;
    HostBridge::setDebuggerBreakpoints(breakpointsJson);
    m_state = State::Running;
    HostBridge::debugPythonText(source, fileName, firstLine, pauseOnExceptions);
    emit Started();
    return true;
}

void DebugSession::SetBreakpoints(const QString &breakpointsJson)
{
    if (IsPaused())
        HostBridge::setDebuggerBreakpoints(breakpointsJson);
}

QString DebugSession::OnPause(const QString &info)
{
    const QJsonObject stop = QJsonDocument::fromJson(info.toUtf8()).object();
    const QString event = stop.value(QStringLiteral("event")).toString();
    if (event == QLatin1String("ended")) {
        const bool wasActive = IsActive();
        m_state = State::Idle;
        if (wasActive)
            emit Ended();
        return QString();
    }
    if (event != QLatin1String("paused") || m_pending)
        return QStringLiteral("continue");
    m_reason = stop.value(QStringLiteral("reason")).toString();
    m_exception = stop.value(QStringLiteral("exception")).toString();
    m_frames.clear();
    for (const QJsonValue &value : stop.value(QStringLiteral("frames")).toArray()) {
        const QJsonObject frame = value.toObject();
        m_frames.append({frame.value(QStringLiteral("name")).toString(), frame.value(QStringLiteral("file")).toString(),
                         frame.value(QStringLiteral("line")).toInt()});
    }
    m_selectedFrame = 0;
    m_state = State::Paused;
    auto pending = std::make_shared<Pending>();
    m_pending = pending;
    const QPointer<DebugSession> self(this);
    // An Esc pressed before this stop belonged to the running code, not to this pause. While
    // paused, the host's own Esc watch may not run (inside Maya it watches only while the host
    // is busy), so the key is also taken as the windows receive it.
    DebugPause::takeInterrupt();
    QCoreApplication::instance()->installEventFilter(this);
    QTimer escape;
    escape.setInterval(20);
    connect(&escape, &QTimer::timeout, this, [this] {
        if (DebugPause::takeInterrupt())
            Interrupt();
    });
    escape.start();
    emit Paused();
    // The host's own loop goes on turning: its windows repaint, timers fire, the editor reads
    // and navigates. What would run code is refused by the window while paused.
    if (m_pending == pending)
        pending->loop.exec();
    if (self) {
        QCoreApplication::instance()->removeEventFilter(this);
        m_pending.reset();
        m_frames.clear();
        m_state = State::Running;
        emit Resumed();
    }
    return pending->action;
}

void DebugSession::Resume(const QString &action)
{
    if (!m_pending)
        return;
    m_pending->action = action;
    m_pending->loop.quit();
    // Until the loop returns, the stop still stands; the view is told now.
    m_state = State::Running;
}

void DebugSession::Continue()
{
    Resume(QStringLiteral("continue"));
}

void DebugSession::StepOver()
{
    Resume(QStringLiteral("over"));
}

void DebugSession::StepInto()
{
    Resume(QStringLiteral("into"));
}

void DebugSession::StepOut()
{
    Resume(QStringLiteral("out"));
}

void DebugSession::Stop()
{
    Resume(QStringLiteral("stop"));
}

bool DebugSession::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress && IsPaused() && watched->isWidgetType()) {
        const auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Escape && key->modifiers() == Qt::NoModifier) {
            Interrupt();
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

void DebugSession::Interrupt()
{
    Resume(QStringLiteral("interrupt"));
}

void DebugSession::RunToCursor(const QString &file, int line)
{
    Resume(QStringLiteral("cursor %1 %2").arg(line).arg(file));
}

void DebugSession::SelectFrame(int index)
{
    if (!IsPaused() || index < 0 || index >= m_frames.size())
        return;
    m_selectedFrame = index;
    emit FrameSelected(index);
}

QVector<DebugSession::Variable> DebugSession::Variables(const QString &ref) const
{
    QVector<Variable> variables;
    if (!IsPaused())
        return variables;
    const QString argument = ref.toInt() > 0 ? ref : HostBridge::pythonStringLiteral(ref);
    const QString text = HostBridge::debuggerQuery(
        QStringLiteral("variables(%1, %2)").arg(m_selectedFrame).arg(argument));
    for (const QJsonValue &value : QJsonDocument::fromJson(text.toUtf8()).array()) {
        const QJsonArray row = value.toArray();
        variables.append({row.at(0).toString(), row.at(1).toString(), row.at(2).toString(), row.at(3).toInt()});
    }
    return variables;
}

bool DebugSession::Evaluate(const QString &expression, QString &text) const
{
    text.clear();
    if (!IsPaused())
        return false;
    const QJsonArray answer = QJsonDocument::fromJson(
                                  HostBridge::debuggerQuery(QStringLiteral("evaluate(%1, %2)")
                                                                .arg(m_selectedFrame)
                                                                .arg(HostBridge::pythonStringLiteral(expression)))
                                      .toUtf8())
                                  .array();
    if (answer.size() != 2)
        return false;
    text = answer.at(1).toString();
    return answer.at(0).toBool();
}

} // namespace ke2
