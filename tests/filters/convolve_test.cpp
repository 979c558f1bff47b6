#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "RX.h"
#include "blur_reference.h"
#include "frame/variants.h"
#include "rx_test_support.h"
#include "variant_forms.h"

namespace {

using blurtest::ch;
using blurtest::Cv;
using blurtest::Picture;
using rxtest::ReportCapture;

// The convolution as its rule writes it: each channel's sum over the window
// inside the picture (rows top to bottom, columns left to right; 32-bit
// integer sums that wrap, f32 sums in float), divided toward zero, then
// limited.
template <class Px>
void reference_convolve(Picture<Px>& src, Picture<Px>& dst, std::vector<uint8_t>& expected,
                        uint32_t flags, int32_t size, const std::vector<int32_t> kernels[4]) {
  int32_t hw = size / 2, hh = size / 2;
  if (flags & RX_CONVOLVE_1D) {
    if (flags & RX_CONVOLVE_VERTICAL) hw = 0;
    else hh = 0;
  }
  const int32_t cols = 2 * hw + 1, entries = cols * (2 * hh + 1);
  int32_t divisor[4];
  for (int c = 0; c < 4; ++c) {
    if (flags & RX_CONVOLVE_NORMALIZE) {
      uint32_t s = 0;
      for (int32_t i = 0; i < entries; ++i) s += uint32_t(kernels[c][size_t(i)]);
      divisor[c] = s == 0 ? 1 : int32_t(s);
    } else {
      divisor[c] = entries * 256;
    }
  }
  const int32_t read_w = std::min(src.width(), dst.width());
  const int32_t read_h = std::min(src.height(), dst.height());
  for (int32_t y = 0; y < dst.height(); ++y) {
    for (int32_t x = 0; x < dst.width(); ++x) {
      Px out{};
      for (int c = 0; c < 4; ++c) {
        using Sum = std::conditional_t<blurtest::isF<Px>, float, uint32_t>;
        Sum sum = 0;
        for (int32_t ky = -hh; ky <= hh; ++ky) {
          for (int32_t kx = -hw; kx <= hw; ++kx) {
            const int32_t sx = x + kx, sy = y + ky;
            if (sx < 0 || sy < 0 || sx >= read_w || sy >= read_h) continue;
            sum += Sum(ch(src.at(sx, sy), c)) * Sum(kernels[c][size_t((ky + hh) * cols + kx + hw)]);
          }
        }
        if constexpr (blurtest::isF<Px>) {
          float v = sum / float(divisor[c]);
          if (!(flags & RX_CONVOLVE_NO_CLAMP)) v = v < 0 ? 0.0f : v > 1 ? 1.0f : v;
          if (c == 0) v = v > 1 ? 1.0f : v < 1e-16f ? 0.0f : v;
          ch(out, c) = v;
        } else {
          int32_t q = divisor[c] == -1 ? int32_t(0u - sum) : int32_t(sum) / divisor[c];
          if (!(flags & RX_CONVOLVE_NO_CLAMP)) q = std::clamp<int32_t>(q, 0, blurtest::is8<Px> ? 255 : 32768);
          ch(out, c) = Cv<Px>(q);
        }
      }
      std::memcpy(expected.data() + dst.offset() + size_t(y) * dst.row_bytes() + size_t(x) * sizeof(Px), &out,
                  sizeof out);
    }
  }
}

RX_Err convolve(Picture<RX_Pixel8>& src, Picture<RX_Pixel8>& dst, uint32_t flags, int32_t size,
                const std::vector<int32_t>& k, const RX_ProgressInfo* progress = nullptr) {
  return RX_Convolve(progress, src.world(), nullptr, flags, size, k.data(), k.data(), k.data(), k.data(),
                     dst.world());
}

class Convolve : public rxtest::BornPackage {};

TEST_F(Convolve, SitsInItsSlotAndTheCallbackRoute) {
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_Convolve], reinterpret_cast<RX_OverFunc>(&RX_Convolve));
}

TEST_F(Convolve, KernelSizeOneMultipliesByTheEntryOver256) {
  Picture<RX_Pixel8> src(3, 2), dst(3, 2);
  src.at(0, 0) = {200, 100, 50, 255};
  src.at(2, 1) = {1, 2, 3, 4};
  const std::vector<int32_t> k{128};
  ASSERT_EQ(convolve(src, dst, 0, 1, k), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel8{100, 50, 25, 127}));
  EXPECT_TRUE(rxtest::same_pixel(dst.at(2, 1), RX_Pixel8{0, 1, 1, 2}));
}

