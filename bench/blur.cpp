// The blurs and the convolution beside OpenCV on one 3840 x 2160 picture
// of four channels, one core (OpenCV with cv::setNumThreads(1), the
// package with its serial generic iterate). A two-dimensional blur is rows
// then columns: a straight picture goes into the row pass, which writes
// premultiplied pixels, and the column pass reads them and writes straight
// ones, as the package intends. OpenCV blurs the four channels alike.
//
//   Gaussian radius R against cv::GaussianBlur with the bell's equivalent
//   sigma, (R + 1) / 2.18;
//   box radius R, one and three passes, against cv::blur of width 2R + 1;
//   convolution k x k against cv::filter2D with the same kernel.
//
// 8 bits, 16 bits (OpenCV's 16U) and float. Run with
// --benchmark_repetitions and take the best (the machine is shared).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
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

const Package& package() {
  static const Package p;
  return p;
}

// A picture with soft shapes and noise, straight alpha: channel values as
// 8-bit numbers, scaled to each depth.
uint8_t channel_value(int x, int y, int c) {
  const double cx = (x % 600) - 300.0, cy = (y % 600) - 300.0;
  const double disc = std::clamp((260.0 - std::sqrt(cx * cx + cy * cy)) / 30.0, 0.0, 1.0);
  const uint32_t noise = (uint32_t(x) * 2654435761u) ^ (uint32_t(y) * 40503u) ^ uint32_t(c * 977);
  if (c == 0) return uint8_t(std::lround(255.0 * std::max(disc, 0.2)));
  return uint8_t((x * (c + 1) + y * (3 - c) + (noise >> 27)) & 255);
}

template <class Px>
struct Pictures {
  RX_World* src;
  RX_World* middle;
  RX_World* turned;  // the picture on its side, for the transposing form
  RX_World* dst;
  cv::Mat cv_src, cv_dst;

  Pictures() {
    package();
    constexpr int16_t depth = sizeof(Px) == 4 ? 8 : sizeof(Px) == 8 ? 16 : 32;
    src = RX_World::New(kWidth, kHeight, depth, 0);
    middle = RX_World::New(kWidth, kHeight, depth, 0);
    turned = RX_World::New(kHeight, kWidth, depth, 0);
    dst = RX_World::New(kWidth, kHeight, depth, 0);
    const int type = depth == 8 ? CV_8UC4 : depth == 16 ? CV_16UC4 : CV_32FC4;
    cv_src.create(kHeight, kWidth, type);
    cv_dst.create(kHeight, kWidth, type);
    for (int y = 0; y < kHeight; ++y) {
      Px* row = reinterpret_cast<Px*>(static_cast<char*>(src->Data()) + intptr_t{y} * src->RowStride());
      for (int x = 0; x < kWidth; ++x) {
        uint8_t v[4];
        for (int c = 0; c < 4; ++c) v[c] = channel_value(x, y, c);
        if constexpr (depth == 8) {
          row[x] = {v[0], v[1], v[2], v[3]};
        } else if constexpr (depth == 16) {
          row[x] = {uint16_t(v[0] * 32768 / 255), uint16_t(v[1] * 32768 / 255), uint16_t(v[2] * 32768 / 255),
                    uint16_t(v[3] * 32768 / 255)};
        } else {
          row[x] = {v[0] / 255.0f, v[1] / 255.0f, v[2] / 255.0f, v[3] / 255.0f};
        }
        std::memcpy(cv_src.ptr(y) + x * sizeof(Px), &row[x], sizeof(Px));
      }
    }
  }
};

template <class Px>
Pictures<Px>& pictures() {
  static Pictures<Px> p;
  return p;
}

void set_counters(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * int64_t{kWidth} * kHeight);
}

// ---- Gaussian ----

template <class Px>
void BM_GaussianRX(benchmark::State& state) {
  auto& p = pictures<Px>();
  const float radius = float(state.range(0));
  for (auto _ : state) {
    RX_GaussianBlur1D(nullptr, p.src, radius, 15, 0, 0, 0, 1, 0, p.middle);
    RX_GaussianBlur1D(nullptr, p.middle, radius, 15, 1, 1, 1, 0, 0, p.dst);
  }
  set_counters(state);
}

// The same blur with each pass writing its lines across: the rows of the
// picture become the columns of the turned world, whose rows (the
// picture's columns) become the destination's columns again. Each pass
// reads along rows; only its writes stride.
template <class Px>
void BM_GaussianTurnRX(benchmark::State& state) {
  auto& p = pictures<Px>();
  const float radius = float(state.range(0));
  for (auto _ : state) {
    RX_GaussianBlur1D(nullptr, p.src, radius, 15, 0, 0, 1, 1, 0, p.turned);
    RX_GaussianBlur1D(nullptr, p.turned, radius, 15, 0, 1, 1, 0, 0, p.dst);
  }
  set_counters(state);
}

template <class Px>
void BM_GaussianOpenCV(benchmark::State& state) {
  auto& p = pictures<Px>();
  const double sigma = (double(state.range(0)) + 1.0) / 2.18;
  for (auto _ : state) cv::GaussianBlur(p.cv_src, p.cv_dst, cv::Size(0, 0), sigma, sigma, cv::BORDER_CONSTANT);
  set_counters(state);
}

// ---- box ----

