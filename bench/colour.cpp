// Colour management on a 3840 x 2160 picture, one core.
//
// RX_ConvertProfileToProfile from sRGB to ProPhoto RGB (a wide-gamut
// profile, both built-in codes) at 8 bits, 16 bits and float, packed rows,
// beside the same LittleCMS transform called directly on the same buffer:
// the same two profiles (their ICC data as the engine hands it out), the
// same intent, made once outside the timing. At 8 bits the package's call
// goes through the bridge, the engine and its kept LittleCMS transform, so
// the two should take the same time; at 16 bits the engine also rescales
// 0..32768 to LittleCMS's 0..65535 and back; in float the engine's own
// path between matrix-shaper profiles runs, beside LittleCMS's float path
// (and the engine with that path switched off, for reference).
//
// RX_DepthConvertWorld from 8 bits to linear float through sRGB's tables,
// beside a memcpy of the float bytes.
//
// Each figure of the closing note is the best of three repetitions, in
// processor time (the wall clock of a shared machine wanders), with the
// ratios.
#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "RX.h"
#include "bridge/viz_client.h"

namespace {

constexpr int kWidth = 3840, kHeight = 2160;
constexpr size_t kPixels = size_t(kWidth) * kHeight;

struct Package {
  Package() { RX_Birth(); }
  ~Package() { RX_Death(); }
};
Package& package() {
  static Package p;
  return p;
}

template <class Px>
constexpr int16_t depth_of() {
  return sizeof(Px) == 4 ? 8 : sizeof(Px) == 8 ? 16 : 32;
}

// A picture: gradients across and down, a pattern of fine detail.
template <class Px>
std::vector<Px> picture() {
  std::vector<Px> pixels(kPixels);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const double r = double(x) / (kWidth - 1), g = double(y) / (kHeight - 1), b = double((x * 7 + y * 3) % 256) / 255;
      Px& p = pixels[size_t(y) * kWidth + x];
      if constexpr (sizeof(Px) == 16) {
        p = {1.0f, float(r), float(g), float(b)};
      } else if constexpr (sizeof(Px) == 8) {
        p = {32768, uint16_t(r * 32768), uint16_t(g * 32768), uint16_t(b * 32768)};
      } else {
        p = {255, uint8_t(r * 255), uint8_t(g * 255), uint8_t(b * 255)};
      }
    }
  }
  return pixels;
}

template <class Px>
std::unique_ptr<RX_World> world_over(std::vector<Px>& pixels) {
  return std::unique_ptr<RX_World>(
      RX_World::NewReference(pixels.data(), kWidth, kHeight, depth_of<Px>(), kWidth * int32_t(sizeof(Px))));
}

template <class Px>
void BM_ConvertProfileToProfile(benchmark::State& state) {
  package();
  std::vector<Px> src = picture<Px>(), dst(kPixels);
  const auto s = world_over(src), d = world_over(dst);
  for (auto _ : state) {
    RX_ConvertProfileToProfile(VIZ_Profile_sRGB, VIZ_Profile_ProPhotoRGB, s.get(), d.get(), false, nullptr);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * int64_t(kPixels));
}

template <class Px>
constexpr cmsUInt32Number lcms_format() {
  return sizeof(Px) == 4 ? TYPE_ARGB_8 : sizeof(Px) == 8 ? TYPE_ARGB_16 : TYPE_ARGB_FLT;
}

template <class Px>
void BM_LittleCmsDirect(benchmark::State& state) {
  package();
  const std::vector<uint8_t> a = TIN_VIZ_Profile::FromCode(VIZ_Profile_sRGB).GetICCData();
  const std::vector<uint8_t> b = TIN_VIZ_Profile::FromCode(VIZ_Profile_ProPhotoRGB).GetICCData();
  cmsHPROFILE from = cmsOpenProfileFromMem(a.data(), cmsUInt32Number(a.size()));
  cmsHPROFILE to = cmsOpenProfileFromMem(b.data(), cmsUInt32Number(b.size()));
  cmsHTRANSFORM t = cmsCreateTransform(from, lcms_format<Px>(), to, lcms_format<Px>(), INTENT_RELATIVE_COLORIMETRIC, 0);
  std::vector<Px> src = picture<Px>(), dst(kPixels);
  for (auto _ : state) {
    cmsDoTransform(t, src.data(), dst.data(), cmsUInt32Number(kPixels));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * int64_t(kPixels));
  cmsDeleteTransform(t);
  cmsCloseProfile(from);
  cmsCloseProfile(to);
}

