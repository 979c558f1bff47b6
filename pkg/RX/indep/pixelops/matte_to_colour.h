// The rows of the matte colour functions: each colour byte of a pixel gains
// the table's addend for the pixel's alpha, saturating at 255.
#pragma once

#include <array>
#include <cstdint>

namespace rx {

// For each alpha, the four bytes to add, zero in the alpha byte.
using MatteAddends = std::array<uint32_t, 256>;

void matte_add_row_plain(uint8_t* row, int32_t width, const MatteAddends& table, int alpha_at);
void matte_add_row_sse2(uint8_t* row, int32_t width, const MatteAddends& table, int alpha_at);

}  // namespace rx
