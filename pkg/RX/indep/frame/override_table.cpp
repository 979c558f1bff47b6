// The override table and the one place that fills it. Defaults first, then
// the processor variants the CPU data selects (the variant registry, which
// also fills the families' own row pointers); slots whose operations the
// package does not have stay null.
#include "frame/override_table.h"

#include <algorithm>

#include "RX_Blend.h"
#include "RX_Copy.h"
#include "RX_EffectWorlds.h"
#include "RX_Sampling.h"
#include "frame/variants.h"
#include "masks/mask_slots.h"
#include "compositing/transform_slots.h"

RX_OverFunc RXp_G_OverFuncs[RX_OverrideSlotCount];

namespace rx {
namespace {

template <class F>
void put(RX_Slot slot, F* func) {
  RXp_G_OverFuncs[slot] = reinterpret_cast<RX_OverFunc>(func);
}

// The four look-ups of the row functions of a depth: plain, with mask,
// linear, both.
template <class Px>
void put_row_lookups(RX_Slot plain) {
  constexpr int kDepths = 3;
  put(plain, &RX_GetInnerBlendingFunc<Px, false, false>);
  put(static_cast<RX_Slot>(plain + kDepths), &RX_GetInnerBlendingFunc<Px, true, false>);
  put(static_cast<RX_Slot>(plain + 2 * kDepths), &RX_GetInnerBlendingFunc<Px, false, true>);
  put(static_cast<RX_Slot>(plain + 3 * kDepths), &RX_GetInnerBlendingFunc<Px, true, true>);
}

void fill_sampling_slots() {
  put(RX_Slot_NNSample8, RX_NNSample);
  put(RX_Slot_SubpixelSampleStraight8, RX_SubpixelSample_Straight);
  put(RX_Slot_SubpixelSamplePremul8, RX_SubpixelSample_Premul);
  put(RX_Slot_SubpixelComputeWeight, RX_SubpixelSampleComputeWeight);
  put(RX_Slot_SubpixelTranslateNoClipStraight8, RX_SubpixelSampleTranslateNoClip_Straight);
  put(RX_Slot_SubpixelPlusStraight8, RX_SubpixelSamplePlus_Straight);
  put(RX_Slot_NNSample16, RX_NNSample16);
  put(RX_Slot_SubpixelSampleStraight16, RX_SubpixelSample_Straight16);
  put(RX_Slot_SubpixelTranslateNoClip16, RX_SubpixelSampleTranslateNoClip_Straight16);
  put(RX_Slot_SubpixelPlus16, RX_SubpixelSamplePlus_Straight16);
  put(RX_Slot_SubpixelNoClip16, RX_SubpixelSampleNoClip_Straight16);
  put(RX_Slot_SubpixelNoClipStraight4, RX_SubpixelSampleNoClip_Straight_4);
  put(RX_Slot_SubpixelTranslateNoClipStraight4, RX_SubpixelSampleTranslateNoClip_Straight_4);
  put(RX_Slot_SpanSampleTranslateNoClip8, RX_SubpixelSpanSampleTranslateNoClip_Straight);
  put(RX_Slot_SpanSampleTranslateNoClip16, RX_SubpixelSpanSampleTranslateNoClip_Straight16);
}

}  // namespace

void fill_override_table() {
  install<RX_Slot_Iterate>(RX_Iterate_S);
  install<RX_Slot_IterateOrigin>(RX_IterateOrigin_S);
  install<RX_Slot_IterateLUT>(RX_IterateLUT_S);
  install<RX_Slot_IterateOriginNoClip>(RX_IterateOriginNoClip_S);
  install<RX_Slot_IterateGeneric>(RX_IterateGeneric_Static);
  install<RX_Slot_PremulRect>(RX_PremulRect_S);
  install<RX_Slot_TransferRect>(RX_TransferRect_S);
  install<RX_Slot_TransferRectCore>(RX_TransferRectPlus_S);
  put(RX_Slot_MotionSpanNearestStraight, RX_MotionSpan_Nearest_Straight);
  put(RX_Slot_MotionSpanNearestPremul, RX_MotionSpan_Nearest_Premul);
  put(RX_Slot_MotionSpanSubpixelStraight, RX_MotionSpan_Subpixel_Straight);
  put(RX_Slot_MotionSpanSubpixelPremul, RX_MotionSpan_Subpixel_Premul);
  put(RX_Slot_MotionSpanAreaStraight, RX_MotionSpan_Area_Straight);
  put(RX_Slot_MotionSpanAreaPremul, RX_MotionSpan_Area_Premul);
  put(RX_Slot_CopyDraft, RX_CopyBits_Draft_Static);
  put(RX_Slot_CopyHQStraight, RX_CopyBits_HQ_Straight_Static);
  put(RX_Slot_CopyHQPremul, RX_CopyBits_HQ_Premul_Static);
  put(RX_Slot_OpenDestination, RX_OpenDestination_S);
  put(RX_Slot_CloseDestination, RX_CloseDestination_S);
  fill_sampling_slots();
  fill_filter_slots();
  install_mask_slots();
  put_row_lookups<RX_Pixel8>(RX_Slot_InnerBlendingPlain8);
  put_row_lookups<RX_Pixel16>(RX_Slot_InnerBlendingPlain16);
  put_row_lookups<RX_PixelFloat>(RX_Slot_InnerBlendingPlainFloat);

  // The slots with processor forms (the sampling slots 5, 6, 61 and 65,
  // the premultiply, unmultiply and alpha combine scans) and the families'
  // own places.
  choose_variants();

  install_transform_slots();

  // Begin and end sampling have no default: callers test them for null.
  RXp_G_OverFuncs[RX_Slot_BeginSampling] = nullptr;
  RXp_G_OverFuncs[RX_Slot_EndSampling] = nullptr;
}

}  // namespace rx

RX_Err RX_SetOverrideFunc(int32_t index, void (*func)(void)) {
  // Slot 0 cannot be set this way, only by a module through the table.
  if (index < 1 || index >= RX_OverrideSlotCount) return RX_Result_Internal;
  RXp_G_OverFuncs[index] = func;
  return RX_Result_OK;
}
