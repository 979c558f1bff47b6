// The nine per-pixel transfer tables against a second, plain statement of
// every mode (transfer_reference.h): for each mode 0 to 38, each table and
// each depth, random source and destination pixels from a fixed seed, in
// gamma space (no tables) and in linear light (gamma-2.2 tables). The
// integer depths must agree exactly; float within a few units in the last
// place, since the order of its operations is not everywhere fixed.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>

#include "gamma_tables.h"
#include "rx_test_support.h"
#include "transfer_reference.h"

namespace {

constexpr int kModes = 39;
constexpr int kPairs = 2000;
constexpr int kFailuresShown = 4;

const char* const kFormNames[3] = {"", "Opacity_", "Opacity2_"};

// Picks with the given percentages: zero, half, full, else random.
template <class Cv, class Random>
Cv pick(std::mt19937& gen, int zero, int half, int full, Cv half_value, Cv full_value, Random random) {
  const int p = int(gen() % 100);
  if (p < zero) return Cv(0);
  if (p < zero + half) return half_value;
  if (p < zero + half + full) return full_value;
  return random(gen);
}

template <class Px>
struct Depth;

template <>
struct Depth<RX_Pixel8> {
  using Cv = uint8_t;
  static constexpr const char* kSuffix = "8";
  static constexpr Cv kHalf = 128, kFull = 255;
  static Cv random(std::mt19937& gen) { return Cv(gen() % 256); }
  static void call(int mode, int form, const RX_Pixel8& src, const RX_LinearBlendingTables* t, Cv o1, Cv o2,
                   RX_Pixel8* dst) {
    switch (form) {
      case 0: RXp_G_Xfer1_table8[mode](&src, t, dst); break;
      case 1: RXp_G_Xfer1_Opacity_table8[mode](&src, t, o1, dst); break;
      default: RXp_G_Xfer1_Opacity2_table8[mode](&src, t, o1, o2, dst); break;
    }
  }
  static RX_Pixel8 reference(int mode, int form, const RX_Pixel8& src, const RX_Pixel8& dst, Cv o1, Cv o2,
                             const RX_LinearBlendingTables* t) {
    return xfer_ref::transfer8(mode, src, dst, form, o1, o2, t);
  }
  static bool agree(const RX_Pixel8& a, const RX_Pixel8& b) { return rxtest::same_pixel(a, b); }
  static std::string show(Cv v) { return std::to_string(int(v)); }
};

template <>
struct Depth<RX_Pixel16> {
  using Cv = uint16_t;
  static constexpr const char* kSuffix = "16";
  static constexpr Cv kHalf = 16384, kFull = 32768;
  static Cv random(std::mt19937& gen) { return Cv(gen() % 32769); }
  static void call(int mode, int form, const RX_Pixel16& src, const RX_LinearBlendingTables* t, Cv o1, Cv o2,
                   RX_Pixel16* dst) {
    switch (form) {
      case 0: RXp_G_Xfer1_table16[mode](&src, t, dst); break;
      case 1: RXp_G_Xfer1_Opacity_table16[mode](&src, t, o1, dst); break;
      default: RXp_G_Xfer1_Opacity2_table16[mode](&src, t, o1, o2, dst); break;
    }
  }
  static RX_Pixel16 reference(int mode, int form, const RX_Pixel16& src, const RX_Pixel16& dst, Cv o1, Cv o2,
                              const RX_LinearBlendingTables* t) {
    return xfer_ref::transfer16(mode, src, dst, form, o1, o2, t);
  }
  static bool agree(const RX_Pixel16& a, const RX_Pixel16& b) { return rxtest::same_pixel(a, b); }
  static std::string show(Cv v) { return std::to_string(int(v)); }
};

// Float: within 4 units in the last place, or 1e-6 apart near 0.
bool close_floats(float a, float b) {
  if (a == b) return true;
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  if (std::fabs(a - b) <= 1e-6f) return true;
  if (std::signbit(a) != std::signbit(b)) return false;
  int32_t ia, ib;
  std::memcpy(&ia, &a, 4);
  std::memcpy(&ib, &b, 4);
  return std::abs(int64_t(ia) - int64_t(ib)) <= 4;
}

template <>
struct Depth<RX_PixelFloat> {
  using Cv = float;
  static constexpr const char* kSuffix = "F";
  static constexpr Cv kHalf = 0.5f, kFull = 1.0f;
  static Cv random(std::mt19937& gen) { return float(gen() >> 8) * (1.0f / 16777216.0f); }
  static void call(int mode, int form, const RX_PixelFloat& src, const RX_LinearBlendingTables* t, Cv o1, Cv o2,
                   RX_PixelFloat* dst) {
    switch (form) {
      case 0: RXp_G_Xfer1_tableF[mode](&src, t, dst); break;
      case 1: RXp_G_Xfer1_Opacity_tableF[mode](&src, t, o1, dst); break;
      default: RXp_G_Xfer1_Opacity2_tableF[mode](&src, t, o1, o2, dst); break;
    }
  }
  static RX_PixelFloat reference(int mode, int form, const RX_PixelFloat& src, const RX_PixelFloat& dst, Cv o1,
                                 Cv o2, const RX_LinearBlendingTables* t) {
    return xfer_ref::transferF(mode, src, dst, form, o1, o2, t);
  }
  static bool agree(const RX_PixelFloat& a, const RX_PixelFloat& b) {
    return close_floats(a.alpha, b.alpha) && close_floats(a.red, b.red) && close_floats(a.green, b.green) &&
           close_floats(a.blue, b.blue);
  }
  static std::string show(Cv v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", double(v));
    return text;
  }
};

template <class Px>
std::string show(const Px& p) {
  using D = Depth<Px>;
  std::ostringstream text;
  text << '{' << D::show(p.alpha) << ", " << D::show(p.red) << ", " << D::show(p.green) << ", " << D::show(p.blue)
       << '}';
  return text.str();
}

template <class Px>
typename Depth<Px>::Cv colour(std::mt19937& gen) {
  using D = Depth<Px>;
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    // Now and then a colour out of range, which float keeps: -0.5 to 1.5.
    if (gen() % 100 < 4) return D::random(gen) * 2.0f - 0.5f;
  }
  return pick<typename D::Cv>(gen, 12, 12, 16, D::kHalf, D::kFull, D::random);
}

