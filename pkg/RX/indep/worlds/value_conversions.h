// How a value moves from one depth to another. Every rule here is exact and
// required as it stands: several are asymmetric, and the float forms clamp
// the colour channels but not alpha (an out-of-range alpha wraps in the
// smaller type). Float arithmetic is 32-bit throughout.
#pragma once


#include <atomic>
#include <cstdint>
#include <type_traits>

#include "RX_Config.h"
#include "RX_Frame.h"
#include "RX_Pixels.h"

namespace rx {

// 1/255 as the nearest float (bits 0x3B808081).
inline constexpr float kByteToFloat = 0.003921569f;
// 2 to the minus 15: 32768 maps to exactly 1.0.
inline constexpr float kWordToFloat = 0x1p-15f;
// Dither noise: a random word scaled by 2 to the minus 40, around an offset
// of 2 to the minus 9.
inline constexpr float kDitherOffset = 0.001953125f;
inline constexpr float kDitherScale = 0x1p-40f;

inline uint16_t convert_8_to_16(uint8_t c) {
  return static_cast<uint16_t>((c * 0x808080u + 33200u) >> 16);
}
inline float convert_8_to_float(uint8_t c) { return static_cast<float>(c) * kByteToFloat; }
inline uint8_t convert_16_to_8(uint16_t c) { return static_cast<uint8_t>((c * 255u + 16384u) >> 15); }
inline uint8_t convert_16_to_8_dithered(uint16_t c, uint32_t random_word) {
  return static_cast<uint8_t>((c * 255u + (random_word & 0x7FFFu)) >> 15);
}
inline float convert_16_to_float(uint16_t c) { return static_cast<float>(c) * kWordToFloat; }
// An 8-bit colour argument (of a premultiply by colour, say) in 16 bits.
inline uint16_t convert_colour_argument_8_to_16(uint8_t c) {
  return static_cast<uint16_t>((c * 32768u + 128u) / 255u);
}

// Truncation toward zero as the processor does it: a value outside the
// 32-bit range, or NaN, gives the integer indefinite 0x80000000. Written as
// the instruction itself, since the compiler folds constants by another
// rule (saturation) and results must not depend on what it can see.
inline int32_t truncate_to_int(float v) {
  int32_t result;
  asm("cvttss2si %1, %0" : "=r"(result) : "x"(v));
  return result;
}

// A colour channel: 0 below 0, white above white, else rounded half up.
inline int32_t float_colour_to_int(float c, float white) {
  const float v = c * white;
  if (v < 0.0f) return 0;
  if (v > white) return static_cast<int32_t>(white);
  return truncate_to_int(v + 0.5f);
}
// Alpha of the scalar forms: rounded, never clamped.
inline int32_t float_alpha_to_int(float c, float white) { return truncate_to_int(c * white + 0.5f); }

inline RX_Pixel16 convert_float_to_16(const RX_PixelFloat& p) {
  return {static_cast<uint16_t>(float_alpha_to_int(p.alpha, 32768.0f)),
          static_cast<uint16_t>(float_colour_to_int(p.red, 32768.0f)),
          static_cast<uint16_t>(float_colour_to_int(p.green, 32768.0f)),
          static_cast<uint16_t>(float_colour_to_int(p.blue, 32768.0f))};
}

// The scalar float to 8 form; alpha unclamped.
inline RX_Pixel8 convert_float_to_8(const RX_PixelFloat& p) {
  return {static_cast<uint8_t>(float_alpha_to_int(p.alpha, 255.0f)),
          static_cast<uint8_t>(float_colour_to_int(p.red, 255.0f)),
          static_cast<uint8_t>(float_colour_to_int(p.green, 255.0f)),
          static_cast<uint8_t>(float_colour_to_int(p.blue, 255.0f))};
}

inline RX_Pixel8 convert_16_to_8(const RX_Pixel16& p) {
  return {convert_16_to_8(p.alpha), convert_16_to_8(p.red), convert_16_to_8(p.green),
          convert_16_to_8(p.blue)};
}
inline RX_Pixel16 convert_8_to_16(const RX_Pixel8& p) {
  return {convert_8_to_16(p.alpha), convert_8_to_16(p.red), convert_8_to_16(p.green),
          convert_8_to_16(p.blue)};
}
inline RX_PixelFloat convert_8_to_float(const RX_Pixel8& p) {
  return {convert_8_to_float(p.alpha), convert_8_to_float(p.red), convert_8_to_float(p.green),
          convert_8_to_float(p.blue)};
}
inline RX_PixelFloat convert_16_to_float(const RX_Pixel16& p) {
  return {convert_16_to_float(p.alpha), convert_16_to_float(p.red), convert_16_to_float(p.green),
          convert_16_to_float(p.blue)};
}

// ---- the dither table ----

// The dither table's cursor for one call: read from the global cursor once
// at the start, advanced here a word per channel (wrapping from end to
// start), and written back once at the end, also when the call is left by
// an exception. A conversion on another thread thus never sees a cursor
// half written, and a call's rows keep the cursor in a register.
class DitherCursor {
 public:
  DitherCursor()
      : table_(RXp_G_DitherTable),
        cursor_(std::atomic_ref<const uint32_t*>(table_.cursor).load(std::memory_order_relaxed)) {}
  ~DitherCursor() { std::atomic_ref<const uint32_t*>(table_.cursor).store(cursor_, std::memory_order_relaxed); }
  DitherCursor(const DitherCursor&) = delete;
  DitherCursor& operator=(const DitherCursor&) = delete;

  uint32_t next() {
    const uint32_t word = *cursor_++;
    if (cursor_ == table_.end) cursor_ = table_.start;
    return word;
  }

