// Premultiplying and unmultiplying whole worlds and rectangles of them
// against black (RX_Premul, RX_PremulRect, RX_PremulRect_S) at every depth:
// untidy worlds with padding, misaligned first pixels, sub-worlds and
// bottom-up rows; the rectangle taken as it is; the path through slot 52
// and the scan slots; the abort asked before each row; refusals of missing
// worlds and pixels; worlds of an unknown depth.
#include <cmath>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "cpu_words.h"
#include "painted_worlds.h"
#include "reference_arith.h"
#include "rx_test_support.h"

namespace {

namespace ref = rxtest::ref;

using rxtest::ReportCapture;
using rxtest::TestWorld;

using rxtest::kPaddingByte;
constexpr int32_t kGeneralLocation = 0x2503E7;
constexpr int32_t kPremulRectBadParameterLocation = 0x250034;
const char* const kBadParameterText = "bad parameter passed to effect callback";

// ---- the rules of the black-matte scans, written plainly ----

using rxtest::ref::m255;
using rxtest::ref::divide;
using rxtest::ref::unmul16;
bool cannot_divide(float a) {
  return a == 0.0f || std::isnan(a) || std::fpclassify(a) == FP_SUBNORMAL;
}

RX_Pixel8 premultiplied(const RX_Pixel8& p, bool forward) {
  auto f = [&](uint32_t c) {
    return uint8_t(forward ? m255(c * p.alpha) : divide(p.alpha, c));
  };
  return {p.alpha, f(p.red), f(p.green), f(p.blue)};
}
RX_Pixel16 premultiplied(const RX_Pixel16& p, bool forward) {
  auto f = [&](uint32_t c) {
    return uint16_t(forward ? (c * p.alpha + 16383) >> 15 : unmul16(c, p.alpha));
  };
  return {p.alpha, f(p.red), f(p.green), f(p.blue)};
}
RX_PixelFloat premultiplied(const RX_PixelFloat& p, bool forward) {
  auto f = [&](float c) {
    if (forward) return c * p.alpha;
    return cannot_divide(p.alpha) ? 1.0f : c / p.alpha;
  };
  return {p.alpha, f(p.red), f(p.green), f(p.blue)};
}

bool same(const RX_Pixel8& x, const RX_Pixel8& y) { return rxtest::same_pixel(x, y); }
bool same(const RX_Pixel16& x, const RX_Pixel16& y) { return rxtest::same_pixel(x, y); }
bool same(const RX_PixelFloat& x, const RX_PixelFloat& y) {
  auto eq = [](float p, float q) { return (std::isnan(p) && std::isnan(q)) || p == q; };
  return eq(x.alpha, y.alpha) && eq(x.red, y.red) && eq(x.green, y.green) && eq(x.blue, y.blue);
}

template <class Px>
std::string show(const Px& p) {
  std::ostringstream out;
  out.precision(9);
  out << "{" << +p.alpha << ", " << +p.red << ", " << +p.green << ", " << +p.blue << "}";
  return out.str();
}

// Pixels with transparent, opaque and partial alphas, colours above and
// below alpha.
template <class Px>
Px marker(int32_t x, int32_t y) {
  const uint32_t h = uint32_t(x * 73 + y * 151 + x * y * 7 + 11);
  if constexpr (sizeof(Px) == 4) {
    const uint8_t a = h % 9 == 0 ? 0 : h % 9 == 1 ? 255 : uint8_t(h * 37);
    return {a, uint8_t(h * 13), uint8_t(h * 29 + 5), uint8_t(h >> 2)};
  } else if constexpr (sizeof(Px) == 8) {
    const uint16_t a = h % 9 == 0 ? 0 : h % 9 == 1 ? 32768 : uint16_t((h * 3571) % 32769);
    return {a, uint16_t((h * 1013) % 32769), uint16_t((h * 7919) % 32769),
            uint16_t((h * 31) % 32769)};
  } else {
    const float a = h % 9 == 0 ? 0.0f : h % 9 == 1 ? 1.0f : float(h % 101) / 100.0f;
    return {a, float(h % 37) / 36.0f, float(h % 53) / 40.0f - 0.1f, float(h % 17) / 16.0f};
  }
}

template <class Px>
void paint(TestWorld<Px>& world) {
  rxtest::paint(world, marker<Px>);
}

using rxtest::padding_intact;

// Every pixel of the world: premultiplied where inside(x, y), the marker
// elsewhere. (x, y) in the world's own coordinates, shifted by `at`.
template <class Px, class Inside>
void expect_world(TestWorld<Px>& world, bool forward, Inside inside) {
  int bad = 0;
  for (int32_t y = 0; y < world.height(); ++y) {
    for (int32_t x = 0; x < world.width(); ++x) {
      const Px m = marker<Px>(x, y);
      const Px want = inside(x, y) ? premultiplied(m, forward) : m;
      if (!same(world.at(x, y), want) && bad++ < 5) {
        ADD_FAILURE() << "pixel " << x << ", " << y << (inside(x, y) ? " (inside)" : " (outside)")
                      << ": was " << show(m) << ", expected " << show(want) << ", got "
                      << show(world.at(x, y));
      }
    }
  }
  EXPECT_EQ(bad, 0);
  EXPECT_TRUE(padding_intact(world)) << "a byte between rows was written";
}

// Born with the plain scans in the table (word 6 of the CPU data off), so
// that unmultiplied pixels follow the rules to the last bit; the processor
// forms are met in a test of their own.
template <class Px>
class PremultiplyWorld : public ::testing::Test {
 protected:
  void SetUp() override {
    RXHost_SetCpuWord(rxtest::kCpuWordSSSE3, 0);
    ASSERT_EQ(RX_Birth(), RX_Result_OK);
  }
  void TearDown() override {
    EXPECT_EQ(RX_Death(), RX_Result_OK);
    RXHost_ResetCpuWords();
  }
};
TYPED_TEST_SUITE(PremultiplyWorld, rxtest::AllPixelTypes);

// Paddings and first-pixel offsets that keep the channels aligned.
template <class Px>
std::vector<std::pair<int32_t, int32_t>> untidy_layouts() {
  const int32_t step = int32_t(alignof(Px));
  return {{0, 0}, {12, 4}, {2 * step, step}, {100, 8 + step}};
}

TYPED_TEST(PremultiplyWorld, WholeWorldPremultipliesEveryPixelAgainstBlack) {
  for (auto [padding, misalign] : untidy_layouts<TypeParam>()) {
    for (int forward = 0; forward <= 1; ++forward) {
      SCOPED_TRACE(::testing::Message() << "padding " << padding << ", misalign " << misalign
                                        << (forward ? ", forward" : ", reverse"));
      TestWorld<TypeParam> world(13, 9, padding, misalign);
      paint(world);
      EXPECT_EQ(RX_Premul(nullptr, forward, world.def()), RX_Result_OK);
      expect_world(world, forward, [](int32_t, int32_t) { return true; });
    }
  }
}

TYPED_TEST(PremultiplyWorld, WithTheProcessorFormsRowsGetWhatTheInstalledScanGives) {
  // Born anew with the processor's own words: each row is what the scan
  // in the table makes of it.
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  RXHost_ResetCpuWords();
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  using Scan = RX_Err (*)(int32_t, const TypeParam*, TypeParam*);
  for (int forward = 0; forward <= 1; ++forward) {
    const int slot = (sizeof(TypeParam) == 4 ? 35 : sizeof(TypeParam) == 8 ? 72 : 106) +
                     (forward ? 0 : 1);
    const Scan scan = reinterpret_cast<Scan>(RXp_G_OverFuncs[slot]);
    TestWorld<TypeParam> world(11, 6, 12, 4);
    paint(world);
    EXPECT_EQ(RX_Premul(nullptr, forward, world.def()), RX_Result_OK);
    for (int32_t y = 0; y < 6; ++y) {
      std::vector<TypeParam> row(11), want(11);
      for (int32_t x = 0; x < 11; ++x) row[size_t(x)] = marker<TypeParam>(x, y);
      scan(11, row.data(), want.data());
      for (int32_t x = 0; x < 11; ++x) {
        EXPECT_TRUE(same(world.at(x, y), want[size_t(x)]))
            << "slot " << slot << " pixel " << x << ", " << y;
      }
    }
    EXPECT_TRUE(padding_intact(world));
  }
}

TYPED_TEST(PremultiplyWorld, AnyNonZeroForwardFlagPremultiplies) {
  TestWorld<TypeParam> world(5, 3, 8, 4);
  paint(world);
  EXPECT_EQ(RX_Premul(nullptr, -7, world.def()), RX_Result_OK);
  expect_world(world, true, [](int32_t, int32_t) { return true; });
}

TYPED_TEST(PremultiplyWorld, PremulRectWithoutRectangleIsTheWholeWorld) {
  TestWorld<TypeParam> world(7, 6, 16, 4);
  paint(world);
  EXPECT_EQ(RX_PremulRect(nullptr, 0, nullptr, world.def()), RX_Result_OK);
  expect_world(world, false, [](int32_t, int32_t) { return true; });
}

TYPED_TEST(PremultiplyWorld, RectangleIsTakenAsItIs) {
  const GE_LRect rects[] = {{2, 1, 5, 4}, {0, 0, 1, 1}, {6, 5, 9, 7}, {0, 3, 9, 4}, {3, 0, 4, 7}};
  for (const GE_LRect& r : rects) {
    for (int forward = 0; forward <= 1; ++forward) {
      SCOPED_TRACE(::testing::Message() << "rect " << r.left << "," << r.top << "," << r.right
                                        << "," << r.bottom << (forward ? " forward" : " reverse"));
      TestWorld<TypeParam> world(9, 7, 20, 4);
      paint(world);
      EXPECT_EQ(RX_PremulRect(nullptr, forward, &r, world.def()), RX_Result_OK);
      expect_world(world, forward, [&](int32_t x, int32_t y) {
        return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
      });
    }
  }
}

TYPED_TEST(PremultiplyWorld, EmptyRectangleChangesNothing) {
  TestWorld<TypeParam> world(6, 4, 8, 4);
  paint(world);
  const GE_LRect flat = {2, 2, 5, 2};
  const GE_LRect thin = {3, 0, 3, 4};
  EXPECT_EQ(RX_PremulRect(nullptr, 1, &flat, world.def()), RX_Result_OK);
  EXPECT_EQ(RX_PremulRect(nullptr, 1, &thin, world.def()), RX_Result_OK);
  expect_world(world, true, [](int32_t, int32_t) { return false; });
}

TYPED_TEST(PremultiplyWorld, SubWorldTouchesOnlyItsOwnPixels) {
  for (int forward = 0; forward <= 1; ++forward) {
    TestWorld<TypeParam> parent(12, 10, 24, 4);
    paint(parent);
    const GE_LRect place = {3, 2, 10, 7};
    RX_LayerDef sub = *parent.def();
    sub.data = &parent.at(place.left, place.top);
    sub.width = place.right - place.left;
    sub.height = place.bottom - place.top;
    sub.content_rect = {0, 0, sub.width, sub.height};
    EXPECT_EQ(RX_Premul(nullptr, forward, &sub), RX_Result_OK);
    expect_world(parent, forward, [&](int32_t x, int32_t y) {
      return x >= place.left && x < place.right && y >= place.top && y < place.bottom;
    });
    // And a rectangle of the sub-world, in the sub-world's coordinates.
    paint(parent);
    const GE_LRect r = {1, 2, 4, 5};
    EXPECT_EQ(RX_PremulRect(nullptr, forward, &r, &sub), RX_Result_OK);
    expect_world(parent, forward, [&](int32_t x, int32_t y) {
      return x >= place.left + r.left && x < place.left + r.right && y >= place.top + r.top &&
             y < place.top + r.bottom;
    });
  }
}

TYPED_TEST(PremultiplyWorld, BottomUpRowsWithANegativeStride) {
  TestWorld<TypeParam> world(6, 5, 8, 4);
  paint(world);
  // The same memory seen upside down: row y of this record is row 4 - y.
  RX_LayerDef flipped = *world.def();
  flipped.data = &world.at(0, 4);
  flipped.row_stride = -world.def()->row_stride;
  const GE_LRect r = {1, 0, 4, 2};  // rows 3 and 4 of the memory
  EXPECT_EQ(RX_PremulRect(nullptr, 1, &r, &flipped), RX_Result_OK);
  expect_world(world, true, [](int32_t x, int32_t y) { return x >= 1 && x < 4 && y >= 3; });
}

// ---- the override table ----

struct SlotRecord {
  int calls = 0;
  const RX_ProgressInfo* progress = nullptr;
  int32_t forward = -1;
  const GE_LRect* rect = nullptr;
  RX_LayerDef* world = nullptr;
} g_slot52;

RX_Err record_premul_rect(const RX_ProgressInfo* progress, int32_t forward, const GE_LRect* rect,
                          RX_LayerDef* world) {
  ++g_slot52.calls;
  g_slot52.progress = progress;
  g_slot52.forward = forward;
  g_slot52.rect = rect;
  g_slot52.world = world;
  return 4242;
}

// Puts a function into a slot for the length of a scope.
class SlotOverride {
 public:
  SlotOverride(int slot, RX_OverFunc func) : slot_(slot), saved_(RXp_G_OverFuncs[slot]) {
    EXPECT_EQ(RX_SetOverrideFunc(slot, func), RX_Result_OK);
  }
  ~SlotOverride() { RX_SetOverrideFunc(slot_, saved_); }

