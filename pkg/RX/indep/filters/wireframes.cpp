// Wireframes: points where an image's alpha crosses half coverage, found on
// a grid whose step grows until the points fit, held in a SEQ list of
// GE_LPoint elements; and their transforms through GE's point mappers.
// Every failure hands back the code of SEQ or ZW and leaves nothing behind.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "RX_Wireframe.h"

namespace rx {
namespace {

constexpr int16_t kWireframeLocation = 12;
constexpr int16_t kCountMismatchLocation = 52;
constexpr int32_t kPointSize = int32_t(sizeof(GE_LPoint));  // one element: x, then y
constexpr int32_t kInitialPoints = 16;
constexpr int32_t kGrowPoints = 16;
constexpr int32_t kCornerCount = 4;

static_assert(sizeof(GE_LPoint) == 2 * sizeof(int32_t), "a point is two int32_t, x then y");

// The top bit of the alpha: whether coverage is at least half.
struct AlphaGrid {
  const uint8_t* base;
  intptr_t row_bytes;
  int32_t alpha_offset;  // 0 alpha first, 3 in BGRA order

  bool covered(int32_t x, int32_t y) const {
    return base[intptr_t{y} * row_bytes + intptr_t{x} * 4 + alpha_offset] & 0x80;
  }
};

RX_Err insert_point(SEQ_List list, int32_t at, int32_t x, int32_t y) {
  const GE_LPoint point{x, y};
  return SEQ_Insert(list, at, &point);
}

// Samples over rect with a step that starts at grid and grows by one
// whenever more than max_points are found; returns the point count.
RX_Err sample_edges(const AlphaGrid& alpha, GE_LRect rect, int32_t grid, int32_t max_points,
                    bool corners, SEQ_List list, uint32_t& count_out) {
  int32_t count = 0;
  if (corners) {
    const GE_LPoint corner_points[kCornerCount] = {{rect.left, rect.top},
                                                   {rect.right - 1, rect.top},
                                                   {rect.right - 1, rect.bottom - 1},
                                                   {rect.left, rect.bottom - 1}};
    for (const GE_LPoint& p : corner_points) {
      if (RX_Err err = insert_point(list, count, p.x, p.y)) return err;
      ++count;
    }
  }
  const int32_t corner_count = count;
  int32_t step = grid, margin = grid;
  int32_t right = rect.right, bottom = rect.bottom;
  for (bool again = true; again;) {
    again = false;
    const int32_t half = std::max(step / 2, 1);
    const int32_t rest = std::max(step - half, 1);
    for (int32_t y = rect.top + margin; y < bottom - margin && !again; y += step) {
      for (int32_t x = rect.left + margin; x < right - margin; x += step) {
        const bool across = alpha.covered(x - half, y) != alpha.covered(x + rest, y);
        const bool down = alpha.covered(x, y - half) != alpha.covered(x, y + rest);
        if (!across && !down) continue;
        if (RX_Err err = insert_point(list, count, x, y)) return err;
        if (++count > max_points) {
          // Too dense: keep the corners, coarsen, and sample again.
          if (RX_Err err = SEQ_RemoveRange(list, corner_count, count - corner_count)) return err;
          count = corner_count;
          ++step;
          ++margin;
          --right;
          --bottom;
          again = true;
          break;
        }
      }
    }
  }
  count_out = uint32_t(count);
  return RX_Result_OK;
}

// The bitmap's rectangle, or rect cut to it.
GE_LRect sampling_rect(const ZW_Bitmap& bitmap, const GE_LRect* rect) {
  const GE_LRect whole{0, 0, bitmap.width, bitmap.height};
  if (!rect) return whole;
  return {std::max(rect->left, whole.left), std::max(rect->top, whole.top),
          std::min(rect->right, whole.right), std::min(rect->bottom, whole.bottom)};
}

// The source's points locked, copied to the target's list and mapped.
template <class Map>
RX_Err transform_points(const RX_Wireframe* src, RX_Wireframe* dst, RX_Wireframe* out, Map&& map) {
  if (!src || (!dst && !out)) return RX_ReportBadParameter(kWireframeLocation);
  const uint32_t count = src->point_count;
  if (dst && dst->point_count != count) return RX_ReportBadParameter(kCountMismatchLocation);
  RX_Wireframe* target = dst;
  if (!dst) {
    if (RX_Err err = RX_AllocWireframe(count, src->flags, out)) return err;
    target = out;
  }
  RX_Err err = SEQ_Lock(src->points);
  if (!err) {
    if (RX_Err lock_err = SEQ_Lock(target->points)) {
      err = lock_err;
    } else {
      const bool enough = uint32_t(SEQ_Count(src->points)) >= count &&
                          uint32_t(SEQ_Count(target->points)) >= count;
      if (!enough) {
        err = RX_ReportBadParameter(kCountMismatchLocation);
      } else if (count > 0) {
        auto* from = static_cast<const GE_LPoint*>(SEQ_GetAddress(src->points, 0));
        auto* to = static_cast<GE_LPoint*>(SEQ_GetAddress(target->points, 0));
        std::memmove(to, from, size_t(count) * kPointSize);
        map(int32_t(count), to);
      }
      RX_Err unlock_err = SEQ_Unlock(target->points);
      if (!err) err = unlock_err;
    }
    RX_Err unlock_err = SEQ_Unlock(src->points);
    if (!err) err = unlock_err;
  }
  // A wireframe made here is not left behind half done.
  if (err && !dst) RX_DisposeWireframe(out);
  return err;
}

}  // namespace
}  // namespace rx

