/* Laying a rectangle of one world over another through a composite mode,
   with an optional track matte and field selection, and the track matte
   line builders. */
#ifndef RX_TRANSFER_RECT_H
#define RX_TRANSFER_RECT_H

#include "GE/GE.h"
#include "RX_Modes.h"

RX_BEGIN_C

/* Track matte kinds: the mask line value, and whether the transfer clips
   to the matte (even kinds) or counts outside as full coverage (odd). */
typedef enum RX_MaskKind {
  RX_Mask_Alpha = 0,               /* alpha, read in place */
  RX_Mask_AlphaInverted = 1,       /* inv(alpha) */
  RX_Mask_Luma = 2,                /* mul(alpha, luminance) */
  RX_Mask_LumaInverted = 3         /* inv(mul(alpha, luminance)) */
} RX_MaskKind;

/* A track matte: a world of the destination's depth placed at (x_offset,
   y_offset) in destination coordinates. */
typedef struct RX_MaskWorld {
  RX_LayerDef world;
  int32_t x_offset;
  int32_t y_offset;
  int32_t kind;
} RX_MaskWorld;

/* Three rows, then the seven motion blur buffers. */
typedef struct RX_TransferScratch {
  void* words[10];
} RX_TransferScratch;

RX_ABI_ASSERT(offsetof(RX_MaskWorld, x_offset) == 120 && offsetof(RX_MaskWorld, y_offset) == 124 &&
                  offsetof(RX_MaskWorld, kind) == 128 && sizeof(RX_MaskWorld) == 136,
              "RX_MaskWorld layout");
RX_ABI_ASSERT(sizeof(RX_TransferScratch) == 80, "RX_TransferScratch layout");

/* Blends source_rect of src onto dst with its corner at (dst_x, dst_y).
   field: 0 all lines, 1 even lines only, 2 odd lines only (dst
   coordinates). tables non-null blends in linear light. Worlds must share
   their depth. Returns 0, 3 for refused worlds, 4 for scratch, 5 for a
   mode without a row, or a non-zero progress result; lines already
   blended stay. Forwards through slot 31. */
RX_API RX_Err RX_TransferRect(const RX_ProgressInfo* progress, int32_t reserved1, int64_t reserved2, int32_t field,
                              GE_LRect source_rect, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                              const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask, int32_t dst_x,
                              int32_t dst_y, RX_LayerDef* dst);
RX_API RX_Err RX_TransferRect_S(const RX_ProgressInfo* progress, int32_t reserved1, int64_t reserved2,
                                int32_t field, GE_LRect source_rect, const RX_LayerDef* src,
                                const RX_CompositeModePlus* mode, const RX_LinearBlendingTables* tables,
                                const RX_MaskWorld* mask, int32_t dst_x, int32_t dst_y, RX_LayerDef* dst);

/* The same with a caller's finished scratch set (null: the shared one);
   forwards through slot 47. */
RX_API RX_Err RX_TransferRectPlus(const RX_ProgressInfo* progress, int32_t reserved1, int64_t reserved2,
                                  int32_t field, GE_LRect source_rect, const RX_LayerDef* src,
                                  const RX_CompositeModePlus* mode, const RX_LinearBlendingTables* tables,
                                  const RX_MaskWorld* mask, const RX_TransferScratch* scratch, int32_t dst_x,
                                  int32_t dst_y, RX_LayerDef* dst);
RX_API RX_Err RX_TransferRectPlus_S(const RX_ProgressInfo* progress, int32_t reserved1, int64_t reserved2,
                                    int32_t field, GE_LRect source_rect, const RX_LayerDef* src,
                                    const RX_CompositeModePlus* mode, const RX_LinearBlendingTables* tables,
                                    const RX_MaskWorld* mask, const RX_TransferScratch* scratch, int32_t dst_x,
                                    int32_t dst_y, RX_LayerDef* dst);

/* A track matte line for a caller's rows: count pixels of destination
   (8-bit pixels, or 16-bit when deep) get in their alpha the matte value
   of source_row (source_width pixels of the same depth) by kind. A
   positive x_offset fills that many leading pixels with the outside value
   (full for odd kinds, 0 for even); a negative one skips as many source
   pixels. Pixels past the source get the outside value. */
RX_API void RX_PrepTrackMatteUniv(int32_t count, const void* source_row, int32_t x_offset, int32_t source_width,
                                  int32_t kind, int32_t deep, void* destination);

RX_END_C

#endif