 private:
  int slot_;
  RX_OverFunc saved_;
};

class PremultiplyRectSlot : public rxtest::BornPackage {};

TEST_F(PremultiplyRectSlot, PremulRectGoesThroughSlot52) {
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_PremulRect], reinterpret_cast<RX_OverFunc>(&RX_PremulRect_S));
  SlotOverride over(RX_Slot_PremulRect, reinterpret_cast<RX_OverFunc>(&record_premul_rect));
  g_slot52 = {};
  TestWorld<RX_Pixel8> world(4, 4);
  paint(world);
  const RX_ProgressInfo progress = {nullptr, nullptr, nullptr};
  const GE_LRect r = {1, 1, 2, 2};
  EXPECT_EQ(RX_PremulRect(&progress, 1, &r, world.def()), 4242);
  EXPECT_EQ(g_slot52.calls, 1);
  EXPECT_EQ(g_slot52.progress, &progress);
  EXPECT_NE(g_slot52.forward, 0);
  EXPECT_EQ(g_slot52.rect, &r);
  EXPECT_EQ(g_slot52.world, world.def());
  // The slot's function did nothing; neither did anything else.
  expect_world(world, true, [](int32_t, int32_t) { return false; });
}

TEST_F(PremultiplyRectSlot, PremulGoesThroughSlot52WithoutARectangle) {
  SlotOverride over(RX_Slot_PremulRect, reinterpret_cast<RX_OverFunc>(&record_premul_rect));
  g_slot52 = {};
  TestWorld<RX_Pixel16> world(4, 4);
  EXPECT_EQ(RX_Premul(nullptr, 0, world.def()), 4242);
  EXPECT_EQ(g_slot52.calls, 1);
  EXPECT_EQ(g_slot52.progress, nullptr);
  EXPECT_EQ(g_slot52.forward, 0);
  EXPECT_EQ(g_slot52.rect, nullptr);
  EXPECT_EQ(g_slot52.world, world.def());
}

