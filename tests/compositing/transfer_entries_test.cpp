// Every entry of the nine per-pixel tables against the plain reference,
// in gamma space and in linear light with gamma-2.2 tables, on random
// pixel pairs from a fixed seed that favour the values where rules turn:
// alphas of 0, full and between, colours at 0, half and full. 8 and 16
// bits must match exactly; float within a few units of the last place,
// where the order of operations is not fixed.
#include <cmath>
#include <random>
#include <sstream>

#include "linear_tables.h"
#include "rx_test_support.h"
#include "transfer_entries_reference.h"

namespace {

constexpr int kPairsPerCase = 600;

template <class Px>
struct Table;
template <>
struct Table<RX_Pixel8> {
  static void run(int mode, int opacities, const RX_Pixel8& s, const RX_LinearBlendingTables* t, uint8_t a,
                  uint8_t b, RX_Pixel8& d) {
    if (opacities == 0) RXp_G_Xfer1_table8[mode](&s, t, &d);
    else if (opacities == 1) RXp_G_Xfer1_Opacity_table8[mode](&s, t, a, &d);
    else RXp_G_Xfer1_Opacity2_table8[mode](&s, t, a, b, &d);
  }
  static void reference(int mode, int opacities, const RX_Pixel8& s, const RX_LinearBlendingTables* t, uint8_t a,
                        uint8_t b, RX_Pixel8& d) {
    ref::entry8(mode, s, t, opacities, a, b, d);
  }
  static uint8_t value(std::mt19937& rng) {
    switch (rng() % 5) {
      case 0: return 0;
      case 1: return 128;
      case 2: return 255;
      default: return uint8_t(rng());
    }
  }
};
template <>
struct Table<RX_Pixel16> {
  static void run(int mode, int opacities, const RX_Pixel16& s, const RX_LinearBlendingTables* t, uint16_t a,
                  uint16_t b, RX_Pixel16& d) {
    if (opacities == 0) RXp_G_Xfer1_table16[mode](&s, t, &d);
    else if (opacities == 1) RXp_G_Xfer1_Opacity_table16[mode](&s, t, a, &d);
    else RXp_G_Xfer1_Opacity2_table16[mode](&s, t, a, b, &d);
  }
  static void reference(int mode, int opacities, const RX_Pixel16& s, const RX_LinearBlendingTables* t, uint16_t a,
                        uint16_t b, RX_Pixel16& d) {
    ref::entry16(mode, s, t, opacities, a, b, d);
  }
  static uint16_t value(std::mt19937& rng) {
    switch (rng() % 5) {
      case 0: return 0;
      case 1: return 16384;
      case 2: return 32768;
      default: return uint16_t(rng() % 32769);
    }
  }
};
template <>
struct Table<RX_PixelFloat> {
  static void run(int mode, int opacities, const RX_PixelFloat& s, const RX_LinearBlendingTables* t, float a,
                  float b, RX_PixelFloat& d) {
    if (opacities == 0) RXp_G_Xfer1_tableF[mode](&s, t, &d);
    else if (opacities == 1) RXp_G_Xfer1_Opacity_tableF[mode](&s, t, a, &d);
    else RXp_G_Xfer1_Opacity2_tableF[mode](&s, t, a, b, &d);
  }
  static void reference(int mode, int opacities, const RX_PixelFloat& s, const RX_LinearBlendingTables* t, float a,
                        float b, RX_PixelFloat& d) {
    ref::entryF(mode, s, t, opacities, a, b, d);
  }
  static float value(std::mt19937& rng) {
    switch (rng() % 5) {
      case 0: return 0.0f;
      case 1: return 0.5f;
      case 2: return 1.0f;
      default: return float(rng() % 100001) / 100000.0f;
    }
  }
};

// Floats agree when they are within a few units of the last place of the
// larger, or within an absolute step near 0; the division by a small
// result alpha magnifies both, so the allowance grows as that alpha
// shrinks.
bool close(float a, float b, float result_alpha) {
  if (a == b || (std::isnan(a) && std::isnan(b))) return true;
  const float scale = std::max({1.0f, std::fabs(a), std::fabs(b)});
  const float magnify = std::max(1.0f, 1e-2f / std::max(std::fabs(result_alpha), 1e-6f));
  return std::fabs(a - b) <= 8e-6f * scale * magnify;
}

template <class Px>
bool same(const Px& a, const Px& b) {
  if constexpr (sizeof(Px) == 16) {
    return close(a.alpha, b.alpha, 1.0f) && close(a.red, b.red, b.alpha) && close(a.green, b.green, b.alpha) &&
           close(a.blue, b.blue, b.alpha);
  } else {
    return rxtest::same_pixel(a, b);
  }
}

template <class Px>
std::string show(const Px& p) {
  std::ostringstream out;
  out.precision(9);
  out << "(" << +p.alpha << ", " << +p.red << ", " << +p.green << ", " << +p.blue << ")";
  return out.str();
}

template <class Px>
void check_every_entry(const RX_LinearBlendingTables* tables, uint32_t seed) {
  using T = Table<Px>;
  std::mt19937 rng(seed);
  int failures = 0;
  for (int mode = 0; mode < 39; ++mode) {
    for (int opacities = 0; opacities <= 2; ++opacities) {
      for (int n = 0; n < kPairsPerCase; ++n) {
        const Px src{T::value(rng), T::value(rng), T::value(rng), T::value(rng)};
        const Px dst{T::value(rng), T::value(rng), T::value(rng), T::value(rng)};
        const auto a = T::value(rng), b = T::value(rng);
        Px got = dst, want = dst;
        T::run(mode, opacities, src, tables, a, b, got);
        T::reference(mode, opacities, src, tables, a, b, want);
        if (same(got, want)) continue;
        if (++failures <= 12) {
          ADD_FAILURE() << RX_TransferModeName(mode) << (tables ? " linear" : "") << ", " << opacities
                        << " opacities (" << +a << ", " << +b << "): src " << show(src) << " dst " << show(dst)
                        << " -> " << show(got) << ", reference " << show(want);
        }
      }
    }
  }
  EXPECT_EQ(failures, 0);
}

class TransferTables : public rxtest::BornPackage {};

TEST_F(TransferTables, EachTableHoldsThirtyNineEntriesAndANull) {
  for (int mode = 0; mode < 39; ++mode) {
    EXPECT_NE(RXp_G_Xfer1_table8[mode], nullptr) << mode;
    EXPECT_NE(RXp_G_Xfer1_table16[mode], nullptr) << mode;
    EXPECT_NE(RXp_G_Xfer1_tableF[mode], nullptr) << mode;
    EXPECT_NE(RXp_G_Xfer1_Opacity_table8[mode], nullptr) << mode;
    EXPECT_NE(RXp_G_Xfer1_Opacity_table16[mode], nullptr) << mode;
    EXPECT_NE(RXp_G_Xfer1_Opacity_tableF[mode], nullptr) << mode;
    EXPECT_NE(RXp_G_Xfer1_Opacity2_table8[mode], nullptr) << mode;
    EXPECT_NE(RXp_G_Xfer1_Opacity2_table16[mode], nullptr) << mode;
    EXPECT_NE(RXp_G_Xfer1_Opacity2_tableF[mode], nullptr) << mode;
  }
  EXPECT_EQ(RXp_G_Xfer1_table8[39], nullptr);
  EXPECT_EQ(RXp_G_Xfer1_table16[39], nullptr);
  EXPECT_EQ(RXp_G_Xfer1_tableF[39], nullptr);
  EXPECT_EQ(RXp_G_Xfer1_Opacity_table8[39], nullptr);
  EXPECT_EQ(RXp_G_Xfer1_Opacity_table16[39], nullptr);
  EXPECT_EQ(RXp_G_Xfer1_Opacity_tableF[39], nullptr);
  EXPECT_EQ(RXp_G_Xfer1_Opacity2_table8[39], nullptr);
  EXPECT_EQ(RXp_G_Xfer1_Opacity2_table16[39], nullptr);
  EXPECT_EQ(RXp_G_Xfer1_Opacity2_tableF[39], nullptr);
}

TEST_F(TransferTables, EightBitEntriesMatchTheReferenceInGammaSpace) { check_every_entry<RX_Pixel8>(nullptr, 801); }
TEST_F(TransferTables, SixteenBitEntriesMatchTheReferenceInGammaSpace) { check_every_entry<RX_Pixel16>(nullptr, 1601); }
TEST_F(TransferTables, FloatEntriesMatchTheReferenceInGammaSpace) { check_every_entry<RX_PixelFloat>(nullptr, 3201); }

TEST_F(TransferTables, EightBitEntriesMatchTheReferenceInLinearLight) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_every_entry<RX_Pixel8>(&tables, 802);
}
TEST_F(TransferTables, SixteenBitEntriesMatchTheReferenceInLinearLight) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_every_entry<RX_Pixel16>(&tables, 1602);
}
TEST_F(TransferTables, FloatEntriesMatchTheReferenceInLinearLight) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_every_entry<RX_PixelFloat>(&tables, 3202);
}

