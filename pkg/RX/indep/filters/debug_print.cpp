// RX_DebugPrint: printf-formatted text in the package's bitmap font, each
// set pixel blended Over through the per-pixel transfer function of the
// depth at full opacity. A glyph that would not fit whole is not drawn,
// but the pen moves on as if it were.
#include <cstdarg>
#include <cstdio>

#include "RX_Draw.h"
#include "RX_Transfer.h"
#include "RX_World.h"
#include "filters/draw_colour.h"
#include "frame/exception_boundary.h"

namespace rx {
namespace {

constexpr size_t kPrintBuffer = 1024;
constexpr int32_t kLineHeight = RX_FontGlyphHeight;
constexpr int32_t kAdvance = RX_FontGlyphWidth;
constexpr int32_t kTabBase = 24;

template <class Px>
void plot_over(Px& dst, const Px& colour) {
  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    RXp_G_Xfer1_Opacity_table8[RX_Xfer_Over](&colour, nullptr, RX_White8, &dst);
  } else {
    RXp_G_Xfer1_Opacity_table16[RX_Xfer_Over](&colour, nullptr, RX_White16, &dst);
  }
}

template <class Px>
void draw_glyph(RX_WorldX<Px>& world, int32_t pen_x, int32_t y, const uint8_t* rows,
                const Px& colour) {
  for (int32_t r = 0; r < RX_FontGlyphHeight; ++r) {
    Px* line = world.Row(y + kLineHeight - r);
    for (int32_t c = 0; c < RX_FontGlyphWidth; ++c) {
      if (rows[r] & (0x80 >> c)) plot_over(line[pen_x + c], colour);
    }
  }
}

template <class Px>
void print_text(RX_WorldX<Px>& world, int32_t x, int32_t y, const RX_PixelFloat& colour_in,
                const char* text) {
  const Px colour = draw_colour<Px>(colour_in);
  const int64_t width = world.Width();
  const int64_t height = world.Height();
  // 64 bits, so that no pen position can overflow.
  int64_t pen_x = x;
  int64_t pen_y = y;
  for (const char* p = text; *p; ++p) {
    const auto code = static_cast<signed char>(*p);
    if (code == '\r') continue;
    if (code == '\n') {
      pen_y += kLineHeight;
      pen_x = x;
      continue;
    }
    if (code == '\t') {
      // Not a tab stop: the remainder keeps the sign of the pen, as C's %.
      pen_x = pen_x % 4 + kTabBase;
      continue;
    }
    const bool fits =
        pen_x >= 0 && pen_x + kAdvance < width && pen_y >= 0 && pen_y + kLineHeight < height;
    // Codes outside the table (bytes above 127) move the pen and draw nothing.
    if (fits && code >= 0) draw_glyph(world, int32_t(pen_x), int32_t(pen_y), RXp_G_DebugFont.glyphs[code], colour);
    pen_x += kAdvance;
  }
}

}  // namespace
}  // namespace rx

void RX_DebugPrint(RX_World* world, int32_t x, int32_t y, const RX_PixelFloat& colour,
                   const char* format, ...) {
  if (!world || !format) return;
  const int16_t depth = world->Depth();
  if (depth != 8 && depth != 16) rx::throw_code(RX_Result_Internal);
  // Longer text is cut to the buffer rather than written past it.
  char text[rx::kPrintBuffer];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  if (depth == 8) {
    rx::print_text(static_cast<RX_WorldX<RX_Pixel8>&>(*world), x, y, colour, text);
  } else {
    rx::print_text(static_cast<RX_WorldX<RX_Pixel16>&>(*world), x, y, colour, text);
  }
}
