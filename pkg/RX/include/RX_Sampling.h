/* Sampling a world at a 16.16 fixed-point position: nearest neighbour,
   bilinear (straight alpha weighs each colour by its alpha, so transparent
   pixels do not darken an edge; premultiplied in integers), and box
   filtered area sampling. Positions outside the world give transparent
   black. */
#ifndef RX_SAMPLING_H
#define RX_SAMPLING_H

#include "RX_Pixels.h"

RX_BEGIN_C

/* The sampling parameters. */
typedef struct RX_SampPB {
  int32_t x_radius;          /* 16.16: half width of the area box */
  int32_t y_radius;          /* 16.16: half height */
  uint32_t area;             /* 16.16: the box's area in pixels (premultiplied area sampling) */
  const RX_LayerDef* src;    /* the world sampled */
} RX_SampPB;

RX_ABI_ASSERT(offsetof(RX_SampPB, y_radius) == 4 && offsetof(RX_SampPB, area) == 8 && offsetof(RX_SampPB, src) == 16 &&
                  sizeof(RX_SampPB) == 24,
              "RX_SampPB layout");

/* The shape of a sampler: the reference word is never read. */
typedef RX_Err (*RX_SampleFunc8)(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                 RX_Pixel8* result);
typedef RX_Err (*RX_SampleFunc16)(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                  RX_Pixel16* result);
typedef RX_Err (*RX_SampleFuncFloat)(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                     RX_PixelFloat* result);

/* ---- nearest neighbour: the pixel at ((x + 0x8000) >> 16, (y + 0x8000) >> 16) ---- */
RX_API RX_Err RX_NNSample(void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel8* result);
RX_API RX_Err RX_NNSample16(void* ref, int32_t x, int32_t y, const RX_SampPB* pb, RX_Pixel16* result);
RX_API RX_Err RX_NNSampleFloat(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                               RX_PixelFloat* result);

/* ---- bilinear, straight alpha ----
   Weights of the four taps for fractions fx, fy (16-bit), in double, in the
   order left-top, right-top, left-bottom, right-bottom. */
RX_API void RX_SubpixelSampleComputeWeight(uint16_t fx, uint16_t fy, double weights[4]);

/* Clipped: taps outside read transparent black. */
RX_API RX_Err RX_SubpixelSample_Straight(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                         RX_Pixel8* result);
RX_API RX_Err RX_SubpixelSample_Straight16(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                           RX_Pixel16* result);
RX_API RX_Err RX_SubpixelCPlusPlus(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                   RX_Pixel8* result);
RX_API RX_Err RX_SubpixelCPlusPlus16(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                     RX_Pixel16* result);
RX_API RX_Err RX_SubpixelCPlusPlusFloat(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                        RX_PixelFloat* result);

/* No clipping: the caller promises that both columns and both rows of the
   taps lie inside, even where a weight is 0. */
RX_API RX_Err RX_SubpixelSampleNoClip_Straight(void* ref, int32_t x, int32_t y,
                                               const RX_SampPB* pb, RX_Pixel8* result);
RX_API RX_Err RX_SubpixelSampleNoClip_Straight16(void* ref, int32_t x, int32_t y,
                                                 const RX_SampPB* pb, RX_Pixel16* result);
RX_API RX_Err RX_SubpixelCPlusPlusNoClip(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                         RX_Pixel8* result);
RX_API RX_Err RX_SubpixelCPlusPlusNoClip16(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                           RX_Pixel16* result);
RX_API RX_Err RX_SubpixelCPlusPlusNoClipFloat(void* ref, int32_t x, int32_t y,
                                              const RX_SampPB* pb, RX_PixelFloat* result);

/* Clipped, telling in *all_inside whether all four taps were inside (set to
   0 first, and left 0 on a whole-pixel position). */
