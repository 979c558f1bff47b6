// What the samplers should give, written plainly from their rules, and the
// worlds and positions the sampling tests walk over.
//
// The straight-alpha bilinear kernel, per depth:
//   8-bit  : single precision, colours multiplied by the reciprocal 1.0f / A,
//            + 0.5 and truncation, limited to 0..255, zero when A < 0.5;
//   16-bit : double precision, 1 / A once, + 0.5 and truncation into 16 bits,
//            zero when A < 0.5;
//   float  : single precision, no 0.5, no limit, zero when A == 0.
// The kernel may sum in another order than the one written here, so a value
// that lies within a hair of a rounding point may land on either neighbour;
// such channels are marked and allowed one step either way. Everything else
// must agree exactly (integer depths) or to a few units in the last place
// (float).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "rx_test_support.h"

namespace samp {

// ---- reading and writing a world through its record ----

template <class Px>
Px& at(const RX_LayerDef& w, int64_t i, int64_t j) {
  return reinterpret_cast<Px*>(static_cast<char*>(w.data) + j * w.row_stride)[i];
}

inline bool inside(const RX_LayerDef& w, int64_t i, int64_t j) {
  return i >= 0 && i < w.width && j >= 0 && j < w.height;
}

// A tap of the clipping forms: outside reads transparent black.
template <class Px>
Px tap(const RX_LayerDef& w, int64_t i, int64_t j) {
  return inside(w, i, j) ? at<Px>(w, i, j) : Px{};
}

template <class Px>
bool identical(const Px& a, const Px& b) {
  return std::memcmp(&a, &b, sizeof(Px)) == 0;
}

template <class Px>
bool all_identical(const Px t[4]) {
  return identical(t[0], t[1]) && identical(t[0], t[2]) && identical(t[0], t[3]);
}

template <class Px>
bool equal_alphas(const Px t[4]) {
  return t[0].alpha == t[1].alpha && t[0].alpha == t[2].alpha && t[0].alpha == t[3].alpha;
}

// Channel k of a pixel: 0 alpha, 1 red, 2 green, 3 blue.
template <class Px>
auto& ch(Px& p, int k) {
  switch (k) {
    case 0:
      return p.alpha;
    case 1:
      return p.red;
    case 2:
      return p.green;
    default:
      return p.blue;
  }
}
template <class Px>
auto ch(const Px& p, int k) {
  return ch(const_cast<Px&>(p), k);
}

template <class Px>
std::string show(const Px& p) {
  std::ostringstream s;
  s.precision(9);
  s << "(a " << +p.alpha << ", r " << +p.red << ", g " << +p.green << ", b " << +p.blue << ")";
  return s.str();
}

// ---- weights: w11 = fx fy, w10 = fx - w11, w01 = fy - w11, w00 = 1 - w10 - w01 - w11 ----

struct WeightsF {
  float w00, w10, w01, w11;
};
struct WeightsD {
  double w00, w10, w01, w11;
};

inline WeightsF weights_single(uint32_t fx, uint32_t fy) {
  const float x = float(fx) * 1.5258789e-5f;
  const float y = float(fy) * 1.5258789e-5f;
  WeightsF w;
  w.w11 = x * y;
  w.w10 = x - w.w11;
  w.w01 = y - w.w11;
  w.w00 = 1.0f - w.w10 - w.w01 - w.w11;
  return w;
}

inline WeightsD weights_double(uint32_t fx, uint32_t fy) {
  const double x = double(fx) * 1.52587890625e-5;
  const double y = double(fy) * 1.52587890625e-5;
  WeightsD w;
  w.w11 = x * y;
  w.w10 = x - w.w11;
  w.w01 = y - w.w11;
  w.w00 = 1.0 - w.w10 - w.w01 - w.w11;
  return w;
}

// The precision of each depth's kernel: the weights from the fractions, and
// given weights (four doubles) converted into it.
template <class Px>
struct Kernel;
template <>
struct Kernel<RX_Pixel8> {
  using Weights = WeightsF;
  static Weights from_fractions(uint32_t fx, uint32_t fy) { return weights_single(fx, fy); }
  static Weights from_given(const double g[4]) {
    return {float(g[0]), float(g[1]), float(g[2]), float(g[3])};
  }
};
template <>
struct Kernel<RX_Pixel16> {
  using Weights = WeightsD;
  static Weights from_fractions(uint32_t fx, uint32_t fy) { return weights_double(fx, fy); }
  static Weights from_given(const double g[4]) { return {g[0], g[1], g[2], g[3]}; }
};
template <>
struct Kernel<RX_PixelFloat> {
  using Weights = WeightsF;
  static Weights from_fractions(uint32_t fx, uint32_t fy) { return weights_single(fx, fy); }
  static Weights from_given(const double g[4]) {
    return {float(g[0]), float(g[1]), float(g[2]), float(g[3])};
  }
};

// ---- an expected result ----

template <class Px>
struct Expected {
  Px px{};
  bool near_tie[4] = {false, false, false, false};  // per channel: a hair from a rounding point
  bool near_zero_test = false;  // A a hair from the point where the result becomes zero
};

inline uint8_t round8(float v, bool& near_tie) {
  const float r = v + 0.5f;
  near_tie = std::fabs(r - std::nearbyint(r)) < 1.0e-3f;
  return uint8_t(std::clamp(int32_t(r), 0, 255));
}

inline uint16_t round16(double v, bool& near_tie) {
  const double r = v + 0.5;
  near_tie = std::fabs(r - std::nearbyint(r)) < 1.0e-7;
  return uint16_t(int32_t(r));
}

// Steps 3, 5 and 6 of the kernel on four taps (left-top, right-top,
// left-bottom, right-bottom) with weights in the kernel's precision.
inline Expected<RX_Pixel8> blend(const RX_Pixel8 t[4], const WeightsF& w) {
  Expected<RX_Pixel8> e;
  if (all_identical(t)) {
    e.px = t[0];
    return e;
  }
  if (equal_alphas(t)) {
    if (t[0].alpha == 0) return e;
    e.px.alpha = t[0].alpha;
    for (int k = 1; k < 4; ++k) {
      const float v = w.w00 * float(ch(t[0], k)) + w.w10 * float(ch(t[1], k)) +
                      w.w01 * float(ch(t[2], k)) + w.w11 * float(ch(t[3], k));
      ch(e.px, k) = round8(v, e.near_tie[k]);
    }
    return e;
  }
  const float a0 = w.w00 * float(t[0].alpha), a1 = w.w10 * float(t[1].alpha);
  const float a2 = w.w01 * float(t[2].alpha), a3 = w.w11 * float(t[3].alpha);
  const float A = a0 + a1 + a2 + a3;
  e.near_zero_test = std::fabs(A - 0.5f) < 1.0e-3f;
  if (A < 0.5f) return e;
  e.px.alpha = round8(A, e.near_tie[0]);
  const float reciprocal = 1.0f / A;
  for (int k = 1; k < 4; ++k) {
    const float v = (a0 * float(ch(t[0], k)) + a1 * float(ch(t[1], k)) + a2 * float(ch(t[2], k)) +
                     a3 * float(ch(t[3], k))) *
                    reciprocal;
    ch(e.px, k) = round8(v, e.near_tie[k]);
  }
  return e;
}

inline Expected<RX_Pixel16> blend(const RX_Pixel16 t[4], const WeightsD& w) {
  Expected<RX_Pixel16> e;
  if (all_identical(t)) {
    e.px = t[0];
    return e;
  }
  if (equal_alphas(t)) {
    if (t[0].alpha == 0) return e;
    e.px.alpha = t[0].alpha;
    for (int k = 1; k < 4; ++k) {
      const double v = w.w00 * double(ch(t[0], k)) + w.w10 * double(ch(t[1], k)) +
                       w.w01 * double(ch(t[2], k)) + w.w11 * double(ch(t[3], k));
      ch(e.px, k) = round16(v, e.near_tie[k]);
    }
    return e;
  }
  const double a0 = w.w00 * double(t[0].alpha), a1 = w.w10 * double(t[1].alpha);
  const double a2 = w.w01 * double(t[2].alpha), a3 = w.w11 * double(t[3].alpha);
  const double A = a0 + a1 + a2 + a3;
  e.near_zero_test = std::fabs(A - 0.5) < 1.0e-7;
  if (A < 0.5) return e;
  e.px.alpha = round16(A, e.near_tie[0]);
  const double reciprocal = 1.0 / A;
  for (int k = 1; k < 4; ++k) {
    const double v = (a0 * double(ch(t[0], k)) + a1 * double(ch(t[1], k)) +
                      a2 * double(ch(t[2], k)) + a3 * double(ch(t[3], k))) *
                     reciprocal;
    ch(e.px, k) = round16(v, e.near_tie[k]);
  }
  return e;
}

inline Expected<RX_PixelFloat> blend(const RX_PixelFloat t[4], const WeightsF& w) {
  Expected<RX_PixelFloat> e;
  if (all_identical(t)) {
    e.px = t[0];
    return e;
  }
  if (equal_alphas(t)) {
    if (t[0].alpha == 0.0f) return e;
    e.px.alpha = t[0].alpha;
    for (int k = 1; k < 4; ++k) {
      ch(e.px, k) =
          w.w00 * ch(t[0], k) + w.w10 * ch(t[1], k) + w.w01 * ch(t[2], k) + w.w11 * ch(t[3], k);
    }
    return e;
  }
  const float a0 = w.w00 * t[0].alpha, a1 = w.w10 * t[1].alpha;
  const float a2 = w.w01 * t[2].alpha, a3 = w.w11 * t[3].alpha;
  const float A = a0 + a1 + a2 + a3;
  if (A == 0.0f) return e;
  e.px.alpha = A;
  const float reciprocal = 1.0f / A;
  for (int k = 1; k < 4; ++k) {
    ch(e.px, k) =
        (a0 * ch(t[0], k) + a1 * ch(t[1], k) + a2 * ch(t[2], k) + a3 * ch(t[3], k)) * reciprocal;
  }
  return e;
}

// ---- whole samples ----

inline int32_t whole(int32_t v) { return v >> 16; }  // arithmetic shift
inline uint32_t fraction(int32_t v) { return uint32_t(v) & 0xFFFF; }

// The clipping forms: whole-pixel shortcut, taps outside read zero.
template <class Px>
Expected<Px> clipped_sample(const RX_LayerDef& w, int32_t x, int32_t y) {
  const int64_t i = whole(x), j = whole(y);
  Expected<Px> e;
  if (fraction(x) == 0 && fraction(y) == 0) {
    e.px = tap<Px>(w, i, j);
    return e;
  }
  const Px t[4] = {tap<Px>(w, i, j), tap<Px>(w, i + 1, j), tap<Px>(w, i, j + 1),
                   tap<Px>(w, i + 1, j + 1)};
  return blend(t, Kernel<Px>::from_fractions(fraction(x), fraction(y)));
}

// The unclipped forms with weights given: whole-pixel shortcut, then the
// four taps (all inside by the caller's promise) with the given weights.
template <class Px>
Expected<Px> translate_sample(const RX_LayerDef& w, int32_t x, int32_t y, const double given[4]) {
  const int64_t i = whole(x), j = whole(y);
  Expected<Px> e;
  if (fraction(x) == 0 && fraction(y) == 0) {
    e.px = at<Px>(w, i, j);
    return e;
  }
  const Px t[4] = {at<Px>(w, i, j), at<Px>(w, i + 1, j), at<Px>(w, i, j + 1),
                   at<Px>(w, i + 1, j + 1)};
  return blend(t, Kernel<Px>::from_given(given));
}

// Column k of a span from (x, y): no whole-pixel shortcut, the taps of
// columns i + k and i + k + 1, weights of the one fraction.
template <class Px>
Expected<Px> span_sample(const RX_LayerDef& w, int32_t x, int32_t y, int32_t k) {
  const int64_t i = whole(x) + k, j = whole(y);
  const Px t[4] = {at<Px>(w, i, j), at<Px>(w, i + 1, j), at<Px>(w, i, j + 1),
                   at<Px>(w, i + 1, j + 1)};
  return blend(t, Kernel<Px>::from_fractions(fraction(x), fraction(y)));
}

// What a result adds to a span's alpha sum: the alpha of integer pixels;
// for float pixels the alpha in 8-bit units rounded up, 0 when not above 0.
inline uint32_t alpha_units(const RX_Pixel8& p) { return p.alpha; }
inline uint32_t alpha_units(const RX_Pixel16& p) { return p.alpha; }
inline uint32_t alpha_units(const RX_PixelFloat& p) {
  return p.alpha > 0.0f ? uint32_t(std::ceil(p.alpha * 255.0f)) : 0u;
}

// ---- comparing ----

template <class Px>
bool agrees(const Px& got, const Expected<Px>& e) {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    for (int k = 0; k < 4; ++k) {
      const float want = ch(e.px, k), have = ch(got, k);
      if (!(std::fabs(have - want) <= 4.0e-6f * (1.0f + std::fabs(want)))) return false;
    }
    return true;
  } else {
    if (e.near_zero_test && identical(got, Px{})) return true;
    for (int k = 0; k < 4; ++k) {
      const int64_t d = int64_t(ch(got, k)) - int64_t(ch(e.px, k));
      if (d != 0 && !(e.near_tie[k] && (d == 1 || d == -1))) return false;
    }
    return true;
  }
}

