// Whole-line blending. The row of every mode, run through its plan by the
// pipeline, against the per-pixel function of the same mode, in gamma space
// and in linear light; the plan each mode makes; the passes of the pipeline
// and their order; the behaviours that only rows have (copies, mask mix,
// behind, dissolve); the failures of the linear wrap; and the
// single-channel fade.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <vector>

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
bool keeps_alpha_by_itself(int mode) {
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
uint32_t widen(uint32_t a) { return (a * 0x808080u + 33200) >> 16; }

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

std::vector<int> gamma_modes() {
  // Copy, ReplaceRaw, MaskMix and Dissolve have behaviours of their own,
  // tested below.
  std::vector<int> modes;
  for (int mode = 1; mode <= 38; ++mode) {
    if (mode != RX_Xfer_Dissolve) modes.push_back(mode);
  }
  return modes;
}

std::vector<int> linear_modes() {
  std::vector<int> modes = {2, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 35, 36};
  for (int mode = 26; mode <= 34; ++mode) modes.push_back(mode);
  modes.push_back(37);
  modes.push_back(38);
  return modes;
}

constexpr double kFloatTolerance = 2e-5;

// ---- fixtures ----

// Processor forms as the machine has them.
class BlendPipeline : public rxtest::BornPackage {};

// Born with the SSE2 and SSSE3 words cleared: every scan slot holds its
// plain form and the Over and Copy rows take their scalar bodies.
class BlendPipelineScalar : public ::testing::Test {
 protected:
  void SetUp() override {
    RXHost_SetCpuWord(2, 0);
    RXHost_SetCpuWord(6, 0);
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

// ==== the pipeline against the per-pixel functions ====

TEST_F(BlendPipelineScalar, EveryModeMatchesItsPerPixelFunctionAt8Bits) {
  check_against_per_pixel<RX_Pixel8>(gamma_modes(), nullptr, 0, 801);
}

TEST_F(BlendPipelineScalar, EveryModeMatchesItsPerPixelFunctionAt16Bits) {
  check_against_per_pixel<RX_Pixel16>(gamma_modes(), nullptr, 0, 1601);
}

TEST_F(BlendPipelineScalar, EveryModeMatchesItsPerPixelFunctionInFloat) {
  check_against_per_pixel<RX_PixelFloat>(gamma_modes(), nullptr, kFloatTolerance, 3201);
}

// The processor forms of the unmultiply scans and the Over row divide
// through a reciprocal: one step apart from the table at most.
TEST_F(BlendPipeline, WithProcessorFormsEveryModeStaysWithinOneStepOfItsPerPixelFunction) {
  check_against_per_pixel<RX_Pixel8>(gamma_modes(), nullptr, 1, 802);
  check_against_per_pixel<RX_Pixel16>(gamma_modes(), nullptr, 1, 1602);
  check_against_per_pixel<RX_PixelFloat>(gamma_modes(), nullptr, kFloatTolerance, 3202);
}

TEST_F(BlendPipelineScalar, LinearModesMatchTheirPerPixelLinearFunctionAt8Bits) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_against_per_pixel<RX_Pixel8>(linear_modes(), &tables, 0, 811);
}

TEST_F(BlendPipelineScalar, LinearModesMatchTheirPerPixelLinearFunctionAt16Bits) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_against_per_pixel<RX_Pixel16>(linear_modes(), &tables, 0, 1611);
}

TEST_F(BlendPipelineScalar, LinearModesMatchTheirPerPixelLinearFunctionInFloat) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_against_per_pixel<RX_PixelFloat>(linear_modes(), &tables, 1e-4, 3211);
}

// The colour modes put the source under a partly covered destination once:
// the alpha is the union of the two, as the per-pixel function gives.
template <class Px>
void check_colour_modes_on_partly_covered_dst() {
  using D = Depth<Px>;
  const Px src{D::half, D::white, Cv<Px>(D::half / 2), Cv<Px>(0)};
  const Px dst0{D::half, Cv<Px>(D::half / 2), D::half, D::white};
  const Line<Px> line{{src}, {src}, {dst0}};
  const Cv<Px> union_alpha = Cv<Px>(D::white - D::mul(D::white - D::half, D::white - D::half));
  for (int mode : {13, 14, 15, 16, 35, 36}) {
    Px want = dst0;
    per_pixel(mode, src, nullptr, D::white, nullptr, want);
    const std::vector<Px> got = run_pipeline(blending_mode<Px>(mode, D::white), line, false, nullptr);
    EXPECT_EQ(want.alpha, union_alpha) << D::name << " mode " << mode;
    EXPECT_TRUE(near(got[0], want, std::is_same_v<Cv<Px>, float> ? kFloatTolerance : 0))
        << D::name << " mode " << mode << " (" << RX_TransferModeName(mode) << "): src " << show(src) << " dst "
        << show(dst0) << " -> pipeline " << show(got[0]) << ", per pixel " << show(want);
  }
}

TEST_F(BlendPipelineScalar, ColourModesPutTheSourceUnderAPartlyCoveredDestinationOnce) {
  check_colour_modes_on_partly_covered_dst<RX_Pixel8>();
  check_colour_modes_on_partly_covered_dst<RX_Pixel16>();
  check_colour_modes_on_partly_covered_dst<RX_PixelFloat>();
}

// Lighter and darker colour rows judge dst as the pipeline's behind pass
// left it; the per-pixel functions judge it before the behind step. Two
// pixels where the two judgements differ.
TEST_F(BlendPipelineScalar, LighterAndDarkerColourRowsJudgeTheDestinationAsTheBehindPassLeftIt) {
  struct Case {
    int mode;
    RX_Pixel8 src, dst;
  };
  const Case cases[] = {{RX_Xfer_LighterColor, {111, 124, 113, 63}, {58, 46, 147, 99}},
                        {RX_Xfer_DarkerColor, {190, 165, 123, 59}, {94, 105, 147, 96}}};
  for (const Case& c : cases) {
    const RX_Pixel8 want = lighter_or_darker_after_behind<RX_Pixel8>(c.mode, c.src, nullptr, 255, c.dst);
    RX_Pixel8 per_pixel_result = c.dst;
    per_pixel(c.mode, c.src, nullptr, uint8_t(255), nullptr, per_pixel_result);
    const Line<RX_Pixel8> line{{c.src}, {c.src}, {c.dst}};
    const auto got = run_pipeline(blending_mode<RX_Pixel8>(c.mode, 255), line, false, nullptr);
    EXPECT_TRUE(rxtest::same_pixel(got[0], want)) << RX_TransferModeName(c.mode) << ": src " << show(c.src) << " dst "
                                                  << show(c.dst) << " -> pipeline " << show(got[0]) << ", expected "
                                                  << show(want);
    EXPECT_FALSE(rxtest::same_pixel(got[0], per_pixel_result)) << "the case should tell the two judgements apart";
  }
}

// ==== keep_dst_alpha ====

template <class Px>
void check_keep_dst_alpha(uint32_t seed) {
  using D = Depth<Px>;
  std::mt19937 rng(seed);
  for (int mode = 2; mode <= 38; ++mode) {
    if (!keeps_alpha_by_itself(mode)) continue;
    for (int n = 0; n < 8; ++n) {
      const bool with_mask = (n & 1) != 0;
      const Line<Px> line = random_line<Px>(rng, 1 + int32_t(rng() % 40));
      const Cv<Px> opacity = (n & 2) ? D::white : D::between(rng);
      const std::vector<Px> kept = run_pipeline(blending_mode<Px>(mode, opacity, true), line, with_mask, nullptr);
      const std::vector<Px> plain = run_pipeline(blending_mode<Px>(mode, opacity, false), line, with_mask, nullptr);
      for (int32_t i = 0; i < line.width(); ++i) {
        const Px& k = kept[size_t(i)];
        ASSERT_EQ(std::memcmp(&k.alpha, &line.dst[size_t(i)].alpha, sizeof k.alpha), 0)
            << D::name << " mode " << mode << " pixel " << i << ": " << show(line.dst[size_t(i)]) << " -> "
            << show(k);
        // The rows of these modes do not read the flag: only the alpha is
        // put back. (The behind row of the colour modes honours it itself.)
        if (!is_colour_mode(mode)) {
          Px same = plain[size_t(i)];
          same.alpha = k.alpha;
          EXPECT_TRUE(rxtest::same_pixel(k, same)) << D::name << " mode " << mode << " pixel " << i << ": "
                                                   << show(k) << " vs " << show(plain[size_t(i)]);
        }
      }
    }
  }
}

