// The viewer's blit, RX_SpecialCasePixelBlit: a source of any depth drawn
// into an 8-bit destination over a checkerboard, a compounding tint, black
// or a colour; alpha first or BGRA destination bytes; rows shared out in
// bands through RX_IterateGeneric. Expected pixels come from the rules
// written plainly below.
#include <vector>

#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;
using rxtest::TestWorld;

struct Bytes {
  uint8_t a, r, g, b;
};

// A colour argument becomes bytes by trunc(c * 255 + 0.5) per channel.
uint8_t colour_byte(float c) { return uint8_t(int32_t(c * 255.0f + 0.5f)); }
Bytes colour_bytes(const RX_PixelFloat& c) {
  return {colour_byte(c.alpha), colour_byte(c.red), colour_byte(c.green), colour_byte(c.blue)};
}

// The 8-bit multiply, on signed values in 32 bits.
int32_t mul(int32_t x, int32_t y) {
  const int32_t p = x * y;
  return (p + 128 + ((p + 128) >> 8)) >> 8;
}

// Source pixels as bytes: 16 bits by (c * 255 + 16384) >> 15, float by
// trunc(c * 255 + 0.5) with every channel clamped to 0..255.
Bytes source_bytes(const RX_Pixel8& p) { return {p.alpha, p.red, p.green, p.blue}; }
uint8_t byte_of(uint16_t c) { return uint8_t((uint32_t(c) * 255u + 16384u) >> 15); }
Bytes source_bytes(const RX_Pixel16& p) {
  return {byte_of(p.alpha), byte_of(p.red), byte_of(p.green), byte_of(p.blue)};
}
uint8_t byte_of(float c) {
  const float v = c * 255.0f;
  if (v < 0.0f) return 0;
  if (v > 255.0f) return 255;
  return uint8_t(int32_t(v + 0.5f));
}
Bytes source_bytes(const RX_PixelFloat& p) {
  return {byte_of(p.alpha), byte_of(p.red), byte_of(p.green), byte_of(p.blue)};
}

struct Blit {
  GE_LPoint src_origin{0, 0};
  int32_t style = 1;
  bool bgra = false;
  GE_LPoint background_origin{0, 0};
  RX_PixelFloat one{1.0f, 1.0f, 0.0f, 0.0f};
  RX_PixelFloat two{1.0f, 0.0f, 0.0f, 1.0f};
  GE_LRect rect{0, 0, 0, 0};
};

// The destination bytes of one pixel and the three ways of writing them.
struct Out {
  uint8_t* d;
  bool bgra;
  void copy(const Bytes& s) const {
    if (bgra) {
      d[0] = s.b, d[1] = s.g, d[2] = s.r;  // fourth byte left alone
    } else {
      d[0] = s.a, d[1] = s.r, d[2] = s.g, d[3] = s.b;
    }
  }
  void word(const Bytes& c) const {
    if (bgra) {
      d[0] = c.b, d[1] = c.g, d[2] = c.r, d[3] = c.a;
    } else {
      d[0] = c.a, d[1] = c.r, d[2] = c.g, d[3] = c.b;
    }
  }
  template <class F>
  void colours(const Bytes& s, const Bytes& c, F f) const {
    const uint8_t r = uint8_t(f(s.r, c.r)), g = uint8_t(f(s.g, c.g)), b = uint8_t(f(s.b, c.b));
    if (bgra) {
      d[0] = b, d[1] = g, d[2] = r;
    } else {
      d[1] = r, d[2] = g, d[3] = b;
    }
  }
};

