// The row-only behaviours (copies, Over at opacity 0, behind, mask mix,
// dissolve), the mode plan, the failures of the linear rows and the
// single-channel fade.
#include "blend_test_support.h"

namespace {

// ==== copies ====

template <class Px>
void check_copy_rows() {
  using D = Depth<Px>;
  std::mt19937 rng(29);
  for (int mode : {RX_Xfer_Copy, RX_Xfer_ReplaceRaw}) {
    const Line<Px> line = random_line<Px>(rng, 37);
    const int32_t w = line.width();
    // Full opacity with a mask: alpha mul(src alpha, mask alpha), colours
    // copied even where that alpha is 0.
    {
      std::vector<Px> dst = line.dst;
      const auto bm = blending_mode<Px>(mode, D::white);
      ASSERT_EQ((row_of<Px, true, false>(mode)(w, &bm, nullptr, line.src.data(), line.mask.data(), dst.data())), 0);
      int transparent = 0;
      for (int32_t i = 0; i < w; ++i) {
        const Px& s = line.src[size_t(i)];
        const Px want{Cv<Px>(D::mul(s.alpha, line.mask[size_t(i)].alpha)), s.red, s.green, s.blue};
        transparent += want.alpha == 0;
        EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], want))
            << D::name << " mode " << mode << " pixel " << i << ": " << show(dst[size_t(i)]) << " vs " << show(want);
      }
      EXPECT_GT(transparent, 0);
    }
    // Opacity below full, without a mask: alpha mul(src alpha, opacity).
    {
      std::vector<Px> dst = line.dst;
      const Cv<Px> opacity = D::between(rng);
      const auto bm = blending_mode<Px>(mode, opacity);
      ASSERT_EQ((row_of<Px, false, false>(mode)(w, &bm, nullptr, line.src.data(), nullptr, dst.data())), 0);
      for (int32_t i = 0; i < w; ++i) {
        const Px& s = line.src[size_t(i)];
        const Px want{Cv<Px>(D::mul(s.alpha, opacity)), s.red, s.green, s.blue};
        EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], want)) << D::name << " mode " << mode << " pixel " << i;
      }
    }
    // Full opacity without a mask: a plain move of the line, also through
    // a mask form given no mask.
    for (int form = 0; form < 2; ++form) {
      std::vector<Px> dst = line.dst;
      const auto bm = blending_mode<Px>(mode, D::white);
      const auto row = form == 0 ? row_of<Px, false, false>(mode) : row_of<Px, true, false>(mode);
      ASSERT_EQ(row(w, &bm, nullptr, line.src.data(), nullptr, dst.data()), 0);
      EXPECT_EQ(std::memcmp(dst.data(), line.src.data(), size_t(w) * sizeof(Px)), 0) << D::name << " mode " << mode;
    }
    // keep_dst_alpha: colours only, opacity and mask ignored.
    for (int form = 0; form < 2; ++form) {
      std::vector<Px> dst = line.dst;
      const auto bm = blending_mode<Px>(mode, Cv<Px>(0), true);
      const auto row = form == 0 ? row_of<Px, false, false>(mode) : row_of<Px, true, false>(mode);
      ASSERT_EQ(row(w, &bm, nullptr, line.src.data(), form ? line.mask.data() : nullptr, dst.data()), 0);
      for (int32_t i = 0; i < w; ++i) {
        const Px& s = line.src[size_t(i)];
        const Px want{line.dst[size_t(i)].alpha, s.red, s.green, s.blue};
        EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], want)) << D::name << " mode " << mode << " pixel " << i;
      }
    }
    // Through the pipeline, keep_dst_alpha set: the plan saves nothing,
    // the row copies colours only.
    {
      const auto got = run_pipeline(blending_mode<Px>(mode, D::half, true), line, true, nullptr);
      for (int32_t i = 0; i < w; ++i) {
        EXPECT_EQ(got[size_t(i)].alpha, line.dst[size_t(i)].alpha);
        EXPECT_EQ(got[size_t(i)].green, line.src[size_t(i)].green);
      }
    }
  }
}

TEST_F(BlendRows, CopyAndReplaceRawWriteTheWeightedAlphaAndCopyColoursEvenWhereItIsZero) {
  check_copy_rows<RX_Pixel8>();
  check_copy_rows<RX_Pixel16>();
  check_copy_rows<RX_PixelFloat>();
}

TEST_F(BlendPipelineScalar, CopyAndReplaceRawWithoutProcessorFormsBehaveTheSame) {
  check_copy_rows<RX_Pixel8>();
}

// ==== Over at opacity 0 ====

template <class Px>
void check_over_at_opacity_zero() {
  std::mt19937 rng(30);
  const Line<Px> line = random_line<Px>(rng, 40);
  const auto bm = blending_mode<Px>(RX_Xfer_Over, Cv<Px>(0));
  std::vector<Px> dst = line.dst;
  ASSERT_EQ((row_of<Px, false, false>(RX_Xfer_Over)(40, &bm, nullptr, line.src.data(), nullptr, dst.data())), 0);
  EXPECT_EQ(std::memcmp(dst.data(), line.dst.data(), sizeof(Px) * 40), 0) << Depth<Px>::name;
  const auto piped = run_pipeline(bm, line, false, nullptr);
  EXPECT_EQ(std::memcmp(piped.data(), line.dst.data(), sizeof(Px) * 40), 0) << Depth<Px>::name;
}

TEST_F(BlendRows, OverAtOpacityZeroWithoutMaskLeavesDstAsItWas) {
  check_over_at_opacity_zero<RX_Pixel8>();
  check_over_at_opacity_zero<RX_Pixel16>();
  check_over_at_opacity_zero<RX_PixelFloat>();
}

