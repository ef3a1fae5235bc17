#pragma once

#include <maya/MApiNamespace.h>

#include <cstdint>

// The API version the plug-in is built against: the value of MApiVersion (MApiVersion.h).
#define MAYA_API_VERSION 20220300
#define MAYA_APP_VERSION 2022

#if defined(_WIN32)
#  if defined(KE2_MAYA_SHIM_BUILD)
#    define OPENMAYA_EXPORT __declspec(dllexport)
#  else
#    define OPENMAYA_EXPORT __declspec(dllimport)
#  endif
#  define PLUGIN_EXPORT __declspec(dllexport)
#else
#  define OPENMAYA_EXPORT __attribute__((visibility("default")))
#  define PLUGIN_EXPORT __attribute__((visibility("default")))
#endif
#define OPENMAYAUI_EXPORT OPENMAYA_EXPORT

typedef std::int64_t MInt64;
typedef std::uintptr_t MUintPtrSz;
typedef MUintPtrSz MCallbackId;
