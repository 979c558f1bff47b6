// The processor forms of the scans against their plain forms. Birth puts
// the SSSE3 form into a slot when word 6 of the CPU data is set and the
// SSE2 form of an alpha combine when word 2 is, else the plain form.
// Premultiply and alpha combine forms give equal results over the whole
// sample; unmultiply forms, which go through a reciprocal approximation,
// stay within a measured distance of the plain form. Lines of every length
// from 0 to 40 at every misalignment, in place and out of place.
#include <algorithm>
#include <random>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <sstream>
#include <vector>

#include "cpu_words.h"
#include "pixelops/premultiply_scans.h"
#include "rx_test_support.h"
#include "variant_forms.h"

namespace {


const int kScanSlots[] = {35, 36, 37, 38, 39, 40, 41, 72, 73, 74, 75, 76,
                          77, 78, 106, 107, 108, 109, 110, 111, 112};

bool is_alpha_combine(int slot) { return slot == 41 || slot == 78 || slot == 112; }
bool has_processor_form(int slot) { return slot != 72 && slot != 111; }
bool is_unmultiply(int slot) {
  return slot == 36 || slot == 38 || slot == 40 || slot == 73 || slot == 75 || slot == 77 ||
         slot == 107 || slot == 109 || slot == 111;
}

using rxtest::form;

// Births the package with chosen CPU words; the words go back to the
// processor's afterwards.
class ScanVariants : public rxtest::BornDuringTest {
 protected:
  void born(bool sse2, bool ssse3) {
    BornDuringTest::born({{rxtest::kCpuWordSSE2, sse2}, {rxtest::kCpuWordSSSE3, ssse3}});
  }
};

// ---- which form birth installs ----

TEST_F(ScanVariants, EveryScanSlotHasAPlainFormAndTheListedOnesAProcessorForm) {
  born(true, true);
  for (int slot : kScanSlots) {
    EXPECT_NE(form<RX_OverFunc>(slot, 0), nullptr) << "slot " << slot;
    if (has_processor_form(slot)) {
      EXPECT_NE(form<RX_OverFunc>(slot, 1), nullptr) << "slot " << slot;
      EXPECT_NE(form<RX_OverFunc>(slot, 1), form<RX_OverFunc>(slot, 0)) << "slot " << slot;
    } else {
      EXPECT_EQ(form<RX_OverFunc>(slot, 1), nullptr) << "slot " << slot;
    }
  }
}

TEST_F(ScanVariants, SlotsThatAreNotScansHaveNoForms) {
  born(true, true);
  for (int slot : {0, 34, 42, 52, 71, 79, 90, 105, 113}) {
    EXPECT_EQ(form<RX_OverFunc>(slot, 0), nullptr) << "slot " << slot;
    EXPECT_EQ(form<RX_OverFunc>(slot, 1), nullptr) << "slot " << slot;
  }
}

void expect_installed(bool sse2, bool ssse3) {
  for (int slot : kScanSlots) {
    const bool wanted = is_alpha_combine(slot) ? sse2 : ssse3;
    const int vector = wanted && has_processor_form(slot) ? 1 : 0;
    EXPECT_EQ(RXp_G_OverFuncs[slot], form<RX_OverFunc>(slot, vector))
        << "slot " << slot << " with SSE2 " << sse2 << ", SSSE3 " << ssse3
        << ": expected the " << (vector ? "processor" : "plain") << " form";
  }
}

TEST_F(ScanVariants, BirthWithNeitherWordInstallsEveryPlainForm) {
  born(false, false);
  expect_installed(false, false);
}

TEST_F(ScanVariants, BirthWithSSSE3InstallsItsFormsAndLeavesTheAlphaCombinesPlain) {
  born(false, true);
  expect_installed(false, true);
}

TEST_F(ScanVariants, BirthWithSSE2InstallsOnlyTheAlphaCombineForms) {
  born(true, false);
  expect_installed(true, false);
}

TEST_F(ScanVariants, BirthWithBothWordsInstallsEveryProcessorForm) {
  born(true, true);
  expect_installed(true, true);
}

TEST_F(ScanVariants, ARebirthFollowsTheWordsOfItsOwnTime) {
  born(true, true);
  expect_installed(true, true);
  die();
  born(false, false);
  expect_installed(false, false);
}

// ---- the samples ----

std::vector<RX_Pixel8> every_pair8() {
  std::vector<RX_Pixel8> px(65536);
  for (uint32_t i = 0; i < 65536; ++i) {
    const uint32_t c = i & 255;
    px[i] = {uint8_t(i >> 8), uint8_t(c), uint8_t((c + 85) & 255), uint8_t((c + 170) & 255)};
  }
  return px;
}

// Every 7th value of 0..32768 and the edges, for alpha and for value.
std::vector<uint32_t> dense16() {
  std::vector<uint32_t> v;
  for (uint32_t x = 0; x <= 32768; x += 7) v.push_back(x);
  for (uint32_t x : {1u, 16383u, 16384u, 16385u, 32767u, 32768u}) v.push_back(x);
  return v;
}

// A spread of awkward floats, and a grid of ordinary alphas and values
// from -0.25 to 1.25 in steps that are not powers of two.
std::vector<RX_PixelFloat> float_pairs() {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  std::vector<float> s = {0.0f,  -0.0f, 1.0f,  0.5f,   1e-30f, 1e-40f, -1e-40f,
                          std::numeric_limits<float>::denorm_min(),
                          std::numeric_limits<float>::min(), nan, inf, -inf, 3e38f, -2.0f, 10.0f,
                          0.49999997f, 0.50000006f, 0.99999994f, 1.0000001f};
  for (int k = -250; k <= 1250; k += 3) s.push_back(float(k) / 1000.0f);
  const size_t n = s.size();
  std::vector<RX_PixelFloat> px;
  px.reserve(n * n / 3 + n);
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < n; j += 3) {
      px.push_back({s[i], s[j], s[std::min(j + 1, n - 1)], s[std::min(j + 2, n - 1)]});
    }
  }
  return px;
}

