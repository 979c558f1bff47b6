// Every conversion between depths, over all 8-bit and 16-bit values and a
// spread of float values, against the rules written plainly here.
#include <bit>
#include <cmath>
#include <limits>

#include "cpu_words.h"
#include "rx_test_support.h"
#include "worlds/value_conversions.h"

namespace {

TEST(Convert8To16, EveryByteByMultiplyAndShift) {
  for (uint32_t c = 0; c < 256; ++c) {
    EXPECT_EQ(rx::convert_8_to_16(uint8_t(c)), (c * 0x808080u + 33200u) >> 16) << c;
  }
  EXPECT_EQ(rx::convert_8_to_16(0), 0);
  EXPECT_EQ(rx::convert_8_to_16(255), 32768);
}

TEST(Convert8To16, RoundTripThroughSixteenBitsKeepsEveryByte) {
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(rx::convert_16_to_8(rx::convert_8_to_16(uint8_t(c))), c) << c;
  }
}

TEST(Convert16To8, EveryValueRoundsByItsRule) {
  for (uint32_t c = 0; c < 65536; ++c) {
    ASSERT_EQ(rx::convert_16_to_8(uint16_t(c)), uint8_t((c * 255 + 16384) >> 15)) << c;
  }
  EXPECT_EQ(rx::convert_16_to_8(32768), 255);
  EXPECT_EQ(rx::convert_16_to_8(16384), 128);
}

TEST(Convert16To8, DitheredUsesTheLowFifteenBitsOfTheWord) {
  for (uint32_t c = 0; c <= 32768; c += 7) {
    for (uint32_t r : {0u, 1u, 0x3FFFu, 0x7FFFu, 0x8000u, 0xFFFFFFFFu, 0x12345678u}) {
      ASSERT_EQ(rx::convert_16_to_8_dithered(uint16_t(c), r), uint8_t((c * 255 + (r & 0x7FFF)) >> 15));
    }
  }
  // With the word's low bits all set, anything above the previous step rounds up.
  EXPECT_EQ(rx::convert_16_to_8_dithered(32768, 0x7FFF), 255);
  EXPECT_EQ(rx::convert_16_to_8_dithered(129, 0), 1);
  EXPECT_EQ(rx::convert_16_to_8_dithered(128, 0), 0);
}

TEST(Convert8ToFloat, EveryByteTimesTheNearestFloatToOneOver255) {
  EXPECT_EQ(std::bit_cast<uint32_t>(rx::kByteToFloat), 0x3B808081u);
  const float k = std::bit_cast<float>(0x3B808081u);
  for (int c = 0; c < 256; ++c) EXPECT_EQ(rx::convert_8_to_float(uint8_t(c)), float(c) * k) << c;
}

TEST(Convert16ToFloat, EveryValueTimesTwoToTheMinusFifteen) {
  for (uint32_t c = 0; c < 65536; ++c) {
    ASSERT_EQ(rx::convert_16_to_float(uint16_t(c)), float(c) / 32768.0f) << c;
  }
  EXPECT_EQ(rx::convert_16_to_float(32768), 1.0f);
}

TEST(ConvertColourArgument, EightBitColourTo16ByIntegerDivision) {
  for (uint32_t c = 0; c < 256; ++c) {
    EXPECT_EQ(rx::convert_colour_argument_8_to_16(uint8_t(c)), (c * 32768 + 128) / 255) << c;
  }
}

// ---- float to 16 and to 8, scalar ----

// The rule for a colour channel, written plainly: clamp, else round half up.
int colour_rule(float c, float white) {
  const float v = c * white;
  if (v < 0.0f) return 0;
  if (v > white) return int(white);
  return int(std::trunc(v + 0.5f));
}

const float kSpread[] = {0.0f,     1.0f,   0.5f,   -0.0f,     -0.5f,   -1.0f,   2.0f,  1.5f,
                         1e-8f,    0.25f,  0.75f,  0.999f,    1.0001f, 100.0f,  -3e5f, 0.123456f,
                         0.003921569f, 0.5f / 255.0f, 1.5f / 255.0f, 254.5f / 255.0f, 0.00001525878f};

