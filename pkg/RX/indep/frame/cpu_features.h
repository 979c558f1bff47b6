// Processor features as the utilities library publishes them: word 2 of the
// CPU data says SSE2 is usable, word 6 SSSE3, word 7 AVX2 (the reference
// host's word; the 8-bit Over row alone reads it).
#pragma once

#include "KO/KO.h"

namespace rx {

enum CpuWord { kCpuWordSSE2 = 2, kCpuWordSSSE3 = 6, kCpuWordAVX2 = 7 };

inline bool cpu_has(CpuWord word) { return KO_G_CPU_DataP[word] != 0; }
inline bool has_sse2() { return cpu_has(kCpuWordSSE2); }
inline bool has_ssse3() { return cpu_has(kCpuWordSSSE3); }
inline bool has_avx2() { return cpu_has(kCpuWordAVX2); }

}  // namespace rx
