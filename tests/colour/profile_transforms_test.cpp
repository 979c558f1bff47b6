// Worlds through profile transforms, held against LittleCMS transforming
// the same pixels directly: 8 bits exact, 16 bits exact after the engine's
// 0..32768 scaling, float within a millionth; packed and padded rows, with
// and without the alpha copied; progress, aborts and failures.
#include <gtest/gtest.h>

#include <cmath>

#include "colour_test_support.h"

namespace {

using namespace colourtest;

template <class Px>
constexpr cmsUInt32Number lcms_format() {
  if constexpr (sizeof(Px) == 4) return TYPE_ARGB_8;
  else if constexpr (sizeof(Px) == 8) return TYPE_ARGB_16;
  else return TYPE_ARGB_FLT;
}

// What LittleCMS makes of one row, colour only, on the engine's scale.
template <class Px>
std::vector<Px> lcms_row(cmsHTRANSFORM t, const Px* row, int32_t width) {
  std::vector<Px> in(row, row + width);
  std::vector<Px> out(static_cast<size_t>(width));
  if constexpr (sizeof(Px) == 8) {
    for (Px& p : in) p = {up_16(p.alpha), up_16(p.red), up_16(p.green), up_16(p.blue)};
  }
  cmsDoTransform(t, in.data(), out.data(), cmsUInt32Number(width));
  if constexpr (sizeof(Px) == 8) {
    for (Px& p : out) p = {0, down_16(p.red), down_16(p.green), down_16(p.blue)};
  }
  return out;
}

template <class Px>
void expect_colour_equal(const Px& ours, const Px& theirs, const std::string& where) {
  if constexpr (sizeof(Px) == 16) {
    EXPECT_NEAR(ours.red, theirs.red, 1e-6) << where;
    EXPECT_NEAR(ours.green, theirs.green, 1e-6) << where;
    EXPECT_NEAR(ours.blue, theirs.blue, 1e-6) << where;
  } else {
    EXPECT_EQ(ours.red, theirs.red) << where;
    EXPECT_EQ(ours.green, theirs.green) << where;
    EXPECT_EQ(ours.blue, theirs.blue) << where;
  }
}

template <class Px>
class ConvertProfileToProfile : public rxtest::BornPackage {};
TYPED_TEST_SUITE(ConvertProfileToProfile, rxtest::AllPixelTypes);

TYPED_TEST(ConvertProfileToProfile, EqualsLittleCmsOnPackedAndPaddedRowsWithAndWithoutAlpha) {
  using Px = TypeParam;
  const TIN_VIZ_SharedProfile from = from_code(VIZ_Profile_sRGB), to = from_code(VIZ_Profile_ProPhotoRGB);
  LcmsProfile a(*from), b(*to);
  cmsHTRANSFORM direct = cmsCreateTransform(a.get(), lcms_format<Px>(), b.get(), lcms_format<Px>(), 1, 0);
  ASSERT_NE(direct, nullptr);
  struct Layout {
    int32_t padding, misalign;
  };
  for (const Layout layout : {Layout{0, 0}, Layout{12, 4}, Layout{32, 0}}) {
    for (bool copy_alpha : {false, true}) {
      rxtest::TestWorld<Px> src(37, 9, layout.padding, layout.misalign), dst(37, 9, layout.padding, 0);
      fill_random(src, 3);
      fill_random(dst, 4);
      const std::vector<Px> before = pixels_of(dst);
      const auto s = object(src);
      const auto d = object(dst);
      RX_ConvertProfileToProfile(VIZ_Profile_sRGB, VIZ_Profile_ProPhotoRGB, s.get(), d.get(), copy_alpha, nullptr);
      for (int32_t y = 0; y < src.height(); ++y) {
        const std::vector<Px> want = lcms_row(direct, &src.at(0, y), src.width());
        for (int32_t x = 0; x < src.width(); ++x) {
          const std::string where = "padding " + std::to_string(layout.padding) + (copy_alpha ? " copy" : "") +
                                    " at " + std::to_string(x) + "," + std::to_string(y);
          expect_colour_equal(dst.at(x, y), want[size_t(x)], where);
          // The alpha is src's when copied, else what dst had.
          EXPECT_EQ(dst.at(x, y).alpha, copy_alpha ? src.at(x, y).alpha : before[size_t(y * 37 + x)].alpha) << where;
        }
      }
    }
  }
  cmsDeleteTransform(direct);
}

TYPED_TEST(ConvertProfileToProfile, InPlaceGivesTheSameAsTwoWorlds) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> src(20, 5, 8), in_place(20, 5, 8), dst(20, 5, 8);
  fill_random(src, 7);
  set_pixels(in_place, pixels_of(src));
  const auto s = object(src), d = object(dst), i = object(in_place);
  RX_ConvertProfileToProfile(VIZ_Profile_sRGB, VIZ_Profile_Rec2020, s.get(), d.get(), true, nullptr);
  RX_ConvertProfileToProfile(VIZ_Profile_sRGB, VIZ_Profile_Rec2020, i.get(), i.get(), true, nullptr);
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 20; ++x) EXPECT_TRUE(rxtest::same_pixel(in_place.at(x, y), dst.at(x, y)));
  }
}

