// Transforms of the engine against LittleCMS called directly on the same
// pixels: 8 bits exact, 16 bits exact after the engine's 0..32768 scaling,
// float with LittleCMS's own path exact; the pad channel; chains joined and
// optimized; bad arguments.
#include <gtest/gtest.h>

#include <cmath>

#include "viz_test_support.h"

namespace {

using namespace viztest;

const _t_VIZ_Options kLcmsFloat = {1, {{VIZ_Option_FloatFastPath, 0}}};
const _t_VIZ_Options kCopyPad = {1, {{VIZ_Option_CopyPad, 1}}};

struct Case {
  std::string from, to;
  int intent;
};

Profile open(const std::string& name) {
  if (name == "srgb") return from_code(VIZ_Profile_sRGB);
  if (name == "p3") return from_code(VIZ_Profile_DisplayP3);
  if (name == "table") {
    const std::vector<uint8_t> data = table_rgb_profile();
    Profile p;
    EXPECT_EQ(engine().MakeBufferProfile(data.data(), uint32_t(data.size()), p.out()), VIZ_Err_None);
    return p;
  }
  return from_file(name);
}

class ThreeDepths : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    from_ = open(GetParam().from);
    to_ = open(GetParam().to);
    ASSERT_EQ(engine().MakeColorTransform(from_.get(), to_.get(), GetParam().intent, &kLcmsFloat, t_.out()),
              VIZ_Err_None);
    a_ = std::make_unique<LcmsProfile>(from_.get());
    b_ = std::make_unique<LcmsProfile>(to_.get());
  }
  Profile from_, to_;
  Transform t_;
  std::unique_ptr<LcmsProfile> a_, b_;
};

TEST_P(ThreeDepths, EightBitsEqualLittleCms) {
  const size_t n = 3000;
  const std::vector<uint8_t> in = random_pixels<uint8_t>(n, 1, 255);
  std::vector<uint8_t> ours(in.size(), 0xAB), theirs(in.size(), 0xAB);
  ASSERT_EQ(engine().ApplyTransform(t_.get(), in.data(), VIZ_Format_prgb, ours.data(), VIZ_Format_prgb, int32_t(n),
                                    nullptr),
            VIZ_Err_None);
  LcmsTransform direct(a_->get(), TYPE_ARGB_8, b_->get(), TYPE_ARGB_8, GetParam().intent);
  cmsDoTransform(direct.h, in.data(), theirs.data(), cmsUInt32Number(n));
  EXPECT_EQ(ours, theirs);
  for (size_t i = 0; i < n; ++i) ASSERT_EQ(ours[4 * i], 0xAB);  // the pad kept its value
}

TEST_P(ThreeDepths, SixteenBitsEqualLittleCmsAfterTheScaling) {
  const size_t n = 3000;
  std::vector<uint16_t> in = random_pixels<uint16_t>(n, 2, 32768);
  std::vector<uint16_t> ours(in.size(), 777);
  ASSERT_EQ(engine().ApplyTransform(t_.get(), in.data(), VIZ_Format_PRGB, ours.data(), VIZ_Format_PRGB, int32_t(n),
                                    nullptr),
            VIZ_Err_None);
  std::vector<uint16_t> wide(in.size()), wide_out(in.size(), 0);
  for (size_t i = 0; i < in.size(); ++i) wide[i] = up_16(in[i]);
  LcmsTransform direct(a_->get(), TYPE_ARGB_16, b_->get(), TYPE_ARGB_16, GetParam().intent);
  cmsDoTransform(direct.h, wide.data(), wide_out.data(), cmsUInt32Number(n));
  for (size_t i = 0; i < in.size(); ++i) {
    ASSERT_EQ(ours[i], i % 4 ? down_16(wide_out[i]) : 777) << i;
  }
}

