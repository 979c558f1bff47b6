// The world transform at one depth: scratch, the first (and last) matrix
// inverted and classified, the destination area, then either the integer
// path (a whole-pixel move goes to the transfer rectangle's core) or one
// of the line walkers, each line composited through the mode plan. The
// body is one template over the pixel type and the set of runs, so that a
// processor's runs make another form of the same loop.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "RX_Blend.h"
#include "RX_Fill.h"
#include "RX_Transform.h"
#include "compositing/blend_scratch.h"
#include "compositing/track_mattes.h"
#include "compositing/transform_walkers.h"
#include "frame/exception_boundary.h"
#include "frame/progress.h"

namespace rx::transform {

// The arguments of one call.
struct Request {
  const RX_ProgressInfo* progress;
  int32_t quality;
  int32_t field;
  const RX_LayerDef* src;
  const RX_CompositeModePlus* mode;
  const RX_LinearBlendingTables* tables;
  const RX_MaskWorld* mask;
  const GE_Matrix3* matrices;
  int32_t count;
  bool source_to_dest;
  GE_LRect dest_rect;
  const RX_TransferScratch* scratch;  // null: the shared set
  RX_LayerDef* dst;
};

inline constexpr int32_t kSeedStep = 12281;   // the per-line step of the dissolve seed
inline constexpr int32_t kStraightSamplesDraft = 9;  // two matrices at draft quality
inline constexpr int32_t kStraightSamplesBest = 17;  // two matrices at best quality

inline bool skipped_by_field(int32_t field, int32_t y) {
  return (field == 1 && (y & 1)) || (field == 2 && !(y & 1));
}

inline bool stencil_mode(int32_t mode) { return mode == RX_Xfer_MultiplyAlpha || mode == RX_Xfer_MultiplyAlphaLuma; }

// Modes that change dst even where the source is empty.
inline bool acts_on_empty_source(int32_t mode) {
  return mode == RX_Xfer_ReplaceRaw || mode == RX_Xfer_MultiplyAlpha || mode == RX_Xfer_MultiplyAlphaLuma ||
         mode == RX_Xfer_AddPremul;
}

// Lines between progress reports, less one: a mask.
inline int32_t progress_mask(int32_t quality, int32_t count, int32_t field) {
  const int32_t mask = count > 1 ? 7 : (quality == 0 ? 63 : 31);
  return field != 0 ? 2 * mask + 1 : mask;
}

// The matrix pair of matrices[i]: destination to source and back. False
// when it cannot be inverted.
bool matrix_pair(const Request& r, int32_t i, GE_Matrix3* inverse, GE_Matrix3* forward);

// Where the source can land in dst: the landing rectangles of the first
// and last matrix (all of them with motion) joined, within dest rect and
// dst, and within an even-kind track matte, whose lines are read in place.
GE_LRect destination_area(const Request& r, bool motion);

// The 8-bit inner loop with the AVX2 runs: the processor form of slot 117.
RX_Err transform_inner_loop8_avx2(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags, int32_t field,
                                  const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                  const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                  const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                  GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst);

// The inner loop of a depth with a set of runs, behind the exception
// boundary.
template <class Px>
RX_Err transform_at_depth(const Request& r, const RunKernels<Px>& runs);

template <class Px>
RX_Err run_inner_loop(const Request& r, const RunKernels<Px>& runs) {
  return protect([&] { return transform_at_depth<Px>(r, runs); });
}

// The matte line for a transform line. The float luminance kinds limit
// the product to 1 above and to 0 below 1e-16 before inverting.
template <class Px>
const Px* transform_mask_line(const RX_MaskWorld& mask, int32_t x, int32_t y, int32_t width, Px* row) {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    if (mask.kind >= RX_Mask_Luma) {
      const int64_t mx = int64_t{x} - mask.x_offset, my = int64_t{y} - mask.y_offset;
      const float outside = (mask.kind & 1) ? 1.0f : 0.0f;
      const bool row_inside = my >= 0 && my < mask.world.height;
      const auto* matte =
          row_inside ? reinterpret_cast<const RX_PixelFloat*>(static_cast<const char*>(mask.world.data) +
                                                              intptr_t(my) * mask.world.row_stride)
                     : nullptr;
      for (int32_t i = 0; i < width; ++i) {
        const int64_t column = mx + i;
        if (!matte || column < 0 || column >= mask.world.width) {
          row[i].alpha = outside;
          continue;
        }
        const RX_PixelFloat& p = matte[column];
        float v = p.alpha * (0.299f * p.red + 0.587f * p.green + 0.114f * p.blue);
        if (v > 1.0f) v = 1.0f;
        if (v < 1e-16f) v = 0.0f;
        row[i].alpha = (mask.kind & 1) ? 1.0f - v : v;
      }
      return row;
    }
  }
  return matte_lines::mask_line<Px>(mask, x, y, width, row);
}

