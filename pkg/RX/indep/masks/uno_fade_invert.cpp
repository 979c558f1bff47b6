// Fade and invert of a mask buffer. Fade is one run over width * height
// values, not iterated; invert goes row by row through the generic
// iterate. Both multiply with the depth's rounding: p / 255 rounded at
// 8 bits, (p + 16383) >> 15 at 16 bits.
#include <cstdint>

#include "RX_Iterate.h"
#include "RX_UnoBuffer.h"
#include "masks/uno_access.h"

namespace {

using namespace rx::uno;

// 16.16 fixed point to double.
constexpr double kFixedToDouble = 1.52587890625e-5;

struct InvertJob {
  const RX_ProgressInfo* progress;
  RX_UnoBuffer* buffer;
  double fade;
  int32_t opacity;  // the fade at the buffer's white, integer depths only
};

void invert_row8(uint8_t* row, int32_t count, int32_t opacity) {
  if (opacity >= kWhite8) {
    for (int32_t i = 0; i < count; ++i) row[i] = uint8_t(kWhite8 - row[i]);
    return;
  }
  for (int32_t i = 0; i < count; ++i) row[i] = uint8_t(rnd8(int64_t(kWhite8 - row[i]) * opacity));
}

void invert_row16(uint16_t* row, int32_t count, int32_t opacity) {
  if (opacity == kWhite16) {
    for (int32_t i = 0; i < count; ++i) row[i] = uint16_t(kWhite16 - row[i]);
    return;
  }
  for (int32_t i = 0; i < count; ++i) {
    const int64_t inverse = (kWhite16 - row[i]) & 0xffff;
    row[i] = uint16_t((inverse * opacity + 16383) >> 15);
  }
}

void invert_row_float(float* row, int32_t count, double fade) {
  for (int32_t i = 0; i < count; ++i) row[i] = float(double(1.0f - row[i]) * fade);
}

RX_Err invert_one_row(void* refcon, int32_t thread_index, int32_t y, int32_t) {
  const auto& job = *static_cast<const InvertJob*>(refcon);
  if (RX_Err err = poll_abort_on_first_thread(job.progress, thread_index)) return err;
  const RX_UnoBuffer& buffer = *job.buffer;
  switch (buffer.depth) {
    case 16:
      invert_row16(at<uint16_t>(buffer, 0, y), buffer.width, job.opacity);
      break;
    case 32:
      invert_row_float(at<float>(buffer, 0, y), buffer.width, job.fade);
      break;
    default:  // 8 bits, and the odd depths the constructor allows
      invert_row8(at<uint8_t>(buffer, 0, y), buffer.width, job.opacity);
      break;
  }
  return RX_Result_OK;
}

}  // namespace

RX_Err RX_FadeUnoBuffer(const RX_ProgressInfo*, float opacity, RX_UnoBuffer* buffer) {
  if (!check(buffer)) return RX_Result_Internal;
  const int32_t count = buffer->width * buffer->height;
  if (buffer->depth == 16) {
    const int64_t o = truncate_double(double(opacity) * 32768.0 + 0.5);
    auto* values = static_cast<uint16_t*>(*buffer->pixels);
    for (int32_t i = 0; i < count; ++i) values[i] = uint16_t((values[i] * o + 16383) >> 15);
    return RX_Result_OK;
  }
  // Every other depth, float included, takes its first width * height
  // bytes as 8-bit values.
  const int64_t o = truncate_double(double(opacity) * 255.0 + 0.5);
  auto* values = static_cast<uint8_t*>(*buffer->pixels);
  for (int32_t i = 0; i < count; ++i) values[i] = uint8_t(rnd8(values[i] * o));
  return RX_Result_OK;
}

RX_Err RX_InvertAndFadeUnoBuffer(const RX_ProgressInfo* progress, int32_t fade,
                                 RX_UnoBuffer* buffer) {
  if (!check(buffer)) return RX_Result_Internal;
  InvertJob job{progress, buffer, fade * kFixedToDouble, 0};
  const double white = buffer->depth == 16 ? 32768.0 : 255.0;
  job.opacity = truncate_double(job.fade * white + 0.5);
  if (buffer->height < 1) return RX_Result_OK;  // -1 would ask the iterate for one call
  return RX_IterateGeneric(buffer->height, &job, invert_one_row);
}

RX_Err RX_InvertUnoBuffer(const RX_ProgressInfo* progress, RX_UnoBuffer* buffer) {
  return RX_InvertAndFadeUnoBuffer(progress, 0x10000, buffer);
}
