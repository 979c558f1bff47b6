// The premultiply of a 3840 x 2160 world through RX_PremulRect, beside a
// plain memcpy of the same bytes, at each depth. Both read and write every
// byte once; the ratio of their times is the figure to watch.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "RX.h"

namespace {

constexpr int kWidth = 3840, kHeight = 2160;

struct Package {
  Package() { RX_Birth(); }
  ~Package() { RX_Death(); }
};

template <class Px>
struct Frame {
  std::vector<Px> pixels;
  RX_LayerDef def{};
  explicit Frame(int32_t depth) : pixels(size_t(kWidth) * kHeight) {
    for (size_t i = 0; i < pixels.size(); ++i) {
      auto* bytes = reinterpret_cast<uint8_t*>(&pixels[i]);
      for (size_t b = 0; b < sizeof(Px); ++b) bytes[b] = uint8_t(i * 31 + b * 7);
    }
    if constexpr (sizeof(Px) == 16) {
      for (auto& p : pixels) p = {0.75f, 0.25f, 0.5f, 1.0f};
    }
    def.data = pixels.data();
    def.width = kWidth;
    def.height = kHeight;
    def.row_stride = kWidth * int32_t(sizeof(Px));
    RXp_SetLayerFlagsForDepth(&def, depth);
  }
};

template <class Px>
void BM_Premultiply(benchmark::State& state) {
  static Package package;
  Frame<Px> frame(sizeof(Px) == 4 ? 8 : sizeof(Px) == 8 ? 16 : 32);
  for (auto _ : state) {
    // Forward then reverse would change the work; forward on the same data
    // costs the same each time.
    RX_PremulRect(nullptr, 1, nullptr, &frame.def);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t(frame.pixels.size() * sizeof(Px)));
}

template <class Px>
void BM_Memcpy(benchmark::State& state) {
  std::vector<Px> src(size_t(kWidth) * kHeight), dst(src.size());
  std::memset(src.data(), 1, src.size() * sizeof(Px));
  std::memset(dst.data(), 2, dst.size() * sizeof(Px));
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), src.size() * sizeof(Px));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t(src.size() * sizeof(Px)));
}

BENCHMARK(BM_Memcpy<RX_Pixel8>)->Name("memcpy/8bit_3840x2160")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Premultiply<RX_Pixel8>)->Name("PremulRect/8bit_3840x2160")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memcpy<RX_Pixel16>)->Name("memcpy/16bit_3840x2160")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Premultiply<RX_Pixel16>)->Name("PremulRect/16bit_3840x2160")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memcpy<RX_PixelFloat>)->Name("memcpy/float_3840x2160")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Premultiply<RX_PixelFloat>)->Name("PremulRect/float_3840x2160")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
