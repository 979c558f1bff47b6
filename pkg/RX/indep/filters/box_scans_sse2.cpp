// The packed box scans on SSE2, for the premultiplied form only: the four
// channels of a pixel in four 32-bit integer lanes (8 and 16 bits) or in
// two registers of doubles (float), the selected channels picked by one of
// sixteen lane masks. Their rounding is their own:
//   8 bits:  nearest-even of min(255, (sum × 1024 - E × frac) / total), f32
//   16 bits: nearest-even of (sum - E × frac) / total in f32, within 0..32768
//   float:   (sum - E × frac) / total in double; alpha limited as in the
//            scalar form.
// With no weight the selected channels are cleared and the others keep the
// source pixel under the centre. A straight form has no packed code: its
// branch inside the loops is a guard that reports and throws.
#include <emmintrin.h>

#include <cstring>

#include "filters/box_scans.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"

namespace rx {
namespace {

// Lane masks by channels & 15: lane 0 alpha, 1 red, 2 green, 3 blue.
alignas(16) constexpr int32_t kLaneMasks[16][4] = {
    {0, 0, 0, 0},   {-1, 0, 0, 0},   {0, -1, 0, 0},   {-1, -1, 0, 0},
    {0, 0, -1, 0},  {-1, 0, -1, 0},  {0, -1, -1, 0},  {-1, -1, -1, 0},
    {0, 0, 0, -1},  {-1, 0, 0, -1},  {0, -1, 0, -1},  {-1, -1, 0, -1},
    {0, 0, -1, -1}, {-1, 0, -1, -1}, {0, -1, -1, -1}, {-1, -1, -1, -1}};

template <BoxForm F>
__m128i lane_mask(RX_BlurChannels channels) {
  const int index = F == BoxForm::kAllFour ? 15 : F == BoxForm::kAlphaOnly ? 1 : (channels & 15);
  return _mm_load_si128(reinterpret_cast<const __m128i*>(kLaneMasks[index]));
}

inline __m128i select_lanes(__m128i mask, __m128i yes, __m128i no) {
  return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}

// An 8- or 16-bit pixel as four 32-bit lanes, and back.
template <class Px>
inline __m128i load_lanes(const Px& p) {
  const __m128i zero = _mm_setzero_si128();
  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    int32_t bytes;
    std::memcpy(&bytes, &p, sizeof bytes);
    return _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), zero), zero);
  } else {
    return _mm_unpacklo_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(&p)), zero);
  }
}

template <class Px>
inline void store_lanes(__m128i lanes, Px& p) {
  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    const __m128i words = _mm_packs_epi32(lanes, lanes);
    const int32_t bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
    std::memcpy(&p, &bytes, sizeof bytes);
  } else {
    // The low word of each lane; no signed pack, since 32768 must stay.
    __m128i w = _mm_shufflelo_epi16(lanes, _MM_SHUFFLE(3, 3, 2, 0));
    w = _mm_shufflehi_epi16(w, _MM_SHUFFLE(3, 3, 2, 0));
    w = _mm_shuffle_epi32(w, _MM_SHUFFLE(3, 3, 2, 0));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&p), w);
  }
}

[[noreturn]] void straight_form_in_packed_loop() {
  report_verification(msg::kBlurUntestedSSE2);
  throw RX_Err{RX_Result_Internal};
}

