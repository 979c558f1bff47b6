// The Gaussian scan of one line at each depth: for each destination pixel
// the taps of the integer bell around its centre in the source line (the
// centre first, then c + i and c - i for i = 1..R, each only when inside),
// then the division in the destination's form. 8-bit sums are look-ups in
// the tap tables; 16-bit sums add the 32-bit products as f32; float sums
// add value × weight in f32. The order of the additions is part of the
// result at 16 bits and in float.
#pragma once

#include <cstdint>
#include <type_traits>

#include "filters/blur_jobs.h"
#include "filters/filter_arith.h"
#include "frame/variants.h"

namespace rx {

// One line of a Gaussian: the source line (or its scratch copy) and the
// destination line, each through its stride.
template <class Px>
struct GaussianLine {
  LineRef<const Px> in;
  int32_t in_length;
  LineRef<Px> out;
  int32_t out_length;
};

using GaussianScan = void (*)(const RX_GaussianJob* job, const void* in, intptr_t in_stride,
                              void* out, intptr_t out_stride);

template <class Px>
constexpr bool kIsFloat = std::is_same_v<Px, RX_PixelFloat>;

// Sums of one destination pixel: 32-bit integers at 8 bits, f32 otherwise.
template <class Px>
struct GaussianSums {
  using Sum = std::conditional_t<std::is_same_v<Px, RX_Pixel8>, uint32_t, float>;
  Sum alpha = 0, red = 0, green = 0, blue = 0, weight = 0;
};

// The tap of weight index i at a source pixel.
template <class Px>
inline void add_tap(GaussianSums<Px>& s, const RX_GaussianJob& job, int32_t i, const Px& p) {
  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    const uint16_t* table = job.tap_tables[i];
    s.alpha += table[p.alpha];
    s.red += table[p.red];
    s.green += table[p.green];
    s.blue += table[p.blue];
    s.weight += table[1];
  } else if constexpr (std::is_same_v<Px, RX_Pixel16>) {
    const int32_t w = static_cast<int32_t>(job.weights[i]);
    s.alpha += float(w * p.alpha);
    s.red += float(w * p.red);
    s.green += float(w * p.green);
    s.blue += float(w * p.blue);
    s.weight += float(w);
  } else {
    const float w = float(job.weights[i]);
    s.alpha += p.alpha * w;
    s.red += p.red * w;
    s.green += p.green * w;
    s.blue += p.blue * w;
    s.weight += w;
  }
}

// The sums around centre c, taps outside the line skipped.
template <class Px>
inline GaussianSums<Px> gaussian_sums(const RX_GaussianJob& job, const GaussianLine<Px>& line,
                                      int32_t c) {
  GaussianSums<Px> s;
  const int32_t n = line.in_length;
  if (c >= 0 && c < n) add_tap(s, job, 0, line.in[c]);
  for (int32_t i = 1; i <= job.radius_ceiling; ++i) {
    if (c + i >= 0 && c + i < n) add_tap(s, job, i, line.in[c + i]);
    if (c - i >= 0 && c - i < n) add_tap(s, job, i, line.in[c - i]);
  }
  return s;
}

// The kernel's full weight, recomputed as the scans do: w0 + 2 × the rest,
// a 32-bit unsigned sum.
inline uint32_t gaussian_total(const RX_GaussianJob& job) {
  uint32_t rest = 0;
  for (int32_t i = 1; i <= job.radius_ceiling; ++i) rest += job.weights[i];
  return job.weights[0] + 2u * rest;
}

