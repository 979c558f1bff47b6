// The composite rectangle helpers: a rectangle of an 8-bit world put behind
// another at an opacity, straight and premultiplied, against their
// per-pixel rules written out plainly; the names that forward, field
// selection, progress every 32 lines, and the slots that hold them.
#include <random>

#include "rx_test_support.h"

namespace {

using rxtest::TestWorld;

using CompositeRectFunc = RX_Err (*)(const RX_ProgressInfo*, const GE_LRect*, uint8_t, const RX_LayerDef*, int32_t,
                                     int32_t, int32_t, int32_t, RX_LayerDef*);

uint32_t product(uint32_t a, uint32_t b) { return (a * b + 127) / 255; }  // the table: a b / 255 to nearest

RX_Pixel8 straight(const RX_Pixel8& s, uint32_t opacity, RX_Pixel8 d) {
  const uint32_t da = d.alpha;
  if (da == 255) return d;
  if (da == 0) return RX_Pixel8{uint8_t(product(opacity, s.alpha)), s.red, s.green, s.blue};
  const uint64_t wd = uint64_t(da) * 255 * 255, ws = uint64_t(255 - da) * opacity * s.alpha, t = wd + ws;
  return RX_Pixel8{uint8_t(t / (255 * 255)), uint8_t((s.red * ws + d.red * wd) / t),
                   uint8_t((s.green * ws + d.green * wd) / t), uint8_t((s.blue * ws + d.blue * wd) / t)};
}

RX_Pixel8 premultiplied(RX_Pixel8 s, uint32_t opacity, RX_Pixel8 d) {
  const uint32_t da = d.alpha;
  if (da == 255) return d;
  if (opacity < 255) {
    s = RX_Pixel8{uint8_t(product(opacity, s.alpha)), uint8_t(product(opacity, s.red)),
                  uint8_t(product(opacity, s.green)), uint8_t(product(opacity, s.blue))};
  }
  if (da == 0) return s;
  const uint32_t u = 255 - da;
  return RX_Pixel8{uint8_t(d.alpha + product(u, s.alpha)), uint8_t(d.red + product(u, s.red)),
                   uint8_t(d.green + product(u, s.green)), uint8_t(d.blue + product(u, s.blue))};
}

void fill(TestWorld<RX_Pixel8>& w, std::mt19937& rng) {
  for (int32_t y = 0; y < w.height(); ++y) {
    for (int32_t x = 0; x < w.width(); ++x) {
      const uint32_t pick = rng() % 4;
      const uint8_t a = pick == 0 ? 0 : pick == 1 ? 255 : uint8_t(rng());
      w.at(x, y) = RX_Pixel8{a, uint8_t(rng()), uint8_t(rng()), uint8_t(rng())};
    }
  }
}

class CompositeRect : public rxtest::BornPackage {};

TEST_F(CompositeRect, TheProductTableIsTheRoundedProduct) {
  for (uint32_t a = 0; a < 256; ++a) {
    for (uint32_t b = 0; b < 256; ++b) ASSERT_EQ(RXp_G_fcm_table[a * 256 + b], product(a, b)) << a << " " << b;
  }
}

TEST_F(CompositeRect, BothKindsFollowTheirRulesOverFieldsRectanglesAndOpacities) {
  std::mt19937 rng(51);
  struct Kind {
    CompositeRectFunc f;
    RX_Pixel8 (*rule)(RX_Pixel8, uint32_t, RX_Pixel8);
  };
  const Kind kinds[] = {
      {RX_CompositeRectBest_Straight, [](RX_Pixel8 s, uint32_t o, RX_Pixel8 d) { return straight(s, o, d); }},
      {RX_CompositeRectDraft_Straight, [](RX_Pixel8 s, uint32_t o, RX_Pixel8 d) { return straight(s, o, d); }},
      {RX_CompositeRectDraft_Premul, premultiplied},
      {RX_CompositeRectBest_Premul, premultiplied}};
  for (int round = 0; round < 80; ++round) {
    const Kind& kind = kinds[round % 4];
    TestWorld<RX_Pixel8> src(int32_t(4 + rng() % 20), int32_t(4 + rng() % 15), int32_t(rng() % 3) * 4);
    TestWorld<RX_Pixel8> dst(30, 25, 8, 4), want(30, 25);
    fill(src, rng);
    fill(dst, rng);
    for (int32_t y = 0; y < 25; ++y) {
      for (int32_t x = 0; x < 30; ++x) want.at(x, y) = dst.at(x, y);
    }
    const bool whole = rng() % 3 == 0;
    GE_LRect rect{0, 0, src.width(), src.height()};
    if (!whole) {
      rect.left = int32_t(rng() % 3), rect.top = int32_t(rng() % 3);
      rect.right = rect.left + int32_t(rng() % uint32_t(src.width() - rect.left + 1));
      rect.bottom = rect.top + int32_t(rng() % uint32_t(src.height() - rect.top + 1));
    }
    const int32_t dx = int32_t(rng() % uint32_t(30 - (rect.right - rect.left) + 1));
    const int32_t dy = int32_t(rng() % uint32_t(25 - (rect.bottom - rect.top) + 1));
    const int32_t field = int32_t(rng() % 3);
    const uint8_t opacity = rng() % 3 == 0 ? 255 : uint8_t(1 + rng() % 255);
    ASSERT_EQ(kind.f(nullptr, whole ? nullptr : &rect, opacity, src.def(), dx, dy, field, 12345, dst.def()),
              RX_Result_OK);
    for (int32_t y = rect.top; y < rect.bottom; ++y) {
      const int32_t ty = dy + y - rect.top;
      if ((field == 1 && ty % 2 == 1) || (field == 2 && ty % 2 == 0)) continue;
      for (int32_t x = rect.left; x < rect.right; ++x) {
        const int32_t tx = dx + x - rect.left;
        want.at(tx, ty) = kind.rule(src.at(x, y), opacity, want.at(tx, ty));
      }
    }
    for (int32_t y = 0; y < 25; ++y) {
      for (int32_t x = 0; x < 30; ++x) {
        ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), want.at(x, y))) << round << " at " << x << "," << y;
      }
    }
  }
}

