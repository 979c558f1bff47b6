// The vector Over row at 8 bits, written once over a register width: the
// SSSE3 file instantiates it with 128-bit registers (four pixels), the
// AVX2 file with 256-bit ones (eight). Only those two files include this
// header, each with its own instruction set, and everything here is a
// template over the width, so no code is shared between them.
//
// Groups that are wholly transparent or wholly opaque after weighting take
// their short cut; mixed groups compute every case and select per pixel.
// Everything is the scalar body's arithmetic except the division by the
// union alpha: n * R / 65536 with R = 65280 / r from a float division and
// n taken as 256 n + r / 2 for the rounding, within one step of the divide
// table, as the vector form is allowed.
#pragma once

#include "compositing/blend_rows_vector.h"
#include "simd/vector_arith.h"

namespace rx::blend::over_simd {

using simd::mul8_16;
using simd::mul8_32;

// x + mul(y - x, k) in 16-bit lanes, exactly as the scalar signed blend:
// a non-negative difference rounds by mul, a negative one by the floor of
// the wrapped 32-bit form, which is x - ceil((Q + ceil(Q / 256)) / 256)
// with Q = |y - x| k - 128 (0 when that is negative).
template <class S>
typename S::I signed_blend(typename S::I x, typename S::I y, typename S::I k) {
  const auto negative = S::cmpgt16(x, y);
  const auto product = S::mullo16(S::abs16(S::sub16(y, x)), k);
  const auto up = S::add16(product, S::set16(128));
  const auto rise = S::srli16(S::add16(up, S::srli16(up, 8)), 8);
  const auto q = S::subs_u16(product, S::set16(128));
  const auto inner = S::add16(q, S::srli16(S::add16(q, S::set16(255)), 8));
  const auto fall = S::srli16(S::add16(inner, S::set16(255)), 8);
  return S::select(negative, S::sub16(x, fall), S::add16(x, rise));
}

// Colour and alpha of the general case for one register of pixels with
// weights sa and union alphas r (both in the low byte of 32-bit lanes).
template <class S>
typename S::I over_general(typename S::I s, typename S::I d, typename S::I sa, typename S::I r) {
  using I = typename S::I;
  const I factors = S::reciprocal_65280(r);  // R in the low word of each 32-bit lane
  const I half_r = S::srli32(r, 1);
  I halves[2];
  for (int half = 0; half < 2; ++half) {
    const I s16 = half == 0 ? S::widen_low(s) : S::widen_high(s);
    const I d16 = half == 0 ? S::widen_low(d) : S::widen_high(d);
    const I matted = mul8_16<S>(d16, S::spread_bytes(d, half));
    const I numerators = signed_blend<S>(matted, s16, S::spread_bytes(sa, half));
    const I scaled = S::add16(S::slli16(numerators, 8), S::spread_bytes(half_r, half));
    halves[half] = S::min16(S::mulhi_u16(scaled, S::spread_words(factors, half)), S::set16(255));
  }
  const I alpha_bytes = S::set32(0xFF);
  return S::bit_or(S::andnot(alpha_bytes, S::pack_u8(halves[0], halves[1])), r);
}

// The weights of a register of pixels, in the low byte of 32-bit lanes:
// mul(alpha, opacity), then mul(mask alpha, .), as the scalar rows weigh.
template <class S, bool FullOpacity, bool WithMask>
typename S::I weights(typename S::I s, typename S::I opacity, const RX_Pixel8* mask) {
  const typename S::I alpha_bytes = S::set32(0xFF);
  typename S::I sa = S::bit_and(s, alpha_bytes);
  if constexpr (!FullOpacity) sa = mul8_32<S>(sa, opacity);
  if constexpr (WithMask) sa = mul8_32<S>(S::bit_and(S::load(mask), alpha_bytes), sa);
  return sa;
}

// Runs Loop<FullOpacity, WithMask> over as many whole registers as the
// line holds; gives the first pixel left.
template <template <bool, bool> class Loop>
int32_t whole_registers(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                        RX_Pixel8* dst) {
  int32_t i = 0;
  if (opacity == 255) {
    mask ? Loop<true, true>::run(width, opacity, src, mask, dst, i)
         : Loop<true, false>::run(width, opacity, src, mask, dst, i);
  } else {
    mask ? Loop<false, true>::run(width, opacity, src, mask, dst, i)
         : Loop<false, false>::run(width, opacity, src, mask, dst, i);
  }
  return i;
}

// A whole line: whole registers, then the last few pixels through the
// same arithmetic on a padded copy, where transparent source pixels fill
// the rest and change nothing. So every pixel of a line gets the same
// result wherever the line starts in memory and however long it is.
template <int32_t Pixels, template <bool, bool> class Loop>
void whole_line(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask, RX_Pixel8* dst) {
  const int32_t done = whole_registers<Loop>(width, opacity, src, mask, dst);
  if (done >= width) return;
  const int32_t count = width - done;
  RX_Pixel8 s[Pixels] = {}, m[Pixels] = {}, d[Pixels] = {};
  for (int32_t k = 0; k < count; ++k) {
    s[k] = src[done + k];
    d[k] = dst[done + k];
    if (mask) m[k] = mask[done + k];
  }
  whole_registers<Loop>(Pixels, opacity, s, mask ? m : nullptr, d);
  for (int32_t k = 0; k < count; ++k) dst[done + k] = d[k];
}

template <class S, bool FullOpacity, bool WithMask>
void over_loop(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask, RX_Pixel8* dst,
               int32_t& i) {
  using I = typename S::I;
  constexpr int32_t kStep = S::pixels;
  const I alpha_bytes = S::set32(0xFF), white = S::set32(255), zero = S::set32(0);
  const I opacity_v = S::set32(opacity);
  for (; i + kStep <= width; i += kStep) {
    const I s = S::load(src + i);
    const I sa = weights<S, FullOpacity, WithMask>(s, opacity_v, WithMask ? mask + i : nullptr);
    const I transparent = S::cmpeq32(sa, zero);
    if (S::all(transparent)) continue;
    const I opaque = S::cmpeq32(sa, white);
    if (S::all(opaque)) {
      S::store(dst + i, s);
      continue;
    }
    const I d = S::load(dst + i);
    const I da = S::bit_and(d, alpha_bytes);
    const I r = S::sub32(white, mul8_32<S>(S::sub32(white, sa), S::sub32(white, da)));
    // The source with the weighted alpha, where sa is full and where da is 0.
    const I weighted_src = S::bit_or(S::andnot(alpha_bytes, s), sa);
    I out = over_general<S>(s, d, sa, r);
    out = S::select(S::cmpeq32(da, zero), weighted_src, out);
    out = S::select(opaque, weighted_src, out);
    out = S::select(transparent, d, out);
    S::store(dst + i, out);
  }
}

template <class S>
struct OverLoop {
  template <bool FullOpacity, bool WithMask>
  struct Form {
    static void run(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask, RX_Pixel8* dst,
                    int32_t& i) {
      over_loop<S, FullOpacity, WithMask>(width, opacity, src, mask, dst, i);
    }
  };
};

template <class S>
void over_row(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask, RX_Pixel8* dst) {
  whole_line<S::pixels, OverLoop<S>::template Form>(width, opacity, src, mask, dst);
}

}  // namespace rx::blend::over_simd
