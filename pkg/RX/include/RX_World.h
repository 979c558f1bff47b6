/* World objects: the object face of an image buffer. A world owns its
   pixels (allocated here or in a frame store bitmap) or refers to pixels
   of another; it carries an RX_LayerDef so that any flat operation can run
   on it. Methods report failures by throwing an RX_Err. C++ only. */
#ifndef RX_WORLD_H
#define RX_WORLD_H

#ifdef __cplusplus

#include "KO/KO.h"
#include "RX_Pixels.h"
#include "RX_Results.h"

RX_VISIBLE_BEGIN

/* Allocation flags of RX_World::New. */
enum : uint32_t {
  RX_WorldFlag_Clear = 1,     /* clear the pixels to zero */
  RX_WorldFlag_Deep = 2,      /* set by RX_NewEffectWorld for 16-bit worlds; not read here */
  RX_WorldFlag_Backed = 4     /* back the world with a frame store bitmap */
};

/* Largest width and height of a world. */
#define RX_MaxWorldSide 30000

class RX_World;

/* The abstract base: the virtual operations in their fixed order. */
class RX_API RX_PixelContainerBase : public KO_MemTrackedObject {
 public:
  virtual ~RX_PixelContainerBase();
  /* 8, 16 or 32. */
  virtual int16_t Depth() const = 0;
  virtual bool IsReference() const = 0;
  virtual void Clear(const GE_LRect* rect) = 0;
  virtual void ClearExceptRect(const GE_LRect& rect) = 0;
  virtual void Fill(const RX_PixelFloat& colour, const GE_LRect* rect) = 0;
  virtual void Fill(const RX_Pixel16& colour, const GE_LRect* rect) = 0;
  virtual void FillAlpha() = 0;
  virtual void InvertAlpha() = 0;
  virtual void Premultiply(const RX_ProgressInfo* progress) = 0;
  virtual void Unmultiply(const RX_ProgressInfo* progress) = 0;
  virtual void PremulColor(const RX_PixelFloat& colour, const RX_ProgressInfo* progress) = 0;
  virtual void UnmulColor(const RX_PixelFloat& colour, const RX_ProgressInfo* progress) = 0;
  /* Same-depth copy of src's rect to (dst_x, dst_y) of this world. */
  virtual void CopyRect(const RX_World& src, const GE_LRect& rect, int32_t dst_x,
                        int32_t dst_y) = 0;
  virtual void CopyRectPossiblyDifferentBitdepth(const RX_World& src, const GE_LRect& rect,
                                                 bool dither, int32_t dst_x, int32_t dst_y,
                                                 const RX_ProgressInfo* progress) = 0;
  virtual void CopyRectPossiblyDifferentBitdepthWithField(const RX_World& src,
                                                          const GE_LRect& rect,
                                                          int32_t field) = 0;
  /* True when a write went past the last pixel of an owning world. */
  virtual bool SubWorldSafetyGutterHasBeenOverWritten() const = 0;
  /* Gives up the allocation: returns it and clears the field. */
  virtual void* ReleaseAllocation() = 0;

  /* Bytes per pixel: 4, 8 or 16. */
  size_t PixelSize() const { return size_t(Depth() / 2); }
};

class RX_API RX_World : public RX_PixelContainerBase {
 public:
  /* A new owning world; null only when memory for the object itself fails.
     Throws RX_Result_BadCallbackParam for a side outside 1..30000,
     RX_Result_Internal for another depth, RX_Result_OutOfMemory when the
     pixels cannot be had. */
  static RX_World* New(int32_t width, int32_t height, int16_t depth, uint32_t flags);
  /* Sized by the rectangle, whose left and top become the origin. */
  static RX_World* New(const GE_LRect& rect, int16_t depth, uint32_t flags);
  static RX_World* NewMatchingWorld(const RX_World& world, uint32_t flags);
  /* References: they never own their pixels and must not outlive them. */
  static RX_World* NewReference(void* pixels, int32_t width, int32_t height, int16_t depth,
                                int32_t row_stride);
  static RX_World* NewReference(const RX_LayerDef& effect_world);
  static RX_World* NewReference(const RX_World& parent, const GE_LRect& rect);
  static RX_World* NewReference(const RX_World& parent, const GE_Rect& rect);
  /* The whole bitmap; the handle is remembered. */
  static RX_World* NewReference(ZW_World bitmap);
  /* Part of a bitmap; no handle is remembered. */
  static RX_World* NewReference(ZW_World bitmap, const GE_Rect& rect);

