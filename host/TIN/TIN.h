/* TIN, the colour glue: hands out the resolver of the NEX interface bridge. */
#ifndef TIN_H
#define TIN_H
#include "HostAPI.h"
#include "TIN/NEX.h"
HOST_BEGIN_C
HOST_API HOST_Err TIN_GetNEXAddressProc(NEX_LookupProc* out);
HOST_END_C
#endif
