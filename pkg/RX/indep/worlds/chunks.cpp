// Chunks: blocks of typed elements behind a handle of the utilities
// library. "Locking" only publishes the handle's address.
#include <cstring>

#include "RX_EffectWorlds.h"
#include "RX_Frame.h"
#include "RX_Messages.h"
#include "frame/reports.h"

namespace {

constexpr int32_t kChunkLocation = 0x25004A;

constexpr uint32_t fourcc(const char (&s)[5]) {
  return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) |
         (uint32_t(uint8_t(s[2])) << 8) | uint32_t(uint8_t(s[3]));
}

RX_Err refuse() {
  rx::report_error(kChunkLocation, RXp_String(RX_Str_InvalidParameter));
  return RX_Result_BadCallbackParam;
}

}  // namespace

RX_Err RX_ChunkDataSize(uint32_t type, int16_t* size) {
  switch (type) {
    case fourcc("DBL8"): *size = 8; break;
    case fourcc("FLT4"): case fourcc("LON4"): case fourcc("FIX4"): case fourcc("UFX4"): *size = 4; break;
    case fourcc("RBG "): *size = 3; break;
    case fourcc("SHT2"): case fourcc("UST2"): *size = 2; break;
    default: *size = 1; break;  // CHR1, UBT1 and any other type
  }
  return RX_Result_OK;
}

RX_Err RX_NewChunk(int32_t width, int32_t height, int32_t channels, uint32_t type, RX_Chunk* chunk) {
  if (width < 1 || height < 1 || channels < 1 || !chunk) return refuse();
  chunk->width = width;
  chunk->height = height;
  chunk->channels = channels;
  chunk->type = type;
  chunk->handle = nullptr;
  chunk->data = nullptr;
  int16_t element_size = 1;
  RX_ChunkDataSize(type, &element_size);
  chunk->row_stride = element_size * width * channels;
  chunk->handle = KO_AllocateHandleClear(kChunkLocation, RXp_String(RX_Str_ChannelChunkMemory),
                                         size_t(height) * size_t(chunk->row_stride));
  if (!chunk->handle) return RX_Result_OutOfMemory;
  if (RX_Err err = RX_LockChunk(chunk)) {
    KO_FreeHandle(chunk->handle);
    chunk->handle = nullptr;
    return err;
  }
  ++RXp_G_ChunkCount;
  return RX_Result_OK;
}

RX_Err RX_LockChunk(RX_Chunk* chunk) {
  if (!chunk || !chunk->handle) return refuse();
  chunk->data = *chunk->handle;
  return RX_Result_OK;
}

RX_Err RX_UnlockChunk(RX_Chunk* chunk) {
  if (!chunk || !chunk->data) return refuse();
  chunk->data = nullptr;
  return RX_Result_OK;
}

RX_Err RX_DisposeChunk(RX_Chunk* chunk) {
  if (!chunk) return refuse();
  if (chunk->handle) {
    KO_FreeHandle(chunk->handle);
    --RXp_G_ChunkCount;
  }
  std::memset(chunk, 0, sizeof *chunk);
  return RX_Result_OK;
}
