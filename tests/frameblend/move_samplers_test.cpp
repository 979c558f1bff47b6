#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "engine_test_support.h"
#include "frameblend/framework/move_samplers.h"
#include "frameblend/resample/pyramid.h"
#include "map_reference.h"

namespace {

using namespace RX_Engine;
using enginetest::EngineTest;
using enginetest::plain_bilinear;
using enginetest::plain_read;
using Move = FnMoveSampler<float, float, 1>;

// Where output cell (x, y) reads: the centre through the matrix.
void source_of(const FnMatrix3& m, int32_t x, int32_t y, float* sx, float* sy) {
  *sx = (float(x) + 0.5f) * m.m[0][0] + (float(y) + 0.5f) * m.m[1][0] + m.m[2][0];
  *sy = (float(x) + 0.5f) * m.m[0][1] + (float(y) + 0.5f) * m.m[1][1] + m.m[2][1];
}

FnFloatMap& random_map(FnFloatMap& map, uint32_t seed, int32_t mode) {
  enginetest::Random random(seed);
  enginetest::fill_map(map, [&](int32_t, int32_t) { return random.uniform(0.0f, 1.0f); });
  map.setBorderModes(mode, mode);
  return map;
}

TEST_F(EngineTest, MoveSamplerStartsWithTheIdentity) {
  Move move;
  const FnMatrix3 identity = FnMatrix3::identity();
  EXPECT_EQ(std::memcmp(&move.matrix(), &identity, sizeof identity), 0);
  EXPECT_EQ(move.scale(), 1.0f);
  EXPECT_EQ(move.mode(), Move::kModeNearest);
}

TEST_F(EngineTest, NearestMoveReadsTheCellUnderTheMovedCentre) {
  FnFloatMap in(9, 7), out(11, 8);
  random_map(in, 1, kBorderMirror);
  const FnMatrix3 m = FnMatrix3::scaling(0.7f, 1.3f) * FnMatrix3::translation(-1.25f, 0.5f);
  Move move;
  move.setMatrix(m);
  move.process(&in, &out);
  for (int32_t y = 0; y < 8; ++y) {
    float sx0, sy;
    source_of(m, 0, y, &sx0, &sy);
    float sx = sx0;
    for (int32_t x = 0; x < 11; ++x) {
      EXPECT_EQ(out.cell(x, y), plain_read(in, int32_t(std::floor(sx)), int32_t(std::floor(sy))));
      sx += m.m[0][0];
    }
  }
}

TEST_F(EngineTest, BilinearMoveSamplesAtTheMovedCentre) {
  FnFloatMap in(8, 8), out(8, 8);
  random_map(in, 2, kBorderClamp);
  const FnMatrix3 m = FnMatrix3::translation(0.5f, -0.25f);
  Move move;
  move.setMode(Move::kModeBilinear);
  move.setMatrix(m);
  move.process(&in, &out);
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 8; ++x) {
      float sx, sy;
      source_of(m, x, y, &sx, &sy);
      EXPECT_EQ(out.cell(x, y), plain_bilinear(in, sx, sy));
    }
  }
}

TEST_F(EngineTest, IdentityMovesCopyInEveryPointMode) {
  FnFloatMap in(6, 5);
  random_map(in, 3, kBorderClamp);
  for (int32_t mode : {Move::kModeNearest, Move::kModeBilinear, Move::kModeBicubic, Move::kModeSinc}) {
    FnFloatMap out(6, 5);
    Move move;
    move.setMode(mode);
    move.process(&in, &out);
    for (int32_t y = 0; y < 5; ++y) {
      for (int32_t x = 0; x < 6; ++x) EXPECT_EQ(out.cell(x, y), in.cell(x, y)) << "mode " << mode;
    }
  }
}

TEST_F(EngineTest, BicubicMoveReproducesALinearRamp) {
  FnFloatMap in(12, 4), out(12, 4);
  enginetest::fill_map(in, [](int32_t x, int32_t) { return 2.0f * float(x) + 1.0f; });
  in.setBorderModes(kBorderClamp, kBorderClamp);
  Move move;
  move.setMode(Move::kModeBicubic);
  move.setMatrix(FnMatrix3::translation(0.3f, 0.0f));
  move.process(&in, &out);
  for (int32_t x = 2; x < 9; ++x) EXPECT_NEAR(out.cell(x, 1), 2.0f * (float(x) + 0.3f) + 1.0f, 1e-4f);
}

// The windowed sinc written from its definition.
float plain_sinc(const FnFloatMap& in, float x, float y, int32_t r) {
  const double pi = 3.14159265358979323846;
  const auto weights = [&](float p, int32_t base, std::vector<double>& w) {
    double sum = 0.0;
    for (int32_t i = 0; i <= 2 * r; ++i) {
      const double d = double((p - 0.5f) - float(base + i));
      const double v = d == 0.0 ? 1.0 : (std::cos(pi * d / r) + 1.0) / 2.0 * std::sin(pi * d) / d;
      w.push_back(v);
      sum += v;
    }
    for (double& v : w) v /= sum;
  };
  const int32_t bx = int32_t(std::floor(x)) - r, by = int32_t(std::floor(y)) - r;
  std::vector<double> wx, wy;
  weights(x, bx, wx);
  weights(y, by, wy);
  double sum = 0.0;
  for (int32_t j = 0; j <= 2 * r; ++j) {
    for (int32_t i = 0; i <= 2 * r; ++i) sum += wx[size_t(i)] * wy[size_t(j)] * plain_read(in, bx + i, by + j);
  }
  return float(sum);
}