// Collects disagreements and shows the first few.
class Mismatches {
 public:
  // `where` describes the case; it is called only on a disagreement.
  template <class Px, class Where>
  void check(const Px& got, const Expected<Px>& want, Where&& where) {
    ++checked_;
    if (agrees(got, want)) return;
    note(where() + ": got " + show(got) + ", expected " + show(want.px));
  }
  template <class Px, class Where>
  void check_equal(const Px& got, const Px& want, Where&& where) {
    ++checked_;
    if (identical(got, want)) return;
    note(where() + ": got " + show(got) + ", expected " + show(want));
  }
  void note(const std::string& line) {
    if (count_++ < 8) text_ += "\n  " + line;
  }
  int count() const { return count_; }
  int checked() const { return checked_; }
  std::string text() const {
    return std::to_string(count_) + " of " + std::to_string(checked_) + " disagree" + text_;
  }

 private:
  int count_ = 0;
  int checked_ = 0;
  std::string text_;
};

inline std::string at_text(const std::string& world, int32_t x, int32_t y) {
  std::ostringstream s;
  s << world << " at (" << x << " = " << (x >> 16) << "+0x" << std::hex << (uint32_t(x) & 0xFFFF)
    << std::dec << ", " << y << " = " << (y >> 16) << "+0x" << std::hex << (uint32_t(y) & 0xFFFF)
    << ")";
  return s.str();
}

