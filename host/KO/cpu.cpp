// CPU data: one word per instruction set the package may use, read from
// the processor before main and thinned out by RX_DISABLE.
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <thread>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

#include "KO/KO.h"
#include "host_internal.h"

namespace {

uint32_t g_cpu_words[KO_CpuWordCount];
std::atomic<int32_t> g_thread_count{0};
std::atomic<int32_t> g_thread_count_failure{0};

// Names accepted by RX_DISABLE, in word order.
constexpr const char* kWordNames[KO_CpuWordCount] = {"mmx",   "sse",   "sse2",  "sse3",
                                                     "sse41", "sse42", "ssse3", "avx2"};

bool bit(uint32_t reg, int n) { return (reg >> n) & 1u; }

#if defined(__x86_64__) || defined(__i386__)
// AVX2 also needs the system to save the YMM registers on a switch.
bool os_saves_ymm(uint32_t ecx1) {
  if (!bit(ecx1, 27)) return false;  // OSXSAVE
  uint32_t lo = 0, hi = 0;
  __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
  return (lo & 6u) == 6u;
}
#endif

void read_processor(uint32_t* words) {
  std::memset(words, 0, sizeof(uint32_t) * KO_CpuWordCount);
#if defined(__x86_64__) || defined(__i386__)
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return;
  words[0] = bit(edx, 23);
  words[1] = bit(edx, 25);
  words[2] = bit(edx, 26);
  words[3] = bit(ecx, 0);
  words[4] = bit(ecx, 19);
  words[5] = bit(ecx, 20);
  words[6] = bit(ecx, 9);
  const uint32_t ecx1 = ecx;
  if (__get_cpuid_max(0, nullptr) >= 7 && os_saves_ymm(ecx1)) {
    __cpuid_count(7, 0, eax, ebx, ecx, edx);
    words[7] = bit(ebx, 5);
  }
#endif
}

void load_words() {
  read_processor(g_cpu_words);
  rxhost::apply_disable_list(std::getenv("RX_DISABLE"), g_cpu_words);
}

// Filled before main, so that the package finds the words at its birth.
__attribute__((constructor)) void init_cpu_words() { load_words(); }

bool same_name(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != b[i]) return false;
  }
  return true;
}

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

}  // namespace

const uint32_t* KO_G_CPU_DataP = g_cpu_words;

namespace rxhost {

void apply_disable_list(const char* list, uint32_t* words) {
  if (!list) return;
  std::string_view rest = list;
  while (!rest.empty()) {
    const size_t comma = rest.find(',');
    const std::string_view name = trimmed(rest.substr(0, comma));
    rest = comma == std::string_view::npos ? std::string_view{} : rest.substr(comma + 1);
    for (int i = 0; i < KO_CpuWordCount; ++i) {
      if (same_name(name, kWordNames[i])) words[i] = 0;
    }
  }
}

}  // namespace rxhost

void RXHost_SetCpuWord(int32_t index, uint32_t value) {
  if (index >= 0 && index < KO_CpuWordCount) g_cpu_words[index] = value;
}

void RXHost_ResetCpuWords(void) { load_words(); }

HOST_Err KO_GetNumThreads(int32_t* count) {
  if (!count) return KO_Err_Internal;
  if (const HOST_Err failure = g_thread_count_failure.load(); failure != KO_Err_None) return failure;
  if (const int32_t forced = g_thread_count.load(); forced > 0) {
    *count = forced;
    return KO_Err_None;
  }
  const unsigned n = std::thread::hardware_concurrency();
  *count = n > 0 ? static_cast<int32_t>(n) : 1;
  return KO_Err_None;
}

void RXHost_SetThreadCount(int32_t count) { g_thread_count.store(count > 0 ? count : 0); }

void RXHost_FailThreadCount(HOST_Err code) { g_thread_count_failure.store(code); }
