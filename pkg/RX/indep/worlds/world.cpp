// RX_World: factories, references and sub-worlds. Every failure throws an
// RX_Err after its report.
#include <algorithm>
#include <cstring>

#include "RX_Frame.h"
#include "RX_World.h"
#include "frame/exception_boundary.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "worlds/with_depth.h"

namespace {

constexpr int32_t kShrinkLocation = 0x25006F;
constexpr int32_t kReReferenceLocation = 0x250070;
constexpr int32_t kNoBackingBitmap = RX_Result_NoBackingBitmap;

// The origin lives in the reserved tail of the embedded record.
constexpr size_t kOriginOffset = offsetof(RX_LayerDef, reserved5);

bool lies_in(const GE_LRect& r, int32_t width, int32_t height) {
  return r.left >= 0 && r.top >= 0 && r.right <= width && r.bottom <= height;
}

// The parent's extent cut to r and moved to r's corner; empty gives zero.
GE_LRect sub_extent(const GE_LRect& extent, const GE_LRect& r) {
  GE_LRect cut = {std::max(extent.left, r.left), std::max(extent.top, r.top),
                  std::min(extent.right, r.right), std::min(extent.bottom, r.bottom)};
  if (cut.right <= cut.left || cut.bottom <= cut.top) return GE_LRect{0, 0, 0, 0};
  return {cut.left - r.left, cut.top - r.top, cut.right - r.left, cut.bottom - r.top};
}

GE_LRect to_lrect(const GE_Rect& r) { return {r.left, r.top, r.right, r.bottom}; }

int16_t depth_of_bits(int32_t bits_per_pixel, const char* unexpected_text) {
  switch (bits_per_pixel) {
    case 32:
      return 8;
    case 64:
      return 16;
    case 128:
      return 32;
    default:
      rx::report_verification(unexpected_text);
      rx::throw_code(RX_Result_Internal);
  }
}

// Worlds of another depth cannot be made: RX_Result_Internal is thrown.
template <class Body>
RX_World* with_world_depth(int32_t depth, Body&& body) {
  return rx::dispatch_depth(depth, body, []() -> RX_World* { rx::throw_code(RX_Result_Internal); });
}

}  // namespace

RX_PixelContainerBase::~RX_PixelContainerBase() = default;

RX_World* RX_World::New(int32_t width, int32_t height, int16_t depth, uint32_t flags) {
  return with_world_depth(depth, [&]<class Px>() -> RX_World* {
    return new (std::nothrow) RX_WorldX<Px>(width, height, flags);
  });
}

RX_World* RX_World::New(const GE_LRect& rect, int16_t depth, uint32_t flags) {
  RX_World* world = New(rect.right - rect.left, rect.bottom - rect.top, depth, flags);
  if (world) world->SetOrigin(rect.left, rect.top);
  return world;
}

RX_World* RX_World::NewMatchingWorld(const RX_World& world, uint32_t flags) {
  return New(world.Width(), world.Height(), world.Depth(), flags);
}

RX_World* RX_World::NewReference(void* pixels, int32_t width, int32_t height, int16_t depth,
                                 int32_t row_stride) {
  RX_LayerDef def{};
  def.data = pixels;
  def.width = width;
  def.height = height;
  def.row_stride = row_stride;
  def.content_rect = {0, 0, width, height};
  if (RXp_SetLayerFlagsForDepth(&def, depth) != RX_Result_OK) rx::throw_code(RX_Result_Internal);
  return NewReference(def);
}

RX_World* RX_World::NewReference(const RX_LayerDef& effect_world) {
  const int32_t depth = RXp_WorldDepth(&effect_world);
  if (depth != 8 && depth != 16 && depth != 32) {
    rx::report_verification(rx::msg::kNewReferenceEffectWorldUnexpectedDepth);
    rx::throw_code(RX_Result_Internal);
  }
  return with_world_depth(depth, [&]<class Px>() -> RX_World* {
    return new (std::nothrow) RX_WorldX<Px>(effect_world, false);
  });
}

RX_World* RX_World::NewReference(const RX_World& parent, const GE_LRect& rect) {
  return with_world_depth(parent.Depth(), [&]<class Px>() -> RX_World* {
    auto* world = new (std::nothrow) RX_WorldX<Px>();
    if (world) world->BecomeSubWorld(parent, rect);
    return world;
  });
}

RX_World* RX_World::NewReference(const RX_World& parent, const GE_Rect& rect) {
  return NewReference(parent, to_lrect(rect));
}

RX_World* RX_World::NewReference(ZW_World bitmap) {
  const ZW_Bitmap& record = **bitmap;
  RX_LayerDef def{};
  def.data = record.base_address ? record.base_address : ZWp_GetPixBaseAddr(bitmap);
  def.width = record.width;
  def.height = record.height;
  def.row_stride = record.row_bytes;
  def.content_rect = {0, 0, def.width, def.height};
  RXp_SetLayerFlagsForDepth(
      &def, depth_of_bits(record.bits_per_pixel, rx::msg::kNewReferenceUnexpectedDepth));
  RX_World* world = NewReference(def);
  if (world) world->def_.zw_world = bitmap;
  return world;
}

