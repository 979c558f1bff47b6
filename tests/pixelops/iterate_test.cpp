// The plain iterate: a pixel function over a rectangle of a world at any
// depth, in row order, with progress after each row.
#include <tuple>

#include "iterate_helpers.h"

namespace {

using itest::Event;
using itest::ProgressLog;
using itest::px;
using itest::Recorder;
using rxtest::ReportCapture;
using rxtest::TestWorld;

template <class Px>
class Iterate : public rxtest::BornPackage {};
TYPED_TEST_SUITE(Iterate, rxtest::AllPixelTypes);

// The calls cover [l, r) x [t, b) in row order, left to right; out is the
// destination pixel (x, y), in the source pixel (x, y) or out itself.
template <class Px>
void expect_rectangle(const Recorder<Px>& rec, int32_t l, int32_t t, int32_t r, int32_t b,
                      const RX_LayerDef* dst, const RX_LayerDef* src) {
  const size_t expected = (r > l && b > t) ? size_t(r - l) * size_t(b - t) : 0;
  ASSERT_EQ(rec.calls.size(), expected);
  size_t i = 0;
  for (int32_t y = t; y < b; ++y) {
    for (int32_t x = l; x < r; ++x, ++i) {
      const auto& c = rec.calls[i];
      ASSERT_EQ(c.x, x) << "call " << i;
      ASSERT_EQ(c.y, y) << "call " << i;
      ASSERT_EQ(c.out, px<Px>(dst, x, y)) << "call " << i;
      ASSERT_EQ(c.in, src ? px<Px>(src, x, y) : c.out) << "call " << i;
    }
  }
}

TYPED_TEST(Iterate, NullAreaCoversWholeDestinationInRowOrder) {
  using Px = TypeParam;
  TestWorld<Px> dst(5, 4, 12, 4);
  itest::fill<Px>(dst.def(), 1);
  Recorder<Px> rec;
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, nullptr, nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  expect_rectangle(rec, 0, 0, 5, 4, dst.def(), nullptr);
  // Without a source the function sees the destination pixel as its input.
  for (const auto& c : rec.calls) {
    EXPECT_TRUE(rxtest::same_pixel(c.in_value, itest::tagged<Px>(c.x, c.y, 1)));
  }
}

TYPED_TEST(Iterate, NullAreaIsClippedToASmallerSource) {
  using Px = TypeParam;
  TestWorld<Px> dst(7, 5, 8, 2);
  itest::SubWorld<Px> src(9, 8, 2, 3, 4, 3, 4, 6);
  itest::fill<Px>(src.def(), 2);
  Recorder<Px> rec;
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  expect_rectangle(rec, 0, 0, 4, 3, dst.def(), src.def());
  for (const auto& c : rec.calls) {
    EXPECT_TRUE(rxtest::same_pixel(c.in_value, itest::tagged<Px>(c.x, c.y, 2)));
  }
}

TYPED_TEST(Iterate, SourceLargerThanDestinationIsWalkedOnlyOverTheDestination) {
  using Px = TypeParam;
  TestWorld<Px> dst(3, 2, 4, 1);
  TestWorld<Px> src(6, 5, 0, 3);
  Recorder<Px> rec;
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  expect_rectangle(rec, 0, 0, 3, 2, dst.def(), src.def());
}

TYPED_TEST(Iterate, OutputWrittenFromTheSourcePixelAtTheSameCoordinates) {
  using Px = TypeParam;
  itest::SubWorld<Px> dst(10, 9, 3, 2, 6, 5, 8, 4);
  itest::SubWorld<Px> src(8, 8, 1, 1, 6, 5, 0, 2);
  itest::fill<Px>(src.def(), 3);
  itest::fill<Px>(dst.parent().def(), 9);
  const itest::Bytes src_before(src.parent().def());
  itest::Bytes dst_parent(dst.parent().def());

  Recorder<Px> rec;
  rec.action = itest::Action::BumpIntoOut;
  const GE_LRect area{1, 1, 5, 4};
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), &area, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  expect_rectangle(rec, 1, 1, 5, 4, dst.def(), src.def());

