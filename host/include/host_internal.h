// Helpers shared by the host's libraries; not part of any library's
// interface and never exported (the version script keeps them local).
#ifndef HOST_INTERNAL_H
#define HOST_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include "KO/KO.h"
#include "RXHost.h"
#include "TIN/NEX.h"

namespace rxhost {

// ---- reports ----
// Builds a report and hands it to the current sink, or holds it while the
// calling thread defers its reports.
void report(RXHost_ReportKind kind, int32_t report_class, int32_t location, int32_t line,
            const char* text, const char* package = nullptr, const char* event = nullptr);
// Sends a finished report to the sink now, bypassing any deferral.
void deliver_now(const RXHost_Report& r);
// True when the calling thread defers: the report was copied and held.
bool hold_if_deferred(const RXHost_Report& r);

// ---- versions ----
// Counts the check and reports a mismatch of library (e.g. "ZW", version 31).
HOST_Err check_version(const char* library, int32_t location, int32_t caller_version);

// ---- memory ----
// Consumes one allocation of the fail-Nth hook: false when this one must fail.
bool allocation_allowed();
// Counted blocks with a size header. consult_hook is false for the parts of
// an allocation that already consulted the hook once (a bitmap's pieces).
void* block_allocate(size_t size, bool clear, bool consult_hook);
void block_free(void* block);
size_t block_size(const void* block);
void** handle_allocate(size_t size, bool clear, bool consult_hook);

// ---- CPU data ----
// Clears the words named in a comma-separated list ("sse2,ssse3"); names
// are matched without regard to case, unknown names are skipped.
void apply_disable_list(const char* list, uint32_t* words);

// ---- NEX bridge ----
// Registers the container, error, string and memory interfaces, and the
// progress, cache and stream factory interfaces.
void register_object_interfaces();
// Registers the colour engine's "VIZInterface2" and
// "VIZBitDepthConverterInterface".
namespace viz {
void register_engine_interfaces();
}
void register_proc(const char* interface_name, const char* short_name,
                   const char* registered_name, NEX_Proc proc);

}  // namespace rxhost

#endif
