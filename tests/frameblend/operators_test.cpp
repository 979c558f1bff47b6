#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine_test_support.h"
#include "map_reference.h"
#include "frameblend/framework/operators.h"
#include "rx_test_support.h"

namespace {

using namespace RX_Engine;
using enginetest::EngineTest;

using enginetest::plain_read;

TEST_F(EngineTest, CopySamplerReadsEveryCellThroughTheInputsRules) {
  enginetest::Random random;
  for (int32_t mode : {kBorderNone, kBorderClamp, kBorderMirror, kBorderWrap}) {
    FnTexture8 in(5, 4);
    enginetest::fill_map(in, [&](int32_t, int32_t) {
      return FnPixel8{{uint8_t(random.integer(0, 255)), 1, 2, uint8_t(random.integer(0, 255))}};
    });
    in.setBorderModes(mode, mode);
    in.setRegion(1, 3, 1, 2);
    in.setBackground({{9, 8, 7, 6}});
    FnTexture8 out(23, 11);
    SimpleCopySampler<FnPixel8> copy;
    copy.process(&in, &out);
    for (int32_t y = 0; y < 11; ++y) {
      for (int32_t x = 0; x < 23; ++x) {
        const FnPixel8 want = plain_read(in, x, y);
        ASSERT_EQ(std::memcmp(&out.cell(x, y), &want, 4), 0) << mode << " " << x << "," << y;
      }
    }
  }
}

TEST_F(EngineTest, CopySamplerKeepsTheOutputOutsideItsRegion) {
  FnFloatMap in(4, 4), out(4, 4);
  enginetest::fill_map(in, [](int32_t x, int32_t y) { return float(x + 4 * y); });
  enginetest::fill_map(out, [](int32_t, int32_t) { return -1.0f; });
  SimpleCopySampler<float> copy;
  copy.setRegion(1, 1, 3, 2);
  copy.process(&in, &out);
  EXPECT_EQ(out.cell(1, 1), 5.0f);
  EXPECT_EQ(out.cell(2, 1), 6.0f);
  EXPECT_EQ(out.cell(3, 1), -1.0f);
  EXPECT_EQ(out.cell(1, 2), -1.0f);
}

class Squares : public GeneralSampler<float, float> {
 public:
  using GeneralSampler<float, float>::GeneralSampler;
  void samplePixel(const float& in, float* out) override { *out = in * in; }
};

TEST_F(EngineTest, GeneralSamplerCallsItsPixelWithCellsOrTheBackground) {
  FnFloatMap in(3, 2), out(5, 3);
  enginetest::fill_map(in, [](int32_t x, int32_t y) { return float(1 + x + 3 * y); });
  in.setBackground(10.0f);
  Squares squares;
  squares.process(&in, &out);
  EXPECT_EQ(out.cell(2, 1), 36.0f);
  EXPECT_EQ(out.cell(3, 0), 100.0f);
  EXPECT_EQ(out.cell(0, 2), 100.0f);
  in.setBorderModes(kBorderMirror, kBorderMirror);
  squares.process(&in, &out);
  EXPECT_EQ(out.cell(3, 0), 9.0f);
  EXPECT_EQ(out.cell(4, 2), 25.0f);  // mirrored to cell (1, 1)
}

RX_Err abort_on_tenth(void* refcon) {
  return ++*static_cast<int32_t*>(refcon) >= 10 ? RX_Result_Interrupted : RX_Result_OK;
}

TEST_F(EngineTest, GeneralSamplerPollsEveryCell) {
  int32_t calls = 0;
  RX_FnInterruptContext context = enginetest::make_context(abort_on_tenth, &calls);
  FnFloatMap in(4, 4), out(4, 4);
  enginetest::fill_map(in, [](int32_t, int32_t) { return 2.0f; });
  enginetest::fill_map(out, [](int32_t, int32_t) { return 0.0f; });
  Squares squares(&context);
  squares.process(&in, &out);
  int32_t written = 0;
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 0; x < 4; ++x) written += out.cell(x, y) == 4.0f;
  }
  // One poll before the pass, then one before each cell: the tenth stops.
  EXPECT_EQ(written, 8);
  EXPECT_EQ(context.code, RX_Result_Interrupted);
}

