// The exported iterate entries: one-line forwarders through the override
// table, so that a module's replacement is what callers reach.
#include "frame/override_table.h"

using rx::slot;

RX_Err RX_Iterate(RX_EffectContext* context, int32_t progress_base, int32_t progress_final,
                  const RX_LayerDef* src, const GE_LRect* area, void* refcon, RX_PixelFunc8 func,
                  RX_LayerDef* dst) {
  return slot<RX_Slot_Iterate>()(context, progress_base, progress_final, src, area, refcon, func,
                                 dst);
}

RX_Err RX_IterateOrigin(RX_EffectContext* context, int32_t progress_base, int32_t progress_final,
                        const RX_LayerDef* src, const GE_LRect* area, const GE_LPoint* origin,
                        void* refcon, RX_PixelFunc8 func, RX_LayerDef* dst) {
  return slot<RX_Slot_IterateOrigin>()(context, progress_base, progress_final, src, area, origin,
                                       refcon, func, dst);
}

RX_Err RX_IterateOrigin_NoClip(RX_EffectContext* context, int32_t progress_base,
                               int32_t progress_final, const RX_LayerDef* src,
                               const GE_LRect* area, const GE_LPoint* origin, void* refcon,
                               RX_PixelFunc8 func, RX_LayerDef* dst) {
  return slot<RX_Slot_IterateOriginNoClip>()(context, progress_base, progress_final, src, area,
                                             origin, refcon, func, dst);
}

RX_Err RX_IterateLUT(RX_EffectContext* context, int32_t progress_base, int32_t progress_final,
                     const RX_LayerDef* src, const GE_LRect* area, const uint8_t* alpha_table,
                     const uint8_t* red_table, const uint8_t* green_table,
                     const uint8_t* blue_table, RX_LayerDef* dst) {
  return slot<RX_Slot_IterateLUT>()(context, progress_base, progress_final, src, area,
                                    alpha_table, red_table, green_table, blue_table, dst);
}

RX_Err RX_IterateGeneric(int32_t count, void* refcon, RX_GenericIterFunc func) {
  return slot<RX_Slot_IterateGeneric>()(count, refcon, func);
}
