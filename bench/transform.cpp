// RX_TransformWorld beside pixman and OpenCV on one 3840 x 2160 picture,
// one core: the layer turned 10 degrees and scaled by 0.8 about its centre,
// Over onto an opaque background. pixman gets the same pixels premultiplied
// (a8r8g8b8) and composites them with its bilinear filter through the same
// matrix; OpenCV's warpAffine (bilinear, 8-bit four channels) only resamples
// into a picture of its own. Motion blur moves the layer 24 pixels to the
// right over the shutter; its naive form is eight warpAffine calls summed
// in float and divided. The destination is restored before every
// iteration, outside the timing. The 16-bit and float transforms of the
// same pictures are timed beside the 8-bit ones.
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "RX.h"

namespace {

constexpr int kWidth = 3840, kHeight = 2160;
constexpr double kDegrees = 10.0, kScale = 0.8;
constexpr double kMotion = 24.0;  // pixels to the right over the shutter

struct Package {
  Package() { RX_Birth(); }
  ~Package() { RX_Death(); }
};

// A layer as a compositor sees one: an opaque picture whose alpha falls to
// 0 over its outer 40 pixels, and an opaque background.
struct Picture {
  std::vector<RX_Pixel8> layer, background;
  Picture() : layer(size_t(kWidth) * kHeight), background(size_t(kWidth) * kHeight) {
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const int border = std::min({x, y, kWidth - 1 - x, kHeight - 1 - y});
        const uint8_t alpha = uint8_t(std::min(255, border * 255 / 40));
        const double wave = 0.5 + 0.5 * std::sin(x * 0.013) * std::cos(y * 0.021);
        layer[size_t(y) * kWidth + x] = {alpha, uint8_t(x * 255 / kWidth), uint8_t(255 * wave),
                                         uint8_t((x ^ y) & 255)};
        background[size_t(y) * kWidth + x] = {255, uint8_t(255 - y * 255 / kHeight), uint8_t((x / 7) & 255),
                                              uint8_t(x * 255 / kWidth)};
      }
    }
  }
};

const Picture& picture() {
  static const Picture p;
  return p;
}

// Source to destination: turned and scaled about the centre, moved by tx.
GE_Matrix3 placement(double tx) {
  const double r = kDegrees * M_PI / 180.0, c = std::cos(r) * kScale, s = std::sin(r) * kScale;
  const double cx = kWidth / 2.0, cy = kHeight / 2.0;
  return GE_Matrix3{{{c, -s, cx - c * cx + s * cy + tx}, {s, c, cy - s * cx - c * cy}, {0, 0, 1}}};
}

template <class Px>
struct World {
  std::vector<Px> pixels;
  RX_LayerDef def{};
  World() : pixels(size_t(kWidth) * kHeight) {
    def.data = pixels.data();
    def.width = kWidth;
    def.height = kHeight;
    def.row_stride = kWidth * int32_t(sizeof(Px));
    RXp_SetLayerFlagsForDepth(&def, sizeof(Px) == 4 ? 8 : sizeof(Px) == 8 ? 16 : 32);
  }
};

template <class Px>
void convert(const std::vector<RX_Pixel8>& from, World<Px>& to) {
  World<RX_Pixel8> source;
  source.pixels = from;
  source.def.data = source.pixels.data();
  RX_CopyBits_Draft(nullptr, &source.def, &to.def, nullptr, nullptr);
}

