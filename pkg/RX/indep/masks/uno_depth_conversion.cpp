// Conversion of a rect of a 16-bit mask buffer into a buffer of 16, 8 or
// 32 bits, dividing each value by a divisor with rounding: (v + d / 2) / d
// for the integer depths (at 8 bits the low byte is kept), v * (1 / d) in
// f32 for float. Rows go through the generic iterate.
#include <cstdint>

#include "RX_Iterate.h"
#include "RX_UnoBuffer.h"
#include "masks/uno_access.h"

namespace {

using namespace rx::uno;

struct ConversionJob {
  const RX_ProgressInfo* progress;
  const RX_UnoBuffer* src;
  RX_UnoBuffer* dst;
  GE_LRect rect;
  uint32_t divisor;
};

// Divisors 1, 4, 8 and 16 come out of the same expression as shifts.
template <class Out>
void divide_row(const uint16_t* src, Out* dst, int32_t count, uint32_t divisor) {
  const uint32_t half = divisor / 2;
  for (int32_t i = 0; i < count; ++i) dst[i] = Out((src[i] + half) / divisor);
}

void scale_row_to_float(const uint16_t* src, float* dst, int32_t count, uint32_t divisor) {
  const float scale = 1.0f / float(divisor);
  for (int32_t i = 0; i < count; ++i) dst[i] = float(src[i]) * scale;
}

RX_Err convert_one_row(void* refcon, int32_t thread_index, int32_t i, int32_t) {
  const auto& job = *static_cast<const ConversionJob*>(refcon);
  if (RX_Err err = poll_abort_on_first_thread(job.progress, thread_index)) return err;
  const int32_t y = job.rect.top + i;
  const int32_t count = job.rect.right - job.rect.left;
  const uint16_t* src = at<uint16_t>(*job.src, job.rect.left, y);
  switch (job.dst->depth) {
    case 16:
      divide_row(src, at<uint16_t>(*job.dst, job.rect.left, y), count, job.divisor);
      break;
    case 8:
      divide_row(src, at<uint8_t>(*job.dst, job.rect.left, y), count, job.divisor);
      break;
    default:
      scale_row_to_float(src, at<float>(*job.dst, job.rect.left, y), count, job.divisor);
      break;
  }
  return RX_Result_OK;
}

}  // namespace

RX_Err RX_ConvertDeepUnoBuffer(const RX_ProgressInfo* progress, const RX_UnoBuffer* src,
                               GE_LRect rect, uint16_t divisor, RX_UnoBuffer* dst) {
  const bool src_usable = check(src);
  const bool dst_usable = check(dst);
  if (!src_usable || !dst_usable) return RX_Result_Internal;
  if (src->depth != 16) return RX_Result_OK;
  if (dst->depth != 16 && dst->depth != 8 && dst->depth != 32) return RX_Result_OK;
  if (empty(rect)) return RX_Result_OK;
  // A rect outside either buffer would reach outside its block, and a
  // divisor of 0 has no quotient.
  if (!inside(rect, *src) || !inside(rect, *dst) || divisor == 0) {
    return RX_ReportBadParameter(kBadParameterLocation);
  }
  ConversionJob job{progress, src, dst, rect, divisor};
  return RX_IterateGeneric(rect.bottom - rect.top, &job, convert_one_row);
}
