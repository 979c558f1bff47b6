// Reaching the values of a mask buffer: the check every operation makes
// first, bytes a value, packed rows, and the buffer's bounds. The data
// pointer is read through the handle at each access, never kept across
// operations.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cstdint>

#include "RX_UnoBuffer.h"

namespace rx::uno {

// Bad-parameter location of the mask buffer family.
inline constexpr int16_t kBadParameterLocation = 0x90;

inline constexpr int32_t kWhite8 = 255;
inline constexpr int32_t kWhite16 = 32768;

// Reports a null record, a wrong magic or a null handle as a damaged mask
// buffer, and goes on. Gives whether there are values to work on: a record
// with a wrong magic still has them, a null record or handle has not.
bool check(const RX_UnoBuffer* buffer);

// depth / 8, but depth 1 takes one byte and depth 0 two.
constexpr int32_t bytes_per_value(int32_t depth) {
  if (depth == 0) return 2;
  if (depth == 1) return 1;
  return depth / 8;
}

// Packed rows: (width * depth) / 8, truncated.
inline int32_t row_stride(const RX_UnoBuffer& buffer) { return buffer.width * buffer.depth / 8; }

inline uint8_t* data(const RX_UnoBuffer& buffer) { return static_cast<uint8_t*>(*buffer.pixels); }

// Value x of row y; the position is a 32-bit offset, as every position of
// a buffer is.
template <class V>
V* at(const RX_UnoBuffer& buffer, int32_t x, int32_t y) {
  const int32_t offset = y * row_stride(buffer) + x * int32_t(sizeof(V));
  return reinterpret_cast<V*>(data(buffer) + offset);
}

inline GE_LRect bounds(const RX_UnoBuffer& buffer) { return {0, 0, buffer.width, buffer.height}; }

inline bool empty(const GE_LRect& r) { return r.right <= r.left || r.bottom <= r.top; }

inline bool inside(const GE_LRect& r, const RX_UnoBuffer& buffer) {
  return r.left >= 0 && r.top >= 0 && r.right <= buffer.width && r.bottom <= buffer.height;
}

// The processor's truncation of a double: out of range or NaN gives
// 0x80000000, whatever the compiler could fold.
inline int32_t truncate_double(double v) { return _mm_cvttsd_si32(_mm_set_sd(v)); }

// p / 255 rounded, the package's 8-bit multiply, on any sign of p.
constexpr int64_t rnd8(int64_t p) { return (p + 128 + ((p + 128) >> 8)) >> 8; }

// The abort function, asked on thread 0 only.
inline RX_Err poll_abort_on_first_thread(const RX_ProgressInfo* progress, int32_t thread_index) {
  if (thread_index != 0 || !progress || !progress->abort_func) return RX_Result_OK;
  return progress->abort_func(progress->refcon);
}

}  // namespace rx::uno
