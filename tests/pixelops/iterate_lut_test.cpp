// The lookup iterate: each channel of 8-bit pixels through its own table,
// walking the raw record with no depth dispatch.
#include <array>

#include "iterate_helpers.h"

namespace {

using itest::ProgressLog;
using itest::px;
using rxtest::ReportCapture;
using rxtest::TestWorld;

using Table = std::array<uint8_t, 256>;

Table make_table(int kind) {
  Table t;
  for (int i = 0; i < 256; ++i) {
    switch (kind) {
      case 0: t[i] = uint8_t(255 - i); break;
      case 1: t[i] = uint8_t(i ^ 0x5A); break;
      case 2: t[i] = uint8_t(i * 3 + 1); break;
      default: t[i] = uint8_t(i + 17); break;
    }
  }
  return t;
}

class IterateLUT : public rxtest::BornPackage {
 protected:
  const Table alpha_ = make_table(0), red_ = make_table(1), green_ = make_table(2),
              blue_ = make_table(3);

  RX_Pixel8 mapped(const RX_Pixel8& p) const {
    return {alpha_[p.alpha], red_[p.red], green_[p.green], blue_[p.blue]};
  }
  // The expected bytes of a world after the pixels of [l, r) x [t, b) were
  // given the mapped source pixels.
  std::vector<uint8_t> expect_mapped(const itest::Bytes& before, const RX_LayerDef* dst,
                                     int32_t l, int32_t t, int32_t r, int32_t b,
                                     const RX_LayerDef* src) const {
    std::vector<uint8_t> expected = before.copy;
    const auto* start = before.start;
    for (int32_t y = t; y < b; ++y) {
      for (int32_t x = l; x < r; ++x) {
        const auto* at = reinterpret_cast<const uint8_t*>(px<RX_Pixel8>(dst, x, y));
        RX_Pixel8 in;
        if (src) {
          in = *px<RX_Pixel8>(src, x, y);
        } else {
          std::memcpy(&in, &before.copy[size_t(at - start)], sizeof in);
        }
        const RX_Pixel8 v = mapped(in);
        std::memcpy(&expected[size_t(at - start)], &v, sizeof v);
      }
    }
    return expected;
  }
  RX_Err run(RX_EffectContext* context, int32_t base, int32_t final_value, const RX_LayerDef* src,
             const GE_LRect* area, RX_LayerDef* dst) {
    return RX_IterateLUT(context, base, final_value, src, area, alpha_.data(), red_.data(),
                         green_.data(), blue_.data(), dst);
  }
};

TEST_F(IterateLUT, TablesMapEachChannelOfTheSourceIntoTheDestination) {
  TestWorld<RX_Pixel8> dst(6, 5, 12, 3);
  itest::SubWorld<RX_Pixel8> src(9, 8, 2, 3, 5, 4, 4, 1);
  itest::fill<RX_Pixel8>(dst.def(), 40);
  itest::fill<RX_Pixel8>(src.parent().def(), 90);
  itest::Bytes dst_before(dst.def());
  const itest::Bytes src_before(src.parent().def());
  ReportCapture capture;
  EXPECT_EQ(run(nullptr, 0, 0, src.def(), nullptr, dst.def()), RX_Result_OK);
  // A null area covers the destination, clipped to the smaller source.
  EXPECT_EQ(dst_before.now(), expect_mapped(dst_before, dst.def(), 0, 0, 5, 4, src.def()));
  EXPECT_EQ(src_before.now(), src_before.copy);
  EXPECT_TRUE(capture.errors().empty());
}

TEST_F(IterateLUT, ChannelsAreMappedAlphaRedGreenBlueInMemoryOrder) {
  TestWorld<RX_Pixel8> dst(1, 1);
  uint8_t* bytes = static_cast<uint8_t*>(dst.def()->data);
  bytes[0] = 10;
  bytes[1] = 20;
  bytes[2] = 30;
  bytes[3] = 40;
  EXPECT_EQ(run(nullptr, 0, 0, nullptr, nullptr, dst.def()), RX_Result_OK);
  EXPECT_EQ(bytes[0], 245);         // alpha: 255 - 10
  EXPECT_EQ(bytes[1], 20 ^ 0x5A);   // red
  EXPECT_EQ(bytes[2], 91);          // green: 30 * 3 + 1
  EXPECT_EQ(bytes[3], 57);          // blue: 40 + 17
}

TEST_F(IterateLUT, WithoutSourceTheMappingIsInPlace) {
  itest::SubWorld<RX_Pixel8> dst(10, 8, 1, 2, 7, 5, 8, 2);
  itest::fill<RX_Pixel8>(dst.parent().def(), 33);
  itest::Bytes before(dst.parent().def());
  EXPECT_EQ(run(nullptr, 0, 0, nullptr, nullptr, dst.def()), RX_Result_OK);
  EXPECT_EQ(before.now(), expect_mapped(before, dst.def(), 0, 0, 7, 5, nullptr));
}

TEST_F(IterateLUT, NullTableLeavesThatChannelAsCopiedFromTheSource) {
  for (int missing = 0; missing < 4; ++missing) {
    SCOPED_TRACE(missing);
    TestWorld<RX_Pixel8> dst(4, 3, 4, 2);
    TestWorld<RX_Pixel8> src(4, 3, 8, 1);
    itest::fill<RX_Pixel8>(dst.def(), 200);
    itest::fill<RX_Pixel8>(src.def(), 11);
    const uint8_t* tables[4] = {alpha_.data(), red_.data(), green_.data(), blue_.data()};
    tables[missing] = nullptr;
    EXPECT_EQ(RX_IterateLUT(nullptr, 0, 0, src.def(), nullptr, tables[0], tables[1], tables[2],
                            tables[3], dst.def()),
              RX_Result_OK);
    for (int32_t y = 0; y < 3; ++y) {
      for (int32_t x = 0; x < 4; ++x) {
        const RX_Pixel8 s = src.at(x, y);
        RX_Pixel8 e = mapped(s);
        uint8_t* channels = &e.alpha;
        channels[missing] = (&s.alpha)[missing];
        EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), e)) << x << "," << y;
      }
    }
  }
}

