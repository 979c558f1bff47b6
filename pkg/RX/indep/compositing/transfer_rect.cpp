// The transfer rectangle: clip a source rectangle against source,
// destination and an even-kind track matte, then blend it line by line
// through one mode plan. Lines of the other field are skipped, progress is
// reported every 128th line, and the dissolve seed takes a quadratic step
// per line so that its noise never repeats in step with the width. Nothing
// is undone after an error: dst keeps the lines already blended.
#include "compositing/transfer_rect.h"

#include <algorithm>

#include "RX_Blend.h"
#include "RX_Fill.h"
#include "RX_World.h"
#include "compositing/blend_scratch.h"
#include "compositing/track_mattes.h"
#include "frame/exception_boundary.h"
#include "frame/fixed_messages.h"
#include "frame/override_table.h"
#include "frame/progress.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr uint32_t kSeedStep = 12281;      // the per-line step of the dissolve seed
constexpr int32_t kProgressInterval = 128;  // lines between progress reports

bool skipped_by_field(int32_t field, int32_t y) { return (field == 1 && (y & 1)) || (field == 2 && !(y & 1)); }

// The three rows: the caller's, or the shared set grown for width pixels.
template <class Px>
RX_Err ensure_rows(const TransferRequest& r, int32_t width, RX_TransferScratch& rows) {
  if (r.scratch) {
    rows = *r.scratch;
    return RX_Result_OK;
  }
  if (RX_Err err = RX_AllocateMotionBlurScratch()) return err;
  return RXp_ReallocScratch(width, int32_t(sizeof(typename xfer::Arith<Px>::Cv)), 0, &rows);
}

// What every band of one transfer shares.
template <class Px>
struct TransferLines {
  const TransferRequest& request;
  const TransferSpans& spans;
  const RX_BlendModeDescriptor<Px>& plan;  // its seed is that of the first line
  const RX_WorldX<Px>& src;
  RX_WorldX<Px>& dst;
};

// Blends lines [first, last) of the spans (0 the first) with the given
// scratch rows. The band works on its own copy of the plan, whose seed it
// sets for each line from the line's index.
template <class Px>
RX_Err blend_band(const TransferLines<Px>& job, int32_t first, int32_t last, const RX_TransferScratch& rows) {
  using Cv = typename xfer::Arith<Px>::Cv;
  const TransferSpans& spans = job.spans;
  const TransferRequest& r = job.request;
  RX_BlendModeDescriptor<Px> plan = job.plan;
  const uint32_t first_seed = uint32_t(job.plan.mode.random_seed);
  auto* saved_alpha = static_cast<Cv*>(rows.words[RX_ScratchAlphaRow]);
  auto* matte_row = static_cast<Px*>(rows.words[RX_ScratchMaskLine]);
  const int32_t top = spans.destination.top, bottom = spans.destination.bottom, width = spans.width();
  for (int32_t line = first; line < last; ++line) {
    const int32_t y = top + line;
    const Px* mask_line =
        r.mask ? matte_lines::mask_line<Px>(*r.mask, spans.destination.left, y, width, matte_row) : nullptr;
    if (!skipped_by_field(r.field, y)) {
      plan.mode.random_seed = int32_t(transfer_line_seed(first_seed, top, y));
      const Px* src_line = job.src.Row(spans.source.top + line) + spans.source.left;
      Px* dst_line = job.dst.Row(y) + spans.destination.left;
      if (RX_Err err = RX_BlendPipeline<Px>(nullptr, width, plan, src_line, mask_line, saved_alpha, dst_line)) {
        return err;
      }
    }
    if (y % kProgressInterval == 0) {
      if (RX_Err err = poll_progress(r.progress, y - top, bottom - top)) return err;
    }
  }
  return RX_Result_OK;
}

