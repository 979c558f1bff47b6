// The premultiply, unmultiply and alpha combine scans of every depth against
// their rules written out in plain arithmetic: every (alpha, value) pair at
// 8 bits, a dense sample at 16 bits, a spread of ordinary and awkward
// floats. Plain and processor forms alike; in place and out of place. Also
// the divide table the 8-bit unmultiply reads, and the corner cases of the
// scans (opaque identity, transparent unmultiply, the 16-bit rounding).
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <vector>

#include "reference_arith.h"
#include "pixelops/premultiply_scans.h"
#include "rx_test_support.h"
#include "variant_forms.h"

namespace {

namespace ref = rxtest::ref;

using rxtest::mask_pixels;

// ---- the rules, written plainly ----

// Exact rounded division by 255 of a product of two bytes.
using rxtest::ref::m255;
// Row a, column v of the divide table prepared at birth.
using rxtest::ref::divide;

uint32_t ref8(int slot, uint32_t a, uint32_t c) {
  switch (slot) {
    case 35: return m255(c * a);
    case 36: return divide(a, c);
    case 37: return 255 - m255((255 - c) * a);
    case 38: return 255 - divide(a, 255 - c);
    case 39:
      if (c < 128) return c + m255((255 - a) * (128 - c));
      return 128 + m255((c - 128) * a);
    case 40:
      if (c < 128) {
        const uint32_t t = divide(a, 128 - c);
        return t < 128 ? 128 - t : 0;
      } else {
        const uint32_t t = divide(a, c - 128);
        return 128 + t > 255 ? 255 : 128 + t;
      }
  }
  std::abort();
}

// 16 bits: white is 32768, the centre 16384.
using rxtest::ref::mul16;
using rxtest::ref::unmul16;

inline uint32_t ref16(int slot, uint32_t a, uint32_t c) {
  switch (slot) {
    case 72: return mul16(c, a);
    case 73: return unmul16(c, a);
    case 74: return 32768 - mul16(32768 - c, a);
    case 75: return 32768 - unmul16(32768 - c, a);
    case 76:
      if (c < 16384) return c + mul16(32768 - a, 16384 - c);
      return 16384 + mul16(c - 16384, a);
    case 77:
      if (c < 16384) {
        const uint32_t t = unmul16(16384 - c, a);
        return t < 16384 ? 16384 - t : 0;
      } else {
        const uint32_t t = unmul16(c - 16384, a);
        return 16384 + t > 32768 ? 32768 : 16384 + t;
      }
  }
  std::abort();
}

// An alpha the float unmultiply cannot divide by: zero, NaN, or a
// denormal.
bool cannot_divide(float a) {
  return a == 0.0f || std::isnan(a) || std::fpclassify(a) == FP_SUBNORMAL;
}

float reff(int slot, float a, float c) {
  const float g = 0.5f;
  switch (slot) {
    case 106: return c * a;
    case 107: return cannot_divide(a) ? 1.0f : c / a;
    case 108: return 1.0f - (1.0f - c) * a;
    case 109: return 1.0f - (cannot_divide(a) ? 1.0f : (1.0f - c) / a);
    case 110:
      if (c >= g) return (c - g) * a + g;
      return c + (1.0f - a) * (g - c);
    case 111:
      // No alpha to divide by: the colour goes to the nearer end, a colour
      // at or above the centre to white (a NaN colour is not).
      if (cannot_divide(a)) return c >= g ? 1.0f : 0.0f;
      if (c >= g) return (c - g) / a + g;
      return g - (g - c) / a;
  }
  std::abort();
}

bool same_float(float x, float y) { return (std::isnan(x) && std::isnan(y)) || x == y; }

bool is_unmultiply(int slot) {
  return slot == 36 || slot == 38 || slot == 40 || slot == 73 || slot == 75 || slot == 77 ||
         slot == 107 || slot == 109 || slot == 111;
}

// ---- calling the forms ----

using Scan8 = RX_PremulScan8;
using Scan16 = RX_PremulScan16;
using ScanF = RX_PremulScanFloat;

using rxtest::form;

// The three ways of calling a scan: separate rows, a null source, and the
// destination passed as its own source.
enum class Placement { Separate, NullSource, SameRow };
const Placement kPlacements[] = {Placement::Separate, Placement::NullSource, Placement::SameRow};

template <class Px, class Fn>
std::vector<Px> run(Fn fn, const std::vector<Px>& src, Placement placement) {
  std::vector<Px> dst(src.size());
  RX_Err err;
  if (placement == Placement::Separate) {
    std::memset(dst.data(), 0x5C, dst.size() * sizeof(Px));
    const std::vector<Px> copy = src;
    err = fn(int32_t(src.size()), src.data(), dst.data());
    EXPECT_EQ(0, std::memcmp(copy.data(), src.data(), src.size() * sizeof(Px)))
        << "the source row was written";
  } else {
    dst = src;
    err = fn(int32_t(dst.size()), placement == Placement::NullSource ? nullptr : dst.data(),
             dst.data());
  }
  EXPECT_EQ(err, RX_Result_OK);
  return dst;
}

const char* placement_name(Placement p) {
  switch (p) {
    case Placement::Separate: return "separate rows";
    case Placement::NullSource: return "null source";
    case Placement::SameRow: return "source equal to destination";
  }
  return "";
}

// Collects differences from the expected values: counts them, remembers
// the largest, and describes the first few.
struct Mismatches {
  int64_t count = 0;
  double largest = 0;
  std::ostringstream first;
  void add(const std::string& what, double expected, double actual) {
    const double d = std::fabs(expected - actual);
    if (d > largest || std::isnan(d)) largest = std::isnan(d) ? INFINITY : d;
    if (count++ < 8) first << "  " << what << ": expected " << expected << ", got " << actual << "\n";
  }
};

// ---- 8 bits: every (alpha, value) pair ----

// 65536 pixels: alpha i >> 8, and each colour channel a different value so
// that each channel meets all 256 values under every alpha.
std::vector<RX_Pixel8> every_pair8() {
  std::vector<RX_Pixel8> px(65536);
  for (uint32_t i = 0; i < 65536; ++i) {
    const uint32_t c = i & 255;
    px[i] = {uint8_t(i >> 8), uint8_t(c), uint8_t((c + 85) & 255), uint8_t((c + 170) & 255)};
  }
  return px;
}

// Compares each channel with the rule; unmultiply forms of the processor
// may differ by up to `tolerance`.
void check8(int slot, const std::vector<RX_Pixel8>& src, const std::vector<RX_Pixel8>& out,
            uint32_t tolerance) {
  Mismatches bad;
  int64_t alpha_changed = 0;
  for (size_t i = 0; i < src.size(); ++i) {
    const uint32_t a = src[i].alpha;
    if (out[i].alpha != a) ++alpha_changed;
    const uint8_t in[3] = {src[i].red, src[i].green, src[i].blue};
    const uint8_t got[3] = {out[i].red, out[i].green, out[i].blue};
    for (int ch = 0; ch < 3; ++ch) {
      const uint32_t want = ref8(slot, a, in[ch]);
      const uint32_t d = want > got[ch] ? want - got[ch] : got[ch] - want;
      if (d > tolerance) {
        bad.add("a=" + std::to_string(a) + " c=" + std::to_string(in[ch]), want, got[ch]);
      }
    }
  }
  EXPECT_EQ(alpha_changed, 0) << "alpha must be copied unchanged";
  EXPECT_EQ(bad.count, 0) << bad.first.str();
}

class PremultiplyScan8 : public rxtest::BornPackage {};

TEST_F(PremultiplyScan8, DivideTableRowZeroIsAllWhite) {
  for (uint32_t v = 0; v < 256; ++v) EXPECT_EQ(divide(0, v), 255u) << "v=" << v;
}

TEST_F(PremultiplyScan8, DivideTableIsRoundedDivisionCappedAtWhite) {
  int bad = 0;
  for (uint32_t a = 1; a < 256; ++a) {
    for (uint32_t v = 0; v < 256; ++v) {
      uint32_t want = (2 * v * 255 + a) / (2 * a);
      if (want > 255) want = 255;
      if (divide(a, v) != want && bad++ < 8) {
        ADD_FAILURE() << "a=" << a << " v=" << v << ": " << divide(a, v) << " != " << want;
      }
    }
  }
  EXPECT_EQ(bad, 0);
}

TEST_F(PremultiplyScan8, EveryPairOfEverySlotFollowsItsRuleInBothForms) {
  const auto src = every_pair8();
  for (int slot = 35; slot <= 40; ++slot) {
    for (int vector = 0; vector <= 1; ++vector) {
      const Scan8 fn = form<Scan8>(slot, vector);
      ASSERT_NE(fn, nullptr) << "slot " << slot << " form " << vector;
      // The processor's unmultiply goes through a reciprocal approximation
      // and may be one step off (it is, for some pairs, on each of slots 36,
      // 38 and 40); everything else is exact.
      const uint32_t tolerance = vector == 1 && is_unmultiply(slot) ? 1 : 0;
      for (Placement p : kPlacements) {
        SCOPED_TRACE(::testing::Message() << "slot " << slot << ", form " << vector << ", "
                                          << placement_name(p));
        check8(slot, src, run(fn, src, p), tolerance);
      }
    }
  }
}

TEST_F(PremultiplyScan8, HalfAlphaOnWhiteGivesHalf) {
  for (int vector = 0; vector <= 1; ++vector) {
    std::vector<RX_Pixel8> px = {{128, 255, 255, 255}};
    form<Scan8>(35, vector)(1, nullptr, px.data());
    EXPECT_EQ(px[0].red, 128);
    EXPECT_EQ(px[0].green, 128);
    EXPECT_EQ(px[0].blue, 128);
    EXPECT_EQ(px[0].alpha, 128);
  }
}

TEST_F(PremultiplyScan8, OpaqueAlphaIsTheIdentityForEveryMatte) {
  std::vector<RX_Pixel8> src(256);
  for (uint32_t c = 0; c < 256; ++c) src[c] = {255, uint8_t(c), uint8_t(255 - c), uint8_t(c ^ 0x55)};
  for (int slot : {35, 37, 39}) {
    for (int vector = 0; vector <= 1; ++vector) {
      const auto out = run(form<Scan8>(slot, vector), src, Placement::Separate);
      EXPECT_EQ(0, std::memcmp(out.data(), src.data(), src.size() * 4))
          << "slot " << slot << " form " << vector;
    }
  }
}

TEST_F(PremultiplyScan8, UnmultiplyOfTransparentPixelsReadsRowZeroOfTheTable) {
  std::vector<RX_Pixel8> src(256);
  for (uint32_t c = 0; c < 256; ++c) src[c] = {0, uint8_t(c), uint8_t(255 - c), uint8_t(c ^ 0x55)};
  const auto out = run(form<Scan8>(36, 0), src, Placement::Separate);
  for (uint32_t c = 0; c < 256; ++c) {
    EXPECT_EQ(out[c].red, divide(0, c));
    EXPECT_EQ(out[c].red, 255);  // so transparent black unmultiplies to white
    EXPECT_EQ(out[c].alpha, 0);
  }
}

TEST_F(PremultiplyScan8, CountBelowOneTouchesNothing) {
  for (int slot = 35; slot <= 40; ++slot) {
    for (int vector = 0; vector <= 1; ++vector) {
      RX_Pixel8 src[2] = {{100, 200, 50, 7}, {3, 4, 5, 6}};
      RX_Pixel8 dst[2] = {{9, 9, 9, 9}, {9, 9, 9, 9}};
      const Scan8 fn = form<Scan8>(slot, vector);
      EXPECT_EQ(fn(0, src, dst), RX_Result_OK);
      EXPECT_EQ(fn(-3, src, dst), RX_Result_OK);
      EXPECT_EQ(fn(0, nullptr, src), RX_Result_OK);
      EXPECT_EQ(dst[0].red, 9);
      EXPECT_EQ(dst[1].alpha, 9);
      EXPECT_EQ(src[0].red, 200);
    }
  }
}

// ---- 8-bit alpha combine ----

// The colour channels of the mask rows are never read: the same mask
// alphas under three kinds of colour junk (the usual varied junk, all
// channels cleared, all channels at an extreme) give byte-equal results,
// in both forms, with and without the second mask, over a line long
// enough to reach the vector bodies and their tails.
template <class Px, class Fn>
void check_mask_colours_unread(int slot, const std::vector<decltype(Px{}.alpha)>& values,
                               const std::vector<decltype(Px{}.alpha)>& opacities,
                               decltype(Px{}.alpha) extreme) {
  using Cv = decltype(Px{}.alpha);
  const size_t n = values.size() * 3 + 5;
  std::vector<Cv> mask(n), mask2(n);
  std::vector<Px> start(n);
  for (size_t i = 0; i < n; ++i) {
    mask[i] = values[i % values.size()];
    mask2[i] = values[(i * 7 + 3) % values.size()];
    start[i] = {values[(i / values.size() + i * 5) % values.size()], Cv(i % 11), Cv(i % 13), Cv(1)};
  }
  std::vector<std::vector<Px>> masks(3, rxtest::mask_pixels<Px>(mask));
  std::vector<std::vector<Px>> masks2(3, rxtest::mask_pixels<Px>(mask2));
  for (size_t k = 1; k < 3; ++k) {
    const Cv fill = k == 1 ? Cv(0) : extreme;
    for (size_t i = 0; i < n; ++i) {
      masks[k][i] = {mask[i], fill, fill, fill};
      masks2[k][i] = {mask2[i], fill, fill, fill};
    }
  }
  const auto masks_before = masks, masks2_before = masks2;
  for (int vector = 0; vector <= 1; ++vector) {
    const Fn fn = form<Fn>(slot, vector);
    ASSERT_NE(fn, nullptr);
    for (Cv opacity : opacities) {
      for (bool with_mask2 : {false, true}) {
        std::vector<std::vector<Px>> out(3, start);
        for (size_t k = 0; k < 3; ++k) {
          EXPECT_EQ(fn(int32_t(n), masks[k].data(), opacity, with_mask2 ? masks2[k].data() : nullptr,
                       out[k].data()),
                    RX_Result_OK);
        }
        for (size_t k = 1; k < 3; ++k) {
          EXPECT_EQ(0, std::memcmp(out[0].data(), out[k].data(), n * sizeof(Px)))
              << "form " << vector << ", opacity " << double(opacity)
              << (with_mask2 ? ", second mask" : "") << ": junk " << k
              << " in the mask colours changed the result";
        }
      }
    }
  }
  for (size_t k = 0; k < 3; ++k) {
    EXPECT_EQ(0, std::memcmp(masks[k].data(), masks_before[k].data(), n * sizeof(Px)));
    EXPECT_EQ(0, std::memcmp(masks2[k].data(), masks2_before[k].data(), n * sizeof(Px)));
  }
}

using Combine8 = RX_AlphaCombineScan8;

uint32_t combine8(uint32_t mask, uint32_t opacity, const uint8_t* mask2, uint32_t d) {
  uint32_t b = opacity == 255 ? mask : m255(mask * opacity);
  if (mask2) b = m255(b * *mask2);
  return 255 - m255((255 - b) * (255 - d));
}

void check_combine8(Combine8 fn, uint32_t opacity, bool with_mask2) {
  // Pixel i: mask i >> 8, destination alpha i & 255; the second mask walks
  // through all values in a pattern unrelated to both.
  std::vector<uint8_t> mask(65536), mask2(65536);
  std::vector<RX_Pixel8> dst(65536);
  for (uint32_t i = 0; i < 65536; ++i) {
    mask[i] = uint8_t(i >> 8);
    mask2[i] = uint8_t((i * 151 + (i >> 8) * 29 + 7) & 255);
    dst[i] = {uint8_t(i & 255), uint8_t(i * 3), uint8_t(i >> 3), uint8_t(i * 7 + 1)};
  }
  const auto before = dst;
  const auto mask_copy = mask;
  const auto mask_px = mask_pixels<RX_Pixel8>(mask), mask2_px = mask_pixels<RX_Pixel8>(mask2);
  EXPECT_EQ(fn(65536, mask_px.data(), uint8_t(opacity), with_mask2 ? mask2_px.data() : nullptr,
               dst.data()),
            RX_Result_OK);
  EXPECT_EQ(mask, mask_copy);
  Mismatches bad;
  int64_t colour_changed = 0;
  for (uint32_t i = 0; i < 65536; ++i) {
    const uint32_t want = opacity == 0 ? before[i].alpha
                                       : combine8(mask[i], opacity,
                                                  with_mask2 ? &mask2[i] : nullptr, before[i].alpha);
    if (dst[i].alpha != want) {
      bad.add("mask=" + std::to_string(mask[i]) + " d=" + std::to_string(before[i].alpha) +
                  " mask2=" + std::to_string(mask2[i]),
              want, dst[i].alpha);
    }
    if (dst[i].red != before[i].red || dst[i].green != before[i].green ||
        dst[i].blue != before[i].blue) {
      ++colour_changed;
    }
  }
  EXPECT_EQ(colour_changed, 0) << "only alpha may change";
  EXPECT_EQ(bad.count, 0) << bad.first.str();
}

TEST_F(PremultiplyScan8, AlphaCombineIsTheUnionWithMaskTimesOpacityInBothForms) {
  for (int vector = 0; vector <= 1; ++vector) {
    const Combine8 fn = form<Combine8>(41, vector);
    ASSERT_NE(fn, nullptr);
    for (uint32_t opacity : {0u, 1u, 64u, 127u, 128u, 200u, 254u, 255u}) {
      for (bool with_mask2 : {false, true}) {
        SCOPED_TRACE(::testing::Message() << "form " << vector << ", opacity " << opacity
                                          << (with_mask2 ? ", second mask" : ""));
        check_combine8(fn, opacity, with_mask2);
      }
    }
  }
}

TEST_F(PremultiplyScan8, AlphaCombineWithEverySecondMaskValue) {
  // All (mask, mask2) pairs over a fixed destination alpha.
  for (int vector = 0; vector <= 1; ++vector) {
    for (uint32_t d : {0u, 100u}) {
      for (uint32_t opacity : {255u, 77u}) {
        std::vector<uint8_t> mask(65536), mask2(65536);
        std::vector<RX_Pixel8> dst(65536, RX_Pixel8{uint8_t(d), 1, 2, 3});
        for (uint32_t i = 0; i < 65536; ++i) {
          mask[i] = uint8_t(i >> 8);
          mask2[i] = uint8_t(i);
        }
        form<Combine8>(41, vector)(65536, mask_pixels<RX_Pixel8>(mask).data(), uint8_t(opacity),
                                   mask_pixels<RX_Pixel8>(mask2).data(), dst.data());
        int bad = 0;
        for (uint32_t i = 0; i < 65536; ++i) {
          const uint32_t want = combine8(mask[i], opacity, &mask2[i], d);
          if (dst[i].alpha != want && bad++ < 5) {
            ADD_FAILURE() << "form " << vector << " opacity " << opacity << " d " << d
                          << " mask " << int(mask[i]) << " mask2 " << int(mask2[i]) << ": "
                          << int(dst[i].alpha) << " != " << want;
          }
        }
        EXPECT_EQ(bad, 0);
      }
    }
  }
}

TEST_F(PremultiplyScan8, AlphaCombineReadsOnlyTheAlphaOfTheMaskRows) {
  std::vector<uint8_t> values(256);
  for (uint32_t v = 0; v < 256; ++v) values[v] = uint8_t(v);
  check_mask_colours_unread<RX_Pixel8, Combine8>(41, values, {0, 1, 77, 128, 254, 255}, 255);
}

TEST_F(PremultiplyScan8, AlphaCombineCountBelowOneTouchesNothing) {
  for (int vector = 0; vector <= 1; ++vector) {
    RX_Pixel8 mask[1] = {{200, 1, 2, 3}};
    RX_Pixel8 dst[1] = {{10, 1, 2, 3}};
    EXPECT_EQ(form<Combine8>(41, vector)(0, mask, 255, nullptr, dst), RX_Result_OK);
    EXPECT_EQ(form<Combine8>(41, vector)(-1, mask, 255, nullptr, dst), RX_Result_OK);
    EXPECT_EQ(dst[0].alpha, 10);
  }
}

// ---- 16 bits: a dense sample ----

// Every `step`th value of 0..32768, and the values where the rules turn.
std::vector<uint32_t> dense16(uint32_t step = 7) {
  std::vector<uint32_t> v;
  for (uint32_t x = 0; x <= 32768; x += step) v.push_back(x);
  for (uint32_t x : {1u, 16383u, 16384u, 16385u, 32767u, 32768u}) v.push_back(x);
  return v;
}

// Per alpha, one row whose three colour channels share out the sample.
std::vector<RX_Pixel16> row16(uint32_t a, const std::vector<uint32_t>& values) {
  const size_t n = values.size();
  const size_t len = (n + 2) / 3;
  std::vector<RX_Pixel16> row(len);
  for (size_t i = 0; i < len; ++i) {
    row[i] = {uint16_t(a), uint16_t(values[i]), uint16_t(values[std::min(i + len, n - 1)]),
              uint16_t(values[std::min(i + 2 * len, n - 1)])};
  }
  return row;
}

template <int slot>
void check16_slot(const std::vector<RX_Pixel16>& src, const std::vector<RX_Pixel16>& out,
                  uint32_t tolerance, Mismatches& bad) {
  for (size_t i = 0; i < src.size(); ++i) {
    const uint32_t a = src[i].alpha;
    if (out[i].alpha != a) bad.add("alpha " + std::to_string(a), a, out[i].alpha);
    const uint16_t in[3] = {src[i].red, src[i].green, src[i].blue};
    const uint16_t got[3] = {out[i].red, out[i].green, out[i].blue};
    for (int ch = 0; ch < 3; ++ch) {
      const uint32_t want = ref16(slot, a, in[ch]);
      const uint32_t d = want > got[ch] ? want - got[ch] : got[ch] - want;
      if (d > tolerance) {
        bad.add("a=" + std::to_string(a) + " c=" + std::to_string(in[ch]), want, got[ch]);
      }
    }
  }
}

void check16(int slot, const std::vector<RX_Pixel16>& src, const std::vector<RX_Pixel16>& out,
             uint32_t tolerance, Mismatches& bad) {
  switch (slot) {
    case 72: return check16_slot<72>(src, out, tolerance, bad);
    case 73: return check16_slot<73>(src, out, tolerance, bad);
    case 74: return check16_slot<74>(src, out, tolerance, bad);
    case 75: return check16_slot<75>(src, out, tolerance, bad);
    case 76: return check16_slot<76>(src, out, tolerance, bad);
    case 77: return check16_slot<77>(src, out, tolerance, bad);
  }
  std::abort();
}

// Largest difference of the processor's 16-bit unmultiply from the rule
// over the dense sample, measured: 1 for each of slots 73, 75 and 77.
constexpr uint32_t kUnmultiply16Tolerance = 1;

class PremultiplyScan16 : public rxtest::BornPackage {};

TEST_F(PremultiplyScan16, DenseSampleOfEverySlotFollowsItsRuleInBothForms) {
  // Values: every 7th and the edges. Alphas: every 14th and the edges for
  // the plain forms, every 42nd and the edges for the processor forms,
  // which the variant tests hold against the plain forms over every 7th
  // alpha too.
  const auto values = dense16();
  const auto alphas_plain = dense16(14);
  const auto alphas_processor = dense16(42);
  for (int slot = 72; slot <= 77; ++slot) {
    for (int vector = 0; vector <= 1; ++vector) {
      const Scan16 fn = form<Scan16>(slot, vector);
      if (slot == 72 && vector == 1) {
        EXPECT_EQ(fn, nullptr) << "the 16-bit black premultiply has no processor form";
        continue;
      }
      ASSERT_NE(fn, nullptr) << "slot " << slot << " form " << vector;
      const uint32_t tolerance = vector == 1 && is_unmultiply(slot) ? kUnmultiply16Tolerance : 0;
      // Placements alternate over the alphas, so that each is met often.
      Mismatches bad;
      size_t k = 0;
      for (uint32_t a : vector ? alphas_processor : alphas_plain) {
        const auto src = row16(a, values);
        check16(slot, src, run(fn, src, kPlacements[k++ % 3]), tolerance, bad);
      }
      EXPECT_EQ(bad.count, 0) << "slot " << slot << " form " << vector << "\n" << bad.first.str();
    }
  }
}

TEST_F(PremultiplyScan16, FullOnFullGivesFull) {
  RX_Pixel16 px[1] = {{32768, 32768, 32768, 0}};
  form<Scan16>(72, 0)(1, nullptr, px);
  EXPECT_EQ(px[0].red, 32768);
  EXPECT_EQ(px[0].green, 32768);
  EXPECT_EQ(px[0].blue, 0);
  EXPECT_EQ(px[0].alpha, 32768);
}

TEST_F(PremultiplyScan16, PremultiplyRoundsWith16383) {
  // 16384 * 3 = 49152: with 16383 added the shift gives 1; adding 16384
  // would reach 65536 and give 2.
  for (int slot : {72, 74, 76}) {
    for (int vector = 0; vector <= 1; ++vector) {
      const Scan16 fn = form<Scan16>(slot, vector);
      if (!fn) continue;
      RX_Pixel16 px[1] = {{3, 16384, 32768 - 16384, 16384 + 16384}};
      fn(1, nullptr, px);
      SCOPED_TRACE(::testing::Message() << "slot " << slot << " form " << vector);
      if (slot == 72) {
        EXPECT_EQ(px[0].red, 1);  // not 2
      } else if (slot == 74) {
        EXPECT_EQ(px[0].green, 32768 - 1);  // 32768 - c = 16384
      } else {
        EXPECT_EQ(px[0].blue, 16384 + 1);  // c - 16384 = 16384
      }
    }
  }
  EXPECT_EQ((16384u * 3 + 16383) >> 15, 1u);
  EXPECT_EQ((16384u * 3 + 16384) >> 15, 2u);
}

TEST_F(PremultiplyScan16, OpaqueAlphaIsTheIdentityForEveryMatte) {
  std::vector<RX_Pixel16> src;
  for (uint32_t c = 0; c <= 32768; c += 13) {
    src.push_back({32768, uint16_t(c), uint16_t(32768 - c), uint16_t((c * 5) % 32769)});
  }
  for (int slot : {72, 74, 76}) {
    for (int vector = 0; vector <= 1; ++vector) {
      const Scan16 fn = form<Scan16>(slot, vector);
      if (!fn) continue;
      const auto out = run(fn, src, Placement::Separate);
      EXPECT_EQ(0, std::memcmp(out.data(), src.data(), src.size() * 8))
          << "slot " << slot << " form " << vector;
    }
  }
}

TEST_F(PremultiplyScan16, UnmultiplyOfTransparentBlackGivesWhite) {
  for (int vector = 0; vector <= 1; ++vector) {
    RX_Pixel16 px[1] = {{0, 0, 0, 0}};
    form<Scan16>(73, vector)(1, nullptr, px);
    EXPECT_EQ(px[0].red, 32768);
    EXPECT_EQ(px[0].green, 32768);
    EXPECT_EQ(px[0].blue, 32768);
    EXPECT_EQ(px[0].alpha, 0);
  }
}

TEST_F(PremultiplyScan16, CountBelowOneTouchesNothing) {
  for (int slot = 72; slot <= 77; ++slot) {
    for (int vector = 0; vector <= 1; ++vector) {
      const Scan16 fn = form<Scan16>(slot, vector);
      if (!fn) continue;
      RX_Pixel16 src[1] = {{100, 200, 50, 7}};
      RX_Pixel16 dst[1] = {{9, 9, 9, 9}};
      EXPECT_EQ(fn(0, src, dst), RX_Result_OK);
      EXPECT_EQ(fn(-7, src, dst), RX_Result_OK);
      EXPECT_EQ(dst[0].red, 9);
    }
  }
}

using Combine16 = RX_AlphaCombineScan16;

uint32_t combine16(uint32_t mask, uint32_t opacity, const uint16_t* mask2, uint32_t d) {
  uint32_t b = opacity == 32768 ? mask : mul16(mask, opacity);
  if (mask2) b = mul16(b, *mask2);
  return 32768 - mul16(32768 - b, 32768 - d);
}

TEST_F(PremultiplyScan16, AlphaCombineIsTheUnionWithMaskTimesOpacityInBothForms) {
  // Masks and destination alphas over every 97th value and the edges.
  std::vector<uint32_t> values;
  for (uint32_t x = 0; x <= 32768; x += 97) values.push_back(x);
  for (uint32_t x : {1u, 16383u, 16384u, 16385u, 32767u, 32768u}) values.push_back(x);
  const size_t n = values.size();
  std::vector<uint16_t> mask(n * n), mask2(n * n);
  std::vector<RX_Pixel16> start(n * n);
  for (size_t i = 0; i < n * n; ++i) {
    mask[i] = uint16_t(values[i / n]);
    mask2[i] = uint16_t(values[(i * 31 + 5) % n]);
    start[i] = {uint16_t(values[i % n]), uint16_t(i), uint16_t(i * 3), uint16_t(i >> 2)};
  }
  for (int vector = 0; vector <= 1; ++vector) {
    const Combine16 fn = form<Combine16>(78, vector);
    ASSERT_NE(fn, nullptr);
    for (uint32_t opacity : {0u, 1u, 5000u, 16384u, 32767u, 32768u}) {
      for (bool with_mask2 : {false, true}) {
        auto dst = start;
        EXPECT_EQ(fn(int32_t(dst.size()), mask_pixels<RX_Pixel16>(mask).data(), uint16_t(opacity),
                     with_mask2 ? mask_pixels<RX_Pixel16>(mask2).data() : nullptr, dst.data()),
                  RX_Result_OK);
        Mismatches bad;
        for (size_t i = 0; i < dst.size(); ++i) {
          const uint32_t want =
              opacity == 0 ? start[i].alpha
                           : combine16(mask[i], opacity, with_mask2 ? &mask2[i] : nullptr,
                                       start[i].alpha);
          if (dst[i].alpha != want) {
            bad.add("mask=" + std::to_string(mask[i]) + " d=" + std::to_string(start[i].alpha),
                    want, dst[i].alpha);
          }
          if (dst[i].red != start[i].red || dst[i].green != start[i].green ||
              dst[i].blue != start[i].blue) {
            bad.add("colour of pixel " + std::to_string(i), 0, 1);
          }
        }
        EXPECT_EQ(bad.count, 0) << "form " << vector << " opacity " << opacity
                                << (with_mask2 ? " second mask" : "") << "\n"
                                << bad.first.str();
      }
    }
  }
}

TEST_F(PremultiplyScan16, AlphaCombineReadsOnlyTheAlphaOfTheMaskRows) {
  std::vector<uint16_t> values;
  for (uint32_t x = 0; x <= 32768; x += 131) values.push_back(uint16_t(x));
  for (uint32_t x : {1u, 16383u, 16384u, 16385u, 32767u, 32768u}) values.push_back(uint16_t(x));
  // 65535 lies outside the range: a scan reading a colour word would show it.
  check_mask_colours_unread<RX_Pixel16, Combine16>(78, values, {0, 1, 5000, 16384, 32767, 32768},
                                                   65535);
}

// ---- float: a spread ----

std::vector<float> spread() {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  const float tiny = std::numeric_limits<float>::denorm_min();
  return {0.0f,      -0.0f,     1.0f,     0.5f,       0.25f,      0.75f,       1.0f / 3.0f,
          2.0f / 3.0f, 0.1f,    0.9f,     0.001f,     0.999f,     0.49999997f, 0.50000006f,
          1.5f,      2.0f,      10.0f,    -0.5f,      -1.0f,      -2.0f,       1e-30f,
          std::numeric_limits<float>::min(), 1e-40f,  tiny,      -1e-40f,     nan,
          inf,       -inf,      3e38f,    128.0f / 255.0f, 0.3f,  0.7f,        1.0000001f,
          0.99999994f};
}

// All (alpha, value) pairs of the spread, the value in each channel with
// two companions so that channels differ.
std::vector<RX_PixelFloat> every_pair_float() {
  const auto s = spread();
  const size_t n = s.size();
  std::vector<RX_PixelFloat> px;
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < n; ++j) px.push_back({s[i], s[j], s[(j + 1) % n], s[(j + 7) % n]});
  }
  return px;
}

