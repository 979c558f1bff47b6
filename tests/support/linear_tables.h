// Linear-light tables for a gamma 2.2 curve, made as the colour settings
// make them: the to-linear half from the curve at each 8-bit value (taken
// to 16 bits by the package's scaling), the from-linear half by the
// package's inversion; and the two reads of the tables, written here from
// their rules for the tests' references.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "RX_Transfer.h"

namespace rxtest {

inline uint32_t read_to_linear16(const RX_LinearBlendingTables& t, uint32_t v) {
  const uint32_t p = v * 255, i = p >> 15, f = p & 0x7fff;
  uint32_t x = t.to_linear[i];
  if (f != 0) x += (f * (uint32_t(t.to_linear[i + 1]) - x) + 16384) >> 15;
  return x & 0xFFFF;
}

inline uint32_t read_from_linear(const RX_LinearBlendingTables& t, uint32_t v) {
  const uint32_t i = v >> 3, f = v & 7;
  uint32_t x = t.from_linear[i];
  if (f != 0) x += (f * (uint32_t(t.from_linear[i + 1]) - x) + 4) >> 3;
  return x & 0xFFFF;
}

inline RX_LinearBlendingTables gamma22_tables() {
  RX_LinearBlendingTables t{};
  for (uint32_t i = 0; i < 256; ++i) {
    const uint32_t encoded = (i * 0x808080u + 33200) >> 16;
    t.to_linear[i] = uint16_t(std::lround(32768.0 * std::pow(encoded / 32768.0, 2.2)));
  }
  RXp_FillFromLinear(&t);
  t.gamma = 2.2f;
  t.inverse_gamma = 1.0f / 2.2f;
  return t;
}

}  // namespace rxtest