// A scan that records its calls and marks the pixels it was given.
struct ScanRecord {
  int calls = 0;
  int32_t total = 0;
  bool in_place = true;
  int32_t last_count = 0;
} g_scan;

template <class Px>
RX_Err record_scan(int32_t count, const Px* src, Px* dst) {
  ++g_scan.calls;
  g_scan.total += count;
  g_scan.last_count = count;
  if (src && src != dst) g_scan.in_place = false;
  for (int32_t i = 0; i < count; ++i) {
    if constexpr (sizeof(Px) == 16) {
      dst[i].red = -1.0f;
    } else {
      dst[i].red = 7;
    }
  }
  return RX_Result_OK;
}

template <class Px>
int forward_slot() {
  return sizeof(Px) == 4 ? 35 : sizeof(Px) == 8 ? 72 : 106;
}

TYPED_TEST(PremultiplyWorld, RowsGoThroughTheScanSlotsOfTheirDepthInPlace) {
  for (int forward = 0; forward <= 1; ++forward) {
    const int slot = forward_slot<TypeParam>() + (forward ? 0 : 1);
    SlotOverride over(slot, reinterpret_cast<RX_OverFunc>(&record_scan<TypeParam>));
    g_scan = {};
    TestWorld<TypeParam> world(6, 5, 8, 4);
    paint(world);
    const GE_LRect r = {1, 1, 5, 4};
    EXPECT_EQ(RX_PremulRect(nullptr, forward, &r, world.def()), RX_Result_OK);
    EXPECT_EQ(g_scan.calls, 3) << "one scan per row, slot " << slot;
    EXPECT_EQ(g_scan.total, 12);
    EXPECT_EQ(g_scan.last_count, 4);
    EXPECT_TRUE(g_scan.in_place);
    for (int32_t y = 0; y < 5; ++y) {
      for (int32_t x = 0; x < 6; ++x) {
        const bool inside = x >= 1 && x < 5 && y >= 1 && y < 4;
        TypeParam want = marker<TypeParam>(x, y);
        if (inside) want.red = decltype(want.red)(sizeof(TypeParam) == 16 ? -1 : 7);
        EXPECT_TRUE(same(world.at(x, y), want)) << x << ", " << y;
      }
    }
    // RX_Premul reaches the same slot.
    g_scan = {};
    EXPECT_EQ(RX_Premul(nullptr, forward, world.def()), RX_Result_OK);
    EXPECT_EQ(g_scan.calls, 5);
    EXPECT_EQ(g_scan.total, 30);
  }
}