TEST_F(BlendPipeline, KeepDstAlphaLeavesAlphaBitIdenticalInEveryModeThatSavesIt) {
  check_keep_dst_alpha<RX_Pixel8>(21);
  check_keep_dst_alpha<RX_Pixel16>(22);
  check_keep_dst_alpha<RX_PixelFloat>(23);
}

TEST_F(BlendPipeline, KeepDstAlphaLeavesAlphaBitIdenticalInMatteModes) {
  // Multiply and Screen on a half-covered dst under a half-covered src: the
  // union and the dematte use the new alpha, the saved one comes back.
  for (int mode : {RX_Xfer_Multiply, RX_Xfer_Screen}) {
    const Line<RX_Pixel8> line{{{128, 200, 100, 50}, {77, 3, 250, 128}},
                               {{255, 0, 0, 0}, {255, 0, 0, 0}},
                               {{128, 50, 100, 150}, {1, 255, 0, 128}}};
    const auto got = run_pipeline(blending_mode<RX_Pixel8>(mode, 255, true), line, false, nullptr);
    EXPECT_EQ(got[0].alpha, 128) << mode;
    EXPECT_EQ(got[1].alpha, 1) << mode;
    const auto changed = run_pipeline(blending_mode<RX_Pixel8>(mode, 255, false), line, false, nullptr);
    EXPECT_NE(changed[0].alpha, 128) << mode;
  }
  const Line<RX_PixelFloat> line{{{0.5f, 0.8f, 0.4f, 0.2f}},
                                 {{1, 0, 0, 0}},
                                 {{0.3f, 0.2f, 0.4f, 0.6f}}};
  const auto got = run_pipeline(blending_mode<RX_PixelFloat>(RX_Xfer_Multiply, 1.0f, true), line, false, nullptr);
  EXPECT_EQ(got[0].alpha, 0.3f);
}

TEST_F(BlendPipeline, AlphaOnlyModesChangeAlphaWhateverKeepDstAlphaSays) {
  std::mt19937 rng(24);
  for (int mode = 17; mode <= 20; ++mode) {
    const Line<RX_Pixel16> line = random_line<RX_Pixel16>(rng, 33);
    const auto kept = run_pipeline(blending_mode<RX_Pixel16>(mode, 20000, true), line, true, nullptr);
    const auto plain = run_pipeline(blending_mode<RX_Pixel16>(mode, 20000, false), line, true, nullptr);
    for (size_t i = 0; i < kept.size(); ++i) {
      EXPECT_TRUE(rxtest::same_pixel(kept[i], plain[i])) << mode << " pixel " << i;
      EXPECT_EQ(kept[i].red, line.dst[i].red) << mode;
    }
  }
}

TEST_F(BlendPipeline, KeepDstAlphaFillsTheSavedAlphaRow) {
  std::mt19937 rng(25);
  const Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 19);
  const RX_BlendModeDescriptor<RX_Pixel8> plan(blending_mode<RX_Pixel8>(RX_Xfer_Screen, 99, true), false, nullptr);
  std::vector<uint8_t> saved(19, 0);
  std::vector<RX_Pixel8> dst = line.dst;
  ASSERT_EQ(RX_BlendPipeline<RX_Pixel8>(nullptr, 19, plan, line.src.data(), nullptr, saved.data(), dst.data()), 0);
  for (size_t i = 0; i < 19; ++i) EXPECT_EQ(saved[i], line.dst[i].alpha) << i;
}

// ==== the passes of the pipeline and their order ====

struct Call {
  std::string what;
  int32_t width;
  const void* src;
  const void* mask;
  const void* dst;
  const void* mode;
  const void* tables;
  double opacity;
};
std::vector<Call> g_calls;
RX_Err g_fail_at = 0;       // the call (1-based) that fails with 7
int g_call_number = 0;

RX_Err next_result() { return ++g_call_number == g_fail_at ? 7 : RX_Result_OK; }

template <class Px, int Tag>
RX_Err logged_scan(int32_t width, const Px* src, Px* dst) {
  g_calls.push_back({Tag == 0 ? "matte" : "dematte", width, src, nullptr, dst, nullptr, nullptr, 0});
  return next_result();
}

template <class Px, int Tag>
RX_Err logged_row(int32_t width, const RX_BlendingMode<Px>* mode, const RX_LinearBlendingTables* tables,
                  const Px* src, const Px* mask, Px* dst) {
  g_calls.push_back({Tag == 0 ? "behind" : "blend", width, src, mask, dst, mode, tables, 0});
  const RX_Err result = next_result();
  if (result) dst[0].alpha = Cv<Px>(3);  // what a failing step leaves
  return result;
}

template <class Px>
RX_Err logged_union(int32_t width, const Px* src, Cv<Px> opacity, const Px* mask, Px* dst) {
  g_calls.push_back({"union", width, src, mask, dst, nullptr, nullptr, double(opacity)});
  return next_result();
}

template <class Px>
RX_BlendModeDescriptor<Px> logged_plan(int32_t mode, Cv<Px> opacity, bool keep, const RX_LinearBlendingTables* tables) {
  RX_BlendModeDescriptor<Px> plan(blending_mode<Px>(mode, opacity, keep), true, tables);
  plan.behind_function = &logged_row<Px, 0>;
  plan.blend_function = &logged_row<Px, 1>;
  if (plan.matte_function) plan.matte_function = &logged_scan<Px, 0>;
  if (plan.dematte_function) plan.dematte_function = &logged_scan<Px, 1>;
  plan.alpha_union_function = &logged_union<Px>;
  g_calls.clear();
  g_call_number = 0;
  g_fail_at = 0;
  return plan;
}

std::vector<std::string> call_names() {
  std::vector<std::string> names;
  for (const Call& c : g_calls) names.push_back(c.what);
  return names;
}

template <class Px>
void check_pass_order() {
  using D = Depth<Px>;
  using Names = std::vector<std::string>;
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  std::vector<Px> src(5), mask(5), dst(5);
  std::vector<Cv<Px>> saved(5);
  const Cv<Px> opacity = D::half;
  auto run = [&](const RX_BlendModeDescriptor<Px>& plan) {
    return RX_BlendPipeline<Px>(nullptr, 5, plan, src.data(), mask.data(), saved.data(), dst.data());
  };

  // A matte mode: matte in place, the row, the alpha union, dematte.
  auto plan = logged_plan<Px>(RX_Xfer_Multiply, opacity, false, &tables);
  ASSERT_EQ(run(plan), RX_Result_OK);
  ASSERT_EQ(call_names(), (Names{"matte", "blend", "union", "dematte"})) << D::name;
  for (const Call& c : g_calls) {
    EXPECT_EQ(c.width, 5);
    EXPECT_EQ(c.dst, dst.data());
  }
  EXPECT_EQ(g_calls[0].src, nullptr);
  EXPECT_EQ(g_calls[3].src, nullptr);
  EXPECT_EQ(g_calls[1].src, src.data());
  EXPECT_EQ(g_calls[1].mask, mask.data());
  EXPECT_EQ(g_calls[1].mode, &plan.mode);
  EXPECT_EQ(g_calls[1].tables, &tables);
  EXPECT_EQ(g_calls[2].src, src.data());
  EXPECT_EQ(g_calls[2].mask, mask.data());
  EXPECT_EQ(g_calls[2].opacity, double(opacity));

  // A colour mode: behind, then the row, with the same arguments.
  plan = logged_plan<Px>(RX_Xfer_Hue, opacity, false, nullptr);
  ASSERT_EQ(run(plan), RX_Result_OK);
  ASSERT_EQ(call_names(), (Names{"behind", "blend"})) << D::name;
  EXPECT_EQ(g_calls[0].src, src.data());
  EXPECT_EQ(g_calls[0].mask, mask.data());
  EXPECT_EQ(g_calls[0].mode, &plan.mode);

  // Modes with no pass of their own: the row alone.
  for (int mode : {RX_Xfer_ReplaceRaw, RX_Xfer_MaskMix, RX_Xfer_Copy, RX_Xfer_Behind, RX_Xfer_Over,
                   RX_Xfer_Dissolve, RX_Xfer_MultiplyAlpha, RX_Xfer_AddPremul, RX_Xfer_Divide}) {
    plan = logged_plan<Px>(mode, opacity, true, nullptr);
    ASSERT_EQ(run(plan), RX_Result_OK);
    EXPECT_EQ(call_names(), (Names{"blend"})) << D::name << " mode " << mode;
  }

  // A failing step ends the line: the steps after it are skipped and the
  // saved alpha is not put back.
  for (Px& p : dst) p.alpha = D::white;
  plan = logged_plan<Px>(RX_Xfer_Screen, opacity, true, nullptr);
  g_fail_at = 2;  // the row
  EXPECT_EQ(run(plan), 7);
  EXPECT_EQ(call_names(), (Names{"matte", "blend"})) << D::name;
  EXPECT_EQ(dst[0].alpha, Cv<Px>(3)) << D::name;
  EXPECT_EQ(saved[0], D::white);

  for (Px& p : dst) p.alpha = D::white;
  plan = logged_plan<Px>(RX_Xfer_Screen, opacity, true, nullptr);
  g_fail_at = 1;  // the matte
  EXPECT_EQ(run(plan), 7);
  EXPECT_EQ(call_names(), (Names{"matte"})) << D::name;

  plan = logged_plan<Px>(RX_Xfer_Screen, opacity, true, nullptr);
  g_fail_at = 3;  // the union
  EXPECT_EQ(run(plan), 7);
  EXPECT_EQ(call_names(), (Names{"matte", "blend", "union"})) << D::name;

  plan = logged_plan<Px>(RX_Xfer_Luminosity, opacity, false, nullptr);
  g_fail_at = 1;  // the behind row
  EXPECT_EQ(run(plan), 7);
  EXPECT_EQ(call_names(), (Names{"behind"})) << D::name;
}

