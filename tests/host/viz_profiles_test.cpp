// Profiles of the engine: built-in codes, ICC data and its damage, what a
// profile tells of itself (held against LittleCMS reading the same data),
// the linear-light form, calibrated gammas, over-range, display profiles
// from the preferences.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "viz_test_support.h"

namespace {

using namespace viztest;

std::string description(VIZProfile* p) {
  char text[256];
  EXPECT_EQ(engine().ProfileDescription(p, text, sizeof text), VIZ_Err_None);
  return text;
}

TEST(VizProfiles, EveryBuiltInCodeGivesAnRgbProfileWithItsName) {
  const std::pair<VIZ_ProfileCode, const char*> codes[] = {
      {VIZ_Profile_sRGB, "sRGB IEC61966-2.1"}, {VIZ_Profile_LinearsRGB, "Linear sRGB"},
      {VIZ_Profile_AdobeRGB, "Adobe RGB (1998) compatible"}, {VIZ_Profile_ProPhotoRGB, "ProPhoto RGB"},
      {VIZ_Profile_Rec709, "Rec. 709"}, {VIZ_Profile_Rec2020, "Rec. 2020"},
      {VIZ_Profile_LinearRec2020, "Linear Rec. 2020"}, {VIZ_Profile_DisplayP3, "Display P3"},
      {VIZ_Profile_ACEScg, "ACEScg"}};
  for (const auto& [code, name] : codes) {
    Profile p;
    ASSERT_EQ(engine().ProfileFromCode(code, p.out()), VIZ_Err_None) << name;
    uint32_t space = 0;
    EXPECT_EQ(engine().ProfileColorSpace(p.get(), &space), VIZ_Err_None);
    EXPECT_EQ(space, uint32_t(cmsSigRgbData)) << name;
    EXPECT_EQ(description(p.get()), name);
    // LittleCMS reads the data the engine hands out as the same profile.
    LcmsProfile lcms(p.get());
    EXPECT_TRUE(cmsIsMatrixShaper(lcms.get())) << name;
  }
}

TEST(VizProfiles, ACodeGivesTheSameProfileEachTime) {
  const Profile a = from_code(VIZ_Profile_Rec2020), b = from_code(VIZ_Profile_Rec2020);
  EXPECT_EQ(a.get(), b.get());
}

TEST(VizProfiles, AnUnknownCodeIsRefused) {
  Profile p;
  EXPECT_EQ(engine().ProfileFromCode(0x78787878, p.out()), VIZ_Err_UnknownCode);
  EXPECT_EQ(p.get(), nullptr);
  try {
    TIN_VIZ_ETX(engine().ProfileFromCode(0x78787878, p.out()));
    FAIL() << "no exception";
  } catch (const TIN_VIZ_Exception& e) {
    EXPECT_EQ(e.Code(), VIZ_Err_UnknownCode);
    EXPECT_STREQ(e.what(), "colour engine error 'code': unknown profile code 0x78787878");
  }
}

TEST(VizProfiles, TheIdentityIsLittleCmsDigestOfTheData) {
  for (const std::string& path : {kProPhoto, kTableSRGB, kGray}) {
    const Profile p = from_file(path);
    _t_VIZ_ID id;
    ASSERT_EQ(engine().ProfileID(p.get(), &id), VIZ_Err_None);
    LcmsProfile direct(path);
    ASSERT_TRUE(cmsMD5computeID(direct.get()));
    uint8_t digest[16];
    cmsGetHeaderProfileID(direct.get(), digest);
    EXPECT_EQ(0, std::memcmp(id.bytes, digest, 16)) << path;
  }
  const Profile a = from_file(kProPhoto), b = from_file(kProPhoto), c = from_file(kAdobe);
  int32_t equal = -1;
  EXPECT_EQ(engine().ProfilesEqual(a.get(), b.get(), &equal), VIZ_Err_None);
  EXPECT_EQ(equal, 1);
  EXPECT_EQ(engine().ProfilesEqual(a.get(), c.get(), &equal), VIZ_Err_None);
  EXPECT_EQ(equal, 0);
}

TEST(VizProfiles, TheDataIsHandedBackAsGiven) {
  const std::vector<uint8_t> file = read_file(kAdobe);
  const Profile p = from_file(kAdobe);
  uint32_t size = 0;
  ASSERT_EQ(engine().ProfileSize(p.get(), &size), VIZ_Err_None);
  ASSERT_EQ(size, file.size());
  std::vector<uint8_t> data(size);
  EXPECT_EQ(engine().ProfileData(p.get(), data.data(), size - 1), VIZ_Err_BadParameter);
  ASSERT_EQ(engine().ProfileData(p.get(), data.data(), size), VIZ_Err_None);
  EXPECT_EQ(data, file);
}

TEST(VizProfiles, DamagedDataIsRefusedWithoutAProfile) {
  std::vector<uint8_t> data = read_file(kAdobe);
  Profile p;
  EXPECT_EQ(engine().MakeBufferProfile(data.data(), 100, p.out()), VIZ_Err_BadProfile);  // under a header
  EXPECT_EQ(engine().MakeBufferProfile(nullptr, 4000, p.out()), VIZ_Err_BadProfile);
  std::vector<uint8_t> junk(4000, 0x5a);
  EXPECT_EQ(engine().MakeBufferProfile(junk.data(), uint32_t(junk.size()), p.out()), VIZ_Err_BadProfile);
  data.resize(data.size() / 2);  // cut short: the tags point past the end
  EXPECT_EQ(engine().MakeBufferProfile(data.data(), uint32_t(data.size()), p.out()), VIZ_Err_BadProfile);
  EXPECT_EQ(p.get(), nullptr);
  EXPECT_EQ(engine().MakeBufferProfile(junk.data(), 4000, nullptr), VIZ_Err_BadParameter);
}

TEST(VizProfiles, DescriptionsAreCutAtWholeCharacters) {
  const Profile p = from_code(VIZ_Profile_ProPhotoRGB);
  char text[6];
  ASSERT_EQ(engine().ProfileDescription(p.get(), text, sizeof text), VIZ_Err_None);
  EXPECT_STREQ(text, "ProPh");
  EXPECT_EQ(engine().ProfileDescription(p.get(), text, 0), VIZ_Err_BadParameter);
}

TEST(VizProfiles, ExtractCalRgbReadsGammasWhitesAndColorants) {
  VIZ_CalRGB cal;
  const Profile pro = from_file(kProPhoto);
  ASSERT_EQ(engine().ExtractCalRGB(pro.get(), &cal), VIZ_Err_None);
  for (double g : cal.gamma) EXPECT_NEAR(g, 1.8, 1e-4);  // a power curve: its exponent
  LcmsProfile direct(kProPhoto);
  const auto* red = static_cast<const cmsCIEXYZ*>(cmsReadTag(direct.get(), cmsSigRedColorantTag));
  EXPECT_DOUBLE_EQ(cal.matrix[0], red->X);
  EXPECT_DOUBLE_EQ(cal.matrix[3], red->Y);
  EXPECT_DOUBLE_EQ(cal.matrix[6], red->Z);
  const auto* white = static_cast<const cmsCIEXYZ*>(cmsReadTag(direct.get(), cmsSigMediaWhitePointTag));
  EXPECT_DOUBLE_EQ(cal.white[1], white->Y);

  // sRGB's curve is no power: LittleCMS's estimate.
  const Profile srgb = from_code(VIZ_Profile_sRGB);
  ASSERT_EQ(engine().ExtractCalRGB(srgb.get(), &cal), VIZ_Err_None);
  LcmsProfile srgb_lcms(srgb.get());
  const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(srgb_lcms.get(), cmsSigGreenTRCTag));
  EXPECT_DOUBLE_EQ(cal.gamma[1], cmsEstimateGamma(curve, 10.0));
  EXPECT_NEAR(cal.gamma[1], 2.2, 0.01);
  double gamma = 0;
  EXPECT_EQ(engine().ExtractGamma(srgb.get(), &gamma), VIZ_Err_None);
  EXPECT_DOUBLE_EQ(gamma, cal.gamma[1]);

