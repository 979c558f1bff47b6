// The world transform's inner loop at float: the plain runs.
#include "compositing/transform_loop.h"

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

template RX_Err rx::transform::transform_at_depth<RX_PixelFloat>(const rx::transform::Request&,
                                                            const rx::transform::RunKernels<RX_PixelFloat>&);

RX_Err RX_TransformInnerLoopFloat_S(const RX_ProgressInfo* progress, int32_t quality, uint32_t, int32_t field,
                                 const RX_LayerDef* src, const RX_CompositeModePlus* mode,
                                 const RX_LinearBlendingTables* tables, const RX_MaskWorld* mask,
                                 const GE_Matrix3* matrices, int32_t count, int32_t source_to_dest,
                                 GE_LRect dest_rect, const RX_TransferScratch* scratch, RX_LayerDef* dst) {
  using namespace rx::transform;
  return run_inner_loop<RX_PixelFloat>(request_of(progress, quality, field, src, mode, tables, mask, matrices, count,
                                             source_to_dest, dest_rect, scratch, dst),
                                  plain_runs<RX_PixelFloat>());
}
