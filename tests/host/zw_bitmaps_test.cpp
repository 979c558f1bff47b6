#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "KO/KO.h"
#include "ZW/ZW.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;
using hosttest::FailNth;
using hosttest::ReportCapture;

ZW_World make(int16_t width, int16_t height, int32_t bits) {
  const GE_Rect bounds{0, 0, height, width};  // top, left, bottom, right
  ZW_World world = nullptr;
  EXPECT_EQ(ZW_NewWorld(0, 0, &bounds, bits, 0, 0, &world), KO_Err_None);
  return world;
}

TEST(ZwBitmaps, RecordLayoutIsTheOneThePackageReads) {
  EXPECT_EQ(offsetof(ZW_Bitmap, width), 8u);
  EXPECT_EQ(offsetof(ZW_Bitmap, height), 10u);
  EXPECT_EQ(offsetof(ZW_Bitmap, bits_per_pixel), 20u);
  EXPECT_EQ(offsetof(ZW_Bitmap, channel_order), 22u);
  EXPECT_EQ(offsetof(ZW_Bitmap, base_address), 80u);
  EXPECT_EQ(offsetof(ZW_Bitmap, row_bytes), 88u);
  EXPECT_EQ(offsetof(ZW_Bitmap, lock_count), 92u);
  EXPECT_EQ(offsetof(ZW_Bitmap, pixels), 96u);
  EXPECT_EQ(sizeof(ZW_Bitmap), 112u);
}

TEST(ZwBitmaps, NewWorldFillsTheRecord) {
  const GE_Rect bounds{10, 20, 15, 27};  // 7 wide, 5 high
  ZW_World world = nullptr;
  ASSERT_EQ(ZW_NewWorld(0, 0, &bounds, 64, 0, 0, &world), KO_Err_None);
  ASSERT_NE(world, nullptr);
  const ZW_Bitmap& bm = **world;
  EXPECT_EQ(bm.width, 7);
  EXPECT_EQ(bm.height, 5);
  EXPECT_EQ(bm.bits_per_pixel, 64);
  EXPECT_EQ(bm.channel_order, 0);
  EXPECT_EQ(bm.row_bytes, 64);  // 56 rounded up to 16
  EXPECT_EQ(bm.base_address, nullptr);
  EXPECT_EQ(bm.lock_count, 0);
  ASSERT_NE(bm.pixels, nullptr);
  EXPECT_EQ(ZWp_GetPixBaseAddr(world), bm.pixels);
  ZW_DisposeWorld(world);
}

TEST(ZwBitmaps, RowsAreSixteenByteMultiplesAndPixelsAreZero) {
  for (int32_t bits : {32, 64, 128}) {
    for (int16_t width : {1, 3, 4, 5, 17}) {
      ZW_World world = make(width, 3, bits);
      ASSERT_NE(world, nullptr);
      const ZW_Bitmap& bm = **world;
      EXPECT_EQ(bm.row_bytes % 16, 0) << bits << " " << width;
      EXPECT_GE(bm.row_bytes, width * bits / 8);
      EXPECT_LT(bm.row_bytes, width * bits / 8 + 16);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(bm.pixels) % 16, 0u);
      const auto* bytes = static_cast<const uint8_t*>(bm.pixels);
      for (int32_t i = 0; i < bm.row_bytes * 3; ++i) ASSERT_EQ(bytes[i], 0);
      ZW_DisposeWorld(world);
    }
  }
}

TEST(ZwBitmaps, BadShapesAreRejected) {
  ZW_World world = reinterpret_cast<ZW_World>(uintptr_t{1});
  const GE_Rect ok{0, 0, 4, 4}, empty{0, 0, 0, 4}, inverted{5, 5, 1, 1};
  EXPECT_EQ(ZW_NewWorld(0, 0, &ok, 16, 0, 0, &world), KO_Err_Internal);
  EXPECT_EQ(world, nullptr);
  EXPECT_EQ(ZW_NewWorld(0, 0, &ok, 24, 0, 0, &world), KO_Err_Internal);
  EXPECT_EQ(ZW_NewWorld(0, 0, &empty, 32, 0, 0, &world), KO_Err_Internal);
  EXPECT_EQ(ZW_NewWorld(0, 0, &inverted, 32, 0, 0, &world), KO_Err_Internal);
  EXPECT_EQ(ZW_NewWorld(0, 0, nullptr, 32, 0, 0, &world), KO_Err_Internal);
  EXPECT_EQ(ZW_NewWorld(0, 0, &ok, 32, 0, 0, nullptr), KO_Err_Internal);
  const GE_Rect too_wide{0, -32768, 1, 32767};  // 65535 wide
  EXPECT_EQ(ZW_NewWorld(0, 0, &too_wide, 32, 0, 0, &world), KO_Err_Internal);
}

