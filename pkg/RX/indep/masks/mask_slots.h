// The mask slots of the override table: merge, transfer and Add rows, the
// blur scans, and the dithered row that birth picks for the processor.
#pragma once

namespace rx {

// Writes the defaults of the mask slots, with the SSE2 dither where usable.
void install_mask_slots();

}  // namespace rx
