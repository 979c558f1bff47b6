// Accumulate and transfer of mask buffers against references written out
// here: every uno mode at 8 and 16 bits, the 8-into-16 Add, the opacity
// forms, the masked transfer at three depths, the clearing of modes 3 and
// 5, and the clipping of rects and dst points over every edge.
#include <algorithm>
#include <cstdlib>
#include <optional>

#include "uno_test_support.h"
#include "cpu_words.h"
#include "variant_forms.h"

namespace {

using namespace unotest;

// ---- references ----

int64_t screen8(int64_t s, int64_t d, int64_t rounding = 128) {
  const int64_t p = (255 - s) * (255 - d) + rounding;
  return 255 - ((p + (p >> 8)) >> 8);
}

int64_t mode8(int mode, int64_t s, int64_t d) {
  switch (mode) {
    case 2: return rnd8((255 - s) * d);
    case 3: return rnd8(s * d);
    case 4: return std::max(s, d);
    case 5: return std::min(s, d);
    case 6: return std::abs(s - d);
    case 7: return std::min<int64_t>(s + d, 255);
    default: return screen8(s, d);  // 1, and every value the table does not know
  }
}

int64_t mode16(int mode, int64_t s, int64_t d) {
  switch (mode) {
    case 2: return rnd16((32768 - s) * d);
    case 3: return rnd16(s * d);
    case 4: return std::max(s, d);
    case 5: return std::min(s, d);
    case 6: return std::abs(s - d);
    case 7: return std::min<int64_t>(s + d, 32768);
    default: return 32768 - rnd16((32768 - s) * (32768 - d));  // 1 and -1
  }
}

// The dither table's words from the cursor on, as the package steps it.
struct NoiseReader {
  const uint32_t* cursor = RXp_G_DitherTable.cursor;
  uint32_t next() {
    const uint32_t w = *cursor++;
    if (cursor == RXp_G_DitherTable.end) cursor = RXp_G_DitherTable.start;
    return w;
  }
};

// The SSE2 row's noise: the row's word seeds four lanes, each unit of
// eight values takes one step of all four.
struct LaneNoise {
  uint32_t lane[4] = {};
  uint32_t values[8] = {};
  int used = 8;
  void seed(uint32_t w) {
    lane[0] = lane[2] = w;
    lane[1] = lane[3] = w + 1;
    used = 8;
  }
  int next() {
    static const uint32_t mul[4] = {214013u, 17405u, 214013u, 69069u};
    static const uint32_t inc[4] = {2531011u, 10395331u, 13737667u, 1u};
    if (used == 8) {
      for (int k = 0; k < 4; ++k) lane[k] = lane[k] * mul[k] + inc[k];
      for (int j = 0; j < 8; ++j) values[j] = (lane[j / 2] >> (16 * (j % 2))) & 0xff;
      used = 0;
    }
    return int(values[used++]);
  }
};

// Where the values of a two-buffer operation go: each source position of
// the rect, moved by dst_point - corner, lands if it is inside dst.
struct Placement {
  int dx = 0, dy = 0;
  GE_LRect rect{};
  bool lands(const RX_UnoBuffer* src, const RX_UnoBuffer* dst, int sx, int sy) const {
    if (sx < rect.left || sx >= rect.right || sy < rect.top || sy >= rect.bottom) return false;
    if (sx < 0 || sy < 0 || sx >= src->width || sy >= src->height) return false;
    const int tx = sx + dx, ty = sy + dy;
    return tx >= 0 && ty >= 0 && tx < dst->width && ty < dst->height;
  }
};

// Random geometry: sizes 1..20 (with 1 x N and N x 1 often), rects that
// hang over every edge, dst points that move the area partly or wholly out.
struct Geometry {
  int sw, sh, dw, dh;
  GE_LRect rect;
  std::optional<GE_LPoint> point;
  Placement placement() const {
    Placement p;
    p.rect = rect;
    if (point) {
      p.dx = point->x - rect.left;
      p.dy = point->y - rect.top;
    }
    return p;
  }
};

Geometry random_geometry(std::mt19937& rng) {
  auto side = [&] {
    const int r = int(rng() % 10);
    return r == 0 ? 1 : 1 + int(rng() % 20);
  };
  Geometry g{side(), side(), side(), side(), {}, std::nullopt};
  auto between = [&](int lo, int hi) { return lo + int(rng() % unsigned(hi - lo + 1)); };
  g.rect.left = between(-4, g.sw + 2);
  g.rect.right = between(g.rect.left - 1, g.sw + 5);
  g.rect.top = between(-4, g.sh + 2);
  g.rect.bottom = between(g.rect.top - 1, g.sh + 5);
  if (rng() % 4 != 0) g.point = GE_LPoint{between(-g.sw - 3, g.dw + 3), between(-g.sh - 3, g.dh + 3)};
  return g;
}

// Applies a per-value rule at every landing position of src into a copy of
// dst, in row order; clears the rest when the mode clears and anything
// landed. Returns the expected values of dst.
template <class V, class Rule>
std::vector<V> expected_after(const RX_UnoBuffer* src, const RX_UnoBuffer* dst, const Placement& p,
                              bool clears, Rule rule) {
  std::vector<V> out = snapshot<V>(dst);
  std::vector<bool> touched(out.size(), false);
  bool any = false;
  for (int sy = 0; sy < src->height; ++sy) {
    for (int sx = 0; sx < src->width; ++sx) {
      if (!p.lands(src, dst, sx, sy)) continue;
      const size_t t = size_t(sy + p.dy) * size_t(dst->width) + size_t(sx + p.dx);
      out[t] = rule(sx, sy, out[t]);
      touched[t] = true;
      any = true;
    }
  }
  if (clears && any) {
    for (size_t i = 0; i < out.size(); ++i) {
      if (!touched[i]) out[i] = V(0);
    }
  }
  return out;
}

bool clears(int mode) { return mode == 3 || mode == 5; }

const int kModes8[] = {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 42, -5};
const int kModes16[] = {-1, 1, 2, 3, 4, 5, 6, 7};

RX_Err accumulate_plain(const RX_UnoBuffer* src, int mode, const Geometry& g, RX_UnoBuffer* dst,
                        bool short_form) {
  if (short_form && !g.point) return RX_AccumulateUnoBuffers(nullptr, src, mode, g.rect, dst);
  return RX_AccumulateUnoBuffers(nullptr, src, mode, g.rect, g.point ? &*g.point : nullptr, dst);
}

// The noise of the dithered Screen as the installed row takes it: one
// table word a value in the plain form, one a row seeding the lanes in the
// SSE2 form.
class DitherNoise {
 public:
  explicit DitherNoise(bool vector) : vector_(vector) {}
  int next(int row) {
    if (!vector_) return int(table_.next() & 0xff);
    if (row != row_) {
      lanes_.seed(table_.next());
      row_ = row;
    }
    return lanes_.next();
  }

