// How the colour side calls the engine: each call first makes sure of the
// method table (rx::viz::engine throws when it cannot), and a method that
// is not there gives the general error to TIN_VIZ_ETX.
#pragma once

#include "TIN/TIN.h"
#include "bridge/viz_client.h"

namespace rx::colour {

// The render intent used throughout; 3 serves over-range profiles.
inline constexpr int32_t kIntentUsed = 1;
inline constexpr int32_t kIntentOverRange = 3;

template <class Proc>
Proc engine_method(rx::viz::Method which) {
  return rx::viz::method<Proc>(which);
}

inline VIZ_Err make_color_transform(VIZProfile* from, VIZProfile* to, int32_t intent,
                                    const _t_VIZ_Options* options, VIZTransform** out) {
  const auto make = engine_method<VIZ_MakeColorTransformProc>(rx::viz::kMakeColorTransform);
  return make ? make(from, to, intent, options, out) : VIZ_Err_General;
}

// A transform made by the engine, owned for a scope.
inline TIN_VIZ_Transform owned(VIZTransform* made) {
  TIN_VIZ_Transform t;
  t.Reset(made);
  return t;
}

// Makes and owns a transform; throws through TIN_VIZ_ETX.
inline TIN_VIZ_Transform make_owned(const TIN_VIZ_Profile& from, const TIN_VIZ_Profile& to, int32_t intent,
                                    const _t_VIZ_Options* options) {
  VIZTransform* made = nullptr;
  TIN_VIZ_ETX(make_color_transform(from.Get(), to.Get(), intent, options, &made));
  return owned(made);
}

// Releases a transform while an exception is on its way: nothing may be
// thrown from here.
inline void unreference_quietly(VIZTransform* transform) noexcept {
  try {
    if (auto release = engine_method<VIZ_UnReferenceTransformProc>(rx::viz::kUnReferenceTransform)) {
      release(transform);
    }
  } catch (...) {
  }
}

}  // namespace rx::colour
