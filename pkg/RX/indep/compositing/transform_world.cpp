// The world transform's entries: the exported forwarders through slots 32
// and 48 (narrowing the destination rectangle first when a host has
// replaced slot 32), the checks and the depth dispatch to the inner loop
// of each depth (slots 115 to 117), the matrix pairs and the destination
// area the loops share, and the slots of this family.
#include <algorithm>
#include <cstring>

#include "RX_BlendHelpers.h"
#include "RX_Transform.h"
#include "compositing/transform_loop.h"
#include "compositing/transform_slots.h"
#include "frame/reports.h"
#include "frame/variants.h"
#include "worlds/with_depth.h"

namespace rx::transform {
namespace {

constexpr char kTransformDepthsDiffer[] = "RX_TransformWorld requires src and dst worlds to have same bit depth";
// A matte must be of the destination's depth: its lines are pixel lines.
constexpr char kMatteDepthDiffers[] = "RX_TransformWorld requires the track matte to have the bit depth of dst";
constexpr int16_t kTransformBadParameter = 32;

// The depth's inner loop slot.
template <class Px>
constexpr RX_Slot loop_slot() {
  if constexpr (std::is_same_v<Px, RX_Pixel8>) return RX_Slot_TransformInner8;
  else if constexpr (std::is_same_v<Px, RX_Pixel16>) return RX_Slot_TransformInner16;
  else return RX_Slot_TransformInnerFloat;
}

// The landing rectangles of the matrices, joined: the first and last, or
// every one when all is set. Singular matrices given destination to
// source land nowhere.
GE_LRect landing_union(const Request& r, bool all) {
  GE_LRect joined{0, 0, 0, 0};
  for (int32_t i = 0; i < r.count; ++i) {
    if (!all && i != 0 && i != r.count - 1) continue;
    GE_Matrix3 inverse, forward;
    if (!matrix_pair(r, i, &inverse, &forward)) continue;
    const GE_LRect landed = landing_rect(forward, r.src->width, r.src->height);
    GE_UnionLRect(&joined, &landed, &joined);
  }
  return joined;
}

RX_Err transform_any_depth(const Request& r) {
  if (!r.src || !r.dst || !r.mode || !r.matrices || !r.src->data || !r.dst->data || r.count < 1 ||
      r.count > kMaxMatrices || (r.mask && !r.mask->world.data)) {
    return RX_ReportBadParameter(kTransformBadParameter);
  }
  const int32_t depth = RXp_WorldDepth(r.dst);
  if (RXp_WorldDepth(r.src) != depth) {
    report_verification(kTransformDepthsDiffer);
    return RX_Result_Internal;
  }
  if (r.mask && RXp_WorldDepth(&r.mask->world) != depth) {
    report_verification(kMatteDepthDiffers);
    return RX_Result_Internal;
  }
  return with_depth(depth, [&]<class Px>() {
    const auto loop = reinterpret_cast<RX_TransformInnerLoop>(RXp_G_OverFuncs[loop_slot<Px>()]);
    return loop(r.progress, r.quality, 0, r.field, r.src, r.mode, r.tables, r.mask, r.matrices, r.count,
                r.source_to_dest, r.dest_rect, r.scratch, r.dst);
  });
}

}  // namespace

bool matrix_pair(const Request& r, int32_t i, GE_Matrix3* inverse, GE_Matrix3* forward) {
  const GE_Matrix3& given = r.matrices[i];
  if (r.source_to_dest) {
    *forward = given;
    return GE_InverseMatrixQuiet(&given, inverse) != 0;
  }
  *inverse = given;
  return GE_InverseMatrixQuiet(&given, forward) != 0;
}

GE_LRect destination_area(const Request& r, bool motion) {
  GE_LRect area = landing_union(r, motion);
  const GE_LRect bounds{0, 0, r.dst->width, r.dst->height};
  GE_SectLRect(&area, &r.dest_rect, &area);
  GE_SectLRect(&area, &bounds, &area);
  if (r.mask && (r.mask->kind & 1) == 0) {
    const GE_LRect matte{r.mask->x_offset, r.mask->y_offset,
                         int32_t(std::min<int64_t>(int64_t{r.mask->x_offset} + r.mask->world.width, INT32_MAX)),
                         int32_t(std::min<int64_t>(int64_t{r.mask->y_offset} + r.mask->world.height, INT32_MAX))};
    GE_SectLRect(&area, &matte, &area);
  }
  return area;
}

}  // namespace rx::transform

