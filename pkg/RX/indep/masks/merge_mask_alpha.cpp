// Multiplication of a world's alpha by a mask buffer placed on it, and the
// five rows behind its slots (8-bit mask into 8, 16 and float worlds,
// 16-bit mask into 16 and float worlds). Alpha of the area that the mask
// does not cover is cleared.
#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "RX_Iterate.h"
#include "RX_UnoBuffer.h"
#include "RX_World.h"
#include "frame/fixed_messages.h"
#include "frame/reports.h"
#include "masks/uno_areas.h"
#include "worlds/depth_arith.h"
#include "worlds/value_conversions.h"

namespace {

using namespace rx::uno;

constexpr char kUnexpectedMaskDepth[] = "Unexpected bitdepth in RXp_MergeMaskAlphaScanIter()";
constexpr float kMask8ToFloat = 0.003921569f;
constexpr float kMask16ToFloat = 3.0517578e-5f;

template <class Px>
struct MergeJob {
  const RX_ProgressInfo* progress;
  const RX_UnoBuffer* mask;
  RX_WorldX<Px>* world;
  int32_t x, y;            // where the mask's corner lies in the world
  GE_LRect area;           // in the world
  GE_LRect window;         // in the mask
};

template <class Px>
void clear_alpha(Px* pixels, int32_t from, int32_t to) {
  for (int32_t i = from; i < to; ++i) pixels[i].alpha = 0;
}

// The row of the world's depth and the mask's: false when the pair has
// none (a 16-bit or float world under a mask of neither 8 nor 16 bits).
template <class Px>
bool multiply_alpha(const RX_UnoBuffer& mask, int32_t mask_x, int32_t mask_y, int32_t count, Px* pixels) {
  if constexpr (std::is_same_v<Px, RX_Pixel8>) {
    // An 8-bit world has no 16-bit row: the mask's bytes are read as 8-bit
    // values whatever its depth.
    const uint8_t* row = data(mask) + (mask_y * row_stride(mask) + mask_x);
    mask_slot<RX_MergeMaskRow8Into8>(RX_Slot_MaskMergeScan8Into8)(count, row, pixels);
    return true;
  } else {
    constexpr bool deep = std::is_same_v<Px, RX_Pixel16>;
    if (mask.depth == 8) {
      const uint8_t* row = at<uint8_t>(mask, mask_x, mask_y);
      if constexpr (deep) {
        mask_slot<RX_MergeMaskRow8Into16>(RX_Slot_MaskMergeScan8Into16)(count, row, pixels);
      } else {
        mask_slot<RX_MergeMaskRow8IntoFloat>(RX_Slot_MaskMergeScan8IntoFloat)(count, row, pixels);
      }
      return true;
    }
    if (mask.depth == 16) {
      const uint16_t* row = at<uint16_t>(mask, mask_x, mask_y);
      if constexpr (deep) {
        mask_slot<RX_MergeMaskRow16Into16>(RX_Slot_MaskMergeScanDeepInto16)(count, row, pixels);
      } else {
        mask_slot<RX_MergeMaskRow16IntoFloat>(RX_Slot_MaskMergeScanDeepIntoFloat)(count, row, pixels);
      }
      return true;
    }
    return false;
  }
}

template <class Px>
RX_Err merge_one_row(void* refcon, int32_t thread_index, int32_t i, int32_t) {
  const auto& job = *static_cast<const MergeJob<Px>*>(refcon);
  if (RX_Err err = poll_abort_on_first_thread(job.progress, thread_index)) return err;
  const int32_t row = job.area.top + i;
  const int32_t count = job.area.right - job.area.left;
  Px* pixels = job.world->Row(row) + job.area.left;

  // The row at the window's bottom counts as inside and reads the mask row
  // just past the window; kept as it is, except where that row would lie
  // past the mask's last one.
  const int32_t window_top = job.window.top + job.y;
  const int32_t window_bottom = job.window.bottom + job.y;
  const int32_t mask_y = row - job.y;
  if (row < window_top || row > window_bottom || mask_y >= job.mask->height) {
    clear_alpha(pixels, 0, count);
    return RX_Result_OK;
  }
  // The window's left and right in world coordinates serve as indices from
  // the area's left edge; they agree when the area starts at 0. Cut to the
  // area, so that no write leaves it.
  const int32_t left = std::clamp(job.window.left + job.x, 0, count);
  const int32_t right = std::clamp(job.window.right + job.x, left, count);
  clear_alpha(pixels, 0, left);
  if (!multiply_alpha(*job.mask, job.window.left, mask_y, right - left, pixels + left)) {
    rx::report_verification(kUnexpectedMaskDepth);
    return RX_Result_Internal;
  }
  clear_alpha(pixels, right, count);
  return RX_Result_OK;
}

template <class Px>
RX_Err merge(MergeJob<Px>& job) {
  return RX_IterateGeneric(job.area.bottom - job.area.top, &job, merge_one_row<Px>);
}

}  // namespace