// ---- the row path: progress, aborts, failures ----

class ApplyRows : public rxtest::BornPackage {
 protected:
  void SetUp() override {
    rxtest::BornPackage::SetUp();
    from_ = from_code(VIZ_Profile_sRGB);
    to_ = from_code(VIZ_Profile_AdobeRGB);
    transform_ = RX_GetLinearizeTransform(from_, to_, false);  // any transform will do
  }
  TIN_VIZ_SharedProfile from_, to_;
  TIN_VIZ_Transform transform_;
};

struct ProgressLog {
  std::vector<std::pair<int32_t, int32_t>> calls;
  int32_t aborts = 0;
  RX_Err answer_at_row = -1;  // the row whose progress call answers 517
};

RX_Err log_progress(void* refcon, int32_t row, int32_t total) {
  auto* log = static_cast<ProgressLog*>(refcon);
  log->calls.emplace_back(row, total);
  return row == log->answer_at_row ? RX_Result_Interrupted : RX_Result_OK;
}

RX_Err log_abort(void* refcon) {
  auto* log = static_cast<ProgressLog*>(refcon);
  ++log->aborts;
  return log->aborts == 2 ? RX_Result_Interrupted : RX_Result_OK;
}

TEST_F(ApplyRows, PaddedRowsAskForProgressAtRows63And127Only) {
  rxtest::TestWorld<RX_Pixel8> src(5, 130, 4), dst(5, 130, 4);
  ProgressLog log;
  const RX_ProgressInfo progress{&log, nullptr, &log_progress};
  const auto s = object(src), d = object(dst);
  RX_VIZApplyTransform(transform_.Get(), s.get(), d.get(), false, &progress);
  EXPECT_EQ(log.calls, (std::vector<std::pair<int32_t, int32_t>>{{63, 130}, {127, 130}}));
}

TEST_F(ApplyRows, AWorldOfFewerThan64RowsNeverReports) {
  rxtest::TestWorld<RX_Pixel16> src(5, 63, 8), dst(5, 63, 8);
  ProgressLog log;
  const RX_ProgressInfo progress{&log, &log_abort, &log_progress};
  const auto s = object(src), d = object(dst);
  RX_VIZApplyTransform(transform_.Get(), s.get(), d.get(), true, &progress);
  EXPECT_TRUE(log.calls.empty());
  EXPECT_EQ(log.aborts, 0);
}

TEST_F(ApplyRows, PackedRowsGoInOneCallWithoutProgress) {
  rxtest::TestWorld<RX_Pixel8> src(5, 200), dst(5, 200);
  ProgressLog log;
  const RX_ProgressInfo progress{&log, &log_abort, &log_progress};
  const auto s = object(src), d = object(dst);
  RX_VIZApplyTransform(transform_.Get(), s.get(), d.get(), false, &progress);
  EXPECT_TRUE(log.calls.empty());
  EXPECT_EQ(log.aborts, 0);
  // With the alpha copied the same worlds go row by row.
  RX_VIZApplyTransform(transform_.Get(), s.get(), d.get(), true, &progress);
  EXPECT_EQ(log.calls.size(), 3u);
}

TEST_F(ApplyRows, ANonZeroProgressIsThrownAndTheRowsDoneStayDone) {
  rxtest::TestWorld<RX_Pixel8> src(3, 200, 4), dst(3, 200, 4);
  fill_random(src, 9);
  ProgressLog log;
  log.answer_at_row = 127;
  const RX_ProgressInfo progress{&log, nullptr, &log_progress};
  const auto s = object(src), d = object(dst);
  try {
    RX_VIZApplyTransform(transform_.Get(), s.get(), d.get(), true, &progress);
    FAIL() << "nothing thrown";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_Interrupted);
  }
  EXPECT_EQ(dst.at(0, 127).alpha, src.at(0, 127).alpha);  // converted
  EXPECT_EQ(dst.at(0, 128).alpha, 0);                    // never reached
  EXPECT_EQ(dst.at(2, 199).red, 0);
}

