// Linear-light tables of a pure gamma curve, made as the colour settings
// make them from a profile: until the colour engine is in, --linear blends
// through these with gamma 2.2.
#pragma once

#include "RX_Modes.h"

namespace rxtool {

RX_LinearBlendingTables gamma_tables(double gamma);

}  // namespace rxtool
