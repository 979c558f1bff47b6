// The high quality copies, RX_CopyBits_HQ_Straight and RX_CopyBits_HQ_Premul:
// equal sizes copy like the draft; other sizes are resampled, one sampler
// call per destination pixel, subpixel when enlarging and area when either
// step shrinks. Expected pixels are computed here by calling the same
// sampler at the positions the rules give: steps (size << 16) / size, the
// first position at the centre of the first destination pixel,
// (left << 16) + step / 2 - 0x8000, moved on by the overhang of a negative
// destination corner.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "painted_worlds.h"
#include "RX_AreaSampling.h"
#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;
using rxtest::TestWorld;

// ---- test pictures ----

template <class Px>
Px varied_pixel(int32_t x, int32_t y, int32_t seed) {
  const int32_t k = x * 37 + y * 91 + seed * 17;
  Px p{};
  if constexpr (sizeof(Px) == 4) {
    p = {uint8_t(k * 53 + 11), uint8_t(k * 29 + 200), uint8_t(k * 71 + 3), uint8_t(k * 13 + 97)};
    if (k % 5 == 0) p.alpha = 255;
    if (k % 7 == 0) p.alpha = 0;
  } else if constexpr (sizeof(Px) == 8) {
    auto v = [&](int32_t ch) { return uint16_t((k * 53 + ch * 7919) % 32769); };
    p = {v(0), v(1), v(2), v(3)};
    if (k % 5 == 0) p.alpha = 32768;
  } else {
    auto v = [&](int32_t ch) { return float((k * 53 + ch * 31) % 150 - 30) / 64.0f; };
    p = {v(0), v(1), v(2), v(3)};
    if (k % 5 == 0) p.alpha = 1.0f;
  }
  return p;
}

constexpr uint8_t kPadding = 0xC3;

template <class Px>
void paint(TestWorld<Px>& w, int32_t seed) {
  rxtest::paint(w, [seed](int32_t x, int32_t y) { return varied_pixel<Px>(x, y, seed); }, kPadding);
}

// The bytes of a world's rows, padding included.
template <class Px>
using Raw = rxtest::RawRows<Px>;

using rxtest::rows_equal;

// ---- the samplers the copy is to use ----

template <class Px>
using Sampler = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, Px*);

template <class Px>
Sampler<Px> subpixel_sampler() {
  if constexpr (sizeof(Px) == 4) return reinterpret_cast<Sampler<Px>>(RXp_G_OverFuncs[3]);
  else if constexpr (sizeof(Px) == 8) return reinterpret_cast<Sampler<Px>>(RXp_G_OverFuncs[64]);
  else return &RX_SubpixelCPlusPlusFloat;
}
template <class Px>
Sampler<Px> area_sampler() {
  if constexpr (sizeof(Px) == 4) return reinterpret_cast<Sampler<Px>>(RXp_G_OverFuncs[5]);
  else if constexpr (sizeof(Px) == 8) return reinterpret_cast<Sampler<Px>>(RXp_G_OverFuncs[65]);
  else return &RX_AreaSample_CPlusPlus<RX_PixelFloat>;
}
Sampler<RX_Pixel8> premul_subpixel_sampler() {
  return reinterpret_cast<Sampler<RX_Pixel8>>(RXp_G_OverFuncs[4]);
}
Sampler<RX_Pixel8> premul_area_sampler() {
  return reinterpret_cast<Sampler<RX_Pixel8>>(RXp_G_OverFuncs[6]);
}

// ---- the resampling, written plainly ----

struct Steps {
  int32_t step_x, step_y;
  bool shrinking;
  RX_SampPB pb;
  int32_t x0, y0;
};

// Steps, sample block and first position for a source rectangle s and a
// destination rectangle d (both as given).
Steps steps_for(const GE_LRect& s, const GE_LRect& d, const RX_LayerDef* src) {
  Steps st{};
  st.step_x = ((s.right - s.left) << 16) / (d.right - d.left);
  st.step_y = ((s.bottom - s.top) << 16) / (d.bottom - d.top);
  st.shrinking = st.step_x > 0x10000 || st.step_y > 0x10000;
  st.pb.x_radius = st.step_x / 2;
  st.pb.y_radius = st.step_y / 2;
  st.pb.area = uint32_t(double(st.step_x) * double(st.step_y) * 1.52587890625e-5);
  st.pb.src = src;
  st.x0 = (s.left << 16) + st.step_x / 2 - 32768;
  st.y0 = (s.top << 16) + st.step_y / 2 - 32768;
  return st;
}

