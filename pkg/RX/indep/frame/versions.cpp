// The version handshake with the caller and with the sibling libraries.
#include <cstdio>
#include <cstring>

#include "ADDN/ADDN.h"
#include "DSK/DSK.h"
#include "GE/GE.h"
#include "KO/KO.h"
#include "RX_Frame.h"
#include "RX_Messages.h"
#include "SEQ/SEQ.h"
#include "WRD/WRD.h"
#include "ZQFX/ZQFX.h"
#include "ZW/ZW.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"

namespace {

constexpr int32_t kPackageVersion = RX_HEADER_VERSION;
constexpr int32_t kPackageObjectVersion = kPackageVersion << 16;
constexpr int32_t kSiblingCheckLocation = 0x250063;

// The versions of the siblings' interfaces this package was built against.
RX_Err check_siblings() {
  RX_Err combined = 0;
  // Every sibling is asked, even after one has failed; each reports its own.
  combined |= KO_CheckVersions(kSiblingCheckLocation, 61);
  combined |= WRD_CheckVersions(kSiblingCheckLocation, 3);
  combined |= ZW_CheckVersions(kSiblingCheckLocation, 31);
  combined |= GE_CheckVersions(kSiblingCheckLocation, 18);
  combined |= DSK_CheckVersions(kSiblingCheckLocation, 39);
  combined |= SEQ_CheckVersions(kSiblingCheckLocation, 9);
  combined |= ZQFX_CheckVersions(kSiblingCheckLocation, 8);
  combined |= ADDN_CheckVersions(kSiblingCheckLocation, 11);
  return combined;
}

bool g_siblings_checked = false;

}  // namespace

RX_Err RX_CheckVersions(int32_t location, int32_t version) {
  // The siblings are checked on the first call only; later calls see a
  // combined result of zero.
  RX_Err combined = 0;
  if (!g_siblings_checked) {
    g_siblings_checked = true;
    combined = check_siblings();
  }
  if (version != kPackageVersion) {
    std::memset(KOp_G_err_buf, 0, sizeof KOp_G_err_buf);
    std::snprintf(KOp_G_buffer, sizeof KOp_G_buffer, rx::msg::kVersionMismatch, "RX",
                  kPackageVersion, "RX", version);
    KOp_ReportError(location, KO_Class_Version);
    return RX_Result_VersionMismatch;
  }
  return combined ? RX_Result_VersionMismatch : RX_Result_OK;
}

int32_t RX_PkgObjectVersion(void) { return kPackageObjectVersion; }

RX_Err RX_OverrideStdFuncs(void) {
  rx::report_error(rx::location(0x2F), RXp_String(RX_Str_ObsoleteRoutine));
  return RX_Result_InvalidCallback;
}
