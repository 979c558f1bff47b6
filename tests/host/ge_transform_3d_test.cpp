#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "GE/GE.h"

namespace {

GE_Matrix4 identity() {
  GE_Matrix4 m{};
  for (int i = 0; i < 4; ++i) m.m[i][i] = 1.0;
  return m;
}

TEST(GeTransform3D, IdentityLeavesPoints) {
  const GE_Matrix4 m = identity();
  GE_LPoint p[3] = {{0, 0}, {-5, 7}, {INT32_MAX, INT32_MIN}};
  GE_3DTransform2DPoints(&m, 3, p);
  EXPECT_EQ(p[1].x, -5);
  EXPECT_EQ(p[1].y, 7);
  EXPECT_EQ(p[2].x, INT32_MAX);
  EXPECT_EQ(p[2].y, INT32_MIN);
}

TEST(GeTransform3D, PointsLieInThePlaneZeroSoTheZColumnPlaysNoPart) {
  GE_Matrix4 m = identity();
  m.m[0][3] = 10.0;   // translate x
  m.m[1][3] = -4.0;   // translate y
  m.m[0][2] = 99.0;   // z into x: z is 0
  m.m[2][0] = 5.0;    // the z row is not read
  m.m[2][3] = 8.0;
  GE_LPoint p[2] = {{1, 2}, {-3, 0}};
  GE_3DTransform2DPoints(&m, 2, p);
  EXPECT_EQ(p[0].x, 11);
  EXPECT_EQ(p[0].y, -2);
  EXPECT_EQ(p[1].x, 7);
  EXPECT_EQ(p[1].y, -4);
}

TEST(GeTransform3D, PerspectiveDividesAndRoundsHalvesAway) {
  GE_Matrix4 m = identity();
  m.m[3][0] = 0.5;  // w = 0.5 x + 1
  GE_LPoint p[3] = {{2, 5}, {1, 1}, {-1, -3}};
  GE_3DTransform2DPoints(&m, 3, p);
  EXPECT_EQ(p[0].x, 1);   // 2 / 2
  EXPECT_EQ(p[0].y, 3);   // 5 / 2 = 2.5, away from zero
  EXPECT_EQ(p[1].x, 1);   // 1 / 1.5 = 0.67
  EXPECT_EQ(p[1].y, 1);
  EXPECT_EQ(p[2].x, -2);  // -1 / 0.5
  EXPECT_EQ(p[2].y, -6);
}

TEST(GeTransform3D, RotationAboutZ) {
  GE_Matrix4 m = identity();
  m.m[0][0] = 0.0, m.m[0][1] = -1.0;
  m.m[1][0] = 1.0, m.m[1][1] = 0.0;
  GE_LPoint p{3, 1};
  GE_3DTransform2DPoints(&m, 1, &p);
  EXPECT_EQ(p.x, -1);
  EXPECT_EQ(p.y, 3);
}

TEST(GeTransform3D, PointsAtWZeroGoToTheEndsOfTheRange) {
  GE_Matrix4 m = identity();
  m.m[3][0] = 1.0;
  m.m[3][3] = -2.0;  // w = x - 2
  GE_LPoint p{2, -1};
  GE_3DTransform2DPoints(&m, 1, &p);
  EXPECT_EQ(p.x, INT32_MAX);
  EXPECT_EQ(p.y, INT32_MIN);
  GE_LPoint q{2, 0};
  GE_3DTransform2DPoints(&m, 1, &q);
  EXPECT_EQ(q.y, 0);
}

TEST(GeTransform3D, ACountOfZeroTouchesNothing) {
  const GE_Matrix4 m = identity();
  GE_3DTransform2DPoints(&m, 0, nullptr);
  GE_LPoint p{4, 4};
  GE_3DTransform2DPoints(&m, 0, &p);
  EXPECT_EQ(p.x, 4);
}

}  // namespace
