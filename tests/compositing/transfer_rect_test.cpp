// The transfer rectangle end to end: clipping against source, destination
// and matte, fields, track matte kinds, keep-alpha, linear tables, the
// dissolve seed's per-line step, progress and its abort, and refusals.
// The reference decides pixel by pixel which destination pixels a call
// covers, builds the matte line by the kind's formula, and blends each
// covered run of a line with the pipeline, whose rows are tested on their
// own.
#include <algorithm>
#include <climits>
#include <random>

#include "linear_tables.h"
#include "rx_test_support.h"

namespace {

template <class Px>
using Cv = decltype(Px{}.alpha);

template <class Px>
constexpr double kWhite = sizeof(Px) == 4 ? 255.0 : sizeof(Px) == 8 ? 32768.0 : 1.0;

template <class Px>
Cv<Px> channel(double unit) {
  if constexpr (sizeof(Px) == 16) return float(unit);
  else return Cv<Px>(unit * kWhite<Px> + 0.5);
}

template <class Px>
void fill_random(rxtest::TestWorld<Px>& world, std::mt19937& rng) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int32_t y = 0; y < world.height(); ++y) {
    for (int32_t x = 0; x < world.width(); ++x) {
      const int pick = int(rng() % 4);
      const double a = pick == 0 ? 0.0 : pick == 1 ? 1.0 : unit(rng);
      world.at(x, y) = Px{channel<Px>(a), channel<Px>(unit(rng)), channel<Px>(unit(rng)), channel<Px>(unit(rng))};
    }
  }
}

// The matte value of a matte pixel by kind, written from the rule.
template <class Px>
Cv<Px> matte_value(const Px& p, int32_t kind) {
  if constexpr (sizeof(Px) == 16) {
    double v = p.alpha;
    if (kind >= 2) v = float(p.alpha * (0.299f * p.red + 0.587f * p.green + 0.114f * p.blue));
    return (kind & 1) ? float(1.0f - float(v)) : float(v);
  } else {
    const int64_t white = sizeof(Px) == 4 ? 255 : 32768;
    auto mul = [](int64_t x, int64_t y) -> int64_t {
      if constexpr (sizeof(Px) == 4) {
        const int64_t t = x * y + 128;
        return (t + (t >> 8)) >> 8;
      } else {
        return (x * y + 16383) >> 15;
      }
    };
    int64_t v = p.alpha;
    if (kind >= 2) v = mul(v, (9798 * p.red + 19235 * p.green + 3735 * p.blue + 16384) >> 15);
    return Cv<Px>((kind & 1) ? white - v : v);
  }
}

template <class Px>
struct Call {
  int32_t field = 0;
  GE_LRect source_rect{};
  RX_CompositeModePlus mode{RX_Xfer_Over, 1.0f, nullptr, false, 0};
  const RX_LinearBlendingTables* tables = nullptr;
  bool with_matte = false;
  int32_t matte_kind = 0, matte_x = 0, matte_y = 0;
  int32_t dst_x = 0, dst_y = 0;
};