TEST_F(Convolve, EvenOrNegativeKernelSizesAndNullPointersAreRefused) {
  Picture<RX_Pixel8> src(4, 4), dst(4, 4);
  dst.at(1, 1) = {9, 9, 9, 9};
  const std::vector<int32_t> k(16, 1);
  for (int32_t size : {2, 4, 0, -1, -3}) {
    ReportCapture capture;
    EXPECT_EQ(convolve(src, dst, 0, size, k), RX_Result_Internal) << size;
    ASSERT_EQ(capture.errors().size(), 1u);
    EXPECT_EQ(capture.errors()[0].location, 0x250008);
    EXPECT_EQ(capture.errors()[0].text, "bad parameter passed to effect callback");
  }
  {
    ReportCapture capture;
    EXPECT_EQ(RX_Convolve(nullptr, src.world(), nullptr, 0, 3, k.data(), nullptr, k.data(), k.data(),
                          dst.world()),
              RX_Result_Internal);
    EXPECT_EQ(RX_Convolve(nullptr, nullptr, nullptr, 0, 3, k.data(), k.data(), k.data(), k.data(),
                          dst.world()),
              RX_Result_Internal);
    EXPECT_EQ(RX_Convolve(nullptr, src.world(), nullptr, 0, 3, k.data(), k.data(), k.data(), k.data(),
                          nullptr),
              RX_Result_Internal);
    EXPECT_EQ(capture.errors().size(), 3u);
    for (const auto& r : capture.errors()) EXPECT_EQ(r.location, 0x250008);
  }
  EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 1), RX_Pixel8{9, 9, 9, 9}));
}

TEST_F(Convolve, WorldsOfTwoDepthsAreRefused) {
  Picture<RX_Pixel8> src(4, 4);
  Picture<RX_Pixel16> dst(4, 4);
  const std::vector<int32_t> k(9, 1);
  ReportCapture capture;
  EXPECT_EQ(RX_Convolve(nullptr, src.world(), nullptr, 0, 3, k.data(), k.data(), k.data(), k.data(),
                        dst.world()),
            RX_Result_Internal);
  ASSERT_EQ(capture.errors().size(), 1u);
  EXPECT_EQ(capture.errors()[0].kind, RXHost_Report_Verification);
  EXPECT_EQ(capture.errors()[0].location, 0x2503E7);
  EXPECT_EQ(capture.errors()[0].text, "RX_Convolve requires source and dst worlds to be same depth");
}

TEST_F(Convolve, NormalizingAZeroSumKernelGivesTheRawSum) {
  // An edge detector: -1 2 -1 along the row.
  Picture<RX_Pixel8> src(3, 1), dst(3, 1);
  src.at(0, 0) = {10, 10, 10, 10};
  src.at(1, 0) = {60, 50, 40, 30};
  src.at(2, 0) = {20, 20, 20, 20};
  const std::vector<int32_t> k{-1, 2, -1};
  ASSERT_EQ(convolve(src, dst, RX_CONVOLVE_1D | RX_CONVOLVE_NORMALIZE, 3, k), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(1, 0), RX_Pixel8{90, 70, 50, 30}));
  // At the edges the missing neighbour counts as black: 2 × 10 - 60.
  EXPECT_EQ(dst.at(0, 0).alpha, 0);  // -40, limited
  EXPECT_EQ(dst.at(2, 0).alpha, 0);  // 40 - 60 = -20, limited
  ASSERT_EQ(convolve(src, dst, RX_CONVOLVE_1D | RX_CONVOLVE_NORMALIZE | RX_CONVOLVE_NO_CLAMP, 3, k),
            RX_Result_OK);
  EXPECT_EQ(dst.at(0, 0).alpha, uint8_t(-40));
  EXPECT_EQ(dst.at(2, 0).blue, uint8_t(40 - 30));
}

TEST_F(Convolve, TheWindowIsClippedWithoutRenormalizing) {
  Picture<RX_Pixel8> src(2, 2), dst(2, 2);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 2; ++x) src.at(x, y) = {255, 255, 255, 255};
  const std::vector<int32_t> k(9, 256);
  ASSERT_EQ(convolve(src, dst, 0, 3, k), RX_Result_OK);
  // Four of nine entries fall inside: 4 × 255 × 256 / (9 × 256).
  EXPECT_EQ(dst.at(0, 0).red, 4 * 255 / 9);
}

