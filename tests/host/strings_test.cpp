#include <gtest/gtest.h>

#include <cstring>

#include "KO/KO.h"

namespace {

constexpr KO_LStrEntry kEntries[] = {
    {"$$$/RX/Test/First=first message", {}},
    {"$$$/RX/Test/Second=a=b", {}},
    {"no key here", {}},
    {"$$$/RX/Test/NoDefault", {}},
    {nullptr, {}},
};
const KO_LStrCacheRef kRef = {&kRef.record, {"RX", 5, kEntries}};

TEST(KoStrings, LookupGivesTheDefaultTextAfterTheFirstEquals) {
  EXPECT_STREQ(KO_ZLookupLStrCache(&kRef, 0, 0, 0), "first message");
  EXPECT_STREQ(KO_ZLookupLStrCache(&kRef, 1, 0, 0), "a=b");
}

TEST(KoStrings, TextsWithoutAKeyComeBackWhole) {
  EXPECT_STREQ(KO_ZLookupLStrCache(&kRef, 2, 0, 0), "no key here");
  EXPECT_STREQ(KO_ZLookupLStrCache(&kRef, 3, 0, 0), "$$$/RX/Test/NoDefault");
}

TEST(KoStrings, LookupPointsIntoTheTable) {
  EXPECT_EQ(KO_ZLookupLStrCache(&kRef, 0, 0, 0), kEntries[0].text + std::strlen("$$$/RX/Test/First="));
}

TEST(KoStrings, IndicesOutsideTheTableGiveNull) {
  EXPECT_EQ(KO_ZLookupLStrCache(&kRef, -1, 0, 0), nullptr);
  EXPECT_EQ(KO_ZLookupLStrCache(&kRef, 4, 0, 0), nullptr);  // the terminator
  EXPECT_EQ(KO_ZLookupLStrCache(&kRef, 5, 0, 0), nullptr);
  EXPECT_EQ(KO_ZLookupLStrCache(nullptr, 0, 0, 0), nullptr);
}

TEST(KoStrings, KeyToTextGivesTheDefault) {
  EXPECT_STREQ(KO_ZStringToMBString("$$$/RX/Any=Any text"), "Any text");
  EXPECT_STREQ(KO_ZStringToMBString("plain"), "plain");
  EXPECT_EQ(KO_ZStringToMBString(nullptr), nullptr);
}

TEST(KoStrings, SubStringReplacesBothPlaceholders) {
  char buffer[64];
  ASSERT_EQ(KO_SubString(buffer, sizeof buffer, "row ^L1 of ^L2", 7, -12), KO_Err_None);
  EXPECT_STREQ(buffer, "row 7 of -12");
}

TEST(KoStrings, SubStringReplacesEveryOccurrenceInAnyOrder) {
  char buffer[64];
  ASSERT_EQ(KO_SubString(buffer, sizeof buffer, "^L2^L1^L2 ^L3", 1, 9000000000), KO_Err_None);
  EXPECT_STREQ(buffer, "900000000019000000000 ^L3");
}

TEST(KoStrings, SubStringThatJustFits) {
  char buffer[6];
  EXPECT_EQ(KO_SubString(buffer, sizeof buffer, "a^L1b", 123, 0), KO_Err_None);
  EXPECT_STREQ(buffer, "a123b");
}

TEST(KoStrings, SubStringOverflowLeavesATerminatedPrefix) {
  char buffer[5];
  EXPECT_EQ(KO_SubString(buffer, sizeof buffer, "a^L1b", 123, 0), KO_Err_Internal);
  EXPECT_STREQ(buffer, "a123");
}

TEST(KoStrings, SubStringRejectsMissingArguments) {
  char buffer[8] = "x";
  EXPECT_EQ(KO_SubString(nullptr, 8, "t", 0, 0), KO_Err_Internal);
  EXPECT_EQ(KO_SubString(buffer, sizeof buffer, nullptr, 0, 0), KO_Err_Internal);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(KO_SubString(buffer, 0, "t", 0, 0), KO_Err_Internal);
}

}  // namespace
