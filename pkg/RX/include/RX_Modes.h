/* The numbered transfer modes that every blending path shares, and the
   records that carry a mode with its opacity and seed. */
#ifndef RX_MODES_H
#define RX_MODES_H

#include "RX_Pixels.h"

RX_BEGIN_C

typedef enum RX_TransferMode {
  RX_Xfer_ReplaceRaw = -3,
  RX_Xfer_MaskMix = -2,
  RX_Xfer_None = -1,
  RX_Xfer_Copy = 0,
  RX_Xfer_Behind = 1,
  RX_Xfer_Over = 2,
  RX_Xfer_Dissolve = 3,
  RX_Xfer_Add = 4,
  RX_Xfer_Multiply = 5,
  RX_Xfer_Screen = 6,
  RX_Xfer_Overlay = 7,
  RX_Xfer_SoftLight = 8,
  RX_Xfer_HardLight = 9,
  RX_Xfer_Darken = 10,
  RX_Xfer_Lighten = 11,
  RX_Xfer_Difference = 12,
  RX_Xfer_Hue = 13,
  RX_Xfer_Saturation = 14,
  RX_Xfer_Color = 15,
  RX_Xfer_Luminosity = 16,
  RX_Xfer_MultiplyAlpha = 17,
  RX_Xfer_MultiplyAlphaLuma = 18,
  RX_Xfer_MultiplyNotAlpha = 19,
  RX_Xfer_MultiplyNotAlphaLuma = 20,
  RX_Xfer_AddPremul = 21,
  RX_Xfer_AlphaAdd = 22,
  RX_Xfer_ColorDodge = 23,
  RX_Xfer_ColorBurn = 24,
  RX_Xfer_Exclusion = 25,
  RX_Xfer_Difference2 = 26,
  RX_Xfer_ColorDodge2 = 27,
  RX_Xfer_ColorBurn2 = 28,
  RX_Xfer_LinearDodge = 29,
  RX_Xfer_LinearBurn = 30,
  RX_Xfer_LinearLight = 31,
  RX_Xfer_VividLight = 32,
  RX_Xfer_PinLight = 33,
  RX_Xfer_HardMix = 34,
  RX_Xfer_LighterColor = 35,
  RX_Xfer_DarkerColor = 36,
  RX_Xfer_Subtract = 37,
  RX_Xfer_Divide = 38
} RX_TransferMode;

#define RX_FirstTransferMode (-3)
#define RX_LastTransferMode 38

/* A mode as the exported interface carries it. */
typedef struct RX_CompositeMode {
  int32_t blend_mode;
  int32_t random_seed;     /* read by RX_Xfer_Dissolve only */
  uint8_t opacity;         /* 255 = opaque */
  uint8_t keep_dst_alpha;  /* a blend changes only the destination's colour */
  uint16_t opacity16;      /* 32768 = opaque */
} RX_CompositeMode;

/* Tables of linear-light blending: gamma to linear by byte, linear to
   gamma at 4097 points. */
typedef struct RX_LinearBlendingTables {
  uint16_t to_linear[256];
  uint16_t from_linear[4097];
  float gamma;
  float inverse_gamma;
} RX_LinearBlendingTables;

/* A mode as the transfer rectangle and the world transform take it. */
typedef struct RX_CompositeModePlus {
  int32_t blend_mode;
  int32_t random_seed;
  uint8_t keep_dst_alpha;
  const RX_LinearBlendingTables* tables;  /* non-null selects linear-light blending */
  float opacity;                          /* 1.0 = opaque */
#ifdef __cplusplus
  /* Sets nothing. */
  RX_CompositeModePlus() {}
  RX_CompositeModePlus(int32_t mode, float opacity_, const RX_LinearBlendingTables* tables_,
                       bool keep_dst_alpha_, int32_t seed)
      : blend_mode(mode), random_seed(seed), keep_dst_alpha(keep_dst_alpha_), tables(tables_),
        opacity(opacity_) {}
  /* Takes the 16-bit opacity when it agrees with the 8-bit one within a
     step of 8 bits, else the 8-bit one; no tables. */
  explicit RX_CompositeModePlus(const RX_CompositeMode& mode);
#endif
} RX_CompositeModePlus;

