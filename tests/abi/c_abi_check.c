/* Proves the flat interface is plain C: records, result codes and exports
   are reachable from a C translation unit. Exits 0 when all checks pass. */
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "RX.h"

_Static_assert(sizeof(RX_LayerDef) == 120, "effect world record size");
_Static_assert(offsetof(RX_LayerDef, data) == 24, "effect world record layout");
_Static_assert(offsetof(RX_LayerDef, world_object) == 80, "effect world record layout");
_Static_assert(offsetof(RX_LayerDef, zw_world) == 96, "effect world record layout");
_Static_assert(offsetof(RX_EffectContext, progress) == 32, "effect context layout");
_Static_assert(offsetof(RX_EffectContext, effect_token) == 184, "effect context layout");
_Static_assert(sizeof(RX_ProgressInfo) == 24, "progress record layout");
_Static_assert(sizeof(RX_Wireframe) == 72, "wireframe record layout");
_Static_assert(offsetof(RX_GuessAlphaStats, min_alpha_pixel) == 3096, "guess statistics layout");

static int g_failures;
#define CHECK(cond)                                              \
  do {                                                           \
    if (!(cond)) {                                               \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++g_failures;                                              \
    }                                                            \
  } while (0)

static RX_Err brighten(void* refcon, int32_t x, int32_t y, const RX_Pixel8* in, RX_Pixel8* out) {
  int* calls = (int*)refcon;
  ++*calls;
  out->alpha = 255;
  out->red = (uint8_t)(in->red + 10);
  out->green = (uint8_t)x;
  out->blue = (uint8_t)y;
  return RX_Result_OK;
}

int main(void) {
  enum { W = 5, H = 3, STRIDE = 24 }; /* padded rows */
  unsigned char pixels[STRIDE * H];
  RX_LayerDef world;
  int calls = 0;

  memset(pixels, 0, sizeof pixels);
  memset(&world, 0, sizeof world);
  world.data = pixels;
  world.width = W;
  world.height = H;
  world.row_stride = STRIDE;
  CHECK(RXp_WorldDepth(&world) == 8);

  CHECK(RX_CheckVersions(0x990000, RX_HEADER_VERSION) == RX_Result_OK);
  CHECK(RX_Birth() == RX_Result_OK);
  CHECK(RX_PkgObjectVersion() == 0x110000);
  CHECK(RXp_G_OverFuncs[RX_Slot_Iterate] != NULL);

  CHECK(RX_Iterate(NULL, 0, 0, NULL, NULL, &calls, brighten, &world) == RX_Result_OK);
  CHECK(calls == W * H);
  {
    const RX_Pixel8* p = (const RX_Pixel8*)(pixels + 2 * STRIDE) + 4;
    CHECK(p->alpha == 255 && p->red == 10 && p->green == 4 && p->blue == 2);
  }
  /* The padding between rows is left alone. */
  CHECK(pixels[W * 4] == 0 && pixels[STRIDE - 1] == 0);

  /* Drawing, guessing and wireframes from C. */
  {
    const int32_t kernel[1] = {255};
    const RX_Pixel8 ink = {255, 1, 2, 3};
    uint32_t status = 9;
    RX_Pixel8 matte = {0, 0, 0, 0};
    RX_Wireframe wireframe;
    CHECK(RX_PaintSpot(NULL, 1, 1, 0, 1, kernel, ink, &world) == RX_Result_OK);
    CHECK(((const RX_Pixel8*)(pixels + STRIDE))[1].blue == 3);
    CHECK(RXp_G_DebugFont.glyphs['A'][4] == 0x7c);
    CHECK(RX_GuessAlpha(NULL, &world, NULL, &status, &matte) == RX_Result_OK);
    /* Opaque and varied: the empty histograms' black passes. */
    CHECK(status == RX_GuessAlpha_Premultiplied && matte.alpha == 255 && matte.red == 0);
    CHECK(RX_AllocWireframe(3, 0, &wireframe) == RX_Result_OK && wireframe.point_count == 3);
    CHECK(RX_DisposeWireframe(&wireframe) == RX_Result_OK && wireframe.points == NULL);
  }

  CHECK(RX_Death() == RX_Result_OK);
  if (g_failures == 0) printf("C ABI: all checks passed\n");
  return g_failures == 0 ? 0 : 1;
}
