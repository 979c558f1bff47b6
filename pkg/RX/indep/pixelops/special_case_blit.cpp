// The viewer's blit: a source world of any depth drawn into an 8-bit
// destination over a background made of two colours, in bands of rows
// shared out through the generic iterate. Arithmetic is the 8-bit
// multiply on signed differences; the tint's weight compounds from one
// partly transparent pixel to the next within a band, as the blit always
// did.
#include <algorithm>

#include "RX_Copy.h"
#include "RX_Iterate.h"
#include "frame/exception_boundary.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "worlds/value_conversions.h"
#include "worlds/with_depth.h"

namespace {

// The 8-bit multiply of signed values in 32 bits.
inline int32_t mul(int32_t a, int32_t b) {
  const int32_t p = a * b;
  return (p + 128 + ((p + 128) >> 8)) >> 8;
}

inline uint8_t to_byte(float c) { return uint8_t(int32_t(c * 255.0f + 0.5f)); }

struct Colour8 {
  uint8_t alpha, red, green, blue;
};

Colour8 to_bytes(const RX_PixelFloat& c) {
  return {to_byte(c.alpha), to_byte(c.red), to_byte(c.green), to_byte(c.blue)};
}

struct Blit {
  const RX_World* src;
  GE_LPoint src_origin;
  RX_SpecialCaseBlitStyle style;
  bool bgra;
  GE_LPoint background_origin;
  Colour8 one, two;
  int32_t left, top, right, bottom;  // destination pixels to draw
  RX_WorldX<RX_Pixel8>* dst;
};

// Writes the colour channels into the destination's byte order; alpha is
// left as it stands.
inline void put_colour(uint8_t* out, bool bgra, int32_t red, int32_t green, int32_t blue) {
  if (bgra) {
    out[0] = uint8_t(blue), out[1] = uint8_t(green), out[2] = uint8_t(red);
  } else {
    out[1] = uint8_t(red), out[2] = uint8_t(green), out[3] = uint8_t(blue);
  }
}

inline void put_copy(uint8_t* out, bool bgra, const RX_Pixel8& s) {
  if (!bgra) out[0] = s.alpha;  // a full copy moves all four bytes
  put_colour(out, bgra, s.red, s.green, s.blue);
}

inline void put_word(uint8_t* out, bool bgra, const Colour8& c) {
  if (bgra) {
    out[0] = c.blue, out[1] = c.green, out[2] = c.red, out[3] = c.alpha;
  } else {
    out[0] = c.alpha, out[1] = c.red, out[2] = c.green, out[3] = c.blue;
  }
}

inline void put_mix(uint8_t* out, bool bgra, const RX_Pixel8& s, const Colour8& c, int32_t a) {
  put_colour(out, bgra, c.red + mul(a, s.red - c.red), c.green + mul(a, s.green - c.green),
             c.blue + mul(a, s.blue - c.blue));
}

template <class Px>
void blit_rows(const Blit& b, int32_t first, int32_t last) {
  const bool onto_black = b.one.red == 0 && b.one.green == 0 && b.one.blue == 0;
  int32_t weight = b.one.alpha;  // the tint's weight starts each band afresh
  for (int32_t y = first; y < last; ++y) {
    const Px* in = reinterpret_cast<const Px*>(static_cast<const char*>(b.src->Data()) +
                                               intptr_t{b.src_origin.y + y - b.top} * b.src->RowStride()) +
                   (b.src_origin.x);
    auto* out = reinterpret_cast<uint8_t*>(b.dst->Row(y) + b.left);
    const int32_t row_counter = b.background_origin.y + (y - b.top);
    for (int32_t x = b.left; x < b.right; ++x, ++in, out += 4) {
      const RX_Pixel8 s = rx::convert_pixel<RX_Pixel8, rx::FloatAlpha::Clamped>(*in);
      const int32_t a = s.alpha;
      if (a == 255) {
        put_copy(out, b.bgra, s);
        continue;
      }
      switch (b.style) {
        case RX_Blit_Checkerboard: {
          const int32_t column_counter = b.background_origin.x + (x - b.left);
          const Colour8& cell = ((column_counter >> 3) & 1) != ((row_counter >> 3) & 1) ? b.one : b.two;
          if (a == 0) {
            put_word(out, b.bgra, cell);
          } else {
            put_mix(out, b.bgra, s, cell, a);
          }
          break;
        }
        case RX_Blit_Tint: {
          weight = mul(255 - a, weight);
          put_colour(out, b.bgra, s.red + mul(weight, b.one.red - s.red),
                     s.green + mul(weight, b.one.green - s.green), s.blue + mul(weight, b.one.blue - s.blue));
          break;
        }
        default:
          if (a == 0) {
            put_word(out, b.bgra, b.two);
          } else if (onto_black) {
            put_colour(out, b.bgra, mul(s.red, a), mul(s.green, a), mul(s.blue, a));
          } else {
            put_mix(out, b.bgra, s, b.one, a);
          }
          break;
      }
    }
  }
}

// One band of rows per thread: t * (height / n) up to the next band, the
// last band taking what remains.
template <class Px>
RX_Err blit_band(void* refcon, int32_t thread_index, int32_t, int32_t thread_count) {
  const Blit& b = *static_cast<const Blit*>(refcon);
  const int32_t height = b.bottom - b.top;
  const int32_t count = std::max(thread_count, 1);
  const int32_t band = height / count;
  const int32_t first = b.top + thread_index * band;
  const int32_t last = thread_index == count - 1 ? b.bottom : first + band;
  blit_rows<Px>(b, first, last);
  return RX_Result_OK;
}

}  // namespace

void RX_SpecialCasePixelBlit(const RX_World& src, GE_LPoint src_origin, RX_SpecialCaseBlitStyle style,
                             bool bgra, GE_LPoint background_origin, RX_PixelFloat colour_one,
                             RX_PixelFloat colour_two, GE_LRect rect, RX_WorldX<RX_Pixel8>& dst) {
  const RX_GenericIterFunc band = rx::dispatch_depth(
      src.Depth(), []<class Px>() { return RX_GenericIterFunc{blit_band<Px>}; },
      []() -> RX_GenericIterFunc {
        rx::report_error(0, rx::msg::kUnknownDepthSpecialCaseBlit);
        rx::throw_code(RX_Result_Internal);
      });
  if (rect.right <= rect.left || rect.bottom <= rect.top) return;
  if (src_origin.x < 0 || src_origin.y < 0) return;
  // Only where the source has pixels and the destination has room.
  Blit b{&src, src_origin, style, bgra, background_origin, to_bytes(colour_one), to_bytes(colour_two),
         std::max(rect.left, 0), std::max(rect.top, 0), 0, 0, &dst};
  b.src_origin.x += b.left - rect.left;
  b.src_origin.y += b.top - rect.top;
  b.background_origin.x += b.left - rect.left;
  b.background_origin.y += b.top - rect.top;
  b.right = std::min({rect.right, dst.Width(), b.left + src.Width() - b.src_origin.x});
  b.bottom = std::min({rect.bottom, dst.Height(), b.top + src.Height() - b.src_origin.y});
  if (b.right <= b.left || b.bottom <= b.top) return;
  if (RX_Err err = RX_IterateGeneric(-1, &b, band)) rx::throw_code(err);
}
