#pragma once

#include "config/color_scheme.h"
#include "config/settings.h"
#include "plugin/host_bridge.h"
#include "tests/support/dialog_answers.h"
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
    OutputFixture() : m_settings(Settings::instance()), m_scheme(ColorScheme::instance()) {}
    ~OutputFixture()
    {
        Settings::instance() = m_settings;
        ColorScheme::instance() = m_scheme;
    }
    OutputFixture(const OutputFixture &) = delete;
    OutputFixture &operator=(const OutputFixture &) = delete;

    FakeHost host;

private:
    ScopedHost m_active{&host};
    Settings m_settings;
    ColorScheme m_scheme;
};

} // namespace ke2::test
