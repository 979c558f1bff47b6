// Helpers of the colour tests: profiles from the installed ICC packages,
// world objects over test worlds, a world of a depth no world has, and
// LittleCMS called directly on a profile's own data.
#pragma once

#include <gtest/gtest.h>
#include <lcms2.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "RX.h"
#include "rx_test_support.h"

namespace colourtest {

// Where Debian's icc-profiles-free and colord-data put their profiles.
inline const std::string kProPhoto = "/usr/share/color/icc/colord/ProPhotoRGB.icc";
inline const std::string kAdobe = "/usr/share/color/icc/colord/AdobeRGB1998.icc";
inline const std::string kWideGamut = "/usr/share/color/icc/colord/WideGamutRGB.icc";
inline const std::string kTableSRGB = "/usr/share/color/icc/sRGB.icc";

inline TIN_VIZ_SharedProfile shared(TIN_VIZ_Profile p) { return TIN_VIZ_SharedProfile(new TIN_VIZ_Profile(std::move(p))); }
inline TIN_VIZ_SharedProfile from_code(VIZ_ProfileCode code) { return shared(TIN_VIZ_Profile::FromCode(code)); }
inline TIN_VIZ_SharedProfile from_file(const std::string& path) { return shared(TIN_VIZ_Profile::FromFile(path.c_str())); }

// A profile LittleCMS writes: matrix-shaper RGB with sRGB's primaries and
// white and the given curve on all three channels.
inline TIN_VIZ_SharedProfile profile_with_curve(cmsToneCurve* curve) {
  cmsToneCurve* curves[3] = {curve, curve, curve};
  const cmsCIExyY d65 = {0.3127, 0.3290, 1.0};
  const cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1.0}, {0.30, 0.60, 1.0}, {0.15, 0.06, 1.0}};
  cmsHPROFILE h = cmsCreateRGBProfile(&d65, &primaries, curves);
  cmsFreeToneCurve(curve);
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(h, nullptr, &size);
  std::vector<uint8_t> data(size);
  cmsSaveProfileToMem(h, data.data(), &size);
  cmsCloseProfile(h);
  return shared(TIN_VIZ_Profile::FromICCData(data.data(), data.size()));
}

// LittleCMS's own reading of an engine profile.
class LcmsProfile {
 public:
  explicit LcmsProfile(const TIN_VIZ_Profile& p) : data_(p.GetICCData()) {
    h_ = cmsOpenProfileFromMem(data_.data(), cmsUInt32Number(data_.size()));
    EXPECT_NE(h_, nullptr);
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

// The engine's 16-bit scale: 0..32768 to LittleCMS's 0..65535 and back.
inline uint16_t up_16(uint16_t v) { return uint16_t((uint32_t(v > 32768 ? 32768 : v) * 65535 + 16384) >> 15); }
inline uint16_t down_16(uint16_t w) { return uint16_t((uint32_t(w) * 32768 + 32767) / 65535); }

// A world object over a test world (a reference: the test world owns the
// pixels).
template <class Px>
std::unique_ptr<RX_World> object(rxtest::TestWorld<Px>& w) {
  return std::unique_ptr<RX_World>(RX_World::NewReference(*w.def()));
}

template <class Px>
void fill_random(rxtest::TestWorld<Px>& w, uint32_t seed, bool in_range = true) {
  std::mt19937 rng(seed);
  for (int32_t y = 0; y < w.height(); ++y) {
    for (int32_t x = 0; x < w.width(); ++x) {
      Px& p = w.at(x, y);
      if constexpr (sizeof(Px) == 16) {
        std::uniform_real_distribution<float> d(in_range ? 0.0f : -0.25f, in_range ? 1.0f : 1.5f);
        p = {d(rng), d(rng), d(rng), d(rng)};
      } else if constexpr (sizeof(Px) == 8) {
        std::uniform_int_distribution<uint32_t> d(0, 32768);
        p = {uint16_t(d(rng)), uint16_t(d(rng)), uint16_t(d(rng)), uint16_t(d(rng))};
      } else {
        std::uniform_int_distribution<uint32_t> d(0, 255);
        p = {uint8_t(d(rng)), uint8_t(d(rng)), uint8_t(d(rng)), uint8_t(d(rng))};
      }
    }
  }
}

// The pixels of a world, row after row.
template <class Px>
std::vector<Px> pixels_of(rxtest::TestWorld<Px>& w) {
  std::vector<Px> out;
  for (int32_t y = 0; y < w.height(); ++y) {
    for (int32_t x = 0; x < w.width(); ++x) out.push_back(w.at(x, y));
  }
  return out;
}

template <class Px>
void set_pixels(rxtest::TestWorld<Px>& w, const std::vector<Px>& pixels) {
  size_t i = 0;
  for (int32_t y = 0; y < w.height(); ++y) {
    for (int32_t x = 0; x < w.width(); ++x) w.at(x, y) = pixels[i++];
  }
}

// A world whose depth is none of 8, 16, 32: what a foreign world object
// might say. It does nothing else.
class OddDepthWorld : public RX_World {
 public:
  OddDepthWorld(void* data, int32_t width, int32_t height, int32_t row_stride, int16_t depth) : depth_(depth) {
    def_.data = data;
    def_.width = width;
    def_.height = height;
    def_.row_stride = row_stride;
  }
  int16_t Depth() const override { return depth_; }
  void Clear(const GE_LRect*) override {}
  void ClearExceptRect(const GE_LRect&) override {}
  void Fill(const RX_PixelFloat&, const GE_LRect*) override {}
  void Fill(const RX_Pixel16&, const GE_LRect*) override {}
  void FillAlpha() override {}
  void InvertAlpha() override {}
  void Premultiply(const RX_ProgressInfo*) override {}
  void Unmultiply(const RX_ProgressInfo*) override {}
  void PremulColor(const RX_PixelFloat&, const RX_ProgressInfo*) override {}
  void UnmulColor(const RX_PixelFloat&, const RX_ProgressInfo*) override {}
  void CopyRect(const RX_World&, const GE_LRect&, int32_t, int32_t) override {}
  void CopyRectPossiblyDifferentBitdepth(const RX_World&, const GE_LRect&, bool, int32_t, int32_t,
                                         const RX_ProgressInfo*) override {}
  void CopyRectPossiblyDifferentBitdepthWithField(const RX_World&, const GE_LRect&, int32_t) override {}
  bool SubWorldSafetyGutterHasBeenOverWritten() const override { return false; }

 private:
  int16_t depth_;
};

// RX_PREFS pointed at a file of the test's for its lifetime.
class PrefsFile {
 public:
  PrefsFile() {
    dir_ = std::filesystem::temp_directory_path() / ("rx-colour-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir_);
    path_ = (dir_ / "prefs.ini").string();
    if (const char* old = std::getenv("RX_PREFS")) {
      had_ = true;
      old_ = old;
    }
    setenv("RX_PREFS", path_.c_str(), 1);
  }
  ~PrefsFile() {
    if (had_) setenv("RX_PREFS", old_.c_str(), 1);
    else unsetenv("RX_PREFS");
    std::filesystem::remove_all(dir_);
  }
  void write(const std::string& text) const { std::ofstream(path_) << text; }
  const std::string& path() const { return path_; }

 private:
  std::filesystem::path dir_;
  std::string path_, old_;
  bool had_ = false;
};

}  // namespace colourtest