// The line in hand onto dst: dropped when empty (unless the mode acts on
// an empty source), moved when an opaque Over would only copy it, else
// blended through the plan.
template <class Px>
RX_Err composite_line(const RX_BlendModeDescriptor<Px>& plan, bool plain_over, AlphaSum<Px> alpha_sum,
                      int32_t width, const Px* line, const Px* mask_line, decltype(Px{}.alpha)* saved_alpha,
                      Px* dst_line) {
  if (alpha_sum == 0 && !acts_on_empty_source(plan.mode.blend_mode)) return RX_Result_OK;
  if (plain_over && alpha_sum == AlphaSum<Px>(width) * AlphaSum<Px>(Depth<Px>::white)) {
    std::memmove(dst_line, line, size_t(width) * sizeof(Px));
    return RX_Result_OK;
  }
  return RX_BlendPipeline<Px>(nullptr, width, plan, line, mask_line, saved_alpha, dst_line);
}

// The forms of the line loop: which walker draws a line.
enum class Walker { Still, Straight, Curved };

template <class Px>
RX_Err transform_at_depth(const Request& r, const RunKernels<Px>& runs) {
  using Cv = typename Depth<Px>::Cv;
  RX_LayerDef& dst = *r.dst;
  const bool best = r.quality != RX_Quality_Draft;

  // Scratch: the caller's set, or the shared rows for dst's width and the
  // motion blur buffers.
  RX_TransferScratch scratch{};
  if (r.scratch) {
    scratch = *r.scratch;
  } else {
    if (RX_Err err = RX_AllocateMotionBlurScratch()) return err;
    if (RX_Err err = RXp_ReallocScratch(std::max(dst.width, 1), int32_t(sizeof(Cv)), 0, &scratch)) return err;
    for (int32_t i = 0; i < RX_MotionBlurBufferCount; ++i) {
      scratch.words[RX_ScratchMotionBlurFirst + i] = RXp_MotionBlurBuffer(i);
    }
  }

  // The first matrix, and the last one when the path moves.
  GE_Matrix3 first_inverse, first_forward, last_inverse, last_forward;
  if (!matrix_pair(r, 0, &first_inverse, &first_forward)) return RX_Result_OK;
  const GE_Matrix3& last_given = r.matrices[r.count - 1];
  const bool motion = r.count > 1 && !GE_EqualMatrixWithinEpsilon(&r.matrices[0], &last_given, kEqualMatrixEpsilon);
  if (motion) {
    if (!matrix_pair(r, r.count - 1, &last_inverse, &last_forward)) return RX_Result_OK;
  } else {
    last_inverse = first_inverse;
  }

  const GE_LRect area = destination_area(r, motion);
  if (GE_EmptyLRect(&area)) return RX_Result_OK;

  const Walk first = classify(first_inverse);
  if (first.flattens) {
    // A stencil of nothing removes everything.
    if (stencil_mode(r.mode->blend_mode)) {
      const GE_LRect nothing{0, 0, 0, 0};
      return RX_ClearAlphaExceptRect(r.progress, &nothing, r.dst);
    }
    return RX_Result_OK;
  }

  // A whole-pixel move is a transfer.
  const bool integral = first.type <= GE_MatrixType_Translate && !(best && first.fractional_translation);
  if (integral && !motion) {
    // The source-to-destination translation, rounded half up.
    const int32_t move_x = int32_t((-to_fixed(first.origin_x) + kFixedHalf) >> 16);
    const int32_t move_y = int32_t((-to_fixed(first.origin_y) + kFixedHalf) >> 16);
    const GE_LRect source_rect{int32_t(int64_t{area.left} - move_x), int32_t(int64_t{area.top} - move_y),
                               int32_t(int64_t{area.right} - move_x), int32_t(int64_t{area.bottom} - move_y)};
    auto core = reinterpret_cast<decltype(&RX_TransferRectPlus)>(RXp_G_OverFuncs[RX_Slot_TransferRectCore]);
    return core(r.progress, 0, 0, r.field, source_rect, r.src, r.mode, r.tables, r.mask, &scratch, area.left,
                area.top, r.dst);
  }

  // Which walker, and how many samples along a straight path.
  Walker walker = motion ? Walker::Straight : Walker::Still;
  const Walk last = motion ? classify(last_inverse) : first;
  int32_t steps = 0;
  auto* entries = static_cast<PathEntry*>(scratch.words[RX_ScratchMotionBlurFirst + 6]);
  auto* starts = static_cast<int32_t(*)[2]>(scratch.words[RX_ScratchMotionBlurFirst + 0]);
  auto* steps_x32 = static_cast<int32_t(*)[2]>(scratch.words[RX_ScratchMotionBlurFirst + 1]);
  auto* steps_y32 = static_cast<int32_t(*)[2]>(scratch.words[RX_ScratchMotionBlurFirst + 2]);
  if (motion) {
    bool curved = false;
    if (best && r.count != 2) {
      // The whole path: singular matrices are left out of the test.
      std::vector<Walk> walks;
      walks.reserve(size_t(r.count));
      for (int32_t i = 0; i < r.count; ++i) {
        GE_Matrix3 inverse, forward;
        if (matrix_pair(r, i, &inverse, &forward)) walks.push_back(classify(inverse));
      }
      curved = curved_path(walks.data(), int32_t(walks.size()));
    }
    if (curved) {
      walker = Walker::Curved;
    } else {
      const int32_t samples = r.count == 2 ? (best ? kStraightSamplesBest : kStraightSamplesDraft) : r.count;
      steps = samples - 1;
    }
  }

  if (stencil_mode(r.mode->blend_mode)) {
    if (RX_Err err = RX_ClearAlphaExceptRect(r.progress, &area, r.dst)) return err;
  }

  RX_BlendingMode<Px> row_mode(*r.mode);
  row_mode.random_seed = int32_t(uint32_t(row_mode.random_seed) + uint32_t(area.left));
  RX_BlendModeDescriptor<Px> plan(row_mode, r.mask != nullptr, r.tables);
  const bool plain_over = row_mode.blend_mode == RX_Xfer_Over && !r.mask && !row_mode.keep_dst_alpha &&
                          row_mode.opacity == Cv(Depth<Px>::white);

  const SamplerSet<Px> samplers = samplers_from_table<Px>();
  const RX_SampPB pb = first.sampling_block(r.src);
  const RunFunc<Px> run = !best ? runs.nearest : first.narrow() ? runs.bilinear : runs.area;

  // The slow walker keeps one entry a matrix in the motion blur buffers:
  // line starts and steps in 16.16 (and in double), inverse, radii.
  if (walker == Walker::Curved) {
    auto* steps_xd = static_cast<double(*)[2]>(scratch.words[RX_ScratchMotionBlurFirst + 3]);
    auto* steps_yd = static_cast<double(*)[2]>(scratch.words[RX_ScratchMotionBlurFirst + 4]);
    auto* inverses = static_cast<GE_Matrix3*>(scratch.words[RX_ScratchMotionBlurFirst + 5]);
    for (int32_t m = 0; m < r.count; ++m) {
      GE_Matrix3 forward;
      PathEntry& e = entries[m];
      e = PathEntry{};
      starts[m][0] = starts[m][1] = 0;
      steps_x32[m][0] = steps_x32[m][1] = steps_y32[m][0] = steps_y32[m][1] = 0;
      steps_xd[m][0] = steps_xd[m][1] = steps_yd[m][0] = steps_yd[m][1] = 0.0;
      if (!matrix_pair(r, m, &inverses[m], &forward)) continue;
      const Walk w = classify(inverses[m]);
      const Fixed2 start = w.position(area.left, area.top);
      e.pb = w.sampling_block(r.src);
      e.line_x = start.x;
      e.line_y = start.y;
      e.usable = !w.flattens;
      e.narrow = w.narrow();
      starts[m][0] = fits32(start.x) ? int32_t(start.x) : 0;
      starts[m][1] = fits32(start.y) ? int32_t(start.y) : 0;
      steps_x32[m][0] = int32_t(w.step_x.x), steps_x32[m][1] = int32_t(w.step_x.y);
      steps_y32[m][0] = int32_t(w.step_y.x), steps_y32[m][1] = int32_t(w.step_y.y);
      steps_xd[m][0] = w.step_x_x, steps_xd[m][1] = w.step_x_y;
      steps_yd[m][0] = w.step_y_x, steps_yd[m][1] = w.step_y_y;
    }
  }

  auto* saved_alpha = static_cast<Cv*>(scratch.words[RX_ScratchAlphaRow]);
  auto* matte_row = static_cast<Px*>(scratch.words[RX_ScratchMaskLine]);
  auto* line = static_cast<Px*>(scratch.words[RX_ScratchWorkLine]);
  const int32_t width = area.right - area.left;
  const int32_t report_mask = progress_mask(r.quality, r.count, r.field);
  Fixed2 start0 = first.position(area.left, area.top);
  Fixed2 start1 = last.position(area.left, area.top);
  // Seeds wrap in 32 bits.
  uint32_t seed_step = uint32_t(area.top) * uint32_t(kSeedStep);

  for (int32_t y = area.top; y < area.bottom; ++y) {
    if (!skipped_by_field(r.field, y)) {
      const Px* mask_line = r.mask ? transform_mask_line<Px>(*r.mask, area.left, y, width, matte_row) : nullptr;
      AlphaSum<Px> alpha_sum = 0;
      switch (walker) {
        case Walker::Still:
          alpha_sum = run(samplers, pb, start0, first.step_x, width, line);
          break;
        case Walker::Straight:
          alpha_sum = walk_straight<Px>(run, samplers, pb, start0, first.step_x, start1, last.step_x, steps, width,
                                        line);
          break;
        case Walker::Curved:
          alpha_sum = walk_curved<Px>(runs, samplers, entries, steps_x32, r.count, width, line);
          break;
      }
      Px* dst_line = reinterpret_cast<Px*>(static_cast<char*>(dst.data) + intptr_t{y} * dst.row_stride) + area.left;
      if (RX_Err err = composite_line<Px>(plan, plain_over, alpha_sum, width, line, mask_line, saved_alpha,
                                          dst_line)) {
        return err;
      }
    }
    // Every walk steps on, drawn or not.
    start0.x += first.step_y.x, start0.y += first.step_y.y;
    start1.x += last.step_y.x, start1.y += last.step_y.y;
    if (walker == Walker::Curved) {
      for (int32_t m = 0; m < r.count; ++m) {
        PathEntry& e = entries[m];
        e.line_x += steps_y32[m][0];
        e.line_y += steps_y32[m][1];
        // The 32-bit form of the start, where it has one.
        starts[m][0] = fits32(e.line_x) ? int32_t(e.line_x) : 0;
        starts[m][1] = fits32(e.line_y) ? int32_t(e.line_y) : 0;
      }
    }
    if (((y - area.top) & report_mask) == 0) {
      if (RX_Err err = poll_progress(r.progress, y - area.top, area.bottom - area.top)) return err;
    }
    plan.mode.random_seed = int32_t(uint32_t(plan.mode.random_seed) + seed_step);
    seed_step += uint32_t(kSeedStep);
  }
  return RX_Result_OK;
}

}  // namespace rx::transform
