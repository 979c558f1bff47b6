// The flat fills (RX_Fill, RX_Fill16, RX_FillFloat) at every depth: the
// colour conversions over every 8-bit and 16-bit value and a spread of
// floats, rectangles in any order and over any edge, untidy worlds, and
// each refusal with its report. Also RX_ClearAlphaExceptRect.
#include <cmath>
#include <limits>
#include <vector>

#include "painted_worlds.h"
#include "reference_arith.h"
#include "rx_test_support.h"

namespace {

namespace ref = rxtest::ref;

using rxtest::ReportCapture;
using rxtest::TestWorld;

using rxtest::kPaddingByte;
constexpr int32_t kGeneralLocation = 0x2503E7;
constexpr int32_t kFillBadParameterLocation = 0x25000D;
const char* const kBadParameterText = "bad parameter passed to effect callback";

using rxtest::distinct_marker;
using rxtest::padding_intact;

// Every row's padding gets kPaddingByte, every pixel its marker.
template <class Px>
void paint(TestWorld<Px>& world) {
  rxtest::paint(world, distinct_marker<Px>);
}

template <class Px>
using SubWorld = rxtest::PaintedSubWorld<Px>;

// Checks every pixel of the parent: colour where want(x, y) in sub-world
// coordinates says so, else the marker.
template <class Px, class Want>
void expect_filled(SubWorld<Px>& sub, const Px& colour, Want want) {
  for (int32_t y = 0; y < sub.parent.height(); ++y) {
    for (int32_t x = 0; x < sub.parent.width(); ++x) {
      const int32_t sx = x - sub.place.left;
      const int32_t sy = y - sub.place.top;
      const bool inside = sx >= 0 && sy >= 0 && sx < sub.def.width && sy < sub.def.height;
      const Px expected = inside && want(sx, sy) ? colour : distinct_marker<Px>(x, y);
      ASSERT_TRUE(rxtest::same_pixel(sub.parent.at(x, y), expected)) << "at " << x << ", " << y;
    }
  }
  EXPECT_TRUE(padding_intact(sub.parent));
}

// ---- conversions, written as the rules state them ----

float fill_8_to_float(uint32_t c) { return float(double(c) * 0.00392156862745098); }
uint8_t fill_16_to_8(uint32_t c) { return uint8_t((c * 255 + 16384) >> 15); }
float fill_16_to_float(uint32_t c) { return float(c) * 3.0517578e-05f; }
// Rounded half up, and clamped to 0..white (every channel, alpha too).
int32_t clamped(float c, float white) {
  const float v = c * white;
  if (v < 0.0f) return 0;
  if (v > white) return int32_t(white);
  return int32_t(v + 0.5f);
}

// Colour i of a test: four different channels from one value.
RX_Pixel8 colour8(uint32_t c) {
  return {uint8_t(c), uint8_t(255 - c), uint8_t(c ^ 0x5A), uint8_t(c * 7)};
}
RX_Pixel16 colour16(uint32_t c) {
  return {uint16_t(c), uint16_t(65535 - c), uint16_t(c ^ 0x5A5A), uint16_t(c * 7)};
}

// Floats below 0, inside, on exact halves (of 255 and of 32768) and above.
std::vector<float> float_spread() {
  const float inf = std::numeric_limits<float>::infinity();
  return {-inf,
          -1e30f,
          -2.0f,
          -0.5f,
          -1e-7f,
          -0.0f,
          0.0f,
          1e-7f,
          0.5f / 255.0f,
          1.5f / 255.0f,
          0.5f,
          127.5f / 255.0f,
          1.0f / 65536.0f,
          3.0f / 65536.0f,
          0.25f,
          1.0f / 3.0f,
          0.999f,
          1.0f,
          1.0001f,
          1.5f,
          2.0f,
          255.0f,
          1e30f,
          inf,
          0.0019607844f};
}

template <class Px>
class Fills : public rxtest::BornPackage {};
TYPED_TEST_SUITE(Fills, rxtest::AllPixelTypes);

// ---- RX_Fill: 8-bit colours ----

TEST(FillConversion, EightBitColourStaysAsGivenInAnEightBitWorld) {
  TestWorld<RX_Pixel8> world(256, 1);
  for (int32_t c = 0; c < 256; ++c) {
    const RX_Pixel8 colour = colour8(c);
    const GE_LRect pixel = {c, 0, c + 1, 1};
    ASSERT_EQ(RX_Fill(nullptr, &colour, &pixel, world.def()), RX_Result_OK);
  }
  for (int32_t c = 0; c < 256; ++c) {
    ASSERT_TRUE(rxtest::same_pixel(world.at(c, 0), colour8(c))) << c;
  }
}

TEST(FillConversion, EightBitColourIn16BitWorldIsTimes32768Plus128Over255) {
  TestWorld<RX_Pixel16> world(256, 1);
  for (int32_t c = 0; c < 256; ++c) {
    const RX_Pixel8 colour = colour8(c);
    const GE_LRect pixel = {c, 0, c + 1, 1};
    ASSERT_EQ(RX_Fill(nullptr, &colour, &pixel, world.def()), RX_Result_OK);
  }
  for (int32_t c = 0; c < 256; ++c) {
    const RX_Pixel8 in = colour8(c);
    const RX_Pixel16& out = world.at(c, 0);
    ASSERT_EQ(out.alpha, ref::colour_8_to_16(in.alpha)) << c;
    ASSERT_EQ(out.red, ref::colour_8_to_16(in.red)) << c;
    ASSERT_EQ(out.green, ref::colour_8_to_16(in.green)) << c;
    ASSERT_EQ(out.blue, ref::colour_8_to_16(in.blue)) << c;
  }
  EXPECT_EQ(world.at(255, 0).alpha, 32768);
  EXPECT_EQ(world.at(0, 0).alpha, 0);
}

TEST(FillConversion, EightBitColourInFloatWorldUsesTheDoubleReciprocal) {
  TestWorld<RX_PixelFloat> world(256, 1);
  for (int32_t c = 0; c < 256; ++c) {
    const RX_Pixel8 colour = colour8(c);
    const GE_LRect pixel = {c, 0, c + 1, 1};
    ASSERT_EQ(RX_Fill(nullptr, &colour, &pixel, world.def()), RX_Result_OK);
  }
  for (int32_t c = 0; c < 256; ++c) {
    const RX_Pixel8 in = colour8(c);
    const RX_PixelFloat& out = world.at(c, 0);
    ASSERT_EQ(out.alpha, fill_8_to_float(in.alpha)) << c;
    ASSERT_EQ(out.red, fill_8_to_float(in.red)) << c;
    ASSERT_EQ(out.green, fill_8_to_float(in.green)) << c;
    ASSERT_EQ(out.blue, fill_8_to_float(in.blue)) << c;
  }
  EXPECT_EQ(world.at(255, 0).alpha, 1.0f);
}

TEST(FillConversion, FloatFillOfByteGreyCanDifferFromTheCopyInTheLastBit) {
  // The copy multiplies in float by the float nearest 1/255; the fill
  // multiplies in double. For 3 the two differ.
  TestWorld<RX_PixelFloat> world(1, 1);
  const RX_Pixel8 grey = {3, 3, 3, 3};
  ASSERT_EQ(RX_Fill(nullptr, &grey, nullptr, world.def()), RX_Result_OK);
  const float copied = 3.0f * 0.003921569f;
  EXPECT_NE(world.at(0, 0).red, copied);
  EXPECT_EQ(world.at(0, 0).red, float(3 * 0.00392156862745098));
}

// ---- RX_Fill16: 16-bit colours, every value ----

TEST(FillConversion, SixteenBitColourIn8BitWorldIsTimes255Plus16384Shifted15) {
  TestWorld<RX_Pixel8> world(256, 256);
  for (int32_t c = 0; c < 65536; ++c) {
    const RX_Pixel16 colour = colour16(c);
    const GE_LRect pixel = {c % 256, c / 256, c % 256 + 1, c / 256 + 1};
    ASSERT_EQ(RX_Fill16(nullptr, &colour, &pixel, world.def()), RX_Result_OK);
  }
  for (int32_t c = 0; c < 65536; ++c) {
    const RX_Pixel16 in = colour16(c);
    const RX_Pixel8& out = world.at(c % 256, c / 256);
    ASSERT_EQ(out.alpha, fill_16_to_8(in.alpha)) << c;
    ASSERT_EQ(out.red, fill_16_to_8(in.red)) << c;
    ASSERT_EQ(out.green, fill_16_to_8(in.green)) << c;
    ASSERT_EQ(out.blue, fill_16_to_8(in.blue)) << c;
  }
  EXPECT_EQ(world.at(0, 128).alpha, 255);  // 32768
  EXPECT_EQ(world.at(0, 64).alpha, 128);   // 16384
}

TEST(FillConversion, SixteenBitColourStaysAsGivenInA16BitWorld) {
  TestWorld<RX_Pixel16> world(256, 256);
  for (int32_t c = 0; c < 65536; ++c) {
    const RX_Pixel16 colour = colour16(c);
    const GE_LRect pixel = {c % 256, c / 256, c % 256 + 1, c / 256 + 1};
    ASSERT_EQ(RX_Fill16(nullptr, &colour, &pixel, world.def()), RX_Result_OK);
  }
  for (int32_t c = 0; c < 65536; ++c) {
    ASSERT_TRUE(rxtest::same_pixel(world.at(c % 256, c / 256), colour16(c))) << c;
  }
}

TEST(FillConversion, SixteenBitColourInFloatWorldIsTimesTwoToTheMinus15) {
  TestWorld<RX_PixelFloat> world(256, 256);
  for (int32_t c = 0; c < 65536; ++c) {
    const RX_Pixel16 colour = colour16(c);
    const GE_LRect pixel = {c % 256, c / 256, c % 256 + 1, c / 256 + 1};
    ASSERT_EQ(RX_Fill16(nullptr, &colour, &pixel, world.def()), RX_Result_OK);
  }
  for (int32_t c = 0; c < 65536; ++c) {
    const RX_Pixel16 in = colour16(c);
    const RX_PixelFloat& out = world.at(c % 256, c / 256);
    ASSERT_EQ(out.alpha, fill_16_to_float(in.alpha)) << c;
    ASSERT_EQ(out.red, fill_16_to_float(in.red)) << c;
    ASSERT_EQ(out.green, fill_16_to_float(in.green)) << c;
    ASSERT_EQ(out.blue, fill_16_to_float(in.blue)) << c;
  }
  EXPECT_EQ(world.at(0, 128).alpha, 1.0f);  // 32768
}

// ---- RX_FillFloat: float colours, all four channels clamped ----

template <class Px>
void fill_float_spread(TestWorld<Px>& world, const std::vector<float>& v) {
  const int32_t n = int32_t(v.size());
  for (int32_t i = 0; i < n; ++i) {
    const RX_PixelFloat colour = {v[i], v[(i + 1) % n], v[(i + 2) % n], v[(i + 3) % n]};
    const GE_LRect pixel = {i, 0, i + 1, 1};
    ASSERT_EQ(RX_FillFloat(nullptr, &colour, &pixel, world.def()), RX_Result_OK);
  }
}

TEST(FillConversion, FloatColourIn8BitWorldClampsAllFourChannels) {
  const std::vector<float> v = float_spread();
  const int32_t n = int32_t(v.size());
  TestWorld<RX_Pixel8> world(n, 1);
  fill_float_spread(world, v);
  for (int32_t i = 0; i < n; ++i) {
    const RX_Pixel8& out = world.at(i, 0);
    ASSERT_EQ(out.alpha, clamped(v[i], 255.0f)) << v[i];
    ASSERT_EQ(out.red, clamped(v[(i + 1) % n], 255.0f)) << v[(i + 1) % n];
    ASSERT_EQ(out.green, clamped(v[(i + 2) % n], 255.0f)) << v[(i + 2) % n];
    ASSERT_EQ(out.blue, clamped(v[(i + 3) % n], 255.0f)) << v[(i + 3) % n];
  }
}

TEST(FillConversion, FloatColourIn16BitWorldClampsAllFourChannels) {
  const std::vector<float> v = float_spread();
  const int32_t n = int32_t(v.size());
  TestWorld<RX_Pixel16> world(n, 1);
  fill_float_spread(world, v);
  for (int32_t i = 0; i < n; ++i) {
    const RX_Pixel16& out = world.at(i, 0);
    ASSERT_EQ(out.alpha, clamped(v[i], 32768.0f)) << v[i];
    ASSERT_EQ(out.red, clamped(v[(i + 1) % n], 32768.0f)) << v[(i + 1) % n];
    ASSERT_EQ(out.green, clamped(v[(i + 2) % n], 32768.0f)) << v[(i + 2) % n];
    ASSERT_EQ(out.blue, clamped(v[(i + 3) % n], 32768.0f)) << v[(i + 3) % n];
  }
}

TEST(FillConversion, FloatAlphaOfTwoGivesWhiteNotAWrappedValue) {
  TestWorld<RX_Pixel16> deep(1, 1);
  TestWorld<RX_Pixel8> byte(1, 1);
  const RX_PixelFloat colour = {2.0f, 2.0f, -0.5f, 0.5f};
  ASSERT_EQ(RX_FillFloat(nullptr, &colour, nullptr, deep.def()), RX_Result_OK);
  ASSERT_EQ(RX_FillFloat(nullptr, &colour, nullptr, byte.def()), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(deep.at(0, 0), RX_Pixel16{32768, 32768, 0, 16384}));
  EXPECT_TRUE(rxtest::same_pixel(byte.at(0, 0), RX_Pixel8{255, 255, 0, 128}));
}

TEST(FillConversion, HalvesRoundUp) {
  TestWorld<RX_Pixel16> deep(1, 1);
  TestWorld<RX_Pixel8> byte(1, 1);
  // 1/65536 * 32768 and 0.5 * 255 are exact halves.
  const RX_PixelFloat colour = {1.0f / 65536.0f, 3.0f / 65536.0f, 0.5f, 0.5f};
  ASSERT_EQ(RX_FillFloat(nullptr, &colour, nullptr, deep.def()), RX_Result_OK);
  ASSERT_EQ(RX_FillFloat(nullptr, &colour, nullptr, byte.def()), RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(deep.at(0, 0), RX_Pixel16{1, 2, 16384, 16384}));
  EXPECT_EQ(byte.at(0, 0).green, 128);
}

TEST(FillConversion, FloatColourStaysAsGivenInAFloatWorld) {
  const std::vector<float> v = float_spread();
  const int32_t n = int32_t(v.size());
  TestWorld<RX_PixelFloat> world(n, 1);
  fill_float_spread(world, v);
  for (int32_t i = 0; i < n; ++i) {
    const RX_PixelFloat expected = {v[i], v[(i + 1) % n], v[(i + 2) % n], v[(i + 3) % n]};
    ASSERT_TRUE(rxtest::same_pixel(world.at(i, 0), expected)) << i;
  }
}

// ---- rectangles and worlds, at every depth ----

// The fill of each entry at the world's depth, for a colour given at 8 bits.
template <class Px>
Px expected_of_8(const RX_Pixel8& c) {
  if constexpr (sizeof(Px) == 4) {
    return c;
  } else if constexpr (sizeof(Px) == 8) {
    return {ref::colour_8_to_16(c.alpha), ref::colour_8_to_16(c.red), ref::colour_8_to_16(c.green),
            ref::colour_8_to_16(c.blue)};
  } else {
    return {fill_8_to_float(c.alpha), fill_8_to_float(c.red), fill_8_to_float(c.green),
            fill_8_to_float(c.blue)};
  }
}

const RX_Pixel8 kOrange = {255, 250, 128, 3};

TYPED_TEST(Fills, NullRectangleFillsTheWholeWorld) {
  SubWorld<TypeParam> sub(9, 7, 0, 0, {0, 0, 9, 7});
  ASSERT_EQ(RX_Fill(nullptr, &kOrange, nullptr, &sub.def), RX_Result_OK);
  expect_filled(sub, expected_of_8<TypeParam>(kOrange), [](int32_t, int32_t) { return true; });
}

TYPED_TEST(Fills, NullColourFillsTransparentBlack) {
  SubWorld<TypeParam> sub(9, 7, 12, 4, {0, 0, 9, 7});
  const GE_LRect rect = {2, 1, 6, 5};
  ASSERT_EQ(RX_Fill(nullptr, nullptr, &rect, &sub.def), RX_Result_OK);
  expect_filled(sub, TypeParam{},
                [](int32_t x, int32_t y) { return x >= 2 && x < 6 && y >= 1 && y < 5; });
}

TYPED_TEST(Fills, RightBeforeLeftFillsTheSamePixelsAsSwapped) {
  SubWorld<TypeParam> backwards(10, 8, 0, 0, {0, 0, 10, 8});
  SubWorld<TypeParam> forwards(10, 8, 0, 0, {0, 0, 10, 8});
  const GE_LRect given = {7, 6, 2, 1};
  const GE_LRect swapped = {2, 1, 7, 6};
  ASSERT_EQ(RX_Fill(nullptr, &kOrange, &given, &backwards.def), RX_Result_OK);
  ASSERT_EQ(RX_Fill(nullptr, &kOrange, &swapped, &forwards.def), RX_Result_OK);
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 10; ++x) {
      ASSERT_TRUE(rxtest::same_pixel(backwards.parent.at(x, y), forwards.parent.at(x, y)));
    }
  }
  expect_filled(backwards, expected_of_8<TypeParam>(kOrange),
                [](int32_t x, int32_t y) { return x >= 2 && x < 7 && y >= 1 && y < 6; });
}