 private:
  bool vector_;
  NoiseReader table_;
  LaneNoise lanes_;
  int row_ = -1;
};

bool vector_dither_installed() { return KO_G_CPU_DataP[2] != 0; }

// ---- plain modes ----

TEST_F(MaskTest, EveryModeAtEightBitsMatchesItsRule) {
  std::mt19937 rng(101);
  for (int trial = 0; trial < 400; ++trial) {
    const int mode = kModes8[trial % std::size(kModes8)];
    const Geometry g = random_geometry(rng);
    Buffer src = make(g.sw, g.sh, 8), dst = make(g.dw, g.dh, 8);
    randomise_with_ends(src.get(), rng);
    randomise_with_ends(dst.get(), rng);
    DitherNoise noise(vector_dither_installed());
    const auto expected = expected_after<uint8_t>(
        src.get(), dst.get(), g.placement(), clears(mode), [&](int sx, int sy, uint8_t d) {
          const int s = at<uint8_t>(src.get(), sx, sy);
          return uint8_t(mode == -1 ? screen8(s, d, noise.next(sy)) : mode8(mode, s, d));
        });
    ASSERT_EQ(accumulate_plain(src.get(), mode, g, dst.get(), trial % 2), RX_Result_OK);
    ASSERT_EQ(snapshot<uint8_t>(dst.get()), expected) << "mode " << mode << " trial " << trial;
  }
}

TEST_F(MaskTest, EveryModeAtSixteenBitsMatchesItsRule) {
  std::mt19937 rng(102);
  for (int trial = 0; trial < 400; ++trial) {
    const int mode = kModes16[trial % std::size(kModes16)];
    const Geometry g = random_geometry(rng);
    Buffer src = make(g.sw, g.sh, 16), dst = make(g.dw, g.dh, 16);
    randomise_with_ends(src.get(), rng);
    randomise_with_ends(dst.get(), rng);
    const auto expected = expected_after<uint16_t>(
        src.get(), dst.get(), g.placement(), clears(mode),
        [&](int sx, int sy, uint16_t d) { return uint16_t(mode16(mode, at<uint16_t>(src.get(), sx, sy), d)); });
    ASSERT_EQ(accumulate_plain(src.get(), mode, g, dst.get(), trial % 2), RX_Result_OK);
    ASSERT_EQ(snapshot<uint16_t>(dst.get()), expected) << "mode " << mode << " trial " << trial;
  }
}

TEST_F(MaskTest, SixteenBitModesOutsideTheTableAreRefused) {
  Buffer src = make(4, 4, 16), dst = make(4, 4, 16);
  RX_FillDeepUnoBuffer(100, src.get());
  RX_FillDeepUnoBuffer(200, dst.get());
  for (int mode : {0, 8, -2, 99}) {
    EXPECT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), mode, GE_LRect{0, 0, 4, 4}, dst.get()),
              RX_Result_Internal);
  }
  for (uint16_t v : snapshot<uint16_t>(dst.get())) EXPECT_EQ(v, 200);
  EXPECT_EQ(reports.errors().size(), 4u);
}

