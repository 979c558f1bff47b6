// Combination of one mask buffer into another by an uno mode, plain or with
// opacity and opacity limit. The row is chosen once per call: the 8-bit or
// 16-bit table, the 8-into-16 Add row of its slot, or an opacity row.
// Areas of 76800 values and more go through the generic iterate slot;
// smaller ones run serially, whatever a module put in the slot.
#include <cstdint>

#include "RX_Iterate.h"
#include "RX_UnoBuffer.h"
#include "masks/uno_areas.h"
#include "masks/uno_mode_rows.h"

namespace {

using namespace rx::uno;

constexpr int64_t kSerialBelow = 76800;

struct AccumulateJob {
  const RX_ProgressInfo* progress;
  const RX_UnoBuffer* src;
  const RX_UnoBuffer* dst;
  Area area;
  bool clear_outside;
  int32_t mode;
  uint16_t opacity;
  uint16_t limit;
  // Exactly one is set.
  Row8 row8;
  Row16 row16;
  RX_UnoAddRow8To16 add_row;
  bool opacity_rows;
};

void combine_row(const AccumulateJob& job, int32_t count, int32_t sx, int32_t sy, int32_t dx,
                 int32_t dy) {
  const RX_UnoBuffer& src = *job.src;
  const RX_UnoBuffer& dst = *job.dst;
  if (job.row8) {
    job.row8(count, at<uint8_t>(src, sx, sy), at<uint8_t>(dst, dx, dy));
  } else if (job.row16) {
    job.row16(count, at<uint16_t>(src, sx, sy), at<uint16_t>(dst, dx, dy));
  } else if (job.add_row) {
    job.add_row(count, at<uint8_t>(src, sx, sy), at<uint16_t>(dst, dx, dy));
  } else if (dst.depth == 16 && src.depth == 16) {
    opacity_row16(count, at<uint16_t>(src, sx, sy), at<uint16_t>(dst, dx, dy), job.mode, job.opacity, job.limit);
  } else if (dst.depth == 16) {
    opacity_row16(count, at<uint8_t>(src, sx, sy), at<uint16_t>(dst, dx, dy), job.mode, job.opacity, job.limit);
  } else {
    opacity_row8(count, at<uint8_t>(src, sx, sy), at<uint8_t>(dst, dx, dy), job.mode, job.opacity, job.limit);
  }
}

RX_Err accumulate_one_row(void* refcon, int32_t thread_index, int32_t i, int32_t) {
  const auto& job = *static_cast<const AccumulateJob*>(refcon);
  if (RX_Err err = poll_abort_on_first_thread(job.progress, thread_index)) return err;
  const Area& a = job.area;
  const int32_t dy = a.dst.y + i;
  if (job.clear_outside) clear_values(*job.dst, dy, 0, a.dst.x);
  combine_row(job, a.width(), a.src.left, a.src.top + i, a.dst.x, dy);
  if (job.clear_outside) clear_values(*job.dst, dy, a.dst.x + a.width(), job.dst->width);
  return RX_Result_OK;
}

// The row for the call, or false when the pair of depths and the mode have
// none: a 16-bit source into 8 bits, float buffers, a plain 16-bit mode
// outside -1 and 1..7, a plain 8-into-16 mode other than Add.
bool choose_row(AccumulateJob& job, bool plain) {
  const int32_t s = job.src->depth, d = job.dst->depth;
  if (!((s == 8 && d == 8) || (s == 16 && d == 16) || (s == 8 && d == 16))) return false;
  if (!plain) {
    job.opacity_rows = true;
    return true;
  }
  if (d != 16) {
    job.row8 = mode_row8(job.mode);
  } else if (s == 16) {
    job.row16 = mode_row16(job.mode);
  } else if (job.mode == RX_UnoMode_Add) {
    job.add_row = mask_slot<RX_UnoAddRow8To16>(RX_Slot_MaskTransferScan8ToDeep);
  }
  return job.row8 || job.row16 || job.add_row;
}

RX_Err accumulate(const RX_ProgressInfo* progress, const RX_UnoBuffer* src, int32_t mode,
                  float opacity_limit, float opacity, const GE_LRect& rect,
                  const GE_LPoint* dst_point, RX_UnoBuffer* dst) {
  const bool src_usable = check(src);
  const bool dst_usable = check(dst);
  if (!src_usable || !dst_usable) return RX_Result_Internal;

  const int32_t white = src->depth == 16 ? kWhite16 : kWhite8;
  AccumulateJob job{};
  job.progress = progress;
  job.src = src;
  job.dst = dst;
  job.mode = mode;
  job.clear_outside = clears_outside(mode);
  job.limit = uint16_t(truncate_double(double(opacity_limit) * white + 0.5));
  job.opacity = uint16_t(truncate_double(double(opacity) * white + 0.5));
  const bool plain = job.limit == white && job.opacity == white;
  if (!choose_row(job, plain)) return RX_ReportBadParameter(kBadParameterLocation);

  if (!clip_area(*src, *dst, rect, dst_point, &job.area)) return RX_Result_OK;
  const Area& a = job.area;
  if (job.clear_outside) clear_rows(*dst, 0, a.dst.y);
  const bool serial = int64_t(a.width()) * a.height() < kSerialBelow;
  const RX_Err err = serial ? RX_IterateGeneric_Static(a.height(), &job, accumulate_one_row)
                            : RX_IterateGeneric(a.height(), &job, accumulate_one_row);
  if (err) return err;
  if (job.clear_outside) clear_rows(*dst, a.dst.y + a.height(), dst->height);
  return RX_Result_OK;
}

}  // namespace

RX_Err RX_AccumulateUnoBuffers(const RX_ProgressInfo* progress, const RX_UnoBuffer* src,
                               int32_t mode, GE_LRect rect, RX_UnoBuffer* dst) {
  return accumulate(progress, src, mode, 1.0f, 1.0f, rect, nullptr, dst);
}

RX_Err RX_AccumulateUnoBuffers(const RX_ProgressInfo* progress, const RX_UnoBuffer* src,
                               int32_t mode, GE_LRect rect, const GE_LPoint* dst_point,
                               RX_UnoBuffer* dst) {
  return accumulate(progress, src, mode, 1.0f, 1.0f, rect, dst_point, dst);
}

RX_Err RX_AccumulateUnoBuffers(const RX_ProgressInfo* progress, const RX_UnoBuffer* src,
                               int32_t mode, float opacity_limit, float opacity, GE_LRect rect,
                               const GE_LPoint* dst_point, RX_UnoBuffer* dst) {
  return accumulate(progress, src, mode, opacity_limit, opacity, rect, dst_point, dst);
}
