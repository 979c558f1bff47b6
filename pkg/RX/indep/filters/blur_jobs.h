// The records of one blur call and what both blurs share: the line
// geometry, the job's memory (taken through the host's purge loop, kept on
// its memory account while held, given back on return and on unwinding),
// the per-thread scratch, the abort protocol and the line callbacks' catch.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <type_traits>

#include "KO/KO.h"
#include "RX_Blur.h"
#include "RX_Iterate.h"
#include "RX_Messages.h"
#include "RX_World.h"
#include "filters/filter_arith.h"
#include "worlds/depth_arith.h"

// One thread's scratch line: the block as taken, and its first 16-byte
// boundary.
struct RX_BlurScratchBuffer {
  void* raw;
  void* aligned;  // raw + 15 rounded down to 16
  int32_t size;   // bytes usable from aligned
};

// A half-open interval of line coordinates.
struct RX_BoxSpan {
  int32_t lo, hi;
};

// What both blurs know of their lines, filled in this order at the start
// of a call.
struct RX_BlurLine {
  uint32_t src_vertical;   // 0: source lines are rows; else columns
  int32_t src_stride;      // pixels between neighbours along a source line
  int32_t src_length;      // pixels of a source line
  int32_t dst_vertical;    // the same for the destination ...
  int32_t dst_stride;
  int32_t dst_length;
  int32_t error;           // the shared error word; see blur_abort_check
  uint32_t src_premultiplied;
  uint32_t dst_premultiplied;
  const RX_ProgressInfo* progress;  // may be null
};

struct RX_GaussianJob : RX_BlurLine {
  int32_t origin_delta;  // destination origin minus source origin along the lines
  float radius;
  int32_t radius_ceiling;
  RX_BlurChannels channels;
  bool premultiply_on_copy;
  bool use_scratch;
  uint32_t* weights;     // radius_ceiling + 1 entries
  int32_t weight_count;
  uint32_t total;        // w0 + 2 × the others; the scans recompute it
  uint16_t** tap_tables;  // 8-bit only: table i holds weights[i] × v, v = 0..255
  int32_t tap_table_count;
  void* tap_block_raw;    // radius_ceiling × 256 + 256 values
  uint16_t* tap_block;    // aligned to 16
  RX_BlurScratchBuffer* scratch;  // one a thread when use_scratch
  int32_t scratch_count;
};

struct RX_BoxJob : RX_BlurLine {
  float radius;
  int32_t radius_ceiling;
  RX_BlurChannels channels;
  int32_t passes;
  bool premultiply_on_copy;
  bool read_source_directly;
  int32_t src_line_origin;  // the source's origin on the line axis
  RX_BoxSpan* spans;        // passes + 1
  RX_BlurScratchBuffer** buffers;  // one pair a thread
  int32_t buffer_list_count;
  int32_t buffers_per_thread;      // 2
};

namespace rx {

inline constexpr RX_BlurChannels kBlurColours = RX_BLUR_RED | RX_BLUR_GREEN | RX_BLUR_BLUE;
inline constexpr RX_BlurChannels kBlurAllChannels = RX_BLUR_ALPHA | kBlurColours;

// Where the lines of a call lie, beside the job.
struct BlurWorlds {
  uint8_t* src_data;
  intptr_t src_row_bytes;
  int32_t src_line_count;    // rows for rows, columns for columns
  int32_t src_origin_across; // the source's origin across its lines
  uint8_t* dst_data;
  intptr_t dst_row_bytes;
  int32_t dst_line_count;
  int32_t dst_origin_across;
  int32_t depth;  // 8, 16 or 32
  int32_t pixel_size;
  int32_t thread_count;
};

// Fills the common part of a job, and the worlds' geometry. Throws
// RX_Result_Internal for a null world or data, for worlds of different
// depths (8, 16, else float, after the source), and for a dst_vertical that
// is neither 0 nor 1.
void fill_blur_line(RX_BlurLine& line, BlurWorlds& worlds, const RX_ProgressInfo* progress,
                    const RX_World* src, uint32_t src_vertical, int32_t src_premultiplied,
                    uint32_t dst_vertical, uint32_t dst_premultiplied, RX_World* dst);
// The depth of a blur call: 8, 16 or 32.
int32_t blur_depth(const RX_World& src);
// The origin of a world along (vertical false: x) or across its lines.
int32_t origin_along(const RX_World& world, bool vertical);

// The host's thread count, thrown when it cannot be had.
int32_t blur_thread_count();

// Job memory: through KO_PurgeLoop and KO's allocator with the label's
// text, added to the memory account after it is taken and taken off before
// it is given back. Allocation failure throws the code.
void* blur_allocate(size_t bytes, RX_StringIndex label);
void blur_release(void* block);
// A scratch buffer of size bytes usable from a 16-byte boundary.
void allocate_scratch_buffer(RX_BlurScratchBuffer& buffer, int32_t size);
void release_scratch_buffer(RX_BlurScratchBuffer& buffer);

// Holds the host's reports from the start of a blur's setup to its end:
// they are delivered once, from the host's loop. A non-zero code of that
// delivery is thrown once setup succeeded.
class BlurSetupReports {
 public:
  BlurSetupReports();
  ~BlurSetupReports();
  void finish();

