// The entries of the nine per-pixel tables: each reduces the source alpha
// by its opacities, then runs the mode in gamma space or, given tables, in
// linear light. The tables of a depth are filled from one template by an
// index sequence over the mode numbers.
#pragma once

#include <utility>

#include "RX_Transfer.h"
#include "compositing/transfer_linear.h"
#include "compositing/transfer_modes.h"

namespace rx::xfer {

inline constexpr int kModeCount = 39;

// Opacity weights the source alpha and leaves its colour alone, except in
// AddPremul, whose source is premultiplied: all four channels are scaled.
// A full opacity is skipped.
template <class Px, int Mode>
void reduce_by_opacity(Px& s, typename Arith<Px>::Cv opacity) {
  using A = Arith<Px>;
  using Cv = typename A::Cv;
  if (opacity == A::white) return;
  if constexpr (Mode == RX_Xfer_AddPremul) {
    s = {Cv(A::mul(s.alpha, opacity)), Cv(A::mul(s.red, opacity)), Cv(A::mul(s.green, opacity)),
         Cv(A::mul(s.blue, opacity))};
  } else {
    s.alpha = Cv(A::mul(s.alpha, opacity));
  }
}

// Read src, read dst, lift, the mode with its fast cases, lower, write:
// a linear form rounds dst through the tables even where the mode leaves
// it alone. Copy without opacity has one form for gamma and linear.
template <class Px, int Mode, class... Opacity>
void transfer_entry(const Px* src, const RX_LinearBlendingTables* tables, Px* dst, Opacity... opacities) {
  constexpr bool kSameInLinear = Mode == RX_Xfer_Copy && sizeof...(Opacity) == 0;
  if (tables == nullptr || kSameInLinear) {
    Px s = *src, d = *dst;
    (reduce_by_opacity<Px, Mode>(s, opacities), ...);
    transfer<Px, Mode>(s, d);
    *dst = d;
    return;
  }
  using L = LinearLight<Px>;
  using Work = typename L::Work;
  Work s = L::lift(*src, *tables), d = L::lift(*dst, *tables);
  (reduce_by_opacity<Work, Mode>(s, L::lift_opacity(opacities)), ...);
  transfer<Work, Mode>(s, d);
  *dst = L::lower(d, *tables);
}

template <class Px, int Mode>
void plain_entry(const Px* src, const RX_LinearBlendingTables* tables, Px* dst) {
  transfer_entry<Px, Mode>(src, tables, dst);
}

template <class Px, int Mode>
void opacity_entry(const Px* src, const RX_LinearBlendingTables* tables, typename Arith<Px>::Cv opacity,
                   Px* dst) {
  transfer_entry<Px, Mode>(src, tables, dst, opacity);
}

template <class Px, int Mode>
void opacity2_entry(const Px* src, const RX_LinearBlendingTables* tables, typename Arith<Px>::Cv opacity1,
                    typename Arith<Px>::Cv opacity2, Px* dst) {
  transfer_entry<Px, Mode>(src, tables, dst, opacity1, opacity2);
}

// Fills the three tables of depth Px: 39 entries and the null terminator.
template <class Px, class Plain, class Opacity, class Opacity2, int... Mode>
bool fill_transfer_tables(Plain* plain, Opacity* opacity, Opacity2* opacity2,
                          std::integer_sequence<int, Mode...>) {
  ((plain[Mode] = &plain_entry<Px, Mode>), ...);
  ((opacity[Mode] = &opacity_entry<Px, Mode>), ...);
  ((opacity2[Mode] = &opacity2_entry<Px, Mode>), ...);
  plain[kModeCount] = nullptr;
  opacity[kModeCount] = nullptr;
  opacity2[kModeCount] = nullptr;
  return true;
}

template <class Px, class Plain, class Opacity, class Opacity2>
bool fill_transfer_tables(Plain* plain, Opacity* opacity, Opacity2* opacity2) {
  return fill_transfer_tables<Px>(plain, opacity, opacity2, std::make_integer_sequence<int, kModeCount>{});
}

}  // namespace rx::xfer
