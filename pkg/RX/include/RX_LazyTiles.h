/* Lazy tiles: work on a large raster postponed until a part of it is asked
   for. The raster is cut into square tiles with one bit each; a request
   names the rectangle about to be read, and the tiles under it that are
   still invalid are made by an operator, in the largest horizontal runs
   possible, one run a row of tiles. Bits go from clear to set only, and a
   bit is set before its tile is made: when the operator throws, its run
   stays marked. Methods throw an RX_Err. C++ only. */
#ifndef RX_LAZYTILES_H
#define RX_LAZYTILES_H

#ifdef __cplusplus

#include <boost/scoped_ptr.hpp>
#include <cstddef>
#include <new>
#include <vector>

#include "GE/GE.h"
#include "KO/KO.h"
#include "RX_Pixels.h"
#include "RX_UnoBuffer.h"

RX_VISIBLE_BEGIN

/* What makes the tiles: it tells the extent it can fill and does the work
   for a rectangle in its own coordinates, throwing on failure. */
class RX_API RX_LazyOperator : public KO_MemTrackedObject {
 public:
  virtual GE_Vector2T<short> GetExtent() const = 0;
  virtual ~RX_LazyOperator();
  void DoIt(GE_Rect rect) { DoItImp(rect); }

 protected:
  virtual void DoItImp(const GE_Rect& rect) = 0;
};

/* Fills a mask buffer lazily with one value: RX_FillDeepUnoBuffer on a
   16-bit buffer, RX_FillUnoBuffer with the value's low byte otherwise. */
class RX_API RX_LazyFillUnoBufferOperator : public RX_LazyOperator {
 public:
  /* Takes the buffer out of the scoped pointer, which is left empty. */
  RX_LazyFillUnoBufferOperator(boost::scoped_ptr<RX_UnoBuffer>* buffer, unsigned short value);
  /* The buffer's width and height as 16-bit values. */
  GE_Vector2T<short> GetExtent() const override;
  RX_UnoBuffer* GetBuffer() const { return buffer_.get(); }

 protected:
  void DoItImp(const GE_Rect& rect) override;

 private:
  boost::scoped_ptr<RX_UnoBuffer> buffer_;
  uint16_t value_;
};

/* Copies a world lazily into another with RX_CopyBits_Draft, the same
   rectangle in both. Neither world is owned. */
class RX_API RX_LazyWorldCopyOperator : public RX_LazyOperator {
 public:
  RX_LazyWorldCopyOperator(RX_LayerDef* src, RX_LayerDef* dst) : src_(src), dst_(dst) {}
  RX_LazyWorldCopyOperator(const RX_LazyWorldCopyOperator&) = default;
  RX_LazyWorldCopyOperator& operator=(const RX_LazyWorldCopyOperator&) = default;
  /* The source's width and height. */
  GE_Vector2T<short> GetExtent() const override;
  void SetSourceWorld(RX_LayerDef* src) { src_ = src; }

 protected:
  void DoItImp(const GE_Rect& rect) override;

 private:
  RX_LayerDef* src_;
  RX_LayerDef* dst_;
};

/* Blocks of the tile bits come from the utilities library, so that its
   books count them; a failure throws std::bad_alloc. */
template <class T>
struct RX_TileBitsAllocator {
  using value_type = T;
  RX_TileBitsAllocator() = default;
  template <class U>
  RX_TileBitsAllocator(const RX_TileBitsAllocator<U>&) noexcept {}
  T* allocate(size_t n) {
    void* block = KO_AllocatePtrQuiet(n * sizeof(T));
    if (!block) throw std::bad_alloc();
    return static_cast<T*>(block);
  }
  void deallocate(T* block, size_t) noexcept { KO_FreePtr(block); }
  template <class U>
  bool operator==(const RX_TileBitsAllocator<U>&) const noexcept { return true; }
};

class RX_API RX_LazyTiles : public KO_MemTrackedObject {
 public:
  using TileRow = std::vector<bool, RX_TileBitsAllocator<bool>>;
  using TileRows = std::vector<TileRow, RX_TileBitsAllocator<TileRow>>;

  /* Takes the operator out of op by swapping and asks its extent once.
     Throws RX_Result_OutOfMemory when the tile bits cannot be had, and
     RX_Result_Internal (after the bad-parameter report) for a tile size
     below 1 or no operator; the operator is then destroyed. */
  RX_LazyTiles(short tile_size, boost::scoped_ptr<RX_LazyOperator>* op);
  /* Releases the tile bits, then the operator. */
  ~RX_LazyTiles();
  RX_LazyTiles(const RX_LazyTiles&) = delete;
  RX_LazyTiles& operator=(const RX_LazyTiles&) = delete;

  /* Makes the invalid tiles under rect moved by the offset (in 16-bit
     sums), cut to the operator's extent. */
  void MakeValid(const GE_Rect& rect);
  RX_LazyOperator* GetOperator() const { return op_.get(); }
  GE_Vector2T<short> GetOffset() const { return offset_; }
  void SetOffset(GE_Vector2T<short> offset) { offset_ = offset; }

  short TileSize() const { return tile_size_; }
  short TilesX() const { return tiles_x_; }
  short TilesY() const { return tiles_y_; }
  bool IsTileValid(short column, short row) const { return valid_[size_t(row)][size_t(column)]; }

 private:
  boost::scoped_ptr<RX_LazyOperator> op_;
  int16_t tile_size_;
  int16_t tiles_x_;
  int16_t tiles_y_;
  TileRows valid_;
  GE_Vector2T<short> offset_;
};

/* Lazy tiles that work only while a condition holds. */
class RX_API RX_LazyTilesCondition : public RX_LazyTiles {
 public:
  RX_LazyTilesCondition(short tile_size, boost::scoped_ptr<RX_LazyOperator>* op, bool condition)
      : RX_LazyTiles(tile_size, op), condition_(condition) {}
  void SetCondition(bool condition) { condition_ = condition; }
  /* Nothing while the condition is off. Otherwise rect, in the operator's
     coordinates, is cut to its extent and handed to MakeValid without the
     offset (which MakeValid adds back). */
  void ConditionalMakeValid(const GE_Rect& rect);

 private:
  bool condition_;
};

RX_VISIBLE_END

#endif

#endif
