// SSSE3 forms of the premultiply and unmultiply scans. Premultiplying gives
// exactly the plain forms' results: 8 bits in 16-bit lanes with the same
// m255, float with the same operations in the same order. Unmultiplying
// goes through the processor's reciprocal, refined by one Newton step,
// instead of the divide table or a division, so a channel may differ from
// the plain form by one step at a rounding boundary; float unmultiplies
// divide and stay exact.
#include <tmmintrin.h>

#include "pixelops/premultiply_scans.h"
#include "simd/ssse3.h"
#include "simd/vector_arith.h"

namespace rx {
namespace {

// ---- 8 bits: four pixels a register ----

using S = simd::Sse;
using simd::mul8_16;

template <Matte M>
inline __m128i premultiply_channels8(__m128i c, __m128i a) {
  const __m128i white = S::set16(255);
  if constexpr (M == Matte::Black) {
    return mul8_16<S>(c, a);
  } else if constexpr (M == Matte::White) {
    return S::sub16(white, mul8_16<S>(S::sub16(white, c), a));
  } else {
    const __m128i half = S::set16(128);
    const __m128i below = S::add16(c, mul8_16<S>(S::sub16(white, a), S::sub16(half, c)));
    const __m128i above = S::add16(half, mul8_16<S>(S::sub16(c, half), a));
    return S::select(S::cmpgt16(half, c), below, above);
  }
}

template <Matte M>
inline __m128i premultiply_four8(__m128i pixels);

// Against black, the hot path: each byte times its pixel's alpha, where the
// alpha byte is multiplied by 255, which m255 gives back unchanged.
template <>
inline __m128i premultiply_four8<Matte::Black>(__m128i pixels) {
  const __m128i broadcast = _mm_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12);
  const __m128i factors = S::bit_or(_mm_shuffle_epi8(pixels, broadcast), S::set32(0xFF));
  const __m128i lo = mul8_16<S>(S::widen_low(pixels), S::widen_low(factors));
  const __m128i hi = mul8_16<S>(S::widen_high(pixels), S::widen_high(factors));
  return S::pack_u8(lo, hi);
}

template <Matte M>
inline __m128i premultiply_four8(__m128i pixels) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i alpha_bytes = _mm_set1_epi32(0xFF);
  const __m128i broadcast = _mm_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12);
  const __m128i alpha = _mm_shuffle_epi8(pixels, broadcast);
  const __m128i lo = premultiply_channels8<M>(_mm_unpacklo_epi8(pixels, zero),
                                              _mm_unpacklo_epi8(alpha, zero));
  const __m128i hi = premultiply_channels8<M>(_mm_unpackhi_epi8(pixels, zero),
                                              _mm_unpackhi_epi8(alpha, zero));
  const __m128i colour = _mm_packus_epi16(lo, hi);
  return _mm_or_si128(_mm_and_si128(alpha_bytes, pixels), _mm_andnot_si128(alpha_bytes, colour));
}

template <Matte M>
RX_Err premultiply_scan8(int32_t count, const RX_Pixel8* src, RX_Pixel8* dst) {
  if (count < 1) return RX_Result_OK;
  if (!src) src = dst;
  int32_t i = 0;
  const __m128i alpha_bytes = _mm_set1_epi32(0xFF);
  for (; i + 8 <= count; i += 8) {
    const __m128i p0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    const __m128i p1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i + 4));
    // Eight opaque pixels premultiply to themselves: the common case of an
    // opaque destination matted by the blend pipeline.
    const __m128i alphas = _mm_and_si128(_mm_and_si128(p0, p1), alpha_bytes);
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(alphas, alpha_bytes)) == 0xFFFF) {
      if (src != dst) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), p0);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 4), p1);
      }
      continue;
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), premultiply_four8<M>(p0));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 4), premultiply_four8<M>(p1));
  }
  for (; i < count; ++i) dst[i] = premultiply_pixel<RX_Pixel8, M, true>(src[i]);
  return RX_Result_OK;
}

// ---- 16 bits: one pixel a register, 32-bit lanes with the plain forms'
// unsigned wrap-around ----

// The low 32 bits of each lane's product, as the plain forms compute them.
inline __m128i mullo32(__m128i x, __m128i y) {
  const __m128i even = _mm_mul_epu32(x, y);
  const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(x, 32), _mm_srli_epi64(y, 32));
  return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                            _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
}

inline __m128i mul16_epu32(__m128i c, __m128i a) {
  return _mm_srli_epi32(_mm_add_epi32(mullo32(c, a), _mm_set1_epi32(16383)), 15);
}

template <Matte M>
inline __m128i premultiply_channels16(__m128i c, __m128i a) {
  const __m128i white = _mm_set1_epi32(32768);
  if constexpr (M == Matte::Black) {
    return mul16_epu32(c, a);
  } else if constexpr (M == Matte::White) {
    const __m128i inverse = _mm_and_si128(_mm_sub_epi32(white, c), _mm_set1_epi32(0xFFFF));
    return _mm_sub_epi32(white, mul16_epu32(inverse, a));
  } else {
    const __m128i half = _mm_set1_epi32(16384);
    const __m128i below = _mm_add_epi32(c, mul16_epu32(_mm_sub_epi32(white, a), _mm_sub_epi32(half, c)));
    const __m128i above = _mm_add_epi32(half, mul16_epu32(_mm_sub_epi32(c, half), a));
    const __m128i is_below = _mm_cmplt_epi32(c, half);
    return _mm_or_si128(_mm_and_si128(is_below, below), _mm_andnot_si128(is_below, above));
  }
}

