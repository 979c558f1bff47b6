// The colour glue: owners of engine references, the pool, the default and
// linear profiles, the option sets, the exception of engine errors, and
// the UTF-16 form of localisable strings.
#include <gtest/gtest.h>

#include "KO/KO.h"
#include "viz_test_support.h"

namespace {

using namespace viztest;

TEST(TinIds, EmptyIdIsAllZeroAndIdsCompareByBytes) {
  _t_VIZ_ID a = VIZ_EmptyProfile_ID, b = {};
  EXPECT_TRUE(TIN_EqualVIZIDs(a, b));
  b.bytes[15] = 1;
  EXPECT_FALSE(TIN_EqualVIZIDs(a, b));
}

TEST(TinProfile, CopiesShareTheEngineProfileAndOwnAReferenceEach) {
  TIN_VIZ_Profile p = TIN_VIZ_Profile::FromFile(kProPhoto.c_str());
  {
    TIN_VIZ_Profile q = p;
    EXPECT_EQ(q.Get(), p.Get());
  }
  EXPECT_EQ(p.GetNameUTF8(), "ProPhoto RGB");
  EXPECT_EQ(p.GetName(), u"ProPhoto RGB");
  EXPECT_EQ(p.GetColorSpace(), uint32_t(cmsSigRgbData));
  EXPECT_EQ(p.GetICCData(), read_file(kProPhoto));
  EXPECT_FALSE(p.IsOverRange());
  TIN_VIZ_Profile empty;
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_TRUE(TIN_EqualVIZIDs(empty.GetID(), VIZ_EmptyProfile_ID));
  EXPECT_THROW(empty.IsOverRange(), TIN_VIZ_Exception);
}

TEST(TinProfile, BadDataAndFilesThrowTheEngineError) {
  try {
    TIN_VIZ_Profile::FromFile("/no/such.icc");
    FAIL();
  } catch (const TIN_VIZ_Exception& e) {
    EXPECT_EQ(e.Code(), VIZ_Err_BadProfile);
    EXPECT_EQ(std::string(e.what()).rfind("colour engine error 'prof': cannot open /no/such.icc", 0), 0u) << e.what();
  }
  const char junk[200] = {};
  EXPECT_THROW(TIN_VIZ_Profile::FromICCData(junk, sizeof junk), TIN_VIZ_Exception);
}

TEST(TinEtx, ZeroPassesAndOtherCodesThrowWithTheirCharacters) {
  EXPECT_NO_THROW(TIN_VIZ_ETX(VIZ_Err_None));
  try {
    TIN_VIZ_ETX(VIZ_Err_General);
    FAIL();
  } catch (const TIN_VIZ_Exception& e) {
    EXPECT_EQ(e.Code(), 0x67656e20);
    EXPECT_EQ(std::string(e.what()).rfind("colour engine error 'gen '", 0), 0u);
  }
}

TEST(TinPool, EqualProfilesAreOneEntry) {
  TIN_VIZ_ProfilePool pool;
  auto a = boost::shared_ptr<TIN_VIZ_Profile>(new TIN_VIZ_Profile(TIN_VIZ_Profile::FromFile(kAdobe.c_str())));
  auto b = boost::shared_ptr<TIN_VIZ_Profile>(new TIN_VIZ_Profile(TIN_VIZ_Profile::FromFile(kAdobe.c_str())));
  const _t_VIZ_ID id = pool.AddProfile(a);
  EXPECT_TRUE(TIN_EqualVIZIDs(id, a->GetID()));
  EXPECT_TRUE(TIN_EqualVIZIDs(pool.AddProfile(b), id));
  EXPECT_EQ(pool.Count(), 1u);
  EXPECT_EQ(pool.GetProfile(id).get(), a.get());  // the first stays
  EXPECT_EQ(pool.GetProfile(VIZ_EmptyProfile_ID).get(), nullptr);
  EXPECT_TRUE(TIN_EqualVIZIDs(pool.AddProfile(TIN_VIZ_SharedProfile()), VIZ_EmptyProfile_ID));
  EXPECT_EQ(pool.Count(), 1u);
}

TEST(TinProfiles, TheDefaultIsOneSrgbAndTheLinearFormIsNew) {
  const TIN_VIZ_SharedProfile d = TIN_VIZ_GetDefaultProfile();
  EXPECT_EQ(d.get(), TIN_VIZ_GetDefaultProfile().get());
  EXPECT_EQ(d->GetNameUTF8(), "sRGB IEC61966-2.1");
  const TIN_VIZ_SharedProfile linear = TIN_VIZ_GetLinearRGBProfile(d);
  EXPECT_EQ(linear->GetNameUTF8(), "Linear sRGB IEC61966-2.1");
  EXPECT_TRUE(linear->IsOverRange());
  EXPECT_EQ(TIN_VIZ_GetLinearRGBProfile(TIN_VIZ_SharedProfile())->GetNameUTF8(), "Linear sRGB IEC61966-2.1");
}

TEST(TinOptions, DefaultAndFastOptionsDiffer) {
  const _t_VIZ_Options* d = TIN_GetDefaultVIZOptions();
  const _t_VIZ_Options* f = TIN_GetFastVIZOptions();
  ASSERT_EQ(d->count, 1);
  EXPECT_EQ(d->entries[0].key, uint32_t(VIZ_Option_Quality));
  EXPECT_EQ(d->entries[0].value, 1);
  ASSERT_EQ(f->count, 2);
  EXPECT_EQ(f->entries[0].value, 0);
  EXPECT_EQ(f->entries[1].key, uint32_t(VIZ_Option_ClipOverRange));
  EXPECT_EQ(f->entries[1].value, 1);
}

TEST(TinTransform, ResetTakesOverAndReleasesTheOldReference) {
  const Profile a = from_code(VIZ_Profile_sRGB), b = from_file(kAdobe);
  VIZTransform* t1 = nullptr;
  VIZTransform* t2 = nullptr;
  ASSERT_EQ(engine().MakeColorTransform(a.get(), b.get(), 1, nullptr, &t1), VIZ_Err_None);
  ASSERT_EQ(engine().MakeColorTransform(b.get(), a.get(), 3, nullptr, &t2), VIZ_Err_None);
  TIN_VIZ_Transform owner;
  EXPECT_TRUE(owner.IsEmpty());
  owner.Reset(t1);
  TIN_VIZ_Transform copy = owner;
  owner.Reset(t2);
  EXPECT_EQ(copy.Get(), t1);
  EXPECT_EQ(copy.Query().intents[0], 1);
  EXPECT_EQ(owner.Query().intents[0], 3);
  owner.Reset();
  EXPECT_THROW(owner.Query(), TIN_VIZ_Exception);
}

TEST(TinTransform, MakeGivesAnOwnedTransformOrThrows) {
  const TIN_VIZ_Profile a = TIN_VIZ_Profile::FromCode(VIZ_Profile_sRGB), b = TIN_VIZ_Profile::FromFile(kAdobe.c_str());
  const TIN_VIZ_Transform t = TIN_VIZ_Transform::Make(a, b, 3, TIN_GetFastVIZOptions());
  const VIZ_TransformInfo info = t.Query();
  EXPECT_EQ(info.profile_count, 2);
  EXPECT_EQ(info.intents[1], 3);
  EXPECT_EQ(info.options.count, 2);
  const TIN_VIZ_Profile gray = TIN_VIZ_Profile::FromFile(kGray.c_str());
  try {
    TIN_VIZ_Transform::Make(a, gray, 1, nullptr);
    FAIL() << "nothing thrown";
  } catch (const TIN_VIZ_Exception& e) {
    EXPECT_EQ(e.Code(), VIZ_Err_ColorSpace);
  }
}

TEST(KoStrings, ZStringsBecomeUtf16) {
  EXPECT_EQ(KO_ZStringToUTF16String("$$$/ZQ/RX/Key=Working Space - "), u"Working Space - ");
  EXPECT_EQ(KO_ZStringToUTF16String("plain gr\xC3\xBC\xC3\x9F \xF0\x9F\x8E\xA8"), u"plain gr\u00fc\u00df \U0001F3A8");
  EXPECT_EQ(KO_ZStringToUTF16String("bad \xFF byte"), u"bad \uFFFD byte");
  EXPECT_EQ(KO_ZStringToUTF16String(nullptr), u"");
}

}  // namespace
