// A world from one depth to another through linear-light tables: integer
// depths hold gamma-encoded values, float holds linear light. Integer to
// integer rescales by the package's exact rules; alpha is only ever
// rescaled, never linearized, and is not clamped on the way from float.
#include "RX_ColorManagement.h"
#include "compositing/transfer_linear.h"
#include "frame/reports.h"
#include "worlds/value_conversions.h"
#include "worlds/with_depth.h"

namespace rx::colour {
namespace {

constexpr char kUnknownDepth[] = "Unknown bit depth attempting to depth convert.";
constexpr float kWordScale = 3.0517578e-5f;  // 1 / 32768

// A linear float colour on the 0..32768 scale: 0 below, 32768 above,
// else rounded half up.
uint32_t linear_word(float c) {
  const float x = c * 32768.0f;
  if (x < 0.0f) return 0;
  if (x > 32768.0f) return 32768;
  return uint32_t(truncate_to_int(x + 0.5f));
}

struct Channels {
  const RX_LinearBlendingTables* t;

  // Colour channels.
  uint8_t colour(uint8_t v, RX_Pixel8*) const { return v; }
  uint16_t colour(uint8_t v, RX_Pixel16*) const { return convert_8_to_16(v); }
  float colour(uint8_t v, RX_PixelFloat*) const { return float(t->to_linear[v]) * kWordScale; }
  uint8_t colour(uint16_t v, RX_Pixel8*) const { return convert_16_to_8(v); }
  uint16_t colour(uint16_t v, RX_Pixel16*) const { return v; }
  float colour(uint16_t v, RX_PixelFloat*) const { return float(xfer::read_to_linear16(*t, v)) * kWordScale; }
  uint8_t colour(float c, RX_Pixel8*) const {
    return uint8_t((uint32_t(xfer::read_from_linear(*t, linear_word(c))) * 255 + 16384) >> 15);
  }
  uint16_t colour(float c, RX_Pixel16*) const { return xfer::read_from_linear(*t, linear_word(c)); }
  float colour(float c, RX_PixelFloat*) const { return c; }

  // Alpha.
  uint8_t alpha(uint8_t v, RX_Pixel8*) const { return v; }
  uint16_t alpha(uint8_t v, RX_Pixel16*) const { return convert_8_to_16(v); }
  float alpha(uint8_t v, RX_PixelFloat*) const { return float(v) * kByteToFloat; }
  uint8_t alpha(uint16_t v, RX_Pixel8*) const { return convert_16_to_8(v); }
  uint16_t alpha(uint16_t v, RX_Pixel16*) const { return v; }
  float alpha(uint16_t v, RX_PixelFloat*) const { return float(v) * kWordScale; }
  uint8_t alpha(float a, RX_Pixel8*) const { return uint8_t(float_alpha_to_int(a, 255.0f)); }  // wraps
  uint16_t alpha(float a, RX_Pixel16*) const { return uint16_t(float_alpha_to_int(a, 32768.0f)); }
  float alpha(float a, RX_PixelFloat*) const { return a; }
};

template <class SrcPx, class DstPx>
void convert_rows(const RX_LinearBlendingTables* tables, const RX_World& src, RX_World& dst) {
  const Channels ch{tables};
  DstPx* const tag = nullptr;
  for (int32_t y = 0; y < src.Height(); ++y) {
    const auto* in = reinterpret_cast<const SrcPx*>(static_cast<const char*>(src.Data()) + intptr_t{y} * src.RowStride());
    auto* out = reinterpret_cast<DstPx*>(static_cast<char*>(dst.Data()) + intptr_t{y} * dst.RowStride());
    for (int32_t x = 0; x < src.Width(); ++x) {
      const SrcPx p = in[x];
      out[x] = DstPx{ch.alpha(p.alpha, tag), ch.colour(p.red, tag), ch.colour(p.green, tag), ch.colour(p.blue, tag)};
    }
  }
}

}  // namespace
}  // namespace rx::colour

void RX_DepthConvertWorld(const RX_LinearBlendingTables* tables, const RX_World* src, RX_World* dst) {
  using namespace rx;
  if (src->Width() != dst->Width() || src->Height() != dst->Height()) return;
  const auto unknown = [] { report_verification(colour::kUnknownDepth); };
  dispatch_depth(
      src->Depth(),
      [&]<class SrcPx>() {
        dispatch_depth(
            dst->Depth(), [&]<class DstPx>() { colour::convert_rows<SrcPx, DstPx>(tables, *src, *dst); }, unknown);
      },
      unknown);
}
