#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine_test_support.h"
#include "map_reference.h"
#include "frameblend/maps/texture.h"
#include "rx_test_support.h"

namespace {

using namespace RX_Engine;
using enginetest::EngineTest;

using enginetest::plain_bilinear;

template <class V>
void expect_same(const V& a, const V& b) {
  EXPECT_EQ(std::memcmp(&a, &b, sizeof(V)), 0);
}

TEST_F(EngineTest, BilinearSamplesMatchTheReferenceAtIntegerHalfAndRandomPositions) {
  enginetest::Random random;
  for (int32_t mode : {kBorderNone, kBorderClamp, kBorderMirror, kBorderWrap}) {
    FnFloatMap map(7, 5);
    enginetest::fill_map(map, [&](int32_t, int32_t) { return random.uniform(-2.0f, 2.0f); });
    map.setBorderModes(mode, mode);
    map.setBackground(0.75f);
    map.setRegion(1, 5, 0, 3);
    map.setFloatOrigin(0.25f, -1.0f);
    for (float y = -4.0f; y <= 9.0f; y += 0.5f) {
      for (float x = -4.0f; x <= 11.0f; x += 0.5f) {
        ASSERT_EQ(map.sample(x, y), plain_bilinear(map, x, y)) << x << "," << y;
      }
    }
    for (int32_t i = 0; i < 500; ++i) {
      const float x = random.uniform(-6.0f, 14.0f), y = random.uniform(-6.0f, 10.0f);
      ASSERT_EQ(map.sample(x, y), plain_bilinear(map, x, y));
    }
  }
}

TEST_F(EngineTest, IntegerPixelsInterpolateInFloatWithoutRounding) {
  enginetest::Random random;
  FnTexture8 map8(6, 4);
  enginetest::fill_map(map8, [&](int32_t, int32_t) {
    return FnPixel8{{uint8_t(random.integer(0, 255)), uint8_t(random.integer(0, 255)),
                     uint8_t(random.integer(0, 255)), uint8_t(random.integer(0, 255))}};
  });
  map8.setBorderModes(kBorderMirror, kBorderClamp);
  FnTexture16 map16(5, 5);
  enginetest::fill_map(map16, [&](int32_t, int32_t) {
    return FnPixel16{{uint16_t(random.integer(0, 32768)), uint16_t(random.integer(0, 32768)),
                      uint16_t(random.integer(0, 32768)), uint16_t(random.integer(0, 32768))}};
  });
  map16.setBorderModes(kBorderWrap, kBorderNone);
  map16.setBackground(FnPixel16{{1, 2, 3, 4}});
  for (int32_t i = 0; i < 400; ++i) {
    const float x = random.uniform(-3.0f, 9.0f), y = random.uniform(-3.0f, 8.0f);
    expect_same(map8.sample(x, y), plain_bilinear(map8, x, y));
    expect_same(map16.sample(x, y), plain_bilinear(map16, x, y));
  }
  // The Interp value keeps fractions.
  FnTexture8 two(2, 1);
  two.cell(0, 0) = {{0, 0, 0, 0}};
  two.cell(1, 0) = {{255, 1, 2, 3}};
  const FnPixelFloat half = two.sample(1.0f, 0.5f);
  EXPECT_EQ(half.a, 127.5f);
  EXPECT_EQ(half.r, 0.5f);
}

TEST_F(EngineTest, VectorAndRgbaMapsSampleChannelByChannel) {
  FnVectorMap vectors(2, 2);
  vectors.cell(0, 0) = {0.0f, 4.0f};
  vectors.cell(1, 0) = {2.0f, 8.0f};
  vectors.cell(0, 1) = {4.0f, 0.0f};
  vectors.cell(1, 1) = {6.0f, 4.0f};
  const HvVec2 centre = vectors.sample(1.0f, 1.0f);
  EXPECT_EQ(centre.x, 3.0f);
  EXPECT_EQ(centre.y, 4.0f);
  FnAccumMap accum(1, 1);
  accum.cell(0, 0) = {{1.0f, 2.0f, 3.0f, 4.0f}};
  accum.setBorderModes(kBorderClamp, kBorderClamp);
  const FnAccumCell c = accum.sample(3.0f, -2.0f);
  EXPECT_EQ(c.r, 1.0f);
  EXPECT_EQ(c.a, 4.0f);
}

TEST_F(EngineTest, BorderNoneAtTheFirstCellMixesHalfBackground) {
  FnFloatMap map(3, 1);
  map.cell(0, 0) = 10.0f;
  map.cell(1, 0) = 20.0f;
  map.cell(2, 0) = 30.0f;
  map.setBorderModes(kBorderNone, kBorderClamp);
  map.setBackground(2.0f);
  EXPECT_EQ(map.sample(0.0f, 0.5f), 6.0f);
}

TEST_F(EngineTest, FloatOriginOneAndAHalfReadsCellZeroExactlyAtTwo) {
  FnFloatMap map(3, 3);
  enginetest::fill_map(map, [](int32_t x, int32_t y) { return 0.1f + float(x) * 0.37f + float(y); });
  map.setFloatOrigin(1.5f, 1.5f);
  EXPECT_EQ(map.sample(2.0f, 2.0f), map.cell(0, 0));
}

TEST_F(EngineTest, RectangleSamplesAtItsCentre) {
  FnFloatMap map(4, 4);
  enginetest::fill_map(map, [](int32_t x, int32_t y) { return float(x * 10 + y); });
  EXPECT_EQ(map.sampleRect(0.5f, 1.0f, 3.5f, 2.0f), map.sample(2.0f, 1.5f));
  EXPECT_EQ(map.sampleAround(2.0f, 1.5f, 7.0f, 0.25f), map.sample(2.0f, 1.5f));
}

TEST_F(EngineTest, UnboundedSampleIsZeroFarOutAndBilinearInside) {
  FnFloatMap map(4, 3);
  enginetest::fill_map(map, [](int32_t x, int32_t y) { return float(1 + x + 4 * y); });
  map.setBorderModes(kBorderClamp, kBorderClamp);
  EXPECT_EQ(map.sampleUnbounded(-1.0f, 1.0f), 0.0f);  // floor -2
  EXPECT_EQ(map.sampleUnbounded(4.5f, 1.0f), 0.0f);   // floor 4, not below 4
  EXPECT_EQ(map.sampleUnbounded(2.0f, 5.0f), 0.0f);
  EXPECT_EQ(map.sampleUnbounded(1.5f, 1.5f), map.cell(1, 1));
  EXPECT_EQ(map.sampleUnbounded(2.0f, 2.0f), map.sample(2.0f, 2.0f));
  // At the edge, cell by cell through the border rules.
  EXPECT_EQ(map.sampleUnbounded(0.0f, 0.5f), map.sample(0.0f, 0.5f));
  EXPECT_EQ(map.sampleUnbounded(4.0f, 3.0f), map.sample(4.0f, 3.0f));
}

TEST_F(EngineTest, MapGivesCellsThroughTheRulesOrNull) {
  FnIntMap map(3, 2);
  enginetest::fill_map(map, [](int32_t x, int32_t y) { return x + 10 * y; });
  EXPECT_EQ(map.map(-1, 0), nullptr);
  map.setBorderModes(kBorderMirror, kBorderWrap);
  ASSERT_NE(map.map(-1, 2), nullptr);
  EXPECT_EQ(*map.map(-1, 2), 0);
  EXPECT_EQ(*map.map(4, -1), 11);
  map.setBackground(99);
  map.setBorderModes(kBorderNone, kBorderNone);
  EXPECT_EQ(map.mapOrBackground(5, 0), 99);
}

TEST_F(EngineTest, AllocationTakesEngineMemoryAndFreesIt) {
  const rxtest::ReportCapture reports;
  const int64_t bytes = RXHost_LiveBytes();
  {
    FnTexture16 map(10, 3);
    ASSERT_NE(map.pixels(), nullptr);
    EXPECT_TRUE(map.ownsPixels());
    EXPECT_FALSE(map.allocationFailed());
    EXPECT_EQ(map.rowBytes(), 80);
    EXPECT_EQ(RXHost_LiveBytes(), bytes + 240);
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TEST_F(EngineTest, FailedAllocationLeavesNullPixelsAndThrowsNothing) {
  rxtest::ReportCapture reports;
  const int64_t blocks = RXHost_LiveBlocks();
  RXHost_FailNthAllocation(1);
  FnFloatMap map(8, 8);
  EXPECT_EQ(map.pixels(), nullptr);
  EXPECT_TRUE(map.allocationFailed());
  EXPECT_FALSE(map.usable());
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

TEST_F(EngineTest, ZeroSizeGivesNullPixelsWithoutFailure) {
  FnFloatMap map(0, 5);
  EXPECT_EQ(map.pixels(), nullptr);
  EXPECT_FALSE(map.allocationFailed());
  FnFloatMap flat(5, 0);
  EXPECT_EQ(flat.pixels(), nullptr);
  EXPECT_FALSE(flat.allocationFailed());
}

TEST_F(EngineTest, AssignAliasesPixelsAndCopiesGeometry) {
  FnFloatMap source(4, 3);
  enginetest::fill_map(source, [](int32_t x, int32_t y) { return float(x + y); });
  source.setBorderModes(kBorderMirror, kBorderWrap);
  source.setFloatOrigin(0.5f, 2.0f);
  source.setBackground(-1.0f);
  const int64_t blocks = RXHost_LiveBlocks();
  {
    FnFloatMap alias(9, 9);
    alias.assign(source);
    EXPECT_EQ(RXHost_LiveBlocks(), blocks);  // its own pixels went back
    EXPECT_EQ(alias.pixels(), source.pixels());
    EXPECT_FALSE(alias.ownsPixels());
    EXPECT_EQ(std::memcmp(&alias.xAxis(), &source.xAxis(), sizeof(FnTexAxis)), 0);
    EXPECT_EQ(std::memcmp(&alias.yAxis(), &source.yAxis(), sizeof(FnTexAxis)), 0);
    EXPECT_EQ(alias.background(), -1.0f);
    EXPECT_EQ(alias.rowBytes(), source.rowBytes());
  }
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);  // the alias freed nothing
  EXPECT_EQ(source.cell(3, 2), 5.0f);
}

TEST_F(EngineTest, AssigningAMapToItselfDoesNothing) {
  FnFloatMap map(4, 4);
  float* pixels = map.pixels();
  map.assign(map);
  EXPECT_EQ(map.pixels(), pixels);
  EXPECT_TRUE(map.ownsPixels());
  EXPECT_EQ(map.width(), 4);
}

TEST_F(EngineTest, WorldPixelsAreWrappedWithoutCopyWithTheWorldsRowBytes) {
  rxtest::TestWorld<RX_PixelFloat> world(5, 3, 24, 4);
  RX_LayerDef& def = *world.def();
  auto* pixels = static_cast<FnPixelFloat*>(def.data);
  FnTextureFloat map(def.width, def.height, pixels, def.row_stride);
  map.setBorderModes(kBorderClamp, kBorderClamp);
  EXPECT_FALSE(map.ownsPixels());
  EXPECT_EQ(map.rowBytes(), def.row_stride);
  auto* row2 = reinterpret_cast<RX_PixelFloat*>(static_cast<char*>(def.data) + 2 * def.row_stride);
  row2[4] = {0.5f, 0.25f, 0.125f, 1.0f};
  EXPECT_EQ(map.cell(4, 2).a, 0.5f);
  EXPECT_EQ(map.cell(4, 2).b, 1.0f);
  map.cell(0, 1).r = 0.75f;
  EXPECT_EQ(reinterpret_cast<RX_PixelFloat*>(static_cast<char*>(def.data) + def.row_stride)[0].red,
            0.75f);
}

TEST(EngineValues, StoreClampsAndTruncates) {
  const FnPixel8 p8 = fn_store<FnPixel8>(FnPixelFloat{{254.9f, -3.0f, 300.0f, 0.99f}});
  EXPECT_EQ(p8.a, 254);
  EXPECT_EQ(p8.r, 0);
  EXPECT_EQ(p8.g, 255);
  EXPECT_EQ(p8.b, 0);
  const FnPixel16 p16 = fn_store<FnPixel16>(FnPixelFloat{{40000.0f, 32767.99f, 1.5f, -0.5f}});
  EXPECT_EQ(p16.a, 32768);
  EXPECT_EQ(p16.r, 32767);
  EXPECT_EQ(p16.g, 1);
  EXPECT_EQ(p16.b, 0);
  const FnPixelFloat pf = fn_store<FnPixelFloat>(FnPixelFloat{{2.0f, -1.0f, 0.5f, 0.25f}});
  EXPECT_EQ(pf.a, 2.0f);
  EXPECT_EQ(pf.r, -1.0f);
}

TEST(EngineValues, PixelLayoutsMatchTheWorlds) {
  static_assert(sizeof(FnPixel8) == sizeof(RX_Pixel8));
  static_assert(sizeof(FnPixel16) == sizeof(RX_Pixel16));
  static_assert(sizeof(FnPixelFloat) == sizeof(RX_PixelFloat));
  EXPECT_EQ(offsetof(FnPixel8, a), offsetof(RX_Pixel8, alpha));
  EXPECT_EQ(offsetof(FnPixel8, b), offsetof(RX_Pixel8, blue));
  EXPECT_EQ(offsetof(FnPixel16, r), offsetof(RX_Pixel16, red));
  EXPECT_EQ(offsetof(FnPixelFloat, g), offsetof(RX_PixelFloat, green));
  EXPECT_EQ(offsetof(FnAccumCell, r), 0u);
  EXPECT_EQ(offsetof(FnAccumCell, a), 12u);
}

TEST(EngineValues, NoVectorIsTheLargestFloat) {
  uint32_t bits;
  std::memcpy(&bits, &kNoVector, 4);
  EXPECT_EQ(bits, 0x7F7FFFFFu);
  EXPECT_FALSE(kNoVectorValue.isVector());
  EXPECT_TRUE((HvVec2{0.0f, 0.0f}).isVector());
}

}  // namespace
