// The registry's loop and its look-ups.
#include "frame/variants.h"

namespace rx {
namespace {

struct Family {
  std::string_view name;
  VariantList (*list)();
};

#define RX_VARIANT_FAMILY_ENTRY(family) Family{#family, &family##_variants},
constexpr Family kFamilies[] = {RX_VARIANT_FAMILIES(RX_VARIANT_FAMILY_ENTRY)};
#undef RX_VARIANT_FAMILY_ENTRY

#define RX_VARIANT_FAMILY_NAME(family) std::string_view{#family},
constexpr std::string_view kFamilyNames[] = {RX_VARIANT_FAMILIES(RX_VARIANT_FAMILY_NAME)};
#undef RX_VARIANT_FAMILY_NAME

bool cpu_meets(CpuNeeds needs) {
  for (const CpuWord word : {kCpuWordSSE2, kCpuWordSSSE3, kCpuWordAVX2}) {
    if ((needs & (1u << word)) && !cpu_has(word)) return false;
  }
  return true;
}

}  // namespace

VariantList variant_family(std::string_view family) {
  for (const Family& f : kFamilies) {
    if (f.name == family) return f.list();
  }
  return {};
}

std::span<const std::string_view> variant_family_names() { return kFamilyNames; }

void choose_variants() {
  for (const Family& family : kFamilies) {
    const RX_OverFunc* previous_place = nullptr;
    for (const Variant& v : family.list()) {
      const bool first_of_place = v.slot != previous_place;
      if (v.vector && cpu_meets(v.needs)) {
        *v.slot = v.vector;
      } else if (first_of_place) {
        *v.slot = v.plain;
      }
      previous_place = v.slot;
    }
  }
}

const Variant* find_variant(std::string_view name) {
  for (const Family& family : kFamilies) {
    for (const Variant& v : family.list()) {
      if (v.name == name) return &v;
    }
  }
  return nullptr;
}

RX_OverFunc variant_form(std::string_view name, bool vector) {
  const Variant* v = find_variant(name);
  if (!v) return nullptr;
  return vector ? v->vector : v->plain;
}

RX_OverFunc variant_form_at(const RX_OverFunc* place, bool vector) {
  for (const Family& family : kFamilies) {
    for (const Variant& v : family.list()) {
      if (v.slot == place) return vector ? v.vector : v.plain;
    }
  }
  return nullptr;
}

}  // namespace rx
