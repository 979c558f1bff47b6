// Whole-line blending: the row of every mode, run through its plan by the
// pipeline, against the per-pixel function of the same mode, in gamma space
// and in linear light; keep-alpha; the passes of the pipeline and their
// order; lines of no pixels.
#include "blend_test_support.h"

namespace {

// ==== the pipeline against the per-pixel functions ====

TEST_F(BlendPipelineScalar, EveryModeMatchesItsPerPixelFunctionAt8Bits) {
  check_against_per_pixel<RX_Pixel8>(gamma_modes(), nullptr, 0, 801);
}

TEST_F(BlendPipelineScalar, EveryModeMatchesItsPerPixelFunctionAt16Bits) {
  check_against_per_pixel<RX_Pixel16>(gamma_modes(), nullptr, 0, 1601);
}

TEST_F(BlendPipelineScalar, EveryModeMatchesItsPerPixelFunctionInFloat) {
  check_against_per_pixel<RX_PixelFloat>(gamma_modes(), nullptr, kFloatTolerance, 3201);
}

// The processor forms of the unmultiply scans and the Over row divide
// through a reciprocal: one step apart from the table at most.
TEST_F(BlendPipeline, WithProcessorFormsEveryModeStaysWithinOneStepOfItsPerPixelFunction) {
  check_against_per_pixel<RX_Pixel8>(gamma_modes(), nullptr, 1, 802);
  check_against_per_pixel<RX_Pixel16>(gamma_modes(), nullptr, 1, 1602);
  check_against_per_pixel<RX_PixelFloat>(gamma_modes(), nullptr, kFloatTolerance, 3202);
}

TEST_F(BlendPipelineScalar, LinearModesMatchTheirPerPixelLinearFunctionAt8Bits) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_against_per_pixel<RX_Pixel8>(linear_modes(), &tables, 0, 811);
}

TEST_F(BlendPipelineScalar, LinearModesMatchTheirPerPixelLinearFunctionAt16Bits) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_against_per_pixel<RX_Pixel16>(linear_modes(), &tables, 0, 1611);
}

TEST_F(BlendPipelineScalar, LinearModesMatchTheirPerPixelLinearFunctionInFloat) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_against_per_pixel<RX_PixelFloat>(linear_modes(), &tables, 1e-4, 3211);
}

// The colour modes put the source under a partly covered destination once:
// the alpha is the union of the two, as the per-pixel function gives.
template <class Px>
void check_colour_modes_on_partly_covered_dst() {
  using D = Depth<Px>;
  const Px src{D::half, D::white, Cv<Px>(D::half / 2), Cv<Px>(0)};
  const Px dst0{D::half, Cv<Px>(D::half / 2), D::half, D::white};
  const Line<Px> line{{src}, {src}, {dst0}};
  const Cv<Px> union_alpha = Cv<Px>(D::white - D::mul(D::white - D::half, D::white - D::half));
  for (int mode : {13, 14, 15, 16, 35, 36}) {
    Px want = dst0;
    per_pixel(mode, src, nullptr, D::white, nullptr, want);
    const std::vector<Px> got = run_pipeline(blending_mode<Px>(mode, D::white), line, false, nullptr);
    EXPECT_EQ(want.alpha, union_alpha) << D::name << " mode " << mode;
    EXPECT_TRUE(near(got[0], want, std::is_same_v<Cv<Px>, float> ? kFloatTolerance : 0))
        << D::name << " mode " << mode << " (" << RX_TransferModeName(mode) << "): src " << show(src) << " dst "
        << show(dst0) << " -> pipeline " << show(got[0]) << ", per pixel " << show(want);
  }
}

TEST_F(BlendPipelineScalar, ColourModesPutTheSourceUnderAPartlyCoveredDestinationOnce) {
  check_colour_modes_on_partly_covered_dst<RX_Pixel8>();
  check_colour_modes_on_partly_covered_dst<RX_Pixel16>();
  check_colour_modes_on_partly_covered_dst<RX_PixelFloat>();
}