// The blit, written plainly. dst holds the destination's bytes, rows of
// `stride`; `bands` is the number of bands the rows are cut into.
template <class Px>
void blit_reference(TestWorld<Px>& src, std::vector<uint8_t>& dst, int32_t dst_width,
                    int32_t dst_height, int32_t stride, const Blit& blit, int32_t bands = 1) {
  const Bytes one = colour_bytes(blit.one), two = colour_bytes(blit.two);
  const GE_LRect& rect = blit.rect;
  if (rect.left >= rect.right || rect.top >= rect.bottom) return;
  if (blit.src_origin.x < 0 || blit.src_origin.y < 0) return;
  const int32_t height = rect.bottom - rect.top;
  const bool black = one.r == 0 && one.g == 0 && one.b == 0;
  for (int32_t band = 0; band < bands; ++band) {
    const int32_t first = band * (height / bands);
    const int32_t last = band == bands - 1 ? height : (band + 1) * (height / bands);
    int32_t weight = one.a;
    for (int32_t row = first; row < last; ++row) {
      const int32_t y = rect.top + row, sy = blit.src_origin.y + row;
      for (int32_t x = rect.left; x < rect.right; ++x) {
        const int32_t sx = blit.src_origin.x + (x - rect.left);
        if (x < 0 || y < 0 || x >= dst_width || y >= dst_height) continue;
        if (sx >= src.width() || sy >= src.height()) continue;
        const Bytes s = source_bytes(src.at(sx, sy));
        const Out out{&dst[size_t(y) * stride + size_t(x) * 4], blit.bgra};
        const int32_t a = s.a;
        if (a == 255) {
          out.copy(s);
          continue;
        }
        if (blit.style == 1) {
          const int32_t column_counter = blit.background_origin.x + (x - rect.left);
          const int32_t row_counter = blit.background_origin.y + row;
          const Bytes cell = (column_counter & 8) != (row_counter & 8) ? one : two;
          if (a == 0) out.word(cell);
          else out.colours(s, cell, [&](int32_t sc, int32_t c) { return c + mul(a, sc - c); });
        } else if (blit.style == 2) {
          const int32_t w = mul(255 - a, weight);
          weight = w;
          out.colours(s, one, [&](int32_t sc, int32_t c) { return sc + mul(w, c - sc); });
        } else if (black) {
          if (a == 0) out.word(two);
          else out.colours(s, one, [&](int32_t sc, int32_t) { return mul(sc, a); });
        } else {
          if (a == 0) out.word(two);
          else out.colours(s, one, [&](int32_t sc, int32_t c) { return c + mul(a, sc - c); });
        }
      }
    }
  }
}

// Source pixels with transparent, opaque and partial alphas.
template <class Px>
Px source_pixel(int32_t x, int32_t y) {
  const int32_t k = x * 7 + y * 11;
  Px p{};
  if constexpr (sizeof(Px) == 4) {
    const uint8_t alphas[3] = {0, 255, uint8_t((k * 37) % 254 + 1)};
    p = {alphas[k % 3], uint8_t(k * 53 + 11), uint8_t(k * 29 + 200), uint8_t(k * 71 + 3)};
  } else if constexpr (sizeof(Px) == 8) {
    const uint16_t alphas[3] = {0, 32768, uint16_t((k * 997) % 32767 + 1)};
    auto v = [&](int32_t ch) { return uint16_t((k * 53 + ch * 7919) % 32769); };
    p = {alphas[k % 3], v(1), v(2), v(3)};
  } else {
    // Quarters and eighths, some out of range; no exact halves of a byte step.
    const float alphas[3] = {k % 2 ? 0.0f : -0.25f, k % 2 ? 1.0f : 2.0f,
                             float(k % 7 + 1) / 8.0f};
    auto v = [&](int32_t ch) { return float((k * 5 + ch * 3) % 13 - 2) / 8.0f; };
    p = {alphas[k % 3], v(1), v(2), v(3)};
  }
  return p;
}

template <class Px>
void paint_source(TestWorld<Px>& w) {
  for (int32_t y = 0; y < w.height(); ++y)
    for (int32_t x = 0; x < w.width(); ++x) w.at(x, y) = source_pixel<Px>(x, y);
}

void paint_destination(TestWorld<RX_Pixel8>& w) {
  for (int32_t y = 0; y < w.height(); ++y) {
    auto* row = reinterpret_cast<uint8_t*>(&w.at(0, y));
    for (int32_t i = 0; i < w.def()->row_stride; ++i) row[i] = uint8_t(0x40 + y * 17 + i * 5);
  }
}

