// The display transform: which profiles it chains, with which intents and
// options, for each combination of via and simulated profiles, the
// over-range rule, the clipping preference and theater preview.
#include <gtest/gtest.h>

#include "OPTS/OPTS.h"
#include "colour_test_support.h"

namespace {

using namespace colourtest;

class DisplayTransform : public rxtest::BornPackage {
 protected:
  void SetUp() override {
    rxtest::BornPackage::SetUp();
    source_ = TIN_VIZ_Profile::FromCode(VIZ_Profile_sRGB);
    linear_source_ = TIN_VIZ_Profile::FromCode(VIZ_Profile_LinearsRGB);  // over-range
    display_ = TIN_VIZ_Profile::FromFile(kAdobe.c_str());
    via_ = TIN_VIZ_Profile::FromFile(kProPhoto.c_str());
    linear_via_ = TIN_VIZ_Profile::FromCode(VIZ_Profile_LinearRec2020);  // over-range
    simulated_ = TIN_VIZ_Profile::FromFile(kWideGamut.c_str());
    linear_simulated_ = TIN_VIZ_Profile::FromCode(VIZ_Profile_ACEScg);  // over-range
  }

  // The chain's profiles, intents and whether it was made with the fast
  // options (two options, clipping) or the default ones.
  struct Chain {
    std::vector<std::string> profiles;
    std::vector<int32_t> intents;
    bool fast;
    int32_t lut_points;
  };
  Chain chain_of(const TIN_VIZ_Transform& t) const {
    const VIZ_TransformInfo info = t.Query();
    Chain c{{}, {}, false, info.lut_points};
    const TIN_VIZ_Profile* known[] = {&source_, &linear_source_, &display_, &via_, &linear_via_, &simulated_,
                                      &linear_simulated_};
    const char* names[] = {"S", "S*", "D", "V", "V*", "Z", "Z*"};
    for (int32_t i = 0; i < info.profile_count; ++i) {
      std::string name = "?";
      for (size_t k = 0; k < std::size(known); ++k) {
        if (TIN_EqualVIZIDs(info.profiles[i], known[k]->GetID())) name = names[k];
      }
      c.profiles.push_back(name);
      c.intents.push_back(info.intents[i]);
    }
    const _t_VIZ_Options* fast = TIN_GetFastVIZOptions();
    c.fast = info.options.count == fast->count &&
             std::memcmp(info.options.entries, fast->entries, sizeof(VIZ_Option) * size_t(fast->count)) == 0;
    return c;
  }

