// Rows of float pixels to 8 bits, scalar and SSE2 forms, plain and
// dithered, and the generic iterate's overhead per call.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "RX.h"
#include "worlds/value_conversions.h"

namespace {

constexpr int kRow = 3840;

struct Rows {
  std::vector<RX_PixelFloat> src;
  std::vector<RX_Pixel8> dst;
  Rows() : src(kRow), dst(kRow) {
    for (int i = 0; i < kRow; ++i) {
      const float v = static_cast<float>(i % 300) / 256.0f - 0.05f;
      src[i] = {1.0f, v, 1.0f - v, 0.5f};
    }
  }
};

struct Package {
  Package() { RX_Birth(); }
  ~Package() { RX_Death(); }
};

template <void (*Convert)(const RX_PixelFloat*, RX_Pixel8*, int32_t)>
void BM_RowFloatTo8(benchmark::State& state) {
  static Package package;
  Rows rows;
  for (auto _ : state) {
    Convert(rows.src.data(), rows.dst.data(), kRow);
    benchmark::DoNotOptimize(rows.dst.data());
  }
  state.SetItemsProcessed(state.iterations() * kRow);
}

BENCHMARK(BM_RowFloatTo8<RXp_ConvertRowFloatTo8_Scalar>)->Name("FloatTo8/scalar");
BENCHMARK(BM_RowFloatTo8<RXp_ConvertRowFloatTo8_SSE2>)->Name("FloatTo8/sse2");
BENCHMARK(BM_RowFloatTo8<RXp_ConvertRowFloatTo8Dithered_Scalar>)->Name("FloatTo8Dithered/scalar");
BENCHMARK(BM_RowFloatTo8<RXp_ConvertRowFloatTo8Dithered_SSE2>)->Name("FloatTo8Dithered/sse2");

RX_Err invert_red(void*, int32_t, int32_t, const RX_Pixel8* in, RX_Pixel8* out) {
  *out = *in;
  out->red = static_cast<uint8_t>(255 - in->red);
  return RX_Result_OK;
}

void BM_Iterate8(benchmark::State& state) {
  static Package package;
  const int width = 1920, height = 1080;
  std::vector<RX_Pixel8> pixels(size_t(width) * height);
  RX_LayerDef world{};
  world.data = pixels.data();
  world.width = width;
  world.height = height;
  world.row_stride = width * 4;
  for (auto _ : state) {
    RX_Iterate(nullptr, 0, 0, nullptr, nullptr, nullptr, invert_red, &world);
    benchmark::DoNotOptimize(pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * width * height);
}
BENCHMARK(BM_Iterate8)->Name("Iterate/8bit_1920x1080")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
