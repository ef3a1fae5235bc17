#pragma once

// Process-wide values of the host bridge that belong to one host: forgotten when it changes.
namespace ke2::HostBridge::internal {

void resetMenuState();
void resetMelLists();
void resetPythonCaches();
void resetDpiScale();

} // namespace ke2::HostBridge::internal
