// The shapes of the transform's sampling runs: the samplers a call reads
// from the override table, the run functions of a depth, and the processor
// forms of them. Declarations only, so that a processor's translation unit
// can include it without sharing code of another instruction set.
#pragma once

#include <cstdint>
#include <type_traits>

#include "RX_Sampling.h"
#include "compositing/transform_geometry.h"

namespace rx::transform {

// The sum of a line's alphas in channel units; float sums in double.
template <class Px>
using AlphaSum = std::conditional_t<std::is_same_v<Px, RX_PixelFloat>, double, uint64_t>;

// The samplers of a depth, read from the override table once per call
// (float has no slots: its forms are called directly).
template <class Px>
struct SamplerSet {
  using Sample = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, Px*);
  using Plus = RX_Err (*)(void*, int32_t, int32_t, const RX_SampPB*, uint8_t*, Px*);
  using Span = RX_Err (*)(void*, int32_t, int32_t, int32_t, const RX_SampPB*, uint32_t*, Px*);
  Sample nearest = nullptr;   // clipped nearest
  Sample bilinear = nullptr;  // clipped bilinear
  Sample no_clip = nullptr;   // bilinear, all taps promised inside
  Sample area = nullptr;      // straight-alpha area
  Plus plus = nullptr;        // clipped bilinear telling whether all taps were inside
  Span span = nullptr;        // a row of whole-pixel steps with one set of weights
};

// n samples from start by step into out; gives the sum of their alphas.
template <class Px>
using RunFunc = AlphaSum<Px> (*)(const SamplerSet<Px>& samplers, const RX_SampPB& pb, Fixed2 start, Fixed2 step,
                                 int32_t n, Px* out);

// The three runs of a depth: the plain forms (transform_walkers.h) or a
// processor's.
template <class Px>
struct RunKernels {
  RunFunc<Px> nearest;
  RunFunc<Px> bilinear;
  RunFunc<Px> area;
};

// The processor form: the 8-bit area run on AVX2, with the plain run's
// results.
AlphaSum<RX_Pixel8> area_run8_avx2(const SamplerSet<RX_Pixel8>& samplers, const RX_SampPB& pb, Fixed2 start,
                                   Fixed2 step, int32_t n, RX_Pixel8* out);

}  // namespace rx::transform
