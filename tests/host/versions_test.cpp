#include <gtest/gtest.h>

#include "ADDN/ADDN.h"
#include "DSK/DSK.h"
#include "GE/GE.h"
#include "KO/KO.h"
#include "SEQ/SEQ.h"
#include "WRD/WRD.h"
#include "ZQFX/ZQFX.h"
#include "ZW/ZW.h"
#include "host_test_support.h"

namespace {

using hosttest::ReportCapture;

struct Sibling {
  const char* name;
  int32_t version;
  HOST_Err (*check)(int32_t, int32_t);
};

const Sibling kSiblings[] = {
    {"KO", 61, KO_CheckVersions},     {"WRD", 3, WRD_CheckVersions},
    {"ZW", 31, ZW_CheckVersions},     {"GE", 18, GE_CheckVersions},
    {"DSK", 39, DSK_CheckVersions},   {"SEQ", 9, SEQ_CheckVersions},
    {"ZQFX", 8, ZQFX_CheckVersions},  {"ADDN", 11, ADDN_CheckVersions},
};

TEST(Versions, MatchingVersionsPassQuietlyAndAreCounted) {
  ReportCapture capture;
  for (const Sibling& s : kSiblings) {
    const int32_t before = RXHost_VersionCheckCount(s.name);
    ASSERT_GE(before, 0) << s.name;
    EXPECT_EQ(s.check(0x250000, s.version), KO_Err_None) << s.name;
    EXPECT_EQ(RXHost_VersionCheckCount(s.name), before + 1) << s.name;
  }
  EXPECT_EQ(capture.size(), 0u);
}

TEST(Versions, MismatchIsReportedAtClassSixteen) {
  ReportCapture capture;
  const int32_t before = RXHost_VersionCheckCount("ZW");
  EXPECT_EQ(ZW_CheckVersions(0x250099, 30), KO_Err_VersionMismatch);
  EXPECT_EQ(RXHost_VersionCheckCount("ZW"), before + 1);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Version);
  EXPECT_EQ(capture.last().report_class, 16);
  EXPECT_EQ(capture.last().location, 0x250099);
  EXPECT_EQ(capture.last().text, "version mismatch: ZW is version 31, caller expects 30");
}

TEST(Versions, ForcedMismatchFailsEachSiblingUntilLifted) {
  ReportCapture capture;
  for (const Sibling& s : kSiblings) {
    RXHost_SetVersionMismatch(s.name, 1);
    EXPECT_EQ(s.check(0, s.version), KO_Err_VersionMismatch) << s.name;
    RXHost_SetVersionMismatch(s.name, 0);
    EXPECT_EQ(s.check(0, s.version), KO_Err_None) << s.name;
  }
  ASSERT_EQ(capture.size(), std::size(kSiblings));
  EXPECT_EQ(capture.reports()[0].text, "version mismatch: KO is version 62, caller expects 61");
}

TEST(Versions, UnknownLibrariesHaveNoCount) {
  EXPECT_EQ(RXHost_VersionCheckCount("XYZ"), -1);
  EXPECT_EQ(RXHost_VersionCheckCount(nullptr), -1);
  RXHost_SetVersionMismatch("XYZ", 1);  // ignored
}

}  // namespace
