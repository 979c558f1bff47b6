// Colour settings: invalidation, transfer between settings, equality and
// the deliberately partial sort order, the adjusted profile, gammas,
// cached tables, the emergency settings and the working space's name.
#include <gtest/gtest.h>

#include "colour_test_support.h"

namespace {

using namespace colourtest;

class ColourSettings : public rxtest::BornPackage {
 protected:
  TIN_VIZ_ProfilePool pool_, other_pool_;
  TIN_VIZ_SharedProfile srgb_ = from_code(VIZ_Profile_sRGB);
  TIN_VIZ_SharedProfile pro_ = from_file(kProPhoto);
};

TEST_F(ColourSettings, NewSettingsAreEmpty) {
  const RX_ColorSettings s(&pool_);
  EXPECT_FALSE(s.IsValid());
  EXPECT_FALSE(s.GetLinearize());
  EXPECT_FALSE(s.GetLinearBlending());
  EXPECT_TRUE(TIN_EqualVIZIDs(s.GetProfileID(), VIZ_EmptyProfile_ID));
  EXPECT_EQ(s.GetProfilePool(), &pool_);
  EXPECT_EQ(s.GetProfile().get(), nullptr);
  const RX_ColorSettings no_pool;
  EXPECT_EQ(no_pool.GetProfilePool(), nullptr);
  EXPECT_EQ(no_pool.GetProfile().get(), nullptr);
}

TEST_F(ColourSettings, SetProfileEntersThePoolAndMakesTheSettingsValid) {
  RX_ColorSettings s(&pool_);
  s.SetProfile(pro_);
  EXPECT_TRUE(s.IsValid());
  EXPECT_TRUE(TIN_EqualVIZIDs(s.GetProfileID(), pro_->GetID()));
  EXPECT_EQ(s.GetProfile().get(), pro_.get());
  EXPECT_EQ(pool_.Count(), 1u);
  s.SetProfileID(VIZ_EmptyProfile_ID);
  EXPECT_FALSE(s.IsValid());
  s.SetProfileID(pro_->GetID());
  EXPECT_TRUE(s.IsValid());
  EXPECT_EQ(s.GetProfile().get(), pro_.get());
}

TEST_F(ColourSettings, SetLinearizeBeforeSetProfileIsLost) {
  RX_ColorSettings s(&pool_);
  s.SetLinearize(true);
  s.SetLinearBlending(true);
  s.SetProfile(srgb_);
  EXPECT_FALSE(s.GetLinearize());
  EXPECT_FALSE(s.GetLinearBlending());
  s.SetLinearize(true);  // after it, the switch holds: no invalidation
  EXPECT_TRUE(s.GetLinearize());
}

TEST_F(ColourSettings, SetProfileWithoutAPoolFailsWithItsReport) {
  RX_ColorSettings s;
  rxtest::ReportCapture capture;
  try {
    s.SetProfile(srgb_);
    FAIL() << "nothing thrown";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_Internal);
  }
  ASSERT_EQ(capture.errors().size(), 1u);
  EXPECT_EQ(capture.errors()[0].kind, RXHost_Report_Verification);
  EXPECT_EQ(capture.errors()[0].text, "You have to have a valid profile pool to set a profile.");
  EXPECT_FALSE(s.IsValid());
}

TEST_F(ColourSettings, ACopyOfSettingsWithoutAPoolIsEmptyAndLinearizeIsNotCopied) {
  RX_ColorSettings no_pool;
  no_pool.SetProfileID(pro_->GetID());
  no_pool.SetLinearize(true);
  no_pool.SetLinearBlending(true);
  const RX_ColorSettings copy(no_pool);
  EXPECT_FALSE(copy.IsValid());
  EXPECT_FALSE(copy.GetLinearize());
  EXPECT_FALSE(copy.GetLinearBlending());
  EXPECT_EQ(copy.GetProfilePool(), nullptr);
  EXPECT_TRUE(TIN_EqualVIZIDs(copy.GetProfileID(), VIZ_EmptyProfile_ID));
  RX_ColorSettings target(&pool_);
  target.SetProfile(srgb_);
  target = no_pool;  // nothing happens at all
  EXPECT_TRUE(target.IsValid());
  EXPECT_EQ(target.GetProfile().get(), srgb_.get());
}

TEST_F(ColourSettings, ACopyTakesThePoolTheIdentityAndTheSwitches) {
  RX_ColorSettings s(&pool_);
  s.SetProfile(pro_);
  s.SetLinearize(true);
  s.SetLinearBlending(true);
  const RX_ColorSettings copy(s);
  EXPECT_EQ(copy.GetProfilePool(), &pool_);
  EXPECT_EQ(copy.GetProfile().get(), pro_.get());
  EXPECT_TRUE(copy.GetLinearize());
  EXPECT_TRUE(copy.GetLinearBlending());
  EXPECT_TRUE(copy.IsValid());
}

