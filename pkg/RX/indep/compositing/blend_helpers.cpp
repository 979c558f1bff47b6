// Cross-fading two worlds into a third by a 16.16 ratio. The straight fade
// weighs each colour by its pixel's alpha and the ratio, so a transparent
// pixel lends no colour; the premultiplied fade mixes all four channels
// alike. Integer depths round as stated per line below; the float fade
// truncates its weights to integers first, so that it quantizes like them.
// Every check comes before dst is touched.
#include <cstring>
#include <type_traits>

#include "RX_BlendHelpers.h"
#include "frame/fixed_messages.h"
#include "frame/progress.h"
#include "frame/reports.h"
#include "worlds/depth_traits.h"
#include "worlds/value_conversions.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr char kBlendDepthsDiffer[] = "RX_BlendPremul requires src1, src2 and dst worlds to be same depth";
constexpr char kBlendSizesDiffer[] = "RX_Blend requires width and height of all worlds to be the same";
constexpr int16_t kBlendBadParameter = 12;
constexpr int32_t kSizeCheckLineSources = 48;  // src1 against src2
constexpr int32_t kSizeCheckLineDst = 49;      // src1 against dst
constexpr int32_t kRatioOne = 0x10000;
constexpr int32_t kProgressInterval = 32;  // rows between progress reports
constexpr float kFloatWeightScale = 1.5258789e-5f;  // 2^-16 in single precision

enum class Fade { Straight, Premul };

template <class Px>
Px* row_of(const RX_LayerDef& w, int32_t y) {
  return reinterpret_cast<Px*>(static_cast<char*>(w.data) + intptr_t{y} * w.row_stride);
}

// The straight fade of one pixel; r and q are the two ratios, r + q = 1.
template <class Px>
Px fade_straight(const Px& p1, const Px& p2, uint32_t r, uint32_t q) {
  using Cv = typename Depth<Px>::Cv;
  if constexpr (std::is_same_v<Cv, float>) {
    // Weights truncated to integers like the integer depths' products.
    const int32_t w1 = truncate_to_int(p1.alpha * float(q));
    const int32_t w2 = truncate_to_int(p2.alpha * float(r));
    const int32_t t = int32_t(uint32_t(w1) + uint32_t(w2));  // wraps like the processor's add
    Px out;
    out.alpha = kFloatWeightScale * float(t);
    if (w1 == 0) {
      out.red = p2.red, out.green = p2.green, out.blue = p2.blue;
    } else if (w2 == 0) {
      out.red = p1.red, out.green = p1.green, out.blue = p1.blue;
    } else {
      const float fw1 = float(w1), fw2 = float(w2), ft = float(t);
      out.red = (p1.red * fw1 + p2.red * fw2) / ft;
      out.green = (p1.green * fw1 + p2.green * fw2) / ft;
      out.blue = (p1.blue * fw1 + p2.blue * fw2) / ft;
    }
    return out;
  } else {
    // Weights and alpha in 32-bit unsigned arithmetic; the colour sums
    // reach 2^46 at 16 bits, so they are formed in 64 bits.
    const uint32_t w1 = uint32_t(p1.alpha) * q, w2 = uint32_t(p2.alpha) * r;
    const uint32_t t = w1 + w2;
    Px out;
    out.alpha = Cv((uint64_t{t} + 32768) >> 16);
    if (w1 == 0) {
      out.red = p2.red, out.green = p2.green, out.blue = p2.blue;
    } else if (w2 == 0) {
      out.red = p1.red, out.green = p1.green, out.blue = p1.blue;
    } else {
      auto mix = [&](uint32_t c1, uint32_t c2) {
        return Cv((uint64_t{c1} * w1 + uint64_t{c2} * w2 + (t >> 1)) / t);
      };
      out.red = mix(p1.red, p2.red);
      out.green = mix(p1.green, p2.green);
      out.blue = mix(p1.blue, p2.blue);
    }
    return out;
  }
}

