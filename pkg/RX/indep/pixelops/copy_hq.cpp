// The high quality copies: equal sizes copy as the draft does; otherwise
// each destination pixel is resampled at its centre, by the subpixel
// sampler when enlarging (or at equal scale along both axes) and by the
// area sampler as soon as either axis shrinks. The straight form serves
// all depths; the premultiplied form 8-bit records.
#include <algorithm>

#include "RX_AreaSampling.h"
#include "RX_Copy.h"
#include "RX_Frame.h"
#include "RX_Sampling.h"
#include "frame/fixed_messages.h"
#include "frame/progress.h"
#include "frame/reports.h"
#include "pixelops/copy_draft.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr int16_t kStraightLocation = 49;
constexpr int16_t kPremulLocation = 50;
constexpr int32_t kDepthsDifferLocation = 0x25004F;
constexpr int32_t kOne = 0x10000;
constexpr int32_t kHalf = 0x8000;
constexpr int32_t kAbortEveryRows = 64;

template <class Px>
using Sampler = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, Px*);

template <class Px>
struct Samplers;
template <>
struct Samplers<RX_Pixel8> {
  static Sampler<RX_Pixel8> straight(bool shrink) {
    return reinterpret_cast<Sampler<RX_Pixel8>>(
        RXp_G_OverFuncs[shrink ? RX_Slot_AreaSampleStraight8 : RX_Slot_SubpixelSampleStraight8]);
  }
  static Sampler<RX_Pixel8> premultiplied(bool shrink) {
    return reinterpret_cast<Sampler<RX_Pixel8>>(
        RXp_G_OverFuncs[shrink ? RX_Slot_AreaSamplePremul8 : RX_Slot_SubpixelSamplePremul8]);
  }
};
template <>
struct Samplers<RX_Pixel16> {
  static Sampler<RX_Pixel16> straight(bool shrink) {
    return reinterpret_cast<Sampler<RX_Pixel16>>(
        RXp_G_OverFuncs[shrink ? RX_Slot_AreaSample16 : RX_Slot_SubpixelSampleStraight16]);
  }
};
template <>
struct Samplers<RX_PixelFloat> {
  static Sampler<RX_PixelFloat> straight(bool shrink) {
    return shrink ? &RX_AreaSample_CPlusPlus<RX_PixelFloat> : &RX_SubpixelCPlusPlusFloat;
  }
};

// Resamples s of src into d of dst.
template <class Px, bool Premultiplied>
RX_Err resample(const RX_ProgressInfo* progress, const RX_LayerDef& src, RX_LayerDef& dst,
                const CopyRect& s, const CopyRect& d) {
  const int32_t step_x = (s.width() << 16) / d.width();
  const int32_t step_y = (s.height() << 16) / d.height();
  const bool shrink = step_x > kOne || step_y > kOne;
  Sampler<Px> sample;
  if constexpr (Premultiplied) {
    sample = Samplers<Px>::premultiplied(shrink);
  } else {
    sample = Samplers<Px>::straight(shrink);
  }
  // The radii are half the steps; the area their product in 16.16 units.
  const RX_SampPB pb = {step_x / 2, step_y / 2,
                        uint32_t(double(step_x) * double(step_y) * 1.52587890625e-5), &src};
  // Each destination pixel samples at its own centre.
  int32_t start_x = (s.left << 16) + step_x / 2 - kHalf;
  int32_t start_y = (s.top << 16) + step_y / 2 - kHalf;
  int32_t left = d.left, top = d.top;
  if (left < 0) {
    start_x += -left * step_x;
    left = 0;
  }
  if (top < 0) {
    start_y += -top * step_y;
    top = 0;
  }
  const int32_t right = std::min(d.right, dst.width), bottom = std::min(d.bottom, dst.height);
  int32_t y = start_y;
  for (int16_t row = 0; top + row < bottom; ++row, y += step_y) {
    if ((row & (kAbortEveryRows - 1)) == 0) {
      if (RX_Err err = poll_abort(progress)) return err;
    }
    Px* out = reinterpret_cast<Px*>(static_cast<char*>(dst.data) + intptr_t{top + row} * dst.row_stride);
    int32_t x = start_x;
    for (int32_t column = left; column < right; ++column, x += step_x) sample(nullptr, x, y, &pb, out + column);
  }
  return RX_Result_OK;
}

template <class Px, bool Premultiplied>
RX_Err copy_hq(const RX_ProgressInfo* progress, const RX_LayerDef& src, RX_LayerDef& dst,
               const CopyRect& s, const CopyRect& d) {
  if ((s.whole && d.whole && s == d) || (s.width() == d.width() && s.height() == d.height())) {
    return copy_draft_pair<Px, Px>(src, dst, s, d);
  }
  if (s.width() < 1 || s.height() < 1 || d.width() < 1 || d.height() < 1) return RX_Result_OK;
  return resample<Px, Premultiplied>(progress, src, dst, s, d);
}

}  // namespace
}  // namespace rx

RX_Err RX_CopyBits_HQ_Straight_Static(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                      RX_LayerDef* dst, const GE_LRect* src_rect,
                                      const GE_LRect* dst_rect) {
  using namespace rx;
  if (RX_Err err = check_worlds(src, dst, kStraightLocation)) return err;
  const int32_t depth = RXp_WorldDepth(src);
  if (depth != RXp_WorldDepth(dst)) {
    report_verification(msg::kCopyHQDepthsDiffer, kDepthsDifferLocation);
    return RX_Result_Internal;
  }
  CopyRect s, d;
  if (!normalise(src_rect, *src, s) || !normalise(dst_rect, *dst, d)) return RX_Result_OK;
  return with_depth(depth, [&]<class Px>() { return copy_hq<Px, false>(progress, *src, *dst, s, d); });
}

RX_Err RX_CopyBits_HQ_Premul_Static(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                    RX_LayerDef* dst, const GE_LRect* src_rect,
                                    const GE_LRect* dst_rect) {
  using namespace rx;
  if (RX_Err err = check_worlds(src, dst, kPremulLocation)) return err;
  CopyRect s, d;
  if (!normalise(src_rect, *src, s) || !normalise(dst_rect, *dst, d)) return RX_Result_OK;
  // Raw 8-bit records: there is no depth dispatch.
  return copy_hq<RX_Pixel8, true>(progress, *src, *dst, s, d);
}

RX_Err RX_CopyBits_HQ_Straight(const RX_ProgressInfo* progress, const RX_LayerDef* src, RX_LayerDef* dst,
                               const GE_LRect* src_rect, const GE_LRect* dst_rect) {
  return reinterpret_cast<RX_CopyBitsFunc>(RXp_G_OverFuncs[RX_Slot_CopyHQStraight])(progress, src, dst,
                                                                                   src_rect, dst_rect);
}

RX_Err RX_CopyBits_HQ_Premul(const RX_ProgressInfo* progress, const RX_LayerDef* src, RX_LayerDef* dst,
                             const GE_LRect* src_rect, const GE_LRect* dst_rect) {
  return reinterpret_cast<RX_CopyBitsFunc>(RXp_G_OverFuncs[RX_Slot_CopyHQPremul])(progress, src, dst,
                                                                                 src_rect, dst_rect);
}
