// Copies between world objects without scaling: CopyRect (same depth, by
// rows, safe for overlap within a row), CopyWorld,
// CopyRectPossiblyDifferentBitdepth (any two depths, float alpha unclamped,
// dither on request, progress and abort every 64th row) and the field form
// for interlaced output. Expected pixels come from the rectangle rule and
// the depth rules written plainly below.
#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "painted_worlds.h"
#include "reference_arith.h"
#include "rx_test_support.h"

namespace {

namespace ref = rxtest::ref;

using rxtest::ReportCapture;
using rxtest::TestWorld;

// ---- the depth rules, written plainly ----

float rule_8_to_float(uint8_t c) { return float(c) * 0.003921569f; }
uint8_t rule_16_to_8_dithered(uint16_t c, uint32_t word) {
  return uint8_t((uint32_t(c) * 255u + (word & 0x7FFFu)) >> 15);
}
float rule_16_to_float(uint16_t c) { return float(c) * 3.0517578e-05f; }
// Colours clamp; alpha does not, and wraps in 16 bits.
uint16_t rule_float_to_16(float c, bool is_alpha) {
  const float v = c * 32768.0f;
  if (!is_alpha) {
    if (v < 0.0f) return 0;
    if (v > 32768.0f) return 32768;
  }
  return uint16_t(int32_t(v + 0.5f));
}
// The scalar form: colours clamp, alpha wraps in 8 bits.
uint8_t rule_float_to_8_scalar(float c, bool is_alpha) {
  const float v = c * 255.0f;
  if (!is_alpha) {
    if (v < 0.0f) return 0;
    if (v > 255.0f) return 255;
  }
  return uint8_t(int32_t(v + 0.5f));
}
// The vector form of aligned rows: round to nearest even, every channel
// saturated.
uint8_t rule_float_to_8_vector(float c) {
  const float r = std::nearbyint(c * 255.0f);
  return r < 0.0f ? 0 : r > 255.0f ? 255 : uint8_t(r);
}
// Dithered: noise c - 2^-9 + word * 2^-40, then every channel clamped;
// trunc(v + 0.5) in the scalar form, nearest even in the vector form.
float dither_noise(float c, uint32_t word) { return c - 0.001953125f + float(word) * 9.094947e-13f; }
uint8_t rule_float_to_8_dithered(float c, uint32_t word, bool vector) {
  const float v = dither_noise(c, word) * 255.0f;
  if (vector) {
    const float r = std::nearbyint(v);
    return r < 0.0f ? 0 : r > 255.0f ? 255 : uint8_t(r);
  }
  if (v < 0.0f) return 0;
  if (v > 255.0f) return 255;
  return uint8_t(int32_t(v + 0.5f));
}

bool sse2() { return KO_G_CPU_DataP[2] != 0; }

// The words of the dither table from its start, wrapping at its end.
struct DitherWords {
  const uint32_t* cursor = RXp_G_DitherTable.start;
  uint32_t next() {
    const uint32_t w = *cursor++;
    if (cursor == RXp_G_DitherTable.end) cursor = RXp_G_DitherTable.start;
    return w;
  }
};

// One row of conversion from Src to Dst. `aligned` tells whether the
// source row starts on a 16-byte boundary; words is null without dither.
template <class Dst, class Src>
void convert_row(const Src* in, Dst* out, int32_t n, bool aligned, DitherWords* words) {
  for (int32_t i = 0; i < n; ++i) {
    const Src& s = in[i];
    Dst& d = out[i];
    if constexpr (std::is_same_v<Src, Dst>) {
      d = s;
    } else if constexpr (sizeof(Src) == 4 && sizeof(Dst) == 8) {
      d = {ref::widen_8_to_16(s.alpha), ref::widen_8_to_16(s.red), ref::widen_8_to_16(s.green), ref::widen_8_to_16(s.blue)};
    } else if constexpr (sizeof(Src) == 4) {
      d = {rule_8_to_float(s.alpha), rule_8_to_float(s.red), rule_8_to_float(s.green),
           rule_8_to_float(s.blue)};
    } else if constexpr (sizeof(Src) == 8 && sizeof(Dst) == 4) {
      if (words) {
        // One word per channel in memory order.
        d.alpha = rule_16_to_8_dithered(s.alpha, words->next());
        d.red = rule_16_to_8_dithered(s.red, words->next());
        d.green = rule_16_to_8_dithered(s.green, words->next());
        d.blue = rule_16_to_8_dithered(s.blue, words->next());
      } else {
        d = {ref::narrow_16_to_8(s.alpha), ref::narrow_16_to_8(s.red), ref::narrow_16_to_8(s.green), ref::narrow_16_to_8(s.blue)};
      }
    } else if constexpr (sizeof(Src) == 8) {
      d = {rule_16_to_float(s.alpha), rule_16_to_float(s.red), rule_16_to_float(s.green),
           rule_16_to_float(s.blue)};
    } else if constexpr (sizeof(Dst) == 8) {
      d = {rule_float_to_16(s.alpha, true), rule_float_to_16(s.red, false),
           rule_float_to_16(s.green, false), rule_float_to_16(s.blue, false)};
    } else {
      const bool vector = aligned && sse2();
      if (words) {
        // Words in the order alpha, red, blue, green.
        d.alpha = rule_float_to_8_dithered(s.alpha, words->next(), vector);
        d.red = rule_float_to_8_dithered(s.red, words->next(), vector);
        d.blue = rule_float_to_8_dithered(s.blue, words->next(), vector);
        d.green = rule_float_to_8_dithered(s.green, words->next(), vector);
      } else if (vector) {
        d = {rule_float_to_8_vector(s.alpha), rule_float_to_8_vector(s.red),
             rule_float_to_8_vector(s.green), rule_float_to_8_vector(s.blue)};
      } else {
        d = {rule_float_to_8_scalar(s.alpha, true), rule_float_to_8_scalar(s.red, false),
             rule_float_to_8_scalar(s.green, false), rule_float_to_8_scalar(s.blue, false)};
      }
    }
  }
}

// ---- test pictures ----

// Varied channels. Float values are n / 64 from about -0.47 to 1.86 (exact
// halves of an 8-bit step included: the two float to 8 forms differ there).
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
    auto v = [&](int32_t ch) { return float((k * 53 + ch * 31) % 150 - 30) / 64.0f; };
    p = {v(0), v(1), v(2), v(3)};
  }
  return p;
}

