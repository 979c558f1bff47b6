// Reading a caller's RX_ProgressInfo. A null record, or null functions in
// it, mean no abort and no progress; each is tested before use.
#pragma once

#include "RX_Results.h"

namespace rx {

// Progress if the caller wants it, else an abort check; non-zero stops.
inline RX_Err poll_progress(const RX_ProgressInfo* info, int32_t current, int32_t total) {
  if (!info) return RX_Result_OK;
  if (info->progress_func) return info->progress_func(info->refcon, current, total);
  if (info->abort_func) return info->abort_func(info->refcon);
  return RX_Result_OK;
}

// The abort check alone, for loops that never report progress.
inline RX_Err poll_abort(const RX_ProgressInfo* info) {
  if (!info || !info->abort_func) return RX_Result_OK;
  return info->abort_func(info->refcon);
}

}  // namespace rx
