// The row functions of the 8-bit depth and their four look-ups.
#include "compositing/blend_row_tables.h"

RX_INSTANTIATE_ROW_LOOKUPS(RX_Pixel8)

