// RX_BoxBlur1D: a running-sum box of fractional radius, repeated passes
// times along one axis; its cost does not depend on the radius. The blur
// works in line coordinates: each pass reads a span and writes the next,
// and the spans shrink every pass to what the remaining passes can still
// carry to the destination. Intermediate passes keep premultiplied pixels
// at the world's depth in two scratch lines a thread; the last pass writes
// the destination in its form.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "filters/blur_jobs.h"
#include "filters/box_scans.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr int32_t kBuffersPerThread = 2;

// A box call: its job and worlds, and the job's memory, given back on
// return and on unwinding.
struct BoxCall {
  RX_BoxJob job{};
  BlurWorlds worlds{};

  BoxCall() = default;
  BoxCall(const BoxCall&) = delete;
  BoxCall& operator=(const BoxCall&) = delete;
  ~BoxCall() {
    for (int32_t t = 0; t < job.buffer_list_count; ++t) {
      RX_BlurScratchBuffer* pair = job.buffers[t];
      if (!pair) continue;
      for (int32_t b = 0; b < job.buffers_per_thread; ++b) release_scratch_buffer(pair[b]);
      blur_release(pair);
    }
    blur_release(job.buffers);
    blur_release(job.spans);
  }
};

int32_t clamp_to_int32(int64_t v) {
  return static_cast<int32_t>(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX));
}

int32_t span_length(const RX_BoxSpan& s) { return s.hi > s.lo ? s.hi - s.lo : 0; }

// Spans of the passes in line coordinates, and the scratch length they
// need.
int32_t make_spans(RX_BoxJob& job, RX_BoxSpan source, RX_BoxSpan destination) {
  const int32_t passes = job.passes;
  const int64_t r = job.radius_ceiling;
  const int64_t reach = int64_t{passes} * r;
  RX_BoxSpan* spans = job.spans;
  spans[0] = job.read_source_directly
                 ? source
                 : RX_BoxSpan{clamp_to_int32(std::max<int64_t>(destination.lo - reach, source.lo)),
                              clamp_to_int32(std::min<int64_t>(reach + destination.hi, source.hi))};
  // Each pass widens the support by R, never beyond what the remaining
  // passes can still reach of the destination; the recurrence starts from
  // the whole source whatever span 0 is.
  int64_t lo = source.lo, hi = source.hi;
  for (int32_t i = 1; i < passes; ++i) {
    const int64_t remaining = int64_t{passes - i} * r;
    lo = std::max<int64_t>(lo - r, destination.lo - remaining);
    hi = std::min<int64_t>(hi + r, destination.hi + remaining);
    spans[i] = {clamp_to_int32(lo), clamp_to_int32(hi)};
  }
  spans[passes] = destination;

  int32_t length = job.read_source_directly ? 0 : span_length(spans[0]);
  for (int32_t i = 1; i < passes; ++i) length = std::max(length, span_length(spans[i]));
  return length;
}

void make_buffers(RX_BoxJob& job, int32_t threads, int32_t bytes) {
  job.buffers = static_cast<RX_BlurScratchBuffer**>(
      blur_allocate(sizeof(RX_BlurScratchBuffer*) * threads, RX_Str_BlurMemory));
  std::memset(job.buffers, 0, sizeof(RX_BlurScratchBuffer*) * threads);
  job.buffers_per_thread = kBuffersPerThread;
  // One pass needs a buffer only to copy the source into; more passes
  // need two to go back and forth.
  const int32_t real = job.passes == 1 ? (job.read_source_directly ? 0 : 1) : 2;
  for (int32_t t = 0; t < threads; ++t) {
    auto* pair = static_cast<RX_BlurScratchBuffer*>(
        blur_allocate(sizeof(RX_BlurScratchBuffer) * kBuffersPerThread, RX_Str_BlurMemory));
    std::memset(pair, 0, sizeof(RX_BlurScratchBuffer) * kBuffersPerThread);
    job.buffers[t] = pair;
    job.buffer_list_count = t + 1;
    for (int32_t b = 0; b < real; ++b) allocate_scratch_buffer(pair[b], bytes);
  }
}

