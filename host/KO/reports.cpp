// Reports: every error, verification, exception and log line of the
// package and the host ends up in one sink.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <typeinfo>

#include "KO/KO.h"
#include "host_internal.h"

char KOp_G_buffer[KO_ReportBufferSize];
char KOp_G_err_buf[KO_ReportBufferSize];

namespace {

// Recursive, so that a sink may itself report or install another sink.
std::recursive_mutex g_sink_mutex;
RXHost_ReportSink g_sink = nullptr;  // null: the default sink
void* g_sink_refcon = nullptr;

void default_sink(const RXHost_Report* r) {
  if (r->kind == RXHost_Report_Log && !std::getenv("RX_LOG")) return;
  char line[KO_ReportBufferSize + 128];
  RXHost_FormatReport(r, line, sizeof line);
  std::fprintf(stderr, "%s\n", line);
}

// KOp_G_buffer is filled by the caller and need not be terminated.
std::string bounded(const char* text, size_t limit) { return std::string(text, strnlen(text, limit)); }

}  // namespace

namespace rxhost {

void deliver_now(const RXHost_Report& r) {
  std::lock_guard lock(g_sink_mutex);
  if (g_sink) {
    g_sink(g_sink_refcon, &r);
  } else {
    default_sink(&r);
  }
}

void report(RXHost_ReportKind kind, int32_t report_class, int32_t location, int32_t line,
            const char* text, const char* package, const char* event) {
  const RXHost_Report r{kind, report_class, location, line, text ? text : "", package, event};
  if (!hold_if_deferred(r)) deliver_now(r);
}

}  // namespace rxhost

RXHost_ReportSink RXHost_SetReportSink(RXHost_ReportSink sink, void* refcon, void** previous_refcon) {
  std::lock_guard lock(g_sink_mutex);
  RXHost_ReportSink previous = g_sink;
  if (previous_refcon) *previous_refcon = g_sink_refcon;
  g_sink = sink;
  g_sink_refcon = sink ? refcon : nullptr;
  return previous;
}

void RXHost_FormatReport(const RXHost_Report* r, char* buffer, size_t size) {
  if (!buffer || size == 0) return;
  if (!r) {
    buffer[0] = '\0';
    return;
  }
  const char* text = r->text ? r->text : "";
  const unsigned location = static_cast<uint32_t>(r->location);
  switch (r->kind) {
    case RXHost_Report_Log:
      std::snprintf(buffer, size, "RX: [log %d] %s/%s: %s", r->report_class,
                    r->package ? r->package : "", r->event ? r->event : "", text);
      break;
    case RXHost_Report_Verification:
      std::snprintf(buffer, size, "RX: [class %d] 0x%06x: %s (line %d)", r->report_class, location,
                    text, r->line);
      break;
    default:
      std::snprintf(buffer, size, "RX: [class %d] 0x%06x: %s", r->report_class, location, text);
      break;
  }
}

void KOp_ReportErrString(int32_t location, int32_t report_class, const char* text) {
  rxhost::report(RXHost_Report_ErrString, report_class, location, 0, text);
}

void KOp_ReportError(int32_t location, int32_t report_class) {
  const std::string text = bounded(KOp_G_buffer, sizeof KOp_G_buffer);
  rxhost::report(RXHost_Report_Error, report_class, location, 0, text.c_str());
}

void KO_ReportFailedVerification(int32_t location, int32_t line, int32_t, const char* text) {
  rxhost::report(RXHost_Report_Verification, KO_Class_Error, location, line, text);
}

HOST_Err KO_TranslateAndReportException(const std::exception& e) {
  rxhost::report(RXHost_Report_Exception, KO_Class_Error, 0, 0, e.what());
  return dynamic_cast<const std::bad_alloc*>(&e) ? KO_Err_OutOfMemory : KO_Err_Internal;
}
