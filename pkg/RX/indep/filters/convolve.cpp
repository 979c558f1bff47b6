// RX_Convolve: a per-channel integer kernel over a whole world at each of
// the three depths, without a separable path. Sums are 32-bit integers that
// wrap (f32 in float) and quotients truncate toward zero; the window is
// clipped to the picture without renormalizing, so what lies outside acts
// as black. Pixels whose window lies wholly inside go through the chosen
// row run (the AVX2 form where the processor has it); the others, and all
// of a picture smaller than the window, through the plain pixel.
#include "filters/convolve.h"

#include <algorithm>
#include <cstdint>

#include "RX_World.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "worlds/with_depth.h"

namespace rx {
namespace {

constexpr int16_t kConvolveLocation = 8;
// Rows of work (pixels times entries) between two progress calls.
constexpr int64_t kProgressWork = 2049;

template <class Px>
ChosenForm<void(const ConvolveJob*, int32_t, int32_t, int32_t, void*)>& chosen_run() {
  static ChosenForm<void(const ConvolveJob*, int32_t, int32_t, int32_t, void*)> form(
      &convolve_run<Px>);
  return form;
}

bool entries_fit_16(const int32_t* const kernels[4], int32_t entries) {
  for (int c = 0; c < 4; ++c) {
    for (int32_t i = 0; i < entries; ++i) {
      if (kernels[c][i] < INT16_MIN || kernels[c][i] > INT16_MAX) return false;
    }
  }
  return true;
}

}  // namespace

VariantList convolve_variants() {
  static const Variant list[] = {
      {"convolve.run8", chosen_run<RX_Pixel8>().place(), as_form(&convolve_run<RX_Pixel8>),
       as_form(&convolve_run_avx2<RX_Pixel8>), kNeedsAVX2},
      {"convolve.run16", chosen_run<RX_Pixel16>().place(), as_form(&convolve_run<RX_Pixel16>),
       as_form(&convolve_run_avx2<RX_Pixel16>), kNeedsAVX2},
      {"convolve.run_float", chosen_run<RX_PixelFloat>().place(),
       as_form(&convolve_run<RX_PixelFloat>), as_form(&convolve_run_avx2<RX_PixelFloat>),
       kNeedsAVX2},
  };
  return list;
}

}  // namespace rx

