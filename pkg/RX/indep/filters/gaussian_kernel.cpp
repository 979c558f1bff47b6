// The package's bell curve and the integer kernels made from it. The bell
// is not a pure Gaussian: 1 at 0, about 0.00018 at 1 and cut to 0 beyond.
// Kernels are computed in double and truncated the processor's way.
#include <cmath>

#include "RX_Convolve.h"
#include "filters/filter_arith.h"

namespace {

constexpr int16_t kKernelLocation = 10;
constexpr double kWhite = 255.0;

}  // namespace

double RXp_GaussianValue(double d) {
  if (d > 1.0) return 0.0;
  return 1.0 - (1.0 - std::exp(-2.378 * d * d)) * 1.102;
}

RX_Err RX_GaussianKernel(void*, double radius, uint32_t flags, double multiplier, uint32_t* size,
                         int32_t* kernel) {
  if (radius < 0.0 || !size || !kernel) return RX_ReportBadParameter(kKernelLocation);

  // The ceiling is held in 16 bits, as the weights of the blurs hold it.
  const int32_t r = static_cast<int16_t>(rx::truncate_double(std::ceil(radius)));
  const int32_t width = 2 * r + 1;
  const int32_t ry = (flags & RX_KERNEL_1D) ? 0 : r;
  const int32_t rows = 2 * ry + 1;
  const double scale = radius + 1.0;

  double sum = 0.0;  // of the values before rounding
  for (int32_t y = -ry; y <= ry; ++y) {
    int32_t* const centre = kernel + (y + ry) * width + r;
    for (int32_t x = r; x >= 0; --x) {
      const double d = y == 0 ? double(x) : std::sqrt(double(x) * x + double(y) * y);
      double v = RXp_GaussianValue(d / scale) * kWhite;
      if (multiplier != 1.0) v *= multiplier;
      sum += v;
      int32_t entry = rx::truncate_double(0.5 + v);
      if (entry < 0) entry = 0;
      if (entry > 255) entry = 255;
      centre[-x] = entry;
      if (x != 0) {
        centre[x] = entry;
        sum += v;
      }
    }
  }

  if (flags & RX_KERNEL_NORMALIZE) {
    const double target = double(width * 255) * double(rows);
    const double factor = target / sum;
    for (int32_t i = 0; i < width * rows; ++i) {
      kernel[i] = rx::truncate_double(double(kernel[i]) * factor);
    }
  }
  *size = static_cast<uint32_t>(width);
  return RX_Result_OK;
}
