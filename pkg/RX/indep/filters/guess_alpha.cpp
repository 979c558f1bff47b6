// Alpha guessing: one scan of an 8-bit image gathers what its alpha-0 and
// other pixels look like, then fixed steps decide between premultiplied
// against white, against black, against a found colour, and straight.
#include <cstring>

#include "RX_GuessAlpha.h"
#include "RX_Messages.h"
#include "ZW/ZW.h"

namespace rx {
namespace {

constexpr int16_t kGuessLocation = 11;
constexpr int kTransparentTolerance = 3;

struct Scan {
  RX_GuessAlphaStats stats;
  // The min_alpha pixel in alpha, red, green, blue order, whatever the
  // order of the image; all zero while there is none.
  RX_Pixel8 min_pixel;
};

void start_scan(Scan& scan) {
  std::memset(&scan, 0, sizeof scan);
  scan.stats.min_alpha = 255;
}

bool colour_differs(const RX_Pixel8& a, const RX_Pixel8& b, int tolerance) {
  auto far = [tolerance](int x, int y) { return (x > y ? x - y : y - x) >= tolerance; };
  return far(a.red, b.red) || far(a.green, b.green) || far(a.blue, b.blue);
}

// Rows of 32-bit pixels; bgra reads blue, green, red, alpha.
void scan_rows(const uint8_t* base, intptr_t row_bytes, int32_t width, int32_t height, bool bgra,
               Scan& scan) {
  RX_GuessAlphaStats& s = scan.stats;
  RX_Pixel8 last_opaque{}, last_transparent{};
  bool have_opaque = false, have_transparent = false;
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* bytes = base + intptr_t{y} * row_bytes;
    for (int32_t x = 0; x < width; ++x, bytes += 4) {
      const RX_Pixel8 p = bgra ? RX_Pixel8{bytes[3], bytes[2], bytes[1], bytes[0]}
                               : RX_Pixel8{bytes[0], bytes[1], bytes[2], bytes[3]};
      if (p.alpha != 0) {
        if (have_opaque && colour_differs(p, last_opaque, 1)) s.opaque_varies = 1;
        ++s.opaque_count;
        if (p.alpha < s.min_alpha) {
          s.min_alpha = p.alpha;
          s.min_alpha_pixel = reinterpret_cast<const RX_Pixel8*>(bytes);
          scan.min_pixel = p;
        }
        if (p.alpha < p.red || p.alpha < p.green || p.alpha < p.blue) s.colour_exceeds_alpha = 1;
        last_opaque = p;
        have_opaque = true;
      } else {
        if (have_transparent && colour_differs(p, last_transparent, kTransparentTolerance)) {
          s.transparent_varies = 1;
        }
        ++s.transparent_count;
        if (p.red == 255 && p.green == 255 && p.blue == 255) {
          ++s.white_count;
        } else if (p.red == 0 && p.green == 0 && p.blue == 0) {
          ++s.black_count;
        } else {
          ++s.other_count;
        }
        ++s.hist_red[p.red];
        ++s.hist_green[p.green];
        ++s.hist_blue[p.blue];
        last_transparent = p;
        have_transparent = true;
      }
    }
  }
}

RX_Err scan_image(const RX_LayerDef* layer, ZW_World image, Scan& scan) {
  start_scan(scan);
  if (layer) {
    if (layer->data && RXp_WorldDepth(layer) == 8) {
      scan_rows(static_cast<const uint8_t*>(layer->data), layer->row_stride, layer->width,
                layer->height, false, scan);
    }
    return RX_Result_OK;
  }
  if (RX_Err err = ZW_LoadLockPixels(1, image, 0, 0)) return err;
  const ZW_Bitmap& bitmap = **image;
  if (bitmap.bits_per_pixel == 32 && bitmap.base_address) {
    scan_rows(static_cast<const uint8_t*>(bitmap.base_address), bitmap.row_bytes, bitmap.width,
              bitmap.height, ZW_GetChannelOrder(image) == 1, scan);
  }
  ZW_UnlockPixels(image);
  return RX_Result_OK;
}

// The peak of a histogram; the lowest index wins a tie.
uint8_t peak(const uint32_t (&histogram)[256]) {
  int best = 0;
  for (int i = 1; i < 256; ++i) {
    if (histogram[i] > histogram[best]) best = i;
  }
  return uint8_t(best);
}

int distance(int a, int b) { return a > b ? a - b : b - a; }

struct Guess {
  uint32_t status;
  RX_Pixel8 colour;
  const char* message;
};

// When every non-zero alpha is 255 there is no min_alpha pixel; min_alpha
// is then 255, and the tests against that pixel (a difference of at most
// 255, or 256) hold for any pixel, so they pass, whatever stands in for it.
Guess decide(const Scan& scan) {
  const RX_GuessAlphaStats& s = scan.stats;
  const RX_Pixel8& p = scan.min_pixel;
  const int min_alpha = s.min_alpha;
  if (s.opaque_count == 0) return {RX_GuessAlpha_Unable, {}, RXp_String(RX_Str_CannotGuessAlpha)};

  const bool min_pixel_whitish =
      255 - p.red <= min_alpha && 255 - p.green <= min_alpha && 255 - p.blue <= min_alpha;
  if (s.white_count != 0 && s.white_count == s.transparent_count && min_pixel_whitish) {
    return {RX_GuessAlpha_Premultiplied, {255, 255, 255, 255}, ""};
  }
  if (s.black_count != 0 && s.black_count == s.transparent_count && !s.colour_exceeds_alpha) {
    return {RX_GuessAlpha_Premultiplied, {255, 0, 0, 0}, ""};
  }
  if (!s.transparent_varies && s.opaque_varies) {
    const RX_Pixel8 found{255, peak(s.hist_red), peak(s.hist_green), peak(s.hist_blue)};
    const bool near = distance(found.red, p.red) <= min_alpha + 1 &&
                      distance(found.green, p.green) <= min_alpha + 1 &&
                      distance(found.blue, p.blue) <= min_alpha + 1;
    if (near) return {RX_GuessAlpha_Premultiplied, found, ""};
  }
  return {RX_GuessAlpha_Straight, {}, ""};
}

}  // namespace
}  // namespace rx

RX_Err RXp_GuessAlphaScan(const RX_LayerDef* layer, ZW_World image, RX_GuessAlphaStats* stats) {
  if (!stats || (!layer && !image)) return RX_ReportBadParameter(rx::kGuessLocation);
  rx::Scan scan;
  const RX_Err err = rx::scan_image(layer, image, scan);
  *stats = scan.stats;
  return err;
}

RX_Err RX_GuessAlphaMessage(void*, const RX_LayerDef* layer, ZW_World image, uint32_t* status,
                            RX_Pixel8* colour, char* message) {
  if (!status || !colour || (!layer && !image)) return RX_ReportBadParameter(rx::kGuessLocation);
  rx::Scan scan;
  if (RX_Err err = rx::scan_image(layer, image, scan)) return err;
  const rx::Guess guess = rx::decide(scan);
  *status = guess.status;
  if (guess.status == RX_GuessAlpha_Premultiplied) *colour = guess.colour;
  if (message) std::strcpy(message, guess.message);
  return RX_Result_OK;
}

RX_Err RX_GuessAlpha(void* unused, const RX_LayerDef* layer, ZW_World image, uint32_t* status,
                     RX_Pixel8* colour) {
  return RX_GuessAlphaMessage(unused, layer, image, status, colour, nullptr);
}
