// 3 x 3 matrices of the geometry library: composition, inversion,
// comparison, classification and point mapping.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "GE/GE.h"

namespace {

GE_Matrix3 affine(double a, double b, double tx, double c, double d, double ty) {
  return GE_Matrix3{{{a, b, tx}, {c, d, ty}, {0.0, 0.0, 1.0}}};
}

GE_Matrix3 rotation(double degrees, double tx = 0.0, double ty = 0.0) {
  const double r = degrees * M_PI / 180.0;
  return affine(std::cos(r), -std::sin(r), tx, std::sin(r), std::cos(r), ty);
}

TEST(GEMatrices, IdentityMapsEveryPointToItself) {
  GE_Matrix3 m;
  GE_SetIdentityMatrix(&m);
  GE_FloatPoint p[2] = {{3.25, -7.5}, {0.0, 1e9}};
  GE_TransformFloatPoints(&m, 2, p);
  EXPECT_EQ(p[0].x, 3.25);
  EXPECT_EQ(p[0].y, -7.5);
  EXPECT_EQ(p[1].y, 1e9);
  EXPECT_EQ(GE_GetMatrixType(&m), GE_MatrixType_Identity);
}

TEST(GEMatrices, ColumnZeroIsWhereTheUnitXStepGoes) {
  const GE_Matrix3 m = affine(2.0, 3.0, 10.0, 5.0, 7.0, 20.0);
  GE_FloatPoint p[3] = {{0, 0}, {1, 0}, {0, 1}};
  GE_TransformFloatPoints(&m, 3, p);
  EXPECT_EQ(p[0].x, 10.0);
  EXPECT_EQ(p[0].y, 20.0);
  EXPECT_EQ(p[1].x - p[0].x, 2.0);
  EXPECT_EQ(p[1].y - p[0].y, 5.0);
  EXPECT_EQ(p[2].x - p[0].x, 3.0);
  EXPECT_EQ(p[2].y - p[0].y, 7.0);
}

TEST(GEMatrices, ConcatAppliesTheRightOperandFirst) {
  const GE_Matrix3 scale = affine(2.0, 0.0, 0.0, 0.0, 2.0, 0.0);
  const GE_Matrix3 move = affine(1.0, 0.0, 5.0, 0.0, 1.0, 0.0);
  GE_Matrix3 m;
  GE_ConcatMatrix(&move, &scale, &m);  // scale, then move
  GE_FloatPoint p{1.0, 1.0};
  GE_TransformFloatPoints(&m, 1, &p);
  EXPECT_EQ(p.x, 7.0);
  EXPECT_EQ(p.y, 2.0);
  GE_Matrix3 same = move;
  GE_ConcatMatrix(&same, &scale, &same);  // out may be an operand
  EXPECT_TRUE(GE_EqualMatrixWithinEpsilon(&same, &m, 0.0));
}

TEST(GEMatrices, InverseUndoesTheMatrix) {
  const GE_Matrix3 m = rotation(33.0, 12.5, -4.0);
  GE_Matrix3 inv, product, identity;
  ASSERT_EQ(GE_InverseMatrixQuiet(&m, &inv), 1);
  GE_ConcatMatrix(&inv, &m, &product);
  GE_SetIdentityMatrix(&identity);
  EXPECT_TRUE(GE_EqualMatrixWithinEpsilon(&product, &identity, 1e-12));
  GE_FloatPoint p{100.0, 50.0};
  GE_TransformFloatPoints(&m, 1, &p);
  GE_TransformFloatPoints(&inv, 1, &p);
  EXPECT_NEAR(p.x, 100.0, 1e-9);
  EXPECT_NEAR(p.y, 50.0, 1e-9);
}

TEST(GEMatrices, InverseOfAPerspectiveMatrix) {
  const GE_Matrix3 m{{{1.0, 0.2, 3.0}, {0.1, 1.5, -2.0}, {0.001, 0.002, 1.0}}};
  GE_Matrix3 inv;
  ASSERT_EQ(GE_InverseMatrixQuiet(&m, &inv), 1);
  GE_FloatPoint p{40.0, 70.0};
  GE_TransformFloatPoints(&m, 1, &p);
  GE_TransformFloatPoints(&inv, 1, &p);
  EXPECT_NEAR(p.x, 40.0, 1e-9);
  EXPECT_NEAR(p.y, 70.0, 1e-9);
}

TEST(GEMatrices, SingularMatrixIsRefusedQuietlyAndOutIsKept) {
  const GE_Matrix3 flat = affine(1.0, 2.0, 0.0, 2.0, 4.0, 0.0);  // rows are dependent
  GE_Matrix3 out = affine(9, 9, 9, 9, 9, 9);
  const GE_Matrix3 before = out;
  EXPECT_EQ(GE_InverseMatrixQuiet(&flat, &out), 0);
  EXPECT_TRUE(GE_EqualMatrixWithinEpsilon(&out, &before, 0.0));
  const GE_Matrix3 zero{};
  EXPECT_EQ(GE_InverseMatrixQuiet(&zero, &out), 0);
  const GE_Matrix3 nan = affine(std::nan(""), 0, 0, 0, 1, 0);
  EXPECT_EQ(GE_InverseMatrixQuiet(&nan, &out), 0);
}

TEST(GEMatrices, InverseOfATinyButRegularScale) {
  const GE_Matrix3 tiny = affine(1e-7, 0.0, 0.0, 0.0, 1e-7, 0.0);
  GE_Matrix3 inv;
  ASSERT_EQ(GE_InverseMatrixQuiet(&tiny, &inv), 1);
  EXPECT_NEAR(inv.m[0][0], 1e7, 1e-3);
}

TEST(GEMatrices, EqualityWithinEpsilonLooksAtEveryEntry) {
  const GE_Matrix3 a = rotation(10.0, 3.0, 4.0);
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      GE_Matrix3 b = a;
      b.m[r][c] += 1e-9;
      EXPECT_TRUE(GE_EqualMatrixWithinEpsilon(&a, &b, 1e-8)) << r << c;
      EXPECT_FALSE(GE_EqualMatrixWithinEpsilon(&a, &b, 1e-12)) << r << c;
    }
  }
  GE_Matrix3 n = a;
  n.m[1][1] = std::nan("");
  EXPECT_FALSE(GE_EqualMatrixWithinEpsilon(&a, &n, 1.0));
}

