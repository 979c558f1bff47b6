// Motion line spans: a pixel not fully covered takes the average of the
// source along its motion line, sampled by the slot of the span's kind
// (nearest, subpixel, area; straight or premultiplied). Straight averages
// weigh colour by alpha; premultiplied ones average channels as they are.
#include "RX_Copy.h"
#include "RX_Frame.h"
#include "RX_Sampling.h"

namespace {

enum class Kind { Nearest, Subpixel, Area };

RX_SampleFunc8 sampler(Kind kind, bool premultiplied) {
  RX_Slot slot = RX_Slot_NNSample8;
  if (kind == Kind::Subpixel) slot = premultiplied ? RX_Slot_SubpixelSamplePremul8 : RX_Slot_SubpixelSampleStraight8;
  if (kind == Kind::Area) slot = premultiplied ? RX_Slot_AreaSamplePremul8 : RX_Slot_AreaSampleStraight8;
  return reinterpret_cast<RX_SampleFunc8>(RXp_G_OverFuncs[slot]);
}

// Sample s of n along the line, both ends included.
int32_t along(int32_t from, int32_t to, int32_t s, int32_t n) {
  return n < 2 ? from : int32_t(from + (int64_t{to} - from) * s / (n - 1));
}

template <Kind K, bool Premultiplied>
RX_Err motion_span(const RX_SampPB* pb, int32_t count, const uint8_t* mask, int32_t x0, int32_t y0,
                   int32_t x1, int32_t y1, int32_t samples, RX_Pixel8* dst) {
  const RX_SampleFunc8 sample = sampler(K, Premultiplied);
  const int32_t n = samples < 1 ? 1 : samples;
  for (int32_t k = 0; k < count; ++k) {
    if (mask[k] == 255) continue;
    const int32_t shift = k << 16;
    uint32_t alpha = 0, red = 0, green = 0, blue = 0;
    for (int32_t s = 0; s < n; ++s) {
      RX_Pixel8 p;
      sample(nullptr, along(x0, x1, s, n) + shift, along(y0, y1, s, n), pb, &p);
      alpha += p.alpha;
      if (p.alpha == 0) continue;  // no colour from a transparent sample
      const uint32_t w = Premultiplied ? 1 : p.alpha;
      red += w * p.red, green += w * p.green, blue += w * p.blue;
    }
    const uint32_t colour_divisor = Premultiplied ? uint32_t(n) : alpha;
    auto mean = [](uint32_t sum, uint32_t divisor) {
      return divisor == 0 ? uint8_t(0) : uint8_t((sum + divisor / 2) / divisor);
    };
    dst[k] = {mean(alpha, uint32_t(n)), mean(red, colour_divisor), mean(green, colour_divisor),
              mean(blue, colour_divisor)};
  }
  return RX_Result_OK;
}

}  // namespace

#define RX_MOTION_SPAN(name, kind, premultiplied)                                                     \
  RX_Err name(const RX_SampPB* pb, int32_t count, const uint8_t* mask, int32_t x0, int32_t y0,       \
              int32_t x1, int32_t y1, int32_t samples, RX_Pixel8* dst) {                             \
    return motion_span<kind, premultiplied>(pb, count, mask, x0, y0, x1, y1, samples, dst);          \
  }
RX_MOTION_SPAN(RX_MotionSpan_Nearest_Straight, Kind::Nearest, false)
RX_MOTION_SPAN(RX_MotionSpan_Nearest_Premul, Kind::Nearest, true)
RX_MOTION_SPAN(RX_MotionSpan_Subpixel_Straight, Kind::Subpixel, false)
RX_MOTION_SPAN(RX_MotionSpan_Subpixel_Premul, Kind::Subpixel, true)
RX_MOTION_SPAN(RX_MotionSpan_Area_Straight, Kind::Area, false)
RX_MOTION_SPAN(RX_MotionSpan_Area_Premul, Kind::Area, true)
