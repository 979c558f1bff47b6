// Copies between frame store bitmaps, RX_WorldCopy and its relatives: the
// draft copy through slot 23 (or the default for the _Static form), then
// channel order matched by reversing the four bytes of each destination
// pixel of the rectangle, and refused for a deep destination.
#include <array>
#include <vector>

#include "reference_arith.h"
#include "rx_test_support.h"

namespace {

namespace ref = rxtest::ref;

using rxtest::ReportCapture;

using Bytes4 = std::array<uint8_t, 4>;

// A locked frame store bitmap of the given bits per pixel and channel order.
class Bitmap {
 public:
  Bitmap(int16_t width, int16_t height, int16_t bits, int32_t order) {
    const GE_Rect bounds{0, 0, height, width};  // top, left, bottom, right
    EXPECT_EQ(ZW_NewWorld(0, 8, &bounds, bits, 0, 0, &handle_), 0);
    EXPECT_EQ(ZW_LockPixels(handle_), 0);
    ZW_SetChannelOrder(handle_, order);
  }
  ~Bitmap() {
    ZW_UnlockPixels(handle_);
    ZW_DisposeWorld(handle_);
  }
  Bitmap(const Bitmap&) = delete;
  Bitmap& operator=(const Bitmap&) = delete;

  ZW_World handle() const { return handle_; }
  int32_t width() const { return (*handle_)->width; }
  int32_t height() const { return (*handle_)->height; }
  int32_t pixel_bytes() const { return (*handle_)->bits_per_pixel / 8; }
  uint8_t* at(int32_t x, int32_t y) const {
    return static_cast<uint8_t*>((*handle_)->base_address) + intptr_t{y} * (*handle_)->row_bytes +
           x * pixel_bytes();
  }
  // Every pixel byte a different value.
  void paint(uint8_t seed) {
    for (int32_t y = 0; y < height(); ++y)
      for (int32_t x = 0; x < width(); ++x)
        for (int32_t b = 0; b < pixel_bytes(); ++b)
          at(x, y)[b] = uint8_t(seed + y * 59 + x * 13 + b * 3);
  }
  Bytes4 word(int32_t x, int32_t y) const {
    Bytes4 w;
    std::memcpy(w.data(), at(x, y), 4);
    return w;
  }
  std::vector<uint8_t> snapshot() const {
    std::vector<uint8_t> out;
    for (int32_t y = 0; y < height(); ++y) out.insert(out.end(), at(0, y), at(width(), y));
    return out;
  }

 private:
  ZW_World handle_ = nullptr;
};

Bytes4 reversed(Bytes4 w) { return {w[3], w[2], w[1], w[0]}; }


class WorldCopy : public rxtest::BornPackage {};

TEST_F(WorldCopy, DifferentChannelOrdersReverseTheDestinationBytesInTheRectangle) {
  Bitmap src(4, 3, 32, 1), dst(6, 5, 32, 0);
  src.paint(1);
  dst.paint(100);
  const std::vector<uint8_t> before = dst.snapshot();
  const GE_LRect dr{1, 1, 5, 4};
  ASSERT_EQ(RX_WorldCopy(nullptr, src.handle(), dst.handle(), nullptr, &dr), RX_Result_OK);
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 6; ++x) {
      const bool inside = x >= 1 && x < 5 && y >= 1 && y < 4;
      Bytes4 expected;
      std::memcpy(expected.data(), &before[size_t(y * 6 + x) * 4], 4);
      if (inside) expected = reversed(src.word(x - 1, y - 1));
      EXPECT_EQ(dst.word(x, y), expected) << x << ", " << y;
    }
}

TEST_F(WorldCopy, TheStaticFormFlipsAlikeAndTheFirstArgumentIsNotRead) {
  Bitmap src(3, 3, 32, 0), dst(3, 3, 32, 1);
  src.paint(7);
  dst.paint(8);
  ASSERT_EQ(RX_WorldCopy_Static(reinterpret_cast<void*>(uintptr_t{1}), src.handle(), dst.handle(),
                                nullptr, nullptr),
            RX_Result_OK);
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 3; ++x) EXPECT_EQ(dst.word(x, y), reversed(src.word(x, y))) << x << ", " << y;
}