TYPED_TEST(Fills, RectanglesOverEveryEdgeAreClampedToTheWorld) {
  struct Case {
    GE_LRect rect;
    int32_t left, top, right, bottom;  // what is filled, in the 6 x 5 sub-world
  };
  const Case cases[] = {
      {{-4, 1, 3, 4}, 0, 1, 3, 4},     // over the left edge
      {{2, -9, 4, 3}, 2, 0, 4, 3},     // over the top
      {{3, 1, 60, 2}, 3, 1, 6, 2},     // over the right
      {{1, 2, 5, 99}, 1, 2, 5, 5},     // over the bottom
      {{-5, -5, 50, 50}, 0, 0, 6, 5},  // over all four
      {{50, 2, 40, 3}, 0, 0, 0, 0},    // wholly right, backwards
      {{8, 1, 9, 3}, 0, 0, 0, 0},      // wholly right
      {{1, -3, 4, -1}, 0, 0, 0, 0},    // wholly above
      {{3, 4, 3, 5}, 0, 0, 0, 0},      // no width
      {{9, 8, -2, -7}, 0, 0, 6, 5},    // over all four, backwards
  };
  for (const Case& c : cases) {
    // Sub-world (2, 3)-(8, 8) of an untidy parent: writes past its edges show.
    SubWorld<TypeParam> sub(11, 10, 8, 4, {2, 3, 8, 8});
    ASSERT_EQ(RX_Fill(nullptr, &kOrange, &c.rect, &sub.def), RX_Result_OK);
    SCOPED_TRACE(testing::Message() << c.rect.left << " " << c.rect.top << " " << c.rect.right
                                    << " " << c.rect.bottom);
    expect_filled(sub, expected_of_8<TypeParam>(kOrange), [&](int32_t x, int32_t y) {
      return x >= c.left && x < c.right && y >= c.top && y < c.bottom;
    });
  }
}