int32_t type_of(const GE_Matrix3& m) { return GE_GetMatrixType(&m); }

TEST(GEMatrices, TypesFromTheSimplestClassThatHolds) {
  EXPECT_EQ(type_of(affine(1, 0, 0, 0, 1, 0)), GE_MatrixType_Identity);
  EXPECT_EQ(type_of(affine(1, 0, 0.5, 0, 1, 0)), GE_MatrixType_Translate);
  EXPECT_EQ(type_of(affine(1, 0, 0, 0, 1, -3)), GE_MatrixType_Translate);
  EXPECT_EQ(type_of(affine(2, 0, 0, 0, 1, 0)), GE_MatrixType_Scale);
  EXPECT_EQ(type_of(affine(-1, 0, 7, 0, 1, 0)), GE_MatrixType_Scale);
  EXPECT_EQ(type_of(affine(1, 0.1, 0, 0, 1, 0)), GE_MatrixType_Affine);
  const GE_Matrix3 r = rotation(90.0);
  EXPECT_EQ(GE_GetMatrixType(&r), GE_MatrixType_Affine);
  const GE_Matrix3 p{{{1, 0, 0}, {0, 1, 0}, {0.01, 0, 1}}};
  EXPECT_EQ(GE_GetMatrixType(&p), GE_MatrixType_Perspective);
  const GE_Matrix3 w{{{1, 0, 0}, {0, 1, 0}, {0, 0, 2}}};
  EXPECT_EQ(GE_GetMatrixType(&w), GE_MatrixType_Perspective);
}

TEST(GEMatrices, PerspectivePointsDivideByW) {
  const GE_Matrix3 m{{{2, 0, 0}, {0, 2, 0}, {0, 0, 4}}};
  GE_FloatPoint p{8.0, -4.0};
  GE_TransformFloatPoints(&m, 1, &p);
  EXPECT_EQ(p.x, 4.0);
  EXPECT_EQ(p.y, -2.0);
}

TEST(GEMatrices, PointAtInfinityGoesToTheLargestValues) {
  const GE_Matrix3 m{{{1, 0, 0}, {0, 1, 0}, {1, 0, 0}}};  // w = x
  GE_FloatPoint p[2] = {{0.0, 5.0}, {0.0, -5.0}};
  GE_TransformFloatPoints(&m, 2, p);
  EXPECT_EQ(p[0].y, DBL_MAX);
  EXPECT_EQ(p[1].y, -DBL_MAX);
  EXPECT_EQ(p[0].x, 0.0);
}

TEST(GEMatrices, IntegerPointsAreRounded) {
  const GE_Matrix3 m = affine(0.5, 0, 0.25, 0, 1.5, 0);
  GE_LPoint p[2] = {{3, 1}, {-3, -1}};
  GE_TransformPoints(&m, 2, p);
  EXPECT_EQ(p[0].x, 2);   // 1.75
  EXPECT_EQ(p[0].y, 2);   // 1.5, halves away from zero
  EXPECT_EQ(p[1].x, -1);  // -1.25
  EXPECT_EQ(p[1].y, -2);  // -1.5
}

}  // namespace