TEST_F(MaskTest, AddOfEightBitsIntoSixteenWraps) {
  Buffer src = make(3, 1, 8), dst = make(3, 1, 16);
  at<uint8_t>(src.get(), 0, 0) = 1;
  at<uint8_t>(src.get(), 1, 0) = 255;
  at<uint8_t>(src.get(), 2, 0) = 10;
  at<uint16_t>(dst.get(), 0, 0) = 65535;
  at<uint16_t>(dst.get(), 1, 0) = 32768;
  at<uint16_t>(dst.get(), 2, 0) = 65530;
  ASSERT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), 7, GE_LRect{0, 0, 3, 1}, dst.get()), RX_Result_OK);
  EXPECT_EQ(at<uint16_t>(dst.get(), 0, 0), 0);
  EXPECT_EQ(at<uint16_t>(dst.get(), 1, 0), 33023);
  EXPECT_EQ(at<uint16_t>(dst.get(), 2, 0), 4);
}

TEST_F(MaskTest, MixedAddRowMatchesItsRule) {
  std::mt19937 rng(103);
  for (int trial = 0; trial < 200; ++trial) {
    const Geometry g = random_geometry(rng);
    Buffer src = make(g.sw, g.sh, 8), dst = make(g.dw, g.dh, 16);
    randomise(src.get(), rng);
    randomise(dst.get(), rng, true);
    const auto expected = expected_after<uint16_t>(
        src.get(), dst.get(), g.placement(), false,
        [&](int sx, int sy, uint16_t d) { return uint16_t(d + at<uint8_t>(src.get(), sx, sy)); });
    ASSERT_EQ(accumulate_plain(src.get(), 7, g, dst.get(), trial % 2), RX_Result_OK);
    ASSERT_EQ(snapshot<uint16_t>(dst.get()), expected) << trial;
  }
}

TEST_F(MaskTest, MixedDepthsHaveOnlyTheAddRow) {
  Buffer src = make(4, 4, 8), dst = make(4, 4, 16);
  RX_FillUnoBuffer(9, src.get());
  RX_FillDeepUnoBuffer(50, dst.get());
  EXPECT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), 1, GE_LRect{0, 0, 4, 4}, dst.get()), RX_Result_Internal);
  // A 16-bit source into 8 bits and float buffers have no rows at all.
  Buffer deep = make(4, 4, 16), small = make(4, 4, 8), f1 = make(4, 4, 32), f2 = make(4, 4, 32);
  EXPECT_EQ(RX_AccumulateUnoBuffers(nullptr, deep.get(), 7, GE_LRect{0, 0, 4, 4}, small.get()), RX_Result_Internal);
  EXPECT_EQ(RX_AccumulateUnoBuffers(nullptr, f1.get(), 7, GE_LRect{0, 0, 4, 4}, f2.get()), RX_Result_Internal);
  for (uint16_t v : snapshot<uint16_t>(dst.get())) EXPECT_EQ(v, 50);
}

