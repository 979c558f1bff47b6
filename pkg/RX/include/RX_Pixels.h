/* Pixels, the effect world record and depth queries.
   Pixels are alpha first. White is 255 at 8 bits, 32768 (not 65535) at
   16 bits and 1.0 in float, where over-range values are allowed. */
#ifndef RX_PIXELS_H
#define RX_PIXELS_H

#include "RX_Results.h"
#include "GE/GE.h"
#include "ZW/ZW.h"

RX_BEGIN_C

typedef struct RX_Pixel8 { uint8_t alpha, red, green, blue; } RX_Pixel8;
typedef struct RX_Pixel16 { uint16_t alpha, red, green, blue; } RX_Pixel16;
typedef struct RX_PixelFloat { float alpha, red, green, blue; } RX_PixelFloat;
typedef struct RX_PixelDouble { double alpha, red, green, blue; } RX_PixelDouble;

#define RX_White8 255
#define RX_White16 32768

/* layer_flags: bit 0 marks a 16-bit world; bits 24 to 31 hold the pixel
   format code. */
#define RX_LayerFlag_Deep 0x1u
#define RX_LayerFlag_FormatShift 24
enum { RX_FormatCode_8 = 0, RX_FormatCode_16 = 1, RX_FormatCode_Float = 2 };

/* Stamp of a record made by RX_NewEffectWorld. */
#define RX_EffectWorldStamp 0xAAAABBBBu

#ifdef __cplusplus
class RX_World;
typedef RX_World RX_WorldObject;
#else
typedef struct RX_World RX_WorldObject;
#endif

/* The effect world: a record of 120 bytes whose layout plug-ins rely on. */
typedef struct RX_LayerDef {
  void* reserved0;
  void* reserved1;
  uint32_t layer_flags;
  uint32_t reserved2;
  void* data;               /* first pixel of the top row, or null */
  int32_t row_stride;       /* bytes between rows; any value, signed */
  int32_t width;
  int32_t height;
  GE_LRect content_rect;    /* pixels that may be non-transparent */
  uint8_t reserved3[12];
  uint32_t allocation_stamp;
  uint32_t reserved4;
  RX_WorldObject* world_object;  /* owning world object, or null */
  uint32_t aspect_words[2];      /* carried along, never read */
  ZW_World zw_world;             /* backing bitmap, or null */
  uint8_t reserved5[16];
} RX_LayerDef;

typedef RX_LayerDef RX_EffectWorld;

RX_ABI_ASSERT(sizeof(RX_Pixel8) == 4 && offsetof(RX_Pixel8, red) == 1 && offsetof(RX_Pixel8, blue) == 3,
              "RX_Pixel8 layout");
RX_ABI_ASSERT(sizeof(RX_Pixel16) == 8 && offsetof(RX_Pixel16, red) == 2 && offsetof(RX_Pixel16, blue) == 6,
              "RX_Pixel16 layout");
RX_ABI_ASSERT(sizeof(RX_PixelFloat) == 16 && offsetof(RX_PixelFloat, red) == 4 && offsetof(RX_PixelFloat, blue) == 12,
              "RX_PixelFloat layout");
RX_ABI_ASSERT(sizeof(RX_PixelDouble) == 32 && offsetof(RX_PixelDouble, red) == 8 &&
                  offsetof(RX_PixelDouble, blue) == 24,
              "RX_PixelDouble layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, layer_flags) == 16, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, data) == 24, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, row_stride) == 32, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, width) == 36, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, height) == 40, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, content_rect) == 44, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, reserved3) == 60, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, allocation_stamp) == 72, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, world_object) == 80, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, aspect_words) == 88, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, zw_world) == 96, "RX_LayerDef layout");
RX_ABI_ASSERT(offsetof(RX_LayerDef, reserved5) == 104, "RX_LayerDef layout");
RX_ABI_ASSERT(sizeof(RX_LayerDef) == 120, "RX_LayerDef layout");
RX_ABI_ASSERT(sizeof(GE_LRect) == 16 && sizeof(GE_Rect) == 8 && sizeof(GE_LPoint) == 8, "rectangle layouts");

/* Pixel format words for interfaces that name a format rather than a depth:
   the four characters as one 32-bit value, first character highest. */
typedef uint32_t RX_PixelFormat;
#define RX_PixelFormat_ARGB8 0x61726762u   /* 'argb', depth 8 */
#define RX_PixelFormat_ARGB16 0x7A713136u  /* 'zq16', depth 16 */
#define RX_PixelFormat_ARGB32 0x7A713332u  /* 'zq32', depth 32 (float) */

/* 8, 16 or 32. Asks the world object when there is one; otherwise decodes
   the format byte, reporting "Unknown pixel format" and giving 8 for a
   code it does not know. */
RX_API int32_t RXp_WorldDepth(const RX_LayerDef* world);
/* Always 0; stores RXp_WorldDepth. */
RX_API RX_Err RX_GetEffectWorldDepth(const RX_LayerDef* world, int32_t* depth);
RX_API RX_Err RXp_GetPixelFormat(const RX_LayerDef* world, RX_PixelFormat* format);
RX_API RX_Err RXp_PixelFormatToDepth(RX_PixelFormat format, int32_t* depth);
RX_API RX_Err RXp_DepthToFormatByte(int32_t depth, uint8_t* format_byte);
/* Ors the depth's format code into layer_flags (and the deep bit at 16). */
RX_API RX_Err RXp_SetLayerFlagsForDepth(RX_LayerDef* world, int32_t depth);
/* Bits per pixel of the bitmap divided by 4. */
RX_API int32_t RX_DepthOfZWWorld(ZW_World world);

/* Puts the dither cursor back to the start of the dither table, so that
   dithered depth reductions can be reproduced. */
RX_API void RX_ResetDitherRandomIndex(void);

RX_END_C

#endif
