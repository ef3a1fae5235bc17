#pragma once

#include "plugin/key_state_source.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QVector>

#include <atomic>
#include <memory>

namespace ke2::test {

// A keyboard on a schedule: Esc is held for 60 ms at each of `presses` (milliseconds after the
// first look at the keyboard); the focus is in our windows or elsewhere.
class FakeKeyState : public KeyStateSource {
public:
    explicit FakeKeyState(QVector<int> presses, bool focused = true)
        : m_presses(std::move(presses)), m_focused(focused)
    {
    }

    bool escapeDown() override
    {
        if (!m_clock.isValid())
            m_clock.start();
        const qint64 now = m_clock.elapsed();
        for (const int press : m_presses) {
            if (now >= press && now < press + 60) {
                m_lastPress = press;
                return true;
            }
        }
        return false;
    }
    bool focusIn(const QVector<quintptr> &) override { return m_focused; }

    // When the last press the watch saw began, on the same clock; -1 before any.
    int lastPress() const { return m_lastPress; }
    qint64 elapsed() const { return m_clock.isValid() ? m_clock.elapsed() : 0; }

    // A factory handing out `source` itself; the test keeps it to read the clock.
    static std::function<std::unique_ptr<KeyStateSource>()> factory(std::shared_ptr<FakeKeyState> source)
    {
        return [source] { return std::make_unique<Forward>(source); };
    }

private:
    struct Forward : KeyStateSource {
        explicit Forward(std::shared_ptr<FakeKeyState> source) : m_source(std::move(source)) {}
        bool escapeDown() override { return m_source->escapeDown(); }
        bool focusIn(const QVector<quintptr> &windows) override { return m_source->focusIn(windows); }
        std::shared_ptr<FakeKeyState> m_source;
    };

    QVector<int> m_presses;
    bool m_focused;
    QElapsedTimer m_clock;
    std::atomic<int> m_lastPress{-1};
};

} // namespace ke2::test
