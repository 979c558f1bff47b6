// What the blurs should write, written plainly from their rules, and the
// pictures the blur tests run them on.
//
// Lines: the destination has one line per row (per column when
// dst_vertical is 1); line n reads the source line n + the destination's
// origin across its lines - the source's; a line outside the source is
// zero in every channel. Source lines step by row bytes / pixel size
// (truncated) when they are columns.
//
// Gaussian: weights[0] = 255, weights[i] = 255 × bell(i / (radius + 1))
// truncated, i = 1..ceil(radius); the taps at c, c + 1, c - 1, c + 2, ...
// that fall inside the line add weight × value (8 bits: integers; 16 bits:
// integer products added as f32; float: value × weight in f32) and their
// weight; the result divides by the whole kernel's weight (or the weight
// inside, renormalizing), in the destination's form.
//
// Box: each pass slides a box of 2R + 1 samples whose end samples weigh
// 1 - frac; passes run over spans of line coordinates that shrink toward
// the destination; intermediate passes store premultiplied pixels at the
// world's depth. The packed rounding of the premultiplied form is written
// out beside the scalar one.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <type_traits>
#include <vector>

#include "rx_test_support.h"

namespace blurtest {

template <class Px>
using Cv = decltype(Px{}.alpha);

template <class Px>
constexpr bool is8 = std::is_same_v<Px, RX_Pixel8>;
template <class Px>
constexpr bool is16 = std::is_same_v<Px, RX_Pixel16>;
template <class Px>
constexpr bool isF = std::is_same_v<Px, RX_PixelFloat>;

template <class Px>
constexpr int16_t depth_of() {
  return is8<Px> ? 8 : is16<Px> ? 16 : 32;
}

// Channel k: 0 alpha, 1 red, 2 green, 3 blue.
template <class Px>
Cv<Px>& ch(Px& p, int k) {
  return k == 0 ? p.alpha : k == 1 ? p.red : k == 2 ? p.green : p.blue;
}
template <class Px>
Cv<Px> ch(const Px& p, int k) {
  return ch(const_cast<Px&>(p), k);
}

inline bool selected(int32_t channels, int k) { return channels & (1 << k); }

// The processor's truncation (out of range: 0x80000000).
inline int32_t trunc_f(float v) {
  int32_t r;
  asm("cvttss2si %1, %0" : "=r"(r) : "x"(v));
  return r;
}
inline int32_t trunc_d(double v) {
  int32_t r;
  asm("cvttsd2si %1, %0" : "=r"(r) : "x"(v));
  return r;
}
// Round to nearest, ties to even, as the processor's default.
inline int32_t nearest_even(float v) { return int32_t(std::nearbyint(v)); }

inline double bell(double d) { return d > 1.0 ? 0.0 : 1.0 - (1.0 - std::exp(-2.378 * d * d)) * 1.102; }

// ---- pictures ----

// A world over memory the test owns: padding bytes after each row, the
// first pixel misaligned from 16 bytes, an origin. The storage has a
// gutter before and after that no blur may touch; it and the padding hold
// 0xA5 bytes.
template <class Px>
class Picture {
 public:
  static constexpr int32_t kGutter = 64;