template <class Px>
typename Depth<Px>::Cv alpha(std::mt19937& gen) {
  using D = Depth<Px>;
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    // Now and then a subnormal alpha, where the float division guard acts.
    if (gen() % 100 == 0) return 1e-40f;
  }
  return pick<typename D::Cv>(gen, 10, 10, 30, D::kHalf, D::kFull, D::random);
}

template <class Px>
typename Depth<Px>::Cv opacity(std::mt19937& gen) {
  using D = Depth<Px>;
  return pick<typename D::Cv>(gen, 4, 10, 30, D::kHalf, D::kFull, D::random);
}

template <class Px>
Px random_pixel(std::mt19937& gen) {
  Px p;
  p.alpha = alpha<Px>(gen);
  p.red = colour<Px>(gen);
  p.green = colour<Px>(gen);
  p.blue = colour<Px>(gen);
  return p;
}

// Every mode of the three tables of one depth, on kPairs pixel pairs each.
template <class Px>
void check_every_entry(const RX_LinearBlendingTables* tables, uint32_t seed) {
  using D = Depth<Px>;
  const char* const light = tables ? "linear" : "gamma";
  for (int mode = 0; mode < kModes; ++mode) {
    for (int form = 0; form < 3; ++form) {
      std::mt19937 gen(seed + uint32_t(mode) * 3 + uint32_t(form));
      int failures = 0;
      for (int n = 0; n < kPairs; ++n) {
        const Px src = random_pixel<Px>(gen);
        const Px dst = random_pixel<Px>(gen);
        const typename D::Cv o1 = opacity<Px>(gen);
        const typename D::Cv o2 = opacity<Px>(gen);
        Px got = dst;
        D::call(mode, form, src, tables, o1, o2, &got);
        const Px want = D::reference(mode, form, src, dst, o1, o2, tables);
        if (D::agree(got, want)) continue;
        if (++failures > kFailuresShown) continue;
        std::ostringstream text;
        text << RX_TransferModeName(mode) << " in RXp_G_Xfer1_" << kFormNames[form] << "table" << D::kSuffix
             << ", " << light << ": src " << show(src) << ", dst " << show(dst);
        if (form >= 1) text << ", opacity " << D::show(o1);
        if (form == 2) text << ", opacity2 " << D::show(o2);
        text << ": expected " << show(want) << ", got " << show(got);
        ADD_FAILURE() << text.str();
      }
      if (failures > kFailuresShown) {
        ADD_FAILURE() << RX_TransferModeName(mode) << " in RXp_G_Xfer1_" << kFormNames[form] << "table"
                      << D::kSuffix << ", " << light << ": " << failures << " of " << kPairs
                      << " pairs disagree in all";
      }
    }
  }
}