TEST_P(ThreeDepths, FloatEqualsLittleCms) {
  const size_t n = 3000;
  const std::vector<float> in = random_pixels<float>(n, 3, 1.0f);
  std::vector<float> ours(in.size(), -3.0f), theirs(in.size(), -3.0f);
  ASSERT_EQ(engine().ApplyTransform(t_.get(), in.data(), VIZ_Format_fRGB, ours.data(), VIZ_Format_fRGB, int32_t(n),
                                    nullptr),
            VIZ_Err_None);
  LcmsTransform direct(a_->get(), TYPE_ARGB_FLT, b_->get(), TYPE_ARGB_FLT, GetParam().intent);
  cmsDoTransform(direct.h, in.data(), theirs.data(), cmsUInt32Number(n));
  for (size_t i = 0; i < in.size(); ++i) ASSERT_NEAR(ours[i], theirs[i], 1e-6) << i;
}

TEST_P(ThreeDepths, MixedFormatsEqualLittleCms) {
  const size_t n = 500;
  const std::vector<uint8_t> in = random_pixels<uint8_t>(n, 4, 255);
  std::vector<float> ours(in.size(), 0.0f), theirs(in.size(), 0.0f);
  ASSERT_EQ(engine().ApplyTransform(t_.get(), in.data(), VIZ_Format_prgb, ours.data(), VIZ_Format_fRGB, int32_t(n),
                                    nullptr),
            VIZ_Err_None);
  LcmsTransform direct(a_->get(), TYPE_ARGB_8, b_->get(), TYPE_ARGB_FLT, GetParam().intent);
  cmsDoTransform(direct.h, in.data(), theirs.data(), cmsUInt32Number(n));
  for (size_t i = 0; i < in.size(); ++i) ASSERT_NEAR(ours[i], theirs[i], 1e-6) << i;
}

INSTANTIATE_TEST_SUITE_P(RealProfiles, ThreeDepths,
                         ::testing::Values(Case{"srgb", kProPhoto, 1}, Case{kAdobe, kTableSRGB, 1},
                                           Case{kTableSRGB, kWideGamut, 3}, Case{kRec709, "p3", 0},
                                           Case{"table", kColordSRGB, 1}));

// ---- the pad channel ----

TEST(VizApply, CopyPadCarriesThePadChannelScaledBetweenFormats) {
  const Profile a = from_code(VIZ_Profile_sRGB), b = from_file(kAdobe);
  Transform t;
  ASSERT_EQ(engine().MakeColorTransform(a.get(), b.get(), 1, nullptr, t.out()), VIZ_Err_None);
  const uint8_t in[8] = {255, 10, 20, 30, 77, 200, 100, 0};
  uint8_t out8[8] = {};
  ASSERT_EQ(engine().ApplyTransform(t.get(), in, VIZ_Format_prgb, out8, VIZ_Format_prgb, 2, &kCopyPad), VIZ_Err_None);
  EXPECT_EQ(out8[0], 255);
  EXPECT_EQ(out8[4], 77);
  uint16_t out16[8] = {};
  ASSERT_EQ(engine().ApplyTransform(t.get(), in, VIZ_Format_prgb, out16, VIZ_Format_PRGB, 2, &kCopyPad), VIZ_Err_None);
  EXPECT_EQ(out16[0], 32768);
  EXPECT_EQ(out16[4], (77u * 0x808080u + 33200) >> 16);
  float outf[8] = {};
  ASSERT_EQ(engine().ApplyTransform(t.get(), in, VIZ_Format_prgb, outf, VIZ_Format_fRGB, 2, &kCopyPad), VIZ_Err_None);
  EXPECT_FLOAT_EQ(outf[0], 1.0f);
  EXPECT_FLOAT_EQ(outf[4], 77.0f / 255.0f);
  const uint16_t in16[4] = {16384, 100, 200, 300};
  uint8_t back[4] = {};
  ASSERT_EQ(engine().ApplyTransform(t.get(), in16, VIZ_Format_PRGB, back, VIZ_Format_prgb, 1, &kCopyPad), VIZ_Err_None);
  EXPECT_EQ(back[0], (16384u * 255 + 16384) >> 15);
}

