// Transforms of the colour engine: chains of profiles with an intent
// each, joined and optimized as engine objects; LittleCMS builds a chain
// for a pair of formats when it is first applied, and the engine keeps the
// last few of those for reuse by any transform of the same chain, options
// and formats. Applying rescales the package's 0..32768 values to
// LittleCMS's 0..65535 and back, and carries the pad channel on request.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <list>
#include <mutex>
#include <string>

#include "VIZ/viz_engine.h"

VIZTransform::~VIZTransform() {
  for (const rxhost::viz::Step& s : chain) rxhost::viz::release(s.profile);
}

namespace rxhost::viz {
namespace {

constexpr size_t kKeptTransforms = 16;
constexpr int32_t kChunkPixels = 1024;

// The bytes a channel of a format, 0 for an unknown format.
int32_t channel_bytes(VIZ_PixelFormat f) {
  switch (f) {
    case VIZ_Format_prgb:
      return 1;
    case VIZ_Format_PRGB:
      return 2;
    case VIZ_Format_fRGB:
      return 4;
    default:
      return 0;
  }
}

cmsUInt32Number lcms_format(VIZ_PixelFormat f) {
  switch (f) {
    case VIZ_Format_prgb:
      return TYPE_ARGB_8;
    case VIZ_Format_PRGB:
      return TYPE_ARGB_16;
    default:
      return TYPE_ARGB_FLT;
  }
}

// ---- the kept LittleCMS transforms ----

std::mutex g_kept_mutex;
std::list<std::pair<std::string, LcmsTransform>> g_kept;  // most recent first

std::string key_of(const VIZTransform& t, VIZ_PixelFormat from, VIZ_PixelFormat to) {
  std::string key;
  const auto add = [&key](const void* p, size_t n) { key.append(static_cast<const char*>(p), n); };
  for (const Step& s : t.chain) {
    add(s.profile->id.bytes, 16);
    add(&s.intent, sizeof s.intent);
  }
  add(&t.options.count, sizeof t.options.count);
  add(t.options.entries, sizeof(VIZ_Option) * size_t(std::clamp(t.options.count, 0, int32_t(VIZ_MaxOptions))));
  add(&t.lut_points, sizeof t.lut_points);
  add(&from, sizeof from);
  add(&to, sizeof to);
  return key;
}

cmsUInt32Number flags_of(const VIZTransform& t) {
  cmsUInt32Number flags = 0;
  switch (option(&t.options, VIZ_Option_Quality, 1)) {
    case 0:
      flags |= cmsFLAGS_LOWRESPRECALC;
      break;
    case 2:
      flags |= cmsFLAGS_HIGHRESPRECALC;
      break;
    default:
      break;
  }
  if (t.lut_points > 0) flags |= cmsFLAGS_FORCE_CLUT | cmsFLAGS_GRIDPOINTS(t.lut_points);
  return flags;
}

LcmsTransform build(const VIZTransform& t, VIZ_PixelFormat from, VIZ_PixelFormat to, VIZ_Err* err) {
  const size_t n = t.chain.size();
  cmsHPROFILE profiles[VIZ_MaxChain];
  cmsBool bpc[VIZ_MaxChain];
  cmsUInt32Number intents[VIZ_MaxChain];
  cmsFloat64Number adaptation[VIZ_MaxChain];
  const bool black_point = option(&t.options, VIZ_Option_BlackPoint, 0) != 0;
  for (size_t i = 0; i < n; ++i) {
    profiles[i] = t.chain[i].profile->handle;
    bpc[i] = black_point;
    intents[i] = cmsUInt32Number(t.chain[i].intent);
    adaptation[i] = 1.0;
  }
  const bool fast = option(&t.options, VIZ_Option_FloatFastPath, 1) != 0;
  clear_error();
  cmsHTRANSFORM h = cmsCreateExtendedTransform(fast ? context() : plain_context(), cmsUInt32Number(n),
                                               profiles, bpc, intents, adaptation, nullptr, 0,
                                               lcms_format(from), lcms_format(to), flags_of(t));
  if (!h) {
    const std::string why = last_error_text();
    *err = fail(VIZ_Err_Transform, why.empty() ? "LittleCMS cannot build the transform" : why);
    return nullptr;
  }
  return LcmsTransform(h, [](void* p) { cmsDeleteTransform(p); });
}

// The transform's LittleCMS transform for the formats: its own, or one
// kept, or a new one.
LcmsTransform lcms_for(VIZTransform& t, VIZ_PixelFormat from, VIZ_PixelFormat to, VIZ_Err* err) {
  const uint64_t pair = uint64_t(from) << 32 | to;
  {
    std::lock_guard lock(t.built_mutex);
    for (const auto& [formats, built] : t.built) {
      if (formats == pair) return built;
    }
  }
  const std::string key = key_of(t, from, to);
  LcmsTransform found;
  {
    std::lock_guard lock(g_kept_mutex);
    for (auto it = g_kept.begin(); it != g_kept.end(); ++it) {
      if (it->first == key) {
        found = it->second;
        g_kept.splice(g_kept.begin(), g_kept, it);
        break;
      }
    }
  }
  if (!found) {
    found = build(t, from, to, err);
    if (!found) return nullptr;
    std::lock_guard lock(g_kept_mutex);
    g_kept.emplace_front(key, found);
    if (g_kept.size() > kKeptTransforms) g_kept.pop_back();
  }
  std::lock_guard lock(t.built_mutex);
  t.built.emplace_back(pair, found);
  return found;
}

// ---- scalings ----

inline uint16_t up_16(uint16_t v) { return uint16_t((uint32_t(std::min<uint16_t>(v, 32768)) * 65535 + 16384) >> 15); }
// (w * 32768 + 32767) / 65535, the division by 2^16 - 1 done as a shift
// (exact for every w of 16 bits).
inline uint16_t down_16(uint16_t w) {
  const uint32_t x = uint32_t(w) * 32768 + 32767;
  return uint16_t((x + (x >> 16) + 1) >> 16);
}

void clip_colours(float* pixels, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    for (int c = 1; c < 4; ++c) pixels[4 * i + c] = std::clamp(pixels[4 * i + c], 0.0f, 1.0f);
  }
}

}  // namespace