TEST_F(BlendPipelineScalar, OverAtOpacityZeroWithoutMaskLeavesDstAsItWas) {
  check_over_at_opacity_zero<RX_Pixel8>();
}

// ==== behind ====

template <class Px>
void check_behind_row() {
  using D = Depth<Px>;
  const RX_InnerBlendingFunc<Px> plain = row_of<Px, false, false>(RX_Xfer_Behind);
  const RX_InnerBlendingFunc<Px> masked = row_of<Px, true, false>(RX_Xfer_Behind);
  const Cv<Px> partial = Cv<Px>(D::half / 2 + D::half);  // three quarters
  const Px src{partial, D::white, D::half, Cv<Px>(0)};
  const Px mask{D::half, Cv<Px>(0), Cv<Px>(0), Cv<Px>(0)};
  for (int keep = 0; keep < 2; ++keep) {
    for (int with_mask = 0; with_mask < 2; ++with_mask) {
      const Cv<Px> opacity = with_mask ? D::white : D::half;
      const auto bm = blending_mode<Px>(RX_Xfer_Behind, opacity, keep != 0);
      const Cv<Px> weighted = Cv<Px>(with_mask ? D::mul(D::half, D::mul(partial, opacity)) : D::mul(partial, opacity));
      auto run = [&](Px d) {
        (with_mask ? masked : plain)(1, &bm, nullptr, &src, with_mask ? &mask : nullptr, &d);
        return d;
      };
      // dst opaque: nothing.
      const Px opaque{D::white, Cv<Px>(1), Cv<Px>(2), Cv<Px>(3)};
      EXPECT_TRUE(rxtest::same_pixel(run(opaque), opaque)) << D::name;
      // dst transparent: src's colours, alpha the weight (0 kept with the flag).
      const Px empty{Cv<Px>(0), Cv<Px>(1), Cv<Px>(2), Cv<Px>(3)};
      const Px want_empty{keep ? Cv<Px>(0) : weighted, src.red, src.green, src.blue};
      EXPECT_TRUE(rxtest::same_pixel(run(empty), want_empty))
          << D::name << " keep " << keep << " mask " << with_mask << ": " << show(run(empty)) << " vs "
          << show(want_empty);
      // Partly covered: the behind step, as the per-pixel function does it.
      const Px some{D::half, D::half, D::white, Cv<Px>(0)};
      Px want = some;
      per_pixel(RX_Xfer_Behind, src, with_mask ? &mask : nullptr, opacity, nullptr, want);
      if (keep) want.alpha = some.alpha;
      EXPECT_TRUE(near(run(some), want, std::is_same_v<Cv<Px>, float> ? kFloatTolerance : 0))
          << D::name << " keep " << keep << " mask " << with_mask << ": " << show(run(some)) << " vs " << show(want);
    }
  }
  // No skip at weight 0: a transparent dst still takes src's colours.
  const Px clear_src{Cv<Px>(0), D::white, D::half, Cv<Px>(0)};
  const auto bm = blending_mode<Px>(RX_Xfer_Behind, D::white);
  Px d{Cv<Px>(0), Cv<Px>(1), Cv<Px>(2), Cv<Px>(3)};
  plain(1, &bm, nullptr, &clear_src, nullptr, &d);
  EXPECT_TRUE(rxtest::same_pixel(d, Px{Cv<Px>(0), D::white, D::half, Cv<Px>(0)})) << D::name << " " << show(d);
}

TEST_F(BlendRows, BehindRowLeavesOpaqueDstFillsEmptyDstAndHonoursKeepDstAlpha) {
  check_behind_row<RX_Pixel8>();
  check_behind_row<RX_Pixel16>();
  check_behind_row<RX_PixelFloat>();
}

// ==== mask mix ====

RX_Pixel8 mask_mix8(const RX_Pixel8& s, const RX_Pixel8& d, uint32_t m) {
  if (m == 255) return s;
  const uint32_t w1 = s.alpha * m, w2 = (255 - m) * d.alpha, t = w1 + w2;
  if (m == 0 || t == 0) return d;
  auto colour = [&](uint32_t sc, uint32_t dc) { return uint8_t((sc * w1 + t / 2 + dc * w2) / t); };
  return {uint8_t((t + 128) / 255), colour(s.red, d.red), colour(s.green, d.green), colour(s.blue, d.blue)};
}

TEST_F(BlendRows, MaskMixCrossfadesByTheMaskAt8Bits) {
  std::mt19937 rng(31);
  const auto row = row_of<RX_Pixel8, true, false>(RX_Xfer_MaskMix);
  for (int n = 0; n < 40; ++n) {
    const Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 1 + int32_t(rng() % 40));
    // Opacity is not read: 0 mixes as much as full.
    const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_MaskMix, uint8_t(n % 2 ? 0 : 255));
    std::vector<RX_Pixel8> dst = line.dst;
    ASSERT_EQ(row(line.width(), &bm, nullptr, line.src.data(), line.mask.data(), dst.data()), 0);
    for (int32_t i = 0; i < line.width(); ++i) {
      const RX_Pixel8 want = mask_mix8(line.src[size_t(i)], line.dst[size_t(i)], line.mask[size_t(i)].alpha);
      EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], want))
          << "src " << show(line.src[size_t(i)]) << " dst " << show(line.dst[size_t(i)]) << " m "
          << +line.mask[size_t(i)].alpha << " -> " << show(dst[size_t(i)]) << ", expected " << show(want);
    }
  }
  // The corners: m full copies src, m 0 leaves dst, no weight on either side leaves dst.
  const RX_Pixel8 src{0, 10, 20, 30}, dst0{0, 40, 50, 60};
  const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_MaskMix, 255);
  for (uint8_t m : {uint8_t(255), uint8_t(0), uint8_t(100)}) {
    const RX_Pixel8 mask{m, 1, 2, 3};
    RX_Pixel8 d = dst0;
    row(1, &bm, nullptr, &src, &mask, &d);
    EXPECT_TRUE(rxtest::same_pixel(d, m == 255 ? src : dst0)) << +m;
  }
}

