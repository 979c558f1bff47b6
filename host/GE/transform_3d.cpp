// Points of the plane through a 4 x 4 matrix: the plane is z = 0 of space,
// and the result is projected back by its w.
#include <cfloat>

#include "GE/GE.h"

namespace {

// x / w; at w = 0 as far as a double goes in the direction of x, which
// GE_RoundDouble then holds to the 32-bit range.
double projected(double x, double w) {
  if (w != 0.0) return x / w;
  if (x == 0.0) return 0.0;
  return x > 0.0 ? DBL_MAX : -DBL_MAX;
}

}  // namespace

void GE_3DTransform2DPoints(const GE_Matrix4* in, int32_t count, GE_LPoint* points) {
  const auto& m = in->m;
  for (int32_t i = 0; i < count; ++i) {
    const double x = points[i].x, y = points[i].y;
    const double w = m[3][0] * x + m[3][1] * y + m[3][3];
    points[i] = GE_LPoint{GE_RoundDouble(projected(m[0][0] * x + m[0][1] * y + m[0][3], w)),
                          GE_RoundDouble(projected(m[1][0] * x + m[1][1] * y + m[1][3], w))};
  }
}