// What the call should leave in dst.
template <class Px>
void expected_transfer(const Call<Px>& call, rxtest::TestWorld<Px>& src, rxtest::TestWorld<Px>* matte,
                       rxtest::TestWorld<Px>& dst) {
  const int32_t shift_x = call.dst_x - call.source_rect.left, shift_y = call.dst_y - call.source_rect.top;
  auto covered = [&](int32_t x, int32_t y) {
    const int32_t sx = x - shift_x, sy = y - shift_y;
    if (sx < call.source_rect.left || sx >= call.source_rect.right) return false;
    if (sy < call.source_rect.top || sy >= call.source_rect.bottom) return false;
    if (sx < 0 || sy < 0 || sx >= src.width() || sy >= src.height()) return false;
    if (call.with_matte && call.matte_kind % 2 == 0) {
      const int32_t mx = x - call.matte_x, my = y - call.matte_y;
      if (mx < 0 || my < 0 || mx >= matte->width() || my >= matte->height()) return false;
    }
    return true;
  };
  int32_t left = INT32_MAX, top = INT32_MAX, right = INT32_MIN, bottom = INT32_MIN;
  for (int32_t y = 0; y < dst.height(); ++y) {
    for (int32_t x = 0; x < dst.width(); ++x) {
      if (!covered(x, y)) continue;
      left = std::min(left, x), right = std::max(right, x + 1);
      top = std::min(top, y), bottom = std::max(bottom, y + 1);
    }
  }
  if (left == INT32_MAX) return;
  if (call.mode.blend_mode == RX_Xfer_MultiplyAlpha || call.mode.blend_mode == RX_Xfer_MultiplyAlphaLuma) {
    for (int32_t y = 0; y < dst.height(); ++y) {
      for (int32_t x = 0; x < dst.width(); ++x) {
        // Cut away to transparent black.
        if (x < left || x >= right || y < top || y >= bottom) dst.at(x, y) = Px{};
      }
    }
  }
  const int32_t width = right - left;
  uint32_t seed = uint32_t(call.mode.random_seed) + uint32_t(left);
  std::vector<Px> matte_line(size_t(width) + 1);
  std::vector<Cv<Px>> saved(size_t(width) + 1);
  for (int32_t y = top; y < bottom; ++y) {
    const bool skipped = (call.field == 1 && y % 2 == 1) || (call.field == 2 && y % 2 == 0);
    if (!skipped) {
      for (int32_t i = 0; i < width && call.with_matte; ++i) {
        const int32_t mx = left + i - call.matte_x, my = y - call.matte_y;
        const bool inside = mx >= 0 && my >= 0 && mx < matte->width() && my < matte->height();
        matte_line[size_t(i)] = Px{};
        matte_line[size_t(i)].alpha = inside ? matte_value(matte->at(mx, my), call.matte_kind)
                                             : Cv<Px>((call.matte_kind & 1) ? kWhite<Px> : 0);
      }
      RX_BlendingMode<Px> line_mode(call.mode);
      line_mode.random_seed = int32_t(seed);
      const RX_BlendModeDescriptor<Px> plan(line_mode, call.with_matte, call.tables);
      EXPECT_EQ(RX_BlendPipeline<Px>(nullptr, width, plan, &src.at(left - shift_x, y - shift_y),
                                     call.with_matte ? matte_line.data() : nullptr, saved.data(), &dst.at(left, y)),
                RX_Result_OK);
    }
    seed += uint32_t(y) * 12281u;
  }
}

template <class Px>
RX_Err run_transfer(const Call<Px>& call, rxtest::TestWorld<Px>& src, rxtest::TestWorld<Px>* matte,
                    rxtest::TestWorld<Px>& dst, const RX_ProgressInfo* progress = nullptr) {
  RX_MaskWorld mask{};
  if (call.with_matte) mask = {*matte->def(), call.matte_x, call.matte_y, call.matte_kind};
  return RX_TransferRect(progress, 0, 0, call.field, call.source_rect, src.def(), &call.mode, call.tables,
                         call.with_matte ? &mask : nullptr, call.dst_x, call.dst_y, dst.def());
}

template <class Px>
bool same_world(rxtest::TestWorld<Px>& a, rxtest::TestWorld<Px>& b, std::string* where) {
  for (int32_t y = 0; y < a.height(); ++y) {
    for (int32_t x = 0; x < a.width(); ++x) {
      if (!rxtest::same_pixel(a.at(x, y), b.at(x, y))) {
        *where = "x " + std::to_string(x) + " y " + std::to_string(y) + ": " + std::to_string(double(a.at(x, y).alpha)) +
                 "," + std::to_string(double(a.at(x, y).red)) + " vs " + std::to_string(double(b.at(x, y).alpha)) +
                 "," + std::to_string(double(b.at(x, y).red));
        return false;
      }
    }
  }
  return true;
}

template <class Px>
class TransferRect : public rxtest::BornPackage {};
TYPED_TEST_SUITE(TransferRect, rxtest::AllPixelTypes);

