/* Result codes and the progress record. Every operation returns an RX_Err;
   code inside world objects throws it and the exported boundary returns it. */
#ifndef RX_RESULTS_H
#define RX_RESULTS_H

#include "RX_Config.h"

RX_BEGIN_C

typedef int32_t RX_Err;

enum {
  RX_Result_OK = 0,
  RX_Result_Internal = 3,          /* bad argument or failed verification */
  RX_Result_OutOfMemory = 4,
  RX_Result_Unimplemented = 5,
  RX_Result_VersionMismatch = 7,
  RX_Result_NoBackingBitmap = 513, /* GetZWWorld on a world with no bitmap */
  RX_Result_ParamOutOfRange = 514, /* frame blending parameter out of range */
  RX_Result_InvalidCallback = 515,
  RX_Result_BadCallbackParam = 516,
  RX_Result_Interrupted = 517      /* user abort, as a progress callback returns it */
};

/* RX_Birth's result when the colour-engine bridge could not connect. It is
   none of the codes above and is kept as the value callers know. */
#define RX_Birth_BridgeFailed 1

/* Lets a caller stop a long operation and follow it. Null functions mean
   no abort and no progress. */
typedef RX_Err (*RX_AbortFunc)(void* refcon);
typedef RX_Err (*RX_ProgressFunc)(void* refcon, int32_t current, int32_t total);

typedef struct RX_ProgressInfo {
  void* refcon;
  RX_AbortFunc abort_func;
  RX_ProgressFunc progress_func;
} RX_ProgressInfo;

RX_ABI_ASSERT(offsetof(RX_ProgressInfo, abort_func) == 8 && offsetof(RX_ProgressInfo, progress_func) == 16 &&
                  sizeof(RX_ProgressInfo) == 24,
              "RX_ProgressInfo layout");

/* Reports "bad parameter passed to effect callback" with location
   0x250000 | location and class 8; returns RX_Result_Internal. */
RX_API RX_Err RX_ReportBadParameter(int16_t location);

RX_END_C

#endif