void checkf(int slot, const std::vector<RX_PixelFloat>& src,
            const std::vector<RX_PixelFloat>& out, float tolerance, Mismatches& bad) {
  for (size_t i = 0; i < src.size(); ++i) {
    const float a = src[i].alpha;
    if (!same_float(out[i].alpha, a) || std::signbit(out[i].alpha) != std::signbit(a)) {
      bad.add("alpha", a, out[i].alpha);
    }
    const float in[3] = {src[i].red, src[i].green, src[i].blue};
    const float got[3] = {out[i].red, out[i].green, out[i].blue};
    for (int ch = 0; ch < 3; ++ch) {
      const float want = reff(slot, a, in[ch]);
      bool ok = same_float(want, got[ch]);
      if (!ok && tolerance > 0 && std::isfinite(want) && std::isfinite(got[ch])) {
        ok = std::fabs(want - got[ch]) <= tolerance * std::max(1.0f, std::fabs(want));
      }
      if (!ok) {
        std::ostringstream what;
        what.precision(9);
        what << "a=" << a << " c=" << in[ch];
        bad.add(what.str(), want, got[ch]);
      }
    }
  }
}

// Largest difference, relative to the value where that is above 1, of the
// processor's float unmultiply from the rule over the spread, measured: 0
// for slots 107 and 109.
constexpr float kUnmultiplyFloatTolerance = 0.0f;

