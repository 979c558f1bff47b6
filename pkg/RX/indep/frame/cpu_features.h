// Processor features as the utilities library publishes them: word 2 of the
// CPU data says SSE2 is usable, word 6 SSSE3, word 7 AVX2 (the reference
// host's word). Birth reads them once, in the variant registry
// (frame/variants.h) and for the vector constants; the float-to-8 row
// conversion alone reads word 2 per row, since the row's address decides
// its form as well.
#pragma once

#include "KO/KO.h"

namespace rx {

enum CpuWord { kCpuWordSSE2 = 2, kCpuWordSSSE3 = 6, kCpuWordAVX2 = 7 };

inline bool cpu_has(CpuWord word) { return KO_G_CPU_DataP[word] != 0; }
inline bool has_sse2() { return cpu_has(kCpuWordSSE2); }

}  // namespace rx
