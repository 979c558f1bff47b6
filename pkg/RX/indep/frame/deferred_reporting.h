// Operations whose failures the host wants reported once and later: their
// reports are held by the host and flushed from its own loop.
#pragma once

#include "KO/KO.h"
#include "RX_Results.h"

namespace rx {

// Runs body with reports deferred; the result is body's code if non-zero,
// else the code of flushing the held reports.
template <class Body>
RX_Err with_deferred_reports(Body&& body) {
  KO_DeferredState state{};
  KO_DeferredReportingStart(KO_Class_Version, &state);
  const RX_Err err = body();
  const RX_Err flushed = KO_DeferredReportingEndAsync(0, 0, 0, &state);
  return err != RX_Result_OK ? err : flushed;
}

}  // namespace rx
