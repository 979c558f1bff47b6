/* Whole-line blending: the row functions of every mode, the plan a mode
   makes of them, and the pipeline that runs a plan over one line. */
#ifndef RX_BLEND_H
#define RX_BLEND_H

#include "RX_Modes.h"

#ifdef __cplusplus

RX_VISIBLE_BEGIN

/* A mode's row: width pixels of src (and of mask, whose alpha alone is
   read) onto dst. Returns 0 or an error code; linear forms also throw. */
template <class Px>
using RX_InnerBlendingFunc = RX_Err (*)(int32_t width, const RX_BlendingMode<Px>* mode,
                                        const RX_LinearBlendingTables* tables, const Px* src,
                                        const Px* mask, Px* dst);

/* The matte rows, premultiply and unmultiply scans of the matte colour:
   (width, src or null for in place, dst). */
template <class Px>
using RX_MatteRowFunc = RX_Err (*)(int32_t width, const Px* src, Px* dst);

/* The alpha union row: dst alpha := union(mul(mul(src alpha, opacity),
   mask alpha), dst alpha). */
template <class Px>
using RX_AlphaUnionRowFunc = RX_Err (*)(int32_t width, const Px* src, decltype(Px{}.alpha) opacity,
                                        const Px* mask, Px* dst);

/* The row function of a mode (-3 to 38) with or without a mask, in gamma
   space or linear light. -1 and numbers outside the table report
   "unimplemented blending mode." and give 5, result unset. */
template <class Px, bool HasMask, bool Linear>
RX_Err RX_GetInnerBlendingFunc(int32_t mode, RX_InnerBlendingFunc<Px>* result);

/* The plan of one mode at one depth: which rows run and in what order. */
template <class Px>
struct RX_BlendModeDescriptor {
  RX_BlendingMode<Px> mode;
  RX_InnerBlendingFunc<Px> behind_function = nullptr;
  RX_MatteRowFunc<Px> matte_function = nullptr;
  RX_MatteRowFunc<Px> dematte_function = nullptr;
  RX_InnerBlendingFunc<Px> blend_function = nullptr;
  RX_AlphaUnionRowFunc<Px> alpha_union_function = nullptr;
  bool matte_dst = false;
  bool behind_first = false;
  bool keep_alpha_capable = false;
  bool alpha_union = false;
  const RX_LinearBlendingTables* tables = nullptr;

  /* The row functions come through the override table: the look-up slot
     of (has_mask, tables non-null), the matte scans and the alpha union
     scan of the depth. A mode without a row is reported by the look-up
     and leaves the plan unusable, its flags clear. */
  RX_BlendModeDescriptor(const RX_BlendingMode<Px>& mode, bool has_mask,
                         const RX_LinearBlendingTables* tables);
};

/* Runs a plan over one line: save alpha, matte or behind, the mode's row,
   alpha union, dematte, restore alpha. saved_alpha holds width channel
   values. progress is passed through unread. Returns 0 or the first
   error. */
template <class Px>
RX_Err RX_BlendPipeline(RX_ProgressInfo* progress, int32_t width, const RX_BlendModeDescriptor<Px>& plan,
                        const Px* src, const Px* mask, decltype(Px{}.alpha)* saved_alpha, Px* dst);

/* Fades target into dst's alpha by coverage times scale, per pixel:
   c := c + mul(coverage, scale) (target - c). Only alpha is written. */
template <class Px, class Cv>
void RX_BlendSingleChannel(int32_t width, Cv scale, Cv target, const Cv* coverage, Px* dst);

#define RX_BLEND_EXTERN(PX)                                                                            \
  extern template RX_API RX_Err RX_GetInnerBlendingFunc<PX, false, false>(int32_t, RX_InnerBlendingFunc<PX>*); \
  extern template RX_API RX_Err RX_GetInnerBlendingFunc<PX, true, false>(int32_t, RX_InnerBlendingFunc<PX>*);  \
  extern template RX_API RX_Err RX_GetInnerBlendingFunc<PX, false, true>(int32_t, RX_InnerBlendingFunc<PX>*);  \
  extern template RX_API RX_Err RX_GetInnerBlendingFunc<PX, true, true>(int32_t, RX_InnerBlendingFunc<PX>*);   \
  extern template struct RX_API RX_BlendModeDescriptor<PX>;                                           \
  extern template RX_API RX_Err RX_BlendPipeline<PX>(RX_ProgressInfo*, int32_t,                       \
                                                     const RX_BlendModeDescriptor<PX>&, const PX*,    \
                                                     const PX*, decltype(PX{}.alpha)*, PX*);          \
  extern template RX_API void RX_BlendSingleChannel<PX, decltype(PX{}.alpha)>(                       \
      int32_t, decltype(PX{}.alpha), decltype(PX{}.alpha), const decltype(PX{}.alpha)*, PX*);
RX_BLEND_EXTERN(RX_Pixel8)
RX_BLEND_EXTERN(RX_Pixel16)
RX_BLEND_EXTERN(RX_PixelFloat)

// A plan is built on the caller's stack and handed across: its layout is
// fixed for every depth.
static_assert(sizeof(RX_BlendModeDescriptor<RX_Pixel8>) == 72 &&
                  offsetof(RX_BlendModeDescriptor<RX_Pixel8>, behind_function) == 16 &&
                  offsetof(RX_BlendModeDescriptor<RX_Pixel8>, alpha_union_function) == 48 &&
                  offsetof(RX_BlendModeDescriptor<RX_Pixel8>, matte_dst) == 56 &&
                  offsetof(RX_BlendModeDescriptor<RX_Pixel8>, tables) == 64,
              "RX_BlendModeDescriptor layout");
static_assert(sizeof(RX_BlendModeDescriptor<RX_Pixel16>) == 72 && sizeof(RX_BlendModeDescriptor<RX_PixelFloat>) == 72 &&
                  offsetof(RX_BlendModeDescriptor<RX_PixelFloat>, behind_function) == 16 &&
                  offsetof(RX_BlendModeDescriptor<RX_PixelFloat>, tables) == 64,
              "RX_BlendModeDescriptor layout");
#undef RX_BLEND_EXTERN

RX_VISIBLE_END

#endif /* __cplusplus */

#endif
