// The draft copy, RX_CopyBits_Draft: rectangles (null is the whole world,
// a rectangle that misses its world copies nothing), the equal-rectangle
// row copy, the one-block copy of two owning worlds, and scaling by integer
// replication with 16-bit error terms, between any two depths. Expected
// pixels come from a plain replication written below and the depth rules
// with every channel clamped on the way out of float.
#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "cpu_words.h"
#include "painted_worlds.h"
#include "reference_arith.h"
#include "rx_test_support.h"

namespace {

namespace ref = rxtest::ref;

using rxtest::ReportCapture;
using rxtest::TestWorld;

// ---- the depth rules, written plainly ----

float rule_8_to_float(uint8_t c) { return float(c) * 0.003921569f; }
float rule_16_to_float(uint16_t c) { return float(c) * 3.0517578e-05f; }
// From float every channel is clamped, alpha included.
uint16_t rule_float_to_16_clamped(float c) {
  const float v = c * 32768.0f;
  if (v < 0.0f) return 0;
  if (v > 32768.0f) return 32768;
  return uint16_t(int32_t(v + 0.5f));
}
uint8_t rule_float_to_8_clamped(float c) {
  const float v = c * 255.0f;
  if (v < 0.0f) return 0;
  if (v > 255.0f) return 255;
  return uint8_t(int32_t(v + 0.5f));
}

template <class To, class From>
auto channel(From c) {
  if constexpr (std::is_same_v<From, To>) return c;
  else if constexpr (std::is_same_v<From, uint8_t> && std::is_same_v<To, uint16_t>) return ref::widen_8_to_16(c);
  else if constexpr (std::is_same_v<From, uint8_t> && std::is_same_v<To, float>) return rule_8_to_float(c);
  else if constexpr (std::is_same_v<From, uint16_t> && std::is_same_v<To, uint8_t>) return ref::narrow_16_to_8(c);
  else if constexpr (std::is_same_v<From, uint16_t> && std::is_same_v<To, float>) return rule_16_to_float(c);
  else if constexpr (std::is_same_v<From, float> && std::is_same_v<To, uint16_t>) return rule_float_to_16_clamped(c);
  else return rule_float_to_8_clamped(c);
}

template <class Dst, class Src>
Dst convert(const Src& s) {
  using To = decltype(Dst{}.red);
  return Dst{channel<To>(s.alpha), channel<To>(s.red), channel<To>(s.green), channel<To>(s.blue)};
}

// ---- test pictures ----

// A pixel of varied channels. Float values are n / 64 from about -0.47 to
// 1.86, never on an exact half of an 8-bit step, so that every rounding of
// float to 8 bits agrees.
template <class Px>
Px varied_pixel(int32_t x, int32_t y, int32_t seed) {
  const int32_t k = x * 37 + y * 91 + seed * 17;
  Px p{};
  if constexpr (sizeof(Px) == 4) {
    p = {uint8_t(k * 53 + 11), uint8_t(k * 29 + 200), uint8_t(k * 71 + 3), uint8_t(k * 13 + 97)};
  } else if constexpr (sizeof(Px) == 8) {
    auto v = [&](int32_t ch) { return uint16_t((k * 53 + ch * 7919) % 32769); };
    p = {v(0), v(1), v(2), v(3)};
  } else {
    auto v = [&](int32_t ch) {
      int32_t n = (k * 53 + ch * 31) % 150 - 30;
      if (((n % 64) + 64) % 64 == 32) ++n;
      return float(n) / 64.0f;
    };
    p = {v(0), v(1), v(2), v(3)};
  }
  return p;
}

constexpr uint8_t kPadding = 0xC3;

// Fills the rows of a world, padding included: padding bytes kPadding,
// pixels varied_pixel(seed).
template <class Px>
void paint(TestWorld<Px>& w, int32_t seed) {
  rxtest::paint(w, [seed](int32_t x, int32_t y) { return varied_pixel<Px>(x, y, seed); }, kPadding);
}

// The bytes of a world's rows, padding included.
template <class Px>
using Raw = rxtest::RawRows<Px>;

// Compares every byte of a world's rows with the expected ones and names
// the first pixel (or padding byte) that differs.
using rxtest::rows_equal;

// ---- the copy, written plainly ----

struct Box {
  int32_t l, t, r, b;
  bool operator==(const Box&) const = default;
};

// A null rectangle is the whole world. A rectangle other than the whole
// world stops the copy (false) when it is empty or misses the world.
bool normalise(const GE_LRect* rect, int32_t w, int32_t h, Box& box, bool& whole) {
  box = rect ? Box{rect->left, rect->top, rect->right, rect->bottom} : Box{0, 0, w, h};
  whole = box == Box{0, 0, w, h};
  if (whole) return true;
  return !(box.l == box.r || box.t == box.b || box.l >= w || box.t >= h || box.r < 1 || box.b < 1);
}

// The draft copy of src's rectangle into dst's (the values in these tests
// stay far from the 16-bit limits of the arithmetic).
template <class Src, class Dst>
void draft_reference(const Raw<Src>& src, Raw<Dst>& dst, const GE_LRect* src_rect,
                     const GE_LRect* dst_rect) {
  Box s, d;
  bool s_whole, d_whole;
  if (!normalise(src_rect, src.width, src.height, s, s_whole)) return;
  if (!normalise(dst_rect, dst.width, dst.height, d, d_whole)) return;

  if (s == d && ((s_whole && d_whole) || (s.l >= 0 && s.t >= 0))) {
    // Equal rectangles: a row copy, clipped to both worlds.
    const int32_t right = std::min({s.r, src.width, dst.width});
    const int32_t bottom = std::min({s.b, src.height, dst.height});
    for (int32_t y = s.t; y < bottom; ++y)
      for (int32_t x = s.l; x < right; ++x) dst.put(x, y, convert<Dst>(src.get(x, y)));
    return;
  }

  // Scaling. Clip with the sizes of the rectangles as given.
  const int32_t sw = s.r - s.l, sh = s.b - s.t, dw = d.r - d.l, dh = d.b - d.t;
  if (!s_whole) {
    if (s.l < 0) { d.l += (-s.l * dw) / sw; s.l = 0; }
    if (s.r > src.width) { d.r -= ((s.r - src.width) * dw) / sw; s.r = src.width; }
    if (s.t < 0) { d.t += (-s.t * dh) / sh; s.t = 0; }
    if (s.b > src.height) { d.b -= ((s.b - src.height) * dh) / sh; s.b = src.height; }
  }
  if (!d_whole) {
    if (d.l < 0) { s.l += (-d.l * sw) / dw; d.l = 0; }
    if (d.r > dst.width) { s.r -= ((d.r - dst.width) * sw) / dw; d.r = dst.width; }
    if (d.t < 0) { s.t += (-d.t * sh) / dh; d.t = 0; }
    if (d.b > dst.height) { s.b -= ((d.b - dst.height) * sh) / dh; d.b = dst.height; }
  }
  // Replication with the sizes of what is left, like a line drawer: each
  // source row is emitted e / sh times, each source pixel f / sw times.
  const int32_t w_src = s.r - s.l, h_src = s.b - s.t, w_dst = d.r - d.l, h_dst = d.b - d.t;
  if (h_src < 1 || w_src < 1) return;
  int32_t e = 0, dy = d.t;
  for (int32_t sy = s.t; sy < s.b; ++sy) {
    e += h_dst;
    for (int32_t n = e / h_src; n > 0; --n, e -= h_src, ++dy) {
      int32_t f = 0, dx = d.l;
      for (int32_t sx = s.l; sx < s.r; ++sx) {
        f += w_dst;
        for (int32_t m = f / w_src; m > 0; --m, f -= w_src, ++dx) {
          dst.put(dx, dy, convert<Dst>(src.get(sx, sy)));
        }
      }
    }
  }
}

// ---- nine depth pairs ----

template <class S, class D>
struct Pair {
  using Src = S;
  using Dst = D;
};
using Pairs = ::testing::Types<Pair<RX_Pixel8, RX_Pixel8>, Pair<RX_Pixel8, RX_Pixel16>,
                               Pair<RX_Pixel8, RX_PixelFloat>, Pair<RX_Pixel16, RX_Pixel8>,
                               Pair<RX_Pixel16, RX_Pixel16>, Pair<RX_Pixel16, RX_PixelFloat>,
                               Pair<RX_PixelFloat, RX_Pixel8>, Pair<RX_PixelFloat, RX_Pixel16>,
                               Pair<RX_PixelFloat, RX_PixelFloat>>;

template <class Px>
std::string depth_name() {
  return sizeof(Px) == 4 ? "8" : sizeof(Px) == 8 ? "16" : "Float";
}
struct PairNames {
  template <class P>
  static std::string GetName(int) {
    return "From" + depth_name<typename P::Src>() + "To" + depth_name<typename P::Dst>();
  }
};

struct RectCase {
  const char* what;
  bool src_null;
  GE_LRect src;
  bool dst_null;
  GE_LRect dst;
};

// Source world 6 x 5, destination world 9 x 7.
const RectCase kCases[] = {
    {"whole into whole, enlarging", true, {}, true, {}},
    {"equal rectangles inside both", false, {1, 1, 4, 3}, false, {1, 1, 4, 3}},
    {"equal rectangles past the source's right and bottom", false, {4, 2, 9, 7}, false, {4, 2, 9, 7}},
    {"enlarging by 7/3 and 5/2", false, {0, 0, 3, 2}, false, {1, 1, 8, 6}},
    {"whole source shrunk", false, {0, 0, 6, 5}, false, {2, 1, 5, 3}},
    {"wider and shorter", false, {1, 0, 5, 5}, false, {0, 1, 9, 3}},
    {"source over the left edge", false, {-2, 0, 4, 3}, false, {0, 0, 9, 6}},
    {"source over the right edge", false, {2, 0, 8, 3}, false, {0, 0, 9, 6}},
    {"source over the top edge", false, {0, -1, 4, 3}, false, {0, 0, 8, 7}},
    {"source over the bottom edge", false, {0, 3, 4, 7}, false, {0, 0, 8, 7}},
    {"destination over the left edge", false, {0, 0, 4, 3}, false, {-3, 0, 5, 6}},
    {"destination over the right edge", false, {0, 0, 4, 3}, false, {5, 0, 13, 6}},
    {"destination over the top edge", false, {0, 0, 4, 3}, false, {0, -2, 8, 4}},
    {"destination over the bottom edge", false, {0, 0, 4, 3}, false, {0, 4, 8, 10}},
    {"source over left and top, destination over right and bottom", false, {-1, -1, 3, 2},
     false, {3, 2, 11, 8}},
    {"source rectangle into the whole destination", false, {1, 1, 5, 4}, true, {}},
    {"whole source into a rectangle", true, {}, false, {2, 2, 5, 4}},
    {"empty destination rectangle", false, {1, 1, 4, 3}, false, {2, 2, 2, 5}},
    {"source left at its width", false, {6, 0, 8, 2}, false, {0, 0, 4, 4}},
    {"destination top at its height", false, {0, 0, 2, 2}, false, {0, 7, 4, 9}},
    {"source right below 1", false, {-3, 0, 0, 2}, false, {0, 0, 4, 4}},
};

template <class P>
class DraftCopyPairs : public rxtest::BornPackage {};
TYPED_TEST_SUITE(DraftCopyPairs, Pairs, PairNames);

TYPED_TEST(DraftCopyPairs, EveryRectangleCaseMatchesThePlainReplication) {
  using Src = typename TypeParam::Src;
  using Dst = typename TypeParam::Dst;
  for (const RectCase& c : kCases) {
    SCOPED_TRACE(c.what);
    // Untidy worlds: padded rows, first pixels off a 16-byte boundary.
    TestWorld<Src> src(6, 5, 12, 4);
    TestWorld<Dst> dst(9, 7, 20, 8);
    paint(src, 1);
    paint(dst, 2);
    Raw<Dst> expected(dst);
    const GE_LRect* sr = c.src_null ? nullptr : &c.src;
    const GE_LRect* dr = c.dst_null ? nullptr : &c.dst;
    draft_reference(Raw<Src>(src), expected, sr, dr);
    ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), sr, dr), RX_Result_OK);
    ASSERT_TRUE(rows_equal(expected, dst));
  }
}

