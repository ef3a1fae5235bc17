#pragma once

#include "config/color_scheme.h"
#include "config/settings.h"
#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"

#include <QtCore/QStringList>
#include <QtGui/QTextCursor>
#include <QtWidgets/QPlainTextEdit>

namespace ke2::test {

// What the output document holds when every piece is inserted on its own at the end of a
// document bounded to `lines` blocks: the reference the gathered insertion must equal.
inline QString insertedOneByOne(const QStringList &pieces, int lines)
{
    QPlainTextEdit reference;
    reference.document()->setMaximumBlockCount(lines);
    for (const QString &piece : pieces) {
        QTextCursor cursor(reference.document());
        cursor.movePosition(QTextCursor::End);
        cursor.insertText(piece);
    }
    return reference.toPlainText();
}

// Preferences, colours and a fake host that every output test restores afterwards.
class OutputFixture {
public:
    OutputFixture() : m_settings(Settings::instance()), m_scheme(ColorScheme::instance()), m_previous(HostBridge::host())
    {
        HostBridge::setHost(&host);
    }
    ~OutputFixture()
    {
        HostBridge::setHost(m_previous);
        Settings::instance() = m_settings;
        ColorScheme::instance() = m_scheme;
    }
    OutputFixture(const OutputFixture &) = delete;
    OutputFixture &operator=(const OutputFixture &) = delete;

    FakeHost host;

private:
    Settings m_settings;
    ColorScheme m_scheme;
    Host *m_previous;
};

} // namespace ke2::test

#include <QtCore/QTimer>
#include <QtCore/QPointer>
#include <QtWidgets/QApplication>

#include <functional>
#include <memory>

namespace ke2::test {

// Acts on the next modal window of type T once it is up (a file dialog, a message box) as the
// user would. A dialog still open a while after the act (a file dialog whose folder was still
// being read) is acted on again, and one still open after about twenty seconds is rejected, so
// that a dialog that will not close fails the test instead of hanging it.
template <typename T>
struct ModalAnswer {
    std::function<void(T *)> act;
    QPointer<T> window; // the one acted on
    bool acted = false;
};

template <typename T>
void pollModal(std::shared_ptr<ModalAnswer<T>> answer, int attempts)
{
    QTimer::singleShot(10, [answer, attempts] {
        auto *window = qobject_cast<T *>(QApplication::activeModalWidget());
        const bool visible = window && window->isVisible();
        if (!answer->acted) {
            if (visible) {
                answer->acted = true;
                answer->window = window;
                answer->act(window);
            }
            if (attempts > 0)
                pollModal(answer, attempts - 1);
            return;
        }
        if (!visible || window != answer->window)
            return; // it closed
        if (attempts <= 0)
            window->reject();
        else {
            if (attempts % 20 == 0)
                answer->act(window);
            pollModal(answer, attempts - 1);
        }
    });
}

template <typename T>
void whenModal(std::function<void(T *)> act, int attempts = 2000)
{
    auto answer = std::make_shared<ModalAnswer<T>>();
    answer->act = std::move(act);
    pollModal(answer, attempts);
}

} // namespace ke2::test
