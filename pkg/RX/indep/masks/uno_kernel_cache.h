// The package's one kernel cache of the uno blur scans: a handle to the
// Gaussian weights, the 16.16 radius they were made for (0 when none) and
// their count. Shared by the four scans and not locked: scans of several
// lines may run at once only while the radius stays the same.
#pragma once

#include <cstdint>

#include "KO/KO.h"
#include "RX_Results.h"

namespace rx::uno {

struct KernelCache {
  KO_Handle weights = nullptr;
  int32_t radius = 0;
  int32_t count = 0;
};

// The cache as it stands, for the tests.
const KernelCache& kernel_cache();

// The weights for radius: the cached ones when the radius is the one they
// were made for, else new ones from the kernel callback (one normalised
// row). On failure the cache is empty and the code is returned: 4 when the
// handle cannot be had, else the callback's or its look-up's error.
RX_Err kernel_for(int32_t radius, const int32_t** weights, int32_t* count);

// Frees the weights; the cache is empty afterwards.
void release_kernel_cache();

}  // namespace rx::uno