template <class Px, class Fn>
std::vector<Px> applied(Fn fn, const std::vector<Px>& src) {
  std::vector<Px> dst(src.size());
  EXPECT_EQ(fn(int32_t(src.size()), src.data(), dst.data()), RX_Result_OK);
  return dst;
}

bool same_float(float x, float y) { return (std::isnan(x) && std::isnan(y)) || x == y; }

// Largest channel difference between two results; a difference of alpha,
// which must be copied, counts as infinite.
double largest_difference(const std::vector<RX_Pixel8>& x, const std::vector<RX_Pixel8>& y) {
  int d = 0;
  for (size_t i = 0; i < x.size(); ++i) {
    if (x[i].alpha != y[i].alpha) return INFINITY;
    d = std::max({d, std::abs(x[i].red - y[i].red), std::abs(x[i].green - y[i].green),
                  std::abs(x[i].blue - y[i].blue)});
  }
  return d;
}
double largest_difference(const std::vector<RX_Pixel16>& x, const std::vector<RX_Pixel16>& y) {
  int d = 0;
  for (size_t i = 0; i < x.size(); ++i) {
    if (x[i].alpha != y[i].alpha) return INFINITY;
    d = std::max({d, std::abs(x[i].red - y[i].red), std::abs(x[i].green - y[i].green),
                  std::abs(x[i].blue - y[i].blue)});
  }
  return d;
}
// For floats: NaN against NaN is no difference, NaN against a number an
// infinite one; finite differences are taken relative to the larger of 1
// and the plain value.
double largest_difference(const std::vector<RX_PixelFloat>& x,
                          const std::vector<RX_PixelFloat>& y) {
  double d = 0;
  auto one = [&](float p, float q) {
    if (same_float(p, q)) return;
    if (std::isnan(p) || std::isnan(q) || std::isinf(p) || std::isinf(q)) {
      d = INFINITY;
      return;
    }
    d = std::max(d, std::fabs(double(p) - double(q)) / std::max(1.0, std::fabs(double(p))));
  };
  for (size_t i = 0; i < x.size(); ++i) {
    if (!same_float(x[i].alpha, y[i].alpha)) return INFINITY;
    one(x[i].red, y[i].red);
    one(x[i].green, y[i].green);
    one(x[i].blue, y[i].blue);
  }
  return d;
}

