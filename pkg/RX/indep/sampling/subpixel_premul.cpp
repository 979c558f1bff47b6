// Bilinear sampling of 8-bit premultiplied worlds, all in integers: no
// alpha weighting, 16.16 weights that sum to exactly 0x10000, so no limit
// is needed. Near an edge, taps beyond it are masked off as zero.
#include "sampling/bilinear_kernel.h"

namespace {

constexpr int32_t kOne = 0x10000;

// Which taps may be read along one axis, or none at all.
struct AxisTaps {
  bool none, low, high;
};

AxisTaps axis_taps(int32_t v, int32_t size) {
  AxisTaps taps{false, true, true};
  const int32_t limit = int32_t(uint32_t(size) << 16) - kOne;
  if (v > 0 && v >= limit) {
    if (v - kOne >= limit) return {true, false, false};
    taps.high = false;
  }
  if (v <= 0) {
    if (v < -65535) return {true, false, false};
    if (v & 0xFFFF) {
      taps.low = false;  // only the taps at column or row 0 remain
    } else {
      taps.high = false;
    }
  }
  return taps;
}

uint32_t weighted(uint32_t w00, uint32_t w10, uint32_t w01, uint32_t w11, const RX_Pixel8 t[4],
                  uint8_t RX_Pixel8::*c) {
  return (w00 * (t[0].*c) + w10 * (t[1].*c) + w01 * (t[2].*c) + w11 * (t[3].*c) + 32768) >> 16;
}

}  // namespace

RX_Err RX_SubpixelSample_Premul(void*, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* result) {
  const RX_LayerDef& world = *pb->src;
  const int32_t i = x >> 16, j = y >> 16;
  const uint32_t fx = uint32_t(x) & 0xFFFF, fy = uint32_t(y) & 0xFFFF;
  if (fx == 0 && fy == 0) {
    *result = rx::inside<RX_Pixel8>(world, i, j) ? *rx::pixel_at<RX_Pixel8>(world, i, j) : RX_Pixel8{};
    return RX_Result_OK;
  }
  const AxisTaps columns = axis_taps(x, world.width), rows = axis_taps(y, world.height);
  if (columns.none || rows.none) {
    *result = RX_Pixel8{};
    return RX_Result_OK;
  }
  RX_Pixel8 t[4] = {};
  if (columns.low && rows.low) t[0] = *rx::pixel_at<RX_Pixel8>(world, i, j);
  if (columns.high && rows.low) t[1] = *rx::pixel_at<RX_Pixel8>(world, i + 1, j);
  if (columns.low && rows.high) t[2] = *rx::pixel_at<RX_Pixel8>(world, i, j + 1);
  if (columns.high && rows.high) t[3] = *rx::pixel_at<RX_Pixel8>(world, i + 1, j + 1);
  if (rx::all_identical(t)) {
    *result = t[0];
    return RX_Result_OK;
  }
  constexpr double kScale = 1.52587890625e-5;
  const auto w10 = uint32_t(double(fx) * double(kOne - fy) * kScale);
  const auto w01 = uint32_t(double(kOne - fx) * double(fy) * kScale);
  const auto w11 = uint32_t(double(fx) * double(fy) * kScale);
  const uint32_t w00 = kOne - w10 - w01 - w11;
  *result = {uint8_t(weighted(w00, w10, w01, w11, t, &RX_Pixel8::alpha)),
             uint8_t(weighted(w00, w10, w01, w11, t, &RX_Pixel8::red)),
             uint8_t(weighted(w00, w10, w01, w11, t, &RX_Pixel8::green)),
             uint8_t(weighted(w00, w10, w01, w11, t, &RX_Pixel8::blue))};
  return RX_Result_OK;
}