template <class Px>
RX_Err transfer(const TransferRequest& r, int32_t band_height) {
  const RX_WorldX<Px> src(*r.src, false);
  RX_WorldX<Px> dst(*r.dst, false);

  // Rows for the source rectangle's width; no line is longer than the
  // source, whatever the rectangle says.
  const int64_t rect_width = int64_t{r.source_rect.right} - r.source_rect.left;
  RX_TransferScratch rows{};
  if (RX_Err err = ensure_rows<Px>(r, int32_t(std::clamp<int64_t>(rect_width, 0, src.Width())), rows)) return err;

  TransferSpans spans;
  if (!clip_transfer(r, &spans)) return RX_Result_OK;

  // The stencil modes cut away what no source covers.
  if (r.mode->blend_mode == RX_Xfer_MultiplyAlpha || r.mode->blend_mode == RX_Xfer_MultiplyAlphaLuma) {
    if (RX_Err err = RX_ClearAlphaExceptRect(r.progress, &spans.destination, r.dst)) return err;
  }

  // The first line's seed: the mode's plus the first column, unsigned so
  // that it wraps instead of overflowing.
  RX_BlendingMode<Px> row_mode(*r.mode);
  row_mode.random_seed = int32_t(uint32_t(row_mode.random_seed) + uint32_t(spans.destination.left));
  const RX_BlendModeDescriptor<Px> plan(row_mode, r.mask != nullptr, r.tables);

  const TransferLines<Px> job{r, spans, plan, src, dst};
  const int32_t height = spans.height();
  for (int32_t first = 0; first < height;) {
    const int32_t last = int32_t(std::min<int64_t>(height, int64_t{first} + band_height));
    if (RX_Err err = blend_band(job, first, last, rows)) return err;
    first = last;
  }
  return RX_Result_OK;
}

}  // namespace

bool clip_transfer(const TransferRequest& r, TransferSpans* spans) {
  // Clip in source, then destination, then matte coordinates. The shift to
  // the destination is taken in 64 bits, so that far-off positions clip
  // instead of wrapping.
  const GE_LRect src_bounds{0, 0, r.src->width, r.src->height};
  GE_LRect clipped;
  if (!GE_SectLRect(&r.source_rect, &src_bounds, &clipped)) return false;
  const int64_t shift_x = int64_t{r.dst_x} - r.source_rect.left, shift_y = int64_t{r.dst_y} - r.source_rect.top;
  auto shifted_into = [](int64_t a, int64_t shift, int32_t limit) {
    return int32_t(std::clamp<int64_t>(a + shift, 0, limit));
  };
  clipped = {shifted_into(clipped.left, shift_x, r.dst->width), shifted_into(clipped.top, shift_y, r.dst->height),
             shifted_into(clipped.right, shift_x, r.dst->width),
             shifted_into(clipped.bottom, shift_y, r.dst->height)};
  if (GE_EmptyLRect(&clipped)) return false;
  if (r.mask && (r.mask->kind & 1) == 0) {
    const int64_t left = r.mask->x_offset, top = r.mask->y_offset;
    clipped = {int32_t(std::max<int64_t>(clipped.left, left)), int32_t(std::max<int64_t>(clipped.top, top)),
               int32_t(std::min<int64_t>(clipped.right, left + r.mask->world.width)),
               int32_t(std::min<int64_t>(clipped.bottom, top + r.mask->world.height))};
    if (GE_EmptyLRect(&clipped)) return false;
  }
  spans->destination = clipped;
  spans->source = {int32_t(clipped.left - shift_x), int32_t(clipped.top - shift_y), int32_t(clipped.right - shift_x),
                   int32_t(clipped.bottom - shift_y)};
  spans->matte_x = r.mask ? int64_t{clipped.left} - r.mask->x_offset : 0;
  spans->matte_y = r.mask ? int64_t{clipped.top} - r.mask->y_offset : 0;
  return true;
}

uint32_t transfer_line_seed(uint32_t first_seed, int32_t top, int32_t y) {
  // 0 + 1 + ... + (n - 1), exact in 64 bits for every line number.
  auto lines_before = [](int64_t n) { return uint64_t(n) * uint64_t(n - 1) / 2; };
  const uint64_t sum = lines_before(y) - lines_before(top);
  return first_seed + uint32_t(sum * kSeedStep);
}

