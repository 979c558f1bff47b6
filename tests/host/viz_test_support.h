// The colour engine as the tests reach it: its methods found by name
// through the bridge's lookup, the ICC profiles the installed packages
// put on the machine, and LittleCMS called directly for the references.
#pragma once

#include <gtest/gtest.h>
#include <lcms2.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "TIN/TIN.h"
#include "VIZ/VIZ.h"

namespace viztest {

// Where Debian's icc-profiles-free and colord-data put their profiles.
inline const std::string kIccDir = "/usr/share/color/icc/";
inline const std::string kColordDir = "/usr/share/color/icc/colord/";
inline const std::string kProPhoto = kColordDir + "ProPhotoRGB.icc";         // gamma 1.8
inline const std::string kAdobe = kColordDir + "AdobeRGB1998.icc";           // gamma 2.2
inline const std::string kColordSRGB = kColordDir + "sRGB.icc";              // parametric sRGB curve
inline const std::string kWideGamut = kColordDir + "WideGamutRGB.icc";
inline const std::string kRec709 = kColordDir + "Rec709.icc";                // tabulated curve
inline const std::string kTableSRGB = kIccDir + "sRGB.icc";                  // 1024-entry curves
inline const std::string kGray = kIccDir + "Gray.icc";                       // not RGB
inline const std::string kLabIdentity = kIccDir + "LCMSLABI.ICM";            // a Lab table profile

inline std::vector<uint8_t> read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The registered name of a method of "VIZInterface2" at its position:
// "Proc" for the application, printer-list and Unicode methods (positions
// 118 to 124, 128, and 130 on), "Proc2" for the others.
inline std::string registered_name(const std::string& name, size_t index) {
  const bool plain = (index >= 118 && index <= 124) || index == 128 || index >= 130;
  return "VIZ_" + name + (plain ? "Proc" : "Proc2");
}

inline NEX_LookupProc lookup() {
  NEX_LookupProc l = nullptr;
  EXPECT_EQ(TIN_GetNEXAddressProc(&l), 0);
  return l;
}

// A method of the engine by its name and position.
template <class Proc>
Proc method(const char* name, size_t index) {
  return reinterpret_cast<Proc>(lookup()("VIZInterface2", name, registered_name(name, index).c_str()));
}

// The methods the tests call, resolved once.
struct Engine {
  VIZ_ProfileFromCodeProc ProfileFromCode = method<VIZ_ProfileFromCodeProc>("ProfileFromCode", 14);
  VIZ_MainMonitorProfileProc MainMonitorProfile = method<VIZ_MainMonitorProfileProc>("MainMonitorProfile", 22);
  VIZ_MakeBufferProfileProc MakeBufferProfile = method<VIZ_MakeBufferProfileProc>("MakeBufferProfile", 23);
  VIZ_ReferenceProfileProc ReferenceProfile = method<VIZ_ReferenceProfileProc>("ReferenceProfile", 26);
  VIZ_UnReferenceProfileProc UnReferenceProfile = method<VIZ_UnReferenceProfileProc>("UnReferenceProfile", 27);
  VIZ_ProfileSizeProc ProfileSize = method<VIZ_ProfileSizeProc>("ProfileSize", 28);
  VIZ_ProfileDataProc ProfileData = method<VIZ_ProfileDataProc>("ProfileData", 29);
  VIZ_ProfileColorSpaceProc ProfileColorSpace = method<VIZ_ProfileColorSpaceProc>("ProfileColorSpace", 32);
  VIZ_ProfileDescriptionProc ProfileDescription = method<VIZ_ProfileDescriptionProc>("ProfileDescription", 35);
  VIZ_ProfilesEqualProc ProfilesEqual = method<VIZ_ProfilesEqualProc>("ProfilesEqual", 36);
  VIZ_MakeColorTransformProc MakeColorTransform = method<VIZ_MakeColorTransformProc>("MakeColorTransform", 48);
  VIZ_ReferenceTransformProc ReferenceTransform = method<VIZ_ReferenceTransformProc>("ReferenceTransform", 50);
  VIZ_UnReferenceTransformProc UnReferenceTransform =
      method<VIZ_UnReferenceTransformProc>("UnReferenceTransform", 51);
  VIZ_ApplyTransformProc ApplyTransform = method<VIZ_ApplyTransformProc>("ApplyTransform", 56);
  VIZ_ConcatTransformsProc ConcatTransforms = method<VIZ_ConcatTransformsProc>("ConcatTransforms", 58);
  VIZ_OptimizeTransformProc OptimizeTransform = method<VIZ_OptimizeTransformProc>("OptimizeTransform", 60);
  VIZ_ExtractCalRGBProc ExtractCalRGB = method<VIZ_ExtractCalRGBProc>("ExtractCalRGB", 71);
  VIZ_QueryTransformProc QueryTransform = method<VIZ_QueryTransformProc>("QueryTransform", 110);
  VIZ_ProfileIDProc ProfileID = method<VIZ_ProfileIDProc>("ProfileID", 111);
  VIZ_ProfileOverRangeProc ProfileOverRange = method<VIZ_ProfileOverRangeProc>("ProfileOverRange", 126);
  VIZ_MakeLinearRGBProc MakeLinearRGB = method<VIZ_MakeLinearRGBProc>("MakeLinearRGB", 127);
  VIZ_ExtractGammaProc ExtractGamma = method<VIZ_ExtractGammaProc>("ExtractGamma", 129);
  VIZ_MonitorProfileNProc MonitorProfileN = method<VIZ_MonitorProfileNProc>("MonitorProfileN", 136);
  VIZ_PurgeCachesProc PurgeCaches = method<VIZ_PurgeCachesProc>("PurgeCaches", 5);
};

inline const Engine& engine() {
  static const Engine e;
  return e;
}

// An engine profile reference released at the end of a scope.
class Profile {
 public:
  Profile() = default;
  explicit Profile(VIZProfile* p) : p_(p) {}
  Profile(Profile&& other) noexcept : p_(other.p_) { other.p_ = nullptr; }
  Profile& operator=(Profile&& other) noexcept {
    std::swap(p_, other.p_);
    return *this;
  }
  Profile(const Profile&) = delete;
  Profile& operator=(const Profile&) = delete;
  ~Profile() {
    if (p_) engine().UnReferenceProfile(p_);
  }
  VIZProfile* get() const { return p_; }
  VIZProfile** out() { return &p_; }

