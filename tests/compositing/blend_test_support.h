// Shared by the tests of the blend pipeline and of the rows: the arithmetic
// of each depth written from the rules, random lines, the expected line of
// a mode, and the fixtures with and without processor forms.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "cpu_words.h"
#include "linear_tables.h"
#include "rx_test_support.h"

namespace {

constexpr char kUnimplemented[] = "unimplemented blending mode.";
constexpr char kInvalidTables[] = "Invalid tables for linearized blending";

// ---- the arithmetic of each depth, written here from the rules ----

template <class Px>
struct Depth;

template <>
struct Depth<RX_Pixel8> {
  using Cv = uint8_t;
  static constexpr Cv white = 255;
  static constexpr Cv half = 128;
  static constexpr int matte_slot = RX_Slot_PremulScanBlack8;
  static constexpr int alpha_union_slot = RX_Slot_AlphaCombineScan8;
  static constexpr int lookup_slot = RX_Slot_InnerBlendingPlain8;
  static constexpr const char* name = "8 bits";
  static uint32_t mul(uint32_t x, uint32_t y) {
    const uint32_t t = x * y + 128;
    return (t + (t >> 8)) >> 8;
  }
  static uint32_t div(uint32_t v, uint32_t a) { return a == 255 ? v : RXp_G_DivideTable[a * 256 + v]; }
  // x + mul(y - x, k) for y - x non-negative, from x = 0.
  static uint32_t blend_from_zero(uint32_t y, uint32_t k) { return mul(y, k); }
  static RX_Xfer1OpacityFunc8 opacity_entry(int mode) { return RXp_G_Xfer1_Opacity_table8[mode]; }
  static RX_Xfer1Opacity2Func8 opacity2_entry(int mode) { return RXp_G_Xfer1_Opacity2_table8[mode]; }
  static Cv between(std::mt19937& rng) { return Cv(std::uniform_int_distribution<int>(1, 254)(rng)); }
  static Cv any(std::mt19937& rng) { return Cv(std::uniform_int_distribution<int>(0, 255)(rng)); }
};

template <>
struct Depth<RX_Pixel16> {
  using Cv = uint16_t;
  static constexpr Cv white = 32768;
  static constexpr Cv half = 16384;
  static constexpr int matte_slot = RX_Slot_PremulScanBlack16;
  static constexpr int alpha_union_slot = RX_Slot_AlphaCombineScan16;
  static constexpr int lookup_slot = RX_Slot_InnerBlendingPlain16;
  static constexpr const char* name = "16 bits";
  static uint32_t mul(uint32_t x, uint32_t y) { return (x * y + 16383) >> 15; }
  static uint32_t div(uint32_t v, uint32_t a) { return v >= a ? 32768u : ((v << 15) + (a >> 1)) / a; }
  // The 16-bit signed blend: a floor shift with no rounding term.
  static uint32_t blend_from_zero(uint32_t y, uint32_t k) { return (y * k) >> 15; }
  static RX_Xfer1OpacityFunc16 opacity_entry(int mode) { return RXp_G_Xfer1_Opacity_table16[mode]; }
  static RX_Xfer1Opacity2Func16 opacity2_entry(int mode) { return RXp_G_Xfer1_Opacity2_table16[mode]; }
  static Cv between(std::mt19937& rng) { return Cv(std::uniform_int_distribution<int>(1, 32767)(rng)); }
  static Cv any(std::mt19937& rng) { return Cv(std::uniform_int_distribution<int>(0, 32768)(rng)); }
};

template <>
struct Depth<RX_PixelFloat> {
  using Cv = float;
  static constexpr float white = 1.0f;
  static constexpr float half = 0.5f;
  static constexpr int matte_slot = RX_Slot_PremulScanBlackFloat;
  static constexpr int alpha_union_slot = RX_Slot_AlphaCombineScanFloat;
  static constexpr int lookup_slot = RX_Slot_InnerBlendingPlainFloat;
  static constexpr const char* name = "float";
  static float mul(float x, float y) { return x * y; }
  static float div(float v, float a) {
    return (a == 0.0f || std::fpclassify(a) == FP_SUBNORMAL) ? 1.0f : v / a;
  }
  static float blend_from_zero(float y, float k) { return y * k; }
  static RX_Xfer1OpacityFuncF opacity_entry(int mode) { return RXp_G_Xfer1_Opacity_tableF[mode]; }
  static RX_Xfer1Opacity2FuncF opacity2_entry(int mode) { return RXp_G_Xfer1_Opacity2_tableF[mode]; }
  static float between(std::mt19937& rng) { return std::uniform_real_distribution<float>(0.001f, 0.999f)(rng); }
  static float any(std::mt19937& rng) { return std::uniform_real_distribution<float>(0.0f, 1.0f)(rng); }
};

template <class Px>
using Cv = typename Depth<Px>::Cv;

// The weighted source alpha: mul(sa, opacity), then mul(mask alpha, .).
template <class Px>
auto weight_of(Cv<Px> sa, Cv<Px> opacity, const Px* mask) {
  using D = Depth<Px>;
  auto w = D::mul(sa, opacity);
  if (mask) w = D::mul(mask->alpha, w);
  return w;
}

// ---- the mode table, as the plan must read it ----

enum class MatteKind { None = -1, Black = 0, White = 1, Grey = 2 };

MatteKind matte_of(int mode) {
  switch (mode) {
    case 4: case 6: case 11: case 12: case 23: case 25:
      return MatteKind::Black;
    case 5: case 10: case 24:
      return MatteKind::White;
    case 7: case 8: case 9:
      return MatteKind::Grey;
    default:
      return MatteKind::None;
  }
}

bool is_colour_mode(int mode) { return (mode >= 13 && mode <= 16) || mode == 35 || mode == 36; }
bool is_general_mode(int mode) { return (mode >= 26 && mode <= 34) || mode == 37 || mode == 38; }
[[maybe_unused]] bool keeps_alpha_by_itself(int mode) {
  return matte_of(mode) != MatteKind::None || is_colour_mode(mode) || is_general_mode(mode) || mode == 2 ||
         mode == 21 || mode == 22;
}

// ---- pixels and lines ----

template <class Px>
std::string show(const Px& p) {
  std::ostringstream out;
  out << std::setprecision(9) << "(" << +p.alpha << ", " << +p.red << ", " << +p.green << ", " << +p.blue << ")";
  return out.str();
}

// Integer channels within tolerance steps; float channels within tolerance
// relative to the larger of 1 and the values.
template <class Px>
bool near(const Px& a, const Px& b, double tolerance) {
  const Cv<Px> x[4] = {a.alpha, a.red, a.green, a.blue};
  const Cv<Px> y[4] = {b.alpha, b.red, b.green, b.blue};
  for (int c = 0; c < 4; ++c) {
    if constexpr (std::is_same_v<Cv<Px>, float>) {
      if (std::isnan(x[c]) && std::isnan(y[c])) continue;
      const double scale = std::max({1.0, std::fabs(double(x[c])), std::fabs(double(y[c]))});
      if (!(std::fabs(double(x[c]) - double(y[c])) <= tolerance * scale)) return false;
    } else {
      if (std::abs(int(x[c]) - int(y[c])) > tolerance) return false;
    }
  }
  return true;
}

template <class Px>
Cv<Px> random_alpha(std::mt19937& rng) {
  switch (rng() % 5) {
    case 0: return Cv<Px>(0);
    case 1: return Depth<Px>::white;
    default: return Depth<Px>::between(rng);
  }
}

template <class Px>
Cv<Px> random_colour(std::mt19937& rng) {
  switch (rng() % 4) {
    case 0: return Cv<Px>(0);
    case 1: return Depth<Px>::half;
    case 2: return Depth<Px>::white;
    default: return Depth<Px>::any(rng);
  }
}

template <class Px>
Px random_pixel(std::mt19937& rng) {
  Px p{};
  p.alpha = random_alpha<Px>(rng);
  p.red = random_colour<Px>(rng);
  p.green = random_colour<Px>(rng);
  p.blue = random_colour<Px>(rng);
  return p;
}

template <class Px>
struct Line {
  std::vector<Px> src, mask, dst;
  int32_t width() const { return int32_t(src.size()); }
};

// Source and destination of any alphas and colours; mask pixels whose
// alpha is the weight and whose colours are junk that must not be read.
template <class Px>
Line<Px> random_line(std::mt19937& rng, int32_t width, bool opaque_dst = false) {
  Line<Px> line;
  for (int32_t i = 0; i < width; ++i) {
    line.src.push_back(random_pixel<Px>(rng));
    Px m{};
    m.alpha = random_alpha<Px>(rng);
    m.red = Depth<Px>::any(rng);
    m.green = Depth<Px>::any(rng);
    m.blue = Depth<Px>::any(rng);
    line.mask.push_back(m);
    Px d = random_pixel<Px>(rng);
    if (opaque_dst) d.alpha = Depth<Px>::white;
    line.dst.push_back(d);
  }
  return line;
}

template <class Px>
RX_BlendingMode<Px> blending_mode(int32_t mode, Cv<Px> opacity, bool keep_dst_alpha = false, int32_t seed = 0) {
  RX_BlendingMode<Px> m;
  m.blend_mode = mode;
  m.random_seed = seed;
  m.opacity = opacity;
  m.keep_dst_alpha = keep_dst_alpha;
  return m;
}

// Runs the plan of (mode, mask given, tables) over a copy of the line's dst.
template <class Px>
std::vector<Px> run_pipeline(const RX_BlendingMode<Px>& mode, const Line<Px>& line, bool with_mask,
                             const RX_LinearBlendingTables* tables, RX_Err* err = nullptr) {
  const RX_BlendModeDescriptor<Px> plan(mode, with_mask, tables);
  std::vector<Cv<Px>> saved(size_t(std::max(line.width(), 1)));
  std::vector<Px> dst = line.dst;
  const RX_Err e = RX_BlendPipeline<Px>(nullptr, line.width(), plan, line.src.data(),
                                        with_mask ? line.mask.data() : nullptr, saved.data(), dst.data());
  if (err) *err = e;
  return dst;
}

template <class Px, bool HasMask, bool Linear>
RX_InnerBlendingFunc<Px> row_of(int32_t mode) {
  RX_InnerBlendingFunc<Px> f = nullptr;
  EXPECT_EQ((RX_GetInnerBlendingFunc<Px, HasMask, Linear>(mode, &f)), RX_Result_OK) << mode;
  return f;
}

// The per-pixel function of a mode: Opacity2 with the mask alpha as the
// second opacity, Opacity without a mask.
template <class T>
struct Same {
  using type = T;
};

template <class Px>
void per_pixel(int mode, const Px& src, const typename Same<Px>::type* mask, Cv<Px> opacity, const RX_LinearBlendingTables* tables,
               Px& dst) {
  if (mask) {
    Depth<Px>::opacity2_entry(mode)(&src, tables, opacity, mask->alpha, &dst);
  } else {
    Depth<Px>::opacity_entry(mode)(&src, tables, opacity, &dst);
  }
}

// The behind step at weight 0: an opaque dst stays, a transparent one takes
// src's colours (alpha 0), any other is divided back by its own alpha
// after being weighted by it.
// Lighter and darker colour in a row: the pipeline's behind pass has put
// src under dst, and the row judges dst as that pass left it, as the
// per-pixel function does on an opaque dst.
template <class Px>
Px lighter_or_darker_after_behind(int mode, const Px& s, const typename Same<Px>::type* m, Cv<Px> opacity, Px d) {
  using D = Depth<Px>;
  per_pixel(RX_Xfer_Behind, s, m, opacity, nullptr, d);
  Px opaque = d;
  opaque.alpha = D::white;
  per_pixel(mode, s, m, opacity, nullptr, opaque);
  return Px{d.alpha, opaque.red, opaque.green, opaque.blue};
}

template <class Px>
Px behind_at_zero(const Px& s, Px d) {
  using D = Depth<Px>;
  const auto da = d.alpha;
  if (da == D::white) return d;
  if (da == Cv<Px>(0)) {
    d.red = s.red;
    d.green = s.green;
    d.blue = s.blue;
    return d;
  }
  for (Cv<Px>* c : {&d.red, &d.green, &d.blue}) *c = Cv<Px>(D::div(D::blend_from_zero(*c, da), da));
  return d;
}

// Whether a row skips a pixel: its weight is 0 at the depth the row works
// at, which for a linear row at 8 bits is 16 bits, alpha, opacity and
// mask lifted by the depth change.
[[maybe_unused]] uint32_t widen(uint32_t a) { return (a * 0x808080u + 33200) >> 16; }

template <class Px>
bool working_weight_is_zero(Cv<Px> sa, Cv<Px> opacity, const Px* mask, const RX_LinearBlendingTables* tables) {
  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    if (tables) {
      using W = Depth<RX_Pixel16>;
      uint32_t w = W::mul(widen(sa), widen(opacity));
      if (mask) w = W::mul(widen(mask->alpha), w);
      return w == 0;
    }
  }
  return weight_of<Px>(sa, opacity, mask) == 0;
}