template <class Px>
void resample_reference(const RX_LayerDef* src, Raw<Px>& dst, const GE_LRect& s, GE_LRect d,
                        Sampler<Px> subpixel, Sampler<Px> area) {
  const Steps st = steps_for(s, d, src);
  const Sampler<Px> sample = st.shrinking ? area : subpixel;
  int32_t x0 = st.x0, y0 = st.y0;
  if (d.left < 0) {
    x0 += -d.left * st.step_x;
    d.left = 0;
  }
  if (d.top < 0) {
    y0 += -d.top * st.step_y;
    d.top = 0;
  }
  d.right = std::min(d.right, dst.width);
  d.bottom = std::min(d.bottom, dst.height);
  int32_t y = y0;
  for (int32_t dy = d.top; dy < d.bottom; ++dy, y += st.step_y) {
    int32_t x = x0;
    for (int32_t dx = d.left; dx < d.right; ++dx, x += st.step_x) {
      Px p{};
      sample(nullptr, x, y, &st.pb, &p);
      dst.put(dx, dy, p);
    }
  }
}

template <class Px>
int32_t depth_of() {
  return TestWorld<Px>::depth();
}

struct ScaleCase {
  const char* what;
  GE_LRect src, dst;  // source world 7 x 6, destination world 10 x 9
};

const ScaleCase kScaleCases[] = {
    {"whole into whole, enlarging", {0, 0, 7, 6}, {0, 0, 10, 9}},
    {"shrinking both ways", {0, 0, 7, 6}, {1, 1, 4, 3}},
    {"wider and shorter", {1, 0, 4, 6}, {0, 0, 9, 3}},
    {"wider, same height", {0, 0, 3, 4}, {2, 1, 8, 5}},
    {"narrower, same height", {0, 1, 7, 5}, {3, 2, 6, 6}},
    {"destination over the left and top edges", {0, 0, 5, 4}, {-2, -3, 8, 9}},
    {"destination over the right and bottom edges", {1, 1, 6, 5}, {4, 5, 14, 13}},
    {"source over every edge", {-2, -1, 9, 7}, {0, 0, 10, 9}},
    {"shrinking into a corner over the left and top", {0, 0, 7, 6}, {-1, -1, 3, 2}},
    {"a large shrink", {0, 0, 7, 6}, {5, 5, 6, 6}},
};

template <class Px>
class HQCopyDepths : public rxtest::BornPackage {};
TYPED_TEST_SUITE(HQCopyDepths, rxtest::AllPixelTypes);

TYPED_TEST(HQCopyDepths, ResamplingMatchesOneSamplerCallPerPixel) {
  using Px = TypeParam;
  for (const ScaleCase& c : kScaleCases) {
    SCOPED_TRACE(c.what);
    TestWorld<Px> src(7, 6, 16, 0);
    TestWorld<Px> dst(10, 9, 32, 0);
    paint(src, 1);
    paint(dst, 2);
    Raw<Px> expected(dst);
    resample_reference<Px>(src.def(), expected, c.src, c.dst, subpixel_sampler<Px>(),
                           area_sampler<Px>());
    ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), &c.src, &c.dst), RX_Result_OK);
    ASSERT_TRUE(rows_equal(expected, dst));
  }
}

TYPED_TEST(HQCopyDepths, NullRectanglesAreTheWholeWorlds) {
  using Px = TypeParam;
  TestWorld<Px> src(7, 6), dst(3, 4);
  paint(src, 3);
  paint(dst, 4);
  Raw<Px> expected(dst);
  resample_reference<Px>(src.def(), expected, {0, 0, 7, 6}, {0, 0, 3, 4}, subpixel_sampler<Px>(),
                         area_sampler<Px>());
  ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  EXPECT_TRUE(rows_equal(expected, dst));
}