template <Matte M>
RX_Err premultiply_scan16(int32_t count, const RX_Pixel16* src, RX_Pixel16* dst) {
  if (count < 1) return RX_Result_OK;
  if (!src) src = dst;
  const __m128i zero = _mm_setzero_si128();
  const __m128i low_halves = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
  for (int32_t i = 0; i < count; ++i) {
    const uint16_t alpha = src[i].alpha;
    const __m128i c = _mm_unpacklo_epi16(
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + i)), zero);
    const __m128i a = _mm_shuffle_epi32(c, 0);
    const __m128i out = _mm_shuffle_epi8(premultiply_channels16<M>(c, a), low_halves);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + i), out);
    dst[i].alpha = alpha;
  }
  return RX_Result_OK;
}

// ---- one pixel as four float lanes, for the unmultiplies ----

// 1 / a to nearly full single precision: the estimate and one Newton step.
inline __m128 reciprocal(__m128 a) {
  const __m128 r = _mm_rcp_ps(a);
  return _mm_mul_ps(r, _mm_sub_ps(_mm_set1_ps(2.0f), _mm_mul_ps(a, r)));
}

inline __m128 select(__m128 mask, __m128 yes, __m128 no) {
  return _mm_or_ps(_mm_and_ps(mask, yes), _mm_andnot_ps(mask, no));
}

// c * white / a, rounded to nearest and limited to white; a of 0 gives
// white, as the plain forms do.
inline __m128 unmultiply_lanes(__m128 c, __m128 a, __m128 inverse_a, float white) {
  const __m128 w = _mm_set1_ps(white);
  const __m128 q = _mm_cvtepi32_ps(_mm_cvtps_epi32(_mm_mul_ps(_mm_mul_ps(c, w), inverse_a)));
  const __m128 limited = _mm_min_ps(q, w);
  return select(_mm_cmple_ps(a, c), w, limited);  // c at least a: white (also a = 0)
}

template <class Px>
struct IntegerLanes;

template <>
struct IntegerLanes<RX_Pixel8> {
  static constexpr float white = 255.0f, half = 128.0f;
  static __m128 load(const RX_Pixel8& p) {
    int32_t bytes;
    __builtin_memcpy(&bytes, &p, 4);
    const __m128i zero = _mm_setzero_si128();
    return _mm_cvtepi32_ps(
        _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), zero), zero));
  }
  static void store(__m128 v, RX_Pixel8& p) {
    const __m128i i = _mm_cvtps_epi32(v);
    const int32_t bytes = _mm_cvtsi128_si32(_mm_packus_epi16(_mm_packs_epi32(i, i), i));
    __builtin_memcpy(&p, &bytes, 4);
  }
};

template <>
struct IntegerLanes<RX_Pixel16> {
  static constexpr float white = 32768.0f, half = 16384.0f;
  static __m128 load(const RX_Pixel16& p) {
    const __m128i words = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&p));
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(words, _mm_setzero_si128()));
  }
  static void store(__m128 v, RX_Pixel16& p) {
    // Results lie in 0..32768: the low halves of the 32-bit lanes hold them.
    const __m128i low_halves = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&p),
                     _mm_shuffle_epi8(_mm_cvtps_epi32(v), low_halves));
  }
};

// The unmultiply rule of each matte on integer pixels, in float lanes.
template <class Px, Matte M>
inline __m128 unmultiply_integer(__m128 c, __m128 a) {
  using L = IntegerLanes<Px>;
  const __m128 inverse_a = reciprocal(a);
  const __m128 w = _mm_set1_ps(L::white);
  if constexpr (M == Matte::Black) {
    return unmultiply_lanes(c, a, inverse_a, L::white);
  } else if constexpr (M == Matte::White) {
    return _mm_sub_ps(w, unmultiply_lanes(_mm_sub_ps(w, c), a, inverse_a, L::white));
  } else {
    const __m128 h = _mm_set1_ps(L::half);
    const __m128 t_below = unmultiply_lanes(_mm_sub_ps(h, c), a, inverse_a, L::white);
    const __m128 below = select(_mm_cmplt_ps(t_below, h), _mm_sub_ps(h, t_below), _mm_setzero_ps());
    const __m128 t_above = unmultiply_lanes(_mm_sub_ps(c, h), a, inverse_a, L::white);
    const __m128 above = _mm_min_ps(_mm_add_ps(h, t_above), w);
    return select(_mm_cmplt_ps(c, h), below, above);
  }
}

