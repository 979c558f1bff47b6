// The uno blur scans beside OpenCV, one core: an 8-bit 3840 x 2160 mask
// buffer blurred by rows and then by columns (each column gathered into a
// line, scanned and put back), with RX_GBlurUnoScan's Gaussian kernel at
// radii 2, 10 and 40 and the Box scan at radii 2, 10 and 40 for kind 0
// (one repeated box from radius 2 on) and kind 2 (a simple box at radius
// 2, three repeated boxes from radius 10 on, whose cost then stays);
// OpenCV's GaussianBlur (kernel
// of the same width, sigma of the package's bell curve) and blur (box of
// 2r + 1) on a single-channel 8-bit image of the same size, with
// cv::setNumThreads(1). The buffer is restored before every iteration,
// outside the timing.
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "RX.h"

namespace {

constexpr int kWidth = 3840, kHeight = 2160;

struct Package {
  Package() {
    RX_Birth();
    cv::setNumThreads(1);
  }
  ~Package() { RX_Death(); }
};

// Soft-edged discs: a matte's usual content.
const std::vector<uint8_t>& mask_picture() {
  static const std::vector<uint8_t> pixels = [] {
    std::vector<uint8_t> p(size_t(kWidth) * kHeight);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const double cx = (x % 480) - 240.0, cy = (y % 480) - 240.0;
        const double edge = std::clamp((200.0 - std::sqrt(cx * cx + cy * cy)) / 40.0, 0.0, 1.0);
        p[size_t(y) * kWidth + x] = uint8_t(std::lround(255 * edge));
      }
    }
    return p;
  }();
  return pixels;
}

enum ScanKind { kGaussian = 0, kBoxOnePass = 1, kBoxThreePasses = 2 };

// Rows, then columns through a gathered line.
void blur_buffer(RX_UnoBuffer* buffer, ScanKind which, int32_t radius_px, std::vector<uint8_t>& scratch,
                 std::vector<uint8_t>& column) {
  const int32_t radius = radius_px * 65536;
  auto* values = static_cast<uint8_t*>(*buffer->pixels);
  auto scan = [&](int32_t width, uint8_t* line) {
    if (which == kGaussian) return RX_GBlurUnoScan(1, width, 0, width, radius, scratch.data(), line);
    return RX_BoxBlurUnoScan(which == kBoxOnePass ? 0 : 2, width, 0, width, radius, scratch.data(), line);
  };
  for (int y = 0; y < kHeight; ++y) scan(kWidth, values + size_t(y) * kWidth);
  for (int x = 0; x < kWidth; ++x) {
    for (int y = 0; y < kHeight; ++y) column[size_t(y)] = values[size_t(y) * kWidth + x];
    scan(kHeight, column.data());
    for (int y = 0; y < kHeight; ++y) values[size_t(y) * kWidth + x] = column[size_t(y)];
  }
}

void BM_UnoScans(benchmark::State& state) {
  static Package package;
  const auto which = ScanKind(state.range(0));
  const int32_t radius_px = int32_t(state.range(1));
  RX_UnoBuffer* buffer = nullptr;
  if (RX_NewUnoBuffer(kWidth, kHeight, &buffer) != RX_Result_OK) {
    state.SkipWithError("no buffer");
    return;
  }
  const int margin = 4 * radius_px + 8;
  std::vector<uint8_t> scratch(static_cast<size_t>(std::max(kWidth, kHeight) + margin));
  std::vector<uint8_t> column(static_cast<size_t>(kHeight));
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(*buffer->pixels, mask_picture().data(), mask_picture().size());
    state.ResumeTiming();
    blur_buffer(buffer, which, radius_px, scratch, column);
    benchmark::DoNotOptimize(*buffer->pixels);
  }
  RX_DisposeUnoBuffer(buffer);
  state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

// sigma of exp(-2.378 (x / (r + 1))^2), the package's bell curve.
double sigma_of(int32_t radius_px) { return (radius_px + 1.0) / std::sqrt(2.0 * 2.378); }

void BM_OpenCVGaussianBlur(benchmark::State& state) {
  static Package package;
  const int32_t radius_px = int32_t(state.range(0));
  cv::Mat src(kHeight, kWidth, CV_8UC1), dst(kHeight, kWidth, CV_8UC1);
  std::memcpy(src.data, mask_picture().data(), mask_picture().size());
  const int size = 2 * radius_px + 1;
  for (auto _ : state) {
    cv::GaussianBlur(src, dst, cv::Size(size, size), sigma_of(radius_px), sigma_of(radius_px),
                     cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(dst.data);
  }
  state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

void BM_OpenCVBoxBlur(benchmark::State& state) {
  static Package package;
  const int32_t radius_px = int32_t(state.range(0));
  cv::Mat src(kHeight, kWidth, CV_8UC1), dst(kHeight, kWidth, CV_8UC1);
  std::memcpy(src.data, mask_picture().data(), mask_picture().size());
  const int size = 2 * radius_px + 1;
  for (auto _ : state) {
    cv::blur(src, dst, cv::Size(size, size), cv::Point(-1, -1), cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(dst.data);
  }
  state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

}  // namespace

BENCHMARK(BM_UnoScans)
    ->ArgNames({"scan", "radius"})
    ->Args({kGaussian, 2})
    ->Args({kGaussian, 10})
    ->Args({kGaussian, 40})
    ->Args({kBoxOnePass, 2})
    ->Args({kBoxOnePass, 10})
    ->Args({kBoxOnePass, 40})
    ->Args({kBoxThreePasses, 2})
    ->Args({kBoxThreePasses, 10})
    ->Args({kBoxThreePasses, 40})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_OpenCVGaussianBlur)->ArgName("radius")->Arg(2)->Arg(10)->Arg(40)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenCVBoxBlur)->ArgName("radius")->Arg(2)->Arg(40)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