  Picture(int32_t width, int32_t height, int32_t padding = 0, int32_t misalign = 0,
          int32_t origin_x = 0, int32_t origin_y = 0)
      : width_(width), height_(height) {
    row_bytes_ = width * int32_t(sizeof(Px)) + padding;
    storage_.assign(size_t(kGutter) * 2 + size_t(row_bytes_) * std::max(height, 1) + 32 + misalign,
                    uint8_t{0xA5});
    uintptr_t base = reinterpret_cast<uintptr_t>(storage_.data()) + kGutter;
    base = (base + 15) & ~uintptr_t{15};
    offset_ = size_t(base - reinterpret_cast<uintptr_t>(storage_.data())) + size_t(misalign);
    // Pixels start transparent black; padding and gutters keep 0xA5.
    for (int32_t y = 0; y < height; ++y) {
      std::memset(storage_.data() + offset_ + size_t(y) * row_bytes_, 0, size_t(width) * sizeof(Px));
    }
    RX_LayerDef def{};
    def.data = storage_.data() + offset_;
    def.width = width;
    def.height = height;
    def.row_stride = row_bytes_;
    def.content_rect = {0, 0, width, height};
    RXp_SetLayerFlagsForDepth(&def, depth_of<Px>());
    // World objects keep their origin in the record's last reserved bytes;
    // a wrapper that keeps the record takes it from there.
    const GE_LPoint origin{origin_x, origin_y};
    std::memcpy(def.reserved5, &origin, sizeof origin);
    world_.reset(new RX_WorldX<Px>(def, true));
    const GE_LPoint got = world_->Origin();
    EXPECT_TRUE(got.x == origin_x && got.y == origin_y) << "the origin did not reach the world";
  }

  RX_World* world() { return world_.get(); }
  uint8_t* data() { return storage_.data() + offset_; }
  int32_t width() const { return width_; }
  int32_t height() const { return height_; }
  int32_t row_bytes() const { return row_bytes_; }
  GE_LPoint origin() const { return world_->Origin(); }
  Px& at(int32_t x, int32_t y) { return reinterpret_cast<Px*>(data() + intptr_t{y} * row_bytes_)[x]; }
  std::vector<uint8_t>& storage() { return storage_; }
  size_t offset() const { return offset_; }

