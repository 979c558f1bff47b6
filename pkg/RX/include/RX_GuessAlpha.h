/* Guessing from the pixels of an 8-bit image whether its colour is
   straight or premultiplied, and against which matte colour. */
#ifndef RX_GUESS_ALPHA_H
#define RX_GUESS_ALPHA_H

#include "RX_Pixels.h"

RX_BEGIN_C

typedef enum RX_GuessAlphaStatus {
  RX_GuessAlpha_Straight = 0,
  RX_GuessAlpha_Premultiplied = 1,  /* the matte colour is in the out pixel */
  RX_GuessAlpha_Unable = 2
} RX_GuessAlphaStatus;

/* What a scan of the image gathers. "Consecutive" pixels are a pixel and
   the previous one of the same kind (alpha 0, or not) in row order. */
typedef struct RX_GuessAlphaStats {
  uint32_t hist_red[256];         /* colours of the pixels of alpha 0 */
  uint32_t hist_green[256];
  uint32_t hist_blue[256];
  uint8_t transparent_varies;     /* consecutive alpha-0 pixels differ by 3 or more in a colour */
  uint8_t opaque_varies;          /* consecutive pixels of non-zero alpha differ in colour */
  uint8_t colour_exceeds_alpha;   /* a colour above its non-zero alpha exists */
  uint8_t min_alpha;              /* the smallest non-zero alpha; 255 at the start */
  uint32_t white_count;           /* alpha-0 pixels with all colours 255 */
  uint32_t black_count;           /* alpha-0 pixels with all colours 0 */
  uint32_t other_count;           /* other alpha-0 pixels */
  uint32_t opaque_count;          /* pixels of non-zero alpha */
  uint32_t transparent_count;     /* pixels of alpha 0 */
  const RX_Pixel8* min_alpha_pixel; /* where min_alpha was seen; null while it is 255 */
} RX_GuessAlphaStats;

#ifdef __cplusplus
static_assert(offsetof(RX_GuessAlphaStats, hist_green) == 1024, "RX_GuessAlphaStats layout");
static_assert(offsetof(RX_GuessAlphaStats, hist_blue) == 2048, "RX_GuessAlphaStats layout");
static_assert(offsetof(RX_GuessAlphaStats, transparent_varies) == 3072, "RX_GuessAlphaStats layout");
static_assert(offsetof(RX_GuessAlphaStats, min_alpha) == 3075, "RX_GuessAlphaStats layout");
static_assert(offsetof(RX_GuessAlphaStats, white_count) == 3076, "RX_GuessAlphaStats layout");
static_assert(offsetof(RX_GuessAlphaStats, transparent_count) == 3092, "RX_GuessAlphaStats layout");
static_assert(offsetof(RX_GuessAlphaStats, min_alpha_pixel) == 3096, "RX_GuessAlphaStats layout");
static_assert(sizeof(RX_GuessAlphaStats) == 3104, "RX_GuessAlphaStats layout");
#endif

/* Scans layer when given, otherwise the bitmap image, locked for the scan
   with ZW_LoadLockPixels (a lock error is returned, with min_alpha 255).
   Only 8-bit pixels are looked at: a layer of another depth or without
   data, or a bitmap of other than 32 bits a pixel, adds nothing to the
   counts. A bitmap in BGRA order is read in that order. With neither image, or a null stats,
   reports bad parameter 11 and gives RX_Result_Internal. */
RX_API RX_Err RXp_GuessAlphaScan(const RX_LayerDef* layer, ZW_World image, RX_GuessAlphaStats* stats);

/* Guesses: unable (no pixel of non-zero alpha; message "Unable to guess
   alpha channel."), premultiplied against white, against black, or
   against the colour most alpha-0 pixels hold, or straight. The colour is
   written only for a premultiplied guess (alpha 255). message, when given,
   receives the text (empty but for unable), unbounded: give it room for
   the longest entry of the string table. A null status or colour reports
   bad parameter 11 and gives RX_Result_Internal. */
RX_API RX_Err RX_GuessAlphaMessage(void* unused, const RX_LayerDef* layer, ZW_World image,
                                   uint32_t* status, RX_Pixel8* colour, char* message);
/* The same without the message. */
RX_API RX_Err RX_GuessAlpha(void* unused, const RX_LayerDef* layer, ZW_World image,
                            uint32_t* status, RX_Pixel8* colour);

RX_END_C

#endif