TEST(ConvertFloatTo16, ColourChannelsClampAndRoundHalfUp) {
  for (float c : kSpread) {
    const RX_Pixel16 p = rx::convert_float_to_16({0.0f, c, c, c});
    EXPECT_EQ(p.red, colour_rule(c, 32768.0f)) << c;
    EXPECT_EQ(p.green, p.red);
    EXPECT_EQ(p.blue, p.red);
  }
  EXPECT_EQ(rx::convert_float_to_16({1, 2.0f, -1.0f, 0.5f}).red, 32768);
  EXPECT_EQ(rx::convert_float_to_16({1, 2.0f, -1.0f, 0.5f}).green, 0);
  EXPECT_EQ(rx::convert_float_to_16({1, 2.0f, -1.0f, 0.5f}).blue, 16384);
}

TEST(ConvertFloatTo16, AlphaIsNotClampedAndWrapsInSixteenBits) {
  // An alpha of 2.0 gives 65536, wrapped to 0, where red of 2.0 gives 32768.
  const RX_Pixel16 over = rx::convert_float_to_16({2.0f, 2.0f, 0, 0});
  EXPECT_EQ(over.alpha, 0);
  EXPECT_EQ(over.red, 32768);
  // An alpha of -0.5 gives the 16-bit image of -16383.
  EXPECT_EQ(rx::convert_float_to_16({-0.5f, 0, 0, 0}).alpha, uint16_t(-16383));
  EXPECT_EQ(rx::convert_float_to_16({1.0f, 0, 0, 0}).alpha, 32768);
  EXPECT_EQ(rx::convert_float_to_16({1.5f, 0, 0, 0}).alpha, 49152);
}

TEST(ConvertFloatTo8, ScalarFormClampsColourAndRoundsHalfUp) {
  for (float c : kSpread) {
    const RX_Pixel8 p = rx::convert_float_to_8({1.0f, c, c, c});
    EXPECT_EQ(p.red, colour_rule(c, 255.0f)) << c;
  }
}

TEST(ConvertFloatTo8, ScalarFormLeavesAlphaUnclamped) {
  // 2.0 gives 510, kept in 8 bits as 254; -0.5 gives -127, kept as 129.
  EXPECT_EQ(rx::convert_float_to_8({2.0f, 0, 0, 0}).alpha, uint8_t(510));
  EXPECT_EQ(rx::convert_float_to_8({-0.5f, 0, 0, 0}).alpha, uint8_t(-127));
}

TEST(ConvertFloatTo8, NaNAndHugeValuesTruncateToTheIndefiniteInteger) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  // NaN passes neither clamp; truncation gives 0x80000000, whose low byte is 0.
  EXPECT_EQ(rx::convert_float_to_8({nan, nan, nan, nan}).red, 0);
  EXPECT_EQ(rx::convert_float_to_8({nan, nan, nan, nan}).alpha, 0);
  EXPECT_EQ(rx::convert_float_to_16({1e20f, nan, 0, 0}).alpha, 0);
  EXPECT_EQ(rx::convert_float_to_16({1e20f, nan, 0, 0}).red, 0);
}

// ---- float to 8 rows: scalar and SSE2 ----

// The vector rule, written plainly: round to nearest even, saturate 0..255,
// all four channels alike.
int vector_rule(float c) {
  const float v = c * 255.0f;
  if (std::isnan(v)) return 0;
  const float r = std::nearbyint(v);  // the default rounding is to nearest even
  if (r < 0.0f) return 0;
  if (r > 255.0f) return 255;
  return int(r);
}

// Floats c whose product with 255 is exactly k + 0.5, so the two forms part.
std::vector<float> exact_halves() {
  std::vector<float> found;
  for (int k = 0; k < 255; ++k) {
    float c = (k + 0.5f) / 255.0f;
    for (int step = 0; step < 8; ++step, c = std::nextafter(c, 1.0f)) {
      if (c * 255.0f == k + 0.5f) {
        found.push_back(c);
        break;
      }
    }
  }
  return found;
}

struct FloatRow {
  // 16-byte aligned at offset 0; offset by 4 bytes for the unaligned case.
  alignas(16) uint8_t bytes[16 * 64 + 16];
  RX_PixelFloat* at(size_t byte_offset) { return reinterpret_cast<RX_PixelFloat*>(bytes + byte_offset); }
};

std::vector<RX_PixelFloat> test_pixels() {
  std::vector<RX_PixelFloat> pixels;
  const std::vector<float> halves = exact_halves();
  std::vector<float> values(std::begin(kSpread), std::end(kSpread));
  values.insert(values.end(), halves.begin(), halves.end());
  values.push_back(std::numeric_limits<float>::quiet_NaN());
  for (size_t i = 0; i < values.size(); ++i) {
    pixels.push_back({values[i], values[(i + 1) % values.size()], values[(i + 2) % values.size()],
                      values[(i + 3) % values.size()]});
  }
  return pixels;
}