// Both forms of a 16-bit slot over every (alpha, value) pair of the dense
// sample, one alpha at a time (the three colour channels share out the
// values); the largest difference between them.
double dense16_difference(int slot) {
  const auto v = dense16();
  const size_t n = v.size();
  const size_t len = (n + 2) / 3;
  std::vector<RX_Pixel16> row(len), x(len), y(len);
  const auto plain = form<RX_PremulScan16>(slot, 0);
  const auto fast = form<RX_PremulScan16>(slot, 1);
  double d = 0;
  for (uint32_t a : v) {
    for (size_t i = 0; i < len; ++i) {
      row[i] = {uint16_t(a), uint16_t(v[i]), uint16_t(v[std::min(i + len, n - 1)]),
                uint16_t(v[std::min(i + 2 * len, n - 1)])};
    }
    plain(int32_t(len), row.data(), x.data());
    fast(int32_t(len), row.data(), y.data());
    d = std::max(d, largest_difference(x, y));
  }
  return d;
}

// ---- premultiply forms: equal ----

TEST_F(ScanVariants, PremultiplyFormsEqualThePlainFormsOnEveryPairAt8Bits) {
  born(true, true);
  const auto src = every_pair8();
  for (int slot : {35, 37, 39}) {
    const auto plain = applied(form<RX_PremulScan8>(slot, 0), src);
    const auto fast = applied(form<RX_PremulScan8>(slot, 1), src);
    EXPECT_EQ(largest_difference(plain, fast), 0) << "slot " << slot;
  }
}

TEST_F(ScanVariants, PremultiplyFormsEqualThePlainFormsOnTheDenseSampleAt16Bits) {
  born(true, true);
  for (int slot : {74, 76}) EXPECT_EQ(dense16_difference(slot), 0) << "slot " << slot;
}

// Worlds may hold 16-bit words beyond white: both forms then compute the
// same words, the complement against white wrapping to a 16-bit word.
TEST_F(ScanVariants, SixteenBitWordsBeyondWhitePremultiplyAlikeInBothForms) {
  born(true, true);
  std::mt19937 rng(1616);
  std::vector<RX_Pixel16> src(4096);
  for (auto& p : src) {
    auto word = [&] { return uint16_t(rng() % 3 == 0 ? 32768 + rng() % 32768 : rng() % 32769); };
    p = {uint16_t(rng() % 32769), word(), word(), word()};
  }
  for (int slot : {74, 76}) {
    const auto plain = applied(form<RX_PremulScan16>(slot, 0), src);
    const auto fast = applied(form<RX_PremulScan16>(slot, 1), src);
    EXPECT_EQ(largest_difference(plain, fast), 0) << "slot " << slot;
  }
}

TEST_F(ScanVariants, PremultiplyFormsEqualThePlainFormsOnFloats) {
  born(true, true);
  const auto src = float_pairs();
  for (int slot : {106, 108, 110}) {
    const auto plain = applied(form<RX_PremulScanFloat>(slot, 0), src);
    const auto fast = applied(form<RX_PremulScanFloat>(slot, 1), src);
    EXPECT_EQ(largest_difference(plain, fast), 0) << "slot " << slot;
  }
}

// ---- unmultiply forms: within a measured distance ----

// Largest differences measured over the whole samples on this package:
// 8 bits, every pair: slot 36: 1, slot 38: 1, slot 40: 1.
// 16 bits, dense sample: slot 73: 1, slot 75: 1, slot 77: 1.
// Float, spread and grid (relative to max(1, value)): slot 107: 0,
// slot 109: 0.
constexpr double kMeasured8[3] = {1, 1, 1};
constexpr double kMeasured16[3] = {1, 1, 1};
constexpr double kMeasuredFloat[2] = {0, 0};