TEST_F(ColourSettings, AssigningIntoAnotherPoolAddsTheProfileThereAndKeepsTheSwitches) {
  RX_ColorSettings s(&pool_);
  s.SetProfile(pro_);
  s.SetLinearBlending(true);
  RX_ColorSettings target(&other_pool_);
  target = s;
  EXPECT_EQ(target.GetProfilePool(), &other_pool_);
  EXPECT_EQ(other_pool_.Count(), 1u);
  EXPECT_EQ(target.GetProfile().get(), pro_.get());  // the same shared profile, now in this pool
  EXPECT_TRUE(target.GetLinearBlending());
  EXPECT_FALSE(target.GetLinearize());
  EXPECT_TRUE(target.IsValid());
  RX_ColorSettings& self = target;
  target = self;  // self-assignment does nothing
  EXPECT_TRUE(target.GetLinearBlending());
}

TEST_F(ColourSettings, CachesAreNotCopied) {
  RX_ColorSettings s(&pool_);
  s.SetProfile(srgb_);
  s.SetLinearBlending(true);
  const RX_LinearBlendingTables* tables = s.GetLinearBlendingTables(false);
  ASSERT_NE(tables, nullptr);
  RX_ColorSettings copy(s);
  const RX_LinearBlendingTables* copied = copy.GetLinearBlendingTables(false);
  ASSERT_NE(copied, nullptr);
  EXPECT_NE(copied, tables);  // made anew
  EXPECT_EQ(0, std::memcmp(copied->to_linear, tables->to_linear, sizeof tables->to_linear));
}

TEST_F(ColourSettings, EqualityComparesSwitchesProfileObjectAndPool) {
  RX_ColorSettings a(&pool_), b(&pool_);
  a.SetProfile(pro_);
  b.SetProfile(pro_);
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a != b);
  b.SetLinearize(true);
  EXPECT_FALSE(a == b);
  b.SetLinearize(false);
  b.SetLinearBlending(true);
  EXPECT_TRUE(a != b);
  RX_ColorSettings c(&other_pool_);
  c.SetProfile(pro_);
  EXPECT_FALSE(a == c);  // the same profile in another pool
  RX_ColorSettings d(&pool_);
  d.SetProfile(srgb_);
  EXPECT_FALSE(a == d);
}

TEST_F(ColourSettings, EqualProfileButDifferentLinearBlendingSortsEqualYetDiffers) {
  RX_ColorSettings a(&pool_), b(&pool_);
  a.SetProfile(pro_);
  b.SetProfile(pro_);
  b.SetLinearBlending(true);
  EXPECT_EQ(a.GetSortOrder(b), 0);
  EXPECT_EQ(b.GetSortOrder(a), 0);
  EXPECT_FALSE(a == b);
}

TEST_F(ColourSettings, TheSortOrderOnlyComparesLinearizeOnceTheGatesPass) {
  RX_ColorSettings a(&pool_), b(&pool_);
  a.SetProfile(pro_);
  b.SetProfile(pro_);
  b.SetLinearize(true);
  EXPECT_EQ(a.GetSortOrder(b), -1);
  EXPECT_EQ(b.GetSortOrder(a), 1);
  EXPECT_EQ(a.GetSortOrder(a), 0);
  // Different profiles: linear blending is not compared, linearize decides.
  RX_ColorSettings c(&pool_);
  c.SetProfile(srgb_);
  c.SetLinearBlending(true);
  EXPECT_EQ(c.GetSortOrder(a), 0);
  c.SetLinearize(true);
  EXPECT_EQ(c.GetSortOrder(a), 1);
  EXPECT_EQ(a.GetSortOrder(c), -1);
  // Different pools alike.
  RX_ColorSettings d(&other_pool_);
  d.SetProfile(pro_);
  d.SetLinearBlending(true);
  EXPECT_EQ(d.GetSortOrder(a), 0);
}

TEST_F(ColourSettings, TheAdjustedProfileOfAnEmptyProfileIsTheDefaultAndIsNotKept) {
  RX_ColorSettings s(&pool_);
  s.SetLinearize(true);
  const TIN_VIZ_SharedProfile adjusted = s.GetAdjustedProfile();
  EXPECT_EQ(adjusted.get(), TIN_VIZ_GetDefaultProfile().get());  // not its linear form
  EXPECT_EQ(s.GetAdjustedProfile().get(), adjusted.get());
  // Not kept: once a profile is set (and linearize again), the linear form comes.
  s.SetProfile(pro_);
  s.SetLinearize(true);
  EXPECT_EQ(s.GetAdjustedProfile()->GetNameUTF8(), "Linear ProPhoto RGB");
}

TEST_F(ColourSettings, TheAdjustedProfileIsTheLinearFormWhenLinearizedAndIsKept) {
  RX_ColorSettings s(&pool_);
  s.SetProfile(pro_);
  EXPECT_EQ(s.GetAdjustedProfile().get(), pro_.get());
  s.SetLinearize(true);
  const TIN_VIZ_SharedProfile adjusted = s.GetAdjustedProfile();
  EXPECT_TRUE(adjusted->IsOverRange());
  EXPECT_EQ(s.GetAdjustedProfile().get(), adjusted.get());
  s.SetProfile(pro_);  // invalidation drops it
  s.SetLinearize(true);
  EXPECT_NE(s.GetAdjustedProfile().get(), adjusted.get());
}