  const Profile gray = from_file(kGray);
  EXPECT_EQ(engine().ExtractCalRGB(gray.get(), &cal), VIZ_Err_ColorSpace);
}

TEST(VizProfiles, TheLinearFormKeepsPrimariesAndWhiteWithLinearCurves) {
  const Profile base = from_file(kAdobe);
  Profile linear;
  ASSERT_EQ(engine().MakeLinearRGB(base.get(), linear.out()), VIZ_Err_None);
  EXPECT_EQ(description(linear.get()), "Linear " + description(base.get()));
  LcmsProfile b(base.get()), l(linear.get());
  for (cmsTagSignature tag : {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag,
                              cmsSigMediaWhitePointTag}) {
    const auto* x = static_cast<const cmsCIEXYZ*>(cmsReadTag(b.get(), tag));
    const auto* y = static_cast<const cmsCIEXYZ*>(cmsReadTag(l.get(), tag));
    ASSERT_TRUE(x && y);
    EXPECT_DOUBLE_EQ(x->X, y->X);
    EXPECT_DOUBLE_EQ(x->Y, y->Y);
    EXPECT_DOUBLE_EQ(x->Z, y->Z);
  }
  for (cmsTagSignature tag : {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag}) {
    EXPECT_TRUE(cmsIsToneCurveLinear(static_cast<const cmsToneCurve*>(cmsReadTag(l.get(), tag))));
  }
  // Base to its linear form is the tone curve alone: x^(563/256).
  Transform t;
  ASSERT_EQ(engine().MakeColorTransform(base.get(), linear.get(), 1, nullptr, t.out()), VIZ_Err_None);
  const std::vector<float> in = random_pixels<float>(500, 2, 1.0f);
  std::vector<float> out(in.size());
  ASSERT_EQ(engine().ApplyTransform(t.get(), in.data(), VIZ_Format_fRGB, out.data(), VIZ_Format_fRGB, 500, nullptr),
            VIZ_Err_None);
  for (size_t i = 0; i < in.size(); ++i) {
    if (i % 4 == 0) continue;  // the pad channel
    EXPECT_NEAR(out[i], std::pow(in[i], 563.0 / 256.0), 2e-5) << i;
  }
}