TYPED_TEST(HQCopyDepths, EqualSizesCopyExactlyLikeTheDraft) {
  using Px = TypeParam;
  struct {
    const char* what;
    bool null_rects;
    GE_LRect src, dst;
  } cases[] = {
      {"whole worlds", true, {}, {}},
      {"equal rectangles", false, {1, 1, 4, 3}, {1, 1, 4, 3}},
      {"moved rectangle", false, {1, 1, 4, 3}, {2, 0, 5, 2}},
      {"equal rectangles at negative coordinates", false, {-1, 0, 3, 2}, {-1, 0, 3, 2}},
      {"moved over the destination's right and bottom", false, {0, 0, 4, 3}, {6, 5, 10, 8}},
      {"moved over the destination's left", false, {2, 1, 6, 4}, {-2, 0, 2, 3}},
      {"source over its left edge, moved", false, {-2, 1, 3, 4}, {1, 1, 6, 4}},
      {"source over its bottom edge, moved", false, {4, 5, 8, 9}, {0, 0, 4, 4}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TestWorld<Px> src(9, 7, 8, 4);
    TestWorld<Px> hq(9, 7, 24, 0), draft(9, 7, 24, 0);
    paint(src, 5);
    paint(hq, 6);
    paint(draft, 6);
    const GE_LRect* sr = c.null_rects ? nullptr : &c.src;
    const GE_LRect* dr = c.null_rects ? nullptr : &c.dst;
    ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), draft.def(), sr, dr), RX_Result_OK);
    ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), hq.def(), sr, dr), RX_Result_OK);
    EXPECT_TRUE(rows_equal(Raw<Px>(draft), hq));
  }
}

template <class Px>
RX_LayerDef upside_down(TestWorld<Px>& memory) {
  RX_LayerDef def = *memory.def();
  def.data = &memory.at(0, memory.height() - 1);
  def.row_stride = -def.row_stride;
  return def;
}

TYPED_TEST(HQCopyDepths, NegativeRowStridesAreFollowedUpwards) {
  using Px = TypeParam;
  const GE_LRect cases[][2] = {{{0, 0, 7, 6}, {0, 0, 10, 9}},
                               {{0, 0, 7, 6}, {1, 1, 4, 3}},
                               {{1, 1, 4, 3}, {3, 2, 6, 4}},
                               {{0, 0, 5, 4}, {-2, -3, 8, 9}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c[1].left << "," << c[1].top << "," << c[1].right);
    TestWorld<Px> src(7, 6, 16), flipped_src(7, 6, 16);
    paint(src, 1);
    for (int32_t y = 0; y < 6; ++y)
      for (int32_t x = 0; x < 7; ++x) flipped_src.at(x, 5 - y) = src.at(x, y);
    TestWorld<Px> dst(10, 9), flipped_dst(10, 9);
    paint(dst, 2);
    for (int32_t y = 0; y < 9; ++y)
      for (int32_t x = 0; x < 10; ++x) flipped_dst.at(x, 8 - y) = dst.at(x, y);
    RX_LayerDef up_src = upside_down(flipped_src), up_dst = upside_down(flipped_dst);
    ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), &c[0], &c[1]), RX_Result_OK);
    ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, &up_src, &up_dst, &c[0], &c[1]), RX_Result_OK);
    for (int32_t y = 0; y < 9; ++y)
      for (int32_t x = 0; x < 10; ++x)
        ASSERT_TRUE(rxtest::same_pixel(flipped_dst.at(x, 8 - y), dst.at(x, y))) << x << ", " << y;
  }
}

// ---- abort ----

struct AbortRecord {
  int abort_calls = 0;
  int progress_calls = 0;
  int stop_at_call = 0;  // 0: never
  RX_Err code = 0;
};

RX_Err counting_abort(void* refcon) {
  auto* r = static_cast<AbortRecord*>(refcon);
  ++r->abort_calls;
  return r->abort_calls == r->stop_at_call ? r->code : RX_Result_OK;
}
RX_Err counting_progress(void* refcon, int32_t, int32_t) {
  ++static_cast<AbortRecord*>(refcon)->progress_calls;
  return 99;
}

