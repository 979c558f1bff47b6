// Effect worlds: worlds an effect asks the package for, published as
// records and stamped, so that only those are disposed of; records over
// frame store bitmaps; and the views on pixel data by depth.
#include <cstring>

#include "RX_EffectWorlds.h"
#include "RX_Messages.h"
#include "RX_World.h"
#include "frame/exception_boundary.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "worlds/depth_traits.h"

namespace {

constexpr int32_t kDisposeLocation = 0x250003;
constexpr int32_t kGetPixelData8Location = 0x250053;
constexpr int32_t kGetPixelData16Location = 0x250054;

template <class Px>
RX_Err get_pixel_data(const RX_LayerDef* world, void* pixel, Px** out, int32_t where,
                      const char* text) {
  // The out value is cleared first. A null out pointer is refused like a
  // null world instead of being written through.
  if (out) *out = nullptr;
  if (!world || !out) {
    rx::report_verification(text, where);
    return RX_Result_BadCallbackParam;
  }
  if (RXp_WorldDepth(world) != rx::Depth<Px>::depth) return RX_Result_OK;
  *out = static_cast<Px*>(pixel ? pixel : world->data);
  return RX_Result_OK;
}

}  // namespace

RX_Err RX_NewEffectWorld(RX_EffectContext*, int32_t width, int32_t height, int32_t depth,
                         int32_t clear, int32_t backed, RX_LayerDef* out) {
  if (!out) return RX_Result_OK;
  uint32_t flags = 0;
  if (clear) flags |= RX_WorldFlag_Clear;
  if (depth == 16) flags |= RX_WorldFlag_Deep;
  if (backed) flags |= RX_WorldFlag_Backed;
  return rx::protect([&] {
    RX_World* world = RX_World::New(width, height, static_cast<int16_t>(depth), flags);
    // Memory for the object itself failed: nothing to publish.
    if (!world) return RX_Err{RX_Result_OutOfMemory};
    try {
      world->FillOutEffectWorld(out);
    } catch (...) {
      delete world;
      throw;
    }
    out->allocation_stamp = RX_EffectWorldStamp;
    return RX_Err{RX_Result_OK};
  });
}

RX_Err RX_DisposeEffectWorld(RX_EffectContext*, RX_LayerDef* world) {
  if (world && world->allocation_stamp == RX_EffectWorldStamp && world->world_object) {
    delete world->world_object;
    std::memset(world, 0, sizeof *world);
    return RX_Result_OK;
  }
  const char* text = RXp_String(world ? RX_Str_DisposeOnlyOwnWorlds : RX_Str_InvalidParameter);
  if (text) {
    rx::report_error(kDisposeLocation, text);
    return RX_Result_BadCallbackParam;
  }
  if (world) {
    delete world->world_object;
    std::memset(world, 0, sizeof *world);
  }
  return RX_Result_OK;
}

RX_Err RX_EffectWorldFromZWWorld(ZW_World bitmap, RX_LayerDef* out) {
  const ZW_Bitmap& record = **bitmap;
  const int32_t bits = record.bits_per_pixel;
  if (bits != 128 && bits != 64 && bits != 32) {
    rx::report_verification(rx::msg::kEffectWorldBitsPerPixel, 0x250051);
    return RX_Result_Internal;
  }
  std::memset(out, 0, sizeof *out);
  RXp_SetLayerFlagsForDepth(out, bits / 4);
  out->data = record.base_address ? record.base_address : ZWp_GetPixBaseAddr(bitmap);
  out->row_stride = record.row_bytes;
  out->width = record.width;
  out->height = record.height;
  out->zw_world = bitmap;
  return RX_Result_OK;
}

// The 16-bit form keeps the 8-bit form's text.
RX_Err RX_GetPixelData8(const RX_LayerDef* world, void* pixel, RX_Pixel8** out) {
  return get_pixel_data(world, pixel, out, kGetPixelData8Location, rx::msg::kBadParameterGetPixelData8);
}
RX_Err RX_GetPixelData16(const RX_LayerDef* world, void* pixel, RX_Pixel16** out) {
  return get_pixel_data(world, pixel, out, kGetPixelData16Location, rx::msg::kBadParameterGetPixelData8);
}
RX_Err RX_GetPixelDataFloat(const RX_LayerDef* world, void* pixel, RX_PixelFloat** out) {
  return get_pixel_data(world, pixel, out, rx::kGeneralLocation, rx::msg::kBadParameterGetPixelDataFloat);
}
