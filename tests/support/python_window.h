#pragma once

#include "app/python_host.h"
#include "shell/editor_session.h"
#include "shell/kestrel_editor.h"
#include "tests/support/temp_prefs.h"

#include <memory>

namespace ke2::test {

// The real embedded interpreter with a preferences folder of its own and, once started, the
// window kestrel-editor shows on it. The window closes before the host it talks to goes.
struct PythonWindow {
    TempPrefs prefs;
    std::unique_ptr<PythonHost> host = std::make_unique<PythonHost>(prefs.root());
    std::unique_ptr<EditorSession> session;
    KestrelEditor *window = nullptr;

    ~PythonWindow() { stop(); }
    // A session on the host and its window shown, as the program's start-up; false if either failed.
    bool start()
    {
        session = std::make_unique<EditorSession>();
        if (session->startUp(*host) != EditorSession::StartResult::Started || !session->show())
            return false;
        window = qobject_cast<KestrelEditor *>(session->window());
        return window != nullptr;
    }
    // The session's teardown, as at the program's exit.
    void stop()
    {
        if (session)
            session->shutDown();
        window = nullptr;
        session.reset();
    }
};

} // namespace ke2::test
