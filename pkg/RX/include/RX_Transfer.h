/* The per-pixel transfer functions: for every mode 0 to 38, one source
   pixel onto one destination pixel, matte, mode, alpha and dematte in one
   call. Nine tables of 39 entries indexed by mode, each ending in a null.
   An entry with null tables blends in gamma space, with tables in linear
   light. */
#ifndef RX_TRANSFER_H
#define RX_TRANSFER_H

#include "RX_Modes.h"

RX_BEGIN_C

typedef void (*RX_Xfer1Func8)(const RX_Pixel8* src, const RX_LinearBlendingTables* tables, RX_Pixel8* dst);
typedef void (*RX_Xfer1Func16)(const RX_Pixel16* src, const RX_LinearBlendingTables* tables, RX_Pixel16* dst);
typedef void (*RX_Xfer1FuncF)(const RX_PixelFloat* src, const RX_LinearBlendingTables* tables,
                              RX_PixelFloat* dst);

typedef void (*RX_Xfer1OpacityFunc8)(const RX_Pixel8* src, const RX_LinearBlendingTables* tables,
                                     uint8_t opacity, RX_Pixel8* dst);
typedef void (*RX_Xfer1OpacityFunc16)(const RX_Pixel16* src, const RX_LinearBlendingTables* tables,
                                      uint16_t opacity, RX_Pixel16* dst);
typedef void (*RX_Xfer1OpacityFuncF)(const RX_PixelFloat* src, const RX_LinearBlendingTables* tables,
                                     float opacity, RX_PixelFloat* dst);

typedef void (*RX_Xfer1Opacity2Func8)(const RX_Pixel8* src, const RX_LinearBlendingTables* tables,
                                      uint8_t opacity1, uint8_t opacity2, RX_Pixel8* dst);
typedef void (*RX_Xfer1Opacity2Func16)(const RX_Pixel16* src, const RX_LinearBlendingTables* tables,
                                       uint16_t opacity1, uint16_t opacity2, RX_Pixel16* dst);
typedef void (*RX_Xfer1Opacity2FuncF)(const RX_PixelFloat* src, const RX_LinearBlendingTables* tables,
                                      float opacity1, float opacity2, RX_PixelFloat* dst);

#define RX_Xfer1TableSize 40 /* modes 0..38 and the null terminator */

/* Filled when the library loads; read-only afterwards. */
RX_API extern RX_Xfer1Func8 RXp_G_Xfer1_table8[RX_Xfer1TableSize];
RX_API extern RX_Xfer1Func16 RXp_G_Xfer1_table16[RX_Xfer1TableSize];
RX_API extern RX_Xfer1FuncF RXp_G_Xfer1_tableF[RX_Xfer1TableSize];
RX_API extern RX_Xfer1OpacityFunc8 RXp_G_Xfer1_Opacity_table8[RX_Xfer1TableSize];
RX_API extern RX_Xfer1OpacityFunc16 RXp_G_Xfer1_Opacity_table16[RX_Xfer1TableSize];
RX_API extern RX_Xfer1OpacityFuncF RXp_G_Xfer1_Opacity_tableF[RX_Xfer1TableSize];
RX_API extern RX_Xfer1Opacity2Func8 RXp_G_Xfer1_Opacity2_table8[RX_Xfer1TableSize];
RX_API extern RX_Xfer1Opacity2Func16 RXp_G_Xfer1_Opacity2_table16[RX_Xfer1TableSize];
RX_API extern RX_Xfer1Opacity2FuncF RXp_G_Xfer1_Opacity2_tableF[RX_Xfer1TableSize];

/* Soft light at 8 bits, constant: round(255 (D(x) - x)) and
   round(255 x (1 - x)) with x = i / 255, D the soft-light curve. */
RX_API extern const uint8_t RXp_G_SoftLightDelta8[256];
RX_API extern const uint8_t RXp_G_SoftLightParabola8[256];

/* The divide table of the transfer functions, 256 rows of 256: row a,
   column v is v / a at 255 scale, limited to 255. The same table as
   RXp_G_fcd_table, set at birth. */
RX_API extern const uint8_t* RXp_G_DivideTable;

/* Fills tables->from_linear by inverting tables->to_linear: its 16-bit
   reading at every eighth value, made non-decreasing, walked segment by
   segment. The colour settings make their tables this way. */
RX_API void RXp_FillFromLinear(RX_LinearBlendingTables* tables);

/* Builds the float and 16-bit soft-light tables; birth calls it. */
RX_API void RXp_InitBlendTables(void);

RX_END_C

#endif
