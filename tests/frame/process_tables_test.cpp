// Tables prepared at birth: byte to float, soft-light curves, zero block.
#include <cmath>

#include "rx_test_support.h"

namespace {

class ProcessTables : public rxtest::BornPackage {};

TEST_F(ProcessTables, ByteFloatTableHoldsEachIndexAsAFloat) {
  for (int i = 0; i < 256; ++i) EXPECT_EQ(RX_ByteFloatTable[i], float(i));
}

double soft_light_d(double x) { return x <= 0.25 ? ((16 * x - 12) * x + 4) * x : std::sqrt(x); }

TEST_F(ProcessTables, SoftLightTablesFollowTheirCurvesAtEveryPoint) {
  for (int i = 0; i <= 4096; ++i) {
    const double x = i / 4096.0;
    const double delta = soft_light_d(x) - x;
    const double parabola = x * (1 - x);
    ASSERT_EQ(RXp_G_SoftLightDeltaF[i], float(delta)) << i;
    ASSERT_EQ(RXp_G_SoftLightParabolaF[i], float(parabola)) << i;
    ASSERT_EQ(RXp_G_SoftLightDelta16[i], uint16_t(int(32768 * delta + 0.5))) << i;
    ASSERT_EQ(RXp_G_SoftLightParabola16[i], uint16_t(int(32768 * parabola + 0.5))) << i;
  }
}

TEST_F(ProcessTables, SoftLightCurveSwitchesToTheRootAfterAQuarter) {
  // At x = 1/4 the cubic gives 1/2, as does the root: the curve is continuous.
  EXPECT_FLOAT_EQ(RXp_G_SoftLightDeltaF[1024], 0.25f);
  EXPECT_EQ(RXp_G_SoftLightDelta16[1024], 8192);
  EXPECT_EQ(RXp_G_SoftLightDeltaF[0], 0.0f);
  EXPECT_EQ(RXp_G_SoftLightDeltaF[4096], 0.0f);
  EXPECT_EQ(RXp_G_SoftLightParabola16[2048], 8192);  // 32768 / 4
}

TEST_F(ProcessTables, ZeroDataIsAllZeroBytes) {
  for (uint8_t byte : RX_G_ZeroData) EXPECT_EQ(byte, 0);
}

}  // namespace