TEST_F(ColourSettings, TheGrayGammaIsTheAdjustedProfilesGreenGammaAndIsCached) {
  RX_ColorSettings s(&pool_);
  s.SetProfile(pro_);
  EXPECT_NEAR(s.GetCalGrayGamma(), 1.8f, 1e-4f);
  s.SetLinearize(true);  // no invalidation: the cached gamma stays
  EXPECT_NEAR(s.GetCalGrayGamma(), 1.8f, 1e-4f);
  s.SetProfile(pro_);
  s.SetLinearize(true);
  EXPECT_FLOAT_EQ(s.GetCalGrayGamma(), 1.0f);  // of the linear form
}

TEST_F(ColourSettings, TablesAreNullWhenLinearizedEvenWithLinearBlendingUnlessForced) {
  RX_ColorSettings s(&pool_);
  s.SetProfile(srgb_);
  EXPECT_EQ(s.GetLinearBlendingTables(false), nullptr);
  s.SetLinearBlending(true);
  s.SetLinearize(true);
  EXPECT_EQ(s.GetLinearBlendingTables(false), nullptr);
  const RX_LinearBlendingTables* forced = s.GetLinearBlendingTables(true);
  ASSERT_NE(forced, nullptr);
  // Made from the profile, not its linear form: sRGB's curve.
  EXPECT_LT(forced->to_linear[128], 8000);
  EXPECT_EQ(s.GetLinearBlendingTables(true), forced);  // kept
  s.SetLinearize(false);
  EXPECT_EQ(s.GetLinearBlendingTables(false), forced);
}

TEST_F(ColourSettings, TablesAreDroppedWhenTheProfileChanges) {
  RX_ColorSettings s(&pool_);
  s.SetProfile(srgb_);
  const RX_LinearBlendingTablesPtr srgb_tables = RX_MakeLinearizationTables(srgb_);
  ASSERT_NE(s.GetLinearBlendingTables(true), nullptr);
  s.SetProfile(pro_);
  const RX_LinearBlendingTables* pro_tables = s.GetLinearBlendingTables(true);
  const RX_LinearBlendingTablesPtr want = RX_MakeLinearizationTables(pro_);
  EXPECT_EQ(0, std::memcmp(pro_tables->to_linear, want->to_linear, sizeof want->to_linear));
  EXPECT_NE(0, std::memcmp(pro_tables->to_linear, srgb_tables->to_linear, sizeof want->to_linear));
}

TEST_F(ColourSettings, TheWorkingSpaceNameIsNoneOrTheAdjustedProfilesName) {
  EXPECT_EQ(RX_GetWorkingSpaceProfileName(nullptr), u"None");
  RX_ColorSettings s(&pool_);
  EXPECT_EQ(RX_GetWorkingSpaceProfileName(&s), u"None");
  s.SetProfile(pro_);
  EXPECT_EQ(RX_GetWorkingSpaceProfileName(&s), u"Working Space - ProPhoto RGB");
  s.SetLinearize(true);
  EXPECT_EQ(RX_GetWorkingSpaceProfileName(&s), u"Working Space - Linear ProPhoto RGB");
}

// ---- the emergency settings ----

TEST(EmergencySettings, AreLinearSrgbMadeOnceAndReleasedAtDeath) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  RX_ColorSettings* e = RX_GetEmergencyColorSettings();
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(RX_GetEmergencyColorSettings(), e);
  EXPECT_TRUE(e->IsValid());
  EXPECT_TRUE(e->GetLinearize());
  EXPECT_NE(e->GetProfilePool(), nullptr);
  EXPECT_EQ(e->GetProfile().get(), TIN_VIZ_GetDefaultProfile().get());
  EXPECT_EQ(RX_GetWorkingSpaceProfileName(e), u"Working Space - Linear sRGB IEC61966-2.1");
  e->SetLinearBlending(true);  // a mark the next settings will not have
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  RX_ColorSettings* again = RX_GetEmergencyColorSettings();
  EXPECT_FALSE(again->GetLinearBlending());
  EXPECT_TRUE(again->GetLinearize());
  ASSERT_EQ(RX_Death(), RX_Result_OK);
}

TEST(EmergencySettings, AreKeptWhenDeathFailsBeforeThem) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  RX_ColorSettings* e = RX_GetEmergencyColorSettings();
  e->SetLinearBlending(true);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  // A death without birth fails on its tables: the settings made since stay.
  RX_ColorSettings* kept = RX_GetEmergencyColorSettings();
  kept->SetLinearBlending(true);
  rxtest::ReportCapture quiet;
  EXPECT_NE(RX_Death(), RX_Result_OK);
  EXPECT_EQ(RX_GetEmergencyColorSettings(), kept);
  EXPECT_TRUE(kept->GetLinearBlending());
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
}

}  // namespace