TEST_F(CompositeRect, StraightOverAnOpaqueDestinationChangesNothingAtAnyOpacity) {
  std::mt19937 rng(52);
  TestWorld<RX_Pixel8> src(7, 5), dst(7, 5);
  fill(src, rng);
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 7; ++x) dst.at(x, y) = RX_Pixel8{255, uint8_t(x * 30), uint8_t(y * 40), 9};
  }
  for (uint32_t opacity = 0; opacity < 256; ++opacity) {
    ASSERT_EQ(RX_CompositeRectBest_Straight(nullptr, nullptr, uint8_t(opacity), src.def(), 0, 0, 0, 0, dst.def()), 0);
  }
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 7; ++x) {
      ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), RX_Pixel8{255, uint8_t(x * 30), uint8_t(y * 40), 9}));
    }
  }
}

TEST_F(CompositeRect, ATransparentSourcePixelKeepsColourAndAlpha) {
  TestWorld<RX_Pixel8> src(1, 1), dst(1, 1);
  src.at(0, 0) = RX_Pixel8{0, 200, 200, 200};
  dst.at(0, 0) = RX_Pixel8{100, 10, 20, 30};
  ASSERT_EQ(RX_CompositeRectBest_Straight(nullptr, nullptr, 255, src.def(), 0, 0, 0, 0, dst.def()), 0);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel8{100, 10, 20, 30}));
}

TEST_F(CompositeRect, OpacityZeroAndEmptyRectanglesDoNothing) {
  std::mt19937 rng(53);
  TestWorld<RX_Pixel8> src(5, 5), dst(5, 5);
  fill(src, rng);
  const GE_LRect flat{0, 2, 5, 2};
  for (CompositeRectFunc f : {RX_CompositeRectBest_Straight, RX_CompositeRectDraft_Premul}) {
    EXPECT_EQ(f(nullptr, nullptr, 0, src.def(), 0, 0, 0, 0, dst.def()), 0);
    EXPECT_EQ(f(nullptr, &flat, 255, src.def(), 0, 0, 0, 0, dst.def()), 0);
    // Opacity 0 returns before it looks at anything.
    EXPECT_EQ(f(nullptr, nullptr, 0, nullptr, 0, 0, 0, 0, nullptr), 0);
  }
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 5; ++x) ASSERT_TRUE(rxtest::same_pixel(dst.at(x, y), RX_Pixel8{}));
  }
}

struct Lines {
  std::vector<int32_t> done;
  int32_t total = 0;
  RX_Err answer = RX_Result_OK;
};
RX_Err note_lines(void* refcon, int32_t done, int32_t total) {
  auto* lines = static_cast<Lines*>(refcon);
  lines->done.push_back(done);
  lines->total = total;
  return lines->answer;
}