TEST_F(IterateLUT, AllTablesNullCopiesTheSource) {
  TestWorld<RX_Pixel8> dst(5, 3, 4, 2);
  TestWorld<RX_Pixel8> src(5, 3, 0, 3);
  itest::fill<RX_Pixel8>(src.def(), 61);
  EXPECT_EQ(RX_IterateLUT(nullptr, 0, 0, src.def(), nullptr, nullptr, nullptr, nullptr, nullptr,
                          dst.def()),
            RX_Result_OK);
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 5; ++x) EXPECT_TRUE(rxtest::same_pixel(dst.at(x, y), src.at(x, y)));
}

// ---- the rectangle ----

TEST_F(IterateLUT, AreasHangingOverEachEdgeAreClamped) {
  const std::vector<GE_LRect> areas = {
      {-3, 1, 2, 4}, {1, -4, 3, 2}, {4, 1, 11, 3}, {2, 3, 5, 9}, {-1, -1, 7, 6}, {1, 1, 2, 2},
  };
  for (const auto& a : areas) {
    TestWorld<RX_Pixel8> dst(6, 5, 4, 1);
    itest::fill<RX_Pixel8>(dst.def(), 70);
    itest::Bytes before(dst.def());
    EXPECT_EQ(run(nullptr, 0, 0, nullptr, &a, dst.def()), RX_Result_OK);
    EXPECT_EQ(before.now(), expect_mapped(before, dst.def(), std::max(a.left, 0),
                                          std::max(a.top, 0), std::min(a.right, 6),
                                          std::min(a.bottom, 5), nullptr))
        << a.left << "," << a.top << "," << a.right << "," << a.bottom;
  }
}

TEST_F(IterateLUT, AreaIsClampedToTheSourceSize) {
  TestWorld<RX_Pixel8> dst(8, 6, 4, 2);
  itest::SubWorld<RX_Pixel8> src(10, 10, 5, 5, 5, 4, 0, 2);
  itest::fill<RX_Pixel8>(src.parent().def(), 21);
  itest::Bytes before(dst.def());
  const GE_LRect area{2, 1, 8, 6};
  EXPECT_EQ(run(nullptr, 0, 0, src.def(), &area, dst.def()), RX_Result_OK);
  EXPECT_EQ(before.now(), expect_mapped(before, dst.def(), 2, 1, 5, 4, src.def()));
}