template <class Px>
RX_Err box_line(void* refcon, int32_t thread_index, int32_t n, int32_t) {
  auto& call = *static_cast<BoxCall*>(refcon);
  return blur_line_boundary([&] {
    RX_BoxJob& job = call.job;
    const LineRef<Px> dst{dst_line_start<Px>(call.worlds, job, n), job.dst_stride};
    const Px* src = src_line_start<Px>(call.worlds, job, n);
    if (!src) {
      clear_line(dst, job.dst_length);
      return;
    }
    if (thread_index < 0 || thread_index >= job.buffer_list_count) throw RX_Err{RX_Result_Internal};
    RX_BlurScratchBuffer* pair = job.buffers[thread_index];
    const RX_BoxSpan* spans = job.spans;
    const int32_t last = job.passes - 1;

    for (int32_t p = 0; p <= last; ++p) {
      Px* in_buffer = static_cast<Px*>(pair[p % 2].aligned);
      Px* out_buffer = static_cast<Px*>(pair[(p + 1) % 2].aligned);
      BoxScanArgs args{job.radius, job.radius_ceiling, job.channels, in_buffer,
                       span_length(spans[p]), 1, out_buffer, span_length(spans[p + 1]),
                       1, 1, spans[p + 1].lo - spans[p].lo};
      if (p == 0) {
        if (job.read_source_directly) {
          args.in = src;
          args.in_stride = job.src_stride;
        } else {
          copy_to_scratch(LineRef<const Px>{src, job.src_stride}, spans[0].lo - job.src_line_origin,
                          args.in_length, in_buffer, job.premultiply_on_copy, job.channels);
        }
      }
      if (p == last) {
        args.out = dst.first;
        args.out_stride = dst.stride;
        args.form = job.dst_premultiplied ? 1 : 0;
      }
      box_scan_for<Px>(job.channels, args.form)(&args);
      blur_abort_check(job, thread_index);
    }
  });
}

template <class Px>
void run_box(BoxCall& call, RX_BoxSpan source, RX_BoxSpan destination) {
  RX_BoxJob& job = call.job;
  {
    BlurSetupReports reports;
    job.spans = static_cast<RX_BoxSpan*>(
        blur_allocate(sizeof(RX_BoxSpan) * (size_t(job.passes) + 1), RX_Str_BlurMemory));
    const int32_t length = make_spans(job, source, destination);
    const int32_t threads = blur_thread_count();
    call.worlds.thread_count = threads;
    make_buffers(job, threads, length * call.worlds.pixel_size);
    reports.finish();
  }
  iterate_blur_lines(call.worlds, &call, &box_line<Px>);
}

}  // namespace
}  // namespace rx

void RX_BoxBlur1D(const RX_ProgressInfo* progress, const RX_WorldObject* src, float radius,
                  uint32_t passes, RX_BlurChannels channels, uint32_t src_vertical,
                  int32_t src_premultiplied, uint32_t dst_vertical, uint32_t dst_premultiplied,
                  uint8_t force_copy, RX_WorldObject* dst) {
  rx::BoxCall call;
  RX_BoxJob& job = call.job;
  rx::fill_blur_line(job, call.worlds, progress, src, src_vertical, src_premultiplied,
                     dst_vertical, dst_premultiplied, dst);

  const int32_t ceiling = static_cast<int16_t>(rx::truncate_double(std::ceil(double(radius))));
  // No box for a radius below 0 (or past 16 bits), nor for a pass count
  // that does not fit 31 bits; 0 passes are not refused and write nothing.
  if (!(radius >= 0.0f) || ceiling < 0 || passes > uint32_t(INT32_MAX) - 1) {
    throw RX_ReportBadParameter(0);
  }
  job.radius = radius;
  job.radius_ceiling = ceiling;
  job.channels = channels;
  job.passes = static_cast<int32_t>(passes);
  const bool colours = channels & rx::kBlurColours;
  job.premultiply_on_copy = !src_premultiplied && colours;
  job.read_source_directly = !force_copy && (src_premultiplied || !colours);
  job.src_line_origin = rx::origin_along(*src, src_vertical != 0);

  const RX_BoxSpan source{job.src_line_origin, job.src_line_origin + job.src_length};
  const int32_t dst_origin = rx::origin_along(*dst, job.dst_vertical != 0);
  const RX_BoxSpan destination{dst_origin, dst_origin + job.dst_length};
  rx::dispatch_depth(
      call.worlds.depth, [&]<class Px>() { rx::run_box<Px>(call, source, destination); }, [] {});
}