TEST_F(BlendPipeline, PassesRunInTheirOrderAndStopAtTheFirstError) {
  check_pass_order<RX_Pixel8>();
  check_pass_order<RX_Pixel16>();
  check_pass_order<RX_PixelFloat>();
}

TEST_F(BlendPipeline, TheProgressRecordIsPassedThroughUnread) {
  std::mt19937 rng(26);
  const Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 12);
  for (int mode : {RX_Xfer_Over, RX_Xfer_Multiply, RX_Xfer_Hue, RX_Xfer_Dissolve}) {
    const RX_BlendModeDescriptor<RX_Pixel8> plan(blending_mode<RX_Pixel8>(mode, 200, true), true, nullptr);
    std::vector<uint8_t> saved(12);
    std::vector<RX_Pixel8> with_progress = line.dst, without = line.dst;
    auto* bogus = reinterpret_cast<RX_ProgressInfo*>(uintptr_t{16});
    EXPECT_EQ(RX_BlendPipeline<RX_Pixel8>(bogus, 12, plan, line.src.data(), line.mask.data(), saved.data(),
                                          with_progress.data()),
              0);
    EXPECT_EQ(RX_BlendPipeline<RX_Pixel8>(nullptr, 12, plan, line.src.data(), line.mask.data(), saved.data(),
                                          without.data()),
              0);
    EXPECT_EQ(std::memcmp(with_progress.data(), without.data(), 12 * sizeof(RX_Pixel8)), 0) << mode;
  }
}

// ==== rows and pipeline at width 0 and below ====

template <class Px, bool HasMask, bool Linear>
void check_empty_rows(const RX_LinearBlendingTables* tables) {
  std::mt19937 rng(27);
  const Line<Px> line = random_line<Px>(rng, 8);
  for (int mode = -3; mode <= 38; ++mode) {
    if (mode == RX_Xfer_None) continue;
    const RX_InnerBlendingFunc<Px> row = row_of<Px, HasMask, Linear>(mode);
    ASSERT_NE(row, nullptr);
    for (int32_t width : {0, -1, -40, INT32_MIN}) {
      const Line<Px> before = line;
      Line<Px> copy = line;
      const auto bm = blending_mode<Px>(mode, Depth<Px>::half, false, 5);
      EXPECT_EQ(row(width, &bm, Linear ? tables : nullptr, copy.src.data(), HasMask ? copy.mask.data() : nullptr,
                    copy.dst.data()),
                RX_Result_OK)
          << Depth<Px>::name << " mode " << mode << " width " << width;
      EXPECT_EQ(std::memcmp(copy.dst.data(), before.dst.data(), 8 * sizeof(Px)), 0)
          << Depth<Px>::name << " mode " << mode << " width " << width;
    }
  }
}

template <class Px>
void check_empty_pipeline() {
  std::mt19937 rng(28);
  const Line<Px> line = random_line<Px>(rng, 8);
  for (int mode = -3; mode <= 38; ++mode) {
    if (mode == RX_Xfer_None) continue;
    for (int with_mask = 0; with_mask < 2; ++with_mask) {
      const RX_BlendModeDescriptor<Px> plan(blending_mode<Px>(mode, Depth<Px>::half, true), with_mask != 0, nullptr);
      for (int32_t width : {0, -3}) {
        std::vector<Px> dst = line.dst;
        std::vector<Cv<Px>> saved(8, Cv<Px>(7));
        EXPECT_EQ(RX_BlendPipeline<Px>(nullptr, width, plan, line.src.data(),
                                       with_mask ? line.mask.data() : nullptr, saved.data(), dst.data()),
                  RX_Result_OK)
            << Depth<Px>::name << " mode " << mode;
        EXPECT_EQ(std::memcmp(dst.data(), line.dst.data(), 8 * sizeof(Px)), 0) << Depth<Px>::name << " mode " << mode;
        EXPECT_EQ(saved[0], Cv<Px>(7)) << Depth<Px>::name << " mode " << mode;
      }
    }
  }
}

template <class Px>
void check_empty_everything(const RX_LinearBlendingTables* tables) {
  check_empty_rows<Px, false, false>(tables);
  check_empty_rows<Px, true, false>(tables);
  check_empty_rows<Px, false, true>(tables);
  check_empty_rows<Px, true, true>(tables);
  check_empty_pipeline<Px>();
}

TEST_F(BlendRows, ALineOfNoPixelsReturnsZeroAndTouchesNothing) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_empty_everything<RX_Pixel8>(&tables);
  check_empty_everything<RX_Pixel16>(&tables);
  check_empty_everything<RX_PixelFloat>(&tables);
}

// ==== copies ====

template <class Px>
void check_copy_rows() {
  using D = Depth<Px>;
  std::mt19937 rng(29);
  for (int mode : {RX_Xfer_Copy, RX_Xfer_ReplaceRaw}) {
    const Line<Px> line = random_line<Px>(rng, 37);
    const int32_t w = line.width();
    // Full opacity with a mask: alpha mul(src alpha, mask alpha), colours
    // copied even where that alpha is 0.
    {
      std::vector<Px> dst = line.dst;
      const auto bm = blending_mode<Px>(mode, D::white);
      ASSERT_EQ((row_of<Px, true, false>(mode)(w, &bm, nullptr, line.src.data(), line.mask.data(), dst.data())), 0);
      int transparent = 0;
      for (int32_t i = 0; i < w; ++i) {
        const Px& s = line.src[size_t(i)];
        const Px want{Cv<Px>(D::mul(s.alpha, line.mask[size_t(i)].alpha)), s.red, s.green, s.blue};
        transparent += want.alpha == 0;
        EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], want))
            << D::name << " mode " << mode << " pixel " << i << ": " << show(dst[size_t(i)]) << " vs " << show(want);
      }
      EXPECT_GT(transparent, 0);
    }
    // Opacity below full, without a mask: alpha mul(src alpha, opacity).
    {
      std::vector<Px> dst = line.dst;
      const Cv<Px> opacity = D::between(rng);
      const auto bm = blending_mode<Px>(mode, opacity);
      ASSERT_EQ((row_of<Px, false, false>(mode)(w, &bm, nullptr, line.src.data(), nullptr, dst.data())), 0);
      for (int32_t i = 0; i < w; ++i) {
        const Px& s = line.src[size_t(i)];
        const Px want{Cv<Px>(D::mul(s.alpha, opacity)), s.red, s.green, s.blue};
        EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], want)) << D::name << " mode " << mode << " pixel " << i;
      }
    }
    // Full opacity without a mask: a plain move of the line, also through
    // a mask form given no mask.
    for (int form = 0; form < 2; ++form) {
      std::vector<Px> dst = line.dst;
      const auto bm = blending_mode<Px>(mode, D::white);
      const auto row = form == 0 ? row_of<Px, false, false>(mode) : row_of<Px, true, false>(mode);
      ASSERT_EQ(row(w, &bm, nullptr, line.src.data(), nullptr, dst.data()), 0);
      EXPECT_EQ(std::memcmp(dst.data(), line.src.data(), size_t(w) * sizeof(Px)), 0) << D::name << " mode " << mode;
    }
    // keep_dst_alpha: colours only, opacity and mask ignored.
    for (int form = 0; form < 2; ++form) {
      std::vector<Px> dst = line.dst;
      const auto bm = blending_mode<Px>(mode, Cv<Px>(0), true);
      const auto row = form == 0 ? row_of<Px, false, false>(mode) : row_of<Px, true, false>(mode);
      ASSERT_EQ(row(w, &bm, nullptr, line.src.data(), form ? line.mask.data() : nullptr, dst.data()), 0);
      for (int32_t i = 0; i < w; ++i) {
        const Px& s = line.src[size_t(i)];
        const Px want{line.dst[size_t(i)].alpha, s.red, s.green, s.blue};
        EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], want)) << D::name << " mode " << mode << " pixel " << i;
      }
    }
    // Through the pipeline, keep_dst_alpha set: the plan saves nothing,
    // the row copies colours only.
    {
      const auto got = run_pipeline(blending_mode<Px>(mode, D::half, true), line, true, nullptr);
      for (int32_t i = 0; i < w; ++i) {
        EXPECT_EQ(got[size_t(i)].alpha, line.dst[size_t(i)].alpha);
        EXPECT_EQ(got[size_t(i)].green, line.src[size_t(i)].green);
      }
    }
  }
}