 private:
  RX_DitherTable& table_;
  const uint32_t* cursor_;
};

// One word of the table, as a call of its own.
inline uint32_t next_dither_word() { return DitherCursor().next(); }

// The four words of one float pixel, in the order the channels take them:
// alpha, red, blue, green (the third word goes to blue, the fourth to green).
struct DitherWords {
  uint32_t alpha, red, green, blue;
};
inline DitherWords next_dither_words_for_float_pixel(DitherCursor& cursor) {
  DitherWords w;
  w.alpha = cursor.next();
  w.red = cursor.next();
  w.blue = cursor.next();
  w.green = cursor.next();
  return w;
}

// The word as a float: through a signed 64-bit value, which converts in
// one instruction with the same single rounding as the unsigned form.
inline float word_as_float(uint32_t random_word) {
  return static_cast<float>(static_cast<int64_t>(random_word));
}

inline float dither_noisy(float c, uint32_t random_word) {
  return c - kDitherOffset + word_as_float(random_word) * kDitherScale;
}

// Float to 8 with dither, scalar: all four channels clamp.
inline RX_Pixel8 convert_float_to_8_dithered(const RX_PixelFloat& p, const DitherWords& w) {
  return {static_cast<uint8_t>(float_colour_to_int(dither_noisy(p.alpha, w.alpha), 255.0f)),
          static_cast<uint8_t>(float_colour_to_int(dither_noisy(p.red, w.red), 255.0f)),
          static_cast<uint8_t>(float_colour_to_int(dither_noisy(p.green, w.green), 255.0f)),
          static_cast<uint8_t>(float_colour_to_int(dither_noisy(p.blue, w.blue), 255.0f))};
}

// 16 to 8 with dither: one word per channel in memory order.
inline RX_Pixel8 convert_16_to_8_dithered(const RX_Pixel16& p, DitherCursor& cursor) {
  RX_Pixel8 out;
  out.alpha = convert_16_to_8_dithered(p.alpha, cursor.next());
  out.red = convert_16_to_8_dithered(p.red, cursor.next());
  out.green = convert_16_to_8_dithered(p.green, cursor.next());
  out.blue = convert_16_to_8_dithered(p.blue, cursor.next());
  return out;
}

}  // namespace rx


/* Rows of float pixels to 8 bits. With SSE2 usable and a 16-byte aligned
   source row, every pixel goes through the vector form (round to nearest
   even, all channels saturated); otherwise through the scalar form (halves
   up, alpha unclamped). The dithered forms draw four dither words a pixel. */
void RXp_ConvertRowFloatTo8(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count);
void RXp_ConvertRowFloatTo8Dithered(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count);
/* The two forms on their own, for callers that must choose and for tests. */
void RXp_ConvertRowFloatTo8_Scalar(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count);
void RXp_ConvertRowFloatTo8_SSE2(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count);
void RXp_ConvertRowFloatTo8Dithered_Scalar(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count);
void RXp_ConvertRowFloatTo8Dithered_SSE2(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count);
void RXp_ConvertRow16To8Dithered(const RX_Pixel16* src, RX_Pixel8* dst, int32_t count);


namespace rx {

// How a float alpha is brought to an integer depth: the copy, fill and
// CopyRect paths leave it unclamped; the draft and high quality copies
// clamp all four channels alike.
enum class FloatAlpha { Unclamped, Clamped };

// Whether a float row at this address goes to 8 bits through the vector
// form: word 2 of the CPU data set and the row 16-byte aligned. Every
// pixel of a float row shares its first pixel's alignment.
bool float_to_8_vector_applies(const void* row);
// One pixel through the vector form: times 255, rounded to nearest even,
// all four channels saturated.
RX_Pixel8 convert_float_to_8_vector(const RX_PixelFloat& p);
// A float row to 8 bits for the copies that clamp all four channels (the
// draft copy): the vector form where it applies, otherwise the scalar form
// with alpha clamped too.
void convert_row_float_to_8_clamped(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count);

// Dithered rows with the cursor of the call they belong to: the float row
// by the form its address decides (each form also on its own), the 16-bit
// row one word a channel.
void convert_row_float_to_8_dithered(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count, DitherCursor& cursor);
void convert_row_float_to_8_dithered_scalar(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count,
                                            DitherCursor& cursor);
void convert_row_float_to_8_dithered_sse2(const RX_PixelFloat* src, RX_Pixel8* dst, int32_t count,
                                          DitherCursor& cursor);
void convert_row_16_to_8_dithered(const RX_Pixel16* src, RX_Pixel8* dst, int32_t count, DitherCursor& cursor);

// One pixel from any depth to any depth by the rules above; same-depth
// pixels move unchanged.
template <class To, FloatAlpha Alpha = FloatAlpha::Unclamped, class From>
To convert_pixel(const From& p) {
  if constexpr (std::is_same_v<From, To>) {
    return p;
  } else if constexpr (std::is_same_v<From, RX_Pixel8>) {
    if constexpr (std::is_same_v<To, RX_Pixel16>) return convert_8_to_16(p);
    else return convert_8_to_float(p);
  } else if constexpr (std::is_same_v<From, RX_Pixel16>) {
    if constexpr (std::is_same_v<To, RX_Pixel8>) return convert_16_to_8(p);
    else return convert_16_to_float(p);
  } else {
    using Cv = decltype(To{}.red);
    const float white = std::is_same_v<To, RX_Pixel8> ? 255.0f : 32768.0f;
    const int32_t alpha = Alpha == FloatAlpha::Clamped ? float_colour_to_int(p.alpha, white)
                                                       : float_alpha_to_int(p.alpha, white);
    return To{Cv(alpha), Cv(float_colour_to_int(p.red, white)), Cv(float_colour_to_int(p.green, white)),
              Cv(float_colour_to_int(p.blue, white))};
  }
}

}  // namespace rx