// ---- random content with a fixed seed ----

class Rng {
 public:
  explicit Rng(uint32_t seed) : g_(seed) {}
  uint32_t next() { return uint32_t(g_()); }
  uint32_t below(uint32_t n) { return next() % n; }
  int32_t between(int32_t lo, int32_t hi) { return lo + int32_t(below(uint32_t(hi - lo + 1))); }

 private:
  std::mt19937 g_;
};

// Channel values: 8 bits the whole byte; 16 bits mostly 0..32768 (white is
// 32768) and now and then the whole 16 bits; float 0..1 in thousandths,
// colours now and then over range.
template <class Px>
struct Values;
template <>
struct Values<RX_Pixel8> {
  static uint8_t alpha(Rng& r) { return uint8_t(r.below(256)); }
  static uint8_t colour(Rng& r) { return uint8_t(r.below(256)); }
  static uint8_t opaque() { return 255; }
  static uint8_t faint(Rng& r) { return uint8_t(r.below(3)); }
};
template <>
struct Values<RX_Pixel16> {
  static uint16_t any(Rng& r) {
    return uint16_t(r.below(8) == 0 ? r.below(65536) : r.below(32769));
  }
  static uint16_t alpha(Rng& r) { return any(r); }
  static uint16_t colour(Rng& r) { return any(r); }
  static uint16_t opaque() { return 32768; }
  static uint16_t faint(Rng& r) { return uint16_t(r.below(3)); }
};
template <>
struct Values<RX_PixelFloat> {
  static float alpha(Rng& r) { return float(r.below(1001)) / 1000.0f; }
  static float colour(Rng& r) {
    return r.below(8) == 0 ? float(r.below(2001)) / 1000.0f : float(r.below(1001)) / 1000.0f;
  }
  static float opaque() { return 1.0f; }
  static float faint(Rng& r) { return float(r.below(3)) * 0.001f; }
};

