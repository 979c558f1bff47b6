/* Premultiplication: moving worlds and runs of pixels between straight
   colour and colour multiplied by alpha against a matte (black, white or
   mid-grey). The 8-bit forms are exact integer arithmetic through the
   multiply rule m255 and the divide table. */
#ifndef RX_PREMUL_H
#define RX_PREMUL_H

#include "RX_Pixels.h"

RX_BEGIN_C

/* A scan: count pixels from src (null: in place) to dst; alpha is copied
   unchanged. A count below 1 does nothing. Always returns 0. */
typedef RX_Err (*RX_PremulScan8)(int32_t count, const RX_Pixel8* src, RX_Pixel8* dst);
typedef RX_Err (*RX_PremulScan16)(int32_t count, const RX_Pixel16* src, RX_Pixel16* dst);
typedef RX_Err (*RX_PremulScanFloat)(int32_t count, const RX_PixelFloat* src, RX_PixelFloat* dst);

/* Alpha combine: only dst's alpha changes, to the union of itself with
   mask * opacity (times mask2 when given). Nothing for opacity 0. The
   masks are pixel rows of which only the alpha is read: the blend
   pipeline passes its source line and its mask line, so this is the alpha
   union of the matte modes. */
typedef RX_Err (*RX_AlphaCombineScan8)(int32_t count, const RX_Pixel8* mask, uint8_t opacity,
                                       const RX_Pixel8* mask2, RX_Pixel8* dst);
typedef RX_Err (*RX_AlphaCombineScan16)(int32_t count, const RX_Pixel16* mask, uint16_t opacity,
                                        const RX_Pixel16* mask2, RX_Pixel16* dst);
typedef RX_Err (*RX_AlphaCombineScanFloat)(int32_t count, const RX_PixelFloat* mask, float opacity,
                                           const RX_PixelFloat* mask2, RX_PixelFloat* dst);

/* Premultiplies (forward non-zero) or unmultiplies a whole world in place
   against black, one row at a time; the progress record's abort is asked
   before each row. */
RX_API RX_Err RX_Premul(const RX_ProgressInfo* progress, int32_t forward, RX_LayerDef* world);
/* The same on a rectangle, taken as it is (it must lie in the world);
   through the override table. */
RX_API RX_Err RX_PremulRect(const RX_ProgressInfo* progress, int32_t forward, const GE_LRect* rect,
                            RX_LayerDef* world);
RX_API RX_Err RX_PremulRect_S(const RX_ProgressInfo* progress, int32_t forward,
                              const GE_LRect* rect, RX_LayerDef* world);

/* Premultiplies (forward) or unmultiplies src against a matte colour into
   dst, of the same depth. The colour is converted to the worlds' depth; a
   null colour is black. src null works in place. The progress record is
   not read. */
RX_API RX_Err RX_PremulColor(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                             const RX_Pixel8* colour, int32_t forward, RX_LayerDef* dst);
RX_API RX_Err RX_PremulColor16(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                               const RX_Pixel16* colour, int32_t forward, RX_LayerDef* dst);
RX_API RX_Err RX_PremulColorFloat(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                  const RX_PixelFloat* colour, int32_t forward, RX_LayerDef* dst);
RX_API RX_Err RX_PremulColorRect(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                 const RX_Pixel8* colour, int32_t forward, const GE_LRect* rect,
                                 RX_LayerDef* dst);
RX_API RX_Err RX_PremulColorRect16(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                   const RX_Pixel16* colour, int32_t forward, const GE_LRect* rect,
                                   RX_LayerDef* dst);
RX_API RX_Err RX_PremulColorRectFloat(const RX_ProgressInfo* progress, const RX_LayerDef* src,
                                      const RX_PixelFloat* colour, int32_t forward,
                                      const GE_LRect* rect, RX_LayerDef* dst);

/* Byte runs of 8-bit pixels that are not worlds. Alpha 0 clears the colour
   too; alpha 255 leaves the pixel. ARGB: alpha in byte 0; BGRA: byte 3. */
RX_API RX_Err RX_BlackMatte(void* unused, int32_t count, const uint8_t* src, uint8_t* dst);
RX_API RX_Err RX_DeBlackMatte(void* unused, int32_t count, const uint8_t* src, uint8_t* dst);
RX_API RX_Err RX_BlackMatteARGB(void* unused, int32_t count, uint8_t* bytes);
RX_API RX_Err RX_DeBlackMatteARGB(void* unused, int32_t count, uint8_t* bytes);
RX_API RX_Err RX_BlackMatteBGRA(void* unused, int32_t count, uint8_t* bytes);
RX_API RX_Err RX_DeBlackMatteBGRA(void* unused, int32_t count, uint8_t* bytes);

/* Turns an 8-bit world premultiplied against black into one premultiplied
   against colour: adds colour * (1 - alpha) to each colour channel,
   saturating. The flag is accepted and not read. */
RX_API RX_Err RX_MatteBlackToMatteColorARGB(RX_LayerDef* world, RX_Pixel8 colour, int32_t flag);
RX_API RX_Err RX_MatteBlackToMatteColorBGRA(RX_LayerDef* world, RX_Pixel8 colour, int32_t flag);

RX_END_C

#endif
