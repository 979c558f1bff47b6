// Merging a mask buffer into a world's alpha: the five rows at their
// depths against the rules written here, the window over every edge, the
// kept off-by-one at the window's bottom, areas that start past 0, areas
// the mask misses, the refused pairs of depths, aborts.
#include <algorithm>

#include "uno_test_support.h"

namespace {

using namespace unotest;
using rxtest::TestWorld;

template <class Px>
struct Expect;

template <>
struct Expect<RX_Pixel8> {
  static uint8_t alpha(uint8_t a, int m, int mask_depth) {
    (void)mask_depth;  // an 8-bit world reads bytes whatever the mask
    if (m == 0) return 0;
    if (m == 255) return a;
    return uint8_t(rnd8(int64_t(a) * m));
  }
};

template <>
struct Expect<RX_Pixel16> {
  static uint16_t alpha(uint16_t a, int m, int mask_depth) {
    if (m == 0) return 0;
    if (mask_depth == 8) {
      if (m == 255) return a;
      const int64_t s = (int64_t(m) * 0x808080 + 33200) >> 16;
      return uint16_t(rnd16(s * a));
    }
    if (m == 32768) return a;
    return uint16_t(rnd16(int64_t(m) * a));
  }
};

template <>
struct Expect<RX_PixelFloat> {
  static float alpha(float a, int m, int mask_depth) {
    if (m == 0) return 0.0f;
    if (mask_depth == 8) return m == 255 ? a : a * (float(m) * 0.003921569f);
    return m == 32768 ? a : a * (float(m) * 3.0517578e-5f);
  }
};

// The mask value an index of the window reads: an 8-bit world takes the
// bytes of the mask's row.
int mask_value(const RX_UnoBuffer* mask, int column, int row, bool bytes) {
  if (bytes || mask->depth == 8) {
    const uint8_t* r = values<uint8_t>(mask) + size_t(row) * size_t(mask->width * mask->depth / 8);
    return r[column];
  }
  return at<uint16_t>(mask, column, row);
}

template <class Px>
void randomise_world(TestWorld<Px>& w, std::mt19937& rng) {
  for (int y = 0; y < w.height(); ++y) {
    for (int x = 0; x < w.width(); ++x) {
      Px& p = w.at(x, y);
      if constexpr (sizeof(Px) == 16) {
        std::uniform_real_distribution<float> d(0.0f, 1.0f);
        p = {d(rng), d(rng), d(rng), d(rng)};
      } else {
        const uint32_t top = sizeof(Px) == 4 ? 255 : 32768;
        using Cv = decltype(p.alpha);
        p = {Cv(rng() % (top + 1)), Cv(rng() % (top + 1)), Cv(rng() % (top + 1)), Cv(rng() % (top + 1))};
      }
    }
  }
}

struct MergeCase {
  int x, y;
  std::optional<GE_LRect> rect, area;
};

// The whole merge written out pixel by pixel.
template <class Px>
std::vector<Px> expected_merge(TestWorld<Px>& w, const RX_UnoBuffer* mask, const MergeCase& c) {
  std::vector<Px> out;
  for (int y = 0; y < w.height(); ++y) {
    for (int x = 0; x < w.width(); ++x) out.push_back(w.at(x, y));
  }
  GE_LRect a = c.area ? *c.area : GE_LRect{0, 0, w.width(), w.height()};
  a.left = std::max(a.left, 0);
  a.top = std::max(a.top, 0);
  a.right = std::min(a.right, w.width());
  a.bottom = std::min(a.bottom, w.height());
  if (a.right <= a.left || a.bottom <= a.top) return out;
  int64_t wl = std::max<int64_t>(int64_t(a.left) - c.x, 0), wr = std::min<int64_t>(int64_t(a.right) - c.x, mask->width);
  int64_t wt = std::max<int64_t>(int64_t(a.top) - c.y, 0), wb = std::min<int64_t>(int64_t(a.bottom) - c.y, mask->height);
  if (c.rect) {
    wl = std::max<int64_t>(wl, c.rect->left);
    wr = std::min<int64_t>(wr, c.rect->right);
    wt = std::max<int64_t>(wt, c.rect->top);
    wb = std::min<int64_t>(wb, c.rect->bottom);
  }
  const bool empty_window = wr <= wl || wb <= wt;
  for (int py = a.top; py < a.bottom; ++py) {
    for (int px = a.left; px < a.right; ++px) {
      Px& p = out[size_t(py) * size_t(w.width()) + size_t(px)];
      if (empty_window) {
        p = Px{};
        continue;
      }
      const int64_t idx = px - a.left;
      const int64_t left = wl + c.x, right = wr + c.x;
      const bool row_in = !(py < wt + c.y || py > wb + c.y) && py - c.y < mask->height;
      if (!row_in || idx < left || idx >= right) {
        p.alpha = 0;
        continue;
      }
      const int m = mask_value(mask, int(wl + (idx - left)), py - c.y, sizeof(Px) == 4);
      p.alpha = Expect<Px>::alpha(p.alpha, m, mask->depth);
    }
  }
  return out;
}

template <class Px>
std::vector<Px> pixels_of(TestWorld<Px>& w) {
  std::vector<Px> out;
  for (int y = 0; y < w.height(); ++y) {
    for (int x = 0; x < w.width(); ++x) out.push_back(w.at(x, y));
  }
  return out;
}

template <class Px>
bool same(const std::vector<Px>& a, const std::vector<Px>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(Px)) == 0;
}