TEST_F(BlendRows, MaskMixCrossfadesByTheMaskInFloat) {
  std::mt19937 rng(32);
  const auto row = row_of<RX_PixelFloat, true, false>(RX_Xfer_MaskMix);
  const Line<RX_PixelFloat> line = random_line<RX_PixelFloat>(rng, 40);
  const auto bm = blending_mode<RX_PixelFloat>(RX_Xfer_MaskMix, 0.25f);
  std::vector<RX_PixelFloat> dst = line.dst;
  ASSERT_EQ(row(40, &bm, nullptr, line.src.data(), line.mask.data(), dst.data()), 0);
  for (size_t i = 0; i < 40; ++i) {
    const RX_PixelFloat &s = line.src[i], &d = line.dst[i];
    const float m = line.mask[i].alpha;
    RX_PixelFloat want = d;
    const float w1 = s.alpha * m, w2 = (1.0f - m) * d.alpha, t = w1 + w2;
    if (m == 1.0f) {
      want = s;
    } else if (m != 0.0f && t != 0.0f) {
      want = {t, (s.red * w1 + d.red * w2) / t, (s.green * w1 + d.green * w2) / t, (s.blue * w1 + d.blue * w2) / t};
    }
    EXPECT_TRUE(near(dst[i], want, 1e-6)) << show(dst[i]) << " vs " << show(want);
  }
}

TEST_F(BlendRows, MaskMixAt16BitsCopiesAtAFullMaskAndLeavesAtAnEmptyOne) {
  const auto row = row_of<RX_Pixel16, true, false>(RX_Xfer_MaskMix);
  const RX_Pixel16 src[2] = {{100, 1, 2, 3}, {32768, 4, 5, 6}};
  const RX_Pixel16 mask[2] = {{32768, 9, 9, 9}, {0, 9, 9, 9}};
  RX_Pixel16 dst[2] = {{7, 7, 7, 7}, {8, 8, 8, 8}};
  const auto bm = blending_mode<RX_Pixel16>(RX_Xfer_MaskMix, 0);
  ASSERT_EQ(row(2, &bm, nullptr, src, mask, dst), 0);
  EXPECT_TRUE(rxtest::same_pixel(dst[0], src[0]));
  EXPECT_TRUE(rxtest::same_pixel(dst[1], RX_Pixel16{8, 8, 8, 8}));
}

// ==== dissolve ====

// The dissolve of one line, written out: a local seed; per
// pixel the weight; full draws; 0 does nothing; otherwise a copy of the
// seed goes to RX_Rand, the pixel is drawn when the weight reaches the low
// byte of the result, and the seed takes the new state; then seed + 1.
std::vector<RX_Pixel8> dissolve_reference(const Line<RX_Pixel8>& line, bool with_mask, uint8_t opacity, int32_t seed,
                                          bool keep) {
  std::vector<RX_Pixel8> out = line.dst;
  uint32_t state = uint32_t(seed);
  for (int32_t i = 0; i < line.width(); ++i) {
    const RX_Pixel8& s = line.src[size_t(i)];
    const uint32_t w = weight_of<RX_Pixel8>(s.alpha, opacity, with_mask ? &line.mask[size_t(i)] : nullptr);
    bool draw = false;
    if (w == 255) {
      draw = true;
    } else if (w != 0) {
      uint32_t copy = state;
      draw = w >= (RX_Rand(&copy) & 255);
      state = copy;
    }
    if (draw) {
      RX_Pixel8& d = out[size_t(i)];
      d.red = s.red;
      d.green = s.green;
      d.blue = s.blue;
      if (!keep) d.alpha = 255;
    }
    state += 1;
  }
  return out;
}

TEST_F(BlendRows, DissolveFollowsTheGeneratorPixelByPixelAt8Bits) {
  std::mt19937 rng(33);
  for (int n = 0; n < 64; ++n) {
    const bool with_mask = n & 1, keep = (n & 2) != 0;
    const uint8_t opacity = (n & 4) ? 255 : Depth<RX_Pixel8>::between(rng);
    const int32_t seed = int32_t(rng());
    const Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 1 + int32_t(rng() % 40));
    const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_Dissolve, opacity, keep, seed);
    const auto row = with_mask ? row_of<RX_Pixel8, true, false>(RX_Xfer_Dissolve)
                               : row_of<RX_Pixel8, false, false>(RX_Xfer_Dissolve);
    std::vector<RX_Pixel8> dst = line.dst;
    ASSERT_EQ(row(line.width(), &bm, nullptr, line.src.data(), with_mask ? line.mask.data() : nullptr, dst.data()), 0);
    const auto want = dissolve_reference(line, with_mask, opacity, seed, keep);
    for (int32_t i = 0; i < line.width(); ++i) {
      EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], want[size_t(i)]))
          << "seed " << seed << " opacity " << +opacity << " pixel " << i << ": " << show(dst[size_t(i)]) << " vs "
          << show(want[size_t(i)]);
    }
    // The pipeline runs the same row; the plan saves no alpha.
    const auto piped = run_pipeline(bm, line, with_mask, nullptr);
    EXPECT_EQ(std::memcmp(piped.data(), want.data(), want.size() * sizeof(RX_Pixel8)), 0);
  }
}

