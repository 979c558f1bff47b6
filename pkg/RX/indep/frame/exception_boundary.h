// The package's own code throws only RX_Err codes. Exported functions with
// such code beneath them turn what is thrown back into a result: a code
// becomes the result, a standard exception is reported by the host, which
// gives the code. Nothing else is caught.
#pragma once

#include <exception>

#include "KO/KO.h"
#include "RX_Results.h"

namespace rx {

[[noreturn]] inline void throw_code(RX_Err code) { throw code; }

template <class Body>
RX_Err protect(Body&& body) {
  try {
    return body();
  } catch (RX_Err code) {
    return code;
  } catch (const std::exception& e) {
    return KO_TranslateAndReportException(e);
  }
}

}  // namespace rx
