// Alpha guessing on made images: straight layers, layers premultiplied by
// the package against white, black, grey and another colour, fully opaque
// and fully transparent images; the scan's statistics on a small image
// worked by hand; bitmaps, locked for the scan, in both channel orders.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "rx_test_support.h"

namespace {

using rxtest::TestWorld;

constexpr int32_t kW = 24, kH = 20;

// A disc: opaque in the middle, a soft rim of every alpha from 254 down,
// transparent outside. Colours follow a gradient everywhere, the
// transparent part included, as straight images often have them.
void make_disc(TestWorld<RX_Pixel8>& w) {
  for (int32_t y = 0; y < kH; ++y) {
    for (int32_t x = 0; x < kW; ++x) {
      const int32_t d2 = (x - 12) * (x - 12) + (y - 10) * (y - 10);
      const int32_t alpha = d2 < 25 ? 255 : d2 >= 81 ? 0 : 255 - (d2 - 25) * 255 / 56;
      w.at(x, y) = {uint8_t(alpha), uint8_t(x * 10), uint8_t(y * 12), uint8_t(250 - x * 5 - y * 3)};
    }
  }
}

struct Guess {
  RX_Err err;
  uint32_t status;
  RX_Pixel8 colour;
  std::string message;
};

constexpr RX_Pixel8 kUntouched{1, 2, 3, 4};

Guess guess(const RX_LayerDef* layer, ZW_World image = nullptr) {
  Guess g{0, 99, kUntouched, {}};
  char message[256];
  std::memset(message, 'x', sizeof message);
  message[255] = 0;
  g.err = RX_GuessAlphaMessage(nullptr, layer, image, &g.status, &g.colour, message);
  g.message = message;
  return g;
}

void expect_pixel(const RX_Pixel8& got, const RX_Pixel8& want) {
  EXPECT_EQ(got.alpha, want.alpha);
  EXPECT_EQ(got.red, want.red);
  EXPECT_EQ(got.green, want.green);
  EXPECT_EQ(got.blue, want.blue);
}

class GuessAlpha : public rxtest::BornPackage {
 protected:
  // The disc premultiplied against colour by the package.
  TestWorld<RX_Pixel8> premultiplied(RX_Pixel8 matte) {
    TestWorld<RX_Pixel8> straight(kW, kH), out(kW, kH, 8);
    make_disc(straight);
    EXPECT_EQ(RX_PremulColor(nullptr, straight.def(), &matte, 1, out.def()), RX_Result_OK);
    return out;
  }
};

TEST_F(GuessAlpha, StraightDiscIsStraight) {
  TestWorld<RX_Pixel8> disc(kW, kH, 12, 4);
  make_disc(disc);
  const Guess g = guess(disc.def());
  EXPECT_EQ(g.err, RX_Result_OK);
  EXPECT_EQ(g.status, uint32_t{RX_GuessAlpha_Straight});
  expect_pixel(g.colour, kUntouched);
  EXPECT_EQ(g.message, "");
}

TEST_F(GuessAlpha, PremultipliedAgainstWhiteIsFound) {
  auto layer = premultiplied({255, 255, 255, 255});
  const Guess g = guess(layer.def());
  EXPECT_EQ(g.status, uint32_t{RX_GuessAlpha_Premultiplied});
  expect_pixel(g.colour, {255, 255, 255, 255});
  EXPECT_EQ(g.message, "");
}

TEST_F(GuessAlpha, PremultipliedAgainstBlackIsFound) {
  auto layer = premultiplied({255, 0, 0, 0});
  const Guess g = guess(layer.def());
  EXPECT_EQ(g.status, uint32_t{RX_GuessAlpha_Premultiplied});
  expect_pixel(g.colour, {255, 0, 0, 0});
}

TEST_F(GuessAlpha, PremultipliedAgainstGreyFindsTheGrey) {
  auto layer = premultiplied({255, 128, 128, 128});
  const Guess g = guess(layer.def());
  EXPECT_EQ(g.status, uint32_t{RX_GuessAlpha_Premultiplied});
  expect_pixel(g.colour, {255, 128, 128, 128});
}

TEST_F(GuessAlpha, PremultipliedAgainstAColourFindsTheColour) {
  auto layer = premultiplied({0, 40, 200, 90});  // the matte's alpha is not read
  const Guess g = guess(layer.def());
  EXPECT_EQ(g.status, uint32_t{RX_GuessAlpha_Premultiplied});
  expect_pixel(g.colour, {255, 40, 200, 90});
}

TEST_F(GuessAlpha, FullyTransparentImageIsUnableWithTheMessage) {
  TestWorld<RX_Pixel8> layer(kW, kH);
  for (int32_t y = 0; y < kH; ++y) {
    for (int32_t x = 0; x < kW; ++x) layer.at(x, y) = {0, uint8_t(x), 7, 9};
  }
  const Guess g = guess(layer.def());
  EXPECT_EQ(g.err, RX_Result_OK);
  EXPECT_EQ(g.status, uint32_t{RX_GuessAlpha_Unable});
  expect_pixel(g.colour, kUntouched);
  EXPECT_EQ(g.message, "Unable to guess alpha channel.");
}

// Every non-zero alpha 255: there is no min_alpha pixel, min_alpha stays
// 255, and the found-matte test against it passes for any pixel. Varied
// colours then come out as premultiplied against the empty histograms'
// peak, black, which is the same as straight for opaque pixels.
TEST_F(GuessAlpha, FullyOpaqueVariedImageTakesTheEmptyHistogramsPeak) {
  TestWorld<RX_Pixel8> layer(kW, kH);
  make_disc(layer);
  for (int32_t y = 0; y < kH; ++y) {
    for (int32_t x = 0; x < kW; ++x) layer.at(x, y).alpha = 255;
  }
  RX_GuessAlphaStats stats;
  ASSERT_EQ(RXp_GuessAlphaScan(layer.def(), nullptr, &stats), RX_Result_OK);
  EXPECT_EQ(stats.min_alpha, 255);
  EXPECT_EQ(stats.min_alpha_pixel, nullptr);
  EXPECT_EQ(stats.transparent_count, 0u);
  const Guess g = guess(layer.def());
  EXPECT_EQ(g.status, uint32_t{RX_GuessAlpha_Premultiplied});
  expect_pixel(g.colour, {255, 0, 0, 0});
}

TEST_F(GuessAlpha, FullyOpaqueFlatImageIsStraight) {
  TestWorld<RX_Pixel8> layer(kW, kH);
  for (int32_t y = 0; y < kH; ++y) {
    for (int32_t x = 0; x < kW; ++x) layer.at(x, y) = {255, 200, 100, 50};
  }
  const Guess g = guess(layer.def());
  EXPECT_EQ(g.status, uint32_t{RX_GuessAlpha_Straight});  // nothing varies
}

TEST_F(GuessAlpha, NoTransparentPixelFailsWhiteAndBlackAndUsuallyTheFoundMatte) {
  TestWorld<RX_Pixel8> layer(3, 1);
  layer.at(0, 0) = {255, 10, 10, 10};
  layer.at(1, 0) = {100, 250, 10, 10};  // the min_alpha pixel: red is 250 from 0
  layer.at(2, 0) = {255, 20, 10, 10};
  EXPECT_EQ(guess(layer.def()).status, uint32_t{RX_GuessAlpha_Straight});
  // Unless the colours happen to match: within min_alpha + 1 of black.
  layer.at(1, 0) = {100, 101, 60, 0};
  const Guess g = guess(layer.def());
  EXPECT_EQ(g.status, uint32_t{RX_GuessAlpha_Premultiplied});
  expect_pixel(g.colour, {255, 0, 0, 0});
  layer.at(1, 0) = {100, 102, 60, 0};
  EXPECT_EQ(guess(layer.def()).status, uint32_t{RX_GuessAlpha_Straight});
}

TEST_F(GuessAlpha, StraightWithBlackUnderTransparentIsStraight) {
  TestWorld<RX_Pixel8> layer(kW, kH);
  make_disc(layer);
  for (int32_t y = 0; y < kH; ++y) {
    for (int32_t x = 0; x < kW; ++x) {
      if (layer.at(x, y).alpha == 0) layer.at(x, y) = {0, 0, 0, 0};
    }
  }
  // Colours above their alpha fail the black matte; the faintest pixel's
  // colour is far from black, which fails the found matte.
  RX_GuessAlphaStats stats;
  ASSERT_EQ(RXp_GuessAlphaScan(layer.def(), nullptr, &stats), RX_Result_OK);
  EXPECT_EQ(stats.black_count, stats.transparent_count);
  EXPECT_EQ(stats.colour_exceeds_alpha, 1);
  EXPECT_EQ(guess(layer.def()).status, uint32_t{RX_GuessAlpha_Straight});
}

TEST_F(GuessAlpha, StraightWithWhiteUnderTransparentIsStraight) {
  TestWorld<RX_Pixel8> layer(kW, kH);
  make_disc(layer);
  for (int32_t y = 0; y < kH; ++y) {
    for (int32_t x = 0; x < kW; ++x) {
      RX_Pixel8& p = layer.at(x, y);
      if (p.alpha == 0) p = {0, 255, 255, 255};
      else p.red = p.green = p.blue = 20;  // dark: 255 - 20 is above every rim alpha
    }
  }
  EXPECT_EQ(guess(layer.def()).status, uint32_t{RX_GuessAlpha_Straight});
}

TEST_F(GuessAlpha, GuessAlphaIsTheMessageFormWithoutAMessage) {
  auto layer = premultiplied({255, 128, 128, 128});
  uint32_t status = 99;
  RX_Pixel8 colour = kUntouched;
  EXPECT_EQ(RX_GuessAlpha(nullptr, layer.def(), nullptr, &status, &colour), RX_Result_OK);
  EXPECT_EQ(status, uint32_t{RX_GuessAlpha_Premultiplied});
  expect_pixel(colour, {255, 128, 128, 128});
  TestWorld<RX_Pixel8> empty(2, 2);
  EXPECT_EQ(RX_GuessAlpha(nullptr, empty.def(), nullptr, &status, &colour), RX_Result_OK);
  EXPECT_EQ(status, uint32_t{RX_GuessAlpha_Unable});
}

TEST(GuessAlphaScan, StatisticsOfASmallImage) {
  TestWorld<RX_Pixel8> layer(3, 2, 4);
  layer.at(0, 0) = {0, 255, 255, 255};
  layer.at(1, 0) = {0, 0, 0, 0};
  layer.at(2, 0) = {128, 100, 50, 200};  // blue above alpha
  layer.at(0, 1) = {0, 10, 20, 30};
  layer.at(1, 1) = {64, 1, 2, 3};
  layer.at(2, 1) = {255, 9, 9, 9};
  RX_GuessAlphaStats s;
  std::memset(&s, 0x5A, sizeof s);
  ASSERT_EQ(RXp_GuessAlphaScan(layer.def(), nullptr, &s), RX_Result_OK);
  EXPECT_EQ(s.transparent_count, 3u);
  EXPECT_EQ(s.white_count, 1u);
  EXPECT_EQ(s.black_count, 1u);
  EXPECT_EQ(s.other_count, 1u);
  EXPECT_EQ(s.opaque_count, 3u);
  EXPECT_EQ(s.transparent_varies, 1);
  EXPECT_EQ(s.opaque_varies, 1);
  EXPECT_EQ(s.colour_exceeds_alpha, 1);
  EXPECT_EQ(s.min_alpha, 64);
  EXPECT_EQ(s.min_alpha_pixel, &layer.at(1, 1));
  for (int i = 0; i < 256; ++i) {
    const uint32_t red = (i == 255 || i == 0 || i == 10) ? 1 : 0;
    const uint32_t green = (i == 255 || i == 0 || i == 20) ? 1 : 0;
    const uint32_t blue = (i == 255 || i == 0 || i == 30) ? 1 : 0;
    EXPECT_EQ(s.hist_red[i], red) << i;
    EXPECT_EQ(s.hist_green[i], green) << i;
    EXPECT_EQ(s.hist_blue[i], blue) << i;
  }
}

TEST(GuessAlphaScan, TransparentPixelsVaryFromThreeUpAndOpaqueOnesFromOne) {
  TestWorld<RX_Pixel8> layer(4, 1);
  layer.at(0, 0) = {0, 100, 100, 100};
  layer.at(1, 0) = {9, 50, 50, 50};
  layer.at(2, 0) = {0, 100, 98, 102};  // 2 from the last transparent one
  layer.at(3, 0) = {200, 50, 50, 50};  // the same colour as the last opaque one
  RX_GuessAlphaStats s;
  ASSERT_EQ(RXp_GuessAlphaScan(layer.def(), nullptr, &s), RX_Result_OK);
  EXPECT_EQ(s.transparent_varies, 0);
  EXPECT_EQ(s.opaque_varies, 0);
  EXPECT_EQ(s.colour_exceeds_alpha, 1);  // 50 above 9
  layer.at(2, 0).blue = 103;
  layer.at(3, 0).green = 51;
  ASSERT_EQ(RXp_GuessAlphaScan(layer.def(), nullptr, &s), RX_Result_OK);
  EXPECT_EQ(s.transparent_varies, 1);
  EXPECT_EQ(s.opaque_varies, 1);
}

TEST(GuessAlphaScan, OnlyEightBitLayersAreLookedAt) {
  TestWorld<RX_Pixel16> deep(4, 4);
  deep.at(1, 1) = {32768, 1, 2, 3};
  RX_GuessAlphaStats s;
  ASSERT_EQ(RXp_GuessAlphaScan(deep.def(), nullptr, &s), RX_Result_OK);
  EXPECT_EQ(s.opaque_count + s.transparent_count, 0u);
  uint32_t status = 0;
  RX_Pixel8 colour{};
  char message[64];
  EXPECT_EQ(RX_GuessAlphaMessage(nullptr, deep.def(), nullptr, &status, &colour, message), RX_Result_OK);
  EXPECT_EQ(status, uint32_t{RX_GuessAlpha_Unable});
  EXPECT_STREQ(message, "Unable to guess alpha channel.");
}

// A bitmap of the disc, premultiplied against white; bgra writes its bytes
// blue, green, red, alpha.
ZW_World disc_bitmap(bool bgra) {
  TestWorld<RX_Pixel8> straight(kW, kH), white(kW, kH);
  make_disc(straight);
  const RX_Pixel8 matte{255, 255, 255, 255};
  EXPECT_EQ(RX_PremulColor(nullptr, straight.def(), &matte, 1, white.def()), RX_Result_OK);
  const GE_Rect bounds{0, 0, kH, kW};
  ZW_World image = nullptr;
  EXPECT_EQ(ZW_NewWorld(0, 0, &bounds, 32, 0, 0, &image), KO_Err_None);
  if (bgra) ZW_SetChannelOrder(image, 1);
  for (int32_t y = 0; y < kH; ++y) {
    auto* row = static_cast<uint8_t*>((*image)->pixels) + intptr_t{y} * (*image)->row_bytes;
    for (int32_t x = 0; x < kW; ++x) {
      const RX_Pixel8 p = white.at(x, y);
      const uint8_t bytes[4] = {p.alpha, p.red, p.green, p.blue};
      const uint8_t swapped[4] = {p.blue, p.green, p.red, p.alpha};
      std::memcpy(row + 4 * x, bgra ? swapped : bytes, 4);
    }
  }
  return image;
}

TEST_F(GuessAlpha, BitmapIsLockedForTheScanInEitherChannelOrder) {
  for (bool bgra : {false, true}) {
    ZW_World image = disc_bitmap(bgra);
    const Guess g = guess(nullptr, image);
    EXPECT_EQ(g.err, RX_Result_OK);
    EXPECT_EQ(g.status, uint32_t{RX_GuessAlpha_Premultiplied}) << bgra;
    expect_pixel(g.colour, {255, 255, 255, 255});
    EXPECT_EQ((*image)->lock_count, 0);
    EXPECT_EQ((*image)->base_address, nullptr);
    ZW_DisposeWorld(image);
  }
}

TEST_F(GuessAlpha, LayerIsPreferredToTheBitmap) {
  ZW_World image = disc_bitmap(false);
  TestWorld<RX_Pixel8> empty(2, 2);
  EXPECT_EQ(guess(empty.def(), image).status, uint32_t{RX_GuessAlpha_Unable});
  EXPECT_EQ((*image)->lock_count, 0);
  ZW_DisposeWorld(image);
}

TEST_F(GuessAlpha, ALockErrorIsReturnedWithMinAlphaAtStart) {
  ZW_Bitmap* no_record = nullptr;
  ZW_World broken = &no_record;  // a handle without a bitmap cannot be locked
  RX_GuessAlphaStats s;
  s.min_alpha = 3;
  EXPECT_EQ(RXp_GuessAlphaScan(nullptr, broken, &s), KO_Err_Internal);
  EXPECT_EQ(s.min_alpha, 255);
  uint32_t status = 99;
  RX_Pixel8 colour = kUntouched;
  EXPECT_EQ(RX_GuessAlpha(nullptr, nullptr, broken, &status, &colour), KO_Err_Internal);
  EXPECT_EQ(status, 99u);
}

TEST(GuessAlphaScan, MissingArgumentsAreBadParameters) {
  rxtest::ReportCapture reports;
  TestWorld<RX_Pixel8> layer(2, 2);
  uint32_t status = 0;
  RX_Pixel8 colour{};
  RX_GuessAlphaStats stats;
  EXPECT_EQ(RX_GuessAlpha(nullptr, nullptr, nullptr, &status, &colour), RX_Result_Internal);
  EXPECT_EQ(RX_GuessAlpha(nullptr, layer.def(), nullptr, nullptr, &colour), RX_Result_Internal);
  EXPECT_EQ(RX_GuessAlphaMessage(nullptr, layer.def(), nullptr, &status, nullptr, nullptr), RX_Result_Internal);
  EXPECT_EQ(RXp_GuessAlphaScan(nullptr, nullptr, &stats), RX_Result_Internal);
  EXPECT_EQ(RXp_GuessAlphaScan(layer.def(), nullptr, nullptr), RX_Result_Internal);
  ASSERT_EQ(reports.size(), 5u);
  for (const auto& r : reports.reports()) {
    EXPECT_EQ(r.text, "bad parameter passed to effect callback");
    EXPECT_EQ(r.location, 0x25000B);
  }
}

}  // namespace