class TransferTablesAgainstReference : public rxtest::BornPackage {};

template <class Table>
void expect_thirty_nine_and_a_null(const Table& table, const char* name) {
  for (int mode = 0; mode < kModes; ++mode) EXPECT_NE(table[mode], nullptr) << name << " entry " << mode;
  EXPECT_EQ(table[kModes], nullptr) << name << " has no null after mode 38";
}

TEST_F(TransferTablesAgainstReference, EachTableHasThirtyNineEntriesAndANullFortieth) {
  static_assert(RX_Xfer1TableSize == 40, "39 modes and a null");
  expect_thirty_nine_and_a_null(RXp_G_Xfer1_table8, "RXp_G_Xfer1_table8");
  expect_thirty_nine_and_a_null(RXp_G_Xfer1_table16, "RXp_G_Xfer1_table16");
  expect_thirty_nine_and_a_null(RXp_G_Xfer1_tableF, "RXp_G_Xfer1_tableF");
  expect_thirty_nine_and_a_null(RXp_G_Xfer1_Opacity_table8, "RXp_G_Xfer1_Opacity_table8");
  expect_thirty_nine_and_a_null(RXp_G_Xfer1_Opacity_table16, "RXp_G_Xfer1_Opacity_table16");
  expect_thirty_nine_and_a_null(RXp_G_Xfer1_Opacity_tableF, "RXp_G_Xfer1_Opacity_tableF");
  expect_thirty_nine_and_a_null(RXp_G_Xfer1_Opacity2_table8, "RXp_G_Xfer1_Opacity2_table8");
  expect_thirty_nine_and_a_null(RXp_G_Xfer1_Opacity2_table16, "RXp_G_Xfer1_Opacity2_table16");
  expect_thirty_nine_and_a_null(RXp_G_Xfer1_Opacity2_tableF, "RXp_G_Xfer1_Opacity2_tableF");
}

TEST_F(TransferTablesAgainstReference, EightBitGamma) { check_every_entry<RX_Pixel8>(nullptr, 8001); }
TEST_F(TransferTablesAgainstReference, SixteenBitGamma) { check_every_entry<RX_Pixel16>(nullptr, 16001); }
TEST_F(TransferTablesAgainstReference, FloatGamma) { check_every_entry<RX_PixelFloat>(nullptr, 32001); }

TEST_F(TransferTablesAgainstReference, EightBitLinear) {
  check_every_entry<RX_Pixel8>(&rxtest::gamma_2_2_tables(), 8002);
}
TEST_F(TransferTablesAgainstReference, SixteenBitLinear) {
  check_every_entry<RX_Pixel16>(&rxtest::gamma_2_2_tables(), 16002);
}
TEST_F(TransferTablesAgainstReference, FloatLinear) {
  check_every_entry<RX_PixelFloat>(&rxtest::gamma_2_2_tables(), 32002);
}

