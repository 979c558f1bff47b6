// The registry of processor variants: every family's list is well formed,
// and birth puts into every place the widest form the CPU words allow,
// whatever the words say afterwards.
#include <map>
#include <set>
#include <string>

#include "RXHost.h"
#include "cpu_words.h"
#include "frame/variants.h"
#include "rx_test_support.h"
#include "variant_forms.h"

namespace {

constexpr int kWords[] = {rx::kCpuWordSSE2, rx::kCpuWordSSSE3, rx::kCpuWordAVX2};

class VariantRegistry : public rxtest::BornDuringTest {
 protected:
  // Born with words 2, 6 and 7 set as given (bit 0: SSE2, 1: SSSE3, 2: AVX2).
  void born_with(unsigned words) {
    born({{rxtest::kCpuWordSSE2, (words & 1u) != 0},
          {rxtest::kCpuWordSSSE3, (words & 2u) != 0},
          {rxtest::kCpuWordAVX2, (words & 4u) != 0}});
  }
};

// Every entry of every family, with its family's name.
std::vector<std::pair<std::string, rx::Variant>> every_entry() {
  std::vector<std::pair<std::string, rx::Variant>> entries;
  for (std::string_view family : rx::variant_family_names()) {
    for (const rx::Variant& v : rx::variant_family(family)) entries.emplace_back(std::string(family), v);
  }
  return entries;
}

TEST_F(VariantRegistry, EveryFamilyListsEntriesWithAPlainFormAndAUniqueNameOfItsOwn) {
  std::set<std::string> names;
  for (std::string_view family : rx::variant_family_names()) {
    EXPECT_FALSE(rx::variant_family(family).empty()) << family;
  }
  for (const auto& [family, v] : every_entry()) {
    ASSERT_NE(v.name, nullptr);
    EXPECT_EQ(std::string(v.name).rfind(family + ".", 0), 0u) << v.name << " is not named after " << family;
    EXPECT_TRUE(names.insert(v.name).second) << "two entries named " << v.name;
    EXPECT_NE(v.slot, nullptr) << v.name;
    EXPECT_NE(v.plain, nullptr) << v.name;
    EXPECT_NE(v.vector, v.plain) << v.name;
    if (v.vector) {
      EXPECT_NE(v.needs, 0u) << v.name;
    }
  }
  EXPECT_TRUE(rx::variant_family("no_such_family").empty());
  EXPECT_EQ(rx::find_variant("no_such_family.form"), nullptr);
}

TEST_F(VariantRegistry, TheEntriesOfOnePlaceFollowOneAnotherAndShareTheirPlainForm) {
  std::map<const RX_OverFunc*, RX_OverFunc> plain_of;
  const RX_OverFunc* previous = nullptr;
  for (const auto& [family, v] : every_entry()) {
    if (v.slot != previous) {
      EXPECT_TRUE(plain_of.emplace(v.slot, v.plain).second) << v.name << ": its place was listed before, apart";
    } else {
      EXPECT_EQ(v.plain, plain_of[v.slot]) << v.name;
    }
    previous = v.slot;
  }
}

// What each place must hold after birth with the given words, written from
// the rule: the last entry of the place whose form the words allow, else
// the plain form.
std::map<const RX_OverFunc*, RX_OverFunc> expected_forms(unsigned words) {
  const auto allowed = [&](rx::CpuNeeds needs) {
    for (int k = 0; k < 3; ++k) {
      if ((needs & (1u << kWords[k])) && !((words >> k) & 1u)) return false;
    }
    return true;
  };
  std::map<const RX_OverFunc*, RX_OverFunc> expected;
  for (const auto& [family, v] : every_entry()) {
    if (!expected.count(v.slot)) expected[v.slot] = v.plain;
    if (v.vector && allowed(v.needs)) expected[v.slot] = v.vector;
  }
  return expected;
}

TEST_F(VariantRegistry, BirthPutsIntoEveryPlaceTheWidestFormItsWordsAllow) {
  for (unsigned words = 0; words < 8; ++words) {
    born_with(words);
    for (const auto& [place, form] : expected_forms(words)) {
      EXPECT_EQ(*place, form) << "words " << words << ": a place holds another form than "
                              << (form == rx::variant_form_at(place, false) ? "its plain one" : "its widest one");
    }
    die();
  }
}

TEST_F(VariantRegistry, WithAllWordsClearedEveryPlaceHoldsItsPlainForm) {
  born_with(0);
  for (const auto& [family, v] : every_entry()) EXPECT_EQ(*v.slot, v.plain) << v.name;
}

TEST_F(VariantRegistry, TheWideRowsStandDownWithTheSSSE3Word) {
  born_with(1u | 4u);  // SSE2 and AVX2, no SSSE3
  RX_InnerBlendingFunc<RX_Pixel8> over = nullptr;
  ASSERT_EQ((RX_GetInnerBlendingFunc<RX_Pixel8, false, false>(RX_Xfer_Over, &over)), RX_Result_OK);
  EXPECT_EQ(over, rxtest::form<RX_InnerBlendingFunc<RX_Pixel8>>("blend_rows8.over", false));
  RX_InnerBlendingFunc<RX_Pixel8> copy = nullptr;
  ASSERT_EQ((RX_GetInnerBlendingFunc<RX_Pixel8, true, true>(RX_Xfer_Copy, &copy)), RX_Result_OK);
  EXPECT_EQ(copy, rxtest::form<RX_InnerBlendingFunc<RX_Pixel8>>("blend_rows8.copy.mask.linear", true));
}

TEST_F(VariantRegistry, AFormChosenAtBirthStaysWhenTheWordsChangeAfterwards) {
  born_with(7);
  RX_InnerBlendingFunc<RX_Pixel8> before = nullptr, after = nullptr;
  ASSERT_EQ((RX_GetInnerBlendingFunc<RX_Pixel8, true, false>(RX_Xfer_Multiply, &before)), RX_Result_OK);
  const RX_OverFunc slot_before = RXp_G_OverFuncs[RX_Slot_PremulScanBlack8];
  for (int word : kWords) RXHost_SetCpuWord(word, 0);
  ASSERT_EQ((RX_GetInnerBlendingFunc<RX_Pixel8, true, false>(RX_Xfer_Multiply, &after)), RX_Result_OK);
  EXPECT_EQ(before, after);
  EXPECT_EQ(before, rxtest::form<RX_InnerBlendingFunc<RX_Pixel8>>("blend_rows8.multiply.mask.avx2", true));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_PremulScanBlack8], slot_before);
}

TEST_F(VariantRegistry, TheTestHelperFindsFormsByNameAndBySlot) {
  EXPECT_EQ(rxtest::form<RX_OverFunc>(RX_Slot_PremulScanBlack8, true),
            rx::variant_form("premultiply_scans.premultiply_black8", true));
  EXPECT_EQ(rxtest::form<RX_OverFunc>(RX_Slot_AreaSamplePremul8, true), nullptr);
  EXPECT_EQ(rxtest::form<RX_OverFunc>(RX_Slot_Iterate, false), nullptr);
  EXPECT_NE(rxtest::form<RX_OverFunc>("subpixel.span8", true), nullptr);
}

}  // namespace