// One trip of a pixel through the linear tables and back, as a linear row
// gives every pixel it leaves alone.
template <class Px>
Px through_tables(Px d, const Px& src, const RX_LinearBlendingTables* tables) {
  Px clear = src;
  clear.alpha = Cv<Px>(0);
  Depth<Px>::opacity_entry(RX_Xfer_Over)(&clear, tables, Depth<Px>::white, &d);
  return d;
}

// What the pipeline must give for a mode, pixel by pixel: the per-pixel
// function, except where a row has a rule of its own: at weight 0 the
// matte modes' passes still matte and dematte dst, AddPremul's row skips
// the pixel, and the behind row (the colour modes' first pass, and the
// Behind mode's row) has no skip; on an empty dst the behind row copies
// src's colours instead of dividing them back out of the weighted src. In
// linear light the colour modes are checked on opaque destinations, where
// their behind row is one trip of dst through the tables.
template <class Px>
std::vector<Px> expected_line(int mode, const Line<Px>& line, Cv<Px> opacity, bool with_mask,
                              const RX_LinearBlendingTables* tables) {
  using D = Depth<Px>;
  const int32_t width = line.width();
  std::vector<Px> out = line.dst;
  std::vector<Px> matte_round_trip;
  const MatteKind kind = matte_of(mode);
  if (kind != MatteKind::None) {
    matte_round_trip = line.dst;
    const int slot = D::matte_slot + 2 * int(kind);
    reinterpret_cast<RX_MatteRowFunc<Px>>(RXp_G_OverFuncs[slot])(width, nullptr, matte_round_trip.data());
    reinterpret_cast<RX_MatteRowFunc<Px>>(RXp_G_OverFuncs[slot + 1])(width, nullptr, matte_round_trip.data());
  }
  for (int32_t i = 0; i < width; ++i) {
    const Px& s = line.src[size_t(i)];
    const Px* m = with_mask ? &line.mask[size_t(i)] : nullptr;
    Px& d = out[size_t(i)];
    if (tables && is_colour_mode(mode)) {
      d = through_tables(d, s, tables);
      per_pixel(mode, s, m, opacity, tables, d);
      continue;
    }
    if (mode == RX_Xfer_Behind && !tables) {
      // The Behind row has no skip; an empty dst takes src's colours and
      // the weight as alpha.
      if (d.alpha == 0) {
        d = Px{Cv<Px>(weight_of<Px>(s.alpha, opacity, m)), s.red, s.green, s.blue};
      } else if (weight_of<Px>(s.alpha, opacity, m) == 0) {
        d = behind_at_zero(s, d);
      } else {
        per_pixel(mode, s, m, opacity, tables, d);
      }
      continue;
    }
    if (!tables && is_colour_mode(mode) && d.alpha == 0 && weight_of<Px>(s.alpha, opacity, m) != 0) {
      // The behind pass gives an empty dst src's colours and the weight as
      // alpha; the colour is then replaced as on an opaque dst of those
      // colours.
      Px filled{D::white, s.red, s.green, s.blue};
      per_pixel(mode, s, m, opacity, tables, filled);
      d = Px{Cv<Px>(weight_of<Px>(s.alpha, opacity, m)), filled.red, filled.green, filled.blue};
      continue;
    }
    if (!tables && (mode == RX_Xfer_LighterColor || mode == RX_Xfer_DarkerColor) && d.alpha != D::white &&
        weight_of<Px>(s.alpha, opacity, m) != 0) {
      d = lighter_or_darker_after_behind(mode, s, m, opacity, d);
      continue;
    }
    if (working_weight_is_zero<Px>(s.alpha, opacity, m, tables)) {
      if (kind != MatteKind::None) {
        d = matte_round_trip[size_t(i)];
        continue;
      }
      if (mode == RX_Xfer_AddPremul) {
        if (tables) d = through_tables(d, s, tables);
        continue;
      }
      if (!tables && is_colour_mode(mode)) {
        d = behind_at_zero(s, d);
        continue;
      }
    }
    per_pixel(mode, s, m, opacity, tables, d);
  }
  return out;
}

