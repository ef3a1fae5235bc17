#pragma once

#include <cstdint>

#if defined(_WIN32)
#  if defined(KE2_MAYA_SHIM_BUILD)
#    define OPENMAYA_EXPORT __declspec(dllexport)
#  else
#    define OPENMAYA_EXPORT __declspec(dllimport)
#  endif
#else
#  define OPENMAYA_EXPORT __attribute__((visibility("default")))
#endif

typedef std::uintptr_t MCallbackId;
