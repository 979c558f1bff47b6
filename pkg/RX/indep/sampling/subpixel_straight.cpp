// The straight-alpha bilinear samplers of every form and depth: clipped,
// unclipped, with the all-inside flag, with weights given, four positions
// at a time, and spans. They differ only in what the caller promises; the
// kernel is one (bilinear_kernel.h), and the 8-bit forms that take the
// vector unit (bilinear_sse2.h) give the same results.
#include <cmath>

#include "frame/variants.h"
#include "sampling/bilinear_sse2.h"

namespace rx {
namespace {

template <class Px>
RX_Err clipped(const RX_SampPB* pb, int32_t x, int32_t y, Px* result) {
  *result = bilinear_straight<Px, true>(*pb->src, x, y);
  return RX_Result_OK;
}

template <class Px>
RX_Err unclipped(const RX_SampPB* pb, int32_t x, int32_t y, Px* result) {
  *result = bilinear_straight<Px, false>(*pb->src, x, y);
  return RX_Result_OK;
}

template <class Px>
RX_Err with_all_inside(const RX_SampPB* pb, int32_t x, int32_t y, uint8_t* all_inside, Px* result) {
  *result = bilinear_straight<Px, true>(*pb->src, x, y, all_inside);
  return RX_Result_OK;
}

template <class Px>
RX_Err translated(const RX_SampPB* pb, int32_t x, int32_t y, const double weights[4], Px* result) {
  *result = bilinear_translate<Px>(*pb->src, x, y, weights);
  return RX_Result_OK;
}

// What a result adds to a span's alpha sum: the alpha itself for integer
// pixels; for float pixels the alpha in 8-bit units rounded up, so that any
// visible result makes the span count as not empty.
template <class Cv>
uint32_t alpha_units(Cv alpha) {
  if constexpr (std::is_same_v<Cv, float>) {
    if (!(alpha > 0.0f)) return 0u;
    const double units = std::ceil(double(alpha) * 255.0);
    return units >= 4294967295.0 ? 0xFFFFFFFFu : uint32_t(units);
  } else {
    return alpha;
  }
}

// Consecutive columns of one row with one fraction: the four taps walk as
// running pointers; every result's alpha goes into the sum.
template <class Px, bool Vector>
RX_Err span(int32_t count, int32_t x, int32_t y, const RX_SampPB* pb, uint32_t* alpha_sum,
            Px* results) {
  using Real = typename KernelTraits<Px>::Real;
  const RX_LayerDef& world = *pb->src;
  const int32_t i = x >> 16, j = y >> 16;
  const TapWeights<Real> w = tap_weights<Real>(uint32_t(x) & 0xFFFF, uint32_t(y) & 0xFFFF);
  const Px* top = pixel_at<Px>(world, i, j);
  const Px* bottom = pixel_at<Px>(world, i, j + 1);
  uint32_t sum = 0;
  for (int32_t k = 0; k < count; ++k, ++top, ++bottom) {
    const Px taps[4] = {top[0], top[1], bottom[0], bottom[1]};
    if constexpr (Vector) {
      results[k] = blend_taps8_sse2(taps, w);
    } else {
      results[k] = blend_taps<Px>(taps, w);
    }
    sum += alpha_units(results[k].alpha);
  }
  *alpha_sum += sum;
  return RX_Result_OK;
}

// The four-position and span forms of 8 bits, plain or on the vector unit;
// the exported functions call the form chosen at birth.
template <bool Vector>
RX_Err noclip_four8(void*, const int32_t positions[8], const RX_SampPB* pb, RX_Pixel8 results[4]) {
  for (int k = 0; k < 4; ++k) {
    const int32_t x = positions[2 * k], y = positions[2 * k + 1];
    results[k] = Vector ? bilinear_straight8_sse2<false>(*pb->src, x, y)
                        : bilinear_straight<RX_Pixel8, false>(*pb->src, x, y);
  }
  return RX_Result_OK;
}

template <bool Vector>
RX_Err span8(void*, int32_t count, int32_t x, int32_t y, const RX_SampPB* pb, uint32_t* alpha_sum,
             RX_Pixel8* results) {
  return span<RX_Pixel8, Vector>(count, x, y, pb, alpha_sum, results);
}

ChosenForm<decltype(noclip_four8<false>)> g_noclip_four8{&noclip_four8<false>};
ChosenForm<decltype(span8<false>)> g_span8{&span8<false>};

}  // namespace

VariantList subpixel_variants() {
  static const Variant list[] = {
      {"subpixel.noclip8", &RXp_G_OverFuncs[RX_Slot_SubpixelNoClipStraight8],
       as_form(&RX_SubpixelSampleNoClip_Straight), as_form(&subpixel_noclip8_sse2), kNeedsSSE2},
      {"subpixel.noclip_four8", g_noclip_four8.place(), as_form(&noclip_four8<false>),
       as_form(&noclip_four8<true>), kNeedsSSE2},
      {"subpixel.span8", g_span8.place(), as_form(&span8<false>), as_form(&span8<true>), kNeedsSSE2},
  };
  return list;
}

}  // namespace rx

using namespace rx;

void RX_SubpixelSampleComputeWeight(uint16_t fx, uint16_t fy, double weights[4]) {
  const TapWeights<double> w = tap_weights<double>(fx, fy);
  weights[0] = w.w00;
  weights[1] = w.w10;
  weights[2] = w.w01;
  weights[3] = w.w11;
}

