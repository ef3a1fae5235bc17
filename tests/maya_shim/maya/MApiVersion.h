#pragma once
// Included by MFnPlugin.h: the translation unit that includes it without MNoVersionString
// defines the plug-in's version data, so exactly one file of a plug-in may do so.

#include <maya/MTypes.h>

#if !defined(MNoVersionString)
#define MAYA_API_VERSION_STRINGIFY2(value) #value
#define MAYA_API_VERSION_STRINGIFY(value) MAYA_API_VERSION_STRINGIFY2(value)
extern "C" {
PLUGIN_EXPORT char MApiVersion[] = MAYA_API_VERSION_STRINGIFY(MAYA_API_VERSION);
PLUGIN_EXPORT char ADSK_PLUGIN_SIGNATURE[] = "ADSK_PLUGIN_SIGNATURE_" MAYA_API_VERSION_STRINGIFY(MAYA_API_VERSION);
}
#endif
