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
#include <QtWidgets/QApplication>

#include <functional>

namespace ke2::test {

// Acts on the next modal window of type T once it is up (a file dialog, a message box) as the
// user would; gives up after about twenty seconds (a loaded machine builds a file dialog slowly)
// so that a missing window fails the test instead of hanging it.
template <typename T>
void whenModal(std::function<void(T *)> act, int attempts = 2000)
{
    QTimer::singleShot(10, [act, attempts] {
        if (auto *window = qobject_cast<T *>(QApplication::activeModalWidget()))
            act(window);
        else if (attempts > 0)
            whenModal<T>(act, attempts - 1);
    });
}

} // namespace ke2::test
