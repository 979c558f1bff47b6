// Depth and pixel-format queries of effect world records. None of them
// throws; unknown codes are reported and answered with a default.
#include "RX_Pixels.h"
#include "RX_World.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"

namespace {

constexpr uint32_t kFormatByteMask = 0xFFu << RX_LayerFlag_FormatShift;

}  // namespace

int32_t RXp_WorldDepth(const RX_LayerDef* world) {
  // The object knows its depth; its 16-bit answer is sign-extended.
  if (world->world_object) return world->world_object->Depth();
  switch ((world->layer_flags & kFormatByteMask) >> RX_LayerFlag_FormatShift) {
    case RX_FormatCode_8:
      return 8;
    case RX_FormatCode_16:
      return 16;
    case RX_FormatCode_Float:
      return 32;
    default:
      // Reported, not fatal: the depth stays at its default of 8.
      rx::report_verification(rx::msg::kUnknownPixelFormat);
      return 8;
  }
}

RX_Err RX_GetEffectWorldDepth(const RX_LayerDef* world, int32_t* depth) {
  *depth = RXp_WorldDepth(world);
  return RX_Result_OK;
}

RX_Err RXp_GetPixelFormat(const RX_LayerDef* world, RX_PixelFormat* format) {
  if (!world || !format) {
    rx::report_verification(rx::msg::kBadParameterGetPixelFormat);
    return RX_Result_Internal;
  }
  switch (RXp_WorldDepth(world)) {
    case 8:
      *format = RX_PixelFormat_ARGB8;
      return RX_Result_OK;
    case 16:
      *format = RX_PixelFormat_ARGB16;
      return RX_Result_OK;
    case 32:
      *format = RX_PixelFormat_ARGB32;
      return RX_Result_OK;
    default:
      rx::report_verification(rx::msg::kUnsupportedDepthGetPixelFormat);
      return RX_Result_Internal;
  }
}

RX_Err RXp_PixelFormatToDepth(RX_PixelFormat format, int32_t* depth) {
  switch (format) {
    case RX_PixelFormat_ARGB8:
      *depth = 8;
      return RX_Result_OK;
    case RX_PixelFormat_ARGB16:
      *depth = 16;
      return RX_Result_OK;
    case RX_PixelFormat_ARGB32:
      *depth = 32;
      return RX_Result_OK;
    default:
      rx::report_verification(rx::msg::kUnsupportedPixelFormat);
      return RX_Result_Internal;
  }
}

RX_Err RXp_DepthToFormatByte(int32_t depth, uint8_t* format_byte) {
  switch (depth) {
    case 8:
      *format_byte = RX_FormatCode_8;
      return RX_Result_OK;
    case 16:
      *format_byte = RX_FormatCode_16;
      return RX_Result_OK;
    case 32:
      *format_byte = RX_FormatCode_Float;
      return RX_Result_OK;
    default:
      rx::report_verification(rx::msg::kUnknownPixelFormat);
      return RX_Result_Internal;
  }
}

RX_Err RXp_SetLayerFlagsForDepth(RX_LayerDef* world, int32_t depth) {
  uint8_t code = 0;
  if (RX_Err err = RXp_DepthToFormatByte(depth, &code)) return err;
  // Adds to what stands there: callers start from a zeroed record.
  world->layer_flags |= uint32_t{code} << RX_LayerFlag_FormatShift;
  if (depth == 16) world->layer_flags |= RX_LayerFlag_Deep;
  return RX_Result_OK;
}

int32_t RX_DepthOfZWWorld(ZW_World world) { return (*world)->bits_per_pixel / 4; }