constexpr uint8_t kPadding = 0xC3;

template <class Px>
void paint(TestWorld<Px>& w, int32_t seed) {
  rxtest::paint(w, [seed](int32_t x, int32_t y) { return varied_pixel<Px>(x, y, seed); }, kPadding);
}

// Row padding that makes the stride a multiple of 16 (plus 16), so that all
// rows of a world share the alignment of the first.
template <class Px>
int32_t whole_rows_padding(int32_t width) {
  const int32_t bytes = width * int32_t(sizeof(Px));
  return ((bytes + 15) & ~15) + 16 - bytes;
}

// A test world with a world object around it.
template <class Px>
struct Framed {
  TestWorld<Px> memory;
  RX_WorldX<Px> world;
  Framed(int32_t w, int32_t h, int32_t padding = 0, int32_t misalign = 0)
      : memory(w, h, padding, misalign), world(*memory.def(), false) {}
  Px& at(int32_t x, int32_t y) { return memory.at(x, y); }
};

// The bytes of a world's rows, padding included.
template <class Px>
using Raw = rxtest::RawRows<Px>;

using rxtest::rows_equal;

// The rectangle rule: with (dx, dy) the destination minus the rectangle's
// corner, the destination span is max(0, max(L, 0) + dx) up to
// min(width, min(R, source width) + dx), and likewise down.
struct Span {
  int32_t left, top, right, bottom, dx, dy;
  bool empty() const { return left >= right || top >= bottom; }
};
Span span_for(const GE_LRect& r, int32_t src_w, int32_t src_h, int32_t dst_w, int32_t dst_h,
              int32_t dst_x, int32_t dst_y) {
  Span s;
  s.dx = dst_x - r.left;
  s.dy = dst_y - r.top;
  s.left = std::max(0, std::max(r.left, 0) + s.dx);
  s.right = std::min(dst_w, std::min(r.right, src_w) + s.dx);
  s.top = std::max(0, std::max(r.top, 0) + s.dy);
  s.bottom = std::min(dst_h, std::min(r.bottom, src_h) + s.dy);
  return s;
}