TEST_F(IterateLUT, AreasThatMissOrStartAtAnEdgeChangeNothing) {
  TestWorld<RX_Pixel8> dst(6, 5, 4, 2);
  TestWorld<RX_Pixel8> src(4, 3, 0, 1);
  itest::fill<RX_Pixel8>(dst.def(), 50);
  itest::Bytes before(dst.def());
  for (const GE_LRect& a : {GE_LRect{6, 0, 9, 5}, GE_LRect{7, 0, 9, 5}, GE_LRect{0, 5, 6, 8},
                            GE_LRect{0, 6, 6, 8}, GE_LRect{-4, 0, 0, 5}, GE_LRect{0, -4, 6, 0}}) {
    EXPECT_EQ(run(nullptr, 0, 0, nullptr, &a, dst.def()), RX_Result_OK);
  }
  for (const GE_LRect& a : {GE_LRect{4, 0, 6, 5}, GE_LRect{5, 0, 6, 5}, GE_LRect{0, 3, 6, 5},
                            GE_LRect{0, 4, 6, 5}}) {
    EXPECT_EQ(run(nullptr, 0, 0, src.def(), &a, dst.def()), RX_Result_OK);
  }
  EXPECT_EQ(before.now(), before.copy);
}

// ---- refusals ----

TEST_F(IterateLUT, NullDestinationOrDataIsRefusedWithLocation14) {
  TestWorld<RX_Pixel8> dst(3, 3, 4, 2);
  itest::fill<RX_Pixel8>(dst.def(), 5);
  itest::Bytes before(dst.def());
  RX_LayerDef no_data = *dst.def();
  no_data.data = nullptr;
  struct Case {
    const char* name;
    const RX_LayerDef* src;
    RX_LayerDef* dst;
  };
  for (const Case& c : {Case{"null destination", nullptr, nullptr},
                        Case{"destination without data", nullptr, &no_data},
                        Case{"source without data", &no_data, dst.def()}}) {
    SCOPED_TRACE(c.name);
    ReportCapture capture;
    EXPECT_EQ(run(nullptr, 0, 0, c.src, nullptr, c.dst), RX_Result_Internal);
    itest::expect_bad_parameter(capture, itest::kBadParameterPlain);
  }
  EXPECT_EQ(before.now(), before.copy);
}

TEST_F(IterateLUT, DeepBitOnSourceOrDestinationIsRefusedWithLocation14) {
  TestWorld<RX_Pixel8> dst(3, 3, 4, 2);
  TestWorld<RX_Pixel8> src(3, 3, 0, 2);
  TestWorld<RX_Pixel16> deep(3, 3, 0, 0);
  itest::fill<RX_Pixel8>(dst.def(), 5);
  itest::fill<RX_Pixel16>(deep.def(), 5);
  itest::Bytes before(dst.def());
  itest::Bytes deep_before(deep.def());
  RX_LayerDef deep_bit_only = *src.def();
  deep_bit_only.layer_flags |= RX_LayerFlag_Deep;
  {
    ReportCapture capture;
    EXPECT_EQ(run(nullptr, 0, 0, &deep_bit_only, nullptr, dst.def()), RX_Result_Internal);
    itest::expect_bad_parameter(capture, itest::kBadParameterPlain);
  }
  {
    ReportCapture capture;
    EXPECT_EQ(run(nullptr, 0, 0, deep.def(), nullptr, dst.def()), RX_Result_Internal);
    itest::expect_bad_parameter(capture, itest::kBadParameterPlain);
  }
  {
    ReportCapture capture;
    EXPECT_EQ(run(nullptr, 0, 0, nullptr, nullptr, deep.def()), RX_Result_Internal);
    itest::expect_bad_parameter(capture, itest::kBadParameterPlain);
  }
  {
    ReportCapture capture;
    RX_LayerDef deep_dst = *dst.def();
    deep_dst.layer_flags = RX_LayerFlag_Deep;  // the bit alone, format byte 0
    EXPECT_EQ(run(nullptr, 0, 0, src.def(), nullptr, &deep_dst), RX_Result_Internal);
    itest::expect_bad_parameter(capture, itest::kBadParameterPlain);
  }
  EXPECT_EQ(before.now(), before.copy);
  EXPECT_EQ(deep_before.now(), deep_before.copy);
}

