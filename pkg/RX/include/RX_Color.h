/* Per-pixel colour functions: HLS and YIQ conversions, luminance, hue,
   lightness and saturation of one pixel at each depth, and the package's
   small random generators. Each colour function takes an effect context
   that it does not read and returns 0. */
#ifndef RX_COLOR_H
#define RX_COLOR_H

#include "RX_Iterate.h"

RX_BEGIN_C

/* Fixed point with 16 fractional bits (1.0 = 65536). Hue in degrees, 0 to
   360; lightness and saturation 0 to 1. The float forms use these too. */
typedef struct RX_HLSPixel { int32_t hue, lightness, saturation; } RX_HLSPixel;
/* Y, I and Q in the same fixed point. */
typedef struct RX_YIQPixel { int32_t y, i, q; } RX_YIQPixel;
RX_ABI_ASSERT(offsetof(RX_HLSPixel, lightness) == 4 && offsetof(RX_HLSPixel, saturation) == 8 &&
                  sizeof(RX_HLSPixel) == 12,
              "RX_HLSPixel layout");
RX_ABI_ASSERT(offsetof(RX_YIQPixel, i) == 4 && offsetof(RX_YIQPixel, q) == 8 && sizeof(RX_YIQPixel) == 12,
              "RX_YIQPixel layout");

/* Conversions. The reverse ones leave the alpha of out as it was. */
RX_API RX_Err RX_RGBtoHLS_Straight(RX_EffectContext* unused, const RX_Pixel8* in, RX_HLSPixel* out);
RX_API RX_Err RX_RGBtoHLS_Straight16(RX_EffectContext* unused, const RX_Pixel16* in, RX_HLSPixel* out);
RX_API RX_Err RX_RGBtoHLS_StraightFloat(RX_EffectContext* unused, const RX_PixelFloat* in,
                                        RX_HLSPixel* out);
RX_API RX_Err RX_HLStoRGB_Straight(RX_EffectContext* unused, const RX_HLSPixel* in, RX_Pixel8* out);
RX_API RX_Err RX_HLStoRGB_Straight16(RX_EffectContext* unused, const RX_HLSPixel* in, RX_Pixel16* out);
RX_API RX_Err RX_HLStoRGB_StraightFloat(RX_EffectContext* unused, const RX_HLSPixel* in,
                                        RX_PixelFloat* out);
RX_API RX_Err RX_RGBtoYIQ_Straight(RX_EffectContext* unused, const RX_Pixel8* in, RX_YIQPixel* out);
RX_API RX_Err RX_RGBtoYIQ_Straight16(RX_EffectContext* unused, const RX_Pixel16* in, RX_YIQPixel* out);
RX_API RX_Err RX_RGBtoYIQ_StraightFloat(RX_EffectContext* unused, const RX_PixelFloat* in,
                                        RX_YIQPixel* out);
RX_API RX_Err RX_YIQtoRGB_Straight(RX_EffectContext* unused, const RX_YIQPixel* in, RX_Pixel8* out);
RX_API RX_Err RX_YIQtoRGB_Straight16(RX_EffectContext* unused, const RX_YIQPixel* in, RX_Pixel16* out);
RX_API RX_Err RX_YIQtoRGB_StraightFloat(RX_EffectContext* unused, const RX_YIQPixel* in,
                                        RX_PixelFloat* out);

/* Measures of one pixel. Integer depths answer in integers: luminance
   30 r + 59 g + 11 b on the raw channels (0 to 25500 at 8 bits), hue 0 to
   255 or 0 to 32768, lightness (min + max) / 2, and saturation as the HLS
   numerator without its division. The float forms answer in floats, hue
   0 to 1. */
RX_API RX_Err RX_Luminance_Straight(RX_EffectContext* unused, const RX_Pixel8* in, int32_t* out);
RX_API RX_Err RX_Luminance_Straight16(RX_EffectContext* unused, const RX_Pixel16* in, int32_t* out);
RX_API RX_Err RX_Luminance_StraightFloat(RX_EffectContext* unused, const RX_PixelFloat* in, float* out);
RX_API RX_Err RX_Hue_Straight(RX_EffectContext* unused, const RX_Pixel8* in, int32_t* out);
RX_API RX_Err RX_Hue_Straight16(RX_EffectContext* unused, const RX_Pixel16* in, int32_t* out);
RX_API RX_Err RX_Hue_StraightFloat(RX_EffectContext* unused, const RX_PixelFloat* in, float* out);
RX_API RX_Err RX_Lightness_Straight(RX_EffectContext* unused, const RX_Pixel8* in, int32_t* out);
RX_API RX_Err RX_Lightness_Straight16(RX_EffectContext* unused, const RX_Pixel16* in, int32_t* out);
RX_API RX_Err RX_Lightness_StraightFloat(RX_EffectContext* unused, const RX_PixelFloat* in, float* out);
RX_API RX_Err RX_Saturation_Straight(RX_EffectContext* unused, const RX_Pixel8* in, int32_t* out);
RX_API RX_Err RX_Saturation_Straight16(RX_EffectContext* unused, const RX_Pixel16* in, int32_t* out);
RX_API RX_Err RX_Saturation_StraightFloat(RX_EffectContext* unused, const RX_PixelFloat* in,
                                          float* out);

/* Premultiplied 8-bit pixels: the colour is unmultiplied through the
   divide table (the package must be born) and the straight form runs.
   HLStoRGB_Premul and YIQtoRGB_Premul run the straight form and multiply
   the colour by the alpha that out already holds. */
RX_API RX_Err RX_RGBtoHLS_Premul(RX_EffectContext* unused, const RX_Pixel8* in, RX_HLSPixel* out);
RX_API RX_Err RX_HLStoRGB_Premul(RX_EffectContext* unused, const RX_HLSPixel* in, RX_Pixel8* out);
RX_API RX_Err RX_RGBtoYIQ_Premul(RX_EffectContext* unused, const RX_Pixel8* in, RX_YIQPixel* out);
RX_API RX_Err RX_YIQtoRGB_Premul(RX_EffectContext* unused, const RX_YIQPixel* in, RX_Pixel8* out);
RX_API RX_Err RX_Luminance_Premul(RX_EffectContext* unused, const RX_Pixel8* in, int32_t* out);
RX_API RX_Err RX_Hue_Premul(RX_EffectContext* unused, const RX_Pixel8* in, int32_t* out);
RX_API RX_Err RX_Lightness_Premul(RX_EffectContext* unused, const RX_Pixel8* in, int32_t* out);
RX_API RX_Err RX_Saturation_Premul(RX_EffectContext* unused, const RX_Pixel8* in, int32_t* out);

/* The minimal standard generator, one Lehmer step by 48271 in the
   package's Schrage form (sums, not differences): stores the new seed,
   0x7FFFFFFF in place of 0, and returns bits 7 to 21 of it (0 to 32767). */
RX_API uint32_t RX_Rand(uint32_t* seed);
/* The second generator, of the frame blending engine: two steps of the
   LCG s * 1103515245 + 12345 per call, the seed left at the second;
   returns bits 16 to 23 of the second step xor those of the first shifted
   left by 7 (0 to 32767). */
RX_API uint32_t RX_Rand2(uint32_t* seed);

RX_END_C

#endif
