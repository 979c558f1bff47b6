/* Effect worlds, pixel data views, chunks and destinations: what effects
   use besides world objects. */
#ifndef RX_EFFECT_WORLDS_H
#define RX_EFFECT_WORLDS_H

#include "KO/KO.h"
#include "RX_Iterate.h"

RX_BEGIN_C

/* A new world published as an effect world record, stamped so that
   RX_DisposeEffectWorld accepts it. A null record does nothing. */
RX_API RX_Err RX_NewEffectWorld(RX_EffectContext* unused, int32_t width, int32_t height,
                                int32_t depth, int32_t clear, int32_t backed, RX_LayerDef* out);
/* Disposes of a world made by RX_NewEffectWorld and clears the record;
   refuses any other record with "effects modules should only dispose
   worlds they have allocated" (516). */
RX_API RX_Err RX_DisposeEffectWorld(RX_EffectContext* unused, RX_LayerDef* world);
/* A record over a frame store bitmap, with no object behind it. */
RX_API RX_Err RX_EffectWorldFromZWWorld(ZW_World bitmap, RX_LayerDef* out);

/* The world's pixels when it has this form's depth (pixel, if given, else
   data), else null with result 0. */
RX_API RX_Err RX_GetPixelData8(const RX_LayerDef* world, void* pixel, RX_Pixel8** out);
RX_API RX_Err RX_GetPixelData16(const RX_LayerDef* world, void* pixel, RX_Pixel16** out);
RX_API RX_Err RX_GetPixelDataFloat(const RX_LayerDef* world, void* pixel, RX_PixelFloat** out);

/* A chunk: a block of elements of a four-character type, behind a handle.
   The first 64 bytes are the caller's. */
typedef struct RX_Chunk {
  uint8_t caller_reserved[64];
  int32_t width;       /* elements per row */
  int32_t height;      /* rows */
  int32_t channels;    /* values per element */
  int32_t row_stride;  /* width * channels * element size */
  uint32_t type;       /* e.g. 'FLT4', first character highest */
  uint32_t reserved;
  KO_Handle handle;
  void* data;          /* the locked address, null while unlocked */
} RX_Chunk;

RX_ABI_ASSERT(offsetof(RX_Chunk, width) == 64 && offsetof(RX_Chunk, height) == 68 && offsetof(RX_Chunk, channels) == 72 &&
                  offsetof(RX_Chunk, row_stride) == 76 && offsetof(RX_Chunk, type) == 80 &&
                  offsetof(RX_Chunk, reserved) == 84 && offsetof(RX_Chunk, handle) == 88 &&
                  offsetof(RX_Chunk, data) == 96 && sizeof(RX_Chunk) == 104,
              "RX_Chunk layout");

RX_API RX_Err RX_NewChunk(int32_t width, int32_t height, int32_t channels, uint32_t type,
                          RX_Chunk* chunk);
/* Bytes per value of a type; an unknown type has 1. Always returns 0. */
RX_API RX_Err RX_ChunkDataSize(uint32_t type, int16_t* size);
RX_API RX_Err RX_LockChunk(RX_Chunk* chunk);
RX_API RX_Err RX_UnlockChunk(RX_Chunk* chunk);
RX_API RX_Err RX_DisposeChunk(RX_Chunk* chunk);

/* An effect's output destination: 32 bytes, the world first. Through
   slots 45 and 46, so that a module can put a device's memory behind it. */
typedef struct RX_Destination {
  RX_LayerDef* world;
  void* reserved[3];
} RX_Destination;

RX_ABI_ASSERT(offsetof(RX_Destination, reserved) == 8 && sizeof(RX_Destination) == 32, "RX_Destination layout");

RX_API RX_Err RX_OpenDestination(RX_LayerDef* world, void* unused, RX_Destination* out);
RX_API RX_Err RX_CloseDestination(RX_Destination* destination);
RX_API RX_Err RX_OpenDestination_S(RX_LayerDef* world, void* unused, RX_Destination* out);
RX_API RX_Err RX_CloseDestination_S(RX_Destination* destination);

RX_END_C

#endif
