// The mode records: names, the host's flag query, and the choice of
// opacity when a mode record carries it twice.
#include <cmath>
#include <iterator>

#include "RX_Modes.h"

namespace {

// Bit (mode + 3) answers RX_GetTransferFlags; the constant stands as it is.
constexpr uint64_t kTransferFlags = 0x300120FF7B9ull;
constexpr int32_t kLastFlaggedMode = 60;
// One 8-bit step, 1/255.
constexpr double kEightBitStep = 0.00392156862745098;

constexpr const char* kNames[] = {
    "RX_Xfer_ReplaceRaw",    "RX_Xfer_MaskMix",        "RX_Xfer_None",
    "RX_Xfer_Copy",          "RX_Xfer_Behind",         "RX_Xfer_Over",
    "RX_Xfer_Dissolve",      "RX_Xfer_Add",            "RX_Xfer_Multiply",
    "RX_Xfer_Screen",        "RX_Xfer_Overlay",        "RX_Xfer_SoftLight",
    "RX_Xfer_HardLight",     "RX_Xfer_Darken",         "RX_Xfer_Lighten",
    "RX_Xfer_Difference",    "RX_Xfer_Hue",            "RX_Xfer_Saturation",
    "RX_Xfer_Color",         "RX_Xfer_Luminosity",     "RX_Xfer_MultiplyAlpha",
    "RX_Xfer_MultiplyAlphaLuma", "RX_Xfer_MultiplyNotAlpha", "RX_Xfer_MultiplyNotAlphaLuma",
    "RX_Xfer_AddPremul",     "RX_Xfer_AlphaAdd",       "RX_Xfer_ColorDodge",
    "RX_Xfer_ColorBurn",     "RX_Xfer_Exclusion",      "RX_Xfer_Difference2",
    "RX_Xfer_ColorDodge2",   "RX_Xfer_ColorBurn2",     "RX_Xfer_LinearDodge",
    "RX_Xfer_LinearBurn",    "RX_Xfer_LinearLight",    "RX_Xfer_VividLight",
    "RX_Xfer_PinLight",      "RX_Xfer_HardMix",        "RX_Xfer_LighterColor",
    "RX_Xfer_DarkerColor",   "RX_Xfer_Subtract",       "RX_Xfer_Divide",
};
static_assert(std::size(kNames) == RX_LastTransferMode - RX_FirstTransferMode + 1);

}  // namespace

int32_t RX_GetTransferFlags(int32_t mode) {
  if (mode < RX_FirstTransferMode || mode > kLastFlaggedMode) return 0;
  return int32_t((kTransferFlags >> (mode - RX_FirstTransferMode)) & 1);
}

const char* RX_TransferModeName(int32_t mode) {
  if (mode < RX_FirstTransferMode || mode > RX_LastTransferMode) return nullptr;
  return kNames[mode - RX_FirstTransferMode];
}

// A caller that filled only the 8-bit opacity is still obeyed.
RX_CompositeModePlus::RX_CompositeModePlus(const RX_CompositeMode& mode)
    : blend_mode(mode.blend_mode), random_seed(mode.random_seed), keep_dst_alpha(mode.keep_dst_alpha),
      tables(nullptr) {
  const double o8 = mode.opacity / 255.0;
  const double o16 = mode.opacity16 * 0x1p-15;
  opacity = float(std::fabs(o8 - o16) < kEightBitStep ? o16 : o8);
}
