/* Small drawing for effects and diagnostics: a clipped one-pixel line, a
   soft stamp through a kernel, and text in the package's own bitmap font.
   Pixels outside the world or layer are skipped silently. */
#ifndef RX_DRAW_H
#define RX_DRAW_H

#include "RX_Pixels.h"

RX_BEGIN_C

/* A position in pixels, x then y. */
typedef struct RX_PointDouble { double x, y; } RX_PointDouble;

#ifdef __cplusplus
static_assert(sizeof(RX_PointDouble) == 16 && offsetof(RX_PointDouble, y) == 8, "RX_PointDouble layout");
#endif

/* Draws a one-pixel line from from to to (both ends included) into world,
   replacing whole pixels with colour, no blending. The walk is in 16.16
   fixed point along the major axis, rounding to the nearest pixel; a line
   whose ends meet draws the one pixel nearest the start. colour is four
   floats in 0..1 (alpha, red, green, blue); integer worlds get
   trunc(c * 255 + 0.5) or trunc(c * 32768 + 0.5), limited to the depth.
   A null world or colour draws nothing. */
RX_API void RX_DrawLine(RX_PointDouble from, RX_PointDouble to, const RX_PixelFloat* colour,
                        RX_WorldObject* world);

/* Kernel flags of RX_PaintSpot: the layout of a convolution kernel. */
enum {
  RX_SPOT_1D = 1,        /* one row of kernel_size entries */
  RX_SPOT_VERTICAL = 32  /* with RX_SPOT_1D: one column */
};

/* Stamps kernel, centred on (x, y), into an 8-bit layer: under an entry w
   (0..255) each channel c becomes min((c (255 - w) + colour w) / 255, 255),
   truncated. Without RX_SPOT_1D the kernel is kernel_size rows of
   kernel_size entries. A null layer, data or kernel, a layer that is not
   8-bit, or a kernel_size that is negative or even reports bad parameter 9
   and gives RX_Result_Internal; otherwise 0. */
RX_API RX_Err RX_PaintSpot(void* unused, int32_t x, int32_t y, int32_t flags, int32_t kernel_size,
                           const int32_t* kernel, RX_Pixel8 colour, RX_LayerDef* layer);

/* The bitmap font of RX_DebugPrint: 128 glyphs (codes 0 to 127) of 10
   bytes, one byte a row from the bottom row up; bits 7 to 2 are columns 0
   to 5. Control codes, space and 127 are blank. */
#define RX_FontGlyphWidth 6
#define RX_FontGlyphHeight 10
#define RX_FontGlyphCount 128
typedef struct RX_DebugFontTable {
  uint8_t glyphs[RX_FontGlyphCount][RX_FontGlyphHeight];
} RX_DebugFontTable;
RX_ABI_ASSERT(sizeof(RX_DebugFontTable) == 1280, "RX_DebugFontTable layout");
RX_API extern const RX_DebugFontTable RXp_G_DebugFont;

RX_END_C

#ifdef __cplusplus
RX_VISIBLE_BEGIN
/* Prints text formatted by printf rules (at most 1023 bytes are kept) into
   an 8- or 16-bit world: each character advances the pen 6 pixels; 10 goes
   down 10 rows and back to x; 9 sets the pen to (pen mod 4) + 24; 13 is
   ignored. A glyph is drawn only when its cell [pen, pen + 6] x [y, y + 10]
   lies inside the world, its set pixels at (pen + column, y + 10 - row)
   blended Over with colour at full opacity. A float world throws
   RX_Result_Internal; a null world draws nothing. */
RX_API void RX_DebugPrint(RX_World* world, int32_t x, int32_t y, const RX_PixelFloat& colour,
                          const char* format, ...) __attribute__((format(printf, 5, 6)));
RX_VISIBLE_END
#endif

#endif