TEST(VizApply, InPlaceGivesWhatTwoBuffersGive) {
  const Profile a = from_code(VIZ_Profile_sRGB), b = from_file(kProPhoto);
  Transform t;
  ASSERT_EQ(engine().MakeColorTransform(a.get(), b.get(), 1, nullptr, t.out()), VIZ_Err_None);
  for (VIZ_PixelFormat f : {VIZ_Format_prgb, VIZ_Format_PRGB, VIZ_Format_fRGB}) {
    const size_t bytes = f == VIZ_Format_prgb ? 1 : f == VIZ_Format_PRGB ? 2 : 4;
    std::vector<uint8_t> in(2000 * 4 * bytes);
    std::mt19937 rng(5);
    for (auto& v : in) v = uint8_t(rng() & 0x3f);  // small values are valid at every depth
    std::vector<uint8_t> separate(in.size()), in_place = in;
    ASSERT_EQ(engine().ApplyTransform(t.get(), in.data(), f, separate.data(), f, 2000, &kCopyPad), VIZ_Err_None);
    ASSERT_EQ(engine().ApplyTransform(t.get(), in_place.data(), f, in_place.data(), f, 2000, &kCopyPad), VIZ_Err_None);
    EXPECT_EQ(separate, in_place) << f;
  }
}

TEST(VizApply, ClipOptionLimitsFloatResults) {
  const Profile a = from_code(VIZ_Profile_sRGB), b = from_code(VIZ_Profile_LinearsRGB);
  Transform keep, clip;
  ASSERT_EQ(engine().MakeColorTransform(a.get(), b.get(), 1, TIN_GetDefaultVIZOptions(), keep.out()), VIZ_Err_None);
  ASSERT_EQ(engine().MakeColorTransform(a.get(), b.get(), 1, TIN_GetFastVIZOptions(), clip.out()), VIZ_Err_None);
  const float in[4] = {1.0f, 1.5f, -0.5f, 0.5f};
  float kept[4], clipped[4];
  ASSERT_EQ(engine().ApplyTransform(keep.get(), in, VIZ_Format_fRGB, kept, VIZ_Format_fRGB, 1, nullptr), VIZ_Err_None);
  ASSERT_EQ(engine().ApplyTransform(clip.get(), in, VIZ_Format_fRGB, clipped, VIZ_Format_fRGB, 1, nullptr), VIZ_Err_None);
  EXPECT_GT(kept[1], 1.5f);
  EXPECT_LT(kept[2], 0.0f);
  EXPECT_EQ(clipped[1], 1.0f);
  EXPECT_EQ(clipped[2], 0.0f);
  EXPECT_FLOAT_EQ(clipped[3], kept[3]);
}

