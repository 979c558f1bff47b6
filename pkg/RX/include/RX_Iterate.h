/* Running a per-pixel function over a rectangle of a world, or a caller's
   function a number of times. One entry serves all three depths: the depth
   is read from the worlds, and the pixel function is called with pixels of
   that depth (pass an RX_PixelFunc16 or RX_PixelFuncFloat cast to
   RX_PixelFunc8 for deep worlds). */
#ifndef RX_ITERATE_H
#define RX_ITERATE_H

#include "RX_Pixels.h"

RX_BEGIN_C

typedef struct RX_EffectTokenRecord* RX_EffectToken;
typedef RX_Err (*RX_EffectProgressFunc)(RX_EffectToken token, int32_t current, int32_t total);

/* The host's record of a running effect. Iteration reads only the progress
   function and the token, and only when a final progress value is given. */
typedef struct RX_EffectContext {
  void* host_reserved0[4];
  RX_EffectProgressFunc progress;   /* byte 32 */
  void* host_reserved1[18];
  RX_EffectToken effect_token;      /* byte 184 */
  void* host_reserved2;
} RX_EffectContext;

RX_ABI_ASSERT(offsetof(RX_EffectContext, progress) == 32 && offsetof(RX_EffectContext, host_reserved1) == 40 &&
                  offsetof(RX_EffectContext, effect_token) == 184 &&
                  offsetof(RX_EffectContext, host_reserved2) == 192 && sizeof(RX_EffectContext) == 200,
              "RX_EffectContext layout");

/* Return 0 to go on; anything else stops the iteration with that code. */
typedef RX_Err (*RX_PixelFunc8)(void* refcon, int32_t x, int32_t y, const RX_Pixel8* in,
                                RX_Pixel8* out);
typedef RX_Err (*RX_PixelFunc16)(void* refcon, int32_t x, int32_t y, const RX_Pixel16* in,
                                 RX_Pixel16* out);
typedef RX_Err (*RX_PixelFuncFloat)(void* refcon, int32_t x, int32_t y, const RX_PixelFloat* in,
                                    RX_PixelFloat* out);
typedef RX_Err (*RX_GenericIterFunc)(void* refcon, int32_t thread_index, int32_t i,
                                     int32_t count);

/* Calls func(refcon, x, y, in, out) for each pixel of area (the whole
   destination when null) in row order. Without a source, in and out are
   the same pixel. After each row, when final is non-zero, calls
   context->progress(token, base + 1 - top + y, final); 517 from it stops. */
RX_API RX_Err RX_Iterate(RX_EffectContext* context, int32_t progress_base, int32_t progress_final,
                         const RX_LayerDef* src, const GE_LRect* area, void* refcon,
                         RX_PixelFunc8 func, RX_LayerDef* dst);

/* Destination pixel (x, y) reads source pixel (x - origin.x, y - origin.y);
   outside the source it reads transparent black. The area is clipped to the
   placed source. */
RX_API RX_Err RX_IterateOrigin(RX_EffectContext* context, int32_t progress_base,
                               int32_t progress_final, const RX_LayerDef* src,
                               const GE_LRect* area, const GE_LPoint* origin, void* refcon,
                               RX_PixelFunc8 func, RX_LayerDef* dst);
/* The same without clipping the area to the placed source. */
RX_API RX_Err RX_IterateOrigin_NoClip(RX_EffectContext* context, int32_t progress_base,
                                      int32_t progress_final, const RX_LayerDef* src,
                                      const GE_LRect* area, const GE_LPoint* origin, void* refcon,
                                      RX_PixelFunc8 func, RX_LayerDef* dst);

/* Maps each channel of 8-bit pixels through its 256-entry table; a null
   table leaves the channel as it is. */
RX_API RX_Err RX_IterateLUT(RX_EffectContext* context, int32_t progress_base,
                            int32_t progress_final, const RX_LayerDef* src, const GE_LRect* area,
                            const uint8_t* alpha_table, const uint8_t* red_table,
                            const uint8_t* green_table, const uint8_t* blue_table,
                            RX_LayerDef* dst);

/* Calls func(refcon, thread_index, i, count) for i from 0 to count - 1.
   A count of -1 calls it once as (refcon, 0, 0, 1). Iterations must not
   depend on one another: a module may run them in parallel. */
RX_API RX_Err RX_IterateGeneric(int32_t count, void* refcon, RX_GenericIterFunc func);
/* The package's defaults behind the override slots (42, 43, 51, 44, 53). */
RX_API RX_Err RX_Iterate_S(RX_EffectContext* context, int32_t progress_base,
                           int32_t progress_final, const RX_LayerDef* src, const GE_LRect* area,
                           void* refcon, RX_PixelFunc8 func, RX_LayerDef* dst);
RX_API RX_Err RX_IterateOrigin_S(RX_EffectContext* context, int32_t progress_base,
                                 int32_t progress_final, const RX_LayerDef* src,
                                 const GE_LRect* area, const GE_LPoint* origin, void* refcon,
                                 RX_PixelFunc8 func, RX_LayerDef* dst);
RX_API RX_Err RX_IterateOriginNoClip_S(RX_EffectContext* context, int32_t progress_base,
                                       int32_t progress_final, const RX_LayerDef* src,
                                       const GE_LRect* area, const GE_LPoint* origin,
                                       void* refcon, RX_PixelFunc8 func, RX_LayerDef* dst);
RX_API RX_Err RX_IterateLUT_S(RX_EffectContext* context, int32_t progress_base,
                              int32_t progress_final, const RX_LayerDef* src,
                              const GE_LRect* area, const uint8_t* alpha_table,
                              const uint8_t* red_table, const uint8_t* green_table,
                              const uint8_t* blue_table, RX_LayerDef* dst);
/* The serial default behind RX_IterateGeneric. */
RX_API RX_Err RX_IterateGeneric_Static(int32_t count, void* refcon, RX_GenericIterFunc func);

RX_END_C

#endif
