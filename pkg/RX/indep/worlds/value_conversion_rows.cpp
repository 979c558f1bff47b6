// Row forms of the conversions whose form depends on the processor and on
// the row's address, and the dither cursor's reset.
#include "frame/cpu_features.h"
#include "worlds/value_conversions.h"

RX_DitherTable RXp_G_DitherTable = {nullptr, nullptr, nullptr};

void RX_ResetDitherRandomIndex(void) { RXp_G_DitherTable.cursor = RXp_G_DitherTable.start; }

namespace rx {

// Word 2 is read here, once a row: the row's address decides the form as
// well, so the choice cannot be made at birth.
bool float_to_8_vector_applies(const void* row) {
  return has_sse2() && (reinterpret_cast<uintptr_t>(row) & 15) == 0;
}

void convert_row_float_to_8_clamped(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count) {
  if (float_to_8_vector_applies(src)) {
    RXp_ConvertRowFloatTo8_SSE2(src, dst, count);
  } else {
    for (int32_t i = 0; i < count; ++i) dst[i] = convert_pixel<RX_Pixel8, FloatAlpha::Clamped>(src[i]);
  }
}

}  // namespace rx

void RXp_ConvertRowFloatTo8_Scalar(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count) {
  for (int32_t i = 0; i < count; ++i) dst[i] = rx::convert_float_to_8(src[i]);
}

void RXp_ConvertRowFloatTo8Dithered_Scalar(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count) {
  rx::DitherCursor cursor;
  rx::convert_row_float_to_8_dithered_scalar(src, dst, count, cursor);
}

void RXp_ConvertRowFloatTo8(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count) {
  if (rx::float_to_8_vector_applies(src)) {
    RXp_ConvertRowFloatTo8_SSE2(src, dst, count);
  } else {
    RXp_ConvertRowFloatTo8_Scalar(src, dst, count);
  }
}

void RXp_ConvertRowFloatTo8Dithered(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count) {
  rx::DitherCursor cursor;
  rx::convert_row_float_to_8_dithered(src, dst, count, cursor);
}

void RXp_ConvertRow16To8Dithered(const RX_Pixel16* src, RX_Pixel8* dst, int32_t count) {
  rx::DitherCursor cursor;
  rx::convert_row_16_to_8_dithered(src, dst, count, cursor);
}

namespace rx {

void convert_row_float_to_8_dithered_scalar(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count,
                                            DitherCursor& cursor) {
  for (int32_t i = 0; i < count; ++i) {
    dst[i] = convert_float_to_8_dithered(src[i], next_dither_words_for_float_pixel(cursor));
  }
}

void convert_row_float_to_8_dithered(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count, DitherCursor& cursor) {
  if (float_to_8_vector_applies(src)) {
    convert_row_float_to_8_dithered_sse2(src, dst, count, cursor);
  } else {
    convert_row_float_to_8_dithered_scalar(src, dst, count, cursor);
  }
}

void convert_row_16_to_8_dithered(const RX_Pixel16* src, RX_Pixel8* dst, int32_t count, DitherCursor& cursor) {
  for (int32_t i = 0; i < count; ++i) dst[i] = convert_16_to_8_dithered(src[i], cursor);
}

}  // namespace rx