// ---- float worlds: no deep bit, walked as 4-byte pixels ----

TEST_F(IterateLUT, FloatWorldIsNotRefusedAndItsRowsAreWalkedAsFourBytePixels) {
  TestWorld<RX_PixelFloat> dst(5, 4, 8, 4);
  ASSERT_EQ(dst.def()->layer_flags, 2u << RX_LayerFlag_FormatShift);
  auto* bytes = static_cast<uint8_t*>(dst.def()->data);
  const int32_t stride = dst.def()->row_stride;
  for (int32_t i = 0; i < stride * 4; ++i) bytes[i] = uint8_t(i * 7 + 3);
  itest::Bytes before(dst.def());
  const Table* tables[4] = {&alpha_, &red_, &green_, &blue_};
  ReportCapture capture;
  EXPECT_EQ(run(nullptr, 0, 0, nullptr, nullptr, dst.def()), RX_Result_OK);
  EXPECT_TRUE(capture.errors().empty());
  // The first 4 * width bytes of each row, byte k through table k AND 3;
  // the rest of the row (the remaining 60 bytes of pixels and the padding)
  // as it was.
  std::vector<uint8_t> expected = before.copy;
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t k = 0; k < 4 * 5; ++k) {
      uint8_t& b = expected[size_t(y * stride + k)];
      b = (*tables[k & 3])[b];
    }
  EXPECT_EQ(before.now(), expected);
}

TEST_F(IterateLUT, FloatWorldAreaSelectsFourByteColumns) {
  TestWorld<RX_PixelFloat> dst(6, 5, 4, 0);
  auto* bytes = static_cast<uint8_t*>(dst.def()->data);
  const int32_t stride = dst.def()->row_stride;
  for (int32_t i = 0; i < stride * 5; ++i) bytes[i] = uint8_t(i * 13 + 1);
  itest::Bytes before(dst.def());
  const Table* tables[4] = {&alpha_, &red_, &green_, &blue_};
  const GE_LRect area{1, 1, 4, 3};
  EXPECT_EQ(run(nullptr, 0, 0, nullptr, &area, dst.def()), RX_Result_OK);
  std::vector<uint8_t> expected = before.copy;
  for (int32_t y = 1; y < 3; ++y)
    for (int32_t k = 4 * 1; k < 4 * 4; ++k) {
      uint8_t& b = expected[size_t(y * stride + k)];
      b = (*tables[k & 3])[b];
    }
  EXPECT_EQ(before.now(), expected);
}

TEST_F(IterateLUT, SourceAndDestinationDepthsAreNotCompared) {
  TestWorld<RX_PixelFloat> dst(4, 3, 4, 4);
  TestWorld<RX_Pixel8> src(4, 3, 0, 1);
  itest::fill<RX_Pixel8>(src.def(), 17);
  itest::Bytes before(dst.def());
  ReportCapture capture;
  EXPECT_EQ(run(nullptr, 0, 0, src.def(), nullptr, dst.def()), RX_Result_OK);
  EXPECT_TRUE(capture.errors().empty());
  std::vector<uint8_t> expected = before.copy;
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 4; ++x) {
      const RX_Pixel8 v = mapped(src.at(x, y));
      std::memcpy(&expected[size_t(y * dst.def()->row_stride + 4 * x)], &v, sizeof v);
    }
  EXPECT_EQ(before.now(), expected);
}

TEST_F(IterateLUT, UnknownFormatByteIsWalkedAsEightBitsWithoutAReport) {
  TestWorld<RX_Pixel8> dst(3, 2, 4, 1);
  dst.def()->layer_flags = 3u << RX_LayerFlag_FormatShift;
  itest::fill<RX_Pixel8>(dst.def(), 9);
  itest::Bytes before(dst.def());
  ReportCapture capture;
  EXPECT_EQ(run(nullptr, 0, 0, nullptr, nullptr, dst.def()), RX_Result_OK);
  EXPECT_EQ(before.now(), expect_mapped(before, dst.def(), 0, 0, 3, 2, nullptr));
  EXPECT_TRUE(capture.errors().empty());
}

