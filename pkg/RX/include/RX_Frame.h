/* Starting and stopping the package, the version handshake, and the
   override table through which every heavy operation is called. */
#ifndef RX_FRAME_H
#define RX_FRAME_H

#include "RX_Results.h"

RX_BEGIN_C

RX_API RX_Err RX_Birth(void);
RX_API RX_Err RX_Death(void);
/* May be called before birth. location is the caller's error location,
   version the caller's RX_HEADER_VERSION. */
RX_API RX_Err RX_CheckVersions(int32_t location, int32_t version);
/* 0x110000: version 17 in the upper half. */
RX_API int32_t RX_PkgObjectVersion(void);
/* Shrinks the blending scratch back to its size at birth. */
RX_API RX_Err RX_FreeUpSomeMemory(void);
/* Obsolete: reports "Obsolete routine" and returns RX_Result_InvalidCallback. */
RX_API RX_Err RX_OverrideStdFuncs(void);
/* Overwrites slot index (1 to 117), a null function included. */
RX_API RX_Err RX_SetOverrideFunc(int32_t index, void (*func)(void));

/* ---- the override table ----
   118 function pointers; the order is a contract with acceleration modules
   and never changes within table version 2. A slot without a function is
   null. */
#define RX_OverrideSlotCount 118
typedef void (*RX_OverFunc)(void);
RX_API extern RX_OverFunc RXp_G_OverFuncs[RX_OverrideSlotCount];

typedef enum RX_Slot {
  RX_Slot_BeginSampling = 0,
  RX_Slot_EndSampling = 1,
  RX_Slot_NNSample8 = 2,
  RX_Slot_SubpixelSampleStraight8 = 3,
  RX_Slot_SubpixelSamplePremul8 = 4,
  RX_Slot_AreaSampleStraight8 = 5,
  RX_Slot_AreaSamplePremul8 = 6,
  RX_Slot_CompositeRectDraftStraight = 7,
  RX_Slot_CompositeRectDraftPremul = 8,
  RX_Slot_CompositeRectBestStraight = 9,
  RX_Slot_CompositeRectBestPremul = 10,
  RX_Slot_MotionSpanNearestStraight = 17,
  RX_Slot_MotionSpanNearestPremul = 18,
  RX_Slot_MotionSpanSubpixelStraight = 19,
  RX_Slot_MotionSpanSubpixelPremul = 20,
  RX_Slot_MotionSpanAreaStraight = 21,
  RX_Slot_MotionSpanAreaPremul = 22,
  RX_Slot_CopyDraft = 23,
  RX_Slot_CopyHQStraight = 24,
  RX_Slot_CopyHQPremul = 25,
  RX_Slot_FastBlurStraight = 26,
  RX_Slot_FastBlurPremul = 27,
  RX_Slot_Convolve = 28,
  RX_Slot_TransferRect = 31,
  RX_Slot_TransformWorld = 32,
  RX_Slot_PremulScanBlack8 = 35,
  RX_Slot_UnmultScanBlack8 = 36,
  RX_Slot_PremulScanWhite8 = 37,
  RX_Slot_UnmultScanWhite8 = 38,
  RX_Slot_PremulScanGrey8 = 39,
  RX_Slot_UnmultScanGrey8 = 40,
  RX_Slot_AlphaCombineScan8 = 41,
  RX_Slot_Iterate = 42,
  RX_Slot_IterateOrigin = 43,
  RX_Slot_IterateLUT = 44,
  RX_Slot_OpenDestination = 45,
  RX_Slot_CloseDestination = 46,
  RX_Slot_TransferRectCore = 47,
  RX_Slot_TransformWorldCore = 48,
  RX_Slot_IterateOriginNoClip = 51,
  RX_Slot_PremulRect = 52,
  RX_Slot_IterateGeneric = 53,
  RX_Slot_MaskBoxBlurScan8 = 54,
  RX_Slot_MaskMergeScan8Into8 = 55,
  RX_Slot_MaskTransferScan8To8 = 56,
  RX_Slot_SubpixelComputeWeight = 57,
  RX_Slot_SubpixelTranslateNoClipStraight8 = 58,
  RX_Slot_SubpixelPlusStraight8 = 60,
  RX_Slot_SubpixelNoClipStraight8 = 61,
  RX_Slot_MaskMergeScan8Into16 = 62,
  RX_Slot_NNSample16 = 63,
  RX_Slot_SubpixelSampleStraight16 = 64,
  RX_Slot_AreaSample16 = 65,
  RX_Slot_SubpixelTranslateNoClip16 = 68,
  RX_Slot_SubpixelPlus16 = 70,
  RX_Slot_SubpixelNoClip16 = 71,
  RX_Slot_PremulScanBlack16 = 72,
  RX_Slot_UnmultScanBlack16 = 73,
  RX_Slot_PremulScanWhite16 = 74,
  RX_Slot_UnmultScanWhite16 = 75,
  RX_Slot_PremulScanGrey16 = 76,
  RX_Slot_UnmultScanGrey16 = 77,
  RX_Slot_AlphaCombineScan16 = 78,
  RX_Slot_MaskTransferScan8ToDeep = 81,
  RX_Slot_MaskBlurScan = 82,
  RX_Slot_SubpixelNoClipStraight4 = 83,
  RX_Slot_SubpixelTranslateNoClipStraight4 = 84,
  RX_Slot_MaskTransferScanDeepToDeep = 85,
  RX_Slot_SpanSampleTranslateNoClip8 = 86,
  RX_Slot_SpanSampleTranslateNoClip16 = 87,
  RX_Slot_MaskBlurScan8Pair = 88,
  RX_Slot_MaskBlurScanDeepPair = 89,
  RX_Slot_MaskBoxBlurScanDeep = 92,
  RX_Slot_MaskMergeScanDeepInto16 = 93,
  RX_Slot_InnerBlendingPlain8 = 94,
  RX_Slot_InnerBlendingPlain16 = 95,
  RX_Slot_InnerBlendingPlainFloat = 96,
  RX_Slot_InnerBlendingFirst8 = 97,
  RX_Slot_InnerBlendingFirst16 = 98,
  RX_Slot_InnerBlendingFirstFloat = 99,
  RX_Slot_InnerBlendingSecond8 = 100,
  RX_Slot_InnerBlendingSecond16 = 101,
  RX_Slot_InnerBlendingSecondFloat = 102,
  RX_Slot_InnerBlendingBoth8 = 103,
  RX_Slot_InnerBlendingBoth16 = 104,
  RX_Slot_InnerBlendingBothFloat = 105,
  RX_Slot_PremulScanBlackFloat = 106,
  RX_Slot_UnmultScanBlackFloat = 107,
  RX_Slot_PremulScanWhiteFloat = 108,
  RX_Slot_UnmultScanWhiteFloat = 109,
  RX_Slot_PremulScanGreyFloat = 110,
  RX_Slot_UnmultScanGreyFloat = 111,
  RX_Slot_AlphaCombineScanFloat = 112,
  RX_Slot_MaskMergeScan8IntoFloat = 113,
  RX_Slot_MaskMergeScanDeepIntoFloat = 114,
  RX_Slot_TransformInnerFloat = 115,
  RX_Slot_TransformInner16 = 116,
  RX_Slot_TransformInner8 = 117
} RX_Slot;