class PremultiplyScanFloat : public rxtest::BornPackage {};

TEST_F(PremultiplyScanFloat, SpreadOfEverySlotFollowsItsRuleInBothForms) {
  const auto src = every_pair_float();
  for (int slot = 106; slot <= 111; ++slot) {
    for (int vector = 0; vector <= 1; ++vector) {
      const ScanF fn = form<ScanF>(slot, vector);
      if (slot == 111 && vector == 1) {
        EXPECT_EQ(fn, nullptr) << "the float grey unmultiply has no processor form";
        continue;
      }
      ASSERT_NE(fn, nullptr) << "slot " << slot << " form " << vector;
      const float tolerance = vector == 1 && is_unmultiply(slot) ? kUnmultiplyFloatTolerance : 0;
      for (Placement p : kPlacements) {
        Mismatches bad;
        checkf(slot, src, run(fn, src, p), tolerance, bad);
        EXPECT_EQ(bad.count, 0) << "slot " << slot << " form " << vector << ", "
                                << placement_name(p) << "\n"
                                << bad.first.str();
      }
    }
  }
}

TEST_F(PremultiplyScanFloat, UnmultiplyOfTransparentOrUndividableAlphaGivesWhite) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (int vector = 0; vector <= 1; ++vector) {
    for (float a : {0.0f, -0.0f, nan, 1e-40f, std::numeric_limits<float>::denorm_min()}) {
      RX_PixelFloat px[1] = {{a, 0.0f, 0.25f, 3.0f}};
      form<ScanF>(107, vector)(1, nullptr, px);
      EXPECT_EQ(px[0].red, 1.0f) << "a=" << a;
      EXPECT_EQ(px[0].green, 1.0f) << "a=" << a;
      EXPECT_EQ(px[0].blue, 1.0f) << "a=" << a;
    }
  }
}