// ---- clearing ----

TEST_F(MaskTest, EmptyClipLeavesModesThreeAndFiveUncleared) {
  for (int mode : {3, 5}) {
    for (int depth : {8, 16}) {
      Buffer src = make(4, 4, depth), dst = make(6, 6, depth);
      RX_FillUnoBuffer(200, src.get());
      RX_FillUnoBuffer(100, dst.get());
      const auto before = snapshot<uint8_t>(dst.get());
      const GE_LPoint far{100, 0}, left{-4, 2};
      EXPECT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), mode, GE_LRect{0, 0, 4, 4}, &far, dst.get()),
                RX_Result_OK);
      EXPECT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), mode, GE_LRect{2, 2, 2, 4}, dst.get()), RX_Result_OK);
      EXPECT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), mode, GE_LRect{0, 0, 4, 4}, &left, dst.get()),
                RX_Result_OK);
      Buffer mask = make(4, 4, depth);
      EXPECT_EQ(RX_TransferUnoBuffers(nullptr, src.get(), mask.get(), mode, GE_LRect{0, 0, 4, 4}, &far, dst.get()),
                RX_Result_OK);
      EXPECT_EQ(snapshot<uint8_t>(dst.get()), before);
    }
  }
}

TEST_F(MaskTest, ModeThreeOnOnePixelClearsEveryOtherValue) {
  Buffer src = make(5, 5, 8), dst = make(7, 6, 8);
  RX_FillUnoBuffer(255, src.get());
  RX_FillUnoBuffer(77, dst.get());
  const GE_LPoint point{3, 4};
  ASSERT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), 3, GE_LRect{1, 1, 2, 2}, &point, dst.get()), RX_Result_OK);
  for (int y = 0; y < 6; ++y) {
    for (int x = 0; x < 7; ++x) EXPECT_EQ(at<uint8_t>(dst.get(), x, y), (x == 3 && y == 4) ? 77 : 0);
  }
}

TEST_F(MaskTest, ModesThatDoNotClearLeaveTheRestAlone) {
  for (int mode : {1, 2, 4, 6, 7}) {
    Buffer src = make(3, 3, 8), dst = make(6, 6, 8);
    RX_FillUnoBuffer(10, src.get());
    RX_FillUnoBuffer(20, dst.get());
    const GE_LPoint point{2, 2};
    ASSERT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), mode, GE_LRect{0, 0, 3, 3}, &point, dst.get()),
              RX_Result_OK);
    EXPECT_EQ(at<uint8_t>(dst.get(), 0, 0), 20);
    EXPECT_EQ(at<uint8_t>(dst.get(), 5, 5), 20);
  }
}

// ---- opacity forms ----

