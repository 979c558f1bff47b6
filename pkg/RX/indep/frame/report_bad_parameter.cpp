// The one bad-argument report of the pixel operations.
#include "RX_Messages.h"
#include "frame/reports.h"

RX_Err RX_ReportBadParameter(int16_t where) {
  rx::report_error(rx::location(static_cast<uint16_t>(where)), RXp_String(RX_Str_BadParameter));
  return RX_Result_Internal;
}
