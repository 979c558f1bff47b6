// Deferred reporting: a thread may hold its reports back for a while (so
// that a burst of them arrives together) and let them go in order at the end.
#include <string>
#include <vector>

#include "KO/KO.h"
#include "host_internal.h"

namespace {

// A held report owns copies of its texts: callers reuse their buffers.
struct HeldReport {
  RXHost_ReportKind kind;
  int32_t report_class;
  int32_t location;
  int32_t line;
  std::string text;
  std::string package;
  std::string event;
  bool has_package;
  bool has_event;
};

thread_local int32_t t_depth = 0;
thread_local std::vector<HeldReport> t_held;

void flush() {
  // Taken out first: the sink may report again, and that must go straight out.
  std::vector<HeldReport> held;
  held.swap(t_held);
  for (const HeldReport& h : held) {
    const RXHost_Report r{h.kind,
                          h.report_class,
                          h.location,
                          h.line,
                          h.text.c_str(),
                          h.has_package ? h.package.c_str() : nullptr,
                          h.has_event ? h.event.c_str() : nullptr};
    rxhost::deliver_now(r);
  }
}

void end(KO_DeferredState* state) {
  if (t_depth == 0) return;  // an End without its Start
  --t_depth;
  if (state) state->depth = t_depth;
  // Inner ends keep holding: the outermost one lets everything go.
  if (t_depth == 0) flush();
}

}  // namespace

namespace rxhost {

bool hold_if_deferred(const RXHost_Report& r) {
  if (t_depth == 0) return false;
  t_held.push_back({r.kind, r.report_class, r.location, r.line, r.text ? r.text : "",
                    r.package ? r.package : "", r.event ? r.event : "", r.package != nullptr,
                    r.event != nullptr});
  return true;
}

}  // namespace rxhost

void KO_DeferredReportingStart(int32_t report_class, KO_DeferredState* state) {
  ++t_depth;
  if (state) {
    state->report_class = report_class;
    state->depth = t_depth;
    state->held = nullptr;
  }
}

void KO_DeferredReportingEnd(int32_t, int32_t, KO_DeferredState* state) { end(state); }

// This host has no event loop to post to, so the held reports go out now.
HOST_Err KO_DeferredReportingEndAsync(int32_t, int32_t, int32_t, KO_DeferredState* state) {
  end(state);
  return KO_Err_None;
}
