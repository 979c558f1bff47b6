// The per-pixel transfer tables of the 8-bit depth, filled when the library loads.
#include "compositing/transfer_entries.h"

RX_Xfer1Func8 RXp_G_Xfer1_table8[RX_Xfer1TableSize];
RX_Xfer1OpacityFunc8 RXp_G_Xfer1_Opacity_table8[RX_Xfer1TableSize];
RX_Xfer1Opacity2Func8 RXp_G_Xfer1_Opacity2_table8[RX_Xfer1TableSize];

namespace {
const bool filled = rx::xfer::fill_transfer_tables<RX_Pixel8>(RXp_G_Xfer1_table8, RXp_G_Xfer1_Opacity_table8,
                                                         RXp_G_Xfer1_Opacity2_table8);
}  // namespace
