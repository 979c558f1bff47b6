// The string table and its reference record, and the bad-parameter report.
#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;

TEST(StringTable, ReferenceRecordPointsToItsOwnRecord) {
  EXPECT_EQ(RX_G_zref.table, &RX_G_zref.record);
  EXPECT_STREQ(RX_G_zref.record.package, "RX");
  EXPECT_EQ(RX_G_zref.record.count, 21);
}

TEST(StringTable, EntriesAreThirtyTwoBytesWithATerminator) {
  static_assert(sizeof(KO_LStrEntry) == 32);
  const KO_LStrEntry* entries = RX_G_zref.record.entries;
  for (int i = 0; i < 20; ++i) {
    ASSERT_NE(entries[i].text, nullptr) << i;
    EXPECT_EQ(entries[i].reserved[0], 0u);
    EXPECT_EQ(entries[i].reserved[1], 0u);
    EXPECT_EQ(entries[i].reserved[2], 0u);
  }
  EXPECT_EQ(entries[20].text, nullptr);
  EXPECT_EQ(entries[20].reserved[0], ~uint64_t{0});
  EXPECT_EQ(entries[20].reserved[1], ~uint64_t{0});
}

TEST(StringTable, LookupGivesTheDefaultTextOfEveryEntry) {
  const char* expected[20] = {
      "invalid callback selector",
      "invalid parameter",
      "effects modules should only dispose worlds they have allocated",
      "image plane buffer",
      "bad parameter passed to effect callback",
      "problem opening plug-in acceleration module.",
      "unimplemented blending mode.",
      "noise table.",
      "Unable to guess alpha channel.",
      "Obsolete routine",
      "memory for blurring",
      "memory for mask buffer",
      "damaged mask buffer",
      "can#{rsquo}t unlock RX Mask Buffer",
      "gaussian weight array",
      "blending scratch buffer",
      "can#{rsquo}t copy different channel worlds",
      "out of memory for channel chunk",
      "image buffer",
      "effect plug-in passed invalid world to get_platform_refs",
  };
  for (int i = 0; i < 20; ++i) {
    EXPECT_STREQ(KO_ZLookupLStrCache(&RX_G_zref, i, 0, 0), expected[i]) << i;
    EXPECT_STREQ(RXp_String(static_cast<RX_StringIndex>(i)), expected[i]) << i;
  }
}

TEST(StringTable, KeysKeepTheirPathNumbers) {
  const KO_LStrEntry* entries = RX_G_zref.record.entries;
  EXPECT_STREQ(entries[4].text, "$$$/ZQ/RX/LStr/0004=bad parameter passed to effect callback");
  EXPECT_STREQ(entries[19].text,
               "$$$/ZQ/RX/LStr/0019=effect plug-in passed invalid world to get_platform_refs");
}

TEST(BadParameter, ReportsStringFourWithTheLocationAndGivesInternal) {
  ReportCapture capture;
  EXPECT_EQ(RX_ReportBadParameter(14), RX_Result_Internal);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_ErrString);
  EXPECT_EQ(capture.last().location, 0x25000E);
  EXPECT_EQ(capture.last().report_class, 8);
  EXPECT_EQ(capture.last().text, "bad parameter passed to effect callback");
}

TEST(BadParameter, DefaultSinkLineNamesClassLocationAndText) {
  RXHost_Report report{};
  report.kind = RXHost_Report_ErrString;
  report.report_class = 8;
  report.location = 0x250000;
  report.text = "bad parameter passed to effect callback";
  char line[256];
  RXHost_FormatReport(&report, line, sizeof line);
  EXPECT_STREQ(line, "RX: [class 8] 0x250000: bad parameter passed to effect callback");
}

}  // namespace
