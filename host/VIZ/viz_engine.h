// The colour engine's insides, shared by its sources and the colour glue
// (TIN); never exported. Profiles and transforms are reference-counted
// objects over LittleCMS handles.
#pragma once

#include <lcms2.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "VIZ/VIZ.h"

struct VIZProfile {
  std::atomic<int32_t> references{1};
  cmsHPROFILE handle = nullptr;  // opened in the engine's context, read-only after birth
  std::vector<uint8_t> icc;      // the ICC data it was read from
  _t_VIZ_ID id{};
  uint32_t color_space = 0;
  std::string description;
  ~VIZProfile();
};

namespace rxhost::viz {

// One link of a transform's chain.
struct Step {
  VIZProfile* profile;  // holds a reference
  int32_t intent;
};

// A LittleCMS transform shared between engine transforms with the same
// chain, options and formats.
using LcmsTransform = std::shared_ptr<void>;

}  // namespace rxhost::viz

struct VIZTransform {
  std::atomic<int32_t> references{1};
  int32_t kind = 0;  // 0 colour, 1 depth converter
  std::vector<rxhost::viz::Step> chain;
  _t_VIZ_Options options{};
  int32_t lut_points = 0;
  // Depth converters: their two formats.
  VIZ_PixelFormat from_format = 0;
  VIZ_PixelFormat to_format = 0;
  // LittleCMS transforms by (source format, destination format).
  std::mutex built_mutex;
  std::vector<std::pair<uint64_t, rxhost::viz::LcmsTransform>> built;
  ~VIZTransform();
};

namespace rxhost::viz {

// ---- errors ----
// Remembers a text for the calling thread and gives the code back.
VIZ_Err fail(VIZ_Err code, const std::string& text);
// The text of the calling thread's last failure ("" when none).
const char* last_error_text();
// The code of that failure.
VIZ_Err last_error_code();
void clear_error();

// ---- LittleCMS ----
// The engine's context: its error handler and the float path for
// transforms between matrix-shaper profiles. The plain context has no
// float path: LittleCMS's own float evaluation.
cmsContext context();
cmsContext plain_context();

// ---- options ----
// The value of key in options (null: none), or fallback.
int32_t option(const _t_VIZ_Options* options, uint32_t key, int32_t fallback);

// ---- profiles ----
// A new profile object over ICC data (copied); null with an error when the
// data is no profile.
VIZProfile* profile_from_icc(const void* data, size_t size, VIZ_Err* err);
// A new profile object over a LittleCMS profile, which it takes over.
VIZProfile* profile_from_handle(cmsHPROFILE handle, VIZ_Err* err);
// A new reference to a built-in profile (cached for the process).
VIZ_Err profile_from_code(VIZ_ProfileCode code, VIZProfile** out);
VIZ_Err profile_from_file(const char* path, VIZProfile** out);
void reference(VIZProfile* profile);
void release(VIZProfile* profile);
VIZ_Err linear_rgb(VIZProfile* base, VIZProfile** out);
VIZ_Err cal_rgb(VIZProfile* profile, VIZ_CalRGB* out);
VIZ_Err over_range(VIZProfile* profile, int32_t* out);
VIZ_Err main_monitor_profile(VIZProfile** out);
VIZ_Err monitor_profile(const void* display, VIZProfile** out);

// ---- transforms ----
VIZ_Err make_transform(VIZProfile* from, VIZProfile* to, int32_t intent,
                       const _t_VIZ_Options* options, VIZTransform** out);
void reference(VIZTransform* transform);
void release(VIZTransform* transform);
VIZ_Err concat(VIZTransform* first, VIZTransform* second, VIZTransform** out);
VIZ_Err optimize(VIZTransform* transform, const _t_VIZ_Options* options, VIZTransform** out);
VIZ_Err apply(VIZTransform* transform, const void* src, VIZ_PixelFormat src_format, void* dst,
              VIZ_PixelFormat dst_format, int32_t count, const _t_VIZ_Options* options);
// One channel value taken from one format to another (bytes 1, 2, 4), the
// package's scalings between 255 and 32768; float to integer limited to
// 0..1 and rounded to nearest.
void carry_channel(const void* src, int32_t src_bytes, void* dst, int32_t dst_bytes);
VIZ_Err query(VIZTransform* transform, VIZ_TransformInfo* info);
VIZ_Err purge_caches();

// ---- registration ----
// Publishes "VIZInterface2" and "VIZBitDepthConverterInterface" in the
// bridge.
void register_engine_interfaces();
VIZ_Err new_color_space_converter(uint32_t color_space, VIZ_PixelFormat from, VIZ_PixelFormat to,
                                  VIZTransform** out);
VIZ_Err new_profile_converter(VIZProfile* profile, VIZ_PixelFormat from, VIZ_PixelFormat to,
                              VIZTransform** out);
VIZ_Err convert(VIZTransform* converter, const void* src, void* dst, int32_t count);

}  // namespace rxhost::viz