RX_Err RX_AllocWireframe(uint32_t points, uint32_t flags, RX_Wireframe* wireframe) {
  if (!wireframe) return RX_ReportBadParameter(rx::kWireframeLocation);
  std::memset(wireframe, 0, sizeof *wireframe);
  // No list holds more elements than an int32_t counts.
  if (points > uint32_t(INT32_MAX)) return RX_Result_OutOfMemory;
  SEQ_List list = nullptr;
  RX_Err err = SEQ_New(0, rx::kPointSize, 1, int32_t(points), &list);
  if (!err) err = SEQ_SetCount(list, int32_t(points));
  if (err) {
    if (list) SEQ_Dispose(list);
    return err;
  }
  wireframe->points = list;
  wireframe->point_count = points;
  wireframe->flags = flags;
  return RX_Result_OK;
}

RX_Err RX_DisposeWireframe(RX_Wireframe* wireframe) {
  if (!wireframe) return RX_Result_OK;
  RX_Err first = RX_Result_OK;
  auto dispose = [&first](SEQ_List list) {
    if (!list) return;
    const RX_Err err = SEQ_Dispose(list);
    if (!first) first = err;
  };
  dispose(wireframe->points);
  for (const RX_WireframeExtraList& extra : wireframe->extra) dispose(extra.list);
  std::memset(wireframe, 0, sizeof *wireframe);
  return first;
}

RX_Err RX_GenerateWireframe(void*, ZW_World image, int32_t grid, int32_t max_points, int32_t flags,
                            const GE_LRect* rect, RX_Wireframe* wireframe) {
  if (!wireframe || !image || !*image || grid < 1 || (*image)->bits_per_pixel != 32) {
    return RX_ReportBadParameter(rx::kWireframeLocation);
  }
  std::memset(wireframe, 0, sizeof *wireframe);
  SEQ_List list = nullptr;
  if (RX_Err err = SEQ_New(0, rx::kPointSize, rx::kInitialPoints, rx::kGrowPoints, &list)) {
    if (list) SEQ_Dispose(list);
    return err;
  }
  if (RX_Err err = ZW_LockPixels(image)) {
    SEQ_Dispose(list);
    return err;
  }
  const ZW_Bitmap& bitmap = **image;
  const rx::AlphaGrid alpha{static_cast<const uint8_t*>(bitmap.base_address), bitmap.row_bytes,
                            ZW_GetChannelOrder(image) == 1 ? 3 : 0};
  uint32_t count = 0;
  RX_Err err = rx::sample_edges(alpha, rx::sampling_rect(bitmap, rect), grid, max_points,
                                flags & RX_Wireframe_Corners, list, count);
  ZW_UnlockPixels(image);
  if (!err) err = SEQ_Compact(list);
  if (err) {
    SEQ_Dispose(list);
    return err;
  }
  wireframe->flags = RX_Wireframe_Finished;
  wireframe->points = list;
  wireframe->point_count = count;
  return RX_Result_OK;
}

RX_Err RX_TransformWireframe2D(void*, const RX_Wireframe* src, void*, const GE_Matrix3* matrix,
                               RX_Wireframe* dst, RX_Wireframe* out) {
  if (!matrix) return RX_ReportBadParameter(rx::kWireframeLocation);
  return rx::transform_points(src, dst, out, [matrix](int32_t count, GE_LPoint* points) {
    GE_TransformPoints(matrix, count, points);
  });
}

RX_Err RX_TransformWireframe3D(void*, const RX_Wireframe* src, void*, const GE_Matrix4* matrix,
                               RX_Wireframe* dst, RX_Wireframe* out) {
  if (!matrix) return RX_ReportBadParameter(rx::kWireframeLocation);
  return rx::transform_points(src, dst, out, [matrix](int32_t count, GE_LPoint* points) {
    GE_3DTransform2DPoints(matrix, count, points);
  });
}
