// How the package reports: every message goes to the host through the
// utilities library. Location codes carry the package number 0x25 in the
// upper half.
#pragma once

#include <cstdint>

#include "KO/KO.h"
#include "RX_Results.h"

namespace rx {

inline constexpr int32_t kPackageCode = 0x25;
inline constexpr int32_t kGeneralLocation = 0x2503E7;  // verifications with no site of their own

constexpr int32_t location(int32_t code) { return (kPackageCode << 16) | code; }

// A failed verification: the text, the location and the reporting site's
// line as a stable identifier. Execution goes on after it.
inline void report_verification(const char* text, int32_t where = kGeneralLocation,
                                 int32_t line = __builtin_LINE()) {
  KO_ReportFailedVerification(where, line, 0, text);
}

// An error of class 8 shown to the user.
inline void report_error(int32_t where, const char* text) {
  KOp_ReportErrString(where, KO_Class_Error, text);
}

}  // namespace rx
