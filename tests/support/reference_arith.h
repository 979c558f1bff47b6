// The package's arithmetic written out plainly, for the tests' references:
// each function is the rule as stated, in the simplest arithmetic that
// states it, so that a reader can check it by eye.
#pragma once

#include <cstdint>

#include "RX_Frame.h"

namespace rxtest::ref {

// 8 bits: x / 255 rounded, for a product of two bytes (the 8-bit multiply
// of a and b is m255(a * b)).
inline uint32_t m255(uint32_t x) { return (((x + 128) >> 8) + x + 128) >> 8; }
// Row a, column v of the divide table prepared at birth: v * 255 / a.
inline uint32_t divide(uint32_t a, uint32_t v) { return RXp_G_fcd_table[a * 256 + v]; }

// 16 bits, white 32768: the multiply, and the division that undoes it
// (32768 where c reaches a).
inline uint32_t mul16(uint32_t a, uint32_t b) { return (a * b + 16383) >> 15; }
inline uint32_t unmul16(uint32_t c, uint32_t a) {
  if (c >= a) return 32768;
  return ((c << 15) + (a >> 1)) / a;
}

// Between the depths: 8 to 16 and back, and an 8-bit colour argument taken
// to 16 bits (unsigned division).
inline uint16_t widen_8_to_16(uint32_t c) { return uint16_t((c * 0x808080u + 33200u) >> 16); }
inline uint8_t narrow_16_to_8(uint32_t c) { return uint8_t((c * 255u + 16384u) >> 15); }
inline uint16_t colour_8_to_16(uint32_t c) { return uint16_t((c * 32768u + 128u) / 255u); }

}  // namespace rxtest::ref
