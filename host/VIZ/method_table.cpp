// The engine's publication in the bridge: the 142 methods of
// "VIZInterface2" in their order, each registered as "VIZ_" + name +
// "Proc2" (or "Proc" for the application, printer-list and Unicode
// methods), and the three of "VIZBitDepthConverterInterface". A method
// this engine does not implement is an entry that reports it and returns
// VIZ_Err_Unimplemented, never a null pointer. Exceptions never leave a
// method: memory runs out as VIZ_Err_OutOfMemory.
#include <array>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "VIZ/viz_engine.h"
#include "host_internal.h"

namespace rxhost::viz {
namespace {

constexpr const char* kMethodNames[] = {
    "DefaultCallbacks", "Initialize", "Terminate", "GetOption", "SetOption", "PurgeCaches",
    "BuildDatabase", "MakeProfileList", "ReferenceProfileList", "UnReferenceProfileList",
    "ProfileListCount", "ProfileListItemDescription", "ProfileListItemCode",
    "ProfileFromDescription", "ProfileFromCode", "OutputToInputCode", "EngineCount", "EngineInfo",
    "SetEngine", "ProfilesMatch", "QueryProfile", "MonitorProfile", "MainMonitorProfile",
    "MakeBufferProfile", "MakeRAMProfile", "MakeROMProfile", "ReferenceProfile",
    "UnReferenceProfile", "ProfileSize", "ProfileData", "ProfileInputCapable",
    "ProfileOutputCapable", "ProfileColorSpace", "ProfileIntent", "SetProfileIntent",
    "ProfileDescription", "ProfilesEqual", "ProfileFileName", "ProfileCopyright", "ProfileHeader",
    "ProfileTagInfo", "ProfileCopyData", "SetProfileTag", "MakeString", "ReferenceString",
    "UnReferenceString", "StringASCII", "StringUnicode", "MakeColorTransform", "MakeGamutTest",
    "ReferenceTransform", "UnReferenceTransform", "LoadTransform", "UnloadTransform",
    "TransformColorSpaces", "TransformComponents", "ApplyTransform", "ApplyGeneral",
    "ConcatTransforms", "MergeTransforms", "OptimizeTransform", "MakeCompressXYZ",
    "MakeExtractChannel", "MakeSubsetChannels", "MakeSpotMixerXYZ", "MakeAlphaMixerXYZ",
    "MakeCheckerMixerXYZ", "MakeNOPTransform", "MakeTableTransform", "MakeHDRTransform",
    "MakeCalRGB", "ExtractCalRGB", "MakeSimpleRGB", "ExtractSimpleRGB", "MakeCalGray",
    "ExtractCalGray", "MakeCalBlack", "ExtractCalBlack", "MakeCalLab", "ExtractCalLab",
    "MakeCalCMYK", "MakeCallbackCMYK", "MakeCalCSA", "ExtractCSA", "ExtractCRD", "MakeSettings",
    "ReferenceSettings", "UnReferenceSettings", "GetSettingsProfile", "SetSettingsProfile",
    "GetSettingsString", "SetSettingsString", "GetSettingsUnsigned32", "SetSettingsUnsigned32",
    "LoadSettings", "SaveSettings", "MakePresetList", "ReferencePresetList",
    "UnReferencePresetList", "PresetListCount", "PresetListItemFile", "PresetFileToName",
    "PresetDirectory", "GetVIZGlobals", "MakeNullWhiteXYZ", "MakeTintMixerXYZ",
    "ProfilesEquivalent", "SetProfileHeader", "StringLocalized", "FindDirectory", "QueryTransform",
    "ProfileID", "ProfileFromID", "RestrictJPEG2000", "RestrictV2Profile",
    "ProfileFromJPXLabParams", "MakeDPX", "ProfileColorants", "RegisterApplication",
    "UnRegisterApplication", "GetCentralConfigState", "SetColorWorkflow", "GetColorWorkflow",
    "ApplicationCount", "GetApplications", "MakeCDMP", "ProfileOverRange", "MakeLinearRGB",
    "MakePrinterProfileList", "ExtractGamma", "FindDirectoryU", "LoadSettingsU", "SaveSettingsU",
    "PresetListItemFileAndNameU", "GetColorWorkflowU", "SetColorWorkflowU", "MonitorProfileN",
    "MakeStringUTF8", "MakeStringUTF16", "StringUTF8", "StringUTF16", "MakeDeviceLinkFromLUT",
};
constexpr size_t kMethodCount = std::size(kMethodNames);
static_assert(kMethodCount == 142, "VIZInterface2 has 142 methods");

constexpr size_t index_of(const char* name) {
  for (size_t i = 0; i < kMethodCount; ++i) {
    if (std::string_view(kMethodNames[i]) == name) return i;
  }
  return kMethodCount;
}

// Registered names end in "Proc" from RegisterApplication to
// GetApplications, for MakePrinterProfileList, and from FindDirectoryU to
// the end; "Proc2" elsewhere.
const char* suffix_of(size_t i) {
  const bool plain = (i >= index_of("RegisterApplication") && i <= index_of("GetApplications")) ||
                     i == index_of("MakePrinterProfileList") || i >= index_of("FindDirectoryU");
  return plain ? "Proc" : "Proc2";
}

template <class Body>
VIZ_Err guarded(Body&& body) {
  clear_error();
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return fail(VIZ_Err_OutOfMemory, "the colour engine ran out of memory");
  } catch (...) {
    return fail(VIZ_Err_General, "the colour engine failed");
  }
}

// ---- implemented methods ----

VIZ_Err m_PurgeCaches() { return guarded([] { return purge_caches(); }); }

VIZ_Err m_ProfileFromCode(VIZ_ProfileCode code, VIZProfile** out) {
  return guarded([&] { return profile_from_code(code, out); });
}

VIZ_Err m_MainMonitorProfile(VIZProfile** out) { return guarded([&] { return main_monitor_profile(out); }); }

VIZ_Err m_MonitorProfileN(const void* display, VIZProfile** out) {
  return guarded([&] { return monitor_profile(display, out); });
}

VIZ_Err m_MakeBufferProfile(const void* data, uint32_t size, VIZProfile** out) {
  return guarded([&]() -> VIZ_Err {
    if (!out) return fail(VIZ_Err_BadParameter, "no place for the profile");
    VIZ_Err err = VIZ_Err_None;
    *out = profile_from_icc(data, size, &err);
    return err;
  });
}

VIZ_Err m_ReferenceProfile(VIZProfile* p) {
  if (!p) return fail(VIZ_Err_BadParameter, "no profile");
  reference(p);
  return VIZ_Err_None;
}

VIZ_Err m_UnReferenceProfile(VIZProfile* p) {
  if (!p) return fail(VIZ_Err_BadParameter, "no profile");
  release(p);
  return VIZ_Err_None;
}

VIZ_Err m_ProfileSize(VIZProfile* p, uint32_t* size) {
  if (!p || !size) return fail(VIZ_Err_BadParameter, "no profile or no place for its size");
  *size = uint32_t(p->icc.size());
  return VIZ_Err_None;
}

VIZ_Err m_ProfileData(VIZProfile* p, void* buffer, uint32_t size) {
  if (!p || !buffer) return fail(VIZ_Err_BadParameter, "no profile or no buffer");
  if (size < p->icc.size()) return fail(VIZ_Err_BadParameter, "the buffer is too small for the profile");
  std::memcpy(buffer, p->icc.data(), p->icc.size());
  return VIZ_Err_None;
}

VIZ_Err m_ProfileColorSpace(VIZProfile* p, uint32_t* space) {
  if (!p || !space) return fail(VIZ_Err_BadParameter, "no profile");
  *space = p->color_space;
  return VIZ_Err_None;
}

VIZ_Err m_ProfileDescription(VIZProfile* p, char* buffer, uint32_t size) {
  if (!p || !buffer || size == 0) return fail(VIZ_Err_BadParameter, "no profile or no buffer");
  size_t n = p->description.size() < size - 1 ? p->description.size() : size - 1;
  while (n > 0 && n < p->description.size() && (uint8_t(p->description[n]) & 0xC0) == 0x80) --n;  // whole characters
  std::memcpy(buffer, p->description.data(), n);
  buffer[n] = '\0';
  return VIZ_Err_None;
}

VIZ_Err m_ProfilesEqual(VIZProfile* a, VIZProfile* b, int32_t* equal) {
  if (!a || !b || !equal) return fail(VIZ_Err_BadParameter, "two profiles are compared");
  *equal = std::memcmp(a->id.bytes, b->id.bytes, 16) == 0;
  return VIZ_Err_None;
}

VIZ_Err m_ProfileID(VIZProfile* p, _t_VIZ_ID* id) {
  if (!p || !id) return fail(VIZ_Err_BadParameter, "no profile");
  *id = p->id;
  return VIZ_Err_None;
}

VIZ_Err m_ProfileOverRange(VIZProfile* p, int32_t* out) { return guarded([&] { return over_range(p, out); }); }

VIZ_Err m_MakeLinearRGB(VIZProfile* base, VIZProfile** out) { return guarded([&] { return linear_rgb(base, out); }); }

VIZ_Err m_ExtractCalRGB(VIZProfile* p, VIZ_CalRGB* out) { return guarded([&] { return cal_rgb(p, out); }); }

VIZ_Err m_ExtractGamma(VIZProfile* p, double* gamma) {
  return guarded([&]() -> VIZ_Err {
    if (!gamma) return fail(VIZ_Err_BadParameter, "no place for the gamma");
    VIZ_CalRGB cal;
    if (VIZ_Err err = cal_rgb(p, &cal)) return err;
    *gamma = cal.gamma[1];
    return VIZ_Err_None;
  });
}

VIZ_Err m_MakeColorTransform(VIZProfile* from, VIZProfile* to, int32_t intent, const _t_VIZ_Options* options,
                             VIZTransform** out) {
  return guarded([&] { return make_transform(from, to, intent, options, out); });
}

VIZ_Err m_ReferenceTransform(VIZTransform* t) {
  if (!t) return fail(VIZ_Err_BadParameter, "no transform");
  reference(t);
  return VIZ_Err_None;
}

VIZ_Err m_UnReferenceTransform(VIZTransform* t) {
  if (!t) return fail(VIZ_Err_BadParameter, "no transform");
  release(t);
  return VIZ_Err_None;
}

VIZ_Err m_ConcatTransforms(VIZTransform* first, VIZTransform* second, VIZTransform** out) {
  return guarded([&] { return concat(first, second, out); });
}

VIZ_Err m_OptimizeTransform(VIZTransform* t, const _t_VIZ_Options* options, VIZTransform** out) {
  return guarded([&] { return optimize(t, options, out); });
}

VIZ_Err m_ApplyTransform(VIZTransform* t, const void* src, VIZ_PixelFormat src_format, void* dst,
                         VIZ_PixelFormat dst_format, int32_t count, const _t_VIZ_Options* options) {
  return guarded([&] { return apply(t, src, src_format, dst, dst_format, count, options); });
}

VIZ_Err m_QueryTransform(VIZTransform* t, VIZ_TransformInfo* info) { return query(t, info); }

VIZ_Err m_NewColorSpaceConverter(uint32_t space, VIZ_PixelFormat from, VIZ_PixelFormat to, VIZTransform** out) {
  return guarded([&] { return new_color_space_converter(space, from, to, out); });
}

VIZ_Err m_NewProfileConverter(VIZProfile* p, VIZ_PixelFormat from, VIZ_PixelFormat to, VIZTransform** out) {
  return guarded([&] { return new_profile_converter(p, from, to, out); });
}

VIZ_Err m_Convert(VIZTransform* converter, const void* src, void* dst, int32_t count) {
  return guarded([&] { return convert(converter, src, dst, count); });
}

// ---- the others ----

template <size_t I>
VIZ_Err unimplemented() {
  const std::string text = std::string("VIZ: ") + kMethodNames[I] + " is unimplemented";
  rxhost::report(RXHost_Report_ErrString, KO_Class_Error, 0, 0, text.c_str());
  return fail(VIZ_Err_Unimplemented, text);
}

template <size_t... I>
constexpr std::array<NEX_Proc, kMethodCount> unimplemented_table(std::index_sequence<I...>) {
  return {reinterpret_cast<NEX_Proc>(&unimplemented<I>)...};
}

template <class F>
NEX_Proc as_proc(F* f) {
  return reinterpret_cast<NEX_Proc>(f);
}

}  // namespace

