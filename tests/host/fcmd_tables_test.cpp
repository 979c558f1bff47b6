#include <gtest/gtest.h>

#include <algorithm>

#include "GE/GE.h"
#include "KO/KO.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;
using hosttest::FailNth;

// Each test starts and ends with no reference.
class FcmdTables : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(RXHost_FCMDReferenceCount(), 0); }
  void TearDown() override {
    while (RXHost_FCMDReferenceCount() > 0) GE_UnprepareFCMD();
  }
};

TEST_F(FcmdTables, MultiplyIsProductOver255RoundedToNearest) {
  const uint8_t* mul = nullptr;
  ASSERT_EQ(GE_PrepareFCMD(1, 0, 0, &mul, nullptr), KO_Err_None);
  ASSERT_NE(mul, nullptr);
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const int p = a * b;
      ASSERT_EQ(mul[a * 256 + b], (p + 128 + ((p + 128) >> 8)) >> 8) << a << " " << b;
      // The same as exact rounding to nearest.
      ASSERT_EQ(mul[a * 256 + b], (2 * p + 255) / 510) << a << " " << b;
    }
  }
  EXPECT_EQ(GE_UnprepareFCMD(), KO_Err_None);
}

TEST_F(FcmdTables, DivideIsValueTimes255OverAlphaLimitedTo255) {
  const uint8_t* div = nullptr;
  ASSERT_EQ(GE_PrepareFCMD(1, 0, 0, nullptr, &div), KO_Err_None);
  ASSERT_NE(div, nullptr);
  for (int a = 1; a < 256; ++a) {
    for (int v = 0; v < 256; ++v) {
      ASSERT_EQ(div[a * 256 + v], std::min(255, (2 * v * 255 + a) / (2 * a))) << a << " " << v;
    }
    ASSERT_EQ(div[a * 256], 0) << a;
  }
  EXPECT_EQ(GE_UnprepareFCMD(), KO_Err_None);
}

TEST_F(FcmdTables, DivideRowZeroIsWhite) {
  const uint8_t* div = nullptr;
  ASSERT_EQ(GE_PrepareFCMD(1, 0, 0, nullptr, &div), KO_Err_None);
  for (int v = 0; v < 256; ++v) EXPECT_EQ(div[v], 255) << v;
  EXPECT_EQ(GE_UnprepareFCMD(), KO_Err_None);
}

TEST_F(FcmdTables, UnmultiplyingAPremultipliedValueGivesItBack) {
  const uint8_t *mul = nullptr, *div = nullptr;
  ASSERT_EQ(GE_PrepareFCMD(1, 0, 0, &mul, &div), KO_Err_None);
  EXPECT_EQ(div[255 * 256 + mul[255 * 256 + 77]], 77);
  EXPECT_EQ(div[128 * 256 + 64], 128);
  EXPECT_EQ(GE_UnprepareFCMD(), KO_Err_None);
}

TEST_F(FcmdTables, ReferencesShareOneCopyAndTheLastFreesIt) {
  const Books before;
  const uint8_t *m1 = nullptr, *d1 = nullptr, *m2 = nullptr, *d2 = nullptr;
  ASSERT_EQ(GE_PrepareFCMD(1, 0, 0, &m1, &d1), KO_Err_None);
  EXPECT_EQ(RXHost_LiveBytes(), before.bytes + 2 * 65536);
  ASSERT_EQ(GE_PrepareFCMD(1, 0, 0, &m2, &d2), KO_Err_None);
  EXPECT_EQ(RXHost_FCMDReferenceCount(), 2);
  EXPECT_EQ(m1, m2);
  EXPECT_EQ(d1, d2);
  EXPECT_NE(m1, d1);
  EXPECT_EQ(RXHost_LiveBytes(), before.bytes + 2 * 65536);
  EXPECT_EQ(GE_UnprepareFCMD(), KO_Err_None);
  EXPECT_EQ(RXHost_FCMDReferenceCount(), 1);
  EXPECT_FALSE(before.unchanged());
  EXPECT_EQ(GE_UnprepareFCMD(), KO_Err_None);
  EXPECT_EQ(RXHost_FCMDReferenceCount(), 0);
  EXPECT_TRUE(before.unchanged());
}

TEST_F(FcmdTables, UnprepareWithoutAReferenceIsAnError) {
  EXPECT_EQ(GE_UnprepareFCMD(), KO_Err_Internal);
  EXPECT_EQ(RXHost_FCMDReferenceCount(), 0);
}

TEST_F(FcmdTables, OnlyKindOneExists) {
  const uint8_t* mul = nullptr;
  EXPECT_EQ(GE_PrepareFCMD(2, 0, 0, &mul, nullptr), KO_Err_Internal);
  EXPECT_EQ(GE_PrepareFCMD(0, 0, 0, &mul, nullptr), KO_Err_Internal);
  EXPECT_EQ(mul, nullptr);
  EXPECT_EQ(RXHost_FCMDReferenceCount(), 0);
}

TEST_F(FcmdTables, FailingEitherTableTakesNoReferenceAndLeaksNothing) {
  const Books before;
  for (int n : {1, 2}) {
    const uint8_t *mul = nullptr, *div = nullptr;
    FailNth hook(n);
    EXPECT_EQ(GE_PrepareFCMD(1, 0, 0, &mul, &div), KO_Err_OutOfMemory) << n;
    EXPECT_EQ(mul, nullptr);
    EXPECT_EQ(div, nullptr);
    EXPECT_EQ(RXHost_FCMDReferenceCount(), 0);
    EXPECT_TRUE(before.unchanged());
  }
}

TEST_F(FcmdTables, LaterReferencesNeedNoAllocation) {
  ASSERT_EQ(GE_PrepareFCMD(1, 0, 0, nullptr, nullptr), KO_Err_None);
  FailNth hook(1);
  EXPECT_EQ(GE_PrepareFCMD(1, 0, 0, nullptr, nullptr), KO_Err_None);
  EXPECT_EQ(RXHost_FCMDReferenceCount(), 2);
}

}  // namespace
