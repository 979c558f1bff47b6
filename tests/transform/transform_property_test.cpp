// The world transform against the plain model on random pictures and
// random matrices (rotation, scale from 0.05 to 8, shear, translation,
// landing partly or wholly outside dst), every mode family, with and
// without a track matte and field selection, at three depths: draft
// against the test's own nearest walker, best against the package's
// samplers called one position at a time, and motion along straight and
// curved paths against per-pixel averages.
#include <random>

#include "linear_tables.h"
#include "transform_reference.h"

namespace {

using tref::Call;

template <class Px>
class TransformProperty : public rxtest::BornPackage {};
TYPED_TEST_SUITE(TransformProperty, rxtest::AllPixelTypes);

constexpr int32_t kModes[] = {RX_Xfer_Over,  RX_Xfer_Copy,         RX_Xfer_Multiply,     RX_Xfer_SoftLight,
                              RX_Xfer_Hue,   RX_Xfer_Dissolve,     RX_Xfer_Difference2,  RX_Xfer_MultiplyAlpha,
                              RX_Xfer_AddPremul, RX_Xfer_MultiplyAlphaLuma, RX_Xfer_Behind, RX_Xfer_ReplaceRaw};

// A random source-to-destination matrix: turned, scaled (0.05 to 8 on a
// log scale, sometimes unevenly), sometimes sheared, moved about dst.
GE_Matrix3 random_matrix(std::mt19937& rng, int32_t dst_w, int32_t dst_h) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const double angle = unit(rng) * 360.0;
  const double scale = std::exp(std::log(0.05) + unit(rng) * (std::log(8.0) - std::log(0.05)));
  const double squash = rng() % 3 == 0 ? 0.5 + unit(rng) : 1.0;
  const double shear = rng() % 3 == 0 ? unit(rng) - 0.5 : 0.0;
  const double r = angle * M_PI / 180.0, c = std::cos(r), s = std::sin(r);
  // Rotation × scale × shear, then a move that lands anywhere from well
  // outside to inside dst.
  const double a = scale * c, b = scale * (c * shear - s * squash);
  const double d = scale * s, e = scale * (s * shear + c * squash);
  const double tx = (unit(rng) * 1.6 - 0.3) * dst_w, ty = (unit(rng) * 1.6 - 0.3) * dst_h;
  return tref::affine(a, b, tx, d, e, ty);
}

template <class Px>
void check_round(std::mt19937& rng, int round, Call call, bool own_nearest) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  rxtest::TestWorld<Px> src(int32_t(2 + rng() % 19), int32_t(2 + rng() % 15), int32_t(rng() % 2) * 12,
                            int32_t(rng() % 4) * 4);
  rxtest::TestWorld<Px> dst(int32_t(8 + rng() % 25), int32_t(8 + rng() % 21), int32_t(rng() % 3) * 8);
  rxtest::TestWorld<Px> matte(int32_t(4 + rng() % 20), int32_t(4 + rng() % 16));
  tref::fill_random(src, rng);
  tref::fill_random(dst, rng);
  tref::fill_random(matte, rng);
  call.field = int32_t(rng() % 3);
  const float opacity = rng() % 3 == 0 ? 1.0f : float(rng() % 1000) / 999.0f;
  call.mode = RX_CompositeModePlus(kModes[rng() % std::size(kModes)], opacity, nullptr, rng() % 4 == 0,
                                   int32_t(rng()));
  call.tables = rng() % 5 == 0 ? &tables : nullptr;
  call.with_matte = rng() % 3 == 0;
  call.matte_kind = int32_t(rng() % 4);
  call.matte_x = int32_t(rng() % 16) - 4;
  call.matte_y = int32_t(rng() % 12) - 3;
  if (rng() % 4 == 0) {
    const int32_t l = int32_t(rng() % 12) - 2, t = int32_t(rng() % 10) - 2;
    call.dest_rect = {l, t, l + int32_t(rng() % 30), t + int32_t(rng() % 24)};
  }
  rxtest::TestWorld<Px> want(dst.width(), dst.height());
  tref::copy_world(dst, want);
  tref::expected_transform(call, src, &matte, want, own_nearest);
  ASSERT_EQ(tref::run_transform(call, src, &matte, dst), RX_Result_OK) << "round " << round;
  std::string where;
  ASSERT_TRUE(tref::same_world(dst, want, &where))
      << "round " << round << " quality " << call.quality << " matrices " << call.matrices.size() << " mode "
      << call.mode.blend_mode << " field " << call.field << (call.with_matte ? " matte kind " : " no matte ")
      << call.matte_kind << (call.tables ? " linear" : "") << " at " << where;
}

TYPED_TEST(TransformProperty, DraftMatchesAPlainNearestWalker) {
  std::mt19937 rng(7001);
  for (int round = 0; round < 120; ++round) {
    Call call;
    call.quality = 0;
    call.matrices = {random_matrix(rng, 30, 25)};
    call.source_to_dest = rng() % 4 != 0;
    if (!call.source_to_dest) GE_InverseMatrixQuiet(&call.matrices[0], &call.matrices[0]);
    check_round<TypeParam>(rng, round, call, true);
  }
}

TYPED_TEST(TransformProperty, BestMatchesTheSamplersAtEachPosition) {
  std::mt19937 rng(7002);
  for (int round = 0; round < 120; ++round) {
    Call call;
    call.quality = 1;
    call.matrices = {random_matrix(rng, 30, 25)};
    check_round<TypeParam>(rng, round, call, false);
  }
}

TYPED_TEST(TransformProperty, StraightMotionAveragesItsSamples) {
  std::mt19937 rng(7003);
  for (int round = 0; round < 80; ++round) {
    Call call;
    call.quality = int32_t(rng() % 2);
    const GE_Matrix3 a = random_matrix(rng, 30, 25);
    // A move along a line, in 2 to 5 even steps: straight at either quality.
    const double dx = double(int(rng() % 13) - 6), dy = double(int(rng() % 9) - 4);
    const int32_t count = int32_t(2 + rng() % 4);
    call.matrices.clear();
    for (int32_t i = 0; i < count; ++i) {
      GE_Matrix3 m = a;
      m.m[0][2] += dx * i / (count - 1);
      m.m[1][2] += dy * i / (count - 1);
      call.matrices.push_back(m);
    }
    check_round<TypeParam>(rng, round, call, false);
  }
}

TYPED_TEST(TransformProperty, CurvedMotionAveragesEveryMatrix) {
  std::mt19937 rng(7004);
  for (int round = 0; round < 60; ++round) {
    Call call;
    call.quality = 1;
    // A turn about a point of the source in 3 to 6 steps: curved.
    const double cx = double(rng() % 20), cy = double(rng() % 15);
    const double from = double(rng() % 360), sweep = 5.0 + double(rng() % 40);
    const double scale = 0.3 + double(rng() % 100) / 40.0;
    const double tx = double(rng() % 30) - 5, ty = double(rng() % 25) - 5;
    const int32_t count = int32_t(3 + rng() % 4);
    call.matrices.clear();
    for (int32_t i = 0; i < count; ++i) {
      call.matrices.push_back(tref::turn(from + sweep * i / (count - 1), scale, cx, cy, tx, ty));
    }
    check_round<TypeParam>(rng, round, call, false);
  }
}

}  // namespace
