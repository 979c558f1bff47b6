// Tables that birth prepares for the whole process.
#pragma once

#include "RX_Frame.h"

namespace rx {

// The four soft-light curves at x = i / 4096.
void build_soft_light_tables();
// Entry i = float(i).
void fill_byte_float_table();
// The 128-bit constants of the vector loops; only with SSE2.
void fill_vector_constants();

}  // namespace rx
