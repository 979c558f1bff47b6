// The world transform's named cases: the identity and whole-pixel moves
// going to the transfer rectangle, the half-pixel move at both qualities,
// equal matrices, the radii of strong minification, the sample counts of
// straight paths, what the slow walker keeps in the motion blur buffers,
// progress, narrowing for a host's function, and the caller's scratch.
#include <map>
#include <random>

#include "compositing/blend_scratch.h"
#include "transform_reference.h"

namespace {

using tref::Call;
using rxtest::TestWorld;

template <class Px>
class TransformEdge : public rxtest::BornPackage {};
TYPED_TEST_SUITE(TransformEdge, rxtest::AllPixelTypes);

class TransformEdge8 : public rxtest::BornPackage {};

// Counts calls through a slot while alive, then puts the slot back.
template <RX_Slot S>
class SlotSpy {
 public:
  SlotSpy() : saved_(RXp_G_OverFuncs[S]) { calls_ = 0; }
  ~SlotSpy() { RXp_G_OverFuncs[S] = saved_; }
  static RX_OverFunc original() { return original_; }
  void install(RX_OverFunc spy) {
    original_ = saved_;
    RXp_G_OverFuncs[S] = spy;
  }
  static int calls_;
  static RX_OverFunc original_;

 private:
  RX_OverFunc saved_;
};
template <RX_Slot S>
int SlotSpy<S>::calls_ = 0;
template <RX_Slot S>
RX_OverFunc SlotSpy<S>::original_ = nullptr;

// A spy of the transfer core: counts, then calls the package's own.
RX_Err counting_transfer_core(const RX_ProgressInfo* p, int32_t r1, int64_t r2, int32_t field, GE_LRect rect,
                              const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                              const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                              const RX_TransferScratch* scratch, int32_t x, int32_t y, RX_LayerDef* dst) {
  ++SlotSpy<RX_Slot_TransferRectCore>::calls_;
  return RX_TransferRectPlus_S(p, r1, r2, field, rect, src, mode, tables, mask, scratch, x, y, dst);
}

template <RX_Slot S, class Px>
RX_Err counting_span(void* ref, int32_t count, int32_t x, int32_t y, const RX_SampPB* pb, uint32_t* sum,
                     Px* out) {
  ++SlotSpy<S>::calls_;
  using Span = RX_Err (*)(void*, int32_t, int32_t, int32_t, const RX_SampPB*, uint32_t*, Px*);
  return reinterpret_cast<Span>(SlotSpy<S>::original())(ref, count, x, y, pb, sum, out);
}

// The radii the area sampler was last handed.
int32_t g_seen_x_radius = 0, g_seen_y_radius = 0;
RX_Err recording_area(void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* out) {
  ++SlotSpy<RX_Slot_AreaSampleStraight8>::calls_;
  g_seen_x_radius = pb->x_radius;
  g_seen_y_radius = pb->y_radius;
  return reinterpret_cast<RX_SampleFunc8>(SlotSpy<RX_Slot_AreaSampleStraight8>::original())(ref, x, y, pb, out);
}

template <class Px>
void fill_rows(TestWorld<Px>& world, std::mt19937& rng) {
  tref::fill_random(world, rng);
}

// An opaque row whose red channel is 10 per column, at any depth.
template <class Px>
Px ramp_pixel(int32_t x) {
  Px p{};
  p.alpha = tref::channel<Px>(1.0);
  p.red = tref::channel<Px>(10.0 * x / 255.0);
  p.green = tref::channel<Px>(0.5);
  p.blue = tref::channel<Px>(0.25);
  return p;
}

TYPED_TEST(TransformEdge, IdentityAtBestQualityIsTheTransferRectangleBitForBit) {
  using Px = TypeParam;
  std::mt19937 rng(11);
  for (int round = 0; round < 12; ++round) {
    TestWorld<Px> src(17, 13, 8, 4), dst(23, 19, 4), want(23, 19), matte(20, 16);
    tref::fill_random(src, rng);
    tref::fill_random(dst, rng);
    tref::fill_random(matte, rng);
    tref::copy_world(dst, want);
    Call call;
    call.quality = 1;
    call.field = round % 3;
    call.mode = RX_CompositeModePlus(round % 2 ? RX_Xfer_Dissolve : RX_Xfer_Multiply, 0.7f, nullptr, false, 99);
    call.with_matte = round % 4 == 1;
    call.matte_kind = round % 4;
    call.matte_x = 2, call.matte_y = -1;
    RX_MaskWorld mask{*matte.def(), call.matte_x, call.matte_y, call.matte_kind};
    const GE_LRect whole{0, 0, src.width(), src.height()};
    ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, call.field, whole, src.def(), &call.mode, nullptr,
                              call.with_matte ? &mask : nullptr, 0, 0, want.def()),
              RX_Result_OK);
    SlotSpy<RX_Slot_TransferRectCore> spy;
    spy.install(reinterpret_cast<RX_OverFunc>(counting_transfer_core));
    ASSERT_EQ(tref::run_transform(call, src, &matte, dst), RX_Result_OK);
    EXPECT_EQ(spy.calls_, 1) << "the identity goes to the transfer core";
    std::string where;
    ASSERT_TRUE(tref::same_world(dst, want, &where)) << round << " " << where;
  }
}

