// Installs the defaults of the mask slots. (The dithered Screen of 8 bits is
// not a slot but a row of the 8-bit mode table; its form is the variant
// registry's to choose.)
#include "masks/mask_slots.h"

#include "RX_Frame.h"
#include "RX_UnoBuffer.h"

namespace rx {
namespace {

template <class F>
void put(RX_Slot slot, F* func) {
  RXp_G_OverFuncs[slot] = reinterpret_cast<RX_OverFunc>(func);
}

}  // namespace

void install_mask_slots() {
  put(RX_Slot_MaskMergeScan8Into8, RX_MergeMaskRow8Into8_S);
  put(RX_Slot_MaskMergeScan8Into16, RX_MergeMaskRow8Into16_S);
  put(RX_Slot_MaskMergeScanDeepInto16, RX_MergeMaskRow16Into16_S);
  put(RX_Slot_MaskMergeScan8IntoFloat, RX_MergeMaskRow8IntoFloat_S);
  put(RX_Slot_MaskMergeScanDeepIntoFloat, RX_MergeMaskRow16IntoFloat_S);
  put(RX_Slot_MaskTransferScan8To8, RX_UnoTransferRow8_S);
  put(RX_Slot_MaskTransferScanDeepToDeep, RX_UnoTransferRow16_S);
  put(RX_Slot_MaskTransferScan8ToDeep, RX_UnoAddRow8To16_S);
  // The blur scans: the 8-bit pair (Box 54, G 88) and the deep pair (Box
  // 92, G 89); slot 82 holds the 8-bit G scan too.
  put(RX_Slot_MaskBoxBlurScan8, RX_BoxBlurUnoScan_S);
  put(RX_Slot_MaskBlurScan8Pair, RX_GBlurUnoScan_S);
  put(RX_Slot_MaskBlurScan, RX_GBlurUnoScan_S);
  put(RX_Slot_MaskBoxBlurScanDeep, RX_BoxBlurDeepUnoScan_S);
  put(RX_Slot_MaskBlurScanDeepPair, RX_GBlurDeepUnoScan_S);
}

}  // namespace rx
