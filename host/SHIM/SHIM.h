/* SHIM: emulation of platform services; on Linux the window-creation mode
   is a counter and the tick count comes from the monotonic clock. */
#ifndef SHIM_H
#define SHIM_H
#include "HostAPI.h"
HOST_BEGIN_C
HOST_API void SHIM_BeginGdiMinimalisticWindowCreationMode(void);
HOST_API void SHIM_EndGdiMinimalisticWindowCreationMode(void);
/* Milliseconds of the monotonic clock. */
HOST_API uint32_t SHIM_TickCount(void);
HOST_END_C
#endif