TYPED_TEST(TransformEdge, HalfPixelMoveAtDraftQualityMovesOnePixel) {
  using Px = TypeParam;
  std::mt19937 rng(12);
  TestWorld<Px> src(9, 7), dst(15, 12), want(15, 12);
  tref::fill_random(src, rng);
  tref::fill_random(dst, rng);
  tref::copy_world(dst, want);
  Call call;
  call.quality = 0;
  call.matrices = {tref::translation(0.5, 0.0)};
  const GE_LRect whole{0, 0, src.width(), src.height()};
  ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, 0, whole, src.def(), &call.mode, nullptr, nullptr, 1, 0, want.def()),
            RX_Result_OK);
  SlotSpy<RX_Slot_TransferRectCore> spy;
  spy.install(reinterpret_cast<RX_OverFunc>(counting_transfer_core));
  ASSERT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  EXPECT_EQ(spy.calls_, 1);
  std::string where;
  EXPECT_TRUE(tref::same_world(dst, want, &where)) << where;
}

TYPED_TEST(TransformEdge, WholePixelMoveGivenDestinationToSourceLandsWhereItSays) {
  using Px = TypeParam;
  std::mt19937 rng(13);
  TestWorld<Px> src(9, 7), dst(15, 12), want(15, 12);
  tref::fill_random(src, rng);
  tref::fill_random(dst, rng);
  tref::copy_world(dst, want);
  Call call;
  call.quality = 1;
  call.source_to_dest = false;
  call.matrices = {tref::translation(-3.0, 2.0)};  // destination (x, y) reads source (x - 3, y + 2)
  const GE_LRect whole{0, 0, src.width(), src.height()};
  ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, 0, whole, src.def(), &call.mode, nullptr, nullptr, 3, -2, want.def()),
            RX_Result_OK);
  ASSERT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  std::string where;
  EXPECT_TRUE(tref::same_world(dst, want, &where)) << where;
}

TYPED_TEST(TransformEdge, HalfPixelMoveAtBestQualitySamplesWithTheSpanForm) {
  using Px = TypeParam;
  std::mt19937 rng(14);
  TestWorld<Px> src(21, 9, 8), dst(30, 14), want(30, 14);
  tref::fill_random(src, rng);
  tref::fill_random(dst, rng);
  tref::copy_world(dst, want);
  Call call;
  call.quality = 1;
  call.matrices = {tref::translation(0.5, 0.0)};
  ASSERT_TRUE(tref::expected_transform(call, src, nullptr, want));
  constexpr RX_Slot kSpan = sizeof(Px) == 4 ? RX_Slot_SpanSampleTranslateNoClip8 : RX_Slot_SpanSampleTranslateNoClip16;
  SlotSpy<RX_Slot_TransferRectCore> core;
  core.install(reinterpret_cast<RX_OverFunc>(counting_transfer_core));
  SlotSpy<kSpan> span;
  if constexpr (!tref::kIsFloat<Px>) {
    span.install(reinterpret_cast<RX_OverFunc>(counting_span<kSpan, Px>));
  }
  ASSERT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  EXPECT_EQ(core.calls_, 0) << "a half pixel is no integer move at best quality";
  // The inside of every line but those whose taps leave the source.
  if constexpr (!tref::kIsFloat<Px>) {
    EXPECT_EQ(span.calls_, src.height() - 1);
  }
  std::string where;
  EXPECT_TRUE(tref::same_world(dst, want, &where)) << where;
}

