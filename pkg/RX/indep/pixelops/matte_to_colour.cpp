// Moving an 8-bit world premultiplied against black onto a matte colour:
// each colour channel gains colour * (255 - alpha) by m255, saturating at
// 255. Rows take SSE2 saturating adds where birth found word 2 set, with
// the same results.
#include <cstring>

#include "RX_Premul.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "frame/variants.h"
#include "pixelops/matte_to_colour.h"
#include "worlds/depth_arith.h"

namespace rx {

void matte_add_row_plain(uint8_t* row, int32_t width, const MatteAddends& table, int alpha_at) {
  for (int32_t x = 0; x < width; ++x) {
    uint8_t* p = row + 4 * x;
    uint8_t add[4];
    std::memcpy(add, &table[p[alpha_at]], 4);
    for (int i = 0; i < 4; ++i) {
      const uint32_t sum = uint32_t(p[i]) + add[i];
      p[i] = uint8_t(sum > 255 ? 255 : sum);
    }
  }
}

}  // namespace rx

namespace {

using rx::ChosenForm;
using rx::MatteAddends;

constexpr int16_t kMatteLocation = 52;

// Byte positions of a pixel's alpha and colour.
struct ByteOrder {
  int alpha, red, green, blue;
};
constexpr ByteOrder kARGB = {0, 1, 2, 3};
constexpr ByteOrder kBGRA = {3, 2, 1, 0};

// For each alpha, the four bytes to add, zero in the alpha byte.
MatteAddends build_addends(const RX_Pixel8& colour, const ByteOrder& order) {
  MatteAddends table;
  for (uint32_t a = 0; a < 256; ++a) {
    uint8_t bytes[4] = {0, 0, 0, 0};
    bytes[order.red] = uint8_t(rx::m255(colour.red * (255 - a)));
    bytes[order.green] = uint8_t(rx::m255(colour.green * (255 - a)));
    bytes[order.blue] = uint8_t(rx::m255(colour.blue * (255 - a)));
    std::memcpy(&table[a], bytes, 4);
  }
  return table;
}

ChosenForm<void(uint8_t*, int32_t, const MatteAddends&, int)> g_add_row{&rx::matte_add_row_plain};

RX_Err matte_black_to_colour(RX_LayerDef* world, const RX_Pixel8& colour, const ByteOrder& order,
                             const char* not_8bit_text) {
  if (!world || !world->data) return RX_ReportBadParameter(kMatteLocation);
  if (RXp_WorldDepth(world) != 8) {
    rx::report_verification(not_8bit_text);
    return RX_Result_Internal;
  }
  if (colour.red == 0 && colour.green == 0 && colour.blue == 0) return RX_Result_OK;
  const MatteAddends table = build_addends(colour, order);
  const auto add_row = g_add_row.get();
  for (int32_t y = 0; y < world->height; ++y) {
    uint8_t* row = static_cast<uint8_t*>(world->data) + intptr_t{y} * world->row_stride;
    add_row(row, world->width, table, order.alpha);
  }
  return RX_Result_OK;
}

}  // namespace

namespace rx {

VariantList matte_to_colour_variants() {
  static const Variant list[] = {
      {"matte_to_colour.add_row", g_add_row.place(), as_form(&matte_add_row_plain), as_form(&matte_add_row_sse2),
       kNeedsSSE2},
  };
  return list;
}

}  // namespace rx

RX_Err RX_MatteBlackToMatteColorARGB(RX_LayerDef* world, RX_Pixel8 colour, int32_t) {
  return matte_black_to_colour(world, colour, kARGB, rx::msg::kMatteBlackToColorARGB8Only);
}

RX_Err RX_MatteBlackToMatteColorBGRA(RX_LayerDef* world, RX_Pixel8 colour, int32_t) {
  return matte_black_to_colour(world, colour, kBGRA, rx::msg::kMatteBlackToColorBGRA8Only);
}