TYPED_TEST(DraftCopyPairs, EqualWorldsAreCopiedWholeWithEachPixelConverted) {
  using Src = typename TypeParam::Src;
  using Dst = typename TypeParam::Dst;
  TestWorld<Src> src(5, 4, 0, 0);
  TestWorld<Dst> dst(5, 4, 16, 4);
  paint(src, 3);
  paint(dst, 4);
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 5; ++x)
      ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), convert<Dst>(src.at(x, y)))) << x << ", " << y;
}

TYPED_TEST(DraftCopyPairs, DoublingATwoPixelRowGivesEachPixelTwice) {
  using Src = typename TypeParam::Src;
  using Dst = typename TypeParam::Dst;
  TestWorld<Src> src(2, 1);
  TestWorld<Dst> dst(4, 1);
  src.at(0, 0) = varied_pixel<Src>(0, 0, 5);
  src.at(1, 0) = varied_pixel<Src>(1, 0, 5);
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  const Dst first = convert<Dst>(src.at(0, 0)), second = convert<Dst>(src.at(1, 0));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), first));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 0), first));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(2, 0), second));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(3, 0), second));
}

// A record over the same memory read from the bottom row up: data at the
// last row and a negative row_stride.
template <class Px>
RX_LayerDef upside_down(TestWorld<Px>& memory) {
  RX_LayerDef def = *memory.def();
  def.data = &memory.at(0, memory.height() - 1);
  def.row_stride = -def.row_stride;
  return def;
}

