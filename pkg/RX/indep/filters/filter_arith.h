// Arithmetic shared by the filters beyond the depths' own (worlds/
// depth_arith.h): truncation the processor's way.
#pragma once

#include <cstdint>

#include "worlds/value_conversions.h"

namespace rx {

// Truncation of a double toward zero as the processor does it: out of the
// 32-bit range, or NaN, gives 0x80000000.
inline int32_t truncate_double(double v) {
  int32_t result;
  asm("cvttsd2si %1, %0" : "=r"(result) : "x"(v));
  return result;
}

}  // namespace rx