void carry_channel(const void* src, int32_t src_bytes, void* dst, int32_t dst_bytes) {
  float f = 0;
  uint32_t v = 0;
  switch (src_bytes) {
    case 1:
      v = *static_cast<const uint8_t*>(src);
      break;
    case 2:
      v = *static_cast<const uint16_t*>(src);
      break;
    default:
      std::memcpy(&f, src, 4);
      break;
  }
  if (src_bytes == dst_bytes) {
    std::memcpy(dst, src, size_t(src_bytes));
    return;
  }
  const auto from_float = [&](float white) {
    const float clamped = f < 0 ? 0 : f > 1 ? 1 : f;
    return uint32_t(clamped * white + 0.5f);
  };
  switch (dst_bytes) {
    case 1:
      *static_cast<uint8_t*>(dst) = uint8_t(src_bytes == 2 ? (v * 255 + 16384) >> 15 : from_float(255.0f));
      break;
    case 2:
      *static_cast<uint16_t*>(dst) = uint16_t(src_bytes == 1 ? (v * 0x808080u + 33200) >> 16 : from_float(32768.0f));
      break;
    default: {
      const float out = src_bytes == 1 ? float(v) / 255.0f : float(v) / 32768.0f;
      std::memcpy(dst, &out, 4);
      break;
    }
  }
}

VIZ_Err make_transform(VIZProfile* from, VIZProfile* to, int32_t intent, const _t_VIZ_Options* options,
                       VIZTransform** out) {
  if (!from || !to || !out) return fail(VIZ_Err_BadParameter, "a transform needs two profiles");
  if (intent < 0 || intent > 3) return fail(VIZ_Err_BadParameter, "unknown intent " + std::to_string(intent));
  for (const VIZProfile* p : {from, to}) {
    if (p->color_space != cmsSigRgbData) {
      return fail(VIZ_Err_ColorSpace, "'" + p->description + "' is not an RGB profile");
    }
  }
  auto* t = new VIZTransform;
  reference(from);
  reference(to);
  t->chain = {{from, intent}, {to, intent}};
  if (options) {
    t->options.count = std::clamp(options->count, 0, int32_t(VIZ_MaxOptions));
    std::memcpy(t->options.entries, options->entries, sizeof(VIZ_Option) * size_t(t->options.count));
  }
  *out = t;
  return VIZ_Err_None;
}

void reference(VIZTransform* transform) {
  if (transform) transform->references.fetch_add(1, std::memory_order_relaxed);
}

