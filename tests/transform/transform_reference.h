// A plain model of the world transform for the tests, written from the
// transform's rules: the inverse of each matrix walked in 16.16 from the
// position of the area's top-left pixel, per-pixel samples (a nearest
// walker of its own, the package's samplers called one position at a
// time), motion averages, and each line composited by the drop, move and
// pipeline rules. The pipeline and the samplers are tested on their own.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "rx_test_support.h"

namespace tref {

template <class Px>
using Cv = decltype(Px{}.alpha);

template <class Px>
constexpr double kWhite = sizeof(Px) == 4 ? 255.0 : sizeof(Px) == 8 ? 32768.0 : 1.0;
template <class Px>
constexpr bool kIsFloat = sizeof(Px) == 16;

template <class Px>
Cv<Px> channel(double unit) {
  if constexpr (kIsFloat<Px>) return float(unit);
  else return Cv<Px>(unit * kWhite<Px> + 0.5);
}

// Random pixels: a quarter transparent, a quarter opaque, the rest between.
template <class Px>
void fill_random(rxtest::TestWorld<Px>& world, std::mt19937& rng, int transparent_in = 4) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int32_t y = 0; y < world.height(); ++y) {
    for (int32_t x = 0; x < world.width(); ++x) {
      const int pick = int(rng() % uint32_t(transparent_in));
      const double a = pick == 0 ? 0.0 : pick == 1 ? 1.0 : unit(rng);
      world.at(x, y) = Px{channel<Px>(a), channel<Px>(unit(rng)), channel<Px>(unit(rng)), channel<Px>(unit(rng))};
    }
  }
}

template <class Px>
void copy_world(rxtest::TestWorld<Px>& from, rxtest::TestWorld<Px>& to) {
  for (int32_t y = 0; y < from.height(); ++y) {
    for (int32_t x = 0; x < from.width(); ++x) to.at(x, y) = from.at(x, y);
  }
}

template <class Px>
std::string describe(const Px& p) {
  return std::to_string(double(p.alpha)) + "," + std::to_string(double(p.red)) + "," +
         std::to_string(double(p.green)) + "," + std::to_string(double(p.blue));
}

template <class Px>
bool same_world(rxtest::TestWorld<Px>& a, rxtest::TestWorld<Px>& b, std::string* where) {
  for (int32_t y = 0; y < a.height(); ++y) {
    for (int32_t x = 0; x < a.width(); ++x) {
      if (!rxtest::same_pixel(a.at(x, y), b.at(x, y))) {
        *where = "x " + std::to_string(x) + " y " + std::to_string(y) + ": " + describe(a.at(x, y)) + " vs " +
                 describe(b.at(x, y));
        return false;
      }
    }
  }
  return true;
}

inline GE_Matrix3 affine(double a, double b, double tx, double c, double d, double ty) {
  return GE_Matrix3{{{a, b, tx}, {c, d, ty}, {0.0, 0.0, 1.0}}};
}
inline GE_Matrix3 identity() { return affine(1, 0, 0, 0, 1, 0); }
inline GE_Matrix3 translation(double tx, double ty) { return affine(1, 0, tx, 0, 1, ty); }
inline GE_Matrix3 scaling(double sx, double sy) { return affine(sx, 0, 0, 0, sy, 0); }
// Rotation by degrees and scale about (cx, cy) of the source, then a move.
inline GE_Matrix3 turn(double degrees, double scale, double cx, double cy, double tx = 0, double ty = 0) {
  const double r = degrees * M_PI / 180.0, c = std::cos(r) * scale, s = std::sin(r) * scale;
  return affine(c, -s, cx - c * cx + s * cy + tx, s, c, cy - s * cx - c * cy + ty);
}

// ---- the model ----

// value × 65536 rounded half up.
inline int64_t fixed(double v) { return int64_t(std::floor(v * 65536.0 + 0.5)); }
inline bool fits32(int64_t v) { return v >= INT32_MIN && v <= INT32_MAX; }

// One destination-to-source matrix: where destination (x, y) samples.
struct Inverse {
  GE_Matrix3 m;
  double ox, oy, xx, xy, yx, yy;  // origin, source change per column, per line
  int64_t fxx, fxy, fyx, fyy;     // those steps in 16.16

