// The processor forms of three 8-bit rows: Copy (SSE2), Over and the matte
// modes without tables (SSSE3 and AVX2). The vector files include nothing
// else of the row family, so that no shared template is compiled with
// their instruction set; birth puts them into the row tables
// (blend_rows8_variants()).
#pragma once

#include <cstdint>

#include "RX_Pixels.h"
#include "RX_Results.h"

namespace rx::blend {

// Copy: alpha := mul(mul(alpha, opacity), mask alpha), colours copied,
// eight pixels a turn; gives the first pixel left to the scalar body.
int32_t copy_weighted_sse2(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                           RX_Pixel8* dst);

// Over, four pixels a turn (the AVX2 form eight), every pixel by the
// vector arithmetic wherever the line lies in memory.
RX_Err over_row_ssse3(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                      RX_Pixel8* dst);
RX_Err over_row_avx2(int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                     RX_Pixel8* dst);

// The matte modes without tables (Add, Multiply, Screen, Overlay,
// HardLight, Darken, Lighten, Difference, Exclusion) on a matted dst,
// equal to the scalar body.
RX_Err matte_row_ssse3(int32_t mode, int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                       RX_Pixel8* dst);
RX_Err matte_row_avx2(int32_t mode, int32_t width, uint8_t opacity, const RX_Pixel8* src, const RX_Pixel8* mask,
                      RX_Pixel8* dst);

}  // namespace rx::blend
