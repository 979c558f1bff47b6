// The NEX bridge in process: a registry of named procedures and the five
// basic procedures of interface "NEX" that manage it.
#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "KO/KO.h"
#include "TIN/TIN.h"
#include "host_internal.h"

namespace {

struct Entry {
  std::string interface_name;
  std::string short_name;
  std::string registered_name;
  NEX_Proc proc;
};

std::mutex g_mutex;
std::vector<Entry> g_entries;
std::once_flag g_registered;
int32_t g_unregister_count = 0;  // its address is handed out; written under g_mutex

// Test hooks.
std::atomic<HOST_Err> g_tin_failure{KO_Err_None};
std::string g_missing_interface;  // under g_mutex; empty: none missing

void ensure_registered();

HOST_Err register_proc_address(const char* interface_name, const char* short_name,
                               const char* registered_name, NEX_Proc proc) {
  if (!interface_name || !short_name || !registered_name || !proc) return KO_Err_Internal;
  ensure_registered();
  rxhost::register_proc(interface_name, short_name, registered_name, proc);
  return KO_Err_None;
}

HOST_Err report_error(const char* message, const char* component) {
  const std::string text = std::string(component ? component : "") + ": " + (message ? message : "");
  rxhost::report(RXHost_Report_ErrString, KO_Class_Error, 0, 0, text.c_str());
  return KO_Err_None;
}

// Callers keep procedure tables; the count tells them when to look again.
HOST_Err unregister_interface(const char* interface_name) {
  if (!interface_name) return KO_Err_Internal;
  ensure_registered();
  std::lock_guard lock(g_mutex);
  const auto removed = std::erase_if(
      g_entries, [&](const Entry& e) { return e.interface_name == interface_name; });
  if (removed == 0) return KO_Err_Internal;
  __atomic_add_fetch(&g_unregister_count, 1, __ATOMIC_RELEASE);
  return KO_Err_None;
}

const int32_t* get_unregister_count_addr() { return &g_unregister_count; }

int32_t is_multi_threaded() { return 1; }

NEX_Proc lookup(const char* interface_name, const char* short_name, const char* registered_name) {
  if (!interface_name || !short_name || !registered_name) return nullptr;
  ensure_registered();
  std::lock_guard lock(g_mutex);
  if (!g_missing_interface.empty() && g_missing_interface == interface_name) return nullptr;
  for (const Entry& e : g_entries) {
    if (e.interface_name == interface_name && e.registered_name == registered_name) {
      return e.short_name == short_name ? e.proc : nullptr;
    }
  }
  return nullptr;
}

template <class F>
NEX_Proc as_proc(F* f) {
  return reinterpret_cast<NEX_Proc>(f);
}

void ensure_registered() {
  std::call_once(g_registered, [] {
    // Basic procedures: short and registered names are the same string.
    const struct {
      const char* name;
      NEX_Proc proc;
    } basics[] = {
        {"NEXRegisterProcAddress", as_proc(&register_proc_address)},
        {"NEXReportError", as_proc(&report_error)},
        {"NEXUnregisterInterface", as_proc(&unregister_interface)},
        {"NEXGetUnregisterCountAddr", as_proc(&get_unregister_count_addr)},
        {"NEXIsMultiThreaded", as_proc(&is_multi_threaded)},
    };
    for (const auto& b : basics) rxhost::register_proc("NEX", b.name, b.name, b.proc);
    rxhost::register_object_interfaces();
    rxhost::viz::register_engine_interfaces();
  });
}

}  // namespace

namespace rxhost {

// Adds or replaces the entry of (interface, registered name).
void register_proc(const char* interface_name, const char* short_name, const char* registered_name,
                   NEX_Proc proc) {
  std::lock_guard lock(g_mutex);
  for (Entry& e : g_entries) {
    if (e.interface_name == interface_name && e.registered_name == registered_name) {
      e.short_name = short_name;
      e.proc = proc;
      return;
    }
  }
  g_entries.push_back({interface_name, short_name, registered_name, proc});
}

}  // namespace rxhost

HOST_Err TIN_GetNEXAddressProc(NEX_LookupProc* out) {
  if (!out) return KO_Err_Internal;
  if (const HOST_Err forced = g_tin_failure.load()) {
    *out = nullptr;
    return forced;
  }
  ensure_registered();
  *out = &lookup;
  return KO_Err_None;
}

void RXHost_SetNEXFailure(HOST_Err tin_error, const char* missing_interface) {
  g_tin_failure = tin_error;
  std::lock_guard lock(g_mutex);
  g_missing_interface = missing_interface ? missing_interface : "";
}
