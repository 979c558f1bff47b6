// Helpers of the mask buffer tests: owned buffers, plain access to values,
// random content with a fixed seed, and the rounding rules written out.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "rx_test_support.h"

namespace unotest {

struct BufferDeleter {
  void operator()(RX_UnoBuffer* b) const { delete b; }
};
using Buffer = std::unique_ptr<RX_UnoBuffer, BufferDeleter>;

// A buffer of any depth, made by the constructor.
inline Buffer make(int32_t width, int32_t height, int32_t depth) {
  return Buffer(new RX_UnoBuffer(width, height, depth));
}

template <class V>
V* values(const RX_UnoBuffer* b) {
  return static_cast<V*>(*b->pixels);
}

template <class V>
V& at(const RX_UnoBuffer* b, int32_t x, int32_t y) {
  return values<V>(b)[size_t(y) * size_t(b->width) + size_t(x)];
}

template <class V>
std::vector<V> snapshot(const RX_UnoBuffer* b) {
  return std::vector<V>(values<V>(b), values<V>(b) + size_t(b->width) * size_t(b->height));
}

inline int bytes_of(int32_t depth) { return depth == 32 ? 4 : depth == 16 ? 2 : 1; }

// Random values: 8 bits over 0..255, 16 bits over 0..32768 (or the whole
// 16-bit range when wide), float over 0..1.
inline void randomise(RX_UnoBuffer* b, std::mt19937& rng, bool wide = false) {
  const size_t n = size_t(b->width) * size_t(b->height);
  if (b->depth == 8) {
    std::uniform_int_distribution<int> d(0, 255);
    for (size_t i = 0; i < n; ++i) values<uint8_t>(b)[i] = uint8_t(d(rng));
  } else if (b->depth == 16) {
    std::uniform_int_distribution<int> d(0, wide ? 65535 : 32768);
    for (size_t i = 0; i < n; ++i) values<uint16_t>(b)[i] = uint16_t(d(rng));
  } else {
    std::uniform_real_distribution<float> d(0.0f, 1.0f);
    for (size_t i = 0; i < n; ++i) values<float>(b)[i] = d(rng);
  }
}

// Values at the ends and at the halves come often, so that the exact ends
// and the ties of the rounding are tested (16384 x 1 is a tie at 16 bits).
inline void randomise_with_ends(RX_UnoBuffer* b, std::mt19937& rng) {
  randomise(b, rng);
  static const uint8_t special8[] = {0, 255, 128, 1, 127, 2};
  static const uint16_t special16[] = {0, 32768, 16384, 1, 2, 32767, 3, 8192};
  const size_t n = size_t(b->width) * size_t(b->height);
  std::uniform_int_distribution<int> pick(0, 15);
  for (size_t i = 0; i < n; ++i) {
    const int p = pick(rng);
    if (b->depth == 8 && p < 6) values<uint8_t>(b)[i] = special8[p];
    if (b->depth == 16 && p < 8) values<uint16_t>(b)[i] = special16[p];
  }
}

// p / 255 rounded as the package multiplies 8-bit values.
constexpr int64_t rnd8(int64_t p) { return (p + 128 + ((p + 128) >> 8)) >> 8; }
// p / 32768 rounded as the package multiplies 16-bit values.
constexpr int64_t rnd16(int64_t p) { return (p + 16383) >> 15; }

// A born package whose reports are captured.
class MaskTest : public rxtest::BornPackage {
 protected:
  rxtest::ReportCapture reports;
};

// Counts the damaged-buffer reports among the captured ones.
inline size_t damaged_reports(const rxtest::ReportCapture& capture) {
  size_t n = 0;
  for (const auto& r : capture.errors()) {
    if (r.text == "damaged mask buffer" && r.kind == RXHost_Report_Verification) ++n;
  }
  return n;
}

// Progress records that abort at once, and count how often they were asked.
struct Aborter {
  int asked = 0;
  static RX_Err abort(void* refcon) {
    ++static_cast<Aborter*>(refcon)->asked;
    return RX_Result_Interrupted;
  }
  RX_ProgressInfo info() { return RX_ProgressInfo{this, &Aborter::abort, nullptr}; }
};

}  // namespace unotest
