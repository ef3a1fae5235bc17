#pragma once

#include "plugin/key_state_source.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QVector>

#include <algorithm>
#include <atomic>
#include <memory>

namespace ke2::test {

// A keyboard on a schedule: Esc goes down at each of `presses` (milliseconds after the first look
// at the keyboard) and is held for 60 ms from the moment the watch first sees it, with the key up
// for at least 40 ms between two presses. A watch thread that a loaded machine leaves unscheduled
// for a while still sees every press, late, as a person's key would be; the focus is in our
// windows or elsewhere.
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
        if (m_next >= m_presses.size())
            return false;
        if (m_downSince < 0) {
            if (now < std::max<qint64>(m_presses[m_next], m_upSince + 40))
                return false;
            m_downSince = now;
            m_lastPress = int(now);
            return true;
        }
        if (now < m_downSince + 60)
            return true;
        m_upSince = now;
        m_downSince = -1;
        ++m_next;
        return false;
    }
    bool focusIn(const QVector<quintptr> &) override { return m_focused; }

    // When the watch first saw the last press, on the same clock; -1 before any.
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
    // Read on the watch's thread only.
    int m_next = 0;
    qint64 m_downSince = -1;
    qint64 m_upSince = -1000;
    std::atomic<int> m_lastPress{-1};
};

} // namespace ke2::test
