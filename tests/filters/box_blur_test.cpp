#include <gtest/gtest.h>

#include <random>

#include "RX.h"
#include "blur_reference.h"
#include "blur_test_support.h"
#include "filters/box_scans.h"
#include "rx_test_support.h"
#include "variant_forms.h"

namespace {

using blurtest::BlurParams;
using blurtest::ch;
using blurtest::Cv;
using blurtest::Kind;
using blurtest::Picture;

template <class Px>
class BoxBlur : public rxtest::BornPackage {};
TYPED_TEST_SUITE(BoxBlur, rxtest::AllPixelTypes);

template <class Px>
Cv<Px> white() {
  if constexpr (blurtest::isF<Px>) return 1.0f;
  else return Cv<Px>(blurtest::is8<Px> ? 255 : 32768);
}

template <class Px>
const char* packed_name() {
  return blurtest::is8<Px> ? "box_blur.premultiplied8.all"
         : blurtest::is16<Px> ? "box_blur.premultiplied16.all"
                              : "box_blur.premultiplied_float.all";
}

TEST(BoxBlur8, AnIntegerRadiusIsAPureBoxWithoutEdgeTerms) {
  rxtest::Born born;
  blurtest::FamilyForms plain("box_blur", false);
  Picture<RX_Pixel8> src(9, 1), dst(9, 1);
  const uint8_t values[9] = {0, 10, 20, 30, 200, 7, 9, 250, 3};
  for (int32_t x = 0; x < 9; ++x) src.at(x, 0) = {values[x], values[x], values[x], values[x]};
  BlurParams p;
  p.radius = 2.0f;
  p.src_premultiplied = 1;
  p.dst_premultiplied = 1;
  blurtest::run_blur(Kind::kBox, src, dst, p);
  // frac = 0: total 5 × 1024, each output the rounded mean of five.
  for (int32_t x = 0; x < 9; ++x) {
    int32_t sum = 0;
    for (int32_t i = x - 2; i <= x + 2; ++i) sum += i >= 0 && i < 9 ? values[i] : 0;
    EXPECT_EQ(dst.at(x, 0).red, (sum * 1024 + 5 * 512) / (5 * 1024)) << x;
  }
}

TEST(BoxBlur8, FractionalEndsWeighLess) {
  rxtest::Born born;
  blurtest::FamilyForms plain("box_blur", false);
  Picture<RX_Pixel8> src(5, 1), dst(5, 1);
  src.at(0, 0) = {255, 255, 255, 255};
  BlurParams p;
  p.radius = 1.5f;  // R 2, frac 512: the samples two away weigh a half
  p.src_premultiplied = 1;
  p.dst_premultiplied = 1;
  blurtest::run_blur(Kind::kBox, src, dst, p);
  // total (2 << 11) - 1024 + 1024 = 4096
  EXPECT_EQ(dst.at(1, 0).red, (255 * 1024 + 2048) / 4096);
  EXPECT_EQ(dst.at(2, 0).red, (255 * 1024 - 512 * 255 + 2048) / 4096);
  EXPECT_EQ(dst.at(3, 0).red, 0);
}

TYPED_TEST(BoxBlur, ZeroPassesWriteNothingInsideTheSource) {
  using Px = TypeParam;
  std::mt19937 rng(2);
  Picture<Px> src(6, 3), dst(6, 5);
  blurtest::fill_random(src, rng, true);
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 6; ++x) dst.at(x, y) = Px{white<Px>(), 0, 0, white<Px>()};
  BlurParams p;
  p.passes = 0;
  p.src_premultiplied = 1;
  blurtest::run_blur(Kind::kBox, src, dst, p);
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 6; ++x) EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), Px{white<Px>(), 0, 0, white<Px>()}));
  // Lines outside the source are still cleared.
  for (int32_t y = 3; y < 5; ++y)
    for (int32_t x = 0; x < 6; ++x) EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), Px{}));
}