TYPED_TEST(DraftCopyPairs, NegativeRowStridesAreFollowedUpwards) {
  using Src = typename TypeParam::Src;
  using Dst = typename TypeParam::Dst;
  const GE_LRect cases[][2] = {{{0, 0, 6, 5}, {0, 0, 9, 7}},
                               {{1, 1, 4, 3}, {1, 1, 4, 3}},
                               {{0, 0, 3, 2}, {1, 1, 8, 6}},
                               {{-1, 0, 5, 6}, {2, -1, 6, 4}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c[0].left << "," << c[0].top << " -> " << c[1].left << ","
                                    << c[1].top);
    // The same picture top down and bottom up, copied into a destination
    // top down and bottom up.
    TestWorld<Src> src(6, 5, 8), flipped_src(6, 5, 8);
    paint(src, 1);
    for (int32_t y = 0; y < 5; ++y)
      for (int32_t x = 0; x < 6; ++x) flipped_src.at(x, 4 - y) = src.at(x, y);
    TestWorld<Dst> dst(9, 7, 4), flipped_dst(9, 7, 4);
    paint(dst, 2);
    for (int32_t y = 0; y < 7; ++y)
      for (int32_t x = 0; x < 9; ++x) flipped_dst.at(x, 6 - y) = dst.at(x, y);
    RX_LayerDef up_src = upside_down(flipped_src), up_dst = upside_down(flipped_dst);
    ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &c[0], &c[1]), RX_Result_OK);
    ASSERT_EQ(RX_CopyBits_Draft(nullptr, &up_src, &up_dst, &c[0], &c[1]), RX_Result_OK);
    for (int32_t y = 0; y < 7; ++y)
      for (int32_t x = 0; x < 9; ++x)
        ASSERT_TRUE(rxtest::same_pixel(flipped_dst.at(x, 6 - y), dst.at(x, y))) << x << ", " << y;
  }
}

