// The one way for a test to hold a processor form against its plain form:
// any family's forms by the entry's name in the variant registry
// ("premultiply_scans.unmultiply_white16", "blend_rows8.over.mask.avx2"),
// or a slot's by its number. A missing form fails the test where it is
// asked for.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "frame/variants.h"

namespace rxtest {

// Whether this processor can run the entry's processor form, whatever the
// host's CPU words say.
inline bool processor_runs(const std::string& name) {
  const rx::Variant* v = rx::find_variant(name);
  if (!v) return false;
  if ((v->needs & (1u << rx::kCpuWordSSE2)) && !__builtin_cpu_supports("sse2")) return false;
  if ((v->needs & (1u << rx::kCpuWordSSSE3)) && !__builtin_cpu_supports("ssse3")) return false;
  if ((v->needs & (1u << rx::kCpuWordAVX2)) && !__builtin_cpu_supports("avx2")) return false;
  return true;
}

// The plain (vector false) or processor form of the entry named name.
template <class Fn>
Fn form(const std::string& name, bool vector) {
  const rx::Variant* v = rx::find_variant(name);
  EXPECT_NE(v, nullptr) << "no variant entry named " << name;
  return reinterpret_cast<Fn>(rx::variant_form(name, vector));
}

// The plain or processor form of override slot `slot`; null for a slot
// without an entry or a form.
template <class Fn>
Fn form(int slot, bool vector) {
  if (slot < 0 || slot >= RX_OverrideSlotCount) return nullptr;
  return reinterpret_cast<Fn>(rx::variant_form_at(&RXp_G_OverFuncs[slot], vector));
}

}  // namespace rxtest
