// Processor features as the utilities library publishes them: word 2 of the
// CPU data says SSE2 is usable, word 6 SSSE3.
#pragma once

#include "KO/KO.h"

namespace rx {

enum CpuWord { kCpuWordSSE2 = 2, kCpuWordSSSE3 = 6 };

inline bool cpu_has(CpuWord word) { return KO_G_CPU_DataP[word] != 0; }
inline bool has_sse2() { return cpu_has(kCpuWordSSE2); }
inline bool has_ssse3() { return cpu_has(kCpuWordSSSE3); }

}  // namespace rx
