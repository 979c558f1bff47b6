// Linear-light blending of one pixel: lift both pixels into linear light,
// run the mode's arithmetic there, lower the result. 8 and 16 bits work at
// 16 bits through the tables' reads; float raises to the tables' exponents.
// Alpha is scaled between depths but never linearised.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "RX_Modes.h"
#include "worlds/value_conversions.h"

namespace rx::xfer {

// The to-linear read of a 16-bit encoded value: entry v * 255 >> 15 and
// the fraction below it interpolated.
inline uint16_t read_to_linear16(const RX_LinearBlendingTables& t, uint32_t v) {
  const uint32_t p = std::min(v, 32768u) * 255, i = p >> 15, f = p & 0x7FFF;
  uint32_t x = t.to_linear[i];
  if (f != 0) x += (f * (uint32_t(t.to_linear[i + 1]) - x) + 16384) >> 15;
  return uint16_t(x);
}

// The linear-to-encoded read at 16-bit scale: entry c >> 3 and the low
// three bits interpolated. A value beyond white reads as white.
inline uint16_t read_from_linear(const RX_LinearBlendingTables& t, uint32_t c) {
  c = std::min(c, 32768u);
  const uint32_t i = c >> 3, f = c & 7;
  uint32_t x = t.from_linear[i];
  if (f != 0) x += (f * (uint32_t(t.from_linear[i + 1]) - x) + 4) >> 3;
  return uint16_t(x);
}


template <class Px>
struct LinearLight;

template <>
struct LinearLight<RX_Pixel8> {
  using Work = RX_Pixel16;
  static uint16_t lift_opacity(uint8_t opacity) { return convert_8_to_16(opacity); }
  static Work lift(const RX_Pixel8& p, const RX_LinearBlendingTables& t) {
    return {convert_8_to_16(p.alpha), t.to_linear[p.red], t.to_linear[p.green], t.to_linear[p.blue]};
  }
  static RX_Pixel8 lower(const Work& p, const RX_LinearBlendingTables& t) {
    auto colour = [&t](uint16_t c) { return convert_16_to_8(read_from_linear(t, c)); };
    return {convert_16_to_8(p.alpha), colour(p.red), colour(p.green), colour(p.blue)};
  }
};

template <>
struct LinearLight<RX_Pixel16> {
  using Work = RX_Pixel16;
  static uint16_t lift_opacity(uint16_t opacity) { return opacity; }
  static Work lift(const RX_Pixel16& p, const RX_LinearBlendingTables& t) {
    return {p.alpha, read_to_linear16(t, p.red), read_to_linear16(t, p.green), read_to_linear16(t, p.blue)};
  }
  static RX_Pixel16 lower(const Work& p, const RX_LinearBlendingTables& t) {
    return {p.alpha, read_from_linear(t, p.red), read_from_linear(t, p.green), read_from_linear(t, p.blue)};
  }
};

template <>
struct LinearLight<RX_PixelFloat> {
  using Work = RX_PixelFloat;
  static float lift_opacity(float opacity) { return opacity; }
  // Negative values keep their sign: -pow(-v, e).
  static float raise(float v, float e) { return v >= 0.0f ? std::pow(v, e) : -std::pow(-v, e); }
  static Work lift(const RX_PixelFloat& p, const RX_LinearBlendingTables& t) {
    return {p.alpha, raise(p.red, t.gamma), raise(p.green, t.gamma), raise(p.blue, t.gamma)};
  }
  static RX_PixelFloat lower(const Work& p, const RX_LinearBlendingTables& t) {
    const float e = t.inverse_gamma;
    return {p.alpha, raise(p.red, e), raise(p.green, e), raise(p.blue, e)};
  }
};

}  // namespace rx::xfer