std::vector<uint8_t> bytes_of(TestWorld<RX_Pixel8>& w) {
  const auto* start = reinterpret_cast<const uint8_t*>(&w.at(0, 0));
  return {start, start + size_t(w.height()) * w.def()->row_stride};
}

// Runs the blit on wrappers of the two test worlds.
template <class Px>
void run(TestWorld<Px>& src, TestWorld<RX_Pixel8>& dst, const Blit& b) {
  RX_WorldX<Px> source(*src.def(), false);
  RX_WorldX<RX_Pixel8> destination(*dst.def(), false);
  RX_SpecialCasePixelBlit(source, b.src_origin, RX_SpecialCaseBlitStyle(b.style), b.bgra,
                          b.background_origin, b.one, b.two, b.rect, destination);
}

// Runs the blit and compares every destination byte with the reference.
template <class Px>
::testing::AssertionResult blit_matches(TestWorld<Px>& src, TestWorld<RX_Pixel8>& dst,
                                        const Blit& b, int32_t bands = 1) {
  std::vector<uint8_t> expected = bytes_of(dst);
  const int32_t stride = dst.def()->row_stride;
  blit_reference(src, expected, dst.width(), dst.height(), stride, b, bands);
  run(src, dst, b);
  const std::vector<uint8_t> got = bytes_of(dst);
  for (size_t i = 0; i < got.size(); ++i) {
    if (got[i] != expected[i]) {
      return ::testing::AssertionFailure()
             << "pixel " << (i % size_t(stride)) / 4 << ", " << i / size_t(stride) << " byte "
             << i % 4 << ": expected " << int(expected[i]) << ", got " << int(got[i]);
    }
  }
  return ::testing::AssertionSuccess();
}

const RX_PixelFloat kRed{1.0f, 1.0f, 0.0f, 0.0f};
const RX_PixelFloat kGreyBlue{0.5f, 0.25f, 0.5f, 0.75f};
const RX_PixelFloat kBlackHalf{0.5f, 0.0f, 0.0f, 0.0f};
const RX_PixelFloat kTeal{0.875f, 0.125f, 0.625f, 0.375f};

class SpecialCaseBlit : public rxtest::BornPackage {};

// ---- every style, flag and depth against the reference ----

template <class Px>
class SpecialCaseBlitDepths : public rxtest::BornPackage {};
TYPED_TEST_SUITE(SpecialCaseBlitDepths, rxtest::AllPixelTypes);

TYPED_TEST(SpecialCaseBlitDepths, EveryStyleAndByteOrderMatchesTheRules) {
  using Px = TypeParam;
  struct {
    const char* what;
    int32_t style;
    RX_PixelFloat one, two;
  } styles[] = {{"checkerboard", 1, kRed, kGreyBlue},
                {"tint", 2, kTeal, kGreyBlue},
                {"onto black", 0, kBlackHalf, kTeal},
                {"onto colour", 0, kTeal, kGreyBlue},
                {"onto colour, another style number", 7, kGreyBlue, kRed}};
  for (const auto& st : styles) {
    for (bool bgra : {false, true}) {
      SCOPED_TRACE(std::string(st.what) + (bgra ? ", BGRA" : ", alpha first"));
      TestWorld<Px> src(21, 17, 16, 0);
      TestWorld<RX_Pixel8> dst(26, 20, 12, 4);
      paint_source(src);
      paint_destination(dst);
      Blit b;
      b.style = st.style;
      b.bgra = bgra;
      b.one = st.one;
      b.two = st.two;
      b.src_origin = {2, 1};
      b.background_origin = {5, -3};
      b.rect = {3, 2, 22, 18};
      ASSERT_TRUE(blit_matches(src, dst, b));
    }
  }
}