RX_API RX_Err RX_SubpixelSamplePlus_Straight(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                             uint8_t* all_inside, RX_Pixel8* result);
RX_API RX_Err RX_SubpixelSamplePlus_Straight16(void* ref, int32_t x, int32_t y,
                                               const RX_SampPB* pb, uint8_t* all_inside,
                                               RX_Pixel16* result);
RX_API RX_Err RX_SubpixelSpanSampleAllInCPlusPlusFloat(void* ref, int32_t x, int32_t y,
                                                       const RX_SampPB* pb, uint8_t* all_inside,
                                                       RX_PixelFloat* result);

/* No clipping, with weights given (from RX_SubpixelSampleComputeWeight):
   for pure translations, where the fraction never changes. */
RX_API RX_Err RX_SubpixelSampleTranslateNoClip_Straight(void* ref, int32_t x, int32_t y,
                                                        const RX_SampPB* pb,
                                                        const double weights[4],
                                                        RX_Pixel8* result);
RX_API RX_Err RX_SubpixelSampleTranslateNoClip_Straight16(void* ref, int32_t x, int32_t y,
                                                          const RX_SampPB* pb,
                                                          const double weights[4],
                                                          RX_Pixel16* result);
RX_API RX_Err RX_SubpixelSampleTranslateNoClipCPlusPlusFloat(void* ref, int32_t x, int32_t y,
                                                             const RX_SampPB* pb,
                                                             const double weights[4],
                                                             RX_PixelFloat* result);

/* Four positions a call: positions holds (x, y) pairs. */
RX_API RX_Err RX_SubpixelSampleNoClip_Straight_4(void* ref, const int32_t positions[8],
                                                 const RX_SampPB* pb, RX_Pixel8 results[4]);
RX_API RX_Err RX_SubpixelSampleTranslateNoClip_Straight_4(void* ref, const int32_t positions[8],
                                                          const RX_SampPB* pb,
                                                          const double weights[4],
                                                          RX_Pixel8 results[4]);

/* Spans: count results from consecutive columns starting at (x, y), one
   fraction for all; every result's alpha is added into *alpha_sum. No
   clipping. */
RX_API RX_Err RX_SubpixelSpanSampleTranslateNoClip_Straight(void* ref, int32_t count, int32_t x,
                                                            int32_t y, const RX_SampPB* pb,
                                                            uint32_t* alpha_sum,
                                                            RX_Pixel8* results);
RX_API RX_Err RX_SubpixelSpanSampleTranslateNoClip_Straight16(void* ref, int32_t count,
                                                              int32_t x, int32_t y,
                                                              const RX_SampPB* pb,
                                                              uint32_t* alpha_sum,
                                                              RX_Pixel16* results);
RX_API RX_Err RX_SubpixelSpanSampleCPlusPlus(void* ref, int32_t count, int32_t x, int32_t y,
                                             const RX_SampPB* pb, uint32_t* alpha_sum,
                                             RX_Pixel8* results);
RX_API RX_Err RX_SubpixelSpanSampleCPlusPlus16(void* ref, int32_t count, int32_t x, int32_t y,
                                               const RX_SampPB* pb, uint32_t* alpha_sum,
                                               RX_Pixel16* results);
RX_API RX_Err RX_SubpixelSpanSampleCPlusPlusFloat(void* ref, int32_t count, int32_t x, int32_t y,
                                                  const RX_SampPB* pb, uint32_t* alpha_sum,
                                                  RX_PixelFloat* results);

/* ---- bilinear, premultiplied, in integers ---- */
RX_API RX_Err RX_SubpixelSample_Premul(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                       RX_Pixel8* result);

/* ---- area ---- */
/* Straight-alpha box average around (x, y) with the block's radii; through
   slots 5 and 65. */
RX_API RX_Err RX_AreaSample_Straight(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                     RX_Pixel8* result);
RX_API RX_Err RX_AreaSample_Straight16(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                       RX_Pixel16* result);
/* 8-bit premultiplied worlds, in integers; reads the block's area. */
RX_API RX_Err RX_AreaSample_Premul(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                   RX_Pixel8* result);

RX_END_C

#endif
