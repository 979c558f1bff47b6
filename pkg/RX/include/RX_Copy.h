/* Copying a rectangle of one world into a rectangle of another, scaling
   when they differ: draft (pixel replication, any mix of depths), and high
   quality (resampling through the sampling slots) for straight and
   premultiplied worlds. A null rectangle is the whole world; a rectangle
   that misses its world copies nothing and is no error. */
#ifndef RX_COPY_H
#define RX_COPY_H

#include "RX_EffectWorlds.h"
#include "RX_Sampling.h"

RX_BEGIN_C

typedef RX_Err (*RX_CopyBitsFunc)(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                  RX_LayerDef* dst, const GE_LRect* src_rect,
                                  const GE_LRect* dst_rect);

/* Through slots 23, 24 and 25. */
RX_API RX_Err RX_CopyBits_Draft(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                RX_LayerDef* dst, const GE_LRect* src_rect, const GE_LRect* dst_rect);
RX_API RX_Err RX_CopyBits_HQ_Straight(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                      RX_LayerDef* dst, const GE_LRect* src_rect,
                                      const GE_LRect* dst_rect);
RX_API RX_Err RX_CopyBits_HQ_Premul(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                    RX_LayerDef* dst, const GE_LRect* src_rect,
                                    const GE_LRect* dst_rect);
/* The defaults behind the slots. */
RX_API RX_Err RX_CopyBits_Draft_Static(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                       RX_LayerDef* dst, const GE_LRect* src_rect,
                                       const GE_LRect* dst_rect);
RX_API RX_Err RX_CopyBits_HQ_Straight_Static(const RX_ProgressInfo* progress,
                                             const RX_LayerDef* src, RX_LayerDef* dst,
                                             const GE_LRect* src_rect, const GE_LRect* dst_rect);
RX_API RX_Err RX_CopyBits_HQ_Premul_Static(const RX_ProgressInfo* progress,
                                           const RX_LayerDef* src, RX_LayerDef* dst,
                                           const GE_LRect* src_rect, const GE_LRect* dst_rect);

/* Copies between frame store bitmaps, then matches their channel order
   (alpha first or BGRA) by reversing the bytes of each destination pixel.
   The first argument is not read. The _Static forms call the defaults
   directly; all pass no progress record. */
RX_API RX_Err RX_WorldCopy(void* unused, ZW_World src, ZW_World dst, const GE_LRect* src_rect,
                           const GE_LRect* dst_rect);
RX_API RX_Err RX_WorldCopy_Static(void* unused, ZW_World src, ZW_World dst,
                                  const GE_LRect* src_rect, const GE_LRect* dst_rect);
RX_API RX_Err RX_WorldCopy_HQ(void* unused, ZW_World src, ZW_World dst, const GE_LRect* src_rect,
                              const GE_LRect* dst_rect);
RX_API RX_Err RX_WorldCopy_HQ_Static(void* unused, ZW_World src, ZW_World dst,
                                     const GE_LRect* src_rect, const GE_LRect* dst_rect);
RX_API RX_Err RX_WorldCopy_HQ_Straight(void* unused, ZW_World src, ZW_World dst,
                                       const GE_LRect* src_rect, const GE_LRect* dst_rect);
RX_API RX_Err RX_WorldCopy_HQ_Straight_Static(void* unused, ZW_World src, ZW_World dst,
                                              const GE_LRect* src_rect, const GE_LRect* dst_rect);
RX_API RX_Err RX_WorldCopy_HQ_Premul(void* unused, ZW_World src, ZW_World dst,
                                     const GE_LRect* src_rect, const GE_LRect* dst_rect);

/* Copies elements between chunks of the same element size and channel
   count, scaling by replication when the rectangles differ. */
RX_API RX_Err RX_ChannelCopy(RX_EffectContext* unused, const RX_Chunk* src, RX_Chunk* dst,
                             const GE_LRect* src_rect, const GE_LRect* dst_rect);

/* Maps src into the parallelogram whose corners are where the source's
   top-left, top-right and bottom-left corners land in dst (16.16
   destination coordinates), sampling by nearest neighbour at each
   destination pixel's centre. field: 0 all rows, 1 even, 2 odd destination
   rows. Destination pixels outside the parallelogram stay. src and dst
   share a depth. The abort of the progress record is asked every 64th
   row. */
RX_API RX_Err RX_CopyBits3_LO_Straight(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                       const GE_LPoint corners[3], int32_t field,
                                       RX_LayerDef* dst);

/* Motion line spans (slots 17 to 22), 8 bits: for each of count
   destination pixels whose mask byte is below 255, samples the source of
   pb along the motion line from (x0, y0) to (x1, y1) (16.16, moved one
   pixel right for each next pixel), samples points evenly spaced with both
   ends included, and writes their average: alpha over all samples, colour
   weighted by alpha (straight) or plain (premultiplied), samples of zero
   alpha adding no colour. Pixels of mask 255 stay. */
typedef RX_Err (*RX_MotionSpanFunc)(const RX_SampPB* pb, int32_t count, const uint8_t* mask,
                                    int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                                    int32_t samples, RX_Pixel8* dst);
RX_API RX_Err RX_MotionSpan_Nearest_Straight(const RX_SampPB* pb, int32_t count, const uint8_t* mask,
                                             int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                                             int32_t samples, RX_Pixel8* dst);
RX_API RX_Err RX_MotionSpan_Nearest_Premul(const RX_SampPB* pb, int32_t count, const uint8_t* mask,
                                           int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                                           int32_t samples, RX_Pixel8* dst);
RX_API RX_Err RX_MotionSpan_Subpixel_Straight(const RX_SampPB* pb, int32_t count, const uint8_t* mask,
                                              int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                                              int32_t samples, RX_Pixel8* dst);
RX_API RX_Err RX_MotionSpan_Subpixel_Premul(const RX_SampPB* pb, int32_t count, const uint8_t* mask,
                                            int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                                            int32_t samples, RX_Pixel8* dst);
RX_API RX_Err RX_MotionSpan_Area_Straight(const RX_SampPB* pb, int32_t count, const uint8_t* mask,
                                          int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                                          int32_t samples, RX_Pixel8* dst);
RX_API RX_Err RX_MotionSpan_Area_Premul(const RX_SampPB* pb, int32_t count, const uint8_t* mask,
                                        int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                                        int32_t samples, RX_Pixel8* dst);

RX_END_C

#ifdef __cplusplus
#include "RX_World.h"

RX_VISIBLE_BEGIN

/* How the viewer's blit puts a source over its background. */
enum RX_SpecialCaseBlitStyle : int32_t {
  RX_Blit_Checkerboard = 1,  /* two colours in 8-pixel cells */
  RX_Blit_Tint = 2,          /* colour one, its alpha compounding along a band */
  RX_Blit_OntoColour = 0     /* any other value: colour one (black when its colour is 0) */
};

/* Draws src (any depth) from src_origin into rect of an 8-bit destination
   over a background of colour one and two. bgra: the destination keeps
   BGRA byte order. Rows are shared out in bands through RX_IterateGeneric
   with a count of -1. Throws RX_Result_Internal for a source of unknown
   depth. */
RX_API void RX_SpecialCasePixelBlit(const RX_World& src, GE_LPoint src_origin,
                                    RX_SpecialCaseBlitStyle style, bool bgra,
                                    GE_LPoint background_origin, RX_PixelFloat colour_one,
                                    RX_PixelFloat colour_two, GE_LRect rect,
                                    RX_WorldX<RX_Pixel8>& dst);

RX_VISIBLE_END
#endif

#endif