TEST_F(MaskTest, OpacityFormsMatchTheirRules) {
  std::mt19937 rng(104);
  const float opacities[] = {0.0f, 0.25f, 0.5f, 0.7f, 1.0f};
  const int pairs[3][2] = {{8, 8}, {16, 16}, {8, 16}};
  const int modes[] = {-1, 1, 2, 3, 5, 7, 0};
  int checked_screen = 0, checked_dither = 0;
  for (int trial = 0; trial < 700; ++trial) {
    const int sd = pairs[trial % 3][0], dd = pairs[trial % 3][1];
    const int mode = modes[(trial / 3) % std::size(modes)];
    float limit_f = opacities[rng() % 5], opacity_f = opacities[rng() % 5];
    if (limit_f == 1.0f && opacity_f == 1.0f) opacity_f = 0.5f;  // the plain forms are tested above
    const Geometry g = random_geometry(rng);
    Buffer src = make(g.sw, g.sh, sd), dst = make(g.dw, g.dh, dd);
    randomise_with_ends(src.get(), rng);
    randomise_with_ends(dst.get(), rng);
    const int64_t white = sd == 16 ? 32768 : 255;
    const int64_t limit = uint16_t(int64_t(double(limit_f) * double(white) + 0.5));
    const int64_t o = uint16_t(int64_t(double(opacity_f) * double(white) + 0.5));
    NoiseReader noise;
    auto rule16 = [&](int sx, int sy, uint16_t dv) {
      const int64_t s = sd == 16 ? at<uint16_t>(src.get(), sx, sy) : at<uint8_t>(src.get(), sx, sy);
      const int64_t d = dv;
      const int64_t c = ((s * o + 16383) >> 15) & 0xffff;
      if (mode == 1 || mode == -1) return uint16_t(d < limit ? d + ((c * (limit - d)) >> 15) : d);
      return uint16_t(std::min<int64_t>(d + c, 32768));
    };
    auto rule8 = [&](int sx, int sy, uint8_t dv) {
      const int64_t s = at<uint8_t>(src.get(), sx, sy);
      const int64_t d = dv;
      const int64_t c = rnd8(s * o);
      if (mode == 1) return uint8_t(d < limit ? d + rnd8((limit - d) * c) : d);
      if (mode == -1) {
        const int64_t v = (noise.next() & 0xff) + (limit - d) * c;
        return uint8_t(d <= limit ? d + ((v + (v >> 8)) >> 8) : d);
      }
      return uint8_t(std::min<int64_t>(d + c, 255));
    };
    const GE_LPoint* point = g.point ? &*g.point : nullptr;
    if (dd == 16) {
      const auto expected = expected_after<uint16_t>(src.get(), dst.get(), g.placement(), clears(mode), rule16);
      ASSERT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), mode, limit_f, opacity_f, g.rect, point, dst.get()),
                RX_Result_OK);
      ASSERT_EQ(snapshot<uint16_t>(dst.get()), expected) << "trial " << trial;
    } else {
      const auto expected = expected_after<uint8_t>(src.get(), dst.get(), g.placement(), clears(mode), rule8);
      ASSERT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), mode, limit_f, opacity_f, g.rect, point, dst.get()),
                RX_Result_OK);
      ASSERT_EQ(snapshot<uint8_t>(dst.get()), expected) << "trial " << trial;
    }
    checked_screen += mode == 1;
    checked_dither += mode == -1;
  }
  EXPECT_GT(checked_screen, 50);
  EXPECT_GT(checked_dither, 50);
}

TEST_F(MaskTest, OpacityOfOneWithLimitOneIsThePlainForm) {
  std::mt19937 rng(105);
  Buffer src = make(9, 7, 16), a = make(9, 7, 16), b = make(9, 7, 16);
  randomise(src.get(), rng);
  randomise(a.get(), rng);
  std::memcpy(values<uint16_t>(b.get()), values<uint16_t>(a.get()), 9 * 7 * 2);
  const GE_LRect r{0, 0, 9, 7};
  ASSERT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), 2, 1.0f, 1.0f, r, nullptr, a.get()), RX_Result_OK);
  ASSERT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), 2, r, b.get()), RX_Result_OK);
  EXPECT_EQ(snapshot<uint16_t>(a.get()), snapshot<uint16_t>(b.get()));
}

// ---- the dithered Screen, plain and SSE2 forms ----

