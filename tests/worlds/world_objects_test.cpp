// World objects: allocation, references, sub-worlds, shrinking, copying by
// rectangle, release, and every failure with its report.
#include <memory>

#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;

struct WorldDeleter {
  void operator()(RX_World* w) const { delete w; }
};
using WorldPtr = std::unique_ptr<RX_World, WorldDeleter>;

template <class Px>
class WorldObjects : public rxtest::BornPackage {
 protected:
  static int16_t depth() { return int16_t(rxtest::TestWorld<Px>::depth()); }
  void TearDown() override {
    RXHost_FailNthAllocation(0);
    BornPackage::TearDown();
  }
};
TYPED_TEST_SUITE(WorldObjects, rxtest::AllPixelTypes);

// Runs body and gives the code it throws, or 0.
template <class Body>
RX_Err thrown_by(Body&& body) {
  try {
    body();
  } catch (RX_Err code) {
    return code;
  }
  return RX_Result_OK;
}

TYPED_TEST(WorldObjects, NewWorldHasAlignedRowsOfSixteenByteMultiples) {
  const int32_t before = RXp_G_LiveWorldCount;
  WorldPtr world(RX_World::New(7, 5, this->depth(), 0));
  ASSERT_TRUE(world);
  const int32_t pixel = sizeof(TypeParam);
  EXPECT_EQ(world->Depth(), this->depth());
  EXPECT_EQ(world->PixelSize(), size_t(pixel));
  EXPECT_EQ(world->RowStride(), (7 * pixel + 15) & ~15);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(world->Data()) % 16, 0u);
  EXPECT_FALSE(world->IsReference());
  EXPECT_FALSE(world->HasZWWorld());
  const RX_LayerDef& def = world->LayerDef();
  EXPECT_EQ(def.width, 7);
  EXPECT_EQ(def.height, 5);
  EXPECT_EQ(def.world_object, world.get());
  EXPECT_EQ(def.content_rect.right, 7);
  EXPECT_EQ(def.content_rect.bottom, 5);
  EXPECT_EQ(RXp_WorldDepth(&def), this->depth());
  EXPECT_EQ(RXp_G_LiveWorldCount, before + 1);
  world.reset();
  EXPECT_EQ(RXp_G_LiveWorldCount, before);
}

TYPED_TEST(WorldObjects, ClearFlagZeroesEveryPixel) {
  WorldPtr world(RX_World::New(9, 4, this->depth(), RX_WorldFlag_Clear));
  ASSERT_TRUE(world);
  for (int32_t y = 0; y < 4; ++y) {
    const auto* row = static_cast<const uint8_t*>(world->Data()) + y * world->RowStride();
    for (size_t i = 0; i < 9 * sizeof(TypeParam); ++i) ASSERT_EQ(row[i], 0) << y << " " << i;
  }
}

TYPED_TEST(WorldObjects, SidesOutsideOneToThirtyThousandAreInvalidSizes) {
  ReportCapture capture;
  EXPECT_EQ(thrown_by([&] { RX_World::New(30001, 10, this->depth(), 0); }),
            RX_Result_BadCallbackParam);
  ASSERT_EQ(capture.errors().size(), 1u);
  EXPECT_EQ(capture.errors()[0].text, "invalid image buffer size (30001x10).");
  EXPECT_EQ(capture.errors()[0].location, 0x250066);
  EXPECT_EQ(capture.errors()[0].report_class, 8);
  EXPECT_EQ(thrown_by([&] { RX_World::New(0, 10, this->depth(), 0); }), RX_Result_BadCallbackParam);
  EXPECT_EQ(thrown_by([&] { RX_World::New(10, -3, this->depth(), 0); }), RX_Result_BadCallbackParam);
  EXPECT_EQ(capture.errors().back().text, "invalid image buffer size (10x-3).");
}

