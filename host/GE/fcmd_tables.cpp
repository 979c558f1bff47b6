// The shared 8-bit multiply and divide tables, built on the first
// reference and freed with the last.
#include <algorithm>
#include <mutex>

#include "GE/GE.h"
#include "host_internal.h"

namespace {

constexpr size_t kTableBytes = 256 * 256;

std::mutex g_mutex;
int32_t g_references = 0;
uint8_t* g_multiply = nullptr;
uint8_t* g_divide = nullptr;

void fill_multiply(uint8_t* t) {
  for (uint32_t a = 0; a < 256; ++a) {
    for (uint32_t b = 0; b < 256; ++b) {
      // a * b / 255 rounded to nearest, without a division.
      const uint32_t p = a * b + 128;
      t[a * 256 + b] = static_cast<uint8_t>((p + (p >> 8)) >> 8);
    }
  }
}

void fill_divide(uint8_t* t) {
  // Row 0 holds 255 so a transparent pixel unmultiplies to white, as the
  // 16-bit and float unmultiplies give.
  std::fill_n(t, 256, uint8_t{255});
  for (uint32_t a = 1; a < 256; ++a) {
    for (uint32_t v = 0; v < 256; ++v) {
      // v * 255 / a to nearest, halves up.
      t[a * 256 + v] = static_cast<uint8_t>(std::min<uint32_t>(255, (2 * v * 255 + a) / (2 * a)));
    }
  }
}

}  // namespace

HOST_Err GE_PrepareFCMD(int32_t kind, int32_t, int32_t, const uint8_t** multiply_out,
                        const uint8_t** divide_out) {
  if (kind != 1) return KO_Err_Internal;
  std::lock_guard lock(g_mutex);
  if (g_references == 0) {
    // Through KO, so the books and the failure hook see both tables.
    auto* multiply = static_cast<uint8_t*>(rxhost::block_allocate(kTableBytes, false, true));
    if (!multiply) return KO_Err_OutOfMemory;
    auto* divide = static_cast<uint8_t*>(rxhost::block_allocate(kTableBytes, false, true));
    if (!divide) {
      rxhost::block_free(multiply);
      return KO_Err_OutOfMemory;
    }
    fill_multiply(multiply);
    fill_divide(divide);
    g_multiply = multiply;
    g_divide = divide;
  }
  ++g_references;
  if (multiply_out) *multiply_out = g_multiply;
  if (divide_out) *divide_out = g_divide;
  return KO_Err_None;
}

HOST_Err GE_UnprepareFCMD(void) {
  std::lock_guard lock(g_mutex);
  if (g_references == 0) return KO_Err_Internal;
  if (--g_references == 0) {
    rxhost::block_free(g_multiply);
    rxhost::block_free(g_divide);
    g_multiply = g_divide = nullptr;
  }
  return KO_Err_None;
}

int32_t RXHost_FCMDReferenceCount(void) {
  std::lock_guard lock(g_mutex);
  return g_references;
}
