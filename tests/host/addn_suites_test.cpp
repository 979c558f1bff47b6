#include <gtest/gtest.h>

#include <string>

#include "ADDN/ADDN.h"
#include "KO/KO.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;

int32_t add_one(int32_t v) { return v + 1; }
int32_t add_two(int32_t v) { return v + 2; }

using AddFunc = int32_t (*)(int32_t);

class AddnSuites : public ::testing::Test {
 protected:
  void SetUp() override {
    RXHost_ForgetSuites();
    ASSERT_EQ(ADDN_GetQLBasicSuite(&basic_), KO_Err_None);
    ASSERT_NE(basic_, nullptr);
  }
  void TearDown() override { RXHost_ForgetSuites(); }
  const ADDN_QLBasicSuite* basic_ = nullptr;
};

TEST_F(AddnSuites, RegisteredSuiteIsAcquiredByNameAndVersion) {
  static AddFunc table[2] = {add_one, add_two};
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Add Suite", 1, 1, 2, table), KO_Err_None);
  const void* suite = nullptr;
  ASSERT_EQ(basic_->AcquireSuite("Test Add Suite", 1, &suite), KO_Err_None);
  ASSERT_EQ(suite, static_cast<const void*>(table));
  const auto* functions = static_cast<const AddFunc*>(suite);
  EXPECT_EQ(functions[0](5), 6);
  EXPECT_EQ(functions[1](5), 7);
  EXPECT_EQ(basic_->ReleaseSuite("Test Add Suite", 1), KO_Err_None);
}

TEST_F(AddnSuites, TableIsKeptByReferenceSoARefilledTableIsSeen) {
  static AddFunc table[1] = {add_one};
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Refill Suite", 1, 1, 1, table), KO_Err_None);
  table[0] = add_two;
  const void* suite = nullptr;
  ASSERT_EQ(basic_->AcquireSuite("Test Refill Suite", 1, &suite), KO_Err_None);
  EXPECT_EQ(static_cast<const AddFunc*>(suite)[0](1), 3);
  EXPECT_EQ(basic_->ReleaseSuite("Test Refill Suite", 1), KO_Err_None);
}

TEST_F(AddnSuites, UnknownNameOrVersionIsNotFoundAndGivesNull) {
  static AddFunc table[1] = {add_one};
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Versioned Suite", 2, 1, 1, table), KO_Err_None);
  const void* suite = table;
  EXPECT_EQ(basic_->AcquireSuite("Test Versioned Suite", 1, &suite), ADDN_Err_SuiteNotFound);
  EXPECT_EQ(suite, nullptr);
  suite = table;
  EXPECT_EQ(basic_->AcquireSuite("test versioned suite", 2, &suite), ADDN_Err_SuiteNotFound);
  EXPECT_EQ(suite, nullptr);
  EXPECT_EQ(basic_->AcquireSuite("No Such Suite", 1, &suite), ADDN_Err_SuiteNotFound);
}

TEST_F(AddnSuites, SameNameWithTwoMajorVersionsAreTwoSuites) {
  static AddFunc one[1] = {add_one};
  static AddFunc two[1] = {add_two};
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test World Suite", 1, 1, 1, one), KO_Err_None);
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test World Suite", 2, 2, 1, two), KO_Err_None);
  const void* v1 = nullptr;
  const void* v2 = nullptr;
  ASSERT_EQ(basic_->AcquireSuite("Test World Suite", 1, &v1), KO_Err_None);
  ASSERT_EQ(basic_->AcquireSuite("Test World Suite", 2, &v2), KO_Err_None);
  EXPECT_EQ(v1, static_cast<const void*>(one));
  EXPECT_EQ(v2, static_cast<const void*>(two));
  EXPECT_EQ(basic_->ReleaseSuite("Test World Suite", 1), KO_Err_None);
  EXPECT_EQ(basic_->ReleaseSuite("Test World Suite", 2), KO_Err_None);
}

TEST_F(AddnSuites, RegisteringTheSameNameAndMajorVersionAgainIsRefused) {
  static AddFunc one[1] = {add_one};
  static AddFunc two[1] = {add_two};
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Twice Suite", 1, 1, 1, one), KO_Err_None);
  EXPECT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Twice Suite", 1, 2, 1, two), ADDN_Err_SuiteExists);
  EXPECT_EQ(RXHost_SuiteCount(), 1);
  const void* suite = nullptr;
  ASSERT_EQ(basic_->AcquireSuite("Test Twice Suite", 1, &suite), KO_Err_None);
  EXPECT_EQ(suite, static_cast<const void*>(one));
  EXPECT_EQ(basic_->ReleaseSuite("Test Twice Suite", 1), KO_Err_None);
}

TEST_F(AddnSuites, AnEmptyTableIsASuiteWithoutFunctions) {
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Empty Suite", 1, 1, 0, nullptr), KO_Err_None);
  const void* suite = &suite;
  ASSERT_EQ(basic_->AcquireSuite("Test Empty Suite", 1, &suite), KO_Err_None);
  EXPECT_EQ(suite, nullptr);
  EXPECT_EQ(basic_->ReleaseSuite("Test Empty Suite", 1), KO_Err_None);
}