 private:
  int32_t width_, height_, row_bytes_;
  std::vector<uint8_t> storage_;
  size_t offset_ = 0;
  std::unique_ptr<RX_WorldX<Px>> world_;
};

// A random value of a channel; float values lie in 0..1.25, a few exactly 0
// or 1.
template <class Px>
Cv<Px> random_value(std::mt19937& rng) {
  if constexpr (is8<Px>) {
    return Cv<Px>(rng() & 255);
  } else if constexpr (is16<Px>) {
    const uint32_t r = rng();
    return Cv<Px>((r >> 8) % 6 == 0 ? 32768 : (r >> 12) % 32769);
  } else {
    const uint32_t r = rng();
    if (r % 11 == 0) return 0.0f;
    if (r % 13 == 0) return 1.0f;
    return float(r >> 8) * (1.25f / 16777216.0f);
  }
}

// Random pixels; a share of them transparent, and (when premultiplied)
// colours no larger than their alpha.
template <class Px>
void fill_random(Picture<Px>& p, std::mt19937& rng, bool premultiplied) {
  for (int32_t y = 0; y < p.height(); ++y) {
    for (int32_t x = 0; x < p.width(); ++x) {
      Px px;
      for (int k = 0; k < 4; ++k) ch(px, k) = random_value<Px>(rng);
      if (rng() % 7 == 0) px.alpha = 0;
      if (premultiplied) {
        for (int k = 1; k < 4; ++k) ch(px, k) = std::min(ch(px, k), px.alpha);
      }
      p.at(x, y) = px;
    }
  }
}

// ---- the call ----

struct BlurParams {
  float radius = 1.0f;
  int32_t channels = 15;
  uint32_t src_vertical = 0;
  int32_t src_premultiplied = 0;
  uint32_t dst_vertical = 0;
  uint32_t dst_premultiplied = 0;
  bool force_copy = false;
  uint32_t passes = 1;
  bool packed = false;  // box: premultiplied passes round as the SSE2 form
};

// A world seen through its record, as the reference reads and writes it.
struct View {
  uint8_t* data;
  int32_t row_bytes, width, height, origin_x, origin_y;
};

template <class Px>
View view_of(Picture<Px>& p, uint8_t* data) {
  const GE_LPoint o = p.origin();
  return {data, p.row_bytes(), p.width(), p.height(), o.x, o.y};
}

template <class Px>
struct Line {
  Px* first;
  intptr_t stride;
  int32_t length;
  Px& operator[](int64_t i) const { return first[i * stride]; }
};

// The source line under destination line n, or a line of length -1.
template <class Px>
Line<Px> source_line(const View& src, const View& dst, const BlurParams& c, int32_t n) {
  const int32_t ps = int32_t(sizeof(Px));
  const int64_t dst_across = c.dst_vertical == 1 ? dst.origin_x : dst.origin_y;
  const int64_t src_across = c.src_vertical == 0 ? src.origin_y : src.origin_x;
  const int64_t index = n + dst_across - src_across;
  const int64_t lines = c.src_vertical ? src.width : src.height;
  if (index < 0 || index >= lines) return {nullptr, 0, -1};
  if (c.src_vertical) {
    return {reinterpret_cast<Px*>(src.data) + index, src.row_bytes / ps, src.height};
  }
  return {reinterpret_cast<Px*>(src.data + index * src.row_bytes), 1, src.width};
}

template <class Px>
Line<Px> destination_line(const View& dst, const BlurParams& c, int32_t n) {
  const int32_t ps = int32_t(sizeof(Px));
  const intptr_t stride = c.dst_vertical ? dst.row_bytes / ps : 1;
  const int32_t length = c.dst_vertical ? dst.height : dst.width;
  Px* first = c.dst_vertical == 1 ? reinterpret_cast<Px*>(dst.data) + n
                                  : reinterpret_cast<Px*>(dst.data + intptr_t{n} * dst.row_bytes);
  return {first, stride, length};
}

inline int32_t line_count(const View& dst, const BlurParams& c) {
  return c.dst_vertical == 1 ? dst.width : dst.height;
}

// A straight pixel with the chosen colours premultiplied by its alpha.
template <class Px>
Px premultiply(Px p, int32_t channels) {
  for (int k = 1; k < 4; ++k) {
    if (!selected(channels, k)) continue;
    if constexpr (is8<Px>) {
      const uint32_t prod = uint32_t(ch(p, k)) * p.alpha;
      ch(p, k) = Cv<Px>((prod + 128 + ((prod + 128) >> 8)) >> 8);
    } else if constexpr (is16<Px>) {
      ch(p, k) = Cv<Px>((uint32_t(ch(p, k)) * p.alpha + 16383) >> 15);
    } else {
      ch(p, k) = ch(p, k) * p.alpha;
    }
  }
  return p;
}

// ---- Gaussian ----

template <class Px>
Px gaussian_pixel(const std::vector<Px>& in, int32_t c, const std::vector<uint32_t>& w,
                  const BlurParams& p) {
  const int32_t n = int32_t(in.size());
  const int32_t r = int32_t(w.size()) - 1;
  uint32_t full = w[0];
  for (int32_t i = 1; i <= r; ++i) full += 2 * w[i];
  auto inside = [&](int64_t i) { return i >= 0 && i < n; };

  // Taps in their order: the centre, then c + i before c - i.
  std::vector<std::pair<int64_t, uint32_t>> taps{{c, w[0]}};
  for (int32_t i = 1; i <= r; ++i) {
    taps.push_back({int64_t{c} + i, w[i]});
    taps.push_back({int64_t{c} - i, w[i]});
  }
  const bool centre_in = inside(c);
  Px out{};
  if ((p.channels & 15) != 15 && centre_in) out = in[c];
  const auto centre_alpha = centre_in ? in[c].alpha : Cv<Px>(0);
  const bool renorm = p.channels & 16;

  if constexpr (is8<Px>) {
    uint32_t s[4] = {0, 0, 0, 0}, ws = 0;
    for (auto [at, weight] : taps) {
      if (!inside(at)) continue;
      for (int k = 0; k < 4; ++k) s[k] += weight * ch(in[at], k);
      ws += weight;
    }
    uint32_t total = renorm ? ws : full;
    uint32_t half = total / 2;
    if (p.dst_premultiplied) {
      for (int k = 0; k < 4; ++k) {
        if (selected(p.channels, k)) ch(out, k) = total ? Cv<Px>((s[k] + half) / total) : 0;
      }
      return out;
    }
    const uint64_t a = selected(p.channels, 0) ? s[0] : uint64_t(centre_alpha) * total;
    if (total == 0 || a == 0) {
      for (int k = 0; k < 4; ++k) {
        if (selected(p.channels, k)) ch(out, k) = 0;
      }
      return out;
    }
    if (selected(p.channels, 0)) out.alpha = Cv<Px>((a + half) / total);
    for (int k = 1; k < 4; ++k) {
      if (selected(p.channels, k)) ch(out, k) = Cv<Px>(std::min<uint64_t>((s[k] * 255ull + a / 2) / a, 255));
    }
    return out;
  } else if constexpr (is16<Px>) {
    float s[4] = {0, 0, 0, 0}, ws = 0;
    for (auto [at, weight] : taps) {
      if (!inside(at)) continue;
      for (int k = 0; k < 4; ++k) s[k] += float(int32_t(weight) * int32_t(ch(in[at], k)));
      ws += float(weight);
    }
    const int32_t total = renorm ? trunc_f(ws) : int32_t(full);
    const int32_t half = total / 2;
    if (p.dst_premultiplied) {
      for (int k = 0; k < 4; ++k) {
        if (selected(p.channels, k)) {
          ch(out, k) = total ? Cv<Px>(trunc_f((s[k] + float(half)) / float(total))) : 0;
        }
      }
      return out;
    }
    const float a = selected(p.channels, 0) ? s[0] : float(centre_alpha) * float(total);
    if (total == 0 || a == 0.0f) {
      for (int k = 0; k < 4; ++k) {
        if (selected(p.channels, k)) ch(out, k) = 0;
      }
      return out;
    }
    if (selected(p.channels, 0)) out.alpha = Cv<Px>(trunc_f((float(half) + a) / float(total)));
    const float h = float(trunc_f(a * 0.5f));
    for (int k = 1; k < 4; ++k) {
      if (selected(p.channels, k)) {
        ch(out, k) = Cv<Px>(std::min(trunc_f((s[k] * 32768.0f + h) / a), 32768));
      }
    }
    return out;
  } else {
    float s[4] = {0, 0, 0, 0}, ws = 0;
    for (auto [at, weight] : taps) {
      if (!inside(at)) continue;
      for (int k = 0; k < 4; ++k) s[k] += ch(in[at], k) * float(weight);
      ws += float(weight);
    }
    const float total = renorm ? ws : float(full);
    if (p.dst_premultiplied) {
      for (int k = 0; k < 4; ++k) {
        if (selected(p.channels, k)) ch(out, k) = total != 0.0f ? s[k] / total : 0.0f;
      }
      return out;
    }
    const float a = selected(p.channels, 0) ? s[0] : centre_alpha * total;
    if (total == 0.0f || a == 0.0f) {
      for (int k = 0; k < 4; ++k) {
        if (selected(p.channels, k)) ch(out, k) = 0;
      }
      return out;
    }
    if (selected(p.channels, 0)) out.alpha = a / total;
    for (int k = 1; k < 4; ++k) {
      if (selected(p.channels, k)) ch(out, k) = s[k] / a;
    }
    return out;
  }
}

inline std::vector<uint32_t> gaussian_weights(float radius) {
  const int32_t r = int32_t(std::ceil(double(radius)));
  std::vector<uint32_t> w(size_t(r) + 1);
  w[0] = 255;
  for (int32_t i = 1; i <= r; ++i) w[i] = uint32_t(trunc_d(bell(double(i) / (double(radius) + 1.0)) * 255.0));
  return w;
}

// What the Gaussian writes into dst_data (a copy of the destination's
// memory laid out as the destination).
template <class Px>
void reference_gaussian(const View& src, const View& dst, const BlurParams& p) {
  const std::vector<uint32_t> w = gaussian_weights(p.radius);
  const int32_t delta = (p.dst_vertical ? dst.origin_y : dst.origin_x) -
                        (p.src_vertical ? src.origin_y : src.origin_x);
  const bool premultiply_line = !p.src_premultiplied && (p.channels & 14);
  for (int32_t n = 0; n < line_count(dst, p); ++n) {
    const Line<Px> out = destination_line<Px>(dst, p, n);
    const Line<Px> in = source_line<Px>(src, dst, p, n);
    if (in.length < 0) {
      for (int32_t k = 0; k < out.length; ++k) out[k] = Px{};
      continue;
    }
    std::vector<Px> line(size_t(in.length));
    for (int32_t i = 0; i < in.length; ++i) line[i] = premultiply_line ? premultiply(in[i], p.channels) : in[i];
    std::vector<Px> result(size_t(out.length));
    for (int32_t k = 0; k < out.length; ++k) result[k] = gaussian_pixel(line, delta + k, w, p);
    for (int32_t k = 0; k < out.length; ++k) out[k] = result[k];
  }
}

// ---- box ----

struct Span {
  int64_t lo, hi;
  int64_t length() const { return std::max<int64_t>(hi - lo, 0); }
};

// The spans of the passes; index 0 is what the first pass reads.
inline std::vector<Span> box_spans(Span s, Span d, int32_t passes, int32_t r, bool direct) {
  std::vector<Span> spans(size_t(passes) + 1);
  const int64_t reach = int64_t{passes} * r;
  spans[0] = direct ? s : Span{std::max(d.lo - reach, s.lo), std::min(reach + d.hi, s.hi)};
  int64_t lo = s.lo, hi = s.hi;
  for (int32_t i = 1; i < passes; ++i) {
    lo = std::max(lo - r, d.lo - int64_t{passes - i} * r);
    hi = std::min(hi + r, d.hi + int64_t{passes - i} * r);
    spans[i] = {lo, hi};
  }
  spans[passes] = d;
  return spans;
}

// One box pass over in (index 0 at line coordinate in_lo) into out_length
// pixels starting start samples into the input, in the given form, with
// running sums stepped as the rule steps them.
template <class Px>
std::vector<Px> box_pass(const std::vector<Px>& in, int64_t start, int64_t out_length, float radius,
                         int32_t channels, int form, bool packed) {
  const int64_t n = int64_t(in.size());
  const int32_t r = int32_t(std::ceil(double(radius)));
  auto inside = [&](int64_t i) { return i >= 0 && i < n; };
  const bool renorm = channels & 16;
  const bool all = (channels & 15) == 15;
  std::vector<Px> out(size_t(std::max<int64_t>(out_length, 0)));

  // 8 bits: ends weigh frac / 1024 less; a sample counts 1024.
  const int64_t frac8 = trunc_f((float(r) - radius) * 1024.0f);
  const float frac16 = float(r) - radius;
  using Sum = std::conditional_t<is8<Px>, int64_t, std::conditional_t<is16<Px>, float, double>>;
  Sum sums[4] = {0, 0, 0, 0};
  int64_t count8 = 0;
  float count16 = 0;
  int64_t trail = start - r - 1, lead = trail + 2 * r + 1;
  for (int64_t i = std::max<int64_t>(trail, 0); i < lead && i < n; ++i) {
    for (int k = 0; k < 4; ++k) sums[k] += Sum(ch(in[i], k));
    count8 += 1024;
    count16 += 1;
  }
  for (int64_t k = 0; k < out_length; ++k) {
    if (inside(trail)) {
      for (int c = 0; c < 4; ++c) sums[c] -= Sum(ch(in[trail], c));
      count8 -= 1024;
      count16 -= 1;
    }
    ++trail;
    const bool has_frac = is8<Px> ? frac8 != 0 : frac16 != 0.0f;
    using Edge = std::conditional_t<is8<Px>, int64_t, float>;
    Edge edge[4] = {0, 0, 0, 0};
    int64_t e8 = 0;
    float e16 = 0;
    if (inside(trail) && has_frac) {
      for (int c = 0; c < 4; ++c) edge[c] = Edge(ch(in[trail], c));
      e8 = frac8;
      e16 = frac16;
    }
    if (inside(lead)) {
      for (int c = 0; c < 4; ++c) sums[c] += Sum(ch(in[lead], c));
      count8 += 1024;
      count16 += 1;
      if (has_frac) {
        for (int c = 0; c < 4; ++c) edge[c] += Edge(ch(in[lead], c));
        e8 += frac8;
        e16 += frac16;
      }
    }
    ++lead;
    Px o{};
    if (!all && inside(start + k)) o = in[start + k];

    if constexpr (is8<Px>) {
      const int64_t total = renorm ? count8 - e8 : (int64_t{r} << 11) - 2 * frac8 + 1024;
      int64_t v[4];
      for (int c = 0; c < 4; ++c) v[c] = sums[c] * 1024 - frac8 * edge[c];
      if (form == 1 && packed) {
        for (int c = 0; c < 4; ++c) {
          if (!selected(channels, c)) continue;
          if (total == 0) {
            ch(o, c) = 0;
            continue;
          }
          const float x = (float(int32_t(sums[c])) * 1024.0f - float(int32_t(edge[c])) * float(frac8)) /
                          float(total);
          ch(o, c) = Cv<Px>(nearest_even(std::min(255.0f, x)));
        }
      } else if (form == 1) {
        for (int c = 0; c < 4; ++c) {
          if (selected(channels, c)) ch(o, c) = total ? Cv<Px>((v[c] + total / 2) / total) : 0;
        }
      } else {
        const int64_t a = selected(channels, 0) ? (v[0] + 127) / 255 : (o.alpha * total + 127) / 255;
        if (total == 0 || a == 0) {
          for (int c = 0; c < 4; ++c) {
            if (selected(channels, c)) ch(o, c) = 0;
          }
        } else {
          for (int c = 1; c < 4; ++c) {
            if (selected(channels, c)) ch(o, c) = Cv<Px>(std::min<int64_t>((v[c] + a / 2) / a, 255));
          }
          if (selected(channels, 0)) o.alpha = Cv<Px>((v[0] + total / 2) / total);
        }
      }
    } else if constexpr (is16<Px>) {
      const float total = renorm ? count16 - e16 : float(2 * r + 1) - frac16 - frac16;
      float v[4];
      for (int c = 0; c < 4; ++c) v[c] = sums[c] - edge[c] * frac16;
      if (form == 1 && packed) {
        for (int c = 0; c < 4; ++c) {
          if (!selected(channels, c)) continue;
          if (total == 0.0f) {
            ch(o, c) = 0;
            continue;
          }
          // The packed form sums in 32-bit integers, exactly.
          const float x = (float(int32_t(sums[c])) - float(int32_t(edge[c])) * frac16) / total;
          ch(o, c) = Cv<Px>(nearest_even(std::clamp(x, 0.0f, 32768.0f)));
        }
      } else if (form == 1) {
        for (int c = 0; c < 4; ++c) {
          if (selected(channels, c)) {
            ch(o, c) = total != 0.0f ? Cv<Px>(trunc_f((v[c] + 0.5f * total) / total)) : 0;
          }
        }
      } else {
        float a = selected(channels, 0) ? v[0] : float(o.alpha) * total;
        a = a * 3.0517578e-5f;
        if (total != 0.0f && a != 0.0f) {
          for (int c = 1; c < 4; ++c) {
            if (selected(channels, c)) ch(o, c) = Cv<Px>(std::min(trunc_f((v[c] + 0.5f * a) / a), 32768));
          }
          if (selected(channels, 0)) o.alpha = Cv<Px>(trunc_f((v[0] + 0.5f * total) / total));
        } else {
          for (int c = 0; c < 4; ++c) {
            if (selected(channels, c)) ch(o, c) = 0;
          }
        }
      }
    } else {
      const float total = renorm ? count16 - e16 : float(2 * r + 1) - frac16 - frac16;
      auto limit = [](float x) { return x > 1.0f ? 1.0f : x < 1e-16f ? 0.0f : x; };
      if (form == 1 && packed) {
        // The packed form keeps the edge samples in doubles too.
        double packed_edge[4] = {0, 0, 0, 0};
        if (inside(trail - 0) && has_frac) {
          for (int c = 0; c < 4; ++c) packed_edge[c] = double(ch(in[trail], c));
        }
        if (inside(lead - 1) && has_frac) {
          for (int c = 0; c < 4; ++c) packed_edge[c] += double(ch(in[lead - 1], c));
        }
        for (int c = 0; c < 4; ++c) {
          if (!selected(channels, c)) continue;
          if (total == 0.0f) {
            ch(o, c) = 0;
            continue;
          }
          const float x = float((sums[c] - packed_edge[c] * double(frac16)) / double(total));
          ch(o, c) = c == 0 ? limit(x) : x;
        }
      } else if (form == 1) {
        for (int c = 0; c < 4; ++c) {
          if (!selected(channels, c)) continue;
          if (total == 0.0f) {
            ch(o, c) = 0;
            continue;
          }
          const float x = float(sums[c] - edge[c] * frac16) / total;
          ch(o, c) = c == 0 ? limit(x) : x;
        }
      } else {
        const double a = sums[0] - edge[0] * frac16;
        if (total == 0.0f || a == 0.0) {
          for (int c = 0; c < 4; ++c) {
            if (selected(channels, c)) ch(o, c) = 0;
          }
        } else {
          for (int c = 1; c < 4; ++c) {
            if (selected(channels, c)) ch(o, c) = float(float(sums[c] - edge[c] * frac16) / a);
          }
          if (selected(channels, 0)) o.alpha = limit(float(a / total));
        }
      }
    }
    out[size_t(k)] = o;
  }
  return out;
}

template <class Px>
void reference_box(const View& src, const View& dst, const BlurParams& p) {
  const int32_t r = int32_t(std::ceil(double(p.radius)));
  const int32_t passes = int32_t(p.passes);
  const bool colours = p.channels & 14;
  const bool direct = !p.force_copy && (p.src_premultiplied || !colours);
  const bool premultiply_line = !p.src_premultiplied && colours;
  const int64_t s_lo = p.src_vertical ? src.origin_y : src.origin_x;
  const int64_t s_len = p.src_vertical ? src.height : src.width;
  const int64_t d_lo = p.dst_vertical ? dst.origin_y : dst.origin_x;
  const int64_t d_len = p.dst_vertical ? dst.height : dst.width;
  const std::vector<Span> spans = box_spans({s_lo, s_lo + s_len}, {d_lo, d_lo + d_len}, passes, r, direct);

  for (int32_t n = 0; n < line_count(dst, p); ++n) {
    const Line<Px> out = destination_line<Px>(dst, p, n);
    const Line<Px> in = source_line<Px>(src, dst, p, n);
    if (in.length < 0) {
      for (int32_t k = 0; k < out.length; ++k) out[k] = Px{};
      continue;
    }
    if (passes == 0) continue;
    std::vector<Px> current(size_t(spans[0].length()));
    for (int64_t i = 0; i < spans[0].length(); ++i) {
      const Px px = in[spans[0].lo - s_lo + i];
      current[size_t(i)] = !direct && premultiply_line ? premultiply(px, p.channels) : px;
    }
    for (int32_t pass = 0; pass < passes; ++pass) {
      const bool last = pass == passes - 1;
      const int form = last ? (p.dst_premultiplied ? 1 : 0) : 1;
      current = box_pass(current, spans[pass + 1].lo - spans[pass].lo, spans[pass + 1].length(),
                         p.radius, p.channels, form, p.packed);
    }
    for (int32_t k = 0; k < out.length; ++k) out[k] = current[size_t(k)];
  }
}

}  // namespace blurtest