TEST_F(BlendRows, CopyAndReplaceRawWriteTheWeightedAlphaAndCopyColoursEvenWhereItIsZero) {
  check_copy_rows<RX_Pixel8>();
  check_copy_rows<RX_Pixel16>();
  check_copy_rows<RX_PixelFloat>();
}

TEST_F(BlendPipelineScalar, CopyAndReplaceRawWithoutProcessorFormsBehaveTheSame) {
  check_copy_rows<RX_Pixel8>();
}

// ==== Over at opacity 0 ====

template <class Px>
void check_over_at_opacity_zero() {
  std::mt19937 rng(30);
  const Line<Px> line = random_line<Px>(rng, 40);
  const auto bm = blending_mode<Px>(RX_Xfer_Over, Cv<Px>(0));
  std::vector<Px> dst = line.dst;
  ASSERT_EQ((row_of<Px, false, false>(RX_Xfer_Over)(40, &bm, nullptr, line.src.data(), nullptr, dst.data())), 0);
  EXPECT_EQ(std::memcmp(dst.data(), line.dst.data(), sizeof(Px) * 40), 0) << Depth<Px>::name;
  const auto piped = run_pipeline(bm, line, false, nullptr);
  EXPECT_EQ(std::memcmp(piped.data(), line.dst.data(), sizeof(Px) * 40), 0) << Depth<Px>::name;
}

TEST_F(BlendRows, OverAtOpacityZeroWithoutMaskLeavesDstAsItWas) {
  check_over_at_opacity_zero<RX_Pixel8>();
  check_over_at_opacity_zero<RX_Pixel16>();
  check_over_at_opacity_zero<RX_PixelFloat>();
}

TEST_F(BlendPipelineScalar, OverAtOpacityZeroWithoutMaskLeavesDstAsItWas) {
  check_over_at_opacity_zero<RX_Pixel8>();
}

// ==== behind ====

template <class Px>
void check_behind_row() {
  using D = Depth<Px>;
  const RX_InnerBlendingFunc<Px> plain = row_of<Px, false, false>(RX_Xfer_Behind);
  const RX_InnerBlendingFunc<Px> masked = row_of<Px, true, false>(RX_Xfer_Behind);
  const Cv<Px> partial = Cv<Px>(D::half / 2 + D::half);  // three quarters
  const Px src{partial, D::white, D::half, Cv<Px>(0)};
  const Px mask{D::half, Cv<Px>(0), Cv<Px>(0), Cv<Px>(0)};
  for (int keep = 0; keep < 2; ++keep) {
    for (int with_mask = 0; with_mask < 2; ++with_mask) {
      const Cv<Px> opacity = with_mask ? D::white : D::half;
      const auto bm = blending_mode<Px>(RX_Xfer_Behind, opacity, keep != 0);
      const Cv<Px> weighted = Cv<Px>(with_mask ? D::mul(D::half, D::mul(partial, opacity)) : D::mul(partial, opacity));
      auto run = [&](Px d) {
        (with_mask ? masked : plain)(1, &bm, nullptr, &src, with_mask ? &mask : nullptr, &d);
        return d;
      };
      // dst opaque: nothing.
      const Px opaque{D::white, Cv<Px>(1), Cv<Px>(2), Cv<Px>(3)};
      EXPECT_TRUE(rxtest::same_pixel(run(opaque), opaque)) << D::name;
      // dst transparent: src's colours, alpha the weight (0 kept with the flag).
      const Px empty{Cv<Px>(0), Cv<Px>(1), Cv<Px>(2), Cv<Px>(3)};
      const Px want_empty{keep ? Cv<Px>(0) : weighted, src.red, src.green, src.blue};
      EXPECT_TRUE(rxtest::same_pixel(run(empty), want_empty))
          << D::name << " keep " << keep << " mask " << with_mask << ": " << show(run(empty)) << " vs "
          << show(want_empty);
      // Partly covered: the behind step, as the per-pixel function does it.
      const Px some{D::half, D::half, D::white, Cv<Px>(0)};
      Px want = some;
      per_pixel(RX_Xfer_Behind, src, with_mask ? &mask : nullptr, opacity, nullptr, want);
      if (keep) want.alpha = some.alpha;
      EXPECT_TRUE(near(run(some), want, std::is_same_v<Cv<Px>, float> ? kFloatTolerance : 0))
          << D::name << " keep " << keep << " mask " << with_mask << ": " << show(run(some)) << " vs " << show(want);
    }
  }
  // No skip at weight 0: a transparent dst still takes src's colours.
  const Px clear_src{Cv<Px>(0), D::white, D::half, Cv<Px>(0)};
  const auto bm = blending_mode<Px>(RX_Xfer_Behind, D::white);
  Px d{Cv<Px>(0), Cv<Px>(1), Cv<Px>(2), Cv<Px>(3)};
  plain(1, &bm, nullptr, &clear_src, nullptr, &d);
  EXPECT_TRUE(rxtest::same_pixel(d, Px{Cv<Px>(0), D::white, D::half, Cv<Px>(0)})) << D::name << " " << show(d);
}

TEST_F(BlendRows, BehindRowLeavesOpaqueDstFillsEmptyDstAndHonoursKeepDstAlpha) {
  check_behind_row<RX_Pixel8>();
  check_behind_row<RX_Pixel16>();
  check_behind_row<RX_PixelFloat>();
}

// ==== mask mix ====

RX_Pixel8 mask_mix8(const RX_Pixel8& s, const RX_Pixel8& d, uint32_t m) {
  if (m == 255) return s;
  const uint32_t w1 = s.alpha * m, w2 = (255 - m) * d.alpha, t = w1 + w2;
  if (m == 0 || t == 0) return d;
  auto colour = [&](uint32_t sc, uint32_t dc) { return uint8_t((sc * w1 + t / 2 + dc * w2) / t); };
  return {uint8_t((t + 128) / 255), colour(s.red, d.red), colour(s.green, d.green), colour(s.blue, d.blue)};
}

TEST_F(BlendRows, MaskMixCrossfadesByTheMaskAt8Bits) {
  std::mt19937 rng(31);
  const auto row = row_of<RX_Pixel8, true, false>(RX_Xfer_MaskMix);
  for (int n = 0; n < 40; ++n) {
    const Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 1 + int32_t(rng() % 40));
    // Opacity is not read: 0 mixes as much as full.
    const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_MaskMix, uint8_t(n % 2 ? 0 : 255));
    std::vector<RX_Pixel8> dst = line.dst;
    ASSERT_EQ(row(line.width(), &bm, nullptr, line.src.data(), line.mask.data(), dst.data()), 0);
    for (int32_t i = 0; i < line.width(); ++i) {
      const RX_Pixel8 want = mask_mix8(line.src[size_t(i)], line.dst[size_t(i)], line.mask[size_t(i)].alpha);
      EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], want))
          << "src " << show(line.src[size_t(i)]) << " dst " << show(line.dst[size_t(i)]) << " m "
          << +line.mask[size_t(i)].alpha << " -> " << show(dst[size_t(i)]) << ", expected " << show(want);
    }
  }
  // The corners: m full copies src, m 0 leaves dst, no weight on either side leaves dst.
  const RX_Pixel8 src{0, 10, 20, 30}, dst0{0, 40, 50, 60};
  const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_MaskMix, 255);
  for (uint8_t m : {uint8_t(255), uint8_t(0), uint8_t(100)}) {
    const RX_Pixel8 mask{m, 1, 2, 3};
    RX_Pixel8 d = dst0;
    row(1, &bm, nullptr, &src, &mask, &d);
    EXPECT_TRUE(rxtest::same_pixel(d, m == 255 ? src : dst0)) << +m;
  }
}