TEST(VizApply, BadArgumentsAreRefused) {
  const Profile a = from_code(VIZ_Profile_sRGB), b = from_file(kAdobe);
  Transform t;
  ASSERT_EQ(engine().MakeColorTransform(a.get(), b.get(), 1, nullptr, t.out()), VIZ_Err_None);
  uint8_t px[16] = {};
  EXPECT_EQ(engine().ApplyTransform(nullptr, px, VIZ_Format_prgb, px, VIZ_Format_prgb, 1, nullptr), VIZ_Err_BadParameter);
  EXPECT_EQ(engine().ApplyTransform(t.get(), px, 0x41424344, px, VIZ_Format_prgb, 1, nullptr), VIZ_Err_PixelFormat);
  EXPECT_EQ(engine().ApplyTransform(t.get(), px, VIZ_Format_prgb, px, VIZ_Format_prgb, -1, nullptr), VIZ_Err_BadParameter);
  EXPECT_EQ(engine().ApplyTransform(t.get(), px, VIZ_Format_prgb, px, VIZ_Format_PRGB, 1, nullptr), VIZ_Err_BadParameter);
  EXPECT_EQ(engine().ApplyTransform(t.get(), nullptr, VIZ_Format_prgb, px, VIZ_Format_prgb, 1, nullptr),
            VIZ_Err_BadParameter);
  EXPECT_EQ(engine().ApplyTransform(t.get(), nullptr, VIZ_Format_prgb, nullptr, VIZ_Format_prgb, 0, nullptr),
            VIZ_Err_None);
  Transform none;
  EXPECT_EQ(engine().MakeColorTransform(a.get(), b.get(), 4, nullptr, none.out()), VIZ_Err_BadParameter);
  EXPECT_EQ(engine().MakeColorTransform(a.get(), nullptr, 1, nullptr, none.out()), VIZ_Err_BadParameter);
  const Profile gray = from_file(kGray), lab = from_file(kLabIdentity);
  EXPECT_EQ(engine().MakeColorTransform(gray.get(), b.get(), 1, nullptr, none.out()), VIZ_Err_ColorSpace);
  EXPECT_EQ(engine().MakeColorTransform(a.get(), lab.get(), 1, nullptr, none.out()), VIZ_Err_ColorSpace);
  EXPECT_EQ(none.get(), nullptr);
}

// ---- chains ----

TEST(VizChains, JoinedTransformsRunTheWholeChainAsLittleCmsDoes) {
  const Profile s = from_code(VIZ_Profile_sRGB), v = from_file(kProPhoto), d = from_file(kAdobe);
  Transform sv, vd, joined;
  ASSERT_EQ(engine().MakeColorTransform(s.get(), v.get(), 3, &kLcmsFloat, sv.out()), VIZ_Err_None);
  ASSERT_EQ(engine().MakeColorTransform(v.get(), d.get(), 1, nullptr, vd.out()), VIZ_Err_None);
  ASSERT_EQ(engine().ConcatTransforms(sv.get(), vd.get(), joined.out()), VIZ_Err_None);
  VIZ_TransformInfo info;
  ASSERT_EQ(engine().QueryTransform(joined.get(), &info), VIZ_Err_None);
  EXPECT_EQ(info.profile_count, 4);
  EXPECT_EQ(info.intents[0], 3);
  EXPECT_EQ(info.intents[1], 3);
  EXPECT_EQ(info.intents[2], 1);
  EXPECT_EQ(info.intents[3], 1);
  EXPECT_EQ(info.options.count, 1);  // the first transform's options
  EXPECT_EQ(info.options.entries[0].key, uint32_t(VIZ_Option_FloatFastPath));

  LcmsProfile ls(s.get()), lv(v.get()), ld(d.get());
  cmsHPROFILE chain[4] = {ls.get(), lv.get(), lv.get(), ld.get()};
  cmsUInt32Number intents[4] = {3, 3, 1, 1};
  cmsBool bpc[4] = {};
  cmsFloat64Number adaptation[4] = {1, 1, 1, 1};
  cmsHTRANSFORM direct = cmsCreateExtendedTransform(nullptr, 4, chain, bpc, intents, adaptation, nullptr, 0,
                                                    TYPE_ARGB_FLT, TYPE_ARGB_FLT, 0);
  ASSERT_NE(direct, nullptr);
  const std::vector<float> in = random_pixels<float>(1000, 6, 1.0f);
  std::vector<float> ours(in.size()), theirs(in.size());
  ASSERT_EQ(engine().ApplyTransform(joined.get(), in.data(), VIZ_Format_fRGB, ours.data(), VIZ_Format_fRGB, 1000,
                                    nullptr),
            VIZ_Err_None);
  cmsDoTransform(direct, in.data(), theirs.data(), 1000);
  cmsDeleteTransform(direct);
  for (size_t i = 0; i < in.size(); ++i) {
    if (i % 4 == 0) continue;  // the pad channel
    ASSERT_EQ(ours[i], theirs[i]) << i;
  }
}

