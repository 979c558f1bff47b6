/* Starts the package, wraps a small buffer at each depth in an effect world
   record, runs a pixel function over part of it with RX_Iterate and prints
   what it did. Written in C: the package's flat interface needs no C++. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "RX.h"

enum { kWidth = 8, kHeight = 4 };

/* A horizontal ramp in the red channel, opaque, at each depth. */
static RX_Err ramp8(void* refcon, int32_t x, int32_t y, const RX_Pixel8* in, RX_Pixel8* out) {
  (void)refcon, (void)y, (void)in;
  out->alpha = 255;
  out->red = (uint8_t)(x * 255 / (kWidth - 1));
  out->green = out->blue = 0;
  return RX_Result_OK;
}
static RX_Err ramp16(void* refcon, int32_t x, int32_t y, const RX_Pixel16* in, RX_Pixel16* out) {
  (void)refcon, (void)y, (void)in;
  out->alpha = RX_White16;
  out->red = (uint16_t)(x * RX_White16 / (kWidth - 1));
  out->green = out->blue = 0;
  return RX_Result_OK;
}
static RX_Err rampF(void* refcon, int32_t x, int32_t y, const RX_PixelFloat* in,
                    RX_PixelFloat* out) {
  (void)refcon, (void)y, (void)in;
  out->alpha = 1.0f;
  out->red = (float)x / (kWidth - 1);
  out->green = out->blue = 0.0f;
  return RX_Result_OK;
}

/* Counts pixels visited, as an effect would count its work. */
static int g_rows_done;
static RX_Err count_rows(RX_EffectToken token, int32_t current, int32_t total) {
  (void)token, (void)total;
  g_rows_done = current;
  return RX_Result_OK;
}

static void wrap(RX_LayerDef* world, void* pixels, int32_t pixel_size, int32_t depth) {
  memset(world, 0, sizeof *world);
  world->data = pixels;
  world->width = kWidth;
  world->height = kHeight;
  world->row_stride = kWidth * pixel_size;
  world->content_rect.right = kWidth;
  world->content_rect.bottom = kHeight;
  RXp_SetLayerFlagsForDepth(world, depth);
}

int main(void) {
  if (RX_CheckVersions(0x990001, RX_HEADER_VERSION) != RX_Result_OK) return 1;
  RX_Err err = RX_Birth();
  if (err != RX_Result_OK) {
    fprintf(stderr, "RX_Birth failed with %d\n", (int)err);
    return 1;
  }
  printf("RX package object version 0x%x, born\n", (unsigned)RX_PkgObjectVersion());

  RX_EffectContext context;
  memset(&context, 0, sizeof context);
  context.progress = count_rows;
  const GE_LRect area = {2, 1, 8, 3}; /* columns 2..7, rows 1..2 */

  static RX_Pixel8 pixels8[kWidth * kHeight];
  static RX_Pixel16 pixels16[kWidth * kHeight];
  static RX_PixelFloat pixelsF[kWidth * kHeight];
  RX_LayerDef w8, w16, wF;
  wrap(&w8, pixels8, sizeof(RX_Pixel8), 8);
  wrap(&w16, pixels16, sizeof(RX_Pixel16), 16);
  wrap(&wF, pixelsF, sizeof(RX_PixelFloat), 32);

  err = RX_Iterate(&context, 0, 2, NULL, &area, NULL, ramp8, &w8);
  printf("8-bit:  result %d, %d rows, red along row 1:", (int)err, g_rows_done);
  for (int x = 0; x < kWidth; ++x) printf(" %3u", pixels8[kWidth + x].red);
  printf("\n");

  err = RX_Iterate(&context, 0, 2, NULL, &area, NULL, (RX_PixelFunc8)ramp16, &w16);
  printf("16-bit: result %d, %d rows, red along row 1:", (int)err, g_rows_done);
  for (int x = 0; x < kWidth; ++x) printf(" %5u", pixels16[kWidth + x].red);
  printf("\n");

  err = RX_Iterate(&context, 0, 2, NULL, &area, NULL, (RX_PixelFunc8)rampF, &wF);
  printf("float:  result %d, %d rows, red along row 1:", (int)err, g_rows_done);
  for (int x = 0; x < kWidth; ++x) printf(" %.3f", pixelsF[kWidth + x].red);
  printf("\n");

  /* The same ramp inverted through lookup tables, in place. */
  uint8_t invert[256];
  for (int i = 0; i < 256; ++i) invert[i] = (uint8_t)(255 - i);
  err = RX_IterateLUT(NULL, 0, 0, NULL, &area, NULL, invert, NULL, NULL, &w8);
  printf("8-bit red inverted by RX_IterateLUT, result %d:", (int)err);
  for (int x = 0; x < kWidth; ++x) printf(" %3u", pixels8[kWidth + x].red);
  printf("\n");

  err = RX_Death();
  printf("RX died with %d\n", (int)err);
  return err == RX_Result_OK ? 0 : 1;
}