// ---- clipped ----
RX_Err RX_SubpixelSample_Straight(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* r) {
  return clipped(pb, x, y, r);
}
RX_Err RX_SubpixelSample_Straight16(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel16* r) {
  return clipped(pb, x, y, r);
}
RX_Err RX_SubpixelCPlusPlus(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* r) {
  return clipped(pb, x, y, r);
}
RX_Err RX_SubpixelCPlusPlus16(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel16* r) {
  return clipped(pb, x, y, r);
}
RX_Err RX_SubpixelCPlusPlusFloat(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_PixelFloat* r) {
  return clipped(pb, x, y, r);
}

// ---- unclipped ----
RX_Err RX_SubpixelSampleNoClip_Straight(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* r) {
  return unclipped(pb, x, y, r);
}
RX_Err RX_SubpixelSampleNoClip_Straight16(void*, int32_t x, int32_t y, const RX_SampPB* pb,
                                          RX_Pixel16* r) {
  return unclipped(pb, x, y, r);
}
RX_Err RX_SubpixelCPlusPlusNoClip(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* r) {
  return unclipped(pb, x, y, r);
}
RX_Err RX_SubpixelCPlusPlusNoClip16(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel16* r) {
  return unclipped(pb, x, y, r);
}
RX_Err RX_SubpixelCPlusPlusNoClipFloat(void*, int32_t x, int32_t y, const RX_SampPB* pb,
                                       RX_PixelFloat* r) {
  return unclipped(pb, x, y, r);
}

// ---- clipped, telling whether all taps were inside ----
RX_Err RX_SubpixelSamplePlus_Straight(void*, int32_t x, int32_t y, const RX_SampPB* pb,
                                      uint8_t* all_inside, RX_Pixel8* r) {
  return with_all_inside(pb, x, y, all_inside, r);
}
RX_Err RX_SubpixelSamplePlus_Straight16(void*, int32_t x, int32_t y, const RX_SampPB* pb,
                                        uint8_t* all_inside, RX_Pixel16* r) {
  return with_all_inside(pb, x, y, all_inside, r);
}
RX_Err RX_SubpixelSpanSampleAllInCPlusPlusFloat(void*, int32_t x, int32_t y, const RX_SampPB* pb,
                                                uint8_t* all_inside, RX_PixelFloat* r) {
  return with_all_inside(pb, x, y, all_inside, r);
}

// ---- weights given ----
RX_Err RX_SubpixelSampleTranslateNoClip_Straight(void*, int32_t x, int32_t y, const RX_SampPB* pb,
                                                 const double weights[4], RX_Pixel8* r) {
  return translated(pb, x, y, weights, r);
}
RX_Err RX_SubpixelSampleTranslateNoClip_Straight16(void*, int32_t x, int32_t y, const RX_SampPB* pb,
                                                   const double weights[4], RX_Pixel16* r) {
  return translated(pb, x, y, weights, r);
}
RX_Err RX_SubpixelSampleTranslateNoClipCPlusPlusFloat(void*, int32_t x, int32_t y,
                                                      const RX_SampPB* pb, const double weights[4],
                                                      RX_PixelFloat* r) {
  return translated(pb, x, y, weights, r);
}

// ---- four positions: the vector unit at each where word 2 is set ----
RX_Err RX_SubpixelSampleNoClip_Straight_4(void* ref, const int32_t positions[8], const RX_SampPB* pb,
                                          RX_Pixel8 results[4]) {
  return rx::g_noclip_four8.get()(ref, positions, pb, results);
}

RX_Err RX_SubpixelSampleTranslateNoClip_Straight_4(void*, const int32_t positions[8],
                                                   const RX_SampPB* pb, const double weights[4],
                                                   RX_Pixel8 results[4]) {
  for (int k = 0; k < 4; ++k) {
    results[k] = bilinear_translate<RX_Pixel8>(*pb->src, positions[2 * k], positions[2 * k + 1], weights);
  }
  return RX_Result_OK;
}

// ---- spans ----
RX_Err RX_SubpixelSpanSampleTranslateNoClip_Straight(void*, int32_t count, int32_t x, int32_t y,
                                                     const RX_SampPB* pb, uint32_t* alpha_sum,
                                                     RX_Pixel8* results) {
  return rx::g_span8.get()(nullptr, count, x, y, pb, alpha_sum, results);
}
RX_Err RX_SubpixelSpanSampleTranslateNoClip_Straight16(void*, int32_t count, int32_t x, int32_t y,
                                                       const RX_SampPB* pb, uint32_t* alpha_sum,
                                                       RX_Pixel16* results) {
  return span<RX_Pixel16, false>(count, x, y, pb, alpha_sum, results);
}
RX_Err RX_SubpixelSpanSampleCPlusPlus(void*, int32_t count, int32_t x, int32_t y,
                                      const RX_SampPB* pb, uint32_t* alpha_sum, RX_Pixel8* results) {
  return span<RX_Pixel8, false>(count, x, y, pb, alpha_sum, results);
}
RX_Err RX_SubpixelSpanSampleCPlusPlus16(void*, int32_t count, int32_t x, int32_t y,
                                        const RX_SampPB* pb, uint32_t* alpha_sum,
                                        RX_Pixel16* results) {
  return span<RX_Pixel16, false>(count, x, y, pb, alpha_sum, results);
}
RX_Err RX_SubpixelSpanSampleCPlusPlusFloat(void*, int32_t count, int32_t x, int32_t y,
                                           const RX_SampPB* pb, uint32_t* alpha_sum,
                                           RX_PixelFloat* results) {
  return span<RX_PixelFloat, false>(count, x, y, pb, alpha_sum, results);
}
