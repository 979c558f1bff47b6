// Worlds painted for a test, padding included, and their bytes kept for
// comparing afterwards: a write outside the pixels an operation may touch
// shows as a changed padding byte or pixel.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "rx_test_support.h"

namespace rxtest {

inline constexpr uint8_t kPaddingByte = 0xA5;

// A pixel no fill produces by accident: every channel non-zero and
// different from its neighbours'; float channels out of 0..1.
template <class Px>
Px distinct_marker(int32_t x, int32_t y) {
  Px p{};
  if constexpr (sizeof(Px) == 16) {
    p = {0.25f + float(x), 100.0f + float(y), -3.5f - float(x), 7.0f + float(x * y)};
  } else {
    using Cv = decltype(p.red);
    p = {Cv(1 + (x * 13 + y * 7) % 200), Cv(2 + (x * 5 + y * 11) % 200), Cv(3 + (x + y) % 200),
         Cv(4 + (x * 3 + y * 17) % 200)};
  }
  return p;
}

// Every row's padding gets `padding`, pixel (x, y) marker(x, y).
template <class Px, class Marker>
void paint(TestWorld<Px>& world, Marker&& marker, uint8_t padding = kPaddingByte) {
  for (int32_t y = 0; y < world.height(); ++y) {
    std::memset(&world.at(0, y), padding, size_t(world.def()->row_stride));
    for (int32_t x = 0; x < world.width(); ++x) world.at(x, y) = marker(x, y);
  }
}

// A world over part of a larger painted one (pixels distinct_marker,
// padding kPaddingByte): its rows are the parent's, so a write outside it
// shows in the parent.
template <class Px>
struct PaintedSubWorld {
  TestWorld<Px> parent;
  GE_LRect place;
  RX_LayerDef def;

  PaintedSubWorld(int32_t parent_width, int32_t parent_height, int32_t padding, int32_t misalign, GE_LRect where)
      : parent(parent_width, parent_height, padding, misalign), place(where) {
    paint(parent, distinct_marker<Px>);
    def = *parent.def();
    def.data = &parent.at(where.left, where.top);
    def.width = where.right - where.left;
    def.height = where.bottom - where.top;
    def.content_rect = {0, 0, def.width, def.height};
  }
};

// Whether every padding byte still holds `padding`.
template <class Px>
bool padding_intact(TestWorld<Px>& world, uint8_t padding = kPaddingByte) {
  const size_t pixel_bytes = size_t(world.width()) * sizeof(Px);
  for (int32_t y = 0; y < world.height(); ++y) {
    const auto* row = reinterpret_cast<const uint8_t*>(&world.at(0, y));
    for (size_t i = pixel_bytes; i < size_t(world.def()->row_stride); ++i) {
      if (row[i] != padding) return false;
    }
  }
  return true;
}

// The bytes of a world's rows, padding included: taken before an
// operation, changed by the test's reference, compared after.
template <class Px>
struct RawRows {
  int32_t width = 0, height = 0, stride = 0;
  std::vector<uint8_t> bytes;

  explicit RawRows(TestWorld<Px>& w) : width(w.width()), height(w.height()), stride(w.def()->row_stride) {
    for (int32_t y = 0; y < height; ++y) {
      const auto* row = reinterpret_cast<const uint8_t*>(&w.at(0, y));
      bytes.insert(bytes.end(), row, row + stride);
    }
  }
  Px* row(int32_t y) { return reinterpret_cast<Px*>(&bytes[size_t(y) * size_t(stride)]); }
  Px get(int32_t x, int32_t y) const {
    Px p;
    std::memcpy(&p, &bytes[size_t(y) * size_t(stride) + size_t(x) * sizeof(Px)], sizeof p);
    return p;
  }
  void put(int32_t x, int32_t y, const Px& p) {
    if (x < 0 || y < 0 || x >= width || y >= height) {
      ADD_FAILURE() << "the reference writes outside the destination at " << x << ", " << y;
      return;
    }
    std::memcpy(&bytes[size_t(y) * size_t(stride) + size_t(x) * sizeof(Px)], &p, sizeof p);
  }
};

// The world's bytes against the expected ones, naming the first that
// differs: a pixel's byte or a padding byte.
template <class Px>
::testing::AssertionResult rows_equal(const RawRows<Px>& expected, TestWorld<Px>& actual) {
  const RawRows<Px> got(actual);
  for (size_t i = 0; i < expected.bytes.size(); ++i) {
    if (expected.bytes[i] != got.bytes[i]) {
      const int32_t y = int32_t(i / size_t(expected.stride));
      const int32_t off = int32_t(i % size_t(expected.stride));
      auto r = ::testing::AssertionFailure();
      if (off >= expected.width * int32_t(sizeof(Px))) return r << "padding byte " << off << " of row " << y << " changed";
      return r << "pixel " << off / int32_t(sizeof(Px)) << ", " << y << " byte " << off % int32_t(sizeof(Px))
               << ": expected " << int(expected.bytes[i]) << ", got " << int(got.bytes[i]);
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace rxtest
