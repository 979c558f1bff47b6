// RX_WorldX: pixel allocation (owning or backed by a frame store bitmap),
// the stack wrapper around an effect world, destruction and the gutter.
#include <algorithm>
#include <cstring>
#include <type_traits>

#include "RX_Frame.h"
#include "RX_World.h"
#include "SHIM/SHIM.h"
#include "ZW/ZW.h"
#include "frame/exception_boundary.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "worlds/depth_traits.h"

namespace {

// Filled after the last pixel of an owning world, so that a write past the
// end can be caught.
constexpr uint8_t kGutterByte = 0x55;
constexpr uint32_t kDeadStamp = 0xDEAD;
constexpr int32_t kInvalidSizeLocation = 0x250066;
constexpr int32_t kAllocationFailureKind = 4;
// The allocation of a backed world: its pixels belong to the bitmap.
void* const kBackedAllocation = reinterpret_cast<void*>(uintptr_t{1});

// Reports "invalid image buffer size (WxH)." and throws 516.
[[noreturn]] void throw_invalid_size(int32_t width, int32_t height) {
  char text[256];
  const char* pattern = KO_ZStringToMBString(rx::msg::kInvalidSizeKey);
  if (RX_Err err = KO_SubString(text, sizeof text, pattern, width, height)) rx::throw_code(err);
  rx::report_error(kInvalidSizeLocation, text);
  rx::throw_code(RX_Result_BadCallbackParam);
}

bool valid_side(int32_t side) { return side >= 1 && side <= RX_MaxWorldSide; }

// Brackets the frame store's window-creation mode, also on a throw.
struct WindowCreationMode {
  WindowCreationMode() { SHIM_BeginGdiMinimalisticWindowCreationMode(); }
  ~WindowCreationMode() { SHIM_EndGdiMinimalisticWindowCreationMode(); }
};

// Bytes of an owning world's block: the rows, 8 bytes to align, and the
// gutter after the last pixel.
size_t frame_bytes(int32_t row_stride, int32_t pixel_size, int32_t width, int32_t height) {
  return size_t(row_stride - pixel_size) + size_t(width) * pixel_size + 8 +
         size_t(row_stride) * size_t(height - 1);
}

}  // namespace

template <class Px>
RX_WorldX<Px>::RX_WorldX(int32_t width, int32_t height, uint32_t flags) {
  if (!valid_side(width) || !valid_side(height)) throw_invalid_size(width, height);
  if (flags & RX_WorldFlag_Backed) {
    AllocateBackedPixels(width, height);
  } else {
    AllocatePixels(width, height, flags);
  }
  def_.width = width;
  def_.height = height;
  allocated_width_ = static_cast<uint16_t>(width);
  allocated_height_ = static_cast<uint16_t>(height);
  def_.content_rect = {0, 0, width, height};
  def_.layer_flags = 0;
  RXp_SetLayerFlagsForDepth(&def_, rx::Depth<Px>::depth);
  if (flags & RX_WorldFlag_Clear) {
    const size_t row_bytes = size_t(width) * sizeof(Px);
    if (size_t(def_.row_stride) == row_bytes) {
      std::memset(def_.data, 0, row_bytes * height);
    } else {
      for (int32_t y = 0; y < height; ++y) std::memset(Row(y), 0, row_bytes);
    }
  }
  ++RXp_G_LiveWorldCount;
  def_.world_object = this;
}

template <class Px>
void RX_WorldX<Px>::AllocatePixels(int32_t width, int32_t height, uint32_t) {
  constexpr int32_t pixel_size = sizeof(Px);
  def_.row_stride = (width * pixel_size + 15) & ~15;
  void* block = ZW_AllocateFrameQuiet(frame_bytes(def_.row_stride, pixel_size, width, height));
  if (!block) {
    ZW_ReportWorldAllocationFailure(kAllocationFailureKind, def_.row_stride, width, height,
                                    pixel_size * 8);
    rx::throw_code(RX_Result_OutOfMemory);
  }
  allocation_ = block;
  // Frame blocks are 8-aligned; stepping 8 further when needed gives 16.
  const bool needs_step = reinterpret_cast<uintptr_t>(block) & 8;
  def_.data = static_cast<char*>(block) + (needs_step ? 8 : 0);
  std::memset(Row(height - 1) + width, kGutterByte, size_t(def_.row_stride - pixel_size));
}

