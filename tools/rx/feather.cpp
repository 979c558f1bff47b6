// Feathering: coverage into a mask buffer that reaches the blur's margin
// past the layer on every side, the Gaussian uno scans over the rows and
// the columns that the layer needs, and the merge into the layer's alpha.
#include "feather.h"

#include <boost/scoped_ptr.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "package_calls.h"
#include "tool_error.h"

namespace rxtool {
namespace {

constexpr int32_t kMaxTiledSide = 32767;  // the lazy tiles' rectangles are 16-bit

struct BufferDeleter {
  void operator()(RX_UnoBuffer* b) const { RX_DisposeUnoBuffer(b); }
};
using Buffer = std::unique_ptr<RX_UnoBuffer, BufferDeleter>;

// The matte copied lazily: only the tiles under the region asked for.
class LazyMatte {
 public:
  LazyMatte(const Picture& matte) : copy_(matte.width(), matte.height(), matte.depth()) {
    if (matte.width() > kMaxTiledSide || matte.height() > kMaxTiledSide) {
      throw ToolError("a matte to feather may be at most 32767 pixels on a side");
    }
    boost::scoped_ptr<RX_LazyOperator> op(
        new RX_LazyWorldCopyOperator(const_cast<RX_LayerDef*>(matte.def()), copy_.def()));
    run_package("reading the matte", [&] { tiles_ = std::make_unique<RX_LazyTiles>(kFeatherTileSize, &op); });
  }

  // Makes the tiles under rect (cut to the matte by the tiles).
  void make(int32_t left, int32_t top, int32_t right, int32_t bottom) {
    GE_Rect r;
    r.left = int16_t(std::clamp(left, 0, kMaxTiledSide));
    r.top = int16_t(std::clamp(top, 0, kMaxTiledSide));
    r.right = int16_t(std::clamp(right, 0, kMaxTiledSide));
    r.bottom = int16_t(std::clamp(bottom, 0, kMaxTiledSide));
    run_package("reading the matte", [&] { tiles_->MakeValid(r); });
  }

  const Picture& picture() const { return copy_; }

  FeatherTiles count() const {
    FeatherTiles t;
    for (int16_t y = 0; y < tiles_->TilesY(); ++y) {
      for (int16_t x = 0; x < tiles_->TilesX(); ++x) t.made += tiles_->IsTileValid(x, y) ? 1 : 0;
    }
    t.total = int32_t(tiles_->TilesX()) * tiles_->TilesY();
    return t;
  }

 private:
  Picture copy_;
  std::unique_ptr<RX_LazyTiles> tiles_;
};

template <class Px, class V>
void take_coverage(const Picture& source, int32_t kind, int32_t margin, RX_UnoBuffer* buffer) {
  const int32_t width = buffer->width;
  std::vector<Px> line(static_cast<size_t>(width));
  auto* values = static_cast<V*>(*buffer->pixels);
  for (int32_t y = 0; y < buffer->height; ++y) {
    const int32_t sy = y - margin;
    const Px* row = sy >= 0 && sy < source.height() ? source.row<Px>(sy) : nullptr;
    RX_PrepTrackMatteUniv(width, row, margin, source.width(), kind, sizeof(Px) == 8, line.data());
    for (int32_t x = 0; x < width; ++x) values[size_t(y) * size_t(width) + size_t(x)] = line[size_t(x)].alpha;
  }
}

// Rows over the columns the layer needs, then those columns through a
// gathered line over the rows the layer needs.
template <class V>
void blur(RX_UnoBuffer* buffer, int32_t margin, int32_t radius, int32_t layer_width, int32_t layer_height) {
  using Scan = RX_Err (*)(int32_t, int32_t, int32_t, int32_t, int32_t, V*, V*);
  Scan scan;
  if constexpr (sizeof(V) == 1) scan = RX_GBlurUnoScan;
  else scan = RX_GBlurDeepUnoScan;
  const int32_t width = buffer->width, height = buffer->height;
  auto* values = static_cast<V*>(*buffer->pixels);
  std::vector<V> scratch(static_cast<size_t>(std::max(width, height) + 4 * margin + 8));
  std::vector<V> column(static_cast<size_t>(height));
  for (int32_t y = 0; y < height; ++y) {
    check_package(scan(1, width, margin, margin + layer_width, radius, scratch.data(), values + size_t(y) * width),
                  "blurring the matte");
  }
  for (int32_t x = margin; x < margin + layer_width; ++x) {
    for (int32_t y = 0; y < height; ++y) column[size_t(y)] = values[size_t(y) * width + x];
    check_package(scan(1, height, margin, margin + layer_height, radius, scratch.data(), column.data()),
                  "blurring the matte");
    for (int32_t y = 0; y < height; ++y) values[size_t(y) * width + x] = column[size_t(y)];
  }
}

template <class Px>
void merge(Picture& layer, RX_UnoBuffer* buffer, int32_t margin, const RX_ProgressInfo* progress) {
  RX_WorldX<Px> world(*layer.def(), false);
  run_package("feathering the layer",
              [&] { RX_MergeMaskAlpha(progress, -margin, -margin, nullptr, buffer, nullptr, &world); });
}

}  // namespace

FeatherTiles feather_layer(Picture& layer, const Picture* matte, int32_t matte_kind, double radius,
                           const RX_ProgressInfo* progress) {
  const bool deep = layer.depth() != 8;
  const int32_t margin = int32_t(std::ceil(radius));
  const int32_t fixed_radius = int32_t(std::lround(radius * 65536.0));
  const int32_t width = layer.width() + 2 * margin, height = layer.height() + 2 * margin;

  // The coverage's source at 8 or 16 bits: the matte, read lazily, or the
  // layer's own alpha.
  FeatherTiles tiles;
  std::unique_ptr<Picture> source;
  const Picture* from = &layer;
  int32_t kind = RX_Mask_Alpha;
  std::unique_ptr<LazyMatte> lazy;
  if (matte) {
    lazy = std::make_unique<LazyMatte>(*matte);
    lazy->make(-margin, -margin, layer.width() + margin, layer.height() + margin);
    tiles = lazy->count();
    from = &lazy->picture();
    kind = matte_kind;
  }
  if (from->depth() == 32) {
    source = std::make_unique<Picture>(to_depth(*from, 16, false));
    from = source.get();
  }

  RX_UnoBuffer* made = nullptr;
  check_package(deep ? RX_NewDeepUnoBuffer(uint32_t(width), uint32_t(height), &made)
                     : RX_NewUnoBuffer(uint32_t(width), uint32_t(height), &made),
                "making the feather's mask buffer");
  Buffer buffer(made);
  if (deep) {
    take_coverage<RX_Pixel16, uint16_t>(*from, kind, margin, buffer.get());
    blur<uint16_t>(buffer.get(), margin, fixed_radius, layer.width(), layer.height());
  } else {
    take_coverage<RX_Pixel8, uint8_t>(*from, kind, margin, buffer.get());
    blur<uint8_t>(buffer.get(), margin, fixed_radius, layer.width(), layer.height());
  }
  switch (layer.depth()) {
    case 8: merge<RX_Pixel8>(layer, buffer.get(), margin, progress); break;
    case 16: merge<RX_Pixel16>(layer, buffer.get(), margin, progress); break;
    default: merge<RX_PixelFloat>(layer, buffer.get(), margin, progress); break;
  }
  return tiles;
}

}  // namespace rxtool
