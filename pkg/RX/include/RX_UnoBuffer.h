/* Mask buffers ("uno" buffers): single-channel rasters with packed rows and
   no origin, the package's form for masks and coverage. Depth 8 (white
   255), 16, called deep (white 32768), or 32-bit float (white 1.0). The
   pixels lie behind a handle that every operation reads afresh.

   Buffers combine by the uno modes, transfer through a mask, multiply a
   world's alpha, and blur line by line through the uno blur scans. Every
   operation first checks its buffers: a null buffer, a wrong magic or a
   null handle is reported as "damaged mask buffer" and the operation goes
   on; where there is then nothing to work on (a null buffer or handle) it
   returns RX_Result_Internal. */
#ifndef RX_UNOBUFFER_H
#define RX_UNOBUFFER_H

#include "KO/KO.h"
#include "RX_Pixels.h"

RX_BEGIN_C

#define RX_UnoBufferMagic 0xfeedabbau

/* Rows are packed: (width * depth) / 8 bytes apart, with no alignment. The
   block holds width * height * bytes-a-value bytes, bytes-a-value being
   depth / 8 (the constructor also makes depth 1, one byte a value, and
   depth 0, two bytes a value). */
typedef struct RX_UnoBuffer {
  uint32_t magic;    /* RX_UnoBufferMagic while the record is valid */
  int32_t width;
  int32_t height;
  KO_Handle pixels;  /* null before construction and after destruction */
  int32_t depth;     /* 8, 16 or 32 */
#ifdef __cplusplus
  /* Constructs in place: magic, sizes, depth, and an uninitialised block.
     Throws RX_Result_OutOfMemory when the block cannot be had, and
     RX_Result_Internal (after the bad-parameter report) for a negative side
     or a depth other than 0, 1, 8, 16, 32. */
  RX_UnoBuffer(int32_t width, int32_t height, int32_t depth);
  /* Checks the record and frees the block; magic stays as it is, so that a
     second destruction is reported as damaged. */
  ~RX_UnoBuffer();
  RX_UnoBuffer(const RX_UnoBuffer&) = delete;
  RX_UnoBuffer& operator=(const RX_UnoBuffer&) = delete;
  /* Records made with new are counted by the utilities library. */
  static void* operator new(size_t size);
  static void operator delete(void* block) noexcept;
  static void* operator new(size_t, void* place) noexcept { return place; }
  static void operator delete(void*, void*) noexcept {}
#endif
} RX_UnoBuffer;

#ifdef __cplusplus
static_assert(offsetof(RX_UnoBuffer, magic) == 0, "RX_UnoBuffer layout");
static_assert(offsetof(RX_UnoBuffer, width) == 4, "RX_UnoBuffer layout");
static_assert(offsetof(RX_UnoBuffer, height) == 8, "RX_UnoBuffer layout");
static_assert(offsetof(RX_UnoBuffer, pixels) == 16, "RX_UnoBuffer layout");
static_assert(offsetof(RX_UnoBuffer, depth) == 24, "RX_UnoBuffer layout");
static_assert(sizeof(RX_UnoBuffer) == 32, "RX_UnoBuffer layout");
#else
_Static_assert(sizeof(RX_UnoBuffer) == 32, "RX_UnoBuffer layout");
#endif

/* How a source value s combines into a destination value d. At 8 bits any
   other value acts as RX_UnoMode_Screen; at 16 bits only these exist. */
typedef enum RX_UnoMode {
  RX_UnoMode_DitheredScreen = -1, /* 8 bits: Screen with noise for rounding; 16 bits: Screen */
  RX_UnoMode_Screen = 1,          /* W - (W - s)(W - d) / W */
  RX_UnoMode_Subtract = 2,        /* (W - s) d / W */
  RX_UnoMode_Multiply = 3,        /* s d / W; clears dst outside the area */
  RX_UnoMode_Lighter = 4,         /* max(s, d) */
  RX_UnoMode_Darker = 5,          /* min(s, d); clears dst outside the area */
  RX_UnoMode_Difference = 6,      /* |s - d| */
  RX_UnoMode_Add = 7              /* min(s + d, W); 8 bits into 16: d + s, wrapping */
} RX_UnoMode;