// ---- abort ----

struct AbortCounter {
  int calls = 0;
  int stop_at = 0;  // the call that returns 517; 0 never
  int progress_calls = 0;
};

RX_Err abort_on_call(void* refcon) {
  auto* c = static_cast<AbortCounter*>(refcon);
  ++c->calls;
  return c->calls == c->stop_at ? RX_Result_Interrupted : RX_Result_OK;
}

RX_Err count_progress(void* refcon, int32_t, int32_t) {
  ++static_cast<AbortCounter*>(refcon)->progress_calls;
  return RX_Result_OK;
}

TYPED_TEST(PremultiplyWorld, AbortIsAskedBeforeEachRowAndStopsWithItsCode) {
  const int32_t height = 7;
  for (int k = 1; k <= height + 1; ++k) {
    SCOPED_TRACE(::testing::Message() << "abort on call " << k);
    TestWorld<TypeParam> world(5, height, 8, 4);
    paint(world);
    AbortCounter counter;
    counter.stop_at = k <= height ? k : 0;
    const RX_ProgressInfo progress = {&counter, &abort_on_call, &count_progress};
    const RX_Err err = RX_Premul(&progress, 1, world.def());
    if (k <= height) {
      EXPECT_EQ(err, RX_Result_Interrupted);
      EXPECT_EQ(counter.calls, k);
      // Rows 0 to k - 2 were done; the rest were not touched.
      expect_world(world, true, [&](int32_t, int32_t y) { return y < k - 1; });
    } else {
      EXPECT_EQ(err, RX_Result_OK);
      EXPECT_EQ(counter.calls, height);
      expect_world(world, true, [](int32_t, int32_t) { return true; });
    }
    EXPECT_EQ(counter.progress_calls, 0) << "the scans report no progress";
  }
}