TYPED_TEST(HQCopyDepths, AbortIsAskedBeforeRowsZero64And128AndNeverProgress) {
  using Px = TypeParam;
  TestWorld<Px> src(3, 33), dst(4, 130);
  paint(src, 1);
  paint(dst, 2);
  Raw<Px> expected(dst);
  resample_reference<Px>(src.def(), expected, {0, 0, 3, 33}, {0, 0, 4, 130}, subpixel_sampler<Px>(),
                         area_sampler<Px>());
  AbortRecord record;
  const RX_ProgressInfo progress{&record, &counting_abort, &counting_progress};
  ASSERT_EQ(RX_CopyBits_HQ_Straight(&progress, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  EXPECT_EQ(record.abort_calls, 3);
  EXPECT_EQ(record.progress_calls, 0);
  EXPECT_TRUE(rows_equal(expected, dst));
}

TYPED_TEST(HQCopyDepths, AbortAtRowZeroStopsBeforeAnyPixelWithItsCode) {
  using Px = TypeParam;
  TestWorld<Px> src(3, 33), dst(4, 130);
  paint(src, 1);
  paint(dst, 2);
  const Raw<Px> before(dst);
  AbortRecord record;
  record.stop_at_call = 1;
  record.code = RX_Result_Interrupted;
  const RX_ProgressInfo progress{&record, &counting_abort, nullptr};
  EXPECT_EQ(RX_CopyBits_HQ_Straight(&progress, src.def(), dst.def(), nullptr, nullptr),
            RX_Result_Interrupted);
  EXPECT_EQ(record.abort_calls, 1);
  EXPECT_TRUE(rows_equal(before, dst));
}

TYPED_TEST(HQCopyDepths, AbortAtRow64KeepsTheFirst64Rows) {
  using Px = TypeParam;
  TestWorld<Px> src(3, 33), dst(4, 130);
  paint(src, 1);
  paint(dst, 2);
  const Raw<Px> before(dst);
  Raw<Px> full(dst);
  resample_reference<Px>(src.def(), full, {0, 0, 3, 33}, {0, 0, 4, 130}, subpixel_sampler<Px>(),
                         area_sampler<Px>());
  Raw<Px> expected = before;
  std::memcpy(expected.bytes.data(), full.bytes.data(), size_t(64) * full.stride);
  AbortRecord record;
  record.stop_at_call = 2;
  record.code = 4321;
  const RX_ProgressInfo progress{&record, &counting_abort, nullptr};
  EXPECT_EQ(RX_CopyBits_HQ_Straight(&progress, src.def(), dst.def(), nullptr, nullptr), 4321);
  EXPECT_EQ(record.abort_calls, 2);
  EXPECT_TRUE(rows_equal(expected, dst));
}

// ---- refusals ----

class HQCopy : public rxtest::BornPackage {};

TEST_F(HQCopy, DifferentDepthsAreReportedAndRefused) {
  TestWorld<RX_Pixel8> eight(4, 4);
  TestWorld<RX_Pixel16> deep(4, 4);
  TestWorld<RX_PixelFloat> flt(4, 4);
  paint(eight, 1);
  paint(deep, 2);
  paint(flt, 3);
  const Raw<RX_Pixel8> eight_before(eight);
  const Raw<RX_Pixel16> deep_before(deep);
  const Raw<RX_PixelFloat> flt_before(flt);
  const std::pair<RX_LayerDef*, RX_LayerDef*> pairs[] = {
      {eight.def(), deep.def()}, {eight.def(), flt.def()}, {deep.def(), eight.def()},
      {deep.def(), flt.def()},   {flt.def(), eight.def()}, {flt.def(), deep.def()}};
  for (const auto& [s, d] : pairs) {
    ReportCapture capture;
    EXPECT_EQ(RX_CopyBits_HQ_Straight(nullptr, s, d, nullptr, nullptr), RX_Result_Internal);
    const auto errors = capture.errors();
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].location, 0x25004F);
    EXPECT_EQ(errors[0].text,
              "RX_CopyBits_HQ_Straight_Static requires src and dst worlds to have same bit depth");
  }
  EXPECT_TRUE(rows_equal(eight_before, eight));
  EXPECT_TRUE(rows_equal(deep_before, deep));
  EXPECT_TRUE(rows_equal(flt_before, flt));
}

TEST_F(HQCopy, RectanglesThatMissTheirWorldCopyNothing) {
  TestWorld<RX_Pixel16> src(4, 3), dst(6, 5);
  paint(src, 1);
  paint(dst, 2);
  const Raw<RX_Pixel16> before(dst);
  const GE_LRect at_width{4, 0, 6, 3}, at_height{0, 5, 2, 7}, inside{0, 0, 2, 2},
      empty{1, 1, 3, 1}, left{-3, 0, 0, 2};
  EXPECT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), &at_width, &inside), 0);
  EXPECT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), &inside, &at_height), 0);
  EXPECT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), &inside, &empty), 0);
  EXPECT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), &left, nullptr), 0);
  EXPECT_TRUE(rows_equal(before, dst));
}

class OddDepthWorld : public RX_WorldX<RX_Pixel8> {
 public:
  using RX_WorldX<RX_Pixel8>::RX_WorldX;
  int16_t Depth() const override { return 24; }
};

