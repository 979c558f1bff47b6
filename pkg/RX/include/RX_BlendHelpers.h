/* Two small world-level helpers: a cross-fade of two worlds into a third by
   a ratio, and putting a rectangle of one 8-bit world under another at an
   opacity. They take no composite mode. */
#ifndef RX_BLEND_HELPERS_H
#define RX_BLEND_HELPERS_H

#include "GE/GE.h"
#include "RX_Pixels.h"

RX_BEGIN_C

/* dst := src1 faded into src2 by ratio, 16.16 (0: src1, 0x10000: src2),
   limited to that range. All three worlds must share depth and size; every
   check comes before dst is touched. RX_Blend is the straight-alpha fade. */
RX_API RX_Err RX_Blend(const RX_ProgressInfo* progress, const RX_LayerDef* src1, const RX_LayerDef* src2,
                       int32_t ratio, RX_LayerDef* dst);
RX_API RX_Err RX_Blend_Straight(const RX_ProgressInfo* progress, const RX_LayerDef* src1, const RX_LayerDef* src2,
                                int32_t ratio, RX_LayerDef* dst);
RX_API RX_Err RX_Blend_Premul(const RX_ProgressInfo* progress, const RX_LayerDef* src1, const RX_LayerDef* src2,
                              int32_t ratio, RX_LayerDef* dst);

/* Puts source_rect of src (null: all of it) behind dst with its corner at
   (dst_x, dst_y), at opacity; 8-bit worlds only, and no clipping: the
   caller keeps the rectangle inside both worlds. field: 0 all lines, 1
   even, 2 odd lines of dst. reserved is not read. Progress is asked every
   32 lines; a non-zero answer ends the call with it, keeping what is done.
   Each alpha kind has one body, the other name forwards to it: the
   straight Draft forwards to Best, the premultiplied Best to Draft. The
   four are the defaults of slots 7 to 10, through which a host may replace
   them. */
RX_API RX_Err RX_CompositeRectBest_Straight(const RX_ProgressInfo* progress, const GE_LRect* source_rect,
                                            uint8_t opacity, const RX_LayerDef* src, int32_t dst_x, int32_t dst_y,
                                            int32_t field, int32_t reserved, RX_LayerDef* dst);
RX_API RX_Err RX_CompositeRectDraft_Straight(const RX_ProgressInfo* progress, const GE_LRect* source_rect,
                                             uint8_t opacity, const RX_LayerDef* src, int32_t dst_x, int32_t dst_y,
                                             int32_t field, int32_t reserved, RX_LayerDef* dst);
RX_API RX_Err RX_CompositeRectDraft_Premul(const RX_ProgressInfo* progress, const GE_LRect* source_rect,
                                           uint8_t opacity, const RX_LayerDef* src, int32_t dst_x, int32_t dst_y,
                                           int32_t field, int32_t reserved, RX_LayerDef* dst);
RX_API RX_Err RX_CompositeRectBest_Premul(const RX_ProgressInfo* progress, const GE_LRect* source_rect,
                                          uint8_t opacity, const RX_LayerDef* src, int32_t dst_x, int32_t dst_y,
                                          int32_t field, int32_t reserved, RX_LayerDef* dst);
RX_END_C

#endif