template <class Px>
Px random_pixel(Rng& r) {
  using V = Values<Px>;
  Px p;
  p.alpha = V::alpha(r);
  p.red = V::colour(r);
  p.green = V::colour(r);
  p.blue = V::colour(r);
  return p;
}

// Paints a world in blocks of 3 by 3 pixels, each block of one kind:
// random pixels; one alpha with random colours; transparent with colours
// left in; one pixel repeated; opaque; transparent black; faint alphas
// (a few units). Tap squares fall inside one block and across blocks.
template <class Px>
void paint(const RX_LayerDef& w, Rng& r) {
  using V = Values<Px>;
  for (int32_t by = 0; by < w.height; by += 3) {
    for (int32_t bx = 0; bx < w.width; bx += 3) {
      const uint32_t kind = r.below(7);
      const auto one_alpha = V::alpha(r);
      const Px one_pixel = random_pixel<Px>(r);
      for (int32_t j = by; j < std::min(by + 3, w.height); ++j) {
        for (int32_t i = bx; i < std::min(bx + 3, w.width); ++i) {
          Px p = random_pixel<Px>(r);
          switch (kind) {
            case 0:
              break;
            case 1:
              p.alpha = one_alpha;
              break;
            case 2:
              p.alpha = 0;
              break;
            case 3:
              p = one_pixel;
              break;
            case 4:
              p.alpha = V::opaque();
              break;
            case 5:
              p = Px{};
              break;
            default:
              p.alpha = V::faint(r);
              break;
          }
          at<Px>(w, i, j) = p;
        }
      }
    }
  }
}

