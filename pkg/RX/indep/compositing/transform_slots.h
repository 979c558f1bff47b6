// The override slots of the world transform and the blend helpers: the
// transform's entries (32, 48), its inner loop of each depth with the
// processor form chosen here (115 to 117), and the composite rectangle
// helpers (7 to 10).
#pragma once

namespace rx {

void install_transform_slots();

}  // namespace rx
