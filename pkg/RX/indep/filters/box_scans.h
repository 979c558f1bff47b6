// The box scan of one line: a running sum over a box of width 2R + 1 whose
// two end samples weigh (1024 - frac) / 1024 at 8 bits (1 - frac at 16
// bits and in float), frac coming from how far the radius falls short of
// its ceiling R. Three scalar forms give the same results: alpha only, all
// four channels, and any other set. The premultiplied form (form 1) runs
// packed on SSE2 (box_scans_sse2.cpp), rounding as that form requires.
#pragma once

#include <cstdint>
#include <type_traits>

#include "filters/blur_jobs.h"
#include "filters/filter_arith.h"

namespace rx {

struct BoxScanArgs {
  float radius;
  int32_t radius_ceiling;
  RX_BlurChannels channels;
  const void* in;
  int32_t in_length;
  intptr_t in_stride;  // pixels
  void* out;
  int32_t out_length;
  intptr_t out_stride;
  int32_t form;   // 1 premultiplied, 0 straight
  int32_t start;  // input index under output 0
};

using BoxScan = void (*)(const BoxScanArgs* args);

// Which channels a form blurs: fixed for two forms, read for the third.
enum class BoxForm { kAlphaOnly, kAllFour, kSubset };

template <BoxForm F>
struct BoxSelection {
  explicit BoxSelection(RX_BlurChannels ch) : channels(ch) {}
  bool alpha() const { return F != BoxForm::kSubset || (channels & RX_BLUR_ALPHA); }
  bool red() const { return F == BoxForm::kAllFour || (F == BoxForm::kSubset && (channels & RX_BLUR_RED)); }
  bool green() const {
    return F == BoxForm::kAllFour || (F == BoxForm::kSubset && (channels & RX_BLUR_GREEN));
  }
  bool blue() const { return F == BoxForm::kAllFour || (F == BoxForm::kSubset && (channels & RX_BLUR_BLUE)); }
  bool all() const { return alpha() && red() && green() && blue(); }
  RX_BlurChannels channels;
};

// The running sums of one scan: 64-bit integers at 8 bits (so that no
// radius overflows them), f32 at 16 bits, doubles in float.
template <class Px>
using BoxSum = std::conditional_t<std::is_same_v<Px, RX_Pixel8>, int64_t,
                                  std::conditional_t<std::is_same_v<Px, RX_Pixel16>, float, double>>;
template <class Px>
using BoxEdge = std::conditional_t<std::is_same_v<Px, RX_Pixel8>, int64_t, float>;

template <class Px>
struct BoxSums {
  BoxSum<Px> c[4] = {0, 0, 0, 0};
};

template <class Px>
inline void box_add(BoxSums<Px>& s, const Px& p) {
  s.c[0] += BoxSum<Px>(p.alpha);
  s.c[1] += BoxSum<Px>(p.red);
  s.c[2] += BoxSum<Px>(p.green);
  s.c[3] += BoxSum<Px>(p.blue);
}

template <class Px>
inline void box_remove(BoxSums<Px>& s, const Px& p) {
  s.c[0] -= BoxSum<Px>(p.alpha);
  s.c[1] -= BoxSum<Px>(p.red);
  s.c[2] -= BoxSum<Px>(p.green);
  s.c[3] -= BoxSum<Px>(p.blue);
}

// The scalar scan, one body for the three forms.
template <class Px, BoxForm F>
void box_scan(const BoxScanArgs* args) {
  const BoxScanArgs& a = *args;
  const BoxSelection<F> sel(a.channels);
  const LineRef<const Px> in{static_cast<const Px*>(a.in), a.in_stride};
  const LineRef<Px> out{static_cast<Px*>(a.out), a.out_stride};
  const int32_t n = a.in_length;
  const int32_t r = a.radius_ceiling;
  const bool renormalize = a.channels & RX_BLUR_RENORMALIZE;
  auto inside = [n](int64_t i) { return i >= 0 && i < n; };

  constexpr bool k8 = std::is_same_v<Px, RX_Pixel8>;
  using Count = std::conditional_t<k8, int64_t, float>;
  using Frac = std::conditional_t<k8, int64_t, float>;
  // At 8 bits the ends weigh in 1024ths; a sample counts 1024.
  const Frac frac = k8 ? Frac(truncate_to_int((float(r) - a.radius) * 1024.0f))
                       : Frac(float(r) - a.radius);
  const Count step = k8 ? Count(1024) : Count(1);
  Count total = k8 ? Count((int64_t{r} << 11) - 2 * int64_t(frac) + 1024)
                   : Count(float(2 * r + 1) - float(frac) - float(frac));

  BoxSums<Px> sums;
  Count count = 0;
  int64_t trail = int64_t{a.start} - r - 1;
  int64_t lead = trail + 2 * int64_t{r} + 1;
  for (int64_t i = trail < 0 ? 0 : trail; i < lead && i < n; ++i) {
    box_add(sums, in[i]);
    count += step;
  }

  for (int32_t k = 0; k < a.out_length; ++k) {
    if (inside(trail)) {
      box_remove(sums, in[trail]);
      count -= step;
    }
    ++trail;
    BoxEdge<Px> edge[4] = {0, 0, 0, 0};
    Frac e = 0;
    if (inside(trail) && frac != 0) {
      const Px& p = in[trail];
      edge[0] = BoxEdge<Px>(p.alpha);
      edge[1] = BoxEdge<Px>(p.red);
      edge[2] = BoxEdge<Px>(p.green);
      edge[3] = BoxEdge<Px>(p.blue);
      e = frac;
    }
    if (inside(lead)) {
      const Px& p = in[lead];
      box_add(sums, p);
      count += step;
      if (frac != 0) {
        edge[0] += BoxEdge<Px>(p.alpha);
        edge[1] += BoxEdge<Px>(p.red);
        edge[2] += BoxEdge<Px>(p.green);
        edge[3] += BoxEdge<Px>(p.blue);
        e += frac;
      }
    }
    ++lead;
    if (renormalize) total = count - Count(e);

    Px o{};
    const int64_t centre = int64_t{a.start} + k;
    if (!sel.all() && inside(centre)) o = in[centre];

    if constexpr (k8) {
      int64_t v[4];
      for (int c = 0; c < 4; ++c) v[c] = (sums.c[c] << 10) - frac * edge[c];
      if (a.form == 1) {
        auto divide = [&](int64_t x) { return total ? uint8_t((x + total / 2) / total) : uint8_t{0}; };
        if (sel.alpha()) o.alpha = divide(v[0]);
        if (sel.red()) o.red = divide(v[1]);
        if (sel.green()) o.green = divide(v[2]);
        if (sel.blue()) o.blue = divide(v[3]);
      } else {
        const int64_t alpha = sel.alpha() ? (v[0] + 127) / 255 : (o.alpha * total + 127) / 255;
        if (total == 0 || alpha == 0) {
          if (sel.alpha()) o.alpha = 0;
          if (sel.red()) o.red = 0;
          if (sel.green()) o.green = 0;
          if (sel.blue()) o.blue = 0;
        } else {
          auto colour = [&](int64_t x) {
            const int64_t q = (x + alpha / 2) / alpha;
            return uint8_t(q > 255 ? 255 : q);
          };
          if (sel.red()) o.red = colour(v[1]);
          if (sel.green()) o.green = colour(v[2]);
          if (sel.blue()) o.blue = colour(v[3]);
          if (sel.alpha()) o.alpha = uint8_t((v[0] + total / 2) / total);
        }
      }
    } else if constexpr (std::is_same_v<Px, RX_Pixel16>) {
      float v[4];
      for (int c = 0; c < 4; ++c) v[c] = sums.c[c] - edge[c] * frac;
      if (a.form == 1) {
        auto divide = [&](float x) {
          return total != 0.0f ? uint16_t(truncate_to_int((x + 0.5f * total) / total)) : uint16_t{0};
        };
        if (sel.alpha()) o.alpha = divide(v[0]);
        if (sel.red()) o.red = divide(v[1]);
        if (sel.green()) o.green = divide(v[2]);
        if (sel.blue()) o.blue = divide(v[3]);
      } else {
        float alpha = sel.alpha() ? v[0] : float(o.alpha) * total;
        alpha = alpha * 3.0517578e-5f;  // 1 / 32768
        if (total != 0.0f && alpha != 0.0f) {
          auto colour = [&](float x) {
            const int32_t q = truncate_to_int((x + 0.5f * alpha) / alpha);
            return uint16_t(q > 32768 ? 32768 : q);
          };
          if (sel.red()) o.red = colour(v[1]);
          if (sel.green()) o.green = colour(v[2]);
          if (sel.blue()) o.blue = colour(v[3]);
          if (sel.alpha()) o.alpha = uint16_t(truncate_to_int((v[0] + 0.5f * total) / total));
        } else {
          if (sel.alpha()) o.alpha = 0;
          if (sel.red()) o.red = 0;
          if (sel.green()) o.green = 0;
          if (sel.blue()) o.blue = 0;
        }
      }
    } else {
      // Float alpha is limited: above 1 it is 1, below 1e-16 it is 0.
      auto limit = [](float x) { return x > 1.0f ? 1.0f : (x < 1e-16f ? 0.0f : x); };
      if (a.form == 1) {
        if (total != 0.0f) {
          auto value = [&](int c) { return float(sums.c[c] - edge[c] * frac) / total; };
          if (sel.alpha()) o.alpha = limit(value(0));
          if (sel.red()) o.red = value(1);
          if (sel.green()) o.green = value(2);
          if (sel.blue()) o.blue = value(3);
        } else {
          if (sel.alpha()) o.alpha = 0;
          if (sel.red()) o.red = 0;
          if (sel.green()) o.green = 0;
          if (sel.blue()) o.blue = 0;
        }
      } else {
        const double alpha = sums.c[0] - edge[0] * frac;
        if (total == 0.0f || alpha == 0.0) {
          if (sel.alpha()) o.alpha = 0;
          if (sel.red()) o.red = 0;
          if (sel.green()) o.green = 0;
          if (sel.blue()) o.blue = 0;
        } else {
          auto colour = [&](int c) { return float(float(sums.c[c] - edge[c] * frac) / alpha); };
          if (sel.red()) o.red = colour(1);
          if (sel.green()) o.green = colour(2);
          if (sel.blue()) o.blue = colour(3);
          if (sel.alpha()) o.alpha = limit(float(alpha / total));
        }
      }
    }
    out[k] = o;
  }
}

// The scalar form for a channel set.
template <class Px>
BoxScan scalar_box_scan(RX_BlurChannels channels) {
  switch (channels & kBlurAllChannels) {
    case RX_BLUR_ALPHA:
      return &box_scan<Px, BoxForm::kAlphaOnly>;
    case kBlurAllChannels:
      return &box_scan<Px, BoxForm::kAllFour>;
    default:
      return &box_scan<Px, BoxForm::kSubset>;
  }
}

// The packed premultiplied forms (box_scans_sse2.cpp).
template <class Px, BoxForm F>
void box_scan_sse2(const BoxScanArgs* args);

// The scan of a pass: the premultiplied form as chosen at birth (packed on
// SSE2), the straight form always scalar.
template <class Px>
BoxScan box_scan_for(RX_BlurChannels channels, int32_t form);

}  // namespace rx