template <class Px, Matte M>
RX_Err unmultiply_scan_integer(int32_t count, const Px* src, Px* dst) {
  using L = IntegerLanes<Px>;
  if (count < 1) return RX_Result_OK;
  if (!src) src = dst;
  const __m128 alpha_lane = _mm_castsi128_ps(_mm_setr_epi32(-1, 0, 0, 0));
  constexpr auto kOpaque = decltype(src->alpha)(L::white);
  for (int32_t i = 0; i < count; ++i) {
    const auto alpha = src[i].alpha;
    // A full alpha divides by nothing: the common case of opaque rows.
    if (alpha == kOpaque) {
      dst[i] = src[i];
      continue;
    }
    const __m128 p = L::load(src[i]);
    const __m128 a = _mm_shuffle_ps(p, p, 0);
    L::store(select(alpha_lane, p, unmultiply_integer<Px, M>(p, a)), dst[i]);
    dst[i].alpha = alpha;
  }
  return RX_Result_OK;
}

// ---- float: one pixel a register, the plain forms' operations ----

template <Matte M, bool Forward>
inline __m128 float_channels(__m128 c, __m128 a) {
  const __m128 one = _mm_set1_ps(1.0f);
  const __m128 g = _mm_set1_ps(0.5f);
  if constexpr (Forward) {
    if constexpr (M == Matte::Black) return _mm_mul_ps(c, a);
    if constexpr (M == Matte::White) return _mm_sub_ps(one, _mm_mul_ps(_mm_sub_ps(one, c), a));
    if constexpr (M == Matte::Grey) {
      const __m128 above = _mm_add_ps(_mm_mul_ps(_mm_sub_ps(c, g), a), g);
      const __m128 below = _mm_add_ps(c, _mm_mul_ps(_mm_sub_ps(one, a), _mm_sub_ps(g, c)));
      return select(_mm_cmpge_ps(c, g), above, below);
    }
  } else {
    if constexpr (M == Matte::Black) return _mm_div_ps(c, a);
    if constexpr (M == Matte::White) return _mm_sub_ps(one, _mm_div_ps(_mm_sub_ps(one, c), a));
  }
  return c;
}

template <Matte M, bool Forward>
RX_Err float_scan(int32_t count, const RX_PixelFloat* src, RX_PixelFloat* dst) {
  if (count < 1) return RX_Result_OK;
  if (!src) src = dst;
  const __m128 alpha_lane = _mm_castsi128_ps(_mm_setr_epi32(-1, 0, 0, 0));
  for (int32_t i = 0; i < count; ++i) {
    const float alpha = src[i].alpha;
    if (!Forward && DepthArith<RX_PixelFloat>::cannot_unmultiply(alpha)) {
      dst[i] = premultiply_pixel<RX_PixelFloat, M, false>(src[i]);
      continue;
    }
    const __m128 p = _mm_loadu_ps(&src[i].alpha);
    const __m128 a = _mm_shuffle_ps(p, p, 0);
    _mm_storeu_ps(&dst[i].alpha, select(alpha_lane, p, float_channels<M, Forward>(p, a)));
  }
  return RX_Result_OK;
}

template <class F>
RX_OverFunc as_over(F* f) {
  return reinterpret_cast<RX_OverFunc>(f);
}

}  // namespace

RX_OverFunc ssse3_premultiply_scan(RX_Slot slot) {
  switch (slot) {
    case RX_Slot_PremulScanBlack8: return as_over(&premultiply_scan8<Matte::Black>);
    case RX_Slot_UnmultScanBlack8: return as_over(&unmultiply_scan_integer<RX_Pixel8, Matte::Black>);
    case RX_Slot_PremulScanWhite8: return as_over(&premultiply_scan8<Matte::White>);
    case RX_Slot_UnmultScanWhite8: return as_over(&unmultiply_scan_integer<RX_Pixel8, Matte::White>);
    case RX_Slot_PremulScanGrey8: return as_over(&premultiply_scan8<Matte::Grey>);
    case RX_Slot_UnmultScanGrey8: return as_over(&unmultiply_scan_integer<RX_Pixel8, Matte::Grey>);
    case RX_Slot_UnmultScanBlack16: return as_over(&unmultiply_scan_integer<RX_Pixel16, Matte::Black>);
    case RX_Slot_PremulScanWhite16: return as_over(&premultiply_scan16<Matte::White>);
    case RX_Slot_PremulScanGrey16: return as_over(&premultiply_scan16<Matte::Grey>);
    case RX_Slot_UnmultScanWhite16: return as_over(&unmultiply_scan_integer<RX_Pixel16, Matte::White>);
    case RX_Slot_UnmultScanGrey16: return as_over(&unmultiply_scan_integer<RX_Pixel16, Matte::Grey>);
    case RX_Slot_PremulScanBlackFloat: return as_over(&float_scan<Matte::Black, true>);
    case RX_Slot_UnmultScanBlackFloat: return as_over(&float_scan<Matte::Black, false>);
    case RX_Slot_PremulScanWhiteFloat: return as_over(&float_scan<Matte::White, true>);
    case RX_Slot_UnmultScanWhiteFloat: return as_over(&float_scan<Matte::White, false>);
    case RX_Slot_PremulScanGreyFloat: return as_over(&float_scan<Matte::Grey, true>);
    default: return nullptr;
  }
}

}  // namespace rx