TYPED_TEST(SpecialCaseBlitDepths, OnlyWhereSourceAndDestinationBothHavePixels) {
  using Px = TypeParam;
  struct {
    const char* what;
    GE_LPoint origin;
    GE_LRect rect;
  } cases[] = {{"source runs out right and below", {6, 5}, {0, 0, 12, 10}},
               {"rectangle over the destination's right and bottom", {0, 0}, {7, 6, 20, 20}},
               {"rectangle over the destination's left and top", {1, 1}, {-3, -2, 6, 5}}};
  for (const auto& c : cases) {
    for (int32_t style : {1, 2, 0}) {
      SCOPED_TRACE(std::string(c.what) + ", style " + std::to_string(style));
      TestWorld<Px> src(10, 9);
      TestWorld<RX_Pixel8> dst(11, 10, 8, 0);
      paint_source(src);
      paint_destination(dst);
      Blit b;
      b.style = style;
      b.one = style == 2 ? kTeal : kRed;
      b.two = kGreyBlue;
      b.src_origin = c.origin;
      b.background_origin = {4, 6};
      b.rect = c.rect;
      ASSERT_TRUE(blit_matches(src, dst, b));
    }
  }
}

TYPED_TEST(SpecialCaseBlitDepths, NegativeSourceOriginOrEmptyRectangleDrawsNothing) {
  using Px = TypeParam;
  TestWorld<Px> src(6, 6);
  TestWorld<RX_Pixel8> dst(6, 6);
  paint_source(src);
  paint_destination(dst);
  const std::vector<uint8_t> before = bytes_of(dst);
  Blit b;
  b.rect = {0, 0, 6, 6};
  b.src_origin = {-1, 0};
  run(src, dst, b);
  b.src_origin = {0, -1};
  run(src, dst, b);
  b.src_origin = {0, 0};
  b.rect = {3, 0, 3, 6};
  run(src, dst, b);
  b.rect = {0, 4, 6, 2};
  run(src, dst, b);
  EXPECT_EQ(bytes_of(dst), before);
}

// ---- single behaviours, worked by hand ----

// A source of one pixel value everywhere.
template <class Px>
void fill(TestWorld<Px>& w, const Px& p) {
  for (int32_t y = 0; y < w.height(); ++y)
    for (int32_t x = 0; x < w.width(); ++x) w.at(x, y) = p;
}

TEST_F(SpecialCaseBlit, CheckerboardCellsAreEightPixelsFromTheBackgroundOrigin) {
  TestWorld<RX_Pixel8> src(24, 20), dst(24, 20);
  fill(src, RX_Pixel8{0, 9, 9, 9});
  paint_destination(dst);
  Blit b;
  b.style = 1;
  b.one = kRed;       // bytes 255, 255, 0, 0
  b.two = kGreyBlue;  // bytes 128, 64, 128, 191
  b.background_origin = {3, 5};
  b.rect = {2, 1, 22, 19};
  ASSERT_TRUE(blit_matches(src, dst, b));
  const RX_Pixel8 red{255, 255, 0, 0}, grey{128, 64, 128, 191};
  // Corner: counters (3, 5), bits 3 both clear: colour two.
  EXPECT_TRUE(rxtest::same_pixel(dst.at(2, 1), grey));
  // Column counter 8 (x = 7) against row counter 5: colour one.
  EXPECT_TRUE(rxtest::same_pixel(dst.at(6, 1), grey));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(7, 1), red));
  // Row counter 8 (y = 4) with column counter 8: both set, colour two again.
  EXPECT_TRUE(rxtest::same_pixel(dst.at(7, 4), grey));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(6, 4), red));
  // Column counter 16 (x = 15): bit 3 clear again.
  EXPECT_TRUE(rxtest::same_pixel(dst.at(15, 1), grey));
}

TEST_F(SpecialCaseBlit, CheckerboardCopiesOpaqueAndBlendsPartialPixelsOverTheCell) {
  TestWorld<RX_Pixel8> src(3, 1), dst(3, 1);
  src.at(0, 0) = {255, 10, 20, 30};
  src.at(1, 0) = {128, 200, 0, 100};
  src.at(2, 0) = {0, 1, 2, 3};
  fill(dst, RX_Pixel8{77, 77, 77, 77});
  Blit b;
  b.style = 1;
  b.one = kRed;
  b.two = kGreyBlue;  // the cell at counters (0, 0): bytes 128, 64, 128, 191
  b.rect = {0, 0, 3, 1};
  run(src, dst, b);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel8{255, 10, 20, 30}));
  // c + mul(128, s - c) per colour: 64 + 68, 128 - 64, 191 - 46 (the multiply
  // floors a negative product). The alpha byte is left alone.
  EXPECT_EQ(mul(128, 136), 68);
  EXPECT_EQ(mul(128, -91), -46);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 0), RX_Pixel8{77, 132, 64, 145}));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(2, 0), RX_Pixel8{128, 64, 128, 191}));
}