TEST(VizProfiles, TheLinearFormOfATableProfileMeasuresItsPrimaries) {
  const std::vector<uint8_t> data = table_rgb_profile();
  Profile base, linear;
  ASSERT_EQ(engine().MakeBufferProfile(data.data(), uint32_t(data.size()), base.out()), VIZ_Err_None);
  ASSERT_EQ(engine().MakeLinearRGB(base.get(), linear.out()), VIZ_Err_None);
  // The table was sampled from sRGB: its primaries are sRGB's.
  LcmsProfile l(linear.get());
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  for (cmsTagSignature tag : {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag}) {
    const auto* x = static_cast<const cmsCIEXYZ*>(cmsReadTag(srgb, tag));
    const auto* y = static_cast<const cmsCIEXYZ*>(cmsReadTag(l.get(), tag));
    EXPECT_NEAR(x->X, y->X, 2e-3);
    EXPECT_NEAR(x->Y, y->Y, 2e-3);
    EXPECT_NEAR(x->Z, y->Z, 2e-3);
  }
  cmsCloseProfile(srgb);
  const Profile gray = from_file(kGray);
  Profile none;
  EXPECT_EQ(engine().MakeLinearRGB(gray.get(), none.out()), VIZ_Err_ColorSpace);
}

TEST(VizProfiles, OnlyLinearMatrixShaperProfilesAreOverRange) {
  int32_t over = -1;
  const Profile linear = from_code(VIZ_Profile_LinearsRGB), acescg = from_code(VIZ_Profile_ACEScg);
  const Profile srgb = from_code(VIZ_Profile_sRGB), pro = from_file(kProPhoto), gray = from_file(kGray);
  for (VIZProfile* p : {linear.get(), acescg.get()}) {
    EXPECT_EQ(engine().ProfileOverRange(p, &over), VIZ_Err_None);
    EXPECT_EQ(over, 1);
  }
  for (VIZProfile* p : {srgb.get(), pro.get(), gray.get()}) {
    EXPECT_EQ(engine().ProfileOverRange(p, &over), VIZ_Err_None);
    EXPECT_EQ(over, 0);
  }
}

