// Plug-in scans installed by libraries. This host records them; running
// the installed scans over the directories of RX_PLUGIN_PATH (opening each
// *.ZQX file) comes with acceleration module support.
#include <mutex>
#include <vector>

#include "ADDN/ADDN.h"
#include "KO/KO.h"
#include "host_internal.h"

namespace {

struct InstalledScan {
  int32_t flags;
  int32_t scan_version;
  ADDN_ScanTypes types;
  ADDN_ScanFunc scan;
  ADDN_ScanFinishFunc finish;
  void* refcon;
};

// Not KO blocks: scans stay installed for the life of the process.
std::mutex g_mutex;
std::vector<InstalledScan> g_scans;

}  // namespace

HOST_Err ADDN_CheckVersions(int32_t location, int32_t caller_version) {
  return rxhost::check_version("ADDN", location, caller_version);
}

HOST_Err ADDN_InstallScan(int32_t flags, int32_t scan_version, const ADDN_ScanTypes* types,
                          ADDN_ScanFunc scan, ADDN_ScanFinishFunc finish, void* refcon) {
  if (!types || !scan) return KO_Err_Internal;
  std::lock_guard lock(g_mutex);
  g_scans.push_back({flags, scan_version, *types, scan, finish, refcon});
  return KO_Err_None;
}

int32_t RXHost_InstalledScanCount(void) {
  std::lock_guard lock(g_mutex);
  return static_cast<int32_t>(g_scans.size());
}

int32_t RXHost_InstalledScan(int32_t index, uint32_t* routine_type, uint32_t* file_type,
                             void** scan, void** finish) {
  std::lock_guard lock(g_mutex);
  if (index < 0 || static_cast<size_t>(index) >= g_scans.size()) return KO_Err_Internal;
  const InstalledScan& s = g_scans[static_cast<size_t>(index)];
  if (routine_type) *routine_type = s.types.routine_type;
  if (file_type) *file_type = s.types.file_type;
  if (scan) *scan = reinterpret_cast<void*>(s.scan);
  if (finish) *finish = reinterpret_cast<void*>(s.finish);
  return KO_Err_None;
}