class Differ : public GeneralCombiner<float, int, float> {
 public:
  void combinePixel(const float& a, const int& b, float* out) override { *out = a - float(b); }
};

TEST_F(EngineTest, GeneralCombinerPairsCellsOfTwoInputsWithTheirOwnRules) {
  FnFloatMap a(4, 3), out(7, 4);
  FnIntMap b(2, 5);
  enginetest::fill_map(a, [](int32_t x, int32_t y) { return float(100 * y + x); });
  enginetest::fill_map(b, [](int32_t x, int32_t y) { return 10 * y + x; });
  a.setBorderModes(kBorderWrap, kBorderClamp);
  b.setBorderModes(kBorderMirror, kBorderNone);
  b.setBackground(-5);
  Differ differ;
  differ.process(&a, &b, &out);
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 0; x < 7; ++x) {
      ASSERT_EQ(out.cell(x, y), plain_read(a, x, y) - float(plain_read(b, x, y)));
    }
  }
}

TEST_F(EngineTest, ColouredFrameFillsTheRegionWithItsValue) {
  for (enginetest::Workers w : enginetest::kAllWorkerSetups) {
    enginetest::use_workers(w);
    FnVectorMap map(6, 9);
    enginetest::fill_map(map, [](int32_t, int32_t) { return HvVec2{-1.0f, -1.0f}; });
    ColouredFrameGenerator<HvVec2, HvVec2, 123> fill(HvVec2{0.5f, kNoVector});
    fill.setRegion(1, 2, 5, 8);
    fill.process(&map);
    for (int32_t y = 0; y < 9; ++y) {
      for (int32_t x = 0; x < 6; ++x) {
        const bool inside = x >= 1 && x < 5 && y >= 2 && y < 8;
        EXPECT_EQ(map.cell(x, y).x, inside ? 0.5f : -1.0f);
      }
    }
  }
}

TEST_F(EngineTest, ColouredFrameZeroFlagClearsBytes) {
  FnFloatMap map(3, 3);
  enginetest::fill_map(map, [](int32_t, int32_t) { return 7.0f; });
  ColouredFrameGenerator<float, float, 1> fill(5.0f, true);
  fill.process(&map);
  EXPECT_EQ(map.cell(2, 2), 0.0f);
  FnIntMap ints(2, 2);
  ColouredFrameGenerator<int, int, 1> fill_int(666);
  fill_int.process(&ints);
  EXPECT_EQ(ints.cell(1, 1), 666);
}

template <class Px, class Interp, int Scale>
void check_alpha_matter() {
  using Value = typename Px::BaseType::Channel;
  const float s = float(Scale);
  FnTexture<Px, Interp> in(2, 1), out(2, 1);
  in.cell(0, 0) = {{Value(s / 2), Value(s), Value(0), Value(s / 4)}};
  in.cell(1, 0) = {{Value(0), Value(s), Value(s), Value(s)}};
  const auto expect = [&](int32_t mode, int32_t x, float a, float r, float g, float b) {
    AlphaMatter<Px, Interp, Scale> matter(mode);
    matter.process(&in, &out);
    const Interp v = fn_to_interp<Px>(out.cell(x, 0));
    EXPECT_EQ(v.a, a) << "mode " << mode;
    EXPECT_EQ(v.r, r) << "mode " << mode;
    EXPECT_EQ(v.g, g) << "mode " << mode;
    EXPECT_EQ(v.b, b) << "mode " << mode;
  };
  const Interp p = fn_to_interp<Px>(in.cell(0, 0));
  expect(0, 0, p.a, p.r, p.g, p.b);
  expect(1, 0, p.a, s - p.r, s - p.g, s - p.b);
  expect(2, 0, p.a, p.a, p.a, p.a);
  expect(3, 0, s - p.a, s - p.a, s - p.a, s - p.a);
  expect(3, 1, s, s, s, s);
}