// CopyRectPossiblyDifferentBitdepth, written plainly; also CopyRect when
// the depths match. Rows for which keep_row is false are left alone.
template <class Dst, class Src, class Keep>
void copy_reference(TestWorld<Src>& src, Raw<Dst>& dst, const GE_LRect& r, int32_t dst_x,
                    int32_t dst_y, DitherWords* words, Keep keep_row) {
  const Span s = span_for(r, src.width(), src.height(), dst.width, dst.height, dst_x, dst_y);
  if (s.empty()) return;
  for (int32_t y = s.top; y < s.bottom; ++y) {
    if (!keep_row(y)) continue;
    const Src* in = &src.at(s.left - s.dx, y - s.dy);
    const bool aligned = reinterpret_cast<uintptr_t>(in) % 16 == 0;
    convert_row(in, dst.row(y) + s.left, s.right - s.left, aligned, words);
  }
}
template <class Dst, class Src>
void copy_reference(TestWorld<Src>& src, Raw<Dst>& dst, const GE_LRect& r, int32_t dst_x,
                    int32_t dst_y, DitherWords* words = nullptr) {
  copy_reference(src, dst, r, dst_x, dst_y, words, [](int32_t) { return true; });
}

struct RectCase {
  const char* what;
  GE_LRect rect;
  int32_t x, y;  // source world 6 x 5, destination world 9 x 7
};
const RectCase kRectCases[] = {
    {"inside both, moved", {1, 1, 4, 3}, 2, 3},
    {"the whole source to the corner", {0, 0, 6, 5}, 0, 0},
    {"rectangle over the source's left and top", {-2, -1, 5, 4}, 0, 0},
    {"rectangle over the source's right and bottom", {3, 2, 10, 9}, 1, 1},
    {"destination over the left and top", {0, 0, 4, 3}, -2, -1},
    {"destination over the right and bottom", {0, 0, 6, 5}, 7, 5},
    {"negative rectangle to a negative place", {-1, -1, 3, 3}, -2, 0},
    {"missing the destination", {0, 0, 3, 3}, 20, 0},
    {"missing the source", {6, 0, 8, 3}, 0, 0},
    {"an empty rectangle", {2, 2, 2, 4}, 0, 0},
};

// ---- CopyRect ----

template <class Px>
class WorldCopyRect : public rxtest::BornPackage {};
TYPED_TEST_SUITE(WorldCopyRect, rxtest::AllPixelTypes);

TYPED_TEST(WorldCopyRect, CopiesTheIntersectionOfRectangleSourceAndDestination) {
  using Px = TypeParam;
  for (const RectCase& c : kRectCases) {
    SCOPED_TRACE(c.what);
    Framed<Px> src(6, 5, 16, 4), dst(9, 7, 8, 0);
    paint(src.memory, 1);
    paint(dst.memory, 2);
    Raw<Px> expected(dst.memory);
    copy_reference(src.memory, expected, c.rect, c.x, c.y);
    dst.world.CopyRect(src.world, c.rect, c.x, c.y);
    ASSERT_TRUE(rows_equal(expected, dst.memory));
  }
}

TYPED_TEST(WorldCopyRect, OwningWorldsCopyLikeWrappedOnes) {
  using Px = TypeParam;
  const int16_t depth = int16_t(TestWorld<Px>::depth());
  std::unique_ptr<RX_World> src(RX_World::New(6, 5, depth, 0)), dst(RX_World::New(9, 7, depth, 0));
  auto* s = static_cast<RX_WorldX<Px>*>(src.get());
  auto* d = static_cast<RX_WorldX<Px>*>(dst.get());
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 6; ++x) s->Row(y)[x] = varied_pixel<Px>(x, y, 3);
  for (int32_t y = 0; y < 7; ++y)
    for (int32_t x = 0; x < 9; ++x) d->Row(y)[x] = varied_pixel<Px>(x, y, 4);
  d->CopyRect(*s, {1, 0, 6, 4}, 4, 2);
  for (int32_t y = 0; y < 7; ++y)
    for (int32_t x = 0; x < 9; ++x) {
      const bool inside = x >= 4 && x < 9 && y >= 2 && y < 6;
      const Px expected = inside ? varied_pixel<Px>(x - 3, y - 2, 3) : varied_pixel<Px>(x, y, 4);
      ASSERT_TRUE(rxtest::same_pixel(d->Row(y)[x], expected)) << x << ", " << y;
    }
  EXPECT_FALSE(d->SubWorldSafetyGutterHasBeenOverWritten());
}

TYPED_TEST(WorldCopyRect, OverlapWithinARowIsSafe) {
  using Px = TypeParam;
  Framed<Px> w(8, 3);
  paint(w.memory, 1);
  TestWorld<Px> original(8, 3);
  paint(original, 1);
  w.world.CopyRect(w.world, {0, 0, 6, 3}, 2, 0);  // right by two
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 8; ++x) {
      const Px expected = x < 2 ? original.at(x, y) : original.at(x - 2, y);
      ASSERT_TRUE(rxtest::same_pixel(w.at(x, y), expected)) << x << ", " << y;
    }
  paint(w.memory, 1);
  w.world.CopyRect(w.world, {3, 0, 8, 3}, 0, 0);  // left by three
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 8; ++x) {
      const Px expected = x < 5 ? original.at(x + 3, y) : original.at(x, y);
      ASSERT_TRUE(rxtest::same_pixel(w.at(x, y), expected)) << x << ", " << y;
    }
}

