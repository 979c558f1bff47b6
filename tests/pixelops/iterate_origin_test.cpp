// The origin iterate: the source placed at an offset in the destination,
// clipped to the placed source or reading transparent black outside it.
#include <algorithm>

#include "iterate_helpers.h"

namespace {

using itest::Event;
using itest::ProgressLog;
using itest::px;
using itest::Recorder;
using rxtest::ReportCapture;
using rxtest::TestWorld;

template <class Px>
class IterateOrigin : public rxtest::BornPackage {};
TYPED_TEST_SUITE(IterateOrigin, rxtest::AllPixelTypes);

using OriginEntry = RX_Err (*)(RX_EffectContext*, int32_t, int32_t, const RX_LayerDef*,
                               const GE_LRect*, const GE_LPoint*, void*, RX_PixelFunc8,
                               RX_LayerDef*);

bool inside_memory(const void* p, const RX_LayerDef* world) {
  const auto* start = static_cast<const char*>(world->data);
  const auto* q = static_cast<const char*>(p);
  return q >= start && q < start + intptr_t{world->row_stride} * world->height;
}

// The calls cover [l, r) x [t, b) in row order; destination (x, y) reads
// source (x - ox, y - oy), or an all-zero pixel that is not in the source
// when that lies outside it.
template <class Px>
void expect_placed(const Recorder<Px>& rec, int32_t l, int32_t t, int32_t r, int32_t b,
                   GE_LPoint origin, const RX_LayerDef* dst, const RX_LayerDef* src,
                   const RX_LayerDef* src_memory) {
  const size_t expected = (r > l && b > t) ? size_t(r - l) * size_t(b - t) : 0;
  ASSERT_EQ(rec.calls.size(), expected);
  size_t i = 0;
  for (int32_t y = t; y < b; ++y) {
    for (int32_t x = l; x < r; ++x, ++i) {
      const auto& c = rec.calls[i];
      ASSERT_EQ(c.x, x) << "call " << i;
      ASSERT_EQ(c.y, y) << "call " << i;
      ASSERT_EQ(c.out, px<Px>(dst, x, y)) << "call " << i;
      const int32_t sx = x - origin.x, sy = y - origin.y;
      if (sx >= 0 && sx < src->width && sy >= 0 && sy < src->height) {
        ASSERT_EQ(c.in, px<Px>(src, sx, sy)) << "call " << i;
      } else {
        ASSERT_NE(c.in, nullptr) << "call " << i;
        ASSERT_TRUE(itest::is_zero(c.in_value)) << "call " << i << " at " << x << "," << y;
        ASSERT_FALSE(inside_memory(c.in, src_memory)) << "call " << i;
        ASSERT_FALSE(inside_memory(c.in, dst)) << "call " << i;
      }
    }
  }
}

struct OriginCase {
  bool has_area;
  GE_LRect area;
  GE_LPoint origin;
};

TYPED_TEST(IterateOrigin, WithClippingTheCallsCoverAreaDestinationAndPlacedSource) {
  using Px = TypeParam;
  TestWorld<Px> dst(10, 8, 12, 4);
  itest::SubWorld<Px> src(7, 6, 2, 1, 4, 3, 4, 2);
  itest::fill<Px>(src.parent().def(), 9);
  const OriginCase cases[] = {
      {false, {}, {3, 2}},
      {false, {}, {0, 0}},
      {false, {}, {-2, -1}},
      {false, {}, {8, 6}},
      {false, {}, {-4, 0}},
      {false, {}, {10, 0}},
      {false, {}, {0, -3}},
      {true, {4, 0, 6, 8}, {3, 2}},
      {true, {-5, -5, 20, 20}, {3, 2}},
      {true, {0, 0, 5, 3}, {3, 2}},
      {true, {-3, -3, 1, 1}, {-1, -2}},
      {true, {7, 0, 10, 8}, {3, 2}},  // starts exactly where the placed source ends
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(testing::Message() << "origin " << k.origin.x << "," << k.origin.y << " area "
                                    << k.has_area);
    Recorder<Px> rec;
    EXPECT_EQ(RX_IterateOrigin(nullptr, 0, 0, src.def(), k.has_area ? &k.area : nullptr, &k.origin,
                               &rec, rec.as_func8(), dst.def()),
              RX_Result_OK);
    const GE_LRect a = k.has_area ? k.area : GE_LRect{0, 0, 10, 8};
    const int32_t l = std::max({a.left, 0, k.origin.x});
    const int32_t t = std::max({a.top, 0, k.origin.y});
    const int32_t r = std::min({a.right, 10, 4 + k.origin.x});
    const int32_t b = std::min({a.bottom, 8, 3 + k.origin.y});
    expect_placed(rec, l, t, r, b, k.origin, dst.def(), src.def(), src.parent().def());
  }
}

TYPED_TEST(IterateOrigin, DestinationPixelReadsTheSourcePixelShiftedByTheOrigin) {
  using Px = TypeParam;
  itest::SubWorld<Px> dst(12, 10, 1, 2, 9, 7, 8, 6);
  TestWorld<Px> src(5, 4, 4, 2);
  itest::fill<Px>(src.def(), 3);
  itest::fill<Px>(dst.parent().def(), 8);
  itest::Bytes dst_bytes(dst.parent().def());
  Recorder<Px> rec;
  rec.action = itest::Action::BumpIntoOut;
  const GE_LPoint origin{3, 2};
  EXPECT_EQ(RX_IterateOrigin(nullptr, 0, 0, src.def(), nullptr, &origin, &rec, rec.as_func8(),
                             dst.def()),
            RX_Result_OK);
  std::vector<uint8_t> expected = dst_bytes.copy;
  const int32_t stride = dst.parent().def()->row_stride;
  for (int32_t y = 2; y < 6; ++y) {
    for (int32_t x = 3; x < 8; ++x) {
      const Px v = itest::bumped(itest::tagged<Px>(x - 3, y - 2, 3));
      std::memcpy(&expected[size_t((y + 2) * stride) + size_t(x + 1) * sizeof(Px)], &v, sizeof v);
    }
  }
  EXPECT_EQ(dst_bytes.now(), expected);
}

TYPED_TEST(IterateOrigin, AreaStartingBeyondThePlacedSourceReturnsZeroWithoutCalls) {
  using Px = TypeParam;
  TestWorld<Px> dst(12, 10, 4, 2);
  TestWorld<Px> src(4, 3, 0, 2);
  const GE_LPoint origin{3, 2};
  for (const GE_LRect& a : {GE_LRect{8, 0, 12, 10}, GE_LRect{11, 0, 12, 10},
                            GE_LRect{0, 6, 12, 10}, GE_LRect{0, 9, 12, 10},
                            GE_LRect{7, 0, 12, 10}, GE_LRect{0, 5, 12, 10}}) {
    Recorder<Px> rec;
    ProgressLog log;
    EXPECT_EQ(RX_IterateOrigin(&log.context, 0, 5, src.def(), &a, &origin, &rec, rec.as_func8(),
                               dst.def()),
              RX_Result_OK);
    EXPECT_TRUE(rec.calls.empty());
    EXPECT_TRUE(log.calls.empty());
  }
}

TYPED_TEST(IterateOrigin, AreasThatMissTheDestinationReturnZeroWithoutCalls) {
  using Px = TypeParam;
  TestWorld<Px> dst(6, 5, 4, 2);
  TestWorld<Px> src(6, 5, 0, 2);
  const GE_LPoint origin{0, 0};
  for (OriginEntry entry : {OriginEntry{RX_IterateOrigin}, OriginEntry{RX_IterateOrigin_NoClip}}) {
    for (const GE_LRect& a : {GE_LRect{6, 0, 9, 5}, GE_LRect{7, 0, 9, 5}, GE_LRect{0, 5, 6, 8},
                              GE_LRect{0, 6, 6, 8}, GE_LRect{-4, 0, 0, 5},
                              GE_LRect{0, -4, 6, 0}}) {
      Recorder<Px> rec;
      EXPECT_EQ(entry(nullptr, 0, 0, src.def(), &a, &origin, &rec, rec.as_func8(), dst.def()),
                RX_Result_OK);
      EXPECT_TRUE(rec.calls.empty());
    }
  }
}

TYPED_TEST(IterateOrigin, WithoutClippingPixelsLeftOfTheOriginReadTransparentBlack) {
  using Px = TypeParam;
  TestWorld<Px> dst(16, 3, 8, 2);
  itest::SubWorld<Px> src(10, 5, 1, 1, 8, 3, 4, 2);
  itest::fill<Px>(src.parent().def(), 6);
  Recorder<Px> rec;
  const GE_LPoint origin{10, 0};
  EXPECT_EQ(RX_IterateOrigin_NoClip(nullptr, 0, 0, src.def(), nullptr, &origin, &rec,
                                    rec.as_func8(), dst.def()),
            RX_Result_OK);
  ASSERT_EQ(rec.calls.size(), 48u);
  for (const auto& c : rec.calls) {
    if (c.x < 10) {
      EXPECT_TRUE(itest::is_zero(c.in_value)) << c.x << "," << c.y;
    } else {
      EXPECT_EQ(c.in, px<Px>(src.def(), c.x - 10, c.y));
      EXPECT_TRUE(rxtest::same_pixel(c.in_value, itest::tagged<Px>(c.x - 10 + 1, c.y + 1, 6)));
    }
  }
  expect_placed(rec, 0, 0, 16, 3, origin, dst.def(), src.def(), src.parent().def());
}

TYPED_TEST(IterateOrigin, WithoutClippingTheAreaIsCutToTheDestinationOnly) {
  using Px = TypeParam;
  TestWorld<Px> dst(9, 7, 4, 6);
  itest::SubWorld<Px> src(8, 8, 2, 3, 4, 3, 0, 2);
  itest::fill<Px>(src.parent().def(), 5);
  const OriginCase cases[] = {
      {false, {}, {3, 2}},     {false, {}, {-2, -1}},    {false, {}, {-3, 5}},
      {false, {}, {20, 20}},   {false, {}, {0, 0}},      {false, {}, {-10, -10}},
      {true, {-2, -3, 4, 5}, {1, 1}}, {true, {5, 4, 15, 15}, {6, 5}},
      {true, {2, 1, 7, 6}, {-1, 2}},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(testing::Message() << "origin " << k.origin.x << "," << k.origin.y);
    Recorder<Px> rec;
    EXPECT_EQ(RX_IterateOrigin_NoClip(nullptr, 0, 0, src.def(), k.has_area ? &k.area : nullptr,
                                      &k.origin, &rec, rec.as_func8(), dst.def()),
              RX_Result_OK);
    const GE_LRect a = k.has_area ? k.area : GE_LRect{0, 0, 9, 7};
    expect_placed(rec, std::max(a.left, 0), std::max(a.top, 0), std::min(a.right, 9),
                  std::min(a.bottom, 7), k.origin, dst.def(), src.def(), src.parent().def());
  }
}

TYPED_TEST(IterateOrigin, ZeroOriginWithClippingActsAsThePlainFormClippedToTheSource) {
  using Px = TypeParam;
  TestWorld<Px> dst(7, 6, 4, 2);
  TestWorld<Px> src(5, 4, 8, 6);
  const GE_LPoint origin{0, 0};
  Recorder<Px> rec;
  EXPECT_EQ(RX_IterateOrigin(nullptr, 0, 0, src.def(), nullptr, &origin, &rec, rec.as_func8(),
                             dst.def()),
            RX_Result_OK);
  expect_placed(rec, 0, 0, 5, 4, origin, dst.def(), src.def(), src.def());
}

// ---- without a source ----

TYPED_TEST(IterateOrigin, WithoutSourceXStepsByTwoWhileOutputStepsByOnePixel) {
  using Px = TypeParam;
  for (OriginEntry entry : {OriginEntry{RX_IterateOrigin}, OriginEntry{RX_IterateOrigin_NoClip}}) {
    TestWorld<Px> dst(9, 4, 12, 2);
    itest::fill<Px>(dst.def(), 4);
    itest::Bytes before(dst.def());
    Recorder<Px> rec;
    rec.action = itest::Action::WriteMarker;
    const GE_LRect area{1, 1, 8, 3};  // rows of 7 pixels
    const GE_LPoint origin{0, 0};
    EXPECT_EQ(entry(nullptr, 0, 0, nullptr, &area, &origin, &rec, rec.as_func8(), dst.def()),
              RX_Result_OK);
    ASSERT_EQ(rec.calls.size(), 8u);
    std::vector<uint8_t> expected = before.copy;
    size_t i = 0;
    for (int32_t y = 1; y < 3; ++y) {
      for (int32_t k = 0; k < 4; ++k, ++i) {
        const auto& c = rec.calls[i];
        EXPECT_EQ(c.x, 1 + 2 * k);
        EXPECT_EQ(c.y, y);
        EXPECT_EQ(c.in, nullptr);
        EXPECT_EQ(c.out, &dst.at(1 + k, y));
        const Px v = itest::marker<Px>(1 + 2 * k, y);
        std::memcpy(&expected[size_t(y * dst.def()->row_stride) + size_t(1 + k) * sizeof(Px)], &v,
                    sizeof v);
      }
    }
    EXPECT_EQ(before.now(), expected);
  }
}

TYPED_TEST(IterateOrigin, WithoutSourceEvenRowWidthVisitsHalfTheRow) {
  using Px = TypeParam;
  TestWorld<Px> dst(6, 3, 4, 6);
  Recorder<Px> rec;
  const GE_LPoint origin{0, 0};
  EXPECT_EQ(RX_IterateOrigin(nullptr, 0, 0, nullptr, nullptr, &origin, &rec, rec.as_func8(),
                             dst.def()),
            RX_Result_OK);
  ASSERT_EQ(rec.calls.size(), 9u);
  for (size_t i = 0; i < rec.calls.size(); ++i) {
    const int32_t k = int32_t(i % 3), y = int32_t(i / 3);
    EXPECT_EQ(rec.calls[i].x, 2 * k);
    EXPECT_EQ(rec.calls[i].y, y);
    EXPECT_EQ(rec.calls[i].out, &dst.at(k, y));
    EXPECT_EQ(rec.calls[i].in, nullptr);
  }
}

TYPED_TEST(IterateOrigin, WithoutSourceOneCallPerRowOfOneOrTwoPixels) {
  using Px = TypeParam;
  TestWorld<Px> dst(5, 3, 4, 2);
  const GE_LPoint origin{0, 0};
  for (int32_t width : {1, 2}) {
    Recorder<Px> rec;
    const GE_LRect area{2, 0, 2 + width, 3};
    EXPECT_EQ(RX_IterateOrigin_NoClip(nullptr, 0, 0, nullptr, &area, &origin, &rec, rec.as_func8(),
                                      dst.def()),
              RX_Result_OK);
    ASSERT_EQ(rec.calls.size(), 3u);
    for (int32_t y = 0; y < 3; ++y) {
      EXPECT_EQ(rec.calls[y].x, 2);
      EXPECT_EQ(rec.calls[y].out, &dst.at(2, y));
    }
  }
}

// ---- progress and stopping ----

TYPED_TEST(IterateOrigin, ProgressCountsRowsFromTheClippedTop) {
  using Px = TypeParam;
  TestWorld<Px> dst(6, 8, 4, 2);
  TestWorld<Px> src(3, 3, 0, 2);
  Recorder<Px> rec;
  ProgressLog log;
  std::vector<Event> events;
  rec.events = log.events = &events;
  const GE_LPoint origin{1, 4};
  EXPECT_EQ(RX_IterateOrigin(&log.context, 20, 10, src.def(), nullptr, &origin, &rec,
                             rec.as_func8(), dst.def()),
            RX_Result_OK);
  std::vector<Event> expected;
  for (int32_t y = 4; y < 7; ++y) {
    for (int32_t x = 1; x < 4; ++x) expected.push_back({Event::Pixel, x, y});
    expected.push_back({Event::Progress, 20 + 1 - 4 + y, 10});
  }
  EXPECT_EQ(events, expected) << itest::describe(events);
  for (const auto& c : log.calls) EXPECT_EQ(c.token, log.token());
}

TYPED_TEST(IterateOrigin, ProgressFollowsEachRowWithoutSource) {
  using Px = TypeParam;
  TestWorld<Px> dst(5, 4, 4, 2);
  Recorder<Px> rec;
  ProgressLog log;
  std::vector<Event> events;
  rec.events = log.events = &events;
  const GE_LRect area{0, 1, 5, 4};
  const GE_LPoint origin{0, 0};
  EXPECT_EQ(RX_IterateOrigin_NoClip(&log.context, 0, 3, nullptr, &area, &origin, &rec,
                                    rec.as_func8(), dst.def()),
            RX_Result_OK);
  std::vector<Event> expected;
  for (int32_t y = 1; y < 4; ++y) {
    for (int32_t x = 0; x < 5; x += 2) expected.push_back({Event::Pixel, x, y});
    expected.push_back({Event::Progress, y, 3});
  }
  EXPECT_EQ(events, expected) << itest::describe(events);
}

TYPED_TEST(IterateOrigin, InterruptedFromProgressEndsTheLoop) {
  using Px = TypeParam;
  TestWorld<Px> dst(4, 4, 4, 2);
  TestWorld<Px> src(4, 4, 0, 2);
  const GE_LPoint origin{-1, 0};
  for (OriginEntry entry : {OriginEntry{RX_IterateOrigin}, OriginEntry{RX_IterateOrigin_NoClip}}) {
    Recorder<Px> rec;
    ProgressLog log;
    log.returns = {RX_Result_Interrupted};
    EXPECT_EQ(entry(&log.context, 0, 4, src.def(), nullptr, &origin, &rec, rec.as_func8(),
                    dst.def()),
              RX_Result_Interrupted);
    EXPECT_EQ(log.calls.size(), 1u);
    EXPECT_EQ(rec.calls.size(), entry == OriginEntry{RX_IterateOrigin} ? 3u : 4u);
  }
}

TYPED_TEST(IterateOrigin, OtherProgressCodeIsTheResultOnlyOnTheLastRow) {
  using Px = TypeParam;
  TestWorld<Px> dst(3, 3, 4, 2);
  TestWorld<Px> src(3, 3, 0, 2);
  const GE_LPoint origin{0, 0};
  {
    Recorder<Px> rec;
    ProgressLog log;
    log.returns = {0, 0, 6};
    EXPECT_EQ(RX_IterateOrigin(&log.context, 0, 3, src.def(), nullptr, &origin, &rec,
                               rec.as_func8(), dst.def()),
              6);
    EXPECT_EQ(rec.calls.size(), 9u);
  }
  {
    Recorder<Px> rec;
    ProgressLog log;
    log.returns = {6, 6, 0};
    EXPECT_EQ(RX_IterateOrigin_NoClip(&log.context, 0, 3, src.def(), nullptr, &origin, &rec,
                                      rec.as_func8(), dst.def()),
              RX_Result_OK);
    EXPECT_EQ(rec.calls.size(), 9u);
  }
}

TYPED_TEST(IterateOrigin, FirstNonZeroReturnStopsAtOnceWithoutProgress) {
  using Px = TypeParam;
  TestWorld<Px> dst(4, 3, 4, 2);
  TestWorld<Px> src(4, 3, 0, 2);
  const GE_LPoint origin{2, 0};
  for (OriginEntry entry : {OriginEntry{RX_IterateOrigin}, OriginEntry{RX_IterateOrigin_NoClip}}) {
    Recorder<Px> rec;
    rec.stop_at = 1;
    rec.stop_code = RX_Result_Interrupted;
    ProgressLog log;
    EXPECT_EQ(entry(&log.context, 0, 3, src.def(), nullptr, &origin, &rec, rec.as_func8(),
                    dst.def()),
              RX_Result_Interrupted);
    EXPECT_EQ(rec.calls.size(), 2u);
    EXPECT_TRUE(log.calls.empty());
  }
  // Without a source as well.
  Recorder<Px> rec;
  rec.stop_at = 0;
  rec.stop_code = 99;
  EXPECT_EQ(RX_IterateOrigin(nullptr, 0, 0, nullptr, nullptr, &origin, &rec, rec.as_func8(),
                             dst.def()),
            99);
  EXPECT_EQ(rec.calls.size(), 1u);
}

TYPED_TEST(IterateOrigin, FinalZeroWithNullContextIsLegal) {
  using Px = TypeParam;
  TestWorld<Px> dst(3, 2, 4, 2);
  TestWorld<Px> src(3, 2, 0, 2);
  const GE_LPoint origin{1, 0};
  Recorder<Px> rec;
  EXPECT_EQ(RX_IterateOrigin_NoClip(nullptr, 0, 0, src.def(), nullptr, &origin, &rec,
                                    rec.as_func8(), dst.def()),
            RX_Result_OK);
  EXPECT_EQ(rec.calls.size(), 6u);
}

// ---- refusals ----

TYPED_TEST(IterateOrigin, NullWorldsDataOrFunctionAreRefusedWithLocation82) {
  using Px = TypeParam;
  TestWorld<Px> dst(3, 3, 4, 2);
  TestWorld<Px> src(3, 3, 0, 0);
  RX_LayerDef no_data = *dst.def();
  no_data.data = nullptr;
  Recorder<Px> rec;
  const GE_LPoint origin{0, 0};
  struct Case {
    const char* name;
    const RX_LayerDef* src;
    RX_PixelFunc8 func;
    RX_LayerDef* dst;
  };
  const Case cases[] = {
      {"null destination", src.def(), rec.as_func8(), nullptr},
      {"destination without data", nullptr, rec.as_func8(), &no_data},
      {"source without data", &no_data, rec.as_func8(), dst.def()},
      {"null function", src.def(), nullptr, dst.def()},
  };
  for (OriginEntry entry : {OriginEntry{RX_IterateOrigin}, OriginEntry{RX_IterateOrigin_NoClip},
                            OriginEntry{RX_IterateOrigin_S}, OriginEntry{RX_IterateOriginNoClip_S}}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(c.name);
      ReportCapture capture;
      EXPECT_EQ(entry(nullptr, 0, 0, c.src, nullptr, &origin, &rec, c.func, c.dst),
                RX_Result_Internal);
      itest::expect_bad_parameter(capture, itest::kBadParameterOrigin);
    }
  }
  EXPECT_TRUE(rec.calls.empty());
}

