// Shared helpers of the test suites: a born package, worlds with untidy
// strides and alignment, and (included from here) the report capture.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "RX.h"
#include "RXHost.h"
#include "report_capture.h"

namespace rxtest {

// Births the package for a test and lets it die afterwards.
class BornPackage : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(RX_Birth(), RX_Result_OK); }
  void TearDown() override { EXPECT_EQ(RX_Death(), RX_Result_OK); }
};

// The package born for a scope inside a test.
class Born {
 public:
  Born() { EXPECT_EQ(RX_Birth(), RX_Result_OK); }
  ~Born() { EXPECT_EQ(RX_Death(), RX_Result_OK); }
  Born(const Born&) = delete;
  Born& operator=(const Born&) = delete;
};

// A world over memory the test owns, with a chosen row padding (in bytes)
// and a byte offset of its first pixel from a 16-byte boundary.
template <class Px>
class TestWorld {
 public:
  TestWorld(int32_t width, int32_t height, int32_t row_padding = 0, int32_t misalign = 0) {
    const int32_t stride = width * int32_t(sizeof(Px)) + row_padding;
    storage_.assign(size_t(stride) * (height > 0 ? height : 1) + 32 + misalign, 0);
    auto base = reinterpret_cast<uintptr_t>(storage_.data());
    base = (base + 15) & ~uintptr_t{15};
    std::memset(&def_, 0, sizeof def_);
    def_.data = reinterpret_cast<void*>(base + misalign);
    def_.width = width;
    def_.height = height;
    def_.row_stride = stride;
    def_.content_rect = {0, 0, width, height};
    RXp_SetLayerFlagsForDepth(&def_, depth());
  }

  static int32_t depth() {
    if constexpr (sizeof(Px) == 4) return 8;
    else if constexpr (sizeof(Px) == 8) return 16;
    else return 32;
  }

  RX_LayerDef* def() { return &def_; }
  Px& at(int32_t x, int32_t y) {
    return reinterpret_cast<Px*>(static_cast<char*>(def_.data) + intptr_t{y} * def_.row_stride)[x];
  }
  int32_t width() const { return def_.width; }
  int32_t height() const { return def_.height; }

 private:
  std::vector<uint8_t> storage_;
  RX_LayerDef def_;
};

// A pixel whose channels spell its position, at any depth.
template <class Px>
Px pixel_for(int32_t x, int32_t y) {
  Px p{};
  if constexpr (sizeof(Px) == 16) {
    p.alpha = 1.0f;
    p.red = float(x);
    p.green = float(y);
    p.blue = float(x + y);
  } else {
    using Cv = decltype(p.red);
    p.alpha = Cv(x * 7 + y);
    p.red = Cv(x);
    p.green = Cv(y);
    p.blue = Cv(x + y);
  }
  return p;
}

template <class Px>
bool same_pixel(const Px& a, const Px& b) {
  return std::memcmp(&a, &b, sizeof(Px)) == 0;
}

using AllPixelTypes = ::testing::Types<RX_Pixel8, RX_Pixel16, RX_PixelFloat>;

// Mask values as rows read them: the alpha of pixel rows whose colour
// channels hold junk, so that a row reading another channel is caught.
template <class Px, class Cv>
std::vector<Px> mask_pixels(const std::vector<Cv>& values) {
  std::vector<Px> pixels(values.size());
  for (size_t i = 0; i < values.size(); ++i) {
    pixels[i].alpha = values[i];
    pixels[i].red = decltype(Px{}.red)(i * 7 + 3);
    pixels[i].green = decltype(Px{}.red)(i * 13 + 101);
    pixels[i].blue = decltype(Px{}.red)(250 - i % 200);
  }
  return pixels;
}

}  // namespace rxtest