void check_dither_form(int vector) {
  std::mt19937 rng(106 + vector);
  using Row = void (*)(int32_t, const uint8_t*, uint8_t*);
  const Row row = rxtest::form<Row>("uno_mode_rows.dithered_screen8", vector != 0);
  ASSERT_NE(row, nullptr);
  for (int count = 0; count < 70; ++count) {
    std::vector<uint8_t> src(size_t(count) + 1), dst(size_t(count) + 1);
    for (auto& v : src) v = uint8_t(rng());
    for (auto& v : dst) v = uint8_t(rng());
    if (count % 5 == 0) {
      std::fill(src.begin(), src.end(), 0);
      std::fill(dst.begin(), dst.end(), 0);
    }
    const uint8_t guard = dst[size_t(count)];
    DitherNoise noise(vector != 0);
    std::vector<uint8_t> expected(dst);
    for (int i = 0; i < count; ++i) expected[size_t(i)] = uint8_t(screen8(src[size_t(i)], dst[size_t(i)], noise.next(0)));
    const uint32_t* cursor_before = RXp_G_DitherTable.cursor;
    row(count, src.data(), dst.data());
    ASSERT_EQ(dst, expected) << "count " << count;
    EXPECT_EQ(dst[size_t(count)], guard);
    // The plain form takes a word a value, the SSE2 form one a row.
    const ptrdiff_t words = RXp_G_DitherTable.cursor - cursor_before;
    const ptrdiff_t length = RXp_G_DitherTable.end - RXp_G_DitherTable.start;
    EXPECT_EQ((words + length) % length, vector ? (count ? 1 : 0) : count);
  }
}

TEST_F(MaskTest, PlainDitheredScreenTakesNoiseFromTheTable) { check_dither_form(0); }
TEST_F(MaskTest, VectorDitheredScreenTakesNoiseFromItsLanes) { check_dither_form(1); }

TEST_F(MaskTest, DitheredScreenWrapsAtTheEndOfTheTable) {
  const ptrdiff_t length = RXp_G_DitherTable.end - RXp_G_DitherTable.start;
  for (int vector : {0, 1}) {
    RXp_G_DitherTable.cursor = RXp_G_DitherTable.start + (length - 3);
    std::vector<uint8_t> src(10, 40), dst(10, 90);
    DitherNoise noise(vector != 0);
    std::vector<uint8_t> expected(dst);
    for (int i = 0; i < 10; ++i) expected[size_t(i)] = uint8_t(screen8(40, 90, noise.next(0)));
    using Row = void (*)(int32_t, const uint8_t*, uint8_t*);
    rxtest::form<Row>("uno_mode_rows.dithered_screen8", vector != 0)(10, src.data(), dst.data());
    EXPECT_EQ(dst, expected);
    EXPECT_EQ(RXp_G_DitherTable.cursor, RXp_G_DitherTable.start + (vector ? length - 2 : 7));
  }
  RX_ResetDitherRandomIndex();
}

TEST_F(MaskTest, DitherWithoutNoiseIsScreen) {
  // Noise of 128 is Screen's own rounding: the dithered result stays within
  // one of Screen's and averages to it.
  Buffer src = make(256, 64, 8), dst = make(256, 64, 8), plain = make(256, 64, 8);
  std::mt19937 rng(107);
  randomise(src.get(), rng);
  randomise(dst.get(), rng);
  std::memcpy(values<uint8_t>(plain.get()), values<uint8_t>(dst.get()), 256 * 64);
  const GE_LRect r{0, 0, 256, 64};
  RX_AccumulateUnoBuffers(nullptr, src.get(), -1, r, dst.get());
  RX_AccumulateUnoBuffers(nullptr, src.get(), 1, r, plain.get());
  double sum = 0;
  for (size_t i = 0; i < 256 * 64; ++i) {
    const int diff = int(values<uint8_t>(dst.get())[i]) - int(values<uint8_t>(plain.get())[i]);
    EXPECT_LE(std::abs(diff), 1);
    sum += diff;
  }
  EXPECT_LT(std::abs(sum) / (256 * 64), 0.05);
}

// Birth picks the dithered row for the processor: with SSE2 cleared, the
// plain form is installed.
class DitherForms : public rxtest::BornDuringTest {};

TEST_F(DitherForms, BirthWithoutSSE2InstallsThePlainRow) {
  for (bool sse2 : {false, true}) {
    born({{rxtest::kCpuWordSSE2, sse2}});
    Buffer src = make(13, 3, 8), dst = make(13, 3, 8);
    std::mt19937 rng(108);
    randomise(src.get(), rng);
    randomise(dst.get(), rng);
    DitherNoise noise(sse2);
    const auto expected = expected_after<uint8_t>(src.get(), dst.get(), Placement{0, 0, {0, 0, 13, 3}}, false,
                                                  [&](int sx, int sy, uint8_t d) {
                                                    return uint8_t(screen8(at<uint8_t>(src.get(), sx, sy), d, noise.next(sy)));
                                                  });
    ASSERT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), -1, GE_LRect{0, 0, 13, 3}, dst.get()), RX_Result_OK);
    EXPECT_EQ(snapshot<uint8_t>(dst.get()), expected) << sse2;
    die();
  }
}

