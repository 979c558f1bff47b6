/* ZQFX: only its version check is used by the package. */
#ifndef ZQFX_H
#define ZQFX_H
#include "HostAPI.h"
HOST_BEGIN_C
#define ZQFX_VERSION 8
HOST_API HOST_Err ZQFX_CheckVersions(int32_t location, int32_t caller_version);
HOST_END_C
#endif