GE_LRect random_rect(std::mt19937& rng, int w, int h) {
  GE_LRect r;
  r.left = int(rng() % unsigned(w + 4)) - 3;
  r.right = r.left + int(rng() % unsigned(w + 4));
  r.top = int(rng() % unsigned(h + 4)) - 3;
  r.bottom = r.top + int(rng() % unsigned(h + 4));
  return r;
}

template <class Px>
void check_random_merges(int mask_depth, unsigned seed) {
  std::mt19937 rng(seed);
  for (int trial = 0; trial < 250; ++trial) {
    const int ww = 1 + int(rng() % 19), wh = 1 + int(rng() % 13);
    const int mw = 1 + int(rng() % 15), mh = 1 + int(rng() % 11);
    TestWorld<Px> world(ww, wh, int(rng() % 3) * 4, int(rng() % 2) * 4);
    randomise_world(world, rng);
    Buffer mask = make(mw, mh, mask_depth);
    randomise_with_ends(mask.get(), rng);
    MergeCase c{int(rng() % unsigned(ww + mw)) - mw, int(rng() % unsigned(wh + mh)) - mh, std::nullopt, std::nullopt};
    if (rng() % 3 == 0) c.rect = random_rect(rng, mw, mh);
    if (rng() % 2 == 0) c.area = random_rect(rng, ww, wh);
    if (rng() % 4 == 0) c.area = GE_LRect{0, 0, ww, wh};
    const auto expected = expected_merge(world, mask.get(), c);
    RX_WorldX<Px> wrapper(*world.def(), false);
    ASSERT_NO_THROW(RX_MergeMaskAlpha(nullptr, c.x, c.y, c.rect ? &*c.rect : nullptr, mask.get(),
                                      c.area ? &*c.area : nullptr, &wrapper));
    ASSERT_TRUE(same(pixels_of(world), expected)) << "trial " << trial;
  }
}

TEST_F(MaskTest, MergeOfEightBitMaskIntoEightBitWorld) { check_random_merges<RX_Pixel8>(8, 201); }
TEST_F(MaskTest, MergeOfEightBitMaskIntoSixteenBitWorld) { check_random_merges<RX_Pixel16>(8, 202); }
TEST_F(MaskTest, MergeOfSixteenBitMaskIntoSixteenBitWorld) { check_random_merges<RX_Pixel16>(16, 203); }
TEST_F(MaskTest, MergeOfEightBitMaskIntoFloatWorld) { check_random_merges<RX_PixelFloat>(8, 204); }
TEST_F(MaskTest, MergeOfSixteenBitMaskIntoFloatWorld) { check_random_merges<RX_PixelFloat>(16, 205); }
TEST_F(MaskTest, EightBitWorldReadsTheBytesOfADeepMask) { check_random_merges<RX_Pixel8>(16, 206); }