TYPED_TEST(WorldCopyRect, RowsGoTopToBottomSoAShiftDownRepeatsTheFirstRow) {
  using Px = TypeParam;
  Framed<Px> w(4, 5);
  paint(w.memory, 1);
  TestWorld<Px> original(4, 5);
  paint(original, 1);
  w.world.CopyRect(w.world, {0, 0, 4, 5}, 0, 1);
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 4; ++x)
      ASSERT_TRUE(rxtest::same_pixel(w.at(x, y), original.at(x, 0))) << x << ", " << y;
  // Upwards each row is read before it is written over.
  paint(w.memory, 1);
  w.world.CopyRect(w.world, {0, 1, 4, 5}, 0, 0);
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 4; ++x) {
      const Px expected = y < 4 ? original.at(x, y + 1) : original.at(x, 4);
      ASSERT_TRUE(rxtest::same_pixel(w.at(x, y), expected)) << x << ", " << y;
    }
}

TYPED_TEST(WorldCopyRect, CopyWorldCopiesTheOthersWholeRectangleToTheCorner) {
  using Px = TypeParam;
  Framed<Px> src(5, 6, 12, 4), dst(7, 4, 0, 0);
  paint(src.memory, 1);
  paint(dst.memory, 2);
  Raw<Px> expected(dst.memory);
  copy_reference(src.memory, expected, {0, 0, 5, 6}, 0, 0);
  dst.world.CopyWorld(src.world);
  EXPECT_TRUE(rows_equal(expected, dst.memory));
}

template <class Body>
RX_Err thrown_by(Body&& body) {
  try {
    body();
  } catch (RX_Err code) {
    return code;
  }
  return RX_Result_OK;
}

class CopyRectRefusals : public rxtest::BornPackage {};

TEST_F(CopyRectRefusals, DifferentDepthsAreReportedAndThrow3) {
  Framed<RX_Pixel8> eight(4, 4);
  Framed<RX_Pixel16> deep(4, 4);
  paint(deep.memory, 1);
  const Raw<RX_Pixel16> before(deep.memory);
  ReportCapture capture;
  EXPECT_EQ(thrown_by([&] { deep.world.CopyRect(eight.world, {0, 0, 4, 4}, 0, 0); }),
            RX_Result_Internal);
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].location, 0x25006D);
  EXPECT_EQ(errors[0].text, "Src and dest bitdepths are different in RX_World::CopyRect");
  EXPECT_TRUE(rows_equal(before, deep.memory));
}

// ---- CopyRectPossiblyDifferentBitdepth, nine pairs ----

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

template <class P>
class MixedDepthCopyRect : public rxtest::BornPackage {
 protected:
  void SetUp() override {
    BornPackage::SetUp();
    RX_ResetDitherRandomIndex();
  }
};
TYPED_TEST_SUITE(MixedDepthCopyRect, Pairs, PairNames);

TYPED_TEST(MixedDepthCopyRect, ConvertsEachRowWithoutDither) {
  using Src = typename TypeParam::Src;
  using Dst = typename TypeParam::Dst;
  // Misaligned source rows take the scalar float to 8 form, aligned ones
  // the vector form when the processor has SSE2.
  for (int32_t misalign : {4, 0}) {
    for (const RectCase& c : kRectCases) {
      SCOPED_TRACE(std::string(c.what) + (misalign ? ", misaligned source" : ", aligned source"));
      Framed<Src> src(6, 5, whole_rows_padding<Src>(6), misalign);
      Framed<Dst> dst(9, 7, 8, 4);
      paint(src.memory, 1);
      paint(dst.memory, 2);
      Raw<Dst> expected(dst.memory);
      copy_reference(src.memory, expected, c.rect, c.x, c.y);
      dst.world.CopyRectPossiblyDifferentBitdepth(src.world, c.rect, false, c.x, c.y, nullptr);
      ASSERT_TRUE(rows_equal(expected, dst.memory));
    }
  }
}

