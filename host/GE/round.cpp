// Rounding a double to a 32-bit integer: to nearest, halves away from zero.
// std::round decides the half exactly; adding 0.5 and truncating would send
// 0.49999999999999994 to 1.
#include <cmath>
#include <cstdint>
#include <limits>

#include "GE/GE.h"

int32_t GE_RoundDouble(double x) {
  if (std::isnan(x)) return 0;
  const double r = std::round(x);
  if (r <= double(std::numeric_limits<int32_t>::min())) return std::numeric_limits<int32_t>::min();
  if (r >= double(std::numeric_limits<int32_t>::max())) return std::numeric_limits<int32_t>::max();
  return int32_t(r);
}