TEST_F(EngineTest, SincMoveIsTheWindowedSincOfRadiusFive) {
  FnFloatMap in(24, 20), out(24, 20);
  random_map(in, 4, kBorderMirror);
  const FnMatrix3 m = FnMatrix3::translation(0.37f, -0.21f);
  Move move;
  move.setMode(Move::kModeSinc);
  move.setMatrix(m);
  move.process(&in, &out);
  for (int32_t y = 0; y < 20; y += 3) {
    for (int32_t x = 0; x < 24; x += 2) {
      float sx, sy;
      source_of(m, x, y, &sx, &sy);
      EXPECT_NEAR(out.cell(x, y), plain_sinc(in, sx, sy, 5), 2e-5f) << x << "," << y;
    }
  }
}

TEST_F(EngineTest, SincNearACellCentreIsTheBilinearSample) {
  FnFloatMap in(12, 12), out(12, 12);
  random_map(in, 5, kBorderClamp);
  const FnMatrix3 m = FnMatrix3::translation(0.005f, 2.0f);
  Move move;
  move.setMode(Move::kModeSinc);
  move.setMatrix(m);
  move.process(&in, &out);
  float sx, sy;
  source_of(m, 4, 4, &sx, &sy);
  EXPECT_EQ(out.cell(4, 4), plain_bilinear(in, sx, sy));
}

TEST_F(EngineTest, LevelMoveFetchesFromThePyramidLevelOfItsFootprint) {
  FnFloatMap in(32, 32);
  random_map(in, 6, kBorderClamp);
  FnFilteredPyramid<float, float, 1> pyramid(&in, 4);
  pyramid.build();
  FnFloatMap out(8, 8);
  Move move;
  move.setMode(Move::kModeLevel);
  move.setMatrix(FnMatrix3::scaling(4.0f, 4.0f));
  move.setStack(pyramid.stack());
  move.process(&in, &out);
  // A footprint of 4 cells is level 2 exactly.
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 8; ++x) {
      const float want = pyramid.stack()->level(2)->sample((float(x) + 0.5f), (float(y) + 0.5f));
      EXPECT_EQ(out.cell(x, y), want);
    }
  }
  // Without a stack it is the bilinear move.
  Move plain;
  plain.setMode(Move::kModeLevel);
  plain.setMatrix(FnMatrix3::scaling(4.0f, 4.0f));
  plain.process(&in, &out);
  EXPECT_EQ(out.cell(1, 1), plain_bilinear(in, 6.0f, 6.0f));
}

TEST_F(EngineTest, AreaMovesAverageTheFootprint) {
  FnFloatMap flat(16, 16), out(4, 4);
  enginetest::fill_map(flat, [](int32_t, int32_t) { return 0.375f; });
  flat.setBorderModes(kBorderClamp, kBorderClamp);
  for (int32_t mode : {Move::kModeNearest, Move::kModeBilinear, Move::kModeBicubic}) {
    Move move;
    move.setMode(mode);
    move.setOptions(Move::kOptionArea);
    move.setMatrix(FnMatrix3::scaling(4.0f, 4.0f));
    move.process(&flat, &out);
    EXPECT_NEAR(out.cell(2, 3), 0.375f, 1e-6f) << mode;
  }
  // Nearest over a 2 x 2 footprint of 2 x 2 samples: the mean of four cells.
  FnFloatMap in(4, 4), half(2, 2);
  enginetest::fill_map(in, [](int32_t x, int32_t y) { return float(x + 4 * y); });
  Move move;
  move.setOptions(Move::kOptionArea);
  move.setMatrix(FnMatrix3::scaling(2.0f, 2.0f));
  move.process(&in, &half);
  EXPECT_EQ(half.cell(1, 0), (2.0f + 3.0f + 6.0f + 7.0f) * 0.25f);
}

TEST_F(EngineTest, DualMoveAveragesItsTwoInputs) {
  FnFloatMap a(3, 3), b(3, 3), out(3, 3);
  enginetest::fill_map(a, [](int32_t x, int32_t) { return float(x); });
  enginetest::fill_map(b, [](int32_t, int32_t y) { return float(10 * y); });
  FnDualMoveSampler<float, float, 1> dual;
  dual.setSecondInput(&b);
  dual.setOptions(FnDualMoveSampler<float, float, 1>::kOptionSecondInput);
  dual.process(&a, &out);
  EXPECT_EQ(out.cell(2, 1), (2.0f + 10.0f) * 0.5f);
  // The one-input form ignores the option.
  Move single;
  single.setOptions(Move::kOptionSecondInput);
  single.setSecondInput(&b);
  single.process(&a, &out);
  EXPECT_EQ(out.cell(2, 1), 2.0f);
}

TEST_F(EngineTest, PixelMovesStoreWithTheEngineClamp) {
  FnTexture8 in(2, 1), out(1, 1);
  in.cell(0, 0) = {{255, 0, 100, 1}};
  in.cell(1, 0) = {{254, 255, 101, 2}};
  FnMoveSampler<FnPixel8, FnPixelFloat, 255> move;
  move.setMode(FnMoveSampler<FnPixel8, FnPixelFloat, 255>::kModeBilinear);
  move.setMatrix(FnMatrix3::translation(0.5f, 0.0f));
  move.process(&in, &out);
  EXPECT_EQ(out.cell(0, 0).a, 254);  // 254.5 truncates
  EXPECT_EQ(out.cell(0, 0).r, 127);
  EXPECT_EQ(out.cell(0, 0).g, 100);
  EXPECT_EQ(out.cell(0, 0).b, 1);
}

}  // namespace