TEST_F(MaskTest, AreaOutsideTheMaskLosesAllItsChannels) {
  TestWorld<RX_Pixel8> world(6, 4);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 6; ++x) world.at(x, y) = {200, 10, 20, 30};
  }
  Buffer mask = make(3, 3, 8);
  RX_FillUnoBuffer(255, mask.get());
  RX_WorldX<RX_Pixel8> wrapper(*world.def(), false);
  const GE_LRect area{1, 1, 4, 3};
  RX_MergeMaskAlpha(nullptr, 10, 10, nullptr, mask.get(), &area, &wrapper);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 6; ++x) {
      const bool in = x >= 1 && x < 4 && y >= 1 && y < 3;
      const RX_Pixel8 expected = in ? RX_Pixel8{0, 0, 0, 0} : RX_Pixel8{200, 10, 20, 30};
      EXPECT_TRUE(rxtest::same_pixel(world.at(x, y), expected)) << x << "," << y;
    }
  }
}

TEST_F(MaskTest, RowAtTheWindowsBottomReadsTheMaskRowPastIt) {
  TestWorld<RX_Pixel8> world(4, 6);
  for (int y = 0; y < 6; ++y) {
    for (int x = 0; x < 4; ++x) world.at(x, y) = {255, 1, 2, 3};
  }
  Buffer mask = make(4, 6, 8);
  for (int y = 0; y < 6; ++y) {
    for (int x = 0; x < 4; ++x) at<uint8_t>(mask.get(), x, y) = uint8_t(10 * (y + 1));
  }
  RX_WorldX<RX_Pixel8> wrapper(*world.def(), false);
  const GE_LRect rect{0, 1, 4, 3};  // the window covers mask rows 1 and 2
  RX_MergeMaskAlpha(nullptr, 0, 0, &rect, mask.get(), nullptr, &wrapper);
  EXPECT_EQ(world.at(0, 0).alpha, 0);
  EXPECT_EQ(world.at(0, 1).alpha, 20);
  EXPECT_EQ(world.at(0, 2).alpha, 30);
  EXPECT_EQ(world.at(0, 3).alpha, 40);  // row 3 = the window's bottom: counted inside
  EXPECT_EQ(world.at(0, 4).alpha, 0);
  EXPECT_EQ(world.at(0, 5).alpha, 0);
  EXPECT_EQ(world.at(0, 3).red, 1);
}

TEST_F(MaskTest, RowPastTheMasksLastRowIsCleared) {
  TestWorld<RX_Pixel8> world(3, 5);
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 3; ++x) world.at(x, y) = {255, 1, 2, 3};
  }
  Buffer mask = make(3, 2, 8);
  RX_FillUnoBuffer(128, mask.get());
  RX_WorldX<RX_Pixel8> wrapper(*world.def(), false);
  RX_MergeMaskAlpha(nullptr, 0, 1, nullptr, mask.get(), nullptr, &wrapper);
  EXPECT_EQ(world.at(1, 0).alpha, 0);
  EXPECT_EQ(world.at(1, 1).alpha, 128);
  EXPECT_EQ(world.at(1, 2).alpha, 128);
  EXPECT_EQ(world.at(1, 3).alpha, 0);
  EXPECT_EQ(world.at(1, 4).alpha, 0);
}

TEST_F(MaskTest, AreaStartingPastZeroUsesTheWindowAsIndices) {
  // The window's left and right in world coordinates count from the
  // area's left edge: with the area at 2 and the mask at 0, the window
  // 2..5 multiplies indices 2..4 of the area, world columns 4..6.
  TestWorld<RX_Pixel8> world(8, 1);
  for (int x = 0; x < 8; ++x) world.at(x, 0) = {255, 0, 0, 0};
  Buffer mask = make(5, 1, 8);
  for (int x = 0; x < 5; ++x) at<uint8_t>(mask.get(), x, 0) = uint8_t(100 + x);
  RX_WorldX<RX_Pixel8> wrapper(*world.def(), false);
  const GE_LRect area{2, 0, 8, 1};
  RX_MergeMaskAlpha(nullptr, 0, 0, nullptr, mask.get(), &area, &wrapper);
  const int expected[8] = {255, 255, 0, 0, 102, 103, 104, 0};
  for (int x = 0; x < 8; ++x) EXPECT_EQ(world.at(x, 0).alpha, expected[x]) << x;
}