void RX_MergeMaskRow8Into8_S(int32_t count, const uint8_t* mask, RX_Pixel8* pixels) {
  for (int32_t i = 0; i < count; ++i) {
    const int32_t m = mask[i];
    if (m == kWhite8) continue;
    pixels[i].alpha = m == 0 ? 0 : uint8_t(rx::m255(uint32_t(pixels[i].alpha) * uint32_t(m)));
  }
}

void RX_MergeMaskRow8Into16_S(int32_t count, const uint8_t* mask, RX_Pixel16* pixels) {
  for (int32_t i = 0; i < count; ++i) {
    const uint32_t m = mask[i];
    if (m == kWhite8) continue;
    const uint32_t s = rx::convert_8_to_16(uint8_t(m));
    pixels[i].alpha = m == 0 ? 0 : uint16_t((s * pixels[i].alpha + 16383) >> 15);
  }
}

void RX_MergeMaskRow16Into16_S(int32_t count, const uint16_t* mask, RX_Pixel16* pixels) {
  for (int32_t i = 0; i < count; ++i) {
    const uint32_t m = mask[i];
    if (m == kWhite16) continue;
    pixels[i].alpha = m == 0 ? 0 : uint16_t((m * pixels[i].alpha + 16383) >> 15);
  }
}

void RX_MergeMaskRow8IntoFloat_S(int32_t count, const uint8_t* mask, RX_PixelFloat* pixels) {
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t m = mask[i];
    if (m == kWhite8) continue;
    pixels[i].alpha = m == 0 ? 0.0f : pixels[i].alpha * (float(m) * kMask8ToFloat);
  }
}

void RX_MergeMaskRow16IntoFloat_S(int32_t count, const uint16_t* mask, RX_PixelFloat* pixels) {
  for (int32_t i = 0; i < count; ++i) {
    const uint16_t m = mask[i];
    if (m == kWhite16) continue;
    pixels[i].alpha = m == 0 ? 0.0f : pixels[i].alpha * (float(m) * kMask16ToFloat);
  }
}

void RX_MergeMaskAlpha(const RX_ProgressInfo* progress, int32_t x, int32_t y, const GE_LRect* rect,
                       const RX_UnoBuffer* mask, const GE_LRect* area, RX_World* world) {
  if (!check(mask)) throw RX_Err{RX_Result_Internal};
  if (!world) throw RX_Err{RX_ReportBadParameter(kBadParameterLocation)};

  // The area, cut to the world: rows outside it have no pixels to change.
  const GE_LRect whole{0, 0, world->Width(), world->Height()};
  GE_LRect a = area ? *area : whole;
  a = {std::max(a.left, 0), std::max(a.top, 0), std::min(a.right, whole.right), std::min(a.bottom, whole.bottom)};
  if (empty(a)) return;

  // The mask's window, in mask coordinates, in 64 bits against far-off
  // placements.
  int64_t wl = std::max<int64_t>(int64_t(a.left) - x, 0);
  int64_t wr = std::min<int64_t>(int64_t(a.right) - x, mask->width);
  int64_t wt = std::max<int64_t>(int64_t(a.top) - y, 0);
  int64_t wb = std::min<int64_t>(int64_t(a.bottom) - y, mask->height);
  if (rect) {
    wl = std::max<int64_t>(wl, rect->left);
    wt = std::max<int64_t>(wt, rect->top);
    wr = std::min<int64_t>(wr, rect->right);
    wb = std::min<int64_t>(wb, rect->bottom);
  }
  if (wr <= wl || wb <= wt) {
    world->Fill(RX_PixelFloat{0.0f, 0.0f, 0.0f, 0.0f}, &a);
    return;
  }
  const GE_LRect window{int32_t(wl), int32_t(wt), int32_t(wr), int32_t(wb)};

  RX_Err err;
  if (auto* w8 = dynamic_cast<RX_WorldX<RX_Pixel8>*>(world)) {
    MergeJob<RX_Pixel8> job{progress, mask, w8, x, y, a, window};
    err = merge(job);
  } else if (auto* w16 = dynamic_cast<RX_WorldX<RX_Pixel16>*>(world)) {
    MergeJob<RX_Pixel16> job{progress, mask, w16, x, y, a, window};
    err = merge(job);
  } else if (auto* wf = dynamic_cast<RX_WorldX<RX_PixelFloat>*>(world)) {
    MergeJob<RX_PixelFloat> job{progress, mask, wf, x, y, a, window};
    err = merge(job);
  } else {
    rx::report_verification(rx::msg::kUnknownWorldBitdepth);
    err = RX_Result_Internal;
  }
  if (err) throw RX_Err{err};
}
