// The bitmap font and RX_DebugPrint: every glyph at every depth inside the
// world and at its four edges, the pen rules (newline, tab, carriage
// return, glyphs that do not fit), and the plot through Over.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "draw_test_support.h"

namespace {

using drawtest::ObjectWorld;

constexpr int kWidth = RX_FontGlyphWidth;
constexpr int kHeight = RX_FontGlyphHeight;

bool bit(int code, int row, int column) {
  return RXp_G_DebugFont.glyphs[code][row] & (0x80 >> column);
}

int set_bits(int code) {
  int n = 0;
  for (int r = 0; r < kHeight; ++r) {
    for (int c = 0; c < kWidth; ++c) n += bit(code, r, c);
  }
  return n;
}

TEST(DebugFont, CapitalAHasItsFixedRows) {
  const uint8_t want[10] = {0x00, 0x00, 0x44, 0x44, 0x7c, 0x44, 0x44, 0x28, 0x10, 0x00};
  for (int r = 0; r < 10; ++r) EXPECT_EQ(RXp_G_DebugFont.glyphs['A'][r], want[r]) << "row " << r;
}

TEST(DebugFont, ControlCodesSpaceAndDeleteAreBlankAndEveryPrintableIsNot) {
  for (int code = 0; code < 128; ++code) {
    const bool printable = code > 32 && code < 127;
    EXPECT_EQ(set_bits(code) > 0, printable) << "code " << code;
  }
}

TEST(DebugFont, OnlyTheSixColumnsAreUsed) {
  for (int code = 0; code < 128; ++code) {
    for (int r = 0; r < kHeight; ++r) EXPECT_EQ(RXp_G_DebugFont.glyphs[code][r] & 0x03, 0) << code;
  }
}

TEST(DebugFont, ColumnZeroAndTheTopRowStayClearToPartNeighbours) {
  for (int code = 0; code < 128; ++code) {
    EXPECT_EQ(RXp_G_DebugFont.glyphs[code][9], 0) << "code " << code;
    for (int r = 0; r < kHeight; ++r) EXPECT_FALSE(bit(code, r, 0)) << "code " << code;
  }
}

TEST(DebugFont, GlyphsAreAllDifferent) {
  for (int a = 33; a < 127; ++a) {
    for (int b = a + 1; b < 127; ++b) {
      EXPECT_NE(std::string(reinterpret_cast<const char*>(RXp_G_DebugFont.glyphs[a]), 10),
                std::string(reinterpret_cast<const char*>(RXp_G_DebugFont.glyphs[b]), 10))
          << char(a) << " and " << char(b);
    }
  }
}

TEST(DebugFont, CapitalsAndDigitsSitOnTheBaseline) {
  // Row 2 is the baseline, row 8 the cap height: every capital and digit
  // touches both and goes below neither.
  for (const char* set : {"ABCDEFGHIJKLMNOPQRSTUVWXYZ", "0123456789"}) {
    for (const char* c = set; *c; ++c) {
      EXPECT_NE(RXp_G_DebugFont.glyphs[int(*c)][2], 0) << *c;
      EXPECT_NE(RXp_G_DebugFont.glyphs[int(*c)][8], 0) << *c;
      EXPECT_EQ(RXp_G_DebugFont.glyphs[int(*c)][1] | RXp_G_DebugFont.glyphs[int(*c)][0], 0) << *c;
    }
  }
  for (char c : std::string("gjpqy")) EXPECT_NE(RXp_G_DebugFont.glyphs[int(c)][0], 0) << c;
}

template <class Px>
Px ink_of(const RX_PixelFloat& c) {
  using Cv = drawtest::Channel<Px>;
  const float white = sizeof(Px) == 4 ? 255.0f : 32768.0f;
  auto s = [&](float v) { return Cv(int32_t(v * white + 0.5f)); };
  return {s(c.alpha), s(c.red), s(c.green), s(c.blue)};
}

// The glyph's pixel over a destination pixel: Over of the one-opacity
// tables at full opacity, as the print plots.
template <class Px>
Px plotted(const Px& ink, Px dst) {
  if constexpr (sizeof(Px) == 4) {
    RXp_G_Xfer1_Opacity_table8[RX_Xfer_Over](&ink, nullptr, 255, &dst);
  } else {
    RXp_G_Xfer1_Opacity_table16[RX_Xfer_Over](&ink, nullptr, 32768, &dst);
  }
  return dst;
}

// The world after printing glyph code with its cell at (pen_x, y), from
// the background: the glyph's set pixels at (pen_x + c, y + 10 - r).
template <class Px>
void expect_glyph(ObjectWorld<Px>& w, int code, int32_t pen_x, int32_t y, bool drawn, const Px& ink) {
  int mismatches = 0;
  for (int32_t py = 0; py < w.height(); ++py) {
    for (int32_t px = 0; px < w.width(); ++px) {
      Px want = drawtest::background_pixel<Px>(px, py);
      const int c = px - pen_x, r = y + kHeight - py;
      if (drawn && c >= 0 && c < kWidth && r >= 0 && r < kHeight && bit(code, r, c)) want = plotted(ink, want);
      if (!rxtest::same_pixel(w.at(px, py), want) && ++mismatches <= 2) {
        ADD_FAILURE() << "glyph " << code << " at " << pen_x << ", " << y << ": pixel " << px << ", " << py;
      }
    }
  }
}

// Over divides through the package's divide table, set at birth.
template <class Px>
class DebugPrint : public rxtest::BornPackage {};
using IntegerPixelTypes = ::testing::Types<RX_Pixel8, RX_Pixel16>;
TYPED_TEST_SUITE(DebugPrint, IntegerPixelTypes);

TYPED_TEST(DebugPrint, EveryGlyphInsideAndAtTheFourEdges) {
  using Px = TypeParam;
  ObjectWorld<Px> w(20, 24, 8, 4);
  const RX_PixelFloat colour{1.0f, 0.9f, 0.2f, 0.4f};
  const Px ink = ink_of<Px>(colour);
  struct Place {
    int32_t x, y;
    bool drawn;
  } places[] = {
      {7, 6, true},                   // inside
      {0, 3, true},   {-1, 3, false}, // left edge: x >= 0
      {13, 3, true},  {14, 3, false}, // right edge: x + 6 < 20
      {5, 0, true},   {5, -1, false}, // top edge: y >= 0
      {5, 13, true},  {5, 14, false}, // bottom edge: y + 10 < 24
  };
  for (int code = 0; code < 128; ++code) {
    const char text[2] = {char(code), 0};
    if (code == 0 || code == '\n' || code == '\r' || code == '\t') continue;  // not glyphs
    for (const Place& p : places) {
      drawtest::fill_background(w);
      RX_DebugPrint(w.world(), p.x, p.y, colour, "%s", text);
      expect_glyph(w, code, p.x, p.y, p.drawn, ink);
    }
    if (this->HasFailure()) break;
  }
}

TYPED_TEST(DebugPrint, TranslucentColourIsBlendedOver) {
  using Px = TypeParam;
  ObjectWorld<Px> w(12, 12);
  const RX_PixelFloat colour{0.5f, 1.0f, 0.0f, 0.25f};
  drawtest::fill_background(w);
  RX_DebugPrint(w.world(), 2, 0, colour, "W");
  expect_glyph(w, 'W', 2, 0, true, ink_of<Px>(colour));
  // Over at half alpha changed the pixel, and not to the colour itself.
  const Px before = drawtest::background_pixel<Px>(3, 3);  // 'W' row 7, column 1
  ASSERT_TRUE(bit('W', 7, 1));
  EXPECT_FALSE(rxtest::same_pixel(w.at(3, 3), before));
  EXPECT_FALSE(rxtest::same_pixel(w.at(3, 3), ink_of<Px>(colour)));
}

TYPED_TEST(DebugPrint, PenRules) {
  using Px = TypeParam;
  ObjectWorld<Px> w(64, 40);
  const RX_PixelFloat colour{1, 1, 1, 1};
  // Where each glyph's cell should be, checked by drawing them one by one
  // into a second world.
  auto expect_cells = [&](const char* text, int32_t x, int32_t y,
                          std::vector<std::tuple<char, int32_t, int32_t>> cells) {
    drawtest::fill_background(w);
    RX_DebugPrint(w.world(), x, y, colour, "%s", text);
    ObjectWorld<Px> want(64, 40);
    drawtest::fill_background(want);
    for (auto [c, cx, cy] : cells) RX_DebugPrint(want.world(), cx, cy, colour, "%c", c);
    for (int32_t py = 0; py < 40; ++py) {
      for (int32_t px = 0; px < 64; ++px) {
        ASSERT_TRUE(rxtest::same_pixel(w.at(px, py), want.at(px, py))) << text << " at " << px << ", " << py;
      }
    }
  };
  expect_cells("AB", 1, 2, {{'A', 1, 2}, {'B', 7, 2}});
  expect_cells("A\nB", 3, 2, {{'A', 3, 2}, {'B', 3, 12}});
  expect_cells("AB\r\nC", 3, 2, {{'A', 3, 2}, {'B', 9, 2}, {'C', 3, 12}});
  // Tab: pen := pen mod 4 + 24, not a tab stop.
  expect_cells("\tA", 5, 0, {{'A', 25, 0}});
  expect_cells("AB\tC", 5, 0, {{'A', 5, 0}, {'B', 11, 0}, {'C', 25, 0}});  // 17 mod 4 + 24
  expect_cells("\t\tA", 30, 0, {{'A', 26, 0}});  // 30 gives 26, and 26 gives 26 again
  // The remainder keeps the pen's sign: -7 mod 4 is -3, so the pen is 21.
  expect_cells("\tA", -7, 0, {{'A', 21, 0}});
  // A glyph that does not fit still moves the pen.
  expect_cells("ABC", -3, 0, {{'B', 3, 0}, {'C', 9, 0}});
  expect_cells("XYZ", 47, 0, {{'X', 47, 0}, {'Y', 53, 0}});  // Z at 59: 65 is not below 64
  expect_cells("A\nB\nC\nD", 0, 5, {{'A', 0, 5}, {'B', 0, 15}, {'C', 0, 25}});  // D at 35 does not fit
  expect_cells("A\nB", 0, -8, {{'B', 0, 2}});
}

TYPED_TEST(DebugPrint, FormatsLikePrintf) {
  using Px = TypeParam;
  ObjectWorld<Px> a(80, 12), b(80, 12);
  const RX_PixelFloat colour{1, 0, 1, 0};
  drawtest::fill_background(a);
  drawtest::fill_background(b);
  RX_DebugPrint(a.world(), 0, 0, colour, "%d-%s %.1f", 42, "ok", 2.25);
  RX_DebugPrint(b.world(), 0, 0, colour, "%s", "42-ok 2.2");
  for (int32_t y = 0; y < 12; ++y) {
    for (int32_t x = 0; x < 80; ++x) ASSERT_TRUE(rxtest::same_pixel(a.at(x, y), b.at(x, y))) << x << ", " << y;
  }
}

TYPED_TEST(DebugPrint, BytesOutsideTheTableMoveThePenWithoutDrawing) {
  using Px = TypeParam;
  ObjectWorld<Px> a(40, 12), b(40, 12);
  const RX_PixelFloat colour{1, 1, 1, 1};
  drawtest::fill_background(a);
  drawtest::fill_background(b);
  RX_DebugPrint(a.world(), 0, 0, colour, "\xC3\xA9Z");
  RX_DebugPrint(b.world(), 12, 0, colour, "Z");
  for (int32_t y = 0; y < 12; ++y) {
    for (int32_t x = 0; x < 40; ++x) ASSERT_TRUE(rxtest::same_pixel(a.at(x, y), b.at(x, y))) << x << ", " << y;
  }
}

TYPED_TEST(DebugPrint, LongTextIsCutNotOverrun) {
  using Px = TypeParam;
  ObjectWorld<Px> w(30, 12);
  drawtest::fill_background(w);
  const std::string text(5000, 'x');
  RX_DebugPrint(w.world(), 0, 0, RX_PixelFloat{1, 1, 1, 1}, "%s", text.c_str());
  // The first glyphs were drawn: 'x' at pen 0 has pixels in row y + 10 - 2.
  EXPECT_FALSE(rxtest::same_pixel(w.at(1, 8), drawtest::background_pixel<Px>(1, 8)));
}

TEST(DebugPrintDepths, FloatWorldThrowsInternalAndDrawsNothing) {
  ObjectWorld<RX_PixelFloat> w(20, 20);
  drawtest::fill_background(w);
  EXPECT_THROW(
      {
        try {
          RX_DebugPrint(w.world(), 0, 0, RX_PixelFloat{1, 1, 1, 1}, "A");
        } catch (RX_Err code) {
          EXPECT_EQ(code, RX_Result_Internal);
          throw;
        }
      },
      RX_Err);
  for (int32_t y = 0; y < 20; ++y) {
    for (int32_t x = 0; x < 20; ++x) {
      ASSERT_TRUE(rxtest::same_pixel(w.at(x, y), drawtest::background_pixel<RX_PixelFloat>(x, y)));
    }
  }
}

}  // namespace
