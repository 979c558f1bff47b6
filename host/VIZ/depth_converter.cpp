// Depth converters: transforms that move pixels between formats. A colour
// space converter only rescales; a profile converter takes the profile's
// encoded integer values to its linear light in float and back.
#include <string>

#include "VIZ/viz_engine.h"

namespace rxhost::viz {
namespace {

int32_t bytes_of(VIZ_PixelFormat f) {
  return f == VIZ_Format_prgb ? 1 : f == VIZ_Format_PRGB ? 2 : f == VIZ_Format_fRGB ? 4 : 0;
}

VIZTransform* new_converter(VIZ_PixelFormat from, VIZ_PixelFormat to) {
  auto* t = new VIZTransform;
  t->kind = 1;
  t->from_format = from;
  t->to_format = to;
  return t;
}

}  // namespace

VIZ_Err new_color_space_converter(uint32_t color_space, VIZ_PixelFormat from, VIZ_PixelFormat to,
                                  VIZTransform** out) {
  if (!out) return fail(VIZ_Err_BadParameter, "no place for the converter");
  if (color_space != cmsSigRgbData) return fail(VIZ_Err_ColorSpace, "depth converters take RGB only");
  if (!bytes_of(from) || !bytes_of(to)) return fail(VIZ_Err_PixelFormat, "unknown pixel format");
  *out = new_converter(from, to);
  return VIZ_Err_None;
}

VIZ_Err new_profile_converter(VIZProfile* profile, VIZ_PixelFormat from, VIZ_PixelFormat to,
                              VIZTransform** out) {
  if (!profile || !out) return fail(VIZ_Err_BadParameter, "no profile or no place for the converter");
  if (profile->color_space != cmsSigRgbData) return fail(VIZ_Err_ColorSpace, "depth converters take RGB only");
  const int32_t from_bytes = bytes_of(from), to_bytes = bytes_of(to);
  if (!from_bytes || !to_bytes) return fail(VIZ_Err_PixelFormat, "unknown pixel format");
  VIZTransform* t = new_converter(from, to);
  if ((from_bytes == 4) != (to_bytes == 4)) {
    VIZProfile* linear = nullptr;
    if (VIZ_Err err = linear_rgb(profile, &linear)) {
      release(t);
      return err;
    }
    reference(profile);
    if (from_bytes == 4) {
      t->chain = {{linear, INTENT_RELATIVE_COLORIMETRIC}, {profile, INTENT_RELATIVE_COLORIMETRIC}};
    } else {
      t->chain = {{profile, INTENT_RELATIVE_COLORIMETRIC}, {linear, INTENT_RELATIVE_COLORIMETRIC}};
    }
  }
  *out = t;
  return VIZ_Err_None;
}

VIZ_Err convert(VIZTransform* converter, const void* src, void* dst, int32_t count) {
  if (!converter || converter->kind != 1) return fail(VIZ_Err_BadParameter, "not a depth converter");
  if (!converter->chain.empty()) {
    const _t_VIZ_Options carry = {1, {{VIZ_Option_CopyPad, 1}}};
    return apply(converter, src, converter->from_format, dst, converter->to_format, count, &carry);
  }
  if (count < 0) return fail(VIZ_Err_BadParameter, "a negative pixel count");
  if (count > 0 && (!src || !dst)) return fail(VIZ_Err_BadParameter, "no pixels");
  const int32_t from = bytes_of(converter->from_format), to = bytes_of(converter->to_format);
  if (src == dst && from != to) return fail(VIZ_Err_BadParameter, "in place only between formats of one size");
  const auto* in = static_cast<const uint8_t*>(src);
  auto* out = static_cast<uint8_t*>(dst);
  for (int64_t i = 0; i < int64_t(count) * 4; ++i) carry_channel(in + i * from, from, out + i * to, to);
  return VIZ_Err_None;
}

}  // namespace rxhost::viz