TEST_F(SpecialCaseBlit, TintWeightCompoundsAlongTheRowAndIntoTheNextRow) {
  TestWorld<RX_Pixel8> src(5, 2), dst(5, 2);
  fill(src, RX_Pixel8{128, 0, 100, 200});
  src.at(2, 0) = {255, 1, 2, 3};  // opaque: copied, the weight untouched
  fill(dst, RX_Pixel8{0, 0, 0, 0});
  Blit b;
  b.style = 2;
  b.one = {1.0f, 0.25f, 0.5f, 0.75f};  // bytes 255, 64, 128, 191
  b.rect = {0, 0, 5, 2};
  run(src, dst, b);
  // w = mul(127, weight): 127, 63, (opaque), 31, 15 on row 0, then 7, 3, 1, 0, 0.
  const int32_t weights[2][5] = {{127, 63, -1, 31, 15}, {7, 3, 1, 0, 0}};
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 5; ++x) {
      SCOPED_TRACE(testing::Message() << x << ", " << y);
      const RX_Pixel8& d = dst.at(x, y);
      const int32_t w = weights[y][x];
      if (w < 0) {
        EXPECT_TRUE(rxtest::same_pixel(d, RX_Pixel8{255, 1, 2, 3}));
        continue;
      }
      EXPECT_EQ(d.alpha, 0);
      EXPECT_EQ(d.red, 0 + mul(w, 64 - 0));
      EXPECT_EQ(d.green, 100 + mul(w, 128 - 100));
      EXPECT_EQ(d.blue, uint8_t(200 + mul(w, 191 - 200)));
    }
  EXPECT_EQ(dst.at(0, 0).red, 32);  // mul(127, 64)
}

TEST_F(SpecialCaseBlit, TransparentTintedPixelsTakeTheWeightUnchanged) {
  TestWorld<RX_Pixel8> src(2, 1), dst(2, 1);
  fill(src, RX_Pixel8{0, 40, 40, 40});
  Blit b;
  b.style = 2;
  b.one = {0.5f, 1.0f, 1.0f, 1.0f};  // weight starts at 128
  b.rect = {0, 0, 2, 1};
  run(src, dst, b);
  // a = 0: w = mul(255, 128) = 128, then mul(255, 128) = 128 again.
  EXPECT_EQ(dst.at(0, 0).red, 40 + mul(128, 215));
  EXPECT_EQ(dst.at(1, 0).red, 40 + mul(128, 215));
}

TEST_F(SpecialCaseBlit, OntoBlackScalesColoursByAlphaAndFillsTransparencyWithColourTwo) {
  TestWorld<RX_Pixel8> src(3, 1), dst(3, 1);
  src.at(0, 0) = {0, 50, 60, 70};
  src.at(1, 0) = {255, 50, 60, 70};
  src.at(2, 0) = {100, 200, 150, 255};
  fill(dst, RX_Pixel8{11, 11, 11, 11});
  Blit b;
  b.style = 0;
  b.one = kBlackHalf;
  b.two = kTeal;  // bytes 223, 32, 159, 96
  b.rect = {0, 0, 3, 1};
  run(src, dst, b);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel8{223, 32, 159, 96}));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 0), RX_Pixel8{255, 50, 60, 70}));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(2, 0), RX_Pixel8{11, uint8_t(mul(200, 100)),
                                                         uint8_t(mul(150, 100)), uint8_t(mul(255, 100))}));
  EXPECT_EQ(dst.at(2, 0).blue, 100);
}