// ---- progress ----

TEST_F(IterateLUT, ProgressFollowsEachRowAndItsLastReturnIsTheResult) {
  TestWorld<RX_Pixel8> dst(3, 6, 4, 2);
  ProgressLog log;
  log.returns = {5, 0, 0, 8};
  const GE_LRect area{0, 2, 3, 6};
  EXPECT_EQ(run(&log.context, 30, 40, nullptr, &area, dst.def()), 8);
  ASSERT_EQ(log.calls.size(), 4u);
  for (int32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(log.calls[i].token, log.token());
    EXPECT_EQ(log.calls[i].current, 30 + 1 + i);  // base + 1 - top + y
    EXPECT_EQ(log.calls[i].total, 40);
  }
}

TEST_F(IterateLUT, ProgressCodeOfEarlierRowsIsOverwritten) {
  TestWorld<RX_Pixel8> dst(3, 3, 4, 2);
  ProgressLog log;
  log.returns = {5, 6, 0};
  EXPECT_EQ(run(&log.context, 0, 3, nullptr, nullptr, dst.def()), RX_Result_OK);
  EXPECT_EQ(log.calls.size(), 3u);
}

TEST_F(IterateLUT, InterruptedFromProgressEndsTheLoopAfterThatRow) {
  TestWorld<RX_Pixel8> dst(4, 4, 4, 2);
  itest::fill<RX_Pixel8>(dst.def(), 12);
  itest::Bytes before(dst.def());
  ProgressLog log;
  log.returns = {0, RX_Result_Interrupted};
  EXPECT_EQ(run(&log.context, 0, 4, nullptr, nullptr, dst.def()), RX_Result_Interrupted);
  EXPECT_EQ(log.calls.size(), 2u);
  // Rows 0 and 1 were mapped; nothing is rolled back and rows 2, 3 untouched.
  EXPECT_EQ(before.now(), expect_mapped(before, dst.def(), 0, 0, 4, 2, nullptr));
}

TEST_F(IterateLUT, FinalZeroMakesNoProgressCallAndNullContextIsLegal) {
  TestWorld<RX_Pixel8> dst(3, 3, 4, 2);
  ProgressLog log;
  log.returns = {9, 9, 9};
  EXPECT_EQ(run(&log.context, 0, 0, nullptr, nullptr, dst.def()), RX_Result_OK);
  EXPECT_TRUE(log.calls.empty());
  EXPECT_EQ(run(nullptr, 0, 0, nullptr, nullptr, dst.def()), RX_Result_OK);
}

// ---- the exported entry and its slot ----

int g_lut_override_calls = 0;
const uint8_t* g_lut_override_green = nullptr;

RX_Err replacement_lut(RX_EffectContext*, int32_t, int32_t, const RX_LayerDef*, const GE_LRect*,
                       const uint8_t*, const uint8_t*, const uint8_t* green, const uint8_t*,
                       RX_LayerDef*) {
  ++g_lut_override_calls;
  g_lut_override_green = green;
  return 555;
}

TEST_F(IterateLUT, ExportedEntryReachesTheFunctionInSlot44) {
  TestWorld<RX_Pixel8> dst(2, 2);
  itest::fill<RX_Pixel8>(dst.def(), 1);
  itest::Bytes before(dst.def());
  g_lut_override_calls = 0;
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_IterateLUT, reinterpret_cast<RX_OverFunc>(&replacement_lut)),
            RX_Result_OK);
  EXPECT_EQ(run(nullptr, 0, 0, nullptr, nullptr, dst.def()), 555);
  EXPECT_EQ(g_lut_override_calls, 1);
  EXPECT_EQ(g_lut_override_green, green_.data());
  EXPECT_EQ(before.now(), before.copy);
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_IterateLUT, reinterpret_cast<RX_OverFunc>(&RX_IterateLUT_S)),
            RX_Result_OK);
  EXPECT_EQ(run(nullptr, 0, 0, nullptr, nullptr, dst.def()), RX_Result_OK);
  EXPECT_EQ(g_lut_override_calls, 1);
  EXPECT_EQ(before.now(), expect_mapped(before, dst.def(), 0, 0, 2, 2, nullptr));
}

}  // namespace
