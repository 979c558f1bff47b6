// The plan of a mode (RX_BlendModeDescriptor), the pipeline that runs it
// over one line, and the single-channel fade. The plan takes every row
// through the override table: the look-up slot of its mask and linear
// choice, the matte scans and the alpha union scan of its depth.
#include <algorithm>

#include "RX_Blend.h"
#include "RX_Messages.h"
#include "compositing/transfer_arith.h"
#include "frame/fixed_messages.h"
#include "worlds/depth_arith.h"
#include "frame/exception_boundary.h"
#include "frame/reports.h"

namespace rx::blend {
namespace {

template <class Px>
using Lookup = RX_Err (*)(int32_t, RX_InnerBlendingFunc<Px>*);

// The slots of a depth: the first look-up (plain), the black premultiply
// scan (the matte pairs follow it in black, white, grey order) and the
// alpha union scan.
template <class Px>
struct DepthSlots;
template <>
struct DepthSlots<RX_Pixel8> {
  static constexpr int lookup = RX_Slot_InnerBlendingPlain8;
  static constexpr int mattes = RX_Slot_PremulScanBlack8;
  static constexpr int alpha_union = RX_Slot_AlphaCombineScan8;
};
template <>
struct DepthSlots<RX_Pixel16> {
  static constexpr int lookup = RX_Slot_InnerBlendingPlain16;
  static constexpr int mattes = RX_Slot_PremulScanBlack16;
  static constexpr int alpha_union = RX_Slot_AlphaCombineScan16;
};
template <>
struct DepthSlots<RX_PixelFloat> {
  static constexpr int lookup = RX_Slot_InnerBlendingPlainFloat;
  static constexpr int mattes = RX_Slot_PremulScanBlackFloat;
  static constexpr int alpha_union = RX_Slot_AlphaCombineScanFloat;
};

// The look-up slots run plain, mask, linear, both; three depths apart.
constexpr int kLookupSlotStride = 3;

template <class Px>
Lookup<Px> lookup_for(bool has_mask, bool linear) {
  const int which = (has_mask ? 1 : 0) + (linear ? 2 : 0);
  if (which > 3) {
    // The four choices cover every case; this is a programming error.
    report_verification(msg::kNoBlendingFunction);
    throw_code(RX_Result_Internal);
  }
  return reinterpret_cast<Lookup<Px>>(RXp_G_OverFuncs[DepthSlots<Px>::lookup + which * kLookupSlotStride]);
}

enum class Plan { Matte, BehindFirst, KeepAlphaOnly, Nothing, Unimplemented };

struct ModePlan {
  Plan plan;
  Matte matte;
};

ModePlan plan_of(int32_t mode) {
  switch (mode) {
    case RX_Xfer_Add: case RX_Xfer_Screen: case RX_Xfer_Lighten: case RX_Xfer_Difference:
    case RX_Xfer_ColorDodge: case RX_Xfer_Exclusion:
      return {Plan::Matte, Matte::Black};
    case RX_Xfer_Multiply: case RX_Xfer_Darken: case RX_Xfer_ColorBurn:
      return {Plan::Matte, Matte::White};
    case RX_Xfer_Overlay: case RX_Xfer_SoftLight: case RX_Xfer_HardLight:
      return {Plan::Matte, Matte::Grey};
    case RX_Xfer_Hue: case RX_Xfer_Saturation: case RX_Xfer_Color: case RX_Xfer_Luminosity:
    case RX_Xfer_LighterColor: case RX_Xfer_DarkerColor:
      return {Plan::BehindFirst, Matte::Black};
    case RX_Xfer_Over: case RX_Xfer_AddPremul: case RX_Xfer_AlphaAdd: case RX_Xfer_Subtract:
    case RX_Xfer_Divide:
      return {Plan::KeepAlphaOnly, Matte::Black};
    case RX_Xfer_ReplaceRaw: case RX_Xfer_MaskMix: case RX_Xfer_Copy: case RX_Xfer_Behind:
    case RX_Xfer_Dissolve: case RX_Xfer_MultiplyAlpha: case RX_Xfer_MultiplyAlphaLuma:
    case RX_Xfer_MultiplyNotAlpha: case RX_Xfer_MultiplyNotAlphaLuma:
      return {Plan::Nothing, Matte::Black};
    default:
      if (mode >= RX_Xfer_Difference2 && mode <= RX_Xfer_HardMix) return {Plan::KeepAlphaOnly, Matte::Black};
      return {Plan::Unimplemented, Matte::Black};
  }
}

}  // namespace
}  // namespace rx::blend

