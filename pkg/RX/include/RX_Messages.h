/* The package's string table: localisable texts looked up through the
   utilities library by index. */
#ifndef RX_MESSAGES_H
#define RX_MESSAGES_H

#include "RX_Config.h"
#include "KO/KO.h"

RX_BEGIN_C

typedef enum RX_StringIndex {
  RX_Str_InvalidCallbackSelector = 0,
  RX_Str_InvalidParameter = 1,
  RX_Str_DisposeOnlyOwnWorlds = 2,
  RX_Str_ImagePlaneBuffer = 3,
  RX_Str_BadParameter = 4,
  RX_Str_AccelModuleOpenFailed = 5,
  RX_Str_UnimplementedBlendingMode = 6,
  RX_Str_NoiseTable = 7,
  RX_Str_CannotGuessAlpha = 8,
  RX_Str_ObsoleteRoutine = 9,
  RX_Str_BlurMemory = 10,
  RX_Str_MaskBufferMemory = 11,
  RX_Str_DamagedMaskBuffer = 12,
  RX_Str_CannotUnlockMaskBuffer = 13,
  RX_Str_GaussianWeights = 14,
  RX_Str_BlendingScratch = 15,
  RX_Str_CannotCopyChannelWorlds = 16,
  RX_Str_ChannelChunkMemory = 17,
  RX_Str_ImageBuffer = 18,
  RX_Str_InvalidWorldForPlatformRefs = 19,
  RX_StringCount = 20
} RX_StringIndex;

/* Reference record of the string table, for KO_ZLookupLStrCache: it points
   to its own record, which names the package, counts 21 entries (the last
   one a terminator) and points to the entries. */
RX_API extern const KO_LStrCacheRef RX_G_zref;

/* The text of an entry, translated when the host knows a translation. */
RX_API const char* RXp_String(RX_StringIndex index);

RX_END_C

#endif