/* ---- process-wide tables prepared at birth ---- */

/* 256 x 256 byte tables of the geometry library: multiply, and divide
   (row a, entry c: c unmultiplied by a). */
RX_API extern const uint8_t* RXp_G_fcm_table;
RX_API extern const uint8_t* RXp_G_fcd_table;

/* Entry i holds float(i). */
RX_API extern float RX_ByteFloatTable[256];

/* Random words for dithering, read through a cursor that wraps. */
typedef struct RX_DitherTable {
  const uint32_t* start;
  const uint32_t* end;     /* one past the last word */
  const uint32_t* cursor;
} RX_DitherTable;
RX_ABI_ASSERT(offsetof(RX_DitherTable, end) == 8 && offsetof(RX_DitherTable, cursor) == 16 &&
                  sizeof(RX_DitherTable) == 24,
              "RX_DitherTable layout");
RX_API extern RX_DitherTable RXp_G_DitherTable;

/* The soft-light curves at 4097 points x = i / 4096: D(x) - x and x(1 - x),
   as floats and in 16-bit fixed point. */
#define RX_SoftLightTableSize 4097
RX_API extern float RXp_G_SoftLightDeltaF[RX_SoftLightTableSize];
RX_API extern float RXp_G_SoftLightParabolaF[RX_SoftLightTableSize];
RX_API extern uint16_t RXp_G_SoftLightDelta16[RX_SoftLightTableSize];
RX_API extern uint16_t RXp_G_SoftLightParabola16[RX_SoftLightTableSize];

/* 128-bit constants of the vector loops, set at birth when SSE2 is usable
   (undefined otherwise). */
typedef union __attribute__((aligned(16))) RX_Vec128 {
  uint32_t u32[4];
  int32_t i32[4];
  float f32[4];
} RX_Vec128;
RX_ABI_ASSERT(sizeof(RX_Vec128) == 16 && __alignof__(RX_Vec128) == 16, "RX_Vec128 layout");
RX_API extern RX_Vec128 RX_G_AlphaMask32;     /* low 32-bit lane all ones */
RX_API extern RX_Vec128 RX_G_BGRMask32;       /* the complement */
RX_API extern RX_Vec128 RX_G_vf255;           /* four floats 255.0 */
RX_API extern RX_Vec128 RX_G_vfHalf;          /* four floats 0.5 */
RX_API extern RX_Vec128 RX_G_vi128_32;        /* four int32 128 */
RX_API extern RX_Vec128 RX_G_viLoByteMask32;  /* four int32 255 */
RX_API extern RX_Vec128 RX_G_viLoWordMask;    /* four int32 65535 */

/* A block of zero bytes, long enough for any pixel or vector. */
#define RX_ZeroDataSize 256
RX_API extern const uint8_t RX_G_ZeroData[RX_ZeroDataSize];

/* Worlds that own memory and live chunks; zeroed at birth, never read by
   the package itself. */
RX_API extern int32_t RXp_G_LiveWorldCount;
RX_API extern int32_t RXp_G_ChunkCount;

RX_END_C

#endif