// Lighter and darker colour rows judge dst as the pipeline's behind pass
// left it; the per-pixel functions judge it before the behind step. Two
// pixels where the two judgements differ.
TEST_F(BlendPipelineScalar, LighterAndDarkerColourRowsJudgeTheDestinationAsTheBehindPassLeftIt) {
  struct Case {
    int mode;
    RX_Pixel8 src, dst;
  };
  const Case cases[] = {{RX_Xfer_LighterColor, {111, 124, 113, 63}, {58, 46, 147, 99}},
                        {RX_Xfer_DarkerColor, {190, 165, 123, 59}, {94, 105, 147, 96}}};
  for (const Case& c : cases) {
    const RX_Pixel8 want = lighter_or_darker_after_behind<RX_Pixel8>(c.mode, c.src, nullptr, 255, c.dst);
    RX_Pixel8 per_pixel_result = c.dst;
    per_pixel(c.mode, c.src, nullptr, uint8_t(255), nullptr, per_pixel_result);
    const Line<RX_Pixel8> line{{c.src}, {c.src}, {c.dst}};
    const auto got = run_pipeline(blending_mode<RX_Pixel8>(c.mode, 255), line, false, nullptr);
    EXPECT_TRUE(rxtest::same_pixel(got[0], want)) << RX_TransferModeName(c.mode) << ": src " << show(c.src) << " dst "
                                                  << show(c.dst) << " -> pipeline " << show(got[0]) << ", expected "
                                                  << show(want);
    EXPECT_FALSE(rxtest::same_pixel(got[0], per_pixel_result)) << "the case should tell the two judgements apart";
  }
}

// ==== keep_dst_alpha ====

template <class Px>
void check_keep_dst_alpha(uint32_t seed) {
  using D = Depth<Px>;
  std::mt19937 rng(seed);
  for (int mode = 2; mode <= 38; ++mode) {
    if (!keeps_alpha_by_itself(mode)) continue;
    for (int n = 0; n < 8; ++n) {
      const bool with_mask = (n & 1) != 0;
      const Line<Px> line = random_line<Px>(rng, 1 + int32_t(rng() % 40));
      const Cv<Px> opacity = (n & 2) ? D::white : D::between(rng);
      const std::vector<Px> kept = run_pipeline(blending_mode<Px>(mode, opacity, true), line, with_mask, nullptr);
      const std::vector<Px> plain = run_pipeline(blending_mode<Px>(mode, opacity, false), line, with_mask, nullptr);
      for (int32_t i = 0; i < line.width(); ++i) {
        const Px& k = kept[size_t(i)];
        ASSERT_EQ(std::memcmp(&k.alpha, &line.dst[size_t(i)].alpha, sizeof k.alpha), 0)
            << D::name << " mode " << mode << " pixel " << i << ": " << show(line.dst[size_t(i)]) << " -> "
            << show(k);
        // The rows of these modes do not read the flag: only the alpha is
        // put back. (The behind row of the colour modes honours it itself.)
        if (!is_colour_mode(mode)) {
          Px same = plain[size_t(i)];
          same.alpha = k.alpha;
          EXPECT_TRUE(rxtest::same_pixel(k, same)) << D::name << " mode " << mode << " pixel " << i << ": "
                                                   << show(k) << " vs " << show(plain[size_t(i)]);
        }
      }
    }
  }
}

TEST_F(BlendPipeline, KeepDstAlphaLeavesAlphaBitIdenticalInEveryModeThatSavesIt) {
  check_keep_dst_alpha<RX_Pixel8>(21);
  check_keep_dst_alpha<RX_Pixel16>(22);
  check_keep_dst_alpha<RX_PixelFloat>(23);
}

TEST_F(BlendPipeline, KeepDstAlphaLeavesAlphaBitIdenticalInMatteModes) {
  // Multiply and Screen on a half-covered dst under a half-covered src: the
  // union and the dematte use the new alpha, the saved one comes back.
  for (int mode : {RX_Xfer_Multiply, RX_Xfer_Screen}) {
    const Line<RX_Pixel8> line{{{128, 200, 100, 50}, {77, 3, 250, 128}},
                               {{255, 0, 0, 0}, {255, 0, 0, 0}},
                               {{128, 50, 100, 150}, {1, 255, 0, 128}}};
    const auto got = run_pipeline(blending_mode<RX_Pixel8>(mode, 255, true), line, false, nullptr);
    EXPECT_EQ(got[0].alpha, 128) << mode;
    EXPECT_EQ(got[1].alpha, 1) << mode;
    const auto changed = run_pipeline(blending_mode<RX_Pixel8>(mode, 255, false), line, false, nullptr);
    EXPECT_NE(changed[0].alpha, 128) << mode;
  }
  const Line<RX_PixelFloat> line{{{0.5f, 0.8f, 0.4f, 0.2f}},
                                 {{1, 0, 0, 0}},
                                 {{0.3f, 0.2f, 0.4f, 0.6f}}};
  const auto got = run_pipeline(blending_mode<RX_PixelFloat>(RX_Xfer_Multiply, 1.0f, true), line, false, nullptr);
  EXPECT_EQ(got[0].alpha, 0.3f);
}

