#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "GE/GE.h"

namespace {

TEST(GERoundDouble, RoundsToNearest) {
  EXPECT_EQ(GE_RoundDouble(0.0), 0);
  EXPECT_EQ(GE_RoundDouble(1.2), 1);
  EXPECT_EQ(GE_RoundDouble(1.7), 2);
  EXPECT_EQ(GE_RoundDouble(-1.2), -1);
  EXPECT_EQ(GE_RoundDouble(-1.7), -2);
  EXPECT_EQ(GE_RoundDouble(254.9999), 255);
}

TEST(GERoundDouble, ExactHalvesGoAwayFromZero) {
  EXPECT_EQ(GE_RoundDouble(0.5), 1);
  EXPECT_EQ(GE_RoundDouble(1.5), 2);
  EXPECT_EQ(GE_RoundDouble(2.5), 3);
  EXPECT_EQ(GE_RoundDouble(-0.5), -1);
  EXPECT_EQ(GE_RoundDouble(-2.5), -3);
}

TEST(GERoundDouble, LargestDoubleBelowAHalfRoundsDown) {
  const double below_half = std::nextafter(0.5, 0.0);  // 0.49999999999999994
  EXPECT_EQ(GE_RoundDouble(below_half), 0);
  EXPECT_EQ(GE_RoundDouble(-below_half), 0);
}

TEST(GERoundDouble, OutOfRangeGivesTheNearestEndAndNaNGivesZero) {
  EXPECT_EQ(GE_RoundDouble(1e12), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(GE_RoundDouble(-1e12), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(GE_RoundDouble(2147483647.0), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(GE_RoundDouble(-2147483648.0), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(GE_RoundDouble(std::nan("")), 0);
}

}  // namespace
