#include "plugin/qt_compat.h"

#include <QtCore/QMetaType>

#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <dlfcn.h>
#endif
#endif

namespace ke2::qtcompat {

#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
namespace {

// The loaded image (library or program) an address belongs to, or null.
const void *imageOf(const void *address)
{
#ifdef Q_OS_WIN
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<LPCWSTR>(address), &module))
        return nullptr;
    return module;
#else
    Dl_info info;
    return dladdr(address, &info) ? info.dli_fbase : nullptr;
#endif
}

} // namespace
#endif

void forgetMetaTypesOfLibrary(const void *anchor)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    const void *library = imageOf(anchor);
    if (!library)
        return;
    // Registered types have consecutive ids from User on; a run of unused ids ends them.
    for (int id = QMetaType::User, unused = 0; unused < 256; ++id) {
        const QMetaType type(id);
        if (!type.isValid()) {
            ++unused;
            continue;
        }
        unused = 0;
        if (imageOf(type.iface()) == library)
            QMetaType::unregisterMetaType(type);
    }
#else
    Q_UNUSED(anchor);
#endif
}

} // namespace ke2::qtcompat