// ---- single behaviours, 8 bits ----

class DraftCopy : public rxtest::BornPackage {};

TEST_F(DraftCopy, DoublingATwoPixelRowGivesEachPixelTwice) {
  TestWorld<RX_Pixel8> src(2, 1), dst(4, 1);
  src.at(0, 0) = {255, 10, 20, 30};
  src.at(1, 0) = {128, 40, 50, 60};
  const GE_LRect all_src{0, 0, 2, 1}, all_dst{0, 0, 4, 1};
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &all_src, &all_dst), RX_Result_OK);
  const RX_Pixel8 expected[4] = {{255, 10, 20, 30}, {255, 10, 20, 30}, {128, 40, 50, 60}, {128, 40, 50, 60}};
  for (int x = 0; x < 4; ++x) EXPECT_TRUE(rxtest::same_pixel(dst.at(x, 0), expected[x])) << x;
}

TEST_F(DraftCopy, TripleWidthStartsEachPixelAtItsFirstCopyNotCentred) {
  // Three source pixels into eight: f = 8 gives 2 copies (f = 2), then
  // f = 10 gives 3 (f = 1), then f = 9 gives 3: the counts 2, 3, 3, so the
  // first emitted pixel is not centred.
  TestWorld<RX_Pixel8> src(3, 1), dst(8, 1);
  for (int x = 0; x < 3; ++x) src.at(x, 0) = {255, uint8_t(x + 1), 0, 0};
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  const int expected_red[8] = {1, 1, 2, 2, 2, 3, 3, 3};
  for (int x = 0; x < 8; ++x) EXPECT_EQ(dst.at(x, 0).red, expected_red[x]) << x;
}

TEST_F(DraftCopy, HalvingKeepsTheSecondPixelOfEachPair) {
  // Four into two: f = 2 (no pixel), 4 (one), 2, 4: columns 1 and 3.
  TestWorld<RX_Pixel8> src(4, 4), dst(2, 2);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) src.at(x, y) = {255, uint8_t(x), uint8_t(y), 0};
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 2; ++x) {
      EXPECT_EQ(dst.at(x, y).red, 2 * x + 1);
      EXPECT_EQ(dst.at(x, y).green, 2 * y + 1);
    }
}

TEST_F(DraftCopy, SourceRectangleWithLeftEqualToItsWidthReturnsZeroAndCopiesNothing) {
  TestWorld<RX_Pixel8> src(4, 3), dst(4, 3);
  paint(src, 1);
  paint(dst, 2);
  const Raw<RX_Pixel8> before(dst);
  const GE_LRect sr{4, 0, 6, 3}, dr{0, 0, 4, 3};
  EXPECT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &sr, &dr), RX_Result_OK);
  EXPECT_TRUE(rows_equal(before, dst));
}