  explicit Inverse(const GE_Matrix3& inv) : m(inv) {
    GE_FloatPoint p[3] = {{0, 0}, {1, 0}, {0, 1}};
    GE_TransformFloatPoints(&inv, 3, p);
    ox = p[0].x, oy = p[0].y;
    xx = p[1].x - ox, xy = p[1].y - oy;
    yx = p[2].x - ox, yy = p[2].y - oy;
    fxx = fixed(xx), fxy = fixed(xy), fyx = fixed(yx), fyy = fixed(yy);
  }
  // The start of the walk at (left, top), then whole steps.
  void position(int32_t left, int32_t top, int32_t x, int32_t y, int64_t* px, int64_t* py) const {
    *px = fixed(ox + left * xx + top * yx) + int64_t(x - left) * fxx + int64_t(y - top) * fyx;
    *py = fixed(oy + left * xy + top * yy) + int64_t(x - left) * fxy + int64_t(y - top) * fyy;
  }
  // Box radii: half the source length of a destination pixel, at most 127.
  RX_SampPB radii(const RX_LayerDef* src) const {
    const double rx = std::min(127.0, 0.5 * std::hypot(xx, xy)), ry = std::min(127.0, 0.5 * std::hypot(yx, yy));
    return RX_SampPB{int32_t(rx * 65536.0 + 0.5), int32_t(ry * 65536.0 + 0.5), uint32_t(4 * rx * ry * 65536.0 + 0.5),
                     src};
  }
};

struct Call {
  int32_t quality = 1;
  int32_t field = 0;
  RX_CompositeModePlus mode{RX_Xfer_Over, 1.0f, nullptr, false, 0};
  const RX_LinearBlendingTables* tables = nullptr;
  std::vector<GE_Matrix3> matrices{identity()};
  bool source_to_dest = true;
  GE_LRect dest_rect{-100000, -100000, 100000, 100000};
  bool with_matte = false;
  int32_t matte_kind = 0, matte_x = 0, matte_y = 0;
};

template <class Px>
RX_Err run_transform(const Call& call, rxtest::TestWorld<Px>& src, rxtest::TestWorld<std::type_identity_t<Px>>* matte,
                     rxtest::TestWorld<Px>& dst, const RX_ProgressInfo* progress = nullptr) {
  RX_MaskWorld mask{};
  if (call.with_matte) mask = {*matte->def(), call.matte_x, call.matte_y, call.matte_kind};
  return RX_TransformWorld(progress, call.quality, 0, call.field, src.def(), &call.mode, call.tables,
                           call.with_matte ? &mask : nullptr, call.matrices.data(), int32_t(call.matrices.size()),
                           call.source_to_dest, call.dest_rect, dst.def());
}

// The matrix pair of a given matrix.
inline bool inverse_of(const Call& call, size_t i, GE_Matrix3* inverse, GE_Matrix3* forward) {
  const GE_Matrix3& m = call.matrices[i];
  if (call.source_to_dest) {
    *forward = m;
    return GE_InverseMatrixQuiet(&m, inverse) != 0;
  }
  *inverse = m;
  return GE_InverseMatrixQuiet(&m, forward) != 0;
}

// Samples of the package's own samplers, one position at a time.
template <class Px>
Px nearest_sample(const RX_SampPB& pb, int32_t x, int32_t y) {
  Px p{};
  if constexpr (sizeof(Px) == 4) RX_NNSample(nullptr, x, y, &pb, &p);
  else if constexpr (sizeof(Px) == 8) RX_NNSample16(nullptr, x, y, &pb, &p);
  else RX_NNSampleFloat(nullptr, x, y, &pb, &p);
  return p;
}
template <class Px>
Px bilinear_sample(const RX_SampPB& pb, int32_t x, int32_t y) {
  Px p{};
  if constexpr (sizeof(Px) == 4) RX_SubpixelSample_Straight(nullptr, x, y, &pb, &p);
  else if constexpr (sizeof(Px) == 8) RX_SubpixelSample_Straight16(nullptr, x, y, &pb, &p);
  else RX_SubpixelCPlusPlusFloat(nullptr, x, y, &pb, &p);
  return p;
}
template <class Px>
Px area_sample(const RX_SampPB& pb, int32_t x, int32_t y) {
  Px p{};
  RX_AreaSample_CPlusPlus<Px>(nullptr, x, y, &pb, &p);
  return p;
}