// ---- transfer ----

TEST_F(MaskTest, TransferMatchesItsRuleAtEveryDepth) {
  std::mt19937 rng(109);
  for (int trial = 0; trial < 450; ++trial) {
    const int depth = trial % 3 == 0 ? 8 : trial % 3 == 1 ? 16 : 32;
    const int mode = int(rng() % 9) - 1;
    const Geometry g = random_geometry(rng);
    Buffer src = make(g.sw, g.sh, depth), mask = make(g.sw, g.sh, depth), dst = make(g.dw, g.dh, depth);
    randomise_with_ends(src.get(), rng);
    randomise_with_ends(mask.get(), rng);
    randomise_with_ends(dst.get(), rng);
    const GE_LPoint* point = g.point ? &*g.point : nullptr;
    if (depth == 8) {
      const auto expected = expected_after<uint8_t>(src.get(), dst.get(), g.placement(), clears(mode),
                                                    [&](int sx, int sy, uint8_t dv) {
                                                      const int s = at<uint8_t>(src.get(), sx, sy), d = dv;
                                                      const int m = at<uint8_t>(mask.get(), sx, sy);
                                                      const int t = m * (s - d) - (s < d ? 1 : 0) + 128;
                                                      return uint8_t(d + ((t + (t >> 8)) >> 8));
                                                    });
      ASSERT_EQ(RX_TransferUnoBuffers(nullptr, src.get(), mask.get(), mode, g.rect, point, dst.get()), RX_Result_OK);
      ASSERT_EQ(snapshot<uint8_t>(dst.get()), expected) << trial;
    } else if (depth == 16) {
      const auto expected = expected_after<uint16_t>(src.get(), dst.get(), g.placement(), clears(mode),
                                                     [&](int sx, int sy, uint16_t dv) {
                                                       const int64_t s = at<uint16_t>(src.get(), sx, sy), d = dv;
                                                       const int64_t m = at<uint16_t>(mask.get(), sx, sy);
                                                       return uint16_t(s > d ? d + rnd16(m * (s - d)) : d - rnd16(m * (d - s)));
                                                     });
      ASSERT_EQ(RX_TransferUnoBuffers(nullptr, src.get(), mask.get(), mode, g.rect, point, dst.get()), RX_Result_OK);
      ASSERT_EQ(snapshot<uint16_t>(dst.get()), expected) << trial;
    } else {
      const auto expected = expected_after<float>(src.get(), dst.get(), g.placement(), clears(mode),
                                                  [&](int sx, int sy, float d) {
                                                    const float s = at<float>(src.get(), sx, sy);
                                                    return d + (s - d) * at<float>(mask.get(), sx, sy);
                                                  });
      ASSERT_EQ(RX_TransferUnoBuffers(nullptr, src.get(), mask.get(), mode, g.rect, point, dst.get()), RX_Result_OK);
      ASSERT_EQ(snapshot<float>(dst.get()), expected) << trial;
    }
  }
}

TEST_F(MaskTest, TransferOfEveryEightBitTripleMatchesItsRule) {
  // All of s, d at two mask values and all masks at two differences.
  Buffer src = make(256, 256, 8), mask = make(256, 256, 8), dst = make(256, 256, 8);
  for (int m : {1, 128, 254, 255}) {
    for (int y = 0; y < 256; ++y) {
      for (int x = 0; x < 256; ++x) {
        at<uint8_t>(src.get(), x, y) = uint8_t(x);
        at<uint8_t>(dst.get(), x, y) = uint8_t(y);
        at<uint8_t>(mask.get(), x, y) = uint8_t(m);
      }
    }
    ASSERT_EQ(RX_TransferUnoBuffers(nullptr, src.get(), mask.get(), 1, GE_LRect{0, 0, 256, 256}, nullptr, dst.get()),
              RX_Result_OK);
    for (int y = 0; y < 256; ++y) {
      for (int x = 0; x < 256; ++x) {
        const double exact = y + (x - y) * m / 255.0;
        ASSERT_LE(std::abs(at<uint8_t>(dst.get(), x, y) - exact), 0.5 + 1e-9) << x << " " << y << " " << m;
      }
    }
  }
}