// The premultiplied fade: every channel alike, alpha included.
template <class Px>
Px fade_premul(const Px& p1, const Px& p2, uint32_t r, uint32_t q) {
  using Cv = typename Depth<Px>::Cv;
  auto mix = [&](Cv c1, Cv c2) {
    if constexpr (std::is_same_v<Cv, float>) {
      return (c1 * float(q) + c2 * float(r)) * kFloatWeightScale;
    } else {
      return Cv((uint64_t{c1} * q + uint64_t{c2} * r + 32768) >> 16);
    }
  };
  return Px{mix(p1.alpha, p2.alpha), mix(p1.red, p2.red), mix(p1.green, p2.green), mix(p1.blue, p2.blue)};
}

template <class Px>
RX_Err fade(const RX_ProgressInfo* progress, const RX_LayerDef& src1, const RX_LayerDef& src2, int32_t ratio,
            RX_LayerDef& dst, Fade kind) {
  const uint32_t r = uint32_t(ratio < 0 ? 0 : ratio > kRatioOne ? kRatioOne : ratio);
  const uint32_t q = kRatioOne - r;
  const size_t row_bytes = size_t(dst.width) * sizeof(Px);
  for (int32_t y = 0; y < dst.height; ++y) {
    const Px* a = row_of<Px>(src1, y);
    const Px* b = row_of<Px>(src2, y);
    Px* out = row_of<Px>(dst, y);
    if (r == 0) {
      std::memmove(out, a, row_bytes);
    } else if (r == uint32_t(kRatioOne)) {
      std::memmove(out, b, row_bytes);
    } else if (kind == Fade::Straight) {
      for (int32_t x = 0; x < dst.width; ++x) out[x] = fade_straight(a[x], b[x], r, q);
    } else {
      for (int32_t x = 0; x < dst.width; ++x) out[x] = fade_premul(a[x], b[x], r, q);
    }
    if ((y + 1) % kProgressInterval == 0) {
      if (RX_Err err = poll_progress(progress, y + 1, dst.height)) return err;
    }
  }
  return RX_Result_OK;
}

RX_Err blend(const RX_ProgressInfo* progress, const RX_LayerDef* src1, const RX_LayerDef* src2, int32_t ratio,
             RX_LayerDef* dst, Fade kind) {
  // Without the records there is nothing to compare: the bad-parameter
  // report of a world without pixels covers them too.
  if (!src1 || !src2 || !dst) return RX_ReportBadParameter(kBlendBadParameter);
  const int32_t depth = RXp_WorldDepth(dst);
  if (RXp_WorldDepth(src1) != depth || RXp_WorldDepth(src2) != depth) {
    report_verification(kBlendDepthsDiffer);
    return RX_Result_Internal;
  }
  return with_depth(depth, [&]<class Px>() -> RX_Err {
    if (!src1->data || !src2->data || !dst->data) return RX_ReportBadParameter(kBlendBadParameter);
    if (src1->width != src2->width || src1->height != src2->height) {
      report_verification(kBlendSizesDiffer, kGeneralLocation, kSizeCheckLineSources);
      return RX_Result_Internal;
    }
    if (src1->width != dst->width || src1->height != dst->height) {
      report_verification(kBlendSizesDiffer, kGeneralLocation, kSizeCheckLineDst);
      return RX_Result_Internal;
    }
    return fade<Px>(progress, *src1, *src2, ratio, *dst, kind);
  });
}

}  // namespace
}  // namespace rx

RX_Err RX_Blend(const RX_ProgressInfo* progress, const RX_LayerDef* src1, const RX_LayerDef* src2, int32_t ratio,
                RX_LayerDef* dst) {
  return RX_Blend_Straight(progress, src1, src2, ratio, dst);
}

RX_Err RX_Blend_Straight(const RX_ProgressInfo* progress, const RX_LayerDef* src1, const RX_LayerDef* src2,
                         int32_t ratio, RX_LayerDef* dst) {
  return rx::blend(progress, src1, src2, ratio, dst, rx::Fade::Straight);
}

RX_Err RX_Blend_Premul(const RX_ProgressInfo* progress, const RX_LayerDef* src1, const RX_LayerDef* src2,
                       int32_t ratio, RX_LayerDef* dst) {
  return rx::blend(progress, src1, src2, ratio, dst, rx::Fade::Premul);
}