TEST_F(BlendRows, DissolveAdvancesTheSeedByOnePastOpaquePixels) {
  // Five opaque pixels, then one at weight 128: its draw reads seed + 5.
  const auto row = row_of<RX_Pixel8, false, false>(RX_Xfer_Dissolve);
  int checked = 0;
  for (int32_t seed = 1; seed < 4000 && checked < 2; ++seed) {
    uint32_t at_five = uint32_t(seed) + 5, at_zero = uint32_t(seed);
    const bool drawn_five = 128 >= (RX_Rand(&at_five) & 255);
    const bool drawn_zero = 128 >= (RX_Rand(&at_zero) & 255);
    if (drawn_five == drawn_zero) continue;  // only seeds that tell the two apart
    Line<RX_Pixel8> line;
    for (int i = 0; i < 5; ++i) line.src.push_back({255, uint8_t(i), 0, 0});
    line.src.push_back({128, 99, 98, 97});
    line.dst.assign(6, RX_Pixel8{10, 11, 12, 13});
    const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_Dissolve, 255, false, seed);
    std::vector<RX_Pixel8> dst = line.dst;
    ASSERT_EQ(row(6, &bm, nullptr, line.src.data(), nullptr, dst.data()), 0);
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(rxtest::same_pixel(dst[size_t(i)], line.src[size_t(i)]));
    EXPECT_EQ(rxtest::same_pixel(dst[5], RX_Pixel8{255, 99, 98, 97}), drawn_five) << "seed " << seed;
    ++checked;
  }
  EXPECT_EQ(checked, 2);
}

template <class Px>
void check_dissolve_draws() {
  using D = Depth<Px>;
  const auto row = row_of<Px, false, false>(RX_Xfer_Dissolve);
  std::mt19937 rng(34);
  Line<Px> line = random_line<Px>(rng, 64);
  // Opaque source at full opacity: every pixel drawn, (full, src colours).
  for (Px& p : line.src) p.alpha = D::white;
  for (int keep = 0; keep < 2; ++keep) {
    const auto bm = blending_mode<Px>(RX_Xfer_Dissolve, D::white, keep != 0, 77);
    std::vector<Px> dst = line.dst;
    ASSERT_EQ(row(64, &bm, nullptr, line.src.data(), nullptr, dst.data()), 0);
    for (size_t i = 0; i < 64; ++i) {
      const Px want{keep ? line.dst[i].alpha : D::white, line.src[i].red, line.src[i].green, line.src[i].blue};
      EXPECT_TRUE(rxtest::same_pixel(dst[i], want)) << D::name << " pixel " << i;
    }
  }
  // Transparent source: nothing.
  for (Px& p : line.src) p.alpha = Cv<Px>(0);
  {
    const auto bm = blending_mode<Px>(RX_Xfer_Dissolve, D::white, false, 77);
    std::vector<Px> dst = line.dst;
    ASSERT_EQ(row(64, &bm, nullptr, line.src.data(), nullptr, dst.data()), 0);
    EXPECT_EQ(std::memcmp(dst.data(), line.dst.data(), 64 * sizeof(Px)), 0) << D::name;
  }
  // Half weight on an empty dst: the same seed gives the same pixels,
  // another seed another pattern; some pixels are drawn and some not.
  for (Px& p : line.src) p.alpha = D::half;
  for (Px& p : line.dst) p.alpha = Cv<Px>(0);
  auto dissolve = [&](int32_t seed) {
    const auto bm = blending_mode<Px>(RX_Xfer_Dissolve, D::white, false, seed);
    std::vector<Px> dst = line.dst;
    row(64, &bm, nullptr, line.src.data(), nullptr, dst.data());
    std::vector<bool> drawn;
    for (const Px& p : dst) drawn.push_back(p.alpha == D::white);
    return std::make_pair(dst, drawn);
  };
  const auto first = dissolve(12345), again = dissolve(12345), other = dissolve(54321);
  EXPECT_EQ(std::memcmp(first.first.data(), again.first.data(), 64 * sizeof(Px)), 0) << D::name;
  EXPECT_NE(first.second, other.second) << D::name;
  const auto drawn = std::count(first.second.begin(), first.second.end(), true);
  EXPECT_GT(drawn, 8) << D::name;
  EXPECT_LT(drawn, 56) << D::name;
}

TEST_F(BlendRows, DissolveDrawsOpaquePixelsAndRepeatsItsPatternForASeed) {
  check_dissolve_draws<RX_Pixel8>();
  check_dissolve_draws<RX_Pixel16>();
  check_dissolve_draws<RX_PixelFloat>();
}

// ==== the plan ====

struct Flags {
  bool matte_dst, behind_first, keep_alpha_capable, alpha_union;
};

Flags flags_of(int mode) {
  if (matte_of(mode) != MatteKind::None) return {true, false, true, true};
  if (is_colour_mode(mode)) return {false, true, true, false};
  if (mode == 2 || mode == 21 || mode == 22 || is_general_mode(mode)) return {false, false, true, false};
  return {false, false, false, false};
}

