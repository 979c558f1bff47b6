// The per-pixel transfer tables of the float depth, filled when the library loads.
#include "compositing/transfer_entries.h"

RX_Xfer1FuncF RXp_G_Xfer1_tableF[RX_Xfer1TableSize];
RX_Xfer1OpacityFuncF RXp_G_Xfer1_Opacity_tableF[RX_Xfer1TableSize];
RX_Xfer1Opacity2FuncF RXp_G_Xfer1_Opacity2_tableF[RX_Xfer1TableSize];

namespace {
const bool filled = rx::xfer::fill_transfer_tables<RX_PixelFloat>(RXp_G_Xfer1_tableF, RXp_G_Xfer1_Opacity_tableF,
                                                         RXp_G_Xfer1_Opacity2_tableF);
}  // namespace