// A world under test: its record, and the memory behind it.
template <class Px>
struct World {
  std::string name;
  std::shared_ptr<rxtest::TestWorld<Px>> storage;
  RX_LayerDef def;
};

template <class Px>
World<Px> plain_world(const std::string& name, int32_t w, int32_t h, int32_t padding,
                      int32_t misalign, Rng& r) {
  World<Px> out{name, std::make_shared<rxtest::TestWorld<Px>>(w, h, padding, misalign), {}};
  out.def = *out.storage->def();
  paint<Px>(out.def, r);
  return out;
}

// A world inside a larger one framed by opaque pixels that must never show.
template <class Px>
World<Px> sub_world(int32_t w, int32_t h, Rng& r) {
  World<Px> out{"sub-world", std::make_shared<rxtest::TestWorld<Px>>(w + 7, h + 6, 8, 0), {}};
  RX_LayerDef& parent = *out.storage->def();
  for (int32_t j = 0; j < parent.height; ++j) {
    for (int32_t i = 0; i < parent.width; ++i) {
      Px p = random_pixel<Px>(r);
      p.alpha = Values<Px>::opaque();
      at<Px>(parent, i, j) = p;
    }
  }
  out.def = parent;
  out.def.data = &at<Px>(parent, 3, 2);
  out.def.width = w;
  out.def.height = h;
  out.def.content_rect = {0, 0, w, h};
  paint<Px>(out.def, r);
  return out;
}