template <class Px, bool HasMask, bool Linear>
void check_plan_flags(const RX_LinearBlendingTables* tables) {
  using D = Depth<Px>;
  for (int mode = -3; mode <= 38; ++mode) {
    if (mode == RX_Xfer_None) continue;
    const auto bm = blending_mode<Px>(mode, D::half, true, 41);
    const RX_BlendModeDescriptor<Px> plan(bm, HasMask, Linear ? tables : nullptr);
    const Flags want = flags_of(mode);
    EXPECT_EQ(plan.matte_dst, want.matte_dst) << D::name << " mode " << mode;
    EXPECT_EQ(plan.behind_first, want.behind_first) << D::name << " mode " << mode;
    EXPECT_EQ(plan.keep_alpha_capable, want.keep_alpha_capable) << D::name << " mode " << mode;
    EXPECT_EQ(plan.alpha_union, want.alpha_union) << D::name << " mode " << mode;
    EXPECT_EQ(plan.mode.blend_mode, mode);
    EXPECT_EQ(plan.mode.opacity, D::half);
    EXPECT_EQ(plan.mode.random_seed, 41);
    EXPECT_TRUE(plan.mode.keep_dst_alpha);
    EXPECT_EQ(plan.tables, Linear ? tables : nullptr);
    EXPECT_EQ(plan.blend_function, (row_of<Px, HasMask, Linear>(mode))) << D::name << " mode " << mode;
    EXPECT_EQ(plan.behind_function, (row_of<Px, HasMask, Linear>(RX_Xfer_Behind))) << D::name << " mode " << mode;
    EXPECT_EQ(reinterpret_cast<RX_OverFunc>(plan.alpha_union_function), RXp_G_OverFuncs[D::alpha_union_slot]);
    const MatteKind kind = matte_of(mode);
    if (kind == MatteKind::None) {
      EXPECT_EQ(plan.matte_function, nullptr) << D::name << " mode " << mode;
      EXPECT_EQ(plan.dematte_function, nullptr) << D::name << " mode " << mode;
    } else {
      const int slot = D::matte_slot + 2 * int(kind);
      EXPECT_EQ(reinterpret_cast<RX_OverFunc>(plan.matte_function), RXp_G_OverFuncs[slot]) << D::name << " " << mode;
      EXPECT_EQ(reinterpret_cast<RX_OverFunc>(plan.dematte_function), RXp_G_OverFuncs[slot + 1])
          << D::name << " " << mode;
    }
  }
}

template <class Px>
void check_all_plan_flags(const RX_LinearBlendingTables* tables) {
  check_plan_flags<Px, false, false>(tables);
  check_plan_flags<Px, true, false>(tables);
  check_plan_flags<Px, false, true>(tables);
  check_plan_flags<Px, true, true>(tables);
}

TEST_F(BlendPlan, EachModeSetsTheFlagsOfItsRowInTheModeTable) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_all_plan_flags<RX_Pixel8>(&tables);
  check_all_plan_flags<RX_Pixel16>(&tables);
  check_all_plan_flags<RX_PixelFloat>(&tables);
}

TEST_F(BlendPlan, MultiplyMattesAndUnitesWhileHueGoesBehindFirst) {
  const RX_BlendModeDescriptor<RX_Pixel8> multiply(blending_mode<RX_Pixel8>(5, 255), false, nullptr);
  EXPECT_TRUE(multiply.matte_dst);
  EXPECT_TRUE(multiply.alpha_union);
  EXPECT_TRUE(multiply.keep_alpha_capable);
  EXPECT_FALSE(multiply.behind_first);
  const RX_BlendModeDescriptor<RX_Pixel8> hue(blending_mode<RX_Pixel8>(13, 255), false, nullptr);
  EXPECT_TRUE(hue.behind_first);
  EXPECT_TRUE(hue.keep_alpha_capable);
  EXPECT_FALSE(hue.matte_dst);
  EXPECT_FALSE(hue.alpha_union);
}

template <class Px>
void check_unimplemented_plan(int32_t mode) {
  rxtest::ReportCapture capture;
  const RX_BlendModeDescriptor<Px> plan(blending_mode<Px>(mode, Depth<Px>::white), false, nullptr);
  EXPECT_FALSE(plan.matte_dst || plan.behind_first || plan.keep_alpha_capable || plan.alpha_union)
      << Depth<Px>::name << " mode " << mode;
  EXPECT_EQ(plan.matte_function, nullptr);
  EXPECT_EQ(plan.dematte_function, nullptr);
  EXPECT_EQ(plan.blend_function, nullptr);
  const auto errors = capture.errors();
  ASSERT_FALSE(errors.empty()) << Depth<Px>::name << " mode " << mode;
  for (const auto& r : errors) {
    EXPECT_EQ(r.text, kUnimplemented) << Depth<Px>::name << " mode " << mode;
    EXPECT_EQ(r.location >> 16, 0x25);
  }
}

TEST_F(BlendPlan, ModesWithoutARowReportUnimplementedAndLeaveTheFlagsClear) {
  for (int32_t mode : {-1, 39, -4, 1000, INT32_MIN}) {
    check_unimplemented_plan<RX_Pixel8>(mode);
    check_unimplemented_plan<RX_Pixel16>(mode);
    check_unimplemented_plan<RX_PixelFloat>(mode);
  }
}

RX_Err untouched_row8(int32_t, const RX_BlendingMode<RX_Pixel8>*, const RX_LinearBlendingTables*, const RX_Pixel8*,
                      const RX_Pixel8*, RX_Pixel8*) {
  return 99;
}
RX_Err untouched_row16(int32_t, const RX_BlendingMode<RX_Pixel16>*, const RX_LinearBlendingTables*,
                       const RX_Pixel16*, const RX_Pixel16*, RX_Pixel16*) {
  return 99;
}
RX_Err untouched_rowF(int32_t, const RX_BlendingMode<RX_PixelFloat>*, const RX_LinearBlendingTables*,
                      const RX_PixelFloat*, const RX_PixelFloat*, RX_PixelFloat*) {
  return 99;
}
template <class Px>
RX_InnerBlendingFunc<Px> untouched_row() {
  if constexpr (sizeof(Px) == 4) return &untouched_row8;
  else if constexpr (sizeof(Px) == 8) return &untouched_row16;
  else return &untouched_rowF;
}