// The engine's float transform with its own float path switched off:
// LittleCMS's float evaluation behind the bridge.
void BM_EngineFloatWithoutItsPath(benchmark::State& state) {
  package();
  const TIN_VIZ_Profile from = TIN_VIZ_Profile::FromCode(VIZ_Profile_sRGB);
  const TIN_VIZ_Profile to = TIN_VIZ_Profile::FromCode(VIZ_Profile_ProPhotoRGB);
  const _t_VIZ_Options off = {1, {{VIZ_Option_FloatFastPath, 0}}};
  using Make = VIZ_MakeColorTransformProc;
  VIZTransform* made = nullptr;
  reinterpret_cast<Make>(RXp_VIZMethods()[rx::viz::kMakeColorTransform])(from.Get(), to.Get(), 1, &off, &made);
  TIN_VIZ_Transform t;
  t.Reset(made);
  std::vector<RX_PixelFloat> src = picture<RX_PixelFloat>(), dst(kPixels);
  const auto s = world_over(src), d = world_over(dst);
  for (auto _ : state) {
    RX_VIZApplyTransform(t.Get(), s.get(), d.get(), false, nullptr);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * int64_t(kPixels));
}

void BM_DepthConvert8ToLinearFloat(benchmark::State& state) {
  package();
  const RX_LinearBlendingTablesPtr tables =
      RX_MakeLinearizationTables(TIN_VIZ_SharedProfile(new TIN_VIZ_Profile(TIN_VIZ_Profile::FromCode(VIZ_Profile_sRGB))));
  std::vector<RX_Pixel8> src = picture<RX_Pixel8>();
  std::vector<RX_PixelFloat> dst(kPixels);
  const auto s = world_over(src), d = world_over(dst);
  for (auto _ : state) {
    RX_DepthConvertWorld(tables.get(), s.get(), d.get());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * int64_t(kPixels));
}

void BM_MemcpyFloat(benchmark::State& state) {
  std::vector<RX_PixelFloat> src = picture<RX_PixelFloat>(), dst(kPixels);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), kPixels * sizeof(RX_PixelFloat));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * int64_t(kPixels));
}

#define COLOUR_BENCH(fn, name) \
  BENCHMARK(fn)->Name(name)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(3)

COLOUR_BENCH(BM_ConvertProfileToProfile<RX_Pixel8>, "ConvertProfileToProfile/8");
COLOUR_BENCH(BM_LittleCmsDirect<RX_Pixel8>, "LittleCMS/8");
COLOUR_BENCH(BM_ConvertProfileToProfile<RX_Pixel16>, "ConvertProfileToProfile/16");
COLOUR_BENCH(BM_LittleCmsDirect<RX_Pixel16>, "LittleCMS/16");
COLOUR_BENCH(BM_ConvertProfileToProfile<RX_PixelFloat>, "ConvertProfileToProfile/float");
COLOUR_BENCH(BM_LittleCmsDirect<RX_PixelFloat>, "LittleCMS/float")->Iterations(1);
COLOUR_BENCH(BM_EngineFloatWithoutItsPath, "EngineWithoutFloatPath/float")->Iterations(1);
COLOUR_BENCH(BM_DepthConvert8ToLinearFloat, "DepthConvertWorld/8-to-linear-float");
COLOUR_BENCH(BM_MemcpyFloat, "memcpy/float-bytes");

// Keeps the best processor time of each benchmark's repetitions.
class BestOfReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.iterations == 0) continue;
      // Processor time of the one thread: on a shared machine it stays
      // put where the wall clock does not.
      const double ms = run.cpu_accumulated_time * 1e3 / double(run.iterations);
      std::string key = run.benchmark_name();
      for (const char* marker : {"/iterations:", "/repeats:", "/real_time", "/min_time:"}) {
        key = key.substr(0, key.find(marker));
      }
      auto it = best_.find(key);
      if (it == best_.end() || ms < it->second) best_[key] = ms;
    }
  }
  double best(const std::string& name) const {
    const auto it = best_.find(name);
    return it == best_.end() ? 0.0 : it->second;
  }

 private:
  std::map<std::string, double> best_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  BestOfReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const auto ratio = [&](const char* a, const char* b) {
    const double x = reporter.best(a), y = reporter.best(b);
    return y > 0 ? x / y : 0.0;
  };
  std::printf("\n3840 x 2160, one core, best of three, milliseconds of processor time:\n");
  std::printf("  %-40s %9s %9s %8s\n", "", "package", "beside", "ratio");
  const auto line = [&](const char* what, const char* ours, const char* theirs) {
    std::printf("  %-40s %9.1f %9.1f %8.2f\n", what, reporter.best(ours), reporter.best(theirs), ratio(ours, theirs));
  };
  line("8 bits, sRGB to ProPhoto vs LittleCMS", "ConvertProfileToProfile/8", "LittleCMS/8");
  line("16 bits, sRGB to ProPhoto vs LittleCMS", "ConvertProfileToProfile/16", "LittleCMS/16");
  line("float, sRGB to ProPhoto vs LittleCMS", "ConvertProfileToProfile/float", "LittleCMS/float");
  line("float, engine without its path vs LittleCMS", "EngineWithoutFloatPath/float", "LittleCMS/float");
  line("DepthConvertWorld 8 to float vs memcpy", "DepthConvertWorld/8-to-linear-float", "memcpy/float-bytes");
  benchmark::Shutdown();
  return 0;
}
