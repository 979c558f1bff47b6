// The low quality transform copy: a source mapped into a parallelogram of
// the destination, each destination pixel taking the nearest source pixel
// to the point its centre maps back to.
#include <algorithm>
#include <cmath>

#include "RX_Copy.h"
#include "RX_Frame.h"
#include "RX_Sampling.h"
#include "frame/progress.h"
#include "pixelops/copy_draft.h"
#include "worlds/with_depth.h"

namespace {

constexpr int16_t kLowQualityLocation = 48;
constexpr double kFixed = 65536.0;

template <class Px>
using Sampler = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, Px*);

template <class Px>
Sampler<Px> nearest() {
  if constexpr (sizeof(Px) == 4) return reinterpret_cast<Sampler<Px>>(RXp_G_OverFuncs[RX_Slot_NNSample8]);
  else if constexpr (sizeof(Px) == 8) return reinterpret_cast<Sampler<Px>>(RXp_G_OverFuncs[RX_Slot_NNSample16]);
  else return &RX_NNSampleFloat;
}

template <class Px>
RX_Err copy_parallelogram(const RX_ProgressInfo* progress, const RX_LayerDef& src, const GE_LPoint corners[3],
                          int32_t field, RX_LayerDef& dst) {
  // Destination = origin + u * across + v * down, with u, v in source pixels.
  const double ox = corners[0].x / kFixed, oy = corners[0].y / kFixed;
  const double ax = (corners[1].x - corners[0].x) / kFixed / src.width;
  const double ay = (corners[1].y - corners[0].y) / kFixed / src.width;
  const double dx = (corners[2].x - corners[0].x) / kFixed / src.height;
  const double dy = (corners[2].y - corners[0].y) / kFixed / src.height;
  const double determinant = ax * dy - ay * dx;
  if (determinant == 0.0) return RX_Result_OK;  // a flat parallelogram covers nothing
  // The destination rows and columns the parallelogram can touch.
  const double xs[4] = {ox, ox + ax * src.width, ox + dx * src.height, ox + ax * src.width + dx * src.height};
  const double ys[4] = {oy, oy + ay * src.width, oy + dy * src.height, oy + ay * src.width + dy * src.height};
  const int32_t left = std::max(0, int32_t(std::floor(*std::min_element(xs, xs + 4))));
  const int32_t right = std::min(dst.width, int32_t(std::ceil(*std::max_element(xs, xs + 4))));
  const int32_t top = std::max(0, int32_t(std::floor(*std::min_element(ys, ys + 4))));
  const int32_t bottom = std::min(dst.height, int32_t(std::ceil(*std::max_element(ys, ys + 4))));
  const Sampler<Px> sample = nearest<Px>();
  const RX_SampPB pb = {0, 0, 0, &src};
  for (int32_t y = top; y < bottom; ++y) {
    if (((y - top) & 63) == 0) {
      if (RX_Err err = rx::poll_abort(progress)) return err;
    }
    if ((field == 1 && (y & 1)) || (field == 2 && !(y & 1))) continue;
    Px* row = reinterpret_cast<Px*>(static_cast<char*>(dst.data) + intptr_t{y} * dst.row_stride);
    for (int32_t x = left; x < right; ++x) {
      const double px = x + 0.5 - ox, py = y + 0.5 - oy;
      const double u = (px * dy - py * dx) / determinant;
      const double v = (ax * py - ay * px) / determinant;
      if (u < 0.0 || v < 0.0 || u >= src.width || v >= src.height) continue;
      // The nearest sampler rounds: ask half a pixel back for the pixel under the point.
      sample(nullptr, int32_t(std::floor(u) * kFixed), int32_t(std::floor(v) * kFixed), &pb, row + x);
    }
  }
  return RX_Result_OK;
}

}  // namespace

RX_Err RX_CopyBits3_LO_Straight(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                const GE_LPoint corners[3], int32_t field, RX_LayerDef* dst) {
  if (RX_Err err = rx::check_worlds(src, dst, kLowQualityLocation)) return err;
  if (!corners || src->width < 1 || src->height < 1) return RX_ReportBadParameter(kLowQualityLocation);
  const int32_t depth = RXp_WorldDepth(src);
  if (RXp_WorldDepth(dst) != depth) return RX_ReportBadParameter(kLowQualityLocation);
  return rx::with_depth(depth, [&]<class Px>() { return copy_parallelogram<Px>(progress, *src, corners, field, *dst); });
}