TYPED_TEST(Fills, ZeroColourOverWholeRowsOfAContiguousWorldClearsOnlyThoseRows) {
  // One block for rows 2 to 4: the rows above and below stay.
  SubWorld<TypeParam> sub(6, 8, 0, 0, {0, 0, 6, 8});
  const GE_LRect rows = {0, 2, 6, 5};
  ASSERT_EQ(RX_Fill(nullptr, nullptr, &rows, &sub.def), RX_Result_OK);
  expect_filled(sub, TypeParam{}, [](int32_t, int32_t y) { return y >= 2 && y < 5; });
}

TYPED_TEST(Fills, ZeroColourInASubWorldLeavesTheParentsOtherColumns) {
  SubWorld<TypeParam> sub(9, 6, 0, 0, {3, 1, 7, 5});
  ASSERT_EQ(RX_Fill(nullptr, nullptr, nullptr, &sub.def), RX_Result_OK);
  expect_filled(sub, TypeParam{}, [](int32_t, int32_t) { return true; });
}

TYPED_TEST(Fills, PaddedAndMisalignedRowsKeepTheirPadding) {
  for (int32_t misalign : {0, 4, 8, 12}) {
    SubWorld<TypeParam> sub(7, 5, 20, misalign, {0, 0, 7, 5});
    ASSERT_EQ(RX_Fill(nullptr, &kOrange, nullptr, &sub.def), RX_Result_OK);
    expect_filled(sub, expected_of_8<TypeParam>(kOrange), [](int32_t, int32_t) { return true; });
  }
}

