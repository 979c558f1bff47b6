// The row functions of every mode -3 to 38, one generic body instantiated
// by depth, mode and mask. Per pixel the source alpha is weighted by
// opacity (and mask); a pixel of weight 0 is skipped; a full weight takes
// the mode's short form. The per-pixel arithmetic is the transfer
// functions' own (transfer_modes.h), except that the matte modes work on
// dst colours that the pipeline has already matted, and leave alpha and
// dematte to it, and the colour modes leave the behind step to the
// pipeline's behind pass (so lighter and darker colour compare against
// dst as that pass left it). The behaviours that exist only in rows
// (copies, mask mix, behind, dissolve) are written here.
#pragma once

#include <cstring>

#include "RX_Blend.h"
#include "RX_Color.h"
#include "compositing/blend_rows_vector.h"
#include "compositing/transfer_entries.h"

namespace rx::blend {

using xfer::Arith;

template <class Px>
using Cv = typename Arith<Px>::Cv;

inline constexpr int kRowTableSize = 42;  // modes -3 to 38

// Which form of a row a function is: the plain body, or the body with its
// processor loops (8-bit Copy on SSE2; 8-bit Over and the matte modes
// without tables on SSSE3 or AVX2). Birth puts the form the processor
// allows into the row tables (blend_rows8_variants()); no row tests a CPU
// word.
enum class RowForm { Plain, SSE2, SSSE3, AVX2 };

// The weighted source alpha of pixel i: mul(sa, opacity), then mul(mask, .).
// A mask form given no mask weighs as a full mask.
template <class Px, bool HasMask>
typename Arith<Px>::V weighted_alpha(const Px* src, Cv<Px> opacity, const Px* mask, int32_t i) {
  using A = Arith<Px>;
  typename A::V sa = A::mul(src[i].alpha, opacity);
  if constexpr (HasMask) {
    if (mask) sa = A::mul(mask[i].alpha, sa);
  }
  return sa;
}

// ---- the common body ----

// FullOpacity leaves out the multiply by opacity, which is exact at full.
template <class Px, int Mode, bool HasMask, bool FullOpacity>
void mode_row_loop(int32_t width, Cv<Px> opacity, const Px* src, const Px* mask, Px* dst) {
  using A = Arith<Px>;
  using V = typename A::V;
  for (int32_t i = 0; i < width; ++i) {
    const V sa = FullOpacity && !HasMask ? V(src[i].alpha) : weighted_alpha<Px, HasMask>(src, opacity, mask, i);
    if (sa == 0) continue;
    if constexpr (xfer::family_of(Mode) == xfer::Family::Matte) {
      // dst is matted and alpha is the pipeline's: the mode alone, on
      // copies, so that no store can alias a later load.
      const bool full = A::opaque(sa);
      const Px s = src[i];
      Px d = dst[i];
      xfer::for_each_colour<Px>([&](auto colour) RX_CHANNEL_BODY {
        V c = xfer::matte_mode<A, Mode>(s.*colour, d.*colour, sa, full);
        if constexpr (!A::is_float) c = A::limit(c);
        d.*colour = Cv<Px>(c);
      });
      dst[i] = d;
    } else if constexpr (xfer::family_of(Mode) == xfer::Family::Colour) {
      // The pipeline's behind pass has already put src under dst.
      Px s = src[i];
      s.alpha = Cv<Px>(sa);
      xfer::colour_replace<Px, Mode>(s, dst[i], xfer::rgb_of(dst[i]).luminance());
    } else {
      Px s = src[i];
      if constexpr (Mode == RX_Xfer_AddPremul) {
        // A premultiplied source is weighted in all four channels.
        xfer::reduce_by_opacity<Px, Mode>(s, opacity);
        if constexpr (HasMask) {
          if (mask) xfer::reduce_by_opacity<Px, Mode>(s, mask[i].alpha);
        }
      } else {
        s.alpha = Cv<Px>(sa);
      }
      xfer::transfer<Px, Mode>(s, dst[i]);
    }
  }
}

// The 8-bit matte modes that need no table have vector forms.
constexpr bool has_vector_matte_row(int mode) {
  switch (mode) {
    case RX_Xfer_Add: case RX_Xfer_Multiply: case RX_Xfer_Screen: case RX_Xfer_Overlay: case RX_Xfer_HardLight:
    case RX_Xfer_Darken: case RX_Xfer_Lighten: case RX_Xfer_Difference: case RX_Xfer_Exclusion:
      return true;
    default:
      return false;
  }
}

template <class Px, int Mode, bool HasMask, RowForm Form = RowForm::Plain>
RX_Err mode_row(int32_t width, const RX_BlendingMode<Px>* mode, const RX_LinearBlendingTables*,
                const Px* src, const Px* mask, Px* dst) {
  if constexpr (std::is_same_v<Px, RX_Pixel8> && has_vector_matte_row(Mode) && Form == RowForm::SSSE3) {
    return matte_row_ssse3(Mode, width, mode->opacity, src, HasMask ? mask : nullptr, dst);
  } else if constexpr (std::is_same_v<Px, RX_Pixel8> && has_vector_matte_row(Mode) && Form == RowForm::AVX2) {
    return matte_row_avx2(Mode, width, mode->opacity, src, HasMask ? mask : nullptr, dst);
  }
  if (mode->opacity == Arith<Px>::white) {
    mode_row_loop<Px, Mode, HasMask, true>(width, mode->opacity, src, mask, dst);
  } else {
    mode_row_loop<Px, Mode, HasMask, false>(width, mode->opacity, src, mask, dst);
  }
  return RX_Result_OK;
}

// ---- copies ----

template <class Px>
void copy_colours(const Px& s, Px& d) {
  d.red = s.red;
  d.green = s.green;
  d.blue = s.blue;
}

// The pixels from first on: alpha := weighted alpha, colours copied, also
// where that alpha is 0.
template <class Px, bool HasMask>
void copy_weighted(int32_t first, int32_t width, Cv<Px> opacity, const Px* src, const Px* mask, Px* dst) {
  for (int32_t i = first; i < width; ++i) {
    const Cv<Px> sa = Cv<Px>(weighted_alpha<Px, HasMask>(src, opacity, mask, i));
    dst[i] = Px{sa, src[i].red, src[i].green, src[i].blue};
  }
}

// ReplaceRaw and Copy: with keep_dst_alpha only colours move; at full
// opacity without a mask (tested by the pointer) one move of the line.
template <class Px, int Mode, bool HasMask, RowForm Form = RowForm::Plain>
RX_Err copy_row(int32_t width, const RX_BlendingMode<Px>* mode, const RX_LinearBlendingTables*,
                const Px* src, const Px* mask, Px* dst) {
  if (mode->keep_dst_alpha) {
    for (int32_t i = 0; i < width; ++i) copy_colours(src[i], dst[i]);
    return RX_Result_OK;
  }
  if (mode->opacity == Arith<Px>::white && mask == nullptr) {
    std::memmove(dst, src, size_t(width) * sizeof(Px));
    return RX_Result_OK;
  }
  int32_t first = 0;
  if constexpr (Mode == RX_Xfer_Copy && std::is_same_v<Px, RX_Pixel8> && Form == RowForm::SSE2) {
    first = copy_weighted_sse2(width, mode->opacity, src, HasMask ? mask : nullptr, dst);
  }
  copy_weighted<Px, HasMask>(first, width, mode->opacity, src, mask, dst);
  return RX_Result_OK;
}

// ---- mask mix: a crossfade weighted by the mask alone ----

template <class Px>
struct MaskMixArith;

// 8 bits: products unrounded, the sum rounded once into alpha, colours
// truncated around a half-sum.
template <>
struct MaskMixArith<RX_Pixel8> {
  static RX_Pixel8 mix(const RX_Pixel8& s, const RX_Pixel8& d, uint32_t w1, uint32_t w2) {
    const uint32_t t = w1 + w2;
    auto colour = [&](uint32_t sc, uint32_t dc) { return uint8_t((sc * w1 + t / 2 + dc * w2) / t); };
    return {uint8_t((t + 128) / 255), colour(s.red, d.red), colour(s.green, d.green), colour(s.blue, d.blue)};
  }
};

// 16 bits: the same shape at 32768, in 64-bit products.
template <>
struct MaskMixArith<RX_Pixel16> {
  static RX_Pixel16 mix(const RX_Pixel16& s, const RX_Pixel16& d, uint32_t w1, uint32_t w2) {
    const uint64_t t = uint64_t(w1) + w2;
    auto colour = [&](uint64_t sc, uint64_t dc) { return uint16_t((sc * w1 + t / 2 + dc * w2) / t); };
    return {uint16_t((t + 16384) / 32768), colour(s.red, d.red), colour(s.green, d.green),
            colour(s.blue, d.blue)};
  }
};

template <class Px, bool HasMask>
RX_Err mask_mix_row(int32_t width, const RX_BlendingMode<Px>*, const RX_LinearBlendingTables*, const Px* src,
                    const Px* mask, Px* dst) {
  using A = Arith<Px>;
  if (!HasMask || mask == nullptr) return RX_Result_OK;  // no weights, nothing to mix
  for (int32_t i = 0; i < width; ++i) {
    const auto m = mask[i].alpha;
    if (m == A::white) {
      dst[i] = src[i];
      continue;
    }
    if (m == 0) continue;
    if constexpr (A::is_float) {
      const float w1 = src[i].alpha * m, w2 = (1.0f - m) * dst[i].alpha, t = w1 + w2;
      if (t == 0.0f) continue;
      auto colour = [&](float sc, float dc) { return (sc * w1 + dc * w2) / t; };
      dst[i] = {t, colour(src[i].red, dst[i].red), colour(src[i].green, dst[i].green),
                colour(src[i].blue, dst[i].blue)};
    } else {
      const uint32_t w1 = uint32_t(src[i].alpha) * m, w2 = uint32_t(A::white - m) * dst[i].alpha;
      if (w1 + w2 == 0) continue;
      dst[i] = MaskMixArith<Px>::mix(src[i], dst[i], w1, w2);
    }
  }
  return RX_Result_OK;
}

// ---- behind: src under dst, with no skip at weight 0 ----

template <class Px, bool HasMask>
RX_Err behind_row(int32_t width, const RX_BlendingMode<Px>* mode, const RX_LinearBlendingTables*,
                  const Px* src, const Px* mask, Px* dst) {
  using A = Arith<Px>;
  const bool keep_alpha = mode->keep_dst_alpha;
  for (int32_t i = 0; i < width; ++i) {
    const auto sa = weighted_alpha<Px, HasMask>(src, mode->opacity, mask, i);
    const auto da = dst[i].alpha;
    if (da == A::white) continue;
    if (da == 0) {
      copy_colours(src[i], dst[i]);
      if (!keep_alpha) dst[i].alpha = Cv<Px>(sa);
      continue;
    }
    const Cv<Px> kept = dst[i].alpha;
    Px s = src[i];
    s.alpha = Cv<Px>(sa);
    xfer::behind_step(s, dst[i]);
    if (keep_alpha) dst[i].alpha = kept;
  }
  return RX_Result_OK;
}

// ---- dissolve: whole pixels drawn at random, probability the weight ----

// The weight on the generator's byte scale.
inline uint32_t dissolve_weight(uint8_t sa) { return sa; }
inline uint32_t dissolve_weight(uint16_t sa) { return (uint32_t(sa) * 255 + 16384) >> 15; }
inline uint32_t dissolve_weight(float sa) { return uint32_t(int32_t(sa * 255.0f + 0.5f)); }

template <class Px, bool HasMask>
RX_Err dissolve_row(int32_t width, const RX_BlendingMode<Px>* mode, const RX_LinearBlendingTables*,
                    const Px* src, const Px* mask, Px* dst) {
  using A = Arith<Px>;
  uint32_t seed = uint32_t(mode->random_seed);
  auto draw = [&](int32_t i) {
    copy_colours(src[i], dst[i]);
    if (!mode->keep_dst_alpha) dst[i].alpha = Cv<Px>(A::white);
  };
  for (int32_t i = 0; i < width; ++i, ++seed) {
    const Cv<Px> sa = Cv<Px>(weighted_alpha<Px, HasMask>(src, mode->opacity, mask, i));
    if (A::opaque(sa)) {
      draw(i);
    } else if (sa != 0) {
      uint32_t state = seed;
      if (dissolve_weight(sa) >= (RX_Rand(&state) & 255)) draw(i);
      seed = state;
    }
  }
  return RX_Result_OK;
}

// ---- Over: the common body, or the SSSE3 and AVX2 loops at 8 bits ----

template <class Px, bool HasMask, RowForm Form = RowForm::Plain>
RX_Err over_row(int32_t width, const RX_BlendingMode<Px>* mode, const RX_LinearBlendingTables* tables,
                const Px* src, const Px* mask, Px* dst) {
  if constexpr (std::is_same_v<Px, RX_Pixel8> && Form == RowForm::SSSE3) {
    return over_row_ssse3(width, mode->opacity, src, HasMask ? mask : nullptr, dst);
  } else if constexpr (std::is_same_v<Px, RX_Pixel8> && Form == RowForm::AVX2) {
    return over_row_avx2(width, mode->opacity, src, HasMask ? mask : nullptr, dst);
  } else {
    return mode_row<Px, RX_Xfer_Over, HasMask>(width, mode, tables, src, mask, dst);
  }
}

// ---- the gamma row of a mode ----

template <class Px, int Mode, bool HasMask, RowForm Form = RowForm::Plain>
RX_Err gamma_row(int32_t width, const RX_BlendingMode<Px>* mode, const RX_LinearBlendingTables* tables,
                 const Px* src, const Px* mask, Px* dst) {
  if (width < 1) return RX_Result_OK;
  if constexpr (Mode == RX_Xfer_ReplaceRaw || Mode == RX_Xfer_Copy) {
    return copy_row<Px, Mode, HasMask, Form>(width, mode, tables, src, mask, dst);
  } else if constexpr (Mode == RX_Xfer_MaskMix) {
    return mask_mix_row<Px, HasMask>(width, mode, tables, src, mask, dst);
  } else if constexpr (Mode == RX_Xfer_Behind) {
    return behind_row<Px, HasMask>(width, mode, tables, src, mask, dst);
  } else if constexpr (Mode == RX_Xfer_Dissolve) {
    return dissolve_row<Px, HasMask>(width, mode, tables, src, mask, dst);
  } else if constexpr (Mode == RX_Xfer_Over) {
    return over_row<Px, HasMask, Form>(width, mode, tables, src, mask, dst);
  } else {
    return mode_row<Px, Mode, HasMask, Form>(width, mode, tables, src, mask, dst);
  }
}

}  // namespace rx::blend
