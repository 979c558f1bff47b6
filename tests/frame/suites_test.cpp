#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ADDN/ADDN.h"
#include "RX.h"
#include "plugin_scan_support.h"
#include "rx_test_support.h"

namespace {

RX_Err other_generic(int32_t, void*, RX_GenericIterFunc) { return 99; }

class Suites : public rxtest::BornPackage {
 protected:
  void TearDown() override {
    RXHost_ForgetSuites();
    rxtest::BornPackage::TearDown();
  }
  const RX_Iterate8Suite1* acquire_iterate8() {
    const ADDN_QLBasicSuite* basic = nullptr;
    EXPECT_EQ(ADDN_GetQLBasicSuite(&basic), 0);
    const void* table = nullptr;
    EXPECT_EQ(basic->AcquireSuite("RX Iterate8 Suite", 1, &table), 0);
    EXPECT_EQ(basic->ReleaseSuite("RX Iterate8 Suite", 1), 0);
    return static_cast<const RX_Iterate8Suite1*>(table);
  }
};

TEST_F(Suites, NoSuiteExistsBeforeTheScanEnds) {
  RXHost_ForgetSuites();
  const ADDN_QLBasicSuite* basic = nullptr;
  ASSERT_EQ(ADDN_GetQLBasicSuite(&basic), 0);
  const void* table = nullptr;
  EXPECT_EQ(basic->AcquireSuite("RX Iterate8 Suite", 1, &table), ADDN_Err_SuiteNotFound);
}

TEST_F(Suites, Iterate8SuiteHasFiveFunctionsFromItsSlots) {
  ASSERT_EQ(rxtest::register_suites_afresh(), 0);
  int32_t found = -1;
  for (int32_t i = 0; i < RXHost_SuiteCount(); ++i) {
    const char* name = nullptr;
    ASSERT_EQ(RXHost_SuiteAt(i, &name, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    if (std::strcmp(name, "RX Iterate8 Suite") == 0) found = i;
  }
  ASSERT_GE(found, 0);
  int32_t major = 0, minor = 0, count = 0;
  ASSERT_EQ(RXHost_SuiteAt(found, nullptr, &major, &minor, &count, nullptr, nullptr), 0);
  EXPECT_EQ(major, 1);
  EXPECT_EQ(minor, 1);
  EXPECT_EQ(count, 5);

  const RX_Iterate8Suite1* suite = acquire_iterate8();
  ASSERT_NE(suite, nullptr);
  EXPECT_EQ(reinterpret_cast<RX_OverFunc>(suite->iterate), RXp_G_OverFuncs[42]);
  EXPECT_EQ(reinterpret_cast<RX_OverFunc>(suite->iterate_origin), RXp_G_OverFuncs[43]);
  EXPECT_EQ(reinterpret_cast<RX_OverFunc>(suite->iterate_lut), RXp_G_OverFuncs[44]);
  EXPECT_EQ(reinterpret_cast<RX_OverFunc>(suite->iterate_origin_no_clip), RXp_G_OverFuncs[51]);
  EXPECT_EQ(reinterpret_cast<RX_OverFunc>(suite->iterate_generic), RXp_G_OverFuncs[53]);
  EXPECT_EQ(suite->iterate_generic, &RX_IterateGeneric_Static);
}

TEST_F(Suites, OverrideInstalledDuringTheScanIsSeenByTheSuite) {
  ASSERT_EQ(RX_SetOverrideFunc(53, reinterpret_cast<RX_OverFunc>(&other_generic)), 0);
  ASSERT_EQ(rxtest::register_suites_afresh(), 0);
  const RX_Iterate8Suite1* suite = acquire_iterate8();
  ASSERT_NE(suite, nullptr);
  EXPECT_EQ(suite->iterate_generic, &other_generic);
  EXPECT_EQ(suite->iterate_generic(1, nullptr, nullptr), 99);
}

TEST_F(Suites, OverrideInstalledAfterTheScanIsNotSeen) {
  ASSERT_EQ(rxtest::register_suites_afresh(), 0);
  ASSERT_EQ(RX_SetOverrideFunc(53, reinterpret_cast<RX_OverFunc>(&other_generic)), 0);
  const RX_Iterate8Suite1* suite = acquire_iterate8();
  ASSERT_NE(suite, nullptr);
  EXPECT_EQ(suite->iterate_generic, &RX_IterateGeneric_Static);
}

TEST_F(Suites, RefusedRegistrationIsTheResultOfTheScanEnd) {
  ASSERT_EQ(rxtest::register_suites_afresh(), 0);
  const int32_t count = RXHost_SuiteCount();
  EXPECT_EQ(rxtest::finish_plugin_scan(), ADDN_Err_SuiteExists);
  EXPECT_EQ(RXHost_SuiteCount(), count);
}

}  // namespace