template <class Px, BoxForm F>
void packed_integer(const BoxScanArgs& a) {
  const LineRef<const Px> in{static_cast<const Px*>(a.in), a.in_stride};
  const LineRef<Px> out{static_cast<Px*>(a.out), a.out_stride};
  const int32_t n = a.in_length;
  const int32_t r = a.radius_ceiling;
  const bool renormalize = a.channels & RX_BLUR_RENORMALIZE;
  const bool all = F == BoxForm::kAllFour;
  const __m128i mask = lane_mask<F>(a.channels);
  auto inside = [n](int64_t i) { return i >= 0 && i < n; };

  constexpr bool k8 = std::is_same_v<Px, RX_Pixel8>;
  // 8 bits count in 1024ths, 16 bits in f32 samples, as the scalar forms.
  const int32_t frac8 = truncate_to_int((float(r) - a.radius) * 1024.0f);
  const float frac16 = float(r) - a.radius;
  const bool has_frac = k8 ? frac8 != 0 : frac16 != 0.0f;
  float total = k8 ? float((int64_t{r} << 11) - 2 * int64_t{frac8} + 1024)
                   : float(2 * r + 1) - frac16 - frac16;
  const float frac = k8 ? float(frac8) : frac16;
  const float sum_scale = k8 ? 1024.0f : 1.0f;
  const float upper = k8 ? 255.0f : 32768.0f;

  __m128i sums = _mm_setzero_si128();
  int64_t count8 = 0;    // 8 bits: 1024 a sample
  float count16 = 0.0f;  // 16 bits: 1 a sample
  int64_t trail = int64_t{a.start} - r - 1;
  int64_t lead = trail + 2 * int64_t{r} + 1;
  for (int64_t i = trail < 0 ? 0 : trail; i < lead && i < n; ++i) {
    sums = _mm_add_epi32(sums, load_lanes(in[i]));
    count8 += 1024;
    count16 += 1.0f;
  }

  for (int32_t k = 0; k < a.out_length; ++k) {
    if (a.form != 1) straight_form_in_packed_loop();
    if (inside(trail)) {
      sums = _mm_sub_epi32(sums, load_lanes(in[trail]));
      count8 -= 1024;
      count16 -= 1.0f;
    }
    ++trail;
    __m128i edge = _mm_setzero_si128();
    int64_t e8 = 0;
    float e16 = 0.0f;
    if (inside(trail) && has_frac) {
      edge = load_lanes(in[trail]);
      e8 = frac8;
      e16 = frac16;
    }
    if (inside(lead)) {
      const __m128i p = load_lanes(in[lead]);
      sums = _mm_add_epi32(sums, p);
      count8 += 1024;
      count16 += 1.0f;
      if (has_frac) {
        edge = _mm_add_epi32(edge, p);
        e8 += frac8;
        e16 += frac16;
      }
    }
    ++lead;
    if (renormalize) total = k8 ? float(count8 - e8) : count16 - e16;

    const int64_t centre = int64_t{a.start} + k;
    const __m128i kept = !all && inside(centre) ? load_lanes(in[centre]) : _mm_setzero_si128();
    __m128i result = _mm_setzero_si128();
    if (total != 0.0f) {
      __m128 v = _mm_sub_ps(_mm_mul_ps(_mm_cvtepi32_ps(sums), _mm_set1_ps(sum_scale)),
                            _mm_mul_ps(_mm_cvtepi32_ps(edge), _mm_set1_ps(frac)));
      v = _mm_div_ps(v, _mm_set1_ps(total));
      v = _mm_min_ps(v, _mm_set1_ps(upper));
      if constexpr (!k8) v = _mm_max_ps(v, _mm_setzero_ps());
      result = _mm_cvtps_epi32(v);  // nearest-even
    }
    store_lanes(all ? result : select_lanes(mask, result, kept), out[k]);
  }
}

