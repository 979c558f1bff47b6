// The per-pixel transfer tables of the 16-bit depth, filled when the library loads.
#include "compositing/transfer_entries.h"

RX_Xfer1Func16 RXp_G_Xfer1_table16[RX_Xfer1TableSize];
RX_Xfer1OpacityFunc16 RXp_G_Xfer1_Opacity_table16[RX_Xfer1TableSize];
RX_Xfer1Opacity2Func16 RXp_G_Xfer1_Opacity2_table16[RX_Xfer1TableSize];

namespace {
const bool filled = rx::xfer::fill_transfer_tables<RX_Pixel16>(RXp_G_Xfer1_table16, RXp_G_Xfer1_Opacity_table16,
                                                         RXp_G_Xfer1_Opacity2_table16);
}  // namespace
