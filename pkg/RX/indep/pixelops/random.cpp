// The package's small random sources: the minimal standard Lehmer
// generator in the package's own Schrage form, and the two-step LCG of the
// frame blending engine. Both are exact 32-bit unsigned arithmetic.
#include <cstdint>

#include "RX_Color.h"

namespace {

// Schrage's split of the modulus 2^31 - 1 by the multiplier 48271.
constexpr uint32_t kLehmerMultiplier = 48271;
constexpr uint32_t kSchrageQuotient = 44488;   // (2^31 - 1) / 48271
constexpr uint32_t kSchrageRemainder = 3399;   // (2^31 - 1) % 48271
constexpr uint32_t kZeroSeedReplacement = 0x7FFFFFFF;

constexpr uint32_t kLcgMultiplier = 1103515245;
constexpr uint32_t kLcgIncrement = 12345;

uint32_t lcg_step(uint32_t s) { return s * kLcgMultiplier + kLcgIncrement; }

}  // namespace

// The two parts are added, where the textbook form subtracts them: the
// sequence of the package depends on the sum, so it stays. Zero, which
// would stick, is replaced.
uint32_t RX_Rand(uint32_t* seed) {
  const uint32_t s = *seed;
  uint32_t t = (s / kSchrageQuotient) * kSchrageRemainder + (s % kSchrageQuotient) * kLehmerMultiplier;
  if (t == 0) t += kZeroSeedReplacement;
  *seed = t;
  return (t >> 7) & 0x7FFF;
}

uint32_t RX_Rand2(uint32_t* seed) {
  const uint32_t first = lcg_step(*seed);
  const uint32_t second = lcg_step(first);
  *seed = second;
  return ((second >> 16) & 255) ^ (((first >> 16) & 255) << 7);
}
