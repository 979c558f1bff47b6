// Starting and stopping the package, in a fixed order. A failure during
// birth leaves at once with its code and undoes nothing; the override table
// is filled late, so it stays empty then.
#include <algorithm>

#include "GE/GE.h"
#include "JRNL/JRNL.h"
#include "MIX/MIX.h"
#include "RX_ColorManagement.h"
#include "RX_Frame.h"
#include "RX_Transfer.h"
#include "TIN/TIN.h"
#include "bridge/nex_client.h"
#include "compositing/blend_scratch.h"
#include "frame/accel_modules.h"
#include "frame/cpu_features.h"
#include "frame/exception_boundary.h"
#include "frame/override_table.h"
#include "frame/process_tables.h"
#include "masks/uno_kernel_cache.h"

namespace {

constexpr int32_t kLogLevel = 10;
constexpr int32_t kScratchPixelsAtBirth = 1024;
constexpr int32_t kScratchBytesPerChannelAtBirth = 1;

RX_Err fetch_dither_table() {
  const uint32_t* words = nullptr;
  int32_t length = 0;
  if (RX_Err err = MIX_GetPrimeSizedTable(&words, &length)) return err;
  RXp_G_DitherTable = {words, words + length, words};
  return RX_Result_OK;
}

RX_Err size_scratch_at_birth() {
  if (RX_Err err = RX_AllocateMotionBlurScratch()) return err;
  return RXp_ReallocScratch(kScratchPixelsAtBirth, kScratchBytesPerChannelAtBirth, 0, nullptr);
}

// Steps after the tables: each leaves at once on failure.
RX_Err prepare_after_tables() {
  if (RX_Err err = rx::protect(fetch_dither_table)) return err;
  RXp_InitBlendTables();
  if (RX_Err err = size_scratch_at_birth()) return err;
  if (RX_Err err = rx::prepare_acceleration()) return err;
  rx::fill_override_table();
  return RX_Result_OK;
}

}  // namespace

RX_Err RX_Birth(void) {
  JRNL_Log(kLogLevel, "RX", "Birth", "RX Birth");

  RX_Err err = RX_Result_OK;
  if (rx::has_sse2()) {
    err = rx::protect([] {
      rx::fill_vector_constants();
      return RX_Err{RX_Result_OK};
    });
  }
  std::fill(std::begin(RXp_G_OverFuncs), std::end(RXp_G_OverFuncs), nullptr);
  RXp_G_LiveWorldCount = 0;
  RXp_G_ChunkCount = 0;
  rx::fill_byte_float_table();

  if (err == RX_Result_OK) err = GE_PrepareFCMD(1, 0, 0, &RXp_G_fcm_table, &RXp_G_fcd_table);
  RXp_G_DivideTable = RXp_G_fcd_table;  // the transfer functions' name for it
  if (err == RX_Result_OK) err = prepare_after_tables();
  if (err != RX_Result_OK) return err;

  NEX_LookupProc lookup = nullptr;
  if (RX_Err tin_err = TIN_GetNEXAddressProc(&lookup)) return tin_err;
  // A failed connection gives 1, which is none of the package's error codes.
  return rx::nex::connect(lookup) ? RX_Result_OK : RX_Birth_BridgeFailed;
}

RX_Err RX_Death(void) {
  JRNL_Log(kLogLevel, "RX", "Death", "RX Death");

  const RX_Err tables_err = GE_UnprepareFCMD();
  RXp_G_DivideTable = nullptr;
  const RX_Err modules_err = rx::release_acceleration_modules();
  const RX_Err result = tables_err ? tables_err : modules_err;

  RXp_FreeBlendScratch();
  rx::uno::release_kernel_cache();  // the uno blur scans' kernel, kept between calls
  RX_DisposeMotionBlurScratch();
  // The colour caches only after a clean death so far; on a failure they
  // are deliberately left alone.
  if (result == RX_Result_OK) {
    rx::protect([] {
      RXp_ReleaseColourCaches();
      return RX_Err{RX_Result_OK};
    });
  }
  rx::nex::disconnect();
  return result;
}

RX_Err RX_FreeUpSomeMemory(void) {
  // Forced: larger rows are replaced by the size of birth.
  return RXp_ReallocScratch(kScratchPixelsAtBirth, kScratchBytesPerChannelAtBirth, 1, nullptr);
}