TEST_F(CompositeRect, ProgressComesWhenTheLinesToGoAreAMultipleOfThirtyTwo) {
  TestWorld<RX_Pixel8> src(2, 70), dst(2, 80);
  for (int32_t y = 0; y < 70; ++y) src.at(0, y) = src.at(1, y) = RX_Pixel8{255, 50, 50, 50};
  Lines lines;
  RX_ProgressInfo progress{&lines, nullptr, note_lines};
  ASSERT_EQ(RX_CompositeRectBest_Straight(&progress, nullptr, 255, src.def(), 0, 0, 0, 0, dst.def()), 0);
  EXPECT_EQ(lines.done, (std::vector<int32_t>{6, 38}));  // 64 and 32 lines to go
  EXPECT_EQ(lines.total, 70);
  // Odd lines only: the chosen lines with 64 and 32 to go are 6 and 38,
  // both even, so none reports; from dst y = 1 the chosen ones are even.
  lines = Lines{};
  ASSERT_EQ(RX_CompositeRectDraft_Premul(&progress, nullptr, 255, src.def(), 0, 0, 2, 0, dst.def()), 0);
  EXPECT_TRUE(lines.done.empty());
  ASSERT_EQ(RX_CompositeRectDraft_Premul(&progress, nullptr, 255, src.def(), 0, 1, 2, 0, dst.def()), 0);
  EXPECT_EQ(lines.done, (std::vector<int32_t>{6, 38}));
}

TEST_F(CompositeRect, AnAbortKeepsTheLinesDone) {
  TestWorld<RX_Pixel8> src(2, 64), dst(2, 64);
  for (int32_t y = 0; y < 64; ++y) src.at(0, y) = src.at(1, y) = RX_Pixel8{255, 50, 50, 50};
  Lines lines;
  lines.answer = RX_Result_Interrupted;
  RX_ProgressInfo progress{&lines, nullptr, note_lines};
  // 64 lines: the first report comes before line 0; a second run from the
  // abort of line 32 keeps lines 0 to 31.
  EXPECT_EQ(RX_CompositeRectBest_Straight(&progress, nullptr, 255, src.def(), 0, 0, 0, 0, dst.def()),
            RX_Result_Interrupted);
  EXPECT_EQ(dst.at(0, 0).alpha, 0);
  static int answers;
  answers = 0;
  RX_ProgressInfo second{nullptr, nullptr, [](void*, int32_t, int32_t) -> RX_Err {
                           return ++answers == 2 ? RX_Result_Interrupted : RX_Result_OK;
                         }};
  EXPECT_EQ(RX_CompositeRectBest_Straight(&second, nullptr, 255, src.def(), 0, 0, 0, 0, dst.def()),
            RX_Result_Interrupted);
  EXPECT_EQ(dst.at(0, 31).alpha, 255);
  EXPECT_EQ(dst.at(0, 32).alpha, 0);
}

TEST_F(CompositeRect, OtherDepthsAndMissingWorldsAreBadParameters) {
  TestWorld<RX_Pixel8> src(2, 2);
  TestWorld<RX_Pixel16> deep(2, 2);
  rxtest::ReportCapture capture;
  EXPECT_EQ(RX_CompositeRectBest_Straight(nullptr, nullptr, 255, src.def(), 0, 0, 0, 0, deep.def()), 3);
  EXPECT_EQ(RX_CompositeRectDraft_Premul(nullptr, nullptr, 255, nullptr, 0, 0, 0, 0, src.def()), 3);
  ASSERT_EQ(capture.errors().size(), 2u);
  EXPECT_EQ(capture.errors()[0].text, "bad parameter passed to effect callback");
  EXPECT_EQ(capture.errors()[0].location, 0x250009);
  EXPECT_EQ(capture.errors()[1].location, 0x250008);
}

TEST_F(CompositeRect, SlotsSevenToTenHoldTheFourNames) {
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_CompositeRectDraftStraight],
            reinterpret_cast<RX_OverFunc>(RX_CompositeRectDraft_Straight));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_CompositeRectDraftPremul],
            reinterpret_cast<RX_OverFunc>(RX_CompositeRectDraft_Premul));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_CompositeRectBestStraight],
            reinterpret_cast<RX_OverFunc>(RX_CompositeRectBest_Straight));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_CompositeRectBestPremul],
            reinterpret_cast<RX_OverFunc>(RX_CompositeRectBest_Premul));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_TransformWorld], reinterpret_cast<RX_OverFunc>(RX_TransformWorld_S));
  EXPECT_EQ(RXp_G_OverFuncs[RX_Slot_TransformWorldCore], reinterpret_cast<RX_OverFunc>(RX_TransformWorldPlus_S));
}

}  // namespace
