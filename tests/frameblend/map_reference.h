// Plain references of the maps' rules for the engine's tests: the border
// rules by unfolding, the cell read with the background, bilinear sampling
// as the maps define it, and repeated boxes as direct sums.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "frameblend/maps/texture.h"

namespace enginetest {

inline int32_t plain_cell(const RX_Engine::FnTexAxis& a, int32_t p) {
  using namespace RX_Engine;
  const int32_t c = a.count;
  if (c <= 0) return -1;
  const int32_t d = p - a.first;
  switch (a.borderMode) {
    case kBorderClamp:
      return a.first + std::clamp(d, 0, c - 1);
    case kBorderMirror: {
      // A period of 2c runs the region forward, then backward.
      const int32_t m = ((d % (2 * c)) + 2 * c) % (2 * c);
      return a.first + (m < c ? m : 2 * c - 1 - m);
    }
    case kBorderWrap:
      return a.first + ((d % c) + c) % c;
    default:
      return d >= 0 && d < c ? p : -1;
  }
}

template <class Map>
typename Map::Pixel plain_read(const Map& map, int32_t x, int32_t y) {
  const int32_t cx = plain_cell(map.xAxis(), x), cy = plain_cell(map.yAxis(), y);
  return cx < 0 || cy < 0 ? map.background() : map.cell(cx, cy);
}

// Cell floor(x - 0.5 - origin), rows mixed first (the upper row first),
// (b - a) t + a in f32.
template <class Map>
auto plain_bilinear(const Map& map, float x, float y) {
  using Traits = typename Map::Traits;
  const float fx = x - 0.5f - map.xAxis().floatOrigin;
  const float fy = y - 0.5f - map.yAxis().floatOrigin;
  const int32_t ix = int32_t(std::floor(fx));
  const int32_t iy = int32_t(std::floor(fy));
  const float tx = fx - std::floor(fx);
  const float ty = fy - std::floor(fy);
  const auto at = [&](int32_t px, int32_t py) { return Traits::toInterp(plain_read(map, px, py)); };
  const auto top = Traits::lerp(at(ix, iy), at(ix + 1, iy), tx);
  const auto bottom = Traits::lerp(at(ix, iy + 1), at(ix + 1, iy + 1), tx);
  return Traits::lerp(top, bottom, ty);
}

// passes horizontal boxes, then passes vertical ones, as direct sums over
// a generously extended copy of the input (read through its rules).
inline std::vector<float> plain_blur(const RX_Engine::FnTexture<float, float>& in, int32_t w,
                                     int32_t h, float rx, float ry, int32_t passes) {
  const int32_t m = 40;
  const int32_t ew = w + 2 * m, eh = h + 2 * m;
  std::vector<float> a(size_t(ew) * eh), b(a.size());
  for (int32_t y = 0; y < eh; ++y) {
    for (int32_t x = 0; x < ew; ++x) a[size_t(y) * ew + x] = plain_read(in, x - m, y - m);
  }
  const auto box = [&](float r, bool horizontal) {
    const int32_t i = int32_t(std::floor(r));
    const float f = r - float(i);
    const float k = 1.0f / (2.0f * float(i) + 1.0f + 2.0f * f);
    for (int32_t y = 0; y < eh; ++y) {
      for (int32_t x = 0; x < ew; ++x) {
        const auto at = [&](int32_t d) {
          const int32_t xx = horizontal ? x + d : x, yy = horizontal ? y : y + d;
          if (xx < 0 || yy < 0 || xx >= ew || yy >= eh) return 0.0f;
          return a[size_t(yy) * ew + xx];
        };
        float s = 0.0f;
        for (int32_t t = -i; t <= i; ++t) s += at(t);
        s += f * (at(-i - 1) + at(i + 1));
        b[size_t(y) * ew + x] = s * k;
      }
    }
    a.swap(b);
  };
  for (int32_t p = 0; p < passes; ++p) box(rx, true);
  for (int32_t p = 0; p < passes; ++p) box(ry, false);
  std::vector<float> out(size_t(w) * h);
  for (int32_t y = 0; y < h; ++y) {
    for (int32_t x = 0; x < w; ++x) out[size_t(y) * w + x] = a[size_t(y + m) * ew + x + m];
  }
  return out;
}

}  // namespace enginetest
