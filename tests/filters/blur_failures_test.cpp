#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "RX.h"
#include "blur_reference.h"
#include "blur_test_support.h"
#include "rx_test_support.h"

namespace {

using blurtest::BlurParams;
using blurtest::Kind;
using blurtest::Picture;
using rxtest::ReportCapture;

class BlurFailures : public rxtest::BornPackage {
 protected:
  void TearDown() override {
    RXHost_FailNthAllocation(0);
    RXHost_FailThreadCount(0);
    RXHost_SetThreadCount(0);
    BornPackage::TearDown();
  }
};

// What the host holds: KO's blocks and the memory account.
struct Books {
  int64_t bytes = RXHost_LiveBytes();
  int64_t blocks = RXHost_LiveBlocks();
  int64_t account = RXHost_AccountedBytes();
  bool unchanged() const {
    return RXHost_LiveBytes() == bytes && RXHost_LiveBlocks() == blocks && RXHost_AccountedBytes() == account;
  }
};

template <class Px>
RX_Err thrown_by(Kind kind, Picture<Px>& src, Picture<Px>& dst, const BlurParams& p,
                 const RX_ProgressInfo* progress = nullptr) {
  try {
    blurtest::run_blur(kind, src, dst, p, progress);
  } catch (RX_Err err) {
    return err;
  }
  return RX_Result_OK;
}

TEST_F(BlurFailures, WorldsOfAnotherDepthThanTheSourceAreRefused) {
  Picture<RX_Pixel8> src(4, 4);
  Picture<RX_Pixel16> dst(4, 4);
  const std::vector<uint8_t> before = dst.storage();
  ReportCapture capture;
  for (int kind = 0; kind < 2; ++kind) {
    try {
      if (kind == 0) RX_GaussianBlur1D(nullptr, src.world(), 1.0f, 15, 0, 0, 0, 0, 0, dst.world());
      else RX_BoxBlur1D(nullptr, src.world(), 1.0f, 1, 15, 0, 0, 0, 0, 0, dst.world());
      ADD_FAILURE() << "nothing thrown";
    } catch (RX_Err err) {
      EXPECT_EQ(err, RX_Result_Internal);
    }
  }
  EXPECT_TRUE(dst.storage() == before);
  EXPECT_TRUE(capture.errors().empty());
}

TEST_F(BlurFailures, NullWorldsNegativeRadiiAndOtherLineAxesAreRefused) {
  Picture<RX_Pixel8> src(4, 4), dst(4, 4);
  const std::vector<uint8_t> before = dst.storage();
  for (Kind kind : {Kind::kGaussian, Kind::kBox}) {
    {
      ReportCapture capture;
      try {
        if (kind == Kind::kGaussian) RX_GaussianBlur1D(nullptr, nullptr, 1.0f, 15, 0, 0, 0, 0, 0, dst.world());
        else RX_BoxBlur1D(nullptr, src.world(), 1.0f, 1, 15, 0, 0, 0, 0, 0, nullptr);
        ADD_FAILURE();
      } catch (RX_Err err) {
        EXPECT_EQ(err, RX_Result_Internal);
      }
      ASSERT_EQ(capture.errors().size(), 1u);
      EXPECT_EQ(capture.errors()[0].text, "bad parameter passed to effect callback");
    }
    ReportCapture capture;
    BlurParams p;
    p.radius = -1.0f;
    EXPECT_EQ(thrown_by(kind, src, dst, p), RX_Result_Internal);
    p.radius = std::nanf("");
    EXPECT_EQ(thrown_by(kind, src, dst, p), RX_Result_Internal);
    EXPECT_EQ(capture.errors().size(), 2u);  // a bad parameter each
    p.radius = 1.0f;
    p.dst_vertical = 2;
    EXPECT_EQ(thrown_by(kind, src, dst, p), RX_Result_Internal);
    EXPECT_EQ(capture.errors().size(), 2u);
  }
  EXPECT_TRUE(dst.storage() == before);
}

struct AllocationCase {
  Kind kind;
  int32_t threads;
  BlurParams p;
  int32_t expected_allocations;
};

template <class Px>
void fail_each_allocation(const AllocationCase& c) {
  std::mt19937 rng(9);
  Picture<Px> src(12, 5), dst(12, 5);
  blurtest::fill_random(src, rng, false);
  RXHost_SetThreadCount(c.threads);
  int32_t failures = 0;
  for (int32_t n = 1; n < 100; ++n) {
    const Books books;
    ReportCapture capture;
    RXHost_FailNthAllocation(n);
    const RX_Err err = thrown_by(c.kind, src, dst, c.p);
    RXHost_FailNthAllocation(0);
    EXPECT_TRUE(books.unchanged()) << "allocation " << n;
    if (err == RX_Result_OK) break;
    ++failures;
    EXPECT_EQ(err, RX_Result_OutOfMemory) << "allocation " << n;
    // The allocator's report, held during setup and delivered once.
    ASSERT_EQ(capture.errors().size(), 1u) << "allocation " << n;
    EXPECT_EQ(capture.errors()[0].kind, RXHost_Report_OutOfMemory);
    const bool weights = c.kind == Kind::kGaussian && n == 1;
    EXPECT_EQ(capture.errors()[0].text.rfind(weights ? "out of memory for gaussian weight array ("
                                                     : "out of memory for memory for blurring (",
                                             0),
              0u)
        << capture.errors()[0].text;
  }
  EXPECT_EQ(failures, c.expected_allocations);
}

TEST_F(BlurFailures, EachAllocationOfAGaussianMayFailAndLeavesNothingBehind) {
  BlurParams straight;  // straight colours: one scratch line a thread
  straight.radius = 2.5f;
  // weights, tap tables, their block, the scratch records, one line a thread
  fail_each_allocation<RX_Pixel8>({Kind::kGaussian, 3, straight, 4 + 3});
  // 16 bits and float have no tap tables
  fail_each_allocation<RX_Pixel16>({Kind::kGaussian, 2, straight, 2 + 2});
  BlurParams premultiplied = straight;
  premultiplied.src_premultiplied = 1;  // read in place: no scratch at all
  fail_each_allocation<RX_PixelFloat>({Kind::kGaussian, 4, premultiplied, 1});
}

TEST_F(BlurFailures, EachAllocationOfABoxMayFailAndLeavesNothingBehind) {
  BlurParams three;
  three.radius = 1.5f;
  three.passes = 3;
  // spans, the list of pairs, then a pair and its two lines a thread
  fail_each_allocation<RX_Pixel8>({Kind::kBox, 2, three, 2 + 3 * 2});
  BlurParams one = three;
  one.passes = 1;
  one.src_premultiplied = 1;  // read in place: pairs without lines
  fail_each_allocation<RX_Pixel16>({Kind::kBox, 3, one, 2 + 3});
  one.src_premultiplied = 0;  // copied: one line a thread
  fail_each_allocation<RX_PixelFloat>({Kind::kBox, 1, one, 2 + 2});
}

TEST_F(BlurFailures, AThreadCountThatCannotBeHadIsThrown) {
  Picture<RX_Pixel8> src(6, 3), dst(6, 3);
  const std::vector<uint8_t> before = dst.storage();
  for (Kind kind : {Kind::kGaussian, Kind::kBox}) {
    const Books books;
    RXHost_FailThreadCount(7);
    EXPECT_EQ(thrown_by(kind, src, dst, BlurParams{}), 7);
    RXHost_FailThreadCount(0);
    EXPECT_TRUE(books.unchanged());
  }
  EXPECT_TRUE(dst.storage() == before);
}

struct Aborter {
  int32_t calls = 0;
  int32_t abort_at = 0;  // the call that answers
  RX_Err answer = RX_Result_Interrupted;
  enum { kReturn, kThrowCode, kThrowBadAlloc, kThrowLogic } how = kReturn;
};

RX_Err abort_when_asked(void* refcon) {
  auto* a = static_cast<Aborter*>(refcon);
  if (++a->calls != a->abort_at) return RX_Result_OK;
  switch (a->how) {
    case Aborter::kThrowCode:
      throw RX_Err{a->answer};
    case Aborter::kThrowBadAlloc:
      throw std::bad_alloc();
    case Aborter::kThrowLogic:
      throw std::logic_error("abort callback failed");
    default:
      return a->answer;
  }
}

TEST_F(BlurFailures, AnAbortStopsAfterTheLineOrPassThatAskedAndKeepsTheFinishedLines) {
  Picture<RX_Pixel8> src(6, 5), dst(6, 5);
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 6; ++x) src.at(x, y) = {255, 100, 100, 100};
  for (Kind kind : {Kind::kGaussian, Kind::kBox}) {
    for (int32_t y = 0; y < 5; ++y)
      for (int32_t x = 0; x < 6; ++x) dst.at(x, y) = {1, 2, 3, 4};
    Aborter aborter;
    // Gaussian: after line 2. Box of two passes: after line 1's second pass.
    aborter.abort_at = kind == Kind::kGaussian ? 3 : 4;
    const RX_ProgressInfo progress{&aborter, &abort_when_asked, nullptr};
    BlurParams p;
    p.passes = 2;
    p.src_premultiplied = 1;
    p.dst_premultiplied = 1;
    const Books books;
    EXPECT_EQ(thrown_by(kind, src, dst, p, &progress), RX_Result_Interrupted);
    EXPECT_TRUE(books.unchanged());
    EXPECT_EQ(aborter.calls, aborter.abort_at);
    const int32_t finished = kind == Kind::kGaussian ? 3 : 2;
    for (int32_t y = 0; y < 5; ++y) {
      const bool written = y < finished;
      EXPECT_EQ(dst.at(2, y).alpha == 1, !written) << y;
    }
  }
}