TEST_F(BlendRows, MaskMixCrossfadesByTheMaskInFloat) {
  std::mt19937 rng(32);
  const auto row = row_of<RX_PixelFloat, true, false>(RX_Xfer_MaskMix);
  const Line<RX_PixelFloat> line = random_line<RX_PixelFloat>(rng, 40);
  const auto bm = blending_mode<RX_PixelFloat>(RX_Xfer_MaskMix, 0.25f);
  std::vector<RX_PixelFloat> dst = line.dst;
  ASSERT_EQ(row(40, &bm, nullptr, line.src.data(), line.mask.data(), dst.data()), 0);
  for (size_t i = 0; i < 40; ++i) {
    const RX_PixelFloat &s = line.src[i], &d = line.dst[i];
    const float m = line.mask[i].alpha;
    RX_PixelFloat want = d;
    const float w1 = s.alpha * m, w2 = (1.0f - m) * d.alpha, t = w1 + w2;
    if (m == 1.0f) {
      want = s;
    } else if (m != 0.0f && t != 0.0f) {
      want = {t, (s.red * w1 + d.red * w2) / t, (s.green * w1 + d.green * w2) / t, (s.blue * w1 + d.blue * w2) / t};
    }
    EXPECT_TRUE(near(dst[i], want, 1e-6)) << show(dst[i]) << " vs " << show(want);
  }
}

TEST_F(BlendRows, MaskMixAt16BitsCopiesAtAFullMaskAndLeavesAtAnEmptyOne) {
  const auto row = row_of<RX_Pixel16, true, false>(RX_Xfer_MaskMix);
  const RX_Pixel16 src[2] = {{100, 1, 2, 3}, {32768, 4, 5, 6}};
  const RX_Pixel16 mask[2] = {{32768, 9, 9, 9}, {0, 9, 9, 9}};
  RX_Pixel16 dst[2] = {{7, 7, 7, 7}, {8, 8, 8, 8}};
  const auto bm = blending_mode<RX_Pixel16>(RX_Xfer_MaskMix, 0);
  ASSERT_EQ(row(2, &bm, nullptr, src, mask, dst), 0);
  EXPECT_TRUE(rxtest::same_pixel(dst[0], src[0]));
  EXPECT_TRUE(rxtest::same_pixel(dst[1], RX_Pixel16{8, 8, 8, 8}));
}

// ==== dissolve ====

// The dissolve of one line, written out: a local seed; per
// pixel the weight; full draws; 0 does nothing; otherwise a copy of the
// seed goes to RX_Rand, the pixel is drawn when the weight reaches the low
// byte of the result, and the seed takes the new state; then seed + 1.
std::vector<RX_Pixel8> dissolve_reference(const Line<RX_Pixel8>& line, bool with_mask, uint8_t opacity, int32_t seed,
                                          bool keep) {
  std::vector<RX_Pixel8> out = line.dst;
  uint32_t state = uint32_t(seed);
  for (int32_t i = 0; i < line.width(); ++i) {
    const RX_Pixel8& s = line.src[size_t(i)];
    const uint32_t w = weight_of<RX_Pixel8>(s.alpha, opacity, with_mask ? &line.mask[size_t(i)] : nullptr);
    bool draw = false;
    if (w == 255) {
      draw = true;
    } else if (w != 0) {
      uint32_t copy = state;
      draw = w >= (RX_Rand(&copy) & 255);
      state = copy;
    }
    if (draw) {
      RX_Pixel8& d = out[size_t(i)];
      d.red = s.red;
      d.green = s.green;
      d.blue = s.blue;
      if (!keep) d.alpha = 255;
    }
    state += 1;
  }
  return out;
}

TEST_F(BlendRows, DissolveFollowsTheGeneratorPixelByPixelAt8Bits) {
  std::mt19937 rng(33);
  for (int n = 0; n < 64; ++n) {
    const bool with_mask = n & 1, keep = (n & 2) != 0;
    const uint8_t opacity = (n & 4) ? 255 : Depth<RX_Pixel8>::between(rng);
    const int32_t seed = int32_t(rng());
    const Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 1 + int32_t(rng() % 40));
    const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_Dissolve, opacity, keep, seed);
    const auto row = with_mask ? row_of<RX_Pixel8, true, false>(RX_Xfer_Dissolve)
                               : row_of<RX_Pixel8, false, false>(RX_Xfer_Dissolve);
    std::vector<RX_Pixel8> dst = line.dst;
    ASSERT_EQ(row(line.width(), &bm, nullptr, line.src.data(), with_mask ? line.mask.data() : nullptr, dst.data()), 0);
    const auto want = dissolve_reference(line, with_mask, opacity, seed, keep);
    for (int32_t i = 0; i < line.width(); ++i) {
      EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], want[size_t(i)]))
          << "seed " << seed << " opacity " << +opacity << " pixel " << i << ": " << show(dst[size_t(i)]) << " vs "
          << show(want[size_t(i)]);
    }
    // The pipeline runs the same row; the plan saves no alpha.
    const auto piped = run_pipeline(bm, line, with_mask, nullptr);
    EXPECT_EQ(std::memcmp(piped.data(), want.data(), want.size() * sizeof(RX_Pixel8)), 0);
  }
}

TEST_F(BlendRows, DissolveAdvancesTheSeedByOnePastOpaquePixels) {
  // Five opaque pixels, then one at weight 128: its draw reads seed + 5.
  const auto row = row_of<RX_Pixel8, false, false>(RX_Xfer_Dissolve);
  int checked = 0;
  for (int32_t seed = 1; seed < 4000 && checked < 2; ++seed) {
    uint32_t at_five = uint32_t(seed) + 5, at_zero = uint32_t(seed);
    const bool drawn_five = 128 >= (RX_Rand(&at_five) & 255);
    const bool drawn_zero = 128 >= (RX_Rand(&at_zero) & 255);
    if (drawn_five == drawn_zero) continue;  // only seeds that tell the two apart
    Line<RX_Pixel8> line;
    for (int i = 0; i < 5; ++i) line.src.push_back({255, uint8_t(i), 0, 0});
    line.src.push_back({128, 99, 98, 97});
    line.dst.assign(6, RX_Pixel8{10, 11, 12, 13});
    const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_Dissolve, 255, false, seed);
    std::vector<RX_Pixel8> dst = line.dst;
    ASSERT_EQ(row(6, &bm, nullptr, line.src.data(), nullptr, dst.data()), 0);
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], line.src[size_t(i)]));
    EXPECT_EQ(rxtest::same_pixel(dst[5], RX_Pixel8{255, 99, 98, 97}), drawn_five) << "seed " << seed;
    ++checked;
  }
  EXPECT_EQ(checked, 2);
}