TEST_F(BlendPipeline, AlphaOnlyModesChangeAlphaWhateverKeepDstAlphaSays) {
  std::mt19937 rng(24);
  for (int mode = 17; mode <= 20; ++mode) {
    const Line<RX_Pixel16> line = random_line<RX_Pixel16>(rng, 33);
    const auto kept = run_pipeline(blending_mode<RX_Pixel16>(mode, 20000, true), line, true, nullptr);
    const auto plain = run_pipeline(blending_mode<RX_Pixel16>(mode, 20000, false), line, true, nullptr);
    for (size_t i = 0; i < kept.size(); ++i) {
      EXPECT_TRUE(rxtest::same_pixel(kept[i], plain[i])) << mode << " pixel " << i;
      EXPECT_EQ(kept[i].red, line.dst[i].red) << mode;
    }
  }
}

TEST_F(BlendPipeline, KeepDstAlphaFillsTheSavedAlphaRow) {
  std::mt19937 rng(25);
  const Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 19);
  const RX_BlendModeDescriptor<RX_Pixel8> plan(blending_mode<RX_Pixel8>(RX_Xfer_Screen, 99, true), false, nullptr);
  std::vector<uint8_t> saved(19, 0);
  std::vector<RX_Pixel8> dst = line.dst;
  ASSERT_EQ(RX_BlendPipeline<RX_Pixel8>(nullptr, 19, plan, line.src.data(), nullptr, saved.data(), dst.data()), 0);
  for (size_t i = 0; i < 19; ++i) EXPECT_EQ(saved[i], line.dst[i].alpha) << i;
}

// ==== the passes of the pipeline and their order ====

struct Call {
  std::string what;
  int32_t width;
  const void* src;
  const void* mask;
  const void* dst;
  const void* mode;
  const void* tables;
  double opacity;
};
std::vector<Call> g_calls;
RX_Err g_fail_at = 0;       // the call (1-based) that fails with 7
int g_call_number = 0;

RX_Err next_result() { return ++g_call_number == g_fail_at ? 7 : RX_Result_OK; }

template <class Px, int Tag>
RX_Err logged_scan(int32_t width, const Px* src, Px* dst) {
  g_calls.push_back({Tag == 0 ? "matte" : "dematte", width, src, nullptr, dst, nullptr, nullptr, 0});
  return next_result();
}

template <class Px, int Tag>
RX_Err logged_row(int32_t width, const RX_BlendingMode<Px>* mode, const RX_LinearBlendingTables* tables,
                  const Px* src, const Px* mask, Px* dst) {
  g_calls.push_back({Tag == 0 ? "behind" : "blend", width, src, mask, dst, mode, tables, 0});
  const RX_Err result = next_result();
  if (result) dst[0].alpha = Cv<Px>(3);  // what a failing step leaves
  return result;
}

template <class Px>
RX_Err logged_union(int32_t width, const Px* src, Cv<Px> opacity, const Px* mask, Px* dst) {
  g_calls.push_back({"union", width, src, mask, dst, nullptr, nullptr, double(opacity)});
  return next_result();
}

template <class Px>
RX_BlendModeDescriptor<Px> logged_plan(int32_t mode, Cv<Px> opacity, bool keep, const RX_LinearBlendingTables* tables) {
  RX_BlendModeDescriptor<Px> plan(blending_mode<Px>(mode, opacity, keep), true, tables);
  plan.behind_function = &logged_row<Px, 0>;
  plan.blend_function = &logged_row<Px, 1>;
  if (plan.matte_function) plan.matte_function = &logged_scan<Px, 0>;
  if (plan.dematte_function) plan.dematte_function = &logged_scan<Px, 1>;
  plan.alpha_union_function = &logged_union<Px>;
  g_calls.clear();
  g_call_number = 0;
  g_fail_at = 0;
  return plan;
}

std::vector<std::string> call_names() {
  std::vector<std::string> names;
  for (const Call& c : g_calls) names.push_back(c.what);
  return names;
}