TEST_F(DraftCopy, ZeroSizedScalingCopiesNothing) {
  TestWorld<RX_Pixel8> src(4, 3), dst(4, 3);
  paint(src, 1);
  paint(dst, 2);
  const Raw<RX_Pixel8> before(dst);
  const GE_LRect sr{1, 1, 3, 3}, empty_wide{0, 1, 0, 3}, empty_high{0, 2, 3, 2};
  EXPECT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &sr, &empty_wide), RX_Result_OK);
  EXPECT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &sr, &empty_high), RX_Result_OK);
  EXPECT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &empty_wide, &sr), RX_Result_OK);
  EXPECT_TRUE(rows_equal(before, dst));
}

// Worlds of 4 x 2 inside parents of 6 x 3, one column in from the left, so
// that column -1 of each world holds a pixel of the parent.
struct Framed {
  TestWorld<RX_Pixel8> parent{6, 3};
  RX_LayerDef def;
  explicit Framed(int32_t seed) {
    paint(parent, seed);
    def = *parent.def();
    def.data = &parent.at(1, 0);
    def.width = 4;
    def.height = 2;
    def.content_rect = {0, 0, 4, 2};
  }
};

TEST_F(DraftCopy, EqualRectanglesAtNegativeLeftTakeTheScalingPathNotTheRowPath) {
  // Rectangle (-1, 0, 3, 2) on both sides. A row copy would take column -1
  // of the source to column -1 of the destination; the scaling path clips
  // the source's overhang first and moves the destination by
  // (1 * 4) / 4 = 1, so columns 0..2 go to 0..2 and nothing lands left of
  // the world.
  Framed src(1), dst(2);
  const Raw<RX_Pixel8> before(dst.parent);
  const GE_LRect rect{-1, 0, 3, 2};
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, &src.def, &dst.def, &rect, &rect), RX_Result_OK);
  Raw<RX_Pixel8> expected = before;
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x) expected.put(1 + x, y, src.parent.at(1 + x, y));
  EXPECT_TRUE(rows_equal(expected, dst.parent));
  // Column -1 of the destination still holds the parent's own pixel, not
  // column -1 of the source.
  EXPECT_FALSE(rxtest::same_pixel(dst.parent.at(0, 0), src.parent.at(0, 0)));
}

TEST_F(DraftCopy, EqualRectanglesAtNegativeTopTakeTheScalingPath) {
  TestWorld<RX_Pixel8> src_parent(4, 4), dst_parent(4, 4);
  paint(src_parent, 3);
  paint(dst_parent, 4);
  RX_LayerDef src_def = *src_parent.def(), dst_def = *dst_parent.def();
  src_def.data = &src_parent.at(0, 1);
  dst_def.data = &dst_parent.at(0, 1);
  src_def.height = dst_def.height = 3;
  const Raw<RX_Pixel8> before(dst_parent);
  const GE_LRect rect{0, -1, 4, 2};
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, &src_def, &dst_def, &rect, &rect), RX_Result_OK);
  Raw<RX_Pixel8> expected = before;
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 4; ++x) expected.put(x, 1 + y, src_parent.at(x, 1 + y));
  EXPECT_TRUE(rows_equal(expected, dst_parent));
}

TEST_F(DraftCopy, EqualRectanglesPastTheRightAreClippedToBothWorlds) {
  TestWorld<RX_Pixel8> src(5, 3), dst(3, 4);
  paint(src, 1);
  paint(dst, 2);
  Raw<RX_Pixel8> expected(dst);
  const GE_LRect rect{1, 1, 7, 9};
  for (int y = 1; y < 3; ++y)
    for (int x = 1; x < 3; ++x) expected.put(x, y, src.at(x, y));
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &rect, &rect), RX_Result_OK);
  EXPECT_TRUE(rows_equal(expected, dst));
}

TEST_F(DraftCopy, FloatChannelsAreAllClampedIncludingAlpha) {
  TestWorld<RX_PixelFloat> src(4, 1);
  src.at(0, 0) = {2.0f, 2.0f, -0.5f, 0.5f};
  src.at(1, 0) = {-0.5f, 1.5f, 0.25f, 1.0f};
  src.at(2, 0) = {1.0f / 64, 0.0f, 1.0f, 100.0f};
  src.at(3, 0) = {0.75f, -100.0f, 0.125f, 0.375f};
  TestWorld<RX_Pixel16> deep(4, 1);
  TestWorld<RX_Pixel8> eight(4, 1);
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), deep.def(), nullptr, nullptr), RX_Result_OK);
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), eight.def(), nullptr, nullptr), RX_Result_OK);
  const RX_Pixel16 deep_expected[4] = {
      {32768, 32768, 0, 16384}, {0, 32768, 8192, 32768}, {512, 0, 32768, 32768}, {24576, 0, 4096, 12288}};
  // 0.5 * 255 = 127.5 rounds up either way; 1/64 * 255 = 3.98 gives 4.
  const RX_Pixel8 eight_expected[4] = {
      {255, 255, 0, 128}, {0, 255, 64, 255}, {4, 0, 255, 255}, {191, 0, 32, 96}};
  for (int x = 0; x < 4; ++x) {
    EXPECT_TRUE(rxtest::same_pixel(deep.at(x, 0), deep_expected[x])) << x;
    EXPECT_TRUE(rxtest::same_pixel(eight.at(x, 0), eight_expected[x])) << x;
  }
}

