// The library's six exported symbols.
#include <boost/thread/once.hpp>

#include "module/builtin_table.hpp"
#include "module/entries.hpp"

#ifndef VLMATHDSP_VERSION
#define VLMATHDSP_VERSION "0.0.0.0"
#endif

#define VLMATHDSP_EXPORT extern "C" __attribute__((visibility("default")))

VLMATHDSP_EXPORT const char* const libvlmathdsp_version = VLMATHDSP_VERSION;
VLMATHDSP_EXPORT const char* const libvlmathdsp_build_date = __DATE__;
VLMATHDSP_EXPORT const char* const libvlmathdsp_relative_path = "bin\\win64\\libvlmathdsp.dll";

namespace {
boost::once_flag registrationOnce = BOOST_ONCE_INIT;
}

VLMATHDSP_EXPORT void VLInitialize_libvlmathdsp() {
    if (omGetVcosUsingUSM())
        vlmathdsp::registerPackageFunctions();
    else
        boost::call_once(registrationOnce, &vlmathdsp::registerPackageFunctions);
}

VLMATHDSP_EXPORT void VLTerminate_libvlmathdsp() {}

VLMATHDSP_EXPORT const void* QueryVLFcnTable_libvlmathdsp() { return &vlmathdsp::builtinTable; }