template <class Px, bool HasMask, bool Linear>
void check_lookup_refuses(int32_t mode) {
  rxtest::ReportCapture capture;
  RX_InnerBlendingFunc<Px> f = untouched_row<Px>();
  EXPECT_EQ((RX_GetInnerBlendingFunc<Px, HasMask, Linear>(mode, &f)), RX_Result_Unimplemented)
      << Depth<Px>::name << " mode " << mode;
  EXPECT_EQ(f, untouched_row<Px>()) << Depth<Px>::name << " mode " << mode;
  ASSERT_EQ(capture.errors().size(), 1u) << Depth<Px>::name << " mode " << mode;
  EXPECT_EQ(capture.errors()[0].text, kUnimplemented);
}

template <class Px>
void check_lookups_refuse(int32_t mode) {
  check_lookup_refuses<Px, false, false>(mode);
  check_lookup_refuses<Px, true, false>(mode);
  check_lookup_refuses<Px, false, true>(mode);
  check_lookup_refuses<Px, true, true>(mode);
}

TEST_F(BlendPlan, LookUpOfAModeWithoutARowGivesFiveAndLeavesTheResult) {
  for (int32_t mode : {-1, 39, -4, 42, INT32_MAX}) {
    check_lookups_refuse<RX_Pixel8>(mode);
    check_lookups_refuse<RX_Pixel16>(mode);
    check_lookups_refuse<RX_PixelFloat>(mode);
  }
}

template <class Px>
void check_lookups_give_rows() {
  for (int32_t mode = -3; mode <= 38; ++mode) {
    if (mode == RX_Xfer_None) continue;
    rxtest::ReportCapture capture;
    EXPECT_NE((row_of<Px, false, false>(mode)), nullptr);
    EXPECT_NE((row_of<Px, true, false>(mode)), nullptr);
    EXPECT_NE((row_of<Px, false, true>(mode)), nullptr);
    EXPECT_NE((row_of<Px, true, true>(mode)), nullptr);
    EXPECT_EQ(capture.size(), 0u) << Depth<Px>::name << " mode " << mode;
  }
}

TEST_F(BlendPlan, EveryModeFromMinusThreeToThirtyEightHasFourRows) {
  check_lookups_give_rows<RX_Pixel8>();
  check_lookups_give_rows<RX_Pixel16>();
  check_lookups_give_rows<RX_PixelFloat>();
}

template <class Px>
void check_copies_need_no_conversion() {
  for (int32_t mode : {RX_Xfer_ReplaceRaw, RX_Xfer_Copy}) {
    EXPECT_EQ((row_of<Px, false, true>(mode)), (row_of<Px, false, false>(mode))) << Depth<Px>::name << " " << mode;
    EXPECT_EQ((row_of<Px, true, true>(mode)), (row_of<Px, true, false>(mode))) << Depth<Px>::name << " " << mode;
  }
  // Other modes have a linear form of their own.
  EXPECT_NE((row_of<Px, false, true>(RX_Xfer_Over)), (row_of<Px, false, false>(RX_Xfer_Over)));
}

TEST_F(BlendPlan, CopiesAt8And16BitsHandOutTheSameRowForLinearAndGamma) {
  check_copies_need_no_conversion<RX_Pixel8>();
  check_copies_need_no_conversion<RX_Pixel16>();
}

// The plan takes its rows from the override table.
std::vector<int32_t> g_lookups;
RX_Err recording_lookup8(int32_t mode, RX_InnerBlendingFunc<RX_Pixel8>* result) {
  g_lookups.push_back(mode);
  *result = &untouched_row8;
  return RX_Result_OK;
}
RX_Err recording_scan8(int32_t, const RX_Pixel8*, RX_Pixel8*) { return 98; }
RX_Err recording_union8(int32_t, const RX_Pixel8*, uint8_t, const RX_Pixel8*, RX_Pixel8*) { return 97; }

// Puts a function in a slot for a scope and puts the old one back.
class SlotSwap {
 public:
  SlotSwap(int slot, RX_OverFunc f) : slot_(slot), old_(RXp_G_OverFuncs[slot]) {
    EXPECT_EQ(RX_SetOverrideFunc(slot, f), RX_Result_OK);
  }
  ~SlotSwap() { RX_SetOverrideFunc(slot_, old_); }

 private:
  int slot_;
  RX_OverFunc old_;
};

TEST_F(BlendPlan, RowsComeThroughTheLookUpSlotOfTheirMaskAndLinearChoice) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  for (int which = 0; which < 4; ++which) {
    const bool has_mask = which & 1, linear = which & 2;
    const int slot = RX_Slot_InnerBlendingPlain8 + 3 * which;
    g_lookups.clear();
    {
      SlotSwap swap(slot, reinterpret_cast<RX_OverFunc>(&recording_lookup8));
      const RX_BlendModeDescriptor<RX_Pixel8> plan(blending_mode<RX_Pixel8>(RX_Xfer_Multiply, 255), has_mask,
                                                   linear ? &tables : nullptr);
      EXPECT_EQ(plan.blend_function, &untouched_row8) << which;
      EXPECT_EQ(plan.behind_function, &untouched_row8) << which;
      // A look-up's error comes back from the pipeline as the first error met.
      RX_Pixel8 px{1, 2, 3, 4};
      uint8_t saved = 0;
      EXPECT_EQ(RX_BlendPipeline<RX_Pixel8>(nullptr, 1, plan, &px, &px, &saved, &px), 99);
    }
    EXPECT_EQ(g_lookups, (std::vector<int32_t>{RX_Xfer_Multiply, RX_Xfer_Behind})) << which;
  }
  // The slot is back: a plan gets the library's rows again.
  const RX_BlendModeDescriptor<RX_Pixel8> plan(blending_mode<RX_Pixel8>(RX_Xfer_Multiply, 255), false, nullptr);
  EXPECT_EQ(plan.blend_function, (row_of<RX_Pixel8, false, false>(RX_Xfer_Multiply)));
}

