// The generic iterate's serial default: iterations in order on the calling
// thread, thread index 0. A module may replace it with a parallel form,
// since iterations must not depend on one another.
#include "RX_Iterate.h"

namespace {
constexpr int16_t kGenericLocation = 70;
// A count of -1 asks for one call on the caller's thread, with no
// distinction of iterations.
constexpr int32_t kRunOnce = -1;
}  // namespace

RX_Err RX_IterateGeneric_Static(int32_t count, void* refcon, RX_GenericIterFunc func) {
  if (!func) return RX_ReportBadParameter(kGenericLocation);
  if (count == kRunOnce) return func(refcon, 0, 0, 1);
  RX_Err err = RX_Result_OK;
  for (int32_t i = 0; i < count; ++i) {
    err = func(refcon, 0, i, count);
    if (err != RX_Result_OK) return err;
  }
  return err;
}