TEST_F(SpecialCaseBlit, OntoColourBlendsOverColourOne) {
  TestWorld<RX_Pixel8> src(3, 1), dst(3, 1);
  src.at(0, 0) = {0, 50, 60, 70};
  src.at(1, 0) = {255, 50, 60, 70};
  src.at(2, 0) = {64, 255, 0, 128};
  fill(dst, RX_Pixel8{11, 11, 11, 11});
  Blit b;
  b.style = 0;
  b.one = kGreyBlue;  // bytes 128, 64, 128, 191
  b.two = kTeal;      // bytes 223, 32, 159, 96
  b.rect = {0, 0, 3, 1};
  run(src, dst, b);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel8{223, 32, 159, 96}));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 0), RX_Pixel8{255, 50, 60, 70}));
  EXPECT_TRUE(rxtest::same_pixel(
      dst.at(2, 0), RX_Pixel8{11, uint8_t(64 + mul(64, 191)), uint8_t(128 + mul(64, -128)),
                              uint8_t(191 + mul(64, -63))}));
}

TEST_F(SpecialCaseBlit, BGRAKeepsTheFourthByteExceptForWholeBackgroundWords) {
  TestWorld<RX_Pixel8> src(3, 1), dst(3, 1);
  src.at(0, 0) = {255, 10, 20, 30};
  src.at(1, 0) = {0, 1, 2, 3};
  src.at(2, 0) = {128, 200, 0, 100};
  fill(dst, RX_Pixel8{77, 77, 77, 77});
  Blit b;
  b.style = 0;
  b.bgra = true;
  b.one = kGreyBlue;  // bytes 128, 64, 128, 191
  b.two = kTeal;      // bytes 223, 32, 159, 96
  b.rect = {0, 0, 3, 1};
  run(src, dst, b);
  auto bytes = [&](int x) {
    const auto* p = reinterpret_cast<const uint8_t*>(&dst.at(x, 0));
    return std::vector<int>{p[0], p[1], p[2], p[3]};
  };
  // Copy: blue, green, red; the fourth byte stays.
  EXPECT_EQ(bytes(0), (std::vector<int>{30, 20, 10, 77}));
  // Colour two's whole word, blue first and alpha last.
  EXPECT_EQ(bytes(1), (std::vector<int>{96, 159, 32, 223}));
  // Blend: blue, green, red of c + mul(a, s - c); the fourth byte stays.
  EXPECT_EQ(bytes(2), (std::vector<int>{191 + mul(128, 100 - 191), 128 + mul(128, -128),
                                          64 + mul(128, 200 - 64), 77}));
}

TEST_F(SpecialCaseBlit, DeepSourcesBecomeBytesBeforeTheSameForms) {
  TestWorld<RX_Pixel16> deep(3, 1);
  deep.at(0, 0) = {32768, 16384, 129, 0};  // opaque: copied as 255, 128, 1, 0
  deep.at(1, 0) = {64, 32768, 32768, 32768};  // alpha byte 0: colour two
  deep.at(2, 0) = {16384, 32768, 0, 8192};  // alpha 128
  TestWorld<RX_PixelFloat> flt(3, 1);
  flt.at(0, 0) = {2.0f, 1.5f, 0.5f, -1.0f};   // alpha clamped to 255: copied as 255, 255, 128, 0
  flt.at(1, 0) = {-0.5f, 0.25f, 0.25f, 0.25f};  // alpha clamped to 0
  flt.at(2, 0) = {0.5f, 1.0f, 0.0f, 0.25f};   // alpha 128
  TestWorld<RX_Pixel8> a(3, 1), b8(3, 1);
  fill(a, RX_Pixel8{5, 5, 5, 5});
  fill(b8, RX_Pixel8{5, 5, 5, 5});
  Blit b;
  b.style = 0;
  b.one = kGreyBlue;
  b.two = kTeal;
  b.rect = {0, 0, 3, 1};
  run(deep, a, b);
  run(flt, b8, b);
  EXPECT_TRUE(rxtest::same_pixel(a.at(0, 0), RX_Pixel8{255, 128, 1, 0}));
  EXPECT_TRUE(rxtest::same_pixel(a.at(1, 0), RX_Pixel8{223, 32, 159, 96}));
  EXPECT_TRUE(rxtest::same_pixel(a.at(2, 0), RX_Pixel8{5, uint8_t(64 + mul(128, 255 - 64)),
                                                       uint8_t(128 + mul(128, -128)),
                                                       uint8_t(191 + mul(128, 64 - 191))}));
  EXPECT_TRUE(rxtest::same_pixel(b8.at(0, 0), RX_Pixel8{255, 255, 128, 0}));
  EXPECT_TRUE(rxtest::same_pixel(b8.at(1, 0), RX_Pixel8{223, 32, 159, 96}));
  EXPECT_TRUE(rxtest::same_pixel(b8.at(2, 0), RX_Pixel8{5, uint8_t(64 + mul(128, 255 - 64)),
                                                        uint8_t(128 + mul(128, -128)),
                                                        uint8_t(191 + mul(128, 64 - 191))}));
}