template <class Px>
void check_pass_order() {
  using D = Depth<Px>;
  using Names = std::vector<std::string>;
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  std::vector<Px> src(5), mask(5), dst(5);
  std::vector<Cv<Px>> saved(5);
  const Cv<Px> opacity = D::half;
  auto run = [&](const RX_BlendModeDescriptor<Px>& plan) {
    return RX_BlendPipeline<Px>(nullptr, 5, plan, src.data(), mask.data(), saved.data(), dst.data());
  };

  // A matte mode: matte in place, the row, the alpha union, dematte.
  auto plan = logged_plan<Px>(RX_Xfer_Multiply, opacity, false, &tables);
  ASSERT_EQ(run(plan), RX_Result_OK);
  ASSERT_EQ(call_names(), (Names{"matte", "blend", "union", "dematte"})) << D::name;
  for (const Call& c : g_calls) {
    EXPECT_EQ(c.width, 5);
    EXPECT_EQ(c.dst, dst.data());
  }
  EXPECT_EQ(g_calls[0].src, nullptr);
  EXPECT_EQ(g_calls[3].src, nullptr);
  EXPECT_EQ(g_calls[1].src, src.data());
  EXPECT_EQ(g_calls[1].mask, mask.data());
  EXPECT_EQ(g_calls[1].mode, &plan.mode);
  EXPECT_EQ(g_calls[1].tables, &tables);
  EXPECT_EQ(g_calls[2].src, src.data());
  EXPECT_EQ(g_calls[2].mask, mask.data());
  EXPECT_EQ(g_calls[2].opacity, double(opacity));

  // A colour mode: behind, then the row, with the same arguments.
  plan = logged_plan<Px>(RX_Xfer_Hue, opacity, false, nullptr);
  ASSERT_EQ(run(plan), RX_Result_OK);
  ASSERT_EQ(call_names(), (Names{"behind", "blend"})) << D::name;
  EXPECT_EQ(g_calls[0].src, src.data());
  EXPECT_EQ(g_calls[0].mask, mask.data());
  EXPECT_EQ(g_calls[0].mode, &plan.mode);

  // Modes with no pass of their own: the row alone.
  for (int mode : {RX_Xfer_ReplaceRaw, RX_Xfer_MaskMix, RX_Xfer_Copy, RX_Xfer_Behind, RX_Xfer_Over,
                   RX_Xfer_Dissolve, RX_Xfer_MultiplyAlpha, RX_Xfer_AddPremul, RX_Xfer_Divide}) {
    plan = logged_plan<Px>(mode, opacity, true, nullptr);
    ASSERT_EQ(run(plan), RX_Result_OK);
    EXPECT_EQ(call_names(), (Names{"blend"})) << D::name << " mode " << mode;
  }

  // A failing step ends the line: the steps after it are skipped and the
  // saved alpha is not put back.
  for (Px& p : dst) p.alpha = D::white;
  plan = logged_plan<Px>(RX_Xfer_Screen, opacity, true, nullptr);
  g_fail_at = 2;  // the row
  EXPECT_EQ(run(plan), 7);
  EXPECT_EQ(call_names(), (Names{"matte", "blend"})) << D::name;
  EXPECT_EQ(dst[0].alpha, Cv<Px>(3)) << D::name;
  EXPECT_EQ(saved[0], D::white);

  for (Px& p : dst) p.alpha = D::white;
  plan = logged_plan<Px>(RX_Xfer_Screen, opacity, true, nullptr);
  g_fail_at = 1;  // the matte
  EXPECT_EQ(run(plan), 7);
  EXPECT_EQ(call_names(), (Names{"matte"})) << D::name;

  plan = logged_plan<Px>(RX_Xfer_Screen, opacity, true, nullptr);
  g_fail_at = 3;  // the union
  EXPECT_EQ(run(plan), 7);
  EXPECT_EQ(call_names(), (Names{"matte", "blend", "union"})) << D::name;

  plan = logged_plan<Px>(RX_Xfer_Luminosity, opacity, false, nullptr);
  g_fail_at = 1;  // the behind row
  EXPECT_EQ(run(plan), 7);
  EXPECT_EQ(call_names(), (Names{"behind"})) << D::name;
}

TEST_F(BlendPipeline, PassesRunInTheirOrderAndStopAtTheFirstError) {
  check_pass_order<RX_Pixel8>();
  check_pass_order<RX_Pixel16>();
  check_pass_order<RX_PixelFloat>();
}