void register_engine_interfaces() {
  std::array<NEX_Proc, kMethodCount> procs = unimplemented_table(std::make_index_sequence<kMethodCount>());
  const std::pair<const char*, NEX_Proc> implemented[] = {
      {"PurgeCaches", as_proc(&m_PurgeCaches)},
      {"ProfileFromCode", as_proc(&m_ProfileFromCode)},
      {"MainMonitorProfile", as_proc(&m_MainMonitorProfile)},
      {"MonitorProfileN", as_proc(&m_MonitorProfileN)},
      {"MakeBufferProfile", as_proc(&m_MakeBufferProfile)},
      {"ReferenceProfile", as_proc(&m_ReferenceProfile)},
      {"UnReferenceProfile", as_proc(&m_UnReferenceProfile)},
      {"ProfileSize", as_proc(&m_ProfileSize)},
      {"ProfileData", as_proc(&m_ProfileData)},
      {"ProfileColorSpace", as_proc(&m_ProfileColorSpace)},
      {"ProfileDescription", as_proc(&m_ProfileDescription)},
      {"ProfilesEqual", as_proc(&m_ProfilesEqual)},
      {"ProfileID", as_proc(&m_ProfileID)},
      {"ProfileOverRange", as_proc(&m_ProfileOverRange)},
      {"MakeLinearRGB", as_proc(&m_MakeLinearRGB)},
      {"ExtractCalRGB", as_proc(&m_ExtractCalRGB)},
      {"ExtractGamma", as_proc(&m_ExtractGamma)},
      {"MakeColorTransform", as_proc(&m_MakeColorTransform)},
      {"ReferenceTransform", as_proc(&m_ReferenceTransform)},
      {"UnReferenceTransform", as_proc(&m_UnReferenceTransform)},
      {"ConcatTransforms", as_proc(&m_ConcatTransforms)},
      {"OptimizeTransform", as_proc(&m_OptimizeTransform)},
      {"ApplyTransform", as_proc(&m_ApplyTransform)},
      {"QueryTransform", as_proc(&m_QueryTransform)},
  };
  for (const auto& [name, proc] : implemented) procs[index_of(name)] = proc;
  for (size_t i = 0; i < kMethodCount; ++i) {
    const std::string registered = std::string("VIZ_") + kMethodNames[i] + suffix_of(i);
    register_proc("VIZInterface2", kMethodNames[i], registered.c_str(), procs[i]);
  }

  const std::pair<const char*, NEX_Proc> converter[] = {
      {"NewColorSpaceConverter", as_proc(&m_NewColorSpaceConverter)},
      {"NewProfileConverter", as_proc(&m_NewProfileConverter)},
      {"Convert", as_proc(&m_Convert)},
  };
  for (const auto& [name, proc] : converter) {
    const std::string registered = std::string("VIZBitDepthConverter") + name + "Proc";
    register_proc("VIZBitDepthConverterInterface", name, registered.c_str(), proc);
  }
}

}  // namespace rxhost::viz
