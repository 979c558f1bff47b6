// The linear-light wrap of a row and the 42-entry look-up tables of the
// row functions. A linear row lifts src, dst and mask into lines of the
// working depth (16 bits for 8 and 16, float for float), runs the gamma
// row of that depth, and lowers dst back; alpha only changes scale.
#pragma once

#include <array>
#include <optional>
#include <utility>

#include "KO/KO.h"
#include "compositing/blend_rows.h"
#include "frame/exception_boundary.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "frame/variants.h"
#include "RX_Messages.h"

namespace rx::blend {

// A line of working pixels from the host's memory; a failure throws out
// of memory, so that lines got earlier are released by unwinding.
template <class Px>
class WorkLine {
 public:
  explicit WorkLine(int32_t width) : pixels_(static_cast<Px*>(KO_AllocatePtrQuiet(size_t(width) * sizeof(Px)))) {
    if (!pixels_) throw_code(RX_Result_OutOfMemory);
  }
  ~WorkLine() { KO_FreePtr(pixels_); }
  WorkLine(const WorkLine&) = delete;
  WorkLine& operator=(const WorkLine&) = delete;
  Px* get() const { return pixels_; }

 private:
  Px* pixels_;
};

// Alpha and opacity between a depth and its working depth.
inline uint16_t lift_alpha(uint8_t a) { return convert_8_to_16(a); }
inline uint16_t lift_alpha(uint16_t a) { return a; }
inline float lift_alpha(float a) { return a; }

template <class Px, int Mode, bool HasMask>
RX_Err linear_row(int32_t width, const RX_BlendingMode<Px>* mode, const RX_LinearBlendingTables* tables,
                  const Px* src, const Px* mask, Px* dst) {
  using L = xfer::LinearLight<Px>;
  using Work = typename L::Work;
  if (width < 1) return RX_Result_OK;
  if (tables == nullptr) {
    report_verification(msg::kInvalidLinearTables);
    return RX_Result_Internal;
  }
  const bool with_mask = HasMask && mask != nullptr;
  WorkLine<Work> src_line(width), dst_line(width);
  Work* s = src_line.get();
  Work* d = dst_line.get();
  for (int32_t i = 0; i < width; ++i) {
    s[i] = L::lift(src[i], *tables);
    d[i] = L::lift(dst[i], *tables);
  }
  Work* m = nullptr;
  std::optional<WorkLine<Work>> mask_line;
  if (with_mask) {
    m = mask_line.emplace(width).get();
    for (int32_t i = 0; i < width; ++i) m[i].alpha = lift_alpha(mask[i].alpha);
  }

  RX_BlendingMode<Work> working;
  working.blend_mode = mode->blend_mode;
  working.random_seed = mode->random_seed;
  working.keep_dst_alpha = mode->keep_dst_alpha;
  working.opacity = lift_alpha(mode->opacity);
  if (RX_Err err = gamma_row<Work, Mode, HasMask>(width, &working, nullptr, s, m, d)) throw_code(err);

  for (int32_t i = 0; i < width; ++i) dst[i] = L::lower(d[i], *tables);
  return RX_Result_OK;
}

// Copies need no conversion at the integer depths: the linear look-up
// hands out the gamma row.
template <class Px, int Mode, bool Linear>
constexpr bool kGammaServesLinear =
    !Linear || ((Mode == RX_Xfer_ReplaceRaw || Mode == RX_Xfer_Copy) && !Arith<Px>::is_float);

template <class Px, int Mode, bool HasMask, bool Linear>
constexpr RX_InnerBlendingFunc<Px> row_function() {
  if constexpr (Mode == RX_Xfer_None) {
    return nullptr;
  } else if constexpr (kGammaServesLinear<Px, Mode, Linear>) {
    return &gamma_row<Px, Mode, HasMask>;
  } else {
    return &linear_row<Px, Mode, HasMask>;
  }
}

template <class Px, bool HasMask, bool Linear, int... Index>
std::array<RX_OverFunc, kRowTableSize> row_table(std::integer_sequence<int, Index...>) {
  return {as_form(row_function<Px, Index + RX_FirstTransferMode, HasMask, Linear>())...};
}

// The row functions of a look-up by mode (index mode + 3), plain until
// birth puts the processor forms of the 8-bit rows that have them.
template <class Px, bool HasMask, bool Linear>
inline std::array<RX_OverFunc, kRowTableSize> g_row_functions =
    row_table<Px, HasMask, Linear>(std::make_integer_sequence<int, kRowTableSize>{});

// The place of a mode's row in its table.
template <class Px, bool HasMask, bool Linear>
RX_OverFunc* row_place(int mode) {
  return &g_row_functions<Px, HasMask, Linear>[size_t(mode - RX_FirstTransferMode)];
}

}  // namespace rx::blend

template <class Px, bool HasMask, bool Linear>
RX_Err RX_GetInnerBlendingFunc(int32_t mode, RX_InnerBlendingFunc<Px>* result) {
  const auto& table = rx::blend::g_row_functions<Px, HasMask, Linear>;
  const int64_t index = int64_t{mode} - RX_FirstTransferMode;  // no overflow at the ends of int32_t
  if (index < 0 || index >= rx::blend::kRowTableSize || table[size_t(index)] == nullptr) {
    rx::report_error(rx::kGeneralLocation, RXp_String(RX_Str_UnimplementedBlendingMode));
    return RX_Result_Unimplemented;
  }
  *result = reinterpret_cast<RX_InnerBlendingFunc<Px>>(table[size_t(index)]);
  return RX_Result_OK;
}

// The four look-ups of a depth, in one translation unit per depth.
#define RX_INSTANTIATE_ROW_LOOKUPS(PX)                                                            \
  template RX_Err RX_GetInnerBlendingFunc<PX, false, false>(int32_t, RX_InnerBlendingFunc<PX>*); \
  template RX_Err RX_GetInnerBlendingFunc<PX, true, false>(int32_t, RX_InnerBlendingFunc<PX>*);  \
  template RX_Err RX_GetInnerBlendingFunc<PX, false, true>(int32_t, RX_InnerBlendingFunc<PX>*);  \
  template RX_Err RX_GetInnerBlendingFunc<PX, true, true>(int32_t, RX_InnerBlendingFunc<PX>*);