TYPED_TEST(TransferRect, MatchesTheLineByLineModelOverEveryEdgeKindFieldAndMode) {
  using Px = TypeParam;
  std::mt19937 rng(20261122);
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  const int32_t modes[] = {RX_Xfer_Copy, RX_Xfer_Over, RX_Xfer_Multiply, RX_Xfer_SoftLight, RX_Xfer_Hue,
                           RX_Xfer_Dissolve, RX_Xfer_Difference2, RX_Xfer_MultiplyAlpha, RX_Xfer_MultiplyAlphaLuma,
                           RX_Xfer_AlphaAdd, RX_Xfer_Behind};
  for (int round = 0; round < 160; ++round) {
    rxtest::TestWorld<Px> src(int32_t(1 + rng() % 23), int32_t(1 + rng() % 17), int32_t(rng() % 2) * 8);
    rxtest::TestWorld<Px> dst(int32_t(1 + rng() % 23), int32_t(1 + rng() % 17), 0, int32_t(rng() % 4) * 4);
    rxtest::TestWorld<Px> matte(int32_t(1 + rng() % 15), int32_t(1 + rng() % 12));
    fill_random(src, rng);
    fill_random(dst, rng);
    fill_random(matte, rng);
    Call<Px> call;
    call.field = int32_t(rng() % 3);
    const int32_t l = int32_t(rng() % 30) - 8, t = int32_t(rng() % 24) - 6;
    call.source_rect = {l, t, l + int32_t(rng() % 30), t + int32_t(rng() % 24)};
    call.dst_x = int32_t(rng() % 30) - 10;
    call.dst_y = int32_t(rng() % 24) - 8;
    const float opacity = (rng() % 3 == 0) ? 1.0f : float(rng() % 1000) / 999.0f;
    call.mode = RX_CompositeModePlus(modes[rng() % std::size(modes)], opacity, nullptr, rng() % 3 == 0,
                                     int32_t(rng()));
    call.tables = (rng() % 4 == 0) ? &tables : nullptr;
    call.with_matte = rng() % 2 == 0;
    call.matte_kind = int32_t(rng() % 4);
    call.matte_x = int32_t(rng() % 20) - 6;
    call.matte_y = int32_t(rng() % 16) - 5;

    rxtest::TestWorld<Px> want(dst.width(), dst.height());
    for (int32_t y = 0; y < dst.height(); ++y) {
      for (int32_t x = 0; x < dst.width(); ++x) want.at(x, y) = dst.at(x, y);
    }
    expected_transfer(call, src, &matte, want);
    ASSERT_EQ(run_transfer(call, src, &matte, dst), RX_Result_OK);
    std::string where;
    ASSERT_TRUE(same_world(dst, want, &where))
        << "round " << round << " mode " << call.mode.blend_mode << " field " << call.field << " kind "
        << call.matte_kind << (call.with_matte ? " with matte" : "") << (call.tables ? " linear" : "") << " at "
        << where << " rect " << call.source_rect.left << "," << call.source_rect.top << "," << call.source_rect.right
        << "," << call.source_rect.bottom << " dst at " << call.dst_x << "," << call.dst_y << " matte at "
        << call.matte_x << "," << call.matte_y;
  }
}

TYPED_TEST(TransferRect, OverIsTheOverOfEachPixel) {
  using Px = TypeParam;
  std::mt19937 rng(7);
  rxtest::TestWorld<Px> src(9, 5), dst(9, 5);
  fill_random(src, rng);
  fill_random(dst, rng);
  std::vector<Px> want;
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 9; ++x) {
      Px d = dst.at(x, y);
      if constexpr (sizeof(Px) == 4) RXp_G_Xfer1_table8[RX_Xfer_Over](&src.at(x, y), nullptr, &d);
      else if constexpr (sizeof(Px) == 8) RXp_G_Xfer1_table16[RX_Xfer_Over](&src.at(x, y), nullptr, &d);
      else RXp_G_Xfer1_tableF[RX_Xfer_Over](&src.at(x, y), nullptr, &d);
      want.push_back(d);
    }
  }
  Call<Px> call;
  call.source_rect = {0, 0, 9, 5};
  ASSERT_EQ(run_transfer<Px>(call, src, nullptr, dst), RX_Result_OK);
  // The 8-bit vector Over may divide one step off the table.
  const double step = sizeof(Px) == 4 ? 1.0 : 0.0;
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 9; ++x) {
      const Px& got = dst.at(x, y);
      const Px& w = want[size_t(y * 9 + x)];
      EXPECT_EQ(got.alpha, w.alpha) << x << "," << y;
      EXPECT_NEAR(double(got.red), double(w.red), step) << x << "," << y;
      EXPECT_NEAR(double(got.green), double(w.green), step) << x << "," << y;
      EXPECT_NEAR(double(got.blue), double(w.blue), step) << x << "," << y;
    }
  }
}