TEST_F(EngineTest, AlphaMatterModesAtEveryDepth) {
  check_alpha_matter<FnPixel8, FnPixelFloat, 255>();
  check_alpha_matter<FnPixel16, FnPixelFloat, 32768>();
  check_alpha_matter<FnPixelFloat, FnPixelFloat, 1>();
}

TEST_F(EngineTest, AlphaMatterClampsOverRangeChannels) {
  FnTexture16 in(1, 1), out(1, 1);
  in.cell(0, 0) = {{40000, 65535, 32769, 10}};
  AlphaMatter<FnPixel16, FnPixelFloat, 32768> matter(0);
  matter.process(&in, &out);
  EXPECT_EQ(out.cell(0, 0).a, 32768);
  EXPECT_EQ(out.cell(0, 0).r, 32768);
  EXPECT_EQ(out.cell(0, 0).b, 10);
  FnTextureFloat fin(1, 1), fout(1, 1);
  fin.cell(0, 0) = {{1.5f, -0.25f, 0.5f, 2.0f}};
  AlphaMatter<FnPixelFloat, FnPixelFloat, 1> inverted(1);
  inverted.process(&fin, &fout);
  EXPECT_EQ(fout.cell(0, 0).a, 1.0f);
  EXPECT_EQ(fout.cell(0, 0).r, 1.0f);
  EXPECT_EQ(fout.cell(0, 0).g, 0.5f);
  EXPECT_EQ(fout.cell(0, 0).b, 0.0f);
}

TEST_F(EngineTest, AccumulatorAssignsThenAddsWeightedNativeChannels) {
  FnTexture8 in(2, 1);
  in.cell(0, 0) = {{255, 10, 20, 30}};
  in.cell(1, 0) = {{1, 2, 3, 4}};
  in.setBackground({{100, 100, 100, 100}});
  FnAccumMap acc(3, 1);
  FnIntAccumulator<FnPixel8, FnPixelFloat, 255> add(0.5f, true);
  add.process(&in, &acc);
  EXPECT_EQ(acc.cell(0, 0).r, 5.0f);
  EXPECT_EQ(acc.cell(0, 0).a, 127.5f);
  EXPECT_EQ(acc.cell(2, 0).g, 50.0f);  // a none cell reads the background
  add.setFirstPass(false);
  add.setWeight(2.0f);
  add.process(&in, &acc);
  EXPECT_EQ(acc.cell(0, 0).r, 25.0f);
  EXPECT_EQ(acc.cell(1, 0).b, 10.0f);
  EXPECT_EQ(acc.cell(2, 0).a, 250.0f);
}

TEST_F(EngineTest, DeaccumulatorWithCountZeroWritesZeros) {
  FnAccumMap acc(2, 2);
  enginetest::fill_map(acc, [](int32_t, int32_t) { return FnAccumCell{{9.0f, 9.0f, 9.0f, 9.0f}}; });
  FnTexture8 out(2, 2);
  FnFloatDeaccumulator<FnPixel8, FnPixelFloat, 255> divide(0.0f);
  divide.process(&acc, &out);
  EXPECT_EQ(out.cell(1, 1).a, 0);
  EXPECT_EQ(out.cell(1, 1).r, 0);
  divide.setCount(1.0e-39f);  // below the smallest normal float
  divide.process(&acc, &out);
  EXPECT_EQ(out.cell(0, 0).g, 0);
}