TEST_F(HQCopy, TwoWorldsOfOneUnknownDepthAreReportedAndRefused) {
  TestWorld<RX_Pixel8> a(3, 3), b(3, 3);
  paint(a, 1);
  paint(b, 2);
  const Raw<RX_Pixel8> before(b);
  OddDepthWorld odd_a(*a.def(), false), odd_b(*b.def(), false);
  ReportCapture capture;
  EXPECT_EQ(RX_CopyBits_HQ_Straight(nullptr, &odd_a.LayerDef(), &odd_b.LayerDef(), nullptr, nullptr),
            RX_Result_Internal);
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].text, "Unknown world bitdepth in##CONDITIONNAME");
  EXPECT_TRUE(rows_equal(before, b));
}

void expect_null_refusals(RX_CopyBitsFunc copy, int32_t location) {
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
    EXPECT_EQ(copy(nullptr, c.s, c.d, nullptr, nullptr), RX_Result_Internal);
    const auto errors = capture.errors();
    ASSERT_FALSE(errors.empty());
    for (const auto& e : errors) {
      EXPECT_EQ(e.location, location);
      EXPECT_EQ(e.report_class, 8);
      EXPECT_EQ(e.text, "bad parameter passed to effect callback");
    }
  }
}

TEST_F(HQCopy, StraightNullWorldsAndDataAreReportedAtLocation49) {
  expect_null_refusals(&RX_CopyBits_HQ_Straight, 0x250031);
}

TEST_F(HQCopy, PremultipliedNullWorldsAndDataAreReportedAtLocation50) {
  expect_null_refusals(&RX_CopyBits_HQ_Premul, 0x250032);
}

// ---- which sampler, where, with which block ----

struct SamplerCall {
  int32_t x, y;
  RX_SampPB pb;
};
std::vector<SamplerCall> g_subpixel_calls, g_area_calls;

template <class Px>
RX_Err recording_subpixel(void*, int32_t x, int32_t y, const RX_SampPB* pb, Px* result) {
  g_subpixel_calls.push_back({x, y, *pb});
  *result = Px{};
  result->red = 1;
  return 0;
}
template <class Px>
RX_Err recording_area(void*, int32_t x, int32_t y, const RX_SampPB* pb, Px* result) {
  g_area_calls.push_back({x, y, *pb});
  *result = Px{};
  result->red = 2;
  return 0;
}

template <class Px>
class HQCopySamplerChoice : public rxtest::BornPackage {
 protected:
  void SetUp() override {
    BornPackage::SetUp();
    g_subpixel_calls.clear();
    g_area_calls.clear();
    const bool eight = sizeof(Px) == 4;
    ASSERT_EQ(RX_SetOverrideFunc(eight ? 3 : 64, reinterpret_cast<void (*)()>(&recording_subpixel<Px>)),
              RX_Result_OK);
    ASSERT_EQ(RX_SetOverrideFunc(eight ? 5 : 65, reinterpret_cast<void (*)()>(&recording_area<Px>)),
              RX_Result_OK);
  }
};
using SlotPixelTypes = ::testing::Types<RX_Pixel8, RX_Pixel16>;
TYPED_TEST_SUITE(HQCopySamplerChoice, SlotPixelTypes);

TYPED_TEST(HQCopySamplerChoice, AShrinkByExactlyOneUsesTheSubpixelSampler) {
  using Px = TypeParam;
  // Four columns into four (a step of exactly 0x10000), two rows into three.
  TestWorld<Px> src(4, 2), dst(4, 3);
  ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  EXPECT_TRUE(g_area_calls.empty());
  ASSERT_EQ(g_subpixel_calls.size(), 12u);
  const int32_t step_y = (2 << 16) / 3;  // 43690
  for (int32_t j = 0; j < 3; ++j) {
    for (int32_t i = 0; i < 4; ++i) {
      const SamplerCall& c = g_subpixel_calls[size_t(j * 4 + i)];
      EXPECT_EQ(c.x, 0 + 0x10000 / 2 - 0x8000 + i * 0x10000) << i << ", " << j;
      EXPECT_EQ(c.y, 0 + step_y / 2 - 0x8000 + j * step_y) << i << ", " << j;
      EXPECT_EQ(c.pb.x_radius, 0x8000);
      EXPECT_EQ(c.pb.y_radius, step_y / 2);
      EXPECT_EQ(c.pb.area, uint32_t(43690));  // trunc(0x10000 * 43690 * 2^-16)
      ASSERT_NE(c.pb.src, nullptr);
      EXPECT_EQ(c.pb.src->data, src.def()->data);
      EXPECT_EQ(c.pb.src->width, 4);
      EXPECT_EQ(c.pb.src->height, 2);
      EXPECT_EQ(c.pb.src->row_stride, src.def()->row_stride);
      EXPECT_EQ(dst.at(i, j).red, 1);
    }
  }
}