 private:
  VIZProfile* p_ = nullptr;
};

class Transform {
 public:
  Transform() = default;
  Transform(const Transform&) = delete;
  Transform& operator=(const Transform&) = delete;
  ~Transform() {
    if (t_) engine().UnReferenceTransform(t_);
  }
  VIZTransform* get() const { return t_; }
  VIZTransform** out() { return &t_; }

 private:
  VIZTransform* t_ = nullptr;
};

inline Profile from_file(const std::string& path) {
  const std::vector<uint8_t> data = read_file(path);
  Profile p;
  EXPECT_EQ(engine().MakeBufferProfile(data.data(), uint32_t(data.size()), p.out()), VIZ_Err_None) << path;
  return p;
}

inline Profile from_code(VIZ_ProfileCode code) {
  Profile p;
  EXPECT_EQ(engine().ProfileFromCode(code, p.out()), VIZ_Err_None);
  return p;
}

// LittleCMS's own view of an engine profile: opened from its ICC data.
class LcmsProfile {
 public:
  explicit LcmsProfile(VIZProfile* p) {
    uint32_t size = 0;
    EXPECT_EQ(engine().ProfileSize(p, &size), VIZ_Err_None);
    data_.resize(size);
    EXPECT_EQ(engine().ProfileData(p, data_.data(), size), VIZ_Err_None);
    h_ = cmsOpenProfileFromMem(data_.data(), size);
    EXPECT_NE(h_, nullptr);
  }
  explicit LcmsProfile(const std::string& path) : h_(cmsOpenProfileFromFile(path.c_str(), "r")) {
    EXPECT_NE(h_, nullptr) << path;
  }
  LcmsProfile(const LcmsProfile&) = delete;
  LcmsProfile& operator=(const LcmsProfile&) = delete;
  ~LcmsProfile() {
    if (h_) cmsCloseProfile(h_);
  }
  cmsHPROFILE get() const { return h_; }