TEST_F(WorldCopy, TheFlippedRectangleIsClippedToTheBitmap) {
  // Source (0, 0, 3, 3) into (3, 2, 9, 8) of a 6 x 5 bitmap: the draft copy
  // clips to 2 x 2 source pixels into (3, 2, 6, 5), replicating 2 into 3
  // (counts 1, 2); the flip then covers the same pixels.
  Bitmap src(4, 4, 32, 1), dst(6, 5, 32, 0);
  src.paint(3);
  dst.paint(200);
  const std::vector<uint8_t> before = dst.snapshot();
  const GE_LRect sr{0, 0, 3, 3}, dr{3, 2, 9, 8};
  ASSERT_EQ(RX_WorldCopy(nullptr, src.handle(), dst.handle(), &sr, &dr), RX_Result_OK);
  const int32_t from[3] = {0, 1, 1};
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 6; ++x) {
      Bytes4 expected;
      std::memcpy(expected.data(), &before[size_t(y * 6 + x) * 4], 4);
      if (x >= 3 && y >= 2) expected = reversed(src.word(from[x - 3], from[y - 2]));
      EXPECT_EQ(dst.word(x, y), expected) << x << ", " << y;
    }
}

TEST_F(WorldCopy, ARectangleOverTheTopLeftIsFlippedOnlyInsideTheBitmap) {
  // The whole 4 x 3 source into (-1, -1, 3, 2): the draft copy drops the
  // first column and row of the source; the flip covers (0, 0, 3, 2).
  Bitmap src(4, 3, 32, 0), dst(5, 4, 32, 1);
  src.paint(30);
  dst.paint(40);
  const std::vector<uint8_t> before = dst.snapshot();
  const GE_LRect dr{-1, -1, 3, 2};
  ASSERT_EQ(RX_WorldCopy(nullptr, src.handle(), dst.handle(), nullptr, &dr), RX_Result_OK);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 5; ++x) {
      Bytes4 expected;
      std::memcpy(expected.data(), &before[size_t(y * 5 + x) * 4], 4);
      if (x < 3 && y < 2) expected = reversed(src.word(x + 1, y + 1));
      EXPECT_EQ(dst.word(x, y), expected) << x << ", " << y;
    }
}

TEST_F(WorldCopy, EqualChannelOrdersLeaveTheBytesAsCopied) {
  for (int32_t order : {0, 1}) {
    SCOPED_TRACE(order);
    Bitmap src(4, 3, 32, order), dst(4, 3, 32, order);
    src.paint(11);
    dst.paint(12);
    ASSERT_EQ(RX_WorldCopy(nullptr, src.handle(), dst.handle(), nullptr, nullptr), RX_Result_OK);
    EXPECT_EQ(dst.snapshot(), src.snapshot());
  }
}

TEST_F(WorldCopy, ADeepDestinationNeedingAFlipIsReportedAsUnimplementedAfterTheCopy) {
  Bitmap src(3, 2, 32, 1), dst(3, 2, 64, 0);
  src.paint(21);
  ReportCapture capture;
  EXPECT_EQ(RX_WorldCopy(nullptr, src.handle(), dst.handle(), nullptr, nullptr),
            RX_Result_Unimplemented);
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].location, 0x250068);
  EXPECT_EQ(errors[0].report_class, 8);
  EXPECT_EQ(errors[0].text, "Flipping 32/16-bit worlds is not implemented. Source data 8-bit BGRA.");
  // The copy itself was made: each byte widened to 16 bits, in place.
  for (int32_t y = 0; y < 2; ++y)
    for (int32_t x = 0; x < 3; ++x) {
      uint16_t deep[4];
      std::memcpy(deep, dst.at(x, y), 8);
      for (int b = 0; b < 4; ++b) EXPECT_EQ(deep[b], ref::widen_8_to_16(src.at(x, y)[b])) << x << ", " << y;
    }
}