TEST_F(MaskTest, DeepOrFloatWorldUnderAFloatMaskIsRefused) {
  Buffer mask = make(4, 4, 32);
  RX_FillFloatUnoBuffer(0.5f, mask.get());
  TestWorld<RX_PixelFloat> fworld(4, 4);
  fworld.at(0, 0).alpha = 0.75f;
  RX_WorldX<RX_PixelFloat> fwrapper(*fworld.def(), false);
  try {
    RX_MergeMaskAlpha(nullptr, 0, 0, nullptr, mask.get(), nullptr, &fwrapper);
    FAIL() << "no throw";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_Internal);
  }
  EXPECT_EQ(fworld.at(0, 0).alpha, 0.75f);
  TestWorld<RX_Pixel16> dworld(4, 4);
  RX_WorldX<RX_Pixel16> dwrapper(*dworld.def(), false);
  EXPECT_THROW(RX_MergeMaskAlpha(nullptr, 0, 0, nullptr, mask.get(), nullptr, &dwrapper), RX_Err);
  ASSERT_EQ(reports.errors().size(), 2u);
  EXPECT_EQ(reports.errors()[0].text, "Unexpected bitdepth in RXp_MergeMaskAlphaScanIter()");
  EXPECT_EQ(reports.errors()[1].text, "Unexpected bitdepth in RXp_MergeMaskAlphaScanIter()");
}

TEST_F(MaskTest, MergeThrowsTheAbortCode) {
  TestWorld<RX_Pixel16> world(4, 4);
  world.at(2, 2).alpha = 1000;
  RX_WorldX<RX_Pixel16> wrapper(*world.def(), false);
  Buffer mask = make(4, 4, 16);
  RX_FillDeepUnoBuffer(0, mask.get());
  Aborter aborter;
  RX_ProgressInfo info = aborter.info();
  try {
    RX_MergeMaskAlpha(&info, 0, 0, nullptr, mask.get(), nullptr, &wrapper);
    FAIL() << "no throw";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_Interrupted);
  }
  EXPECT_EQ(world.at(2, 2).alpha, 1000);
}

TEST_F(MaskTest, MergeWithADamagedMaskIsReported) {
  TestWorld<RX_Pixel8> world(2, 2);
  RX_WorldX<RX_Pixel8> wrapper(*world.def(), false);
  EXPECT_THROW(RX_MergeMaskAlpha(nullptr, 0, 0, nullptr, nullptr, nullptr, &wrapper), RX_Err);
  EXPECT_EQ(damaged_reports(reports), 1u);
  Buffer mask = make(2, 2, 8);
  RX_FillUnoBuffer(255, mask.get());
  mask->magic = 7;
  world.at(0, 0).alpha = 9;
  EXPECT_NO_THROW(RX_MergeMaskAlpha(nullptr, 0, 0, nullptr, mask.get(), nullptr, &wrapper));
  EXPECT_EQ(world.at(0, 0).alpha, 9);
  EXPECT_EQ(damaged_reports(reports), 2u);
  mask->magic = RX_UnoBufferMagic;
}

TEST_F(MaskTest, MergeRowsSkipFullCoverageAndClearNone) {
  // Each row straight: white keeps alpha bit for bit, zero clears it.
  RX_PixelFloat f[3] = {{0.3f, 1, 2, 3}, {0.3f, 1, 2, 3}, {0.3f, 1, 2, 3}};
  const uint16_t m16[3] = {32768, 0, 16384};
  RX_MergeMaskRow16IntoFloat_S(3, m16, f);
  EXPECT_EQ(f[0].alpha, 0.3f);
  EXPECT_EQ(f[1].alpha, 0.0f);
  EXPECT_EQ(f[2].alpha, 0.3f * (16384.0f * 3.0517578e-5f));
  EXPECT_EQ(f[2].red, 1.0f);
  RX_Pixel16 d[2] = {{40000, 0, 0, 0}, {40000, 0, 0, 0}};
  const uint8_t m8[2] = {255, 254};
  RX_MergeMaskRow8Into16_S(2, m8, d);
  EXPECT_EQ(d[0].alpha, 40000);
  EXPECT_EQ(d[1].alpha, rnd16(int64_t((254 * 0x808080 + 33200) >> 16) * 40000));
}

}  // namespace
