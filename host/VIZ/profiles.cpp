// Profiles of the colour engine: from ICC data and files, the built-in
// codes, display profiles from the preferences, the linear-light form of
// an RGB profile, and what a profile tells of itself (identity, colour
// space, description, calibrated gammas, over-range).
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "OPTS/OPTS.h"
#include "VIZ/viz_engine.h"

VIZProfile::~VIZProfile() {
  if (handle) cmsCloseProfile(handle);
}

namespace rxhost::viz {
namespace {

// ICC data is untrusted: a header is 128 bytes, and nothing this engine
// serves needs more than this.
constexpr size_t kMinProfileBytes = 128;
constexpr size_t kMaxProfileBytes = size_t{64} << 20;

std::string utf8_from_wide(const std::wstring& wide) {
  std::string out;
  for (wchar_t w : wide) {
    auto c = static_cast<uint32_t>(w);
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    if (c < 0x80) {
      out += char(c);
    } else if (c < 0x800) {
      out += char(0xC0 | (c >> 6));
      out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += char(0xE0 | (c >> 12));
      out += char(0x80 | ((c >> 6) & 0x3F));
      out += char(0x80 | (c & 0x3F));
    } else {
      out += char(0xF0 | (c >> 18));
      out += char(0x80 | ((c >> 12) & 0x3F));
      out += char(0x80 | ((c >> 6) & 0x3F));
      out += char(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::string description_of(cmsHPROFILE handle) {
  const cmsUInt32Number n = cmsGetProfileInfo(handle, cmsInfoDescription, "en", "US", nullptr, 0);
  if (n == 0) return "";
  std::wstring wide(n / sizeof(wchar_t), L'\0');
  cmsGetProfileInfo(handle, cmsInfoDescription, "en", "US", wide.data(), n);
  while (!wide.empty() && wide.back() == L'\0') wide.pop_back();
  return utf8_from_wide(wide);
}

// Fills the fields that come from the handle and its ICC data.
VIZ_Err complete(VIZProfile* p) {
  if (!cmsMD5computeID(p->handle)) return fail(VIZ_Err_BadProfile, "the profile's digest cannot be computed");
  cmsGetHeaderProfileID(p->handle, p->id.bytes);
  p->color_space = static_cast<uint32_t>(cmsGetColorSpace(p->handle));
  p->description = description_of(p->handle);
  return VIZ_Err_None;
}

void set_description(cmsHPROFILE handle, const char* text) {
  cmsMLU* mlu = cmsMLUalloc(cmsGetProfileContextID(handle), 1);
  if (!mlu) return;
  cmsMLUsetASCII(mlu, "en", "US", text);
  cmsWriteTag(handle, cmsSigProfileDescriptionTag, mlu);
  cmsMLUfree(mlu);
}

struct BuiltIn {
  VIZ_ProfileCode code;
  const char* description;
  cmsCIExyY white;
  cmsCIExyYTRIPLE primaries;
  int32_t curve_type;      // LittleCMS parametric type
  double params[5];
};

constexpr cmsCIExyY kD65 = {0.3127, 0.3290, 1.0};
constexpr cmsCIExyY kD50 = {0.3457, 0.3585, 1.0};
constexpr cmsCIExyY kAcesWhite = {0.32168, 0.33767, 1.0};
constexpr cmsCIExyYTRIPLE kRec709Primaries = {{0.64, 0.33, 1.0}, {0.30, 0.60, 1.0}, {0.15, 0.06, 1.0}};
constexpr cmsCIExyYTRIPLE kRec2020Primaries = {{0.708, 0.292, 1.0}, {0.170, 0.797, 1.0}, {0.131, 0.046, 1.0}};
// The sRGB curve, and Rec. 709's (the inverse of its camera curve).
#define SRGB_CURVE 4, {2.4, 1.0 / 1.055, 0.055 / 1.055, 1.0 / 12.92, 0.04045}
#define REC709_CURVE 4, {1.0 / 0.45, 1.0 / 1.099, 0.099 / 1.099, 1.0 / 4.5, 0.081}
#define LINEAR_CURVE 1, {1.0}

const BuiltIn kBuiltIns[] = {
    {VIZ_Profile_sRGB, "sRGB IEC61966-2.1", kD65, kRec709Primaries, SRGB_CURVE},
    {VIZ_Profile_LinearsRGB, "Linear sRGB", kD65, kRec709Primaries, LINEAR_CURVE},
    {VIZ_Profile_AdobeRGB, "Adobe RGB (1998) compatible", kD65,
     {{0.64, 0.33, 1.0}, {0.21, 0.71, 1.0}, {0.15, 0.06, 1.0}}, 1, {563.0 / 256.0}},
    {VIZ_Profile_ProPhotoRGB, "ProPhoto RGB", kD50,
     {{0.7347, 0.2653, 1.0}, {0.1596, 0.8404, 1.0}, {0.0366, 0.0001, 1.0}}, 1, {1.8}},
    {VIZ_Profile_Rec709, "Rec. 709", kD65, kRec709Primaries, REC709_CURVE},
    {VIZ_Profile_Rec2020, "Rec. 2020", kD65, kRec2020Primaries, REC709_CURVE},
    {VIZ_Profile_LinearRec2020, "Linear Rec. 2020", kD65, kRec2020Primaries, LINEAR_CURVE},
    {VIZ_Profile_DisplayP3, "Display P3", kD65,
     {{0.680, 0.320, 1.0}, {0.265, 0.690, 1.0}, {0.150, 0.060, 1.0}}, SRGB_CURVE},
    {VIZ_Profile_ACEScg, "ACEScg", kAcesWhite,
     {{0.713, 0.293, 1.0}, {0.165, 0.830, 1.0}, {0.128, 0.044, 1.0}}, LINEAR_CURVE},
};

cmsHPROFILE build(const BuiltIn& b) {
  cmsContext ctx = context();
  cmsToneCurve* curve = cmsBuildParametricToneCurve(ctx, b.curve_type, b.params);
  if (!curve) return nullptr;
  cmsToneCurve* curves[3] = {curve, curve, curve};
  cmsHPROFILE h = cmsCreateRGBProfileTHR(ctx, &b.white, &b.primaries, curves);
  cmsFreeToneCurve(curve);
  if (!h) return nullptr;
  cmsSetProfileVersion(h, 4.3);
  set_description(h, b.description);
  return h;
}

std::mutex g_builtins_mutex;
std::map<VIZ_ProfileCode, VIZProfile*> g_builtins;  // one reference each, for the process

bool read_file(const char* path, std::vector<uint8_t>* out, std::string* why) {
  FILE* f = std::fopen(path, "rb");
  if (!f) {
    *why = std::string("cannot open ") + path + ": " + std::strerror(errno);
    return false;
  }
  bool ok = std::fseek(f, 0, SEEK_END) == 0;
  const long size = ok ? std::ftell(f) : -1;
  ok = ok && size >= 0 && std::fseek(f, 0, SEEK_SET) == 0;
  if (!ok) {
    *why = std::string("cannot read ") + path;
  } else if (size_t(size) < kMinProfileBytes || size_t(size) > kMaxProfileBytes) {
    *why = std::string(path) + " is no ICC profile (" + std::to_string(size) + " bytes)";
    ok = false;
  } else {
    out->resize(size_t(size));
    ok = std::fread(out->data(), 1, out->size(), f) == out->size();
    if (!ok) *why = std::string("cannot read ") + path;
  }
  std::fclose(f);
  return ok;
}

const cmsToneCurve* trc(cmsHPROFILE h, int channel) {
  static const cmsTagSignature kTags[3] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
  return static_cast<const cmsToneCurve*>(cmsReadTag(h, kTags[channel]));
}

const cmsCIEXYZ* colorant(cmsHPROFILE h, int channel) {
  static const cmsTagSignature kTags[3] = {cmsSigRedColorantTag, cmsSigGreenColorantTag,
                                           cmsSigBlueColorantTag};
  return static_cast<const cmsCIEXYZ*>(cmsReadTag(h, kTags[channel]));
}

// An RGB profile whose tone curves and colorants LittleCMS can read.
bool is_matrix_shaper_rgb(const VIZProfile* p) {
  if (p->color_space != cmsSigRgbData || !cmsIsMatrixShaper(p->handle)) return false;
  for (int c = 0; c < 3; ++c) {
    if (!trc(p->handle, c) || !colorant(p->handle, c)) return false;
  }
  return true;
}

// The XYZ of the three primaries, measured through the profile.
bool measure_primaries(cmsHPROFILE h, cmsCIEXYZ out[3]) {
  cmsContext ctx = plain_context();
  cmsHPROFILE xyz = cmsCreateXYZProfileTHR(ctx);
  if (!xyz) return false;
  cmsHTRANSFORM t = cmsCreateTransformTHR(ctx, h, TYPE_RGB_DBL, xyz, TYPE_XYZ_DBL,
                                          INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
  cmsCloseProfile(xyz);
  if (!t) return false;
  const double rgb[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  double result[9];
  cmsDoTransform(t, rgb, result, 3);
  cmsDeleteTransform(t);
  for (int c = 0; c < 3; ++c) out[c] = {result[3 * c], result[3 * c + 1], result[3 * c + 2]};
  return true;
}

uint32_t big_endian(const uint8_t* p) { return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]; }

// The header's size and every tag of the tag table lie within the data:
// LittleCMS reads tags when they are asked for, so damage behind the
// header would otherwise show only then.
bool tags_within(const uint8_t* data, size_t size, std::string* why) {
  const uint32_t declared = big_endian(data);
  if (declared > size || declared < kMinProfileBytes + 4) {
    *why = "the profile says it has " + std::to_string(declared) + " bytes, the data has " + std::to_string(size);
    return false;
  }
  const uint32_t count = big_endian(data + 128);
  if (uint64_t(count) * 12 + 132 > declared) {
    *why = "the tag table runs past the end of the profile";
    return false;
  }
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t* entry = data + 132 + 12 * size_t(i);
    const uint64_t offset = big_endian(entry + 4), length = big_endian(entry + 8);
    if (offset + length > declared) {
      *why = "a tag runs past the end of the profile";
      return false;
    }
  }
  return true;
}

}  // namespace

VIZProfile* profile_from_handle(cmsHPROFILE handle, VIZ_Err* err) {
  // A profile is its ICC data: the handle is written out and read back, so
  // that what the engine computes with is what it hands out (colorants and
  // curve parameters are rounded to the ICC encodings on the way).
  std::vector<uint8_t> data;
  cmsUInt32Number size = 0;
  bool ok = cmsSaveProfileToMem(handle, nullptr, &size) && size > 0;
  if (ok) {
    data.resize(size);
    ok = cmsSaveProfileToMem(handle, data.data(), &size);
  }
  cmsCloseProfile(handle);
  if (!ok) {
    *err = fail(VIZ_Err_BadProfile, "the profile cannot be written");
    return nullptr;
  }
  return profile_from_icc(data.data(), data.size(), err);
}

VIZProfile* profile_from_icc(const void* data, size_t size, VIZ_Err* err) {
  if (!data || size < kMinProfileBytes || size > kMaxProfileBytes) {
    *err = fail(VIZ_Err_BadProfile, "no ICC profile: " + std::to_string(size) + " bytes");
    return nullptr;
  }
  std::string damage;
  if (!tags_within(static_cast<const uint8_t*>(data), size, &damage)) {
    *err = fail(VIZ_Err_BadProfile, damage);
    return nullptr;
  }
  clear_error();
  cmsHPROFILE h = cmsOpenProfileFromMemTHR(context(), data, cmsUInt32Number(size));
  if (!h) {
    const std::string why = last_error_text();
    *err = fail(VIZ_Err_BadProfile, why.empty() ? "the data is no ICC profile" : why);
    return nullptr;
  }
  auto* p = new VIZProfile;
  p->handle = h;
  p->icc.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
  if ((*err = complete(p)) != VIZ_Err_None) {
    delete p;
    return nullptr;
  }
  return p;
}

VIZ_Err profile_from_file(const char* path, VIZProfile** out) {
  if (!path || !out) return fail(VIZ_Err_BadParameter, "no file or no place for the profile");
  std::vector<uint8_t> data;
  std::string why;
  if (!read_file(path, &data, &why)) return fail(VIZ_Err_BadProfile, why);
  VIZ_Err err = VIZ_Err_None;
  *out = profile_from_icc(data.data(), data.size(), &err);
  if (!*out) return fail(err, std::string(path) + ": " + last_error_text());
  return VIZ_Err_None;
}

VIZ_Err profile_from_code(VIZ_ProfileCode code, VIZProfile** out) {
  if (!out) return fail(VIZ_Err_BadParameter, "no place for the profile");
  if (code == VIZ_Profile_MainMonitor) return main_monitor_profile(out);
  std::lock_guard lock(g_builtins_mutex);
  if (auto it = g_builtins.find(code); it != g_builtins.end()) {
    reference(it->second);
    *out = it->second;
    return VIZ_Err_None;
  }
  for (const BuiltIn& b : kBuiltIns) {
    if (b.code != code) continue;
    cmsHPROFILE h = build(b);
    if (!h) return fail(VIZ_Err_General, std::string("cannot build the profile ") + b.description);
    VIZ_Err err = VIZ_Err_None;
    VIZProfile* p = profile_from_handle(h, &err);
    if (!p) return err;
    g_builtins[code] = p;
    reference(p);
    *out = p;
    return VIZ_Err_None;
  }
  char text[64];
  std::snprintf(text, sizeof text, "unknown profile code 0x%08x", unsigned(code));
  return fail(VIZ_Err_UnknownCode, text);
}

void reference(VIZProfile* profile) {
  if (profile) profile->references.fetch_add(1, std::memory_order_relaxed);
}

void release(VIZProfile* profile) {
  if (profile && profile->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete profile;
}

VIZ_Err linear_rgb(VIZProfile* base, VIZProfile** out) {
  if (!base || !out) return fail(VIZ_Err_BadParameter, "no profile");
  if (base->color_space != cmsSigRgbData) return fail(VIZ_Err_ColorSpace, "a linear form needs an RGB profile");
  cmsCIEXYZ primaries[3];
  if (is_matrix_shaper_rgb(base)) {
    for (int c = 0; c < 3; ++c) primaries[c] = *colorant(base->handle, c);
  } else if (!measure_primaries(base->handle, primaries)) {
    return fail(VIZ_Err_Transform, std::string("cannot measure the primaries of ") + base->description);
  }
  cmsContext ctx = context();
  cmsHPROFILE h = cmsCreateProfilePlaceholder(ctx);
  if (!h) return fail(VIZ_Err_OutOfMemory, "no memory for a profile");
  cmsSetProfileVersion(h, 4.3);
  cmsSetDeviceClass(h, cmsSigDisplayClass);
  cmsSetColorSpace(h, cmsSigRgbData);
  cmsSetPCS(h, cmsSigXYZData);
  const double one = 1.0;
  cmsToneCurve* linear = cmsBuildParametricToneCurve(ctx, 1, &one);
  bool ok = linear != nullptr;
  const auto* white = static_cast<const cmsCIEXYZ*>(cmsReadTag(base->handle, cmsSigMediaWhitePointTag));
  ok = ok && cmsWriteTag(h, cmsSigMediaWhitePointTag, white ? white : cmsD50_XYZ());
  if (const void* chad = cmsReadTag(base->handle, cmsSigChromaticAdaptationTag)) {
    ok = ok && cmsWriteTag(h, cmsSigChromaticAdaptationTag, chad);
  }
  ok = ok && cmsWriteTag(h, cmsSigRedColorantTag, &primaries[0]) &&
       cmsWriteTag(h, cmsSigGreenColorantTag, &primaries[1]) &&
       cmsWriteTag(h, cmsSigBlueColorantTag, &primaries[2]) && cmsWriteTag(h, cmsSigRedTRCTag, linear) &&
       cmsLinkTag(h, cmsSigGreenTRCTag, cmsSigRedTRCTag) && cmsLinkTag(h, cmsSigBlueTRCTag, cmsSigRedTRCTag);
  if (linear) cmsFreeToneCurve(linear);
  if (!ok) {
    cmsCloseProfile(h);
    return fail(VIZ_Err_General, "cannot write the linear profile");
  }
  set_description(h, ("Linear " + base->description).c_str());
  VIZ_Err err = VIZ_Err_None;
  *out = profile_from_handle(h, &err);
  return *out ? VIZ_Err_None : err;
}

VIZ_Err cal_rgb(VIZProfile* profile, VIZ_CalRGB* out) {
  if (!profile || !out) return fail(VIZ_Err_BadParameter, "no profile or no record");
  if (!is_matrix_shaper_rgb(profile)) {
    return fail(VIZ_Err_ColorSpace, profile->description + " is no matrix-shaper RGB profile");
  }
  for (int c = 0; c < 3; ++c) {
    const cmsToneCurve* curve = trc(profile->handle, c);
    if (cmsGetToneCurveParametricType(curve) == 1) {
      out->gamma[c] = cmsGetToneCurveParams(curve)[0];
    } else {
      // The widest precision: an estimate is wanted even for curves far
      // from a power (sRGB's linear toe).
      out->gamma[c] = cmsEstimateGamma(curve, 10.0);
      if (out->gamma[c] <= 0) return fail(VIZ_Err_General, "a tone curve of " + profile->description + " has no gamma");
    }
    const cmsCIEXYZ* xyz = colorant(profile->handle, c);
    out->matrix[c] = xyz->X;
    out->matrix[3 + c] = xyz->Y;
    out->matrix[6 + c] = xyz->Z;
  }
  const auto* white = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile->handle, cmsSigMediaWhitePointTag));
  if (!white) white = cmsD50_XYZ();
  out->white[0] = white->X;
  out->white[1] = white->Y;
  out->white[2] = white->Z;
  return VIZ_Err_None;
}

VIZ_Err over_range(VIZProfile* profile, int32_t* out) {
  if (!profile || !out) return fail(VIZ_Err_BadParameter, "no profile");
  bool linear = is_matrix_shaper_rgb(profile);
  for (int c = 0; c < 3 && linear; ++c) linear = cmsIsToneCurveLinear(trc(profile->handle, c));
  *out = linear ? 1 : 0;
  return VIZ_Err_None;
}

namespace {

constexpr char kDisplaySection[] = "Display Profiles";

// The profile of the file a preference names, or null out when the
// preference is not there.
VIZ_Err profile_from_preference(const char* key, VIZProfile** out) {
  *out = nullptr;
  char path[4096];
  int32_t found = 0;
  if (HOST_Err e = OPTS_GetTextPrefData(kDisplaySection, key, path, sizeof path, &found)) {
    return fail(VIZ_Err_General, std::string("cannot read the display preferences (error ") + std::to_string(e) + ")");
  }
  if (!found || path[0] == '\0') return VIZ_Err_None;
  return profile_from_file(path, out);
}

}  // namespace

VIZ_Err main_monitor_profile(VIZProfile** out) {
  if (!out) return fail(VIZ_Err_BadParameter, "no place for the profile");
  if (VIZ_Err err = profile_from_preference("Main", out)) return err;
  return *out ? VIZ_Err_None : profile_from_code(VIZ_Profile_sRGB, out);
}

VIZ_Err monitor_profile(const void* display, VIZProfile** out) {
  if (!out) return fail(VIZ_Err_BadParameter, "no place for the profile");
  if (!display) return main_monitor_profile(out);
  if (VIZ_Err err = profile_from_preference(static_cast<const char*>(display), out)) return err;
  return *out ? VIZ_Err_None : main_monitor_profile(out);
}

}  // namespace rxhost::viz
