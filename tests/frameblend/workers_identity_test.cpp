// Every operator gives the same bytes whether it runs on the package's
// serial iterate or on 1, 2 or 8 workers of a parallel one.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "engine_test_support.h"
#include "frameblend/framework/move_samplers.h"
#include "frameblend/framework/operators.h"
#include "frameblend/resample/box_blur.h"
#include "frameblend/resample/kernels.h"
#include "frameblend/resample/pyramid.h"
#include "frameblend/resample/zoomers.h"

namespace {

using namespace RX_Engine;
using enginetest::EngineTest;

// Runs the operation under each worker setup and compares what it gives.
void expect_same_for_every_setup(const std::string& name,
                                 const std::function<std::vector<uint8_t>()>& run) {
  std::vector<uint8_t> first;
  for (const enginetest::Workers w : enginetest::kAllWorkerSetups) {
    enginetest::use_workers(w);
    const std::vector<uint8_t> bytes = run();
    ASSERT_FALSE(bytes.empty()) << name;
    if (first.empty()) {
      first = bytes;
    } else {
      EXPECT_EQ(bytes, first) << name << " with " << w.threads << " workers";
    }
  }
}

void fill_random(FnFloatMap& map, uint32_t seed) {
  enginetest::Random random(seed);
  enginetest::fill_map(map, [&](int32_t, int32_t) { return random.uniform(0.0f, 1.0f); });
}

void fill_random(FnTexture16& map, uint32_t seed) {
  enginetest::Random random(seed);
  enginetest::fill_map(map, [&](int32_t, int32_t) {
    return FnPixel16{{uint16_t(random.integer(0, 32768)), uint16_t(random.integer(0, 32768)),
                      uint16_t(random.integer(0, 32768)), uint16_t(random.integer(0, 32768))}};
  });
}

class Squares : public GeneralSampler<float, float> {
 public:
  void samplePixel(const float& in, float* out) override { *out = in * in + 0.25f; }
};

class Mixer : public GeneralCombiner<float, float, float> {
 public:
  void combinePixel(const float& a, const float& b, float* out) override { *out = (b - a) * 0.3f + a; }
};

constexpr int32_t kW = 61, kH = 37;

TEST_F(EngineTest, SmallOperatorsGiveTheSameBytesOnAnyNumberOfWorkers) {
  FnFloatMap in(kW, kH), other(kW - 9, kH + 4);
  fill_random(in, 11);
  fill_random(other, 12);
  in.setBorderModes(kBorderMirror, kBorderClamp);
  other.setBorderModes(kBorderWrap, kBorderMirror);
  FnTexture16 pixels(kW, kH);
  fill_random(pixels, 13);

  expect_same_for_every_setup("copy", [&] {
    FnFloatMap out(kW + 7, kH + 5);
    SimpleCopySampler<float> op;
    op.process(&in, &out);
    return enginetest::map_bytes(out);
  });
  expect_same_for_every_setup("general sampler", [&] {
    FnFloatMap out(kW, kH);
    enginetest::fill_map(out, [](int32_t, int32_t) { return -1.0f; });  // outside the region
    Squares op;
    op.setRegion(3, 2, kW - 4, kH - 1);
    op.process(&in, &out);
    return enginetest::map_bytes(out);
  });
  expect_same_for_every_setup("combiner", [&] {
    FnFloatMap out(kW, kH);
    Mixer op;
    op.process(&in, &other, &out);
    return enginetest::map_bytes(out);
  });
  expect_same_for_every_setup("coloured frame", [&] {
    FnVectorMap out(kW, kH);
    ColouredFrameGenerator<HvVec2, HvVec2, 123>(HvVec2{0.5f, -2.0f}).process(&out);
    return enginetest::map_bytes(out);
  });
  expect_same_for_every_setup("alpha matter", [&] {
    FnTexture16 out(kW, kH);
    AlphaMatter<FnPixel16, FnPixelFloat, 32768> op(3);
    op.process(&pixels, &out);
    return enginetest::map_bytes(out);
  });
  expect_same_for_every_setup("accumulate and divide", [&] {
    FnAccumMap acc(kW, kH);
    FnIntAccumulator<FnPixel16, FnPixelFloat, 32768> add(0.75f, true);
    add.process(&pixels, &acc);
    add.setFirstPass(false);
    add.process(&pixels, &acc);
    FnTexture16 out(kW, kH);
    FnFloatDeaccumulator<FnPixel16, FnPixelFloat, 32768> divide(1.5f, true);
    divide.process(&acc, &out);
    std::vector<uint8_t> bytes = enginetest::map_bytes(acc);
    const std::vector<uint8_t> more = enginetest::map_bytes(out);
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
  });
  expect_same_for_every_setup("mean pass-through", [&] {
    FnFloatMap out(kW, kH);
    FnMeanCalculator<float, float, float, 1> op;
    op.process(&in, &out);
    return enginetest::map_bytes(out);
  });
}

TEST_F(EngineTest, MoveSamplersGiveTheSameBytesOnAnyNumberOfWorkers) {
  FnFloatMap in(kW, kH);
  fill_random(in, 21);
  in.setBorderModes(kBorderMirror, kBorderMirror);
  FnFilteredPyramid<float, float, 1> pyramid(&in, 3);
  pyramid.build();
  const FnMatrix3 m = FnMatrix3::rotation(0.3f).scaled(1.7f, 1.2f) * FnMatrix3::translation(2.5f, -1.0f);
  for (int32_t mode = 0; mode <= 4; ++mode) {
    for (uint32_t area : {0u, 1u}) {
      if (area && mode > 2) continue;
      expect_same_for_every_setup("move " + std::to_string(mode) + " area " + std::to_string(area), [&] {
        FnFloatMap out(40, 30);
        FnMoveSampler<float, float, 1> op;
        op.setMode(mode);
        op.setOptions(area);
        op.setMatrix(m);
        op.setStack(pyramid.stack());
        op.process(&in, &out);
        return enginetest::map_bytes(out);
      });
    }
  }
}

TEST_F(EngineTest, ResamplersGiveTheSameBytesOnAnyNumberOfWorkers) {
  FnFloatMap in(kW, kH);
  fill_random(in, 31);
  in.setBorderModes(kBorderClamp, kBorderMirror);
  for (float r : {0.0f, 0.5f, 1.0f, 2.6f}) {
    expect_same_for_every_setup("box blur " + std::to_string(r), [&] {
      FnFloatMap out(kW, kH);
      BlurGeneralGauss<float, float, 1, 1, 1, 1, 0> op(r, r * 1.5f, 3);
      op.process(&in, &out);
      return enginetest::map_bytes(out);
    });
  }
  for (int32_t phases : {0, 16}) {
    expect_same_for_every_setup("kernel sampler " + std::to_string(phases), [&] {
      FnFloatMap out(23, 50);
      KernelSampler<float, float> op;
      op.setRadii(1.4f, 2.2f, phases);
      op.process(&in, &out);
      return enginetest::map_bytes(out);
    });
  }
  expect_same_for_every_setup("two kernels", [&] {
    FnFloatMap out(kW, kH);
    const float xt[5] = {0.1f, 0.2f, 0.4f, 0.2f, 0.1f};
    const float yt[3] = {0.25f, 0.5f, 0.25f};
    BiKernelSampler<float, float> op;
    op.setKernels(xt, 5, yt, 3);
    op.process(&in, &out);
    return enginetest::map_bytes(out);
  });
  for (uint32_t options : {0u, 1u}) {
    expect_same_for_every_setup("zoom " + std::to_string(options), [&] {
      FnFloatMap out(97, 19);
      ImageZoomerBase<float, float> op(options);
      op.process(&in, &out);
      return enginetest::map_bytes(out);
    });
  }
  expect_same_for_every_setup("vector zoom", [&] {
    FnVectorMap vectors(13, 9), out(26, 18);
    enginetest::fill_map(vectors, [](int32_t x, int32_t y) {
      return (x + y) % 5 == 0 ? kNoVectorValue : HvVec2{float(x) * 0.25f, -float(y)};
    });
    ImageZoomerGP<HvVec2, HvVec2> op(ImageZoomerGP<HvVec2, HvVec2>::kOptionNearest |
                                     ImageZoomerGP<HvVec2, HvVec2>::kOptionScaleVectors);
    op.process(&vectors, &out);
    return enginetest::map_bytes(out);
  });
  expect_same_for_every_setup("zoom sampler", [&] {
    FnFloatMap out(30, 18);
    FnImageZoomSampler<float, float> op;
    op.process(&in, &out);
    return enginetest::map_bytes(out);
  });
}

TEST_F(EngineTest, PyramidsGiveTheSameBytesOnAnyNumberOfWorkers) {
  for (uint32_t options : {0u, 1u}) {
    expect_same_for_every_setup("pyramid " + std::to_string(options), [&] {
      FnFloatMap input(129, 71);
      fill_random(input, 41);
      input.setBorderModes(kBorderClamp, kBorderClamp);
      FnFilteredPyramid<float, float, 1> pyramid(&input, 4);
      pyramid.setOptions(options);
      pyramid.build();
      std::vector<uint8_t> bytes;
      for (int32_t l = 1; l < 4; ++l) {
        const std::vector<uint8_t> level = enginetest::map_bytes(*pyramid.stack()->level(l));
        bytes.insert(bytes.end(), level.begin(), level.end());
      }
      return bytes;
    });
  }
}

}  // namespace
