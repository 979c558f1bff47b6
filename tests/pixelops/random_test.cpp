// The package's random generators: RX_Rand's Lehmer step in the package's
// Schrage form, and RX_Rand2's two LCG steps a call.
#include <cstdint>

#include "rx_test_support.h"

namespace {

// The rule, plainly: t = (s / 44488) * 3399 + (s % 44488) * 48271 in
// unsigned 32 bits, 0x7FFFFFFF added when t is 0.
uint32_t lehmer_rule(uint32_t s) {
  uint32_t t = (s / 44488) * 3399 + (s % 44488) * 48271;
  if (t == 0) t += 0x7FFFFFFF;
  return t;
}

TEST(Rand, SeedZeroStoresTheLargestPositiveValue) {
  uint32_t seed = 0;
  const uint32_t r = RX_Rand(&seed);
  EXPECT_EQ(seed, 0x7FFFFFFFu);
  EXPECT_EQ(r, (0x7FFFFFFFu >> 7) & 0x7FFF);
}

TEST(Rand, FirstValuesFromSeedOneFollowTheRule) {
  uint32_t seed = 1, expected_seed = 1;
  for (int k = 0; k < 1000; ++k) {
    expected_seed = lehmer_rule(expected_seed);
    const uint32_t r = RX_Rand(&seed);
    ASSERT_EQ(seed, expected_seed) << "call " << k;
    ASSERT_EQ(r, (expected_seed >> 7) & 0x7FFF) << "call " << k;
  }
}

TEST(Rand, FirstValueFromSeedOneIsTheMultiplier) {
  uint32_t seed = 1;
  EXPECT_EQ(RX_Rand(&seed), 48271u >> 7);
  EXPECT_EQ(seed, 48271u);
}

// Below 44488 the quotient is 0 and the step is the minimal standard one,
// 48271 * s mod (2^31 - 1).
TEST(Rand, SmallSeedsTakeTheMinimalStandardStep) {
  for (uint64_t s = 1; s < 44488; s += 97) {
    uint32_t seed = uint32_t(s);
    RX_Rand(&seed);
    EXPECT_EQ(seed, uint32_t(s * 48271 % 0x7FFFFFFF));
  }
}

// Large seeds: the two parts are added, with unsigned wrap-around.
TEST(Rand, LargeSeedsAddTheTwoPartsWithWrapAround) {
  for (uint32_t s : {44488u, 0x7FFFFFFEu, 0x80000000u, 0xFFFFFFFFu, 123456789u}) {
    uint32_t seed = s;
    const uint32_t r = RX_Rand(&seed);
    EXPECT_EQ(seed, lehmer_rule(s));
    EXPECT_LE(r, 0x7FFFu);
  }
}

// The rule, plainly: s = s * 1103515245 + 12345 twice, the result from the
// high bytes of both steps.
TEST(Rand2, TwoLCGStepsACallFollowTheRule) {
  uint32_t seed = 1, s = 1;
  for (int k = 0; k < 1000; ++k) {
    const uint32_t first = s * 1103515245u + 12345u;
    const uint32_t second = first * 1103515245u + 12345u;
    s = second;
    const uint32_t r = RX_Rand2(&seed);
    ASSERT_EQ(seed, second) << "call " << k;
    ASSERT_EQ(r, ((second >> 16) & 255) ^ (((first >> 16) & 255) << 7)) << "call " << k;
    ASSERT_LE(r, 0x7FFFu);
  }
}

TEST(Rand2, SeedZeroTakesTwoSteps) {
  uint32_t seed = 0;
  const uint32_t r = RX_Rand2(&seed);
  // 0 -> 12345 -> 12345 * 1103515245 + 12345.
  EXPECT_EQ(seed, 12345u * 1103515245u + 12345u);
  EXPECT_EQ(r, ((seed >> 16) & 255) ^ (((12345u >> 16) & 255) << 7));
}

}  // namespace
