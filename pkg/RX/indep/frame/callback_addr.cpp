// Single requests for the package's functions by selector. Selectors run
// from -13 to 37; -10, -7 and 0 are holes. Served so far: the Gaussian
// kernel (11), which the uno blur scans fetch this way.
#include "RX_CallbackAddr.h"

#include "RX_Convolve.h"
#include "RX_Messages.h"
#include "frame/reports.h"

namespace {

constexpr int16_t kNullOutLocation = 1;
constexpr int32_t kInvalidSelectorLocation = 0x250001;
constexpr int32_t kFirstSelector = -13;
constexpr int32_t kLastSelector = 37;

constexpr int32_t kGaussianKernel = 11;

bool is_hole(int32_t selector) { return selector == -10 || selector == -7 || selector == 0; }

}  // namespace

RX_Err RX_GetCallbackAddr(RX_EffectContext*, int32_t, int32_t, int32_t selector,
                          RX_CallbackFunc* out) {
  if (!out) return RX_ReportBadParameter(kNullOutLocation);
  if (selector < kFirstSelector || selector > kLastSelector || is_hole(selector)) {
    *out = nullptr;
    rx::report_error(kInvalidSelectorLocation, RXp_String(RX_Str_InvalidCallbackSelector));
    return RX_Result_InvalidCallback;
  }
  switch (selector) {
    case kGaussianKernel:
      *out = reinterpret_cast<RX_CallbackFunc>(&RX_GaussianKernel);
      return RX_Result_OK;
    default:
      *out = nullptr;
      return RX_Result_Unimplemented;
  }
}