TEST_F(PremultiplyScanFloat, GreyUnmultiplyOfUndividableAlphaSplitsAtHalf) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (float a : {0.0f, nan, 1e-40f}) {
    RX_PixelFloat px[2] = {{a, 0.0f, 0.49999997f, -3.0f}, {a, 0.5f, 0.75f, 7.0f}};
    form<ScanF>(111, 0)(2, nullptr, px);
    EXPECT_EQ(px[0].red, 0.0f);
    EXPECT_EQ(px[0].green, 0.0f);
    EXPECT_EQ(px[0].blue, 0.0f);
    EXPECT_EQ(px[1].red, 1.0f);
    EXPECT_EQ(px[1].green, 1.0f);
    EXPECT_EQ(px[1].blue, 1.0f);
  }
}

TEST_F(PremultiplyScanFloat, OpaqueAlphaIsTheIdentityForEveryMatte) {
  // Against black for any finite value; against white and grey for values
  // on a grid of 1/256 in 0..1, where 1 - (1 - c) and (c - 0.5) + 0.5 are
  // exact.
  const auto s = spread();
  std::vector<RX_PixelFloat> any, grid;
  for (float c : s) {
    if (std::isfinite(c)) any.push_back({1.0f, c, -c, c * 0.5f});
  }
  for (int k = 0; k <= 256; ++k) {
    const float c = float(k) / 256.0f;
    grid.push_back({1.0f, c, 1.0f - c, float((k * 7) % 257) / 256.0f});
  }
  for (int slot : {106, 108, 110}) {
    const auto& src = slot == 106 ? any : grid;
    for (int vector = 0; vector <= 1; ++vector) {
      const auto out = run(form<ScanF>(slot, vector), src, Placement::Separate);
      for (size_t i = 0; i < src.size(); ++i) {
        EXPECT_EQ(out[i].red, src[i].red) << "slot " << slot << " form " << vector;
        EXPECT_EQ(out[i].green, src[i].green) << "slot " << slot << " form " << vector;
        EXPECT_EQ(out[i].blue, src[i].blue) << "slot " << slot << " form " << vector;
      }
    }
  }
}