// In float the alpha union of the pipeline, 1 - (1 - b)(1 - d), and the
// per-pixel functions' a + b - ab differ by the rounding of a value near
// 1, which the dematte divides by the alpha: a small result alpha widens
// the colours' tolerance in proportion.
template <class Px>
double tolerance_at(const Px& want, double tolerance) {
  if constexpr (std::is_same_v<Cv<Px>, float>) {
    const double alpha = std::max(double(want.alpha), 1e-6);
    return tolerance * std::max(1.0, 0.01 / alpha);
  } else {
    return tolerance;
  }
}

// Pipeline against expected_line on random lines of every mode given, with
// opacity full and not, with and without a mask. Prints the first few
// differing pixels of each mode.
template <class Px>
void check_against_per_pixel(const std::vector<int>& modes, const RX_LinearBlendingTables* tables,
                             double tolerance, uint32_t seed, int lines_per_case = 10) {
  using D = Depth<Px>;
  std::mt19937 rng(seed);
  for (int mode : modes) {
    int differing = 0, pixels = 0;
    for (int opacity_case = 0; opacity_case < 2; ++opacity_case) {
      for (int with_mask = 0; with_mask < 2; ++with_mask) {
        for (int n = 0; n < lines_per_case; ++n) {
          const int32_t width = 1 + int32_t(rng() % 40);
          const Line<Px> line = random_line<Px>(rng, width, tables && is_colour_mode(mode));
          const Cv<Px> opacity = opacity_case == 0 ? D::white : D::between(rng);
          const auto bm = blending_mode<Px>(mode, opacity, false, int32_t(rng()));
          RX_Err err = -1;
          const std::vector<Px> got = run_pipeline(bm, line, with_mask != 0, tables, &err);
          EXPECT_EQ(err, RX_Result_OK) << "mode " << mode;
          const std::vector<Px> want = expected_line(mode, line, opacity, with_mask != 0, tables);
          for (int32_t i = 0; i < width; ++i) {
            ++pixels;
            const double allowed = tolerance_at(want[size_t(i)], tolerance);
            if (near(got[size_t(i)], want[size_t(i)], allowed)) continue;
            if (++differing <= 4) {
              const Px* m = with_mask ? &line.mask[size_t(i)] : nullptr;
              ADD_FAILURE() << D::name << (tables ? " linear" : "") << ", mode " << mode << " ("
                            << RX_TransferModeName(mode) << "), opacity " << +opacity << ", mask "
                            << (m ? std::to_string(+m->alpha) : std::string("none")) << ", pixel " << i << " of "
                            << width << ": src " << show(line.src[size_t(i)]) << " dst " << show(line.dst[size_t(i)])
                            << " -> pipeline " << show(got[size_t(i)]) << ", expected " << show(want[size_t(i)]);
            }
          }
        }
      }
    }
    if (differing > 4) {
      ADD_FAILURE() << D::name << (tables ? " linear" : "") << ", mode " << mode << ": " << differing << " of "
                    << pixels << " pixels differ in all";
    }
  }
}