// Rows stored bottom-up: the record's stride is negative.
template <class Px>
World<Px> bottom_up_world(int32_t w, int32_t h, Rng& r) {
  World<Px> out{"bottom-up rows", std::make_shared<rxtest::TestWorld<Px>>(w, h, 12, 4), {}};
  RX_LayerDef& storage = *out.storage->def();
  out.def = storage;
  out.def.data = &at<Px>(storage, 0, h - 1);
  out.def.row_stride = -storage.row_stride;
  paint<Px>(out.def, r);
  return out;
}

// Tidy, padded, misaligned, tiny, one row, one column, a sub-world and
// bottom-up rows.
template <class Px>
std::vector<World<Px>> worlds(uint32_t seed) {
  Rng r(seed);
  std::vector<World<Px>> out;
  out.push_back(plain_world<Px>("tidy 13x9", 13, 9, 0, 0, r));
  out.push_back(plain_world<Px>("padded 11x7", 11, 7, 20, 0, r));
  out.push_back(plain_world<Px>("misaligned 10x8", 10, 8, 4, 4, r));
  out.push_back(plain_world<Px>("odd bytes 9x6", 9, 6, 3, 1, r));
  out.push_back(plain_world<Px>("2x2", 2, 2, 0, 8, r));
  out.push_back(plain_world<Px>("1x1", 1, 1, 0, 0, r));
  out.push_back(plain_world<Px>("one row 9x1", 9, 1, 0, 0, r));
  out.push_back(plain_world<Px>("one column 1x8", 1, 8, 4, 0, r));
  out.push_back(sub_world<Px>(8, 6, r));
  out.push_back(bottom_up_world<Px>(7, 5, r));
  return out;
}

// ---- positions ----

inline const uint32_t kFractions[] = {0, 0x8000, 0x4000, 0xC000, 1, 0xFFFF, 0x7FFF, 0x8001};

inline int32_t fixed(int32_t whole_part, uint32_t frac) {
  return int32_t(uint32_t(whole_part) << 16 | frac);
}

// Positions along an axis of `size` pixels: whole parts from `lo` to
// `size - 1 + hi_extra`, each with the listed fractions, then `randoms`
// random positions over the same range with random fractions.
inline std::vector<int32_t> axis_positions(int32_t size, int32_t lo, int32_t hi_extra, int randoms,
                                           Rng& r) {
  std::vector<int32_t> out;
  const int32_t hi = size - 1 + hi_extra;
  for (int32_t i = lo; i <= hi; ++i) {
    for (uint32_t f : kFractions) out.push_back(fixed(i, f));
  }
  for (int n = 0; n < randoms; ++n) out.push_back(fixed(r.between(lo, hi), r.below(0x10000)));
  return out;
}

// Positions on, inside and outside every edge (two pixels beyond), and a
// few far away.
inline std::vector<int32_t> clipped_axis(int32_t size, Rng& r) {
  std::vector<int32_t> out = axis_positions(size, -3, 3, 24, r);
  for (int32_t v : {-0x10000, -0x10001, -0xFFFF, -0x8000, -0x8001, -1, 0x7FFF0000, -0x7FFF0000,
                    int32_t(0x80000000u), 0x7FFFFFFF, -(1 << 30) + 0x8000}) {
    out.push_back(v);
  }
  return out;
}

// Positions whose taps are all inside (both columns and rows), as the
// unclipped forms demand.
inline std::vector<int32_t> unclipped_axis(int32_t size, Rng& r) {
  return axis_positions(size, 0, -1, 16, r);
}

}  // namespace samp
