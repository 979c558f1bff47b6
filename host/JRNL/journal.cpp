// Log lines go through the report sink like everything else; the text is
// kept apart from package and event so that sinks can match it as given.
#include "JRNL/JRNL.h"
#include "host_internal.h"

void JRNL_Log(int32_t level, const char* package, const char* event, const char* text) {
  rxhost::report(RXHost_Report_Log, level, 0, 0, text, package ? package : "", event ? event : "");
}