TYPED_TEST(Fills, RowsGoingUpwardsAreFilled) {
  // A world read bottom row first: data at the last row, stride negative.
  SubWorld<TypeParam> sub(5, 4, 4, 0, {0, 0, 5, 4});
  RX_LayerDef upwards = sub.def;
  upwards.data = &sub.parent.at(0, 3);
  upwards.row_stride = -sub.def.row_stride;
  const GE_LRect top_row = {1, 0, 4, 1};
  ASSERT_EQ(RX_Fill(nullptr, nullptr, &top_row, &upwards), RX_Result_OK);
  expect_filled(sub, TypeParam{}, [](int32_t x, int32_t y) { return y == 3 && x >= 1 && x < 4; });
}

TYPED_TEST(Fills, EachEntryFillsAnyDepth) {
  SubWorld<TypeParam> sub(4, 3, 4, 4, {0, 0, 4, 3});
  const RX_Pixel16 white16 = {32768, 32768, 32768, 32768};
  const RX_PixelFloat white_float = {1.0f, 1.0f, 1.0f, 1.0f};
  TypeParam white{};
  white.alpha = white.red = white.green = white.blue = sizeof(TypeParam) == 4   ? 255
                                                       : sizeof(TypeParam) == 8 ? 32768
                                                                                : 1;
  ASSERT_EQ(RX_Fill16(nullptr, &white16, nullptr, &sub.def), RX_Result_OK);
  expect_filled(sub, white, [](int32_t, int32_t) { return true; });
  paint(sub.parent);
  ASSERT_EQ(RX_FillFloat(nullptr, &white_float, nullptr, &sub.def), RX_Result_OK);
  expect_filled(sub, white, [](int32_t, int32_t) { return true; });
}