using CombineF = RX_AlphaCombineScanFloat;

TEST_F(PremultiplyScanFloat, AlphaCombineIsTheUnionWithMaskTimesOpacityInBothForms) {
  const auto s = spread();
  const size_t n = s.size();
  std::vector<float> mask(n * n), mask2(n * n);
  std::vector<RX_PixelFloat> start(n * n);
  for (size_t i = 0; i < n * n; ++i) {
    mask[i] = s[i / n];
    mask2[i] = s[(i * 5 + 3) % n];
    start[i] = {s[i % n], float(i), -float(i), 0.5f};
  }
  for (int vector = 0; vector <= 1; ++vector) {
    const CombineF fn = form<CombineF>(112, vector);
    ASSERT_NE(fn, nullptr);
    for (float opacity : {0.0f, 1.0f, 0.5f, 0.3f, 2.0f}) {
      for (bool with_mask2 : {false, true}) {
        auto dst = start;
        const auto mask_px = mask_pixels<RX_PixelFloat>(mask), mask2_px = mask_pixels<RX_PixelFloat>(mask2);
        EXPECT_EQ(fn(int32_t(dst.size()), mask_px.data(), opacity,
                     with_mask2 ? mask2_px.data() : nullptr, dst.data()),
                  RX_Result_OK);
        Mismatches bad;
        for (size_t i = 0; i < dst.size(); ++i) {
          float want = start[i].alpha;
          if (opacity != 0.0f) {
            float b = mask[i] * opacity;
            if (with_mask2) b = b * mask2[i];
            want = 1.0f - (1.0f - b) * (1.0f - start[i].alpha);
          }
          if (!same_float(dst[i].alpha, want)) {
            std::ostringstream what;
            what.precision(9);
            what << "mask=" << mask[i] << " d=" << start[i].alpha;
            bad.add(what.str(), want, dst[i].alpha);
          }
          if (dst[i].red != start[i].red || dst[i].green != start[i].green ||
              dst[i].blue != start[i].blue) {
            bad.add("colour of pixel " + std::to_string(i), 0, 1);
          }
        }
        EXPECT_EQ(bad.count, 0) << "form " << vector << " opacity " << opacity
                                << (with_mask2 ? " second mask" : "") << "\n"
                                << bad.first.str();
      }
    }
  }
}

TEST_F(PremultiplyScanFloat, AlphaCombineReadsOnlyTheAlphaOfTheMaskRows) {
  // NaN colours in a mask row would spread into any alpha that read them.
  check_mask_colours_unread<RX_PixelFloat, CombineF>(
      112, spread(), {0.0f, 1.0f, 0.5f, 0.3f, 2.0f}, std::numeric_limits<float>::quiet_NaN());
}

}  // namespace