TEST_F(ScanVariants, UnmultiplyFormsStayWithinOneOfThePlainFormsAt8Bits) {
  born(true, true);
  const auto src = every_pair8();
  int k = 0;
  for (int slot : {36, 38, 40}) {
    const auto plain = applied(form<RX_PremulScan8>(slot, 0), src);
    const auto fast = applied(form<RX_PremulScan8>(slot, 1), src);
    const double d = largest_difference(plain, fast);
    RecordProperty("largest_difference_slot_" + std::to_string(slot), std::to_string(d));
    EXPECT_LE(d, 1) << "slot " << slot;
    EXPECT_LE(d, kMeasured8[k++]) << "slot " << slot;
  }
}

TEST_F(ScanVariants, UnmultiplyFormsStayWithinTheMeasuredDistanceAt16Bits) {
  born(true, true);
  int k = 0;
  for (int slot : {73, 75, 77}) {
    const double d = dense16_difference(slot);
    RecordProperty("largest_difference_slot_" + std::to_string(slot), std::to_string(d));
    EXPECT_LE(d, kMeasured16[k++]) << "slot " << slot;
  }
}

TEST_F(ScanVariants, UnmultiplyFormsStayWithinTheMeasuredDistanceOnFloats) {
  born(true, true);
  const auto src = float_pairs();
  int k = 0;
  for (int slot : {107, 109}) {
    const auto plain = applied(form<RX_PremulScanFloat>(slot, 0), src);
    const auto fast = applied(form<RX_PremulScanFloat>(slot, 1), src);
    const double d = largest_difference(plain, fast);
    RecordProperty("largest_difference_slot_" + std::to_string(slot), std::to_string(d));
    EXPECT_LE(d, kMeasuredFloat[k++]) << "slot " << slot;
  }
}

// ---- alpha combine forms: equal ----

TEST_F(ScanVariants, AlphaCombineFormsEqualThePlainFormAt8Bits) {
  born(true, true);
  std::vector<uint8_t> mask(65536), mask2(65536);
  std::vector<RX_Pixel8> start(65536);
  for (uint32_t i = 0; i < 65536; ++i) {
    mask[i] = uint8_t(i >> 8);
    mask2[i] = uint8_t((i * 151 + (i >> 8) * 29 + 7) & 255);
    start[i] = {uint8_t(i), uint8_t(i * 3), uint8_t(i >> 3), uint8_t(i * 7)};
  }
  const auto mask_px = rxtest::mask_pixels<RX_Pixel8>(mask), mask2_px = rxtest::mask_pixels<RX_Pixel8>(mask2);
  const auto plain = form<RX_AlphaCombineScan8>(41, 0);
  const auto fast = form<RX_AlphaCombineScan8>(41, 1);
  for (int opacity = 0; opacity < 256; opacity += 3) {  // includes 0 and 255
    for (bool with_mask2 : {false, true}) {
      auto x = start, y = start;
      plain(65536, mask_px.data(), uint8_t(opacity), with_mask2 ? mask2_px.data() : nullptr, x.data());
      fast(65536, mask_px.data(), uint8_t(opacity), with_mask2 ? mask2_px.data() : nullptr, y.data());
      EXPECT_EQ(0, std::memcmp(x.data(), y.data(), x.size() * sizeof(RX_Pixel8)))
          << "opacity " << opacity << (with_mask2 ? " with a second mask" : "");
    }
  }
}

