// Scratch of the transfer and transform operations, kept from birth to
// death: three rows shared by all depths (saved alpha, mask line, working
// line) and seven motion blur buffers of fixed size.
#pragma once

#include "RX_Results.h"
#include "RX_TransferRect.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A scratch set: words 0 to 2 the three rows, words 3 to 9 the motion blur
   buffers. */
typedef RX_TransferScratch RX_ScratchSet;

enum { RX_ScratchAlphaRow = 0, RX_ScratchMaskLine = 1, RX_ScratchWorkLine = 2,
       RX_ScratchMotionBlurFirst = 3, RX_MotionBlurBufferCount = 7 };

/* The shared rows and their capacity in bytes of one pixel line. */
typedef struct RX_BlendScratch {
  void* alpha_row;
  void* mask_line;
  void* work_line;
  int32_t capacity;
} RX_BlendScratch;

extern RX_BlendScratch RXp_G_BlendScratch;

/* Rows for pixels pixels of bytes_per_channel (1, 2 or 4) bytes a channel.
   A request beyond the capacity, or force, frees and reallocates all three;
   a failure frees those got, zeroes the capacity and gives 4. Rows are
   never shrunk otherwise. Fills words 0 to 2 of scratch when non-null. */
RX_Err RXp_ReallocScratch(int32_t pixels, int32_t bytes_per_channel, int32_t force, RX_ScratchSet* scratch);
void RXp_FreeBlendScratch(void);

/* The seven motion blur buffers, allocated once; a failure keeps those got
   and gives 4. */
RX_Err RX_AllocateMotionBlurScratch(void);
void RX_DisposeMotionBlurScratch(void);
/* Buffer i (0 to 6), or null. */
void* RXp_MotionBlurBuffer(int32_t index);

#ifdef __cplusplus
}
#endif
