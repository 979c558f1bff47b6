// The shared blending rows and the motion blur buffers. They are package
// globals without a lock: one transfer or transform runs at a time.
#include "compositing/blend_scratch.h"

#include "KO/KO.h"
#include "RX_Messages.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"

RX_BlendScratch RXp_G_BlendScratch = {nullptr, nullptr, nullptr, 0};

namespace {

constexpr int32_t kChannelsPerPixel = 4;

struct MotionBlurBuffer {
  const char* tag;
  size_t bytes;
};

// Sized for 256 matrices.
constexpr MotionBlurBuffer kMotionBlurBuffers[RX_MotionBlurBufferCount] = {
    {"motion blur scratch data1", 2048},   // line start, two 16.16 numbers
    {"motion blur scratch data2", 2048},   // step per pixel along x
    {"motion blur scratch data3", 2048},   // step per line along y
    {"motion blur scratch data4", 4096},   // the x step in double
    {"motion blur scratch data5", 4096},   // the y step in double
    {"motion blur scratch data6", 18432},  // the inverse matrix, 72 bytes
    {"motion blur scratch data7", 26624},  // a sampling record, 104 bytes
};

void* g_motion_blur[RX_MotionBlurBufferCount] = {};

void free_and_null(void*& block) {
  KO_FreePtr(block);
  block = nullptr;
}

void* allocate_row(size_t bytes) {
  return KO_AllocatePtr(rx::kGeneralLocation, RXp_String(RX_Str_BlendingScratch), bytes);
}

}  // namespace

RX_Err RXp_ReallocScratch(int32_t pixels, int32_t bytes_per_channel, int32_t force,
                          RX_ScratchSet* scratch) {
  if (bytes_per_channel != 1 && bytes_per_channel != 2 && bytes_per_channel != 4) {
    rx::report_verification(rx::msg::kReallocScratchDepth);
    return RX_Result_Internal;
  }
  RX_BlendScratch& shared = RXp_G_BlendScratch;
  const int32_t line_bytes = pixels * kChannelsPerPixel * bytes_per_channel;
  if (force || line_bytes > shared.capacity) {
    RXp_FreeBlendScratch();
    shared.alpha_row = allocate_row(size_t(pixels) * bytes_per_channel);
    shared.mask_line = shared.alpha_row ? allocate_row(line_bytes) : nullptr;
    shared.work_line = shared.mask_line ? allocate_row(line_bytes) : nullptr;
    if (!shared.work_line) {
      RXp_FreeBlendScratch();
      return RX_Result_OutOfMemory;
    }
    shared.capacity = line_bytes;
  }
  if (scratch) {
    scratch->words[RX_ScratchAlphaRow] = shared.alpha_row;
    scratch->words[RX_ScratchMaskLine] = shared.mask_line;
    scratch->words[RX_ScratchWorkLine] = shared.work_line;
  }
  return RX_Result_OK;
}

void RXp_FreeBlendScratch(void) {
  RX_BlendScratch& shared = RXp_G_BlendScratch;
  free_and_null(shared.alpha_row);
  free_and_null(shared.mask_line);
  free_and_null(shared.work_line);
  shared.capacity = 0;
}

RX_Err RX_AllocateMotionBlurScratch(void) {
  for (int i = 0; i < RX_MotionBlurBufferCount; ++i) {
    if (g_motion_blur[i]) continue;
    g_motion_blur[i] =
        KO_AllocatePtr(rx::kGeneralLocation, kMotionBlurBuffers[i].tag, kMotionBlurBuffers[i].bytes);
    if (!g_motion_blur[i]) return RX_Result_OutOfMemory;
  }
  return RX_Result_OK;
}

void RX_DisposeMotionBlurScratch(void) {
  for (void*& buffer : g_motion_blur) free_and_null(buffer);
}

void* RXp_MotionBlurBuffer(int32_t index) {
  return index >= 0 && index < RX_MotionBlurBufferCount ? g_motion_blur[index] : nullptr;
}