  /* Turns this world into a sub-world of parent. An allocation this world
     held is forgotten, not freed. */
  void ReReference(const RX_World& parent, const GE_LRect& rect);
  void ShrinkToSubRect(const GE_LRect& rect);
  /* Whether this world's pixels lie in other's rows (columns not tested). */
  bool RefersTo(const RX_World& other) const;
  /* CopyRect of other's whole rectangle to (0, 0). */
  void CopyWorld(const RX_World& other);
  /* Publishes this world as an effect world record. */
  void FillOutEffectWorld(RX_LayerDef* out) const;
  bool HasZWWorld() const { return def_.zw_world != nullptr; }
  /* Throws RX_Result_NoBackingBitmap when there is none. */
  ZW_World GetZWWorld() const;

  bool IsReference() const override { return allocation_ == nullptr; }
  void* ReleaseAllocation() override;

  const RX_LayerDef& LayerDef() const { return def_; }
  RX_LayerDef& LayerDef() { return def_; }
  int32_t Width() const { return def_.width; }
  int32_t Height() const { return def_.height; }
  int32_t RowStride() const { return def_.row_stride; }
  void* Data() const { return def_.data; }
  /* Left and top of the rectangle New was given, else 0. */
  GE_LPoint Origin() const;
  void* Allocation() const { return allocation_; }

 protected:
  RX_World() = default;
  void SetOrigin(int32_t x, int32_t y);
  /* Fields as a sub-world of parent over rect; no check that it fits. */
  void BecomeSubWorld(const RX_World& parent, const GE_LRect& rect);

  RX_LayerDef def_{};
  uint16_t allocated_width_ = 0;
  uint16_t allocated_height_ = 0;
  void* allocation_ = nullptr;  /* the block to free; 1 for a backed world */
};

/* The world of one pixel type. */
template <class Px>
class RX_API RX_WorldX : public RX_World {
 public:
  /* Allocates width x height pixels (flags as for RX_World::New). */
  RX_WorldX(int32_t width, int32_t height, uint32_t flags);
  /* A non-owning wrapper around an effect world, for the length of a call.
     keep false zeroes the object first; keep true starts from a copy of the
     whole record. Either way data, row_stride, width, height, flags and the
     content rectangle come from the record, the back pointer is this
     object, and no bitmap handle is held. The record is not written. */
  RX_WorldX(const RX_LayerDef& effect_world, bool keep);
  ~RX_WorldX() override;

  RX_WorldX(const RX_WorldX&) = delete;
  RX_WorldX& operator=(const RX_WorldX&) = delete;

  int16_t Depth() const override;
  void Clear(const GE_LRect* rect) override;
  void ClearExceptRect(const GE_LRect& rect) override;
  void Fill(const RX_PixelFloat& colour, const GE_LRect* rect) override;
  void Fill(const RX_Pixel16& colour, const GE_LRect* rect) override;
  void FillAlpha() override;
  void InvertAlpha() override;
  void Premultiply(const RX_ProgressInfo* progress) override;
  void Unmultiply(const RX_ProgressInfo* progress) override;
  void PremulColor(const RX_PixelFloat& colour, const RX_ProgressInfo* progress) override;
  void UnmulColor(const RX_PixelFloat& colour, const RX_ProgressInfo* progress) override;
  void CopyRect(const RX_World& src, const GE_LRect& rect, int32_t dst_x, int32_t dst_y) override;
  void CopyRectPossiblyDifferentBitdepth(const RX_World& src, const GE_LRect& rect, bool dither,
                                         int32_t dst_x, int32_t dst_y,
                                         const RX_ProgressInfo* progress) override;
  void CopyRectPossiblyDifferentBitdepthWithField(const RX_World& src, const GE_LRect& rect,
                                                  int32_t field) override;
  bool SubWorldSafetyGutterHasBeenOverWritten() const override;

  Px* Row(int32_t y) const {
    return reinterpret_cast<Px*>(static_cast<char*>(def_.data) + intptr_t{y} * def_.row_stride);
  }

 private:
  friend class RX_World;
  RX_WorldX() = default;  /* a reference; fields set by the factory */
  void AllocatePixels(int32_t width, int32_t height, uint32_t flags);
  void AllocateBackedPixels(int32_t width, int32_t height);
  size_t FrameBytes() const;
  const uint8_t* GutterStart() const;
};

extern template class RX_WorldX<RX_Pixel8>;
extern template class RX_WorldX<RX_Pixel16>;
extern template class RX_WorldX<RX_PixelFloat>;

// Callers build wrappers on their stack: the objects' sizes are ABI.
static_assert(sizeof(RX_World) == 144 && sizeof(RX_WorldX<RX_Pixel8>) == 144 && sizeof(RX_WorldX<RX_Pixel16>) == 144 &&
                  sizeof(RX_WorldX<RX_PixelFloat>) == 144,
              "RX_World layout");

RX_VISIBLE_END

#endif
#endif