TYPED_TEST(PremultiplyWorld, AbortIsAskedOncePerRowOfTheRectangle) {
  TestWorld<TypeParam> world(8, 9, 8, 4);
  paint(world);
  AbortCounter counter;
  const RX_ProgressInfo progress = {&counter, &abort_on_call, nullptr};
  const GE_LRect r = {2, 3, 6, 7};
  EXPECT_EQ(RX_PremulRect(&progress, 0, &r, world.def()), RX_Result_OK);
  EXPECT_EQ(counter.calls, 4);
  expect_world(world, false, [&](int32_t x, int32_t y) {
    return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
  });
}

TYPED_TEST(PremultiplyWorld, AnyNonZeroAbortCodeIsPassedOn) {
  TestWorld<TypeParam> world(3, 3);
  paint(world);
  const RX_ProgressInfo progress = {nullptr, [](void*) -> RX_Err { return 1234; }, nullptr};
  EXPECT_EQ(RX_Premul(&progress, 1, world.def()), 1234);
  expect_world(world, true, [](int32_t, int32_t) { return false; });
}

TYPED_TEST(PremultiplyWorld, ProgressRecordWithoutFunctionsIsHarmless) {
  TestWorld<TypeParam> world(4, 3, 4, 4);
  paint(world);
  const RX_ProgressInfo progress = {nullptr, nullptr, nullptr};
  EXPECT_EQ(RX_Premul(&progress, 1, world.def()), RX_Result_OK);
  expect_world(world, true, [](int32_t, int32_t) { return true; });
}

