// Typed access to the override table. Each slot that has a function has its
// signature here; reading and installing go through these two helpers, so
// the casts live in one place.
#pragma once

#include "RX_Blur.h"
#include "RX_Convolve.h"
#include "RX_Frame.h"
#include "RX_Iterate.h"
#include "RX_Premul.h"
#include "RX_TransferRect.h"

namespace rx {

template <RX_Slot S>
struct SlotSignature;

template <> struct SlotSignature<RX_Slot_Iterate> { using type = decltype(&RX_Iterate); };
template <> struct SlotSignature<RX_Slot_IterateOrigin> { using type = decltype(&RX_IterateOrigin); };
template <> struct SlotSignature<RX_Slot_IterateOriginNoClip> { using type = decltype(&RX_IterateOrigin); };
template <> struct SlotSignature<RX_Slot_IterateLUT> { using type = decltype(&RX_IterateLUT); };
template <> struct SlotSignature<RX_Slot_IterateGeneric> { using type = decltype(&RX_IterateGeneric); };
template <> struct SlotSignature<RX_Slot_PremulRect> { using type = decltype(&RX_PremulRect); };
template <> struct SlotSignature<RX_Slot_TransferRect> { using type = decltype(&RX_TransferRect); };
template <> struct SlotSignature<RX_Slot_TransferRectCore> { using type = decltype(&RX_TransferRectPlus); };
template <> struct SlotSignature<RX_Slot_Convolve> { using type = RX_ConvolveFunc; };
template <> struct SlotSignature<RX_Slot_PremulScanBlack8> { using type = RX_PremulScan8; };
template <> struct SlotSignature<RX_Slot_UnmultScanBlack8> { using type = RX_PremulScan8; };
template <> struct SlotSignature<RX_Slot_PremulScanBlack16> { using type = RX_PremulScan16; };
template <> struct SlotSignature<RX_Slot_UnmultScanBlack16> { using type = RX_PremulScan16; };
template <> struct SlotSignature<RX_Slot_PremulScanBlackFloat> { using type = RX_PremulScanFloat; };
template <> struct SlotSignature<RX_Slot_UnmultScanBlackFloat> { using type = RX_PremulScanFloat; };

template <RX_Slot S>
using SlotFunc = typename SlotSignature<S>::type;

template <RX_Slot S>
SlotFunc<S> slot() {
  return reinterpret_cast<SlotFunc<S>>(RXp_G_OverFuncs[S]);
}

template <RX_Slot S>
void install(SlotFunc<S> func) {
  RXp_G_OverFuncs[S] = reinterpret_cast<RX_OverFunc>(func);
}

// The filters' slots: the obsolete fast blurs and the convolution.
void fill_filter_slots();

// Writes every slot's default, then the processor variants the CPU data
// selects. Slots whose functions the package does not have stay null.
void fill_override_table();

}  // namespace rx
