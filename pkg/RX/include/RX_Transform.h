/* Laying a world onto another through a 3 x 3 matrix, or through a path of
   matrices with motion blur, by a composite mode with an optional track
   matte and field selection. */
#ifndef RX_TRANSFORM_H
#define RX_TRANSFORM_H

#include "GE/GE.h"
#include "RX_Frame.h"
#include "RX_TransferRect.h"

RX_BEGIN_C

/* Qualities: draft samples the nearest pixel, best samples bilinearly when
   magnifying and over a box of one destination pixel when minifying. */
enum { RX_Quality_Draft = 0, RX_Quality_Best = 1 };

/* Transforms src onto the dest_rect part of dst.
   matrices: count matrices (at least 1), mapping source to destination when
   source_to_dest is non-zero, else destination to source. More than one
   matrix whose first and last differ blurs along the path they describe
   (at most 256 matrices). field: 0 all lines, 1 even, 2 odd lines of dst.
   tables non-null blends in linear light; flags is reserved. Worlds must
   share their depth. Returns 0 (also when nothing is drawn: a singular
   first matrix, an empty area), 3 for refused worlds, 4 for scratch, 5 for
   a mode without a row, or a non-zero progress result, after the line in
   hand. Goes through slot 32; when the slot holds another function than
   RX_TransformWorld_S, dest_rect is first narrowed to where the source can
   land. */
RX_API RX_Err RX_TransformWorld(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags, int32_t field,
                                const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                GE_LRect dest_rect, RX_LayerDef* dst);
RX_API RX_Err RX_TransformWorld_S(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags, int32_t field,
                                  const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                  const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                  const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                  GE_LRect dest_rect, RX_LayerDef* dst);

/* The same with a caller's finished scratch set (three rows for dst's
   width, then the seven motion blur buffers; null: the shared set); goes
   through slot 48. */
RX_API RX_Err RX_TransformWorldPlus(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags, int32_t field,
                                    const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                    const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                    const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                    GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst);
RX_API RX_Err RX_TransformWorldPlus_S(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags,
                                      int32_t field, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                      const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                      const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                      GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst);

/* The inner loop of one depth, behind slots 117 (8 bits), 116 (16 bits) and
   115 (float): the arguments of RX_TransformWorldPlus for worlds already
   known to be of that depth and checked. */
typedef RX_Err (*RX_TransformInnerLoop)(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags,
                                        int32_t field, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                        const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                        const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                        GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst);
RX_API RX_Err RX_TransformInnerLoop8_S(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags,
                                       int32_t field, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                       const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                       const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                       GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst);
RX_API RX_Err RX_TransformInnerLoop16_S(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags,
                                        int32_t field, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                        const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                        const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                        GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst);
RX_API RX_Err RX_TransformInnerLoopFloat_S(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags,
                                           int32_t field, const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                           const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                           const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                           GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst);

/* The plain (vector 0) or processor (vector 1) form of slot 115, 116 or
   117, null where none exists: for modules that want a form directly, and
   for the tests that hold each form against the other. */
RX_API RX_OverFunc RXp_TransformLoopForm(int32_t slot, int32_t vector);

RX_END_C

#endif