TYPED_TEST(MixedDepthCopyRect, DitherMatchesTheTableWordsAndIsReproducibleAfterAReset) {
  using Src = typename TypeParam::Src;
  using Dst = typename TypeParam::Dst;
  const bool reduces = sizeof(Dst) == 4 && sizeof(Src) != 4;
  for (int32_t misalign : {4, 0}) {
    SCOPED_TRACE(misalign ? "misaligned source" : "aligned source");
    Framed<Src> src(6, 5, whole_rows_padding<Src>(6), misalign);
    Framed<Dst> first(9, 7), again(9, 7);
    paint(src.memory, 1);
    paint(first.memory, 2);
    paint(again.memory, 2);
    Raw<Dst> expected(first.memory);
    DitherWords words;
    copy_reference(src.memory, expected, {0, 0, 6, 5}, 2, 1, reduces ? &words : nullptr);
    RX_ResetDitherRandomIndex();
    first.world.CopyRectPossiblyDifferentBitdepth(src.world, {0, 0, 6, 5}, true, 2, 1, nullptr);
    ASSERT_TRUE(rows_equal(expected, first.memory));
    RX_ResetDitherRandomIndex();
    again.world.CopyRectPossiblyDifferentBitdepth(src.world, {0, 0, 6, 5}, true, 2, 1, nullptr);
    EXPECT_TRUE(rows_equal(Raw<Dst>(first.memory), again.memory));
  }
}

class MixedDepthValues : public rxtest::BornPackage {};

TEST_F(MixedDepthValues, FloatAlphaIsNotClampedIntoSixteenBits) {
  Framed<RX_PixelFloat> src(3, 1);
  src.at(0, 0) = {2.0f, 2.0f, -0.5f, 0.5f};
  src.at(1, 0) = {-0.5f, 1.0f, 0.0f, 1.5f};
  src.at(2, 0) = {1.0f, 0.25f, 0.75f, 1.0f / 32768};
  Framed<RX_Pixel16> dst(3, 1);
  dst.world.CopyRectPossiblyDifferentBitdepth(src.world, {0, 0, 3, 1}, false, 0, 0, nullptr);
  // Alpha 2.0 gives 65536, wrapped to 0, where red 2.0 gives 32768.
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel16{0, 32768, 0, 16384}));
  // Alpha -0.5 gives -16383 in 16 bits.
  EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 0), RX_Pixel16{uint16_t(-16383), 32768, 0, 32768}));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(2, 0), RX_Pixel16{32768, 8192, 24576, 1}));
}

TEST_F(MixedDepthValues, FloatAlphaIntoEightBitsWrapsInTheScalarFormAndClampsInTheVectorForm) {
  // Misaligned: the scalar form, whose alpha is not clamped.
  Framed<RX_PixelFloat> loose(2, 1, 0, 4);
  loose.at(0, 0) = {2.0f, 2.0f, -1.0f, 0.5f};
  loose.at(1, 0) = {-0.5f, 0.25f, 0.75f, 1.0f};
  Framed<RX_Pixel8> dst(2, 1);
  dst.world.CopyRectPossiblyDifferentBitdepth(loose.world, {0, 0, 2, 1}, false, 0, 0, nullptr);
  // 2.0 * 255 + 0.5 = 510.5 gives 510, which is 254 in 8 bits; -0.5 gives
  // trunc(-127) = -127, which is 129.
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel8{254, 255, 0, 128}));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 0), RX_Pixel8{129, 64, 191, 255}));

  Framed<RX_PixelFloat> tight(2, 1, 0, 0);
  tight.at(0, 0) = loose.at(0, 0);
  tight.at(1, 0) = loose.at(1, 0);
  dst.world.CopyRectPossiblyDifferentBitdepth(tight.world, {0, 0, 2, 1}, false, 0, 0, nullptr);
  if (sse2()) {
    // The vector form saturates every channel, and rounds 127.5 to even.
    EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel8{255, 255, 0, 128}));
    EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 0), RX_Pixel8{0, 64, 191, 255}));
  } else {
    EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel8{254, 255, 0, 128}));
  }
}

TEST_F(MixedDepthValues, EightBitsThroughSixteenAndBackAreUnchanged) {
  Framed<RX_Pixel8> src(64, 1), back(64, 1);
  Framed<RX_Pixel16> deep(64, 1);
  for (int x = 0; x < 64; ++x)
    src.at(x, 0) = {uint8_t(4 * x), uint8_t(4 * x + 1), uint8_t(4 * x + 2), uint8_t(4 * x + 3)};
  deep.world.CopyRectPossiblyDifferentBitdepth(src.world, {0, 0, 64, 1}, false, 0, 0, nullptr);
  back.world.CopyRectPossiblyDifferentBitdepth(deep.world, {0, 0, 64, 1}, false, 0, 0, nullptr);
  for (int x = 0; x < 64; ++x) EXPECT_TRUE(rxtest::same_pixel(back.at(x, 0), src.at(x, 0))) << x;
  EXPECT_EQ(deep.at(63, 0).blue, 32768);
}

