// The suite registry: named, versioned function tables that libraries
// register and plug-ins acquire through the basic suite. Tables are held by
// reference; the registry owns only its records.
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "ADDN/ADDN.h"
#include "KO/KO.h"
#include "RXHost.h"

namespace {

struct Suite {
  void* owner;
  int32_t flags;
  std::string name;
  int32_t major_version;
  int32_t minor_version;
  int32_t count;
  const void* functions;
  int32_t acquired;
};

// Not KO blocks: the registry lives as long as the process, like the scans.
std::mutex g_mutex;
std::vector<Suite> g_suites;

Suite* find(const char* name, int32_t version) {
  for (Suite& s : g_suites) {
    if (s.major_version == version && s.name == name) return &s;
  }
  return nullptr;
}

HOST_Err acquire_suite(const char* name, int32_t version, const void** suite) {
  if (!name || !suite) return KO_Err_Internal;
  std::lock_guard lock(g_mutex);
  Suite* found = find(name, version);
  if (!found) {
    *suite = nullptr;
    return ADDN_Err_SuiteNotFound;
  }
  ++found->acquired;
  *suite = found->functions;
  return KO_Err_None;
}

HOST_Err release_suite(const char* name, int32_t version) {
  if (!name) return KO_Err_Internal;
  std::lock_guard lock(g_mutex);
  Suite* found = find(name, version);
  if (!found) return ADDN_Err_SuiteNotFound;
  if (found->acquired == 0) return ADDN_Err_SuiteNotAcquired;
  --found->acquired;
  return KO_Err_None;
}

int32_t is_equal(const char* name1, const char* name2) {
  if (!name1 || !name2) return 0;
  return std::strcmp(name1, name2) == 0;
}

const ADDN_QLBasicSuite g_basic_suite = {acquire_suite, release_suite, is_equal};

}  // namespace

HOST_Err ADDN_AddQLSuite(void* owner, int32_t flags, const char* name, int32_t major_version,
                         int32_t minor_version, int32_t count, const void* functions) {
  if (!name || !*name || count < 0 || (count > 0 && !functions)) return KO_Err_Internal;
  std::lock_guard lock(g_mutex);
  if (find(name, major_version)) return ADDN_Err_SuiteExists;
  g_suites.push_back({owner, flags, name, major_version, minor_version, count, functions, 0});
  return KO_Err_None;
}

HOST_Err ADDN_GetQLBasicSuite(const ADDN_QLBasicSuite** basic) {
  if (!basic) return KO_Err_Internal;
  *basic = &g_basic_suite;
  return KO_Err_None;
}

int32_t RXHost_SuiteCount(void) {
  std::lock_guard lock(g_mutex);
  return static_cast<int32_t>(g_suites.size());
}

int32_t RXHost_SuiteAt(int32_t index, const char** name, int32_t* major_version,
                       int32_t* minor_version, int32_t* count, const void** functions,
                       int32_t* acquired) {
  std::lock_guard lock(g_mutex);
  if (index < 0 || static_cast<size_t>(index) >= g_suites.size()) return KO_Err_Internal;
  const Suite& s = g_suites[static_cast<size_t>(index)];
  if (name) *name = s.name.c_str();
  if (major_version) *major_version = s.major_version;
  if (minor_version) *minor_version = s.minor_version;
  if (count) *count = s.count;
  if (functions) *functions = s.functions;
  if (acquired) *acquired = s.acquired;
  return KO_Err_None;
}

void RXHost_ForgetSuites(void) {
  std::lock_guard lock(g_mutex);
  g_suites.clear();
}
