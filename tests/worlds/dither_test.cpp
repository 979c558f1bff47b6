// Dithered depth reduction and the dither cursor.
#include <cmath>
#include <vector>

#include "rx_test_support.h"
#include "worlds/value_conversions.h"

namespace {

class Dither : public rxtest::BornPackage {
 protected:
  void SetUp() override {
    BornPackage::SetUp();
    RX_ResetDitherRandomIndex();
  }
  const uint32_t* words() const { return RXp_G_DitherTable.start; }
};

// The dithered float rule, written plainly, for one channel and its word.
int dithered_scalar(float c, uint32_t word) {
  const float noisy = c - 0.001953125f + float(word) * 9.094947e-13f;
  const float v = noisy * 255.0f;
  if (v < 0.0f) return 0;
  if (v > 255.0f) return 255;
  return int(std::trunc(v + 0.5f));
}
int dithered_vector(float c, uint32_t word) {
  const float noisy = c - 0.001953125f + float(word) * 9.094947e-13f;
  const float r = std::nearbyint(noisy * 255.0f);
  return r < 0.0f ? 0 : r > 255.0f ? 255 : int(r);
}

TEST_F(Dither, NoiseScaleIsTwoToTheMinusForty) { EXPECT_EQ(9.094947e-13f, std::ldexp(1.0f, -40)); }

TEST_F(Dither, FloatPixelsTakeWordsInAlphaRedBlueGreenOrder) {
  const RX_PixelFloat pixels[3] = {{1.0f, 0.2f, 0.5f, 0.7f}, {0.3f, 2.0f, -1.0f, 0.999f},
                                   {-0.5f, 0.0f, 1.0f, 0.5f}};
  RX_Pixel8 out[3];
  RXp_ConvertRowFloatTo8Dithered_Scalar(pixels, out, 3);
  for (int i = 0; i < 3; ++i) {
    const uint32_t* w = words() + 4 * i;
    EXPECT_EQ(out[i].alpha, dithered_scalar(pixels[i].alpha, w[0])) << i;
    EXPECT_EQ(out[i].red, dithered_scalar(pixels[i].red, w[1])) << i;
    EXPECT_EQ(out[i].blue, dithered_scalar(pixels[i].blue, w[2])) << i;
    EXPECT_EQ(out[i].green, dithered_scalar(pixels[i].green, w[3])) << i;
  }
  EXPECT_EQ(RXp_G_DitherTable.cursor, words() + 12);
}

TEST_F(Dither, ScalarDitheredFormClampsAlphaToo) {
  const RX_PixelFloat pixel = {2.0f, 0, 0, 0};
  RX_Pixel8 out;
  RXp_ConvertRowFloatTo8Dithered_Scalar(&pixel, &out, 1);
  EXPECT_EQ(out.alpha, 255);
}

TEST_F(Dither, VectorDitheredFormAddsTheSameNoise) {
  alignas(16) RX_PixelFloat pixels[64];
  for (int i = 0; i < 64; ++i) {
    const float v = (i - 4) / 50.0f;
    pixels[i] = {v, 1.0f - v, v * 0.5f, v + 0.25f};
  }
  RX_Pixel8 out[64];
  RXp_ConvertRowFloatTo8Dithered_SSE2(pixels, out, 64);
  for (int i = 0; i < 64; ++i) {
    const uint32_t* w = words() + 4 * i;
    ASSERT_EQ(out[i].alpha, dithered_vector(pixels[i].alpha, w[0])) << i;
    ASSERT_EQ(out[i].red, dithered_vector(pixels[i].red, w[1])) << i;
    ASSERT_EQ(out[i].blue, dithered_vector(pixels[i].blue, w[2])) << i;
    ASSERT_EQ(out[i].green, dithered_vector(pixels[i].green, w[3])) << i;
  }
}

TEST_F(Dither, VectorAndScalarDitheredFormsAgreeAwayFromHalves) {
  alignas(16) RX_PixelFloat pixels[256];
  for (int i = 0; i < 256; ++i) pixels[i] = {i / 255.0f, 1.0f - i / 255.0f, 0.3f, 0.6f};
  RX_Pixel8 scalar[256], vector[256];
  RXp_ConvertRowFloatTo8Dithered_Scalar(pixels, scalar, 256);
  RX_ResetDitherRandomIndex();
  RXp_ConvertRowFloatTo8Dithered_SSE2(pixels, vector, 256);
  int differing = 0;
  for (int i = 0; i < 256; ++i) differing += !rxtest::same_pixel(scalar[i], vector[i]);
  // The random noise makes exact halves rare; any difference is one step at a half.
  EXPECT_LE(differing, 2);
}

TEST_F(Dither, SixteenBitPixelsTakeOneWordPerChannelInMemoryOrder) {
  const RX_Pixel16 pixels[2] = {{32768, 16384, 129, 0}, {1000, 20000, 32767, 12345}};
  RX_Pixel8 out[2];
  RXp_ConvertRow16To8Dithered(pixels, out, 2);
  auto rule = [](uint32_t c, uint32_t r) { return uint8_t((c * 255 + (r & 0x7FFF)) >> 15); };
  for (int i = 0; i < 2; ++i) {
    const uint32_t* w = words() + 4 * i;
    EXPECT_EQ(out[i].alpha, rule(pixels[i].alpha, w[0]));
    EXPECT_EQ(out[i].red, rule(pixels[i].red, w[1]));
    EXPECT_EQ(out[i].green, rule(pixels[i].green, w[2]));
    EXPECT_EQ(out[i].blue, rule(pixels[i].blue, w[3]));
  }
}

TEST_F(Dither, CursorWrapsFromEndToStart) {
  RXp_G_DitherTable.cursor = RXp_G_DitherTable.end - 2;
  const uint32_t last_two[2] = {RXp_G_DitherTable.end[-2], RXp_G_DitherTable.end[-1]};
  EXPECT_EQ(rx::next_dither_word(), last_two[0]);
  EXPECT_EQ(rx::next_dither_word(), last_two[1]);
  EXPECT_EQ(RXp_G_DitherTable.cursor, RXp_G_DitherTable.start);
  EXPECT_EQ(rx::next_dither_word(), words()[0]);
}

TEST_F(Dither, CursorPersistsAndResetMakesDitheringReproducible) {
  const RX_PixelFloat pixels[8] = {{0.5f, 0.1f, 0.2f, 0.3f}, {0.4f, 0.5f, 0.6f, 0.7f},
                                   {0.11f, 0.22f, 0.33f, 0.44f}, {0.9f, 0.8f, 0.7f, 0.6f},
                                   {0.5f, 0.1f, 0.2f, 0.3f}, {0.4f, 0.5f, 0.6f, 0.7f},
                                   {0.11f, 0.22f, 0.33f, 0.44f}, {0.9f, 0.8f, 0.7f, 0.6f}};
  RX_Pixel8 first[8], again[8];
  RXp_ConvertRowFloatTo8Dithered_Scalar(pixels, first, 8);
  EXPECT_EQ(RXp_G_DitherTable.cursor, words() + 32);
  RX_ResetDitherRandomIndex();
  RXp_ConvertRowFloatTo8Dithered_Scalar(pixels, again, 8);
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(rxtest::same_pixel(first[i], again[i])) << i;
}

// A conversion reads the global cursor once and writes it back once, at
// its end: between its rows (seen from its progress callback) the global
// cursor has not moved.
struct CursorWatch {
  std::vector<const uint32_t*> seen;
  static RX_Err record(void* refcon, int32_t, int32_t) {
    static_cast<CursorWatch*>(refcon)->seen.push_back(RXp_G_DitherTable.cursor);
    return RX_Result_OK;
  }
};

TEST_F(Dither, ACallReadsTheCursorOnceAndWritesItBackOnceAtItsEnd) {
  const int32_t width = 9, height = 200;
  RX_World* deep = RX_World::New(width, height, 16, RX_WorldFlag_Clear);
  RX_World* eight = RX_World::New(width, height, 8, RX_WorldFlag_Clear);
  ASSERT_NE(deep, nullptr);
  ASSERT_NE(eight, nullptr);
  CursorWatch watch;
  const RX_ProgressInfo progress{&watch, nullptr, &CursorWatch::record};
  const uint32_t* start = RXp_G_DitherTable.cursor;
  eight->CopyRectPossiblyDifferentBitdepth(*deep, GE_LRect{0, 0, width, height}, true, 0, 0, &progress);
  ASSERT_EQ(watch.seen.size(), size_t(height / 64));
  for (const uint32_t* cursor : watch.seen) EXPECT_EQ(cursor, start);
  // Four words a pixel, one a channel.
  const ptrdiff_t length = RXp_G_DitherTable.end - RXp_G_DitherTable.start;
  EXPECT_EQ(RXp_G_DitherTable.cursor - RXp_G_DitherTable.start, (start - words() + 4 * width * height) % length);
  delete deep;
  delete eight;
}

}  // namespace