TEST(ZwBitmaps, LargestSideIsAccepted) {
  ZW_World world = make(32767, 1, 32);
  ASSERT_NE(world, nullptr);
  EXPECT_EQ((*world)->width, 32767);
  ZW_DisposeWorld(world);
}

TEST(ZwBitmaps, LockingSetsTheBaseAddressUntilTheLastUnlock) {
  ZW_World world = make(4, 4, 32);
  ASSERT_EQ(ZW_LoadLockPixels(1, world, 0, 0), KO_Err_None);
  EXPECT_EQ((*world)->base_address, (*world)->pixels);
  EXPECT_EQ((*world)->lock_count, 1);
  ASSERT_EQ(ZW_LockPixels(world), KO_Err_None);
  EXPECT_EQ((*world)->lock_count, 2);
  ZW_UnlockPixels(world);
  EXPECT_EQ((*world)->base_address, (*world)->pixels);
  ZW_UnlockPixels(world);
  EXPECT_EQ((*world)->base_address, nullptr);
  EXPECT_EQ((*world)->lock_count, 0);
  ZW_UnlockPixels(world);  // one too many: stays at zero
  EXPECT_EQ((*world)->lock_count, 0);
  EXPECT_EQ(ZWp_GetPixBaseAddr(world), (*world)->pixels);
  ZW_DisposeWorld(world);
}

TEST(ZwBitmaps, NullWorldsAreHarmless) {
  EXPECT_EQ(ZW_LockPixels(nullptr), KO_Err_Internal);
  EXPECT_EQ(ZW_LoadLockPixels(1, nullptr, 0, 0), KO_Err_Internal);
  ZW_UnlockPixels(nullptr);
  ZW_DisposeWorld(nullptr);
  EXPECT_EQ(ZWp_GetPixBaseAddr(nullptr), nullptr);
  EXPECT_EQ(ZW_GetChannelOrder(nullptr), 0);
  ZW_SetChannelOrder(nullptr, 1);
}

TEST(ZwBitmaps, ChannelOrderBelongsToThirtyTwoBitBitmaps) {
  ZW_World eight = make(2, 2, 32);
  ZW_World sixteen = make(2, 2, 64);
  EXPECT_EQ(ZW_GetChannelOrder(eight), 0);
  ZW_SetChannelOrder(eight, 1);
  EXPECT_EQ(ZW_GetChannelOrder(eight), 1);
  EXPECT_EQ((*eight)->channel_order, 1);
  ZW_SetChannelOrder(sixteen, 1);
  EXPECT_EQ(ZW_GetChannelOrder(sixteen), 0);
  EXPECT_EQ((*sixteen)->channel_order, 0);
  ZW_DisposeWorld(eight);
  ZW_DisposeWorld(sixteen);
}

TEST(ZwBitmaps, ABitmapIsThreeCountedBlocks) {
  const Books before;
  ZW_World world = make(10, 10, 128);
  EXPECT_EQ(RXHost_LiveBlocks(), before.blocks + 3);
  EXPECT_EQ(RXHost_LiveBytes(),
            before.bytes + int64_t{sizeof(void*)} + int64_t{sizeof(ZW_Bitmap)} + 160 * 10);
  ZW_LockPixels(world);
  ZW_DisposeWorld(world);  // locked or not
  EXPECT_TRUE(before.unchanged());
}

TEST(ZwBitmaps, ABitmapIsOneAllocationForTheFailHook) {
  ReportCapture capture;
  const Books before;
  {
    FailNth hook(2);
    ZW_World first = make(4, 4, 32);
    ASSERT_NE(first, nullptr);
    const GE_Rect bounds{0, 0, 4, 4};
    ZW_World second = nullptr;
    EXPECT_EQ(ZW_NewWorld(0, 0, &bounds, 32, 0, 0, &second), KO_Err_OutOfMemory);
    EXPECT_EQ(second, nullptr);
    ZW_DisposeWorld(first);
  }
  EXPECT_TRUE(before.unchanged());
  EXPECT_EQ(capture.size(), 0u);  // the frame store reports for itself
}

}  // namespace