TYPED_TEST(BoxBlur, ALineOutsideTheSourceIsZeroInEveryChannel) {
  using Px = TypeParam;
  const Px full{white<Px>(), white<Px>(), white<Px>(), white<Px>()};
  Picture<Px> src(4, 5), dst(3, 5);
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 4; ++x) src.at(x, y) = full;
    for (int32_t x = 0; x < 3; ++x) dst.at(x, y) = full;
  }
  BlurParams p;
  p.channels = RX_BLUR_BLUE;
  p.src_vertical = 1;  // source columns 0..3 feed destination rows 0..3
  p.src_premultiplied = 1;
  blurtest::run_blur(Kind::kBox, src, dst, p);
  for (int32_t x = 0; x < 3; ++x) {
    EXPECT_TRUE(rxtest::same_pixel(dst.at(x, 4), Px{})) << x;
    EXPECT_EQ(dst.at(x, 0).alpha, white<Px>()) << x;  // unselected, from the source
  }
  Picture<Px> narrow(3, 2), tall(3, 5);
  p.src_vertical = 0;
  blurtest::run_blur(Kind::kBox, narrow, tall, p);
  for (int32_t y = 2; y < 5; ++y)
    for (int32_t x = 0; x < 3; ++x) EXPECT_TRUE(rxtest::same_pixel(tall.at(x, y), Px{}));
}

TEST(BoxBlur8, StraightOutputWithAZeroAlphaSumHasZeroColour) {
  rxtest::Born born;
  Picture<RX_Pixel8> src(7, 1), dst(7, 1);
  for (int32_t x = 0; x < 7; ++x) src.at(x, 0) = {0, 200, 100, 50};
  BlurParams p;
  p.radius = 1.25f;
  p.passes = 2;
  p.src_premultiplied = 1;
  blurtest::run_blur(Kind::kBox, src, dst, p);
  for (int32_t x = 0; x < 7; ++x) EXPECT_TRUE(rxtest::same_pixel(dst.at(x, 0), RX_Pixel8{0, 0, 0, 0})) << x;
}

TYPED_TEST(BoxBlur, BeyondTheSourceEdgeUnselectedChannelsAreZeroAndSelectedOnesWhatTheBoxReaches) {
  using Px = TypeParam;
  Picture<Px> src(4, 1), dst(11, 1);
  for (int32_t x = 0; x < 4; ++x) src.at(x, 0) = Px{white<Px>(), white<Px>(), white<Px>(), white<Px>()};
  BlurParams p;
  p.radius = 1.0f;
  p.passes = 2;
  p.channels = RX_BLUR_ALPHA | RX_BLUR_BLUE;
  p.src_premultiplied = 1;
  p.dst_premultiplied = 1;
  blurtest::run_blur(Kind::kBox, src, dst, p);
  EXPECT_GT(dst.at(5, 0).alpha, 0);  // two passes of radius 1 reach two past the edge
  EXPECT_GT(dst.at(5, 0).blue, 0);
  EXPECT_EQ(dst.at(6, 0).alpha, 0);
  for (int32_t x = 4; x < 11; ++x) {
    EXPECT_EQ(dst.at(x, 0).red, 0);
    EXPECT_EQ(dst.at(x, 0).green, 0);
  }
  blurtest::expect_matches_reference(Kind::kBox, src, dst, p);
}

TYPED_TEST(BoxBlur, DifferentLineAxesTranspose) {
  using Px = TypeParam;
  std::mt19937 rng(4);
  Picture<Px> src(7, 3), dst(3, 7);
  blurtest::fill_random(src, rng, true);
  // Float alpha above 1 would be limited; keep it in range for the copy.
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 7; ++x) src.at(x, y).alpha = std::min(src.at(x, y).alpha, white<Px>());
  BlurParams p;
  p.radius = 0.0f;
  p.src_premultiplied = 1;
  p.dst_premultiplied = 1;
  p.dst_vertical = 1;
  {
    blurtest::FamilyForms plain("box_blur", false);
    blurtest::run_blur(Kind::kBox, src, dst, p);
    for (int32_t y = 0; y < 3; ++y)
      for (int32_t x = 0; x < 7; ++x) EXPECT_TRUE(rxtest::same_pixel(dst.at(y, x), src.at(x, y)));
  }
  p.radius = 2.5f;
  p.passes = 3;
  blurtest::FamilyForms plain("box_blur", false);
  blurtest::expect_matches_reference(Kind::kBox, src, dst, p);
}

