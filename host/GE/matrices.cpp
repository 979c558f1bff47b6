// 3 x 3 matrices over column vectors: composition, inversion by the
// adjugate, classification and point mapping. Classification compares
// exactly; callers that want a tolerance round the entries first.
#include <cfloat>
#include <cmath>

#include "GE/GE.h"

namespace {

bool finite_matrix(const GE_Matrix3& m) {
  for (const auto& row : m.m) {
    for (double v : row) {
      if (!std::isfinite(v)) return false;
    }
  }
  return true;
}

// x / w for a point at w = 0: as far as a double goes, in the direction of x.
double projected(double x, double w) {
  if (w != 0.0) return x / w;
  if (x == 0.0) return 0.0;
  return x > 0.0 ? DBL_MAX : -DBL_MAX;
}

}  // namespace

void GE_SetIdentityMatrix(GE_Matrix3* m) {
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) m->m[r][c] = r == c ? 1.0 : 0.0;
  }
}

void GE_ConcatMatrix(const GE_Matrix3* a, const GE_Matrix3* b, GE_Matrix3* out) {
  GE_Matrix3 p;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      p.m[r][c] = a->m[r][0] * b->m[0][c] + a->m[r][1] * b->m[1][c] + a->m[r][2] * b->m[2][c];
    }
  }
  *out = p;
}

int32_t GE_InverseMatrixQuiet(const GE_Matrix3* in, GE_Matrix3* out) {
  const auto& m = in->m;
  // Cofactors, transposed into the adjugate.
  GE_Matrix3 adj;
  adj.m[0][0] = m[1][1] * m[2][2] - m[1][2] * m[2][1];
  adj.m[0][1] = m[0][2] * m[2][1] - m[0][1] * m[2][2];
  adj.m[0][2] = m[0][1] * m[1][2] - m[0][2] * m[1][1];
  adj.m[1][0] = m[1][2] * m[2][0] - m[1][0] * m[2][2];
  adj.m[1][1] = m[0][0] * m[2][2] - m[0][2] * m[2][0];
  adj.m[1][2] = m[0][2] * m[1][0] - m[0][0] * m[1][2];
  adj.m[2][0] = m[1][0] * m[2][1] - m[1][1] * m[2][0];
  adj.m[2][1] = m[0][1] * m[2][0] - m[0][0] * m[2][1];
  adj.m[2][2] = m[0][0] * m[1][1] - m[0][1] * m[1][0];
  const double det = m[0][0] * adj.m[0][0] + m[0][1] * adj.m[1][0] + m[0][2] * adj.m[2][0];
  if (det == 0.0 || !std::isfinite(det)) return 0;
  GE_Matrix3 inverse;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) inverse.m[r][c] = adj.m[r][c] / det;
  }
  if (!finite_matrix(inverse)) return 0;
  *out = inverse;
  return 1;
}

int32_t GE_EqualMatrixWithinEpsilon(const GE_Matrix3* a, const GE_Matrix3* b, double epsilon) {
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      if (!(std::fabs(a->m[r][c] - b->m[r][c]) <= epsilon)) return 0;
    }
  }
  return 1;
}

int32_t GE_GetMatrixType(const GE_Matrix3* in) {
  const auto& m = in->m;
  if (m[2][0] != 0.0 || m[2][1] != 0.0 || m[2][2] != 1.0) return GE_MatrixType_Perspective;
  if (m[0][1] != 0.0 || m[1][0] != 0.0) return GE_MatrixType_Affine;
  if (m[0][0] != 1.0 || m[1][1] != 1.0) return GE_MatrixType_Scale;
  if (m[0][2] != 0.0 || m[1][2] != 0.0) return GE_MatrixType_Translate;
  return GE_MatrixType_Identity;
}

void GE_TransformFloatPoints(const GE_Matrix3* in, int32_t count, GE_FloatPoint* points) {
  const auto& m = in->m;
  for (int32_t i = 0; i < count; ++i) {
    const double x = points[i].x, y = points[i].y;
    const double w = m[2][0] * x + m[2][1] * y + m[2][2];
    points[i].x = projected(m[0][0] * x + m[0][1] * y + m[0][2], w);
    points[i].y = projected(m[1][0] * x + m[1][1] * y + m[1][2], w);
  }
}

void GE_TransformPoints(const GE_Matrix3* m, int32_t count, GE_LPoint* points) {
  for (int32_t i = 0; i < count; ++i) {
    GE_FloatPoint p{double(points[i].x), double(points[i].y)};
    GE_TransformFloatPoints(m, 1, &p);
    points[i] = GE_LPoint{GE_RoundDouble(p.x), GE_RoundDouble(p.y)};
  }
}
