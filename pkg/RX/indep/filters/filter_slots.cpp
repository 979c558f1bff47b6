// The filters' override slots: the obsolete fast blurs (26, 27) and the
// convolution (28).
#include "frame/override_table.h"

namespace rx {

void fill_filter_slots() {
  RXp_G_OverFuncs[RX_Slot_FastBlurStraight] = reinterpret_cast<RX_OverFunc>(&RX_FastBlur_Straight);
  RXp_G_OverFuncs[RX_Slot_FastBlurPremul] = reinterpret_cast<RX_OverFunc>(&RX_FastBlur_Premul);
  install<RX_Slot_Convolve>(&RX_Convolve);
}

}  // namespace rx
