// Runs of 8-bit pixels that are not worlds, multiplied by their alpha
// against black or divided back. Alpha 0 clears the colour too.
#pragma once

#include <cstdint>

namespace rx {

// SSE2 forms of the alpha-first runs: blocks of eight pixels, a block whose
// alpha is all 255 or all 0 at once; the same results as the plain forms.
void black_matte_run_sse2(int32_t count, const uint8_t* src, uint8_t* dst);
void deblack_matte_run_sse2(int32_t count, const uint8_t* src, uint8_t* dst);

// One pixel; alpha at byte alpha_at, colour in the other three bytes.
void black_matte_pixel(const uint8_t* src, uint8_t* dst, int alpha_at);
void deblack_matte_pixel(const uint8_t* src, uint8_t* dst, int alpha_at);

}  // namespace rx