TEST_F(EngineTest, DeaccumulatorTruncatesAndClamps) {
  FnAccumMap acc(3, 1);
  acc.cell(0, 0) = {{254.9f, 509.8f, -4.0f, 1000.0f}};  // r, g, b, a
  acc.cell(1, 0) = {{65535.0f, 3.0f, 32767.99f, 16384.0f}};
  FnTexture8 out8(3, 1);
  FnFloatDeaccumulator<FnPixel8, FnPixelFloat, 255> to8(2.0f);
  to8.process(&acc, &out8);
  EXPECT_EQ(out8.cell(0, 0).r, 127);  // 127.45
  EXPECT_EQ(out8.cell(0, 0).g, 254);  // 254.9 stores 254
  EXPECT_EQ(out8.cell(0, 0).b, 0);
  EXPECT_EQ(out8.cell(0, 0).a, 255);
  FnTexture16 out16(3, 1);
  FnFloatDeaccumulator<FnPixel16, FnPixelFloat, 32768> to16(1.0f);
  to16.process(&acc, &out16);
  EXPECT_EQ(out16.cell(1, 0).r, 32768);
  EXPECT_EQ(out16.cell(1, 0).b, 32767);
  EXPECT_EQ(out16.cell(1, 0).a, 16384);
  FnTextureFloat outf(3, 1);
  FnFloatDeaccumulator<FnPixelFloat, FnPixelFloat, 1> tof(1.0f);
  tof.process(&acc, &outf);
  EXPECT_EQ(outf.cell(0, 0).r, 1.0f);
  EXPECT_EQ(outf.cell(0, 0).b, 0.0f);
}

TEST_F(EngineTest, DeaccumulatorUnpremultipliesByTheStoredAlpha) {
  FnAccumMap acc(2, 1);
  acc.cell(0, 0) = {{50.0f, 100.0f, 200.0f, 127.6f}};  // alpha stores 127
  acc.cell(1, 0) = {{50.0f, 100.0f, 200.0f, 0.0f}};
  FnTexture8 out(2, 1);
  FnFloatDeaccumulator<FnPixel8, FnPixelFloat, 255> divide(1.0f, true);
  divide.process(&acc, &out);
  const float k2 = 255.0f / 127.0f;
  EXPECT_EQ(out.cell(0, 0).a, 127);
  EXPECT_EQ(out.cell(0, 0).r, int(fn_store_channel(50.0f * k2, 255.0f)));
  EXPECT_EQ(out.cell(0, 0).g, int(fn_store_channel(100.0f * k2, 255.0f)));
  EXPECT_EQ(out.cell(0, 0).b, 255);
  EXPECT_EQ(out.cell(1, 0).r, 50);  // alpha 0: left as stored
}

TEST_F(EngineTest, DeaccumulatorConvertsTheBackgroundForCellsOutside) {
  FnAccumMap acc(1, 1);
  acc.cell(0, 0) = {{1, 1, 1, 1}};
  acc.setBackground({{20.0f, 40.0f, 60.0f, 80.0f}});
  FnTexture8 out(3, 1);
  FnFloatDeaccumulator<FnPixel8, FnPixelFloat, 255> divide(2.0f);
  divide.process(&acc, &out);
  EXPECT_EQ(out.cell(2, 0).r, 10);
  EXPECT_EQ(out.cell(2, 0).a, 40);
}

TEST_F(EngineTest, MeanCalculatorSumsPerWorkerAndPassesValuesThrough) {
  for (enginetest::Workers w : enginetest::kAllWorkerSetups) {
    enginetest::use_workers(w);
    FnFloatMap in(7, 13), out(7, 13);
    enginetest::fill_map(in, [](int32_t x, int32_t y) { return float((x * 3 + y) % 5); });
    FnMeanCalculator<float, float, float, 1> mean;
    mean.process(&in, &out);
    ASSERT_EQ(mean.workerCount(), w.threads);
    float sum = 0.0f;
    int32_t count = 0;
    for (int32_t i = 0; i < mean.workerCount(); ++i) {
      sum += mean.workerSum(i);
      count += mean.workerCount(i);
    }
    EXPECT_EQ(count, 91);
    float expected = 0.0f;
    for (int32_t y = 0; y < 13; ++y) {
      for (int32_t x = 0; x < 7; ++x) expected += in.cell(x, y);
    }
    EXPECT_EQ(sum, expected);
    EXPECT_EQ(mean.mean(), expected / 91.0f);
    EXPECT_EQ(enginetest::map_bytes(out), enginetest::map_bytes(in));
  }
}

}  // namespace
