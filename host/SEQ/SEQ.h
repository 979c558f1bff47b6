/* SEQ: growable lists of fixed-size elements behind a handle. */
#ifndef SEQ_H
#define SEQ_H

#include "HostAPI.h"

HOST_BEGIN_C

#define SEQ_VERSION 9

typedef struct SEQ_ListRecord* SEQ_List;

HOST_API HOST_Err SEQ_CheckVersions(int32_t location, int32_t caller_version);

/* kind is passed through; elements of element_size bytes; room for
   initial_count at first, growing by grow_count. */
HOST_API HOST_Err SEQ_New(int32_t kind, int32_t element_size, int32_t initial_count,
                          int32_t grow_count, SEQ_List* out);
HOST_API HOST_Err SEQ_Dispose(SEQ_List list);
HOST_API int32_t SEQ_Count(SEQ_List list);
/* While locked, element addresses stay put. */
HOST_API HOST_Err SEQ_Lock(SEQ_List list);
HOST_API HOST_Err SEQ_Unlock(SEQ_List list);
HOST_API void* SEQ_GetAddress(SEQ_List list, int32_t index);
/* Inserts one element, copied from element, before index (0 is the head). */
HOST_API HOST_Err SEQ_Insert(SEQ_List list, int32_t index, const void* element);
HOST_API HOST_Err SEQ_RemoveRange(SEQ_List list, int32_t first, int32_t count);
HOST_API HOST_Err SEQ_Compact(SEQ_List list);
/* Sets the number of elements, growing the room to hold them (as an insert
   would, so not while locked); new elements are zero. */
HOST_API HOST_Err SEQ_SetCount(SEQ_List list, int32_t count);

HOST_END_C

#endif