  // Expected: the destination pixels of the area hold the bumped source
  // pixels; every other byte of the larger world is as it was.
  std::vector<uint8_t> expected = dst_parent.copy;
  const int32_t stride = dst.parent().def()->row_stride;
  for (int32_t y = 1; y < 4; ++y) {
    for (int32_t x = 1; x < 5; ++x) {
      const Px v = itest::bumped(itest::tagged<Px>(x, y, 3));
      std::memcpy(&expected[size_t((y + 2) * stride) + size_t(x + 3) * sizeof(Px)], &v, sizeof v);
    }
  }
  EXPECT_EQ(dst_parent.now(), expected);
  EXPECT_EQ(src_before.now(), src_before.copy);
}

TYPED_TEST(Iterate, WithoutSourceInputIsOutputAndChangesInPlaceStay) {
  using Px = TypeParam;
  TestWorld<Px> dst(4, 3, 20, 6);
  itest::fill<Px>(dst.def(), 4);
  Recorder<Px> rec;
  rec.action = itest::Action::BumpIntoOut;
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, nullptr, nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  for (const auto& c : rec.calls) EXPECT_EQ(static_cast<const Px*>(c.out), c.in);
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 4; ++x)
      EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), itest::bumped(itest::tagged<Px>(x, y, 4))))
          << x << "," << y;
}

TYPED_TEST(Iterate, UpsideDownWorldsAreWalkedWithTheirSignedStride) {
  using Px = TypeParam;
  itest::UpsideDownWorld<Px> dst(5, 4, 8, 2);
  itest::UpsideDownWorld<Px> src(5, 4, 0, 6);
  itest::fill<Px>(src.def(), 5);
  Recorder<Px> rec;
  rec.action = itest::Action::BumpIntoOut;
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  expect_rectangle(rec, 0, 0, 5, 4, dst.def(), src.def());
  // Row 0 of the world is the last row of its memory.
  EXPECT_TRUE(rxtest::same_pixel(dst.memory().at(2, 3), itest::bumped(itest::tagged<Px>(2, 0, 5))));
}

TYPED_TEST(Iterate, EveryRowWidthIsWalkedLeftToRight) {
  using Px = TypeParam;
  TestWorld<Px> dst(19, 2, 4, 2);
  for (int32_t width = 1; width <= 17; ++width) {
    Recorder<Px> rec;
    const GE_LRect area{1, 0, 1 + width, 2};
    ASSERT_EQ(RX_Iterate(nullptr, 0, 0, nullptr, &area, &rec, rec.as_func8(), dst.def()),
              RX_Result_OK);
    expect_rectangle(rec, 1, 0, 1 + width, 2, dst.def(), nullptr);
  }
}

// ---- the rectangle ----

TYPED_TEST(Iterate, AreasHangingOverEachEdgeAreClampedToTheDestination) {
  using Px = TypeParam;
  TestWorld<Px> dst(6, 5, 4, 6);
  const std::vector<GE_LRect> areas = {
      {-3, 1, 2, 4},   // over the left edge
      {1, -4, 3, 2},   // over the top edge
      {4, 1, 11, 3},   // over the right edge
      {2, 3, 5, 9},    // over the bottom edge
      {-1, -1, 7, 6},  // over all edges
  };
  for (const auto& a : areas) {
    Recorder<Px> rec;
    ASSERT_EQ(RX_Iterate(nullptr, 0, 0, nullptr, &a, &rec, rec.as_func8(), dst.def()),
              RX_Result_OK);
    expect_rectangle(rec, std::max(a.left, 0), std::max(a.top, 0), std::min(a.right, 6),
                     std::min(a.bottom, 5), dst.def(), nullptr);
  }
}