TEST_F(MaskTest, TransferRefusesAMaskOrDestinationOfAnotherShape) {
  Buffer src = make(4, 4, 8), small_mask = make(3, 4, 8), deep_mask = make(4, 4, 16);
  Buffer mask = make(4, 4, 8), deep_dst = make(4, 4, 16);
  const GE_LRect r{0, 0, 4, 4};
  EXPECT_EQ(RX_TransferUnoBuffers(nullptr, src.get(), small_mask.get(), 1, r, nullptr, mask.get()), RX_Result_Internal);
  EXPECT_EQ(RX_TransferUnoBuffers(nullptr, src.get(), deep_mask.get(), 1, r, nullptr, mask.get()), RX_Result_Internal);
  EXPECT_EQ(RX_TransferUnoBuffers(nullptr, src.get(), mask.get(), 1, r, nullptr, deep_dst.get()), RX_Result_Internal);
  EXPECT_EQ(reports.errors().size(), 3u);
}

// ---- iteration and abort ----

int g_generic_calls = 0;
RX_Err counting_iterate(int32_t count, void* refcon, RX_GenericIterFunc func) {
  ++g_generic_calls;
  return RX_IterateGeneric_Static(count, refcon, func);
}

TEST_F(MaskTest, SmallAccumulatesStaySerialAndLargeOnesUseTheSlot) {
  RX_SetOverrideFunc(53, reinterpret_cast<void (*)(void)>(&counting_iterate));
  Buffer src = make(320, 240, 8), dst = make(320, 240, 8);
  RX_FillUnoBuffer(10, src.get());
  RX_FillUnoBuffer(10, dst.get());
  g_generic_calls = 0;
  ASSERT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), 7, GE_LRect{0, 0, 320, 239}, dst.get()), RX_Result_OK);
  EXPECT_EQ(g_generic_calls, 0);  // 76480 values
  ASSERT_EQ(RX_AccumulateUnoBuffers(nullptr, src.get(), 7, GE_LRect{0, 0, 320, 240}, dst.get()), RX_Result_OK);
  EXPECT_EQ(g_generic_calls, 1);  // 76800 values
  EXPECT_EQ(at<uint8_t>(dst.get(), 0, 0), 30);
  EXPECT_EQ(at<uint8_t>(dst.get(), 0, 239), 20);
  // The transfer always goes through the slot.
  Buffer mask = make(320, 240, 8);
  ASSERT_EQ(RX_TransferUnoBuffers(nullptr, src.get(), mask.get(), 1, GE_LRect{0, 0, 2, 2}, nullptr, dst.get()),
            RX_Result_OK);
  EXPECT_EQ(g_generic_calls, 2);
}

TEST_F(MaskTest, AccumulateAndTransferStopWhenAborted) {
  Buffer src = make(8, 8, 8), dst = make(8, 8, 8), mask = make(8, 8, 8);
  RX_FillUnoBuffer(100, src.get());
  RX_FillUnoBuffer(255, mask.get());
  RX_FillUnoBuffer(3, dst.get());
  Aborter aborter;
  RX_ProgressInfo info = aborter.info();
  const GE_LRect r{0, 0, 8, 8};
  EXPECT_EQ(RX_AccumulateUnoBuffers(&info, src.get(), 7, r, dst.get()), RX_Result_Interrupted);
  EXPECT_EQ(RX_AccumulateUnoBuffers(&info, src.get(), 1, 0.5f, 0.5f, r, nullptr, dst.get()), RX_Result_Interrupted);
  EXPECT_EQ(RX_TransferUnoBuffers(&info, src.get(), mask.get(), 1, r, nullptr, dst.get()), RX_Result_Interrupted);
  EXPECT_EQ(aborter.asked, 3);
  for (uint8_t v : snapshot<uint8_t>(dst.get())) EXPECT_EQ(v, 3);
}

}  // namespace
