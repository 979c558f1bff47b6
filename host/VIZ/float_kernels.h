// The block kernels of the float path, written once over vectors of
// RX_VIZ_LANES floats: included by float_fast_path.cpp with 4 lanes (SSE2)
// and by float_fast_path_avx2.cpp with 8 (compiled for AVX2). Each
// includer gets its own copy (an anonymous namespace), so the two forms
// never meet in the linker. Blocks are multiples of 8 values.
//
// pow is exp2(g log2(x)): log2 from the exponent and a series in
// t = (m - 1) / (m + 1), exp2 from a rounded integer part and a Taylor
// polynomial, each about a float's precision (relative error near 2e-7).
#pragma once

#include <cstdint>

#include "VIZ/float_fast_path.h"

// The vectors never cross a call between translation units (the kernels
// take arrays), so their passing convention does not matter.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace {

#ifndef RX_VIZ_LANES
#error "define RX_VIZ_LANES (4 or 8) before including the kernels"
#endif
constexpr int32_t kLanes = RX_VIZ_LANES;
typedef float v8f __attribute__((vector_size(4 * RX_VIZ_LANES)));
typedef int32_t v8i __attribute__((vector_size(4 * RX_VIZ_LANES)));

constexpr float kSqrt2 = 1.41421356f;
constexpr float kLog2E = 1.44269504f;
constexpr float kLn2 = 0.693147181f;
constexpr float kSmallestNormal = 1.17549435e-38f;

inline v8f splat(float v) { return v8f{} + v; }

inline v8f load8(const float* p) {
  v8f v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}

inline void store8(float* p, v8f v) { __builtin_memcpy(p, &v, sizeof v); }

// log2 of normal positive x.
inline v8f log2_v(v8f x) {
  const v8i bits = (v8i)x;  // a vector cast keeps the bits
  v8i e = ((bits >> 23) & 0xff) - 127;
  v8f m = (v8f)((bits & 0x7fffff) | 0x3f800000);
  const v8i big = m > kSqrt2;  // -1 where m is taken down an octave
  m = big ? m * 0.5f : m;
  e -= big;
  const v8f t = (m - 1.0f) / (m + 1.0f);
  const v8f t2 = t * t;
  v8f p = splat(1.0f / 11.0f);
  p = p * t2 + 1.0f / 9.0f;
  p = p * t2 + 1.0f / 7.0f;
  p = p * t2 + 1.0f / 5.0f;
  p = p * t2 + 1.0f / 3.0f;
  p = p * t2 + 1.0f;
  return __builtin_convertvector(e, v8f) + (2.0f * kLog2E) * t * p;
}

// 2^y for y in [-126, 128).
inline v8f exp2_v(v8f y) {
  y = y < -126.0f ? splat(-126.0f) : y;
  y = y > 127.99f ? splat(127.99f) : y;
  const v8f shifted = y + 0.5f;
  v8i n = __builtin_convertvector(shifted, v8i);  // toward zero
  n += (__builtin_convertvector(n, v8f) > shifted);  // -1 where that was above: floor
  const v8f z = (y - __builtin_convertvector(n, v8f)) * kLn2;  // |z| <= ln 2 / 2
  v8f p = splat(1.0f / 5040.0f);
  p = p * z + 1.0f / 720.0f;
  p = p * z + 1.0f / 120.0f;
  p = p * z + 1.0f / 24.0f;
  p = p * z + 1.0f / 6.0f;
  p = p * z + 0.5f;
  p = p * z + 1.0f;
  p = p * z + 1.0f;
  const v8i scale_bits = (n + 127) << 23;
  return p * (v8f)scale_bits;
}

// x^g for x >= 0; 0 below the smallest normal float (g > 0).
inline v8f pow_v(v8f x, float g) {
  const v8i tiny = x < kSmallestNormal;
  const v8f safe = tiny ? splat(1.0f) : x;
  const v8f r = exp2_v(log2_v(safe) * g);
  return tiny ? splat(0.0f) : r;
}

// v >= threshold: scale * max(a v + b, 0)^g + offset; below: slope v + intercept.
inline void shape_block(const rxhost::viz::fast::Shape& s, const float* in, float* out, int32_t n) {
  for (int32_t i = 0; i < n; i += kLanes) {
    const v8f v = load8(in + i);
    v8f base = v * s.a + s.b;
    base = base > 0.0f ? base : splat(0.0f);
    const v8f upper = pow_v(base, s.g) * s.scale + s.offset;
    const v8f lower = v * s.slope + s.intercept;
    store8(out + i, v >= s.threshold ? upper : lower);
  }
}

// out_i = (float)(((0 + r m[3i]) + g m[3i+1]) + b m[3i+2]), in double, in
// the order LittleCMS evaluates a matrix stage, so that its results are
// met bit for bit.
inline void matrix_block(const double* m, float* r, float* g, float* b, int32_t n) {
  constexpr int32_t kHalf = kLanes / 2;  // doubles to a register
  typedef double vd __attribute__((vector_size(8 * RX_VIZ_LANES / 2)));
  typedef float vh __attribute__((vector_size(4 * RX_VIZ_LANES / 2)));
  const auto load = [](const float* p) {
    vh v;
    __builtin_memcpy(&v, p, sizeof v);
    return __builtin_convertvector(v, vd);
  };
  const auto store = [](float* p, vd v) {
    const vh f = __builtin_convertvector(v, vh);
    __builtin_memcpy(p, &f, sizeof f);
  };
  const vd zero = {};
  for (int32_t i = 0; i < n; i += kHalf) {
    const vd rd = load(r + i), gd = load(g + i), bd = load(b + i);
    store(r + i, ((zero + rd * m[0]) + gd * m[1]) + bd * m[2]);
    store(g + i, ((zero + rd * m[3]) + gd * m[4]) + bd * m[5]);
    store(b + i, ((zero + rd * m[6]) + gd * m[7]) + bd * m[8]);
  }
}

}  // namespace
