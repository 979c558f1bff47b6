// The life of a mask buffer (the record, its block behind a handle, the
// damage check) and its fills. Records and blocks come from the utilities
// library under the label "memory for mask buffer".
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#include "KO/KO.h"
#include "RX_Messages.h"
#include "RX_UnoBuffer.h"
#include "frame/reports.h"
#include "masks/uno_access.h"

namespace rx::uno {

bool check(const RX_UnoBuffer* buffer) {
  if (!buffer || buffer->magic != RX_UnoBufferMagic || !buffer->pixels) {
    report_verification(RXp_String(RX_Str_DamagedMaskBuffer));
  }
  return buffer && buffer->pixels;
}

}  // namespace rx::uno

namespace {

using namespace rx::uno;

constexpr int32_t kAllocationLocation = rx::location(kBadParameterLocation);

const char* buffer_label() { return RXp_String(RX_Str_MaskBufferMemory); }

bool known_depth(int32_t depth) {
  return depth == 0 || depth == 1 || depth == 8 || depth == 16 || depth == 32;
}

// Bytes of the block, or -1 when positions in it would not fit the 32-bit
// offsets every operation computes.
int64_t block_bytes(int64_t width, int64_t height, int32_t depth) {
  const int64_t bytes = width * height * bytes_per_value(depth);
  if (width > std::numeric_limits<int32_t>::max() || height > std::numeric_limits<int32_t>::max() ||
      bytes > std::numeric_limits<int32_t>::max()) {
    return -1;
  }
  return bytes;
}

RX_Err new_buffer(uint32_t width, uint32_t height, int32_t depth, RX_UnoBuffer** out) {
  if (!out) return RX_ReportBadParameter(kBadParameterLocation);
  *out = nullptr;
  const int64_t bytes = block_bytes(width, height, depth);
  if (bytes < 0) return RX_Result_OutOfMemory;
  auto* buffer = static_cast<RX_UnoBuffer*>(
      KO_AllocatePtrClear(kAllocationLocation, buffer_label(), sizeof(RX_UnoBuffer)));
  if (!buffer) return RX_Result_OutOfMemory;
  buffer->magic = RX_UnoBufferMagic;
  buffer->width = int32_t(width);
  buffer->height = int32_t(height);
  buffer->depth = depth;
  buffer->pixels = KO_AllocateHandle(kAllocationLocation, buffer_label(), size_t(bytes));
  if (!buffer->pixels) {
    KO_FreePtr(buffer);
    return RX_Result_OutOfMemory;
  }
  *out = buffer;
  return RX_Result_OK;
}

// One run of values from value (left, top) on: a byte fill of their bytes,
// or a fill of 16-bit or 32-bit words.
template <class Word>
void fill_run(uint8_t* start, size_t values, int32_t bytes_a_value, Word word) {
  if constexpr (sizeof(Word) == 1) {
    std::memset(start, word, values * size_t(bytes_a_value));
  } else if constexpr (sizeof(Word) == 2) {
    KOp_Memset16(start, word, values);
  } else {
    KOp_Memset32(start, word, values);
  }
}

// A rect of the full width is one run over all its values; otherwise there
// is a run a row.
template <class Word>
RX_Err fill_rect(RX_UnoBuffer* buffer, const GE_LRect& rect, Word word, int32_t needed_depth) {
  if (!check(buffer)) return RX_Result_Internal;
  if (needed_depth && buffer->depth != needed_depth) {
    return RX_ReportBadParameter(kBadParameterLocation);
  }
  if (empty(rect)) return RX_Result_OK;
  // Unclipped in intent: a rect is the caller's to choose, but one that
  // reaches outside the block would write outside it.
  if (!inside(rect, *buffer)) return RX_ReportBadParameter(kBadParameterLocation);

  const int32_t bytes_a_value = bytes_per_value(buffer->depth);
  const int32_t stride = row_stride(*buffer);
  const size_t width = size_t(rect.right - rect.left);
  uint8_t* first = data(*buffer) + (rect.top * stride + rect.left * bytes_a_value);
  if (rect.left == 0 && rect.right == buffer->width) {
    fill_run(first, width * size_t(rect.bottom - rect.top), bytes_a_value, word);
    return RX_Result_OK;
  }
  for (int32_t y = rect.top; y < rect.bottom; ++y) {
    fill_run(first + (y - rect.top) * stride, width, bytes_a_value, word);
  }
  return RX_Result_OK;
}

uint32_t float_bits(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

}  // namespace

RX_UnoBuffer::RX_UnoBuffer(int32_t width_, int32_t height_, int32_t depth_)
    : magic(RX_UnoBufferMagic), width(width_), height(height_), pixels(nullptr), depth(depth_) {
  if (width_ < 0 || height_ < 0 || !known_depth(depth_)) {
    throw RX_Err{RX_ReportBadParameter(kBadParameterLocation)};
  }
  const int64_t bytes = block_bytes(width_, height_, depth_);
  if (bytes < 0) throw RX_Err{RX_Result_OutOfMemory};
  pixels = KO_AllocateHandle(kAllocationLocation, buffer_label(), size_t(bytes));
  if (!pixels) throw RX_Err{RX_Result_OutOfMemory};
}

RX_UnoBuffer::~RX_UnoBuffer() {
  check(this);
  KO_FreeHandle(pixels);
  // A store the compiler may not drop as dead at the end of the object's
  // life: a second destruction has to find the null and report it.
  *const_cast<KO_Handle volatile*>(&pixels) = nullptr;
}

void* RX_UnoBuffer::operator new(size_t size) {
  void* block = KO_AllocatePtr(kAllocationLocation, buffer_label(), size);
  if (!block) throw std::bad_alloc();
  return block;
}

void RX_UnoBuffer::operator delete(void* block) noexcept { KO_FreePtr(block); }

RX_Err RX_NewUnoBuffer(uint32_t width, uint32_t height, RX_UnoBuffer** out) {
  return new_buffer(width, height, 8, out);
}

RX_Err RX_NewDeepUnoBuffer(uint32_t width, uint32_t height, RX_UnoBuffer** out) {
  return new_buffer(width, height, 16, out);
}

RX_Err RX_DisposeUnoBuffer(RX_UnoBuffer* buffer) {
  if (!buffer) return RX_Result_OK;
  check(buffer);
  KO_FreeHandle(buffer->pixels);
  KO_FreePtr(buffer);
  return RX_Result_OK;
}

RX_Err RX_FillUnoBuffer(uint8_t value, RX_UnoBuffer* buffer) {
  if (!buffer) return fill_rect(buffer, GE_LRect{}, value, 0);
  return fill_rect(buffer, bounds(*buffer), value, 0);
}

RX_Err RX_FillUnoBuffer(uint8_t value, const GE_LRect& rect, RX_UnoBuffer* buffer) {
  return fill_rect(buffer, rect, value, 0);
}

RX_Err RX_FillDeepUnoBuffer(uint16_t value, RX_UnoBuffer* buffer) {
  if (!buffer) return fill_rect(buffer, GE_LRect{}, value, 16);
  return fill_rect(buffer, bounds(*buffer), value, 16);
}

RX_Err RX_FillDeepUnoBuffer(uint16_t value, const GE_LRect& rect, RX_UnoBuffer* buffer) {
  return fill_rect(buffer, rect, value, 16);
}

RX_Err RX_FillFloatUnoBuffer(float value, RX_UnoBuffer* buffer) {
  if (!buffer) return fill_rect(buffer, GE_LRect{}, float_bits(value), 32);
  return fill_rect(buffer, bounds(*buffer), float_bits(value), 32);
}