TEST_F(ScanVariants, AlphaCombineFormsEqualThePlainFormAt16Bits) {
  born(true, true);
  std::vector<uint32_t> v;
  for (uint32_t x = 0; x <= 32768; x += 97) v.push_back(x);
  for (uint32_t x : {1u, 16383u, 16384u, 16385u, 32767u, 32768u}) v.push_back(x);
  const size_t n = v.size();
  std::vector<uint16_t> mask(n * n), mask2(n * n);
  std::vector<RX_Pixel16> start(n * n);
  for (size_t i = 0; i < n * n; ++i) {
    mask[i] = uint16_t(v[i / n]);
    mask2[i] = uint16_t(v[(i * 37 + 11) % n]);
    start[i] = {uint16_t(v[i % n]), uint16_t(i), uint16_t(i * 5), uint16_t(i >> 1)};
  }
  const auto mask_px = rxtest::mask_pixels<RX_Pixel16>(mask), mask2_px = rxtest::mask_pixels<RX_Pixel16>(mask2);
  const auto plain = form<RX_AlphaCombineScan16>(78, 0);
  const auto fast = form<RX_AlphaCombineScan16>(78, 1);
  for (uint32_t opacity : {0u, 1u, 2u, 100u, 9999u, 16383u, 16384u, 20000u, 32767u, 32768u}) {
    for (bool with_mask2 : {false, true}) {
      auto x = start, y = start;
      plain(int32_t(x.size()), mask_px.data(), uint16_t(opacity), with_mask2 ? mask2_px.data() : nullptr,
            x.data());
      fast(int32_t(y.size()), mask_px.data(), uint16_t(opacity), with_mask2 ? mask2_px.data() : nullptr,
           y.data());
      EXPECT_EQ(0, std::memcmp(x.data(), y.data(), x.size() * sizeof(RX_Pixel16)))
          << "opacity " << opacity << (with_mask2 ? " with a second mask" : "");
    }
  }
}

TEST_F(ScanVariants, AlphaCombineFormsEqualThePlainFormOnFloats) {
  born(true, true);
  const auto px = float_pairs();
  std::vector<float> mask, mask2;
  std::vector<RX_PixelFloat> start;
  // Every 5th pair is enough to meet each kind of value as mask and as
  // alpha many times.
  for (size_t i = 0; i < px.size(); i += 5) {
    mask.push_back(px[i].red);
    mask2.push_back(px[(i * 7 + 3) % px.size()].blue);
    start.push_back({px[i].alpha, px[i].green, float(i), -1.0f});
  }
  const auto mask_px = rxtest::mask_pixels<RX_PixelFloat>(mask),
             mask2_px = rxtest::mask_pixels<RX_PixelFloat>(mask2);
  const auto plain = form<RX_AlphaCombineScanFloat>(112, 0);
  const auto fast = form<RX_AlphaCombineScanFloat>(112, 1);
  for (float opacity : {0.0f, 1.0f, 0.5f, 0.123f, 1.5f, -0.5f}) {
    for (bool with_mask2 : {false, true}) {
      auto x = start, y = start;
      plain(int32_t(x.size()), mask_px.data(), opacity, with_mask2 ? mask2_px.data() : nullptr,
            x.data());
      fast(int32_t(y.size()), mask_px.data(), opacity, with_mask2 ? mask2_px.data() : nullptr,
           y.data());
      int64_t bad = 0;
      for (size_t i = 0; i < x.size(); ++i) {
        if (!same_float(x[i].alpha, y[i].alpha) || x[i].red != y[i].red ||
            x[i].green != y[i].green || x[i].blue != y[i].blue) {
          if (bad++ < 4) {
            ADD_FAILURE() << "opacity " << opacity << " mask " << mask[i] << " d "
                          << start[i].alpha << ": plain " << x[i].alpha << ", processor "
                          << y[i].alpha;
          }
        }
      }
      EXPECT_EQ(bad, 0) << "opacity " << opacity << (with_mask2 ? " with a second mask" : "");
    }
  }
}

// ---- short lines at every misalignment ----

// Pixels for lines: alphas of 0 and full scale among others, so that runs
// of any kind meet the block boundaries of the processor forms.
template <class Px>
Px line_pixel(uint32_t i, uint32_t seed) {
  uint32_t h = (i + 1) * 2654435761u ^ seed * 40503u;
  h ^= h >> 13;
  h *= 0x5bd1e995u;
  h ^= h >> 15;
  const uint32_t kind = h % 5;
  if constexpr (sizeof(Px) == 4) {
    const uint8_t a = kind == 0 ? 0 : kind == 1 ? 255 : uint8_t(h >> 8);
    return {a, uint8_t(h >> 16), uint8_t(h >> 24), uint8_t(h >> 4)};
  } else if constexpr (sizeof(Px) == 8) {
    const uint16_t a = kind == 0 ? 0 : kind == 1 ? 32768 : uint16_t((h >> 8) % 32769);
    return {a, uint16_t((h >> 3) % 32769), uint16_t((h >> 11) % 32769),
            uint16_t((h * 7) % 32769)};
  } else {
    const float a = kind == 0 ? 0.0f : kind == 1 ? 1.0f : float(h % 1000) / 997.0f;
    return {a, float((h >> 10) % 1200) / 1000.0f - 0.1f, float((h >> 4) % 1000) / 999.0f,
            float(h % 333) / 331.0f};
  }
}

