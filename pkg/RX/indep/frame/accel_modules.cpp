// Arming the plug-in scan for acceleration modules, and their release.
// Each element of the module list is 16 bytes: the routine, then its entry.
#include "frame/accel_modules.h"

#include "ADDN/ADDN.h"
#include "DSK/DSK.h"
#include "SEQ/SEQ.h"
#include "frame/suites.h"

namespace rx {
namespace {

constexpr uint32_t kRoutineType = DSK_FOURCC('e', 'F', 'S', 'T');
constexpr uint32_t kModuleFileType = DSK_FOURCC('.', 'Z', 'Q', 'X');
constexpr uint32_t kAnyCreator = 0xFFFFFFFFu;
constexpr int32_t kScanVersion = 2;

struct AccelModule {
  void* routine;
  void* entry;
};
static_assert(sizeof(AccelModule) == 16);

SEQ_List g_modules = nullptr;

// The host runs this once per module file. Loading modules arrives with the
// host's plug-in directory scan; until then no file reaches it, and it
// loads nothing.
HOST_Err scan_module_file(ADDN_PluginFile, void*) { return RX_Result_OK; }

// Runs when the host's scan ends: the point where the function suites are
// registered, so that they see the slots as the modules left them.
HOST_Err finish_module_scan(void*) { return register_suites(); }

}  // namespace

RX_Err prepare_acceleration() {
  if (!g_modules) {
    if (RX_Err err = SEQ_New(2, sizeof(AccelModule), 1, 1, &g_modules)) return err;
  }
  if (RX_Err err = DSK_AddExtensionMap(".ZQX", kModuleFileType, kAnyCreator)) return err;
  const ADDN_ScanTypes types = {kRoutineType, kModuleFileType};
  return ADDN_InstallScan(0, kScanVersion, &types, scan_module_file, finish_module_scan, nullptr);
}

RX_Err release_acceleration_modules() {
  if (!g_modules) return RX_Result_OK;
  RX_Err result = RX_Result_OK;
  // No module can be in the list before loading exists; the walk that calls
  // each entry with selector 1 and unloads it comes with module loading.
  const bool locked = SEQ_Count(g_modules) > 0 && SEQ_Lock(g_modules) == RX_Result_OK;
  if (locked) {
    if (RX_Err err = SEQ_Unlock(g_modules); err && !result) result = err;
  }
  if (RX_Err err = SEQ_Dispose(g_modules); err && !result) result = err;
  g_modules = nullptr;
  return result;
}

}  // namespace rx
