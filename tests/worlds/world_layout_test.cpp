// Row strides and gutters of small owning worlds, and the depth dispatch's
// report.
#include <memory>

#include "rx_test_support.h"
#include "worlds/with_depth.h"

namespace {

using rxtest::ReportCapture;

class WorldLayout : public rxtest::BornPackage {};

// Counts the gutter bytes after the last pixel of the last row.
int gutter_bytes_after_last_pixel(const RX_World& world) {
  const auto* last_row = static_cast<const uint8_t*>(world.Data()) +
                         (world.Height() - 1) * world.RowStride();
  const uint8_t* p = last_row + world.Width() * world.PixelSize();
  int count = 0;
  while (count < 64 && p[count] == 0x55) ++count;
  return count;
}

TEST_F(WorldLayout, OneByOneEightBitWorldHasStrideSixteenAndATwelveByteGutter) {
  std::unique_ptr<RX_World> world(RX_World::New(1, 1, 8, 0));
  EXPECT_EQ(world->RowStride(), 16);
  EXPECT_GE(gutter_bytes_after_last_pixel(*world), 12);
  static_cast<uint8_t*>(world->Data())[4 + 11] = 0;  // the gutter's last byte
  EXPECT_TRUE(world->SubWorldSafetyGutterHasBeenOverWritten());
}

TEST_F(WorldLayout, FourByOneEightBitWorldStillHasATwelveByteGutter) {
  std::unique_ptr<RX_World> world(RX_World::New(4, 1, 8, 0));
  EXPECT_EQ(world->RowStride(), 16);
  EXPECT_GE(gutter_bytes_after_last_pixel(*world), 12);
  static_cast<uint8_t*>(world->Data())[16 + 11] = 0;
  EXPECT_TRUE(world->SubWorldSafetyGutterHasBeenOverWritten());
}

TEST_F(WorldLayout, WorldWhoseRowsNeedNoPaddingStillGetsAGutter) {
  // 16-bit pixels of 8 bytes, two a row: 16 bytes, no padding within rows.
  std::unique_ptr<RX_World> world(RX_World::New(2, 3, 16, RX_WorldFlag_Clear));
  EXPECT_EQ(world->RowStride(), 16);
  EXPECT_GE(gutter_bytes_after_last_pixel(*world), 8);
  EXPECT_FALSE(world->SubWorldSafetyGutterHasBeenOverWritten());
}

TEST_F(WorldLayout, BackedWorldsAreSubReferencedShrunkAndDestroyed) {
  const int64_t bytes = RXHost_LiveBytes();
  for (int16_t depth : {8, 16, 32}) {
    std::unique_ptr<RX_World> backed(RX_World::New(8, 6, depth, RX_WorldFlag_Backed));
    std::unique_ptr<RX_World> sub(RX_World::NewReference(*backed, GE_LRect{2, 2, 6, 5}));
    EXPECT_TRUE(sub->IsReference());
    EXPECT_FALSE(sub->HasZWWorld());  // sub-worlds of a bitmap do not hold it
    sub->ShrinkToSubRect(GE_LRect{1, 1, 3, 2});
    EXPECT_EQ(sub->Width(), 2);
    EXPECT_EQ(sub->Data(), static_cast<char*>(backed->Data()) + 3 * backed->RowStride() +
                               3 * backed->PixelSize());
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TEST(DepthDispatch, AnUnknownDepthKeepsItsUnexpandedMacroText) {
  ReportCapture capture;
  const RX_Err err = rx::with_depth(24, []<class Px>() { return RX_Err{RX_Result_OK}; });
  EXPECT_EQ(err, RX_Result_Internal);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_Verification);
  EXPECT_EQ(capture.last().text, "Unknown world bitdepth in##CONDITIONNAME");
  EXPECT_EQ(capture.last().location, 0x2503E7);
}

TEST(DepthDispatch, EachDepthReachesItsPixelType) {
  auto size_of = [](int32_t depth) {
    size_t size = 0;
    rx::with_depth(depth, [&]<class Px>() {
      size = sizeof(Px);
      return RX_Err{RX_Result_OK};
    });
    return size;
  };
  EXPECT_EQ(size_of(8), 4u);
  EXPECT_EQ(size_of(16), 8u);
  EXPECT_EQ(size_of(32), 16u);
}

}  // namespace