TYPED_TEST(BoxBlur, SpansShrinkTowardTheDestinationWithoutChangingIt) {
  using Px = TypeParam;
  std::mt19937 rng(6);
  // A long source line and a short destination far inside it: copying
  // takes only what three passes can carry there.
  Picture<Px> src(120, 2), dst(10, 2, 0, 0, 55, 0);
  blurtest::fill_random(src, rng, false);
  BlurParams p;
  p.radius = 3.5f;
  p.passes = 3;
  for (bool force : {false, true}) {
    p.force_copy = force;
    for (uint32_t premultiplied : {0u, 1u}) {
      p.src_premultiplied = int32_t(premultiplied);
      blurtest::FamilyForms plain("box_blur", false);
      blurtest::expect_matches_reference(Kind::kBox, src, dst, p);
    }
  }
}

TYPED_TEST(BoxBlur, RandomCallsMatchTheRuleWithScalarPasses) {
  using Px = TypeParam;
  blurtest::FamilyForms plain("box_blur", false);
  std::mt19937 rng(31337 + sizeof(Px));
  for (int round = 0; round < 300; ++round) {
    const blurtest::RandomCase c = blurtest::random_case(rng, int32_t(sizeof(Px)), Kind::kBox);
    Picture<Px> src(c.src_w, c.src_h, c.src_pad, c.src_mis, c.src_ox, c.src_oy);
    Picture<Px> dst(c.dst_w, c.dst_h, c.dst_pad, c.dst_mis, c.dst_ox, c.dst_oy);
    blurtest::fill_random(src, rng, c.p.src_premultiplied != 0);
    blurtest::expect_matches_reference(Kind::kBox, src, dst, c.p, "round " + std::to_string(round));
    if (this->HasFailure()) return;
  }
}

TYPED_TEST(BoxBlur, RandomCallsMatchThePackedRoundingWithSSE2) {
  using Px = TypeParam;
  if (!rxtest::processor_runs(packed_name<Px>())) GTEST_SKIP() << "no SSE2 here";
  blurtest::FamilyForms packed("box_blur", true);
  std::mt19937 rng(4242 + sizeof(Px));
  for (int round = 0; round < 300; ++round) {
    blurtest::RandomCase c = blurtest::random_case(rng, int32_t(sizeof(Px)), Kind::kBox);
    c.p.packed = true;
    Picture<Px> src(c.src_w, c.src_h, c.src_pad, c.src_mis, c.src_ox, c.src_oy);
    Picture<Px> dst(c.dst_w, c.dst_h, c.dst_pad, c.dst_mis, c.dst_ox, c.dst_oy);
    blurtest::fill_random(src, rng, c.p.src_premultiplied != 0);
    blurtest::expect_matches_reference(Kind::kBox, src, dst, c.p, "round " + std::to_string(round));
    if (this->HasFailure()) return;
  }
}

// One line through a scan form, on a random line.
template <class Px>
std::vector<Px> scan_line(rx::BoxScan scan, const std::vector<Px>& in, float radius, int32_t channels,
                          int32_t form, int32_t start, int32_t out_length) {
  std::vector<Px> out(size_t(out_length), Px{});
  const rx::BoxScanArgs args{radius, int32_t(std::ceil(radius)), channels, in.data(), int32_t(in.size()), 1,
                             out.data(), out_length, 1, form, start};
  scan(&args);
  return out;
}

template <class Px>
bool same_line(const std::vector<Px>& a, const std::vector<Px>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(Px)) == 0;
}

TYPED_TEST(BoxBlur, TheThreeScalarFormsAgree) {
  using Px = TypeParam;
  using rx::BoxForm;
  std::mt19937 rng(77);
  for (int round = 0; round < 200; ++round) {
    std::vector<Px> in(size_t(1 + rng() % 40));
    for (auto& px : in)
      for (int k = 0; k < 4; ++k) ch(px, k) = blurtest::random_value<Px>(rng);
    const float radius = float(rng() % 40) / 8.0f;
    const int32_t form = int32_t(rng() % 2);
    const int32_t start = int32_t(rng() % 20) - 10;
    const int32_t length = int32_t(rng() % 50);
    const int32_t renorm = rng() % 2 ? RX_BLUR_RENORMALIZE : 0;
    const auto subset = &rx::box_scan<Px, BoxForm::kSubset>;
    EXPECT_TRUE(same_line(scan_line<Px>(&rx::box_scan<Px, BoxForm::kAlphaOnly>, in, radius, 1 | renorm, form, start, length),
                          scan_line<Px>(subset, in, radius, 1 | renorm, form, start, length)));
    EXPECT_TRUE(same_line(scan_line<Px>(&rx::box_scan<Px, BoxForm::kAllFour>, in, radius, 15 | renorm, form, start, length),
                          scan_line<Px>(subset, in, radius, 15 | renorm, form, start, length)));
  }
}

