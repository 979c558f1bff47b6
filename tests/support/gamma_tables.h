// Linear-light tables for a pure gamma-2.2 curve, made the way the package
// makes a profile's tables: the to-linear half from the curve at the 16-bit
// value of each byte, the from-linear half by reading the to-linear half at
// every eighth linear value, making that reading non-decreasing and walking
// it segment by segment. Written out here step by step, without the
// package's own inversion, so that tests can hold the package against it.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "RX_Modes.h"

namespace rxtest {
namespace gamma_tables {

// A byte taken to the 16-bit scale, 255 becoming 32768.
inline uint32_t byte_to_16(uint32_t v) { return (v * 0x808080u + 33200u) >> 16; }

// The 16-bit encoded value v (0..32768) read through to_linear, interpolated
// between neighbouring bytes. Differences in unsigned 32-bit arithmetic.
inline uint32_t to_linear_16(const uint16_t* to_linear, uint32_t v) {
  const uint32_t p = v * 255u;
  const uint32_t i = p >> 15;
  const uint32_t f = p & 0x7fffu;
  uint32_t t = to_linear[i];
  if (f != 0) t += (f * (uint32_t(to_linear[i + 1]) - t) + 16384u) >> 15;
  return t & 0xffffu;
}

// The linear value v (0..32768) read through from_linear to an encoded
// 16-bit value.
inline uint32_t from_linear_16(const uint16_t* from_linear, uint32_t v) {
  const uint32_t i = v >> 3;
  const uint32_t f = v & 7u;
  uint32_t t = from_linear[i];
  if (f != 0) t += (f * (uint32_t(from_linear[i + 1]) - t) + 4u) >> 3;
  return t & 0xffffu;
}

// Fills from_linear from to_linear: A[i] is the 16-bit reading at 8i, made
// non-decreasing, then inverted with a segment pointer that only moves on.
// A flat stretch inverts to the high end of its segment.
inline void invert_to_linear(RX_LinearBlendingTables& tables) {
  uint32_t a[4097];
  for (uint32_t i = 0; i <= 4096; ++i) a[i] = to_linear_16(tables.to_linear, i * 8);
  for (uint32_t i = 1; i <= 4096; ++i) a[i] = std::max(a[i], a[i - 1]);
  uint32_t s = 0;
  for (uint32_t u = 0; u <= 4096; ++u) {
    const uint32_t x = u * 8;
    while (s + 1 < 4096 && x >= a[s + 1]) ++s;
    const uint32_t lo = a[s], hi = a[s + 1];
    uint32_t value;
    if (x >= hi) {
      value = 8 * s + 8;
    } else if (x >= lo) {
      value = ((x - lo) * 8 + (hi - lo) / 2) / (hi - lo) + 8 * s;
    } else {
      value = 8 * s;
    }
    tables.from_linear[u] = uint16_t(value);
  }
}

// Tables for the curve linear = encoded ^ gamma on the scale 0..32768,
// rounded to nearest; gamma and inverse_gamma are gamma and 1 / gamma in
// single precision.
inline RX_LinearBlendingTables make(double gamma) {
  RX_LinearBlendingTables tables{};
  for (uint32_t i = 0; i < 256; ++i) {
    const double encoded = double(byte_to_16(i)) / 32768.0;
    tables.to_linear[i] = uint16_t(std::floor(32768.0 * std::pow(encoded, gamma) + 0.5));
  }
  invert_to_linear(tables);
  tables.gamma = float(gamma);
  tables.inverse_gamma = 1.0f / float(gamma);
  return tables;
}

}  // namespace gamma_tables

// One shared set of gamma-2.2 tables; gamma 2.2f, inverse gamma 1 / 2.2f.
inline const RX_LinearBlendingTables& gamma_2_2_tables() {
  static const RX_LinearBlendingTables tables = gamma_tables::make(2.2);
  return tables;
}

}  // namespace rxtest
