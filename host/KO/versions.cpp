// Version checks of the sibling libraries: each caller states the version
// it was built against, and a difference is reported once per call.
#include <atomic>
#include <cstdio>
#include <cstring>

#include "ADDN/ADDN.h"
#include "DSK/DSK.h"
#include "GE/GE.h"
#include "KO/KO.h"
#include "SEQ/SEQ.h"
#include "WRD/WRD.h"
#include "ZQFX/ZQFX.h"
#include "ZW/ZW.h"
#include "host_internal.h"

namespace {

struct Library {
  const char* name;
  int32_t version;
  std::atomic<int32_t> checks{0};
  std::atomic<bool> forced_mismatch{false};
};

Library g_libraries[] = {
    {"KO", KO_VERSION},   {"WRD", WRD_VERSION},   {"ZW", ZW_VERSION},
    {"GE", GE_VERSION},   {"DSK", DSK_VERSION},   {"SEQ", SEQ_VERSION},
    {"ZQFX", ZQFX_VERSION}, {"ADDN", ADDN_VERSION},
};

Library* find(const char* name) {
  if (!name) return nullptr;
  for (Library& lib : g_libraries) {
    if (std::strcmp(lib.name, name) == 0) return &lib;
  }
  return nullptr;
}

}  // namespace

namespace rxhost {

HOST_Err check_version(const char* library, int32_t location, int32_t caller_version) {
  Library* lib = find(library);
  if (!lib) return KO_Err_Internal;
  ++lib->checks;
  // A forced mismatch behaves as if this library were one version ahead.
  const int32_t version = lib->forced_mismatch ? caller_version + 1 : lib->version;
  if (version == caller_version) return KO_Err_None;
  char text[128];
  std::snprintf(text, sizeof text, "version mismatch: %s is version %d, caller expects %d",
                lib->name, version, caller_version);
  report(RXHost_Report_Version, KO_Class_Version, location, 0, text);
  return KO_Err_VersionMismatch;
}

}  // namespace rxhost

HOST_Err KO_CheckVersions(int32_t location, int32_t caller_version) {
  return rxhost::check_version("KO", location, caller_version);
}

int32_t RXHost_VersionCheckCount(const char* library) {
  const Library* lib = find(library);
  return lib ? lib->checks.load() : -1;
}

void RXHost_SetVersionMismatch(const char* library, int32_t mismatch) {
  if (Library* lib = find(library)) lib->forced_mismatch = mismatch != 0;
}