constexpr uint8_t kGuard = 0xA7;

// Runs fn on a line of n pixels whose start lies `offset` bytes past a
// 64-byte boundary; the source sits at another offset. Returns the line
// and checks that no byte around it was written.
template <class Px, class Fn>
std::vector<Px> run_line(Fn fn, const std::vector<Px>& pixels, size_t offset, size_t src_offset,
                         int placement) {
  const size_t n = pixels.size();
  const size_t bytes = n * sizeof(Px);
  alignas(64) static uint8_t dst_buf[64 + 41 * 16 + 128];
  alignas(64) static uint8_t src_buf[64 + 41 * 16 + 128];
  std::memset(dst_buf, kGuard, sizeof dst_buf);
  std::memset(src_buf, kGuard, sizeof src_buf);
  Px* dst = reinterpret_cast<Px*>(dst_buf + offset);
  Px* src = reinterpret_cast<Px*>(src_buf + src_offset);
  if (n) std::memcpy(placement == 0 ? static_cast<void*>(src) : dst, pixels.data(), bytes);
  const Px* source = placement == 0 ? src : placement == 1 ? nullptr : dst;
  EXPECT_EQ(fn(int32_t(n), source, dst), RX_Result_OK);
  std::vector<Px> out(n);
  if (n) std::memcpy(out.data(), dst, bytes);
  int64_t written = -1;
  for (size_t i = 0; i < sizeof dst_buf && written < 0; ++i) {
    if ((i < offset || i >= offset + bytes) && dst_buf[i] != kGuard) written = int64_t(i);
  }
  EXPECT_EQ(written, -1) << "wrote byte " << written - int64_t(offset)
                         << " counted from the line start, " << n << " pixels";
  if (placement == 0) {
    EXPECT_EQ(0, n ? std::memcmp(src, pixels.data(), bytes) : 0) << "the source was written";
  }
  return out;
}

template <class Px, class Fn>
void check_lines(int slot, double tolerance) {
  const Fn plain = form<Fn>(slot, 0);
  const Fn fast = form<Fn>(slot, 1);
  for (size_t n = 0; n <= 40; ++n) {
    std::vector<Px> pixels(n);
    for (size_t i = 0; i < n; ++i) pixels[i] = line_pixel<Px>(uint32_t(i), uint32_t(n * 131 + slot));
    // The plain form on an aligned, separate line gives the expected result.
    std::vector<Px> expected(n);
    if (n) plain(int32_t(n), pixels.data(), expected.data());
    for (size_t offset = 0; offset < 16; offset += alignof(Px)) {
      for (int placement = 0; placement < 3; ++placement) {
        const size_t src_offset = (offset * 3 + 4 * alignof(Px)) % 16;
        for (int vector = 0; vector <= 1; ++vector) {
          const Fn fn = vector ? fast : plain;
          if (!fn) continue;
          const auto out = run_line(fn, pixels, offset, src_offset, placement);
          const double d = largest_difference(expected, out);
          const double allowed = vector ? tolerance : 0;
          EXPECT_LE(d, allowed) << "slot " << slot << ", form " << vector << ", " << n
                                << " pixels at offset " << offset << ", placement " << placement;
          if (d > allowed) return;
        }
      }
    }
  }
}

TEST_F(ScanVariants, LinesOfEveryLengthAndMisalignmentAt8Bits) {
  born(true, true);
  for (int slot = 35; slot <= 40; ++slot) {
    check_lines<RX_Pixel8, RX_PremulScan8>(slot, is_unmultiply(slot) ? kMeasured8[0] : 0);
  }
}

TEST_F(ScanVariants, LinesOfEveryLengthAndMisalignmentAt16Bits) {
  born(true, true);
  for (int slot = 72; slot <= 77; ++slot) {
    check_lines<RX_Pixel16, RX_PremulScan16>(slot, is_unmultiply(slot) ? kMeasured16[0] : 0);
  }
}