TYPED_TEST(TransformEdge, TwoEqualMatricesAreOneMatrix) {
  using Px = TypeParam;
  std::mt19937 rng(15);
  TestWorld<Px> src(13, 11), a(24, 20), b(24, 20);
  tref::fill_random(src, rng);
  tref::fill_random(a, rng);
  tref::copy_world(a, b);
  Call one;
  one.matrices = {tref::turn(30.0, 1.3, 6, 5, 4, 3)};
  Call two = one;
  GE_Matrix3 nearly = one.matrices[0];
  nearly.m[0][2] += 1e-13;  // equal within 1e-12
  two.matrices = {one.matrices[0], nearly};
  ASSERT_EQ(tref::run_transform(one, src, nullptr, a), RX_Result_OK);
  ASSERT_EQ(tref::run_transform(two, src, nullptr, b), RX_Result_OK);
  std::string where;
  EXPECT_TRUE(tref::same_world(a, b, &where)) << where;
}

TEST_F(TransformEdge8, StrongMinificationGivesTheAreaSamplerRadiiOfOneDestinationPixel) {
  TestWorld<RX_Pixel8> src(300, 300), dst(8, 8);
  std::mt19937 rng(16);
  tref::fill_random(src, rng);
  struct Case {
    double scale;
    int32_t radius;
  };
  // 0.01: a destination pixel is 100 source pixels, 50 either side; 0.001
  // would be 500, and stops at 127.
  for (const Case c : {Case{0.01, 50 << 16}, Case{0.001, 127 << 16}, Case{0.25, 2 << 16}}) {
    SlotSpy<RX_Slot_AreaSampleStraight8> spy;
    spy.install(reinterpret_cast<RX_OverFunc>(recording_area));
    Call call;
    call.matrices = {tref::scaling(c.scale, c.scale)};
    ASSERT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
    EXPECT_GT(spy.calls_, 0) << c.scale;
    EXPECT_EQ(g_seen_x_radius, c.radius) << c.scale;
    EXPECT_EQ(g_seen_y_radius, c.radius) << c.scale;
  }
}

TEST_F(TransformEdge8, ScaleOfOneHundredthAveragesABoxOfOneHundredPixels) {
  // A source of 200 columns alternating opaque red and transparent: at a
  // scale of 0.01 each destination pixel holds half coverage.
  TestWorld<RX_Pixel8> src(200, 200), dst(4, 4);
  for (int32_t y = 0; y < 200; ++y) {
    for (int32_t x = 0; x < 200; ++x) src.at(x, y) = (x % 2) ? RX_Pixel8{255, 200, 0, 0} : RX_Pixel8{};
  }
  Call call;
  call.mode = RX_CompositeModePlus(RX_Xfer_Copy, 1.0f, nullptr, false, 0);
  // Scale about the source's centre pixel so that destination (1, 1)
  // looks at a box wholly inside the source.
  call.matrices = {tref::affine(0.01, 0, 1.0 - 0.01 * 149.5, 0, 0.01, 1.0 - 0.01 * 149.5)};
  ASSERT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  EXPECT_NEAR(dst.at(1, 1).alpha, 128, 1);
  EXPECT_EQ(dst.at(1, 1).red, 200);
}

TYPED_TEST(TransformEdge, ThreeMatricesOnALineTakeTwoSamples) {
  using Px = TypeParam;
  TestWorld<Px> src(40, 3), dst(40, 3);
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 40; ++x) src.at(x, y) = ramp_pixel<Px>(x);
  }
  Call call;
  call.quality = 1;
  call.mode = RX_CompositeModePlus(RX_Xfer_Copy, 1.0f, nullptr, false, 0);
  // Destination x reads source x, x + 1, x + 2 over the shutter.
  call.matrices = {tref::translation(0, 0), tref::translation(-1, 0), tref::translation(-2, 0)};
  ASSERT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  // Samples at x and x + 1 only: the mean of two neighbours.
  for (int32_t x = 2; x < 30; ++x) {
    const Px want = [&] {
      Px p = ramp_pixel<Px>(x);
      p.red = tref::kIsFloat<Px> ? (ramp_pixel<Px>(x).red + ramp_pixel<Px>(x + 1).red) / 2
                                 : tref::Cv<Px>((uint32_t(ramp_pixel<Px>(x).red) + ramp_pixel<Px>(x + 1).red + 1) / 2);
      return p;
    }();
    EXPECT_NEAR(double(dst.at(x, 1).red), double(want.red), tref::kIsFloat<Px> ? 1e-6 : 0.0) << x;
    EXPECT_EQ(dst.at(x, 1).alpha, want.alpha) << x;
  }
}

