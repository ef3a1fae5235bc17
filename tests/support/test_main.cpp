// The runner of every test executable: runs each registered class in name order. Arguments are
// passed to Qt Test; KE2_TEST_CLASS=Name limits the run to one class.
#include "tests/support/test_registry.h"

#include <QtCore/QStandardPaths>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>

#include <map>
#include <memory>
#include <string>

namespace ke2::test {
namespace {
std::map<std::string, std::function<QObject *()>> &registry()
{
    static std::map<std::string, std::function<QObject *()>> classes;
    return classes;
}
} // namespace

int registerTestClass(const char *name, std::function<QObject *()> factory)
{
    registry()[name] = std::move(factory);
    return 0;
}

} // namespace ke2::test

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    const QByteArray only = qgetenv("KE2_TEST_CLASS");
    int failures = 0;
    for (const auto &[name, factory] : ke2::test::registry()) {
        if (!only.isEmpty() && only != name.c_str())
            continue;
        std::unique_ptr<QObject> object(factory());
        failures += QTest::qExec(object.get(), argc, argv);
    }
    return failures == 0 ? 0 : 1;
}
