// Byte-run mattes of ARGB and BGRA data. The alpha-first forms take their
// SSE2 path where birth found word 2 of the CPU data set.
#include "pixelops/byte_run_mattes.h"

#include <cstring>

#include "RX_Premul.h"
#include "frame/variants.h"
#include "worlds/depth_arith.h"

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

// The alpha-first runs in their plain forms; birth may choose the SSE2 ones.
void alpha_first_black_plain(int32_t count, const uint8_t* src, uint8_t* dst) {
  plain_run<black_matte_pixel>(count, src, dst, kAlphaFirst);
}

void alpha_first_deblack_plain(int32_t count, const uint8_t* src, uint8_t* dst) {
  plain_run<deblack_matte_pixel>(count, src, dst, kAlphaFirst);
}

ChosenForm<decltype(alpha_first_black_plain)> g_alpha_first_black{&alpha_first_black_plain};
ChosenForm<decltype(alpha_first_deblack_plain)> g_alpha_first_deblack{&alpha_first_deblack_plain};

void alpha_first_black(int32_t count, const uint8_t* src, uint8_t* dst) {
  g_alpha_first_black.get()(count, src, dst);
}

void alpha_first_deblack(int32_t count, const uint8_t* src, uint8_t* dst) {
  g_alpha_first_deblack.get()(count, src, dst);
}

}  // namespace

VariantList byte_run_mattes_variants() {
  static const Variant list[] = {
      {"byte_run_mattes.black", g_alpha_first_black.place(), as_form(&alpha_first_black_plain),
       as_form(&black_matte_run_sse2), kNeedsSSE2},
      {"byte_run_mattes.deblack", g_alpha_first_deblack.place(), as_form(&alpha_first_deblack_plain),
       as_form(&deblack_matte_run_sse2), kNeedsSSE2},
  };
  return list;
}

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