/* ---- life ---- */

/* A new buffer of depth 8 (16 for the deep form), pixels uninitialised.
   RX_Result_OutOfMemory with *out null when memory fails (also when the
   block would not be addressable with 32-bit offsets). */
RX_API RX_Err RX_NewUnoBuffer(uint32_t width, uint32_t height, RX_UnoBuffer** out);
RX_API RX_Err RX_NewDeepUnoBuffer(uint32_t width, uint32_t height, RX_UnoBuffer** out);
/* 0 for null; otherwise checks, frees the block and the record. */
RX_API RX_Err RX_DisposeUnoBuffer(RX_UnoBuffer* buffer);

/* ---- whole-buffer operations ---- */

/* Every value set to the float's bits. */
RX_API RX_Err RX_FillFloatUnoBuffer(float value, RX_UnoBuffer* buffer);
/* Multiplies every value by opacity: (v * o + 16383) >> 15 with
   o = trunc(opacity * 32768 + 0.5) at depth 16; at any other depth,
   float included, the first width * height bytes are taken as 8-bit values
   and rounded-multiplied by o = trunc(opacity * 255 + 0.5). progress is not
   read; there is no abort check. */
RX_API RX_Err RX_FadeUnoBuffer(const RX_ProgressInfo* progress, float opacity,
                               RX_UnoBuffer* buffer);
/* W - v for every value, then multiplied by the fade (16.16, 0x10000 = 1.0).
   Rows go through the generic iterate; the abort function is asked before
   each row on thread 0. Float buffers become (1 - v) * fade. */
RX_API RX_Err RX_InvertAndFadeUnoBuffer(const RX_ProgressInfo* progress, int32_t fade,
                                        RX_UnoBuffer* buffer);
/* RX_InvertAndFadeUnoBuffer with a fade of 0x10000. */
RX_API RX_Err RX_InvertUnoBuffer(const RX_ProgressInfo* progress, RX_UnoBuffer* buffer);
/* Converts rect of a 16-bit src into dst at the same positions, dividing
   by divisor with rounding: 16 to 16, 16 to 8 (low byte), 16 to float
   (v * (1 / divisor)). A source of another depth, or a destination of
   another depth, returns 0 at once. */
RX_API RX_Err RX_ConvertDeepUnoBuffer(const RX_ProgressInfo* progress, const RX_UnoBuffer* src,
                                      GE_LRect rect, uint16_t divisor, RX_UnoBuffer* dst);

/* ---- two-buffer operations ----
   rect is in src; its corner lands on dst_point of dst (null: the rect's
   corner). The area is cut to src and to dst; an empty area returns 0 and
   changes nothing. Modes 3 and 5 clear every dst value outside the area. */

/* dst += (src - dst) * mask over the area, mask read with src's geometry
   (it must have src's size and depth; dst must have src's depth). The
   value transferred is the same for every mode. */
RX_API RX_Err RX_TransferUnoBuffers(const RX_ProgressInfo* progress, const RX_UnoBuffer* src,
                                    const RX_UnoBuffer* mask, int32_t mode, GE_LRect rect,
                                    const GE_LPoint* dst_point, RX_UnoBuffer* dst);

/* ---- rows behind the override slots ---- */

/* Transfer rows (slots 56 and 85): dst[i] += (src[i] - dst[i]) * mask[i]. */
typedef void (*RX_UnoTransferRow8)(int32_t count, const uint8_t* src, const uint8_t* mask,
                                   uint8_t* dst);
typedef void (*RX_UnoTransferRow16)(int32_t count, const uint16_t* src, const uint16_t* mask,
                                    uint16_t* dst);