template <class Px>
void check_dissolve_draws() {
  using D = Depth<Px>;
  const auto row = row_of<Px, false, false>(RX_Xfer_Dissolve);
  std::mt19937 rng(34);
  Line<Px> line = random_line<Px>(rng, 64);
  // Opaque source at full opacity: every pixel drawn, (full, src colours).
  for (Px& p : line.src) p.alpha = D::white;
  for (int keep = 0; keep < 2; ++keep) {
    const auto bm = blending_mode<Px>(RX_Xfer_Dissolve, D::white, keep != 0, 77);
    std::vector<Px> dst = line.dst;
    ASSERT_EQ(row(64, &bm, nullptr, line.src.data(), nullptr, dst.data()), 0);
    for (size_t i = 0; i < 64; ++i) {
      const Px want{keep ? line.dst[i].alpha : D::white, line.src[i].red, line.src[i].green, line.src[i].blue};
      EXPECT_TRUE(rxtest::same_pixel(dst[i], want)) << D::name << " pixel " << i;
    }
  }
  // Transparent source: nothing.
  for (Px& p : line.src) p.alpha = Cv<Px>(0);
  {
    const auto bm = blending_mode<Px>(RX_Xfer_Dissolve, D::white, false, 77);
    std::vector<Px> dst = line.dst;
    ASSERT_EQ(row(64, &bm, nullptr, line.src.data(), nullptr, dst.data()), 0);
    EXPECT_EQ(std::memcmp(dst.data(), line.dst.data(), 64 * sizeof(Px)), 0) << D::name;
  }
  // Half weight on an empty dst: the same seed gives the same pixels,
  // another seed another pattern; some pixels are drawn and some not.
  for (Px& p : line.src) p.alpha = D::half;
  for (Px& p : line.dst) p.alpha = Cv<Px>(0);
  auto dissolve = [&](int32_t seed) {
    const auto bm = blending_mode<Px>(RX_Xfer_Dissolve, D::white, false, seed);
    std::vector<Px> dst = line.dst;
    row(64, &bm, nullptr, line.src.data(), nullptr, dst.data());
    std::vector<bool> drawn;
    for (const Px& p : dst) drawn.push_back(p.alpha == D::white);
    return std::make_pair(dst, drawn);
  };
  const auto first = dissolve(12345), again = dissolve(12345), other = dissolve(54321);
  EXPECT_EQ(std::memcmp(first.first.data(), again.first.data(), 64 * sizeof(Px)), 0) << D::name;
  EXPECT_NE(first.second, other.second) << D::name;
  const auto drawn = std::count(first.second.begin(), first.second.end(), true);
  EXPECT_GT(drawn, 8) << D::name;
  EXPECT_LT(drawn, 56) << D::name;
}

TEST_F(BlendRows, DissolveDrawsOpaquePixelsAndRepeatsItsPatternForASeed) {
  check_dissolve_draws<RX_Pixel8>();
  check_dissolve_draws<RX_Pixel16>();
  check_dissolve_draws<RX_PixelFloat>();
}

// ==== the plan ====

struct Flags {
  bool matte_dst, behind_first, keep_alpha_capable, alpha_union;
};

Flags flags_of(int mode) {
  if (matte_of(mode) != MatteKind::None) return {true, false, true, true};
  if (is_colour_mode(mode)) return {false, true, true, false};
  if (mode == 2 || mode == 21 || mode == 22 || is_general_mode(mode)) return {false, false, true, false};
  return {false, false, false, false};
}

template <class Px, bool HasMask, bool Linear>
void check_plan_flags(const RX_LinearBlendingTables* tables) {
  using D = Depth<Px>;
  for (int mode = -3; mode <= 38; ++mode) {
    if (mode == RX_Xfer_None) continue;
    const auto bm = blending_mode<Px>(mode, D::half, true, 41);
    const RX_BlendModeDescriptor<Px> plan(bm, HasMask, Linear ? tables : nullptr);
    const Flags want = flags_of(mode);
    EXPECT_EQ(plan.matte_dst, want.matte_dst) << D::name << " mode " << mode;
    EXPECT_EQ(plan.behind_first, want.behind_first) << D::name << " mode " << mode;
    EXPECT_EQ(plan.keep_alpha_capable, want.keep_alpha_capable) << D::name << " mode " << mode;
    EXPECT_EQ(plan.alpha_union, want.alpha_union) << D::name << " mode " << mode;
    EXPECT_EQ(plan.mode.blend_mode, mode);
    EXPECT_EQ(plan.mode.opacity, D::half);
    EXPECT_EQ(plan.mode.random_seed, 41);
    EXPECT_TRUE(plan.mode.keep_dst_alpha);
    EXPECT_EQ(plan.tables, Linear ? tables : nullptr);
    EXPECT_EQ(plan.blend_function, (row_of<Px, HasMask, Linear>(mode))) << D::name << " mode " << mode;
    EXPECT_EQ(plan.behind_function, (row_of<Px, HasMask, Linear>(RX_Xfer_Behind))) << D::name << " mode " << mode;
    EXPECT_EQ(reinterpret_cast<RX_OverFunc>(plan.alpha_union_function), RXp_G_OverFuncs[D::alpha_union_slot]);
    const MatteKind kind = matte_of(mode);
    if (kind == MatteKind::None) {
      EXPECT_EQ(plan.matte_function, nullptr) << D::name << " mode " << mode;
      EXPECT_EQ(plan.dematte_function, nullptr) << D::name << " mode " << mode;
    } else {
      const int slot = D::matte_slot + 2 * int(kind);
      EXPECT_EQ(reinterpret_cast<RX_OverFunc>(plan.matte_function), RXp_G_OverFuncs[slot]) << D::name << " " << mode;
      EXPECT_EQ(reinterpret_cast<RX_OverFunc>(plan.dematte_function), RXp_G_OverFuncs[slot + 1])
          << D::name << " " << mode;
    }
  }
}

template <class Px>
void check_all_plan_flags(const RX_LinearBlendingTables* tables) {
  check_plan_flags<Px, false, false>(tables);
  check_plan_flags<Px, true, false>(tables);
  check_plan_flags<Px, false, true>(tables);
  check_plan_flags<Px, true, true>(tables);
}

TEST_F(BlendPlan, EachModeSetsTheFlagsOfItsRowInTheModeTable) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_all_plan_flags<RX_Pixel8>(&tables);
  check_all_plan_flags<RX_Pixel16>(&tables);
  check_all_plan_flags<RX_PixelFloat>(&tables);
}

TEST_F(BlendPlan, MultiplyMattesAndUnitesWhileHueGoesBehindFirst) {
  const RX_BlendModeDescriptor<RX_Pixel8> multiply(blending_mode<RX_Pixel8>(5, 255), false, nullptr);
  EXPECT_TRUE(multiply.matte_dst);
  EXPECT_TRUE(multiply.alpha_union);
  EXPECT_TRUE(multiply.keep_alpha_capable);
  EXPECT_FALSE(multiply.behind_first);
  const RX_BlendModeDescriptor<RX_Pixel8> hue(blending_mode<RX_Pixel8>(13, 255), false, nullptr);
  EXPECT_TRUE(hue.behind_first);
  EXPECT_TRUE(hue.keep_alpha_capable);
  EXPECT_FALSE(hue.matte_dst);
  EXPECT_FALSE(hue.alpha_union);
}

template <class Px>
void check_unimplemented_plan(int32_t mode) {
  rxtest::ReportCapture capture;
  const RX_BlendModeDescriptor<Px> plan(blending_mode<Px>(mode, Depth<Px>::white), false, nullptr);
  EXPECT_FALSE(plan.matte_dst || plan.behind_first || plan.keep_alpha_capable || plan.alpha_union)
      << Depth<Px>::name << " mode " << mode;
  EXPECT_EQ(plan.matte_function, nullptr);
  EXPECT_EQ(plan.dematte_function, nullptr);
  EXPECT_EQ(plan.blend_function, nullptr);
  const auto errors = capture.errors();
  ASSERT_FALSE(errors.empty()) << Depth<Px>::name << " mode " << mode;
  for (const auto& r : errors) {
    EXPECT_EQ(r.text, kUnimplemented) << Depth<Px>::name << " mode " << mode;
    EXPECT_EQ(r.location >> 16, 0x25);
  }
}

TEST_F(BlendPlan, ModesWithoutARowReportUnimplementedAndLeaveTheFlagsClear) {
  for (int32_t mode : {-1, 39, -4, 1000, INT32_MIN}) {
    check_unimplemented_plan<RX_Pixel8>(mode);
    check_unimplemented_plan<RX_Pixel16>(mode);
    check_unimplemented_plan<RX_PixelFloat>(mode);
  }
}

RX_Err untouched_row8(int32_t, const RX_BlendingMode<RX_Pixel8>*, const RX_LinearBlendingTables*, const RX_Pixel8*,
                      const RX_Pixel8*, RX_Pixel8*) {
  return 99;
}
RX_Err untouched_row16(int32_t, const RX_BlendingMode<RX_Pixel16>*, const RX_LinearBlendingTables*,
                       const RX_Pixel16*, const RX_Pixel16*, RX_Pixel16*) {
  return 99;
}
RX_Err untouched_rowF(int32_t, const RX_BlendingMode<RX_PixelFloat>*, const RX_LinearBlendingTables*,
                      const RX_PixelFloat*, const RX_PixelFloat*, RX_PixelFloat*) {
  return 99;
}
template <class Px>
RX_InnerBlendingFunc<Px> untouched_row() {
  if constexpr (sizeof(Px) == 4) return &untouched_row8;
  else if constexpr (sizeof(Px) == 8) return &untouched_row16;
  else return &untouched_rowF;
}