namespace rx {

// The inner loops of slots 115 to 117 are chosen at birth with the other
// processor forms.
void install_transform_slots() {
  RXp_G_OverFuncs[RX_Slot_CompositeRectDraftStraight] = as_form(RX_CompositeRectDraft_Straight);
  RXp_G_OverFuncs[RX_Slot_CompositeRectDraftPremul] = as_form(RX_CompositeRectDraft_Premul);
  RXp_G_OverFuncs[RX_Slot_CompositeRectBestStraight] = as_form(RX_CompositeRectBest_Straight);
  RXp_G_OverFuncs[RX_Slot_CompositeRectBestPremul] = as_form(RX_CompositeRectBest_Premul);
  RXp_G_OverFuncs[RX_Slot_TransformWorld] = as_form(RX_TransformWorld_S);
  RXp_G_OverFuncs[RX_Slot_TransformWorldCore] = as_form(RX_TransformWorldPlus_S);
}

VariantList transform_loops_variants() {
  static const Variant list[] = {
      {"transform_loops.inner8", &RXp_G_OverFuncs[RX_Slot_TransformInner8], as_form(RX_TransformInnerLoop8_S),
       as_form(transform::transform_inner_loop8_avx2), kNeedsAVX2},
      {"transform_loops.inner16", &RXp_G_OverFuncs[RX_Slot_TransformInner16], as_form(RX_TransformInnerLoop16_S),
       nullptr, 0},
      {"transform_loops.inner_float", &RXp_G_OverFuncs[RX_Slot_TransformInnerFloat],
       as_form(RX_TransformInnerLoopFloat_S), nullptr, 0},
  };
  return list;
}

}  // namespace rx

RX_OverFunc RXp_TransformLoopForm(int32_t slot, int32_t vector) {
  if (slot != RX_Slot_TransformInner8 && slot != RX_Slot_TransformInner16 && slot != RX_Slot_TransformInnerFloat) {
    return nullptr;
  }
  return rx::variant_form_at(&RXp_G_OverFuncs[slot], vector != 0);
}

RX_Err RX_TransformWorld_S(const RX_ProgressInfo* progress, int32_t quality, uint32_t, int32_t field,
                           const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                           const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                           const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest, GE_LRect dest_rect,
                           RX_LayerDef* dst) {
  const rx::transform::Request r{progress, quality, field, src, mode, tables, mask, matrices, count,
                                 source_to_dest != 0, dest_rect, nullptr, dst};
  return rx::transform::transform_any_depth(r);
}

RX_Err RX_TransformWorldPlus_S(const RX_ProgressInfo* progress, int32_t quality, uint32_t, int32_t field,
                               const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                               const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                               const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                               GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst) {
  const rx::transform::Request r{progress, quality, field, src, mode, tables, mask, matrices, count,
                                 source_to_dest != 0, dest_rect, scratch, dst};
  return rx::transform::transform_any_depth(r);
}

RX_Err RX_TransformWorld(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags, int32_t field,
                         const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                         const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask, const GE_Matrix3* matrices,
                         int32_t count, int32_t source_to_dest, GE_LRect dest_rect, RX_LayerDef* dst) {
  const auto slot = reinterpret_cast<decltype(&RX_TransformWorld)>(RXp_G_OverFuncs[RX_Slot_TransformWorld]);
  GE_LRect rect = dest_rect;
  // A host's function gets only the part the source can reach; the
  // package's own works that out itself.
  if (slot != RX_TransformWorld_S && src && matrices && count >= 1 && count <= rx::transform::kMaxMatrices) {
    const rx::transform::Request r{progress, quality, field, src, mode, tables, mask, matrices, count,
                                   source_to_dest != 0, dest_rect, nullptr, dst};
    const GE_LRect reach = rx::transform::landing_union(r, true);
    GE_SectLRect(&rect, &reach, &rect);
  }
  return slot(progress, quality, flags, field, src, mode, tables, mask, matrices, count, source_to_dest, rect, dst);
}

RX_Err RX_TransformWorldPlus(const RX_ProgressInfo* progress, int32_t quality, uint32_t flags, int32_t field,
                             const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                             const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                             const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest, GE_LRect dest_rect,
                             const RX_TransferScratch* scratch, RX_LayerDef* dst) {
  const auto slot = reinterpret_cast<decltype(&RX_TransformWorldPlus)>(RXp_G_OverFuncs[RX_Slot_TransformWorldCore]);
  return slot(progress, quality, flags, field, src, mode, tables, mask, matrices, count, source_to_dest, dest_rect,
              scratch, dst);
}
