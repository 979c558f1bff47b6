// The rows that combine a source row into a destination row of a mask
// buffer by the uno modes: the 8-bit and 16-bit tables of plain rows, the
// dithered Screen of 8 bits in its plain and SSE2 forms, and the rows with
// opacity and opacity limit.
#pragma once

#include <cstdint>

#include "RX_UnoBuffer.h"
#include "frame/variants.h"

namespace rx::uno {

using Row8 = void (*)(int32_t count, const uint8_t* src, uint8_t* dst);
using Row16 = void (*)(int32_t count, const uint16_t* src, uint16_t* dst);

// The 8-bit table: a mode outside -1 and 1..7 acts as Screen.
Row8 mode_row8(int32_t mode);
// The 16-bit table: null for a mode outside -1 and 1..7; -1 is Screen.
Row16 mode_row16(int32_t mode);

// Dithered Screen at 8 bits: Screen with noise from the package's dither
// table in place of the rounding constant 128.
// Plain: the cursor steps once a value, the word's low byte is the noise.
void dithered_screen_row8(int32_t count, const uint8_t* src, uint8_t* dst);
// SSE2: the cursor steps once a row; its word w seeds four 32-bit lanes
// (w, w + 1, w, w + 1), stepped once for each eight values (and once for
// a shorter tail), the low byte of each 16-bit half giving the noise.
void dithered_screen_row8_sse2(int32_t count, const uint8_t* src, uint8_t* dst);

// The lanes' generator, shared by the SSE2 row and its tests.
struct DitherLanes {
  static constexpr uint32_t kMultiplier[4] = {214013u, 17405u, 214013u, 69069u};
  static constexpr uint32_t kIncrement[4] = {2531011u, 10395331u, 13737667u, 1u};
};

// The dithered row of the 8-bit table is the registry's entry
// "uno_mode_rows.dithered_screen8": birth puts the SSE2 form there when the
// processor has it.

// Rows with opacity o and opacity limit at the source's white, c the
// source scaled by o: Screen (and at 8 bits its dithered form) rises
// toward the limit, every other mode adds c.
void opacity_row8(int32_t count, const uint8_t* src, uint8_t* dst, int32_t mode, uint16_t opacity,
                  uint16_t limit);
template <class Src>
void opacity_row16(int32_t count, const Src* src, uint16_t* dst, int32_t mode, uint16_t opacity,
                   uint16_t limit);

}  // namespace rx::uno