[[maybe_unused]] std::vector<int> gamma_modes() {
  // Copy, ReplaceRaw, MaskMix and Dissolve have behaviours of their own,
  // tested below.
  std::vector<int> modes;
  for (int mode = 1; mode <= 38; ++mode) {
    if (mode != RX_Xfer_Dissolve) modes.push_back(mode);
  }
  return modes;
}

[[maybe_unused]] std::vector<int> linear_modes() {
  std::vector<int> modes = {2, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 35, 36};
  for (int mode = 26; mode <= 34; ++mode) modes.push_back(mode);
  modes.push_back(37);
  modes.push_back(38);
  return modes;
}

constexpr double kFloatTolerance = 2e-5;

// ---- fixtures ----

}  // namespace

// The fixtures, one type each for every test file, as test suites need.
namespace blend_fixtures {

// Processor forms as the machine has them.
class BlendPipeline : public rxtest::BornPackage {};

// Born with the SSE2 and SSSE3 words cleared: every scan slot holds its
// plain form and the Over and Copy rows take their scalar bodies.
class BlendPipelineScalar : public ::testing::Test {
 protected:
  void SetUp() override {
    RXHost_SetCpuWord(rxtest::kCpuWordSSE2, 0);
    RXHost_SetCpuWord(rxtest::kCpuWordSSSE3, 0);
    ASSERT_EQ(RX_Birth(), RX_Result_OK);
  }
  void TearDown() override {
    EXPECT_EQ(RX_Death(), RX_Result_OK);
    RXHost_ResetCpuWords();
  }
};

class BlendRows : public rxtest::BornPackage {};
class BlendPlan : public rxtest::BornPackage {};
class BlendLinearRows : public rxtest::BornPackage {};
class BlendSingleChannel : public rxtest::BornPackage {};

}  // namespace blend_fixtures

namespace {
using blend_fixtures::BlendLinearRows;
using blend_fixtures::BlendPipeline;
using blend_fixtures::BlendPipelineScalar;
using blend_fixtures::BlendPlan;
using blend_fixtures::BlendRows;
using blend_fixtures::BlendSingleChannel;
}  // namespace
