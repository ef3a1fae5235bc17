#pragma once

#include <QtCore/QObject>

class QSocketNotifier;

namespace ke2 {

// The session ending under the window (SIGTERM at log-out or shutdown, SIGHUP when the terminal
// that started it goes away) is turned into an ordinary quit on the event loop, so the tabs, the
// typing in them and the settings are saved as when the window is closed. The handler only
// writes a byte to a pipe; a second signal before the first was handled ends the process at once.
class TerminationSignals : public QObject {
    Q_OBJECT
public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

signals:
    void Received();

private:
    void OnReadable();

    QSocketNotifier *m_notifier = nullptr;
};

} // namespace ke2