TEST_F(AddnSuites, BadRegistrationsAreRefused) {
  static AddFunc table[1] = {add_one};
  EXPECT_EQ(ADDN_AddQLSuite(nullptr, 0, nullptr, 1, 1, 1, table), KO_Err_Internal);
  EXPECT_EQ(ADDN_AddQLSuite(nullptr, 0, "", 1, 1, 1, table), KO_Err_Internal);
  EXPECT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Bad Suite", 1, 1, -1, table), KO_Err_Internal);
  EXPECT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Bad Suite", 1, 1, 3, nullptr), KO_Err_Internal);
  EXPECT_EQ(RXHost_SuiteCount(), 0);
  EXPECT_EQ(ADDN_GetQLBasicSuite(nullptr), KO_Err_Internal);
  EXPECT_EQ(basic_->AcquireSuite("Test Bad Suite", 1, nullptr), KO_Err_Internal);
  EXPECT_EQ(basic_->AcquireSuite(nullptr, 1, reinterpret_cast<const void**>(&table)), KO_Err_Internal);
  EXPECT_EQ(basic_->ReleaseSuite(nullptr, 1), KO_Err_Internal);
}

TEST_F(AddnSuites, UsesAreCountedAndOverReleaseIsRefused) {
  static AddFunc table[1] = {add_one};
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Counted Suite", 1, 1, 1, table), KO_Err_None);
  const void* suite = nullptr;
  ASSERT_EQ(basic_->AcquireSuite("Test Counted Suite", 1, &suite), KO_Err_None);
  ASSERT_EQ(basic_->AcquireSuite("Test Counted Suite", 1, &suite), KO_Err_None);
  int32_t acquired = -1;
  ASSERT_EQ(RXHost_SuiteAt(0, nullptr, nullptr, nullptr, nullptr, nullptr, &acquired), KO_Err_None);
  EXPECT_EQ(acquired, 2);
  EXPECT_EQ(basic_->ReleaseSuite("Test Counted Suite", 1), KO_Err_None);
  EXPECT_EQ(basic_->ReleaseSuite("Test Counted Suite", 1), KO_Err_None);
  EXPECT_EQ(basic_->ReleaseSuite("Test Counted Suite", 1), ADDN_Err_SuiteNotAcquired);
  EXPECT_EQ(basic_->ReleaseSuite("Test Never Registered", 1), ADDN_Err_SuiteNotFound);
}

TEST_F(AddnSuites, RegistryRecordsEveryFieldInOrderOfRegistration) {
  static AddFunc first[1] = {add_one};
  static AddFunc second[2] = {add_one, add_two};
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test First Suite", 1, 1, 1, first), KO_Err_None);
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Second Suite", 2, 2, 2, second), KO_Err_None);
  ASSERT_EQ(RXHost_SuiteCount(), 2);
  const char* name = nullptr;
  int32_t major = 0, minor = 0, count = 0;
  const void* functions = nullptr;
  ASSERT_EQ(RXHost_SuiteAt(1, &name, &major, &minor, &count, &functions, nullptr), KO_Err_None);
  EXPECT_EQ(std::string(name), "Test Second Suite");
  EXPECT_EQ(major, 2);
  EXPECT_EQ(minor, 2);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(functions, static_cast<const void*>(second));
  EXPECT_EQ(RXHost_SuiteAt(2, &name, nullptr, nullptr, nullptr, nullptr, nullptr), KO_Err_Internal);
  EXPECT_EQ(RXHost_SuiteAt(-1, &name, nullptr, nullptr, nullptr, nullptr, nullptr), KO_Err_Internal);
}

TEST_F(AddnSuites, IsEqualComparesNamesExactly) {
  EXPECT_TRUE(basic_->IsEqual("RX Iterate8 Suite", "RX Iterate8 Suite"));
  EXPECT_FALSE(basic_->IsEqual("RX iterate16 Suite", "RX Iterate16 Suite"));
  EXPECT_FALSE(basic_->IsEqual(nullptr, "RX Iterate8 Suite"));
}

TEST_F(AddnSuites, RegistryIsNotOnTheBooks) {
  static AddFunc table[1] = {add_one};
  const Books before;
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Books Suite", 1, 1, 1, table), KO_Err_None);
  EXPECT_TRUE(before.unchanged());
}

TEST_F(AddnSuites, ForgettingEmptiesTheRegistry) {
  static AddFunc table[1] = {add_one};
  ASSERT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Forgotten Suite", 1, 1, 1, table), KO_Err_None);
  RXHost_ForgetSuites();
  EXPECT_EQ(RXHost_SuiteCount(), 0);
  const void* suite = nullptr;
  EXPECT_EQ(basic_->AcquireSuite("Test Forgotten Suite", 1, &suite), ADDN_Err_SuiteNotFound);
  EXPECT_EQ(ADDN_AddQLSuite(nullptr, 0, "Test Forgotten Suite", 1, 1, 1, table), KO_Err_None);
}

}  // namespace
