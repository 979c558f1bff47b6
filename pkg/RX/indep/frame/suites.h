// The function suites: filled from the override table and registered with
// the host when its plug-in scan ends.
#pragma once

#include "RX_Results.h"

namespace rx {

// Fills every suite table from the current slots, then registers the suites
// in their fixed order; the first refused registration ends the sequence
// and is the result (suites registered before it stay).
RX_Err register_suites();

}  // namespace rx