TEST_F(ApplyRows, WithoutAProgressFunctionTheAbortFunctionIsAsked) {
  rxtest::TestWorld<RX_PixelFloat> src(3, 200, 4), dst(3, 200, 4);
  ProgressLog log;
  const RX_ProgressInfo progress{&log, &log_abort, nullptr};
  const auto s = object(src), d = object(dst);
  EXPECT_THROW(RX_VIZApplyTransform(transform_.Get(), s.get(), d.get(), false, &progress), RX_Err);
  EXPECT_EQ(log.aborts, 2);  // at rows 63 and 127; the second answered 517
}

TEST_F(ApplyRows, CopyingAlphaBetweenDepthsFailsAtTheFirstRowWithNothingConverted) {
  rxtest::TestWorld<RX_Pixel8> src(4, 3);
  rxtest::TestWorld<RX_Pixel16> dst(4, 3);
  fill_random(src, 2);
  const std::vector<RX_Pixel16> before = pixels_of(dst);
  const auto s = object(src), d = object(dst);
  rxtest::ReportCapture capture;
  try {
    RX_VIZApplyTransform(transform_.Get(), s.get(), d.get(), true, nullptr);
    FAIL() << "nothing thrown";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_Internal);
  }
  ASSERT_EQ(capture.errors().size(), 1u);
  EXPECT_EQ(capture.errors()[0].kind, RXHost_Report_Verification);
  EXPECT_EQ(capture.errors()[0].text, "Can't copy alpha if src and dst have different depth.");
  const std::vector<RX_Pixel16> after = pixels_of(dst);
  EXPECT_EQ(0, std::memcmp(before.data(), after.data(), before.size() * sizeof(RX_Pixel16)));
  // Without the copy, different depths are fine: 8 bits in, 16 out.
  EXPECT_NO_THROW(RX_VIZApplyTransform(transform_.Get(), s.get(), d.get(), false, nullptr));
}

TEST_F(ApplyRows, CopyingAlphaOfAnUnknownDepthFails) {
  std::vector<uint8_t> pixels(3 * 4 * 3 * 2, 0);
  OddDepthWorld src(pixels.data(), 2, 2, 24, 24), dst(pixels.data(), 2, 2, 24, 24);
  rxtest::ReportCapture capture;
  try {
    RX_VIZApplyTransform(transform_.Get(), &src, &dst, true, nullptr);
    FAIL() << "nothing thrown";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_Internal);
  }
  ASSERT_EQ(capture.errors().size(), 1u);
  EXPECT_EQ(capture.errors()[0].text, "Unknown world bitdepth in##CONDITIONNAME");
}

TEST_F(ApplyRows, AnAlphaLineThatCannotBeHadThrowsOutOfMemoryAndLeavesTheBooks) {
  rxtest::TestWorld<RX_Pixel8> src(4, 3, 4), dst(4, 3, 4);
  const auto s = object(src), d = object(dst);
  const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
  rxtest::ReportCapture capture;
  RXHost_FailNthAllocation(1);
  try {
    RX_VIZApplyTransform(transform_.Get(), s.get(), d.get(), true, nullptr);
    FAIL() << "nothing thrown";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_OutOfMemory);
  }
  RXHost_FailNthAllocation(0);
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

TEST_F(ApplyRows, AnUnknownProfileCodeIsAnEngineErrorThrownThroughTheGlue) {
  rxtest::TestWorld<RX_Pixel8> src(4, 3), dst(4, 3);
  const auto s = object(src), d = object(dst);
  try {
    RX_ConvertProfileToProfile(VIZ_Profile_sRGB, 0x3f3f3f3f, s.get(), d.get(), false, nullptr);
    FAIL() << "nothing thrown";
  } catch (const TIN_VIZ_Exception& e) {
    EXPECT_EQ(e.Code(), VIZ_Err_UnknownCode);
    EXPECT_STREQ(e.what(), "colour engine error 'code': unknown profile code 0x3f3f3f3f");
  }
}