TYPED_TEST(Iterate, NegativeLeftAndTopAreClampedWithoutShifting) {
  using Px = TypeParam;
  TestWorld<Px> dst(4, 4, 0, 2);
  TestWorld<Px> src(4, 4, 8, 0);
  itest::fill<Px>(src.def(), 6);
  Recorder<Px> rec;
  const GE_LRect area{-2, -3, 2, 2};
  ASSERT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), &area, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  ASSERT_FALSE(rec.calls.empty());
  EXPECT_EQ(rec.calls[0].x, 0);
  EXPECT_EQ(rec.calls[0].y, 0);
  EXPECT_EQ(rec.calls[0].out, &dst.at(0, 0));
  EXPECT_TRUE(rxtest::same_pixel(rec.calls[0].in_value, itest::tagged<Px>(0, 0, 6)));
  expect_rectangle(rec, 0, 0, 2, 2, dst.def(), src.def());
}

TYPED_TEST(Iterate, AreaIsClampedToTheSourceSize) {
  using Px = TypeParam;
  TestWorld<Px> dst(8, 6, 4, 2);
  itest::SubWorld<Px> src(10, 10, 5, 5, 5, 4, 0, 2);
  Recorder<Px> rec;
  const GE_LRect area{2, 1, 8, 6};
  ASSERT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), &area, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  expect_rectangle(rec, 2, 1, 5, 4, dst.def(), src.def());
}

TYPED_TEST(Iterate, AreasThatMissTheWorldReturnZeroWithoutCalls) {
  using Px = TypeParam;
  TestWorld<Px> dst(6, 5, 4, 2);
  const std::vector<GE_LRect> areas = {
      {6, 0, 9, 5},    // left equal to the width
      {7, 0, 9, 5},    // left beyond the width
      {0, 5, 6, 8},    // top equal to the height
      {0, 6, 6, 8},    // top beyond the height
      {-4, 0, 0, 5},   // right below 1
      {0, -4, 6, 0},   // bottom below 1
  };
  for (const auto& a : areas) {
    Recorder<Px> rec;
    EXPECT_EQ(RX_Iterate(nullptr, 0, 0, nullptr, &a, &rec, rec.as_func8(), dst.def()),
              RX_Result_OK);
    EXPECT_TRUE(rec.calls.empty()) << a.left << "," << a.top << "," << a.right << "," << a.bottom;
  }
}

TYPED_TEST(Iterate, AreaLeftAtTheDestinationWidthMakesNoCallEvenWithProgressWanted) {
  using Px = TypeParam;
  TestWorld<Px> dst(6, 3, 4, 2);
  Recorder<Px> rec;
  ProgressLog log;
  const GE_LRect area{6, 0, 9, 3};
  EXPECT_EQ(RX_Iterate(&log.context, 0, 3, nullptr, &area, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  EXPECT_TRUE(rec.calls.empty());
}

TYPED_TEST(Iterate, AreaStartingAtTheSourceEdgeIsEmpty) {
  using Px = TypeParam;
  TestWorld<Px> dst(8, 6, 0, 2);
  TestWorld<Px> src(4, 3, 4, 0);
  for (const GE_LRect& a : {GE_LRect{4, 0, 8, 6}, GE_LRect{5, 0, 8, 6}, GE_LRect{0, 3, 8, 6},
                            GE_LRect{0, 4, 8, 6}}) {
    Recorder<Px> rec;
    EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), &a, &rec, rec.as_func8(), dst.def()),
              RX_Result_OK);
    EXPECT_TRUE(rec.calls.empty());
  }
}

TYPED_TEST(Iterate, OnePixelWideAreaCallsOncePerRow) {
  using Px = TypeParam;
  TestWorld<Px> dst(9, 4, 4, 2);
  Recorder<Px> rec;
  const GE_LRect area{3, 0, 4, 4};
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, nullptr, &area, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  expect_rectangle(rec, 3, 0, 4, 4, dst.def(), nullptr);
}

