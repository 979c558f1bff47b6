// The engine's float path between matrix-shaper profiles against
// LittleCMS's own float evaluation of the same transform, on the same
// pixels: within 1e-5 (relative beyond 1.0), over and beyond 0..1; its
// AVX2 and plain kernels give the same bits; other profiles keep
// LittleCMS's path exactly.
#include <gtest/gtest.h>

#include <cmath>

#include "RXHost.h"
#include "viz_test_support.h"

namespace {

using namespace viztest;

// Pixels spread over -0.25..1.5, with exact 0 and 1 and the corners.
std::vector<float> test_pixels(size_t count, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> d(-0.25f, 1.5f);
  std::vector<float> v(4 * count);
  for (float& x : v) x = d(rng);
  const float corners[] = {0.0f, 1.0f, 0.5f, 1e-7f, 0.0031308f, 0.04045f};
  for (size_t i = 0; i < std::size(corners) && i < count; ++i) {
    v[4 * i + 1] = v[4 * i + 2] = v[4 * i + 3] = corners[i];
  }
  return v;
}

// LittleCMS's float result for the engine's profiles, without the engine.
std::vector<float> lcms_float(VIZProfile* from, VIZProfile* to, int intent, const std::vector<float>& in) {
  LcmsProfile a(from), b(to);
  LcmsTransform t(a.get(), TYPE_ARGB_FLT, b.get(), TYPE_ARGB_FLT, intent);
  std::vector<float> out(in.size(), 0.0f);
  cmsDoTransform(t.h, in.data(), out.data(), cmsUInt32Number(in.size() / 4));
  return out;
}

std::vector<float> engine_float(VIZProfile* from, VIZProfile* to, int intent, const std::vector<float>& in,
                                const _t_VIZ_Options* options = nullptr) {
  Transform t;
  EXPECT_EQ(engine().MakeColorTransform(from, to, intent, options, t.out()), VIZ_Err_None);
  std::vector<float> out(in.size(), 0.0f);
  EXPECT_EQ(engine().ApplyTransform(t.get(), in.data(), VIZ_Format_fRGB, out.data(), VIZ_Format_fRGB,
                                    int32_t(in.size() / 4), nullptr),
            VIZ_Err_None);
  return out;
}

double worst_difference(const std::vector<float>& a, const std::vector<float>& b) {
  double worst = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    if (i % 4 == 0) continue;  // the pad channel
    const double scale = std::fmax(1.0, std::fabs(double(b[i])));
    worst = std::fmax(worst, std::fabs(double(a[i]) - double(b[i])) / scale);
  }
  return worst;
}

struct Pair {
  std::string from, to;
};

class FloatPath : public ::testing::TestWithParam<Pair> {
 protected:
  static Profile open(const std::string& name) {
    if (name == "srgb") return from_code(VIZ_Profile_sRGB);
    if (name == "rec2020") return from_code(VIZ_Profile_Rec2020);
    if (name == "linear") return from_code(VIZ_Profile_LinearsRGB);
    if (name == "p3") return from_code(VIZ_Profile_DisplayP3);
    return from_file(name);
  }
};

TEST_P(FloatPath, MeetsLittleCmsWithinOneHundredThousandth) {
  const Profile from = open(GetParam().from), to = open(GetParam().to);
  const std::vector<float> in = test_pixels(20000, 7);
  for (int intent : {1, 3}) {
    const std::vector<float> ours = engine_float(from.get(), to.get(), intent, in);
    const std::vector<float> theirs = lcms_float(from.get(), to.get(), intent, in);
    EXPECT_LE(worst_difference(ours, theirs), 1e-5) << GetParam().from << " to " << GetParam().to;
  }
}

TEST_P(FloatPath, InRangePixelsMeetLittleCmsWithinOneMillionth) {
  const Profile from = open(GetParam().from), to = open(GetParam().to);
  const std::vector<float> in = random_pixels<float>(20000, 11, 1.0f);
  const std::vector<float> ours = engine_float(from.get(), to.get(), 1, in);
  const std::vector<float> theirs = lcms_float(from.get(), to.get(), 1, in);
  EXPECT_LE(worst_difference(ours, theirs), 1e-6) << GetParam().from << " to " << GetParam().to;
}

TEST_P(FloatPath, PlainAndAvx2KernelsGiveTheSameBits) {
  const Profile from = open(GetParam().from), to = open(GetParam().to);
  const std::vector<float> in = test_pixels(4000, 3);
  // The kernels are chosen when LittleCMS builds the transform: a purge
  // makes each form build its own.
  engine().PurgeCaches();
  const std::vector<float> vector_form = engine_float(from.get(), to.get(), 1, in);
  engine().PurgeCaches();
  RXHost_SetCpuWord(7, 0);
  const std::vector<float> plain_form = engine_float(from.get(), to.get(), 1, in);
  RXHost_ResetCpuWords();
  engine().PurgeCaches();
  EXPECT_EQ(0, std::memcmp(vector_form.data(), plain_form.data(), in.size() * sizeof(float)));
}

INSTANTIATE_TEST_SUITE_P(
    MatrixShaperPairs, FloatPath,
    ::testing::Values(Pair{"srgb", kProPhoto}, Pair{kProPhoto, "srgb"}, Pair{"srgb", "rec2020"},
                      Pair{kAdobe, kWideGamut}, Pair{kColordSRGB, kAdobe}, Pair{"linear", "srgb"},
                      Pair{"srgb", "linear"}, Pair{kTableSRGB, kProPhoto}, Pair{kRec709, "p3"},
                      Pair{kTableSRGB, kRec709}));

TEST(FloatPathOff, TheOptionGivesLittleCmsOwnFloatResultBitForBit) {
  const Profile from = from_code(VIZ_Profile_sRGB), to = from_file(kProPhoto);
  const std::vector<float> in = test_pixels(5000, 5);
  const _t_VIZ_Options off = {1, {{VIZ_Option_FloatFastPath, 0}}};
  const std::vector<float> ours = engine_float(from.get(), to.get(), 1, in, &off);
  const std::vector<float> theirs = lcms_float(from.get(), to.get(), 1, in);
  EXPECT_EQ(0, std::memcmp(ours.data(), theirs.data(), in.size() * sizeof(float)));
}

TEST(FloatPathOff, ATableProfileKeepsLittleCmsPathBitForBit) {
  const std::vector<uint8_t> data = table_rgb_profile();
  Profile from;
  ASSERT_EQ(engine().MakeBufferProfile(data.data(), uint32_t(data.size()), from.out()), VIZ_Err_None);
  const Profile to = from_file(kProPhoto);
  const std::vector<float> in = test_pixels(5000, 9);
  const std::vector<float> ours = engine_float(from.get(), to.get(), 1, in);
  const std::vector<float> theirs = lcms_float(from.get(), to.get(), 1, in);
  EXPECT_EQ(0, std::memcmp(ours.data(), theirs.data(), in.size() * sizeof(float)));
}

// A 16-bit output curve after closed-form input curves would step apart
// from LittleCMS at a few pixels: such a transform stays LittleCMS's.
TEST(FloatPathOff, ATableCurveAfterAPowerCurveKeepsLittleCmsPathBitForBit) {
  const Profile from = from_file(kAdobe), to = from_file(kTableSRGB);
  const std::vector<float> in = test_pixels(5000, 13);
  const std::vector<float> ours = engine_float(from.get(), to.get(), 1, in);
  const std::vector<float> theirs = lcms_float(from.get(), to.get(), 1, in);
  EXPECT_EQ(0, std::memcmp(ours.data(), theirs.data(), in.size() * sizeof(float)));
}

}  // namespace