TYPED_TEST(TransferRect, RectangleOutsideTheSourceLeavesDstAloneEvenForStencilModes) {
  using Px = TypeParam;
  std::mt19937 rng(3);
  rxtest::TestWorld<Px> src(6, 6), dst(6, 6), before(6, 6);
  fill_random(src, rng);
  fill_random(dst, rng);
  for (int32_t y = 0; y < 6; ++y) for (int32_t x = 0; x < 6; ++x) before.at(x, y) = dst.at(x, y);
  for (int32_t mode : {RX_Xfer_MultiplyAlpha, RX_Xfer_MultiplyAlphaLuma, RX_Xfer_Over}) {
    Call<Px> call;
    call.mode.blend_mode = mode;
    call.source_rect = {10, 10, 14, 14};
    EXPECT_EQ(run_transfer<Px>(call, src, nullptr, dst), RX_Result_OK);
    std::string where;
    EXPECT_TRUE(same_world(dst, before, &where)) << where;
  }
}

TYPED_TEST(TransferRect, EmptyAfterTheAlphaMatteClipEndsWithNothingDone) {
  using Px = TypeParam;
  std::mt19937 rng(4);
  rxtest::TestWorld<Px> src(6, 6), dst(6, 6), before(6, 6), matte(3, 3);
  fill_random(src, rng);
  fill_random(dst, rng);
  fill_random(matte, rng);
  for (int32_t y = 0; y < 6; ++y) for (int32_t x = 0; x < 6; ++x) before.at(x, y) = dst.at(x, y);
  Call<Px> call;
  call.mode.blend_mode = RX_Xfer_MultiplyAlpha;
  call.source_rect = {0, 0, 3, 3};
  call.with_matte = true;
  call.matte_kind = RX_Mask_Alpha;
  call.matte_x = 4;  // the matte lies right of the rectangle
  EXPECT_EQ(run_transfer(call, src, &matte, dst), RX_Result_OK);
  std::string where;
  EXPECT_TRUE(same_world(dst, before, &where)) << where;
}

TYPED_TEST(TransferRect, InvertedMatteCountsColumnsOutsideItAsFullCoverage) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> src(8, 1), dst(8, 1), matte(2, 1);
  for (int32_t x = 0; x < 8; ++x) {
    src.at(x, 0) = Px{channel<Px>(1), channel<Px>(1), channel<Px>(0.5), channel<Px>(0)};
    dst.at(x, 0) = Px{channel<Px>(1), channel<Px>(0), channel<Px>(0), channel<Px>(0)};
  }
  // The matte is opaque where it exists, so inverted it hides those columns.
  matte.at(0, 0) = matte.at(1, 0) = Px{channel<Px>(1), channel<Px>(0), channel<Px>(0), channel<Px>(0)};
  Call<Px> call;
  call.mode = RX_CompositeModePlus(RX_Xfer_Copy, 1.0f, nullptr, false, 0);
  call.source_rect = {0, 0, 8, 1};
  call.with_matte = true;
  call.matte_kind = RX_Mask_AlphaInverted;
  call.matte_x = 3;
  ASSERT_EQ(run_transfer(call, src, &matte, dst), RX_Result_OK);
  for (int32_t x = 0; x < 8; ++x) {
    const bool hidden = x == 3 || x == 4;
    EXPECT_EQ(dst.at(x, 0).alpha, hidden ? Cv<Px>(0) : channel<Px>(1)) << x;
    EXPECT_EQ(dst.at(x, 0).red, channel<Px>(1)) << x;  // Copy moves colour even at weight 0
  }
}

