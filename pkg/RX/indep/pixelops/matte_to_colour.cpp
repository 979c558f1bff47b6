// Moving an 8-bit world premultiplied against black onto a matte colour:
// each colour channel gains colour * (255 - alpha) by m255, saturating at
// 255. Rows take SSE2 saturating adds where word 2 is set, with the same
// results.
#include <emmintrin.h>

#include <array>
#include <cstring>

#include "RX_Premul.h"
#include "frame/cpu_features.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "pixelops/premultiply_math.h"

namespace {

constexpr int16_t kMatteLocation = 52;

// Byte positions of a pixel's alpha and colour.
struct ByteOrder {
  int alpha, red, green, blue;
};
constexpr ByteOrder kARGB = {0, 1, 2, 3};
constexpr ByteOrder kBGRA = {3, 2, 1, 0};

// For each alpha, the four bytes to add, zero in the alpha byte.
std::array<uint32_t, 256> build_addends(const RX_Pixel8& colour, const ByteOrder& order) {
  std::array<uint32_t, 256> table;
  for (uint32_t a = 0; a < 256; ++a) {
    uint8_t bytes[4] = {0, 0, 0, 0};
    bytes[order.red] = uint8_t(rx::m255(colour.red * (255 - a)));
    bytes[order.green] = uint8_t(rx::m255(colour.green * (255 - a)));
    bytes[order.blue] = uint8_t(rx::m255(colour.blue * (255 - a)));
    std::memcpy(&table[a], bytes, 4);
  }
  return table;
}

void add_row_plain(uint8_t* row, int32_t width, const std::array<uint32_t, 256>& table, int alpha_at) {
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

void add_row_sse2(uint8_t* row, int32_t width, const std::array<uint32_t, 256>& table, int alpha_at) {
  int32_t x = 0;
  for (; x + 4 <= width; x += 4) {
    uint8_t* p = row + 4 * x;
    const __m128i addend = _mm_setr_epi32(int32_t(table[p[alpha_at]]), int32_t(table[p[4 + alpha_at]]),
                                          int32_t(table[p[8 + alpha_at]]), int32_t(table[p[12 + alpha_at]]));
    __m128i* at = reinterpret_cast<__m128i*>(p);
    _mm_storeu_si128(at, _mm_adds_epu8(_mm_loadu_si128(at), addend));
  }
  add_row_plain(row + 4 * x, width - x, table, alpha_at);
}

RX_Err matte_black_to_colour(RX_LayerDef* world, const RX_Pixel8& colour, const ByteOrder& order,
                             const char* not_8bit_text) {
  if (!world || !world->data) return RX_ReportBadParameter(kMatteLocation);
  if (RXp_WorldDepth(world) != 8) {
    rx::report_verification(not_8bit_text);
    return RX_Result_Internal;
  }
  if (colour.red == 0 && colour.green == 0 && colour.blue == 0) return RX_Result_OK;
  const std::array<uint32_t, 256> table = build_addends(colour, order);
  const bool vector = rx::has_sse2();
  for (int32_t y = 0; y < world->height; ++y) {
    uint8_t* row = static_cast<uint8_t*>(world->data) + intptr_t{y} * world->row_stride;
    if (vector) {
      add_row_sse2(row, world->width, table, order.alpha);
    } else {
      add_row_plain(row, world->width, table, order.alpha);
    }
  }
  return RX_Result_OK;
}

}  // namespace

RX_Err RX_MatteBlackToMatteColorARGB(RX_LayerDef* world, RX_Pixel8 colour, int32_t) {
  return matte_black_to_colour(world, colour, kARGB, rx::msg::kMatteBlackToColorARGB8Only);
}

RX_Err RX_MatteBlackToMatteColorBGRA(RX_LayerDef* world, RX_Pixel8 colour, int32_t) {
  return matte_black_to_colour(world, colour, kBGRA, rx::msg::kMatteBlackToColorBGRA8Only);
}
