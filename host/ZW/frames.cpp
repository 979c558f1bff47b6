// Frame memory of the frame store: KO blocks handed out without reports,
// since the frame store reports its own failures (with the image size).
#include <cstdio>

#include "KO/KO.h"
#include "ZW/ZW.h"
#include "host_internal.h"

HOST_Err ZW_CheckVersions(int32_t location, int32_t caller_version) {
  return rxhost::check_version("ZW", location, caller_version);
}

// KO blocks sit 16 bytes past a malloc address: 8-byte alignment holds.
void* ZW_AllocateFrameQuiet(size_t size) { return rxhost::block_allocate(size, false, true); }

void ZW_FreeFrame(void* block, size_t size) {
  if (!block) return;
  if (rxhost::block_size(block) != size) {
    // Freed all the same: the books follow the recorded size.
    rxhost::report(RXHost_Report_Verification, KO_Class_Error, 0, __LINE__,
                   "ZW_FreeFrame was given a size other than the frame's");
  }
  rxhost::block_free(block);
}

void ZW_ReportWorldAllocationFailure(int32_t, int32_t, int32_t width, int32_t height,
                                     int32_t bits_per_pixel) {
  char text[160];
  std::snprintf(text, sizeof text,
                "not enough memory for a %dx%d image buffer (%d bits per pixel)", width, height,
                bits_per_pixel);
  rxhost::report(RXHost_Report_ErrString, KO_Class_Error, 0, 0, text);
}