 private:
  KO_DeferredState state_{};
  bool open_ = true;
};

// The abort protocol, after every Gaussian line and every box pass. The
// error word is shared without a lock: thread 0 alone asks the caller's
// abort callback and stores its answer; the other threads only read the
// word. Each throws what it finds non-zero. Relaxed atomic access keeps the
// word's plain loads and stores while telling the compiler they are shared.
inline void blur_abort_check(RX_BlurLine& line, int32_t thread_index) {
  std::atomic_ref<int32_t> error(line.error);
  if (line.progress && thread_index == 0) {
    if (!line.progress->abort_func) return;
    const RX_Err err = line.progress->abort_func(line.progress->refcon);
    error.store(err, std::memory_order_relaxed);
    if (err != RX_Result_OK) throw err;
    return;
  }
  if (const int32_t err = error.load(std::memory_order_relaxed); err != RX_Result_OK) throw err;
}

// A line callback's body under the blurs' only catch clauses: a thrown code
// is returned, a standard exception is reported by the host, which gives
// the code.
template <class Body>
RX_Err blur_line_boundary(Body&& body) {
  try {
    body();
    return RX_Result_OK;
  } catch (RX_Err code) {
    return code;
  } catch (const std::exception& e) {
    return KO_TranslateAndReportException(e);
  }
}

// A line of pixels seen through its stride.
template <class Px>
struct LineRef {
  Px* first;
  intptr_t stride;  // in pixels
  Px& operator[](intptr_t i) const { return first[i * stride]; }
};

// Where line n of the destination starts and the matching source line, or
// null when that source line lies outside the source.
template <class Px>
Px* dst_line_start(const BlurWorlds& w, const RX_BlurLine& line, int32_t n) {
  return line.dst_vertical == 1
             ? reinterpret_cast<Px*>(w.dst_data) + n
             : reinterpret_cast<Px*>(w.dst_data + intptr_t{n} * w.dst_row_bytes);
}

template <class Px>
Px* src_line_start(const BlurWorlds& w, const RX_BlurLine& line, int32_t n) {
  const int64_t index = int64_t{n} + w.dst_origin_across - w.src_origin_across;
  if (index < 0 || index >= w.src_line_count) return nullptr;
  return line.src_vertical ? reinterpret_cast<Px*>(w.src_data) + index
                           : reinterpret_cast<Px*>(w.src_data + index * w.src_row_bytes);
}

// Zero in every channel, selected or not, along the whole line.
template <class Px>
void clear_line(LineRef<Px> line, int32_t length) {
  for (int32_t k = 0; k < length; ++k) line[k] = Px{};
}

// A source pixel as it enters scratch: each selected colour premultiplied
// by its alpha with the depth's multiply (8 and 16 bits rounded as the
// package rounds; float the plain product). Unselected colours stay
// straight.
template <class Px>
inline Px premultiplied_pixel(Px p, RX_BlurChannels channels) {
  using A = DepthArith<Px>;
  auto times_alpha = [&](auto c) -> decltype(c) {
    return static_cast<decltype(c)>(A::mul(typename A::V(c), typename A::V(p.alpha)));
  };
  if (channels & RX_BLUR_RED) p.red = times_alpha(p.red);
  if (channels & RX_BLUR_GREEN) p.green = times_alpha(p.green);
  if (channels & RX_BLUR_BLUE) p.blue = times_alpha(p.blue);
  return p;
}

// count pixels of a source line from index first into scratch, stride 1.
template <class Px>
void copy_to_scratch(LineRef<const Px> in, int32_t first, int32_t count, Px* scratch,
                     bool premultiply, RX_BlurChannels channels) {
  if (premultiply) {
    for (int32_t i = 0; i < count; ++i) scratch[i] = premultiplied_pixel(in[first + i], channels);
  } else {
    for (int32_t i = 0; i < count; ++i) scratch[i] = in[first + i];
  }
}

// Runs the line callback over the destination's lines through the generic
// iterate, and throws what the iterate returns.
void iterate_blur_lines(const BlurWorlds& worlds, void* job, RX_GenericIterFunc callback);

}  // namespace rx