// ---- refusals ----

// A world object that answers a depth no pixel type has.
class OddDepthWorld : public RX_WorldX<RX_Pixel8> {
 public:
  explicit OddDepthWorld(const RX_LayerDef& def) : RX_WorldX<RX_Pixel8>(def, false) {}
  int16_t Depth() const override { return 24; }
  RX_World* object() { return this; }
};

TYPED_TEST(Fills, UnknownDepthIsReportedByEachEntryWithItsOwnText) {
  TestWorld<TypeParam> world(3, 3);
  paint(world);
  OddDepthWorld odd(*world.def());
  RX_LayerDef def = *world.def();
  def.world_object = odd.object();
  ReportCapture capture;
  EXPECT_EQ(RX_Fill(nullptr, &kOrange, nullptr, &def), RX_Result_Internal);
  EXPECT_EQ(RX_Fill16(nullptr, nullptr, nullptr, &def), RX_Result_Internal);
  EXPECT_EQ(RX_FillFloat(nullptr, nullptr, nullptr, &def), RX_Result_Internal);
  const auto reports = capture.errors();
  ASSERT_EQ(reports.size(), 3u);
  EXPECT_EQ(reports[0].text, "Unknown world bitdepth in RX_Fill");
  EXPECT_EQ(reports[1].text, "Unknown world bitdepth in RX_Fill16");
  EXPECT_EQ(reports[2].text, "Unknown world bitdepth in RX_FillFloat");
  for (const auto& r : reports) {
    EXPECT_EQ(r.kind, RXHost_Report_Verification);
    EXPECT_EQ(r.location, kGeneralLocation);
  }
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 3; ++x) {
      EXPECT_TRUE(rxtest::same_pixel(world.at(x, y), distinct_marker<TypeParam>(x, y)));
    }
  }
}