TEST_F(WorldCopy, ADeepSourceIntoABGRABitmapIsNarrowedThenFlipped) {
  // A 64-bit bitmap counts as alpha first.
  Bitmap src(2, 2, 64, 1), dst(2, 2, 32, 1);
  EXPECT_EQ(ZW_GetChannelOrder(src.handle()), 0);
  for (int32_t y = 0; y < 2; ++y)
    for (int32_t x = 0; x < 2; ++x) {
      const uint16_t deep[4] = {uint16_t(32768 - x * 1000), uint16_t(1234 + y * 9000),
                                uint16_t(16384), uint16_t(x * 20000 + y * 500)};
      std::memcpy(src.at(x, y), deep, 8);
    }
  ASSERT_EQ(RX_WorldCopy(nullptr, src.handle(), dst.handle(), nullptr, nullptr), RX_Result_OK);
  for (int32_t y = 0; y < 2; ++y)
    for (int32_t x = 0; x < 2; ++x) {
      uint16_t deep[4];
      std::memcpy(deep, src.at(x, y), 8);
      const Bytes4 narrowed{ref::narrow_16_to_8(deep[0]), ref::narrow_16_to_8(deep[1]), ref::narrow_16_to_8(deep[2]),
                            ref::narrow_16_to_8(deep[3])};
      EXPECT_EQ(dst.word(x, y), reversed(narrowed)) << x << ", " << y;
    }
}

// ---- the slots ----

struct SlotRecord {
  int calls = 0;
  const RX_ProgressInfo* progress = reinterpret_cast<const RX_ProgressInfo*>(uintptr_t{1});
  RX_LayerDef src{}, dst{};
  const GE_LRect* src_rect = nullptr;
  const GE_LRect* dst_rect = nullptr;
  RX_Err result = 0;
};
SlotRecord g_draft_slot, g_straight_slot, g_premul_slot;

template <SlotRecord* R>
RX_Err recording_copy(const RX_ProgressInfo* progress, const RX_LayerDef* src, RX_LayerDef* dst,
                      const GE_LRect* src_rect, const GE_LRect* dst_rect) {
  ++R->calls;
  R->progress = progress;
  R->src = *src;
  R->dst = *dst;
  R->src_rect = src_rect;
  R->dst_rect = dst_rect;
  return R->result;
}

class WorldCopySlots : public rxtest::BornPackage {
 protected:
  void SetUp() override {
    BornPackage::SetUp();
    g_draft_slot = g_straight_slot = g_premul_slot = SlotRecord{};
    ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_CopyDraft,
                                 reinterpret_cast<void (*)()>(&recording_copy<&g_draft_slot>)),
              0);
    ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_CopyHQStraight,
                                 reinterpret_cast<void (*)()>(&recording_copy<&g_straight_slot>)),
              0);
    ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_CopyHQPremul,
                                 reinterpret_cast<void (*)()>(&recording_copy<&g_premul_slot>)),
              0);
  }
};

TEST_F(WorldCopySlots, WorldCopyReachesSlot23WithFreeStandingRecordsOfTheBitmaps) {
  Bitmap src(4, 3, 32, 0), dst(5, 2, 64, 0);
  const GE_LRect sr{0, 0, 2, 2}, dr{1, 0, 3, 2};
  ASSERT_EQ(RX_WorldCopy(nullptr, src.handle(), dst.handle(), &sr, &dr), RX_Result_OK);
  ASSERT_EQ(g_draft_slot.calls, 1);
  EXPECT_EQ(g_draft_slot.progress, nullptr);
  EXPECT_EQ(g_draft_slot.src_rect, &sr);
  EXPECT_EQ(g_draft_slot.dst_rect, &dr);
  EXPECT_EQ(g_draft_slot.src.data, (*src.handle())->base_address);
  EXPECT_EQ(g_draft_slot.src.width, 4);
  EXPECT_EQ(g_draft_slot.src.height, 3);
  EXPECT_EQ(g_draft_slot.src.row_stride, (*src.handle())->row_bytes);
  EXPECT_EQ(g_draft_slot.src.world_object, nullptr);
  EXPECT_EQ(g_draft_slot.src.zw_world, src.handle());
  EXPECT_EQ(RXp_WorldDepth(&g_draft_slot.src), 8);
  EXPECT_EQ(g_draft_slot.dst.data, (*dst.handle())->base_address);
  EXPECT_EQ(RXp_WorldDepth(&g_draft_slot.dst), 16);
  EXPECT_EQ(g_straight_slot.calls + g_premul_slot.calls, 0);
}

