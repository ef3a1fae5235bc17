#pragma once

// What every fuzz target shares: a failing property aborts with a message (libFuzzer then saves
// the input), text is decoded with its length so NUL bytes stay, and a Qt application exists
// for the classes that need one.

#include <fuzzer/FuzzedDataProvider.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#define KE2_FUZZ_CHECK(condition, ...)                                                              \
    do {                                                                                            \
        if (!(condition)) {                                                                         \
            std::fprintf(stderr, "fuzz property failed at %s:%d: %s\n", __FILE__, __LINE__, #condition); \
            std::fprintf(stderr, "  " __VA_ARGS__);                                                 \
            std::fprintf(stderr, "\n");                                                             \
            std::abort();                                                                           \
        }                                                                                           \
    } while (0)

namespace ke2fuzz {

inline QString text(const std::string &bytes)
{
    return QString::fromUtf8(bytes.data(), int(bytes.size()));
}

inline QString text(const uint8_t *data, size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char *>(data), int(size));
}

// A QApplication on the offscreen platform, made once: documents, their layouts and fonts need it.
void ensureGuiApplication();

// Milliseconds `work` takes, the best of up to three runs when the first is over `limitMs`: a
// machine busy with something else must not turn into a finding.
double bestMilliseconds(const std::function<void()> &work, double limitMs);

} // namespace ke2fuzz