TYPED_TEST(Fills, UnknownDepthIsReportedBeforeMissingPixels) {
  TestWorld<TypeParam> world(3, 3);
  OddDepthWorld odd(*world.def());
  RX_LayerDef def = *world.def();
  def.world_object = odd.object();
  def.data = nullptr;
  ReportCapture capture;
  EXPECT_EQ(RX_Fill(nullptr, nullptr, nullptr, &def), RX_Result_Internal);
  ASSERT_EQ(capture.errors().size(), 1u);
  EXPECT_EQ(capture.errors()[0].text, "Unknown world bitdepth in RX_Fill");
}

TYPED_TEST(Fills, MissingPixelsAreABadParameterAtLocation13) {
  TestWorld<TypeParam> world(3, 3);
  RX_LayerDef def = *world.def();
  def.data = nullptr;
  ReportCapture capture;
  EXPECT_EQ(RX_Fill(nullptr, &kOrange, nullptr, &def), RX_Result_Internal);
  EXPECT_EQ(RX_Fill16(nullptr, nullptr, nullptr, &def), RX_Result_Internal);
  EXPECT_EQ(RX_FillFloat(nullptr, nullptr, nullptr, &def), RX_Result_Internal);
  EXPECT_EQ(RX_Fill(nullptr, nullptr, nullptr, nullptr), RX_Result_Internal);
  const auto reports = capture.errors();
  ASSERT_EQ(reports.size(), 4u);
  for (const auto& r : reports) {
    EXPECT_EQ(r.kind, RXHost_Report_ErrString);
    EXPECT_EQ(r.report_class, 8);
    EXPECT_EQ(r.location, kFillBadParameterLocation);
    EXPECT_EQ(r.text, kBadParameterText);
  }
}