// ---- refusals ----

TYPED_TEST(PremultiplyWorld, MissingWorldOrPixelsIsABadParameterAtLocation52) {
  TestWorld<TypeParam> world(3, 3);
  RX_LayerDef no_pixels = *world.def();
  no_pixels.data = nullptr;
  ReportCapture capture;
  EXPECT_EQ(RX_PremulRect_S(nullptr, 1, nullptr, nullptr), RX_Result_Internal);
  EXPECT_EQ(RX_PremulRect_S(nullptr, 0, nullptr, &no_pixels), RX_Result_Internal);
  EXPECT_EQ(RX_PremulRect(nullptr, 1, nullptr, &no_pixels), RX_Result_Internal);
  EXPECT_EQ(RX_Premul(nullptr, 1, nullptr), RX_Result_Internal);
  const auto reports = capture.errors();
  ASSERT_EQ(reports.size(), 4u);
  for (const auto& r : reports) {
    EXPECT_EQ(r.kind, RXHost_Report_ErrString);
    EXPECT_EQ(r.report_class, 8);
    EXPECT_EQ(r.location, kPremulRectBadParameterLocation);
    EXPECT_EQ(r.text, kBadParameterText);
  }
}

// A world object that claims a depth no dispatch knows.
class OddDepthWorld : public RX_WorldX<RX_Pixel8> {
 public:
  explicit OddDepthWorld(const RX_LayerDef& def) : RX_WorldX<RX_Pixel8>(def, false) {}
  int16_t Depth() const override { return 24; }
  RX_World* object() { return this; }
};

TEST_F(PremultiplyRectSlot, WorldOfAnUnknownDepthIsReportedAndLeftAlone) {
  TestWorld<RX_Pixel8> world(4, 3);
  paint(world);
  OddDepthWorld odd(*world.def());
  RX_LayerDef def = *world.def();
  def.world_object = odd.object();
  ReportCapture capture;
  EXPECT_EQ(RX_PremulRect_S(nullptr, 1, nullptr, &def), RX_Result_Internal);
  const auto reports = capture.errors();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].text, "Unknown world bitdepth in##CONDITIONNAME");
  EXPECT_EQ(reports[0].location, kGeneralLocation);
  expect_world(world, true, [](int32_t, int32_t) { return false; });
}

TEST_F(PremultiplyRectSlot, UnknownFormatByteIsReportedAndTreatedAsEightBits) {
  // The depth query reports the format byte it does not know and gives 8,
  // so the world is premultiplied as an 8-bit one.
  TestWorld<RX_Pixel8> world(5, 4, 4, 1);
  paint(world);
  world.def()->layer_flags = 3u << 24;
  ReportCapture capture;
  EXPECT_EQ(RX_Premul(nullptr, 1, world.def()), RX_Result_OK);
  const auto reports = capture.errors();
  ASSERT_GE(reports.size(), 1u);
  for (const auto& r : reports) {
    EXPECT_EQ(r.text, "Unknown pixel format");
    EXPECT_EQ(r.location, kGeneralLocation);
  }
  expect_world(world, true, [](int32_t, int32_t) { return true; });
}

}  // namespace