 private:
  std::vector<uint8_t> data_;
  cmsHPROFILE h_ = nullptr;
};

// A LittleCMS transform released at the end of a scope.
struct LcmsTransform {
  cmsHTRANSFORM h;
  LcmsTransform(cmsHPROFILE from, cmsUInt32Number in, cmsHPROFILE to, cmsUInt32Number out, int intent,
                cmsUInt32Number flags = 0)
      : h(cmsCreateTransform(from, in, to, out, cmsUInt32Number(intent), flags)) {
    EXPECT_NE(h, nullptr);
  }
  LcmsTransform(const LcmsTransform&) = delete;
  LcmsTransform& operator=(const LcmsTransform&) = delete;
  ~LcmsTransform() {
    if (h) cmsDeleteTransform(h);
  }
};

// The engine's 16-bit scale, written from its rule: 0..32768 to 0..65535
// and back, to nearest.
inline uint16_t up_16(uint16_t v) { return uint16_t((uint32_t(v > 32768 ? 32768 : v) * 65535 + 16384) >> 15); }
inline uint16_t down_16(uint16_t w) { return uint16_t((uint32_t(w) * 32768 + 32767) / 65535); }

template <class T>
std::vector<T> random_pixels(size_t count, uint32_t seed, T white) {
  std::mt19937 rng(seed);
  std::vector<T> v(4 * count);
  if constexpr (std::is_floating_point_v<T>) {
    std::uniform_real_distribution<float> d(0.0f, white);
    for (T& x : v) x = d(rng);
  } else {
    std::uniform_int_distribution<uint32_t> d(0, uint32_t(white));
    for (T& x : v) x = T(d(rng));
  }
  return v;
}

namespace detail {
inline cmsInt32Number through(const cmsUInt16Number in[], cmsUInt16Number out[], void* cargo) {
  cmsDoTransform(static_cast<cmsHTRANSFORM>(cargo), in, out, 1);
  return 1;
}
}  // namespace detail

// An RGB profile of tables only (no tone curves, no colorants): 17-point
// grids from RGB to Lab and back, sampled from sRGB. LittleCMS reads it
// through its tables at every depth.
inline std::vector<uint8_t> table_rgb_profile() {
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  cmsHPROFILE lab = cmsCreateLab4Profile(nullptr);
  cmsHTRANSFORM to_lab = cmsCreateTransform(srgb, TYPE_RGB_16, lab, TYPE_Lab_16, INTENT_RELATIVE_COLORIMETRIC, 0);
  cmsHTRANSFORM from_lab = cmsCreateTransform(lab, TYPE_Lab_16, srgb, TYPE_RGB_16, INTENT_RELATIVE_COLORIMETRIC, 0);
  cmsHPROFILE h = cmsCreateProfilePlaceholder(nullptr);
  cmsSetProfileVersion(h, 4.3);
  cmsSetDeviceClass(h, cmsSigDisplayClass);
  cmsSetColorSpace(h, cmsSigRgbData);
  cmsSetPCS(h, cmsSigLabData);
  const auto lut = [](cmsHTRANSFORM t) {
    cmsPipeline* p = cmsPipelineAlloc(nullptr, 3, 3);
    cmsStage* grid = cmsStageAllocCLut16bit(nullptr, 17, 3, 3, nullptr);
    cmsStageSampleCLut16bit(grid, &detail::through, t, 0);
    // Stored as curves, grid, curves (identity curves around the grid).
    cmsPipelineInsertStage(p, cmsAT_BEGIN, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    cmsPipelineInsertStage(p, cmsAT_END, grid);
    cmsPipelineInsertStage(p, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    return p;
  };
  cmsPipeline* a2b = lut(to_lab);
  cmsPipeline* b2a = lut(from_lab);
  cmsWriteTag(h, cmsSigAToB0Tag, a2b);
  cmsWriteTag(h, cmsSigBToA0Tag, b2a);
  cmsWriteTag(h, cmsSigMediaWhitePointTag, cmsD50_XYZ());
  cmsMLU* name = cmsMLUalloc(nullptr, 1);
  cmsMLUsetASCII(name, "en", "US", "Table RGB");
  cmsWriteTag(h, cmsSigProfileDescriptionTag, name);
  cmsMLUfree(name);
  cmsPipelineFree(a2b);
  cmsPipelineFree(b2a);
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(h, nullptr, &size);
  std::vector<uint8_t> data(size);
  cmsSaveProfileToMem(h, data.data(), &size);
  cmsCloseProfile(h);
  cmsDeleteTransform(to_lab);
  cmsDeleteTransform(from_lab);
  cmsCloseProfile(srgb);
  cmsCloseProfile(lab);
  return data;
}

}  // namespace viztest