class OddDepthWorld : public RX_WorldX<RX_Pixel8> {
 public:
  using RX_WorldX<RX_Pixel8>::RX_WorldX;
  int16_t Depth() const override { return 24; }
};

TEST_F(MixedDepthValues, ASourceOfUnknownDepthIsReported) {
  TestWorld<RX_Pixel8> memory(2, 2);
  OddDepthWorld odd(*memory.def(), false);
  Framed<RX_Pixel16> dst(2, 2);
  paint(dst.memory, 1);
  const Raw<RX_Pixel16> before(dst.memory);
  ReportCapture capture;
  thrown_by([&] { dst.world.CopyRectPossiblyDifferentBitdepth(odd, {0, 0, 2, 2}, false, 0, 0, nullptr); });
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].location, 0x25006E);
  EXPECT_EQ(errors[0].report_class, 8);
  EXPECT_EQ(errors[0].text, "Unknown bit depth in RX_World::CopyRectPossiblyDifferentBitdepths");
  EXPECT_TRUE(rows_equal(before, dst.memory));
}

// A world object over memory read from the bottom row up.
template <class Px>
struct UpsideDown {
  TestWorld<Px> memory;
  RX_LayerDef def;
  std::unique_ptr<RX_WorldX<Px>> world;
  UpsideDown(int32_t w, int32_t h, int32_t padding) : memory(w, h, padding) {
    def = *memory.def();
    def.data = &memory.at(0, h - 1);
    def.row_stride = -def.row_stride;
    world = std::make_unique<RX_WorldX<Px>>(def, false);
  }
  Px& at(int32_t x, int32_t y) { return memory.at(x, memory.height() - 1 - y); }
};

TYPED_TEST(MixedDepthCopyRect, NegativeRowStridesAreFollowedUpwards) {
  using Src = typename TypeParam::Src;
  using Dst = typename TypeParam::Dst;
  for (const RectCase& c : kRectCases) {
    SCOPED_TRACE(c.what);
    Framed<Src> src(6, 5, 16);
    UpsideDown<Src> up_src(6, 5, 16);
    paint(src.memory, 1);
    for (int32_t y = 0; y < 5; ++y)
      for (int32_t x = 0; x < 6; ++x) up_src.at(x, y) = src.at(x, y);
    Framed<Dst> dst(9, 7);
    UpsideDown<Dst> up_dst(9, 7, 8);
    paint(dst.memory, 2);
    for (int32_t y = 0; y < 7; ++y)
      for (int32_t x = 0; x < 9; ++x) up_dst.at(x, y) = dst.at(x, y);
    dst.world.CopyRectPossiblyDifferentBitdepth(src.world, c.rect, false, c.x, c.y, nullptr);
    up_dst.world->CopyRectPossiblyDifferentBitdepth(*up_src.world, c.rect, false, c.x, c.y, nullptr);
    for (int32_t y = 0; y < 7; ++y)
      for (int32_t x = 0; x < 9; ++x)
        ASSERT_TRUE(rxtest::same_pixel(up_dst.at(x, y), dst.at(x, y))) << x << ", " << y;
    if constexpr (std::is_same_v<Src, Dst>) {
      up_dst.world->CopyRect(*up_src.world, c.rect, c.x + 1, c.y);
      dst.world.CopyRect(src.world, c.rect, c.x + 1, c.y);
      for (int32_t y = 0; y < 7; ++y)
        for (int32_t x = 0; x < 9; ++x)
          ASSERT_TRUE(rxtest::same_pixel(up_dst.at(x, y), dst.at(x, y))) << x << ", " << y;
    }
  }
}

TEST_F(MixedDepthValues, TheFieldFormReportsASourceOfUnknownDepthInItsOwnWords) {
  TestWorld<RX_Pixel8> memory(2, 2);
  OddDepthWorld odd(*memory.def(), false);
  Framed<RX_PixelFloat> dst(2, 2);
  paint(dst.memory, 1);
  const Raw<RX_PixelFloat> before(dst.memory);
  ReportCapture capture;
  thrown_by([&] { dst.world.CopyRectPossiblyDifferentBitdepthWithField(odd, {0, 0, 2, 2}, 0); });
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].location, 0x25006E);
  EXPECT_EQ(errors[0].text,
            "Unknown bit depth in RX_World::CopyRectPossiblyDifferentBitdepthsWithField");
  EXPECT_TRUE(rows_equal(before, dst.memory));
}