void release(VIZTransform* transform) {
  if (transform && transform->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete transform;
}

VIZ_Err concat(VIZTransform* first, VIZTransform* second, VIZTransform** out) {
  if (!first || !second || !out) return fail(VIZ_Err_BadParameter, "two transforms are joined");
  if (first->kind != 0 || second->kind != 0) return fail(VIZ_Err_BadParameter, "a depth converter cannot be joined");
  if (first->chain.size() + second->chain.size() > VIZ_MaxChain) {
    return fail(VIZ_Err_BadParameter, "a chain of more than " + std::to_string(VIZ_MaxChain) + " profiles");
  }
  auto* t = new VIZTransform;
  t->chain = first->chain;
  t->chain.insert(t->chain.end(), second->chain.begin(), second->chain.end());
  for (const Step& s : t->chain) reference(s.profile);
  t->options = first->options;
  t->lut_points = std::max(first->lut_points, second->lut_points);
  *out = t;
  return VIZ_Err_None;
}

VIZ_Err optimize(VIZTransform* transform, const _t_VIZ_Options* options, VIZTransform** out) {
  if (!transform || !out) return fail(VIZ_Err_BadParameter, "no transform");
  const int32_t points = option(options, VIZ_Option_LUTPoints, 0);
  if (points != 0 && (points < 2 || points > 255)) {
    return fail(VIZ_Err_BadParameter, "grid points " + std::to_string(points) + " outside 2..255");
  }
  auto* t = new VIZTransform;
  t->kind = transform->kind;
  t->chain = transform->chain;
  for (const Step& s : t->chain) reference(s.profile);
  t->options = transform->options;
  t->from_format = transform->from_format;
  t->to_format = transform->to_format;
  t->lut_points = points;
  *out = t;
  return VIZ_Err_None;
}

VIZ_Err apply(VIZTransform* transform, const void* src, VIZ_PixelFormat src_format, void* dst,
              VIZ_PixelFormat dst_format, int32_t count, const _t_VIZ_Options* options) {
  if (!transform) return fail(VIZ_Err_BadParameter, "no transform");
  const int32_t src_bytes = channel_bytes(src_format), dst_bytes = channel_bytes(dst_format);
  if (!src_bytes || !dst_bytes) return fail(VIZ_Err_PixelFormat, "unknown pixel format");
  if (count < 0) return fail(VIZ_Err_BadParameter, "a negative pixel count");
  if (count == 0) return VIZ_Err_None;
  if (!src || !dst) return fail(VIZ_Err_BadParameter, "no pixels");
  if (src == dst && src_bytes != dst_bytes) {
    return fail(VIZ_Err_BadParameter, "in place only between formats of one size");
  }
  VIZ_Err err = VIZ_Err_None;
  const LcmsTransform lcms = lcms_for(*transform, src_format, dst_format, &err);
  if (!lcms) return err;
  const bool copy_pad = option(options, VIZ_Option_CopyPad, 0) != 0 && src != dst;
  const bool clip = dst_format == VIZ_Format_fRGB && option(&transform->options, VIZ_Option_ClipOverRange, 0) != 0;

  const auto* in = static_cast<const uint8_t*>(src);
  auto* out = static_cast<uint8_t*>(dst);
  const size_t src_pixel = 4 * size_t(src_bytes), dst_pixel = 4 * size_t(dst_bytes);
  if (src_bytes != 2 && dst_bytes != 2 && !copy_pad && !clip) {
    cmsDoTransform(lcms.get(), src, dst, cmsUInt32Number(count));  // one call, for LittleCMS's own paths
    return VIZ_Err_None;
  }
  // 16-bit sides go through LittleCMS's scale a chunk at a time.
  uint16_t wide_in[4 * kChunkPixels], wide_out[4 * kChunkPixels];
  for (int32_t start = 0; start < count; start += kChunkPixels) {
    const int32_t n = std::min(kChunkPixels, count - start);
    const uint8_t* s = in + size_t(start) * src_pixel;
    uint8_t* d = out + size_t(start) * dst_pixel;
    const void* lcms_in = s;
    if (src_bytes == 2) {
      const auto* v = reinterpret_cast<const uint16_t*>(s);
      for (int32_t i = 0; i < 4 * n; ++i) wide_in[i] = up_16(v[i]);
      lcms_in = wide_in;
    }
    if (dst_bytes == 2) {
      // The pad channel of dst keeps its value: the wide row starts as dst.
      auto* v = reinterpret_cast<uint16_t*>(d);
      for (int32_t i = 0; i < n; ++i) wide_out[4 * i] = v[4 * i];
      cmsDoTransform(lcms.get(), lcms_in, wide_out, cmsUInt32Number(n));
      for (int32_t i = 0; i < n; ++i) {
        for (int c = 1; c < 4; ++c) v[4 * i + c] = down_16(wide_out[4 * i + c]);
      }
    } else {
      cmsDoTransform(lcms.get(), lcms_in, d, cmsUInt32Number(n));
      if (clip) clip_colours(reinterpret_cast<float*>(d), n);
    }
    if (copy_pad) {
      for (int32_t i = 0; i < n; ++i) carry_channel(s + size_t(i) * src_pixel, src_bytes, d + size_t(i) * dst_pixel, dst_bytes);
    }
  }
  return VIZ_Err_None;
}

VIZ_Err query(VIZTransform* transform, VIZ_TransformInfo* info) {
  if (!transform || !info) return fail(VIZ_Err_BadParameter, "no transform or no record");
  std::memset(info, 0, sizeof *info);
  info->kind = transform->kind;
  info->profile_count = int32_t(transform->chain.size());
  for (size_t i = 0; i < transform->chain.size(); ++i) {
    info->intents[i] = transform->chain[i].intent;
    info->profiles[i] = transform->chain[i].profile->id;
  }
  info->options = transform->options;
  info->lut_points = transform->lut_points;
  return VIZ_Err_None;
}

VIZ_Err purge_caches() {
  std::lock_guard lock(g_kept_mutex);
  g_kept.clear();
  return VIZ_Err_None;
}

}  // namespace rxhost::viz
