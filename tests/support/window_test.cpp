#include "tests/support/window_test.h"

#include "config/settings.h"
#include "editor/code_editor.h"
#include "groups/code_editor_group.h"
#include "plugin/host_bridge.h"

#include <QtTest/QTest>
#include <QtWidgets/QApplication>

namespace ke2::test {

void WindowTest::setUpWindow()
{
    Settings::instance() = Settings();
    m_host = std::make_unique<FakeHost>();
    m_host->hasDockingUi = false;
    m_prefs = std::make_unique<TempPrefs>();
    m_prefs->attach(*m_host);
    HostBridge::setHost(m_host.get());
}

void WindowTest::tearDownWindow()
{
    m_window.reset();
    HostBridge::setHost(nullptr);
    m_host.reset();
    m_prefs.reset();
    Settings::instance() = Settings();
}

KestrelEditor *WindowTest::shown(const QSize &size)
{
    m_window = std::make_unique<KestrelEditor>();
    m_window->resize(size);
    m_window->show();
    QApplication::setActiveWindow(m_window.get());
    return QTest::qWaitForWindowActive(m_window.get()) ? m_window.get() : nullptr;
}

CodeEditor *WindowTest::editorOf(CodeEditorLanguage language)
{
    CodeEditorGroup *group = m_window->Group(0);
    for (int i = 0; i < group->Count(); ++i) {
        if (group->CodeEditorAt(i)->Language() == language) {
            m_window->SetActiveCodeEditor(0, i);
            return group->CodeEditorAt(i);
        }
    }
    return nullptr;
}

} // namespace ke2::test