TYPED_TEST(WorldObjects, ThirtyThousandASidePassesTheSizeCheck) {
  WorldPtr wide(RX_World::New(30000, 1, this->depth(), 0));
  EXPECT_TRUE(wide);
  // A 30000 x 30000 world passes the check; its pixels are refused here by
  // the host so that the test stays small.
  ReportCapture capture;
  RXHost_FailNthAllocation(2);  // the object, then its pixels
  EXPECT_EQ(thrown_by([&] { RX_World::New(30000, 30000, this->depth(), 0); }),
            RX_Result_OutOfMemory);
}

TYPED_TEST(WorldObjects, PixelAllocationFailureReportsThrowsAndLeaksNothing) {
  const int64_t bytes = RXHost_LiveBytes();
  const int32_t worlds = RXp_G_LiveWorldCount;
  ReportCapture capture;
  RXHost_FailNthAllocation(2);
  EXPECT_EQ(thrown_by([&] { RX_World::New(100, 50, this->depth(), 0); }), RX_Result_OutOfMemory);
  ASSERT_EQ(capture.errors().size(), 1u);
  EXPECT_NE(capture.errors()[0].text.find("100x50"), std::string::npos);
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
  EXPECT_EQ(RXp_G_LiveWorldCount, worlds);
}

TYPED_TEST(WorldObjects, ObjectAllocationFailureGivesNull) {
  const int64_t bytes = RXHost_LiveBytes();
  RXHost_FailNthAllocation(1);
  EXPECT_EQ(RX_World::New(10, 10, this->depth(), 0), nullptr);
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TYPED_TEST(WorldObjects, BackedWorldUsesABitmapOfTheFrameStore) {
  const int64_t bytes = RXHost_LiveBytes();
  {
    WorldPtr world(RX_World::New(6, 3, this->depth(), RX_WorldFlag_Backed | RX_WorldFlag_Clear));
    ASSERT_TRUE(world);
    ASSERT_TRUE(world->HasZWWorld());
    ZW_World bitmap = world->GetZWWorld();
    EXPECT_EQ((*bitmap)->width, 6);
    EXPECT_EQ((*bitmap)->height, 3);
    EXPECT_EQ((*bitmap)->bits_per_pixel, 8 * int(sizeof(TypeParam)));
    EXPECT_EQ(world->Data(), ZWp_GetPixBaseAddr(bitmap));
    EXPECT_EQ(world->RowStride(), (*bitmap)->row_bytes);
    EXPECT_EQ(world->Allocation(), reinterpret_cast<void*>(uintptr_t{1}));
    EXPECT_FALSE(world->IsReference());
    EXPECT_FALSE(world->SubWorldSafetyGutterHasBeenOverWritten());
    EXPECT_EQ((*bitmap)->lock_count, 1);
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TYPED_TEST(WorldObjects, BackedAllocationFailureThrowsTheFrameStoresCode) {
  const int64_t bytes = RXHost_LiveBytes();
  ReportCapture capture;
  RXHost_FailNthAllocation(2);
  EXPECT_EQ(thrown_by([&] { RX_World::New(6, 3, this->depth(), RX_WorldFlag_Backed); }),
            RX_Result_OutOfMemory);
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TYPED_TEST(WorldObjects, NewByRectangleRemembersItsCorner) {
  WorldPtr world(RX_World::New(GE_LRect{10, 20, 15, 28}, this->depth(), 0));
  ASSERT_TRUE(world);
  EXPECT_EQ(world->Width(), 5);
  EXPECT_EQ(world->Height(), 8);
  EXPECT_EQ(world->Origin().x, 10);
  EXPECT_EQ(world->Origin().y, 20);
  WorldPtr plain(RX_World::New(5, 8, this->depth(), 0));
  EXPECT_EQ(plain->Origin().x, 0);
  WorldPtr matching(RX_World::NewMatchingWorld(*world, 0));
  EXPECT_EQ(matching->Width(), 5);
  EXPECT_EQ(matching->Height(), 8);
  EXPECT_EQ(matching->Depth(), this->depth());
}

TYPED_TEST(WorldObjects, GutterCatchesAWriteOneBytePastTheLastPixel) {
  WorldPtr world(RX_World::New(3, 2, this->depth(), 0));
  EXPECT_FALSE(world->SubWorldSafetyGutterHasBeenOverWritten());
  auto* last_row = static_cast<uint8_t*>(world->Data()) + world->RowStride();
  last_row[3 * sizeof(TypeParam) - 1] = 0x77;  // the last pixel's own last byte
  EXPECT_FALSE(world->SubWorldSafetyGutterHasBeenOverWritten());
  last_row[3 * sizeof(TypeParam)] = 0x77;
  EXPECT_TRUE(world->SubWorldSafetyGutterHasBeenOverWritten());
}

TYPED_TEST(WorldObjects, ShrinkKeepsTheGutterCheckAndFreesRight) {
  const int64_t bytes = RXHost_LiveBytes();
  {
    WorldPtr world(RX_World::New(10, 6, this->depth(), RX_WorldFlag_Clear));
    auto* const data = static_cast<uint8_t*>(world->Data());
    const int32_t stride = world->RowStride();
    world->ShrinkToSubRect(GE_LRect{2, 1, 5, 4});
    EXPECT_EQ(world->Width(), 3);
    EXPECT_EQ(world->Height(), 3);
    EXPECT_EQ(world->Data(), data + stride + 2 * sizeof(TypeParam));
    EXPECT_FALSE(world->IsReference());
    EXPECT_FALSE(world->SubWorldSafetyGutterHasBeenOverWritten());
    data[5 * stride + 10 * sizeof(TypeParam)] = 1;  // past the original last pixel
    EXPECT_TRUE(world->SubWorldSafetyGutterHasBeenOverWritten());
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TYPED_TEST(WorldObjects, ShrinkRefusesARectangleOutsideAndABackedWorld) {
  ReportCapture capture;
  WorldPtr world(RX_World::New(10, 6, this->depth(), 0));
  EXPECT_EQ(thrown_by([&] { world->ShrinkToSubRect(GE_LRect{-1, 0, 5, 4}); }), RX_Result_Internal);
  EXPECT_EQ(capture.last().text, "bad sub rect in ShrinkToSubRect");
  EXPECT_EQ(capture.last().location, 0x25006F);
  EXPECT_EQ(thrown_by([&] { world->ShrinkToSubRect(GE_LRect{0, 0, 11, 4}); }), RX_Result_Internal);
  EXPECT_EQ(world->Width(), 10);
  WorldPtr backed(RX_World::New(10, 6, this->depth(), RX_WorldFlag_Backed));
  EXPECT_EQ(thrown_by([&] { backed->ShrinkToSubRect(GE_LRect{0, 0, 5, 4}); }), RX_Result_Internal);
  EXPECT_EQ(capture.last().text, "Can't Shrink a RX_World which is backed by a ZW_World");
  EXPECT_EQ(capture.last().location, 0x25006F);
}

TYPED_TEST(WorldObjects, SubWorldSharesRowsAndCutsTheExtent) {
  WorldPtr parent(RX_World::New(20, 10, this->depth(), 0));
  parent->LayerDef().content_rect = {4, 2, 12, 9};
  parent->LayerDef().aspect_words[0] = 3;
  parent->LayerDef().aspect_words[1] = 4;
  WorldPtr sub(RX_World::NewReference(*parent, GE_LRect{6, 1, 16, 5}));
  ASSERT_TRUE(sub);
  EXPECT_TRUE(sub->IsReference());
  EXPECT_EQ(sub->Width(), 10);
  EXPECT_EQ(sub->Height(), 4);
  EXPECT_EQ(sub->RowStride(), parent->RowStride());
  EXPECT_EQ(sub->LayerDef().layer_flags, parent->LayerDef().layer_flags);
  EXPECT_EQ(sub->Data(), static_cast<char*>(parent->Data()) + parent->RowStride() +
                             6 * sizeof(TypeParam));
  const GE_LRect extent = sub->LayerDef().content_rect;
  EXPECT_EQ(extent.left, 0);
  EXPECT_EQ(extent.top, 1);
  EXPECT_EQ(extent.right, 6);
  EXPECT_EQ(extent.bottom, 4);
  EXPECT_EQ(sub->LayerDef().aspect_words[1], 4u);
  EXPECT_FALSE(sub->HasZWWorld());
  // The frame store's order of fields gives the same sub-world.
  WorldPtr same(RX_World::NewReference(*parent, GE_Rect{1, 6, 5, 16}));
  EXPECT_EQ(same->Data(), sub->Data());
  EXPECT_EQ(same->Width(), 10);
  EXPECT_TRUE(sub->RefersTo(*parent));
}

TYPED_TEST(WorldObjects, ReReferenceChecksDepthRectangleAndSelf) {
  ReportCapture capture;
  WorldPtr parent(RX_World::New(8, 8, this->depth(), 0));
  WorldPtr other_depth(RX_World::New(8, 8, this->depth() == 8 ? 16 : 8, 0));
  WorldPtr ref(RX_World::NewReference(*parent, GE_LRect{0, 0, 2, 2}));
  EXPECT_EQ(thrown_by([&] { ref->ReReference(*other_depth, GE_LRect{0, 0, 1, 1}); }),
            RX_Result_Internal);
  EXPECT_EQ(capture.last().text, "can't change bit depth in ReReference");
  EXPECT_EQ(capture.last().location, 0x250070);
  EXPECT_EQ(thrown_by([&] { ref->ReReference(*parent, GE_LRect{0, 0, 9, 1}); }), RX_Result_Internal);
  EXPECT_EQ(capture.last().text, "bad sub rect in ReReference");
  EXPECT_EQ(thrown_by([&] { ref->ReReference(*ref, GE_LRect{0, 0, 1, 1}); }), RX_Result_Internal);
  EXPECT_EQ(capture.last().text, "can't ReReference self");
  // A rectangle that ends on the parent's edge is accepted.
  ref->ReReference(*parent, GE_LRect{5, 6, 8, 8});
  EXPECT_EQ(ref->Width(), 3);
  EXPECT_EQ(ref->Data(), static_cast<char*>(parent->Data()) + 6 * parent->RowStride() +
                             5 * sizeof(TypeParam));
}

TYPED_TEST(WorldObjects, ReReferenceForgetsAnAllocationWithoutFreeingIt) {
  const int64_t bytes = RXHost_LiveBytes();
  WorldPtr parent(RX_World::New(8, 8, this->depth(), 0));
  WorldPtr owner(RX_World::New(4, 4, this->depth(), 0));
  const int64_t with_owner = RXHost_LiveBytes();
  void* const block = owner->Allocation();
  const int32_t stride = owner->RowStride();
  owner->ReReference(*parent, GE_LRect{0, 0, 4, 4});
  EXPECT_TRUE(owner->IsReference());
  owner.reset();
  EXPECT_EQ(RXHost_LiveBytes(), with_owner - int64_t(sizeof(RX_WorldX<TypeParam>)));
  // The caller frees what was forgotten.
  const size_t frame = size_t(stride - sizeof(TypeParam)) + 4 * sizeof(TypeParam) + 8 + 3 * size_t(stride);
  ZW_FreeFrame(block, frame);
  parent.reset();
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TYPED_TEST(WorldObjects, ReleaseAllocationHandsOverTheBlockAndCountsDown) {
  WorldPtr world(RX_World::New(4, 4, this->depth(), 0));
  const int32_t worlds = RXp_G_LiveWorldCount;
  const int32_t stride = world->RowStride();
  void* block = world->ReleaseAllocation();
  EXPECT_NE(block, nullptr);
  EXPECT_EQ(RXp_G_LiveWorldCount, worlds - 1);
  EXPECT_TRUE(world->IsReference());
  EXPECT_EQ(world->ReleaseAllocation(), nullptr);
  EXPECT_EQ(RXp_G_LiveWorldCount, worlds - 1);
  world.reset();
  ZW_FreeFrame(block, size_t(stride - sizeof(TypeParam)) + 4 * sizeof(TypeParam) + 8 + 3 * size_t(stride));
}

TYPED_TEST(WorldObjects, RefersToComparesRowsNotColumns) {
  WorldPtr owner(RX_World::New(10, 10, this->depth(), 0));
  EXPECT_FALSE(owner->RefersTo(*owner));  // an owning world is no reference
  WorldPtr whole(RX_World::NewReference(owner->Data(), 10, 10, this->depth(), owner->RowStride()));
  EXPECT_TRUE(whole->RefersTo(*owner));
  EXPECT_TRUE(whole->RefersTo(*whole));
  WorldPtr low(RX_World::NewReference(*owner, GE_LRect{3, 9, 6, 10}));
  EXPECT_TRUE(low->RefersTo(*owner));
  WorldPtr elsewhere(RX_World::New(10, 10, this->depth(), 0));
  EXPECT_FALSE(low->RefersTo(*elsewhere));
  WorldPtr other_depth(RX_World::New(10, 10, this->depth() == 32 ? 8 : 32, 0));
  EXPECT_FALSE(whole->RefersTo(*other_depth));
}

TYPED_TEST(WorldObjects, ReferenceToForeignMemoryFreesNothing) {
  rxtest::TestWorld<TypeParam> memory(5, 4, 12);
  const int64_t bytes = RXHost_LiveBytes();
  const int32_t worlds = RXp_G_LiveWorldCount;
  {
    WorldPtr ref(RX_World::NewReference(memory.def()->data, 5, 4, this->depth(),
                                        memory.def()->row_stride));
    EXPECT_TRUE(ref->IsReference());
    EXPECT_EQ(ref->Data(), memory.def()->data);
    EXPECT_EQ(RXp_G_LiveWorldCount, worlds);
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TYPED_TEST(WorldObjects, ReferenceToAnEffectWorldTakesItsFields) {
  rxtest::TestWorld<TypeParam> memory(5, 4, 12, 4);
  memory.def()->content_rect = {1, 1, 3, 3};
  WorldPtr ref(RX_World::NewReference(*memory.def()));
  EXPECT_EQ(ref->Depth(), this->depth());
  EXPECT_EQ(ref->Data(), memory.def()->data);
  EXPECT_EQ(ref->RowStride(), memory.def()->row_stride);
  EXPECT_EQ(ref->LayerDef().content_rect.right, 3);
  EXPECT_EQ(memory.def()->world_object, nullptr);  // the record is not written
}

TYPED_TEST(WorldObjects, StackWrapperNeitherOwnsNorWritesTheRecord) {
  rxtest::TestWorld<TypeParam> memory(5, 4);
  memory.def()->aspect_words[0] = 9;
  const int64_t bytes = RXHost_LiveBytes();
  {
    RX_WorldX<TypeParam> wrapper(*memory.def(), false);
    EXPECT_EQ(wrapper.LayerDef().world_object, &wrapper);
    EXPECT_EQ(wrapper.LayerDef().aspect_words[0], 0u);
    EXPECT_EQ(wrapper.Data(), memory.def()->data);
    EXPECT_TRUE(wrapper.IsReference());
    RX_WorldX<TypeParam> keeping(*memory.def(), true);
    EXPECT_EQ(keeping.LayerDef().aspect_words[0], 9u);
    EXPECT_EQ(keeping.LayerDef().world_object, &keeping);
  }
  EXPECT_EQ(memory.def()->world_object, nullptr);
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

TYPED_TEST(WorldObjects, DestructionStampsTheRecordDead) {
  alignas(RX_WorldX<TypeParam>) unsigned char storage[sizeof(RX_WorldX<TypeParam>)];
  rxtest::TestWorld<TypeParam> memory(2, 2);
  auto* wrapper = new (storage) RX_WorldX<TypeParam>(*memory.def(), false);
  wrapper->~RX_WorldX<TypeParam>();
  uint32_t stamp = 0;
  // The record sits after the object's function table pointer.
  std::memcpy(&stamp, storage + sizeof(void*) + offsetof(RX_LayerDef, allocation_stamp), sizeof stamp);
  EXPECT_EQ(stamp, 0xDEADu);
}

TYPED_TEST(WorldObjects, BitmapReferenceRemembersTheHandleAndItsPartDoesNot) {
  const GE_Rect bounds{0, 0, 4, 6};
  ZW_World bitmap = nullptr;
  ASSERT_EQ(ZW_NewWorld(0, 8, &bounds, 8 * sizeof(TypeParam), 0, 0, &bitmap), 0);
  {
    WorldPtr whole(RX_World::NewReference(bitmap));
    EXPECT_EQ(whole->GetZWWorld(), bitmap);
    EXPECT_EQ(whole->Depth(), this->depth());
    EXPECT_EQ(whole->Width(), 6);
    EXPECT_EQ(whole->Height(), 4);
    EXPECT_EQ(whole->Data(), ZWp_GetPixBaseAddr(bitmap));
    EXPECT_TRUE(whole->IsReference());
    WorldPtr part(RX_World::NewReference(bitmap, GE_Rect{1, 2, 3, 5}));
    EXPECT_FALSE(part->HasZWWorld());
    EXPECT_EQ(part->Width(), 3);
    EXPECT_EQ(part->Height(), 2);
    EXPECT_EQ(part->Data(), static_cast<char*>(whole->Data()) + whole->RowStride() +
                                2 * sizeof(TypeParam));
  }
  ZW_DisposeWorld(bitmap);
}

TEST(WorldObjectsAnyDepth, BitmapOfAnotherSizeIsAnUnexpectedDepth) {
  ReportCapture capture;
  const GE_Rect bounds{0, 0, 2, 2};
  ZW_World bitmap = nullptr;
  ASSERT_EQ(ZW_NewWorld(0, 8, &bounds, 32, 0, 0, &bitmap), 0);
  (*bitmap)->bits_per_pixel = 48;
  EXPECT_EQ(thrown_by([&] { delete RX_World::NewReference(bitmap); }), RX_Result_Internal);
  ASSERT_FALSE(capture.errors().empty());
  EXPECT_EQ(capture.last().text, "Unexpected bitdepth in RX_World::NewReference()");
  (*bitmap)->bits_per_pixel = 32;
  ZW_DisposeWorld(bitmap);
}

TEST(WorldObjectsAnyDepth, AnotherDepthIsRefusedByNew) {
  EXPECT_EQ(thrown_by([] { RX_World::New(4, 4, 24, 0); }), RX_Result_Internal);
  EXPECT_EQ(thrown_by([] { RX_World::NewReference(nullptr, 4, 4, 12, 16); }), RX_Result_Internal);
}

TYPED_TEST(WorldObjects, OwningWorldHasNoBitmap) {
  WorldPtr world(RX_World::New(4, 4, this->depth(), 0));
  EXPECT_EQ(thrown_by([&] { world->GetZWWorld(); }), 513);
}

TYPED_TEST(WorldObjects, FillOutPublishesTheWorldAsAnEffectWorld) {
  WorldPtr world(RX_World::New(6, 3, this->depth(), 0));
  world->FillOutEffectWorld(nullptr);  // ignored
  RX_LayerDef out;
  std::memset(&out, 0xCD, sizeof out);
  world->FillOutEffectWorld(&out);
  EXPECT_EQ(out.data, world->Data());
  EXPECT_EQ(out.row_stride, world->RowStride());
  EXPECT_EQ(out.width, 6);
  EXPECT_EQ(out.height, 3);
  EXPECT_EQ(out.world_object, world.get());
  EXPECT_EQ(out.zw_world, nullptr);
  EXPECT_EQ(out.allocation_stamp, 0u);
  EXPECT_EQ(out.reserved0, nullptr);
  EXPECT_EQ(out.layer_flags, world->LayerDef().layer_flags);
  EXPECT_EQ(RXp_WorldDepth(&out), this->depth());
}

TYPED_TEST(WorldObjects, CopyWorldCopiesEveryPixelOfTheOther) {
  WorldPtr src(RX_World::New(5, 4, this->depth(), 0));
  WorldPtr dst(RX_World::New(7, 6, this->depth(), RX_WorldFlag_Clear));
  auto& s = static_cast<RX_WorldX<TypeParam>&>(*src);
  auto& d = static_cast<RX_WorldX<TypeParam>&>(*dst);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 5; ++x) s.Row(y)[x] = rxtest::pixel_for<TypeParam>(x, y);
  }
  dst->CopyWorld(*src);
  for (int y = 0; y < 6; ++y) {
    for (int x = 0; x < 7; ++x) {
      const TypeParam expected = (x < 5 && y < 4) ? rxtest::pixel_for<TypeParam>(x, y) : TypeParam{};
      EXPECT_TRUE(rxtest::same_pixel(d.Row(y)[x], expected)) << x << "," << y;
    }
  }
  EXPECT_FALSE(dst->SubWorldSafetyGutterHasBeenOverWritten());
}

TYPED_TEST(WorldObjects, CopyRectClipsToBothWorlds) {
  WorldPtr src(RX_World::New(6, 6, this->depth(), 0));
  WorldPtr dst(RX_World::New(4, 4, this->depth(), RX_WorldFlag_Clear));
  auto& s = static_cast<RX_WorldX<TypeParam>&>(*src);
  auto& d = static_cast<RX_WorldX<TypeParam>&>(*dst);
  for (int y = 0; y < 6; ++y) {
    for (int x = 0; x < 6; ++x) s.Row(y)[x] = rxtest::pixel_for<TypeParam>(x, y);
  }
  // Source rectangle (-2,-1)..(9,3) placed at (1,2): only what lies in both lands.
  dst->CopyRect(*src, GE_LRect{-2, -1, 9, 3}, 1, 2);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) {
      const int sx = x - 1 - 2, sy = y - 2 - 1;  // destination minus placement plus corner
      const bool inside = sx >= 0 && sy >= 0 && sx < 6 && sy < 3 && x >= 0;
      const TypeParam expected = inside ? rxtest::pixel_for<TypeParam>(sx, sy) : TypeParam{};
      EXPECT_TRUE(rxtest::same_pixel(d.Row(y)[x], expected)) << x << "," << y;
    }
  }
  EXPECT_FALSE(dst->SubWorldSafetyGutterHasBeenOverWritten());
}

TYPED_TEST(WorldObjects, CopyRectRefusesWorldsOfOtherDepth) {
  ReportCapture capture;
  WorldPtr src(RX_World::New(4, 4, this->depth() == 16 ? 32 : 16, 0));
  WorldPtr dst(RX_World::New(4, 4, this->depth(), 0));
  EXPECT_EQ(thrown_by([&] { dst->CopyWorld(*src); }), RX_Result_Internal);
  EXPECT_EQ(capture.last().text, "Src and dest bitdepths are different in RX_World::CopyRect");
  EXPECT_EQ(capture.last().location, 0x25006D);
}

TEST(WorldObjectsAnyDepth, FloatWorldCannotBePremultipliedThroughTheObject) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  {
    WorldPtr world(RX_World::New(2, 2, 32, 0));
    const RX_PixelFloat white{1, 1, 1, 1};
    EXPECT_EQ(thrown_by([&] { world->Premultiply(nullptr); }), RX_Result_Internal);
    EXPECT_EQ(thrown_by([&] { world->Unmultiply(nullptr); }), RX_Result_Internal);
    EXPECT_EQ(thrown_by([&] { world->PremulColor(white, nullptr); }), RX_Result_Internal);
    EXPECT_EQ(thrown_by([&] { world->UnmulColor(white, nullptr); }), RX_Result_Internal);
  }
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(WorldObjectsAnyDepth, DepthOfARecordWithAnObjectComesFromTheObject) {
  rxtest::TestWorld<RX_Pixel16> memory(2, 2);
  RX_WorldX<RX_Pixel16> wrapper(*memory.def(), false);
  RX_LayerDef record{};  // format byte says 8 bits
  record.world_object = &wrapper;
  EXPECT_EQ(RXp_WorldDepth(&record), 16);
}

}  // namespace
