// The linear-light tables of a profile: its tone curve read by the engine
// at the 16-bit value of every byte (to_linear), and the inverse of that
// curve at every eighth linear value (from_linear), made non-decreasing
// first so that a flat stretch inverts to its segment's high end.
#include <memory>

#include "KO/KO.h"
#include "RX_ColorManagement.h"
#include "RX_Transfer.h"
#include "colour/engine_calls.h"
#include "frame/reports.h"

namespace {

constexpr int32_t kLinePixels = 256;
constexpr uint16_t kOpaque16 = 32768;

// The apply options of the tables' line: {1, "ctpk", 1}, three 32-bit values.
struct CopyPadOptions {
  int32_t count;
  VIZ_Option entry;
};
constexpr CopyPadOptions kCopyPad = {1, {VIZ_Option_CopyPad, 1}};
static_assert(sizeof(CopyPadOptions) == 12, "three 32-bit values");

// One line of 256 pixels of four 16-bit channels, in a block of the
// utilities library, released on unwinding.
class Line {
 public:
  Line() : pixels_(static_cast<uint16_t*>(KO_AllocatePtr(rx::kGeneralLocation, "linearization line", kBytes))) {
    if (!pixels_) throw RX_Err{RX_Result_OutOfMemory};
  }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line() { KO_FreePtr(pixels_); }
  uint16_t* data() const { return pixels_; }

 private:
  static constexpr size_t kBytes = size_t(kLinePixels) * 4 * sizeof(uint16_t);
  uint16_t* pixels_;
};

}  // namespace

RX_LinearBlendingTablesPtr RX_MakeLinearizationTables(const TIN_VIZ_SharedProfile& profile) {
  const TIN_VIZ_Transform transform = RX_GetLinearizeTransform(profile, profile, true);
  Line line;
  uint16_t* px = line.data();
  for (int32_t i = 0; i < kLinePixels; ++i) {
    const auto encoded = uint16_t((uint32_t(i) * 0x808080u + 33200u) >> 16);
    px[4 * i] = kOpaque16;
    px[4 * i + 1] = px[4 * i + 2] = px[4 * i + 3] = encoded;
  }
  const auto apply = rx::colour::engine_method<VIZ_ApplyTransformProc>(rx::viz::kApplyTransform);
  TIN_VIZ_ETX(apply ? apply(transform.Get(), px, VIZ_Format_PRGB, px, VIZ_Format_PRGB, kLinePixels,
                            reinterpret_cast<const _t_VIZ_Options*>(&kCopyPad))
                    : VIZ_Err_General);

  RX_LinearBlendingTablesPtr tables(new RX_LinearBlendingTables);
  for (int32_t i = 0; i < kLinePixels; ++i) tables->to_linear[i] = px[4 * i + 1];
  // Reading at every eighth value, made non-decreasing, inverted.
  RXp_FillFromLinear(tables.get());
  float r = 0, g = 0, b = 0;
  RX_GetCalRGBGammas(profile.get(), &r, &g, &b);
  tables->gamma = g;
  tables->inverse_gamma = 1.0f / g;
  return tables;
}