TEST(ConvertFloatTo8Row, ThereAreExactHalvesWhereTheFormsPart) {
  const std::vector<float> halves = exact_halves();
  ASSERT_GT(halves.size(), 50u);
  // At 0.5 the scalar form rounds up and the vector form to the even 0.
  const float c = halves[0];
  RX_Pixel8 scalar, vector;
  alignas(16) RX_PixelFloat p = {c, c, c, c};
  RXp_ConvertRowFloatTo8_Scalar(&p, &scalar, 1);
  RXp_ConvertRowFloatTo8_SSE2(&p, &vector, 1);
  EXPECT_EQ(scalar.red, 1);
  EXPECT_EQ(vector.red, 0);
}

TEST(ConvertFloatTo8Row, VectorFormRoundsToEvenAndSaturatesAllChannels) {
  const std::vector<RX_PixelFloat> pixels = test_pixels();
  for (size_t start = 0; start < pixels.size(); start += 5) {
    // Rows of every length modulo four, to reach the tail loop.
    const size_t count = std::min<size_t>(pixels.size() - start, 1 + start % 7);
    std::vector<RX_PixelFloat> row(pixels.begin() + start, pixels.begin() + start + count);
    FloatRow aligned;
    std::memcpy(aligned.at(0), row.data(), count * sizeof(RX_PixelFloat));
    std::vector<RX_Pixel8> out(count);
    RXp_ConvertRowFloatTo8_SSE2(aligned.at(0), out.data(), int32_t(count));
    for (size_t i = 0; i < count; ++i) {
      EXPECT_EQ(out[i].alpha, vector_rule(row[i].alpha)) << row[i].alpha;
      EXPECT_EQ(out[i].red, vector_rule(row[i].red)) << row[i].red;
      EXPECT_EQ(out[i].green, vector_rule(row[i].green)) << row[i].green;
      EXPECT_EQ(out[i].blue, vector_rule(row[i].blue)) << row[i].blue;
    }
  }
}

TEST(ConvertFloatTo8Row, ScalarRowMatchesThePixelForm) {
  const std::vector<RX_PixelFloat> pixels = test_pixels();
  std::vector<RX_Pixel8> out(pixels.size());
  RXp_ConvertRowFloatTo8_Scalar(pixels.data(), out.data(), int32_t(pixels.size()));
  for (size_t i = 0; i < pixels.size(); ++i) {
    EXPECT_TRUE(rxtest::same_pixel(out[i], rx::convert_float_to_8(pixels[i]))) << i;
  }
}

class ConvertFloatTo8RowChoice : public ::testing::Test {
 protected:
  void TearDown() override { RXHost_ResetCpuWords(); }
  // A pixel where the two forms differ in alpha (clamped or not) and red.
  static constexpr RX_PixelFloat kPartingPixel = {2.0f, -1.0f, 0.5f, 1.0f};
};

TEST_F(ConvertFloatTo8RowChoice, AlignedRowWithSSE2TakesTheVectorForm) {
  RXHost_SetCpuWord(rxtest::kCpuWordSSE2, 1);
  FloatRow row;
  *row.at(0) = kPartingPixel;
  RX_Pixel8 out;
  RXp_ConvertRowFloatTo8(row.at(0), &out, 1);
  EXPECT_EQ(out.alpha, 255);
}

TEST_F(ConvertFloatTo8RowChoice, UnalignedRowTakesTheScalarForm) {
  RXHost_SetCpuWord(rxtest::kCpuWordSSE2, 1);
  FloatRow row;
  std::memcpy(row.at(4), &kPartingPixel, sizeof kPartingPixel);
  RX_Pixel8 out;
  RXp_ConvertRowFloatTo8(row.at(4), &out, 1);
  EXPECT_EQ(out.alpha, uint8_t(510));
}

TEST_F(ConvertFloatTo8RowChoice, WithoutSSE2EvenAnAlignedRowTakesTheScalarForm) {
  RXHost_SetCpuWord(rxtest::kCpuWordSSE2, 0);
  FloatRow row;
  *row.at(0) = kPartingPixel;
  RX_Pixel8 out;
  RXp_ConvertRowFloatTo8(row.at(0), &out, 1);
  EXPECT_EQ(out.alpha, uint8_t(510));
}

}  // namespace