// The plain nearest walker: the pixel under (x + 0x8000, y + 0x8000), tested
// at every position; a position beyond 32 bits is outside.
template <class Px>
Px walk_nearest(rxtest::TestWorld<Px>& src, int64_t x, int64_t y) {
  if (!fits32(x) || !fits32(y)) return Px{};
  const int64_t i = (x + 0x8000) >> 16, j = (y + 0x8000) >> 16;
  if (i < 0 || j < 0 || i >= src.width() || j >= src.height()) return Px{};
  return src.at(int32_t(i), int32_t(j));
}

// The sample of a quality at a position: nearest at draft; bilinear for
// boxes of at most half a pixel, area sampling otherwise.
template <class Px>
Px sample_at(rxtest::TestWorld<Px>& src, int32_t quality, const RX_SampPB& pb, int64_t x, int64_t y,
             bool own_nearest) {
  if (!fits32(x) || !fits32(y)) return Px{};
  if (quality == 0) return own_nearest ? walk_nearest(src, x, y) : nearest_sample<Px>(pb, int32_t(x), int32_t(y));
  if (pb.x_radius <= 0x8000 && pb.y_radius <= 0x8000) return bilinear_sample<Px>(pb, int32_t(x), int32_t(y));
  return area_sample<Px>(pb, int32_t(x), int32_t(y));
}

// The average of samples: alpha over all count, colours over the alpha
// sum (also when every sample is opaque), rounded half up at 8 and 16 bits.
template <class Px>
Px average(const std::vector<Px>& samples, int32_t count) {
  double a = 0, r = 0, g = 0, b = 0;
  for (const Px& p : samples) {
    a += double(p.alpha);
    r += double(p.red) * double(p.alpha);
    g += double(p.green) * double(p.alpha);
    b += double(p.blue) * double(p.alpha);
  }
  if (a == 0) return Px{};
  if constexpr (kIsFloat<Px>) {
    return Px{float(a / count), float(r / a), float(g / a), float(b / a)};
  } else {
    auto round = [](double v) { return Cv<Px>(std::floor(v + 0.5)); };
    return Px{round(a / count), round(r / a), round(g / a), round(b / a)};
  }
}

// The landing rectangle of one forward matrix: the corners of the source
// grown by a pixel (as far as bilinear taps reach), their bounding box,
// grown by one more pixel.
inline GE_LRect landing(const GE_Matrix3& forward, int32_t w, int32_t h) {
  GE_FloatPoint c[4] = {{-1.0, -1.0}, {double(w), -1.0}, {-1.0, double(h)}, {double(w), double(h)}};
  GE_TransformFloatPoints(&forward, 4, c);
  double l = c[0].x, r = c[0].x, t = c[0].y, b = c[0].y;
  for (auto& p : c) l = std::min(l, p.x), r = std::max(r, p.x), t = std::min(t, p.y), b = std::max(b, p.y);
  return GE_LRect{int32_t(std::floor(l)) - 1, int32_t(std::floor(t)) - 1, int32_t(std::floor(r)) + 2,
                  int32_t(std::floor(b)) + 2};
}

inline bool equal_matrices(const GE_Matrix3& a, const GE_Matrix3& b) {
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      if (std::fabs(a.m[r][c] - b.m[r][c]) > 1e-12) return false;
    }
  }
  return true;
}

inline bool acts_on_empty(int32_t mode) {
  return mode == RX_Xfer_ReplaceRaw || mode == RX_Xfer_MultiplyAlpha || mode == RX_Xfer_MultiplyAlphaLuma ||
         mode == RX_Xfer_AddPremul;
}

// The matte value of a matte pixel by kind (float luminance limited to
// 0..1, with anything below 1e-16 taken as 0).
template <class Px>
Cv<Px> matte_value(const Px& p, int32_t kind) {
  if constexpr (kIsFloat<Px>) {
    float v = p.alpha;
    if (kind >= 2) {
      v = p.alpha * (0.299f * p.red + 0.587f * p.green + 0.114f * p.blue);
      if (v > 1.0f) v = 1.0f;
      if (v < 1e-16f) v = 0.0f;
    }
    return (kind & 1) ? 1.0f - v : v;
  } else {
    const int64_t white = sizeof(Px) == 4 ? 255 : 32768;
    auto mul = [](int64_t x, int64_t y) -> int64_t {
      if constexpr (sizeof(Px) == 4) {
        const int64_t t = x * y + 128;
        return (t + (t >> 8)) >> 8;
      } else {
        return (x * y + 16383) >> 15;
      }
    };
    int64_t v = p.alpha;
    if (kind >= 2) v = mul(v, (9798 * p.red + 19235 * p.green + 3735 * p.blue + 16384) >> 15);
    return Cv<Px>((kind & 1) ? white - v : v);
  }
}