// The inversion by its rule, on a curve whose reading is easy to follow:
// to_linear[i] = 128 i for i below 256 (the identity at 16-bit scale up to
// 32640), and 32768 at the top.
TEST_F(TransferTables, FromLinearInvertsTheSixteenBitReadingSegmentBySegment) {
  RX_LinearBlendingTables t{};
  for (int i = 0; i < 256; ++i) t.to_linear[i] = uint16_t((i * 0x808080u + 33200) >> 16);
  RXp_FillFromLinear(&t);
  for (uint32_t u = 0; u <= 4096; u += 37) {
    const uint32_t reading = rxtest::read_to_linear16(t, u * 8);
    EXPECT_NEAR(double(t.from_linear[u]), double(u * 8), 8.0) << u << " reads " << reading;
  }
  EXPECT_EQ(t.from_linear[4096], 32768);
  for (int u = 1; u <= 4096; ++u) EXPECT_GE(t.from_linear[u], t.from_linear[u - 1]) << u;
}

TEST_F(TransferTables, GammaTablesAreMonotoneAndRoundTripTheEnds) {
  const RX_LinearBlendingTables t = rxtest::gamma22_tables();
  EXPECT_EQ(t.to_linear[0], 0);
  EXPECT_EQ(t.to_linear[255], 32768);
  // The darkest encoded values all read as linear 0; the inverse of 0 is
  // the last of them.
  EXPECT_LT(t.from_linear[0], 256);
  EXPECT_EQ(t.from_linear[4096], 32768);
  for (int i = 1; i <= 4096; ++i) EXPECT_GE(t.from_linear[i], t.from_linear[i - 1]) << i;
  // Mid grey goes to about 0.218 in linear light and back.
  EXPECT_NEAR(t.to_linear[128] / 32768.0, std::pow(128 / 255.0, 2.2), 1e-3);
  for (int v = 0; v < 256; v += 5) {
    const uint32_t back = (rxtest::read_from_linear(t, t.to_linear[v]) * 255 + 16384) >> 15;
    EXPECT_NEAR(int(back), v, 1) << v;
  }
}

}  // namespace
