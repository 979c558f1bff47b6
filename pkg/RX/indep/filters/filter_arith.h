// Arithmetic shared by the filters: truncation the processor's way, and the
// 8- and 16-bit multiplies of the premultiplying copies.
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

// c × a at 8 bits, rounded: p + 128 + ((p + 128) >> 8), then >> 8.
inline uint32_t multiply8(uint32_t c, uint32_t a) {
  const uint32_t p = c * a + 128u;
  return (p + (p >> 8)) >> 8;
}

// c × a at 16 bits: (c × a + 16383) >> 15, the rounding constant kept one
// below the half for bit-exact output.
inline uint32_t multiply16(uint32_t c, uint32_t a) { return (c * a + 16383u) >> 15; }

}  // namespace rx
