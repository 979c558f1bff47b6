// The two operators of lazy tiles: a fill of a mask buffer with one value,
// and a draft copy of one world into another. Both throw a failed call's
// code.
#include "RX_Copy.h"
#include "RX_LazyTiles.h"

namespace {

GE_LRect as_long_rect(const GE_Rect& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

}  // namespace

RX_LazyOperator::~RX_LazyOperator() = default;

RX_LazyFillUnoBufferOperator::RX_LazyFillUnoBufferOperator(boost::scoped_ptr<RX_UnoBuffer>* buffer,
                                                           unsigned short value)
    : value_(value) {
  if (buffer) buffer_.swap(*buffer);
}

GE_Vector2T<short> RX_LazyFillUnoBufferOperator::GetExtent() const {
  if (!buffer_) return {0, 0};
  return {short(buffer_->width), short(buffer_->height)};
}

void RX_LazyFillUnoBufferOperator::DoItImp(const GE_Rect& rect) {
  const GE_LRect r = as_long_rect(rect);
  const RX_Err err = buffer_ && buffer_->depth == 16
                         ? RX_FillDeepUnoBuffer(value_, r, buffer_.get())
                         : RX_FillUnoBuffer(uint8_t(value_ & 0xff), r, buffer_.get());
  if (err) throw RX_Err{err};
}

GE_Vector2T<short> RX_LazyWorldCopyOperator::GetExtent() const {
  if (!src_) return {0, 0};
  return {short(src_->width), short(src_->height)};
}

void RX_LazyWorldCopyOperator::DoItImp(const GE_Rect& rect) {
  const GE_LRect r = as_long_rect(rect);
  if (RX_Err err = RX_CopyBits_Draft(nullptr, src_, dst_, &r, &r)) throw RX_Err{err};
}
