/* MIX: a process-wide table of random 32-bit words of prime length. */
#ifndef MIX_H
#define MIX_H

#include "HostAPI.h"

HOST_BEGIN_C

/* The table's length in words: the largest prime below 65536. */
#define MIX_PRIME_TABLE_LENGTH 65521

/* The same words in every process: built from a fixed seed on first use. */
HOST_API HOST_Err MIX_GetPrimeSizedTable(const uint32_t** table_out, int32_t* length_out);

HOST_END_C

#endif
