/* JRNL: log lines, delivered through the host's report sink. */
#ifndef JRNL_H
#define JRNL_H

#include "HostAPI.h"

HOST_BEGIN_C

HOST_API void JRNL_Log(int32_t level, const char* package, const char* event, const char* text);

HOST_END_C

#endif
