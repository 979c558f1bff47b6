// The kernel cache of the uno blur scans. The weights come from
// RX_GaussianKernel, reached through the callback route (selector 11), into
// a handle of (2 ceil(r) + 1) entries named "gaussian weight array".
#include "masks/uno_kernel_cache.h"

#include <cmath>

#include "RX_CallbackAddr.h"
#include "RX_Messages.h"
#include "frame/reports.h"
#include "masks/uno_access.h"

namespace rx::uno {
namespace {

KernelCache g_cache;

constexpr int32_t kGaussianKernelSelector = 11;
constexpr uint32_t kOneNormalisedRow = 3;  // one row, normalised
constexpr double kFixedToDouble = 1.52587890625e-5;

using KernelCallback = RX_Err (*)(void* unused, double radius, uint32_t flags, double multiplier,
                                  uint32_t* size, int32_t* kernel);

void empty_cache() {
  KO_FreeHandle(g_cache.weights);
  g_cache = KernelCache{};
}

RX_Err build(int32_t radius) {
  const double r = radius * kFixedToDouble;
  const size_t entries = size_t(2 * std::ceil(r) + 1);
  g_cache.weights = KO_AllocateHandle(location(kBadParameterLocation), RXp_String(RX_Str_GaussianWeights),
                                      entries * sizeof(int32_t));
  if (!g_cache.weights) return RX_Result_OutOfMemory;
  g_cache.radius = radius;
  RX_CallbackFunc found = nullptr;
  RX_Err err = RX_GetCallbackAddr(nullptr, 1, 1, kGaussianKernelSelector, &found);
  uint32_t size = 0;
  if (err == RX_Result_OK) {
    err = reinterpret_cast<KernelCallback>(found)(nullptr, r, kOneNormalisedRow, 1.0, &size,
                                                  static_cast<int32_t*>(*g_cache.weights));
  }
  if (err != RX_Result_OK) return err;
  g_cache.count = int32_t(size);
  return RX_Result_OK;
}

}  // namespace

const KernelCache& kernel_cache() { return g_cache; }

RX_Err kernel_for(int32_t radius, const int32_t** weights, int32_t* count) {
  if (g_cache.radius != radius || !g_cache.weights) {
    empty_cache();
    if (RX_Err err = build(radius)) {
      empty_cache();
      return err;
    }
  }
  *weights = static_cast<const int32_t*>(*g_cache.weights);
  *count = g_cache.count;
  return RX_Result_OK;
}

void release_kernel_cache() { empty_cache(); }

}  // namespace rx::uno