template <class Px, bool HasMask, bool Linear>
void check_lookup_refuses(int32_t mode) {
  rxtest::ReportCapture capture;
  RX_InnerBlendingFunc<Px> f = untouched_row<Px>();
  EXPECT_EQ((RX_GetInnerBlendingFunc<Px, HasMask, Linear>(mode, &f)), RX_Result_Unimplemented)
      << Depth<Px>::name << " mode " << mode;
  EXPECT_EQ(f, untouched_row<Px>()) << Depth<Px>::name << " mode " << mode;
  ASSERT_EQ(capture.errors().size(), 1u) << Depth<Px>::name << " mode " << mode;
  EXPECT_EQ(capture.errors()[0].text, kUnimplemented);
}

template <class Px>
void check_lookups_refuse(int32_t mode) {
  check_lookup_refuses<Px, false, false>(mode);
  check_lookup_refuses<Px, true, false>(mode);
  check_lookup_refuses<Px, false, true>(mode);
  check_lookup_refuses<Px, true, true>(mode);
}

TEST_F(BlendPlan, LookUpOfAModeWithoutARowGivesFiveAndLeavesTheResult) {
  for (int32_t mode : {-1, 39, -4, 42, INT32_MAX}) {
    check_lookups_refuse<RX_Pixel8>(mode);
    check_lookups_refuse<RX_Pixel16>(mode);
    check_lookups_refuse<RX_PixelFloat>(mode);
  }
}

template <class Px>
void check_lookups_give_rows() {
  for (int32_t mode = -3; mode <= 38; ++mode) {
    if (mode == RX_Xfer_None) continue;
    rxtest::ReportCapture capture;
    EXPECT_NE((row_of<Px, false, false>(mode)), nullptr);
    EXPECT_NE((row_of<Px, true, false>(mode)), nullptr);
    EXPECT_NE((row_of<Px, false, true>(mode)), nullptr);
    EXPECT_NE((row_of<Px, true, true>(mode)), nullptr);
    EXPECT_EQ(capture.size(), 0u) << Depth<Px>::name << " mode " << mode;
  }
}

TEST_F(BlendPlan, EveryModeFromMinusThreeToThirtyEightHasFourRows) {
  check_lookups_give_rows<RX_Pixel8>();
  check_lookups_give_rows<RX_Pixel16>();
  check_lookups_give_rows<RX_PixelFloat>();
}

template <class Px>
void check_copies_need_no_conversion() {
  for (int32_t mode : {RX_Xfer_ReplaceRaw, RX_Xfer_Copy}) {
    EXPECT_EQ((row_of<Px, false, true>(mode)), (row_of<Px, false, false>(mode))) << Depth<Px>::name << " " << mode;
    EXPECT_EQ((row_of<Px, true, true>(mode)), (row_of<Px, true, false>(mode))) << Depth<Px>::name << " " << mode;
  }
  // Other modes have a linear form of their own.
  EXPECT_NE((row_of<Px, false, true>(RX_Xfer_Over)), (row_of<Px, false, false>(RX_Xfer_Over)));
}

TEST_F(BlendPlan, CopiesAt8And16BitsHandOutTheSameRowForLinearAndGamma) {
  check_copies_need_no_conversion<RX_Pixel8>();
  check_copies_need_no_conversion<RX_Pixel16>();
}

// The plan takes its rows from the override table.
std::vector<int32_t> g_lookups;
RX_Err recording_lookup8(int32_t mode, RX_InnerBlendingFunc<RX_Pixel8>* result) {
  g_lookups.push_back(mode);
  *result = &untouched_row8;
  return RX_Result_OK;
}
RX_Err recording_scan8(int32_t, const RX_Pixel8*, RX_Pixel8*) { return 98; }
RX_Err recording_union8(int32_t, const RX_Pixel8*, uint8_t, const RX_Pixel8*, RX_Pixel8*) { return 97; }

// Puts a function in a slot for a scope and puts the old one back.
class SlotSwap {
 public:
  SlotSwap(int slot, RX_OverFunc f) : slot_(slot), old_(RXp_G_OverFuncs[slot]) {
    EXPECT_EQ(RX_SetOverrideFunc(slot, f), RX_Result_OK);
  }
  ~SlotSwap() { RX_SetOverrideFunc(slot_, old_); }

 private:
  int slot_;
  RX_OverFunc old_;
};

TEST_F(BlendPlan, RowsComeThroughTheLookUpSlotOfTheirMaskAndLinearChoice) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  for (int which = 0; which < 4; ++which) {
    const bool has_mask = which & 1, linear = which & 2;
    const int slot = RX_Slot_InnerBlendingPlain8 + 3 * which;
    g_lookups.clear();
    {
      SlotSwap swap(slot, reinterpret_cast<RX_OverFunc>(&recording_lookup8));
      const RX_BlendModeDescriptor<RX_Pixel8> plan(blending_mode<RX_Pixel8>(RX_Xfer_Multiply, 255), has_mask,
                                                   linear ? &tables : nullptr);
      EXPECT_EQ(plan.blend_function, &untouched_row8) << which;
      EXPECT_EQ(plan.behind_function, &untouched_row8) << which;
      // A look-up's error comes back from the pipeline as the first error met.
      RX_Pixel8 px{1, 2, 3, 4};
      uint8_t saved = 0;
      EXPECT_EQ(RX_BlendPipeline<RX_Pixel8>(nullptr, 1, plan, &px, &px, &saved, &px), 99);
    }
    EXPECT_EQ(g_lookups, (std::vector<int32_t>{RX_Xfer_Multiply, RX_Xfer_Behind})) << which;
  }
  // The slot is back: a plan gets the library's rows again.
  const RX_BlendModeDescriptor<RX_Pixel8> plan(blending_mode<RX_Pixel8>(RX_Xfer_Multiply, 255), false, nullptr);
  EXPECT_EQ(plan.blend_function, (row_of<RX_Pixel8, false, false>(RX_Xfer_Multiply)));
}

TEST_F(BlendPlan, MatteAndAlphaUnionRowsComeFromTheirSlots) {
  SlotSwap premultiply(RX_Slot_PremulScanWhite8, reinterpret_cast<RX_OverFunc>(&recording_scan8));
  SlotSwap unmultiply(RX_Slot_UnmultScanWhite8, reinterpret_cast<RX_OverFunc>(&recording_scan8));
  SlotSwap alpha_union(RX_Slot_AlphaCombineScan8, reinterpret_cast<RX_OverFunc>(&recording_union8));
  const RX_BlendModeDescriptor<RX_Pixel8> plan(blending_mode<RX_Pixel8>(RX_Xfer_Darken, 255), true, nullptr);
  EXPECT_EQ(plan.matte_function, &recording_scan8);
  EXPECT_EQ(plan.dematte_function, &recording_scan8);
  EXPECT_EQ(plan.alpha_union_function, &recording_union8);
  RX_Pixel8 px{1, 2, 3, 4};
  uint8_t saved = 0;
  EXPECT_EQ(RX_BlendPipeline<RX_Pixel8>(nullptr, 1, plan, &px, &px, &saved, &px), 98);
}

// ==== the linear wrap's failures ====

template <class Px>
void check_null_tables(int32_t mode) {
  std::mt19937 rng(35);
  const Line<Px> line = random_line<Px>(rng, 6);
  for (int with_mask = 0; with_mask < 2; ++with_mask) {
    const auto row = with_mask ? row_of<Px, true, true>(mode) : row_of<Px, false, true>(mode);
    const auto bm = blending_mode<Px>(mode, Depth<Px>::white);
    std::vector<Px> dst = line.dst;
    rxtest::ReportCapture capture;
    EXPECT_EQ(row(6, &bm, nullptr, line.src.data(), with_mask ? line.mask.data() : nullptr, dst.data()),
              RX_Result_Internal)
        << Depth<Px>::name << " mode " << mode;
    ASSERT_EQ(capture.errors().size(), 1u);
    EXPECT_EQ(capture.errors()[0].kind, RXHost_Report_Verification);
    EXPECT_EQ(capture.errors()[0].text, kInvalidTables);
    EXPECT_EQ(std::memcmp(dst.data(), line.dst.data(), 6 * sizeof(Px)), 0);
  }
}