TYPED_TEST(TransferRect, EvenFieldSkipsAnOddFirstLineButTheSeedStillAdvances) {
  using Px = TypeParam;
  std::mt19937 rng(11);
  rxtest::TestWorld<Px> src(12, 6), dst(12, 6), want(12, 6);
  fill_random(src, rng);
  for (int32_t y = 0; y < 6; ++y) {
    for (int32_t x = 0; x < 12; ++x) {
      src.at(x, y).alpha = channel<Px>(0.5);
      want.at(x, y) = dst.at(x, y) = Px{};
    }
  }
  Call<Px> call;
  call.field = 1;
  call.mode = RX_CompositeModePlus(RX_Xfer_Dissolve, 1.0f, nullptr, false, 99);
  call.source_rect = {0, 0, 12, 5};
  call.dst_y = 1;  // first line odd
  expected_transfer<Px>(call, src, nullptr, want);
  ASSERT_EQ(run_transfer<Px>(call, src, nullptr, dst), RX_Result_OK);
  std::string where;
  EXPECT_TRUE(same_world(dst, want, &where)) << where;
  for (int32_t x = 0; x < 12; ++x) EXPECT_TRUE(rxtest::same_pixel(dst.at(x, 1), Px{})) << "odd line blended";
}

TYPED_TEST(TransferRect, DissolveRepeatsForTheSameSeedAndPlaceAndMovesWithX) {
  using Px = TypeParam;
  std::mt19937 rng(5);
  rxtest::TestWorld<Px> src(40, 4), first(48, 4), second(48, 4), moved(48, 4);
  fill_random(src, rng);
  for (int32_t y = 0; y < 4; ++y) for (int32_t x = 0; x < 40; ++x) src.at(x, y).alpha = channel<Px>(0.5);
  Call<Px> call;
  call.mode = RX_CompositeModePlus(RX_Xfer_Dissolve, 1.0f, nullptr, false, 1234);
  call.source_rect = {0, 0, 40, 4};
  ASSERT_EQ(run_transfer<Px>(call, src, nullptr, first), RX_Result_OK);
  ASSERT_EQ(run_transfer<Px>(call, src, nullptr, second), RX_Result_OK);
  std::string where;
  EXPECT_TRUE(same_world(first, second, &where)) << where;
  call.source_rect = {0, 0, 40, 4};
  call.dst_x = 5;
  ASSERT_EQ(run_transfer<Px>(call, src, nullptr, moved), RX_Result_OK);
  int drawn_first = 0, differences = 0;
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 5; x < 40; ++x) {
      const bool a = first.at(x, y).alpha != 0, b = moved.at(x, y).alpha != 0;
      drawn_first += a;
      differences += a != b;
    }
  }
  EXPECT_GT(drawn_first, 20);
  EXPECT_GT(differences, 10) << "another x gives another pattern for the same columns";
}

struct AbortAfter {
  int calls = 0;
  int abort_at = 0;
  std::vector<int32_t> currents;
  static RX_Err progress(void* refcon, int32_t current, int32_t total) {
    auto* self = static_cast<AbortAfter*>(refcon);
    self->currents.push_back(current);
    EXPECT_GT(total, 0);
    return ++self->calls == self->abort_at ? RX_Result_Interrupted : RX_Result_OK;
  }
};

TYPED_TEST(TransferRect, ProgressEvery128thLineAndAnAbortKeepsTheLinesDone) {
  using Px = TypeParam;
  std::mt19937 rng(9);
  rxtest::TestWorld<Px> src(3, 400), dst(3, 400);
  fill_random(src, rng);
  for (int32_t y = 0; y < 400; ++y) for (int32_t x = 0; x < 3; ++x) src.at(x, y).alpha = channel<Px>(1);
  AbortAfter counter;
  counter.abort_at = 100;  // never
  RX_ProgressInfo progress{&counter, nullptr, &AbortAfter::progress};
  Call<Px> call;
  call.source_rect = {0, 0, 3, 400};
  ASSERT_EQ(run_transfer<Px>(call, src, nullptr, dst, &progress), RX_Result_OK);
  EXPECT_EQ(counter.currents, (std::vector<int32_t>{0, 128, 256, 384}));

  rxtest::TestWorld<Px> aborted(3, 400);
  AbortAfter stopper;
  stopper.abort_at = 2;
  RX_ProgressInfo stop{&stopper, nullptr, &AbortAfter::progress};
  EXPECT_EQ(run_transfer<Px>(call, src, nullptr, aborted, &stop), RX_Result_Interrupted);
  // Lines 0 to 128 were blended before the abort; the rest were not.
  EXPECT_TRUE(rxtest::same_pixel(aborted.at(1, 128), src.at(1, 128)));
  EXPECT_TRUE(rxtest::same_pixel(aborted.at(1, 129), Px{}));
}