// ---- bands ----

struct BandCalls {
  std::vector<int32_t> counts;
};
BandCalls g_bands;

// A generic iterate that runs the callback once for each of three threads.
RX_Err three_band_iterate(int32_t count, void* refcon, RX_GenericIterFunc func) {
  g_bands.counts.push_back(count);
  for (int32_t i = 0; i < 3; ++i) {
    const RX_Err err = func(refcon, i, i, 3);
    if (err) return err;
  }
  return RX_Result_OK;
}

TEST_F(SpecialCaseBlit, TheDefaultIterateGivesOneBandSoTheTintCarriesThroughAllRows) {
  TestWorld<RX_Pixel8> src(1, 7), dst(1, 7);
  fill(src, RX_Pixel8{200, 10, 10, 10});
  Blit b;
  b.style = 2;
  b.one = {1.0f, 1.0f, 1.0f, 1.0f};
  b.rect = {0, 0, 1, 7};
  ASSERT_TRUE(blit_matches(src, dst, b, 1));
}

TEST_F(SpecialCaseBlit, RowsAreCutIntoOneBandPerThreadAndTheTintRestartsInEach) {
  g_bands = {};
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_IterateGeneric,
                               reinterpret_cast<void (*)()>(&three_band_iterate)),
            RX_Result_OK);
  // Seven rows in three bands: rows 0-1, 2-3 and 4-6.
  TestWorld<RX_Pixel8> src(2, 7), dst(2, 7);
  fill(src, RX_Pixel8{100, 10, 20, 30});
  Blit b;
  b.style = 2;
  b.one = {1.0f, 1.0f, 1.0f, 1.0f};
  b.rect = {0, 0, 2, 7};
  ASSERT_TRUE(blit_matches(src, dst, b, 3));
  ASSERT_EQ(g_bands.counts.size(), 1u);
  EXPECT_EQ(g_bands.counts[0], -1);
  // The first pixel of each band has the same first weight.
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), dst.at(0, 2)));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), dst.at(0, 4)));
  EXPECT_FALSE(rxtest::same_pixel(dst.at(0, 0), dst.at(0, 1)));
}

// ---- refusal ----

class OddDepthWorld : public RX_WorldX<RX_Pixel8> {
 public:
  using RX_WorldX<RX_Pixel8>::RX_WorldX;
  int16_t Depth() const override { return 24; }
};

TEST_F(SpecialCaseBlit, ASourceOfUnknownDepthIsReportedAndThrows3) {
  TestWorld<RX_Pixel8> src(2, 2), dst(2, 2);
  paint_destination(dst);
  const std::vector<uint8_t> before = bytes_of(dst);
  OddDepthWorld odd(*src.def(), false);
  RX_WorldX<RX_Pixel8> destination(*dst.def(), false);
  ReportCapture capture;
  RX_Err thrown = 0;
  try {
    RX_SpecialCasePixelBlit(odd, {0, 0}, RX_Blit_Checkerboard, false, {0, 0}, kRed, kGreyBlue,
                            {0, 0, 2, 2}, destination);
  } catch (RX_Err code) {
    thrown = code;
  }
  EXPECT_EQ(thrown, RX_Result_Internal);
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].location, 0);
  EXPECT_EQ(errors[0].text, "Unknown world bitdepth in SpecialCasePixelBlit");
  EXPECT_EQ(bytes_of(dst), before);
}

}  // namespace