// ---- RX_ClearAlphaExceptRect ----

TYPED_TEST(Fills, ClearAlphaExceptRectClearsTheFourBandsToTransparentBlack) {
  SubWorld<TypeParam> sub(12, 10, 8, 4, {1, 2, 10, 9});
  const GE_LRect keep = {2, 1, 6, 5};
  ASSERT_EQ(RX_ClearAlphaExceptRect(nullptr, &keep, &sub.def), RX_Result_OK);
  for (int32_t y = 0; y < sub.parent.height(); ++y) {
    for (int32_t x = 0; x < sub.parent.width(); ++x) {
      const int32_t sx = x - 1;
      const int32_t sy = y - 2;
      const bool inside_world = sx >= 0 && sy >= 0 && sx < 9 && sy < 7;
      const bool kept = sx >= 2 && sx < 6 && sy >= 1 && sy < 5;
      const TypeParam expected = inside_world && !kept ? TypeParam{} : distinct_marker<TypeParam>(x, y);
      ASSERT_TRUE(rxtest::same_pixel(sub.parent.at(x, y), expected)) << x << ", " << y;
    }
  }
  EXPECT_TRUE(padding_intact(sub.parent));
}

TYPED_TEST(Fills, ClearAlphaExceptRectClipsARectangleOverTheEdges) {
  SubWorld<TypeParam> sub(8, 6, 0, 0, {0, 0, 8, 6});
  const GE_LRect keep = {-3, 2, 5, 40};
  ASSERT_EQ(RX_ClearAlphaExceptRect(nullptr, &keep, &sub.def), RX_Result_OK);
  expect_filled(sub, TypeParam{}, [](int32_t x, int32_t y) { return !(x < 5 && y >= 2); });
}

TYPED_TEST(Fills, ClearAlphaExceptRectOfTheWholeWorldDoesNoWork) {
  SubWorld<TypeParam> sub(8, 6, 0, 0, {0, 0, 8, 6});
  const GE_LRect everything = {-1, -1, 8, 7};
  ReportCapture capture;
  ASSERT_EQ(RX_ClearAlphaExceptRect(nullptr, &everything, &sub.def), RX_Result_OK);
  ASSERT_EQ(RX_ClearAlphaExceptRect(nullptr, nullptr, &sub.def), RX_Result_OK);
  expect_filled(sub, TypeParam{}, [](int32_t, int32_t) { return false; });
  // It returns before the pixels are looked at.
  RX_LayerDef no_pixels = sub.def;
  no_pixels.data = nullptr;
  EXPECT_EQ(RX_ClearAlphaExceptRect(nullptr, &everything, &no_pixels), RX_Result_OK);
  EXPECT_TRUE(capture.errors().empty());
}