// ---- float to 8 bits: the row conversion, whose form the row's address decides ----

// The vector form: times 255, rounded to nearest even, saturated to 0..255.
uint8_t rule_float_to_8_vector(float c) {
  const float v = std::nearbyint(c * 255.0f);
  return uint8_t(std::clamp(v, 0.0f, 255.0f));
}

// Channels on exact halves of an 8-bit step, where the vector form rounds
// to even and the scalar one up, and values out of range at both ends.
std::vector<float> parting_values() {
  std::vector<float> values{0.268627465f, 2.0f, -0.25f, 1.0f, 0.0f};
  for (int n = 0; n < 255 && values.size() < 40; n += 3) {
    const float c = (float(n) + 0.5f) / 255.0f;
    if (c * 255.0f == float(n) + 0.5f) values.push_back(c);
  }
  return values;
}

class DraftCopyFloatTo8 : public rxtest::BornDuringTest {
 protected:
  // Copies a float world (its rows 16-byte aligned or `misalign` bytes
  // past) into an 8-bit one of `scale` times its width, and checks every
  // pixel against the form the row must take.
  void check(bool sse2, int32_t misalign, int32_t scale) {
    born({{rxtest::kCpuWordSSE2, sse2}});
    const std::vector<float> v = parting_values();
    const int32_t width = 7, height = 5;
    TestWorld<RX_PixelFloat> src(width, height, 0, misalign);
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        const size_t k = size_t(y * width + x) * 4;
        src.at(x, y) = {v[k % v.size()], v[(k + 1) % v.size()], v[(k + 2) % v.size()], v[(k + 3) % v.size()]};
      }
    }
    TestWorld<RX_Pixel8> dst(width * scale, height, 4, 0);
    ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
    const bool vector = sse2 && misalign % 16 == 0;
    auto rule = vector ? rule_float_to_8_vector : rule_float_to_8_clamped;
    int parted = 0;
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width * scale; ++x) {
        const RX_PixelFloat& p = src.at(x / scale, y);
        const RX_Pixel8 want{rule(p.alpha), rule(p.red), rule(p.green), rule(p.blue)};
        ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), want)) << x << ", " << y << (vector ? " vector" : " scalar");
        parted += rule_float_to_8_vector(p.red) != rule_float_to_8_clamped(p.red);
      }
    }
    EXPECT_GT(parted, 0) << "no channel on a half where the forms part";
    die();
  }
};

TEST_F(DraftCopyFloatTo8, AHalfStepGoesToEvenOnAlignedRowsWithSSE2) {
  ASSERT_EQ(0.268627465f * 255.0f, 68.5f);
  EXPECT_EQ(rule_float_to_8_vector(0.268627465f), 68);
  EXPECT_EQ(rule_float_to_8_clamped(0.268627465f), 69);
  check(true, 0, 1);  // rows of equal rectangles
  check(true, 0, 2);  // rows replicated
}

TEST_F(DraftCopyFloatTo8, AHalfStepGoesUpOnMisalignedRows) {
  check(true, 4, 1);
  check(true, 8, 2);
}

TEST_F(DraftCopyFloatTo8, WithoutSSE2EvenAlignedRowsTakeTheScalarFormWithAlphaClamped) {
  check(false, 0, 1);
  check(false, 0, 2);
}

TEST_F(DraftCopy, EightBitRoundTripThroughSixteenBitsKeepsEveryByte) {
  TestWorld<RX_Pixel8> src(64, 1), back(64, 1);
  TestWorld<RX_Pixel16> deep(64, 1);
  for (int x = 0; x < 64; ++x)
    src.at(x, 0) = {uint8_t(4 * x), uint8_t(4 * x + 1), uint8_t(4 * x + 2), uint8_t(4 * x + 3)};
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), deep.def(), nullptr, nullptr), RX_Result_OK);
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, deep.def(), back.def(), nullptr, nullptr), RX_Result_OK);
  EXPECT_EQ(deep.at(63, 0).blue, 32768);
  EXPECT_EQ(deep.at(0, 0).alpha, 0);
  for (int x = 0; x < 64; ++x) EXPECT_TRUE(rxtest::same_pixel(back.at(x, 0), src.at(x, 0))) << x;
}

// ---- the one-block copy of two owning worlds ----

