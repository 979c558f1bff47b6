// The single-pixel setters: one store inside the world, nothing outside it
// or for a null pixel, and no depth check.
#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;
using rxtest::TestWorld;

int32_t set_pixel(int32_t x, int32_t y, const RX_Pixel8* p, RX_LayerDef* w) {
  return RX_SetPixel8(x, y, p, w);
}
int32_t set_pixel(int32_t x, int32_t y, const RX_Pixel16* p, RX_LayerDef* w) {
  return RX_SetPixel16(x, y, p, w);
}
int32_t set_pixel(int32_t x, int32_t y, const RX_PixelFloat* p, RX_LayerDef* w) {
  return RX_SetPixelFloat(x, y, p, w);
}

template <class Px>
Px colour() {
  if constexpr (sizeof(Px) == 16)
    return {0.5f, -1.0f, 2.0f, 0.125f};
  else if constexpr (sizeof(Px) == 8)
    return {32768, 65535, 1, 300};
  else
    return {255, 1, 128, 7};
}

// The world's bytes, row padding included.
template <class Px>
std::vector<uint8_t> bytes_of(TestWorld<Px>& world) {
  const RX_LayerDef* def = world.def();
  const auto* first = reinterpret_cast<const uint8_t*>(def->data);
  return std::vector<uint8_t>(first, first + size_t(def->row_stride) * size_t(def->height));
}

template <class Px>
class SetPixel : public ::testing::Test {};
TYPED_TEST_SUITE(SetPixel, rxtest::AllPixelTypes);

TYPED_TEST(SetPixel, StoresThePixelAndChangesNothingElse) {
  for (int32_t misalign : {0, 4, 8}) {
    TestWorld<TypeParam> world(5, 4, 12, misalign);
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 5; ++x) world.at(x, y) = rxtest::pixel_for<TypeParam>(x, y);
    }
    std::vector<uint8_t> expected = bytes_of(world);
    const TypeParam p = colour<TypeParam>();
    std::memcpy(expected.data() + 2 * world.def()->row_stride + 3 * sizeof(TypeParam), &p,
                sizeof p);
    EXPECT_EQ(set_pixel(3, 2, &p, world.def()), 1);
    EXPECT_EQ(bytes_of(world), expected);
  }
}

TYPED_TEST(SetPixel, CornersAreInside) {
  TestWorld<TypeParam> world(6, 3, 4);
  const TypeParam p = colour<TypeParam>();
  EXPECT_EQ(set_pixel(0, 0, &p, world.def()), 1);
  EXPECT_EQ(set_pixel(5, 0, &p, world.def()), 1);
  EXPECT_EQ(set_pixel(0, 2, &p, world.def()), 1);
  EXPECT_EQ(set_pixel(5, 2, &p, world.def()), 1);
  EXPECT_TRUE(rxtest::same_pixel(world.at(5, 2), p));
  EXPECT_TRUE(rxtest::same_pixel(world.at(0, 2), p));
}

TYPED_TEST(SetPixel, OutsideTheWorldGivesZeroAndWritesNothing) {
  TestWorld<TypeParam> world(6, 3, 8);
  const std::vector<uint8_t> before = bytes_of(world);
  const TypeParam p = colour<TypeParam>();
  EXPECT_EQ(set_pixel(6, 0, &p, world.def()), 0);  // x = width
  EXPECT_EQ(set_pixel(0, 3, &p, world.def()), 0);  // y = height
  EXPECT_EQ(set_pixel(-1, 1, &p, world.def()), 0);
  EXPECT_EQ(set_pixel(1, -1, &p, world.def()), 0);
  EXPECT_EQ(set_pixel(1 << 30, 1, &p, world.def()), 0);
  EXPECT_EQ(bytes_of(world), before);
}

TYPED_TEST(SetPixel, NullPixelOrWorldGivesZero) {
  TestWorld<TypeParam> world(2, 2);
  const std::vector<uint8_t> before = bytes_of(world);
  const TypeParam p = colour<TypeParam>();
  ReportCapture capture;
  EXPECT_EQ(set_pixel(1, 1, static_cast<const TypeParam*>(nullptr), world.def()), 0);
  EXPECT_EQ(set_pixel(1, 1, &p, nullptr), 0);
  RX_LayerDef no_pixels = *world.def();
  no_pixels.data = nullptr;
  EXPECT_EQ(set_pixel(1, 1, &p, &no_pixels), 0);
  EXPECT_EQ(bytes_of(world), before);
  EXPECT_TRUE(capture.errors().empty());
}

TEST(SetPixelDepth, TheSetterDoesNotAskTheWorldsDepth) {
  // An 8-bit store into a 16-bit world lands at x * 4 bytes.
  TestWorld<RX_Pixel16> world(4, 1);
  const RX_Pixel8 p = {1, 2, 3, 4};
  ReportCapture capture;
  EXPECT_EQ(RX_SetPixel8(1, 0, &p, world.def()), 1);
  const auto* bytes = static_cast<const uint8_t*>(world.def()->data);
  EXPECT_EQ(bytes[4], 1);
  EXPECT_EQ(bytes[7], 4);
  EXPECT_TRUE(capture.errors().empty());
}

}  // namespace
