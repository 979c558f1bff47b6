// What both blurs share: the line geometry of a call, the job's memory and
// scratch, deferred setup reports and the line iteration.
#include "filters/blur_jobs.h"

#include "RX_Iterate.h"
#include "frame/reports.h"
#include "worlds/depth_traits.h"

namespace rx {
namespace {

// A null world in a blur is the one bad-parameter report; the blurs have
// no location of their own.
constexpr int16_t kBlurLocation = 0;

struct AllocationRequest {
  const char* label;
  void* block;
};

RX_Err allocate_through_ko(void* context, size_t bytes) {
  auto* request = static_cast<AllocationRequest*>(context);
  request->block = KO_AllocatePtr(kGeneralLocation, request->label, bytes);
  return request->block ? RX_Result_OK : RX_Result_OutOfMemory;
}

}  // namespace

int32_t blur_depth(const RX_World& src) {
  const int32_t depth = src.Depth();
  return depth == 8 || depth == 16 ? depth : 32;
}

int32_t origin_along(const RX_World& world, bool vertical) {
  const GE_LPoint origin = world.Origin();
  return vertical ? origin.y : origin.x;
}

void fill_blur_line(RX_BlurLine& line, BlurWorlds& worlds, const RX_ProgressInfo* progress,
                    const RX_World* src, uint32_t src_vertical, int32_t src_premultiplied,
                    uint32_t dst_vertical, uint32_t dst_premultiplied, RX_World* dst) {
  if (!src || !dst || !src->Data() || !dst->Data()) {
    throw RX_ReportBadParameter(kBlurLocation);
  }
  const int32_t pixel_size = int32_t(src->PixelSize());
  const int32_t dst_pixel_size = int32_t(dst->PixelSize());

  line.src_vertical = src_vertical;
  line.src_stride = src_vertical ? src->RowStride() / pixel_size : 1;
  line.src_length = src_vertical ? src->Height() : src->Width();
  line.dst_vertical = static_cast<int32_t>(dst_vertical);
  line.dst_stride = dst_vertical ? dst->RowStride() / dst_pixel_size : 1;
  line.dst_length = dst_vertical ? dst->Height() : dst->Width();
  line.error = RX_Result_OK;
  line.src_premultiplied = static_cast<uint32_t>(src_premultiplied);
  line.dst_premultiplied = dst_premultiplied;
  line.progress = progress;

  // Destination lines are columns for exactly 1, when they are counted and
  // placed; any other non-zero value would walk a column down from each
  // row's start and leave the world.
  if (dst_vertical > 1) throw RX_Err{RX_Result_Internal};

  const int32_t depth = blur_depth(*src);
  if (src->Depth() != depth || dst->Depth() != depth) throw RX_Err{RX_Result_Internal};

  worlds.src_data = static_cast<uint8_t*>(src->Data());
  worlds.src_row_bytes = src->RowStride();
  worlds.src_line_count = src_vertical ? src->Width() : src->Height();
  worlds.src_origin_across = origin_along(*src, src_vertical == 0);
  worlds.dst_data = static_cast<uint8_t*>(dst->Data());
  worlds.dst_row_bytes = dst->RowStride();
  worlds.dst_line_count = dst_vertical == 1 ? dst->Width() : dst->Height();
  worlds.dst_origin_across = origin_along(*dst, dst_vertical != 1);
  worlds.depth = depth;
  worlds.pixel_size = pixel_size;
  worlds.thread_count = 0;
}

int32_t blur_thread_count() {
  int32_t count = 0;
  const RX_Err err = KO_GetNumThreads(&count);
  if (err != RX_Result_OK) throw err;
  // A host that answers with no thread still runs the caller's.
  return count < 1 ? 1 : count;
}

void* blur_allocate(size_t bytes, RX_StringIndex label) {
  AllocationRequest request{RXp_String(label), nullptr};
  const RX_Err err = KO_PurgeLoop(bytes, &allocate_through_ko, &request, 0);
  if (err != RX_Result_OK || !request.block) {
    throw RX_Err{err != RX_Result_OK ? err : RX_Result_OutOfMemory};
  }
  KO_AccountAllocationEx(static_cast<int64_t>(bytes), 1);
  return request.block;
}

void blur_release(void* block) {
  if (!block) return;
  KO_AccountAllocationEx(static_cast<int64_t>(KO_GetPtrSize(block)), 0);
  KO_FreePtr(block);
}

void allocate_scratch_buffer(RX_BlurScratchBuffer& buffer, int32_t size) {
  constexpr size_t kAlignment = 16;
  const size_t usable = size > 0 ? size_t(size) : 0;
  buffer.raw = blur_allocate(usable + kAlignment - 1, RX_Str_BlurMemory);
  buffer.aligned = reinterpret_cast<void*>((reinterpret_cast<uintptr_t>(buffer.raw) + 15) &
                                           ~uintptr_t{15});
  buffer.size = static_cast<int32_t>(usable);
}

void release_scratch_buffer(RX_BlurScratchBuffer& buffer) {
  blur_release(buffer.raw);
  buffer = {};
}

BlurSetupReports::BlurSetupReports() { KO_DeferredReportingStart(KO_Class_Version, &state_); }

BlurSetupReports::~BlurSetupReports() {
  if (open_) KO_DeferredReportingEndAsync(0, 0, 0, &state_);
}

void BlurSetupReports::finish() {
  open_ = false;
  const RX_Err err = KO_DeferredReportingEndAsync(0, 0, 0, &state_);
  if (err != RX_Result_OK) throw err;
}

void iterate_blur_lines(const BlurWorlds& worlds, void* job, RX_GenericIterFunc callback) {
  const RX_Err err = RX_IterateGeneric(worlds.dst_line_count, job, callback);
  if (err != RX_Result_OK) throw err;
}

}  // namespace rx