// ---- linearize transforms, display profiles, gammas ----

class ColourQueries : public rxtest::BornPackage {};

TEST_F(ColourQueries, LinearizeGoesToTheLinearFormOfToOrFromTheLinearFormOfFrom) {
  const TIN_VIZ_SharedProfile srgb = from_code(VIZ_Profile_sRGB), pro = from_file(kProPhoto);
  const TIN_VIZ_Transform towards = RX_GetLinearizeTransform(srgb, pro, true);
  VIZ_TransformInfo info = towards.Query();
  ASSERT_EQ(info.profile_count, 2);
  EXPECT_TRUE(TIN_EqualVIZIDs(info.profiles[0], srgb->GetID()));
  EXPECT_TRUE(TIN_EqualVIZIDs(info.profiles[1], TIN_VIZ_GetLinearRGBProfile(pro)->GetID()));
  EXPECT_EQ(info.intents[0], 1);
  EXPECT_EQ(info.options.entries[0].key, uint32_t(VIZ_Option_Quality));  // default options

  const TIN_VIZ_Transform away = RX_GetLinearizeTransform(srgb, pro, false);
  info = away.Query();
  EXPECT_TRUE(TIN_EqualVIZIDs(info.profiles[0], TIN_VIZ_GetLinearRGBProfile(srgb)->GetID()));
  EXPECT_TRUE(TIN_EqualVIZIDs(info.profiles[1], pro->GetID()));

  // Empty profiles are the default profile: sRGB to linear sRGB, the sRGB
  // curve alone.
  const TIN_VIZ_Transform empty = RX_GetLinearizeTransform(TIN_VIZ_SharedProfile(), shared(TIN_VIZ_Profile()), true);
  info = empty.Query();
  EXPECT_TRUE(TIN_EqualVIZIDs(info.profiles[0], TIN_VIZ_GetDefaultProfile()->GetID()));
  rxtest::TestWorld<RX_PixelFloat> w(16, 1);
  for (int32_t x = 0; x < 16; ++x) w.at(x, 0) = {1.0f, x / 15.0f, x / 30.0f, 0.02f};
  const auto o = object(w);
  RX_VIZApplyTransform(empty.Get(), o.get(), o.get(), false, nullptr);
  const auto curve = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
  for (int32_t x = 0; x < 16; ++x) {
    EXPECT_NEAR(w.at(x, 0).red, curve(x / 15.0), 2e-5);
    EXPECT_NEAR(w.at(x, 0).green, curve(x / 30.0), 2e-5);
    EXPECT_NEAR(w.at(x, 0).blue, curve(0.02), 2e-5);
  }
}

TEST_F(ColourQueries, TheDisplayProfileComesFromThePreferencesOrIsSrgb) {
  PrefsFile prefs;
  EXPECT_EQ(RX_GetPlatformDisplayProfile(nullptr).GetNameUTF8(), "sRGB IEC61966-2.1");
  prefs.write("[Display Profiles]\nMain = " + kWideGamut + "\nDP-1 = " + kProPhoto + "\n");
  EXPECT_EQ(RX_GetPlatformDisplayProfile(nullptr).GetNameUTF8(), "Wide Gamut RGB");
  EXPECT_EQ(RX_GetPlatformDisplayProfile("DP-1").GetNameUTF8(), "ProPhoto RGB");
  EXPECT_EQ(RX_GetPlatformDisplayProfile("HDMI-2").GetNameUTF8(), "Wide Gamut RGB");
}

TEST_F(ColourQueries, GammasOfAProfileOrOfTheDefault) {
  float r = 0, g = 0, b = 0;
  const TIN_VIZ_SharedProfile pro = from_file(kProPhoto);
  RX_GetCalRGBGammas(pro.get(), &r, &g, &b);
  EXPECT_NEAR(r, 1.8f, 1e-4f);
  EXPECT_NEAR(g, 1.8f, 1e-4f);
  EXPECT_NEAR(b, 1.8f, 1e-4f);
  RX_GetCalRGBGammas(nullptr, &r, &g, &b);
  EXPECT_NEAR(g, 2.2f, 0.01f);  // sRGB's curve, as a power
  const TIN_VIZ_Profile gray = TIN_VIZ_Profile::FromFile("/usr/share/color/icc/Gray.icc");
  EXPECT_THROW(RX_GetCalRGBGammas(&gray, &r, &g, &b), TIN_VIZ_Exception);
}

}  // namespace