TYPED_TEST(BoxBlur, TheThreePackedFormsAgree) {
  using Px = TypeParam;
  using rx::BoxForm;
  if (!rxtest::processor_runs(packed_name<Px>())) GTEST_SKIP() << "no SSE2 here";
  std::mt19937 rng(78);
  for (int round = 0; round < 200; ++round) {
    std::vector<Px> in(size_t(1 + rng() % 40));
    for (auto& px : in)
      for (int k = 0; k < 4; ++k) ch(px, k) = blurtest::random_value<Px>(rng);
    const float radius = float(rng() % 40) / 8.0f;
    const int32_t start = int32_t(rng() % 20) - 10;
    const int32_t length = int32_t(rng() % 50);
    const int32_t renorm = rng() % 2 ? RX_BLUR_RENORMALIZE : 0;
    const auto subset = &rx::box_scan_sse2<Px, BoxForm::kSubset>;
    EXPECT_TRUE(same_line(scan_line<Px>(&rx::box_scan_sse2<Px, BoxForm::kAlphaOnly>, in, radius, 1 | renorm, 1, start, length),
                          scan_line<Px>(subset, in, radius, 1 | renorm, 1, start, length)));
    EXPECT_TRUE(same_line(scan_line<Px>(&rx::box_scan_sse2<Px, BoxForm::kAllFour>, in, radius, 15 | renorm, 1, start, length),
                          scan_line<Px>(subset, in, radius, 15 | renorm, 1, start, length)));
  }
}

TYPED_TEST(BoxBlur, AStraightFormInThePackedLoopIsReportedAndRefused) {
  using Px = TypeParam;
  using rx::BoxForm;
  std::vector<Px> in(4), out(4);
  const rx::BoxScanArgs args{1.0f, 1, 15, in.data(), 4, 1, out.data(), 4, 1, 0, 0};
  rxtest::ReportCapture capture;
  try {
    rx::box_scan_sse2<Px, BoxForm::kAllFour>(&args);
    ADD_FAILURE() << "nothing thrown";
  } catch (RX_Err err) {
    EXPECT_EQ(err, RX_Result_Internal);
  }
  ASSERT_EQ(capture.errors().size(), 1u);
  EXPECT_EQ(capture.errors()[0].kind, RXHost_Report_Verification);
  EXPECT_EQ(capture.errors()[0].text, "untested SSE2 codepath in blur");
}

TYPED_TEST(BoxBlur, BirthPutsThePackedFormsWhereTheProcessorHasSSE2) {
  using Px = TypeParam;
  const rx::Variant* v = rx::find_variant(packed_name<Px>());
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->needs, rx::kNeedsSSE2);
  if (KO_G_CPU_DataP[2]) {
    EXPECT_EQ(*v->slot, v->vector);
  } else {
    EXPECT_EQ(*v->slot, v->plain);
  }
}

TYPED_TEST(BoxBlur, AFlatLineStaysFlatInsideLongBoxes) {
  using Px = TypeParam;
  // The running sums stay balanced however far the box reaches.
  const std::vector<Px> flat(400, Px{white<Px>(), white<Px>(), white<Px>(), white<Px>()});
  for (float radius : {1.0f, 10.0f, 90.0f, 150.0f}) {
    for (int32_t form : {0, 1}) {
      const auto out = scan_line<Px>(&rx::box_scan<Px, rx::BoxForm::kAllFour>, flat, radius, 15, form, 0, 400);
      EXPECT_EQ(out[200].alpha, white<Px>()) << radius;
      EXPECT_EQ(out[200].green, white<Px>()) << radius;
    }
  }
}

}  // namespace
