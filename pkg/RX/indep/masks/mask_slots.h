// The mask slots of the override table: merge, transfer and Add rows, and
// the blur scans.
#pragma once

namespace rx {

// Writes the defaults of the mask slots.
void install_mask_slots();

}  // namespace rx