/* The Add row of an 8-bit source into a 16-bit destination (slot 81):
   dst[i] = dst[i] + src[i], wrapping at 16 bits. */
typedef void (*RX_UnoAddRow8To16)(int32_t count, const uint8_t* src, uint16_t* dst);
/* Merge rows (slots 55, 62, 93, 113, 114): the alpha of count pixels
   multiplied by count mask values. */
typedef void (*RX_MergeMaskRow8Into8)(int32_t count, const uint8_t* mask, RX_Pixel8* pixels);
typedef void (*RX_MergeMaskRow8Into16)(int32_t count, const uint8_t* mask, RX_Pixel16* pixels);
typedef void (*RX_MergeMaskRow16Into16)(int32_t count, const uint16_t* mask, RX_Pixel16* pixels);
typedef void (*RX_MergeMaskRow8IntoFloat)(int32_t count, const uint8_t* mask,
                                          RX_PixelFloat* pixels);
typedef void (*RX_MergeMaskRow16IntoFloat)(int32_t count, const uint16_t* mask,
                                           RX_PixelFloat* pixels);

RX_API void RX_UnoTransferRow8_S(int32_t count, const uint8_t* src, const uint8_t* mask,
                                 uint8_t* dst);
RX_API void RX_UnoTransferRow16_S(int32_t count, const uint16_t* src, const uint16_t* mask,
                                  uint16_t* dst);
RX_API void RX_UnoAddRow8To16_S(int32_t count, const uint8_t* src, uint16_t* dst);
RX_API void RX_MergeMaskRow8Into8_S(int32_t count, const uint8_t* mask, RX_Pixel8* pixels);
RX_API void RX_MergeMaskRow8Into16_S(int32_t count, const uint8_t* mask, RX_Pixel16* pixels);
RX_API void RX_MergeMaskRow16Into16_S(int32_t count, const uint16_t* mask, RX_Pixel16* pixels);
RX_API void RX_MergeMaskRow8IntoFloat_S(int32_t count, const uint8_t* mask,
                                        RX_PixelFloat* pixels);
RX_API void RX_MergeMaskRow16IntoFloat_S(int32_t count, const uint16_t* mask,
                                         RX_PixelFloat* pixels);

/* ---- blur scans ----
   Blur one contiguous line of width values in place so that columns
   left .. right - 1 come out right; radius is 16.16 fixed point. kind 0
   and other values pick a cheap box, kind 1 a Gaussian kernel; the Box
   scans turn large radii into repeated boxes (one pass for kind 0, three
   for others). Columns around the range, within the margins, are written
   too. scratch is the caller's, a copy of the line with margins: width +
   4 * ceil(radius / 65536) + 4 values suffice for every kind. A radius of
   0 or less, or a range that is empty once cut to the line, returns 0
   with the line unchanged. The kernel comes from RX_GaussianKernel
   through RX_GetCallbackAddr and is kept in the package's one kernel
   cache until another radius is asked for; results: 0, 4 when the kernel
   cannot be had, or the kernel callback's error (the line unchanged). */
RX_API RX_Err RX_BoxBlurUnoScan(int32_t kind, int32_t width, int32_t left, int32_t right,
                                int32_t radius, uint8_t* scratch, uint8_t* line);
RX_API RX_Err RX_GBlurUnoScan(int32_t kind, int32_t width, int32_t left, int32_t right,
                              int32_t radius, uint8_t* scratch, uint8_t* line);
RX_API RX_Err RX_BoxBlurDeepUnoScan(int32_t kind, int32_t width, int32_t left, int32_t right,
                                    int32_t radius, uint16_t* scratch, uint16_t* line);
RX_API RX_Err RX_GBlurDeepUnoScan(int32_t kind, int32_t width, int32_t left, int32_t right,
                                  int32_t radius, uint16_t* scratch, uint16_t* line);