TEST(VizChains, OptimizingKeepsTheChainAndSamplesIntegerFormatsOnAGrid) {
  const Profile s = from_code(VIZ_Profile_sRGB), d = from_file(kWideGamut);
  Transform t, optimized;
  ASSERT_EQ(engine().MakeColorTransform(s.get(), d.get(), 1, nullptr, t.out()), VIZ_Err_None);
  const _t_VIZ_Options grid = {1, {{VIZ_Option_LUTPoints, 33}}};
  ASSERT_EQ(engine().OptimizeTransform(t.get(), &grid, optimized.out()), VIZ_Err_None);
  VIZ_TransformInfo info;
  ASSERT_EQ(engine().QueryTransform(optimized.get(), &info), VIZ_Err_None);
  EXPECT_EQ(info.lut_points, 33);
  EXPECT_EQ(info.profile_count, 2);

  const std::vector<uint16_t> in = random_pixels<uint16_t>(2000, 8, 32768);
  std::vector<uint16_t> exact(in.size()), sampled(in.size());
  ASSERT_EQ(engine().ApplyTransform(t.get(), in.data(), VIZ_Format_PRGB, exact.data(), VIZ_Format_PRGB, 2000, nullptr),
            VIZ_Err_None);
  ASSERT_EQ(engine().ApplyTransform(optimized.get(), in.data(), VIZ_Format_PRGB, sampled.data(), VIZ_Format_PRGB, 2000,
                                    nullptr),
            VIZ_Err_None);
  // LittleCMS's grid of 33 points gives the same transform at 16 bits.
  LcmsProfile ls(s.get()), ld(d.get());
  LcmsTransform direct(ls.get(), TYPE_ARGB_16, ld.get(), TYPE_ARGB_16, 1, cmsFLAGS_FORCE_CLUT | cmsFLAGS_GRIDPOINTS(33));
  std::vector<uint16_t> wide(in.size()), wide_out(in.size());
  for (size_t i = 0; i < in.size(); ++i) wide[i] = up_16(in[i]);
  cmsDoTransform(direct.h, wide.data(), wide_out.data(), 2000);
  int32_t worst = 0;
  for (size_t i = 0; i < in.size(); ++i) {
    if (i % 4 == 0) continue;
    ASSERT_EQ(sampled[i], down_16(wide_out[i])) << i;
    worst = std::max(worst, std::abs(int32_t(sampled[i]) - int32_t(exact[i])));
  }
  EXPECT_LE(worst, 328);  // a grid stays within 1% of the exact transform
  const _t_VIZ_Options bad = {1, {{VIZ_Option_LUTPoints, 400}}};
  Transform none;
  EXPECT_EQ(engine().OptimizeTransform(t.get(), &bad, none.out()), VIZ_Err_BadParameter);
}

TEST(VizChains, ReferencesKeepATransformAlive) {
  const Profile s = from_code(VIZ_Profile_sRGB), d = from_file(kAdobe);
  VIZTransform* t = nullptr;
  ASSERT_EQ(engine().MakeColorTransform(s.get(), d.get(), 1, nullptr, &t), VIZ_Err_None);
  ASSERT_EQ(engine().ReferenceTransform(t), VIZ_Err_None);
  ASSERT_EQ(engine().UnReferenceTransform(t), VIZ_Err_None);
  uint8_t px[4] = {255, 1, 2, 3};
  EXPECT_EQ(engine().ApplyTransform(t, px, VIZ_Format_prgb, px, VIZ_Format_prgb, 1, nullptr), VIZ_Err_None);
  ASSERT_EQ(engine().UnReferenceTransform(t), VIZ_Err_None);
  EXPECT_EQ(engine().UnReferenceTransform(nullptr), VIZ_Err_BadParameter);
}

}  // namespace