struct WorldDeleter {
  void operator()(RX_World* w) const { delete w; }
};
using WorldPtr = std::unique_ptr<RX_World, WorldDeleter>;

// Fills every byte of the rows, padding included, with a counting pattern.
void fill_bytes(RX_World& w, uint8_t seed) {
  auto* bytes = static_cast<uint8_t*>(w.Data());
  for (int32_t i = 0; i < w.RowStride() * w.Height(); ++i) {
    const int32_t in_row = i % w.RowStride();
    if (i / w.RowStride() == w.Height() - 1 && in_row >= w.Width() * int32_t(w.PixelSize())) break;
    bytes[i] = uint8_t(i * 7 + seed);
  }
}

class DraftCopyWholeWorlds : public rxtest::BornPackage,
                             public ::testing::WithParamInterface<int16_t> {};
INSTANTIATE_TEST_SUITE_P(EightAndSixteen, DraftCopyWholeWorlds, ::testing::Values<int16_t>(8, 16),
                         [](const auto& info) { return "Depth" + std::to_string(info.param); });

TEST_P(DraftCopyWholeWorlds, TwoOwningWorldsAreCopiedAsOneBlockPaddingIncluded) {
  const int16_t depth = GetParam();
  WorldPtr src(RX_World::New(3, 4, depth, 0)), dst(RX_World::New(3, 4, depth, 0));
  ASSERT_TRUE(src && dst);
  ASSERT_EQ(src->RowStride(), dst->RowStride());
  const int32_t stride = src->RowStride(), pixel_bytes = 3 * int32_t(src->PixelSize());
  ASSERT_GT(stride, pixel_bytes);
  fill_bytes(*src, 1);
  fill_bytes(*dst, 100);
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, &src->LayerDef(), &dst->LayerDef(), nullptr, nullptr),
            RX_Result_OK);
  // One move of (height - 1) * row_stride + width * pixel size bytes: the
  // padding between rows comes along, the gutter after the last row does not.
  const int32_t block = 3 * stride + pixel_bytes;
  EXPECT_EQ(std::memcmp(src->Data(), dst->Data(), size_t(block)), 0);
  EXPECT_FALSE(dst->SubWorldSafetyGutterHasBeenOverWritten());
}

TEST_P(DraftCopyWholeWorlds, ReferencesAreCopiedRowByRowLeavingPadding) {
  const int16_t depth = GetParam();
  WorldPtr src_owner(RX_World::New(3, 4, depth, 0)), dst_owner(RX_World::New(3, 4, depth, 0));
  ASSERT_TRUE(src_owner && dst_owner);
  fill_bytes(*src_owner, 1);
  fill_bytes(*dst_owner, 100);
  const int32_t stride = src_owner->RowStride(), pixel_bytes = 3 * int32_t(src_owner->PixelSize());
  std::vector<uint8_t> before(static_cast<uint8_t*>(dst_owner->Data()),
                              static_cast<uint8_t*>(dst_owner->Data()) + 4 * stride);
  // The destination is a reference world over the same pixels: the source
  // owns, the destination does not.
  WorldPtr dst(RX_World::NewReference(dst_owner->Data(), 3, 4, depth, stride));
  ASSERT_TRUE(dst);
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, &src_owner->LayerDef(), &dst->LayerDef(), nullptr, nullptr),
            RX_Result_OK);
  const auto* s = static_cast<const uint8_t*>(src_owner->Data());
  const auto* d = static_cast<const uint8_t*>(dst_owner->Data());
  for (int32_t y = 0; y < 4; ++y) {
    EXPECT_EQ(std::memcmp(s + y * stride, d + y * stride, size_t(pixel_bytes)), 0) << y;
    EXPECT_EQ(std::memcmp(d + y * stride + pixel_bytes, before.data() + y * stride + pixel_bytes,
                          size_t(stride - pixel_bytes)),
              0)
        << "padding of row " << y;
  }
}

TEST_F(DraftCopy, RecordsWithoutObjectsAreCopiedRowByRowLeavingPadding) {
  TestWorld<RX_Pixel8> src(3, 4, 4), dst(3, 4, 4);
  paint(src, 1);
  paint(dst, 2);
  for (int y = 0; y < 4; ++y) std::memset(&src.at(3, y), 0x11, 4);
  Raw<RX_Pixel8> expected(dst);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 3; ++x) expected.put(x, y, src.at(x, y));
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  EXPECT_TRUE(rows_equal(expected, dst));
}

TEST_F(DraftCopy, WorldsOfDifferentStridesAreCopiedRowByRow) {
  TestWorld<RX_Pixel16> src(5, 3, 8, 0), dst(5, 3, 40, 8);
  paint(src, 1);
  paint(dst, 2);
  Raw<RX_Pixel16> expected(dst);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) expected.put(x, y, src.at(x, y));
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  EXPECT_TRUE(rows_equal(expected, dst));
}