template <class Px>
void RX_WorldX<Px>::AllocateBackedPixels(int32_t width, int32_t height) {
  WindowCreationMode mode;
  const GE_Rect bounds = {0, 0, static_cast<int16_t>(height), static_cast<int16_t>(width)};
  ZW_World bitmap = nullptr;
  if (RX_Err err = ZW_NewWorld(0, 8, &bounds, sizeof(Px) * 8, 0, 0, &bitmap)) rx::throw_code(err);
  if (RX_Err err = ZW_LoadLockPixels(1, bitmap, 0, 0)) {
    ZW_DisposeWorld(bitmap);
    rx::throw_code(err);
  }
  def_.zw_world = bitmap;
  const ZW_Bitmap& record = **bitmap;
  def_.data = record.base_address ? record.base_address : ZWp_GetPixBaseAddr(bitmap);
  def_.row_stride = record.row_bytes;
  allocation_ = kBackedAllocation;
}

template <class Px>
RX_WorldX<Px>::RX_WorldX(const RX_LayerDef& effect_world, bool keep) {
  if (keep) def_ = effect_world;
  def_.row_stride = effect_world.row_stride;
  def_.width = effect_world.width;
  def_.height = effect_world.height;
  def_.data = effect_world.data;
  def_.layer_flags = effect_world.layer_flags;
  def_.content_rect = effect_world.content_rect;
  def_.zw_world = nullptr;
  def_.world_object = this;
}

template <class Px>
size_t RX_WorldX<Px>::FrameBytes() const {
  return frame_bytes(def_.row_stride, sizeof(Px), allocated_width_, allocated_height_);
}

template <class Px>
RX_WorldX<Px>::~RX_WorldX() {
  if (allocation_) {
    if (def_.zw_world) {
      ZW_UnlockPixels(def_.zw_world);
      ZW_DisposeWorld(def_.zw_world);
    } else {
      ZW_FreeFrame(allocation_, FrameBytes());
    }
    --RXp_G_LiveWorldCount;
  }
  // Lets a stale pointer to this world be recognised.
  def_.allocation_stamp = kDeadStamp;
}

template <class Px>
int16_t RX_WorldX<Px>::Depth() const {
  return rx::Depth<Px>::depth;
}

template <class Px>
const uint8_t* RX_WorldX<Px>::GutterStart() const {
  // From the aligned block, as allocated: shrinking does not move it.
  const auto block = static_cast<const uint8_t*>(allocation_);
  const uint8_t* aligned = block + ((reinterpret_cast<uintptr_t>(block) & 8) ? 8 : 0);
  return aligned + size_t(allocated_height_ - 1) * def_.row_stride +
         size_t(allocated_width_) * sizeof(Px);
}

template <class Px>
bool RX_WorldX<Px>::SubWorldSafetyGutterHasBeenOverWritten() const {
  if (!allocation_ || allocation_ == kBackedAllocation) return false;
  const int32_t gutter_bytes = def_.row_stride - int32_t(sizeof(Px));
  const uint8_t* gutter = GutterStart();
  for (int32_t i = 0; i < gutter_bytes; ++i) {
    if (gutter[i] != kGutterByte) return true;
  }
  return false;
}

// Fills and clears live in world_fills.cpp, premultiplication in
// world_premultiply.cpp, copying by rectangle in world_copy_rect.cpp.
template class RX_WorldX<RX_Pixel8>;
template class RX_WorldX<RX_Pixel16>;
template class RX_WorldX<RX_PixelFloat>;
