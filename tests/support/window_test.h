#pragma once

#include "editor/code_editor_language.h"
#include "shell/kestrel_editor.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"

#include <QtCore/QObject>
#include <QtCore/QSize>

#include <memory>

namespace ke2::test {

// The base of a test class that drives the real window. Before each test function: settings at
// their defaults and a fake host without docking, with a preferences folder of its own, installed
// as the bridge's host; after it, the window goes before the host it talks to. A class that needs
// more defines its own init() and cleanup() around setUpWindow() and tearDownWindow().
class WindowTest : public QObject {
    Q_OBJECT
protected:
    std::unique_ptr<FakeHost> m_host;
    std::unique_ptr<TempPrefs> m_prefs;
    std::unique_ptr<KestrelEditor> m_window;

    void setUpWindow();
    void tearDownWindow();
    // A new window of `size`, shown and active so that its keys work; null if it never came up.
    KestrelEditor *shown(const QSize &size = QSize(1000, 800));
    KestrelEditor *shown(int width, int height) { return shown(QSize(width, height)); }
    // The first editor of `language` in the first group, made the active one; null if none.
    CodeEditor *editorOf(CodeEditorLanguage language);

private slots:
    void init() { setUpWindow(); }
    void cleanup() { tearDownWindow(); }
};

} // namespace ke2::test