// ---- refusals ----

TEST_F(DraftCopy, NullWorldsAndDataAreReportedTwiceAtLocation48) {
  TestWorld<RX_Pixel8> src(2, 2), dst(2, 2);
  RX_LayerDef no_data = *src.def();
  no_data.data = nullptr;
  struct {
    const char* what;
    const RX_LayerDef* s;
    RX_LayerDef* d;
  } cases[] = {{"null source", nullptr, dst.def()},
               {"null destination", src.def(), nullptr},
               {"source without data", &no_data, dst.def()},
               {"destination without data", src.def(), &no_data}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ReportCapture capture;
    EXPECT_EQ(RX_CopyBits_Draft(nullptr, c.s, c.d, nullptr, nullptr), RX_Result_Internal);
    const auto errors = capture.errors();
    ASSERT_EQ(errors.size(), 2u);
    for (const auto& e : errors) {
      EXPECT_EQ(e.location, 0x250030);
      EXPECT_EQ(e.report_class, 8);
      EXPECT_EQ(e.text, "bad parameter passed to effect callback");
    }
  }
}

TEST_F(DraftCopy, RectanglesEndingAboveOrLeftOfTheWorldCopyNothing) {
  TestWorld<RX_Pixel8> src(4, 3), dst(4, 3);
  paint(src, 1);
  paint(dst, 2);
  const Raw<RX_Pixel8> before(dst);
  const GE_LRect above{0, -3, 4, 0}, left{-2, 0, 0, 3}, inside{0, 0, 2, 2};
  EXPECT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &above, &inside), RX_Result_OK);
  EXPECT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &inside, &left), RX_Result_OK);
  EXPECT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &inside, &above), RX_Result_OK);
  EXPECT_TRUE(rows_equal(before, dst));
}

// A world object that claims a depth the package does not know.
class OddDepthWorld : public RX_WorldX<RX_Pixel8> {
 public:
  using RX_WorldX<RX_Pixel8>::RX_WorldX;
  int16_t Depth() const override { return 24; }
};

TEST_F(DraftCopy, AnUnknownDepthOnEitherSideIsReportedAndRefused) {
  TestWorld<RX_Pixel8> memory(3, 3), other(3, 3);
  paint(memory, 1);
  paint(other, 2);
  OddDepthWorld odd(*memory.def(), false);
  const Raw<RX_Pixel8> memory_before(memory), other_before(other);
  for (bool odd_source : {true, false}) {
    SCOPED_TRACE(odd_source ? "source" : "destination");
    ReportCapture capture;
    const RX_Err err = odd_source
                           ? RX_CopyBits_Draft(nullptr, &odd.LayerDef(), other.def(), nullptr, nullptr)
                           : RX_CopyBits_Draft(nullptr, other.def(), &odd.LayerDef(), nullptr, nullptr);
    EXPECT_EQ(err, RX_Result_Internal);
    const auto errors = capture.errors();
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].text, "Unknown world bitdepth in##CONDITIONNAME");
  }
  EXPECT_TRUE(rows_equal(memory_before, memory));
  EXPECT_TRUE(rows_equal(other_before, other));
}

// ---- the slot ----

struct SlotRecord {
  int calls = 0;
  const RX_LayerDef* src = nullptr;
  const GE_LRect* src_rect = nullptr;
};
SlotRecord g_slot;

RX_Err recording_copy(const RX_ProgressInfo*, const RX_LayerDef* src, RX_LayerDef*,
                      const GE_LRect* src_rect, const GE_LRect*) {
  ++g_slot.calls;
  g_slot.src = src;
  g_slot.src_rect = src_rect;
  return 1234;
}

TEST_F(DraftCopy, ForwardsThroughSlot23AndTheDefaultDoesNot) {
  g_slot = {};
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_CopyDraft, reinterpret_cast<void (*)()>(&recording_copy)),
            RX_Result_OK);
  TestWorld<RX_Pixel8> src(2, 2), dst(2, 2);
  src.at(1, 1) = {9, 8, 7, 6};
  const GE_LRect rect{0, 0, 2, 2};
  EXPECT_EQ(RX_CopyBits_Draft(nullptr, src.def(), dst.def(), &rect, nullptr), 1234);
  EXPECT_EQ(g_slot.calls, 1);
  EXPECT_EQ(g_slot.src, src.def());
  EXPECT_EQ(g_slot.src_rect, &rect);
  EXPECT_EQ(RX_CopyBits_Draft_Static(nullptr, src.def(), dst.def(), &rect, nullptr), RX_Result_OK);
  EXPECT_EQ(g_slot.calls, 1);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 1), src.at(1, 1)));
}

}  // namespace