// The reference itself at corners worked out by hand, so that it cannot
// drift together with the entries it checks.
TEST_F(TransferTablesAgainstReference, ReferenceGivesTheHandWorkedCorners) {
  using xfer_ref::transfer16;
  using xfer_ref::transfer8;
  using xfer_ref::transferF;
  // AlphaAdd at 8 bits, sa 100 + da 155 = 255: the opaque branch.
  EXPECT_EQ(transfer8(RX_Xfer_AlphaAdd, {100, 10, 20, 30}, {155, 200, 100, 0}, 0, 255, 255, nullptr).alpha, 255);
  // HardMix at 8 bits with a white source: t = 0, so d = 0 stays 0 and d = 1 gives 255.
  EXPECT_TRUE(rxtest::same_pixel(transfer8(RX_Xfer_HardMix, {255, 255, 255, 255}, {255, 0, 1, 0}, 0, 255, 255, nullptr),
                                 RX_Pixel8{255, 0, 255, 0}));
  // SoftLight at 8 bits with s = 128 on an opaque dst: the factor is 0, f = m = d.
  EXPECT_TRUE(rxtest::same_pixel(
      transfer8(RX_Xfer_SoftLight, {255, 128, 128, 128}, {255, 7, 99, 250}, 0, 255, 255, nullptr),
      RX_Pixel8{255, 7, 99, 250}));
  // Multiply onto an empty dst at full source alpha gives the source, alpha 1.
  EXPECT_TRUE(rxtest::same_pixel(
      transfer16(RX_Xfer_Multiply, {32768, 100, 20000, 32768}, {0, 5, 6, 7}, 0, 32768, 32768, nullptr),
      RX_Pixel16{32768, 100, 20000, 32768}));
  // AddPremul with both alphas 0: alpha 0, colours white at 16 bits and in
  // float, row 0 of the divide table at 8 bits.
  EXPECT_TRUE(rxtest::same_pixel(transfer16(RX_Xfer_AddPremul, {0, 10, 0, 9}, {0, 3, 4, 0}, 0, 0, 0, nullptr),
                                 RX_Pixel16{0, 32768, 32768, 32768}));
  const RX_PixelFloat both_empty =
      transferF(RX_Xfer_AddPremul, {0, 0.1f, 0, 0.2f}, {0, 0.3f, 0.4f, 0}, 0, 1, 1, nullptr);
  EXPECT_EQ(both_empty.alpha, 0.0f);
  EXPECT_EQ(both_empty.red, 1.0f);
  EXPECT_EQ(both_empty.blue, 1.0f);
  const RX_Pixel8 empty8 = transfer8(RX_Xfer_AddPremul, {0, 10, 0, 9}, {0, 3, 4, 0}, 0, 255, 255, nullptr);
  EXPECT_EQ(empty8.alpha, 0);
  EXPECT_EQ(empty8.red, RXp_G_DivideTable[10]);
  EXPECT_EQ(empty8.green, RXp_G_DivideTable[0]);
  // AddPremul adds the source colour even at source alpha 0: w = 255, r = 255.
  EXPECT_TRUE(rxtest::same_pixel(
      transfer8(RX_Xfer_AddPremul, {0, 40, 50, 60}, {255, 10, 20, 30}, 0, 255, 255, nullptr),
      RX_Pixel8{255, 50, 70, 90}));
  // Float Over with subnormal alphas: the union 1 - (1 - sa)(1 - da) is 0,
  // colours 1.0 through the division guard.
  const RX_PixelFloat over = transferF(RX_Xfer_Over, {1e-40f, 0.2f, 0.3f, 0.4f}, {1e-40f, 0.5f, 0.6f, 0.7f}, 0, 1, 1,
                                       nullptr);
  EXPECT_EQ(over.alpha, 0.0f);
  EXPECT_EQ(over.red, 1.0f);
  // Divide at 8 bits with s = 0 and d > 0 reads row 0.
  EXPECT_EQ(transfer8(RX_Xfer_Divide, {255, 0, 0, 0}, {255, 77, 0, 1}, 0, 255, 255, nullptr).red,
            RXp_G_DivideTable[77]);
  // Every mode but AddPremul leaves dst alone at source alpha 0.
  for (int mode = 0; mode < kModes; ++mode) {
    if (mode == RX_Xfer_AddPremul) continue;
    EXPECT_TRUE(rxtest::same_pixel(transfer8(mode, {0, 200, 100, 50}, {90, 10, 20, 30}, 0, 255, 255, nullptr),
                                   RX_Pixel8{90, 10, 20, 30}))
        << mode;
  }
  // 8-bit opacity: sa := mul(sa, opacity); Copy writes the reduced alpha.
  EXPECT_EQ(transfer8(RX_Xfer_Copy, {200, 1, 2, 3}, {9, 9, 9, 9}, 1, 128, 255, nullptr).alpha, 100);
}

// The gamma-2.2 tables of the tests: ends in place, both halves
// non-decreasing, and the package's own inversion of the to-linear half
// gives the same from-linear half. (The darkest bytes all map to 0, so
// from_linear[0] lies at the high end of that flat stretch, not at 0.)
TEST_F(TransferTablesAgainstReference, GammaTablesAreWhatThePackageWouldMakeOfTheCurve) {
  const RX_LinearBlendingTables& t = rxtest::gamma_2_2_tables();
  EXPECT_EQ(t.to_linear[0], 0);
  EXPECT_EQ(t.to_linear[255], 32768);
  EXPECT_EQ(t.from_linear[4096], 32768);
  for (int i = 1; i < 256; ++i) EXPECT_LE(t.to_linear[i - 1], t.to_linear[i]) << i;
  for (int u = 1; u <= 4096; ++u) EXPECT_LE(t.from_linear[u - 1], t.from_linear[u]) << u;
  EXPECT_EQ(t.gamma, 2.2f);
  EXPECT_EQ(t.inverse_gamma, 1.0f / 2.2f);
  RX_LinearBlendingTables package = t;
  std::memset(package.from_linear, 0, sizeof package.from_linear);
  RXp_FillFromLinear(&package);
  EXPECT_EQ(std::memcmp(package.from_linear, t.from_linear, sizeof t.from_linear), 0);
}

}  // namespace