template <class Px>
void BM_BoxRX(benchmark::State& state) {
  auto& p = pictures<Px>();
  const float radius = float(state.range(0));
  const uint32_t passes = uint32_t(state.range(1));
  for (auto _ : state) {
    RX_BoxBlur1D(nullptr, p.src, radius, passes, 15, 0, 0, 0, 1, 0, p.middle);
    RX_BoxBlur1D(nullptr, p.middle, radius, passes, 15, 1, 1, 1, 0, 0, p.dst);
  }
  set_counters(state);
}

template <class Px>
void BM_BoxOpenCV(benchmark::State& state) {
  auto& p = pictures<Px>();
  const int width = int(2 * state.range(0) + 1);
  const int passes = int(state.range(1));
  for (auto _ : state) {
    cv::blur(p.cv_src, p.cv_dst, cv::Size(width, width), cv::Point(-1, -1), cv::BORDER_CONSTANT);
    for (int i = 1; i < passes; ++i) {
      cv::blur(p.cv_dst, p.cv_dst, cv::Size(width, width), cv::Point(-1, -1), cv::BORDER_CONSTANT);
    }
  }
  set_counters(state);
}

// ---- convolution ----

std::vector<int32_t> convolution_kernel(int size) {
  std::vector<int32_t> k(size_t(size) * size);
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) k[size_t(y * size + x)] = 1 + (x * 7 + y * 3) % 11;
  return k;
}

template <class Px>
void BM_ConvolveRX(benchmark::State& state) {
  auto& p = pictures<Px>();
  const int size = int(state.range(0));
  const std::vector<int32_t> k = convolution_kernel(size);
  for (auto _ : state) {
    RX_Convolve(nullptr, p.src, nullptr, RX_CONVOLVE_NORMALIZE, size, k.data(), k.data(), k.data(), k.data(),
                p.dst);
  }
  set_counters(state);
}

template <class Px>
void BM_ConvolveOpenCV(benchmark::State& state) {
  auto& p = pictures<Px>();
  const int size = int(state.range(0));
  const std::vector<int32_t> k = convolution_kernel(size);
  cv::Mat kernel(size, size, CV_32F);
  double sum = 0;
  for (int32_t e : k) sum += e;
  for (int i = 0; i < size * size; ++i) kernel.at<float>(i / size, i % size) = float(k[size_t(i)] / sum);
  for (auto _ : state) {
    cv::filter2D(p.cv_src, p.cv_dst, -1, kernel, cv::Point(-1, -1), 0, cv::BORDER_CONSTANT);
  }
  set_counters(state);
}

#define RX_BLUR_BENCH(name, Px, label) \
  BENCHMARK_TEMPLATE(name, Px)->Name(#name "/" label)->Unit(benchmark::kMillisecond)

RX_BLUR_BENCH(BM_GaussianRX, RX_Pixel8, "8")->Arg(3)->Arg(21);
RX_BLUR_BENCH(BM_GaussianOpenCV, RX_Pixel8, "8")->Arg(3)->Arg(21);
RX_BLUR_BENCH(BM_GaussianTurnRX, RX_Pixel8, "8")->Arg(3)->Arg(21);
RX_BLUR_BENCH(BM_GaussianRX, RX_Pixel16, "16")->Arg(3)->Arg(21);
RX_BLUR_BENCH(BM_GaussianOpenCV, RX_Pixel16, "16")->Arg(3)->Arg(21);
RX_BLUR_BENCH(BM_GaussianRX, RX_PixelFloat, "float")->Arg(3)->Arg(21);
RX_BLUR_BENCH(BM_GaussianOpenCV, RX_PixelFloat, "float")->Arg(3)->Arg(21);

RX_BLUR_BENCH(BM_BoxRX, RX_Pixel8, "8")->Args({5, 1})->Args({50, 1})->Args({5, 3})->Args({50, 3});
RX_BLUR_BENCH(BM_BoxOpenCV, RX_Pixel8, "8")->Args({5, 1})->Args({50, 1})->Args({5, 3})->Args({50, 3});
RX_BLUR_BENCH(BM_BoxRX, RX_Pixel16, "16")->Args({5, 1})->Args({50, 1})->Args({5, 3})->Args({50, 3});
RX_BLUR_BENCH(BM_BoxOpenCV, RX_Pixel16, "16")->Args({5, 1})->Args({50, 1})->Args({5, 3})->Args({50, 3});
RX_BLUR_BENCH(BM_BoxRX, RX_PixelFloat, "float")->Args({5, 1})->Args({50, 1})->Args({5, 3})->Args({50, 3});
RX_BLUR_BENCH(BM_BoxOpenCV, RX_PixelFloat, "float")->Args({5, 1})->Args({50, 1})->Args({5, 3})->Args({50, 3});

RX_BLUR_BENCH(BM_ConvolveRX, RX_Pixel8, "8")->Arg(5)->Arg(11);
RX_BLUR_BENCH(BM_ConvolveOpenCV, RX_Pixel8, "8")->Arg(5)->Arg(11);
RX_BLUR_BENCH(BM_ConvolveRX, RX_Pixel16, "16")->Arg(5)->Arg(11);
RX_BLUR_BENCH(BM_ConvolveOpenCV, RX_Pixel16, "16")->Arg(5)->Arg(11);
RX_BLUR_BENCH(BM_ConvolveRX, RX_PixelFloat, "float")->Arg(5)->Arg(11);
RX_BLUR_BENCH(BM_ConvolveOpenCV, RX_PixelFloat, "float")->Arg(5)->Arg(11);

}  // namespace

BENCHMARK_MAIN();
