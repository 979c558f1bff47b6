// Helpers of the drawing tests: world objects over untidy test memory, and
// whole-image comparison.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>

#include "rx_test_support.h"

namespace drawtest {

// A world object over a TestWorld, so that the operations taking world
// objects see padded and misaligned rows too.
template <class Px>
struct ObjectWorld {
  rxtest::TestWorld<Px> memory;
  std::unique_ptr<RX_World> object;

  ObjectWorld(int32_t width, int32_t height, int32_t padding = 0, int32_t misalign = 0)
      : memory(width, height, padding, misalign), object(RX_World::NewReference(*memory.def())) {}

  RX_World* world() { return object.get(); }
  Px& at(int32_t x, int32_t y) { return memory.at(x, y); }
  int32_t width() const { return memory.width(); }
  int32_t height() const { return memory.height(); }
};

template <class Px>
using Channel = decltype(Px{}.red);

// A background pixel that differs from its neighbours, at any depth.
template <class Px>
Px background_pixel(int32_t x, int32_t y) {
  if constexpr (sizeof(Px) == 16) {
    return {0.25f + 0.001f * float(x), 0.5f, 0.001f * float(y), 0.75f};
  } else {
    using Cv = Channel<Px>;
    const int32_t white = sizeof(Px) == 4 ? 255 : 32768;
    return {Cv((x * 37 + y * 11) % white), Cv((x * 5 + 7) % white), Cv((y * 13 + 1) % white),
            Cv((x + y) % white)};
  }
}

template <class Px>
void fill_background(ObjectWorld<Px>& w) {
  for (int32_t y = 0; y < w.height(); ++y) {
    for (int32_t x = 0; x < w.width(); ++x) w.at(x, y) = background_pixel<Px>(x, y);
  }
}

template <class Px>
std::string describe(const Px& p) {
  return "(" + std::to_string(double(p.alpha)) + ", " + std::to_string(double(p.red)) + ", " +
         std::to_string(double(p.green)) + ", " + std::to_string(double(p.blue)) + ")";
}

}  // namespace drawtest