/* The defaults behind slots 54, 88 (and 82), 92 and 89. */
RX_API RX_Err RX_BoxBlurUnoScan_S(int32_t kind, int32_t width, int32_t left, int32_t right,
                                  int32_t radius, uint8_t* scratch, uint8_t* line);
RX_API RX_Err RX_GBlurUnoScan_S(int32_t kind, int32_t width, int32_t left, int32_t right,
                                int32_t radius, uint8_t* scratch, uint8_t* line);
RX_API RX_Err RX_BoxBlurDeepUnoScan_S(int32_t kind, int32_t width, int32_t left, int32_t right,
                                      int32_t radius, uint16_t* scratch, uint16_t* line);
RX_API RX_Err RX_GBlurDeepUnoScan_S(int32_t kind, int32_t width, int32_t left, int32_t right,
                                    int32_t radius, uint16_t* scratch, uint16_t* line);
typedef RX_Err (*RX_UnoBlurScan8)(int32_t kind, int32_t width, int32_t left, int32_t right,
                                  int32_t radius, uint8_t* scratch, uint8_t* line);
typedef RX_Err (*RX_UnoBlurScan16)(int32_t kind, int32_t width, int32_t left, int32_t right,
                                   int32_t radius, uint16_t* scratch, uint16_t* line);

RX_END_C

#ifdef __cplusplus

class RX_World;

RX_VISIBLE_BEGIN

/* Fills the whole buffer, or rect of it, with value: a byte fill over the
   rect's bytes at any depth (so 0 clears every depth). A rect that is
   empty fills nothing; one that reaches outside the buffer is refused with
   the bad-parameter report and RX_Result_Internal. */
RX_API RX_Err RX_FillUnoBuffer(uint8_t value, RX_UnoBuffer* buffer);
RX_API RX_Err RX_FillUnoBuffer(uint8_t value, const GE_LRect& rect, RX_UnoBuffer* buffer);
/* The same with 16-bit words, on 16-bit buffers only. */
RX_API RX_Err RX_FillDeepUnoBuffer(uint16_t value, RX_UnoBuffer* buffer);
RX_API RX_Err RX_FillDeepUnoBuffer(uint16_t value, const GE_LRect& rect, RX_UnoBuffer* buffer);

/* Combines src into dst by mode (an RX_UnoMode). The opacity form scales
   the source by opacity and lets Screen rise no higher than opacity_limit
   (both 1.0 in the other forms); then modes other than Screen add.
   Pairs of depths: 8 into 8, 16 into 16, and 8 into 16 (plain: Add only).
   Areas of 76800 values and more go through the generic iterate slot,
   smaller ones run serially. */
RX_API RX_Err RX_AccumulateUnoBuffers(const RX_ProgressInfo* progress, const RX_UnoBuffer* src,
                                      int32_t mode, GE_LRect rect, RX_UnoBuffer* dst);
RX_API RX_Err RX_AccumulateUnoBuffers(const RX_ProgressInfo* progress, const RX_UnoBuffer* src,
                                      int32_t mode, GE_LRect rect, const GE_LPoint* dst_point,
                                      RX_UnoBuffer* dst);
RX_API RX_Err RX_AccumulateUnoBuffers(const RX_ProgressInfo* progress, const RX_UnoBuffer* src,
                                      int32_t mode, float opacity_limit, float opacity,
                                      GE_LRect rect, const GE_LPoint* dst_point,
                                      RX_UnoBuffer* dst);

/* Multiplies the alpha of world (an RX_WorldX of any depth) by mask placed
   with its corner at (x, y), over area (null: the whole world, cut to the
   world) and within rect of the mask (null: all of it). Alpha of the area
   outside the mask is cleared; an area the mask misses entirely loses all
   its channels. Throws the code as an RX_Err. */
RX_API void RX_MergeMaskAlpha(const RX_ProgressInfo* progress, int32_t x, int32_t y,
                              const GE_LRect* rect, const RX_UnoBuffer* mask,
                              const GE_LRect* area, RX_World* world);

RX_VISIBLE_END

#endif

#endif
