// The version handshake. The sibling checks run once per process, so each
// scenario runs in a fresh process of its own.
#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;

const char* const kSiblings[] = {"KO", "WRD", "ZW", "GE", "DSK", "SEQ", "ZQFX", "ADDN"};

class Versions : public ::testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

// Runs body in a new process and expects it to exit with 0.
#define IN_FRESH_PROCESS(body) EXPECT_EXIT({ body; std::exit(::testing::Test::HasFailure() ? 1 : 0); }, ::testing::ExitedWithCode(0), "")

TEST_F(Versions, WrongCallerVersionReportsEachTimeButChecksSiblingsOnce) {
  IN_FRESH_PROCESS({
    ReportCapture capture;
    EXPECT_EQ(RX_CheckVersions(0x990042, 16), RX_Result_VersionMismatch);
    EXPECT_EQ(RX_CheckVersions(0x990042, 16), RX_Result_VersionMismatch);
    ASSERT_EQ(capture.errors().size(), 2u);
    for (const auto& r : capture.errors()) {
      EXPECT_EQ(r.kind, RXHost_Report_Error);
      EXPECT_EQ(r.location, 0x990042);
      EXPECT_EQ(r.report_class, 16);
      EXPECT_EQ(r.text,
                "Plug-in version mismatch detected (did you install over an older version of "
                "ZephyrCut?). Try uninstalling and re-installing. (RX package v17 != RX.h v16)");
    }
    for (const char* sibling : kSiblings) EXPECT_EQ(RXHost_VersionCheckCount(sibling), 1) << sibling;
  });
}

TEST_F(Versions, RightVersionPassesWithoutReports) {
  IN_FRESH_PROCESS({
    ReportCapture capture;
    EXPECT_EQ(RX_CheckVersions(0x990042, RX_HEADER_VERSION), RX_Result_OK);
    EXPECT_TRUE(capture.errors().empty());
  });
}

TEST_F(Versions, CheckIsAllowedBeforeBirth) {
  IN_FRESH_PROCESS({ EXPECT_EQ(RX_CheckVersions(0, RX_HEADER_VERSION), RX_Result_OK); });
}

TEST_F(Versions, SiblingMismatchFailsWithoutAMessageOfThePackage) {
  IN_FRESH_PROCESS({
    RXHost_SetVersionMismatch("ZW", 1);
    ReportCapture capture;
    EXPECT_EQ(RX_CheckVersions(0x990042, RX_HEADER_VERSION), RX_Result_VersionMismatch);
    ASSERT_EQ(capture.errors().size(), 1u);
    EXPECT_EQ(capture.errors()[0].kind, RXHost_Report_Version);
    EXPECT_EQ(capture.errors()[0].location, 0x250063);
    // Every sibling was still asked.
    for (const char* sibling : kSiblings) EXPECT_EQ(RXHost_VersionCheckCount(sibling), 1) << sibling;
  });
}

TEST_F(Versions, SiblingsAreAskedWithTheVersionsThePackageWasBuiltAgainst) {
  IN_FRESH_PROCESS({
    ReportCapture capture;
    EXPECT_EQ(RX_CheckVersions(1, RX_HEADER_VERSION), RX_Result_OK);
    // A sibling with another version would have reported.
    EXPECT_TRUE(capture.errors().empty());
    EXPECT_EQ(RXHost_VersionCheckCount("ADDN"), 1);
  });
}

}  // namespace