// ---- progress and abort ----

struct ProgressLog {
  std::vector<std::pair<int32_t, int32_t>> progress;  // (current, total)
  int32_t aborts = 0;
  int32_t stop_at_call = 0;  // 0: never
  RX_Err code = 0;
  int32_t calls() const { return int32_t(progress.size()) + aborts; }
};
RX_Err log_progress(void* refcon, int32_t current, int32_t total) {
  auto* log = static_cast<ProgressLog*>(refcon);
  log->progress.push_back({current, total});
  return log->calls() == log->stop_at_call ? log->code : RX_Result_OK;
}
RX_Err log_abort(void* refcon) {
  auto* log = static_cast<ProgressLog*>(refcon);
  ++log->aborts;
  return log->calls() == log->stop_at_call ? log->code : RX_Result_OK;
}

class CopyRectProgress : public rxtest::BornPackage {};

TEST_F(CopyRectProgress, ProgressIsToldAtRows63And127CountingFromTheFirstRow) {
  Framed<RX_Pixel16> src(3, 140);
  Framed<RX_Pixel8> dst(3, 140);
  paint(src.memory, 1);
  paint(dst.memory, 2);
  Raw<RX_Pixel8> expected(dst.memory);
  copy_reference(src.memory, expected, {0, 3, 3, 133}, 0, 5);
  ProgressLog log;
  const RX_ProgressInfo info{&log, &log_abort, &log_progress};
  dst.world.CopyRectPossiblyDifferentBitdepth(src.world, {0, 3, 3, 133}, false, 0, 5, &info);
  // 130 rows; progress only, abort not asked when progress is there.
  const std::vector<std::pair<int32_t, int32_t>> calls = {{63, 130}, {127, 130}};
  EXPECT_EQ(log.progress, calls);
  EXPECT_EQ(log.aborts, 0);
  EXPECT_TRUE(rows_equal(expected, dst.memory));
}

TEST_F(CopyRectProgress, WithoutAProgressFunctionAbortIsAskedInstead) {
  Framed<RX_Pixel8> src(2, 130), dst(2, 130);
  paint(src.memory, 1);
  ProgressLog log;
  const RX_ProgressInfo info{&log, &log_abort, nullptr};
  dst.world.CopyRectPossiblyDifferentBitdepth(src.world, {0, 0, 2, 130}, false, 0, 0, &info);
  EXPECT_EQ(log.aborts, 2);
  const RX_ProgressInfo nothing{&log, nullptr, nullptr};
  dst.world.CopyRectPossiblyDifferentBitdepth(src.world, {0, 0, 2, 130}, false, 0, 0, &nothing);
  EXPECT_EQ(log.aborts, 2);
}

TEST_F(CopyRectProgress, ANonZeroAnswerIsThrownAndStopsTheCopy) {
  for (bool use_progress : {true, false}) {
    SCOPED_TRACE(use_progress ? "progress" : "abort");
    Framed<RX_PixelFloat> src(3, 200);
    Framed<RX_Pixel16> dst(3, 200);
    paint(src.memory, 1);
    paint(dst.memory, 2);
    const Raw<RX_Pixel16> before(dst.memory);
    Raw<RX_Pixel16> full(dst.memory);
    copy_reference(src.memory, full, {0, 0, 3, 200}, 0, 0);
    ProgressLog log;
    log.stop_at_call = 2;  // at row 127
    log.code = RX_Result_Interrupted;
    const RX_ProgressInfo info{&log, use_progress ? nullptr : &log_abort,
                               use_progress ? &log_progress : nullptr};
    EXPECT_EQ(thrown_by([&] {
                dst.world.CopyRectPossiblyDifferentBitdepth(src.world, {0, 0, 3, 200}, false, 0,
                                                            0, &info);
              }),
              RX_Result_Interrupted);
    EXPECT_EQ(log.calls(), 2);
    const Raw<RX_Pixel16> got(dst.memory);
    const size_t row = size_t(full.stride);
    // Rows before 127 are copied, rows after 127 are not.
    EXPECT_EQ(std::memcmp(got.bytes.data(), full.bytes.data(), 127 * row), 0);
    EXPECT_EQ(std::memcmp(got.bytes.data() + 128 * row, before.bytes.data() + 128 * row, 72 * row), 0);
  }
}

// ---- the field form ----

