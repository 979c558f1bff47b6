// Effect worlds, pixel data views, chunks and destinations.
#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;

class EffectWorlds : public rxtest::BornPackage {
 protected:
  void TearDown() override {
    RXHost_FailNthAllocation(0);
    BornPackage::TearDown();
  }
};

TEST_F(EffectWorlds, NewWorldIsStampedPublishedAndDisposable) {
  const int64_t bytes = RXHost_LiveBytes();
  for (int32_t depth : {8, 16, 32}) {
    RX_LayerDef world;
    std::memset(&world, 0xCD, sizeof world);
    ASSERT_EQ(RX_NewEffectWorld(nullptr, 7, 5, depth, 1, 0, &world), RX_Result_OK);
    EXPECT_EQ(world.allocation_stamp, RX_EffectWorldStamp);
    EXPECT_NE(world.world_object, nullptr);
    EXPECT_EQ(world.width, 7);
    EXPECT_EQ(world.height, 5);
    EXPECT_EQ(RXp_WorldDepth(&world), depth);
    EXPECT_EQ((world.layer_flags & RX_LayerFlag_Deep) != 0, depth == 16);
    EXPECT_EQ(static_cast<uint8_t*>(world.data)[0], 0);  // cleared
    ASSERT_EQ(RX_DisposeEffectWorld(nullptr, &world), RX_Result_OK);
    const RX_LayerDef zero{};
    EXPECT_EQ(std::memcmp(&world, &zero, sizeof world), 0);
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TEST_F(EffectWorlds, BackedWorldHasABitmap) {
  RX_LayerDef world{};
  ASSERT_EQ(RX_NewEffectWorld(nullptr, 4, 4, 8, 0, 1, &world), RX_Result_OK);
  EXPECT_NE(world.zw_world, nullptr);
  EXPECT_EQ(RX_DisposeEffectWorld(nullptr, &world), RX_Result_OK);
}

TEST_F(EffectWorlds, NullRecordDoesNothing) {
  EXPECT_EQ(RX_NewEffectWorld(nullptr, 4, 4, 8, 0, 0, nullptr), RX_Result_OK);
}

TEST_F(EffectWorlds, InvalidSizeComesBackAsItsCodeAndLeavesTheRecordUnstamped) {
  ReportCapture capture;
  RX_LayerDef world{};
  EXPECT_EQ(RX_NewEffectWorld(nullptr, 30001, 4, 8, 0, 0, &world), RX_Result_BadCallbackParam);
  EXPECT_EQ(world.allocation_stamp, 0u);
  EXPECT_EQ(RX_DisposeEffectWorld(nullptr, &world), RX_Result_BadCallbackParam);
}

TEST_F(EffectWorlds, AllocationFailureIsOutOfMemoryAndLeaksNothing) {
  ReportCapture capture;
  const int64_t bytes = RXHost_LiveBytes();
  for (int n = 1; n <= 2; ++n) {
    RX_LayerDef world{};
    RXHost_FailNthAllocation(n);
    EXPECT_EQ(RX_NewEffectWorld(nullptr, 40, 40, 16, 0, 0, &world), RX_Result_OutOfMemory) << n;
    EXPECT_EQ(world.allocation_stamp, 0u);
    EXPECT_EQ(RXHost_LiveBytes(), bytes);
  }
}

TEST_F(EffectWorlds, DisposingAZeroedRecordIsRefused) {
  ReportCapture capture;
  RX_LayerDef world{};
  EXPECT_EQ(RX_DisposeEffectWorld(nullptr, &world), RX_Result_BadCallbackParam);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().text, "effects modules should only dispose worlds they have allocated");
  EXPECT_EQ(capture.last().location, 0x250003);
  EXPECT_EQ(capture.last().report_class, 8);
  EXPECT_EQ(RX_DisposeEffectWorld(nullptr, nullptr), RX_Result_BadCallbackParam);
  EXPECT_EQ(capture.last().text, "invalid parameter");
}

TEST_F(EffectWorlds, ABitmapRecordCannotBeDisposed) {
  ReportCapture capture;
  const GE_Rect bounds{0, 0, 3, 5};
  ZW_World bitmap = nullptr;
  ASSERT_EQ(ZW_NewWorld(0, 8, &bounds, 64, 0, 0, &bitmap), 0);
  ZW_LockPixels(bitmap);
  RX_LayerDef world;
  std::memset(&world, 0xCD, sizeof world);
  ASSERT_EQ(RX_EffectWorldFromZWWorld(bitmap, &world), RX_Result_OK);
  EXPECT_EQ(world.zw_world, bitmap);
  EXPECT_EQ(world.world_object, nullptr);
  EXPECT_EQ(world.data, ZWp_GetPixBaseAddr(bitmap));
  EXPECT_EQ(world.width, 5);
  EXPECT_EQ(world.height, 3);
  EXPECT_EQ(world.row_stride, (*bitmap)->row_bytes);
  EXPECT_EQ(RXp_WorldDepth(&world), 16);
  EXPECT_EQ(world.content_rect.right, 0);
  EXPECT_EQ(RX_DisposeEffectWorld(nullptr, &world), RX_Result_BadCallbackParam);
  ZW_UnlockPixels(bitmap);
  ZW_DisposeWorld(bitmap);
}

TEST_F(EffectWorlds, BitmapOfAnotherSizeIsRefused) {
  ReportCapture capture;
  const GE_Rect bounds{0, 0, 2, 2};
  ZW_World bitmap = nullptr;
  ASSERT_EQ(ZW_NewWorld(0, 8, &bounds, 32, 0, 0, &bitmap), 0);
  (*bitmap)->bits_per_pixel = 24;
  RX_LayerDef world{};
  EXPECT_EQ(RX_EffectWorldFromZWWorld(bitmap, &world), RX_Result_Internal);
  EXPECT_EQ(capture.last().text, "RX_Worlds can only be 128, 64 or 32 bits per pixel");
  EXPECT_EQ(capture.last().location, 0x250051);
  (*bitmap)->bits_per_pixel = 32;
  ZW_DisposeWorld(bitmap);
}

TEST_F(EffectWorlds, PixelDataOfAnotherDepthIsNullWithSuccess) {
  rxtest::TestWorld<RX_Pixel8> world(3, 3);
  RX_Pixel16* p16 = reinterpret_cast<RX_Pixel16*>(1);
  EXPECT_EQ(RX_GetPixelData16(world.def(), nullptr, &p16), RX_Result_OK);
  EXPECT_EQ(p16, nullptr);
  RX_Pixel8* p8 = nullptr;
  EXPECT_EQ(RX_GetPixelData8(world.def(), nullptr, &p8), RX_Result_OK);
  EXPECT_EQ(p8, world.def()->data);
  EXPECT_EQ(RX_GetPixelData8(world.def(), &world.at(1, 1), &p8), RX_Result_OK);
  EXPECT_EQ(p8, &world.at(1, 1));
  rxtest::TestWorld<RX_PixelFloat> deep(2, 2);
  RX_PixelFloat* pf = nullptr;
  EXPECT_EQ(RX_GetPixelDataFloat(deep.def(), nullptr, &pf), RX_Result_OK);
  EXPECT_EQ(pf, deep.def()->data);
}

TEST_F(EffectWorlds, PixelDataOfANullWorldReportsTheEightBitText) {
  ReportCapture capture;
  RX_Pixel16* p16 = nullptr;
  EXPECT_EQ(RX_GetPixelData16(nullptr, nullptr, &p16), RX_Result_BadCallbackParam);
  EXPECT_EQ(capture.last().text, "bad parameter passed to RX_GetPixelData8");
  EXPECT_EQ(capture.last().location, 0x250054);
  RX_Pixel8* p8 = nullptr;
  EXPECT_EQ(RX_GetPixelData8(nullptr, nullptr, &p8), RX_Result_BadCallbackParam);
  EXPECT_EQ(capture.last().location, 0x250053);
  RX_PixelFloat* pf = nullptr;
  EXPECT_EQ(RX_GetPixelDataFloat(nullptr, nullptr, &pf), RX_Result_BadCallbackParam);
  EXPECT_EQ(capture.last().text, "bad parameter passed to RX_GetPixelDataFloat");
  EXPECT_EQ(capture.last().location, 0x2503E7);
  // A null out pointer is refused the same way.
  rxtest::TestWorld<RX_Pixel8> world(1, 1);
  EXPECT_EQ(RX_GetPixelData8(world.def(), nullptr, nullptr), RX_Result_BadCallbackParam);
}

// ---- chunks ----

constexpr uint32_t fourcc(const char* s) {
  return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) |
         (uint32_t(uint8_t(s[2])) << 8) | uint32_t(uint8_t(s[3]));
}