TYPED_TEST(IterateOrigin, SourceOfOtherDepthIsRefusedWithThePlainFormsText) {
  using Px = TypeParam;
  using Other = typename itest::OtherDepth<Px>::type;
  TestWorld<Px> dst(3, 3, 4, 2);
  TestWorld<Other> src(3, 3, 0, 0);
  const GE_LPoint origin{1, 1};
  for (OriginEntry entry : {OriginEntry{RX_IterateOrigin}, OriginEntry{RX_IterateOrigin_NoClip}}) {
    Recorder<Px> rec;
    ReportCapture capture;
    EXPECT_EQ(entry(nullptr, 0, 0, src.def(), nullptr, &origin, &rec, rec.as_func8(), dst.def()),
              RX_Result_Internal);
    EXPECT_TRUE(rec.calls.empty());
    itest::expect_single_report(capture, RXHost_Report_Verification, itest::kDepthsDifferLocation,
                                itest::kDepthsDifferText);
  }
}

// ---- the exported entries and their slots ----

struct OriginOverrideLog {
  int calls = 0;
  const GE_LPoint* origin = nullptr;
  RX_LayerDef* dst = nullptr;
};
OriginOverrideLog g_origin_override;

RX_Err replacement_origin(RX_EffectContext*, int32_t, int32_t, const RX_LayerDef*,
                          const GE_LRect*, const GE_LPoint* origin, void*, RX_PixelFunc8,
                          RX_LayerDef* dst) {
  ++g_origin_override.calls;
  g_origin_override.origin = origin;
  g_origin_override.dst = dst;
  return 4321;
}