RX_Err run_transfer(const TransferRequest& r, const char* depths_differ_text, int32_t band_height) {
  if (!r.src || !r.dst || !r.mode || !r.src->data || !r.dst->data || (r.mask && !r.mask->world.data)) {
    return RX_ReportBadParameter(31);
  }
  const int32_t depth = RXp_WorldDepth(r.dst);
  if (RXp_WorldDepth(r.src) != depth) {
    report_verification(depths_differ_text);
    return RX_Result_Internal;
  }
  if (r.mask && RXp_WorldDepth(&r.mask->world) != depth) {
    report_verification(msg::kMatteDepthDiffers);
    return RX_Result_Internal;
  }
  if (band_height < 1) band_height = 1;
  return with_depth(depth, [&]<class Px>() { return protect([&] { return transfer<Px>(r, band_height); }); });
}

}  // namespace rx

RX_Err RX_TransferRect_S(const RX_ProgressInfo* progress, int32_t, int64_t, int32_t field, GE_LRect source_rect,
                         const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                         const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask, int32_t dst_x,
                         int32_t dst_y, RX_LayerDef* dst) {
  const rx::TransferRequest request{progress, field, source_rect, src,   mode,
                                   tables,   mask,  nullptr,     dst_x, dst_y, dst};
  return rx::run_transfer(request, rx::msg::kTransferDepthsDiffer, rx::kWholeTransferBand);
}

RX_Err RX_TransferRectPlus_S(const RX_ProgressInfo* progress, int32_t, int64_t, int32_t field,
                             GE_LRect source_rect, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                             const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                             const RX_TransferScratch* scratch, int32_t dst_x, int32_t dst_y, RX_LayerDef* dst) {
  const rx::TransferRequest request{progress, field, source_rect, src,   mode,
                                   tables,   mask,  scratch,     dst_x, dst_y, dst};
  return rx::run_transfer(request, rx::msg::kTransferPlusDepthsDiffer, rx::kWholeTransferBand);
}

RX_Err RX_TransferRect(const RX_ProgressInfo* progress, int32_t reserved1, int64_t reserved2, int32_t field,
                       GE_LRect source_rect, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                       const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask, int32_t dst_x,
                       int32_t dst_y, RX_LayerDef* dst) {
  return rx::slot<RX_Slot_TransferRect>()(progress, reserved1, reserved2, field, source_rect, src, mode, tables,
                                          mask, dst_x, dst_y, dst);
}

RX_Err RX_TransferRectPlus(const RX_ProgressInfo* progress, int32_t reserved1, int64_t reserved2, int32_t field,
                           GE_LRect source_rect, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                           const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                           const RX_TransferScratch* scratch, int32_t dst_x, int32_t dst_y, RX_LayerDef* dst) {
  return rx::slot<RX_Slot_TransferRectCore>()(progress, reserved1, reserved2, field, source_rect, src, mode,
                                              tables, mask, scratch, dst_x, dst_y, dst);
}

void RX_PrepTrackMatteUniv(int32_t count, const void* source_row, int32_t x_offset, int32_t source_width,
                           int32_t kind, int32_t deep, void* destination) {
  if (count < 1 || !destination) return;
  if (!source_row) source_width = 0;  // no matte: outside values only
  const int32_t lead = x_offset > 0 ? x_offset : 0;
  const int32_t first = x_offset < 0 ? int32_t(std::min<int64_t>(-int64_t{x_offset}, source_width)) : 0;
  if (deep) {
    rx::matte_lines::build_row(count, static_cast<const RX_Pixel16*>(source_row), lead, first, source_width, kind,
                               static_cast<RX_Pixel16*>(destination));
  } else {
    rx::matte_lines::build_row(count, static_cast<const RX_Pixel8*>(source_row), lead, first, source_width, kind,
                               static_cast<RX_Pixel8*>(destination));
  }
}