// ---- display profiles from the preferences ----

class DisplayProfiles : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() / ("rx-viz-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir_);
    prefs_ = (dir_ / "prefs.ini").string();
    const char* old = std::getenv("RX_PREFS");
    had_ = old != nullptr;
    if (had_) old_ = old;
    setenv("RX_PREFS", prefs_.c_str(), 1);
  }
  void TearDown() override {
    if (had_) setenv("RX_PREFS", old_.c_str(), 1);
    else unsetenv("RX_PREFS");
    std::filesystem::remove_all(dir_);
  }
  void write(const std::string& text) { std::ofstream(prefs_) << text; }

  std::filesystem::path dir_;
  std::string prefs_, old_;
  bool had_ = false;
};

TEST_F(DisplayProfiles, WithoutPreferencesTheMainDisplayIsSrgb) {
  Profile main;
  ASSERT_EQ(engine().MainMonitorProfile(main.out()), VIZ_Err_None);
  const Profile srgb = from_code(VIZ_Profile_sRGB);
  EXPECT_EQ(main.get(), srgb.get());
  Profile by_code;
  ASSERT_EQ(engine().ProfileFromCode(VIZ_Profile_MainMonitor, by_code.out()), VIZ_Err_None);
  EXPECT_EQ(by_code.get(), srgb.get());
}

TEST_F(DisplayProfiles, ThePreferencesNameEachDisplaysProfileFile) {
  write("[Display Profiles]\nMain = " + kAdobe + "\nHDMI-1 = " + kProPhoto + "\n");
  Profile main, hdmi, other;
  ASSERT_EQ(engine().MainMonitorProfile(main.out()), VIZ_Err_None);
  EXPECT_EQ(description(main.get()), "Compatible with Adobe RGB (1998)");
  ASSERT_EQ(engine().MonitorProfileN("HDMI-1", hdmi.out()), VIZ_Err_None);
  EXPECT_EQ(description(hdmi.get()), "ProPhoto RGB");
  ASSERT_EQ(engine().MonitorProfileN("DP-2", other.out()), VIZ_Err_None);  // not named: the main one
  EXPECT_EQ(description(other.get()), "Compatible with Adobe RGB (1998)");
  Profile null_display;
  ASSERT_EQ(engine().MonitorProfileN(nullptr, null_display.out()), VIZ_Err_None);
  EXPECT_EQ(description(null_display.get()), "Compatible with Adobe RGB (1998)");
}

TEST_F(DisplayProfiles, AMissingFileOrDamagedPreferencesAreErrors) {
  write("[Display Profiles]\nMain = /no/such/profile.icc\n");
  Profile p;
  EXPECT_EQ(engine().MainMonitorProfile(p.out()), VIZ_Err_BadProfile);
  write("[Display Profiles]\nthis line is damage\n");
  EXPECT_EQ(engine().MainMonitorProfile(p.out()), VIZ_Err_General);
  EXPECT_EQ(p.get(), nullptr);
}

}  // namespace
