#pragma once

#include <QtCore/QString>

#include <functional>

namespace ke2 {

// Asks the Python interpreter running in this process to raise KeyboardInterrupt in its main
// thread (its own thread-safe request). Inside a host the plug-in links against no Python library
// (each host release ships another one), so the function is found in the running process, at
// run time. `lookup` finds a symbol by name; null searches the whole process.
using SymbolLookup = std::function<void *(const char *name)>;
// The result is async-signal-safe (see InterruptWatch); null when the process has no such function.
using PythonInterrupt = void (*)();
PythonInterrupt findPythonInterrupt(const SymbolLookup &lookup = nullptr);

// Said once when the function cannot be found: Esc then does nothing.
QString pythonInterruptMissingMessage();

} // namespace ke2