// range(0): quality; range(1): matrices (1 still; 2 the two-matrix path,
// 17 samples at best and 9 at draft; 9 an even path of 9 matrices, 8
// positions).
template <class Px>
void BM_Transform(benchmark::State& state) {
  static Package package;
  World<Px> layer, background, dst;
  convert(picture().layer, layer);
  convert(picture().background, background);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  const int32_t quality = int32_t(state.range(0)), count = int32_t(state.range(1));
  std::vector<GE_Matrix3> matrices;
  for (int32_t i = 0; i < count; ++i) matrices.push_back(placement(count == 1 ? 0.0 : kMotion * i / (count - 1)));
  const GE_LRect all{0, 0, kWidth, kHeight};
  RX_Err err = 0;
  for (auto _ : state) {
    state.PauseTiming();
    dst.pixels = background.pixels;
    dst.def.data = dst.pixels.data();
    state.ResumeTiming();
    err |= RX_TransformWorld(nullptr, quality, 0, 0, &layer.def, &mode, nullptr, nullptr, matrices.data(), count, 1,
                             all, &dst.def);
    benchmark::ClobberMemory();
  }
  if (err) state.SkipWithError("the transform failed");
  const int32_t positions = count == 1 ? 1 : count == 2 ? (quality ? 16 : 8) : count - 1;
  state.SetLabel(std::string(quality ? "best" : "draft") + ", " + std::to_string(positions) + " position" +
                 (positions > 1 ? "s" : ""));
  state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

uint32_t premultiplied_word(const RX_Pixel8& p) {
  auto mul = [](uint32_t c, uint32_t a) { const uint32_t t = c * a + 128; return (t + (t >> 8)) >> 8; };
  return uint32_t(p.alpha) << 24 | mul(p.red, p.alpha) << 16 | mul(p.green, p.alpha) << 8 | mul(p.blue, p.alpha);
}

void BM_PixmanBilinearOver(benchmark::State& state) {
  std::vector<uint32_t> layer(size_t(kWidth) * kHeight), background(layer.size()), dst(layer.size());
  for (size_t i = 0; i < layer.size(); ++i) {
    layer[i] = premultiplied_word(picture().layer[i]);
    background[i] = premultiplied_word(picture().background[i]);
  }
  pixman_image_t* src_image = pixman_image_create_bits(PIXMAN_a8r8g8b8, kWidth, kHeight, layer.data(), kWidth * 4);
  pixman_image_t* dst_image = pixman_image_create_bits(PIXMAN_a8r8g8b8, kWidth, kHeight, dst.data(), kWidth * 4);
  // pixman maps destination to source.
  GE_Matrix3 forward = placement(0.0), inverse;
  GE_InverseMatrixQuiet(&forward, &inverse);
  pixman_transform_t t;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) t.matrix[r][c] = pixman_double_to_fixed(inverse.m[r][c]);
  }
  pixman_image_set_transform(src_image, &t);
  pixman_image_set_filter(src_image, PIXMAN_FILTER_BILINEAR, nullptr, 0);
  pixman_image_set_repeat(src_image, PIXMAN_REPEAT_NONE);
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(dst.data(), background.data(), dst.size() * 4);
    state.ResumeTiming();
    pixman_image_composite32(PIXMAN_OP_OVER, src_image, nullptr, dst_image, 0, 0, 0, 0, 0, 0, kWidth, kHeight);
    benchmark::ClobberMemory();
  }
  pixman_image_unref(src_image);
  pixman_image_unref(dst_image);
  state.SetLabel("bilinear OVER, premultiplied a8r8g8b8");
  state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

cv::Mat layer_mat() {
  cv::Mat m(kHeight, kWidth, CV_8UC4);
  std::memcpy(m.data, picture().layer.data(), size_t(kWidth) * kHeight * 4);
  return m;
}

cv::Mat affine_of(const GE_Matrix3& m) {
  return (cv::Mat_<double>(2, 3) << m.m[0][0], m.m[0][1], m.m[0][2], m.m[1][0], m.m[1][1], m.m[1][2]);
}

void BM_OpenCVWarpAffine(benchmark::State& state) {
  cv::setNumThreads(1);
  const cv::Mat src = layer_mat(), affine = affine_of(placement(0.0));
  cv::Mat out(kHeight, kWidth, CV_8UC4);
  for (auto _ : state) {
    cv::warpAffine(src, out, affine, out.size(), cv::INTER_LINEAR);
    benchmark::ClobberMemory();
  }
  state.SetLabel("INTER_LINEAR, 8UC4, no compositing");
  state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

// The naive motion blur: eight warps along the path, summed in float and
// divided.
void BM_OpenCVNaiveMotion8(benchmark::State& state) {
  cv::setNumThreads(1);
  const cv::Mat src = layer_mat();
  cv::Mat warped(kHeight, kWidth, CV_8UC4), sum(kHeight, kWidth, CV_32FC4), out(kHeight, kWidth, CV_8UC4);
  std::vector<cv::Mat> affines;
  for (int i = 0; i < 8; ++i) affines.push_back(affine_of(placement(kMotion * i / 8)));
  for (auto _ : state) {
    sum.setTo(cv::Scalar::all(0));
    for (const cv::Mat& a : affines) {
      cv::warpAffine(src, warped, a, warped.size(), cv::INTER_LINEAR);
      cv::accumulate(warped, sum);
    }
    sum.convertTo(out, CV_8UC4, 1.0 / 8);
    benchmark::ClobberMemory();
  }
  state.SetLabel("8 x warpAffine, summed in float");
  state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

// The machine is shared: with --benchmark_repetitions the fastest run is
// reported beside the median.
void common(benchmark::internal::Benchmark* b) {
  b->Unit(benchmark::kMillisecond)->UseRealTime();
  b->ComputeStatistics("min", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); });
}

void transforms(benchmark::internal::Benchmark* b) {
  for (int64_t quality : {1, 0}) {
    for (int64_t count : {1, 2, 9}) b->Args({quality, count});
  }
  common(b);
}

}  // namespace

BENCHMARK(BM_PixmanBilinearOver)->Apply(common);
BENCHMARK(BM_OpenCVWarpAffine)->Apply(common);
BENCHMARK(BM_OpenCVNaiveMotion8)->Apply(common);
BENCHMARK_TEMPLATE(BM_Transform, RX_Pixel8)->Apply(transforms);
BENCHMARK_TEMPLATE(BM_Transform, RX_Pixel16)->Apply(transforms);
BENCHMARK_TEMPLATE(BM_Transform, RX_PixelFloat)->Apply(transforms);
BENCHMARK_MAIN();
