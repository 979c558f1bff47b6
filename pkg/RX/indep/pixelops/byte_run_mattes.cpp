// Byte-run mattes of ARGB and BGRA data. The alpha-first forms take their
// SSE2 path when word 2 of the CPU data is set.
#include "pixelops/byte_run_mattes.h"

#include <cstring>

#include "RX_Premul.h"
#include "frame/cpu_features.h"
#include "pixelops/premultiply_math.h"

namespace rx {

void black_matte_pixel(const uint8_t* src, uint8_t* dst, int alpha_at) {
  const uint32_t a = src[alpha_at];
  if (a == 255) {
    std::memmove(dst, src, 4);
    return;
  }
  for (int i = 0; i < 4; ++i) dst[i] = i == alpha_at ? uint8_t(a) : uint8_t(m255(src[i] * a));
}

void deblack_matte_pixel(const uint8_t* src, uint8_t* dst, int alpha_at) {
  const uint32_t a = src[alpha_at];
  if (a == 255) {
    std::memmove(dst, src, 4);
  } else if (a == 0) {
    std::memset(dst, 0, 4);
  } else {
    for (int i = 0; i < 4; ++i) dst[i] = i == alpha_at ? uint8_t(a) : divide_table(a, src[i]);
  }
}

namespace {

constexpr int kAlphaFirst = 0;
constexpr int kAlphaLast = 3;

template <void (*Pixel)(const uint8_t*, uint8_t*, int)>
void plain_run(int32_t count, const uint8_t* src, uint8_t* dst, int alpha_at) {
  for (int32_t i = 0; i < count; ++i) Pixel(src + 4 * i, dst + 4 * i, alpha_at);
}

void alpha_first_black(int32_t count, const uint8_t* src, uint8_t* dst) {
  if (has_sse2()) {
    black_matte_run_sse2(count, src, dst);
  } else {
    plain_run<black_matte_pixel>(count, src, dst, kAlphaFirst);
  }
}

void alpha_first_deblack(int32_t count, const uint8_t* src, uint8_t* dst) {
  if (has_sse2()) {
    deblack_matte_run_sse2(count, src, dst);
  } else {
    plain_run<deblack_matte_pixel>(count, src, dst, kAlphaFirst);
  }
}

}  // namespace
}  // namespace rx

RX_Err RX_BlackMatte(void*, int32_t count, const uint8_t* src, uint8_t* dst) {
  if (count > 0) rx::alpha_first_black(count, src ? src : dst, dst);
  return RX_Result_OK;
}
RX_Err RX_DeBlackMatte(void*, int32_t count, const uint8_t* src, uint8_t* dst) {
  if (count > 0) rx::alpha_first_deblack(count, src ? src : dst, dst);
  return RX_Result_OK;
}
RX_Err RX_BlackMatteARGB(void*, int32_t count, uint8_t* bytes) {
  if (count > 0) rx::alpha_first_black(count, bytes, bytes);
  return RX_Result_OK;
}
RX_Err RX_DeBlackMatteARGB(void*, int32_t count, uint8_t* bytes) {
  if (count > 0) rx::alpha_first_deblack(count, bytes, bytes);
  return RX_Result_OK;
}
RX_Err RX_BlackMatteBGRA(void*, int32_t count, uint8_t* bytes) {
  if (count > 0) rx::plain_run<rx::black_matte_pixel>(count, bytes, bytes, rx::kAlphaLast);
  return RX_Result_OK;
}
RX_Err RX_DeBlackMatteBGRA(void*, int32_t count, uint8_t* bytes) {
  if (count > 0) rx::plain_run<rx::deblack_matte_pixel>(count, bytes, bytes, rx::kAlphaLast);
  return RX_Result_OK;
}
