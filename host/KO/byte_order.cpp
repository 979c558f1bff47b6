// Byte order helpers.
#include "KO/KO.h"

uint32_t KO_LongSwap(uint32_t value) { return __builtin_bswap32(value); }