TEST_F(Convolve, OneDimensionalKernelsRunAlongRowsOrColumns) {
  Picture<RX_Pixel8> src(3, 3), dst(3, 3);
  src.at(1, 0) = {90, 90, 90, 90};
  const std::vector<int32_t> k{256, 256, 256};
  ASSERT_EQ(convolve(src, dst, RX_CONVOLVE_1D, 3, k), RX_Result_OK);
  EXPECT_EQ(dst.at(0, 0).red, 30);
  EXPECT_EQ(dst.at(1, 1).red, 0);
  ASSERT_EQ(convolve(src, dst, RX_CONVOLVE_1D | RX_CONVOLVE_VERTICAL, 3, k), RX_Result_OK);
  EXPECT_EQ(dst.at(0, 0).red, 0);
  EXPECT_EQ(dst.at(1, 1).red, 30);
  // The vertical bit alone changes nothing: the kernel is square.
  const std::vector<int32_t> square(9, 256);
  ASSERT_EQ(convolve(src, dst, RX_CONVOLVE_VERTICAL, 3, square), RX_Result_OK);
  EXPECT_EQ(dst.at(0, 1).red, 10);
}

TEST_F(Convolve, FloatAlphaIsLimitedEvenWithoutClamping) {
  Picture<RX_PixelFloat> src(1, 1), dst(1, 1);
  src.at(0, 0) = {3.0f, 3.0f, -2.0f, 1e-20f};
  const std::vector<int32_t> k{256};
  ASSERT_EQ(RX_Convolve(nullptr, src.world(), nullptr, RX_CONVOLVE_NO_CLAMP, 1, k.data(), k.data(), k.data(),
                        k.data(), dst.world()),
            RX_Result_OK);
  EXPECT_EQ(dst.at(0, 0).alpha, 1.0f);
  EXPECT_EQ(dst.at(0, 0).red, 3.0f);
  EXPECT_EQ(dst.at(0, 0).green, -2.0f);
  src.at(0, 0).alpha = 1e-17f;
  ASSERT_EQ(RX_Convolve(nullptr, src.world(), nullptr, RX_CONVOLVE_NO_CLAMP, 1, k.data(), k.data(), k.data(),
                        k.data(), dst.world()),
            RX_Result_OK);
  EXPECT_EQ(dst.at(0, 0).alpha, 0.0f);
  ASSERT_EQ(RX_Convolve(nullptr, src.world(), nullptr, 0, 1, k.data(), k.data(), k.data(), k.data(),
                        dst.world()),
            RX_Result_OK);
  EXPECT_EQ(dst.at(0, 0).red, 1.0f);
  EXPECT_EQ(dst.at(0, 0).green, 0.0f);
}

struct ProgressLog {
  std::vector<std::pair<int32_t, int32_t>> calls;
  RX_Err answer = RX_Result_OK;
  int32_t answer_at = -1;  // the call that answers non-zero
};

RX_Err log_progress(void* refcon, int32_t current, int32_t total) {
  auto* log = static_cast<ProgressLog*>(refcon);
  log->calls.push_back({current, total});
  return int32_t(log->calls.size()) - 1 == log->answer_at ? log->answer : RX_Result_OK;
}

RX_Err never_abort(void*) { return 1234; }

TEST_F(Convolve, ProgressComesWhenTheWorkCounterPasses2048) {
  Picture<RX_Pixel8> src(10, 100), dst(10, 100);
  const std::vector<int32_t> k(9, 1);
  ProgressLog log;
  const RX_ProgressInfo progress{&log, &never_abort, &log_progress};
  ASSERT_EQ(convolve(src, dst, 0, 3, k, &progress), RX_Result_OK);
  // 100 to start, 90 a row: past 2048 after row 22, then every 23 rows.
  const std::vector<std::pair<int32_t, int32_t>> expected{{22, 100}, {45, 100}, {68, 100}, {91, 100}};
  EXPECT_EQ(log.calls, expected);
}

TEST_F(Convolve, ANonZeroProgressAnswerEndsTheWork) {
  Picture<RX_Pixel8> src(10, 100), dst(10, 100);
  for (int y = 0; y < 100; ++y)
    for (int x = 0; x < 10; ++x) src.at(x, y) = {200, 200, 200, 200};
  const std::vector<int32_t> k(9, 256);
  ProgressLog log;
  log.answer = RX_Result_Interrupted;
  log.answer_at = 1;
  const RX_ProgressInfo progress{&log, nullptr, &log_progress};
  EXPECT_EQ(convolve(src, dst, 0, 3, k, &progress), RX_Result_Interrupted);
  EXPECT_EQ(log.calls.size(), 2u);
  EXPECT_EQ(dst.at(5, 44).red, 200);  // row 45 was the last one written
  EXPECT_EQ(dst.at(5, 45).red, 0);  // never written
}

TEST_F(Convolve, AnAbortCallbackAloneIsNeverAsked) {
  Picture<RX_Pixel8> src(10, 100), dst(10, 100);
  const std::vector<int32_t> k(9, 1);
  const RX_ProgressInfo progress{nullptr, &never_abort, nullptr};
  EXPECT_EQ(convolve(src, dst, 0, 3, k, &progress), RX_Result_OK);
}