TEST_F(BlendLinearRows, NullTablesReportAndGiveThree) {
  for (int32_t mode : {RX_Xfer_Over, RX_Xfer_Multiply, RX_Xfer_Hue, RX_Xfer_Dissolve, RX_Xfer_MaskMix}) {
    check_null_tables<RX_Pixel8>(mode);
    check_null_tables<RX_Pixel16>(mode);
    check_null_tables<RX_PixelFloat>(mode);
  }
  check_null_tables<RX_PixelFloat>(RX_Xfer_Copy);
}

template <class Px>
void check_allocation_failure(int32_t mode) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  std::mt19937 rng(36);
  const Line<Px> line = random_line<Px>(rng, 9);
  for (int with_mask = 0; with_mask < 2; ++with_mask) {
    // The lines: src, dst, and the mask's when there is one.
    for (int nth = 1; nth <= 2 + with_mask; ++nth) {
      const auto row = with_mask ? row_of<Px, true, true>(mode) : row_of<Px, false, true>(mode);
      const auto bm = blending_mode<Px>(mode, Depth<Px>::half);
      std::vector<Px> dst = line.dst;
      rxtest::ReportCapture capture;
      const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
      RXHost_FailNthAllocation(nth);
      bool thrown = false;
      try {
        row(9, &bm, &tables, line.src.data(), with_mask ? line.mask.data() : nullptr, dst.data());
      } catch (RX_Err code) {
        thrown = true;
        EXPECT_EQ(code, RX_Result_OutOfMemory) << Depth<Px>::name << " mode " << mode << " allocation " << nth;
      }
      RXHost_FailNthAllocation(0);
      EXPECT_TRUE(thrown) << Depth<Px>::name << " mode " << mode << " allocation " << nth;
      EXPECT_EQ(RXHost_LiveBytes(), bytes) << Depth<Px>::name << " mode " << mode << " allocation " << nth;
      EXPECT_EQ(RXHost_LiveBlocks(), blocks);
      EXPECT_EQ(std::memcmp(dst.data(), line.dst.data(), 9 * sizeof(Px)), 0);
    }
  }
}

TEST_F(BlendLinearRows, AllocationFailureThrowsOutOfMemoryAndReleasesTheLines) {
  for (int32_t mode : {RX_Xfer_Over, RX_Xfer_Screen, RX_Xfer_Luminosity}) {
    check_allocation_failure<RX_Pixel8>(mode);
    check_allocation_failure<RX_Pixel16>(mode);
    check_allocation_failure<RX_PixelFloat>(mode);
  }
}

TEST_F(BlendLinearRows, LinearCopiesAt8BitsAllocateNothing) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  std::mt19937 rng(37);
  const Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 9);
  std::vector<RX_Pixel8> dst = line.dst;
  const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_Copy, 100);
  RXHost_FailNthAllocation(1);
  const auto row = row_of<RX_Pixel8, true, true>(RX_Xfer_Copy);
  EXPECT_NO_THROW(row(9, &bm, &tables, line.src.data(), line.mask.data(), dst.data()));
  RXHost_FailNthAllocation(0);
}

TEST_F(BlendLinearRows, LinearRowLiftsOnlyTheMaskAlpha) {
  // A linear row's mask line is alpha only: junk colours in the mask, the
  // same weight, the same result.
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  std::mt19937 rng(38);
  Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 17);
  const auto row = row_of<RX_Pixel8, true, true>(RX_Xfer_Over);
  const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_Over, 180);
  std::vector<RX_Pixel8> first = line.dst, second = line.dst;
  row(17, &bm, &tables, line.src.data(), line.mask.data(), first.data());
  for (RX_Pixel8& m : line.mask) m.red = m.green = m.blue = uint8_t(m.red ^ 0x5A);
  row(17, &bm, &tables, line.src.data(), line.mask.data(), second.data());
  EXPECT_EQ(std::memcmp(first.data(), second.data(), sizeof(RX_Pixel8) * 17), 0);
}

// ==== the single-channel fade ====

uint8_t fade8(uint8_t c, uint8_t coverage, uint8_t scale, uint8_t target) {
  const int32_t k = int32_t(Depth<RX_Pixel8>::mul(coverage, scale));
  const int32_t t = k * (int32_t(target) - int32_t(c)) - (target < c ? 1 : 0) + 128;
  return uint8_t(int32_t(c) + ((t + (t >> 8)) >> 8));
}

uint16_t fade16(uint16_t c, uint16_t coverage, uint16_t scale, uint16_t target) {
  const int32_t k = int32_t(Depth<RX_Pixel16>::mul(coverage, scale));
  const int32_t t = k * (int32_t(target) - int32_t(c)) - (target < c ? 1 : 0) + 16383;
  return uint16_t(int32_t(c) + (t >> 15));
}

float fadeF(float c, float coverage, float scale, float target) { return c + coverage * scale * (target - c); }

template <class Px>
Cv<Px> fade(Cv<Px> c, Cv<Px> coverage, Cv<Px> scale, Cv<Px> target) {
  if constexpr (sizeof(Px) == 4) return fade8(c, coverage, scale, target);
  else if constexpr (sizeof(Px) == 8) return fade16(c, coverage, scale, target);
  else return fadeF(c, coverage, scale, target);
}

template <class Px>
void check_single_channel(uint32_t seed) {
  using D = Depth<Px>;
  std::mt19937 rng(seed);
  for (int n = 0; n < 60; ++n) {
    const int32_t width = int32_t(rng() % 21);
    std::vector<Px> dst;
    std::vector<Cv<Px>> coverage;
    for (int32_t i = 0; i < width; ++i) {
      dst.push_back(random_pixel<Px>(rng));
      coverage.push_back(random_alpha<Px>(rng));
    }
    const Cv<Px> scale = random_alpha<Px>(rng), target = random_colour<Px>(rng);
    const std::vector<Px> before = dst;
    RX_BlendSingleChannel<Px, Cv<Px>>(width, scale, target, coverage.data(), dst.data());
    for (int32_t i = 0; i < width; ++i) {
      const Px& b = before[size_t(i)];
      const Px want{fade<Px>(b.alpha, coverage[size_t(i)], scale, target), b.red, b.green, b.blue};
      EXPECT_TRUE(near(dst[size_t(i)], want, 0))
          << D::name << ": alpha " << +b.alpha << " coverage " << +coverage[size_t(i)] << " scale " << +scale
          << " target " << +target << " -> " << show(dst[size_t(i)]) << ", expected " << show(want);
    }
  }
}

TEST_F(BlendSingleChannel, FadesTheTargetIntoAlphaOnlyAtEveryDepth) {
  check_single_channel<RX_Pixel8>(41);
  check_single_channel<RX_Pixel16>(42);
  check_single_channel<RX_PixelFloat>(43);
}

TEST_F(BlendSingleChannel, EightBitsFollowTheRoundingForEveryAlphaAndTarget) {
  // Every (alpha, target) pair for a few weights: lines of 256 alphas.
  for (uint8_t coverage : {uint8_t(0), uint8_t(1), uint8_t(128), uint8_t(200), uint8_t(255)}) {
    for (uint8_t scale : {uint8_t(255), uint8_t(100)}) {
      const std::vector<uint8_t> cover(256, coverage);
      for (int target = 0; target < 256; ++target) {
        std::vector<RX_Pixel8> dst(256);
        for (int c = 0; c < 256; ++c) dst[size_t(c)] = {uint8_t(c), uint8_t(c), 7, uint8_t(255 - c)};
        RX_BlendSingleChannel<RX_Pixel8, uint8_t>(256, scale, uint8_t(target), cover.data(), dst.data());
        for (int c = 0; c < 256; ++c) {
          const RX_Pixel8 want{fade8(uint8_t(c), coverage, scale, uint8_t(target)), uint8_t(c), 7, uint8_t(255 - c)};
          ASSERT_TRUE(rxtest::same_pixel(dst[size_t(c)], want))
              << "alpha " << c << " target " << target << " coverage " << +coverage << " scale " << +scale << ": "
              << show(dst[size_t(c)]) << " vs " << show(want);
        }
      }
    }
  }
  // Full weight lands on the target exactly, at both integer depths.
  EXPECT_EQ(fade8(0, 255, 255, 255), 255);
  EXPECT_EQ(fade8(255, 255, 255, 0), 0);
  EXPECT_EQ(fade16(0, 32768, 32768, 32768), 32768);
}

}  // namespace