// ---- stopping ----

TYPED_TEST(Iterate, FirstNonZeroReturnStopsAtOnceAndIsReturned) {
  using Px = TypeParam;
  TestWorld<Px> dst(5, 4, 4, 2);
  itest::fill<Px>(dst.def(), 8);
  Recorder<Px> rec;
  rec.action = itest::Action::WriteMarker;
  rec.stop_at = 7;  // pixel (2, 1)
  rec.stop_code = 42;
  std::vector<Event> events;
  ProgressLog log;
  log.events = &events;
  rec.events = &events;
  EXPECT_EQ(RX_Iterate(&log.context, 0, 4, nullptr, nullptr, &rec, rec.as_func8(), dst.def()), 42);
  ASSERT_EQ(rec.calls.size(), 8u);
  // One progress call after row 0; none after the failing call.
  ASSERT_EQ(log.calls.size(), 1u);
  EXPECT_EQ(events.back(), (Event{Event::Pixel, 2, 1}));
  // Pixels up to the failing one were written, later ones not.
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 0; x < 5; ++x) {
      const bool written = y * 5 + x <= 7;
      EXPECT_TRUE(rxtest::same_pixel(
          dst.at(x, y), written ? itest::marker<Px>(x, y) : itest::tagged<Px>(x, y, 8)))
          << x << "," << y;
    }
  }
}

