// RX_GaussianBlur1D: a direct weighted sum along one axis with the integer
// bell kernel, weights[0] = 255 and weights[i] = 255 × the bell at
// i / (radius + 1), truncated. 8-bit sums are look-ups in tap tables that
// hold weight × value. Lines go through the generic iterate; each thread
// copies its source line into its own scratch when the line must be
// premultiplied or copied.
#include <cmath>
#include <cstring>

#include "RX_Convolve.h"
#include "filters/blur_jobs.h"
#include "filters/gaussian_scans.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr int32_t kTapValues = 256;

// A Gaussian call: its job and its worlds, and the job's memory, given back
// on return and on unwinding.
struct GaussianCall {
  RX_GaussianJob job{};
  BlurWorlds worlds{};

  GaussianCall() = default;
  GaussianCall(const GaussianCall&) = delete;
  GaussianCall& operator=(const GaussianCall&) = delete;
  ~GaussianCall() {
    for (int32_t t = 0; t < job.scratch_count; ++t) release_scratch_buffer(job.scratch[t]);
    blur_release(job.scratch);
    blur_release(job.tap_block_raw);
    blur_release(job.tap_tables);
    blur_release(job.weights);
  }
};

void make_weights(RX_GaussianJob& job) {
  const int32_t count = job.radius_ceiling + 1;
  job.weights =
      static_cast<uint32_t*>(blur_allocate(sizeof(uint32_t) * count, RX_Str_GaussianWeights));
  job.weight_count = count;
  job.weights[0] = 255;
  const double scale = double(job.radius) + 1.0;
  for (int32_t i = 1; i < count; ++i) {
    job.weights[i] = uint32_t(truncate_double(RXp_GaussianValue(double(i) / scale) * 255.0));
  }
  job.total = gaussian_total(job);
}

void make_tap_tables(RX_GaussianJob& job) {
  const int32_t count = job.radius_ceiling + 1;
  job.tap_tables = static_cast<uint16_t**>(blur_allocate(sizeof(uint16_t*) * count, RX_Str_BlurMemory));
  job.tap_table_count = count;
  const size_t values = size_t(job.radius_ceiling) * kTapValues + kTapValues;
  job.tap_block_raw = blur_allocate(values * sizeof(uint16_t) + 15, RX_Str_BlurMemory);
  job.tap_block = reinterpret_cast<uint16_t*>(
      (reinterpret_cast<uintptr_t>(job.tap_block_raw) + 15) & ~uintptr_t{15});
  for (int32_t i = 0; i < count; ++i) {
    uint16_t* table = job.tap_block + size_t(i) * kTapValues;
    job.tap_tables[i] = table;
    for (uint32_t v = 0; v < uint32_t(kTapValues); ++v) table[v] = uint16_t(job.weights[i] * v);
  }
}

void make_scratch(RX_GaussianJob& job, int32_t threads, int32_t pixel_size) {
  job.scratch = static_cast<RX_BlurScratchBuffer*>(
      blur_allocate(sizeof(RX_BlurScratchBuffer) * threads, RX_Str_BlurMemory));
  std::memset(job.scratch, 0, sizeof(RX_BlurScratchBuffer) * threads);
  for (int32_t t = 0; t < threads; ++t) {
    allocate_scratch_buffer(job.scratch[t], job.src_length * pixel_size);
    job.scratch_count = t + 1;
  }
}

template <class Px>
RX_Err gaussian_line(void* refcon, int32_t thread_index, int32_t n, int32_t) {
  auto& call = *static_cast<GaussianCall*>(refcon);
  return blur_line_boundary([&] {
    RX_GaussianJob& job = call.job;
    const LineRef<Px> out{dst_line_start<Px>(call.worlds, job, n), job.dst_stride};
    const Px* src = src_line_start<Px>(call.worlds, job, n);
    if (!src) {
      clear_line(out, job.dst_length);
      return;
    }
    LineRef<const Px> in{src, job.src_stride};
    if (job.use_scratch) {
      // A thread index the host's count does not cover has no scratch.
      if (thread_index < 0 || thread_index >= job.scratch_count) throw RX_Err{RX_Result_Internal};
      Px* scratch = static_cast<Px*>(job.scratch[thread_index].aligned);
      copy_to_scratch(in, 0, job.src_length, scratch, job.premultiply_on_copy, job.channels);
      in = {scratch, 1};
    }
    chosen_gaussian_scan<Px>()(&job, in.first, in.stride, out.first, out.stride);
    blur_abort_check(job, thread_index);
  });
}

template <class Px>
void run_gaussian(GaussianCall& call) {
  RX_GaussianJob& job = call.job;
  {
    BlurSetupReports reports;
    make_weights(job);
    if constexpr (std::is_same_v<Px, RX_Pixel8>) make_tap_tables(job);
    const int32_t threads = blur_thread_count();
    call.worlds.thread_count = threads;
    if (job.use_scratch) make_scratch(job, threads, call.worlds.pixel_size);
    reports.finish();
  }
  iterate_blur_lines(call.worlds, &call, &gaussian_line<Px>);
}

}  // namespace
}  // namespace rx

void RX_GaussianBlur1D(const RX_ProgressInfo* progress, const RX_WorldObject* src, float radius,
                       RX_BlurChannels channels, uint32_t src_vertical, int32_t src_premultiplied,
                       uint32_t dst_vertical, uint32_t dst_premultiplied, uint8_t force_copy,
                       RX_WorldObject* dst) {
  rx::GaussianCall call;
  RX_GaussianJob& job = call.job;
  rx::fill_blur_line(job, call.worlds, progress, src, src_vertical, src_premultiplied,
                     dst_vertical, dst_premultiplied, dst);

  job.origin_delta =
      rx::origin_along(*dst, job.dst_vertical != 0) - rx::origin_along(*src, src_vertical != 0);
  job.radius = radius;
  // The ceiling is held in 16 bits when the weights are made; a radius
  // below 0 (or one past the 16 bits) has no kernel.
  const int32_t ceiling = static_cast<int16_t>(rx::truncate_double(std::ceil(double(radius))));
  if (!(radius >= 0.0f) || ceiling < 0) throw RX_ReportBadParameter(0);
  job.radius_ceiling = ceiling;
  job.channels = channels;
  job.premultiply_on_copy = !src_premultiplied && (channels & rx::kBlurColours);
  job.use_scratch = force_copy || job.premultiply_on_copy;

  rx::dispatch_depth(call.worlds.depth, [&]<class Px>() { rx::run_gaussian<Px>(call); }, [] {});
}