TEST_F(WorldCopySlots, TheStaticFormBypassesAnOverriddenSlot23) {
  Bitmap src(3, 2, 32, 0), dst(3, 2, 32, 0);
  src.paint(5);
  dst.paint(6);
  ASSERT_EQ(RX_WorldCopy_Static(nullptr, src.handle(), dst.handle(), nullptr, nullptr), RX_Result_OK);
  EXPECT_EQ(g_draft_slot.calls, 0);
  EXPECT_EQ(dst.snapshot(), src.snapshot());
}

TEST_F(WorldCopySlots, AFailedCopyIsReturnedAndNothingIsFlipped) {
  Bitmap src(3, 2, 32, 1), dst(3, 2, 32, 0);
  dst.paint(6);
  const std::vector<uint8_t> before = dst.snapshot();
  g_draft_slot.result = 77;
  EXPECT_EQ(RX_WorldCopy(nullptr, src.handle(), dst.handle(), nullptr, nullptr), 77);
  EXPECT_EQ(g_draft_slot.calls, 1);
  EXPECT_EQ(dst.snapshot(), before);
}

TEST_F(WorldCopySlots, HighQualityFormsReachSlots24And25AndTheirStaticFormsDoNot) {
  Bitmap src(4, 4, 32, 0), dst(4, 4, 32, 0);
  src.paint(9);
  dst.paint(10);
  ASSERT_EQ(RX_WorldCopy_HQ(nullptr, src.handle(), dst.handle(), nullptr, nullptr), RX_Result_OK);
  EXPECT_EQ(g_straight_slot.calls, 1);
  ASSERT_EQ(RX_WorldCopy_HQ_Straight(nullptr, src.handle(), dst.handle(), nullptr, nullptr),
            RX_Result_OK);
  EXPECT_EQ(g_straight_slot.calls, 2);
  EXPECT_EQ(g_straight_slot.progress, nullptr);
  EXPECT_EQ(g_straight_slot.src.data, (*src.handle())->base_address);
  ASSERT_EQ(RX_WorldCopy_HQ_Premul(nullptr, src.handle(), dst.handle(), nullptr, nullptr),
            RX_Result_OK);
  EXPECT_EQ(g_premul_slot.calls, 1);
  EXPECT_EQ(g_premul_slot.progress, nullptr);
  EXPECT_EQ(g_draft_slot.calls, 0);
  // Nothing was copied by the recorders.
  EXPECT_NE(dst.snapshot(), src.snapshot());

  ASSERT_EQ(RX_WorldCopy_HQ_Static(nullptr, src.handle(), dst.handle(), nullptr, nullptr),
            RX_Result_OK);
  EXPECT_EQ(dst.snapshot(), src.snapshot());
  dst.paint(10);
  ASSERT_EQ(RX_WorldCopy_HQ_Straight_Static(nullptr, src.handle(), dst.handle(), nullptr, nullptr),
            RX_Result_OK);
  EXPECT_EQ(dst.snapshot(), src.snapshot());
  EXPECT_EQ(g_straight_slot.calls, 2);
  EXPECT_EQ(g_premul_slot.calls, 1);
  EXPECT_EQ(g_draft_slot.calls, 0);
}

}  // namespace