// Holds a convolution run form (plain or AVX2) in its place for a scope.
class RunForm {
 public:
  RunForm(const char* name, bool vector) : variant_(rx::find_variant(name)) {
    previous_ = *variant_->slot;
    *variant_->slot = vector ? variant_->vector : variant_->plain;
  }
  ~RunForm() { *variant_->slot = previous_; }

 private:
  const rx::Variant* variant_;
  RX_OverFunc previous_;
};

template <class Px>
const char* run_name() {
  return blurtest::is8<Px> ? "convolve.run8" : blurtest::is16<Px> ? "convolve.run16" : "convolve.run_float";
}

template <class Px>
class ConvolveDepths : public rxtest::BornPackage {};
TYPED_TEST_SUITE(ConvolveDepths, rxtest::AllPixelTypes);

TYPED_TEST(ConvolveDepths, EveryFormMatchesTheRuleOnRandomPictures) {
  using Px = TypeParam;
  std::mt19937 rng(20240615);
  const bool vector_runs = rxtest::processor_runs(run_name<Px>());
  for (int round = 0; round < 40; ++round) {
    const int32_t w = 1 + int32_t(rng() % 37), h = 1 + int32_t(rng() % 9);
    // Sometimes a source of another size: reads stay inside both.
    const int32_t sw = rng() % 4 == 0 ? 1 + int32_t(rng() % 40) : w;
    const int32_t sh = rng() % 4 == 0 ? 1 + int32_t(rng() % 12) : h;
    Picture<Px> src(sw, sh, int32_t(sizeof(Px)) * int32_t(rng() % 3), int32_t(rng() % 4) * 4);
    Picture<Px> dst(w, h, int32_t(rng() % 3) * 4, int32_t(rng() % 2) * 4);
    blurtest::fill_random(src, rng, false);
    const int32_t size = 1 + 2 * int32_t(rng() % 5);
    const uint32_t flags = uint32_t(rng() % 64) & (RX_CONVOLVE_1D | RX_CONVOLVE_NORMALIZE | RX_CONVOLVE_NO_CLAMP |
                                                   RX_CONVOLVE_VERTICAL);
    std::vector<int32_t> kernels[4];
    const int kind = int(rng() % 4);
    for (auto& k : kernels) {
      k.resize(size_t(size) * size);
      for (auto& e : k) {
        if (kind == 0) e = int32_t(rng() % 512);                          // positive
        else if (kind == 1) e = int32_t(rng() % 64) - 32;                 // edges, sums near 0
        else if (kind == 2) e = int32_t(rng() % 200000) - 100000;         // beyond 16 bits
        else e = int32_t(rng());                                          // sums that wrap
      }
    }
    std::vector<uint8_t> expected = dst.storage();
    reference_convolve(src, dst, expected, flags, size, kernels);
    for (bool vector : {false, true}) {
      if (vector && !vector_runs) continue;
      RunForm form(run_name<Px>(), vector);
      ASSERT_EQ(RX_Convolve(nullptr, src.world(), nullptr, flags, size, kernels[0].data(), kernels[1].data(),
                            kernels[2].data(), kernels[3].data(), dst.world()),
                RX_Result_OK);
      ASSERT_TRUE(dst.storage() == expected)
          << "round " << round << " vector " << vector << " size " << size << " flags " << flags << " kind "
          << kind << " " << w << "x" << h << " from " << sw << "x" << sh;
    }
  }
}

TYPED_TEST(ConvolveDepths, WideRowsTakeTheVectorRunAndMatchThePlainOne) {
  using Px = TypeParam;
  if (!rxtest::processor_runs(run_name<Px>())) GTEST_SKIP() << "no AVX2 here";
  std::mt19937 rng(7);
  for (int32_t size : {3, 5, 11}) {
    Picture<Px> src(67, 14, 12, 4), dst(67, 14, 0, 8);
    blurtest::fill_random(src, rng, true);
    std::vector<int32_t> k(size_t(size) * size);
    for (auto& e : k) e = int32_t(rng() % 300);
    std::vector<uint8_t> plain;
    for (bool vector : {false, true}) {
      RunForm form(run_name<Px>(), vector);
      ASSERT_EQ(RX_Convolve(nullptr, src.world(), nullptr, 0, size, k.data(), k.data(), k.data(), k.data(),
                            dst.world()),
                RX_Result_OK);
      if (!vector) plain = dst.storage();
      else EXPECT_TRUE(dst.storage() == plain) << size;
    }
  }
}

}  // namespace
