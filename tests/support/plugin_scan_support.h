// Ends the host's plug-in scan the way the host does: runs the finish step
// of the scan the package installed at its last birth, which registers the
// function suites.
#pragma once

#include <cstdint>

#include "ADDN/ADDN.h"
#include "DSK/DSK.h"
#include "RXHost.h"

namespace rxtest {

inline HOST_Err finish_plugin_scan() {
  const uint32_t module_routine = DSK_FOURCC('e', 'F', 'S', 'T');
  for (int32_t i = RXHost_InstalledScanCount() - 1; i >= 0; --i) {
    uint32_t routine_type = 0;
    void* finish = nullptr;
    if (RXHost_InstalledScan(i, &routine_type, nullptr, nullptr, &finish) != 0) continue;
    if (routine_type == module_routine && finish) {
      return reinterpret_cast<ADDN_ScanFinishFunc>(finish)(nullptr);
    }
  }
  return -1;
}

// Forgets what earlier scans registered and ends a scan again.
inline HOST_Err register_suites_afresh() {
  RXHost_ForgetSuites();
  return finish_plugin_scan();
}

}  // namespace rxtest
