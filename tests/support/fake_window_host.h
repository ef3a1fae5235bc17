#pragma once

#include "plugin/host_bridge.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"

#include <memory>

namespace ke2::test {

// The host a window test runs against: a fake host without docking, with a preferences folder of
// its own, installed as the bridge's host. Removed again (after the window) by removeFakeHost.
inline void installFakeHost(std::unique_ptr<FakeHost> &host, std::unique_ptr<TempPrefs> &prefs)
{
    host = std::make_unique<FakeHost>();
    host->hasDockingUi = false;
    prefs = std::make_unique<TempPrefs>();
    prefs->attach(*host);
    HostBridge::setHost(host.get());
}

inline void removeFakeHost(std::unique_ptr<FakeHost> &host, std::unique_ptr<TempPrefs> &prefs)
{
    HostBridge::setHost(nullptr);
    host.reset();
    prefs.reset();
}

} // namespace ke2::test
