#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "KO/KO.h"
#include "MIX/MIX.h"

namespace {

TEST(MixTable, HasPrimeLength) {
  const uint32_t* table = nullptr;
  int32_t length = 0;
  ASSERT_EQ(MIX_GetPrimeSizedTable(&table, &length), KO_Err_None);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(length, 65521);
  for (int32_t d = 2; d * d <= length; ++d) EXPECT_NE(length % d, 0) << d;
}

TEST(MixTable, IsTheSameTableOnEveryCall) {
  const uint32_t *a = nullptr, *b = nullptr;
  int32_t la = 0, lb = 0;
  ASSERT_EQ(MIX_GetPrimeSizedTable(&a, &la), KO_Err_None);
  ASSERT_EQ(MIX_GetPrimeSizedTable(&b, &lb), KO_Err_None);
  EXPECT_EQ(a, b);
  EXPECT_EQ(la, lb);
}

TEST(MixTable, WordsComeFromAFixedSeed) {
  // The first words of SplitMix64 from the fixed seed, high halves: the same
  // in every process and on every machine.
  const uint32_t* table = nullptr;
  int32_t length = 0;
  ASSERT_EQ(MIX_GetPrimeSizedTable(&table, &length), KO_Err_None);
  uint64_t state = 0x5258204D49582121ull;
  for (int i = 0; i < 16; ++i) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    EXPECT_EQ(table[i], uint32_t(z >> 32)) << i;
  }
}

TEST(MixTable, WordsAreSpreadOut) {
  const uint32_t* table = nullptr;
  int32_t length = 0;
  ASSERT_EQ(MIX_GetPrimeSizedTable(&table, &length), KO_Err_None);
  const std::set<uint32_t> distinct(table, table + length);
  EXPECT_GT(distinct.size(), size_t(length) * 99 / 100);
  uint64_t ones = 0;
  for (int32_t i = 0; i < length; ++i) ones += uint64_t(__builtin_popcount(table[i]));
  const double ratio = double(ones) / (32.0 * length);
  EXPECT_NEAR(ratio, 0.5, 0.01);
}

TEST(MixTable, EitherOutMayBeNull) {
  int32_t length = 0;
  const uint32_t* table = nullptr;
  EXPECT_EQ(MIX_GetPrimeSizedTable(nullptr, &length), KO_Err_None);
  EXPECT_EQ(length, MIX_PRIME_TABLE_LENGTH);
  EXPECT_EQ(MIX_GetPrimeSizedTable(&table, nullptr), KO_Err_None);
  EXPECT_NE(table, nullptr);
}

}  // namespace
