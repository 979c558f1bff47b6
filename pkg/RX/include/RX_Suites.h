/* Function suites: named, versioned tables of the package's functions that
   effects acquire from the host instead of reading the callback block. The
   package registers them when the host's plug-in scan ends, so each table
   holds the override slots as acceleration modules left them; the tables
   are not refreshed afterwards. */
#ifndef RX_SUITES_H
#define RX_SUITES_H

#include "RX_Iterate.h"

RX_BEGIN_C

#define RX_ITERATE8_SUITE_NAME "RX Iterate8 Suite"
#define RX_ITERATE8_SUITE_VERSION 1

/* "RX Iterate8 Suite" version 1: slots 42, 43, 44, 51 and 53. */
typedef struct RX_Iterate8Suite1 {
  RX_Err (*iterate)(RX_EffectContext* context, int32_t progress_base, int32_t progress_final,
                    const RX_LayerDef* src, const GE_LRect* area, void* refcon, RX_PixelFunc8 func,
                    RX_LayerDef* dst);
  RX_Err (*iterate_origin)(RX_EffectContext* context, int32_t progress_base,
                           int32_t progress_final, const RX_LayerDef* src, const GE_LRect* area,
                           const GE_LPoint* origin, void* refcon, RX_PixelFunc8 func,
                           RX_LayerDef* dst);
  RX_Err (*iterate_lut)(RX_EffectContext* context, int32_t progress_base, int32_t progress_final,
                        const RX_LayerDef* src, const GE_LRect* area, const uint8_t* alpha_table,
                        const uint8_t* red_table, const uint8_t* green_table,
                        const uint8_t* blue_table, RX_LayerDef* dst);
  RX_Err (*iterate_origin_no_clip)(RX_EffectContext* context, int32_t progress_base,
                                   int32_t progress_final, const RX_LayerDef* src,
                                   const GE_LRect* area, const GE_LPoint* origin, void* refcon,
                                   RX_PixelFunc8 func, RX_LayerDef* dst);
  RX_Err (*iterate_generic)(int32_t count, void* refcon, RX_GenericIterFunc func);
} RX_Iterate8Suite1;

#ifdef __cplusplus
static_assert(sizeof(RX_Iterate8Suite1) == 40, "RX_Iterate8Suite1 layout");
static_assert(offsetof(RX_Iterate8Suite1, iterate_origin_no_clip) == 24, "RX_Iterate8Suite1 layout");
static_assert(offsetof(RX_Iterate8Suite1, iterate_generic) == 32, "RX_Iterate8Suite1 layout");
#endif

RX_END_C

#endif