TYPED_TEST(TransformEdge, TwoMatricesAtBestQualityTakeSeventeenSamplesSixteenPositions) {
  using Px = TypeParam;
  TestWorld<Px> src(60, 3), dst(60, 3);
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 60; ++x) src.at(x, y) = ramp_pixel<Px>(x);
  }
  for (int32_t quality : {1, 0}) {
    Call call;
    call.quality = quality;
    call.mode = RX_CompositeModePlus(RX_Xfer_Copy, 1.0f, nullptr, false, 0);
    call.matrices = {tref::translation(0, 0), tref::translation(-16, 0)};
    ASSERT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
    // Best: x .. x + 15, one pixel apart (17 samples, 16 steps); draft:
    // x .. x + 14, two apart (9 samples, 8 steps). Never x + 16.
    const int32_t positions = quality ? 16 : 8, apart = quality ? 1 : 2;
    for (int32_t x = 2; x < 40; ++x) {
      double sum = 0;
      for (int32_t k = 0; k < positions; ++k) sum += double(ramp_pixel<Px>(x + k * apart).red);
      const double mean = sum / positions;
      const double want = tref::kIsFloat<Px> ? mean : std::floor(mean + 0.5);
      EXPECT_NEAR(double(dst.at(x, 1).red), want, tref::kIsFloat<Px> ? 1e-5 : 0.0) << quality << " " << x;
    }
  }
}

TYPED_TEST(TransformEdge, SlowWalkerKeepsEachMatrixInTheMotionBlurBuffers) {
  using Px = TypeParam;
  std::mt19937 rng(17);
  TestWorld<Px> src(12, 12), dst(20, 20);
  tref::fill_random(src, rng);
  Call call;
  call.matrices = {tref::turn(0, 1, 6, 6, 4, 4), tref::turn(20, 1, 6, 6, 4, 4), tref::turn(40, 0.5, 6, 6, 4, 4)};
  ASSERT_EQ(tref::run_transform(call, src, nullptr, dst), RX_Result_OK);
  const auto* inverses = static_cast<const GE_Matrix3*>(RXp_MotionBlurBuffer(5));
  const auto* steps_x = static_cast<const int32_t(*)[2]>(RXp_MotionBlurBuffer(1));
  const auto* blocks = static_cast<const char*>(RXp_MotionBlurBuffer(6));
  for (size_t m = 0; m < call.matrices.size(); ++m) {
    GE_Matrix3 inverse;
    ASSERT_EQ(GE_InverseMatrixQuiet(&call.matrices[m], &inverse), 1);
    EXPECT_TRUE(GE_EqualMatrixWithinEpsilon(&inverses[m], &inverse, 0.0)) << m;
    const tref::Inverse walk(inverse);
    EXPECT_EQ(steps_x[m][0], walk.fxx) << m;
    EXPECT_EQ(steps_x[m][1], walk.fxy) << m;
    // 104 bytes a record, each starting with the sampling block of its
    // matrix: radii of half a destination pixel.
    RX_SampPB block;
    std::memcpy(&block, blocks + 104 * m, sizeof block);
    EXPECT_EQ(block.x_radius, walk.radii(nullptr).x_radius) << m;
    EXPECT_EQ(block.src, src.def()) << m;
  }
}

// ---- progress ----

struct ProgressLog {
  std::vector<int32_t> current;
  int32_t total = -1;
  RX_Err answer = RX_Result_OK;
};
RX_Err log_progress(void* refcon, int32_t current, int32_t total) {
  auto* log = static_cast<ProgressLog*>(refcon);
  log->current.push_back(current);
  log->total = total;
  return log->answer;
}

