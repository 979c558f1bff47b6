// Many random calls of the mask family (accumulate, transfer, fade,
// invert, conversion, blur scans, merge into worlds) on buffers of random
// sizes with rects and points over every edge, folded into one checksum;
// the same with the processor forms and with the plain ones must agree.
// The dithered Screen, whose forms differ by design, stays out.
#include <array>

#include "cpu_words.h"
#include "uno_test_support.h"

namespace {

using namespace unotest;

uint64_t fold(uint64_t sum, const void* data, size_t bytes) {
  const auto* p = static_cast<const uint8_t*>(data);
  for (size_t i = 0; i < bytes; ++i) sum = (sum ^ p[i]) * 0x100000001b3ull;
  return sum;
}

uint64_t fold_buffer(uint64_t sum, const RX_UnoBuffer* b) {
  return fold(sum, *b->pixels, size_t(b->width) * size_t(b->height) * size_t(bytes_of(b->depth)));
}

GE_LRect random_rect(std::mt19937& rng, int w, int h) {
  GE_LRect r;
  r.left = int(rng() % unsigned(w + 6)) - 3;
  r.right = r.left + int(rng() % unsigned(w + 6));
  r.top = int(rng() % unsigned(h + 6)) - 3;
  r.bottom = r.top + int(rng() % unsigned(h + 6));
  return r;
}

uint64_t run_random_calls(unsigned seed) {
  std::mt19937 rng(seed);
  uint64_t sum = 0xcbf29ce484222325ull;
  for (int call = 0; call < 1500; ++call) {
    const int depth = rng() % 2 ? 8 : 16;
    const int sw = 1 + int(rng() % 24), sh = 1 + int(rng() % 12);
    const int dw = 1 + int(rng() % 24), dh = 1 + int(rng() % 12);
    Buffer src = make(sw, sh, depth), dst = make(dw, dh, depth), mask = make(sw, sh, depth);
    randomise_with_ends(src.get(), rng);
    randomise_with_ends(dst.get(), rng);
    randomise_with_ends(mask.get(), rng);
    const GE_LRect rect = random_rect(rng, sw, sh);
    const GE_LPoint point{int(rng() % unsigned(dw + 8)) - 4 - sw / 2, int(rng() % unsigned(dh + 8)) - 4 - sh / 2};
    const int mode = 1 + int(rng() % 7);
    RX_Err err = 0;
    switch (rng() % 8) {
      case 0: err = RX_AccumulateUnoBuffers(nullptr, src.get(), mode, rect, &point, dst.get()); break;
      case 1: err = RX_AccumulateUnoBuffers(nullptr, src.get(), mode, 0.6f, 0.4f, rect, &point, dst.get()); break;
      case 2: err = RX_TransferUnoBuffers(nullptr, src.get(), mask.get(), mode, rect, &point, dst.get()); break;
      case 3: err = RX_FadeUnoBuffer(nullptr, float(rng() % 100) / 99.0f, dst.get()); break;
      case 4: err = RX_InvertAndFadeUnoBuffer(nullptr, int32_t(rng() % 0x10001), dst.get()); break;
      case 5: {
        Buffer deep = make(dw, dh, 16);
        randomise(deep.get(), rng, true);
        GE_LRect r = random_rect(rng, dw, dh);
        r = {std::max(r.left, 0), std::max(r.top, 0), std::min(r.right, dw), std::min(r.bottom, dh)};
        err = RX_ConvertDeepUnoBuffer(nullptr, deep.get(), r, uint16_t(1 + rng() % 300), dst.get());
        break;
      }
      case 6: {
        const int kind = int(rng() % 3);
        const int32_t radius = int32_t(rng() % (12 * 65536));
        const int left = int(rng() % unsigned(dw)), right = left + 1 + int(rng() % unsigned(dw - left));
        std::vector<uint8_t> scratch(size_t(dw + 4 * 13 + 8) * 2);
        for (int y = 0; y < dh && !err; ++y) {
          if (depth == 8) {
            auto* row = &at<uint8_t>(dst.get(), 0, y);
            err = y % 2 ? RX_BoxBlurUnoScan(kind, dw, left, right, radius, scratch.data(), row)
                        : RX_GBlurUnoScan(kind, dw, left, right, radius, scratch.data(), row);
          } else {
            auto* row = &at<uint16_t>(dst.get(), 0, y);
            auto* deep_scratch = reinterpret_cast<uint16_t*>(scratch.data());
            err = y % 2 ? RX_BoxBlurDeepUnoScan(kind, dw, left, right, radius, deep_scratch, row)
                        : RX_GBlurDeepUnoScan(kind, dw, left, right, radius, deep_scratch, row);
          }
        }
        break;
      }
      default: {
        rxtest::TestWorld<RX_Pixel16> world(dw, dh, 8);
        for (int y = 0; y < dh; ++y) {
          for (int x = 0; x < dw; ++x) world.at(x, y) = {uint16_t(rng() % 32769), 1, 2, 3};
        }
        RX_WorldX<RX_Pixel16> wrapper(*world.def(), false);
        const GE_LRect area = random_rect(rng, dw, dh);
        RX_MergeMaskAlpha(nullptr, point.x, point.y, rng() % 2 ? &rect : nullptr, src.get(), &area, &wrapper);
        for (int y = 0; y < dh; ++y) sum = fold(sum, &world.at(0, y), size_t(dw) * sizeof(RX_Pixel16));
        break;
      }
    }
    sum = fold(sum, &err, sizeof err);
    sum = fold_buffer(sum, dst.get());
  }
  return sum;
}

class MaskStress : public rxtest::BornDuringTest {};

TEST_F(MaskStress, ProcessorAndPlainFormsGiveTheSameChecksum) {
  born({{rxtest::kCpuWordSSE2, true}});
  const uint64_t with_sse2 = run_random_calls(601);
  EXPECT_EQ(run_random_calls(601), with_sse2);  // and the same twice
  die();
  born({{rxtest::kCpuWordSSE2, false}});
  EXPECT_EQ(run_random_calls(601), with_sse2);
}

}  // namespace
