// RX_TransferRect beside pixman on the same 3840 x 2160 pictures, one core,
// onto an opaque background. Two layers: "discs", soft-edged discs on a
// transparent layer (about half of the pixels covered, a fifth on the
// 40-pixel soft edges), the usual shape of a layer; and "dense", the same
// discs over a layer whose alpha ramps across, so that almost every pixel
// takes the general path. pixman gets the same pixels premultiplied in its
// a8r8g8b8 form and composites with the matching PDF operator. The
// destination is restored before every iteration, outside the timing, so
// both sides blend the same pixels each time. The 16-bit and float
// transfers of the same pictures are timed beside them.
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "RX.h"

namespace {

constexpr int kWidth = 3840, kHeight = 2160;

struct Package {
  Package() { RX_Birth(); }
  ~Package() { RX_Death(); }
};

enum Layer { kDiscs = 0, kDense = 1 };

// The picture at 8 bits, straight alpha: discs with soft edges (alpha
// falling over 40 pixels), alone or on a layer whose alpha ramps across.
struct Picture {
  std::vector<RX_Pixel8> layer, background;
  explicit Picture(Layer kind) : layer(size_t(kWidth) * kHeight), background(size_t(kWidth) * kHeight) {
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const double cx = (x % 480) - 240.0, cy = (y % 480) - 240.0;
        const double edge = std::clamp((200.0 - std::sqrt(cx * cx + cy * cy)) / 40.0, 0.0, 1.0);
        const double ramp = kind == kDense ? 0.35 + 0.65 * x / kWidth : 0.0;
        const uint8_t alpha = uint8_t(std::lround(255 * std::max(edge, ramp * 0.6)));
        layer[size_t(y) * kWidth + x] = {alpha, uint8_t(x * 255 / kWidth), uint8_t(y * 255 / kHeight),
                                         uint8_t((x + y) & 255)};
        background[size_t(y) * kWidth + x] = {255, uint8_t(255 - y * 255 / kHeight), uint8_t((x / 7) & 255),
                                              uint8_t(x * 255 / kWidth)};
      }
    }
  }
};

const Picture& picture(int64_t kind) {
  static const Picture discs(kDiscs), dense(kDense);
  return kind == kDense ? dense : discs;
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

// The 8-bit picture at the depth of Px, through the package's own copy.
template <class Px>
void convert(const std::vector<RX_Pixel8>& from, World<Px>& to) {
  World<RX_Pixel8> source;
  source.pixels = from;
  source.def.data = source.pixels.data();
  RX_CopyBits_Draft(nullptr, &source.def, &to.def, nullptr, nullptr);
}

template <class Px>
void BM_TransferRect(benchmark::State& state) {
  static Package package;
  World<Px> layer, background, dst;
  convert(picture(state.range(1)).layer, layer);
  convert(picture(state.range(1)).background, background);
  const RX_CompositeModePlus mode(int32_t(state.range(0)), 1.0f, nullptr, false, 0);
  const GE_LRect rect{0, 0, kWidth, kHeight};
  for (auto _ : state) {
    state.PauseTiming();
    dst.pixels = background.pixels;
    dst.def.data = dst.pixels.data();
    state.ResumeTiming();
    RX_TransferRect(nullptr, 0, 0, 0, rect, &layer.def, &mode, nullptr, nullptr, 0, 0, &dst.def);
    benchmark::ClobberMemory();
  }
  state.SetLabel(std::string(RX_TransferModeName(mode.blend_mode)) + (state.range(1) ? " dense" : " discs"));
  state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

// pixman's form of a straight 8-bit pixel: premultiplied, in a 32-bit
// word with alpha at the top.
uint32_t premultiplied_word(const RX_Pixel8& p) {
  auto mul = [](uint32_t c, uint32_t a) { const uint32_t t = c * a + 128; return (t + (t >> 8)) >> 8; };
  return uint32_t(p.alpha) << 24 | mul(p.red, p.alpha) << 16 | mul(p.green, p.alpha) << 8 | mul(p.blue, p.alpha);
}

pixman_op_t pixman_op_for(int32_t mode) {
  switch (mode) {
    case RX_Xfer_Over: return PIXMAN_OP_OVER;
    case RX_Xfer_Multiply: return PIXMAN_OP_MULTIPLY;
    case RX_Xfer_Screen: return PIXMAN_OP_SCREEN;
    case RX_Xfer_Overlay: return PIXMAN_OP_OVERLAY;
    case RX_Xfer_SoftLight: return PIXMAN_OP_SOFT_LIGHT;
    case RX_Xfer_Difference: return PIXMAN_OP_DIFFERENCE;
    case RX_Xfer_ColorDodge: return PIXMAN_OP_COLOR_DODGE;
    default: return PIXMAN_OP_HSL_HUE;
  }
}

void BM_Pixman(benchmark::State& state) {
  std::vector<uint32_t> layer(size_t(kWidth) * kHeight), background(layer.size()), dst(layer.size());
  for (size_t i = 0; i < layer.size(); ++i) {
    layer[i] = premultiplied_word(picture(state.range(1)).layer[i]);
    background[i] = premultiplied_word(picture(state.range(1)).background[i]);
  }
  pixman_image_t* src_image =
      pixman_image_create_bits(PIXMAN_a8r8g8b8, kWidth, kHeight, layer.data(), kWidth * 4);
  pixman_image_t* dst_image =
      pixman_image_create_bits(PIXMAN_a8r8g8b8, kWidth, kHeight, dst.data(), kWidth * 4);
  const pixman_op_t op = pixman_op_for(int32_t(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(dst.data(), background.data(), dst.size() * 4);
    state.ResumeTiming();
    pixman_image_composite32(op, src_image, nullptr, dst_image, 0, 0, 0, 0, 0, 0, kWidth, kHeight);
    benchmark::ClobberMemory();
  }
  pixman_image_unref(src_image);
  pixman_image_unref(dst_image);
  state.SetLabel(std::string(RX_TransferModeName(int32_t(state.range(0)))) + (state.range(1) ? " dense" : " discs"));
  state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

constexpr int64_t kCompared[] = {RX_Xfer_Over,       RX_Xfer_Multiply,   RX_Xfer_Screen,
                                 RX_Xfer_Overlay,    RX_Xfer_SoftLight,  RX_Xfer_Difference,
                                 RX_Xfer_ColorDodge, RX_Xfer_Hue};

// The machine is shared: with --benchmark_repetitions the fastest run is
// reported beside the median, for both sides alike.
void each_mode(benchmark::internal::Benchmark* b) {
  for (int64_t layer : {kDiscs, kDense}) {
    for (int64_t mode : kCompared) b->Args({mode, layer});
  }
  b->Unit(benchmark::kMillisecond)->UseRealTime();
  b->ComputeStatistics("min", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); });
}

}  // namespace

BENCHMARK(BM_Pixman)->Apply(each_mode);
BENCHMARK_TEMPLATE(BM_TransferRect, RX_Pixel8)->Apply(each_mode);
BENCHMARK_TEMPLATE(BM_TransferRect, RX_Pixel16)->Apply(each_mode);
BENCHMARK_TEMPLATE(BM_TransferRect, RX_PixelFloat)->Apply(each_mode);
BENCHMARK_MAIN();