TEST(TransferRectRefusals, DifferentDepthsAndUnknownDepthGiveThreeWithTheirTexts) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  rxtest::TestWorld<RX_Pixel8> src(4, 4);
  rxtest::TestWorld<RX_Pixel16> dst(4, 4);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  {
    rxtest::ReportCapture reports;
    EXPECT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 4, 4}, src.def(), &mode, nullptr, nullptr, 0, 0,
                              dst.def()),
              RX_Result_Internal);
    ASSERT_FALSE(reports.errors().empty());
    EXPECT_EQ(reports.errors().back().text, "RX_TransferRect requires src and dst worlds to have same bit depth");
  }
  {
    rxtest::ReportCapture reports;
    EXPECT_EQ(RX_TransferRectPlus(nullptr, 0, 0, 0, GE_LRect{0, 0, 4, 4}, src.def(), &mode, nullptr, nullptr,
                                  nullptr, 0, 0, dst.def()),
              RX_Result_Internal);
    ASSERT_FALSE(reports.errors().empty());
    EXPECT_EQ(reports.errors().back().text,
              "RX_TransferRectPlus requires src and dst worlds to have same bit depth");
  }
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(TransferRectRefusals, FarOffPositionsClipInsteadOfWrapping) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  rxtest::TestWorld<RX_Pixel8> src(4, 4), dst(4, 4), matte(4, 4);
  for (int32_t y = 0; y < 4; ++y) for (int32_t x = 0; x < 4; ++x) src.at(x, y) = RX_Pixel8{255, 1, 2, 3};
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  const RX_MaskWorld mask{*matte.def(), INT32_MAX - 1, INT32_MIN + 1, RX_Mask_Alpha};
  EXPECT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX}, src.def(), &mode,
                            nullptr, nullptr, INT32_MAX, INT32_MAX, dst.def()),
            RX_Result_OK);
  EXPECT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 4, 4}, src.def(), &mode, nullptr, &mask, 0, 0, dst.def()),
            RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel8{}));
  // A whole-plane rectangle placed at the origin covers the destination.
  EXPECT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX}, src.def(), &mode,
                            nullptr, nullptr, INT32_MIN, INT32_MIN, dst.def()),
            RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(3, 3), RX_Pixel8{255, 1, 2, 3}));
  // An inverted matte far off counts as full coverage everywhere.
  const RX_MaskWorld far_inverted{*matte.def(), INT32_MIN + 1, 0, RX_Mask_AlphaInverted};
  rxtest::TestWorld<RX_Pixel8> covered(4, 4);
  EXPECT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 4, 4}, src.def(), &mode, nullptr, &far_inverted, 0, 0,
                            covered.def()),
            RX_Result_OK);
  EXPECT_TRUE(rxtest::same_pixel(covered.at(2, 2), RX_Pixel8{255, 1, 2, 3}));
  const RX_MaskWorld empty_matte{RX_LayerDef{}, 0, 0, RX_Mask_Alpha};
  EXPECT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 4, 4}, src.def(), &mode, nullptr, &empty_matte, 0, 0,
                            dst.def()),
            RX_Result_Internal);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(TransferRectRefusals, ModeWithoutARowGivesFiveAndTouchesNothing) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  rxtest::TestWorld<RX_Pixel8> src(4, 4), dst(4, 4);
  for (int32_t y = 0; y < 4; ++y) for (int32_t x = 0; x < 4; ++x) src.at(x, y) = RX_Pixel8{255, 1, 2, 3};
  const RX_CompositeModePlus mode(RX_Xfer_None, 1.0f, nullptr, false, 0);
  rxtest::ReportCapture reports;
  EXPECT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 4, 4}, src.def(), &mode, nullptr, nullptr, 0, 0,
                            dst.def()),
            RX_Result_Unimplemented);
  ASSERT_FALSE(reports.errors().empty());
  EXPECT_EQ(reports.errors().front().text, "unimplemented blending mode.");
  EXPECT_TRUE(rxtest::same_pixel(dst.at(0, 0), RX_Pixel8{}));
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(TransferRectRefusals, ScratchThatCannotGrowGivesFour) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  rxtest::TestWorld<RX_Pixel8> src(20000, 1), dst(20000, 1);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  RXHost_FailNthAllocation(1);
  EXPECT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 20000, 1}, src.def(), &mode, nullptr, nullptr, 0, 0,
                            dst.def()),
            RX_Result_OutOfMemory);
  RXHost_FailNthAllocation(0);
  // The next call grows the rows and works.
  EXPECT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 20000, 1}, src.def(), &mode, nullptr, nullptr, 0, 0,
                            dst.def()),
            RX_Result_OK);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(TransferRectRefusals, ACallersScratchSetIsUsedAsItIs) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  rxtest::TestWorld<RX_Pixel8> src(20000, 1), dst(20000, 1);
  for (int32_t x = 0; x < 20000; ++x) src.at(x, 0) = RX_Pixel8{255, 9, 8, 7};
  std::vector<uint8_t> alpha_row(20000), mask_line(80000), work_line(80000);
  RX_TransferScratch scratch{{alpha_row.data(), mask_line.data(), work_line.data()}};
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  RXHost_FailNthAllocation(1);  // the shared rows could not grow
  EXPECT_EQ(RX_TransferRectPlus(nullptr, 0, 0, 0, GE_LRect{0, 0, 20000, 1}, src.def(), &mode, nullptr, nullptr,
                                &scratch, 0, 0, dst.def()),
            RX_Result_OK);
  RXHost_FailNthAllocation(0);
  EXPECT_TRUE(rxtest::same_pixel(dst.at(19999, 0), RX_Pixel8{255, 9, 8, 7}));
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(TrackMatteLines, PrepTrackMatteUnivFillsLeadSkipsSourceAndPadsTheRest) {
  const RX_Pixel8 row[3] = {{200, 255, 255, 255}, {100, 0, 0, 0}, {50, 255, 0, 0}};
  RX_Pixel8 out[7];
  for (auto& p : out) p = RX_Pixel8{7, 1, 2, 3};
  RX_PrepTrackMatteUniv(7, row, 2, 3, RX_Mask_AlphaInverted, 0, out);
  const uint8_t want_lead[7] = {255, 255, 55, 155, 205, 255, 255};
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(out[i].alpha, want_lead[i]) << i;
    EXPECT_EQ(out[i].red, 1) << "only alpha is written";
  }
  RX_PrepTrackMatteUniv(4, row, -1, 3, RX_Mask_Alpha, 0, out);
  const uint8_t want_skip[4] = {100, 50, 0, 0};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(out[i].alpha, want_skip[i]) << i;

  // No source row: the outside value everywhere; no destination: nothing.
  RX_PrepTrackMatteUniv(3, nullptr, 0, 3, RX_Mask_AlphaInverted, 0, out);
  EXPECT_EQ(out[0].alpha, 255);
  EXPECT_EQ(out[2].alpha, 255);
  RX_PrepTrackMatteUniv(3, row, 0, 3, RX_Mask_Alpha, 0, nullptr);

  const RX_Pixel16 deep[2] = {{32768, 32768, 32768, 32768}, {16384, 0, 32768, 0}};
  RX_Pixel16 deep_out[3];
  RX_PrepTrackMatteUniv(3, deep, 0, 2, RX_Mask_LumaInverted, 1, deep_out);
  // Luminance of (0, 32768, 0) is (19235 * 32768 + 16384) >> 15 = 19235.
  const int64_t lum = (19235LL * 32768 + 16384) >> 15;
  EXPECT_EQ(deep_out[0].alpha, 0);
  EXPECT_EQ(deep_out[1].alpha, 32768 - ((16384 * lum + 16383) >> 15));
  EXPECT_EQ(deep_out[2].alpha, 32768);
}

}  // namespace
