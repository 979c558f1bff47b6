// The process-wide table of random words. A fixed seed makes the words the
// same in every process, so dithering gives the same pixels run after run.
#include <array>
#include <mutex>

#include "KO/KO.h"
#include "MIX/MIX.h"

namespace {

constexpr uint64_t kSeed = 0x5258204D49582121ull;  // "RX MIX!!"

// SplitMix64: small, fast and well mixed; the high half is the better one.
uint64_t splitmix64(uint64_t& state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

using Table = std::array<uint32_t, MIX_PRIME_TABLE_LENGTH>;

Table g_words;
std::once_flag g_built;

const Table& table() {
  // call_once: threads that race to the first use all see a finished table.
  std::call_once(g_built, [] {
    uint64_t state = kSeed;
    for (uint32_t& w : g_words) w = static_cast<uint32_t>(splitmix64(state) >> 32);
  });
  return g_words;
}

}  // namespace

HOST_Err MIX_GetPrimeSizedTable(const uint32_t** table_out, int32_t* length_out) {
  if (!table_out && !length_out) return KO_Err_Internal;
  const Table& t = table();
  if (table_out) *table_out = t.data();
  if (length_out) *length_out = MIX_PRIME_TABLE_LENGTH;
  return KO_Err_None;
}