TEST_F(EffectWorlds, ChunkElementSizesFollowTheirTypes) {
  const struct { const char* code; int16_t size; } sizes[] = {
      {"FLT4", 4}, {"DBL8", 8}, {"LON4", 4}, {"SHT2", 2}, {"FIX4", 4}, {"UFX4", 4},
      {"CHR1", 1}, {"UBT1", 1}, {"UST2", 2}, {"RBG ", 3}, {"WXYZ", 1}};
  for (const auto& s : sizes) {
    int16_t size = -1;
    EXPECT_EQ(RX_ChunkDataSize(fourcc(s.code), &size), RX_Result_OK);
    EXPECT_EQ(size, s.size) << s.code;
  }
}

TEST_F(EffectWorlds, ChunkIsAllocatedClearedLockedAndCounted) {
  const int64_t bytes = RXHost_LiveBytes();
  RX_Chunk chunk;
  std::memset(&chunk, 0xAB, sizeof chunk);
  ASSERT_EQ(RX_NewChunk(5, 3, 2, fourcc("RBG "), &chunk), RX_Result_OK);
  EXPECT_EQ(chunk.row_stride, 5 * 2 * 3);
  ASSERT_NE(chunk.data, nullptr);
  EXPECT_EQ(chunk.data, *chunk.handle);
  EXPECT_EQ(KO_GetHandleSize(chunk.handle), size_t(3 * 30));
  EXPECT_EQ(static_cast<uint8_t*>(chunk.data)[89], 0);
  EXPECT_EQ(RXp_G_ChunkCount, 1);
  EXPECT_EQ(RX_UnlockChunk(&chunk), RX_Result_OK);
  EXPECT_EQ(chunk.data, nullptr);
  EXPECT_EQ(RX_LockChunk(&chunk), RX_Result_OK);
  EXPECT_EQ(RX_LockChunk(&chunk), RX_Result_OK);  // locking twice is fine
  EXPECT_EQ(RX_DisposeChunk(&chunk), RX_Result_OK);
  EXPECT_EQ(RXp_G_ChunkCount, 0);
  EXPECT_EQ(chunk.handle, nullptr);
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TEST_F(EffectWorlds, AnUnknownTypeMakesAValidChunkOfBytes) {
  RX_Chunk chunk{};
  ASSERT_EQ(RX_NewChunk(4, 2, 1, fourcc("ABCD"), &chunk), RX_Result_OK);
  EXPECT_EQ(chunk.row_stride, 4);
  EXPECT_EQ(RX_DisposeChunk(&chunk), RX_Result_OK);
}

TEST_F(EffectWorlds, ChunkRefusalsReportInvalidParameter) {
  ReportCapture capture;
  RX_Chunk chunk{};
  EXPECT_EQ(RX_NewChunk(0, 2, 1, fourcc("FLT4"), &chunk), RX_Result_BadCallbackParam);
  EXPECT_EQ(capture.last().text, "invalid parameter");
  EXPECT_EQ(capture.last().location, 0x25004A);
  EXPECT_EQ(RX_NewChunk(2, 2, 1, fourcc("FLT4"), nullptr), RX_Result_BadCallbackParam);
  EXPECT_EQ(RX_LockChunk(&chunk), RX_Result_BadCallbackParam);   // no handle
  EXPECT_EQ(RX_UnlockChunk(&chunk), RX_Result_BadCallbackParam); // not locked
  EXPECT_EQ(RX_DisposeChunk(nullptr), RX_Result_BadCallbackParam);
  ASSERT_EQ(RX_NewChunk(2, 2, 1, fourcc("FLT4"), &chunk), RX_Result_OK);
  EXPECT_EQ(RX_UnlockChunk(&chunk), RX_Result_OK);
  EXPECT_EQ(RX_UnlockChunk(&chunk), RX_Result_BadCallbackParam);  // unlocking twice is an error
  EXPECT_EQ(RX_DisposeChunk(&chunk), RX_Result_OK);
}

TEST_F(EffectWorlds, ChunkAllocationFailureIsOutOfMemory) {
  ReportCapture capture;
  RX_Chunk chunk{};
  RXHost_FailNthAllocation(1);
  EXPECT_EQ(RX_NewChunk(2, 2, 1, fourcc("FLT4"), &chunk), RX_Result_OutOfMemory);
  EXPECT_EQ(chunk.handle, nullptr);
  EXPECT_EQ(RXp_G_ChunkCount, 0);
  ASSERT_FALSE(capture.errors().empty());
  EXPECT_NE(capture.errors().back().text.find("out of memory for channel chunk"), std::string::npos);
}

// ---- destinations ----

RX_Err device_open(RX_LayerDef* world, void*, RX_Destination* out) {
  out->world = world;
  out->reserved[0] = world;  // a module's own use of the record
  return RX_Result_OK;
}

TEST_F(EffectWorlds, DestinationRecordsTheWorldThroughItsSlots) {
  rxtest::TestWorld<RX_Pixel8> world(2, 2);
  RX_Destination destination;
  std::memset(&destination, 0xEE, sizeof destination);
  ASSERT_EQ(RX_OpenDestination(world.def(), nullptr, &destination), RX_Result_OK);
  EXPECT_EQ(destination.world, world.def());
  EXPECT_EQ(destination.reserved[2], nullptr);
  EXPECT_EQ(RX_CloseDestination(&destination), RX_Result_OK);
  EXPECT_EQ(destination.world, nullptr);
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_OpenDestination, reinterpret_cast<RX_OverFunc>(device_open)),
            RX_Result_OK);
  ASSERT_EQ(RX_OpenDestination(world.def(), nullptr, &destination), RX_Result_OK);
  EXPECT_EQ(destination.reserved[0], world.def());
}

}  // namespace
