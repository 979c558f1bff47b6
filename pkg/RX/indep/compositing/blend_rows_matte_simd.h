// The vector rows of the matte modes at 8 bits that need no table: Add,
// Multiply, Screen, Overlay, HardLight, Darken, Lighten, Difference and
// Exclusion, written once over a register width like the Over row. dst
// comes matted by the pipeline; the row computes the mode's short and
// weighted forms in 16-bit lanes and keeps each pixel's by its weight,
// with exactly the scalar body's arithmetic (products below 65536, the
// signed blend's floor), so the results are equal to the last bit.
#pragma once

#include "compositing/blend_rows_over_simd.h"
#include "RX_Modes.h"

namespace rx::blend::matte_simd {

using over_simd::mul8_16;
using over_simd::signed_blend;

// One mode on two pixels in 16-bit lanes: source s, matted dst m, weight
// sa, and full where the weight is 255. Lanes whose form does not apply
// may hold anything before the select.
template <class S, int Mode>
typename S::I mode_lanes(typename S::I s, typename S::I m, typename S::I sa, typename S::I full) {
  using I = typename S::I;
  const I white = S::set16(255);
  auto mul = [](I a, I b) { return mul8_16<S>(a, b); };
  if constexpr (Mode == RX_Xfer_Add) {
    return S::min16(S::add16(S::select(full, s, mul(s, sa)), m), white);
  } else if constexpr (Mode == RX_Xfer_Multiply) {
    const I product = mul(S::sub16(white, s), m);
    return S::sub16(m, S::select(full, product, mul(product, sa)));
  } else if constexpr (Mode == RX_Xfer_Screen) {
    const I weighted = S::select(full, s, mul(s, sa));
    return S::sub16(white, mul(S::sub16(white, weighted), S::sub16(white, m)));
  } else if constexpr (Mode == RX_Xfer_Darken) {
    const I lowered = S::select(S::cmpgt16(m, s), S::sub16(m, mul(S::sub16(m, s), sa)), m);
    return S::select(full, S::min16(s, m), lowered);
  } else if constexpr (Mode == RX_Xfer_Lighten) {
    const I raised = S::select(S::cmpgt16(s, m), S::add16(m, mul(S::sub16(s, m), sa)), m);
    return S::select(full, S::max16(s, m), raised);
  } else if constexpr (Mode == RX_Xfer_Difference) {
    return S::abs16(S::sub16(S::select(full, s, mul(s, sa)), m));
  } else if constexpr (Mode == RX_Xfer_Exclusion) {
    const I f = S::add16(m, S::sub16(s, S::add16(mul(s, m), mul(s, m))));
    return S::select(full, f, signed_blend<S>(m, f, sa));
  } else {
    I f;
    if constexpr (Mode == RX_Xfer_Overlay) {
      const I doubled_inverse = S::add16(S::sub16(white, m), S::sub16(white, m));
      const I screen = S::sub16(white, mul(S::sub16(white, s), doubled_inverse));
      const I multiply = S::add16(mul(s, m), mul(s, m));
      f = S::select(S::cmpgt16(m, S::set16(127)), screen, multiply);
    } else {
      static_assert(Mode == RX_Xfer_HardLight);
      const I twice = S::add16(s, s);
      const I up = S::add16(m, mul(S::sub16(twice, white), S::sub16(white, m)));
      const I down = S::sub16(m, mul(S::sub16(white, twice), m));
      f = S::select(S::cmpgt16(s, S::set16(127)), up, down);
    }
    return S::select(full, f, signed_blend<S>(m, f, sa));
  }
}

template <class S, int Mode, bool FullOpacity, bool WithMask>
void matte_loop(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask, RX_Pixel8* dst,
                int32_t& i) {
  using I = typename S::I;
  constexpr int32_t kStep = S::pixels;
  const I alpha_bytes = S::set32(0xFF), zero = S::set32(0), white16 = S::set16(255);
  const I opacity_v = S::set32(opacity);
  for (; i + kStep <= width; i += kStep) {
    const I s = S::load(src + i);
    const I sa = over_simd::weights<S, FullOpacity, WithMask>(s, opacity_v, WithMask ? mask + i : nullptr);
    const I transparent = S::cmpeq32(sa, zero);
    if (S::all(transparent)) continue;
    const I d = S::load(dst + i);
    I halves[2];
    for (int half = 0; half < 2; ++half) {
      const I s16 = half == 0 ? S::widen_low(s) : S::widen_high(s);
      const I m16 = half == 0 ? S::widen_low(d) : S::widen_high(d);
      const I sa16 = S::spread_bytes(sa, half);
      halves[half] = mode_lanes<S, Mode>(s16, m16, sa16, S::cmpeq16(sa16, white16));
    }
    // Colours limited to 0..255 by the pack; alpha and skipped pixels kept.
    const I colours = S::pack_u8(halves[0], halves[1]);
    S::store(dst + i, S::select(S::bit_or(alpha_bytes, transparent), d, colours));
  }
}

template <class S, int Mode>
struct MatteLoop {
  template <bool FullOpacity, bool WithMask>
  struct Form {
    static void run(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask, RX_Pixel8* dst,
                    int32_t& i) {
      matte_loop<S, Mode, FullOpacity, WithMask>(width, opacity, src, mask, dst, i);
    }
  };
};

// A whole line, the last few pixels on a padded copy as in the Over row.
template <class S, int Mode>
void matte_row(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask, RX_Pixel8* dst) {
  over_simd::whole_line<S::pixels, MatteLoop<S, Mode>::template Form>(width, opacity, src, mask, dst);
}

// The row of a mode by its number; false for a mode without a vector form.
template <class S>
bool matte_row_by_mode(int32_t mode, int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                       RX_Pixel8* dst) {
  switch (mode) {
    case RX_Xfer_Add: matte_row<S, RX_Xfer_Add>(width, opacity, src, mask, dst); return true;
    case RX_Xfer_Multiply: matte_row<S, RX_Xfer_Multiply>(width, opacity, src, mask, dst); return true;
    case RX_Xfer_Screen: matte_row<S, RX_Xfer_Screen>(width, opacity, src, mask, dst); return true;
    case RX_Xfer_Overlay: matte_row<S, RX_Xfer_Overlay>(width, opacity, src, mask, dst); return true;
    case RX_Xfer_HardLight: matte_row<S, RX_Xfer_HardLight>(width, opacity, src, mask, dst); return true;
    case RX_Xfer_Darken: matte_row<S, RX_Xfer_Darken>(width, opacity, src, mask, dst); return true;
    case RX_Xfer_Lighten: matte_row<S, RX_Xfer_Lighten>(width, opacity, src, mask, dst); return true;
    case RX_Xfer_Difference: matte_row<S, RX_Xfer_Difference>(width, opacity, src, mask, dst); return true;
    case RX_Xfer_Exclusion: matte_row<S, RX_Xfer_Exclusion>(width, opacity, src, mask, dst); return true;
    default: return false;
  }
}

}  // namespace rx::blend::matte_simd