TYPED_TEST(HQCopySamplerChoice, AShrinkByTwoUsesTheAreaSampler) {
  using Px = TypeParam;
  TestWorld<Px> src(8, 4), dst(4, 2);
  ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  EXPECT_TRUE(g_subpixel_calls.empty());
  ASSERT_EQ(g_area_calls.size(), 8u);
  for (int32_t j = 0; j < 2; ++j) {
    for (int32_t i = 0; i < 4; ++i) {
      const SamplerCall& c = g_area_calls[size_t(j * 4 + i)];
      // Step 0x20000: the first centre lies between source pixels 0 and 1.
      EXPECT_EQ(c.x, 0x8000 + i * 0x20000) << i << ", " << j;
      EXPECT_EQ(c.y, 0x8000 + j * 0x20000) << i << ", " << j;
      EXPECT_EQ(c.pb.x_radius, 0x10000);
      EXPECT_EQ(c.pb.y_radius, 0x10000);
      EXPECT_EQ(c.pb.area, 0x40000u);
      ASSERT_NE(c.pb.src, nullptr);
      EXPECT_EQ(c.pb.src->data, src.def()->data);
      EXPECT_EQ(c.pb.src->width, 8);
      EXPECT_EQ(dst.at(i, j).red, 2);
    }
  }
}

TYPED_TEST(HQCopySamplerChoice, OneShrinkingStepIsEnoughForTheAreaSampler) {
  using Px = TypeParam;
  // Enlarging across (step 0x8000), shrinking down (step 0x18000).
  TestWorld<Px> src(2, 3), dst(4, 2);
  ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  EXPECT_TRUE(g_subpixel_calls.empty());
  ASSERT_EQ(g_area_calls.size(), 8u);
  EXPECT_EQ(g_area_calls[0].pb.x_radius, 0x4000);
  EXPECT_EQ(g_area_calls[0].pb.y_radius, 0xC000);
  EXPECT_EQ(g_area_calls[0].pb.area, 0xC000u);  // trunc(0x8000 * 0x18000 * 2^-16)
  EXPECT_EQ(g_area_calls[0].x, 0x4000 - 0x8000);
  EXPECT_EQ(g_area_calls[0].y, 0xC000 - 0x8000);
}

TYPED_TEST(HQCopySamplerChoice, TheAreaIsTruncatedFromTheProductOfTheSteps) {
  using Px = TypeParam;
  // Steps (7 << 16) / 3 = 152917 and (6 << 16) / 4 = 98304: the area
  // 152917 * 98304 * 2^-16 = 229375.5 is truncated.
  TestWorld<Px> src(7, 6), dst(3, 4);
  ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  ASSERT_EQ(g_area_calls.size(), 12u);
  EXPECT_EQ(g_area_calls[0].pb.x_radius, 76458);
  EXPECT_EQ(g_area_calls[0].pb.y_radius, 49152);
  EXPECT_EQ(g_area_calls[0].pb.area, 229375u);
  EXPECT_EQ(g_area_calls[0].x, 76458 - 32768);
  EXPECT_EQ(g_area_calls[0].y, 49152 - 32768);
  EXPECT_EQ(g_area_calls[2].x, 76458 - 32768 + 2 * 152917);
  EXPECT_EQ(g_area_calls[11].y, 49152 - 32768 + 3 * 98304);
}

TYPED_TEST(HQCopySamplerChoice, EqualSizesCallNoSampler) {
  using Px = TypeParam;
  TestWorld<Px> src(5, 3), dst(5, 3);
  paint(src, 1);
  ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  const GE_LRect a{0, 0, 3, 2}, b{2, 1, 5, 3};
  ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), &a, &b), RX_Result_OK);
  EXPECT_TRUE(g_subpixel_calls.empty());
  EXPECT_TRUE(g_area_calls.empty());
}

