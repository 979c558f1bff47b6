// The low quality transform copy: a parallelogram of nearest samples.
#include "rx_test_support.h"

namespace {

class TransformCopyLo : public rxtest::BornPackage {};

template <class Px>
class TransformCopyLoDepths : public rxtest::BornPackage {};
TYPED_TEST_SUITE(TransformCopyLoDepths, rxtest::AllPixelTypes);

GE_LPoint fixed(int32_t x, int32_t y) { return {x << 16, y << 16}; }

TYPED_TEST(TransformCopyLoDepths, AnUnturnedCornerSetCopiesThePixelsToTheirPlace) {
  rxtest::TestWorld<TypeParam> src(3, 2);
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 3; ++x) src.at(x, y) = rxtest::pixel_for<TypeParam>(x + 1, y + 1);
  }
  rxtest::TestWorld<TypeParam> dst(6, 5, 8);
  const GE_LPoint corners[3] = {fixed(2, 1), fixed(5, 1), fixed(2, 3)};
  ASSERT_EQ(RX_CopyBits3_LO_Straight(nullptr, src.def(), corners, 0, dst.def()), RX_Result_OK);
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 6; ++x) {
      const bool inside = x >= 2 && x < 5 && y >= 1 && y < 3;
      const TypeParam expected = inside ? src.at(x - 2, y - 1) : TypeParam{};
      EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), expected)) << x << "," << y;
    }
  }
}

TEST_F(TransformCopyLo, DoublingRepeatsEachPixel) {
  rxtest::TestWorld<RX_Pixel8> src(2, 1);
  src.at(0, 0) = {255, 10, 20, 30};
  src.at(1, 0) = {255, 40, 50, 60};
  rxtest::TestWorld<RX_Pixel8> dst(4, 2);
  const GE_LPoint corners[3] = {fixed(0, 0), fixed(4, 0), fixed(0, 2)};
  ASSERT_EQ(RX_CopyBits3_LO_Straight(nullptr, src.def(), corners, 0, dst.def()), RX_Result_OK);
  for (int y = 0; y < 2; ++y) {
    EXPECT_TRUE(rxtest::same_pixel(dst.at(0, y), src.at(0, 0)));
    EXPECT_TRUE(rxtest::same_pixel(dst.at(1, y), src.at(0, 0)));
    EXPECT_TRUE(rxtest::same_pixel(dst.at(2, y), src.at(1, 0)));
    EXPECT_TRUE(rxtest::same_pixel(dst.at(3, y), src.at(1, 0)));
  }
}

TEST_F(TransformCopyLo, AMirroredCornerSetFlipsTheRow) {
  rxtest::TestWorld<RX_Pixel8> src(3, 1);
  for (int x = 0; x < 3; ++x) src.at(x, 0) = {255, uint8_t(x), 0, 0};
  rxtest::TestWorld<RX_Pixel8> dst(3, 1);
  const GE_LPoint corners[3] = {fixed(3, 0), fixed(0, 0), fixed(3, 1)};
  ASSERT_EQ(RX_CopyBits3_LO_Straight(nullptr, src.def(), corners, 0, dst.def()), RX_Result_OK);
  for (int x = 0; x < 3; ++x) EXPECT_EQ(dst.at(x, 0).red, 2 - x);
}

TEST_F(TransformCopyLo, FieldOneLeavesOddRows) {
  rxtest::TestWorld<RX_Pixel8> src(2, 4);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 2; ++x) src.at(x, y) = {255, 1, 2, 3};
  }
  rxtest::TestWorld<RX_Pixel8> dst(2, 4);
  const GE_LPoint corners[3] = {fixed(0, 0), fixed(2, 0), fixed(0, 4)};
  ASSERT_EQ(RX_CopyBits3_LO_Straight(nullptr, src.def(), corners, 1, dst.def()), RX_Result_OK);
  for (int y = 0; y < 4; ++y) EXPECT_EQ(dst.at(0, y).alpha, (y % 2) ? 0 : 255) << y;
}

RX_Err stop_now(void*) { return RX_Result_Interrupted; }

TEST_F(TransformCopyLo, AbortStopsBeforeTheFirstRow) {
  rxtest::TestWorld<RX_Pixel8> src(2, 2);
  src.at(0, 0) = {255, 1, 1, 1};
  rxtest::TestWorld<RX_Pixel8> dst(2, 2);
  const RX_ProgressInfo progress{nullptr, stop_now, nullptr};
  const GE_LPoint corners[3] = {fixed(0, 0), fixed(2, 0), fixed(0, 2)};
  EXPECT_EQ(RX_CopyBits3_LO_Straight(&progress, src.def(), corners, 0, dst.def()), RX_Result_Interrupted);
  EXPECT_EQ(dst.at(0, 0).alpha, 0);
}

TEST_F(TransformCopyLo, RefusesNullWorldsAndOtherDepths) {
  rxtest::ReportCapture capture;
  rxtest::TestWorld<RX_Pixel8> src(2, 2);
  rxtest::TestWorld<RX_Pixel16> deep(2, 2);
  const GE_LPoint corners[3] = {fixed(0, 0), fixed(2, 0), fixed(0, 2)};
  EXPECT_EQ(RX_CopyBits3_LO_Straight(nullptr, nullptr, corners, 0, deep.def()), RX_Result_Internal);
  EXPECT_EQ(capture.last().location, 0x250030);
  EXPECT_EQ(RX_CopyBits3_LO_Straight(nullptr, src.def(), corners, 0, deep.def()), RX_Result_Internal);
  EXPECT_EQ(RX_CopyBits3_LO_Straight(nullptr, src.def(), nullptr, 0, src.def()), RX_Result_Internal);
}

}  // namespace
