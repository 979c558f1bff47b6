// Acceleration modules: plug-in files (".ZQX") that replace slots of the
// override table. Birth arms the host's plug-in scan; death releases the
// modules.
#pragma once

#include "RX_Results.h"

namespace rx {

// Makes the module list, maps ".ZQX" to its file type and installs the scan.
RX_Err prepare_acceleration();
// Releases every loaded module and disposes of the list.
RX_Err release_acceleration_modules();

}  // namespace rx