template <class Px>
RX_Err RXp_Convolve(const RX_ProgressInfo* progress, const RX_WorldX<Px>* src, void*,
                    uint32_t flags, int32_t kernel_size, const int32_t* alpha_kernel,
                    const int32_t* red_kernel, const int32_t* green_kernel,
                    const int32_t* blue_kernel, RX_WorldX<Px>* dst) {
  if (!src || !dst || !src->Data() || !dst->Data() || !alpha_kernel || !red_kernel ||
      !green_kernel || !blue_kernel || kernel_size < 0 || kernel_size % 2 == 0) {
    return RX_ReportBadParameter(rx::kConvolveLocation);
  }

  rx::ConvolveJob job{};
  const int32_t half = kernel_size / 2;
  job.hw = half;
  job.hh = half;
  if (flags & RX_CONVOLVE_1D) {
    if (flags & RX_CONVOLVE_VERTICAL) {
      job.hw = 0;
    } else {
      job.hh = 0;
    }
  }
  job.cols = 2 * job.hw + 1;
  const int32_t entries = job.cols * (2 * job.hh + 1);
  job.kernels[0] = alpha_kernel;
  job.kernels[1] = red_kernel;
  job.kernels[2] = green_kernel;
  job.kernels[3] = blue_kernel;
  for (int c = 0; c < 4; ++c) {
    if (flags & RX_CONVOLVE_NORMALIZE) {
      uint32_t sum = 0;  // wraps as the processor's 32-bit sum does
      for (int32_t i = 0; i < entries; ++i) sum += static_cast<uint32_t>(job.kernels[c][i]);
      job.divisors[c] = sum == 0 ? 1 : static_cast<int32_t>(sum);
    } else {
      job.divisors[c] = static_cast<int32_t>(static_cast<uint32_t>(entries) * 256u);
    }
  }
  job.clamp = !(flags & RX_CONVOLVE_NO_CLAMP);
  job.entries_fit_16 = rx::entries_fit_16(job.kernels, entries);

  // The destination's size governs; reads stay inside the source too, where
  // a smaller source acts like the black beyond the edge.
  const int32_t width = dst->Width();
  const int32_t height = dst->Height();
  job.src = static_cast<const uint8_t*>(src->Data());
  job.src_stride = src->RowStride();
  job.read_width = std::min(width, src->Width());
  job.read_height = std::min(height, src->Height());

  // Columns whose window lies wholly inside the readable part.
  const int32_t inner_left = std::min(job.hw, width);
  const int32_t inner_right = std::max(inner_left, job.read_width - job.hw);
  const auto run = rx::chosen_run<Px>().get();

  int64_t work = height;
  const int64_t work_per_row = int64_t{width} * entries;
  for (int32_t y = 0; y < height; ++y) {
    Px* out = dst->Row(y);
    const bool inner_row = y - job.hh >= 0 && y + job.hh < job.read_height;
    if (inner_row && inner_right > inner_left) {
      for (int32_t x = 0; x < inner_left; ++x) out[x] = rx::convolve_pixel<Px>(job, x, y);
      run(&job, y, inner_left, inner_right, out);
      for (int32_t x = inner_right; x < width; ++x) out[x] = rx::convolve_pixel<Px>(job, x, y);
    } else {
      for (int32_t x = 0; x < width; ++x) out[x] = rx::convolve_pixel<Px>(job, x, y);
    }
    work += work_per_row;
    if (progress && progress->progress_func && work >= rx::kProgressWork) {
      const RX_Err err = progress->progress_func(progress->refcon, y + 1, height);
      if (err != RX_Result_OK) return err;
      work = 0;
    }
  }
  return RX_Result_OK;
}

template RX_Err RXp_Convolve<RX_Pixel8>(const RX_ProgressInfo*, const RX_WorldX<RX_Pixel8>*,
                                        void*, uint32_t, int32_t, const int32_t*, const int32_t*,
                                        const int32_t*, const int32_t*, RX_WorldX<RX_Pixel8>*);
template RX_Err RXp_Convolve<RX_Pixel16>(const RX_ProgressInfo*, const RX_WorldX<RX_Pixel16>*,
                                         void*, uint32_t, int32_t, const int32_t*,
                                         const int32_t*, const int32_t*, const int32_t*,
                                         RX_WorldX<RX_Pixel16>*);
template RX_Err RXp_Convolve<RX_PixelFloat>(const RX_ProgressInfo*,
                                            const RX_WorldX<RX_PixelFloat>*, void*, uint32_t,
                                            int32_t, const int32_t*, const int32_t*,
                                            const int32_t*, const int32_t*,
                                            RX_WorldX<RX_PixelFloat>*);

RX_Err RX_Convolve(const RX_ProgressInfo* progress, const RX_WorldObject* src, void* unused,
                   uint32_t flags, int32_t kernel_size, const int32_t* alpha_kernel,
                   const int32_t* red_kernel, const int32_t* green_kernel,
                   const int32_t* blue_kernel, RX_WorldObject* dst) {
  // A null world has no depth to compare: it is the depth body's bad
  // parameter, reported before the comparison.
  if (!src || !dst) return RX_ReportBadParameter(rx::kConvolveLocation);
  const int32_t depth = src->Depth();
  if (dst->Depth() != depth) {
    rx::report_verification(rx::msg::kConvolveDepthsDiffer);
    return RX_Result_Internal;
  }
  return rx::with_depth(depth, [&]<class Px>() {
    return RXp_Convolve<Px>(progress, static_cast<const RX_WorldX<Px>*>(src), unused, flags,
                            kernel_size, alpha_kernel, red_kernel, green_kernel, blue_kernel,
                            static_cast<RX_WorldX<Px>*>(dst));
  });
}