TEST_F(TransformEdge8, ProgressComesEveryThirtyTwoLinesAtBestEveryEightWithMotionAndSixtyFourAtDraft) {
  TestWorld<RX_Pixel8> src(10, 200), dst(12, 200);
  std::mt19937 rng(18);
  tref::fill_random(src, rng, 100);
  struct Case {
    int32_t quality, matrices, field, interval;
  };
  for (const Case c : {Case{1, 1, 0, 32}, Case{0, 1, 0, 64}, Case{1, 2, 0, 8}, Case{0, 3, 0, 8}, Case{1, 1, 1, 64},
                       Case{0, 1, 2, 128}, Case{0, 2, 1, 16}}) {
    ProgressLog log;
    RX_ProgressInfo progress{&log, nullptr, log_progress};
    Call call;
    call.quality = c.quality;
    call.field = c.field;
    // A slight stretch in x (no integer path at either quality) that
    // leaves every line of the area inside dst.
    const GE_Matrix3 a = tref::affine(1.01, 0, 1.25, 0, 1, 0);
    call.matrices.assign(size_t(c.matrices), a);
    if (c.matrices > 1) call.matrices.back() = tref::affine(1.01, 0, 2.25, 0, 1, 0);
    ASSERT_EQ(tref::run_transform(call, src, nullptr, dst, &progress), RX_Result_OK);
    // The area runs from line 0 to the bottom of dst.
    std::vector<int32_t> want;
    for (int32_t line = 0; line < 200; line += c.interval) want.push_back(line);
    EXPECT_EQ(log.current, want) << c.quality << " " << c.matrices << " " << c.field;
    EXPECT_EQ(log.total, 200);
  }
}

TYPED_TEST(TransformEdge, AnAbortStopsAfterTheLineInHand) {
  using Px = TypeParam;
  TestWorld<Px> src(10, 40), dst(14, 40);
  for (int32_t y = 0; y < 40; ++y) {
    for (int32_t x = 0; x < 10; ++x) src.at(x, y) = ramp_pixel<Px>(x);
  }
  ProgressLog log;
  log.answer = RX_Result_Interrupted;
  RX_ProgressInfo progress{&log, nullptr, log_progress};
  Call call;
  call.matrices = {tref::translation(2.5, 0.0)};
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst, &progress), RX_Result_Interrupted);
  ASSERT_EQ(log.current, std::vector<int32_t>{0});
  // The area starts a line above the source (growth by a pixel, clipped
  // at 0): line 0 is drawn, line 1 is not.
  EXPECT_NE(dst.at(5, 0).alpha, 0);
  EXPECT_EQ(dst.at(5, 1).alpha, 0);
}

TYPED_TEST(TransformEdge, AnAbortFunctionAloneIsAskedAtTheSameLines) {
  using Px = TypeParam;
  TestWorld<Px> src(10, 40), dst(14, 40);
  std::mt19937 rng(19);
  tref::fill_random(src, rng, 100);
  static int asked;
  asked = 0;
  RX_ProgressInfo progress{nullptr, [](void*) -> RX_Err { return ++asked == 2 ? RX_Result_Interrupted : 0; },
                           nullptr};
  Call call;
  call.matrices = {tref::translation(2.5, 0.0)};
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst, &progress), RX_Result_Interrupted);
  EXPECT_EQ(asked, 2);
  EXPECT_NE(dst.at(5, 32).alpha, 0);  // line 32 was in hand
  EXPECT_EQ(dst.at(5, 33).alpha, 0);
}

// ---- a host's function in slot 32 ----

GE_LRect g_rect_seen{};
RX_Err recording_transform(const RX_ProgressInfo*, int32_t, uint32_t, int32_t, const RX_LayerDef*,
                           const RX_CompositeModePlus*, const RX_LinearBlendingTables*, const RX_MaskWorld*,
                           const GE_Matrix3*, int32_t, int32_t, GE_LRect dest_rect, RX_LayerDef*) {
  g_rect_seen = dest_rect;
  return 42;
}

TEST_F(TransformEdge8, AHostsFunctionGetsTheRectangleNarrowedToWhereTheSourceLands) {
  TestWorld<RX_Pixel8> src(10, 6), dst(100, 100);
  SlotSpy<RX_Slot_TransformWorld> spy;
  spy.install(reinterpret_cast<RX_OverFunc>(recording_transform));
  Call call;
  // Two positions of a 10 x 6 source, at (20, 30) and (40, 35).
  call.matrices = {tref::translation(20, 30), tref::translation(30, 32), tref::translation(40, 35)};
  call.dest_rect = {0, 0, 45, 1000};
  EXPECT_EQ(tref::run_transform(call, src, nullptr, dst), 42);
  // Corners from (-1, -1) to (10, 6) of the source, grown by a pixel, all
  // three joined, then within the given rectangle.
  EXPECT_EQ(g_rect_seen.left, 18);
  EXPECT_EQ(g_rect_seen.top, 28);
  EXPECT_EQ(g_rect_seen.right, 45);
  EXPECT_EQ(g_rect_seen.bottom, 43);
}