TYPED_TEST(Fills, ClearAlphaExceptAnEmptyRectClearsEverything) {
  for (const GE_LRect empty :
       {GE_LRect{3, 3, 3, 5}, GE_LRect{5, 1, 2, 4}, GE_LRect{20, 20, 30, 30}}) {
    SubWorld<TypeParam> sub(9, 7, 4, 8, {1, 1, 8, 6});
    ASSERT_EQ(RX_ClearAlphaExceptRect(nullptr, &empty, &sub.def), RX_Result_OK);
    expect_filled(sub, TypeParam{}, [](int32_t, int32_t) { return true; });
  }
}

struct AbortAfter {
  int32_t calls = 0;
  int32_t allowed;
  static RX_Err abort(void* refcon) {
    auto* self = static_cast<AbortAfter*>(refcon);
    return ++self->calls > self->allowed ? RX_Result_Interrupted : RX_Result_OK;
  }
  static RX_Err progress(void*, int32_t, int32_t) {
    ADD_FAILURE() << "progress is not reported";
    return RX_Result_OK;
  }
};

TYPED_TEST(Fills, ClearAlphaExceptRectAsksAbortOncePerRow) {
  SubWorld<TypeParam> sub(6, 9, 0, 0, {0, 0, 6, 9});
  AbortAfter counter{0, 1000};
  const RX_ProgressInfo info = {&counter, &AbortAfter::abort, &AbortAfter::progress};
  const GE_LRect keep = {1, 1, 5, 8};
  ASSERT_EQ(RX_ClearAlphaExceptRect(&info, &keep, &sub.def), RX_Result_OK);
  EXPECT_EQ(counter.calls, 9);
}

TYPED_TEST(Fills, ClearAlphaExceptRectStopsWithTheAbortCode) {
  SubWorld<TypeParam> sub(6, 9, 0, 0, {0, 0, 6, 9});
  AbortAfter counter{0, 3};
  const RX_ProgressInfo info = {&counter, &AbortAfter::abort, nullptr};
  const GE_LRect keep = {1, 1, 5, 8};
  EXPECT_EQ(RX_ClearAlphaExceptRect(&info, &keep, &sub.def), RX_Result_Interrupted);
  EXPECT_EQ(counter.calls, 4);
  // Rows 0 to 2 were walked; row 3 was refused before it was touched.
  expect_filled(sub, TypeParam{},
                [](int32_t x, int32_t y) { return y == 0 || (y < 3 && (x < 1 || x >= 5)); });
}

TYPED_TEST(Fills, ClearAlphaExceptRectRefusals) {
  TestWorld<TypeParam> world(4, 4);
  const GE_LRect keep = {1, 1, 2, 2};
  RX_LayerDef no_pixels = *world.def();
  no_pixels.data = nullptr;
  OddDepthWorld odd(*world.def());
  RX_LayerDef odd_def = *world.def();
  odd_def.world_object = odd.object();
  ReportCapture capture;
  EXPECT_EQ(RX_ClearAlphaExceptRect(nullptr, &keep, &no_pixels), RX_Result_Internal);
  EXPECT_EQ(RX_ClearAlphaExceptRect(nullptr, &keep, nullptr), RX_Result_Internal);
  EXPECT_EQ(RX_ClearAlphaExceptRect(nullptr, &keep, &odd_def), RX_Result_Internal);
  const auto reports = capture.errors();
  ASSERT_EQ(reports.size(), 3u);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(reports[i].kind, RXHost_Report_ErrString);
    EXPECT_EQ(reports[i].location, kFillBadParameterLocation);
    EXPECT_EQ(reports[i].text, kBadParameterText);
  }
  EXPECT_EQ(reports[2].kind, RXHost_Report_Verification);
  EXPECT_EQ(reports[2].location, kGeneralLocation);
  EXPECT_EQ(reports[2].text, "Unknown world bitdepth in##CONDITIONNAME");
}

}  // namespace
