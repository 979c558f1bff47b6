// WRD: the package only checks its version.
#include "WRD/WRD.h"
#include "host_internal.h"

HOST_Err WRD_CheckVersions(int32_t location, int32_t caller_version) {
  return rxhost::check_version("WRD", location, caller_version);
}
