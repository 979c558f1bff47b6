/* Single requests for the package's functions by selector, as effects make
   them. */
#ifndef RX_CALLBACKADDR_H
#define RX_CALLBACKADDR_H

#include "RX_Iterate.h"

RX_BEGIN_C

/* A function of the package, to be cast to the type its selector names. */
typedef void (*RX_CallbackFunc)(void);

/* Stores the function of selector into *out. quality 0 is low quality;
   bit 0 of mode_flags says straight (else premultiplied); the context is
   not read. A null out is the bad-parameter report (location 1) and
   RX_Result_Internal. An invalid selector (-10, -7, 0, or outside -13..37)
   stores null, reports "invalid callback selector" with 0x250001, class 8,
   and returns RX_Result_InvalidCallback.
   Selector 11 gives RX_GaussianKernel. The other valid selectors are not
   served yet: they store null and return RX_Result_Unimplemented. */
RX_API RX_Err RX_GetCallbackAddr(RX_EffectContext* context, int32_t quality, int32_t mode_flags,
                                 int32_t selector, RX_CallbackFunc* out);

RX_END_C

#endif