template <class P>
class FieldCopy : public rxtest::BornPackage {};
using FieldPairs = ::testing::Types<Pair<RX_Pixel8, RX_Pixel8>, Pair<RX_Pixel8, RX_Pixel16>,
                                    Pair<RX_PixelFloat, RX_Pixel16>, Pair<RX_Pixel16, RX_PixelFloat>,
                                    Pair<RX_PixelFloat, RX_PixelFloat>>;
TYPED_TEST_SUITE(FieldCopy, FieldPairs, PairNames);

TYPED_TEST(FieldCopy, FieldsPickEvenOrOddDestinationRowsAndTheCornerLandsAtTheOrigin) {
  using Src = typename TypeParam::Src;
  using Dst = typename TypeParam::Dst;
  for (int32_t field : {0, 1, 2, 3}) {
    SCOPED_TRACE(field);
    Framed<Src> src(7, 6, 16, 4);
    Framed<Dst> dst(5, 5, 8, 0);
    paint(src.memory, 1);
    paint(dst.memory, 2);
    Raw<Dst> expected(dst.memory);
    copy_reference(src.memory, expected, {2, 1, 6, 5}, 0, 0, nullptr, [&](int32_t y) {
      return field == 1 ? y % 2 == 0 : field == 2 ? y % 2 == 1 : true;
    });
    dst.world.CopyRectPossiblyDifferentBitdepthWithField(src.world, {2, 1, 6, 5}, field);
    ASSERT_TRUE(rows_equal(expected, dst.memory));
  }
}

class FieldCopyDither : public rxtest::BornPackage {};

TEST_F(FieldCopyDither, Field1LeavesOddDestinationRowsUnchanged) {
  Framed<RX_Pixel8> src(4, 6), dst(4, 6);
  paint(src.memory, 1);
  paint(dst.memory, 2);
  TestWorld<RX_Pixel8> before(4, 6);
  paint(before, 2);
  dst.world.CopyRectPossiblyDifferentBitdepthWithField(src.world, {0, 0, 4, 6}, 1);
  for (int32_t y = 0; y < 6; ++y)
    for (int32_t x = 0; x < 4; ++x) {
      const RX_Pixel8 expected = y % 2 ? before.at(x, y) : src.at(x, y);
      EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), expected)) << x << ", " << y;
    }
}

TEST_F(FieldCopyDither, RowsAreAlwaysDithered) {
  Framed<RX_Pixel16> src(5, 4, 8, 0);
  Framed<RX_Pixel8> dst(5, 4);
  paint(src.memory, 1);
  paint(dst.memory, 2);
  Raw<RX_Pixel8> expected(dst.memory);
  DitherWords words;
  copy_reference(src.memory, expected, {0, 0, 5, 4}, 0, 0, &words);
  RX_ResetDitherRandomIndex();
  dst.world.CopyRectPossiblyDifferentBitdepthWithField(src.world, {0, 0, 5, 4}, 0);
  EXPECT_TRUE(rows_equal(expected, dst.memory));
}

TEST_F(FieldCopyDither, DitheredFieldRowsStayWithinOneStepOfTheRoundedValue) {
  Framed<RX_PixelFloat> src(6, 6, 0, 4);
  Framed<RX_Pixel8> dst(6, 6);
  paint(src.memory, 1);
  paint(dst.memory, 2);
  TestWorld<RX_Pixel8> before(6, 6);
  paint(before, 2);
  dst.world.CopyRectPossiblyDifferentBitdepthWithField(src.world, {0, 0, 6, 6}, 2);
  for (int32_t y = 0; y < 6; ++y)
    for (int32_t x = 0; x < 6; ++x) {
      SCOPED_TRACE(testing::Message() << x << ", " << y);
      if (y % 2 == 0) {
        EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), before.at(x, y)));
        continue;
      }
      const RX_PixelFloat& s = src.at(x, y);
      const RX_Pixel8& d = dst.at(x, y);
      const float channels[4] = {s.alpha, s.red, s.green, s.blue};
      const uint8_t got[4] = {d.alpha, d.red, d.green, d.blue};
      for (int ch = 0; ch < 4; ++ch) {
        // The noise lies in [-2^-9, 2^-9 + 2^-8): at most one step either way.
        const float v = std::clamp(channels[ch] * 255.0f, 0.0f, 255.0f);
        EXPECT_GE(int(got[ch]), int(std::floor(v)) - 1) << ch;
        EXPECT_LE(int(got[ch]), int(std::ceil(v)) + 1) << ch;
      }
    }
}

}  // namespace