class IterateOriginSlots : public rxtest::BornPackage {};

TEST_F(IterateOriginSlots, ExportedFormsReachSlots43And51) {
  TestWorld<RX_Pixel8> dst(2, 2);
  TestWorld<RX_Pixel8> src(2, 2);
  const GE_LPoint origin{1, 1};
  Recorder<RX_Pixel8> rec;
  for (int32_t slot : {int32_t{RX_Slot_IterateOrigin}, int32_t{RX_Slot_IterateOriginNoClip}}) {
    g_origin_override = {};
    ASSERT_EQ(RX_SetOverrideFunc(slot, reinterpret_cast<RX_OverFunc>(&replacement_origin)),
              RX_Result_OK);
    const OriginEntry entry =
        slot == RX_Slot_IterateOrigin ? OriginEntry{RX_IterateOrigin} : OriginEntry{RX_IterateOrigin_NoClip};
    const OriginEntry other =
        slot == RX_Slot_IterateOrigin ? OriginEntry{RX_IterateOrigin_NoClip} : OriginEntry{RX_IterateOrigin};
    EXPECT_EQ(entry(nullptr, 0, 0, src.def(), nullptr, &origin, &rec, rec.as_func8(), dst.def()),
              4321);
    EXPECT_EQ(g_origin_override.calls, 1);
    EXPECT_EQ(g_origin_override.origin, &origin);
    EXPECT_EQ(g_origin_override.dst, dst.def());
    // The other entry keeps its own slot.
    EXPECT_EQ(other(nullptr, 0, 0, src.def(), nullptr, &origin, &rec, rec.as_func8(), dst.def()),
              RX_Result_OK);
    EXPECT_EQ(g_origin_override.calls, 1);
    // Put the default back.
    const OriginEntry default_entry = slot == RX_Slot_IterateOrigin
                                          ? OriginEntry{RX_IterateOrigin_S}
                                          : OriginEntry{RX_IterateOriginNoClip_S};
    ASSERT_EQ(RX_SetOverrideFunc(slot, reinterpret_cast<RX_OverFunc>(default_entry)),
              RX_Result_OK);
  }
  rec.calls.clear();
  // With the defaults back: clipped gives one pixel, unclipped all four.
  EXPECT_EQ(RX_IterateOrigin(nullptr, 0, 0, src.def(), nullptr, &origin, &rec, rec.as_func8(),
                             dst.def()),
            RX_Result_OK);
  EXPECT_EQ(rec.calls.size(), 1u);
  EXPECT_EQ(RX_IterateOrigin_NoClip(nullptr, 0, 0, src.def(), nullptr, &origin, &rec,
                                    rec.as_func8(), dst.def()),
            RX_Result_OK);
  EXPECT_EQ(rec.calls.size(), 5u);
  EXPECT_EQ(g_origin_override.calls, 1);
}

}  // namespace
