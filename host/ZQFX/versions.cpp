// ZQFX: the package only checks its version.
#include "ZQFX/ZQFX.h"
#include "host_internal.h"

HOST_Err ZQFX_CheckVersions(int32_t location, int32_t caller_version) {
  return rxhost::check_version("ZQFX", location, caller_version);
}
