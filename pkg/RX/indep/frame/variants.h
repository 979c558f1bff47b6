// The one registry of processor variants. Every family with a processor
// form lists its places once, in the shape {name, slot, plain, vector,
// needs}: a slot of the override table or a family's own pointer (a row
// function, a scan of a run), the plain form, the processor form, and the
// CPU words that form needs. Birth runs one loop over every family's list
// and puts into each place the processor form where the CPU data allows
// it, the plain form otherwise; no code tests a CPU word per row or per
// pixel afterwards (the float-to-8 row conversion alone, whose form the
// row's address decides, reads word 2 per row).
//
// A new family: write `VariantList <family>_variants()` in the family's
// own file, returning its list, and add the family's name to
// RX_VARIANT_FAMILIES below.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "RX_Frame.h"
#include "frame/cpu_features.h"

#define RX_VARIANT_FAMILIES(X) \
  X(premultiply_scans)         \
  X(area_sample)               \
  X(subpixel)                  \
  X(summed_area_table)         \
  X(byte_run_mattes)           \
  X(matte_to_colour)           \
  X(blend_rows8)               \
  X(convolve)                  \
  X(gaussian_blur)             \
  X(box_blur)                  \
  X(uno_mode_rows)             \
  X(transform_loops)

namespace rx {

// The CPU words a processor form needs, one bit each.
using CpuNeeds = uint32_t;
inline constexpr CpuNeeds kNeedsSSE2 = 1u << kCpuWordSSE2;
inline constexpr CpuNeeds kNeedsSSSE3 = 1u << kCpuWordSSSE3;
// The AVX2 forms widen the SSSE3 ones and stand down with them.
inline constexpr CpuNeeds kNeedsAVX2 = (1u << kCpuWordAVX2) | kNeedsSSSE3;

// One place and its forms. Several entries may name the same place, one
// after the other: the first gives the plain form, and each later entry a
// wider processor form that replaces the one before where its words are
// set (the SSSE3 Over row, then its AVX2 form).
struct Variant {
  const char* name;    // "family.form", unique: how tests ask for a form
  RX_OverFunc* slot;   // &RXp_G_OverFuncs[n] or a family's own pointer
  RX_OverFunc plain;   // the plain form, the same in every entry of a place
  RX_OverFunc vector;  // null where the place has no processor form
  CpuNeeds needs;      // words the vector form needs
};

using VariantList = std::span<const Variant>;

#define RX_DECLARE_VARIANT_FAMILY(family) VariantList family##_variants();
RX_VARIANT_FAMILIES(RX_DECLARE_VARIANT_FAMILY)
#undef RX_DECLARE_VARIANT_FAMILY

// A family's list by its name in RX_VARIANT_FAMILIES; empty for others.
VariantList variant_family(std::string_view family);
// Every family's name, in the order of the list.
std::span<const std::string_view> variant_family_names();

// Birth's loop: puts into every place the form the CPU data allows.
void choose_variants();

// The entry named name, or null.
const Variant* find_variant(std::string_view name);
// The plain or the processor form of the entry named name, or of the first
// entry of a place (a slot: &RXp_G_OverFuncs[n]); null where the entry or
// the form does not exist.
RX_OverFunc variant_form(std::string_view name, bool vector);
RX_OverFunc variant_form_at(const RX_OverFunc* place, bool vector);

template <class F>
RX_OverFunc as_form(F* f) {
  return reinterpret_cast<RX_OverFunc>(f);
}

// A family's own place for a form that birth chooses. It holds the plain
// form until then, so that a call before birth still works.
template <class F>
class ChosenForm {
 public:
  explicit ChosenForm(F* plain) : form_(as_form(plain)) {}
  F* get() const { return reinterpret_cast<F*>(form_); }
  RX_OverFunc* place() { return &form_; }

 private:
  RX_OverFunc form_;
};

}  // namespace rx