// The destination pixel from its sums. centre is the source pixel under the
// kernel's centre, or null when the centre lies outside the line; its alpha
// stands in for an unselected alpha (and counts as 0 outside the line).
template <class Px>
inline Px gaussian_result(const RX_GaussianJob& job, const GaussianSums<Px>& s, const Px* centre,
                          uint32_t full_total) {
  const RX_BlurChannels ch = job.channels;
  const bool sel_a = ch & RX_BLUR_ALPHA, sel_r = ch & RX_BLUR_RED, sel_g = ch & RX_BLUR_GREEN,
             sel_b = ch & RX_BLUR_BLUE;
  Px out{};
  if ((ch & kBlurAllChannels) != kBlurAllChannels && centre) out = *centre;
  const auto centre_alpha = centre ? centre->alpha : decltype(centre->alpha){0};

  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    uint32_t total = full_total, half = full_total / 2;
    if (ch & RX_BLUR_RENORMALIZE) {
      total = s.weight;
      half = s.weight / 2;
    }
    if (job.dst_premultiplied) {
      auto divide = [&](uint32_t sum) { return total ? uint8_t((sum + half) / total) : uint8_t{0}; };
      if (sel_a) out.alpha = divide(s.alpha);
      if (sel_r) out.red = divide(s.red);
      if (sel_g) out.green = divide(s.green);
      if (sel_b) out.blue = divide(s.blue);
      return out;
    }
    const uint32_t a = sel_a ? s.alpha : uint32_t(centre_alpha) * total;
    if (total == 0 || a == 0) {
      if (sel_a) out.alpha = 0;
      if (sel_r) out.red = 0;
      if (sel_g) out.green = 0;
      if (sel_b) out.blue = 0;
      return out;
    }
    out.alpha = sel_a ? uint8_t((a + half) / total) : centre_alpha;
    // 64 bits: sum × 255 outgrows 32 bits beyond a radius of about 290.
    auto colour = [&](uint32_t sum) {
      const uint64_t q = (uint64_t{sum} * 255u + a / 2) / a;
      return uint8_t(q > 255u ? 255u : q);
    };
    if (sel_r) out.red = colour(s.red);
    if (sel_g) out.green = colour(s.green);
    if (sel_b) out.blue = colour(s.blue);
    return out;
  } else if constexpr (std::is_same_v<Px, RX_Pixel16>) {
    int32_t total = static_cast<int32_t>(full_total);
    if (ch & RX_BLUR_RENORMALIZE) total = truncate_to_int(s.weight);
    const int32_t half = total / 2;
    if (job.dst_premultiplied) {
      auto divide = [&](float sum) {
        return total ? uint16_t(truncate_to_int((sum + float(half)) / float(total))) : uint16_t{0};
      };
      if (sel_a) out.alpha = divide(s.alpha);
      if (sel_r) out.red = divide(s.red);
      if (sel_g) out.green = divide(s.green);
      if (sel_b) out.blue = divide(s.blue);
      return out;
    }
    const float a = sel_a ? s.alpha : float(centre_alpha) * float(total);
    if (total == 0 || a == 0.0f) {
      if (sel_a) out.alpha = 0;
      if (sel_r) out.red = 0;
      if (sel_g) out.green = 0;
      if (sel_b) out.blue = 0;
      return out;
    }
    out.alpha = sel_a ? uint16_t(truncate_to_int((float(half) + a) / float(total))) : centre_alpha;
    const float h = float(truncate_to_int(a * 0.5f));
    auto colour = [&](float sum) {
      const int32_t q = truncate_to_int((sum * 32768.0f + h) / a);
      return uint16_t(q > 32768 ? 32768 : q);
    };
    if (sel_r) out.red = colour(s.red);
    if (sel_g) out.green = colour(s.green);
    if (sel_b) out.blue = colour(s.blue);
    return out;
  } else {
    float total = float(full_total);
    if (ch & RX_BLUR_RENORMALIZE) total = s.weight;
    if (job.dst_premultiplied) {
      auto divide = [&](float sum) { return total != 0.0f ? sum / total : 0.0f; };
      if (sel_a) out.alpha = divide(s.alpha);
      if (sel_r) out.red = divide(s.red);
      if (sel_g) out.green = divide(s.green);
      if (sel_b) out.blue = divide(s.blue);
      return out;
    }
    const float a = sel_a ? s.alpha : centre_alpha * total;
    if (total == 0.0f || a == 0.0f) {
      if (sel_a) out.alpha = 0;
      if (sel_r) out.red = 0;
      if (sel_g) out.green = 0;
      if (sel_b) out.blue = 0;
      return out;
    }
    out.alpha = sel_a ? a / total : centre_alpha;
    if (sel_r) out.red = s.red / a;
    if (sel_g) out.green = s.green / a;
    if (sel_b) out.blue = s.blue / a;
    return out;
  }
}

// Destination pixels k_begin .. k_end - 1 of a line, taps tested one by one.
template <class Px>
inline void gaussian_pixels(const RX_GaussianJob& job, const GaussianLine<Px>& line,
                            uint32_t full_total, int32_t k_begin, int32_t k_end) {
  for (int32_t k = k_begin; k < k_end; ++k) {
    const int32_t c = job.origin_delta + k;
    const GaussianSums<Px> s = gaussian_sums(job, line, c);
    const Px* centre = c >= 0 && c < line.in_length ? &line.in[c] : nullptr;
    line.out[k] = gaussian_result(job, s, centre, full_total);
  }
}

template <class Px>
void gaussian_scan(const RX_GaussianJob* job, const void* in, intptr_t in_stride, void* out,
                   intptr_t out_stride) {
  const GaussianLine<Px> line{{static_cast<const Px*>(in), in_stride}, job->src_length,
                              {static_cast<Px*>(out), out_stride}, job->dst_length};
  gaussian_pixels(*job, line, gaussian_total(*job), 0, line.out_length);
}

// The scan chosen at birth for a depth (a vector form where the processor
// has one; the plain scan above otherwise).
template <class Px>
GaussianScan chosen_gaussian_scan();

template <class Px>
void gaussian_scan_avx2(const RX_GaussianJob* job, const void* in, intptr_t in_stride, void* out,
                        intptr_t out_stride);

}  // namespace rx
