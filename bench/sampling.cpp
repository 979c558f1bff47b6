// Point sampling rates: nearest and the bilinear forms at 8 and 16 bits.
// Box sampling rates: the area sampler at 8 bits (plain and SSE2 forms of
// slot 5) and 16 bits at radii from a quarter pixel to 16 pixels, in
// samples per second; the summed-area table's build in pixels per second
// (plain and SSE2) and its draft and antialiased samples, whose cost does
// not depend on the box.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "RX.h"
#include "RXHost.h"
#include "RX_AreaSampling.h"
#include "frame/variants.h"
#include "sampling/area_sample.h"

namespace {

constexpr int32_t kWidth = 1024, kHeight = 1024;
constexpr int kPositions = 4096;

struct Package {
  Package() { RX_Birth(); }
  ~Package() { RX_Death(); }
  // Born again with word 2 of the CPU data as given, or as the processor
  // has it (-1): birth chooses the processor forms.
  static void born_again(int sse2) {
    RX_Death();
    RXHost_ResetCpuWords();
    if (sse2 >= 0) RXHost_SetCpuWord(2, uint32_t(sse2));
    RX_Birth();
  }
};

template <class Px>
struct Picture {
  std::vector<Px> pixels;
  RX_LayerDef def{};
  Picture(int32_t width, int32_t height) : pixels(size_t(width) * height) {
    std::mt19937 rng(11);
    for (auto& p : pixels) {
      if constexpr (sizeof(Px) == 16) {
        p = {float(rng() % 1000) / 999.0f, float(rng() % 1000) / 999.0f, 0.5f, 0.25f};
      } else {
        using Cv = decltype(p.red);
        const uint32_t white = sizeof(Px) == 4 ? 255 : 32768;
        p = {Cv(rng() % (white + 1)), Cv(rng() % (white + 1)), Cv(rng() % (white + 1)), Cv(rng() % (white + 1))};
      }
    }
    def.data = pixels.data();
    def.width = width;
    def.height = height;
    def.row_stride = width * int32_t(sizeof(Px));
    RXp_SetLayerFlagsForDepth(&def, sizeof(Px) == 4 ? 8 : sizeof(Px) == 8 ? 16 : 32);
  }
};

// Positions spread over the picture with every fraction.
std::vector<std::pair<int32_t, int32_t>> positions() {
  std::mt19937 rng(5);
  std::vector<std::pair<int32_t, int32_t>> p(kPositions);
  for (auto& [x, y] : p) {
    x = int32_t(rng() % (uint32_t(kWidth) << 16));
    y = int32_t(rng() % (uint32_t(kHeight) << 16));
  }
  return p;
}

template <class Px, class Sampler>
void run_area(benchmark::State& state, Sampler sample) {
  static Package package;
  static Picture<Px> picture(kWidth, kHeight);
  const auto where = positions();
  // The range argument is the radius in sixteenths of a pixel.
  const int32_t radius = int32_t(state.range(0)) << 12;
  RX_SampPB pb{radius, radius, uint32_t((int64_t{2 * radius} * 2 * radius) >> 16), &picture.def};
  size_t i = 0;
  for (auto _ : state) {
    Px result;
    sample(nullptr, where[i].first, where[i].second, &pb, &result);
    benchmark::DoNotOptimize(result);
    i = (i + 1) % where.size();
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_AreaSample8Plain(benchmark::State& state) {
  run_area<RX_Pixel8>(state, reinterpret_cast<RX_SampleFunc8>(rx::variant_form("area_sample.straight8", false)));
}
void BM_AreaSample8Sse2(benchmark::State& state) {
  run_area<RX_Pixel8>(state, reinterpret_cast<RX_SampleFunc8>(rx::variant_form("area_sample.straight8", true)));
}
void BM_AreaSample16(benchmark::State& state) {
  run_area<RX_Pixel16>(state, &RX_AreaSample_CPlusPlus<RX_Pixel16>);
}
void BM_AreaSamplePremul8(benchmark::State& state) {
  run_area<RX_Pixel8>(state, &RX_AreaSample_Premul);
}

// ---- point samplers: nearest and every bilinear form, inside the picture ----

template <class Px, class Sampler>
void run_point(benchmark::State& state, Sampler sample) {
  static Package package;
  static Picture<Px> picture(kWidth, kHeight);
  auto where = positions();
  // Keep the unclipped forms' promise: both taps inside.
  for (auto& [x, y] : where) {
    x %= int32_t(uint32_t(kWidth - 1) << 16);
    y %= int32_t(uint32_t(kHeight - 1) << 16);
  }
  const RX_SampPB pb{0, 0, 0, &picture.def};
  size_t i = 0;
  for (auto _ : state) {
    Px result;
    sample(nullptr, where[i].first, where[i].second, &pb, &result);
    benchmark::DoNotOptimize(result);
    i = (i + 1) % where.size();
  }
  state.SetItemsProcessed(state.iterations());
}

template <class Px>
void run_span(benchmark::State& state, RX_Err (*span)(void*, int32_t, int32_t, int32_t, const RX_SampPB*,
                                                      uint32_t*, Px*)) {
  static Package package;
  static Picture<Px> picture(kWidth, kHeight);
  const RX_SampPB pb{0, 0, 0, &picture.def};
  std::vector<Px> row(512);
  uint32_t sum = 0;
  int32_t y = 0;
  for (auto _ : state) {
    span(nullptr, int32_t(row.size()), 0x4000 + (17 << 16), y + 0x8000, &pb, &sum, row.data());
    benchmark::DoNotOptimize(row.data());
    y = (y + (1 << 16)) % ((kHeight - 2) << 16);
  }
  state.SetItemsProcessed(state.iterations() * int64_t(row.size()));
}

void BM_Nearest8(benchmark::State& s) { run_point<RX_Pixel8>(s, &RX_NNSample); }
void BM_Nearest16(benchmark::State& s) { run_point<RX_Pixel16>(s, &RX_NNSample16); }
void BM_Subpixel8(benchmark::State& s) { run_point<RX_Pixel8>(s, &RX_SubpixelSample_Straight); }
void BM_Subpixel16(benchmark::State& s) { run_point<RX_Pixel16>(s, &RX_SubpixelSample_Straight16); }
void BM_SubpixelNoClip8(benchmark::State& s) { run_point<RX_Pixel8>(s, &RX_SubpixelSampleNoClip_Straight); }
void BM_SubpixelNoClip8Vector(benchmark::State& s) {
  static Package package;
  run_point<RX_Pixel8>(s, reinterpret_cast<RX_SampleFunc8>(RXp_G_OverFuncs[RX_Slot_SubpixelNoClipStraight8]));
}
void BM_SubpixelNoClip16(benchmark::State& s) { run_point<RX_Pixel16>(s, &RX_SubpixelSampleNoClip_Straight16); }
void BM_SubpixelPremul8(benchmark::State& s) { run_point<RX_Pixel8>(s, &RX_SubpixelSample_Premul); }
void BM_SubpixelFloat(benchmark::State& s) { run_point<RX_PixelFloat>(s, &RX_SubpixelCPlusPlusFloat); }
void BM_Span8(benchmark::State& s) { run_span<RX_Pixel8>(s, &RX_SubpixelSpanSampleTranslateNoClip_Straight); }
void BM_Span16(benchmark::State& s) { run_span<RX_Pixel16>(s, &RX_SubpixelSpanSampleTranslateNoClip_Straight16); }

BENCHMARK(BM_Nearest8)->Name("Nearest/8bit");
BENCHMARK(BM_Nearest16)->Name("Nearest/16bit");
BENCHMARK(BM_Subpixel8)->Name("Subpixel/8bit_clipped");
BENCHMARK(BM_Subpixel16)->Name("Subpixel/16bit_clipped");
BENCHMARK(BM_SubpixelNoClip8)->Name("Subpixel/8bit_unclipped_plain");
BENCHMARK(BM_SubpixelNoClip8Vector)->Name("Subpixel/8bit_unclipped_slot61");
BENCHMARK(BM_SubpixelNoClip16)->Name("Subpixel/16bit_unclipped");
BENCHMARK(BM_SubpixelPremul8)->Name("Subpixel/8bit_premultiplied");
BENCHMARK(BM_SubpixelFloat)->Name("Subpixel/float_clipped");
BENCHMARK(BM_Span8)->Name("SubpixelSpan/8bit");
BENCHMARK(BM_Span16)->Name("SubpixelSpan/16bit");

// Radii in sixteenths of a pixel: a quarter (one bilinear sample), 1.5, 4
// and 16 pixels.
#define RX_RADII Arg(4)->Arg(24)->Arg(64)->Arg(256)
BENCHMARK(BM_AreaSample8Plain)->Name("AreaSample/8bit_plain/radius_16ths")->RX_RADII;
BENCHMARK(BM_AreaSample8Sse2)->Name("AreaSample/8bit_sse2/radius_16ths")->RX_RADII;
BENCHMARK(BM_AreaSample16)->Name("AreaSample/16bit/radius_16ths")->RX_RADII;
BENCHMARK(BM_AreaSamplePremul8)->Name("AreaSample/8bit_premul/radius_16ths")->RX_RADII;

// The table build, with the SSE2 word off or on, of a picture whose table
// stays in the caches' reach (512 x 512) and of a 1920 x 1080 one, whose
// fresh table is mostly first-touch page faults.
template <class Px>
void BM_TableBuild(benchmark::State& state) {
  static Package package;
  const int32_t width = int32_t(state.range(1)), height = int32_t(state.range(2));
  Picture<Px> picture(width, height);
  Package::born_again(int(state.range(0)));
  RX_World* world = RX_World::NewReference(picture.def);
  for (auto _ : state) {
    RX_SummedAreaTable table(world);
    benchmark::DoNotOptimize(table.Width());
  }
  delete world;
  Package::born_again(-1);
  state.SetItemsProcessed(state.iterations() * width * height);
}
#define RX_TABLE_SIZES ArgNames({"sse2", "w", "h"})->Args({0, 512, 512})->Args({1, 512, 512}) \
    ->Args({0, 1920, 1080})->Args({1, 1920, 1080})->Unit(benchmark::kMillisecond)
BENCHMARK(BM_TableBuild<RX_Pixel8>)->Name("TableBuild/8bit")->RX_TABLE_SIZES;
BENCHMARK(BM_TableBuild<RX_Pixel16>)->Name("TableBuild/16bit")->RX_TABLE_SIZES;
BENCHMARK(BM_TableBuild<RX_PixelFloat>)->Name("TableBuild/float")->RX_TABLE_SIZES;

// Table samples of boxes of up to 64 pixels a side anywhere in the picture.
template <class Out, bool Antialiased>
void BM_TableSample(benchmark::State& state) {
  static Package package;
  static Picture<Out> picture(kWidth, kHeight);
  static RX_World* world = RX_World::NewReference(picture.def);
  static RX_SummedAreaTable table(world);
  using Acc = std::conditional_t<sizeof(Out) == 16, RX_PixelDouble, RX_PixelFloat>;
  const Acc* entries;
  if constexpr (sizeof(Out) == 16) entries = table.DoubleTable();
  else entries = table.Table();
  std::mt19937 rng(3);
  std::vector<float> boxes(4 * kPositions);
  for (int i = 0; i < kPositions; ++i) {
    boxes[4 * i] = float(rng() % (kWidth * 16)) / 16.0f;
    boxes[4 * i + 1] = float(rng() % (kHeight * 16)) / 16.0f;
    boxes[4 * i + 2] = boxes[4 * i] + float(rng() % 1024) / 16.0f;
    boxes[4 * i + 3] = boxes[4 * i + 1] + float(rng() % 1024) / 16.0f;
  }
  size_t i = 0;
  for (auto _ : state) {
    Out result;
    const float* b = &boxes[4 * i];
    if constexpr (Antialiased) {
      RX_SummedAreaTable_SampleAA<Out, Acc>(kWidth, kHeight, entries, b[0], b[1], b[2], b[3], &result);
    } else {
      RX_SummedAreaTable_SampleDraft<Out, Acc>(kWidth, kHeight, entries, int32_t(b[0]), int32_t(b[1]),
                                               int32_t(b[2]), int32_t(b[3]), &result);
    }
    benchmark::DoNotOptimize(result);
    i = (i + 1) % kPositions;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TableSample<RX_Pixel8, false>)->Name("TableSampleDraft/8bit");
BENCHMARK(BM_TableSample<RX_Pixel8, true>)->Name("TableSampleAA/8bit");
BENCHMARK(BM_TableSample<RX_Pixel16, false>)->Name("TableSampleDraft/16bit");
BENCHMARK(BM_TableSample<RX_Pixel16, true>)->Name("TableSampleAA/16bit");
BENCHMARK(BM_TableSample<RX_PixelFloat, false>)->Name("TableSampleDraft/float");
BENCHMARK(BM_TableSample<RX_PixelFloat, true>)->Name("TableSampleAA/float");

}  // namespace

BENCHMARK_MAIN();
