// Small matrices of the engine on the row-vector convention: a point
// (x, y, 1) times the matrix, so m[2][0], m[2][1] translate. Scaling
// multiplies the first two columns.
#pragma once

#include <cmath>

#include "RX_Config.h"

namespace RX_Engine {

struct FnMatrix3 {
  float m[3][3];

  static constexpr FnMatrix3 identity() { return {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}; }
  static FnMatrix3 scaling(float sx, float sy) { return identity().scaled(sx, sy); }
  static FnMatrix3 translation(float tx, float ty) {
    FnMatrix3 t = identity();
    t.m[2][0] = tx;
    t.m[2][1] = ty;
    return t;
  }
  static FnMatrix3 rotation(float radians) {
    const float c = std::cos(radians), s = std::sin(radians);
    return {{{c, s, 0}, {-s, c, 0}, {0, 0, 1}}};
  }
  FnMatrix3 scaled(float sx, float sy) const {
    FnMatrix3 r = *this;
    for (auto& row : r.m) {
      row[0] *= sx;
      row[1] *= sy;
    }
    return r;
  }
  FnMatrix3 operator*(const FnMatrix3& o) const {
    FnMatrix3 r{};
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        r.m[i][j] = m[i][0] * o.m[0][j] + m[i][1] * o.m[1][j] + m[i][2] * o.m[2][j];
      }
    }
    return r;
  }
  float determinant() const {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
  }
  // False (and the matrix unchanged) when it cannot be inverted.
  bool invert() {
    const float det = determinant();
    if (det == 0.0f) return false;
    const float k = 1.0f / det;
    FnMatrix3 r;
    r.m[0][0] = (m[1][1] * m[2][2] - m[1][2] * m[2][1]) * k;
    r.m[0][1] = (m[0][2] * m[2][1] - m[0][1] * m[2][2]) * k;
    r.m[0][2] = (m[0][1] * m[1][2] - m[0][2] * m[1][1]) * k;
    r.m[1][0] = (m[1][2] * m[2][0] - m[1][0] * m[2][2]) * k;
    r.m[1][1] = (m[0][0] * m[2][2] - m[0][2] * m[2][0]) * k;
    r.m[1][2] = (m[0][2] * m[1][0] - m[0][0] * m[1][2]) * k;
    r.m[2][0] = (m[1][0] * m[2][1] - m[1][1] * m[2][0]) * k;
    r.m[2][1] = (m[0][1] * m[2][0] - m[0][0] * m[2][1]) * k;
    r.m[2][2] = (m[0][0] * m[1][1] - m[0][1] * m[1][0]) * k;
    *this = r;
    return true;
  }
  void transform(float x, float y, float* tx, float* ty) const {
    *tx = x * m[0][0] + y * m[1][0] + m[2][0];
    *ty = x * m[0][1] + y * m[1][1] + m[2][1];
  }
};

struct FnMatrix4 {
  float m[4][4];

  static constexpr FnMatrix4 identity() {
    return {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  }
  // Rotation about the x, y or z axis (0, 1, 2).
  static FnMatrix4 rotation(int axis, float radians) {
    const float c = std::cos(radians), s = std::sin(radians);
    FnMatrix4 r = identity();
    const int a = axis == 0 ? 1 : 0;
    const int b = axis == 2 ? 1 : 2;
    r.m[a][a] = c;
    r.m[a][b] = s;
    r.m[b][a] = -s;
    r.m[b][b] = c;
    return r;
  }
  FnMatrix4 operator*(const FnMatrix4& o) const {
    FnMatrix4 r{};
    for (int i = 0; i < 4; ++i) {
      for (int j = 0; j < 4; ++j) {
        float sum = 0.0f;
        for (int k = 0; k < 4; ++k) sum += m[i][k] * o.m[k][j];
        r.m[i][j] = sum;
      }
    }
    return r;
  }
  void transform(float x, float y, float z, float* tx, float* ty, float* tz) const {
    const float w = x * m[0][3] + y * m[1][3] + z * m[2][3] + m[3][3];
    const float k = w != 0.0f ? 1.0f / w : 1.0f;
    *tx = (x * m[0][0] + y * m[1][0] + z * m[2][0] + m[3][0]) * k;
    *ty = (x * m[0][1] + y * m[1][1] + z * m[2][1] + m[3][1]) * k;
    *tz = (x * m[0][2] + y * m[1][2] + z * m[2][2] + m[3][2]) * k;
  }
};

}  // namespace RX_Engine