TYPED_TEST(HQCopySamplerChoice, ANegativeDestinationCornerMovesTheStartByItsOverhang) {
  using Px = TypeParam;
  TestWorld<Px> src(4, 4), dst(6, 6);
  // Source 4 x 4 into destination (-2, -1, 6, 7): steps 0x8000 both ways.
  const GE_LRect sr{0, 0, 4, 4}, dr{-2, -1, 6, 7};
  ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), &sr, &dr), RX_Result_OK);
  ASSERT_EQ(g_subpixel_calls.size(), 36u);  // columns 0..5, rows 0..5
  const int32_t x0 = 0x4000 - 0x8000 + 2 * 0x8000, y0 = 0x4000 - 0x8000 + 1 * 0x8000;
  EXPECT_EQ(g_subpixel_calls[0].x, x0);
  EXPECT_EQ(g_subpixel_calls[0].y, y0);
  EXPECT_EQ(g_subpixel_calls[35].x, x0 + 5 * 0x8000);
  EXPECT_EQ(g_subpixel_calls[35].y, y0 + 5 * 0x8000);
}

// ---- premultiplied ----

class HQCopyPremul : public rxtest::BornPackage {};

TEST_F(HQCopyPremul, ResamplingMatchesTheSlot4And6Samplers) {
  for (const ScaleCase& c : kScaleCases) {
    SCOPED_TRACE(c.what);
    TestWorld<RX_Pixel8> src(7, 6, 4, 0);
    TestWorld<RX_Pixel8> dst(10, 9, 8, 4);
    paint(src, 1);
    // Premultiplied pictures: no colour above its alpha.
    for (int32_t y = 0; y < 6; ++y)
      for (int32_t x = 0; x < 7; ++x) {
        RX_Pixel8& p = src.at(x, y);
        p.red = uint8_t(p.red * p.alpha / 255);
        p.green = uint8_t(p.green * p.alpha / 255);
        p.blue = uint8_t(p.blue * p.alpha / 255);
      }
    paint(dst, 2);
    Raw<RX_Pixel8> expected(dst);
    resample_reference<RX_Pixel8>(src.def(), expected, c.src, c.dst, premul_subpixel_sampler(),
                                  premul_area_sampler());
    ASSERT_EQ(RX_CopyBits_HQ_Premul(nullptr, src.def(), dst.def(), &c.src, &c.dst), RX_Result_OK);
    ASSERT_TRUE(rows_equal(expected, dst));
  }
}

TEST_F(HQCopyPremul, AbortStopsTheCopyWithItsCode) {
  TestWorld<RX_Pixel8> src(3, 33), dst(4, 130);
  paint(src, 1);
  paint(dst, 2);
  const Raw<RX_Pixel8> before(dst);
  Raw<RX_Pixel8> full(dst);
  resample_reference<RX_Pixel8>(src.def(), full, {0, 0, 3, 33}, {0, 0, 4, 130},
                                premul_subpixel_sampler(), premul_area_sampler());
  Raw<RX_Pixel8> expected = before;
  std::memcpy(expected.bytes.data(), full.bytes.data(), size_t(64) * full.stride);
  AbortRecord record;
  record.stop_at_call = 2;
  record.code = 555;
  const RX_ProgressInfo progress{&record, &counting_abort, &counting_progress};
  EXPECT_EQ(RX_CopyBits_HQ_Premul(&progress, src.def(), dst.def(), nullptr, nullptr), 555);
  EXPECT_EQ(record.abort_calls, 2);
  EXPECT_EQ(record.progress_calls, 0);
  EXPECT_TRUE(rows_equal(expected, dst));
}

TEST_F(HQCopyPremul, EqualSizesCopyLikeTheDraft) {
  TestWorld<RX_Pixel8> src(6, 5), hq(6, 5, 8), draft(6, 5, 8);
  paint(src, 1);
  paint(hq, 2);
  paint(draft, 2);
  const GE_LRect a{0, 0, 3, 2}, b{2, 3, 5, 5};
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), draft.def(), &a, &b), RX_Result_OK);
  ASSERT_EQ(RX_CopyBits_HQ_Premul(nullptr, src.def(), hq.def(), &a, &b), RX_Result_OK);
  ASSERT_EQ(RX_CopyBits_Draft(nullptr, src.def(), draft.def(), nullptr, nullptr), RX_Result_OK);
  ASSERT_EQ(RX_CopyBits_HQ_Premul(nullptr, src.def(), hq.def(), nullptr, nullptr), RX_Result_OK);
  EXPECT_TRUE(rows_equal(Raw<RX_Pixel8>(draft), hq));
}