TEST_F(BlendPlan, MatteAndAlphaUnionRowsComeFromTheirSlots) {
  SlotSwap premultiply(RX_Slot_PremulScanWhite8, reinterpret_cast<RX_OverFunc>(&recording_scan8));
  SlotSwap unmultiply(RX_Slot_UnmultScanWhite8, reinterpret_cast<RX_OverFunc>(&recording_scan8));
  SlotSwap alpha_union(RX_Slot_AlphaCombineScan8, reinterpret_cast<RX_OverFunc>(&recording_union8));
  const RX_BlendModeDescriptor<RX_Pixel8> plan(blending_mode<RX_Pixel8>(RX_Xfer_Darken, 255), true, nullptr);
  EXPECT_EQ(plan.matte_function, &recording_scan8);
  EXPECT_EQ(plan.dematte_function, &recording_scan8);
  EXPECT_EQ(plan.alpha_union_function, &recording_union8);
  RX_Pixel8 px{1, 2, 3, 4};
  uint8_t saved = 0;
  EXPECT_EQ(RX_BlendPipeline<RX_Pixel8>(nullptr, 1, plan, &px, &px, &saved, &px), 98);
}

// ==== the linear wrap's failures ====

template <class Px>
void check_null_tables(int32_t mode) {
  std::mt19937 rng(35);
  const Line<Px> line = random_line<Px>(rng, 6);
  for (int with_mask = 0; with_mask < 2; ++with_mask) {
    const auto row = with_mask ? row_of<Px, true, true>(mode) : row_of<Px, false, true>(mode);
    const auto bm = blending_mode<Px>(mode, Depth<Px>::white);
    std::vector<Px> dst = line.dst;
    rxtest::ReportCapture capture;
    EXPECT_EQ(row(6, &bm, nullptr, line.src.data(), with_mask ? line.mask.data() : nullptr, dst.data()),
              RX_Result_Internal)
        << Depth<Px>::name << " mode " << mode;
    ASSERT_EQ(capture.errors().size(), 1u);
    EXPECT_EQ(capture.errors()[0].kind, RXHost_Report_Verification);
    EXPECT_EQ(capture.errors()[0].text, kInvalidTables);
    EXPECT_EQ(std::memcmp(dst.data(), line.dst.data(), 6 * sizeof(Px)), 0);
  }
}

TEST_F(BlendLinearRows, NullTablesReportAndGiveThree) {
  for (int32_t mode : {RX_Xfer_Over, RX_Xfer_Multiply, RX_Xfer_Hue, RX_Xfer_Dissolve, RX_Xfer_MaskMix}) {
    check_null_tables<RX_Pixel8>(mode);
    check_null_tables<RX_Pixel16>(mode);
    check_null_tables<RX_PixelFloat>(mode);
  }
  check_null_tables<RX_PixelFloat>(RX_Xfer_Copy);
}

template <class Px>
void check_allocation_failure(int32_t mode) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  std::mt19937 rng(36);
  const Line<Px> line = random_line<Px>(rng, 9);
  for (int with_mask = 0; with_mask < 2; ++with_mask) {
    // The lines: src, dst, and the mask's when there is one.
    for (int nth = 1; nth <= 2 + with_mask; ++nth) {
      const auto row = with_mask ? row_of<Px, true, true>(mode) : row_of<Px, false, true>(mode);
      const auto bm = blending_mode<Px>(mode, Depth<Px>::half);
      std::vector<Px> dst = line.dst;
      rxtest::ReportCapture capture;
      const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
      RXHost_FailNthAllocation(nth);
      bool thrown = false;
      try {
        row(9, &bm, &tables, line.src.data(), with_mask ? line.mask.data() : nullptr, dst.data());
      } catch (RX_Err code) {
        thrown = true;
        EXPECT_EQ(code, RX_Result_OutOfMemory) << Depth<Px>::name << " mode " << mode << " allocation " << nth;
      }
      RXHost_FailNthAllocation(0);
      EXPECT_TRUE(thrown) << Depth<Px>::name << " mode " << mode << " allocation " << nth;
      EXPECT_EQ(RXHost_LiveBytes(), bytes) << Depth<Px>::name << " mode " << mode << " allocation " << nth;
      EXPECT_EQ(RXHost_LiveBlocks(), blocks);
      EXPECT_EQ(std::memcmp(dst.data(), line.dst.data(), 9 * sizeof(Px)), 0);
    }
  }
}

TEST_F(BlendLinearRows, AllocationFailureThrowsOutOfMemoryAndReleasesTheLines) {
  for (int32_t mode : {RX_Xfer_Over, RX_Xfer_Screen, RX_Xfer_Luminosity}) {
    check_allocation_failure<RX_Pixel8>(mode);
    check_allocation_failure<RX_Pixel16>(mode);
    check_allocation_failure<RX_PixelFloat>(mode);
  }
}

TEST_F(BlendLinearRows, LinearCopiesAt8BitsAllocateNothing) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  std::mt19937 rng(37);
  const Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 9);
  std::vector<RX_Pixel8> dst = line.dst;
  const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_Copy, 100);
  RXHost_FailNthAllocation(1);
  const auto row = row_of<RX_Pixel8, true, true>(RX_Xfer_Copy);
  EXPECT_NO_THROW(row(9, &bm, &tables, line.src.data(), line.mask.data(), dst.data()));
  RXHost_FailNthAllocation(0);
}