  PrefsFile prefs_;
  TIN_VIZ_Profile source_, linear_source_, display_, via_, linear_via_, simulated_, linear_simulated_;
};

using Names = std::vector<std::string>;
using Intents = std::vector<int32_t>;

TEST_F(DisplayTransform, SourceToDisplayWithIntentOneAndDefaultOptions) {
  const Chain c = chain_of(RX_NewDisplayTransform(source_, display_, nullptr, nullptr, false, false));
  EXPECT_EQ(c.profiles, (Names{"S", "D"}));
  EXPECT_EQ(c.intents, (Intents{1, 1}));
  EXPECT_FALSE(c.fast);
  EXPECT_EQ(c.lut_points, 0);
}

TEST_F(DisplayTransform, AnOverRangeSourceTakesIntentThreeAndDefaultOptionsEvenWhenClipping) {
  prefs_.write("[Display Transform Section]\nClip over range in Display Transform when not Theater Preview = true\n");
  const Chain c = chain_of(RX_NewDisplayTransform(linear_source_, display_, nullptr, nullptr, false, false));
  EXPECT_EQ(c.profiles, (Names{"S*", "D"}));
  EXPECT_EQ(c.intents, (Intents{3, 3}));
  EXPECT_FALSE(c.fast);
}

TEST_F(DisplayTransform, ThePreferenceToClipGivesTheFastOptions) {
  prefs_.write("[Display Transform Section]\nClip over range in Display Transform when not Theater Preview = Yes\n");
  const Chain c = chain_of(RX_NewDisplayTransform(source_, display_, nullptr, nullptr, false, false));
  EXPECT_TRUE(c.fast);
  prefs_.write("[Display Transform Section]\nClip over range in Display Transform when not Theater Preview = 0\n");
  EXPECT_FALSE(chain_of(RX_NewDisplayTransform(source_, display_, nullptr, nullptr, false, false)).fast);
}

TEST_F(DisplayTransform, TheaterPreviewForcesTheFastOptionsEvenWhenThePreferenceIsOff) {
  prefs_.write("[Display Transform Section]\nClip over range in Display Transform when not Theater Preview = false\n");
  const TIN_VIZ_Transform t = RX_NewDisplayTransform(source_, display_, nullptr, nullptr, false, true);
  const Chain c = chain_of(t);
  EXPECT_EQ(c.profiles, (Names{"S", "D"}));
  EXPECT_TRUE(c.fast);
  EXPECT_EQ(c.lut_points, 100);  // optimized with "Ltpo" = 100
  // The fast options clip: an over-range float comes out limited to 1.
  rxtest::TestWorld<RX_PixelFloat> w(1, 1);
  w.at(0, 0) = {1.0f, 1.5f, 0.5f, 0.25f};
  const auto o = object(w);
  RX_VIZApplyTransform(t.Get(), o.get(), o.get(), false, nullptr);
  EXPECT_EQ(w.at(0, 0).red, 1.0f);
  // Without theater preview the value passes.
  w.at(0, 0) = {1.0f, 1.5f, 0.5f, 0.25f};
  RX_VIZApplyTransform(RX_NewDisplayTransform(source_, display_, nullptr, nullptr, false, false).Get(), o.get(),
                       o.get(), false, nullptr);
  EXPECT_GT(w.at(0, 0).red, 1.0f);
}

TEST_F(DisplayTransform, SimulatedWithoutViaGoesThroughTheSimulatedProfile) {
  const Chain c = chain_of(RX_NewDisplayTransform(source_, display_, nullptr, &simulated_, false, false));
  EXPECT_EQ(c.profiles, (Names{"S", "Z", "Z", "D"}));
  EXPECT_EQ(c.intents, (Intents{1, 1, 1, 1}));
  EXPECT_TRUE(c.fast);  // X_SZ with the fast options leads the chain
}

TEST_F(DisplayTransform, WithSimulatedAndNoViaTheOverRangeTestUsesTheSourceAlone) {
  // An over-range simulated profile changes nothing...
  Chain c = chain_of(RX_NewDisplayTransform(source_, display_, nullptr, &linear_simulated_, false, false));
  EXPECT_EQ(c.profiles, (Names{"S", "Z*", "Z*", "D"}));
  EXPECT_EQ(c.intents, (Intents{1, 1, 1, 1}));
  EXPECT_TRUE(c.fast);
  // ...an over-range source does.
  c = chain_of(RX_NewDisplayTransform(linear_source_, display_, nullptr, &simulated_, false, false));
  EXPECT_EQ(c.intents, (Intents{3, 3, 1, 1}));
  EXPECT_FALSE(c.fast);
}

TEST_F(DisplayTransform, SkippingWithoutViaGivesTheSimulatedToDisplayTransformWithAReferenceOfItsOwn) {
  const TIN_VIZ_Transform t = RX_NewDisplayTransform(source_, display_, nullptr, &simulated_, true, false);
  const Chain c = chain_of(t);
  EXPECT_EQ(c.profiles, (Names{"Z", "D"}));
  EXPECT_EQ(c.intents, (Intents{1, 1}));
  EXPECT_TRUE(c.fast);
  // The transform the function made for itself is gone; this one lives.
  rxtest::TestWorld<RX_Pixel8> w(2, 2);
  const auto o = object(w);
  EXPECT_NO_THROW(RX_VIZApplyTransform(t.Get(), o.get(), o.get(), false, nullptr));
}

TEST_F(DisplayTransform, ViaAndSimulatedChainSourceViaSimulatedAndDisplay) {
  const Chain c = chain_of(RX_NewDisplayTransform(source_, display_, &via_, &simulated_, false, false));
  EXPECT_EQ(c.profiles, (Names{"S", "V", "V", "Z", "Z", "D"}));
  EXPECT_EQ(c.intents, (Intents{1, 1, 1, 1, 1, 1}));
  EXPECT_FALSE(c.fast);  // X_SV with options B leads
}

TEST_F(DisplayTransform, AnOverRangeViaTakesIntentThreeToTheVia) {
  const Chain c = chain_of(RX_NewDisplayTransform(source_, display_, &linear_via_, &simulated_, false, false));
  EXPECT_EQ(c.profiles, (Names{"S", "V*", "V*", "Z", "Z", "D"}));
  EXPECT_EQ(c.intents, (Intents{3, 3, 1, 1, 1, 1}));
}

TEST_F(DisplayTransform, SkippingViaToSimulatedJoinsSourceToViaWithSimulatedToDisplay) {
  const Chain c = chain_of(RX_NewDisplayTransform(source_, display_, &via_, &simulated_, true, false));
  EXPECT_EQ(c.profiles, (Names{"S", "V", "Z", "D"}));
  EXPECT_EQ(c.intents, (Intents{1, 1, 1, 1}));
}

TEST_F(DisplayTransform, ViaWithoutSimulatedIsNotUsed) {
  const Chain c = chain_of(RX_NewDisplayTransform(source_, display_, &via_, nullptr, false, false));
  EXPECT_EQ(c.profiles, (Names{"S", "D"}));
}

TEST_F(DisplayTransform, APreferenceThatCannotBeReadIsThrown) {
  prefs_.write("[Display Transform Section]\nno pair on this line\n");
  try {
    RX_NewDisplayTransform(source_, display_, nullptr, nullptr, false, false);
    FAIL() << "nothing thrown";
  } catch (RX_Err err) {
    EXPECT_EQ(err, OPTS_Err_Damaged);
  }
  prefs_.write("[Display Transform Section]\nClip over range in Display Transform when not Theater Preview = maybe\n");
  EXPECT_THROW(RX_NewDisplayTransform(source_, display_, nullptr, nullptr, false, false), RX_Err);
  std::filesystem::remove(prefs_.path());
  std::filesystem::create_directory(prefs_.path());  // there, and no file
  try {
    RX_NewDisplayTransform(source_, display_, nullptr, nullptr, false, true);
    FAIL() << "nothing thrown";
  } catch (RX_Err err) {
    EXPECT_EQ(err, OPTS_Err_Unreadable);
  }
}

}  // namespace