TEST_F(HQCopyPremul, TheAreaSamplerGetsTheAreaOfItsBox) {
  g_area_calls.clear();
  g_subpixel_calls.clear();
  ASSERT_EQ(RX_SetOverrideFunc(6, reinterpret_cast<void (*)()>(&recording_area<RX_Pixel8>)), 0);
  ASSERT_EQ(RX_SetOverrideFunc(4, reinterpret_cast<void (*)()>(&recording_subpixel<RX_Pixel8>)), 0);
  TestWorld<RX_Pixel8> src(9, 4), dst(3, 2);
  ASSERT_EQ(RX_CopyBits_HQ_Premul(nullptr, src.def(), dst.def(), nullptr, nullptr), RX_Result_OK);
  ASSERT_EQ(g_area_calls.size(), 6u);
  EXPECT_TRUE(g_subpixel_calls.empty());
  EXPECT_EQ(g_area_calls[0].pb.x_radius, 0x18000);
  EXPECT_EQ(g_area_calls[0].pb.y_radius, 0x10000);
  EXPECT_EQ(g_area_calls[0].pb.area, 0x60000u);
  EXPECT_EQ(g_area_calls[0].x, 0x18000 - 0x8000);
  EXPECT_EQ(g_area_calls[1].x, 0x18000 - 0x8000 + 0x30000);
  // Enlarging goes to slot 4.
  g_area_calls.clear();
  TestWorld<RX_Pixel8> big(12, 5);
  ASSERT_EQ(RX_CopyBits_HQ_Premul(nullptr, dst.def(), big.def(), nullptr, nullptr), RX_Result_OK);
  EXPECT_TRUE(g_area_calls.empty());
  EXPECT_EQ(g_subpixel_calls.size(), 60u);
}

// ---- the one-block copy and the slots ----

struct WorldDeleter {
  void operator()(RX_World* w) const { delete w; }
};
using WorldPtr = std::unique_ptr<RX_World, WorldDeleter>;

TEST_F(HQCopy, TwoOwningWorldsOfOneSizeAreCopiedAsOneBlock) {
  WorldPtr src(RX_World::New(3, 4, 8, 0)), dst(RX_World::New(3, 4, 8, 0));
  ASSERT_TRUE(src && dst);
  const int32_t stride = src->RowStride();
  auto* s = static_cast<uint8_t*>(src->Data());
  auto* d = static_cast<uint8_t*>(dst->Data());
  const int32_t block = 3 * stride + 12;
  for (int32_t i = 0; i < block; ++i) {
    s[i] = uint8_t(i * 5 + 1);
    d[i] = uint8_t(i * 3 + 2);
  }
  ASSERT_EQ(RX_CopyBits_HQ_Straight(nullptr, &src->LayerDef(), &dst->LayerDef(), nullptr, nullptr),
            RX_Result_OK);
  EXPECT_EQ(std::memcmp(s, d, size_t(block)), 0);
  EXPECT_FALSE(dst->SubWorldSafetyGutterHasBeenOverWritten());
}

RX_Err slot_24(const RX_ProgressInfo*, const RX_LayerDef*, RX_LayerDef*, const GE_LRect*,
               const GE_LRect*) {
  return 2424;
}
RX_Err slot_25(const RX_ProgressInfo*, const RX_LayerDef*, RX_LayerDef*, const GE_LRect*,
               const GE_LRect*) {
  return 2525;
}

TEST_F(HQCopy, ForwardsThroughSlots24And25AndTheDefaultsDoNot) {
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_CopyHQStraight, reinterpret_cast<void (*)()>(&slot_24)), 0);
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_CopyHQPremul, reinterpret_cast<void (*)()>(&slot_25)), 0);
  TestWorld<RX_Pixel8> src(2, 2), dst(4, 4);
  EXPECT_EQ(RX_CopyBits_HQ_Straight(nullptr, src.def(), dst.def(), nullptr, nullptr), 2424);
  EXPECT_EQ(RX_CopyBits_HQ_Premul(nullptr, src.def(), dst.def(), nullptr, nullptr), 2525);
  EXPECT_EQ(RX_CopyBits_HQ_Straight_Static(nullptr, src.def(), dst.def(), nullptr, nullptr), 0);
  EXPECT_EQ(RX_CopyBits_HQ_Premul_Static(nullptr, src.def(), dst.def(), nullptr, nullptr), 0);
}

}  // namespace