TEST_F(ScanVariants, LinesOfEveryLengthAndMisalignmentOnFloats) {
  born(true, true);
  for (int slot = 106; slot <= 111; ++slot) {
    check_lines<RX_PixelFloat, RX_PremulScanFloat>(slot,
                                                   is_unmultiply(slot) ? kMeasuredFloat[0] : 0);
  }
}

// Alpha combine lines: mask rows, second mask rows and pixels each at
// their own misalignment.
template <class Px, class Cv, class Fn>
void check_combine_lines(int slot, const std::vector<Cv>& opacities) {
  const Fn plain = form<Fn>(slot, 0);
  const Fn fast = form<Fn>(slot, 1);
  alignas(64) static uint8_t mask_buf[64 + 41 * 16];
  alignas(64) static uint8_t mask2_buf[64 + 41 * 16];
  alignas(64) static uint8_t dst_buf[64 + 41 * 16 + 64];
  for (size_t n = 0; n <= 40; ++n) {
    std::vector<Px> pixels(n), mask(n), mask2(n);
    for (size_t i = 0; i < n; ++i) {
      pixels[i] = line_pixel<Px>(uint32_t(i), uint32_t(n + slot));
      mask[i] = line_pixel<Px>(uint32_t(i + 100), uint32_t(n * 7 + slot));
      mask2[i] = mask[i];
      mask2[i].alpha = mask[i].red;
    }
    for (Cv opacity : opacities) {
      for (bool with_mask2 : {false, true}) {
        std::vector<Px> expected = pixels;
        if (n) plain(int32_t(n), mask.data(), opacity, with_mask2 ? mask2.data() : nullptr,
                     expected.data());
        for (size_t offset = 0; offset < 16; offset += alignof(Px)) {
          const size_t mask_offset = (offset + 3 * alignof(Cv)) % 16 / alignof(Px) * alignof(Px);
          const size_t mask2_offset = (offset * 5 + alignof(Cv)) % 16 / alignof(Px) * alignof(Px);
          for (int vector = 0; vector <= 1; ++vector) {
            std::memset(dst_buf, kGuard, sizeof dst_buf);
            Px* m = reinterpret_cast<Px*>(mask_buf + mask_offset);
            Px* m2 = reinterpret_cast<Px*>(mask2_buf + mask2_offset);
            Px* d = reinterpret_cast<Px*>(dst_buf + offset);
            if (n) {
              std::memcpy(m, mask.data(), n * sizeof(Px));
              std::memcpy(m2, mask2.data(), n * sizeof(Px));
              std::memcpy(d, pixels.data(), n * sizeof(Px));
            }
            (vector ? fast : plain)(int32_t(n), m, opacity, with_mask2 ? m2 : nullptr, d);
            const bool same = n == 0 || std::memcmp(d, expected.data(), n * sizeof(Px)) == 0;
            bool guard = true;
            for (size_t i = 0; i < sizeof dst_buf; ++i) {
              if (i < offset || i >= offset + n * sizeof(Px)) guard = guard && dst_buf[i] == kGuard;
            }
            EXPECT_TRUE(same && guard)
                << "slot " << slot << ", form " << vector << ", " << n << " pixels at offset "
                << offset << ", opacity " << double(opacity) << (with_mask2 ? ", second mask" : "")
                << (guard ? "" : ": wrote outside the line");
            if (!(same && guard)) return;
          }
        }
      }
    }
  }
}

TEST_F(ScanVariants, AlphaCombineLinesOfEveryLengthAndMisalignment) {
  born(true, true);
  check_combine_lines<RX_Pixel8, uint8_t, RX_AlphaCombineScan8>(41, {0, 1, 128, 254, 255});
  check_combine_lines<RX_Pixel16, uint16_t, RX_AlphaCombineScan16>(78, {0, 1, 16384, 32767, 32768});
  check_combine_lines<RX_PixelFloat, float, RX_AlphaCombineScanFloat>(112,
                                                                      {0.0f, 0.25f, 1.0f});
}

}  // namespace
