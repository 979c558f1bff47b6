// The transform that shows a composition on a display: from the source
// profile, optionally through a via profile and simulating another
// device, to the display. A preference decides whether values beyond 1.0
// are clipped on the way (the fast options clip); theater preview always
// clips, and has the result optimized for the engine's table path.
#include <cctype>
#include <string>

#include "OPTS/OPTS.h"
#include "RX_ColorManagement.h"
#include "colour/engine_calls.h"

namespace rx::colour {
namespace {

constexpr char kPrefSection[] = "Display Transform Section";
constexpr char kPrefKey[] = "Clip over range in Display Transform when not Theater Preview";
// OptimizeTransform's block: one option, "Ltpo" = 100.
constexpr _t_VIZ_Options kTheaterOptimize = {1, {{VIZ_Option_LUTPoints, 100}}};

// The preference as a boolean: absent is false; "1", "true", "yes", "on"
// are true and "0", "false", "no", "off" false, in any case; any other
// text is a damaged preference, thrown like a failed read.
bool clip_over_range_preference() {
  char text[64];
  int32_t found = 0;
  if (HOST_Err err = OPTS_GetTextPrefData(kPrefSection, kPrefKey, text, sizeof text, &found)) throw RX_Err{err};
  if (!found) return false;
  std::string value = text;
  for (char& c : value) c = char(std::tolower(static_cast<unsigned char>(c)));
  if (value == "1" || value == "true" || value == "yes" || value == "on") return true;
  if (value == "0" || value == "false" || value == "no" || value == "off" || value.empty()) return false;
  throw RX_Err{OPTS_Err_Damaged};
}

VIZTransform* concat(VIZTransform* first, VIZTransform* second) {
  const auto join = engine_method<VIZ_ConcatTransformsProc>(rx::viz::kConcatTransforms);
  VIZTransform* out = nullptr;
  TIN_VIZ_ETX(join ? join(first, second, &out) : VIZ_Err_General);
  return out;
}

}  // namespace
}  // namespace rx::colour

using namespace rx::colour;

TIN_VIZ_Transform RX_NewDisplayTransform(const TIN_VIZ_Profile& source, const TIN_VIZ_Profile& display,
                                         const TIN_VIZ_Profile* via, const TIN_VIZ_Profile* simulated,
                                         bool skip_via_to_simulated, bool theater_preview) {
  const bool clip = clip_over_range_preference() || theater_preview;
  const _t_VIZ_Options* options_a = clip ? TIN_GetFastVIZOptions() : TIN_GetDefaultVIZOptions();
  const _t_VIZ_Options* options_b = TIN_GetDefaultVIZOptions();
  bool over = source.IsOverRange();

  TIN_VIZ_Transform result;
  if (!simulated) {
    result = over ? make_owned(source, display, kIntentOverRange, options_b)
                  : make_owned(source, display, kIntentUsed, options_a);
  } else {
    const _t_VIZ_Options* options_f = TIN_GetFastVIZOptions();
    const TIN_VIZ_Transform simulated_to_display = make_owned(*simulated, display, kIntentUsed, options_f);
    if (via) {
      over = over || via->IsOverRange();
      const TIN_VIZ_Transform source_to_via =
          make_owned(source, *via, over ? kIntentOverRange : kIntentUsed, options_b);
      TIN_VIZ_Transform chain;
      if (!skip_via_to_simulated) {
        const TIN_VIZ_Transform via_to_simulated = make_owned(*via, *simulated, kIntentUsed, options_f);
        chain = owned(concat(source_to_via.Get(), via_to_simulated.Get()));
      }
      const TIN_VIZ_Transform& first = chain.IsEmpty() ? source_to_via : chain;
      result.Reset(concat(first.Get(), simulated_to_display.Get()));
    } else if (skip_via_to_simulated) {
      // The simulated profile to the display alone, one engine reference more.
      const auto reference = engine_method<VIZ_ReferenceTransformProc>(rx::viz::kReferenceTransform);
      TIN_VIZ_ETX(reference ? reference(simulated_to_display.Get()) : VIZ_Err_General);
      result.Reset(simulated_to_display.Get());
    } else {
      const TIN_VIZ_Transform source_to_simulated =
          over ? make_owned(source, *simulated, kIntentOverRange, options_b)
               : make_owned(source, *simulated, kIntentUsed, options_f);
      result.Reset(concat(source_to_simulated.Get(), simulated_to_display.Get()));
    }
  }
  if (theater_preview) {
    const auto optimize = engine_method<VIZ_OptimizeTransformProc>(rx::viz::kOptimizeTransform);
    VIZTransform* optimized = nullptr;
    TIN_VIZ_ETX(optimize ? optimize(result.Get(), &kTheaterOptimize, &optimized) : VIZ_Err_General);
    result.Reset(optimized);
  }
  return result;
}
