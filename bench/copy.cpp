// Copies of a 1920 x 1080 world at each depth, draft (RX_CopyBits_Draft)
// and high quality straight (RX_CopyBits_HQ_Straight): into a world of the
// same size (two owning worlds: one block move), twice the size (pixel
// replication, or subpixel sampling) and half the size (every other pixel,
// or area sampling). Bytes processed are the destination's.
#include <benchmark/benchmark.h>

#include <memory>

#include "RX.h"

namespace {

constexpr int32_t kWidth = 1920, kHeight = 1080;

struct Package {
  Package() { RX_Birth(); }
  ~Package() { RX_Death(); }
};

struct WorldDeleter {
  void operator()(RX_World* w) const { delete w; }
};
using WorldPtr = std::unique_ptr<RX_World, WorldDeleter>;

template <class Px>
constexpr int16_t depth_of() {
  return sizeof(Px) == 4 ? 8 : sizeof(Px) == 8 ? 16 : 32;
}

// A picture with some variety in every channel and in alpha.
template <class Px>
void paint(RX_World& world) {
  auto& w = static_cast<RX_WorldX<Px>&>(world);
  for (int32_t y = 0; y < w.Height(); ++y) {
    Px* row = w.Row(y);
    for (int32_t x = 0; x < w.Width(); ++x) {
      const int32_t k = x * 3 + y * 7;
      if constexpr (sizeof(Px) == 16) {
        row[x] = {float(k % 5) * 0.25f, float(k % 11) / 10.0f, float(k % 13) / 12.0f, 0.5f};
      } else if constexpr (sizeof(Px) == 8) {
        row[x] = {uint16_t(k % 5 * 8192), uint16_t(k * 37 % 32769), uint16_t(k * 11 % 32769), 16384};
      } else {
        row[x] = {uint8_t(k % 5 * 63), uint8_t(k * 37), uint8_t(k * 11), 128};
      }
    }
  }
}

enum Quality { kDraft, kHighQuality };

// state.range(0): the destination's size in percent of the source's.
template <class Px, Quality Q>
void BM_Copy(benchmark::State& state) {
  static Package package;
  const int32_t percent = int32_t(state.range(0));
  WorldPtr src(RX_World::New(kWidth, kHeight, depth_of<Px>(), 0));
  WorldPtr dst(RX_World::New(kWidth * percent / 100, kHeight * percent / 100, depth_of<Px>(),
                             RX_WorldFlag_Clear));
  if (!src || !dst) {
    state.SkipWithError("no memory for the worlds");
    return;
  }
  paint<Px>(*src);
  for (auto _ : state) {
    const RX_Err err = Q == kDraft
                           ? RX_CopyBits_Draft(nullptr, &src->LayerDef(), &dst->LayerDef(), nullptr, nullptr)
                           : RX_CopyBits_HQ_Straight(nullptr, &src->LayerDef(), &dst->LayerDef(),
                                                     nullptr, nullptr);
    if (err != RX_Result_OK) {
      state.SkipWithError("the copy failed");
      break;
    }
    benchmark::ClobberMemory();
  }
  const int64_t dst_pixels = int64_t(dst->Width()) * dst->Height();
  state.SetItemsProcessed(state.iterations() * dst_pixels);
  state.SetBytesProcessed(state.iterations() * dst_pixels * int64_t(sizeof(Px)));
}

#define RX_COPY_BENCH(Px, Q, name)                                                      \
  BENCHMARK(BM_Copy<Px, Q>)                                                             \
      ->Name(name "_1920x1080")                                                         \
      ->ArgName("percent")                                                              \
      ->Arg(100)                                                                        \
      ->Arg(200)                                                                        \
      ->Arg(50)                                                                         \
      ->Unit(benchmark::kMillisecond)

RX_COPY_BENCH(RX_Pixel8, kDraft, "Draft/8bit");
RX_COPY_BENCH(RX_Pixel16, kDraft, "Draft/16bit");
RX_COPY_BENCH(RX_PixelFloat, kDraft, "Draft/float");
RX_COPY_BENCH(RX_Pixel8, kHighQuality, "HQStraight/8bit");
RX_COPY_BENCH(RX_Pixel16, kHighQuality, "HQStraight/16bit");
RX_COPY_BENCH(RX_PixelFloat, kHighQuality, "HQStraight/float");

}  // namespace

BENCHMARK_MAIN();
