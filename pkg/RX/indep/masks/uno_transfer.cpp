// The masked transfer of one mask buffer into another, dst += (src - dst)
// * mask, and its rows. The mask is read with the source's geometry. Rows
// go through the generic iterate; modes 3 and 5 clear dst around the area.
#include <cstdint>

#include "RX_Iterate.h"
#include "RX_UnoBuffer.h"
#include "masks/uno_areas.h"

namespace {

using namespace rx::uno;

// Exact float form of the transfer, inline: no slot serves float rows.
void transfer_row_float(int32_t count, const float* src, const float* mask, float* dst) {
  for (int32_t i = 0; i < count; ++i) dst[i] = dst[i] + (src[i] - dst[i]) * mask[i];
}

struct TransferJob {
  const RX_ProgressInfo* progress;
  const RX_UnoBuffer* src;
  const RX_UnoBuffer* mask;
  const RX_UnoBuffer* dst;
  Area area;
  bool clear_outside;
  RX_UnoTransferRow8 row8;
  RX_UnoTransferRow16 row16;
};

RX_Err transfer_one_row(void* refcon, int32_t thread_index, int32_t i, int32_t) {
  const auto& job = *static_cast<const TransferJob*>(refcon);
  if (RX_Err err = poll_abort_on_first_thread(job.progress, thread_index)) return err;
  const Area& a = job.area;
  const int32_t sy = a.src.top + i;
  const int32_t dy = a.dst.y + i;
  if (job.clear_outside) clear_values(*job.dst, dy, 0, a.dst.x);
  switch (job.src->depth) {
    case 32:
      transfer_row_float(a.width(), at<float>(*job.src, a.src.left, sy), at<float>(*job.mask, a.src.left, sy),
                         at<float>(*job.dst, a.dst.x, dy));
      break;
    case 16:
      job.row16(a.width(), at<uint16_t>(*job.src, a.src.left, sy), at<uint16_t>(*job.mask, a.src.left, sy),
                at<uint16_t>(*job.dst, a.dst.x, dy));
      break;
    default:
      job.row8(a.width(), at<uint8_t>(*job.src, a.src.left, sy), at<uint8_t>(*job.mask, a.src.left, sy),
               at<uint8_t>(*job.dst, a.dst.x, dy));
      break;
  }
  if (job.clear_outside) clear_values(*job.dst, dy, a.dst.x + a.width(), job.dst->width);
  return RX_Result_OK;
}

}  // namespace

void RX_UnoTransferRow8_S(int32_t count, const uint8_t* src, const uint8_t* mask, uint8_t* dst) {
  for (int32_t i = 0; i < count; ++i) {
    const int32_t s = src[i], d = dst[i];
    // The borrow of a negative difference keeps the rounding symmetric.
    const int32_t t = mask[i] * (s - d) - (s < d ? 1 : 0) + 128;
    dst[i] = uint8_t(d + ((t + (t >> 8)) >> 8));
  }
}

void RX_UnoTransferRow16_S(int32_t count, const uint16_t* src, const uint16_t* mask,
                           uint16_t* dst) {
  for (int32_t i = 0; i < count; ++i) {
    const uint32_t s = src[i], d = dst[i], m = mask[i];
    dst[i] = uint16_t(s > d ? d + ((m * (s - d) + 16383) >> 15) : d - ((m * (d - s) + 16383) >> 15));
  }
}

RX_Err RX_TransferUnoBuffers(const RX_ProgressInfo* progress, const RX_UnoBuffer* src,
                             const RX_UnoBuffer* mask, int32_t mode, GE_LRect rect,
                             const GE_LPoint* dst_point, RX_UnoBuffer* dst) {
  const bool src_usable = check(src);
  const bool mask_usable = check(mask);
  const bool dst_usable = check(dst);
  if (!src_usable || !mask_usable || !dst_usable) return RX_Result_Internal;
  // The mask is addressed with the source's rows and dst with the source's
  // value size: anything else would read or write outside their blocks.
  const bool known = src->depth == 8 || src->depth == 16 || src->depth == 32;
  if (!known || mask->depth != src->depth || mask->width != src->width ||
      mask->height != src->height || dst->depth != src->depth) {
    return RX_ReportBadParameter(kBadParameterLocation);
  }

  TransferJob job{progress, src, mask, dst, {}, clears_outside(mode),
                  mask_slot<RX_UnoTransferRow8>(RX_Slot_MaskTransferScan8To8),
                  mask_slot<RX_UnoTransferRow16>(RX_Slot_MaskTransferScanDeepToDeep)};
  if (!clip_area(*src, *dst, rect, dst_point, &job.area)) return RX_Result_OK;

  const Area& a = job.area;
  if (job.clear_outside) clear_rows(*dst, 0, a.dst.y);
  if (RX_Err err = RX_IterateGeneric(a.height(), &job, transfer_one_row)) return err;
  if (job.clear_outside) clear_rows(*dst, a.dst.y + a.height(), dst->height);
  return RX_Result_OK;
}