TEST_F(BlendPipeline, TheProgressRecordIsPassedThroughUnread) {
  std::mt19937 rng(26);
  const Line<RX_Pixel8> line = random_line<RX_Pixel8>(rng, 12);
  for (int mode : {RX_Xfer_Over, RX_Xfer_Multiply, RX_Xfer_Hue, RX_Xfer_Dissolve}) {
    const RX_BlendModeDescriptor<RX_Pixel8> plan(blending_mode<RX_Pixel8>(mode, 200, true), true, nullptr);
    std::vector<uint8_t> saved(12);
    std::vector<RX_Pixel8> with_progress = line.dst, without = line.dst;
    auto* bogus = reinterpret_cast<RX_ProgressInfo*>(uintptr_t{16});
    EXPECT_EQ(RX_BlendPipeline<RX_Pixel8>(bogus, 12, plan, line.src.data(), line.mask.data(), saved.data(),
                                          with_progress.data()),
              0);
    EXPECT_EQ(RX_BlendPipeline<RX_Pixel8>(nullptr, 12, plan, line.src.data(), line.mask.data(), saved.data(),
                                          without.data()),
              0);
    EXPECT_EQ(std::memcmp(with_progress.data(), without.data(), 12 * sizeof(RX_Pixel8)), 0) << mode;
  }
}

// ==== rows and pipeline at width 0 and below ====

template <class Px, bool HasMask, bool Linear>
void check_empty_rows(const RX_LinearBlendingTables* tables) {
  std::mt19937 rng(27);
  const Line<Px> line = random_line<Px>(rng, 8);
  for (int mode = -3; mode <= 38; ++mode) {
    if (mode == RX_Xfer_None) continue;
    const RX_InnerBlendingFunc<Px> row = row_of<Px, HasMask, Linear>(mode);
    ASSERT_NE(row, nullptr);
    for (int32_t width : {0, -1, -40, INT32_MIN}) {
      const Line<Px> before = line;
      Line<Px> copy = line;
      const auto bm = blending_mode<Px>(mode, Depth<Px>::half, false, 5);
      EXPECT_EQ(row(width, &bm, Linear ? tables : nullptr, copy.src.data(), HasMask ? copy.mask.data() : nullptr,
                    copy.dst.data()),
                RX_Result_OK)
          << Depth<Px>::name << " mode " << mode << " width " << width;
      EXPECT_EQ(std::memcmp(copy.dst.data(), before.dst.data(), 8 * sizeof(Px)), 0)
          << Depth<Px>::name << " mode " << mode << " width " << width;
    }
  }
}

template <class Px>
void check_empty_pipeline() {
  std::mt19937 rng(28);
  const Line<Px> line = random_line<Px>(rng, 8);
  for (int mode = -3; mode <= 38; ++mode) {
    if (mode == RX_Xfer_None) continue;
    for (int with_mask = 0; with_mask < 2; ++with_mask) {
      const RX_BlendModeDescriptor<Px> plan(blending_mode<Px>(mode, Depth<Px>::half, true), with_mask != 0, nullptr);
      for (int32_t width : {0, -3}) {
        std::vector<Px> dst = line.dst;
        std::vector<Cv<Px>> saved(8, Cv<Px>(7));
        EXPECT_EQ(RX_BlendPipeline<Px>(nullptr, width, plan, line.src.data(),
                                       with_mask ? line.mask.data() : nullptr, saved.data(), dst.data()),
                  RX_Result_OK)
            << Depth<Px>::name << " mode " << mode;
        EXPECT_EQ(std::memcmp(dst.data(), line.dst.data(), 8 * sizeof(Px)), 0) << Depth<Px>::name << " mode " << mode;
        EXPECT_EQ(saved[0], Cv<Px>(7)) << Depth<Px>::name << " mode " << mode;
      }
    }
  }
}

template <class Px>
void check_empty_everything(const RX_LinearBlendingTables* tables) {
  check_empty_rows<Px, false, false>(tables);
  check_empty_rows<Px, true, false>(tables);
  check_empty_rows<Px, false, true>(tables);
  check_empty_rows<Px, true, true>(tables);
  check_empty_pipeline<Px>();
}

TEST_F(BlendRows, ALineOfNoPixelsReturnsZeroAndTouchesNothing) {
  const RX_LinearBlendingTables tables = rxtest::gamma22_tables();
  check_empty_everything<RX_Pixel8>(&tables);
  check_empty_everything<RX_Pixel16>(&tables);
  check_empty_everything<RX_PixelFloat>(&tables);
}

}  // namespace