TEST_F(BlendLinearRows, LinearRowLiftsOnlyTheMaskAlpha) {
  // A linear row's mask line is alpha only: junk colours in the mask, the
  // same weight, the same result.
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  std::mt19937 rng(38);
  Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 17);
  const auto row = row_of<RX_Pixel8, true, true>(RX_Xfer_Over);
  const auto bm = blending_mode<RX_Pixel8>(RX_Xfer_Over, 180);
  std::vector<RX_Pixel8> first = line.dst, second = line.dst;
  row(17, &bm, &tables, line.src.data(), line.mask.data(), first.data());
  for (RX_Pixel8& m : line.mask) m.red = m.green = m.blue = uint8_t(m.red ^ 0x5A);
  row(17, &bm, &tables, line.src.data(), line.mask.data(), second.data());
  EXPECT_EQ(std::memcmp(first.data(), second.data(), sizeof(RX_Pixel8) * 17), 0);
}

// ==== the single-channel fade ====

uint8_t fade8(uint8_t c, uint8_t coverage, uint8_t scale, uint8_t target) {
  const int32_t k = int32_t(Depth<RX_Pixel8>::mul(coverage, scale));
  const int32_t t = k * (int32_t(target) - int32_t(c)) - (target < c ? 1 : 0) + 128;
  return uint8_t(int32_t(c) + ((t + (t >> 8)) >> 8));
}

uint16_t fade16(uint16_t c, uint16_t coverage, uint16_t scale, uint16_t target) {
  const int32_t k = int32_t(Depth<RX_Pixel16>::mul(coverage, scale));
  const int32_t t = k * (int32_t(target) - int32_t(c)) - (target < c ? 1 : 0) + 16383;
  return uint16_t(int32_t(c) + (t >> 15));
}

float fadeF(float c, float coverage, float scale, float target) { return c + coverage * scale * (target - c); }

template <class Px>
Cv<Px> fade(Cv<Px> c, Cv<Px> coverage, Cv<Px> scale, Cv<Px> target) {
  if constexpr (sizeof(Px) == 4) return fade8(c, coverage, scale, target);
  else if constexpr (sizeof(Px) == 8) return fade16(c, coverage, scale, target);
  else return fadeF(c, coverage, scale, target);
}

template <class Px>
void check_single_channel(uint32_t seed) {
  using D = Depth<Px>;
  std::mt19937 rng(seed);
  for (int n = 0; n < 60; ++n) {
    const int32_t width = int32_t(rng() % 21);
    std::vector<Px> dst;
    std::vector<Cv<Px>> coverage;
    for (int32_t i = 0; i < width; ++i) {
      dst.push_back(random_pixel<Px>(rng));
      coverage.push_back(random_alpha<Px>(rng));
    }
    const Cv<Px> scale = random_alpha<Px>(rng), target = random_colour<Px>(rng);
    const std::vector<Px> before = dst;
    RX_BlendSingleChannel<Px, Cv<Px>>(width, scale, target, coverage.data(), dst.data());
    for (int32_t i = 0; i < width; ++i) {
      const Px& b = before[size_t(i)];
      const Px want{fade<Px>(b.alpha, coverage[size_t(i)], scale, target), b.red, b.green, b.blue};
      EXPECT_TRUE(near(dst[size_t(i)], want, 0))
          << D::name << ": alpha " << +b.alpha << " coverage " << +coverage[size_t(i)] << " scale " << +scale
          << " target " << +target << " -> " << show(dst[size_t(i)]) << ", expected " << show(want);
    }
  }
}

TEST_F(BlendSingleChannel, FadesTheTargetIntoAlphaOnlyAtEveryDepth) {
  check_single_channel<RX_Pixel8>(41);
  check_single_channel<RX_Pixel16>(42);
  check_single_channel<RX_PixelFloat>(43);
}

TEST_F(BlendSingleChannel, EightBitsFollowTheRoundingForEveryAlphaAndTarget) {
  // Every (alpha, target) pair for a few weights: lines of 256 alphas.
  for (uint8_t coverage : {uint8_t(0), uint8_t(1), uint8_t(128), uint8_t(200), uint8_t(255)}) {
    for (uint8_t scale : {uint8_t(255), uint8_t(100)}) {
      const std::vector<uint8_t> cover(256, coverage);
      for (int target = 0; target < 256; ++target) {
        std::vector<RX_Pixel8> dst(256);
        for (int c = 0; c < 256; ++c) dst[size_t(c)] = {uint8_t(c), uint8_t(c), 7, uint8_t(255 - c)};
        RX_BlendSingleChannel<RX_Pixel8, uint8_t>(256, scale, uint8_t(target), cover.data(), dst.data());
        for (int c = 0; c < 256; ++c) {
          const RX_Pixel8 want{fade8(uint8_t(c), coverage, scale, uint8_t(target)), uint8_t(c), 7, uint8_t(255 - c)};
          ASSERT_TRUE(rxtest::same_pixel(dst[size_t(c)], want))
              << "alpha " << c << " target " << target << " coverage " << +coverage << " scale " << +scale << ": "
              << show(dst[size_t(c)]) << " vs " << show(want);
        }
      }
    }
  }
  // Full weight lands on the target exactly, at both integer depths.
  EXPECT_EQ(fade8(0, 255, 255, 255), 255);
  EXPECT_EQ(fade8(255, 255, 255, 0), 0);
  EXPECT_EQ(fade16(0, 32768, 32768, 32768), 32768);
}

}  // namespace