template <class Px>
RX_BlendModeDescriptor<Px>::RX_BlendModeDescriptor(const RX_BlendingMode<Px>& mode_, bool has_mask,
                                                   const RX_LinearBlendingTables* tables_)
    : mode(mode_), tables(tables_) {
  using namespace rx::blend;
  const Lookup<Px> lookup = lookup_for<Px>(has_mask, tables_ != nullptr);
  // The look-up reports its own failure.
  lookup(mode.blend_mode, &blend_function);
  lookup(RX_Xfer_Behind, &behind_function);
  alpha_union_function = reinterpret_cast<RX_AlphaUnionRowFunc<Px>>(RXp_G_OverFuncs[DepthSlots<Px>::alpha_union]);

  const ModePlan plan = plan_of(mode.blend_mode);
  switch (plan.plan) {
    case Plan::Matte: {
      const int premultiply_slot = DepthSlots<Px>::mattes + 2 * static_cast<int>(plan.matte);
      matte_function = reinterpret_cast<RX_MatteRowFunc<Px>>(RXp_G_OverFuncs[premultiply_slot]);
      dematte_function = reinterpret_cast<RX_MatteRowFunc<Px>>(RXp_G_OverFuncs[premultiply_slot + 1]);
      matte_dst = alpha_union = keep_alpha_capable = true;
      break;
    }
    case Plan::BehindFirst:
      behind_first = keep_alpha_capable = true;
      break;
    case Plan::KeepAlphaOnly:
      keep_alpha_capable = true;
      break;
    case Plan::Nothing:
      break;
    case Plan::Unimplemented:
      rx::report_error(rx::kGeneralLocation, RXp_String(RX_Str_UnimplementedBlendingMode));
      break;
  }
}

template <class Px>
RX_Err RX_BlendPipeline(RX_ProgressInfo*, int32_t width, const RX_BlendModeDescriptor<Px>& plan, const Px* src,
                        const Px* mask, decltype(Px{}.alpha)* saved_alpha, Px* dst) {
  // A mode without a row was reported when the plan was made.
  if (!plan.blend_function) return RX_Result_Unimplemented;
  const bool keep_alpha = plan.keep_alpha_capable && plan.mode.keep_dst_alpha;
  if (keep_alpha) {
    for (int32_t i = 0; i < width; ++i) saved_alpha[i] = dst[i].alpha;
  }
  RX_Err err = RX_Result_OK;
  if (plan.matte_dst) {
    err = plan.matte_function(width, nullptr, dst);
  } else if (plan.behind_first) {
    err = plan.behind_function(width, &plan.mode, plan.tables, src, mask, dst);
  }
  if (!err) err = plan.blend_function(width, &plan.mode, plan.tables, src, mask, dst);
  if (!err && plan.alpha_union) err = plan.alpha_union_function(width, src, plan.mode.opacity, mask, dst);
  if (!err && plan.matte_dst) err = plan.dematte_function(width, nullptr, dst);
  if (keep_alpha && !err) {
    for (int32_t i = 0; i < width; ++i) dst[i].alpha = saved_alpha[i];
  }
  return err;
}

template <class Px, class Cv>
void RX_BlendSingleChannel(int32_t width, Cv scale, Cv target, const Cv* coverage, Px* dst) {
  using A = rx::xfer::Arith<Px>;
  for (int32_t i = 0; i < width; ++i) {
    Cv& c = dst[i].alpha;
    if constexpr (A::is_float) {
      c = c + coverage[i] * scale * (target - c);
    } else {
      // k (target - c) rounded like mul, toward the lower value when the
      // target is below c; arithmetic shifts.
      const int32_t k = A::mul(coverage[i], scale);
      const int32_t below = target < c ? 1 : 0;
      if constexpr (std::is_same_v<Cv, uint8_t>) {
        const int32_t t = k * (int32_t(target) - int32_t(c)) - below + 128;
        c = Cv(int32_t(c) + ((t + (t >> 8)) >> 8));
      } else {
        const int32_t t = k * (int32_t(target) - int32_t(c)) - below + 16383;
        c = Cv(int32_t(c) + (t >> 15));
      }
    }
  }
}

#define RX_INSTANTIATE_PIPELINE(PX)                                                                            \
  template struct RX_BlendModeDescriptor<PX>;                                                                  \
  template RX_Err RX_BlendPipeline<PX>(RX_ProgressInfo*, int32_t, const RX_BlendModeDescriptor<PX>&, const PX*, \
                                       const PX*, decltype(PX{}.alpha)*, PX*);                                 \
  template void RX_BlendSingleChannel<PX, decltype(PX{}.alpha)>(int32_t, decltype(PX{}.alpha),               \
                                                                decltype(PX{}.alpha), const decltype(PX{}.alpha)*, PX*);
RX_INSTANTIATE_PIPELINE(RX_Pixel8)
RX_INSTANTIATE_PIPELINE(RX_Pixel16)
RX_INSTANTIATE_PIPELINE(RX_PixelFloat)