// What the transform should leave in dst, for a call that is not a pure
// whole-pixel move. own_nearest: draft quality walks with the test's own
// nearest walker instead of calling the nearest sampler. Returns false
// when the call draws nothing.
template <class Px>
bool expected_transform(const Call& call, rxtest::TestWorld<Px>& src,
                        rxtest::TestWorld<std::type_identity_t<Px>>* matte,
                        rxtest::TestWorld<Px>& dst, bool own_nearest = true) {
  const size_t count = call.matrices.size();
  GE_Matrix3 inv0, fwd0, inv1, fwd1;
  if (!inverse_of(call, 0, &inv0, &fwd0)) return false;
  const bool motion = count > 1 && !equal_matrices(call.matrices[0], call.matrices[count - 1]);
  if (motion && !inverse_of(call, count - 1, &inv1, &fwd1)) return false;
  if (!motion) inv1 = inv0, fwd1 = fwd0;

  // The area: landing rectangles joined, within dest rect, dst and an
  // even-kind matte.
  GE_LRect area{0, 0, 0, 0};
  for (size_t i = 0; i < count; ++i) {
    if (!motion && i != 0 && i != count - 1) continue;
    GE_Matrix3 inv, fwd;
    if (!inverse_of(call, i, &inv, &fwd)) continue;
    const GE_LRect l = landing(fwd, src.width(), src.height());
    GE_UnionLRect(&area, &l, &area);
  }
  area.left = std::max({area.left, call.dest_rect.left, 0});
  area.top = std::max({area.top, call.dest_rect.top, 0});
  area.right = std::min({area.right, call.dest_rect.right, dst.width()});
  area.bottom = std::min({area.bottom, call.dest_rect.bottom, dst.height()});
  if (call.with_matte && call.matte_kind % 2 == 0) {
    area.left = std::max(area.left, call.matte_x);
    area.top = std::max(area.top, call.matte_y);
    area.right = std::min(area.right, call.matte_x + matte->width());
    area.bottom = std::min(area.bottom, call.matte_y + matte->height());
  }
  if (area.right <= area.left || area.bottom <= area.top) return false;

  const Inverse first(inv0), last(inv1);
  const RX_SampPB pb = first.radii(src.def());
  if (fixed(std::hypot(first.xx, first.xy)) == 0 || fixed(std::hypot(first.yx, first.yy)) == 0) {
    // Flattened: a stencil removes everything.
    if (call.mode.blend_mode == RX_Xfer_MultiplyAlpha || call.mode.blend_mode == RX_Xfer_MultiplyAlphaLuma) {
      for (int32_t y = 0; y < dst.height(); ++y) {
        for (int32_t x = 0; x < dst.width(); ++x) dst.at(x, y) = Px{};
      }
    }
    return true;
  }

  // The path: curved only at best quality with other than two matrices.
  bool curved = false;
  int32_t steps = 0;
  if (motion) {
    if (call.quality != 0 && count != 2) {
      std::vector<Inverse> path;
      for (size_t i = 0; i < count; ++i) {
        GE_Matrix3 inv, fwd;
        if (inverse_of(call, i, &inv, &fwd)) path.emplace_back(inv);
      }
      auto unit_close = [](double ax, double ay, double bx, double by) {
        const double la = std::hypot(ax, ay), lb = std::hypot(bx, by);
        if (la == 0 || lb == 0) return la == lb;
        auto close = [](double a, double b) {
          return std::fabs(a - b) <= std::max(1e-12 * std::max(std::fabs(a), std::fabs(b)), 1.000088900582341e-12);
        };
        return close(ax / la, bx / lb) && close(ay / la, by / lb);
      };
      const Inverse& a = path.front();
      const Inverse& b = path.back();
      curved = !unit_close(a.xx, a.xy, b.xx, b.xy) || !unit_close(a.yx, a.yy, b.yx, b.yy);
      for (size_t i = 1; !curved && i + 1 < path.size(); ++i) {
        const double dx = path[i + 1].ox - path[i].ox, dy = path[i + 1].oy - path[i].oy;
        const double dx0 = path[1].ox - path[0].ox, dy0 = path[1].oy - path[0].oy;
        curved = std::fabs(dx - dx0) >= 0.9 || std::fabs(dy - dy0) >= 0.9;
      }
    }
    steps = (count == 2 ? (call.quality == 0 ? 9 : 17) : int32_t(count)) - 1;
  }

  if (call.mode.blend_mode == RX_Xfer_MultiplyAlpha || call.mode.blend_mode == RX_Xfer_MultiplyAlphaLuma) {
    for (int32_t y = 0; y < dst.height(); ++y) {
      for (int32_t x = 0; x < dst.width(); ++x) {
        if (x < area.left || x >= area.right || y < area.top || y >= area.bottom) dst.at(x, y) = Px{};
      }
    }
  }

  const int32_t width = area.right - area.left;
  uint32_t seed = uint32_t(call.mode.random_seed) + uint32_t(area.left);
  std::vector<Px> line(static_cast<size_t>(width)), matte_line(static_cast<size_t>(width));
  std::vector<Cv<Px>> saved(static_cast<size_t>(width));
  for (int32_t y = area.top; y < area.bottom; ++y) {
    const bool skipped = (call.field == 1 && y % 2 == 1) || (call.field == 2 && y % 2 == 0);
    if (!skipped) {
      double alpha_sum = 0;
      for (int32_t x = area.left; x < area.right; ++x) {
        Px p{};
        if (!motion) {
          int64_t px, py;
          first.position(area.left, area.top, x, y, &px, &py);
          p = sample_at(src, call.quality, pb, px, py, own_nearest);
        } else if (!curved) {
          int64_t x0, y0, x1, y1;
          first.position(area.left, area.top, x, y, &x0, &y0);
          last.position(area.left, area.top, x, y, &x1, &y1);
          const int64_t sx = (x1 - x0) / steps, sy = (y1 - y0) / steps;
          std::vector<Px> samples;
          for (int32_t k = 0; k < steps; ++k) {
            samples.push_back(sample_at(src, call.quality, pb, x0 + k * sx, y0 + k * sy, false));
          }
          p = average(samples, steps);
        } else {
          std::vector<Px> samples;
          for (size_t m = 0; m < count; ++m) {
            GE_Matrix3 inv, fwd;
            if (!inverse_of(call, m, &inv, &fwd)) continue;
            const Inverse walk(inv);
            int64_t px, py;
            walk.position(area.left, area.top, x, y, &px, &py);
            const RX_SampPB own = walk.radii(src.def());
            if (fixed(std::hypot(walk.xx, walk.xy)) == 0 || fixed(std::hypot(walk.yx, walk.yy)) == 0) continue;
            samples.push_back(sample_at(src, 1, own, px, py, false));
          }
          p = average(samples, int32_t(count));
        }
        line[size_t(x - area.left)] = p;
        alpha_sum += double(p.alpha);
      }
      for (int32_t i = 0; i < width && call.with_matte; ++i) {
        const int32_t mx = area.left + i - call.matte_x, my = y - call.matte_y;
        const bool inside = mx >= 0 && my >= 0 && mx < matte->width() && my < matte->height();
        matte_line[size_t(i)] = Px{};
        matte_line[size_t(i)].alpha = inside ? matte_value(matte->at(mx, my), call.matte_kind)
                                             : Cv<Px>((call.matte_kind & 1) ? kWhite<Px> : 0);
      }
      RX_BlendingMode<Px> line_mode(call.mode);
      line_mode.random_seed = int32_t(seed);
      const RX_BlendModeDescriptor<Px> plan(line_mode, call.with_matte, call.tables);
      const bool over_moves = call.mode.blend_mode == RX_Xfer_Over && !call.with_matte &&
                              !call.mode.keep_dst_alpha && line_mode.opacity == Cv<Px>(kWhite<Px>);
      if (alpha_sum == 0 && !acts_on_empty(call.mode.blend_mode)) {
        // dropped
      } else if (over_moves && alpha_sum == double(width) * kWhite<Px>) {
        for (int32_t i = 0; i < width; ++i) dst.at(area.left + i, y) = line[size_t(i)];
      } else {
        EXPECT_EQ(RX_BlendPipeline<Px>(nullptr, width, plan, line.data(),
                                       call.with_matte ? matte_line.data() : nullptr, saved.data(),
                                       &dst.at(area.left, y)),
                  RX_Result_OK);
      }
    }
    seed += uint32_t(y) * 12281u;
  }
  return true;
}

}  // namespace tref