RX_World* RX_World::NewReference(ZW_World bitmap, const GE_Rect& rect) {
  // A sub-world of the whole bitmap: no check that the rectangle fits, and
  // no handle, so the bitmap is not held.
  RX_World* whole = NewReference(bitmap);
  if (!whole) return nullptr;
  RX_World* sub = nullptr;
  try {
    sub = NewReference(*whole, to_lrect(rect));
  } catch (...) {
    delete whole;
    throw;
  }
  delete whole;
  return sub;
}

void RX_World::BecomeSubWorld(const RX_World& parent, const GE_LRect& rect) {
  const RX_LayerDef& from = parent.def_;
  def_ = RX_LayerDef{};
  allocated_width_ = allocated_height_ = 0;
  allocation_ = nullptr;
  def_.width = rect.right - rect.left;
  def_.height = rect.bottom - rect.top;
  def_.row_stride = from.row_stride;
  def_.layer_flags = from.layer_flags;
  def_.data = static_cast<char*>(from.data) + intptr_t{rect.top} * from.row_stride +
              intptr_t{rect.left} * int32_t(parent.PixelSize());
  def_.content_rect = sub_extent(from.content_rect, rect);
  std::memcpy(def_.aspect_words, from.aspect_words, sizeof def_.aspect_words);
  def_.world_object = this;
}

void RX_World::ReReference(const RX_World& parent, const GE_LRect& rect) {
  if (parent.Depth() != Depth()) {
    rx::report_verification(rx::msg::kReReferenceDepth, kReReferenceLocation);
    rx::throw_code(RX_Result_Internal);
  }
  if (!lies_in(rect, parent.Width(), parent.Height())) {
    rx::report_verification(rx::msg::kReReferenceBadSubRect, kReReferenceLocation);
    rx::throw_code(RX_Result_Internal);
  }
  if (&parent == this) {
    rx::report_verification(rx::msg::kReReferenceSelf, kReReferenceLocation);
    rx::throw_code(RX_Result_Internal);
  }
  // What this world held is forgotten, not freed: the caller sees to it.
  BecomeSubWorld(parent, rect);
}

void RX_World::ShrinkToSubRect(const GE_LRect& rect) {
  if (!lies_in(rect, Width(), Height())) {
    rx::report_verification(rx::msg::kShrinkBadSubRect, kShrinkLocation);
    rx::throw_code(RX_Result_Internal);
  }
  if (HasZWWorld()) {
    rx::report_verification(rx::msg::kShrinkBackedWorld, kShrinkLocation);
    rx::throw_code(RX_Result_Internal);
  }
  // The allocated sizes stay, so that freeing and the gutter check stay right.
  def_.data = static_cast<char*>(def_.data) + intptr_t{rect.top} * def_.row_stride +
              intptr_t{rect.left} * int32_t(PixelSize());
  def_.width = rect.right - rect.left;
  def_.height = rect.bottom - rect.top;
  def_.content_rect = sub_extent(def_.content_rect, rect);
}

bool RX_World::RefersTo(const RX_World& other) const {
  if (!IsReference() || Depth() != other.Depth() || RowStride() != other.RowStride()) return false;
  if (Width() > other.Width() || other.Height() < Height()) return false;
  const auto offset = static_cast<int32_t>(static_cast<const char*>(Data()) -
                                           static_cast<const char*>(other.Data()));
  return offset >= 0 && RowStride() != 0 && offset / RowStride() < other.Height();
}

void RX_World::CopyWorld(const RX_World& other) {
  CopyRect(other, GE_LRect{0, 0, other.Width(), other.Height()}, 0, 0);
}

void RX_World::FillOutEffectWorld(RX_LayerDef* out) const {
  if (!out) return;
  std::memset(out, 0, sizeof *out);
  out->data = def_.data;
  out->row_stride = def_.row_stride;
  out->width = def_.width;
  out->height = def_.height;
  out->content_rect = def_.content_rect;
  if (RX_Err err = RXp_SetLayerFlagsForDepth(out, Depth())) rx::throw_code(err);
  out->world_object = const_cast<RX_World*>(this);
  out->zw_world = def_.zw_world;
}

ZW_World RX_World::GetZWWorld() const {
  if (!def_.zw_world) rx::throw_code(kNoBackingBitmap);
  return def_.zw_world;
}

void* RX_World::ReleaseAllocation() {
  void* released = allocation_;
  allocation_ = nullptr;
  if (released) --RXp_G_LiveWorldCount;
  return released;
}

GE_LPoint RX_World::Origin() const {
  GE_LPoint origin;
  std::memcpy(&origin, reinterpret_cast<const char*>(&def_) + kOriginOffset, sizeof origin);
  return origin;
}

void RX_World::SetOrigin(int32_t x, int32_t y) {
  const GE_LPoint origin{x, y};
  std::memcpy(reinterpret_cast<char*>(&def_) + kOriginOffset, &origin, sizeof origin);
}
