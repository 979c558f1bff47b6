/* WRD: only its version check is used by the package. */
#ifndef WRD_H
#define WRD_H
#include "HostAPI.h"
HOST_BEGIN_C
#define WRD_VERSION 3
HOST_API HOST_Err WRD_CheckVersions(int32_t location, int32_t caller_version);
HOST_END_C
#endif
