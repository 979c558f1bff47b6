// The engine's LittleCMS contexts, its per-thread error texts and the
// reading of option blocks.
#include <lcms2_plugin.h>

#include <string>

#include "VIZ/float_fast_path.h"
#include "VIZ/viz_engine.h"

namespace rxhost::viz {
namespace {

thread_local std::string t_last_error;
thread_local VIZ_Err t_last_code = VIZ_Err_None;

// LittleCMS reports what went wrong before it returns null; the text is
// kept for the caller's exception.
void log_error(cmsContext, cmsUInt32Number, const char* text) {
  t_last_error = std::string("LittleCMS: ") + (text ? text : "");
}

cmsContext make_context(bool with_float_path) {
  cmsContext ctx = cmsCreateContext(nullptr, nullptr);
  if (!ctx) return nullptr;
  cmsSetLogErrorHandlerTHR(ctx, &log_error);
  if (with_float_path) cmsPluginTHR(ctx, float_fast_path_plugin());
  return ctx;
}

}  // namespace

VIZ_Err fail(VIZ_Err code, const std::string& text) {
  t_last_error = text;
  t_last_code = code;
  return code;
}

const char* last_error_text() { return t_last_error.c_str(); }
VIZ_Err last_error_code() { return t_last_code; }
void clear_error() {
  t_last_error.clear();
  t_last_code = VIZ_Err_None;
}

// Both contexts live as long as the process: profiles and transforms made
// in them may be released at any time before exit.
cmsContext context() {
  static const cmsContext ctx = make_context(true);
  return ctx;
}

cmsContext plain_context() {
  static const cmsContext ctx = make_context(false);
  return ctx;
}

int32_t option(const _t_VIZ_Options* options, uint32_t key, int32_t fallback) {
  if (!options) return fallback;
  const int32_t count = options->count < 0 ? 0 : options->count > VIZ_MaxOptions ? VIZ_MaxOptions : options->count;
  int32_t value = fallback;
  for (int32_t i = 0; i < count; ++i) {
    if (options->entries[i].key == key) value = options->entries[i].value;
  }
  return value;
}

}  // namespace rxhost::viz