RX_ABI_ASSERT(offsetof(RX_CompositeMode, random_seed) == 4 && offsetof(RX_CompositeMode, opacity) == 8 &&
                  offsetof(RX_CompositeMode, keep_dst_alpha) == 9 && offsetof(RX_CompositeMode, opacity16) == 10 &&
                  sizeof(RX_CompositeMode) == 12,
              "RX_CompositeMode layout");
RX_ABI_ASSERT(offsetof(RX_LinearBlendingTables, from_linear) == 512 &&
                  offsetof(RX_LinearBlendingTables, gamma) == 8708 &&
                  offsetof(RX_LinearBlendingTables, inverse_gamma) == 8712 && sizeof(RX_LinearBlendingTables) == 8716,
              "RX_LinearBlendingTables layout");
RX_ABI_ASSERT(offsetof(RX_CompositeModePlus, random_seed) == 4 && offsetof(RX_CompositeModePlus, keep_dst_alpha) == 8 &&
                  offsetof(RX_CompositeModePlus, tables) == 16 && offsetof(RX_CompositeModePlus, opacity) == 24 &&
                  sizeof(RX_CompositeModePlus) == 32,
              "RX_CompositeModePlus layout");

/* The host's query: bit (mode + 3) of a fixed constant for modes -3..60,
   else 0. */
RX_API int32_t RX_GetTransferFlags(int32_t mode);
/* The mode's name ("RX_Xfer_Multiply"), or null outside -3..38. */
RX_API const char* RX_TransferModeName(int32_t mode);

RX_END_C

#ifdef __cplusplus
#include <type_traits>

RX_VISIBLE_BEGIN

/* The mode at the depth of a row: opacity as one channel value of Px. */
template <class Px>
struct RX_BlendingMode {
  using Channel = decltype(Px{}.alpha);
  int32_t blend_mode = 0;
  int32_t random_seed = 0;
  Channel opacity{};
  bool keep_dst_alpha = false;

  RX_BlendingMode() = default;
  /* 8 bits: the integer part of 255 * opacity + 0.5; 16 bits likewise with
     32768; float as it stands. */
  explicit RX_BlendingMode(const RX_CompositeModePlus& mode)
      : blend_mode(mode.blend_mode), random_seed(mode.random_seed), keep_dst_alpha(mode.keep_dst_alpha != 0) {
    if constexpr (std::is_same_v<Channel, float>) {
      opacity = mode.opacity;
    } else {
      const float white = std::is_same_v<Channel, uint8_t> ? 255.0f : 32768.0f;
      opacity = Channel(int32_t(white * mode.opacity + 0.5f));
    }
  }
};

static_assert(sizeof(RX_BlendingMode<RX_Pixel8>) == 12 && offsetof(RX_BlendingMode<RX_Pixel8>, opacity) == 8 &&
                  offsetof(RX_BlendingMode<RX_Pixel8>, keep_dst_alpha) == 9,
              "RX_BlendingMode<RX_Pixel8> layout");
static_assert(sizeof(RX_BlendingMode<RX_Pixel16>) == 12 && offsetof(RX_BlendingMode<RX_Pixel16>, keep_dst_alpha) == 10,
              "RX_BlendingMode<RX_Pixel16> layout");
static_assert(sizeof(RX_BlendingMode<RX_PixelFloat>) == 16 &&
                  offsetof(RX_BlendingMode<RX_PixelFloat>, keep_dst_alpha) == 12,
              "RX_BlendingMode<RX_PixelFloat> layout");

RX_VISIBLE_END
#endif

#endif
