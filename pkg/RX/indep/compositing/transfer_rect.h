// The transfer rectangle in two steps: a clipping step that turns a request
// into the spans it covers (in the source, the destination and the track
// matte, each in its own coordinates), and a loop over a band of lines
// [first, last) of those spans. Each line's dissolve seed comes in closed
// form from its index, so a band can start on any line and give the same
// bits: the default runs one band on the caller's thread with the shared
// scratch; bands with their own scratch could run side by side.
#pragma once

#include <cstdint>

#include "RX_TransferRect.h"

namespace rx {

// A call of the transfer rectangle, as its arguments give it.
struct TransferRequest {
  const RX_ProgressInfo* progress;
  int32_t field;
  GE_LRect source_rect;
  const RX_LayerDef* src;
  const RX_CompositeModePlus* mode;
  const RX_LinearBlendingTables* tables;
  const RX_MaskWorld* mask;
  const RX_TransferScratch* scratch;  // null: the shared set
  int32_t dst_x, dst_y;
  RX_LayerDef* dst;
};

// What a request covers after clipping: the same width and height in the
// source and in the destination, and where the lines read the matte
// (column and row of the first pixel, outside the matte where an inverted
// kind reads its outside value; 64 bits, as offsets may lie far off).
struct TransferSpans {
  GE_LRect source;
  GE_LRect destination;
  int64_t matte_x = 0, matte_y = 0;
  int32_t width() const { return destination.right - destination.left; }
  int32_t height() const { return destination.bottom - destination.top; }
};

// The clipping step: the source rectangle within the source, shifted to
// (dst_x, dst_y) and within the destination, and within the matte for the
// even kinds (the inverted kinds read full coverage outside it). False
// when nothing is left to blend.
bool clip_transfer(const TransferRequest& request, TransferSpans* spans);

// The dissolve seed of destination line y of a transfer whose first line
// is top and whose first line's seed is first_seed: the seed grows by
// 12281 * j after line j, so it is first_seed + 12281 * (top + ... + y - 1),
// all modulo 2^32.
uint32_t transfer_line_seed(uint32_t first_seed, int32_t top, int32_t y);

// Runs a request in bands of band_height lines, one after the other, each
// starting from its own first line; INT32_MAX runs the one band of the
// default. depths_differ_text is the entry's refusal of unequal depths.
RX_Err run_transfer(const TransferRequest& request, const char* depths_differ_text, int32_t band_height);

inline constexpr int32_t kWholeTransferBand = INT32_MAX;

}  // namespace rx
