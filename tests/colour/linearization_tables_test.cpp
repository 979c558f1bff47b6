// The linear-light tables of real profiles: to_linear held against
// LittleCMS taking the same line to the profile's linear form, from_linear
// against an inversion written out here; the edge cases of a linear
// profile, a normal profile's ends and a flat stretch; and blending in
// linear light with the tables through RX_TransferRect at 8 and 16 bits.
#include <gtest/gtest.h>

#include <cmath>

#include "../compositing/transfer_reference.h"
#include "colour_test_support.h"
#include "linear_tables.h"

namespace {

using namespace colourtest;

// to_linear as LittleCMS gives it: each byte taken to 16 bits by the
// package's scaling, then to the engine's LittleCMS scale, through the
// transform from the profile to its linear form at 16 bits, and back.
std::vector<uint16_t> lcms_to_linear(const TIN_VIZ_SharedProfile& profile) {
  LcmsProfile from(*profile), to(*TIN_VIZ_GetLinearRGBProfile(profile));
  cmsHTRANSFORM t = cmsCreateTransform(from.get(), TYPE_ARGB_16, to.get(), TYPE_ARGB_16, 1, 0);
  EXPECT_NE(t, nullptr);
  std::vector<uint16_t> line(4 * 256), out(4 * 256);
  for (uint32_t i = 0; i < 256; ++i) {
    const auto v = uint16_t((i * 0x808080u + 33200u) >> 16);
    line[4 * i] = up_16(32768);
    line[4 * i + 1] = line[4 * i + 2] = line[4 * i + 3] = up_16(v);
  }
  cmsDoTransform(t, line.data(), out.data(), 256);
  cmsDeleteTransform(t);
  std::vector<uint16_t> to_linear(256);
  for (size_t i = 0; i < 256; ++i) to_linear[i] = down_16(out[4 * i + 1]);
  return to_linear;
}

// from_linear from to_linear, written out from the rules: read to_linear
// at x = 8i by the 16-bit rule, make the readings non-decreasing, then
// for each linear value 8u find the segment [A[s], A[s+1]] it lies in and
// place it between the encoded ends 8s and 8s + 8.
std::vector<uint16_t> reference_from_linear(const uint16_t* to_linear) {
  std::vector<uint32_t> a(4097);
  for (uint32_t i = 0; i <= 4096; ++i) {
    const uint32_t p = i * 8 * 255, k = p >> 15, f = p & 0x7fff;
    uint32_t t = to_linear[k];
    if (f != 0) t += (f * (uint32_t(to_linear[k + 1]) - t) + 16384) >> 15;
    a[i] = t & 0xffff;
  }
  for (uint32_t i = 1; i <= 4096; ++i) {
    if (a[i] < a[i - 1]) a[i] = a[i - 1];
  }
  std::vector<uint16_t> out(4097);
  uint32_t s = 0;
  for (uint32_t u = 0; u <= 4096; ++u) {
    const uint32_t x = 8 * u;
    while (s + 1 < 4096 && x >= a[s + 1]) s = s + 1;
    const uint32_t lo = a[s], hi = a[s + 1];
    if (x >= hi) {
      out[u] = uint16_t(8 * s + 8);
    } else if (x >= lo) {
      out[u] = uint16_t(((x - lo) * 8 + (hi - lo) / 2) / (hi - lo) + 8 * s);
    } else {
      out[u] = uint16_t(8 * s);
    }
  }
  return out;
}

// A profile whose curve climbs to 0.3 at 0.3, stays there to 0.5 (a flat
// stretch), then climbs to 1 at 1: a 4096-point table.
TIN_VIZ_SharedProfile flat_stretch_profile() {
  std::vector<uint16_t> table(4096);
  for (size_t i = 0; i < table.size(); ++i) {
    const double x = double(i) / 4095.0;
    const double y = x < 0.3 ? x : x < 0.5 ? 0.3 : 0.3 + (x - 0.5) * 1.4;
    table[i] = uint16_t(std::lround(y * 65535.0));
  }
  return profile_with_curve(cmsBuildTabulatedToneCurve16(nullptr, cmsUInt32Number(table.size()), table.data()));
}

class LinearizationTables : public rxtest::BornPackage {
 protected:
  static void expect_made_from_the_curve(const TIN_VIZ_SharedProfile& profile) {
    const RX_LinearBlendingTablesPtr t = RX_MakeLinearizationTables(profile);
    ASSERT_TRUE(t);
    const std::vector<uint16_t> to_linear = lcms_to_linear(profile);
    for (size_t i = 0; i < 256; ++i) ASSERT_EQ(t->to_linear[i], to_linear[i]) << i;
    const std::vector<uint16_t> from_linear = reference_from_linear(t->to_linear);
    for (size_t u = 0; u <= 4096; ++u) ASSERT_EQ(t->from_linear[u], from_linear[u]) << u;
    float r = 0, g = 0, b = 0;
    RX_GetCalRGBGammas(profile.get(), &r, &g, &b);
    EXPECT_EQ(t->gamma, g);
    EXPECT_EQ(t->inverse_gamma, 1.0f / g);
  }
};

TEST_F(LinearizationTables, SrgbTablesFollowItsCurveAndTheInversion) {
  expect_made_from_the_curve(from_code(VIZ_Profile_sRGB));
  expect_made_from_the_curve(from_file(kTableSRGB));
}

TEST_F(LinearizationTables, GammaOnePointEightTablesFollowItsCurveAndTheInversion) {
  const TIN_VIZ_SharedProfile pro = from_file(kProPhoto);
  expect_made_from_the_curve(pro);
  const RX_LinearBlendingTablesPtr t = RX_MakeLinearizationTables(pro);
  EXPECT_NEAR(t->gamma, 1.8f, 1e-4f);
  for (uint32_t i = 0; i < 256; ++i) {
    const double encoded = double((i * 0x808080u + 33200u) >> 16) / 32768.0;
    EXPECT_NEAR(t->to_linear[i], 32768.0 * std::pow(encoded, 1.8), 1.5) << i;
  }
}

TEST_F(LinearizationTables, ALinearProfileGivesTheScaledBytesAndEightTimesU) {
  const TIN_VIZ_SharedProfile linear = from_code(VIZ_Profile_LinearsRGB);
  expect_made_from_the_curve(linear);
  const RX_LinearBlendingTablesPtr t = RX_MakeLinearizationTables(linear);
  for (uint32_t i = 0; i < 256; ++i) EXPECT_NEAR(t->to_linear[i], (i * 0x808080u + 33200u) >> 16, 1) << i;
  for (uint32_t u = 0; u <= 4096; ++u) EXPECT_NEAR(t->from_linear[u], 8 * u, 8) << u;
  EXPECT_FLOAT_EQ(t->gamma, 1.0f);
}

TEST_F(LinearizationTables, ANormalProfileRunsFromZeroToWhite) {
  for (const TIN_VIZ_SharedProfile& p : {from_code(VIZ_Profile_sRGB), from_file(kProPhoto), from_file(kAdobe)}) {
    const RX_LinearBlendingTablesPtr t = RX_MakeLinearizationTables(p);
    EXPECT_EQ(t->to_linear[0], 0) << p->GetNameUTF8();
    EXPECT_EQ(t->to_linear[255], 32768) << p->GetNameUTF8();
    EXPECT_EQ(t->from_linear[4096], 32768);
  }
}

TEST_F(LinearizationTables, AFlatStretchInvertsToTheHighEndOfItsSegment) {
  const TIN_VIZ_SharedProfile flat = flat_stretch_profile();
  expect_made_from_the_curve(flat);
  const RX_LinearBlendingTablesPtr t = RX_MakeLinearizationTables(flat);
  // The readings of to_linear at every eighth value, as the inversion sees them.
  std::vector<uint32_t> a(4097);
  for (uint32_t i = 0; i <= 4096; ++i) a[i] = rxtest::read_to_linear16(*t, i * 8);
  // The flat level and the last reading at it.
  const uint32_t level = t->to_linear[110];  // a byte inside the stretch (0.3 to 0.5 of 255)
  ASSERT_EQ(level, t->to_linear[120]);
  uint32_t last = 0;
  for (uint32_t i = 0; i < 4096; ++i) {
    if (a[i] == level) last = i;
  }
  uint32_t first = 0;
  while (a[first] != level) ++first;
  ASSERT_GT(last, first + 100) << "a stretch of flat readings";
  // The first linear value at or above the level maps past the whole
  // stretch, to the segment after its last reading; one below it maps
  // before the stretch's first reading.
  const uint32_t u = (level + 7) / 8;
  EXPECT_GE(t->from_linear[u], 8 * last);
  EXPECT_LE(t->from_linear[u], 8 * last + 8);
  EXPECT_LE(t->from_linear[u - 1], 8 * first);
}

TEST_F(LinearizationTables, ALineThatCannotBeHadThrowsOutOfMemoryAndLeavesTheBooks) {
  const TIN_VIZ_SharedProfile srgb = from_code(VIZ_Profile_sRGB);
  RX_MakeLinearizationTables(srgb);  // whatever the engine keeps is made now
  const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
  rxtest::ReportCapture quiet;
  RXHost_FailNthAllocation(1);
  try {
    RX_MakeLinearizationTables(srgb);
    RXHost_FailNthAllocation(0);
    FAIL() << "nothing thrown";
  } catch (RX_Err err) {
    RXHost_FailNthAllocation(0);
    EXPECT_EQ(err, RX_Result_OutOfMemory);
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

// ---- blending in linear light with a profile's tables ----

template <class Px>
class LinearBlending : public rxtest::BornPackage {};
using IntegerPixels = ::testing::Types<RX_Pixel8, RX_Pixel16>;
TYPED_TEST_SUITE(LinearBlending, IntegerPixels);

TYPED_TEST(LinearBlending, TransferRectBlendsThroughTheProfilesTables) {
  using Px = TypeParam;
  RX_ColorSettings settings(new TIN_VIZ_ProfilePool);
  std::unique_ptr<TIN_VIZ_ProfilePool> pool(settings.GetProfilePool());
  settings.SetProfile(from_code(VIZ_Profile_sRGB));
  settings.SetLinearBlending(true);
  const RX_LinearBlendingTables* tables = settings.GetLinearBlendingTables(false);
  ASSERT_NE(tables, nullptr);
  for (int32_t mode : {RX_Xfer_Over, RX_Xfer_Add, RX_Xfer_Multiply, RX_Xfer_Screen, RX_Xfer_Difference}) {
    rxtest::TestWorld<Px> src(23, 7, 8, 4), dst(23, 7, 4);
    fill_random(src, uint32_t(mode) + 1);
    fill_random(dst, uint32_t(mode) + 50);
    if (mode != RX_Xfer_Over) {
      // The per-pixel statement of the other modes is the whole story for
      // opaque pixels; with partial alpha the pipeline's own steps (union,
      // behind pass) come in, which the compositing tests cover.
      for (int32_t y = 0; y < 7; ++y) {
        for (int32_t x = 0; x < 23; ++x) {
          src.at(x, y).alpha = decltype(Px{}.alpha)(sizeof(Px) == 4 ? 255 : 32768);
          dst.at(x, y).alpha = decltype(Px{}.alpha)(sizeof(Px) == 4 ? 255 : 32768);
        }
      }
    }
    const std::vector<Px> before = pixels_of(dst);
    const RX_CompositeModePlus m(mode, 1.0f, nullptr, false, 0);
    ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 23, 7}, src.def(), &m, tables, nullptr, 0, 0,
                              dst.def()),
              RX_Result_OK);
    size_t i = 0;
    for (int32_t y = 0; y < 7; ++y) {
      for (int32_t x = 0; x < 23; ++x, ++i) {
        Px want;
        if constexpr (sizeof(Px) == 4) {
          want = xfer_ref::transfer8(mode, src.at(x, y), before[i], 0, 0, 0, tables);
        } else {
          want = xfer_ref::transfer16(mode, src.at(x, y), before[i], 0, 0, 0, tables);
        }
        ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), want))
            << "mode " << mode << " at " << x << "," << y << ": " << double(dst.at(x, y).alpha) << ","
            << double(dst.at(x, y).red) << "," << double(dst.at(x, y).green) << "," << double(dst.at(x, y).blue)
            << " want " << double(want.alpha) << "," << double(want.red) << "," << double(want.green) << ","
            << double(want.blue) << " src " << double(src.at(x, y).alpha) << "," << double(src.at(x, y).red)
            << " dst " << double(before[i].alpha) << "," << double(before[i].red);
      }
    }
  }
}

}  // namespace
