// Straight-alpha area sampling: the box around a position, averaged with
// each pixel weighted by its covered area and alpha, in double. The alpha of
// the result is over the whole box's area, so a box that leaves the world
// fades while its colour stays; narrow axes take bilinear samples.
#include "sampling/area_sample.h"

#include "frame/variants.h"

template <class Px>
RX_Err RX_AreaSample_CPlusPlus(void*, int32_t x, int32_t y, const RX_SampPB* pb, Px* result) {
  *result = rx::area_sample<Px, rx::PlainSums<Px>>(x, y, pb);
  return RX_Result_OK;
}

template RX_Err RX_AreaSample_CPlusPlus<RX_Pixel8>(void*, int32_t, int32_t, const RX_SampPB*,
                                                   RX_Pixel8*);
template RX_Err RX_AreaSample_CPlusPlus<RX_Pixel16>(void*, int32_t, int32_t, const RX_SampPB*,
                                                    RX_Pixel16*);
template RX_Err RX_AreaSample_CPlusPlus<RX_PixelFloat>(void*, int32_t, int32_t, const RX_SampPB*,
                                                       RX_PixelFloat*);

namespace rx {
namespace {

// The plain form of slot 65 is a function of its own, so that the slot's
// two forms can be told apart.
RX_Err area_sample16_forward(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                             RX_Pixel16* result) {
  return RX_AreaSample_CPlusPlus<RX_Pixel16>(ref, x, y, pb, result);
}

}  // namespace

VariantList area_sample_variants() {
  static const Variant list[] = {
      {"area_sample.straight8", &RXp_G_OverFuncs[RX_Slot_AreaSampleStraight8],
       as_form(&RX_AreaSample_CPlusPlus<RX_Pixel8>), as_form(&area_sample8_sse2), kNeedsSSE2},
      {"area_sample.premul8", &RXp_G_OverFuncs[RX_Slot_AreaSamplePremul8], as_form(&RX_AreaSample_Premul), nullptr,
       0},
      {"area_sample.straight16", &RXp_G_OverFuncs[RX_Slot_AreaSample16], as_form(&area_sample16_forward),
       as_form(&RX_AreaSample_CPlusPlus<RX_Pixel16>), kNeedsSSE2},
  };
  return list;
}

}  // namespace rx

RX_Err RX_AreaSample_Straight(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                              RX_Pixel8* result) {
  return reinterpret_cast<RX_SampleFunc8>(RXp_G_OverFuncs[RX_Slot_AreaSampleStraight8])(
      ref, x, y, pb, result);
}

RX_Err RX_AreaSample_Straight16(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                RX_Pixel16* result) {
  return reinterpret_cast<RX_SampleFunc16>(RXp_G_OverFuncs[RX_Slot_AreaSample16])(ref, x, y, pb,
                                                                                 result);
}
