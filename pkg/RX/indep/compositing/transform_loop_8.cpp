// The world transform's inner loop at 8 bits: the plain runs, and the
// AVX2 runs as the processor form of the slot.
#include "compositing/transform_loop.h"
#include "frame/variants.h"

namespace {

rx::transform::Request request_of(const RX_ProgressInfo* progress, int32_t quality, int32_t field,
                                  const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                  const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                  const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                  GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst) {
  return rx::transform::Request{progress, quality, field, src, mode, tables, mask, matrices, count,
                                source_to_dest != 0, dest_rect, scratch, dst};
}

}  // namespace

template RX_Err rx::transform::transform_at_depth<RX_Pixel8>(const rx::transform::Request&,
                                                            const rx::transform::RunKernels<RX_Pixel8>&);

RX_Err RX_TransformInnerLoop8_S(const RX_ProgressInfo* progress, int32_t quality, uint32_t, int32_t field,
                                 const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                 const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                 const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                 GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst) {
  using namespace rx::transform;
  return run_inner_loop<RX_Pixel8>(request_of(progress, quality, field, src, mode, tables, mask, matrices, count,
                                             source_to_dest, dest_rect, scratch, dst),
                                  plain_runs<RX_Pixel8>());
}

RX_Err rx::transform::transform_inner_loop8_avx2(const RX_ProgressInfo* progress, int32_t quality, uint32_t,
                                                 int32_t field, const RX_LayerDef* src,
                                                 const RX_CompositeModePlus* mode,
                                                 const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                                 const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                                 GE_LRect dest_rect, const RX_TransferScratch* scratch,
                                                 RX_LayerDef* dst) {
  // The vector area run gives the package's area sampler's results: it
  // stands in only while slot 5 holds one of its forms.
  const RX_OverFunc area_slot = RXp_G_OverFuncs[RX_Slot_AreaSampleStraight8];
  const bool package_area = area_slot == variant_form("area_sample.straight8", false) ||
                            area_slot == variant_form("area_sample.straight8", true);
  const RunKernels<RX_Pixel8> runs{nearest_run<RX_Pixel8>, bilinear_run<RX_Pixel8>,
                                   package_area ? area_run8_avx2 : area_run<RX_Pixel8>};
  return run_inner_loop<RX_Pixel8>(request_of(progress, quality, field, src, mode, tables, mask, matrices, count,
                                              source_to_dest, dest_rect, scratch, dst),
                                   runs);
}