template <BoxForm F>
void packed_float(const BoxScanArgs& a) {
  const LineRef<const RX_PixelFloat> in{static_cast<const RX_PixelFloat*>(a.in), a.in_stride};
  const LineRef<RX_PixelFloat> out{static_cast<RX_PixelFloat*>(a.out), a.out_stride};
  const int32_t n = a.in_length;
  const int32_t r = a.radius_ceiling;
  const bool renormalize = a.channels & RX_BLUR_RENORMALIZE;
  const bool all = F == BoxForm::kAllFour;
  const __m128 mask = _mm_castsi128_ps(lane_mask<F>(a.channels));
  auto inside = [n](int64_t i) { return i >= 0 && i < n; };

  const float frac = float(r) - a.radius;
  float total = float(2 * r + 1) - frac - frac;
  const __m128d frac_d = _mm_set1_pd(double(frac));

  struct Lanes {
    __m128d alpha_red, green_blue;
  };
  auto load = [](const RX_PixelFloat& p) {
    const __m128 v = _mm_loadu_ps(&p.alpha);
    return Lanes{_mm_cvtps_pd(v), _mm_cvtps_pd(_mm_movehl_ps(v, v))};
  };
  Lanes sums{_mm_setzero_pd(), _mm_setzero_pd()};
  float count = 0.0f;
  int64_t trail = int64_t{a.start} - r - 1;
  int64_t lead = trail + 2 * int64_t{r} + 1;
  for (int64_t i = trail < 0 ? 0 : trail; i < lead && i < n; ++i) {
    const Lanes p = load(in[i]);
    sums.alpha_red = _mm_add_pd(sums.alpha_red, p.alpha_red);
    sums.green_blue = _mm_add_pd(sums.green_blue, p.green_blue);
    count += 1.0f;
  }

  for (int32_t k = 0; k < a.out_length; ++k) {
    if (a.form != 1) straight_form_in_packed_loop();
    if (inside(trail)) {
      const Lanes p = load(in[trail]);
      sums.alpha_red = _mm_sub_pd(sums.alpha_red, p.alpha_red);
      sums.green_blue = _mm_sub_pd(sums.green_blue, p.green_blue);
      count -= 1.0f;
    }
    ++trail;
    Lanes edge{_mm_setzero_pd(), _mm_setzero_pd()};
    float e = 0.0f;
    if (inside(trail) && frac != 0.0f) {
      edge = load(in[trail]);
      e = frac;
    }
    if (inside(lead)) {
      const Lanes p = load(in[lead]);
      sums.alpha_red = _mm_add_pd(sums.alpha_red, p.alpha_red);
      sums.green_blue = _mm_add_pd(sums.green_blue, p.green_blue);
      count += 1.0f;
      if (frac != 0.0f) {
        edge.alpha_red = _mm_add_pd(edge.alpha_red, p.alpha_red);
        edge.green_blue = _mm_add_pd(edge.green_blue, p.green_blue);
        e += frac;
      }
    }
    ++lead;
    if (renormalize) total = count - e;

    const int64_t centre = int64_t{a.start} + k;
    const __m128 kept = !all && inside(centre) ? _mm_loadu_ps(&in[centre].alpha) : _mm_setzero_ps();
    __m128 result = _mm_setzero_ps();
    if (total != 0.0f) {
      const __m128d t = _mm_set1_pd(double(total));
      const __m128d ar = _mm_div_pd(_mm_sub_pd(sums.alpha_red, _mm_mul_pd(edge.alpha_red, frac_d)), t);
      const __m128d gb = _mm_div_pd(_mm_sub_pd(sums.green_blue, _mm_mul_pd(edge.green_blue, frac_d)), t);
      result = _mm_movelh_ps(_mm_cvtpd_ps(ar), _mm_cvtpd_ps(gb));
      // Alpha above 1 is 1, below 1e-16 is 0.
      float alpha = _mm_cvtss_f32(result);
      alpha = alpha > 1.0f ? 1.0f : (alpha < 1e-16f ? 0.0f : alpha);
      result = _mm_move_ss(result, _mm_set_ss(alpha));
    }
    if (!all) result = _mm_or_ps(_mm_and_ps(mask, result), _mm_andnot_ps(mask, kept));
    _mm_storeu_ps(&out[k].alpha, result);
  }
}

}  // namespace

template <class Px, BoxForm F>
void box_scan_sse2(const BoxScanArgs* args) {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    packed_float<F>(*args);
  } else {
    packed_integer<Px, F>(*args);
  }
}

#define RX_BOX_PACKED(Px)                                           \
  template void box_scan_sse2<Px, BoxForm::kAlphaOnly>(const BoxScanArgs*); \
  template void box_scan_sse2<Px, BoxForm::kAllFour>(const BoxScanArgs*);   \
  template void box_scan_sse2<Px, BoxForm::kSubset>(const BoxScanArgs*);
RX_BOX_PACKED(RX_Pixel8)
RX_BOX_PACKED(RX_Pixel16)
RX_BOX_PACKED(RX_PixelFloat)
#undef RX_BOX_PACKED

}  // namespace rx