// ---- the caller's scratch ----

TYPED_TEST(TransformEdge, ACallersScratchIsUsedInsteadOfTheSharedRows) {
  using Px = TypeParam;
  std::mt19937 rng(20);
  TestWorld<Px> src(30, 20), a(2000, 20), b(2000, 20);
  tref::fill_random(src, rng);
  tref::fill_random(a, rng);
  tref::copy_world(a, b);
  Call call;
  call.mode = RX_CompositeModePlus(RX_Xfer_Screen, 0.8f, nullptr, true, 3);
  call.matrices = {tref::turn(15, 1.7, 15, 10, 600, 2)};
  const int32_t capacity = RXp_G_BlendScratch.capacity;
  std::vector<uint8_t> alpha_row(2000 * sizeof(Px) / 4), mask_line(2000 * sizeof(Px)), work_line(2000 * sizeof(Px));
  RX_TransferScratch scratch{};
  scratch.words[0] = alpha_row.data();
  scratch.words[1] = mask_line.data();
  scratch.words[2] = work_line.data();
  for (int i = 0; i < RX_MotionBlurBufferCount; ++i) scratch.words[3 + i] = RXp_MotionBlurBuffer(i);
  ASSERT_EQ(RX_TransformWorldPlus(nullptr, 1, 0, 0, src.def(), &call.mode, nullptr, nullptr, call.matrices.data(), 1,
                                  1, call.dest_rect, &scratch, a.def()),
            RX_Result_OK);
  EXPECT_EQ(RXp_G_BlendScratch.capacity, capacity) << "the shared rows were not touched";
  ASSERT_EQ(tref::run_transform(call, src, nullptr, b), RX_Result_OK);
  std::string where;
  EXPECT_TRUE(tref::same_world(a, b, &where)) << where;
  EXPECT_GT(RXp_G_BlendScratch.capacity, capacity);
}

// ---- the float matte's luminance limits ----

TEST(TransformFloatMatte, LuminanceKindsLimitTheProductToOneAndTinyValuesToZero) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  TestWorld<RX_PixelFloat> src(6, 6), matte(6, 6), a(6, 6), b(6, 6), c(6, 6);
  for (int32_t y = 0; y < 6; ++y) {
    for (int32_t x = 0; x < 6; ++x) {
      src.at(x, y) = RX_PixelFloat{0.5f, 0.2f, 0.4f, 0.6f};
      a.at(x, y) = b.at(x, y) = c.at(x, y) = RX_PixelFloat{1.0f, 0.9f, 0.1f, 0.3f};
      matte.at(x, y) = x < 3 ? RX_PixelFloat{3.0f, 2.0f, 2.0f, 2.0f} : RX_PixelFloat{1e-9f, 1e-9f, 1e-9f, 1e-9f};
    }
  }
  Call call;
  call.matrices = {tref::translation(0.25, 0.0)};
  call.with_matte = true;
  call.matte_kind = RX_Mask_Luma;
  ASSERT_EQ(tref::run_transform(call, src, &matte, a), RX_Result_OK);
  // The same with mattes of exactly 1 and exactly 0.
  for (int32_t y = 0; y < 6; ++y) {
    for (int32_t x = 0; x < 6; ++x) matte.at(x, y) = x < 3 ? RX_PixelFloat{1, 1, 1, 1} : RX_PixelFloat{0, 0, 0, 0};
  }
  ASSERT_EQ(tref::run_transform(call, src, &matte, b), RX_Result_OK);
  std::string where;
  EXPECT_TRUE(tref::same_world(a, b, &where)) << where;
  // And the inverted kind: 1 - 1 and 1 - 0.
  call.matte_kind = RX_Mask_LumaInverted;
  for (int32_t y = 0; y < 6; ++y) {
    for (int32_t x = 0; x < 6; ++x) matte.at(x, y) = x < 3 ? RX_PixelFloat{0, 0, 0, 0} : RX_PixelFloat{1, 1, 1, 1};
  }
  ASSERT_EQ(tref::run_transform(call, src, &matte, c), RX_Result_OK);
  EXPECT_TRUE(tref::same_world(b, c, &where)) << where;
  EXPECT_NE(a.at(1, 2).red, 0.9f) << "the matte let the source through";
  EXPECT_EQ(a.at(4, 2).red, 0.9f) << "a tiny matte keeps dst";
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

}  // namespace