TEST_F(BlurFailures, AProgressWithoutAnAbortCallbackNeverStops) {
  Picture<RX_Pixel16> src(6, 5), dst(6, 5);
  const RX_ProgressInfo progress{nullptr, nullptr, nullptr};
  for (Kind kind : {Kind::kGaussian, Kind::kBox}) {
    EXPECT_EQ(thrown_by(kind, src, dst, BlurParams{}, &progress), RX_Result_OK);
  }
}

TEST_F(BlurFailures, ExceptionsOutOfTheLineCallbacksBecomeCodes) {
  Picture<RX_PixelFloat> src(6, 5), dst(6, 5);
  for (Kind kind : {Kind::kGaussian, Kind::kBox}) {
    Aborter aborter;
    aborter.abort_at = 2;
    const RX_ProgressInfo progress{&aborter, &abort_when_asked, nullptr};
    aborter.how = Aborter::kThrowCode;
    aborter.answer = 1234;
    EXPECT_EQ(thrown_by(kind, src, dst, BlurParams{}, &progress), 1234);

    ReportCapture capture;
    aborter.calls = 0;
    aborter.how = Aborter::kThrowBadAlloc;
    EXPECT_EQ(thrown_by(kind, src, dst, BlurParams{}, &progress), RX_Result_OutOfMemory);
    aborter.calls = 0;
    aborter.how = Aborter::kThrowLogic;
    EXPECT_EQ(thrown_by(kind, src, dst, BlurParams{}, &progress), RX_Result_Internal);
    ASSERT_EQ(capture.errors().size(), 2u);
    EXPECT_EQ(capture.errors()[0].kind, RXHost_Report_Exception);
    EXPECT_EQ(capture.errors()[1].kind, RXHost_Report_Exception);
  }
}

TEST_F(BlurFailures, TheFastBlursAreObsoleteAndAnswerUnimplemented) {
  EXPECT_EQ(RX_FastBlur_Straight(nullptr), RX_Result_Unimplemented);
  EXPECT_EQ(RX_FastBlur_Premul(nullptr, 1, 2.0, "three"), RX_Result_Unimplemented);
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_FastBlurStraight], reinterpret_cast<RX_OverFunc>(&RX_FastBlur_Straight));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_FastBlurPremul], reinterpret_cast<RX_OverFunc>(&RX_FastBlur_Premul));
  // Through the slot, as a caller of the table reaches them.
  auto through_slot = reinterpret_cast<RX_Err (*)(void*, ...)>(RXp_G_OverFuncs[RX_Slot_FastBlurPremul]);
  EXPECT_EQ(through_slot(nullptr, 5), RX_Result_Unimplemented);
}

}  // namespace