TYPED_TEST(Iterate, PixelFunctionReturningInterruptedStopsWithoutAProgressCall) {
  using Px = TypeParam;
  TestWorld<Px> dst(3, 3, 4, 2);
  Recorder<Px> rec;
  rec.stop_at = 2;  // last pixel of row 0
  rec.stop_code = RX_Result_Interrupted;
  ProgressLog log;
  EXPECT_EQ(RX_Iterate(&log.context, 0, 3, nullptr, nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_Interrupted);
  EXPECT_EQ(rec.calls.size(), 3u);
  EXPECT_TRUE(log.calls.empty());
}

// ---- progress ----

TYPED_TEST(Iterate, ProgressFollowsEachRowWithBasePlusRowsDone) {
  using Px = TypeParam;
  TestWorld<Px> dst(5, 7, 4, 2);
  Recorder<Px> rec;
  ProgressLog log;
  std::vector<Event> events;
  rec.events = log.events = &events;
  const GE_LRect area{1, 2, 4, 6};
  EXPECT_EQ(RX_Iterate(&log.context, 10, 99, nullptr, &area, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  std::vector<Event> expected;
  for (int32_t y = 2; y < 6; ++y) {
    for (int32_t x = 1; x < 4; ++x) expected.push_back({Event::Pixel, x, y});
    expected.push_back({Event::Progress, 10 + 1 - 2 + y, 99});
  }
  EXPECT_EQ(events, expected) << itest::describe(events);
  for (const auto& c : log.calls) EXPECT_EQ(c.token, log.token());
}

TYPED_TEST(Iterate, ProgressUsesTheTopAfterClamping) {
  using Px = TypeParam;
  TestWorld<Px> dst(2, 3, 0, 2);
  Recorder<Px> rec;
  ProgressLog log;
  const GE_LRect area{0, -5, 2, 3};
  EXPECT_EQ(RX_Iterate(&log.context, 0, 3, nullptr, &area, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  ASSERT_EQ(log.calls.size(), 3u);
  for (int32_t i = 0; i < 3; ++i) {
    EXPECT_EQ(log.calls[i].current, i + 1);
    EXPECT_EQ(log.calls[i].total, 3);
  }
}

TYPED_TEST(Iterate, InterruptedFromProgressEndsTheLoopAndIsReturned) {
  using Px = TypeParam;
  TestWorld<Px> dst(4, 5, 4, 2);
  Recorder<Px> rec;
  ProgressLog log;
  log.returns = {0, RX_Result_Interrupted};
  EXPECT_EQ(RX_Iterate(&log.context, 0, 5, nullptr, nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_Interrupted);
  EXPECT_EQ(rec.calls.size(), 8u);
  EXPECT_EQ(log.calls.size(), 2u);
}

TYPED_TEST(Iterate, OtherProgressCodeOnTheLastRowIsTheResult) {
  using Px = TypeParam;
  TestWorld<Px> dst(4, 3, 4, 2);
  Recorder<Px> rec;
  ProgressLog log;
  log.returns = {0, 0, 7};
  EXPECT_EQ(RX_Iterate(&log.context, 0, 3, nullptr, nullptr, &rec, rec.as_func8(), dst.def()), 7);
  EXPECT_EQ(rec.calls.size(), 12u);
}

TYPED_TEST(Iterate, OtherProgressCodeOnEarlierRowsDoesNotStopAndIsOverwritten) {
  using Px = TypeParam;
  TestWorld<Px> dst(4, 3, 4, 2);
  Recorder<Px> rec;
  ProgressLog log;
  log.returns = {7, 9, 0};
  EXPECT_EQ(RX_Iterate(&log.context, 0, 3, nullptr, nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  EXPECT_EQ(rec.calls.size(), 12u);
  EXPECT_EQ(log.calls.size(), 3u);
}

TYPED_TEST(Iterate, FinalZeroWithNullContextIsLegal) {
  using Px = TypeParam;
  TestWorld<Px> dst(3, 2, 4, 2);
  Recorder<Px> rec;
  EXPECT_EQ(RX_Iterate(nullptr, 123, 0, nullptr, nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  EXPECT_EQ(rec.calls.size(), 6u);
}

TYPED_TEST(Iterate, FinalZeroMakesNoProgressCall) {
  using Px = TypeParam;
  TestWorld<Px> dst(3, 2, 4, 2);
  Recorder<Px> rec;
  ProgressLog log;
  EXPECT_EQ(RX_Iterate(&log.context, 5, 0, nullptr, nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  EXPECT_TRUE(log.calls.empty());
}

TYPED_TEST(Iterate, ContextIsReadAtBytes32And184Only) {
  using Px = TypeParam;
  TestWorld<Px> dst(2, 2, 4, 2);
  ProgressLog log;
  // A record filled with garbage but for the two fields the package reads.
  RX_EffectContext raw;
  std::memset(&raw, 0xA5, sizeof raw);
  const RX_EffectProgressFunc progress = &ProgressLog::progress;
  const RX_EffectToken token = log.token();
  std::memcpy(reinterpret_cast<char*>(&raw) + 32, &progress, sizeof progress);
  std::memcpy(reinterpret_cast<char*>(&raw) + 184, &token, sizeof token);
  Recorder<Px> rec;
  EXPECT_EQ(RX_Iterate(&raw, 0, 2, nullptr, nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  ASSERT_EQ(log.calls.size(), 2u);
  EXPECT_EQ(log.calls[0].token, token);
  EXPECT_EQ(log.calls[1].current, 2);
}

// ---- refusals ----

TYPED_TEST(Iterate, SourceOfOtherDepthIsRefusedWithTheVerificationReport) {
  using Px = TypeParam;
  using Other = typename itest::OtherDepth<Px>::type;
  TestWorld<Px> dst(3, 3, 4, 2);
  TestWorld<Other> src(3, 3, 0, 0);
  Recorder<Px> rec;
  ReportCapture capture;
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_Internal);
  EXPECT_TRUE(rec.calls.empty());
  itest::expect_single_report(capture, RXHost_Report_Verification, itest::kDepthsDifferLocation,
                              itest::kDepthsDifferText);
}

TYPED_TEST(Iterate, NullWorldsDataOrFunctionAreRefusedWithLocation14) {
  using Px = TypeParam;
  TestWorld<Px> dst(3, 3, 4, 2);
  TestWorld<Px> src(3, 3, 0, 0);
  RX_LayerDef no_data = *dst.def();
  no_data.data = nullptr;
  Recorder<Px> rec;
  const GE_LRect area{0, 0, 3, 3};
  struct Case {
    const char* name;
    const RX_LayerDef* src;
    RX_PixelFunc8 func;
    RX_LayerDef* dst;
  };
  const Case cases[] = {
      {"null destination", nullptr, rec.as_func8(), nullptr},
      {"destination without data", nullptr, rec.as_func8(), &no_data},
      {"source without data", &no_data, rec.as_func8(), dst.def()},
      {"null function", src.def(), nullptr, dst.def()},
      {"null function, no source", nullptr, nullptr, dst.def()},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ReportCapture capture;
    EXPECT_EQ(RX_Iterate(nullptr, 0, 0, c.src, &area, &rec, c.func, c.dst), RX_Result_Internal);
    itest::expect_bad_parameter(capture, itest::kBadParameterPlain);
  }
  EXPECT_TRUE(rec.calls.empty());
}

TYPED_TEST(Iterate, NullArgumentsAreRefusedBeforeDepthsAreCompared) {
  using Px = TypeParam;
  using Other = typename itest::OtherDepth<Px>::type;
  TestWorld<Px> dst(3, 3, 4, 2);
  TestWorld<Other> src(3, 3, 0, 0);
  RX_LayerDef no_data = *dst.def();
  no_data.data = nullptr;
  Recorder<Px> rec;
  {
    ReportCapture capture;
    EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), nullptr, &rec, nullptr, dst.def()),
              RX_Result_Internal);
    itest::expect_bad_parameter(capture, itest::kBadParameterPlain);
  }
  {
    ReportCapture capture;
    EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), nullptr, &rec, rec.as_func8(), &no_data),
              RX_Result_Internal);
    itest::expect_bad_parameter(capture, itest::kBadParameterPlain);
  }
  EXPECT_TRUE(rec.calls.empty());
}

TYPED_TEST(Iterate, ProgressCountsOnlyTheRowsOfASmallerSource) {
  using Px = TypeParam;
  TestWorld<Px> dst(3, 6, 4, 2);
  TestWorld<Px> src(3, 2, 0, 2);
  Recorder<Px> rec;
  ProgressLog log;
  EXPECT_EQ(RX_Iterate(&log.context, 0, 6, src.def(), nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  EXPECT_EQ(rec.calls.size(), 6u);
  ASSERT_EQ(log.calls.size(), 2u);
  EXPECT_EQ(log.calls[0].current, 1);
  EXPECT_EQ(log.calls[1].current, 2);
}

// ---- format byte without a world object ----

class IterateEightBits : public rxtest::BornPackage {};

TEST_F(IterateEightBits, UnknownFormatByteIteratesAsEightBitsWithAReport) {
  TestWorld<RX_Pixel8> dst(3, 2, 4, 1);
  dst.def()->layer_flags = 3u << RX_LayerFlag_FormatShift;
  Recorder<RX_Pixel8> rec;
  ReportCapture capture;
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, nullptr, nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  expect_rectangle(rec, 0, 0, 3, 2, dst.def(), nullptr);
  const auto errors = capture.errors();
  ASSERT_FALSE(errors.empty());
  for (const auto& r : errors) {
    EXPECT_EQ(r.kind, RXHost_Report_Verification);
    EXPECT_EQ(r.location, itest::kGeneralVerification);
    EXPECT_EQ(r.text, itest::kUnknownPixelFormatText);
  }
}

TEST_F(IterateEightBits, UnknownFormatByteMatchesAnEightBitSource) {
  TestWorld<RX_Pixel8> dst(3, 2, 4, 1);
  TestWorld<RX_Pixel8> src(3, 2, 0, 3);
  dst.def()->layer_flags = 3u << RX_LayerFlag_FormatShift;
  Recorder<RX_Pixel8> rec;
  ReportCapture capture;
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  expect_rectangle(rec, 0, 0, 3, 2, dst.def(), src.def());
  for (const auto& r : capture.errors()) {
    EXPECT_EQ(r.text, itest::kUnknownPixelFormatText);
  }
}

// ---- the exported entry and its slot ----

struct OverrideLog {
  int calls = 0;
  RX_EffectContext* context;
  int32_t base, final_value;
  const RX_LayerDef* src;
  const GE_LRect* area;
  void* refcon;
  RX_PixelFunc8 func;
  RX_LayerDef* dst;
};
OverrideLog g_override;

RX_Err replacement_iterate(RX_EffectContext* context, int32_t base, int32_t final_value,
                           const RX_LayerDef* src, const GE_LRect* area, void* refcon,
                           RX_PixelFunc8 func, RX_LayerDef* dst) {
  g_override = {g_override.calls + 1, context, base, final_value, src, area, refcon, func, dst};
  return 1234;
}

TEST_F(IterateEightBits, ExportedIterateReachesTheFunctionInSlot42) {
  TestWorld<RX_Pixel8> dst(2, 2);
  TestWorld<RX_Pixel8> src(2, 2);
  Recorder<RX_Pixel8> rec;
  ProgressLog log;
  const GE_LRect area{0, 0, 1, 1};
  g_override = {};
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_Iterate, reinterpret_cast<RX_OverFunc>(&replacement_iterate)),
            RX_Result_OK);
  EXPECT_EQ(RX_Iterate(&log.context, 4, 5, src.def(), &area, &rec, rec.as_func8(), dst.def()), 1234);
  EXPECT_EQ(g_override.calls, 1);
  EXPECT_EQ(g_override.context, &log.context);
  EXPECT_EQ(g_override.base, 4);
  EXPECT_EQ(g_override.final_value, 5);
  EXPECT_EQ(g_override.src, src.def());
  EXPECT_EQ(g_override.area, &area);
  EXPECT_EQ(g_override.refcon, &rec);
  EXPECT_EQ(g_override.func, rec.as_func8());
  EXPECT_EQ(g_override.dst, dst.def());
  EXPECT_TRUE(rec.calls.empty());

  // The default put back serves the exported entry again.
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_Iterate, reinterpret_cast<RX_OverFunc>(&RX_Iterate_S)),
            RX_Result_OK);
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  EXPECT_EQ(rec.calls.size(), 4u);
  EXPECT_EQ(g_override.calls, 1);
}

TEST(IterateRebirth, BirthRestoresTheDefaultInSlot42) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_Iterate, reinterpret_cast<RX_OverFunc>(&replacement_iterate)),
            RX_Result_OK);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  TestWorld<RX_Pixel8> dst(2, 3);
  Recorder<RX_Pixel8> rec;
  g_override = {};
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, nullptr, nullptr, &rec, rec.as_func8(), dst.def()),
            RX_Result_OK);
  EXPECT_EQ(rec.calls.size(), 6u);
  EXPECT_EQ(g_override.calls, 0);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TYPED_TEST(Iterate, DefaultEntryBehavesAsTheExportedOne) {
  using Px = TypeParam;
  TestWorld<Px> dst(4, 3, 4, 2);
  TestWorld<Px> src(4, 3, 8, 1);
  Recorder<Px> a, b;
  const GE_LRect area{1, 1, 3, 3};
  EXPECT_EQ(RX_Iterate_S(nullptr, 0, 0, src.def(), &area, &a, a.as_func8(), dst.def()),
            RX_Result_OK);
  EXPECT_EQ(RX_Iterate(nullptr, 0, 0, src.def(), &area, &b, b.as_func8(), dst.def()),
            RX_Result_OK);
  expect_rectangle(a, 1, 1, 3, 3, dst.def(), src.def());
  expect_rectangle(b, 1, 1, 3, 3, dst.def(), src.def());
}

}  // namespace
