#pragma once

#include <QtCore/QObject>

#include <functional>

namespace ke2::test {

// Registers a test class with the shared runner of its executable; returns a dummy value so that
// registration can happen in a static initialiser.
int registerTestClass(const char *name, std::function<QObject *()> factory);

} // namespace ke2::test

// Put after a Qt Test class definition: the folder's test executable runs it.
#define KE2_TEST_CLASS(Class)                                                                      \
    static const int ke2TestRegistration_##Class = ::ke2::test::registerTestClass(                 \
        #Class, [] { return static_cast<QObject *>(new Class); });
