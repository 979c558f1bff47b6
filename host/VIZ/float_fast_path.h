// The engine's float path: a LittleCMS transform plugin that serves float
// transforms whose pipeline is tone curves, 3x3 matrices and tone curves
// (transforms between matrix-shaper RGB profiles). The curves run in
// closed form (LittleCMS's parametric types) or through the 16-bit table
// LittleCMS itself reads them through; the matrices are joined and run in
// double in LittleCMS's order. Every curve is held against LittleCMS's
// own evaluation when the transform is built, and a transform whose
// curves do not agree is left to LittleCMS.
#pragma once

#include <lcms2_plugin.h>

#include <cstdint>

namespace rxhost::viz {

// The plugin to register in the engine's context.
cmsPluginTransform* float_fast_path_plugin();

namespace fast {

// v >= threshold: scale * max(a v + b, 0)^g + offset; below it:
// slope v + intercept. All LittleCMS's parametric types 1 to 5 and the
// inverses LittleCMS builds of them have this shape.
struct Shape {
  float threshold, a, b, g, scale, offset, slope, intercept;
};

// The block kernels over n values, n a multiple of 8.
struct Kernels {
  void (*shape)(const Shape& shape, const float* in, float* out, int32_t n);
  void (*matrix)(const double* m, float* r, float* g, float* b, int32_t n);
};
Kernels plain_kernels();
Kernels avx2_kernels();

}  // namespace fast
}  // namespace rxhost::viz
